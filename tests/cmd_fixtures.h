// Shared fixtures of the command-mode and report tests.
//
// cmd_test: a small landscape and structure, and a session runner that feeds
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
//
// lib_test: capturing what a writer puts on a stream, running code inside a
// temporary working directory, and the bundled examples loaded through the
// library functions.
#ifndef ZEMU_TESTS_CMD_FIXTURES_H
#define ZEMU_TESTS_CMD_FIXTURES_H

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

#include "ZEMU.h"
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

namespace lib_test {

// What `write` puts on a temporary stream.
template <typename Write>
std::string written(Write write) {
    FILE* f = tmpfile();
    if (f == nullptr) {
        ADD_FAILURE() << "no temporary file";
        return "";
    }
    write(f);
    rewind(f);
    std::string text;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, f)) > 0) text.append(buf, n);
    fclose(f);
    return text;
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

// Runs the enclosed code inside a fresh temporary working directory (with the
// project's bin/ visible as ./bin when asked).
class InDir {
public:
    explicit InDir(bool with_bin = false) : dir(with_bin) {
        char buf[4096];
        old_ = getcwd(buf, sizeof buf) ? buf : ".";
        if (chdir(dir.path().c_str()) != 0) ADD_FAILURE() << "cannot enter " << dir.path();
    }
    ~InDir() {
        if (chdir(old_.c_str()) != 0) ADD_FAILURE() << "cannot return to " << old_;
    }
    zemu_test::WorkDir dir;

private:
    std::string old_;
};

// A bundled example loaded through the site analysis (and, when asked, its path
// library), inside a working directory that sees the project's bin/.
struct Example {
    InDir wd{true};
    std::string cube_file, cif_file;
    ZEMU_cube cube;
    ZEMU_cif cif;
    ZEMU_pathlib lib;

    Example() {
        ZEMU_init_cube(&cube);
        EXPECT_EQ(ZEMU_init_cif(&cif), 0);
        ZEMU_init_fastgen(&cif);
        ZEMU_init_pathlib(&lib);
    }
    ~Example() {
        ZEMU_free_pathlib(&lib);
        ZEMU_free_cube(&cube);
        ZEMU_free_cif(&cif);
    }
    Example(const Example&) = delete;
    Example& operator=(const Example&) = delete;

    void load(const std::string& name, const char* ion, bool paths = false) {
        cube_file = zemu_test::source_file("examples/" + name + "/landscape.cube");
        cif_file = zemu_test::source_file("examples/" + name + "/structure.cif");
        cif.ion = 1;
        snprintf(cif.probe_type, sizeof cif.probe_type, "%s", ion);
        char identity[] = "E";
        cube.scaling = 1;
        cube.cube = 1;
        cif.cif = 1;
        ASSERT_EQ(ZEMU_parse_energy_scaling(&cube, identity), 0);
        ASSERT_EQ(ZEMU_load_cube(&cube_file[0], &cube), 0);
        ASSERT_EQ(ZEMU_process_cube(&cube), 0);
        ASSERT_EQ(ZEMU_load_cif(&cif_file[0], &cif), 0);
        ZEMU_prepare_fastgen_symop(&cif, &cube);
        ZEMU_asymmetric_unit asym;
        ZEMU_init_asymmetric_unit(&asym);
        int found = ZEMU_find_asymmetric_unit(&cube, &cif, &asym);
        if (found == 0)
            found = cif.diff_neigh ? ZEMU_find_stationary_points2(&cube, &cif)
                                   : ZEMU_find_stationary_points(&cube, &cif, &asym);
        ZEMU_free_asymmetric_unit(&asym);
        ASSERT_EQ(found, 0);
        ASSERT_EQ(ZEMU_group_saddle_by_symmetry(&cube, &cif), 0);
        ASSERT_EQ(ZEMU_group_minima_by_symmetry(&cube, &cif), 0);
        ASSERT_EQ(ZEMU_assign_ion_to_sites(&cube, &cif), 0);
        ZEMU_assign_interstitial_labels(&cube, &cif);
        if (!paths) return;
        testing::internal::CaptureStderr();  // saddle types without minima are warned about
        int built = ZEMU_build_path(&cube, &cif, &lib) || ZEMU_build_allpaths(&cube, &cif, &lib) ||
                    ZEMU_filter_redundant_path(&cube, &lib);
        testing::internal::GetCapturedStderr();
        ASSERT_EQ(built, 0);
    }
};

}  // namespace lib_test

#endif
