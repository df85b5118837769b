// Grid percolation by cluster labelling: percolation thresholds and activation spans of whole grids
// against a flood written independently of the union-find.
#include <algorithm>
#include <random>

#include "ZEMU-hk.h"
#include "fixtures.h"

using fx::Field;

namespace {

// Rank of a few integer vectors by fraction-free elimination.
int rank_of(std::vector<std::vector<long long>> v) {
    int rank = 0;
    for (int col = 0; col < 3 && rank < (int)v.size(); col++) {
        size_t pivot = rank;
        while (pivot < v.size() && v[pivot][col] == 0) pivot++;
        if (pivot == v.size()) continue;
        std::swap(v[rank], v[pivot]);
        for (size_t r = rank + 1; r < v.size(); r++) {
            long long f = v[r][col], p = v[rank][col];
            for (int c = 0; c < 3; c++) v[r][c] = v[r][c] * p - v[rank][c] * f;
        }
        rank++;
    }
    return rank;
}

// Dimension and lowest energy of every cluster of the points with energy at
// most e: breadth-first flood with lifted positions, closing bonds give the
// lattice vectors. Written independently of the union-find.
std::vector<std::pair<int, double>> flood_clusters(ZEMU_cube* cube, double e) {
    int na = cube->a_grid, nb = cube->b_grid, nc = cube->c_grid, n = na * nb * nc;
    auto energy = [&](int u) { return cube->energy[u / (nb * nc)][(u / nc) % nb][u % nc]; };
    std::vector<std::pair<int, double>> clusters;
    std::vector<int> seen(n, 0);
    std::vector<std::vector<long long>> pos(n, std::vector<long long>(3, 0));
    for (int s = 0; s < n; s++) {
        if (seen[s] || !(energy(s) <= e)) continue;
        std::vector<std::vector<long long>> wraps;
        std::vector<int> queue = {s};
        seen[s] = 1;
        double lowest = energy(s);
        for (size_t h = 0; h < queue.size(); h++) {
            int u = queue[h], ui = u / (nb * nc), uj = (u / nc) % nb, uk = u % nc;
            lowest = std::min(lowest, energy(u));
            for (int d = 0; d < 27; d++) {
                int da = d / 9 - 1, db = (d / 3) % 3 - 1, dc = d % 3 - 1;
                int v = ((((ui + da) % na + na) % na) * nb + ((uj + db) % nb + nb) % nb) * nc + ((uk + dc) % nc + nc) % nc;
                if (d == 13 || !(energy(v) <= e)) continue;
                std::vector<long long> at = {pos[u][0] + da, pos[u][1] + db, pos[u][2] + dc};
                if (!seen[v]) {
                    seen[v] = 1;
                    pos[v] = at;
                    queue.push_back(v);
                } else if (at != pos[v]) {
                    wraps.push_back({(at[0] - pos[v][0]) / na, (at[1] - pos[v][1]) / nb, (at[2] - pos[v][2]) / nc});
                }
            }
        }
        clusters.push_back({rank_of(wraps), lowest});
    }
    return clusters;
}

// By brute force over every grid level, for dimension d = 1..3: the lowest
// level with a cluster of dimension >= d (threshold) and the lowest (level -
// cluster minimum) over such clusters (span, identity scaling).
void brute_force(ZEMU_cube* cube, double threshold[3], double span[3]) {
    std::vector<double> levels;
    for (int n = 0; n < cube->a_grid * cube->b_grid * cube->c_grid; n++)
        levels.push_back(cube->energy[n / (cube->b_grid * cube->c_grid)][(n / cube->c_grid) % cube->b_grid][n % cube->c_grid]);
    std::sort(levels.begin(), levels.end());
    levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
    for (int d = 0; d < 3; d++) threshold[d] = -1.0, span[d] = HUGE_VAL;
    for (double e : levels)
        for (const auto& c : flood_clusters(cube, e))
            for (int d = 0; d < c.first; d++) {
                if (threshold[d] < 0) threshold[d] = e;
                span[d] = std::min(span[d], e - c.second);
            }
}

}  // namespace

TEST(HkPercolation, HandMadeGridsPercolateAtTheirHighestNeededPoint) {
    const double kHigh = 10.0;
    struct Case { int na, nb, nc; std::function<double(int, int, int)> f; double e[3]; } cases[] = {
        {6, 6, 6, [=](int i, int j, int k) { return (j == 2 && k == 3) ? 0.1 * (i + 1) : kHigh; }, {0.6, kHigh, kHigh}},
        {5, 6, 4, [=](int, int j, int k) { return k != 1 ? kHigh : j == 4 ? 0.2 : 0.5; }, {0.2, 0.5, kHigh}},
        {6, 6, 6, [](int, int j, int k) { return (j == 2 && k == 3) ? -2.0 : -1.0; }, {-2.0, -1.0, -1.0}},
        {4, 4, 4, [](int i, int j, int) { return (i == 1 && j == 1) ? NAN : 0.0; }, {0.0, 0.0, 0.0}},  // NaN sorts last
    };
    for (const Case& cs : cases) {
        Field g(cs.na, cs.nb, cs.nc, cs.f);
        double e[3];
        ASSERT_EQ(ZEMU_hk_percolation_energy(&g.cube, &e[0], &e[1], &e[2]), 0);
        for (int d = 0; d < 3; d++) EXPECT_DOUBLE_EQ(e[d], cs.e[d]) << cs.na << " " << cs.e[0] << " " << d + 1 << "D";
    }
    ZEMU_cube empty;
    ZEMU_init_cube(&empty);
    double e[3];
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_hk_percolation_energy(&empty, &e[0], &e[1], &e[2]), 1); }),
              "Error: Invalid input to ZEMU_alloc_hk_grid()\n");
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_hk_percolation_span(&empty, e, nullptr), 1); }),
              "Error: Invalid input to ZEMU_hk_percolation_span()\n");
}

TEST(HkPercolation, ThresholdsAndSpansMatchABruteForceFloodOnRandomGrids) {
    // sizes down to 1 and 2 points per axis; few levels give many ties, which must
    // not make the sweep depend on the order within a level
    const int sizes[][3] = {{1, 3, 4}, {2, 2, 5}, {3, 4, 5}, {4, 4, 4}, {5, 3, 2}, {6, 5, 4}, {2, 7, 3}, {8, 7, 6}};
    std::mt19937 rng(20240611);
    for (int levels : {3, 6, 1000}) {
        for (const auto& s : sizes) {
            std::uniform_int_distribution<int> pick(0, levels - 1);
            Field g(s[0], s[1], s[2], [&](int, int, int) { return 0.01 * pick(rng); });
            double e[3], span[3], top[3], want_e[3], want_span[3];
            ASSERT_EQ(ZEMU_hk_percolation_energy(&g.cube, &e[0], &e[1], &e[2]), 0);
            ASSERT_EQ(ZEMU_hk_percolation_span(&g.cube, span, top), 0);
            brute_force(&g.cube, want_e, want_span);
            SCOPED_TRACE(testing::Message() << s[0] << "x" << s[1] << "x" << s[2] << " levels " << levels);
            for (int d = 0; d < 3; d++) {
                EXPECT_DOUBLE_EQ(e[d], want_e[d]) << d + 1 << "D";
                EXPECT_NEAR(span[d], want_span[d], 1e-12) << d + 1 << "D";
                EXPECT_GE(top[d], span[d]);
            }
        }
    }
}
