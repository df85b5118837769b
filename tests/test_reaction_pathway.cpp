// Reaction pathways: walks turned into path references, backbone reduction,
// pathway building and duplicate removal, the placement of references as one
// continuous route and the pathway file. Networks are small channels along a
// built by hand; the bundled examples run through the library functions.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "ZEMU.h"
#include "ZEMU-path.h"
#include "e2e_util.h"

namespace {

// A channel of `na` points along a (y = z = 0) through a high background, 1
// Angstrom per step, with minima, saddles and a path library set by hand.
struct Channel {
    ZEMU_cube cube;
    ZEMU_pathlib lib;

    Channel(int na, const std::vector<double>& channel) {
        ZEMU_init_cube(&cube);
        cube.a_grid = na;
        cube.b_grid = cube.c_grid = 4;
        cube.a_x = cube.b_y = cube.c_z = 1.0;
        ZEMU_calc_cell_parameter(&cube);
        EXPECT_EQ(ZEMU_alloc_cube_energy(&cube), 0);
        for (int i = 0; i < na; i++)
            for (int j = 0; j < 4; j++)
                for (int k = 0; k < 4; k++) cube.energy[i][j][k] = 10.0;
        for (int i = 0; i < na; i++) cube.energy[i][0][0] = channel[i];
        ZEMU_init_pathlib(&lib);
    }
    ~Channel() {
        ZEMU_free_pathlib(&lib);
        ZEMU_free_cube(&cube);
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

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
        p.start = start;
        p.end = end;
        p.saddle = saddle;
        p.start_type = cube.minima[start].type;
        p.end_type = cube.minima[end].type;
        p.saddle_type = cube.saddle[saddle].type;
        p.start_energy = cube.minima[start].e;
        p.end_energy = cube.minima[end].e;
        p.saddle_energy = saddle_energy;
        p.length = 4.0;
        p.end_p = end_cell;
        lib.path = static_cast<ZEMU_path*>(realloc(lib.path, sizeof(ZEMU_path) * (lib.total_path + 1)));
        lib.path[lib.total_path++] = p;
    }
    // The copy of path k through saddle point `saddle`, start image in cell 0.
    void copy(int k, int start, int end, int saddle, int end_cell = 0) {
        ZEMU_path* p = &lib.path[k];
        ZEMU_allpath ap;
        ZEMU_assign_allpath(&ap, start, end, saddle, p->start_type, p->end_type, p->saddle_type, p->length, 0, 0, 0,
                            end_cell, 0, 0, p->start_energy, p->end_energy, p->saddle_energy);
        lib.allpath = static_cast<ZEMU_allpath*>(realloc(lib.allpath, sizeof(ZEMU_allpath) * (lib.total_allpath + 1)));
        lib.allpath[lib.total_allpath++] = ap;
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

std::vector<int> xs_of(const ZEMU_grid_path& g) {
    std::vector<int> xs;
    for (int i = 0; i < g.length; i++) {
        EXPECT_EQ(g.grid[i].y, 0);
        EXPECT_EQ(g.grid[i].z, 0);
        xs.push_back(g.grid[i].x);
    }
    return xs;
}

std::vector<int> range(int from, int to) {
    std::vector<int> v;
    for (int x = from; from <= to ? x <= to : x >= to; x += from <= to ? 1 : -1) v.push_back(x);
    return v;
}

// Route of the references over the channel, as its x coordinates; empty on failure.
std::vector<int> route(Channel& c, std::vector<int> refs) {
    ZEMU_connect_list list{static_cast<int>(refs.size()), refs.data()};
    ZEMU_grid_path g;
    ZEMU_init_grid_path(&g);
    std::vector<int> xs;
    if (ZEMU_concatenate_path(&c.cube, &c.lib, &g, &list) == 0) xs = xs_of(g);
    ZEMU_free_grid_path(&g);
    return xs;
}

std::vector<int> refs_of(const ZEMU_reaction_pathway& rp) { return std::vector<int>(rp.path, rp.path + rp.total_path); }

// An owned pathway list built from reference lists.
struct Pathways {
    ZEMU_reaction_pathway_overall all{0, nullptr};
    ~Pathways() { ZEMU_free_reaction_pathway(&all); }
    ZEMU_reaction_pathway& add(int ID, int dimension, std::vector<int> refs, int ribbon = 0) {
        ZEMU_cluster c;
        ZEMU_init_cluster(&c);
        c.ID = ID;
        c.dimension = dimension;
        c.ribbon = ribbon;
        EXPECT_EQ(ZEMU_copy_cluster_append_rp_all(&all, &c), 0);
        for (int r : refs) EXPECT_EQ(ZEMU_append_path_to_reaction_pathway(&all.rp[all.total - 1], r), 0);
        return all.rp[all.total - 1];
    }
};

std::string read_stream(FILE* f) {
    std::string s;
    rewind(f);
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, f)) > 0) s.append(buf, n);
    return s;
}

}  // namespace

// ---------------------------------------------------------------------------
// Walks to references
// ---------------------------------------------------------------------------

TEST(EulerWalkReferences, StepsNameThePathByTypesAndSaddleEnergyInEitherDirection) {
    TwoTypeChain net;
    Pathways rps;
    rps.add(0, 1, {});
    int walk[] = {1, 2, 1, 2};
    double w[] = {0.1, 0.5, 0.1};
    ASSERT_EQ(ZEMU_append_Euler_path_rpall(&net.lib, &rps.all, walk, 4, w), 0);
    EXPECT_EQ(refs_of(rps.all.rp[0]), (std::vector<int>{1, 2, 1}));

    int back[] = {2, 1};
    double wb[] = {0.1};
    ASSERT_EQ(ZEMU_append_Euler_path_rpall(&net.lib, &rps.all, back, 2, wb), 0);
    EXPECT_EQ(rps.all.rp[0].path[3], -1);
}

TEST(EulerWalkReferences, UnmatchedStepRepeatsThePreviousAndALeadingOneIsZero) {
    TwoTypeChain net;
    Pathways rps;
    rps.add(0, 1, {});
    int walk[] = {1, 2, 1, 2};
    double w[] = {0.7, 0.1, 0.9};  // first and last steps match no saddle energy
    ASSERT_EQ(ZEMU_append_Euler_path_rpall(&net.lib, &rps.all, walk, 4, w), 0);
    EXPECT_EQ(refs_of(rps.all.rp[0]), (std::vector<int>{0, -1, -1}));

    rps.add(0, 1, {});
    int indices[] = {0, 1, 0};  // minimum indices; the first hop at no copy's saddle energy
    double wa[] = {0.7, 0.1};
    ASSERT_EQ(ZEMU_append_Euler_allpath_rpall(&net.lib, &rps.all, indices, 3, wa), 0);
    EXPECT_EQ(refs_of(rps.all.rp[1]), (std::vector<int>{0, -1}));
}

TEST(EulerWalkReferences, LastMatchingPathWins) {
    TwoTypeChain net(true);
    net.lib.path[1].saddle_energy = 0.1;  // the parallel type now ties with path 1
    Pathways rps;
    rps.add(0, 1, {});
    int walk[] = {1, 2};
    double w[] = {0.1};
    ASSERT_EQ(ZEMU_append_Euler_path_rpall(&net.lib, &rps.all, walk, 2, w), 0);
    EXPECT_EQ(refs_of(rps.all.rp[0]), (std::vector<int>{2}));
}

TEST(EulerWalkReferences, AllpathWalkNamesThePathTypeOfTheMatchingCopy) {
    TwoTypeChain net;
    Pathways rps;
    rps.add(0, 1, {});
    int walk[] = {0, 1, 0, 1};  // minimum indices
    double w[] = {0.1, 0.5, 0.5};
    ASSERT_EQ(ZEMU_append_Euler_allpath_rpall(&net.lib, &rps.all, walk, 4, w), 0);
    EXPECT_EQ(refs_of(rps.all.rp[0]), (std::vector<int>{1, 2, -2}));
}

TEST(EulerWalkReferences, GraphWalkOverPathTypesCoversEveryEdge) {
    TwoTypeChain net;
    Pathways rps;
    rps.add(1, 1, {});
    ZEMU_graph graph;
    ZEMU_init_graph(&graph);
    for (int k = 0; k < net.lib.total_path; k++) ASSERT_EQ(ZEMU_add_path_as_graph_edge(&graph, &net.lib.path[k]), 0);
    ASSERT_EQ(ZEMU_build_and_append_Euler_path_rpall(&graph, &net.lib, &rps.all), 0);
    EXPECT_EQ(refs_of(rps.all.rp[0]), (std::vector<int>{1, 2}));
    EXPECT_EQ(graph.total_edge, 0);  // freed
}

TEST(MinimaWalkReferences, ShortestPathJoiningTheTypesIsNamedAndMarked) {
    TwoTypeChain net(true);
    net.lib.path[1].length = 3.0;  // the parallel type is the shorter hop Li1 - Li2
    ZEMU_reaction_pathway rp{0, 0, 0, 0, 0, nullptr};
    int walk[] = {1, 2, 1, 7, 2};  // type 7 joins nothing
    ASSERT_EQ(ZEMU_append_minima_path_to_reaction_pathway(&net.lib, &rp, walk, 5), 0);
    EXPECT_EQ(refs_of(rp), (std::vector<int>{2, -2, -2, -2}));
    EXPECT_EQ(net.lib.path[1].in_rp, 1);
    EXPECT_EQ(net.lib.path[0].in_rp, 0);
    free(rp.path);
}

TEST(MinimaWalkReferences, ForwardReadingWinsATieAndLeadingUnmatchedStepsAreZeroAndMarkNothing) {
    OneTypeChain net;
    ZEMU_reaction_pathway rp{0, 0, 0, 0, 0, nullptr};
    int walk[] = {5, 6, 1, 1};
    ASSERT_EQ(ZEMU_append_minima_path_to_reaction_pathway(&net.lib, &rp, walk, 4), 0);
    EXPECT_EQ(refs_of(rp), (std::vector<int>{0, 0, 1}));
    EXPECT_EQ(net.lib.path[0].in_rp, 1);
    free(rp.path);
}

TEST(ShortestJoin, OnlyAStrictlyShorterTrialReplacesTheBestAndUnreachableCountsAsShorter) {
    double best = 999999.0;
    int* path = nullptr;
    int length = 0;
    int a[] = {1, 2, 3};
    ASSERT_EQ(ZEMU_store_better_shortest_path(&best, &path, &length, 2.0, a, 3), 0);
    EXPECT_EQ(length, 3);
    int b[] = {4, 3};
    ASSERT_EQ(ZEMU_store_better_shortest_path(&best, &path, &length, 2.0, b, 2), 0);
    EXPECT_EQ(path[0], 1);
    int c[] = {3};
    ASSERT_EQ(ZEMU_store_better_shortest_path(&best, &path, &length, -1.0, c, 1), 0);
    EXPECT_EQ(best, -1.0);
    EXPECT_EQ(length, 1);
    EXPECT_EQ(path[0], 3);
    free(path);
}

// ---------------------------------------------------------------------------
// Removing pathways
// ---------------------------------------------------------------------------

TEST(PathwayRemoval, LaterPathwaysMoveDownWhileEachSlotKeepsItsRibbon) {
    Pathways rps;
    rps.add(0, 1, {1}, 1);
    rps.add(1, 2, {2, 3}, 0);
    rps.add(2, 3, {4}, 0);
    ASSERT_EQ(ZEMU_del_reaction_pathway(&rps.all, 0), 0);
    ASSERT_EQ(rps.all.total, 2);
    EXPECT_EQ(rps.all.rp[0].ID, 1);
    EXPECT_EQ(rps.all.rp[0].initial_dimension, 2);
    EXPECT_EQ(refs_of(rps.all.rp[0]), (std::vector<int>{2, 3}));
    EXPECT_EQ(rps.all.rp[0].ribbon, 1);
    EXPECT_EQ(refs_of(rps.all.rp[1]), (std::vector<int>{4}));
}

TEST(PathwayRemoval, InvalidIndexIsReportedAndIgnoredAndTheLastRemovalEmptiesTheList) {
    Pathways rps;
    rps.add(0, 1, {1});
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_del_reaction_pathway(&rps.all, 1), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid input to ZEMU_del_reaction_pathway()\n");
    EXPECT_EQ(rps.all.total, 1);
    ASSERT_EQ(ZEMU_del_reaction_pathway(&rps.all, 0), 0);
    EXPECT_EQ(rps.all.total, 0);
    EXPECT_EQ(rps.all.rp, nullptr);
}

TEST(DuplicatePathways, LowerInitialDimensionIsKeptWhicheverComesFirst) {
    TwoTypeChain net;
    Pathways rps;
    rps.add(1, 3, {1, 2});
    rps.add(0, 1, {-2});
    rps.add(0, 2, {5});  // shares nothing
    ASSERT_EQ(ZEMU_cleanup_redundant_pathways(&net.lib, &rps.all), 0);
    ASSERT_EQ(rps.all.total, 2);
    EXPECT_EQ(rps.all.rp[0].initial_dimension, 1);
    EXPECT_EQ(rps.all.rp[1].initial_dimension, 2);

    Pathways again;
    again.add(0, 1, {-2});
    again.add(1, 3, {1, 2});
    ASSERT_EQ(ZEMU_cleanup_redundant_pathways(&net.lib, &again.all), 0);
    ASSERT_EQ(again.all.total, 1);
    EXPECT_EQ(again.all.rp[0].initial_dimension, 1);
}

TEST(DuplicatePathways, AtEqualDimensionTheLowerTopSaddleSurvivesAndATieKeepsTheLater) {
    TwoTypeChain net;  // path index 0 at 0.1 eV, index 1 at 0.5 eV
    Pathways rps;
    rps.add(0, 1, {1, 2});
    rps.add(1, 1, {2});
    ASSERT_EQ(ZEMU_cleanup_redundant_pathways(&net.lib, &rps.all), 0);
    ASSERT_EQ(rps.all.total, 1);
    EXPECT_EQ(rps.all.rp[0].ID, 0);

    Pathways tie;
    tie.add(1, 1, {1});
    tie.add(1, 1, {-1, 2});
    ASSERT_EQ(ZEMU_cleanup_redundant_pathways(&net.lib, &tie.all), 0);
    ASSERT_EQ(tie.all.total, 1);
    EXPECT_EQ(refs_of(tie.all.rp[0]), (std::vector<int>{-1, 2}));
}

// ---------------------------------------------------------------------------
// Placing references as one route
// ---------------------------------------------------------------------------

TEST(PathChaining, ForwardReferencesContinueIntoTheNextCell) {
    TwoTypeChain net;
    EXPECT_EQ(route(net, {1, 2}), range(0, 8));
    EXPECT_EQ(route(net, {1, 2, 1, 2}), range(0, 16));
}

TEST(PathChaining, BackwardReferencesRunTheCopiesFromTheirEnds) {
    TwoTypeChain net;
    EXPECT_EQ(route(net, {-2, -1}), range(8, 0));
    EXPECT_EQ(route(net, {-1, -2, -1}), range(4, -8));
}

TEST(PathChaining, RouteDoesNotTurnBackOverTheSaddleItJustCrossed) {
    OneTypeChain net;
    EXPECT_EQ(route(net, {1, -1}), range(0, 8));
    EXPECT_EQ(route(net, {1, 1, 1}), range(0, 12));
}

TEST(PathChaining, RouteTurnsBackWhenEveryCopyRecrossesTheSaddle) {
    TwoTypeChain net;
    std::vector<int> expected = range(0, 4);
    std::vector<int> back = range(3, 0);
    expected.insert(expected.end(), back.begin(), back.end());
    EXPECT_EQ(route(net, {1, -1}), expected);
}

TEST(PathChaining, WithoutCopiesThePathIsShiftedOntoTheRouteOnlyFromTheSameMinimum) {
    TwoTypeChain net;
    net.lib.total_allpath = 0;
    EXPECT_EQ(route(net, {1, 2, 1}), range(0, 12));
    std::vector<int> twice = range(0, 4);
    twice.insert(twice.end(), twice.begin(), twice.end());
    EXPECT_EQ(route(net, {1, 1}), twice);  // the second starts where path 1 lies: a jump back
}

TEST(PathChaining, UntraceablePieceFailsWithItsSignedReference) {
    TwoTypeChain net;
    net.path(0, 1, 1, 0.6);  // Li1 to Li2 over the saddle at x = 6: the climb is not monotonic
    testing::internal::CaptureStderr();
    EXPECT_TRUE(route(net, {1, 3}).empty());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Unable to trace path 3\n");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(route(net, {-3}).empty());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Unable to trace path -3\n");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(route(net, {1, 4}).empty());  // outside the library
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid input to ZEMU_concatenate_path()\n");
}

TEST(PathChaining, StepsThatMatchedNoPathPlaceNoPiece) {
    TwoTypeChain net;
    EXPECT_EQ(route(net, {0, 1}), range(0, 4));
    EXPECT_EQ(route(net, {1, 0, 2}), range(0, 8));
    int only_zero = 0;
    ZEMU_connect_list list{1, &only_zero};
    ZEMU_grid_path g;
    ZEMU_init_grid_path(&g);
    EXPECT_EQ(ZEMU_concatenate_path(&net.cube, &net.lib, &g, &list), 0);
    EXPECT_EQ(g.length, 0);
    ZEMU_free_grid_path(&g);
}

// ---------------------------------------------------------------------------
// Pathway file
// ---------------------------------------------------------------------------

TEST(PathwayFile, EmptyPathwayListWritesOnlyEnd) {
    TwoTypeChain net;
    Pathways rps;
    FILE* f = tmpfile();
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ZEMU_print_reaction_pathway(&net.cube, &net.lib, &rps.all, f), 0);
    EXPECT_EQ(read_stream(f), "END\n");
    fclose(f);
}

TEST(PathwayFile, PathwaysAreSeparatedAndEachStartsHalfAnAngstromAfterThePrevious) {
    TwoTypeChain net;
    net.lib.path[0].color = 2;
    net.lib.path[0].style = 1;
    Pathways rps;
    rps.add(0, 1, {1});
    rps.add(1, 1, {2});
    rps.add(0, 1, {1});
    FILE* f = tmpfile();
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(ZEMU_print_reaction_pathway(&net.cube, &net.lib, &rps.all, f), 0);
    EXPECT_EQ(read_stream(f),
              "0.000000,0.000000,Li1,2,0,1\n"
              "1.000000,0.050000\n"
              "2.000000,0.100000,s1 0.100000eV\n"
              "3.000000,0.060000\n"
              "4.000000,0.020000,Li2,2,0,1\n"
              "NEXT\n"
              "4.500000,0.020000,Li2,-1,-1,-1\n"
              "5.500000,0.250000\n"
              "6.500000,0.500000,s2 0.500000eV\n"
              "7.500000,0.250000\n"
              "8.500000,0.000000,Li1,-1,-1,-1\n"
              "NEXT\n"
              "9.000000,0.000000,Li1,2,2,1\n"
              "10.000000,0.050000\n"
              "11.000000,0.100000,s1 0.100000eV\n"
              "12.000000,0.060000\n"
              "13.000000,0.020000,Li2,2,2,1\n"
              "END\n");
    fclose(f);
}

TEST(PathwayFile, NeighbouringMinimaAreSeparatedByAJumpAndPointsAreWrappedIntoTheCell) {
    TwoTypeChain net;
    ZEMU_path_triple_index pts[] = {{-16, 0, 0}, {-12, 0, 0}};
    ZEMU_grid_path g;
    ZEMU_init_grid_path(&g);
    g.length = 2;
    g.grid = pts;
    FILE* f = tmpfile();
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(ZEMU_print_path(&net.cube, &g, &net.lib, f, 0, 1.0), 0);
    EXPECT_EQ(read_stream(f), "1.000000,0.000000,Li1\nNEXT\n1.400000,0.020000,Li2\n");

    g.length = 1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_print_path(&net.cube, &g, &net.lib, f, 0, 0.0), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid input to ZEMU_print_path()\n");
    fclose(f);
}

TEST(PathwayFile, ChainingFailureEndsTheFileWithoutEnd) {
    TwoTypeChain net;
    Pathways rps;
    rps.add(0, 1, {1});
    rps.add(0, 1, {9});
    FILE* f = tmpfile();
    ASSERT_NE(f, nullptr);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_print_reaction_pathway(&net.cube, &net.lib, &rps.all, f), 1);
    testing::internal::GetCapturedStderr();
    std::string text = read_stream(f);
    EXPECT_EQ(text.find("END"), std::string::npos);
    EXPECT_NE(text.find("NEXT\n"), std::string::npos);
    fclose(f);
}

// ---------------------------------------------------------------------------
// Backbone and building
// ---------------------------------------------------------------------------

namespace {

struct Backbone {
    ZEMU_pathlib sym, full;
    ZEMU_cluster_list sym_clusters{0, nullptr}, full_clusters{0, nullptr};
    Backbone() {
        ZEMU_init_pathlib(&sym);
        ZEMU_init_pathlib(&full);
    }
    ~Backbone() {
        ZEMU_free_pathlib(&sym);
        ZEMU_free_pathlib(&full);
        ZEMU_free_path_clust(&sym_clusters);
        ZEMU_free_path_clust(&full_clusters);
    }
};

std::vector<int> saddle_types(const ZEMU_pathlib& lib) {
    std::vector<int> t;
    for (int k = 0; k < lib.total_path; k++) t.push_back(lib.path[k].saddle_type);
    return t;
}

}  // namespace

TEST(PercolatingBackbone, RedundantParallelTypeIsDroppedAndTheNeededOneKept) {
    TwoTypeChain net(true);  // saddle types 1 (0.1 eV), 3 (0.3 eV, parallel to 1), 2 (0.5 eV, top)
    ZEMU_cluster_list clusters{0, nullptr};
    ASSERT_EQ(ZEMU_analyze_network(&net.cube, &net.lib, &clusters), 0);
    ASSERT_EQ(clusters.total, 1);
    ASSERT_EQ(clusters.clust[0].dimension, 1);
    ASSERT_EQ(clusters.clust[0].ID, 2);

    for (int complete = 0; complete <= 1; complete++) {
        Backbone b;
        ASSERT_EQ(ZEMU_get_percolating_cluster_backbone(&net.cube, &net.lib, &clusters.clust[0], &b.sym,
                                                        &b.sym_clusters, &b.full, &b.full_clusters, complete),
                  0);
        EXPECT_EQ(saddle_types(b.sym), (std::vector<int>{1, 2}));
        EXPECT_EQ(b.sym.total_allpath, 0);
        EXPECT_EQ(b.sym_clusters.total, 0);
        EXPECT_EQ(saddle_types(b.full), (std::vector<int>{1, 2}));
        ASSERT_EQ(b.full.total_allpath, 2);
        EXPECT_EQ(b.full.allpath[0].saddle, 0);
        EXPECT_EQ(b.full.allpath[1].saddle, 1);
        ASSERT_EQ(b.full_clusters.total, 1);
        EXPECT_EQ(b.full_clusters.clust[0].dimension, 1);
    }
    ZEMU_free_path_clust(&clusters);
}

TEST(PercolatingBackbone, CopiesOfAnUnconnectedPieceStayOut) {
    TwoTypeChain net;
    // A second, separate channel at y = 2 with its own minima and copies of both types.
    for (int x = 0; x < 8; x++) net.cube.energy[x][2][0] = net.cube.energy[x][0][0];
    net.minimum(0, 2, 0, 1, "Li1");
    net.minimum(4, 2, 0, 2, "Li2");
    net.saddle(2, 2, 0, 1);
    net.saddle(6, 2, 0, 2);
    net.copy(0, 2, 3, 3);
    net.copy(1, 3, 2, 4, 1);
    ZEMU_cluster_list clusters{0, nullptr};
    ASSERT_EQ(ZEMU_analyze_network(&net.cube, &net.lib, &clusters), 0);
    ASSERT_GE(clusters.total, 1);
    Backbone b;
    ASSERT_EQ(ZEMU_get_percolating_cluster_backbone(&net.cube, &net.lib, &clusters.clust[0], &b.sym, &b.sym_clusters,
                                                    &b.full, &b.full_clusters, 1),
              0);
    ASSERT_EQ(b.full.total_allpath, 2);
    EXPECT_EQ(b.full.allpath[0].start, 0);
    EXPECT_EQ(b.full.allpath[1].start, 1);
    ZEMU_free_path_clust(&clusters);
}

TEST(ReactionPathwayBuild, PercolatingChainGetsOnePathwayOverItsBackbone) {
    TwoTypeChain net(true);
    Pathways rps;
    ASSERT_EQ(ZEMU_build_reaction_pathway(&net.cube, &net.lib, &rps.all), 0);
    ASSERT_EQ(rps.all.total, 1);
    const ZEMU_reaction_pathway& rp = rps.all.rp[0];
    EXPECT_EQ(rp.ID, 2);
    EXPECT_EQ(rp.initial_dimension, 1);
    EXPECT_EQ(rp.dimension, 1);
    EXPECT_EQ(rp.ribbon, 0);
    EXPECT_EQ(refs_of(rp), (std::vector<int>{1, 3}));
    EXPECT_EQ(net.lib.path[0].color, 1);
    EXPECT_EQ(net.lib.path[0].style, 1);
    EXPECT_EQ(net.lib.path[0].in_rp, 1);
    for (int k = 0; k < 3; k++) EXPECT_EQ(net.lib.path[k].oneD, 1);

    EXPECT_EQ(route(net, refs_of(rp)), range(0, 8));
}

TEST(ReactionPathwayBuild, LibraryWithoutCopiesGivesNoPathway) {
    TwoTypeChain net;
    net.lib.total_allpath = 0;
    Pathways rps;
    ASSERT_EQ(ZEMU_build_reaction_pathway(&net.cube, &net.lib, &rps.all), 0);
    EXPECT_EQ(rps.all.total, 0);
}

// ---------------------------------------------------------------------------
// Bundled examples through the library functions
// ---------------------------------------------------------------------------

namespace {

// The run of the bundled example up to the reaction pathway, in a working
// directory that sees the project's bin/.
struct ExampleRun {
    zemu_test::WorkDir dir{true};
    std::string old;
    ZEMU_cube cube;
    ZEMU_cif cif;
    ZEMU_asymmetric_unit asym;
    ZEMU_pathlib lib;
    Pathways rps;

    ExampleRun() {
        char buf[4096];
        old = getcwd(buf, sizeof buf) ? buf : ".";
        EXPECT_EQ(chdir(dir.path().c_str()), 0);
        ZEMU_init_asymmetric_unit(&asym);
        ZEMU_init_cube(&cube);
        ZEMU_init_cif(&cif);
        ZEMU_init_fastgen(&cif);
        ZEMU_init_pathlib(&lib);
    }
    // Grid, structure, site analysis and the path library of the example.
    void load(const std::string& name, const char* ion) {
        cif.ion = 1;
        snprintf(cif.probe_type, sizeof cif.probe_type, "%s", ion);
        std::string cube_file = zemu_test::source_file("examples/" + name + "/landscape.cube");
        std::string cif_file = zemu_test::source_file("examples/" + name + "/structure.cif");
        char expr[] = "E";
        cube.scaling = 1;
        cube.cube = 1;
        cif.cif = 1;
        ASSERT_EQ(ZEMU_parse_energy_scaling(&cube, expr), 0);
        ASSERT_EQ(ZEMU_load_cube(const_cast<char*>(cube_file.c_str()), &cube), 0);
        ASSERT_EQ(ZEMU_process_cube(&cube), 0);
        ASSERT_EQ(ZEMU_load_cif(const_cast<char*>(cif_file.c_str()), &cif), 0);
        ZEMU_prepare_fastgen_symop(&cif, &cube);
        ASSERT_EQ(ZEMU_find_asymmetric_unit(&cube, &cif, &asym), 0);
        ASSERT_EQ(cif.diff_neigh ? ZEMU_find_stationary_points2(&cube, &cif)
                                 : ZEMU_find_stationary_points(&cube, &cif, &asym),
                  0);
        ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&cube, &cif), 0);
        ASSERT_EQ(ZEMU_group_minima_by_symmetry(&cube, &cif), 0);
        ASSERT_EQ(ZEMU_assign_ion_to_sites(&cube, &cif), 0);
        ZEMU_assign_interstitial_labels(&cube, &cif);
        testing::internal::CaptureStderr();  // saddle types without minima are warned about
        int built = ZEMU_build_path(&cube, &cif, &lib) || ZEMU_build_allpaths(&cube, &cif, &lib) ||
                    ZEMU_filter_redundant_path(&cube, &lib);
        testing::internal::GetCapturedStderr();
        ASSERT_EQ(built, 0);
    }
    ~ExampleRun() {
        ZEMU_free_pathlib(&lib);
        ZEMU_free_asymmetric_unit(&asym);
        ZEMU_free_cube(&cube);
        ZEMU_free_cif(&cif);
        EXPECT_EQ(chdir(old.c_str()), 0);
    }
};

}  // namespace

TEST(ReactionPathwayExample, LiFePO4ChannelPathwayIsAContinuousWalkOverWholeCells) {
    ExampleRun run;
    ASSERT_NO_FATAL_FAILURE(run.load("LiFePO4", "Li1+"));
    ASSERT_GT(run.lib.total_allpath, 0);
    ASSERT_EQ(ZEMU_build_reaction_pathway(&run.cube, &run.lib, &run.rps.all), 0);
    FILE* f = tmpfile();
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(ZEMU_print_reaction_pathway(&run.cube, &run.lib, &run.rps.all, f), 0);
    std::string text = read_stream(f);
    fclose(f);
    EXPECT_EQ(text.substr(text.size() - 4), "END\n");

    // Lithium migrates in one dimension first: that pathway is kept.
    ASSERT_GE(run.rps.all.total, 1);
    const ZEMU_reaction_pathway& rp = run.rps.all.rp[0];
    EXPECT_EQ(rp.initial_dimension, 1);
    for (int i = 0; i < rp.total_path; i++) {
        ASSERT_NE(rp.path[i], 0);
        ASSERT_LE(abs(rp.path[i]), run.lib.total_path);
    }
    // Its route walks without gaps and reaches a copy of its first minimum one
    // or more cells away: the channel is crossed, not walked back and forth.
    ZEMU_connect_list list{rp.total_path, rp.path};
    ZEMU_grid_path g;
    ZEMU_init_grid_path(&g);
    ASSERT_EQ(ZEMU_concatenate_path(&run.cube, &run.lib, &g, &list), 0);
    bool crossed = false;
    for (int i = 1; i < g.length; i++) {
        EXPECT_LE(abs(g.grid[i].x - g.grid[i - 1].x), 1);
        EXPECT_LE(abs(g.grid[i].y - g.grid[i - 1].y), 1);
        EXPECT_LE(abs(g.grid[i].z - g.grid[i - 1].z), 1);
        int dx = g.grid[i].x - g.grid[0].x, dy = g.grid[i].y - g.grid[0].y, dz = g.grid[i].z - g.grid[0].z;
        bool image = dx % run.cube.a_grid == 0 && dy % run.cube.b_grid == 0 && dz % run.cube.c_grid == 0;
        crossed = crossed || (image && (dx != 0 || dy != 0 || dz != 0));
    }
    EXPECT_TRUE(crossed);
    ZEMU_free_grid_path(&g);
}
