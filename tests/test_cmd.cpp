// Command mode end to end: commands typed into "zemu --cmd" on the small
// landscape of cmd_fixtures.h, with outputs derived from the landscape formula.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>

#include "fixtures.h"

using fx::Session;
using fx::command_output;
using fx::contains;

namespace {

// The 27 energy lines of "energy neighbour" around (x, y, z), from the formula.
std::string expected_block(int x, int y, int z) {
    std::string text;
    char line[96];
    for (int i = x - 1; i <= x + 1; i++)
        for (int j = y - 1; j <= y + 1; j++)
            for (int k = z - 1; k <= z + 1; k++) {
                snprintf(line, sizeof line, "Energy of %d %d %d : %f\n", i, j, k,
                         fx::landscape_energy((i + 8) % 8, (j + 8) % 8, (k + 8) % 8));
                text += line;
            }
    return text;
}

// Commands of one session and the exact command output they give (and the
// exact standard error, when given).
struct Exchange {
    const char* name;
    std::string commands, out;
    const char* err = nullptr;  // not checked
};

void check(const std::vector<Exchange>& cases, std::vector<std::string> options = {}) {
    for (const Exchange& c : cases) {
        SCOPED_TRACE(c.name);
        Session s;
        auto r = s.run(c.commands, options);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(command_output(r.out), c.out);
        ASSERT_GE(r.out.size(), 21u);
        EXPECT_EQ(r.out.substr(r.out.size() - 21), "Exit command mode...\n");  // the last line
        if (c.err) {
            EXPECT_EQ(r.err, c.err);
        }
    }
}

const char kGrid[] = "Number of grid elements [a,b,c] = [8,8,8]\n";

}  // namespace

// ---------------------------------------------------------------------------
// Read loop
// ---------------------------------------------------------------------------

TEST(CommandMode, ReadLoopEndsAtEndOrEndOfInputAndSkipsUnknownLinesSilently) {
    check({
        {"end of input leaves like end", "totalgrid\n", kGrid},
        {"end stops reading", "end\ntotalgrid\n", ""},
        {"unknown lines", "hello\nEnergy 2 4 4\nenergyx\nperc 1.0\nprint minima \nbv \n\nhk\ntotalgrid\nend\n", kGrid,
         ""},
        // A 1002-character line is two reads: neither piece is "end\n".
        {"overlong lines", std::string(998, 'x') + "end\nenergy 2 4 4 " + std::string(5000, '7') + "\ntotalgrid\n",
         std::string("Energy of 2 4 4 : 0.000000 eV\n") + kGrid},
    });
}

TEST(CommandMode, HostileArgumentsNeverCrash) {
    Session s;
    auto r = s.run(
        "energy 2147483647 -2147483648 99999999999999999\nenergy neighbour 2147483647 -2147483648 0\n"
        "index -16 -17 99999\nisminimum -14 4 4\nangle 1 1 1 1 1 1 1 1 1\nneighbour minima 0 0 0 2000000000\n"
        "neighbour saddle -99 -99 -99 1\ngrid 1e300 nan -inf\ngensym -1 -1 -1\nfastgensym 99999999 0 0\n"
        "gensymf nan inf -1e300\nenergy max 1e308\nenergy max nan\nnetwork 1e300\n"
        "isdirectpath -999999999 0 0 999999999 0 0\nslice plane z 99999999999\ndel minimum 99999999999\n"
        "connect -99999999999\nrestart cubecubecube pathlib reacpath\nend\n",
        {"--path"});
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(contains(r.out, "Energy of 1000000 -1000000 1000000 : 1.800000 eV\n"));
    EXPECT_TRUE(contains(r.out, "(-14,4,4) is an energy minimum\n"));
    EXPECT_TRUE(contains(r.out, "Angle: 0.000 rad (0.000 deg)\n"));
    EXPECT_TRUE(contains(r.err, "Error: Number of neighbours must not exceed 1000.\n"));
    EXPECT_TRUE(contains(r.out, "Grid coordinates: 0 0 0\n\n"));
    EXPECT_TRUE(contains(r.out, "Exit command mode...\n"));
}

// Inputs the command-mode fuzz harness found (tests/data/fuzz/cmd_*.txt), replayed
// as typed, with the answers they must give.
TEST(CommandMode, FuzzFindingsStayFixed) {
    Session s;
    // "grid" with a coordinate whose product with the grid count overflows: the
    // whole-number coordinate lies on the origin.
    auto r = s.run(zemu_test::slurp(zemu_test::data_file("fuzz/cmd_grid_overflow.txt")) + "\n" +
                   "grid 1e308 -1e308 1.7e308\ngrid 0.125 1e307 -0.25\n");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(contains(command_output(r.out), "Grid coordinates: 0 0 2\n\nGrid coordinates: 0 0 0\n\n"
                                                "Grid coordinates: 1 0 6\n\n"));
}

// ---------------------------------------------------------------------------
// Help
// ---------------------------------------------------------------------------

TEST(CommandModeHelp, EveryTopicHasAUsageBlockAndOthersShowTheList) {
    const char* topics[] = {"bv",           "grid",          "frac",       "index",        "angle",
                            "neighbour",    "distance",      "slice plane", "print minima", "print saddle",
                            "print pathlib", "energy",       "energy max", "connect",      "isdirectpath",
                            "isminimum",    "del",           "gensym",     "gensymf",      "export cif",
                            "restart",      "end"};
    Session s;
    std::string commands;
    for (const char* t : topics) commands += std::string("help ") + t + "\n";
    std::string out = command_output(s.run(commands + "help perc\n").out);
    // A topic without a usage block ("perc") shows the list, after the last block.
    size_t list = out.find("\nList of commands:\n");
    ASSERT_NE(list, std::string::npos);
    EXPECT_GT(list, out.find("\nCommand: end"));
    EXPECT_EQ(out.find("\nCommand: bv"), 0u);
    size_t pos = 0;
    for (const char* t : topics) {
        SCOPED_TRACE(t);
        size_t block = out.find("\nCommand: " + std::string(t), pos);
        ASSERT_NE(block, std::string::npos);
        size_t next = std::min(out.find("\nCommand: ", block + 1), list);
        size_t rule = out.find("\n----------", block + 1), item = out.find("\n- ", block + 1);
        EXPECT_LT(rule, item);
        EXPECT_LT(item, out.find("\nExample", block + 1));
        EXPECT_LT(out.find("\nExample", block + 1), next);
        pos = block + 1;
    }
    // The texts keep their own spelling.
    for (const char* word : {"renalyzes", "charactized", "Exporst"}) EXPECT_TRUE(contains(out.substr(0, list), word));
}

// ---------------------------------------------------------------------------
// Grid, structure and stationary-point queries
// ---------------------------------------------------------------------------

TEST(CommandModeQueries, ExactAnswersOfTheHelpListAndTheQueriesOnTheLandscape) {
    check({
        {"help", "help\n",
         "\nList of commands:\n"
         "\tgrid          - converts fractional coordinates to grid coordinates\n"
         "\tfrac          - converts grid coordinates to fractional coordinates\n"
         "\tangle         - finds angles between two vectors formed by three grid coordinates\n"
         "\tneighbour     - finds the N nearest minima/saddle from a specified coordinate\n"
         "\tenergy        - prints energy at specified grid coordinates\n"
         "\tenergy max    - sets the maximum energy threshold for pathway analysis\n"
         "\tdistance      - calculates distance between two coordinates\n"
         "\tprint minima  - prints summary of local minima\n"
         "\tprint saddle  - prints summary of saddle points\n"
         "\tprint pathlib - prints summary of paths\n"
         "\tconnect       - joins several paths together to form a long reaction path\n"
         "\tisdirectpath  - checks if there is a direct path between two minima sites\n"
         "\tisminimum     - checks if the specified location corresponds to a minimum\n"
         "\tdel           - deletes certain entries from the libraries (pathway, site, etc.)\n"
         "\tperc          - percolation info at certain energy threshold\n"
         "\tgensym        - generates symmetrical copies of specified grid coordinates\n"
         "  export cif    - exports the CIF content\n"
         "\trestart       - renalyzes the pathway\n"
         "\tend           - exit command mode\n"
         "\n"
         "For more info on each command type help <command>, e.g. help connect\n"},
        // "energy max" is tried before "energy ", "gensymf " before "gensym ",
        // "print ion type" takes "print ion types".
        {"keywords matched by prefix in table order", "energy max\ngensymf 0.1 0.2 0.3\nprint ion types\n",
         "Current maximum energy threshold is 5.000 eV.\n"
         "    Frac.x  Frac.y  Frac.z\n 1. 0.1000000000  0.2000000000  0.3000000000\n"
         " 2. 0.9000000000  0.8000000000  0.7000000000\nloop_\n_atom_type_symbol\n_atom_type_oxidation_number\n"
         "Li1+     1.000\nO2-      -2.000\n"},
        {"energy and conversions",
         "energy 2 4 4\nenergy 4 4 4\nenergy -6 12 -4\nenergy 0 0 0\n"
         "frac 2 4 4\nfrac 9 -1 0\ngrid 0.25 0.5 0.5\ngrid 0.99 -0.01 1.5\ntotalgrid\n",
         std::string("Energy of 2 4 4 : 0.000000 eV\nEnergy of 4 4 4 : 1.000000 eV\n"
                     "Energy of -6 12 -4 : 0.000000 eV\nEnergy of 0 0 0 : 1.800000 eV\n"
                     "Fractional coordinates: 0.250000 0.500000 0.500000\n\n"
                     "Fractional coordinates: 1.125000 -0.125000 0.000000\n\n"
                     "Grid coordinates: 2 4 4\n\nGrid coordinates: 0 0 4\n\n") +
             kGrid},
        {"energy neighbour with unwrapped indices", "energy neighbour 0 0 0\nenergy neighbour 2 4 4\n",
         expected_block(0, 0, 0) + expected_block(2, 4, 4)},
        {"energy max shows, sets and refuses",
         "energy max\nenergy max 0.5\nenergy max\nenergy max 0\nenergy max -1\nenergy max abc\nenergy max 1000\n",
         "Current maximum energy threshold is 5.000 eV.\n"
         "Maximum energy threshold is now changed to 0.500 eV.\n"
         "Current maximum energy threshold is 0.500 eV.\n",
         "Error: Energy threshold must be positive...\nError: Energy threshold must be positive...\n"
         "Error: Energy threshold must be positive...\nError: Energy threshold must not exceed 999.0 eV...\n"},
        // Voxels are 0.5 x 1 x 1 Angstrom: (0,0,0)-(4,4,4) is sqrt(2^2 + 4^2 + 4^2) = 6.
        {"geometry", "distance 0 0 0 4 4 4\ndistance 2 4 4 6 4 4\nangle 2 4 4 4 4 4 6 4 4\nangle 2 4 4 4 4 4 4 5 4\n",
         "Distance between (0,0,0) and (4,4,4) in Angstrom: 6.000000\n"
         "Distance between (2,4,4) and (6,4,4) in Angstrom: 2.000000\n"
         "Angle: 3.142 rad (180.000 deg)\nAngle: 1.571 rad (90.000 deg)\n"},
        {"cluster counts and minimum test",
         "index 4 4 4\nindex 2 4 4\nindex 1 4 4\nindex 2 0 4\nisminimum 2 4 4\nisminimum 3 4 4\nisminimum 14 4 4\n",
         "Number of clusters (of lower energy) around 4 4 4 : 2\n"
         "Number of clusters (of lower energy) around 2 4 4 : 0\n"
         "Number of clusters (of lower energy) around 1 4 4 : 1\n"
         "Number of clusters (of lower energy) around 2 0 4 : 2\n"
         "(2,4,4) is an energy minimum\n(3,4,4) is NOT an energy minimum\n(14,4,4) is an energy minimum\n"},
        // From (0,4,4): (2,4,4) at 1 Angstrom, the image of (6,4,4) one cell down
        // at 1 Angstrom (found in the second shell, so after the equal first), then (6,4,4).
        {"nearest minima and saddles", "neighbour minima 0 4 4 3\nneighbour saddle 3 4 4 2\n",
         "Searching for the nearest 3 energy minima from (0,4,4) (0.000,0.500,0.500)\n"
         "> 1 (Li1) : (2,4,4) (0.250,0.500,0.500), 1.000 Angstrom\n"
         "> 2 (Li1) : (-2,4,4) (-0.250,0.500,0.500), 1.000 Angstrom\n"
         "> 3 (Li1) : (6,4,4) (0.750,0.500,0.500), 3.000 Angstrom\n"
         "End of search\n"
         "Searching for the nearest 2 saddle points from (3,4,4) (0.375,0.500,0.500)\n"
         "> 1 : (4,4,4) (0.500,0.500,0.500), 0.500 Angstrom\n"
         "> 2 : (0,4,4) (0.000,0.500,0.500), 1.500 Angstrom\n"
         "End of search\n"},
        {"symmetric copies", "fastgensym 2 4 4\nfastgensym 0 0 0\ngensym 1 2 3\ngensymf 0.5 0 0\n",
         "\nTotal symmetrical copies in unit cell: 2\n         X     Y     Z\n  1.     2     4     4\n"
         "  2.     6     4     4\n"
         "\nTotal symmetrical copies in unit cell: 1\n         X     Y     Z\n  1.     0     0     0\n"
         "\nTotal symmetrical copies in unit cell: 2\n    Grid.x  Grid.y  Grid.z\n"
         " 1.     1     2     3\n 2.     7     6     5\n"
         "    Frac.x  Frac.y  Frac.z\n 1. 0.5000000000  0.0000000000  0.0000000000\n"},
        {"structure reports", "charge\ndiff_neigh\nprint symops\n",
         "Total charge per unit cell: 0.000\n"
         "Environment of two symmetrically equivalent grid points (in terms of their 26 neighbours) is "
         "identical.\n"
         "loop_\n_symmetry_equiv_pos_site_id\n_symmetry_equiv_pos_as_xyz\n  1   'x,y,z'\n  2   '-x,-y,-z'\n"},
    });
}

TEST(CommandModeQueries, BondValenceStationaryPointAndVestaReports) {
    Session s;
    auto r = s.run("gii\nbv\nprint minima\nprint saddle\nvesta\n");
    EXPECT_EQ(r.status, 0);
    std::string out = command_output(r.out);
    EXPECT_TRUE(contains(out, "Global instability index: "));
    EXPECT_TRUE(contains(out, "Printing bond valence sum for each site...\n> Label [X Y Z] : BV_sum\n"));
    EXPECT_TRUE(contains(out, "Total local minima in unit cell: 2\r\nTotal symmetrically inequivalent: 1\r\n"));
    EXPECT_TRUE(contains(out, "Minima type: Li1 (Energy: 0.000000 eV)\r\n"));
    EXPECT_TRUE(contains(out, "Total local saddle in unit cell: 6\r\nTotal symmetrically inequivalent: 4\r\n"));
    EXPECT_TRUE(contains(out, "Saddle type: s1 (Energy: 0.200000 eV)\r\n"));
    EXPECT_TRUE(contains(out, "Saddle type: s2 (Energy: 0.600000 eV)\r\n"));
    EXPECT_EQ(s.dir.read("ZEMU.vesta").rfind("#VESTA_FORMAT_VERSION 3.3.0\n", 0), 0u);
}

// ---------------------------------------------------------------------------
// Error messages
// ---------------------------------------------------------------------------

TEST(CommandModeErrors, FormatAndRangeMessages) {
    // Each command of a group gives the group's message.
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"neighbour minima 0 0 0 0", "neighbour saddle 0 0 0 -3"},
         "Error: Number of neighbours must be greater than zero.\n"},
        {{"network ", "network 1 2"}, "Error: Format is network [energy]\n"},
        {{"fastgensym 1 2"}, "Error: Format gensym x y z\n"},
        {{"isminimum 1 2", "isminimum 1 2 3 4"}, "Error: Format isminimum <x> <y> <z> (grid coordinates)\n"},
        {{"isdirectpath 1 2 3"},
         "Error: Format isdirectpath <x1> <y1> <z1> <x2> <y2> <z2> (grid coordinates of two minima)\n"},
        {{"del pathlib 0", "del pathlib 3"}, "Error: Path index must be > 0 and <= 2...\n"},
        {{"del minimum 0", "del minimum 2"}, "Error: Minimum type must be > 0 and <= 1...\n"},
        {{"del saddletype 5"}, "Error: Saddle type must be > 0 and <= 4...\n"},
        {{"connect 0", "connect 3", "connect -3"},
         "Error: Input path type must be greater than 0 and smaller than 3...\n"},
        {{"slice plane x 8", "slice plane y -1"}, "Error: Input plane is out of unit cell\n"},
        {{"slice plane z"}, ""},
    };
    std::string commands, errors;
    for (const auto& c : cases)
        for (const char* command : c.first) {
            commands += std::string(command) + "\n";
            errors += c.second;
        }
    Session s;
    auto r = s.run(commands, {"--path"});
    EXPECT_EQ(command_output(r.out), "");
    EXPECT_EQ(r.err.substr(r.err.find("Error")), errors);
    // An abandoned "connect" leaves its file created and empty.
    EXPECT_TRUE(s.dir.exists("ZEMU_rp_manual.csv"));
    EXPECT_EQ(s.dir.read("ZEMU_rp_manual.csv"), "");
}

TEST(CommandModeErrors, CommandsWithoutTheirInputs) {
    zemu_test::WorkDir dir;
    auto r = dir.run({"--cmd"}, "print minima\nprint saddle\ntotalgrid\nenergy 1 2 3\nprint pathlib\n"
                                "charge\nexport cif\ndel minimum 1\n");
    EXPECT_EQ(r.status, 0);
    const std::string no_cube = "Error: No CUBE file has been loaded yet.\n";
    const std::string no_cif = "Error: No CIF file has been loaded yet.\n";
    EXPECT_EQ(r.err, no_cube + no_cube + no_cube + no_cube + "Error: Pathway has not been generated.\n" + no_cif +
                         no_cif + "Error: Minimum type must be > 0 and <= 0...\n");
    EXPECT_FALSE(dir.exists("ZEMU.cif"));

    // With a grid but without --path there is no library either.
    Session s;
    EXPECT_EQ(s.run("print pathlib\n").err, "Error: Pathway has not been generated.\n");
}

TEST(CommandModeErrors, UnwritableOutputFilesAreReported) {
    Session s;
    // A directory in the way of each output file makes it unwritable.
    for (const char* name : {"ZEMU_rp_manual.csv", "plane.csv", "ZEMU_rp.csv"})
        ASSERT_EQ(mkdir(s.dir.file(name).c_str(), 0755), 0);
    auto r = s.run("connect 1\nslice plane x 0\nrestart reacpath\nrestart\n", {"--path"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err.substr(r.err.find("Error: Unable to write to ZEMU_rp_manual.csv")),
              "Error: Unable to write to ZEMU_rp_manual.csv\nError: Unable to write to plane.csv\n"
              "Error: Unable to write to ZEMU_rp.csv\n");
    EXPECT_EQ(command_output(r.out),
              "Restarting the pathway analysis...\n> Reconstructing the reaction pathway...\n"
              "Restarting the pathway analysis...\nFinished restarting.\n");
}

TEST(CommandModeErrors, StaleLibraryIsRefusedUntilRebuilt) {
    Session s;
    auto r = s.run("del saddletype 3\nprint pathlib\nnetwork all\nconnect 1\nisdirectpath 2 4 4 6 4 4\n"
                   "restart pathlib\nprint pathlib\n",
                   {"--path"});
    const std::string stale =
        "Error: Path library refers to deleted minima or saddle points. Type restart pathlib to rebuild it.\n";
    EXPECT_TRUE(contains(r.err, stale + stale + stale + stale));
    std::string out = command_output(r.out);
    EXPECT_TRUE(contains(out, "Finished restarting.\n"));
    EXPECT_TRUE(contains(out, "Listing all 1 paths (including equivalent ones)...\n"));
}

// ---------------------------------------------------------------------------
// Paths, network and the manual reaction pathway
// ---------------------------------------------------------------------------

TEST(CommandModePaths, LibraryAndDirectPathsBetweenMinimumImages) {
    Session s;
    auto r = s.run("print pathlib\nisdirectpath 2 4 4 6 4 4\nisdirectpath 2 4 4 -2 4 4\nisdirectpath 2 4 4 10 4 4\n"
                   "isdirectpath 2 4 4 3 4 4\n",
                   {"--path"});
    std::string out = command_output(r.out);
    EXPECT_TRUE(contains(out, "> Path 1 : Li1 (0.000 eV) to Li1 (0.000 eV) via s"));
    EXPECT_TRUE(contains(out, "> Path 2 : Li1 (0.000 eV) to Li1 (0.000 eV) via s"));
    size_t listing = out.find("\nListing all 2 paths (including equivalent ones)...\n");
    ASSERT_NE(listing, std::string::npos);
    EXPECT_EQ(out.substr(out.find("There is")),
              "There is direct path between (2,4,4) and (6,4,4)\n"
              "There is direct path between (2,4,4) and (-2,4,4)\n"
              "There is NO direct path between (2,4,4) and (10,4,4)\n");
    EXPECT_EQ(r.err.substr(r.err.find("Error")), "Error: Invalid input to ZEMU_is_direct_path_between_minima()\n");
}

TEST(CommandModePaths, NetworkAtAllSaddlesAndBelowTheLowestPath) {
    Session s;
    std::string out = command_output(s.run("network all\nnetwork 0.5\n", {"--path"}).out);
    const std::string header =
        "---------------------------------------------------------------------\r\n"
        "  Summary of pathway characteristics at different energy thresholds  \r\n"
        "---------------------------------------------------------------------\r\n\r\n";
    ASSERT_EQ(out.find(header), 0u);
    EXPECT_TRUE(contains(out, " Threshold energy: 1.000000 eV\r\n"));
    EXPECT_TRUE(contains(out, "> Percolating (1D) : Vector [1,0,0]\r\n"));
    // Below 1.0 eV no path is open: the second scan is its header alone.
    EXPECT_EQ(out.substr(out.size() - header.size()), header);
}

TEST(CommandModePaths, ConnectWritesTheJoinedPathToTheManualFile) {
    Session s;
    auto r = s.run("connect 1 -2\n", {"--path"});
    EXPECT_EQ(command_output(r.out),
              "Constructing user-defined reaction pathway...\n"
              "User-defined reaction pathway successfully written to ZEMU_rp_manual.csv.\n");
    // Minimum, half step, saddle, half step, minimum; the reversed second path
    // goes on from where the first ended. Steps of 0.5 Angstrom along a.
    std::string csv = s.dir.read("ZEMU_rp_manual.csv");
    const char* rows[] = {"0.000000,0.000000,Li1\n", "0.500000,0.500000\n", "1.000000,1.000000,s",
                          "1.500000,0.500000\n",     "2.000000,0.000000,Li1\n", "2.500000,0.500000\n",
                          "3.000000,1.000000,s",     "3.500000,0.500000\n",     "4.000000,0.000000,Li1\n"};
    size_t pos = 0;
    for (const char* row : rows) {
        ASSERT_EQ(csv.compare(pos, strlen(row), row), 0) << "at " << pos << " in\n" << csv;
        pos = csv.find('\n', pos) + 1;
    }
    EXPECT_EQ(csv.substr(pos), "END\n");
    EXPECT_TRUE(contains(csv, " 1.000000eV\n"));
}

// ---------------------------------------------------------------------------
// Editing and restart
// ---------------------------------------------------------------------------

TEST(CommandModeEditing, DeletedTypesRenumberTheRest) {
    Session s;
    std::string out = command_output(s.run("del saddletype 2\nprint saddle\n").out);
    EXPECT_EQ(out.find("Deleted saddle type 2\n"), 0u);
    EXPECT_TRUE(contains(out, "Total local saddle in unit cell: 4\r\nTotal symmetrically inequivalent: 3\r\n"));
    EXPECT_TRUE(contains(out, "Saddle type: s1 (Energy: 0.200000 eV)\r\n"));
    EXPECT_TRUE(contains(out, "Saddle type: s2 (Energy: 1.000000 eV)\r\n"));
    EXPECT_TRUE(contains(out, "Saddle type: s3 (Energy: 1.000000 eV)\r\n"));
    EXPECT_FALSE(contains(out, "s4"));
    EXPECT_FALSE(contains(out, "0.600000"));
    // The list indices close up: the saddles at 1.0 eV are now entries 2 and 3.
    EXPECT_TRUE(contains(out, "        2     "));
    EXPECT_TRUE(contains(out, "        3     "));
    EXPECT_FALSE(contains(out, "        4     "));

    auto m = s.run("del minimum 1\nprint minima\n");
    EXPECT_TRUE(contains(command_output(m.out), "Deleted minimum type 1\n"));
    EXPECT_TRUE(contains(m.out, "Total local minima in unit cell: 0\r\nTotal symmetrically inequivalent: 0\r\n"));
}

TEST(CommandModeEditing, DeletedPathLeavesOneAndRestartBringsItBack) {
    Session s;
    std::string out =
        command_output(s.run("del pathlib 1\nprint pathlib\nrestart pathlib\nprint pathlib\n", {"--path"}).out);
    ASSERT_EQ(out.find("Deleted path index 1 (path type "), 0u);
    size_t first = out.find("Listing all 1 paths");
    size_t restart = out.find("Restarting the pathway analysis...\n> Reconstructing the pathway library...\n"
                              "Finished restarting.\n");
    size_t second = out.find("Listing all 2 paths");
    EXPECT_LT(first, restart);
    EXPECT_LT(restart, second);
    EXPECT_NE(second, std::string::npos);
    EXPECT_FALSE(contains(out.substr(0, restart), "> Path 2 :"));
}

TEST(CommandModeEditing, BareRestartOnlyRewritesRequestedFiles) {
    Session s;
    EXPECT_EQ(command_output(s.run("restart\n").out), "Restarting the pathway analysis...\nFinished restarting.\n");
    EXPECT_FALSE(s.dir.exists("ZEMU_summary.txt"));

    // With --summary the file is rewritten after the edits.
    EXPECT_EQ(s.run("del saddletype 1\nrestart\n", {"--summary"}).status, 0);
    std::string summary = s.dir.read("ZEMU_summary.txt");
    EXPECT_TRUE(contains(summary, "Total local saddle in unit cell: 4\r\n"));
    EXPECT_TRUE(contains(summary, "Summary of minimum energy paths"));
    EXPECT_TRUE(contains(summary, "Summary of pathway characteristics at different energy thresholds"));
}

TEST(CommandModeEditing, RestartRunsSelectedStagesInFixedOrder) {
    Session s;
    std::string out = command_output(s.run("restart reacpath cube pathlib\nprint minima\n", {"--path", "--gui"}).out);
    // The stationary points are regrouped as the lists stand after their release
    // (the search is not run again), so every later stage works on empty lists.
    EXPECT_EQ(out.find("Restarting the pathway analysis...\n> Reconstructing the stationary points...\n"
                       "> Reconstructing the pathway library...\n> Reconstructing the reaction pathway...\n"
                       "> Auto-generated reaction pathway done.\nGUI output done.\nFinished restarting.\n"),
              0u);
    EXPECT_TRUE(contains(out, "Total local minima in unit cell: 0\r\n"));
    EXPECT_EQ(s.dir.read("ZEMU_rp.csv"), "END\n");
    EXPECT_TRUE(s.dir.exists("ZEMU_gui.csv"));

    Session t;
    EXPECT_EQ(command_output(t.run("restart reacpath\n", {"--path"}).out),
              "Restarting the pathway analysis...\n> Reconstructing the reaction pathway...\n"
              "> Auto-generated reaction pathway done.\nFinished restarting.\n");
    std::string csv = t.dir.read("ZEMU_rp.csv");
    EXPECT_EQ(csv.rfind("0.000000,0.000000,Li1", 0), 0u);
    EXPECT_EQ(csv.substr(csv.size() - 4), "END\n");
}

// ---------------------------------------------------------------------------
// Plane export
// ---------------------------------------------------------------------------

TEST(CommandModeExports, SlicePlaneWritesRowsOfTheRemainingAxes) {
    Session s;
    EXPECT_EQ(command_output(s.run("slice plane z 0\n").out), "Successfully exported plane z = 0 to plane.csv.\n");
    std::string expected;
    char value[32];
    for (int x = 0; x < 8; x++) {  // a z plane: rows over x, values over y
        for (int y = 0; y < 8; y++) {
            snprintf(value, sizeof value, "%f,", fx::landscape_energy(x, y, 0));
            expected += value;
        }
        expected += "\n";
    }
    EXPECT_EQ(s.dir.read("plane.csv"), expected);

    EXPECT_EQ(command_output(s.run("slice plane x 3\n").out), "Successfully exported plane x = 3 to plane.csv.\n");
    std::string first_row;
    for (int z = 0; z < 8; z++) {  // an x plane: rows over y, values over z
        snprintf(value, sizeof value, "%f,", fx::landscape_energy(3, 0, z));
        first_row += value;
    }
    std::string csv = s.dir.read("plane.csv");
    EXPECT_EQ(csv.substr(0, csv.find('\n')), first_row);
}
