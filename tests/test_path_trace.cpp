#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU-path.h"

namespace {

// A cubic grid of n^3 points, 1 Angstrom per step, every energy `background`.
// The landscapes below carve a channel along +x through a high background, so
// the traced routes are predictable point by point.
struct TraceGrid {
    ZEMU_cube cube;
    explicit TraceGrid(int n, double background = 10.0) {
        memset(&cube, 0, sizeof(cube));
        ZEMU_init_cube(&cube);
        cube.a_grid = cube.b_grid = cube.c_grid = n;
        cube.a_x = cube.b_y = cube.c_z = 1.0;
        ZEMU_calc_cell_parameter(&cube);
        EXPECT_EQ(ZEMU_alloc_cube_energy(&cube), 0);
        for (int i = 0; i < n; i++)
            for (int j = 0; j < n; j++)
                for (int k = 0; k < n; k++) cube.energy[i][j][k] = background;
    }
    ~TraceGrid() { ZEMU_free_cube(&cube); }
    void set(int x, int y, int z, double e) { cube.energy[x][y][z] = e; }
    // Energies of the points (x, 0, 0), x = 0, 1, ...
    void set_axis(const std::vector<double>& e) {
        for (size_t x = 0; x < e.size(); x++) set(static_cast<int>(x), 0, 0, e[x]);
    }
};

ZEMU_cubeloc loc(int x, int y, int z) {
    ZEMU_cubeloc l;
    ZEMU_assign_loc(&l, x, y, z);
    return l;
}

std::vector<std::vector<int>> points_of(const ZEMU_grid_path& p) {
    std::vector<std::vector<int>> out;
    for (int i = 0; i < p.length; i++) out.push_back({p.grid[i].x, p.grid[i].y, p.grid[i].z});
    return out;
}

std::vector<std::vector<int>> axis_points(int from, int to) {
    std::vector<std::vector<int>> out;
    for (int x = from; x <= to; x++) out.push_back({x, 0, 0});
    return out;
}

// A hand-made path of the points (0,0,0) .. (n-1,0,0); saddle index refreshed.
struct AxisPath {
    std::vector<ZEMU_path_triple_index> pts;
    ZEMU_grid_path path;
    AxisPath(ZEMU_cube* cube, int n) : pts(n) {
        for (int i = 0; i < n; i++) pts[i] = ZEMU_path_triple_index{i, 0, 0};
        ZEMU_init_grid_path(&path);
        path.length = n;
        path.grid = pts.data();
        ZEMU_refresh_path_saddle(cube, &path);
    }
};

// Grid path owning its arrays, built point by point with given attributes.
ZEMU_grid_path owned_path(const std::vector<std::vector<int>>& pts, int attribute) {
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    int n = static_cast<int>(pts.size());
    p.length = n;
    p.grid = static_cast<ZEMU_path_triple_index*>(malloc(sizeof(ZEMU_path_triple_index) * n));
    p.color = static_cast<int*>(malloc(sizeof(int) * n));
    p.style = static_cast<int*>(malloc(sizeof(int) * n));
    p.marker = static_cast<int*>(malloc(sizeof(int) * n));
    for (int i = 0; i < n; i++) {
        p.grid[i] = ZEMU_path_triple_index{pts[i][0], pts[i][1], pts[i][2]};
        p.color[i] = attribute;
        p.style[i] = attribute + 100;
        p.marker[i] = attribute + 200;
    }
    return p;
}

}  // namespace

// ---------------------------------------------------------------------------
// Half paths
// ---------------------------------------------------------------------------

TEST(HalfGridPath, NeighbouringEndsGiveJustTheTwoPoints) {
    TraceGrid g(8);
    g.set_axis({0.0, 1.0});
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    ASSERT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(0, 0, 0), loc(1, 0, 0)), 0);
    EXPECT_EQ(points_of(p), axis_points(0, 1));
    EXPECT_EQ(p.saddle, 1);
    for (int i = 0; i < p.length; i++) {
        EXPECT_EQ(p.color[i], -1);
        EXPECT_EQ(p.style[i], -1);
        EXPECT_EQ(p.marker[i], -1);
    }
    ZEMU_free_grid_path(&p);
}

TEST(HalfGridPath, NeighbouringEndsOfEqualEnergyAreTrimmedToOnePoint) {
    TraceGrid g(8);
    g.set_axis({2.0, 2.0});
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    ASSERT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(0, 0, 0), loc(1, 0, 0)), 0);
    EXPECT_EQ(points_of(p), axis_points(1, 1));
    ZEMU_free_grid_path(&p);
}

// Equal end energies move L1 first; afterwards the higher end moves and a step
// from the far end is inserted just before it.
TEST(HalfGridPath, EqualEndEnergiesStepFromStartThenHigherEnd) {
    TraceGrid g(8, 0.5);
    g.set(0, 0, 0, 1.0);
    g.set(3, 0, 0, 1.0);
    g.set(1, 1, 0, 0.1);   // lowest step out of L1
    g.set(2, 7, 0, 0.1);   // (2,-1,0): lowest step out of L2 (unreachable once L1 moved first)
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    ASSERT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(0, 0, 0), loc(3, 0, 0)), 0);
    std::vector<std::vector<int>> expected = {{0, 0, 0}, {1, 1, 0}, {2, 0, -1}, {3, 0, 0}};
    EXPECT_EQ(points_of(p), expected);
    EXPECT_EQ(p.saddle, 0);  // first of the two highest points
    ZEMU_free_grid_path(&p);
}

// When no closer neighbour lies below 9999 eV the previous offset is taken again.
TEST(HalfGridPath, StepWithoutCandidateRepeatsPreviousOffset) {
    TraceGrid g(10, 10000.0);
    g.set(0, 0, 0, 20000.0);
    g.set(1, 0, 0, 5.0);
    g.set(4, 0, 0, 0.0);
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    ASSERT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(0, 0, 0), loc(4, 0, 0)), 0);
    EXPECT_EQ(points_of(p), axis_points(0, 4));
    ZEMU_free_grid_path(&p);
}

// No candidate at the first step: the remembered offset is (0, 0, 0), the walk
// cannot progress and must stop at the point limit.
TEST(HalfGridPath, WalkThatCannotProgressStopsAtLimit) {
    TraceGrid g(10, 10000.0);
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    p.length = 12345;
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(0, 0, 0), loc(5, 0, 0)), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: ZEMU_MAX_PATH_LENGTH exceeded\n");
    EXPECT_EQ(p.length, 12345);
}

// The walk leaves L1 sideways over (1,1,1) and (1,1,0), comes back to (1,0,0)
// and runs down the channel; L1 neighbours both (1,1,0) and (1,0,0), and the cut
// goes to the farther one, so both detour points go.
TEST(HalfGridPath, LoopIsCutAtFarthestNeighbour) {
    TraceGrid g(12, 3.0);
    g.set_axis({5.0, 1.2, 1.5, 1.4, 1.3, 1.25, 0.0});
    g.set(1, 1, 1, 1.0);
    g.set(1, 1, 0, 1.1);
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    ASSERT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(0, 0, 0), loc(6, 0, 0)), 0);
    EXPECT_EQ(points_of(p), axis_points(0, 6));
    ZEMU_free_grid_path(&p);
}

TEST(HalfGridPath, DetourOverRidgesIsRejectedAndLeavesPathUntouched) {
    TraceGrid g(12);
    g.set_axis({0.0, 1.0, 0.5, 1.0, 0.5, 1.0, 0.5, 2.0});  // 4 of 7 steps climb
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    p.length = 12345;
    EXPECT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(0, 0, 0), loc(7, 0, 0)), -1);
    EXPECT_EQ(p.length, 12345);
    EXPECT_EQ(p.grid, nullptr);
}

TEST(HalfGridPath, ThreeQuartersOfStepsClimbingIsEnough) {
    TraceGrid g(12);
    g.set_axis({0.0, 1.0, 2.0, 1.5, 3.0, 4.0, 3.5, 5.0, 6.0});  // 6 of 8 climb
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    ASSERT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(0, 0, 0), loc(8, 0, 0)), 0);
    EXPECT_EQ(p.length, 9);
    EXPECT_EQ(p.saddle, 8);
    ZEMU_free_grid_path(&p);

    g.set_axis({0.0, 1.0, 2.0, 1.5, 3.0, 4.0, 3.5, 5.0, 4.5});  // 5 of 8
    EXPECT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(0, 0, 0), loc(8, 0, 0)), -1);
}

TEST(HalfGridPath, LeadingPlateauIsTrimmed) {
    TraceGrid g(12);
    g.set_axis({1.0, 1.0, 1.0, 0.5, 0.2, 0.0});
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    ASSERT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(0, 0, 0), loc(5, 0, 0)), 0);
    EXPECT_EQ(points_of(p), axis_points(2, 5));
    EXPECT_EQ(p.saddle, 0);
    ZEMU_free_grid_path(&p);
}

TEST(HalfGridPath, UnwrappedEndsReadEnergiesThroughThePeriodicCell) {
    TraceGrid g(8);
    g.set_axis({0.0, 0.3, 0.6});
    g.set(7, 0, 0, 0.9);
    g.set(6, 0, 0, 1.2);
    // From the image of (6,0,0) one cell down, -2 .. 2 along a.
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    ASSERT_EQ(ZEMU_build_half_grid_path(&g.cube, &p, loc(-2, 0, 0), loc(2, 0, 0)), 0);
    EXPECT_EQ(points_of(p), axis_points(-2, 2));
    EXPECT_EQ(p.saddle, 0);
    ZEMU_free_grid_path(&p);
}

// ---------------------------------------------------------------------------
// Irreducibility tests on hand-made paths
// ---------------------------------------------------------------------------

TEST(PathIrreducibility, HalfPathAcceptsShortPathsWhateverTheirShape) {
    TraceGrid g(8);
    g.set_axis({0.0, 2.0, 0.0, 2.0, 1.0});
    AxisPath a(&g.cube, 5);
    EXPECT_EQ(ZEMU_halfpath_is_irreducible(&g.cube, &a.path), 1);
}

TEST(PathIrreducibility, HalfPathDescendingFromFirstPointCountsDescents) {
    TraceGrid g(8);
    g.set_axis({5.0, 4.0, 4.0, 3.0, 2.0, 1.0, 0.0});  // one flat step of six
    AxisPath a(&g.cube, 7);
    EXPECT_EQ(ZEMU_halfpath_is_irreducible(&g.cube, &a.path), 1);
    g.set_axis({5.0, 4.0, 4.0, 3.0, 3.0, 1.0, 0.0});  // two flat: 4/6
    EXPECT_EQ(ZEMU_halfpath_is_irreducible(&g.cube, &a.path), 0);
}

TEST(PathIrreducibility, HalfPathWithEqualEndsClimbsToTheLastPoint) {
    TraceGrid g(8);
    g.set_axis({1.0, 2.0, 3.0, 4.0, 5.0, 1.0});  // 4 of 5 climb towards the end
    AxisPath a(&g.cube, 6);
    EXPECT_EQ(ZEMU_halfpath_is_irreducible(&g.cube, &a.path), 1);
}

TEST(PathIrreducibility, FullPathCountsFlatStepsButSkipsTheFirst) {
    TraceGrid g(8);
    g.set_axis({0.0, 1.0, 2.0, 3.0, 2.0});  // 3 of 4 counted: the first climb is skipped
    AxisPath a(&g.cube, 5);
    ASSERT_EQ(a.path.saddle, 3);
    EXPECT_EQ(ZEMU_path_is_irreducible(&g.cube, &a.path), 0);
    EXPECT_EQ(ZEMU_halfpath_is_irreducible(&g.cube, &a.path), 1);

    g.set_axis({0.5, 0.0, 1.0, 3.0, 2.0, 2.0, 2.0});  // 5 of 6 with the two flat steps
    AxisPath b(&g.cube, 7);
    ASSERT_EQ(b.path.saddle, 3);
    EXPECT_EQ(ZEMU_path_is_irreducible(&g.cube, &b.path), 1);

    g.set_axis({0.0, 1.0, 1.0, 3.0, 2.0, 1.0});  // 4 of 5 with the flat step uphill
    AxisPath c(&g.cube, 6);
    ASSERT_EQ(c.path.saddle, 3);
    EXPECT_EQ(ZEMU_path_is_irreducible(&g.cube, &c.path), 1);
}

// ---------------------------------------------------------------------------
// Joining, full paths and small operations
// ---------------------------------------------------------------------------

TEST(GridPathJoin, SharedPointIsKeptOnceWithSecondPathsAttributes) {
    TraceGrid g(8, 0.0);
    g.set(3, 0, 0, 2.0);
    ZEMU_grid_path one = owned_path(axis_points(0, 2), 1);
    ZEMU_grid_path two = owned_path(axis_points(2, 4), 2);
    ASSERT_EQ(ZEMU_concatenate_grid_path(&g.cube, &one, &two), 0);
    EXPECT_EQ(points_of(one), axis_points(0, 4));
    EXPECT_EQ(one.color[1], 1);
    EXPECT_EQ(one.color[2], 2);
    EXPECT_EQ(one.style[2], 102);
    EXPECT_EQ(one.marker[2], 202);
    EXPECT_EQ(one.saddle, 3);
    EXPECT_EQ(two.length, 3);  // the second path is left to its owner
    ZEMU_free_grid_path(&one);
    ZEMU_free_grid_path(&two);
}

TEST(GridPathJoin, SeparatePointsAreAllAppended) {
    TraceGrid g(8, 0.0);
    ZEMU_grid_path one = owned_path({{0, 0, 0}}, 1);
    ZEMU_grid_path two = owned_path({{5, 5, 5}, {6, 5, 5}}, 2);
    ASSERT_EQ(ZEMU_concatenate_grid_path(&g.cube, &one, &two), 0);
    std::vector<std::vector<int>> expected = {{0, 0, 0}, {5, 5, 5}, {6, 5, 5}};
    EXPECT_EQ(points_of(one), expected);
    ZEMU_free_grid_path(&one);
    ZEMU_free_grid_path(&two);
}

TEST(GridPathJoin, RefusesEmptyAndOverlongJoins) {
    TraceGrid g(8, 0.0);
    ZEMU_grid_path empty;
    ZEMU_init_grid_path(&empty);
    ZEMU_grid_path one = owned_path(axis_points(0, 599), 1);
    ZEMU_grid_path two = owned_path(axis_points(599, 1098), 2);  // 500 points, one shared
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_concatenate_grid_path(&g.cube, &one, &empty), 1);
    EXPECT_EQ(ZEMU_concatenate_grid_path(&g.cube, &empty, &one), 1);
    EXPECT_EQ(ZEMU_concatenate_grid_path(&g.cube, &one, &two), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Invalid input to ZEMU_concatenate_grid_path\n"
              "Error: Invalid input to ZEMU_concatenate_grid_path\n"
              "Error: ZEMU_MAX_PATH_LENGTH exceeed\n");
    EXPECT_EQ(one.length, 600);
    EXPECT_EQ(one.color[599], 1);
    ZEMU_free_grid_path(&one);
    ZEMU_free_grid_path(&two);
}

TEST(GridPath, MinimumSaddleMinimumJoinsBothHalves) {
    TraceGrid g(12);
    g.set_axis({0.0, 1.0, 2.0, 3.0, 2.0, 1.0, 0.0});
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    ASSERT_EQ(ZEMU_build_grid_path(&g.cube, &p, loc(0, 0, 0), loc(3, 0, 0), loc(6, 0, 0)), 0);
    EXPECT_EQ(points_of(p), axis_points(0, 6));
    EXPECT_EQ(p.saddle, 3);
    EXPECT_DOUBLE_EQ(ZEMU_path_length_in_Angstrom(&g.cube, &p), 6.0);
    EXPECT_EQ(ZEMU_path_is_irreducible(&g.cube, &p), 1);
    ZEMU_free_grid_path(&p);
}

TEST(GridPath, FailingSecondHalfIsReportedAsItCame) {
    TraceGrid g(12);
    g.set_axis({0.0, 1.0, 2.0, 3.0, 1.0, 2.0, 1.0, 2.0, 1.0, 2.5});
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    EXPECT_EQ(ZEMU_build_grid_path(&g.cube, &p, loc(0, 0, 0), loc(3, 0, 0), loc(9, 0, 0)), -1);
    EXPECT_EQ(p.length, 0);
    EXPECT_EQ(p.grid, nullptr);
}

TEST(GridPath, ReverseMovesOnlyThePoints) {
    ZEMU_grid_path p = owned_path(axis_points(0, 4), 7);
    p.color[0] = 1;
    p.saddle = 1;
    ZEMU_reverse_path(&p);
    EXPECT_EQ(points_of(p), (std::vector<std::vector<int>>{{4, 0, 0}, {3, 0, 0}, {2, 0, 0}, {1, 0, 0}, {0, 0, 0}}));
    EXPECT_EQ(p.color[0], 1);
    EXPECT_EQ(p.saddle, 1);
    ZEMU_free_grid_path(&p);
    EXPECT_EQ(p.length, 0);
    EXPECT_EQ(p.color, nullptr);
}

TEST(GridPath, LengthIsZeroBelowTwoPointsAndFollowsUnwrappedSteps) {
    TraceGrid g(8);
    ZEMU_grid_path p = owned_path({{7, 0, 0}}, 0);
    EXPECT_DOUBLE_EQ(ZEMU_path_length_in_Angstrom(&g.cube, &p), 0.0);
    ZEMU_free_grid_path(&p);
    p = owned_path({{7, 0, 0}, {8, 1, 0}, {9, 1, 0}}, 0);
    EXPECT_DOUBLE_EQ(ZEMU_path_length_in_Angstrom(&g.cube, &p), 1.0 + std::sqrt(2.0));
    ZEMU_free_grid_path(&p);
}
