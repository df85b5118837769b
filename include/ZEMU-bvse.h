// Bond-valence site-energy landscape: the energy of one mobile ion on a grid
// over the unit cell, computed from the structure (Morse terms to counter-ions,
// screened Coulomb terms to like-charged ions), exactly symmetric by
// construction, into the program's grid record and its cube file variant.
#ifndef ZEMU_BVSE_H
#define ZEMU_BVSE_H

#include <string>
#include <vector>

#include "ZEMU-cif.h"
#include "ZEMU-cube.h"

#define ZEMU_BVSE_MAX_POINTS 16777216LL      // most written points (n_a n_b n_c) of any grid
#define ZEMU_BVSE_DEFAULT_MAX_POINTS 330000  // most written points the default grid rule picks

// ---------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------

// Choices of one landscape computation.
typedef struct {
    double step;    // target grid step, Angstrom (default 0.2)
    int grid[3];    // written counts per axis (repeated plane included, first odd); 0 = default rule
    double rcut;    // cut-off radius, Angstrom (default 10)
    double f;       // screening factor of the Coulomb term (default 0.74)
    int threads;    // worker threads; 0 = every core
    int progress;   // 1: progress line on stderr for long grids when stderr is a terminal
} ZEMU_bvse_options;

// What the computation found, for the reports of the front ends.
typedef struct {
    std::string error;                  // refusal reason, one line, without "Error: "; empty on success
    std::vector<std::string> warnings;  // one line each (negative-alpha pairs, unsymmetric grid)
    int grid[3];                        // written counts used
    int symmetric;                      // 1 when computed per orbit and copied; 0 when every point was computed
    long long representatives;          // grid points actually computed
} ZEMU_bvse_report;

// A mobile ion as written on the command line ("Li1+", "O2-", "F-").
typedef struct {
    std::string element;  // element symbol, e.g. "Li"
    int charge;           // signed charge, never 0
} ZEMU_bvse_ion;

// One symmetry operation read exactly: new x_i = sum_j rot[i][j] x_j + tran[i] / 24.
typedef struct {
    int rot[3][3];  // rotation part, integers
    int tran[3];    // translation part in 1/24 cell steps
} ZEMU_bvse_symop;

// One framework atom of the cell with the constants of its term for the mobile ion.
typedef struct {
    char element[4];  // element symbol
    int ox;           // oxidation state, never 0
    double occ;       // occupancy, above 0
    double frac[3];   // fractional position in [0, 1)
    int coulomb;      // 0: Morse term (counter-ion); 1: screened Coulomb term (same sign)
    double c;         // occ * d0 / 2 (Morse) or occ * 14.4 q_m q_j / sqrt(n_m n_j) (Coulomb), eV or eV*Angstrom
    double alpha;     // Morse softness, 1/Angstrom (Morse only)
    double r_min;     // Morse equilibrium distance, Angstrom (Morse only)
    double screen;    // Coulomb screening length f (rc_m + rc_j), Angstrom (Coulomb only)
} ZEMU_bvse_atom;

// The framework as the mobile ion sees it.
typedef struct {
    ZEMU_bvse_ion ion;                  // mobile ion
    double cell[3][3];                  // rows = lattice vectors a, b, c in the standard orientation, Angstrom
    double rcut;                        // cut-off radius, Angstrom (strict: r < rcut)
    std::vector<ZEMU_bvse_atom> atoms;  // framework atoms of the cell, in site and operation order
    std::vector<std::string> warnings;  // one line per negative-alpha pair in use
} ZEMU_bvse_model;

// ---------------------------------------------------------------------------
// Mobile ion, symmetry operations, cell
// ---------------------------------------------------------------------------

// Reads "Li1+", "Li+", "O2-", "F-": element known to the element table, charge with its sign. 0 or 1.
int ZEMU_bvse_parse_ion(const char* text, ZEMU_bvse_ion* ion, std::string* error);
// Reads one operation text ("-x+1/2,y,z+1/4"); rotation entries must be whole numbers. 0 or 1.
int ZEMU_bvse_parse_symop(const char* text, ZEMU_bvse_symop* op, std::string* error);
// Cell matrix in the standard orientation (rows = lattice vectors); angles in degrees.
void ZEMU_bvse_cell_matrix(double a, double b, double c, double alpha, double beta, double gamma, double m[3][3]);

// ---------------------------------------------------------------------------
// Grid choice
// ---------------------------------------------------------------------------

// Default grid for a target step (Angstrom): written counts, first odd, every
// operation mapping grid points onto grid points. 0; 1 when no grid fits.
int ZEMU_bvse_default_grid(ZEMU_cif* cif, double step, int grid[3], std::string* error);
// Accepts written counts given by hand: first odd and at least 3, others at least 2,
// at most ZEMU_BVSE_MAX_POINTS points. 0 or 1.
int ZEMU_bvse_check_grid(const int grid[3], std::string* error);
// 1 when every operation maps the kept grid (counts - 1) onto itself exactly.
int ZEMU_bvse_grid_carries_symmetry(ZEMU_cif* cif, const int grid[3]);

// ---------------------------------------------------------------------------
// Model
// ---------------------------------------------------------------------------

// Expands the structure to the cell, removes the mobile element and sets every
// atom's term. 0; 1 with *error naming the missing pair, element or counter-ion.
int ZEMU_bvse_build_model(ZEMU_cif* cif, const char* ion, double rcut, double f, ZEMU_bvse_model* model,
                          std::string* error);
// The atom's term at distance r (Angstrom), occupancy included, eV; no cut-off applied.
double ZEMU_bvse_pair_energy(const ZEMU_bvse_atom* atom, double r);
// Energy at one fractional position: every image with r < rcut, summed; not capped.
double ZEMU_bvse_point_energy(const ZEMU_bvse_model* model, const double frac[3]);
// Value stored for a sum: above 1e5 eV or not finite gives 100000.0.
double ZEMU_bvse_cap(double e);

// ---------------------------------------------------------------------------
// Landscape
// ---------------------------------------------------------------------------

// Defaults: step 0.2, default grid rule, rcut 10, f 0.74, every core, no progress line.
void ZEMU_init_bvse_options(ZEMU_bvse_options* options);
// Computes the landscape of the mobile ion `ion` ("Li1+") for the structure into cube,
// which is filled as the cube reader fills it from the written file (kept grid, voxel
// vectors, cell, ion charge, raw energies, energy ceiling). Rebuilds cif->fg and
// cif->diff_neigh for the grid. 0 on success; 1 with report->error set.
int ZEMU_bvse_landscape(ZEMU_cif* cif, const char* ion, const ZEMU_bvse_options* options, ZEMU_cube* cube,
                        ZEMU_bvse_report* report);
// Progress line text ("BVSE landscape: 1200 / 5000 points"), without line end.
std::string ZEMU_bvse_progress_text(long long done, long long total);

// ---------------------------------------------------------------------------
// Cube file
// ---------------------------------------------------------------------------

// Sets the header fields of cube (counts, voxel vectors, cell, metric terms, ion
// charge) exactly as the cube reader derives them from the file this grid is
// written to; the energy array is not touched.
void ZEMU_bvse_cube_header(ZEMU_cube* cube, const double cell[3][3], const int grid[3], const char* ion);
// Writes cube as a cube file at path (through a temporary name, renamed at the end, so
// no partial file is ever left). 0 on success; 1 with *error set.
int ZEMU_bvse_write_cube(ZEMU_cube* cube, const char* ion, const char* title, const char* path, std::string* error);

#endif
