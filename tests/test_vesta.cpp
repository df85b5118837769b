// VESTA project file: the fixed template with its mixed line ends, the symmetry
// operation rows, sites, bonds from the bond-valence database, site and atom
// styles, the isosurface levels, and the file of the bundled LiFePO4 example.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "ZEMU.h"
#include "e2e_util.h"

using zemu_test::WorkDir;

namespace {

// Runs the enclosed code inside a temporary working directory whose bin/ is the
// project's, or holds only the given bond-valence database text, or is missing.
class InWorkDir {
public:
    enum Bin { project, none };
    explicit InWorkDir(Bin bin) : dir_(bin == project) { enter(); }
    explicit InWorkDir(const std::string& database) : dir_(false) {
        mkdir(dir_.file("bin").c_str(), 0755);
        dir_.write("bin/database_binary.dat", database);
        enter();
    }
    ~InWorkDir() {
        if (chdir(old_.c_str()) != 0) ADD_FAILURE() << "cannot return to " << old_;
    }
    const WorkDir& dir() const { return dir_; }

private:
    void enter() {
        char buf[4096];
        old_ = getcwd(buf, sizeof buf) ? buf : ".";
        if (chdir(dir_.path().c_str()) != 0) ADD_FAILURE() << "cannot enter " << dir_.path();
    }
    WorkDir dir_;
    std::string old_;
};

// Lines of a text, each keeping a '\r' before its '\n'; a last line without a
// line end is kept as it is.
std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    size_t begin = 0;
    while (begin < text.size()) {
        size_t end = text.find('\n', begin);
        if (end == std::string::npos) {
            lines.push_back(text.substr(begin));
            break;
        }
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

// Output of one block writer, through a temporary stream.
template <typename Writer>
std::string capture(Writer write) {
    FILE* fp = tmpfile();
    EXPECT_NE(fp, nullptr);
    if (fp == nullptr) return "";
    write(fp);
    fflush(fp);
    rewind(fp);
    std::string text;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, fp)) > 0) text.append(buf, n);
    fclose(fp);
    return text;
}

// A structure with a mobile ion: types, sites and operations set by hand.
struct Structure {
    ZEMU_cif cif;

    explicit Structure(const std::vector<const char*>& ops = {"x,y,z"}, const char* probe = "Li1+") {
        EXPECT_EQ(ZEMU_init_cif(&cif), 0);
        ZEMU_init_fastgen(&cif);
        set_ops(ops);
        snprintf(cif.probe_type, sizeof cif.probe_type, "%s", probe);
    }
    ~Structure() { ZEMU_free_cif(&cif); }

    void set_ops(const std::vector<const char*>& ops) {
        ZEMU_free_cif_symop(&cif);
        cif.symop_no = (int)ops.size();
        ASSERT_EQ(ZEMU_alloc_cif_symop(&cif), 0);
        for (size_t k = 0; k < ops.size(); ++k) snprintf(cif.symop[k], ZEMU_CIF_SYMOP_SIZE, "%s", ops[k]);
    }
    void type(const char* label, double ox) {
        char text[10];
        snprintf(text, sizeof text, "%s", label);
        ASSERT_EQ(ZEMU_add_cif_type(&cif, text, ox, &cif.type_flag_counter), 0);
    }
    void site(const char* label, const char* type, double x, double y, double z, double occ, double ox) {
        char l[10], t[10];
        snprintf(l, sizeof l, "%s", label);
        snprintf(t, sizeof t, "%s", type);
        ASSERT_EQ(ZEMU_add_cif_site(&cif, l, t, x, y, z, 1, 'a', occ, ox), 0);
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
        return capture([&](FILE* fp) { ZEMU_print_vesta_ISURF(&cube, cif, &pathlib, fp); });
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

// The lines of the template up to each variable block, as the file must hold them.
const char kHead[] =
    "#VESTA_FORMAT_VERSION 3.3.0\n"
    "CRYSTAL\n"
    "\n"
    "\n"
    "TITLE\n"
    "ZEMU\n"
    "\n"
    "IMPORT_DENSITY 1\n";

const char kAfterSymop[] =
    "TRANM 0\n"
    " 0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1\n"
    "LTRANSL\n"
    " 0.000000  0.000000  0.000000  0.000000  0.000000  0.000000\n"
    "LORIENT\r\n"
    " -1   0   0   0   0\n"
    " 1.000000  0.000000  0.000000  1.000000  0.000000  0.000000\n"
    " 0.000000  0.000000  1.000000  0.000000  0.000000  1.000000\n"
    "LMATRIX\r\n"
    " 1.000000  0.000000  0.000000  0.000000\n"
    " 0.000000  1.000000  0.000000  0.000000\n"
    " 0.000000  0.000000  1.000000  0.000000\n"
    " 0.000000  0.000000  0.000000  1.000000\n"
    " 0.000000  0.000000  0.000000\n"
    "CELLP\n";

const char kAfterStruc[] =
    "SHAPE\n"
    "  0       0       0       0   0.000000  0   192   192   192   192\n"
    "BOUND\n"
    "    0      1      0      1         0        1\n"
    "  0   0   0   0  0\n";

const char kAfterSitet[] =
    "VECTR\n"
    " 0 0 0 0 0\n"
    "VECTT\n"
    " 0 0 0 0 0\n"
    "SPLAN\n"
    "  0   0   0   0\n"
    "LBLAT\r\n"
    "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31 32 33 34  -1\n"
    "LBLSP\n"
    " -1\n"
    "DLATM\n"
    " -1\n"
    "DLBND\n"
    " -1\n"
    "DLPLY\n"
    " -1\n"
    "PLN2D\n"
    "  0   0   0   0\n";

const char kAfterAtomt[] =
    "SCENE\r\n"
    " 0.902291  0.000000  0.431127  0.000000\n"
    " 0.000000  1.000000 -0.000000  0.000000\n"
    "-0.431127  0.000000  0.902291  0.000000\n"
    " 0.000000  0.000000  0.000000  1.000000\n"
    "  0.000   0.000\n"
    "  0.000\n"
    "  1.189\n"
    "HBOND 0 2\\n"
    "\n"
    "STYLE\n"
    "DISPF 37753666\n"
    "MODEL   2  1  0\n"
    "SURFS   0  1  1\n"
    "SECTS 96 0\n"
    "FORMS 0 1\n"
    "ATOMS 0 0 1\n"
    "BONDS 1\n"
    "POLYS 4\n"
    "VECTS 1.000000\n"
    "FORMP\n"
    "  1  1.0   0   0   0\n"
    "ATOMP\r\n"
    " 24  24   0  50  2.0   0\n"
    "BONDP\r\n"
    "  1  16  0.250  1.000 180 180 180\n"
    "POLYP\r\n"
    " 204 1  1.000   0   0  64\n";

const char kLightMatrix[] =
    " 1.000000  0.000000  0.000000  0.000000\n"
    " 0.000000  1.000000  0.000000  0.000000\n"
    " 0.000000  0.000000  1.000000  0.000000\n"
    " 0.000000  0.000000  0.000000  1.000000\n"
    " 0.000000  0.000000 20.000000  0.000000\n"
    " 0.000000  0.000000 -1.000000\n";
const char kDark[] =
    "   0   0   0   0\n"
    "   0   0   0   0\n"
    "   0   0   0   0\n";

std::string tail_after_isurf() {
    std::string t =
        "0 0 0 0\n"
        "TEX3P\n"
        "  1 0.00000E+000 1.00000E+000\n"
        "SECTP\n"
        "  1 0.00000E+000 1.00000E+000 0.00000E+000\n"
        "HKLPP\n"
        " 192 1  1.000 255   0 255\n"
        "UCOLP\n"
        "   0   1  3.000   0   0   0\n"
        "COMPS 1\n"
        "LABEL 1    12  1.000 0\n"
        "PROJT 0  0.962\n"
        "BKGRC\n"
        " 255 255 255\n"
        "DPTHQ 1 -0.5000  3.5000\n";
    t += std::string("LIGHT0 1\n") + kLightMatrix + "  26  26  26 255\n 179 179 179 255\n 255 255 255 255\n";
    t += std::string("LIGHT1\n") + kLightMatrix + kDark;
    t += std::string("LIGHT2\n") + kLightMatrix + kDark;
    t += std::string("LIGHT3\n") + kLightMatrix + kDark;
    t += "ATOMM\n"
         " 204 204 204 255\n"
         "  25.600\n"
         "BONDM\n"
         " 255 255 255 255\n"
         " 128.000\n"
         "POLYM\n"
         " 255 255 255 255\n"
         " 128.000\n"
         "SURFM\n"
         "   0   0   0 255\n"
         " 128.000\n"
         "FORMM\n"
         " 255 255 255 255\n"
         " 128.000\n"
         "HKLPM\n"
         " 255 255 255 255\n"
         " 128.000\n";
    return t;
}

}  // namespace

// ---------------------------------------------------------------------------
// Symmetry operation rows
// ---------------------------------------------------------------------------

TEST(VestaSymop, FractionsAndSignsGiveTranslationsAndCoefficientRows) {
    Structure s({"x,y,z", "-x+1/2,y,z-1/2", "-x-y,X,1/2-z"});
    std::string text = capture([&](FILE* fp) { ZEMU_print_vesta_symop(&s.cif, fp); });
    std::vector<std::string> expected = {
        "SYMOP",
        "0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1   1",
        "0.500000  0.000000  -0.500000  -1  0  0   0  1  0   0  0  1   1",
        "0.000000  0.000000  0.500000  -1  -1  0   1  0  0   0  0  -1   1",
        "-1.0 -1.0 -1.0  1 0 0  0 0 0  0 0 0",
    };
    EXPECT_EQ(lines_of(text), expected);
}

TEST(VestaSymop, MinusStaysInForceUntilAnotherSignOrComma) {
    // The '-' before x still holds at the fraction; the comma resets it for y.
    Structure s({"-x1/2,y,z"});
    std::string text = capture([&](FILE* fp) { ZEMU_print_vesta_symop(&s.cif, fp); });
    EXPECT_EQ(lines_of(text)[1], "-0.500000  0.000000  0.000000  -1  0  0   0  1  0   0  0  1   1");
}

TEST(VestaSymop, MalformedAndUnterminatedTextsStayInsideTheirRoom) {
    Structure s({"/x,y/,z+1/0", "x,y,z,x+1/2", "x"});
    // A full room without terminator: only its 30 characters are read.
    memset(s.cif.symop[2], ' ', ZEMU_CIF_SYMOP_SIZE);
    memcpy(s.cif.symop[2], "-y,x,z+1/4", 10);
    std::string text = capture([&](FILE* fp) { ZEMU_print_vesta_symop(&s.cif, fp); });
    std::vector<std::string> lines = lines_of(text);
    ASSERT_EQ(lines.size(), 5u);
    // A '/' with no digit on one side, or over zero, leaves the translation at 0.
    EXPECT_EQ(lines[1], "0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1   1");
    // Parts after the third component do not enter the row.
    EXPECT_EQ(lines[2], "0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1   1");
    EXPECT_EQ(lines[3], "0.000000  0.000000  0.250000  0  -1  0   1  0  0   0  0  1   1");
}

// ---------------------------------------------------------------------------
// Sites, bonds and styles
// ---------------------------------------------------------------------------

TEST(VestaStructure, FullLabelFieldsAreReadNoFurtherThanTheirRoom) {
    Structure s;
    s.type("Abcdefghi", 0.0);
    s.site("S", "Abcdefghi", 0.0, 0.0, 0.0, 1.0, 0.0);
    memset(s.cif.site[0].label, 'L', sizeof s.cif.site[0].label);
    memset(s.cif.site[0].type, 'T', sizeof s.cif.site[0].type);
    std::string text = capture([&](FILE* fp) {
        ZEMU_print_vesta_struc(&s.cif, fp);
        ZEMU_print_vesta_SITET(&s.cif, fp);
    });
    std::vector<std::string> lines = lines_of(text);
    EXPECT_EQ(lines[1], "1 TTTTTTTTTT LLLLLLLLLL 1.0000 0.000000 0.000000 0.000000");
    EXPECT_EQ(lines[5], "1 LLLLLLLLLL 0.0000 249 220  60 249 220  60 204  0");
}

TEST(VestaBonds, OnlyPairsWithoutTheMobileIonBondWithTheDatabaseDistance) {
    InWorkDir wd(kCoODatabase);
    Structure s;
    s.type("Li1+", 1.0);
    s.type("Co3+", 3.0);
    s.type("O2-", -2.0);
    std::string text = capture([&](FILE* fp) { ZEMU_print_vesta_bond(&s.cif, fp); });
    std::vector<std::string> expected = {
        "SBOND",
        "1 Co O 0.60000    2.491824 0 1 1 0 1 0.250 1.000 180 180 180",
        "  0 0 0 0",
    };
    EXPECT_EQ(lines_of(text), expected);
}

TEST(VestaBonds, AnionListedFirstStillBondsCationToAnionAndLikeChargesNever) {
    InWorkDir wd(InWorkDir::project);
    Structure s({"x,y,z"}, "Li1+");
    s.type("O2-", -2.0);
    s.type("Fe2+", 2.0);
    s.type("P5+", 5.0);
    s.type("Li1+", 1.0);
    std::string text = capture([&](FILE* fp) { ZEMU_print_vesta_bond(&s.cif, fp); });
    std::vector<std::string> expected = {
        "SBOND",
        // Fe 2 O -2 1.57911 0.48 cn 4.423 and P 5 O -2 1.62038 0.437 cn 3.314 of the shipped file.
        "1 Fe O 0.60000    2.654593 0 1 1 0 1 0.250 1.000 180 180 180",
        "2 P O 0.60000    2.072953 0 1 1 0 1 0.250 1.000 180 180 180",
        "  0 0 0 0",
    };
    EXPECT_EQ(lines_of(text), expected);
}

TEST(VestaBonds, MissingDatabaseGivesOneErrorPerPairAndUnknownLength) {
    InWorkDir wd(InWorkDir::none);
    Structure s({"x,y,z"}, "Na1+");
    s.type("Co3+", 3.0);
    s.type("Mn2+", 2.0);
    s.type("O2-", -2.0);
    testing::internal::CaptureStderr();
    std::string text = capture([&](FILE* fp) { ZEMU_print_vesta_bond(&s.cif, fp); });
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, "Error: Cannot load database_binary.dat!\nError: Cannot load database_binary.dat!\n");
    std::vector<std::string> lines = lines_of(text);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[1], "1 Co O 0.60000    -1.000000 0 1 1 0 1 0.250 1.000 180 180 180");
    EXPECT_EQ(lines[2], "2 Mn O 0.60000    -1.000000 0 1 1 0 1 0.250 1.000 180 180 180");
}

TEST(VestaBonds, PairDistanceNeedsAllFourKeysAndAFullLine) {
    InWorkDir wd(kCoODatabase);
    char co[] = "Co", o[] = "O", f[] = "F";
    EXPECT_NEAR(ZEMU_maximum_pair_distance(co, o, 3.0, -2.0), 1.70 - 0.37 * std::log(3.0 / 25.5), 1e-12);
    // Oxidation states are compared truncated: 3.7 and -2.9 still find the line.
    EXPECT_NEAR(ZEMU_maximum_pair_distance(co, o, 3.7, -2.9), 1.70 - 0.37 * std::log(3.7 / 25.5), 1e-12);
    EXPECT_DOUBLE_EQ(ZEMU_maximum_pair_distance(co, f, 3.0, -1.0), -1.0);
    EXPECT_DOUBLE_EQ(ZEMU_maximum_pair_distance(co, o, 4.0, -2.0), -1.0);
    // The line end is no word: seven words and a trailing blank are still too few.
    char mn[] = "Mn";
    EXPECT_DOUBLE_EQ(ZEMU_maximum_pair_distance(mn, o, 2.0, -2.0), -1.0);
}

// ---------------------------------------------------------------------------
// Isosurface levels
// ---------------------------------------------------------------------------

TEST(VestaIsosurface, PercolatingNetworksSetTheLevelsAboveTheRawMinimum) {
    Structure s;
    Levels l(0.3, 0.5, 0.9);
    l.cube.energy_shift = 2.5;  // the file's lowest energy was -2.5
    std::vector<std::string> expected = {
        "ISURF\r",
        "1 1 -2.190000  0   0  64 127 255",
        "2 1 -1.990000 128 128 255 127   0",
        "3 1 -1.590000 172 255 255 127   0",
    };
    EXPECT_EQ(lines_of(l.isurf(&s.cif)), expected);
}

TEST(VestaIsosurface, NoPercolationFallsBackToFractionsOfTheChargeCap) {
    Structure s;
    Levels single(999.0, 999.0, 999.0, 1.0);
    std::vector<double> v = isurf_values(single.isurf(&s.cif));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[0], 0.02 + 0.01, 1e-6);
    EXPECT_NEAR(v[1], 0.65 + 0.01, 1e-6);
    EXPECT_NEAR(v[2], 1.3 + 0.01, 1e-6);

    // The charge counts by its magnitude: -2 gives cap 2.6 and step 0.04.
    Levels doubly(999.0, 999.0, 999.0, -2.0);
    v = isurf_values(doubly.isurf(&s.cif));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[0], 0.04 + 0.01, 1e-6);
    EXPECT_NEAR(v[1], 1.3 + 0.01, 1e-6);
    EXPECT_NEAR(v[2], 2.6 + 0.01, 1e-6);
}

TEST(VestaIsosurface, ComparisonsAreStrict) {
    Structure s;
    const double step = 0.02;
    // A 3-D energy exactly at the cap is passed over for the 2-D energy.
    Levels at_cap(0.3, 0.5, 1.3);
    std::vector<double> v = isurf_values(at_cap.isurf(&s.cif));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[2], 0.5 + 0.01, 1e-6);
    EXPECT_NEAR(v[1], 0.3 + 0.01, 1e-6);
    EXPECT_NEAR(v[0], 0.02 + 0.01, 1e-6);

    // A 2-D energy exactly one step below level 3 is passed over for the 1-D energy.
    Levels two_at_step(0.3, 0.9 - step, 0.9);
    v = isurf_values(two_at_step.isurf(&s.cif));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[2], 0.9 + 0.01, 1e-6);
    EXPECT_NEAR(v[1], 0.3 + 0.01, 1e-6);

    // A 1-D energy exactly one step below level 2 is passed over for the step.
    Levels one_at_step(0.5 - step, 0.5, 0.9);
    v = isurf_values(one_at_step.isurf(&s.cif));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[1], 0.5 + 0.01, 1e-6);
    EXPECT_NEAR(v[0], 0.02 + 0.01, 1e-6);
}

TEST(VestaIsosurface, LowNetworksFallBackToHalfAndThirdOfTheLevelAbove) {
    Structure s;
    Levels l(0.035, 0.04, 0.05);
    std::vector<double> v = isurf_values(l.isurf(&s.cif));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[2], 0.05 + 0.01, 1e-6);
    EXPECT_NEAR(v[1], 0.025 + 0.01, 1e-6);
    EXPECT_NEAR(v[0], 0.025 / 3.0 + 0.01, 1e-6);
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

    // Another ion under an explicit scaling keeps the scaled levels as they are.
    Structure li({"x,y,z"}, "Li1+");
    v = isurf_values(l.isurf(&li.cif));
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[0], 0.31, 1e-6);
    EXPECT_NEAR(v[1], 0.51, 1e-6);
    EXPECT_NEAR(v[2], 0.91, 1e-6);

    // "Na1+" must match exactly: a longer type is another ion.
    Structure na2({"x,y,z"}, "Na1+x");
    EXPECT_NEAR(isurf_values(l.isurf(&na2.cif))[0], 0.31, 1e-6);
}

// ---------------------------------------------------------------------------
// The whole file
// ---------------------------------------------------------------------------

TEST(VestaFile, SmallStructureGivesTheTemplateWithEveryBlockFilledIn) {
    InWorkDir wd(kCoODatabase);
    Structure s({"x,y,z", "-x,-y,-z"});
    s.cif.int_tab_cryst_no = 2;
    s.cif.a = 5.0;
    s.cif.b = 6.0;
    s.cif.c = 7.0;
    s.cif.alpha = 90.0;
    s.cif.beta = 100.0;
    s.cif.gamma = 90.0;
    s.type("Li1+", 1.0);
    s.type("Co3+", 3.0);
    s.type("O2-", -2.0);
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

    std::string expected = kHead;
    expected += "+1.000000E+000 landscape.cube\n"
                "\n"
                "GROUP\n"
                "2 1\n"
                "SYMOP\n"
                "0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1   1\n"
                "0.000000  0.000000  0.000000  -1  0  0   0  -1  0   0  0  -1   1\n"
                "-1.0 -1.0 -1.0  1 0 0  0 0 0  0 0 0\n";
    expected += kAfterSymop;
    expected += "5.000000 6.000000 7.000000 90.000000 100.000000 90.000000\n"
                "STRUC\n"
                "1 Li Li1 0.5000 0.000000 0.000000 0.000000\n"
                "0 0 0 1.00\n"
                "2 Co Co1 1.0000 0.500000 0.500000 0.500000\n"
                "0 0 0 3.00\n"
                "3 O O1 1.0000 0.250000 0.100000 0.750000\n"
                "0 0 0 -2.00\n"
                "  0 0 0 0 0 0 0\n";
    expected += kAfterStruc;
    expected += "SBOND\n"
                "1 Co O 0.60000    2.491824 0 1 1 0 1 0.250 1.000 180 180 180\n"
                "  0 0 0 0\n"
                "SITET\n"
                "1 Li1 0.8000 249 220  60 249 220  60 204  1\n"
                "2 Co1 0.0000 249 220  60 249 220  60 204  0\n"
                "3 O1 0.0000 249 220  60 249 220  60 204  0\n"
                "  0 0 0 0 0 0\n";
    expected += kAfterSitet;
    expected += "ATOMT\n"
                "1 Li 0.8000 249 220  60 249 220  60 204\n"
                "2 Co 0.0000 249 220  60 249 220  60 204\n"
                "3 O 0.0000 249 220  60 249 220  60 204\n"
                "  0 0 0 0 0 0\n";
    expected += kAfterAtomt;
    expected += "ISURF\r\n"
                "1 1 0.060000  0   0  64 127 255\n"
                "2 1 0.260000 128 128 255 127   0\n"
                "3 1 0.660000 172 255 255 127   0\n";
    expected += tail_after_isurf();

    std::string written = wd.dir().read("ZEMU.vesta");
    EXPECT_EQ(lines_of(written), lines_of(expected));
    EXPECT_EQ(written, expected);  // also the final line end
}

TEST(VestaFile, WithoutCubeOrStructureTheFileIsStillComplete) {
    InWorkDir wd(InWorkDir::none);
    Structure s({"x,y,z"}, "");
    Levels l(999.0, 999.0, 999.0);
    ZEMU_input input;
    ZEMU_init_input(&input);
    memset(input.cube_file, 'x', sizeof input.cube_file);  // not meaningful without --cube
    ASSERT_EQ(ZEMU_print_vesta_output(&l.cube, &s.cif, &l.pathlib, &input), 0);
    std::vector<std::string> lines = lines_of(wd.dir().read("ZEMU.vesta"));
    ASSERT_GT(lines.size(), 10u);
    EXPECT_EQ(lines[8], "+1.000000E+000 ");
    EXPECT_EQ(lines.back(), " 128.000");
}

TEST(VestaFile, UnwritableFileIsReportedAndNothingElseHappens) {
    InWorkDir wd(InWorkDir::none);
    mkdir("ZEMU.vesta", 0755);  // a directory cannot be opened for writing
    Structure s;
    Levels l(999.0, 999.0, 999.0);
    ZEMU_input input;
    ZEMU_init_input(&input);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_print_vesta_output(&l.cube, &s.cif, &l.pathlib, &input), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Unable to write to ZEMU.vesta\n");
}

// The bundled example through loading and the site analysis: every block keyword
// in its place, with its own line end, and the example's structure in the blocks.
TEST(VestaFile, BundledLiFePO4ExampleHasEveryBlockInOrder) {
    InWorkDir wd(InWorkDir::project);
    ZEMU_cube cube;
    ZEMU_cif cif;
    ZEMU_asymmetric_unit asym;
    ZEMU_pathlib pathlib;
    ZEMU_init_asymmetric_unit(&asym);
    ZEMU_init_cube(&cube);
    ASSERT_EQ(ZEMU_init_cif(&cif), 0);
    ZEMU_init_fastgen(&cif);
    ZEMU_init_pathlib(&pathlib);

    ZEMU_input input;
    ZEMU_init_input(&input);
    input.cube = input.cif = input.ion = 1;
    snprintf(input.cube_file, sizeof input.cube_file, "%s",
             zemu_test::source_file("examples/LiFePO4/landscape.cube").c_str());
    snprintf(input.cif_file, sizeof input.cif_file, "%s",
             zemu_test::source_file("examples/LiFePO4/structure.cif").c_str());
    snprintf(input.ion_type, sizeof input.ion_type, "Li1+");

    cif.ion = 1;
    snprintf(cif.probe_type, sizeof cif.probe_type, "Li1+");
    cube.scaling = 1;
    char identity[] = "E";
    ASSERT_EQ(ZEMU_parse_energy_scaling(&cube, identity), 0);
    ASSERT_EQ(ZEMU_load_cube(input.cube_file, &cube), 0);
    ASSERT_EQ(ZEMU_process_cube(&cube), 0);
    ASSERT_EQ(ZEMU_load_cif(input.cif_file, &cif), 0);
    ZEMU_prepare_fastgen_symop(&cif, &cube);
    ASSERT_EQ(ZEMU_find_asymmetric_unit(&cube, &cif, &asym), 0);
    ASSERT_EQ(cif.diff_neigh ? ZEMU_find_stationary_points2(&cube, &cif)
                             : ZEMU_find_stationary_points(&cube, &cif, &asym),
              0);
    ZEMU_free_asymmetric_unit(&asym);
    ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&cube, &cif), 0);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&cube, &cif), 0);
    ASSERT_EQ(ZEMU_assign_ion_to_sites(&cube, &cif), 0);
    ZEMU_assign_interstitial_labels(&cube, &cif);

    ASSERT_EQ(ZEMU_print_vesta_output(&cube, &cif, &pathlib, &input), 0);
    std::vector<std::string> lines = lines_of(wd.dir().read("ZEMU.vesta"));

    const std::vector<std::string> keywords = {
        "#VESTA_FORMAT_VERSION 3.3.0", "CRYSTAL", "TITLE", "IMPORT_DENSITY 1", "GROUP", "SYMOP", "TRANM 0",
        "LTRANSL", "LORIENT\r", "LMATRIX\r", "CELLP", "STRUC", "SHAPE", "BOUND", "SBOND", "SITET", "VECTR",
        "VECTT", "SPLAN", "LBLAT\r", "LBLSP", "DLATM", "DLBND", "DLPLY", "PLN2D", "ATOMT", "SCENE\r",
        "HBOND 0 2\\n", "STYLE", "DISPF 37753666", "MODEL   2  1  0", "SURFS   0  1  1", "SECTS 96 0", "FORMS 0 1",
        "ATOMS 0 0 1", "BONDS 1", "POLYS 4", "VECTS 1.000000", "FORMP", "ATOMP\r", "BONDP\r", "POLYP\r", "ISURF\r",
        "TEX3P", "SECTP", "HKLPP", "UCOLP", "COMPS 1", "LABEL 1    12  1.000 0", "PROJT 0  0.962", "BKGRC",
        "DPTHQ 1 -0.5000  3.5000", "LIGHT0 1", "LIGHT1", "LIGHT2", "LIGHT3", "ATOMM", "BONDM", "POLYM", "SURFM",
        "FORMM", "HKLPM",
    };
    std::vector<size_t> at;
    size_t next = 0;
    for (const std::string& k : keywords) {
        size_t i = next;
        while (i < lines.size() && lines[i] != k) ++i;
        ASSERT_LT(i, lines.size()) << "keyword missing or out of order: " << k;
        at.push_back(i);
        next = i + 1;
    }
    auto block = [&](const std::string& k) {
        for (size_t n = 0; n < keywords.size(); ++n)
            if (keywords[n] == k) return at[n];
        return (size_t)0;
    };

    EXPECT_EQ(lines[block("IMPORT_DENSITY 1") + 1], "+1.000000E+000 " + std::string(input.cube_file));
    EXPECT_EQ(lines[block("GROUP") + 1], "62 1");
    // Eight operations of P n m a, then the closing row.
    EXPECT_EQ(block("TRANM 0") - block("SYMOP"), 10u);
    EXPECT_EQ(lines[block("SYMOP") + 3], "0.500000  0.000000  0.500000  -1  0  0   0  -1  0   0  0  1   1");
    EXPECT_EQ(lines[block("CELLP") + 1], "10.450668 6.087351 4.751955 90.000000 90.000000 90.000000");
    // Six sites of two lines each, then the closing row.
    EXPECT_EQ(block("SHAPE") - block("STRUC"), 14u);
    EXPECT_EQ(lines[block("STRUC") + 3], "2 Fe Fe1 1.0000 0.218415 0.750000 0.476320");
    EXPECT_EQ(lines[block("SBOND") + 1], "1 Fe O 0.60000    2.654593 0 1 1 0 1 0.250 1.000 180 180 180");
    EXPECT_EQ(lines[block("SBOND") + 2], "2 P O 0.60000    2.072953 0 1 1 0 1 0.250 1.000 180 180 180");
    EXPECT_EQ(lines[block("SBOND") + 3], "  0 0 0 0");
    EXPECT_EQ(lines[block("SITET") + 1], "1 Li1 0.8000 249 220  60 249 220  60 204  1");
    EXPECT_EQ(lines[block("ATOMT") + 1], "1 Li 0.8000 249 220  60 249 220  60 204");
    // Without paths no network percolates: the charge-cap fallback above the raw minimum.
    const double base = cube.global_minimum - cube.energy_shift;
    std::vector<std::string> isurf(lines.begin() + (long)block("ISURF\r"), lines.begin() + (long)block("ISURF\r") + 5);
    std::string text;
    for (size_t k = 1; k <= 3; ++k) text += isurf[k] + "\n";  // the three level rows
    std::vector<double> v = isurf_values(text);
    ASSERT_EQ(v.size(), 3u);
    EXPECT_NEAR(v[0], 0.02 + 0.01 + base, 1e-6);
    EXPECT_NEAR(v[1], 0.65 + 0.01 + base, 1e-6);
    EXPECT_NEAR(v[2], 1.3 + 0.01 + base, 1e-6);
    EXPECT_EQ(isurf[4], "0 0 0 0");

    ZEMU_free_pathlib(&pathlib);
    ZEMU_free_cube(&cube);
    ZEMU_free_cif(&cif);
}
