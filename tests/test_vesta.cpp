// VESTA project file: the symmetry operation rows, sites, bonds from the
// bond-valence database, site styles, the isosurface levels and a whole file
// against its recording (whole runs' files are among the recorded command sessions).
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU.h"
#include "fixtures.h"

using fx::InDir;
using fx::lines_of;
using fx::written;

namespace {

// A structure with the given operations and mobile ion.
struct Structure : fx::Cif {
    explicit Structure(const std::vector<std::string>& ops = {"x,y,z"}, const char* probe = "Li1+",
                       const std::vector<double>& cell = {10, 10, 10, 90, 90, 90})
        : fx::Cif(ops, cell) {
        snprintf(cif.probe_type, sizeof cif.probe_type, "%s", probe);
    }
    void types(const std::vector<std::pair<const char*, double>>& list) {
        for (const auto& t : list) type(t.first, t.second);
    }
    std::vector<std::string> bonds() {
        return lines_of(written([&](FILE* fp) { ZEMU_print_vesta_bond(&cif, fp); }));
    }
};

// A grid record that only carries what the isosurface levels read.
struct Levels {
    ZEMU_cube cube;
    ZEMU_pathlib pathlib;

    Levels(double one, double two, double three, double charge = 1.0) {
        ZEMU_init_cube(&cube);
        ZEMU_init_pathlib(&pathlib);
        cube.ion_charge = charge;
        pathlib.oneD = one, pathlib.twoD = two, pathlib.threeD = three;
    }
    ~Levels() {
        ZEMU_free_cube(&cube);
        ZEMU_free_pathlib(&pathlib);
    }
    // The three levels as written (level + 0.01 + base).
    std::vector<double> values(ZEMU_cif* cif) {
        std::vector<double> out;
        for (const std::string& line :
             lines_of(written([&](FILE* fp) { ZEMU_print_vesta_ISURF(&cube, cif, &pathlib, fp); }))) {
            int n, one;
            double v;
            if (sscanf(line.c_str(), "%d %d %lf", &n, &one, &v) == 3) out.push_back(v);
        }
        return out;
    }
};

const char kCoODatabase[] =
    "# cation ox anion ox R0 b cn cutoff\r\n"
    "Co 3 O -2 1.1 0.37 6.0\r\n"          // seven fields: skipped
    "Mn 2 O -2 1.79 0.37 6.0 \n"          // a blank before the line end: still seven words
    "Co 2 O -2 1.5 0.37 6.0 5.5\r\n"      // other cation charge
    "Co 3 O -2 1.70 0.37 6.0 5.5\r\n"     // the pair: 1.70 - 0.37 ln(3 / 25.5)
    "Co 3 O -2 9.9 0.37 6.0 5.5\r\n";     // later duplicate: never read

}  // namespace

TEST(VestaSymop, SignsFractionsAndMalformedTextsGiveTranslationsAndCoefficientRows) {
    Structure s({"x,y,z", "-x+1/2,y,z-1/2", "-x-y,X,1/2-z", "-x1/2,y,z", "/x,y/,z+1/0", "x,y,z,x+1/2", "x"});
    // A full room without terminator: only its 30 characters are read.
    memset(s.cif.symop[6], ' ', ZEMU_CIF_SYMOP_SIZE);
    memcpy(s.cif.symop[6], "-y,x,z+1/4", 10);
    const std::vector<std::string> expected = {
        "SYMOP",
        "0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1   1",
        "0.500000  0.000000  -0.500000  -1  0  0   0  1  0   0  0  1   1",
        "0.000000  0.000000  0.500000  -1  -1  0   1  0  0   0  0  -1   1",
        // The '-' before x still holds at the fraction; the comma resets it for y.
        "-0.500000  0.000000  0.000000  -1  0  0   0  1  0   0  0  1   1",
        // A '/' with no digit on one side, or over zero, leaves the translation at 0.
        "0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1   1",
        // Parts after the third component do not enter the row.
        "0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1   1",
        "0.000000  0.000000  0.250000  0  -1  0   1  0  0   0  0  1   1",
        "-1.0 -1.0 -1.0  1 0 0  0 0 0  0 0 0",
    };
    EXPECT_EQ(lines_of(written([&](FILE* fp) { ZEMU_print_vesta_symop(&s.cif, fp); })), expected);
}

TEST(VestaStructure, FullLabelFieldsAreReadNoFurtherThanTheirRoom) {
    Structure s;
    s.type("Abcdefghi", 0.0);
    s.site("S", "Abcdefghi", 0.0, 0.0, 0.0);
    memset(s[0].label, 'L', sizeof s[0].label);
    memset(s[0].type, 'T', sizeof s[0].type);
    EXPECT_EQ(written([&](FILE* fp) { ZEMU_print_vesta_struc(&s.cif, fp); }),
              "STRUC\n1 TTTTTTTTTT LLLLLLLLLL 1.0000 0.000000 0.000000 0.000000\n0 0 0 0.00\n  0 0 0 0 0 0 0\n");
    EXPECT_EQ(written([&](FILE* fp) { ZEMU_print_vesta_SITET(&s.cif, fp); }),
              "SITET\n1 LLLLLLLLLL 0.0000 249 220  60 249 220  60 204  0\n  0 0 0 0 0 0\n");
}

TEST(VestaBonds, CationAnionPairsWithTheirDatabaseLengths) {
    {
        InDir wd(true);
        Structure s;
        s.types({{"O2-", -2.0}, {"Fe2+", 2.0}, {"P5+", 5.0}, {"Li1+", 1.0}});
        // An anion listed first still bonds cation to anion; like charges never bond.
        // Fe 2 O -2 1.57911 0.48 cn 4.423 and P 5 O -2 1.62038 0.437 cn 3.314 of the shipped file.
        EXPECT_EQ(s.bonds(), (std::vector<std::string>{"SBOND",
                                                       "1 Fe O 0.60000    2.654593 0 1 1 0 1 0.250 1.000 180 180 180",
                                                       "2 P O 0.60000    2.072953 0 1 1 0 1 0.250 1.000 180 180 180",
                                                       "  0 0 0 0"}));
    }
    InDir wd;
    Structure s({"x,y,z"}, "Na1+");
    s.types({{"Co3+", 3.0}, {"Mn2+", 2.0}, {"O2-", -2.0}});
    std::vector<std::string> lines;
    // Without a database: one error per pair and an unknown length.
    EXPECT_EQ(fx::stderr_of([&] { lines = s.bonds(); }),
              "Error: Cannot load database_binary.dat!\nError: Cannot load database_binary.dat!\n");
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[2], "2 Mn O 0.60000    -1.000000 0 1 1 0 1 0.250 1.000 180 180 180");
}

// A pair's length needs all four keys and a line of eight words.
TEST(VestaBonds, PairDistanceFromTheDatabase) {
    InDir wd("database_binary.dat", kCoODatabase);
    char co[] = "Co", o[] = "O", f[] = "F", mn[] = "Mn";
    EXPECT_NEAR(ZEMU_maximum_pair_distance(co, o, 3.0, -2.0), 1.70 - 0.37 * std::log(3.0 / 25.5), 1e-12);
    // Oxidation states are compared truncated: 3.7 and -2.9 still find the line.
    EXPECT_NEAR(ZEMU_maximum_pair_distance(co, o, 3.7, -2.9), 1.70 - 0.37 * std::log(3.7 / 25.5), 1e-12);
    EXPECT_DOUBLE_EQ(ZEMU_maximum_pair_distance(co, f, 3.0, -1.0), -1.0);
    EXPECT_DOUBLE_EQ(ZEMU_maximum_pair_distance(co, o, 4.0, -2.0), -1.0);
    // The line end is no word: seven words and a trailing blank are still too few.
    EXPECT_DOUBLE_EQ(ZEMU_maximum_pair_distance(mn, o, 2.0, -2.0), -1.0);
}

// Levels, their fallbacks and strict comparisons; only for "Na1+" (exactly) are
// the levels turned back from the scaled measure into grid energy.
TEST(VestaIsosurface, LevelsFallbacksAndStrictComparisons) {
    const double unchecked = NAN, step = 0.02;
    const struct {
        const char* why;
        double one, two, three, charge, level[3];
        const char* ion = "Li1+";
        bool scaled = false;  // under the Na1+ default scaling
    } cases[] = {
        {"percolating networks", 0.3, 0.5, 0.9, 1.0, {0.3, 0.5, 0.9}},
        {"no percolation: fractions of the charge cap", 999.0, 999.0, 999.0, 1.0, {0.02, 0.65, 1.3}},
        {"the charge counts by its magnitude: cap 2.6, step 0.04", 999.0, 999.0, 999.0, -2.0, {0.04, 1.3, 2.6}},
        {"a 3-D energy exactly at the cap is passed over for the 2-D one", 0.3, 0.5, 1.3, 1.0, {0.02, 0.3, 0.5}},
        {"a 2-D energy one step below level 3 is passed over for the 1-D one", 0.3, 0.9 - step, 0.9, 1.0,
         {unchecked, 0.3, 0.9}},
        {"a 1-D energy one step below level 2 is passed over for the step", 0.5 - step, 0.5, 0.9, 1.0,
         {0.02, 0.5, unchecked}},
        {"low networks: half and third of the level above", 0.035, 0.04, 0.05, 1.0, {0.025 / 3.0, 0.025, 0.05}},
        {"Na1+: grid energy", 0.3, 0.5, 0.9, 1.0, {0.3, 0.5, 0.9}, "Na1+", true},
        {"another ion keeps the scaled levels", 0.3, 0.5, 0.9, 1.0, {0.3, 0.5, 0.9}, "Li1+", true},
        {"a longer type is another ion", 0.3, 0.5, 0.9, 1.0, {0.3, 0.5, 0.9}, "Na1+x", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        Structure s({"x,y,z"}, c.ion);
        Levels l(c.one, c.two, c.three, c.charge);
        l.cube.energy_shift = 2.5;  // the file's lowest energy was -2.5
        l.cube.scaling = c.scaled;
        ASSERT_EQ(c.scaled ? ZEMU_parse_energy_scaling(&l.cube, fx::txt("0.5695*E^(0.6946)")) : 0, 0);
        std::vector<double> v = l.values(&s.cif);
        ASSERT_EQ(v.size(), 3u);
        for (int k = 0; k < 3; ++k) {
            if (std::isnan(c.level[k])) continue;
            // (the inverse scaling is searched numerically: to a thousandth)
            bool na = std::string(c.ion) == "Na1+";
            double level = na ? std::pow(c.level[k] / 0.5695, 1 / 0.6946) : c.level[k];
            EXPECT_NEAR(v[k], level + 0.01 - 2.5, na ? 2e-3 : 1e-6) << "level " << k + 1;
        }
    }
}

TEST(VestaFile, SmallStructureAsRecordedAndTheFailures) {
    InDir wd("database_binary.dat", kCoODatabase);
    Structure s({"x,y,z", "-x,-y,-z"}, "Li1+", {5, 6, 7, 90, 100, 90});
    s.cif.int_tab_cryst_no = 2;
    s.types({{"Li1+", 1.0}, {"Co3+", 3.0}, {"O2-", -2.0}});
    s.site("Li1", "Li1+", 0.0, 0.0, 0.0, 1, 0.5, 1.0);
    s.site("Co1", "Co3+", 0.5, 0.5, 0.5, 1, 1.0, 3.0);
    s.site("O1", "O2-", 0.25, 0.1, 0.75, 1, 1.0, -2.0);
    Levels l(0.3, 0.5, 0.9);
    l.cube.energy_shift = 0.25;
    ZEMU_input input;
    ZEMU_init_input(&input);
    input.cube = 1;
    snprintf(input.cube_file, sizeof input.cube_file, "landscape.cube");
    ASSERT_EQ(ZEMU_print_vesta_output(&l.cube, &s.cif, &l.pathlib, &input), 0);
    // Only the mobile-ion-free pair Co-O bonds (1.70 - 0.37 ln(3 / 25.5) + 0.6 of the
    // database above); the mobile ion's site and atom styles are flagged; the fixed
    // blocks keep their mixed line ends.
    EXPECT_EQ(wd.dir.read("ZEMU.vesta"), zemu_test::slurp(zemu_test::data_file("cmd/small.vesta")));

    // Without --cube the file name is left out.
    memset(input.cube_file, 'x', sizeof input.cube_file);
    input.cube = 0;
    ASSERT_EQ(ZEMU_print_vesta_output(&l.cube, &s.cif, &l.pathlib, &input), 0);
    EXPECT_EQ(lines_of(wd.dir.read("ZEMU.vesta"))[8], "+1.000000E+000 ");

    remove("ZEMU.vesta");
    mkdir("ZEMU.vesta", 0755);  // a directory cannot be opened for writing
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_print_vesta_output(&l.cube, &s.cif, &l.pathlib, &input), 1); }),
              "Error: Unable to write to ZEMU.vesta\n");
}
