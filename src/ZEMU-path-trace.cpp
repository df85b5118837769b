// Tracing routes over the energy grid: half paths between a minimum and a
// saddle, loop removal, monotonicity tests and joining of grid paths.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "ZEMU-path.h"
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
    int* color = static_cast<int*>(realloc(path->color, sizeof(int) * static_cast<size_t>(n)));
    if (color == nullptr) return 1;
    path->color = color;
    int* style = static_cast<int*>(realloc(path->style, sizeof(int) * static_cast<size_t>(n)));
    if (style == nullptr) return 1;
    path->style = style;
    int* marker = static_cast<int*>(realloc(path->marker, sizeof(int) * static_cast<size_t>(n)));
    if (marker == nullptr) return 1;
    path->marker = marker;
    Point* grid = static_cast<Point*>(realloc(path->grid, sizeof(Point) * static_cast<size_t>(n)));
    if (grid == nullptr) return 1;
    path->grid = grid;
    return 0;
}

}  // namespace

void ZEMU_init_grid_path(ZEMU_grid_path* path) {
    path->length = 0;
    path->saddle = 0;
    path->color = nullptr;
    path->style = nullptr;
    path->marker = nullptr;
    path->grid = nullptr;
}

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
    int n = path->length;
    for (int i = 0; i < n / 2; i++) {
        Point tmp = path->grid[i];
        path->grid[i] = path->grid[n - 1 - i];
        path->grid[n - 1 - i] = tmp;
    }
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
