#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU-path.h"

namespace {

const char* const kLibraryHeader =
    "-----------------------------------------------------------------\r\n"
    "                 Summary of minimum energy paths                 \r\n"
    "-----------------------------------------------------------------\r\n\r\n";

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

    void add_path_and_copy() {
        lib.path = static_cast<ZEMU_path*>(malloc(sizeof(ZEMU_path)));
        ZEMU_init_path(&lib.path[0]);  // plot attributes -1 until a reaction pathway is built
        ZEMU_path& p = lib.path[0];
        p.start = 0;
        p.end = 1;
        p.saddle = 0;
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
};

// Runs a printer on a temporary stream; returns what it wrote there.
template <typename Print>
std::string written(Print print) {
    FILE* f = tmpfile();
    print(f);
    std::string out;
    rewind(f);
    int ch;
    while ((ch = fgetc(f)) != EOF) out += static_cast<char>(ch);
    fclose(f);
    return out;
}

ZEMU_cluster cluster(int dimension, int ribbon, int mul, double minimum, double maximum,
                     std::vector<ZEMU_path_triple_index> vectors) {
    ZEMU_cluster c;
    ZEMU_init_cluster(&c);
    c.dimension = dimension;
    c.ribbon = ribbon;
    c.mul = mul;
    c.minimum = minimum;
    c.maximum = maximum;
    for (size_t v = 0; v < vectors.size() && v < 3; v++) c.vector[v] = vectors[v];
    c.total_path = 1;
    c.path = static_cast<int*>(malloc(sizeof(int)));
    c.path[0] = 0;
    return c;
}

// ---------------------------------------------------------------------------

TEST(PathLibraryReport, EmptyLibraryPrintsHeaderListingLineAndClosingLine) {
    Library l;
    testing::internal::CaptureStdout();
    std::string file = written([&](FILE* f) { ZEMU_print_pathlib(&l.cube, &l.lib, f); });
    EXPECT_EQ(std::string(kLibraryHeader) + "\nListing all 0 paths (including equivalent ones)...\n\r\n", file);
    EXPECT_EQ("\n", testing::internal::GetCapturedStdout());  // the console's own line feed
}

TEST(PathLibraryReport, PathLinesEndInCrLfWhileCaptionsAndListingEndInLf) {
    Library l;
    l.add_path_and_copy();
    testing::internal::CaptureStdout();
    std::string file = written([&](FILE* f) { ZEMU_print_pathlib(&l.cube, &l.lib, f); });
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::string(kLibraryHeader) +
                  "> Path 1 : Li1 (0.000 eV) to Li2 (0.250 eV) via s3 (0.500 eV)\r\n"
                  ">> Dimension: -1\n"
                  ">> Redundancy: -1\n"
                  "\nListing all 1 paths (including equivalent ones)...\n"
                  "> Li1 (0.000 eV) to Li2 (0.250 eV) via s3 (0.500 eV)\n"
                  ">> Internal: boundary cross (1,0,-1); minima indices (0,1) saddle index (0)\n"
                  "\r\n",
              file);
}

TEST(PathLibraryReport, EnergiesArePrintedScaled) {
    Library l;
    char expr[] = "2*E";
    ASSERT_EQ(0, ZEMU_parse_energy_scaling(&l.cube, expr));
    l.cube.scaling = 1;
    l.add_path_and_copy();
    l.lib.path[0].color = 2;
    l.lib.path[0].style = 0;
    testing::internal::CaptureStdout();
    std::string file = written([&](FILE* f) { ZEMU_print_pathlib(&l.cube, &l.lib, f); });
    testing::internal::GetCapturedStdout();
    EXPECT_NE(std::string::npos,
              file.find("> Path 1 : Li1 (0.000 eV) to Li2 (0.500 eV) via s3 (1.000 eV)\r\n"
                        ">> Dimension: 2\n>> Redundancy: 0\n"));
    EXPECT_NE(std::string::npos, file.find("> Li1 (0.000 eV) to Li2 (0.500 eV) via s3 (1.000 eV)\n"));
}

TEST(ClusterReport, EveryDimensionByteForByte) {
    Library l;
    l.add_path_and_copy();
    std::vector<ZEMU_cluster> clusters = {
        cluster(0, 0, 1, 0.0, 0.5, {}),
        cluster(1, 1, 2, 0.25, 0.5, {{10, 0, 0}, {0, 0, 0}, {0, -40, 0}}),
        cluster(2, 0, 1, 0.25, 0.5, {{0, 20, 0}, {0, 0, 5}}),
        cluster(2, 0, 1, 0.25, 0.5, {{0, -20, 0}, {0, 0, 5}}),
        cluster(3, 0, 3, 1e-11, 0.5, {{10, 0, 0}, {0, 20, 0}, {0, 0, 5}}),
    };
    ZEMU_cluster_list list{static_cast<int>(clusters.size()), clusters.data()};
    std::string out = written([&](FILE* f) { ZEMU_print_clustlist(&l.cube, &l.lib, &list, f); });
    const std::string hops =
        "> Site hops :\r\n"
        "  (1) Li1 (0.000 eV) to Li2 (0.250 eV) via s3 (0.500 eV)\r\n"
        "\r\n";
    EXPECT_EQ("\r\nTotal symmetrically distinct clusters: 5\r\n"
              "\r\nCluster 1:\r\n"
              "> Multiplicity : 1\r\n"
              "> Cluster energy minimum : 0.000 (global energy minimum)\r\n"
              "> Cluster energy maximum : 0.500\r\n" +
                  hops +
                  "\r\nCluster 2:\r\n"
                  "> Percolating (1D)(ribbon) : Vector [1,0,0] [0,-2,0]\r\n"
                  "> Multiplicity : 2\r\n"
                  "> Cluster energy minimum : 0.250\r\n"
                  "> Cluster energy maximum : 0.500\r\n" +
                  hops +
                  "\r\nCluster 3:\r\n"
                  "> Percolating (2D) : Plane (1,0,0)\r\n"
                  "> Multiplicity : 1\r\n"
                  "> Cluster energy minimum : 0.250\r\n"
                  "> Cluster energy maximum : 0.500\r\n" +
                  hops +
                  "\r\nCluster 4:\r\n"
                  "> Percolating (2D) : Plane (1,0,0)\r\n"
                  "> Multiplicity : 1\r\n"
                  "> Cluster energy minimum : 0.250\r\n"
                  "> Cluster energy maximum : 0.500\r\n" +
                  hops +
                  "\r\nCluster 5:\r\n"
                  "> Percolating (3D)\r\n"
                  "> Multiplicity : 3\r\n"
                  "> Cluster energy minimum : 0.000 (global energy minimum)\r\n"
                  "> Cluster energy maximum : 0.500\r\n" +
                  hops,
              out);
    for (ZEMU_cluster& c : clusters) free(c.path);
}

TEST(ClusterReport, PlaneNormalTurnsWhenNegativesOutnumberPositives) {
    Library l;
    l.add_path_and_copy();
    // Normal (-1,-1,1) has two negative components: printed as (1,1,-1).
    std::vector<ZEMU_cluster> clusters = {cluster(2, 0, 1, 0.25, 0.5, {{10, 0, 5}, {0, 20, 5}})};
    ZEMU_cluster_list list{1, clusters.data()};
    std::string out = written([&](FILE* f) { ZEMU_print_clustlist(&l.cube, &l.lib, &list, f); });
    EXPECT_NE(std::string::npos, out.find("> Percolating (2D) : Plane (1,1,-1)\r\n"));
    free(clusters[0].path);
}

TEST(ActivationReport, ThreeLinesWithSixDecimals) {
    ZEMU_pathlib lib;
    ZEMU_init_pathlib(&lib);
    lib.oneD = 0.2;
    std::string out = written([&](FILE* f) { ZEMU_print_activation_energy(&lib, f); });
    EXPECT_EQ("1D activation energy: 0.200000 eV\n"
              "2D activation energy: 999.000000 eV\n"
              "3D activation energy: 999.000000 eV\n",
              out);
}

}  // namespace
