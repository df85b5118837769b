// End-to-end runs of zemu through the grid stage: cube loading, energy scaling, the energy ceiling and the
// minima report. The landscape is "wells" (see fixtures.h): four minima types of two members, 0.0, 0.2, 0.4 and 0.6
// above the lowest, 24 saddles in 16 types; the P-1 cell holds one Na1+ site on the lowest type.
#include "fixtures.h"

using fx::totals;
using zemu_test::RunResult;
using Args = std::vector<std::string>;

namespace {

// A working directory holding the wells landscape as w.cube and the P-1 cell as s.cif.
struct WellsDir {
    zemu_test::WorkDir dir;
    WellsDir() {
        dir.write("w.cube", fx::wells_cube());
        dir.write("s.cif", fx::cif_text(fx::kP1bar, {"Na1 Na1+ 0.25 0.5 0.5 1.0", "O1 O2- 0.0 0.0 0.0 1.0"}, "Na1+"));
    }
    RunResult run(Args args) const {
        args.insert(args.begin(), {"--cube", "w.cube"});
        return dir.run(args);
    }
    // The minima report of a clean run with the structure and the extra words after it.
    std::string minima(const Args& extra) const {
        Args args = {"--cif", "s.cif"};
        args.insert(args.end(), extra.begin(), extra.end());
        args.push_back("--print-minima");
        RunResult r = run(args);
        EXPECT_EQ(std::make_tuple(r.status, r.err), std::make_tuple(0, ""));
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
    EXPECT_EQ(std::make_tuple(r.status, r.out, r.err), std::make_tuple(1, "", message));
}

}  // namespace

TEST(RunCube, LoadErrorsEndTheRunWithTheirMessageOnly) {
    WellsDir w;
    expect_failure(w.dir.run({"--cube", "absent.cube"}), "Error: Unable to open CUBE file\n");
    std::string parallel = fx::wells_cube();  // b parallel to a: gamma is 0; the message has no "Error: " prefix
    parallel.replace(parallel.find("    8 0.000000 1.000000 0.000000"), 32, "    8 2.000000 0.000000 0.000000");
    w.dir.write("w.cube", parallel);
    expect_failure(w.run({}), "Invalid CUBE file - invalid cell angles\n");
    // an expression is compiled before the cube is opened; an explicit one after the sodium default
    expect_failure(w.dir.run({"--cube", "absent.cube", "--scale", "x"}), "Error: Invalid scaling expression - variable E missing\n");
    expect_failure(w.run({"--cif", "s.cif", "Na1+", "--scale", "(E"}), "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n");
}

TEST(RunCube, OddAndCrLfFilesGiveTheSameAnalysisAndMissingInputsGiveEmptyReports) {
    WellsDir w;
    // 9 points per axis with steps of 8/9 Bohr: the kept 8-point grid has the same cell
    w.dir.write("odd.cube", fx::wells_cube(9, "0.888888888889"));
    w.dir.write("crlf.cube", fx::wells_cube(8, "1.000000", "\r\n"));
    RunResult plain = w.run({"--cif", "s.cif", "--print-minima", "--print-saddle"});
    EXPECT_NE(plain.out.find(totals("minima", 8, 4)), std::string::npos);
    for (const char* file : {"odd.cube", "crlf.cube"}) {
        RunResult r = w.dir.run({"--cube", file, "--cif", "s.cif", "--print-minima", "--print-saddle"});
        EXPECT_EQ(std::make_tuple(r.status, r.err, r.out), std::make_tuple(0, "", plain.out)) << file;
    }
    // without a structure no point is searched; without a grid no path stage runs
    RunResult r = w.run({"--print-minima", "--print-saddle"});
    EXPECT_EQ(std::make_tuple(r.status, r.err, r.out),
              std::make_tuple(0, "", fx::kMinimaFrame + totals("minima", 0, 0) + fx::kSaddleFrame + totals("saddle", 0, 0)));
    r = w.dir.run({"--cif", "s.cif", "Na1+", "--path", "--print-minima", "--print-path"});
    EXPECT_EQ(std::make_tuple(r.status, r.err, r.out, w.dir.exists("ZEMU_rp.csv")), std::make_tuple(0, "", "", false));
}

TEST(RunScaling, SodiumDefaultAppliesUnlessAnExpressionReplacesItAndTheCeilingIsScaled) {
    WellsDir w;
    auto na = [](double e) {  // the sodium measure of a raw energy
        char s[64];
        snprintf(s, sizeof s, "%.6f", 0.5695 * pow(e, 0.6946));
        return std::string(s);
    };
    const std::pair<Args, std::string> cases[] = {  // the Na1 site sits on the lowest type
        {{"Na1+"}, "Na1 0.000000; i1 " + na(0.2) + "; i2 " + na(0.4) + "; i3 " + na(0.6) + "; "},
        {{"Na1+", "--scale", "E"}, "Na1 0.000000; i1 0.200000; i2 0.400000; i3 0.600000; "},
        // any other ion gets the identity; without an ion nothing is assigned (all interstitial)
        {{"Li1+"}, "i1 0.000000; i2 0.200000; i3 0.400000; i4 0.600000; "},
        {{"--scale", "2*E"}, "i1 0.000000; i2 0.400000; i3 0.800000; i4 1.200000; "},
    };
    for (const auto& cs : cases) EXPECT_EQ(minima_types(w.minima(cs.first)), cs.second);
    // the ceiling (default 5.0 above the minimum) in the raw measure, or in the ion's: 0.4 scales to 0.30, 0.6 to 0.40
    const std::pair<Args, std::string> ceilings[] = {
        {{}, totals("minima", 8, 4)}, {{"--max", "abc"}, totals("minima", 8, 4)}, {{"--max", "0.5"}, totals("minima", 6, 3)},
        {{"--max", "0.35"}, totals("minima", 4, 2)}, {{"Na1+", "--max", "0.35"}, totals("minima", 6, 3)}};
    for (const auto& cs : ceilings) EXPECT_EQ(w.minima(cs.first).substr(sizeof fx::kMinimaFrame - 1, cs.second.size()), cs.second);
}
