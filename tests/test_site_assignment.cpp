// Mobile-ion site assignment, interstitial numbering, and minima and saddle
// points written into the structure.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
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
    void ion(int m, const char* label, double occ) {
        ASSERT_EQ(ZEMU_add_cube_minima_ion(&cube.minima[m], fx::txt(label), occ), 0);
    }
    // Type counts and type_index for lists whose types were set by hand (the last entry's type).
    void index_types() {
        cube.total_minima_type = cube.total_minima ? cube.minima[cube.total_minima - 1].type : 0;
        cube.total_saddle_type = cube.total_saddle ? cube.saddle[cube.total_saddle - 1].type : 0;
        cube.minima_type_index = (int*)realloc(cube.minima_type_index, sizeof(int) * (cube.total_minima_type + 1));
        cube.saddle_type_index = (int*)realloc(cube.saddle_type_index, sizeof(int) * (cube.total_saddle_type + 1));
        ZEMU_refresh_minima_type_index(&cube);
        ZEMU_refresh_saddle_type_index(&cube);
    }
    // The ions of every minimum as "label:occ label:occ | ..." ("-" for none).
    std::string ions() const {
        std::string out;
        char buf[64];
        for (int m = 0; m < cube.total_minima; ++m) {
            const ZEMU_minima& p = cube.minima[m];
            out += std::string(m ? " | " : "") + (p.total_ions ? "" : "-");
            for (int k = 0; k < p.total_ions; ++k) {
                snprintf(buf, sizeof buf, "%s%s:%.12g", k ? " " : "", p.ion[k].label, p.ion[k].occ);
                out += buf;
            }
        }
        return out;
    }
};

// A structure with the probe "Li1+" (oxidation state 1) and the given operations.
struct Structure : fx::Cif {
    explicit Structure(const std::vector<std::string>& ops = {"x,y,z"}) : Cif(ops) {
        snprintf(cif.probe_type, sizeof cif.probe_type, "Li1+");
        type("Li1+", 1.0);
        type("O2-", -2.0);
    }
    // The types after Li1+ and O2-, then every site as "label type x y z mul Wyckoff occ ox", ";" between them.
    std::string added() const {
        std::string out;
        for (int t = 2; t < cif.type_no; ++t) out += cif.type[t].label;
        char buf[128];
        for (int k = 0; k < cif.site_no; ++k) {
            const ZEMU_site& s = cif.site[k];
            snprintf(buf, sizeof buf, "; %s %s %.12g %.12g %.12g %d %c %.12g %.12g", s.label, s.type, s.x, s.y, s.z,
                     s.mul, s.Wyckoff, s.occ, s.ox);
            out += buf;
        }
        return out;
    }
};

}  // namespace

TEST(IonSiteAssignment, IonsGoToTheNearestMinima) {
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

TEST(IonSiteAssignment, LimitsWarnAndKeepTheFirst26) {
    // 30 minima at distance 5 from the ion: the permutations of (0, +-3, +-4) and
    // (+-5, 0, 0); 26 of them share it. Then 27 labels at one minimum.
    Landscape g(20, 20, 20, 1.0);
    for (int i = -5; i <= 5; ++i)
        for (int j = -5; j <= 5; ++j)
            for (int k = -5; k <= 5; ++k)
                if (i * i + j * j + k * k == 25) g.minimum(10 + i, 10 + j, 10 + k, g.cube.total_minima + 1);
    ASSERT_EQ(g.cube.total_minima, 30);
    Structure s;
    s.site("Li1", "Li1+", 0.5, 0.5, 0.5);
    EXPECT_EQ(fx::stderr_of([&] { ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0); }),
              "Warning: ZEMU_MAX_ION_DELOCALISED_SITES exceeded\n");
    const std::string ions = " | " + g.ions() + " | ";
    int shared = 0;
    for (size_t p = 0; (p = ions.find(" | Li1:0.0384615384615 | ", p)) != std::string::npos; p += 3) shared++;
    EXPECT_EQ(shared, 26) << ions;

    Landscape one(50, 10, 10, 0.2);
    one.minimum(10, 5, 5, 1);
    Structure labels;
    std::string expected;
    for (int k = 1; k <= 27; ++k) {
        const std::string label = "L" + std::to_string(k);
        labels.site(label.c_str(), "Li1+", 0.2, 0.5, 0.5, 1, 0.1);
        if (k <= 26) expected += (k > 1 ? " " : "") + label + ":0.1";
    }
    EXPECT_EQ(fx::stderr_of([&] { ASSERT_EQ(ZEMU_assign_ion_to_sites(&one.cube, &labels.cif), 0); }),
              "Warning: ZEMU_MAX_SITE_ION_TYPE exceeded\n");
    EXPECT_EQ(one.ions(), expected);
}

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
        Ints labels;
        for (int i = 0; i < g.cube.total_minima; ++i) labels.push_back(g.cube.minima[i].ins_label);
        EXPECT_EQ(labels, c.expected);
    }
}

// Modes 1 (interstitials: the first empty member of each type, "i<n>" of type IS),
// 2 (each occupied type as a site labelled by its ions, occupancies summed),
// 3 (the same, numbered from the probe's element), 4 (only the type IS).
TEST(SitesIntoStructure, MinimaTypesInEveryModeAndSaddleTypes) {
    Landscape g(10, 20, 40, 1.0);
    g.minimum(2, 4, 8, 1, 2);
    g.minimum(8, 16, 32, 1, 2);
    g.minimum(-0.5, 5, 10, 2, 4);  // plateau mean just below the origin on a
    g.minimum(5, 5, 10, 2, 4);
    g.minimum(7, 7, 7, 3, 1);
    g.index_types();
    g.ion(0, "Li1", 0.5);
    g.ion(0, "Li2", 0.25);
    g.ion(1, "Li1", 1.0);
    g.ion(4, "Li3", 1.0);
    ZEMU_assign_interstitial_labels(&g.cube, nullptr);
    const char* expected[] = {
        "IS; i1 IS 0.95 0.25 0.25 4 . 1 0",
        "IS; Li1/Li2 Li1+ 0.2 0.2 0.2 2 . 0.75 1; Li3 Li1+ 0.7 0.35 0.175 1 . 1 1",
        "IS; Li1 Li1+ 0.2 0.2 0.2 2 . 0.75 1; Li2 Li1+ 0.7 0.35 0.175 1 . 1 1",
        "IS",
    };
    for (int mode = 1; mode <= 4; ++mode) {
        Structure s;
        ASSERT_EQ(ZEMU_add_interstitial_to_cif(&g.cube, &s.cif, mode), 0);
        EXPECT_EQ(s.added(), expected[mode - 1]) << mode;
    }

    // Saddle types s1 ... s12, the first member of each; the mobile-ion type gives the charge 0.
    Landscape h(12, 12, 12, 1.0);
    std::string sites = "SD";
    for (int t = 1; t <= 12; ++t) {
        ASSERT_EQ(ZEMU_add_cube_saddle_point(&h.cube, t - 1, 0, 6, 0.0, t), 0);
        ZEMU_saddle& sd = h.cube.saddle[h.cube.total_saddle - 1];
        sd.tx = t - 1, sd.ty = 0, sd.tz = 6, sd.mul = t;
        if (t == 5) {
            ASSERT_EQ(ZEMU_add_cube_saddle_point(&h.cube, 0, 11, 11, 0.0, t), 0);  // not written
        }
        char row[96];
        snprintf(row, sizeof row, "; s%d SD %.12g 0 0.5 %d . 1 0", t, (t - 1) / 12.0, t);
        sites += row;
    }
    h.index_types();
    Structure s;
    ASSERT_EQ(ZEMU_add_saddle_to_cif(&h.cube, &s.cif), 0);
    EXPECT_EQ(s.added(), sites);
}
