// End-to-end runs of zemu-bvse: the landscape and structure it writes, and every
// refusal one line with nothing written.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

const std::string kStructure = zemu_test::source_file("examples/LiFePO4/structure.cif");

// Run from a directory without data files (the data is built in): the landscape and the
// structure zemu reads; their analysis is checked through the screening runs.
TEST(BvseExe, WritesTheLandscapeAndTheStructure) {
    WorkDir dir(false);
    const RunResult r = dir.run_program(ZEMU_BVSE_EXE, {kStructure, "Li1+", "--cif-out", "s.cif", "-j", "2"});
    EXPECT_EQ(r.out + r.err, kStructure + ": 57x33x25 grid, 5713 points computed, written to landscape.cube\n");
    EXPECT_EQ(dir.run({"--cube", "landscape.cube", "--cif", "s.cif", "Li1+", "--path"}).status, 0);
}

TEST(BvseExe, RefusalsAreOneLineAndWriteNothing) {
    const struct { std::vector<std::string> args; std::string cause; } cases[] = {  // cause: part of the one line
        {{"missing.cif", "Li1+"}, "Error: missing.cif: "},
        {{kStructure, "Li1+", "--grid", "56", "33", "25"}, "first grid count must be odd"},
        {{kStructure, "Li1+", "--cif-out", "s.cif", "-o", "no/such/folder/landscape.cube"},
         "no/such/folder/landscape.cube: cannot be written"},
        {{kStructure, "Li1+", "--cif-out", "no/such/folder/s.cif"}, "no/such/folder/s.cif"},
        {{kStructure}, "ION is required"},
    };
    for (const auto& c : cases) {
        WorkDir dir(false);
        RunResult r = dir.run_program(ZEMU_BVSE_EXE, c.args);
        SCOPED_TRACE(r.err);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err.rfind("Error: ", 0), 0u);
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1);  // exactly one line
        EXPECT_NE(r.err.find(c.cause), std::string::npos);
        EXPECT_FALSE(dir.exists("landscape.cube") || dir.exists("landscape.cube.tmp") || dir.exists("s.cif"));
    }
}
