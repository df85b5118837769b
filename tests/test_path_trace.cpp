// Grid routes: half paths traced between a minimum and a saddle, their
// irreducibility, joins, reversal and length.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "fixtures.h"

namespace {

using Points = std::vector<std::vector<int>>;

// A cubic grid of n^3 points, 1 Angstrom per step, every energy `background`;
// the landscapes below carve a channel along +x, so that the traced routes
// are predictable point by point.
struct TraceGrid : fx::Grid {
    explicit TraceGrid(int n, double background = 10.0) : fx::Grid(n, n, n, background, 1.0) {}
    void set_axis(const std::vector<double>& e) {  // energies of (x, 0, 0), x = 0, 1, ...
        for (size_t x = 0; x < e.size(); x++) set(static_cast<int>(x), 0, 0, e[x]);
    }
};

ZEMU_cubeloc loc(int x, int y, int z) { return ZEMU_cubeloc{x, y, z}; }

Points points_of(const ZEMU_grid_path& p) {
    Points out;
    for (int i = 0; i < p.length; i++) out.push_back({p.grid[i].x, p.grid[i].y, p.grid[i].z});
    return out;
}

Points axis_points(int from, int to) {
    Points out;
    for (int x = from; x <= to; x++) out.push_back({x, 0, 0});
    return out;
}

// A hand-made path of the points (0,0,0) .. (n-1,0,0); saddle index refreshed.
struct AxisPath {
    std::vector<ZEMU_path_triple_index> pts;
    ZEMU_grid_path path{};
    AxisPath(ZEMU_cube* cube, int n) : pts(n) {
        for (int i = 0; i < n; i++) pts[i] = ZEMU_path_triple_index{i, 0, 0};
        path.length = n, path.grid = pts.data();
        ZEMU_refresh_path_saddle(cube, &path);
    }
};

// Grid path owning its arrays, every point with colour a, style a+100, marker a+200.
ZEMU_grid_path owned_path(const Points& pts, int a) {
    ZEMU_grid_path p;
    ZEMU_init_grid_path(&p);
    p.length = static_cast<int>(pts.size());
    for (int** q : {&p.color, &p.style, &p.marker}) *q = static_cast<int*>(malloc(sizeof(int) * pts.size()));
    p.grid = static_cast<ZEMU_path_triple_index*>(malloc(sizeof(ZEMU_path_triple_index) * pts.size()));
    for (int i = 0; i < p.length; i++) {
        p.grid[i] = ZEMU_path_triple_index{pts[i][0], pts[i][1], pts[i][2]};
        p.color[i] = a, p.style[i] = a + 100, p.marker[i] = a + 200;
    }
    return p;
}

struct Point { int x, y, z; double e; };

}  // namespace

// Half paths traced from (from,0,0) to (to,0,0); a failed trace leaves the
// path untouched. Checked points are all plot-attribute free (-1).
TEST(HalfGridPath, TracedPointsSaddleAndRefusals) {
    // Grid size, background, energies along the axis and elsewhere; ends, result,
    // points traced and saddle index (-1: not checked).
    struct Case { const char* what; int n; double background; std::vector<double> axis; std::vector<Point> extra;
                  int from, to, rc; Points expected; int saddle; } cases[] = {
        {"neighbouring ends give just the two points", 8, 10.0, {0.0, 1.0}, {}, 0, 1, 0, axis_points(0, 1), 1},
        {"neighbouring ends of equal energy are trimmed to one point", 8, 10.0, {2.0, 2.0}, {}, 0, 1, 0,
         axis_points(1, 1), -1},
        // Equal end energies move L1 first; afterwards the higher end moves and a
        // step from the far end is inserted just before it. (2,-1,0) is the lowest
        // step out of L2, unreachable once L1 moved first.
        {"equal end energies step from start, then from the higher end", 8, 0.5, {1.0, 0.5, 0.5, 1.0},
         {{1, 1, 0, 0.1}, {2, 7, 0, 0.1}}, 0, 3, 0, {{0, 0, 0}, {1, 1, 0}, {2, 0, -1}, {3, 0, 0}}, 0},
        // No closer neighbour lies below 9999 eV: the previous offset is taken again.
        {"step without candidate repeats the previous offset", 10, 10000.0, {20000.0, 5.0, 10000.0, 10000.0, 0.0},
         {}, 0, 4, 0, axis_points(0, 4), -1},
        // No candidate at the first step: the remembered offset is (0, 0, 0).
        {"walk that cannot progress stops at the point limit", 10, 10000.0, {}, {}, 0, 5, 1, {}, -1},
        // The walk leaves L1 over (1,1,1) and (1,1,0), comes back to (1,0,0); L1
        // neighbours both, the cut goes to the farther one and both detour points go.
        {"loop is cut at the farthest neighbour", 12, 3.0, {5.0, 1.2, 1.5, 1.4, 1.3, 1.25, 0.0},
         {{1, 1, 1, 1.0}, {1, 1, 0, 1.1}}, 0, 6, 0, axis_points(0, 6), -1},
        {"detour over ridges (4 of 7 steps climb) is rejected", 12, 10.0, {0.0, 1.0, 0.5, 1.0, 0.5, 1.0, 0.5, 2.0},
         {}, 0, 7, -1, {}, -1},
        {"leading plateau is trimmed", 12, 10.0, {1.0, 1.0, 1.0, 0.5, 0.2, 0.0}, {}, 0, 5, 0, axis_points(2, 5), 0},
        // From the image of (6,0,0) one cell down, -2 .. 2 along a.
        {"unwrapped ends read energies through the periodic cell", 8, 10.0, {0.0, 0.3, 0.6},
         {{7, 0, 0, 0.9}, {6, 0, 0, 1.2}}, -2, 2, 0, axis_points(-2, 2), 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TraceGrid g(c.n, c.background);
        g.set_axis(c.axis);
        for (const Point& p : c.extra) g.set(p.x, p.y, p.z, p.e);
        ZEMU_grid_path p;
        ZEMU_init_grid_path(&p);
        if (c.rc != 0) p.length = 12345;
        int rc = 0;
        auto trace = [&] { rc = ZEMU_build_half_grid_path(&g.cube, &p, loc(c.from, 0, 0), loc(c.to, 0, 0)); };
        EXPECT_EQ(fx::stderr_of(trace),
                  c.rc == 1 ? "Error: ZEMU_MAX_PATH_LENGTH exceeded\n" : "");
        ASSERT_EQ(rc, c.rc);
        if (rc != 0) {
            EXPECT_TRUE(p.length == 12345 && p.grid == nullptr);
            continue;
        }
        EXPECT_EQ(points_of(p), c.expected);
        if (c.saddle >= 0) { EXPECT_EQ(p.saddle, c.saddle); }
        for (int i = 0; i < p.length; i++)
            EXPECT_EQ((std::vector<int>{p.color[i], p.style[i], p.marker[i]}), (std::vector<int>{-1, -1, -1})) << i;
        ZEMU_free_grid_path(&p);
    }
}

// Hand-made paths along the axis. A half path of fewer than 6 points passes
// whatever its shape; a full path skips its first step and counts flat steps.
TEST(PathIrreducibility, ShareOfStepsTowardsTheTop) {
    struct Case { const char* what; std::vector<double> axis; int saddle, half, full; } cases[] = {  // -1: not checked
        {"short half path of any shape", {0.0, 2.0, 0.0, 2.0, 1.0}, -1, 1, -1},
        {"descending half path with two flat steps (4/6)", {5.0, 4.0, 4.0, 3.0, 3.0, 1.0, 0.0}, -1, 0, -1},
        {"half path with equal ends climbs to the last point (4/5)", {1.0, 2.0, 3.0, 4.0, 5.0, 1.0}, -1, 1, -1},
        {"full path 3 of 4 counted, the first climb skipped", {0.0, 1.0, 2.0, 3.0, 2.0}, 3, 1, 0},
        {"full path 5 of 6 with two flat steps", {0.5, 0.0, 1.0, 3.0, 2.0, 2.0, 2.0}, 3, -1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TraceGrid g(8);
        g.set_axis(c.axis);
        AxisPath a(&g.cube, static_cast<int>(c.axis.size()));
        if (c.saddle >= 0) { ASSERT_EQ(a.path.saddle, c.saddle); }
        if (c.half >= 0) { EXPECT_EQ(ZEMU_halfpath_is_irreducible(&g.cube, &a.path), c.half); }
        if (c.full >= 0) { EXPECT_EQ(ZEMU_path_is_irreducible(&g.cube, &a.path), c.full); }
    }
}

TEST(GridPathJoin, SharedPointIsKeptOnceWithSecondPathsAttributesAndSeparatePointsAllAppended) {
    TraceGrid g(8, 0.0);
    g.set(3, 0, 0, 2.0);
    ZEMU_grid_path one = owned_path(axis_points(0, 2), 1), two = owned_path(axis_points(2, 4), 2);
    ASSERT_EQ(ZEMU_concatenate_grid_path(&g.cube, &one, &two), 0);
    EXPECT_EQ(points_of(one), axis_points(0, 4));
    EXPECT_EQ((std::vector<int>{one.color[1], one.color[2], one.style[2], one.marker[2], one.saddle}),
              (std::vector<int>{1, 2, 102, 202, 3}));
    EXPECT_EQ(two.length, 3);  // the second path is left to its owner
    ZEMU_free_grid_path(&one);
    ZEMU_free_grid_path(&two);

    // Empty and overlong joins are refused, the first path kept as it was.
    ZEMU_grid_path empty;
    ZEMU_init_grid_path(&empty);
    one = owned_path(axis_points(0, 599), 1);
    two = owned_path(axis_points(599, 1098), 2);  // 500 points, one shared
    EXPECT_EQ(fx::stderr_of([&] {
                  EXPECT_EQ(ZEMU_concatenate_grid_path(&g.cube, &one, &empty), 1);
                  EXPECT_EQ(ZEMU_concatenate_grid_path(&g.cube, &empty, &one), 1);
                  EXPECT_EQ(ZEMU_concatenate_grid_path(&g.cube, &one, &two), 1);
              }),
              "Error: Invalid input to ZEMU_concatenate_grid_path\n"
              "Error: Invalid input to ZEMU_concatenate_grid_path\n"
              "Error: ZEMU_MAX_PATH_LENGTH exceeed\n");
    EXPECT_EQ(one.length, 600);
    ZEMU_free_grid_path(&one);
    ZEMU_free_grid_path(&two);
}

TEST(GridPath, ReverseMovesOnlyThePointsAndLengthFollowsUnwrappedSteps) {
    TraceGrid g(8);
    ZEMU_grid_path p = owned_path({{7, 0, 0}, {8, 1, 0}, {9, 1, 0}}, 0);
    p.color[0] = 1;
    ZEMU_reverse_path(&p);
    EXPECT_EQ(points_of(p), (Points{{9, 1, 0}, {8, 1, 0}, {7, 0, 0}}));
    EXPECT_EQ(p.color[0], 1);
    EXPECT_DOUBLE_EQ(ZEMU_path_length_in_Angstrom(&g.cube, &p), 1.0 + std::sqrt(2.0));
    p.length = 1;
    EXPECT_DOUBLE_EQ(ZEMU_path_length_in_Angstrom(&g.cube, &p), 0.0);
    ZEMU_free_grid_path(&p);
}
