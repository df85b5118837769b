// Cube file reader, grid model, periodic indexing, distances and cube export.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "ZEMU-cube.h"
#include "e2e_util.h"
#include "fixtures.h"

namespace {

const double kBohr = 0.529177249;  // Angstrom per Bohr
const bool kIsPath = true;

// A header of six lines with orthogonal voxel steps (given in Bohr) and no atom line.
std::string header(const std::string& second_line, int na, int nb, int nc) {
    char buf[512];
    snprintf(buf, sizeof(buf), "title\n%s\n  0 0.0 0.0 0.0\n  %d 1.889726 0.0 0.0\n  %d 0.0 1.889726 0.0\n"
             "  %d 0.0 0.0 1.889726\n", second_line.c_str(), na, nb, nc);
    return buf;
}

// count value lines start, start + 0.125, ...
std::string values(int count, double start = 0.0) {
    std::string text;
    char buf[64];
    for (int n = 0; n < count; n++) {
        snprintf(buf, sizeof(buf), "%10.6f\n", start + 0.125 * n);
        text += buf;
    }
    return text;
}

// The loader's result for `text`: file bytes, or a path when is_path.
struct Loaded {
    ZEMU_cube cube;
    int status;
    std::string err;
    explicit Loaded(const std::string& text, bool is_path = false) {
        ZEMU_init_cube(&cube);
        zemu_test::WorkDir dir(false);
        std::string path = is_path ? text : dir.file("in.cube");
        if (!is_path) dir.write("in.cube", text);
        testing::internal::CaptureStderr();
        status = ZEMU_load_cube(&path[0], &cube);
        err = testing::internal::GetCapturedStderr();
    }
    ~Loaded() { ZEMU_free_cube(&cube); }
    std::tuple<int, int, int> counts() const { return std::make_tuple(cube.a_grid, cube.b_grid, cube.c_grid); }
};

// A grid with 1 Angstrom steps holding 100 i + 10 j + k.
struct Numbered : fx::Field {
    Numbered(int na, int nb, int nc) : Field(na, nb, nc, [](int i, int j, int k) { return 100.0 * i + 10.0 * j + k; }) {}
};

}  // namespace

TEST(CubeReader, ReadsPaddedHeaderAtomLinesAndOneValuePerLine) {
    Loaded lc(zemu_test::data_file("cube_padded_4x2x3.cube"), kIsPath);
    ASSERT_EQ(lc.status, 0) << lc.err;
    ZEMU_cube& c = lc.cube;
    EXPECT_EQ(c.lines_to_ignore, 2);
    EXPECT_EQ(lc.counts(), std::make_tuple(4, 2, 3));
    EXPECT_DOUBLE_EQ(c.ion_charge, 2.0);
    EXPECT_EQ(c.a_x, 1.889726 * kBohr);
    EXPECT_EQ(c.b_y, 3.779452 * kBohr);
    for (const auto& side : {std::make_pair(c.a, 4.0), std::make_pair(c.b, 4.0), std::make_pair(c.c, 4.5)})
        EXPECT_NEAR(side.first, side.second, 1e-5);
    EXPECT_DOUBLE_EQ(c.alpha, M_PI / 2);
    EXPECT_NEAR(c.volume, c.a * c.b * c.c, 1e-9);
    char buf[64];
    for (int n = 0; n < 24; n++) {
        int i = n / 6, j = (n / 3) % 2, k = n % 3;
        snprintf(buf, sizeof(buf), "%10.6f", 0.1 * i + 0.01 * j + 0.001 * k - 2.0 + (n == 0 ? 0.5 : 0.0));
        EXPECT_EQ(c.energy[i][j][k], strtod(buf, nullptr)) << i << j << k;
    }
    EXPECT_EQ(c.global_minimum, strtod("-1.999000", nullptr));
    EXPECT_DOUBLE_EQ(c.max_energy, c.global_minimum + 5.0);

    ASSERT_EQ(ZEMU_process_cube(&c), 0);
    EXPECT_EQ(c.global_minimum, 0.0);
    EXPECT_EQ(c.energy[0][0][1], 0.0);
    EXPECT_DOUBLE_EQ(c.max_energy, 5.0);
    EXPECT_DOUBLE_EQ(c.energy_shift, 1.999);
}

TEST(CubeReader, OddFirstCountDropsLastPlaneOnEveryAxis) {
    Loaded lc(zemu_test::data_file("cube_odd_3x3x3.cube"), kIsPath);
    ASSERT_EQ(lc.status, 0) << lc.err;
    EXPECT_EQ(lc.counts(), std::make_tuple(2, 2, 2));
    for (int n = 0; n < 8; n++)
        EXPECT_EQ(lc.cube.energy[n / 4][(n / 2) % 2][n % 2], 100.0 * (n / 4) + 10.0 * ((n / 2) % 2) + n % 2);
    // the cell keeps the counts as read: three steps of 2 Angstrom
    EXPECT_NEAR(lc.cube.a, 6.0, 1e-5);
    EXPECT_NEAR(lc.cube.d1, 36.0, 1e-4);
    EXPECT_DOUBLE_EQ(lc.cube.ion_charge, 1.0);

    // only the first count decides: an even first count keeps odd others
    Loaded even(header("x", 2, 3, 3) + values(18));
    ASSERT_EQ(even.status, 0) << even.err;
    EXPECT_EQ(even.counts(), std::make_tuple(2, 3, 3));
    EXPECT_EQ(even.cube.energy[1][2][2], 0.125 * 17);
}

TEST(CubeReader, RejectsBrokenFilesWithOneMessage) {
    const char* kMissingValues = "Error: Invalid CUBE file - missing energy values\n";
    struct Case {
        std::string bytes;
        const char* message;
    } cases[] = {
        {"t\nx\n 0 0 0 0\n 2 1 0 0\n", "Error: Invalid CUBE file - missing header lines\n"},
        {"t\nx\n 2 0 0 0\n 2 1 0 0\n 2 0 1 0\n 2 0 0 1\nonly one atom\n",
         "Error: Invalid CUBE file - missing header lines\n"},
        {header("x", 2, 0, 2), "Error: Invalid CUBE file - invalid grid resolution\n"},
        {header("x", 2, 2, -4), "Error: Invalid CUBE file - invalid grid resolution\n"},
        {"t\nx\n 0 0 0 0\n 2 1 0 0\n 2 0 0 0\n 2 0 0 1\n" + values(8),
         "Error: Invalid CUBE file - invalid cell parameters\n"},
        // fields are split on blanks only: "2\t1.889726" is one field, the first step stays zero
        {"t\nx\n 0 0 0 0\n2\t1.889726 0.0 0.0\n 2 0.0 1.889726 0.0\n 2 0.0 0.0 1.889726\n" + values(8),
         "Error: Invalid CUBE file - invalid cell parameters\n"},
        {"t\nx\n 0 0 0 0\n 2 1 0 0\n 2 2 0 0\n 2 0 0 1\n" + values(8), "Invalid CUBE file - invalid cell angles\n"},
        {header("x", 2, 2, 2) + values(7), kMissingValues},
        {header("x", 3, 3, 3) + values(26), kMissingValues},  // the odd grid still needs every line
        {header("x", 1, 2, 2) + values(4), "Error: Invalid input to ZEMU_alloc_cube_energy()\n"},
        {"/nonexistent/dir/none.cube", "Error: Unable to open CUBE file\n"},  // a path, not bytes
    };
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.message);
        Loaded lc(cs.bytes, cs.bytes[0] == '/');
        EXPECT_EQ(lc.status, 1);
        EXPECT_EQ(lc.err, cs.message);
    }
    Loaded huge(header("x", 64, 64, 64) + values(8));  // claims more values than the file holds
    EXPECT_EQ(huge.err, kMissingValues);
    EXPECT_EQ(huge.cube.energy, nullptr);
    // one byte per value line is enough: empty lines read as 0.0
    Loaded bare(header("x", 2, 2, 2) + std::string(8, '\n'));
    ASSERT_EQ(bare.status, 0) << bare.err;
    EXPECT_EQ(bare.cube.energy[1][1][1], 0.0);
}

TEST(CubeReader, NonFiniteEnergiesAreRefusedNamingTheirLine) {
    auto message = [](int line) {
        return "Error: Invalid CUBE file - energy on line " + std::to_string(line) + " is not a finite number\n";
    };
    // Values 0..7 of a 2 x 2 x 2 grid start on line 7 (no atom lines).
    std::string vals = values(8);
    auto with = [&](int index, const std::string& field) {
        std::string text = vals;
        size_t at = 0;
        for (int n = 0; n < index; n++) at = text.find('\n', at) + 1;
        return text.substr(0, at) + field + "\n" + text.substr(text.find('\n', at) + 1);
    };
    const std::pair<std::string, int> cases[] = {
        {header("x", 2, 2, 2) + with(0, "nan"), 7},
        {header("x", 2, 2, 2) + with(3, " inf"), 10},
        {header("x", 2, 2, 2) + with(7, "-INFINITY"), 14},
        {header("x", 2, 2, 2) + with(5, "1e999"), 12},  // overflows to infinity
        {header("x", 2, 2, 2) + with(1, "NaN(7) 1.0"), 8},
        // two atom lines move the values down
        {"t\nx\n 2 0 0 0\n 2 1.889726 0 0\n 2 0 1.889726 0\n 2 0 0 1.889726\natom 1\natom 2\n" + with(2, "-inf"),
         11},
        // a line longer than the read buffer is still one line of the file
        // (its second piece reads as the next value, as every piece does)
        {header("x", 2, 2, 2) + "0.5" + std::string(1200, ' ') + "1\n" + values(5) + "nan\n" + values(1), 13},
    };
    for (const auto& cs : cases) {
        SCOPED_TRACE(cs.second);
        Loaded lc(cs.first);
        EXPECT_EQ(lc.status, 1);
        EXPECT_EQ(lc.err, message(cs.second));
    }
    // The repeated boundary plane of an odd grid is not used, so it is not checked.
    std::string odd = values(27);
    odd.replace(odd.rfind('\n', odd.size() - 2) + 1, std::string::npos, "nan\n");
    Loaded lc(header("x", 3, 3, 3) + odd);
    ASSERT_EQ(lc.status, 0) << lc.err;
    EXPECT_TRUE(std::isfinite(lc.cube.global_minimum));
}

TEST(CubeReader, SecondLineGivesTheIonChargeDigitAndThirdAxisFieldsTheSixthLineLacks) {
    const std::pair<const char*, double> cases[] = {
        {"Li2+", 2.0}, {"-1", 1.0}, {"12", 1.0}, {"charge 3", 3.0}, {"no digits", 1.0}};
    for (const auto& cs : cases) {
        Loaded lc(header(cs.first, 2, 2, 2) + values(8));
        ASSERT_EQ(lc.status, 0) << cs.first << lc.err;
        EXPECT_DOUBLE_EQ(lc.cube.ion_charge, cs.second) << cs.first;
    }
    // the sixth line gives only count and x: y and z of the third step come from line 2
    Loaded lc("title\n2 0.0 0.0 1.889726\n  0 0.0 0.0 0.0\n  2 1.889726 0.0 0.0\n  2 0.0 1.889726 0.0\n   2   0.0\n" +
              values(8));
    ASSERT_EQ(lc.status, 0) << lc.err;
    EXPECT_EQ(lc.cube.c_z, 1.889726 * kBohr);
    EXPECT_NEAR(lc.cube.c, 2.0, 1e-5);
}

TEST(CubeReader, ValueIsTheLeadingNumberOfTheFirstFieldBitForBitAsStrtodReadsIt) {
    std::string text;
    std::vector<double> want;
    auto add = [&](const std::string& line, double v) { text += line, want.push_back(v); };
    const std::pair<const char*, double> lines[] = {
        {"  -1.25\n", -1.25}, {"\t0.5\n", 0.5}, {"3.5e-1 junk\n", 0.35}, {"+.75\n", 0.75}, {"1e3\n", 1000.0},
        {"0x10\n", 16.0}, {"   \t 9\n", 0.0}, {"-0.000000\n", -0.0},
        {"12345678901234567890\n", strtod("12345678901234567890", nullptr)},
        {"0.1234567890123456789\n", strtod("0.1234567890123456789", nullptr)}, {"7 8 9\n", 7.0},
        {"2.675e-2\r\n", strtod("2.675e-2", nullptr)}};
    for (const auto& l : lines) add(l.first, l.second);
    // 1500 characters are read in buffer-sized pieces: the first 999 give 1.5, the rest is a line of its own
    add("1.5" + std::string(1496, ' ') + "\n", 1.5);
    want.push_back(0.0);
    unsigned seed = 12345;
    char buf[64];
    const char* formats[] = {"%.6f", "%.17g", "%.3f", "%.12f"};
    for (int n = 0; n < 64; n++) {
        seed = seed * 1103515245u + 12345u;
        snprintf(buf, sizeof(buf), formats[n % 4], (static_cast<int>(seed >> 8) % 2000000 - 1000000) / 1234.5678);
        add("  " + std::string(buf) + "\n", strtod(buf, nullptr));
    }
    Loaded lc(header("x", 2, 3, 13) + text);
    ASSERT_EQ(lc.status, 0) << lc.err;
    ASSERT_EQ(want.size(), 78u);
    for (size_t n = 0; n < want.size(); n++) {
        double got = lc.cube.energy[n / 39][(n / 13) % 3][n % 13];
        EXPECT_EQ(got, want[n]) << "value " << n;
        EXPECT_EQ(std::signbit(got), std::signbit(want[n])) << "value " << n;
    }
}

TEST(CubeGrid, PeriodicIndicesFollowTheProgramsRule) {
    Numbered g(4, 5, 6), h(4, 4, 4);
    // integer (index, axis, wrapped): -2n gives n, an unknown axis gives -1
    const int ints[][3] = {{-4, 1, 0}, {-8, 1, 4}, {4, 1, 0}, {5, 1, 1}, {-1, 2, 4}, {-7, 3, 5}, {13, 3, 1}, {2, 4, -1}};
    for (const auto& cs : ints) EXPECT_EQ(ZEMU_shift_index(&g.cube, cs[0], cs[1]), cs[2]) << cs[0] << " axis " << cs[1];
    ZEMU_cube_triple_index t = ZEMU_shift_index_xyz(&g.cube, -1, 5, 6);
    EXPECT_EQ(std::make_tuple(t.x, t.y, t.z), std::make_tuple(3, 0, 0));
    // real: zero is treated differently on the first axis
    const double reals[][3] = {{-0.5, 1, 3.5},  {1e-12, 1, 0.0},  {1e-12, 2, 1e-12}, {-4.0, 3, 4.0},
                               {5.25, 2, 1.25}, {-5.25, 2, 2.75}, {1.0, 0, -1.0}};
    for (const auto& cs : reals)
        EXPECT_EQ(ZEMU_shift_index_dbl(&h.cube, cs[0], static_cast<int>(cs[1])), cs[2]) << cs[0] << " axis " << cs[1];
    ZEMU_cube_triple_index_dbl d = ZEMU_shift_index_xyz_dbl(&h.cube, 4.5, -0.25, 2.0);
    EXPECT_EQ(std::make_tuple(d.x, d.y, d.z), std::make_tuple(0.5, 3.75, 2.0));
    // energies are read at wrapped indices; -2n wraps onto n, where the accessor reads plane 0, not past the array
    EXPECT_EQ(ZEMU_cube_energy(&h.cube, -1, 4, 5), 301.0);
    EXPECT_EQ(ZEMU_cube_energy(&h.cube, 2, 3, 1), 231.0);
    EXPECT_EQ(ZEMU_cube_energy(&h.cube, -8, 0, 0), 0.0);
}

TEST(CubeGrid, EqualityIsAStrictTenthOfANanoTolerance) {
    EXPECT_EQ(ZEMU_cube_equal_dbl(1.0, 1.0 + 5e-11), 1);
    EXPECT_EQ(ZEMU_cube_equal_dbl(1.0, 1.0 + 2e-10), 0);
}

TEST(CubeGrid, DistancesUseTheCellMetricInTheWrittenOrder) {
    ZEMU_cube c;
    ZEMU_init_cube(&c);
    c.a_grid = 10, c.b_grid = 12, c.c_grid = 14;
    c.a_x = 0.5, c.b_x = 0.1, c.b_y = 0.45, c.c_x = 0.05, c.c_y = 0.07, c.c_z = 0.4;
    ZEMU_calc_cell_parameter(&c);
    EXPECT_EQ(c.d4, 2 * c.a * c.b * cos(c.gamma));
    EXPECT_EQ(c.d5, 2 * c.b * c.c * cos(c.alpha));
    EXPECT_EQ(c.d6, 2 * c.a * c.c * cos(c.beta));
    double ca = cos(c.alpha), cb = cos(c.beta), cg = cos(c.gamma);
    EXPECT_EQ(c.volume, c.a * c.b * c.c * sqrt(1 - ca * ca - cb * cb - cg * cos(c.gamma + 2 * ca * cb * cg)));

    // the sum is taken in this order, bit for bit
    double x1 = 3.3, y1 = -1.7, z1 = 12.9, x2 = 0.1, y2 = 5.5, z2 = 2.0;
    double du = x1 / 10 - x2 / 10, dv = y1 / 12 - y2 / 12, dw = z1 / 14 - z2 / 14;
    double want = sqrt(du * du * c.d1 + dv * dv * c.d2 + dw * dw * c.d3 + du * dv * c.d4 + dv * dw * c.d5 + du * dw * c.d6);
    EXPECT_EQ(ZEMU_distance_grid(&c, x1, y1, z1, x2, y2, z2), want);
    EXPECT_EQ(ZEMU_distance_frac(&c, x1 / 10, y1 / 12, z1 / 14, x2 / 10, y2 / 12, z2 / 14), want);
}

TEST(CubeGrid, RectangularCellDistanceAndAngles) {
    Numbered g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    EXPECT_DOUBLE_EQ(ZEMU_distance_grid(c, 0, 0, 0, 3, 4, 0), 5.0);
    EXPECT_DOUBLE_EQ(ZEMU_angle(c, 1, 0, 0, 0, 0, 0, 0, 1, 0), M_PI / 2);
    EXPECT_DOUBLE_EQ(ZEMU_angle(c, 1, 1, 0, 0, 0, 0, 1, 0, 0), M_PI / 4);
    EXPECT_EQ(ZEMU_angle(c, 0, 0, 0, 0, 0, 0, 1, 0, 0), 0.0);  // zero-length arm
    EXPECT_DOUBLE_EQ(c->volume, 64.0);
}

TEST(CubeGrid, EmptyArrayDimensionIsAnAllocationError) {
    double*** dbl = nullptr;
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_alloc_3D_dbl_array(&dbl, 2, 0, 2), 1); }),
              "Error: Memory allocation problem in ZEMU_alloc_3D_dbl_array()\n");
    ZEMU_free_3D_dbl_array(&dbl, 2, 0);
    EXPECT_EQ(dbl, nullptr);
}

TEST(CubeExport, ExportedGridReadsBackAndAnUnwritableTargetIsReported) {
    Loaded src(zemu_test::data_file("cube_padded_4x2x3.cube"), kIsPath);
    ASSERT_EQ(src.status, 0);
    ZEMU_process_cube(&src.cube);
    zemu_test::WorkDir dir(false);
    char old[4096];
    ASSERT_NE(getcwd(old, sizeof(old)), nullptr);
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    int exported = ZEMU_export_cube(&src.cube);
    rename("ZEMU_cube.cube", "ZEMU_cube.cube.keep");
    mkdir("ZEMU_cube.cube", 0755);  // a directory where the file should go
    std::string err = fx::stderr_of([&] { EXPECT_EQ(ZEMU_export_cube(&src.cube), 1); });
    rmdir("ZEMU_cube.cube");
    ASSERT_EQ(chdir(old), 0);
    EXPECT_EQ(err, "Error: Unable to export to .cube file.\n");

    EXPECT_EQ(exported, 0);
    const std::string head = "Smoothened energy landscape\nGenerated by tarnix\n  1 0.0 0.0 0.0\n"
                             "    4   1.889726   0.000000   0.000000\n";
    EXPECT_EQ(dir.read("ZEMU_cube.cube.keep").substr(0, head.size()), head);
    Loaded back(dir.file("ZEMU_cube.cube.keep"), kIsPath);
    ASSERT_EQ(back.status, 0) << back.err;
    EXPECT_EQ(back.cube.lines_to_ignore, 1);
    EXPECT_DOUBLE_EQ(back.cube.ion_charge, 1.0);
    EXPECT_EQ(back.counts(), std::make_tuple(4, 2, 3));
    EXPECT_NEAR(back.cube.a, src.cube.a, 1e-5);
    for (int n = 0; n < 24; n++)
        EXPECT_NEAR(back.cube.energy[n / 6][(n / 3) % 2][n % 3], src.cube.energy[n / 6][(n / 3) % 2][n % 3], 5e-7);
}
