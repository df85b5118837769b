// Command mode: the interactive commands that query and edit a finished run,
// with the CIF export command.
#ifndef ZEMU_CMD_H
#define ZEMU_CMD_H

#include <cstddef>
#include "ZEMU-cif.h"
#include "ZEMU-cube.h"
#include "ZEMU-input.h"
#include "ZEMU-path.h"

// ---------------------------------------------------------------------------
// Command mode and the CIF export command
// ---------------------------------------------------------------------------

// Command mode: reads commands from standard input and works on the run's
// objects in place, until "end" (or the end of the input): 0. 1 when collecting
// the paths of "connect" runs out of memory or joining them fails.
int ZEMU_parse_command_mode_input(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib,
                                  ZEMU_reaction_pathway_overall* rp_all, ZEMU_input* input);

// Most words the export command takes from its line.
#define ZEMU_CMD_EXPORT_MAX_WORDS 16

// "help\n" prints the command list, "help <command>\n" that command's usage
// block; non-zero when the line was a help request (and its text printed).
int ZEMU_cmd_help(char* line);
// Splits a line into at most argv_size words in place: white space separates,
// a double-quoted word may hold blanks. Number of words stored.
size_t ZEMU_tokenize_string(char* string, char** argv, size_t argv_size);
// "export cif ..." (the whole line as typed): writes a copy of the structure,
// optionally with the analysis results, as CIF. 0, or 1 when the P1 expansion fails.
int ZEMU_cmd_export_cif(char* cmd, ZEMU_cube* cube, ZEMU_cif* cif);

#endif
