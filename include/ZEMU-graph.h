// Graphs: the binary heap, the undirected weighted multigraph with shortest
// paths, and Euler walks over it.
#ifndef ZEMU_GRAPH_H
#define ZEMU_GRAPH_H

#include <cstdio>

// ---------------------------------------------------------------------------
// Binary heap, graph and shortest path
// ---------------------------------------------------------------------------

// A heap is an array `input` of double keys with a parallel array `id` of int
// identifiers and a count `n`; every move of a key moves its identifier with it.
// mode 0: min-heap (root = smallest key); any other mode: max-heap.

void heap_heapify(double* input, int* id, int n, char mode);
int heap_extract(double* input, int* id, int* n, char mode);  // root identifier; -1 when n <= 0
void heap_siftDown(double* input, int* id, int x, int n, char mode);
int heap_parent(int x);
int heap_leftchild(int x);
int heap_rightchild(int x);

// One undirected edge; a == b is a loop.
typedef struct {
    int a;     // label of one end
    int b;     // label of the other end
    double w;  // weight (path length or energy, by caller)
} ZEMU_graph_edge;

// One vertex, derived from the edges by ZEMU_build_vert_from_edge().
typedef struct {
    int a;           // vertex label (minimum or site index, by caller)
    int d;           // degree: edge ends at this vertex, a loop counts twice
    int visited;     // shortest-path work field: 1 once settled
    int total_path;  // shortest-path work field: predecessors on the best known path
    int* path;       // shortest-path work field: predecessor labels from the source (owned; none outside a search)
    double dist;     // shortest-path work field: best known distance, -1 when not reached
} ZEMU_graph_vertice;

// Undirected multigraph with weighted edges; the edges are the primary data.
typedef struct {
    int total_edge;            // edges in use
    ZEMU_graph_edge* edge;     // [total_edge], owned
    int total_vertice;         // vertices in use
    ZEMU_graph_vertice* vert;  // [total_vertice] in order of first mention, owned
} ZEMU_graph;

void ZEMU_init_graph(ZEMU_graph* graph);
int ZEMU_add_edge(ZEMU_graph* graph, int a, int b, double w);
int ZEMU_build_vert_from_edge(ZEMU_graph* graph);
int ZEMU_delete_vertice(ZEMU_graph* graph, int a);
void ZEMU_decrease_vertice_degree(ZEMU_graph* graph, int a);
int ZEMU_copy_graph(ZEMU_graph* graph_input, ZEMU_graph* graph_output);  // output must be empty
double ZEMU_graph_total_distance(ZEMU_graph* graph);

// Dijkstra from `source` to `target` (labels). *path_length == -1 on entry: distance
// only. Otherwise *path receives a new array of *path_length labels, source to
// target inclusive, released by the caller. *dist is -1 for an unreachable target.
int ZEMU_find_shortest_path(ZEMU_graph* graph, int source, int target, double* dist, int** path,
                            int* path_length);

void ZEMU_free_vertice_path(ZEMU_graph* graph);
void ZEMU_free_graph(ZEMU_graph* graph);
void ZEMU_free_graph_vert(ZEMU_graph* graph);
void ZEMU_free_graph_edge(ZEMU_graph* graph);
void ZEMU_print_graph(ZEMU_graph* graph, FILE* print);

// ---------------------------------------------------------------------------
// Euler walks
// ---------------------------------------------------------------------------

// One walk over every edge of `graph` (vertex list must be current), with odd
// vertices paired by duplicated shortest paths. *path gets *path_total labels,
// *path_weightage the *path_total - 1 step weights; both owned by the caller.
int ZEMU_build_Euler_path(ZEMU_graph* graph, int** path, int* path_total, double** path_weightage);

// Makes every odd vertex whose label is not in excl[excl_no] even by adding
// duplicate edges along shortest paths of the cheapest pairing.
int ZEMU_handshake_odd_vertices(ZEMU_graph* graph, int* excl, int excl_no);

// All pairings of the eligible odd vertices: *no arrays of 2 * *pair vertex
// indices (positions in graph->vert), read as pairs (0,1), (2,3), ... The list
// and each array are released by the caller with free().
int ZEMU_handshake_odd_vertices_combinations(ZEMU_graph* graph, int*** list_output, int* no, int* pair,
                                             int* excl, int excl_no);

#endif
