// Command-line handling shared by the front ends (zemu-import, zemu-bvse, zemu-screen).
#ifndef ZEMU_APPS_CLI_H
#define ZEMU_APPS_CLI_H

#include <cstdio>

#include <CLI/CLI.hpp>

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

#endif
