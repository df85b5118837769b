// End-to-end runs of the structure reports and the structure reader's failures.
#include <gtest/gtest.h>

#include <string>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

// A small rock-salt-like cell with a mobile Li site sharing its position with Na
// (same multiplicity and Wyckoff letter, 0.2 Angstrom apart along a).
const char kSharedSiteCif[] =
    "data_shared\n"
    "_database_code_ICSD 123456\n"
    "_cell_length_a 4.0000(2)\n"
    "_cell_length_b 4.0000\n"
    "_cell_length_c 4.0000\n"
    "_cell_angle_alpha 90\n"
    "_cell_angle_beta 90\n"
    "_cell_angle_gamma 90\n"
    "loop_\n"
    "_symmetry_equiv_pos_site_id\n"
    "_symmetry_equiv_pos_as_xyz\n"
    "1 'x, y, z'\n"
    "2 '-x, -y, -z'\n"
    "loop_\n"
    "_atom_type_symbol\n"
    "_atom_type_oxidation_number\n"
    "Li1+ 1\n"
    "Na1+ 1\n"
    "Cl1- -1\n"
    "loop_\n"
    "_atom_site_label\n"
    "_atom_site_type_symbol\n"
    "_atom_site_symmetry_multiplicity\n"
    "_atom_site_Wyckoff_symbol\n"
    "_atom_site_fract_x\n"
    "_atom_site_fract_y\n"
    "_atom_site_fract_z\n"
    "_atom_site_occupancy\n"
    "Li1 Li1+ 2 i 0.10 0.20 0.30 0.5\n"
    "Na1 Na1+ 2 i 0.15 0.20 0.30 0.5\n"
    "Cl1 Cl1- 2 i 0.60 0.70 0.80 1.\n";

}  // namespace

// The five structure reports run in the driver's order, all on standard output;
// the bond valence sums are those of the unit tests' checked computation.
TEST(RunStructureReports, AllFiveReportsInOrderOnTheBundledExample) {
    WorkDir wd;
    RunResult r = wd.run({"--cif", zemu_test::source_file("examples/LiFePO4/structure.cif"), "Li1+", "--check-subs",
                          "--check-sub", "--calc-gii", "--calc-bvsum", "--calc-charge"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out,
              "Total charge per unit cell: 0.000\n"
              "Printing bond valence sum for each site...\n"
              "> Label [X Y Z] : BV_sum\n"
              "> Li1 [0.000 0.000 0.000] : 0.954194\n"
              "> Fe1 [0.218 0.750 0.476] : 1.873105\n"
              "> P1 [0.095 0.250 0.419] : 4.756995\n"
              "> O1 [0.043 0.750 0.706] : -1.899639\n"
              "> O2 [0.097 0.250 0.743] : -1.862628\n"
              "> O3 [0.166 0.047 0.286] : -1.911013\n"
              "End of BV sum calculation.\n"
              "Li1 : 0.954194 Ox 1.000000 Mul 4 Occ 1.000000\n"
              "Fe1 : 1.873105 Ox 2.000000 Mul 4 Occ 1.000000\n"
              "P1 : 4.756995 Ox 5.000000 Mul 4 Occ 1.000000\n"
              "O1 : -1.899639 Ox -2.000000 Mul 4 Occ 1.000000\n"
              "O2 : -1.862628 Ox -2.000000 Mul 4 Occ 1.000000\n"
              "O3 : -1.911013 Ox -2.000000 Mul 8 Occ 1.000000\n"
              "Global instability index: 0.132035\n"
              "ICSD:  Not substituted\n"
              "ICSD:  Not substituted\n");
}

TEST(RunStructureReports, SharedSiteIsReportedWithTheIcsdCode) {
    WorkDir wd;
    wd.write("s.cif", kSharedSiteCif);
    RunResult r = wd.run({"--cif", "s.cif", "Li1+", "--check-sub", "--check-subs", "--calc-charge"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    // Charge: 2 x (0.5 + 0.5) x 1 - 2 x 1 = 0.
    EXPECT_EQ(r.out,
              "Total charge per unit cell: 0.000\n"
              "ICSD: 123456 Yes, substituted\n"
              "ICSD: 123456 Yes, substituted\n");

    // Without a bond valence table the sums print nothing and the GII its error line;
    // the run still succeeds.
    WorkDir bare(false);
    bare.write("s.cif", kSharedSiteCif);
    r = bare.run({"--cif", "s.cif", "--calc-bvsum", "--calc-gii"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Error: Unable to calculate GII\n");
    EXPECT_EQ(r.err, "Error: Cannot load database_binary.dat!\nError: Cannot load database_binary.dat!\n");
}

TEST(RunStructureReader, EveryFailureEndsTheRunWithItsMessage) {
    const std::string good(kSharedSiteCif);
    auto replace = [&](const std::string& from, const std::string& to) {
        std::string s = good;
        size_t p = s.find(from);
        EXPECT_NE(p, std::string::npos) << from;
        if (p != std::string::npos) s.replace(p, from.size(), to);
        return s;
    };
    struct Case {
        const char* name;
        std::string cif;
        const char* err;
    } cases[] = {
        {"text field never closed",
         replace("_database_code_ICSD 123456\n",
                 "_chemical_formula_structural\n;\nLi Cl\n\n\n\n\n\n\n\n\n\n\n\n"),
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

    WorkDir wd;
    RunResult r = wd.run({"--cif", "missing.cif", "--calc-charge"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "Error: Unable to open CIF file\n");
}
