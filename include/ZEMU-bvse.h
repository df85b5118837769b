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

// ---------------------------------------------------------------------------
// Landscape
// ---------------------------------------------------------------------------

// Defaults: step 0.2, default grid rule, rcut 10, f 0.74, every core, no progress line.
void ZEMU_init_bvse_options(ZEMU_bvse_options* options);
// Computes the landscape of the mobile ion `ion` ("Li1+") for the structure into cube,
// which is filled as the cube reader fills it from the written file (kept grid, voxel
// vectors, cell, ion charge, raw energies). 0 on success; 1 with report->error set.
int ZEMU_bvse_landscape(ZEMU_cif* cif, const char* ion, const ZEMU_bvse_options* options, ZEMU_cube* cube,
                        ZEMU_bvse_report* report);
// Writes cube as a cube file at path (through a temporary name, renamed at the end, so
// no partial file is ever left). 0 on success; 1 with *error set.
int ZEMU_bvse_write_cube(ZEMU_cube* cube, const char* ion, const char* title, const char* path, std::string* error);

#endif
