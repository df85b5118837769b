// Asymmetric unit, symmetric smoothing and the symmetric stationary-point searches.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ZEMU.h"
#include "fixtures.h"

using Ops = std::vector<std::string>;

namespace {

// A grid of energies `fill`, a structure with the given operations prepared for
// it, and an asymmetric unit.
struct Scene {
    fx::Grid grid;
    fx::Cif s;
    ZEMU_asymmetric_unit asym;

    Scene(int n, const Ops& ops, double fill = 10.0, double step = 0.5) : grid(n, n, n, fill, step), s(ops) {
        ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
        ZEMU_init_asymmetric_unit(&asym);
    }
    ~Scene() { ZEMU_free_asymmetric_unit(&asym); }
    int unit() { return ZEMU_find_asymmetric_unit(&grid.cube, &s.cif, &asym); }
    int search() { return unit() || ZEMU_find_stationary_points(&grid.cube, &s.cif, &asym); }
    // Smooths (printing the centre weight, returned) after finding the unit.
    std::string smooth() {
        EXPECT_EQ(unit(), 0);
        return fx::stdout_of([&] { EXPECT_EQ(ZEMU_smooth_cube_with_symmetry(&grid.cube, &s.cif, &asym), 0); });
    }
};

int find_saddle(const ZEMU_cube& cube, int x, int y, int z) {
    for (int n = 0; n < cube.total_saddle; n++)
        if (cube.saddle[n].x == x && cube.saddle[n].y == y && cube.saddle[n].z == z) return n;
    return -1;
}

}  // namespace

// ---------------------------------------------------------------------------
// Asymmetric unit
// ---------------------------------------------------------------------------

TEST(AsymmetricUnit, P1CoversAllButTheLastPlaneOfEachAxis) {
    Scene sc(10, {"x,y,z"}, 1.0);
    ASSERT_EQ(sc.unit(), 0);
    ASSERT_EQ(sc.asym.total, 729);
    EXPECT_EQ(sc.asym.stotal, 729);
    std::set<std::tuple<int, int, int>> seen;
    for (int n = 0; n < sc.asym.total; n++) {
        const ZEMU_xyz_int& p = sc.asym.grid[n];
        EXPECT_LE(std::max(p.x, std::max(p.y, p.z)), 8);
        seen.insert({p.x, p.y, p.z});
    }
    EXPECT_EQ(seen.size(), 729u);
    EXPECT_EQ(sc.asym.grid[0].x + sc.asym.grid[0].y + sc.asym.grid[0].z, 0);  // shells grow from the origin
}

TEST(AsymmetricUnit, InversionCentreKeepsOneRepresentativePerPair) {
    Scene sc(10, {"x,y,z", "-x,-y,-z"}, 1.0);
    ASSERT_EQ(sc.unit(), 0);
    // Expected: the number of pairs {p, -p} with a member in the scanned block 0..8.
    std::set<std::tuple<int, int, int>> orbits;
    for (int x = 0; x < 9; x++)
        for (int y = 0; y < 9; y++)
            for (int z = 0; z < 9; z++)
                orbits.insert(std::min(std::make_tuple(x, y, z), std::make_tuple((10 - x) % 10, (10 - y) % 10, (10 - z) % 10)));
    EXPECT_EQ(sc.asym.total, (int)orbits.size());
    EXPECT_LE(sc.asym.total, (1000 + 8) / 2);  // at most one per pair of the whole grid (8 centres)
    for (int n = 0; n < sc.asym.total; n++)
        for (int m = n + 1; m < sc.asym.total; m++) {
            const ZEMU_xyz_int &a = sc.asym.grid[n], &b = sc.asym.grid[m];
            ASSERT_EQ(ZEMU_is_symmetrically_related(&sc.s.cif, &sc.grid.cube, a.x, a.y, a.z, b.x, b.y, b.z), 0);
        }
}

TEST(AsymmetricUnit, LowEnergyListKeepsPointsBelowMinimumPlusFive) {
    Scene sc(4, {"x,y,z"}, 1.0);
    sc.grid.cube.global_minimum = 0.5;
    sc.grid.set(0, 0, 0, 5.49);
    sc.grid.set(1, 0, 0, 5.5);
    sc.grid.set(2, 2, 2, 7.0);
    ASSERT_EQ(sc.unit(), 0);
    EXPECT_EQ(sc.asym.total, 27);
    ASSERT_EQ(sc.asym.stotal, 25);
    for (int n = 0; n < sc.asym.stotal; n++) {
        const ZEMU_xyz_int& p = sc.asym.sgrid[n];
        EXPECT_NE(std::make_tuple(p.x, p.y, p.z), std::make_tuple(1, 0, 0));
        EXPECT_NE(std::make_tuple(p.x, p.y, p.z), std::make_tuple(2, 2, 2));
    }
}

// ---------------------------------------------------------------------------
// Stationary points from the asymmetric unit
// ---------------------------------------------------------------------------

TEST(SymmetricSearch, MinimumOnInversionCentreIsFoundOnce) {
    Scene sc(10, {"x,y,z", "-x,-y,-z"});
    sc.grid.set(5, 5, 5, 0.0);
    sc.grid.set(2, 3, 4, 1.0);  // a general position and its image
    sc.grid.set(8, 7, 6, 1.0);
    ASSERT_EQ(sc.search(), 0);
    const ZEMU_cube& c = sc.grid.cube;
    ASSERT_EQ(c.total_minima, 3);
    EXPECT_EQ(c.total_saddle, 0);
    int at_centre = 0;
    for (int n = 0; n < c.total_minima; n++) {
        const ZEMU_minima& m = c.minima[n];
        EXPECT_DOUBLE_EQ(m.tx, m.x);
        EXPECT_EQ(m.type, 0);
        if (m.x != 5 || m.y != 5 || m.z != 5) continue;
        at_centre++;
        EXPECT_DOUBLE_EQ(m.e, 0.0);
    }
    EXPECT_EQ(at_centre, 1);
}

TEST(SymmetricSearch, ImagesOnNeighbouringPointsGiveOneHalfStepMinimum) {
    Scene sc(10, {"x,y,z", "-x+1/2,y,z"});  // x -> 5 - x: 2 and 3 are images
    sc.grid.set(2, 5, 5, 0.0);
    sc.grid.set(3, 5, 5, 0.0);
    ASSERT_EQ(sc.search(), 0);
    ASSERT_EQ(sc.grid.cube.total_minima, 1);
    const ZEMU_minima& m = sc.grid.cube.minima[0];
    EXPECT_EQ(std::make_tuple(m.x, m.tx, m.ty, m.tz), std::make_tuple(2, 2.5, 5.0, 5.0));
}

TEST(SymmetricSearch, LastPlaneAndPointsAboveTheCeilingAreNotSearched) {
    Scene plane(10, {"x,y,z"});
    plane.grid.set(9, 5, 5, 0.0);
    plane.grid.set(4, 4, 4, 0.0);
    Scene ceiling(8, {"x,y,z"});
    ceiling.grid.set(3, 3, 3, 6.0);
    ceiling.grid.set(5, 5, 5, 5.0);  // at the ceiling: still searched
    for (Scene* sc : {&plane, &ceiling}) {
        ASSERT_EQ(sc->search(), 0);
        ASSERT_EQ(sc->grid.cube.total_minima, 1);
        EXPECT_EQ(sc->grid.cube.minima[0].x, sc == &plane ? 4 : 5);
    }
    // A second run replaces the earlier lists.
    ASSERT_EQ(ZEMU_find_stationary_points(&ceiling.grid.cube, &ceiling.s.cif, &ceiling.asym), 0);
    EXPECT_EQ(ceiling.grid.cube.total_minima, 1);
}

TEST(SymmetricSearch, MergedSaddleOverridesMinimumAtItsIndices) {
    // Four-fold axis along c through the origin. The axis point (0,0,5) is a
    // minimum; the saddle orbit around it merges three images onto the axis.
    Scene sc(10, {"x,y,z", "-y,x,z", "-x,-y,z", "y,-x,z"});
    ASSERT_EQ(sc.s.cif.diff_neigh, 0);
    sc.grid.set(0, 0, 5, 1.0);
    const int ring[4][2] = {{1, 0}, {0, 1}, {9, 0}, {0, 9}};
    for (auto& p : ring) {
        sc.grid.set(p[0], p[1], 5, 3.0);
        sc.grid.set(2 * p[0] % 10, 2 * p[1] % 10, 5, 0.0);  // the basin one step further out
    }
    ASSERT_EQ(sc.search(), 0);
    const ZEMU_cube& c = sc.grid.cube;
    EXPECT_EQ(c.total_minima, 4);
    EXPECT_EQ(ZEMU_isin_minima_list(&sc.grid.cube, 0, 0, 5), 0);
    ASSERT_EQ(c.total_saddle, 2);
    const int merged = find_saddle(c, 0, 0, 5);
    ASSERT_GE(merged, 0);
    EXPECT_DOUBLE_EQ(c.saddle[merged].e, 1.0);  // energy of the grid point it landed on
    EXPECT_NEAR(c.saddle[merged].ty, 1.0 / 3, 1e-12);
    EXPECT_GE(find_saddle(c, 0, 9, 5), 0);
}

// ---------------------------------------------------------------------------
// Whole-grid search for operations that mix axes
// ---------------------------------------------------------------------------

TEST(SymmetricSearchMixedAxes, EquivalentSaddlesMergeOnlyWhenTwoStepsApart) {
    struct Case {
        const char* what;
        int nc;
        Ops ops;
        std::vector<std::vector<int>> saddles, lows;  // grid points at 5.0 and at 0.0 (y = 0)
        const char* expected;                         // "tx ty tz (z)" per saddle
        int minima;
    };
    const Ops half = {"x,y,z", "x-y,-y,-z+1/2"};
    const Case cases[] = {
        {"two steps apart around shared low points: merged at the mean (z -> 6 - z)", 12, half,
         {{5, 2}, {5, 4}}, {{4, 3}, {6, 3}}, "5 0 3 (3)", 2},  // minima are not merged
        {"three steps apart: separate (z -> 5 - z on 11 points)", 11, half,
         {{5, 1}, {5, 4}}, {{4, 1}, {6, 1}, {4, 4}, {6, 4}}, "5 0 1 (1) | 5 0 4 (4)", 4},
        {"across the cell boundary (z -> -z)", 12, {"x,y,z", "x-y,-y,-z"},
         {{5, 1}, {5, 11}}, {{4, 0}, {6, 0}}, "5 0 0 (0)", -1},
        {"neighbours that are not images stay separate: 1 maps onto 5, not 3", 12, half,
         {{5, 1}, {5, 3}}, {{4, 2}, {6, 2}}, nullptr, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        fx::Grid grid(12, 12, c.nc);
        fx::Cif s(c.ops);
        ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
        ASSERT_EQ(s.cif.diff_neigh, 1);
        for (auto& p : c.saddles) grid.set(p[0], 0, p[1], 5.0);
        for (auto& p : c.lows) grid.set(p[0], 0, p[1], 0.0);
        ASSERT_EQ(ZEMU_find_stationary_points2(&grid.cube, &s.cif), 0);
        std::string got;
        char buf[64];
        for (int n = 0; n < grid.cube.total_saddle; n++) {
            const ZEMU_saddle& m = grid.cube.saddle[n];
            snprintf(buf, sizeof buf, "%s%g %g %g (%d)", n ? " | " : "", m.tx, m.ty, m.tz, m.z);
            got += buf;
        }
        if (c.expected)
            EXPECT_EQ(got, c.expected);
        else
            EXPECT_EQ(grid.cube.total_saddle, 2);
        EXPECT_TRUE(c.minima < 0 || grid.cube.total_minima == c.minima) << grid.cube.total_minima;
    }
}

// ---------------------------------------------------------------------------
// Symmetric smoothing
// ---------------------------------------------------------------------------

TEST(SymmetricSmoothing, PrintsTheCentreWeightOnce) {
    Scene sc(12, {"x,y,z", "-x,-y,-z"}, 1.0, 0.1);
    // Weights fall off with the distance itself (0.1 Angstrom steps), not its square.
    double sum = 0.0;
    for (int i = -5; i <= 5; i++)
        for (int j = -5; j <= 5; j++)
            for (int k = -5; k <= 5; k++) sum += std::exp(-0.1 * std::sqrt(i * i + j * j + k * k) / 0.045);
    char expected[64];
    snprintf(expected, sizeof expected, "Center weight: %f\n", 1.0 / sum);
    EXPECT_EQ(sc.smooth(), std::string(expected));
}

TEST(SymmetricSmoothing, PointsNoRepresentativeReachesAreZeroedThenShifted) {
    Scene sc(10, {"x,y,z"}, 1.0, 0.1);
    sc.smooth();
    // Every representative gets the same value v just below 1; the last planes get 0 - v.
    const double v = -sc.grid.cube.energy_shift;
    EXPECT_NEAR(v, 1.0, 1e-6);
    EXPECT_LT(v, 1.0);
    EXPECT_DOUBLE_EQ(sc.grid.cube.global_minimum, 0.0);
    EXPECT_DOUBLE_EQ(sc.grid.at(4, 4, 4), 0.0);
    EXPECT_DOUBLE_EQ(sc.grid.at(0, 8, 8), 0.0);
    EXPECT_DOUBLE_EQ(sc.grid.at(9, 4, 4), -v);
    EXPECT_DOUBLE_EQ(sc.grid.at(4, 9, 4), -v);
    EXPECT_DOUBLE_EQ(sc.grid.at(4, 4, 9), -v);
}

TEST(SymmetricSmoothing, ShiftedKernelReadingMovesAPeakOneStepAlongC) {
    Scene sc(12, {"x,y,z"}, 0.0, 0.1);
    sc.grid.set(4, 4, 4, 1.0);
    sc.smooth();
    int best = -1;
    double best_e = -1.0;
    for (int n = 0; n < sc.asym.total; n++) {
        const ZEMU_xyz_int& p = sc.asym.grid[n];
        if (sc.grid.at(p.x, p.y, p.z) > best_e) best_e = sc.grid.at(p.x, p.y, p.z), best = n;
    }
    ASSERT_GE(best, 0);
    const ZEMU_xyz_int& p = sc.asym.grid[best];
    EXPECT_EQ(std::make_tuple(p.x, p.y, p.z), std::make_tuple(4, 4, 5));
    // Symmetric about the shifted centre: one step further along c equals the old peak.
    EXPECT_DOUBLE_EQ(sc.grid.at(4, 4, 6), sc.grid.at(4, 4, 4));
}

TEST(SymmetricSmoothing, ImagesShareOneAveragedValue) {
    Scene sc(10, {"x,y,z", "-x,-y,-z"}, 0.0, 0.1);
    sc.grid.set(2, 3, 4, 2.0);
    sc.smooth();
    EXPECT_GT(sc.grid.at(2, 3, 5), 0.0);
    EXPECT_DOUBLE_EQ(sc.grid.at(2, 3, 5), sc.grid.at(8, 7, 5));
}

TEST(SymmetricSmoothing, GlobalMinimumIsTakenOverRepresentativesOnly) {
    Scene sc(6, {"x,y,z"}, 3.0);
    sc.grid.set(5, 0, 0, -1.0);  // last plane: no representative
    sc.grid.set(1, 2, 3, 2.0);
    ZEMU_fast_refresh_global_min(&sc.grid.cube, &sc.asym);
    EXPECT_DOUBLE_EQ(sc.grid.cube.global_minimum, 9999.0);
    ASSERT_EQ(sc.unit(), 0);
    ZEMU_fast_refresh_global_min(&sc.grid.cube, &sc.asym);
    EXPECT_DOUBLE_EQ(sc.grid.cube.global_minimum, 2.0);
}
