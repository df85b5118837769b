// Path construction: distinct paths per saddle type, their copies over the
// grid, redundancy filtering and the single-hop connection test; the path
// library's records, edits, sorting and copies, and distances between grid
// locations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <tuple>
#include <vector>

#include "ZEMU-kernel.h"
#include "fixtures.h"

namespace {

// An orthogonal grid of `step` Angstrom voxels filled with `background`, with
// minima and saddles placed by hand and grouped under P1 unless told.
struct Landscape : fx::Grid {
    fx::Cif structure;
    ZEMU_cif& cif = structure.cif;
    zemu_kernel::ScopedPathlib library;
    ZEMU_pathlib& lib = *library.get();

    explicit Landscape(int na = 16, int nb = 16, int nc = 16, double step = 1.0)
        : fx::Grid(na, nb, nc, 3.0, step) {
        ZEMU_init_cube_stationary_points(&cube);
        cube.total_minima_type = cube.total_saddle_type = 0;
        cube.global_minimum = 0.0;
    }
    void minimum(int x, int y, int z, double e) {
        cube.energy[x][y][z] = e;
        ASSERT_EQ(ZEMU_add_cube_minima_point(&cube, x, y, z, x, y, z, e, 0), 0);
    }
    void saddle(int x, int y, int z, double e) {
        cube.energy[x][y][z] = e;
        ASSERT_EQ(ZEMU_add_cube_saddle_point(&cube, x, y, z, e, 0), 0);
    }
    // A straight groove between two unwrapped grid points, its energies rising
    // evenly between theirs, so that a route traced between them follows it.
    void valley(int x1, int y1, int z1, int x2, int y2, int z2) {
        double e1 = ZEMU_cube_energy(&cube, x1, y1, z1), e2 = ZEMU_cube_energy(&cube, x2, y2, z2);
        int steps = std::max({std::abs(x2 - x1), std::abs(y2 - y1), std::abs(z2 - z1)});
        for (int n = 1; n < steps; n++) {
            double f = static_cast<double>(n) / steps;
            ZEMU_cube_triple_index p = ZEMU_shift_index_xyz(&cube, (int)lround(x1 + f * (x2 - x1)),
                                                            (int)lround(y1 + f * (y2 - y1)),
                                                            (int)lround(z1 + f * (z2 - z1)));
            cube.energy[p.x][p.y][p.z] = e1 + f * (e2 - e1);
        }
    }
    // A minimum with a groove down to it from the saddle at (sx, sy, sz).
    void joined(int sx, int sy, int sz, int x, int y, int z, double e) {
        minimum(x, y, z, e);
        valley(sx, sy, sz, x, y, z);
    }
    void group() {
        ZEMU_prepare_fastgen_symop(&cif, &cube);
        ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&cube, &cif), 0);
        ASSERT_EQ(ZEMU_group_minima_by_symmetry(&cube, &cif), 0);
    }
    int build() { return ZEMU_build_path(&cube, &cif, &lib); }
    int build_copies() { return ZEMU_build_allpaths(&cube, &cif, &lib); }
    int filter() { return ZEMU_filter_redundant_path(&cube, &lib); }
    int build_all() { return build() || build_copies() ? 1 : filter(); }  // driver order
    // Index of the minimum or saddle point at a grid point, -1 for none.
    template <class Point>
    static int at(const Point* list, int n, int x, int y, int z) {
        for (int i = 0; i < n; i++)
            if (list[i].x == x && list[i].y == y && list[i].z == z) return i;
        return -1;
    }
    int minimum_at(int x, int y, int z) const { return at(cube.minima, cube.total_minima, x, y, z); }
    int direct(int x1, int y1, int z1, int x2, int y2, int z2) {
        return ZEMU_is_direct_path_between_minima(&cube, &lib, x1, y1, z1, x2, y2, z2);
    }
};

using zemu_kernel::minimum_image;

// Reference filter: the redundancy passes as plain scans over every pair,
// restarting from the first copy after every deletion. `pick` names the copy
// whose path type goes (i or j), or -1 to leave the pair.
int reference_filter(ZEMU_cube* cube, ZEMU_pathlib* lib) {
    auto sweep = [lib](const std::function<int(int, int)>& pick) {
        for (bool again = true; again;) {
            again = false;
            for (int i = 0; i < lib->total_allpath && !again; i++)
                for (int j = i + 1; j < lib->total_allpath && !again; j++) {
                    int z = pick(i, j);
                    if (z < 0) continue;
                    int index = ZEMU_get_allpath_to_path_index(lib, z);
                    if (index < 0 || ZEMU_delete_pathlib_path(lib, index)) return 1;
                    again = true;
                }
        }
        return 0;
    };
    int failed = sweep([lib](int i, int j) {
        ZEMU_allpath *a = &lib->allpath[i], *b = &lib->allpath[j];
        ZEMU_cellcross_diff da, db;
        ZEMU_get_cellcrossdiff_from_allpath(&da, a);
        ZEMU_get_cellcrossdiff_from_allpath(&db, b);
        if (!ZEMU_is_allpath_equal(a, b, 1) || !ZEMU_is_cellcrossdiff_equal(da, db) || ZEMU_is_allpath_equal(a, b, 6))
            return -1;
        return b->saddle_energy > a->saddle_energy ? j : i;
    });
    if (failed) return 1;
    return sweep([cube, lib](int i, int j) {
        ZEMU_allpath *a = &lib->allpath[i], *b = &lib->allpath[j];
        if (!ZEMU_is_allpath_equal(a, b, 5)) return -1;
        ZEMU_cubeloc si = minimum_image(cube, a->start, a->start_crossx, a->start_crossy, a->start_crossz);
        ZEMU_cubeloc ei = minimum_image(cube, a->end, a->end_crossx, a->end_crossy, a->end_crossz);
        ZEMU_cubeloc sj = minimum_image(cube, b->start, b->start_crossx, b->start_crossy, b->start_crossz);
        ZEMU_cubeloc ej = minimum_image(cube, b->end, b->end_crossx, b->end_crossy, b->end_crossz);
        auto direct = [&](ZEMU_cubeloc p, ZEMU_cubeloc q) {
            return ZEMU_is_direct_path_between_minima(cube, lib, p.x, p.y, p.z, q.x, q.y, q.z) == 1;
        };
        if (!((direct(ei, ej) && direct(si, sj)) || (direct(si, ej) && direct(sj, ei)))) return -1;
        if (a->start_type == b->start_type && a->end_type == b->end_type) return -1;
        if (a->start_type == b->end_type && a->end_type == b->start_type) return -1;
        return a->length <= b->length ? j : i;
    });
}

ZEMU_allpath make_allpath(int start, int end, int saddle, int start_type, int end_type, int saddle_type,
                          int sx = 0, int sy = 0, int sz = 0, int ex = 0, int ey = 0, int ez = 0) {
    ZEMU_allpath ap;
    ZEMU_assign_allpath(&ap, start, end, saddle, start_type, end_type, saddle_type, 2.5, sx, sy, sz, ex, ey, ez,
                        0.1, 0.2, 0.7);
    return ap;
}

ZEMU_path make_path(int start, int end, int start_type, int end_type, int saddle_type, double saddle_energy,
                    double length = 0.0) {
    ZEMU_path p;
    ZEMU_init_path(&p);
    p.start = start, p.end = end, p.saddle_energy = saddle_energy, p.length = length;
    p.start_type = start_type, p.end_type = end_type, p.saddle_type = saddle_type;
    return p;
}

// A library with the given records, owning malloc'ed copies of them.
void fill_library(ZEMU_pathlib* lib, const std::vector<ZEMU_path>& paths, const std::vector<ZEMU_allpath>& copies) {
    ZEMU_free_pathlib(lib);
    lib->total_path = static_cast<int>(paths.size());
    lib->path = static_cast<ZEMU_path*>(malloc(sizeof(ZEMU_path) * (paths.size() + 1)));
    if (!paths.empty()) memcpy(lib->path, paths.data(), sizeof(ZEMU_path) * paths.size());
    lib->total_allpath = static_cast<int>(copies.size());
    lib->allpath = static_cast<ZEMU_allpath*>(malloc(sizeof(ZEMU_allpath) * (copies.size() + 1)));
    if (!copies.empty()) memcpy(lib->allpath, copies.data(), sizeof(ZEMU_allpath) * copies.size());
}

// Library owning arrays built from the given records.
struct Library {
    zemu_kernel::ScopedPathlib owned;
    ZEMU_pathlib& lib = *owned.get();
    Library(const std::vector<ZEMU_path>& paths, const std::vector<ZEMU_allpath>& allpaths) {
        fill_library(&lib, paths, allpaths);
    }
    // The saddles of the copies and the start minima of the paths, as identities.
    std::vector<int> allpath_saddles() const { return field(lib.allpath, lib.total_allpath, &ZEMU_allpath::saddle); }
    std::vector<int> path_starts() const { return field(lib.path, lib.total_path, &ZEMU_path::start); }
    template <class T>
    static std::vector<int> field(const T* items, int n, int T::*member) {
        std::vector<int> out;
        for (int i = 0; i < n; i++) out.push_back(items[i].*member);
        return out;
    }
};

ZEMU_cubeloc loc(int x, int y, int z) { return ZEMU_cubeloc{x, y, z}; }

// Hand-made library around one saddle point: minima A (4,8,8), B (8,4,8) and
// C (8,12,8); one copy through the saddle per hop given as (start, end,
// length), each of its own path type. Letters name the minima.
void shared_saddle_library(Landscape& g, const std::vector<std::tuple<char, char, double>>& hops) {
    g.saddle(6, 8, 8, 1.0);
    g.minimum(4, 8, 8, 0.0);
    g.minimum(8, 4, 8, 0.1);
    g.minimum(8, 12, 8, 0.2);
    g.group();
    auto index = [&g](char name) {
        return name == 'A' ? g.minimum_at(4, 8, 8) : name == 'B' ? g.minimum_at(8, 4, 8) : g.minimum_at(8, 12, 8);
    };
    std::vector<ZEMU_path> paths;
    std::vector<ZEMU_allpath> copies;
    for (const auto& hop : hops) {
        const int si = index(std::get<0>(hop)), ei = index(std::get<1>(hop));
        const ZEMU_minima &s = g.cube.minima[si], &e = g.cube.minima[ei];
        paths.push_back(make_path(0, 0, s.type, e.type, 1, 1.0, std::get<2>(hop)));
        copies.emplace_back();
        ZEMU_assign_allpath(&copies.back(), si, ei, 0, s.type, e.type, 1, std::get<2>(hop), 0, 0, 0, 0, 0, 0, s.e, e.e,
                            1.0);
    }
    fill_library(&g.lib, paths, copies);
}

}  // namespace

TEST(PathBuild, SecondMinimumAtNinetyDegreesOrMoreAndWithinThreeAndAHalfAngstromInclusive) {
    // Nearest minimum (10,8,8); the second opposite, at exactly 90 degrees, at four
    // steps of 0.875 A (3.5 A exactly) or five (beyond reach). A minimum at 45
    // degrees from the nearest is passed over. The saddle record is moved off its
    // grid point: the energy is read from the grid.
    const struct { double step; int x, y; bool at45, joined; } cases[] = {
        {1.0, 5, 8, true, true}, {1.0, 8, 11, false, true}, {0.875, 4, 8, false, true}, {0.875, 3, 8, false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        Landscape g(16, 16, 16, c.step);
        g.saddle(8, 8, 8, 1.0);
        g.joined(8, 8, 8, 10, 8, 8, 0.0);
        if (c.at45) g.minimum(10, 10, 8, 0.1);
        g.joined(8, 8, 8, c.x, c.y, 8, 0.2);
        g.group();
        g.cube.saddle[0].e = 0.7;
        EXPECT_EQ(fx::stderr_of([&g] { ASSERT_EQ(g.build_all(), 0); }),
                  c.joined ? "" : "Warning: Cannot connect saddle type 1 to any energy minimum site\n");
        ASSERT_EQ(g.lib.total_path, c.joined ? 1 : 0);
        if (!c.joined) continue;
        EXPECT_EQ(g.lib.path[0].start, g.minimum_at(10, 8, 8));
        EXPECT_EQ(g.lib.path[0].end, g.minimum_at(c.x, c.y, 8));
        EXPECT_DOUBLE_EQ(g.lib.path[0].saddle_energy, 1.0);
        EXPECT_DOUBLE_EQ(g.lib.allpath[0].saddle_energy, 1.0);
    }
    Landscape none(8, 8, 8);  // no saddle types: no paths
    none.group();
    EXPECT_EQ(none.build_all() + none.lib.total_path + none.lib.total_allpath, 0);
}

TEST(PathBuild, MinimumBehindARidgeIsPassedOverForTheNextOne) {
    // 0.5 A steps: the nearest minimum's route runs over high ground and is
    // refused; the two farther ones down valleys on either side are joined.
    Landscape g(24, 24, 24, 0.5);
    g.saddle(12, 12, 12, 1.0);
    g.minimum(12, 7, 12, 0.0);  // 2.5 A, over high ground
    for (int d = 1; d <= 5; d++) g.cube.energy[12 + d][12][12] = g.cube.energy[12 - d][12][12] = 1.0 - 0.15 * d;
    g.minimum(18, 12, 12, 0.0);  // 3.0 A
    g.minimum(6, 12, 12, 0.1);   // 3.0 A, opposite
    g.group();
    ASSERT_EQ(g.build(), 0);
    ASSERT_EQ(g.lib.total_path, 1);
    EXPECT_EQ(g.lib.path[0].start, g.minimum_at(18, 12, 12));
    EXPECT_EQ(g.lib.path[0].end, g.minimum_at(6, 12, 12));
    EXPECT_NEAR(g.lib.path[0].length, 6.0, 1e-12);  // straight down the valleys
}

TEST(NearestMinima, ImagesComeNearestFirstAndOneOnTheTargetClearsTheIncludeFlag) {
    Landscape g(8, 8, 8);
    g.minimum(2, 3, 4, 0.0);
    g.minimum(5, 3, 4, 0.1);
    // Target x on a: both nearest images lie one cell along a, (10,3,4) and (13,3,4).
    const struct { double x; int include; double d0, d1; } cases[] = {{10.0, 0, 0.0, 3.0}, {11.0, 1, 1.0, 2.0}};
    for (const auto& c : cases) {
        ZEMU_nearest_neighbour nn;
        ASSERT_EQ(ZEMU_init_nearest_neighbour(&nn, 3, c.x, 3, 4, 1), 0);
        ASSERT_EQ(ZEMU_get_nearest_minima(&g.cube, &nn), 0);
        EXPECT_EQ(nn.include_target, c.include);
        EXPECT_EQ(std::vector<int>({nn.index[0], nn.i[0], nn.index[1], nn.i[1]}),
                  std::vector<int>({g.minimum_at(2, 3, 4), 1, g.minimum_at(5, 3, 4), 1})) << c.x;
        EXPECT_EQ(std::vector<double>(nn.distance, nn.distance + 2), std::vector<double>({c.d0, c.d1})) << c.x;
        ZEMU_free_nearest_neighbour(&nn);
    }
}

TEST(PathFilter, PathsSharingASaddleKeepTheShorterOrOnATieTheFirst) {
    // Paths (and copies) left, end minimum and length of the one left.
    struct Case { std::vector<std::tuple<char, char, double>> hops; int kept; char kept_end; double kept_length; };
    const Case cases[] = {{{{'A', 'B', 2.0}, {'A', 'C', 3.0}}, 1, 'B', 2.0},
                 {{{'A', 'B', 3.0}, {'A', 'C', 2.0}}, 1, 'C', 2.0},
                 {{{'A', 'B', 2.0}, {'A', 'C', 2.0}}, 1, 'B', 2.0},
                 {{{'A', 'B', 2.0}, {'B', 'A', 3.0}}, 2, 0, 0.0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Landscape g;
        shared_saddle_library(g, c.hops);
        ASSERT_EQ(g.filter(), 0);
        ASSERT_EQ(g.lib.total_path + g.lib.total_allpath, 2 * c.kept);
        if (c.kept != 1) continue;
        int end = c.kept_end == 'B' ? g.minimum_at(8, 4, 8) : g.minimum_at(8, 12, 8);
        EXPECT_EQ(g.lib.path[0].end_type, g.cube.minima[end].type);
        EXPECT_DOUBLE_EQ(g.lib.allpath[0].length, c.kept_length);
    }
}

TEST(PathFilter, MatchesThePlainPairScanOnRandomLibraries) {
    std::mt19937 rng(12345);
    for (int round = 0; round < 60; round++) {
        SCOPED_TRACE(round);
        Landscape g(6, 6, 6);
        const int minima = 5, saddles = 6;
        for (int m = 0; m < minima; m++) g.minimum(m, (m * 2) % 6, (m * 3) % 6, 0.1 * m);
        for (int s = 0; s < saddles; s++) g.saddle(s, 5, (s + 1) % 6, 1.0 + 0.1 * s);
        // Types set by hand: few of them, so that parallel and shared hops are common.
        for (int m = 0; m < minima; m++) g.cube.minima[m].type = 1 + m % 3;
        std::uniform_int_distribution<int> pick_min(0, minima - 1), pick_saddle(0, saddles - 1), pick_stype(1, 4),
            pick_level(0, 2), pick_five(0, 4);
        // Mostly no crossing, so that the same hop recurs over several saddle types.
        auto pick_cross = [&]() { return pick_five(rng) != 0 ? 0 : (pick_five(rng) % 2 ? 1 : -1); };
        std::vector<ZEMU_path> paths;
        std::vector<ZEMU_allpath> copies;
        for (int c = 0; c < 10 + round; c++) {
            int s = pick_min(rng), e = pick_min(rng), sd = pick_saddle(rng);
            int st = pick_stype(rng);
            double energy = 1.0 + 0.5 * pick_level(rng), length = 2.0 + pick_level(rng);
            int ts = g.cube.minima[s].type, te = g.cube.minima[e].type;
            // One path record per type triple; its copies share its energy and length.
            auto known = std::find_if(paths.begin(), paths.end(), [&](const ZEMU_path& p) {
                return p.start_type == ts && p.end_type == te && p.saddle_type == st;
            });
            if (known != paths.end()) energy = known->saddle_energy, length = known->length;
            if (known == paths.end()) paths.push_back(make_path(0, 0, ts, te, st, energy, length));
            ZEMU_allpath ap;
            ZEMU_assign_allpath(&ap, s, e, sd, ts, te, st, length, 0, 0, 0, pick_cross(), pick_cross(), pick_cross(),
                                0.0, 0.0, energy);
            copies.push_back(ap);
        }
        Library reference(paths, copies);
        ZEMU_pathlib& expected = reference.lib;
        fill_library(&g.lib, paths, copies);
        ASSERT_EQ(reference_filter(&g.cube, &expected), 0);
        ASSERT_EQ(g.filter(), 0);
        ASSERT_EQ(std::make_pair(g.lib.total_path, g.lib.total_allpath),
                  std::make_pair(expected.total_path, expected.total_allpath));
        EXPECT_EQ(memcmp(g.lib.path, expected.path, sizeof(ZEMU_path) * expected.total_path), 0);
        EXPECT_EQ(memcmp(g.lib.allpath, expected.allpath, sizeof(ZEMU_allpath) * expected.total_allpath), 0);
    }
}

TEST(PathDirect, OneAllpathJoinsItsImagesInBothDirectionsAndOnlyMinimaCanBeAsked) {
    Landscape g;
    g.saddle(8, 8, 7, 1.0);
    g.joined(8, 8, 7, 6, 8, 8, 0.0);
    g.joined(8, 8, 7, 10, 8, 8, 0.1);
    g.group();
    ASSERT_EQ(g.build(), 0);
    // A copy that cannot be stored is reported and leaves none; the next build stores it.
    zemu_kernel::fail_allocation_countdown = 1;
    EXPECT_EQ(fx::stderr_of([&g] { EXPECT_EQ(g.build_copies(), 1); }),
              "Error: Memory allocation problem in ZEMU_build_allpaths()\n");
    EXPECT_EQ(zemu_kernel::fail_allocation_countdown + g.lib.total_allpath, 0);
    ASSERT_EQ(g.build_copies(), 0);
    ASSERT_EQ(g.lib.total_allpath, 1);
    // (from, to, connected): the hop, reversed, one cell over, and hops too long.
    const int cases[][7] = {{6, 8, 8, 10, 8, 8, 1},    {10, 8, 8, 6, 8, 8, 1},  {22, 8, 8, 26, 8, 8, 1},
                            {-6, 8, 8, -10, 8, 8, 1},  {6, -8, 8, 10, -8, 8, 1}, {6, 8, 8, 26, 8, 8, 0},
                            {6, 8, 8, 22, 8, 8, 0},    {6, 8, 8, 6, 8, 8, 1},   {10, 8, 8, 10, 8, 8, 1}};
    for (const auto& c : cases) EXPECT_EQ(g.direct(c[0], c[1], c[2], c[3], c[4], c[5]), c[6]) << c[0] << " " << c[3];
    EXPECT_EQ(fx::stderr_of([&g] {
                  EXPECT_EQ(g.direct(6, 8, 8, 7, 8, 8), -1);
                  EXPECT_EQ(g.direct(5, 8, 8, 6, 8, 8), -1);
              }),
              "Error: Invalid input to ZEMU_is_direct_path_between_minima()\n"
              "Error: Invalid input to ZEMU_is_direct_path_between_minima()\n");
    g.cube.minima[1].e = 1.5;  // copies need both minima not above the saddle
    ASSERT_EQ(g.build_copies(), 0);
    EXPECT_EQ(g.lib.total_allpath, 0);
}

// Mode 135 decides on minima and crossings alone, 5 on the saddle, 6 on the
// crossings; modes 1 and 2 compare the direction only; others print and fail.
TEST(PathEquality, EachModeComparesItsOwnFieldsAndPathsMatchReversed) {
    ZEMU_allpath a = make_allpath(1, 2, 10, 1, 1, 1, 0, 0, 0, 1, 0, 0);
    ZEMU_allpath other_saddle = make_allpath(1, 2, 11, 1, 1, 2, 0, 0, 0, 1, 0, 0);
    ZEMU_allpath other_cross = make_allpath(1, 2, 10, 1, 1, 1, 0, 0, 0, 0, 1, 0);
    ZEMU_allpath plain = make_allpath(1, 2, 10, 1, 1, 1), reversed = make_allpath(2, 1, 10, 1, 1, 1);
    struct {
        ZEMU_allpath *x, *y;
        int mode, equal;
    } cases[] = {{&a, &other_saddle, 135, 1}, {&a, &other_saddle, 13, 1}, {&a, &other_cross, 135, 0},
                 {&a, &other_cross, 5, 1},    {&a, &other_saddle, 5, 0},  {&a, &other_saddle, 6, 0},
                 {&a, &other_cross, 6, 1},    {&a, &other_cross, 3, 0},   {&plain, &plain, 1, 1},
                 {&plain, &reversed, 1, 0},   {&plain, &reversed, 2, 0}};
    for (const auto& c : cases) EXPECT_EQ(ZEMU_is_allpath_equal(c.x, c.y, c.mode), c.equal) << &c - cases;
    EXPECT_EQ(ZEMU_is_allpath_start_end_equal(&plain, &reversed), 1);
    EXPECT_EQ(fx::stdout_of([&a] { EXPECT_EQ(ZEMU_is_allpath_equal(&a, &a, 4), 0); }),
              "Invalid mode call 4 to ZEMU_is_allpath_equal\n");

    ZEMU_path p = make_path(3, 5, 1, 2, 1, 0.5), rev = make_path(5, 3, 2, 1, 1, 0.5);
    ZEMU_path other = make_path(3, 6, 1, 2, 1, 0.5);
    EXPECT_EQ(ZEMU_is_path_start_end_equal(&p, &rev), 1);
    EXPECT_EQ(ZEMU_is_path_start_end_equal(&p, &other), 0);
    Library l({p}, {});
    const int lookups[][4] = {{1, 2, 1, 1}, {2, 1, 1, 1}, {1, 2, 4, 0}, {1, 1, 1, 0}};
    for (const auto& q : lookups) EXPECT_EQ(ZEMU_isin_pathlib(&l.lib, q[0], q[1], q[2]), q[3]);
}

TEST(PathLibrary, InsertPopAndDeleteCopiesCheckTheirIndex) {
    Library l({}, {});
    for (int saddle : {1, 2, 3}) ZEMU_insert_pathlib_allpath(&l.lib, make_allpath(0, 1, saddle, 1, 1, 1));
    ZEMU_reverse_pathlib_allpath(&l.lib);  // each copy went in first
    ASSERT_EQ(l.allpath_saddles(), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(ZEMU_pop_pathlib_allpath(&l.lib, 1).saddle, 2);
    EXPECT_EQ(ZEMU_delete_pathlib_allpath(&l.lib, 1), 0);
    EXPECT_EQ(l.allpath_saddles(), (std::vector<int>{1}));
    EXPECT_EQ(ZEMU_pop_pathlib_allpath(&l.lib, 0).saddle, 1);
    EXPECT_EQ(l.lib.allpath, nullptr);
    EXPECT_EQ(fx::stderr_of([&l] {
                  EXPECT_EQ(ZEMU_pop_pathlib_allpath(&l.lib, 0).start, -1);
                  EXPECT_EQ(ZEMU_delete_pathlib_allpath(&l.lib, 0), 1);
              }),
              "Error: Invalid input to ZEMU_pop_pathlib_allpath()\n"
              "Error: Invalid input to ZEMU_delete_pathlib_allpath()\n");
}

// Deleting a path type removes the copies of exactly its (start, end, saddle)
// type triple; copies stored with the minimum types swapped stay and then no
// longer find a path.
TEST(PathLibrary, DeletePathRemovesCopiesOfItsExactTypeTriple) {
    Library l({make_path(0, 1, 1, 2, 1, 0.5), make_path(1, 0, 2, 1, 1, 0.6), make_path(0, 0, 1, 1, 2, 0.7)},
              {make_allpath(0, 1, 1, 1, 2, 1), make_allpath(1, 0, 2, 2, 1, 1), make_allpath(0, 1, 3, 1, 2, 1),
               make_allpath(0, 0, 4, 1, 1, 2), make_allpath(0, 1, 5, 1, 2, 1)});
    EXPECT_EQ(ZEMU_get_allpath_to_path_index(&l.lib, 1), 1);
    ASSERT_EQ(ZEMU_delete_pathlib_path(&l.lib, 1), 0);  // types (2, 1, 1)
    EXPECT_EQ(l.path_starts(), (std::vector<int>{0, 0}));
    EXPECT_EQ(l.allpath_saddles(), (std::vector<int>{1, 3, 4, 5}));
    ASSERT_EQ(ZEMU_delete_pathlib_path(&l.lib, 0), 0);  // types (1, 2, 1): adjacent copies go too
    EXPECT_EQ(l.allpath_saddles(), (std::vector<int>{4}));
    EXPECT_EQ(fx::stderr_of([&l] { EXPECT_EQ(ZEMU_delete_pathlib_path(&l.lib, 1), 1); }),
              "Error: Invalid input to ZEMU_delete_pathlib_path()\n");

    Library orphan({make_path(0, 1, 1, 2, 1, 0.5)}, {make_allpath(1, 0, 2, 2, 1, 1)});
    EXPECT_EQ(fx::stderr_of([&orphan] { EXPECT_EQ(ZEMU_get_allpath_to_path_index(&orphan.lib, 0), -1); }),
              "Error: Invalid output from ZEMU_get_allpath_to_path_index()\n");
}

TEST(PathLibrary, SortIsAscendingAndStableAndCopiesTakeRecordsButNotFlagOrEnergies) {
    Library l({make_path(0, 0, 1, 1, 1, 0.9), make_path(1, 0, 1, 1, 2, 0.3), make_path(2, 0, 1, 1, 3, 0.9),
               make_path(3, 0, 1, 1, 4, 0.3), make_path(4, 0, 1, 1, 5, 0.1)},
              {make_allpath(0, 1, 7, 1, 1, 1), make_allpath(0, 1, 8, 1, 1, 2)});
    ASSERT_EQ(ZEMU_bubblesort_pathlib(&l.lib), 0);
    EXPECT_EQ(l.path_starts(), (std::vector<int>{4, 1, 3, 0, 2}));
    EXPECT_EQ(l.allpath_saddles(), (std::vector<int>{7, 8}));  // copies keep their order

    l.lib.pathlib = 1;
    l.lib.oneD = 0.25;
    Library dst({}, {make_allpath(5, 5, 9, 1, 1, 1)});
    ASSERT_EQ(ZEMU_copy_pathlib(&l.lib, &dst.lib), 0);
    EXPECT_EQ(dst.path_starts(), (std::vector<int>{4, 1, 3, 0, 2}));
    EXPECT_EQ(dst.allpath_saddles(), (std::vector<int>{7, 8}));
    EXPECT_EQ(dst.lib.pathlib, 0);
    EXPECT_DOUBLE_EQ(dst.lib.oneD, 999.0);
    Library none({}, {});
    ASSERT_EQ(ZEMU_copy_pathlib(&none.lib, &dst.lib), 0);
    EXPECT_EQ(dst.lib.total_path + dst.lib.total_allpath, 0);
}

TEST(PathRecords, ListsGrowAndClustersCopyDeep) {
    ZEMU_allpath_list ap;
    ZEMU_init_allpath_list(&ap, 1);
    for (int i = 0; i < 50; i++) ZEMU_append_allpath_list(&ap, make_allpath(i, i, i, 1, 1, 1));
    EXPECT_EQ(ap.allpath[37].saddle, 37);
    ZEMU_free_allpath_list(&ap);

    ZEMU_cluster a;
    ZEMU_init_cluster(&a);
    int refs[2] = {4, 6};
    a.total_path = 2;
    a.path = refs;
    ZEMU_cluster_list list{1, nullptr};
    ASSERT_EQ(ZEMU_alloc_path_clust(&list), 0);
    ASSERT_EQ(ZEMU_copy_cluster(&a, &list.clust[0]), 0);
    refs[0] = 99;
    EXPECT_EQ(list.clust[0].path[0], 4);
    ZEMU_free_path_clust(&list);
    list.total = 0;
    EXPECT_EQ(fx::stderr_of([&list] { EXPECT_EQ(ZEMU_alloc_path_clust(&list), 1); }),
              "Error: Invalid input to ZEMU_alloc_path_clust()\n");
}

TEST(LocDistance, UsesCellMetricWithoutWrappingAndTheCellEdgeTakesTheCFaceAgainstTheACount) {
    // Hexagonal: a = b = 3 Angstrom at 120 degrees; a/3 + b/3 is 1 Angstrom long.
    fx::Grid grid(3, 3, 4, 0.0, 1.0);
    ZEMU_cube& hex = grid.cube;
    hex.b_x = -0.5, hex.b_y = std::sqrt(3.0) / 2.0;
    ZEMU_calc_cell_parameter(&hex);
    EXPECT_NEAR(ZEMU_find_loc_distance(&hex, loc(0, 0, 0), loc(1, 1, 0)), 1.0, 1e-12);
    EXPECT_NEAR(ZEMU_find_loc_distance(&hex, loc(0, 0, 0), loc(1, -1, 0)), std::sqrt(3.0), 1e-12);

    // Nearest faces: a at 5, b at 4, c at 3 (the face at 10) - but the c face is
    // picked by comparing 2z with the a count, so the face at 0 (7) is measured.
    fx::Grid box(20, 10, 10, 0.0, 1.0);
    ZEMU_cube& cube = box.cube;
    double d = 0.0;
    EXPECT_EQ(fx::stdout_of([&] { d = ZEMU_find_loc_distance_celledge(&cube, loc(25, -6, 7)); }),
              "Finding loc distance to celledge \n999999.000 \n5.000 \n4.000 \n");
    EXPECT_DOUBLE_EQ(d, 4.0);
}
