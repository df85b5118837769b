// Binary heap orders, graph bookkeeping, Dijkstra tie rules and Euler walks:
// pairing of odd vertices, end-point choice, splicing and guards.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ZEMU-graph.h"
#include "fixtures.h"

using fx::Edge;
using fx::Graph;

namespace {

typedef std::vector<std::pair<int, int>> Degrees;

std::vector<int> extract_all(std::vector<double> keys, std::vector<int> ids, char mode) {
    int n = (int)keys.size();
    heap_heapify(keys.data(), ids.data(), n, mode);
    std::vector<int> order;
    while (n > 0) order.push_back(heap_extract(keys.data(), ids.data(), &n, mode));
    return order;
}

struct Walk { int status; std::vector<int> labels; std::vector<double> weights; std::string err; };

Walk euler(ZEMU_graph* g) {
    Walk w;
    int* path = nullptr;
    double* weights = nullptr;
    int total = -1;
    w.err = fx::stderr_of([&] { w.status = ZEMU_build_Euler_path(g, &path, &total, &weights); });
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

const std::vector<Edge> kStar = {{0, 1, 1.0}, {0, 2, 1.0}, {0, 3, 1.0}};

}  // namespace

TEST(Heap, ExtractsByModeWithEqualKeysInSiftOrder) {
    struct Case { std::vector<double> keys; std::vector<int> ids; char mode; std::vector<int> order; } cases[] = {
        // mode 0 ascending, otherwise descending
        {{3, 1, 2}, {30, 10, 20}, 0, {10, 20, 30}}, {{3, 1, 2}, {30, 10, 20}, 1, {30, 20, 10}},
        {{5, 9, 1, 7, 3, 8, 2}, {5, 9, 1, 7, 3, 8, 2}, 0, {1, 2, 3, 5, 7, 8, 9}},
        // equal keys: not the insertion order, the last element moves to the root on extraction and stays there
        {{1, 1, 1}, {0, 1, 2}, 0, {0, 2, 1}}, {{2, 1, 1}, {0, 1, 2}, 0, {1, 2, 0}},
        {{4, 4, 4, 4}, {0, 1, 2, 3}, 1, {0, 3, 2, 1}},
    };
    for (const Case& cs : cases) EXPECT_EQ(extract_all(cs.keys, cs.ids, cs.mode), cs.order);
    int n = 0;
    heap_heapify(nullptr, nullptr, 0, 0);
    EXPECT_EQ(heap_extract(nullptr, nullptr, &n, 0) + n, -1);  // empty heap
}

TEST(GraphVertices, AppearInOrderOfFirstMentionAndDeletingOneDropsItsEdgesAndNeighbourDegrees) {
    Graph loops({{5, 5, 1.0}, {5, 6, 2.0}, {7, 6, 1.0}});  // a loop counts twice
    EXPECT_EQ(loops.degrees(), (Degrees{{5, 3}, {6, 2}, {7, 1}}));
    EXPECT_DOUBLE_EQ(ZEMU_graph_total_distance(&loops.g), 4.0);

    Graph g({{1, 2, 1.0}, {2, 3, 1.0}, {1, 3, 2.0}});
    ZEMU_graph copy;
    ASSERT_EQ(ZEMU_copy_graph(&g.g, &copy), 0);
    ASSERT_EQ(ZEMU_delete_vertice(&g.g, 2), 0);
    ASSERT_EQ(g.g.total_edge, 1);
    EXPECT_EQ(std::make_pair(g.g.edge[0].a, g.g.edge[0].b), std::make_pair(1, 3));
    EXPECT_EQ(g.degrees(), (Degrees{{1, 1}, {3, 1}}));
    ASSERT_EQ(ZEMU_delete_vertice(&g.g, 1), 0);
    EXPECT_EQ(g.g.edge, nullptr);
    EXPECT_EQ(g.degrees(), (Degrees{{3, 0}}));
    EXPECT_EQ(copy.total_edge, 3);  // the copy is independent of the original
    ZEMU_free_graph(&copy);

    ZEMU_graph bare;  // edges go even when the vertex list lacks the label
    ZEMU_init_graph(&bare);
    ZEMU_add_edge(&bare, 1, 2, 1.0);
    ZEMU_add_edge(&bare, 3, 4, 1.0);
    ASSERT_EQ(ZEMU_delete_vertice(&bare, 2), 0);
    EXPECT_EQ(bare.total_edge == 1 ? bare.edge[0].a : -1, 3);
    ZEMU_free_graph(&bare);
}

TEST(ShortestPath, TieRulesUnreachableTargetsAndTheSettlingLimit) {
    // labels not checked when empty
    struct Case { const char* what; std::vector<Edge> edges; int source, target; double dist; std::vector<int> labels; }
    cases[] = {
        {"a direct edge found first is kept over an equally short route", {{1, 2, 1.0}, {2, 3, 1.0}, {1, 3, 2.0}},
         1, 3, 2.0, {1, 3}},
        {"first vertex in list order wins (2)", {{1, 2, 1.0}, {1, 3, 1.0}, {2, 4, 1.0}, {3, 4, 1.0}}, 1, 4, 2.0, {1, 2, 4}},
        {"first vertex in list order wins (3)", {{1, 3, 1.0}, {1, 2, 1.0}, {3, 4, 1.0}, {2, 4, 1.0}}, 1, 4, 2.0, {1, 3, 4}},
        {"loops never shorten, parallel edges are all tried", {{5, 5, 1.0}, {5, 6, 4.0}, {6, 5, 2.0}, {6, 7, 1.0}},
         5, 7, 3.0, {5, 6, 7}},
        {"target in another component", {{1, 2, 1.0}, {3, 4, 1.0}}, 1, 4, -1.0, {4}},
        {"distance 999999 is reached", {{1, 2, 999999.0}, {2, 3, 1.0}}, 1, 2, 999999.0, {}},
        {"but never settled", {{1, 2, 999999.0}, {2, 3, 1.0}}, 1, 3, -1.0, {3}},
        {"source equal to target", {{1, 2, 1.0}}, 2, 2, 0.0, {2}},
    };
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.what);
        Graph g(cs.edges);
        int* path = nullptr;
        int length = 0;
        double dist = -7;
        ASSERT_EQ(ZEMU_find_shortest_path(&g.g, cs.source, cs.target, &dist, &path, &length), 0);
        EXPECT_EQ(dist, cs.dist);
        if (!cs.labels.empty()) { EXPECT_EQ(std::vector<int>(path, path + length), cs.labels); }
        free(path);
        for (int i = 0; i < g.g.total_vertice; ++i) EXPECT_EQ(g.g.vert[i].path, nullptr);
    }
}

TEST(ShortestPath, DistanceOnlyModeMissingEndsAndLargeGraphs) {
    Graph g({{1, 2, 1.0}, {2, 3, 0.5}});
    int* path = nullptr;
    int length = -1;  // no length: no path wanted
    double dist = -7, dist_self = -7;
    ASSERT_EQ(ZEMU_find_shortest_path(&g.g, 1, 3, &dist, &path, &length), 0);
    ASSERT_EQ(ZEMU_find_shortest_path(&g.g, 2, 2, &dist_self, &path, &length), 0);
    EXPECT_EQ(std::make_tuple(dist, dist_self, path, length), std::make_tuple(1.5, 0.0, (int*)nullptr, -1));
    length = 0;
    EXPECT_EQ(fx::stderr_of([&] {
                  EXPECT_EQ(ZEMU_find_shortest_path(&g.g, 9, 2, &dist, &path, &length), 1);
                  EXPECT_EQ(ZEMU_find_shortest_path(&g.g, 1, 9, &dist, &path, &length), 1);
              }),
              "Error: Cannot find source in graph\nError: Cannot find target in graph\n");

    // Over 32 vertices the ends of the edges are looked up by label: a ring of 40
    // with scattered labels against the shorter of its two arcs.
    const int n = 40;
    std::vector<Edge> ring;
    std::vector<double> w(n);
    for (int i = 0; i < n; i++) {
        w[i] = 1.0 + (i * 7 % 11) * 0.25;
        ring.push_back(Edge{i * 3 % n + 100, (i + 1) * 3 % n + 100, w[i]});
    }
    Graph big(ring);
    for (int k : {1, 13, 20, 27, 39}) {
        double forward = 0.0, total = 0.0;
        for (int i = 0; i < n; i++) (i < k ? forward : total) += w[i];
        total += forward;
        ASSERT_EQ(ZEMU_find_shortest_path(&big.g, 100, k * 3 % n + 100, &dist, &path, &length), 0);
        EXPECT_DOUBLE_EQ(dist, std::min(forward, total - forward)) << k;
        EXPECT_EQ(length, std::min(forward, total - forward) == forward ? k + 1 : n - k + 1) << k;
        free(path);
        path = nullptr;
    }
}

TEST(EulerPairing, OddVerticesGiveEveryPerfectMatchingOnceInFixedOrder) {
    Graph star(kStar);
    EXPECT_EQ(combinations(&star.g), (std::vector<std::vector<int>>{{0, 1, 2, 3}, {0, 2, 1, 3}, {0, 3, 1, 2}}));
    EXPECT_EQ(combinations(&star.g, {0, 3}), (std::vector<std::vector<int>>{{1, 2}}));
    EXPECT_TRUE(combinations(&star.g, {0, 1, 2, 3}).empty());

    // an odd number of eligible vertices is rejected
    int** list = nullptr;
    int no = 0, pair = 0, excl[1] = {0};
    EXPECT_EQ(fx::stderr_of([&] {
                  EXPECT_EQ(ZEMU_handshake_odd_vertices_combinations(&star.g, &list, &no, &pair, excl, 1), 1);
              }),
              "Error: Invalid graph input to ZEMU_handshake_odd_vertices()\n");

    // Six odd vertices: the 15 perfect matchings, each once.
    Graph g({{1, 2, 1.0}, {3, 4, 1.0}, {5, 6, 1.0}});
    std::vector<std::vector<int>> combos = combinations(&g.g);
    ASSERT_EQ(combos.size(), 15u);
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

TEST(EulerPairing, CheapestPairingIsDuplicatedAlongItsShortestPaths) {
    // degrees not checked when empty
    struct Case { const char* what; std::vector<Edge> edges; std::vector<int> excl; std::vector<Edge> appended;
                  std::vector<std::pair<int, int>> degrees; } cases[] = {
        // all four vertices odd: (1,2)(3,4) costs 2 while (1,3)(2,4) and (1,4)(2,3) cost 8
        {"cheapest pairing", {{1, 2, 1.0}, {2, 3, 5.0}, {3, 2, 3.0}, {3, 4, 1.0}}, {},
         {{1, 2, 1.0}, {3, 4, 1.0}}, {{1, 2}, {2, 4}, {3, 4}, {4, 2}}},
        // odd 1 and 3; the route 1-2-3 takes the lighter of the parallel edges between 1 and 2
        {"lightest parallel edge", {{1, 2, 4.0}, {2, 1, 2.5}, {2, 3, 1.0}, {3, 4, 1.0}, {4, 2, 1.0}, {1, 3, 10.0}}, {99},
         {{1, 2, 2.5}, {2, 3, 1.0}}, {}},
        // excluded odd vertices 1 and 4 stay odd: only 2 and 5 are paired
        {"excluded vertices", {{1, 2, 1.0}, {2, 3, 1.0}, {3, 4, 1.0}, {2, 5, 1.0}}, {1, 4},
         {{2, 5, 1.0}}, {{1, 1}, {2, 4}, {3, 2}, {4, 1}, {5, 2}}},
    };
    for (Case& cs : cases) {
        SCOPED_TRACE(cs.what);
        Graph g(cs.edges);
        ASSERT_EQ(ZEMU_handshake_odd_vertices(&g.g, cs.excl.empty() ? nullptr : cs.excl.data(), (int)cs.excl.size()), 0);
        ASSERT_EQ(g.g.total_edge, (int)(cs.edges.size() + cs.appended.size()));
        for (size_t n = 0; n < cs.appended.size(); n++) {
            const ZEMU_graph_edge& e = g.g.edge[cs.edges.size() + n];
            EXPECT_EQ(std::make_tuple(e.a, e.b, e.w), cs.appended[n]);
        }
        if (!cs.degrees.empty()) { EXPECT_EQ(g.degrees(), cs.degrees); }
    }
}

TEST(EulerWalk, ClosesOrRunsEndToEndAndSplicesSubWalksAfterTheFirstBranchOccurrence) {
    struct Case { const char* what; std::vector<Edge> edges; std::vector<int> labels; std::vector<double> weights; }
    cases[] = {
        {"triangle", {{1, 2, 1.0}, {2, 3, 1.0}, {3, 1, 1.0}}, {1, 2, 3, 1}, {1, 1, 1}},
        {"path", {{1, 2, 1.0}, {2, 3, 2.0}}, {1, 2, 3}, {1, 2}},
        {"star: ends on two leaves, duplicates the third spoke", kStar, {1, 0, 3, 0, 2}, {1, 1, 1, 1}},
        {"single vertex with a loop", {{4, 4, 0.5}}, {4, 4}, {0.5}},
        {"bowtie", {{1, 2, 1}, {2, 3, 2}, {3, 1, 3}, {3, 4, 4}, {4, 5, 5}, {5, 3, 6}}, {1, 2, 3, 4, 5, 3, 1},
         {1, 2, 4, 5, 6, 3}},
    };
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.what);
        Graph g(cs.edges);
        Walk w = euler(&g.g);
        ASSERT_EQ(w.status, 0);
        EXPECT_EQ(w.err, "");
        EXPECT_EQ(w.labels, cs.labels);
        EXPECT_EQ(w.weights, cs.weights);
        EXPECT_EQ(g.g.total_edge, (int)cs.edges.size());  // the caller's graph is untouched
        EXPECT_EQ(g.degrees(), Graph(cs.edges).degrees());
    }
    Graph empty({});
    EXPECT_TRUE(euler(&empty.g).labels.empty());
}

TEST(EulerGuard, DisconnectedGraphsAreRefusedAndManyOddVerticesArePairedGreedily) {
    Graph apart({{1, 2, 1.0}, {2, 3, 1.0}, {3, 1, 1.0}, {7, 8, 1.0}});
    Walk w = euler(&apart.g);
    EXPECT_EQ(w.status, 1);
    EXPECT_EQ(w.err, "Error: Graph is not connected in ZEMU_build_Euler_path()\n");

    // Centre degree 7 and seven leaves: eight odd vertices still pair exactly.
    // Two leaves as end points leave five duplicates (centre-leaf plus two leaf
    // pairs), the centre and a leaf six; the first cheapest pair (1,2) wins, and
    // the first of the equally cheap pairings of 0,3..7, (0,3)(4,5)(6,7), is duplicated.
    std::vector<Edge> edges;
    for (int leaf = 1; leaf <= 7; ++leaf) edges.push_back(Edge{0, leaf, 1.0});
    Graph seven(edges);
    w = euler(&seven.g);
    EXPECT_EQ(w.err, "");
    EXPECT_EQ(w.labels, (std::vector<int>{1, 0, 7, 0, 6, 0, 5, 0, 4, 0, 3, 0, 2}));

    // Ten leaves of weight 1..10: start at leaf 1, end at the farthest leaf 10, the
    // others paired with their nearest unpaired neighbour: (2,3), (4,5), (6,7), (8,9).
    std::vector<double> weights = {1};
    for (int leaf = 8; leaf <= 10; ++leaf) edges.push_back(Edge{0, leaf, 1.0});
    for (int leaf = 1; leaf <= 10; ++leaf) std::get<2>(edges[leaf - 1]) = leaf;
    for (int leaf = 2; leaf <= 10; ++leaf) weights.insert(weights.end(), {(double)leaf, (double)leaf});
    weights.pop_back();
    Graph ten(edges);
    w = euler(&ten.g);
    EXPECT_EQ(w.status, 0);
    EXPECT_EQ(w.err, "Warning: Too many odd vertices for exact pairing in ZEMU_build_Euler_path(); pairing greedily\n");
    EXPECT_EQ(w.labels, (std::vector<int>{1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7, 0, 8, 0, 9, 0, 10}));
    EXPECT_EQ(w.weights, weights);
}
