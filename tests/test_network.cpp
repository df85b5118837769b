// Percolation analysis: lattice vectors between images, dimensions and the
// clusters of hand-made path libraries.
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

// A minimum (grid point, type, energy) and a hop from minimum `start` in the home
// cell to the image of `end` in cell (dx, dy, dz) over a saddle type.
struct Min { int x, y, z, type; double e; };
struct Row { int start, end, type; double e; int dx, dy, dz; };

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
    // The minima and hops given; each saddle type gets one path at its first hop.
    void build(const std::vector<Min>& minima, const std::vector<Row>& hops) {
        for (const Min& m : minima) minimum(m.x, m.y, m.z, m.type, m.e);
        std::vector<int> pathed;
        for (const Row& h : hops) {
            if (std::find(pathed.begin(), pathed.end(), h.type) == pathed.end()) path(h.start, h.end, h.type, h.e);
            pathed.push_back(h.type);
            hop(h.start, h.end, h.type, h.e, h.dx, h.dy, h.dz);
        }
    }
};

// Owns the clusters of one analysis.
struct Clusters {
    ZEMU_cluster_list list{0, nullptr};
    ~Clusters() { ZEMU_free_path_clust(&list); }
    ZEMU_cluster& operator[](int c) { return list.clust[c]; }
};


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

    const struct { std::vector<V> list; int dim; std::string span; } cases[] = {
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

// Each cluster as "dimension ribbon multiplicity top-path [paths] vectors minimum-maximum".
std::string clusters_of(Network& net, double energy = -1.0) {
    Clusters c;
    int failed = energy < 0 ? ZEMU_analyze_network(&net.cube, &net.lib, &c.list)
                            : ZEMU_analyze_network_at_energy(&net.cube, &net.lib, &c.list, energy);
    if (failed) return "failed";
    std::string text;
    char head[128];
    for (int k = 0; k < c.list.total; k++) {
        snprintf(head, sizeof head, "%s%dD r%d x%d top %d [", k ? " | " : "", c[k].dimension, c[k].ribbon, c[k].mul,
                 c[k].ID);
        text += head;
        for (int p = 0; p < c[k].total_path; p++) text += (p ? "," : "") + std::to_string(c[k].path[p]);
        snprintf(head, sizeof head, "] %.1f-%.1f ", c[k].minimum, c[k].maximum);
        text += head + vecs(c[k].vector, 3);
    }
    return text;
}

TEST(NetworkClusters, DimensionRibbonsMultiplicityAndVectorsOfHandMadeNetworks) {
    const struct {
        const char* what;
        std::vector<Min> minima;
        std::vector<Row> hops;
        std::string clusters;
    } cases[] = {
        // One chain along a: its single site is a bottleneck, no ribbon.
        {"chain", {{2, 3, 4, 1, 0.1}}, {{0, 0, 1, 0.6, 1, 0, 0}}, "1D r0 x1 top 0 [0] 0.1-0.6 [10,0,0] [0,0,0] [0,0,0]"},
        // Sites p, p+a and (the second hop placed with its end on p) p-b.
        {"plane", {{2, 3, 4, 1, 0.1}}, {{0, 0, 1, 0.6, 1, 0, 0}, {0, 0, 1, 0.6, 0, 1, 0}},
         "2D r0 x1 top 0 [0] 0.1-0.6 [10,0,0] [0,10,0] [0,0,0]"},
        // Two parallel chains linked once: a ribbon; paths in order of discovery.
        {"linked chains", {{0, 0, 0, 1, 0.0}, {0, 5, 0, 2, 0.2}},
         {{0, 0, 1, 0.3, 1, 0, 0}, {1, 1, 2, 0.4, -1, 0, 0}, {0, 1, 3, 0.5, 0, 0, 0}},
         "1D r1 x1 top 2 [0,2,1] 0.0-0.5 [10,0,0] [0,0,0] [0,0,0]"},
        // Four equivalent chains merge, oriented first; the parallel fourth adds nothing.
        {"equivalent chains", {{0, 0, 0, 1, 0.0}, {5, 0, 5, 1, 0.0}, {0, 5, 5, 1, 0.0}, {5, 5, 0, 1, 0.0}},
         {{0, 0, 1, 0.3, 1, 0, 0}, {1, 1, 1, 0.3, 0, 1, 0}, {2, 2, 1, 0.3, 0, 0, 1}, {3, 3, 1, 0.3, 1, 0, 0}},
         "1D r0 x4 top 0 [0] 0.0-0.3 [10,0,0] [0,10,0] [0,0,10]"},
        // The linked pair of chains moves down onto the place of the absorbed
        // second chain of type 1 and carries that place's ribbon 0 (its own test gave 1).
        {"moved cluster", {{0, 0, 0, 1, 0.0}, {5, 0, 5, 1, 0.0}, {2, 2, 8, 2, 0.0}, {2, 7, 8, 3, 0.0}},
         {{0, 0, 1, 0.2, 1, 0, 0}, {1, 1, 1, 0.2, 0, 1, 0}, {2, 2, 2, 0.3, 1, 0, 0}, {3, 3, 3, 0.3, 1, 0, 0},
          {2, 3, 4, 0.4, 0, 0, 0}},
         "1D r0 x2 top 0 [0] 0.0-0.2 [10,0,0] [0,10,0] [0,0,0] | 1D r0 x1 top 3 [1,3,2] 0.0-0.4 [10,0,0] [0,0,0] [0,0,0]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Network net;
        net.build(c.minima, c.hops);
        EXPECT_EQ(clusters_of(net), c.clusters);
        // Below the link the two chains are clusters of their own, without ribbon.
        if (std::string(c.what) == "linked chains") {
            EXPECT_EQ(clusters_of(net, 0.4), "1D r0 x1 top 0 [0] 0.0-0.3 [10,0,0] [0,0,0] [0,0,0] | "
                                             "1D r0 x1 top 1 [1] 0.2-0.4 [10,0,0] [0,0,0] [0,0,0]");
        }
    }
}

TEST(NetworkAtEnergy, OnlyLeadingAllpathsWithinToleranceTakePartAndUnknownMinimaAreRefused) {
    Network net;
    net.build({{0, 0, 0, 1, 0.0}}, {{0, 0, 1, 0.3, 1, 0, 0}, {0, 0, 2, 0.5, 0, 1, 0}});
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
