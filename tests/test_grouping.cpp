// Grouping of minima and saddle points into symmetry types, the saddle clean-up
// rules, and deletion of points and types.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU.h"
#include "fixtures.h"

using Ops = std::vector<std::string>;
using Ints = std::vector<int>;

namespace {

// A cubic n x n x n grid with 1 Angstrom steps and pairwise distinct energies
// (no two neighbours equal, so no plateaus unless a test makes one).
struct Grid : fx::Grid {
    explicit Grid(int n) : fx::Grid(n, n, n, 0.0, 1.0) {
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                for (int k = 0; k < n; ++k) cube.energy[i][j][k] = 1.0 + 0.001 * ((i * n + j) * n + k);
    }
    void minimum(int x, int y, int z, double e) { ASSERT_EQ(ZEMU_add_cube_minima_point(&cube, x, y, z, x, y, z, e, 0), 0); }
    void saddle(int x, int y, int z, double e) { ASSERT_EQ(ZEMU_add_cube_saddle_point(&cube, x, y, z, e, 0), 0); }
    // Sets the energies of a box (wrapping at the cell edges) to e.
    void flat(int x0, int y0, int z0, int dx, int dy, int dz, double e) {
        const int n = cube.a_grid;
        for (int i = 0; i < dx; ++i)
            for (int j = 0; j < dy; ++j)
                for (int k = 0; k < dz; ++k) cube.energy[(x0 + i) % n][(y0 + j) % n][(z0 + k) % n] = e;
    }
};

// A structure whose operations are turned into grid operations; without
// operations it stands for "no structure" (empty grid operation list).
struct Structure : fx::Cif {
    Structure(Grid& grid, const Ops& ops) {
        if (ops.empty()) return;
        set_ops(ops);
        ZEMU_prepare_fastgen_symop(&cif, &grid.cube);
    }
};

const Ops kNoStructure = {};
const Ops k222 = {"x,y,z", "-x,-y,z", "-x,y,-z", "x,-y,-z"};  // order 4
const Ops kMmm = {"x,y,z", "-x,-y,z", "-x,y,-z", "x,-y,-z", "-x,-y,-z", "x,y,-z", "x,-y,z", "-x,y,z"};  // order 8

template <class P>
Ints field(const P* points, int n, int P::*f) {
    Ints v;
    for (int i = 0; i < n; ++i) v.push_back(points[i].*f);
    return v;
}
Ints minima_types(const ZEMU_cube& c) { return field(c.minima, c.total_minima, &ZEMU_minima::type); }
Ints saddle_types(const ZEMU_cube& c) { return field(c.saddle, c.total_saddle, &ZEMU_saddle::type); }
Ints type_index(const int* index, int types) { return Ints(index + 1, index + 1 + types); }

// Positions of the minima as "x y z, x y z, ...".
std::string minima_at(const ZEMU_cube& c) {
    std::string out;
    for (int i = 0; i < c.total_minima; ++i)
        out += (i ? ", " : "") + std::to_string(c.minima[i].x) + " " + std::to_string(c.minima[i].y) + " " +
               std::to_string(c.minima[i].z);
    return out;
}

// Every saddle entry as "x y z t<type> m<mul> (tx ty tz)".
std::string saddles(const ZEMU_cube& c) {
    std::string out;
    char buf[96];
    for (int i = 0; i < c.total_saddle; ++i) {
        const ZEMU_saddle& s = c.saddle[i];
        snprintf(buf, sizeof buf, "%s%d %d %d t%d m%d (%.15g %.15g %.15g)", i ? " | " : "", s.x, s.y, s.z, s.type,
                 s.mul, s.tx, s.ty, s.tz);
        out += buf;
    }
    return out;
}

}  // namespace

// ---------------------------------------------------------------------------
// Grouping
// ---------------------------------------------------------------------------

TEST(TypeGrouping, TypesAreNumberedByEnergyAndCarryTheirMultiplicity) {
    struct Case {
        const char* what;
        Ops ops;
        std::vector<std::array<double, 4>> points;  // x y z e
        const char* at;                             // positions after grouping ("": not asked)
        Ints types, muls, index;
    };
    const Case cases[] = {
        {"the lower-energy type is numbered first", kNoStructure, {{1, 1, 1, -2.0}, {5, 5, 5, -3.0}}, "5 5 5, 1 1 1",
         {1, 2}, {0, 0}, {0, 1}},
        {"without structure every point, even one listed twice, is its own type of multiplicity 0", kNoStructure,
         {{1, 1, 1, 0.5}, {1, 1, 1, 0.7}, {2, 3, 4, 0.1}}, "2 3 4, 1 1 1, 1 1 1", {1, 2, 3}, {0, 0, 0}, {0, 1, 2}},
        {"a type with unfound images keeps its full multiplicity", kMmm, {{1, 2, 3, 0.2}, {9, 8, 7, 0.2}, {1, 8, 3, 0.2}},
         "", {1, 1, 1}, {8, 8, 8}, {0}},
        {"types of equal energy leave the heap as 1, 3, 2", kNoStructure,
         {{1, 1, 1, 0.5}, {3, 3, 3, 0.5}, {5, 5, 5, 0.5}}, "1 1 1, 5 5 5, 3 3 3", {1, 2, 3}, {0, 0, 0}, {0, 1, 2}},
        {"members with equal sort keys leave the heap as positions 0, 3, 2, 1", k222,
         {{1, 2, 3, 0.4}, {9, 8, 3, 0.4}, {9, 2, 7, 0.4}, {1, 8, 7, 0.4}}, "1 2 3, 1 8 7, 9 2 7, 9 8 3", {1, 1, 1, 1},
         {4, 4, 4, 4}, {0}},
        // The orbit of (1, 2, 3) out of order, another orbit interleaved; the origin is its own image.
        {"a general position in an order-8 group forms one type of 8", kMmm,
         {{9, 8, 7, 0.2}, {1, 2, 3, 0.2}, {9, 2, 3, 0.2}, {1, 8, 7, 0.2}, {0, 0, 0, 0.9}, {1, 2, 7, 0.2},
          {9, 8, 3, 0.2}, {1, 8, 3, 0.2}, {9, 2, 7, 0.2}},
         "", {1, 1, 1, 1, 1, 1, 1, 1, 2}, {8, 8, 8, 8, 8, 8, 8, 8, 1}, {0, 8}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Grid g(10);
        Structure s(g, c.ops);
        for (auto& p : c.points) g.minimum((int)p[0], (int)p[1], (int)p[2], p[3]);
        ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
        if (*c.at) {
            EXPECT_EQ(minima_at(g.cube), c.at);
        }
        EXPECT_EQ(minima_types(g.cube), c.types);
        EXPECT_EQ(field(g.cube.minima, g.cube.total_minima, &ZEMU_minima::mul), c.muls);
        ASSERT_EQ(g.cube.total_minima_type, (int)c.index.size());
        EXPECT_EQ(type_index(g.cube.minima_type_index, g.cube.total_minima_type), c.index);
    }
}

TEST(TypeGrouping, EmptyListsWithoutStructureSucceedSilently) {
    Grid g(4);
    Structure s(g, kNoStructure);
    EXPECT_EQ(fx::stderr_of([&] {
                  EXPECT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
                  EXPECT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
              }),
              "");
    EXPECT_EQ(g.cube.total_minima_type, 0);
    EXPECT_EQ(g.cube.total_saddle_type, 0);
    EXPECT_NE(g.cube.minima_type_index, nullptr);
    EXPECT_NE(g.cube.saddle_type_index, nullptr);
}

TEST(TypeGrouping, IonListsTravelWithTheirMinimaAndRefreshFindsFirstMembers) {
    Grid g(10);
    Structure none(g, kNoStructure);
    g.minimum(1, 1, 1, 0.9);
    g.minimum(2, 2, 2, 0.1);
    ASSERT_EQ(ZEMU_add_cube_minima_ion(&g.cube.minima[0], fx::txt("Li1"), 0.25), 0);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &none.cif), 0);
    EXPECT_EQ(g.cube.minima[0].total_ions, 0);
    ASSERT_EQ(g.cube.minima[1].total_ions, 1);
    EXPECT_STREQ(g.cube.minima[1].ion[0].label, "Li1");
    EXPECT_DOUBLE_EQ(g.cube.minima[1].ion[0].occ, 0.25);

    Grid h(10);
    Structure s(h, k222);
    h.minimum(1, 2, 3, 0.1);
    h.minimum(9, 8, 3, 0.1);
    h.minimum(4, 4, 4, 0.3);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&h.cube, &s.cif), 0);
    h.cube.minima_type_index[1] = h.cube.minima_type_index[2] = 77;
    ZEMU_refresh_minima_type_index(&h.cube);
    EXPECT_EQ(type_index(h.cube.minima_type_index, 2), Ints({0, 2}));
}

// ---------------------------------------------------------------------------
// Saddle clean-up
// ---------------------------------------------------------------------------

TEST(SaddleCleanUp, NeighbouringTypesAndPlateaus) {
    struct Box {
        int x0, y0, z0, dx, dy, dz;
        double e;
    };
    struct Case {
        const char* what;
        int n;
        Ops ops;
        std::vector<Box> flats;
        std::vector<std::array<double, 4>> points;  // x y z e
        const char* expected;
        Ints index;
    };
    const Case cases[] = {
        {"of two diagonal neighbour types only the lower survives; two steps away stays", 10, kNoStructure, {},
         {{2, 2, 2, 1.0}, {3, 3, 3, 0.5}, {6, 6, 6, 0.7}}, "3 3 3 t1 m0 (3 3 3) | 6 6 6 t2 m0 (6 6 6)", {0, 1}},
        {"the neighbourhood wraps across the cell boundary", 10, kNoStructure, {},
         {{0, 5, 9, 0.4}, {9, 4, 0, 0.3}, {2, 5, 5, 0.6}}, "9 4 0 t1 m0 (9 4 0) | 2 5 5 t2 m0 (2 5 5)", {0, 1}},
        {"a type on a plateau of 28 points is removed", 12, kNoStructure, {{2, 2, 6, 7, 4, 1, 3.0}},
         {{4, 3, 6, 0.2}, {10, 10, 1, 0.5}}, "10 10 1 t1 m0 (10 10 1)", {0}},
        {"a plateau of 27 points gives the unwrapped mean as true position", 12, kNoStructure,
         {{4, 4, 11, 3, 3, 3, 3.0}}, {{5, 5, 0, 0.2}}, "5 5 0 t1 m0 (5 5 0)", {0}},
        // On a 9-point axis -x maps 4 to 5: the two images are neighbours on one plateau.
        {"a plateau duplicate of the same type is thinned out", 9, {"x,y,z", "-x,y,z"}, {{4, 2, 2, 2, 1, 1, 0.05}},
         {{4, 2, 2, 0.05}, {5, 2, 2, 0.05}, {1, 7, 7, 0.3}}, "4 2 2 t1 m2 (4.5 2 2) | 1 7 7 t2 m2 (1 7 7)", {0, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Grid g(c.n);
        Structure s(g, c.ops);
        for (const Box& b : c.flats) g.flat(b.x0, b.y0, b.z0, b.dx, b.dy, b.dz, b.e);
        for (auto& p : c.points) g.saddle((int)p[0], (int)p[1], (int)p[2], p[3]);
        ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
        EXPECT_EQ(saddles(g.cube), c.expected);
        ASSERT_EQ(g.cube.total_saddle_type, (int)c.index.size());
        EXPECT_EQ(type_index(g.cube.saddle_type_index, g.cube.total_saddle_type), c.index);
    }
}

// ---------------------------------------------------------------------------
// Deletion
// ---------------------------------------------------------------------------

TEST(TypeDeletion, SingleMemberTakesItsTypeAlongAndLaterTypesMoveDown) {
    Grid g(10);
    Structure s(g, kNoStructure);
    for (int k = 1; k <= 3; ++k) g.minimum(k, k, k, 0.1 * k);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(ZEMU_delete_minima(&g.cube, 1), 0);
    EXPECT_EQ(minima_at(g.cube), "1 1 1, 3 3 3");
    EXPECT_EQ(minima_types(g.cube), Ints({1, 2}));
    ASSERT_EQ(g.cube.total_minima_type, 2);
    EXPECT_EQ(g.cube.minima_type_index[2], 1);

    for (int k = 0; k < 3; ++k) g.saddle(1 + 3 * k, 1 + 3 * k, 1 + 3 * k, 0.1 * (k + 1));
    ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(ZEMU_delete_saddle(&g.cube, 0), 0);
    EXPECT_EQ(saddle_types(g.cube), Ints({1, 2}));
    EXPECT_EQ(g.cube.saddle[0].x, 4);
    EXPECT_EQ(type_index(g.cube.saddle_type_index, 2), Ints({0, 1}));
}

TEST(TypeDeletion, MemberOfLargerTypeShiftsLaterEntriesWithTheirIons) {
    Grid g(10);
    Structure s(g, k222);
    const int orbits[8][3] = {{1, 2, 3}, {9, 8, 3}, {9, 2, 7}, {1, 8, 7}, {2, 3, 4}, {8, 7, 4}, {8, 3, 6}, {2, 7, 6}};
    for (int k = 0; k < 8; ++k) g.minimum(orbits[k][0], orbits[k][1], orbits[k][2], k < 4 ? 0.1 : 0.2);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_minima_type, 2);
    ASSERT_EQ(ZEMU_add_cube_minima_ion(&g.cube.minima[5], fx::txt("Na2"), 0.5), 0);

    ASSERT_EQ(ZEMU_delete_minima(&g.cube, 0), 0);
    EXPECT_EQ(g.cube.total_minima_type, 2);
    EXPECT_EQ(minima_types(g.cube), Ints({1, 1, 1, 2, 2, 2, 2}));
    EXPECT_EQ(type_index(g.cube.minima_type_index, 2), Ints({0, 3}));
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
    ASSERT_EQ(ZEMU_add_cube_minima_ion(&g.cube.minima[5], fx::txt("Li1"), 1.0), 0);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(g.cube.total_minima_cap, 8);

    ASSERT_EQ(ZEMU_delete_minima_type(&g.cube, 1), 0);
    EXPECT_EQ(minima_at(g.cube), "0 0 0, 5 5 5");
    EXPECT_EQ(minima_types(g.cube), Ints({1, 2}));
    ASSERT_EQ(g.cube.total_minima_type, 2);
    EXPECT_EQ(type_index(g.cube.minima_type_index, 2), Ints({0, 1}));
    EXPECT_EQ(g.cube.total_minima_cap, 4);  // halved once
    ASSERT_EQ(g.cube.minima[1].total_ions, 1);
    EXPECT_STREQ(g.cube.minima[1].ion[0].label, "Li1");
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
        const char* name;
    };
    const Case cases[] = {{ZEMU_delete_minima, "ZEMU_delete_minima"},
                          {ZEMU_delete_saddle, "ZEMU_delete_saddle"},
                          {ZEMU_delete_minima_type, "ZEMU_delete_minima_type"},
                          {ZEMU_delete_saddle_type, "ZEMU_delete_saddle_type"}};
    for (const Case& c : cases) {
        // Points count from 0, types from 1: one below and one past the end of each.
        const bool types = strstr(c.name, "_type") != nullptr;
        for (int arg : {types ? 0 : -1, types ? 2 : 1})
            EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(c.op(&g.cube, arg), 1); }),
                      std::string("Error: Invalid input to ") + c.name + "()\n");
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
    auto near = [](int a, int b, int n) { return ((a - b) % n + n + 1) % n <= 2; };  // a - b is -1, 0 or 1 mod n
    return near(x, px, c->a_grid) && near(y, py, c->b_grid) && near(z, pz, c->c_grid);
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
            for (int p = 0; p < plateau.total; ++p)
                sx += plateau.item[p].x, sy += plateau.item[p].y, sz += plateau.item[p].z;
            s->tx = sx / plateau.total, s->ty = sy / plateau.total, s->tz = sz / plateau.total;
            const int own[3] = {s->x, s->y, s->z};  // deletions below may move the list
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
    const std::vector<Ops> groups = {kNoStructure, {"x,y,z", "-x,y,z"}, k222, kMmm,
                                     {"x,y,z", "-x+1/2,-y,z+1/2", "-x,y,-z"}};
    int deletions_seen = 0;
    for (int seed = 0; seed < 120; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const Ops& ops = groups[(size_t)seed % groups.size()];
        const int n = 9 + seed % 3;
        srand((unsigned)seed + 1);
        Grid real(n), literal(n);
        // Flat boxes of up to 4 x 4 x 2 points on a landscape of distinct energies.
        for (int box = 0; box < 8; ++box) {
            int x0 = rand() % n, y0 = rand() % n, z0 = rand() % n;
            int dx = 1 + rand() % 4, dy = 1 + rand() % 4, dz = 1 + rand() % 2;
            real.flat(x0, y0, z0, dx, dy, dz, -1.0 - box);
            literal.flat(x0, y0, z0, dx, dy, dz, -1.0 - box);
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
        ZEMU_cube& b = literal.cube;
        for (int i = 0; i < b.total_minima; ++i) {
            literal.saddle(b.minima[i].x, b.minima[i].y, b.minima[i].z, b.minima[i].e);
            b.saddle[i].type = b.minima[i].type;
            b.saddle[i].mul = b.minima[i].mul;
        }
        b.total_saddle_type = b.total_minima_type;
        b.saddle_type_index = (int*)malloc(sizeof(int) * (size_t)(b.total_saddle_type + 1));
        ZEMU_refresh_saddle_type_index(&b);
        const int before = b.total_saddle;
        literal_saddle_cleanup(&b);
        deletions_seen += before - b.total_saddle;

        const ZEMU_cube& a = real.cube;
        EXPECT_EQ(saddles(a), saddles(b));
        EXPECT_EQ(a.total_saddle_cap, b.total_saddle_cap);
        ASSERT_EQ(a.total_saddle_type, b.total_saddle_type);
        EXPECT_EQ(type_index(a.saddle_type_index, a.total_saddle_type),
                  type_index(b.saddle_type_index, b.total_saddle_type));
    }
    EXPECT_GT(deletions_seen, 100);  // the scenarios do exercise the clean-up
}
