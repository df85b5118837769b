// Minima and saddle point lists, local classification, plateau flood, the
// whole-grid search, site labels, nearest-neighbour queries and the reports.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU-cube.h"

namespace {

// An in-memory grid with 1 Angstrom orthogonal steps, filled with `fill`.
struct Grid {
    ZEMU_cube cube;
    Grid(int na, int nb, int nc, double fill = 1.0)
    {
        ZEMU_init_cube(&cube);
        cube.a_grid = na;
        cube.b_grid = nb;
        cube.c_grid = nc;
        cube.a_x = cube.b_y = cube.c_z = 1.0;
        ZEMU_calc_cell_parameter(&cube);
        if (ZEMU_alloc_cube_energy(&cube) != 0) abort();
        for (int i = 0; i < na; i++)
            for (int j = 0; j < nb; j++)
                for (int k = 0; k < nc; k++) cube.energy[i][j][k] = fill;
        cube.max_energy = 1000.0;
    }
    ~Grid() { ZEMU_free_cube(&cube); }
    double& at(int i, int j, int k)
    {
        ZEMU_cube_triple_index p = ZEMU_shift_index_xyz(&cube, i, j, k);
        return cube.energy[p.x][p.y][p.z];
    }
};

std::vector<ZEMU_cube_triple_index> plateau_of(ZEMU_cube* cube, int i, int j, int k, int* status)
{
    ZEMU_same_energy_grid_list list;
    ZEMU_init_same_energy_grid_list(&list);
    *status = ZEMU_find_same_energy_neighbours(cube, &list, i, j, k);
    std::vector<ZEMU_cube_triple_index> out(list.item, list.item + list.total);
    ZEMU_free_same_energy_grid_list(&list);
    return out;
}

// The plateau flood written as plain recursion, for comparison.
int reference_flood(ZEMU_cube* cube, std::vector<ZEMU_cube_triple_index>* list, int i, int j, int k)
{
    if (list->size() > 27) return -1;
    double e = ZEMU_cube_energy(cube, i, j, k);
    list->push_back({i, j, k});
    for (int a = 1; a >= -1; a--)
        for (int b = 1; b >= -1; b--)
            for (int c = 1; c >= -1; c--) {
                if (a == 0 && b == 0 && c == 0) continue;
                if (!ZEMU_cube_equal_dbl(ZEMU_cube_energy(cube, i + a, j + b, k + c), e)) continue;
                bool seen = false;
                for (const ZEMU_cube_triple_index& p : *list)
                    seen = seen || (p.x == i + a && p.y == j + b && p.z == k + c);
                if (seen) continue;
                int r = reference_flood(cube, list, i + a, j + b, k + c);
                if (r != 0) return r;
            }
    return 0;
}

std::string capture_report(ZEMU_cube* cube, bool minima, int* status)
{
    FILE* f = tmpfile();
    *status = minima ? ZEMU_printminima(cube, f) : ZEMU_printsaddle(cube, f);
    std::string text;
    rewind(f);
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), f)) > 0) text.append(buf, n);
    fclose(f);
    return text;
}

}  // namespace

// ---------------------------------------------------------------------------

TEST(StationaryLists, SaddleInsertionAndRemovalKeepOrder)
{
    Grid g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    ASSERT_EQ(ZEMU_add_cube_saddle_point(c, 1, 1, 1, 0.1, 0), 0);
    ASSERT_EQ(ZEMU_add_cube_saddle_point(c, 2, 2, 2, 0.2, 0), 0);
    ASSERT_EQ(ZEMU_ins_cube_saddle_point(c, 3, 3, 3, 0.3, 5, 0), 0);
    ASSERT_EQ(c->total_saddle, 3);
    EXPECT_EQ(c->saddle[0].x, 3);
    EXPECT_EQ(c->saddle[0].type, 5);
    EXPECT_EQ(c->saddle[1].x, 1);
    EXPECT_EQ(c->saddle[2].x, 2);

    EXPECT_EQ(ZEMU_inlist_cube_saddle_point(c, 2, 2, 2), 1);
    EXPECT_EQ(ZEMU_inlist_cube_saddle_point(c, 6, 2, 2), 0);  // not wrapped
    EXPECT_EQ(ZEMU_del_cube_saddle_point_by_loc(c, 5, -3, 1), 1);  // wrapped to (1, 1, 1)
    EXPECT_EQ(ZEMU_del_cube_saddle_point_by_loc(c, 0, 0, 0), -1);
    ASSERT_EQ(c->total_saddle, 2);
    ZEMU_del_cube_saddle_point(c, 2);
    ZEMU_del_cube_saddle_point(c, -1);
    EXPECT_EQ(c->total_saddle, 2);

    testing::internal::CaptureStdout();
    EXPECT_EQ(ZEMU_ins_cube_saddle_point(c, 0, 0, 0, 0.0, 0, -1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "strange\n");
    EXPECT_EQ(c->total_saddle, 3);  // the count stays incremented
}

TEST(StationaryLists, MinimaRemovalByLocationWrapsIndices)
{
    Grid g(4, 4, 4);
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
    ZEMU_del_cube_minima_point(c, 1);
    EXPECT_EQ(c->total_minima, 1);
}

// ---------------------------------------------------------------------------

TEST(PointClassification, MinimumAllowsEqualButNoLowerNeighbour)
{
    Grid g(5, 5, 5);
    g.at(2, 2, 2) = 0.0;
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 2, 2, 2), 1);
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 1, 2, 2), 0);
    g.at(3, 3, 3) = 0.0;
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 2, 2, 2), 1);
    g.at(0, 0, 0) = -1.0;  // a lower neighbour across the periodic boundary of (4, 4, 4)
    EXPECT_EQ(ZEMU_is_minimum(&g.cube, 4, 4, 4), 0);
}

TEST(PointClassification, LowerNeighbourGroupsSeparateBasins)
{
    Grid g(6, 6, 6);
    EXPECT_EQ(ZEMU_find_lower_energy_neighbour_cluster(&g.cube, 2, 2, 2), 0);  // flat: equal marks, none lower
    g.at(2, 2, 2) = 2.0;
    g.at(1, 1, 1) = 0.0;
    g.at(3, 3, 3) = 0.0;
    // neighbours at 1.0 are lower too and join both corners into one group
    EXPECT_EQ(ZEMU_find_lower_energy_neighbour_cluster(&g.cube, 2, 2, 2), 1);

    Grid h(6, 6, 6, 5.0);
    h.at(2, 2, 2) = 2.0;
    h.at(1, 1, 1) = 0.0;
    h.at(3, 3, 3) = 0.0;
    EXPECT_EQ(ZEMU_find_lower_energy_neighbour_cluster(&h.cube, 2, 2, 2), 2);
}

TEST(PointClassification, RingOfLowerNeighboursIsOneGroup)
{
    Grid g(6, 6, 6, 5.0);
    g.at(2, 2, 2) = 2.0;
    for (int a = -1; a <= 1; a++)
        for (int b = -1; b <= 1; b++)
            if (a != 0 || b != 0) g.at(2 + a, 2 + b, 2) = 1.0;
    EXPECT_EQ(ZEMU_find_lower_energy_neighbour_cluster(&g.cube, 2, 2, 2), 1);
}

TEST(PointClassification, EqualNeighboursDoNotBridgeBasins)
{
    Grid g(6, 6, 6, 5.0);
    g.at(2, 2, 2) = 2.0;
    g.at(1, 2, 2) = 1.0;
    g.at(3, 2, 2) = 1.0;
    // an equal-energy arc from one lower cell to the other
    g.at(1, 3, 2) = 2.0;
    g.at(2, 3, 2) = 2.0;
    g.at(3, 3, 2) = 2.0;
    EXPECT_EQ(ZEMU_find_lower_energy_neighbour_cluster(&g.cube, 2, 2, 2), 2);

    Grid h(6, 6, 6, 5.0);
    h.at(2, 2, 2) = 2.0;
    h.at(1, 2, 2) = 1.0;
    h.at(2, 3, 3) = 2.0;  // one equal neighbour, one lower group
    EXPECT_EQ(ZEMU_find_lower_energy_neighbour_cluster(&h.cube, 2, 2, 2), 1);
}

// ---------------------------------------------------------------------------

TEST(PlateauFlood, VisitsInTheOrderOfTheRecursiveDefinition)
{
    unsigned seed = 7;
    for (int trial = 0; trial < 40; trial++) {
        Grid g(5, 6, 7);
        for (int i = 0; i < 5; i++)
            for (int j = 0; j < 6; j++)
                for (int k = 0; k < 7; k++) {
                    seed = seed * 1103515245u + 12345u;
                    g.cube.energy[i][j][k] = ((seed >> 16) % 100) < 35 ? 0.0 : 1.0 + (seed >> 16) % 7;
                }
        for (int start = 0; start < 10; start++) {
            int i = start % 5, j = (start * 3) % 6, k = (start * 5) % 7;
            int status;
            std::vector<ZEMU_cube_triple_index> got = plateau_of(&g.cube, i, j, k, &status);
            std::vector<ZEMU_cube_triple_index> want;
            int want_status = reference_flood(&g.cube, &want, i, j, k);
            ASSERT_EQ(status, want_status);
            ASSERT_EQ(got.size(), want.size());
            for (size_t n = 0; n < got.size(); n++) {
                EXPECT_EQ(got[n].x, want[n].x);
                EXPECT_EQ(got[n].y, want[n].y);
                EXPECT_EQ(got[n].z, want[n].z);
            }
        }
    }
}

TEST(PlateauFlood, TwentyEightPointsPassTwentyNineAreRefused)
{
    Grid g(4, 4, 40);
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
}

TEST(PlateauFlood, FollowsUnwrappedIndicesAcrossTheBoundary)
{
    Grid g(4, 4, 4);
    g.at(0, 0, 0) = 0.0;
    g.at(3, 0, 0) = 0.0;
    int status;
    std::vector<ZEMU_cube_triple_index> p = plateau_of(&g.cube, 0, 0, 0, &status);
    ASSERT_EQ(status, 0);
    ASSERT_EQ(p.size(), 2u);
    EXPECT_EQ(p[1].x, -1);
}

// ---------------------------------------------------------------------------

TEST(WholeGridSearch, FindsWellsPlateauMeansAndSaddles)
{
    // two wells along a, separated by barriers at i = 0 and 4
    Grid g(8, 4, 4);
    for (int i = 0; i < 8; i++)
        for (int j = 0; j < 4; j++)
            for (int k = 0; k < 4; k++)
                g.cube.energy[i][j][k] = cos(M_PI * i / 2) + 0.1 * (cos(M_PI * j / 2) + cos(M_PI * k / 2));
    ASSERT_EQ(ZEMU_find_stationary_points3(&g.cube), 0);
    ASSERT_EQ(g.cube.total_minima, 2);
    EXPECT_EQ(g.cube.minima[0].x, 2);
    EXPECT_EQ(g.cube.minima[0].y, 2);
    EXPECT_EQ(g.cube.minima[0].tx, 2.0);
    EXPECT_EQ(g.cube.minima[1].x, 6);
    EXPECT_EQ(ZEMU_inlist_cube_saddle_point(&g.cube, 0, 2, 2), 1);
    EXPECT_EQ(ZEMU_inlist_cube_saddle_point(&g.cube, 4, 2, 2), 1);

    // a two-point floor gives one minimum, at the first point, halfway in true position
    Grid h(6, 6, 6);
    h.at(2, 3, 3) = 0.0;
    h.at(3, 3, 3) = 0.0;
    ASSERT_EQ(ZEMU_find_stationary_points3(&h.cube), 0);
    ASSERT_EQ(h.cube.total_minima, 1);
    EXPECT_EQ(h.cube.minima[0].x, 2);
    EXPECT_EQ(h.cube.minima[0].tx, 2.5);
    EXPECT_EQ(h.cube.minima[0].ty, 3.0);
    EXPECT_EQ(h.cube.total_saddle, 0);
}

TEST(WholeGridSearch, OversizedPlateauYieldsNoMinimumAndCeilingApplies)
{
    Grid g(4, 4, 40);
    for (int k = 0; k < 29; k++) g.at(1, 1, k) = 0.0;
    ASSERT_EQ(ZEMU_find_stationary_points3(&g.cube), 0);
    EXPECT_EQ(g.cube.total_minima, 0);

    Grid h(6, 6, 6);
    h.at(3, 3, 3) = 0.0;
    h.cube.max_energy = -0.5;
    ASSERT_EQ(ZEMU_find_stationary_points3(&h.cube), 0);
    EXPECT_EQ(h.cube.total_minima, 0);
}

// ---------------------------------------------------------------------------

namespace {

void set_minima_types(ZEMU_cube* c, int types, std::vector<int> first)
{
    c->total_minima_type = types;
    c->minima_type_index = static_cast<int*>(malloc(sizeof(int) * (types + 1)));
    c->minima_type_index[0] = 0;
    for (int t = 1; t <= types; t++) c->minima_type_index[t] = first[t - 1];
}

std::string label_of(ZEMU_cube* c, int type)
{
    char* text = nullptr;
    EXPECT_EQ(ZEMU_label_minima_site(c, &text, type), 0);
    std::string s = text ? text : "(null)";
    free(text);
    return s;
}

}  // namespace

TEST(MinimaLabels, InterstitialNumberOrPositiveOccupancySites)
{
    Grid g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    char li1[] = "Li1", li2[] = "Li2", na2[] = "Na2";
    ZEMU_add_cube_minima_point(c, 0, 0, 0, 0, 0, 0, 0.0, 1);
    ZEMU_add_cube_minima_point(c, 1, 0, 0, 1, 0, 0, 0.1, 2);
    ZEMU_add_cube_minima_point(c, 2, 0, 0, 2, 0, 0, 0.2, 3);
    ZEMU_add_cube_minima_ion(&c->minima[0], li1, 0.5);
    ZEMU_add_cube_minima_ion(&c->minima[0], li2, 0.0);
    ZEMU_add_cube_minima_ion(&c->minima[0], na2, 0.25);
    c->minima[1].ins_label = 3;
    set_minima_types(c, 4, {0, 1, 2, 2});
    EXPECT_EQ(label_of(c, 1), "Li1/Na2");
    EXPECT_EQ(label_of(c, 2), "i3");
    EXPECT_EQ(label_of(c, 3), "");
    EXPECT_EQ(label_of(c, 4), "");  // no minimum carries type 4
}

// ---------------------------------------------------------------------------

TEST(NearestNeighbours, InsertionKeepsEarlierOfEqualDistances)
{
    ZEMU_nearest_neighbour nn;
    ASSERT_EQ(ZEMU_init_nearest_neighbour(&nn, 3, 0, 0, 0, 1), 0);
    ZEMU_add_nearest_neighbour(&nn, 10, 0, 0, 0, 2.0);
    ZEMU_add_nearest_neighbour(&nn, 11, 0, 0, 0, 1.0);
    ZEMU_add_nearest_neighbour(&nn, 12, 0, 0, 0, 2.0);
    ZEMU_add_nearest_neighbour(&nn, 13, 0, 0, 0, 3.0);  // not below the last kept (2.0)
    EXPECT_EQ(nn.index[0], 11);
    EXPECT_EQ(nn.index[1], 10);
    EXPECT_EQ(nn.index[2], 12);
    ZEMU_add_nearest_neighbour(&nn, 14, 0, 0, 0, 0.5);
    EXPECT_EQ(nn.index[0], 14);
    EXPECT_EQ(nn.index[2], 10);
    ZEMU_free_nearest_neighbour(&nn);
    EXPECT_EQ(nn.total, 0);
    EXPECT_EQ(nn.distance, nullptr);

    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_init_nearest_neighbour(&nn, 0, 0, 0, 0, 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Non-positive input size to ZEMU_alloc_nearest_neighbour()\n");
}

TEST(NearestNeighbours, ShellSearchFindsImagesAndMeetsTheTarget)
{
    Grid g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    ZEMU_add_cube_minima_point(c, 0, 0, 0, 0.0, 0.0, 0.0, 0.0, 1);
    ZEMU_add_cube_minima_point(c, 2, 0, 0, 2.0, 0.0, 0.0, 0.0, 1);

    ZEMU_nearest_neighbour nn;
    ASSERT_EQ(ZEMU_init_nearest_neighbour(&nn, 1, 2.0, 0.0, 0.0, 1), 0);
    ZEMU_get_nearest_minima(c, &nn);
    EXPECT_EQ(nn.index[0], 1);
    EXPECT_EQ(nn.distance[0], 0.0);
    EXPECT_EQ(nn.include_target, 0);
    ZEMU_free_nearest_neighbour(&nn);

    // target at 3.25: the image of minimum 0 one cell up (at 4) is nearest
    ASSERT_EQ(ZEMU_init_nearest_neighbour(&nn, 4, 3.25, 0.0, 0.0, 1), 0);
    ZEMU_get_nearest_minima(c, &nn);
    EXPECT_EQ(nn.include_target, 1);
    EXPECT_EQ(nn.index[0], 0);
    EXPECT_EQ(nn.i[0], 1);
    EXPECT_DOUBLE_EQ(nn.distance[0], 0.75);
    EXPECT_EQ(nn.index[1], 1);
    EXPECT_DOUBLE_EQ(nn.distance[1], 1.25);
    for (int n = 1; n < 4; n++) EXPECT_LE(nn.distance[n - 1], nn.distance[n]);
    ZEMU_free_nearest_neighbour(&nn);

    // two saddle points equally far: the earlier list entry stays in front
    ZEMU_add_cube_saddle_point(c, 1, 1, 0, 0.5, 1);
    ZEMU_add_cube_saddle_point(c, 1, 3, 0, 0.5, 1);
    ASSERT_EQ(ZEMU_init_nearest_neighbour(&nn, 2, 1.0, 2.0, 0.0, 1), 0);
    ZEMU_get_nearest_saddle(c, &nn);
    EXPECT_EQ(nn.index[0], 0);
    EXPECT_EQ(nn.index[1], 1);
    EXPECT_DOUBLE_EQ(nn.distance[1], 1.0);
    ZEMU_free_nearest_neighbour(&nn);
}

// ---------------------------------------------------------------------------

TEST(StationaryReports, EmptyListsPrintFrameAndTotals)
{
    Grid g(4, 4, 4);
    int status;
    std::string text = capture_report(&g.cube, true, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(text,
              "-----------------------------------------------------------------\r\n"
              "                  Summary of energy local minima                  \r\n"
              "-----------------------------------------------------------------\r\n\r\n"
              "Total local minima in unit cell: 0\r\n"
              "Total symmetrically inequivalent: 0\r\n\r\n");
}

TEST(StationaryReports, MinimaReportShowsPlateauMeansAndIonColumns)
{
    Grid g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    c->scaling = 1;
    char expr[] = "2*E";
    ASSERT_EQ(ZEMU_parse_energy_scaling(c, expr), 0);
    g.at(1, 1, 1) = 0.25;
    g.at(1, 1, 2) = 0.25;  // two-point floor
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
    set_minima_types(c, 2, {0, 2});

    int status;
    std::string text = capture_report(c, true, &status);
    EXPECT_EQ(status, 0);
    const std::string pad(66, ' ');
    EXPECT_EQ(text,
              "-----------------------------------------------------------------\r\n"
              "                  Summary of energy local minima                  \r\n"
              "-----------------------------------------------------------------\r\n\r\n"
              "Total local minima in unit cell: 3\r\n"
              "Total symmetrically inequivalent: 2\r\n\r\n"
              "Minima type: Li1/Li3/Li1 (Energy: 0.500000 eV)\r\n"
              "    Index   Grid coor.    True grid coor.     Frac. coor.         Occ.    Ion type\r\n"
              "        0     1   1   1     1.0   1.0   1.5   0.250 0.250 0.375   0.500   Li1\r\n" +
                  pad + "0.250   Li3\r\n" + pad + "1.000   Li1\r\n" +
                  "        1     3   0   0     3.0   0.0   0.0   0.750 0.000 0.000   \r\n"
                  "Multiplicity: 2\r\n\r\n"
                  "Minima type: i1 (Energy: 1.800000 eV)\r\n"
                  "    Index   Grid coor.    True grid coor.     Frac. coor.         Occ.    Ion type\r\n"
                  "        2     2   2   2     2.0   2.0   2.0   0.500 0.500 0.500   \r\n"
                  "Multiplicity: 1\r\n\r\n");
}

TEST(StationaryReports, SaddleReportShowsTrueFractionalPositions)
{
    Grid g(4, 4, 4);
    ZEMU_cube* c = &g.cube;
    g.at(0, 2, 3) = 0.75;
    g.at(3, 2, 3) = 0.75;  // plateau across the boundary: mean at -0.5
    ZEMU_add_cube_saddle_point(c, 0, 2, 3, 0.75, 1);
    c->total_saddle_type = 1;
    c->saddle_type_index = static_cast<int*>(malloc(2 * sizeof(int)));
    c->saddle_type_index[0] = 0;
    c->saddle_type_index[1] = 0;
    int status;
    std::string text = capture_report(c, false, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(text,
              "-----------------------------------------------------------------\r\n"
              "                  Summary of energy saddle point                  \r\n"
              "-----------------------------------------------------------------\r\n\r\n"
              "Total local saddle in unit cell: 1\r\n"
              "Total symmetrically inequivalent: 1\r\n\r\n"
              "Saddle type: s1 (Energy: 0.750000 eV)\r\n"
              "    Index   Grid coor.    True grid coor.     Frac. coor.         True frac. coor.\r\n"
              "        0     0   2   3    -0.5   2.0   3.0   0.000 0.500 0.750   -0.125 0.500 0.750\r\n"
              "Multiplicity: 1\r\n\r\n");
}

TEST(StationaryReports, OversizedPlateauStopsTheReport)
{
    Grid g(4, 4, 4, 0.0);  // flat everywhere
    ZEMU_add_cube_saddle_point(&g.cube, 0, 0, 0, 0.0, 1);
    g.cube.total_saddle_type = 1;
    g.cube.saddle_type_index = static_cast<int*>(calloc(2, sizeof(int)));
    int status;
    capture_report(&g.cube, false, &status);
    EXPECT_EQ(status, 1);
}
