// Network analysis of the path library: clusters of allpaths joined through
// shared minima, their lattice vectors and percolation dimension, the ribbon
// test of 1-D chains, merging of symmetrically equivalent clusters, the scan
// over saddle-energy thresholds and the activation energies of 1-D, 2-D and
// 3-D migration. Also the plot attributes the network stages set on paths.
#include "ZEMU-path.h"
#include "ZEMU-graph.h"
#include "ZEMU-network.h"
#include "ZEMU-kernel.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <queue>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

constexpr double kEnergyTolerance = 1e-10;  // eV: saddle energies this close are one threshold
constexpr double kVectorTolerance = 1e-10;  // cells: triple and cross products below this are zero
constexpr double kNoBarrier = 999.0;        // activation energy of a dimension that never percolates
constexpr double kEdgeWeight = 1.0;         // cluster graph: only reachability matters

const char* const kNetworkAllocError = "Error: Memory allocation problem in ZEMU_analyze_network()\n";
const char* const kVectorsAllocError = "Error: Memory allocation problem in ZEMU_generate_path_vectors()\n";

// ---------------------------------------------------------------------------
// Vector arithmetic in whole cells
// ---------------------------------------------------------------------------

struct CellVector {
    double x, y, z;  // whole cells along a, b, c
};

CellVector in_cells(ZEMU_cube* cube, const ZEMU_path_triple_index& v) {
    return CellVector{static_cast<double>(v.x) / cube->a_grid, static_cast<double>(v.y) / cube->b_grid,
                      static_cast<double>(v.z) / cube->c_grid};
}

CellVector cross(const CellVector& p, const CellVector& q) {
    return CellVector{p.y * q.z - p.z * q.y, p.z * q.x - p.x * q.z, p.x * q.y - p.y * q.x};
}

double triple(const CellVector& p, const CellVector& q, const CellVector& r) {
    CellVector c = cross(q, r);
    return p.x * c.x + p.y * c.y + p.z * c.z;
}

bool is_zero(const CellVector& v) {
    return fabs(v.x) < kVectorTolerance && fabs(v.y) < kVectorTolerance && fabs(v.z) < kVectorTolerance;
}

// Not parallel: some component of the cross product is 1e-10 or more in size.
bool spans_plane(const CellVector& p, const CellVector& q) { return !is_zero(cross(p, q)); }

bool is_zero_vector(const ZEMU_path_triple_index& v) { return v.x == 0 && v.y == 0 && v.z == 0; }

ZEMU_path_triple_index add(const ZEMU_path_triple_index& p, const ZEMU_path_triple_index& q) {
    return ZEMU_path_triple_index{p.x + q.x, p.y + q.y, p.z + q.z};
}

ZEMU_path_triple_index subtract(const ZEMU_path_triple_index& p, const ZEMU_path_triple_index& q) {
    return ZEMU_path_triple_index{p.x - q.x, p.y - q.y, p.z - q.z};
}

bool same_point(const ZEMU_path_triple_index& p, const ZEMU_path_triple_index& q) {
    return p.x == q.x && p.y == q.y && p.z == q.z;
}

struct TripleHash {
    size_t operator()(const ZEMU_path_triple_index& v) const {
        size_t h = std::hash<int>()(v.x);
        h = h * 1000003u ^ std::hash<int>()(v.y);
        h = h * 1000003u ^ std::hash<int>()(v.z);
        return h;
    }
};

struct TripleEqual {
    bool operator()(const ZEMU_path_triple_index& p, const ZEMU_path_triple_index& q) const {
        return same_point(p, q);
    }
};

typedef std::unordered_set<ZEMU_path_triple_index, TripleHash, TripleEqual> TripleSet;

// One representative of {v, -v}: the lexicographically larger one.
ZEMU_path_triple_index sign_free(const ZEMU_path_triple_index& v) {
    ZEMU_path_triple_index n{-v.x, -v.y, -v.z};
    if (v.x != n.x) return v.x > n.x ? v : n;
    if (v.y != n.y) return v.y > n.y ? v : n;
    return v.z >= n.z ? v : n;
}

// Rank (0 to 3) of a set of cell vectors.
int rank_of(const std::vector<CellVector>& cells) {
    int rank = 0;
    CellVector basis[2];
    for (const CellVector& c : cells) {
        if (rank == 0 && !is_zero(c)) basis[rank++] = c;
        else if (rank == 1 && spans_plane(basis[0], c)) basis[rank++] = c;
        else if (rank == 2 && fabs(triple(basis[0], basis[1], c)) >= kVectorTolerance) return 3;
    }
    return rank;
}

// The first pair i < j (in scan order) of vectors that spans a plane; false when none.
bool first_spanning_pair(const std::vector<CellVector>& cells, int first[2]) {
    const int n = static_cast<int>(cells.size());
    for (int i = 0; i < n; i++) {
        for (int j = i + 1; j < n; j++) {
            if (!spans_plane(cells[static_cast<size_t>(i)], cells[static_cast<size_t>(j)])) continue;
            first[0] = i, first[1] = j;
            return true;
        }
    }
    return false;
}

// The first triple i < j < k (in scan order) of vectors that spans space; false when none.
bool first_spanning_triple(const std::vector<CellVector>& cells, int first[3]) {
    const int n = static_cast<int>(cells.size());
    for (int i = 0; i < n; i++) {
        for (int j = i + 1; j < n; j++) {
            const CellVector& p = cells[static_cast<size_t>(i)];
            const CellVector& q = cells[static_cast<size_t>(j)];
            if (!spans_plane(p, q)) continue;
            for (int k = j + 1; k < n; k++) {
                if (fabs(triple(p, q, cells[static_cast<size_t>(k)])) < kVectorTolerance) continue;
                first[0] = i, first[1] = j, first[2] = k;
                return true;
            }
        }
    }
    return false;
}

// Appends d to the vector list when it is a lattice vector (non-zero, whole
// cells) not yet known up to its sign. 0, or 1 when memory runs out.
int add_new_lattice_vector(ZEMU_cube* cube, const ZEMU_path_triple_index& d, TripleSet& known, int* listvecnum,
                           ZEMU_path_triple_index** listvec) {
    if (is_zero_vector(d)) return 0;
    if (d.x % cube->a_grid != 0 || d.y % cube->b_grid != 0 || d.z % cube->c_grid != 0) return 0;
    if (!known.insert(sign_free(d)).second) return 0;
    if (zemu_kernel::resize_array(listvec, *listvecnum + 1)) {
        fputs(kVectorsAllocError, stderr);
        return 1;
    }
    (*listvec)[*listvecnum] = d;
    (*listvecnum)++;
    return 0;
}

// Grid point of p wrapped into the home cell (every count above 0).
ZEMU_path_triple_index home_point(ZEMU_cube* cube, const ZEMU_path_triple_index& p) {
    using zemu_kernel::wrap_onto_grid;
    return ZEMU_path_triple_index{wrap_onto_grid(p.x, cube->a_grid), wrap_onto_grid(p.y, cube->b_grid),
                                  wrap_onto_grid(p.z, cube->c_grid)};
}

// ---------------------------------------------------------------------------
// One cluster under construction: minimum images (sites) joined by allpaths
// ---------------------------------------------------------------------------

struct SiteKey {
    int minimum;
    ZEMU_path_triple_index pos;
};

struct SiteKeyHash {
    size_t operator()(const SiteKey& k) const { return TripleHash()(k.pos) * 31u ^ std::hash<int>()(k.minimum); }
};

struct SiteKeyEqual {
    bool operator()(const SiteKey& p, const SiteKey& q) const {
        return p.minimum == q.minimum && same_point(p.pos, q.pos);
    }
};

// A graph released on scope exit.
using zemu_kernel::ScopedGraph;

// Allpath indices by the minima they touch (an allpath appears under its start
// and under its end minimum).
typedef std::unordered_map<int, std::vector<int>> AllpathsByMinimum;

struct Flood {
    std::vector<int> minimum;                   // per site: minimum index
    std::vector<ZEMU_path_triple_index> pos;    // per site: unwrapped grid position
    std::unordered_map<SiteKey, int, SiteKeyHash, SiteKeyEqual> site_of;
    std::unordered_map<int, int> first_site;    // minimum index -> its first site
    // Allpaths touching a minimum of the site list, smallest index on top (used
    // ones are dropped when they surface).
    std::priority_queue<int, std::vector<int>, std::greater<int>> candidates;
};

// Site index of (m, p), appended when new. A minimum seen for the first time
// makes all its allpaths candidates.
int place_site(Flood& flood, const AllpathsByMinimum& by_minimum, const std::vector<char>& used, int m,
               const ZEMU_path_triple_index& p, bool always_append) {
    SiteKey key{m, p};
    if (!always_append) {
        auto found = flood.site_of.find(key);
        if (found != flood.site_of.end()) return found->second;
    }
    int s = static_cast<int>(flood.minimum.size());
    flood.minimum.push_back(m);
    flood.pos.push_back(p);
    flood.site_of.emplace(key, s);
    if (flood.first_site.emplace(m, s).second) {
        auto touching = by_minimum.find(m);
        if (touching != by_minimum.end()) {
            for (int j : touching->second)
                if (!used[j]) flood.candidates.push(j);
        }
    }
    return s;
}

// The first site of the list whose minimum is either of the two (as the list
// scan of ZEMU_check_if_point_in_list would find it); -1 for none.
int first_site_of(const Flood& flood, int m1, int m2) {
    auto f1 = flood.first_site.find(m1);
    auto f2 = flood.first_site.find(m2);
    int s1 = f1 == flood.first_site.end() ? -1 : f1->second;
    int s2 = f2 == flood.first_site.end() ? -1 : f2->second;
    if (s1 < 0) return s2;
    if (s2 < 0) return s1;
    return s1 < s2 ? s1 : s2;
}

ZEMU_path_triple_index minimum_point(ZEMU_cube* cube, int m) {
    return ZEMU_path_triple_index{cube->minima[m].x, cube->minima[m].y, cube->minima[m].z};
}

// Net crossing of an allpath in grid steps.
ZEMU_path_triple_index crossing_steps(ZEMU_cube* cube, ZEMU_allpath* ap) {
    ZEMU_cellcross_diff d;
    ZEMU_get_cellcrossdiff_from_allpath(&d, ap);
    return ZEMU_path_triple_index{d.x * cube->a_grid, d.y * cube->b_grid, d.z * cube->c_grid};
}

// Dimension (and spanning vectors when asked) of a set of site positions.
int dimension_of_sites(ZEMU_cube* cube, std::vector<ZEMU_path_triple_index>& positions,
                       ZEMU_path_triple_index* spanning) {
    int nvec = 0;
    ZEMU_path_triple_index* vec = nullptr;
    if (ZEMU_generate_path_vectors(cube, static_cast<int>(positions.size()), positions.data(), &nvec, &vec)) {
        free(vec);
        return -1;
    }
    int dimension = 0;
    ZEMU_path_triple_index unused[3];
    ZEMU_generate_path_dimension(cube, nvec, vec, &dimension, spanning != nullptr ? spanning : unused);
    free(vec);
    return dimension;
}

// Position of each site's vertex in the reduced graph; -1 for a site it lacks.
void locate_vertices(const ZEMU_graph& reduced, std::vector<int>& vertex_position) {
    const int nsite = static_cast<int>(vertex_position.size());
    std::fill(vertex_position.begin(), vertex_position.end(), -1);
    for (int i = 0; i < reduced.total_vertice; i++) {
        int label = reduced.vert[i].a;
        if (label >= 0 && label < nsite && vertex_position[static_cast<size_t>(label)] < 0)
            vertex_position[static_cast<size_t>(label)] = i;
    }
}

// Places site u and every later unplaced site that one search from u reaches
// in the reduced graph, their positions in `part`. 0 or 1.
int gather_part(ZEMU_graph* reduced, const std::vector<int>& vertex_position,
                const std::vector<ZEMU_path_triple_index>& pos, int u, std::vector<char>& placed,
                std::vector<ZEMU_path_triple_index>& part) {
    const int nsite = static_cast<int>(pos.size());
    placed[static_cast<size_t>(u)] = 1;
    part.assign(1, pos[static_cast<size_t>(u)]);
    int target = -1;
    for (int w = u + 1; w < nsite && target < 0; w++)
        if (!placed[static_cast<size_t>(w)] && vertex_position[static_cast<size_t>(w)] >= 0) target = w;
    if (target < 0 || vertex_position[static_cast<size_t>(u)] < 0) return 0;
    // One search from u settles every site it can reach; the vertices keep
    // their distances (-1 when not reached).
    double dist = -1.0;
    int* route = nullptr;
    int route_length = -1;
    if (ZEMU_find_shortest_path(reduced, u, target, &dist, &route, &route_length)) return 1;
    for (int w = target; w < nsite; w++) {
        if (placed[static_cast<size_t>(w)]) continue;
        int k = vertex_position[static_cast<size_t>(w)];
        if (k < 0 || reduced->vert[k].dist < 0.0) continue;
        placed[static_cast<size_t>(w)] = 1;
        part.push_back(pos[static_cast<size_t>(w)]);
    }
    return 0;
}

// 1 when some part of the cluster graph without site v is still a 1-D chain,
// 0 when none is; -1 on failure.
int chain_survives_removal(ZEMU_cube* cube, ZEMU_graph* graph, const std::vector<ZEMU_path_triple_index>& pos,
                           int v) {
    const int nsite = static_cast<int>(pos.size());
    ScopedGraph reduced;
    if (ZEMU_copy_graph(graph, reduced.get()) || ZEMU_delete_vertice(reduced.get(), v)) return -1;
    std::vector<int> vertex_position(static_cast<size_t>(nsite));
    locate_vertices(*reduced.get(), vertex_position);
    std::vector<char> placed(static_cast<size_t>(nsite), 0);
    placed[static_cast<size_t>(v)] = 1;
    std::vector<ZEMU_path_triple_index> part;
    for (int u = 0; u < nsite; u++) {
        if (placed[static_cast<size_t>(u)]) continue;
        if (gather_part(reduced.get(), vertex_position, pos, u, placed, part)) return -1;
        int dimension = dimension_of_sites(cube, part, nullptr);
        if (dimension < 0) return -1;
        if (dimension == 1) return 1;
    }
    return 0;
}

// 1 when the 1-D chain of the cluster graph keeps a 1-D part after the removal
// of any single site, 0 when some site is a bottleneck; -1 on failure.
int ribbon_test(ZEMU_cube* cube, ZEMU_graph* graph, const std::vector<ZEMU_path_triple_index>& pos) {
    const int nsite = static_cast<int>(pos.size());
    for (int v = 0; v < nsite; v++) {
        int survives = chain_survives_removal(cube, graph, pos, v);
        if (survives <= 0) return survives;
    }
    return 1;
}

// Grows the cluster list by one fresh cluster; 0 or 1.
int append_cluster(ZEMU_cluster_list* clustlist) {
    clustlist->total++;
    if (ZEMU_alloc_path_clust(clustlist)) {
        clustlist->total--;
        return 1;
    }
    ZEMU_init_cluster(&clustlist->clust[clustlist->total - 1]);
    return 0;
}

// Path types met by a cluster, each once, in the order first met.
struct PathSet {
    std::vector<int> paths;        // path indices
    std::vector<char> in_cluster;  // per path of the library: 1 once in `paths`

    explicit PathSet(int total_path) : in_cluster(static_cast<size_t>(total_path), 0) {}

    // Records allpath j's path type; 0, or 1 when it has none.
    int take(ZEMU_pathlib* pathlib, int j) {
        int p = ZEMU_get_allpath_to_path_index(pathlib, j);
        if (p < 0) return 1;
        if (!in_cluster[static_cast<size_t>(p)]) {
            in_cluster[static_cast<size_t>(p)] = 1;
            paths.push_back(p);
        }
        return 0;
    }
};

// The cluster graph under construction: its sites, their edges and the path
// types of the allpaths taken so far.
struct ClusterFlood {
    Flood sites;
    ScopedGraph graph;
    PathSet taken;

    explicit ClusterFlood(int total_path) : taken(total_path) {}
};

// Grid images of an allpath's minima: the start at home, the end across the
// allpath's cell crossing.
void allpath_images(ZEMU_cube* cube, ZEMU_allpath* ap, ZEMU_path_triple_index* start_image,
                    ZEMU_path_triple_index* end_image) {
    *start_image = minimum_point(cube, ap->start);
    *end_image = add(minimum_point(cube, ap->end), crossing_steps(cube, ap));
}

// Shifts both images by the step that brings the end on minimum `site_minimum`
// onto `site`. A separate test per end: for a hop between two images of one
// minimum the end's shift, applied last, is the one that stands.
void align_images(const ZEMU_allpath* ap, int site_minimum, const ZEMU_path_triple_index& site,
                  ZEMU_path_triple_index* start_image, ZEMU_path_triple_index* end_image) {
    if (site_minimum == ap->start) {
        ZEMU_path_triple_index shift = subtract(site, *start_image);
        *start_image = add(*start_image, shift);
        *end_image = add(*end_image, shift);
    }
    if (site_minimum == ap->end) {
        ZEMU_path_triple_index shift = subtract(site, *end_image);
        *start_image = add(*start_image, shift);
        *end_image = add(*end_image, shift);
    }
}

// Starts the cluster with allpath `seed`: both its ends as new sites and the
// edge between them. 0 or 1.
int seed_cluster(ZEMU_cube* cube, ZEMU_pathlib* pathlib, const AllpathsByMinimum& by_minimum,
                 std::vector<char>& used, int seed, ClusterFlood& cluster) {
    used[static_cast<size_t>(seed)] = 1;
    if (cluster.taken.take(pathlib, seed)) return 1;
    ZEMU_allpath* ap = &pathlib->allpath[seed];
    ZEMU_path_triple_index start_image, end_image;
    allpath_images(cube, ap, &start_image, &end_image);
    int s0 = place_site(cluster.sites, by_minimum, used, ap->start, start_image, true);
    int s1 = place_site(cluster.sites, by_minimum, used, ap->end, end_image, true);
    return ZEMU_add_edge(cluster.graph.get(), s0, s1, kEdgeWeight);
}

// The smallest unused candidate allpath, taken off the queue; -1 when none is left.
int next_candidate(Flood& flood, const std::vector<char>& used) {
    while (!flood.candidates.empty() && used[static_cast<size_t>(flood.candidates.top())]) flood.candidates.pop();
    if (flood.candidates.empty()) return -1;
    int j = flood.candidates.top();
    flood.candidates.pop();
    return j;
}

// Joins allpath j to the cluster at the images that meet the first site of its
// minima: its ends as sites (new ones appended) and the edge between them. 0 or 1.
int join_allpath(ZEMU_cube* cube, ZEMU_pathlib* pathlib, const AllpathsByMinimum& by_minimum,
                 std::vector<char>& used, int j, ClusterFlood& cluster) {
    used[static_cast<size_t>(j)] = 1;
    if (cluster.taken.take(pathlib, j)) return 1;
    Flood& flood = cluster.sites;
    ZEMU_allpath* ap = &pathlib->allpath[j];
    int matched = first_site_of(flood, ap->start, ap->end);
    ZEMU_path_triple_index start_image, end_image;
    allpath_images(cube, ap, &start_image, &end_image);
    align_images(ap, flood.minimum[static_cast<size_t>(matched)], flood.pos[static_cast<size_t>(matched)],
                 &start_image, &end_image);
    int sa = place_site(flood, by_minimum, used, ap->start, start_image, false);
    int sb = place_site(flood, by_minimum, used, ap->end, end_image, false);
    return ZEMU_add_edge(cluster.graph.get(), sa, sb, kEdgeWeight);
}

// Dimension and spanning vectors of the flooded cluster, and the ribbon test of
// a 1-D one. 0 or 1.
int characterise_cluster(ZEMU_cube* cube, ClusterFlood& cluster, ZEMU_cluster* clust) {
    if (ZEMU_build_vert_from_edge(cluster.graph.get())) return 1;
    clust->dimension = dimension_of_sites(cube, cluster.sites.pos, clust->vector);
    if (clust->dimension < 0) {
        clust->dimension = 0;
        return 1;
    }
    if (clust->dimension == 1) {
        int ribbon = ribbon_test(cube, cluster.graph.get(), cluster.sites.pos);
        if (ribbon < 0) return 1;
        clust->ribbon = ribbon;
    }
    return 0;
}

// Hands the cluster a copy of its path list (none when empty). 0 or 1.
int store_paths(const std::vector<int>& paths, ZEMU_cluster* clust) {
    if (paths.empty()) return 0;
    if (zemu_kernel::allocate_array(&clust->path, paths.size())) {
        fputs(kNetworkAllocError, stderr);
        return 1;
    }
    memcpy(clust->path, paths.data(), sizeof(int) * paths.size());
    clust->total_path = static_cast<int>(paths.size());
    return 0;
}

// Floods the cluster seeded by allpath `seed` into the last cluster of the
// list: path list, dimension, vectors and ribbon. 0 or 1.
int flood_cluster(ZEMU_cube* cube, ZEMU_pathlib* pathlib, const AllpathsByMinimum& by_minimum,
                  std::vector<char>& used, int seed, ZEMU_cluster* clust) {
    ClusterFlood cluster(pathlib->total_path);
    int failed = seed_cluster(cube, pathlib, by_minimum, used, seed, cluster);
    while (!failed) {
        int j = next_candidate(cluster.sites, used);
        if (j < 0) break;
        failed = join_allpath(cube, pathlib, by_minimum, used, j, cluster);
    }
    if (!failed) failed = characterise_cluster(cube, cluster, clust);
    if (store_paths(cluster.taken.paths, clust)) return 1;
    return failed;
}

// Negates every spanning vector with more negative than positive components.
void orient_vectors(ZEMU_cluster* clust) {
    for (int v = 0; v < 3; v++) {
        ZEMU_path_triple_index& vec = clust->vector[v];
        const int comp[3] = {vec.x, vec.y, vec.z};
        int negative = 0, positive = 0;
        for (int c : comp) {
            if (c < 0) negative++;
            if (c > 0) positive++;
        }
        if (negative > positive) vec = ZEMU_path_triple_index{-vec.x, -vec.y, -vec.z};
    }
}

bool paths_contained(const ZEMU_cluster* inner, const ZEMU_cluster* outer) {
    for (int i = 0; i < inner->total_path; i++) {
        bool found = false;
        for (int k = 0; k < outer->total_path && !found; k++) found = outer->path[k] == inner->path[i];
        if (!found) return false;
    }
    return true;
}

// Removes cluster c2: later clusters move down with their multiplicity,
// energies, dimension, vectors and path list; ribbon and ID stay with the
// position (kept so).
void remove_cluster(ZEMU_cluster_list* list, int c2) {
    free(list->clust[c2].path);
    for (int k = c2; k < list->total - 1; k++) {
        ZEMU_cluster* to = &list->clust[k];
        ZEMU_cluster* from = &list->clust[k + 1];
        to->mul = from->mul;
        to->minimum = from->minimum;
        to->maximum = from->maximum;
        to->dimension = from->dimension;
        for (int v = 0; v < 3; v++) to->vector[v] = from->vector[v];
        to->total_path = from->total_path;
        to->path = from->path;
    }
    list->clust[list->total - 1].path = nullptr;
    list->total--;
    // A failed shrink keeps the larger block, which is harmless; being no failure,
    // it is left out of the kernel's allocation hook.
    if (list->total > 0) {
        ZEMU_cluster* shrunk = static_cast<ZEMU_cluster*>(realloc(list->clust, sizeof(ZEMU_cluster) * list->total));
        if (shrunk != nullptr) list->clust = shrunk;
    }
}

// A cluster absorbs every later cluster that holds all of its paths.
void merge_equivalent_clusters(ZEMU_cube* cube, ZEMU_cluster_list* list) {
    for (int c1 = 0; c1 < list->total; c1++) {
        int c2 = c1 + 1;
        while (c2 < list->total) {
            ZEMU_cluster* keep = &list->clust[c1];
            ZEMU_cluster* other = &list->clust[c2];
            if (!paths_contained(keep, other)) {
                c2++;
                continue;
            }
            keep->mul++;
            if (keep->dimension == 1 &&
                spans_plane(in_cells(cube, other->vector[0]), in_cells(cube, keep->vector[0]))) {
                if (is_zero_vector(keep->vector[1])) keep->vector[1] = other->vector[0];
                else keep->vector[2] = other->vector[0];
            }
            remove_cluster(list, c2);
        }
    }
}

void set_cluster_energies(ZEMU_pathlib* pathlib, ZEMU_cluster* clust) {
    clust->minimum = 9999.0;
    clust->maximum = -9999.0;
    for (int i = 0; i < clust->total_path; i++) {
        int p = clust->path[i];
        ZEMU_path* path = &pathlib->path[p];
        if (path->start_energy < clust->minimum) clust->minimum = path->start_energy;
        if (path->end_energy < clust->minimum) clust->minimum = path->end_energy;
        if (path->saddle_energy > clust->maximum) {
            clust->maximum = path->saddle_energy;
            clust->ID = p;
        }
    }
}

// Clusters at each distinct saddle energy of the library (ascending, at most
// `limit`), handed to `visit` with the raw threshold energy. 0 or 1.
template <typename Visit>
int for_each_threshold(ZEMU_cube* cube, ZEMU_pathlib* pathlib, double limit, Visit visit) {
    double last = cube->global_minimum - 1.0;
    for (int i = 0; i < pathlib->total_allpath; i++) {
        double e = pathlib->allpath[i].saddle_energy;
        if (e > limit) break;
        if (!(fabs(e - last) > kEnergyTolerance && e > last)) continue;
        last = e;
        zemu_kernel::ScopedClusters clustlist;
        if (ZEMU_analyze_network_at_energy(cube, pathlib, clustlist.get(), e)) return 1;
        visit(e, clustlist.get());
    }
    return 0;
}

}  // namespace

// ---------------------------------------------------------------------------
// Lattice vectors and dimension
// ---------------------------------------------------------------------------

int ZEMU_generate_path_vectors(ZEMU_cube* cube, int listnum, ZEMU_path_triple_index* listcoor, int* listvecnum,
                               ZEMU_path_triple_index** listvec) {
    if (listnum < 2 || cube->a_grid <= 0 || cube->b_grid <= 0 || cube->c_grid <= 0) return 0;
    try {
        // Only images of one grid point can differ by whole cells: group the
        // sites by their wrapped grid point and pair within a group, keeping the
        // pair order i < j of the full scan.
        std::unordered_map<ZEMU_path_triple_index, std::vector<int>, TripleHash, TripleEqual> groups;
        std::vector<const std::vector<int>*> group_of(static_cast<size_t>(listnum));
        std::vector<int> rank_in_group(static_cast<size_t>(listnum));
        for (int i = 0; i < listnum; i++) {
            std::vector<int>& members = groups[home_point(cube, listcoor[i])];
            rank_in_group[static_cast<size_t>(i)] = static_cast<int>(members.size());
            members.push_back(i);
        }
        for (int i = 0; i < listnum; i++) group_of[static_cast<size_t>(i)] = &groups[home_point(cube, listcoor[i])];

        TripleSet known;
        for (int v = 0; v < *listvecnum; v++) known.insert(sign_free((*listvec)[v]));

        for (int i = 0; i < listnum; i++) {
            const std::vector<int>& members = *group_of[static_cast<size_t>(i)];
            for (size_t r = static_cast<size_t>(rank_in_group[static_cast<size_t>(i)]) + 1; r < members.size(); r++) {
                ZEMU_path_triple_index d = subtract(listcoor[i], listcoor[members[r]]);
                if (add_new_lattice_vector(cube, d, known, listvecnum, listvec)) return 1;
            }
        }
    } catch (const std::bad_alloc&) {
        fputs(kVectorsAllocError, stderr);
        return 1;
    }
    return 0;
}

void ZEMU_generate_path_dimension(ZEMU_cube* cube, int listvecnum, ZEMU_path_triple_index* listvec,
                                  int* dimension, ZEMU_path_triple_index* spanning_vectors) {
    *dimension = 0;
    for (int v = 0; v < 3; v++) spanning_vectors[v] = ZEMU_path_triple_index{0, 0, 0};
    if (listvecnum <= 0 || cube->a_grid <= 0 || cube->b_grid <= 0 || cube->c_grid <= 0) return;

    std::vector<CellVector> cells(static_cast<size_t>(listvecnum));
    for (int i = 0; i < listvecnum; i++) cells[static_cast<size_t>(i)] = in_cells(cube, listvec[i]);

    // Rank of the whole set first, so that a flat set skips the cubic triple
    // search (lattice vectors are whole cells: their products are whole numbers).
    const int rank = rank_of(cells);
    int first[3];
    if (rank == 3 && listvecnum >= 3 && first_spanning_triple(cells, first)) {
        *dimension = 3;
        for (int v = 0; v < 3; v++) spanning_vectors[v] = listvec[first[v]];
        return;
    }
    if (rank >= 2 && listvecnum >= 2 && first_spanning_pair(cells, first)) {
        *dimension = 2;
        for (int v = 0; v < 2; v++) spanning_vectors[v] = listvec[first[v]];
        return;
    }
    // Collinear: every non-zero vector in turn, so the last one stands.
    for (int i = 0; i < listvecnum; i++) {
        if (is_zero(cells[static_cast<size_t>(i)])) continue;
        *dimension = 1;
        spanning_vectors[0] = listvec[i];
    }
}

// ---------------------------------------------------------------------------
// Clusters
// ---------------------------------------------------------------------------

int ZEMU_analyze_network(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster_list* clustlist) {
    clustlist->total = 0;
    const int total = pathlib->total_allpath;
    if (total <= 0) return 0;
    // Indices that name no minimum of the grid cannot be placed: refuse them up front.
    for (int i = 0; i < total; i++) {
        const ZEMU_allpath& ap = pathlib->allpath[i];
        if (ap.start < 0 || ap.start >= cube->total_minima || ap.end < 0 || ap.end >= cube->total_minima) {
            fputs("Error: Invalid input to ZEMU_analyze_network()\n", stderr);
            return 1;
        }
    }

    try {
        AllpathsByMinimum by_minimum;
        for (int i = 0; i < total; i++) {
            const ZEMU_allpath& ap = pathlib->allpath[i];
            by_minimum[ap.start].push_back(i);
            if (ap.end != ap.start) by_minimum[ap.end].push_back(i);
        }
        std::vector<char> used(static_cast<size_t>(total), 0);

        for (int seed = 0; seed < total; seed++) {
            if (used[static_cast<size_t>(seed)]) continue;
            if (append_cluster(clustlist)) return 1;
            if (flood_cluster(cube, pathlib, by_minimum, used, seed, &clustlist->clust[clustlist->total - 1]))
                return 1;
        }
    } catch (const std::bad_alloc&) {
        fputs(kNetworkAllocError, stderr);
        return 1;
    }

    for (int c = 0; c < clustlist->total; c++) orient_vectors(&clustlist->clust[c]);
    merge_equivalent_clusters(cube, clustlist);
    for (int c = 0; c < clustlist->total; c++) set_cluster_energies(pathlib, &clustlist->clust[c]);
    return 0;
}

int ZEMU_analyze_network_at_energy(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster_list* clustlist,
                                   double energy) {
    int leading = 0;
    while (leading < pathlib->total_allpath && !(pathlib->allpath[leading].saddle_energy - energy > kEnergyTolerance))
        leading++;
    if (leading == 0) return 0;

    // The analysis only reads the library: a view of all paths and the leading
    // allpaths stands for the temporary copy.
    ZEMU_pathlib below;
    ZEMU_init_pathlib(&below);
    below.total_path = pathlib->total_path;
    below.path = pathlib->path;
    below.total_allpath = leading;
    below.allpath = pathlib->allpath;
    return ZEMU_analyze_network(cube, &below, clustlist);
}

// ---------------------------------------------------------------------------
// Threshold scan and activation energies
// ---------------------------------------------------------------------------

int ZEMU_analyze_network_at_saddles(ZEMU_cube* cube, ZEMU_pathlib* pathlib, FILE* print, double threshold) {
    fputs("---------------------------------------------------------------------\r\n", print);
    fputs("  Summary of pathway characteristics at different energy thresholds  \r\n", print);
    fputs("---------------------------------------------------------------------\r\n\r\n", print);
    int failed = for_each_threshold(cube, pathlib, threshold, [&](double e, ZEMU_cluster_list* clustlist) {
        fputs("===============================\r\n", print);
        fprintf(print, " Threshold energy: %.6f eV\r\n", ZEMU_scale_cube_energy(cube, e));
        fputs("===============================\r\n", print);
        ZEMU_print_clustlist(cube, pathlib, clustlist, print);
    });
    if (failed) return 1;
    fflush(print);
    return 0;
}

int ZEMU_calc_activation_energy(ZEMU_cube* cube, ZEMU_pathlib* pathlib) {
    pathlib->oneD = kNoBarrier;
    pathlib->twoD = kNoBarrier;
    pathlib->threeD = kNoBarrier;
    return for_each_threshold(cube, pathlib, kNoBarrier, [&](double, ZEMU_cluster_list* clustlist) {
        for (int c = 0; c < clustlist->total; c++) {
            ZEMU_cluster* clust = &clustlist->clust[c];
            if (clust->dimension <= 0) continue;
            double barrier = ZEMU_scale_cube_energy(cube, clust->maximum) - ZEMU_scale_cube_energy(cube, clust->minimum);
            if (barrier < pathlib->oneD) pathlib->oneD = barrier;
            if (clust->dimension >= 2 && barrier < pathlib->twoD) pathlib->twoD = barrier;
            if (clust->dimension >= 3 && barrier < pathlib->threeD) pathlib->threeD = barrier;
        }
    });
}

// ---------------------------------------------------------------------------
// Plot attributes
// ---------------------------------------------------------------------------

void ZEMU_color_path(ZEMU_path* path, int assign_color, int assign_style, int assign_in_rp) {
    path->color = assign_color;
    path->style = assign_style;
    if (assign_in_rp != -1) path->in_rp = assign_in_rp;
}

void ZEMU_color_pathdimension(ZEMU_path* path, ZEMU_cluster* clust) {
    if (clust->dimension == 1) path->oneD = 1;
    else if (clust->dimension == 2) path->twoD = 1;
    else if (clust->dimension == 3) path->threeD = 1;
}

void ZEMU_erase_path_plot_characteristics(ZEMU_pathlib* pathlib) {
    for (int i = 0; i < pathlib->total_path; i++) {
        ZEMU_path* path = &pathlib->path[i];
        path->color = -1;
        path->style = -1;
        path->oneD = 0;
        path->twoD = 0;
        path->threeD = 0;
        path->in_rp = 0;
    }
}
