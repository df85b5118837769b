// Structure import: a corpus of real files checked against their own facts, the
// record against what the structure reader gives back, the oxidation-state search,
// the quirks of files in the wild, the refusals and the executable against zemu.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ZEMU-bv.h"
#include "ZEMU-import.h"
#include "fixtures.h"

namespace {

using zemu_test::data_file;
using zemu_test::source_file;

// An import of a file, released afterwards.
struct Imported {
    ZEMU_cif cif;
    ZEMU_import_report report;
    int rc;

    explicit Imported(const std::string& path, const std::string& oxi = "") {
        ZEMU_import_options options;
        options.oxi = oxi;
        rc = ZEMU_import_structure(path.c_str(), &options, &cif, &report);
    }
    ~Imported() { ZEMU_free_cif(&cif); }
};

std::string corpus(const std::string& name) { return data_file("import/" + name); }

// want is "El:v El:v ...": the same elements with what the import gives, the atoms
// per cell (occupancy included) or, with states, the element's states ("Fe:2,3").
std::string found(const Imported& im, const std::string& want, bool states) {
    std::istringstream in(want);
    std::string out;
    for (std::string word; in >> word;) {
        const std::string el = word.substr(0, word.find(':'));
        std::string value;
        double count = 0.0;
        for (int s = 0; s < im.cif.site_no; s++) {
            char site_el[ZEMU_CIF_LABEL_SIZE];
            ZEMU_get_element_symbol(im.cif.site[s].type, site_el);
            if (el == site_el) count += im.cif.site[s].occ * im.cif.site[s].mul;
        }
        char text[32];
        snprintf(text, sizeof text, "%g", std::round(count * 1000) / 1000);
        for (const ZEMU_import_oxidation& o : im.report.states)
            for (size_t k = 0; states && o.element == el && k < o.states.size(); k++) {
                char state[32];
                snprintf(state, sizeof state, "%s%g", k ? "," : "", o.states[k]);
                value += state;
            }
        out += (out.empty() ? "" : " ") + el + ":" + (states ? value : text);
    }
    return out;
}

// Rows of a table file ("a | b | c" per line, '#' lines are comments).
std::vector<std::vector<std::string>> table(const std::string& path) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string& line : fx::lines_of(zemu_test::slurp(path))) {
        if (line.empty() || line[0] == '#') continue;
        rows.emplace_back();
        for (size_t at = 0, bar = 0; bar != std::string::npos; at = bar + 3)
            rows.back().push_back(line.substr(at, (bar = line.find(" | ", at)) - at));
    }
    return rows;
}

// Every field of a record the import fills in, exactly.
std::string describe(const ZEMU_cif& c) {
    std::ostringstream s;
    s.precision(17);
    s << c.a << ' ' << c.b << ' ' << c.c << ' ' << c.alpha << ' ' << c.beta << ' ' << c.gamma << ' ' << c.volume
      << " [" << c.spacegroup_HM << "] " << c.int_tab_cryst_no << ' ' << c.z << " ["
      << std::string(c.ICSD, strnlen(c.ICSD, sizeof c.ICSD)) << "] " << c.site_charge_provided << ' ' << c.d4 << ' '
      << c.d5 << ' ' << c.d6 << '\n';
    for (int k = 0; k < c.symop_no; k++) s << c.symop[k] << '\n';
    for (int t = 0; t < c.type_no; t++)
        s << c.type[t].label << ' ' << c.type[t].label_element << ' ' << c.type[t].ox << ' ' << c.type[t].flag << '\n';
    for (int i = 0; i < c.site_no; i++) {
        const ZEMU_site& p = c.site[i];
        s << p.label << ' ' << p.type << ' ' << p.x << ' ' << p.y << ' ' << p.z << ' ' << p.occ << ' ' << p.mul << ' '
          << p.ox << ' ' << p.type_flag << ' ' << p.Wyckoff << '\n';
    }
    return s.str();
}

// The record written by the import and read back by the structure reader is the same record.
void expect_round_trip(ZEMU_cif* cif) {
    zemu_test::WorkDir dir(false);
    std::string out = dir.file("out.cif"), error;
    ASSERT_EQ(ZEMU_import_write_cif(cif, out.c_str(), &error), 0) << error;
    ZEMU_cif back;
    ZEMU_init_cif(&back);
    ASSERT_EQ(ZEMU_load_cif(&out[0], &back), 0);
    EXPECT_EQ(describe(back), describe(*cif));
    ZEMU_free_cif(&back);
}

}  // namespace

// What each file of the corpus stands for is in tests/data/import/README.md, what the
// import must give in tests/data/import/expected.txt.
TEST(ImportCorpus, FilesGiveTheirFormulaSitesAndStatesAndReadBackExactly) {
    const auto rows = table(corpus("expected.txt"));
    EXPECT_EQ(rows.size(), 15u);
    for (const std::vector<std::string>& want : rows) {
        ASSERT_EQ(want.size(), 6u);
        SCOPED_TRACE(want[0]);
        Imported im(corpus(want[0]));
        ASSERT_EQ(im.rc, 0) << im.report.error;
        const bool neutral = std::fabs(ZEMU_calc_unit_cell_charge(&im.cif) / im.report.z) < 0.01;
        EXPECT_EQ(std::vector<std::string>({want[0], found(im, want[1], false), std::to_string(im.cif.site_no),
                                            im.report.symmetry_source, found(im, want[4], true),
                                            neutral ? "neutral" : "charged"}), want);
        expect_round_trip(&im.cif);
    }
    // the structure reader's own test files read back alike
    for (const char* f : {"cif_LiFePO4.cif", "cif_messy.cif", "sub_mixed_site.cif"}) {
        Imported reader_file(data_file(f));
        ASSERT_EQ(reader_file.rc, 0) << reader_file.report.error;
        expect_round_trip(&reader_file.cif);
    }
}

TEST(ImportOxidation, NothingBalancesAndGivenStatesWin) {
    // NaCl2: Na is only +1 and Cl only -1; by hand it reads. Occupancies that do not
    // add up: the nearest miss is named, and the states given by hand read.
    const struct { const char *file, *oxi, *error; } cases[] = {
        {"oxi/NaCl2.cif", "", "Na, Cl"}, {"oxi/NaCl2.cif", "Na=2", ""}, {"oxi/NaCl2.cif", "Na2", "--oxi"},
        {"Li10GeP2S12.cif", "", "nearest: Li+1 Ge+4 P+5 S-2 leaves +0.0"},
        {"Li10GeP2S12.cif", "Li=1,Ge=4,P=5,S=-2", ""}};
    for (const auto& c : cases) {
        Imported im(corpus(c.file), c.oxi);
        EXPECT_EQ(im.rc, *c.error ? 1 : 0) << c.file << " " << c.oxi;
        EXPECT_NE(im.report.error.find(c.error), std::string::npos) << im.report.error;
    }
    // The hand wins over the file (LiFePO4 declares Fe2+ and P5+).
    Imported over(source_file("examples/LiFePO4/structure.cif"), "Fe=3,P=4");
    ASSERT_EQ(over.rc, 0) << over.report.error;
    EXPECT_EQ(found(over, "Fe:3 P:4 Li:1", true), "Fe:3 P:4 Li:1");
    for (const ZEMU_import_oxidation& o : over.report.states)
        EXPECT_EQ(o.source, o.element == "Fe" || o.element == "P" ? "given" : "file") << o.element;
    EXPECT_EQ(over.report.oxidation, "given");
    // A state given as a fraction is reported as given, not rounded.
    Imported half(source_file("examples/LiFePO4/structure.cif"), "Fe=2.5,P=4.5");
    ASSERT_EQ(half.rc, 0) << half.report.error;
    EXPECT_EQ(found(half, "Fe:2.5 P:4.5", true), "Fe:2.5 P:4.5");
}

// Positions of every atom of the cell, sorted, for comparing two readings.
static std::vector<std::string> cell_atoms(ZEMU_cif* cif) {
    ZEMU_add_P1_to_cif(cif);
    std::vector<std::string> atoms;
    auto w = [](double v) { return v - std::floor(v + 1e-9); };
    for (int a = 0; a < cif->site_all_no; a++) {
        const ZEMU_site& s = cif->site_all[a];
        char text[96];
        snprintf(text, sizeof text, "%s %.4f %.4f %.4f %.2f %.2f", s.type, w(s.x), w(s.y), w(s.z), s.occ, s.ox);
        atoms.push_back(text);
    }
    std::sort(atoms.begin(), atoms.end());
    return atoms;
}

// Spellings of operations, charges and symmetry, every atom listed, other blocks,
// stray bytes, a group number no table has: one P 21/c structure.
TEST(ImportWild, SpellingsGiveOneStructure) {
    Imported plain(corpus("wild/plain.cif"));
    ASSERT_EQ(plain.rc, 0) << plain.report.error;
    const std::vector<std::string> want = cell_atoms(&plain.cif);
    EXPECT_EQ(want.size(), 4u + 4u + 2u + 2u);
    int variants = 0;
    for (const auto& entry : std::filesystem::directory_iterator(corpus("wild"))) {
        SCOPED_TRACE(entry.path().filename());
        Imported im(entry.path().string());
        ASSERT_EQ(im.rc, 0) << im.report.error;
        EXPECT_EQ(cell_atoms(&im.cif), want);
        EXPECT_EQ(im.cif.site_no, 4);
        variants++;
    }
    EXPECT_EQ(variants, 11);
}

TEST(ImportRefusal, BadFilesAreRefusedWithTheirCause) {
    const auto rows = table(corpus("bad/causes.txt"));
    EXPECT_EQ(rows.size(), 19u);
    for (const std::vector<std::string>& c : rows) {
        SCOPED_TRACE(c[0]);
        Imported im(corpus("bad/" + c[0] + ".cif"));
        EXPECT_EQ(im.rc, 1);
        EXPECT_NE(im.report.error.find(c[1]), std::string::npos) << im.report.error;
        EXPECT_EQ(im.report.error.find('\n'), std::string::npos);
        EXPECT_EQ(im.report.error.find(c[0] + ".cif"), std::string::npos) << "the front end names it";
    }
}

TEST(ImportExe, WrittenFilesGiveZemuTheSameReports) {
    // The examples on their own landscapes; the structure reader's test files on the LiFePO4 one.
    std::vector<std::vector<std::string>> runs;  // structure, landscape, ion
    for (const char* ex : {"LiFePO4", "Na2UO4"})
        runs.push_back({source_file(std::string("examples/") + ex + "/structure.cif"),
                        source_file(std::string("examples/") + ex + "/landscape.cube"), *ex == 'L' ? "Li1+" : "Na1+"});
    for (const char* f :
         {"cif_LiFePO4.cif", "cif_Na2UO4.cif", "cif_messy.cif", "gridsym_p21c.cif", "sub_mixed_site.cif"})
        runs.push_back({data_file(f), source_file("examples/LiFePO4/landscape.cube"), "Li1+"});
    for (const auto& run : runs) {
        SCOPED_TRACE(run[0]);
        zemu_test::WorkDir dir;
        zemu_test::RunResult imp = dir.run_program(ZEMU_IMPORT_EXE, {run[0], "-o", "out.cif"});
        ASSERT_EQ(imp.status, 0) << imp.err;
        zemu_test::RunResult r[2];
        for (int i = 0; i < 2; i++)
            r[i] = dir.run({"--cube", run[1], "--cif", i ? "out.cif" : run[0], run[2], "--print-minima",
                            "--print-saddle", "--path", "--print-act"});
        EXPECT_EQ(r[0].status, 0);
        EXPECT_NE(r[0].out.find("activation energy"), std::string::npos) << r[0].out;
        EXPECT_EQ(r[1].out + r[1].err + std::to_string(r[1].status), r[0].out + r[0].err + std::to_string(r[0].status));
    }
}

TEST(ImportExe, SummaryJsonAndRefusals) {
    zemu_test::WorkDir dir;
    const zemu_test::RunResult text = dir.run_program(ZEMU_IMPORT_EXE, {corpus("MultiStructure.cif")});
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("Formula: Li1 Fe1 P1 O4  Z = 4"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("data_72545-ICSD"), std::string::npos) << text.out;
    const zemu_test::RunResult json = dir.run_program(ZEMU_IMPORT_EXE, {corpus("Fe3O4.cif"), "--json"});
    EXPECT_NE(json.out.find("\"oxidation_source\":\"assigned\""), std::string::npos) << json.out;
    EXPECT_EQ(json.out.find('\n'), json.out.size() - 1);
    dir.write("bad.cif", "data_x\nloop_\n_atom_site_label\n_atom_site_fract_x\nLi1 0.1\n");
    const std::pair<std::vector<std::string>, const char*> refusals[] = {
        {{"a.cif", "b.cif"}, "Error: "}, {{"bad.cif", "-o", "out.cif"}, "Error: bad.cif: "},
        {{"nothere.cif"}, "Error: nothere.cif: "}};
    for (const auto& c : refusals) {
        const zemu_test::RunResult r = dir.run_program(ZEMU_IMPORT_EXE, c.first);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err.rfind(c.second, 0), 0u) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1);
    }
    EXPECT_FALSE(dir.exists("out.cif"));
    EXPECT_FALSE(dir.exists("out.cif.tmp"));
}
