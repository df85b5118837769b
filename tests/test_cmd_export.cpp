// The word splitter and the "export cif" command of the command mode.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <vector>

#include "ZEMU.h"
#include "fixtures.h"

using fx::Session;
using fx::command_output;
using fx::contains;

namespace {

typedef std::vector<std::string> Words;

Words tokenize(const std::string& text, size_t limit = ZEMU_CMD_EXPORT_MAX_WORDS) {
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    std::vector<char*> argv(limit + 1, nullptr);
    size_t n = ZEMU_tokenize_string(buffer.data(), argv.data(), limit);
    return Words(argv.begin(), argv.begin() + (long)n);
}

// One site row in the writer's layout.
std::string site_row(const char* label, const char* type, int mul, double x, double y, double z) {
    char row[128];
    snprintf(row, sizeof row, "%-12s %-8s %3d %c %7.5f %7.5f %7.5f %4.3f\n", label, type, mul, '.', x, y, z, 1.0);
    return row;
}

// The writer's text of the fixture cell with the given symmetry, types and sites.
std::string cif_text(bool p1, const std::vector<std::pair<const char*, double>>& types, const std::string& sites) {
    std::string text =
        "data_ZEMU\n"
        "_cell_length_a                    4.000000\n"
        "_cell_length_b                    8.000000\n"
        "_cell_length_c                    8.000000\n"
        "_cell_angle_alpha                 90.000000\n"
        "_cell_angle_beta                  90.000000\n"
        "_cell_angle_gamma                 90.000000\n"
        "_cell_volume                      256.000000\n";
    text += p1 ? "_symmetry_space_group_name_H-M    'P 1'\n_symmetry_Int_Tables_number       1\n"
               : "_symmetry_space_group_name_H-M    'P -1'\n_symmetry_Int_Tables_number       2\n";
    text += "loop_\n_symmetry_equiv_pos_site_id\n_symmetry_equiv_pos_as_xyz\n  1   'x,y,z'\n";
    if (!p1) text += "  2   '-x,-y,-z'\n";
    text += "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\n";
    char row[64];
    for (const auto& t : types) {
        snprintf(row, sizeof row, "%-8s %.3f\n", t.first, t.second);
        text += row;
    }
    text += "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_symmetry_multiplicity\n"
            "_atom_site_Wyckoff_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
            "_atom_site_occupancy\n";
    return text + sites + "#End of data_ZEMU\n";
}

const std::string kLi = site_row("Li1", "Li1+", 2, 0.25, 0.5, 0.5);
const std::string kO = site_row("O1", "O2-", 1, 0.0, 0.0, 0.0);

// The fixture structure as loaded (Li1 on the minima, O1 at the origin).
std::string plain_export() { return cif_text(false, {{"Li1+", 1.0}, {"O2-", -2.0}}, kLi + kO); }

struct SiteRow {
    std::string label, type;
    int mul;
    double x, y, z, occ;
};

// The site rows of a written CIF.
std::vector<SiteRow> site_rows(const std::string& cif) {
    std::vector<SiteRow> rows;
    std::istringstream in(cif);
    std::string line;
    bool in_sites = false;
    while (std::getline(in, line)) {
        if (line == "_atom_site_occupancy") in_sites = true;
        if (!in_sites) continue;
        SiteRow r;
        char label[32], type[32], wyckoff;
        if (sscanf(line.c_str(), "%31s %31s %d %c %lf %lf %lf %lf", label, type, &r.mul, &wyckoff, &r.x, &r.y, &r.z,
                   &r.occ) == 8) {
            r.label = label;
            r.type = type;
            rows.push_back(r);
        }
    }
    return rows;
}

std::tuple<long, long, long> key(double x, double y, double z) {
    return std::make_tuple(std::lround(x * 1000), std::lround(y * 1000), std::lround(z * 1000));
}

}  // namespace

TEST(TokenizeString, WhiteSpaceSeparatesWordsQuotesJoinThemAndTheLimitStops) {
    const struct {
        const char* text;
        size_t limit;
        Words words;
    } cases[] = {
        {"  export\tcif  ins\n", 16, {"export", "cif", "ins"}},
        {"", 16, {}},
        {" \t\n ", 16, {}},
        {"-o \"my out.cif\" P1\n", 16, {"-o", "my out.cif", "P1"}},  // quoted word keeps blanks, drops quotes
        {"\"\" x", 16, {"", "x"}},
        {"ab\"c d\"e", 16, {"ab\"c", "d\"e"}},  // a quote inside a plain word is ordinary
        {"a \"b c", 16, {"a", "b c"}},          // a word still open at the end is stored
        {"a bc", 16, {"a", "bc"}},
        {"a b c d", 2, {"a", "b"}},
    };
    for (const auto& c : cases) EXPECT_EQ(tokenize(c.text, c.limit), c.words) << c.text;
    std::string many;
    for (int i = 0; i < 20; i++) many += "w" + std::to_string(i) + " ";
    Words words = tokenize(many);
    ASSERT_EQ(words.size(), 16u);
    EXPECT_EQ(words.back(), "w15");
}

TEST(ExportCif, OutputFilesAndTheStructureHeldStayUnchanged) {
    Session s;
    auto r = s.run("export cif\nexport cif ins sad updatelabel P1 -o changed.cif\nexport cif -o again.cif\n"
                   "export cif -o \"my out.cif\"\nexport cif -o first.cif -o second.cif\n");
    std::string out = command_output(r.out);
    EXPECT_EQ(out.find("Exporting to CIF file...\n> No file output specified... writing to ZEMU.cif instead\n"
                       "Finished exporting.\nExporting to CIF file...\n"),
              0u);
    EXPECT_TRUE(contains(out, "> Exporting to my out.cif\n"));
    EXPECT_EQ(s.dir.read("ZEMU.cif"), plain_export());
    // Earlier exports with every option leave the structure held as it was.
    EXPECT_NE(s.dir.read("changed.cif"), plain_export());
    EXPECT_EQ(s.dir.read("again.cif"), plain_export());
    EXPECT_EQ(s.dir.read("my out.cif"), plain_export());
    // A second -o wins; the first file is created and left empty.
    EXPECT_TRUE(s.dir.exists("first.cif"));
    EXPECT_EQ(s.dir.read("first.cif"), "");
    EXPECT_EQ(s.dir.read("second.cif"), plain_export());
}

TEST(ExportCif, InterstitialsThenP1IntoNamedFile) {
    Session s;
    // With a probe that has no site in the structure every minimum is an interstitial.
    auto r = s.run("export cif ins -o out.cif P1\nexport cif insert P1x -o prefixed.cif\n", {}, "K1+");
    EXPECT_EQ(command_output(r.out).find("Exporting to CIF file...\n> Exporting to out.cif\n"
                                         "> Adding interstitial sites into CIF...\n"
                                         "> Converting to P1 symmetry...\nFinished exporting.\n"),
              0u);
    EXPECT_FALSE(s.dir.exists("ZEMU.cif"));
    // Each site appears once per copy, at its own position (the P1 expansion keeps the source record).
    std::string is = site_row("i1", "IS", 2, 0.25, 0.5, 0.5);
    EXPECT_EQ(s.dir.read("out.cif"),
              cif_text(true, {{"Li1+", 1.0}, {"O2-", -2.0}, {"IS", 0.0}}, kLi + kLi + kO + is + is));
    // Options are matched by prefix: "insert" acts as "ins", "P1x" as "P1".
    EXPECT_EQ(s.dir.read("prefixed.cif"), s.dir.read("out.cif"));
}

TEST(ExportCif, MissingArgumentsAndUnwritableFilesAreReported) {
    Session s;
    auto r = s.run("export cif -o\nexport cif supercell 2 2\n");
    EXPECT_EQ(command_output(r.out), "Exporting to CIF file...\nExporting to CIF file...\n");
    const std::string invalid =
        "Error: Invalid input to export cif. Please check 'help export cif' for more information.\n";
    EXPECT_EQ(r.err, invalid + invalid);
    EXPECT_FALSE(s.dir.exists("ZEMU.cif"));

    ASSERT_EQ(mkdir(s.dir.file("ZEMU.cif").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(s.dir.file("taken").c_str(), 0755), 0);
    r = s.run("export cif\nexport cif -o taken\n");
    EXPECT_EQ(r.err, "Error: Unable to write to ZEMU.cif\nError: Unable to write to taken\n");
    EXPECT_EQ(r.status, 0);
}

TEST(ExportCif, RefusedExportsLeaveNoFileBehind) {
    Session s;
    auto r = s.run("export cif supercell 20 20 20 -o big.cif\nexport cif supercell 11 10 10\n"
                   "export cif -o half.cif supercell 2 2\nexport cif -o first.cif -o\n"
                   "export cif supercell 1 1 2 -o fine.cif\n");
    const std::string invalid =
        "Error: Invalid input to export cif. Please check 'help export cif' for more information.\n";
    EXPECT_EQ(r.err, "Error: Invalid supercell dimension\nError: Invalid supercell dimension\n" + invalid + invalid);
    EXPECT_TRUE(contains(command_output(r.out), "> Exporting to big.cif\n> Building supercell 20 x 20 x 20\n"
                                                "Exporting to CIF file...\n"));
    for (const char* name : {"big.cif", "ZEMU.cif", "half.cif", "first.cif"}) EXPECT_FALSE(s.dir.exists(name)) << name;
    EXPECT_TRUE(contains(s.dir.read("fine.cif"), "_cell_length_c                    16.000000\n"));
}

TEST(ExportCif, SupercellIsBuiltFromTheLoadedStructureWithWholeAtoms) {
    // Li1 half occupied (one Li per cell) balanced by F1- at the origin.
    Session s(fx::p1bar_cif("Li1", 0.25, 0.5, "F1-", -1));
    auto r = s.run("export cif supercell 2 2 1 ins sad\nexport cif -o after.cif\n");
    EXPECT_TRUE(contains(command_output(r.out), "> Adding interstitial sites into CIF...\n"
                                                "> Adding saddle points into CIF...\n"
                                                "> Building supercell 2 x 2 x 1\n"
                                                "Finished exporting.\n"));
    std::string cif = s.dir.read("ZEMU.cif");
    EXPECT_TRUE(contains(cif, "_cell_length_a                    8.000000\n"
                              "_cell_length_b                    16.000000\n"
                              "_cell_length_c                    8.000000\n"));
    EXPECT_TRUE(contains(cif, "'P 1'"));

    // Candidate positions: the two Li copies and the one F copy repeated over 2 x 2 x 1 cells.
    std::set<std::tuple<long, long, long>> li_sites, f_sites, placed;
    for (double x : {0.125, 0.375, 0.625, 0.875})
        for (double y : {0.25, 0.75}) li_sites.insert(key(x, y, 0.5));
    for (double x : {0.0, 0.5})
        for (double y : {0.0, 0.5}) f_sites.insert(key(x, y, 0.0));
    int li = 0, f = 0;
    for (const SiteRow& row : site_rows(cif)) {
        auto at = key(row.x, row.y, row.z);
        EXPECT_EQ(row.mul, 1);
        EXPECT_DOUBLE_EQ(row.occ, 1.0);
        EXPECT_TRUE(placed.insert(at).second) << "two atoms on one position";
        if (row.type == "Li1+") {
            li++;
            EXPECT_TRUE(li_sites.count(at)) << row.x << " " << row.y << " " << row.z;
        } else if (row.type == "F1-") {
            f++;
            EXPECT_TRUE(f_sites.count(at));
        } else {
            ADD_FAILURE() << "unexpected site type " << row.type;  // no IS or SD site in a supercell
        }
    }
    EXPECT_EQ(li, 4);  // 0.5 x 2 copies x 4 cells: the cell stays neutral
    EXPECT_EQ(f, 4);

    // The structure held by the command mode is unchanged by the export.
    EXPECT_EQ(site_rows(s.dir.read("after.cif")).size(), 2u);
    EXPECT_TRUE(contains(s.dir.read("after.cif"), "'P -1'"));
}

TEST(ExportCif, WordsBeyondTheSixteenthAreIgnored) {
    Session s;
    std::string filler;
    for (int i = 0; i < 13; i++) filler += " x";
    // "ins" is the 16th word in the first line and the 17th in the second.
    auto r = s.run("export cif" + filler + " ins\nexport cif" + filler + " x ins -o late.cif\n", {}, "K1+");
    std::string out = command_output(r.out);
    size_t first = out.find("> Adding interstitial sites into CIF...\n");
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(out.find("> Adding interstitial sites into CIF...\n", first + 1), std::string::npos);
    EXPECT_FALSE(s.dir.exists("late.cif"));  // "-o" was beyond the limit too
}

TEST(ExportCif, MobileIonSitesMovedOntoTheMinimaAndSaddleTypesAdded) {
    // The Li site sits off the grid minimum (0.26 instead of 0.25) under its own label.
    Session s(fx::p1bar_cif("LiA", 0.26));
    auto r = s.run("export cif updatecoor -o coor.cif\nexport cif updatelabel updatecoor -o label.cif\n"
                   "export cif sad -o sad.cif\n");
    std::string out = command_output(r.out);
    EXPECT_TRUE(contains(out, "> Updating mobile ion site coordinates...\n"));
    EXPECT_TRUE(contains(out, "> Updating mobile ion site coordinates and labels...\n"));
    EXPECT_FALSE(contains(out.substr(out.find("label.cif")), "> Updating mobile ion site coordinates...\n"));
    EXPECT_TRUE(contains(out, "> Adding saddle points into CIF...\n"));
    const std::vector<std::pair<const char*, double>> types = {{"Li1+", 1.0}, {"O2-", -2.0}, {"IS", 0.0}};
    EXPECT_EQ(s.dir.read("coor.cif"), cif_text(false, types, kO + site_row("LiA", "Li1+", 2, 0.25, 0.5, 0.5)));
    EXPECT_EQ(s.dir.read("label.cif"), cif_text(false, types, kO + kLi));

    std::vector<SiteRow> rows = site_rows(s.dir.read("sad.cif"));
    ASSERT_EQ(rows.size(), 6u);
    const char* labels[] = {"s1", "s2", "s3", "s4"};
    const int muls[] = {2, 2, 1, 1};
    for (size_t t = 0; t < 4; t++) {
        EXPECT_EQ(rows[t + 2].label, labels[t]);
        EXPECT_EQ(rows[t + 2].type, "SD");
        EXPECT_EQ(rows[t + 2].mul, muls[t]);
    }
    EXPECT_DOUBLE_EQ(rows[2].z, 0.0);  // s1 on a c-axis maximum plane
    EXPECT_DOUBLE_EQ(rows[3].y, 0.0);  // s2 on a b-axis maximum plane
    EXPECT_DOUBLE_EQ(rows[4].y, 0.5);
}
