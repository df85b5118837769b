// Migration pathways: the path records (distinct paths and their symmetric
// copies), the path library and its edits, the growable lists and the cluster
// and reaction-pathway records of the network analysis, and the tracing of
// routes over the energy grid (half paths minimum-saddle, joined grid paths).
#ifndef ZEMU_PATH_H
#define ZEMU_PATH_H

#include <cstdio>

#include "ZEMU-cube.h"
#include "ZEMU-cif.h"

// ---------------------------------------------------------------------------
// Limits
// ---------------------------------------------------------------------------

#define ZEMU_MAX_PATH_LENGTH 1000  // most points of a half path or of a joined grid path

// Trace switch of the pathway code (0 = quiet); defined in ZEMU-path.cpp.
extern int debug_flag;

// ---------------------------------------------------------------------------
// Coordinate triples (compared component by component)
// ---------------------------------------------------------------------------

// A point of a traced path in unwrapped grid steps (may lie outside the cell);
// also a spanning lattice vector of a cluster, in grid steps.
typedef struct { int x, y, z; } ZEMU_path_triple_index;  // grid steps along a, b, c
// A grid location (start, saddle or end of a path being built).
typedef struct { int x, y, z; } ZEMU_cubeloc;  // grid steps along a, b, c
// A lattice translation: the periodic copy of the cell a point lies in.
typedef struct { int x, y, z; } ZEMU_cellcross;  // whole cells along a, b, c
// Difference of two lattice translations (end minus start: net crossing of a hop).
typedef struct { int x, y, z; } ZEMU_cellcross_diff;  // whole cells along a, b, c

// ---------------------------------------------------------------------------
// Path records and the path library
// ---------------------------------------------------------------------------

// A distinct path type: minimum - saddle - minimum, one per kept saddle type.
typedef struct {
    int start;                   // index into the grid's minima list: start minimum
    int end;                     // index into the grid's minima list: end minimum
    int saddle;                  // index into the grid's saddle list: representative saddle
    int start_type;              // type number of the start minimum (from 1)
    int end_type;                // type number of the end minimum (from 1)
    int saddle_type;             // type number of the saddle (from 1)
    double start_energy;         // eV, grid scale
    double end_energy;           // eV, grid scale
    double saddle_energy;        // eV, grid scale; sort key of the library
    double tortuosity;           // length / straightline_length
    double straightline_length;  // Angstrom, between the two minimum images
    double length;               // Angstrom, traced route (sum of its two halves)
    int oneD, twoD, threeD;      // 1 when in a percolating cluster of that dimension
    int color, style;            // plot attributes; -1 = none
    int in_rp;                   // 1 when used by a reaction pathway
    int start_p, start_q, start_r;  // whole cells: start minimum image relative to the saddle's cell
    int end_p, end_q, end_r;        // whole cells: end minimum image relative to the saddle's cell
} ZEMU_path;

// One symmetric copy of a path: an undirected edge of the periodic network.
typedef struct {
    int start, end, saddle;                      // minima / saddle list indices of this copy
    int start_type, end_type, saddle_type;       // type numbers (from 1)
    double length;                               // Angstrom (that of the distinct path)
    int start_crossx, start_crossy, start_crossz;  // whole cells: start minimum image
    int end_crossx, end_crossy, end_crossz;        // whole cells: end minimum image
    double start_energy, end_energy, saddle_energy;  // eV, grid scale
} ZEMU_allpath;

// The path library: distinct paths (sorted by saddle energy) and all copies.
typedef struct {
    int pathlib;               // non-zero once paths were generated for this run
    int total_path;            // entries of `path`
    ZEMU_path* path;           // owned, [total_path]
    int total_allpath;         // entries of `allpath`
    ZEMU_allpath* allpath;     // owned, [total_allpath]
    double oneD, twoD, threeD; // activation energies, eV; 999.0 = no percolation
} ZEMU_pathlib;

// ---------------------------------------------------------------------------
// Growable lists (each owns its arrays)
// ---------------------------------------------------------------------------

// Lattice translations, each tagged with the point it belongs to.
typedef struct {
    int len;               // entries used
    int alloc;             // capacity
    int* points;           // owned, [alloc]: point of each entry
    ZEMU_cellcross* list;  // owned, [alloc], parallel to points
} ZEMU_cellcross_list;

// Symmetric path copies.
typedef struct {
    int len;                // entries used
    int alloc;              // capacity
    ZEMU_allpath* allpath;  // owned, [alloc]
} ZEMU_allpath_list;

// An ordered list of items to be chained.
typedef struct {
    int total;  // entries
    int* item;  // owned, [total]
} ZEMU_connect_list;

// ---------------------------------------------------------------------------
// Clusters and reaction pathways
// ---------------------------------------------------------------------------

// A connected set of path types of the network.
typedef struct {
    int mul;                           // multiplicity; 1 on creation
    int dimension;                     // percolation dimension, 0 to 3
    int ribbon;                        // 1 when the network is only a ribbon
    int ID;                            // library index of the path with the highest saddle
    int total_path;                    // entries of `path`
    int* path;                         // owned, [total_path]: library path indices
    double minimum;                    // eV, lowest minimum energy of the cluster
    double maximum;                    // eV, highest saddle energy of the cluster
    ZEMU_path_triple_index vector[3];  // spanning lattice vectors, grid steps
} ZEMU_cluster;

typedef struct {
    int total;            // entries of `clust`
    ZEMU_cluster* clust;  // owned, [total]
} ZEMU_cluster_list;

// One chained route: signed references k+1 (path k forwards), -(k+1)
// (backwards), 0 (a hop no path matched).
typedef struct {
    int ID;                 // library index of the cluster's top path
    int initial_dimension;  // dimension of the cluster it was made for
    int dimension;          // current dimension
    int ribbon;             // 1 for a ribbon
    int total_path;         // entries of `path`
    int* path;              // owned, [total_path]: signed references
} ZEMU_reaction_pathway;

typedef struct {
    int total;                  // entries of `rp`
    ZEMU_reaction_pathway* rp;  // owned, [total]
} ZEMU_reaction_pathway_overall;

// ---------------------------------------------------------------------------
// Grid paths
// ---------------------------------------------------------------------------

// A route over the grid; owns its four arrays of `length` entries.
typedef struct {
    int length;                    // number of points
    int saddle;                    // index of the first point of highest energy
    int* color;                    // [length] plot attribute per point; -1 after tracing
    int* style;                    // [length] plot attribute per point; -1 after tracing
    int* marker;                   // [length] plot attribute per point; -1 after tracing
    ZEMU_path_triple_index* grid;  // [length] points, unwrapped grid steps
} ZEMU_grid_path;

// ---------------------------------------------------------------------------
// Small constructors and list operations
// ---------------------------------------------------------------------------

void ZEMU_assign_loc(ZEMU_cubeloc* loc, int x, int y, int z);
void ZEMU_assign_cellcross(ZEMU_cellcross* cc, int x, int y, int z);
void ZEMU_assign_cellcross_diff(ZEMU_cellcross_diff* d, int x, int y, int z);
void ZEMU_assign_allpath(ZEMU_allpath* allpath, int start, int end, int saddle, int start_type, int end_type,
                         int saddle_type, double length, int start_crossx, int start_crossy, int start_crossz,
                         int end_crossx, int end_crossy, int end_crossz, double start_energy, double end_energy,
                         double saddle_energy);
// A fresh path record: indices and numbers 0, plot attributes `color` = `style` = -1,
// `in_rp` and the dimension flags 0.
void ZEMU_init_path(ZEMU_path* path);

// Appends that cannot grow the list print a message and end the program (status 1).
void ZEMU_init_cellcross_list(ZEMU_cellcross_list* cclist, int initial_size);
void ZEMU_append_cellcross_list(ZEMU_cellcross_list* cclist, int point, ZEMU_cellcross cc);
void ZEMU_free_cellcross_list(ZEMU_cellcross_list* cclist);
void ZEMU_init_allpath_list(ZEMU_allpath_list* aplist, int initial_size);
void ZEMU_append_allpath_list(ZEMU_allpath_list* aplist, ZEMU_allpath allpath);
void ZEMU_free_allpath_list(ZEMU_allpath_list* aplist);
void ZEMU_free_connect_list(ZEMU_connect_list* list);

void ZEMU_init_pathlib(ZEMU_pathlib* pathlib);
void ZEMU_free_pathlib(ZEMU_pathlib* pathlib);
int ZEMU_copy_pathlib(ZEMU_pathlib* source, ZEMU_pathlib* target);

void ZEMU_init_cluster(ZEMU_cluster* clust);
int ZEMU_copy_cluster(ZEMU_cluster* source, ZEMU_cluster* target);
int ZEMU_alloc_path_clust(ZEMU_cluster_list* list);
// An empty cluster list: no entries, nothing owned.
void ZEMU_init_path_clust(ZEMU_cluster_list* list);
void ZEMU_free_path_clust(ZEMU_cluster_list* list);

int ZEMU_append_path_to_reaction_pathway(ZEMU_reaction_pathway* rp, int n);
void ZEMU_free_reaction_pathway(ZEMU_reaction_pathway_overall* rp_all);

// ---------------------------------------------------------------------------
// Equality and look-up
// ---------------------------------------------------------------------------

int ZEMU_is_loc_equal(ZEMU_cubeloc loc1, ZEMU_cubeloc loc2);
int ZEMU_is_cellcross_equal(ZEMU_cellcross cc1, ZEMU_cellcross cc2);
int ZEMU_is_cellcrossdiff_equal(ZEMU_cellcross_diff d1, ZEMU_cellcross_diff d2);
void ZEMU_get_cellcrossdiff_from_allpath(ZEMU_cellcross_diff* d, ZEMU_allpath* allpath);
int ZEMU_is_path_start_end_equal(ZEMU_path* p1, ZEMU_path* p2);
int ZEMU_is_allpath_start_end_equal(ZEMU_allpath* ap1, ZEMU_allpath* ap2);
// mode 1 same start and end, 2 either direction (same as 1), 3 same crossings,
// 5 same saddle, 6 same saddle type, 13 = 1 and 3, 135 (decides as 13).
int ZEMU_is_allpath_equal(ZEMU_allpath* ap1, ZEMU_allpath* ap2, int mode);
int ZEMU_check_if_point_in_list(int* list, int list_len, int point1, int point2);
int ZEMU_isin_pathlib(ZEMU_pathlib* pathlib, int start_type, int end_type, int saddle_type);
int ZEMU_get_allpath_to_path_index(ZEMU_pathlib* pathlib, int z);

// ---------------------------------------------------------------------------
// Changing the library
// ---------------------------------------------------------------------------

void ZEMU_insert_pathlib_allpath(ZEMU_pathlib* pathlib, ZEMU_allpath allpath);
void ZEMU_reverse_pathlib_allpath(ZEMU_pathlib* pathlib);
ZEMU_allpath ZEMU_pop_pathlib_allpath(ZEMU_pathlib* pathlib, int z);
int ZEMU_delete_pathlib_allpath(ZEMU_pathlib* pathlib, int z);
int ZEMU_delete_pathlib_path(ZEMU_pathlib* pathlib, int z);
int ZEMU_bubblesort_pathlib(ZEMU_pathlib* pathlib);

// ---------------------------------------------------------------------------
// Distances between grid locations (Angstrom, no periodic image search)
// ---------------------------------------------------------------------------

double ZEMU_find_loc_distance(ZEMU_cube* cube, ZEMU_cubeloc loc1, ZEMU_cubeloc loc2);
double ZEMU_find_loc_distance_celledge(ZEMU_cube* cube, ZEMU_cubeloc loc);

// ---------------------------------------------------------------------------
// Grid path tracing
// ---------------------------------------------------------------------------

// An empty grid path: no points, arrays null.
void ZEMU_init_grid_path(ZEMU_grid_path* path);
// 0 and `path` filled; -1 when the route is not irreducible (`path` untouched);
// 1 on a hard error (too long, out of memory).
int ZEMU_build_half_grid_path(ZEMU_cube* cube, ZEMU_grid_path* path, ZEMU_cubeloc loc1, ZEMU_cubeloc loc2);
// Start - saddle - end as one path in `path` (written only on success, 0); 1 or -1
// as the failing half path gave, 1 when the join fails.
int ZEMU_build_grid_path(ZEMU_cube* cube, ZEMU_grid_path* path, ZEMU_cubeloc startloc, ZEMU_cubeloc saddleloc,
                         ZEMU_cubeloc endloc);
int ZEMU_concatenate_grid_path(ZEMU_cube* cube, ZEMU_grid_path* path_one, ZEMU_grid_path* path_two);
void ZEMU_refresh_path_saddle(ZEMU_cube* cube, ZEMU_grid_path* path);
int ZEMU_path_is_irreducible(ZEMU_cube* cube, ZEMU_grid_path* path);
int ZEMU_halfpath_is_irreducible(ZEMU_cube* cube, ZEMU_grid_path* path);
double ZEMU_get_gridpath_point_energy(ZEMU_cube* cube, ZEMU_path_triple_index gridpoint);
double ZEMU_path_length_in_Angstrom(ZEMU_cube* cube, ZEMU_grid_path* path);
void ZEMU_reverse_path(ZEMU_grid_path* path);
void ZEMU_free_grid_path(ZEMU_grid_path* path);

#endif
