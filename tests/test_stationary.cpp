// Minima and saddle point lists, local classification, the plateau flood, the
// whole-grid search, site labels, nearest-neighbour queries and the reports.
#include <algorithm>

#include "ZEMU-cube.h"
#include "fixtures.h"

using fx::Field;
using Points = std::vector<std::tuple<int, int, int>>;

namespace {

Points plateau_of(ZEMU_cube* cube, int i, int j, int k, int* status) {
    ZEMU_same_energy_grid_list list;
    ZEMU_init_same_energy_grid_list(&list);
    *status = ZEMU_find_same_energy_neighbours(cube, &list, i, j, k);
    Points out;
    for (int n = 0; n < list.total; n++) out.emplace_back(list.item[n].x, list.item[n].y, list.item[n].z);
    ZEMU_free_same_energy_grid_list(&list);
    return out;
}

// The plateau flood written as plain recursion, for comparison.
int reference_flood(ZEMU_cube* cube, Points* list, int i, int j, int k) {
    if (list->size() > 27) return -1;
    double e = ZEMU_cube_energy(cube, i, j, k);
    list->emplace_back(i, j, k);
    for (int a = 1; a >= -1; a--)
        for (int b = 1; b >= -1; b--)
            for (int c = 1; c >= -1; c--) {
                Points::value_type p(i + a, j + b, k + c);
                if ((a == 0 && b == 0 && c == 0) || !ZEMU_cube_equal_dbl(ZEMU_cube_energy(cube, i + a, j + b, k + c), e) ||
                    std::find(list->begin(), list->end(), p) != list->end())
                    continue;
                int r = reference_flood(cube, list, i + a, j + b, k + c);
                if (r != 0) return r;
            }
    return 0;
}

// A type index table: first[t] is the list position of the first member of type t + 1.
int* type_index(std::vector<int> first) {
    int* index = static_cast<int*>(malloc(sizeof(int) * (first.size() + 1)));
    index[0] = 0;
    for (size_t t = 0; t < first.size(); t++) index[t + 1] = first[t];
    return index;
}

}  // namespace

TEST(PointClassification, MinimaAndGroupsOfLowerNeighbours) {
    Field g(5, 5, 5);
    g.at(2, 2, 2) = g.at(3, 3, 3) = 0.0;
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 2, 2, 2), 1);  // equal neighbours allowed
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 1, 2, 2), 0);
    g.at(0, 0, 0) = -1.0;  // a lower neighbour across the periodic boundary of (4, 4, 4)
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 4, 4, 4), 0);

    // around the centre (2, 2, 2): background, centre, other cells (i, j, k, energy), groups
    struct Case { double fill, centre; Points cells; std::vector<double> e; int groups; } cases[] = {
        {1.0, 1.0, {}, {}, 0},
        {5.0, 2.0, {{1, 2, 2}, {3, 2, 2}, {1, 3, 2}, {2, 3, 2}, {3, 3, 2}}, {1, 1, 2, 2, 2}, 2},  // equal arc: no bridge
        {5.0, 2.0, {{1, 1, 2}, {1, 2, 2}, {1, 3, 2}, {2, 3, 2}, {3, 3, 2}, {3, 2, 2}, {3, 1, 2}, {2, 1, 2}},
         {1, 1, 1, 1, 1, 1, 1, 1}, 1},  // a ring is one group
    };
    for (const Case& cs : cases) {
        Field f(6, 6, 6, cs.fill);
        f.at(2, 2, 2) = cs.centre;
        for (size_t n = 0; n < cs.cells.size(); n++)
            f.at(std::get<0>(cs.cells[n]), std::get<1>(cs.cells[n]), std::get<2>(cs.cells[n])) = cs.e[n];
        EXPECT_EQ(ZEMU_find_lower_energy_neighbour_cluster(&f.cube, 2, 2, 2), cs.groups) << cs.cells.size();
    }
}

TEST(PlateauFlood, VisitsInTheOrderOfTheRecursiveDefinitionUpToTwentyEightPoints) {
    unsigned seed = 7;
    for (int trial = 0; trial < 40; trial++) {
        Field g(5, 6, 7, [&](int, int, int) {
            seed = seed * 1103515245u + 12345u;
            return ((seed >> 16) % 100) < 35 ? 0.0 : 1.0 + (seed >> 16) % 7;
        });
        for (int start = 0; start < 10; start++) {
            int i = start % 5, j = (start * 3) % 6, k = (start * 5) % 7, status;
            Points want, got = plateau_of(&g.cube, i, j, k, &status);
            ASSERT_EQ(status, reference_flood(&g.cube, &want, i, j, k));
            ASSERT_EQ(got, want);
        }
    }
    Field g(4, 4, 40);
    for (int k = 0; k < 29; k++) g.at(1, 1, k) = 0.0;
    int status;
    EXPECT_EQ(plateau_of(&g.cube, 1, 1, 1, &status).size(), 28u);
    EXPECT_EQ(status, -1);
    ASSERT_EQ(ZEMU_find_stationary_points3(&g.cube), 0);  // the search finds no minimum on it
    EXPECT_EQ(g.cube.total_minima, 0);
}

TEST(StationaryLists, SaddleInsertionRemovalByWrappedLocationAndTheNearestPointsOfATarget) {
    Field g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    ZEMU_add_cube_saddle_point(c, 1, 1, 1, 0.1, 0);
    ASSERT_EQ(ZEMU_ins_cube_saddle_point(c, 3, 3, 3, 0.3, 5, 0) + ZEMU_ins_cube_saddle_point(c, 2, 2, 2, 0.2, 0, 9), 0);
    EXPECT_EQ(std::make_tuple(c->saddle[0].type, c->saddle[1].x, c->saddle[2].x), std::make_tuple(5, 1, 2));  // 9: appended
    EXPECT_EQ(ZEMU_del_cube_saddle_point_by_loc(c, 5, -3, 1), 1);  // wraps to (1, 1, 1)
    EXPECT_EQ(ZEMU_del_cube_saddle_point_by_loc(c, 1, 1, 1), -1);
    EXPECT_EQ(fx::stdout_of([&] { EXPECT_EQ(ZEMU_ins_cube_saddle_point(c, 0, 0, 0, 0.0, 0, -1), 1); }), "strange\n");
    EXPECT_EQ(std::make_tuple(c->total_saddle, ZEMU_inlist_cube_saddle_point(c, 6, 2, 2)), std::make_tuple(3, 0));  // not wrapped
    ZEMU_nearest_neighbour nn;
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_init_nearest_neighbour(&nn, 0, 0, 0, 0, 1), 1); }),
              "Error: Non-positive input size to ZEMU_alloc_nearest_neighbour()\n");
    ASSERT_EQ(ZEMU_init_nearest_neighbour(&nn, 2, 2.0, 2.0, 2.0, 1), 0);
    ZEMU_get_nearest_saddle(c, &nn);  // the target itself is a saddle point: nearest at 0, and found
    EXPECT_EQ(std::make_tuple(nn.index[0], nn.distance[0], nn.include_target), std::make_tuple(1, 0.0, 0));
    ZEMU_free_nearest_neighbour(&nn);
}

TEST(WholeGridSearch, FindsWellsPlateauMeansAndSaddlesBelowTheCeiling) {
    // two wells along a, separated by barriers at i = 0 and 4
    Field g(8, 4, 4, [](int i, int j, int k) { return cos(M_PI * i / 2) + 0.1 * (cos(M_PI * j / 2) + cos(M_PI * k / 2)); });
    ASSERT_EQ(ZEMU_find_stationary_points3(&g.cube), 0);
    EXPECT_EQ(std::make_tuple(g.cube.total_minima, g.cube.minima[0].x, g.cube.minima[1].x), std::make_tuple(2, 2, 6));
    EXPECT_EQ(ZEMU_inlist_cube_saddle_point(&g.cube, 0, 2, 2) + ZEMU_inlist_cube_saddle_point(&g.cube, 4, 2, 2), 2);
    // a two-point floor gives one minimum at its first point, halfway in true position
    Field h(6, 6, 6);
    h.at(2, 3, 3) = h.at(3, 3, 3) = 0.0;
    ASSERT_EQ(ZEMU_find_stationary_points3(&h.cube), 0);
    ASSERT_EQ(h.cube.total_minima, 1);
    EXPECT_EQ(std::make_tuple(h.cube.minima[0].x, h.cube.minima[0].tx, h.cube.total_saddle), std::make_tuple(2, 2.5, 0));
    h.cube.max_energy = -0.5;
    ZEMU_free_cube_stationary_points(&h.cube);
    ASSERT_EQ(ZEMU_find_stationary_points3(&h.cube), 0);
    EXPECT_EQ(h.cube.total_minima, 0);
}

TEST(StationaryReports, SiteLabelsPlateauMeansAndIonColumns) {
    Field g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    c->scaling = 1;
    ASSERT_EQ(ZEMU_parse_energy_scaling(c, fx::txt("2*E")), 0);
    g.at(1, 1, 1) = g.at(1, 1, 2) = 0.25;  // two-point floor
    g.at(3, 0, 0) = 0.5;
    g.at(2, 2, 2) = 0.9;
    ZEMU_add_cube_minima_point(c, 1, 1, 1, 1.0, 1.0, 1.5, 0.25, 1);
    ZEMU_add_cube_minima_point(c, 3, 0, 0, 3.0, 0.0, 0.0, 0.5, 1);
    ZEMU_add_cube_minima_point(c, 2, 2, 2, 2.0, 2.0, 2.0, 0.9, 2);
    c->minima[0].mul = 99;  // the printed multiplicity counts members, not this field
    for (auto ion : {std::make_pair("Li1", 0.5), {"Li2", 0.0}, {"Li3", 0.25}, {"Li1", 1.0}})
        ZEMU_add_cube_minima_ion(&c->minima[0], fx::txt(ion.first), ion.second);
    c->minima[2].ins_label = 1;
    c->total_minima_type = 2;
    c->minima_type_index = type_index({0, 2});
    const std::string pad(66, ' ');
    EXPECT_EQ(fx::written([&](FILE* f) { EXPECT_EQ(ZEMU_printminima(c, f), 0); }),
              fx::kMinimaFrame + fx::totals("minima", 3, 2) + "Minima type: Li1/Li3/Li1 (Energy: 0.500000 eV)\r\n" +
                  fx::kMinimaColumns + "        0     1   1   1     1.0   1.0   1.5   0.250 0.250 0.375   0.500   Li1\r\n" +
                  pad + "0.250   Li3\r\n" + pad + "1.000   Li1\r\n" +
                  "        1     3   0   0     3.0   0.0   0.0   0.750 0.000 0.000   \r\nMultiplicity: 2\r\n\r\n"
                  "Minima type: i1 (Energy: 1.800000 eV)\r\n" + fx::kMinimaColumns +
                  "        2     2   2   2     2.0   2.0   2.0   0.500 0.500 0.500   \r\nMultiplicity: 1\r\n\r\n");
    for (int n = 0; n < 64; n++) g.at(n / 16, (n / 4) % 4, n % 4) = 0.75;  // an oversized plateau stops the report
    fx::written([&](FILE* f) { EXPECT_EQ(ZEMU_printminima(c, f), 1); });
}
