// End-to-end runs of the structure reports and the structure reader's failures.
// shared_site.cif: a small cell whose mobile Li site shares its position with Na
// (same multiplicity and Wyckoff letter, 0.2 Angstrom apart along a).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

const std::string kSharedSite = zemu_test::slurp(zemu_test::data_file("sites/shared_site.cif"));

// Runs zemu on s.cif (the text given) or on a file named in args; its standard
// output must equal the golden report and its standard error `err`.
void expect_report(const std::string& golden, const std::vector<std::string>& args, const std::string& err = "",
                   bool with_bin = true) {
    SCOPED_TRACE(golden);
    WorkDir wd(with_bin);
    wd.write("s.cif", kSharedSite);
    RunResult r = wd.run(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, err);
    EXPECT_EQ(r.out, zemu_test::slurp(zemu_test::data_file("sites/" + golden)));
}

}  // namespace

// The five structure reports in the driver's order, all on standard output; the
// bond valence sums are those of the unit tests' checked computation. The shared
// site is reported with the ICSD code; its charge is 2 x (0.5 + 0.5) x 1 - 2 x 1 = 0.
// Without a bond valence table the sums print nothing and the GII its error line.
TEST(RunStructureReports, ReportsOnTheBundledExampleAndASharedSite) {
    expect_report("LiFePO4_structure.txt", {"--cif", zemu_test::source_file("examples/LiFePO4/structure.cif"), "Li1+",
                                            "--check-subs", "--check-sub", "--calc-gii", "--calc-bvsum",
                                            "--calc-charge"});
    expect_report("shared_site.txt", {"--cif", "s.cif", "Li1+", "--check-sub", "--check-subs", "--calc-charge"});
    expect_report("shared_site_no_table.txt", {"--cif", "s.cif", "--calc-bvsum", "--calc-gii"},
                  "Error: Cannot load database_binary.dat!\nError: Cannot load database_binary.dat!\n", false);
}

TEST(RunStructureReader, EveryFailureEndsTheRunWithItsMessage) {
    auto replace = [](const std::string& from, const std::string& to) {
        std::string s = kSharedSite;
        size_t p = s.find(from);
        EXPECT_NE(p, std::string::npos) << from;
        return p == std::string::npos ? s : s.replace(p, from.size(), to);
    };
    struct Case {
        const char* name;
        std::string cif;
        const char* err;
    } cases[] = {
        {"text field never closed",
         replace("_database_code_ICSD 123456\n", "_chemical_formula_structural\n;\nLi Cl\n" + std::string(11, '\n')),
         "Error: ZEMU_CIF_MAX_MULTIPLE_LINES exceeded\n"},
        {"type loop without rows", replace("Li1+ 1\nNa1+ 1\nCl1- -1\n", ""),
         "Error: Atom type is expected but not found!\n"},
        {"no fractional z column", replace("_atom_site_fract_z\n", ""), "Error: Missing _atom_site_fract entries\n"},
        {"first row too short", replace("Li1 Li1+ 2 i 0.10 0.20 0.30 0.5\n", "Li1 Li1+ 2 i 0.10 0.20 0.30\n"),
         "Error: No site is found!\n"},
        {"zero cell angle", replace("_cell_angle_beta 90\n", "_cell_angle_beta 0\n"),
         "Error: Invalid lattice parameters\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WorkDir wd;
        wd.write("s.cif", c.cif);
        RunResult r = wd.run({"--cif", "s.cif", "Li1+", "--calc-charge"});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, c.err);
    }
    RunResult r = WorkDir().run({"--cif", "missing.cif", "--calc-charge"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "Error: Unable to open CIF file\n");
}
