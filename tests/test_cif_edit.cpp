// Structure editing: site and type lists, copies, splitting of fractional
// oxidation states, whole-atom counts, P1 supercells and the CIF writer.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ZEMU-cif.h"
#include "fixtures.h"

using fx::txt;
using Strings = std::vector<std::string>;

namespace {

// An orthorhombic 4 x 5 x 6 structure with Z = 2.
struct Structure : fx::Cif {
    explicit Structure(const Strings& ops = {"x,y,z"}) : Cif(ops, {4, 5, 6, 90, 90, 90}) { cif.z = 2; }
    Strings labels() const {
        Strings out;
        for (int k = 0; k < cif.site_no; k++) out.emplace_back(cif.site[k].label);
        return out;
    }
    Strings site_types() const {
        Strings out;
        for (int k = 0; k < cif.site_no; k++) out.emplace_back(cif.site[k].type);
        return out;
    }
};

std::string write_to_string(ZEMU_cif* cif) {
    return fx::written([&](FILE* f) { EXPECT_EQ(ZEMU_write_cif(cif, f), 0); });
}

double placed_charge(const ZEMU_cif& cif) {
    double q = 0;
    for (int s = 0; s < cif.site_no; s++) q += cif.site[s].ox * cif.site[s].occ * cif.site[s].mul;
    return q;
}

}  // namespace

TEST(CifEdit, SitesAreInsertedAndRemovedKeepingOrder) {
    Structure s;
    s.site("A", "X", 0, 0, 0);
    s.site("C", "Y", 0, 0, 0);
    ASSERT_EQ(ZEMU_ins_cif_site(&s.cif, txt("B"), txt("X"), 0, 0, 0, 1, 'a', 1, 0, 1), 0);
    s.site("D", "X", 0, 0, 0);
    EXPECT_EQ(s.labels(), Strings({"A", "B", "C", "D"}));
    ASSERT_EQ(ZEMU_remove_cif_site(&s.cif, 0), 0);
    EXPECT_EQ(s.labels(), Strings({"B", "C", "D"}));
    ASSERT_EQ(ZEMU_remove_all_cif_site_by_type(&s.cif, txt("X")), 0);
    EXPECT_EQ(s.labels(), Strings({"C"}));
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_remove_cif_site(&s.cif, 1), 1); }),
              "Error: Invalid input to ZEMU_remove_cif_site()\n");
}

TEST(CifEdit, TypesTakeFlagsFromTheCounter) {
    Structure s;
    s.type("Li1+", 1);
    s.type("O2-", -2);
    int flag = 10;
    ASSERT_EQ(ZEMU_ins_cif_type(&s.cif, txt("Fe2+"), 2, &flag, 1), 0);
    EXPECT_EQ(flag, 11);
    EXPECT_EQ(s.types(), Strings({"Li1+", "Fe2+", "O2-"}));
    EXPECT_EQ(std::make_tuple(s.cif.type[0].flag, s.cif.type[1].flag, s.cif.type[2].flag), std::make_tuple(0, 10, 1));
    EXPECT_STREQ(s.cif.type[1].label_element, "Fe");
    ASSERT_EQ(ZEMU_remove_cif_type(&s.cif, 0), 0);
    EXPECT_EQ(s.types(), Strings({"Fe2+", "O2-"}));
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_remove_cif_type(&s.cif, -1), 1); }),
              "Error: Invalid input to ZEMU_remove_cif_type()\n");
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
    EXPECT_EQ(std::make_tuple(copy.site_no_cap, copy.site_all_no, copy.c), std::make_tuple(1, 2, 6.0));
    EXPECT_STREQ(copy.symop[1], "-x,-y,-z");
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
    EXPECT_EQ(write_to_string(&s.cif),
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
              "#End of data_ZEMU\n");

    Structure bare;  // no symbol, number or Z: their lines are left out
    bare.cif.z = 0;
    const std::string text = write_to_string(&bare.cif);
    for (const char* tag : {"_symmetry_space_group_name_H-M", "_symmetry_Int_Tables_number", "_cell_formula_units_Z"})
        EXPECT_EQ(text.find(tag), std::string::npos) << tag;
}

TEST(CifWriter, WrittenStructureReadsBackTheSame) {
    ZEMU_cif in, back;
    ZEMU_init_cif(&in);
    ZEMU_init_cif(&back);
    char name[] = ZEMU_TEST_DATA "/cif_Na2UO4.cif";
    ASSERT_EQ(ZEMU_load_cif(name, &in), 0);
    zemu_test::WorkDir dir(false);
    dir.write("round.cif", write_to_string(&in));
    std::string path = dir.file("round.cif");
    ASSERT_EQ(ZEMU_load_cif(&path[0], &back), 0);
    EXPECT_EQ(std::make_tuple(back.a, back.c, back.gamma, back.volume), std::make_tuple(in.a, in.c, in.gamma, in.volume));
    EXPECT_STREQ(back.spacegroup_HM, in.spacegroup_HM);
    EXPECT_EQ(std::make_tuple(back.int_tab_cryst_no, back.z), std::make_tuple(in.int_tab_cryst_no, in.z));
    ASSERT_EQ(std::make_tuple(back.symop_no, back.type_no, back.site_no),
              std::make_tuple(in.symop_no, in.type_no, in.site_no));
    for (int k = 0; k < in.symop_no; k++) EXPECT_STREQ(back.symop[k], in.symop[k]);
    for (int t = 0; t < in.type_no; t++) EXPECT_STREQ(back.type[t].label, in.type[t].label);
    for (int k = 0; k < in.site_no; k++) {
        const ZEMU_site &b = back.site[k], &a = in.site[k];
        EXPECT_STREQ(b.label, a.label);
        EXPECT_STREQ(b.type, a.type);
        EXPECT_EQ(std::make_tuple(b.mul, b.Wyckoff, b.ox), std::make_tuple(a.mul, a.Wyckoff, a.ox));
        EXPECT_NEAR(b.x, a.x, 6e-6);  // five decimals written
        EXPECT_NEAR(b.y, a.y, 6e-6);
        EXPECT_NEAR(b.z, a.z, 6e-6);
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
    s.site("Fe1", "Fe", 0.5, 0.5, 0.5, 2, 1, 2.5, 'c');
    s.site("O1", "O2-", 0.2, 0.2, 0.2, 4, 1, -2);
    ASSERT_EQ(ZEMU_convert_frac_ox(&s.cif), 0);
    EXPECT_EQ(s.types(), Strings({"Li1+", "Fe2+", "Fe3+", "O2-"}));
    EXPECT_EQ(s.labels(), Strings({"Li1", "Fe1", "Fe1", "O1"}));
    EXPECT_EQ(s.site_types(), Strings({"Li1+", "Fe2+", "Fe3+", "O2-"}));
    const ZEMU_site &lo = s[1], &hi = s[2];
    EXPECT_EQ(std::make_tuple(lo.ox, lo.occ, hi.ox, hi.occ), std::make_tuple(2.0, 0.5, 3.0, 0.5));
    EXPECT_EQ(std::make_tuple(hi.mul, hi.Wyckoff, hi.z), std::make_tuple(2, 'c', 0.5));
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
        SCOPED_TRACE(c.type);
        Structure s;
        s.site("X1", c.type, 0, 0, 0, 1, 1.0, c.ox);
        ASSERT_EQ(ZEMU_convert_frac_ox(&s.cif), 0);
        ASSERT_EQ(s.site_types(), Strings({c.low, c.high}));
        EXPECT_NEAR(s[0].occ, c.occ_low, 1e-12);
        EXPECT_NEAR(s[1].occ, 1.0 - c.occ_low, 1e-12);
        // The old type was not listed: the new ones are appended, low first.
        EXPECT_EQ(s.types(), Strings({c.low, c.high}));
    }
}

TEST(CifFractionalOx, UnsplittableStatesAreKept) {
    // A state outside the table's range, or beyond the integer range, stops every later
    // site as well; whole and non-positive states are never split.
    const std::vector<std::vector<std::pair<const char*, double>>> cases = {
        {{"S", 3.5}, {"Fe", 2.5}}, {{"X", 3e9 + 0.5}, {"Fe", 2.5}}, {{"O", -1.5}, {"Fe", 3.0}, {"X", 0.0}}};
    for (const auto& sites : cases) {
        Structure s;
        Strings before;
        for (const auto& p : sites) s.site("A1", p.first, 0, 0, 0, 1, 1.0, p.second), before.push_back(p.first);
        ASSERT_EQ(ZEMU_convert_frac_ox(&s.cif), 0);
        EXPECT_EQ(s.site_types(), before);
        EXPECT_EQ(s.cif.type_no, 0) << before[0];
    }
}

TEST(CifIntegerOcc, WholeAtomCountsPerSite) {
    struct Site {
        const char* type;
        double x;
        int mul;
        double occ, ox;
    };
    const std::pair<std::vector<Site>, std::vector<int>> cases[] = {
        // Halves round down; neutral counts are final.
        {{{"A", 0, 4, 0.625, 0}, {"B", 0.5, 4, 0.7, 0}}, {2, 3}},
        // One site's correction restores neutrality: 2.8 -> 3 -> 2.
        {{{"Li1+", 0, 4, 0.7, 1}, {"O2-", 0.5, 1, 1, -2}}, {2, 1}},
        // A pair correction when no single change fits.
        {{{"A2+", 0, 2, 0.5, 2}, {"B3+", 0.5, 2, 0.5, 3}, {"O2-", 0.25, 2, 1.0, -2}}, {2, 0, 2}},
        // A shared position limits the correction: A grows while V (filling the places with A) gives way.
        {{{"A1+", 0.25, 4, 0.7, 1}, {"V", 0.25, 4, 0.25, 0}, {"O2-", 0, 2, 1.0, -2}}, {4, 0, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first[0].type);
        Structure s;
        for (const Site& p : c.first) s.site(p.type, p.type, p.x, p.x, p.x, p.mul, p.occ, p.ox);
        std::vector<int> counts(c.first.size());
        ASSERT_EQ(ZEMU_get_integer_occ(&s.cif, counts.data(), 1), 0);
        EXPECT_EQ(counts, c.second);
    }
    Structure s;
    s.site("Li1", "Li1+", 0, 0, 0, 1, 1.0, 1);
    int counts[1];
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_get_integer_occ(&s.cif, counts, 1), 1); }),
              "Error: Unable to make supercell total charge zero\n");
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
            EXPECT_EQ(std::make_tuple(a.mul, a.Wyckoff, a.occ), std::make_tuple(1, 'a', 1.0));
            if (strcmp(a.label, "Li1") != 0) continue;
            // Every Li sits on one of the eight supercell copies of (0.25, 0.25, 0.25).
            EXPECT_TRUE(a.x == 0.125 || a.x == 0.375 || a.x == 0.625 || a.x == 0.875) << a.x;
            EXPECT_TRUE(a.y == 0.25 || a.y == 0.75);
            EXPECT_TRUE(a.z == 0.25 || a.z == 0.75);
            li.insert({a.x, a.y, a.z});
        }
        EXPECT_EQ(li.size(), 4u);  // distinct places
        EXPECT_NEAR(placed_charge(out), 0.0, 1e-12);
        EXPECT_EQ(std::make_tuple(out.a, out.b, out.volume, out.z, out.int_tab_cryst_no, out.symop_no),
                  std::make_tuple(8.0, 5.0, 240.0, 4, 1, 1));
        EXPECT_STREQ(out.spacegroup_HM, "P 1");
        EXPECT_STREQ(out.symop[0], "x,y,z");
        Strings types;
        for (int t = 0; t < out.type_no; t++) types.emplace_back(out.type[t].label);
        EXPECT_EQ(types, Strings({"Li1+", "O2-"}));
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
    EXPECT_EQ(s.site_types(), Strings({"Fe2+", "Fe3+", "O2-", "O2-"}));
    // 2 Fe2+, 2 Fe3+, 4 O1 and one O2 make the four cells neutral.
    std::multiset<std::string> placed;
    for (int k = 0; k < out.site_no; k++) placed.insert(out.site[k].type);
    EXPECT_EQ(std::make_tuple(placed.count("Fe2+"), placed.count("Fe3+"), placed.count("O2-")),
              std::make_tuple(2u, 2u, 5u));
    EXPECT_NEAR(placed_charge(out), 0.0, 1e-12);
    ZEMU_free_cif(&out);
}

TEST(CifSupercell, RefusedInputsAndTheirMessages) {
    Structure ok;  // a cell charge of 0.005 is accepted
    ok.site("Li1", "Li1+", 0, 0, 0, 1, 0.005, 1);
    ZEMU_cif out;
    ASSERT_EQ(ZEMU_build_supercell(&ok.cif, &out, 1, 1, 1), 0);
    EXPECT_EQ(out.site_no, 0);
    ZEMU_free_cif(&out);

    Structure charged, crowded;
    charged.site("Li1", "Li1+", 0, 0, 0, 1, 0.02, 1);
    crowded.site("X1", "X", 0, 0, 0, 1, 2.0, 0);  // two atoms but one place
    const std::tuple<Structure*, int, const char*> cases[] = {
        {&charged, 1, "Error: Cannot build supercell when unit cell has non-zero charge\n"},
        {&crowded, 0, "Error: Invalid supercell dimension\n"},
        {&crowded, 1, "Error: Fatal error in ZEMU_build_supercell()\n"},
    };
    for (const auto& c : cases) {
        memset(&out, 0xA5, sizeof out);  // a record never initialised: the output is releasable all the same
        EXPECT_EQ(fx::stderr_of([&] {
                      EXPECT_EQ(ZEMU_build_supercell(&std::get<0>(c)->cif, &out, std::get<1>(c), 1, 1), 1);
                  }),
                  std::get<2>(c));
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
