// VESTA project file: the fixed template with its mixed line ends, the symmetry
// operation rows, sites, bonds from the bond-valence database, site and atom
// styles, the isosurface levels, and the file of the bundled LiFePO4 example.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "ZEMU.h"
#include "fixtures.h"

using fx::InDir;
using fx::lines_of;
using fx::written;

namespace {

// Makes the working directory's bin/ hold only the given bond-valence database text.
void use_database(const InDir& wd, const std::string& text) {
    mkdir(wd.dir.file("bin").c_str(), 0755);
    wd.dir.write("bin/database_binary.dat", text);
}

// A structure with a mobile ion: types, sites and operations set by hand.
struct Structure {
    ZEMU_cif cif;

    explicit Structure(const std::vector<const char*>& ops = {"x,y,z"}, const char* probe = "Li1+") {
        EXPECT_EQ(ZEMU_init_cif(&cif), 0);
        ZEMU_init_fastgen(&cif);
        ZEMU_free_cif_symop(&cif);
        cif.symop_no = (int)ops.size();
        EXPECT_EQ(ZEMU_alloc_cif_symop(&cif), 0);
        for (size_t k = 0; k < ops.size(); ++k) snprintf(cif.symop[k], ZEMU_CIF_SYMOP_SIZE, "%s", ops[k]);
        snprintf(cif.probe_type, sizeof cif.probe_type, "%s", probe);
    }
    ~Structure() { ZEMU_free_cif(&cif); }

    void types(const std::vector<std::pair<const char*, double>>& list) {
        for (const auto& t : list) {
            char text[10];
            snprintf(text, sizeof text, "%s", t.first);
            ASSERT_EQ(ZEMU_add_cif_type(&cif, text, t.second, &cif.type_flag_counter), 0);
        }
    }
    void site(const char* label, const char* type, double x, double y, double z, double occ, double ox) {
        char l[10], t[10];
        snprintf(l, sizeof l, "%s", label);
        snprintf(t, sizeof t, "%s", type);
        ASSERT_EQ(ZEMU_add_cif_site(&cif, l, t, x, y, z, 1, 'a', occ, ox), 0);
    }
    std::string bonds() {
        return written([&](FILE* fp) { ZEMU_print_vesta_bond(&cif, fp); });
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
        pathlib.oneD = one;
        pathlib.twoD = two;
        pathlib.threeD = three;
    }
    ~Levels() {
        ZEMU_free_cube(&cube);
        ZEMU_free_pathlib(&pathlib);
    }
    std::string isurf(ZEMU_cif* cif) {
        return written([&](FILE* fp) { ZEMU_print_vesta_ISURF(&cube, cif, &pathlib, fp); });
    }
};

// The three isosurface levels as written (level + 0.01 + base).
std::vector<double> isurf_values(const std::string& block) {
    std::vector<double> values;
    for (const std::string& line : lines_of(block)) {
        int n, one;
        double v;
        if (sscanf(line.c_str(), "%d %d %lf", &n, &one, &v) == 3) values.push_back(v);
    }
    return values;
}

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
    s.types({{"Abcdefghi", 0.0}});
    s.site("S", "Abcdefghi", 0.0, 0.0, 0.0, 1.0, 0.0);
    memset(s.cif.site[0].label, 'L', sizeof s.cif.site[0].label);
    memset(s.cif.site[0].type, 'T', sizeof s.cif.site[0].type);
    std::vector<std::string> lines = lines_of(written([&](FILE* fp) {
        ZEMU_print_vesta_struc(&s.cif, fp);
        ZEMU_print_vesta_SITET(&s.cif, fp);
    }));
    ASSERT_GT(lines.size(), 5u);
    EXPECT_EQ(lines[1], "1 TTTTTTTTTT LLLLLLLLLL 1.0000 0.000000 0.000000 0.000000");
    EXPECT_EQ(lines[5], "1 LLLLLLLLLL 0.0000 249 220  60 249 220  60 204  0");
}

TEST(VestaBonds, AnionListedFirstStillBondsCationToAnionAndLikeChargesNever) {
    InDir wd(true);
    Structure s({"x,y,z"}, "Li1+");
    s.types({{"O2-", -2.0}, {"Fe2+", 2.0}, {"P5+", 5.0}, {"Li1+", 1.0}});
    const std::vector<std::string> expected = {
        "SBOND",
        // Fe 2 O -2 1.57911 0.48 cn 4.423 and P 5 O -2 1.62038 0.437 cn 3.314 of the shipped file.
        "1 Fe O 0.60000    2.654593 0 1 1 0 1 0.250 1.000 180 180 180",
        "2 P O 0.60000    2.072953 0 1 1 0 1 0.250 1.000 180 180 180",
        "  0 0 0 0",
    };
    EXPECT_EQ(lines_of(s.bonds()), expected);
}

TEST(VestaBonds, MissingDatabaseGivesOneErrorPerPairAndUnknownLength) {
    InDir wd;
    Structure s({"x,y,z"}, "Na1+");
    s.types({{"Co3+", 3.0}, {"Mn2+", 2.0}, {"O2-", -2.0}});
    testing::internal::CaptureStderr();
    std::vector<std::string> lines = lines_of(s.bonds());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Cannot load database_binary.dat!\nError: Cannot load database_binary.dat!\n");
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[1], "1 Co O 0.60000    -1.000000 0 1 1 0 1 0.250 1.000 180 180 180");
    EXPECT_EQ(lines[2], "2 Mn O 0.60000    -1.000000 0 1 1 0 1 0.250 1.000 180 180 180");
}

TEST(VestaBonds, PairDistanceNeedsAllFourKeysAndAFullLine) {
    InDir wd;
    use_database(wd, kCoODatabase);
    char co[] = "Co", o[] = "O", f[] = "F", mn[] = "Mn";
    EXPECT_NEAR(ZEMU_maximum_pair_distance(co, o, 3.0, -2.0), 1.70 - 0.37 * std::log(3.0 / 25.5), 1e-12);
    // Oxidation states are compared truncated: 3.7 and -2.9 still find the line.
    EXPECT_NEAR(ZEMU_maximum_pair_distance(co, o, 3.7, -2.9), 1.70 - 0.37 * std::log(3.7 / 25.5), 1e-12);
    EXPECT_DOUBLE_EQ(ZEMU_maximum_pair_distance(co, f, 3.0, -1.0), -1.0);
    EXPECT_DOUBLE_EQ(ZEMU_maximum_pair_distance(co, o, 4.0, -2.0), -1.0);
    // The line end is no word: seven words and a trailing blank are still too few.
    EXPECT_DOUBLE_EQ(ZEMU_maximum_pair_distance(mn, o, 2.0, -2.0), -1.0);
}

TEST(VestaIsosurface, PercolatingNetworksSetTheLevelsAboveTheRawMinimum) {
    Structure s;
    Levels l(0.3, 0.5, 0.9);
    l.cube.energy_shift = 2.5;  // the file's lowest energy was -2.5
    const std::vector<std::string> expected = {
        "ISURF\r",
        "1 1 -2.190000  0   0  64 127 255",
        "2 1 -1.990000 128 128 255 127   0",
        "3 1 -1.590000 172 255 255 127   0",
    };
    EXPECT_EQ(lines_of(l.isurf(&s.cif)), expected);
}

TEST(VestaIsosurface, FallbacksAndStrictComparisons) {
    const double unchecked = NAN, step = 0.02;
    const struct {
        const char* why;
        double one, two, three, charge, level[3];
    } cases[] = {
        {"no percolation: fractions of the charge cap", 999.0, 999.0, 999.0, 1.0, {0.02, 0.65, 1.3}},
        {"the charge counts by its magnitude: cap 2.6, step 0.04", 999.0, 999.0, 999.0, -2.0, {0.04, 1.3, 2.6}},
        {"a 3-D energy exactly at the cap is passed over for the 2-D one", 0.3, 0.5, 1.3, 1.0, {0.02, 0.3, 0.5}},
        {"a 2-D energy one step below level 3 is passed over for the 1-D one", 0.3, 0.9 - step, 0.9, 1.0,
         {unchecked, 0.3, 0.9}},
        {"a 1-D energy one step below level 2 is passed over for the step", 0.5 - step, 0.5, 0.9, 1.0,
         {0.02, 0.5, unchecked}},
        {"low networks: half and third of the level above", 0.035, 0.04, 0.05, 1.0, {0.025 / 3.0, 0.025, 0.05}},
    };
    Structure s;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        Levels l(c.one, c.two, c.three, c.charge);
        std::vector<double> v = isurf_values(l.isurf(&s.cif));
        ASSERT_EQ(v.size(), 3u);
        for (int k = 0; k < 3; ++k) {
            if (std::isnan(c.level[k])) continue;
            EXPECT_NEAR(v[k], c.level[k] + 0.01, 1e-6) << "level " << k + 1;
        }
    }
}

TEST(VestaIsosurface, OnlyNaPlusLevelsAreTurnedBackIntoGridEnergy) {
    Structure na({"x,y,z"}, "Na1+");
    Levels l(0.3, 0.5, 0.9);
    l.cube.scaling = 1;
    char expr[] = "0.5695*E^(0.6946)";
    ASSERT_EQ(ZEMU_parse_energy_scaling(&l.cube, expr), 0);
    std::vector<double> v = isurf_values(l.isurf(&na.cif));
    ASSERT_EQ(v.size(), 3u);
    const double scaled[3] = {0.3, 0.5, 0.9};
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(0.5695 * std::pow(v[k] - 0.01, 0.6946), scaled[k], 0.001) << k;

    // Another ion under an explicit scaling keeps the scaled levels as they are,
    // and "Na1+" must match exactly: a longer type is another ion.
    Structure li({"x,y,z"}, "Li1+"), na2({"x,y,z"}, "Na1+x");
    EXPECT_EQ(isurf_values(l.isurf(&li.cif)), isurf_values(l.isurf(&na2.cif)));
    v = isurf_values(l.isurf(&li.cif));
    ASSERT_EQ(v.size(), 3u);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(v[k], scaled[k] + 0.01, 1e-6) << k;
}

TEST(VestaFile, SmallStructureGivesTheTemplateWithEveryBlockFilledIn) {
    InDir wd;
    use_database(wd, kCoODatabase);
    Structure s({"x,y,z", "-x,-y,-z"});
    s.cif.int_tab_cryst_no = 2;
    s.cif.a = 5.0;
    s.cif.b = 6.0;
    s.cif.c = 7.0;
    s.cif.alpha = s.cif.gamma = 90.0;
    s.cif.beta = 100.0;
    s.types({{"Li1+", 1.0}, {"Co3+", 3.0}, {"O2-", -2.0}});
    s.site("Li1", "Li1+", 0.0, 0.0, 0.0, 0.5, 1.0);
    s.site("Co1", "Co3+", 0.5, 0.5, 0.5, 1.0, 3.0);
    s.site("O1", "O2-", 0.25, 0.1, 0.75, 1.0, -2.0);
    Levels l(0.3, 0.5, 0.9);
    l.cube.energy_shift = 0.25;
    ZEMU_input input;
    ZEMU_init_input(&input);
    input.cube = 1;
    snprintf(input.cube_file, sizeof input.cube_file, "landscape.cube");
    ASSERT_EQ(ZEMU_print_vesta_output(&l.cube, &s.cif, &l.pathlib, &input), 0);

    // Only the mobile-ion-free pair Co-O bonds (1.70 - 0.37 ln(3 / 25.5) + 0.6 of the
    // database above); the mobile ion's site and atom styles are flagged.
    const std::string light =
        " 1.000000  0.000000  0.000000  0.000000\n 0.000000  1.000000  0.000000  0.000000\n"
        " 0.000000  0.000000  1.000000  0.000000\n 0.000000  0.000000  0.000000  1.000000\n"
        " 0.000000  0.000000 20.000000  0.000000\n 0.000000  0.000000 -1.000000\n";
    const std::string dark = "   0   0   0   0\n   0   0   0   0\n   0   0   0   0\n";
    const std::string expected =
        std::string(
            "#VESTA_FORMAT_VERSION 3.3.0\nCRYSTAL\n\n\n"
            "TITLE\nZEMU\n\n"
            "IMPORT_DENSITY 1\n+1.000000E+000 landscape.cube\n\n"
            "GROUP\n2 1\n"
            "SYMOP\n0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1   1\n"
            "0.000000  0.000000  0.000000  -1  0  0   0  -1  0   0  0  -1   1\n"
            "-1.0 -1.0 -1.0  1 0 0  0 0 0  0 0 0\n"
            "TRANM 0\n 0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1\n"
            "LTRANSL\n 0.000000  0.000000  0.000000  0.000000  0.000000  0.000000\n"
            "LORIENT\r\n -1   0   0   0   0\n 1.000000  0.000000  0.000000  1.000000  0.000000  0.000000\n"
            " 0.000000  0.000000  1.000000  0.000000  0.000000  1.000000\n"
            "LMATRIX\r\n 1.000000  0.000000  0.000000  0.000000\n 0.000000  1.000000  0.000000  0.000000\n"
            " 0.000000  0.000000  1.000000  0.000000\n 0.000000  0.000000  0.000000  1.000000\n"
            " 0.000000  0.000000  0.000000\n"
            "CELLP\n5.000000 6.000000 7.000000 90.000000 100.000000 90.000000\n"
            "STRUC\n1 Li Li1 0.5000 0.000000 0.000000 0.000000\n0 0 0 1.00\n"
            "2 Co Co1 1.0000 0.500000 0.500000 0.500000\n0 0 0 3.00\n3 O O1 1.0000 0.250000 0.100000 0.750000\n"
            "0 0 0 -2.00\n  0 0 0 0 0 0 0\n"
            "SHAPE\n  0       0       0       0   0.000000  0   192   192   192   192\n"
            "BOUND\n    0      1      0      1         0        1\n  0   0   0   0  0\n"
            "SBOND\n1 Co O 0.60000    2.491824 0 1 1 0 1 0.250 1.000 180 180 180\n  0 0 0 0\n"
            "SITET\n1 Li1 0.8000 249 220  60 249 220  60 204  1\n2 Co1 0.0000 249 220  60 249 220  60 204  0\n"
            "3 O1 0.0000 249 220  60 249 220  60 204  0\n  0 0 0 0 0 0\n"
            "VECTR\n 0 0 0 0 0\n"
            "VECTT\n 0 0 0 0 0\n"
            "SPLAN\n  0   0   0   0\n"
            "LBLAT\r\n"
            "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31 32 33 34  -1\n"
            "LBLSP\n -1\n"
            "DLATM\n -1\n"
            "DLBND\n -1\n"
            "DLPLY\n -1\n"
            "PLN2D\n  0   0   0   0\n"
            "ATOMT\n1 Li 0.8000 249 220  60 249 220  60 204\n2 Co 0.0000 249 220  60 249 220  60 204\n"
            "3 O 0.0000 249 220  60 249 220  60 204\n  0 0 0 0 0 0\n"
            "SCENE\r\n 0.902291  0.000000  0.431127  0.000000\n 0.000000  1.000000 -0.000000  0.000000\n"
            "-0.431127  0.000000  0.902291  0.000000\n 0.000000  0.000000  0.000000  1.000000\n"
            "  0.000   0.000\n  0.000\n  1.189\n"
            "HBOND 0 2\\n\n"  // a backslash and an n, then the line end
            "STYLE\nDISPF 37753666\nMODEL   2  1  0\nSURFS   0  1  1\nSECTS 96 0\nFORMS 0 1\n"
            "ATOMS 0 0 1\nBONDS 1\nPOLYS 4\nVECTS 1.000000\nFORMP\n  1  1.0   0   0   0\n"
            "ATOMP\r\n 24  24   0  50  2.0   0\n"
            "BONDP\r\n  1  16  0.250  1.000 180 180 180\n"
            "POLYP\r\n 204 1  1.000   0   0  64\n"
            "ISURF\r\n1 1 0.060000  0   0  64 127 255\n2 1 0.260000 128 128 255 127   0\n"
            "3 1 0.660000 172 255 255 127   0\n0 0 0 0\n"
            "TEX3P\n  1 0.00000E+000 1.00000E+000\n"
            "SECTP\n  1 0.00000E+000 1.00000E+000 0.00000E+000\n"
            "HKLPP\n 192 1  1.000 255   0 255\n"
            "UCOLP\n   0   1  3.000   0   0   0\n"
            "COMPS 1\nLABEL 1    12  1.000 0\nPROJT 0  0.962\nBKGRC\n 255 255 255\n"
            "DPTHQ 1 -0.5000  3.5000\n") +
        "LIGHT0 1\n" + light + "  26  26  26 255\n 179 179 179 255\n 255 255 255 255\n" +  //
        "LIGHT1\n" + light + dark + "LIGHT2\n" + light + dark + "LIGHT3\n" + light + dark +
        "ATOMM\n 204 204 204 255\n  25.600\n"
        "BONDM\n 255 255 255 255\n 128.000\n"
        "POLYM\n 255 255 255 255\n 128.000\n"
        "SURFM\n   0   0   0 255\n 128.000\n"
        "FORMM\n 255 255 255 255\n 128.000\n"
        "HKLPM\n 255 255 255 255\n 128.000\n";
    EXPECT_EQ(wd.dir.read("ZEMU.vesta"), expected);
}

TEST(VestaFile, WithoutCubeOrStructureTheFileIsStillComplete) {
    InDir wd;
    Structure s({"x,y,z"}, "");
    Levels l(999.0, 999.0, 999.0);
    ZEMU_input input;
    ZEMU_init_input(&input);
    memset(input.cube_file, 'x', sizeof input.cube_file);  // not meaningful without --cube
    ASSERT_EQ(ZEMU_print_vesta_output(&l.cube, &s.cif, &l.pathlib, &input), 0);
    std::vector<std::string> lines = lines_of(wd.dir.read("ZEMU.vesta"));
    ASSERT_GT(lines.size(), 10u);
    EXPECT_EQ(lines[8], "+1.000000E+000 ");
    EXPECT_EQ(lines.back(), " 128.000");
}

TEST(VestaFile, UnwritableFileIsReportedAndNothingElseHappens) {
    InDir wd;
    mkdir("ZEMU.vesta", 0755);  // a directory cannot be opened for writing
    Structure s;
    Levels l(999.0, 999.0, 999.0);
    ZEMU_input input;
    ZEMU_init_input(&input);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_print_vesta_output(&l.cube, &s.cif, &l.pathlib, &input), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Unable to write to ZEMU.vesta\n");
}

// The bundled example through loading and the site analysis: its own group,
// operations, cell and sites in the blocks, and the levels above its raw minimum.
TEST(VestaFile, BundledLiFePO4ExampleFillsTheBlocksFromItsStructure) {
    fx::Example ex;
    ASSERT_NO_FATAL_FAILURE(ex.load("LiFePO4", "Li1+"));
    ZEMU_input input;
    ZEMU_init_input(&input);
    input.cube = input.cif = input.ion = 1;
    snprintf(input.cube_file, sizeof input.cube_file, "%s", ex.cube_file.c_str());
    snprintf(input.cif_file, sizeof input.cif_file, "%s", ex.cif_file.c_str());
    snprintf(input.ion_type, sizeof input.ion_type, "Li1+");
    ASSERT_EQ(ZEMU_print_vesta_output(&ex.cube, &ex.cif, &ex.lib, &input), 0);
    std::vector<std::string> lines = lines_of(ex.wd.dir.read("ZEMU.vesta"));
    auto block = [&](const std::string& k) {
        return (size_t)(std::find(lines.begin(), lines.end(), k) - lines.begin());
    };
    ASSERT_LT(block("HKLPM"), lines.size());

    EXPECT_EQ(lines[block("IMPORT_DENSITY 1") + 1], "+1.000000E+000 " + ex.cube_file);
    EXPECT_EQ(lines[block("GROUP") + 1], "62 1");
    // Eight operations of P n m a, then the closing row.
    EXPECT_EQ(block("TRANM 0") - block("SYMOP"), 10u);
    EXPECT_EQ(lines[block("SYMOP") + 3], "0.500000  0.000000  0.500000  -1  0  0   0  -1  0   0  0  1   1");
    EXPECT_EQ(lines[block("CELLP") + 1], "10.450668 6.087351 4.751955 90.000000 90.000000 90.000000");
    // Six sites of two lines each, then the closing row.
    EXPECT_EQ(block("SHAPE") - block("STRUC"), 14u);
    EXPECT_EQ(lines[block("STRUC") + 3], "2 Fe Fe1 1.0000 0.218415 0.750000 0.476320");
    EXPECT_EQ(lines[block("SITET") + 1], "1 Li1 0.8000 249 220  60 249 220  60 204  1");
    // Without paths no network percolates: the charge-cap fallback above the raw minimum.
    const double base = ex.cube.global_minimum - ex.cube.energy_shift;
    size_t isurf = block("ISURF\r");
    std::string rows = lines[isurf + 1] + "\n" + lines[isurf + 2] + "\n" + lines[isurf + 3] + "\n";
    std::vector<double> v = isurf_values(rows);
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[0], 0.02 + 0.01 + base, 1e-6);
    EXPECT_NEAR(v[1], 0.65 + 0.01 + base, 1e-6);
    EXPECT_NEAR(v[2], 1.3 + 0.01 + base, 1e-6);
    EXPECT_EQ(lines[isurf + 4], "0 0 0 0");
}
