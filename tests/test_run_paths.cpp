// End-to-end runs of the path stages: path library, threshold scan of the
// network, activation energies, the events and summary files, and the bundled
// examples checked against their reference percolation energies.
//
// The synthetic landscapes are 8x8x8 grids with one well per axis at n = 4:
//   E(i,j,k) = P(i) + Q(j) + R(k),  P(n) = A cos(2 pi n/8) + D cos(4 pi n/8)
// (the same form on every axis with its own A and D). The only minimum is
// (4,4,4); the saddles are (0,4,4), (4,0,4) and (4,4,0), each 2A of its axis
// above the minimum (the D term cancels between n = 0 and n = 4). Every point
// is its own inversion image, so under P-1 each saddle is a type of its own.
//
// An axis whose step is 1 Bohr (0.529177 Angstrom) puts both minimum images of
// its saddle 4 steps = 2.117 Angstrom away, inside the 3.5 Angstrom reach: the
// hop is built. A step of 2 Bohr puts them 4.233 Angstrom away: the saddle type
// is warned about and no hop crosses that axis.
//
// Each half path runs straight down the valley: from the saddle every step
// towards the minimum has its lowest neighbour on the valley line, so the half
// path is the 5 points of the valley (minimum, 3 slope points, saddle), which is
// irreducible because it has fewer than 6 points.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

const double kBohr = 0.529177249;

// One axis of a separable landscape: amplitudes of cos(2 pi n/8) and of
// cos(4 pi n/8), and the grid step in Bohr.
struct Axis {
    double amp;
    double sharp;
    int bohr;
};

double axis_energy(const Axis& ax, int n) {
    const double pi = 3.141592653589793;
    return ax.amp * cos(2 * pi * n / 8) + ax.sharp * cos(4 * pi * n / 8);
}

std::string cube_text(const Axis& a, const Axis& b, const Axis& c) {
    char line[128];
    std::string s = "ZEMU test landscape\nLi1+ site energies (eV)\n    1 0.000000 0.000000 0.000000\n";
    snprintf(line, sizeof line, "    8 %d.000000 0.000000 0.000000\n    8 0.000000 %d.000000 0.000000\n", a.bohr,
             b.bohr);
    s += line;
    snprintf(line, sizeof line, "    8 0.000000 0.000000 %d.000000\n", c.bohr);
    s += line;
    s += "    3 0.000000 0.000000 0.000000 0.000000\n";
    for (int i = 0; i < 8; i++)
        for (int j = 0; j < 8; j++)
            for (int k = 0; k < 8; k++) {
                snprintf(line, sizeof line, "%.10f\n", axis_energy(a, i) + axis_energy(b, j) + axis_energy(c, k));
                s += line;
            }
    return s;
}

// The cell of the grid (8 steps per axis) with the given operations and Li1 on
// the minimum at (1/2,1/2,1/2).
std::string cif_text(const Axis& a, const Axis& b, const Axis& c, const std::vector<std::string>& ops) {
    char cell[256];
    snprintf(cell, sizeof cell, "_cell_length_a %.6f\n_cell_length_b %.6f\n_cell_length_c %.6f\n", 8 * a.bohr * kBohr,
             8 * b.bohr * kBohr, 8 * c.bohr * kBohr);
    std::string s = std::string("data_run\n") + cell +
                    "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
                    "loop_\n_symmetry_equiv_pos_as_xyz\n";
    for (const std::string& op : ops) s += op + "\n";
    s += "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nLi1+ 1\nO2- -2\n"
         "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
         "_atom_site_fract_z\n_atom_site_occupancy\nLi1 Li1+ 0.5 0.5 0.5 1.0\n";
    return s;
}

const std::vector<std::string> kP1bar = {"x,y,z", "-x,-y,-z"};
// P 4/m: the fourfold axis along c maps the a and b saddles onto each other.
const std::vector<std::string> kP4m = {"x,y,z",    "-y,x,z",   "-x,-y,z", "y,-x,z",
                                       "-x,-y,-z", "y,-x,-z",  "x,y,-z",  "-y,x,-z"};
// R -3 on cubic axes: the threefold axis along [111] cycles a, b and c.
const std::vector<std::string> kR3bar = {"x,y,z", "z,x,y", "y,z,x", "-x,-y,-z", "-z,-x,-y", "-y,-z,-x"};

// Writes the landscape and structure into dir and runs the path stages.
RunResult run_paths(const WorkDir& dir, const Axis& a, const Axis& b, const Axis& c,
                    const std::vector<std::string>& ops, const std::vector<std::string>& extra) {
    dir.write("l.cube", cube_text(a, b, c));
    dir.write("s.cif", cif_text(a, b, c, ops));
    std::vector<std::string> args = {"--cube", "l.cube", "--cif", "s.cif", "Li1+", "--path"};
    args.insert(args.end(), extra.begin(), extra.end());
    return dir.run(args);
}

const std::vector<std::string> kAllReports = {"--print-path", "--print-perc", "--print-act"};

// ---------------------------------------------------------------------------
// Expected report text
// ---------------------------------------------------------------------------

// "<start> (e) to <end> (e) via s<n> (e)", the body of every hop line.
std::string hop(const char* from, double e_from, const char* to, double e_to, int saddle, double e_saddle) {
    char buf[256];
    snprintf(buf, sizeof buf, "%s (%.3f eV) to %s (%.3f eV) via s%d (%.3f eV)", from, e_from, to, e_to, saddle,
             e_saddle);
    return buf;
}

std::string li1_hop(int saddle, double e) { return hop("Li1", 0.0, "Li1", 0.0, saddle, e); }

struct LibPath {
    std::string hop;
    int dimension;   // the plot colour printed under this caption
    int redundancy;  // the plot style
};

struct LibCopy {
    std::string hop;
    std::string cross;  // "x,y,z"
    int start, end, saddle;
};

// The path library report; on the console it carries one extra line feed
// before its closing "\r\n".
std::string library(const std::vector<LibPath>& paths, const std::vector<LibCopy>& copies, bool console) {
    std::string s =
        "-----------------------------------------------------------------\r\n"
        "                 Summary of minimum energy paths                 \r\n"
        "-----------------------------------------------------------------\r\n\r\n";
    char buf[512];
    for (size_t i = 0; i < paths.size(); i++) {
        snprintf(buf, sizeof buf, "> Path %d : %s\r\n>> Dimension: %d\n>> Redundancy: %d\n", static_cast<int>(i + 1),
                 paths[i].hop.c_str(), paths[i].dimension, paths[i].redundancy);
        s += buf;
    }
    snprintf(buf, sizeof buf, "\nListing all %d paths (including equivalent ones)...\n",
             static_cast<int>(copies.size()));
    s += buf;
    for (const LibCopy& c : copies) {
        snprintf(buf, sizeof buf,
                 "> %s\n>> Internal: boundary cross (%s); minima indices (%d,%d) saddle index (%d)\n", c.hop.c_str(),
                 c.cross.c_str(), c.start, c.end, c.saddle);
        s += buf;
    }
    return s + (console ? "\n" : "") + "\r\n";
}

struct Cluster {
    std::string percolation;  // the "> Percolating" line with its end, or "" for none
    double minimum;
    bool global;
    double maximum;
    std::vector<std::string> hops;
};

const char kScanHead[] =
    "---------------------------------------------------------------------\r\n"
    "  Summary of pathway characteristics at different energy thresholds  \r\n"
    "---------------------------------------------------------------------\r\n\r\n";

// One threshold block of the scan.
std::string threshold(double energy, const std::vector<Cluster>& clusters) {
    char buf[256];
    snprintf(buf, sizeof buf,
             "===============================\r\n Threshold energy: %.6f eV\r\n"
             "===============================\r\n\r\nTotal symmetrically distinct clusters: %d\r\n",
             energy, static_cast<int>(clusters.size()));
    std::string s = buf;
    for (size_t c = 0; c < clusters.size(); c++) {
        const Cluster& cl = clusters[c];
        snprintf(buf, sizeof buf, "\r\nCluster %d:\r\n", static_cast<int>(c + 1));
        s += buf + cl.percolation + "> Multiplicity : 1\r\n";
        snprintf(buf, sizeof buf, "> Cluster energy minimum : %.3f%s\r\n> Cluster energy maximum : %.3f\r\n",
                 cl.minimum, cl.global ? " (global energy minimum)" : "", cl.maximum);
        s += std::string(buf) + "> Site hops :\r\n";
        for (size_t h = 0; h < cl.hops.size(); h++) {
            snprintf(buf, sizeof buf, "  (%d) %s\r\n", static_cast<int>(h + 1), cl.hops[h].c_str());
            s += buf;
        }
        s += "\r\n";
    }
    return s;
}

// The three activation lines behind the (empty) ICSD code.
std::string activation(double one, double two, double three) {
    char buf[256];
    snprintf(buf, sizeof buf,
             "ICSD:   1D activation energy: %.6f eV\n2D activation energy: %.6f eV\n3D activation energy: %.6f eV\n",
             one, two, three);
    return buf;
}

const char kDone[] = "Auto-generated reaction pathway done.\n";

std::string warning(int type) {
    return "Warning: Cannot connect saddle type " + std::to_string(type) + " to any energy minimum site\n";
}

// Whether out equals the expectation built from the copies in some order. The
// copies of one path type follow the saddle list, whose order among members of
// one type is the grouping heap's; copy k of a type of one point per copy is
// saddle k.
bool equals_for_some_copy_order(const std::string& out, std::vector<std::string> crosses, const std::string& hop_text,
                                const std::vector<LibPath>& paths, const std::string& rest) {
    std::sort(crosses.begin(), crosses.end());
    do {
        std::vector<LibCopy> copies;
        for (size_t k = 0; k < crosses.size(); k++) copies.push_back({hop_text, crosses[k], 0, 0, static_cast<int>(k)});
        if (out == library(paths, copies, true) + rest) return true;
    } while (std::next_permutation(crosses.begin(), crosses.end()));
    return false;
}

// ---------------------------------------------------------------------------
// Landscapes
// ---------------------------------------------------------------------------

// Channel along a: barriers 0.2 (a), 0.6 (b), 1.0 (c); b and c out of reach.
const Axis kChannelA = {0.1, 0.0, 1}, kChannelB = {0.3, 0.0, 2}, kChannelC = {0.5, 0.0, 2};

const std::string kChannelLibraryHop = li1_hop(1, 0.2);
// Copy of the a hop: saddle (0,4,4) has the start and end candidates
// (4,4,4) - (8,0,0) and (4,4,4), in that order (translations run from -1).
// Pairs of an image with itself are skipped, and the pair (second, first)
// reverses the copy already made: one copy, crossing (1,0,0).
const std::vector<LibCopy> kChannelCopies = {{kChannelLibraryHop, "1,0,0", 0, 0, 0}};

const std::string kChannelScan =
    std::string(kScanHead) +
    threshold(0.2, {{"> Percolating (1D) : Vector [1,0,0]\r\n", 0.0, true, 0.2, {li1_hop(1, 0.2)}}});

}  // namespace

// ---------------------------------------------------------------------------
// Dimensions and activation energies
// ---------------------------------------------------------------------------

TEST(RunPaths, ChannelAlongAPercolatesInOneDimensionOnly) {
    // Saddles by energy: s1 (0,4,4) 0.2, s2 (4,0,4) 0.6, s3 (4,4,0) 1.0; s2 and s3
    // have no minimum within reach. The one hop joins Li1 to its image one cell
    // along a: the network is a chain with vector (8,0,0), and removing its
    // single site leaves nothing, so it is no ribbon.
    WorkDir dir;
    RunResult r = run_paths(dir, kChannelA, kChannelB, kChannelC, kP1bar, kAllReports);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, warning(2) + warning(3));
    EXPECT_EQ(r.out, library({{kChannelLibraryHop, -1, -1}}, kChannelCopies, true) + kChannelScan +
                         activation(0.2, 999.0, 999.0) + kDone);
}

TEST(RunPaths, LayerInBcOpensAlongBFirstAndSpansThePlaneAtTheSecondBarrier) {
    // a is out of reach (barrier 1.0, s3); b has the lowest barrier 0.2 (s1 at
    // (4,0,4), saddle index 0), c the next 0.6 (s2 at (4,4,0), index 1). At 0.2
    // the chain along b is 1-D; at 0.6 the vectors (0,8,0) and (0,0,8) span the
    // plane of normal (8*8 - 0) / 8 / 8 = 1 along a. 1D takes 0.2, 2D 0.6.
    WorkDir dir;
    RunResult r = run_paths(dir, {0.5, 0.0, 2}, {0.1, 0.0, 1}, {0.3, 0.0, 1}, kP1bar, kAllReports);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, warning(3));
    const std::string b_hop = li1_hop(1, 0.2), c_hop = li1_hop(2, 0.6);
    const std::vector<LibCopy> copies = {{b_hop, "0,1,0", 0, 0, 0}, {c_hop, "0,0,1", 0, 0, 1}};
    EXPECT_EQ(r.out,
              library({{b_hop, -1, -1}, {c_hop, -1, -1}}, copies, true) + kScanHead +
                  threshold(0.2, {{"> Percolating (1D) : Vector [0,1,0]\r\n", 0.0, true, 0.2, {b_hop}}}) +
                  threshold(0.6, {{"> Percolating (2D) : Plane (1,0,0)\r\n", 0.0, true, 0.6, {b_hop, c_hop}}}) +
                  activation(0.2, 0.6, 999.0) + kDone);
}

TEST(RunPaths, ThreeDistinctBarriersOpenOneDimensionAtATime) {
    // Every axis in reach, barriers 0.2 (a), 0.6 (b), 1.0 (c): the network gains
    // one dimension per threshold, and each activation energy is the barrier
    // that opened its dimension (the minimum is 0 throughout).
    WorkDir dir;
    RunResult r = run_paths(dir, {0.1, 0.0, 1}, {0.3, 0.0, 1}, {0.5, 0.0, 1}, kP1bar, kAllReports);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    const std::string h1 = li1_hop(1, 0.2), h2 = li1_hop(2, 0.6), h3 = li1_hop(3, 1.0);
    EXPECT_EQ(r.out, library({{h1, -1, -1}, {h2, -1, -1}, {h3, -1, -1}},
                             {{h1, "1,0,0", 0, 0, 0}, {h2, "0,1,0", 0, 0, 1}, {h3, "0,0,1", 0, 0, 2}}, true) +
                         kScanHead +
                         threshold(0.2, {{"> Percolating (1D) : Vector [1,0,0]\r\n", 0.0, true, 0.2, {h1}}}) +
                         threshold(0.6, {{"> Percolating (2D) : Plane (0,0,1)\r\n", 0.0, true, 0.6, {h1, h2}}}) +
                         threshold(1.0, {{"> Percolating (3D)\r\n", 0.0, true, 1.0, {h1, h2, h3}}}) +
                         activation(0.2, 0.6, 1.0) + kDone);
}

// Equal barriers along a and b (A = 0.3) need D < 0: with D = 0 the diagonal
// neighbour (1,3,4) of the saddle (0,4,4) has P(1) + P(3) = P(0) + P(4) and ties
// with it. With D = -0.05 it lies -2D = 0.1 above, so the two sides of every
// saddle stay apart.
const Axis kSquare = {0.3, -0.05, 1};

TEST(RunPaths, FourfoldLayerOpensBothDirectionsAtOnceSo1DEquals2D) {
    // Under P 4/m the saddles (0,4,4) and (4,0,4) are one type s1 at 0.6 with two
    // members; (4,4,0) is s2 at 1.0, out of reach. One path type, one copy per
    // member, crossing a and b: the first threshold already gives the plane of
    // normal c, so the 1-D and 2-D energies are both 0.6.
    WorkDir dir;
    RunResult r = run_paths(dir, kSquare, kSquare, {0.5, 0.0, 2}, kP4m, kAllReports);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, warning(2));
    const std::string h = li1_hop(1, 0.6);
    EXPECT_TRUE(equals_for_some_copy_order(
        r.out, {"1,0,0", "0,1,0"}, h, {{h, -1, -1}},
        kScanHead + threshold(0.6, {{"> Percolating (2D) : Plane (0,0,1)\r\n", 0.0, true, 0.6, {h}}}) +
            activation(0.6, 0.6, 999.0) + kDone))
        << r.out;
}

TEST(RunPaths, ThreefoldNetworkOpensAllDirectionsAtOnceSoAllEnergiesAreEqual) {
    // Under R -3 on cubic axes the three saddles are one type s1 at 0.6 with three
    // members; its copies cross a, b and c, and the first threshold is 3-D.
    WorkDir dir;
    RunResult r = run_paths(dir, kSquare, kSquare, kSquare, kR3bar, kAllReports);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    const std::string h = li1_hop(1, 0.6);
    EXPECT_TRUE(equals_for_some_copy_order(
        r.out, {"1,0,0", "0,1,0", "0,0,1"}, h, {{h, -1, -1}},
        kScanHead + threshold(0.6, {{"> Percolating (3D)\r\n", 0.0, true, 0.6, {h}}}) + activation(0.6, 0.6, 0.6) +
            kDone))
        << r.out;
}

TEST(RunPaths, WithoutReportSwitchesOnlyTheDoneLineIsPrinted) {
    WorkDir dir;
    RunResult r = run_paths(dir, kChannelA, kChannelB, kChannelC, kP1bar, {});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kDone);
    EXPECT_EQ(r.err, warning(2) + warning(3));
}

// ---------------------------------------------------------------------------
// Events and summary files
// ---------------------------------------------------------------------------

namespace {

const char kChannelMinima[] =
    "-----------------------------------------------------------------\r\n"
    "                  Summary of energy local minima                  \r\n"
    "-----------------------------------------------------------------\r\n\r\n"
    "Total local minima in unit cell: 1\r\n"
    "Total symmetrically inequivalent: 1\r\n\r\n"
    "Minima type: Li1 (Energy: 0.000000 eV)\r\n"
    "    Index   Grid coor.    True grid coor.     Frac. coor.         Occ.    Ion type\r\n"
    "        0     4   4   4     4.0   4.0   4.0   0.500 0.500 0.500   1.000   Li1\r\n"
    "Multiplicity: 1\r\n\r\n";

const char kSaddleColumns[] =
    "    Index   Grid coor.    True grid coor.     Frac. coor.         True frac. coor.\r\n";

std::string channel_saddles() {
    return std::string("-----------------------------------------------------------------\r\n"
                       "                  Summary of energy saddle point                  \r\n"
                       "-----------------------------------------------------------------\r\n\r\n"
                       "Total local saddle in unit cell: 3\r\n"
                       "Total symmetrically inequivalent: 3\r\n\r\n"
                       "Saddle type: s1 (Energy: 0.200000 eV)\r\n") +
           kSaddleColumns +
           "        0     0   4   4     0.0   4.0   4.0   0.000 0.500 0.500   0.000 0.500 0.500\r\n"
           "Multiplicity: 1\r\n\r\n"
           "Saddle type: s2 (Energy: 0.600000 eV)\r\n" +
           kSaddleColumns +
           "        1     4   0   4     4.0   0.0   4.0   0.500 0.000 0.500   0.500 0.000 0.500\r\n"
           "Multiplicity: 1\r\n\r\n"
           "Saddle type: s3 (Energy: 1.000000 eV)\r\n" +
           kSaddleColumns +
           "        2     4   4   0     4.0   4.0   0.0   0.500 0.500 0.000   0.500 0.500 0.000\r\n"
           "Multiplicity: 1\r\n\r\n";
}

}  // namespace

TEST(RunPathFiles, EventsFileHoldsTheConsoleThresholdScan) {
    WorkDir dir;
    RunResult r = run_paths(dir, kChannelA, kChannelB, kChannelC, kP1bar, {"--print-perc"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kChannelScan + kDone);
    EXPECT_EQ(dir.read("ZEMU_events.txt"), kChannelScan);
}

TEST(RunPathFiles, SummaryHoldsMinimaSaddlesLibraryAndScanInThatOrder) {
    // The summary is written after the reaction pathway, which marked the chain's
    // one path with colour 1 (1-D) and style 1 (backbone): the library captions
    // show them. The console library, printed before, still shows -1 and carries
    // one extra line feed; the library writer puts that line feed on standard
    // output whatever its stream, so writing the summary adds one more there.
    WorkDir dir;
    RunResult r = run_paths(dir, kChannelA, kChannelB, kChannelC, kP1bar, {"--summary", "--print-path"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, warning(2) + warning(3));
    EXPECT_EQ(r.out, library({{kChannelLibraryHop, -1, -1}}, kChannelCopies, true) + kDone + "\n");
    EXPECT_EQ(dir.read("ZEMU_summary.txt"), kChannelMinima + channel_saddles() +
                                                library({{kChannelLibraryHop, 1, 1}}, kChannelCopies, false) +
                                                kChannelScan);
    EXPECT_EQ(dir.read("ZEMU_events.txt"), kChannelScan);
}

TEST(RunPathFiles, SummaryWithoutPathsHasEmptyPathSections) {
    WorkDir dir;
    dir.write("l.cube", cube_text(kChannelA, kChannelB, kChannelC));
    dir.write("s.cif", cif_text(kChannelA, kChannelB, kChannelC, kP1bar));
    RunResult r = dir.run({"--cube", "l.cube", "--cif", "s.cif", "Li1+", "--summary"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "\n");  // the library writer's line feed
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(dir.read("ZEMU_summary.txt"), kChannelMinima + channel_saddles() + library({}, {}, false) + kScanHead);
    EXPECT_FALSE(dir.exists("ZEMU_events.txt"));
    EXPECT_FALSE(dir.exists("ZEMU_rp.csv"));
}

TEST(RunPathFiles, UnwritableEventsAndPathwayFilesAreReportedAndTheRunSucceeds) {
    // Directories in place of the two files: neither opens for writing.
    WorkDir dir;
    ASSERT_EQ(mkdir(dir.file("ZEMU_events.txt").c_str(), 0755), 0);
    ASSERT_EQ(mkdir(dir.file("ZEMU_rp.csv").c_str(), 0755), 0);
    RunResult r = run_paths(dir, kChannelA, kChannelB, kChannelC, kP1bar, {"--print-act"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, activation(0.2, 999.0, 999.0));
    EXPECT_EQ(r.err, warning(2) + warning(3) + "Error: Unable to write to ZEMU_events.txt\n" +
                         "Error: Unable to write to ZEMU_rp.csv\n");
}

TEST(RunPathFiles, UnwritableSummaryEndsTheRunWithStatusOne) {
    WorkDir dir;
    for (const char* name : {"ZEMU_events.txt", "ZEMU_rp.csv", "ZEMU_summary.txt"})
        ASSERT_EQ(mkdir(dir.file(name).c_str(), 0755), 0) << name;
    RunResult r = run_paths(dir, kChannelA, kChannelB, kChannelC, kP1bar, {"--summary"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");  // the summary never opened: no library written
    EXPECT_EQ(r.err, warning(2) + warning(3) + "Error: Unable to write to ZEMU_events.txt\n" +
                         "Error: Unable to write to ZEMU_rp.csv\n" + "Error: Unable to write to ZEMU_summary.txt\n");
}

// ---------------------------------------------------------------------------
// Bundled examples against their reference percolation energies
// ---------------------------------------------------------------------------

namespace {

// The number after "key": inside the object that follows "section": in a
// reference file (the files are small, flat and written by one tool).
double reference_value(const std::string& json, const std::string& section, const std::string& key) {
    size_t at = json.find("\"percolation_exact_eV\"");
    if (at == std::string::npos) return -1.0;
    at = json.find("\"" + section + "\"", at);
    if (at == std::string::npos) return -1.0;
    size_t close = json.find('}', at);
    at = json.find("\"" + key + "\":", at);
    if (at == std::string::npos || at > close) return -1.0;
    return atof(json.c_str() + at + key.size() + 3);
}

// The value printed on the activation line of one dimension.
double printed_activation(const std::string& out, int dim) {
    const std::string key = std::to_string(dim) + "D activation energy: ";
    size_t at = out.find(key);
    return at == std::string::npos ? -1.0 : atof(out.c_str() + at + key.size());
}

// Both the reference values and the printed energies carry 6 decimals, each
// within half a unit of the last place of the exact value: two equal energies
// print at most 1e-6 apart. 2e-6 leaves room for the binary representation.
const double kSixDecimals = 2e-6;

void check_example(const char* name, const char* ion, const char* key) {
    WorkDir dir;
    const std::string base = std::string("examples/") + name + "/";
    RunResult r = dir.run({"--cube", zemu_test::source_file(base + "landscape.cube"), "--cif",
                           zemu_test::source_file(base + "structure.cif"), ion, "--path", "--print-act"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("ICSD: ", 0), 0u);
    const std::string json = zemu_test::slurp(zemu_test::source_file(base + "reference.json"));
    for (int dim = 1; dim <= 3; dim++) {
        SCOPED_TRACE(std::to_string(dim) + "D");
        double ref = reference_value(json, "E_" + std::to_string(dim) + "D", key);
        ASSERT_GT(ref, 0.0);
        EXPECT_NEAR(printed_activation(r.out, dim), ref, kSixDecimals);
    }
}

}  // namespace

TEST(RunPathExamples, LithiumIronPhosphateActivationEnergiesMatchTheReferenceSpans) {
    // Li1+ is not scaled: the energies compare with the plain spans.
    check_example("LiFePO4", "Li1+", "span");
}

TEST(RunPathExamples, SodiumUranateActivationEnergiesMatchTheScaledReferenceSpans) {
    // Na1+ energies go through 0.5695*E^0.6946: the scaled spans apply.
    check_example("Na2UO4", "Na1+", "span_scaled");
}
