// Cube reader and what the run does with the grid: shifting, grid symmetry,
// the stationary-point search, grouping, site assignment, the reports, paths,
// network analysis, activation energies and the reaction pathway. The
// structure is a fixed P-1 cell with a Li site; the grid is the input.
#include "fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zemu_fuzz::enter_workdir_with_structure();
    ZEMU_input input = zemu_fuzz::probe_input(zemu_fuzz::write_file("in.cube", data, size), "s.cif");
    for (int* stage : {&input.print_minima, &input.print_saddle, &input.path, &input.print_path, &input.print_perc,
                       &input.print_act})
        *stage = 1;
    ZEMU(&input);
    return 0;
}
