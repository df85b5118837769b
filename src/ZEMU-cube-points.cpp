// Energy grid: minima and saddle point lists, the local classification tests
// (minimum, lower-neighbour groups, plateau flood), the whole-grid search,
// minimum site labels, nearest-neighbour queries and the two reports.
#include "ZEMU-cube.h"
#include "ZEMU-kernel.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using zemu_kernel::grow_array;

// Offsets of the 26 neighbours, index 0..26 with 13 the centre: first axis
// outermost, each axis ascending from -1.
inline int block_offset(int index, int axis)
{
    return axis == 0 ? index / 9 - 1 : (axis == 1 ? (index / 3) % 3 - 1 : index % 3 - 1);
}

// Energies of the 3x3x3 block around (i, j, k), at wrapped indices, in block order.
void read_block(ZEMU_cube* cube, int i, int j, int k, double block[27])
{
    int wrapped[3][3];
    const int counts[3] = {cube->a_grid, cube->b_grid, cube->c_grid};
    const int centre[3] = {i, j, k};
    for (int axis = 0; axis < 3; axis++) {
        for (int d = 0; d < 3; d++) {
            wrapped[axis][d] = zemu_kernel::wrap_onto_grid(centre[axis] + d - 1, counts[axis]);
        }
    }
    for (int a = 0; a < 3; a++)
        for (int b = 0; b < 3; b++) {
            const double* row = cube->energy[wrapped[0][a]][wrapped[1][b]];
            for (int c = 0; c < 3; c++) block[a * 9 + b * 3 + c] = row[wrapped[2][c]];
        }
}

// For each block cell, the bit mask of the cells of the block that touch it
// (26-fold, no wrapping inside the block, the cell itself excluded).
struct BlockAdjacency {
    uint32_t mask[27];
    BlockAdjacency()
    {
        for (int cell = 0; cell < 27; cell++) {
            mask[cell] = 0;
            for (int other = 0; other < 27; other++) {
                if (other == cell) continue;
                bool touching = true;
                for (int axis = 0; axis < 3; axis++)
                    touching = touching && abs(block_offset(cell, axis) - block_offset(other, axis)) <= 1;
                if (touching) mask[cell] |= 1u << other;
            }
        }
    }
};

// Number of 26-connected groups of marked cells of the 3x3x3 block (bit n =
// cell n); the centre is never part of a group and joins nothing.
int count_marked_groups(uint32_t marked)
{
    static const BlockAdjacency adjacency;
    uint32_t unvisited = marked & ~(1u << 13);
    int groups = 0;
    while (unvisited != 0) {
        groups++;
        uint32_t frontier = unvisited & (~unvisited + 1u);  // lowest cell starts the group
        unvisited &= ~frontier;
        while (frontier != 0) {
            int cell = __builtin_ctz(frontier);
            frontier &= frontier - 1u;
            uint32_t reached = adjacency.mask[cell] & unvisited;
            unvisited &= ~reached;
            frontier |= reached;
        }
    }
    return groups;
}

bool plateau_contains(ZEMU_same_energy_grid_list* list, int x, int y, int z)
{
    for (int n = 0; n < list->total; n++)
        if (list->item[n].x == x && list->item[n].y == y && list->item[n].z == z) return true;
    return false;
}

// Index of the representative minimum of type t, or -1.
int minima_representative(ZEMU_cube* cube, int t)
{
    if (cube->minima_type_index == nullptr || t < 1 || t > cube->total_minima_type) return -1;
    int index = cube->minima_type_index[t];
    return (index >= 0 && index < cube->total_minima) ? index : -1;
}

// Index of the representative saddle point of type t, or -1.
int saddle_representative(ZEMU_cube* cube, int t)
{
    if (cube->saddle_type_index == nullptr || t < 1 || t > cube->total_saddle_type) return -1;
    int index = cube->saddle_type_index[t];
    return (index >= 0 && index < cube->total_saddle) ? index : -1;
}

}  // namespace

// ---------------------------------------------------------------------------
// Minima and saddle point lists
// ---------------------------------------------------------------------------

void ZEMU_init_cube_stationary_points(ZEMU_cube* cube)
{
    cube->total_minima = cube->total_minima_cap = 0;
    cube->total_saddle = cube->total_saddle_cap = 0;
    cube->minima = nullptr;
    cube->saddle = nullptr;
    cube->minima_type_index = cube->saddle_type_index = nullptr;
}

namespace {

// Makes room for `count` entries of a point list; the messages name the caller.
template <typename T>
int grow_point_list(T** list, int count, int* cap, const char* caller)
{
    if (count < 0) {
        fprintf(stderr, "Error: Invalid input to %s()\n", caller);
        return 1;
    }
    if (grow_array(list, count, cap) != 0) {
        fprintf(stderr, "Error: Memory allocation problem in %s()\n", caller);
        return 1;
    }
    return 0;
}

}  // namespace

int ZEMU_alloc_cube_minima_point(ZEMU_cube* cube)
{
    return grow_point_list(&cube->minima, cube->total_minima, &cube->total_minima_cap, "ZEMU_alloc_cube_minima_point");
}

int ZEMU_alloc_cube_saddle_point(ZEMU_cube* cube)
{
    return grow_point_list(&cube->saddle, cube->total_saddle, &cube->total_saddle_cap, "ZEMU_alloc_cube_saddle_point");
}

int ZEMU_alloc_cube_minima_ions(ZEMU_minima* minima)
{
    return grow_point_list(&minima->ion, minima->total_ions, &minima->total_ions_cap, "ZEMU_alloc_cube_minima_ions");
}

int ZEMU_add_cube_minima_point(ZEMU_cube* cube, int x, int y, int z, double true_x, double true_y,
                               double true_z, double e, int type)
{
    cube->total_minima++;
    if (ZEMU_alloc_cube_minima_point(cube) != 0) {
        cube->total_minima--;  // keep the list consistent with its storage
        return 1;
    }
    // no ions yet, no multiplicity until the grouping, not an interstitial
    cube->minima[cube->total_minima - 1] = ZEMU_minima{x, y, z, true_x, true_y, true_z, type, 0, e, 0, 0, nullptr, 0};
    return 0;
}

int ZEMU_add_cube_minima_ion(ZEMU_minima* minima, char* label, double occ)
{
    minima->total_ions++;
    if (ZEMU_alloc_cube_minima_ions(minima) != 0) {
        minima->total_ions--;
        return 1;
    }
    ZEMU_site_occupied_ion* ion = &minima->ion[minima->total_ions - 1];
    snprintf(ion->label, sizeof(ion->label), "%s", label);  // labels hold at most 9 characters
    ion->occ = occ;
    return 0;
}

namespace {

// Fills a saddle record; the true position starts at the grid indices.
void set_saddle(ZEMU_saddle* s, int x, int y, int z, double e, int type)
{
    *s = ZEMU_saddle{x, y, z, static_cast<double>(x), static_cast<double>(y), static_cast<double>(z), type, 0, e};
}

}  // namespace

int ZEMU_add_cube_saddle_point(ZEMU_cube* cube, int x, int y, int z, double e, int type)
{
    cube->total_saddle++;
    if (ZEMU_alloc_cube_saddle_point(cube) != 0) {
        cube->total_saddle--;
        return 1;
    }
    set_saddle(&cube->saddle[cube->total_saddle - 1], x, y, z, e, type);
    return 0;
}

int ZEMU_ins_cube_saddle_point(ZEMU_cube* cube, int x, int y, int z, double e, int type, int pos)
{
    cube->total_saddle++;
    if (ZEMU_alloc_cube_saddle_point(cube) != 0) {
        cube->total_saddle--;
        return 1;
    }
    int last = cube->total_saddle - 1;
    if (pos < 0) {
        // the count stays incremented; the new tail entry is at least defined
        memset(&cube->saddle[last], 0, sizeof(ZEMU_saddle));
        printf("strange\n");
        return 1;
    }
    if (pos > last) pos = last;  // past the end: append
    memmove(&cube->saddle[pos + 1], &cube->saddle[pos], static_cast<size_t>(last - pos) * sizeof(ZEMU_saddle));
    set_saddle(&cube->saddle[pos], x, y, z, e, type);
    return 0;
}

void ZEMU_del_cube_minima_point(ZEMU_cube* cube, int k)
{
    if (k < 0 || k >= cube->total_minima) return;
    memmove(&cube->minima[k], &cube->minima[k + 1],
            static_cast<size_t>(cube->total_minima - k - 1) * sizeof(ZEMU_minima));
    cube->total_minima--;
}

void ZEMU_del_cube_saddle_point(ZEMU_cube* cube, int k)
{
    if (k < 0 || k >= cube->total_saddle) return;
    memmove(&cube->saddle[k], &cube->saddle[k + 1],
            static_cast<size_t>(cube->total_saddle - k - 1) * sizeof(ZEMU_saddle));
    cube->total_saddle--;
}

void ZEMU_del_cube_minima_point_by_loc(ZEMU_cube* cube, int i, int j, int k)
{
    ZEMU_cube_triple_index p = ZEMU_shift_index_xyz(cube, i, j, k);
    for (int n = 0; n < cube->total_minima; n++) {
        if (cube->minima[n].x == p.x && cube->minima[n].y == p.y && cube->minima[n].z == p.z) {
            ZEMU_del_cube_minima_point(cube, n);
            return;
        }
    }
}

int ZEMU_del_cube_saddle_point_by_loc(ZEMU_cube* cube, int i, int j, int k)
{
    ZEMU_cube_triple_index p = ZEMU_shift_index_xyz(cube, i, j, k);
    for (int n = 0; n < cube->total_saddle; n++) {
        if (cube->saddle[n].x == p.x && cube->saddle[n].y == p.y && cube->saddle[n].z == p.z) {
            ZEMU_del_cube_saddle_point(cube, n);
            return n;
        }
    }
    return -1;
}

int ZEMU_inlist_cube_saddle_point(ZEMU_cube* cube, int i, int j, int k)
{
    for (int n = 0; n < cube->total_saddle; n++)
        if (cube->saddle[n].x == i && cube->saddle[n].y == j && cube->saddle[n].z == k) return 1;
    return 0;
}

int ZEMU_isin_minima_list(ZEMU_cube* cube, int x, int y, int z)
{
    ZEMU_cube_triple_index p = ZEMU_shift_index_xyz(cube, x, y, z);
    for (int n = 0; n < cube->total_minima; n++)
        if (cube->minima[n].x == p.x && cube->minima[n].y == p.y && cube->minima[n].z == p.z) return 1;
    return 0;
}

namespace {

// Releases a point list and its type index; its counts become 0.
template <typename T>
void release_point_list(T** list, int** type_index, int* total, int* cap, int* types)
{
    free(*list);
    *list = nullptr;
    free(*type_index);
    *type_index = nullptr;
    *total = *cap = *types = 0;
}

}  // namespace

void ZEMU_free_cube_minima_points(ZEMU_cube* cube)
{
    if (cube->minima != nullptr) {
        for (int n = 0; n < cube->total_minima; n++) {
            free(cube->minima[n].ion);
            cube->minima[n].ion = nullptr;
        }
    }
    release_point_list(&cube->minima, &cube->minima_type_index, &cube->total_minima, &cube->total_minima_cap,
                       &cube->total_minima_type);
}

void ZEMU_free_cube_saddle_points(ZEMU_cube* cube)
{
    release_point_list(&cube->saddle, &cube->saddle_type_index, &cube->total_saddle, &cube->total_saddle_cap,
                       &cube->total_saddle_type);
}

void ZEMU_free_cube_stationary_points(ZEMU_cube* cube)
{
    ZEMU_free_cube_minima_points(cube);
    ZEMU_free_cube_saddle_points(cube);
}

// ---------------------------------------------------------------------------
// Local classification of grid points
// ---------------------------------------------------------------------------

int ZEMU_is_minimum(ZEMU_cube* cube, int x, int y, int z)
{
    double block[27];
    read_block(cube, x, y, z, block);
    double e = block[13];
    for (int cell = 0; cell < 27; cell++) {
        if (cell == 13) continue;
        if (block[cell] < e && !ZEMU_cube_equal_dbl(block[cell], e)) return 0;
    }
    return 1;
}

int ZEMU_find_lower_energy_neighbour_cluster(ZEMU_cube* cube, int i, int j, int k)
{
    double block[27];
    read_block(cube, i, j, k, block);
    double e = block[13];
    uint32_t lower_or_equal = 0;
    uint32_t lower = 0;
    for (int cell = 0; cell < 27; cell++) {
        if (cell == 13) continue;
        bool equal = ZEMU_cube_equal_dbl(block[cell], e) != 0;
        if (block[cell] < e || equal) lower_or_equal |= 1u << cell;
        if (block[cell] < e && !equal) lower |= 1u << cell;
    }
    int groups = count_marked_groups(lower_or_equal);
    if (lower_or_equal == lower || groups >= 2) return groups;  // no equal neighbour, or separate already
    // An equal neighbour may have bridged two basins: count the strictly lower ones alone.
    return count_marked_groups(lower);
}

void ZEMU_init_same_energy_grid_list(ZEMU_same_energy_grid_list* list)
{
    list->total = 0;
    list->cap = 0;
    list->item = nullptr;
}

int ZEMU_alloc_same_energy_grid_list(ZEMU_same_energy_grid_list* list)
{
    if (list->total < 0 || grow_array(&list->item, list->total, &list->cap) != 0) {
        fprintf(stderr, "Error: Memory allocation problem\n");
        return 1;
    }
    return 0;
}

void ZEMU_free_same_energy_grid_list(ZEMU_same_energy_grid_list* list)
{
    free(list->item);
    list->item = nullptr;
    list->total = 0;
    list->cap = 0;
}

int ZEMU_find_same_energy_neighbours(ZEMU_cube* cube, ZEMU_same_energy_grid_list* list, int i, int j, int k)
{
    // Depth-first flood kept on an explicit stack. Points enter the list in the
    // order of a recursive visit: on arrival, with the neighbours taken from
    // offset +1 down to -1 on each axis (first axis outermost). Every arrival
    // adds a point, so the stack never holds more than the plateau limit + 1.
    struct Frame {
        int x, y, z;  // unwrapped indices
        double e;     // the point's own energy
        int next;     // next neighbour to try, 0..26 (13 is the point itself)
    };
    Frame stack[ZEMU_PLATEAU_MAX_POINTS + 1];
    int depth = 0;

    auto arrive = [&](int x, int y, int z) -> int {
        if (list->total > ZEMU_PLATEAU_MAX_POINTS - 1) return -1;  // a 29th point: too large
        list->total++;
        if (ZEMU_alloc_same_energy_grid_list(list) != 0) {  // a failed growth stops the flood with 1
            list->total--;
            return 1;
        }
        list->item[list->total - 1].x = x;
        list->item[list->total - 1].y = y;
        list->item[list->total - 1].z = z;
        stack[depth].x = x;
        stack[depth].y = y;
        stack[depth].z = z;
        stack[depth].e = ZEMU_cube_energy(cube, x, y, z);
        stack[depth].next = 0;
        depth++;
        return 0;
    };

    int status = arrive(i, j, k);
    if (status != 0) return status;
    while (depth > 0) {
        Frame& f = stack[depth - 1];
        if (f.next == 27) {
            depth--;
            continue;
        }
        int cell = f.next++;
        if (cell == 13) continue;
        // neighbours descend from +1 to -1 on each axis
        int x = f.x - block_offset(cell, 0);
        int y = f.y - block_offset(cell, 1);
        int z = f.z - block_offset(cell, 2);
        if (!ZEMU_cube_equal_dbl(ZEMU_cube_energy(cube, x, y, z), f.e)) continue;
        if (plateau_contains(list, x, y, z)) continue;
        status = arrive(x, y, z);
        if (status != 0) return status;
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Whole-grid search and site labels
// ---------------------------------------------------------------------------

int ZEMU_find_stationary_points3(ZEMU_cube* cube)
{
    ZEMU_free_cube_stationary_points(cube);  // empties both lists (and releases earlier ones)
    ZEMU_init_cube_stationary_points(cube);
    for (int i = 0; i < cube->a_grid; i++) {
        for (int j = 0; j < cube->b_grid; j++) {
            for (int k = 0; k < cube->c_grid; k++) {
                double e = cube->energy[i][j][k];
                if (!(e <= cube->max_energy)) continue;
                if (ZEMU_find_lower_energy_neighbour_cluster(cube, i, j, k) >= 2) {
                    if (ZEMU_add_cube_saddle_point(cube, i, j, k, e, 0) != 0) return 1;
                    continue;
                }
                // the upper neighbour of the last plane is plane 0, like every other access
                double block[27];
                read_block(cube, i, j, k, block);
                int higher = 0;
                int equal = 0;
                for (int cell = 0; cell < 27; cell++) {
                    if (cell == 13) continue;
                    if (ZEMU_cube_equal_dbl(block[cell], e))
                        equal++;
                    else if (block[cell] > e)
                        higher++;
                }
                bool minimum = higher == 26 || (equal > 0 && higher + equal == 26 && equal < 26);
                if (!minimum) continue;

                double tx = i, ty = j, tz = k;
                if (higher != 26) {
                    ZEMU_same_energy_grid_list plateau;
                    ZEMU_init_same_energy_grid_list(&plateau);
                    int status = ZEMU_find_same_energy_neighbours(cube, &plateau, i, j, k);
                    if (status == 1) {
                        ZEMU_free_same_energy_grid_list(&plateau);
                        return 1;
                    }
                    bool skip = status == -1;
                    for (int p = 0; !skip && p < plateau.total; p++) {
                        for (int m = 0; m < cube->total_minima; m++) {
                            if (cube->minima[m].x == plateau.item[p].x && cube->minima[m].y == plateau.item[p].y &&
                                cube->minima[m].z == plateau.item[p].z) {
                                skip = true;
                                break;
                            }
                        }
                    }
                    if (!skip) {
                        double mean[3];
                        zemu_kernel::plateau_mean(&plateau, 1, 1, 1, mean);
                        tx = mean[0];
                        ty = mean[1];
                        tz = mean[2];
                    }
                    ZEMU_free_same_energy_grid_list(&plateau);
                    if (skip) continue;
                }
                if (ZEMU_add_cube_minima_point(cube, i, j, k, tx, ty, tz, e, 0) != 0) return 1;
            }
        }
    }
    return 0;
}

int ZEMU_label_minima_site(ZEMU_cube* cube, char** text, int type)
{
    std::string label;
    int rep = minima_representative(cube, type);
    if (rep >= 0 && cube->minima[rep].ins_label >= 1) {
        label = "i" + std::to_string(cube->minima[rep].ins_label);
    } else {
        for (int n = 0; n < cube->total_minima; n++) {
            if (cube->minima[n].type != type) continue;
            ZEMU_minima* m = &cube->minima[n];
            for (int s = 0; s < m->total_ions; s++) {
                if (!(m->ion[s].occ > 1e-10)) continue;
                if (!label.empty()) label += "/";
                label += std::string(m->ion[s].label, strnlen(m->ion[s].label, sizeof(m->ion[s].label)));
            }
            break;
        }
    }
    if (zemu_kernel::allocate_array(text, label.size() + 1)) {
        fprintf(stderr, "Error: Memory allocation problem\n");
        return 1;
    }
    memcpy(*text, label.c_str(), label.size() + 1);
    return 0;
}

// ---------------------------------------------------------------------------
// Nearest-neighbour queries
// ---------------------------------------------------------------------------

int ZEMU_init_nearest_neighbour(ZEMU_nearest_neighbour* list, int total, double x, double y, double z,
                                int include_target)
{
    list->target_x = x;
    list->target_y = y;
    list->target_z = z;
    list->total = total;
    list->include_target = include_target;
    if (ZEMU_alloc_nearest_neighbour(list) != 0) return 1;
    for (int n = 0; n < total; n++) {
        list->distance[n] = zemu_kernel::kNoValue;
        list->index[n] = -1;  // empty entries point nowhere
        list->i[n] = list->j[n] = list->k[n] = 0;
    }
    return 0;
}

int ZEMU_alloc_nearest_neighbour(ZEMU_nearest_neighbour* list)
{
    list->index = list->i = list->j = list->k = nullptr;
    list->distance = nullptr;
    if (list->total <= 0) {
        fprintf(stderr, "Error: Non-positive input size to ZEMU_alloc_nearest_neighbour()\n");
        return 1;
    }
    size_t n = static_cast<size_t>(list->total);
    using zemu_kernel::allocate_array;
    if (allocate_array(&list->index, n) || allocate_array(&list->i, n) || allocate_array(&list->j, n) ||
        allocate_array(&list->k, n) || allocate_array(&list->distance, n)) {
        fprintf(stderr, "Error: Memory allocation problem\n");
        ZEMU_free_nearest_neighbour(list);
        return 1;
    }
    return 0;
}

void ZEMU_free_nearest_neighbour(ZEMU_nearest_neighbour* list)
{
    list->total = 0;
    free(list->index);
    free(list->i);
    free(list->j);
    free(list->k);
    free(list->distance);
    list->index = list->i = list->j = list->k = nullptr;
    list->distance = nullptr;
}

void ZEMU_add_nearest_neighbour(ZEMU_nearest_neighbour* list, int index, int i, int j, int k, double distance)
{
    int last = list->total - 1;
    if (last < 0 || !(distance < list->distance[last])) return;
    int pos = last - 1;
    while (pos >= 0 && distance < list->distance[pos]) pos--;
    int at = pos + 1;
    for (int n = last; n > at; n--) {
        list->index[n] = list->index[n - 1];
        list->i[n] = list->i[n - 1];
        list->j[n] = list->j[n - 1];
        list->k[n] = list->k[n - 1];
        list->distance[n] = list->distance[n - 1];
    }
    list->index[at] = index;
    list->i[at] = i;
    list->j[at] = j;
    list->k[at] = k;
    list->distance[at] = distance;
}

namespace {

// Shell-by-shell search over the periodic images of `count` points whose true
// positions are given by position(n); stops after the first shell that adds nothing.
template <typename Position>
void nearest_images(ZEMU_cube* cube, ZEMU_nearest_neighbour* list, int count, Position position)
{
    if (list->total <= 0 || list->distance == nullptr) return;
    // A degenerate cell could keep improving by rounding noise: bound the shells.
    const int max_shell = 100;
    bool changed = true;
    for (int shell = 0; changed && shell <= max_shell; shell++) {
        changed = false;
        for (int m = 0; m < count; m++) {
            ZEMU_cube_triple_index_dbl t = position(m);
            for (int a = -shell; a <= shell; a++) {
                for (int b = -shell; b <= shell; b++) {
                    for (int c = -shell; c <= shell; c++) {
                        if (abs(a) != shell && abs(b) != shell && abs(c) != shell) continue;
                        double x = a * cube->a_grid + t.x;
                        double y = b * cube->b_grid + t.y;
                        double z = c * cube->c_grid + t.z;
                        if (ZEMU_cube_equal_dbl(x, list->target_x) && ZEMU_cube_equal_dbl(y, list->target_y) &&
                            ZEMU_cube_equal_dbl(z, list->target_z))
                            list->include_target = 0;
                        double d = ZEMU_distance_grid(cube, x, y, z, list->target_x, list->target_y, list->target_z);
                        if (d < list->distance[list->total - 1]) {
                            ZEMU_add_nearest_neighbour(list, m, a, b, c, d);
                            changed = true;
                        }
                    }
                }
            }
        }
    }
}

}  // namespace

int ZEMU_get_nearest_minima(ZEMU_cube* cube, ZEMU_nearest_neighbour* list)
{
    nearest_images(cube, list, cube->total_minima, [cube](int m) {
        ZEMU_cube_triple_index_dbl t = {cube->minima[m].tx, cube->minima[m].ty, cube->minima[m].tz};
        return t;
    });
    return 0;
}

int ZEMU_get_nearest_saddle(ZEMU_cube* cube, ZEMU_nearest_neighbour* list)
{
    nearest_images(cube, list, cube->total_saddle, [cube](int m) {
        ZEMU_cube_triple_index_dbl t = {cube->saddle[m].tx, cube->saddle[m].ty, cube->saddle[m].tz};
        return t;
    });
    return 0;
}

// ---------------------------------------------------------------------------
// Reports
// ---------------------------------------------------------------------------

namespace {

// The framed title of a report and its two total lines (`what`: "minima" or "saddle").
void print_report_head(FILE* fptr, const char* title, const char* what, int total, int types)
{
    const char* rule = "-----------------------------------------------------------------";
    fprintf(fptr, "%s\r\n%s\r\n%s\r\n\r\n", rule, title, rule);
    fprintf(fptr, "Total local %s in unit cell: %d\r\n", what, total);
    fprintf(fptr, "Total symmetrically inequivalent: %d\r\n\r\n", types);
}

}  // namespace

int ZEMU_printminima(ZEMU_cube* cube, FILE* fptr)
{
    print_report_head(fptr, "                  Summary of energy local minima                  ", "minima",
                      cube->total_minima, cube->total_minima_type);

    for (int t = 1; t <= cube->total_minima_type; t++) {
        char* label = nullptr;
        if (ZEMU_label_minima_site(cube, &label, t) != 0) return 1;
        int rep = minima_representative(cube, t);
        double energy = rep >= 0 ? ZEMU_scale_cube_energy(cube, cube->minima[rep].e) : 0.0;
        fprintf(fptr, "Minima type: %s (Energy: %.6f eV)\r\n", label, energy);
        free(label);
        fprintf(fptr, "    Index   Grid coor.    True grid coor.     Frac. coor.         Occ.    Ion type\r\n");

        int members = 0;
        for (int n = 0; n < cube->total_minima; n++) {
            ZEMU_minima* m = &cube->minima[n];
            if (m->type != t) continue;
            members++;
            double f[3];
            if (zemu_kernel::plateau_mean_at(cube, m->x, m->y, m->z, cube->a_grid, cube->b_grid, cube->c_grid, f) != 0)
                return 1;
            const double fx = f[0], fy = f[1], fz = f[2];
            fprintf(fptr, "    %5d   %3d %3d %3d   %5.1f %5.1f %5.1f   %5.3f %5.3f %5.3f   ", n, m->x, m->y, m->z,
                    fx * cube->a_grid, fy * cube->b_grid, fz * cube->c_grid, fx, fy, fz);
            bool first = true;
            for (int s = 0; s < m->total_ions; s++) {
                if (!(m->ion[s].occ > 0.0)) continue;
                if (!first) fprintf(fptr, "%66s", "");
                fprintf(fptr, "%4.3f   %s\r\n", m->ion[s].occ, m->ion[s].label);
                first = false;
            }
            if (first) fprintf(fptr, "\r\n");
        }
        fprintf(fptr, "Multiplicity: %d\r\n\r\n", members);
    }
    fflush(fptr);
    return 0;
}

int ZEMU_printsaddle(ZEMU_cube* cube, FILE* fptr)
{
    print_report_head(fptr, "                  Summary of energy saddle point                  ", "saddle",
                      cube->total_saddle, cube->total_saddle_type);

    for (int t = 1; t <= cube->total_saddle_type; t++) {
        std::string label = "s" + std::to_string(t);
        int rep = saddle_representative(cube, t);
        double energy = rep >= 0 ? ZEMU_scale_cube_energy(cube, cube->saddle[rep].e) : 0.0;
        fprintf(fptr, "Saddle type: %s (Energy: %.6f eV)\r\n", label.c_str(), energy);
        fprintf(fptr,
                "    Index   Grid coor.    True grid coor.     Frac. coor.         True frac. coor.\r\n");

        int members = 0;
        for (int n = 0; n < cube->total_saddle; n++) {
            ZEMU_saddle* s = &cube->saddle[n];
            if (s->type != t) continue;
            members++;
            double fx = static_cast<double>(s->x) / cube->a_grid;
            double fy = static_cast<double>(s->y) / cube->b_grid;
            double fz = static_cast<double>(s->z) / cube->c_grid;
            double mean[3];
            if (zemu_kernel::plateau_mean_at(cube, s->x, s->y, s->z, 1, 1, 1, mean) != 0) return 1;
            const double tx = mean[0], ty = mean[1], tz = mean[2];
            fprintf(fptr, "    %5d   %3d %3d %3d   %5.1f %5.1f %5.1f   %5.3f %5.3f %5.3f   %5.3f %5.3f %5.3f\r\n", n,
                    s->x, s->y, s->z, tx, ty, tz, fx, fy, fz, tx / cube->a_grid, ty / cube->b_grid,
                    tz / cube->c_grid);
        }
        fprintf(fptr, "Multiplicity: %d\r\n\r\n", members);
    }
    fflush(fptr);
    return 0;
}
