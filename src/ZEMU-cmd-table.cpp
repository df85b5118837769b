// Command mode: the command table (each command's keyword, handler, usage line,
// line in the help list and help page) and the help command that prints from it.
#include <cstdio>
#include <cstring>

#include "ZEMU-cmd-internal.h"

namespace zemu_cmd {

#define ZEMU_CMD_RULE "--------------------------------------------------------------------------------\n"

// The help list follows the table's order. The usage wording is our own; the old
// spellings "renalyzes", "charactized" and "Exporst" are kept as they are.
const Command kCommands[] = {
    {"grid ", cmd_grid, "grid <x> <y> <z> (fractional coordinates)",
     "\tgrid          - converts fractional coordinates to grid coordinates",
     "grid",
     "Command: grid <x> <y> <z>\n" ZEMU_CMD_RULE
     "- Converts fractional coordinates into grid coordinates\n"
     "- The nearest grid point is given, wrapped into the unit cell\n"
     "Example:\n"
     "  grid 0.25 0.5 0.5\n"},
    {"frac ", cmd_frac, "frac <x> <y> <z> (grid coordinates)",
     "\tfrac          - converts grid coordinates to fractional coordinates",
     "frac",
     "Command: frac <x> <y> <z>\n" ZEMU_CMD_RULE
     "- Converts grid coordinates into fractional coordinates\n"
     "Example:\n"
     "  frac 10 20 30\n"},
    {"angle", cmd_angle, "angle <x1> <y1> <z1> <x2> <y2> <z2> <x3> <y3> <z3> (grid coordinates of three points)",
     "\tangle         - finds angles between two vectors formed by three grid coordinates",
     "angle",
     "Command: angle <x1> <y1> <z1> <x2> <y2> <z2> <x3> <y3> <z3>\n" ZEMU_CMD_RULE
     "- Finds the angle at point 2 between the vectors to point 1 and to point 3\n"
     "- All three points are given in grid coordinates\n"
     "- The angle is printed in radians and in degrees\n"
     "Example:\n"
     "  angle 2 4 4 4 4 4 6 4 4\n"},
    {"neighbour minima", cmd_neighbour_minima, "neighbour minima <x> <y> <z> <N> (grid coordinates, number of neighbours)",
     "\tneighbour     - finds the N nearest minima/saddle from a specified coordinate",
     "neighbour",
     "Command: neighbour minima <x> <y> <z> <N>\n"
     "         neighbour saddle <x> <y> <z> <N>\n" ZEMU_CMD_RULE
     "- Finds the N nearest energy minima (or saddle points) of a grid point\n"
     "- Periodic images are searched, so a site may appear more than once\n"
     "- N must be greater than zero (at most 1000)\n"
     "Examples:\n"
     "  neighbour minima 0 0 0 5\n"
     "  neighbour saddle 10 10 10 3\n"},
    {"neighbour saddle", cmd_neighbour_saddle, "neighbour saddle <x> <y> <z> <N> (grid coordinates, number of neighbours)",
     nullptr, nullptr, nullptr},
    {"energy ", cmd_energy, "energy <x> <y> <z> (grid coordinates)",
     "\tenergy        - prints energy at specified grid coordinates",
     "energy",
     "Command: energy <x> <y> <z>\n"
     "         energy neighbour <x> <y> <z>\n" ZEMU_CMD_RULE
     "- Prints the energy (eV) at the specified grid coordinates\n"
     "- energy neighbour prints the energies of the 27 points of the 3 x 3 x 3 block\n"
     "  around the grid point\n"
     "- Grid coordinates outside the unit cell are wrapped periodically\n"
     "Examples:\n"
     "  energy 10 20 30\n"
     "  energy neighbour 10 20 30\n"},
    {"energy max", cmd_energy_max, nullptr,
     "\tenergy max    - sets the maximum energy threshold for pathway analysis",
     "energy max",
     "Command: energy max [energy]\n" ZEMU_CMD_RULE
     "- Without a value: prints the current maximum energy threshold (eV)\n"
     "- With a value: sets the maximum energy threshold (eV above the global minimum)\n"
     "- The value must be positive\n"
     "Examples:\n"
     "  energy max\n"
     "  energy max 1.5\n"},
    {"distance ", cmd_distance, "distance <x1> <y1> <z1> <x2> <y2> <z2> (grid coordinates of two points)",
     "\tdistance      - calculates distance between two coordinates",
     "distance",
     "Command: distance <x1> <y1> <z1> <x2> <y2> <z2>\n" ZEMU_CMD_RULE
     "- Calculates the distance in Angstrom between two grid points\n"
     "- No periodic image is sought: the coordinates are taken as they are given\n"
     "Example:\n"
     "  distance 0 0 0 4 4 4\n"},
    {"print minima\n", grid_report<ZEMU_printminima>, nullptr,
     "\tprint minima  - prints summary of local minima",
     "print minima",
     "Command: print minima\n" ZEMU_CMD_RULE
     "- Prints the summary of the energy minima, grouped by symmetry type\n"
     "Example:\n"
     "  print minima\n"},
    {"print saddle\n", grid_report<ZEMU_printsaddle>, nullptr,
     "\tprint saddle  - prints summary of saddle points",
     "print saddle",
     "Command: print saddle\n" ZEMU_CMD_RULE
     "- Prints the summary of the saddle points, grouped by symmetry type\n"
     "Example:\n"
     "  print saddle\n"},
    {"print pathlib\n", cmd_print_pathlib, nullptr,
     "\tprint pathlib - prints summary of paths",
     "print pathlib",
     "Command: print pathlib\n" ZEMU_CMD_RULE
     "- Prints the summary of the migration paths and of all their symmetric copies\n"
     "- Paths are numbered in ascending saddle energy; these numbers are used by\n"
     "  connect and del pathlib\n"
     "Example:\n"
     "  print pathlib\n"},
    {"connect ", cmd_connect, "connect <path1> <path2> ... (path numbers, negative for a reversed path)",
     "\tconnect       - joins several paths together to form a long reaction path",
     "connect",
     "Command: connect <path1> <path2> ...\n" ZEMU_CMD_RULE
     "- Joins several paths together to form a long reaction path\n"
     "- Paths are given by their numbers in print pathlib; a negative number walks\n"
     "  that path backwards\n"
     "- The reaction path is written to ZEMU_rp_manual.csv\n"
     "Example:\n"
     "  connect 1 -2 3\n"},
    {"isdirectpath ", cmd_isdirectpath, "isdirectpath <x1> <y1> <z1> <x2> <y2> <z2> (grid coordinates of two minima)",
     "\tisdirectpath  - checks if there is a direct path between two minima sites",
     "isdirectpath",
     "Command: isdirectpath <x1> <y1> <z1> <x2> <y2> <z2>\n" ZEMU_CMD_RULE
     "- Checks if one path leads directly from one energy minimum to another\n"
     "- Both points are grid coordinates of minima; coordinates outside the unit cell\n"
     "  name the minimum's image in that cell\n"
     "Example:\n"
     "  isdirectpath 2 4 4 6 4 4\n"},
    {"isminimum ", cmd_isminimum, "isminimum <x> <y> <z> (grid coordinates)",
     "\tisminimum     - checks if the specified location corresponds to a minimum",
     "isminimum",
     "Command: isminimum <x> <y> <z>\n" ZEMU_CMD_RULE
     "- Checks if the specified grid point is one of the energy minima found\n"
     "- Grid coordinates outside the unit cell are wrapped periodically\n"
     "Example:\n"
     "  isminimum 2 4 4\n"},
    {"del pathlib ", cmd_del_pathlib, nullptr,
     "\tdel           - deletes certain entries from the libraries (pathway, site, etc.)",
     "del",
     "Command: del pathlib <index>\n"
     "         del minimum <type>\n"
     "         del saddletype <type>\n" ZEMU_CMD_RULE
     "- del pathlib: deletes path <index> (as numbered by print pathlib) with all its copies\n"
     "- del minimum: deletes every energy minimum of the given type\n"
     "- del saddletype: deletes every saddle point of the given type\n"
     "- Later entries are renumbered; type restart pathlib to rebuild the paths\n"
     "Examples:\n"
     "  del pathlib 2\n"
     "  del minimum 3\n"
     "  del saddletype 1\n"},
    {"del minimum ", cmd_del_minimum, nullptr,
     nullptr, nullptr, nullptr},
    {"del saddletype ", cmd_del_saddletype, nullptr,
     nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr,
     "\tperc          - percolation info at certain energy threshold", nullptr, nullptr},
    {"gensym ", cmd_gensym, "gensym <x> <y> <z> (grid coordinates)",
     "\tgensym        - generates symmetrical copies of specified grid coordinates",
     "gensym",
     "Command: gensym <x> <y> <z>\n"
     "         fastgensym <x> <y> <z>\n" ZEMU_CMD_RULE
     "- Generates the symmetrical copies of the specified grid coordinates\n"
     "- gensym goes through the fractional coordinates of each copy,\n"
     "  fastgensym applies the symmetry operations on the grid directly\n"
     "Examples:\n"
     "  gensym 2 4 4\n"
     "  fastgensym 2 4 4\n"},
    {"gensymf ", cmd_gensymf, "gensymf <x> <y> <z> (fractional coordinates)",
     nullptr,
     "gensymf",
     "Command: gensymf <x> <y> <z>\n" ZEMU_CMD_RULE
     "- Generates the symmetrical copies of the specified fractional coordinates\n"
     "Example:\n"
     "  gensymf 0.25 0.5 0.5\n"},
    {"fastgensym ", cmd_fastgensym, "gensym x y z",
     nullptr, nullptr, nullptr},
    {"export cif", cmd_export_cif, nullptr,
     "  export cif    - exports the CIF content",
     "export cif",
     "Command: export cif [P1] [ins] [sad] [updatecoor] [updatelabel] [-o <file>]\n"
     "                    [supercell <a> <b> <c>]\n" ZEMU_CMD_RULE
     "- Exporst the CIF content of the structure (to ZEMU.cif unless -o is given)\n"
     "- P1: removes the symmetry (every site written in P1)\n"
     "- ins: adds the interstitial sites (type IS)\n"
     "- sad: adds the saddle points (type SD)\n"
     "- updatecoor: moves the mobile-ion sites onto the energy minima\n"
     "- updatelabel: the same, renaming the sites by element and number\n"
     "- -o <file>: writes to <file>; a name with spaces goes in double quotes\n"
     "- supercell <a> <b> <c>: writes an a x b x c supercell of the structure as loaded,\n"
     "  with whole atoms (the other options do not apply to it)\n"
     "Examples:\n"
     "  export cif ins sad -o analysed.cif\n"
     "  export cif supercell 2 2 1 -o \"super cell.cif\"\n"},
    {"restart", cmd_restart, nullptr,
     "\trestart       - renalyzes the pathway",
     "restart",
     "Command: restart [cube] [pathlib] [reacpath]\n" ZEMU_CMD_RULE
     "- renalyzes the pathway after changes (energy max, del)\n"
     "- cube: regroups the stationary points and reassigns the sites\n"
     "- pathlib: rebuilds the path library\n"
     "- reacpath: rebuilds the reaction pathway and writes ZEMU_rp.csv\n"
     "- ZEMU_summary.txt and ZEMU_gui.csv are rewritten when the run asked for them\n"
     "Example:\n"
     "  restart pathlib reacpath\n"},
    {"end\n", cmd_end, nullptr,
     "\tend           - exit command mode\n",
     "end",
     "Command: end\n" ZEMU_CMD_RULE
     "- Exits command mode\n"
     "Example:\n"
     "  end\n"},
    {"energy neighbour ", cmd_energy_neighbour, "energy neighbour <x> <y> <z> (grid coordinates)",
     nullptr, nullptr, nullptr},
    {"index ", cmd_index, "index <x> <y> <z> (grid coordinates)",
     nullptr,
     "index",
     "Command: index <x> <y> <z>\n" ZEMU_CMD_RULE
     "- Counts the separate clusters of lower energy among the 26 neighbours of a grid point\n"
     "- A point charactized by 2 or more clusters is a saddle point, one with none is a minimum\n"
     "- Grid coordinates outside the unit cell are wrapped periodically\n"
     "Example:\n"
     "  index 4 4 4\n"},
    {"bv\n", structure_report<ZEMU_print_bv_sum>, nullptr,
     nullptr,
     "bv",
     "Command: bv\n" ZEMU_CMD_RULE
     "- Calculates the bond valence sum of every site of the structure\n"
     "- Parameters are read from bin/database_binary.dat\n"
     "- See also gii (global instability index) and charge (total charge per unit cell)\n"
     "Example:\n"
     "  bv\n"},
    {"slice plane", cmd_slice_plane, "slice plane <x|y|z> <index>",
     nullptr,
     "slice plane",
     "Command: slice plane <x|y|z> <index>\n" ZEMU_CMD_RULE
     "- Exports the energies of one grid plane to plane.csv\n"
     "- x: rows run over y, values over z; y: rows over x, values over z;\n"
     "  z: rows over x, values over y\n"
     "- The index must lie from 0 to the number of grid points on that axis - 1\n"
     "Example:\n"
     "  slice plane z 0\n"},
    {"vesta\n", cmd_vesta, nullptr,
     nullptr, nullptr, nullptr},
    {"print ion type", structure_report<ZEMU_print_cif_types>, nullptr,
     nullptr, nullptr, nullptr},
    {"print symops\n", structure_report<ZEMU_print_cif_symops>, nullptr,
     nullptr, nullptr, nullptr},
    {"totalgrid\n", cmd_totalgrid, nullptr,
     nullptr, nullptr, nullptr},
    {"hk\n", cmd_hk, nullptr,
     nullptr, nullptr, nullptr},
    {"diff_neigh\n", cmd_diff_neigh, nullptr,
     nullptr, nullptr, nullptr},
    {"network ", cmd_network, "is network [energy]",
     nullptr, nullptr, nullptr},
    {"gii\n", structure_report<ZEMU_print_GII>, nullptr,
     nullptr, nullptr, nullptr},
    {"charge\n", cmd_charge, nullptr,
     nullptr, nullptr, nullptr},
};

const Command* find_command(const char* line) {
    const Command* found = nullptr;
    size_t longest = 0;
    for (const Command& command : kCommands) {
        if (command.keyword == nullptr) continue;
        size_t length = strlen(command.keyword);
        if (length > longest && strncmp(line, command.keyword, length) == 0) {
            found = &command;
            longest = length;
        }
    }
    return found;
}

}  // namespace zemu_cmd

namespace {

void print_command_list() {
    fputs("\nList of commands:\n", stdout);
    for (const zemu_cmd::Command& command : zemu_cmd::kCommands)
        if (command.listing) printf("%s\n", command.listing);
    fputs("For more info on each command type help <command>, e.g. help connect\n", stdout);
}

}  // namespace

int ZEMU_cmd_help(char* line) {
    if (strcmp(line, "help\n") == 0) {
        print_command_list();
        fflush(stdout);
        return 1;
    }
    if (strncmp(line, "help ", 5) != 0) return 0;

    // The topic is the rest of the line without its line end and trailing blanks.
    const char* topic = line + 5;
    size_t len = strlen(topic);
    while (len > 0 && (topic[len - 1] == '\n' || topic[len - 1] == '\r' || topic[len - 1] == ' ')) len--;
    for (const zemu_cmd::Command& command : zemu_cmd::kCommands) {
        if (command.topic && strlen(command.topic) == len && strncmp(command.topic, topic, len) == 0) {
            printf("\n%s\n", command.page);
            fflush(stdout);
            return 1;
        }
    }
    // A topic without a usage block: the list shows what there is.
    print_command_list();
    fflush(stdout);
    return 1;
}
