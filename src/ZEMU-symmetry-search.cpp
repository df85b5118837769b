// The grid reduced by symmetry: the asymmetric unit (one representative grid
// point per set of equivalent points), symmetric smoothing of the energies and
// the symmetric stationary-point searches.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ZEMU.h"
#include "ZEMU-kernel.h"

namespace {

// Energy window above the global minimum whose representatives also enter sgrid (eV).
const double kLowEnergyWindow = 5.0;

// Smoothing kernel: half-width in grid steps and width.
const int kSmoothShell = 5;
const double kSmoothSigma = 0.15;
const double kSqrtTwoPi = 2.5066282746310002;
// Offsets per axis, and the kernel position of the offset (0, 0, 0).
const int kSmoothWidth = 2 * kSmoothShell + 1;
const int kSmoothCentre = (kSmoothShell * kSmoothWidth + kSmoothShell) * kSmoothWidth + kSmoothShell;

// Appends (x, y, z) to a point array of *total entries; 0, or 1 with the array
// as it was and a message when memory runs out.
int append_point(ZEMU_xyz_int** array, int* total, int* cap, int x, int y, int z) {
    if (zemu_kernel::grow_array(array, *total + 1, cap)) {
        fprintf(stderr, "Error: Memory allocation problem\n");
        return 1;
    }
    (*array)[(*total)++] = {x, y, z};
    return 0;
}

// Replaces both point lists of the grid by empty ones.
void empty_stationary_points(ZEMU_cube* cube) {
    ZEMU_free_cube_stationary_points(cube);
    ZEMU_init_cube_stationary_points(cube);
}

// ---------------------------------------------------------------------------
// Smoothing steps
// ---------------------------------------------------------------------------

// The smoothing kernel and the periodic index tables of one grid.
struct SmoothingKernel {
    std::vector<double> weight;  // per offset (a outermost, c innermost), then one trailing 0
    double normalization = 0.0;  // sum of the weights
    std::vector<int> wrap_a, wrap_b, wrap_c;  // per axis: wrapped index of (index + offset + kSmoothShell)
};

// Gaussian weights of the kernel offsets and their sum. 0; 1 when memory runs out.
int set_kernel_weights(ZEMU_cube* cube, SmoothingKernel* kernel) {
    const int kernel_size = kSmoothWidth * kSmoothWidth * kSmoothWidth;
    try {
        kernel->weight.assign((size_t)kernel_size + 1, 0.0);  // the trailing 0 serves the shifted reading
    } catch (...) {
        return 1;
    }
    const double prefactor = 1.0 / std::pow(kSmoothSigma * kSqrtTwoPi, 3);
    const double denominator = 2.0 * kSmoothSigma * kSmoothSigma;
    int n = 0;
    for (int i = -kSmoothShell; i <= kSmoothShell; i++)
        for (int j = -kSmoothShell; j <= kSmoothShell; j++)
            for (int k = -kSmoothShell; k <= kSmoothShell; k++) {
                // The exponent takes the distance itself, not its square.
                const double d = ZEMU_distance_grid(cube, 0, 0, 0, i, j, k);
                kernel->weight[n] = prefactor * std::exp(-d / denominator);
                kernel->normalization += kernel->weight[n];
                n++;
            }
    return 0;
}

// Wrapped index of (index + offset) on an axis of `count` points: the kernel
// reaches further than one cell on grids of up to five points, so the table
// reduces by full modulo.
std::vector<int> wrap_table(int count) {
    std::vector<int> table((size_t)count + 2 * kSmoothShell);
    for (int v = 0; v < (int)table.size(); v++) table[v] = ((v - kSmoothShell) % count + count) % count;
    return table;
}

// Kernel-weighted sum of the energies around every image, one accumulator over
// all images; offset n takes weight n + 1.
double kernel_sum(const ZEMU_cube* cube, const SmoothingKernel& kernel, const ZEMU_symcopies& copies) {
    double accumulator = 0.0;
    for (int m = 0; m < copies.total; m++) {
        const int x = copies.copy[m].x, y = copies.copy[m].y, z = copies.copy[m].z;
        int position = 0;
        for (int i = 0; i < kSmoothWidth; i++) {
            double** plane = cube->energy[kernel.wrap_a[x + i]];
            for (int j = 0; j < kSmoothWidth; j++) {
                const double* row = plane[kernel.wrap_b[y + j]];
                for (int k = 0; k < kSmoothWidth; k++) {
                    position++;  // advanced before the read: offset n takes weight n + 1
                    accumulator += kernel.weight[position] * row[kernel.wrap_c[z + k]];
                }
            }
        }
    }
    return accumulator;
}

// Writes the smoothed value of each representative into new_cube at all of its images.
void smooth_representatives(ZEMU_cube* cube, ZEMU_cif* cif, const ZEMU_asymmetric_unit* asym,
                            const SmoothingKernel& kernel, double*** new_cube) {
    for (int r = 0; r < asym->total; r++) {
        ZEMU_symcopies copies;
        ZEMU_fastgen_sym_copies(cif, cube, &copies, asym->grid[r].x, asym->grid[r].y, asym->grid[r].z);
        const double accumulator = kernel_sum(cube, kernel, copies);
        if (copies.total == 0) continue;
        const double value = accumulator / (copies.total * kernel.normalization);
        for (int m = 0; m < copies.total; m++) new_cube[copies.copy[m].x][copies.copy[m].y][copies.copy[m].z] = value;
    }
}

// ---------------------------------------------------------------------------
// Whole-grid search steps
// ---------------------------------------------------------------------------

// Adds every saddle and minimum of the grid at or below max_energy, marking
// them in `sites` (1 saddle, 2 minimum); 0, or 1 when a list operation fails.
int scan_stationary_points(ZEMU_cube* cube, char*** sites) {
    for (int x = 0; x < cube->a_grid; x++)
        for (int y = 0; y < cube->b_grid; y++)
            for (int z = 0; z < cube->c_grid; z++) {
                sites[x][y][z] = 0;
                const double e = cube->energy[x][y][z];
                if (e > cube->max_energy) continue;
                if (ZEMU_find_lower_energy_neighbour_cluster(cube, x, y, z) >= 2) {
                    if (ZEMU_add_cube_saddle_point(cube, x, y, z, e, 0)) return 1;
                    ZEMU_saddle& added = cube->saddle[cube->total_saddle - 1];
                    added.tx = x;
                    added.ty = y;
                    added.tz = z;
                    sites[x][y][z] = 1;
                } else if (ZEMU_is_minimum(cube, x, y, z)) {
                    const int failed = ZEMU_add_cube_minima_point(cube, x, y, z, x, y, z, e, 0);
                    sites[x][y][z] = 2;
                    if (failed) return 1;
                }
            }
    return 0;
}

// The first of the 27 periodic images of `other` (a outermost, c innermost)
// within two steps of (xi, yi, zi) on every axis, in image[]; false when none is.
bool near_image(const ZEMU_cube* cube, const ZEMU_saddle& other, int xi, int yi, int zi, int image[3]) {
    for (int da = -1; da <= 1; da++)
        for (int db = -1; db <= 1; db++)
            for (int dc = -1; dc <= 1; dc++) {
                image[0] = other.x + da * cube->a_grid;
                image[1] = other.y + db * cube->b_grid;
                image[2] = other.z + dc * cube->c_grid;
                if (std::abs(image[0] - xi) <= 2 && std::abs(image[1] - yi) <= 2 && std::abs(image[2] - zi) <= 2)
                    return true;
            }
    return false;
}

// Moves saddle i to the mean of the `count` true positions summed in it,
// wrapped into the cell, with its grid point the mean rounded.
void move_to_mean(ZEMU_cube* cube, int i, int count) {
    ZEMU_saddle& merged = cube->saddle[i];
    const ZEMU_cube_triple_index_dbl mean =
        ZEMU_shift_index_xyz_dbl(cube, merged.tx / count, merged.ty / count, merged.tz / count);
    merged.tx = mean.x;
    merged.ty = mean.y;
    merged.tz = mean.z;
    const ZEMU_cube_triple_index grid = ZEMU_shift_index_xyz(cube, (int)std::lround(mean.x), (int)std::lround(mean.y),
                                                             (int)std::lround(mean.z));
    merged.x = grid.x;
    merged.y = grid.y;
    merged.z = grid.z;
}

// Saddles split by symmetry: equivalent saddles within two steps on every axis
// (periodically) become one at their mean.
void merge_split_saddles(ZEMU_cube* cube, ZEMU_cif* cif) {
    for (int i = 0; i < cube->total_saddle; i++) {
        const int xi = cube->saddle[i].x, yi = cube->saddle[i].y, zi = cube->saddle[i].z;
        int count = 1;
        int j = i + 1;
        while (j < cube->total_saddle) {
            const ZEMU_saddle& other = cube->saddle[j];
            int image[3];
            // The cheap distance test first; the result is the same as testing symmetry first.
            if (!near_image(cube, other, xi, yi, zi, image) ||
                !ZEMU_is_symmetrically_related(cif, cube, xi, yi, zi, other.x, other.y, other.z)) {
                j++;
                continue;
            }
            cube->saddle[i].tx += image[0];
            cube->saddle[i].ty += image[1];
            cube->saddle[i].tz += image[2];
            count++;
            ZEMU_del_cube_saddle_point(cube, j);
        }
        if (count > 1) move_to_mean(cube, i, count);
    }
}

}  // namespace

// ---------------------------------------------------------------------------
// Asymmetric unit record
// ---------------------------------------------------------------------------

void ZEMU_init_asymmetric_unit(ZEMU_asymmetric_unit* asym) {
    asym->total = 0;
    asym->cap = 0;
    asym->grid = nullptr;
    asym->stotal = 0;
    asym->scap = 0;
    asym->sgrid = nullptr;
}

int ZEMU_add_asymmetric_unit_grid(ZEMU_asymmetric_unit* asym, int x, int y, int z) {
    return append_point(&asym->grid, &asym->total, &asym->cap, x, y, z);
}

int ZEMU_add_asymmetric_unit_sgrid(ZEMU_asymmetric_unit* asym, int x, int y, int z) {
    return append_point(&asym->sgrid, &asym->stotal, &asym->scap, x, y, z);
}

void ZEMU_free_asymmetric_unit(ZEMU_asymmetric_unit* asym) {
    free(asym->grid);
    free(asym->sgrid);
    ZEMU_init_asymmetric_unit(asym);
}

// ---------------------------------------------------------------------------
// Finding the asymmetric unit
// ---------------------------------------------------------------------------

int ZEMU_eval_grid_for_asymmetric_unit(char**** mark, ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym,
                                        int i, int j, int k) {
    if (i < 0 || j < 0 || k < 0 || i >= cube->a_grid || j >= cube->b_grid || k >= cube->c_grid) {
        fprintf(stderr, "Error: Invalid input to ZEMU_eval_grid_for_asymmetric_unit()\n");
        return 1;
    }
    char*** marks = *mark;
    if (marks[i][j][k] == 1) return 0;
    if (ZEMU_add_asymmetric_unit_grid(asym, i, j, k)) return 1;
    if (ZEMU_cube_energy(cube, i, j, k) < cube->global_minimum + kLowEnergyWindow &&
        ZEMU_add_asymmetric_unit_sgrid(asym, i, j, k))
        return 1;
    ZEMU_symcopies copies;
    ZEMU_fastgen_sym_copies(cif, cube, &copies, i, j, k);
    marks[i][j][k] = 1;  // also without an identity among the operations
    for (int m = 0; m < copies.total; m++) marks[copies.copy[m].x][copies.copy[m].y][copies.copy[m].z] = 1;
    return 0;
}

int ZEMU_find_asymmetric_unit(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym) {
    const int na = cube->a_grid, nb = cube->b_grid, nc = cube->c_grid;
    if (na <= 0 || nb <= 0 || nc <= 0 || cube->energy == nullptr) {
        fprintf(stderr, "Error: Invalid input to ZEMU_find_asymmetric_unit()\n");
        return 1;
    }
    char*** mark = nullptr;  // 1 where a representative or one of its images lies
    if (ZEMU_calloc_3D_char_array(&mark, na, nb, nc)) {
        ZEMU_free_3D_char_array(&mark, na, nb);
        return 1;
    }
    ZEMU_free_asymmetric_unit(asym);

    // Cubic shells from the origin over indices 0 .. N-2 of each axis: the last
    // plane of an axis is reached only as an image.
    const int A = na - 1, B = nb - 1, C = nc - 1;
    int max_shell = A;
    if (B > max_shell) max_shell = B;
    if (C > max_shell) max_shell = C;
    int failed = 0;
    for (int shell = 0; shell < max_shell && !failed; shell++) {
        if (shell < A) {
            const int x = shell;
            for (int y = 0; y <= std::min(shell, B - 1) && !failed; y++)
                for (int z = 0; z <= std::min(shell, C - 1) && !failed; z++)
                    failed = ZEMU_eval_grid_for_asymmetric_unit(&mark, cube, cif, asym, x, y, z);
        }
        if (shell < B) {
            const int y = shell;
            for (int x = 0; x <= std::min(shell, A - 1) && !failed; x++)
                for (int z = 0; z <= std::min(shell, C - 1) && !failed; z++)
                    failed = ZEMU_eval_grid_for_asymmetric_unit(&mark, cube, cif, asym, x, y, z);
        }
        if (shell < C) {
            const int z = shell;
            for (int x = 0; x <= std::min(shell, A - 1) && !failed; x++)
                for (int y = 0; y <= std::min(shell, B - 1) && !failed; y++)
                    failed = ZEMU_eval_grid_for_asymmetric_unit(&mark, cube, cif, asym, x, y, z);
        }
    }
    ZEMU_free_3D_char_array(&mark, na, nb);
    return failed;
}

// ---------------------------------------------------------------------------
// Symmetric smoothing
// ---------------------------------------------------------------------------

void ZEMU_fast_refresh_global_min(ZEMU_cube* cube, ZEMU_asymmetric_unit* asym) {
    double minimum = 9999.0;
    for (int n = 0; n < asym->total; n++) {
        const double e = ZEMU_cube_energy(cube, asym->grid[n].x, asym->grid[n].y, asym->grid[n].z);
        if (e < minimum) minimum = e;
    }
    cube->global_minimum = minimum;
}

int ZEMU_smooth_cube_with_symmetry(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym) {
    const int na = cube->a_grid, nb = cube->b_grid, nc = cube->c_grid;
    if (na <= 0 || nb <= 0 || nc <= 0 || cube->energy == nullptr) return 1;
    SmoothingKernel kernel;
    if (set_kernel_weights(cube, &kernel)) return 1;
    printf("Center weight: %f\n", kernel.weight[kSmoothCentre] / kernel.normalization);

    double*** new_cube = nullptr;
    if (ZEMU_alloc_3D_dbl_array(&new_cube, na, nb, nc)) {
        ZEMU_free_3D_dbl_array(&new_cube, na, nb);
        return 1;
    }
    // Points that are an image of no representative keep 0.
    for (int i = 0; i < na; i++)
        for (int j = 0; j < nb; j++) memset(new_cube[i][j], 0, (size_t)nc * sizeof(double));
    kernel.wrap_a = wrap_table(na);
    kernel.wrap_b = wrap_table(nb);
    kernel.wrap_c = wrap_table(nc);
    smooth_representatives(cube, cif, asym, kernel, new_cube);
    for (int i = 0; i < na; i++)
        for (int j = 0; j < nb; j++) memcpy(cube->energy[i][j], new_cube[i][j], (size_t)nc * sizeof(double));
    ZEMU_free_3D_dbl_array(&new_cube, na, nb);

    ZEMU_fast_refresh_global_min(cube, asym);
    ZEMU_shift_cube_energy(cube);
    return 0;
}

// ---------------------------------------------------------------------------
// Stationary points from the asymmetric unit
// ---------------------------------------------------------------------------

int ZEMU_find_stationary_points(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym) {
    empty_stationary_points(cube);
    for (int r = 0; r < asym->total; r++) {
        const int x = asym->grid[r].x, y = asym->grid[r].y, z = asym->grid[r].z;
        if (ZEMU_cube_energy(cube, x, y, z) > cube->max_energy) continue;
        const int clusters = ZEMU_find_lower_energy_neighbour_cluster(cube, x, y, z);
        const bool saddle = clusters >= 2;
        if (!saddle && !ZEMU_is_minimum(cube, x, y, z)) continue;

        ZEMU_symcopies copies;
        ZEMU_fastgen_sym_copies(cif, cube, &copies, x, y, z);
        ZEMU_condense_copies(cif, cube, &copies, 1);
        for (int m = 0; m < copies.total; m++) {
            const ZEMU_fastgen_xyz& c = copies.copy[m];
            const double e = ZEMU_cube_energy(cube, c.x, c.y, c.z);
            if (!saddle) {
                if (ZEMU_add_cube_minima_point(cube, c.x, c.y, c.z, c.p, c.q, c.r, e, 0)) return 1;
                continue;
            }
            if (ZEMU_add_cube_saddle_point(cube, c.x, c.y, c.z, e, 0)) return 1;
            ZEMU_saddle& added = cube->saddle[cube->total_saddle - 1];
            added.tx = c.p;
            added.ty = c.q;
            added.tz = c.r;
            ZEMU_del_cube_minima_point_by_loc(cube, c.x, c.y, c.z);  // a saddle overrides a minimum
        }
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Stationary points over the whole grid, for operations that mix axes
// ---------------------------------------------------------------------------

int ZEMU_find_stationary_points2(ZEMU_cube* cube, ZEMU_cif* cif) {
    const int na = cube->a_grid, nb = cube->b_grid, nc = cube->c_grid;
    if (na <= 0 || nb <= 0 || nc <= 0 || cube->energy == nullptr) return 1;
    char*** sites = nullptr;
    if (ZEMU_alloc_3D_char_array(&sites, na, nb, nc)) {
        ZEMU_free_3D_char_array(&sites, na, nb);
        return 1;
    }
    empty_stationary_points(cube);
    const int failed = scan_stationary_points(cube, sites);
    ZEMU_free_3D_char_array(&sites, na, nb);  // working memory of this call only, released on every outcome
    if (failed) return 1;
    merge_split_saddles(cube, cif);
    return 0;
}
