// Text reports of the path library and of the clusters of one energy
// threshold. Writers only format: every energy is printed in the scaled
// measure, and the callers open and close the streams.
#include "ZEMU-path.h"
#include "ZEMU-network.h"

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
