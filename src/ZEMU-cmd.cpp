// Command mode: the read loop, every command's handler and the CIF export
// command with its word splitter (the command table: ZEMU-cmd-table.cpp).
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU-cmd-internal.h"
#include "ZEMU-kernel.h"

namespace zemu_cmd {
namespace {

// Read buffer: at most 999 characters of a line (line end included) per read.
const int kLineSize = 1000;
// Integer arguments are kept within this magnitude, so that index arithmetic
// (neighbours, offsets, wrapping) stays inside int range and loops stay short.
const long kMaxIntArgument = 1000000;
// Most neighbours one "neighbour" query lists.
const int kMaxNeighbours = 1000;
// Bound of the network analysis that considers every saddle (the driver's own).
const double kAllSaddles = ZEMU_NETWORK_MAX_ENERGY;
const double kPi = 3.141592653589793;

const char kNoCube[] = "Error: No CUBE file has been loaded yet.\n";
const char kNoCif[] = "Error: No CIF file has been loaded yet.\n";
const char kNoPathway[] = "Error: Pathway has not been generated.\n";
const char kStalePathlib[] =
    "Error: Path library refers to deleted minima or saddle points. Type restart pathlib to rebuild it.\n";

Words split_words(const char* line) {
    std::string text(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    return zemu_kernel::split_words(text);
}

// Plain decimal conversions: a non-number reads as 0.
int read_int(const std::string& word) {
    long v = strtol(word.c_str(), nullptr, 10);
    if (v > kMaxIntArgument) v = kMaxIntArgument;
    if (v < -kMaxIntArgument) v = -kMaxIntArgument;
    return (int)v;
}

// The first n integer arguments after the command word (the caller checked the count).
void read_ints(const Words& w, int* v, int n) {
    for (int k = 0; k < n; k++) v[k] = read_int(w[(size_t)k + 1]);
}

double read_real(const std::string& word) {
    double v = strtod(word.c_str(), nullptr);
    return std::isfinite(v) ? v : 0.0;
}

// Error lines go to standard error, after what standard output already holds.
void cmd_error(const char* format, ...) {
    fflush(stdout);
    va_list args;
    va_start(args, format);
    vfprintf(stderr, format, args);
    va_end(args);
}

bool has_prefix(const char* line, const char* keyword) { return strncmp(line, keyword, strlen(keyword)) == 0; }

bool have_grid(ZEMU_cube* cube) { return cube->cube && cube->energy != nullptr; }

int grid_count(ZEMU_cube* cube, int axis) { return axis == 1 ? cube->a_grid : axis == 2 ? cube->b_grid : cube->c_grid; }

// Any index into the cell: the remainder keeps the periodic wrap inside the one
// cell step that ZEMU_shift_index handles.
int wrap_index(ZEMU_cube* cube, int p, int axis) { return ZEMU_shift_index(cube, p % grid_count(cube, axis), axis); }

// True when every path and every copy of the library names minima, saddle
// points and types that the grid's lists still hold (deletions and a restart of
// the stationary points leave the library behind until it is rebuilt).
bool pathlib_matches_grid(ZEMU_cube* cube, ZEMU_pathlib* pathlib) {
    auto minimum_ok = [cube](int index, int type) {
        return index >= 0 && index < cube->total_minima && type >= 1 && type <= cube->total_minima_type;
    };
    auto saddle_ok = [cube](int index, int type) {
        return index >= 0 && index < cube->total_saddle && type >= 1 && type <= cube->total_saddle_type;
    };
    for (int i = 0; i < pathlib->total_path; i++) {
        const ZEMU_path& p = pathlib->path[i];
        if (!minimum_ok(p.start, p.start_type) || !minimum_ok(p.end, p.end_type) ||
            !saddle_ok(p.saddle, p.saddle_type))
            return false;
    }
    for (int i = 0; i < pathlib->total_allpath; i++) {
        const ZEMU_allpath& p = pathlib->allpath[i];
        if (!minimum_ok(p.start, p.start_type) || !minimum_ok(p.end, p.end_type) ||
            !saddle_ok(p.saddle, p.saddle_type))
            return false;
    }
    return true;
}

bool need_current_pathlib(Context* ctx) {
    if (pathlib_matches_grid(ctx->cube, ctx->pathlib)) return true;
    cmd_error("%s", kStalePathlib);
    return false;
}

double scaled_energy(ZEMU_cube* cube, int i, int j, int k) {
    return ZEMU_scale_cube_energy(cube, ZEMU_cube_energy(cube, wrap_index(cube, i, 1), wrap_index(cube, j, 2),
                                                         wrap_index(cube, k, 3)));
}

// The command's usage message, for missing or surplus arguments.
void format_error(const Command& command) { cmd_error("Error: Format %s\n", command.usage); }

// Checks the word count of a command: at least `count` words, or (exact) just so many.
bool need_words(const Words& w, size_t count, const Command& command, bool exact = false) {
    if (exact ? w.size() == count : w.size() >= count) return true;
    format_error(command);
    return false;
}

// Nearest grid index of a fractional coordinate, wrapped into the cell.
int nearest_grid_index(double frac, int count) {
    double g = floor(frac * count + 0.5);
    // A coordinate so large that frac * count overflows is a whole number (every
    // double from 2^53 on is), so it lies on the cell origin.
    if (!std::isfinite(g)) return 0;
    g = fmod(g, (double)count);
    if (g < 0.0) g += count;
    return (int)g;
}

// The number after the two words of a "del" command when it lies from 1 to
// last; otherwise (missing, or out of range) 0, after an error naming `what`.
int del_argument(const Words& w, int last, const char* what) {
    int n = w.size() >= 3 ? read_int(w[2]) : 0;
    if (n >= 1 && n <= last) return n;
    cmd_error("Error: %s must be > 0 and <= %d...\n", what, last);
    return 0;
}

}  // namespace

// Checks that a grid is loaded; prints the no-cube error otherwise.
bool need_grid(Context* ctx) {
    if (have_grid(ctx->cube)) return true;
    cmd_error("%s", kNoCube);
    return false;
}

// Checks that a structure is loaded; prints the no-CIF error otherwise.
bool need_structure(Context* ctx) {
    if (ctx->cif->cif) return true;
    cmd_error("%s", kNoCif);
    return false;
}

// ---------------------------------------------------------------------------
// Reports and structure queries
// ---------------------------------------------------------------------------

Result cmd_vesta(Context* ctx, const Command&, const char*, const Words&) {
    ZEMU_print_vesta_output(ctx->cube, ctx->cif, ctx->pathlib, ctx->input);
    return CONTINUE;
}

Result cmd_print_pathlib(Context* ctx, const Command&, const char*, const Words&) {
    if (!ctx->pathlib->pathlib) {
        cmd_error("%s", kNoPathway);
        return CONTINUE;
    }
    if (need_current_pathlib(ctx)) ZEMU_print_pathlib(ctx->cube, ctx->pathlib, stdout);
    return CONTINUE;
}

Result cmd_totalgrid(Context* ctx, const Command&, const char*, const Words&) {
    if (need_grid(ctx))
        printf("Number of grid elements [a,b,c] = [%d,%d,%d]\n", ctx->cube->a_grid, ctx->cube->b_grid,
               ctx->cube->c_grid);
    return CONTINUE;
}

Result cmd_hk(Context*, const Command&, const char*, const Words&) { return CONTINUE; }

Result cmd_diff_neigh(Context* ctx, const Command&, const char*, const Words&) {
    if (ctx->cif->diff_neigh)
        puts("Environment of two symmetrically equivalent grid points (in terms of their 26 neighbours) can be "
             "different.");
    else
        puts("Environment of two symmetrically equivalent grid points (in terms of their 26 neighbours) is "
             "identical.");
    return CONTINUE;
}

Result cmd_charge(Context* ctx, const Command&, const char*, const Words&) {
    if (need_structure(ctx)) ZEMU_print_unit_cell_charge(ctx->cif);
    return CONTINUE;
}

// ---------------------------------------------------------------------------
// Grid queries
// ---------------------------------------------------------------------------

Result cmd_angle(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_words(w, 10, command)) return CONTINUE;
    int v[9];
    read_ints(w, v, 9);
    double rad = ZEMU_angle(ctx->cube, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8]);
    printf("Angle: %0.3f rad (%.3f deg)\n", rad, rad * 180.0 / kPi);
    return CONTINUE;
}

namespace {

// "neighbour minima" and "neighbour saddle": the N nearest points with their images.
Result neighbour_search(Context* ctx, const Command& command, const Words& w, bool minima) {
    if (!need_grid(ctx) || !need_words(w, 6, command)) return CONTINUE;
    ZEMU_cube* cube = ctx->cube;
    int x = wrap_index(cube, read_int(w[2]), 1);
    int y = wrap_index(cube, read_int(w[3]), 2);
    int z = wrap_index(cube, read_int(w[4]), 3);
    int total = read_int(w[5]);
    if (total <= 0) {
        cmd_error("Error: Number of neighbours must be greater than zero.\n");
        return CONTINUE;
    }
    if (total > kMaxNeighbours) {
        cmd_error("Error: Number of neighbours must not exceed %d.\n", kMaxNeighbours);
        return CONTINUE;
    }
    printf(minima ? "Searching for the nearest %d energy minima from (%d,%d,%d) (%.3f,%.3f,%.3f)\n"
                  : "Searching for the nearest %d saddle points from (%d,%d,%d) (%.3f,%.3f,%.3f)\n",
           total, x, y, z, (double)x / cube->a_grid, (double)y / cube->b_grid, (double)z / cube->c_grid);

    ZEMU_nearest_neighbour list;
    if (ZEMU_init_nearest_neighbour(&list, total, x, y, z, 1)) return CONTINUE;
    if (minima)
        ZEMU_get_nearest_minima(cube, &list);
    else
        ZEMU_get_nearest_saddle(cube, &list);
    for (int r = 0; r < list.total; r++) {
        if (list.distance[r] >= zemu_kernel::kNoValue) break;  // fewer points than asked for
        int di = list.i[r] * cube->a_grid, dj = list.j[r] * cube->b_grid, dk = list.k[r] * cube->c_grid;
        if (minima) {
            const ZEMU_minima& m = cube->minima[list.index[r]];
            char* label = nullptr;
            if (m.type >= 1 && m.type <= cube->total_minima_type) ZEMU_label_minima_site(cube, &label, m.type);
            printf("> %d (%s) : (%d,%d,%d) (%.3f,%.3f,%.3f), %.3f Angstrom\n", r + 1, label ? label : "",
                   m.x + di, m.y + dj, m.z + dk, (m.tx + di) / cube->a_grid, (m.ty + dj) / cube->b_grid,
                   (m.tz + dk) / cube->c_grid, list.distance[r]);
            free(label);
        } else {
            const ZEMU_saddle& s = cube->saddle[list.index[r]];
            printf("> %d : (%d,%d,%d) (%.3f,%.3f,%.3f), %.3f Angstrom\n", r + 1, s.x + di, s.y + dj, s.z + dk,
                   (s.tx + di) / cube->a_grid, (s.ty + dj) / cube->b_grid, (s.tz + dk) / cube->c_grid,
                   list.distance[r]);
        }
    }
    ZEMU_free_nearest_neighbour(&list);
    puts("End of search");
    return CONTINUE;
}

}  // namespace

Result cmd_neighbour_minima(Context* ctx, const Command& command, const char*, const Words& w) {
    return neighbour_search(ctx, command, w, true);
}

Result cmd_neighbour_saddle(Context* ctx, const Command& command, const char*, const Words& w) {
    return neighbour_search(ctx, command, w, false);
}

Result cmd_energy_neighbour(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_words(w, 5, command)) return CONTINUE;
    int x = read_int(w[2]), y = read_int(w[3]), z = read_int(w[4]);
    for (int i = x - 1; i <= x + 1; i++)
        for (int j = y - 1; j <= y + 1; j++)
            for (int k = z - 1; k <= z + 1; k++)
                printf("Energy of %d %d %d : %f\n", i, j, k, scaled_energy(ctx->cube, i, j, k));
    return CONTINUE;
}

Result cmd_energy_max(Context* ctx, const Command&, const char*, const Words& w) {
    if (!need_grid(ctx)) return CONTINUE;
    ZEMU_cube* cube = ctx->cube;
    if (w.size() < 3) {
        // The ceiling given at start-up or by this command, else the grid's own one.
        double current = fabs(cube->max_energy_above_gmin) > 1e-10 ? cube->max_energy_above_gmin
                                                                    : ZEMU_scale_cube_energy(cube, cube->max_energy);
        printf("Current maximum energy threshold is %.3f eV.\n", current);
        return CONTINUE;
    }
    double value = read_real(w[2]);
    if (!(value > 0.0)) {
        cmd_error("Error: Energy threshold must be positive...\n");
        return CONTINUE;
    }
    // The inversion below searches upward from 10 eV in steps of 1 eV: the bound of
    // the "all saddles" analysis keeps it short.
    if (value > kAllSaddles) {
        cmd_error("Error: Energy threshold must not exceed %.1f eV...\n", kAllSaddles);
        return CONTINUE;
    }
    cube->max_energy_above_gmin = value;
    cube->max_energy = ZEMU_get_unscaled_from_scaled(cube, value);
    printf("Maximum energy threshold is now changed to %.3f eV.\n", value);
    return CONTINUE;
}

Result cmd_energy(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_words(w, 4, command)) return CONTINUE;
    int x = read_int(w[1]), y = read_int(w[2]), z = read_int(w[3]);
    printf("Energy of %d %d %d : %.6f eV\n", x, y, z, scaled_energy(ctx->cube, x, y, z));
    return CONTINUE;
}

Result cmd_frac(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_words(w, 4, command)) return CONTINUE;
    printf("Fractional coordinates: %f %f %f\n\n", (double)read_int(w[1]) / ctx->cube->a_grid,
           (double)read_int(w[2]) / ctx->cube->b_grid, (double)read_int(w[3]) / ctx->cube->c_grid);
    return CONTINUE;
}

Result cmd_grid(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_words(w, 4, command)) return CONTINUE;
    ZEMU_cube* cube = ctx->cube;
    printf("Grid coordinates: %d %d %d\n\n", nearest_grid_index(read_real(w[1]), cube->a_grid),
           nearest_grid_index(read_real(w[2]), cube->b_grid), nearest_grid_index(read_real(w[3]), cube->c_grid));
    return CONTINUE;
}

Result cmd_index(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_words(w, 4, command)) return CONTINUE;
    ZEMU_cube* cube = ctx->cube;
    int x = read_int(w[1]), y = read_int(w[2]), z = read_int(w[3]);
    int clusters = ZEMU_find_lower_energy_neighbour_cluster(cube, wrap_index(cube, x, 1), wrap_index(cube, y, 2),
                                                            wrap_index(cube, z, 3));
    printf("Number of clusters (of lower energy) around %d %d %d : %d\n", x, y, z, clusters);
    return CONTINUE;
}

Result cmd_distance(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_words(w, 7, command)) return CONTINUE;
    int v[6];
    read_ints(w, v, 6);
    printf("Distance between (%d,%d,%d) and (%d,%d,%d) in Angstrom: %f\n", v[0], v[1], v[2], v[3], v[4], v[5],
           ZEMU_distance_grid(ctx->cube, v[0], v[1], v[2], v[3], v[4], v[5]));
    return CONTINUE;
}

Result cmd_isminimum(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_words(w, 4, command, true)) return CONTINUE;
    ZEMU_cube* cube = ctx->cube;
    int x = read_int(w[1]), y = read_int(w[2]), z = read_int(w[3]);
    if (ZEMU_isin_minima_list(cube, wrap_index(cube, x, 1), wrap_index(cube, y, 2), wrap_index(cube, z, 3)))
        printf("(%d,%d,%d) is an energy minimum\n", x, y, z);
    else
        printf("(%d,%d,%d) is NOT an energy minimum\n", x, y, z);
    return CONTINUE;
}

// ---------------------------------------------------------------------------
// Symmetric copies
// ---------------------------------------------------------------------------

Result cmd_fastgensym(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_structure(ctx) || !need_words(w, 4, command)) return CONTINUE;
    ZEMU_cube* cube = ctx->cube;
    ZEMU_symcopies copies;
    ZEMU_fastgen_sym_copies(ctx->cif, cube, &copies, wrap_index(cube, read_int(w[1]), 1),
                            wrap_index(cube, read_int(w[2]), 2), wrap_index(cube, read_int(w[3]), 3));
    printf("\nTotal symmetrical copies in unit cell: %d\n", copies.total);
    puts("         X     Y     Z");
    for (int n = 0; n < copies.total; n++)
        printf("%3d. %5d %5d %5d\n", n + 1, copies.copy[n].x, copies.copy[n].y, copies.copy[n].z);
    return CONTINUE;
}

Result cmd_gensymf(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_structure(ctx) || !need_words(w, 4, command))
        return CONTINUE;
    ZEMU_equiv_pos equiv;
    equiv.total_copies = 0;
    equiv.copy = nullptr;
    if (ZEMU_symmetry_generate_equivalent_copies(ctx->cif, &equiv, read_real(w[1]), read_real(w[2]),
                                                 read_real(w[3])) == 0) {
        puts("    Frac.x  Frac.y  Frac.z");
        for (int n = 0; n < equiv.total_copies; n++)
            printf("%2d. %.10f  %.10f  %.10f\n", n + 1, equiv.copy[n].a, equiv.copy[n].b, equiv.copy[n].c);
    }
    ZEMU_free_equiv_pos(&equiv);
    return CONTINUE;
}

Result cmd_gensym(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_structure(ctx) || !need_words(w, 4, command))
        return CONTINUE;
    ZEMU_cube* cube = ctx->cube;
    double fx = (double)wrap_index(cube, read_int(w[1]), 1) / cube->a_grid;
    double fy = (double)wrap_index(cube, read_int(w[2]), 2) / cube->b_grid;
    double fz = (double)wrap_index(cube, read_int(w[3]), 3) / cube->c_grid;
    ZEMU_equiv_pos equiv;
    equiv.total_copies = 0;
    equiv.copy = nullptr;
    if (ZEMU_symmetry_generate_equivalent_copies(ctx->cif, &equiv, fx, fy, fz) == 0) {
        printf("\nTotal symmetrical copies in unit cell: %d\n", equiv.total_copies);
        puts("    Grid.x  Grid.y  Grid.z");
        for (int n = 0; n < equiv.total_copies; n++)
            printf("%2d. %5d %5d %5d\n", n + 1, nearest_grid_index(equiv.copy[n].a, cube->a_grid),
                   nearest_grid_index(equiv.copy[n].b, cube->b_grid),
                   nearest_grid_index(equiv.copy[n].c, cube->c_grid));
    }
    ZEMU_free_equiv_pos(&equiv);
    return CONTINUE;
}

// ---------------------------------------------------------------------------
// Network, paths and editing
// ---------------------------------------------------------------------------

Result cmd_network(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_words(w, 2, command, true) || !need_grid(ctx) || !need_current_pathlib(ctx)) return CONTINUE;
    double bound = kAllSaddles;
    // A value at or above the "all saddles" bound acts as "all" (and keeps the inversion short).
    if (w[1] != "all" && read_real(w[1]) < kAllSaddles) bound = ZEMU_get_unscaled_from_scaled(ctx->cube, read_real(w[1]));
    ZEMU_analyze_network_at_saddles(ctx->cube, ctx->pathlib, stdout, bound);
    return CONTINUE;
}

Result cmd_connect(Context* ctx, const Command& command, const char*, const Words& w) {
    zemu_kernel::File fp(fopen("ZEMU_rp_manual.csv", "w"));
    if (!fp) {
        cmd_error("Error: Unable to write to ZEMU_rp_manual.csv\n");
        return CONTINUE;
    }
    if (!need_grid(ctx) || !need_current_pathlib(ctx)) return CONTINUE;
    if (!need_words(w, 2, command)) return CONTINUE;
    ZEMU_pathlib* pathlib = ctx->pathlib;
    ZEMU_connect_list list;
    list.total = 0;
    list.item = nullptr;
    for (size_t n = 1; n < w.size(); n++) {
        int id = read_int(w[n]);
        if (id == 0 || abs(id) > pathlib->total_path) {
            cmd_error("Error: Input path type must be greater than 0 and smaller than %d...\n",
                      pathlib->total_path + 1);
            ZEMU_free_connect_list(&list);
            return CONTINUE;
        }
        if (zemu_kernel::resize_array(&list.item, list.total + 1)) {
            cmd_error("Error: Memory allocation problem\n");
            ZEMU_free_connect_list(&list);
            return FAIL;
        }
        list.item[list.total++] = id;
    }

    ZEMU_grid_path path;
    ZEMU_init_grid_path(&path);
    if (ZEMU_concatenate_path(ctx->cube, pathlib, &path, &list)) {
        ZEMU_free_grid_path(&path);
        ZEMU_free_connect_list(&list);
        return FAIL;
    }
    puts("Constructing user-defined reaction pathway...");
    ZEMU_print_path(ctx->cube, &path, pathlib, fp.get(), 0, 0.0);
    fputs("END\n", fp.get());
    fp.close();
    puts("User-defined reaction pathway successfully written to ZEMU_rp_manual.csv.");
    ZEMU_free_grid_path(&path);
    ZEMU_free_connect_list(&list);
    return CONTINUE;
}

Result cmd_del_pathlib(Context* ctx, const Command&, const char*, const Words& w) {
    ZEMU_pathlib* pathlib = ctx->pathlib;
    int index = del_argument(w, pathlib->total_path, "Path index");
    if (index == 0) return CONTINUE;
    int type = pathlib->path[index - 1].saddle_type;
    if (ZEMU_delete_pathlib_path(pathlib, index - 1) == 0) printf("Deleted path index %d (path type %d)\n", index, type);
    return CONTINUE;
}

Result cmd_del_minimum(Context* ctx, const Command&, const char*, const Words& w) {
    int type = del_argument(w, ctx->cube->total_minima_type, "Minimum type");
    if (type && ZEMU_delete_minima_type(ctx->cube, type) == 0) printf("Deleted minimum type %d\n", type);
    return CONTINUE;
}

Result cmd_del_saddletype(Context* ctx, const Command&, const char*, const Words& w) {
    int type = del_argument(w, ctx->cube->total_saddle_type, "Saddle type");
    if (type && ZEMU_delete_saddle_type(ctx->cube, type) == 0) printf("Deleted saddle type %d\n", type);
    return CONTINUE;
}

Result cmd_isdirectpath(Context* ctx, const Command& command, const char*, const Words& w) {
    if (!need_grid(ctx) || !need_words(w, 7, command, true) || !need_current_pathlib(ctx)) return CONTINUE;
    int v[6];
    read_ints(w, v, 6);
    int direct = ZEMU_is_direct_path_between_minima(ctx->cube, ctx->pathlib, v[0], v[1], v[2], v[3], v[4], v[5]);
    if (direct == 1)
        printf("There is direct path between (%d,%d,%d) and (%d,%d,%d)\n", v[0], v[1], v[2], v[3], v[4], v[5]);
    else if (direct == 0)
        printf("There is NO direct path between (%d,%d,%d) and (%d,%d,%d)\n", v[0], v[1], v[2], v[3], v[4], v[5]);
    return CONTINUE;
}

// ---------------------------------------------------------------------------
// Exports
// ---------------------------------------------------------------------------

Result cmd_export_cif(Context* ctx, const Command&, const char* line, const Words&) {
    if (!need_structure(ctx)) return CONTINUE;
    char copy[kLineSize];
    snprintf(copy, sizeof copy, "%s", line);
    // A failed P1 expansion has already been reported; the command mode goes on.
    ZEMU_cmd_export_cif(copy, ctx->cube, ctx->cif);
    return CONTINUE;
}

Result cmd_slice_plane(Context* ctx, const Command& command, const char*, const Words& w) {
    if (w.size() < 4) return CONTINUE;
    char axis = w[2][0];
    if (axis != 'x' && axis != 'y' && axis != 'z') {
        format_error(command);
        return CONTINUE;
    }
    if (!need_grid(ctx)) return CONTINUE;
    ZEMU_cube* cube = ctx->cube;
    int plane = read_int(w[3]);
    int axis_no = axis - 'x' + 1;
    if (plane < 0 || plane >= grid_count(cube, axis_no)) {
        cmd_error("Error: Input plane is out of unit cell\n");
        return CONTINUE;
    }
    FILE* fp = fopen("plane.csv", "w");
    if (!fp) {
        cmd_error("Error: Unable to write to plane.csv\n");
        return CONTINUE;
    }
    // Rows over the first remaining axis, values over the second.
    int rows = axis == 'x' ? cube->b_grid : cube->a_grid;
    int values = axis == 'z' ? cube->b_grid : cube->c_grid;
    for (int r = 0; r < rows; r++) {
        for (int v = 0; v < values; v++) {
            double e = axis == 'x' ? cube->energy[plane][r][v]
                                   : axis == 'y' ? cube->energy[r][plane][v] : cube->energy[r][v][plane];
            fprintf(fp, "%f,", ZEMU_scale_cube_energy(cube, e));
        }
        fputc('\n', fp);
    }
    fclose(fp);
    printf("Successfully exported plane %c = %d to plane.csv.\n", axis, plane);
    return CONTINUE;
}

// ---------------------------------------------------------------------------
// Restart
// ---------------------------------------------------------------------------

namespace {

// The restart stages, in their fixed order, each through the driver's own stage.

// The stationary point lists are released and regrouped as they stand (the
// search is not run again). Without a structure there is nothing to group by.
int restart_stationary_points(Context* ctx) {
    if (!need_grid(ctx)) return 1;
    puts("> Reconstructing the stationary points...");
    ZEMU_free_cube_stationary_points(ctx->cube);
    if (!ctx->cif->cif) return 0;
    return ZEMU_group_stationary_points(ctx->cube, ctx->cif, ctx->cif->ion);
}

int restart_pathlib(Context* ctx) {
    if (!need_grid(ctx)) return 1;
    puts("> Reconstructing the pathway library...");
    ZEMU_free_pathlib(ctx->pathlib);
    return ZEMU_build_path_library(ctx->cube, ctx->cif, ctx->pathlib);
}

// Unlike the driver's run, a pathway file that cannot be written stops the
// restart (strict), so that the summary is not rewritten over a stale pathway;
// the done line is indented as the other restart messages.
int restart_reaction_pathway(Context* ctx) {
    if (!need_grid(ctx) || !need_current_pathlib(ctx)) return 1;
    puts("> Reconstructing the reaction pathway...");
    ZEMU_free_reaction_pathway(ctx->rp_all);
    if (ZEMU_build_reaction_pathway(ctx->cube, ctx->pathlib, ctx->rp_all)) return 1;
    return ZEMU_write_reaction_pathway(ctx->cube, ctx->pathlib, ctx->rp_all, "> Auto-generated reaction pathway done.\n",
                                       1);
}

}  // namespace

Result cmd_restart(Context* ctx, const Command&, const char*, const Words& w) {
    bool cube = false, pathlib = false, reacpath = false;
    for (size_t n = 1; n < w.size(); n++) {
        if (w[n].compare(0, 4, "cube") == 0) cube = true;
        if (w[n].compare(0, 7, "pathlib") == 0) pathlib = true;
        if (w[n].compare(0, 8, "reacpath") == 0) reacpath = true;
    }
    puts("Restarting the pathway analysis...");
    if (cube && restart_stationary_points(ctx)) return CONTINUE;
    if (pathlib && restart_pathlib(ctx)) return CONTINUE;
    if (reacpath && restart_reaction_pathway(ctx)) return CONTINUE;
    if (ctx->input->summary && (!need_current_pathlib(ctx) || ZEMU_write_summary(ctx->cube, ctx->pathlib)))
        return CONTINUE;
    // A GUI table that cannot be written does not stop the restart.
    if (ctx->input->gui && need_current_pathlib(ctx)) ZEMU_print_GUI_output(ctx->cube, ctx->cif, ctx->pathlib);
    puts("Finished restarting.");
    return CONTINUE;
}

Result cmd_end(Context*, const Command&, const char*, const Words&) { return END; }

}  // namespace zemu_cmd

using namespace zemu_cmd;

int ZEMU_parse_command_mode_input(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib,
                                  ZEMU_reaction_pathway_overall* rp_all, ZEMU_input* input) {
    Context ctx = {cube, cif, pathlib, rp_all, input};
    puts("\nEnter your command: (type end to exit, or help for a list of available commands)");
    fflush(stdout);

    char line[kLineSize];
    // The end of the input (a closed standard input) leaves as "end" does.
    while (fgets(line, sizeof line, stdin)) {
        if (ZEMU_cmd_help(line)) continue;
        const Command* command = find_command(line);
        Result result = command ? command->run(&ctx, *command, line, split_words(line)) : CONTINUE;
        if (result == FAIL) return 1;
        if (result == END) break;
        fflush(stdout);
    }
    puts("Exit command mode...");
    fflush(stdout);
    return 0;
}

// ---------------------------------------------------------------------------
// CIF export command: options, private copy and output stream of one export
// ---------------------------------------------------------------------------

namespace {

// Largest supercell (in unit cells) the export builds; a bound of this command.
const long long kMaxSupercellCells = 1000;

const char kInvalidExport[] =
    "Error: Invalid input to export cif. Please check 'help export cif' for more information.\n";

enum TokenState { IDLE, IN_DQUOTE, IN_SUBSTRING };

// Options of one export.
struct ExportOptions {
    int exp_P1 = 0;
    int exp_ins = 0;
    int exp_sad = 0;
    int exp_file = 0;
    int exp_super = 0;
    int exp_update_coor = 0;
    int exp_update_label = 0;
    int x = 0, y = 0, z = 0;  // supercell repetitions along a, b, c
};

// The stream and the private copy of one export, released together.
// An export that ends without writing the structure (refused or failed) removes
// the files it opened, so that no empty file is left behind.
struct ExportState {
    ZEMU_cif copy;
    bool have_copy = false;
    FILE* out = nullptr;
    std::vector<std::string> opened;  // every file opened by this export
    bool written = false;             // the structure went to the last one

    ~ExportState() {
        if (out) fclose(out);
        if (!written)
            for (const std::string& name : opened) remove(name.c_str());
        if (have_copy) ZEMU_free_cif(&copy);
        fflush(stdout);
    }
};

// Opens an output file, replacing (and closing) a stream opened before; 0 or 1.
int open_output(ExportState* st, const char* name) {
    if (st->out) fclose(st->out);
    st->out = fopen(name, "w");
    if (!st->out) {
        cmd_error("Error: Unable to write to %s\n", name);
        return 1;
    }
    st->opened.push_back(name);
    return 0;
}

// Builds the supercell into the state's copy from a fresh copy of the command
// mode's structure, so that neither the earlier options nor the supercell
// builder's own edits (split oxidation states) touch the structure held. 0 or 1.
int build_export_supercell(ExportState* st, ZEMU_cif* cif, ExportOptions* opt) {
    ZEMU_free_cif(&st->copy);
    if ((long long)opt->x * opt->y * opt->z > kMaxSupercellCells) {
        cmd_error("Error: Invalid supercell dimension\n");
        return 1;
    }
    ZEMU_cif source;
    if (ZEMU_copy_cif(cif, &source)) return 1;
    int result = ZEMU_build_supercell(&source, &st->copy, opt->x, opt->y, opt->z);
    ZEMU_free_cif(&source);
    return result;
}

// Reads the options of one export from its words, opening each "-o" file as it
// comes; false when the export is refused (reported).
bool read_export_options(char** words, size_t total, ExportState* st, ExportOptions* opt) {
    for (size_t i = 0; i < total; i++) {
        const char* w = words[i];
        if (has_prefix(w, "P1")) {
            opt->exp_P1 = 1;
        } else if (has_prefix(w, "ins")) {
            opt->exp_ins = 1;
        } else if (has_prefix(w, "sad")) {
            opt->exp_sad = 1;
        } else if (has_prefix(w, "updatecoor")) {
            opt->exp_update_coor = 1;
        } else if (has_prefix(w, "updatelabel")) {
            opt->exp_update_label = 1;
        } else if (has_prefix(w, "-o")) {
            if (i + 1 >= total) {
                cmd_error("%s", kInvalidExport);
                return false;
            }
            if (open_output(st, words[i + 1])) return false;
            printf("> Exporting to %s\n", words[i + 1]);
            opt->exp_file = 1;
            i++;
        } else if (has_prefix(w, "supercell")) {
            if (i + 3 >= total) {
                cmd_error("%s", kInvalidExport);
                return false;
            }
            opt->x = read_int(words[i + 1]);
            opt->y = read_int(words[i + 2]);
            opt->z = read_int(words[i + 3]);
            opt->exp_super = 1;
            i += 3;
        }
    }
    return true;
}

// What preparing the export's copy came to.
enum ExportCopy { COPY_READY, COPY_P1_FAILED, COPY_STOPPED };

// Applies the options to the export's copy in their fixed order.
ExportCopy prepare_export_copy(ZEMU_cube* cube, ZEMU_cif* cif, ExportState* st, ExportOptions* opt) {
    // Mobile-ion sites onto the minima (labels take precedence over coordinates).
    if (opt->exp_update_label || opt->exp_update_coor) {
        puts(opt->exp_update_label ? "> Updating mobile ion site coordinates and labels..."
                                   : "> Updating mobile ion site coordinates...");
        if (ZEMU_remove_all_cif_site_by_type(&st->copy, st->copy.probe_type)) return COPY_STOPPED;
        ZEMU_add_interstitial_to_cif(cube, &st->copy, opt->exp_update_label ? 3 : 2);
    }
    if (opt->exp_ins) {
        puts("> Adding interstitial sites into CIF...");
        ZEMU_add_interstitial_to_cif(cube, &st->copy, 1);
    }
    if (opt->exp_sad) {
        puts("> Adding saddle points into CIF...");
        ZEMU_add_saddle_to_cif(cube, &st->copy);
    }
    if (opt->exp_P1) {
        puts("> Converting to P1 symmetry...");
        if (ZEMU_remove_cif_symmetry(&st->copy)) return COPY_P1_FAILED;
    }
    if (opt->exp_super) {
        printf("> Building supercell %d x %d x %d\n", opt->x, opt->y, opt->z);
        // A supercell that cannot be built is not written.
        if (build_export_supercell(st, cif, opt)) return COPY_STOPPED;
    }
    return COPY_READY;
}

}  // namespace


// ---------------------------------------------------------------------------
// Word splitter and CIF export command
// ---------------------------------------------------------------------------

size_t ZEMU_tokenize_string(char* string, char** argv, size_t argv_size) {
    size_t count = 0;
    TokenState state = IDLE;
    char* word = nullptr;
    for (char* p = string; *p != '\0' && count < argv_size; p++) {
        switch (state) {
        case IDLE:
            if (isspace((unsigned char)*p)) break;
            if (*p == '"') {
                state = IN_DQUOTE;
                word = p + 1;
            } else {
                state = IN_SUBSTRING;
                word = p;
            }
            break;
        case IN_DQUOTE:
            if (*p == '"') {
                *p = '\0';
                argv[count++] = word;
                state = IDLE;
            }
            break;
        case IN_SUBSTRING:
            if (isspace((unsigned char)*p)) {
                *p = '\0';
                argv[count++] = word;
                state = IDLE;
            }
            break;
        }
    }
    // A word still open at the end of the string (an unclosed quote too) counts.
    if (state != IDLE && count < argv_size) argv[count++] = word;
    return count;
}

int ZEMU_cmd_export_cif(char* cmd, ZEMU_cube* cube, ZEMU_cif* cif) {
    ExportState st;
    if (ZEMU_copy_cif(cif, &st.copy)) return 0;
    st.have_copy = true;

    char line[kLineSize];
    snprintf(line, sizeof line, "%s", cmd);
    char* words[ZEMU_CMD_EXPORT_MAX_WORDS];
    size_t total = ZEMU_tokenize_string(line, words, ZEMU_CMD_EXPORT_MAX_WORDS);
    puts("Exporting to CIF file...");

    ExportOptions opt;
    if (!read_export_options(words, total, &st, &opt)) return 0;
    if (!opt.exp_file) {
        puts("> No file output specified... writing to ZEMU.cif instead");
        if (open_output(&st, "ZEMU.cif")) return 0;
    }
    // The stream and the copy are released on every path, the files of an
    // export not written removed.
    ExportCopy prepared = prepare_export_copy(cube, cif, &st, &opt);
    if (prepared != COPY_READY) return prepared == COPY_P1_FAILED ? 1 : 0;
    ZEMU_write_cif(&st.copy, st.out);
    st.written = true;
    puts("Finished exporting.");
    return 0;
}
