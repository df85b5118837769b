// End-to-end runs of the path stages on small landscapes, where every line of
// the reports, the events and summary files and the pathway file "ZEMU_rp.csv"
// follows by hand.
//
// The landscapes are 8x8x8 grids with one well per axis at n = 4:
//   E(i,j,k) = P(i) + Q(j) + R(k),  P(n) = A cos(2 pi n/8) + D cos(4 pi n/8)
// (the same form on every axis with its own A and D). The only minimum is
// (4,4,4); the saddles are (0,4,4), (4,0,4) and (4,4,0), each 2A of its axis
// above the minimum (the D term cancels between n = 0 and n = 4). Every point
// is its own inversion image, so under P-1 each saddle is a type of its own.
//
// An axis whose step is 1 Bohr (0.529177 Angstrom) puts both minimum images of
// its saddle 4 steps = 2.117 Angstrom away, inside the 3.5 Angstrom reach: the
// hop is built. A step of 2 Bohr puts them 4.233 Angstrom away: the saddle type
// is warned about and no hop crosses that axis. Each half path runs straight
// down the valley (minimum, 3 slope points, saddle): irreducible, having fewer
// than 6 points. Along the pathway file the reaction coordinate advances by
// one step per point, and a hop of amplitude A climbs as A (1 - cos(2 pi m/8))
// over its m-th step from the minimum.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

const double kBohr = 0.529177249;

// One axis: amplitudes of cos(2 pi n/8) and of cos(4 pi n/8), grid step in Bohr.
struct Axis {
    double amp;
    double sharp;
    int bohr;
};

std::string cube_text(const Axis (&ax)[3]) {
    const double pi = 3.141592653589793;
    auto energy = [pi](const Axis& a, int n) { return a.amp * cos(2 * pi * n / 8) + a.sharp * cos(4 * pi * n / 8); };
    char line[128];
    std::string s = "ZEMU test landscape\nLi1+ site energies (eV)\n    1 0.000000 0.000000 0.000000\n";
    for (int a = 0; a < 3; a++) {
        snprintf(line, sizeof line, "    8 %d.000000 %d.000000 %d.000000\n", a == 0 ? ax[0].bohr : 0,
                 a == 1 ? ax[1].bohr : 0, a == 2 ? ax[2].bohr : 0);
        s += line;
    }
    s += "    3 0.000000 0.000000 0.000000 0.000000\n";
    for (int i = 0; i < 8; i++)
        for (int j = 0; j < 8; j++)
            for (int k = 0; k < 8; k++) {
                snprintf(line, sizeof line, "%.10f\n", energy(ax[0], i) + energy(ax[1], j) + energy(ax[2], k));
                s += line;
            }
    return s;
}

// The cell of the grid with the given operations and Li1 on the minimum.
std::string cif_text(const Axis (&ax)[3], const std::vector<std::string>& ops) {
    char cell[256];
    snprintf(cell, sizeof cell, "_cell_length_a %.6f\n_cell_length_b %.6f\n_cell_length_c %.6f\n",
             8 * ax[0].bohr * kBohr, 8 * ax[1].bohr * kBohr, 8 * ax[2].bohr * kBohr);
    std::string s = std::string("data_run\n") + cell +
                    "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
                    "loop_\n_symmetry_equiv_pos_as_xyz\n";
    for (const std::string& op : ops) s += op + "\n";
    return s + "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nLi1+ 1\nO2- -2\n"
               "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
               "_atom_site_fract_z\n_atom_site_occupancy\nLi1 Li1+ 0.5 0.5 0.5 1.0\n";
}

const std::vector<std::string> kP1bar = {"x,y,z", "-x,-y,-z"};
// P 4/m: the fourfold axis along c maps the a and b saddles onto each other.
const std::vector<std::string> kP4m = {"x,y,z",    "-y,x,z",  "-x,-y,z", "y,-x,z",
                                       "-x,-y,-z", "y,-x,-z", "x,y,-z",  "-y,x,-z"};
// R -3 on cubic axes: the threefold axis along [111] cycles a, b and c.
const std::vector<std::string> kR3bar = {"x,y,z", "z,x,y", "y,z,x", "-x,-y,-z", "-z,-x,-y", "-y,-z,-x"};
const std::vector<std::string> kAllReports = {"--print-path", "--print-perc", "--print-act"};

// Writes the landscape and structure into dir; with `path`, runs the path stages.
RunResult run(const WorkDir& dir, const Axis (&ax)[3], const std::vector<std::string>& extra,
              const std::vector<std::string>& ops = kP1bar, bool path = true) {
    dir.write("l.cube", cube_text(ax));
    dir.write("s.cif", cif_text(ax, ops));
    std::vector<std::string> args = {"--cube", "l.cube", "--cif", "s.cif", "Li1+"};
    if (path) args.push_back("--path");
    args.insert(args.end(), extra.begin(), extra.end());
    return dir.run(args);
}

// The pathway file with the plot attributes (colour, marker, style) cut off the
// minimum rows "x,E,label,colour,marker,style"; the markers (the pathway's
// number) are collected in order.
std::string pathway_rows(const WorkDir& dir, std::vector<int>* markers) {
    const std::string text = dir.read("ZEMU_rp.csv");
    std::string out;
    for (size_t start = 0, nl; start < text.size(); start = nl + 1) {
        nl = std::min(text.find('\n', start), text.size());
        std::string line = text.substr(start, nl - start);
        int cut = -1, end = -1, colour, marker, style;
        if (sscanf(line.c_str(), "%*[^,],%*[^,],%*[^,]%n,%d,%d,%d%n", &cut, &colour, &marker, &style, &end) == 3 &&
            end == static_cast<int>(line.size())) {
            markers->push_back(marker);
            line.resize(cut);
        }
        out += line + (nl < text.size() ? "\n" : "");
    }
    return out;
}

// --- Expected report text ---

// "Li1 (0.000 eV) to Li1 (0.000 eV) via s<n> (e)", the body of every hop line.
std::string hop(int saddle, double e) {
    char buf[128];
    snprintf(buf, sizeof buf, "Li1 (0.000 eV) to Li1 (0.000 eV) via s%d (%.3f eV)", saddle, e);
    return buf;
}

struct LibCopy {
    std::string hop;
    std::string cross;  // "x,y,z"
    int saddle;         // index; both minima are index 0
};

// The path library report, every path with plot colour and style `attribute`;
// on the console it carries one extra line feed before its closing "\r\n".
std::string library(const std::vector<std::string>& paths, const std::vector<LibCopy>& copies, bool console,
                    int attribute = -1) {
    std::string s =
        "-----------------------------------------------------------------\r\n"
        "                 Summary of minimum energy paths                 \r\n"
        "-----------------------------------------------------------------\r\n\r\n";
    char buf[512];
    for (size_t i = 0; i < paths.size(); i++) {
        snprintf(buf, sizeof buf, "> Path %d : %s\r\n>> Dimension: %d\n>> Redundancy: %d\n", static_cast<int>(i + 1),
                 paths[i].c_str(), attribute, attribute);
        s += buf;
    }
    snprintf(buf, sizeof buf, "\nListing all %d paths (including equivalent ones)...\n",
             static_cast<int>(copies.size()));
    s += buf;
    for (const LibCopy& c : copies) {
        snprintf(buf, sizeof buf,
                 "> %s\n>> Internal: boundary cross (%s); minima indices (0,0) saddle index (%d)\n", c.hop.c_str(),
                 c.cross.c_str(), c.saddle);
        s += buf;
    }
    return s + (console ? "\n" : "") + "\r\n";
}

const char kScanHead[] =
    "---------------------------------------------------------------------\r\n"
    "  Summary of pathway characteristics at different energy thresholds  \r\n"
    "---------------------------------------------------------------------\r\n\r\n";

// One threshold block of the scan: a single cluster of multiplicity 1 holding
// the global minimum, topped by the threshold, with its "> Percolating" line.
std::string threshold(double energy, const std::string& percolation, const std::vector<std::string>& hops) {
    char buf[512];
    snprintf(buf, sizeof buf,
             "===============================\r\n Threshold energy: %.6f eV\r\n"
             "===============================\r\n\r\nTotal symmetrically distinct clusters: 1\r\n"
             "\r\nCluster 1:\r\n> Percolating %s\r\n> Multiplicity : 1\r\n"
             "> Cluster energy minimum : 0.000 (global energy minimum)\r\n> Cluster energy maximum : %.3f\r\n"
             "> Site hops :\r\n",
             energy, percolation.c_str(), energy);
    std::string s = buf;
    for (size_t h = 0; h < hops.size(); h++) s += "  (" + std::to_string(h + 1) + ") " + hops[h] + "\r\n";
    return s + "\r\n";
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

// A run with every report switch. Path n is saddle type n+1; each opens the
// threshold at its barrier, where the cluster holds paths 1..n+1 and has the
// given percolation; its copies cross the given cells.
struct Hop {
    double barrier;
    const char* percolation;
    std::vector<std::string> crosses;
};
struct Case {
    const char* what;
    Axis ax[3];
    std::vector<std::string> ops;
    std::string err;
    std::vector<Hop> paths;
    double act[3];
    std::string rows;  // pathway rows (without plot attributes); "" = not checked
    std::vector<int> markers;
};

std::string scan_text(const Case& c) {
    std::string s = kScanHead;
    std::vector<std::string> hops;
    for (const Hop& h : c.paths) {
        hops.push_back(hop(static_cast<int>(hops.size() + 1), h.barrier));
        s += threshold(h.barrier, h.percolation, hops);
    }
    return s;
}

// The console output, with the copies of the first path in the given order:
// copies follow the saddle list, whose order among members of one type is the
// grouping heap's; the copy made k-th is that of saddle k.
std::string console(const Case& c, const std::vector<std::string>& first_crosses) {
    std::vector<std::string> hops;
    std::vector<LibCopy> copies;
    for (size_t p = 0; p < c.paths.size(); p++) {
        hops.push_back(hop(static_cast<int>(p + 1), c.paths[p].barrier));
        for (const std::string& x : p == 0 ? first_crosses : c.paths[p].crosses)
            copies.push_back({hops.back(), x, static_cast<int>(copies.size())});
    }
    return library(hops, copies, true) + scan_text(c) + activation(c.act[0], c.act[1], c.act[2]) + kDone;
}

// Channel along a: barriers 0.2 (a), 0.6 (b), 1.0 (c); b and c out of reach.
// Saddles by energy: s1 (0,4,4), s2 (4,0,4), s3 (4,4,0).
const Axis kChannel[3] = {{0.1, 0.0, 1}, {0.3, 0.0, 2}, {0.5, 0.0, 2}};
// Copy of the a hop: saddle (0,4,4) has the start and end candidates
// (4,4,4) - (8,0,0) and (4,4,4), in that order (translations run from -1).
// Pairs of an image with itself are skipped, and the pair (second, first)
// reverses the copy already made: one copy, crossing (1,0,0).
const std::vector<LibCopy> kChannelCopies = {{hop(1, 0.2), "1,0,0", 0}};
const std::string kChannelScan = std::string(kScanHead) + threshold(0.2, "(1D) : Vector [1,0,0]", {hop(1, 0.2)});
const std::string kChannelWarnings = warning(2) + warning(3);
// Pathway rows of the hop along a over s1 (A = 0.1), from reaction coordinate 0.
const char kChannelRows[] =
    "0.000000,0.000000,Li1\n"
    "0.529177,0.029289\n"
    "1.058354,0.100000\n"
    "1.587532,0.170711\n"
    "2.116709,0.200000,s1 0.200000eV\n"
    "2.645886,0.170711\n"
    "3.175063,0.100000\n"
    "3.704241,0.029289\n"
    "4.233418,0.000000,Li1\n";

// Equal barriers along a and b (A = 0.3) need D < 0: with D = 0 the diagonal
// neighbour (1,3,4) of the saddle (0,4,4) has P(1) + P(3) = P(0) + P(4) and ties
// with it. With D = -0.05 it lies -2D = 0.1 above, so the two sides of every
// saddle stay apart.
const Axis kSquare = {0.3, -0.05, 1};

}  // namespace

// --- Dimensions, activation energies and the pathway ---

TEST(RunPaths, EachBarrierOpensTheDimensionsItsHopsSpanAndThePathwayGrowsByTheOpeningHop) {
    const Case cases[] = {
        // The one hop joins Li1 to its image one cell along a: the network is a
        // chain with vector (8,0,0), and removing its single site leaves nothing,
        // so it is no ribbon. Its pathway walks the hop once; the saddle row's
        // barrier is 0.2 - min(0, 0).
        {"channel along a percolates in one dimension only", {kChannel[0], kChannel[1], kChannel[2]}, kP1bar,
         kChannelWarnings, {{0.2, "(1D) : Vector [1,0,0]", {"1,0,0"}}}, {0.2, 999.0, 999.0},
         std::string(kChannelRows) + "END\n", {0, 0}},
        // a is out of reach (barrier 1.0, s3); b has the lowest barrier 0.2 (s1 at
        // (4,0,4), saddle index 0), c the next 0.6 (s2 at (4,4,0), index 1). At 0.2
        // the chain along b is 1-D; at 0.6 the vectors (0,8,0) and (0,0,8) span the
        // plane of normal (8*8 - 0) / 8 / 8 = 1 along a.
        {"layer in bc opens along b first and spans the plane at the second barrier",
         {{0.5, 0.0, 2}, {0.1, 0.0, 1}, {0.3, 0.0, 1}}, kP1bar, warning(3),
         {{0.2, "(1D) : Vector [0,1,0]", {"0,1,0"}}, {0.6, "(2D) : Plane (1,0,0)", {"0,0,1"}}}, {0.2, 0.6, 999.0}, "",
         {}},
        // Every axis in reach: one dimension per threshold, each activation energy
        // the barrier that opened it (the minimum is 0 throughout). The pathway is
        // made at 0.2 for the chain (hop a); at 0.6 its cluster turns 2-D and the
        // shortest route of minimum types from the pathway to the new top path is
        // the single type Li1, so only the hop along b is appended; at 1.0 likewise
        // the hop along c: 24 steps of 1 Bohr, the joints kept once.
        {"three distinct barriers open one dimension at a time", {{0.1, 0.0, 1}, {0.3, 0.0, 1}, {0.5, 0.0, 1}},
         kP1bar, "",
         {{0.2, "(1D) : Vector [1,0,0]", {"1,0,0"}}, {0.6, "(2D) : Plane (0,0,1)", {"0,1,0"}}, {1.0, "(3D)", {"0,0,1"}}},
         {0.2, 0.6, 1.0},
         std::string(kChannelRows) +
             "4.762595,0.087868\n"  // b: 0.3 (1 - cos)
             "5.291772,0.300000\n"
             "5.820950,0.512132\n"
             "6.350127,0.600000,s2 0.600000eV\n"
             "6.879304,0.512132\n"
             "7.408481,0.300000\n"
             "7.937659,0.087868\n"
             "8.466836,0.000000,Li1\n"
             "8.996013,0.146447\n"  // c: 0.5 (1 - cos)
             "9.525190,0.500000\n"
             "10.054368,0.853553\n"
             "10.583545,1.000000,s3 1.000000eV\n"
             "11.112722,0.853553\n"
             "11.641899,0.500000\n"
             "12.171077,0.146447\n"
             "12.700254,0.000000,Li1\n"
             "END\n",
         {0, 0, 0, 0}},
        // Under P 4/m the saddles (0,4,4) and (4,0,4) are one type s1 at 0.6 with
        // two members; (4,4,0) is s2 at 1.0, out of reach. One path type, one copy
        // per member, crossing a and b: the first threshold already gives the
        // plane of normal c, so the 1-D and 2-D energies are both 0.6.
        {"fourfold layer opens both directions at once so 1D equals 2D", {kSquare, kSquare, {0.5, 0.0, 2}}, kP4m,
         warning(2), {{0.6, "(2D) : Plane (0,0,1)", {"1,0,0", "0,1,0"}}}, {0.6, 0.6, 999.0}, "", {}},
        // Under R -3 on cubic axes the three saddles are one type s1 at 0.6 with
        // three members; its copies cross a, b and c: the first threshold is 3-D.
        {"threefold network opens all directions at once", {kSquare, kSquare, kSquare}, kR3bar, "",
         {{0.6, "(3D)", {"1,0,0", "0,1,0", "0,0,1"}}}, {0.6, 0.6, 0.6}, "", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        WorkDir dir;
        RunResult r = run(dir, c.ax, kAllReports, c.ops);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, c.err);
        std::vector<std::string> crosses = c.paths[0].crosses;
        std::sort(crosses.begin(), crosses.end());
        std::string want = console(c, crosses);
        do {
            if (r.out == console(c, crosses)) want = r.out;
        } while (std::next_permutation(crosses.begin(), crosses.end()));
        EXPECT_EQ(r.out, want);
        EXPECT_EQ(dir.read("ZEMU_events.txt"), scan_text(c));
        if (c.rows.empty()) continue;
        std::vector<int> markers;
        EXPECT_EQ(pathway_rows(dir, &markers), c.rows);
        EXPECT_EQ(markers, c.markers);
    }
}

TEST(RunPaths, ReportSwitchesChooseWhatReachesStandardOutputButNotTheFiles) {
    for (const auto& run_out : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{}, kDone}, {{"--print-perc"}, kChannelScan + kDone}}) {
        SCOPED_TRACE(testing::Message() << run_out.first.size() << " report switches");
        WorkDir dir;
        RunResult r = run(dir, kChannel, run_out.first);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.err, kChannelWarnings);
        EXPECT_EQ(r.out, run_out.second);
        EXPECT_EQ(dir.read("ZEMU_events.txt"), kChannelScan);
        std::vector<int> markers;
        EXPECT_EQ(pathway_rows(dir, &markers), std::string(kChannelRows) + "END\n");
    }
}

TEST(RunPaths, SeparateChannelsGetPathwaysHalfAnAngstromApart) {
    // Q(j) = 0.1 cos(2 pi j/8) - 0.5 cos(4 pi j/8) has wells at j = 4 (-0.6) and
    // j = 0 (-0.4), with maxima 0.5 at j = 2 and 6. Steps of 4 Bohr along b put
    // those saddles 4.233 Angstrom from the wells: two unconnected channels along a,
    // Li1 at (4,4,4) with s1 at 0.2 and i1 at (4,0,4), 0.2 higher, with s2 at 0.4.
    // At 0.2 the first chain gets pathway 0; at 0.4 the first cluster is the same
    // and the second chain gets pathway 1. They share no path, so both stay.
    // The second starts at the first's length 4.233418 plus 0.5; its barrier is
    // 0.4 - min(0.2, 0.2).
    WorkDir dir;
    RunResult r = run(dir, {{0.1, 0.0, 1}, {0.1, -0.5, 4}, {0.5, 0.0, 2}}, {});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kDone);
    std::vector<int> markers;
    EXPECT_EQ(pathway_rows(dir, &markers), std::string(kChannelRows) +
                                               "NEXT\n"
                                               "4.733418,0.200000,i1\n"
                                               "5.262595,0.229289\n"
                                               "5.791772,0.300000\n"
                                               "6.320950,0.370711\n"
                                               "6.850127,0.400000,s2 0.200000eV\n"
                                               "7.379304,0.370711\n"
                                               "7.908481,0.300000\n"
                                               "8.437659,0.229289\n"
                                               "8.966836,0.200000,i1\n"
                                               "END\n");
    EXPECT_EQ(markers, std::vector<int>({0, 0, 1, 1}));
}

// --- Summary file and unwritable files ---

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

std::string channel_saddles() {
    const std::string columns =
        "    Index   Grid coor.    True grid coor.     Frac. coor.         True frac. coor.\r\n";
    return "-----------------------------------------------------------------\r\n"
           "                  Summary of energy saddle point                  \r\n"
           "-----------------------------------------------------------------\r\n\r\n"
           "Total local saddle in unit cell: 3\r\n"
           "Total symmetrically inequivalent: 3\r\n\r\n"
           "Saddle type: s1 (Energy: 0.200000 eV)\r\n" +
           columns +
           "        0     0   4   4     0.0   4.0   4.0   0.000 0.500 0.500   0.000 0.500 0.500\r\n"
           "Multiplicity: 1\r\n\r\n"
           "Saddle type: s2 (Energy: 0.600000 eV)\r\n" +
           columns +
           "        1     4   0   4     4.0   0.0   4.0   0.500 0.000 0.500   0.500 0.000 0.500\r\n"
           "Multiplicity: 1\r\n\r\n"
           "Saddle type: s3 (Energy: 1.000000 eV)\r\n" +
           columns +
           "        2     4   4   0     4.0   4.0   0.0   0.500 0.500 0.000   0.500 0.500 0.000\r\n"
           "Multiplicity: 1\r\n\r\n";
}

const char kEventsUnwritable[] = "Error: Unable to write to ZEMU_events.txt\n";
const char kPathwayUnwritable[] = "Error: Unable to write to ZEMU_rp.csv\n";

}  // namespace

TEST(RunPathFiles, SummaryHoldsMinimaSaddlesLibraryAndScanInThatOrder) {
    // The summary is written after the reaction pathway, which marked the chain's
    // one path with colour 1 (1-D) and style 1 (backbone): the library captions
    // show them. The console library, printed before, still shows -1 and carries
    // one extra line feed; the library writer puts that line feed on standard
    // output whatever its stream, so writing the summary adds one more there.
    WorkDir dir;
    RunResult r = run(dir, kChannel, {"--summary", "--print-path"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, kChannelWarnings);
    EXPECT_EQ(r.out, library({hop(1, 0.2)}, kChannelCopies, true) + kDone + "\n");
    EXPECT_EQ(dir.read("ZEMU_summary.txt"),
              kChannelMinima + channel_saddles() + library({hop(1, 0.2)}, kChannelCopies, false, 1) + kChannelScan);
    EXPECT_EQ(dir.read("ZEMU_events.txt"), kChannelScan);
}

TEST(RunPathFiles, SummaryWithoutPathsHasEmptyPathSections) {
    WorkDir dir;
    RunResult r = run(dir, kChannel, {"--summary"}, kP1bar, false);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "\n");  // the library writer's line feed
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(dir.read("ZEMU_summary.txt"), kChannelMinima + channel_saddles() + library({}, {}, false) + kScanHead);
    EXPECT_FALSE(dir.exists("ZEMU_events.txt"));
    EXPECT_FALSE(dir.exists("ZEMU_rp.csv"));
}

TEST(RunPathFiles, UnwritableEventsAndPathwayFilesAreReportedAndOnlyAnUnwritableSummaryFailsTheRun) {
    // Directories in place of the files: none opens for writing. Without the
    // summary the run succeeds; with it, it ends with status 1 before any
    // library is written.
    for (bool summary : {false, true}) {
        SCOPED_TRACE(summary ? "summary" : "no summary");
        WorkDir dir;
        for (const char* name : {"ZEMU_events.txt", "ZEMU_rp.csv", "ZEMU_summary.txt"})
            ASSERT_EQ(mkdir(dir.file(name).c_str(), 0755), 0) << name;
        RunResult r = run(dir, kChannel, {summary ? "--summary" : "--print-act"});
        EXPECT_EQ(r.status, summary ? 1 : 0);
        EXPECT_EQ(r.out, summary ? "" : activation(0.2, 999.0, 999.0));
        EXPECT_EQ(r.err, kChannelWarnings + kEventsUnwritable + kPathwayUnwritable +
                             (summary ? "Error: Unable to write to ZEMU_summary.txt\n" : ""));
    }
}
