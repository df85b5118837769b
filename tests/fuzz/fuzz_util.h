// Shared by the libFuzzer harnesses: a private working directory per process
// (with bin/ of the source tree linked in, as the program expects it below the
// working directory) and the input written there as a file, since the readers
// take file names.
#ifndef ZEMU_FUZZ_UTIL_H
#define ZEMU_FUZZ_UTIL_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <ftw.h>
#include <unistd.h>

#include "ZEMU.h"

namespace zemu_fuzz {

inline std::string& workdir_path() {
    static std::string path;
    return path;
}

inline int remove_entry(const char* path, const struct stat*, int, struct FTW*) {
    return remove(path);
}

inline void remove_workdir() {
    if (!workdir_path().empty()) nftw(workdir_path().c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
}

// Creates the process's working directory under $TMPDIR (or /tmp), links bin/
// into it and makes it the current directory; the directory is removed at exit.
// Idempotent: every harness calls it from its first run on.
inline void enter_workdir() {
    if (!workdir_path().empty()) return;
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/zemu-fuzz-XXXXXX";
    if (!mkdtemp(&pattern[0])) {
        perror("zemu fuzz: mkdtemp");
        abort();
    }
    workdir_path() = pattern;
    if (symlink(ZEMU_SOURCE_DIR "/bin", (pattern + "/bin").c_str()) != 0 || chdir(pattern.c_str()) != 0) {
        perror("zemu fuzz: working directory");
        abort();
    }
    atexit(remove_workdir);
    // The reports on standard output are not what is being tested; errors stay visible.
    if (!freopen("/dev/null", "w", stdout)) abort();
}

// Writes bytes to a file of the working directory; the file name is returned.
inline const char* write_file(const char* name, const uint8_t* data, size_t size) {
    FILE* f = fopen(name, "wb");
    if (!f) abort();
    if (size > 0 && fwrite(data, 1, size, f) != size) abort();
    fclose(f);
    return name;
}

inline const char* write_file(const char* name, const std::string& text) {
    return write_file(name, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

// A P-1 structure (cell 4 x 8 x 8 Angstrom) with a Li1+ site and an O2- site,
// for the harnesses that analyse a landscape.
inline const char kStructure[] =
    "data_test\n_cell_length_a 4.0\n_cell_length_b 8.0\n_cell_length_c 8.0\n"
    "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
    "_symmetry_space_group_name_H-M 'P -1'\n_symmetry_Int_Tables_number 2\n"
    "loop_\n_symmetry_equiv_pos_site_id\n_symmetry_equiv_pos_as_xyz\n1 x,y,z\n2 -x,-y,-z\n"
    "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nLi1+ 1\nO2- -2\n"
    "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
    "_atom_site_fract_z\n_atom_site_occupancy\nLi1 Li1+ 0.25 0.5 0.5 1.0\nO1 O2- 0.0 0.0 0.0 1.0\n";


// A run configuration with nothing selected.
inline ZEMU_input empty_input() {
    ZEMU_input input;
    memset(&input, 0, sizeof input);
    ZEMU_init_input(&input);
    return input;
}

inline void set_field(char* field, size_t size, const char* value) {
    snprintf(field, size, "%s", value);
}

// A run configuration for a Li1+ probe reading the given landscape and structure
// files (nullptr: that input is not given).
inline ZEMU_input probe_input(const char* cube_file, const char* cif_file) {
    ZEMU_input input = empty_input();
    if (cube_file) {
        input.cube = 1;
        set_field(input.cube_file, sizeof input.cube_file, cube_file);
    }
    if (cif_file) {
        input.cif = 1;
        set_field(input.cif_file, sizeof input.cif_file, cif_file);
    }
    input.ion = 1;
    set_field(input.ion_type, sizeof input.ion_type, "Li1+");
    return input;
}

// The working directory with kStructure written as s.cif, once per process.
inline void enter_workdir_with_structure() {
    static bool ready = false;
    if (ready) return;
    enter_workdir();
    write_file("s.cif", kStructure);
    ready = true;
}

}  // namespace zemu_fuzz

#endif
