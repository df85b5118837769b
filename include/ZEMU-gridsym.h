// Grid symmetry: the structure's operations as integer operations on the grid,
// the asymmetric unit of the grid, symmetric smoothing and the symmetric
// stationary-point search.
#ifndef ZEMU_GRIDSYM_H
#define ZEMU_GRIDSYM_H

#include "ZEMU-cif.h"
#include "ZEMU-cube.h"

// ---------------------------------------------------------------------------
// Grid symmetry: integer operations on the grid, asymmetric unit, symmetric
// smoothing and the symmetric stationary-point search
// ---------------------------------------------------------------------------

// One grid point.
typedef struct {
    int x, y, z;  // grid indices along a, b, c
} ZEMU_xyz_int;

// One representative grid point for every set of symmetry-equivalent points.
typedef struct {
    int total;           // representatives in grid
    int cap;             // allocated entries of grid
    ZEMU_xyz_int* grid;  // every representative, in discovery order, owned
    int stotal;          // representatives in sgrid
    int scap;            // allocated entries of sgrid
    ZEMU_xyz_int* sgrid; // representatives below the global minimum + 5.0 eV, owned
} ZEMU_asymmetric_unit;

// Integer operations on the grid (records ZEMU_fastgen_* and ZEMU_symcopies in ZEMU-cif.h).
// Builds cif->fg from the operation texts and the grid counts; sets cif->diff_neigh.
void ZEMU_prepare_fastgen_symop(ZEMU_cif* cif, ZEMU_cube* cube);
// Distinct grid images of an integer grid point (x, y, z of each image set).
void ZEMU_fastgen_sym_copies(ZEMU_cif* cif, ZEMU_cube* cube, ZEMU_symcopies* copies, int x, int y, int z);
// Distinct images of a real-valued grid position (p, q, r of each image set).
void ZEMU_fastgen_sym_copies_dbl(ZEMU_cif* cif, ZEMU_cube* cube, ZEMU_symcopies* copies, double p, double q,
                                 double r);
// Merges images within radius grid steps of each other (periodically) into their mean, in place.
void ZEMU_condense_copies(ZEMU_cif* cif, ZEMU_cube* cube, ZEMU_symcopies* copies, int radius);
// 1 when grid point 1 is an exact grid image of grid point 2, else 0.
int ZEMU_is_symmetrically_related(ZEMU_cif* cif, ZEMU_cube* cube, int x1, int y1, int z1, int x2, int y2, int z2);
// Rounds a merged coordinate a; an exact half resolves to b, the first image's own index.
int ZEMU_round_copies(double a, int b);

// Asymmetric unit. The appenders give 0, or 1 with the list as it was when memory runs out.
void ZEMU_init_asymmetric_unit(ZEMU_asymmetric_unit* asym);
int ZEMU_add_asymmetric_unit_grid(ZEMU_asymmetric_unit* asym, int x, int y, int z);
int ZEMU_add_asymmetric_unit_sgrid(ZEMU_asymmetric_unit* asym, int x, int y, int z);
void ZEMU_free_asymmetric_unit(ZEMU_asymmetric_unit* asym);
int ZEMU_find_asymmetric_unit(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym);
int ZEMU_eval_grid_for_asymmetric_unit(char**** mark, ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym,
                                        int i, int j, int k);

// Symmetric smoothing (prints the kernel's centre weight) and the global minimum over the unit.
int ZEMU_smooth_cube_with_symmetry(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym);
void ZEMU_fast_refresh_global_min(ZEMU_cube* cube, ZEMU_asymmetric_unit* asym);

// Symmetric stationary-point search: over the unit (diff_neigh 0) or the whole grid (diff_neigh 1).
int ZEMU_find_stationary_points(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym);
int ZEMU_find_stationary_points2(ZEMU_cube* cube, ZEMU_cif* cif);

#endif
