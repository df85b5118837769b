// Grid percolation by cluster labelling: union-find with lattice offsets,
// wrapping dimensions and the percolation thresholds of whole grids.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ZEMU-hk.h"

namespace {

// An in-memory grid of na x nb x nc points, every energy from f(i, j, k).
struct Grid {
    ZEMU_cube cube;
    Grid(int na, int nb, int nc, const std::function<double(int, int, int)>& f)
    {
        ZEMU_init_cube(&cube);
        cube.a_grid = na;
        cube.b_grid = nb;
        cube.c_grid = nc;
        EXPECT_EQ(ZEMU_alloc_cube_energy(&cube), 0);
        for (int i = 0; i < na; i++)
            for (int j = 0; j < nb; j++)
                for (int k = 0; k < nc; k++) cube.energy[i][j][k] = f(i, j, k);
    }
    ~Grid() { ZEMU_free_cube(&cube); }
    int flat(int i, int j, int k) const { return (i * cube.b_grid + j) * cube.c_grid + k; }
};

struct Thresholds {
    double e1d, e2d, e3d;
};

Thresholds percolation(Grid& g)
{
    Thresholds t = {-1.0, -1.0, -1.0};
    EXPECT_EQ(ZEMU_hk_percolation_energy(&g.cube, &t.e1d, &t.e2d, &t.e3d), 0);
    return t;
}

// Rank of a few integer vectors by fraction-free elimination.
int rank_of(std::vector<std::vector<long long>> v)
{
    int rank = 0;
    for (int col = 0; col < 3 && rank < static_cast<int>(v.size()); col++) {
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

// Highest percolation dimension among the clusters of the points with energy at
// most e: breadth-first flood with lifted positions, closing bonds give the
// lattice vectors. Written independently of the union-find.
int flood_dimension(ZEMU_cube* cube, double e)
{
    int na = cube->a_grid, nb = cube->b_grid, nc = cube->c_grid;
    int n = na * nb * nc;
    std::vector<int> seen(n, 0);
    std::vector<std::vector<long long>> pos(n, std::vector<long long>(3, 0));
    int best = 0;
    for (int s = 0; s < n; s++) {
        int si = s / (nb * nc), sj = (s / nc) % nb, sk = s % nc;
        if (seen[s] || !(cube->energy[si][sj][sk] <= e)) continue;
        std::vector<std::vector<long long>> wraps;
        std::vector<int> queue = {s};
        seen[s] = 1;
        for (size_t h = 0; h < queue.size(); h++) {
            int u = queue[h];
            int ui = u / (nb * nc), uj = (u / nc) % nb, uk = u % nc;
            for (int da = -1; da <= 1; da++)
                for (int db = -1; db <= 1; db++)
                    for (int dc = -1; dc <= 1; dc++) {
                        if (!da && !db && !dc) continue;
                        int vi = ((ui + da) % na + na) % na, vj = ((uj + db) % nb + nb) % nb,
                            vk = ((uk + dc) % nc + nc) % nc;
                        if (!(cube->energy[vi][vj][vk] <= e)) continue;
                        int v = (vi * nb + vj) * nc + vk;
                        std::vector<long long> at = {pos[u][0] + da, pos[u][1] + db, pos[u][2] + dc};
                        if (!seen[v]) {
                            seen[v] = 1;
                            pos[v] = at;
                            queue.push_back(v);
                        } else if (at != pos[v]) {
                            wraps.push_back({(at[0] - pos[v][0]) / na, (at[1] - pos[v][1]) / nb,
                                             (at[2] - pos[v][2]) / nc});
                        }
                    }
        }
        best = std::max(best, rank_of(wraps));
    }
    return best;
}

// Lowest grid energy at which the flood finds a cluster of dimension >= d.
double flood_threshold(ZEMU_cube* cube, int d)
{
    std::vector<double> levels;
    for (int i = 0; i < cube->a_grid; i++)
        for (int j = 0; j < cube->b_grid; j++)
            for (int k = 0; k < cube->c_grid; k++) levels.push_back(cube->energy[i][j][k]);
    std::sort(levels.begin(), levels.end());
    for (double e : levels)
        if (flood_dimension(cube, e) >= d) return e;
    return -1.0;
}

// "threshold" of E_<dim>D in the exact-percolation section of a reference file.
double reference_threshold(const std::string& path, const std::string& dim)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    std::string s = text.str();
    size_t at = s.find("\"percolation_exact_eV\"");
    if (at != std::string::npos) at = s.find("\"E_" + dim + "\"", at);
    if (at != std::string::npos) at = s.find("\"threshold\":", at);
    if (at == std::string::npos) return std::nan("");
    return strtod(s.c_str() + at + 12, nullptr);
}

const double kHigh = 10.0;

}  // namespace

// ---------------------------------------------------------------------------
// Union-find with lattice offsets
// ---------------------------------------------------------------------------

TEST(HkLabelling, SwitchedOffPointsHaveNoRootAndNoDimension)
{
    Grid g(4, 4, 4, [](int, int, int) { return 0.0; });
    ZEMU_hk_grid hk;
    ZEMU_init_hk_grid(&hk);
    ASSERT_EQ(ZEMU_alloc_hk_grid(&hk, &g.cube), 0);
    int dx, dy, dz;
    EXPECT_EQ(ZEMU_hk_find_grid_parent(&hk, g.flat(1, 2, 3), &dx, &dy, &dz), -1);
    EXPECT_EQ(ZEMU_hk_find_grid_parent(&hk, -1, &dx, &dy, &dz), -1);
    EXPECT_EQ(ZEMU_hk_find_grid_parent(&hk, 64, &dx, &dy, &dz), -1);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, g.flat(1, 2, 3)), -1);
    ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, 1, 2, 3), 0);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, g.flat(1, 2, 3)), 0);
    ZEMU_free_hk_grid(&hk);
    EXPECT_EQ(hk.parent, nullptr);
    EXPECT_EQ(hk.total, 0);
}

TEST(HkLabelling, MembersKeepTheirLiftedOffsetAcrossTheBoundary)
{
    // a row along a from i = 6 over the boundary to i = 1 (6, 7, 0, 1)
    Grid g(8, 5, 5, [](int, int, int) { return 0.0; });
    ZEMU_hk_grid hk;
    ZEMU_init_hk_grid(&hk);
    ASSERT_EQ(ZEMU_alloc_hk_grid(&hk, &g.cube), 0);
    for (int i : {6, 7, 0, 1}) ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, i, 2, 2), 0);
    int a[3], b[3];
    int ra = ZEMU_hk_find_grid_parent(&hk, g.flat(6, 2, 2), &a[0], &a[1], &a[2]);
    int rb = ZEMU_hk_find_grid_parent(&hk, g.flat(1, 2, 2), &b[0], &b[1], &b[2]);
    ASSERT_GE(ra, 0);
    EXPECT_EQ(ra, rb);
    // the lifted point 1 lies three steps beyond 6, not five steps before it
    EXPECT_EQ(b[0] - a[0], 3);
    EXPECT_EQ(b[1] - a[1], 0);
    EXPECT_EQ(b[2] - a[2], 0);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, g.flat(0, 2, 2)), 0);
    EXPECT_EQ(hk.inserted, 4);
    // switching a point on twice changes nothing; indices outside the cell wrap
    ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, -2, 2, 7), 0);
    EXPECT_EQ(hk.inserted, 4);
    ZEMU_free_hk_grid(&hk);
}

TEST(HkLabelling, ChannelPercolatesOnlyWhenItsLastGapCloses)
{
    Grid g(6, 6, 6, [](int, int, int) { return 0.0; });
    ZEMU_hk_grid hk;
    ZEMU_init_hk_grid(&hk);
    ASSERT_EQ(ZEMU_alloc_hk_grid(&hk, &g.cube), 0);
    for (int i = 0; i < 5; i++) ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, i, 3, 3), 0);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, g.flat(0, 3, 3)), 0);
    ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, 5, 3, 3), 0);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, g.flat(0, 3, 3)), 1);
    // a second, parallel channel joined to the first adds no dimension
    for (int i = 0; i < 6; i++) ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, i, 0, 0), 0);
    ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, 2, 1, 1), 0);
    ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, 2, 2, 2), 0);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, g.flat(0, 0, 0)), 1);
    int dx, dy, dz;
    EXPECT_EQ(ZEMU_hk_find_grid_parent(&hk, g.flat(0, 0, 0), &dx, &dy, &dz),
              ZEMU_hk_find_grid_parent(&hk, g.flat(4, 3, 3), &dx, &dy, &dz));
    ZEMU_free_hk_grid(&hk);
}

TEST(HkLabelling, TwoCrossingDirectionsMergeIntoAPlane)
{
    // a wrapping row along a at (j, k) = (0, 0) and one along b at (i, k) = (3, 3),
    // first apart, then bridged by two points: the merged cluster holds both vectors
    Grid g(6, 6, 6, [](int, int, int) { return 0.0; });
    ZEMU_hk_grid hk;
    ZEMU_init_hk_grid(&hk);
    ASSERT_EQ(ZEMU_alloc_hk_grid(&hk, &g.cube), 0);
    for (int n = 0; n < 6; n++) {
        ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, n, 0, 0), 0);
        ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, 3, n, 3), 0);
    }
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, g.flat(0, 0, 0)), 1);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, g.flat(3, 1, 3)), 1);
    int dx, dy, dz;
    EXPECT_NE(ZEMU_hk_find_grid_parent(&hk, g.flat(0, 0, 0), &dx, &dy, &dz),
              ZEMU_hk_find_grid_parent(&hk, g.flat(3, 1, 3), &dx, &dy, &dz));
    ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, 3, 0, 1), 0);
    ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, 3, 0, 2), 0);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, g.flat(0, 0, 0)), 2);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, g.flat(3, 4, 3)), 2);
    ZEMU_free_hk_grid(&hk);
}

TEST(HkLabelling, WrapVectorsAreKeptOnlyWhenIndependent)
{
    Grid g(2, 2, 2, [](int, int, int) { return 0.0; });
    ZEMU_hk_grid hk;
    ZEMU_init_hk_grid(&hk);
    ASSERT_EQ(ZEMU_alloc_hk_grid(&hk, &g.cube), 0);
    ASSERT_EQ(ZEMU_hk_insert_grid_point(&hk, &g.cube, 0, 0, 0), 0);
    int root = g.flat(0, 0, 0);
    // a lone point of a 2 x 2 x 2 grid has no neighbour switched on yet
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, root), 0);
    ASSERT_EQ(ZEMU_hk_add_wrap_vector(&hk, root, 1, 1, 0), 0);
    ASSERT_EQ(ZEMU_hk_add_wrap_vector(&hk, root, -3, -3, 0), 0);
    ASSERT_EQ(ZEMU_hk_add_wrap_vector(&hk, root, 0, 0, 0), 0);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, root), 1);
    ASSERT_EQ(ZEMU_hk_add_wrap_vector(&hk, root, 1, -1, 0), 0);
    ASSERT_EQ(ZEMU_hk_add_wrap_vector(&hk, root, 2, 0, 0), 0);  // in the plane of the first two
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, root), 2);
    ASSERT_EQ(ZEMU_hk_add_wrap_vector(&hk, root, 1, 1, 1), 0);
    EXPECT_EQ(ZEMU_hk_cluster_dimension(&hk, root), 3);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_hk_add_wrap_vector(&hk, g.flat(1, 1, 1), 1, 0, 0), 1);  // switched off
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid input to ZEMU_hk_add_wrap_vector()\n");
    ZEMU_free_hk_grid(&hk);
}

// ---------------------------------------------------------------------------
// Percolation thresholds of hand-made grids
// ---------------------------------------------------------------------------

TEST(HkPercolation, StraightChannelPercolatesInOneDimensionAtItsHighestPoint)
{
    Grid g(6, 6, 6, [](int i, int j, int k) { return (j == 2 && k == 3) ? 0.1 * (i + 1) : kHigh; });
    Thresholds t = percolation(g);
    EXPECT_DOUBLE_EQ(t.e1d, 0.6);
    EXPECT_DOUBLE_EQ(t.e2d, kHigh);
    EXPECT_DOUBLE_EQ(t.e3d, kHigh);
}

TEST(HkPercolation, ChannelWithOneHighGapWaitsForTheGap)
{
    Grid g(6, 6, 6, [](int i, int j, int k) {
        if (j != 2 || k != 3) return kHigh;
        return i == 4 ? 5.0 : 0.2;
    });
    Thresholds t = percolation(g);
    EXPECT_DOUBLE_EQ(t.e1d, 5.0);
    EXPECT_DOUBLE_EQ(t.e3d, kHigh);
}

TEST(HkPercolation, DiagonalChannelConnectsThroughCornerNeighbours)
{
    // points (n, n, n): neighbours only across cube corners
    Grid g(5, 5, 5, [](int i, int j, int k) { return (i == j && j == k) ? 0.3 : kHigh; });
    Thresholds t = percolation(g);
    EXPECT_DOUBLE_EQ(t.e1d, 0.3);
    EXPECT_DOUBLE_EQ(t.e2d, kHigh);
}

TEST(HkPercolation, LowPlanePercolatesInTwoDimensions)
{
    // plane k = 1; its row j = 4 lies lower and wraps first
    Grid g(5, 6, 4, [](int, int j, int k) {
        if (k != 1) return kHigh;
        return j == 4 ? 0.2 : 0.5;
    });
    Thresholds t = percolation(g);
    EXPECT_DOUBLE_EQ(t.e1d, 0.2);
    EXPECT_DOUBLE_EQ(t.e2d, 0.5);
    EXPECT_DOUBLE_EQ(t.e3d, kHigh);
}

TEST(HkPercolation, UniformGridPercolatesInAllDimensionsAtOnce)
{
    Grid g(4, 5, 6, [](int, int, int) { return 1.25; });
    Thresholds t = percolation(g);
    EXPECT_DOUBLE_EQ(t.e1d, 1.25);
    EXPECT_DOUBLE_EQ(t.e2d, 1.25);
    EXPECT_DOUBLE_EQ(t.e3d, 1.25);
}

TEST(HkPercolation, SinglePointGridWrapsOnItselfInThreeDimensions)
{
    Grid g(1, 1, 1, [](int, int, int) { return 0.7; });
    Thresholds t = percolation(g);
    EXPECT_DOUBLE_EQ(t.e1d, 0.7);
    EXPECT_DOUBLE_EQ(t.e3d, 0.7);
}

TEST(HkPercolation, EnergiesAreReadOnTheGridsOwnScale)
{
    // an unprocessed grid (negative energies) reports them as they are held
    Grid g(6, 6, 6, [](int i, int j, int k) { return (j == 2 && k == 3) ? -2.0 : -1.0; });
    Thresholds t = percolation(g);
    EXPECT_DOUBLE_EQ(t.e1d, -2.0);
    EXPECT_DOUBLE_EQ(t.e3d, -1.0);
}

TEST(HkPercolation, NotANumberSortsLastAndCrashesNothing)
{
    Grid g(4, 4, 4, [](int i, int j, int k) {
        if (i == 1 && j == 1) return std::numeric_limits<double>::quiet_NaN();
        return 0.01 * (i + j + k);
    });
    Thresholds t = percolation(g);
    EXPECT_FALSE(std::isnan(t.e1d));
    EXPECT_LE(t.e1d, t.e2d);
    EXPECT_LE(t.e2d, t.e3d);
}

TEST(HkPercolation, MatchesAnIndependentFloodOnRandomGrids)
{
    // sizes down to 1 and 2 points per axis; few energy levels give many ties
    const int sizes[][3] = {{1, 3, 4}, {2, 2, 5}, {3, 4, 5}, {4, 4, 4}, {5, 3, 2}, {6, 5, 4}, {2, 7, 3}, {8, 8, 8}, {12, 5, 7}};
    std::mt19937 rng(20240611);
    for (int levels : {4, 1000}) {
        for (const auto& s : sizes) {
            std::uniform_int_distribution<int> pick(0, levels - 1);
            Grid g(s[0], s[1], s[2], [&](int, int, int) { return 0.01 * pick(rng); });
            Thresholds t = percolation(g);
            SCOPED_TRACE(testing::Message() << s[0] << "x" << s[1] << "x" << s[2] << " levels " << levels);
            EXPECT_DOUBLE_EQ(t.e1d, flood_threshold(&g.cube, 1));
            EXPECT_DOUBLE_EQ(t.e2d, flood_threshold(&g.cube, 2));
            EXPECT_DOUBLE_EQ(t.e3d, flood_threshold(&g.cube, 3));
        }
    }
}

TEST(HkPercolation, RejectsMissingGridAndMissingResults)
{
    ZEMU_cube empty;
    ZEMU_init_cube(&empty);
    double e1, e2, e3;
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_hk_percolation_energy(&empty, &e1, &e2, &e3), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid input to ZEMU_alloc_hk_grid()\n");
    Grid g(2, 2, 2, [](int, int, int) { return 0.0; });
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_hk_percolation_energy(&g.cube, &e1, nullptr, &e3), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid input to ZEMU_hk_percolation_energy()\n");
}

// ---------------------------------------------------------------------------
// Bundled examples against their independently computed thresholds
// ---------------------------------------------------------------------------

// The references hold six decimals; the labelling reproduces them to 1e-6.
class HkExample : public testing::TestWithParam<const char*> {};

TEST_P(HkExample, ThresholdsMatchTheExactReference)
{
    std::string dir = std::string(ZEMU_SOURCE_DIR) + "/examples/" + GetParam();
    std::string cube_file = dir + "/landscape.cube";
    ZEMU_cube cube;
    ZEMU_init_cube(&cube);
    ASSERT_EQ(ZEMU_load_cube(&cube_file[0], &cube), 0);
    ZEMU_process_cube(&cube);
    double e1, e2, e3;
    ASSERT_EQ(ZEMU_hk_percolation_energy(&cube, &e1, &e2, &e3), 0);
    ZEMU_free_cube(&cube);
    std::string ref = dir + "/reference.json";
    double r1 = reference_threshold(ref, "1D"), r2 = reference_threshold(ref, "2D"), r3 = reference_threshold(ref, "3D");
    ASSERT_FALSE(std::isnan(r1) || std::isnan(r2) || std::isnan(r3));
    EXPECT_NEAR(e1, r1, 1e-6);
    EXPECT_NEAR(e2, r2, 1e-6);
    EXPECT_NEAR(e3, r3, 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Bundled, HkExample, testing::Values("LiFePO4", "Na2UO4"));
