// Shared by the grid, graph and end-to-end site tests: in-memory grids and
// graphs, text printed to a FILE, the report frames, and the synthetic 8x8x8
// landscapes (voxel steps of 1 Bohr, separable energies P[i] + Q[j] + R[k]).
#ifndef ZEMU_TESTS_SMALL_FIXTURES_H
#define ZEMU_TESTS_SMALL_FIXTURES_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ZEMU-cube.h"
#include "ZEMU-rpn.h"
#include "ZEMU-graph.h"

namespace fixture {

// A grid of na x nb x nc points with 1 Angstrom orthogonal steps and a ceiling of 1000.
struct Grid {
    ZEMU_cube cube;
    Grid(int na, int nb, int nc, const std::function<double(int, int, int)>& f) {
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
    Grid(int na, int nb, int nc, double fill = 1.0) : Grid(na, nb, nc, [fill](int, int, int) { return fill; }) {}
    ~Grid() { ZEMU_free_cube(&cube); }
    double& at(int i, int j, int k) {  // periodic
        ZEMU_cube_triple_index p = ZEMU_shift_index_xyz(&cube, i, j, k);
        return cube.energy[p.x][p.y][p.z];
    }
    int flat(int i, int j, int k) const { return (i * cube.b_grid + j) * cube.c_grid + k; }
};

// What `body` writes to standard error.
template <typename F>
std::string stderr_of(F body) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

// Everything `print` writes to a temporary file.
inline std::string printed(const std::function<void(FILE*)>& print) {
    FILE* f = tmpfile();
    print(f);
    rewind(f);
    std::string text;
    char buf[4096];
    for (size_t n; (n = fread(buf, 1, sizeof buf, f)) > 0;) text.append(buf, n);
    fclose(f);
    return text;
}

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
const char kSaddleColumns[] =
    "    Index   Grid coor.    True grid coor.     Frac. coor.         True frac. coor.\r\n";

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

// The minima section of "wells": labels per type, occ1 ends the rows of the lowest type.
inline std::string wells_minima(const char* l1, const char* occ1, const char* l2, const char* l3, const char* l4) {
    char buf[4096];
    snprintf(buf, sizeof buf,
             "Minima type: %s (Energy: 0.000000 eV)\r\n%s"
             "        0     2   4   4     2.0   4.0   4.0   0.250 0.500 0.500   %s"
             "        1     6   4   4     6.0   4.0   4.0   0.750 0.500 0.500   %s"
             "Multiplicity: 2\r\n\r\n"
             "Minima type: %s (Energy: 0.200000 eV)\r\n%s"
             "        2     6   4   0     6.0   4.0   0.0   0.750 0.500 0.000   \r\n"
             "        3     2   4   0     2.0   4.0   0.0   0.250 0.500 0.000   \r\n"
             "Multiplicity: 2\r\n\r\n"
             "Minima type: %s (Energy: 0.400000 eV)\r\n%s"
             "        4     2   0   4     2.0   0.0   4.0   0.250 0.000 0.500   \r\n"
             "        5     6   0   4     6.0   0.0   4.0   0.750 0.000 0.500   \r\n"
             "Multiplicity: 2\r\n\r\n"
             "Minima type: %s (Energy: 0.600000 eV)\r\n%s"
             "        6     2   0   0     2.0   0.0   0.0   0.250 0.000 0.000   \r\n"
             "        7     6   0   0     6.0   0.0   0.0   0.750 0.000 0.000   \r\n"
             "Multiplicity: 2\r\n\r\n",
             l1, kMinimaColumns, occ1, occ1, l2, kMinimaColumns, l3, kMinimaColumns, l4, kMinimaColumns);
    return kMinimaFrame + totals("minima", 8, 4) + buf;
}

}  // namespace fixture

#endif
