// End-to-end runs of zemu-screen: the bundled examples against zemu and the
// reference grid barriers, a folder with broken files, kept reports against
// zemu's, and the command line's refusals. Built
// when the executable is (ZEMU_SCREEN_EXE names it).
#ifdef ZEMU_SCREEN_EXE

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "fixtures.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

RunResult screen(const WorkDir& dir, const std::vector<std::string>& args) {
    return dir.run_program(ZEMU_SCREEN_EXE, args);
}

// Rows of a JSON Lines table by file.
std::map<std::string, nlohmann::json> jsonl_rows(const std::string& text) {
    std::map<std::string, nlohmann::json> rows;
    for (const std::string& line : fx::lines_of(text)) {
        nlohmann::json j = nlohmann::json::parse(line);
        EXPECT_EQ(rows.count(j["file"]), 0u) << "row twice: " << j["file"];
        rows[j["file"].get<std::string>()] = j;
    }
    return rows;
}

// A folder of copies of the LiFePO4 structure under the given names.
void copies(const WorkDir& dir, const std::string& folder, const std::vector<std::string>& names) {
    std::filesystem::create_directories(dir.file(folder));
    const std::string cif = zemu_test::slurp(zemu_test::source_file("examples/LiFePO4/structure.cif"));
    for (const std::string& n : names) dir.write(folder + "/" + n, cif);
}

}  // namespace

TEST(ScreenCommand, BundledExamplesGiveZemusBarriersAndTheReferenceGridSpans) {
    struct Case { const char* example; const char* ion; const char* field; } cases[] = {
        {"LiFePO4", "Li1+", "span"}, {"Na2UO4", "Na1+", "span_scaled"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.example);
        WorkDir dir(false);
        const std::string folder = zemu_test::source_file(std::string("examples/") + c.example);
        RunResult r = screen(dir, {"--ion", c.ion, "-o", "rows.jsonl", folder});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, "");
        EXPECT_NE(r.err.find("Screened 1 structure in"), std::string::npos) << r.err;
        auto rows = jsonl_rows(dir.read("rows.jsonl"));
        ASSERT_EQ(rows.size(), 1u);
        const nlohmann::json& row = rows[folder + "/structure.cif"];
        ASSERT_EQ(row["status"], "ok") << row.dump();
        const nlohmann::json ref = nlohmann::json::parse(zemu_test::slurp(folder + "/reference.json"));
        const nlohmann::json& g = ref["grid_in_file"];
        EXPECT_EQ(row["grid"], std::to_string(g[0].get<int>()) + "x" + std::to_string(g[1].get<int>()) + "x" +
                                   std::to_string(g[2].get<int>()));
        const RunResult zemu = WorkDir().run({"--cube", folder + "/landscape.cube", "--cif", folder + "/structure.cif",
                                              c.ion, "--path", "--print-act"});
        for (int d = 1; d <= 3; d++) {
            const std::string k = std::to_string(d);
            char line[80];
            snprintf(line, sizeof line, "%dD activation energy: %.6f eV\n", d, row["e" + k + "d"].get<double>());
            EXPECT_TRUE(fx::contains(zemu.out, line)) << line << zemu.out;
            EXPECT_NEAR(row["grid_e" + k + "d"].get<double>(),
                        ref["percolation_exact_eV"]["E_" + k + "D"][c.field].get<double>(), 1e-6) << d;
        }
        EXPECT_EQ(row["consistent"], true);
    }
}

TEST(ScreenCommand, BrokenFilesCostTheirOwnRowsAndKeptReportsAreZemus) {
    WorkDir dir(false);
    copies(dir, "set", {"good.cif"});
    const std::string cif = zemu_test::slurp(zemu_test::source_file("examples/LiFePO4/structure.cif"));
    dir.write("set/truncated.cif", cif.substr(0, cif.size() / 2));
    dir.write("set/empty.cif", "");
    const char junk[] = "\x7f" "ELF\x01\x02\x00\xff garbage";  // binary, with a NUL inside
    dir.write("set/junk.cif", std::string(junk, sizeof junk - 1));
    RunResult r = screen(dir, {"--ion", "Li1+", "-j", "2", "-o", "rows.jsonl", "--keep", "kept", "set"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto rows = jsonl_rows(dir.read("rows.jsonl"));
    EXPECT_EQ(rows.size(), 4u);
    for (const auto& row : rows) EXPECT_NE(row.second["status"] == "error", row.second["error"] == "") << row.first;
    EXPECT_EQ(rows["set/good.cif"]["status"], "ok");
    EXPECT_EQ(rows["set/empty.cif"]["status"], "error");
    EXPECT_EQ(rows["set/junk.cif"]["status"], "error");
    std::set<std::string> kept;
    for (const auto& e : std::filesystem::directory_iterator(dir.file("kept/good"))) kept.insert(e.path().filename());
    EXPECT_EQ(kept, (std::set<std::string>{"landscape.cube", "structure.cif", "ZEMU_summary.txt", "ZEMU_rp.csv",
                                           "ZEMU.vesta"}));
    // the kept reports are what zemu writes for the kept landscape and structure
    WorkDir cli;
    cli.write("landscape.cube", dir.read("kept/good/landscape.cube"));
    RunResult zemu = cli.run({"--cube", "landscape.cube", "--cif", dir.file("kept/good/structure.cif"), "Li1+",
                              "--path", "--summary", "--vesta"});
    ASSERT_EQ(zemu.status, 0) << zemu.err;
    for (const char* name : {"ZEMU_summary.txt", "ZEMU_rp.csv", "ZEMU.vesta"})
        EXPECT_EQ(dir.read(std::string("kept/good/") + name), cli.read(name)) << name;
}

TEST(ScreenCommand, RefusesBadCommandLinesWithOneErrorLine) {
    WorkDir dir(false);
    copies(dir, "set", {"a.cif"});
    struct Case { std::vector<std::string> args; std::string err; } cases[] = {
        {{"--ion", "Li1+", "--shard", "0/2", "set"},
         "Error: --shard: invalid shard \"0/2\" (expected K/N with 1 <= K <= N)\n"},
        {{"--ion", "Li1+", "nothere"}, "Error: nothere: no such file or directory\n"},
        {{"--ion", "Li1+", "--resume", "set"}, "Error: --resume: needs an output file (-o)\n"},
        {{"--ion", "Li1+", "-o", "no/such/dir/rows.csv", "set"}, "Error: no/such/dir/rows.csv: No such file or directory\n"},
        {{"set"}, "Error: "},
    };
    for (const Case& c : cases) {
        RunResult r = screen(dir, c.args);
        EXPECT_EQ(r.status, 1) << c.args[0];
        EXPECT_EQ(r.err.substr(0, c.err.size()), c.err);
        EXPECT_EQ(fx::lines_of(r.err).size(), 1u) << r.err;
        EXPECT_EQ(r.out, "");
    }
}

#endif
