// End-to-end runs of zemu-bvse: the landscape and structure it writes give zemu
// the analysis of the bundled pair, and every refusal is one line with nothing
// written.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

RunResult bvse(const WorkDir& dir, const std::vector<std::string>& args) {
    return dir.run_program(ZEMU_BVSE_EXE, args);
}

const std::vector<std::string> kAnalysis = {"--print-minima", "--print-saddle", "--path", "--print-act"};

}  // namespace

TEST(BvseExe, WrittenPairGivesZemuTheReportsOfTheBundledPair) {
    struct Example {
        const char* name;
        const char* ion;
    };
    for (const Example& ex : {Example{"LiFePO4", "Li1+"}, Example{"Na2UO4", "Na1+"}}) {
        SCOPED_TRACE(ex.name);
        const std::string dir_name = std::string("examples/") + ex.name;
        WorkDir dir;
        // Run from a directory without data files: the program's data is built in.
        WorkDir elsewhere(false);
        RunResult made = bvse(elsewhere, {zemu_test::source_file(dir_name + "/structure.cif"), ex.ion, "-o",
                                          dir.file("computed.cube"), "--cif-out", dir.file("computed.cif"), "-j", "2"});
        ASSERT_EQ(made.status, 0) << made.err;
        EXPECT_EQ(made.err, "");

        std::vector<std::string> bundled = {"--cube", zemu_test::source_file(dir_name + "/landscape.cube"), "--cif",
                                            zemu_test::source_file(dir_name + "/structure.cif"), ex.ion};
        std::vector<std::string> computed = {"--cube", "computed.cube", "--cif", "computed.cif", ex.ion};
        bundled.insert(bundled.end(), kAnalysis.begin(), kAnalysis.end());
        computed.insert(computed.end(), kAnalysis.begin(), kAnalysis.end());
        RunResult want = dir.run(bundled), got = dir.run(computed);
        ASSERT_EQ(want.status, 0) << want.err;
        EXPECT_EQ(got.status, 0) << got.err;
        EXPECT_EQ(got.out, want.out);
        EXPECT_NE(got.out.find("1D activation energy"), std::string::npos);
    }
}

TEST(BvseExe, RefusalsAreOneLineAndWriteNothing) {
    const std::string cif = zemu_test::source_file("examples/LiFePO4/structure.cif");
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
        RunResult r = bvse(dir, c.args);
        SCOPED_TRACE(r.err);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err.rfind("Error: ", 0), 0u);
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1);  // exactly one line
        EXPECT_NE(r.err.find(c.cause), std::string::npos);
        EXPECT_FALSE(dir.exists("landscape.cube"));
        EXPECT_FALSE(dir.exists("landscape.cube.tmp"));
    }
}

TEST(BvseExe, GridTheSymmetryDoesNotFitIsComputedWholeWithAWarning) {
    WorkDir dir(false);
    RunResult r = bvse(dir, {zemu_test::source_file("examples/LiFePO4/structure.cif"), "Li1+", "--grid", "29", "18",
                             "13", "-o", "odd.cube"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("Warning: "), std::string::npos);
    EXPECT_NE(r.out.find("29x18x13 grid, 5712 points computed"), std::string::npos) << r.out;
    EXPECT_TRUE(dir.exists("odd.cube"));
}
