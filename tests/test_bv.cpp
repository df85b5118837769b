// Bond valence sums, the parameter matrix, the global instability index, the
// cell charge and their printers. Sums are checked against lattice sums over
// Cartesian coordinates computed here, with parameter files written per test.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "ZEMU-cif.h"
#include "e2e_util.h"

using zemu_test::WorkDir;

namespace {

const double kPi = 3.141592653589793;

// Runs the enclosed code in a temporary working directory, whose bin/ is either
// the project's (real parameter file) or holds the given parameter file text.
enum class Bin { project, none };

class InWorkDir {
public:
    explicit InWorkDir(Bin bin) : dir_(bin == Bin::project) { enter(); }
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

struct SiteSpec {
    const char* label;
    const char* type;
    double x, y, z, occ;
};

// A P1 structure (only "x,y,z") with the given cell, types and sites; oxidation
// states and type flags are filled from the types as the reader does.
struct Structure {
    ZEMU_cif cif;
    Structure(double a, double b, double c, double alpha, double beta, double gamma,
              std::vector<std::pair<const char*, double>> types, std::vector<SiteSpec> sites) {
        ZEMU_init_cif(&cif);
        cif.a = a, cif.b = b, cif.c = c, cif.alpha = alpha, cif.beta = beta, cif.gamma = gamma;
        ZEMU_is_valid_lattice_parameters(&cif);
        ZEMU_calc_cif_d_parameters(&cif);
        for (auto& t : types) {
            ZEMU_add_cif_type(&cif, const_cast<char*>(t.first), t.second, &cif.type_flag_counter);
            cif.type_flag_counter++;
        }
        for (auto& s : sites)
            ZEMU_add_cif_site(&cif, const_cast<char*>(s.label), const_cast<char*>(s.type), s.x, s.y, s.z, 1, 'a',
                              s.occ, 0.0);
        ZEMU_fill_ox_states_to_sites(&cif);
    }
    ~Structure() { ZEMU_free_cif(&cif); }
    ZEMU_site& site(int i) { return cif.site[i]; }
};

struct Pair {
    double ox_cation, ox_anion, r0, b, cutoff;
};

// Cartesian position of a fractional point (a along x, b in the xy plane).
void to_cartesian(const ZEMU_cif& c, double fx, double fy, double fz, double out[3]) {
    const double ca = cos(c.alpha * kPi / 180), cb = cos(c.beta * kPi / 180), cg = cos(c.gamma * kPi / 180),
                 sg = sin(c.gamma * kPi / 180);
    const double cy = (ca - cb * cg) / sg, cz = sqrt(1 - cb * cb - cy * cy);
    out[0] = fx * c.a + fy * c.b * cg + fz * c.c * cb;
    out[1] = fy * c.b * sg + fz * c.c * cy;
    out[2] = fz * c.c * cz;
}

// Lattice sum of exp((R0 - d) / b) * occ over every counter-ion image within
// 0.3 .. cutoff Angstrom; `params(site_ox, atom_ox)` gives the pair or nullptr.
template <class Params>
double lattice_sum(const ZEMU_cif& c, int s, Params params) {
    const ZEMU_site& site = c.site[s];
    double p0[3];
    to_cartesian(c, site.x, site.y, site.z, p0);
    double sum = 0.0;
    for (int n = 0; n < c.site_no; n++) {
        const ZEMU_site& atom = c.site[n];
        const Pair* p = params(site.ox, atom.ox);
        if (!p) continue;
        for (int i = -8; i <= 8; i++)
            for (int j = -8; j <= 8; j++)
                for (int k = -8; k <= 8; k++) {
                    double q[3];
                    to_cartesian(c, atom.x + i, atom.y + j, atom.z + k, q);
                    const double d = sqrt((q[0] - p0[0]) * (q[0] - p0[0]) + (q[1] - p0[1]) * (q[1] - p0[1]) +
                                          (q[2] - p0[2]) * (q[2] - p0[2]));
                    if (d >= 0.3 && d <= p->cutoff) sum += exp((p->r0 - d) / p->b) * atom.occ;
                }
    }
    return site.ox > 0 ? sum : -sum;
}

// Contents of a stream written by a printer.
std::string read_back(FILE* f) {
    std::string s;
    rewind(f);
    for (int ch; (ch = fgetc(f)) != EOF;) s += (char)ch;
    return s;
}

// Sums as ZEMU_calc_bv_sum leaves them, with the matrix built for all types.
int compute_sums(ZEMU_cif* cif) {
    ZEMU_bv_bin bin;
    if (ZEMU_init_bv_bin(&bin, cif->type_no) != 0) return 1;
    int rc = ZEMU_build_bv_bin(cif, &bin);
    if (rc == 0) rc = ZEMU_calc_bv_sum(cif, &bin);
    ZEMU_free_bv_bin(&bin);
    return rc;
}

const char* kCsClDatabase =
    "# test parameters\n"
    "Cs 1 Cl -1 2.79 0.37 9.0 7.0\n";
const Pair kCsCl = {1, -1, 2.79, 0.37, 7.0};

}  // namespace

// ---------------------------------------------------------------------------
// Parameter matrix
// ---------------------------------------------------------------------------

TEST(BondValenceMatrix, ReadsFirstMatchingLineAndSkipsShortLines) {
    InWorkDir wd("# pairs\r\n"
                 "Cs 1 Cl -1 1.1 1.1 1\n"                // 7 words: skipped although the keys match
                 "Cs\t1 Cl -1 9.9 9.9 9 9.9\n"          // a tab separates nothing: first word "Cs\t1"
                 "Cs  1 Cl -1 2.5 0.4 9 6.5 extra\r\n"  // repeated blanks, extra word, CRLF
                 "Cs 1 Cl -1 9.9 9.9 9 9.9\n");          // later duplicate: never used
    Structure s(5, 5, 5, 90, 90, 90, {{"Cl1-", -1}, {"Cs1+", 1}}, {});
    ZEMU_bv_bin bin;
    ASSERT_EQ(ZEMU_init_bv_bin(&bin, 2), 0);
    ASSERT_EQ(ZEMU_build_bv_bin(&s.cif, &bin), 0);
    EXPECT_EQ(bin.item[0][0].status, 0);
    EXPECT_EQ(bin.item[1][1].status, 0);
    for (auto* it : {&bin.item[0][1], &bin.item[1][0]}) {  // anion first in the type list
        EXPECT_EQ(it->status, 1);
        EXPECT_DOUBLE_EQ(it->r0, 2.5);
        EXPECT_DOUBLE_EQ(it->b, 0.4);
        EXPECT_DOUBLE_EQ(it->cutoff, 6.5);
    }
    ZEMU_free_bv_bin(&bin);
    EXPECT_EQ(bin.total, 0);
    EXPECT_EQ(bin.item, nullptr);
}

TEST(BondValenceMatrix, OxidationStatesAreTruncatedTowardZero) {
    InWorkDir wd("Fe 2 O -2 1.7 0.4 6 6.0\n"
                 "Fe 3 O -2 1.8 0.4 6 6.1\n"
                 "Cs 1 X 0 2.0 0.5 6 6.2\n");
    // 2.9 -> 2, -2.7 -> -2; a type of ox 0 is the anion of a pair with a cation.
    Structure s(5, 5, 5, 90, 90, 90, {{"Fe3+", 2.9}, {"O2-", -2.7}, {"Cs1+", 1}, {"X", 0}}, {});
    ZEMU_bv_bin bin;
    ASSERT_EQ(ZEMU_init_bv_bin(&bin, 4), 0);
    ASSERT_EQ(ZEMU_build_bv_bin(&s.cif, &bin), 0);
    EXPECT_EQ(bin.item[0][1].status, 1);
    EXPECT_DOUBLE_EQ(bin.item[0][1].r0, 1.7);
    EXPECT_EQ(bin.item[2][3].status, 1);
    EXPECT_DOUBLE_EQ(bin.item[3][2].cutoff, 6.2);
    EXPECT_EQ(bin.item[0][2].status, 0);  // two cations never bond
    EXPECT_EQ(bin.item[1][2].status, 0);  // no line for Cs-O: no bonding, no cut-off
    EXPECT_DOUBLE_EQ(bin.item[1][2].cutoff, 0.0);
    ZEMU_free_bv_bin(&bin);
}

TEST(BondValenceMatrix, MissingFileFailsWithLoadMessage) {
    InWorkDir wd(Bin::none);
    Structure s(5, 5, 5, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}}, {});
    ZEMU_bv_bin bin;
    ASSERT_EQ(ZEMU_init_bv_bin(&bin, 2), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_build_bv_bin(&s.cif, &bin), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Cannot load database_binary.dat!\n");
    ZEMU_free_bv_bin(&bin);
}

TEST(BondValenceMatrix, ShippedFileHasEightWordLinesWithDerivedValues) {
    std::ifstream f(zemu_test::source_file("bin/database_binary.dat"));
    ASSERT_TRUE(f.good());
    int pairs = 0;
    for (std::string line; std::getline(f, line);) {
        std::istringstream in(line);
        std::vector<std::string> w;
        for (std::string word; in >> word;) w.push_back(word);
        if (w.size() < 8) {
            EXPECT_EQ(line[0], '#') << line;
            continue;
        }
        ASSERT_EQ(w.size(), 8u) << line;
        EXPECT_GT(atoi(w[1].c_str()), 0) << line;
        EXPECT_LT(atoi(w[3].c_str()), 0) << line;
        const double r0 = atof(w[4].c_str()), b = atof(w[5].c_str()), nc = atof(w[6].c_str()),
                     cut = atof(w[7].c_str());
        EXPECT_GT(b, 0.2) << line;
        EXPECT_LT(b, 1.0) << line;
        EXPECT_GT(nc, 0.5) << line;
        EXPECT_LT(nc, 14.0) << line;
        EXPECT_NEAR(cut, r0 + b * log(1e4), 1e-3) << line;  // one bond worth 1e-4 valence units
        pairs++;
    }
    EXPECT_EQ(pairs, 591);
}

// ---------------------------------------------------------------------------
// Bond valence sums
// ---------------------------------------------------------------------------

TEST(BondValenceSum, CsClTypeMatchesLatticeSumAndAnionIsNegative) {
    InWorkDir wd(kCsClDatabase);
    Structure s(4.12, 4.12, 4.12, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 1}});
    ASSERT_EQ(compute_sums(&s.cif), 0);
    auto params = [](double a, double b) { return a * b < 0 ? &kCsCl : nullptr; };
    const double expected = lattice_sum(s.cif, 0, params);
    EXPECT_GT(expected, 8 * exp((2.79 - 4.12 * sqrt(3) / 2) / 0.37));  // more than the 8 nearest
    EXPECT_NEAR(s.site(0).bv_sum, expected, 1e-9);
    EXPECT_NEAR(s.site(1).bv_sum, -expected, 1e-9);
}

TEST(BondValenceSum, ObliqueCellWithTwoCationTypesMatchesLatticeSum) {
    InWorkDir wd("Cs 1 Cl -1 2.79 0.37 9.0 7.0\n"
                 "Ba 2 Cl -1 2.70 0.40 9.0 6.5\n");
    const Pair ba = {2, -1, 2.70, 0.40, 6.5};
    Structure s(5.1, 6.3, 4.7, 95, 103, 87, {{"Cs1+", 1}, {"Cl1-", -1}, {"Ba2+", 2}},
                {{"Cs1", "Cs1+", 0.1, 0.2, 0.3, 1},
                 {"Cl1", "Cl1-", 0.55, 0.6, 0.75, 0.5},
                 {"Ba1", "Ba2+", 0.8, 0.9, 0.1, 1},
                 {"Cl2", "Cl1-", 0.3, 0.7, 0.2, 1}});
    ASSERT_EQ(compute_sums(&s.cif), 0);
    auto params = [&ba](double so, double ao) -> const Pair* {
        if (so * ao >= 0) return nullptr;
        return (so == 2 || ao == 2) ? &ba : &kCsCl;
    };
    for (int i = 0; i < 4; i++) EXPECT_NEAR(s.site(i).bv_sum, lattice_sum(s.cif, i, params), 1e-9) << i;
}

TEST(BondValenceSum, CutOffIsInclusiveAndCloseAtomsNeverBond) {
    InWorkDir wd("Cs 1 Cl -1 2.0 0.5 9 2.0\n");
    // Cl exactly 2.0 Angstrom away along a (its next image is 6.0 away).
    Structure s(8, 8, 8, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0.25, 0.5, 0.5, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 1}});
    ASSERT_EQ(compute_sums(&s.cif), 0);
    EXPECT_NEAR(s.site(0).bv_sum, 1.0, 1e-9);  // exp((2.0 - 2.0) / 0.5)
    EXPECT_NEAR(s.site(1).bv_sum, -1.0, 1e-9);

    s.site(1).x = 0.25 + 0.29 / 8;  // 0.29 Angstrom away: no bond, and nothing else within 2.0
    ASSERT_EQ(compute_sums(&s.cif), 0);
    EXPECT_DOUBLE_EQ(s.site(0).bv_sum, 0.0);
}

TEST(BondValenceSum, SearchStopsAtFirstShellWithoutBonds) {
    InWorkDir wd("Cs 1 Cl -1 2.0 0.5 9 2.0\n");
    // The only counter-ion within 2 Angstrom is the image one cell along -a; the home
    // cell contributes nothing, so the search ends there and the sum stays 0.
    Structure s(10, 10, 10, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0.05, 0.5, 0.5, 1}, {"Cl1", "Cl1-", 0.95, 0.5, 0.5, 1}});
    ASSERT_EQ(compute_sums(&s.cif), 0);
    EXPECT_DOUBLE_EQ(s.site(0).bv_sum, 0.0);
}

TEST(BondValenceSum, AllCationsGiveZeroSumsAndRmsGii) {
    InWorkDir wd(kCsClDatabase);
    Structure s(5, 5, 5, 90, 90, 90, {{"Cs1+", 1}, {"Ba2+", 2}},
                {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Ba1", "Ba2+", 0.5, 0.5, 0.5, 0.5}});
    testing::internal::CaptureStdout();
    const double gii = ZEMU_calc_GII(&s.cif);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_DOUBLE_EQ(s.site(0).bv_sum, 0.0);
    EXPECT_DOUBLE_EQ(s.site(1).bv_sum, 0.0);
    EXPECT_NEAR(gii, sqrt((1 * 1 * 1.0 + 2 * 2 * 0.5) / (1 + 0.5)), 1e-12);
    EXPECT_EQ(out,
              "Cs1 : 0.000000 Ox 1.000000 Mul 1 Occ 1.000000\n"
              "Ba1 : 0.000000 Ox 2.000000 Mul 1 Occ 0.500000\n");
}

TEST(BondValenceSum, NoTypesGiveEmptyMatrixAndZeroSums) {
    InWorkDir wd(kCsClDatabase);
    Structure s(5, 5, 5, 90, 90, 90, {}, {{"Cs1", "Cs", 0, 0, 0, 1}, {"Cl1", "Cl", 0.5, 0.5, 0.5, 1}});
    ASSERT_EQ(s.cif.type_no, 0);
    s.site(0).bv_sum = s.site(1).bv_sum = 7.0;
    ASSERT_EQ(compute_sums(&s.cif), 0);
    EXPECT_DOUBLE_EQ(s.site(0).bv_sum, 0.0);
    EXPECT_DOUBLE_EQ(s.site(1).bv_sum, 0.0);
}

TEST(BondValenceSum, SiteWithoutTypeFlagHasNoSumAndIsNoNeighbour) {
    InWorkDir wd(kCsClDatabase);
    Structure s(4.12, 4.12, 4.12, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 1}});
    ASSERT_EQ(s.cif.type[0].flag, 0);  // flags start at 0, so -1 names no type
    s.site(1).type_flag = -1;
    ASSERT_EQ(compute_sums(&s.cif), 0);
    EXPECT_DOUBLE_EQ(s.site(0).bv_sum, 0.0);
    EXPECT_DOUBLE_EQ(s.site(1).bv_sum, 0.0);
}

TEST(BondValenceSum, ImpossibleCellStillEndsTheSearch) {
    InWorkDir wd(kCsClDatabase);
    // Angles of 179 degrees give no real cell: the metric bounds nothing, the shell cap does.
    Structure s(0.5, 0.5, 0.5, 179, 179, 179, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 1}});
    EXPECT_EQ(compute_sums(&s.cif), 0);
}

TEST(BondValenceSum, MismatchedMatrixIsRejected) {
    InWorkDir wd(kCsClDatabase);
    Structure s(5, 5, 5, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}}, {{"Cs1", "Cs1+", 0, 0, 0, 1}});
    ZEMU_bv_bin bin;
    ASSERT_EQ(ZEMU_init_bv_bin(&bin, 1), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_calc_bv_sum(&s.cif, &bin), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid input to ZEMU_calc_bv_sum()\n");
    ZEMU_free_bv_bin(&bin);
}

TEST(BondValenceSum, ShippedParametersGiveNearFormalValencesForLiFePO4) {
    InWorkDir wd(Bin::project);
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    ASSERT_EQ(ZEMU_load_cif(const_cast<char*>(zemu_test::source_file("examples/LiFePO4/structure.cif").c_str()), &cif),
              0);
    ASSERT_EQ(compute_sums(&cif), 0);
    for (int i = 0; i < cif.site_no; i++)
        EXPECT_NEAR(cif.site[i].bv_sum, cif.site[i].ox, 0.3) << cif.site[i].label;
    ZEMU_free_cif(&cif);
}

// ---------------------------------------------------------------------------
// Printers
// ---------------------------------------------------------------------------

TEST(BondValencePrinters, BvSumReportFormat) {
    InWorkDir wd("Cs 1 Cl -1 2.0 0.5 9 2.0\n");
    Structure s(8, 8, 8, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0.25, 0.5, 0.5, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 0.5}});
    FILE* f = tmpfile();
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(ZEMU_print_bv_sum(&s.cif, f), 0);
    EXPECT_EQ(read_back(f),
              "Printing bond valence sum for each site...\n"
              "> Label [X Y Z] : BV_sum\n"
              "> Cs1 [0.250 0.500 0.500] : 0.500000\n"
              "> Cl1 [0.500 0.500 0.500] : -1.000000\n"
              "End of BV sum calculation.\n");
    fclose(f);
}

TEST(BondValencePrinters, MissingDatabasePrintsNothingOnStream) {
    InWorkDir wd(Bin::none);
    Structure s(5, 5, 5, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 1}});
    FILE* f = tmpfile();
    ASSERT_NE(f, nullptr);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_print_bv_sum(&s.cif, f), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Cannot load database_binary.dat!\n");
    EXPECT_EQ(read_back(f), "");

    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    ZEMU_print_GII(&s.cif, f);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Cannot load database_binary.dat!\n");
    EXPECT_EQ(read_back(f), "Error: Unable to calculate GII\n");
    fclose(f);
}

TEST(BondValencePrinters, GiiGoesToStreamAndSiteLinesToStandardOutput) {
    InWorkDir wd("Cs 1 Cl -1 2.0 0.5 9 2.0\n");
    Structure s(8, 8, 8, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0.25, 0.5, 0.5, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 0.5}});
    FILE* f = tmpfile();
    ASSERT_NE(f, nullptr);
    testing::internal::CaptureStdout();
    ZEMU_print_GII(&s.cif, f);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Cs1 : 0.500000 Ox 1.000000 Mul 1 Occ 1.000000\n"
              "Cl1 : -1.000000 Ox -1.000000 Mul 1 Occ 0.500000\n");
    // sqrt((0.5^2 * 1 + 0^2 * 0.5) / 1.5)
    char expected[64];
    snprintf(expected, sizeof expected, "Global instability index: %.6f\n", sqrt(0.25 / 1.5));
    EXPECT_EQ(read_back(f), expected);
    fclose(f);
}

TEST(BondValencePrinters, UnitCellChargeOrItsErrorLineOnStandardOutput) {
    Structure s(5, 5, 5, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0, 0, 0, 0.5}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 1}});
    s.site(1).mul = 2;
    EXPECT_DOUBLE_EQ(ZEMU_calc_unit_cell_charge(&s.cif), 0.5 - 2.0);
    testing::internal::CaptureStdout();
    ZEMU_print_unit_cell_charge(&s.cif);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Total charge per unit cell: -1.500\n");

    Structure partial(5, 5, 5, 90, 90, 90, {}, {{"Li1", "Li", 0, 0, 0, 1}});
    ASSERT_EQ(partial.cif.site_charge_provided, 0);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    ZEMU_print_unit_cell_charge(&partial.cif);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error: Unable to calculate total charge\n");
}

// ---------------------------------------------------------------------------
// GII optimiser
// ---------------------------------------------------------------------------

TEST(GiiOptimiser, NothingToMoveLeavesCopyUnchangedWithoutOutput) {
    InWorkDir wd(kCsClDatabase);
    Structure s(4.12, 4.12, 4.12, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.25, 1}});
    ZEMU_cif out;
    memset(&out, 0, sizeof out);  // the copy fills every field
    testing::internal::CaptureStdout();
    EXPECT_EQ(ZEMU_optimize_GII(&s.cif, &out), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    ASSERT_EQ(out.site_no, 2);
    EXPECT_DOUBLE_EQ(out.site[1].z, 0.25);
    EXPECT_FALSE(wd.dir().exists("ZEMU.cif"));
    ZEMU_free_cif(&out);
}

// Replays the annealing with the standard generator seeded by the same second:
// per step one draw picks the coordinate, one the direction, and an uphill move
// one more to decide acceptance.
TEST(GiiOptimiser, FollowsDrawOrderOfSeededGenerator) {
    InWorkDir wd(kCsClDatabase);
    // Free: Cl1 x and y (z = 0.5 is special); Cs1 sits on special values only.
    Structure s(4.12, 4.12, 4.12, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.46, 0.53, 0.5, 1}});
    ZEMU_cif out;
    std::string log;
    time_t seed = 0;
    for (int attempt = 0; attempt < 5; attempt++) {
        memset(&out, 0, sizeof out);
        const time_t before = time(nullptr);
        testing::internal::CaptureStdout();
        ASSERT_EQ(ZEMU_optimize_GII(&s.cif, &out), 0);
        log = testing::internal::GetCapturedStdout();
        if (time(nullptr) == before) {
            seed = before;
            break;
        }
        ZEMU_free_cif(&out);
    }
    if (seed == 0) GTEST_SKIP() << "clock kept crossing a second";
    EXPECT_TRUE(wd.dir().exists("ZEMU.cif"));

    std::mt19937 gen((std::mt19937::result_type)(unsigned long)seed);
    auto real1 = [&gen]() { return gen() * (1.0 / 4294967295.0); };
    Structure sim(4.12, 4.12, 4.12, 90, 90, 90, {{"Cs1+", 1}, {"Cl1-", -1}},
                  {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.46, 0.53, 0.5, 1}});
    double* coord[2] = {&sim.site(1).x, &sim.site(1).y};
    std::string expected_lines;
    testing::internal::CaptureStdout();
    double current = ZEMU_calc_GII(&sim.cif), temp = current / 100, prob = 0;
    char buf[128];
    snprintf(buf, sizeof buf, "CURRENT %f\n", current);
    expected_lines += buf;
    for (int i = 0, cool = 10; i < 100; i++) {
        if (i > cool) cool *= 2, temp *= 0.9;
        int k = (int)(real1() * 2);
        double* v = coord[k > 1 ? 1 : k];
        const double step = real1() >= 0.5 ? -0.01 : 0.01;
        *v += step;
        const double next = ZEMU_calc_GII(&sim.cif);
        if (next < current) {
            current = next;
            continue;
        }
        snprintf(buf, sizeof buf, "i %d prob %f Current GII %f\n", i, prob, current);
        expected_lines += buf;
        prob = exp(-(next - current) / temp);
        if (prob <= real1())
            *v -= step;
        else
            current = next;
    }
    testing::internal::GetCapturedStdout();

    std::string got_lines;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);)
        if (line.rfind("CURRENT ", 0) == 0 || line.rfind("i ", 0) == 0) got_lines += line + "\n";
    EXPECT_EQ(got_lines, expected_lines);
    EXPECT_DOUBLE_EQ(out.site[1].x, sim.site(1).x);
    EXPECT_DOUBLE_EQ(out.site[1].y, sim.site(1).y);
    EXPECT_DOUBLE_EQ(out.site[1].z, 0.5);
    ZEMU_free_cif(&out);
}
