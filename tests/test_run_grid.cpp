// End-to-end runs of zemu through the grid stage: cube loading and its error
// messages, energy scaling, the energy ceiling, and the reports written with a
// grid but without (or with) a structure. The landscape is "wells" (see
// small_fixtures.h): four minima types of two members, 0.0, 0.2, 0.4 and 0.6
// above the lowest, 24 saddles in 16 types; the P-1 cell holds one Na1+ site on
// the lowest type.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "e2e_util.h"
#include "fixtures.h"

using fx::totals;
using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

// A working directory holding the wells landscape as w.cube and the P-1 cell as s.cif.
struct WellsDir {
    WorkDir dir;
    WellsDir() {
        dir.write("w.cube", fx::wells_cube());
        dir.write("s.cif", fx::cif_text(fx::kP1bar, {"Na1 Na1+ 0.25 0.5 0.5 1.0", "O1 O2- 0.0 0.0 0.0 1.0"},
                                             "Na1+"));
    }
    RunResult run(std::vector<std::string> args) const {
        args.insert(args.begin(), {"--cube", "w.cube"});
        return dir.run(args);
    }
    // The minima report of a clean run with the structure and the extra words after it.
    std::string minima(const std::vector<std::string>& extra) const {
        std::vector<std::string> args = {"--cif", "s.cif"};
        args.insert(args.end(), extra.begin(), extra.end());
        args.push_back("--print-minima");
        RunResult r = run(args);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, "");
        return r.out;
    }
};

// "label energy; " for each "Minima type:" line of a report, in order.
std::string minima_types(const std::string& out) {
    std::string types;
    for (size_t p = out.find("Minima type: "); p != std::string::npos; p = out.find("Minima type: ", p + 1)) {
        size_t e = out.find(" (Energy: ", p);
        types += out.substr(p + 13, e - p - 13) + " " + out.substr(e + 10, out.find(" eV)", e) - e - 10) + "; ";
    }
    return types;
}

void expect_failure(const RunResult& r, const std::string& message) {
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, message);
}

void expect_clean(const RunResult& r) {
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
}

}  // namespace

// ---------------------------------------------------------------------------
// Cube files

TEST(RunCube, LoadErrorsEndTheRunWithTheirMessageOnly) {
    WellsDir w;
    expect_failure(w.dir.run({"--cube", "absent.cube"}), "Error: Unable to open CUBE file\n");
    std::string parallel = fx::wells_cube();  // b parallel to a: gamma is 0; the message has no "Error: " prefix
    parallel.replace(parallel.find("    8 0.000000 1.000000 0.000000"), 32, "    8 2.000000 0.000000 0.000000");
    w.dir.write("w.cube", parallel);
    expect_failure(w.run({}), "Invalid CUBE file - invalid cell angles\n");

    // One nan at grid point (0,0,0) of a real landscape ends the run before any analysis.
    std::string cube = zemu_test::slurp(zemu_test::source_file("examples/LiFePO4/landscape.cube"));
    size_t first_value = 0;
    for (int line = 0; line < 6; line++) first_value = cube.find('\n', first_value) + 1;
    cube.replace(first_value, cube.find('\n', first_value) - first_value, "nan");
    w.dir.write("nan.cube", cube);
    w.dir.write("LiFePO4.cif", zemu_test::slurp(zemu_test::source_file("examples/LiFePO4/structure.cif")));
    expect_failure(w.dir.run({"--cube", "nan.cube", "--cif", "LiFePO4.cif", "Li1+", "--path", "--print-minima",
                              "--print-act"}),
                   "Error: Invalid CUBE file - energy on line 7 is not a finite number\n");
}

TEST(RunCube, OddFileWithRepeatedBoundaryPlanesAndCrLfLineEndsGiveTheSameAnalysis) {
    WellsDir w;
    // 9 points per axis with steps of 8/9 Bohr: the kept 8-point grid has the same cell
    w.dir.write("odd.cube", fx::wells_cube(9, "0.888888888889"));
    w.dir.write("crlf.cube", fx::wells_cube(8, "1.000000", "\r\n"));
    RunResult plain = w.run({"--cif", "s.cif", "--print-minima", "--print-saddle"});
    EXPECT_NE(plain.out.find(totals("minima", 8, 4)), std::string::npos);
    for (const char* file : {"odd.cube", "crlf.cube"}) {
        SCOPED_TRACE(file);
        RunResult r = w.dir.run({"--cube", file, "--cif", "s.cif", "--print-minima", "--print-saddle"});
        expect_clean(r);
        EXPECT_EQ(r.out, plain.out);
    }
}

TEST(RunCube, WithoutStructureNoPointIsSearchedAndReportsAreEmpty) {
    WellsDir w;
    RunResult r = w.run({"--print-minima", "--print-saddle"});
    expect_clean(r);
    EXPECT_EQ(r.out, fx::kMinimaFrame + totals("minima", 0, 0) + fx::kSaddleFrame + totals("saddle", 0, 0));
}

TEST(RunCube, StructureWithoutGridRunsNoPathStage) {
    WellsDir w;
    RunResult r = w.dir.run({"--cif", "s.cif", "Na1+", "--path", "--print-minima", "--print-path"});
    expect_clean(r);
    EXPECT_EQ(r.out, "");
    for (const char* name : {"ZEMU_events.txt", "ZEMU_rp.csv", "ZEMU_summary.txt"}) EXPECT_FALSE(w.dir.exists(name)) << name;
}

// ---------------------------------------------------------------------------
// Energy scaling and the energy ceiling (--max, in the scaled measure)

TEST(RunScaling, RejectedExpressionsEndTheRunBeforeTheGridIsRead) {
    WellsDir w;
    const char* kNoE = "Error: Invalid scaling expression - variable E missing\n";
    const char* kUnparsable = "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n";
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"--cube", "w.cube", "--scale", "2*x"}, kNoE},
        {{"--cube", "w.cube", "--scale", "2*e"}, kNoE},
        // compiled before the cube is opened: the missing file is never reported
        {{"--cube", "absent.cube", "--scale", "x"}, kNoE},
        // the sodium default compiles first, then the explicit expression fails
        {{"--cube", "w.cube", "--cif", "s.cif", "Na1+", "--scale", "x"}, kNoE},
        // an expression that does not compile gives the evaluator's message only
        {{"--cube", "w.cube", "--scale", "E+", "--print-minima"}, kUnparsable},
        {{"--cube", "w.cube", "--scale", "(E", "--print-minima"}, kUnparsable},
        {{"--cube", "w.cube", "--scale", "E $", "--print-minima"}, kUnparsable},
    };
    for (const auto& cs : cases) {
        SCOPED_TRACE(cs.first[3]);
        expect_failure(w.dir.run(cs.first), cs.second);
    }
}

TEST(RunScaling, SodiumDefaultAppliesUnlessAnExpressionReplacesIt) {
    WellsDir w;
    auto na = [](double e) {  // the sodium measure of a raw energy
        char s[64];
        snprintf(s, sizeof s, "%.6f", 0.5695 * pow(e, 0.6946));
        return std::string(s);
    };
    // the Na1 site sits on the lowest type
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"Na1+"}, "Na1 0.000000; i1 " + na(0.2) + "; i2 " + na(0.4) + "; i3 " + na(0.6) + "; "},
        {{"Na1+", "--scale", "E"}, "Na1 0.000000; i1 0.200000; i2 0.400000; i3 0.600000; "},
        // any other ion gets the identity; without an ion nothing is assigned (all interstitial)
        {{"Li1+"}, "i1 0.000000; i2 0.200000; i3 0.400000; i4 0.600000; "},
        {{"--scale", "2*E"}, "i1 0.000000; i2 0.400000; i3 0.800000; i4 1.200000; "},
    };
    for (const auto& cs : cases) EXPECT_EQ(minima_types(w.minima(cs.first)), cs.second);
}

TEST(RunMax, MinimaAboveTheCeilingAreNotFound) {
    WellsDir w;
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, totals("minima", 8, 4)},  // default ceiling 5.0 above the minimum: all four types
        {{"--max", "abc"}, totals("minima", 8, 4)},
        // raw measure: 0.5 keeps 0.0, 0.2, 0.4; 0.35 keeps 0.0, 0.2
        {{"--max", "0.5"}, totals("minima", 6, 3)},
        {{"--max", "0.35"}, totals("minima", 4, 2)},
        // Na1+ measure 0.5695*E^0.6946: 0.4 scales to 0.30 and 0.6 to 0.40, so 0.35 keeps three types
        {{"Na1+", "--max", "0.35"}, totals("minima", 6, 3)},
    };
    for (const auto& cs : cases) {
        const std::string out = w.minima(cs.first);
        EXPECT_EQ(out.substr(std::min(out.size(), sizeof fx::kMinimaFrame - 1), cs.second.size()), cs.second);
    }
}

// ---------------------------------------------------------------------------
// Summary file

TEST(RunSummary, WritesTheMinimaThenTheSaddleSectionWithCrLf) {
    WellsDir w;
    RunResult r = w.run({"--cif", "s.cif", "--summary"});
    expect_clean(r);
    EXPECT_EQ(r.out, "\n");  // the path library summary's extra line feed goes to the console
    ASSERT_TRUE(w.dir.exists("ZEMU_summary.txt"));
    std::string summary = w.dir.read("ZEMU_summary.txt");

    // No ion: raw energies, every type interstitial, numbered by energy.
    const std::string minima = fx::wells_minima("i1", "\r\n", "i2", "i3", "i4");
    ASSERT_EQ(summary.substr(0, minima.size()), minima);
    const std::string saddle_head = fx::kSaddleFrame + totals("saddle", 24, 16);
    EXPECT_EQ(summary.substr(minima.size(), saddle_head.size()), saddle_head);

    // The two sections are the console reports, byte for byte; every line ends in "\r\n".
    RunResult console = w.run({"--cif", "s.cif", "--print-minima", "--print-saddle"});
    EXPECT_EQ(summary.substr(0, console.out.size()), console.out);
    for (size_t p = console.out.find('\n'); p != std::string::npos; p = console.out.find('\n', p + 1))
        ASSERT_EQ(console.out[p - 1], '\r') << "at byte " << p;

    // Without --path the path sections follow empty.
    EXPECT_EQ(summary.substr(console.out.size()),
              "-----------------------------------------------------------------\r\n"
              "                 Summary of minimum energy paths                 \r\n"
              "-----------------------------------------------------------------\r\n\r\n"
              "\nListing all 0 paths (including equivalent ones)...\n"
              "\r\n"
              "---------------------------------------------------------------------\r\n"
              "  Summary of pathway characteristics at different energy thresholds  \r\n"
              "---------------------------------------------------------------------\r\n\r\n");
}

TEST(RunSummary, UnwritableSummaryEndsTheRunWithOneWhileEventsAndPathwayFilesOnlyWarn) {
    WellsDir w;
    // directories cannot be opened for writing
    ASSERT_EQ(mkdir(w.dir.file("ZEMU_summary.txt").c_str(), 0755), 0);
    expect_failure(w.run({"--cif", "s.cif", "--summary"}), "Error: Unable to write to ZEMU_summary.txt\n");

    for (const char* name : {"ZEMU_events.txt", "ZEMU_rp.csv"}) ASSERT_EQ(mkdir(w.dir.file(name).c_str(), 0755), 0);
    const std::string both = "Error: Unable to write to ZEMU_events.txt\nError: Unable to write to ZEMU_rp.csv\n";
    RunResult r = w.run({"--cif", "s.cif", "--path"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, both);
    EXPECT_EQ(r.out.find("Auto-generated reaction pathway done."), std::string::npos);

    RunResult s = w.run({"--cif", "s.cif", "--path", "--summary"});
    EXPECT_EQ(s.status, 1);
    EXPECT_EQ(s.err, both + "Error: Unable to write to ZEMU_summary.txt\n");
}
