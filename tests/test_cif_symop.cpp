// Symmetry operations: distinct copies in the cell and in supercells, multiplicities, the P1 expansion,
// removal of symmetry and the space-group database lookup.
#include <cstring>

#include "ZEMU-cif.h"
#include "fixtures.h"

using Ops = std::vector<std::string>;

namespace {

// The copies of (x, y, z) in listing order as "a b c | a b c ..." (9 digits);
// a supercell of na x nb x nc when na > 0.
std::string copies(fx::Cif& s, double x, double y, double z, int na, int nb, int nc) {
    ZEMU_equiv_pos pos;
    const int rc = na ? ZEMU_symmetry_generate_equivalent_copies_in_supercell(&s.cif, &pos, x, y, z, na, nb, nc)
                      : ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, x, y, z);
    EXPECT_EQ(rc, 0);
    std::string out;
    char buf[96];
    for (int k = 0; k < pos.total_copies; k++) {
        snprintf(buf, sizeof buf, "%s%.9g %.9g %.9g", k ? " | " : "", pos.copy[k].a, pos.copy[k].b, pos.copy[k].c);
        out += buf;
    }
    ZEMU_free_equiv_pos(&pos);
    return out;
}

}  // namespace

TEST(CifSymop, ComponentsDistinctCopiesAndSupercellCopies) {
    double v = 0;
    char bad[] = "x$";
    for (int k = 0; k < 2; k++)  // a failing component fails (and reports) every time it is evaluated
        EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_symmetry_parse_symop(bad, 0, 0, 0, &v), 1); }),
                  "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n");
    const std::tuple<Ops, double, double, double, int, const char*> cases[] = {  // ops, position, supercell a, copies
        {{"x,y,z", "-x,-y,-z"}, 0, 0, 0, 0, "0 0 0"},  // one copy at the inversion centre
        {{"x,y,z", "x+0.002,y,z"}, 0.1, 0.5, 0.5, 0, "0.1 0.5 0.5 | 0.102 0.5 0.5"},
        {{"-x+1/2,y,z"}, 0.75, 0.5, 0.5, 0, "0.75 0.5 0.5"},  // brought into the cell by one step only
        {{"x-2,y+2,z+1"}, 0.5, 0.5, 0.5, 0, "-0.5 1.5 0.5"},
        // unit-cell copies first, then each copy's translations with the last axis innermost
        {{"x,y,z", "-x,-y,-z"}, 0.1, 0.2, 0.3, 2, "0.05 0.1 0.3 | 0.45 0.4 0.7 | 0.05 0.6 0.3 | 0.55 0.1 0.3 | "
                                                "0.55 0.6 0.3 | 0.45 0.9 0.7 | 0.95 0.4 0.7 | 0.95 0.9 0.7"},
    };
    for (const auto& c : cases) {
        fx::Cif s(std::get<0>(c));
        const int n = std::get<4>(c);
        EXPECT_EQ(copies(s, std::get<1>(c), std::get<2>(c), std::get<3>(c), n, n, 1), std::get<5>(c)) << std::get<0>(c).back();
    }
    for (const Ops& ops : {Ops{}, Ops{"x,y"}}) {
        fx::Cif s(ops);
        ZEMU_equiv_pos pos;
        EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, 0, 0, 0), 1); }),
                  "Error: Invalid symmetry operation\n");
        ZEMU_free_equiv_pos(&pos);
    }
}

TEST(CifSymop, MultiplicitiesTheFullCellAndRemovingSymmetry) {
    fx::Cif s({"x,y,z", "-x,-y,-z", "x+1/2,y+1/2,z", "-x+1/2,-y+1/2,-z"});
    for (const char* at : {"A 0 0 0", "B 0.25 0.25 0", "C 0.1 0.2 0.3"}) {
        double x, y, z;
        sscanf(at + 2, "%lf %lf %lf", &x, &y, &z);
        s.site(std::string(at, 1).c_str(), "O2-", x, y, z, 0, 1.0, -2.0, 'e');
    }
    ASSERT_EQ(ZEMU_refresh_site_mul(&s.cif), 0);  // replaces the values read
    EXPECT_EQ(std::vector<int>({s[0].mul, s[1].mul, s[2].mul}), std::vector<int>({2, 2, 4}));
    ASSERT_EQ(ZEMU_add_P1_to_cif(&s.cif), 0);
    ASSERT_EQ(ZEMU_add_P1_to_cif(&s.cif), 0);  // rebuilt, not appended
    ASSERT_EQ(s.cif.site_all_no, 8);  // every copy of every site in order
    const ZEMU_site& last = s.cif.site_all[7];
    EXPECT_EQ(std::make_tuple(std::string(last.label), last.mul, last.Wyckoff, last.ox), std::make_tuple("C", 1, 'a', -2.0));
    EXPECT_NEAR(last.x, 0.4, 1e-12);

    s.cif.int_tab_cryst_no = 2;
    strcpy(s.cif.spacegroup_HM, "C -1");
    ASSERT_EQ(ZEMU_remove_cif_symmetry(&s.cif), 0);  // each site repeated at its own position
    ASSERT_EQ(s.cif.site_no, 8);
    EXPECT_EQ(std::make_tuple(s[7].x, s[7].z, s[7].mul, s[7].Wyckoff, std::string(s[7].label)), std::make_tuple(0.1, 0.3, 4, 'e', "C"));
    EXPECT_EQ(std::make_tuple(s.ops(), std::string(s.cif.spacegroup_HM), s.cif.int_tab_cryst_no), std::make_tuple(Ops{"x,y,z"}, "P 1", 1));
    ASSERT_EQ(ZEMU_remove_cif_symmetry(&s.cif), 0);  // a single operation changes nothing
    EXPECT_EQ(s.cif.site_no, 8);
}

TEST(CifSymcards, OperationsComeFromTheProjectsDatabaseAndAMissingOneIsSilent) {
    fx::Cif s(Ops{});
    strcpy(s.cif.spacegroup_HM, "F m -3 m");
    {
        fx::InDir none(false);
        EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_fill_symops(&s.cif), 0); }), "");
        EXPECT_EQ(s.ops(), Ops({"x,y,z"}));
    }
    fx::InDir dir(true);
    s.set_ops({});
    ASSERT_EQ(ZEMU_fill_symops(&s.cif), 0);
    s.site("A", "O2-", 0.05, 0.13, 0.31);  // general position
    ASSERT_EQ(ZEMU_refresh_site_mul(&s.cif), 0);
    EXPECT_EQ(std::make_tuple(s.cif.symop_no, s[0].mul), std::make_tuple(192, 192));
}
