// Grouping of minima and saddle points into symmetry types, the saddle clean-up
// rules, and deletion of points and types.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU.h"

namespace {

// A cubic n x n x n grid with 1 Angstrom steps and pairwise distinct energies
// (no two neighbours equal, so no plateaus unless a test makes one).
struct Grid {
    ZEMU_cube cube;

    explicit Grid(int n) {
        ZEMU_init_cube(&cube);
        ZEMU_init_cube_stationary_points(&cube);
        cube.total_minima_type = cube.total_saddle_type = 0;
        cube.a_grid = cube.b_grid = cube.c_grid = n;
        cube.a_x = cube.b_y = cube.c_z = 1.0;
        ZEMU_calc_cell_parameter(&cube);
        EXPECT_EQ(ZEMU_alloc_cube_energy(&cube), 0);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                for (int k = 0; k < n; ++k) cube.energy[i][j][k] = 1.0 + 0.001 * ((i * n + j) * n + k);
    }
    ~Grid() { ZEMU_free_cube(&cube); }

    void minimum(int x, int y, int z, double e) { ASSERT_EQ(ZEMU_add_cube_minima_point(&cube, x, y, z, x, y, z, e, 0), 0); }
    void saddle(int x, int y, int z, double e) { ASSERT_EQ(ZEMU_add_cube_saddle_point(&cube, x, y, z, e, 0), 0); }
};

// A structure with the given operations, turned into grid operations for `grid`;
// without operations it stands for "no structure" (empty grid operation list).
struct Structure {
    ZEMU_cif cif;

    Structure(Grid& grid, const std::vector<const char*>& ops) {
        EXPECT_EQ(ZEMU_init_cif(&cif), 0);
        ZEMU_init_fastgen(&cif);
        if (ops.empty()) return;
        ZEMU_free_cif_symop(&cif);
        cif.symop_no = (int)ops.size();
        EXPECT_EQ(ZEMU_alloc_cif_symop(&cif), 0);
        for (size_t k = 0; k < ops.size(); ++k) snprintf(cif.symop[k], ZEMU_CIF_SYMOP_SIZE, "%s", ops[k]);
        ZEMU_prepare_fastgen_symop(&cif, &grid.cube);
    }
    ~Structure() { ZEMU_free_cif(&cif); }
};

const std::vector<const char*> kNoStructure = {};
// Point group 222 (order 4).
const std::vector<const char*> k222 = {"x,y,z", "-x,-y,z", "-x,y,-z", "x,-y,-z"};
// Point group mmm (order 8).
const std::vector<const char*> kMmm = {"x,y,z",   "-x,-y,z", "-x,y,-z", "x,-y,-z",
                                       "-x,-y,-z", "x,y,-z",  "x,-y,z",  "-x,y,z"};

std::vector<int> minima_types(ZEMU_cube& c) {
    std::vector<int> t;
    for (int i = 0; i < c.total_minima; ++i) t.push_back(c.minima[i].type);
    return t;
}

std::vector<int> saddle_types(ZEMU_cube& c) {
    std::vector<int> t;
    for (int i = 0; i < c.total_saddle; ++i) t.push_back(c.saddle[i].type);
    return t;
}

using Types = std::vector<int>;

}  // namespace

// ---------------------------------------------------------------------------
// Grouping
// ---------------------------------------------------------------------------

TEST(TypeGrouping, LowerEnergyTypeIsNumberedFirst) {
    Grid g(10);
    Structure s(g, kNoStructure);
    g.minimum(1, 1, 1, -2.0);
    g.minimum(5, 5, 5, -3.0);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_minima_type, 2);
    EXPECT_EQ(g.cube.minima[0].x, 5);
    EXPECT_EQ(minima_types(g.cube), (Types{1, 2}));
    EXPECT_EQ(g.cube.minima_type_index[1], 0);
    EXPECT_EQ(g.cube.minima_type_index[2], 1);
}

TEST(TypeGrouping, WithoutStructureEveryPointIsItsOwnTypeOfMultiplicityZero) {
    Grid g(10);
    Structure s(g, kNoStructure);
    g.minimum(1, 1, 1, 0.5);
    g.minimum(1, 1, 1, 0.7);  // same grid point listed twice stays two types
    g.minimum(2, 3, 4, 0.1);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    EXPECT_EQ(g.cube.total_minima_type, 3);
    EXPECT_EQ(minima_types(g.cube), (Types{1, 2, 3}));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(g.cube.minima[i].mul, 0);
    EXPECT_DOUBLE_EQ(g.cube.minima[0].e, 0.1);
}

TEST(TypeGrouping, EmptyListsWithoutStructureSucceedSilently) {
    Grid g(4);
    Structure s(g, kNoStructure);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
    EXPECT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(g.cube.total_minima_type, 0);
    EXPECT_EQ(g.cube.total_saddle_type, 0);
    EXPECT_NE(g.cube.minima_type_index, nullptr);
    EXPECT_NE(g.cube.saddle_type_index, nullptr);
}

TEST(TypeGrouping, GeneralPositionInOrderEightGroupFormsOneTypeOfEight) {
    Grid g(10);
    Structure s(g, kMmm);
    // The orbit of (1, 2, 3) listed out of order, with another orbit interleaved.
    const int orbit[8][3] = {{9, 8, 7}, {1, 2, 3}, {9, 2, 3}, {1, 8, 7}, {1, 2, 7}, {9, 8, 3}, {1, 8, 3}, {9, 2, 7}};
    for (int k = 0; k < 8; ++k) {
        g.minimum(orbit[k][0], orbit[k][1], orbit[k][2], 0.2);
        if (k == 3) g.minimum(0, 0, 0, 0.9);
    }
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_minima_type, 2);
    EXPECT_EQ(minima_types(g.cube), (Types{1, 1, 1, 1, 1, 1, 1, 1, 2}));
    for (int i = 0; i < 8; ++i) EXPECT_EQ(g.cube.minima[i].mul, 8);
    EXPECT_EQ(g.cube.minima[8].mul, 1);  // the origin is its own image under every operation
    EXPECT_EQ(g.cube.minima_type_index[2], 8);
}

TEST(TypeGrouping, TypeWithUnfoundImagesKeepsFullMultiplicity) {
    Grid g(10);
    Structure s(g, kMmm);
    g.minimum(1, 2, 3, 0.2);
    g.minimum(9, 8, 7, 0.2);
    g.minimum(1, 8, 3, 0.2);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    EXPECT_EQ(g.cube.total_minima_type, 1);
    EXPECT_EQ(g.cube.total_minima, 3);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(g.cube.minima[i].mul, 8);
}

TEST(TypeGrouping, EqualEnergiesAreNumberedInHeapOrder) {
    // Three types of equal energy leave the heap as 1, 3, 2.
    Grid g(10);
    Structure s(g, kNoStructure);
    g.minimum(1, 1, 1, 0.5);
    g.minimum(3, 3, 3, 0.5);
    g.minimum(5, 5, 5, 0.5);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    EXPECT_EQ(g.cube.minima[0].x, 1);
    EXPECT_EQ(g.cube.minima[1].x, 5);
    EXPECT_EQ(g.cube.minima[2].x, 3);
    EXPECT_EQ(minima_types(g.cube), (Types{1, 2, 3}));
}

TEST(TypeGrouping, MembersOfOneTypeComeOutInHeapOrder) {
    // Four members with equal sort keys leave the heap as positions 0, 3, 2, 1.
    Grid g(10);
    Structure s(g, k222);
    g.minimum(1, 2, 3, 0.4);
    g.minimum(9, 8, 3, 0.4);
    g.minimum(9, 2, 7, 0.4);
    g.minimum(1, 8, 7, 0.4);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_minima_type, 1);
    const int expected_x[4] = {1, 1, 9, 9};
    const int expected_y[4] = {2, 8, 2, 8};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(g.cube.minima[i].x, expected_x[i]) << i;
        EXPECT_EQ(g.cube.minima[i].y, expected_y[i]) << i;
        EXPECT_EQ(g.cube.minima[i].mul, 4);
    }
}

TEST(TypeGrouping, IonListsTravelWithTheirMinima) {
    Grid g(10);
    Structure s(g, kNoStructure);
    g.minimum(1, 1, 1, 0.9);
    g.minimum(2, 2, 2, 0.1);
    char label[] = "Li1";
    ASSERT_EQ(ZEMU_add_cube_minima_ion(&g.cube.minima[0], label, 0.25), 0);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    EXPECT_EQ(g.cube.minima[0].total_ions, 0);
    ASSERT_EQ(g.cube.minima[1].total_ions, 1);
    EXPECT_STREQ(g.cube.minima[1].ion[0].label, "Li1");
    EXPECT_DOUBLE_EQ(g.cube.minima[1].ion[0].occ, 0.25);
}

TEST(TypeGrouping, RefreshRecordsFirstMemberOfEachType) {
    Grid g(10);
    Structure s(g, k222);
    g.minimum(1, 2, 3, 0.1);
    g.minimum(9, 8, 3, 0.1);
    g.minimum(4, 4, 4, 0.3);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    g.cube.minima_type_index[1] = g.cube.minima_type_index[2] = 77;
    ZEMU_refresh_minima_type_index(&g.cube);
    EXPECT_EQ(g.cube.minima_type_index[1], 0);
    EXPECT_EQ(g.cube.minima_type_index[2], 2);
}

// ---------------------------------------------------------------------------
// Saddle clean-up
// ---------------------------------------------------------------------------

TEST(SaddleCleanUp, OfTwoDiagonalNeighbourTypesOnlyTheLowerSurvives) {
    Grid g(10);
    Structure s(g, kNoStructure);
    g.saddle(2, 2, 2, 1.0);
    g.saddle(3, 3, 3, 0.5);
    g.saddle(6, 6, 6, 0.7);  // two steps from nothing: stays
    ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_saddle_type, 2);
    ASSERT_EQ(g.cube.total_saddle, 2);
    EXPECT_EQ(g.cube.saddle[0].x, 3);
    EXPECT_EQ(g.cube.saddle[1].x, 6);
    EXPECT_EQ(saddle_types(g.cube), (Types{1, 2}));
    EXPECT_EQ(g.cube.saddle_type_index[2], 1);
}

TEST(SaddleCleanUp, NeighbourhoodWrapsAcrossTheCellBoundary) {
    Grid g(10);
    Structure s(g, kNoStructure);
    g.saddle(0, 5, 9, 0.4);
    g.saddle(9, 4, 0, 0.3);
    g.saddle(2, 5, 5, 0.6);  // far from both: stays
    ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_saddle, 2);
    EXPECT_EQ(g.cube.saddle[0].x, 9);
    EXPECT_EQ(g.cube.saddle[1].x, 2);
}

TEST(SaddleCleanUp, TypeOnPlateauOfTwentyEightPointsIsRemoved) {
    Grid g(12);
    Structure s(g, kNoStructure);
    for (int i = 2; i < 9; ++i)
        for (int j = 2; j < 6; ++j) g.cube.energy[i][j][6] = 3.0;  // 7 x 4 = 28 equal points
    g.saddle(4, 3, 6, 0.2);
    g.saddle(10, 10, 1, 0.5);
    ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_saddle_type, 1);
    ASSERT_EQ(g.cube.total_saddle, 1);
    EXPECT_EQ(g.cube.saddle[0].x, 10);
    EXPECT_EQ(g.cube.saddle[0].type, 1);
    EXPECT_EQ(g.cube.saddle_type_index[1], 0);
}

TEST(SaddleCleanUp, PlateauOfTwentySevenPointsGivesTheMeanAsTruePosition) {
    Grid g(12);
    Structure s(g, kNoStructure);
    for (int i = 4; i < 7; ++i)
        for (int j = 4; j < 7; ++j)
            for (int k = 0; k < 3; ++k) g.cube.energy[i][j][(k + 11) % 12] = 3.0;  // wraps on c
    g.saddle(5, 5, 0, 0.2);
    ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_saddle, 1);
    EXPECT_DOUBLE_EQ(g.cube.saddle[0].tx, 5.0);
    EXPECT_DOUBLE_EQ(g.cube.saddle[0].ty, 5.0);
    EXPECT_DOUBLE_EQ(g.cube.saddle[0].tz, 0.0);  // unwrapped mean of -1, 0, 1
}

TEST(SaddleCleanUp, PlateauDuplicateOfTheSameTypeIsThinnedOut) {
    // On a 9-point axis -x maps 4 to 5: the two images are neighbours on one plateau.
    Grid g(9);
    Structure s(g, {"x,y,z", "-x,y,z"});
    g.cube.energy[4][2][2] = g.cube.energy[5][2][2] = 0.05;
    g.saddle(4, 2, 2, 0.05);
    g.saddle(5, 2, 2, 0.05);
    g.saddle(1, 7, 7, 0.3);
    ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_saddle, 2);
    ASSERT_EQ(g.cube.total_saddle_type, 2);
    EXPECT_EQ(g.cube.saddle[0].x, 4);
    EXPECT_EQ(g.cube.saddle[0].mul, 2);
    EXPECT_DOUBLE_EQ(g.cube.saddle[0].tx, 4.5);
    EXPECT_EQ(g.cube.saddle[1].x, 1);
    EXPECT_EQ(g.cube.saddle_type_index[2], 1);
}

// ---------------------------------------------------------------------------
// Deletion
// ---------------------------------------------------------------------------

TEST(TypeDeletion, SingleMemberTakesItsTypeAlongAndLaterTypesMoveDown) {
    Grid g(10);
    Structure s(g, kNoStructure);
    g.minimum(1, 1, 1, 0.1);
    g.minimum(2, 2, 2, 0.2);
    g.minimum(3, 3, 3, 0.3);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(ZEMU_delete_minima(&g.cube, 1), 0);
    EXPECT_EQ(g.cube.total_minima_type, 2);
    EXPECT_EQ(g.cube.total_minima, 2);
    EXPECT_EQ(minima_types(g.cube), (Types{1, 2}));
    EXPECT_EQ(g.cube.minima[1].x, 3);
    EXPECT_EQ(g.cube.minima_type_index[2], 1);
}

TEST(TypeDeletion, MemberOfLargerTypeShiftsLaterEntriesWithTheirIons) {
    Grid g(10);
    Structure s(g, k222);
    const int orbit[4][3] = {{1, 2, 3}, {9, 8, 3}, {9, 2, 7}, {1, 8, 7}};
    for (auto& p : orbit) g.minimum(p[0], p[1], p[2], 0.1);
    const int second[4][3] = {{2, 3, 4}, {8, 7, 4}, {8, 3, 6}, {2, 7, 6}};
    for (auto& p : second) g.minimum(p[0], p[1], p[2], 0.2);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_minima_type, 2);
    char label[] = "Na2";
    ASSERT_EQ(ZEMU_add_cube_minima_ion(&g.cube.minima[5], label, 0.5), 0);

    ASSERT_EQ(ZEMU_delete_minima(&g.cube, 0), 0);
    EXPECT_EQ(g.cube.total_minima, 7);
    EXPECT_EQ(g.cube.total_minima_type, 2);
    EXPECT_EQ(minima_types(g.cube), (Types{1, 1, 1, 2, 2, 2, 2}));
    EXPECT_EQ(g.cube.minima_type_index[1], 0);
    EXPECT_EQ(g.cube.minima_type_index[2], 3);
    EXPECT_EQ(g.cube.minima[0].mul, 4);
    ASSERT_EQ(g.cube.minima[4].total_ions, 1);
    EXPECT_STREQ(g.cube.minima[4].ion[0].label, "Na2");
    EXPECT_EQ(g.cube.minima[6].total_ions, 0);

    // Deleting a member behind the first leaves the type's own index alone.
    ASSERT_EQ(ZEMU_delete_minima(&g.cube, 4), 0);
    EXPECT_EQ(g.cube.minima_type_index[2], 3);
    EXPECT_EQ(g.cube.total_minima, 6);
}

TEST(TypeDeletion, WholeTypeRenumbersLaterTypesAndHalvesCapacity) {
    Grid g(10);
    Structure s(g, k222);
    const int orbit[4][3] = {{1, 2, 3}, {9, 8, 3}, {9, 2, 7}, {1, 8, 7}};
    for (auto& p : orbit) g.minimum(p[0], p[1], p[2], 0.1);
    g.minimum(0, 0, 0, 0.3);
    g.minimum(5, 5, 5, 0.4);
    char label[] = "Li1";
    ASSERT_EQ(ZEMU_add_cube_minima_ion(&g.cube.minima[5], label, 1.0), 0);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_minima_cap, 8);

    ASSERT_EQ(ZEMU_delete_minima_type(&g.cube, 1), 0);
    EXPECT_EQ(g.cube.total_minima, 2);
    EXPECT_EQ(g.cube.total_minima_type, 2);
    EXPECT_EQ(minima_types(g.cube), (Types{1, 2}));
    EXPECT_EQ(g.cube.minima_type_index[1], 0);
    EXPECT_EQ(g.cube.minima_type_index[2], 1);
    EXPECT_EQ(g.cube.total_minima_cap, 4);  // halved once
    ASSERT_EQ(g.cube.minima[1].total_ions, 1);
    EXPECT_STREQ(g.cube.minima[1].ion[0].label, "Li1");
}

TEST(TypeDeletion, SaddleTypeDeletionKeepsInvariants) {
    Grid g(10);
    Structure s(g, kNoStructure);
    g.saddle(1, 1, 1, 0.1);
    g.saddle(4, 4, 4, 0.2);
    g.saddle(7, 7, 7, 0.3);
    ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(ZEMU_delete_saddle(&g.cube, 0), 0);
    EXPECT_EQ(saddle_types(g.cube), (Types{1, 2}));
    EXPECT_EQ(g.cube.saddle[0].x, 4);
    EXPECT_EQ(g.cube.saddle_type_index[1], 0);
    EXPECT_EQ(g.cube.saddle_type_index[2], 1);
}

TEST(TypeDeletion, InvalidIndexOrTypeIsRefusedWithItsMessageAndChangesNothing) {
    Grid g(10);
    Structure s(g, kNoStructure);
    g.minimum(1, 1, 1, 0.1);
    g.saddle(5, 5, 5, 0.1);
    ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);

    struct Case {
        int (*op)(ZEMU_cube*, int);
        int arg;
        const char* message;
    };
    const Case cases[] = {
        {ZEMU_delete_minima, -1, "Error: Invalid input to ZEMU_delete_minima()\n"},
        {ZEMU_delete_minima, 1, "Error: Invalid input to ZEMU_delete_minima()\n"},
        {ZEMU_delete_saddle, -1, "Error: Invalid input to ZEMU_delete_saddle()\n"},
        {ZEMU_delete_saddle, 1, "Error: Invalid input to ZEMU_delete_saddle()\n"},
        {ZEMU_delete_minima_type, 0, "Error: Invalid input to ZEMU_delete_minima_type()\n"},
        {ZEMU_delete_minima_type, 2, "Error: Invalid input to ZEMU_delete_minima_type()\n"},
        {ZEMU_delete_saddle_type, 0, "Error: Invalid input to ZEMU_delete_saddle_type()\n"},
        {ZEMU_delete_saddle_type, 2, "Error: Invalid input to ZEMU_delete_saddle_type()\n"},
    };
    for (const Case& c : cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(c.op(&g.cube, c.arg), 1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.message);
    }
    EXPECT_EQ(g.cube.total_minima, 1);
    EXPECT_EQ(g.cube.total_saddle, 1);
    EXPECT_EQ(g.cube.total_minima_type, 1);
    EXPECT_EQ(g.cube.total_saddle_type, 1);
}

// ---------------------------------------------------------------------------
// The saddle clean-up against a literal one-deletion-at-a-time version
// ---------------------------------------------------------------------------

namespace {

bool within_one_step_of_an_image(ZEMU_cube* c, int x, int y, int z, int px, int py, int pz) {
    for (int a = -1; a <= 1; ++a)
        for (int b = -1; b <= 1; ++b)
            for (int k = -1; k <= 1; ++k) {
                int dx = x + a * c->a_grid - px, dy = y + b * c->b_grid - py, dz = z + k * c->c_grid - pz;
                if (dx >= -1 && dx <= 1 && dy >= -1 && dy <= 1 && dz >= -1 && dz <= 1) return true;
            }
    return false;
}

// Adjacent types, then plateaus, deleting through the public operations as they are met.
void literal_saddle_cleanup(ZEMU_cube* c) {
    for (int t = 1; t <= c->total_saddle_type; ++t) {
        ZEMU_saddle f = c->saddle[c->saddle_type_index[t]];
        int u = t + 1;
        while (u <= c->total_saddle_type) {
            ZEMU_saddle g = c->saddle[c->saddle_type_index[u]];
            if (within_one_step_of_an_image(c, g.x, g.y, g.z, f.x, f.y, f.z))
                ASSERT_EQ(ZEMU_delete_saddle_type(c, u), 0);
            else
                ++u;
        }
    }
    for (int t = 1; t <= c->total_saddle_type; ++t) {
        int i = c->saddle_type_index[t];
        while (i < c->total_saddle && c->saddle[i].type == t) {
            ZEMU_same_energy_grid_list plateau;
            ZEMU_init_same_energy_grid_list(&plateau);
            ZEMU_saddle* s = &c->saddle[i];
            ASSERT_NE(ZEMU_find_same_energy_neighbours(c, &plateau, s->x, s->y, s->z), 1);
            if (plateau.total > 27) {
                ZEMU_free_same_energy_grid_list(&plateau);
                ASSERT_EQ(ZEMU_delete_saddle_type(c, t), 0);
                --t;
                break;
            }
            double sx = 0, sy = 0, sz = 0;
            for (int p = 0; p < plateau.total; ++p) {
                sx += plateau.item[p].x;
                sy += plateau.item[p].y;
                sz += plateau.item[p].z;
            }
            s->tx = sx / plateau.total;
            s->ty = sy / plateau.total;
            s->tz = sz / plateau.total;
            int own[3] = {s->x, s->y, s->z};
            for (int p = 0; p < plateau.total; ++p) {
                ZEMU_cube_triple_index q = plateau.item[p];
                if (q.x == own[0] && q.y == own[1] && q.z == own[2]) continue;
                for (int j = i + 1; j < c->total_saddle && c->saddle[j].type == t; ++j) {
                    if (!within_one_step_of_an_image(c, c->saddle[j].x, c->saddle[j].y, c->saddle[j].z, q.x, q.y, q.z))
                        continue;
                    ASSERT_EQ(ZEMU_delete_saddle(c, j), 0);
                    break;
                }
            }
            ZEMU_free_same_energy_grid_list(&plateau);
            ++i;
        }
    }
    ZEMU_refresh_saddle_type_index(c);
}

}  // namespace

TEST(SaddleCleanUp, CleanUpMatchesDeletingOneAtATime) {
    const std::vector<std::vector<const char*>> groups = {
        kNoStructure, {"x,y,z", "-x,y,z"}, k222, kMmm, {"x,y,z", "-x+1/2,-y,z+1/2", "-x,y,-z"}};
    int deletions_seen = 0;
    for (int seed = 0; seed < 120; ++seed) {
        const std::vector<const char*>& ops = groups[(size_t)seed % groups.size()];
        const int n = 9 + seed % 3;
        srand((unsigned)seed + 1);
        Grid real(n), literal(n);
        // Flat boxes of up to 4 x 4 x 2 points on a landscape of distinct energies.
        for (int box = 0; box < 8; ++box) {
            int x0 = rand() % n, y0 = rand() % n, z0 = rand() % n;
            int dx = 1 + rand() % 4, dy = 1 + rand() % 4, dz = 1 + rand() % 2;
            double e = -1.0 - box;
            for (int i = 0; i < dx; ++i)
                for (int j = 0; j < dy; ++j)
                    for (int k = 0; k < dz; ++k)
                        real.cube.energy[(x0 + i) % n][(y0 + j) % n][(z0 + k) % n] =
                            literal.cube.energy[(x0 + i) % n][(y0 + j) % n][(z0 + k) % n] = e;
        }
        Structure s_real(real, ops), s_literal(literal, ops);
        // Orbits with some images missing, listed in scrambled order, energies with ties.
        std::vector<std::array<int, 3>> points;
        std::vector<double> energies;
        for (int orbit = 0; orbit < 14; ++orbit) {
            ZEMU_symcopies copies;
            copies.total = 0;
            int x = rand() % n, y = rand() % n, z = rand() % n;
            if (!ops.empty()) ZEMU_fastgen_sym_copies(&s_real.cif, &real.cube, &copies, x, y, z);
            double e = 0.1 * (rand() % 5);
            if (copies.total == 0) {
                points.push_back({x, y, z});
                energies.push_back(e);
            }
            for (int c = 0; c < copies.total; ++c) {
                if (rand() % 5 == 0) continue;
                points.push_back({copies.copy[c].x, copies.copy[c].y, copies.copy[c].z});
                energies.push_back(e);
            }
        }
        for (size_t k = points.size(); k > 1; --k) {
            size_t r = (size_t)rand() % k;
            std::swap(points[k - 1], points[r]);
            std::swap(energies[k - 1], energies[r]);
        }
        for (size_t k = 0; k < points.size(); ++k) {
            real.saddle(points[k][0], points[k][1], points[k][2], energies[k]);
            literal.minimum(points[k][0], points[k][1], points[k][2], energies[k]);
        }
        ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&real.cube, &s_real.cif), 0);

        // The minima grouping performs the same first steps; its result becomes the literal saddle list.
        ASSERT_EQ(ZEMU_group_minima_by_symmetry(&literal.cube, &s_literal.cif), 0);
        for (int i = 0; i < literal.cube.total_minima; ++i) {
            ZEMU_minima& m = literal.cube.minima[i];
            literal.saddle(m.x, m.y, m.z, m.e);
            literal.cube.saddle[i].type = m.type;
            literal.cube.saddle[i].mul = m.mul;
        }
        literal.cube.total_saddle_type = literal.cube.total_minima_type;
        literal.cube.saddle_type_index = (int*)malloc(sizeof(int) * (size_t)(literal.cube.total_saddle_type + 1));
        ZEMU_refresh_saddle_type_index(&literal.cube);
        int before = literal.cube.total_saddle;
        literal_saddle_cleanup(&literal.cube);
        deletions_seen += before - literal.cube.total_saddle;

        ZEMU_cube& a = real.cube;
        ZEMU_cube& b = literal.cube;
        ASSERT_EQ(a.total_saddle, b.total_saddle) << "seed " << seed;
        ASSERT_EQ(a.total_saddle_type, b.total_saddle_type) << "seed " << seed;
        EXPECT_EQ(a.total_saddle_cap, b.total_saddle_cap) << "seed " << seed;
        for (int i = 0; i < a.total_saddle; ++i) {
            EXPECT_EQ(a.saddle[i].x, b.saddle[i].x) << "seed " << seed << " entry " << i;
            EXPECT_EQ(a.saddle[i].y, b.saddle[i].y) << "seed " << seed << " entry " << i;
            EXPECT_EQ(a.saddle[i].z, b.saddle[i].z) << "seed " << seed << " entry " << i;
            EXPECT_EQ(a.saddle[i].type, b.saddle[i].type) << "seed " << seed << " entry " << i;
            EXPECT_EQ(a.saddle[i].mul, b.saddle[i].mul) << "seed " << seed << " entry " << i;
            EXPECT_DOUBLE_EQ(a.saddle[i].tx, b.saddle[i].tx) << "seed " << seed << " entry " << i;
            EXPECT_DOUBLE_EQ(a.saddle[i].ty, b.saddle[i].ty) << "seed " << seed << " entry " << i;
            EXPECT_DOUBLE_EQ(a.saddle[i].tz, b.saddle[i].tz) << "seed " << seed << " entry " << i;
        }
        for (int t = 1; t <= a.total_saddle_type; ++t)
            EXPECT_EQ(a.saddle_type_index[t], b.saddle_type_index[t]) << "seed " << seed;
    }
    EXPECT_GT(deletions_seen, 100);  // the scenarios do exercise the clean-up
}
