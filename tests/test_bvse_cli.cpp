// End-to-end runs of zemu-bvse: the landscape and structure it writes, and every
// refusal one line with nothing written.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;
using zemu_test::source_file;

// Run from a directory without data files (the data is built in): the landscape and
// the structure zemu reads. That they give zemu the bundled pair's analysis is
// checked through the screening runs (test_screen_cli.cpp).
TEST(BvseExe, WritesTheLandscapeAndTheStructure) {
    WorkDir dir(false);
    const RunResult r = dir.run_program(ZEMU_BVSE_EXE, {source_file("examples/LiFePO4/structure.cif"), "Li1+",
                                                        "--cif-out", "s.cif", "-j", "2"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find(": 57x33x25 grid, "), std::string::npos) << r.out;
    EXPECT_NE(r.out.find(" points computed, written to landscape.cube\n"), std::string::npos) << r.out;
    EXPECT_EQ(dir.run({"--cube", "landscape.cube", "--cif", "s.cif", "Li1+", "--path"}).status, 0);
}

TEST(BvseExe, RefusalsAreOneLineAndWriteNothing) {
    const std::string cif = source_file("examples/LiFePO4/structure.cif");
    const struct { std::vector<std::string> args; std::string cause; } cases[] = {  // cause: part of the one line
        {{"missing.cif", "Li1+"}, "Error: missing.cif: "},
        {{cif, "Xx1+"}, "element Xx"},
        {{cif, "Li1+", "--grid", "56", "33", "25"}, "first grid count must be odd"},
        {{cif, "Li1+", "--grid", "57", "33"}, "Error: "},
        {{cif, "Li1+", "-o", "no/such/folder/landscape.cube"}, "no/such/folder/landscape.cube: cannot be written"},
        {{cif}, "ION is required"},
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
        EXPECT_FALSE(dir.exists("landscape.cube") || dir.exists("landscape.cube.tmp"));
    }
}
