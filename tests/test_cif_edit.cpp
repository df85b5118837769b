// Structure editing: site and type lists, copies, splitting of fractional
// oxidation states, whole-atom counts, P1 supercells and the CIF writer.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ZEMU-cif.h"
#include "e2e_util.h"

using zemu_test::WorkDir;

namespace {

char* txt(const char* s) { return const_cast<char*>(s); }

// An orthorhombic structure built in code and released at the end of the test.
struct Structure {
    ZEMU_cif cif;
    explicit Structure(const std::vector<std::string>& ops = {"x,y,z"}) {
        ZEMU_init_cif(&cif);
        cif.a = 4.0;
        cif.b = 5.0;
        cif.c = 6.0;
        cif.alpha = cif.beta = cif.gamma = 90.0;
        cif.z = 2;
        ZEMU_is_valid_lattice_parameters(&cif);
        ZEMU_calc_cif_d_parameters(&cif);
        ZEMU_free_cif_symop(&cif);
        cif.symop_no = (int)ops.size();
        ZEMU_alloc_cif_symop(&cif);
        for (size_t k = 0; k < ops.size(); k++) strcpy(cif.symop[k], ops[k].c_str());
    }
    ~Structure() { ZEMU_free_cif(&cif); }
    void site(const char* label, const char* type, double x, double y, double z, int mul, double occ, double ox) {
        ZEMU_add_cif_site(&cif, txt(label), txt(type), x, y, z, mul, 'a', occ, ox);
    }
    void type(const char* label, double ox) { ZEMU_add_cif_type(&cif, txt(label), ox, &cif.type_flag_counter); }
};

std::string write_to_string(ZEMU_cif* cif) {
    WorkDir dir(false);
    FILE* f = fopen(dir.file("out.cif").c_str(), "w");
    ZEMU_write_cif(cif, f);
    fclose(f);
    return dir.read("out.cif");
}

std::vector<std::string> type_labels(const ZEMU_cif& cif) {
    std::vector<std::string> out;
    for (int t = 0; t < cif.type_no; t++) out.emplace_back(cif.type[t].label);
    return out;
}

std::string ops_count_and_first(const ZEMU_cif& cif) {
    return std::to_string(cif.symop_no) + " " + (cif.symop_no > 0 ? cif.symop[0] : "");
}

double placed_charge(const ZEMU_cif& cif) {
    double q = 0;
    for (int s = 0; s < cif.site_no; s++) q += cif.site[s].ox * cif.site[s].occ * cif.site[s].mul;
    return q;
}

}  // namespace

TEST(CifEdit, AppendedSiteAddsOneOnceToNegativeCoordinates) {
    Structure s;
    s.site("A", "O2-", -0.25, -1.25, 0.5, 2, 1.0, -2.0);
    EXPECT_DOUBLE_EQ(s.cif.site[0].x, 0.75);
    EXPECT_DOUBLE_EQ(s.cif.site[0].y, -0.25);
    EXPECT_DOUBLE_EQ(s.cif.site[0].z, 0.5);
    EXPECT_EQ(s.cif.site[0].type_flag, -1);
}

TEST(CifEdit, SitesAreInsertedAndRemovedKeepingOrder) {
    Structure s;
    s.site("A", "X", 0, 0, 0, 1, 1, 0);
    s.site("C", "Y", 0, 0, 0, 1, 1, 0);
    ASSERT_EQ(ZEMU_ins_cif_site(&s.cif, txt("B"), txt("X"), 0, 0, 0, 1, 'a', 1, 0, 1), 0);
    s.site("D", "X", 0, 0, 0, 1, 1, 0);
    ASSERT_EQ(s.cif.site_no, 4);
    EXPECT_STREQ(s.cif.site[1].label, "B");
    EXPECT_STREQ(s.cif.site[2].label, "C");
    ASSERT_EQ(ZEMU_remove_cif_site(&s.cif, 0), 0);
    EXPECT_STREQ(s.cif.site[0].label, "B");
    ASSERT_EQ(ZEMU_remove_all_cif_site_by_type(&s.cif, txt("X")), 0);
    ASSERT_EQ(s.cif.site_no, 1);
    EXPECT_STREQ(s.cif.site[0].label, "C");
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_remove_cif_site(&s.cif, 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid input to ZEMU_remove_cif_site()\n");
}

TEST(CifEdit, TypesTakeFlagsFromTheCounter) {
    Structure s;
    s.type("Li1+", 1);
    s.type("O2-", -2);
    int flag = 10;
    ASSERT_EQ(ZEMU_ins_cif_type(&s.cif, txt("Fe2+"), 2, &flag, 1), 0);
    EXPECT_EQ(flag, 11);
    EXPECT_EQ(type_labels(s.cif), std::vector<std::string>({"Li1+", "Fe2+", "O2-"}));
    EXPECT_EQ(s.cif.type[0].flag, 0);
    EXPECT_EQ(s.cif.type[1].flag, 10);
    EXPECT_EQ(s.cif.type[2].flag, 1);
    EXPECT_STREQ(s.cif.type[1].label_element, "Fe");
    ASSERT_EQ(ZEMU_remove_cif_type(&s.cif, 0), 0);
    EXPECT_EQ(type_labels(s.cif), std::vector<std::string>({"Fe2+", "O2-"}));
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_remove_cif_type(&s.cif, -1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid input to ZEMU_remove_cif_type()\n");
}

TEST(CifEdit, CopyOwnsEveryArray) {
    Structure s({"x,y,z", "-x,-y,-z"});
    s.type("O2-", -2);
    s.site("O1", "O2-", 0.1, 0.2, 0.3, 2, 1, -2);
    ASSERT_EQ(ZEMU_add_P1_to_cif(&s.cif), 0);
    ZEMU_cif copy;
    ASSERT_EQ(ZEMU_copy_cif(&s.cif, &copy), 0);
    EXPECT_NE(copy.site, s.cif.site);
    EXPECT_NE(copy.type, s.cif.type);
    EXPECT_NE(copy.symop, s.cif.symop);
    EXPECT_NE(copy.site_all, s.cif.site_all);
    EXPECT_EQ(copy.site_no_cap, 1);
    EXPECT_EQ(copy.site_all_no, 2);
    EXPECT_STREQ(copy.symop[1], "-x,-y,-z");
    EXPECT_DOUBLE_EQ(copy.c, 6.0);
    ZEMU_free_cif(&s.cif);  // the copy stays intact
    EXPECT_STREQ(copy.site[0].label, "O1");
    EXPECT_NEAR(copy.site_all[1].x, 0.9, 1e-12);
    ZEMU_free_cif(&copy);
}

TEST(CifWriter, WritesTheBlocksInTheirFormat) {
    Structure s({"x,y,z", "-x,-y,-z"});
    strcpy(s.cif.spacegroup_HM, "P -1");
    s.cif.int_tab_cryst_no = 2;
    s.type("Li1+", 1);
    s.site("Li1", "Li1+", 0.1, 0.2, 0.3, 2, 0.5, 1);
    const std::string expected =
        "data_ZEMU\n"
        "_cell_length_a                    4.000000\n"
        "_cell_length_b                    5.000000\n"
        "_cell_length_c                    6.000000\n"
        "_cell_angle_alpha                 90.000000\n"
        "_cell_angle_beta                  90.000000\n"
        "_cell_angle_gamma                 90.000000\n"
        "_cell_volume                      120.000000\n"
        "_symmetry_space_group_name_H-M    'P -1'\n"
        "_symmetry_Int_Tables_number       2\n"
        "_cell_formula_units_Z             2\n"
        "loop_\n_symmetry_equiv_pos_site_id\n_symmetry_equiv_pos_as_xyz\n"
        "  1   'x,y,z'\n"
        "  2   '-x,-y,-z'\n"
        "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\n"
        "Li1+     1.000\n"
        "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_symmetry_multiplicity\n"
        "_atom_site_Wyckoff_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
        "_atom_site_occupancy\n"
        "Li1          Li1+       2 a 0.10000 0.20000 0.30000 0.500\n"
        "#End of data_ZEMU\n";
    EXPECT_EQ(write_to_string(&s.cif), expected);
}

TEST(CifWriter, OmitsSymbolNumberAndZWhenUnset) {
    Structure s;
    s.cif.z = 0;
    std::string text = write_to_string(&s.cif);
    EXPECT_EQ(text.find("_symmetry_space_group_name_H-M"), std::string::npos);
    EXPECT_EQ(text.find("_symmetry_Int_Tables_number"), std::string::npos);
    EXPECT_EQ(text.find("_cell_formula_units_Z"), std::string::npos);
}

TEST(CifWriter, WrittenStructureReadsBackTheSame) {
    ZEMU_cif in;
    ZEMU_init_cif(&in);
    char name[] = ZEMU_TEST_DATA "/cif_Na2UO4.cif";
    ASSERT_EQ(ZEMU_load_cif(name, &in), 0);
    WorkDir dir(false);
    FILE* f = fopen(dir.file("round.cif").c_str(), "w");
    ASSERT_EQ(ZEMU_write_cif(&in, f), 0);
    fclose(f);
    ZEMU_cif back;
    ZEMU_init_cif(&back);
    std::string path = dir.file("round.cif");
    ASSERT_EQ(ZEMU_load_cif(&path[0], &back), 0);
    EXPECT_DOUBLE_EQ(back.a, in.a);
    EXPECT_DOUBLE_EQ(back.c, in.c);
    EXPECT_DOUBLE_EQ(back.gamma, in.gamma);
    EXPECT_DOUBLE_EQ(back.volume, in.volume);
    EXPECT_STREQ(back.spacegroup_HM, in.spacegroup_HM);
    EXPECT_EQ(back.int_tab_cryst_no, in.int_tab_cryst_no);
    EXPECT_EQ(back.z, in.z);
    ASSERT_EQ(back.symop_no, in.symop_no);
    for (int k = 0; k < in.symop_no; k++) EXPECT_STREQ(back.symop[k], in.symop[k]);
    ASSERT_EQ(back.type_no, in.type_no);
    for (int t = 0; t < in.type_no; t++) EXPECT_STREQ(back.type[t].label, in.type[t].label);
    ASSERT_EQ(back.site_no, in.site_no);
    for (int k = 0; k < in.site_no; k++) {
        EXPECT_STREQ(back.site[k].label, in.site[k].label);
        EXPECT_STREQ(back.site[k].type, in.site[k].type);
        EXPECT_EQ(back.site[k].mul, in.site[k].mul);
        EXPECT_EQ(back.site[k].Wyckoff, in.site[k].Wyckoff);
        EXPECT_NEAR(back.site[k].x, in.site[k].x, 6e-6);  // five decimals written
        EXPECT_NEAR(back.site[k].y, in.site[k].y, 6e-6);  // five decimals written
        EXPECT_NEAR(back.site[k].z, in.site[k].z, 6e-6);  // five decimals written
        EXPECT_DOUBLE_EQ(back.site[k].ox, in.site[k].ox);
    }
    ZEMU_free_cif(&in);
    ZEMU_free_cif(&back);
}

TEST(CifFractionalOx, MixedValenceSiteBecomesTwoSites) {
    Structure s;
    s.type("Li1+", 1);
    s.type("Fe", 2.5);
    s.type("O2-", -2);
    s.site("Li1", "Li1+", 0, 0, 0, 1, 1, 1);
    s.site("Fe1", "Fe", 0.5, 0.5, 0.5, 2, 1, 2.5);
    s.site("O1", "O2-", 0.2, 0.2, 0.2, 4, 1, -2);
    s.cif.site[1].Wyckoff = 'c';
    ASSERT_EQ(ZEMU_convert_frac_ox(&s.cif), 0);
    EXPECT_EQ(type_labels(s.cif), std::vector<std::string>({"Li1+", "Fe2+", "Fe3+", "O2-"}));
    ASSERT_EQ(s.cif.site_no, 4);
    const ZEMU_site& lo = s.cif.site[1];
    const ZEMU_site& hi = s.cif.site[2];
    EXPECT_STREQ(lo.type, "Fe2+");
    EXPECT_STREQ(hi.type, "Fe3+");
    EXPECT_STREQ(hi.label, "Fe1");
    EXPECT_DOUBLE_EQ(lo.ox, 2.0);
    EXPECT_DOUBLE_EQ(hi.ox, 3.0);
    EXPECT_DOUBLE_EQ(lo.occ, 0.5);
    EXPECT_DOUBLE_EQ(hi.occ, 0.5);
    EXPECT_EQ(hi.mul, 2);
    EXPECT_EQ(hi.Wyckoff, 'c');
    EXPECT_DOUBLE_EQ(hi.z, 0.5);
    EXPECT_STREQ(s.cif.site[3].label, "O1");
}

TEST(CifFractionalOx, ElementTableFixesTheNeighbouringStates) {
    struct Case {
        const char* type;
        double ox, occ_low;
        const char *low, *high;
    };
    const Case cases[] = {{"Sn", 3.2, 0.4, "Sn2+", "Sn4+"}, {"P", 4.5, 0.25, "P3+", "P5+"},
                          {"Au", 1.5, 0.75, "Au1+", "Au3+"}, {"I", 5.5, 0.75, "I5+", "I7+"},
                          {"S", 5.0 + 0.5, 0.25, "S4+", "S6+"}, {"Mn", 3.25, 0.75, "Mn3+", "Mn4+"}};
    for (const Case& c : cases) {
        Structure s;
        s.site("X1", c.type, 0, 0, 0, 1, 1.0, c.ox);
        ASSERT_EQ(ZEMU_convert_frac_ox(&s.cif), 0);
        ASSERT_EQ(s.cif.site_no, 2) << c.type;
        EXPECT_STREQ(s.cif.site[0].type, c.low);
        EXPECT_STREQ(s.cif.site[1].type, c.high);
        EXPECT_NEAR(s.cif.site[0].occ, c.occ_low, 1e-12) << c.type;
        EXPECT_NEAR(s.cif.site[1].occ, 1.0 - c.occ_low, 1e-12) << c.type;
        // The old type was not listed: the new ones are appended, low first.
        EXPECT_EQ(type_labels(s.cif), std::vector<std::string>({c.low, c.high}));
    }
}

TEST(CifFractionalOx, StateOutsideTheTableRangeStopsAllFurtherSites) {
    Structure s;
    s.site("S1", "S", 0, 0, 0, 1, 1.0, 3.5);
    s.site("Fe1", "Fe", 0, 0, 0, 1, 1.0, 2.5);
    ASSERT_EQ(ZEMU_convert_frac_ox(&s.cif), 0);
    ASSERT_EQ(s.cif.site_no, 2);
    EXPECT_STREQ(s.cif.site[1].type, "Fe");
}

TEST(CifFractionalOx, StateBeyondTheIntegerRangeStopsAllFurtherSites) {
    Structure s;
    s.site("X1", "X", 0, 0, 0, 1, 1.0, 3e9 + 0.5);
    s.site("Fe1", "Fe", 0, 0, 0, 1, 1.0, 2.5);
    ASSERT_EQ(ZEMU_convert_frac_ox(&s.cif), 0);
    ASSERT_EQ(s.cif.site_no, 2);
    EXPECT_STREQ(s.cif.site[0].type, "X");
    EXPECT_STREQ(s.cif.site[1].type, "Fe");
    EXPECT_EQ(s.cif.type_no, 0);
}

TEST(CifFractionalOx, WholeAndNonPositiveStatesAreKept) {
    Structure s;
    s.site("O1", "O", 0, 0, 0, 1, 1.0, -1.5);
    s.site("Fe1", "Fe", 0, 0, 0, 1, 1.0, 3.0);
    s.site("X1", "X", 0, 0, 0, 1, 1.0, 0.0);
    ASSERT_EQ(ZEMU_convert_frac_ox(&s.cif), 0);
    EXPECT_EQ(s.cif.site_no, 3);
    EXPECT_EQ(s.cif.type_no, 0);
}

TEST(CifIntegerOcc, HalvesRoundDownAndNeutralCountsAreFinal) {
    Structure s;
    s.site("A", "A", 0, 0, 0, 4, 0.625, 0);  // 2.5 atoms
    s.site("B", "B", 0.5, 0, 0, 4, 0.7, 0);  // 2.8 atoms
    int counts[2];
    ASSERT_EQ(ZEMU_get_integer_occ(&s.cif, counts, 1), 0);
    EXPECT_EQ(counts[0], 2);
    EXPECT_EQ(counts[1], 3);
}

TEST(CifIntegerOcc, OneSiteCorrectionRestoresNeutrality) {
    Structure s;
    s.site("Li1", "Li1+", 0, 0, 0, 4, 0.7, 1);  // 2.8 -> 3
    s.site("O1", "O2-", 0.5, 0, 0, 1, 1, -2);   // 1
    int counts[2];
    ASSERT_EQ(ZEMU_get_integer_occ(&s.cif, counts, 1), 0);
    EXPECT_EQ(counts[0], 2);
    EXPECT_EQ(counts[1], 1);
}

TEST(CifIntegerOcc, PairCorrectionWhenNoSingleChangeFits) {
    Structure s;
    s.site("A", "A2+", 0, 0, 0, 2, 0.5, 2);     // 1 atom, +2
    s.site("B", "B3+", 0.5, 0, 0, 2, 0.5, 3);   // 1 atom, +3
    s.site("O", "O2-", 0, 0.5, 0, 2, 1.0, -2);  // 2 atoms, -4
    int counts[3];
    ASSERT_EQ(ZEMU_get_integer_occ(&s.cif, counts, 1), 0);
    EXPECT_EQ(counts[0], 2);
    EXPECT_EQ(counts[1], 0);
    EXPECT_EQ(counts[2], 2);
}

TEST(CifIntegerOcc, SharedPositionLimitsTheCorrection) {
    Structure s;
    s.site("A", "A1+", 0.25, 0.25, 0.25, 4, 0.7, 1);   // 3 atoms
    s.site("V", "V", 0.25, 0.25, 0.25, 4, 0.25, 0);    // 1 atom on the same places: they are full
    s.site("O", "O2-", 0, 0, 0, 2, 1.0, -2);           // -4
    int counts[3];
    ASSERT_EQ(ZEMU_get_integer_occ(&s.cif, counts, 1), 0);
    // A cannot simply grow; it grows while V gives way.
    EXPECT_EQ(counts[0], 4);
    EXPECT_EQ(counts[1], 0);
}

TEST(CifIntegerOcc, UncorrectableChargeFails) {
    Structure s;
    s.site("Li1", "Li1+", 0, 0, 0, 1, 1.0, 1);
    int counts[1];
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_get_integer_occ(&s.cif, counts, 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Unable to make supercell total charge zero\n");
}

TEST(CifSupercell, PartialSiteGetsExactlyItsWholeAtoms) {
    Structure s({"x,y,z", "-x,-y,z", "-x,y,-z", "x,-y,-z"});
    s.type("Li1+", 1);
    s.type("O2-", -2);
    s.site("Li1", "Li1+", 0.25, 0.25, 0.25, 4, 0.5, 1);
    s.site("O1", "O2-", 0, 0, 0, 1, 1.0, -2);
    ASSERT_EQ(ZEMU_refresh_site_mul(&s.cif), 0);
    for (int run = 0; run < 3; run++) {
        ZEMU_cif out;
        ASSERT_EQ(ZEMU_build_supercell(&s.cif, &out, 2, 1, 1), 0);
        ASSERT_EQ(out.site_no, 6);
        std::set<std::tuple<double, double, double>> li;
        for (int k = 0; k < out.site_no; k++) {
            const ZEMU_site& a = out.site[k];
            EXPECT_EQ(a.mul, 1);
            EXPECT_EQ(a.Wyckoff, 'a');
            EXPECT_DOUBLE_EQ(a.occ, 1.0);
            if (strcmp(a.label, "Li1") != 0) continue;
            // Every Li sits on one of the eight supercell copies of (0.25, 0.25, 0.25).
            EXPECT_TRUE(a.x == 0.125 || a.x == 0.375 || a.x == 0.625 || a.x == 0.875) << a.x;
            EXPECT_TRUE(a.y == 0.25 || a.y == 0.75);
            EXPECT_TRUE(a.z == 0.25 || a.z == 0.75);
            li.insert({a.x, a.y, a.z});
        }
        EXPECT_EQ(li.size(), 4u);  // distinct places
        EXPECT_NEAR(placed_charge(out), 0.0, 1e-12);
        EXPECT_DOUBLE_EQ(out.a, 8.0);
        EXPECT_DOUBLE_EQ(out.b, 5.0);
        EXPECT_DOUBLE_EQ(out.volume, 240.0);
        EXPECT_EQ(out.z, 4);
        EXPECT_STREQ(out.spacegroup_HM, "P 1");
        EXPECT_EQ(out.int_tab_cryst_no, 1);
        EXPECT_EQ(ops_count_and_first(out), "1 x,y,z");
        EXPECT_EQ(type_labels(out), std::vector<std::string>({"Li1+", "O2-"}));
        ZEMU_free_cif(&out);
    }
}

TEST(CifSupercell, MixedValenceIsSplitBeforeCountingAtoms) {
    Structure s;
    s.type("Fe", 2.5);
    s.type("O2-", -2);
    s.site("Fe1", "Fe", 0, 0, 0, 1, 1.0, 2.5);
    s.site("O1", "O2-", 0.5, 0.5, 0.5, 1, 1.0, -2);
    s.site("O2", "O2-", 0.5, 0.0, 0.0, 1, 0.25, -2);
    ZEMU_cif out;
    ASSERT_EQ(ZEMU_build_supercell(&s.cif, &out, 2, 2, 1), 0);
    // The input itself was split: Fe2+ and Fe3+ at half occupancy each.
    ASSERT_EQ(s.cif.site_no, 4);
    EXPECT_STREQ(s.cif.site[0].type, "Fe2+");
    EXPECT_STREQ(s.cif.site[1].type, "Fe3+");
    // 2 Fe2+, 2 Fe3+, 4 O1 and one O2 make the four cells neutral.
    int fe2 = 0, fe3 = 0, o = 0;
    for (int k = 0; k < out.site_no; k++) {
        if (!strcmp(out.site[k].type, "Fe2+")) fe2++;
        if (!strcmp(out.site[k].type, "Fe3+")) fe3++;
        if (!strcmp(out.site[k].type, "O2-")) o++;
    }
    EXPECT_EQ(fe2, 2);
    EXPECT_EQ(fe3, 2);
    EXPECT_EQ(o, 5);
    EXPECT_NEAR(placed_charge(out), 0.0, 1e-12);
    ZEMU_free_cif(&out);
}

TEST(CifSupercell, SmallCellChargeIsAcceptedAndLargerRejected) {
    Structure ok;
    ok.site("Li1", "Li1+", 0, 0, 0, 1, 0.005, 1);
    ZEMU_cif out;
    ASSERT_EQ(ZEMU_build_supercell(&ok.cif, &out, 1, 1, 1), 0);
    EXPECT_EQ(out.site_no, 0);
    ZEMU_free_cif(&out);

    Structure bad;
    bad.site("Li1", "Li1+", 0, 0, 0, 1, 0.02, 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_build_supercell(&bad.cif, &out, 1, 1, 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Cannot build supercell when unit cell has non-zero charge\n");
}

TEST(CifSupercell, RejectsBadDimensionsAndUnplaceableCounts) {
    Structure s;
    s.site("X1", "X", 0, 0, 0, 1, 2.0, 0);  // two atoms but one place
    ZEMU_cif out;
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_build_supercell(&s.cif, &out, 0, 1, 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid supercell dimension\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_build_supercell(&s.cif, &out, 1, 1, 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Fatal error in ZEMU_build_supercell()\n");
    ZEMU_free_cif(&out);
}

TEST(CifSupercell, OutputOfAnEarlyFailureCanBeReleased) {
    Structure charged;
    charged.site("Li1", "Li1+", 0, 0, 0, 1, 1.0, 1);
    ZEMU_cif out;
    for (int dim : {0, 1}) {  // bad dimension, then non-zero cell charge
        memset(&out, 0xA5, sizeof out);  // a record never initialised
        testing::internal::CaptureStderr();
        EXPECT_EQ(ZEMU_build_supercell(&charged.cif, &out, dim, 1, 1), 1);
        testing::internal::GetCapturedStderr();
        ZEMU_free_cif(&out);
        EXPECT_EQ(out.site, nullptr);
        EXPECT_EQ(out.symop_no, 0);
    }
}

TEST(CifSupercell, AtomsOfEarlierSitesAreNotDoubled) {
    // Two sites on the same places with half occupancy each: together they fill them.
    Structure s({"x,y,z", "x+1/2,y+1/2,z"});
    s.site("A", "A", 0, 0, 0, 2, 0.5, 0);
    s.site("B", "B", 0, 0, 0, 2, 0.5, 0);
    ZEMU_cif out;
    ASSERT_EQ(ZEMU_build_supercell(&s.cif, &out, 2, 1, 1), 0);
    ASSERT_EQ(out.site_no, 4);
    std::set<std::pair<double, double>> places;
    for (int k = 0; k < out.site_no; k++) places.insert({out.site[k].x, out.site[k].y});
    EXPECT_EQ(places.size(), 4u);
    ZEMU_free_cif(&out);
}
