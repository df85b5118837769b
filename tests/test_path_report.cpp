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
struct Library {
    ZEMU_cube cube;
    ZEMU_pathlib lib;

    Library() {
        ZEMU_init_cube(&cube);
        cube.a_grid = 10;
        cube.b_grid = 20;
        cube.c_grid = 5;
        cube.a_x = cube.b_y = cube.c_z = 0.5;
        ZEMU_calc_cell_parameter(&cube);
        ZEMU_init_pathlib(&lib);
        add_minimum(1, 1, 1, 1, 0.0, "Li1");
        add_minimum(6, 1, 1, 2, 0.25, "Li2");
        EXPECT_EQ(0, ZEMU_add_cube_saddle_point(&cube, 3, 1, 1, 0.5, 3));
        lib.path = static_cast<ZEMU_path*>(malloc(sizeof(ZEMU_path)));
        ZEMU_init_path(&lib.path[0]);  // plot attributes -1 until a reaction pathway is built
        ZEMU_path& p = lib.path[0];
        p.start = p.saddle = 0;
        p.end = 1;
        p.start_type = 1;
        p.end_type = 2;
        p.saddle_type = 3;
        p.start_energy = 0.0;
        p.end_energy = 0.25;
        p.saddle_energy = 0.5;
        lib.total_path = 1;
        lib.allpath = static_cast<ZEMU_allpath*>(malloc(sizeof(ZEMU_allpath)));
        ZEMU_assign_allpath(&lib.allpath[0], 0, 1, 0, 1, 2, 3, 2.0, 0, 1, 0, 1, 1, -1, 0.0, 0.25, 0.5);
        lib.total_allpath = 1;
    }
    ~Library() {
        ZEMU_free_pathlib(&lib);
        ZEMU_free_cube(&cube);
    }

    void add_minimum(int x, int y, int z, int type, double e, const char* label) {
        ASSERT_EQ(0, ZEMU_add_cube_minima_point(&cube, x, y, z, x, y, z, e, type));
        char text[10];
        snprintf(text, sizeof(text), "%s", label);
        ASSERT_EQ(0, ZEMU_add_cube_minima_ion(&cube.minima[cube.total_minima - 1], text, 1.0));
    }
};

struct Cluster {
    int dimension, ribbon, mul;
    double minimum;
    std::vector<ZEMU_path_triple_index> vectors;
};

}  // namespace

TEST(PathLibraryReport, PathLinesEndInCrLfWhileCaptionsAndListingEndInLfAndEnergiesAreScaled) {
    const std::string header =
        "-----------------------------------------------------------------\r\n"
        "                 Summary of minimum energy paths                 \r\n"
        "-----------------------------------------------------------------\r\n\r\n";
    const std::string listing = "\nListing all 1 paths (including equivalent ones)...\n";
    const std::string internal = ">> Internal: boundary cross (1,0,-1); minima indices (0,1) saddle index (0)\n\r\n";
    for (bool scaled : {false, true}) {
        SCOPED_TRACE(scaled ? "scaled by 2*E" : "unscaled");
        Library l;
        if (scaled) {
            char expr[] = "2*E";
            ASSERT_EQ(0, ZEMU_parse_energy_scaling(&l.cube, expr));
            l.cube.scaling = 1;
            l.lib.path[0].color = 2;
            l.lib.path[0].style = 0;
        }
        testing::internal::CaptureStdout();
        std::string file = written([&](FILE* f) { ZEMU_print_pathlib(&l.cube, &l.lib, f); });
        testing::internal::GetCapturedStdout();
        const std::string hop = scaled ? "Li1 (0.000 eV) to Li2 (0.500 eV) via s3 (1.000 eV)"
                                       : "Li1 (0.000 eV) to Li2 (0.250 eV) via s3 (0.500 eV)";
        const std::string attributes =
            scaled ? ">> Dimension: 2\n>> Redundancy: 0\n" : ">> Dimension: -1\n>> Redundancy: -1\n";
        EXPECT_EQ(header + "> Path 1 : " + hop + "\r\n" + attributes + listing + "> " + hop + "\n" + internal, file);
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
        // Normal (-1,-1,1) has two negative components: printed as (1,1,-1).
        {2, 0, 1, 0.25, {{10, 0, 5}, {0, 20, 5}}},
    };
    std::vector<ZEMU_cluster> clusters(made.size());
    int path0 = 0;
    for (size_t i = 0; i < made.size(); i++) {
        ZEMU_cluster& c = clusters[i];
        ZEMU_init_cluster(&c);
        c.dimension = made[i].dimension;
        c.ribbon = made[i].ribbon;
        c.mul = made[i].mul;
        c.minimum = made[i].minimum;
        c.maximum = 0.5;
        for (size_t v = 0; v < made[i].vectors.size(); v++) c.vector[v] = made[i].vectors[v];
        c.total_path = 1;
        c.path = &path0;
    }
    ZEMU_cluster_list list{static_cast<int>(clusters.size()), clusters.data()};
    std::string out = written([&](FILE* f) { ZEMU_print_clustlist(&l.cube, &l.lib, &list, f); });

    auto block = [](int n, const std::string& percolating, int mul, const std::string& minimum) {
        return "\r\nCluster " + std::to_string(n) + ":\r\n" + percolating + "> Multiplicity : " + std::to_string(mul) +
               "\r\n> Cluster energy minimum : " + minimum + "\r\n> Cluster energy maximum : 0.500\r\n" +
               "> Site hops :\r\n  (1) Li1 (0.000 eV) to Li2 (0.250 eV) via s3 (0.500 eV)\r\n\r\n";
    };
    const std::string global = "0.000 (global energy minimum)";
    EXPECT_EQ("\r\nTotal symmetrically distinct clusters: 6\r\n" + block(1, "", 1, global) +
                  block(2, "> Percolating (1D)(ribbon) : Vector [1,0,0] [0,-2,0]\r\n", 2, "0.250") +
                  block(3, "> Percolating (2D) : Plane (1,0,0)\r\n", 1, "0.250") +
                  block(4, "> Percolating (2D) : Plane (1,0,0)\r\n", 1, "0.250") +
                  block(5, "> Percolating (3D)\r\n", 3, global) +
                  block(6, "> Percolating (2D) : Plane (1,1,-1)\r\n", 1, "0.250"),
              out);
}
