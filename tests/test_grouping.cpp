// Grouping of minima and saddle points into symmetry types, the saddle clean-up
// (against a literal one-deletion-at-a-time version), and deletion of points and types.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "ZEMU-kernel.h"
#include "ZEMU.h"
#include "fixtures.h"

using Ops = std::vector<std::string>;

namespace {

// A cubic n x n x n grid with 1 Angstrom steps and pairwise distinct energies
// (no plateaus unless a test makes one).
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

const Ops kNone = {};
const Ops k222 = {"x,y,z", "-x,-y,z", "-x,y,-z", "x,-y,-z"};
const Ops kMmm = {"x,y,z", "-x,-y,z", "-x,y,-z", "x,-y,-z", "-x,-y,-z", "x,y,-z", "x,-y,z", "-x,y,z"};

// What the listings show of an entry besides its place, type and multiplicity:
// a minimum's first ion, a saddle point's true position.
std::string more(const ZEMU_minima& m) { return m.total_ions ? std::string(" ") + m.ion[0].label : ""; }
std::string more(const ZEMU_saddle& s) {
    char buf[80];
    snprintf(buf, sizeof buf, " (%.15g %.15g %.15g)", s.tx, s.ty, s.tz);
    return buf;
}

// Every entry of a point list as "x y z t<type> m<mul>...", ";" after each, and
// the first-member index of each type after "|".
template <class P>
std::string listing(const P* points, int n, const int* type_index, int types) {
    std::string out;
    for (int i = 0; i < n; ++i)
        out += std::to_string(points[i].x) + " " + std::to_string(points[i].y) + " " + std::to_string(points[i].z) +
               " t" + std::to_string(points[i].type) + " m" + std::to_string(points[i].mul) + more(points[i]) + "; ";
    out += "|";
    for (int t = 1; t <= types; ++t) out += " " + std::to_string(type_index[t]);
    return out;
}
std::string minima(const ZEMU_cube& c) { return listing(c.minima, c.total_minima, c.minima_type_index, c.total_minima_type); }
std::string saddles(const ZEMU_cube& c) { return listing(c.saddle, c.total_saddle, c.saddle_type_index, c.total_saddle_type); }

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
            zemu_kernel::ScopedPlateau plateau;
            ZEMU_saddle* s = &c->saddle[i];
            ASSERT_NE(ZEMU_find_same_energy_neighbours(c, plateau.get(), s->x, s->y, s->z), 1);
            const ZEMU_same_energy_grid_list& p = *plateau.get();
            if (p.total > 27) {
                ASSERT_EQ(ZEMU_delete_saddle_type(c, t), 0);
                --t;
                break;
            }
            double sum[3] = {0, 0, 0};
            for (int q = 0; q < p.total; ++q) sum[0] += p.item[q].x, sum[1] += p.item[q].y, sum[2] += p.item[q].z;
            s->tx = sum[0] / p.total, s->ty = sum[1] / p.total, s->tz = sum[2] / p.total;
            const int own[3] = {s->x, s->y, s->z};  // deletions below may move the list
            for (int q = 0; q < p.total; ++q) {
                const ZEMU_cube_triple_index& r = p.item[q];
                if (r.x == own[0] && r.y == own[1] && r.z == own[2]) continue;
                for (int j = i + 1; j < c->total_saddle && c->saddle[j].type == t; ++j) {
                    if (!within_one_step_of_an_image(c, c->saddle[j].x, c->saddle[j].y, c->saddle[j].z, r.x, r.y, r.z))
                        continue;
                    ASSERT_EQ(ZEMU_delete_saddle(c, j), 0);
                    break;
                }
            }
            ++i;
        }
    }
    ZEMU_refresh_saddle_type_index(c);
}

}  // namespace

TEST(TypeGrouping, TypesAreNumberedByEnergyAndCarryTheirMultiplicity) {
    // points: x y z e
    struct Case { const char* what; Ops ops; std::vector<std::array<double, 4>> points; const char* expected; };
    const Case cases[] = {
        {"the lower-energy type first", kNone, {{1, 1, 1, -2.0}, {5, 5, 5, -3.0}}, "5 5 5 t1 m0; 1 1 1 t2 m0; | 0 1"},
        {"without structure every point, even one listed twice, is a type of multiplicity 0", kNone,
         {{1, 1, 1, 0.5}, {1, 1, 1, 0.7}, {2, 3, 4, 0.1}}, "2 3 4 t1 m0; 1 1 1 t2 m0; 1 1 1 t3 m0; | 0 1 2"},
        {"a type with unfound images keeps its full multiplicity", kMmm, {{1, 2, 3, 0.2}, {9, 8, 7, 0.2}, {1, 8, 3, 0.2}},
         "1 2 3 t1 m8; 1 8 3 t1 m8; 9 8 7 t1 m8; | 0"},
        {"types of equal energy leave the heap as 1, 3, 2", kNone, {{1, 1, 1, 0.5}, {3, 3, 3, 0.5}, {5, 5, 5, 0.5}},
         "1 1 1 t1 m0; 5 5 5 t2 m0; 3 3 3 t3 m0; | 0 1 2"},
        {"members with equal keys leave the heap as positions 0, 3, 2, 1", k222,
         {{1, 2, 3, 0.4}, {9, 8, 3, 0.4}, {9, 2, 7, 0.4}, {1, 8, 7, 0.4}},
         "1 2 3 t1 m4; 1 8 7 t1 m4; 9 2 7 t1 m4; 9 8 3 t1 m4; | 0"},
        // The orbit of (1, 2, 3) out of order, another orbit interleaved; the origin is its own image.
        {"a general position of an order-8 group forms one type of 8", kMmm,
         {{9, 8, 7, 0.2}, {1, 2, 3, 0.2}, {9, 2, 3, 0.2}, {1, 8, 7, 0.2}, {0, 0, 0, 0.9}, {1, 2, 7, 0.2},
          {9, 8, 3, 0.2}, {1, 8, 3, 0.2}, {9, 2, 7, 0.2}},
         "9 8 7 t1 m8; 9 2 7 t1 m8; 1 8 3 t1 m8; 9 8 3 t1 m8; 1 2 7 t1 m8; 1 2 3 t1 m8; 1 8 7 t1 m8; 9 2 3 t1 m8; "
         "0 0 0 t2 m1; | 0 8"},
        {"empty lists", kNone, {}, "|"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Grid g(10);
        Structure s(g, c.ops);
        for (auto& p : c.points) g.minimum((int)p[0], (int)p[1], (int)p[2], p[3]);
        EXPECT_EQ(fx::stderr_of([&] { ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0); }), "");
        EXPECT_EQ(minima(g.cube), c.expected);
    }
}

TEST(TypeDeletion, IonListsTravelWithTheirMinimaAndCapacityHalves) {
    Grid g(10);
    Structure s(g, k222);
    const int orbits[8][3] = {{1, 2, 3}, {9, 8, 3}, {9, 2, 7}, {1, 8, 7}, {2, 3, 4}, {8, 7, 4}, {8, 3, 6}, {2, 7, 6}};
    for (int k = 0; k < 8; ++k) g.minimum(orbits[k][0], orbits[k][1], orbits[k][2], k < 4 ? 0.3 : 0.2);
    g.minimum(5, 5, 5, 0.1);
    ASSERT_EQ(ZEMU_add_cube_minima_ion(&g.cube.minima[1], fx::txt("Na2"), 0.5), 0);
    ASSERT_EQ(ZEMU_add_cube_minima_ion(&g.cube.minima[8], fx::txt("Li1"), 0.25), 0);
    ASSERT_EQ(ZEMU_group_minima_by_symmetry(&g.cube, &s.cif), 0);
    ASSERT_EQ(minima(g.cube), "5 5 5 t1 m1 Li1; 2 7 6 t2 m4; 2 3 4 t2 m4; 8 3 6 t2 m4; 8 7 4 t2 m4; "
                              "1 8 7 t3 m4; 1 2 3 t3 m4; 9 2 7 t3 m4; 9 8 3 t3 m4 Na2; | 0 1 5");
    ASSERT_EQ(g.cube.total_minima_cap, 16);

    // A single member takes its type along (and the capacity halves once the list
    // fills no more than half of it); a member of a larger type leaves its type's index alone.
    ASSERT_EQ(ZEMU_delete_minima(&g.cube, 0), 0);
    EXPECT_EQ(g.cube.total_minima_cap, 8);
    ASSERT_EQ(ZEMU_delete_minima(&g.cube, 2), 0);
    EXPECT_EQ(minima(g.cube), "2 7 6 t1 m4; 2 3 4 t1 m4; 8 7 4 t1 m4; 1 8 7 t2 m4; 1 2 3 t2 m4; 9 2 7 t2 m4; "
                              "9 8 3 t2 m4 Na2; | 0 3");
    // A whole type: later types move down.
    ASSERT_EQ(ZEMU_delete_minima_type(&g.cube, 1), 0);
    EXPECT_EQ(minima(g.cube), "1 8 7 t1 m4; 1 2 3 t1 m4; 9 2 7 t1 m4; 9 8 3 t1 m4 Na2; | 0");
    EXPECT_EQ(g.cube.total_minima_cap, 4);
}

TEST(SaddleCleanUp, CleanUpMatchesDeletingOneAtATime) {
    const std::vector<Ops> groups = {kNone, {"x,y,z", "-x,y,z"}, k222, kMmm, {"x,y,z", "-x+1/2,-y,z+1/2", "-x,y,-z"}};
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
        // Orbits with some images missing, listed in scrambled order, energies (tenths) with ties.
        std::vector<std::array<int, 4>> points;
        for (int orbit = 0; orbit < 14; ++orbit) {
            ZEMU_symcopies copies;
            copies.total = 0;
            int x = rand() % n, y = rand() % n, z = rand() % n, e = rand() % 5;
            if (!ops.empty()) ZEMU_fastgen_sym_copies(&s_real.cif, &real.cube, &copies, x, y, z);
            if (copies.total == 0) points.push_back({x, y, z, e});
            for (int c = 0; c < copies.total; ++c)
                if (rand() % 5 != 0) points.push_back({copies.copy[c].x, copies.copy[c].y, copies.copy[c].z, e});
        }
        for (size_t k = points.size(); k > 1; --k) std::swap(points[k - 1], points[(size_t)rand() % k]);
        for (const auto& p : points) {
            real.saddle(p[0], p[1], p[2], 0.1 * p[3]);
            literal.minimum(p[0], p[1], p[2], 0.1 * p[3]);
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

        EXPECT_EQ(saddles(real.cube), saddles(b));
        EXPECT_EQ(real.cube.total_saddle_cap, b.total_saddle_cap);
    }
    EXPECT_GT(deletions_seen, 100);  // the scenarios do exercise the clean-up
}
