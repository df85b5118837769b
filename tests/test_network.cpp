// Percolation analysis: lattice vectors between images, dimensions, clusters of
// hand-made path libraries, the threshold scan and the activation energies.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ZEMU-path.h"
#include "ZEMU-network.h"
#include "fixtures.h"

namespace {

typedef ZEMU_path_triple_index V;

// The first n vectors as "[x,y,z] [x,y,z] ...".
std::string vecs(const V* v, int n) {
    std::string text;
    char one[64];
    for (int i = 0; i < n; i++) {
        snprintf(one, sizeof one, "%s[%d,%d,%d]", i ? " " : "", v[i].x, v[i].y, v[i].z);
        text += one;
    }
    return text;
}

// A hop of a minimum to its own image in cell (dx, dy, dz) over a saddle type.
struct Hop {
    int type;
    double saddle_energy;
    int dx, dy, dz;
};

// A cubic cell of n steps per axis (1 Angstrom each), minima placed by hand
// and a path library whose allpaths join chosen minima images.
struct Network {
    ZEMU_cube cube;
    ZEMU_pathlib lib;

    explicit Network(int n = 10) {
        ZEMU_init_cube(&cube);
        cube.a_grid = cube.b_grid = cube.c_grid = n;
        cube.a_x = cube.b_y = cube.c_z = 1.0;
        ZEMU_calc_cell_parameter(&cube);
        ZEMU_init_pathlib(&lib);
    }
    ~Network() {
        ZEMU_free_pathlib(&lib);
        ZEMU_free_cube(&cube);
    }
    int minimum(int x, int y, int z, int type, double e = 0.0) {
        EXPECT_EQ(0, ZEMU_add_cube_minima_point(&cube, x, y, z, x, y, z, e, type));
        return cube.total_minima - 1;
    }
    // Distinct path of the given saddle type between two minima.
    void path(int start, int end, int saddle_type, double saddle_energy) {
        ZEMU_path p;
        ZEMU_init_path(&p);
        p.start = start, p.end = end, p.saddle_type = saddle_type, p.saddle_energy = saddle_energy;
        p.start_type = cube.minima[start].type, p.end_type = cube.minima[end].type;
        p.start_energy = cube.minima[start].e, p.end_energy = cube.minima[end].e;
        lib.path = static_cast<ZEMU_path*>(realloc(lib.path, sizeof(ZEMU_path) * (lib.total_path + 1)));
        lib.path[lib.total_path++] = p;
    }
    // Hop from `start` in the home cell to the image of `end` in cell (dx, dy, dz).
    void hop(int start, int end, int saddle_type, double saddle_energy, int dx, int dy, int dz) {
        ZEMU_allpath ap;
        ZEMU_assign_allpath(&ap, start, end, lib.total_allpath, cube.minima[start].type, cube.minima[end].type,
                            saddle_type, 1.0, 0, 0, 0, dx, dy, dz, cube.minima[start].e, cube.minima[end].e,
                            saddle_energy);
        lib.allpath = static_cast<ZEMU_allpath*>(realloc(lib.allpath, sizeof(ZEMU_allpath) * (lib.total_allpath + 1)));
        lib.allpath[lib.total_allpath++] = ap;
    }
    // One minimum of type 1 with hops to its own images; each saddle type gets
    // one path, at the energy of its first hop.
    int loops(V at, double e, const std::vector<Hop>& hops) {
        int m = minimum(at.x, at.y, at.z, 1, e);
        std::vector<int> pathed;
        for (const Hop& h : hops) {
            if (std::find(pathed.begin(), pathed.end(), h.type) == pathed.end()) {
                path(m, m, h.type, h.saddle_energy);
                pathed.push_back(h.type);
            }
            hop(m, m, h.type, h.saddle_energy, h.dx, h.dy, h.dz);
        }
        return m;
    }
};

// Owns the clusters of one analysis.
struct Clusters {
    ZEMU_cluster_list list{0, nullptr};
    ~Clusters() { ZEMU_free_path_clust(&list); }
    ZEMU_cluster& operator[](int c) { return list.clust[c]; }
};

typedef std::vector<int> Ints;

Ints cluster_paths(const ZEMU_cluster& c) { return Ints(c.path, c.path + c.total_path); }
// Dimension, ribbon flag, multiplicity and ID of a cluster.
Ints shape(const ZEMU_cluster& c) { return {c.dimension, c.ribbon, c.mul, c.ID}; }

TEST(LatticeVectors, NewWholeCellDifferencesUpToSignAndTheFirstNonParallelPairAndNonCoplanarTriple) {
    Network net;
    std::vector<V> sites = {{0, 0, 0}, {10, 0, 0}, {5, 0, 0}, {20, 0, 0}, {3, 4, 5}, {3, -6, 5}};
    int n = 1;
    V* vec = static_cast<V*>(malloc(sizeof(V)));
    vec[0] = V{10, 0, 0};  // a vector already in the list, or its negative, is not repeated
    ASSERT_EQ(0, ZEMU_generate_path_vectors(&net.cube, static_cast<int>(sites.size()), sites.data(), &n, &vec));
    // Pairs in order: (0,1) -> (-10,0,0), known; (0,3) -> (-20,0,0); (1,3) repeats (-10,0,0); (4,5) -> (0,10,0).
    EXPECT_EQ(vecs(vec, n), "[10,0,0] [-20,0,0] [0,10,0]");
    free(vec);

    const struct {
        std::vector<V> list;
        int dim;
        std::string span;
    } cases[] = {
        // Parallel vectors of different length stay one-dimensional with the last vector.
        {{{10, 0, 0}, {0, 0, 0}, {-20, 0, 0}}, 1, "[-20,0,0] [0,0,0]"},
        {{{0, 0, 0}}, 0, ""},
        {{{10, 0, 0}, {20, 0, 0}, {0, 10, 0}, {10, 10, 0}}, 2, "[10,0,0] [0,10,0] [0,0,0]"},
        {{{10, 0, 0}, {0, 10, 0}, {10, 10, 0}, {0, 0, -20}, {0, 0, 10}}, 3, "[10,0,0] [0,10,0] [0,0,-20]"},
    };
    for (auto c : cases) {
        int dim = -1;
        V span[3] = {};
        ZEMU_generate_path_dimension(&net.cube, static_cast<int>(c.list.size()), c.list.data(), &dim, span);
        EXPECT_EQ(c.dim, dim);
        EXPECT_EQ(vecs(span, static_cast<int>(std::count(c.span.begin(), c.span.end(), '['))), c.span);
    }
}

TEST(NetworkClusters, HopsOfOneMinimumGiveChainsAndPlanesWithoutRibbon) {
    // A chain along a: one dimension, its single site a bottleneck. Along a and
    // b: sites p, p+a and (the second hop placed with its end on p) p-b.
    const struct {
        std::vector<Hop> hops;
        Ints shape;
        std::string vectors;
    } cases[] = {{{{1, 0.6, 1, 0, 0}}, {1, 0, 1, 0}, "[10,0,0] [0,0,0]"},
                 {{{1, 0.6, 1, 0, 0}, {1, 0.6, 0, 1, 0}}, {2, 0, 1, 0}, "[10,0,0] [0,10,0]"}};
    for (const auto& c : cases) {
        Network net;
        net.loops({2, 3, 4}, 0.1, c.hops);
        Clusters cl;
        ASSERT_EQ(0, ZEMU_analyze_network(&net.cube, &net.lib, &cl.list));
        ASSERT_EQ(1, cl.list.total);
        EXPECT_EQ(shape(cl[0]), c.shape);
        EXPECT_EQ(vecs(cl[0].vector, 2), c.vectors);
        EXPECT_DOUBLE_EQ(0.1, cl[0].minimum);
        EXPECT_DOUBLE_EQ(0.6, cl[0].maximum);
    }
}

TEST(NetworkClusters, CrossLinkedParallelChainsFormARibbonAndAnOpenChainDoesNot) {
    Network net;
    int a = net.minimum(0, 0, 0, 1, 0.0);
    int b = net.minimum(0, 5, 0, 2, 0.2);
    net.path(a, a, 1, 0.3);
    net.path(b, b, 2, 0.4);
    net.path(a, b, 3, 0.5);
    net.hop(a, a, 1, 0.3, 1, 0, 0);
    net.hop(b, b, 2, 0.4, -1, 0, 0);
    net.hop(a, b, 3, 0.5, 0, 0, 0);
    Clusters linked;
    ASSERT_EQ(0, ZEMU_analyze_network(&net.cube, &net.lib, &linked.list));
    ASSERT_EQ(1, linked.list.total);
    EXPECT_EQ(shape(linked[0]), (Ints{1, 1, 1, 2}));
    EXPECT_EQ(vecs(linked[0].vector, 2), "[10,0,0] [0,0,0]");
    EXPECT_EQ(Ints({0, 2, 1}), cluster_paths(linked[0]));  // order of discovery

    // Below the link, each chain is its own cluster with a bottleneck site.
    Clusters apart;
    ASSERT_EQ(0, ZEMU_analyze_network_at_energy(&net.cube, &net.lib, &apart.list, 0.4));
    ASSERT_EQ(2, apart.list.total);
    EXPECT_EQ(0, apart[0].ribbon + apart[1].ribbon);
    EXPECT_DOUBLE_EQ(0.2, apart[1].minimum);
}

TEST(NetworkClusters, EquivalentClustersMergeAndCollectNonParallelVectors) {
    Network net;
    int a = net.minimum(0, 0, 0, 1);
    int a2 = net.minimum(5, 0, 5, 1);
    int a3 = net.minimum(0, 5, 5, 1);
    int a4 = net.minimum(5, 5, 0, 1);
    net.path(a, a, 1, 0.3);
    net.hop(a, a, 1, 0.3, 1, 0, 0);
    net.hop(a2, a2, 1, 0.3, 0, 1, 0);
    net.hop(a3, a3, 1, 0.3, 0, 0, 1);
    net.hop(a4, a4, 1, 0.3, 1, 0, 0);
    Clusters c;
    ASSERT_EQ(0, ZEMU_analyze_network(&net.cube, &net.lib, &c.list));
    ASSERT_EQ(1, c.list.total);
    EXPECT_EQ(4, c[0].mul);
    EXPECT_EQ(1, c[0].dimension);
    // Oriented before merging; the parallel fourth chain changes nothing.
    EXPECT_EQ(vecs(c[0].vector, 3), "[10,0,0] [0,10,0] [0,0,10]");
}

TEST(NetworkClusters, MovedClustersKeepTheRibbonOfTheirNewPosition) {
    Network net;
    int a = net.minimum(0, 0, 0, 1);
    int a2 = net.minimum(5, 0, 5, 1);
    int c = net.minimum(2, 2, 8, 2);
    int d = net.minimum(2, 7, 8, 3);
    net.path(a, a, 1, 0.2);
    net.path(c, c, 2, 0.3);
    net.path(d, d, 3, 0.3);
    net.path(c, d, 4, 0.4);
    net.hop(a, a, 1, 0.2, 1, 0, 0);
    net.hop(a2, a2, 1, 0.2, 0, 1, 0);
    net.hop(c, c, 2, 0.3, 1, 0, 0);
    net.hop(d, d, 3, 0.3, 1, 0, 0);
    net.hop(c, d, 4, 0.4, 0, 0, 0);
    Clusters list;
    ASSERT_EQ(0, ZEMU_analyze_network(&net.cube, &net.lib, &list.list));
    ASSERT_EQ(2, list.list.total);
    EXPECT_EQ(2, list[0].mul);
    EXPECT_EQ(vecs(&list[0].vector[1], 1), "[0,10,0]");
    // The cross-linked pair of chains moved down onto the absorbed chain's place
    // and carries that place's ribbon 0 (its own test gave 1).
    EXPECT_EQ(Ints({1, 3, 2}), cluster_paths(list[1]));
    EXPECT_EQ(shape(list[1]), (Ints{1, 0, 1, 3}));
    EXPECT_DOUBLE_EQ(0.4, list[1].maximum);
}

TEST(NetworkAtEnergy, OnlyLeadingAllpathsWithinToleranceTakePartAndUnknownMinimaAreRefused) {
    Network net;
    net.loops({0, 0, 0}, 0.0, {{1, 0.3, 1, 0, 0}, {2, 0.5, 0, 1, 0}});
    Clusters none;
    none.list.total = 7;  // untouched when no allpath qualifies
    EXPECT_EQ(0, ZEMU_analyze_network_at_energy(&net.cube, &net.lib, &none.list, 0.29));
    EXPECT_EQ(7, none.list.total);
    none.list.total = 0;
    Clusters low;
    ASSERT_EQ(0, ZEMU_analyze_network_at_energy(&net.cube, &net.lib, &low.list, 0.5 - 1e-11));
    ASSERT_EQ(1, low.list.total);
    EXPECT_EQ(2, low[0].dimension);

    net.lib.allpath[0].end = 7;
    Clusters bad;
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(1, ZEMU_analyze_network(&net.cube, &net.lib, &bad.list)); }),
              "Error: Invalid input to ZEMU_analyze_network()\n");
}

}  // namespace
