// Tracing routes over the energy grid: half paths between a minimum and a
// saddle, loop removal, monotonicity tests, joining of grid paths and the
// placement of a reaction pathway's references as one continuous route.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "ZEMU-path.h"
#include "ZEMU-rp.h"
#include "ZEMU-kernel.h"

namespace {

typedef ZEMU_path_triple_index Point;

Point make_point(int x, int y, int z) {
    Point p;
    p.x = x;
    p.y = y;
    p.z = z;
    return p;
}

bool same_point(Point a, Point b) { return a.x == b.x && a.y == b.y && a.z == b.z; }

// Neighbours in the 26-neighbourhood, or the same point.
bool adjacent(Point a, Point b) { return abs(a.x - b.x) < 2 && abs(a.y - b.y) < 2 && abs(a.z - b.z) < 2; }

double point_distance(ZEMU_cube* cube, Point a, Point b) {
    return ZEMU_distance_grid(cube, a.x, a.y, a.z, b.x, b.y, b.z);
}

// Energies of a point sequence, looked up once.
std::vector<double> point_energies(ZEMU_cube* cube, const Point* grid, int n) {
    std::vector<double> energy(n > 0 ? n : 0);
    for (int i = 0; i < n; i++) energy[i] = ZEMU_get_gridpath_point_energy(cube, grid[i]);
    return energy;
}

// Walks from both ends towards each other until they meet; the list then reads
// L1, ..., A, B, ..., L2. 0 when they met, 1 when the list outgrew the limit.
int trace_between(ZEMU_cube* cube, std::vector<Point>& list, Point l1, Point l2) {
    list.assign({l1, l2});
    Point a = l1;
    Point b = l2;
    Point offset = make_point(0, 0, 0);  // kept from step to step
    while (!adjacent(a, b)) {
        bool from_b = ZEMU_get_gridpath_point_energy(cube, b) > ZEMU_get_gridpath_point_energy(cube, a);
        Point moving = from_b ? b : a;
        Point target = from_b ? a : b;

        double reach = point_distance(cube, moving, target);
        double best = 9999.0;
        for (int dx = -1; dx <= 1; dx++) {
            for (int dy = -1; dy <= 1; dy++) {
                for (int dz = -1; dz <= 1; dz++) {
                    if (dx == 0 && dy == 0 && dz == 0) continue;
                    Point next = make_point(moving.x + dx, moving.y + dy, moving.z + dz);
                    if (!(point_distance(cube, next, target) < reach)) continue;
                    double e = ZEMU_get_gridpath_point_energy(cube, next);
                    if (e < best) {
                        best = e;
                        offset = make_point(dx, dy, dz);
                    }
                }
            }
        }

        Point next = make_point(moving.x + offset.x, moving.y + offset.y, moving.z + offset.z);
        size_t at = 0;  // the moving end is always listed, so the search finds it
        while (at + 1 < list.size() && !same_point(list[at], moving)) at++;
        list.insert(list.begin() + static_cast<long>(from_b ? at : at + 1), next);
        if (from_b) {
            b = next;
        } else {
            a = next;
        }

        if (list.size() > ZEMU_MAX_PATH_LENGTH) {
            fprintf(stderr, "Error: ZEMU_MAX_PATH_LENGTH exceeded\n");
            return 1;
        }
    }
    return 0;
}

// Cuts every detour: point i is joined straight to the farthest later point
// (at least two positions on) that neighbours it.
void remove_loops(std::vector<Point>& list) {
    for (int i = 0; i < static_cast<int>(list.size()); i++) {
        for (int j = static_cast<int>(list.size()) - 1; j >= i + 2; j--) {
            if (adjacent(list[i], list[j])) {
                list.erase(list.begin() + (i + 1), list.begin() + j);
                break;
            }
        }
    }
}

// Resizes the four arrays of a grid path to n entries; 1 when one cannot be had
// (those already resized keep their new size, which is harmless).
int grow_attributes(ZEMU_grid_path* path, int n) {
    using zemu_kernel::resize_array;
    return resize_array(&path->color, n) || resize_array(&path->style, n) || resize_array(&path->marker, n) ||
                   resize_array(&path->grid, n)
               ? 1
               : 0;
}

}  // namespace

void ZEMU_init_grid_path(ZEMU_grid_path* path) { *path = ZEMU_grid_path{}; }

// ---------------------------------------------------------------------------
// Half paths and full paths
// ---------------------------------------------------------------------------

int ZEMU_build_half_grid_path(ZEMU_cube* cube, ZEMU_grid_path* path, ZEMU_cubeloc loc1, ZEMU_cubeloc loc2) {
    if (debug_flag)
        printf("Finding half_grid_path from %d %d %d to %d %d %d\n", loc1.x, loc1.y, loc1.z, loc2.x, loc2.y, loc2.z);
    try {
        std::vector<Point> list;
        if (trace_between(cube, list, make_point(loc1.x, loc1.y, loc1.z), make_point(loc2.x, loc2.y, loc2.z)))
            return 1;
        remove_loops(list);
        while (list.size() >= 2 && ZEMU_cube_equal_dbl(ZEMU_get_gridpath_point_energy(cube, list[0]),
                                                       ZEMU_get_gridpath_point_energy(cube, list[1])))
            list.erase(list.begin());

        int n = static_cast<int>(list.size());
        ZEMU_grid_path trial;
        ZEMU_init_grid_path(&trial);
        trial.length = n;
        trial.grid = list.data();
        ZEMU_refresh_path_saddle(cube, &trial);
        if (!ZEMU_halfpath_is_irreducible(cube, &trial)) return -1;

        ZEMU_grid_path result;
        ZEMU_init_grid_path(&result);
        if (grow_attributes(&result, n)) {
            ZEMU_free_grid_path(&result);
            fprintf(stderr, "Error: Memory allocation problem in ZEMU_build_half_grid_path()\n");
            return 1;
        }
        for (int i = 0; i < n; i++) {
            result.color[i] = -1;
            result.style[i] = -1;
            result.marker[i] = -1;
            result.grid[i] = list[i];
        }
        result.length = n;
        result.saddle = trial.saddle;
        *path = result;
        return 0;
    } catch (const std::bad_alloc&) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_build_half_grid_path()\n");
        return 1;
    }
}

int ZEMU_build_grid_path(ZEMU_cube* cube, ZEMU_grid_path* path, ZEMU_cubeloc startloc, ZEMU_cubeloc saddleloc,
                         ZEMU_cubeloc endloc) {
    if (debug_flag)
        printf("Building grid path from %d %d %d to %d %d %d via %d %d %d \n", startloc.x, startloc.y, startloc.z,
               endloc.x, endloc.y, endloc.z, saddleloc.x, saddleloc.y, saddleloc.z);
    ZEMU_grid_path first;
    ZEMU_init_grid_path(&first);
    int result = ZEMU_build_half_grid_path(cube, &first, startloc, saddleloc);
    if (result != 0) return result;

    ZEMU_grid_path second;
    ZEMU_init_grid_path(&second);
    result = ZEMU_build_half_grid_path(cube, &second, saddleloc, endloc);
    if (result != 0) {
        ZEMU_free_grid_path(&first);
        return result;
    }
    result = ZEMU_concatenate_grid_path(cube, &first, &second);
    ZEMU_free_grid_path(&second);
    if (result != 0) {
        ZEMU_free_grid_path(&first);
        return 1;
    }
    *path = first;
    return 0;
}

int ZEMU_concatenate_grid_path(ZEMU_cube* cube, ZEMU_grid_path* path_one, ZEMU_grid_path* path_two) {
    if (path_one->length <= 0 || path_two->length <= 0) {
        fprintf(stderr, "Error: Invalid input to ZEMU_concatenate_grid_path\n");
        return 1;
    }
    int n1 = path_one->length;
    int n2 = path_two->length;
    int shared = same_point(path_one->grid[n1 - 1], path_two->grid[0]) ? 1 : 0;
    int total = n1 + n2 - shared;
    if (total > ZEMU_MAX_PATH_LENGTH) {
        fprintf(stderr, "Error: ZEMU_MAX_PATH_LENGTH exceeed\n");
        return 1;
    }

    // Taken before path_one grows, so a path joined to itself reads its own old
    // points; a missing attribute array reads as -1.
    std::vector<Point> grid(path_two->grid, path_two->grid + n2);
    std::vector<int> color(n2, -1), style(n2, -1), marker(n2, -1);
    for (int i = 0; i < n2; i++) {
        if (path_two->color != nullptr) color[i] = path_two->color[i];
        if (path_two->style != nullptr) style[i] = path_two->style[i];
        if (path_two->marker != nullptr) marker[i] = path_two->marker[i];
    }
    bool had_color = path_one->color != nullptr;
    bool had_style = path_one->style != nullptr;
    bool had_marker = path_one->marker != nullptr;

    if (grow_attributes(path_one, total)) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_concatenate_grid_path()\n");
        return 1;
    }
    for (int i = 0; i < n1; i++) {
        if (!had_color) path_one->color[i] = -1;
        if (!had_style) path_one->style[i] = -1;
        if (!had_marker) path_one->marker[i] = -1;
    }
    int at = n1 - shared;
    for (int i = 0; i < n2; i++) {
        path_one->grid[at + i] = grid[i];
        path_one->color[at + i] = color[i];
        path_one->style[at + i] = style[i];
        path_one->marker[at + i] = marker[i];
    }
    path_one->length = total;
    ZEMU_refresh_path_saddle(cube, path_one);
    return 0;
}

void ZEMU_refresh_path_saddle(ZEMU_cube* cube, ZEMU_grid_path* path) {
    double best = -zemu_kernel::kNoValue;
    path->saddle = 0;
    for (int i = 0; i < path->length; i++) {
        double e = ZEMU_get_gridpath_point_energy(cube, path->grid[i]);
        if (e > best) {
            best = e;
            path->saddle = i;
        }
    }
}

// ---------------------------------------------------------------------------
// Monotonicity tests
// ---------------------------------------------------------------------------

int ZEMU_path_is_irreducible(ZEMU_cube* cube, ZEMU_grid_path* path) {
    int n = path->length;
    if (n < 2) return 0;  // no step to judge
    std::vector<double> e = point_energies(cube, path->grid, n);
    int s = path->saddle;
    int count = 0;
    // Uphill side: the step between points 0 and 1 is not examined.
    for (int i = (s - 1 < n - 2 ? s - 1 : n - 2); i >= 1; i--) {
        if (e[i + 1] > e[i] || ZEMU_cube_equal_dbl(e[i + 1], e[i])) count++;
    }
    for (int i = (s + 1 > 1 ? s + 1 : 1); i <= n - 1; i++) {
        if (e[i - 1] > e[i] || ZEMU_cube_equal_dbl(e[i - 1], e[i])) count++;
    }
    return static_cast<double>(count) / (n - 1) > 0.75 ? 1 : 0;
}

int ZEMU_halfpath_is_irreducible(ZEMU_cube* cube, ZEMU_grid_path* path) {
    int n = path->length;
    if (n < 6) return 1;
    std::vector<double> e = point_energies(cube, path->grid, n);
    int count = 0;
    if (!(e[0] > e[n - 1])) {
        for (int i = n - 2; i >= 0; i--) {
            if (e[i + 1] > e[i]) count++;
        }
    } else {
        for (int i = 1; i <= n - 1; i++) {
            if (e[i - 1] > e[i]) count++;
        }
    }
    return static_cast<double>(count) / (n - 1) >= 0.75 ? 1 : 0;
}

// ---------------------------------------------------------------------------
// Point energies, lengths, small edits
// ---------------------------------------------------------------------------

double ZEMU_get_gridpath_point_energy(ZEMU_cube* cube, ZEMU_path_triple_index gridpoint) {
    return ZEMU_cube_energy(cube, gridpoint.x, gridpoint.y, gridpoint.z);
}

double ZEMU_path_length_in_Angstrom(ZEMU_cube* cube, ZEMU_grid_path* path) {
    double length = 0.0;
    for (int i = 1; i < path->length; i++) length += point_distance(cube, path->grid[i - 1], path->grid[i]);
    return length;
}

void ZEMU_reverse_path(ZEMU_grid_path* path) {
    if (path->length > 1) std::reverse(path->grid, path->grid + path->length);
}

void ZEMU_free_grid_path(ZEMU_grid_path* path) {
    path->length = 0;
    free(path->grid);
    free(path->color);
    free(path->style);
    free(path->marker);
    path->grid = nullptr;
    path->color = nullptr;
    path->style = nullptr;
    path->marker = nullptr;
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
using zemu_kernel::reference_path_index;

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
            ZEMU_free_grid_path(&piece);  // what the failed trace had built
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
