// Symmetry operations: component evaluation, distinct copies in the cell and
// in supercells, multiplicities, the P1 expansion, removal of symmetry and the
// space-group database lookup.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "ZEMU-cif.h"
#include "e2e_util.h"

using zemu_test::WorkDir;

namespace {

// A cubic 10 Angstrom structure with the given operations and no sites.
struct Structure {
    ZEMU_cif cif;
    explicit Structure(const std::vector<std::string>& ops) {
        ZEMU_init_cif(&cif);
        cif.a = cif.b = cif.c = 10.0;
        cif.alpha = cif.beta = cif.gamma = 90.0;
        ZEMU_is_valid_lattice_parameters(&cif);
        ZEMU_calc_cif_d_parameters(&cif);
        set_ops(ops);
    }
    ~Structure() { ZEMU_free_cif(&cif); }
    void set_ops(const std::vector<std::string>& ops) {
        ZEMU_free_cif_symop(&cif);
        cif.symop_no = (int)ops.size();
        ZEMU_alloc_cif_symop(&cif);
        for (size_t k = 0; k < ops.size(); k++) strcpy(cif.symop[k], ops[k].c_str());
    }
    void add_site(const char* label, double x, double y, double z) {
        ZEMU_add_cif_site(&cif, const_cast<char*>(label), const_cast<char*>("O2-"), x, y, z, 0, 'x', 1.0, -2.0);
    }
};

std::vector<std::string> ops_of(const ZEMU_cif& cif) {
    std::vector<std::string> out;
    for (int k = 0; k < cif.symop_no; k++) out.emplace_back(cif.symop[k]);
    return out;
}

// Runs the enclosed code with a temporary working directory whose bin/ holds
// the given symmetry-card text (or no bin/ at all for a null pointer).
class SymcardDir {
public:
    explicit SymcardDir(const char* cards) : dir_(false) {
        if (cards) {
            mkdir(dir_.file("bin").c_str(), 0755);
            dir_.write("bin/database_symcards.dat", cards);
        }
        if (!getcwd(old_, sizeof old_)) old_[0] = '\0';
        if (chdir(dir_.path().c_str()) != 0) ADD_FAILURE() << "cannot enter " << dir_.path();
    }
    ~SymcardDir() {
        if (chdir(old_) != 0) ADD_FAILURE() << "cannot return to " << old_;
    }

private:
    WorkDir dir_;
    char old_[4096];
};

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
    for (int k = 0; k < 2; k++) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(ZEMU_symmetry_parse_symop(bad, 0, 0, 0, &v), 1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n");
    }
}

TEST(CifSymop, InversionGivesOneCopyAtTheOriginAndTwoElsewhere) {
    Structure s({"x,y,z", "-x,-y,-z"});
    ZEMU_equiv_pos pos;
    ASSERT_EQ(ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, 0, 0, 0), 0);
    EXPECT_EQ(pos.total_copies, 1);
    ZEMU_free_equiv_pos(&pos);
    ASSERT_EQ(ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, 0.1, 0.2, 0.3), 0);
    ASSERT_EQ(pos.total_copies, 2);
    EXPECT_DOUBLE_EQ(pos.copy[0].a, 0.1);
    EXPECT_NEAR(pos.copy[1].a, 0.9, 1e-12);
    EXPECT_NEAR(pos.copy[1].b, 0.8, 1e-12);
    EXPECT_NEAR(pos.copy[1].c, 0.7, 1e-12);
    ZEMU_free_equiv_pos(&pos);
}

TEST(CifSymop, CopiesWithinAThousandthAcrossTheBoundaryAreOne) {
    Structure s({"x,y,z", "x+0.9992,y,z"});
    ZEMU_equiv_pos pos;
    ASSERT_EQ(ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, 0.0003, 0.5, 0.5), 0);
    EXPECT_EQ(pos.total_copies, 1);  // 0.0003 and 0.9995
    ZEMU_free_equiv_pos(&pos);
    s.set_ops({"x,y,z", "x+0.002,y,z"});
    ASSERT_EQ(ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, 0.1, 0.5, 0.5), 0);
    EXPECT_EQ(pos.total_copies, 2);
    ZEMU_free_equiv_pos(&pos);
}

TEST(CifSymop, CoordinatesAreBroughtIntoTheCellByOneStepOnly) {
    Structure s({"-x+1/2,y,z"});
    ZEMU_equiv_pos pos;
    ASSERT_EQ(ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, 0.75, 0.5, 0.5), 0);
    EXPECT_DOUBLE_EQ(pos.copy[0].a, 0.75);
    ZEMU_free_equiv_pos(&pos);
    s.set_ops({"x-2,y+2,z+1"});
    ASSERT_EQ(ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, 0.5, 0.5, 0.5), 0);
    EXPECT_DOUBLE_EQ(pos.copy[0].a, -0.5);
    EXPECT_DOUBLE_EQ(pos.copy[0].b, 1.5);
    EXPECT_DOUBLE_EQ(pos.copy[0].c, 0.5);
    ZEMU_free_equiv_pos(&pos);
}

TEST(CifSymop, MissingOrMalformedOperationsAreRejected) {
    Structure s({});
    ZEMU_equiv_pos pos;
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, 0, 0, 0), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid symmetry operation\n");
    EXPECT_EQ(pos.total_copies, 0);
    s.set_ops({"x,y"});
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_symmetry_generate_equivalent_copies(&s.cif, &pos, 0, 0, 0), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid symmetry operation\n");
    ZEMU_free_equiv_pos(&pos);
}

TEST(CifSymop, SupercellCopiesFollowTheUnitCellCopies) {
    Structure s({"x,y,z"});
    ZEMU_equiv_pos pos;
    ASSERT_EQ(ZEMU_symmetry_generate_equivalent_copies_in_supercell(&s.cif, &pos, 0.25, 0.5, 0.5, 2, 1, 1), 0);
    ASSERT_EQ(pos.total_copies, 2);
    EXPECT_DOUBLE_EQ(pos.copy[0].a, 0.125);
    EXPECT_DOUBLE_EQ(pos.copy[1].a, 0.625);
    EXPECT_DOUBLE_EQ(pos.copy[1].b, 0.5);
    ZEMU_free_equiv_pos(&pos);

    s.set_ops({"x,y,z", "-x,-y,-z"});
    ASSERT_EQ(ZEMU_symmetry_generate_equivalent_copies_in_supercell(&s.cif, &pos, 0.1, 0.2, 0.3, 2, 2, 1), 0);
    ASSERT_EQ(pos.total_copies, 8);
    // Unit-cell copies first, then each copy's translations with the last axis innermost.
    const double expect_a[8] = {0.05, 0.45, 0.05, 0.55, 0.55, 0.45, 0.95, 0.95};
    const double expect_b[8] = {0.1, 0.4, 0.6, 0.1, 0.6, 0.9, 0.4, 0.9};
    for (int k = 0; k < 8; k++) {
        EXPECT_NEAR(pos.copy[k].a, expect_a[k], 1e-12) << k;
        EXPECT_NEAR(pos.copy[k].b, expect_b[k], 1e-12) << k;
    }
    ZEMU_free_equiv_pos(&pos);

    ASSERT_EQ(ZEMU_symmetry_generate_equivalent_copies_in_supercell(&s.cif, &pos, 0.1, 0.2, 0.3, 1, 1, 1), 0);
    EXPECT_EQ(pos.total_copies, 2);
    ZEMU_free_equiv_pos(&pos);
}

TEST(CifSymop, MultiplicitiesReplaceTheValuesRead) {
    Structure s({"x,y,z", "-x,-y,-z", "x+1/2,y+1/2,z"});
    s.add_site("A", 0, 0, 0);
    s.add_site("B", 0.25, 0.25, 0);
    s.add_site("C", 0.1, 0.2, 0.3);
    ASSERT_EQ(ZEMU_refresh_site_mul(&s.cif), 0);
    EXPECT_EQ(s.cif.site[0].mul, 2);
    EXPECT_EQ(s.cif.site[1].mul, 2);
    EXPECT_EQ(s.cif.site[2].mul, 3);
}

TEST(CifSymop, FullCellListsEveryCopyOfEverySiteInOrder) {
    Structure s({"x,y,z", "-x,-y,-z"});
    s.add_site("A", 0, 0, 0);
    s.add_site("B", 0.1, 0.2, 0.3);
    ASSERT_EQ(ZEMU_add_P1_to_cif(&s.cif), 0);
    ASSERT_EQ(s.cif.site_all_no, 3);
    EXPECT_STREQ(s.cif.site_all[2].label, "B");
    EXPECT_NEAR(s.cif.site_all[2].x, 0.9, 1e-12);
    EXPECT_EQ(s.cif.site_all[2].mul, 1);
    EXPECT_EQ(s.cif.site_all[2].Wyckoff, 'a');
    EXPECT_DOUBLE_EQ(s.cif.site_all[2].ox, -2.0);
    ASSERT_EQ(ZEMU_add_P1_to_cif(&s.cif), 0);  // rebuilt, not appended
    EXPECT_EQ(s.cif.site_all_no, 3);
}

TEST(CifSymop, LiFePO4ExpandsToTwentyEightAtoms) {
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    char name[] = ZEMU_TEST_DATA "/cif_LiFePO4.cif";
    ASSERT_EQ(ZEMU_load_cif(name, &cif), 0);
    ASSERT_EQ(ZEMU_add_P1_to_cif(&cif), 0);
    EXPECT_EQ(cif.site_all_no, 28);
    ZEMU_free_cif(&cif);
}

TEST(CifSymop, RemovingSymmetryRepeatsEachSiteAtItsOwnPosition) {
    Structure s({"x,y,z", "-x,-y,-z", "x+1/2,y+1/2,z", "-x+1/2,-y+1/2,-z"});
    s.add_site("A", 0.1, 0.2, 0.3);
    s.cif.site[0].mul = 4;
    s.cif.site[0].Wyckoff = 'e';
    s.cif.int_tab_cryst_no = 2;
    strcpy(s.cif.spacegroup_HM, "C -1");
    ASSERT_EQ(ZEMU_remove_cif_symmetry(&s.cif), 0);
    ASSERT_EQ(s.cif.site_no, 4);
    for (int k = 0; k < 4; k++) {
        EXPECT_DOUBLE_EQ(s.cif.site[k].x, 0.1);
        EXPECT_DOUBLE_EQ(s.cif.site[k].z, 0.3);
        EXPECT_EQ(s.cif.site[k].mul, 4);
        EXPECT_EQ(s.cif.site[k].Wyckoff, 'e');
    }
    EXPECT_EQ(ops_of(s.cif), std::vector<std::string>({"x,y,z"}));
    EXPECT_STREQ(s.cif.spacegroup_HM, "P 1");
    EXPECT_EQ(s.cif.int_tab_cryst_no, 1);
}

TEST(CifSymop, RemovingSymmetryFromASingleOperationChangesNothing) {
    Structure s({"-x,-y,-z"});
    s.add_site("A", 0.1, 0.2, 0.3);
    strcpy(s.cif.spacegroup_HM, "P -1");
    ASSERT_EQ(ZEMU_remove_cif_symmetry(&s.cif), 0);
    EXPECT_EQ(s.cif.site_no, 1);
    EXPECT_EQ(ops_of(s.cif), std::vector<std::string>({"-x,-y,-z"}));
    EXPECT_STREQ(s.cif.spacegroup_HM, "P -1");
}

TEST(CifSymcards, FirstRecordListingTheSymbolWins) {
    SymcardDir dir(kCards);
    Structure s({});
    strcpy(s.cif.spacegroup_HM, "P 2");
    ASSERT_EQ(ZEMU_fill_symops(&s.cif), 0);
    EXPECT_EQ(ops_of(s.cif), std::vector<std::string>({"x,y,z", "-x,y,-z"}));
    strcpy(s.cif.spacegroup_HM, "P -1");
    s.set_ops({});
    ASSERT_EQ(ZEMU_fill_symops(&s.cif), 0);
    EXPECT_EQ(ops_of(s.cif), std::vector<std::string>({"x,y,z", "-x,-y,-z"}));
}

TEST(CifSymcards, SymbolsAreComparedExactly) {
    SymcardDir dir(kCards);
    Structure s({});
    strcpy(s.cif.spacegroup_HM, "P2");  // listed nowhere without the blank
    ASSERT_EQ(ZEMU_fill_symops(&s.cif), 0);
    EXPECT_EQ(ops_of(s.cif), std::vector<std::string>({"x,y,z"}));
}

TEST(CifSymcards, TruncatedRecordStoresNothing) {
    SymcardDir dir(kCards);
    Structure s({});
    strcpy(s.cif.spacegroup_HM, "P broken");
    ASSERT_EQ(ZEMU_get_symops_from_dat(&s.cif), 0);
    EXPECT_EQ(s.cif.symop_no, 0);
    ASSERT_EQ(ZEMU_fill_symops(&s.cif), 0);
    EXPECT_EQ(ops_of(s.cif), std::vector<std::string>({"x,y,z"}));
}

TEST(CifSymcards, MissingDatabaseIsSilent) {
    SymcardDir dir(nullptr);
    Structure s({});
    strcpy(s.cif.spacegroup_HM, "P -1");
    testing::internal::CaptureStderr();
    ASSERT_EQ(ZEMU_fill_symops(&s.cif), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(ops_of(s.cif), std::vector<std::string>({"x,y,z"}));
}

TEST(CifSymcards, ProjectDatabaseGivesTheOrderOfCommonGroups) {
    // The shipped file, looked up from the source tree's working directory layout.
    WorkDir dir(true);
    char old[4096];
    ASSERT_NE(getcwd(old, sizeof old), nullptr);
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    {
        Structure s({});
        strcpy(s.cif.spacegroup_HM, "P n m a");
        ASSERT_EQ(ZEMU_fill_symops(&s.cif), 0);
        EXPECT_EQ(s.cif.symop_no, 8);
        s.set_ops({});
        strcpy(s.cif.spacegroup_HM, "F m -3 m");
        ASSERT_EQ(ZEMU_fill_symops(&s.cif), 0);
        EXPECT_EQ(s.cif.symop_no, 192);
        s.add_site("A", 0.05, 0.13, 0.31);  // general position
        ASSERT_EQ(ZEMU_refresh_site_mul(&s.cif), 0);
        EXPECT_EQ(s.cif.site[0].mul, 192);
    }
    ASSERT_EQ(chdir(old), 0);
}
