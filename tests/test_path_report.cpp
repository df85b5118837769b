// The path library and cluster reports on a hand-made library.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ZEMU-path.h"
#include "ZEMU-network.h"
#include "fixtures.h"

using fx::written;

namespace {

// Two labelled minima (Li1 at the global minimum, Li2), one saddle point of
// type 3, and one path between them with a single copy, on a 10 x 20 x 5 grid.
struct Library : fx::Grid {
    ZEMU_pathlib lib;

    Library() : fx::Grid(10, 20, 5, 1.0, 0.5) {
        ZEMU_init_pathlib(&lib);
        add_minimum(1, 1, 1, 1, 0.0, "Li1");
        add_minimum(6, 1, 1, 2, 0.25, "Li2");
        EXPECT_EQ(0, ZEMU_add_cube_saddle_point(&cube, 3, 1, 1, 0.5, 3));
        lib.path = static_cast<ZEMU_path*>(malloc(sizeof(ZEMU_path)));
        ZEMU_init_path(&lib.path[0]);  // plot attributes -1 until a reaction pathway is built
        ZEMU_path& p = lib.path[0];
        p.start = p.saddle = 0, p.end = 1;
        p.start_type = 1, p.end_type = 2, p.saddle_type = 3;
        p.start_energy = 0.0, p.end_energy = 0.25, p.saddle_energy = 0.5;
        lib.total_path = 1;
        lib.allpath = static_cast<ZEMU_allpath*>(malloc(sizeof(ZEMU_allpath)));
        ZEMU_assign_allpath(&lib.allpath[0], 0, 1, 0, 1, 2, 3, 2.0, 0, 1, 0, 1, 1, -1, 0.0, 0.25, 0.5);
        lib.total_allpath = 1;
    }
    ~Library() { ZEMU_free_pathlib(&lib); }

    void add_minimum(int x, int y, int z, int type, double e, const char* label) {
        ASSERT_EQ(0, ZEMU_add_cube_minima_point(&cube, x, y, z, x, y, z, e, type));
        ASSERT_EQ(0, ZEMU_add_cube_minima_ion(&cube.minima[cube.total_minima - 1], fx::txt(label), 1.0));
    }
};

struct Cluster {
    int dimension, ribbon, mul;
    double minimum;
    std::vector<ZEMU_path_triple_index> vectors;
};

}  // namespace

// Path lines end in CR LF while the captions and the listing end in LF; energies
// are in the scaled measure; the plot attributes are -1 until a pathway is built.
TEST(PathLibraryReport, UnscaledAndScaledAsRecorded) {
    for (bool scaled : {false, true}) {
        Library l;
        if (scaled) {
            ASSERT_EQ(0, ZEMU_parse_energy_scaling(&l.cube, fx::txt("2*E")));
            l.cube.scaling = 1;
            l.lib.path[0].color = 2, l.lib.path[0].style = 0;
        }
        std::string file;
        fx::stdout_of([&] { file = written([&](FILE* f) { ZEMU_print_pathlib(&l.cube, &l.lib, f); }); });
        EXPECT_EQ(file, zemu_test::slurp(zemu_test::data_file(scaled ? "cmd/pathlib_scaled.txt" : "cmd/pathlib.txt")));
    }
}

TEST(ClusterReport, EveryDimensionByteForByte) {
    Library l;
    const std::vector<Cluster> made = {
        {0, 0, 1, 0.0, {}},
        {1, 1, 2, 0.25, {{10, 0, 0}, {0, 0, 0}, {0, -40, 0}}},
        {2, 0, 1, 0.25, {{0, 20, 0}, {0, 0, 5}}},
        {2, 0, 1, 0.25, {{0, -20, 0}, {0, 0, 5}}},
        {3, 0, 3, 1e-11, {{10, 0, 0}, {0, 20, 0}, {0, 0, 5}}},
        {2, 0, 1, 0.25, {{10, 0, 5}, {0, 20, 5}}},
    };
    std::vector<ZEMU_cluster> clusters(made.size());
    int path0 = 0;
    for (size_t i = 0; i < made.size(); i++) {
        ZEMU_cluster& c = clusters[i];
        ZEMU_init_cluster(&c);
        c.dimension = made[i].dimension, c.ribbon = made[i].ribbon, c.mul = made[i].mul;
        c.minimum = made[i].minimum, c.maximum = 0.5;
        for (size_t v = 0; v < made[i].vectors.size(); v++) c.vector[v] = made[i].vectors[v];
        c.total_path = 1, c.path = &path0;
    }
    ZEMU_cluster_list list{static_cast<int>(clusters.size()), clusters.data()};
    std::string out = written([&](FILE* f) { ZEMU_print_clustlist(&l.cube, &l.lib, &list, f); });

    // Per dimension: the ribbon flag with its vectors, plane normals (a normal with
    // two negative components, (-1,-1,1), printed as (1,1,-1)), the global minimum named.
    EXPECT_EQ(out, zemu_test::slurp(zemu_test::data_file("cmd/clusters.txt")));
}
