// CIF reader and the structure reports: charge, bond valence sums, global
// instability index, the substitution checks and the VESTA project file.
#include "fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zemu_fuzz::enter_workdir();
    ZEMU_input input = zemu_fuzz::probe_input(nullptr, zemu_fuzz::write_file("in.cif", data, size));
    input.calc_charge = 1;
    input.calc_bvsum = 1;
    input.calc_gii = 1;
    input.check_sub = 1;
    input.check_subs = 1;
    input.vesta = 1;
    ZEMU(&input);
    return 0;
}
