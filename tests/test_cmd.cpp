// Command mode end to end: sessions typed into "zemu --cmd" on the small
// landscape of fixtures.h, compared whole (standard output, standard error and
// every file written) with the recorded sessions in tests/data/cmd/, and the
// grid queries against the landscape formula.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "fixtures.h"

using fx::Session;

namespace {

// One recorded session: tests/data/cmd/<name>.in is typed into zemu run with
// `args`; <name>.out and <name>.err hold its standard output and error, and
// <name>.<file> each file listed (blanks in a name become '_'); a file listed
// as "!file" must not exist afterwards, one listed as "+file" must (its content
// is not recorded: a supercell's atoms come in random order).
struct Recorded {
    const char* name;
    const char* args;
    std::vector<std::string> files = {};
    std::vector<std::string> blocked = {};  // directories made first, so that these files cannot be written
    std::string cif = fx::p1bar_cif();
    const char* example = nullptr;  // a bundled example's landscape and structure in place of the fixture's
};

// The recording <session>.<what>.
std::string recorded(const std::string& session, std::string what) {
    for (char& c : what)
        if (c == ' ') c = '_';
    return zemu_test::slurp(zemu_test::data_file("cmd/" + session + "." + what));
}

void check(const Recorded& c) {
    SCOPED_TRACE(c.name);
    Session s(c.cif);
    if (c.example) {
        const std::string dir = std::string("examples/") + c.example;
        s.dir.write("l.cube", zemu_test::slurp(zemu_test::source_file(dir + "/landscape.cube")));
        s.dir.write("s.cif", zemu_test::slurp(zemu_test::source_file(dir + "/structure.cif")));
    }
    for (const std::string& b : c.blocked) ASSERT_EQ(mkdir(s.dir.file(b).c_str(), 0755), 0);
    std::istringstream in(c.args);
    std::vector<std::string> args;
    for (std::string w; in >> w;) args.push_back(w);
    zemu_test::RunResult r = s.dir.run(args, recorded(c.name, "in"));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, recorded(c.name, "out"));
    EXPECT_EQ(r.err, recorded(c.name, "err"));
    for (const std::string& f : c.files) {
        bool present = f[0] != '!';
        EXPECT_EQ(s.dir.exists(f[0] == '!' || f[0] == '+' ? f.substr(1) : f), present) << f;
        if (!present || f[0] == '+') continue;
        EXPECT_EQ(s.dir.read(f), recorded(c.name, f)) << f;
    }
}

const char kRun[] = "--cube l.cube --cif s.cif Li1+ --cmd";
const char kPaths[] = "--cube l.cube --cif s.cif Li1+ --path --cmd";
const char kOtherIon[] = "--cube l.cube --cif s.cif K1+ --cmd";

}  // namespace

// Read loop (unknown and overlong lines, "end", end of input), help, every query,
// the error and refusal messages, and what commands need that a run did not load.
TEST(CommandMode, QueriesHelpAndErrorsAsRecorded) {
    const Recorded cases[] = {
        {"loop_unknown", kRun}, {"loop_overlong", kRun}, {"hostile", kPaths}, {"fuzz_grid", kRun},
        {"help", kRun}, {"queries", kRun}, {"reports", kRun, {"ZEMU.vesta"}},
        {"errors", kPaths, {"ZEMU_rp_manual.csv"}}, {"no_inputs", "--cmd", {"!ZEMU.cif"}}, {"no_pathlib", kRun},
        {"unwritable", kPaths, {}, {"ZEMU_rp_manual.csv", "plane.csv", "ZEMU_rp.csv"}},
    };
    for (const Recorded& c : cases) check(c);
}

// Paths, network, the manual pathway, deletions and the restart stages with the files they rewrite.
TEST(CommandMode, PathsEditingAndRestartAsRecorded) {
    const Recorded cases[] = {
        {"stale", kPaths}, {"paths", kPaths}, {"network", kPaths}, {"connect", kPaths, {"ZEMU_rp_manual.csv"}},
        {"del_saddle", kRun}, {"del_minimum", kRun}, {"del_path", kPaths},
        {"restart_bare", kRun, {"!ZEMU_summary.txt"}},
        {"restart_summary", "--cube l.cube --cif s.cif Li1+ --summary --cmd", {"ZEMU_summary.txt"}},
        {"restart_all", "--cube l.cube --cif s.cif Li1+ --path --gui --cmd", {"ZEMU_rp.csv", "ZEMU_gui.csv"}},
        {"restart_reacpath", kPaths, {"ZEMU_rp.csv"}},
        {"gui", "--cube l.cube --cif s.cif Li1+ --path --gui --summary --cmd", {"ZEMU_gui.csv", "ZEMU_summary.txt"}},
        // The bundled LiFePO4 example: its group, operations, cell and sites in the VESTA blocks.
        {"lfp", "--cube l.cube --cif s.cif Li1+ --path --vesta --gui --cmd", {"ZEMU.vesta", "ZEMU_gui.csv", "ZEMU_rp.csv"},
         {}, "", "LiFePO4"},
    };
    for (const Recorded& c : cases) check(c);
}

// "export cif": default and named files, quoted names, options by prefix, the
// 16-word limit, refused exports that leave no file, and the structure held unchanged.
TEST(CommandMode, CifExportsAsRecorded) {
    const Recorded cases[] = {
        {"export_files", kRun, {"ZEMU.cif", "changed.cif", "again.cif", "my out.cif", "first.cif", "second.cif"}},
        {"export_p1", kOtherIon, {"out.cif", "prefixed.cif", "!ZEMU.cif"}},
        {"export_missing", kRun, {"!ZEMU.cif"}}, {"export_unwritable", kRun, {}, {"ZEMU.cif", "taken"}},
        {"export_refused", kRun, {"!big.cif", "!ZEMU.cif", "!half.cif", "!first.cif", "+fine.cif"}},
        {"export_words", kOtherIon, {"!late.cif"}},
        // The Li site sits off the grid minimum (0.26 instead of 0.25) under its own label.
        {"export_update", kRun, {"coor.cif", "label.cif", "sad.cif"}, {}, fx::p1bar_cif("LiA", 0.26)},
    };
    for (const Recorded& c : cases) check(c);
}

// The grid queries and the plane export against the landscape formula.
TEST(CommandMode, EnergiesAndPlanesFollowTheLandscapeFormula) {
    Session s;
    zemu_test::RunResult r = s.run("energy neighbour 0 0 0\nslice plane z 0\n");
    std::string block, plane, row;
    char text[96];
    for (int i = -1; i <= 1; i++)
        for (int j = -1; j <= 1; j++)
            for (int k = -1; k <= 1; k++) {
                snprintf(text, sizeof text, "Energy of %d %d %d : %f\n", i, j, k,
                         fx::landscape_energy((i + 8) % 8, (j + 8) % 8, (k + 8) % 8));
                block += text;
            }
    for (int x = 0; x < 8; x++)  // a z plane: rows over x, values over y
        for (int y = 0; y < 8; y++) {
            snprintf(text, sizeof text, "%f,%s", fx::landscape_energy(x, y, 0), y == 7 ? "\n" : "");
            plane += text;
            if (y > 0) continue;
            snprintf(text, sizeof text, "%f,", fx::landscape_energy(3, 0, x));  // x plane: rows over y, values over z
            row += text;
        }
    EXPECT_EQ(fx::command_output(r.out), block + "Successfully exported plane z = 0 to plane.csv.\n");
    EXPECT_EQ(s.dir.read("plane.csv"), plane);
    s.run("slice plane x 3\n");
    EXPECT_EQ(s.dir.read("plane.csv").substr(0, row.size() + 1), row + "\n");
}
