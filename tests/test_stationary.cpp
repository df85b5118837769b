// Minima and saddle point lists, local classification, plateau flood, the
// whole-grid search, site labels, nearest-neighbour queries and the reports.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "ZEMU-cube.h"
#include "fixtures.h"

using fx::Field;

namespace {

std::vector<ZEMU_cube_triple_index> plateau_of(ZEMU_cube* cube, int i, int j, int k, int* status) {
    ZEMU_same_energy_grid_list list;
    ZEMU_init_same_energy_grid_list(&list);
    *status = ZEMU_find_same_energy_neighbours(cube, &list, i, j, k);
    std::vector<ZEMU_cube_triple_index> out(list.item, list.item + list.total);
    ZEMU_free_same_energy_grid_list(&list);
    return out;
}

// The plateau flood written as plain recursion, for comparison.
int reference_flood(ZEMU_cube* cube, std::vector<ZEMU_cube_triple_index>* list, int i, int j, int k) {
    if (list->size() > 27) return -1;
    double e = ZEMU_cube_energy(cube, i, j, k);
    list->push_back({i, j, k});
    for (int a = 1; a >= -1; a--)
        for (int b = 1; b >= -1; b--)
            for (int c = 1; c >= -1; c--) {
                if ((a == 0 && b == 0 && c == 0) || !ZEMU_cube_equal_dbl(ZEMU_cube_energy(cube, i + a, j + b, k + c), e))
                    continue;
                bool seen = false;
                for (const ZEMU_cube_triple_index& p : *list) seen = seen || (p.x == i + a && p.y == j + b && p.z == k + c);
                if (seen) continue;
                int r = reference_flood(cube, list, i + a, j + b, k + c);
                if (r != 0) return r;
            }
    return 0;
}

std::string report(ZEMU_cube* cube, bool minima, int* status) {
    return fx::written([&](FILE* f) { *status = minima ? ZEMU_printminima(cube, f) : ZEMU_printsaddle(cube, f); });
}

// A type index table: first[t] is the list position of the first member of type t + 1.
int* type_index(std::vector<int> first) {
    int* index = static_cast<int*>(malloc(sizeof(int) * (first.size() + 1)));
    index[0] = 0;
    for (size_t t = 0; t < first.size(); t++) index[t + 1] = first[t];
    return index;
}

int lower_groups(Field& g) { return ZEMU_find_lower_energy_neighbour_cluster(&g.cube, 2, 2, 2); }

}  // namespace

TEST(StationaryLists, SaddleInsertionAndRemovalKeepOrder) {
    Field g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    ASSERT_EQ(ZEMU_add_cube_saddle_point(c, 1, 1, 1, 0.1, 0), 0);
    ASSERT_EQ(ZEMU_add_cube_saddle_point(c, 2, 2, 2, 0.2, 0), 0);
    ASSERT_EQ(ZEMU_ins_cube_saddle_point(c, 3, 3, 3, 0.3, 5, 0), 0);
    ASSERT_EQ(c->total_saddle, 3);
    EXPECT_EQ(std::make_tuple(c->saddle[0].x, c->saddle[0].type, c->saddle[1].x, c->saddle[2].x),
              std::make_tuple(3, 5, 1, 2));

    EXPECT_EQ(ZEMU_inlist_cube_saddle_point(c, 2, 2, 2), 1);
    EXPECT_EQ(ZEMU_inlist_cube_saddle_point(c, 6, 2, 2), 0);       // not wrapped
    EXPECT_EQ(ZEMU_del_cube_saddle_point_by_loc(c, 5, -3, 1), 1);  // wrapped to (1, 1, 1)
    EXPECT_EQ(ZEMU_del_cube_saddle_point_by_loc(c, 0, 0, 0), -1);
    ASSERT_EQ(c->total_saddle, 2);
    ZEMU_del_cube_saddle_point(c, 2);  // out of range: ignored
    ZEMU_del_cube_saddle_point(c, -1);
    EXPECT_EQ(c->total_saddle, 2);

    testing::internal::CaptureStdout();
    EXPECT_EQ(ZEMU_ins_cube_saddle_point(c, 0, 0, 0, 0.0, 0, -1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "strange\n");
    EXPECT_EQ(c->total_saddle, 3);  // the count stays incremented
}

TEST(StationaryLists, MinimaRemovalByLocationWrapsIndices) {
    Field g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    ZEMU_add_cube_minima_point(c, 0, 1, 2, 0.0, 1.0, 2.0, -1.0, 0);
    ZEMU_add_cube_minima_point(c, 3, 3, 3, 3.0, 3.0, 3.5, -2.0, 0);
    EXPECT_EQ(ZEMU_isin_minima_list(c, -1, 7, 3), 1);
    EXPECT_EQ(ZEMU_isin_minima_list(c, 1, 1, 1), 0);
    char label[] = "Li1";
    ASSERT_EQ(ZEMU_add_cube_minima_ion(&c->minima[1], label, 0.5), 0);
    ZEMU_del_cube_minima_point_by_loc(c, 4, 5, 6);
    ASSERT_EQ(c->total_minima, 1);
    EXPECT_EQ(c->minima[0].x, 3);
    EXPECT_EQ(c->minima[0].tz, 3.5);
    EXPECT_STREQ(c->minima[0].ion[0].label, "Li1");
    ZEMU_del_cube_minima_point(c, 1);  // out of range: ignored
    EXPECT_EQ(c->total_minima, 1);
}

TEST(PointClassification, MinimumAllowsEqualButNoLowerNeighbour) {
    Field g(5, 5, 5);
    g.at(2, 2, 2) = 0.0;
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 2, 2, 2), 1);
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 1, 2, 2), 0);
    g.at(3, 3, 3) = 0.0;
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 2, 2, 2), 1);
    g.at(0, 0, 0) = -1.0;  // a lower neighbour across the periodic boundary of (4, 4, 4)
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 4, 4, 4), 0);
}

TEST(PointClassification, LowerNeighboursFormGroupsThatEqualOnesDoNotBridge) {
    // around the centre (2, 2, 2) of a 6x6x6 grid: background, centre, other cells (i, j, k, energy)
    struct Case { const char* what; double fill, centre; std::vector<std::tuple<int, int, int, double>> cells; int groups; }
    cases[] = {
        {"flat: equal marks, none lower", 1.0, 1.0, {}, 0},
        {"neighbours at 1.0 join both corners", 1.0, 2.0, {{1, 1, 1, 0.0}, {3, 3, 3, 0.0}}, 1},
        {"two separate lower corners", 5.0, 2.0, {{1, 1, 1, 0.0}, {3, 3, 3, 0.0}}, 2},
        {"an equal arc between two lower cells", 5.0, 2.0,
         {{1, 2, 2, 1.0}, {3, 2, 2, 1.0}, {1, 3, 2, 2.0}, {2, 3, 2, 2.0}, {3, 3, 2, 2.0}}, 2},
        {"one equal neighbour, one lower group", 5.0, 2.0, {{1, 2, 2, 1.0}, {2, 3, 3, 2.0}}, 1},
    };
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.what);
        Field g(6, 6, 6, cs.fill);
        g.at(2, 2, 2) = cs.centre;
        for (const auto& cell : cs.cells) g.at(std::get<0>(cell), std::get<1>(cell), std::get<2>(cell)) = std::get<3>(cell);
        EXPECT_EQ(lower_groups(g), cs.groups);
    }
    Field ring(6, 6, 6, 5.0);  // a ring of lower neighbours is one group
    ring.at(2, 2, 2) = 2.0;
    for (int n = 0; n < 9; n++)
        if (n != 4) ring.at(1 + n / 3, 1 + n % 3, 2) = 1.0;
    EXPECT_EQ(lower_groups(ring), 1);
}

TEST(PlateauFlood, VisitsInTheOrderOfTheRecursiveDefinition) {
    unsigned seed = 7;
    for (int trial = 0; trial < 40; trial++) {
        Field g(5, 6, 7, [&](int, int, int) {
            seed = seed * 1103515245u + 12345u;
            return ((seed >> 16) % 100) < 35 ? 0.0 : 1.0 + (seed >> 16) % 7;
        });
        for (int start = 0; start < 10; start++) {
            int i = start % 5, j = (start * 3) % 6, k = (start * 5) % 7, status;
            std::vector<ZEMU_cube_triple_index> got = plateau_of(&g.cube, i, j, k, &status), want;
            ASSERT_EQ(status, reference_flood(&g.cube, &want, i, j, k));
            ASSERT_EQ(got.size(), want.size());
            for (size_t n = 0; n < got.size(); n++)
                EXPECT_EQ(std::make_tuple(got[n].x, got[n].y, got[n].z), std::make_tuple(want[n].x, want[n].y, want[n].z));
        }
    }
}

TEST(PlateauFlood, TwentyEightPointsPassTwentyNineAreRefusedAndIndicesStayUnwrapped) {
    Field g(4, 4, 40);
    for (int k = 0; k < 28; k++) g.at(1, 1, k) = 0.0;
    int status;
    std::vector<ZEMU_cube_triple_index> p = plateau_of(&g.cube, 1, 1, 0, &status);
    EXPECT_EQ(status, 0);
    ASSERT_EQ(p.size(), 28u);
    EXPECT_EQ(p[27].z, 27);
    g.at(1, 1, 28) = 0.0;
    p = plateau_of(&g.cube, 1, 1, 0, &status);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(p.size(), 28u);
    ASSERT_EQ(ZEMU_find_stationary_points3(&g.cube), 0);  // the search finds no minimum on it
    EXPECT_EQ(g.cube.total_minima, 0);

    Field h(4, 4, 4);  // across the boundary the flood follows unwrapped indices
    h.at(0, 0, 0) = h.at(3, 0, 0) = 0.0;
    p = plateau_of(&h.cube, 0, 0, 0, &status);
    ASSERT_EQ(status, 0);
    ASSERT_EQ(p.size(), 2u);
    EXPECT_EQ(p[1].x, -1);
}

TEST(WholeGridSearch, FindsWellsPlateauMeansAndSaddles) {
    // two wells along a, separated by barriers at i = 0 and 4
    Field g(8, 4, 4, [](int i, int j, int k) { return cos(M_PI * i / 2) + 0.1 * (cos(M_PI * j / 2) + cos(M_PI * k / 2)); });
    ASSERT_EQ(ZEMU_find_stationary_points3(&g.cube), 0);
    ASSERT_EQ(g.cube.total_minima, 2);
    EXPECT_EQ(std::make_tuple(g.cube.minima[0].x, g.cube.minima[0].y, g.cube.minima[0].tx, g.cube.minima[1].x),
              std::make_tuple(2, 2, 2.0, 6));
    EXPECT_EQ(ZEMU_inlist_cube_saddle_point(&g.cube, 0, 2, 2), 1);
    EXPECT_EQ(ZEMU_inlist_cube_saddle_point(&g.cube, 4, 2, 2), 1);

    // a two-point floor gives one minimum, at the first point, halfway in true position
    Field h(6, 6, 6);
    h.at(2, 3, 3) = h.at(3, 3, 3) = 0.0;
    ASSERT_EQ(ZEMU_find_stationary_points3(&h.cube), 0);
    ASSERT_EQ(h.cube.total_minima, 1);
    EXPECT_EQ(std::make_tuple(h.cube.minima[0].x, h.cube.minima[0].tx, h.cube.minima[0].ty), std::make_tuple(2, 2.5, 3.0));
    EXPECT_EQ(h.cube.total_saddle, 0);

    Field ceiling(6, 6, 6);  // minima above the ceiling are not taken
    ceiling.at(3, 3, 3) = 0.0;
    ceiling.cube.max_energy = -0.5;
    ASSERT_EQ(ZEMU_find_stationary_points3(&ceiling.cube), 0);
    EXPECT_EQ(ceiling.cube.total_minima, 0);
}

TEST(MinimaLabels, InterstitialNumberOrPositiveOccupancySites) {
    Field g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    char li1[] = "Li1", li2[] = "Li2", na2[] = "Na2";
    for (int n = 0; n < 3; n++) ZEMU_add_cube_minima_point(c, n, 0, 0, n, 0, 0, 0.1 * n, n + 1);
    ZEMU_add_cube_minima_ion(&c->minima[0], li1, 0.5);
    ZEMU_add_cube_minima_ion(&c->minima[0], li2, 0.0);
    ZEMU_add_cube_minima_ion(&c->minima[0], na2, 0.25);
    c->minima[1].ins_label = 3;
    c->total_minima_type = 4;
    c->minima_type_index = type_index({0, 1, 2, 2});
    const char* want[] = {"Li1/Na2", "i3", "", ""};  // no minimum carries type 4
    for (int type = 1; type <= 4; type++) {
        char* text = nullptr;
        EXPECT_EQ(ZEMU_label_minima_site(c, &text, type), 0);
        EXPECT_STREQ(text ? text : "(null)", want[type - 1]) << "type " << type;
        free(text);
    }
}

TEST(NearestNeighbours, InsertionKeepsEarlierOfEqualDistances) {
    ZEMU_nearest_neighbour nn;
    ASSERT_EQ(ZEMU_init_nearest_neighbour(&nn, 3, 0, 0, 0, 1), 0);
    const std::pair<int, double> adds[] = {{10, 2.0}, {11, 1.0}, {12, 2.0}, {13, 3.0}};  // 3.0: not below the last kept
    for (const auto& a : adds) ZEMU_add_nearest_neighbour(&nn, a.first, 0, 0, 0, a.second);
    EXPECT_EQ(std::make_tuple(nn.index[0], nn.index[1], nn.index[2]), std::make_tuple(11, 10, 12));
    ZEMU_add_nearest_neighbour(&nn, 14, 0, 0, 0, 0.5);
    EXPECT_EQ(std::make_tuple(nn.index[0], nn.index[2]), std::make_tuple(14, 10));
    ZEMU_free_nearest_neighbour(&nn);

    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_init_nearest_neighbour(&nn, 0, 0, 0, 0, 1), 1); }),
              "Error: Non-positive input size to ZEMU_alloc_nearest_neighbour()\n");
}

TEST(NearestNeighbours, ShellSearchFindsImagesAndMeetsTheTarget) {
    Field g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    ZEMU_add_cube_minima_point(c, 0, 0, 0, 0.0, 0.0, 0.0, 0.0, 1);
    ZEMU_add_cube_minima_point(c, 2, 0, 0, 2.0, 0.0, 0.0, 0.0, 1);

    ZEMU_nearest_neighbour nn;
    ASSERT_EQ(ZEMU_init_nearest_neighbour(&nn, 1, 2.0, 0.0, 0.0, 1), 0);
    ZEMU_get_nearest_minima(c, &nn);
    EXPECT_EQ(std::make_tuple(nn.index[0], nn.distance[0], nn.include_target), std::make_tuple(1, 0.0, 0));
    ZEMU_free_nearest_neighbour(&nn);

    // target at 3.25: the image of minimum 0 one cell up (at 4) is nearest
    ASSERT_EQ(ZEMU_init_nearest_neighbour(&nn, 4, 3.25, 0.0, 0.0, 1), 0);
    ZEMU_get_nearest_minima(c, &nn);
    EXPECT_EQ(std::make_tuple(nn.include_target, nn.index[0], nn.i[0], nn.index[1]), std::make_tuple(1, 0, 1, 1));
    EXPECT_DOUBLE_EQ(nn.distance[0], 0.75);
    EXPECT_DOUBLE_EQ(nn.distance[1], 1.25);
    for (int n = 1; n < 4; n++) EXPECT_LE(nn.distance[n - 1], nn.distance[n]);
    ZEMU_free_nearest_neighbour(&nn);

    // two saddle points equally far: the earlier list entry stays in front
    ZEMU_add_cube_saddle_point(c, 1, 1, 0, 0.5, 1);
    ZEMU_add_cube_saddle_point(c, 1, 3, 0, 0.5, 1);
    ASSERT_EQ(ZEMU_init_nearest_neighbour(&nn, 2, 1.0, 2.0, 0.0, 1), 0);
    ZEMU_get_nearest_saddle(c, &nn);
    EXPECT_EQ(std::make_tuple(nn.index[0], nn.index[1]), std::make_tuple(0, 1));
    EXPECT_DOUBLE_EQ(nn.distance[1], 1.0);
    ZEMU_free_nearest_neighbour(&nn);
}

TEST(StationaryReports, MinimaReportShowsPlateauMeansAndIonColumns) {
    Field g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    c->scaling = 1;
    char expr[] = "2*E";
    ASSERT_EQ(ZEMU_parse_energy_scaling(c, expr), 0);
    g.at(1, 1, 1) = g.at(1, 1, 2) = 0.25;  // two-point floor
    g.at(3, 0, 0) = 0.5;
    g.at(2, 2, 2) = 0.9;
    ZEMU_add_cube_minima_point(c, 1, 1, 1, 1.0, 1.0, 1.5, 0.25, 1);
    ZEMU_add_cube_minima_point(c, 3, 0, 0, 3.0, 0.0, 0.0, 0.5, 1);
    ZEMU_add_cube_minima_point(c, 2, 2, 2, 2.0, 2.0, 2.0, 0.9, 2);
    c->minima[0].mul = 99;  // the printed multiplicity counts members, not this field
    char li1[] = "Li1", li2[] = "Li2", li3[] = "Li3";
    ZEMU_add_cube_minima_ion(&c->minima[0], li1, 0.5);
    ZEMU_add_cube_minima_ion(&c->minima[0], li2, 0.0);
    ZEMU_add_cube_minima_ion(&c->minima[0], li3, 0.25);
    ZEMU_add_cube_minima_ion(&c->minima[0], li1, 1.0);
    c->minima[2].ins_label = 1;
    c->total_minima_type = 2;
    c->minima_type_index = type_index({0, 2});

    int status;
    std::string text = report(c, true, &status);
    EXPECT_EQ(status, 0);
    const std::string pad(66, ' ');
    EXPECT_EQ(text, fx::kMinimaFrame + fx::totals("minima", 3, 2) +
                        "Minima type: Li1/Li3/Li1 (Energy: 0.500000 eV)\r\n" + fx::kMinimaColumns +
                        "        0     1   1   1     1.0   1.0   1.5   0.250 0.250 0.375   0.500   Li1\r\n" + pad +
                        "0.250   Li3\r\n" + pad + "1.000   Li1\r\n" +
                        "        1     3   0   0     3.0   0.0   0.0   0.750 0.000 0.000   \r\n"
                        "Multiplicity: 2\r\n\r\n"
                        "Minima type: i1 (Energy: 1.800000 eV)\r\n" +
                        fx::kMinimaColumns +
                        "        2     2   2   2     2.0   2.0   2.0   0.500 0.500 0.500   \r\n"
                        "Multiplicity: 1\r\n\r\n");
}

TEST(StationaryReports, SaddleReportShowsTrueFractionalPositions) {
    Field g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    g.at(0, 2, 3) = g.at(3, 2, 3) = 0.75;  // plateau across the boundary: mean at -0.5
    ZEMU_add_cube_saddle_point(c, 0, 2, 3, 0.75, 1);
    c->total_saddle_type = 1;
    c->saddle_type_index = type_index({0});
    int status;
    EXPECT_EQ(report(c, false, &status),
              fx::kSaddleFrame + fx::totals("saddle", 1, 1) + "Saddle type: s1 (Energy: 0.750000 eV)\r\n" +
                  fx::kSaddleColumns +
                  "        0     0   2   3    -0.5   2.0   3.0   0.000 0.500 0.750   -0.125 0.500 0.750\r\n"
                  "Multiplicity: 1\r\n\r\n");
    EXPECT_EQ(status, 0);

    Field flat(4, 4, 4, 0.0);  // an oversized plateau stops the report
    ZEMU_add_cube_saddle_point(&flat.cube, 0, 0, 0, 0.0, 1);
    flat.cube.total_saddle_type = 1;
    flat.cube.saddle_type_index = type_index({0});
    report(&flat.cube, false, &status);
    EXPECT_EQ(status, 1);
}
