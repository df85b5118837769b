// Text reports of the path library and of the clusters of one energy
// threshold, and the reaction pathway file. Writers only format: every energy is printed in the scaled
// measure, and the callers open and close the streams.
#include "ZEMU-path.h"
#include "ZEMU-network.h"
#include "ZEMU-rp.h"
#include "ZEMU-kernel.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr double kZero = 1e-10;  // plane-normal components and energies this small count as zero

// Site label of a minimum type; empty when it cannot be had.
std::string minimum_type_label(ZEMU_cube* cube, int type) {
    char* text = nullptr;
    if (ZEMU_label_minima_site(cube, &text, type) != 0 || text == nullptr) return std::string();
    std::string label(text);
    free(text);
    return label;
}

// Type of minimum m, 0 for an index outside the list.
int minimum_type(ZEMU_cube* cube, int m) {
    return m >= 0 && m < cube->total_minima ? cube->minima[m].type : 0;
}

// Type of saddle point s, 0 for an index outside the list.
int saddle_type(ZEMU_cube* cube, int s) {
    return s >= 0 && s < cube->total_saddle ? cube->saddle[s].type : 0;
}

// " : Plane (h,k,l)" of the plane spanned by p and q: the normal in reciprocal
// cell units, turned so that positive components are not outnumbered, rounded
// to whole numbers.
void print_plane(ZEMU_cube* cube, const ZEMU_path_triple_index& p, const ZEMU_path_triple_index& q, FILE* print) {
    double hkl[3];
    hkl[0] = (static_cast<double>(p.y) * q.z - static_cast<double>(q.y) * p.z) / cube->b_grid / cube->c_grid;
    hkl[1] = (static_cast<double>(p.z) * q.x - static_cast<double>(q.z) * p.x) / cube->a_grid / cube->c_grid;
    hkl[2] = (static_cast<double>(p.x) * q.y - static_cast<double>(q.x) * p.y) / cube->a_grid / cube->b_grid;
    int negative = 0, positive = 0;
    for (double c : hkl) {
        if (fabs(c) > kZero) {
            if (c < 0) negative++;
            else positive++;
        }
    }
    for (double& c : hkl) {
        if (negative > positive) c = -c;
        if (fabs(c) < kZero) c = 0.0;
        c = round(c);
    }
    fprintf(print, " : Plane (%.0f,%.0f,%.0f)\r\n", hkl[0], hkl[1], hkl[2]);
}

void print_cluster(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster* clust, FILE* print) {
    if (clust->dimension > 0) {
        fprintf(print, "> Percolating (%dD)", clust->dimension);
        if (clust->ribbon) fputs("(ribbon)", print);
        if (clust->dimension == 1) {
            fputs(" : Vector", print);
            for (int v = 0; v < 3; v++) {
                const ZEMU_path_triple_index& vec = clust->vector[v];
                if (vec.x == 0 && vec.y == 0 && vec.z == 0) continue;
                fprintf(print, " [%.0f,%.0f,%.0f]", static_cast<double>(vec.x) / cube->a_grid,
                        static_cast<double>(vec.y) / cube->b_grid, static_cast<double>(vec.z) / cube->c_grid);
            }
            fputs("\r\n", print);
        } else if (clust->dimension == 2) {
            print_plane(cube, clust->vector[0], clust->vector[1], print);
        } else {
            fputs("\r\n", print);
        }
    }
    fprintf(print, "> Multiplicity : %d\r\n", clust->mul);
    fprintf(print, "> Cluster energy minimum : %.3f", ZEMU_scale_cube_energy(cube, clust->minimum));
    if (fabs(clust->minimum - cube->global_minimum) < kZero) fputs(" (global energy minimum)", print);
    fputs("\r\n", print);
    fprintf(print, "> Cluster energy maximum : %.3f\r\n", ZEMU_scale_cube_energy(cube, clust->maximum));
    fputs("> Site hops :\r\n", print);
    for (int i = 0; i < clust->total_path; i++) {
        int p = clust->path[i];
        if (p < 0 || p >= pathlib->total_path) continue;
        ZEMU_path* path = &pathlib->path[p];
        fprintf(print, "  (%d) %s (%.3f eV) to ", i + 1, minimum_type_label(cube, path->start_type).c_str(),
                ZEMU_scale_cube_energy(cube, path->start_energy));
        fprintf(print, "%s (%.3f eV) via s%d (%.3f eV)\r\n", minimum_type_label(cube, path->end_type).c_str(),
                ZEMU_scale_cube_energy(cube, path->end_energy), path->saddle_type,
                ZEMU_scale_cube_energy(cube, path->saddle_energy));
    }
    fputs("\r\n", print);
}

}  // namespace

void ZEMU_print_pathlib(ZEMU_cube* cube, ZEMU_pathlib* pathlib, FILE* print) {
    fputs("-----------------------------------------------------------------\r\n", print);
    fputs("                 Summary of minimum energy paths                 \r\n", print);
    fputs("-----------------------------------------------------------------\r\n\r\n", print);

    for (int i = 0; i < pathlib->total_path; i++) {
        ZEMU_path* path = &pathlib->path[i];
        fprintf(print, "> Path %d : %s (%.3f eV) to %s (%.3f eV) via s%d (%.3f eV)\r\n", i + 1,
                minimum_type_label(cube, path->start_type).c_str(), ZEMU_scale_cube_energy(cube, path->start_energy),
                minimum_type_label(cube, path->end_type).c_str(), ZEMU_scale_cube_energy(cube, path->end_energy),
                path->saddle_type, ZEMU_scale_cube_energy(cube, path->saddle_energy));
        // The plot attributes double as dimension and redundancy captions, with bare line feeds (kept so).
        fprintf(print, ">> Dimension: %d\n", path->color);
        fprintf(print, ">> Redundancy: %d\n", path->style);
    }

    fprintf(print, "\nListing all %d paths (including equivalent ones)...\n", pathlib->total_allpath);
    for (int i = 0; i < pathlib->total_allpath; i++) {
        ZEMU_allpath* ap = &pathlib->allpath[i];
        fprintf(print, "> %s (%.3f eV) to %s (%.3f eV) via s%d (%.3f eV)\n",
                minimum_type_label(cube, minimum_type(cube, ap->start)).c_str(),
                ZEMU_scale_cube_energy(cube, ap->start_energy),
                minimum_type_label(cube, minimum_type(cube, ap->end)).c_str(),
                ZEMU_scale_cube_energy(cube, ap->end_energy), saddle_type(cube, ap->saddle),
                ZEMU_scale_cube_energy(cube, ap->saddle_energy));
        fprintf(print, ">> Internal: boundary cross (%d,%d,%d); minima indices (%d,%d) saddle index (%d)\n",
                ap->end_crossx - ap->start_crossx, ap->end_crossy - ap->start_crossy,
                ap->end_crossz - ap->start_crossz, ap->start, ap->end, ap->saddle);
    }

    // The console gets its own line feed whatever the stream (kept so).
    fputs("\n", stdout);
    fputs("\r\n", print);
    fflush(print);
}

void ZEMU_print_clustlist(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_cluster_list* clustlist, FILE* print) {
    fprintf(print, "\r\nTotal symmetrically distinct clusters: %d\r\n", clustlist->total);
    for (int c = 0; c < clustlist->total && clustlist->clust != nullptr; c++) {
        fprintf(print, "\r\nCluster %d:\r\n", c + 1);
        print_cluster(cube, pathlib, &clustlist->clust[c], print);
    }
}

void ZEMU_print_activation_energy(ZEMU_pathlib* pathlib, FILE* fpw) {
    fprintf(fpw, "1D activation energy: %.6f eV\n", pathlib->oneD);
    fprintf(fpw, "2D activation energy: %.6f eV\n", pathlib->twoD);
    fprintf(fpw, "3D activation energy: %.6f eV\n", pathlib->threeD);
}

void ZEMU_printf_path(ZEMU_pathlib* pathlib, int pathindex) {
    // An index outside the library has no start minimum to show.
    if (pathindex < 0 || pathindex >= pathlib->total_path) return;
    printf("Printing path %d: %d \n", pathindex, pathlib->path[pathindex].start);
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
