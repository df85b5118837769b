// Reaction pathways: walks turned into path references, backbone reduction,
// pathway building and duplicate removal, the placement of references as one
// continuous route and the pathway file, over small channels built by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ZEMU-kernel.h"
#include "ZEMU.h"
#include "ZEMU-path.h"
#include "fixtures.h"

using fx::written;

namespace {

typedef std::vector<int> Ints;

// A channel of `na` points along a (y = z = 0) through a high background, 1
// Angstrom per step, with minima, saddles and a path library set by hand.
struct Channel : fx::Grid {
    zemu_kernel::ScopedPathlib library;
    ZEMU_pathlib& lib = *library.get();

    Channel(int na, const std::vector<double>& channel) : fx::Grid(na, 4, 4, 10.0, 1.0) {
        for (int i = 0; i < na; i++) cube.energy[i][0][0] = channel[i];
    }

    void minimum(int x, int y, int z, int type, const char* label) {
        ASSERT_EQ(ZEMU_add_cube_minima_point(&cube, x, y, z, x, y, z, cube.energy[x][y][z], type), 0);
        ASSERT_EQ(ZEMU_add_cube_minima_ion(&cube.minima[cube.total_minima - 1], const_cast<char*>(label), 1.0), 0);
    }
    void saddle(int x, int y, int z, int type) {
        ASSERT_EQ(ZEMU_add_cube_saddle_point(&cube, x, y, z, cube.energy[x][y][z], type), 0);
    }
    // Path from minimum `start` over saddle `saddle` to minimum `end` (image in cell `end_cell` along a).
    void path(int start, int end, int saddle, double saddle_energy, int end_cell = 0) {
        ZEMU_path p;
        ZEMU_init_path(&p);
        p.start = start, p.end = end, p.saddle = saddle, p.saddle_energy = saddle_energy;
        p.start_type = cube.minima[start].type, p.end_type = cube.minima[end].type;
        p.saddle_type = cube.saddle[saddle].type;
        p.start_energy = cube.minima[start].e, p.end_energy = cube.minima[end].e;
        p.length = 4.0, p.end_p = end_cell;
        lib.path = static_cast<ZEMU_path*>(realloc(lib.path, sizeof(ZEMU_path) * (lib.total_path + 1)));
        lib.path[lib.total_path++] = p;
    }
    // The copy of path k through saddle point `saddle`, start image in cell 0.
    void copy(int k, int start, int end, int saddle, int end_cell = 0) {
        const ZEMU_path& p = lib.path[k];
        lib.allpath = static_cast<ZEMU_allpath*>(realloc(lib.allpath, sizeof(ZEMU_allpath) * (lib.total_allpath + 1)));
        ZEMU_assign_allpath(&lib.allpath[lib.total_allpath++], start, end, saddle, p.start_type, p.end_type,
                            p.saddle_type, p.length, 0, 0, 0, end_cell, 0, 0, p.start_energy, p.end_energy,
                            p.saddle_energy);
    }
};

// Two minimum types alternating along a, cell of 8: Li1 at x = 0, Li2 at x = 4;
// path 1 (index 0) Li1 -> Li2 over s1 at x = 2, path 2 (index 1) Li2 -> Li1 of
// the next cell over s2 at x = 6. With `parallel`, a third type joins Li1 and
// Li2 like path 1 over its own saddle at (2, 1, 0), between the other two.
struct TwoTypeChain : Channel {
    explicit TwoTypeChain(bool parallel = false) : Channel(8, {0.0, 0.05, 0.1, 0.06, 0.02, 0.25, 0.5, 0.25}) {
        cube.energy[2][1][0] = 0.3;
        minimum(0, 0, 0, 1, "Li1");
        minimum(4, 0, 0, 2, "Li2");
        saddle(2, 0, 0, 1);
        saddle(6, 0, 0, 2);
        saddle(2, 1, 0, 3);
        path(0, 1, 0, 0.1);
        if (parallel) path(0, 1, 2, 0.3);
        path(1, 0, 1, 0.5, 1);
        int b = parallel ? 2 : 1;
        copy(0, 0, 1, 0);
        if (parallel) copy(1, 0, 1, 2);
        copy(b, 1, 0, 1, 1);
    }
};

// One minimum type along a, cell of 8: minima at x = 0 and 4, saddles of one
// type at x = 2 and 6; one path type with its two copies.
struct OneTypeChain : Channel {
    OneTypeChain() : Channel(8, {0.0, 0.05, 0.1, 0.05, 0.0, 0.05, 0.1, 0.05}) {
        minimum(0, 0, 0, 1, "Li1");
        minimum(4, 0, 0, 1, "Li1");
        saddle(2, 0, 0, 1);
        saddle(6, 0, 0, 1);
        path(0, 1, 0, 0.1);
        copy(0, 0, 1, 0);
        copy(0, 1, 0, 1, 1);
    }
};

// Consecutive integers from `from` to `to`, either way, followed by `more`.
Ints range(int from, int to, const Ints& more = {}) {
    Ints v;
    for (int x = from; from <= to ? x <= to : x >= to; x += from <= to ? 1 : -1) v.push_back(x);
    v.insert(v.end(), more.begin(), more.end());
    return v;
}

// Route of the references over the channel, as its x coordinates; empty on failure.
Ints route(Channel& c, Ints refs) {
    ZEMU_connect_list list{static_cast<int>(refs.size()), refs.data()};
    ZEMU_grid_path g;
    ZEMU_init_grid_path(&g);
    Ints xs;
    if (ZEMU_concatenate_path(&c.cube, &c.lib, &g, &list) == 0) {
        for (int i = 0; i < g.length; i++) {
            EXPECT_EQ(g.grid[i].y + g.grid[i].z, 0);
            xs.push_back(g.grid[i].x);
        }
    }
    ZEMU_free_grid_path(&g);
    return xs;
}

Ints refs_of(const ZEMU_reaction_pathway& rp) { return Ints(rp.path, rp.path + rp.total_path); }

// An owned pathway list built from reference lists.
struct Pathways {
    ZEMU_reaction_pathway_overall all{0, nullptr};
    ~Pathways() { ZEMU_free_reaction_pathway(&all); }
    ZEMU_reaction_pathway& add(int ID, int dimension, Ints refs, int ribbon = 0) {
        ZEMU_cluster c;
        ZEMU_init_cluster(&c);
        c.ID = ID, c.dimension = dimension, c.ribbon = ribbon;
        EXPECT_EQ(ZEMU_copy_cluster_append_rp_all(&all, &c), 0);
        for (int r : refs) EXPECT_EQ(ZEMU_append_path_to_reaction_pathway(&all.rp[all.total - 1], r), 0);
        return all.rp[all.total - 1];
    }
    Ints dimensions() const {
        Ints v;
        for (int p = 0; p < all.total; p++) v.push_back(all.rp[p].initial_dimension);
        return v;
    }
    std::string file(Channel& net, int status = 0) {
        return written([&](FILE* f) { EXPECT_EQ(ZEMU_print_reaction_pathway(&net.cube, &net.lib, &all, f), status); });
    }
};

}  // namespace

TEST(EulerWalkReferences, StepsNameTheLastPathMatchingTypesAndSaddleEnergyInEitherDirection) {
    // allpath: a walk over minimum indices (else types); tie: a parallel type tied with path 1.
    const struct { const char* what; bool allpath, tie; Ints walk; std::vector<double> weights; Ints refs; } cases[] = {
        {"forward and backward", false, false, {1, 2, 1, 2}, {0.1, 0.5, 0.1}, {1, 2, 1}},
        {"backward alone", false, false, {2, 1}, {0.1}, {-1}},
        {"unmatched steps repeat the previous, a leading one is 0", false, false, {1, 2, 1, 2}, {0.7, 0.1, 0.9},
         {0, -1, -1}},
        {"last matching path wins", false, true, {1, 2}, {0.1}, {2}},
        {"copies name their path type", true, false, {0, 1, 0, 1}, {0.1, 0.5, 0.5}, {1, 2, -2}},
        {"copy walk: a leading unmatched step is 0", true, false, {0, 1, 0}, {0.7, 0.1}, {0, -1}},
    };
    for (auto c : cases) {
        SCOPED_TRACE(c.what);
        TwoTypeChain net(c.tie);
        if (c.tie) net.lib.path[1].saddle_energy = 0.1;
        Pathways rps;
        rps.add(0, 1, {});
        int n = static_cast<int>(c.walk.size());
        auto append = c.allpath ? ZEMU_append_Euler_allpath_rpall : ZEMU_append_Euler_path_rpall;
        ASSERT_EQ(append(&net.lib, &rps.all, c.walk.data(), n, c.weights.data()), 0);
        EXPECT_EQ(refs_of(rps.all.rp[0]), c.refs);
    }
}

TEST(DuplicatePathways, LowerInitialDimensionThenLowerTopSaddleSurvivesAndATieKeepsTheLater) {
    TwoTypeChain net;  // path index 0 at 0.1 eV, index 1 at 0.5 eV
    struct Entry { int ID, dimension; Ints refs; };
    // The initial dimensions left, and the references of the first survivor.
    const struct { const char* what; std::vector<Entry> pathways; Ints dimensions, kept_refs; } cases[] = {
        {"lower dimension kept when it comes later", {{1, 3, {1, 2}}, {0, 1, {-2}}, {0, 2, {5}}}, {1, 2}, {-2}},
        {"lower dimension kept when it comes first", {{0, 1, {-2}}, {1, 3, {1, 2}}}, {1}, {-2}},
        {"lower top saddle at equal dimension", {{0, 1, {1, 2}}, {1, 1, {2}}}, {1}, {1, 2}},
        {"a tie keeps the later", {{1, 1, {1}}, {1, 1, {-1, 2}}}, {1}, {-1, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Pathways rps;
        for (const Entry& e : c.pathways) rps.add(e.ID, e.dimension, e.refs);
        ASSERT_EQ(ZEMU_cleanup_redundant_pathways(&net.lib, &rps.all), 0);
        EXPECT_EQ(rps.dimensions(), c.dimensions);
        ASSERT_GT(rps.all.total, 0);
        EXPECT_EQ(refs_of(rps.all.rp[0]), c.kept_refs);
    }
}

TEST(PathChaining, RoutesContinueFromPieceToPiece) {
    const struct { const char* what; Ints refs, xs; } cases[] = {
        {"forward references continue into the next cell", {1, 2}, range(0, 8)},
        {"backward references run the copies from their ends", {-2, -1}, range(8, 0)},
        {"turning back when every copy recrosses the saddle", {1, -1}, range(0, 4, range(3, 0))},
        {"a step that matched no path places no piece", {0, 1}, range(0, 4)},
        {"an unmatched step in the middle", {1, 0, 2}, range(0, 8)},
    };
    for (const auto& c : cases) {
        TwoTypeChain net;
        EXPECT_EQ(route(net, c.refs), c.xs) << c.what;
    }
    // Without copies the path is shifted onto the route only from the same minimum.
    TwoTypeChain net;
    EXPECT_EQ(route(net, {0}), Ints());
    net.lib.total_allpath = 0;
    EXPECT_EQ(route(net, {1, 2, 1}), range(0, 12));
    EXPECT_EQ(route(net, {1, 1}), range(0, 4, range(0, 4)));  // the second starts where path 1 lies: a jump back
}

TEST(PathChaining, UntraceablePieceFailsWithItsSignedReference) {
    TwoTypeChain net;
    net.path(0, 1, 1, 0.6);  // Li1 to Li2 over the saddle at x = 6: the climb is not monotonic
    const std::pair<Ints, const char*> cases[] = {
        {{1, 3}, "Error: Unable to trace path 3\n"},
        {{-3}, "Error: Unable to trace path -3\n"},
        {{1, 4}, "Error: Invalid input to ZEMU_concatenate_path()\n"},  // outside the library
    };
    for (const auto& c : cases) EXPECT_EQ(fx::stderr_of([&] { EXPECT_TRUE(route(net, c.first).empty()); }), c.second);
}

TEST(PathwayFile, NeighbouringMinimaAreSeparatedByAJumpPointsWrapIntoTheCellAndFailuresEndWithoutEnd) {
    TwoTypeChain net;
    ZEMU_path_triple_index pts[] = {{-16, 0, 0}, {-12, 0, 0}};
    ZEMU_grid_path g;
    ZEMU_init_grid_path(&g);
    g.length = 2;
    g.grid = pts;
    EXPECT_EQ(written([&](FILE* f) { EXPECT_EQ(ZEMU_print_path(&net.cube, &g, &net.lib, f, 0, 1.0), 0); }),
              "1.000000,0.000000,Li1\nNEXT\n1.400000,0.020000,Li2\n");
    g.length = 1;
    EXPECT_EQ(fx::stderr_of([&] { written([&](FILE* f) { ZEMU_print_path(&net.cube, &g, &net.lib, f, 0, 0.0); }); }),
              "Error: Invalid input to ZEMU_print_path()\n");
    Pathways rps;
    EXPECT_EQ(rps.file(net), "END\n");
    rps.add(0, 1, {1});
    rps.add(0, 1, {9});  // outside the library: the file ends without END
    std::string text;
    fx::stderr_of([&] { text = rps.file(net, 1); });
    EXPECT_EQ(text.substr(text.size() - 5), "NEXT\n");
}

TEST(PercolatingBackbone, CopiesOfAnUnconnectedPieceStayOutAndEachFailedAllocationIsReported) {
    // The 1st, 2nd ... allocation of the search fails, until the search needs no
    // more; then the backbone of the chain (with a second, separate channel at
    // y = 2 of its own minima and copies of both types) holds the first piece only.
    int failures = 0;
    for (int nth = 1; nth <= 200; nth++) {
        SCOPED_TRACE(nth);
        TwoTypeChain net;
        for (int x = 0; x < 8; x++) net.cube.energy[x][2][0] = net.cube.energy[x][0][0];
        net.minimum(0, 2, 0, 1, "Li1");
        net.minimum(4, 2, 0, 2, "Li2");
        net.saddle(2, 2, 0, 1);
        net.saddle(6, 2, 0, 2);
        net.copy(0, 2, 3, 3);
        net.copy(1, 3, 2, 4, 1);
        zemu_kernel::ScopedPathlib sym, full;
        zemu_kernel::ScopedClusters sym_clusters, full_clusters, clusters;
        ASSERT_EQ(ZEMU_analyze_network(&net.cube, &net.lib, clusters.get()), 0);
        zemu_kernel::fail_allocation_countdown = nth;
        int status = 0;
        std::string err = fx::stderr_of([&] {
            status = ZEMU_get_percolating_cluster_backbone(&net.cube, &net.lib, &clusters->clust[0], sym.get(),
                                                           sym_clusters.get(), full.get(), full_clusters.get(), 1);
        });
        const bool failed_one = zemu_kernel::fail_allocation_countdown == 0;
        zemu_kernel::fail_allocation_countdown = 0;
        if (failed_one) {
            EXPECT_EQ(status, 1);
            EXPECT_NE(err.find("Memory allocation problem"), std::string::npos) << err;
            failures++;
            continue;
        }
        ASSERT_EQ(status, 0);
        ASSERT_EQ(full->total_allpath, 2);
        EXPECT_EQ(full->allpath[0].start + full->allpath[1].start, 1);
        break;
    }
    EXPECT_GE(failures, 3);
}

TEST(ReactionPathwayBuild, PercolatingChainsGetAPathwayOverTheirBackboneAndIslandsOneAtTheLastThreshold) {
    const struct {
        const char* what;
        bool parallel;
        int copies;  // of the library's, -1 for all
        int pathways, dimension;
        Ints refs;
        int colour, style;
        Ints route;
    } cases[] = {
        {"a chain with a redundant parallel type", true, -1, 1, 1, {1, 3}, 1, 1, range(0, 8)},
        // Only the copy of path 1 inside the cell: Li1 - Li2 is an island.
        {"an island", false, 1, 1, 0, {1}, 0, 1, range(0, 4)},
        {"no copies", false, 0, 0, 0, {}, -1, -1, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        TwoTypeChain net(c.parallel);
        if (c.copies >= 0) net.lib.total_allpath = c.copies;
        Pathways rps;
        ASSERT_EQ(ZEMU_build_reaction_pathway(&net.cube, &net.lib, &rps.all), 0);
        ASSERT_EQ(rps.all.total, c.pathways);
        EXPECT_EQ(net.lib.path[0].color, c.colour);
        EXPECT_EQ(net.lib.path[0].style, c.style);
        if (c.pathways == 0) continue;
        EXPECT_EQ(rps.all.rp[0].initial_dimension, c.dimension);
        EXPECT_EQ(refs_of(rps.all.rp[0]), c.refs);
        EXPECT_EQ(route(net, refs_of(rps.all.rp[0])), c.route);
    }
}

// A walk over minimum types takes the strictly shortest path joining each pair
// (the first found on a tie, forwards before backwards) and marks it; leading
// steps that join nothing are 0 and mark nothing.
TEST(MinimaWalkReferences, ShortestPathJoiningTheTypesIsNamedAndMarked) {
    TwoTypeChain net(true);
    net.lib.path[1].length = 3.0;  // the parallel type is the shorter hop Li1 - Li2
    ZEMU_reaction_pathway rp{0, 0, 0, 0, 0, nullptr};
    int walk[] = {1, 2, 1, 7, 2};  // type 7 joins nothing
    ASSERT_EQ(ZEMU_append_minima_path_to_reaction_pathway(&net.lib, &rp, walk, 5), 0);
    EXPECT_EQ(refs_of(rp), (Ints{2, -2, -2, -2}));
    EXPECT_EQ(std::make_pair(net.lib.path[1].in_rp, net.lib.path[0].in_rp), std::make_pair(1, 0));
    free(rp.path);

    OneTypeChain one;
    ZEMU_reaction_pathway rp1{0, 0, 0, 0, 0, nullptr};
    int walk1[] = {5, 6, 1, 1};
    ASSERT_EQ(ZEMU_append_minima_path_to_reaction_pathway(&one.lib, &rp1, walk1, 4), 0);
    EXPECT_EQ(refs_of(rp1), (Ints{0, 0, 1}));
    EXPECT_EQ(one.lib.path[0].in_rp, 1);
    free(rp1.path);
}

// Only a strictly shorter trial replaces the best; an unreachable one (-1) counts as shorter.
TEST(ShortestJoin, OnlyAStrictlyShorterTrialReplacesTheBest) {
    double best = 999999.0;
    int* path = nullptr;
    int length = 0;
    int a[] = {1, 2, 3}, b[] = {4, 3}, c[] = {3};
    ASSERT_EQ(ZEMU_store_better_shortest_path(&best, &path, &length, 2.0, a, 3), 0);
    ASSERT_EQ(ZEMU_store_better_shortest_path(&best, &path, &length, 2.0, b, 2), 0);
    EXPECT_EQ(Ints(path, path + length), (Ints{1, 2, 3}));
    ASSERT_EQ(ZEMU_store_better_shortest_path(&best, &path, &length, -1.0, c, 1), 0);
    EXPECT_EQ(best, -1.0);
    EXPECT_EQ(Ints(path, path + length), (Ints{3}));
    free(path);
}

// Later pathways move down while each slot keeps its ribbon; a bad index is
// reported and ignored; the last removal empties the list.
TEST(PathwayRemoval, LaterPathwaysMoveDownWhileEachSlotKeepsItsRibbon) {
    Pathways rps;
    rps.add(0, 1, {1}, 1);
    rps.add(1, 2, {2, 3}, 0);
    rps.add(2, 3, {4}, 0);
    ASSERT_EQ(ZEMU_del_reaction_pathway(&rps.all, 0), 0);
    EXPECT_EQ(std::make_pair(rps.all.rp[0].ID, rps.all.rp[1].ID), std::make_pair(1, 2));
    EXPECT_EQ(rps.dimensions(), (Ints{2, 3}));
    EXPECT_EQ(refs_of(rps.all.rp[0]), (Ints{2, 3}));
    EXPECT_EQ(rps.all.rp[0].ribbon, 1);
    EXPECT_EQ(refs_of(rps.all.rp[1]), (Ints{4}));
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_del_reaction_pathway(&rps.all, 2), 0); }),
              "Error: Invalid input to ZEMU_del_reaction_pathway()\n");
    EXPECT_EQ(rps.all.total, 2);
    ASSERT_EQ(ZEMU_del_reaction_pathway(&rps.all, 1), 0);
    ASSERT_EQ(ZEMU_del_reaction_pathway(&rps.all, 0), 0);
    EXPECT_EQ(rps.all.total, 0);
    EXPECT_EQ(rps.all.rp, nullptr);
}
