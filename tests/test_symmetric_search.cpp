// Asymmetric unit, symmetric smoothing and the symmetric stationary-point searches.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <set>
#include <string>
#include <tuple>

#include "ZEMU.h"
#include "grid_symmetry_fixtures.h"

using gridsym_test::TestGrid;
using gridsym_test::TestStructure;

namespace {

// Owns an asymmetric unit for one test.
struct TestUnit {
    ZEMU_asymmetric_unit asym;
    TestUnit() { ZEMU_init_asymmetric_unit(&asym); }
    ~TestUnit() { ZEMU_free_asymmetric_unit(&asym); }
};

int find_saddle(ZEMU_cube* cube, int x, int y, int z) {
    for (int n = 0; n < cube->total_saddle; n++)
        if (cube->saddle[n].x == x && cube->saddle[n].y == y && cube->saddle[n].z == z) return n;
    return -1;
}

// A saddle at (x, y, z): two isolated low points on either side of it along a.
void carve_saddle_along_a(TestGrid& grid, int x, int y, int z) {
    grid.set(x, y, z, 5.0);
    grid.set(x - 1, y, z, 0.0);
    grid.set(x + 1, y, z, 0.0);
}

}  // namespace

// ---------------------------------------------------------------------------
// Asymmetric unit
// ---------------------------------------------------------------------------

TEST(AsymmetricUnit, P1CoversAllButTheLastPlaneOfEachAxis) {
    TestGrid grid(10, 10, 10, 1.0);
    TestStructure s({"x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(unit.asym.total, 729);
    std::set<std::tuple<int, int, int>> seen;
    for (int n = 0; n < unit.asym.total; n++) {
        const ZEMU_xyz_int& p = unit.asym.grid[n];
        EXPECT_LE(std::max(p.x, std::max(p.y, p.z)), 8);
        seen.insert({p.x, p.y, p.z});
    }
    EXPECT_EQ(seen.size(), 729u);
    EXPECT_EQ(unit.asym.grid[0].x + unit.asym.grid[0].y + unit.asym.grid[0].z, 0);  // shells grow from the origin
    EXPECT_EQ(unit.asym.stotal, 729);
}

TEST(AsymmetricUnit, InversionCentreKeepsOneRepresentativePerPair) {
    TestGrid grid(10, 10, 10, 1.0);
    TestStructure s({"x,y,z", "-x,-y,-z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);

    // Expected: the number of pairs {p, -p} with a member in the scanned block 0..8.
    std::set<std::tuple<int, int, int>> orbits;
    for (int x = 0; x < 9; x++)
        for (int y = 0; y < 9; y++)
            for (int z = 0; z < 9; z++)
                orbits.insert(std::min(std::make_tuple(x, y, z), std::make_tuple((10 - x) % 10, (10 - y) % 10, (10 - z) % 10)));
    EXPECT_EQ(unit.asym.total, (int)orbits.size());
    EXPECT_LE(unit.asym.total, (1000 + 8) / 2);  // at most one per pair of the whole grid (8 centres)

    for (int n = 0; n < unit.asym.total; n++)
        for (int m = n + 1; m < unit.asym.total; m++) {
            const ZEMU_xyz_int &a = unit.asym.grid[n], &b = unit.asym.grid[m];
            ASSERT_EQ(ZEMU_is_symmetrically_related(&s.cif, &grid.cube, a.x, a.y, a.z, b.x, b.y, b.z), 0);
        }
}

TEST(AsymmetricUnit, LowEnergyListKeepsPointsBelowMinimumPlusFive) {
    TestGrid grid(4, 4, 4, 1.0);
    TestStructure s({"x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    grid.cube.global_minimum = 0.5;
    grid.set(0, 0, 0, 5.49);
    grid.set(1, 0, 0, 5.5);
    grid.set(2, 2, 2, 7.0);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    EXPECT_EQ(unit.asym.total, 27);
    EXPECT_EQ(unit.asym.stotal, 25);
    for (int n = 0; n < unit.asym.stotal; n++) {
        const ZEMU_xyz_int& p = unit.asym.sgrid[n];
        EXPECT_FALSE(p.x == 1 && p.y == 0 && p.z == 0);
        EXPECT_FALSE(p.x == 2 && p.y == 2 && p.z == 2);
    }
}

// ---------------------------------------------------------------------------
// Stationary points from the asymmetric unit
// ---------------------------------------------------------------------------

TEST(SymmetricSearch, MinimumOnInversionCentreIsFoundOnce) {
    TestGrid grid(10, 10, 10, 10.0);
    TestStructure s({"x,y,z", "-x,-y,-z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    grid.set(5, 5, 5, 0.0);
    grid.set(2, 3, 4, 1.0);  // a general position and its image
    grid.set(8, 7, 6, 1.0);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(ZEMU_find_stationary_points(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(grid.cube.total_minima, 3);
    EXPECT_EQ(grid.cube.total_saddle, 0);
    int at_centre = 0;
    for (int n = 0; n < grid.cube.total_minima; n++) {
        const ZEMU_minima& m = grid.cube.minima[n];
        EXPECT_DOUBLE_EQ(m.tx, m.x);
        EXPECT_EQ(m.type, 0);
        if (m.x == 5 && m.y == 5 && m.z == 5) {
            at_centre++;
            EXPECT_DOUBLE_EQ(m.e, 0.0);
        }
    }
    EXPECT_EQ(at_centre, 1);
}

TEST(SymmetricSearch, ImagesOnNeighbouringPointsGiveOneHalfStepMinimum) {
    TestGrid grid(10, 10, 10, 10.0);
    TestStructure s({"x,y,z", "-x+1/2,y,z"});  // x -> 5 - x: 2 and 3 are images
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    grid.set(2, 5, 5, 0.0);
    grid.set(3, 5, 5, 0.0);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(ZEMU_find_stationary_points(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(grid.cube.total_minima, 1);
    const ZEMU_minima& m = grid.cube.minima[0];
    EXPECT_EQ(m.x, 2);
    EXPECT_DOUBLE_EQ(m.tx, 2.5);
    EXPECT_DOUBLE_EQ(m.ty, 5.0);
    EXPECT_DOUBLE_EQ(m.tz, 5.0);
}

TEST(SymmetricSearch, LastPlaneIsNeverSearchedInP1) {
    TestGrid grid(10, 10, 10, 10.0);
    TestStructure s({"x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    grid.set(9, 5, 5, 0.0);
    grid.set(4, 4, 4, 0.0);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(ZEMU_find_stationary_points(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(grid.cube.total_minima, 1);
    EXPECT_EQ(grid.cube.minima[0].x, 4);
}

TEST(SymmetricSearch, PointsAboveTheCeilingAreSkipped) {
    TestGrid grid(8, 8, 8, 10.0);
    TestStructure s({"x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    grid.set(3, 3, 3, 6.0);
    grid.set(5, 5, 5, 5.0);  // at the ceiling: still searched
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(ZEMU_find_stationary_points(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(grid.cube.total_minima, 1);
    EXPECT_EQ(grid.cube.minima[0].x, 5);
}

TEST(SymmetricSearch, MergedSaddleOverridesMinimumAtItsIndices) {
    // Four-fold axis along c through the origin. The axis point (0,0,5) is a
    // minimum; the saddle orbit around it merges three images onto the axis.
    TestGrid grid(10, 10, 10, 10.0);
    TestStructure s({"x,y,z", "-y,x,z", "-x,-y,z", "y,-x,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ASSERT_EQ(s.cif.diff_neigh, 0);
    grid.set(0, 0, 5, 1.0);
    const int ring[4][2] = {{1, 0}, {0, 1}, {9, 0}, {0, 9}};
    const int basin[4][2] = {{2, 0}, {0, 2}, {8, 0}, {0, 8}};
    for (int n = 0; n < 4; n++) {
        grid.set(ring[n][0], ring[n][1], 5, 3.0);
        grid.set(basin[n][0], basin[n][1], 5, 0.0);
    }
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(ZEMU_find_stationary_points(&grid.cube, &s.cif, &unit.asym), 0);

    EXPECT_EQ(grid.cube.total_minima, 4);
    EXPECT_EQ(ZEMU_isin_minima_list(&grid.cube, 0, 0, 5), 0);
    ASSERT_EQ(grid.cube.total_saddle, 2);
    const int merged = find_saddle(&grid.cube, 0, 0, 5);
    ASSERT_GE(merged, 0);
    EXPECT_DOUBLE_EQ(grid.cube.saddle[merged].e, 1.0);  // energy of the grid point it landed on
    EXPECT_NEAR(grid.cube.saddle[merged].ty, 1.0 / 3, 1e-12);
    EXPECT_GE(find_saddle(&grid.cube, 0, 9, 5), 0);
}

TEST(SymmetricSearch, SecondRunReplacesEarlierLists) {
    TestGrid grid(8, 8, 8, 10.0);
    TestStructure s({"x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    grid.set(3, 3, 3, 0.0);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(ZEMU_find_stationary_points(&grid.cube, &s.cif, &unit.asym), 0);
    ASSERT_EQ(ZEMU_find_stationary_points(&grid.cube, &s.cif, &unit.asym), 0);
    EXPECT_EQ(grid.cube.total_minima, 1);
}

// ---------------------------------------------------------------------------
// Whole-grid search for operations that mix axes
// ---------------------------------------------------------------------------

TEST(SymmetricSearchMixedAxes, EquivalentSaddlesTwoStepsApartMergeAtTheirMean) {
    TestGrid grid(12, 12, 12, 10.0);
    TestStructure s({"x,y,z", "x-y,-y,-z+1/2"});  // z -> 6 - z
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ASSERT_EQ(s.cif.diff_neigh, 1);
    // Saddles (5,0,2) and (5,0,4) share the two low points between them.
    grid.set(5, 0, 2, 5.0);
    grid.set(5, 0, 4, 5.0);
    grid.set(4, 0, 3, 0.0);
    grid.set(6, 0, 3, 0.0);
    ASSERT_EQ(ZEMU_find_stationary_points2(&grid.cube, &s.cif), 0);
    ASSERT_EQ(grid.cube.total_saddle, 1);
    const ZEMU_saddle& m = grid.cube.saddle[0];
    EXPECT_DOUBLE_EQ(m.tx, 5.0);
    EXPECT_DOUBLE_EQ(m.ty, 0.0);
    EXPECT_DOUBLE_EQ(m.tz, 3.0);
    EXPECT_EQ(m.z, 3);
    EXPECT_EQ(grid.cube.total_minima, 2);  // minima are not merged
}

TEST(SymmetricSearchMixedAxes, EquivalentSaddlesThreeStepsApartStaySeparate) {
    TestGrid grid(12, 12, 11, 10.0);
    TestStructure s({"x,y,z", "x-y,-y,-z+1/2"});  // z -> 5 - z on 11 points
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    carve_saddle_along_a(grid, 5, 0, 1);
    carve_saddle_along_a(grid, 5, 0, 4);
    ASSERT_EQ(ZEMU_find_stationary_points2(&grid.cube, &s.cif), 0);
    ASSERT_EQ(grid.cube.total_saddle, 2);
    EXPECT_EQ(grid.cube.saddle[0].z, 1);
    EXPECT_DOUBLE_EQ(grid.cube.saddle[0].tz, 1.0);
    EXPECT_EQ(grid.cube.saddle[1].z, 4);
    EXPECT_EQ(grid.cube.total_minima, 4);
}

TEST(SymmetricSearchMixedAxes, MergeReachesAcrossTheCellBoundary) {
    TestGrid grid(12, 12, 12, 10.0);
    TestStructure s({"x,y,z", "x-y,-y,-z"});  // z -> -z
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    // Saddles (5,0,1) and (5,0,11) around the shared low points at z = 0.
    grid.set(5, 0, 1, 5.0);
    grid.set(5, 0, 11, 5.0);
    grid.set(4, 0, 0, 0.0);
    grid.set(6, 0, 0, 0.0);
    ASSERT_EQ(ZEMU_find_stationary_points2(&grid.cube, &s.cif), 0);
    ASSERT_EQ(grid.cube.total_saddle, 1);
    EXPECT_DOUBLE_EQ(grid.cube.saddle[0].tz, 0.0);
    EXPECT_EQ(grid.cube.saddle[0].z, 0);
}

TEST(SymmetricSearchMixedAxes, UnrelatedNeighbouringSaddlesStaySeparate) {
    TestGrid grid(12, 12, 12, 10.0);
    TestStructure s({"x,y,z", "x-y,-y,-z+1/2"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    // (5,0,1) and (5,0,3) are close, but 1 maps onto 5, not 3.
    grid.set(5, 0, 1, 5.0);
    grid.set(5, 0, 3, 5.0);
    grid.set(4, 0, 2, 0.0);
    grid.set(6, 0, 2, 0.0);
    ASSERT_EQ(ZEMU_find_stationary_points2(&grid.cube, &s.cif), 0);
    EXPECT_EQ(grid.cube.total_saddle, 2);
}

// ---------------------------------------------------------------------------
// Symmetric smoothing
// ---------------------------------------------------------------------------

TEST(SymmetricSmoothing, PrintsTheCentreWeightOnce) {
    TestGrid grid(12, 12, 12, 1.0, 0.1);
    TestStructure s({"x,y,z", "-x,-y,-z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);

    // Weights fall off with the distance itself (0.1 Angstrom steps), not its square.
    double sum = 0.0;
    for (int i = -5; i <= 5; i++)
        for (int j = -5; j <= 5; j++)
            for (int k = -5; k <= 5; k++) sum += std::exp(-0.1 * std::sqrt(i * i + j * j + k * k) / 0.045);
    char expected[64];
    snprintf(expected, sizeof expected, "Center weight: %f\n", 1.0 / sum);

    testing::internal::CaptureStdout();
    ASSERT_EQ(ZEMU_smooth_cube_with_symmetry(&grid.cube, &s.cif, &unit.asym), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string(expected));
}

TEST(SymmetricSmoothing, PointsNoRepresentativeReachesAreZeroedThenShifted) {
    TestGrid grid(10, 10, 10, 1.0, 0.1);
    TestStructure s({"x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    testing::internal::CaptureStdout();
    ASSERT_EQ(ZEMU_smooth_cube_with_symmetry(&grid.cube, &s.cif, &unit.asym), 0);
    testing::internal::GetCapturedStdout();

    // Every representative gets the same value v just below 1; the last planes get 0 - v.
    const double v = -grid.cube.energy_shift;
    EXPECT_NEAR(v, 1.0, 1e-6);
    EXPECT_LT(v, 1.0);
    EXPECT_DOUBLE_EQ(grid.cube.global_minimum, 0.0);
    EXPECT_DOUBLE_EQ(grid.at(4, 4, 4), 0.0);
    EXPECT_DOUBLE_EQ(grid.at(0, 8, 8), 0.0);
    EXPECT_DOUBLE_EQ(grid.at(9, 4, 4), -v);
    EXPECT_DOUBLE_EQ(grid.at(4, 9, 4), -v);
    EXPECT_DOUBLE_EQ(grid.at(4, 4, 9), -v);
}

TEST(SymmetricSmoothing, ShiftedKernelReadingMovesAPeakOneStepAlongC) {
    TestGrid grid(12, 12, 12, 0.0, 0.1);
    TestStructure s({"x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    grid.set(4, 4, 4, 1.0);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    testing::internal::CaptureStdout();
    ASSERT_EQ(ZEMU_smooth_cube_with_symmetry(&grid.cube, &s.cif, &unit.asym), 0);
    testing::internal::GetCapturedStdout();

    int best = -1;
    double best_e = -1.0;
    for (int n = 0; n < unit.asym.total; n++) {
        const ZEMU_xyz_int& p = unit.asym.grid[n];
        if (grid.at(p.x, p.y, p.z) > best_e) best_e = grid.at(p.x, p.y, p.z), best = n;
    }
    ASSERT_GE(best, 0);
    EXPECT_EQ(unit.asym.grid[best].x, 4);
    EXPECT_EQ(unit.asym.grid[best].y, 4);
    EXPECT_EQ(unit.asym.grid[best].z, 5);
    // Symmetric about the shifted centre: one step further along c equals the old peak.
    EXPECT_DOUBLE_EQ(grid.at(4, 4, 6), grid.at(4, 4, 4));
}

TEST(SymmetricSmoothing, ImagesShareOneAveragedValue) {
    TestGrid grid(10, 10, 10, 0.0, 0.1);
    TestStructure s({"x,y,z", "-x,-y,-z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    grid.set(2, 3, 4, 2.0);
    TestUnit unit;
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    testing::internal::CaptureStdout();
    ASSERT_EQ(ZEMU_smooth_cube_with_symmetry(&grid.cube, &s.cif, &unit.asym), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_GT(grid.at(2, 3, 5), 0.0);
    EXPECT_DOUBLE_EQ(grid.at(2, 3, 5), grid.at(8, 7, 5));
}

TEST(SymmetricSmoothing, GlobalMinimumIsTakenOverRepresentativesOnly) {
    TestGrid grid(6, 6, 6, 3.0);
    TestStructure s({"x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    grid.set(5, 0, 0, -1.0);  // last plane: no representative
    grid.set(1, 2, 3, 2.0);
    TestUnit unit;
    ZEMU_fast_refresh_global_min(&grid.cube, &unit.asym);
    EXPECT_DOUBLE_EQ(grid.cube.global_minimum, 9999.0);
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &unit.asym), 0);
    ZEMU_fast_refresh_global_min(&grid.cube, &unit.asym);
    EXPECT_DOUBLE_EQ(grid.cube.global_minimum, 2.0);
}
