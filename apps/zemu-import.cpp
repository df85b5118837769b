// zemu-import: reads a CIF file as found in the wild, completes its symmetry and
// oxidation states, and writes it in the dialect `zemu --cif` reads (-o) or
// summarises it (text or JSON).
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "ZEMU-cli.h"

#include "ZEMU-cif.h"
#include "ZEMU-import.h"
#include "ZEMU-version.h"

namespace {

const char* const kVersion = "zemu-import (ZEMU " ZEMU_VERSION ")";

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Reads a CIF file, completes symmetry and oxidation states, and writes it for zemu --cif"};
    std::string input, output, oxi;
    bool json = false;
    app.add_option("IN", input, "CIF file to read")->required();
    app.add_option("-o,--output", output, "write the structure to this CIF file");
    app.add_option("--oxi", oxi, "oxidation states fixed by hand, e.g. Fe=2,P=5,O=-2");
    app.add_flag("--json", json, "print the summary as one JSON object");
    app.set_version_flag("--version", kVersion);
    int status = 0;
    if (!ZEMU_cli_parse(app, argc, argv, &status)) return status;

    ZEMU_cif cif;
    ZEMU_import_report report;
    if (!ZEMU_cli_import(input, oxi, &cif, &report)) return 1;
    if (!output.empty()) {
        std::string cause;
        if (ZEMU_import_write_cif(&cif, output.c_str(), &cause)) {
            ZEMU_free_cif(&cif);
            return ZEMU_cli_refuse(input, cause);
        }
        for (const std::string& w : report.warnings) fprintf(stderr, "Note: %s: %s\n", input.c_str(), w.c_str());
    }
    if (json)
        printf("%s\n", ZEMU_import_summary_json(&cif, &report).c_str());
    else if (output.empty())
        ZEMU_import_print_summary(stdout, &cif, &report);
    ZEMU_free_cif(&cif);
    return 0;
}
