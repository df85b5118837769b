// Reaction pathways: Euler walks over the migration network turned into signed
// path references, the percolating backbone of a cluster, the pathways built at
// rising thresholds and duplicate removal. Placing the references as one grid
// route is part of the tracing (ZEMU-path-trace.cpp), the pathway file part of
// the reports (ZEMU-path-report.cpp).
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "ZEMU-path.h"
#include "ZEMU-network.h"
#include "ZEMU-graph.h"
#include "ZEMU-rp.h"
#include "ZEMU-kernel.h"

namespace {

const double kEnergyTolerance = 1e-10;  // eV: saddle energies this close are the same

bool valid_path_index(ZEMU_pathlib* pathlib, int k) { return k >= 0 && k < pathlib->total_path; }

using zemu_kernel::reference_path_index;

bool cluster_has_path(ZEMU_cluster* c, int k) {
    for (int i = 0; i < c->total_path; i++)
        if (c->path[i] == k) return true;
    return false;
}

// Grows the pathway array by one empty pathway. 0 or 1 (array unchanged).
int append_empty_pathway(ZEMU_reaction_pathway_overall* rp_all) {
    int count = rp_all->total > 0 ? rp_all->total : 0;
    if (zemu_kernel::resize_array(&rp_all->rp, count + 1)) return 1;
    memset(&rp_all->rp[count], 0, sizeof(ZEMU_reaction_pathway));
    rp_all->rp[count].path = nullptr;
    rp_all->total = count + 1;
    return 0;
}

// A new path library holding the listed paths and allpaths of `source` (indices
// in the order given). `target` must be initialised. 0 or 1.
int make_library(ZEMU_pathlib* source, const std::vector<int>& paths, const std::vector<int>& allpaths,
                 ZEMU_pathlib* target) {
    ZEMU_free_pathlib(target);
    if (!paths.empty()) {
        if (zemu_kernel::resize_array(&target->path, static_cast<int>(paths.size()))) return 1;
        for (size_t i = 0; i < paths.size(); i++) target->path[i] = source->path[paths[i]];
        target->total_path = static_cast<int>(paths.size());
    }
    if (!allpaths.empty()) {
        if (zemu_kernel::resize_array(&target->allpath, static_cast<int>(allpaths.size()))) return 1;
        for (size_t i = 0; i < allpaths.size(); i++) target->allpath[i] = source->allpath[allpaths[i]];
        target->total_allpath = static_cast<int>(allpaths.size());
    }
    return 0;
}

// Path type of every allpath (-1 where none matches), looked up once.
std::vector<int> allpath_types(ZEMU_pathlib* pathlib) {
    std::vector<int> type(pathlib->total_allpath > 0 ? pathlib->total_allpath : 0, -1);
    for (size_t z = 0; z < type.size(); z++) type[z] = ZEMU_get_allpath_to_path_index(pathlib, static_cast<int>(z));
    return type;
}

// Whether a cluster list holds a cluster that carries `top` with at least
// dimension `dimension`, and is a ribbon when `ribbon` asks for one.
bool list_percolates_like(ZEMU_cluster_list* list, int top, int dimension, int ribbon) {
    if (list->clust == nullptr) return false;
    for (int c = 0; c < list->total; c++) {
        ZEMU_cluster* cl = &list->clust[c];
        if (!cluster_has_path(cl, top)) continue;
        if (cl->dimension < dimension) continue;
        if (ribbon == 1 && cl->ribbon != 1) continue;
        return true;
    }
    return false;
}

// Analyses the network of `library`: 1 when it percolates like the cluster
// described, 0 when not, -1 when the analysis fails.
int library_percolates_like(ZEMU_cube* cube, ZEMU_pathlib* library, int top, int dimension, int ribbon) {
    zemu_kernel::ScopedClusters list;
    if (ZEMU_analyze_network(cube, library, list.get())) return -1;
    return list_percolates_like(list.get(), top, dimension, ribbon) ? 1 : 0;
}

// The allpaths of `members` split into the connected pieces the network flood
// finds (copies sharing a minimum index belong together), each piece in array
// order, pieces in the order of their first copy.
std::vector<std::vector<int>> flood_pieces(ZEMU_pathlib* pathlib, const std::vector<int>& members) {
    int top_index = 0;
    for (int z : members) top_index = std::max({top_index, pathlib->allpath[z].start + 1, pathlib->allpath[z].end + 1});
    std::vector<int> parent(static_cast<size_t>(top_index));
    for (int i = 0; i < top_index; i++) parent[i] = i;
    auto root = [&parent](int v) {
        while (parent[v] != v) {
            parent[v] = parent[parent[v]];
            v = parent[v];
        }
        return v;
    };
    for (int z : members) {
        int a = pathlib->allpath[z].start, b = pathlib->allpath[z].end;
        if (a < 0 || b < 0) continue;
        int ra = root(a), rb = root(b);
        if (ra != rb) parent[std::max(ra, rb)] = std::min(ra, rb);
    }
    std::vector<std::vector<int>> pieces;
    std::vector<int> piece_of_root(static_cast<size_t>(top_index), -1);
    for (int z : members) {
        int a = pathlib->allpath[z].start;
        if (a < 0 || pathlib->allpath[z].end < 0) {  // a copy without minima stands alone
            pieces.push_back({z});
            continue;
        }
        int r = root(a);
        if (piece_of_root[r] < 0) {
            piece_of_root[r] = static_cast<int>(pieces.size());
            pieces.emplace_back();
        }
        pieces[piece_of_root[r]].push_back(z);
    }
    return pieces;
}

}  // namespace

// ---------------------------------------------------------------------------
// Graph edges
// ---------------------------------------------------------------------------

int ZEMU_add_path_as_graph_edge(ZEMU_graph* graph, ZEMU_path* path) {
    return ZEMU_add_edge(graph, path->start_type, path->end_type, path->saddle_energy);
}

int ZEMU_add_allpath_as_graph_edge(ZEMU_graph* graph, ZEMU_allpath* ap) {
    return ZEMU_add_edge(graph, ap->start, ap->end, ap->saddle_energy);
}

// ---------------------------------------------------------------------------
// Walks to references
// ---------------------------------------------------------------------------

int ZEMU_copy_cluster_append_rp_all(ZEMU_reaction_pathway_overall* rp_all, ZEMU_cluster* clust) {
    if (append_empty_pathway(rp_all)) return 1;
    ZEMU_reaction_pathway* rp = &rp_all->rp[rp_all->total - 1];
    rp->ID = clust->ID;
    rp->initial_dimension = clust->dimension;
    rp->dimension = clust->dimension;
    rp->ribbon = clust->ribbon;
    return 0;
}

namespace {

// Appends one reference per step of an Euler walk to the newest pathway of rp_all.
// match(from, to, weight, &ref) updates ref for a matching path. The reference is
// carried over from step to step, so that the pathway keeps exactly one reference
// per step and its route stays as long as the walk and continuous: a step that
// matches nothing repeats the previous one, which places another copy of the same
// path type from where the route stands (0 before the first match: a step that
// matched no path, placed as nothing).
template <class Match>
int append_walk_references(ZEMU_reaction_pathway_overall* rp_all, const int* walk, int walk_length,
                           const double* weight, Match match) {
    if (rp_all->total <= 0 || rp_all->rp == nullptr) return 1;
    ZEMU_reaction_pathway* rp = &rp_all->rp[rp_all->total - 1];
    int ref = 0;
    for (int s = 0; s + 1 < walk_length; s++) {
        match(walk[s], walk[s + 1], weight[s], &ref);
        if (ZEMU_append_path_to_reaction_pathway(rp, ref)) return 1;
    }
    return 0;
}

}  // namespace

int ZEMU_append_Euler_path_rpall(ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all, int* Euler_path,
                                 int Euler_path_length, double* Euler_path_weightage) {
    // The walk's vertices are path types.
    return append_walk_references(rp_all, Euler_path, Euler_path_length, Euler_path_weightage,
                                  [pathlib](int from, int to, double w, int* ref) {
                                      for (int k = 0; k < pathlib->total_path; k++) {
                                          ZEMU_path* p = &pathlib->path[k];
                                          if (fabs(p->saddle_energy - w) >= kEnergyTolerance) continue;
                                          if (p->start_type == from && p->end_type == to) *ref = k + 1;
                                          if (p->end_type == from && p->start_type == to) *ref = -(k + 1);
                                      }
                                  });
}

int ZEMU_append_Euler_allpath_rpall(ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all, int* Euler_path,
                                    int Euler_path_length, double* Euler_path_weightage) {
    // The walk's vertices are minima; a copy names the path type it belongs to.
    return append_walk_references(
        rp_all, Euler_path, Euler_path_length, Euler_path_weightage, [pathlib](int from, int to, double w, int* ref) {
            for (int z = 0; z < pathlib->total_allpath; z++) {
                ZEMU_allpath* ap = &pathlib->allpath[z];
                if (fabs(ap->saddle_energy - w) >= kEnergyTolerance) continue;
                bool forwards = ap->start == from && ap->end == to;
                bool backwards = ap->end == from && ap->start == to;
                if (!forwards && !backwards) continue;
                int k = ZEMU_get_allpath_to_path_index(pathlib, z);
                if (k < 0) continue;  // a copy without its path type names nothing
                if (forwards) *ref = k + 1;
                if (backwards) *ref = -(k + 1);
            }
        });
}

namespace {

// Euler walk over the graph (vertex list rebuilt first) handed to `append`.
int walk_graph_into_pathway(ZEMU_graph* graph, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all,
                            int (*append)(ZEMU_pathlib*, ZEMU_reaction_pathway_overall*, int*, int, double*)) {
    int* walk = nullptr;
    double* weights = nullptr;
    int length = 0;
    int result = ZEMU_build_vert_from_edge(graph);
    if (result == 0) result = ZEMU_build_Euler_path(graph, &walk, &length, &weights);
    if (result == 0) result = append(pathlib, rp_all, walk, length, weights);
    free(walk);
    free(weights);
    ZEMU_free_graph(graph);
    return result;
}

}  // namespace

int ZEMU_build_and_append_Euler_path_rpall(ZEMU_graph* graph, ZEMU_pathlib* pathlib,
                                           ZEMU_reaction_pathway_overall* rp_all) {
    return walk_graph_into_pathway(graph, pathlib, rp_all, ZEMU_append_Euler_path_rpall);
}

int ZEMU_build_and_append_Euler_allpath_rpall(ZEMU_graph* graph, ZEMU_pathlib* pathlib,
                                              ZEMU_pathlib* backbone_pathlib,
                                              ZEMU_reaction_pathway_overall* rp_all) {
    ZEMU_free_graph(graph);
    for (int z = 0; z < backbone_pathlib->total_allpath; z++) {
        if (ZEMU_add_allpath_as_graph_edge(graph, &backbone_pathlib->allpath[z])) {
            ZEMU_free_graph(graph);
            return 1;
        }
    }
    return walk_graph_into_pathway(graph, pathlib, rp_all, ZEMU_append_Euler_allpath_rpall);
}

// ---------------------------------------------------------------------------
// Shortest joining walks
// ---------------------------------------------------------------------------

int ZEMU_store_better_shortest_path(double* best_dist, int** best_path, int* length_of_best_path, double trial_dist,
                                    int* trial_path, int length_of_trial_path) {
    if (!(trial_dist < *best_dist)) return 0;
    int n = length_of_trial_path > 0 && trial_path != nullptr ? length_of_trial_path : 0;
    int* copy = nullptr;
    if (n > 0) {
        if (zemu_kernel::allocate_array(&copy, static_cast<size_t>(n))) {
            fprintf(stderr, "Error: Memory allocation problem in ZEMU_store_better_shortest_path()\n");
            return 1;
        }
        memcpy(copy, trial_path, sizeof(int) * static_cast<size_t>(n));
    }
    free(*best_path);
    *best_path = copy;
    *length_of_best_path = n;
    *best_dist = trial_dist;
    return 0;
}

int ZEMU_find_best_shortest_path(double* best_dist, int** best_path, int* length_of_best_path, ZEMU_graph* graph,
                                 int source, int target) {
    double dist = 0.0;
    int* path = nullptr;
    int length = 0;
    if (ZEMU_find_shortest_path(graph, source, target, &dist, &path, &length)) return 1;
    int result = ZEMU_store_better_shortest_path(best_dist, best_path, length_of_best_path, dist, path, length);
    free(path);
    return result;
}

int ZEMU_append_minima_path_to_reaction_pathway(ZEMU_pathlib* pathlib, ZEMU_reaction_pathway* rp, int* minima_path,
                                                int pathlength) {
    // Carried over from step to step, as for the Euler walks: one reference per
    // step keeps the joining walk and the route in step.
    int ref = 0;
    for (int s = 0; s + 1 < pathlength; s++) {
        int from = minima_path[s], to = minima_path[s + 1];
        bool found = false;
        double shortest = 0.0;
        for (int k = 0; k < pathlib->total_path; k++) {
            ZEMU_path* p = &pathlib->path[k];
            if (p->start_type == from && p->end_type == to && (!found || p->length < shortest)) {
                ref = k + 1;
                shortest = p->length;
                found = true;
            }
            if (p->end_type == from && p->start_type == to && (!found || p->length < shortest)) {
                ref = -(k + 1);
                shortest = p->length;
                found = true;
            }
        }
        if (ZEMU_append_path_to_reaction_pathway(rp, ref)) return 1;
        // A leading step without a path leaves the reference 0, which marks no path.
        if (ref != 0) pathlib->path[reference_path_index(pathlib, ref)].in_rp = 1;
    }
    return 0;
}

void ZEMU_reorder_int_list(int* list, int total, int k) {
    if (list == nullptr || total <= 1 || k <= 0 || k >= total) return;
    std::rotate(list, list + k, list + total);
}

// ---------------------------------------------------------------------------
// Percolating backbone
// ---------------------------------------------------------------------------

namespace {

// The backbone of cluster `clust` of `pathlib` as the two libraries (the
// kept path types with all their copies; the same types with only the copies
// of the piece that carries the top path). 0, 1 when memory runs out, -1 when
// a network analysis fails (it has said why).
int find_backbone(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster* clust, ZEMU_pathlib* backbone_pathlib_sym,
                  ZEMU_pathlib* backbone_pathlib, int complete) {
    const int top = clust->ID;
    const int dimension = clust->dimension;
    const int ribbon = clust->ribbon;
    zemu_kernel::ScopedPathlib trial;
    std::vector<char> kept(static_cast<size_t>(pathlib->total_path > 0 ? pathlib->total_path : 0), 0);
    for (int i = 0; i < clust->total_path; i++)
        if (valid_path_index(pathlib, clust->path[i])) kept[clust->path[i]] = 1;

    // Candidates: every type but the top one, highest saddle first, then the higher index.
    std::vector<int> candidates;
    for (int k = 0; k < pathlib->total_path; k++)
        if (kept[k] && k != top) candidates.push_back(k);
    std::sort(candidates.begin(), candidates.end(), [pathlib](int a, int b) {
        double ea = pathlib->path[a].saddle_energy, eb = pathlib->path[b].saddle_energy;
        if (ea != eb) return ea > eb;
        return a > b;
    });

    const std::vector<int> type = allpath_types(pathlib);
    std::vector<int> all_paths(kept.size());
    for (size_t k = 0; k < kept.size(); k++) all_paths[k] = static_cast<int>(k);
    auto kept_allpaths = [&]() {
        std::vector<int> members;
        for (size_t z = 0; z < type.size(); z++)
            if (type[z] >= 0 && kept[type[z]]) members.push_back(static_cast<int>(z));
        return members;
    };

    bool dropped = true;
    while (dropped) {
        dropped = false;
        for (int k : candidates) {
            if (!kept[k]) continue;
            kept[k] = 0;
            if (make_library(pathlib, all_paths, kept_allpaths(), trial.get())) return 1;
            int verdict = library_percolates_like(cube, trial.get(), top, dimension, ribbon);
            if (verdict < 0) return -1;
            if (verdict == 1)
                dropped = true;
            else
                kept[k] = 1;
        }
        if (!complete) break;
    }

    // The one connected piece that carries the top path: the first that
    // percolates like the cluster on its own, else the first that carries it.
    std::vector<int> piece_taken;
    bool have_piece = false;
    for (const std::vector<int>& piece : flood_pieces(pathlib, kept_allpaths())) {
        bool has_top = false;
        for (int z : piece) has_top = has_top || type[z] == top;
        if (!has_top) continue;
        if (make_library(pathlib, all_paths, piece, trial.get())) return 1;
        int verdict = library_percolates_like(cube, trial.get(), top, dimension, ribbon);
        if (verdict < 0) return -1;
        if (!have_piece || verdict == 1) piece_taken = piece;
        have_piece = true;
        if (verdict == 1) break;
    }

    std::vector<int> kept_paths;
    for (size_t k = 0; k < kept.size(); k++)
        if (kept[k]) kept_paths.push_back(static_cast<int>(k));
    if (make_library(pathlib, kept_paths, std::vector<int>(), backbone_pathlib_sym) ||
        make_library(pathlib, kept_paths, piece_taken, backbone_pathlib))
        return 1;
    return 0;
}

}  // namespace

int ZEMU_get_percolating_cluster_backbone(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster* clust,
                                          ZEMU_pathlib* backbone_pathlib_sym, ZEMU_cluster_list* backbone_clust_sym,
                                          ZEMU_pathlib* backbone_pathlib, ZEMU_cluster_list* backbone_clust,
                                          int complete) {
    ZEMU_free_pathlib(backbone_pathlib_sym);
    ZEMU_free_pathlib(backbone_pathlib);
    ZEMU_free_path_clust(backbone_clust_sym);
    ZEMU_free_path_clust(backbone_clust);
    backbone_clust_sym->total = 0;
    backbone_clust->total = 0;

    int status;
    try {
        status = find_backbone(cube, pathlib, clust, backbone_pathlib_sym, backbone_pathlib, complete);
    } catch (const std::bad_alloc&) {
        status = 1;
    }
    if (status < 0) return 1;
    if (status > 0) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_get_percolating_cluster_backbone()\n");
        return 1;
    }
    if (ZEMU_analyze_network(cube, backbone_pathlib_sym, backbone_clust_sym)) return 1;
    if (ZEMU_analyze_network(cube, backbone_pathlib, backbone_clust)) return 1;
    return 0;
}

// ---------------------------------------------------------------------------
// Building the pathways
// ---------------------------------------------------------------------------

namespace {

const char kBuildAllocError[] = "Error: Memory allocation problem in ZEMU_build_reaction_pathway()\n";

using zemu_kernel::ScopedGraph;

// The backbone of one cluster with its two analyses, released on scope exit.
struct Backbone {
    zemu_kernel::ScopedPathlib sym, full;
    zemu_kernel::ScopedClusters sym_clusters, full_clusters;
    int reduce(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster* c) {
        return ZEMU_get_percolating_cluster_backbone(cube, pathlib, c, sym.get(), sym_clusters.get(), full.get(),
                                                     full_clusters.get(), 1);
    }
};

// The best joining walk found so far.
struct BestRoute {
    double dist = zemu_kernel::kNoValue;
    int* path = nullptr;
    int length = 0;
    ~BestRoute() { free(path); }
    void reset() {
        free(path);
        path = nullptr;
        length = 0;
        dist = zemu_kernel::kNoValue;
    }
    int find(ZEMU_graph* graph, int source, int target) {
        return ZEMU_find_best_shortest_path(&dist, &path, &length, graph, source, target);
    }
};

// Plot colour of a cluster's paths: 4 for a ribbon, else the dimension.
int cluster_colour(ZEMU_cluster* c) { return c->ribbon == 1 ? 4 : c->dimension; }

// Dimension flags for every path of the cluster, colour `k` where none is set.
void recolour_cluster(ZEMU_pathlib* pathlib, ZEMU_cluster* c, int k) {
    for (int i = 0; i < c->total_path; i++) {
        if (!valid_path_index(pathlib, c->path[i])) continue;
        ZEMU_path* p = &pathlib->path[c->path[i]];
        ZEMU_color_pathdimension(p, c);
        if (p->color < 0) ZEMU_color_path(p, k, 0, -1);
    }
}

// Entry vertex (minimum type) of a reference walked as signed, and its exit vertex.
int entry_type(ZEMU_pathlib* pathlib, int ref) {
    ZEMU_path* p = &pathlib->path[reference_path_index(pathlib, ref)];
    return ref > 0 ? p->start_type : p->end_type;
}
int exit_type(ZEMU_pathlib* pathlib, int ref) {
    ZEMU_path* p = &pathlib->path[reference_path_index(pathlib, ref)];
    return ref > 0 ? p->end_type : p->start_type;
}

// Extends pathway r onto cluster c (whose dimension or ribbon differs): marks
// the backbone, joins the pathway's walk to the cluster's top path by the
// shortest route through types open at energy E, then the top path. 0 or 1.
int extend_pathway(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway* r, ZEMU_cluster* c, double E,
                   ZEMU_graph* graph) {
    const int k = cluster_colour(c);
    {
        Backbone backbone;
        if (backbone.reduce(cube, pathlib, c)) return 1;
        for (int q = 0; q < backbone.full->total_path; q++) {
            for (int p = 0; p < pathlib->total_path; p++) {
                ZEMU_path* lp = &pathlib->path[p];
                if (lp->color >= 0 && lp->style == 1) continue;
                if (!ZEMU_is_path_start_end_equal(lp, &backbone.full->path[q])) continue;
                ZEMU_color_path(lp, k, 1, -1);
                break;
            }
        }
        recolour_cluster(pathlib, c, k);
    }
    if (!valid_path_index(pathlib, c->ID)) return 0;  // no top path to join
    const int S = pathlib->path[c->ID].start_type;
    const int T = pathlib->path[c->ID].end_type;

    ZEMU_free_graph(graph);
    for (int p = 0; p < pathlib->total_path; p++) {
        if (pathlib->path[p].saddle_energy - E >= kEnergyTolerance) continue;
        if (ZEMU_add_edge(graph, pathlib->path[p].start_type, pathlib->path[p].end_type, pathlib->path[p].length))
            return 1;
    }
    if (ZEMU_build_vert_from_edge(graph)) return 1;

    BestRoute best;
    int last_vertex = S;  // with no joining walk the top path is walked from its start
    if (r->dimension == 1 && r->ribbon == 0) {
        for (int i = 0; i < r->total_path; i++) {
            int pk = reference_path_index(pathlib, r->path[i]);
            if (pk < 0) continue;
            ZEMU_path* P = &pathlib->path[pk];
            if (best.find(graph, P->start_type, S) || best.find(graph, P->end_type, S)) return 1;
            if (S != T && (best.find(graph, P->end_type, T) || best.find(graph, P->start_type, T))) return 1;
            if (best.dist < zemu_kernel::kNoValue && best.length > 0) last_vertex = best.path[best.length - 1];
        }
        if (best.length > 0) {
            for (int i = 0; i < r->total_path; i++) {
                if (reference_path_index(pathlib, r->path[i]) < 0) continue;
                if (entry_type(pathlib, r->path[i]) == best.path[0]) {
                    ZEMU_reorder_int_list(r->path, r->total_path, i);
                    break;
                }
            }
        }
    } else if (r->total_path > 0 && reference_path_index(pathlib, r->path[r->total_path - 1]) >= 0) {
        int from = exit_type(pathlib, r->path[r->total_path - 1]);
        if (best.find(graph, from, S) || best.find(graph, from, T)) return 1;
        if (best.dist < zemu_kernel::kNoValue && best.length > 0) last_vertex = best.path[best.length - 1];
    }

    if (ZEMU_append_minima_path_to_reaction_pathway(pathlib, r, best.path, best.length)) {
        fputs(kBuildAllocError, stderr);
        return 1;
    }
    pathlib->path[c->ID].in_rp = 1;
    if (ZEMU_append_path_to_reaction_pathway(r, last_vertex == S ? c->ID + 1 : -(c->ID + 1))) {
        fputs(kBuildAllocError, stderr);
        return 1;
    }
    r->dimension = c->dimension;
    r->ribbon = c->ribbon;
    ZEMU_free_graph(graph);
    return 0;
}

// A new pathway for a percolating cluster: its backbone marked and walked. 0 or 1.
int start_pathway(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all, ZEMU_cluster* c,
                  const std::vector<int>& type, ZEMU_graph* graph) {
    if (ZEMU_copy_cluster_append_rp_all(rp_all, c)) {
        fputs(kBuildAllocError, stderr);
        return 1;
    }
    Backbone backbone;
    if (backbone.reduce(cube, pathlib, c)) return 1;

    int result = 0;
    if (c->dimension == 1 && c->ribbon == 0) {
        for (int b = 0; b < backbone.full->total_allpath; b++) {
            for (int a = 0; a < pathlib->total_allpath; a++) {
                if (type[a] < 0) continue;
                ZEMU_path* p = &pathlib->path[type[a]];
                if (p->color >= 0 || p->style >= 0) continue;
                if (!ZEMU_is_allpath_start_end_equal(&pathlib->allpath[a], &backbone.full->allpath[b])) continue;
                ZEMU_color_path(p, 1, 1, 1);
                break;
            }
        }
        for (int i = 0; i < c->total_path; i++) {
            if (!valid_path_index(pathlib, c->path[i])) continue;
            ZEMU_path* p = &pathlib->path[c->path[i]];
            p->oneD = 1;
            if (p->color < 0) ZEMU_color_path(p, 1, 0, -1);
        }
        result = ZEMU_build_and_append_Euler_allpath_rpall(graph, pathlib, backbone.full.get(), rp_all);
    } else {
        const int k = c->dimension == 1 ? 4 : c->dimension;
        for (int q = 0; q < backbone.full->total_path; q++) {
            for (int p = 0; p < pathlib->total_path; p++) {
                ZEMU_path* lp = &pathlib->path[p];
                if (lp->color >= 0 || lp->style >= 0) continue;
                if (!ZEMU_is_path_start_end_equal(lp, &backbone.full->path[q])) continue;
                ZEMU_color_path(lp, k, 1, 1);
                break;
            }
        }
        recolour_cluster(pathlib, c, k);
        ZEMU_free_graph(graph);
        for (int q = 0; q < backbone.sym->total_path && result == 0; q++)
            result = ZEMU_add_path_as_graph_edge(graph, &backbone.sym->path[q]);
        if (result == 0) result = ZEMU_build_and_append_Euler_path_rpall(graph, pathlib, rp_all);
    }
    ZEMU_free_graph(graph);
    if (result) fputs(kBuildAllocError, stderr);
    return result;
}

// A pathway for a cluster left over at the last threshold: all its paths walked.
int close_pathway(ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all, ZEMU_cluster* c, ZEMU_graph* graph) {
    int result = ZEMU_copy_cluster_append_rp_all(rp_all, c);
    ZEMU_free_graph(graph);
    for (int i = 0; i < c->total_path && result == 0; i++) {
        if (!valid_path_index(pathlib, c->path[i])) continue;
        ZEMU_path* p = &pathlib->path[c->path[i]];
        ZEMU_color_path(p, 0, 1, -1);
        result = ZEMU_add_path_as_graph_edge(graph, p);
    }
    if (result == 0) result = ZEMU_build_and_append_Euler_path_rpall(graph, pathlib, rp_all);
    ZEMU_free_graph(graph);
    if (result) fputs(kBuildAllocError, stderr);
    return result;
}

// The pathways at the threshold of saddle energy E (`last`: the highest one):
// pathways made at lower thresholds follow their clusters, percolating clusters
// without a pathway get one and, at the last threshold, every remaining cluster
// is walked as it is. 0 or 1 (reported).
int build_at_threshold(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all,
                       const std::vector<int>& type, double E, bool last) {
    zemu_kernel::ScopedClusters clusters;
    if (ZEMU_analyze_network_at_energy(cube, pathlib, clusters.get(), E)) return 1;
    ScopedGraph graph;
    const int n = clusters->clust != nullptr ? clusters->total : 0;
    std::vector<char> seen(static_cast<size_t>(n), 0);
    for (int r = 0; r < rp_all->total; r++) {
        for (int c = 0; c < n; c++) {
            ZEMU_cluster* cl = &clusters->clust[c];
            ZEMU_reaction_pathway* rp = &rp_all->rp[r];
            if (!cluster_has_path(cl, rp->ID)) continue;
            seen[c] = 1;
            if (cl->dimension == rp->dimension && cl->ribbon == rp->ribbon)
                recolour_cluster(pathlib, cl, cluster_colour(cl));
            else if (extend_pathway(cube, pathlib, rp, cl, E, graph.get()))
                return 1;
        }
    }
    for (int c = 0; c < n; c++) {
        if (seen[c] || clusters->clust[c].dimension == 0) continue;
        if (start_pathway(cube, pathlib, rp_all, &clusters->clust[c], type, graph.get())) return 1;
        seen[c] = 1;
    }
    for (int c = 0; c < n && last; c++)
        if (!seen[c] && close_pathway(pathlib, rp_all, &clusters->clust[c], graph.get())) return 1;
    return 0;
}

int build_pathways(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all) {
    const std::vector<int> type = allpath_types(pathlib);
    const int total = pathlib->total_allpath;
    for (int i = 0; i < total; i++) {
        if (debug_flag) printf("Building rxn pathway: allpath %d / %d\n", i, total);
        if (i > 0 && pathlib->allpath[i].saddle_type == pathlib->allpath[i - 1].saddle_type) continue;
        const bool last = pathlib->allpath[i].saddle_type == pathlib->allpath[total - 1].saddle_type;
        if (build_at_threshold(cube, pathlib, rp_all, type, pathlib->allpath[i].saddle_energy, last)) return 1;
    }
    return ZEMU_cleanup_redundant_pathways(pathlib, rp_all);
}

}  // namespace

int ZEMU_build_reaction_pathway(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all) {
    rp_all->total = 0;
    rp_all->rp = nullptr;
    ZEMU_erase_path_plot_characteristics(pathlib);
    if (debug_flag)
        printf("Calling ZEMU_build_reaction_pathway, total_allpaths = %d, total_path = %d \n", pathlib->total_allpath,
               pathlib->total_path);
    // The library's own lists report their failures; a failing scratch list
    // (std::vector) is reported here.
    try {
        return build_pathways(cube, pathlib, rp_all);
    } catch (const std::bad_alloc&) {
        fputs(kBuildAllocError, stderr);
        return 1;
    }
}

// ---------------------------------------------------------------------------
// Removing pathways
// ---------------------------------------------------------------------------

int ZEMU_del_reaction_pathway(ZEMU_reaction_pathway_overall* rp_all, int p) {
    if (p < 0 || p >= rp_all->total) {
        fprintf(stderr, "Error: Invalid input to ZEMU_del_reaction_pathway()\n");
        return 0;
    }
    const char* message = "Error: Memory allocation problem in ZEMU_del_reaction_pathway()\n";
    for (int i = p; i + 1 < rp_all->total; i++) {
        ZEMU_reaction_pathway* to = &rp_all->rp[i];
        ZEMU_reaction_pathway* from = &rp_all->rp[i + 1];
        int n = from->total_path > 0 && from->path != nullptr ? from->total_path : 0;
        int* copy = nullptr;
        if (n > 0) {
            if (zemu_kernel::allocate_array(&copy, static_cast<size_t>(n))) {
                fputs(message, stderr);
                return 1;
            }
            memcpy(copy, from->path, sizeof(int) * static_cast<size_t>(n));
        }
        free(to->path);
        to->path = copy;
        to->total_path = n;
        to->ID = from->ID;
        to->initial_dimension = from->initial_dimension;
        to->dimension = from->dimension;
        // `ribbon` stays with the slot.
    }
    int last = rp_all->total - 1;
    free(rp_all->rp[last].path);
    rp_all->rp[last].path = nullptr;
    rp_all->total = last;
    if (last == 0) {
        free(rp_all->rp);
        rp_all->rp = nullptr;
        return 0;
    }
    if (zemu_kernel::resize_array(&rp_all->rp, last)) {
        fputs(message, stderr);
        return 1;
    }
    return 0;
}

int ZEMU_cleanup_redundant_pathways(ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all) {
    auto top_saddle = [pathlib](ZEMU_reaction_pathway* rp) {
        return valid_path_index(pathlib, rp->ID) ? pathlib->path[rp->ID].saddle_energy : 0.0;
    };
    auto holds = [](ZEMU_reaction_pathway* rp, int ref) {
        for (int i = 0; i < rp->total_path; i++)
            if (rp->path[i] == ref || rp->path[i] == -ref) return true;
        return false;
    };
    int a = 0;
    while (a < rp_all->total) {
        bool a_deleted = false;
        for (int ri = 0; ri < rp_all->rp[a].total_path && !a_deleted; ri++) {
            int b = a + 1;
            while (b < rp_all->total) {
                ZEMU_reaction_pathway* ra = &rp_all->rp[a];
                ZEMU_reaction_pathway* rb = &rp_all->rp[b];
                if (!holds(rb, ra->path[ri])) {
                    b++;
                    continue;
                }
                bool delete_a;
                if (ra->initial_dimension != rb->initial_dimension)
                    delete_a = ra->initial_dimension > rb->initial_dimension;
                else
                    delete_a = !(top_saddle(rb) > top_saddle(ra));
                if (delete_a) {
                    if (ZEMU_del_reaction_pathway(rp_all, a)) return 1;
                    a_deleted = true;
                    break;
                }
                if (ZEMU_del_reaction_pathway(rp_all, b)) return 1;
            }
        }
        if (!a_deleted) a++;
    }
    return 0;
}
