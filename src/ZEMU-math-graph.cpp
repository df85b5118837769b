// Binary heap over parallel key/identifier arrays, the undirected weighted
// multigraph with its vertex bookkeeping and Dijkstra shortest paths, and Euler
// walks built over odd vertices paired by duplicated shortest paths.
#include "ZEMU-graph.h"
#include "ZEMU-kernel.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_map>
#include <utility>
#include <vector>

// ---------------------------------------------------------------------------
// Binary heap
// ---------------------------------------------------------------------------

int heap_parent(int x) { return (x - 1) / 2; }
int heap_leftchild(int x) { return 2 * x + 1; }
int heap_rightchild(int x) { return 2 * x + 2; }

namespace {

// True when key `u` must sit above key `v` in the heap (strictly, so equal keys never move).
inline bool heap_before(double u, double v, char mode) { return mode == 0 ? u < v : u > v; }

}  // namespace

void heap_siftDown(double* input, int* id, int x, int n, char mode) {
    while (heap_leftchild(x) < n) {
        int choice = x;
        int left = heap_leftchild(x);
        int right = heap_rightchild(x);
        if (heap_before(input[left], input[choice], mode)) choice = left;
        if (right < n && heap_before(input[right], input[choice], mode)) choice = right;
        if (choice == x) return;
        std::swap(input[x], input[choice]);
        std::swap(id[x], id[choice]);
        x = choice;
    }
}

void heap_heapify(double* input, int* id, int n, char mode) {
    if (n <= 0) return;
    for (int x = heap_parent(n - 1); x >= 0; --x) heap_siftDown(input, id, x, n, mode);
}

int heap_extract(double* input, int* id, int* n, char mode) {
    if (*n <= 0) return -1;
    int root = id[0];
    input[0] = input[*n - 1];
    id[0] = id[*n - 1];
    (*n)--;
    heap_siftDown(input, id, 0, *n, mode);
    return root;
}

// ---------------------------------------------------------------------------
// Graph records
// ---------------------------------------------------------------------------

void ZEMU_init_graph(ZEMU_graph* graph) { *graph = ZEMU_graph{}; }

int ZEMU_add_edge(ZEMU_graph* graph, int a, int b, double w) {
    if (zemu_kernel::resize_array(&graph->edge, graph->total_edge + 1)) {
        fputs("Error: Memory allocation problem in ZEMU_add_edge()\n", stderr);
        return 1;
    }
    graph->edge[graph->total_edge].a = a;
    graph->edge[graph->total_edge].b = b;
    graph->edge[graph->total_edge].w = w;
    graph->total_edge++;
    return 0;
}

int ZEMU_build_vert_from_edge(ZEMU_graph* graph) {
    ZEMU_free_graph_vert(graph);
    if (graph->total_edge == 0) return 0;

    std::vector<ZEMU_graph_vertice> vert;
    std::unordered_map<int, int> index_of;  // label -> position in vert
    try {
        for (int e = 0; e < graph->total_edge; ++e) {
            const int ends[2] = {graph->edge[e].a, graph->edge[e].b};
            for (int label : ends) {
                auto found = index_of.find(label);
                int k;
                if (found == index_of.end()) {
                    ZEMU_graph_vertice v;
                    v.a = label;
                    v.d = 0;
                    v.visited = 0;
                    v.total_path = 0;
                    v.path = nullptr;
                    v.dist = -1.0;
                    k = (int)vert.size();
                    vert.push_back(v);
                    index_of.emplace(label, k);
                } else {
                    k = found->second;
                }
                vert[(size_t)k].d++;
            }
        }
    } catch (const std::bad_alloc&) {
        fputs("Error: Memory allocation problem in ZEMU_build_vert_from_edge()\n", stderr);
        return 1;
    }

    if (zemu_kernel::allocate_array(&graph->vert, vert.size())) {
        fputs("Error: Memory allocation problem in ZEMU_build_vert_from_edge()\n", stderr);
        return 1;
    }
    memcpy(graph->vert, vert.data(), sizeof(ZEMU_graph_vertice) * vert.size());
    graph->total_vertice = (int)vert.size();
    return 0;
}

void ZEMU_decrease_vertice_degree(ZEMU_graph* graph, int a) {
    for (int i = 0; i < graph->total_vertice; ++i) {
        if (graph->vert[i].a == a) graph->vert[i].d--;
    }
}

int ZEMU_delete_vertice(ZEMU_graph* graph, int a) {
    for (int i = 0; i < graph->total_vertice; ++i) {
        if (graph->vert[i].a != a) continue;
        memmove(&graph->vert[i], &graph->vert[i + 1], sizeof(ZEMU_graph_vertice) * (size_t)(graph->total_vertice - i - 1));
        graph->total_vertice--;
        if (graph->total_vertice == 0) ZEMU_free_graph_vert(graph);
        break;
    }

    // Edges touching `a` go, keeping the order of the others; each one costs its other end a degree.
    int kept = 0;
    for (int e = 0; e < graph->total_edge; ++e) {
        const ZEMU_graph_edge edge = graph->edge[e];
        if (edge.a == a) {
            ZEMU_decrease_vertice_degree(graph, edge.b);
        } else if (edge.b == a) {
            ZEMU_decrease_vertice_degree(graph, edge.a);
        } else {
            graph->edge[kept++] = edge;
        }
    }
    graph->total_edge = kept;
    if (kept == 0) ZEMU_free_graph_edge(graph);
    return 0;
}

namespace {

// Copies the n records of `source` into the empty array *target and sets *count
// (nothing for n <= 0). 0, or 1 (reported) when the copy cannot be allocated.
template <typename T>
int copy_records(T** target, int* count, const T* source, int n) {
    if (n <= 0) return 0;
    if (zemu_kernel::resize_array(target, n)) {
        fputs("Error: Memory allocation problem in ZEMU_copy_graph()\n", stderr);
        return 1;
    }
    memcpy(*target, source, sizeof(T) * (size_t)n);
    *count = n;
    return 0;
}

}  // namespace

int ZEMU_copy_graph(ZEMU_graph* graph_input, ZEMU_graph* graph_output) {
    ZEMU_init_graph(graph_output);
    if (copy_records(&graph_output->edge, &graph_output->total_edge, graph_input->edge, graph_input->total_edge))
        return 1;
    return copy_records(&graph_output->vert, &graph_output->total_vertice, graph_input->vert,
                        graph_input->total_vertice);
}

double ZEMU_graph_total_distance(ZEMU_graph* graph) {
    double total = 0.0;
    for (int e = 0; e < graph->total_edge; ++e) total += graph->edge[e].w;
    return total;
}

void ZEMU_free_vertice_path(ZEMU_graph* graph) {
    for (int i = 0; i < graph->total_vertice; ++i) {
        free(graph->vert[i].path);
        graph->vert[i].path = nullptr;
    }
}

void ZEMU_free_graph_vert(ZEMU_graph* graph) {
    free(graph->vert);
    graph->vert = nullptr;
    graph->total_vertice = 0;
}

void ZEMU_free_graph_edge(ZEMU_graph* graph) {
    free(graph->edge);
    graph->edge = nullptr;
    graph->total_edge = 0;
}

void ZEMU_free_graph(ZEMU_graph* graph) {
    ZEMU_free_graph_edge(graph);
    ZEMU_free_graph_vert(graph);
}

void ZEMU_print_graph(ZEMU_graph* graph, FILE* print) {
    fprintf(print, "\nPrinting %d vertices...\n", graph->total_vertice);
    for (int i = 0; i < graph->total_vertice; ++i) {
        fprintf(print, "Vertice %d Degree %d\n", graph->vert[i].a, graph->vert[i].d);
    }
    fprintf(print, "\nPrinting %d edges...\n", graph->total_edge);
    for (int e = 0; e < graph->total_edge; ++e) {
        fprintf(print, "Edge connecting %d and %d ; Weightage %.3f\n", graph->edge[e].a, graph->edge[e].b, graph->edge[e].w);
    }
}

// ---------------------------------------------------------------------------
// Shortest paths
// ---------------------------------------------------------------------------

namespace {

// Position of the first vertex labelled `label`, -1 when there is none.
int vertex_index(const ZEMU_graph* graph, int label) {
    for (int i = 0; i < graph->total_vertice; ++i) {
        if (graph->vert[i].a == label) return i;
    }
    return -1;
}

// Vertex positions of both ends of every edge (-1 for a label missing from the vertex list).
void edge_end_positions(const ZEMU_graph* graph, std::vector<int>& end_a, std::vector<int>& end_b) {
    end_a.resize((size_t)graph->total_edge);
    end_b.resize((size_t)graph->total_edge);
    if (graph->total_vertice <= 32) {
        for (int e = 0; e < graph->total_edge; ++e) {
            end_a[(size_t)e] = vertex_index(graph, graph->edge[e].a);
            end_b[(size_t)e] = vertex_index(graph, graph->edge[e].b);
        }
        return;
    }
    std::unordered_map<int, int> first_position;
    for (int i = graph->total_vertice - 1; i >= 0; --i) first_position[graph->vert[i].a] = i;
    auto lookup = [&](int label) {
        auto found = first_position.find(label);
        return found == first_position.end() ? -1 : found->second;
    };
    for (int e = 0; e < graph->total_edge; ++e) {
        end_a[(size_t)e] = lookup(graph->edge[e].a);
        end_b[(size_t)e] = lookup(graph->edge[e].b);
    }
}

// Result of one Dijkstra run from a source over every vertex. A vertex's path is
// its predecessor's path followed by the predecessor: predecessors are settled
// when they relax, so their own paths never change afterwards.
struct ShortestPathTree {
    std::vector<double> dist;      // per vertex, -1 when not reached
    std::vector<int> visited;      // per vertex, settled flag
    std::vector<int> total_path;   // per vertex, predecessors on the best path
    std::vector<int> predecessor;  // per vertex, position of the previous vertex, -1 for none
};

// Dijkstra over the undirected edges from vertex position `source`, with the
// program's tie rules: the first of equal candidates is settled, equal
// alternatives keep the path found first, and when nothing qualifies the
// previously settled vertex relaxes again at distance 999999.
void dijkstra_tree(const ZEMU_graph* graph, int source, ShortestPathTree& tree) {
    const int nv = graph->total_vertice;
    tree.dist.assign((size_t)nv, -1.0);
    tree.visited.assign((size_t)nv, 0);
    tree.total_path.assign((size_t)nv, 0);
    tree.predecessor.assign((size_t)nv, -1);
    tree.dist[(size_t)source] = 0.0;

    std::vector<int> end_a, end_b;
    edge_end_positions(graph, end_a, end_b);

    int current = source;
    for (int step = 0; step < nv - 1; ++step) {
        double best = zemu_kernel::kNoValue;
        int chosen = -1;
        for (int i = 0; i < nv; ++i) {
            if (tree.dist[(size_t)i] >= 0.0 && !tree.visited[(size_t)i] && tree.dist[(size_t)i] < best) {
                best = tree.dist[(size_t)i];
                chosen = i;
            }
        }
        if (chosen >= 0) current = chosen;
        const double current_dist = best;  // 999999 when the previous vertex is reused

        const int label = graph->vert[current].a;
        for (int e = 0; e < graph->total_edge; ++e) {
            const ZEMU_graph_edge& edge = graph->edge[e];
            int other;
            if (edge.a == label && edge.b != label) {
                other = end_b[(size_t)e];
            } else if (edge.b == label && edge.a != label) {
                other = end_a[(size_t)e];
            } else {
                continue;
            }
            if (other < 0 || tree.visited[(size_t)other]) continue;
            const double via = current_dist + edge.w;
            if (tree.dist[(size_t)other] < 0.0 || tree.dist[(size_t)other] > via) {
                tree.dist[(size_t)other] = via;
                tree.total_path[(size_t)other] = tree.total_path[(size_t)current] + 1;
                tree.predecessor[(size_t)other] = current;
            }
        }
        tree.visited[(size_t)current] = 1;
    }
}

// Labels from the tree's source to `target` inclusive (the target alone when unreachable).
std::vector<int> tree_path_labels(const ZEMU_graph* graph, const ShortestPathTree& tree, int target) {
    std::vector<int> labels;
    for (int v = target; v >= 0; v = tree.predecessor[(size_t)v]) labels.push_back(graph->vert[v].a);
    return std::vector<int>(labels.rbegin(), labels.rend());
}

}  // namespace

int ZEMU_find_shortest_path(ZEMU_graph* graph, int source, int target, double* dist, int** path,
                            int* path_length) {
    const int is = vertex_index(graph, source);
    if (is < 0) {
        fputs("Error: Cannot find source in graph\n", stderr);
        return 1;
    }
    const int it = vertex_index(graph, target);
    if (it < 0) {
        fputs("Error: Cannot find target in graph\n", stderr);
        return 1;
    }
    const bool want_path = *path_length != -1;

    if (source == target) {
        *dist = 0.0;
        if (want_path) {
            if (zemu_kernel::allocate_array(path, 1)) {
                fputs("Error: Memory allocation problem in ZEMU_find_shortest_path()\n", stderr);
                return 1;
            }
            (*path)[0] = target;
            *path_length = 1;
        }
        return 0;
    }

    ShortestPathTree tree;
    std::vector<int> labels;
    try {
        dijkstra_tree(graph, is, tree);
        if (want_path) labels = tree_path_labels(graph, tree, it);
    } catch (const std::bad_alloc&) {
        fputs("Error: Memory allocation problem in ZEMU_find_shortest_path()\n", stderr);
        return 1;
    }
    // The work fields are left as the search set them; no vertex keeps a path.
    for (int i = 0; i < graph->total_vertice; ++i) {
        ZEMU_graph_vertice& v = graph->vert[i];
        v.dist = tree.dist[(size_t)i];
        v.visited = tree.visited[(size_t)i];
        v.total_path = tree.total_path[(size_t)i];
        free(v.path);
        v.path = nullptr;
    }

    *dist = tree.dist[(size_t)it];
    if (want_path) {
        if (zemu_kernel::allocate_array(path, labels.size())) {
            fputs("Error: Memory allocation problem in ZEMU_find_shortest_path()\n", stderr);
            return 1;
        }
        memcpy(*path, labels.data(), sizeof(int) * labels.size());
        *path_length = (int)labels.size();
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Pairing odd vertices
// ---------------------------------------------------------------------------

namespace {

const char* const kEulerAllocError = "Error: Memory allocation problem in ZEMU_build_Euler_path()\n";
const char* const kNotConnectedError = "Error: Graph is not connected in ZEMU_build_Euler_path()\n";

// Shortest-path trees from the vertices asked for, each computed once. Added
// duplicate edges never change a tree: a duplicate carries the smallest weight
// already joining its two ends and, lying later in the list, never relaxes
// strictly better than the original.
class PathOracle {
public:
    explicit PathOracle(const ZEMU_graph* graph)
        : graph_(graph), trees_((size_t)graph->total_vertice), ready_((size_t)graph->total_vertice, 0) {}

    const ShortestPathTree& from(int source) {
        if (!ready_[(size_t)source]) {
            dijkstra_tree(graph_, source, trees_[(size_t)source]);
            ready_[(size_t)source] = 1;
        }
        return trees_[(size_t)source];
    }
    double dist(int source, int target) { return from(source).dist[(size_t)target]; }
    std::vector<int> path(int source, int target) { return tree_path_labels(graph_, from(source), target); }

private:
    const ZEMU_graph* graph_;
    std::vector<ShortestPathTree> trees_;
    std::vector<char> ready_;
};

// Odd-degree vertex positions in list order, leaving out the labels in excl.
std::vector<int> eligible_odd_vertices(const ZEMU_graph* graph, const int* excl, int excl_no) {
    std::vector<int> eligible;
    for (int i = 0; i < graph->total_vertice; ++i) {
        if (graph->vert[i].d % 2 == 0) continue;
        bool excluded = false;
        for (int k = 0; k < excl_no && !excluded; ++k) excluded = graph->vert[i].a == excl[k];
        if (!excluded) eligible.push_back(i);
    }
    return eligible;
}

bool contains_prefix(const std::vector<int>& combination, size_t prefix, int v) {
    for (size_t k = 0; k < prefix; ++k) {
        if (combination[k] == v) return true;
    }
    return false;
}

// Every perfect matching of `eligible` (an even number of vertex positions), in
// the program's fixed order: combinations are completed pair by pair, the first
// alternative for each pair stays in place and further ones are appended.
std::vector<std::vector<int>> enumerate_pairings(const std::vector<int>& eligible) {
    std::vector<std::vector<int>> combos;
    if (eligible.empty()) return combos;
    const size_t pair = eligible.size() / 2;
    for (size_t g = 1; g < eligible.size(); ++g) combos.push_back({eligible[0], eligible[g]});
    for (size_t p = 2; p < 2 * pair; p += 2) {
        const size_t existing = combos.size();
        for (size_t c = 0; c < existing; ++c) {
            size_t first = 0;
            while (contains_prefix(combos[c], p, eligible[first])) ++first;
            combos[c].push_back(eligible[first]);
            bool partner_placed = false;
            for (size_t g = first + 1; g < eligible.size(); ++g) {
                if (contains_prefix(combos[c], p, eligible[g])) continue;
                if (!partner_placed) {
                    combos[c].push_back(eligible[g]);
                    partner_placed = true;
                } else {
                    std::vector<int> extra(combos[c].begin(), combos[c].begin() + (long)(p + 1));
                    extra.push_back(eligible[g]);
                    combos.push_back(std::move(extra));
                }
            }
        }
    }
    return combos;
}

// Eligible odd vertices and their pairings; 1 (with the message) when they cannot pair up.
int odd_vertex_pairings(const ZEMU_graph* graph, const int* excl, int excl_no, std::vector<std::vector<int>>& combos) {
    std::vector<int> eligible = eligible_odd_vertices(graph, excl, excl_no);
    if (eligible.size() % 2 != 0) {
        fputs("Error: Invalid graph input to ZEMU_handshake_odd_vertices()\n", stderr);
        return 1;
    }
    combos = enumerate_pairings(eligible);
    return 0;
}

// The combination with the smallest summed pair distance (first wins on ties; an
// unconnected pair counts -1). When no penalty falls below the 999999 bound, the
// first combination is used.
size_t cheapest_pairing(const std::vector<std::vector<int>>& combos, PathOracle& oracle) {
    size_t chosen = 0;
    double best = zemu_kernel::kNoValue;
    for (size_t c = 0; c < combos.size(); ++c) {
        double penalty = 0.0;
        for (size_t k = 0; k + 1 < combos[c].size(); k += 2) penalty += oracle.dist(combos[c][k], combos[c][k + 1]);
        if (penalty < best) {
            best = penalty;
            chosen = c;
        }
    }
    return chosen;
}

// Smallest weight among the edges joining labels u and v in either orientation (bound 999999).
double joining_weight(const ZEMU_graph* graph, int u, int v) {
    double w = zemu_kernel::kNoValue;
    for (int e = 0; e < graph->total_edge; ++e) {
        const ZEMU_graph_edge& edge = graph->edge[e];
        if (((edge.a == u && edge.b == v) || (edge.a == v && edge.b == u)) && edge.w < w) w = edge.w;
    }
    return w;
}

// The duplicate edges a pairing adds, in order: along each pair's shortest path,
// one edge per step (an unconnected pair adds nothing).
std::vector<ZEMU_graph_edge> pairing_duplicates(const ZEMU_graph* graph, const std::vector<int>& pairs,
                                                PathOracle& oracle) {
    std::vector<ZEMU_graph_edge> added;
    for (size_t k = 0; k + 1 < pairs.size(); k += 2) {
        std::vector<int> labels = oracle.path(pairs[k], pairs[k + 1]);
        for (size_t s = 0; s + 1 < labels.size(); ++s) {
            ZEMU_graph_edge edge;
            edge.a = labels[s];
            edge.b = labels[s + 1];
            edge.w = joining_weight(graph, labels[s], labels[s + 1]);
            added.push_back(edge);
        }
    }
    return added;
}

// Appends the duplicates and raises the degree of every vertex bearing either end's label.
int add_duplicates(ZEMU_graph* graph, const std::vector<ZEMU_graph_edge>& added) {
    for (const ZEMU_graph_edge& edge : added) {
        if (ZEMU_add_edge(graph, edge.a, edge.b, edge.w) != 0) return 1;
        for (int i = 0; i < graph->total_vertice; ++i) {
            if (graph->vert[i].a == edge.a || graph->vert[i].a == edge.b) graph->vert[i].d++;
        }
    }
    return 0;
}

}  // namespace

int ZEMU_handshake_odd_vertices_combinations(ZEMU_graph* graph, int*** list_output, int* no, int* pair,
                                             int* excl, int excl_no) {
    *list_output = nullptr;
    *no = 0;
    *pair = 0;
    std::vector<std::vector<int>> combos;
    try {
        if (odd_vertex_pairings(graph, excl, excl_no, combos) != 0) return 1;
    } catch (const std::bad_alloc&) {
        fputs("Error: Memory allocation problem in ZEMU_handshake_odd_vertices_combinations()\n", stderr);
        return 1;
    }
    if (combos.empty()) return 0;

    int** list;
    bool failed = zemu_kernel::allocate_array(&list, combos.size(), true) != 0;
    for (size_t c = 0; !failed && c < combos.size(); ++c) {
        if (zemu_kernel::allocate_array(&list[c], combos[c].size())) {
            failed = true;
            break;
        }
        memcpy(list[c], combos[c].data(), sizeof(int) * combos[c].size());
    }
    if (failed) {
        if (list != nullptr) {
            for (size_t c = 0; c < combos.size(); ++c) free(list[c]);
            free(list);
        }
        fputs("Error: Memory allocation problem in ZEMU_handshake_odd_vertices_combinations()\n", stderr);
        return 1;
    }
    *list_output = list;
    *no = (int)combos.size();
    *pair = (int)combos[0].size() / 2;
    return 0;
}

int ZEMU_handshake_odd_vertices(ZEMU_graph* graph, int* excl, int excl_no) {
    std::vector<ZEMU_graph_edge> added;
    try {
        std::vector<std::vector<int>> combos;
        if (odd_vertex_pairings(graph, excl, excl_no, combos) != 0) return 1;
        if (combos.empty()) return 0;
        PathOracle oracle(graph);
        added = pairing_duplicates(graph, combos[cheapest_pairing(combos, oracle)], oracle);
    } catch (const std::bad_alloc&) {
        fputs("Error: Memory allocation problem in ZEMU_handshake_odd_vertices()\n", stderr);
        return 1;
    }
    return add_duplicates(graph, added);
}

// ---------------------------------------------------------------------------
// Euler walk
// ---------------------------------------------------------------------------

namespace {

// True when every edge lies in one connected component.
bool edges_connected(const ZEMU_graph* graph) {
    std::unordered_map<int, int> id;
    std::vector<int> parent;
    auto node = [&](int label) {
        auto found = id.find(label);
        if (found != id.end()) return found->second;
        int k = (int)parent.size();
        id.emplace(label, k);
        parent.push_back(k);
        return k;
    };
    auto root = [&](int k) {
        while (parent[(size_t)k] != k) {
            parent[(size_t)k] = parent[(size_t)parent[(size_t)k]];
            k = parent[(size_t)k];
        }
        return k;
    };
    for (int e = 0; e < graph->total_edge; ++e) {
        int ra = root(node(graph->edge[e].a));
        int rb = root(node(graph->edge[e].b));
        if (ra != rb) parent[(size_t)ra] = rb;
    }
    int components = 0;
    for (size_t k = 0; k < parent.size(); ++k) components += parent[k] == (int)k;
    return components <= 1;
}

// Chosen end points of the walk and the pairing that makes every other vertex even.
struct WalkPlan {
    int start;               // vertex position
    int end;                 // vertex position
    bool closed;             // no odd vertices: the walk returns to the start
    std::vector<int> pairs;  // vertex positions, read as (0,1), (2,3), ...
};

// Exact plan: every pair of odd vertices is tried as the end points and the rest
// paired as cheaply as possible; the smallest resulting total weight wins (first
// on ties; the first pair when no total falls below the 999999 bound).
int plan_exact(ZEMU_graph* graph, const std::vector<int>& odd, PathOracle& oracle, WalkPlan& plan) {
    const double base = ZEMU_graph_total_distance(graph);
    double best = zemu_kernel::kNoValue;
    plan.start = odd[0];
    plan.end = odd[1];
    for (size_t i = 0; i < odd.size(); ++i) {
        for (size_t j = i + 1; j < odd.size(); ++j) {
            const int excl[2] = {graph->vert[odd[i]].a, graph->vert[odd[j]].a};
            std::vector<std::vector<int>> combos;
            double total = base;
            if (odd_vertex_pairings(graph, excl, 2, combos) == 0 && !combos.empty()) {
                for (const ZEMU_graph_edge& edge : pairing_duplicates(graph, combos[cheapest_pairing(combos, oracle)], oracle)) {
                    total += edge.w;
                }
            }
            if (total < best) {
                best = total;
                plan.start = odd[i];
                plan.end = odd[j];
            }
        }
    }
    const int excl[2] = {graph->vert[plan.start].a, graph->vert[plan.end].a};
    std::vector<std::vector<int>> combos;
    if (odd_vertex_pairings(graph, excl, 2, combos) != 0) return 1;
    if (!combos.empty()) plan.pairs = combos[cheapest_pairing(combos, oracle)];
    return 0;
}

// Greedy plan for many odd vertices: start at the first, end at the farthest
// reachable one (first on ties), then pair each first unpaired vertex with its
// nearest unpaired one (first on ties, unconnected ones last).
void plan_greedy(const std::vector<int>& odd, PathOracle& oracle, WalkPlan& plan) {
    plan.start = odd[0];
    plan.end = -1;
    double farthest = -1.0;
    for (size_t k = 1; k < odd.size(); ++k) {
        const double d = oracle.dist(plan.start, odd[k]);
        if (d >= 0.0 && (plan.end < 0 || d > farthest)) {
            farthest = d;
            plan.end = odd[k];
        }
    }
    if (plan.end < 0) plan.end = odd[1];  // nothing reachable: cannot happen on a connected graph

    std::vector<int> unpaired;
    for (int v : odd) {
        if (v != plan.start && v != plan.end) unpaired.push_back(v);
    }
    while (!unpaired.empty()) {
        const int first = unpaired[0];
        size_t partner = 0;
        double nearest = -1.0;
        for (size_t k = 1; k < unpaired.size(); ++k) {
            const double d = oracle.dist(first, unpaired[k]);
            const bool better = partner == 0 || (d >= 0.0 && (nearest < 0.0 || d < nearest));
            if (better) {
                partner = k;
                nearest = d;
            }
        }
        if (partner == 0) break;  // a lone vertex left over: odd degrees do not pair up
        plan.pairs.push_back(first);
        plan.pairs.push_back(unpaired[partner]);
        unpaired.erase(unpaired.begin() + (long)partner);
        unpaired.erase(unpaired.begin());
    }
}

// First edge not yet used with `label` at one end, -1 when there is none.
int first_unused_edge_at(const ZEMU_graph* graph, const std::vector<char>& used, int label) {
    for (int e = 0; e < graph->total_edge; ++e) {
        if (!used[(size_t)e] && (graph->edge[e].a == label || graph->edge[e].b == label)) return e;
    }
    return -1;
}

int other_end(const ZEMU_graph_edge& edge, int label) { return edge.a == label ? edge.b : edge.a; }

// Greedy walk from the start, then closed sub-walks spliced in at their first
// branch vertex, over the paired work graph. 1 when the walk gets stuck.
int assemble_walk(const ZEMU_graph* work, int start_label, int stop_label, std::vector<int>& walk,
                  std::vector<double>& weights) {
    std::vector<char> used((size_t)work->total_edge, 0);
    int remaining = work->total_edge;
    walk.assign(1, start_label);
    weights.clear();

    int current = start_label;
    // Follows the first unused edge at `current`, recording its far end and its
    // weight; false when none is left.
    auto step = [&](std::vector<int>& labels, std::vector<double>& step_weights) {
        const int e = first_unused_edge_at(work, used, current);
        if (e < 0) return false;
        used[(size_t)e] = 1;
        --remaining;
        current = other_end(work->edge[e], current);
        labels.push_back(current);
        step_weights.push_back(work->edge[e].w);
        return true;
    };
    do {
        if (!step(walk, weights)) return 1;
    } while (current != stop_label);

    std::unordered_map<int, char> on_walk;
    for (int label : walk) on_walk[label] = 1;
    while (remaining > 0) {
        int e = -1;
        for (int k = 0; k < work->total_edge && e < 0; ++k) {
            if (!used[(size_t)k] && (on_walk.count(work->edge[k].a) || on_walk.count(work->edge[k].b))) e = k;
        }
        if (e < 0) return 1;
        const ZEMU_graph_edge& branch_edge = work->edge[e];
        size_t position = 0;
        while (walk[position] != branch_edge.a && walk[position] != branch_edge.b) ++position;
        const int branch = walk[position] == branch_edge.a ? branch_edge.a : branch_edge.b;
        used[(size_t)e] = 1;
        --remaining;
        current = branch == branch_edge.a ? branch_edge.b : branch_edge.a;
        std::vector<int> sub(1, current);
        std::vector<double> sub_weights(1, branch_edge.w);
        while (current != branch) {
            if (!step(sub, sub_weights)) return 1;
        }
        walk.insert(walk.begin() + (long)position + 1, sub.begin(), sub.end());
        weights.insert(weights.begin() + (long)position, sub_weights.begin(), sub_weights.end());
        for (int label : sub) on_walk[label] = 1;
    }
    return 0;
}

}  // namespace

int ZEMU_build_Euler_path(ZEMU_graph* graph, int** path, int* path_total, double** path_weightage) {
    *path = nullptr;
    *path_total = 0;
    *path_weightage = nullptr;
    if (graph->total_edge == 0) return 0;  // no edges: the walk is empty
    if (graph->total_vertice == 0) {
        fputs("Error: Invalid input to ZEMU_build_Euler_path()\n", stderr);
        return 1;
    }

    std::vector<int> walk;
    std::vector<double> weights;
    ZEMU_graph work;
    ZEMU_init_graph(&work);
    int status = 0;
    try {
        std::vector<int> odd;
        for (int i = 0; i < graph->total_vertice; ++i) {
            if (graph->vert[i].d % 2 != 0) odd.push_back(i);
        }
        const bool greedy = odd.size() > 8;
        if (greedy) fputs("Warning: Too many odd vertices for exact pairing in ZEMU_build_Euler_path(); pairing greedily\n", stderr);
        if (!edges_connected(graph)) {
            fputs(kNotConnectedError, stderr);
            return 1;
        }

        PathOracle oracle(graph);
        WalkPlan plan;
        plan.closed = odd.size() < 2;
        if (plan.closed) {
            plan.start = 0;
            plan.end = graph->total_vertice > 1 ? 1 : 0;
        } else if (greedy) {
            plan_greedy(odd, oracle, plan);
        } else if (plan_exact(graph, odd, oracle, plan) != 0) {
            return 1;
        }
        const std::vector<ZEMU_graph_edge> added = pairing_duplicates(graph, plan.pairs, oracle);

        if (ZEMU_copy_graph(graph, &work) != 0 || add_duplicates(&work, added) != 0) {
            status = 1;
        } else {
            const int start_label = graph->vert[plan.start].a;
            const int stop_label = plan.closed ? start_label : graph->vert[plan.end].a;
            if (assemble_walk(&work, start_label, stop_label, walk, weights) != 0) {
                fputs(kNotConnectedError, stderr);
                status = 1;
            }
        }
    } catch (const std::bad_alloc&) {
        fputs(kEulerAllocError, stderr);
        status = 1;
    }
    ZEMU_free_graph(&work);
    if (status != 0) return 1;

    *path_weightage = nullptr;
    if (zemu_kernel::allocate_array(path, walk.size()) ||
        zemu_kernel::allocate_array(path_weightage, weights.empty() ? 1 : weights.size())) {
        free(*path);
        free(*path_weightage);
        *path = nullptr;
        *path_weightage = nullptr;
        fputs(kEulerAllocError, stderr);
        return 1;
    }
    memcpy(*path, walk.data(), sizeof(int) * walk.size());
    if (!weights.empty()) memcpy(*path_weightage, weights.data(), sizeof(double) * weights.size());
    *path_total = (int)walk.size();
    return 0;
}
