// Structure import: any CIF text through gemmi to the program's structure
// record, then written in zemu's dialect and summarised; a refusal must leave
// a one-line reason.
#include "fuzz_util.h"

#include "ZEMU-import.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zemu_fuzz::enter_workdir();
    ZEMU_import_options options;
    ZEMU_import_report report;
    ZEMU_cif cif;
    const char* text = reinterpret_cast<const char*>(data);
    if (ZEMU_import_structure_text(text, size, "in.cif", &options, &cif, &report) == 0) {
        FILE* out = fopen("/dev/null", "w");
        if (!out) abort();
        ZEMU_write_cif_exact(&cif, out);
        ZEMU_import_print_summary(out, &cif, &report);
        fclose(out);
        (void)ZEMU_import_summary_json(&cif, &report);
    } else if (report.error.empty() || report.error.find('\n') != std::string::npos) {
        abort();  // every refusal says why, on one line
    }
    ZEMU_free_cif(&cif);
    return 0;
}
