// The analysis pipeline driver: a whole run as the configuration selects it,
// or the stages of a path run on a grid and structure already in memory.
#ifndef ZEMU_DRIVER_H
#define ZEMU_DRIVER_H

#include "ZEMU-cif.h"
#include "ZEMU-cube.h"
#include "ZEMU-input.h"
#include "ZEMU-path.h"

// Energy bound (eV above the global minimum) of every network analysis the driver runs.
#define ZEMU_NETWORK_MAX_ENERGY 999.0

// ---------------------------------------------------------------------------
// Pipeline driver
// ---------------------------------------------------------------------------

// Runs one whole analysis as the configuration selects; 0 on success, 1 when a stage failed.
int ZEMU(ZEMU_input* input);

// ---------------------------------------------------------------------------
// Stages shared by the driver and the command mode's restart
// ---------------------------------------------------------------------------

// Groups the saddle points, then the minima, into symmetry types, assigns the
// mobile ion to its sites (when assign_ion is 1) and labels the interstitials.
// 0, or 1 when a step failed (its message on stderr).
int ZEMU_group_stationary_points(ZEMU_cube* cube, ZEMU_cif* cif, int assign_ion);
// Builds the path library: a path per saddle type, all their symmetric copies,
// redundant copies removed. The library must be empty or freed. 0 or 1.
int ZEMU_build_path_library(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib);
// Writes the built reaction pathway to "ZEMU_rp.csv" and prints done_line.
// strict 1: the done line only when the whole pathway was written, and 1 when
// the file cannot be opened or a pathway cannot be joined; strict 0: the done
// line whenever the file opened, and 0 always (see the callers for why).
int ZEMU_write_reaction_pathway(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all,
                                const char* done_line, int strict);
// Writes "ZEMU_summary.txt": the minimum and saddle reports, the path library
// and the network at every saddle. 1 when the file cannot be written.
int ZEMU_write_summary(ZEMU_cube* cube, ZEMU_pathlib* pathlib);

// Choices of one analysis in memory (the stages of a run with a grid, a
// structure, an ion and --path).
typedef struct {
    char ion_type[ZEMU_MAX_ION_TYPE_LENGTH];  // mobile ion type, such as "Li1+"; its default scaling applies
    double max;                               // ceiling above the global minimum, scaled eV; 0 = default (5 eV raw)
    int exact_max;                            // 1: the ceiling's raw energy by the exact inverse; 0: as --max does
    int quiet;                                // 1: standard output silenced while the stages run (stderr passes)
    int write_files;                          // 1: ZEMU_events.txt, ZEMU_rp.csv, ZEMU_summary.txt, ZEMU.vesta in the working directory
    char cube_file[ZEMU_MAX_FILENAME_LENGTH]; // grid file named in ZEMU.vesta; empty = none
} ZEMU_run_options;

// What one analysis in memory found.
typedef struct {
    int grid[3];            // grid points per axis, as kept
    int minima_types;       // symmetry types of minima
    int saddle_types;       // symmetry types of saddle points kept
    int paths;              // distinct migration paths
    int percolates[3];      // 1 when the path network percolates in 1, 2, 3 dimensions below the ceiling
    double e1d, e2d, e3d;   // activation energies, scaled eV; 0 where percolates[d] is 0
    double ceiling;         // ceiling of the stationary-point search, scaled eV above the global minimum
} ZEMU_run_result;

// Defaults: no ion, default ceiling as --max, quiet, no files.
void ZEMU_init_run_options(ZEMU_run_options* options);
// Runs on a raw grid (as ZEMU_load_cube leaves it, without scaling) and a read
// structure the stages `zemu --cube C --cif S ION --path` runs: the ion's default
// scaling, ceiling, processing, site analysis, paths, network, activation energies
// and the reaction pathway. cube and cif stay the caller's and keep the results
// (processed, scaled grid with its stationary points; structure with the ion).
// 0 with *result filled, 1 when a stage failed (its message on stderr).
int ZEMU_run_in_memory(ZEMU_cube* cube, ZEMU_cif* cif, const ZEMU_run_options* options, ZEMU_run_result* result);

#endif
