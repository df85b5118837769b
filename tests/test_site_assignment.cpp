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

namespace {

// A rectangular grid of na x nb x nc points with `step` Angstrom voxels and
// hand-made minima and saddle lists (types set directly, lists kept sorted).
struct Landscape {
    ZEMU_cube cube;

    Landscape(int na, int nb, int nc, double step) {
        ZEMU_init_cube(&cube);
        ZEMU_init_cube_stationary_points(&cube);
        cube.total_minima_type = cube.total_saddle_type = 0;
        cube.a_grid = na;
        cube.b_grid = nb;
        cube.c_grid = nc;
        cube.a_x = cube.b_y = cube.c_z = step;
        ZEMU_calc_cell_parameter(&cube);
    }
    ~Landscape() { ZEMU_free_cube(&cube); }

    void minimum(double x, double y, double z, int type = 0, int mul = 1) {
        ASSERT_EQ(ZEMU_add_cube_minima_point(&cube, (int)x, (int)y, (int)z, x, y, z, 0.0, type), 0);
        cube.minima[cube.total_minima - 1].mul = mul;
    }
    void saddle(int x, int y, int z, int type, int mul) {
        ASSERT_EQ(ZEMU_add_cube_saddle_point(&cube, x, y, z, 0.0, type), 0);
        ZEMU_saddle& s = cube.saddle[cube.total_saddle - 1];
        s.tx = x;
        s.ty = y;
        s.tz = z;
        s.mul = mul;
    }
    void ion(int m, const char* label, double occ) {
        char text[10];
        snprintf(text, sizeof text, "%s", label);
        ASSERT_EQ(ZEMU_add_cube_minima_ion(&cube.minima[m], text, occ), 0);
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
    // Occupancy of one label at minimum m; -1 when the label is absent.
    double occ(int m, const char* label) {
        for (int k = 0; k < cube.minima[m].total_ions; ++k)
            if (strcmp(cube.minima[m].ion[k].label, label) == 0) return cube.minima[m].ion[k].occ;
        return -1.0;
    }
    std::vector<int> ins_labels() {
        std::vector<int> v;
        for (int i = 0; i < cube.total_minima; ++i) v.push_back(cube.minima[i].ins_label);
        return v;
    }
};

// A structure with the probe "Li1+" (oxidation state 1) and the given operations.
struct Structure {
    ZEMU_cif cif;

    explicit Structure(const std::vector<const char*>& ops = {"x,y,z"}) {
        EXPECT_EQ(ZEMU_init_cif(&cif), 0);
        ZEMU_init_fastgen(&cif);
        ZEMU_free_cif_symop(&cif);
        cif.symop_no = (int)ops.size();
        EXPECT_EQ(ZEMU_alloc_cif_symop(&cif), 0);
        for (size_t k = 0; k < ops.size(); ++k) snprintf(cif.symop[k], ZEMU_CIF_SYMOP_SIZE, "%s", ops[k]);
        snprintf(cif.probe_type, sizeof cif.probe_type, "Li1+");
        type("Li1+", 1.0);
        type("O2-", -2.0);
    }
    ~Structure() { ZEMU_free_cif(&cif); }

    void type(const char* label, double ox) {
        char text[10];
        snprintf(text, sizeof text, "%s", label);
        ASSERT_EQ(ZEMU_add_cif_type(&cif, text, ox, &cif.type_flag_counter), 0);
    }
    void site(const char* label, const char* type, double x, double y, double z, double occ) {
        char l[10], t[10];
        snprintf(l, sizeof l, "%s", label);
        snprintf(t, sizeof t, "%s", type);
        ASSERT_EQ(ZEMU_add_cif_site(&cif, l, t, x, y, z, 1, 'a', occ, 0.0), 0);
    }
    int type_count(const char* label) {
        int n = 0;
        for (int t = 0; t < cif.type_no; ++t) n += strcmp(cif.type[t].label, label) == 0;
        return n;
    }
};

using Labels = std::vector<int>;

}  // namespace

// ---------------------------------------------------------------------------
// Ion assignment
// ---------------------------------------------------------------------------

TEST(IonSiteAssignment, CoordinateJustBelowOneRoundsOntoPointZero) {
    Landscape g(50, 10, 10, 0.2);
    g.minimum(0, 5, 5, 1);
    g.minimum(49, 5, 5, 2);
    Structure s;
    s.site("Li1", "Li1+", 0.999, 0.5, 0.5, 1.0);
    ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
    EXPECT_DOUBLE_EQ(g.occ(0, "Li1"), 1.0);
    EXPECT_EQ(g.cube.minima[1].total_ions, 0);
}

TEST(IonSiteAssignment, IonMidwayBetweenTwoMinimaIsSharedEqually) {
    Landscape g(50, 10, 10, 0.2);
    g.minimum(10, 5, 5, 1);
    g.minimum(20, 5, 5, 2);
    Structure s;
    s.site("Li1", "Li1+", 0.3, 0.5, 0.5, 0.8);
    ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
    EXPECT_DOUBLE_EQ(g.occ(0, "Li1"), 0.4);
    EXPECT_DOUBLE_EQ(g.occ(1, "Li1"), 0.4);
}

TEST(IonSiteAssignment, SitesOfOneLabelSumInOneEntryAndOtherLabelsAppend) {
    Landscape g(50, 10, 10, 0.2);
    g.minimum(10, 5, 5, 1);
    Structure s;
    s.site("Li1", "Li1+", 0.2, 0.5, 0.5, 0.3);
    s.site("Li1", "Li1+", 0.22, 0.5, 0.5, 0.2);
    s.site("Li2", "Li1+", 0.18, 0.5, 0.5, 0.1);
    s.site("O1", "O2-", 0.2, 0.5, 0.5, 1.0);  // not the probe type: ignored
    ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.minima[0].total_ions, 2);
    EXPECT_STREQ(g.cube.minima[0].ion[0].label, "Li1");
    EXPECT_DOUBLE_EQ(g.cube.minima[0].ion[0].occ, 0.5);
    EXPECT_DOUBLE_EQ(g.occ(0, "Li2"), 0.1);
}

TEST(IonSiteAssignment, EverySymmetricCopyFindsItsOwnMinimum) {
    Landscape g(50, 10, 10, 0.2);
    g.minimum(10, 5, 5, 1, 2);
    g.minimum(40, 5, 5, 1, 2);
    Structure s({"x,y,z", "-x,-y,-z"});
    s.site("Li1", "Li1+", 0.2, 0.5, 0.5, 0.5);
    ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
    EXPECT_DOUBLE_EQ(g.occ(0, "Li1"), 0.5);
    EXPECT_DOUBLE_EQ(g.occ(1, "Li1"), 0.5);
}

TEST(IonSiteAssignment, RepeatedAssignmentStartsFromEmptyIonLists) {
    Landscape g(50, 10, 10, 0.2);
    g.minimum(10, 5, 5, 1);
    Structure s;
    s.site("Li1", "Li1+", 0.2, 0.5, 0.5, 0.7);
    ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
    ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
    EXPECT_EQ(g.cube.minima[0].total_ions, 1);
    EXPECT_DOUBLE_EQ(g.occ(0, "Li1"), 0.7);
}

TEST(IonSiteAssignment, NoMinimaLeavesTheIonUnassigned) {
    Landscape g(10, 10, 10, 1.0);
    Structure s;
    s.site("Li1", "Li1+", 0.2, 0.5, 0.5, 1.0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(IonSiteAssignment, MoreEquidistantMinimaThanTheLimitWarnsAndSharesAmong26) {
    // 30 minima at distance 5 from the ion: the permutations of (0, +-3, +-4) and (+-5, 0, 0).
    Landscape g(20, 20, 20, 1.0);
    std::vector<std::array<int, 3>> offsets;
    const int perms[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
    for (auto& p : perms)
        for (int s3 : {-3, 3})
            for (int s4 : {-4, 4}) {
                std::array<int, 3> v{};
                v[p[1]] = s3;
                v[p[2]] = s4;
                offsets.push_back(v);
            }
    for (int axis = 0; axis < 3; ++axis)
        for (int s5 : {-5, 5}) {
            std::array<int, 3> v{};
            v[axis] = s5;
            offsets.push_back(v);
        }
    ASSERT_EQ(offsets.size(), 30u);
    int type = 0;
    for (auto& v : offsets) g.minimum(10 + v[0], 10 + v[1], 10 + v[2], ++type);
    Structure s;
    s.site("Li1", "Li1+", 0.5, 0.5, 0.5, 1.0);
    testing::internal::CaptureStderr();
    ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: ZEMU_MAX_ION_DELOCALISED_SITES exceeded\n");
    int sharing = 0;
    for (int m = 0; m < 30; ++m) {
        if (g.cube.minima[m].total_ions == 0) continue;
        ++sharing;
        EXPECT_NEAR(g.occ(m, "Li1"), 1.0 / 26, 1e-12) << m;
    }
    EXPECT_EQ(sharing, 26);
}

TEST(IonSiteAssignment, MoreLabelsThanTheLimitWarnsAndKeepsTheFirst26) {
    Landscape g(50, 10, 10, 0.2);
    g.minimum(10, 5, 5, 1);
    Structure s;
    for (int k = 1; k <= 27; ++k) s.site(("L" + std::to_string(k)).c_str(), "Li1+", 0.2, 0.5, 0.5, 0.1);
    testing::internal::CaptureStderr();
    ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: ZEMU_MAX_SITE_ION_TYPE exceeded\n");
    EXPECT_EQ(g.cube.minima[0].total_ions, 26);
    EXPECT_LT(g.occ(0, "L27"), 0.0);
}

// ---------------------------------------------------------------------------
// Interstitial numbering
// ---------------------------------------------------------------------------

TEST(InterstitialNumbering, WithoutProbeSitesEveryTypeIsNumberedInTurn) {
    Landscape g(10, 10, 10, 1.0);
    const int types[] = {1, 1, 2, 2, 3};
    for (int k = 0; k < 5; ++k) g.minimum(k, k, 0, types[k], 2);
    g.index_types();
    Structure s;
    s.site("O1", "O2-", 0.0, 0.0, 0.0, 1.0);
    ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0);
    ZEMU_assign_interstitial_labels(&g.cube, &s.cif);
    EXPECT_EQ(g.ins_labels(), (Labels{1, 1, 2, 2, 3}));
}

TEST(InterstitialNumbering, MembersOfTheLastTypeCountOnOneByOne) {
    Landscape g(10, 10, 10, 1.0);
    const int types[] = {1, 1, 2, 2, 2};
    for (int k = 0; k < 5; ++k) g.minimum(k, k, 0, types[k], 3);
    g.index_types();
    Structure s;
    ZEMU_assign_interstitial_labels(&g.cube, &s.cif);
    EXPECT_EQ(g.ins_labels(), (Labels{1, 1, 2, 3, 4}));
}

TEST(InterstitialNumbering, OccupiedMinimaAreSkippedButTheRunOfAnEmptyOneCoversItsType) {
    Landscape g(10, 10, 10, 1.0);
    const int types[] = {1, 1, 2, 2, 3};
    for (int k = 0; k < 5; ++k) g.minimum(k, k, 0, types[k], 2);
    g.index_types();
    g.ion(0, "Li1", 1.0);  // type 1 starts occupied: its empty second member numbers itself
    g.ion(3, "Li1", 1.0);  // the run from the empty first member of type 2 covers this one too
    g.ion(4, "Li2", 1.0);
    Structure s;
    ZEMU_assign_interstitial_labels(&g.cube, &s.cif);
    EXPECT_EQ(g.ins_labels(), (Labels{0, 1, 2, 2, 0}));
}

// ---------------------------------------------------------------------------
// Minima and saddle points written into the structure
// ---------------------------------------------------------------------------

TEST(SitesIntoStructure, InterstitialModeWithEveryMinimumOccupiedAddsOnlyTheType) {
    Landscape g(10, 10, 10, 1.0);
    g.minimum(1, 1, 1, 1);
    g.index_types();
    g.ion(0, "Li1", 1.0);
    Structure s;
    int sites = s.cif.site_no;
    ASSERT_EQ(ZEMU_add_interstitial_to_cif(&g.cube, &s.cif, 1), 0);
    EXPECT_EQ(s.cif.site_no, sites);
    ASSERT_EQ(s.type_count("IS"), 1);
    EXPECT_DOUBLE_EQ(s.cif.type[s.cif.type_no - 1].ox, 0.0);
}

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
    ZEMU_site& site = s.cif.site[0];
    EXPECT_STREQ(site.label, "i1");
    EXPECT_STREQ(site.type, "IS");
    EXPECT_DOUBLE_EQ(site.x, 0.95);
    EXPECT_DOUBLE_EQ(site.y, 0.25);
    EXPECT_DOUBLE_EQ(site.z, 0.25);
    EXPECT_EQ(site.mul, 4);
    EXPECT_EQ(site.Wyckoff, '.');
    EXPECT_DOUBLE_EQ(site.occ, 1.0);
    EXPECT_DOUBLE_EQ(site.ox, 0.0);
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

    Structure labelled;
    ASSERT_EQ(ZEMU_add_interstitial_to_cif(&g.cube, &labelled.cif, 2), 0);
    ASSERT_EQ(labelled.cif.site_no, 2);
    EXPECT_STREQ(labelled.cif.site[0].label, "Li1/Li2");
    EXPECT_STREQ(labelled.cif.site[0].type, "Li1+");
    EXPECT_DOUBLE_EQ(labelled.cif.site[0].x, 0.1);
    EXPECT_DOUBLE_EQ(labelled.cif.site[0].occ, 0.75);
    EXPECT_DOUBLE_EQ(labelled.cif.site[0].ox, 1.0);
    EXPECT_EQ(labelled.cif.site[0].mul, 2);
    EXPECT_STREQ(labelled.cif.site[1].label, "Li3");
    EXPECT_EQ(labelled.type_count("IS"), 1);

    Structure numbered;
    ASSERT_EQ(ZEMU_add_interstitial_to_cif(&g.cube, &numbered.cif, 3), 0);
    ASSERT_EQ(numbered.cif.site_no, 2);
    EXPECT_STREQ(numbered.cif.site[0].label, "Li1");
    EXPECT_STREQ(numbered.cif.site[1].label, "Li2");
    EXPECT_DOUBLE_EQ(numbered.cif.site[1].occ, 1.0);

    Structure other;
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
        ZEMU_site& site = s.cif.site[t - 1];
        EXPECT_EQ(std::string(site.label), "s" + std::to_string(t));
        EXPECT_STREQ(site.type, "SD");
        EXPECT_DOUBLE_EQ(site.x, (t - 1) / 12.0);
        EXPECT_DOUBLE_EQ(site.z, 0.5);
        EXPECT_EQ(site.mul, t);
        EXPECT_DOUBLE_EQ(site.occ, 1.0);
    }
}
