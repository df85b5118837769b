// End-to-end runs of the structure reports and the structure reader's failures.
// shared_site.cif: a cell whose Li site shares its place with Na (same multiplicity
// and Wyckoff letter, 0.2 Angstrom apart); the other structures each break it once.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

// Runs zemu in a directory (with or without bin/); the run succeeds, its standard
// output equals the golden report and its standard error `err`.
void expect_report(const std::string& golden, const std::vector<std::string>& args, const std::string& err = "",
                   bool with_bin = true) {
    SCOPED_TRACE(golden);
    RunResult r = WorkDir(with_bin).run(args);
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
    const std::string shared = zemu_test::data_file("sites/shared_site.cif");
    expect_report("LiFePO4_structure.txt", {"--cif", zemu_test::source_file("examples/LiFePO4/structure.cif"), "Li1+",
                                            "--check-subs", "--check-sub", "--calc-gii", "--calc-bvsum",
                                            "--calc-charge"});
    expect_report("shared_site.txt", {"--cif", shared, "Li1+", "--check-sub", "--check-subs", "--calc-charge"});
    expect_report("shared_site_no_table.txt", {"--cif", shared, "--calc-bvsum", "--calc-gii"},
                  "Error: Cannot load database_binary.dat!\nError: Cannot load database_binary.dat!\n", false);
}

TEST(RunStructureReader, EveryFailureEndsTheRunWithItsMessage) {
    const std::pair<const char*, const char*> cases[] = {
        {"unclosed_text_field.cif", "Error: ZEMU_CIF_MAX_MULTIPLE_LINES exceeded\n"},
        {"type_loop_without_rows.cif", "Error: Atom type is expected but not found!\n"},
        {"no_fract_z.cif", "Error: Missing _atom_site_fract entries\n"},
        {"short_first_row.cif", "Error: No site is found!\n"},
        {"zero_cell_angle.cif", "Error: Invalid lattice parameters\n"},
        {"missing.cif", "Error: Unable to open CIF file\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        const std::string file = zemu_test::data_file(std::string("sites/") + c.first);
        RunResult r = WorkDir().run({"--cif", file, "Li1+", "--calc-charge"});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, c.second);
    }
}
