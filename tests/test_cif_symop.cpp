// Symmetry operations: component evaluation, distinct copies in the cell and
// in supercells, multiplicities, the P1 expansion, removal of symmetry and the
// space-group database lookup.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ZEMU-cif.h"
#include "fixtures.h"

using Ops = std::vector<std::string>;

namespace {

void oxygen(fx::Cif& s, const char* label, double x, double y, double z) {
    s.site(label, "O2-", x, y, z, 0, 1.0, -2.0, 'x');
}

// The copies of (x, y, z) in listing order as "a b c | a b c ..." (9 digits);
// a supercell of na x nb x nc when na > 0.
std::string copies(fx::Cif& s, double x, double y, double z, int na = 0, int nb = 1, int nc = 1) {
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

const char* kCards =
    "header line\n"
    "# 0 decoy before the start marker\nx\nx\n'P 2'\n1\nx,y,z\n"
    "DATA_START\n"
    "\n"
    "# 3 P 1 2 1\nmonoclinic\nHall symbol P 2y\n'P 1 2 1' 'P 2'\n2\nx,y,z\n-x,y,-z\n"
    "\n"
    "# 3 P 1 1 2\nmonoclinic\nHall symbol P 2\n'P 1 1 2' 'P 2'\n2\nx,y,z\n-x,-y,z\n"
    "\n"
    "# 2 P -1\ntriclinic\nHall symbol -P 1\n'P -1'\n2\nx,y,z\n-x,-y,-z\n"
    "# 99 broken\nx\nx\n'P broken'\n3\nx,y,z\n-x,-y,-z\n";

// Operations ZEMU_fill_symops gives a structure without operations named `symbol`.
Ops filled(const char* symbol) {
    fx::Cif s(Ops{});
    snprintf(s.cif.spacegroup_HM, sizeof s.cif.spacegroup_HM, "%s", symbol);
    EXPECT_EQ(ZEMU_fill_symops(&s.cif), 0);
    return s.ops();
}

}  // namespace

TEST(CifSymop, ComponentIsEvaluatedWithTheCoordinates) {
    double v = 0;
    char c1[] = "-x+1/2", c2[] = "Y-X", c3[] = " z + 1/4 ", bad[] = "x$";
    ASSERT_EQ(ZEMU_symmetry_parse_symop(c1, 0.75, 0, 0, &v), 0);
    EXPECT_DOUBLE_EQ(v, -0.25);
    ASSERT_EQ(ZEMU_symmetry_parse_symop(c2, 0.25, 0.5, 0, &v), 0);
    EXPECT_DOUBLE_EQ(v, 0.25);
    ASSERT_EQ(ZEMU_symmetry_parse_symop(c3, 0, 0, 0.5, &v), 0);
    EXPECT_DOUBLE_EQ(v, 0.75);
    // A failing component fails (and reports) every time it is evaluated.
    for (int k = 0; k < 2; k++)
        EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_symmetry_parse_symop(bad, 0, 0, 0, &v), 1); }),
                  "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n");
}

TEST(CifSymop, DistinctCopiesInTheCell) {
    struct Case {
        Ops ops;
        double x, y, z;
        const char* expected;
    };
    const Case cases[] = {
        {{"x,y,z", "-x,-y,-z"}, 0, 0, 0, "0 0 0"},  // one copy at the inversion centre
        {{"x,y,z", "-x,-y,-z"}, 0.1, 0.2, 0.3, "0.1 0.2 0.3 | 0.9 0.8 0.7"},
        {{"x,y,z", "x+0.9992,y,z"}, 0.0003, 0.5, 0.5, "0.0003 0.5 0.5"},  // 0.9995 is within a thousandth
        {{"x,y,z", "x+0.002,y,z"}, 0.1, 0.5, 0.5, "0.1 0.5 0.5 | 0.102 0.5 0.5"},
        // Coordinates are brought into the cell by one step only.
        {{"-x+1/2,y,z"}, 0.75, 0.5, 0.5, "0.75 0.5 0.5"},
        {{"x-2,y+2,z+1"}, 0.5, 0.5, 0.5, "-0.5 1.5 0.5"},
    };
    for (const Case& c : cases) {
        fx::Cif s(c.ops);
        EXPECT_EQ(copies(s, c.x, c.y, c.z), c.expected) << c.ops[c.ops.size() - 1];
    }
}

TEST(CifSymop, MissingOrMalformedOperationsAreRejected) {
    for (const Ops& ops : {Ops{}, Ops{"x,y"}}) {
        fx::Cif s(ops);
        ZEMU_equiv_pos pos;
        EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, 0, 0, 0), 1); }),
                  "Error: Invalid symmetry operation\n");
        EXPECT_EQ(pos.total_copies, 0);
        ZEMU_free_equiv_pos(&pos);
    }
}

TEST(CifSymop, SupercellCopiesFollowTheUnitCellCopies) {
    fx::Cif s({"x,y,z"});
    EXPECT_EQ(copies(s, 0.25, 0.5, 0.5, 2, 1, 1), "0.125 0.5 0.5 | 0.625 0.5 0.5");
    s.set_ops({"x,y,z", "-x,-y,-z"});
    // Unit-cell copies first, then each copy's translations with the last axis innermost.
    EXPECT_EQ(copies(s, 0.1, 0.2, 0.3, 2, 2, 1),
              "0.05 0.1 0.3 | 0.45 0.4 0.7 | 0.05 0.6 0.3 | 0.55 0.1 0.3 | 0.55 0.6 0.3 | "
              "0.45 0.9 0.7 | 0.95 0.4 0.7 | 0.95 0.9 0.7");
    EXPECT_EQ(copies(s, 0.1, 0.2, 0.3, 1, 1, 1), "0.1 0.2 0.3 | 0.9 0.8 0.7");
}

TEST(CifSymop, MultiplicitiesAndTheFullCell) {
    fx::Cif s({"x,y,z", "-x,-y,-z", "x+1/2,y+1/2,z"});
    oxygen(s, "A", 0, 0, 0);
    oxygen(s, "B", 0.25, 0.25, 0);
    oxygen(s, "C", 0.1, 0.2, 0.3);
    ASSERT_EQ(ZEMU_refresh_site_mul(&s.cif), 0);  // replaces the values read
    EXPECT_EQ(std::vector<int>({s[0].mul, s[1].mul, s[2].mul}), std::vector<int>({2, 2, 3}));

    fx::Cif p1({"x,y,z", "-x,-y,-z"});
    oxygen(p1, "A", 0, 0, 0);
    oxygen(p1, "B", 0.1, 0.2, 0.3);
    ASSERT_EQ(ZEMU_add_P1_to_cif(&p1.cif), 0);
    ASSERT_EQ(p1.cif.site_all_no, 3);  // every copy of every site in order
    const ZEMU_site& last = p1.cif.site_all[2];
    EXPECT_STREQ(last.label, "B");
    EXPECT_NEAR(last.x, 0.9, 1e-12);
    EXPECT_EQ(last.mul, 1);
    EXPECT_EQ(last.Wyckoff, 'a');
    EXPECT_DOUBLE_EQ(last.ox, -2.0);
    ASSERT_EQ(ZEMU_add_P1_to_cif(&p1.cif), 0);  // rebuilt, not appended
    EXPECT_EQ(p1.cif.site_all_no, 3);

    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    char name[] = ZEMU_TEST_DATA "/cif_LiFePO4.cif";
    ASSERT_EQ(ZEMU_load_cif(name, &cif), 0);
    ASSERT_EQ(ZEMU_add_P1_to_cif(&cif), 0);
    EXPECT_EQ(cif.site_all_no, 28);
    ZEMU_free_cif(&cif);
}

TEST(CifSymop, RemovingSymmetryRepeatsEachSiteAtItsOwnPosition) {
    fx::Cif s({"x,y,z", "-x,-y,-z", "x+1/2,y+1/2,z", "-x+1/2,-y+1/2,-z"});
    s.site("A", "O2-", 0.1, 0.2, 0.3, 4, 1.0, -2.0, 'e');
    s.cif.int_tab_cryst_no = 2;
    strcpy(s.cif.spacegroup_HM, "C -1");
    ASSERT_EQ(ZEMU_remove_cif_symmetry(&s.cif), 0);
    ASSERT_EQ(s.cif.site_no, 4);
    for (int k = 0; k < 4; k++) {
        EXPECT_DOUBLE_EQ(s[k].x, 0.1);
        EXPECT_DOUBLE_EQ(s[k].z, 0.3);
        EXPECT_EQ(s[k].mul, 4);
        EXPECT_EQ(s[k].Wyckoff, 'e');
    }
    EXPECT_EQ(s.ops(), Ops({"x,y,z"}));
    EXPECT_STREQ(s.cif.spacegroup_HM, "P 1");
    EXPECT_EQ(s.cif.int_tab_cryst_no, 1);

    // A single operation changes nothing.
    fx::Cif one({"-x,-y,-z"});
    oxygen(one, "A", 0.1, 0.2, 0.3);
    strcpy(one.cif.spacegroup_HM, "P -1");
    ASSERT_EQ(ZEMU_remove_cif_symmetry(&one.cif), 0);
    EXPECT_EQ(one.cif.site_no, 1);
    EXPECT_EQ(one.ops(), Ops({"-x,-y,-z"}));
    EXPECT_STREQ(one.cif.spacegroup_HM, "P -1");
}

TEST(CifSymcards, LookupInATestDatabase) {
    fx::InDir dir("database_symcards.dat", kCards);
    EXPECT_EQ(filled("P 2"), Ops({"x,y,z", "-x,y,-z"}));  // the first record after the marker wins
    EXPECT_EQ(filled("P -1"), Ops({"x,y,z", "-x,-y,-z"}));
    EXPECT_EQ(filled("P2"), Ops({"x,y,z"}));  // compared exactly: listed nowhere without the blank
    EXPECT_EQ(filled("P broken"), Ops({"x,y,z"}));
    fx::Cif s(Ops{});
    strcpy(s.cif.spacegroup_HM, "P broken");
    ASSERT_EQ(ZEMU_get_symops_from_dat(&s.cif), 0);
    EXPECT_EQ(s.cif.symop_no, 0);  // a truncated record stores nothing
}

TEST(CifSymcards, MissingDatabaseIsSilent) {
    fx::InDir dir(false);
    EXPECT_EQ(fx::stderr_of([] { EXPECT_EQ(filled("P -1"), Ops({"x,y,z"})); }), "");
}

TEST(CifSymcards, ProjectDatabaseGivesTheOrderOfCommonGroups) {
    fx::InDir dir(true);
    EXPECT_EQ(filled("P n m a").size(), 8u);
    fx::Cif s(Ops{});
    strcpy(s.cif.spacegroup_HM, "F m -3 m");
    ASSERT_EQ(ZEMU_fill_symops(&s.cif), 0);
    EXPECT_EQ(s.cif.symop_no, 192);
    oxygen(s, "A", 0.05, 0.13, 0.31);  // general position
    ASSERT_EQ(ZEMU_refresh_site_mul(&s.cif), 0);
    EXPECT_EQ(s[0].mul, 192);
}
