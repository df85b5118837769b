// Landscape model: the mobile ion text, the pair terms against hand-computed
// values, the strict cut-off, the image search in an oblique cell against a
// brute-force sum, and the refusals that name their cause.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "ZEMU-bvse.h"
#include "fixtures.h"

namespace {

// A site row: label, type symbol, x, y, z, oxidation state, occupancy.
struct Site { const char *label, *type; double x, y, z, ox, occ; };

// The model of `sites` (every operation applied) for the mobile ion, cut-off rcut.
int build(const std::vector<std::string>& ops, const std::vector<double>& cell, const std::vector<Site>& sites,
          const char* ion, double rcut, ZEMU_bvse_model* m, std::string* error) {
    fx::Cif s(ops, cell);
    for (const Site& t : sites) s.site(t.label, t.type, t.x, t.y, t.z, 1, t.occ, t.ox);
    return ZEMU_bvse_build_model(&s.cif, ion, rcut, 0.74, m, error);
}

double energy_at(const ZEMU_bvse_model& m, double x, double y, double z) {
    const double f[3] = {x, y, z};
    return ZEMU_bvse_point_energy(&m, f);
}

}  // namespace

TEST(BvseIon, ChargeAndElementFromTheTextAndTheStandardCell) {
    ZEMU_bvse_ion ion;
    std::string error, got;
    for (const char* text : {"Li1+", "Li+", "O2-", "F-", "Mg2+"}) {
        EXPECT_EQ(ZEMU_bvse_parse_ion(text, &ion, &error), 0) << text << ": " << error;
        got += ion.element + std::to_string(ion.charge) + " ";
    }
    EXPECT_EQ(got, "Li1 Li1 O-2 F-1 Mg2 ");
    for (const char* bad : {"Li", "Li1", "Li0+", "li1+", "1+", "Li1+x", "Xx1+", ""}) {
        EXPECT_EQ(ZEMU_bvse_parse_ion(bad, &ion, &error), 1) << bad;
        EXPECT_NE(error.find("mobile ion"), std::string::npos) << error;
    }
    // the standard orientation keeps the special angles exact
    double m[3][3];
    ZEMU_bvse_cell_matrix(3.0, 3.0, 5.0, 90.0, 90.0, 120.0, m);
    EXPECT_EQ(std::vector<double>({m[1][0], m[1][1], m[2][0], m[2][1], m[2][2]}),
              std::vector<double>({-1.5, 3.0 * std::sqrt(3.0) / 2.0, 0.0, 0.0, 5.0}));
}

// Li1+ in a 40 A cell: O2- at the origin, Fe2+ at the centre, a neutral Mg site:
// near one atom only that atom's term counts.
TEST(BvseModel, PairTermsMatchHandComputedValuesAndTheCutOffIsStrict) {
    std::vector<Site> sites = {{"O1", "O2-", 0, 0, 0, -2, 1}, {"Fe1", "Fe2+", 0.5, 0.5, 0.5, 2, 1},
                               {"Mg1", "Mg", 0.0625, 0.01, 0, 0, 1}, {"Li1", "Li1+", 0.25, 0.25, 0.25, 1, 1}};
    ZEMU_bvse_model m;
    std::string error;
    ASSERT_EQ(build({"x,y,z"}, {40, 40, 40, 90, 90, 90}, sites, "Li1+", 10.0, &m, &error), 0) << error;
    EXPECT_EQ(m.atoms.size(), 2u);  // the mobile ion's own site and the neutral site carry no term
    // Morse, Li1+/O2-: d0 ((exp(alpha (r_min - r)) - 1)^2 - 1) / 2 at r = 2.5
    EXPECT_NEAR(energy_at(m, 2.5 / 40, 0, 0), -0.277433804540026, 1e-13);
    // screened Coulomb, Li1+/Fe2+: 14.4 * 2 / sqrt(2 * 4) / r * erfc(r / (0.74 (1.28 + 1.32))) at r = 3
    EXPECT_NEAR(energy_at(m, 0.5 + 3.0 / 40, 0.5, 0.5), 0.0931549713675202, 1e-13);
    // the occupancy scales the term
    sites[0].occ = 0.5;
    ASSERT_EQ(build({"x,y,z"}, {40, 40, 40, 90, 90, 90}, sites, "Li1+", 10.0, &m, &error), 0);
    EXPECT_NEAR(energy_at(m, 2.5 / 40, 0, 0), 0.5 * -0.277433804540026, 1e-13);

    // images at exactly r_cut do not count; just inside they do
    const std::vector<Site> one = {{"O1", "O2-", 0.5, 0, 0, -2, 1}};
    ASSERT_EQ(build({"x,y,z"}, {20, 20, 20, 90, 90, 90}, one, "Li1+", 10.0, &m, &error), 0) << error;
    EXPECT_EQ(energy_at(m, 0, 0, 0), 0.0);  // two images at exactly 10 A
    ASSERT_EQ(build({"x,y,z"}, {20, 20, 20, 90, 90, 90}, one, "Li1+", 10.0 + 1e-9, &m, &error), 0);
    EXPECT_DOUBLE_EQ(energy_at(m, 0, 0, 0), 2.0 * ZEMU_bvse_pair_energy(&m.atoms[0], 10.0));
}

// alpha = 40 degrees: the spacing of the (100) planes is far below the edge
// lengths, so a search over a few cells per edge misses images. Brute force
// over +-12 cells with distances from the metric tensor.
TEST(BvseModel, ObliqueCellImageSearchMatchesBruteForce) {
    const double a = 4.0, b = 5.0, c = 6.0, al = 40.0, be = 80.0, ga = 70.0;
    fx::Cif s({"x,y,z", "-x,-y,-z"}, {a, b, c, al, be, ga});
    s.site("O1", "O2-", 0.1, 0.2, 0.3, 1, 1, -2);
    s.site("Fe1", "Fe2+", 0.6, 0.55, 0.8, 1, 0.75, 2);
    ZEMU_bvse_model m;
    std::string error;
    ASSERT_EQ(ZEMU_bvse_build_model(&s.cif, "Li1+", 10.0, 0.74, &m, &error), 0) << error;
    ASSERT_EQ(m.atoms.size(), 4u);
    const double r = M_PI / 180.0;
    const double g[3][3] = {{a * a, a * b * std::cos(ga * r), a * c * std::cos(be * r)},
                            {a * b * std::cos(ga * r), b * b, b * c * std::cos(al * r)},
                            {a * c * std::cos(be * r), b * c * std::cos(al * r), c * c}};
    auto brute = [&](const double p[3]) {
        double sum = 0.0;
        for (const ZEMU_bvse_atom& atom : m.atoms)
            for (int i = -12; i <= 12; i++)
                for (int j = -12; j <= 12; j++)
                    for (int k = -12; k <= 12; k++) {
                        const double d[3] = {atom.frac[0] + i - p[0], atom.frac[1] + j - p[1], atom.frac[2] + k - p[2]};
                        double d2 = 0.0;
                        for (int u = 0; u < 3; u++)
                            for (int v = 0; v < 3; v++) d2 += d[u] * g[u][v] * d[v];
                        if (d2 < 100.0) sum += ZEMU_bvse_pair_energy(&atom, std::sqrt(d2));
                    }
        return sum;
    };
    const double points[][3] = {{0, 0, 0}, {0.5, 0.5, 0.5}, {0.93, 0.07, 0.61}, {0.25, 0.8, 0.1}};
    for (const auto& p : points) {
        const double want = brute(p);
        EXPECT_NEAR(ZEMU_bvse_point_energy(&m, p), want, 1e-9 * std::max(1.0, std::fabs(want)));
    }
}

TEST(BvseModel, RefusalsNameTheCause) {
    const struct { const char* ion; std::vector<Site> sites; double rcut; const char* expected; } cases[] = {
        {"Li1+", {{"O1", "O3-", 0, 0, 0, -3, 1}}, 10, "pair Li1+/O3-"},
        // an anion as the mobile ion looks the pair up the other way
        {"O2-", {{"X1", "Fe7+", 0, 0, 0, 7, 1}}, 10, "pair Fe7+/O2-"},
        {"Li1+", {{"O1", "O2-", 0, 0, 0, -2, 1}, {"Ra1", "Ra2+", 0.5, 0, 0, 2, 1}}, 10, "element Ra"},
        {"Li1+", {{"Fe1", "Fe2+", 0, 0, 0, 2, 1}, {"Li1", "Li1+", 0.5, 0, 0, 1, 1}}, 10, "no counter-ions"},
        {"Qq1+", {{"O1", "O2-", 0, 0, 0, -2, 1}}, 10, "element Qq"},
        {"Li1+", {{"Fe1", "Fe", 0, 0, 0, 2.5, 1}}, 10, "non-integer"},
        // a cut-off far beyond the cell would visit billions of images
        {"Li1+", {{"O1", "O2-", 0, 0, 0, -2, 1}}, 1e5, "cut-off radius"},
    };
    for (const auto& c : cases) {
        ZEMU_bvse_model m;
        std::string error;
        EXPECT_EQ(build({"x,y,z"}, {10, 10, 10, 90, 90, 90}, c.sites, c.ion, c.rcut, &m, &error), 1) << c.expected;
        EXPECT_NE(error.find(c.expected), std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos);
    }
}

// A negative-alpha pair is used as it is, with one warning per pair however many
// sites use it. (The expansion to the cell is checked by the bundled landscapes.)
TEST(BvseModel, NegativeAlphaPairWarnsOnceAndGrowsWithDistance) {
    ZEMU_bvse_model m;
    std::string error;
    ASSERT_EQ(build({"x,y,z", "-x,-y,-z"}, {30, 30, 30, 90, 90, 90},
                    {{"I1", "I1-", 0.1, 0.1, 0.1, -1, 1}, {"I2", "I1-", 0.3, 0.1, 0.1, -1, 1}}, "Mg2+", 10.0, &m,
                    &error),
              0) << error;
    ASSERT_EQ(m.warnings.size(), 1u);
    EXPECT_NE(m.warnings[0].find("Mg2+/I1-"), std::string::npos) << m.warnings[0];
    // Mg2+/I-: d0 1.655681, alpha -1.367989, r_min 1.199982, at r = 3
    EXPECT_NEAR(ZEMU_bvse_pair_energy(&m.atoms[0], 3.0), 94.5370239309232, 1e-11);
    EXPECT_GT(ZEMU_bvse_pair_energy(&m.atoms[0], 6.0), ZEMU_bvse_pair_energy(&m.atoms[0], 3.0));
}
