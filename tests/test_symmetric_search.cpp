// Asymmetric unit, symmetric smoothing and the symmetric stationary-point searches.
#include <gtest/gtest.h>

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
};

// Each point of a list as "x y z (tx ty tz) e; ".
template <class P>
std::string list(const P* points, int n) {
    std::string out;
    char buf[96];
    for (const P* p = points; p < points + n; p++) {
        snprintf(buf, sizeof buf, "%d %d %d (%g %g %g) %g; ", p->x, p->y, p->z, p->tx, p->ty, p->tz, p->e);
        out += buf;
    }
    return out;
}
// The minima, then the saddle points.
std::string points(const ZEMU_cube& c) { return list(c.minima, c.total_minima) + "| " + list(c.saddle, c.total_saddle); }

}  // namespace

// Against the orbits counted by brute force: one representative per orbit with a
// member in the scanned block 0..8 (the last plane of each axis is left out), no
// two of them equivalent; only points below the minimum + 5 enter the low list.
TEST(AsymmetricUnit, OneRepresentativePerOrbitOfTheScannedBlock) {
    for (bool inversion : {false, true}) {
        Scene sc(10, inversion ? Ops{"x,y,z", "-x,-y,-z"} : Ops{"x,y,z"}, 1.0);
        sc.grid.cube.global_minimum = 0.5;
        sc.grid.set(0, 0, 0, 5.49);
        sc.grid.set(1, 0, 0, 5.5);
        ASSERT_EQ(sc.unit(), 0);
        std::set<std::tuple<int, int, int>> orbits;
        for (int p = 0; p < 9 * 9 * 9; p++) {
            const int x = p / 81, y = p / 9 % 9, z = p % 9;
            auto image = std::make_tuple((10 - x) % 10, (10 - y) % 10, (10 - z) % 10);
            orbits.insert(inversion ? std::min(std::make_tuple(x, y, z), image) : std::make_tuple(x, y, z));
        }
        EXPECT_EQ(sc.asym.total, (int)orbits.size());
        EXPECT_EQ(sc.asym.stotal, sc.asym.total - 1);
        for (int n = 0; n < sc.asym.total; n++)
            for (int m = n + 1; m < sc.asym.total; m++) {
                const ZEMU_xyz_int &a = sc.asym.grid[n], &b = sc.asym.grid[m];
                ASSERT_EQ(ZEMU_is_symmetrically_related(&sc.s.cif, &sc.grid.cube, a.x, a.y, a.z, b.x, b.y, b.z), 0);
            }
    }
}

TEST(SymmetricSearch, StationaryPointsFromTheUnit) {
    // set: x y z e
    struct Case { const char* what; int n; Ops ops; std::vector<std::vector<double>> set; const char* expected; };
    const Case cases[] = {
        {"a minimum on an inversion centre is found once, a general pair twice", 10, {"x,y,z", "-x,-y,-z"},
         {{5, 5, 5, 0.0}, {2, 3, 4, 1.0}, {8, 7, 6, 1.0}}, "2 3 4 (2 3 4) 1; 8 7 6 (8 7 6) 1; 5 5 5 (5 5 5) 0; | "},
        {"the last plane is not searched", 10, {"x,y,z"}, {{9, 5, 5, 0.0}, {4, 4, 4, 0.0}}, "4 4 4 (4 4 4) 0; | "},
        {"nor points above the ceiling", 8, {"x,y,z"}, {{3, 3, 3, 6.0}, {5, 5, 5, 5.0}}, "5 5 5 (5 5 5) 5; | "},
        // A four-fold axis along c: the axis point (0,0,5) is a minimum, but the saddle
        // orbit around it merges three images onto the axis and takes its place.
        {"a merged saddle overrides a minimum at its indices", 10, {"x,y,z", "-y,x,z", "-x,-y,z", "y,-x,z"},
         {{0, 0, 5, 1}, {1, 0, 5, 3}, {2, 0, 5, 0}, {0, 1, 5, 3}, {0, 2, 5, 0}, {9, 0, 5, 3}, {8, 0, 5, 0}, {0, 9, 5, 3},
          {0, 8, 5, 0}},
         "0 2 5 (0 2 5) 0; 8 0 5 (8 0 5) 0; 0 8 5 (0 8 5) 0; 2 0 5 (2 0 5) 0; | 0 0 5 (0 0.333333 5) 1; 0 9 5 (0 9 5) 3; "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Scene sc(c.n, c.ops);
        for (auto& p : c.set) sc.grid.set((int)p[0], (int)p[1], (int)p[2], p[3]);
        ASSERT_EQ(sc.search(), 0);
        EXPECT_EQ(points(sc.grid.cube), c.expected);
    }
}

// Operations that mix axes: the whole grid is searched, and equivalent saddles merge
// only when two steps apart around shared low points.
TEST(SymmetricSearch, MixedAxesSearchTheWholeGrid) {
    // saddles, lows: (x, z) of the points at 5.0 and at 0.0 (y = 0)
    struct Case { const char* what; int nc; Ops ops; std::vector<std::vector<int>> saddles, lows; const char* expected; };
    const Ops half = {"x,y,z", "x-y,-y,-z+1/2"};
    const Case cases[] = {
        {"two steps apart: merged at the mean (z -> 6 - z)", 12, half, {{5, 2}, {5, 4}}, {{4, 3}, {6, 3}},
         "4 0 3 (4 0 3) 0; 6 0 3 (6 0 3) 0; | 5 0 3 (5 0 3) 5; "},
        {"three steps apart: separate (z -> 5 - z on 11 points)", 11, half, {{5, 1}, {5, 4}},
         {{4, 1}, {6, 1}, {4, 4}, {6, 4}},
         "4 0 1 (4 0 1) 0; 4 0 4 (4 0 4) 0; 6 0 1 (6 0 1) 0; 6 0 4 (6 0 4) 0; | 5 0 1 (5 0 1) 5; 5 0 4 (5 0 4) 5; "},
        {"across the cell boundary (z -> -z)", 12, {"x,y,z", "x-y,-y,-z"}, {{5, 1}, {5, 11}}, {{4, 0}, {6, 0}},
         "4 0 0 (4 0 0) 0; 6 0 0 (6 0 0) 0; | 5 0 0 (5 0 0) 5; "},
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
        EXPECT_EQ(points(grid.cube), c.expected);
    }
}

// The printed centre weight against the kernel summed here: weights fall off with
// the distance itself (0.1 Angstrom steps), not its square. The global minimum is
// taken over the representatives only (none yet: 9999).
TEST(SymmetricSmoothing, CentreWeightAndGlobalMinimum) {
    Scene flat(12, {"x,y,z"}, 1.0, 0.1);
    double sum = 0.0;
    for (int i = -5; i <= 5; i++)
        for (int j = -5; j <= 5; j++)
            for (int k = -5; k <= 5; k++) sum += std::exp(-0.1 * std::sqrt(i * i + j * j + k * k) / 0.045);
    char expected[64];
    snprintf(expected, sizeof expected, "Center weight: %f\n", 1.0 / sum);
    ASSERT_EQ(flat.unit(), 0);
    EXPECT_EQ(fx::stdout_of([&] { ZEMU_smooth_cube_with_symmetry(&flat.grid.cube, &flat.s.cif, &flat.asym); }), expected);

    Scene sc(6, {"x,y,z"}, 3.0);
    sc.grid.set(5, 0, 0, -1.0);
    sc.grid.set(1, 2, 3, 2.0);
    ZEMU_fast_refresh_global_min(&sc.grid.cube, &sc.asym);
    EXPECT_DOUBLE_EQ(sc.grid.cube.global_minimum, 9999.0);
    ASSERT_EQ(sc.unit(), 0);
    ZEMU_fast_refresh_global_min(&sc.grid.cube, &sc.asym);
    EXPECT_DOUBLE_EQ(sc.grid.cube.global_minimum, 2.0);
}
