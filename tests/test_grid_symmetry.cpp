// Integer symmetry operations on the grid: parsing operation texts, the image
// generators, merging near-coincident images and the equivalence test.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ZEMU.h"
#include "grid_symmetry_fixtures.h"

using gridsym_test::TestGrid;
using gridsym_test::TestStructure;

// ---------------------------------------------------------------------------
// Operation texts
// ---------------------------------------------------------------------------

TEST(GridSymopParser, IdentityHasUnitDiagonalOnly) {
    TestGrid grid(10, 10, 10);
    TestStructure s({"x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ASSERT_EQ(s.cif.fg.total, 1);
    const ZEMU_fastgen_symop& op = s.cif.fg.op[0];
    EXPECT_EQ(op.x_x, 1);
    EXPECT_EQ(op.y_y, 1);
    EXPECT_EQ(op.z_z, 1);
    EXPECT_EQ(op.x_y + op.x_z + op.x_a + op.y_x + op.y_z + op.y_a + op.z_x + op.z_y + op.z_a, 0);
    EXPECT_EQ(s.cif.diff_neigh, 0);
}

TEST(GridSymopParser, FractionsBecomeGridStepsPerAxis) {
    TestGrid grid(40, 40, 40);
    TestStructure s({"x,y,z", "-x+1/2,y,-z+1/4"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    const ZEMU_fastgen_symop& op = s.cif.fg.op[1];
    EXPECT_EQ(op.x_x, -1);
    EXPECT_EQ(op.x_a, 20);
    EXPECT_EQ(op.y_y, 1);
    EXPECT_EQ(op.y_a, 0);
    EXPECT_EQ(op.z_z, -1);
    EXPECT_EQ(op.z_a, 10);
}

TEST(GridSymopParser, TranslationUsesTheCountOfItsOwnAxis) {
    TestGrid grid(20, 30, 40);
    TestStructure s({"x+1/2,y+1/2,z-1/2"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(s.cif.fg.op[0].x_a, 10);
    EXPECT_EQ(s.cif.fg.op[0].y_a, 15);
    EXPECT_EQ(s.cif.fg.op[0].z_a, -20);
}

TEST(GridSymopParser, OffGridTranslationIsTruncated) {
    TestGrid grid(50, 50, 50);
    TestStructure s({"-x+1/3,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(s.cif.fg.op[0].x_a, 16);
}

TEST(GridSymopParser, MixedAxesSetDiffNeigh) {
    TestGrid grid(12, 12, 12);
    TestStructure s({"x,y,z", "x-y,x,z+1/2"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(s.cif.fg.op[1].x_x, 1);
    EXPECT_EQ(s.cif.fg.op[1].x_y, -1);
    EXPECT_EQ(s.cif.fg.op[1].y_x, 1);
    EXPECT_EQ(s.cif.fg.op[1].z_a, 6);
    EXPECT_EQ(s.cif.diff_neigh, 1);
}

TEST(GridSymopParser, PermutedAxesAloneKeepDiffNeighZero) {
    TestGrid grid(12, 12, 12);
    TestStructure s({"x,y,z", "y,-x,z", "-y,x,-z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(s.cif.diff_neigh, 0);
}

TEST(GridSymopParser, RowCarriesOverFromAShortOperation) {
    TestGrid grid(10, 10, 10);
    // "x,y" leaves the row at y; the end of the text moves it to z, where "z" lands.
    TestStructure s({"x,y", "z", "x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ASSERT_EQ(s.cif.fg.total, 3);
    EXPECT_EQ(s.cif.fg.op[0].x_x, 1);
    EXPECT_EQ(s.cif.fg.op[0].y_y, 1);
    EXPECT_EQ(s.cif.fg.op[1].z_z, 1);
    EXPECT_EQ(s.cif.fg.op[1].x_z, 0);
    EXPECT_EQ(s.cif.fg.op[2].x_x, 1);
    EXPECT_EQ(s.cif.fg.op[2].y_y, 1);
    EXPECT_EQ(s.cif.fg.op[2].z_z, 1);
}

TEST(GridSymopParser, PendingMinusCarriesIntoTheNextOperation) {
    TestGrid grid(10, 10, 10);
    TestStructure s({"x,y,z-", "x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(s.cif.fg.op[0].z_z, 1);
    EXPECT_EQ(s.cif.fg.op[1].x_x, -1);
    EXPECT_EQ(s.cif.fg.op[1].y_y, 1);
}

TEST(GridSymopParser, UpperCaseLettersAndBlanksAreRead) {
    TestGrid grid(10, 10, 10);
    TestStructure s({" -X , Y+1/2 , -Z "});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(s.cif.fg.op[0].x_x, -1);
    EXPECT_EQ(s.cif.fg.op[0].y_y, 1);
    EXPECT_EQ(s.cif.fg.op[0].y_a, 5);
    EXPECT_EQ(s.cif.fg.op[0].z_z, -1);
}

TEST(GridSymopParser, WholeNumberAtTheEndIsAWholeCell) {
    TestGrid grid(10, 10, 10);
    TestStructure s({"x,y,z+1"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(s.cif.fg.op[0].z_a, 10);
    ZEMU_symcopies copies;
    ZEMU_fastgen_sym_copies(&s.cif, &grid.cube, &copies, 1, 2, 3);
    ASSERT_EQ(copies.total, 1);
    EXPECT_EQ(copies.copy[0].z, 3);
}

TEST(GridSymopParser, ZeroDenominatorDoesNotDivide) {
    TestGrid grid(10, 10, 10);
    TestStructure s({"x+1/0,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(s.cif.fg.op[0].x_x, 1);
    EXPECT_EQ(s.cif.fg.op[0].x_a % 10, 0);
}

TEST(GridSymopParser, MoreThan192OperationsAreClampedWithAWarning) {
    TestGrid grid(10, 10, 10);
    TestStructure s(std::vector<std::string>(200, "-x,-y,-z"));
    testing::internal::CaptureStderr();
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(s.cif.fg.total, ZEMU_MAX_SYMOP);
    EXPECT_EQ(err.rfind("Warning: ", 0), 0u);
    EXPECT_EQ(err.find('\n'), err.size() - 1);
}

TEST(GridSymopParser, RepeatedPreparationStartsFromAClearWorkArea) {
    TestGrid grid(10, 10, 10);
    TestStructure s({"x,y,z", "x-y,-y,-z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ASSERT_EQ(s.cif.diff_neigh, 1);
    ZEMU_free_cif_symop(&s.cif);
    s.cif.symop_no = 1;
    ZEMU_alloc_cif_symop(&s.cif);
    snprintf(s.cif.symop[0], ZEMU_CIF_SYMOP_SIZE, "x,y,z");
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(s.cif.fg.total, 1);
    EXPECT_EQ(s.cif.fg.op[1].x_x, 0);
    EXPECT_EQ(s.cif.diff_neigh, 0);
}

TEST(GridSymopParser, OperationsReadFromACifFile) {
    TestGrid grid(20, 20, 20);
    ZEMU_cif cif;
    ASSERT_EQ(ZEMU_init_cif(&cif), 0);
    char path[] = ZEMU_TEST_DATA "/gridsym_p21c.cif";
    ASSERT_EQ(ZEMU_load_cif(path, &cif), 0);
    ZEMU_prepare_fastgen_symop(&cif, &grid.cube);
    ASSERT_EQ(cif.fg.total, 4);
    EXPECT_EQ(cif.fg.op[1].x_x, -1);
    EXPECT_EQ(cif.fg.op[1].y_a, 10);
    EXPECT_EQ(cif.fg.op[1].z_a, 10);
    EXPECT_EQ(cif.fg.op[3].y_y, -1);
    EXPECT_EQ(cif.diff_neigh, 0);
    ZEMU_free_cif(&cif);
}

// ---------------------------------------------------------------------------
// Image generators
// ---------------------------------------------------------------------------

TEST(GridSymCopies, PointOnInversionCentreHasOneImage) {
    TestGrid grid(10, 10, 10);
    TestStructure s({"x,y,z", "-x,-y,-z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ZEMU_symcopies copies;
    ZEMU_fastgen_sym_copies(&s.cif, &grid.cube, &copies, 5, 0, 5);
    EXPECT_EQ(copies.total, 1);
    ZEMU_fastgen_sym_copies(&s.cif, &grid.cube, &copies, 0, 0, 0);
    EXPECT_EQ(copies.total, 1);
}

TEST(GridSymCopies, GeneralPointImagesWrapIntoTheCellInOrder) {
    TestGrid grid(10, 10, 10);
    TestStructure s({"x,y,z", "-x,-y,-z", "x+1/2,-y+1/2,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ZEMU_symcopies copies;
    ZEMU_fastgen_sym_copies(&s.cif, &grid.cube, &copies, 1, 2, 3);
    ASSERT_EQ(copies.total, 3);
    EXPECT_EQ(copies.copy[0].x, 1);  // the identity yields the point itself first
    EXPECT_EQ(copies.copy[0].y, 2);
    EXPECT_EQ(copies.copy[0].z, 3);
    EXPECT_EQ(copies.copy[1].x, 9);
    EXPECT_EQ(copies.copy[1].y, 8);
    EXPECT_EQ(copies.copy[1].z, 7);
    EXPECT_EQ(copies.copy[2].x, 6);
    EXPECT_EQ(copies.copy[2].y, 3);
    EXPECT_EQ(copies.copy[2].z, 3);
}

TEST(GridSymCopies, NegativeTranslationsWrapBelowZero) {
    TestGrid grid(8, 8, 8);
    TestStructure s({"-x-1/2,-y-3/4,z-1/4"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ZEMU_symcopies copies;
    ZEMU_fastgen_sym_copies(&s.cif, &grid.cube, &copies, 7, 1, 0);
    ASSERT_EQ(copies.total, 1);
    EXPECT_EQ(copies.copy[0].x, 5);  // -7 - 4 = -11 -> 5
    EXPECT_EQ(copies.copy[0].y, 1);  // -1 - 6 = -7 -> 1
    EXPECT_EQ(copies.copy[0].z, 6);  // 0 - 2 -> 6
}

TEST(GridSymCopies, RealValuedImageJustBelowTheCellEdgeIsCarriedBelowZero) {
    TestGrid grid(40, 40, 40);
    TestStructure s({"x,y,z", "-x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ZEMU_symcopies copies;
    ZEMU_fastgen_sym_copies_dbl(&s.cif, &grid.cube, &copies, 0.4, 39.6, 20.0);
    ASSERT_EQ(copies.total, 2);
    EXPECT_DOUBLE_EQ(copies.copy[0].p, 0.4);
    EXPECT_NEAR(copies.copy[0].q, -0.4, 1e-12);
    EXPECT_NEAR(copies.copy[1].p, -0.4, 1e-12);
    EXPECT_DOUBLE_EQ(copies.copy[1].r, 20.0);
}

TEST(GridSymCopies, EquivalenceTestWrapsTheFirstPoint) {
    TestGrid grid(10, 10, 10);
    TestStructure s({"x,y,z", "-x,-y,-z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(ZEMU_is_symmetrically_related(&s.cif, &grid.cube, 9, 8, 7, 1, 2, 3), 1);
    EXPECT_EQ(ZEMU_is_symmetrically_related(&s.cif, &grid.cube, -1, -2, -3, 1, 2, 3), 1);
    EXPECT_EQ(ZEMU_is_symmetrically_related(&s.cif, &grid.cube, 9, 8, 6, 1, 2, 3), 0);
}

// ---------------------------------------------------------------------------
// Merging and its rounding
// ---------------------------------------------------------------------------

TEST(GridRoundCopies, ExactHalfResolvesTowardTheFirstImage) {
    EXPECT_EQ(ZEMU_round_copies(2.5, 2), 2);
    EXPECT_EQ(ZEMU_round_copies(2.5, 3), 3);
    EXPECT_EQ(ZEMU_round_copies(2.5, 5), 3);
    EXPECT_EQ(ZEMU_round_copies(-0.5, 0), -1);
    EXPECT_EQ(ZEMU_round_copies(2.3333, 2), 2);
    EXPECT_EQ(ZEMU_round_copies(2.6667, 2), 3);
}

TEST(GridCondenseCopies, NeighbouringImagesMergeAtTheirMean) {
    TestGrid grid(10, 10, 10);
    TestStructure s({"x,y,z"});
    ZEMU_symcopies copies;
    copies.total = 3;
    copies.copy[0].x = 3, copies.copy[0].y = 5, copies.copy[0].z = 5;
    copies.copy[1].x = 2, copies.copy[1].y = 5, copies.copy[1].z = 5;
    copies.copy[2].x = 7, copies.copy[2].y = 5, copies.copy[2].z = 5;
    ZEMU_condense_copies(&s.cif, &grid.cube, &copies, 1);
    ASSERT_EQ(copies.total, 2);
    EXPECT_DOUBLE_EQ(copies.copy[0].p, 2.5);
    EXPECT_EQ(copies.copy[0].x, 3);  // the half goes to the first image's own index
    EXPECT_DOUBLE_EQ(copies.copy[1].p, 7.0);
    EXPECT_EQ(copies.copy[1].x, 7);
    EXPECT_EQ(copies.copy[1].y, 5);
}

TEST(GridCondenseCopies, ImagesAcrossTheCellBoundaryMerge) {
    TestGrid grid(10, 10, 10);
    TestStructure s({"x,y,z"});
    ZEMU_symcopies copies;
    copies.total = 2;
    copies.copy[0].x = 0, copies.copy[0].y = 4, copies.copy[0].z = 4;
    copies.copy[1].x = 9, copies.copy[1].y = 4, copies.copy[1].z = 4;
    ZEMU_condense_copies(&s.cif, &grid.cube, &copies, 1);
    ASSERT_EQ(copies.total, 1);
    EXPECT_DOUBLE_EQ(copies.copy[0].p, 9.5);  // mean -0.5, wrapped
    EXPECT_EQ(copies.copy[0].x, 9);           // -0.5 is no half toward the first image
    EXPECT_DOUBLE_EQ(copies.copy[0].q, 4.0);
}

TEST(GridCondenseCopies, OnlyImagesWithinTheRadiusOfTheFirstJoin) {
    TestGrid grid(20, 20, 20);
    TestStructure s({"x,y,z"});
    ZEMU_symcopies copies;
    copies.total = 3;
    copies.copy[0].x = 5, copies.copy[0].y = 5, copies.copy[0].z = 5;
    copies.copy[1].x = 6, copies.copy[1].y = 6, copies.copy[1].z = 6;
    copies.copy[2].x = 7, copies.copy[2].y = 7, copies.copy[2].z = 7;  // next to 6, not to 5
    ZEMU_condense_copies(&s.cif, &grid.cube, &copies, 1);
    ASSERT_EQ(copies.total, 2);
    EXPECT_DOUBLE_EQ(copies.copy[0].p, 5.5);
    EXPECT_EQ(copies.copy[0].x, 5);
    EXPECT_EQ(copies.copy[1].x, 7);
}

