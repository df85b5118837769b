// Symmetry operations as integer operations on the energy grid: the operation
// texts of the structure become grid-step operations once, and the image
// generators below then use integer multiply-add and a modulo only.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "ZEMU.h"

namespace {

// Longest part of an operation text the grid parser reads.
const int kSymopScanLength = 30;

// Index wrapped into 0..n-1 (n > 0): negatives are lifted by whole cells, then reduced.
inline int wrap_grid_index(int v, int n) {
    v %= n;
    return v < 0 ? v + n : v;
}

// Real grid coordinate wrapped into (-1, n-1]: a value between n-1 and n is carried
// to just below 0 so that it stays next to 0 for the periodic comparisons.
double wrap_grid_coordinate(double v, int n) {
    if (!std::isfinite(v)) return v;
    if (std::fabs(v) > 4.0 * n) v = std::fmod(v, (double)n);  // far-off input: no long loops
    while (v < 0) v += n;
    while (v > n - 1) v -= n;
    return v;
}

// Number of operations in use, kept within the array.
inline int fastgen_total(ZEMU_cif* cif) {
    int total = cif->fg.total;
    if (total < 0) return 0;
    return total > ZEMU_MAX_SYMOP ? ZEMU_MAX_SYMOP : total;
}

inline bool grid_is_valid(ZEMU_cube* cube) { return cube->a_grid > 0 && cube->b_grid > 0 && cube->c_grid > 0; }

// The four ints of one row (0 = x, 1 = y, 2 = z) of an operation: three coefficients, translation.
struct SymopRow {
    int* coef[3];
    int* translation;
};

SymopRow symop_row(ZEMU_fastgen_symop* op, int row) {
    if (row == 0) return {{&op->x_x, &op->x_y, &op->x_z}, &op->x_a};
    if (row == 1) return {{&op->y_x, &op->y_y, &op->y_z}, &op->y_a};
    return {{&op->z_x, &op->z_y, &op->z_z}, &op->z_a};
}

}  // namespace

// ---------------------------------------------------------------------------
// Operation text to grid operation
// ---------------------------------------------------------------------------

void ZEMU_prepare_fastgen_symop(ZEMU_cif* cif, ZEMU_cube* cube) {
    ZEMU_init_fastgen(cif);
    cif->diff_neigh = 0;

    int ops = cif->symop ? cif->symop_no : 0;
    if (ops < 0) ops = 0;
    if (ops > ZEMU_MAX_SYMOP) {
        // The work area holds one space group's worth of operations; the rest are dropped.
        fprintf(stderr, "Warning: More than %d symmetry operations, only the first %d are used on the grid\n",
                ZEMU_MAX_SYMOP, ZEMU_MAX_SYMOP);
        ops = ZEMU_MAX_SYMOP;
    }
    const int counts[3] = {cube->a_grid, cube->b_grid, cube->c_grid};

    // Row and pending minus carry over from one operation text to the next.
    // Text past the scan length, two-digit numbers and decimal translations are not
    // understood: they are read character by character by the rules below, without a message.
    int row = 0;
    bool minus = false;
    for (int n = 0; n < ops; n++) {
        ZEMU_fastgen_symop* op = &cif->fg.op[n];
        const char* text = cif->symop[n];
        const int length = text ? (int)strnlen(text, kSymopScanLength) : 0;
        for (int j = 0; j < length; j++) {
            const char ch = text[j];
            if (ch == ',') {
                row = (row + 1) % 3;
            } else if (ch == '-') {
                minus = true;
            } else if (ch >= '0' && ch <= '9') {
                // Denominator two places on, read only inside the text; none there (or 0) means a whole number.
                int denominator = 1;
                if (j + 2 < length && text[j + 2] >= '1' && text[j + 2] <= '9') {
                    denominator = text[j + 2] - '0';
                    j += 2;
                }
                int translation = (ch - '0') * counts[row] / denominator;
                *symop_row(op, row).translation = minus ? -translation : translation;
                minus = false;
            } else if (ch == 'x' || ch == 'X' || ch == 'y' || ch == 'Y' || ch == 'z' || ch == 'Z') {
                const int axis = (ch == 'x' || ch == 'X') ? 0 : ((ch == 'y' || ch == 'Y') ? 1 : 2);
                *symop_row(op, row).coef[axis] = minus ? -1 : 1;
                minus = false;
            }
        }
        row = (row + 1) % 3;
        cif->fg.total++;
    }

    for (int n = 0; n < cif->fg.total; n++) {
        for (int r = 0; r < 3; r++) {
            const SymopRow row_of = symop_row(&cif->fg.op[n], r);
            if ((*row_of.coef[0] != 0) + (*row_of.coef[1] != 0) + (*row_of.coef[2] != 0) >= 2) cif->diff_neigh = 1;
        }
    }
}

// ---------------------------------------------------------------------------
// Image generators
// ---------------------------------------------------------------------------

void ZEMU_fastgen_sym_copies(ZEMU_cif* cif, ZEMU_cube* cube, ZEMU_symcopies* copies, int x, int y, int z) {
    copies->total = 0;
    if (!grid_is_valid(cube)) return;
    const int na = cube->a_grid, nb = cube->b_grid, nc = cube->c_grid;
    const int ops = fastgen_total(cif);
    for (int n = 0; n < ops; n++) {
        const ZEMU_fastgen_symop& op = cif->fg.op[n];
        const int nx = wrap_grid_index(op.x_x * x + op.x_y * y + op.x_z * z + op.x_a, na);
        const int ny = wrap_grid_index(op.y_x * x + op.y_y * y + op.y_z * z + op.y_a, nb);
        const int nz = wrap_grid_index(op.z_x * x + op.z_y * y + op.z_z * z + op.z_a, nc);
        bool seen = false;
        for (int m = 0; m < copies->total && !seen; m++) {
            const ZEMU_fastgen_xyz& c = copies->copy[m];
            seen = c.x == nx && c.y == ny && c.z == nz;
        }
        if (seen) continue;
        ZEMU_fastgen_xyz& c = copies->copy[copies->total++];
        c.x = nx;
        c.y = ny;
        c.z = nz;
    }
}

void ZEMU_fastgen_sym_copies_dbl(ZEMU_cif* cif, ZEMU_cube* cube, ZEMU_symcopies* copies, double p, double q,
                                 double r) {
    copies->total = 0;
    if (!grid_is_valid(cube)) return;
    const int ops = fastgen_total(cif);
    for (int n = 0; n < ops; n++) {
        const ZEMU_fastgen_symop& op = cif->fg.op[n];
        const double np = wrap_grid_coordinate(op.x_a + op.x_x * p + op.x_y * q + op.x_z * r, cube->a_grid);
        const double nq = wrap_grid_coordinate(op.y_a + op.y_x * p + op.y_y * q + op.y_z * r, cube->b_grid);
        const double nr = wrap_grid_coordinate(op.z_a + op.z_x * p + op.z_y * q + op.z_z * r, cube->c_grid);
        bool seen = false;
        for (int m = 0; m < copies->total && !seen; m++) {
            const ZEMU_fastgen_xyz& c = copies->copy[m];
            seen = ZEMU_cube_equal_dbl(c.p, np) && ZEMU_cube_equal_dbl(c.q, nq) && ZEMU_cube_equal_dbl(c.r, nr);
        }
        if (seen) continue;
        ZEMU_fastgen_xyz& c = copies->copy[copies->total++];
        c.p = np;
        c.q = nq;
        c.r = nr;
    }
}

// ---------------------------------------------------------------------------
// Merging near-coincident images
// ---------------------------------------------------------------------------

int ZEMU_round_copies(double a, int b) {
    if (std::fabs(a - b) >= 1.0) return (int)std::lround(a);
    if (std::fabs(std::fmod(a, 1.0) - 0.5) < 0.001) return b;
    return (int)std::lround(a);
}

void ZEMU_condense_copies(ZEMU_cif*, ZEMU_cube* cube, ZEMU_symcopies* copies, int radius) {
    if (!grid_is_valid(cube)) return;
    const ZEMU_symcopies input = *copies;
    copies->total = 0;
    const int total = input.total < 0 ? 0 : (input.total > ZEMU_MAX_SYMOP ? ZEMU_MAX_SYMOP : input.total);
    const int na = cube->a_grid, nb = cube->b_grid, nc = cube->c_grid;
    int marked[ZEMU_MAX_SYMOP] = {0};

    for (int i = 0; i < total; i++) {
        if (marked[i]) continue;
        marked[i] = 1;
        const ZEMU_fastgen_xyz& first = input.copy[i];
        double sum_p = first.x, sum_q = first.y, sum_r = first.z;
        int count = 1;
        for (int j = i + 1; j < total; j++) {
            if (marked[j]) continue;
            const ZEMU_fastgen_xyz& other = input.copy[j];
            bool found = false;
            int x3 = 0, y3 = 0, z3 = 0;
            for (int da = -1; da <= 1 && !found; da++) {
                for (int db = -1; db <= 1 && !found; db++) {
                    for (int dc = -1; dc <= 1 && !found; dc++) {
                        x3 = other.x + da * na;
                        y3 = other.y + db * nb;
                        z3 = other.z + dc * nc;
                        found = std::abs(x3 - first.x) <= radius && std::abs(y3 - first.y) <= radius &&
                                std::abs(z3 - first.z) <= radius;
                    }
                }
            }
            if (!found) continue;
            marked[j] = 1;
            sum_p += x3;
            sum_q += y3;
            sum_r += z3;
            count++;
        }
        const double mean_p = sum_p / count, mean_q = sum_q / count, mean_r = sum_r / count;
        const ZEMU_cube_triple_index_dbl real = ZEMU_shift_index_xyz_dbl(cube, mean_p, mean_q, mean_r);
        const ZEMU_cube_triple_index grid =
            ZEMU_shift_index_xyz(cube, ZEMU_round_copies(mean_p, first.x), ZEMU_round_copies(mean_q, first.y),
                                 ZEMU_round_copies(mean_r, first.z));
        ZEMU_fastgen_xyz& kept = copies->copy[copies->total++];
        kept.x = grid.x;
        kept.y = grid.y;
        kept.z = grid.z;
        kept.p = real.x;
        kept.q = real.y;
        kept.r = real.z;
    }
}

// ---------------------------------------------------------------------------
// Equivalence test
// ---------------------------------------------------------------------------

int ZEMU_is_symmetrically_related(ZEMU_cif* cif, ZEMU_cube* cube, int x1, int y1, int z1, int x2, int y2, int z2) {
    if (!grid_is_valid(cube)) return 0;
    const ZEMU_cube_triple_index point = ZEMU_shift_index_xyz(cube, x1, y1, z1);
    ZEMU_symcopies copies;
    ZEMU_fastgen_sym_copies(cif, cube, &copies, x2, y2, z2);
    for (int m = 0; m < copies.total; m++) {
        if (copies.copy[m].x == point.x && copies.copy[m].y == point.y && copies.copy[m].z == point.z) return 1;
    }
    return 0;
}
