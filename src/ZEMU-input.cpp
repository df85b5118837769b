// Command line: the words of the program's command line become one ZEMU_input.
#include <cstdlib>
#include <cstring>

#include "ZEMU-version.h"
#include "ZEMU.h"

namespace {

const char kUsage[] =
    "Usage: zemu --cube landscape.cube --cif structure.cif [ION] [options]\n"
    "\n"
    "Analyses the energy landscape of a mobile ion (site energies in eV on a grid,\n"
    "a cube file) in a crystal structure (a CIF file): minima, saddle points,\n"
    "migration paths, percolation and activation energies.\n"
    "\n"
    "Input:\n"
    "  --cube FILE      energy landscape, one value per line after the header\n"
    "  --cif FILE [ION] crystal structure; a following word that is no flag names\n"
    "                   the mobile ion, such as Li1+\n"
    "  --scale EXPR     energy scaling in E (default 0.5695*E^(0.6946) for Na1+,\n"
    "                   E for other ions)\n"
    "  --max ENERGY     energy ceiling above the global minimum, scaled eV (default 5)\n"
    "  --smooth-cube    smooth the landscape symmetrically before the search\n"
    "\n"
    "Analysis and reports:\n"
    "  --path           migration paths, network analysis, activation energies;\n"
    "                   writes ZEMU_events.txt and ZEMU_rp.csv\n"
    "  --print-minima   list the minima\n"
    "  --print-saddle   list the saddle points\n"
    "  --print-path     list the path library\n"
    "  --print-perc     print the network analysis\n"
    "  --print-act      print the activation energies\n"
    "  --calc-charge    print the unit-cell charge\n"
    "  --calc-bvsum     print the bond valence sums\n"
    "  --calc-gii       print the global instability index\n"
    "  --check-sub      check whether the mobile ion's site is shared\n"
    "  --check-subs     check whether any site is shared\n"
    "  --summary        write ZEMU_summary.txt\n"
    "  --gui            write ZEMU_gui.csv (with --path)\n"
    "  --vesta          write ZEMU.vesta\n"
    "  --cmd            interactive command mode after the run, reading commands\n"
    "                   from standard input (help lists them)\n"
    "  --hk             accepted, no effect\n"
    "\n"
    "  -h, --help       this text (as the only word)\n"
    "  --version        the version (as the only word)\n"
    "\n"
    "Output files are written into the working directory. Data files are read from\n"
    "bin/ below the working directory. Unknown words are ignored.\n"
    "More: ZEMU_readme.txt and the manual page zemu(1).\n";

const char* const kFlagWords[] = {
    "--cif",        "--cube",         "--scale",       "--max",          "--cmd",         "--path",
    "--vesta",      "--summary",      "--gui",         "--hk",           "--calc-charge", "--calc-bvsum",
    "--calc-gii",   "--print-minima", "--print-saddle", "--print-path",  "--print-perc",  "--print-act",
    "--smooth-cube", "--check-sub",   "--check-subs"};

// Copies a value word into a fixed field, cutting it (with a warning) when it does not fit.
void copy_value(char* field, size_t size, const char* value, const char* flag) {
    size_t len = strlen(value);
    if (len >= size) {
        fprintf(stderr, "Warning: Value of %s truncated\n", flag);
        len = size - 1;
    }
    memcpy(field, value, len);
    memset(field + len, 0, size - len);
}

// The word after a value flag, or NULL (with a warning) when the flag is the last word.
const char* value_word(int argc, char** argv, int i) {
    if (i + 1 < argc) return argv[i + 1];
    fprintf(stderr, "Warning: Missing value after %s\n", argv[i]);
    return NULL;
}

}  // namespace

void ZEMU_init_input(ZEMU_input* input) {
    input->scaling = 0;
    input->cube = 0;
    input->max = 0.0;
    input->cif = 0;
    input->ion = 0;
    input->path = 0;
    input->vesta = 0;
    input->summary = 0;
    input->cmd = 0;
    input->HK = 0;
    input->gui = 0;
    input->calc_charge = 0;
    input->calc_bvsum = 0;
    input->calc_gii = 0;
    input->print_minima = 0;
    input->print_saddle = 0;
    input->print_path = 0;
    input->print_perc = 0;
    input->print_act = 0;
    input->smooth_cube = 0;
    input->check_sub = 0;
    input->check_subs = 0;
}

int ZEMU_isflag(char* flag) {
    for (const char* word : kFlagWords)
        if (strcmp(flag, word) == 0) return 1;
    return 0;
}

void ZEMU_process_command(ZEMU_input* input, int argc, char** argv) {
    if (argc == 1) {
        printf(" Zemulator (ZEMU) version %s\n", ZEMU_VERSION);
        printf(" > Please consult ZEMU_readme.txt for more details on available commands.\n");
        printf(" > Please report bugs or send suggestions to the maintainers through the project's issue tracker.\n");
        return;
    }
    // Help and version only as the one word of the line; elsewhere they are
    // unknown words (or, after a structure path, the ion type) as before.
    if (argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
        fputs(kUsage, stdout);
        return;
    }
    if (argc == 2 && strcmp(argv[1], "--version") == 0) {
        printf("zemu (Zemulator) %s\n", ZEMU_VERSION);
        return;
    }
    for (int i = 1; i < argc; i++) {
        const char* w = argv[i];
        if (strcmp(w, "--cube") == 0) {
            const char* v = value_word(argc, argv, i);
            if (!v) continue;
            copy_value(input->cube_file, sizeof input->cube_file, v, w);
            input->cube = 1;
            i++;
        } else if (strcmp(w, "--cif") == 0) {
            const char* v = value_word(argc, argv, i);
            if (!v) continue;
            copy_value(input->cif_file, sizeof input->cif_file, v, w);
            input->cif = 1;
            i++;
            if (i + 1 < argc && !ZEMU_isflag(argv[i + 1])) {
                // A well-formed type label has at most 9 characters; longer ones are cut
                // so that the field always holds a terminated text.
                copy_value(input->ion_type, sizeof input->ion_type, argv[i + 1], w);
                input->ion = 1;
                i++;
            }
        } else if (strcmp(w, "--scale") == 0) {
            const char* v = value_word(argc, argv, i);
            if (!v) continue;
            copy_value(input->scaling_expression, sizeof input->scaling_expression, v, w);
            input->scaling = 1;
            i++;
        } else if (strcmp(w, "--max") == 0) {
            const char* v = value_word(argc, argv, i);
            if (!v) continue;
            input->max = atof(v);
            i++;
        } else if (strcmp(w, "--cmd") == 0) {
            input->cmd = 1;
        } else if (strcmp(w, "--path") == 0) {
            input->path = 1;
        } else if (strcmp(w, "--vesta") == 0) {
            input->vesta = 1;
        } else if (strcmp(w, "--hk") == 0) {
            input->HK = 1;
        } else if (strcmp(w, "--summary") == 0) {
            input->summary = 1;
        } else if (strcmp(w, "--gui") == 0) {
            input->gui = 1;
        } else if (strcmp(w, "--calc-charge") == 0) {
            input->calc_charge = 1;
        } else if (strcmp(w, "--calc-bvsum") == 0) {
            input->calc_bvsum = 1;
        } else if (strcmp(w, "--calc-gii") == 0) {
            input->calc_gii = 1;
        } else if (strcmp(w, "--print-minima") == 0) {
            input->print_minima = 1;
        } else if (strcmp(w, "--print-saddle") == 0) {
            input->print_saddle = 1;
        } else if (strcmp(w, "--print-path") == 0) {
            input->print_path = 1;
        } else if (strcmp(w, "--print-perc") == 0) {
            input->print_perc = 1;
        } else if (strcmp(w, "--print-act") == 0) {
            input->print_act = 1;
        } else if (strcmp(w, "--smooth-cube") == 0) {
            input->smooth_cube = 1;
        } else if (strcmp(w, "--check-sub") == 0) {
            input->check_sub = 1;
        } else if (strcmp(w, "--check-subs") == 0) {
            input->check_subs = 1;
        }
        // any other word is skipped silently
    }
}
