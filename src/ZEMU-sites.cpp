// Site analysis, part one: grouping minima and saddle points into symmetry
// types, the clean-up of spurious saddle types, and the deletion of points and
// types that keeps the grouped lists consistent.
//
// Invariants after grouping: each list sorted by type; the members of one type
// contiguous; types numbered 1..T without gap, in ascending energy;
// type_index[t] is the list position of the first member of type t.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_map>
#include <vector>

#include "ZEMU.h"
#include "ZEMU-kernel.h"

namespace {

// ---------------------------------------------------------------------------
// The minima and saddle lists seen through one interface
// ---------------------------------------------------------------------------

// References into the cube for one of its two point lists.
template <typename Point>
struct PointList {
    Point*& items;
    int& total;
    int& cap;
    int& total_type;
    int*& type_index;
};

PointList<ZEMU_minima> minima_list(ZEMU_cube* cube) {
    return {cube->minima, cube->total_minima, cube->total_minima_cap, cube->total_minima_type,
            cube->minima_type_index};
}

PointList<ZEMU_saddle> saddle_list(ZEMU_cube* cube) {
    return {cube->saddle, cube->total_saddle, cube->total_saddle_cap, cube->total_saddle_type,
            cube->saddle_type_index};
}

// Names of the public operations, for their messages.
struct OperationNames {
    const char* group;
    const char* remove;
    const char* remove_type;
};

const OperationNames kMinimaNames = {"ZEMU_group_minima_by_symmetry", "ZEMU_delete_minima",
                                     "ZEMU_delete_minima_type"};
const OperationNames kSaddleNames = {"ZEMU_group_saddle_by_symmetry", "ZEMU_delete_saddle",
                                     "ZEMU_delete_saddle_type"};

void print_memory_error(const char* operation) {
    fprintf(stderr, "Error: Memory allocation problem in %s()\n", operation);
}

void print_invalid_input(const char* operation) { fprintf(stderr, "Error: Invalid input to %s()\n", operation); }

// ---------------------------------------------------------------------------
// Moving records inside a list. A minimum owns its ion list: a moved minimum
// is given a fresh copy of it and the old array is released; saddle points own
// nothing.
// ---------------------------------------------------------------------------

// Fresh ion arrays for entries [from, to) of the minima list, prepared before
// anything moves so that a failed allocation leaves the list untouched.
bool prepare_ion_copies(ZEMU_minima* items, int from, int to, std::vector<ZEMU_site_occupied_ion*>& fresh) {
    try {
        fresh.assign((size_t)(to > from ? to - from : 0), nullptr);
    } catch (const std::bad_alloc&) {
        return false;
    }
    for (int m = from; m < to; ++m) {
        ZEMU_minima* src = &items[m];
        if (src->total_ions_cap <= 0 || src->ion == nullptr) continue;
        ZEMU_site_occupied_ion* ion = nullptr;
        if (zemu_kernel::resize_array(&ion, src->total_ions_cap)) {
            for (ZEMU_site_occupied_ion* p : fresh) free(p);
            return false;
        }
        int n = src->total_ions < src->total_ions_cap ? src->total_ions : src->total_ions_cap;
        for (int k = 0; k < n; ++k) {
            memcpy(ion[k].label, src->ion[k].label, sizeof ion[k].label);
            ion[k].occ = src->ion[k].occ;
        }
        fresh[(size_t)(m - from)] = ion;
    }
    return true;
}

void release_ions(ZEMU_minima* m) {
    free(m->ion);
    m->ion = nullptr;
    m->total_ions = 0;
    m->total_ions_cap = 0;
}

// Removes entries [start, start + len) by moving every later entry down by len;
// each moved entry's type decreases by type_step.
bool remove_run(PointList<ZEMU_minima> list, int start, int len, int type_step) {
    std::vector<ZEMU_site_occupied_ion*> fresh;
    if (!prepare_ion_copies(list.items, start + len, list.total, fresh)) return false;
    for (int m = start; m < start + len; ++m) release_ions(&list.items[m]);
    for (int m = start + len; m < list.total; ++m) {
        ZEMU_minima* dst = &list.items[m - len];
        ZEMU_minima* src = &list.items[m];
        ZEMU_site_occupied_ion* old_ion = src->ion;
        *dst = *src;
        dst->ion = fresh[(size_t)(m - start - len)];
        dst->type -= type_step;
        free(old_ion);
        src->ion = nullptr;
    }
    // The vacated tail entries keep no ion list.
    for (int m = list.total - len; m < list.total; ++m) {
        list.items[m].ion = nullptr;
        list.items[m].total_ions = 0;
        list.items[m].total_ions_cap = 0;
    }
    return true;
}

bool remove_run(PointList<ZEMU_saddle> list, int start, int len, int type_step) {
    for (int m = start + len; m < list.total; ++m) {
        list.items[m - len] = list.items[m];
        list.items[m - len].type -= type_step;
    }
    return true;
}

// ---------------------------------------------------------------------------
// Deletion
// ---------------------------------------------------------------------------

template <typename Point>
void refresh_type_index(PointList<Point> list) {
    if (list.type_index == nullptr) return;
    for (int t = 1; t <= list.total_type; ++t) list.type_index[t] = -1;
    int expected = 1;
    for (int i = 0; i < list.total && expected <= list.total_type; ++i) {
        if (list.items[i].type == expected) {
            list.type_index[expected] = i;
            ++expected;
        }
    }
}

template <typename Point>
int delete_type(PointList<Point> list, int type, const OperationNames& names) {
    if (type < 1 || type > list.total_type) {
        print_invalid_input(names.remove_type);
        return 1;
    }
    int start = 0;
    while (start < list.total && list.items[start].type != type) ++start;
    int len = 0;
    while (start + len < list.total && list.items[start + len].type == type) ++len;

    if (!remove_run(list, start, len, 1)) {
        print_memory_error(names.remove_type);
        return 1;
    }
    if (list.type_index != nullptr) {
        for (int t = type; t <= list.total_type - 1; ++t) list.type_index[t] = list.type_index[t + 1] - len;
    }
    list.total -= len;
    list.total_type -= 1;

    // Lists that lose whole groups shrink by halving.
    if (list.cap >= 2 * list.total && list.cap > 0) {
        int new_cap = list.cap / 2;
        if (zemu_kernel::resize_array(&list.items, new_cap)) {
            print_memory_error(names.remove_type);
            return 1;
        }
        list.cap = new_cap;
    }
    return 0;
}

template <typename Point>
int delete_point(PointList<Point> list, int index, const OperationNames& names) {
    if (index < 0 || index >= list.total) {
        print_invalid_input(names.remove);
        return 1;
    }
    int type = list.items[index].type;
    bool shares_type = (index > 0 && list.items[index - 1].type == type) ||
                       (index + 1 < list.total && list.items[index + 1].type == type);
    if (!shares_type) return delete_type(list, type, names);

    if (!remove_run(list, index, 1, 0)) {
        print_memory_error(names.remove);
        return 1;
    }
    list.total -= 1;
    // Entries behind the deleted one move down; the deleted point's own type
    // keeps pointing at its first member.
    if (list.type_index != nullptr) {
        for (int t = 1; t <= list.total_type; ++t)
            if (list.type_index[t] > index) list.type_index[t] -= 1;
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Grouping, in seven steps (minima take the first five, saddle points all):
//   1. one type per orbit under the grid operations, numbered in list order;
//   2. each type takes its members' energy;
//   3. the types are renumbered by ascending energy (heap order for equal ones);
//   4. the list is sorted by type through the heap;
//   5. type_index is rebuilt;
//   6. of two saddle types whose first members are grid neighbours, the higher goes;
//   7. saddle types on large plateaus go; the others take the plateau mean and
//      lose the members their plateau already covers.
// ---------------------------------------------------------------------------

struct GridKey {
    int x, y, z;
    bool operator==(const GridKey& o) const { return x == o.x && y == o.y && z == o.z; }
};

struct GridKeyHash {
    size_t operator()(const GridKey& k) const {
        size_t h = (size_t)(unsigned)k.x * 0x9E3779B97F4A7C15ull;
        h ^= (size_t)(unsigned)k.y + 0x7F4A7C159E3779B9ull + (h << 6) + (h >> 2);
        h ^= (size_t)(unsigned)k.z + 0x94D049BB133111EBull + (h << 6) + (h >> 2);
        return h;
    }
};

// List positions by grid indices, ascending per point: gives the first entry
// after a given position with given indices, as a walk down the list would.
class PositionIndex {
public:
    template <typename Point>
    explicit PositionIndex(PointList<Point> list) {
        for (int i = 0; i < list.total; ++i)
            positions_[GridKey{list.items[i].x, list.items[i].y, list.items[i].z}].push_back(i);
    }

    // First position after `after` holding (x, y, z); -1 when none.
    int first_after(int after, int x, int y, int z) const {
        auto found = positions_.find(GridKey{x, y, z});
        if (found == positions_.end()) return -1;
        const std::vector<int>& p = found->second;
        size_t lo = 0, hi = p.size();
        while (lo < hi) {
            size_t mid = (lo + hi) / 2;
            if (p[mid] <= after)
                lo = mid + 1;
            else
                hi = mid;
        }
        return lo < p.size() ? p[lo] : -1;
    }

private:
    std::unordered_map<GridKey, std::vector<int>, GridKeyHash> positions_;
};

// Step 1: one type per orbit, in list order; returns the number of types.
template <typename Point>
int assign_orbits(ZEMU_cube* cube, ZEMU_cif* cif, PointList<Point> list) {
    bool has_operations = cif != nullptr && cif->fg.total > 0 && cif->fg.total <= ZEMU_MAX_SYMOP;
    PositionIndex index(list);
    ZEMU_symcopies copies;
    int counter = 0;
    for (int i = 0; i < list.total; ++i) {
        Point* p = &list.items[i];
        if (p->type != 0) continue;
        copies.total = 0;
        if (has_operations) ZEMU_fastgen_sym_copies(cif, cube, &copies, p->x, p->y, p->z);
        ++counter;
        p->type = counter;
        p->mul = copies.total;
        for (int c = 0; c < copies.total; ++c) {
            const ZEMU_fastgen_xyz& img = copies.copy[c];
            if (img.x == p->x && img.y == p->y && img.z == p->z) continue;
            int j = index.first_after(i, img.x, img.y, img.z);
            if (j < 0) continue;
            list.items[j].type = counter;
            list.items[j].mul = copies.total;
        }
    }
    return counter;
}

// Steps 2 to 5. Every array is allocated before the list changes, so a failure
// leaves it as step 1 left it.
template <typename Point>
bool number_and_sort(PointList<Point> list, int types) {
    std::vector<double> energy((size_t)types, 0.0);
    std::vector<int> ids((size_t)types);
    std::vector<int> new_number((size_t)types + 1, 0);
    std::vector<double> keys((size_t)list.total);
    std::vector<int> pos((size_t)list.total);
    int* type_index = nullptr;
    Point* sorted = nullptr;
    const int cap = list.cap > list.total ? list.cap : list.total;
    if (zemu_kernel::resize_array(&type_index, types + 1) ||
        (list.total > 0 && zemu_kernel::resize_array(&sorted, cap))) {
        free(type_index);
        return false;
    }

    for (int i = 0; i < list.total; ++i) {
        int t = list.items[i].type;
        if (t >= 1 && t <= types) energy[(size_t)t - 1] = list.items[i].e;
    }
    for (int t = 0; t < types; ++t) ids[(size_t)t] = t;
    int n = types;
    heap_heapify(energy.data(), ids.data(), n, 0);
    for (int k = 1; k <= types; ++k) {
        int id = heap_extract(energy.data(), ids.data(), &n, 0);
        if (id >= 0 && id < types) new_number[(size_t)id + 1] = k;
    }
    for (int i = 0; i < list.total; ++i) {
        int t = list.items[i].type;
        if (t >= 1 && t <= types) list.items[i].type = new_number[(size_t)t];
    }

    if (list.total > 0) {
        for (int i = 0; i < list.total; ++i) {
            keys[(size_t)i] = (double)list.items[i].type;
            pos[(size_t)i] = i;
        }
        int left = list.total;
        heap_heapify(keys.data(), pos.data(), left, 0);
        for (int k = 0; k < list.total; ++k) sorted[k] = list.items[heap_extract(keys.data(), pos.data(), &left, 0)];
        // Whole records move; a minimum's ion list goes with its record.
        free(list.items);
        list.items = sorted;
        list.cap = cap;
    }

    free(list.type_index);
    type_index[0] = 0;
    list.type_index = type_index;
    list.total_type = types;
    refresh_type_index(list);
    return true;
}

template <typename Point>
int group_by_symmetry(ZEMU_cube* cube, ZEMU_cif* cif, PointList<Point> list, const OperationNames& names) {
    try {
        int types = assign_orbits(cube, cif, list);
        if (!number_and_sort(list, types)) {
            print_memory_error(names.group);
            return 1;
        }
    } catch (const std::bad_alloc&) {
        print_memory_error(names.group);
        return 1;
    }
    return 0;
}

// True when one of the 27 periodic images of (x, y, z) (offsets of -1, 0, +1
// cells per axis) lies within one grid step of (px, py, pz) on every axis.
// Per axis the image offsets are independent, so the axes are tested apart.
bool near_periodic(ZEMU_cube* cube, int x, int y, int z, int px, int py, int pz) {
    auto axis_near = [](int v, int p, int n) {
        for (int cell = -1; cell <= 1; ++cell) {
            int d = v + cell * n - p;
            if (d >= -1 && d <= 1) return true;
        }
        return false;
    };
    return axis_near(x, px, cube->a_grid) && axis_near(y, py, cube->b_grid) && axis_near(z, pz, cube->c_grid);
}

// Wraps v into 0..n-1 (any integer, any number of cells); v itself without a grid.
int wrap_index(int v, int n) { return n > 0 ? zemu_kernel::wrap_onto_grid(v, n) : v; }

// The saddle clean-up removes types and single points in a fixed order. The
// removals are marked here and carried out in one pass at the end; the result
// (list, type numbers, capacity) is the one that deleting them one by one with
// ZEMU_delete_saddle_type / ZEMU_delete_saddle in the same order would give,
// without moving the whole list once per deletion.
class SaddleRemoval {
public:
    explicit SaddleRemoval(ZEMU_cube* cube)
        : cube_(cube),
          removed_((size_t)cube->total_saddle, 0),
          type_removed_((size_t)cube->total_saddle_type + 1, 0),
          total_(cube->total_saddle),
          cap_(cube->total_saddle_cap) {}

    bool removed(int i) const { return removed_[(size_t)i] != 0; }

    // One member of a type that keeps other members (no shrinking).
    void remove_point(int i) {
        removed_[(size_t)i] = 1;
        --total_;
    }

    // Every remaining member of type t, the run [start, end); the capacity
    // halves when it is at least twice the new length.
    void remove_type(int t, int start, int end) {
        for (int i = start; i < end; ++i)
            if (!removed(i)) remove_point(i);
        type_removed_[(size_t)t] = 1;
        if (cap_ > 0 && cap_ >= 2 * total_) cap_ /= 2;
    }

    // Carries out the marked removals and renumbers the remaining types. 0 or 1.
    int apply() {
        int types = cube_->total_saddle_type;
        std::vector<int> new_number((size_t)types + 1, 0);
        int gone = 0;
        for (int t = 1; t <= types; ++t) {
            gone += type_removed_[(size_t)t];
            new_number[(size_t)t] = t - gone;
        }
        int kept = 0;
        for (int i = 0; i < cube_->total_saddle; ++i) {
            if (removed(i)) continue;
            ZEMU_saddle s = cube_->saddle[i];
            if (s.type >= 1 && s.type <= types) s.type = new_number[(size_t)s.type];
            cube_->saddle[kept++] = s;
        }
        cube_->total_saddle = kept;
        cube_->total_saddle_type = types - gone;
        if (cap_ != cube_->total_saddle_cap) {
            if (zemu_kernel::resize_array(&cube_->saddle, cap_)) {
                print_memory_error(kSaddleNames.remove_type);
                ZEMU_refresh_saddle_type_index(cube_);
                return 1;
            }
            cube_->total_saddle_cap = cap_;
        }
        ZEMU_refresh_saddle_type_index(cube_);
        return 0;
    }

private:
    ZEMU_cube* cube_;
    std::vector<char> removed_;       // per list position: marked for removal
    std::vector<char> type_removed_;  // per type number: the whole type goes
    int total_;                       // list length after the removals so far
    int cap_;                         // capacity after the removals so far
};

// The run of saddle type t in the grouped list: [start, end); false when the
// type has no valid first member.
bool saddle_type_run(ZEMU_cube* cube, int t, int* start, int* end) {
    if (cube->saddle_type_index == nullptr) return false;
    int i = cube->saddle_type_index[t];
    if (i < 0 || i >= cube->total_saddle || cube->saddle[i].type != t) return false;
    int e = i;
    while (e < cube->total_saddle && cube->saddle[e].type == t) ++e;
    *start = i;
    *end = e;
    return true;
}

// Step 6: for each remaining type t in order, every later remaining type whose
// first member is a periodic grid neighbour of t's first member goes; of two
// adjacent types the higher one is removed. Candidates come from a hash of the
// first members' wrapped positions, which holds every type the full scan over
// later types would match; the exact neighbour test then decides.
int remove_adjacent_saddle_types(ZEMU_cube* cube) {
    const int types = cube->total_saddle_type;
    std::vector<int> start((size_t)types + 1, -1), end((size_t)types + 1, -1);
    std::unordered_map<GridKey, std::vector<int>, GridKeyHash> by_position;
    for (int t = 1; t <= types; ++t) {
        if (!saddle_type_run(cube, t, &start[(size_t)t], &end[(size_t)t])) continue;
        const ZEMU_saddle& f = cube->saddle[start[(size_t)t]];
        GridKey key{wrap_index(f.x, cube->a_grid), wrap_index(f.y, cube->b_grid), wrap_index(f.z, cube->c_grid)};
        by_position[key].push_back(t);
    }

    SaddleRemoval removal(cube);
    std::vector<char> gone((size_t)types + 1, 0);
    std::vector<int> later;
    for (int t = 1; t <= types; ++t) {
        if (gone[(size_t)t] || start[(size_t)t] < 0) continue;
        const ZEMU_saddle& f = cube->saddle[start[(size_t)t]];
        later.clear();
        for (int dx = -1; dx <= 1; ++dx)
            for (int dy = -1; dy <= 1; ++dy)
                for (int dz = -1; dz <= 1; ++dz) {
                    GridKey key{wrap_index(f.x + dx, cube->a_grid), wrap_index(f.y + dy, cube->b_grid),
                                wrap_index(f.z + dz, cube->c_grid)};
                    auto found = by_position.find(key);
                    if (found == by_position.end()) continue;
                    for (int u : found->second) {
                        if (u <= t || gone[(size_t)u]) continue;
                        const ZEMU_saddle& g = cube->saddle[start[(size_t)u]];
                        if (near_periodic(cube, g.x, g.y, g.z, f.x, f.y, f.z)) later.push_back(u);
                    }
                }
        std::sort(later.begin(), later.end());
        later.erase(std::unique(later.begin(), later.end()), later.end());
        for (int u : later) {
            gone[(size_t)u] = 1;
            removal.remove_type(u, start[(size_t)u], end[(size_t)u]);
        }
    }
    return removal.apply();
}

// Step 7: a saddle type on a plateau of more than 27 points goes; otherwise
// each member takes the plateau mean as true position, and for every other
// plateau point the first later member of the type next to it is dropped.
// Removals touch only the type being examined, so they are marked and carried
// out together at the end.
int thin_saddle_plateaus(ZEMU_cube* cube) {
    const int kLargestPlateau = 27;
    const int types = cube->total_saddle_type;
    SaddleRemoval removal(cube);
    int status = 0;
    for (int t = 1; t <= types && status == 0; ++t) {
        int start, end;
        if (!saddle_type_run(cube, t, &start, &end)) continue;
        for (int i = start; i < end; ++i) {
            if (removal.removed(i)) continue;
            zemu_kernel::ScopedPlateau flood;
            ZEMU_same_energy_grid_list& plateau = *flood.get();
            ZEMU_saddle* s = &cube->saddle[i];
            if (ZEMU_find_same_energy_neighbours(cube, &plateau, s->x, s->y, s->z) == 1) {
                status = 1;
                break;
            }
            if (plateau.total > kLargestPlateau) {
                removal.remove_type(t, start, end);
                break;
            }
            if (plateau.total > 0) {
                double mean[3];
                zemu_kernel::plateau_mean(&plateau, 1, 1, 1, mean);
                s->tx = mean[0];
                s->ty = mean[1];
                s->tz = mean[2];
            }
            for (int p = 0; p < plateau.total; ++p) {
                const ZEMU_cube_triple_index& q = plateau.item[p];
                if (q.x == s->x && q.y == s->y && q.z == s->z) continue;
                for (int j = i + 1; j < end; ++j) {
                    if (removal.removed(j)) continue;
                    const ZEMU_saddle& other = cube->saddle[j];
                    if (!near_periodic(cube, other.x, other.y, other.z, q.x, q.y, q.z)) continue;
                    removal.remove_point(j);
                    break;
                }
            }
        }
    }
    if (removal.apply()) return 1;
    return status;
}

}  // namespace

// ---------------------------------------------------------------------------
// Public operations
// ---------------------------------------------------------------------------

int ZEMU_group_minima_by_symmetry(ZEMU_cube* cube, ZEMU_cif* cif) {
    return group_by_symmetry(cube, cif, minima_list(cube), kMinimaNames);
}

int ZEMU_group_saddle_by_symmetry(ZEMU_cube* cube, ZEMU_cif* cif) {
    if (group_by_symmetry(cube, cif, saddle_list(cube), kSaddleNames)) return 1;
    try {
        if (remove_adjacent_saddle_types(cube)) return 1;
        if (thin_saddle_plateaus(cube)) return 1;
    } catch (const std::bad_alloc&) {
        print_memory_error(kSaddleNames.group);
        return 1;
    }
    ZEMU_refresh_saddle_type_index(cube);
    return 0;
}

void ZEMU_refresh_minima_type_index(ZEMU_cube* cube) { refresh_type_index(minima_list(cube)); }

void ZEMU_refresh_saddle_type_index(ZEMU_cube* cube) { refresh_type_index(saddle_list(cube)); }

int ZEMU_delete_minima(ZEMU_cube* cube, int index) { return delete_point(minima_list(cube), index, kMinimaNames); }

int ZEMU_delete_saddle(ZEMU_cube* cube, int index) { return delete_point(saddle_list(cube), index, kSaddleNames); }

int ZEMU_delete_minima_type(ZEMU_cube* cube, int type) {
    return delete_type(minima_list(cube), type, kMinimaNames);
}

int ZEMU_delete_saddle_type(ZEMU_cube* cube, int type) {
    return delete_type(saddle_list(cube), type, kSaddleNames);
}
