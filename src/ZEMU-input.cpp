// Command line: the words of the program's command line become one ZEMU_input.
#include <cstdlib>
#include <initializer_list>
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
    "  --max ENERGY     energy ceiling above the global minimum, scaled eV (default:\n"
    "                   5 above the minimum in the landscape's own energies)\n"
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

// Flags that take the next word as their value.
const char* const kValueFlags[] = {"--cif", "--cube", "--scale", "--max"};

// Flags that switch one field of the configuration on.
struct Switch {
    const char* flag;
    int ZEMU_input::*field;
};
const Switch kSwitches[] = {
    {"--cmd", &ZEMU_input::cmd},
    {"--path", &ZEMU_input::path},
    {"--vesta", &ZEMU_input::vesta},
    {"--hk", &ZEMU_input::HK},
    {"--summary", &ZEMU_input::summary},
    {"--gui", &ZEMU_input::gui},
    {"--calc-charge", &ZEMU_input::calc_charge},
    {"--calc-bvsum", &ZEMU_input::calc_bvsum},
    {"--calc-gii", &ZEMU_input::calc_gii},
    {"--print-minima", &ZEMU_input::print_minima},
    {"--print-saddle", &ZEMU_input::print_saddle},
    {"--print-path", &ZEMU_input::print_path},
    {"--print-perc", &ZEMU_input::print_perc},
    {"--print-act", &ZEMU_input::print_act},
    {"--smooth-cube", &ZEMU_input::smooth_cube},
    {"--check-sub", &ZEMU_input::check_sub},
    {"--check-subs", &ZEMU_input::check_subs},
};

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

// Reads the value of the value flag argv[i] (and, after --cif, the ion type when
// the next word is no flag); the number of words taken after the flag.
int read_value(ZEMU_input* input, int argc, char** argv, int i) {
    const char* flag = argv[i];
    if (i + 1 >= argc) {
        fprintf(stderr, "Warning: Missing value after %s\n", flag);
        return 0;
    }
    const char* value = argv[i + 1];
    if (strcmp(flag, "--cube") == 0) {
        copy_value(input->cube_file, sizeof input->cube_file, value, flag);
        input->cube = 1;
    } else if (strcmp(flag, "--scale") == 0) {
        copy_value(input->scaling_expression, sizeof input->scaling_expression, value, flag);
        input->scaling = 1;
    } else if (strcmp(flag, "--max") == 0) {
        input->max = atof(value);
    } else {
        copy_value(input->cif_file, sizeof input->cif_file, value, flag);
        input->cif = 1;
        if (i + 2 < argc && !ZEMU_isflag(argv[i + 2])) {
            // A well-formed type label has at most 9 characters; longer ones are cut
            // so that the field always holds a terminated text.
            copy_value(input->ion_type, sizeof input->ion_type, argv[i + 2], flag);
            input->ion = 1;
            return 2;
        }
    }
    return 1;
}

bool is_value_flag(const char* word) {
    for (const char* flag : kValueFlags)
        if (strcmp(word, flag) == 0) return true;
    return false;
}

}  // namespace

void ZEMU_init_input(ZEMU_input* input) {
    // The text fields are left as they are: each is read only while its flag is set.
    for (int ZEMU_input::*given : {&ZEMU_input::scaling, &ZEMU_input::cube, &ZEMU_input::cif, &ZEMU_input::ion})
        input->*given = 0;
    for (const Switch& s : kSwitches) input->*s.field = 0;
    input->max = 0.0;
}

int ZEMU_isflag(char* flag) {
    if (is_value_flag(flag)) return 1;
    for (const Switch& s : kSwitches)
        if (strcmp(flag, s.flag) == 0) return 1;
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
        if (is_value_flag(argv[i])) {
            i += read_value(input, argc, argv, i);
            continue;
        }
        // any other word than a switch is skipped silently
        for (const Switch& s : kSwitches)
            if (strcmp(argv[i], s.flag) == 0) input->*s.field = 1;
    }
}
