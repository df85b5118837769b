// The percolating network of path copies: clusters, their dimensionality,
// activation energies and the path reports.
#ifndef ZEMU_NETWORK_H
#define ZEMU_NETWORK_H

#include <cstdio>
#include "ZEMU-cube.h"
#include "ZEMU-path.h"

// Network analysis, dimensionality, activation energy and path reports

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

#endif
