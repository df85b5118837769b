// Bond valence sums, the parameter matrix, the global instability index, the
// cell charge, their printers and the GII optimiser. Sums are checked against
// lattice sums over Cartesian coordinates computed here.
#include <cstring>
#include <memory>
#include <algorithm>
#include <random>

#include "ZEMU-bv.h"
#include "fixtures.h"

using fx::InDir;

namespace {

const char* kDb = "database_binary.dat";
const char* kPairDb = "Cs 1 Cl -1 2.0 0.5 9 2.0\n";
const char* kCsClDb = "# test parameters\nCs 1 Cl -1 2.79 0.37 9.0 7.0\nBa 2 Cl -1 2.70 0.40 9.0 6.5\n";

struct SiteSpec {
    const char* label;
    const char* type;
    double x, y, z, occ;
};
using Types = std::vector<std::pair<const char*, double>>;
const Types kCsClTypes = {{"Cs1+", 1}, {"Cl1-", -1}};

// A P1 structure; types take every second flag and sites their oxidation states from the types, as the reader does.
struct BvCell : fx::Cif {
    BvCell(const std::vector<double>& cell, const Types& types, const std::vector<SiteSpec>& sites)
        : Cif({"x,y,z"}, cell) {
        for (auto& t : types) type(t.first, t.second), cif.type_flag_counter++;
        for (auto& s : sites) site(s.label, s.type, s.x, s.y, s.z, 1, s.occ);
        ZEMU_fill_ox_states_to_sites(&cif);
    }
};

// Cs at (0.25, 0.5, 0.5) and Cl (occupancy cl_occ) at the centre of an 8 Angstrom cube: 2 Angstrom apart.
BvCell* cs_cl_pair(double cl_occ) {
    return new BvCell({8, 8, 8, 90, 90, 90}, kCsClTypes,
                      {{"Cs1", "Cs1+", 0.25, 0.5, 0.5, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, cl_occ}});
}

// Lattice sum of exp((R0 - d) / b) * occ over every counter-ion image within 0.3 .. cutoff Angstrom,
// with the parameters of kCsClDb, in a cell with a along x and b in the xy plane.
double lattice_sum(const ZEMU_cif& c, int s) {
    const double r = M_PI / 180, ca = cos(c.alpha * r), cb = cos(c.beta * r), cg = cos(c.gamma * r), sg = sin(c.gamma * r);
    const double cy = (ca - cb * cg) / sg, cz = sqrt(1 - cb * cb - cy * cy);
    auto cart = [&](double x, double y, double z) {
        return std::vector<double>{x * c.a + y * c.b * cg + z * c.c * cb, y * c.b * sg + z * c.c * cy, z * c.c * cz};
    };
    const ZEMU_site& site = c.site[s];
    const std::vector<double> p0 = cart(site.x, site.y, site.z);
    double sum = 0.0;
    for (int n = 0; n < c.site_no; n++) {
        const ZEMU_site& atom = c.site[n];
        if (site.ox * atom.ox >= 0) continue;
        const bool ba = site.ox == 2 || atom.ox == 2;
        const double r0 = ba ? 2.70 : 2.79, b = ba ? 0.40 : 0.37, cutoff = ba ? 6.5 : 7.0;
        for (int i = -8; i <= 8; i++)
            for (int j = -8; j <= 8; j++)
                for (int k = -8; k <= 8; k++) {
                    std::vector<double> q = cart(atom.x + i, atom.y + j, atom.z + k);
                    const double d = sqrt(pow(q[0] - p0[0], 2) + pow(q[1] - p0[1], 2) + pow(q[2] - p0[2], 2));
                    if (d >= 0.3 && d <= cutoff) sum += exp((r0 - d) / b) * atom.occ;
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

TEST(BondValenceMatrix, FirstMatchingEightWordLineOfTruncatedStates) {
    InDir wd(kDb,
             "# pairs\r\nFe 2 O -2 1.1 1.1 1\n"  // 7 words: skipped although the keys match
             "Fe\t2 O -2 9.9 9.9 9 9.9\n"         // a tab separates nothing: first word "Fe\t2"
             "Fe  2 O -2 1.7 0.4 6 6.0 extra\r\nFe 2 O -2 9.9 9.9 9 9.9\nCs 1 X 0 2.0 0.5 6 6.2\n");
    // 2.9 -> 2, -2.7 -> -2; a type of ox 0 is the anion of a pair with a cation.
    BvCell s({5, 5, 5, 90, 90, 90}, {{"O2-", -2.7}, {"Fe3+", 2.9}, {"Cs1+", 1}, {"X", 0}}, {});
    ZEMU_bv_bin bin;
    ASSERT_EQ(ZEMU_init_bv_bin(&bin, 4), 0);
    ASSERT_EQ(ZEMU_build_bv_bin(&s.cif, &bin), 0);
    for (auto* it : {&bin.item[0][1], &bin.item[1][0]})  // anion first in the type list
        EXPECT_EQ(std::make_tuple(it->status, it->r0, it->b, it->cutoff), std::make_tuple(1, 1.7, 0.4, 6.0));
    EXPECT_EQ(std::make_tuple(bin.item[2][3].status, bin.item[3][2].cutoff), std::make_tuple(1, 6.2));
    // two cations or two anions never bond; no line for Cs-O: no bond, no cut-off
    EXPECT_EQ(std::make_tuple(bin.item[1][2].status, bin.item[0][0].status, bin.item[0][2].status, bin.item[0][2].cutoff),
              std::make_tuple(0, 0, 0, 0.0));
    ZEMU_free_bv_bin(&bin);
    EXPECT_EQ(bin.item, nullptr);

}

TEST(BondValenceSum, SumsMatchLatticeSumsInCubicAndObliqueCells) {
    InDir wd(kDb, kCsClDb);
    BvCell cscl({4.12, 4.12, 4.12, 90, 90, 90}, kCsClTypes, {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 1}});
    BvCell oblique({5.1, 6.3, 4.7, 95, 103, 87}, {{"Cs1+", 1}, {"Cl1-", -1}, {"Ba2+", 2}},
                   {{"Cs1", "Cs1+", 0.1, 0.2, 0.3, 1}, {"Cl1", "Cl1-", 0.55, 0.6, 0.75, 0.5},
                    {"Ba1", "Ba2+", 0.8, 0.9, 0.1, 1}, {"Cl2", "Cl1-", 0.3, 0.7, 0.2, 1}});
    for (BvCell* s : {&cscl, &oblique}) {
        ASSERT_EQ(compute_sums(&s->cif), 0);
        for (int i = 0; i < s->cif.site_no; i++) EXPECT_NEAR((*s)[i].bv_sum, lattice_sum(s->cif, i), 1e-9) << i;
    }
    EXPECT_GT(cscl[0].bv_sum, 8 * exp((2.79 - 4.12 * sqrt(3) / 2) / 0.37));  // more than the 8 nearest

    // all cations: zero sums, and the index is the root mean square of the states
    BvCell cations({5, 5, 5, 90, 90, 90}, {{"Cs1+", 1}, {"Ba2+", 2}}, {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Ba1", "Ba2+", 0.5, 0.5, 0.5, 0.5}});
    double gii = 0;
    EXPECT_EQ(fx::stdout_of([&] { gii = ZEMU_calc_GII(&cations.cif); }),
              "Cs1 : 0.000000 Ox 1.000000 Mul 1 Occ 1.000000\nBa1 : 0.000000 Ox 2.000000 Mul 1 Occ 0.500000\n");
    EXPECT_NEAR(gii, sqrt((1 * 1 * 1.0 + 2 * 2 * 0.5) / (1 + 0.5)), 1e-12);

    // angles of 179 degrees give no real cell: the shell cap ends the search; a matrix of the wrong size is refused
    BvCell flat({0.5, 0.5, 0.5, 179, 179, 179}, kCsClTypes, {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.5, 1}});
    EXPECT_EQ(compute_sums(&flat.cif), 0);
    ZEMU_bv_bin bin;
    ASSERT_EQ(ZEMU_init_bv_bin(&bin, 1), 0);
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_calc_bv_sum(&cscl.cif, &bin), 1); }), "Error: Invalid input to ZEMU_calc_bv_sum()\n");
    ZEMU_free_bv_bin(&bin);
}

TEST(BondValenceSum, CutOffIsInclusiveAndCasesThatLeaveEverySumZero) {
    InDir wd(kDb, kPairDb);
    std::unique_ptr<BvCell> pair(cs_cl_pair(1.0)), close(cs_cl_pair(1.0)), unflagged(cs_cl_pair(1.0));
    ASSERT_EQ(compute_sums(&pair->cif), 0);
    EXPECT_NEAR((*pair)[0].bv_sum, 1.0, 1e-9);  // exp((2.0 - 2.0) / 0.5)
    (*close)[1].x = 0.25 + 0.29 / 8;  // 0.29 Angstrom away: no bond, and nothing else within 2.0
    (*unflagged)[1].type_flag = -1;  // flags start at 0, so -1 names no type
    // the only counter-ion within 2 Angstrom is the image along -a: the home cell gives nothing, the search ends there
    BvCell shell({10, 10, 10, 90, 90, 90}, kCsClTypes, {{"Cs1", "Cs1+", 0.05, 0.5, 0.5, 1}, {"Cl1", "Cl1-", 0.95, 0.5, 0.5, 1}});
    for (BvCell* s : {close.get(), unflagged.get(), &shell}) {
        (*s)[0].bv_sum = (*s)[1].bv_sum = 7.0;
        ASSERT_EQ(compute_sums(&s->cif), 0);
        EXPECT_EQ(std::make_tuple((*s)[0].bv_sum, (*s)[1].bv_sum), std::make_tuple(0.0, 0.0)) << (*s)[0].x;
    }
}

TEST(GiiOptimiser, FixedCellStaysAndFreeCoordinatesFollowTheSeededGeneratorsDraws) {
    InDir wd(kDb, kCsClDb);
    // Cl1 at z = 0.25: nothing is free to move; an unchanged copy, no output, no file
    BvCell fixed({4.12, 4.12, 4.12, 90, 90, 90}, kCsClTypes, {{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.5, 0.5, 0.25, 1}});
    ZEMU_cif out;
    memset(&out, 0, sizeof out);  // the copy fills every field
    EXPECT_EQ(fx::stdout_of([&] { EXPECT_EQ(ZEMU_optimize_GII(&fixed.cif, &out), 0); }), "");
    EXPECT_EQ(std::make_tuple(out.site_no, out.site[1].z, wd.dir.exists("ZEMU.cif")), std::make_tuple(2, 0.25, false));
    ZEMU_free_cif(&out);
    // Free: Cl1 x and y (z = 0.5 is special). The annealing is replayed with the standard
    // generator seeded by the same second: per step one draw picks the coordinate, one the
    // direction, and an uphill move one more to decide acceptance.
    auto make = [] {
        return std::make_unique<BvCell>(std::vector<double>{4.12, 4.12, 4.12, 90, 90, 90}, kCsClTypes,
                                        std::vector<SiteSpec>{{"Cs1", "Cs1+", 0, 0, 0, 1}, {"Cl1", "Cl1-", 0.46, 0.53, 0.5, 1}});
    };
    auto s = make(), sim = make();
    std::string log;
    time_t seed = 0;
    for (int attempt = 0; attempt < 5 && seed == 0; attempt++) {
        memset(&out, 0, sizeof out);
        const time_t before = time(nullptr);
        log = fx::stdout_of([&] { ASSERT_EQ(ZEMU_optimize_GII(&s->cif, &out), 0); });
        if (time(nullptr) == before) seed = before;
        else ZEMU_free_cif(&out);
    }
    if (seed == 0) GTEST_SKIP() << "clock kept crossing a second";
    EXPECT_TRUE(wd.dir.exists("ZEMU.cif"));
    std::mt19937 gen((std::mt19937::result_type)(unsigned long)seed);
    auto real1 = [&gen]() { return gen() * (1.0 / 4294967295.0); };
    double* coord[2] = {&(*sim)[1].x, &(*sim)[1].y};
    std::string want, got;
    fx::stdout_of([&] {
        double current = ZEMU_calc_GII(&sim->cif), temp = current / 100, prob = 0;
        char buf[128];
        snprintf(buf, sizeof buf, "CURRENT %f\n", current);
        want += buf;
        for (int i = 0, cool = 10; i < 100; i++) {
            if (i > cool) cool *= 2, temp *= 0.9;
            const int k = (int)(real1() * 2);
            double* v = coord[k > 1 ? 1 : k];
            const double step = real1() >= 0.5 ? -0.01 : 0.01;
            *v += step;
            const double next = ZEMU_calc_GII(&sim->cif);
            if (next < current) {
                current = next;
                continue;
            }
            snprintf(buf, sizeof buf, "i %d prob %f Current GII %f\n", i, prob, current);
            want += buf;
            prob = exp(-(next - current) / temp);
            if (prob <= real1()) *v -= step;
            else current = next;
        }
    });
    for (const std::string& line : fx::lines_of(log))
        if (line.rfind("CURRENT ", 0) == 0 || line.rfind("i ", 0) == 0) got += line + "\n";
    EXPECT_EQ(got, want);
    EXPECT_EQ(std::make_tuple(out.site[1].x, out.site[1].y, out.site[1].z), std::make_tuple((*sim)[1].x, (*sim)[1].y, 0.5));
    ZEMU_free_cif(&out);
}
