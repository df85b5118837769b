// End-to-end runs of zemu-screen: the bundled examples against zemu and the
// reference grid barriers, a folder with broken files, kept files, shards with
// resume, and the command line's refusals. Built when the executable is
// (ZEMU_SCREEN_EXE names it).
#ifdef ZEMU_SCREEN_EXE

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

namespace fs = std::filesystem;

RunResult screen(const WorkDir& dir, const std::vector<std::string>& args) {
    return dir.run_program(ZEMU_SCREEN_EXE, args);
}

std::map<std::string, nlohmann::json> jsonl_rows(const std::string& text) {
    std::map<std::string, nlohmann::json> rows;
    size_t start = 0;
    for (size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1) {
        nlohmann::json j = nlohmann::json::parse(text.substr(start, nl - start));
        EXPECT_EQ(rows.count(j["file"]), 0u) << "row twice: " << j["file"];
        rows[j["file"].get<std::string>()] = j;
    }
    return rows;
}

// "x.xxxxxx" of zemu's "<d>D activation energy: x.xxxxxx eV" lines for the bundled landscape.
std::vector<std::string> zemu_activation(const std::string& example, const std::string& ion) {
    WorkDir dir;
    RunResult r = dir.run({"--cube", zemu_test::source_file("examples/" + example + "/landscape.cube"), "--cif",
                           zemu_test::source_file("examples/" + example + "/structure.cif"), ion, "--path",
                           "--print-act"});
    EXPECT_EQ(r.status, 0) << r.err;
    std::vector<std::string> e;
    for (int d = 1; d <= 3; d++) {
        std::string key = std::to_string(d) + "D activation energy: ";
        size_t at = r.out.find(key);
        e.push_back(at == std::string::npos ? "" : r.out.substr(at + key.size(), r.out.find(' ', at + key.size()) -
                                                                                       at - key.size()));
    }
    return e;
}

std::string fixed6(const nlohmann::json& v) {
    char text[32];
    snprintf(text, sizeof text, "%.6f", v.get<double>());
    return text;
}

// A folder of copies of the LiFePO4 structure under the given names.
void copies(const WorkDir& dir, const std::string& folder, const std::vector<std::string>& names) {
    fs::create_directories(dir.file(folder));
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
        auto rows = jsonl_rows(dir.read("rows.jsonl"));
        ASSERT_EQ(rows.size(), 1u);
        const nlohmann::json& row = rows.begin()->second;
        ASSERT_EQ(row["status"], "ok") << row.dump();
        EXPECT_EQ(row["file"], folder + "/structure.cif");
        nlohmann::json ref = nlohmann::json::parse(zemu_test::slurp(folder + "/reference.json"));
        EXPECT_EQ(row["grid"], std::to_string(ref["grid_in_file"][0].get<int>()) + "x" +
                                   std::to_string(ref["grid_in_file"][1].get<int>()) + "x" +
                                   std::to_string(ref["grid_in_file"][2].get<int>()));
        std::vector<std::string> zemu = zemu_activation(c.example, c.ion);
        for (int d = 1; d <= 3; d++) {
            const std::string k = std::to_string(d);
            EXPECT_EQ(fixed6(row["e" + k + "d"]), zemu[d - 1]) << d;
            EXPECT_NEAR(row["grid_e" + k + "d"].get<double>(),
                        ref["percolation_exact_eV"]["E_" + k + "D"][c.field].get<double>(), 1e-6)
                << d;
        }
        EXPECT_EQ(row["consistent"], true);
        EXPECT_NE(r.err.find("Screened 1 structure in"), std::string::npos) << r.err;
    }
}

TEST(ScreenCommand, BrokenFilesCostTheirOwnRowsAndKeptFilesArePerStructure) {
    WorkDir dir(false);
    copies(dir, "set", {"good.cif"});
    const std::string cif = zemu_test::slurp(zemu_test::source_file("examples/LiFePO4/structure.cif"));
    dir.write("set/truncated.cif", cif.substr(0, cif.size() / 2));
    dir.write("set/empty.cif", "");
    const char junk[] = "\x7f" "ELF\x01\x02\x00\xff garbage";  // binary, with a NUL inside
    dir.write("set/junk.cif", std::string(junk, sizeof junk - 1));
    RunResult r = screen(dir, {"--ion", "Li1+", "-j", "2", "-o", "rows.csv", "--keep", "kept", "set"});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string csv = dir.read("rows.csv");
    EXPECT_EQ(csv.find("file,status,error,"), 0u);
    std::map<std::string, std::string> status;  // file -> the status column
    size_t start = csv.find('\n') + 1;
    for (size_t nl; (nl = csv.find('\n', start)) != std::string::npos; start = nl + 1) {
        std::string line = csv.substr(start, nl - start);
        size_t c1 = line.find(','), c2 = line.find(',', c1 + 1);
        EXPECT_EQ(status.count(line.substr(0, c1)), 0u) << line;
        status[line.substr(0, c1)] = line.substr(c1 + 1, c2 - c1 - 1);
        if (line.substr(c1 + 1, c2 - c1 - 1) == "error") {
            EXPECT_NE(line[c2 + 1], ',') << "error without a cause: " << line;
        }
    }
    EXPECT_EQ(status.size(), 4u);
    EXPECT_EQ(status["set/good.cif"], "ok");
    EXPECT_EQ(status["set/empty.cif"], "error");
    EXPECT_EQ(status["set/junk.cif"], "error");
    std::set<std::string> kept;
    for (const auto& e : fs::directory_iterator(dir.file("kept/good"))) kept.insert(e.path().filename());
    EXPECT_EQ(kept, (std::set<std::string>{"landscape.cube", "structure.cif", "ZEMU_summary.txt", "ZEMU_rp.csv",
                                           "ZEMU.vesta"}));
}

TEST(ScreenCommand, AShardThenAResumedWholeRunGiveEveryFileOnce) {
    WorkDir dir(false);
    copies(dir, "set", {"a.cif", "b.cif", "c.cif"});
    RunResult first = screen(dir, {"--ion", "Li1+", "--shard", "2/2", "-o", "rows.jsonl", "set"});
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_EQ(jsonl_rows(dir.read("rows.jsonl")).size(), 1u);  // b.cif
    RunResult rest = screen(dir, {"--ion", "Li1+", "--resume", "-o", "rows.jsonl", "set"});
    ASSERT_EQ(rest.status, 0) << rest.err;
    auto rows = jsonl_rows(dir.read("rows.jsonl"));
    EXPECT_EQ(rows.size(), 3u);
    EXPECT_NE(rest.err.find("1 skipped as done"), std::string::npos) << rest.err;
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
    };
    for (const Case& c : cases) {
        RunResult r = screen(dir, c.args);
        EXPECT_EQ(r.status, 1) << c.args[2];
        EXPECT_EQ(r.err, c.err);
        EXPECT_EQ(r.out, "");
    }
    RunResult no_ion = screen(dir, {"set"});
    EXPECT_EQ(no_ion.status, 1);
    EXPECT_EQ(no_ion.err.compare(0, 7, "Error: "), 0) << no_ion.err;
}

#endif
