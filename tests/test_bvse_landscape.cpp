// Landscape on a grid: the default grid rule, the bundled example landscapes
// reproduced, the grid record against the written file as the cube reader
// reads it, the symmetry copy against point-by-point sums, and results that do
// not depend on the thread count.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <string>
#include <vector>

#include "ZEMU-bvse.h"
#include "fixtures.h"

namespace {

// A structure read by the program's own CIF reader, released at the end of the test.
struct LoadedCif {
    ZEMU_cif cif;
    explicit LoadedCif(const std::string& path)
    {
        ZEMU_init_cif(&cif);
        std::string p = path;
        EXPECT_EQ(ZEMU_load_cif(&p[0], &cif), 0) << path;
    }
    ~LoadedCif() { ZEMU_free_cif(&cif); }
};

// A grid record released at the end of the test.
struct Cube {
    ZEMU_cube cube;
    Cube() { ZEMU_init_cube(&cube); }
    ~Cube() { ZEMU_free_cube(&cube); }
    double at(long long n) const
    {
        int k = n % cube.c_grid, j = (n / cube.c_grid) % cube.b_grid, i = n / cube.c_grid / cube.b_grid;
        return cube.energy[i][j][k];
    }
    long long total() const { return static_cast<long long>(cube.a_grid) * cube.b_grid * cube.c_grid; }
};

std::string example(const std::string& name) { return zemu_test::source_file("examples/" + name); }

ZEMU_bvse_options options(int threads, std::vector<int> grid = {0, 0, 0})
{
    ZEMU_bvse_options o;
    ZEMU_init_bvse_options(&o);
    o.threads = threads;
    for (int i = 0; i < 3; i++) o.grid[i] = grid[i];
    return o;
}

// Computes the landscape; fails the test on a refusal.
ZEMU_bvse_report compute(ZEMU_cif* cif, const char* ion, const ZEMU_bvse_options& o, ZEMU_cube* cube)
{
    ZEMU_bvse_report report;
    EXPECT_EQ(ZEMU_bvse_landscape(cif, ion, &o, cube, &report), 0) << report.error;
    return report;
}

// Header lines 2 to 6 of a cube file's text (after the title).
std::string header_after_title(const std::string& text)
{
    size_t begin = text.find('\n') + 1, end = begin;
    for (int line = 0; line < 5 && end != 0; line++) end = text.find('\n', end) + 1;
    return text.substr(begin, end - begin);
}

// Point n of the kept grid summed on its own, without the grid machinery, capped.
double point_by_point(const ZEMU_bvse_model& model, const ZEMU_cube& c, long long n)
{
    int k = n % c.c_grid, j = (n / c.c_grid) % c.b_grid, i = n / c.c_grid / c.b_grid;
    const double f[3] = {static_cast<double>(i) / c.a_grid, static_cast<double>(j) / c.b_grid,
                         static_cast<double>(k) / c.c_grid};
    return ZEMU_bvse_cap(ZEMU_bvse_point_energy(&model, f));
}

// The P 6_3 operations with one site at (1/3, 2/3, 1/4).
void hexagonal(fx::Cif& s)
{
    s.set_ops({"x,y,z", "-y,x-y,z", "-x+y,-x,z", "-x,-y,z+1/2", "y,-x+y,z+1/2", "x-y,x,z+1/2"});
    s.site("O1", "O2-", 1.0 / 3, 2.0 / 3, 0.25, 2, 1.0, -2);
}

}  // namespace

// ---------------------------------------------------------------------------
// Grid choice
// ---------------------------------------------------------------------------

TEST(BvseGrid, DefaultRulePicksTheExpectedGrids)
{
    struct Case {
        std::string cif;
        std::vector<int> grid;
    } cases[] = {{example("LiFePO4/structure.cif"), {57, 33, 25}},
                 {example("Na2UO4/structure.cif"), {31, 31, 63}},
                 {zemu_test::data_file("bvse/garnet.cif"), {57, 57, 57}}};
    for (const Case& c : cases) {
        LoadedCif s(c.cif);
        int grid[3];
        std::string error;
        ASSERT_EQ(ZEMU_bvse_default_grid(&s.cif, 0.2, grid, &error), 0) << error;
        EXPECT_EQ(std::vector<int>(grid, grid + 3), c.grid) << c.cif;
        EXPECT_EQ(ZEMU_bvse_grid_carries_symmetry(&s.cif, grid), 1);
    }
}

// a = b = 4, c = 6: a and b are mixed (equal counts, even for the odd first count,
// divisible by 3 for the site); c divisible by 4. Of N_a in {18, 24} the grid
// 19 x 19 x 29 has the mean step nearest 0.2.
TEST(BvseGrid, HexagonalCellKeepsMixedAxesEqual)
{
    fx::Cif s({"x,y,z"}, {4.0, 4.0, 6.0, 90, 90, 120});
    hexagonal(s);
    int grid[3];
    std::string error;
    ASSERT_EQ(ZEMU_bvse_default_grid(&s.cif, 0.2, grid, &error), 0) << error;
    EXPECT_EQ(std::vector<int>(grid, grid + 3), (std::vector<int>{19, 19, 29}));
    EXPECT_EQ(ZEMU_bvse_grid_carries_symmetry(&s.cif, grid), 1);
    const int unequal[3] = {19, 21, 29}, odd_c[3] = {19, 19, 30};
    EXPECT_EQ(ZEMU_bvse_grid_carries_symmetry(&s.cif, unequal), 0);
    EXPECT_EQ(ZEMU_bvse_grid_carries_symmetry(&s.cif, odd_c), 0);
}

TEST(BvseGrid, RefusalsSayWhy)
{
    fx::Cif huge({"x,y,z"}, {300, 300, 300, 90, 90, 90});
    int grid[3];
    std::string error;
    EXPECT_EQ(ZEMU_bvse_default_grid(&huge.cif, 0.2, grid, &error), 1);
    EXPECT_NE(error.find("--grid"), std::string::npos) << error;

    EXPECT_EQ(ZEMU_bvse_check_grid(std::vector<int>{57, 1, 25}.data(), &error), 1);
    EXPECT_NE(error.find("at least 2"), std::string::npos) << error;
    EXPECT_EQ(ZEMU_bvse_check_grid(std::vector<int>{57, 33, 25}.data(), &error), 0);
}

// ---------------------------------------------------------------------------
// Landscape
// ---------------------------------------------------------------------------

TEST(BvseLandscape, ReproducesTheBundledExampleLandscapes)
{
    struct Case {
        const char* name;
        const char* ion;
        long long capped;  // points at 100000 in the reference (on the kept grid)
    } cases[] = {{"LiFePO4", "Li1+", 0}, {"Na2UO4", "Na1+", -1}};
    for (const Case& c : cases) {
        LoadedCif s(example(std::string(c.name) + "/structure.cif"));
        Cube mine, ref;
        ZEMU_bvse_report report = compute(&s.cif, c.ion, options(0), &mine.cube);
        std::string path = example(std::string(c.name) + "/landscape.cube");
        ASSERT_EQ(ZEMU_load_cube(&path[0], &ref.cube), 0);
        ASSERT_EQ(mine.total(), ref.total());
        EXPECT_EQ(report.symmetric, 1);
        EXPECT_LT(report.representatives * 4, mine.total());
        long long capped = 0, off = 0;
        for (long long n = 0; n < ref.total(); n++) {
            double want = ref.at(n), got = mine.at(n);
            if (want == 100000.0) capped++;
            if (!(std::fabs(got - want) <= std::max(1e-9, 1e-12 * std::fabs(want)))) off++;
        }
        EXPECT_EQ(off, 0) << c.name;
        if (c.capped >= 0) EXPECT_EQ(capped, c.capped) << c.name;
        else EXPECT_GT(capped, 0) << c.name;
    }
}

// What the reader makes of the written file is what the computation filled in.
TEST(BvseLandscape, GridRecordEqualsTheWrittenFileAsRead)
{
    LoadedCif s(example("LiFePO4/structure.cif"));
    Cube mine, back;
    compute(&s.cif, "Li1+", options(1), &mine.cube);
    zemu_test::WorkDir dir(false);
    std::string path = dir.file("landscape.cube"), error;
    ASSERT_EQ(ZEMU_bvse_write_cube(&mine.cube, "Li1+", "LiFePO4 test", path.c_str(), &error), 0) << error;
    ASSERT_EQ(ZEMU_load_cube(&path[0], &back.cube), 0);

    const ZEMU_cube &m = mine.cube, &b = back.cube;
    // every header field the reader derives, in declaration order from a_x to volume, then d1 to d6
    EXPECT_EQ(memcmp(&m.a_x, &b.a_x, (char*)&m.a_grid - (char*)&m.a_x), 0);
    EXPECT_EQ(memcmp(&m.d1, &b.d1, 6 * sizeof(double)), 0);
    EXPECT_EQ(m.ion_charge, b.ion_charge);
    EXPECT_EQ(m.a_grid, b.a_grid);
    EXPECT_EQ(m.b_grid, b.b_grid);
    EXPECT_EQ(m.c_grid, b.c_grid);
    EXPECT_EQ(m.lines_to_ignore, b.lines_to_ignore);
    EXPECT_NEAR(m.global_minimum, b.global_minimum, 6e-13);
    EXPECT_NEAR(m.max_energy, b.max_energy, 6e-13);
    for (long long n = 0; n < mine.total(); n++)
        ASSERT_NEAR(mine.at(n), back.at(n), std::max(6e-13, 1e-15 * std::fabs(mine.at(n)))) << n;

    // the header lines after the title are those of the bundled file
    std::string written = zemu_test::slurp(path);
    EXPECT_EQ(written.rfind("LiFePO4 test\n", 0), 0u);
    EXPECT_EQ(header_after_title(written), header_after_title(zemu_test::slurp(example("LiFePO4/landscape.cube"))));
}

// A failed write leaves neither the target nor the temporary file behind.
TEST(BvseLandscape, FailedWriteLeavesNoFile)
{
    LoadedCif s(example("LiFePO4/structure.cif"));
    Cube mine;
    compute(&s.cif, "Li1+", options(1, {5, 3, 3}), &mine.cube);
    zemu_test::WorkDir dir(false);
    ASSERT_EQ(mkdir(dir.file("taken").c_str(), 0755), 0);
    std::string error;
    EXPECT_EQ(ZEMU_bvse_write_cube(&mine.cube, "Li1+", "t", dir.file("taken").c_str(), &error), 1);
    EXPECT_NE(error.find("taken"), std::string::npos);
    EXPECT_EQ(ZEMU_bvse_write_cube(&mine.cube, "Li1+", "t", dir.file("no/such/dir.cube").c_str(), &error), 1);
    std::vector<std::string> names;
    std::unique_ptr<DIR, int (*)(DIR*)> d(opendir(dir.path().c_str()), closedir);
    for (dirent* e; (e = readdir(d.get())) != nullptr;)
        if (e->d_name[0] != '.') names.push_back(e->d_name);
    EXPECT_EQ(names, std::vector<std::string>{"taken"});
}

// 96 operations: every sampled point equals its own point-by-point sum.
TEST(BvseLandscape, SymmetryCopyMatchesPointByPointSums)
{
    LoadedCif s(zemu_test::data_file("bvse/garnet.cif"));
    Cube mine;
    ZEMU_bvse_report report = compute(&s.cif, "Ca2+", options(1), &mine.cube);
    EXPECT_EQ(report.symmetric, 1);
    EXPECT_LT(report.representatives * 50, mine.total());
    ZEMU_bvse_model model;
    std::string error;
    ASSERT_EQ(ZEMU_bvse_build_model(&s.cif, "Ca2+", 10.0, 0.74, &model, &error), 0) << error;
    for (long long n = 0; n < mine.total(); n += 41) {
        double want = point_by_point(model, mine.cube, n);
        ASSERT_NEAR(mine.at(n), want, 1e-9 * std::max(1.0, std::fabs(want))) << n;
    }
}

// A grid the operations do not fit: every point computed, a warning, the same
// sums as point by point, bit for bit; and no dependence on the thread count.
TEST(BvseLandscape, UnsymmetricGridAndThreadCountIndependence)
{
    LoadedCif s(example("LiFePO4/structure.cif"));
    Cube one, three;
    ZEMU_bvse_report report = compute(&s.cif, "Li1+", options(1, {11, 9, 8}), &one.cube);
    compute(&s.cif, "Li1+", options(3, {11, 9, 8}), &three.cube);
    EXPECT_EQ(report.symmetric, 0);
    EXPECT_EQ(report.representatives, 10 * 8 * 7);
    ASSERT_EQ(report.warnings.size(), 1u);
    EXPECT_NE(report.warnings[0].find("11x9x8"), std::string::npos) << report.warnings[0];
    ZEMU_bvse_model model;
    std::string error;
    ASSERT_EQ(ZEMU_bvse_build_model(&s.cif, "Li1+", 10.0, 0.74, &model, &error), 0);
    for (long long n = 0; n < one.total(); n++) {
        ASSERT_EQ(one.at(n), point_by_point(model, one.cube, n)) << n;
        ASSERT_EQ(one.at(n), three.at(n)) << n;
    }

    Cube sym1, sym3;
    compute(&s.cif, "Li1+", options(1), &sym1.cube);
    compute(&s.cif, "Li1+", options(3), &sym3.cube);
    for (long long n = 0; n < sym1.total(); n++) ASSERT_EQ(sym1.at(n), sym3.at(n)) << n;
}

// The grid's operations are exact: every member of an orbit holds the same value.
TEST(BvseLandscape, HexagonalLandscapeIsExactlySymmetric)
{
    fx::Cif s({"x,y,z"}, {4.0, 4.0, 6.0, 90, 90, 120});
    hexagonal(s);
    s.site("Fe1", "Fe2+", 0.0, 0.0, 0.0, 2, 1.0, 2);
    Cube mine;
    ZEMU_bvse_report report = compute(&s.cif, "Li1+", options(2), &mine.cube);
    ASSERT_EQ(report.symmetric, 1);
    EXPECT_TRUE(report.warnings.empty());
    ZEMU_symcopies copies;
    const ZEMU_cube& c = mine.cube;
    for (int i = 0; i < c.a_grid; i += 3)
        for (int j = 0; j < c.b_grid; j += 2)
            for (int k = 0; k < c.c_grid; k += 5) {
                ZEMU_fastgen_sym_copies(&s.cif, &mine.cube, &copies, i, j, k);
                for (int n = 0; n < copies.total; n++)
                    ASSERT_EQ(c.energy[copies.copy[n].x][copies.copy[n].y][copies.copy[n].z], c.energy[i][j][k]);
            }
    // the site on the grid point at the origin is a same-sign ion: capped
    EXPECT_EQ(c.energy[0][0][0], 100000.0);
}

// Refusals reach the report as one line and leave the grid record untouched.
TEST(BvseLandscape, RefusalsReachTheReport)
{
    LoadedCif s(example("LiFePO4/structure.cif"));
    struct Case {
        const char* ion;
        std::vector<int> grid;
        const char* expected;
    } cases[] = {{"Li1+", {1001, 1001, 1001}, "over the limit"}, {"Li1+", {56, 33, 25}, "odd"},
                 {"Lx1+", {0, 0, 0}, "mobile ion"}, {"Li3+", {0, 0, 0}, "pair Li3+/O2-"}};
    for (const Case& c : cases) {
        Cube cube;
        ZEMU_bvse_options o = options(1, c.grid);
        ZEMU_bvse_report report;
        EXPECT_EQ(ZEMU_bvse_landscape(&s.cif, c.ion, &o, &cube.cube, &report), 1);
        EXPECT_NE(report.error.find(c.expected), std::string::npos) << report.error;
        EXPECT_EQ(cube.cube.energy, nullptr);
    }
}

// The analysis of a computed landscape reports what it reports on the bundled one,
// activation energies included.
TEST(BvseLandscape, AnalysisMatchesTheBundledLandscapes)
{
    for (const char* name : {"LiFePO4", "Na2UO4"}) {
        const char* ion = std::string(name) == "LiFePO4" ? "Li1+" : "Na1+";
        LoadedCif s(example(std::string(name) + "/structure.cif"));
        Cube mine;
        compute(&s.cif, ion, options(0), &mine.cube);
        zemu_test::WorkDir dir;
        std::string error, cif = example(std::string(name) + "/structure.cif");
        ASSERT_EQ(ZEMU_bvse_write_cube(&mine.cube, ion, name, dir.file("mine.cube").c_str(), &error), 0) << error;
        std::vector<std::string> runs[2];
        for (int r = 0; r < 2; r++) {
            std::string cube = r == 0 ? dir.file("mine.cube") : example(std::string(name) + "/landscape.cube");
            zemu_test::RunResult out = dir.run({"--cube", cube, "--cif", cif, ion, "--path", "--print-act", "--summary"});
            runs[r] = {out.out, out.err, std::to_string(out.status), dir.read("ZEMU_summary.txt")};
        }
        EXPECT_EQ(runs[0], runs[1]) << name;
        EXPECT_NE(runs[0][0].find("1D activation energy"), std::string::npos);
    }
}
