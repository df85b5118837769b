// Landscape grid choice: the default grid for a target step (divisors that let
// every operation map grid points onto grid points, divisors that put the
// sites on grid points, equal counts on axes the operations mix), the check of
// a grid given by hand and the test whether a grid carries the operations.
#include <cmath>
#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

#include "ZEMU-bvse.h"

namespace {

// Steps the scan tries, before scaling to the target step: 0.1500, 0.1502, ..., 0.2500 Angstrom.
const int kScanFirst = 1500;  // 1e-4 Angstrom
const int kScanLast = 2500;
const int kScanStride = 2;

// Operations of the structure; false with *error when one cannot be read.
bool read_ops(ZEMU_cif* cif, std::vector<ZEMU_bvse_symop>* ops, std::string* error)
{
    ops->clear();
    for (int s = 0; s < cif->symop_no; s++) {
        ZEMU_bvse_symop op;
        if (ZEMU_bvse_parse_symop(cif->symop[s], &op, error)) return false;
        ops->push_back(op);
    }
    return true;
}

// Denominator of a translation in 1/24 steps, reduced modulo 1 to lowest terms.
int translation_denominator(int tran24)
{
    int t = ((tran24 % 24) + 24) % 24;
    return 24 / std::gcd(t, 24);
}

// Smallest denominator q <= 24 of a fraction within 1e-6 of v (modulo 1); 0 when none.
int coordinate_denominator(double v)
{
    v -= std::floor(v);
    for (int q = 1; q <= 24; q++) {
        double p = std::round(v * q);
        if (std::fabs(v - p / q) < 1e-6) return q;
    }
    return 0;
}

// Group label per axis: axes an operation mixes share a label.
void mixed_axis_groups(const std::vector<ZEMU_bvse_symop>& ops, int group[3])
{
    for (int i = 0; i < 3; i++) group[i] = i;
    auto find = [&](int i) {
        while (group[i] != i) i = group[i];
        return i;
    };
    for (const ZEMU_bvse_symop& op : ops)
        for (int i = 0; i < 3; i++)
            for (int j = 0; j < 3; j++)
                if (j != i && op.rot[i][j] != 0) {
                    int gi = find(i), gj = find(j);
                    if (gi != gj) group[std::max(gi, gj)] = std::min(gi, gj);
                }
    for (int i = 0; i < 3; i++) group[i] = find(i);
}

}  // namespace

int ZEMU_bvse_default_grid(ZEMU_cif* cif, double step, int grid[3], std::string* error)
{
    std::vector<ZEMU_bvse_symop> ops;
    if (!read_ops(cif, &ops, error)) return 1;
    if (!(step > 0.0) || !std::isfinite(step)) {
        *error = "the grid step must be positive";
        return 1;
    }
    long req[3] = {2, 1, 1};
    for (const ZEMU_bvse_symop& op : ops)
        for (int i = 0; i < 3; i++) req[i] = std::lcm(req[i], static_cast<long>(translation_denominator(op.tran[i])));
    long pref[3] = {req[0], req[1], req[2]};
    for (int s = 0; s < cif->site_no; s++) {
        const double v[3] = {cif->site[s].x, cif->site[s].y, cif->site[s].z};
        for (int i = 0; i < 3; i++) {
            int q = coordinate_denominator(v[i]);
            if (q >= 1 && q <= 12) pref[i] = std::lcm(pref[i], static_cast<long>(q));
        }
    }
    int group[3];
    mixed_axis_groups(ops, group);

    const double length[3] = {cif->a, cif->b, cif->c};
    const double scale = step / 0.2;
    const double lo = 0.15 * scale, hi = 0.25 * scale;
    bool found = false;
    int best_pref = -1;
    long long best_key = 0;
    for (int k = kScanFirst; k <= kScanLast; k += kScanStride) {
        const double r = k / 10000.0 * scale;
        long n[3];
        bool ok = true;
        for (int i = 0; i < 3 && ok; i++) {
            double q = length[i] / r;
            if (!std::isfinite(q) || q > 1e9 || std::fabs(q - std::round(q)) < 0.02) ok = false;
            else n[i] = static_cast<long>(std::floor(q));
        }
        if (!ok || n[0] % 2 == 0) continue;
        long kept[3] = {n[0] - 1, n[1] - 1, n[2] - 1};
        double mean = 0.0;
        for (int i = 0; i < 3 && ok; i++) {
            if (kept[i] < 1 || kept[i] % req[i] != 0 || n[i] != n[group[i]]) ok = false;
            double s = length[i] / kept[i];
            if (!(s >= lo && s <= hi)) ok = false;
            mean += s / 3.0;
        }
        if (!ok || static_cast<double>(n[0]) * n[1] * n[2] > ZEMU_BVSE_DEFAULT_MAX_POINTS) continue;
        int pref_axes = 0;
        for (int i = 0; i < 3; i++) pref_axes += kept[i] % pref[i] == 0;
        long long key = std::llround(std::fabs(mean - step) * 1e6);
        // most axes with preferred divisors, then the mean step nearest the target, then the smallest step
        if (!found || pref_axes > best_pref || (pref_axes == best_pref && key < best_key)) {
            found = true;
            best_pref = pref_axes;
            best_key = key;
            for (int i = 0; i < 3; i++) grid[i] = static_cast<int>(n[i]);
        }
    }
    if (!found) {
        char buf[256];
        snprintf(buf, sizeof buf,
                 "no grid with steps between %.3f and %.3f A fits the cell (%.4f x %.4f x %.4f A) and its symmetry "
                 "within %d points; give one with --grid",
                 lo, hi, length[0], length[1], length[2], ZEMU_BVSE_DEFAULT_MAX_POINTS);
        *error = buf;
        return 1;
    }
    return 0;
}

int ZEMU_bvse_check_grid(const int grid[3], std::string* error)
{
    if (grid[0] < 3 || grid[0] % 2 == 0) {
        *error = "the first grid count must be odd and at least 3 (it includes the repeated plane)";
        return 1;
    }
    if (grid[1] < 2 || grid[2] < 2) {
        *error = "every grid count must be at least 2 (it includes the repeated plane)";
        return 1;
    }
    long long points = static_cast<long long>(grid[0]) * grid[1] * grid[2];
    if (points > ZEMU_BVSE_MAX_POINTS) {
        *error = "the grid " + std::to_string(grid[0]) + "x" + std::to_string(grid[1]) + "x" +
                 std::to_string(grid[2]) + " has " + std::to_string(points) + " points, over the limit of " +
                 std::to_string(ZEMU_BVSE_MAX_POINTS);
        return 1;
    }
    return 0;
}

int ZEMU_bvse_grid_carries_symmetry(ZEMU_cif* cif, const int grid[3])
{
    std::vector<ZEMU_bvse_symop> ops;
    std::string error;
    if (!read_ops(cif, &ops, &error) || ops.empty() || ops.size() > ZEMU_MAX_SYMOP) return 0;
    const long kept[3] = {grid[0] - 1L, grid[1] - 1L, grid[2] - 1L};
    for (const ZEMU_bvse_symop& op : ops)
        for (int i = 0; i < 3; i++) {
            if ((static_cast<long long>(op.tran[i]) * kept[i]) % 24 != 0) return 0;
            for (int j = 0; j < 3; j++) {
                if (op.rot[i][j] < -1 || op.rot[i][j] > 1) return 0;
                if (op.rot[i][j] != 0 && kept[i] != kept[j]) return 0;
            }
        }
    return 1;
}
