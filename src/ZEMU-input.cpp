// Command line: the words of the program's command line become one ZEMU_input.
#include <cstdlib>
#include <cstring>

#include "ZEMU.h"

namespace {

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
        printf(" Zemulator (ZEMU) version 3.0\n");
        printf(" > Please consult ZEMU_readme.txt for more details on available commands.\n");
        printf(" > Please report bugs or send suggestions to the maintainers through the project's issue tracker.\n");
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
