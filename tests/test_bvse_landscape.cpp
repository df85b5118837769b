// Landscape on a grid: the default grid rule, the bundled landscapes reproduced, the
// grid record against the written file as read, a grid the symmetry does not fit
// against point-by-point sums, and results that do not depend on the thread count.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU-bvse.h"
#include "fixtures.h"

namespace {

// A structure read by the program's own CIF reader, released at the end of the test.
struct LoadedCif {
    ZEMU_cif cif;
    explicit LoadedCif(std::string path) {
        ZEMU_init_cif(&cif);
        EXPECT_EQ(ZEMU_load_cif(&path[0], &cif), 0) << path;
    }
    ~LoadedCif() { ZEMU_free_cif(&cif); }
};

// A grid record, computed for a structure (or left empty), released at the end of the test.
struct Cube {
    ZEMU_cube cube;
    ZEMU_bvse_report report;
    Cube() { ZEMU_init_cube(&cube); }
    Cube(ZEMU_cif* cif, const char* ion, int threads, std::vector<int> grid = {0, 0, 0}) : Cube() {
        ZEMU_bvse_options o;
        ZEMU_init_bvse_options(&o);
        o.threads = threads;
        for (int i = 0; i < 3; i++) o.grid[i] = grid[i];
        EXPECT_EQ(ZEMU_bvse_landscape(cif, ion, &o, &cube, &report), 0) << report.error;
    }
    ~Cube() { ZEMU_free_cube(&cube); }
    double& at(long long n) const {
        return cube.energy[n / cube.c_grid / cube.b_grid][(n / cube.c_grid) % cube.b_grid][n % cube.c_grid];
    }
    long long total() const { return static_cast<long long>(cube.a_grid) * cube.b_grid * cube.c_grid; }
    // Point n summed on its own, without the grid machinery, capped.
    double point_by_point(const ZEMU_bvse_model& model, long long n) const {
        const double f[3] = {static_cast<double>(n / cube.c_grid / cube.b_grid) / cube.a_grid,
                             static_cast<double>((n / cube.c_grid) % cube.b_grid) / cube.b_grid,
                             static_cast<double>(n % cube.c_grid) / cube.c_grid};
        return ZEMU_bvse_cap(ZEMU_bvse_point_energy(&model, f));
    }
};

std::string example(const std::string& name) { return zemu_test::source_file("examples/" + name); }

}  // namespace

// Hexagonal P 6_3 with a site at (1/3, 2/3, 1/4): a and b are mixed (equal counts,
// even for the odd first count, divisible by 3 for the site); c divisible by 4. Of
// N_a in {18, 24} the grid 19 x 19 x 29 has the mean step nearest 0.2.
TEST(BvseGrid, DefaultRulePicksGridsThatCarryTheSymmetry) {
    LoadedCif lfp(example("LiFePO4/structure.cif")), nuo(example("Na2UO4/structure.cif")),
        garnet(zemu_test::data_file("bvse/garnet.cif"));
    fx::Cif hex({"x,y,z", "-y,x-y,z", "-x+y,-x,z", "-x,-y,z+1/2", "y,-x+y,z+1/2", "x-y,x,z+1/2"},
                {4.0, 4.0, 6.0, 90, 90, 120});
    hex.site("O1", "O2-", 1.0 / 3, 2.0 / 3, 0.25, 2, 1.0, -2);
    fx::Cif huge({"x,y,z"}, {300, 300, 300, 90, 90, 90});
    const std::pair<ZEMU_cif*, std::vector<int>> cases[] = {{&lfp.cif, {57, 33, 25}}, {&nuo.cif, {31, 31, 63}},
                                                            {&garnet.cif, {57, 57, 57}}, {&hex.cif, {19, 19, 29}}};
    int grid[3];
    std::string error;
    for (const auto& c : cases) {
        ASSERT_EQ(ZEMU_bvse_default_grid(c.first, 0.2, grid, &error), 0) << error;
        EXPECT_EQ(std::vector<int>(grid, grid + 3), c.second);
        EXPECT_EQ(ZEMU_bvse_grid_carries_symmetry(c.first, grid), 1);
    }
    const int unequal[3] = {19, 21, 29}, odd_c[3] = {19, 19, 30}, flat[3] = {57, 1, 25};
    EXPECT_EQ(ZEMU_bvse_grid_carries_symmetry(&hex.cif, unequal), 0);
    EXPECT_EQ(ZEMU_bvse_grid_carries_symmetry(&hex.cif, odd_c), 0);
    EXPECT_EQ(ZEMU_bvse_default_grid(&huge.cif, 0.2, grid, &error), 1);
    EXPECT_NE(error.find("--grid"), std::string::npos) << error;
    EXPECT_EQ(ZEMU_bvse_check_grid(flat, &error), 1);
    EXPECT_NE(error.find("at least 2"), std::string::npos) << error;
}

TEST(BvseLandscape, ReproducesTheBundledExampleLandscapes) {
    for (const char* name : {"LiFePO4", "Na2UO4"}) {
        SCOPED_TRACE(name);
        LoadedCif s(example(std::string(name) + "/structure.cif"));
        Cube mine(&s.cif, *name == 'L' ? "Li1+" : "Na1+", 0), ref;
        std::string path = example(std::string(name) + "/landscape.cube");
        ASSERT_EQ(ZEMU_load_cube(&path[0], &ref.cube), 0);
        ASSERT_EQ(mine.total(), ref.total());
        EXPECT_EQ(mine.report.symmetric, 1);
        EXPECT_LT(mine.report.representatives * 4, mine.total());
        long long capped = 0, off = 0;
        for (long long n = 0; n < ref.total(); n++) {
            const double want = ref.at(n), got = mine.at(n);
            capped += want == 100000.0;
            off += !(std::fabs(got - want) <= std::max(1e-9, 1e-12 * std::fabs(want)));
        }
        EXPECT_EQ(off, 0);
        EXPECT_EQ(capped > 0, *name == 'N');  // points at 100000 in the reference
    }
}

// What the reader makes of the written file is what the computation filled in.
TEST(BvseLandscape, GridRecordEqualsTheWrittenFileAsRead) {
    LoadedCif s(example("LiFePO4/structure.cif"));
    Cube mine(&s.cif, "Li1+", 1), back;
    zemu_test::WorkDir dir(false);
    std::string path = dir.file("landscape.cube"), error;
    ASSERT_EQ(ZEMU_bvse_write_cube(&mine.cube, "Li1+", "LiFePO4 test", path.c_str(), &error), 0) << error;
    ASSERT_EQ(ZEMU_load_cube(&path[0], &back.cube), 0);
    const ZEMU_cube &m = mine.cube, &b = back.cube;
    // every header field the reader derives, in declaration order from a_x to volume, then d1 to d6
    EXPECT_EQ(memcmp(&m.a_x, &b.a_x, (char*)&m.a_grid - (char*)&m.a_x), 0);
    EXPECT_EQ(memcmp(&m.d1, &b.d1, 6 * sizeof(double)), 0);
    EXPECT_EQ(m.ion_charge, b.ion_charge);
    EXPECT_EQ(std::vector<int>({m.a_grid, m.b_grid, m.c_grid, m.lines_to_ignore}),
              std::vector<int>({b.a_grid, b.b_grid, b.c_grid, b.lines_to_ignore}));
    EXPECT_NEAR(m.global_minimum, b.global_minimum, 6e-13);
    EXPECT_NEAR(m.max_energy, b.max_energy, 6e-13);
    for (long long n = 0; n < mine.total(); n++)
        ASSERT_NEAR(mine.at(n), back.at(n), std::max(6e-13, 1e-15 * std::fabs(mine.at(n)))) << n;
    // a target that cannot be replaced (here a folder) is named, and no temporary file stays
    EXPECT_EQ(ZEMU_bvse_write_cube(&mine.cube, "Li1+", "t", dir.path().c_str(), &error), 1);
    EXPECT_NE(error.find(dir.path() + ": cannot be written"), std::string::npos) << error;
    EXPECT_NE(access((dir.path() + ".tmp." + std::to_string(getpid())).c_str(), F_OK), 0);
}

// A grid the operations do not fit: every point computed, a warning, the same
// sums as point by point, bit for bit; and no dependence on the thread count.
TEST(BvseLandscape, UnsymmetricGridAndThreadCountIndependence) {
    LoadedCif s(example("LiFePO4/structure.cif"));
    Cube one(&s.cif, "Li1+", 1, {11, 9, 8}), three(&s.cif, "Li1+", 3, {11, 9, 8});
    EXPECT_EQ(one.report.symmetric, 0);
    EXPECT_EQ(one.report.representatives, 10 * 8 * 7);
    ASSERT_EQ(one.report.warnings.size(), 1u);
    EXPECT_NE(one.report.warnings[0].find("11x9x8"), std::string::npos) << one.report.warnings[0];
    ZEMU_bvse_model model;
    std::string error;
    ASSERT_EQ(ZEMU_bvse_build_model(&s.cif, "Li1+", 10.0, 0.74, &model, &error), 0);
    for (long long n = 0; n < one.total(); n++) {
        ASSERT_EQ(one.at(n), one.point_by_point(model, n)) << n;
        ASSERT_EQ(one.at(n), three.at(n)) << n;
    }
    Cube sym1(&s.cif, "Li1+", 1), sym3(&s.cif, "Li1+", 3);
    for (long long n = 0; n < sym1.total(); n++) ASSERT_EQ(sym1.at(n), sym3.at(n)) << n;
}

// Refusals reach the report as one line and leave the grid record untouched.
TEST(BvseLandscape, RefusalsReachTheReport) {
    LoadedCif s(example("LiFePO4/structure.cif"));
    const struct { const char* ion; int grid[3]; const char* expected; } cases[] = {
        {"Li1+", {1001, 1001, 1001}, "over the limit"}, {"Lx1+", {0, 0, 0}, "mobile ion"}};
    for (const auto& c : cases) {
        Cube cube;
        ZEMU_bvse_options o;
        ZEMU_init_bvse_options(&o);
        std::copy(c.grid, c.grid + 3, o.grid);
        EXPECT_EQ(ZEMU_bvse_landscape(&s.cif, c.ion, &o, &cube.cube, &cube.report), 1);
        EXPECT_NE(cube.report.error.find(c.expected), std::string::npos) << cube.report.error;
        EXPECT_EQ(cube.cube.energy, nullptr);
    }
}
