// Command-line handling shared by the front ends (zemu-import, zemu-bvse, zemu-screen).
#ifndef ZEMU_APPS_CLI_H
#define ZEMU_APPS_CLI_H

#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "ZEMU-import.h"

// Parses the command line. 1 when the program goes on; 0 when it must stop with
// *status: 0 after --help or --version (their text printed), 1 after a usage error
// (one "Error: ..." line on stderr).
inline int ZEMU_cli_parse(CLI::App& app, int argc, char** argv, int* status)
{
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& e) {
        *status = app.exit(e);
        return 0;
    } catch (const CLI::ParseError& e) {
        fprintf(stderr, "Error: %s (see --help)\n", e.what());
        *status = 1;
        return 0;
    }
    return 1;
}

// Prints the one error line of a refusal, "Error: FILE: cause", and gives the exit status.
inline int ZEMU_cli_refuse(const std::string& file, const std::string& cause)
{
    fprintf(stderr, "Error: %s: %s\n", file.c_str(), cause.c_str());
    return 1;
}

// Imports a structure with the states given by hand. 1 with cif and report filled in;
// 0 after the refusal's error line, cif released.
inline int ZEMU_cli_import(const std::string& file, const std::string& oxi, ZEMU_cif* cif,
                           ZEMU_import_report* report)
{
    ZEMU_import_options options;
    options.oxi = oxi;
    if (ZEMU_import_structure(file.c_str(), &options, cif, report) == 0) return 1;
    ZEMU_free_cif(cif);
    ZEMU_cli_refuse(file, report->error);
    return 0;
}

#endif
