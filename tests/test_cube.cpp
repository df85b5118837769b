// Cube file reader, grid model, periodic indexing, distances and cube export.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "ZEMU-cube.h"
#include "e2e_util.h"

namespace {

// One Bohr in the header's units gives this many Angstrom.
const double kBohr = 0.529177249;

// A header of six lines with orthogonal voxel steps (given in Bohr) and no atom line.
std::string header(const std::string& second_line, int na, int nb, int nc, double step_bohr = 1.889726)
{
    char buf[512];
    snprintf(buf, sizeof(buf),
             "title\n%s\n  0 0.0 0.0 0.0\n  %d %f 0.0 0.0\n  %d 0.0 %f 0.0\n  %d 0.0 0.0 %f\n",
             second_line.c_str(), na, step_bohr, nb, step_bohr, nc, step_bohr);
    return buf;
}

std::string values(int count, double start = 0.0)
{
    std::string text;
    char buf[64];
    for (int n = 0; n < count; n++) {
        snprintf(buf, sizeof(buf), "%10.6f\n", start + 0.125 * n);
        text += buf;
    }
    return text;
}

// Loads `bytes` as a cube file from a fresh directory; returns the loader's result.
struct LoadedCube {
    ZEMU_cube cube;
    int status;
    std::string err;
    LoadedCube() { ZEMU_init_cube(&cube); }
    ~LoadedCube() { ZEMU_free_cube(&cube); }
};

void load_bytes(LoadedCube* lc, const std::string& bytes)
{
    zemu_test::WorkDir dir(false);
    dir.write("in.cube", bytes);
    std::string path = dir.file("in.cube");
    testing::internal::CaptureStderr();
    lc->status = ZEMU_load_cube(&path[0], &lc->cube);
    lc->err = testing::internal::GetCapturedStderr();
}

void load_file(LoadedCube* lc, const std::string& path)
{
    std::string p = path;
    testing::internal::CaptureStderr();
    lc->status = ZEMU_load_cube(&p[0], &lc->cube);
    lc->err = testing::internal::GetCapturedStderr();
}

// A rectangular in-memory grid with 1 Angstrom steps.
void make_grid(ZEMU_cube* cube, int na, int nb, int nc)
{
    ZEMU_init_cube(cube);
    cube->a_grid = na;
    cube->b_grid = nb;
    cube->c_grid = nc;
    cube->a_x = cube->b_y = cube->c_z = 1.0;
    ZEMU_calc_cell_parameter(cube);
    ASSERT_EQ(ZEMU_alloc_cube_energy(cube), 0);
    for (int i = 0; i < na; i++)
        for (int j = 0; j < nb; j++)
            for (int k = 0; k < nc; k++) cube->energy[i][j][k] = 100.0 * i + 10.0 * j + k;
}

}  // namespace

// ---------------------------------------------------------------------------

TEST(CubeReader, ReadsPaddedHeaderAtomLinesAndOneValuePerLine)
{
    LoadedCube lc;
    load_file(&lc, zemu_test::data_file("cube_padded_4x2x3.cube"));
    ASSERT_EQ(lc.status, 0) << lc.err;
    ZEMU_cube& c = lc.cube;
    EXPECT_EQ(c.lines_to_ignore, 2);
    EXPECT_EQ(c.a_grid, 4);
    EXPECT_EQ(c.b_grid, 2);
    EXPECT_EQ(c.c_grid, 3);
    EXPECT_DOUBLE_EQ(c.ion_charge, 2.0);
    EXPECT_EQ(c.a_x, 1.889726 * kBohr);
    EXPECT_EQ(c.b_y, 3.779452 * kBohr);
    EXPECT_NEAR(c.a, 4.0, 1e-5);
    EXPECT_NEAR(c.b, 4.0, 1e-5);
    EXPECT_NEAR(c.c, 4.5, 1e-5);
    EXPECT_DOUBLE_EQ(c.alpha, M_PI / 2);
    EXPECT_NEAR(c.volume, c.a * c.b * c.c, 1e-9);
    char buf[64];
    for (int i = 0; i < 4; i++)
        for (int j = 0; j < 2; j++)
            for (int k = 0; k < 3; k++) {
                double v = 0.1 * i + 0.01 * j + 0.001 * k - 2.0 + ((i == 0 && j == 0 && k == 0) ? 0.5 : 0.0);
                snprintf(buf, sizeof(buf), "%10.6f", v);
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

TEST(CubeReader, OddFirstCountDropsLastPlaneOnEveryAxis)
{
    LoadedCube lc;
    load_file(&lc, zemu_test::data_file("cube_odd_3x3x3.cube"));
    ASSERT_EQ(lc.status, 0) << lc.err;
    ZEMU_cube& c = lc.cube;
    EXPECT_EQ(c.a_grid, 2);
    EXPECT_EQ(c.b_grid, 2);
    EXPECT_EQ(c.c_grid, 2);
    for (int i = 0; i < 2; i++)
        for (int j = 0; j < 2; j++)
            for (int k = 0; k < 2; k++) EXPECT_EQ(c.energy[i][j][k], 100.0 * i + 10.0 * j + k);
    // the cell keeps the counts as read: three steps of 2 Angstrom
    EXPECT_NEAR(c.a, 6.0, 1e-5);
    EXPECT_NEAR(c.d1, 36.0, 1e-4);
    EXPECT_DOUBLE_EQ(c.ion_charge, 1.0);
}

TEST(CubeReader, OnlyTheFirstCountDecidesTheOddReduction)
{
    LoadedCube lc;
    load_bytes(&lc, header("x", 2, 3, 3) + values(18));
    ASSERT_EQ(lc.status, 0) << lc.err;
    EXPECT_EQ(lc.cube.a_grid, 2);
    EXPECT_EQ(lc.cube.b_grid, 3);
    EXPECT_EQ(lc.cube.c_grid, 3);
    EXPECT_EQ(lc.cube.energy[1][2][2], 0.125 * 17);
}

TEST(CubeReader, OddGridStillNeedsEveryValueLine)
{
    LoadedCube lc;
    load_bytes(&lc, header("x", 3, 3, 3) + values(26));
    EXPECT_EQ(lc.status, 1);
    EXPECT_EQ(lc.err, "Error: Invalid CUBE file - missing energy values\n");
}

TEST(CubeReader, HeaderClaimingMoreValuesThanTheFileHoldsAllocatesNothing)
{
    LoadedCube lc;
    load_bytes(&lc, header("x", 64, 64, 64) + values(8));
    EXPECT_EQ(lc.status, 1);
    EXPECT_EQ(lc.err, "Error: Invalid CUBE file - missing energy values\n");
    EXPECT_EQ(lc.cube.energy, nullptr);

    // one byte per value line is enough: empty lines read as 0.0
    LoadedCube bare;
    load_bytes(&bare, header("x", 2, 2, 2) + std::string(8, '\n'));
    ASSERT_EQ(bare.status, 0) << bare.err;
    EXPECT_EQ(bare.cube.energy[1][1][1], 0.0);
}

TEST(CubeReader, IonChargeIsTheFirstDigitOfTheSecondLine)
{
    struct Case {
        const char* line;
        double charge;
    } cases[] = {{"Li2+", 2.0}, {"-1", 1.0}, {"12", 1.0}, {"charge 3", 3.0}, {"no digits", 1.0}};
    for (const Case& cs : cases) {
        LoadedCube lc;
        load_bytes(&lc, header(cs.line, 2, 2, 2) + values(8));
        ASSERT_EQ(lc.status, 0) << cs.line << lc.err;
        EXPECT_DOUBLE_EQ(lc.cube.ion_charge, cs.charge) << cs.line;
    }
}

TEST(CubeReader, SecondLineSuppliesThirdAxisFieldsTheSixthLineLacks)
{
    // the sixth line gives only count and x: y and z of the third step come from line 2
    std::string text = "title\n2 0.0 0.0 1.889726\n  0 0.0 0.0 0.0\n  2 1.889726 0.0 0.0\n"
                       "  2 0.0 1.889726 0.0\n   2   0.0\n" +
                       values(8);
    LoadedCube lc;
    load_bytes(&lc, text);
    ASSERT_EQ(lc.status, 0) << lc.err;
    EXPECT_DOUBLE_EQ(lc.cube.ion_charge, 2.0);
    EXPECT_EQ(lc.cube.c_z, 1.889726 * kBohr);
    EXPECT_NEAR(lc.cube.c, 2.0, 1e-5);
}

TEST(CubeReader, FieldsAreSplitOnBlanksOnly)
{
    // "2\t1.889726" is one field: the step vector of the first axis stays zero
    std::string text = "t\nx\n 0 0 0 0\n2\t1.889726 0.0 0.0\n 2 0.0 1.889726 0.0\n 2 0.0 0.0 1.889726\n" + values(8);
    LoadedCube lc;
    load_bytes(&lc, text);
    EXPECT_EQ(lc.status, 1);
    EXPECT_EQ(lc.err, "Error: Invalid CUBE file - invalid cell parameters\n");
}

TEST(CubeReader, ValueIsTheLeadingNumberOfTheFirstField)
{
    const char* lines[] = {"  -1.25\n",      "\t0.5\n",          "3.5e-1 junk\n", "+.75\n",
                           "1e3\n",          "0x10\n",           "   \t 9\n",     "-0.000000\n",
                           "12345678901234567890\n", "0.1234567890123456789\n", "7 8 9\n", "2.675e-2\r\n"};
    const double expected[] = {-1.25, 0.5, 0.35, 0.75, 1000.0, 16.0, 0.0, -0.0,
                               strtod("12345678901234567890", nullptr), strtod("0.1234567890123456789", nullptr),
                               7.0, strtod("2.675e-2", nullptr)};
    std::string text = header("x", 2, 2, 3);
    for (const char* l : lines) text += l;
    LoadedCube lc;
    load_bytes(&lc, text);
    ASSERT_EQ(lc.status, 0) << lc.err;
    for (int n = 0; n < 12; n++) {
        double got = lc.cube.energy[n / 6][(n / 3) % 2][n % 3];
        EXPECT_EQ(got, expected[n]) << lines[n];
        EXPECT_EQ(std::signbit(got), std::signbit(expected[n])) << lines[n];
    }
}

TEST(CubeReader, DecimalValuesMatchStrtodBitForBit)
{
    std::vector<std::string> texts;
    unsigned seed = 12345;
    char buf[64];
    for (int n = 0; n < 64; n++) {
        seed = seed * 1103515245u + 12345u;
        double v = (static_cast<int>(seed >> 8) % 2000000 - 1000000) / 1234.5678;
        const char* formats[] = {"%.6f", "%.17g", "%.3f", "%.12f"};
        snprintf(buf, sizeof(buf), formats[n % 4], v);
        texts.push_back(buf);
    }
    std::string text = header("x", 4, 4, 4);
    for (const std::string& t : texts) text += "  " + t + "\n";
    LoadedCube lc;
    load_bytes(&lc, text);
    ASSERT_EQ(lc.status, 0) << lc.err;
    for (int n = 0; n < 64; n++)
        EXPECT_EQ(lc.cube.energy[n / 16][(n / 4) % 4][n % 4], strtod(texts[n].c_str(), nullptr)) << texts[n];
}

TEST(CubeReader, OverlongLineIsReadInBufferSizedPieces)
{
    // 1500 characters: the first 999 give 1.5, the rest is a line of its own (0.0)
    std::string longline = "1.5" + std::string(1496, ' ') + "\n";
    LoadedCube lc;
    load_bytes(&lc, header("x", 2, 1, 2) + longline + "2.5\n3.5\n");
    ASSERT_EQ(lc.status, 0) << lc.err;
    EXPECT_EQ(lc.cube.energy[0][0][0], 1.5);
    EXPECT_EQ(lc.cube.energy[0][0][1], 0.0);
    EXPECT_EQ(lc.cube.energy[1][0][0], 2.5);
    EXPECT_EQ(lc.cube.energy[1][0][1], 3.5);
}

TEST(CubeReader, AcceptsWindowsLineEnds)
{
    std::string text = header("x", 2, 2, 2) + values(8);
    std::string crlf;
    for (char ch : text) {
        if (ch == '\n') crlf += '\r';
        crlf += ch;
    }
    LoadedCube lc;
    load_bytes(&lc, crlf);
    ASSERT_EQ(lc.status, 0) << lc.err;
    EXPECT_EQ(lc.cube.c_grid, 2);
    EXPECT_EQ(lc.cube.energy[1][1][1], 0.875);
}

TEST(CubeReader, RejectsBrokenFilesWithOneMessage)
{
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
        {"t\nx\n 0 0 0 0\n 2 1 0 0\n 2 2 0 0\n 2 0 0 1\n" + values(8), "Invalid CUBE file - invalid cell angles\n"},
        {header("x", 2, 2, 2) + values(7), "Error: Invalid CUBE file - missing energy values\n"},
        {header("x", 1, 2, 2) + values(4), "Error: Invalid input to ZEMU_alloc_cube_energy()\n"},
    };
    for (const Case& cs : cases) {
        LoadedCube lc;
        load_bytes(&lc, cs.bytes);
        EXPECT_EQ(lc.status, 1) << cs.message;
        EXPECT_EQ(lc.err, cs.message);
    }
    LoadedCube missing;
    load_file(&missing, "/nonexistent/dir/none.cube");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "Error: Unable to open CUBE file\n");
}

TEST(CubeReader, CeilingIsFiveAboveTheMinimumUnlessGiven)
{
    LoadedCube plain;
    load_bytes(&plain, header("x", 2, 2, 2) + values(8, -3.0));
    ASSERT_EQ(plain.status, 0);
    ZEMU_process_cube(&plain.cube);
    EXPECT_DOUBLE_EQ(plain.cube.max_energy, 5.0);

    LoadedCube given;
    given.cube.max_energy_above_gmin = 0.3;
    load_bytes(&given, header("x", 2, 2, 2) + values(8, -3.0));
    ASSERT_EQ(given.status, 0);
    ZEMU_process_cube(&given.cube);
    EXPECT_NEAR(given.cube.max_energy, 0.3, 0.001);
}

// ---------------------------------------------------------------------------

TEST(CubeGrid, IntegerWrapFollowsTheProgramsRule)
{
    ZEMU_cube c;
    make_grid(&c, 4, 5, 6);
    EXPECT_EQ(ZEMU_shift_index(&c, -4, 1), 0);
    EXPECT_EQ(ZEMU_shift_index(&c, -8, 1), 4);  // -2n gives n
    EXPECT_EQ(ZEMU_shift_index(&c, 4, 1), 0);
    EXPECT_EQ(ZEMU_shift_index(&c, 5, 1), 1);
    EXPECT_EQ(ZEMU_shift_index(&c, -1, 2), 4);
    EXPECT_EQ(ZEMU_shift_index(&c, -7, 3), 5);
    EXPECT_EQ(ZEMU_shift_index(&c, 13, 3), 1);
    EXPECT_EQ(ZEMU_shift_index(&c, 2, 4), -1);
    ZEMU_cube_triple_index t = ZEMU_shift_index_xyz(&c, -1, 5, 6);
    EXPECT_EQ(t.x, 3);
    EXPECT_EQ(t.y, 0);
    EXPECT_EQ(t.z, 0);
    ZEMU_free_cube(&c);
}

TEST(CubeGrid, RealWrapTreatsZeroDifferentlyOnTheFirstAxis)
{
    ZEMU_cube c;
    make_grid(&c, 4, 4, 4);
    EXPECT_EQ(ZEMU_shift_index_dbl(&c, -0.5, 1), 3.5);
    EXPECT_EQ(ZEMU_shift_index_dbl(&c, 1e-12, 1), 0.0);
    EXPECT_EQ(ZEMU_shift_index_dbl(&c, 1e-12, 2), 1e-12);
    EXPECT_EQ(ZEMU_shift_index_dbl(&c, -4.0, 3), 4.0);
    EXPECT_EQ(ZEMU_shift_index_dbl(&c, 5.25, 2), 1.25);
    EXPECT_EQ(ZEMU_shift_index_dbl(&c, -5.25, 2), 2.75);
    EXPECT_EQ(ZEMU_shift_index_dbl(&c, 1.0, 0), -1.0);
    ZEMU_cube_triple_index_dbl t = ZEMU_shift_index_xyz_dbl(&c, 4.5, -0.25, 2.0);
    EXPECT_EQ(t.x, 0.5);
    EXPECT_EQ(t.y, 3.75);
    EXPECT_EQ(t.z, 2.0);
    ZEMU_free_cube(&c);
}

TEST(CubeGrid, EnergyIsReadAtWrappedIndices)
{
    ZEMU_cube c;
    make_grid(&c, 4, 4, 4);
    EXPECT_EQ(ZEMU_cube_energy(&c, -1, 4, 5), 300.0 + 0.0 + 1.0);
    EXPECT_EQ(ZEMU_cube_energy(&c, 2, 3, 1), 231.0);
    // -2n wraps onto n; the accessor reads plane 0 there rather than past the array
    EXPECT_EQ(ZEMU_cube_energy(&c, -8, 0, 0), 0.0);
    ZEMU_free_cube(&c);
}

TEST(CubeGrid, EqualityIsAStrictTenthOfANanoTolerance)
{
    EXPECT_EQ(ZEMU_cube_equal_dbl(1.0, 1.0 + 5e-11), 1);
    EXPECT_EQ(ZEMU_cube_equal_dbl(1.0, 1.0 + 2e-10), 0);
}

TEST(CubeGrid, DistancesUseTheCellMetricInTheWrittenOrder)
{
    ZEMU_cube c;
    ZEMU_init_cube(&c);
    c.a_grid = 10;
    c.b_grid = 12;
    c.c_grid = 14;
    c.a_x = 0.5;
    c.b_x = 0.1, c.b_y = 0.45;
    c.c_x = 0.05, c.c_y = 0.07, c.c_z = 0.4;
    ZEMU_calc_cell_parameter(&c);
    EXPECT_EQ(c.d4, 2 * c.a * c.b * cos(c.gamma));
    EXPECT_EQ(c.d5, 2 * c.b * c.c * cos(c.alpha));
    EXPECT_EQ(c.d6, 2 * c.a * c.c * cos(c.beta));
    double ca = cos(c.alpha), cb = cos(c.beta), cg = cos(c.gamma);
    EXPECT_EQ(c.volume, c.a * c.b * c.c * sqrt(1 - ca * ca - cb * cb - cg * cos(c.gamma + 2 * ca * cb * cg)));

    double x1 = 3.3, y1 = -1.7, z1 = 12.9, x2 = 0.1, y2 = 5.5, z2 = 2.0;
    double du = x1 / 10 - x2 / 10, dv = y1 / 12 - y2 / 12, dw = z1 / 14 - z2 / 14;
    double want = sqrt(du * du * c.d1 + dv * dv * c.d2 + dw * dw * c.d3 + du * dv * c.d4 + dv * dw * c.d5 +
                       du * dw * c.d6);
    EXPECT_EQ(ZEMU_distance_grid(&c, x1, y1, z1, x2, y2, z2), want);
    EXPECT_EQ(ZEMU_distance_frac(&c, x1 / 10, y1 / 12, z1 / 14, x2 / 10, y2 / 12, z2 / 14),
              sqrt(((x1 / 10) - (x2 / 10)) * ((x1 / 10) - (x2 / 10)) * c.d1 +
                   ((y1 / 12) - (y2 / 12)) * ((y1 / 12) - (y2 / 12)) * c.d2 +
                   ((z1 / 14) - (z2 / 14)) * ((z1 / 14) - (z2 / 14)) * c.d3 +
                   ((x1 / 10) - (x2 / 10)) * ((y1 / 12) - (y2 / 12)) * c.d4 +
                   ((y1 / 12) - (y2 / 12)) * ((z1 / 14) - (z2 / 14)) * c.d5 +
                   ((x1 / 10) - (x2 / 10)) * ((z1 / 14) - (z2 / 14)) * c.d6));
}

TEST(CubeGrid, RectangularCellDistanceAndAngles)
{
    ZEMU_cube c;
    make_grid(&c, 4, 4, 4);
    EXPECT_DOUBLE_EQ(ZEMU_distance_grid(&c, 0, 0, 0, 3, 4, 0), 5.0);
    EXPECT_DOUBLE_EQ(ZEMU_angle(&c, 1, 0, 0, 0, 0, 0, 0, 1, 0), M_PI / 2);
    EXPECT_DOUBLE_EQ(ZEMU_angle(&c, 1, 1, 0, 0, 0, 0, 1, 0, 0), M_PI / 4);
    EXPECT_EQ(ZEMU_angle(&c, 0, 0, 0, 0, 0, 0, 1, 0, 0), 0.0);
    EXPECT_DOUBLE_EQ(c.volume, 64.0);
    ZEMU_free_cube(&c);
}

TEST(CubeGrid, ThreeDimensionalArraysAllocateAndRelease)
{
    char*** flags = nullptr;
    ASSERT_EQ(ZEMU_calloc_3D_char_array(&flags, 3, 4, 5), 0);
    int zeros = 0;
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 4; j++)
            for (int k = 0; k < 5; k++) zeros += flags[i][j][k] == 0;
    EXPECT_EQ(zeros, 60);
    ZEMU_free_3D_char_array(&flags, 3, 4);
    EXPECT_EQ(flags, nullptr);

    int*** ints = nullptr;
    ASSERT_EQ(ZEMU_alloc_3D_int_array(&ints, 2, 2, 2), 0);
    ints[1][1][1] = 7;
    ZEMU_free_3D_int_array(&ints, 2, 2);
    EXPECT_EQ(ints, nullptr);

    double*** dbl = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_alloc_3D_dbl_array(&dbl, 2, 0, 2), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Memory allocation problem in ZEMU_alloc_3D_dbl_array()\n");
    ZEMU_free_3D_dbl_array(&dbl, 2, 0);
    EXPECT_EQ(dbl, nullptr);
}

// ---------------------------------------------------------------------------

namespace {

// Runs body with the working directory switched to dir.
template <typename F>
void in_directory(const std::string& dir, F body)
{
    char old[4096];
    ASSERT_NE(getcwd(old, sizeof(old)), nullptr);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    body();
    ASSERT_EQ(chdir(old), 0);
}

}  // namespace

TEST(CubeExport, ExportedGridReadsBackWithCountsAndEnergies)
{
    LoadedCube src;
    load_file(&src, zemu_test::data_file("cube_padded_4x2x3.cube"));
    ASSERT_EQ(src.status, 0);
    ZEMU_process_cube(&src.cube);

    zemu_test::WorkDir dir(false);
    in_directory(dir.path(), [&] { EXPECT_EQ(ZEMU_export_cube(&src.cube), 0); });
    std::string text = dir.read("ZEMU_cube.cube");
    const std::string head = "Smoothened energy landscape\nGenerated by tarnix\n  1 0.0 0.0 0.0\n"
                             "    4   1.889726   0.000000   0.000000\n";
    EXPECT_EQ(text.substr(0, head.size()), head);

    LoadedCube back;
    load_file(&back, dir.file("ZEMU_cube.cube"));
    ASSERT_EQ(back.status, 0) << back.err;
    EXPECT_EQ(back.cube.lines_to_ignore, 1);
    EXPECT_DOUBLE_EQ(back.cube.ion_charge, 1.0);
    EXPECT_EQ(back.cube.a_grid, 4);
    EXPECT_EQ(back.cube.b_grid, 2);
    EXPECT_EQ(back.cube.c_grid, 3);
    EXPECT_NEAR(back.cube.a, src.cube.a, 1e-5);
    for (int i = 0; i < 4; i++)
        for (int j = 0; j < 2; j++)
            for (int k = 0; k < 3; k++) EXPECT_NEAR(back.cube.energy[i][j][k], src.cube.energy[i][j][k], 5e-7);
}

TEST(CubeExport, UnwritableTargetIsReported)
{
    ZEMU_cube c;
    make_grid(&c, 2, 2, 2);
    zemu_test::WorkDir dir(false);
    in_directory(dir.path(), [&] {
        ASSERT_EQ(mkdir("ZEMU_cube.cube", 0755), 0);  // a directory where the file should go
        testing::internal::CaptureStderr();
        EXPECT_EQ(ZEMU_export_cube(&c), 1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Unable to export to .cube file.\n");
        rmdir("ZEMU_cube.cube");
    });
    ZEMU_free_cube(&c);
}
