// GUI table "ZEMU_gui.csv": a machine-readable digest of a run for a graphical
// front end, in six sections each closed by a line "END": minimum types, every
// minimum, saddle types, every saddle point, every path and the activation
// energies. Energies are in the scaled measure; positions are fractional.
#include <cstdio>
#include <cstdlib>

#include "ZEMU.h"
#include "ZEMU-kernel.h"

namespace {

const char* const GUI_FILE = "ZEMU_gui.csv";


// Label text of a minimum type, released when it goes out of scope.
struct MinimaLabel {
    char* text = nullptr;
    ~MinimaLabel() { free(text); }
};

// Fractional position of a minimum: the mean over its plateau. 0, or the
// flood's non-zero result.
int minimum_frac(ZEMU_cube* cube, ZEMU_minima* m, double* fx, double* fy, double* fz)
{
    zemu_kernel::ScopedPlateau plateau;
    int status = ZEMU_find_same_energy_neighbours(cube, plateau.get(), m->x, m->y, m->z);
    if (status != 0 || plateau->total <= 0) return status != 0 ? status : 1;
    double mean[3];
    zemu_kernel::plateau_mean(plateau.get(), cube->a_grid, cube->b_grid, cube->c_grid, mean);
    *fx = mean[0];
    *fy = mean[1];
    *fz = mean[2];
    return 0;
}

// Occupancy of all the mobile-ion sites at a minimum, however small.
double total_occupancy(ZEMU_minima* m)
{
    double occ = 0.0;
    for (int s = 0; s < m->total_ions; s++) occ += m->ion[s].occ;
    return occ;
}

// Occupancy, multiplicity, fractional position and scaled energy of a minimum,
// as the row after its label. 0 or 1 (plateau flood failed).
int print_minimum_row(ZEMU_cube* cube, ZEMU_minima* m, FILE* fpw)
{
    double fx, fy, fz;
    if (minimum_frac(cube, m, &fx, &fy, &fz) != 0) return 1;
    fprintf(fpw, "%.3f,%d,%.3f,%.3f,%.3f,%.3f\n", total_occupancy(m), m->mul, fx, fy, fz,
            ZEMU_scale_cube_energy(cube, m->e));
    return 0;
}

// Section 1: one row per minimum type, from its first member. A type without
// members writes its label alone, with no line end, so that the next label
// follows on the same line.
int print_minimum_types(ZEMU_cube* cube, FILE* fpw)
{
    for (int t = 1; t <= cube->total_minima_type; t++) {
        MinimaLabel label;
        if (ZEMU_label_minima_site(cube, &label.text, t) != 0) return 1;
        fprintf(fpw, "%s,", label.text);
        for (int n = 0; n < cube->total_minima; n++) {
            if (cube->minima[n].type != t) continue;
            if (print_minimum_row(cube, &cube->minima[n], fpw) != 0) return 1;
            break;
        }
    }
    fputs("END\n", fpw);
    return 0;
}

// Section 2: every minimum, type by type in list order.
int print_minima(ZEMU_cube* cube, FILE* fpw)
{
    for (int t = 1; t <= cube->total_minima_type; t++) {
        MinimaLabel label;
        if (ZEMU_label_minima_site(cube, &label.text, t) != 0) return 1;
        for (int n = 0; n < cube->total_minima; n++) {
            if (cube->minima[n].type != t) continue;
            fprintf(fpw, "%s,", label.text);
            if (print_minimum_row(cube, &cube->minima[n], fpw) != 0) return 1;
        }
    }
    fputs("END\n", fpw);
    return 0;
}

// Multiplicity, fractional position (grid indices over counts) and scaled energy
// of a saddle point; the 0 before stands in the occupancy column.
void print_saddle_row(ZEMU_cube* cube, ZEMU_saddle* s, FILE* fpw)
{
    fprintf(fpw, "0,%d,%.3f,%.3f,%.3f,%.3f\n", s->mul, (double)s->x / cube->a_grid, (double)s->y / cube->b_grid,
            (double)s->z / cube->c_grid, ZEMU_scale_cube_energy(cube, s->e));
}

// Section 3: one row per saddle type, from its first member.
void print_saddle_types(ZEMU_cube* cube, FILE* fpw)
{
    for (int t = 1; t <= cube->total_saddle_type; t++) {
        fprintf(fpw, "s%d,", t);
        for (int n = 0; n < cube->total_saddle; n++) {
            if (cube->saddle[n].type != t) continue;
            print_saddle_row(cube, &cube->saddle[n], fpw);
            break;
        }
    }
    fputs("END\n", fpw);
}

// Section 4: every saddle point, type by type in list order.
void print_saddles(ZEMU_cube* cube, FILE* fpw)
{
    for (int t = 1; t <= cube->total_saddle_type; t++) {
        for (int n = 0; n < cube->total_saddle; n++) {
            if (cube->saddle[n].type != t) continue;
            fprintf(fpw, "s%d,", t);
            print_saddle_row(cube, &cube->saddle[n], fpw);
        }
    }
    fputs("END\n", fpw);
}

// Section 5: every path with its barrier, the lower of the two climbs to the
// saddle (the climb from the end when they are equal).
int print_paths(ZEMU_cube* cube, ZEMU_pathlib* pathlib, FILE* fpw)
{
    for (int p = 0; p < pathlib->total_path; p++) {
        ZEMU_path* path = &pathlib->path[p];
        double start = ZEMU_scale_cube_energy(cube, path->start_energy);
        double end = ZEMU_scale_cube_energy(cube, path->end_energy);
        double saddle = ZEMU_scale_cube_energy(cube, path->saddle_energy);
        double from_start = saddle - start, from_end = saddle - end;
        double barrier = from_start < from_end ? from_start : from_end;
        MinimaLabel start_label, end_label;
        if (ZEMU_label_minima_site(cube, &start_label.text, path->start_type) != 0) return 1;
        if (ZEMU_label_minima_site(cube, &end_label.text, path->end_type) != 0) return 1;
        fprintf(fpw, "%s,s%d,%s,%.3f,%.3f,%.3f,%d,%d,%d\n", start_label.text, path->saddle_type, end_label.text,
                barrier, path->straightline_length, path->tortuosity, path->oneD, path->twoD, path->threeD);
    }
    fputs("END\n", fpw);
    return 0;
}

// Section 6: the activation energies of 1-D, 2-D and 3-D migration.
void print_activation_energies(ZEMU_pathlib* pathlib, FILE* fpw)
{
    fprintf(fpw, "1D,%.3f eV\n", pathlib->oneD);
    fprintf(fpw, "2D,%.3f eV\n", pathlib->twoD);
    fprintf(fpw, "3D,%.3f eV\n", pathlib->threeD);
    fputs("END\n", fpw);
}

}  // namespace

int ZEMU_print_GUI_output(ZEMU_cube* cube, ZEMU_cif*, ZEMU_pathlib* pathlib)
{
    FILE* fpw = fopen(GUI_FILE, "w");
    if (fpw == nullptr) {
        fprintf(stderr, "Error: Unable to write to ZEMU_gui.csv\n");
        return 1;
    }
    // On a failed plateau flood the table stays incomplete; the stream is closed
    // all the same so that what was written reaches the file.
    zemu_kernel::File closer(fpw);

    if (print_minimum_types(cube, fpw) != 0) return 1;
    if (print_minima(cube, fpw) != 0) return 1;
    print_saddle_types(cube, fpw);
    print_saddles(cube, fpw);
    if (print_paths(cube, pathlib, fpw) != 0) return 1;
    print_activation_energies(pathlib, fpw);

    fflush(fpw);
    closer.close();
    printf("GUI output done.\n");
    fflush(stdout);
    return 0;
}
