// Timing of the heavy stages on generated input. Each case is a function that
// prepares its own data, times the stage and prints one line; add cases to
// the table in main.
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU-bvse.h"
#include "ZEMU-screen.h"
#include "ZEMU.h"

namespace {

double seconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Appends v as "%10.6f\n" would print it (|v| < 1000), without printf.
char* put_fixed6(char* out, double v)
{
    char digits[32];
    long long micro = llround(fabs(v) * 1e6);
    bool negative = v < 0 && micro != 0;
    int n = 0;
    for (int d = 0; d < 6; d++, micro /= 10) digits[n++] = static_cast<char>('0' + micro % 10);
    digits[n++] = '.';
    do {
        digits[n++] = static_cast<char>('0' + micro % 10);
        micro /= 10;
    } while (micro > 0);
    if (negative) digits[n++] = '-';
    for (int pad = n; pad < 10; pad++) *out++ = ' ';
    while (n > 0) *out++ = digits[--n];
    *out++ = '\n';
    return out;
}

// Writes an n x n x n cube file in the program's one-value-per-line format:
// a smooth periodic landscape with three wells per axis plus a little ripple.
bool write_landscape_cube(const std::string& path, int n)
{
    FILE* f = fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const double step_bohr = 10.0 / n / 0.529177249;  // a 10 Angstrom cubic cell
    fprintf(f, "Generated landscape\n  Na1+\n    1    0.000000    0.000000    0.000000\n");
    fprintf(f, "%5d %11.6f %11.6f %11.6f\n", n, step_bohr, 0.0, 0.0);
    fprintf(f, "%5d %11.6f %11.6f %11.6f\n", n, 0.0, step_bohr, 0.0);
    fprintf(f, "%5d %11.6f %11.6f %11.6f\n", n, 0.0, 0.0, step_bohr);
    fprintf(f, "   11    0.000000    0.000000    0.000000    0.000000\n");

    std::vector<double> wave(n), ripple(n);
    for (int i = 0; i < n; i++) {
        wave[i] = cos(2.0 * M_PI * 3.0 * i / n);
        ripple[i] = 0.01 * sin(2.0 * M_PI * 17.0 * i / n);
    }
    std::vector<char> buffer(static_cast<size_t>(n) * 11 + 64);
    for (int i = 0; i < n; i++) {
        for (int j = 0; j < n; j++) {
            char* out = buffer.data();
            for (int k = 0; k < n; k++)
                out = put_fixed6(out, -1.5 + 0.4 * (wave[i] + wave[j] + wave[k]) + ripple[i] * ripple[k] * 50.0);
            if (fwrite(buffer.data(), 1, static_cast<size_t>(out - buffer.data()), f) !=
                static_cast<size_t>(out - buffer.data())) {
                fclose(f);
                return false;
            }
        }
    }
    return fclose(f) == 0;
}

std::string temp_path(const char* stem)
{
    const char* dir = getenv("TMPDIR");
    std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/" + stem + "XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    int fd = mkstemp(name.data());
    if (fd < 0) return "";
    close(fd);
    return name.data();
}

// Cube loading and processing as the driver does it with the sodium scaling active.
int bench_load_and_process_cube()
{
    const int n = 200;
    std::string path = temp_path("zemu_bench_cube_");
    if (path.empty()) {
        fprintf(stderr, "bench: cannot create a temporary file\n");
        return 1;
    }
    auto start = std::chrono::steady_clock::now();
    bool written = write_landscape_cube(path, n);
    double generate = seconds_since(start);
    if (!written) {
        fprintf(stderr, "bench: cannot write %s\n", path.c_str());
        remove(path.c_str());
        return 1;
    }

    ZEMU_cube cube;
    ZEMU_init_cube(&cube);
    cube.scaling = 1;
    char expression[] = "0.5695*E^(0.6946)";
    int status = ZEMU_parse_energy_scaling(&cube, expression);
    start = std::chrono::steady_clock::now();
    if (status == 0) status = ZEMU_load_cube(&path[0], &cube);
    if (status == 0) status = ZEMU_process_cube(&cube);
    double elapsed = seconds_since(start);
    remove(path.c_str());
    if (status != 0) {
        fprintf(stderr, "bench: loading the generated cube failed\n");
        ZEMU_free_cube(&cube);
        return 1;
    }
    double points = static_cast<double>(n) * n * n;
    printf("cube load+process %dx%dx%d (scaling 0.5695*E^(0.6946)): %.3f s, %.3g points/s "
           "(file generation %.3f s)\n",
           n, n, n, elapsed, points / elapsed, generate);
    ZEMU_free_cube(&cube);
    return 0;
}

// The scaling expression evaluated once per value of a 200^3 grid, and short
// operation expressions built by the thousand as the symmetry parser does.
int bench_expression_evaluator()
{
    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    char text[] = "0.5695*E^(0.6946)";
    if (ZEMU_RPN_build(text, &rpn) != 0) return 1;
    ZEMU_variable_list vars;
    memset(&vars, 0, sizeof vars);
    const int n = 200 * 200 * 200;
    double sum = 0.0;
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < n; i++) {
        vars.value[4] = i * 1e-6;  // E
        double v = 0.0;
        ZEMU_RPN_read(&rpn, &vars, &v);
        sum += v;
    }
    double read_s = seconds_since(start);
    ZEMU_free_RPN(&rpn);
    start = std::chrono::steady_clock::now();
    for (int i = 0; i < 10000; i++) {
        char symop[] = "-x+1/2";
        ZEMU_RPN_build(symop, &rpn);
        ZEMU_free_RPN(&rpn);
    }
    double build_s = seconds_since(start);
    printf("expression evaluator: %d evaluations %.3f s (checksum %.3f), 10000 builds %.3f s\n", n, read_s, sum,
           build_s);
    return 0;
}

// Writes a structure file with the given operations and one Li1+ site at (t, t, t).
bool write_structure_cif(const std::string& path, double a, double b, double c,
                         const std::vector<std::string>& ops, double t)
{
    FILE* f = fopen(path.c_str(), "w");
    if (f == nullptr) return false;
    fprintf(f, "data_bench\n_cell_length_a %.6f\n_cell_length_b %.6f\n_cell_length_c %.6f\n", a, b, c);
    fprintf(f, "_cell_angle_alpha 90.0\n_cell_angle_beta 90.0\n_cell_angle_gamma 90.0\n");
    fprintf(f, "loop_\n_symmetry_equiv_pos_site_id\n_symmetry_equiv_pos_as_xyz\n");
    for (size_t i = 0; i < ops.size(); i++) fprintf(f, "%zu '%s'\n", i + 1, ops[i].c_str());
    fprintf(f, "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nLi1+ 1\nO2- -2\n");
    fprintf(f, "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_symmetry_multiplicity\n"
               "_atom_site_Wyckoff_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
               "_atom_site_occupancy\n");
    fprintf(f, "Li1 Li1+ 8 i %.6f %.6f %.6f 1.\n", t, t, t);
    fprintf(f, "O1 O2- 1 a 0.000000 0.000000 0.000000 1.\n");
    return fclose(f) == 0;
}

// The 8 sign changes of (x, y, z); with permutations too, the 48 operations of m-3m.
std::vector<std::string> sign_operations(bool permute)
{
    std::vector<std::string> ops;
    const char* axes = "xyz";
    int perms[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {1, 0, 2}, {0, 2, 1}, {2, 1, 0}};
    int nperm = permute ? 6 : 1;
    for (int p = 0; p < nperm; p++)
        for (int s = 0; s < 8; s++) {
            std::string op;
            for (int r = 0; r < 3; r++) {
                if (r) op += ',';
                if (s & (1 << r)) op += '-';
                op += axes[perms[p][r]];
            }
            ops.push_back(op);
        }
    return ops;
}

// Symmetric search, grouping and ion assignment on an n^3 landscape with
// m[0] x m[1] x m[2] wells, invariant under the given operations.
int bench_site_analysis(const char* label, const int m[3], bool cubic)
{
    const int n = 200;
    const double cell[3] = {cubic ? 10.0 : 12.0, 10.0, cubic ? 10.0 : 8.0};
    std::string cif_path = temp_path("zemu_bench_cif_");
    if (cif_path.empty() || !write_structure_cif(cif_path, cell[0], cell[1], cell[2], sign_operations(cubic),
                                                 0.5 / m[0])) {
        fprintf(stderr, "bench: cannot write a structure file\n");
        return 1;
    }
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    ZEMU_init_fastgen(&cif);
    int status = ZEMU_load_cif(&cif_path[0], &cif);
    remove(cif_path.c_str());
    snprintf(cif.probe_type, sizeof cif.probe_type, "Li1+");
    cif.ion = 1;

    ZEMU_cube cube;
    ZEMU_init_cube(&cube);
    cube.a_grid = cube.b_grid = cube.c_grid = n;
    cube.a_x = cell[0] / n;
    cube.b_y = cell[1] / n;
    cube.c_z = cell[2] / n;
    ZEMU_calc_cell_parameter(&cube);
    if (status == 0) status = ZEMU_alloc_cube_energy(&cube);
    if (status != 0) {
        ZEMU_free_cube(&cube);
        ZEMU_free_cif(&cif);
        return 1;
    }
    std::vector<double> f[3];
    for (int axis = 0; axis < 3; axis++) {
        f[axis].resize(n);
        for (int i = 0; i < n; i++) f[axis][i] = cos(2.0 * M_PI * m[axis] * i / n) * (1.0 + 0.1 * axis);
    }
    cube.global_minimum = 9999.9;
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++)
            for (int k = 0; k < n; k++) {
                double e = 0.5 * (f[0][i] + f[1][j] + f[2][k]);
                cube.energy[i][j][k] = e;
                if (e < cube.global_minimum) cube.global_minimum = e;
            }
    cube.max_energy = cube.global_minimum + 5.0;
    ZEMU_process_cube(&cube);

    ZEMU_asymmetric_unit asym;
    ZEMU_init_asymmetric_unit(&asym);
    auto start = std::chrono::steady_clock::now();
    ZEMU_prepare_fastgen_symop(&cif, &cube);
    status = ZEMU_find_asymmetric_unit(&cube, &cif, &asym);
    double t_unit = seconds_since(start);
    if (status == 0)
        status = cif.diff_neigh ? ZEMU_find_stationary_points2(&cube, &cif)
                                : ZEMU_find_stationary_points(&cube, &cif, &asym);
    double t_search = seconds_since(start);
    if (status == 0) status = ZEMU_group_saddle_by_symmetry(&cube, &cif);
    if (status == 0) status = ZEMU_group_minima_by_symmetry(&cube, &cif);
    double t_group = seconds_since(start);
    if (status == 0) status = ZEMU_assign_ion_to_sites(&cube, &cif);
    if (status == 0) ZEMU_assign_interstitial_labels(&cube, &cif);
    double t_all = seconds_since(start);
    if (status == 0)
        printf("site analysis %dx%dx%d, %s (%d operations): %d minima in %d types, %d saddles in %d types; "
               "unit %.3f s, search %.3f s, grouping %.3f s, assignment %.3f s, total %.3f s\n",
               n, n, n, label, cif.symop_no, cube.total_minima, cube.total_minima_type, cube.total_saddle,
               cube.total_saddle_type, t_unit, t_search - t_unit, t_group - t_search, t_all - t_group, t_all);
    ZEMU_free_asymmetric_unit(&asym);
    ZEMU_free_cube(&cube);
    ZEMU_free_cif(&cif);
    return status;
}

int bench_site_analysis_orthorhombic()
{
    const int m[3] = {5, 6, 7};
    return bench_site_analysis("orthorhombic mmm", m, false);
}

int bench_site_analysis_cubic()
{
    const int m[3] = {6, 6, 6};
    return bench_site_analysis("cubic m-3m", m, true);
}

// The whole analysis of a bundled example: loading, site analysis, paths,
// network analysis and activation energies, reaction pathway.
int bench_example_paths(const char* name, const char* ion)
{
    std::string cube_path = std::string(ZEMU_SOURCE_DIR) + "/examples/" + name + "/landscape.cube";
    std::string cif_path = std::string(ZEMU_SOURCE_DIR) + "/examples/" + name + "/structure.cif";
    ZEMU_cube cube;
    ZEMU_cif cif;
    ZEMU_asymmetric_unit asym;
    ZEMU_pathlib pathlib;
    ZEMU_reaction_pathway_overall rp_all = {0, nullptr};
    ZEMU_init_cube(&cube);
    ZEMU_init_cif(&cif);
    ZEMU_init_fastgen(&cif);
    ZEMU_init_asymmetric_unit(&asym);
    ZEMU_init_pathlib(&pathlib);
    cif.ion = 1;
    snprintf(cif.probe_type, sizeof cif.probe_type, "%s", ion);
    cube.scaling = 1;
    char expression[32];
    snprintf(expression, sizeof expression, "%s", strcmp(ion, "Na1+") == 0 ? "0.5695*E^(0.6946)" : "E");
    int status = ZEMU_parse_energy_scaling(&cube, expression);

    auto start = std::chrono::steady_clock::now();
    if (status == 0) status = ZEMU_load_cube(&cube_path[0], &cube);
    if (status == 0) status = ZEMU_process_cube(&cube);
    if (status == 0) status = ZEMU_load_cif(&cif_path[0], &cif);
    double t_load = seconds_since(start);
    if (status == 0) {
        ZEMU_prepare_fastgen_symop(&cif, &cube);
        status = ZEMU_find_asymmetric_unit(&cube, &cif, &asym);
    }
    if (status == 0)
        status = cif.diff_neigh ? ZEMU_find_stationary_points2(&cube, &cif)
                                : ZEMU_find_stationary_points(&cube, &cif, &asym);
    if (status == 0) status = ZEMU_group_saddle_by_symmetry(&cube, &cif);
    if (status == 0) status = ZEMU_group_minima_by_symmetry(&cube, &cif);
    if (status == 0) status = ZEMU_assign_ion_to_sites(&cube, &cif);
    double t_sites = seconds_since(start);
    if (status == 0) status = ZEMU_build_path(&cube, &cif, &pathlib);
    if (status == 0) status = ZEMU_build_allpaths(&cube, &cif, &pathlib);
    if (status == 0) status = ZEMU_filter_redundant_path(&cube, &pathlib);
    double t_paths = seconds_since(start);
    if (status == 0) status = ZEMU_calc_activation_energy(&cube, &pathlib);
    double t_network = seconds_since(start);
    if (status == 0) status = ZEMU_build_reaction_pathway(&cube, &pathlib, &rp_all);
    double t_all = seconds_since(start);
    if (status == 0)
        printf("example %s (%dx%dx%d grid): %d paths, %d copies; load %.3f s, sites %.3f s, paths %.3f s, "
               "activation energies %.3f s, reaction pathway %.3f s, total %.3f s\n",
               name, cube.a_grid, cube.b_grid, cube.c_grid, pathlib.total_path, pathlib.total_allpath, t_load,
               t_sites - t_load, t_paths - t_sites, t_network - t_paths, t_all - t_network, t_all);
    ZEMU_free_reaction_pathway(&rp_all);
    ZEMU_free_pathlib(&pathlib);
    ZEMU_free_asymmetric_unit(&asym);
    ZEMU_free_cube(&cube);
    ZEMU_free_cif(&cif);
    return status;
}

int bench_example_na2uo4() { return bench_example_paths("Na2UO4", "Na1+"); }

// Peak resident memory of this process since the last reset, bytes (0 when unknown).
long long peak_rss_bytes()
{
    FILE* f = fopen("/proc/self/status", "r");
    if (f == nullptr) return 0;
    char line[256];
    long long kb = 0;
    while (fgets(line, sizeof line, f) != nullptr)
        if (strncmp(line, "VmHWM:", 6) == 0) kb = atoll(line + 6);
    fclose(f);
    return kb * 1024;
}

// Resets the peak to the current resident memory; false when the system cannot.
bool reset_peak_rss()
{
    FILE* f = fopen("/proc/self/clear_refs", "w");
    if (f == nullptr) return false;
    bool ok = fputs("5", f) >= 0;
    return fclose(f) == 0 && ok;
}

// The landscape of a structure: best time of five runs with the given threads,
// then, in a child process, the peak memory one run adds (against the grid's own size).
int bench_landscape(const char* name, const std::string& cif_path, const char* ion, int threads, int grid = 0)
{
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    std::string path = cif_path;
    if (ZEMU_load_cif(&path[0], &cif) != 0) return 1;
    ZEMU_bvse_options options;
    ZEMU_init_bvse_options(&options);
    options.threads = threads;
    options.grid[0] = options.grid[1] = options.grid[2] = grid;  // 0: the default rule
    ZEMU_bvse_report report;
    // memory first, in a child whose heap holds no freed grid of an earlier run
    fflush(stdout);
    long long added = -1;
    int pipe_fd[2];
    if (pipe(pipe_fd) == 0) {
        pid_t pid = fork();
        if (pid == 0) {
            close(pipe_fd[0]);
            long long value = -1;
            ZEMU_cube cube;
            ZEMU_init_cube(&cube);
            ZEMU_bvse_report r;
            // a first run touches the code; its freed pages, like those of earlier cases, are given back
            if (ZEMU_bvse_landscape(&cif, ion, &options, &cube, &r) == 0) ZEMU_free_cube(&cube);
            malloc_trim(0);
            if (reset_peak_rss()) {
                long long before = peak_rss_bytes();
                if (ZEMU_bvse_landscape(&cif, ion, &options, &cube, &r) == 0) value = peak_rss_bytes() - before;
            }
            if (write(pipe_fd[1], &value, sizeof value) != sizeof value) _exit(1);
            _exit(0);
        }
        close(pipe_fd[1]);
        if (pid > 0) {
            if (read(pipe_fd[0], &added, sizeof added) != sizeof added) added = -1;
            waitpid(pid, nullptr, 0);
        }
        close(pipe_fd[0]);
    }
    double best = 1e9;
    int status = 0;
    long long kept = 0;
    for (int run = 0; run < 5 && status == 0; run++) {
        ZEMU_cube cube;
        ZEMU_init_cube(&cube);
        auto start = std::chrono::steady_clock::now();
        status = ZEMU_bvse_landscape(&cif, ion, &options, &cube, &report);
        best = std::min(best, seconds_since(start));
        kept = static_cast<long long>(cube.a_grid) * cube.b_grid * cube.c_grid;
        ZEMU_free_cube(&cube);
    }
    if (status != 0) {
        fprintf(stderr, "%s: %s\n", name, report.error.c_str());
        ZEMU_free_cif(&cif);
        return 1;
    }

    printf("landscape %s %s (%dx%dx%d written, %d operations, %lld of %lld points computed), %d thread%s: "
           "%.4f s (best of 5); memory added %.1f MB for a %.1f MB grid\n",
           name, ion, report.grid[0], report.grid[1], report.grid[2], cif.symop_no, report.representatives, kept,
           threads, threads == 1 ? "" : "s", best, added / 1048576.0, kept * 8.0 / 1048576.0);
    ZEMU_free_cif(&cif);
    return 0;
}

int bench_landscape_garnet()
{
    return bench_landscape("garnet", std::string(ZEMU_SOURCE_DIR) + "/tests/data/bvse/garnet.cif", "Ca2+", 1);
}

int bench_landscape_garnet_65()
{
    return bench_landscape("garnet", std::string(ZEMU_SOURCE_DIR) + "/tests/data/bvse/garnet.cif", "Ca2+", 1, 65);
}

int bench_landscape_lifepo4()
{
    return bench_landscape("LiFePO4", std::string(ZEMU_SOURCE_DIR) + "/examples/LiFePO4/structure.cif", "Li1+", 1);
}

int bench_landscape_lifepo4_threads()
{
    return bench_landscape("LiFePO4", std::string(ZEMU_SOURCE_DIR) + "/examples/LiFePO4/structure.cif", "Li1+", 2);
}

// A screening batch as a user runs it: the two bundled structures and the
// grossular garnet, each listed 33 times (99 structures), every structure
// imported, its landscape computed on the default grid and analysed in a worker
// of its own, with one and with two workers.
int bench_screening_batch()
{
    struct Entry {
        std::string file;
        const char* ion;
    };
    const std::string src = ZEMU_SOURCE_DIR;
    const Entry entries[] = {{src + "/examples/LiFePO4/structure.cif", "Li1+"},
                             {src + "/examples/Na2UO4/structure.cif", "Na1+"},
                             {src + "/tests/data/bvse/garnet.cif", "Ca2+"}};
    std::vector<std::string> files;
    for (int n = 0; n < 33; n++)
        for (const Entry& e : entries) files.push_back(e.file);
    ZEMU_screen_job job = [&entries](const std::string& file, ZEMU_screen_row* row) {
        ZEMU_screen_options options;
        ZEMU_init_screen_options(&options);
        for (const Entry& e : entries)
            if (e.file == file) options.ion = e.ion;
        ZEMU_screen_structure(file, options, row);
    };
    double rate[2] = {0.0, 0.0};
    for (int jobs = 1; jobs <= 2; jobs++) {
        ZEMU_screen_options options;
        ZEMU_init_screen_options(&options);
        options.jobs = jobs;
        int ok = 0;
        auto start = std::chrono::steady_clock::now();
        if (ZEMU_screen_run_workers(files, options, job, [&ok](const ZEMU_screen_row& row) { ok += row.status == "ok"; }))
            return 1;
        double t = seconds_since(start);
        if (ok != static_cast<int>(files.size())) return 1;
        rate[jobs - 1] = files.size() / t;
    }
    printf("screening batch, %zu structures (LiFePO4, Na2UO4, garnet; import, landscape, analysis): "
           "%.1f structures/s with -j 1, %.1f with -j 2 (gain %.2f)\n",
           files.size(), rate[0], rate[1], rate[1] / rate[0]);
    return 0;
}

}  // namespace

int main()
{
    struct Case {
        const char* name;
        int (*run)();
    } cases[] = {
        {"expression evaluator", bench_expression_evaluator},
        {"cube load+process", bench_load_and_process_cube},
        {"site analysis, 8 operations", bench_site_analysis_orthorhombic},
        {"site analysis, 48 operations", bench_site_analysis_cubic},
        {"paths of the largest bundled example", bench_example_na2uo4},
        {"landscape of a garnet, 1 thread", bench_landscape_garnet},
        {"landscape of a garnet on 65x65x65, 1 thread", bench_landscape_garnet_65},
        {"landscape of LiFePO4, 1 thread", bench_landscape_lifepo4},
        {"landscape of LiFePO4, 2 threads", bench_landscape_lifepo4_threads},
        {"screening batch", bench_screening_batch},
    };
    int failures = 0;
    for (const Case& c : cases) {
        if (c.run() != 0) {
            fprintf(stderr, "bench case failed: %s\n", c.name);
            failures++;
        }
    }
    return failures == 0 ? 0 : 1;
}
