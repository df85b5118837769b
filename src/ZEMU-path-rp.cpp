// Reaction pathways: Euler walks over the migration network turned into signed
// path references, the percolating backbone of a cluster, the pathways built at
// rising thresholds, duplicate removal, the placement of references as one
// continuous grid route and the pathway file writer.
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

// Library index named by a signed reference, -1 for 0 or one outside the library.
int reference_path_index(ZEMU_pathlib* pathlib, int ref) {
    if (ref == 0) return -1;
    int k = ref > 0 ? ref - 1 : -(ref + 1);
    return valid_path_index(pathlib, k) ? k : -1;
}

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
    ZEMU_cluster_list list;
    list.total = 0;
    list.clust = nullptr;
    int failed = ZEMU_analyze_network(cube, library, &list);
    int result = failed ? -1 : (list_percolates_like(&list, top, dimension, ribbon) ? 1 : 0);
    ZEMU_free_path_clust(&list);
    return result;
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
// match(from, to, weight, &ref) updates ref for a matching path; the reference is
// carried over from step to step on purpose, so a step that matches nothing repeats
// the previous one (0 before the first match: a step that matched no path).
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
        copy = static_cast<int*>(malloc(sizeof(int) * static_cast<size_t>(n)));
        if (copy == nullptr) {
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
    int ref = 0;  // carried over from step to step on purpose
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

// The backbone of one cluster with its two analyses, released on scope exit.
struct Backbone {
    ZEMU_pathlib sym, full;
    ZEMU_cluster_list sym_clusters, full_clusters;
    Backbone() {
        ZEMU_init_pathlib(&sym);
        ZEMU_init_pathlib(&full);
        sym_clusters.total = full_clusters.total = 0;
        sym_clusters.clust = full_clusters.clust = nullptr;
    }
    ~Backbone() {
        ZEMU_free_pathlib(&sym);
        ZEMU_free_pathlib(&full);
        ZEMU_free_path_clust(&sym_clusters);
        ZEMU_free_path_clust(&full_clusters);
    }
    int reduce(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster* c) {
        return ZEMU_get_percolating_cluster_backbone(cube, pathlib, c, &sym, &sym_clusters, &full, &full_clusters, 1);
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
        for (int q = 0; q < backbone.full.total_path; q++) {
            for (int p = 0; p < pathlib->total_path; p++) {
                ZEMU_path* lp = &pathlib->path[p];
                if (lp->color >= 0 && lp->style == 1) continue;
                if (!ZEMU_is_path_start_end_equal(lp, &backbone.full.path[q])) continue;
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
        for (int b = 0; b < backbone.full.total_allpath; b++) {
            for (int a = 0; a < pathlib->total_allpath; a++) {
                if (type[a] < 0) continue;
                ZEMU_path* p = &pathlib->path[type[a]];
                if (p->color >= 0 || p->style >= 0) continue;
                if (!ZEMU_is_allpath_start_end_equal(&pathlib->allpath[a], &backbone.full.allpath[b])) continue;
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
        result = ZEMU_build_and_append_Euler_allpath_rpall(graph, pathlib, &backbone.full, rp_all);
    } else {
        const int k = c->dimension == 1 ? 4 : c->dimension;
        for (int q = 0; q < backbone.full.total_path; q++) {
            for (int p = 0; p < pathlib->total_path; p++) {
                ZEMU_path* lp = &pathlib->path[p];
                if (lp->color >= 0 || lp->style >= 0) continue;
                if (!ZEMU_is_path_start_end_equal(lp, &backbone.full.path[q])) continue;
                ZEMU_color_path(lp, k, 1, 1);
                break;
            }
        }
        recolour_cluster(pathlib, c, k);
        ZEMU_free_graph(graph);
        for (int q = 0; q < backbone.sym.total_path && result == 0; q++)
            result = ZEMU_add_path_as_graph_edge(graph, &backbone.sym.path[q]);
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

}  // namespace

int ZEMU_build_reaction_pathway(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all) {
    rp_all->total = 0;
    rp_all->rp = nullptr;
    ZEMU_graph graph;
    ZEMU_init_graph(&graph);
    ZEMU_erase_path_plot_characteristics(pathlib);
    if (debug_flag)
        printf("Calling ZEMU_build_reaction_pathway, total_allpaths = %d, total_path = %d \n", pathlib->total_allpath,
               pathlib->total_path);

    std::vector<int> type;
    try {
        type = allpath_types(pathlib);
    } catch (const std::bad_alloc&) {
        fputs(kBuildAllocError, stderr);
        return 1;
    }

    const int total = pathlib->total_allpath;
    for (int i = 0; i < total; i++) {
        if (debug_flag) printf("Building rxn pathway: allpath %d / %d\n", i, total);
        if (i > 0 && pathlib->allpath[i].saddle_type == pathlib->allpath[i - 1].saddle_type) continue;
        const double E = pathlib->allpath[i].saddle_energy;
        ZEMU_cluster_list clusters;
        clusters.total = 0;
        clusters.clust = nullptr;
        if (ZEMU_analyze_network_at_energy(cube, pathlib, &clusters, E)) {
            ZEMU_free_path_clust(&clusters);
            return 1;
        }
        const int n = clusters.clust != nullptr ? clusters.total : 0;
        const bool last = pathlib->allpath[i].saddle_type == pathlib->allpath[total - 1].saddle_type;
        char* seen = static_cast<char*>(calloc(static_cast<size_t>(n > 0 ? n : 1), 1));
        if (seen == nullptr) {
            fputs(kBuildAllocError, stderr);
            ZEMU_free_path_clust(&clusters);
            return 1;
        }

        int result = 0;
        // Pathways made at lower thresholds follow their clusters.
        for (int r = 0; r < rp_all->total && result == 0; r++) {
            for (int c = 0; c < n && result == 0; c++) {
                ZEMU_cluster* cl = &clusters.clust[c];
                ZEMU_reaction_pathway* rp = &rp_all->rp[r];
                if (!cluster_has_path(cl, rp->ID)) continue;
                seen[c] = 1;
                if (cl->dimension == rp->dimension && cl->ribbon == rp->ribbon) {
                    recolour_cluster(pathlib, cl, cluster_colour(cl));
                    continue;
                }
                result = extend_pathway(cube, pathlib, rp, cl, E, &graph);
            }
        }
        // Percolating clusters without a pathway get one.
        for (int c = 0; c < n && result == 0; c++) {
            if (seen[c] || clusters.clust[c].dimension == 0) continue;
            result = start_pathway(cube, pathlib, rp_all, &clusters.clust[c], type, &graph);
            seen[c] = 1;
        }
        // At the last threshold every remaining cluster is walked as it is.
        if (last) {
            for (int c = 0; c < n && result == 0; c++)
                if (!seen[c]) result = close_pathway(pathlib, rp_all, &clusters.clust[c], &graph);
        }
        free(seen);
        ZEMU_free_path_clust(&clusters);
        ZEMU_free_graph(&graph);
        if (result) return 1;
    }
    return ZEMU_cleanup_redundant_pathways(pathlib, rp_all);
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
            copy = static_cast<int*>(malloc(sizeof(int) * static_cast<size_t>(n)));
            if (copy == nullptr) {
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
    ZEMU_reaction_pathway* shrunk =
        static_cast<ZEMU_reaction_pathway*>(realloc(rp_all->rp, sizeof(ZEMU_reaction_pathway) * static_cast<size_t>(last)));
    if (shrunk == nullptr) {
        fputs(message, stderr);
        return 1;
    }
    rp_all->rp = shrunk;
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

// ---------------------------------------------------------------------------
// Placing references in space
// ---------------------------------------------------------------------------

namespace {

ZEMU_cubeloc make_loc(int x, int y, int z) {
    ZEMU_cubeloc l;
    ZEMU_assign_loc(&l, x, y, z);
    return l;
}

using zemu_kernel::minimum_image;

ZEMU_cubeloc saddle_point(ZEMU_cube* cube, int s) {
    return make_loc(cube->saddle[s].x, cube->saddle[s].y, cube->saddle[s].z);
}

ZEMU_cubeloc shifted(ZEMU_cubeloc l, int dx, int dy, int dz) { return make_loc(l.x + dx, l.y + dy, l.z + dz); }

bool valid_minimum(ZEMU_cube* cube, int m) { return m >= 0 && m < cube->total_minima; }
bool valid_saddle(ZEMU_cube* cube, int s) { return s >= 0 && s < cube->total_saddle; }

// A qualifying copy: allpath z entered at its start (or at its end).
struct Entry {
    int z;
    bool at_start;
};

}  // namespace

int ZEMU_get_path_stationary_points(ZEMU_cube* cube, ZEMU_pathlib* pathlib, int ref, ZEMU_cubeloc* route_end,
                                    int previous_minimum, ZEMU_cubeloc previous_saddle, ZEMU_cubeloc* entry_image,
                                    ZEMU_cubeloc* saddle_point_out, ZEMU_cubeloc* exit_image, int* exit_minimum) {
    int k = reference_path_index(pathlib, ref);
    if (k < 0) return 1;
    ZEMU_path* P = &pathlib->path[k];
    if (!valid_minimum(cube, P->start) || !valid_minimum(cube, P->end) || !valid_saddle(cube, P->saddle)) return 1;
    const bool forwards = ref > 0;

    if (route_end != nullptr) {
        // Copies of the type continuing from the minimum the route stands on.
        std::vector<Entry> entries;
        for (int pass = 0; pass < 2; pass++) {
            if (pass == 1 && P->start_type != P->end_type) break;
            for (int z = 0; z < pathlib->total_allpath; z++) {
                ZEMU_allpath* ap = &pathlib->allpath[z];
                if (ap->saddle_type != P->saddle_type || ap->start_type != P->start_type || ap->end_type != P->end_type)
                    continue;
                if (!valid_minimum(cube, ap->start) || !valid_minimum(cube, ap->end) || !valid_saddle(cube, ap->saddle))
                    continue;
                bool at_start = (pass == 0) == forwards;  // the other end on the second pass
                if ((at_start ? ap->start : ap->end) == previous_minimum) entries.push_back(Entry{z, at_start});
            }
        }
        int chosen = -1;
        for (size_t e = 0; e < entries.size() && chosen < 0; e++) {
            ZEMU_allpath* ap = &pathlib->allpath[entries[e].z];
            ZEMU_cubeloc in = entries[e].at_start
                                  ? minimum_image(cube, ap->start, ap->start_crossx, ap->start_crossy, ap->start_crossz)
                                  : minimum_image(cube, ap->end, ap->end_crossx, ap->end_crossy, ap->end_crossz);
            ZEMU_cubeloc s = shifted(saddle_point(cube, ap->saddle), route_end->x - in.x, route_end->y - in.y,
                                     route_end->z - in.z);
            if (!ZEMU_is_loc_equal(s, previous_saddle)) chosen = static_cast<int>(e);
        }
        if (chosen < 0 && !entries.empty()) chosen = 0;  // every copy turns back: take the first
        if (chosen >= 0) {
            ZEMU_allpath* ap = &pathlib->allpath[entries[chosen].z];
            ZEMU_cubeloc s_img = minimum_image(cube, ap->start, ap->start_crossx, ap->start_crossy, ap->start_crossz);
            ZEMU_cubeloc e_img = minimum_image(cube, ap->end, ap->end_crossx, ap->end_crossy, ap->end_crossz);
            bool at_start = entries[chosen].at_start;
            ZEMU_cubeloc in = at_start ? s_img : e_img;
            ZEMU_cubeloc out = at_start ? e_img : s_img;
            int dx = route_end->x - in.x, dy = route_end->y - in.y, dz = route_end->z - in.z;
            *entry_image = shifted(in, dx, dy, dz);
            *saddle_point_out = shifted(saddle_point(cube, ap->saddle), dx, dy, dz);
            *exit_image = shifted(out, dx, dy, dz);
            *exit_minimum = at_start ? ap->end : ap->start;
            return 0;
        }
    }

    // The library path itself, reversed for a backward reference.
    ZEMU_cubeloc s_img = minimum_image(cube, P->start, P->start_p, P->start_q, P->start_r);
    ZEMU_cubeloc e_img = minimum_image(cube, P->end, P->end_p, P->end_q, P->end_r);
    ZEMU_cubeloc in = forwards ? s_img : e_img;
    ZEMU_cubeloc out = forwards ? e_img : s_img;
    int entry_min = forwards ? P->start : P->end;
    int dx = 0, dy = 0, dz = 0;
    if (route_end != nullptr && entry_min == previous_minimum) {
        dx = route_end->x - in.x;
        dy = route_end->y - in.y;
        dz = route_end->z - in.z;
    }
    *entry_image = shifted(in, dx, dy, dz);
    *saddle_point_out = shifted(saddle_point(cube, P->saddle), dx, dy, dz);
    *exit_image = shifted(out, dx, dy, dz);
    *exit_minimum = forwards ? P->end : P->start;
    return 0;
}

int ZEMU_concatenate_path(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_grid_path* path, ZEMU_connect_list* input) {
    int previous_minimum = -1;
    ZEMU_cubeloc previous_saddle = make_loc(0, 0, 0);
    for (int i = 0; i < input->total; i++) {
        int ref = input->item[i];
        // A step that matched no path (reference 0) places no piece; the route goes on from where it stands.
        if (ref == 0) continue;
        ZEMU_cubeloc route_end, entry, saddle, exit_img;
        bool continuing = i > 0 && path->length > 0;
        if (continuing) {
            ZEMU_path_triple_index last = path->grid[path->length - 1];
            route_end = make_loc(last.x, last.y, last.z);
        }
        int exit_min = -1;
        if (ZEMU_get_path_stationary_points(cube, pathlib, ref, continuing ? &route_end : nullptr, previous_minimum,
                                            previous_saddle, &entry, &saddle, &exit_img, &exit_min)) {
            fprintf(stderr, "Error: Invalid input to ZEMU_concatenate_path()\n");
            return 1;
        }
        ZEMU_grid_path piece;
        ZEMU_init_grid_path(&piece);
        if (ZEMU_build_grid_path(cube, &piece, entry, saddle, exit_img) != 0) {
            fprintf(stderr, "Error: Unable to trace path %d\n", ref);
            return 1;
        }
        ZEMU_path* P = &pathlib->path[reference_path_index(pathlib, ref)];
        for (int j = 0; j < piece.length; j++) {
            piece.color[j] = P->color;
            piece.style[j] = P->style;
            piece.marker[j] = -1;
        }
        if (path->length <= 0) {
            ZEMU_free_grid_path(path);
            *path = piece;
        } else {
            int joined = ZEMU_concatenate_grid_path(cube, path, &piece);
            ZEMU_free_grid_path(&piece);
            if (joined) return 1;
        }
        previous_minimum = exit_min;
        previous_saddle = saddle;
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Pathway file
// ---------------------------------------------------------------------------

namespace {

// Index of the first list entry at this cell point, -1 when none.
template <typename T>
int stationary_point_at(const T* list, int total, ZEMU_cube_triple_index p) {
    for (int n = 0; n < total; n++)
        if (list[n].x == p.x && list[n].y == p.y && list[n].z == p.z) return n;
    return -1;
}

ZEMU_cube_triple_index cell_point(ZEMU_cube* cube, ZEMU_path_triple_index p) {
    using zemu_kernel::wrap_onto_grid;
    return ZEMU_cube_triple_index{wrap_onto_grid(p.x, cube->a_grid), wrap_onto_grid(p.y, cube->b_grid),
                                  wrap_onto_grid(p.z, cube->c_grid)};
}

double point_distance(ZEMU_cube* cube, ZEMU_path_triple_index a, ZEMU_path_triple_index b) {
    return ZEMU_distance_grid(cube, a.x, a.y, a.z, b.x, b.y, b.z);
}

// Barrier of a saddle type: its first library path's saddle above its lower minimum, scaled.
double saddle_barrier(ZEMU_cube* cube, ZEMU_pathlib* pathlib, int saddle_type) {
    for (int k = 0; k < pathlib->total_path; k++) {
        ZEMU_path* p = &pathlib->path[k];
        if (p->saddle_type != saddle_type) continue;
        double low = p->start_energy < p->end_energy ? p->start_energy : p->end_energy;
        return ZEMU_scale_cube_energy(cube, p->saddle_energy) - ZEMU_scale_cube_energy(cube, low);
    }
    return 0.0;
}

}  // namespace

int ZEMU_print_path(ZEMU_cube* cube, ZEMU_grid_path* path, ZEMU_pathlib* pathlib, FILE* print, int plot,
                    double reac_coor) {
    if (path->length < 2 || path->grid == nullptr) {
        fprintf(stderr, "Error: Invalid input to ZEMU_print_path()\n");
        return 1;
    }
    const double jump = point_distance(cube, path->grid[0], path->grid[1]) * (path->length * 0.05);
    double x = reac_coor;
    bool previous_minimum = false;
    for (int i = 0; i < path->length; i++) {
        ZEMU_cube_triple_index c = cell_point(cube, path->grid[i]);
        double E = ZEMU_scale_cube_energy(cube, ZEMU_cube_energy(cube, c.x, c.y, c.z));
        int m = stationary_point_at(cube->minima, cube->total_minima, c);
        bool minimum = m >= 0;
        if (i > 0) {
            if (minimum && previous_minimum) {
                x += jump;
                fputs("NEXT\n", print);
            } else {
                x += point_distance(cube, path->grid[i - 1], path->grid[i]);
            }
        }
        fprintf(print, "%.6f,%.6f", x, E);
        if (minimum) {
            char* label = nullptr;
            ZEMU_label_minima_site(cube, &label, cube->minima[m].type);
            fprintf(print, ",%s", label != nullptr ? label : "");
            free(label);
            if (plot) {
                int color = path->color != nullptr ? path->color[i] : -1;
                int marker = path->marker != nullptr ? path->marker[i] : -1;
                int style = path->style != nullptr ? path->style[i] : -1;
                fprintf(print, ",%d,%d,%d", color, marker, style);
            }
        } else {
            int s = stationary_point_at(cube->saddle, cube->total_saddle, c);
            if (s >= 0) {
                int t = cube->saddle[s].type;
                fprintf(print, ",s%d %.6feV", t, saddle_barrier(cube, pathlib, t));
            }
        }
        fputs("\n", print);
        previous_minimum = minimum;
    }
    return 0;
}

int ZEMU_print_reaction_pathway(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all,
                                FILE* print) {
    if (debug_flag) {
        printf("Calling ZEMU_print_reaction_pathway \n");
        printf("Reaction Pathways total: %d \n", rp_all->total);
    }
    double X = 0.0;
    for (int r = 0; r < rp_all->total; r++) {
        ZEMU_connect_list list;
        list.total = rp_all->rp[r].total_path;
        list.item = rp_all->rp[r].path;
        ZEMU_grid_path path;
        ZEMU_init_grid_path(&path);
        if (ZEMU_concatenate_path(cube, pathlib, &path, &list)) {
            ZEMU_free_grid_path(&path);
            return 1;
        }
        for (int i = 0; i < path.length; i++)
            if (path.color[i] >= 0) path.marker[i] = r;
        ZEMU_print_path(cube, &path, pathlib, print, 1, r == 0 ? 0.0 : X + 0.5);
        if (r + 1 < rp_all->total) fputs("NEXT\n", print);
        X += ZEMU_path_length_in_Angstrom(cube, &path);
        if (r > 0) X += 0.5;
        ZEMU_free_grid_path(&path);
    }
    fputs("END\n", print);
    fflush(print);
    return 0;
}
