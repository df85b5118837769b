// Bond valence sums, the parameter matrix, the global instability index, the
// cell charge and their printers. Sums are checked against lattice sums over
// Cartesian coordinates computed here, with parameter files written per test.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ZEMU-bv.h"
#include "fixtures.h"

using fx::InDir;

namespace {

const double kPi = 3.141592653589793;
const char* kDb = "database_binary.dat";
const char* kMissingDb = "Error: Cannot load database_binary.dat!\n";

struct SiteSpec {
    const char* label;
    const char* type;
    double x, y, z, occ;
};
using Types = std::vector<std::pair<const char*, double>>;
const Types kCsClTypes = {{"Cs1+", 1}, {"Cl1-", -1}};

// A P1 structure with the given cell, types and sites; types take every second
// flag and sites their oxidation states from the types, as the reader does.
struct BvCell : fx::Cif {
    BvCell(const std::vector<double>& cell, const Types& types, const std::vector<SiteSpec>& sites)
        : Cif({"x,y,z"}, cell) {
        for (auto& t : types) type(t.first, t.second), cif.type_flag_counter++;
        for (auto& s : sites) site(s.label, s.type, s.x, s.y, s.z, 1, s.occ);
        ZEMU_fill_ox_states_to_sites(&cif);
    }
};

// Cs at (0.25, 0.5, 0.5) and Cl (occupancy cl_occ) at the centre of an 8 Angstrom cube:
// 2 Angstrom apart, each next image 6 Angstrom away.
struct CsClPair : BvCell {
    explicit CsClPair(double cl_occ)
        : BvCell({8, 8, 8, 90, 90, 90}, kCsClTypes,
                 {{"Cs1", "Cs1+", 0.25, 0.5, 0.5, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, cl_occ}}) {}
};
const char* kPairDb = "Cs 1 Cl -1 2.0 0.5 9 2.0\n";

// The CsCl structure with Cl at (0.5, 0.5, cl_z).
struct CsCl : BvCell {
    explicit CsCl(double cl_z = 0.5)
        : BvCell({4.12, 4.12, 4.12, 90, 90, 90}, kCsClTypes,
                 {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.5, 0.5, cl_z, 1}}) {}
};
const char* kCsClDb = "# test parameters\nCs 1 Cl -1 2.79 0.37 9.0 7.0\n";

struct Pair {
    double ox_cation, ox_anion, r0, b, cutoff;
};
const Pair kCsClPair = {1, -1, 2.79, 0.37, 7.0};

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

// Sums as ZEMU_calc_bv_sum leaves them, with the matrix built for all types.
int compute_sums(ZEMU_cif* cif) {
    ZEMU_bv_bin bin;
    if (ZEMU_init_bv_bin(&bin, cif->type_no) != 0) return 1;
    int rc = ZEMU_build_bv_bin(cif, &bin);
    if (rc == 0) rc = ZEMU_calc_bv_sum(cif, &bin);
    ZEMU_free_bv_bin(&bin);
    return rc;
}

}  // namespace

// ---------------------------------------------------------------------------
// Parameter matrix
// ---------------------------------------------------------------------------

TEST(BondValenceMatrix, ReadsFirstMatchingLineAndSkipsShortLines) {
    InDir wd(kDb,
             "# pairs\r\n"
             "Cs 1 Cl -1 1.1 1.1 1\n"                // 7 words: skipped although the keys match
             "Cs\t1 Cl -1 9.9 9.9 9 9.9\n"          // a tab separates nothing: first word "Cs\t1"
             "Cs  1 Cl -1 2.5 0.4 9 6.5 extra\r\n"  // repeated blanks, extra word, CRLF
             "Cs 1 Cl -1 9.9 9.9 9 9.9\n");         // later duplicate: never used
    BvCell s({5, 5, 5, 90, 90, 90}, {{"Cl1-", -1}, {"Cs1+", 1}}, {});
    ZEMU_bv_bin bin;
    ASSERT_EQ(ZEMU_init_bv_bin(&bin, 2), 0);
    ASSERT_EQ(ZEMU_build_bv_bin(&s.cif, &bin), 0);
    EXPECT_EQ(bin.item[0][0].status, 0);
    EXPECT_EQ(bin.item[1][1].status, 0);
    for (auto* it : {&bin.item[0][1], &bin.item[1][0]})  // anion first in the type list
        EXPECT_EQ(std::make_tuple(it->status, it->r0, it->b, it->cutoff), std::make_tuple(1, 2.5, 0.4, 6.5));
    ZEMU_free_bv_bin(&bin);
    EXPECT_EQ(bin.total, 0);
    EXPECT_EQ(bin.item, nullptr);
}

TEST(BondValenceMatrix, OxidationStatesAreTruncatedTowardZero) {
    InDir wd(kDb, "Fe 2 O -2 1.7 0.4 6 6.0\nFe 3 O -2 1.8 0.4 6 6.1\nCs 1 X 0 2.0 0.5 6 6.2\n");
    // 2.9 -> 2, -2.7 -> -2; a type of ox 0 is the anion of a pair with a cation.
    BvCell s({5, 5, 5, 90, 90, 90}, {{"Fe3+", 2.9}, {"O2-", -2.7}, {"Cs1+", 1}, {"X", 0}}, {});
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
        EXPECT_TRUE(b > 0.2 && b < 1.0 && nc > 0.5 && nc < 14.0) << line;
        EXPECT_NEAR(cut, r0 + b * log(1e4), 1e-3) << line;  // one bond worth 1e-4 valence units
        pairs++;
    }
    EXPECT_EQ(pairs, 591);
}

TEST(BondValenceMatrix, MissingDatabaseIsReportedByTheBuilderAndBothPrinters) {
    InDir wd(false);
    CsClPair s(1.0);
    ZEMU_bv_bin bin;
    ASSERT_EQ(ZEMU_init_bv_bin(&bin, 2), 0);
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_build_bv_bin(&s.cif, &bin), 1); }), kMissingDb);
    ZEMU_free_bv_bin(&bin);

    std::string err;
    EXPECT_EQ(fx::written([&](FILE* f) {
                  err = fx::stderr_of([&] { EXPECT_EQ(ZEMU_print_bv_sum(&s.cif, f), 1); });
              }),
              "");  // nothing on the stream
    EXPECT_EQ(err, kMissingDb);
    std::string out;
    EXPECT_EQ(fx::written([&](FILE* f) {
                  err = fx::stderr_of([&] { out = fx::stdout_of([&] { ZEMU_print_GII(&s.cif, f); }); });
              }),
              "Error: Unable to calculate GII\n");
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, kMissingDb);
}

// ---------------------------------------------------------------------------
// Bond valence sums
// ---------------------------------------------------------------------------

TEST(BondValenceSum, CsClTypeMatchesLatticeSumAndAnionIsNegative) {
    InDir wd(kDb, kCsClDb);
    CsCl s;
    ASSERT_EQ(compute_sums(&s.cif), 0);
    auto params = [](double a, double b) { return a * b < 0 ? &kCsClPair : nullptr; };
    const double expected = lattice_sum(s.cif, 0, params);
    EXPECT_GT(expected, 8 * exp((2.79 - 4.12 * sqrt(3) / 2) / 0.37));  // more than the 8 nearest
    EXPECT_NEAR(s[0].bv_sum, expected, 1e-9);
    EXPECT_NEAR(s[1].bv_sum, -expected, 1e-9);
}

TEST(BondValenceSum, ObliqueCellWithTwoCationTypesMatchesLatticeSum) {
    InDir wd(kDb, "Cs 1 Cl -1 2.79 0.37 9.0 7.0\nBa 2 Cl -1 2.70 0.40 9.0 6.5\n");
    const Pair ba = {2, -1, 2.70, 0.40, 6.5};
    BvCell s({5.1, 6.3, 4.7, 95, 103, 87}, {{"Cs1+", 1}, {"Cl1-", -1}, {"Ba2+", 2}},
             {{"Cs1", "Cs1+", 0.1, 0.2, 0.3, 1},
              {"Cl1", "Cl1-", 0.55, 0.6, 0.75, 0.5},
              {"Ba1", "Ba2+", 0.8, 0.9, 0.1, 1},
              {"Cl2", "Cl1-", 0.3, 0.7, 0.2, 1}});
    ASSERT_EQ(compute_sums(&s.cif), 0);
    auto params = [&ba](double so, double ao) -> const Pair* {
        if (so * ao >= 0) return nullptr;
        return (so == 2 || ao == 2) ? &ba : &kCsClPair;
    };
    for (int i = 0; i < 4; i++) EXPECT_NEAR(s[i].bv_sum, lattice_sum(s.cif, i, params), 1e-9) << i;
}

TEST(BondValenceSum, CutOffIsInclusiveAndCloseAtomsNeverBond) {
    InDir wd(kDb, kPairDb);
    CsClPair s(1.0);
    ASSERT_EQ(compute_sums(&s.cif), 0);
    EXPECT_NEAR(s[0].bv_sum, 1.0, 1e-9);  // exp((2.0 - 2.0) / 0.5)
    EXPECT_NEAR(s[1].bv_sum, -1.0, 1e-9);
    s[1].x = 0.25 + 0.29 / 8;  // 0.29 Angstrom away: no bond, and nothing else within 2.0
    ASSERT_EQ(compute_sums(&s.cif), 0);
    EXPECT_DOUBLE_EQ(s[0].bv_sum, 0.0);
}

TEST(BondValenceSum, CasesThatLeaveEverySumZero) {
    InDir wd(kDb, kPairDb);
    // The only counter-ion within 2 Angstrom is the image one cell along -a; the home
    // cell contributes nothing, so the search ends there.
    BvCell shell({10, 10, 10, 90, 90, 90}, kCsClTypes,
                 {{"Cs1", "Cs1+", 0.05, 0.5, 0.5, 1}, {"Cl1", "Cl1-", 0.95, 0.5, 0.5, 1}});
    // Without types the matrix is empty.
    BvCell untyped({5, 5, 5, 90, 90, 90}, {}, {{"Cs1", "Cs", 0, 0, 0, 1}, {"Cl1", "Cl", 0.5, 0.5, 0.5, 1}});
    ASSERT_EQ(untyped.cif.type_no, 0);
    // Flags start at 0, so -1 names no type: no sum, and no neighbour.
    CsClPair unflagged(1.0);
    ASSERT_EQ(unflagged.cif.type[0].flag, 0);
    unflagged[1].type_flag = -1;
    for (BvCell* s : std::initializer_list<BvCell*>{&shell, &untyped, &unflagged}) {
        (*s)[0].bv_sum = (*s)[1].bv_sum = 7.0;
        ASSERT_EQ(compute_sums(&s->cif), 0);
        EXPECT_DOUBLE_EQ((*s)[0].bv_sum, 0.0) << (*s)[0].x;
        EXPECT_DOUBLE_EQ((*s)[1].bv_sum, 0.0) << (*s)[0].x;
    }
}

TEST(BondValenceSum, AllCationsGiveZeroSumsAndRmsGii) {
    InDir wd(kDb, kCsClDb);
    BvCell s({5, 5, 5, 90, 90, 90}, {{"Cs1+", 1}, {"Ba2+", 2}},
             {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Ba1", "Ba2+", 0.5, 0.5, 0.5, 0.5}});
    double gii = 0;
    EXPECT_EQ(fx::stdout_of([&] { gii = ZEMU_calc_GII(&s.cif); }),
              "Cs1 : 0.000000 Ox 1.000000 Mul 1 Occ 1.000000\n"
              "Ba1 : 0.000000 Ox 2.000000 Mul 1 Occ 0.500000\n");
    EXPECT_DOUBLE_EQ(s[0].bv_sum, 0.0);
    EXPECT_DOUBLE_EQ(s[1].bv_sum, 0.0);
    EXPECT_NEAR(gii, sqrt((1 * 1 * 1.0 + 2 * 2 * 0.5) / (1 + 0.5)), 1e-12);
}

TEST(BondValenceSum, ImpossibleCellStillEndsTheSearchAndMismatchedMatrixIsRejected) {
    InDir wd(kDb, kCsClDb);
    // Angles of 179 degrees give no real cell: the metric bounds nothing, the shell cap does.
    BvCell flat({0.5, 0.5, 0.5, 179, 179, 179}, kCsClTypes,
                {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 1}});
    EXPECT_EQ(compute_sums(&flat.cif), 0);

    CsCl s;
    ZEMU_bv_bin bin;
    ASSERT_EQ(ZEMU_init_bv_bin(&bin, 1), 0);
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_calc_bv_sum(&s.cif, &bin), 1); }),
              "Error: Invalid input to ZEMU_calc_bv_sum()\n");
    ZEMU_free_bv_bin(&bin);
}

TEST(BondValenceSum, ShippedParametersGiveNearFormalValencesForLiFePO4) {
    InDir wd(true);
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    std::string path = zemu_test::source_file("examples/LiFePO4/structure.cif");
    ASSERT_EQ(ZEMU_load_cif(&path[0], &cif), 0);
    ASSERT_EQ(compute_sums(&cif), 0);
    for (int i = 0; i < cif.site_no; i++) EXPECT_NEAR(cif.site[i].bv_sum, cif.site[i].ox, 0.3) << cif.site[i].label;
    ZEMU_free_cif(&cif);
}

// ---------------------------------------------------------------------------
// Printers
// ---------------------------------------------------------------------------

TEST(BondValencePrinters, BvSumReportAndGii) {
    InDir wd(kDb, kPairDb);
    CsClPair s(0.5);
    EXPECT_EQ(fx::written([&](FILE* f) { EXPECT_EQ(ZEMU_print_bv_sum(&s.cif, f), 0); }),
              "Printing bond valence sum for each site...\n"
              "> Label [X Y Z] : BV_sum\n"
              "> Cs1 [0.250 0.500 0.500] : 0.500000\n"
              "> Cl1 [0.500 0.500 0.500] : -1.000000\n"
              "End of BV sum calculation.\n");

    // The index goes to the stream and the site lines to standard output.
    std::string out;
    const std::string stream = fx::written([&](FILE* f) { out = fx::stdout_of([&] { ZEMU_print_GII(&s.cif, f); }); });
    EXPECT_EQ(out,
              "Cs1 : 0.500000 Ox 1.000000 Mul 1 Occ 1.000000\n"
              "Cl1 : -1.000000 Ox -1.000000 Mul 1 Occ 0.500000\n");
    char expected[64];  // sqrt((0.5^2 * 1 + 0^2 * 0.5) / 1.5)
    snprintf(expected, sizeof expected, "Global instability index: %.6f\n", sqrt(0.25 / 1.5));
    EXPECT_EQ(stream, expected);
}

TEST(BondValencePrinters, UnitCellChargeOrItsErrorLineOnStandardOutput) {
    BvCell s({5, 5, 5, 90, 90, 90}, kCsClTypes, {{"Cs1", "Cs1+", 0, 0, 0, 0.5}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 1}});
    s[1].mul = 2;
    EXPECT_DOUBLE_EQ(ZEMU_calc_unit_cell_charge(&s.cif), 0.5 - 2.0);
    EXPECT_EQ(fx::stdout_of([&] { ZEMU_print_unit_cell_charge(&s.cif); }), "Total charge per unit cell: -1.500\n");

    BvCell partial({5, 5, 5, 90, 90, 90}, {}, {{"Li1", "Li", 0, 0, 0, 1}});
    ASSERT_EQ(partial.cif.site_charge_provided, 0);
    std::string out;
    EXPECT_EQ(fx::stderr_of([&] { out = fx::stdout_of([&] { ZEMU_print_unit_cell_charge(&partial.cif); }); }), "");
    EXPECT_EQ(out, "Error: Unable to calculate total charge\n");
}

// ---------------------------------------------------------------------------
// GII optimiser
// ---------------------------------------------------------------------------

TEST(GiiOptimiser, NothingToMoveLeavesCopyUnchangedWithoutOutput) {
    InDir wd(kDb, kCsClDb);
    CsCl s(0.25);
    ZEMU_cif out;
    memset(&out, 0, sizeof out);  // the copy fills every field
    EXPECT_EQ(fx::stdout_of([&] { EXPECT_EQ(ZEMU_optimize_GII(&s.cif, &out), 0); }), "");
    ASSERT_EQ(out.site_no, 2);
    EXPECT_DOUBLE_EQ(out.site[1].z, 0.25);
    EXPECT_FALSE(wd.dir.exists("ZEMU.cif"));
    ZEMU_free_cif(&out);
}

// Replays the annealing with the standard generator seeded by the same second:
// per step one draw picks the coordinate, one the direction, and an uphill move
// one more to decide acceptance.
TEST(GiiOptimiser, FollowsDrawOrderOfSeededGenerator) {
    InDir wd(kDb, kCsClDb);
    // Free: Cl1 x and y (z = 0.5 is special); Cs1 sits on special values only.
    auto structure = [] {
        return new BvCell({4.12, 4.12, 4.12, 90, 90, 90}, kCsClTypes,
                          {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.46, 0.53, 0.5, 1}});
    };
    std::unique_ptr<BvCell> s(structure());
    ZEMU_cif out;
    std::string log;
    time_t seed = 0;
    for (int attempt = 0; attempt < 5 && seed == 0; attempt++) {
        memset(&out, 0, sizeof out);
        const time_t before = time(nullptr);
        log = fx::stdout_of([&] { ASSERT_EQ(ZEMU_optimize_GII(&s->cif, &out), 0); });
        if (time(nullptr) == before)
            seed = before;
        else
            ZEMU_free_cif(&out);
    }
    if (seed == 0) GTEST_SKIP() << "clock kept crossing a second";
    EXPECT_TRUE(wd.dir.exists("ZEMU.cif"));

    std::mt19937 gen((std::mt19937::result_type)(unsigned long)seed);
    auto real1 = [&gen]() { return gen() * (1.0 / 4294967295.0); };
    std::unique_ptr<BvCell> sim(structure());
    double* coord[2] = {&(*sim)[1].x, &(*sim)[1].y};
    std::string expected_lines;
    fx::stdout_of([&] {
        double current = ZEMU_calc_GII(&sim->cif), temp = current / 100, prob = 0;
        char buf[128];
        snprintf(buf, sizeof buf, "CURRENT %f\n", current);
        expected_lines += buf;
        for (int i = 0, cool = 10; i < 100; i++) {
            if (i > cool) cool *= 2, temp *= 0.9;
            int k = (int)(real1() * 2);
            double* v = coord[k > 1 ? 1 : k];
            const double step = real1() >= 0.5 ? -0.01 : 0.01;
            *v += step;
            const double next = ZEMU_calc_GII(&sim->cif);
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
    });

    std::string got_lines;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);)
        if (line.rfind("CURRENT ", 0) == 0 || line.rfind("i ", 0) == 0) got_lines += line + "\n";
    EXPECT_EQ(got_lines, expected_lines);
    EXPECT_DOUBLE_EQ(out.site[1].x, (*sim)[1].x);
    EXPECT_DOUBLE_EQ(out.site[1].y, (*sim)[1].y);
    EXPECT_DOUBLE_EQ(out.site[1].z, 0.5);
    ZEMU_free_cif(&out);
}
