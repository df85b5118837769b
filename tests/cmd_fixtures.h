// Small landscape and structures for the command-mode tests, and a session
// runner that feeds commands to "zemu --cmd" through standard input.
//
// Landscape (8 x 8 x 8, voxel 0.5 x 1 x 1 Angstrom, cell 4 x 8 x 8):
//   E(i,j,k) = 0.5 cos(4 pi i/8) + 0.3 cos(2 pi j/8) + 0.1 cos(2 pi k/8),
// shifted by +0.9 so that the lowest point is 0. With the P-1 structure:
//   minima (2,4,4) and (6,4,4), one type, energy 0;
//   saddles (2,4,0)/(6,4,0) at 0.2 (type s1), (2,0,4)/(6,0,4) at 0.6 (s2),
//   (4,4,4) and (0,4,4) at 1.0 (s3 and s4, one member each).
// Only the saddles at 1.0 lie within 3.5 Angstrom of two minima, so the path
// library holds two paths along a: (2,4,4)-(4,4,4)-(6,4,4) and
// (6,4,4)-(0,4,4)-(2,4,4) of the next cell, each with two half steps of 0.5 Angstrom.
#ifndef ZEMU_TESTS_CMD_FIXTURES_H
#define ZEMU_TESTS_CMD_FIXTURES_H

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "e2e_util.h"

namespace cmd_test {

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

}  // namespace cmd_test

#endif
