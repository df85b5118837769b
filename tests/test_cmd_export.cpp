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

