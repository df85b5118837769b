// Path construction: one distinct path per saddle type, every symmetric copy
// of it over the grid, removal of redundant path types, and the single-hop
// connection test between two minimum images.
#include "ZEMU-path.h"
#include "ZEMU-path-build.h"
#include "ZEMU-kernel.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

constexpr int kNearestMinima = 10;               // minima asked for per saddle
constexpr double kMaxHopDistance = 3.5;          // Angstrom, saddle to either minimum, inclusive
constexpr double kMinHopAngle = 90.0;            // degrees, minimum - saddle - minimum
constexpr double kDegreesPerRadian = 180 / 3.141592653589793;
constexpr int kCandidateCapacity = 160;          // initial size of the copy candidate lists
constexpr double kDeviationTie = 0.001;          // Angstrom; deviations this close to the best are ties

using zemu_kernel::minimum_image;

double loc_distance_grid(ZEMU_cube* cube, ZEMU_cubeloc a, ZEMU_cubeloc b) {
    return ZEMU_distance_grid(cube, a.x, a.y, a.z, b.x, b.y, b.z);
}

// ---------------------------------------------------------------------------
// Distinct paths
// ---------------------------------------------------------------------------

// A minimum chosen for one end of a distinct path.
struct HopEnd {
    int entry;            // position in the nearest-minima list
    ZEMU_cubeloc image;   // unwrapped grid location of the chosen image
    double length;        // Angstrom, traced half path image -> saddle
};

// Walks the nearest-minima list from entry `from` for the first image within
// reach of the saddle (and, when `first` is given, at 90 degrees or more from
// it at the saddle) whose half path to the saddle traces. 0 found, -1 none,
// 1 hard tracing error.
int find_hop_end(ZEMU_cube* cube, ZEMU_nearest_neighbour* nn, int from, ZEMU_cubeloc saddle,
                 const HopEnd* first, HopEnd* found) {
    for (int n = from; n < nn->total; n++) {
        int m = nn->index[n];
        if (m < 0 || m >= cube->total_minima) continue;  // empty entry
        ZEMU_cubeloc image = minimum_image(cube, m, nn->i[n], nn->j[n], nn->k[n]);
        if (loc_distance_grid(cube, image, saddle) > kMaxHopDistance) continue;
        if (first != nullptr) {
            double angle = ZEMU_angle(cube, image.x, image.y, image.z, saddle.x, saddle.y, saddle.z,
                                      first->image.x, first->image.y, first->image.z) *
                           kDegreesPerRadian;
            if (angle < kMinHopAngle) continue;
        }
        ZEMU_grid_path half;
        ZEMU_init_grid_path(&half);
        int traced = ZEMU_build_half_grid_path(cube, &half, image, saddle);
        if (traced == 1) return 1;
        if (traced != 0) continue;  // not irreducible: try the next minimum
        found->entry = n;
        found->image = image;
        found->length = ZEMU_path_length_in_Angstrom(cube, &half);
        ZEMU_free_grid_path(&half);
        return 0;
    }
    return -1;
}

int append_path(ZEMU_pathlib* pathlib, const ZEMU_path& path) {
    int count = pathlib->total_path > 0 ? pathlib->total_path : 0;
    if (zemu_kernel::resize_array(&pathlib->path, count + 1)) return 1;
    pathlib->path[count] = path;
    pathlib->total_path = count + 1;
    return 0;
}

// Joins saddle type t to two minima and appends the path unless the library
// already has one of the same three types. 0 (also when the type cannot be
// connected, after the warning), 1 on error.
int build_path_of_saddle_type(ZEMU_cube* cube, ZEMU_pathlib* pathlib, int t) {
    int s = cube->saddle_type_index[t];
    if (s < 0 || s >= cube->total_saddle) {  // a stale type index has no saddle to start from
        fprintf(stderr, "Warning: Cannot connect saddle type %d to any energy minimum site\n", t);
        return 0;
    }
    ZEMU_cubeloc saddle;
    ZEMU_assign_loc(&saddle, cube->saddle[s].x, cube->saddle[s].y, cube->saddle[s].z);
    double saddle_energy = ZEMU_cube_energy(cube, saddle.x, saddle.y, saddle.z);

    // The search's flag does not exclude a minimum found on the target itself.
    ZEMU_nearest_neighbour nn;
    if (ZEMU_init_nearest_neighbour(&nn, kNearestMinima, saddle.x, saddle.y, saddle.z, 0)) return 1;
    if (ZEMU_get_nearest_minima(cube, &nn)) {
        ZEMU_free_nearest_neighbour(&nn);
        return 1;
    }

    HopEnd first{}, second{};
    int status = find_hop_end(cube, &nn, 0, saddle, nullptr, &first);
    if (status == 0) status = find_hop_end(cube, &nn, first.entry + 1, saddle, &first, &second);
    if (status == 1) {
        ZEMU_free_nearest_neighbour(&nn);
        return 1;
    }
    if (status != 0) {
        ZEMU_free_nearest_neighbour(&nn);
        fprintf(stderr, "Warning: Cannot connect saddle type %d to any energy minimum site\n", t);
        return 0;
    }

    int m1 = nn.index[first.entry];
    int m2 = nn.index[second.entry];
    int result = 0;
    if (!ZEMU_isin_pathlib(pathlib, cube->minima[m1].type, cube->minima[m2].type, t)) {
        ZEMU_path path;
        ZEMU_init_path(&path);
        path.start = m1;
        path.end = m2;
        path.saddle = s;
        path.start_type = cube->minima[m1].type;
        path.end_type = cube->minima[m2].type;
        path.saddle_type = t;
        path.start_energy = cube->minima[m1].e;
        path.end_energy = cube->minima[m2].e;
        path.saddle_energy = saddle_energy;
        path.start_p = nn.i[first.entry];
        path.start_q = nn.j[first.entry];
        path.start_r = nn.k[first.entry];
        path.end_p = nn.i[second.entry];
        path.end_q = nn.j[second.entry];
        path.end_r = nn.k[second.entry];
        path.length = first.length + second.length;
        path.straightline_length = loc_distance_grid(cube, first.image, second.image);
        path.tortuosity = path.length / path.straightline_length;
        if (append_path(pathlib, path)) {
            fprintf(stderr, "Error: Memory allocation problem in ZEMU_build_path()\n");
            result = 1;
        }
    }
    ZEMU_free_nearest_neighbour(&nn);
    return result;
}

// ---------------------------------------------------------------------------
// Symmetric copies
// ---------------------------------------------------------------------------

// Offers image (m, cc) with deviation `deviation` to a candidate list: a tie
// with the best joins it, a better one replaces the list.
void offer_candidate(ZEMU_cellcross_list* list, double* best, double deviation, int m, ZEMU_cellcross cc) {
    if (fabs(deviation - *best) < kDeviationTie) {
        ZEMU_append_cellcross_list(list, m, cc);
    } else if (deviation < *best) {
        *best = deviation;
        list->len = 0;
        ZEMU_append_cellcross_list(list, m, cc);
    }
}

bool joins_images(const ZEMU_allpath& ap, int start, ZEMU_cellcross ts, int end, ZEMU_cellcross te) {
    return ap.start == start && ap.end == end && ap.start_crossx == ts.x && ap.start_crossy == ts.y &&
           ap.start_crossz == ts.z && ap.end_crossx == te.x && ap.end_crossy == te.y && ap.end_crossz == te.z;
}

bool path_indices_valid(ZEMU_cube* cube, const ZEMU_path& path) {
    return path.saddle >= 0 && path.saddle < cube->total_saddle && path.start >= 0 &&
           path.start < cube->total_minima && path.end >= 0 && path.end < cube->total_minima;
}

// The copies of one distinct path, appended to `copies`; `by_saddle` lists the
// copies already made through each saddle point.
void build_copies_of_path(ZEMU_cube* cube, const ZEMU_path& path, ZEMU_cellcross_list* start_list,
                          ZEMU_cellcross_list* end_list, std::vector<ZEMU_allpath>& copies,
                          std::vector<std::vector<int>>& by_saddle) {
    ZEMU_cubeloc saddle0;
    ZEMU_assign_loc(&saddle0, cube->saddle[path.saddle].x, cube->saddle[path.saddle].y, cube->saddle[path.saddle].z);
    double d_start = ZEMU_find_loc_distance(cube, saddle0, minimum_image(cube, path.start, path.start_p, path.start_q,
                                                                         path.start_r));
    double d_end =
        ZEMU_find_loc_distance(cube, saddle0, minimum_image(cube, path.end, path.end_p, path.end_q, path.end_r));
    double energy = path.saddle_energy;
    int type = cube->saddle[path.saddle].type;

    // Only minima of the two end types can become candidates; list order is kept.
    std::vector<int> candidates;
    for (int m = 0; m < cube->total_minima; m++)
        if (cube->minima[m].type == path.start_type || cube->minima[m].type == path.end_type) candidates.push_back(m);

    for (int k = 0; k < cube->total_saddle; k++) {
        if (cube->saddle[k].type != type) continue;
        ZEMU_cubeloc sk;
        ZEMU_assign_loc(&sk, cube->saddle[k].x, cube->saddle[k].y, cube->saddle[k].z);
        start_list->len = 0;
        end_list->len = 0;
        double best_start = zemu_kernel::kNoValue, best_end = zemu_kernel::kNoValue;

        for (int m : candidates) {
            for (int dx = -1; dx <= 1; dx++)
                for (int dy = -1; dy <= 1; dy++)
                    for (int dz = -1; dz <= 1; dz++) {
                        double d = ZEMU_find_loc_distance(cube, sk, minimum_image(cube, m, dx, dy, dz));
                        ZEMU_cellcross cc;
                        ZEMU_assign_cellcross(&cc, dx, dy, dz);
                        if (cube->minima[m].type == path.start_type)
                            offer_candidate(start_list, &best_start, fabs(d - d_start), m, cc);
                        if (cube->minima[m].type == path.end_type)
                            offer_candidate(end_list, &best_end, fabs(d - d_end), m, cc);
                    }
        }

        for (int a = 0; a < start_list->len; a++) {
            int ms = start_list->points[a];
            ZEMU_cellcross ts = start_list->list[a];
            for (int b = 0; b < end_list->len; b++) {
                int me = end_list->points[b];
                ZEMU_cellcross te = end_list->list[b];
                if (ms == me && ZEMU_is_cellcross_equal(ts, te)) continue;  // both ends on one image
                if (cube->minima[ms].e > energy || cube->minima[me].e > energy) continue;
                bool known = false;
                for (int c : by_saddle[k]) {
                    if (joins_images(copies[c], ms, ts, me, te) || joins_images(copies[c], me, te, ms, ts)) {
                        known = true;
                        break;
                    }
                }
                if (known) continue;
                ZEMU_allpath ap;
                ZEMU_assign_allpath(&ap, ms, me, k, path.start_type, path.end_type, path.saddle_type, path.length,
                                    ts.x, ts.y, ts.z, te.x, te.y, te.z, path.start_energy, path.end_energy, energy);
                by_saddle[k].push_back(static_cast<int>(copies.size()));
                copies.push_back(ap);
            }
        }
    }
}

// Candidate lists of one copy search, released on scope exit.
struct CandidateLists {
    ZEMU_cellcross_list start, end;
    CandidateLists() {
        ZEMU_init_cellcross_list(&start, kCandidateCapacity);
        ZEMU_init_cellcross_list(&end, kCandidateCapacity);
    }
    ~CandidateLists() {
        ZEMU_free_cellcross_list(&start);
        ZEMU_free_cellcross_list(&end);
    }
    CandidateLists(const CandidateLists&) = delete;
    CandidateLists& operator=(const CandidateLists&) = delete;
};

// Every copy of every path of the library stored as its allpaths (taken as
// empty). 0, or 1 when the array cannot be had.
int store_copies(ZEMU_cube* cube, ZEMU_pathlib* pathlib) {
    CandidateLists lists;
    std::vector<ZEMU_allpath> copies;
    std::vector<std::vector<int>> by_saddle(static_cast<size_t>(cube->total_saddle > 0 ? cube->total_saddle : 0));
    for (int p = 0; p < pathlib->total_path; p++)
        build_copies_of_path(cube, pathlib->path[p], &lists.start, &lists.end, copies, by_saddle);
    const int count = static_cast<int>(copies.size());
    if (zemu_kernel::resize_array(&pathlib->allpath, count) != 0) return 1;
    if (count > 0) memcpy(pathlib->allpath, copies.data(), sizeof(ZEMU_allpath) * copies.size());
    pathlib->total_allpath = count;
    return 0;
}

// ---------------------------------------------------------------------------
// Single-hop connection between minimum images
// ---------------------------------------------------------------------------

// A minimum image in unwrapped grid steps with its position reduced into the cell.
struct MinimumImage {
    int x, y, z;     // unwrapped
    int rx, ry, rz;  // reduced into the cell
};

// Opening of the connection test: -1 when either point is not a minimum (with
// the message), 1 when both are the same point, 0 when the allpaths decide;
// fills both images. `is_minimum` answers as ZEMU_isin_minima_list.
template <typename IsMinimum>
int open_connection_test(ZEMU_cube* cube, int x1, int y1, int z1, int x2, int y2, int z2, MinimumImage* p1,
                         MinimumImage* p2, IsMinimum is_minimum) {
    if (cube->a_grid <= 0 || cube->b_grid <= 0 || cube->c_grid <= 0 || !is_minimum(x1, y1, z1) ||
        !is_minimum(x2, y2, z2)) {
        fprintf(stderr, "Error: Invalid input to ZEMU_is_direct_path_between_minima()\n");
        return -1;
    }
    *p1 = MinimumImage{x1, y1, z1, ZEMU_shift_index(cube, x1, 1), ZEMU_shift_index(cube, y1, 2),
                       ZEMU_shift_index(cube, z1, 3)};
    *p2 = MinimumImage{x2, y2, z2, ZEMU_shift_index(cube, x2, 1), ZEMU_shift_index(cube, y2, 2),
                       ZEMU_shift_index(cube, z2, 3)};
    if (x1 == x2 && y1 == y2 && z1 == z2) return 1;
    return 0;
}

// 1 when allpath `ap`, walked from its start (forwards) or from its end,
// leaves from image p1 and arrives at image p2.
bool hop_leads_to(ZEMU_cube* cube, const ZEMU_allpath& ap, bool forwards, const MinimumImage& p1,
                  const MinimumImage& p2) {
    int from = forwards ? ap.start : ap.end;
    int to = forwards ? ap.end : ap.start;
    if (from < 0 || from >= cube->total_minima || to < 0 || to >= cube->total_minima) return false;
    const ZEMU_minima& mf = cube->minima[from];
    if (mf.x != p1.rx || mf.y != p1.ry || mf.z != p1.rz) return false;
    // Whole cells that carry the leaving minimum's grid point onto p1.
    int na = (p1.x - mf.x) / cube->a_grid;
    int nb = (p1.y - mf.y) / cube->b_grid;
    int nc = (p1.z - mf.z) / cube->c_grid;
    int sign = forwards ? 1 : -1;
    int cx = sign * (ap.end_crossx - ap.start_crossx) + na;
    int cy = sign * (ap.end_crossy - ap.start_crossy) + nb;
    int cz = sign * (ap.end_crossz - ap.start_crossz) + nc;
    const ZEMU_minima& mt = cube->minima[to];
    return mt.x + cx * cube->a_grid == p2.x && mt.y + cy * cube->b_grid == p2.y && mt.z + cz * cube->c_grid == p2.z;
}

// ---------------------------------------------------------------------------
// Redundancy filtering
// ---------------------------------------------------------------------------

// Key of the parallel-path test: same start, same end, same net crossing.
struct HopKey {
    int start, end, dx, dy, dz;
    bool operator==(const HopKey& o) const {
        return start == o.start && end == o.end && dx == o.dx && dy == o.dy && dz == o.dz;
    }
};

// A path type as its copies carry it.
struct TypeTriple {
    int start_type, end_type, saddle_type;
    bool operator==(const TypeTriple& o) const {
        return start_type == o.start_type && end_type == o.end_type && saddle_type == o.saddle_type;
    }
};

inline size_t mix(size_t h, int v) { return (h ^ static_cast<size_t>(static_cast<unsigned>(v))) * 1099511628211u; }

struct HopKeyHash {
    size_t operator()(const HopKey& k) const {
        return mix(mix(mix(mix(mix(14695981039346656037u, k.start), k.end), k.dx), k.dy), k.dz);
    }
};

struct TypeTripleHash {
    size_t operator()(const TypeTriple& t) const {
        return mix(mix(mix(14695981039346656037u, t.start_type), t.end_type), t.saddle_type);
    }
};

// Ids in ascending order with a cursor on the first one still alive.
struct IdGroup {
    std::vector<int> ids;
    size_t head = 0;
};

// The allpaths as they stood when filtering began, under stable ids (their
// positions then), with the indexes both passes search. Deleting a path type
// marks its copies dead; the library's own array keeps the live ones in the
// same order, so a live id's position there is the number of live ids before it.
//
// A pair of copies that fails either test before a deletion fails it after
// as well (the pair itself is unchanged, and a deletion can only break single
// hops between minima), so a pass that restarts from the first allpath after
// every deletion finds its next pair at or after the last outer copy: both
// passes sweep forward instead of starting over.
class RedundancyFilter {
public:
    RedundancyFilter(ZEMU_cube* cube, ZEMU_pathlib* pathlib) : cube_(cube), pathlib_(pathlib) { index(); }

    // 0 or 1 (the failure already reported).
    int run() {
        for (int i = 0; i < count();) {
            int j = parallel_partner(i);
            if (j < 0) {
                i++;
                continue;
            }
            int victim = copies_[j].saddle_energy > copies_[i].saddle_energy ? j : i;
            int status = delete_type_of(victim);
            if (status == 1) return 1;
            if (status == 2) i = 0;  // re-indexed: start over
        }
        for (int i = 0; i < count();) {
            int j = shared_saddle_partner(i);
            if (j < 0) {
                i++;
                continue;
            }
            int victim = copies_[i].length <= copies_[j].length ? j : i;
            int status = delete_type_of(victim);
            if (status == 1) return 1;
            if (status == 2) i = 0;
        }
        return 0;
    }

private:
    int count() const { return static_cast<int>(copies_.size()); }

    long long pack(int x, int y, int z) const {
        return (static_cast<long long>(x) * (cube_->b_grid + 1) + y) * (cube_->c_grid + 1) + z;
    }

    bool in_cell_or_on_far_face(int x, int y, int z) const {
        return x >= 0 && x <= cube_->a_grid && y >= 0 && y <= cube_->b_grid && z >= 0 && z <= cube_->c_grid;
    }

    void index() {
        copies_.assign(pathlib_->allpath, pathlib_->allpath + (pathlib_->total_allpath > 0 ? pathlib_->total_allpath : 0));
        alive_.assign(copies_.size(), 1);
        live_ = count();
        by_hop_.clear();
        by_saddle_.clear();
        by_type_.clear();
        leaving_start_.clear();
        leaving_end_.clear();
        minima_points_.clear();
        group_of_.assign(copies_.size(), nullptr);
        for (int id = 0; id < count(); id++) {
            const ZEMU_allpath& ap = copies_[id];
            ZEMU_cellcross_diff d;
            ZEMU_get_cellcrossdiff_from_allpath(&d, &copies_[id]);
            IdGroup& group = by_hop_[HopKey{ap.start, ap.end, d.x, d.y, d.z}];
            group.ids.push_back(id);
            by_saddle_[ap.saddle].push_back(id);
            by_type_[TypeTriple{ap.start_type, ap.end_type, ap.saddle_type}].push_back(id);
            if (ap.start >= 0 && ap.start < cube_->total_minima) {
                const ZEMU_minima& m = cube_->minima[ap.start];
                leaving_start_[pack(m.x, m.y, m.z)].push_back(id);
            }
            if (ap.end >= 0 && ap.end < cube_->total_minima) {
                const ZEMU_minima& m = cube_->minima[ap.end];
                leaving_end_[pack(m.x, m.y, m.z)].push_back(id);
            }
        }
        // Group addresses are stable once every group exists.
        for (auto& entry : by_hop_)
            for (int id : entry.second.ids) group_of_[id] = &entry.second;
        // Wrapped indices lie in 0..n (n only for some far images), where the
        // packing is one to one; minima elsewhere never match.
        for (int m = 0; m < cube_->total_minima; m++) {
            const ZEMU_minima& p = cube_->minima[m];
            if (in_cell_or_on_far_face(p.x, p.y, p.z)) minima_points_.insert(pack(p.x, p.y, p.z));
        }
    }

    // Deletes the path type of copy `id` from the library. 0 done, 1 failure,
    // 2 done but the library no longer matches the index, which is rebuilt.
    int delete_type_of(int id) {
        int z = 0;
        for (int n = 0; n < id; n++) z += alive_[n];
        int path = ZEMU_get_allpath_to_path_index(pathlib_, z);
        if (path < 0) return 1;
        if (ZEMU_delete_pathlib_path(pathlib_, path)) return 1;
        const ZEMU_allpath& ap = copies_[id];
        for (int n : by_type_[TypeTriple{ap.start_type, ap.end_type, ap.saddle_type}]) {
            if (alive_[n]) {
                alive_[n] = 0;
                live_--;
            }
        }
        if (live_ != pathlib_->total_allpath) {
            index();
            return 2;
        }
        return 0;
    }

    // Parallel path types: the first later copy with the same start, end and
    // net crossing but another saddle type, or -1. Only the first live copy
    // of such a group can lead a pair once every earlier copy has none: an
    // earlier live copy would pair with i itself or with i's partner.
    int parallel_partner(int i) {
        if (!alive_[i]) return -1;
        IdGroup& group = *group_of_[i];
        while (group.head < group.ids.size() && !alive_[group.ids[group.head]]) group.head++;
        if (group.head >= group.ids.size() || group.ids[group.head] != i) return -1;
        for (size_t n = group.head + 1; n < group.ids.size(); n++) {
            int j = group.ids[n];
            if (alive_[j] && !ZEMU_is_allpath_equal(&copies_[i], &copies_[j], 6)) return j;
        }
        return -1;
    }

    // Shared saddle: the first later copy through the same saddle point that
    // joins images consistently with copy i and differs in its minimum types, or -1.
    int shared_saddle_partner(int i) {
        if (!alive_[i]) return -1;
        const std::vector<int>& members = by_saddle_[copies_[i].saddle];
        for (auto it = std::upper_bound(members.begin(), members.end(), i); it != members.end(); ++it)
            if (alive_[*it] && shared_saddle_pair_taken(i, *it)) return *it;
        return -1;
    }

    bool shared_saddle_pair_taken(int i, int j) {
        const ZEMU_allpath& a = copies_[i];
        const ZEMU_allpath& b = copies_[j];
        // Same minimum types in the same order: the same kind of hop.
        if (a.start_type == b.start_type && a.end_type == b.end_type) return false;
        // Same minimum types in reverse order are not taken either.
        if (a.start_type == b.end_type && a.end_type == b.start_type) return false;
        int total = cube_->total_minima;
        if (a.start < 0 || a.start >= total || a.end < 0 || a.end >= total || b.start < 0 || b.start >= total ||
            b.end < 0 || b.end >= total)
            return false;
        ZEMU_cubeloc si = minimum_image(cube_, a.start, a.start_crossx, a.start_crossy, a.start_crossz);
        ZEMU_cubeloc ei = minimum_image(cube_, a.end, a.end_crossx, a.end_crossy, a.end_crossz);
        ZEMU_cubeloc sj = minimum_image(cube_, b.start, b.start_crossx, b.start_crossy, b.start_crossz);
        ZEMU_cubeloc ej = minimum_image(cube_, b.end, b.end_crossx, b.end_crossy, b.end_crossz);
        return (direct(ei, ej) && direct(si, sj)) || (direct(si, ej) && direct(sj, ei));
    }

    // As ZEMU_is_direct_path_between_minima over the live copies, == 1.
    bool direct(ZEMU_cubeloc from, ZEMU_cubeloc to) {
        MinimumImage p1, p2;
        int opened = open_connection_test(cube_, from.x, from.y, from.z, to.x, to.y, to.z, &p1, &p2,
                                          [this](int x, int y, int z) {
                                              ZEMU_cube_triple_index p = ZEMU_shift_index_xyz(cube_, x, y, z);
                                              return minima_points_.count(pack(p.x, p.y, p.z)) > 0;
                                          });
        if (opened != 0) return opened == 1;
        long long key = pack(p1.rx, p1.ry, p1.rz);
        auto found = leaving_start_.find(key);
        if (found != leaving_start_.end())
            for (int id : found->second)
                if (alive_[id] && hop_leads_to(cube_, copies_[id], true, p1, p2)) return true;
        found = leaving_end_.find(key);
        if (found != leaving_end_.end())
            for (int id : found->second)
                if (alive_[id] && hop_leads_to(cube_, copies_[id], false, p1, p2)) return true;
        return false;
    }

    ZEMU_cube* cube_;
    ZEMU_pathlib* pathlib_;
    std::vector<ZEMU_allpath> copies_;  // by id
    std::vector<char> alive_;           // by id: 1 while the copy is in the library
    int live_ = 0;                      // live copies
    std::unordered_map<HopKey, IdGroup, HopKeyHash> by_hop_;
    std::vector<IdGroup*> group_of_;    // by id: its group in by_hop_
    std::unordered_map<int, std::vector<int>> by_saddle_;
    std::unordered_map<TypeTriple, std::vector<int>, TypeTripleHash> by_type_;
    std::unordered_map<long long, std::vector<int>> leaving_start_;  // start minimum's grid point -> ids
    std::unordered_map<long long, std::vector<int>> leaving_end_;    // end minimum's grid point -> ids
    std::unordered_set<long long> minima_points_;                   // grid points of the minima
};

}  // namespace

// ---------------------------------------------------------------------------
// Builders
// ---------------------------------------------------------------------------

int ZEMU_build_path(ZEMU_cube* cube, ZEMU_cif*, ZEMU_pathlib* pathlib) {
    free(pathlib->path);
    pathlib->path = nullptr;
    pathlib->total_path = 0;
    if (cube->saddle_type_index != nullptr) {
        for (int t = 1; t <= cube->total_saddle_type; t++)
            if (build_path_of_saddle_type(cube, pathlib, t)) return 1;
    }
    if (ZEMU_bubblesort_pathlib(pathlib)) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_build_path()\n");
        return 1;
    }
    return 0;
}

int ZEMU_build_allpaths(ZEMU_cube* cube, ZEMU_cif*, ZEMU_pathlib* pathlib) {
    if (debug_flag) printf("Calling build_allpaths \n");
    free(pathlib->allpath);
    pathlib->allpath = nullptr;
    pathlib->total_allpath = 0;

    for (int p = 0; p < pathlib->total_path; p++) {
        if (!path_indices_valid(cube, pathlib->path[p])) {
            fprintf(stderr, "Error: Invalid input to ZEMU_build_allpaths()\n");
            return 1;
        }
    }

    // A failing array, the library's or a scratch list (std::vector), is reported here.
    int result;
    try {
        result = store_copies(cube, pathlib);
    } catch (const std::bad_alloc&) {
        result = 1;
    }
    if (result != 0) fprintf(stderr, "Error: Memory allocation problem in ZEMU_build_allpaths()\n");
    return result;
}

int ZEMU_filter_redundant_path(ZEMU_cube* cube, ZEMU_pathlib* pathlib) {
    // Parallel path types: the same hop over two saddle types keeps the lower
    // saddle (of equal ones, the type met later). Then shared saddles: two
    // kinds of hop through one saddle point keep the shorter path (of equal
    // ones, the type met first).
    try {
        RedundancyFilter filter(cube, pathlib);
        return filter.run();
    } catch (const std::bad_alloc&) {
        // Scratch indexes only; the library is left as far as it got.
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_filter_redundant_path()\n");
        return 1;
    }
}

// ---------------------------------------------------------------------------
// Single-hop connection
// ---------------------------------------------------------------------------

int ZEMU_is_direct_path_between_minima(ZEMU_cube* cube, ZEMU_pathlib* pathlib, int x1, int y1, int z1, int x2,
                                       int y2, int z2) {
    MinimumImage p1, p2;
    int opened = open_connection_test(cube, x1, y1, z1, x2, y2, z2, &p1, &p2,
                                      [cube](int x, int y, int z) { return ZEMU_isin_minima_list(cube, x, y, z); });
    if (opened != 0) return opened;
    for (int n = 0; n < pathlib->total_allpath; n++)
        if (hop_leads_to(cube, pathlib->allpath[n], true, p1, p2)) return 1;
    for (int n = 0; n < pathlib->total_allpath; n++)
        if (hop_leads_to(cube, pathlib->allpath[n], false, p1, p2)) return 1;
    return 0;
}
