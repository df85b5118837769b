// The analysis pipeline driver: owns the run's working objects and calls the
// stages in their fixed order as the run configuration selects them:
//   1. the working objects are initialised;
//   2. the energy scaling is compiled (the ion's default, or an explicit expression);
//   3. the energy ceiling option is stored;
//   4. the energy grid is read and processed;
//   5. the crystal structure is read, the sites are analysed on the grid, and
//      the structure reports are printed;
//   6. the minimum and saddle reports are printed;
//   7. the migration paths, network, activation energies and reaction pathway;
//   8. the VESTA project file;
//   9. the summary file;
//  10. the GUI table;
//  11. the command mode;
//  12. teardown.
// The stages the command mode repeats on restart are shared with it (ZEMU-driver.h).
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "ZEMU.h"
#include "ZEMU-kernel.h"

namespace {

const char kDefaultIon[] = "Na1+";
const char kDefaultIonScaling[] = "0.5695*E^(0.6946)";
const char kIdentityScaling[] = "E";

// Working objects of the analysis stages, released together whichever way the
// stages end. Every member starts zeroed, so the release is safe however early
// they stop.
struct StageObjects {
    ZEMU_asymmetric_unit asym{};
    ZEMU_pathlib pathlib{};
    ZEMU_reaction_pathway_overall rp_all{};

    StageObjects() {
        ZEMU_init_asymmetric_unit(&asym);
        ZEMU_init_pathlib(&pathlib);
    }
    ~StageObjects() {
        // The path library and the reaction pathway may be filled by the command
        // mode even without --path, so they are released on every run.
        ZEMU_free_reaction_pathway(&rp_all);
        ZEMU_free_pathlib(&pathlib);
        ZEMU_free_asymmetric_unit(&asym);
    }
};

// The run's grid and structure, with the stage objects.
struct RunObjects {
    ZEMU_cube cube{};
    ZEMU_cif cif{};
    bool cif_ready = false;
    StageObjects stages;

    ~RunObjects() {
        ZEMU_free_cube(&cube);
        // The structure holds its default operation from initialisation on, so it is
        // released whether or not a structure file was read.
        if (cif_ready) ZEMU_free_cif(&cif);
    }
};

// Standard output sent to /dev/null while the object lives (when asked), and
// restored afterwards; what was printed before is flushed first.
class StdoutSilencer {
public:
    explicit StdoutSilencer(bool on) {
        if (!on) return;
        fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        int null_fd = open("/dev/null", O_WRONLY);
        if (saved_ < 0 || null_fd < 0 || dup2(null_fd, STDOUT_FILENO) < 0) {
            if (null_fd >= 0) close(null_fd);
            if (saved_ >= 0) close(saved_);
            saved_ = -1;
            return;
        }
        close(null_fd);
    }
    ~StdoutSilencer() {
        if (saved_ < 0) return;
        fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }
    StdoutSilencer(const StdoutSilencer&) = delete;
    StdoutSilencer& operator=(const StdoutSilencer&) = delete;

private:
    int saved_ = -1;
};

// Stage 2: the energy scaling, compiled before the grid is read.
int setup_energy_scaling(ZEMU_input* input, ZEMU_cube* cube, ZEMU_cif* cif) {
    if (input->ion) {
        cif->ion = 1;
        memcpy(cif->probe_type, input->ion_type, sizeof cif->probe_type);
        cube->scaling = 1;
        char expr[ZEMU_MAX_EXPRESSION_LENGTH];
        snprintf(expr, sizeof expr, "%s",
                 strncmp(cif->probe_type, kDefaultIon, sizeof cif->probe_type) == 0 ? kDefaultIonScaling
                                                                                   : kIdentityScaling);
        if (ZEMU_parse_energy_scaling(cube, expr)) return 1;
    }
    if (input->scaling) {
        if (cube->scaling) ZEMU_free_RPN(&cube->RPN);
        cube->scaling = 1;
        if (ZEMU_parse_energy_scaling(cube, input->scaling_expression)) return 1;
    }
    return 0;
}

// Stage 5, the site analysis (with both a grid and a structure): grid symmetry,
// asymmetric unit, optional smoothing, the symmetric search, grouping into types
// and the mobile-ion sites.
int analyse_sites(ZEMU_input* input, ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_asymmetric_unit* asym) {
    ZEMU_prepare_fastgen_symop(cif, cube);
    if (ZEMU_find_asymmetric_unit(cube, cif, asym)) return 1;
    if (input->smooth_cube && ZEMU_smooth_cube_with_symmetry(cube, cif, asym)) return 1;
    if (cif->diff_neigh ? ZEMU_find_stationary_points2(cube, cif) : ZEMU_find_stationary_points(cube, cif, asym))
        return 1;
    // The unit is only needed by the search.
    ZEMU_free_asymmetric_unit(asym);
    return ZEMU_group_stationary_points(cube, cif, input->ion);
}

// Stage 5, the structure reports: each on request, results ignored.
void print_structure_reports(ZEMU_input* input, ZEMU_cif* cif) {
    if (input->calc_charge) ZEMU_print_unit_cell_charge(cif);
    if (input->calc_bvsum) ZEMU_print_bv_sum(cif, stdout);
    if (input->calc_gii) ZEMU_print_GII(cif, stdout);
    if (input->check_sub) ZEMU_check_ion_sub(cif, stdout);
    if (input->check_subs) ZEMU_check_ions_sub(cif, stdout);
}

// Stage 7: migration paths, network analysis, activation energies, the reaction
// pathway and (with write_files) the events and pathway files.
int analyse_paths(ZEMU_input* input, ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib,
                  ZEMU_reaction_pathway_overall* rp_all, bool write_files) {
    if (ZEMU_build_path_library(cube, cif, pathlib)) return 1;
    if (input->print_path) ZEMU_print_pathlib(cube, pathlib, stdout);
    if (input->print_perc) ZEMU_analyze_network_at_saddles(cube, pathlib, stdout, ZEMU_NETWORK_MAX_ENERGY);
    ZEMU_calc_activation_energy(cube, pathlib);
    if (input->print_act) {
        ZEMU_print_cif_ICSD(cif, stdout);
        ZEMU_print_activation_energy(pathlib, stdout);
    }
    if (write_files) {
        FILE* events = fopen("ZEMU_events.txt", "w");
        if (events) {
            // Closed here rather than at process exit; the file's content is the same.
            ZEMU_analyze_network_at_saddles(cube, pathlib, events, ZEMU_NETWORK_MAX_ENERGY);
            fclose(events);
        } else {
            fprintf(stderr, "Error: Unable to write to ZEMU_events.txt\n");
        }
    }
    if (ZEMU_build_reaction_pathway(cube, pathlib, rp_all)) return 1;
    // A report file of the run that cannot be written does not stop it.
    if (write_files) ZEMU_write_reaction_pathway(cube, pathlib, rp_all, "Auto-generated reaction pathway done.\n", 0);
    return 0;
}

}  // namespace

// ---------------------------------------------------------------------------
// Stages shared with the command mode
// ---------------------------------------------------------------------------

int ZEMU_group_stationary_points(ZEMU_cube* cube, ZEMU_cif* cif, int assign_ion) {
    if (ZEMU_group_saddle_by_symmetry(cube, cif)) return 1;
    if (ZEMU_group_minima_by_symmetry(cube, cif)) return 1;
    if (assign_ion && ZEMU_assign_ion_to_sites(cube, cif)) return 1;
    ZEMU_assign_interstitial_labels(cube, cif);
    return 0;
}

int ZEMU_build_path_library(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib) {
    pathlib->pathlib = 1;
    if (ZEMU_build_path(cube, cif, pathlib)) return 1;
    if (ZEMU_build_allpaths(cube, cif, pathlib)) return 1;
    return ZEMU_filter_redundant_path(cube, pathlib);
}

int ZEMU_write_reaction_pathway(ZEMU_cube* cube, ZEMU_pathlib* pathlib, ZEMU_reaction_pathway_overall* rp_all,
                                const char* done_line, int strict) {
    zemu_kernel::File fp(fopen("ZEMU_rp.csv", "w"));
    if (!fp) {
        fflush(stdout);  // the error follows what standard output already holds
        fprintf(stderr, "Error: Unable to write to ZEMU_rp.csv\n");
        return strict;
    }
    int failed = ZEMU_print_reaction_pathway(cube, pathlib, rp_all, fp.get());
    fp.close();
    if (strict && failed) return 1;
    fputs(done_line, stdout);
    return 0;
}

// The only report file whose failure ends a run.
int ZEMU_write_summary(ZEMU_cube* cube, ZEMU_pathlib* pathlib) {
    zemu_kernel::File fp(fopen("ZEMU_summary.txt", "w"));
    if (!fp) {
        fflush(stdout);
        fprintf(stderr, "Error: Unable to write to ZEMU_summary.txt\n");
        return 1;
    }
    ZEMU_printminima(cube, fp.get());
    ZEMU_printsaddle(cube, fp.get());
    ZEMU_print_pathlib(cube, pathlib, fp.get());
    ZEMU_analyze_network_at_saddles(cube, pathlib, fp.get(), ZEMU_NETWORK_MAX_ENERGY);
    return 0;
}

int ZEMU(ZEMU_input* input) {
    RunObjects run;
    ZEMU_cube* cube = &run.cube;
    ZEMU_cif* cif = &run.cif;
    StageObjects* stages = &run.stages;

    // 1. Initialise the working objects.
    ZEMU_init_cube(cube);
    if (ZEMU_init_cif(cif)) return 1;
    run.cif_ready = true;
    ZEMU_init_fastgen(cif);

    // 2. Energy scaling: the ion's default, replaced by an explicit expression.
    if (setup_energy_scaling(input, cube, cif)) return 1;

    // 3. Energy ceiling option.
    cube->max_energy_above_gmin = input->max;

    // 4. Energy grid (the reader sets the ceiling).
    if (input->cube) {
        cube->cube = 1;
        if (input->smooth_cube) cube->smooth_cube = 1;
        if (ZEMU_load_cube(input->cube_file, cube)) return 1;
        if (ZEMU_process_cube(cube)) return 1;
    }

    // 5. Crystal structure, the site analysis on the grid, structure reports.
    if (input->cif) {
        cif->cif = 1;
        if (ZEMU_load_cif(input->cif_file, cif)) return 1;
        if (input->cube && analyse_sites(input, cube, cif, &stages->asym)) return 1;
        print_structure_reports(input, cif);
    }

    // 6. Grid reports; without a structure the (empty) lists are grouped all the same.
    if (input->cube) {
        if (!input->cif && ZEMU_group_stationary_points(cube, cif, 0)) return 1;
        if (input->print_minima) ZEMU_printminima(cube, stdout);
        if (input->print_saddle) ZEMU_printsaddle(cube, stdout);
    }

    // 7. Migration paths and everything built on them.
    if (input->path && input->cube && analyse_paths(input, cube, cif, &stages->pathlib, &stages->rp_all, true))
        return 1;

    // 8. VESTA project file (result ignored).
    if (input->vesta) ZEMU_print_vesta_output(cube, cif, &stages->pathlib, input);

    // 9. Summary file.
    if (input->summary && ZEMU_write_summary(cube, &stages->pathlib)) return 1;

    // 10. GUI table.
    if (input->gui && input->path && input->cube && input->cif) ZEMU_print_GUI_output(cube, cif, &stages->pathlib);

    // 11. Command mode.
    if (input->cmd && ZEMU_parse_command_mode_input(cube, cif, &stages->pathlib, &stages->rp_all, input)) return 1;

    // 12. Teardown: the working objects are released when `run` goes out of scope.
    return 0;
}

// ---------------------------------------------------------------------------
// The analysis in memory
// ---------------------------------------------------------------------------

void ZEMU_init_run_options(ZEMU_run_options* options) {
    options->ion_type[0] = '\0';
    options->max = 0.0;
    options->exact_max = 0;
    options->quiet = 1;
    options->write_files = 0;
    options->cube_file[0] = '\0';
}

int ZEMU_run_in_memory(ZEMU_cube* cube, ZEMU_cif* cif, const ZEMU_run_options* options, ZEMU_run_result* result) {
    if (cube == nullptr || cif == nullptr || options == nullptr || result == nullptr || cube->energy == nullptr ||
        cube->a_grid <= 0 || cube->b_grid <= 0 || cube->c_grid <= 0) {
        fprintf(stderr, "Error: Invalid input to ZEMU_run_in_memory()\n");
        return 1;
    }
    memset(result, 0, sizeof *result);
    StdoutSilencer silencer(options->quiet != 0);

    // The configuration of `zemu --cube C --cif S ION --path` (with the files asked for).
    ZEMU_input input;
    ZEMU_init_input(&input);
    input.cube = 1;
    input.cif = 1;
    input.path = 1;
    input.max = options->max;
    if (options->ion_type[0] != '\0') {
        input.ion = 1;
        snprintf(input.ion_type, sizeof input.ion_type, "%s", options->ion_type);
    }
    snprintf(input.cube_file, sizeof input.cube_file, "%s", options->cube_file);
    input.vesta = options->write_files;
    input.summary = options->write_files;

    StageObjects stages;
    ZEMU_init_fastgen(cif);
    if (cube->scaling) ZEMU_free_RPN(&cube->RPN);
    cube->scaling = 0;
    if (setup_energy_scaling(&input, cube, cif)) return 1;
    cube->max_energy_above_gmin = input.max;
    cube->cube = 1;
    ZEMU_refresh_global_minimum(cube);
    if (ZEMU_set_energy_ceiling(cube, options->exact_max)) return 1;
    if (ZEMU_process_cube(cube)) return 1;
    cif->cif = 1;
    if (analyse_sites(&input, cube, cif, &stages.asym)) return 1;
    if (analyse_paths(&input, cube, cif, &stages.pathlib, &stages.rp_all, options->write_files != 0)) return 1;
    if (input.vesta) ZEMU_print_vesta_output(cube, cif, &stages.pathlib, &input);
    if (input.summary && ZEMU_write_summary(cube, &stages.pathlib)) return 1;

    result->grid[0] = cube->a_grid;
    result->grid[1] = cube->b_grid;
    result->grid[2] = cube->c_grid;
    result->minima_types = cube->total_minima_type;
    result->saddle_types = cube->total_saddle_type;
    result->paths = stages.pathlib.total_path;
    const double found[3] = {stages.pathlib.oneD, stages.pathlib.twoD, stages.pathlib.threeD};
    double* out[3] = {&result->e1d, &result->e2d, &result->e3d};
    for (int d = 0; d < 3; d++) {
        // the network gives the bound itself for a dimension that never percolates
        result->percolates[d] = found[d] < ZEMU_NETWORK_MAX_ENERGY;
        *out[d] = result->percolates[d] ? found[d] : 0.0;
    }
    result->ceiling = ZEMU_scale_cube_energy(cube, cube->max_energy);
    return 0;
}
