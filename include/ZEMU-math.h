// Numeric and graph utilities: the arithmetic expression evaluator (infix text
// to reverse Polish notation, evaluated against 52 one-letter variables), the
// binary heap, the undirected weighted graph with shortest paths, Euler walks.
#ifndef ZEMU_MATH_H
#define ZEMU_MATH_H

#include <cstdio>

// ---------------------------------------------------------------------------
// Expression evaluator
// ---------------------------------------------------------------------------

#define MAX_TOKEN_SIZE 100  // token buffer size: a token holds at most 99 characters

typedef enum { type_op = 0, type_number = 1, type_var = 2 } ZEMU_RPN_token_type;

typedef struct {
    ZEMU_RPN_token_type token_type;
    union {
        double d;  // value of a type_number token
        char c;    // operator character (type_op) or variable letter (type_var)
    };
} ZEMU_RPN_token_item;

// Growable token list; serves as tokenizer output and as the finished RPN sequence.
typedef struct {
    int size;                   // items in use
    int cap;                    // items allocated
    ZEMU_RPN_token_item* item;  // owned
} ZEMU_RPN_token;

// Evaluation stack (grows and shrinks by one element per push/pop).
typedef struct {
    int size;
    int cap;       // never used
    double* item;  // owned
} ZEMU_RPN_number_stack;

// Operator stack of the shunting-yard pass (grows geometrically).
typedef struct {
    int size;
    int cap;
    char* item;  // owned
} ZEMU_char_stack;

// Values of the 52 one-letter variables: 'A'..'Z' -> 0..25, 'a'..'z' -> 26..51.
typedef struct {
    double value[52];
} ZEMU_variable_list;

int ZEMU_RPN_build(char* input, ZEMU_RPN_token* output);
int ZEMU_RPN_read(ZEMU_RPN_token* output, ZEMU_variable_list* var_list, double* calc_value);
int ZEMU_RPN_tokenize(char* input, ZEMU_RPN_token* token_list);
int ZEMU_RPN_build_push(ZEMU_char_stack* stack, ZEMU_RPN_token* output, char s);
int ZEMU_RPN_build_pop(ZEMU_char_stack* stack, ZEMU_RPN_token* output);

int ZEMU_store_variable_value(ZEMU_variable_list* var_list, char s, double value);
int ZEMU_get_variable_value(ZEMU_variable_list* var_list, char s, double* value);

int ZEMU_RPN_push_number_stack(ZEMU_RPN_number_stack* stack, double f);
int ZEMU_RPN_pop_number_stack(ZEMU_RPN_number_stack* stack);

void ZEMU_init_char_stack(ZEMU_char_stack* stack);
int ZEMU_alloc_char_stack(ZEMU_char_stack* stack);
int ZEMU_push_char_stack(ZEMU_char_stack* stack, char s);
int ZEMU_pop_char_stack(ZEMU_char_stack* stack, char* s);
void ZEMU_free_char_stack(ZEMU_char_stack* stack);

void ZEMU_init_RPN_token(ZEMU_RPN_token* token);
int ZEMU_alloc_RPN_token(ZEMU_RPN_token* token);
void ZEMU_free_RPN_token(ZEMU_RPN_token* token);
void ZEMU_free_RPN(ZEMU_RPN_token* token);

// ---------------------------------------------------------------------------
// Binary heap, graph and shortest path: below this line (added by their module).
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
