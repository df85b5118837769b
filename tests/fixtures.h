// Fixtures shared by the tests: output capture, working directories, grids,
// structures and graphs built in memory, the synthetic landscapes with their
// report frames, and the command-mode session.
#ifndef ZEMU_TESTS_FIXTURES_H
#define ZEMU_TESTS_FIXTURES_H

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ZEMU.h"
#include "e2e_util.h"

namespace fx {


inline char* txt(const char* s) { return const_cast<char*>(s); }

// What f writes to standard error / standard output / a temporary stream.
template <class F>
std::string stderr_of(F f) {
    testing::internal::CaptureStderr();
    f();
    return testing::internal::GetCapturedStderr();
}
template <class F>
std::string stdout_of(F f) {
    testing::internal::CaptureStdout();
    f();
    return testing::internal::GetCapturedStdout();
}
template <class F>
std::string written(F write) {
    FILE* fp = tmpfile();
    if (!fp) return "<no tmpfile>";
    write(fp);
    std::string s;
    rewind(fp);
    for (int ch; (ch = fgetc(fp)) != EOF;) s += (char)ch;
    fclose(fp);
    return s;
}

// Lines of a text without their '\n' (a '\r' before it stays); a last line
// without a line end is kept as it is.
inline std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (size_t begin = 0; begin < text.size();) {
        size_t end = text.find('\n', begin);
        if (end == std::string::npos) end = text.size();
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

// The enclosing scope runs in a fresh working directory whose bin/ is the
// project's, holds one given file, or is absent.
class InDir {
public:
    explicit InDir(bool project_bin = false) : dir(project_bin) { enter(); }
    InDir(const std::string& bin_file, const std::string& text) : dir(false) {
        mkdir(dir.file("bin").c_str(), 0755);
        dir.write("bin/" + bin_file, text);
        enter();
    }
    ~InDir() {
        if (chdir(old_.c_str()) != 0) ADD_FAILURE() << "cannot return to " << old_;
    }
    InDir(const InDir&) = delete;
    InDir& operator=(const InDir&) = delete;
    zemu_test::WorkDir dir;

private:
    void enter() {
        char buf[4096];
        old_ = getcwd(buf, sizeof buf) ? buf : ".";
        if (chdir(dir.path().c_str()) != 0) ADD_FAILURE() << "cannot enter " << dir.path();
    }
    std::string old_;
};

// A structure record with a cell (a cube of 10 Angstrom unless given) and the
// given operations, released at the end of the test.
struct Cif {
    ZEMU_cif cif;

    explicit Cif(const std::vector<std::string>& ops = {"x,y,z"},
                 const std::vector<double>& cell = {10, 10, 10, 90, 90, 90}) {
        ZEMU_init_cif(&cif);
        ZEMU_init_fastgen(&cif);
        cif.a = cell[0], cif.b = cell[1], cif.c = cell[2];
        cif.alpha = cell[3], cif.beta = cell[4], cif.gamma = cell[5];
        ZEMU_is_valid_lattice_parameters(&cif);
        ZEMU_calc_cif_d_parameters(&cif);
        set_ops(ops);
    }
    ~Cif() { ZEMU_free_cif(&cif); }
    Cif(const Cif&) = delete;
    Cif& operator=(const Cif&) = delete;

    void set_ops(const std::vector<std::string>& ops) {
        ZEMU_free_cif_symop(&cif);
        cif.symop_no = (int)ops.size();
        ZEMU_alloc_cif_symop(&cif);
        for (size_t k = 0; k < ops.size(); k++) snprintf(cif.symop[k], ZEMU_CIF_SYMOP_SIZE, "%s", ops[k].c_str());
    }
    void type(const char* label, double ox) {
        EXPECT_EQ(ZEMU_add_cif_type(&cif, txt(label), ox, &cif.type_flag_counter), 0);
    }
    void site(const char* label, const char* type, double x, double y, double z, int mul = 1, double occ = 1.0,
              double ox = 0.0, char wyckoff = 'a') {
        EXPECT_EQ(ZEMU_add_cif_site(&cif, txt(label), txt(type), x, y, z, mul, wyckoff, occ, ox), 0);
    }
    ZEMU_site& operator[](int i) { return cif.site[i]; }
    std::vector<std::string> ops() const {
        std::vector<std::string> out;
        for (int k = 0; k < cif.symop_no; k++) out.emplace_back(cif.symop[k]);
        return out;
    }
    std::vector<std::string> types() const {
        std::vector<std::string> out;
        for (int t = 0; t < cif.type_no; t++) out.emplace_back(cif.type[t].label);
        return out;
    }
};

// An na x nb x nc grid with orthogonal voxel steps, every energy set to `fill`,
// energy ceiling 5 above a global minimum of 0.
struct Grid {
    ZEMU_cube cube;

    Grid(int na, int nb, int nc, double fill = 10.0, double step = 0.5) {
        ZEMU_init_cube(&cube);
        cube.a_grid = na, cube.b_grid = nb, cube.c_grid = nc;
        cube.a_x = cube.b_y = cube.c_z = step;
        ZEMU_calc_cell_parameter(&cube);
        EXPECT_EQ(ZEMU_alloc_cube_energy(&cube), 0);
        for (int i = 0; i < na; i++)
            for (int j = 0; j < nb; j++)
                for (int k = 0; k < nc; k++) cube.energy[i][j][k] = fill;
        cube.max_energy = 5.0;
    }
    ~Grid() { ZEMU_free_cube(&cube); }
    Grid(const Grid&) = delete;
    Grid& operator=(const Grid&) = delete;

    void set(int x, int y, int z, double e) { cube.energy[x][y][z] = e; }
    double at(int x, int y, int z) const { return cube.energy[x][y][z]; }
};


// ---- Grids given by a function, graphs, and the synthetic 8x8x8 landscapes
// (voxel steps of 1 Bohr, separable energies P[i] + Q[j] + R[k]).


// A grid of na x nb x nc points given by a function, with 1 Angstrom orthogonal steps and a ceiling of 1000.
struct Field {
    ZEMU_cube cube;
    Field(int na, int nb, int nc, const std::function<double(int, int, int)>& f) {
        ZEMU_init_cube(&cube);
        cube.a_grid = na, cube.b_grid = nb, cube.c_grid = nc;
        cube.a_x = cube.b_y = cube.c_z = 1.0;
        ZEMU_calc_cell_parameter(&cube);
        if (ZEMU_alloc_cube_energy(&cube) != 0) abort();
        for (int i = 0; i < na; i++)
            for (int j = 0; j < nb; j++)
                for (int k = 0; k < nc; k++) cube.energy[i][j][k] = f(i, j, k);
        cube.max_energy = 1000.0;
    }
    Field(int na, int nb, int nc, double fill = 1.0) : Field(na, nb, nc, [fill](int, int, int) { return fill; }) {}
    ~Field() { ZEMU_free_cube(&cube); }
    Field(const Field&) = delete;
    Field& operator=(const Field&) = delete;
    double& at(int i, int j, int k) {  // periodic
        ZEMU_cube_triple_index p = ZEMU_shift_index_xyz(&cube, i, j, k);
        return cube.energy[p.x][p.y][p.z];
    }
    int flat(int i, int j, int k) const { return (i * cube.b_grid + j) * cube.c_grid + k; }
};

typedef std::tuple<int, int, double> Edge;

struct Graph {
    ZEMU_graph g;
    Graph(const std::vector<Edge>& edges) {
        ZEMU_init_graph(&g);
        for (const Edge& e : edges) EXPECT_EQ(ZEMU_add_edge(&g, std::get<0>(e), std::get<1>(e), std::get<2>(e)), 0);
        EXPECT_EQ(ZEMU_build_vert_from_edge(&g), 0);
    }
    ~Graph() { ZEMU_free_graph(&g); }
    std::vector<std::pair<int, int>> degrees() const {  // (label, degree) in list order
        std::vector<std::pair<int, int>> out;
        for (int i = 0; i < g.total_vertice; ++i) out.push_back({g.vert[i].a, g.vert[i].d});
        return out;
    }
};

const char kMinimaFrame[] =
    "-----------------------------------------------------------------\r\n"
    "                  Summary of energy local minima                  \r\n"
    "-----------------------------------------------------------------\r\n\r\n";
const char kSaddleFrame[] =
    "-----------------------------------------------------------------\r\n"
    "                  Summary of energy saddle point                  \r\n"
    "-----------------------------------------------------------------\r\n\r\n";
const char kMinimaColumns[] =
    "    Index   Grid coor.    True grid coor.     Frac. coor.         Occ.    Ion type\r\n";

// The two total lines of a report section ("minima" or "saddle") and the blank line after them.
inline std::string totals(const std::string& what, int points, int types) {
    return "Total local " + what + " in unit cell: " + std::to_string(points) +
           "\r\nTotal symmetrically inequivalent: " + std::to_string(types) + "\r\n\r\n";
}

const double kR = 0.7071067812;
const double kCos1[8] = {1, kR, 0, -kR, -1, -kR, 0, kR};  // cos(2 pi n/8): well at 4, maximum at 0
const double kCos2[8] = {1, 0, -1, 0, 1, 0, -1, 0};       // cos(4 pi n/8): wells at 2 and 6

struct Profile {
    double v[8];
};

inline Profile combine(double a, const double (&f)[8], double b, const double (&g)[8]) {
    Profile p;
    for (int n = 0; n < 8; n++) p.v[n] = a * f[n] + b * g[n];
    return p;
}

inline Profile scaled(double a, const double (&f)[8]) { return combine(a, f, 0.0, f); }

// A cube file of p[i] + q[j] + r[k], i outermost: n points per axis of `step` Bohr
// (n = 9 repeats the boundary plane, as in files written with both ends), lines
// ending in eol.
inline std::string cube_text(const Profile& p, const Profile& q, const Profile& r, int n = 8,
                             const char* step = "1.000000", const char* eol = "\n") {
    char line[256];
    snprintf(line, sizeof line, "ZEMU test landscape%sLi1+ site energies (eV)%s    1 0.000000 0.000000 0.000000%s"
             "    %d %s 0.000000 0.000000%s    %d 0.000000 %s 0.000000%s    %d 0.000000 0.000000 %s%s"
             "    3 0.000000 0.000000 0.000000 0.000000%s", eol, eol, eol, n, step, eol, n, step, eol, n, step, eol, eol);
    std::string s = line;
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++)
            for (int k = 0; k < n; k++) {
                snprintf(line, sizeof line, "%.10f%s", p.v[i % 8] + q.v[j % 8] + r.v[k % 8], eol);
                s += line;
            }
    return s;
}

// A cell matching the grid (8 x 1 Bohr) with the given operations and site rows
// (label type x y z occupancy); the atom types are `mobile` (+1) and O2- (-2).
inline std::string cif_text(const std::vector<std::string>& ops, const std::vector<std::string>& sites,
                            const std::string& mobile = "Li1+") {
    std::string s =
        "data_run\n_cell_length_a 4.233418\n_cell_length_b 4.233418\n_cell_length_c 4.233418\n"
        "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\nloop_\n_symmetry_equiv_pos_as_xyz\n";
    for (const std::string& op : ops) s += op + "\n";
    s += "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\n" + mobile + " 1\nO2- -2\n";
    s += "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
         "_atom_site_fract_z\n_atom_site_occupancy\n";
    for (const std::string& site : sites) s += site + "\n";
    return s;
}

const std::vector<std::string> kP1bar = {"x,y,z", "-x,-y,-z"};

// Landscape "wells" under P-1:
//   P = 1.0*cos(4 pi i/8) + 0.1*cos(2 pi i/8): wells at i = 2 and 6 (both -1.0), images under inversion
//   Q = -0.5*cos(4 pi j/8) + 0.2*cos(2 pi j/8): wells at j = 4 (-0.7) and j = 0 (-0.3)
//   R = -0.4*cos(4 pi k/8) + 0.1*cos(2 pi k/8): wells at k = 4 (-0.5) and k = 0 (-0.3)
// Minima (i,j,k) in {2,6} x {0,4} x {0,4}: four inversion pairs, above the lowest by
//   (j,k) = (4,4): 0.0, (4,0): 0.2, (0,4): 0.4, (0,0): 0.6.
// They are met in the order (0,0) (shell 2), then (4,0), (4,4), (0,4) (shell 4); by
// energy they are numbered 4, 2, 1, 3, and the heap sort of the keys 4,4,2,2,1,1,3,3
// takes list positions 4,5,3,2,6,7,0,1.
// Saddles: i in {0,4} with j, k in wells (8 points, each its own image), j in {2,6}
// or k in {2,6} with the others in wells (16 points, 8 pairs); every coordinate is
// even, so no saddle type lies next to another: 24 saddles in 16 types.
inline Profile wells_p() { return combine(1.0, kCos2, 0.1, kCos1); }
inline std::string wells_cube(int n = 8, const char* step = "1.000000", const char* eol = "\n") {
    return cube_text(wells_p(), combine(-0.5, kCos2, 0.2, kCos1), combine(-0.4, kCos2, 0.1, kCos1), n, step, eol);
}


// A small landscape and structure, and a session runner that feeds
// commands to "zemu --cmd" through standard input.
// Landscape (8 x 8 x 8, voxel 0.5 x 1 x 1 Angstrom, cell 4 x 8 x 8):
//   E(i,j,k) = 0.5 cos(4 pi i/8) + 0.3 cos(2 pi j/8) + 0.1 cos(2 pi k/8),
// shifted by +0.9 so that the lowest point is 0. With the P-1 structure:
//   minima (2,4,4) and (6,4,4), one type, energy 0;
//   saddles (2,4,0)/(6,4,0) at 0.2 (type s1), (2,0,4)/(6,0,4) at 0.6 (s2),
//   (4,4,4) and (0,4,4) at 1.0 (s3 and s4, one member each).
// Only the saddles at 1.0 lie within 3.5 Angstrom of two minima, so the path
// library holds two paths along a: (2,4,4)-(4,4,4)-(6,4,4) and
// (6,4,4)-(0,4,4)-(2,4,4) of the next cell, each with two half steps of 0.5 Angstrom.


const int kN = 8;

// Shifted landscape energy at grid point (i, j, k), eV.
inline double landscape_energy(int i, int j, int k) {
    const double pi = 3.141592653589793;
    return 0.5 * cos(4 * pi * i / kN) + 0.3 * cos(2 * pi * j / kN) + 0.1 * cos(2 * pi * k / kN) + 0.9;
}

// The landscape as a cube file of one value per line (raw, unshifted values).
inline std::string landscape_cube() {
    const double bohr = 0.529177249;
    char line[128];
    std::string text = "landscape\nLi1+ probe\n  0 0.0 0.0 0.0\n";
    snprintf(line, sizeof line, "  %d %.8f 0.0 0.0\n  %d 0.0 %.8f 0.0\n  %d 0.0 0.0 %.8f\n", kN, 0.5 / bohr, kN,
             1.0 / bohr, kN, 1.0 / bohr);
    text += line;
    for (int i = 0; i < kN; i++)
        for (int j = 0; j < kN; j++)
            for (int k = 0; k < kN; k++) {
                snprintf(line, sizeof line, "%.8f\n", landscape_energy(i, j, k) - 0.9);
                text += line;
            }
    return text;
}

// P-1 structure over the landscape's cell: a mobile-ion site (label, position
// along a, occupancy) and an anion at the origin (type and oxidation state).
inline std::string p1bar_cif(const std::string& li_label = "Li1", double li_x = 0.25, double li_occ = 1.0,
                             const std::string& anion = "O2-", int anion_ox = -2) {
    char rows[256];
    snprintf(rows, sizeof rows, "%s Li1+ %.4f 0.5 0.5 %.3f\n%s1 %s 0.0 0.0 0.0 1.0\n", li_label.c_str(), li_x, li_occ,
             anion.substr(0, 1).c_str(), anion.c_str());
    return std::string("data_test\n"
                       "_cell_length_a 4.0\n_cell_length_b 8.0\n_cell_length_c 8.0\n"
                       "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
                       "_symmetry_space_group_name_H-M 'P -1'\n_symmetry_Int_Tables_number 2\n"
                       "loop_\n_symmetry_equiv_pos_site_id\n_symmetry_equiv_pos_as_xyz\n1 x,y,z\n2 -x,-y,-z\n"
                       "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nLi1+ 1\n") +
           anion + " " + std::to_string(anion_ox) +
           "\nloop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
           "_atom_site_fract_z\n_atom_site_occupancy\n" +
           rows;
}

// A working directory holding l.cube and s.cif.
class Session {
public:
    explicit Session(const std::string& cif = p1bar_cif()) {
        dir.write("l.cube", landscape_cube());
        dir.write("s.cif", cif);
    }
    // Runs zemu on both files with the probe ion, the extra options and "--cmd".
    zemu_test::RunResult run(const std::string& commands, std::vector<std::string> options = {},
                             const std::string& ion = "Li1+") const {
        std::vector<std::string> args = {"--cube", "l.cube", "--cif", "s.cif", ion};
        args.insert(args.end(), options.begin(), options.end());
        args.push_back("--cmd");
        return dir.run(args, commands);
    }

    zemu_test::WorkDir dir;
};

// Standard output between the command-mode prompt and the farewell line.
inline std::string command_output(const std::string& out) {
    const std::string prompt =
        "\nEnter your command: (type end to exit, or help for a list of available commands)\n";
    size_t start = out.find(prompt);
    if (start == std::string::npos) return "<no prompt>";
    start += prompt.size();
    size_t end = out.rfind("Exit command mode...\n");
    if (end == std::string::npos || end < start) return "<no farewell>";
    return out.substr(start, end - start);
}

inline bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }


}  // namespace fx

#endif
