// End-to-end runs of zemu-screen: the bundled examples against zemu (barriers and
// kept reports) and the reference grid barriers, a folder with broken files, and
// the command line's refusals. Built when the executable is (ZEMU_SCREEN_EXE names it).
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

// A folder "set" with the LiFePO4 structure as good.cif.
std::string lifepo4_set(const WorkDir& dir) {
    std::filesystem::create_directories(dir.file("set"));
    const std::string cif = zemu_test::slurp(zemu_test::source_file("examples/LiFePO4/structure.cif"));
    dir.write("set/good.cif", cif);
    return cif;
}

}  // namespace

TEST(ScreenCommand, BundledExamplesGiveZemusBarriersAndReportsAndTheReferenceGridSpans) {
    struct Case { const char* example; const char* ion; const char* field; } cases[] = {
        {"LiFePO4", "Li1+", "span"}, {"Na2UO4", "Na1+", "span_scaled"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.example);
        WorkDir dir(false);
        const std::string folder = zemu_test::source_file(std::string("examples/") + c.example);
        RunResult r = dir.run_program(ZEMU_SCREEN_EXE, {"--ion", c.ion, "-o", "rows.jsonl", "--keep", "kept", folder});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, "");
        EXPECT_NE(r.err.find("Screened 1 structure in"), std::string::npos) << r.err;
        const nlohmann::json row = nlohmann::json::parse(dir.read("rows.jsonl"));  // one row
        EXPECT_EQ(row["file"], folder + "/structure.cif");
        ASSERT_EQ(row["status"], "ok") << row.dump();
        const nlohmann::json ref = nlohmann::json::parse(zemu_test::slurp(folder + "/reference.json"));
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
        // the kept reports are what zemu writes for the kept landscape and structure
        WorkDir cli;
        cli.write("landscape.cube", dir.read("kept/structure/landscape.cube"));
        ASSERT_EQ(cli.run({"--cube", "landscape.cube", "--cif", dir.file("kept/structure/structure.cif"), c.ion,
                           "--path", "--summary", "--vesta"}).status, 0);
        for (const char* name : {"ZEMU_summary.txt", "ZEMU_rp.csv", "ZEMU.vesta"})
            EXPECT_EQ(dir.read(std::string("kept/structure/") + name), cli.read(name)) << name;
    }
}

TEST(ScreenCommand, BrokenFilesCostTheirOwnRowsAndKeptFilesArePerStructure) {
    WorkDir dir(false);
    const std::string cif = lifepo4_set(dir);
    dir.write("set/truncated.cif", cif.substr(0, cif.size() / 2));
    dir.write("set/empty.cif", "");
    const char junk[] = "\x7f" "ELF\x01\x02\x00\xff garbage";  // binary, with a NUL inside
    dir.write("set/junk.cif", std::string(junk, sizeof junk - 1));
    RunResult r =
        dir.run_program(ZEMU_SCREEN_EXE, {"--ion", "Li1+", "-j", "2", "-o", "rows.jsonl", "--keep", "kept", "set"});
    ASSERT_EQ(r.status, 0) << r.err;
    std::map<std::string, nlohmann::json> rows;  // by file, each once
    for (const std::string& line : fx::lines_of(dir.read("rows.jsonl"))) {
        const nlohmann::json j = nlohmann::json::parse(line);
        EXPECT_TRUE(rows.emplace(j["file"].get<std::string>(), j).second) << line;
    }
    EXPECT_EQ(rows.size(), 4u);
    for (const auto& row : rows) EXPECT_NE(row.second["status"] == "error", row.second["error"] == "") << row.first;
    EXPECT_EQ(rows["set/good.cif"]["status"], "ok");
    EXPECT_EQ(rows["set/empty.cif"]["status"], "error");
    EXPECT_EQ(rows["set/junk.cif"]["status"], "error");
    std::set<std::string> kept;
    for (const auto& e : std::filesystem::directory_iterator(dir.file("kept/good"))) kept.insert(e.path().filename());
    EXPECT_EQ(kept, (std::set<std::string>{"landscape.cube", "structure.cif", "ZEMU_summary.txt", "ZEMU_rp.csv",
                                           "ZEMU.vesta"}));
}

TEST(ScreenCommand, RefusesBadCommandLinesWithOneErrorLine) {
    WorkDir dir(false);
    lifepo4_set(dir);
    struct Case { std::vector<std::string> args; std::string err; } cases[] = {
        {{"--ion", "Li1+", "--shard", "0/2", "set"},
         "Error: --shard: invalid shard \"0/2\" (expected K/N with 1 <= K <= N)\n"},
        {{"--ion", "Li1+", "nothere"}, "Error: nothere: no such file or directory\n"},
        {{"--ion", "Li1+", "--resume", "set"}, "Error: --resume: needs an output file (-o)\n"},
        {{"--ion", "Li1+", "-o", "no/such/dir/rows.csv", "set"},
         "Error: no/such/dir/rows.csv: No such file or directory\n"},
    };
    for (const Case& c : cases) {
        RunResult r = dir.run_program(ZEMU_SCREEN_EXE, c.args);
        EXPECT_EQ(r.status, 1) << c.args[0];
        EXPECT_EQ(r.err.substr(0, c.err.size()), c.err);
        EXPECT_EQ(fx::lines_of(r.err).size(), 1u) << r.err;
        EXPECT_EQ(r.out, "");
    }
}

#endif
