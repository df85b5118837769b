// Mobile-ion site assignment, interstitial numbering, and minima and saddle
// points written into the structure.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU.h"
#include "fixtures.h"

using Ints = std::vector<int>;

namespace {

// A rectangular grid with `step` Angstrom voxels and hand-made minima and
// saddle lists (types set directly, lists kept sorted).
struct Landscape : fx::Grid {
    Landscape(int na, int nb, int nc, double step) : fx::Grid(na, nb, nc, 0.0, step) {}

    void minimum(double x, double y, double z, int type = 0, int mul = 1) {
        ASSERT_EQ(ZEMU_add_cube_minima_point(&cube, (int)x, (int)y, (int)z, x, y, z, 0.0, type), 0);
        cube.minima[cube.total_minima - 1].mul = mul;
    }
    void saddle(int x, int y, int z, int type, int mul) {
        ASSERT_EQ(ZEMU_add_cube_saddle_point(&cube, x, y, z, 0.0, type), 0);
        ZEMU_saddle& s = cube.saddle[cube.total_saddle - 1];
        s.tx = x, s.ty = y, s.tz = z, s.mul = mul;
    }
    void ion(int m, const char* label, double occ) {
        ASSERT_EQ(ZEMU_add_cube_minima_ion(&cube.minima[m], fx::txt(label), occ), 0);
    }
    // Type counts and type_index for lists whose types were set by hand.
    void index_types() {
        int tm = 0, ts = 0;
        for (int i = 0; i < cube.total_minima; ++i) tm = std::max(tm, cube.minima[i].type);
        for (int i = 0; i < cube.total_saddle; ++i) ts = std::max(ts, cube.saddle[i].type);
        free(cube.minima_type_index);
        free(cube.saddle_type_index);
        cube.minima_type_index = (int*)malloc(sizeof(int) * (size_t)(tm + 1));
        cube.saddle_type_index = (int*)malloc(sizeof(int) * (size_t)(ts + 1));
        cube.total_minima_type = tm;
        cube.total_saddle_type = ts;
        ZEMU_refresh_minima_type_index(&cube);
        ZEMU_refresh_saddle_type_index(&cube);
    }
    // The ions of every minimum as "label:occ label:occ | ..." ("-" for none).
    std::string ions() const {
        std::string out;
        char buf[64];
        for (int m = 0; m < cube.total_minima; ++m) {
            out += m ? " | " : "";
            if (cube.minima[m].total_ions == 0) out += "-";
            for (int k = 0; k < cube.minima[m].total_ions; ++k) {
                snprintf(buf, sizeof buf, "%s%s:%.12g", k ? " " : "", cube.minima[m].ion[k].label, cube.minima[m].ion[k].occ);
                out += buf;
            }
        }
        return out;
    }
    Ints ins_labels() const {
        Ints v;
        for (int i = 0; i < cube.total_minima; ++i) v.push_back(cube.minima[i].ins_label);
        return v;
    }
};

// A structure with the probe "Li1+" (oxidation state 1) and the given operations.
struct Structure : fx::Cif {
    explicit Structure(const std::vector<std::string>& ops = {"x,y,z"}) : Cif(ops) {
        snprintf(cif.probe_type, sizeof cif.probe_type, "Li1+");
        type("Li1+", 1.0);
        type("O2-", -2.0);
    }
    int type_count(const char* label) const {
        int n = 0;
        for (int t = 0; t < cif.type_no; ++t) n += strcmp(cif.type[t].label, label) == 0;
        return n;
    }
    // Site k as "label type x y z mul Wyckoff occ ox".
    std::string line(int k) const {
        const ZEMU_site& s = cif.site[k];
        char buf[128];
        snprintf(buf, sizeof buf, "%s %s %.12g %.12g %.12g %d %c %.12g %.12g", s.label, s.type, s.x, s.y, s.z, s.mul,
                 s.Wyckoff, s.occ, s.ox);
        return buf;
    }
};

}  // namespace

// ---------------------------------------------------------------------------
// Ion assignment
// ---------------------------------------------------------------------------

TEST(IonSiteAssignment, IonsGoToTheNearestMinimaAlongA) {
    struct Site {
        const char* label;
        const char* type;
        double x, occ;
    };
    struct Case {
        const char* what;
        std::vector<std::string> ops;
        std::vector<std::array<int, 3>> minima;  // a index, type, multiplicity on a 50 x 10 x 10 grid
        std::vector<Site> sites;                 // at y = z = 0.5
        const char* expected;
        int runs;
    };
    const std::vector<std::string> p1 = {"x,y,z"};
    const Case cases[] = {
        {"a coordinate just below one rounds onto point zero", p1, {{0, 1, 1}, {49, 2, 1}}, {{"Li1", "Li1+", 0.999, 1.0}},
         "Li1:1 | -", 1},
        {"an ion midway between two minima is shared equally", p1, {{10, 1, 1}, {20, 2, 1}},
         {{"Li1", "Li1+", 0.3, 0.8}}, "Li1:0.4 | Li1:0.4", 1},
        {"sites of one label sum in one entry, other labels append, other types are ignored", p1, {{10, 1, 1}},
         {{"Li1", "Li1+", 0.2, 0.3}, {"Li1", "Li1+", 0.22, 0.2}, {"Li2", "Li1+", 0.18, 0.1}, {"O1", "O2-", 0.2, 1.0}},
         "Li1:0.5 Li2:0.1", 1},
        {"every symmetric copy finds its own minimum", {"x,y,z", "-x,-y,-z"}, {{10, 1, 2}, {40, 1, 2}},
         {{"Li1", "Li1+", 0.2, 0.5}}, "Li1:0.5 | Li1:0.5", 1},
        {"a repeated assignment starts from empty ion lists", p1, {{10, 1, 1}}, {{"Li1", "Li1+", 0.2, 0.7}}, "Li1:0.7", 2},
        {"without minima the ion stays unassigned, silently", p1, {}, {{"Li1", "Li1+", 0.2, 1.0}}, "", 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Landscape g(50, 10, 10, 0.2);
        for (auto& m : c.minima) g.minimum(m[0], 5, 5, m[1], m[2]);
        Structure s(c.ops);
        for (const Site& p : c.sites) s.site(p.label, p.type, p.x, 0.5, 0.5, 1, p.occ);
        for (int run = 0; run < c.runs; ++run)
            EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0); }), "");
        EXPECT_EQ(g.ions(), c.expected);
    }
}

TEST(IonSiteAssignment, MoreEquidistantMinimaThanTheLimitWarnsAndSharesAmong26) {
    // 30 minima at distance 5 from the ion: the permutations of (0, +-3, +-4) and (+-5, 0, 0).
    Landscape g(20, 20, 20, 1.0);
    int type = 0;
    for (int i = -5; i <= 5; ++i)
        for (int j = -5; j <= 5; ++j)
            for (int k = -5; k <= 5; ++k)
                if (i * i + j * j + k * k == 25) g.minimum(10 + i, 10 + j, 10 + k, ++type);
    ASSERT_EQ(type, 30);
    Structure s;
    s.site("Li1", "Li1+", 0.5, 0.5, 0.5);
    EXPECT_EQ(fx::stderr_of([&] { ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0); }),
              "Warning: ZEMU_MAX_ION_DELOCALISED_SITES exceeded\n");
    int sharing = 0;
    for (int m = 0; m < 30; ++m) {
        if (g.cube.minima[m].total_ions == 0) continue;
        ++sharing;
        ASSERT_EQ(g.cube.minima[m].total_ions, 1);
        EXPECT_STREQ(g.cube.minima[m].ion[0].label, "Li1");
        EXPECT_NEAR(g.cube.minima[m].ion[0].occ, 1.0 / 26, 1e-12) << m;
    }
    EXPECT_EQ(sharing, 26);
}

TEST(IonSiteAssignment, MoreLabelsThanTheLimitWarnsAndKeepsTheFirst26) {
    Landscape g(50, 10, 10, 0.2);
    g.minimum(10, 5, 5, 1);
    Structure s;
    std::string expected;
    for (int k = 1; k <= 27; ++k) {
        const std::string label = "L" + std::to_string(k);
        s.site(label.c_str(), "Li1+", 0.2, 0.5, 0.5, 1, 0.1);
        if (k <= 26) expected += (k > 1 ? " " : "") + label + ":0.1";
    }
    EXPECT_EQ(fx::stderr_of([&] { ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0); }),
              "Warning: ZEMU_MAX_SITE_ION_TYPE exceeded\n");
    EXPECT_EQ(g.ions(), expected);
}

// ---------------------------------------------------------------------------
// Interstitial numbering
// ---------------------------------------------------------------------------

TEST(InterstitialNumbering, EmptyTypesAreNumberedInTurn) {
    struct Case {
        const char* what;
        Ints types;
        int mul;
        std::vector<std::pair<int, const char*>> occupied;  // minimum, ion label
        Ints expected;
        bool assign;  // after an assignment that finds no probe site
    };
    const Case cases[] = {
        {"without probe sites every type is numbered in turn", {1, 1, 2, 2, 3}, 2, {}, {1, 1, 2, 2, 3}, true},
        {"members of the last type count on one by one", {1, 1, 2, 2, 2}, 3, {}, {1, 1, 2, 3, 4}, false},
        // Type 1 starts occupied: its empty second member numbers itself; the run from
        // the empty first member of type 2 covers its occupied second member too.
        {"occupied minima are skipped but the run of an empty one covers its type", {1, 1, 2, 2, 3}, 2,
         {{0, "Li1"}, {3, "Li1"}, {4, "Li2"}}, {0, 1, 2, 2, 0}, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Landscape g(10, 10, 10, 1.0);
        for (int k = 0; k < 5; ++k) g.minimum(k, k, 0, c.types[k], c.mul);
        g.index_types();
        for (auto& o : c.occupied) g.ion(o.first, o.second, 1.0);
        Structure s;
        if (c.assign) {
            s.site("O1", "O2-", 0.0, 0.0, 0.0);
            ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
        }
        ZEMU_assign_interstitial_labels(&g.cube, &s.cif);
        EXPECT_EQ(g.ins_labels(), c.expected);
    }
}

// ---------------------------------------------------------------------------
// Minima and saddle points written into the structure
// ---------------------------------------------------------------------------

TEST(SitesIntoStructure, InterstitialModeAddsFirstEmptyMemberOfEachType) {
    Landscape g(10, 20, 40, 1.0);
    g.minimum(2, 4, 8, 1, 2);
    g.minimum(8, 16, 32, 1, 2);
    g.minimum(-0.5, 5, 10, 2, 4);  // plateau mean just below the origin on a
    g.minimum(5, 5, 10, 2, 4);
    g.index_types();
    g.ion(0, "Li1", 1.0);
    g.ion(1, "Li1", 1.0);
    Structure s;
    ZEMU_assign_interstitial_labels(&g.cube, &s.cif);
    ASSERT_EQ(ZEMU_add_interstitial_to_cif(&g.cube, &s.cif, 1), 0);
    ASSERT_EQ(s.cif.site_no, 1);
    EXPECT_EQ(s.line(0), "i1 IS 0.95 0.25 0.25 4 . 1 0");

    // With every minimum occupied only the type is added.
    Landscape full(10, 10, 10, 1.0);
    full.minimum(1, 1, 1, 1);
    full.index_types();
    full.ion(0, "Li1", 1.0);
    Structure t;
    ASSERT_EQ(ZEMU_add_interstitial_to_cif(&full.cube, &t.cif, 1), 0);
    EXPECT_EQ(t.cif.site_no, 0);
    ASSERT_EQ(t.type_count("IS"), 1);
    EXPECT_DOUBLE_EQ(t.cif.type[t.cif.type_no - 1].ox, 0.0);
}

TEST(SitesIntoStructure, MobileIonModesAddOneSitePerOccupiedType) {
    Landscape g(10, 10, 10, 1.0);
    g.minimum(1, 1, 1, 1, 2);
    g.minimum(2, 2, 2, 1, 2);
    g.minimum(5, 5, 5, 2, 1);
    g.minimum(7, 7, 7, 3, 1);
    g.index_types();
    g.ion(0, "Li1", 0.5);
    g.ion(0, "Li2", 0.25);
    g.ion(2, "Li3", 1.0);

    Structure labelled, numbered, other;
    ASSERT_EQ(ZEMU_add_interstitial_to_cif(&g.cube, &labelled.cif, 2), 0);
    ASSERT_EQ(labelled.cif.site_no, 2);
    EXPECT_EQ(labelled.line(0), "Li1/Li2 Li1+ 0.1 0.1 0.1 2 . 0.75 1");
    EXPECT_STREQ(labelled.cif.site[1].label, "Li3");
    EXPECT_EQ(labelled.type_count("IS"), 1);

    ASSERT_EQ(ZEMU_add_interstitial_to_cif(&g.cube, &numbered.cif, 3), 0);
    ASSERT_EQ(numbered.cif.site_no, 2);
    EXPECT_STREQ(numbered.cif.site[0].label, "Li1");
    EXPECT_STREQ(numbered.cif.site[1].label, "Li2");
    EXPECT_DOUBLE_EQ(numbered.cif.site[1].occ, 1.0);

    ASSERT_EQ(ZEMU_add_interstitial_to_cif(&g.cube, &other.cif, 4), 0);
    EXPECT_EQ(other.cif.site_no, 0);
    EXPECT_EQ(other.type_count("IS"), 1);
}

TEST(SitesIntoStructure, SaddleTypesBecomeSitesS1ToS12) {
    Landscape g(12, 12, 12, 1.0);
    for (int t = 1; t <= 12; ++t) {
        g.saddle(t - 1, 0, 6, t, t);
        if (t == 5) g.saddle(0, 11, 11, t, t);  // a second member is not written
    }
    g.index_types();
    Structure s;
    ASSERT_EQ(ZEMU_add_saddle_to_cif(&g.cube, &s.cif), 0);
    ASSERT_EQ(s.cif.site_no, 12);
    EXPECT_EQ(s.type_count("SD"), 1);
    for (int t = 1; t <= 12; ++t) {
        char expected[96];
        snprintf(expected, sizeof expected, "s%d SD %.12g 0 0.5 %d . 1 0", t, (t - 1) / 12.0, t);
        EXPECT_EQ(s.line(t - 1), expected);
    }
}
