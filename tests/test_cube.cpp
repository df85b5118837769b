// Cube file reader, periodic indexing, cell metric and cube export.
#include "ZEMU-cube.h"
#include "fixtures.h"

namespace {

// Six header lines with orthogonal steps of 1 Angstrom (given in Bohr) and no atom line.
std::string header(const std::string& second_line, int na, int nb, int nc) {
    char buf[512];
    snprintf(buf, sizeof(buf), "title\n%s\n  0 0.0 0.0 0.0\n  %d 1.889726 0.0 0.0\n  %d 0.0 1.889726 0.0\n"
             "  %d 0.0 0.0 1.889726\n", second_line.c_str(), na, nb, nc);
    return buf;
}

// count value lines 0, 0.125, 0.25, ...
std::string values(int count) {
    std::string text;
    for (int n = 0; n < count; n++) text += std::to_string(0.125 * n) + "\n";
    return text;
}

// The loader's result for the file at `path`, or for the bytes `text` when path is empty.
struct Loaded {
    ZEMU_cube cube;
    int status;
    std::string err;
    explicit Loaded(const std::string& text, std::string path = "") {
        ZEMU_init_cube(&cube);
        zemu_test::WorkDir dir(false);
        if (path.empty()) dir.write("in.cube", text), path = dir.file("in.cube");
        err = fx::stderr_of([&] { status = ZEMU_load_cube(&path[0], &cube); });
    }
    ~Loaded() { ZEMU_free_cube(&cube); }
    double at(int n) const { return cube.energy[n / (cube.b_grid * cube.c_grid)][(n / cube.c_grid) % cube.b_grid][n % cube.c_grid]; }
};

}  // namespace

TEST(CubeReader, ReadsPaddedHeaderAndOddGridsAndShiftsToAZeroMinimum) {
    Loaded lc("", zemu_test::data_file("cube_padded_4x2x3.cube"));
    ASSERT_EQ(lc.status, 0) << lc.err;
    ZEMU_cube& c = lc.cube;
    EXPECT_EQ(std::make_tuple(c.lines_to_ignore, c.a_grid, c.b_grid, c.c_grid, c.ion_charge), std::make_tuple(2, 4, 2, 3, 2.0));
    EXPECT_NEAR(c.c, 4.5, 1e-5);
    char buf[64];
    for (int n = 0; n < 24; n++) {
        snprintf(buf, sizeof(buf), "%10.6f", 0.1 * (n / 6) + 0.01 * ((n / 3) % 2) + 0.001 * (n % 3) - 2.0 + (n ? 0.0 : 0.5));
        EXPECT_EQ(lc.at(n), strtod(buf, nullptr)) << n;
    }
    EXPECT_EQ(c.global_minimum, strtod("-1.999000", nullptr));
    ASSERT_EQ(ZEMU_process_cube(&c), 0);
    EXPECT_EQ(std::make_tuple(c.global_minimum, c.energy[0][0][1], c.max_energy), std::make_tuple(0.0, 0.0, 5.0));
    EXPECT_DOUBLE_EQ(c.energy_shift, 1.999);

    // an odd first count drops the repeated last plane of every axis; the cell keeps the counts as read
    Loaded odd("", zemu_test::data_file("cube_odd_3x3x3.cube"));
    ASSERT_EQ(odd.status, 0) << odd.err;
    EXPECT_EQ(odd.cube.c_grid, 2);
    for (int n = 0; n < 8; n++) EXPECT_EQ(odd.at(n), 100.0 * (n / 4) + 10.0 * ((n / 2) % 2) + n % 2);
    EXPECT_NEAR(odd.cube.a, 6.0, 1e-5);
    EXPECT_EQ(Loaded(header("x", 2, 3, 3) + values(18)).cube.energy[1][2][2], 0.125 * 17);  // only the first count decides
}

TEST(CubeReader, RejectsBrokenFilesWithOneMessage) {
    const std::string kHeaderLines = "Error: Invalid CUBE file - missing header lines\n";
    const std::string kMissingValues = "Error: Invalid CUBE file - missing energy values\n";
    const std::string kCell = "Error: Invalid CUBE file - invalid cell parameters\n";
    auto nan_at = [](int line) {
        return "Error: Invalid CUBE file - energy on line " + std::to_string(line) + " is not a finite number\n";
    };
    const std::pair<std::string, std::string> cases[] = {
        {"t\nx\n 2 0 0 0\n 2 1 0 0\n 2 0 1 0\n 2 0 0 1\nonly one atom\n", kHeaderLines},
        {header("x", 2, 0, 2), "Error: Invalid CUBE file - invalid grid resolution\n"},
        // fields are split on blanks only: "2\t1.889726" is one field, the first step stays zero
        {"t\nx\n 0 0 0 0\n2\t1.889726 0.0 0.0\n 2 0.0 1.889726 0.0\n 2 0.0 0.0 1.889726\n" + values(8), kCell},
        {"t\nx\n 0 0 0 0\n 2 1 0 0\n 2 2 0 0\n 2 0 0 1\n" + values(8), "Invalid CUBE file - invalid cell angles\n"},
        {header("x", 2, 2, 2) + values(7), kMissingValues},
        {header("x", 64, 64, 64) + values(8), kMissingValues},  // refused before the grid is allocated
        {header("x", 1, 2, 2) + values(4), "Error: Invalid input to ZEMU_alloc_cube_energy()\n"},
        {header("x", 2, 2, 2) + "nan\n" + values(7), nan_at(7)},
        {header("x", 2, 2, 2) + values(5) + "1e999\n" + values(2), nan_at(12)},  // overflows to infinity
        {"t\nx\n 2 0 0 0\n 2 1.889726 0 0\n 2 0 1.889726 0\n 2 0 0 1.889726\natom 1\natom 2\n-inf\n" + values(7), nan_at(9)},
        // a line longer than the read buffer is one line of the file; its second piece reads as the next value
        {header("x", 2, 2, 2) + "0.5" + std::string(1200, ' ') + "1\n" + values(5) + "NaN(7) 1\n" + values(1), nan_at(13)},
    };
    for (const auto& cs : cases) {
        SCOPED_TRACE(cs.second);
        Loaded lc(cs.first);
        EXPECT_EQ(lc.status, 1);
        EXPECT_EQ(lc.err, cs.second);
    }
    EXPECT_EQ(Loaded("", "/nonexistent/none.cube").err, "Error: Unable to open CUBE file\n");
    // one byte per value line is enough: empty lines read as 0.0; the unused boundary plane is not checked
    EXPECT_EQ(Loaded(header("x", 2, 2, 2) + std::string(8, '\n')).status, 0);
    EXPECT_EQ(Loaded(header("x", 3, 3, 3) + values(26) + "nan\n").status, 0);
}

TEST(CubeReader, HeaderFieldsAndValuesAreReadBitForBitAsTheCLibraryReadsThem) {
    // the ion charge is the first digit of line 2; the sixth line gives only count and x: y and z of the third
    // step come from line 2
    Loaded six("title\nLi2+ 0.0 0.0 1.889726\n  0 0.0 0.0 0.0\n  2 1.889726 0.0 0.0\n  2 0.0 1.889726 0.0\n   2   0.0\n" + values(8));
    EXPECT_EQ(std::make_tuple(six.cube.ion_charge, six.cube.c_z), std::make_tuple(2.0, 1.889726 * 0.529177249));

    // every value is the leading number of the line's first field, as strtod reads it
    std::vector<std::string> lines = {"  -1.25\n", "\t0.5\n", "3.5e-1 junk\n", "+.75\n", "0x10\n", "   \t 9\n",
                                      "-0.000000\n", "12345678901234567890\n", "0.1234567890123456789\n", "7 8 9\n",
                                      "2.675e-2\r\n", "1.5" + std::string(1496, ' ') + "\n"};
    char buf[64];
    for (int n = 0; n < 65; n++) {  // pseudo-random values in the program's and in longer formats
        snprintf(buf, sizeof(buf), n % 2 ? "%.6f" : "%.17g", ((n * 7919LL * 104729) % 2000001 - 1000000) / 1234.5678);
        lines.push_back("  " + std::string(buf) + "\n");
    }
    std::string text;
    std::vector<double> want;
    for (const std::string& l : lines) {
        text += l;
        size_t b = l.find_first_not_of(' ');
        want.push_back(l.compare(b, 2, "\t ") == 0 ? 0.0 : strtod(l.substr(b, l.find(' ', b) - b).c_str(), nullptr));
        if (l.size() > 999) want.push_back(0.0);  // read in buffer-sized pieces: the rest is a line of its own
    }
    Loaded lc(header("x", 2, 3, 13) + text);
    ASSERT_EQ(lc.status, 0) << lc.err;
    for (size_t n = 0; n < want.size(); n++) {
        EXPECT_EQ(lc.at(n), want[n]) << n;
        EXPECT_EQ(std::signbit(lc.at(n)), std::signbit(want[n])) << n;
    }
}

TEST(CubeGrid, PeriodicIndicesAndTheObliqueCellMetric) {
    fx::Field g(4, 5, 6, [](int i, int j, int k) { return 100.0 * i + 10.0 * j + k; });
    EXPECT_EQ(std::make_tuple(ZEMU_shift_index(&g.cube, -8, 1), ZEMU_shift_index(&g.cube, 2, 4)), std::make_tuple(4, -1));
    // real: zero is treated differently on the first axis
    const double reals[][3] = {{-0.5, 1, 3.5}, {1e-12, 1, 0.0}, {1e-12, 2, 1e-12}, {-4.0, 1, 4.0}, {-5.25, 2, 4.75}, {1, 0, -1}};
    for (const auto& cs : reals) EXPECT_EQ(ZEMU_shift_index_dbl(&g.cube, cs[0], (int)cs[1]), cs[2]) << cs[0] << " axis " << cs[1];
    // the accessor reads -2n (wrapped onto n) at plane 0, not past the array
    EXPECT_EQ(ZEMU_cube_energy(&g.cube, -1, 5, 7), 301.0);
    EXPECT_EQ(ZEMU_cube_energy(&g.cube, -8, 0, 0), 0.0);
    EXPECT_EQ(std::make_tuple(ZEMU_angle(&g.cube, 1, 1, 0, 0, 0, 0, 1, 0, 0), ZEMU_angle(&g.cube, 0, 0, 0, 0, 0, 0, 1, 0, 0)),
              std::make_tuple(acos(1 / sqrt(2.0)), 0.0));  // 45 degrees; a zero-length arm gives 0

    // in an oblique cell the metric terms give the Cartesian length of a grid step
    ZEMU_cube c;
    ZEMU_init_cube(&c);
    c.a_grid = 10, c.b_grid = 12, c.c_grid = 14;
    c.a_x = 0.5, c.b_x = 0.1, c.b_y = 0.45, c.c_x = 0.05, c.c_y = 0.07, c.c_z = 0.4;
    ZEMU_calc_cell_parameter(&c);
    const double d[3] = {3.2, -7.2, 10.9};
    const double v[3] = {d[0] * c.a_x + d[1] * c.b_x + d[2] * c.c_x, d[1] * c.b_y + d[2] * c.c_y, d[2] * c.c_z};
    EXPECT_NEAR(ZEMU_distance_grid(&c, d[0], d[1], d[2], 0, 0, 0), sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]), 1e-12);
}

TEST(CubeExport, ExportedGridReadsBackAndAnUnwritableTargetIsReported) {
    Loaded src("", zemu_test::data_file("cube_padded_4x2x3.cube"));
    ASSERT_EQ(src.status, 0);
    ZEMU_process_cube(&src.cube);
    fx::InDir dir;
    EXPECT_EQ(ZEMU_export_cube(&src.cube), 0);
    const std::string text = dir.dir.read("ZEMU_cube.cube");
    remove("ZEMU_cube.cube");
    mkdir("ZEMU_cube.cube", 0755);  // a directory where the file should go
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_export_cube(&src.cube), 1); }), "Error: Unable to export to .cube file.\n");
    const std::string head = "Smoothened energy landscape\nGenerated by tarnix\n  1 0.0 0.0 0.0\n    4   1.889726   0.000000   0.000000\n";
    EXPECT_EQ(text.substr(0, head.size()), head);
    Loaded back(text);
    ASSERT_EQ(back.status, 0) << back.err;
    EXPECT_EQ(std::make_tuple(back.cube.lines_to_ignore, back.cube.ion_charge, back.cube.c_grid), std::make_tuple(1, 1.0, 3));
    EXPECT_NEAR(back.cube.a, src.cube.a, 1e-5);
    for (int n = 0; n < 24; n++) EXPECT_NEAR(back.at(n), src.at(n), 5e-7);
}
