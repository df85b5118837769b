// Cube reader and what the run does with the grid: shifting, grid symmetry,
// the stationary-point search, grouping, site assignment, the reports, paths,
// network analysis, activation energies and the reaction pathway. The
// structure is a fixed P-1 cell with a Li site; the grid is the input.
#include "fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool ready = false;
    if (!ready) {
        zemu_fuzz::enter_workdir();
        zemu_fuzz::write_file("s.cif", zemu_fuzz::kStructure);
        ready = true;
    }
    ZEMU_input input = zemu_fuzz::empty_input();
    input.cube = 1;
    zemu_fuzz::set_field(input.cube_file, sizeof input.cube_file, zemu_fuzz::write_file("in.cube", data, size));
    input.cif = 1;
    zemu_fuzz::set_field(input.cif_file, sizeof input.cif_file, "s.cif");
    input.ion = 1;
    zemu_fuzz::set_field(input.ion_type, sizeof input.ion_type, "Li1+");
    input.print_minima = 1;
    input.print_saddle = 1;
    input.path = 1;
    input.print_path = 1;
    input.print_perc = 1;
    input.print_act = 1;
    ZEMU(&input);
    return 0;
}
