// zemu-screen: migration barriers of many structures in one batch.
#include <cstdio>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "ZEMU-cli.h"

#include "ZEMU-screen.h"
#include "ZEMU-version.h"

int main(int argc, char** argv) {
    ZEMU_screen_options options;
    ZEMU_init_screen_options(&options);
    std::vector<std::string> inputs;
    std::string shard;
    bool resume = false;

    CLI::App app{"Screens CIF files for fast ion conduction: per structure the landscape, the path network's\n"
                 "activation energies and the grid's own, one row each (CSV or JSON Lines)."};
    app.add_option("--ion", options.ion, "mobile ion type, e.g. Li1+")->required();
    app.add_option("-j,--jobs", options.jobs, "structures analysed at once")->check(CLI::Range(1, 4096));
    app.add_option("-o,--output", options.output, "result file: .csv, or .jsonl for JSON Lines (default: CSV on stdout)");
    app.add_option("--step", options.step, "landscape grid step, Angstrom")->check(CLI::Range(0.01, 10.0));
    app.add_option("--max", options.max, "energy ceiling above the global minimum, scaled eV (default 5 eV raw)")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--keep", options.keep, "keep the landscape, structure and reports in DIR/<file stem>/");
    app.add_option("--timeout", options.timeout, "time limit per structure, seconds (0 = none)")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--memory", options.memory_mb, "memory limit per worker, MiB (0 = none)")
        ->check(CLI::Range(0LL, 1LL << 30));  // up to 1 EiB: the limit in bytes stays within rlim_t
    app.add_option("--shard", shard, "K/N: take every N-th file of the sorted list from the K-th on");
    app.add_flag("--resume", resume, "skip the files already in the output file and append");
    app.set_version_flag("--version", "zemu-screen (ZEMU " ZEMU_VERSION ")");
    app.add_option("inputs", inputs, "CIF files and folders searched for *.cif")->required();
    int status = 0;
    if (!ZEMU_cli_parse(app, argc, argv, &status)) return status;

    if (!shard.empty()) {
        std::string error;
        if (ZEMU_screen_parse_shard(shard, &options.shard_k, &options.shard_n, &error)) {
            fprintf(stderr, "Error: --shard: %s\n", error.c_str());
            return 1;
        }
    }
    if (resume && options.output.empty()) {
        fprintf(stderr, "Error: --resume: needs an output file (-o)\n");
        return 1;
    }
    options.resume = resume ? 1 : 0;
    const ZEMU_screen_options job_options = options;
    return ZEMU_screen_batch(inputs, options, [&job_options](const std::string& file, ZEMU_screen_row* row) {
        ZEMU_screen_structure(file, job_options, row);
    });
}
