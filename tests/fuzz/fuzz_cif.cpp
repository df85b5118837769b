// CIF reader and the structure reports: charge, bond valence sums, global
// instability index, the substitution checks and the VESTA project file.
#include "fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zemu_fuzz::enter_workdir();
    ZEMU_input input = zemu_fuzz::probe_input(nullptr, zemu_fuzz::write_file("in.cif", data, size));
    for (int* report : {&input.calc_charge, &input.calc_bvsum, &input.calc_gii, &input.check_sub, &input.check_subs,
                        &input.vesta})
        *report = 1;
    ZEMU(&input);
    return 0;
}
