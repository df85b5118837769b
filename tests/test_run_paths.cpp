// End-to-end runs of the path stages on small landscapes, compared byte for
// byte with the outputs kept in tests/data/paths/<case>.<stream>.
//
// The landscapes are 8x8x8 grids with one well per axis at n = 4:
//   E(i,j,k) = P(i) + Q(j) + R(k),  P(n) = A cos(2 pi n/8) + D cos(4 pi n/8)
// (the same form on every axis with its own A and D). The only minimum is
// (4,4,4); the saddles are (0,4,4), (4,0,4) and (4,4,0), each 2A of its axis
// above the minimum. Every point is its own inversion image, so under P-1 each
// saddle is a type of its own. An axis whose step is 1 Bohr puts both minimum
// images of its saddle 2.117 Angstrom away, inside the 3.5 Angstrom reach: the
// hop is built. A step of 2 Bohr puts them 4.233 Angstrom away: the saddle type
// is warned about and no hop crosses that axis. Along the pathway file the
// reaction coordinate advances by one step per point, and a hop of amplitude A
// climbs as A (1 - cos(2 pi m/8)) over its m-th step from the minimum.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

const double kBohr = 0.529177249;

// One axis: amplitudes of cos(2 pi n/8) and of cos(4 pi n/8), grid step in Bohr.
struct Axis {
    double amp;
    double sharp;
    int bohr;
};

std::string cube_text(const Axis (&ax)[3]) {
    const double pi = 3.141592653589793;
    auto energy = [pi](const Axis& a, int n) { return a.amp * cos(2 * pi * n / 8) + a.sharp * cos(4 * pi * n / 8); };
    char line[128];
    std::string s = "ZEMU test landscape\nLi1+ site energies (eV)\n    1 0.000000 0.000000 0.000000\n";
    for (int a = 0; a < 3; a++) {
        snprintf(line, sizeof line, "    8 %d.000000 %d.000000 %d.000000\n", a == 0 ? ax[0].bohr : 0,
                 a == 1 ? ax[1].bohr : 0, a == 2 ? ax[2].bohr : 0);
        s += line;
    }
    s += "    3 0.000000 0.000000 0.000000 0.000000\n";
    for (int i = 0; i < 8; i++)
        for (int j = 0; j < 8; j++)
            for (int k = 0; k < 8; k++) {
                snprintf(line, sizeof line, "%.10f\n", energy(ax[0], i) + energy(ax[1], j) + energy(ax[2], k));
                s += line;
            }
    return s;
}

// The cell of the grid with the given operations and Li1 on the minimum.
std::string cif_text(const Axis (&ax)[3], const std::vector<std::string>& ops) {
    char cell[256];
    snprintf(cell, sizeof cell, "_cell_length_a %.6f\n_cell_length_b %.6f\n_cell_length_c %.6f\n",
             8 * ax[0].bohr * kBohr, 8 * ax[1].bohr * kBohr, 8 * ax[2].bohr * kBohr);
    std::string s = std::string("data_run\n") + cell +
                    "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
                    "loop_\n_symmetry_equiv_pos_as_xyz\n";
    for (const std::string& op : ops) s += op + "\n";
    return s + "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nLi1+ 1\nO2- -2\n"
               "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
               "_atom_site_fract_z\n_atom_site_occupancy\nLi1 Li1+ 0.5 0.5 0.5 1.0\n";
}

const std::vector<std::string> kP1bar = {"x,y,z", "-x,-y,-z"};
// P 4/m: the fourfold axis along c maps the a and b saddles onto each other.
const std::vector<std::string> kP4m = {"x,y,z",    "-y,x,z",  "-x,-y,z", "y,-x,z",
                                       "-x,-y,-z", "y,-x,-z", "x,y,-z",  "-y,x,-z"};
// R -3 on cubic axes: the threefold axis along [111] cycles a, b and c.
const std::vector<std::string> kR3bar = {"x,y,z", "z,x,y", "y,z,x", "-x,-y,-z", "-z,-x,-y", "-y,-z,-x"};
const std::vector<std::string> kAllReports = {"--path", "--print-path", "--print-perc", "--print-act"};

// Channel along a: barriers 0.2 (a), 0.6 (b), 1.0 (c); b and c out of reach.
const Axis kChannel[3] = {{0.1, 0.0, 1}, {0.3, 0.0, 2}, {0.5, 0.0, 2}};
// Equal barriers along a and b (A = 0.3) need D < 0: with D = 0 the diagonal
// neighbour (1,3,4) of the saddle (0,4,4) ties with it; with D = -0.05 it lies
// 0.1 above, so the two sides of every saddle stay apart.
const Axis kSquare = {0.3, -0.05, 1};

// Files a run may write, with the suffix of their kept copy. A missing copy
// means the run must not write the file.
const char* const kFiles[][2] = {{"ZEMU_events.txt", "events"}, {"ZEMU_rp.csv", "rp"}, {"ZEMU_summary.txt", "summary"}};

struct Case {
    const char* name;  // stem of the kept outputs
    Axis ax[3];
    std::vector<std::string> ops;
    std::vector<std::string> args;
    int status;
    bool blocked;  // directories stand in place of the output files
};

bool have(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

}  // namespace

TEST(RunPaths, OutputsOfThePathStagesMatchTheKeptCopies) {
    const Case cases[] = {
        // One hop along a: a chain with vector [1,0,0], 1-D at 0.2, no 2-D or 3-D
        // (999); its pathway walks the hop once, the saddle row's barrier 0.2.
        {"channel", {kChannel[0], kChannel[1], kChannel[2]}, kP1bar, kAllReports, 0, false},
        // a out of reach; b opens at 0.2 (1-D along b), c at 0.6 (the plane (1,0,0)).
        {"layer_bc", {{0.5, 0.0, 2}, {0.1, 0.0, 1}, {0.3, 0.0, 1}}, kP1bar, kAllReports, 0, false},
        // One dimension per threshold 0.2, 0.6, 1.0; the pathway grows by the
        // opening hop each time: 24 steps of 1 Bohr, the joints kept once.
        {"three_barriers", {{0.1, 0.0, 1}, {0.3, 0.0, 1}, {0.5, 0.0, 1}}, kP1bar, kAllReports, 0, false},
        // One saddle type with two members crossing a and b: 1-D and 2-D both at 0.6.
        {"fourfold", {kSquare, kSquare, {0.5, 0.0, 2}}, kP4m, kAllReports, 0, false},
        // One saddle type with three members: 3-D at the first threshold.
        {"threefold", {kSquare, kSquare, kSquare}, kR3bar, kAllReports, 0, false},
        // The report switches choose what reaches standard output, not the files.
        {"channel_quiet", {kChannel[0], kChannel[1], kChannel[2]}, kP1bar, {"--path"}, 0, false},
        {"channel_perc", {kChannel[0], kChannel[1], kChannel[2]}, kP1bar, {"--path", "--print-perc"}, 0, false},
        // Wells at j = 4 (-0.6) and j = 0 (-0.4) with steps of 4 Bohr along b: two
        // unconnected channels along a, two pathways, the second 0.5 Angstrom on.
        {"two_channels", {{0.1, 0.0, 1}, {0.1, -0.5, 4}, {0.5, 0.0, 2}}, kP1bar, {"--path"}, 0, false},
        // The summary is written after the pathway marked the chain's path (colour
        // 1, style 1); the console library, printed before, shows -1.
        {"summary", {kChannel[0], kChannel[1], kChannel[2]}, kP1bar, {"--path", "--summary", "--print-path"}, 0,
         false},
        {"summary_no_path", {kChannel[0], kChannel[1], kChannel[2]}, kP1bar, {"--summary"}, 0, false},
        // Unwritable events and pathway files are reported; only an unwritable
        // summary fails the run, before any library is written.
        {"unwritable", {kChannel[0], kChannel[1], kChannel[2]}, kP1bar, {"--path", "--print-act"}, 0, true},
        {"unwritable_summary", {kChannel[0], kChannel[1], kChannel[2]}, kP1bar, {"--path", "--summary"}, 1, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WorkDir dir;
        dir.write("l.cube", cube_text(c.ax));
        dir.write("s.cif", cif_text(c.ax, c.ops));
        for (const auto& f : kFiles) {
            if (c.blocked) {
                ASSERT_EQ(mkdir(dir.file(f[0]).c_str(), 0755), 0) << f[0];
            }
        }
        std::vector<std::string> args = {"--cube", "l.cube", "--cif", "s.cif", "Li1+"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        RunResult r = dir.run(args);
        EXPECT_EQ(r.status, c.status);
        const std::string stem = zemu_test::data_file(std::string("paths/") + c.name + ".");
        std::vector<std::pair<std::string, std::string>> outputs = {{"out", r.out}, {"err", r.err}};
        for (const auto& f : kFiles) {
            if (c.blocked) continue;
            if (dir.exists(f[0])) {
                outputs.emplace_back(f[1], dir.read(f[0]));
            } else {
                EXPECT_FALSE(have(stem + f[1])) << f[0] << " not written";
            }
        }
        for (const auto& o : outputs) EXPECT_EQ(o.second, zemu_test::slurp(stem + o.first)) << o.first;
    }
}
