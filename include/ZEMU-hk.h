// Grid percolation by cluster labelling: grid points are switched on one by one
// in ascending energy and joined with their switched-on neighbours by a
// union-find forest (Hoshen-Kopelman labelling on the periodic grid). Every
// member keeps its lattice offset from its parent, so a bond that closes a loop
// around the periodic cell reveals a wrapping vector; the number of independent
// wrapping vectors of a cluster is its percolation dimension (1, 2 or 3). The
// zemu pipeline calls none of this; the screening analysis (ZEMU_screen_analyse)
// reports the span sweep below as the grid's own activation energies.
//
// Neighbours are all 26 points of the 3 x 3 x 3 block around a grid point,
// across the periodic boundary included (26-connectivity, the neighbourhood of
// the stationary-point search): an ion passes between two points that share a
// face, an edge or a corner. The thresholds are minimax energies: the lowest
// energy E for which the points at or below E hold a cluster that percolates.
//
// Memory: 21 bytes per grid point in ZEMU_hk_grid (parent, offsets, wrap index,
// rank) plus 12 bytes per point of scratch while ZEMU_hk_percolation_energy
// sorts the energies: about 270 MB for a 200 x 200 x 200 grid, on top of the
// grid's own energy array. The span sweep adds 9 bytes per point (lowest
// energy and recorded dimension per root): about 340 MB in all for that grid.
#ifndef ZEMU_HK_H
#define ZEMU_HK_H

#include "ZEMU-cube.h"

// Largest grid the labelling accepts (grid points, 2^28). Keeps flat indices
// and offsets inside int and the wrapping-vector products inside 64 bits.
#define ZEMU_HK_MAX_POINTS 268435456

// ---------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------

// The independent wrapping vectors of one cluster.
typedef struct {
    int total;           // independent vectors held, 0..3: the cluster's percolation dimension
    long long v[3][3];   // v[n] = n-th vector, whole cells along a, b, c
} ZEMU_hk_wrap;

// Union-find labelling of the grid. Point (i, j, k) has the flat index
// p = (i * b_grid + j) * c_grid + k.
typedef struct {
    int a_grid, b_grid, c_grid;  // grid points per axis, as in the cube
    int total;                   // a_grid * b_grid * c_grid
    int inserted;                // points switched on so far
    int* parent;                 // owned, total entries: parent point; -1 = not switched on; a root is its own parent
    int* offset;                 // owned, 3 * total entries: lifted position of the point minus that of its parent, grid steps along a, b, c
    int* wrap_index;             // owned, total entries: entry of wrap held by a root; -1 = the cluster does not wrap
    unsigned char* rank;         // owned, total entries: union-by-rank bound on the tree height of a root
    int wrap_total;              // used entries of wrap
    int wrap_cap;                // allocated entries of wrap
    ZEMU_hk_wrap* wrap;          // owned, wrap_total entries: wrapping vectors of the wrapping clusters
} ZEMU_hk_grid;

// ---------------------------------------------------------------------------
// Life cycle
// ---------------------------------------------------------------------------

// Empties the record: no arrays, all counts 0.
void ZEMU_init_hk_grid(ZEMU_hk_grid* hk);
// Sizes the forest of an initialised record for the grid of cube (counts
// positive, at most ZEMU_HK_MAX_POINTS points), every point switched off; a
// forest held before is released. 0 or 1.
int ZEMU_alloc_hk_grid(ZEMU_hk_grid* hk, ZEMU_cube* cube);
// Grows the wrap list after the caller incremented wrap_total. 0 or 1.
int ZEMU_alloc_hk_wrap(ZEMU_hk_grid* hk);
// Releases every array; counts back to 0.
void ZEMU_free_hk_grid(ZEMU_hk_grid* hk);

// ---------------------------------------------------------------------------
// Labelling
// ---------------------------------------------------------------------------

// Root of the cluster of switched-on point p, with path compression; *dx, *dy,
// *dz receive p's lifted position minus the root's, grid steps. -1 when p is
// off the grid or switched off.
int ZEMU_hk_find_grid_parent(ZEMU_hk_grid* hk, int p, int* dx, int* dy, int* dz);
// Records a lattice vector (whole cells) that the cluster of root wraps along;
// kept only when independent of those already held. 0 or 1 (root not a
// switched-on root, or memory failure).
int ZEMU_hk_add_wrap_vector(ZEMU_hk_grid* hk, int root, long long va, long long vb, long long vc);
// Joins switched-on p with switched-on q, q's copy lying at p's lifted position
// plus (da, db, dc) grid steps; unites the clusters (by rank) or, inside one
// cluster, records the wrap the bond closes. 0 or 1.
int ZEMU_hk_join_grid_points(ZEMU_hk_grid* hk, int p, int q, int da, int db, int dc);
// Switches on grid point (i, j, k) (wrapped) and joins it with its switched-on
// neighbours of the 26. Switching on a point twice changes nothing. 0 or 1.
int ZEMU_hk_insert_grid_point(ZEMU_hk_grid* hk, ZEMU_cube* cube, int i, int j, int k);
// Percolation dimension (0..3) of the cluster of point p; -1 when p is off the
// grid or switched off.
int ZEMU_hk_cluster_dimension(ZEMU_hk_grid* hk, int p);

// ---------------------------------------------------------------------------
// Percolation thresholds
// ---------------------------------------------------------------------------

// Switches the points of cube on in ascending energy (equal energies in grid
// order i, j, k) until a cluster percolates in three dimensions, and gives the
// grid energies (eV on the grid's own scale: above the global minimum once the
// grid is processed) at which a cluster first percolates in at least 1, 2 and
// 3 dimensions. 0, or 1 on bad input or memory failure (message printed).
int ZEMU_hk_percolation_energy(ZEMU_cube* cube, double* e1d, double* e2d, double* e3d);

// Activation energies of the grid: for each dimension d = 1, 2, 3 (entry d - 1),
// the lowest value over the whole ascending sweep (every point switched on) of
// scale(E) - scale(M), where E is the energy of the point whose insertion lets a
// cluster span at least d independent lattice directions for the first time and
// M is the lowest energy of that cluster; scale is the cube's scaling (identity
// when off) applied to energies taken above cube->global_minimum. span[d - 1]
// receives that value (scaled eV) and top[d - 1] the scaled E of the same event
// (scaled eV above the global minimum), the point the network has to climb to.
// Points of equal energy are switched on together (a level's events are read
// once all its points are in). Points whose energy is not a number are switched
// on last and give no event.
// HUGE_VAL in both when no event of finite value exists for d. 0, or 1 on bad
// input or memory failure (message printed).
int ZEMU_hk_percolation_span(ZEMU_cube* cube, double span[3], double top[3]);

#endif
