// Path records, growable lists, the path library and its edits.
#include "ZEMU-path.h"
#include "ZEMU-kernel.h"

#include <climits>
#include <cmath>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int debug_flag = 0;

namespace {

using zemu_kernel::allocate_array;
using zemu_kernel::grown_capacity;
using zemu_kernel::resize_array;

// The appenders have no failure result: running out of memory ends the program.
[[noreturn]] void append_failed() {
    fprintf(stderr, "Error: Memory allocation problem appending to list \n");
    exit(1);
}

}  // namespace

// ---------------------------------------------------------------------------
// Small constructors
// ---------------------------------------------------------------------------

void ZEMU_assign_loc(ZEMU_cubeloc* loc, int x, int y, int z) {
    loc->x = x;
    loc->y = y;
    loc->z = z;
}

void ZEMU_assign_cellcross(ZEMU_cellcross* cc, int x, int y, int z) {
    cc->x = x;
    cc->y = y;
    cc->z = z;
}

void ZEMU_assign_cellcross_diff(ZEMU_cellcross_diff* d, int x, int y, int z) {
    d->x = x;
    d->y = y;
    d->z = z;
}

void ZEMU_assign_allpath(ZEMU_allpath* allpath, int start, int end, int saddle, int start_type, int end_type,
                         int saddle_type, double length, int start_crossx, int start_crossy, int start_crossz,
                         int end_crossx, int end_crossy, int end_crossz, double start_energy, double end_energy,
                         double saddle_energy) {
    allpath->start = start;
    allpath->end = end;
    allpath->saddle = saddle;
    allpath->start_type = start_type;
    allpath->end_type = end_type;
    allpath->saddle_type = saddle_type;
    allpath->length = length;
    allpath->start_crossx = start_crossx;
    allpath->start_crossy = start_crossy;
    allpath->start_crossz = start_crossz;
    allpath->end_crossx = end_crossx;
    allpath->end_crossy = end_crossy;
    allpath->end_crossz = end_crossz;
    allpath->start_energy = start_energy;
    allpath->end_energy = end_energy;
    allpath->saddle_energy = saddle_energy;
}

void ZEMU_init_path(ZEMU_path* path) {
    memset(path, 0, sizeof(*path));
    path->color = -1;
    path->style = -1;
}

// ---------------------------------------------------------------------------
// Growable lists
// ---------------------------------------------------------------------------

void ZEMU_init_cellcross_list(ZEMU_cellcross_list* cclist, int initial_size) {
    cclist->len = 0;
    cclist->alloc = initial_size > 0 ? initial_size : 0;
    cclist->points = nullptr;
    cclist->list = nullptr;
    if (cclist->alloc == 0) return;
    cclist->points = static_cast<int*>(malloc(sizeof(int) * static_cast<size_t>(cclist->alloc)));
    cclist->list = static_cast<ZEMU_cellcross*>(malloc(sizeof(ZEMU_cellcross) * static_cast<size_t>(cclist->alloc)));
    // A list without its arrays starts empty, so the first append grows it: no
    // failure, hence no call through the kernel's allocation hook.
    if (cclist->points == nullptr || cclist->list == nullptr) cclist->alloc = 0;
}

void ZEMU_append_cellcross_list(ZEMU_cellcross_list* cclist, int point, ZEMU_cellcross cc) {
    if (cclist->alloc <= cclist->len) {
        int capacity = grown_capacity(cclist->alloc, cclist->len + 1);
        if (resize_array(&cclist->points, capacity) || resize_array(&cclist->list, capacity)) append_failed();
        cclist->alloc = capacity;
    }
    cclist->points[cclist->len] = point;
    cclist->list[cclist->len] = cc;
    cclist->len++;
}

void ZEMU_free_cellcross_list(ZEMU_cellcross_list* cclist) {
    free(cclist->points);
    free(cclist->list);
    *cclist = ZEMU_cellcross_list{};
}

void ZEMU_init_allpath_list(ZEMU_allpath_list* aplist, int initial_size) {
    aplist->len = 0;
    aplist->alloc = initial_size > 0 ? initial_size : 0;
    aplist->allpath = nullptr;
    if (aplist->alloc == 0) return;
    aplist->allpath = static_cast<ZEMU_allpath*>(malloc(sizeof(ZEMU_allpath) * static_cast<size_t>(aplist->alloc)));
    if (aplist->allpath == nullptr) aplist->alloc = 0;  // as for the crossing list
}

void ZEMU_append_allpath_list(ZEMU_allpath_list* aplist, ZEMU_allpath allpath) {
    if (aplist->alloc <= aplist->len) {
        int capacity = grown_capacity(aplist->alloc, aplist->len + 1);
        if (resize_array(&aplist->allpath, capacity)) append_failed();
        aplist->alloc = capacity;
    }
    aplist->allpath[aplist->len] = allpath;
    aplist->len++;
}

void ZEMU_free_allpath_list(ZEMU_allpath_list* aplist) {
    free(aplist->allpath);
    *aplist = ZEMU_allpath_list{};
}

void ZEMU_free_connect_list(ZEMU_connect_list* list) {
    free(list->item);
    *list = ZEMU_connect_list{};
}

// ---------------------------------------------------------------------------
// Path library
// ---------------------------------------------------------------------------

void ZEMU_init_pathlib(ZEMU_pathlib* pathlib) {
    *pathlib = ZEMU_pathlib{};
    pathlib->oneD = pathlib->twoD = pathlib->threeD = 999.0;
}

// The flag and the activation energies stay as they were.
void ZEMU_free_pathlib(ZEMU_pathlib* pathlib) {
    free(pathlib->path);
    free(pathlib->allpath);
    pathlib->path = nullptr, pathlib->allpath = nullptr;
    pathlib->total_path = pathlib->total_allpath = 0;
}

int ZEMU_copy_pathlib(ZEMU_pathlib* source, ZEMU_pathlib* target) {
    if (source == target) return 0;
    int total_path = source->total_path > 0 ? source->total_path : 0;
    int total_allpath = source->total_allpath > 0 ? source->total_allpath : 0;
    if (resize_array(&target->path, total_path) || resize_array(&target->allpath, total_allpath)) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_copy_pathlib()\n");
        return 1;
    }
    if (total_path > 0) memcpy(target->path, source->path, sizeof(ZEMU_path) * static_cast<size_t>(total_path));
    if (total_allpath > 0)
        memcpy(target->allpath, source->allpath, sizeof(ZEMU_allpath) * static_cast<size_t>(total_allpath));
    target->total_path = total_path;
    target->total_allpath = total_allpath;
    return 0;
}

// ---------------------------------------------------------------------------
// Clusters and reaction pathways
// ---------------------------------------------------------------------------

void ZEMU_init_cluster(ZEMU_cluster* clust) {
    *clust = ZEMU_cluster{};
    clust->mul = 1;
}

int ZEMU_copy_cluster(ZEMU_cluster* source, ZEMU_cluster* target) {
    if (source == target) return 0;
    *target = *source;
    target->path = nullptr;
    if (source->total_path <= 0 || source->path == nullptr) {
        target->total_path = 0;
        return 0;
    }
    if (allocate_array(&target->path, static_cast<size_t>(source->total_path))) {
        target->total_path = 0;
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_copy_cluster()\n");
        return 1;
    }
    memcpy(target->path, source->path, sizeof(int) * static_cast<size_t>(source->total_path));
    return 0;
}

int ZEMU_alloc_path_clust(ZEMU_cluster_list* list) {
    if (list->total <= 0) {
        fprintf(stderr, "Error: Invalid input to ZEMU_alloc_path_clust()\n");
        return 1;
    }
    if (resize_array(&list->clust, list->total)) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_alloc_path_clust()\n");
        return 1;
    }
    return 0;
}

namespace {

// Releases the `path` array of each of the `total` records (none when null).
template <typename Record>
void free_record_paths(Record* records, int total) {
    for (int i = 0; records != nullptr && i < total; i++) {
        free(records[i].path);
        records[i].path = nullptr;
    }
}

}  // namespace

void ZEMU_init_path_clust(ZEMU_cluster_list* list) { *list = ZEMU_cluster_list{}; }

void ZEMU_free_path_clust(ZEMU_cluster_list* list) {
    free_record_paths(list->clust, list->total);
    free(list->clust);
    list->clust = nullptr;
}

int ZEMU_append_path_to_reaction_pathway(ZEMU_reaction_pathway* rp, int n) {
    int count = rp->total_path > 0 ? rp->total_path : 0;
    if (resize_array(&rp->path, count + 1)) return 1;
    rp->path[count] = n;
    rp->total_path = count + 1;
    return 0;
}

void ZEMU_free_reaction_pathway(ZEMU_reaction_pathway_overall* rp_all) {
    free_record_paths(rp_all->rp, rp_all->total);
    free(rp_all->rp);
    *rp_all = ZEMU_reaction_pathway_overall{};
}

// ---------------------------------------------------------------------------
// Equality and look-up
// ---------------------------------------------------------------------------

int ZEMU_is_loc_equal(ZEMU_cubeloc loc1, ZEMU_cubeloc loc2) {
    return loc1.x == loc2.x && loc1.y == loc2.y && loc1.z == loc2.z;
}

int ZEMU_is_cellcross_equal(ZEMU_cellcross cc1, ZEMU_cellcross cc2) {
    return cc1.x == cc2.x && cc1.y == cc2.y && cc1.z == cc2.z;
}

int ZEMU_is_cellcrossdiff_equal(ZEMU_cellcross_diff d1, ZEMU_cellcross_diff d2) {
    return d1.x == d2.x && d1.y == d2.y && d1.z == d2.z;
}

void ZEMU_get_cellcrossdiff_from_allpath(ZEMU_cellcross_diff* d, ZEMU_allpath* allpath) {
    d->x = allpath->end_crossx - allpath->start_crossx;
    d->y = allpath->end_crossy - allpath->start_crossy;
    d->z = allpath->end_crossz - allpath->start_crossz;
}

int ZEMU_is_path_start_end_equal(ZEMU_path* p1, ZEMU_path* p2) {
    return (p1->start == p2->start && p1->end == p2->end) || (p1->end == p2->start && p1->start == p2->end);
}

int ZEMU_is_allpath_start_end_equal(ZEMU_allpath* ap1, ZEMU_allpath* ap2) {
    return (ap1->start == ap2->start && ap1->end == ap2->end) || (ap1->end == ap2->start && ap1->start == ap2->end);
}

int ZEMU_is_allpath_equal(ZEMU_allpath* ap1, ZEMU_allpath* ap2, int mode) {
    switch (mode) {
        case 1:
            return ap1->start == ap2->start && ap1->end == ap2->end;
        case 2:  // mode 1 in either argument order: the same test, kept as its own mode
            return ZEMU_is_allpath_equal(ap1, ap2, 1) || ZEMU_is_allpath_equal(ap2, ap1, 1);
        case 3:
            return ap1->start_crossx == ap2->start_crossx && ap1->start_crossy == ap2->start_crossy &&
                   ap1->start_crossz == ap2->start_crossz && ap1->end_crossx == ap2->end_crossx &&
                   ap1->end_crossy == ap2->end_crossy && ap1->end_crossz == ap2->end_crossz;
        case 5:
            return ap1->saddle == ap2->saddle;
        case 6:
            return ap1->saddle_type == ap2->saddle_type;
        case 13:
            return ZEMU_is_allpath_equal(ap1, ap2, 1) && ZEMU_is_allpath_equal(ap1, ap2, 3);
        case 135:
            // Same saddle and mode 13 answers at once; otherwise mode 13 decides,
            // so the result is always mode 13's.
            if (ZEMU_is_allpath_equal(ap1, ap2, 5) && ZEMU_is_allpath_equal(ap1, ap2, 13)) return 1;
            return ZEMU_is_allpath_equal(ap1, ap2, 13);
        default:
            printf("Invalid mode call %d to ZEMU_is_allpath_equal\n", mode);
            return 0;
    }
}

int ZEMU_check_if_point_in_list(int* list, int list_len, int point1, int point2) {
    for (int i = 0; i < list_len; i++) {
        if (list[i] == point1 || list[i] == point2) return i;
    }
    return -1;
}

int ZEMU_isin_pathlib(ZEMU_pathlib* pathlib, int start_type, int end_type, int saddle_type) {
    for (int i = 0; i < pathlib->total_path; i++) {
        ZEMU_path* p = &pathlib->path[i];
        if (p->saddle_type != saddle_type) continue;
        if ((p->start_type == start_type && p->end_type == end_type) ||
            (p->start_type == end_type && p->end_type == start_type))
            return 1;
    }
    return 0;
}

int ZEMU_get_allpath_to_path_index(ZEMU_pathlib* pathlib, int z) {
    if (z >= 0 && z < pathlib->total_allpath) {
        ZEMU_allpath* ap = &pathlib->allpath[z];
        for (int i = 0; i < pathlib->total_path; i++) {
            ZEMU_path* p = &pathlib->path[i];
            if (p->saddle_type == ap->saddle_type && p->end_type == ap->end_type && p->start_type == ap->start_type)
                return i;
        }
    }
    fprintf(stderr, "Error: Invalid output from ZEMU_get_allpath_to_path_index()\n");
    return -1;
}

// ---------------------------------------------------------------------------
// Changing the library
// ---------------------------------------------------------------------------

void ZEMU_insert_pathlib_allpath(ZEMU_pathlib* pathlib, ZEMU_allpath allpath) {
    int count = pathlib->total_allpath > 0 ? pathlib->total_allpath : 0;
    // The count only rises with the array, so a failed growth leaves a consistent library.
    if (resize_array(&pathlib->allpath, count + 1)) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_insert_pathlib_allpath()\n");
        return;
    }
    if (count > 0) memmove(pathlib->allpath + 1, pathlib->allpath, sizeof(ZEMU_allpath) * static_cast<size_t>(count));
    pathlib->allpath[0] = allpath;
    pathlib->total_allpath = count + 1;
}

void ZEMU_reverse_pathlib_allpath(ZEMU_pathlib* pathlib) {
    if (pathlib->total_allpath > 1) std::reverse(pathlib->allpath, pathlib->allpath + pathlib->total_allpath);
}

namespace {

// Removes allpath z (0 <= z < total_allpath): later records move down, the
// count drops and the array shrinks. 1 when the shrink fails (the record is
// gone all the same; the array keeps its larger block).
int remove_allpath(ZEMU_pathlib* pathlib, int z) {
    int count = pathlib->total_allpath;
    if (z < count - 1)
        memmove(pathlib->allpath + z, pathlib->allpath + z + 1, sizeof(ZEMU_allpath) * static_cast<size_t>(count - 1 - z));
    pathlib->total_allpath = count - 1;
    return resize_array(&pathlib->allpath, count - 1);
}

}  // namespace

ZEMU_allpath ZEMU_pop_pathlib_allpath(ZEMU_pathlib* pathlib, int z) {
    ZEMU_allpath popped;
    if (z < 0 || z >= pathlib->total_allpath) {
        fprintf(stderr, "Error: Invalid input to ZEMU_pop_pathlib_allpath()\n");
        // Nothing to take out: an empty record (indices -1) and the library unchanged.
        ZEMU_assign_allpath(&popped, -1, -1, -1, -1, -1, -1, 0.0, 0, 0, 0, 0, 0, 0, 0.0, 0.0, 0.0);
        return popped;
    }
    popped = pathlib->allpath[z];
    if (remove_allpath(pathlib, z))
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_pop_pathlib_allpath(). z:%d. total:%d.\n", z,
                pathlib->total_allpath);
    return popped;
}

int ZEMU_delete_pathlib_allpath(ZEMU_pathlib* pathlib, int z) {
    if (z < 0 || z >= pathlib->total_allpath) {
        fprintf(stderr, "Error: Invalid input to ZEMU_delete_pathlib_allpath()\n");
        return 1;
    }
    if (remove_allpath(pathlib, z)) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_delete_pathlib_allpath()\n");
        return 1;
    }
    return 0;
}

int ZEMU_delete_pathlib_path(ZEMU_pathlib* pathlib, int z) {
    if (z < 0 || z >= pathlib->total_path) {
        fprintf(stderr, "Error: Invalid input to ZEMU_delete_pathlib_path()\n");
        return 1;
    }
    int start_type = pathlib->path[z].start_type;
    int end_type = pathlib->path[z].end_type;
    int saddle_type = pathlib->path[z].saddle_type;

    int count = pathlib->total_path;
    if (z < count - 1)
        memmove(pathlib->path + z, pathlib->path + z + 1, sizeof(ZEMU_path) * static_cast<size_t>(count - 1 - z));
    pathlib->total_path = count - 1;
    if (resize_array(&pathlib->path, count - 1)) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_delete_pathlib_path()\n");
        return 1;
    }

    // Every copy of exactly this type triple goes; the others close up in
    // their order, in one pass, and the array shrinks once.
    int total = pathlib->total_allpath > 0 ? pathlib->total_allpath : 0;
    int kept = 0;
    for (int i = 0; i < total; i++) {
        const ZEMU_allpath& ap = pathlib->allpath[i];
        if (ap.start_type == start_type && ap.end_type == end_type && ap.saddle_type == saddle_type) continue;
        if (kept != i) pathlib->allpath[kept] = ap;
        kept++;
    }
    if (kept == total) return 0;
    pathlib->total_allpath = kept;
    if (resize_array(&pathlib->allpath, kept)) {
        fprintf(stderr, "Error: Memory allocation problem in ZEMU_delete_pathlib_allpath()\n");
        return 1;
    }
    return 0;
}

int ZEMU_bubblesort_pathlib(ZEMU_pathlib* pathlib) {
    int n = pathlib->total_path;
    int swapped = 1;
    while (swapped) {
        swapped = 0;
        for (int i = 0; i < n - 1; i++) {
            if (pathlib->path[i].saddle_energy > pathlib->path[i + 1].saddle_energy) {
                ZEMU_path tmp = pathlib->path[i];
                pathlib->path[i] = pathlib->path[i + 1];
                pathlib->path[i + 1] = tmp;
                swapped = 1;
            }
        }
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Distances between grid locations
// ---------------------------------------------------------------------------

double ZEMU_find_loc_distance(ZEMU_cube* cube, ZEMU_cubeloc loc1, ZEMU_cubeloc loc2) {
    return zemu_kernel::metric_length(cube, static_cast<double>(loc1.x - loc2.x) / cube->a_grid,
                                      static_cast<double>(loc1.y - loc2.y) / cube->b_grid,
                                      static_cast<double>(loc1.z - loc2.z) / cube->c_grid);
}

double ZEMU_find_loc_distance_celledge(ZEMU_cube* cube, ZEMU_cubeloc loc) {
    printf("Finding loc distance to celledge \n");
    double best = zemu_kernel::kNoValue;
    printf("%.3f \n", best);

    ZEMU_cubeloc cell = loc;
    if (cube->a_grid > 0) cell.x = zemu_kernel::wrap_onto_grid(loc.x, cube->a_grid);
    if (cube->b_grid > 0) cell.y = zemu_kernel::wrap_onto_grid(loc.y, cube->b_grid);
    if (cube->c_grid > 0) cell.z = zemu_kernel::wrap_onto_grid(loc.z, cube->c_grid);

    ZEMU_cubeloc face = cell;
    face.x = 2 * cell.x > cube->a_grid ? cube->a_grid : 0;
    double d = ZEMU_find_loc_distance(cube, cell, face);
    if (d <= best) best = d;
    printf("%.3f \n", best);

    face = cell;
    face.y = 2 * cell.y > cube->b_grid ? cube->b_grid : 0;
    d = ZEMU_find_loc_distance(cube, cell, face);
    if (d <= best) best = d;
    printf("%.3f \n", best);

    // The c face is chosen by comparing with the a count, not the c count: the
    // distances measured so far were taken that way and must stay comparable
    // (on grids with as many points along a as along c the two agree). The
    // face itself lies at c_grid.
    face = cell;
    face.z = 2 * cell.z > cube->a_grid ? cube->c_grid : 0;
    d = ZEMU_find_loc_distance(cube, cell, face);
    if (d <= best) best = d;
    return best;
}
