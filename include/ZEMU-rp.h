// Reaction pathways: Euler walks over the network's clusters chained into
// continuous grid routes, and the pathway file.
#ifndef ZEMU_RP_H
#define ZEMU_RP_H

#include <cstdio>
#include "ZEMU-cube.h"
#include "ZEMU-graph.h"
#include "ZEMU-path.h"

// Reaction pathway

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
