// zemu-bvse: the bond-valence site-energy landscape of a mobile ion, computed
// from a crystal structure, written as a cube file that zemu reads.
#include <CLI/CLI.hpp>

#include "ZEMU-cli.h"

#include <cstdio>
#include <string>
#include <vector>

#include "ZEMU-bvse.h"
#include "ZEMU-import.h"
#include "ZEMU-version.h"

int main(int argc, char** argv)
{
    CLI::App app{"Bond-valence site-energy landscape of a mobile ion, as a cube file for zemu.", "zemu-bvse"};
    std::string structure_file, ion, cube_file = "landscape.cube", oxi, cif_out;
    std::vector<int> grid;
    ZEMU_bvse_options options;
    ZEMU_init_bvse_options(&options);
    app.add_option("STRUCTURE", structure_file, "crystal structure (CIF)")->required();
    app.add_option("ION", ion, "mobile ion with its charge, such as Li1+")->required();
    app.add_option("-o,--output", cube_file, "cube file to write")->capture_default_str();
    app.add_option("--step", options.step, "target grid step (Angstrom) of the default grid rule")
        ->capture_default_str()->check(CLI::Range(0.05, 2.0));
    app.add_option("--grid", grid, "written grid counts NA NB NC (repeated plane included, NA odd)")
        ->expected(3)->check(CLI::PositiveNumber);
    app.add_option("--rcut", options.rcut, "cut-off radius (Angstrom)")->capture_default_str()
        ->check(CLI::Range(1.0, 30.0));
    app.add_option("--f", options.f, "screening factor of the Coulomb term")->capture_default_str()
        ->check(CLI::PositiveNumber);
    app.add_option("-j,--threads", options.threads, "worker threads (0: every core)")->capture_default_str()
        ->check(CLI::NonNegativeNumber);
    app.add_option("--oxi", oxi, "oxidation states fixed by hand, such as Fe=2,P=5,O=-2");
    app.add_option("--cif-out", cif_out, "also write the imported structure as a CIF file zemu reads");
    app.set_version_flag("--version", "zemu-bvse (ZEMU " ZEMU_VERSION ")");
    int status = 0;
    if (!ZEMU_cli_parse(app, argc, argv, &status)) return status;
    if (!grid.empty())
        for (int i = 0; i < 3; i++) options.grid[i] = grid[i];
    options.progress = 1;

    ZEMU_import_report import_report;
    ZEMU_cif cif;
    if (!ZEMU_cli_import(structure_file, oxi, &cif, &import_report)) return 1;
    for (const std::string& w : import_report.warnings) fprintf(stderr, "Warning: %s: %s\n", structure_file.c_str(), w.c_str());

    ZEMU_cube cube;
    ZEMU_init_cube(&cube);
    ZEMU_bvse_report report;
    int failed = ZEMU_bvse_landscape(&cif, ion.c_str(), &options, &cube, &report);
    for (const std::string& w : report.warnings) fprintf(stderr, "Warning: %s\n", w.c_str());
    if (failed) {
        ZEMU_free_cube(&cube);
        ZEMU_free_cif(&cif);
        return ZEMU_cli_refuse(structure_file, report.error);
    }
    // The cube first, then the structure: a failure of either leaves no file behind.
    status = 0;
    std::string error;
    const std::string title = import_report.formula + " site-energy landscape of the mobile ion (bond-valence site energy, eV)";
    if (ZEMU_bvse_write_cube(&cube, ion.c_str(), title.c_str(), cube_file.c_str(), &error)) {
        fprintf(stderr, "Error: %s\n", error.c_str());  // the cause names the file
        status = 1;
    } else if (!cif_out.empty() && ZEMU_import_write_cif(&cif, cif_out.c_str(), &error)) {
        remove(cube_file.c_str());
        status = ZEMU_cli_refuse(structure_file, error);
    } else {
        printf("%s: %dx%dx%d grid, %lld points computed, written to %s\n", structure_file.c_str(), report.grid[0],
               report.grid[1], report.grid[2], report.representatives, cube_file.c_str());
    }
    ZEMU_free_cube(&cube);
    ZEMU_free_cif(&cif);
    return status;
}
