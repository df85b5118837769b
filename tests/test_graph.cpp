// Binary heap orders, graph bookkeeping and Dijkstra tie rules.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "ZEMU-math.h"

namespace {

std::vector<int> extract_all(std::vector<double> keys, std::vector<int> ids, char mode) {
    int n = (int)keys.size();
    heap_heapify(keys.data(), ids.data(), n, mode);
    std::vector<int> order;
    while (n > 0) order.push_back(heap_extract(keys.data(), ids.data(), &n, mode));
    return order;
}

struct Graph {
    ZEMU_graph g;
    Graph(std::initializer_list<std::tuple<int, int, double>> edges) {
        ZEMU_init_graph(&g);
        for (const auto& e : edges) EXPECT_EQ(ZEMU_add_edge(&g, std::get<0>(e), std::get<1>(e), std::get<2>(e)), 0);
        EXPECT_EQ(ZEMU_build_vert_from_edge(&g), 0);
    }
    ~Graph() { ZEMU_free_graph(&g); }
    std::vector<std::pair<int, int>> degrees() const {
        std::vector<std::pair<int, int>> out;
        for (int i = 0; i < g.total_vertice; ++i) out.push_back({g.vert[i].a, g.vert[i].d});
        return out;
    }
};

struct Route {
    int status;
    double dist;
    std::vector<int> labels;
};

Route shortest(ZEMU_graph* g, int source, int target) {
    Route r;
    int* path = nullptr;
    int length = 0;
    r.dist = -7;
    r.status = ZEMU_find_shortest_path(g, source, target, &r.dist, &path, &length);
    if (r.status == 0) r.labels.assign(path, path + length);
    free(path);
    return r;
}

}  // namespace

TEST(Heap, ExtractsAscendingForModeZeroAndDescendingOtherwise) {
    EXPECT_EQ(extract_all({3, 1, 2}, {30, 10, 20}, 0), (std::vector<int>{10, 20, 30}));
    EXPECT_EQ(extract_all({3, 1, 2}, {30, 10, 20}, 1), (std::vector<int>{30, 20, 10}));
    EXPECT_EQ(extract_all({5, 9, 1, 7, 3, 8, 2}, {5, 9, 1, 7, 3, 8, 2}, 0), (std::vector<int>{1, 2, 3, 5, 7, 8, 9}));
}

TEST(Heap, EqualKeysLeaveInTheOrderTheSiftRulesGive) {
    // Not the insertion order: the last element moves to the root on extraction and stays there.
    EXPECT_EQ(extract_all({1, 1, 1}, {0, 1, 2}, 0), (std::vector<int>{0, 2, 1}));
    EXPECT_EQ(extract_all({2, 1, 1}, {0, 1, 2}, 0), (std::vector<int>{1, 2, 0}));
    EXPECT_EQ(extract_all({4, 4, 4, 4}, {0, 1, 2, 3}, 1), (std::vector<int>{0, 3, 2, 1}));
}

TEST(Heap, IndexArithmeticAndEmptyHeap) {
    EXPECT_EQ(heap_parent(0), 0);
    EXPECT_EQ(heap_parent(5), 2);
    EXPECT_EQ(heap_leftchild(2), 5);
    EXPECT_EQ(heap_rightchild(2), 6);
    int n = 0;
    heap_heapify(nullptr, nullptr, 0, 0);
    EXPECT_EQ(heap_extract(nullptr, nullptr, &n, 0), -1);
    EXPECT_EQ(n, 0);
}

TEST(GraphVertices, AppearInOrderOfFirstMentionWithLoopsCountedTwice) {
    Graph g{{5, 5, 1.0}, {5, 6, 2.0}, {7, 6, 1.0}};
    EXPECT_EQ(g.degrees(), (std::vector<std::pair<int, int>>{{5, 3}, {6, 2}, {7, 1}}));
    EXPECT_DOUBLE_EQ(ZEMU_graph_total_distance(&g.g), 4.0);
}

TEST(GraphVertices, DeletingAVertexDropsItsEdgesAndNeighbourDegrees) {
    Graph g{{1, 2, 1.0}, {2, 3, 1.0}, {1, 3, 2.0}};
    ASSERT_EQ(ZEMU_delete_vertice(&g.g, 2), 0);
    ASSERT_EQ(g.g.total_edge, 1);
    EXPECT_EQ(g.g.edge[0].a, 1);
    EXPECT_EQ(g.g.edge[0].b, 3);
    EXPECT_EQ(g.degrees(), (std::vector<std::pair<int, int>>{{1, 1}, {3, 1}}));
    ASSERT_EQ(ZEMU_delete_vertice(&g.g, 1), 0);
    EXPECT_EQ(g.g.total_edge, 0);
    EXPECT_EQ(g.g.edge, nullptr);
    EXPECT_EQ(g.degrees(), (std::vector<std::pair<int, int>>{{3, 0}}));
}

TEST(GraphVertices, EdgesGoEvenWhenTheVertexListLacksTheLabel) {
    ZEMU_graph g;
    ZEMU_init_graph(&g);
    ZEMU_add_edge(&g, 1, 2, 1.0);
    ZEMU_add_edge(&g, 3, 4, 1.0);
    ASSERT_EQ(ZEMU_delete_vertice(&g, 2), 0);
    ASSERT_EQ(g.total_edge, 1);
    EXPECT_EQ(g.edge[0].a, 3);
    ZEMU_free_graph(&g);
}

TEST(GraphCopy, IsIndependentOfTheOriginal) {
    Graph g{{1, 2, 1.5}, {2, 3, 2.5}};
    ZEMU_graph copy;
    ASSERT_EQ(ZEMU_copy_graph(&g.g, &copy), 0);
    ZEMU_delete_vertice(&copy, 2);
    EXPECT_EQ(g.g.total_edge, 2);
    EXPECT_EQ(g.degrees(), (std::vector<std::pair<int, int>>{{1, 1}, {2, 2}, {3, 1}}));
    EXPECT_EQ(copy.total_edge, 0);
    ZEMU_free_graph(&copy);
}

TEST(GraphPrint, ListsVerticesThenEdges) {
    Graph g{{1, 2, 1.0}, {2, 2, 0.25}};
    FILE* f = tmpfile();
    ASSERT_NE(f, nullptr);
    ZEMU_print_graph(&g.g, f);
    rewind(f);
    std::string text;
    char buf[256];
    while (fgets(buf, sizeof buf, f)) text += buf;
    fclose(f);
    EXPECT_EQ(text,
              "\nPrinting 2 vertices...\nVertice 1 Degree 1\nVertice 2 Degree 3\n"
              "\nPrinting 2 edges...\nEdge connecting 1 and 2 ; Weightage 1.000\n"
              "Edge connecting 2 and 2 ; Weightage 0.250\n");
}

TEST(ShortestPath, DirectEdgeFoundFirstIsKeptOverAnEquallyShortRoute) {
    Graph g{{1, 2, 1.0}, {2, 3, 1.0}, {1, 3, 2.0}};
    Route r = shortest(&g.g, 1, 3);
    ASSERT_EQ(r.status, 0);
    EXPECT_DOUBLE_EQ(r.dist, 2.0);
    EXPECT_EQ(r.labels, (std::vector<int>{1, 3}));
    for (int i = 0; i < g.g.total_vertice; ++i) EXPECT_EQ(g.g.vert[i].path, nullptr);
}

TEST(ShortestPath, FirstVertexInListOrderWinsAmongEqualDistances) {
    Graph via2{{1, 2, 1.0}, {1, 3, 1.0}, {2, 4, 1.0}, {3, 4, 1.0}};
    EXPECT_EQ(shortest(&via2.g, 1, 4).labels, (std::vector<int>{1, 2, 4}));
    Graph via3{{1, 3, 1.0}, {1, 2, 1.0}, {3, 4, 1.0}, {2, 4, 1.0}};
    EXPECT_EQ(shortest(&via3.g, 1, 4).labels, (std::vector<int>{1, 3, 4}));
}

TEST(ShortestPath, LoopsNeverShortenAndParallelEdgesAreAllTried) {
    Graph g{{5, 5, 1.0}, {5, 6, 4.0}, {6, 5, 2.0}, {6, 7, 1.0}};
    Route r = shortest(&g.g, 5, 7);
    EXPECT_DOUBLE_EQ(r.dist, 3.0);
    EXPECT_EQ(r.labels, (std::vector<int>{5, 6, 7}));
}

TEST(ShortestPath, TargetInAnotherComponentIsUnreachable) {
    Graph g{{1, 2, 1.0}, {3, 4, 1.0}};
    Route r = shortest(&g.g, 1, 4);
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(r.dist, -1.0);
    EXPECT_EQ(r.labels, (std::vector<int>{4}));
}

TEST(ShortestPath, VerticesAtDistance999999OrMoreAreNeverSettled) {
    Graph g{{1, 2, 999999.0}, {2, 3, 1.0}};
    EXPECT_EQ(shortest(&g.g, 1, 2).dist, 999999.0);
    Route beyond = shortest(&g.g, 1, 3);
    EXPECT_EQ(beyond.dist, -1.0);
    EXPECT_EQ(beyond.labels, (std::vector<int>{3}));
}

TEST(ShortestPath, SourceEqualToTarget) {
    Graph g{{1, 2, 1.0}};
    Route r = shortest(&g.g, 2, 2);
    EXPECT_EQ(r.dist, 0.0);
    EXPECT_EQ(r.labels, (std::vector<int>{2}));

    int* path = nullptr;
    int length = -1;
    double dist = -7;
    ASSERT_EQ(ZEMU_find_shortest_path(&g.g, 2, 2, &dist, &path, &length), 0);
    EXPECT_EQ(dist, 0.0);
    EXPECT_EQ(path, nullptr);
    EXPECT_EQ(length, -1);
}

TEST(ShortestPath, DistanceOnlyModeAllocatesNothing) {
    Graph g{{1, 2, 1.0}, {2, 3, 0.5}};
    int* path = nullptr;
    int length = -1;
    double dist = 0;
    ASSERT_EQ(ZEMU_find_shortest_path(&g.g, 1, 3, &dist, &path, &length), 0);
    EXPECT_DOUBLE_EQ(dist, 1.5);
    EXPECT_EQ(path, nullptr);
}

TEST(ShortestPath, MissingSourceOrTargetIsReported) {
    Graph g{{1, 2, 1.0}};
    testing::internal::CaptureStderr();
    EXPECT_EQ(shortest(&g.g, 9, 2).status, 1);
    EXPECT_EQ(shortest(&g.g, 1, 9).status, 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Cannot find source in graph\nError: Cannot find target in graph\n");
}
