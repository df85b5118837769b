// Euler walks: pairing of odd vertices, end-point choice, splicing and guards.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ZEMU-math.h"

namespace {

typedef std::tuple<int, int, double> Edge;

struct Graph {
    ZEMU_graph g;
    explicit Graph(const std::vector<Edge>& edges) {
        ZEMU_init_graph(&g);
        for (const Edge& e : edges) EXPECT_EQ(ZEMU_add_edge(&g, std::get<0>(e), std::get<1>(e), std::get<2>(e)), 0);
        EXPECT_EQ(ZEMU_build_vert_from_edge(&g), 0);
    }
    ~Graph() { ZEMU_free_graph(&g); }
};

struct Walk {
    int status;
    std::vector<int> labels;
    std::vector<double> weights;
    std::string err;
};

Walk euler(ZEMU_graph* g) {
    Walk w;
    int* path = nullptr;
    double* weights = nullptr;
    int total = -1;
    testing::internal::CaptureStderr();
    w.status = ZEMU_build_Euler_path(g, &path, &total, &weights);
    w.err = testing::internal::GetCapturedStderr();
    if (w.status == 0 && total > 0) {
        w.labels.assign(path, path + total);
        w.weights.assign(weights, weights + total - 1);
    }
    free(path);
    free(weights);
    return w;
}

std::vector<std::vector<int>> combinations(ZEMU_graph* g, std::vector<int> excl = {}) {
    int** list = nullptr;
    int no = -1, pair = -1;
    EXPECT_EQ(ZEMU_handshake_odd_vertices_combinations(g, &list, &no, &pair, excl.data(), (int)excl.size()), 0);
    std::vector<std::vector<int>> out;
    for (int c = 0; c < no; ++c) {
        out.emplace_back(list[c], list[c] + 2 * pair);
        free(list[c]);
    }
    free(list);
    return out;
}

// Each step of the walk must use one edge of `edges` (with its weight), each edge exactly once.
void expect_uses_each_edge_once(const Walk& w, std::vector<Edge> edges) {
    ASSERT_EQ(w.labels.size(), edges.size() + 1);
    for (size_t s = 0; s + 1 < w.labels.size(); ++s) {
        auto match = std::find_if(edges.begin(), edges.end(), [&](const Edge& e) {
            int a = std::get<0>(e), b = std::get<1>(e);
            bool ends = (a == w.labels[s] && b == w.labels[s + 1]) || (b == w.labels[s] && a == w.labels[s + 1]);
            return ends && std::get<2>(e) == w.weights[s];
        });
        ASSERT_NE(match, edges.end()) << "step " << s;
        edges.erase(match);
    }
}

}  // namespace

TEST(EulerPairing, FourOddVerticesGiveThreeCombinationsInFixedOrder) {
    Graph star({Edge{0, 1, 1.0}, Edge{0, 2, 1.0}, Edge{0, 3, 1.0}});
    EXPECT_EQ(combinations(&star.g), (std::vector<std::vector<int>>{{0, 1, 2, 3}, {0, 2, 1, 3}, {0, 3, 1, 2}}));
    EXPECT_EQ(combinations(&star.g, {0, 3}), (std::vector<std::vector<int>>{{1, 2}}));
    EXPECT_TRUE(combinations(&star.g, {0, 1, 2, 3}).empty());
}

TEST(EulerPairing, SixOddVerticesGiveFifteenDistinctPerfectMatchings) {
    Graph g({Edge{1, 2, 1.0}, Edge{3, 4, 1.0}, Edge{5, 6, 1.0}});
    std::vector<std::vector<int>> combos = combinations(&g.g);
    ASSERT_EQ(combos.size(), 15u);
    EXPECT_EQ(combos[0], (std::vector<int>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(combos[5], (std::vector<int>{0, 1, 2, 4, 3, 5}));  // the second alternative of the first line
    std::set<std::set<std::pair<int, int>>> distinct;
    for (const auto& c : combos) {
        std::set<std::pair<int, int>> pairs;
        for (size_t k = 0; k < c.size(); k += 2) pairs.insert({std::min(c[k], c[k + 1]), std::max(c[k], c[k + 1])});
        EXPECT_EQ(pairs.size(), 3u);
        distinct.insert(pairs);
    }
    EXPECT_EQ(distinct.size(), 15u);
}

TEST(EulerPairing, OddNumberOfEligibleVerticesIsRejected) {
    Graph star({Edge{0, 1, 1.0}, Edge{0, 2, 1.0}, Edge{0, 3, 1.0}});
    int** list = nullptr;
    int no = 0, pair = 0;
    int excl[1] = {0};
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_handshake_odd_vertices_combinations(&star.g, &list, &no, &pair, excl, 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid graph input to ZEMU_handshake_odd_vertices()\n");
}

TEST(EulerPairing, CheapestPairingIsDuplicatedAlongItsShortestPaths) {
    // Path 1-2-3-4 with a second, heavier edge between 2 and 3: all four vertices are odd.
    // (1,2)(3,4) costs 2 while (1,3)(2,4) and (1,4)(2,3) cost 8, so 1-2 and 3-4 are duplicated.
    Graph g({Edge{1, 2, 1.0}, Edge{2, 3, 5.0}, Edge{3, 2, 3.0}, Edge{3, 4, 1.0}});
    ASSERT_EQ(ZEMU_handshake_odd_vertices(&g.g, nullptr, 0), 0);
    ASSERT_EQ(g.g.total_edge, 6);
    EXPECT_EQ(std::make_tuple(g.g.edge[4].a, g.g.edge[4].b, g.g.edge[4].w), std::make_tuple(1, 2, 1.0));
    EXPECT_EQ(std::make_tuple(g.g.edge[5].a, g.g.edge[5].b, g.g.edge[5].w), std::make_tuple(3, 4, 1.0));
    std::vector<std::pair<int, int>> degrees;
    for (int i = 0; i < g.g.total_vertice; ++i) degrees.push_back({g.g.vert[i].a, g.g.vert[i].d});
    EXPECT_EQ(degrees, (std::vector<std::pair<int, int>>{{1, 2}, {2, 4}, {3, 4}, {4, 2}}));
}

TEST(EulerPairing, DuplicateStepTakesTheLightestParallelEdge) {
    // Odd vertices 1 and 3; the shortest route 1-2-3 uses the 2.5 edge between 1 and 2.
    Graph g({Edge{1, 2, 4.0}, Edge{2, 1, 2.5}, Edge{2, 3, 1.0}, Edge{3, 4, 1.0}, Edge{4, 2, 1.0}, Edge{1, 3, 10.0}});
    int excl[1] = {99};
    ASSERT_EQ(ZEMU_handshake_odd_vertices(&g.g, excl, 1), 0);
    ASSERT_EQ(g.g.total_edge, 8);
    EXPECT_EQ(std::make_tuple(g.g.edge[6].a, g.g.edge[6].b, g.g.edge[6].w), std::make_tuple(1, 2, 2.5));
    EXPECT_EQ(std::make_tuple(g.g.edge[7].a, g.g.edge[7].b, g.g.edge[7].w), std::make_tuple(2, 3, 1.0));
}

TEST(EulerPairing, ExcludedOddVerticesAreLeftOdd) {
    Graph g({Edge{1, 2, 1.0}, Edge{2, 3, 1.0}, Edge{3, 4, 1.0}, Edge{2, 5, 1.0}});
    int excl[2] = {1, 4};
    ASSERT_EQ(ZEMU_handshake_odd_vertices(&g.g, excl, 2), 0);  // pairs 2 and 5 only
    ASSERT_EQ(g.g.total_edge, 5);
    EXPECT_EQ(std::make_tuple(g.g.edge[4].a, g.g.edge[4].b), std::make_tuple(2, 5));
    EXPECT_EQ(g.g.vert[0].d, 1);
}

TEST(EulerWalk, TriangleClosesOnTheStart) {
    Graph g({Edge{1, 2, 1.0}, Edge{2, 3, 1.0}, Edge{3, 1, 1.0}});
    Walk w = euler(&g.g);
    ASSERT_EQ(w.status, 0);
    EXPECT_EQ(w.labels, (std::vector<int>{1, 2, 3, 1}));
    EXPECT_EQ(w.weights, (std::vector<double>{1, 1, 1}));
    EXPECT_EQ(w.err, "");
}

TEST(EulerWalk, PathGraphRunsEndToEnd) {
    Graph g({Edge{1, 2, 1.0}, Edge{2, 3, 2.0}});
    Walk w = euler(&g.g);
    EXPECT_EQ(w.labels, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(w.weights, (std::vector<double>{1, 2}));
}

TEST(EulerWalk, StarEndsOnTwoLeavesAndDuplicatesTheThirdSpoke) {
    Graph g({Edge{0, 1, 1.0}, Edge{0, 2, 1.0}, Edge{0, 3, 1.0}});
    Walk w = euler(&g.g);
    ASSERT_EQ(w.status, 0);
    EXPECT_EQ(w.labels, (std::vector<int>{1, 0, 3, 0, 2}));
    EXPECT_EQ(w.weights, (std::vector<double>{1, 1, 1, 1}));
    // the caller's graph is untouched
    EXPECT_EQ(g.g.total_edge, 3);
    EXPECT_EQ(g.g.vert[0].d, 3);
}

TEST(EulerWalk, SingleVertexWithALoop) {
    Graph g({Edge{4, 4, 0.5}});
    Walk w = euler(&g.g);
    EXPECT_EQ(w.labels, (std::vector<int>{4, 4}));
    EXPECT_EQ(w.weights, (std::vector<double>{0.5}));
}

TEST(EulerWalk, ClosedSubWalksAreSplicedAfterTheFirstBranchOccurrence) {
    std::vector<Edge> bowtie = {Edge{1, 2, 1}, Edge{2, 3, 2}, Edge{3, 1, 3}, Edge{3, 4, 4}, Edge{4, 5, 5}, Edge{5, 3, 6}};
    Graph g(bowtie);
    Walk w = euler(&g.g);
    ASSERT_EQ(w.status, 0);
    EXPECT_EQ(w.labels, (std::vector<int>{1, 2, 3, 4, 5, 3, 1}));
    EXPECT_EQ(w.weights, (std::vector<double>{1, 2, 4, 5, 6, 3}));
    expect_uses_each_edge_once(w, bowtie);
}

TEST(EulerWalk, EmptyGraphGivesAnEmptyWalk) {
    ZEMU_graph g;
    ZEMU_init_graph(&g);
    Walk w = euler(&g);
    EXPECT_EQ(w.status, 0);
    EXPECT_TRUE(w.labels.empty());
}

TEST(EulerGuard, DisconnectedGraphIsReportedInsteadOfLooping) {
    Graph g({Edge{1, 2, 1.0}, Edge{2, 3, 1.0}, Edge{3, 1, 1.0}, Edge{7, 8, 1.0}});
    Walk w = euler(&g.g);
    EXPECT_EQ(w.status, 1);
    EXPECT_EQ(w.err, "Error: Graph is not connected in ZEMU_build_Euler_path()\n");
}

TEST(EulerGuard, ManyOddVerticesArePairedGreedilyWithOneWarning) {
    // Star with ten leaves of weight 1..10: start at leaf 1, end at the farthest leaf 10,
    // the others paired with their nearest unpaired neighbour: (2,3), (4,5), (6,7), (8,9).
    std::vector<Edge> edges;
    for (int leaf = 1; leaf <= 10; ++leaf) edges.push_back(Edge{0, leaf, (double)leaf});
    Graph g(edges);
    Walk w = euler(&g.g);
    ASSERT_EQ(w.status, 0);
    EXPECT_EQ(w.err, "Warning: Too many odd vertices for exact pairing in ZEMU_build_Euler_path(); pairing greedily\n");
    EXPECT_EQ(w.labels.front(), 1);
    EXPECT_EQ(w.labels.back(), 10);
    std::vector<Edge> paired = edges;
    for (int leaf = 2; leaf <= 9; ++leaf) paired.push_back(Edge{0, leaf, (double)leaf});
    expect_uses_each_edge_once(w, paired);
    EXPECT_EQ(w.labels, (std::vector<int>{1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7, 0, 8, 0, 9, 0, 10}));
}

TEST(EulerGuard, EightOddVerticesStillPairExactly) {
    std::vector<Edge> edges;
    for (int leaf = 1; leaf <= 7; ++leaf) edges.push_back(Edge{0, leaf, 1.0});
    Graph g(edges);  // centre degree 7 and seven leaves: eight odd vertices
    Walk w = euler(&g.g);
    ASSERT_EQ(w.status, 0);
    EXPECT_EQ(w.err, "");
    // Two leaves as end points leave five duplicates (centre-leaf plus two leaf pairs), the
    // centre and a leaf six; the first cheapest pair (1,2) wins, and the first of the equally
    // cheap pairings of 0,3..7, (0,3)(4,5)(6,7), is duplicated.
    EXPECT_EQ(w.labels, (std::vector<int>{1, 0, 7, 0, 6, 0, 5, 0, 4, 0, 3, 0, 2}));
}
