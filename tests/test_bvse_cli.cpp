// End-to-end runs of zemu-bvse: the landscape and structure it writes give zemu
// the analysis of the bundled pair, and every refusal is one line with nothing
// written.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;
using zemu_test::source_file;

TEST(BvseExe, WrittenPairGivesZemuTheReportsOfTheBundledPair) {
    for (const char* ex : {"LiFePO4", "Na2UO4"}) {
        SCOPED_TRACE(ex);
        const std::string cif = source_file(std::string("examples/") + ex + "/structure.cif");
        const char* ion = *ex == 'L' ? "Li1+" : "Na1+";
        WorkDir dir, elsewhere(false);  // run from a directory without data files: the data is built in
        RunResult made = elsewhere.run_program(ZEMU_BVSE_EXE, {cif, ion, "-o", dir.file("computed.cube"), "--cif-out",
                                                               dir.file("computed.cif"), "-j", "2"});
        ASSERT_EQ(made.status, 0) << made.err;
        EXPECT_EQ(made.err, "");
        RunResult runs[2];
        for (int i = 0; i < 2; i++)
            runs[i] = dir.run({"--cube", i ? "computed.cube" : source_file(std::string("examples/") + ex + "/landscape.cube"),
                               "--cif", i ? "computed.cif" : cif, ion, "--print-minima", "--print-saddle", "--path",
                               "--print-act"});
        ASSERT_EQ(runs[0].status, 0) << runs[0].err;
        EXPECT_EQ(runs[1].status, 0) << runs[1].err;
        EXPECT_EQ(runs[1].out, runs[0].out);
        EXPECT_NE(runs[1].out.find("1D activation energy"), std::string::npos);
    }
}

TEST(BvseExe, RefusalsAreOneLineAndWriteNothing) {
    const std::string cif = source_file("examples/LiFePO4/structure.cif");
    struct Case {
        std::vector<std::string> args;
        std::string cause;  // part of the one error line
    } cases[] = {
        {{"missing.cif", "Li1+"}, "Error: missing.cif: "},
        {{cif, "Xx1+"}, "element Xx"},
        {{cif, "Li1+", "--grid", "56", "33", "25"}, "first grid count must be odd"},
        {{cif, "Li1+", "--grid", "57", "33"}, "Error: "},
        {{cif, "Li1+", "-o", "no/such/folder/landscape.cube"}, "no/such/folder/landscape.cube: cannot be written"},
        {{cif}, "ION is required"},
    };
    for (const Case& c : cases) {
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
