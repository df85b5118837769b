// Grid percolation by cluster labelling (union-find with lattice offsets).
#include "ZEMU-hk.h"
#include "ZEMU-kernel.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace {

// 1 when v lies in the span of the first n vectors of basis (n independent, 0..3).
int in_span(long long basis[3][3], int n, const long long v[3])
{
    if (v[0] == 0 && v[1] == 0 && v[2] == 0) return 1;
    if (n == 0) return 0;
    if (n == 3) return 1;
    const long long* u = basis[0];
    // cross product u x v vanishes exactly when v is parallel to u
    long long c[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
    if (n == 1) return c[0] == 0 && c[1] == 0 && c[2] == 0;
    const long long* w = basis[1];
    // with two vectors: v in their plane when the triple product w . (u x v) vanishes
    return w[0] * c[0] + w[1] * c[1] + w[2] * c[2] == 0;
}

// Buckets of the counting pass that orders the energies: the leading 16 bits of
// the sort key (sign, exponent and four mantissa bits).
const int kBuckets = 1 << 16;

// Unsigned key in the order of the energies: -0 is read as 0 and anything that
// is not a number sorts after every number.
unsigned long long energy_key(double e)
{
    if (std::isnan(e)) return ~0ULL;
    if (e == 0.0) e = 0.0;
    unsigned long long bits;
    memcpy(&bits, &e, sizeof(bits));
    return (bits >> 63) ? ~bits : bits | (1ULL << 63);
}

int bucket_of(unsigned long long key) { return static_cast<int>(key >> 48); }

long long gcd_ll(long long a, long long b)
{
    if (a < 0) a = -a;
    if (b < 0) b = -b;
    while (b != 0) {
        long long t = a % b;
        a = b;
        b = t;
    }
    return a;
}

}  // namespace

// ---------------------------------------------------------------------------
// Life cycle
// ---------------------------------------------------------------------------

void ZEMU_init_hk_grid(ZEMU_hk_grid* hk)
{
    *hk = ZEMU_hk_grid{};
}

int ZEMU_alloc_hk_grid(ZEMU_hk_grid* hk, ZEMU_cube* cube)
{
    if (cube == nullptr || cube->energy == nullptr || cube->a_grid <= 0 || cube->b_grid <= 0 ||
        cube->c_grid <= 0 ||
        static_cast<long long>(cube->a_grid) * cube->b_grid * cube->c_grid > ZEMU_HK_MAX_POINTS) {
        fprintf(stderr, "Error: Invalid input to ZEMU_alloc_hk_grid()\n");
        return 1;
    }
    ZEMU_free_hk_grid(hk);
    hk->a_grid = cube->a_grid;
    hk->b_grid = cube->b_grid;
    hk->c_grid = cube->c_grid;
    hk->total = cube->a_grid * cube->b_grid * cube->c_grid;
    size_t n = static_cast<size_t>(hk->total);
    using zemu_kernel::allocate_array;
    if (allocate_array(&hk->parent, n) || allocate_array(&hk->offset, 3 * n) || allocate_array(&hk->wrap_index, n) ||
        allocate_array(&hk->rank, n)) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_alloc_hk_grid()\n");
        ZEMU_free_hk_grid(hk);
        return 1;
    }
    std::fill(hk->parent, hk->parent + n, -1);
    std::fill(hk->offset, hk->offset + 3 * n, 0);
    std::fill(hk->wrap_index, hk->wrap_index + n, -1);
    std::fill(hk->rank, hk->rank + n, static_cast<unsigned char>(0));
    return 0;
}

int ZEMU_alloc_hk_wrap(ZEMU_hk_grid* hk)
{
    if (zemu_kernel::grow_array(&hk->wrap, hk->wrap_total, &hk->wrap_cap) == 0) return 0;
    fprintf(stderr, "Error: Memory allocation problem in ZEMU_alloc_hk_wrap()\n");
    return 1;
}

void ZEMU_free_hk_grid(ZEMU_hk_grid* hk)
{
    free(hk->parent);
    free(hk->offset);
    free(hk->wrap_index);
    free(hk->rank);
    free(hk->wrap);
    ZEMU_init_hk_grid(hk);
}

// ---------------------------------------------------------------------------
// Labelling
// ---------------------------------------------------------------------------

int ZEMU_hk_find_grid_parent(ZEMU_hk_grid* hk, int p, int* dx, int* dy, int* dz)
{
    if (p < 0 || p >= hk->total || hk->parent[p] < 0) return -1;
    // first pass: the root and p's offset from it
    int root = p;
    int sx = 0, sy = 0, sz = 0;
    while (hk->parent[root] != root) {
        sx += hk->offset[3 * root];
        sy += hk->offset[3 * root + 1];
        sz += hk->offset[3 * root + 2];
        root = hk->parent[root];
    }
    *dx = sx;
    *dy = sy;
    *dz = sz;
    // second pass: hang every point of the chain straight from the root
    int x = p;
    while (x != root) {
        int next = hk->parent[x];
        int ox = hk->offset[3 * x], oy = hk->offset[3 * x + 1], oz = hk->offset[3 * x + 2];
        hk->parent[x] = root;
        hk->offset[3 * x] = sx;
        hk->offset[3 * x + 1] = sy;
        hk->offset[3 * x + 2] = sz;
        sx -= ox;
        sy -= oy;
        sz -= oz;
        x = next;
    }
    return root;
}

int ZEMU_hk_add_wrap_vector(ZEMU_hk_grid* hk, int root, long long va, long long vb, long long vc)
{
    if (root < 0 || root >= hk->total || hk->parent[root] != root) {
        fprintf(stderr, "Error: Invalid input to ZEMU_hk_add_wrap_vector()\n");
        return 1;
    }
    long long v[3] = {va, vb, vc};
    // only the direction matters: divide out the common factor to keep the products small
    long long g = gcd_ll(gcd_ll(va, vb), vc);
    if (g == 0) return 0;
    for (long long& c : v) c /= g;
    int w = hk->wrap_index[root];
    if (w >= 0 && in_span(hk->wrap[w].v, hk->wrap[w].total, v)) return 0;
    if (w < 0) {
        hk->wrap_total++;
        if (ZEMU_alloc_hk_wrap(hk)) {
            hk->wrap_total--;
            return 1;
        }
        w = hk->wrap_total - 1;
        hk->wrap[w].total = 0;
        hk->wrap_index[root] = w;
    }
    ZEMU_hk_wrap* rec = &hk->wrap[w];
    for (int c = 0; c < 3; c++) rec->v[rec->total][c] = v[c];
    rec->total++;
    return 0;
}

namespace {

// Records the span sweep keeps per root (entries of non-roots are stale).
struct RootRecords {
    double* lowest;           // lowest energy of the cluster
    unsigned char* recorded;  // dimension up to which the cluster's events are recorded
};

// Joins the clusters of roots rp and rq across a bond from a point lying at dp
// (grid steps from rp) to a point lying at dq (grid steps from rq), the second
// point's copy sitting at the first plus d. Unites by rank (merging the root
// records when given), or, when rp == rq, records the wrap the bond closes. 0 or 1.
int link_clusters(ZEMU_hk_grid* hk, int rp, const int* dp, int rq, const int* dq, int da, int db, int dc,
                  RootRecords* records = nullptr)
{
    // lifted position of rq minus that of rp
    long long ga = static_cast<long long>(dp[0]) + da - dq[0];
    long long gb = static_cast<long long>(dp[1]) + db - dq[1];
    long long gc = static_cast<long long>(dp[2]) + dc - dq[2];
    if (rp == rq) {
        // the bond closes a loop: a non-zero gap is a whole number of cells
        if (ga == 0 && gb == 0 && gc == 0) return 0;
        return ZEMU_hk_add_wrap_vector(hk, rp, ga / hk->a_grid, gb / hk->b_grid, gc / hk->c_grid);
    }
    int root = rp, child = rq;
    if (hk->rank[rp] < hk->rank[rq]) {
        root = rq;
        child = rp;
        ga = -ga;
        gb = -gb;
        gc = -gc;
    } else if (hk->rank[rp] == hk->rank[rq]) {
        hk->rank[rp]++;
    }
    hk->parent[child] = root;
    if (records != nullptr) {
        records->lowest[root] = std::min(records->lowest[root], records->lowest[child]);
        records->recorded[root] = std::max(records->recorded[root], records->recorded[child]);
    }
    hk->offset[3 * child] = static_cast<int>(ga);
    hk->offset[3 * child + 1] = static_cast<int>(gb);
    hk->offset[3 * child + 2] = static_cast<int>(gc);
    // wrapping vectors are lattice translations: they pass to the new root unchanged
    int cw = hk->wrap_index[child];
    hk->wrap_index[child] = -1;
    if (cw < 0) return 0;
    if (hk->wrap_index[root] < 0) {
        hk->wrap_index[root] = cw;
        return 0;
    }
    ZEMU_hk_wrap moved = hk->wrap[cw];
    for (int n = 0; n < moved.total; n++) {
        if (ZEMU_hk_add_wrap_vector(hk, root, moved.v[n][0], moved.v[n][1], moved.v[n][2])) return 1;
    }
    return 0;
}

}  // namespace

int ZEMU_hk_join_grid_points(ZEMU_hk_grid* hk, int p, int q, int da, int db, int dc)
{
    int dp[3], dq[3];
    int rp = ZEMU_hk_find_grid_parent(hk, p, &dp[0], &dp[1], &dp[2]);
    int rq = ZEMU_hk_find_grid_parent(hk, q, &dq[0], &dq[1], &dq[2]);
    if (rp < 0 || rq < 0) {
        fprintf(stderr, "Error: Invalid input to ZEMU_hk_join_grid_points()\n");
        return 1;
    }
    return link_clusters(hk, rp, dp, rq, dq, da, db, dc);
}

namespace {

// Switches on (i, j, k) and joins it with its switched-on neighbours; with
// records, the new point starts its own (lowest = its energy, nothing recorded)
// and unions merge them.
int insert_point(ZEMU_hk_grid* hk, ZEMU_cube* cube, int i, int j, int k, RootRecords* records);

}  // namespace

int ZEMU_hk_insert_grid_point(ZEMU_hk_grid* hk, ZEMU_cube* cube, int i, int j, int k)
{
    return insert_point(hk, cube, i, j, k, nullptr);
}

namespace {

int insert_point(ZEMU_hk_grid* hk, ZEMU_cube* cube, int i, int j, int k, RootRecords* records)
{
    if (hk->parent == nullptr || cube == nullptr || cube->a_grid != hk->a_grid || cube->b_grid != hk->b_grid ||
        cube->c_grid != hk->c_grid) {
        fprintf(stderr, "Error: Invalid input to ZEMU_hk_insert_grid_point()\n");
        return 1;
    }
    i = zemu_kernel::wrap_onto_grid(i, hk->a_grid);
    j = zemu_kernel::wrap_onto_grid(j, hk->b_grid);
    k = zemu_kernel::wrap_onto_grid(k, hk->c_grid);
    int p = (i * hk->b_grid + j) * hk->c_grid + k;
    if (hk->parent[p] >= 0) return 0;
    hk->parent[p] = p;
    hk->offset[3 * p] = 0;
    hk->offset[3 * p + 1] = 0;
    hk->offset[3 * p + 2] = 0;
    hk->rank[p] = 0;
    hk->wrap_index[p] = -1;
    hk->inserted++;
    if (records != nullptr) {
        records->lowest[p] = cube->energy[i][j][k];
        records->recorded[p] = 0;
    }
    // wrapped neighbour planes, rows and columns (index 0, 1, 2 for a step of -1, 0, +1)
    int ni[3], nj[3], nk[3];
    for (int s = 0; s < 3; s++) {
        ni[s] = ZEMU_shift_index(cube, i + s - 1, 1);
        nj[s] = ZEMU_shift_index(cube, j + s - 1, 2);
        nk[s] = ZEMU_shift_index(cube, k + s - 1, 3);
    }
    // p's root and p's place in it, kept current across the joins
    int rp = p;
    int dp[3] = {0, 0, 0};
    // the 26 neighbours of the 3 x 3 x 3 block, across the periodic boundary included
    for (int sa = 0; sa < 3; sa++) {
        for (int sb = 0; sb < 3; sb++) {
            int row = (ni[sa] * hk->b_grid + nj[sb]) * hk->c_grid;
            for (int sc = 0; sc < 3; sc++) {
                if (sa == 1 && sb == 1 && sc == 1) continue;
                int q = row + nk[sc];
                if (hk->parent[q] < 0) continue;
                int dq[3];
                int rq = ZEMU_hk_find_grid_parent(hk, q, &dq[0], &dq[1], &dq[2]);
                if (link_clusters(hk, rp, dp, rq, dq, sa - 1, sb - 1, sc - 1, records)) return 1;
                if (hk->parent[rp] != rp) {
                    // p's cluster went under q's root
                    for (int c = 0; c < 3; c++) dp[c] += hk->offset[3 * rp + c];
                    rp = hk->parent[rp];
                }
            }
        }
    }
    return 0;
}

}  // namespace

int ZEMU_hk_cluster_dimension(ZEMU_hk_grid* hk, int p)
{
    int dx, dy, dz;
    int root = ZEMU_hk_find_grid_parent(hk, p, &dx, &dy, &dz);
    if (root < 0) return -1;
    int w = hk->wrap_index[root];
    return w < 0 ? 0 : hk->wrap[w].total;
}

// ---------------------------------------------------------------------------
// Percolation thresholds
// ---------------------------------------------------------------------------

namespace {

// The grid points of a cube in ascending energy (equal energies in grid order):
// a stable counting pass on the leading key bits puts every point in its
// bucket, and a bucket is put in full order only when the walk reaches it, so a
// sweep that stops early sorts little.
class AscendingOrder {
public:
    // 0, or 1 on memory failure (message printed).
    int build(ZEMU_cube* cube, int total)
    {
        try {
            key_.resize(static_cast<size_t>(total));
            order_.resize(static_cast<size_t>(total));
            start_.assign(kBuckets + 1, 0);
        } catch (const std::bad_alloc&) {
            fprintf(stderr, "Error: Memory allocation problem in ZEMU_hk_percolation_energy()\n");
            return 1;
        }
        int p = 0;
        for (int i = 0; i < cube->a_grid; i++) {
            for (int j = 0; j < cube->b_grid; j++) {
                const double* row = cube->energy[i][j];
                for (int k = 0; k < cube->c_grid; k++, p++) {
                    key_[p] = energy_key(row[k]);
                    start_[bucket_of(key_[p]) + 1]++;
                }
            }
        }
        for (int b = 0; b < kBuckets; b++) start_[b + 1] += start_[b];
        std::vector<int> fill(start_.begin(), start_.end() - 1);
        for (p = 0; p < total; p++) order_[fill[bucket_of(key_[p])]++] = p;
        bucket_ = -1;
        next_ = 0;
        return 0;
    }
    // Next point in the order; false at the end.
    bool next(int* p)
    {
        while (bucket_ < kBuckets && next_ == start_[bucket_ + 1]) {
            bucket_++;
            if (bucket_ == kBuckets) return false;
            int* first = order_.data() + start_[bucket_];
            int* last = order_.data() + start_[bucket_ + 1];
            auto before = [this](int x, int y) { return key_[x] < key_[y] || (key_[x] == key_[y] && x < y); };
            if (!std::is_sorted(first, last, before)) std::sort(first, last, before);
        }
        if (bucket_ >= kBuckets) return false;
        *p = order_[next_++];
        return true;
    }

private:
    std::vector<unsigned long long> key_;
    std::vector<int> order_;
    std::vector<int> start_;
    int bucket_ = -1;  // bucket being walked
    int next_ = 0;     // position in order_ of the next point
};

// A labelling released when it goes out of scope.
using ScopedHkGrid = zemu_kernel::Scoped<ZEMU_hk_grid, ZEMU_init_hk_grid, ZEMU_free_hk_grid>;

}  // namespace

int ZEMU_hk_percolation_energy(ZEMU_cube* cube, double* e1d, double* e2d, double* e3d)
{
    if (e1d == nullptr || e2d == nullptr || e3d == nullptr) {
        fprintf(stderr, "Error: Invalid input to ZEMU_hk_percolation_energy()\n");
        return 1;
    }
    ScopedHkGrid hk;
    AscendingOrder order;
    if (ZEMU_alloc_hk_grid(hk.get(), cube) || order.build(cube, hk->total)) return 1;
    int nb = cube->b_grid, nc = cube->c_grid;
    double found[3] = {0.0, 0.0, 0.0};
    int dimension = 0;
    int q;
    while (dimension < 3 && order.next(&q)) {
        int k = q % nc;
        int j = (q / nc) % nb;
        int i = q / (nc * nb);
        if (ZEMU_hk_insert_grid_point(hk.get(), cube, i, j, k)) return 1;
        int d = ZEMU_hk_cluster_dimension(hk.get(), q);
        for (; dimension < d; dimension++) found[dimension] = cube->energy[i][j][k];
    }
    // with every point switched on the periodic grid always percolates in three dimensions
    *e1d = found[0];
    *e2d = found[1];
    *e3d = found[2];
    return 0;
}

namespace {

// The span sweep's bookkeeping. Per root (entries of non-roots are stale): the
// lowest energy of its cluster and the dimension up to which its events are
// already recorded. Points of equal energy are switched on together: the events
// of a level are read once all of its points are in, so the result does not
// depend on the order among ties.
class SpanSweep {
public:
    SpanSweep(ZEMU_cube* cube, ZEMU_hk_grid* hk, double span[3], double top[3])
        : cube_(cube), hk_(hk), span_(span), top_(top)
    {
    }

    // 0, or 1 on memory failure (message printed).
    int reserve()
    {
        try {
            cluster_min_.resize(static_cast<size_t>(hk_->total));
            recorded_.resize(static_cast<size_t>(hk_->total));
        } catch (const std::bad_alloc&) {
            fprintf(stderr, "Error: Memory allocation problem in ZEMU_hk_percolation_span()\n");
            return 1;
        }
        return 0;
    }

    // Switches on flat point q, settling the level below first.
    int insert(int q)
    {
        const int nb = cube_->b_grid, nc = cube_->c_grid;
        const int k = q % nc, j = (q / nc) % nb, i = q / (nc * nb);
        const double e = cube_->energy[i][j][k];
        if (!level_.empty() && !(e == level_e_)) settle_level();
        RootRecords records = {cluster_min_.data(), recorded_.data()};
        if (insert_point(hk_, cube_, i, j, k, &records)) return 1;
        level_.push_back(q);
        level_e_ = e;
        return 0;
    }

    // Records the dimensions the clusters of the current level reached first.
    void settle_level()
    {
        if (!std::isnan(level_e_)) {
            const double gmin = cube_->global_minimum;
            double scaled_top = NAN;  // evaluated at the level's first event only
            for (int p : level_) {
                int dx, dy, dz;
                int root = ZEMU_hk_find_grid_parent(hk_, p, &dx, &dy, &dz);
                int w = hk_->wrap_index[root];
                int dim = w < 0 ? 0 : hk_->wrap[w].total;
                if (dim <= recorded_[root]) continue;
                if (std::isnan(scaled_top)) scaled_top = ZEMU_scale_cube_energy(cube_, level_e_ - gmin);
                const double value = scaled_top - ZEMU_scale_cube_energy(cube_, cluster_min_[root] - gmin);
                for (int d = recorded_[root]; d < dim; d++) {
                    if (value < span_[d]) {
                        span_[d] = value;
                        top_[d] = scaled_top;
                    }
                }
                recorded_[root] = static_cast<unsigned char>(dim);
            }
        }
        level_.clear();
    }

private:
    ZEMU_cube* cube_;
    ZEMU_hk_grid* hk_;
    double* span_;
    double* top_;
    std::vector<double> cluster_min_;
    std::vector<unsigned char> recorded_;
    std::vector<int> level_;  // flat points of the level being switched on
    double level_e_ = 0.0;
};

}  // namespace

int ZEMU_hk_percolation_span(ZEMU_cube* cube, double span[3], double top[3])
{
    if (span == nullptr || top == nullptr) {
        fprintf(stderr, "Error: Invalid input to ZEMU_hk_percolation_span()\n");
        return 1;
    }
    ScopedHkGrid hk;
    if (ZEMU_alloc_hk_grid(hk.get(), cube)) return 1;
    SpanSweep sweep(cube, hk.get(), span, top);
    AscendingOrder order;
    if (sweep.reserve() || order.build(cube, hk->total)) return 1;
    for (int d = 0; d < 3; d++) span[d] = top[d] = HUGE_VAL;
    int q;
    while (order.next(&q))
        if (sweep.insert(q)) return 1;
    sweep.settle_level();
    return 0;
}
