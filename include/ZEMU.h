// Run configuration, command line and the analysis pipeline driver.
// Includes every module header, so a client needs only this one.
#ifndef ZEMU_H
#define ZEMU_H

#include <cstdio>

#include "ZEMU-math.h"
#include "ZEMU-cube.h"
#include "ZEMU-cif.h"
#include "ZEMU-path.h"
#include "ZEMU-hk.h"

// ---------------------------------------------------------------------------
// Limits of the run configuration
// ---------------------------------------------------------------------------

#define ZEMU_MAX_EXPRESSION_LENGTH 100  // scaling expression field, terminator included
#define ZEMU_MAX_FILENAME_LENGTH 1000   // file name fields, terminator included
#define ZEMU_MAX_ION_TYPE_LENGTH 10     // ion type field

// Energy bound (eV above the global minimum) of every network analysis the driver runs.
#define ZEMU_NETWORK_MAX_ENERGY 999.0

// ---------------------------------------------------------------------------
// Run configuration
// ---------------------------------------------------------------------------

// One run's choices, filled from the command line. All flags are 0 or 1; a
// text field is only meaningful while its flag is set.
typedef struct {
    int scaling;                                         // --scale given
    char scaling_expression[ZEMU_MAX_EXPRESSION_LENGTH];  // energy scaling expression in E
    int cube;                                            // --cube given
    char cube_file[ZEMU_MAX_FILENAME_LENGTH];            // energy grid file
    double max;                                          // --max: ceiling above the minimum, scaled eV; 0 = default
    int cif;                                             // --cif given
    char cif_file[ZEMU_MAX_FILENAME_LENGTH];             // crystal structure file
    int ion;                                             // an ion type followed the CIF path
    char ion_type[ZEMU_MAX_ION_TYPE_LENGTH];             // mobile ion type, such as "Na1+"
    int path;                                            // --path
    int vesta;                                           // --vesta
    int summary;                                         // --summary
    int cmd;                                             // --cmd
    int HK;                                              // --hk (stored, read by no stage)
    int gui;                                             // --gui
    int calc_charge;                                     // --calc-charge
    int calc_bvsum;                                      // --calc-bvsum
    int calc_gii;                                        // --calc-gii
    int print_minima;                                    // --print-minima
    int print_saddle;                                    // --print-saddle
    int print_path;                                      // --print-path
    int print_perc;                                      // --print-perc
    int print_act;                                       // --print-act
    int smooth_cube;                                     // --smooth-cube
    int check_sub;                                       // --check-sub
    int check_subs;                                      // --check-subs
} ZEMU_input;

void ZEMU_init_input(ZEMU_input* input);
int ZEMU_isflag(char* flag);
void ZEMU_process_command(ZEMU_input* input, int argc, char** argv);

// ---------------------------------------------------------------------------
// Grid symmetry: integer operations on the grid, asymmetric unit, symmetric
// smoothing and the symmetric stationary-point search
// ---------------------------------------------------------------------------
// (grid-symmetry module: records and declarations below this line)

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

// Asymmetric unit.
void ZEMU_init_asymmetric_unit(ZEMU_asymmetric_unit* asym);
int ZEMU_alloc_asymmetric_unit_grid(ZEMU_asymmetric_unit* asym);
int ZEMU_alloc_asymmetric_unit_sgrid(ZEMU_asymmetric_unit* asym);
int ZEMU_add_asymmetric_unit_grid(ZEMU_asymmetric_unit* asym, int x, int y, int z);
int ZEMU_add_asymmetric_unit_sgrid(ZEMU_asymmetric_unit* asym, int x, int y, int z);
void ZEMU_free_asymmetric_unit(ZEMU_asymmetric_unit* asym);
int ZEMU_find_asymmetric_unit(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym);
int ZEMU_eval_grid_for_asymmetric_unit(int**** mark, ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym,
                                       int i, int j, int k);

// Symmetric smoothing (prints the kernel's centre weight) and the global minimum over the unit.
int ZEMU_smooth_cube_with_symmetry(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym);
void ZEMU_fast_refresh_global_min(ZEMU_cube* cube, ZEMU_asymmetric_unit* asym);

// Symmetric stationary-point search: over the unit (diff_neigh 0) or the whole grid (diff_neigh 1).
int ZEMU_find_stationary_points(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym);
int ZEMU_find_stationary_points2(ZEMU_cube* cube, ZEMU_cif* cif);

// ---------------------------------------------------------------------------
// Site analysis: grouping minima and saddles into types, mobile-ion sites and
// interstitials
// ---------------------------------------------------------------------------
// (site-analysis module: records and declarations below this line)

#define ZEMU_MAX_ION_DELOCALISED_SITES 26  // most minima one ion copy is shared among
#define ZEMU_MAX_SITE_ION_TYPE 26          // most distinct ion labels one minimum holds

// One symmetry-equivalent copy of a mobile-ion site (working record of the assignment).
typedef struct {
    double x, y, z;                              // fractional coordinates of this copy
    char label[ZEMU_CIF_LABEL_SIZE];             // label of the structure site
    double occ;                                  // occupancy of the structure site
    int minima[ZEMU_MAX_ION_DELOCALISED_SITES];  // minima indices sharing this copy; -1 = unused
} ZEMU_ion_position;

// Grouping into symmetry types numbered 1..T by ascending energy; members of a
// type contiguous, type_index[t] = first member. 0 or 1.
int ZEMU_group_minima_by_symmetry(ZEMU_cube* cube, ZEMU_cif* cif);
// Also drops saddle types next to a lower type or on a plateau of more than 27
// points, and thins plateau duplicates. 0 or 1.
int ZEMU_group_saddle_by_symmetry(ZEMU_cube* cube, ZEMU_cif* cif);
// Rebuild type_index from a list sorted by type.
void ZEMU_refresh_minima_type_index(ZEMU_cube* cube);
void ZEMU_refresh_saddle_type_index(ZEMU_cube* cube);

// Deletion keeping the grouping invariants. 0 or 1 (bad input: message, nothing changed).
int ZEMU_delete_minima(ZEMU_cube* cube, int index);
int ZEMU_delete_saddle(ZEMU_cube* cube, int index);
int ZEMU_delete_minima_type(ZEMU_cube* cube, int type);
int ZEMU_delete_saddle_type(ZEMU_cube* cube, int type);

// Matches every copy of the probe-type sites to its nearest minimum (or the
// equally near minima, sharing the occupancy). 0 or 1.
int ZEMU_assign_ion_to_sites(ZEMU_cube* cube, ZEMU_cif* cif);
// Running interstitial numbers for the minima that hold no ion.
void ZEMU_assign_interstitial_labels(ZEMU_cube* cube, ZEMU_cif* cif);
// One site per minima type into the structure: mode 1 interstitials (type "IS"),
// 2 mobile-ion sites under their labels, 3 the same named element + counter. 0 or 1.
int ZEMU_add_interstitial_to_cif(ZEMU_cube* cube, ZEMU_cif* cif, int mode);
// One site "s<t>" of type "SD" per saddle type. 0 or 1.
int ZEMU_add_saddle_to_cif(ZEMU_cube* cube, ZEMU_cif* cif);

// ---------------------------------------------------------------------------
// Command mode and the CIF export command
// ---------------------------------------------------------------------------
// (command-mode module: records and declarations below this line)

// Command mode: reads commands from standard input and works on the run's
// objects in place, until "end" (or the end of the input): 0. 1 when collecting
// the paths of "connect" runs out of memory or joining them fails.
int ZEMU_parse_command_mode_input(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib,
                                  ZEMU_reaction_pathway_overall* rp_all, ZEMU_input* input);

// Most words the export command takes from its line.
#define ZEMU_CMD_EXPORT_MAX_WORDS 16

// "help\n" prints the command list, "help <command>\n" that command's usage
// block; non-zero when the line was a help request (and its text printed).
int ZEMU_cmd_help(char* line);
// Splits a line into at most argv_size words in place: white space separates,
// a double-quoted word may hold blanks. Number of words stored.
size_t ZEMU_tokenize_string(char* string, char** argv, size_t argv_size);
// "export cif ..." (the whole line as typed): writes a copy of the structure,
// optionally with the analysis results, as CIF. 0, or 1 when the P1 expansion fails.
int ZEMU_cmd_export_cif(char* cmd, ZEMU_cube* cube, ZEMU_cif* cif);

// ---------------------------------------------------------------------------
// Visual outputs: GUI table and VESTA project file
// ---------------------------------------------------------------------------
// (visual-output module: records and declarations below this line)

// GUI table "ZEMU_gui.csv": minimum types, minima, saddle types, saddle points,
// paths and activation energies, six sections each closed by "END". Prints
// "GUI output done." on success. 1 when the file cannot be written or a plateau
// flood fails. The structure is not read.
int ZEMU_print_GUI_output(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib);

// VESTA project file "ZEMU.vesta": the structure, the run's cube file as volumetric
// data and three isosurfaces at the 1-D, 2-D and 3-D activation energies. 1 only
// when the file cannot be opened.
int ZEMU_print_vesta_output(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib, ZEMU_input* input);
// Blocks of the project file, each with its keyword line and closing row.
void ZEMU_print_vesta_symop(ZEMU_cif* cif, FILE* fpw);
void ZEMU_print_vesta_struc(ZEMU_cif* cif, FILE* fpw);
// Bond rows for every cation-anion pair of types without the mobile ion's element.
void ZEMU_print_vesta_bond(ZEMU_cif* cif, FILE* fpw);
void ZEMU_print_vesta_SITET(ZEMU_cif* cif, FILE* fpw);
void ZEMU_print_vesta_ATOMT(ZEMU_cif* cif, FILE* fpw);
// "ISURF" keyword and the three isosurface rows (the caller closes the block).
void ZEMU_print_vesta_ISURF(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib, FILE* fpw);
// Longest bond (Angstrom) of a cation-anion pair from "bin/database_binary.dat":
// where the bond valence falls to ox_1 / (4.25 cn); -1.0 when unknown.
double ZEMU_maximum_pair_distance(char* cation, char* anion, double ox_1, double ox_2);

// ---------------------------------------------------------------------------
// Pipeline driver
// ---------------------------------------------------------------------------

// Runs one whole analysis as the configuration selects; 0 on success, 1 when a stage failed.
int ZEMU(ZEMU_input* input);

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
