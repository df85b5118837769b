// Command mode, shared between its sources: the run's objects the commands work
// on, the command table (ZEMU-cmd-table.cpp) and the command handlers (ZEMU-cmd.cpp).
#ifndef ZEMU_CMD_INTERNAL_H
#define ZEMU_CMD_INTERNAL_H

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "ZEMU.h"

namespace zemu_cmd {

// The run's objects the commands work on.
struct Context {
    ZEMU_cube* cube;
    ZEMU_cif* cif;
    ZEMU_pathlib* pathlib;
    ZEMU_reaction_pathway_overall* rp_all;
    ZEMU_input* input;
};

// A command's result: go on reading, leave the command mode, or leave it with 1.
enum Result { CONTINUE, END, FAIL };

// The words of a line: split at spaces (runs of spaces count as one), the line end removed.
typedef std::vector<std::string> Words;

struct Command;
typedef Result (*Handler)(Context* ctx, const Command& command, const char* line, const Words& w);

// One row of the command table: everything the read loop, the help list, the
// help pages and the usage messages know of one command.
struct Command {
    const char* keyword;  // prefix of the lines it takes (a line end or blank in it counts); null: listed only
    Handler run;          // null for a row that is only listed
    const char* usage;    // text after "Error: Format " when arguments are missing; null: none
    const char* listing;  // its line in the help list (printed with a line end); null: not listed
    const char* topic;    // "help <topic>" shows the page; null: no page
    const char* page;     // the help page
};

// The table, in the order of the help list.
extern const Command kCommands[];

// The command a line starts with: the longest keyword that prefixes it (so
// "energy max" wins over "energy "); null when none does.
const Command* find_command(const char* line);

// Check that a grid / a structure is loaded; print the error otherwise.
bool need_grid(Context* ctx);
bool need_structure(Context* ctx);

// A report on the grid / on the structure, printed when it is loaded.
template <int (*Print)(ZEMU_cube*, FILE*)>
Result grid_report(Context* ctx, const Command&, const char*, const Words&) {
    if (need_grid(ctx)) Print(ctx->cube, stdout);
    return CONTINUE;
}
template <int (*Print)(ZEMU_cif*, FILE*)>
Result structure_report(Context* ctx, const Command&, const char*, const Words&) {
    if (need_structure(ctx)) Print(ctx->cif, stdout);
    return CONTINUE;
}

// Other handlers (ZEMU-cmd.cpp), in the order of the table.
Result cmd_grid(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_frac(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_angle(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_neighbour_minima(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_neighbour_saddle(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_energy(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_energy_max(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_distance(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_print_pathlib(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_connect(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_isdirectpath(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_isminimum(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_del_pathlib(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_del_minimum(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_del_saddletype(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_gensym(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_gensymf(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_fastgensym(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_export_cif(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_restart(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_end(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_energy_neighbour(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_index(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_slice_plane(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_vesta(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_totalgrid(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_hk(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_diff_neigh(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_network(Context* ctx, const Command& command, const char* line, const Words& w);
Result cmd_charge(Context* ctx, const Command& command, const char* line, const Words& w);

}  // namespace zemu_cmd

#endif
