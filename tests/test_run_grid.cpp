// End-to-end runs of zemu through the grid stage: cube loading and its error
// messages, energy scaling, the energy ceiling, and the reports written with a
// grid but without (or with) a structure.
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

// ---------------------------------------------------------------------------
// Test landscape "wells": 8x8x8 grid, voxel steps of 1 Bohr along x, y, z, energy
// E(i,j,k) = P[i] + Q[j] + R[k] with
//   P = 1.0*cos(4 pi i/8) + 0.1*cos(2 pi i/8): wells at i = 2 and 6 (both -1.0)
//   Q = -0.5*cos(4 pi j/8) + 0.2*cos(2 pi j/8): wells at j = 4 (-0.7), j = 0 (-0.3)
//   R = -0.4*cos(4 pi k/8) + 0.1*cos(2 pi k/8): wells at k = 4 (-0.5), k = 0 (-0.3)
// Minima are the products of the per-axis wells, (i, j, k) in {2,6} x {0,4} x {0,4}.
// Under the inversion of P-1 (x,y,z and -x,-y,-z) i = 2 and 6 are images, so there
// are four types of two members, above the lowest by
//   (j,k) = (4,4): 0.0, (4,0): 0.2, (0,4): 0.4, (0,0): 0.6.
// Saddles (exactly one axis on a per-axis maximum, the others in wells):
//   i in {0,4}: 8 points, each its own inversion image (8 types);
//   j in {2,6} or k in {2,6}: 16 points in inversion pairs (8 types);
// all coordinates are even, so no two saddle types are grid neighbours: 24 saddles,
// 16 types.
// ---------------------------------------------------------------------------

const double kR = 0.7071067812;
const double kCos1[8] = {1, kR, 0, -kR, -1, -kR, 0, kR};  // cos(2 pi n/8)
const double kCos2[8] = {1, 0, -1, 0, 1, 0, -1, 0};       // cos(4 pi n/8)

double wells(int i, int j, int k) {
    return (1.0 * kCos2[i] + 0.1 * kCos1[i]) + (-0.5 * kCos2[j] + 0.2 * kCos1[j]) +
           (-0.4 * kCos2[k] + 0.1 * kCos1[k]);
}

const char kTitle[] = "ZEMU test landscape\n";
const char kLine2[] = "Li1+ site energies (eV)\n";
const char kAtoms[] = "    1 0.000000 0.000000 0.000000\n";
const char kAxisA[] = "    8 1.000000 0.000000 0.000000\n";
const char kAxisB[] = "    8 0.000000 1.000000 0.000000\n";
const char kAxisC[] = "    8 0.000000 0.000000 1.000000\n";
const char kAtomLine[] = "    3 0.000000 0.000000 0.000000 0.000000\n";

std::string header() {
    return std::string(kTitle) + kLine2 + kAtoms + kAxisA + kAxisB + kAxisC + kAtomLine;
}

// Energy lines of a periodic landscape, i outermost, k innermost. With n = 9 the
// boundary plane is repeated on every axis, as in files written with both ends.
std::string energy_lines(const std::function<double(int, int, int)>& e, int n, const char* eol = "\n") {
    std::string s;
    char line[64];
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++)
            for (int k = 0; k < n; k++) {
                snprintf(line, sizeof line, "%.10f%s", e(i % 8, j % 8, k % 8), eol);
                s += line;
            }
    return s;
}

std::string wells_cube() { return header() + energy_lines(wells, 8); }

// P-1 cell matching the grid (8 x 1 Bohr), one Na1+ site on the i = 2 well.
const char kCifP1bar[] =
    "data_run\n"
    "_cell_length_a 4.233418\n"
    "_cell_length_b 4.233418\n"
    "_cell_length_c 4.233418\n"
    "_cell_angle_alpha 90\n"
    "_cell_angle_beta 90\n"
    "_cell_angle_gamma 90\n"
    "loop_\n"
    "_symmetry_equiv_pos_as_xyz\n"
    "x,y,z\n"
    "-x,-y,-z\n"
    "loop_\n"
    "_atom_type_symbol\n"
    "_atom_type_oxidation_number\n"
    "Na1+ 1\n"
    "O2- -2\n"
    "loop_\n"
    "_atom_site_label\n"
    "_atom_site_type_symbol\n"
    "_atom_site_fract_x\n"
    "_atom_site_fract_y\n"
    "_atom_site_fract_z\n"
    "_atom_site_occupancy\n"
    "Na1 Na1+ 0.25 0.5 0.5 1.0\n"
    "O1 O2- 0.0 0.0 0.0 1.0\n";

const char kMinimaFrame[] =
    "-----------------------------------------------------------------\r\n"
    "                  Summary of energy local minima                  \r\n"
    "-----------------------------------------------------------------\r\n\r\n";
const char kSaddleFrame[] =
    "-----------------------------------------------------------------\r\n"
    "                  Summary of energy saddle point                  \r\n"
    "-----------------------------------------------------------------\r\n\r\n";

// A working directory holding the wells landscape as w.cube and the P-1 cell as s.cif.
struct WellsDir {
    WorkDir dir;
    WellsDir() {
        dir.write("w.cube", wells_cube());
        dir.write("s.cif", kCifP1bar);
    }
};

// The "Minima type:" lines of a report, in order.
std::vector<std::string> minima_type_lines(const std::string& out) {
    std::vector<std::string> lines;
    for (size_t p = out.find("Minima type: "); p != std::string::npos; p = out.find("Minima type: ", p + 1))
        lines.push_back(out.substr(p, out.find("\r\n", p) - p));
    return lines;
}

std::string totals(const std::string& what, int points, int types) {
    return "Total local " + what + " in unit cell: " + std::to_string(points) +
           "\r\nTotal symmetrically inequivalent: " + std::to_string(types) + "\r\n";
}

// Names in a directory, "." and ".." left out.
std::set<std::string> entries(const std::string& path) {
    std::set<std::string> names;
    if (DIR* d = opendir(path.c_str())) {
        while (dirent* e = readdir(d)) {
            std::string n = e->d_name;
            if (n != "." && n != "..") names.insert(n);
        }
        closedir(d);
    }
    return names;
}

void expect_failure(const RunResult& r, const std::string& message) {
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, message);
}

}  // namespace

// ---------------------------------------------------------------------------
// Cube file errors: one message on standard error, nothing on standard output,
// exit status 1.
// ---------------------------------------------------------------------------

TEST(RunCube, MissingFileIsReported) {
    WorkDir dir;
    expect_failure(dir.run({"--cube", "absent.cube"}), "Error: Unable to open CUBE file\n");
}

TEST(RunCube, HeaderDefectsEndTheRunWithTheirMessage) {
    const std::string head3 = std::string(kTitle) + kLine2 + kAtoms;
    const std::string values = energy_lines(wells, 8);
    struct Case {
        const char* what;
        std::string file;
        const char* message;
    } cases[] = {
        {"five header lines", head3 + kAxisA + kAxisB, "Error: Invalid CUBE file - missing header lines\n"},
        {"zero points on a", head3 + "    0 1.000000 0.000000 0.000000\n" + kAxisB + kAxisC + kAtomLine + values,
         "Error: Invalid CUBE file - invalid grid resolution\n"},
        {"negative points on c", head3 + kAxisA + kAxisB + "   -8 0.000000 0.000000 1.000000\n" + kAtomLine + values,
         "Error: Invalid CUBE file - invalid grid resolution\n"},
        {"zero step on c", head3 + kAxisA + kAxisB + "    8 0.000000 0.000000 0.000000\n" + kAtomLine + values,
         "Error: Invalid CUBE file - invalid cell parameters\n"},
        // b parallel to a: gamma is 0; this message has no "Error: " prefix
        {"parallel steps", head3 + kAxisA + "    8 2.000000 0.000000 0.000000\n" + kAxisC + kAtomLine + values,
         "Invalid CUBE file - invalid cell angles\n"},
        // two atom lines announced, one present, then the end of the file
        {"missing atom line", std::string(kTitle) + kLine2 + "    2 0.000000 0.000000 0.000000\n" + kAxisA + kAxisB +
                                  kAxisC + kAtomLine,
         "Error: Invalid CUBE file - missing header lines\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        WorkDir dir;
        dir.write("bad.cube", c.file);
        expect_failure(dir.run({"--cube", "bad.cube"}), c.message);
    }
}

TEST(RunCube, TooFewEnergyValuesEndTheRun) {
    WorkDir dir;
    std::string values = energy_lines(wells, 8);
    values.erase(values.rfind('\n', values.size() - 2) + 1);  // drop the last of 512 lines
    dir.write("short.cube", header() + values);
    expect_failure(dir.run({"--cube", "short.cube"}), "Error: Invalid CUBE file - missing energy values\n");

    // An odd first count keeps 8^3 points but still needs all 9^3 lines.
    std::string odd = std::string(kTitle) + kLine2 + kAtoms + "    9 1.000000 0.000000 0.000000\n" +
                      "    9 0.000000 1.000000 0.000000\n" + "    9 0.000000 0.000000 1.000000\n" + kAtomLine;
    std::string values9 = energy_lines(wells, 9);
    dir.write("odd_short.cube", odd + values9.substr(0, values9.rfind('\n', values9.size() - 2) + 1));
    expect_failure(dir.run({"--cube", "odd_short.cube"}), "Error: Invalid CUBE file - missing energy values\n");
}

TEST(RunCube, OddFileWithRepeatedBoundaryPlanesGivesTheSameAnalysis) {
    WellsDir w;
    // 9 points per axis with steps of 8/9 Bohr: the kept 8-point grid has the same cell
    std::string odd = std::string(kTitle) + kLine2 + kAtoms + "    9 0.888888888889 0.000000 0.000000\n" +
                      "    9 0.000000 0.888888888889 0.000000\n" + "    9 0.000000 0.000000 0.888888888889\n" +
                      kAtomLine + energy_lines(wells, 9);
    w.dir.write("odd.cube", odd);
    RunResult even = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "--print-minima", "--print-saddle"});
    RunResult r = w.dir.run({"--cube", "odd.cube", "--cif", "s.cif", "--print-minima", "--print-saddle"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find(totals("minima", 8, 4)), std::string::npos);
    EXPECT_EQ(r.out, even.out);
}

TEST(RunCube, CrLfLineEndsReadLikeLf) {
    WellsDir w;
    std::string crlf = header();
    for (size_t p = crlf.find('\n'); p != std::string::npos; p = crlf.find('\n', p + 2)) crlf.insert(p, "\r");
    w.dir.write("crlf.cube", crlf + energy_lines(wells, 8, "\r\n"));
    RunResult lf = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "--print-minima", "--print-saddle"});
    RunResult r = w.dir.run({"--cube", "crlf.cube", "--cif", "s.cif", "--print-minima", "--print-saddle"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, lf.out);
}

// ---------------------------------------------------------------------------
// Grid without structure, structure without grid
// ---------------------------------------------------------------------------

TEST(RunCube, WithoutStructureNoPointIsSearchedAndReportsAreEmpty) {
    WellsDir w;
    RunResult r = w.dir.run({"--cube", "w.cube", "--print-minima", "--print-saddle"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, std::string(kMinimaFrame) + totals("minima", 0, 0) + "\r\n" + kSaddleFrame +
                         totals("saddle", 0, 0) + "\r\n");
}

TEST(RunCube, StructureWithoutGridRunsNoPathStage) {
    WellsDir w;
    std::set<std::string> before = entries(w.dir.path());
    RunResult r = w.dir.run({"--cif", "s.cif", "Na1+", "--path", "--print-minima", "--print-path"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(entries(w.dir.path()), before);  // no events, pathway or summary file
}

// ---------------------------------------------------------------------------
// Energy scaling
// ---------------------------------------------------------------------------

TEST(RunScaling, ExpressionWithoutUpperCaseEIsRefusedBeforeTheGridIsRead) {
    WellsDir w;
    expect_failure(w.dir.run({"--cube", "w.cube", "--scale", "2*x"}),
                   "Error: Invalid scaling expression - variable E missing\n");
    expect_failure(w.dir.run({"--cube", "w.cube", "--scale", "2*e"}),
                   "Error: Invalid scaling expression - variable E missing\n");
    // compiled before the cube is opened: the missing file is never reported
    expect_failure(w.dir.run({"--cube", "absent.cube", "--scale", "x"}),
                   "Error: Invalid scaling expression - variable E missing\n");
    // the sodium default compiles first, then the explicit expression fails
    expect_failure(w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "Na1+", "--scale", "x"}),
                   "Error: Invalid scaling expression - variable E missing\n");
}

TEST(RunScaling, ExpressionThatDoesNotCompileGivesTheEvaluatorMessageOnly) {
    WellsDir w;
    for (const char* expr : {"E+", "(E", "E $"}) {
        SCOPED_TRACE(expr);
        expect_failure(w.dir.run({"--cube", "w.cube", "--scale", expr, "--print-minima"}),
                       "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n");
    }
}

TEST(RunScaling, SodiumDefaultAppliesUnlessAnExpressionReplacesIt) {
    WellsDir w;
    // Types above the lowest by 0.2, 0.4, 0.6 (raw); the Na1 site sits on the lowest.
    auto na = [](double e) {
        char s[64];
        snprintf(s, sizeof s, "%.6f", 0.5695 * pow(e, 0.6946));
        return std::string(s);
    };
    RunResult dflt = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "Na1+", "--print-minima"});
    EXPECT_EQ(dflt.status, 0);
    EXPECT_EQ(dflt.err, "");
    EXPECT_EQ(minima_type_lines(dflt.out),
              (std::vector<std::string>{"Minima type: Na1 (Energy: 0.000000 eV)",
                                        "Minima type: i1 (Energy: " + na(0.2) + " eV)",
                                        "Minima type: i2 (Energy: " + na(0.4) + " eV)",
                                        "Minima type: i3 (Energy: " + na(0.6) + " eV)"}));

    const std::vector<std::string> identity = {
        "Minima type: Na1 (Energy: 0.000000 eV)", "Minima type: i1 (Energy: 0.200000 eV)",
        "Minima type: i2 (Energy: 0.400000 eV)", "Minima type: i3 (Energy: 0.600000 eV)"};
    RunResult replaced = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "Na1+", "--scale", "E", "--print-minima"});
    EXPECT_EQ(replaced.status, 0);
    EXPECT_EQ(replaced.err, "");
    EXPECT_EQ(minima_type_lines(replaced.out), identity);

    // any other ion gets the identity; without an ion nothing is assigned (all interstitial)
    RunResult li = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "Li1+", "--print-minima"});
    EXPECT_EQ(minima_type_lines(li.out),
              (std::vector<std::string>{"Minima type: i1 (Energy: 0.000000 eV)",
                                        "Minima type: i2 (Energy: 0.200000 eV)",
                                        "Minima type: i3 (Energy: 0.400000 eV)",
                                        "Minima type: i4 (Energy: 0.600000 eV)"}));
    RunResult doubled = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "--scale", "2*E", "--print-minima"});
    EXPECT_EQ(minima_type_lines(doubled.out),
              (std::vector<std::string>{"Minima type: i1 (Energy: 0.000000 eV)",
                                        "Minima type: i2 (Energy: 0.400000 eV)",
                                        "Minima type: i3 (Energy: 0.800000 eV)",
                                        "Minima type: i4 (Energy: 1.200000 eV)"}));
}

// ---------------------------------------------------------------------------
// Energy ceiling (--max, in the scaled measure)
// ---------------------------------------------------------------------------

TEST(RunMax, MinimaAboveTheCeilingAreNotFound) {
    WellsDir w;
    auto minima_totals = [&](std::vector<std::string> args) {
        std::vector<std::string> all = {"--cube", "w.cube", "--cif", "s.cif", "--print-minima"};
        all.insert(all.end(), args.begin(), args.end());
        RunResult r = w.dir.run(all);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, "");
        size_t p = r.out.find("Total local minima");
        return p == std::string::npos ? std::string() : r.out.substr(p, r.out.find("\r\n\r\n", p) + 2 - p);
    };
    // default ceiling 5.0 above the minimum: all four types
    EXPECT_EQ(minima_totals({}), totals("minima", 8, 4));
    EXPECT_EQ(minima_totals({"--max", "abc"}), totals("minima", 8, 4));
    // raw measure: 0.5 keeps 0.0, 0.2, 0.4; 0.35 keeps 0.0, 0.2
    EXPECT_EQ(minima_totals({"--max", "0.5"}), totals("minima", 6, 3));
    EXPECT_EQ(minima_totals({"--max", "0.35"}), totals("minima", 4, 2));
    // Na1+ measure 0.5695*E^0.6946: 0.4 scales to 0.30 and 0.6 to 0.40, so 0.35 keeps three types
    RunResult r = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "Na1+", "--max", "0.35", "--print-minima"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find(totals("minima", 6, 3)), std::string::npos);
}

// ---------------------------------------------------------------------------
// Summary file
// ---------------------------------------------------------------------------

TEST(RunSummary, WritesTheMinimaThenTheSaddleSectionWithCrLf) {
    WellsDir w;
    RunResult r = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "--summary"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, "\n");  // the path library summary's extra line feed goes to the console
    ASSERT_TRUE(w.dir.exists("ZEMU_summary.txt"));
    std::string summary = w.dir.read("ZEMU_summary.txt");

    // No ion: raw energies, every type interstitial. Discovery order of the four
    // types is (0,0), (4,0), (4,4), (0,4) in (j,k); numbered by energy they become
    // i4, i2, i1, i3, and the type sort (a heap sort of the keys 4,4,2,2,1,1,3,3)
    // yields the list positions 4,5,3,2,6,7,0,1.
    const std::string minima = std::string(kMinimaFrame) + totals("minima", 8, 4) + "\r\n" +
        "Minima type: i1 (Energy: 0.000000 eV)\r\n"
        "    Index   Grid coor.    True grid coor.     Frac. coor.         Occ.    Ion type\r\n"
        "        0     2   4   4     2.0   4.0   4.0   0.250 0.500 0.500   \r\n"
        "        1     6   4   4     6.0   4.0   4.0   0.750 0.500 0.500   \r\n"
        "Multiplicity: 2\r\n\r\n"
        "Minima type: i2 (Energy: 0.200000 eV)\r\n"
        "    Index   Grid coor.    True grid coor.     Frac. coor.         Occ.    Ion type\r\n"
        "        2     6   4   0     6.0   4.0   0.0   0.750 0.500 0.000   \r\n"
        "        3     2   4   0     2.0   4.0   0.0   0.250 0.500 0.000   \r\n"
        "Multiplicity: 2\r\n\r\n"
        "Minima type: i3 (Energy: 0.400000 eV)\r\n"
        "    Index   Grid coor.    True grid coor.     Frac. coor.         Occ.    Ion type\r\n"
        "        4     2   0   4     2.0   0.0   4.0   0.250 0.000 0.500   \r\n"
        "        5     6   0   4     6.0   0.0   4.0   0.750 0.000 0.500   \r\n"
        "Multiplicity: 2\r\n\r\n"
        "Minima type: i4 (Energy: 0.600000 eV)\r\n"
        "    Index   Grid coor.    True grid coor.     Frac. coor.         Occ.    Ion type\r\n"
        "        6     2   0   0     2.0   0.0   0.0   0.250 0.000 0.000   \r\n"
        "        7     6   0   0     6.0   0.0   0.0   0.750 0.000 0.000   \r\n"
        "Multiplicity: 2\r\n\r\n";
    ASSERT_EQ(summary.substr(0, minima.size()), minima);
    const std::string saddle_head = std::string(kSaddleFrame) + totals("saddle", 24, 16) + "\r\n";
    EXPECT_EQ(summary.substr(minima.size(), saddle_head.size()), saddle_head);

    // The two sections are the console reports, byte for byte; every line ends in "\r\n".
    RunResult console = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "--print-minima", "--print-saddle"});
    EXPECT_EQ(summary.substr(0, console.out.size()), console.out);
    for (size_t p = console.out.find('\n'); p != std::string::npos; p = console.out.find('\n', p + 1))
        ASSERT_EQ(console.out[p - 1], '\r') << "at byte " << p;

    // Without --path the path sections follow empty.
    const std::string empty_paths =
        "-----------------------------------------------------------------\r\n"
        "                 Summary of minimum energy paths                 \r\n"
        "-----------------------------------------------------------------\r\n\r\n"
        "\nListing all 0 paths (including equivalent ones)...\n"
        "\r\n"
        "---------------------------------------------------------------------\r\n"
        "  Summary of pathway characteristics at different energy thresholds  \r\n"
        "---------------------------------------------------------------------\r\n\r\n";
    EXPECT_EQ(summary.substr(console.out.size()), empty_paths);
}

TEST(RunSummary, UnwritableEventsAndPathwayFilesOnlyWarn) {
    WellsDir w;
    for (const char* name : {"ZEMU_events.txt", "ZEMU_rp.csv", "ZEMU_summary.txt"})
        ASSERT_EQ(mkdir(w.dir.file(name).c_str(), 0755), 0);  // directories cannot be opened for writing
    const std::string both =
        "Error: Unable to write to ZEMU_events.txt\n"
        "Error: Unable to write to ZEMU_rp.csv\n";
    RunResult r = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "--path"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, both);
    EXPECT_EQ(r.out.find("Auto-generated reaction pathway done."), std::string::npos);

    RunResult s = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "--path", "--summary"});
    EXPECT_EQ(s.status, 1);
    EXPECT_EQ(s.err, both + "Error: Unable to write to ZEMU_summary.txt\n");
}

TEST(RunSummary, UnwritableSummaryEndsTheRunWithOne) {
    WellsDir w;
    ASSERT_EQ(mkdir(w.dir.file("ZEMU_summary.txt").c_str(), 0755), 0);  // a directory cannot be opened for writing
    RunResult r = w.dir.run({"--cube", "w.cube", "--cif", "s.cif", "--summary"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "Error: Unable to write to ZEMU_summary.txt\n");
}
