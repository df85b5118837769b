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
typedef struct {
    int x, y, z;  // grid steps along a, b, c
} ZEMU_path_triple_index;

// A grid location (start, saddle or end of a path being built), grid steps.
typedef struct {
    int x, y, z;  // grid steps along a, b, c
} ZEMU_cubeloc;

// A lattice translation: the periodic copy of the cell a point lies in.
typedef struct {
    int x, y, z;  // whole cells along a, b, c
} ZEMU_cellcross;

// Difference of two lattice translations (end minus start: net crossing of a hop).
typedef struct {
    int x, y, z;  // whole cells along a, b, c
} ZEMU_cellcross_diff;

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

// ---------------------------------------------------------------------------
// (path construction, network analysis, reaction pathway and reports: declarations below this line)
// ---------------------------------------------------------------------------

// Path construction and redundancy filtering
// (path-construction module: declarations below this line)

// Distinct paths: one per saddle type, its representative saddle joined to the
// nearest minimum within 3.5 Angstrom whose half path traces, and to a farther
// one at 90 degrees or more from it at the saddle; a type that cannot be joined
// is warned about and left out. Sorted by saddle energy. 0 (also with no
// saddle types) or 1. The structure is not used.
int ZEMU_build_path(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib);
// Every copy of every distinct path: for each saddle point of the path's type,
// the minima images whose distances best match the representative's (ties
// within 0.001 Angstrom all taken). 0 or 1. The structure is not used.
int ZEMU_build_allpaths(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib);
// Deletes path types (with all their copies) that repeat a hop of another
// saddle type at a higher or equal saddle energy, then those sharing a saddle
// point with a shorter connection. 0 or 1.
int ZEMU_filter_redundant_path(ZEMU_cube* cube, ZEMU_pathlib* pathlib);
// Minimum images in unwrapped grid steps: 1 when they are the same point or one
// allpath joins them, 0 when none does, -1 when either is not a minimum.
int ZEMU_is_direct_path_between_minima(ZEMU_cube* cube, ZEMU_pathlib* pathlib, int x1, int y1, int z1, int x2,
                                       int y2, int z2);

// Network analysis, dimensionality, activation energy and path reports
// (network module: declarations below this line)

// Clusters of every allpath (list's total reset to 0 first); 0 or 1.
int ZEMU_analyze_network(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster_list* clustlist);
// Clusters of the leading allpaths whose saddle energy (grid scale) does not exceed
// `energy` by more than 1e-10; without any, 0 and the list untouched. 0 or 1.
int ZEMU_analyze_network_at_energy(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster_list* clustlist,
                                   double energy);
// Cluster report at every distinct saddle energy up to `threshold` (grid scale). 0 or 1.
int ZEMU_analyze_network_at_saddles(ZEMU_cube* cube, ZEMU_pathlib* pathlib, FILE* print, double threshold);
// Lowest 1-D, 2-D and 3-D barriers (scaled eV) into pathlib->oneD/twoD/threeD. 0 or 1.
int ZEMU_calc_activation_energy(ZEMU_cube* cube, ZEMU_pathlib* pathlib);

// Lattice vectors (grid steps) between images of one grid point among `listnum`
// site positions, appended to *listvec (grown by one per vector, caller frees)
// unless the vector or its negative is there. 1 when the array cannot grow.
int ZEMU_generate_path_vectors(ZEMU_cube* cube, int listnum, ZEMU_path_triple_index* listcoor, int* listvecnum,
                               ZEMU_path_triple_index** listvec);
// Percolation dimension (0-3) of a vector set and its spanning vectors (3 entries,
// unused ones zero).
void ZEMU_generate_path_dimension(ZEMU_cube* cube, int listvecnum, ZEMU_path_triple_index* listvec,
                                  int* dimension, ZEMU_path_triple_index* spanning_vectors);

// Plot attributes: `in_rp` is left alone when assign_in_rp is -1.
void ZEMU_color_path(ZEMU_path* path, int assign_color, int assign_style, int assign_in_rp);
// Sets the path's flag of the cluster's dimension (1, 2 or 3) to 1.
void ZEMU_color_pathdimension(ZEMU_path* path, ZEMU_cluster* clust);
// color = style = -1, dimension flags and in_rp 0 on every path.
void ZEMU_erase_path_plot_characteristics(ZEMU_pathlib* pathlib);

// Reports (energies printed in the scaled measure)
void ZEMU_print_pathlib(ZEMU_cube* cube, ZEMU_pathlib* pathlib, FILE* print);
void ZEMU_print_clustlist(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster_list* clustlist, FILE* print);
void ZEMU_print_activation_energy(ZEMU_pathlib* pathlib, FILE* fpw);
void ZEMU_printf_path(ZEMU_pathlib* pathlib, int pathindex);

// Reaction pathway
// (reaction-pathway module: declarations below this line)

// Graph edges for Euler walks: a path joins its two minimum types, an allpath
// its two minimum indices; the weight is the saddle energy. 0 or 1.
int ZEMU_add_path_as_graph_edge(ZEMU_graph* graph, ZEMU_path* path);
int ZEMU_add_allpath_as_graph_edge(ZEMU_graph* graph, ZEMU_allpath* ap);

// Appends a pathway for the cluster: its top path as ID, its dimension (initial
// and current) and ribbon flag, no references. 1 when the array cannot grow.
int ZEMU_copy_cluster_append_rp_all(ZEMU_reaction_pathway_overall* rp_all, ZEMU_cluster* clust);
// Turns a walk over minimum types (weights: saddle energies) into references
// appended to the last pathway: for each step the last library path joining the
// two types at that saddle energy, +(k+1) forwards, -(k+1) backwards. A step
// that matches nothing repeats the previous reference (0 before the first
// match). 1 on allocation failure or without a pathway.
int ZEMU_append_Euler_path_rpall(ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all, int* Euler_path,
                                 int Euler_path_length, double* Euler_path_weightage);
// The same for a walk over minimum indices, matched against the allpaths; the
// reference names the allpath's path type.
int ZEMU_append_Euler_allpath_rpall(ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all, int* Euler_path,
                                    int Euler_path_length, double* Euler_path_weightage);
// Euler walk over the filled graph appended as type references; the graph is
// freed. 0 or 1.
int ZEMU_build_and_append_Euler_path_rpall(ZEMU_graph* graph, ZEMU_pathlib* pathlib,
                                           ZEMU_reaction_pathway_overall* rp_all);
// Euler walk over the allpaths of `backbone_pathlib` (the graph is refilled with
// them) appended as references into `pathlib`; the graph is freed. 0 or 1.
int ZEMU_build_and_append_Euler_allpath_rpall(ZEMU_graph* graph, ZEMU_pathlib* pathlib,
                                              ZEMU_pathlib* backbone_pathlib,
                                              ZEMU_reaction_pathway_overall* rp_all);

// Keeps the trial route (a copy of its vertex list) when its distance is
// strictly smaller than the best; an unreachable trial (-1) counts as smaller.
// 1 when the copy cannot be allocated.
int ZEMU_store_better_shortest_path(double* best_dist, int** best_path, int* length_of_best_path, double trial_dist,
                                    int* trial_path, int length_of_trial_path);
// Shortest path from `source` to `target` (labels), kept when better. 0 or 1.
int ZEMU_find_best_shortest_path(double* best_dist, int** best_path, int* length_of_best_path, ZEMU_graph* graph,
                                 int source, int target);
// Appends a walk over minimum types as references: for each step the shortest
// library path joining the two types (forwards before backwards, first wins a
// tie), marked `in_rp`. A step without a path repeats the previous reference (0,
// which marks nothing, before the first path found). 1 on allocation failure.
int ZEMU_append_minima_path_to_reaction_pathway(ZEMU_pathlib* pathlib, ZEMU_reaction_pathway* rp, int* minima_path,
                                                int pathlength);
// Rotates list[0..total-1] so that entry k comes first, the cyclic order kept.
void ZEMU_reorder_int_list(int* list, int total, int k);

// The smallest set of the cluster's path types that still percolates as the
// cluster does (same or higher dimension, still a ribbon when it was one), found
// by dropping types in descending saddle energy; `complete` 1 repeats passes
// until nothing more can go. `backbone_pathlib_sym` receives the kept paths,
// `backbone_pathlib` the kept paths and the copies of the one connected piece of
// the network that carries the top path; the two cluster lists receive their
// network analyses. All four must be initialised; their old contents are
// released. 0 or 1.
int ZEMU_get_percolating_cluster_backbone(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster* clust,
                                          ZEMU_pathlib* backbone_pathlib_sym, ZEMU_cluster_list* backbone_clust_sym,
                                          ZEMU_pathlib* backbone_pathlib, ZEMU_cluster_list* backbone_clust,
                                          int complete);

// Builds every pathway of the network: one per percolating cluster at rising
// thresholds, extended when its cluster grows in dimension or stops being a
// ribbon, then duplicates removed. Sets the paths' plot attributes and `in_rp`.
// `rp_all` is taken as empty (release an old one first). 0 or 1.
int ZEMU_build_reaction_pathway(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all);
// Removes pathway p, later ones moving down (each slot keeps its own `ribbon`).
// An invalid p is reported and ignored (0); 1 on allocation failure.
int ZEMU_del_reaction_pathway(ZEMU_reaction_pathway_overall* rp_all, int p);
// Of two pathways sharing a path, keeps the one of lower initial dimension, at
// equal dimension the one whose top saddle is lower (the later on a tie). 0 or 1.
int ZEMU_cleanup_redundant_pathways(ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all);

// Places reference `ref` (k+1: path k forwards, -(k+1): backwards) as the next
// piece of a route, in unwrapped grid steps. `route_end` is null for the first
// piece (placed as the library path itself); otherwise it is the route's last
// point, `previous_minimum` the minimum index the route stands on and
// `previous_saddle` the saddle point the previous piece crossed: the piece is
// then a copy of its type continuing from there. Fills the entry image, saddle
// point and exit image in walking order and the exit minimum's index. 0, or 1
// for a reference outside the library.
int ZEMU_get_path_stationary_points(ZEMU_cube* cube, ZEMU_pathlib* pathlib, int ref, ZEMU_cubeloc* route_end,
                                    int previous_minimum, ZEMU_cubeloc previous_saddle, ZEMU_cubeloc* entry_image,
                                    ZEMU_cubeloc* saddle_point, ZEMU_cubeloc* exit_image, int* exit_minimum);
// Chains the signed references of `input` into one continuous grid path appended
// to `path` (initialised by the caller; it keeps what was chained on failure).
// Each piece carries its path's `color` and `style` and `marker` -1; a reference
// 0 (a step that matched no path) adds no piece. 0, or 1 for a reference outside
// the library or a piece that cannot be traced.
int ZEMU_concatenate_path(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_grid_path* path, ZEMU_connect_list* input);

// Writes every pathway as rows of reaction coordinate and energy, pathways
// separated by "NEXT" and closed by "END". 1 when a pathway cannot be chained
// (the file then ends without "END").
int ZEMU_print_reaction_pathway(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all,
                                FILE* print);
// Writes the points of one grid path from coordinate `reac_coor` on; minima rows
// carry their site label (and with `plot` the point's color, marker and style),
// saddle rows their label and barrier. 1 for fewer than two points.
int ZEMU_print_path(ZEMU_cube* cube, ZEMU_grid_path* path, ZEMU_pathlib* pathlib, FILE* print, int plot,
                    double reac_coor);

#endif
