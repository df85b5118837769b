// Energy landscape grid: the cube file reader, the periodic energy grid with
// its cell geometry, energy scaling, the minima and saddle point lists with the
// local classification tests, the stationary point reports and the
// nearest-neighbour queries over periodic images.
#ifndef ZEMU_CUBE_H
#define ZEMU_CUBE_H

#include <cstdio>

#include "ZEMU-rpn.h"

#define ZEMU_BOHR_TO_ANGSTROM 0.529177249   // Angstrom per Bohr
#define ZEMU_CUBE_LINE_SIZE 1000            // line buffer of the cube reader (characters)
#define ZEMU_SCALING_TEXT_SIZE 100          // working buffer of a scaling expression
#define ZEMU_PLATEAU_MAX_POINTS 28          // largest plateau the flood accepts

// ---------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------

// One grid point, integer indices (passed and returned by value).
typedef struct {
    int x;  // index along a
    int y;  // index along b
    int z;  // index along c
} ZEMU_cube_triple_index;

// One real grid position in grid units (passed and returned by value).
typedef struct {
    double x;  // position along a, grid steps
    double y;  // position along b, grid steps
    double z;  // position along c, grid steps
} ZEMU_cube_triple_index_dbl;

// A crystallographic site of the mobile ion assigned to a minimum.
typedef struct {
    char label[10];  // site label from the structure, at most 9 characters
    double occ;      // occupancy
} ZEMU_site_occupied_ion;

// One energy minimum (candidate ion site).
typedef struct {
    int x, y, z;                  // grid indices, inside the grid
    double tx, ty, tz;            // true position in grid steps (plateau mean; may lie outside 0..n)
    int type;                     // symmetry type number, 0 until grouped
    int mul;                      // multiplicity (number of grid images), set by the grouping
    double e;                     // energy at the point, eV on the grid's scale
    int total_ions;               // used entries of ion
    int total_ions_cap;           // allocated entries of ion
    ZEMU_site_occupied_ion* ion;  // owned, total_ions entries: mobile-ion sites at this minimum
    int ins_label;                // interstitial label number, 0 for a mobile-ion site
} ZEMU_minima;

// One saddle point (bottleneck between basins).
typedef struct {
    int x, y, z;        // grid indices, inside the grid
    double tx, ty, tz;  // true position in grid steps (plateau mean)
    int type;           // symmetry type number, 0 until grouped
    int mul;            // multiplicity, set by the grouping
    double e;           // energy at the point, eV on the grid's scale
} ZEMU_saddle;

// The points of one flat plateau, with the unwrapped indices at which the
// flood reached them, in the order the flood reached them.
typedef struct {
    int total;                    // points in use
    int cap;                      // points allocated
    ZEMU_cube_triple_index* item; // owned, total entries
} ZEMU_same_energy_grid_list;

// Fixed-length result of a nearest-minima / nearest-saddle search, sorted by
// ascending distance; owned by the caller.
typedef struct {
    double target_x, target_y, target_z;  // target position, grid steps
    int total;                            // number of entries kept
    int include_target;                   // caller's flag; cleared when an image sits on the target
    int* index;                           // total entries: index into the minima / saddle list
    int* i;                               // total entries: image offset along a, whole cells
    int* j;                               // total entries: image offset along b, whole cells
    int* k;                               // total entries: image offset along c, whole cells
    double* distance;                     // total entries: Angstrom, ascending; 999999.0 = empty
} ZEMU_nearest_neighbour;

// The energy grid of one run with its cell and its stationary points.
typedef struct {
    int cube;                                // 1 once the run has a cube file
    int smooth_cube;                         // 1 when symmetric smoothing is requested
    double a_x, a_y, a_z;                    // voxel step along the first axis, Angstrom
    double b_x, b_y, b_z;                    // voxel step along the second axis, Angstrom
    double c_x, c_y, c_z;                    // voxel step along the third axis, Angstrom
    double a, b, c;                          // cell edges = step length * count as read, Angstrom
    double a_unit, b_unit, c_unit;           // voxel step lengths, Angstrom
    double alpha, beta, gamma;               // cell angles, radians (alpha: b^c, beta: a^c, gamma: a^b)
    double volume;                           // cell volume, Angstrom^3
    int a_grid, b_grid, c_grid;              // grid points per axis (after the odd-grid reduction)
    double*** energy;                        // owned, [a_grid][b_grid][c_grid], eV
    double global_minimum;                   // lowest grid energy, eV; 0 after processing
    double max_energy_above_gmin;            // run option, scaled measure; 0 = not given
    double max_energy;                       // ceiling of the stationary point search, eV (grid scale)
    double energy_shift;                     // total added to every energy by shifting, eV
    double ion_charge;                       // charge of the mobile ion (default 1.0)
    ZEMU_cube_triple_index* scube;           // owned, scube_total entries: general grid point list
    int scube_total;                         // used entries of scube
    int scube_cap;                           // allocated entries of scube
    int scaling;                             // 1 when the scaling expression is applied
    ZEMU_RPN_token RPN;                      // compiled scaling expression in E
    int total_minima, total_saddle;          // used entries of minima / saddle
    int total_minima_cap, total_saddle_cap;  // allocated entries of minima / saddle
    int total_minima_type, total_saddle_type;// number of symmetry types T
    int* minima_type_index;                  // owned, T + 1 entries: first member of type t (entry 0 unused)
    int* saddle_type_index;                  // owned, T + 1 entries: first member of type t (entry 0 unused)
    ZEMU_minima* minima;                     // owned, total_minima entries
    ZEMU_saddle* saddle;                     // owned, total_saddle entries
    double d1, d2, d3;                       // a^2, b^2, c^2, Angstrom^2
    double d4, d5, d6;                       // 2ab cos(gamma), 2bc cos(alpha), 2ac cos(beta), Angstrom^2
    int lines_to_ignore;                     // atom lines after the header (the atom count)
} ZEMU_cube;

// ---------------------------------------------------------------------------
// Grid life cycle: init, load, derive the cell, process, export, free
// ---------------------------------------------------------------------------

// Empties the record: no arrays, no lists, no scaling, ion charge 1.0.
void ZEMU_init_cube(ZEMU_cube* cube);
// Reads a cube file (one energy per line); sets the energy ceiling
// (ZEMU_set_energy_ceiling, the program's own inverse). 0 or 1.
int ZEMU_load_cube(char* input_cube_file, ZEMU_cube* cube);
// Ceiling of the stationary-point search from max_energy_above_gmin (scaled
// measure; 0 = 5 eV raw) on a grid not yet processed: max_energy = global
// minimum + the raw energy above it, found by the program's own inverse
// (exact 0) or the exact one (exact 1). 0, or 1 when the exact inverse finds
// no raw energy (message printed).
int ZEMU_set_energy_ceiling(ZEMU_cube* cube, int exact);
// Sets global_minimum to the lowest energy of the grid as the reader does
// (never above 9999.9), for grids filled other than by the reader.
void ZEMU_refresh_global_minimum(ZEMU_cube* cube);
// Cell lengths, angles, volume and metric terms from the voxel vectors and counts.
void ZEMU_calc_cell_parameter(ZEMU_cube* cube);
// Reads the energy lines from a stream positioned after the atom lines. 0 or 1.
int ZEMU_load_cube_energy(FILE* fptr, ZEMU_cube* cube);
int ZEMU_alloc_cube_energy(ZEMU_cube* cube);
void ZEMU_free_cube_energy(ZEMU_cube* cube);
// Shifts the grid so that its lowest energy is 0. Always 0.
int ZEMU_process_cube(ZEMU_cube* cube);
// Writes the grid as "ZEMU_cube.cube" in the working directory. 0 or 1.
int ZEMU_export_cube(ZEMU_cube* cube);
// Releases the energy array, the point lists and the scaling expression.
void ZEMU_free_cube(ZEMU_cube* cube);

// ---------------------------------------------------------------------------
// Three-dimensional arrays: x row pointers, each with y pointers to z elements
// ---------------------------------------------------------------------------

int ZEMU_alloc_3D_int_array(int**** array, int x, int y, int z);
int ZEMU_alloc_3D_dbl_array(double**** array, int x, int y, int z);
int ZEMU_alloc_3D_char_array(char**** array, int x, int y, int z);
int ZEMU_calloc_3D_char_array(char**** array, int x, int y, int z);  // zero-filled
void ZEMU_free_3D_int_array(int**** array, int x, int y);
void ZEMU_free_3D_dbl_array(double**** array, int x, int y);
void ZEMU_free_3D_char_array(char**** array, int x, int y);

// ---------------------------------------------------------------------------
// Periodic indexing, distances, angles
// ---------------------------------------------------------------------------

// Wraps index p on axis 1 (a), 2 (b) or 3 (c); -1 for any other axis.
// A negative whole multiple of n other than -n gives n (callers step one cell only).
int ZEMU_shift_index(ZEMU_cube* cube, int p, int axis);
double ZEMU_shift_index_dbl(ZEMU_cube* cube, double p, int axis);
ZEMU_cube_triple_index ZEMU_shift_index_xyz(ZEMU_cube* cube, int a, int b, int c);
ZEMU_cube_triple_index_dbl ZEMU_shift_index_xyz_dbl(ZEMU_cube* cube, double a, double b, double c);
// Energy at the wrapped indices.
double ZEMU_cube_energy(ZEMU_cube* cube, int x, int y, int z);
// 1 when |a - b| < 1e-10, else 0.
int ZEMU_cube_equal_dbl(double a, double b);
// Distance in Angstrom between two grid positions (grid steps), no image search.
double ZEMU_distance_grid(ZEMU_cube* cube, double x1, double y1, double z1, double x2, double y2, double z2);
// Distance in Angstrom between two fractional positions, no image search.
double ZEMU_distance_frac(ZEMU_cube* cube, double x1, double y1, double z1, double x2, double y2, double z2);
// Angle at point 2 between points 1 and 3 (grid indices), radians.
double ZEMU_angle(ZEMU_cube* cube, int x1, int y1, int z1, int x2, int y2, int z2, int x3, int y3, int z3);

// ---------------------------------------------------------------------------
// Energy scaling (scaled = f(raw), an expression in E)
// ---------------------------------------------------------------------------

// Compiles the expression into cube->RPN; it must contain the variable E. 0 or 1.
int ZEMU_parse_energy_scaling(ZEMU_cube* cube, char* text);
// Scaled energy of a raw energy (identity when scaling is off).
double ZEMU_scale_cube_energy(ZEMU_cube* cube, double e);
// Raw energy whose scaled value is s, by bisection (warns and gives 1.0 when it cannot).
double ZEMU_get_unscaled_from_scaled(ZEMU_cube* cube, double s);
// Raw energy e >= 0 with scaled value s for an increasing scaling, to the
// precision of a double (bisection until the bracket cannot shrink; identity
// when scaling is off). 0, or 1 when no e >= 0 scales to s.
int ZEMU_get_unscaled_from_scaled_exact(ZEMU_cube* cube, double s, double* raw);
// Subtracts the global minimum from every energy, the ceiling and the shift.
void ZEMU_shift_cube_energy(ZEMU_cube* cube);

// ---------------------------------------------------------------------------
// Minima and saddle point lists
// ---------------------------------------------------------------------------

// Empties both lists without freeing them.
void ZEMU_init_cube_stationary_points(ZEMU_cube* cube);
// Growth after the caller incremented the count. 0 or 1.
int ZEMU_alloc_cube_minima_point(ZEMU_cube* cube);
int ZEMU_alloc_cube_saddle_point(ZEMU_cube* cube);
int ZEMU_alloc_cube_minima_ions(ZEMU_minima* minima);
int ZEMU_add_cube_minima_point(ZEMU_cube* cube, int x, int y, int z, double true_x, double true_y,
                               double true_z, double e, int type);
int ZEMU_add_cube_minima_ion(ZEMU_minima* minima, char* label, double occ);
int ZEMU_add_cube_saddle_point(ZEMU_cube* cube, int x, int y, int z, double e, int type);
int ZEMU_ins_cube_saddle_point(ZEMU_cube* cube, int x, int y, int z, double e, int type, int pos);
// Removal of entry k (ignored when out of range); a minimum's ion list is not released.
void ZEMU_del_cube_minima_point(ZEMU_cube* cube, int k);
void ZEMU_del_cube_saddle_point(ZEMU_cube* cube, int k);
void ZEMU_del_cube_minima_point_by_loc(ZEMU_cube* cube, int i, int j, int k);
// Former index of the removed saddle point, or -1.
int ZEMU_del_cube_saddle_point_by_loc(ZEMU_cube* cube, int i, int j, int k);
// 1 when a saddle point has exactly these (unwrapped) indices.
int ZEMU_inlist_cube_saddle_point(ZEMU_cube* cube, int i, int j, int k);
// 1 when a minimum has the wrapped indices.
int ZEMU_isin_minima_list(ZEMU_cube* cube, int x, int y, int z);
// Frees every minimum's ion list, the minima array and minima_type_index;
// total_minima, total_minima_cap and total_minima_type become 0.
void ZEMU_free_cube_minima_points(ZEMU_cube* cube);
// Frees the saddle array and saddle_type_index; total_saddle, total_saddle_cap
// and total_saddle_type become 0.
void ZEMU_free_cube_saddle_points(ZEMU_cube* cube);
// Both of the above, minima first.
void ZEMU_free_cube_stationary_points(ZEMU_cube* cube);

// ---------------------------------------------------------------------------
// Local classification of grid points
// ---------------------------------------------------------------------------

// 1 when no neighbour of the 26 is lower (equal neighbours allowed).
int ZEMU_is_minimum(ZEMU_cube* cube, int x, int y, int z);
// Number of separate groups of lower neighbours in the 3x3x3 block (2 or more: saddle).
int ZEMU_find_lower_energy_neighbour_cluster(ZEMU_cube* cube, int i, int j, int k);

void ZEMU_init_same_energy_grid_list(ZEMU_same_energy_grid_list* list);
int ZEMU_alloc_same_energy_grid_list(ZEMU_same_energy_grid_list* list);
void ZEMU_free_same_energy_grid_list(ZEMU_same_energy_grid_list* list);
// Collects the connected equal-energy plateau of (i, j, k): 0 done, -1 more
// than ZEMU_PLATEAU_MAX_POINTS points, 1 memory failure.
int ZEMU_find_same_energy_neighbours(ZEMU_cube* cube, ZEMU_same_energy_grid_list* list, int i, int j, int k);

// Whole-grid search without symmetry; replaces both lists. 0 or 1.
int ZEMU_find_stationary_points3(ZEMU_cube* cube);
// Site label of a minimum type ("i3", "Li1/Li2" or empty) in a new text the caller frees. 0 or 1.
int ZEMU_label_minima_site(ZEMU_cube* cube, char** text, int type);

// ---------------------------------------------------------------------------
// Nearest-neighbour queries over periodic images
// ---------------------------------------------------------------------------

int ZEMU_init_nearest_neighbour(ZEMU_nearest_neighbour* list, int total, double x, double y, double z,
                                int include_target);
int ZEMU_alloc_nearest_neighbour(ZEMU_nearest_neighbour* list);
void ZEMU_free_nearest_neighbour(ZEMU_nearest_neighbour* list);
// Sorted insertion; equal distances keep the earlier entry first.
void ZEMU_add_nearest_neighbour(ZEMU_nearest_neighbour* list, int index, int i, int j, int k, double distance);
int ZEMU_get_nearest_minima(ZEMU_cube* cube, ZEMU_nearest_neighbour* list);
int ZEMU_get_nearest_saddle(ZEMU_cube* cube, ZEMU_nearest_neighbour* list);

// ---------------------------------------------------------------------------
// Reports
// ---------------------------------------------------------------------------

// Minima by type; 0, or 1 when a plateau flood fails.
int ZEMU_printminima(ZEMU_cube* cube, FILE* fptr);
// Saddle points by type; 0, or 1 when a plateau flood fails.
int ZEMU_printsaddle(ZEMU_cube* cube, FILE* fptr);

#endif
