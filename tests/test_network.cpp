// Percolation analysis: the clusters of hand-made path libraries, with their
// dimensions, ribbons, multiplicities and lattice vectors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ZEMU-kernel.h"
#include "ZEMU-network.h"
#include "fixtures.h"

namespace {

// The first n vectors as "[x,y,z] [x,y,z] ...".
std::string vecs(const ZEMU_path_triple_index* v, int n) {
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
struct Network : fx::Field {
    zemu_kernel::ScopedPathlib library;
    ZEMU_pathlib& lib = *library.get();

    Network(const std::vector<Min>& minima, const std::vector<Row>& hops) : fx::Field(10, 10, 10) {
        for (const Min& m : minima)
            EXPECT_EQ(0, ZEMU_add_cube_minima_point(&cube, m.x, m.y, m.z, m.x, m.y, m.z, m.e, m.type));
        std::vector<int> pathed;  // each saddle type gets one path at its first hop
        for (const Row& h : hops) {
            const ZEMU_minima &s = cube.minima[h.start], &e = cube.minima[h.end];
            if (std::find(pathed.begin(), pathed.end(), h.type) == pathed.end()) {
                lib.path = static_cast<ZEMU_path*>(realloc(lib.path, sizeof(ZEMU_path) * (lib.total_path + 1)));
                ZEMU_path& p = lib.path[lib.total_path++];
                ZEMU_init_path(&p);
                p.start = h.start, p.end = h.end, p.saddle_type = h.type, p.saddle_energy = h.e;
                p.start_type = s.type, p.end_type = e.type, p.start_energy = s.e, p.end_energy = e.e;
            }
            pathed.push_back(h.type);
            const int n = lib.total_allpath++;
            lib.allpath = static_cast<ZEMU_allpath*>(realloc(lib.allpath, sizeof(ZEMU_allpath) * (n + 1)));
            ZEMU_assign_allpath(&lib.allpath[n], h.start, h.end, n, s.type, e.type, h.type, 1.0, 0, 0, 0, h.dx, h.dy,
                                h.dz, s.e, e.e, h.e);
        }
    }
};

// Owns the clusters of one analysis.
struct Clusters : zemu_kernel::ScopedClusters {
    ZEMU_cluster& operator[](int c) { return get()->clust[c]; }
};

// Each cluster as "dimension ribbon multiplicity top-path [paths] vectors minimum-maximum".
std::string clusters_of(Network& net, double energy = -1.0) {
    Clusters c;
    int failed = energy < 0 ? ZEMU_analyze_network(&net.cube, &net.lib, c.get())
                            : ZEMU_analyze_network_at_energy(&net.cube, &net.lib, c.get(), energy);
    if (failed) return "failed";
    std::string text;
    char head[128];
    for (int k = 0; k < c->total; k++) {
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
        {"chain", {{2, 3, 4, 1, 0.1}}, {{0, 0, 1, 0.6, 1, 0, 0}},
         "1D r0 x1 top 0 [0] 0.1-0.6 [10,0,0] [0,0,0] [0,0,0]"},
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
         "1D r0 x2 top 0 [0] 0.0-0.2 [10,0,0] [0,10,0] [0,0,0] | "
         "1D r0 x1 top 3 [1,3,2] 0.0-0.4 [10,0,0] [0,0,0] [0,0,0]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Network net(c.minima, c.hops);
        EXPECT_EQ(clusters_of(net), c.clusters);
        // Below the link the two chains are clusters of their own, without ribbon.
        if (std::string(c.what) == "linked chains") {
            EXPECT_EQ(clusters_of(net, 0.4), "1D r0 x1 top 0 [0] 0.0-0.3 [10,0,0] [0,0,0] [0,0,0] | "
                                             "1D r0 x1 top 1 [1] 0.2-0.4 [10,0,0] [0,0,0] [0,0,0]");
        }
    }
}

TEST(NetworkAtEnergy, OnlyLeadingAllpathsWithinToleranceTakePartAndUnknownMinimaAreRefused) {
    Network net({{0, 0, 0, 1, 0.0}}, {{0, 0, 1, 0.3, 1, 0, 0}, {0, 0, 2, 0.5, 0, 1, 0}});
    Clusters none;
    none->total = 7;  // untouched when no allpath qualifies
    EXPECT_EQ(0, ZEMU_analyze_network_at_energy(&net.cube, &net.lib, none.get(), 0.29));
    EXPECT_EQ(7, none->total);
    none->total = 0;
    EXPECT_EQ(clusters_of(net, 0.5 - 1e-11).substr(0, 2), "2D");
    net.lib.allpath[0].end = 7;
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(clusters_of(net), "failed"); }),
              "Error: Invalid input to ZEMU_analyze_network()\n");
}

}  // namespace
