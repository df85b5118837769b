// The path library and its records: equality tests, edits, sorting, copies,
// and distances between grid locations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU-path.h"
#include "fixtures.h"

namespace {

ZEMU_allpath make_allpath(int start, int end, int saddle, int start_type, int end_type, int saddle_type,
                          int sx = 0, int sy = 0, int sz = 0, int ex = 0, int ey = 0, int ez = 0) {
    ZEMU_allpath ap;
    ZEMU_assign_allpath(&ap, start, end, saddle, start_type, end_type, saddle_type, 2.5, sx, sy, sz, ex, ey, ez,
                        0.1, 0.2, 0.7);
    return ap;
}

ZEMU_path make_path(int start, int end, int start_type, int end_type, int saddle_type, double saddle_energy) {
    ZEMU_path p;
    ZEMU_init_path(&p);
    p.start = start, p.end = end, p.saddle_energy = saddle_energy;
    p.start_type = start_type, p.end_type = end_type, p.saddle_type = saddle_type;
    return p;
}

// Library owning arrays built from the given records.
struct Library {
    ZEMU_pathlib lib;
    Library(const std::vector<ZEMU_path>& paths, const std::vector<ZEMU_allpath>& allpaths) {
        ZEMU_init_pathlib(&lib);
        for (const ZEMU_allpath& ap : allpaths) ZEMU_insert_pathlib_allpath(&lib, ap);
        ZEMU_reverse_pathlib_allpath(&lib);  // inserted at the front: restore the given order
        lib.total_path = static_cast<int>(paths.size());
        lib.path = static_cast<ZEMU_path*>(malloc(sizeof(ZEMU_path) * (paths.size() + 1)));
        std::copy(paths.begin(), paths.end(), lib.path);
    }
    ~Library() { ZEMU_free_pathlib(&lib); }
    std::vector<int> allpath_saddles() const {
        std::vector<int> out;
        for (int i = 0; i < lib.total_allpath; i++) out.push_back(lib.allpath[i].saddle);
        return out;
    }
    std::vector<int> path_starts() const {  // the start minima of the paths, as an identity
        std::vector<int> out;
        for (int i = 0; i < lib.total_path; i++) out.push_back(lib.path[i].start);
        return out;
    }
};

// Cell from voxel vectors (Angstrom per grid step) and counts; no energies needed.
ZEMU_cube make_cell(int na, int nb, int nc, double ax, double bx, double by, double cz) {
    ZEMU_cube cube;
    memset(&cube, 0, sizeof(cube));
    ZEMU_init_cube(&cube);
    cube.a_grid = na, cube.b_grid = nb, cube.c_grid = nc;
    cube.a_x = ax, cube.b_x = bx, cube.b_y = by, cube.c_z = cz;
    ZEMU_calc_cell_parameter(&cube);
    return cube;
}

ZEMU_cubeloc loc(int x, int y, int z) { return ZEMU_cubeloc{x, y, z}; }

}  // namespace

// Mode 135 decides on minima and crossings alone, 5 on the saddle, 6 on the
// crossings; modes 1 and 2 compare the direction only; others print and fail.
TEST(PathEquality, EachModeComparesItsOwnFieldsAndPathsMatchReversed) {
    ZEMU_allpath a = make_allpath(1, 2, 10, 1, 1, 1, 0, 0, 0, 1, 0, 0);
    ZEMU_allpath other_saddle = make_allpath(1, 2, 11, 1, 1, 2, 0, 0, 0, 1, 0, 0);
    ZEMU_allpath other_cross = make_allpath(1, 2, 10, 1, 1, 1, 0, 0, 0, 0, 1, 0);
    ZEMU_allpath plain = make_allpath(1, 2, 10, 1, 1, 1), reversed = make_allpath(2, 1, 10, 1, 1, 1);
    struct {
        ZEMU_allpath *x, *y;
        int mode, equal;
    } cases[] = {{&a, &other_saddle, 135, 1}, {&a, &other_saddle, 13, 1}, {&a, &other_cross, 135, 0},
                 {&a, &other_cross, 5, 1},    {&a, &other_saddle, 5, 0},  {&a, &other_saddle, 6, 0},
                 {&a, &other_cross, 6, 1},    {&a, &other_cross, 3, 0},   {&plain, &plain, 1, 1},
                 {&plain, &reversed, 1, 0},   {&plain, &reversed, 2, 0}};
    for (const auto& c : cases) EXPECT_EQ(ZEMU_is_allpath_equal(c.x, c.y, c.mode), c.equal) << &c - cases;
    EXPECT_EQ(ZEMU_is_allpath_start_end_equal(&plain, &reversed), 1);
    EXPECT_EQ(fx::stdout_of([&a] { EXPECT_EQ(ZEMU_is_allpath_equal(&a, &a, 4), 0); }),
              "Invalid mode call 4 to ZEMU_is_allpath_equal\n");

    ZEMU_path p = make_path(3, 5, 1, 2, 1, 0.5), rev = make_path(5, 3, 2, 1, 1, 0.5), other = make_path(3, 6, 1, 2, 1, 0.5);
    EXPECT_EQ(ZEMU_is_path_start_end_equal(&p, &rev), 1);
    EXPECT_EQ(ZEMU_is_path_start_end_equal(&p, &other), 0);
    Library l({p}, {});
    const int lookups[][4] = {{1, 2, 1, 1}, {2, 1, 1, 1}, {1, 2, 4, 0}, {1, 1, 1, 0}};
    for (const auto& q : lookups) EXPECT_EQ(ZEMU_isin_pathlib(&l.lib, q[0], q[1], q[2]), q[3]);
}

TEST(PathLibrary, InsertPopAndDeleteCopiesCheckTheirIndex) {
    Library l({}, {});
    for (int saddle : {3, 2, 1}) ZEMU_insert_pathlib_allpath(&l.lib, make_allpath(0, 1, saddle, 1, 1, 1));
    ASSERT_EQ(l.allpath_saddles(), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(ZEMU_pop_pathlib_allpath(&l.lib, 1).saddle, 2);
    EXPECT_EQ(ZEMU_delete_pathlib_allpath(&l.lib, 1), 0);
    EXPECT_EQ(l.allpath_saddles(), (std::vector<int>{1}));
    EXPECT_EQ(ZEMU_pop_pathlib_allpath(&l.lib, 0).saddle, 1);
    EXPECT_EQ(l.lib.allpath, nullptr);
    EXPECT_EQ(fx::stderr_of([&l] {
                  EXPECT_EQ(ZEMU_pop_pathlib_allpath(&l.lib, 0).start, -1);
                  EXPECT_EQ(ZEMU_delete_pathlib_allpath(&l.lib, 0), 1);
              }),
              "Error: Invalid input to ZEMU_pop_pathlib_allpath()\n"
              "Error: Invalid input to ZEMU_delete_pathlib_allpath()\n");
}

// Deleting a path type removes the copies of exactly its (start, end, saddle)
// type triple; copies stored with the minimum types swapped stay and then no
// longer find a path.
TEST(PathLibrary, DeletePathRemovesCopiesOfItsExactTypeTriple) {
    Library l({make_path(0, 1, 1, 2, 1, 0.5), make_path(1, 0, 2, 1, 1, 0.6), make_path(0, 0, 1, 1, 2, 0.7)},
              {make_allpath(0, 1, 1, 1, 2, 1), make_allpath(1, 0, 2, 2, 1, 1), make_allpath(0, 1, 3, 1, 2, 1),
               make_allpath(0, 0, 4, 1, 1, 2), make_allpath(0, 1, 5, 1, 2, 1)});
    EXPECT_EQ(ZEMU_get_allpath_to_path_index(&l.lib, 1), 1);
    ASSERT_EQ(ZEMU_delete_pathlib_path(&l.lib, 1), 0);  // types (2, 1, 1)
    EXPECT_EQ(l.path_starts(), (std::vector<int>{0, 0}));
    EXPECT_EQ(l.allpath_saddles(), (std::vector<int>{1, 3, 4, 5}));
    ASSERT_EQ(ZEMU_delete_pathlib_path(&l.lib, 0), 0);  // types (1, 2, 1): adjacent copies go too
    EXPECT_EQ(l.allpath_saddles(), (std::vector<int>{4}));
    EXPECT_EQ(fx::stderr_of([&l] { EXPECT_EQ(ZEMU_delete_pathlib_path(&l.lib, 1), 1); }),
              "Error: Invalid input to ZEMU_delete_pathlib_path()\n");

    Library orphan({make_path(0, 1, 1, 2, 1, 0.5)}, {make_allpath(1, 0, 2, 2, 1, 1)});
    EXPECT_EQ(fx::stderr_of([&orphan] { EXPECT_EQ(ZEMU_get_allpath_to_path_index(&orphan.lib, 0), -1); }),
              "Error: Invalid output from ZEMU_get_allpath_to_path_index()\n");
}

TEST(PathLibrary, SortIsAscendingAndStableAndCopiesTakeRecordsButNotFlagOrEnergies) {
    Library l({make_path(0, 0, 1, 1, 1, 0.9), make_path(1, 0, 1, 1, 2, 0.3), make_path(2, 0, 1, 1, 3, 0.9),
               make_path(3, 0, 1, 1, 4, 0.3), make_path(4, 0, 1, 1, 5, 0.1)},
              {make_allpath(0, 1, 7, 1, 1, 1), make_allpath(0, 1, 8, 1, 1, 2)});
    ASSERT_EQ(ZEMU_bubblesort_pathlib(&l.lib), 0);
    EXPECT_EQ(l.path_starts(), (std::vector<int>{4, 1, 3, 0, 2}));
    EXPECT_EQ(l.allpath_saddles(), (std::vector<int>{7, 8}));  // copies keep their order

    l.lib.pathlib = 1;
    l.lib.oneD = 0.25;
    Library dst({}, {make_allpath(5, 5, 9, 1, 1, 1)});
    ASSERT_EQ(ZEMU_copy_pathlib(&l.lib, &dst.lib), 0);
    EXPECT_EQ(dst.path_starts(), (std::vector<int>{4, 1, 3, 0, 2}));
    EXPECT_EQ(dst.allpath_saddles(), (std::vector<int>{7, 8}));
    EXPECT_EQ(dst.lib.pathlib, 0);
    EXPECT_DOUBLE_EQ(dst.lib.oneD, 999.0);
    Library none({}, {});
    ASSERT_EQ(ZEMU_copy_pathlib(&none.lib, &dst.lib), 0);
    EXPECT_EQ(dst.lib.total_path + dst.lib.total_allpath, 0);
}

TEST(PathRecords, ListsGrowAndClustersCopyDeep) {
    ZEMU_allpath_list ap;
    ZEMU_init_allpath_list(&ap, 1);
    for (int i = 0; i < 50; i++) ZEMU_append_allpath_list(&ap, make_allpath(i, i, i, 1, 1, 1));
    EXPECT_EQ(ap.allpath[37].saddle, 37);
    ZEMU_free_allpath_list(&ap);

    ZEMU_cluster a;
    ZEMU_init_cluster(&a);
    int refs[2] = {4, 6};
    a.total_path = 2;
    a.path = refs;
    ZEMU_cluster_list list{1, nullptr};
    ASSERT_EQ(ZEMU_alloc_path_clust(&list), 0);
    ASSERT_EQ(ZEMU_copy_cluster(&a, &list.clust[0]), 0);
    refs[0] = 99;
    EXPECT_EQ(list.clust[0].path[0], 4);
    ZEMU_free_path_clust(&list);
    list.total = 0;
    EXPECT_EQ(fx::stderr_of([&list] { EXPECT_EQ(ZEMU_alloc_path_clust(&list), 1); }),
              "Error: Invalid input to ZEMU_alloc_path_clust()\n");
}

TEST(LocDistance, UsesCellMetricWithoutWrappingAndTheCellEdgeTakesTheCFaceAgainstTheACount) {
    // Hexagonal: a = b = 3 Angstrom at 120 degrees; a/3 + b/3 is 1 Angstrom long.
    ZEMU_cube hex = make_cell(3, 3, 4, 1.0, -0.5, std::sqrt(3.0) / 2.0, 1.0);
    EXPECT_NEAR(ZEMU_find_loc_distance(&hex, loc(0, 0, 0), loc(1, 1, 0)), 1.0, 1e-12);
    EXPECT_NEAR(ZEMU_find_loc_distance(&hex, loc(0, 0, 0), loc(1, -1, 0)), std::sqrt(3.0), 1e-12);

    // Nearest faces: a at 5, b at 4, c at 3 (the face at 10) - but the c face is
    // picked by comparing 2z with the a count, so the face at 0 (7) is measured.
    ZEMU_cube cube = make_cell(20, 10, 10, 1.0, 0.0, 1.0, 1.0);
    double d = 0.0;
    EXPECT_EQ(fx::stdout_of([&] { d = ZEMU_find_loc_distance_celledge(&cube, loc(25, -6, 7)); }),
              "Finding loc distance to celledge \n999999.000 \n5.000 \n4.000 \n");
    EXPECT_DOUBLE_EQ(d, 4.0);
}
