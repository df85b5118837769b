// Landscape engine on a small imported structure: the first byte picks the
// mobile ion and a coarse grid, the rest is CIF text. Cells outside a modest
// volume are skipped so that one input stays fast.
#include "fuzz_util.h"

#include "ZEMU-bvse.h"
#include "ZEMU-import.h"

namespace {

const char* const kIons[] = {"Li1+", "Na1+", "Mg2+", "F1-", "O2-", "Ag1+", "Cu1+", "Cl1-"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    zemu_fuzz::enter_workdir();
    ZEMU_import_options import_options;
    ZEMU_import_report import_report;
    ZEMU_cif cif;
    const char* text = reinterpret_cast<const char*>(data + 1);
    if (ZEMU_import_structure_text(text, size - 1, "in.cif", &import_options, &cif, &import_report) == 0 &&
        cif.volume > 10.0 && cif.volume < 3000.0) {
        ZEMU_bvse_options options;
        ZEMU_init_bvse_options(&options);
        options.threads = 1;
        options.rcut = 6.0;
        // Half the inputs take the default grid rule, half a coarse grid it may not fit.
        if (data[0] & 8) {
            options.grid[0] = 7;
            options.grid[1] = 6 + (data[0] >> 4 & 3);
            options.grid[2] = 9;
        } else {
            options.step = 0.6;
        }
        ZEMU_cube cube;
        ZEMU_init_cube(&cube);
        ZEMU_bvse_report report;
        if (ZEMU_bvse_landscape(&cif, kIons[data[0] & 7], &options, &cube, &report) == 0) {
            std::string error;
            if (ZEMU_bvse_write_cube(&cube, kIons[data[0] & 7], "fuzz", "out.cube", &error) != 0) abort();
        } else if (report.error.empty()) {
            abort();
        }
        ZEMU_free_cube(&cube);
    }
    ZEMU_free_cif(&cif);
    return 0;
}
