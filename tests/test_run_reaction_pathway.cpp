// End-to-end runs of the automatic reaction pathway: "ZEMU_rp.csv" on small
// separable landscapes, where every row follows by hand, and on the bundled
// examples, where the file's layout, continuity and energies are checked
// against the path library and the activation energies of the same run.
//
// Synthetic landscapes: 8x8x8 grids, E = P(i) + Q(j) + R(k) with
// P(n) = A cos(2 pi n/8) + D cos(4 pi n/8) per axis. One grid step along a is
// 1 Bohr = 0.529177 Angstrom, so the reaction coordinate advances by that much
// per point of a hop along a valley, and a hop of amplitude A climbs as
// A (1 - cos(2 pi m/8)) over its m-th step from the minimum: for A = 0.1 the rows
// read 0.029289, 0.100000, 0.170711, 0.200000 (saddle), and back down.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

const double kBohr = 0.529177249;

struct Axis {
    double amp;    // amplitude of cos(2 pi n/8), eV
    double sharp;  // amplitude of cos(4 pi n/8), eV
    int bohr;      // grid step, Bohr
};

double axis_energy(const Axis& ax, int n) {
    const double pi = 3.141592653589793;
    return ax.amp * cos(2 * pi * n / 8) + ax.sharp * cos(4 * pi * n / 8);
}

// Writes the landscape ("l.cube") and a P-1 structure over its cell with Li1 at
// (1/2,1/2,1/2) ("s.cif"), and runs the path stages.
RunResult run_paths(const WorkDir& dir, const Axis (&ax)[3]) {
    char line[160];
    std::string cube = "ZEMU test landscape\nLi1+ site energies (eV)\n    1 0.000000 0.000000 0.000000\n";
    for (int a = 0; a < 3; a++) {
        snprintf(line, sizeof line, "    8 %d.000000 %d.000000 %d.000000\n", a == 0 ? ax[0].bohr : 0,
                 a == 1 ? ax[1].bohr : 0, a == 2 ? ax[2].bohr : 0);
        cube += line;
    }
    cube += "    3 0.000000 0.000000 0.000000 0.000000\n";
    for (int i = 0; i < 8; i++)
        for (int j = 0; j < 8; j++)
            for (int k = 0; k < 8; k++) {
                snprintf(line, sizeof line, "%.10f\n",
                         axis_energy(ax[0], i) + axis_energy(ax[1], j) + axis_energy(ax[2], k));
                cube += line;
            }
    snprintf(line, sizeof line, "_cell_length_a %.6f\n_cell_length_b %.6f\n_cell_length_c %.6f\n",
             8 * ax[0].bohr * kBohr, 8 * ax[1].bohr * kBohr, 8 * ax[2].bohr * kBohr);
    std::string cif = std::string("data_run\n") + line +
                      "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
                      "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\n-x,-y,-z\n"
                      "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nLi1+ 1\nO2- -2\n"
                      "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
                      "_atom_site_fract_z\n_atom_site_occupancy\nLi1 Li1+ 0.5 0.5 0.5 1.0\n";
    dir.write("l.cube", cube);
    dir.write("s.cif", cif);
    return dir.run({"--cube", "l.cube", "--cif", "s.cif", "Li1+", "--path"});
}

std::vector<std::string> split(const std::string& text, char sep) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, sep)) parts.push_back(part);
    if (!text.empty() && text.back() == sep) parts.push_back("");
    return parts;
}

bool is_int(const std::string& s) {
    if (s.empty()) return false;
    size_t i = (s[0] == '-') ? 1 : 0;
    if (i == s.size()) return false;
    for (; i < s.size(); i++)
        if (s[i] < '0' || s[i] > '9') return false;
    return true;
}

// The file with the three plot attributes cut off the minimum rows
// ("x,E,label,color,marker,style"); the markers are collected in order. The
// attributes' values come from the plot colouring; the marker is the pathway's
// number for every coloured point.
std::string without_attributes(const std::string& text, std::vector<int>* markers) {
    std::string out;
    size_t start = 0;
    while (start < text.size()) {
        size_t nl = text.find('\n', start);
        if (nl == std::string::npos) nl = text.size();
        std::string line = text.substr(start, nl - start);
        std::vector<std::string> f = split(line, ',');
        if (f.size() == 6 && is_int(f[3]) && is_int(f[4]) && is_int(f[5])) {
            markers->push_back(atoi(f[4].c_str()));
            line = f[0] + "," + f[1] + "," + f[2];
        }
        out += line + (nl < text.size() ? "\n" : "");
        start = nl + 1;
    }
    return out;
}

const char kDone[] = "Auto-generated reaction pathway done.\n";

// Rows of a hop along a from the Li1 well over s1 (A = 0.1, barrier 0.2),
// starting at reaction coordinate 0.
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

}  // namespace

// ---------------------------------------------------------------------------
// Synthetic landscapes
// ---------------------------------------------------------------------------

TEST(RunReactionPathway, ChannelPathwayClimbsFromTheSiteOverTheSaddleToItsImage) {
    // b and c steps of 2 Bohr put their saddles out of reach: the only path is the
    // hop along a, a 1-D chain, which gets one pathway walking the hop once.
    // The saddle row's barrier is 0.2 - min(0, 0).
    WorkDir dir;
    RunResult r = run_paths(dir, {{0.1, 0.0, 1}, {0.3, 0.0, 2}, {0.5, 0.0, 2}});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kDone);
    std::vector<int> markers;
    EXPECT_EQ(without_attributes(dir.read("ZEMU_rp.csv"), &markers), std::string(kChannelRows) + "END\n");
    EXPECT_EQ(markers, std::vector<int>({0, 0}));
}

TEST(RunReactionPathway, PathwayGrowsByTheHopThatOpensEachNewDimension) {
    // All axes in reach, barriers 0.2 (a, s1), 0.6 (b, s2), 1.0 (c, s3). The
    // pathway is made at 0.2 for the 1-D chain (hop a); at 0.6 its cluster turns
    // 2-D and the pathway is extended: the shortest route of minimum types from
    // the pathway to the new top path is the single type Li1, so only the hop
    // along b is appended; at 1.0 likewise the hop along c. The three hops are
    // chained end to end: 24 steps of 1 Bohr, the joints kept once.
    WorkDir dir;
    RunResult r = run_paths(dir, {{0.1, 0.0, 1}, {0.3, 0.0, 1}, {0.5, 0.0, 1}});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, kDone);
    std::vector<int> markers;
    EXPECT_EQ(without_attributes(dir.read("ZEMU_rp.csv"), &markers),
              std::string(kChannelRows) +
                  // b: 0.3 (1 - cos)
                  "4.762595,0.087868\n"
                  "5.291772,0.300000\n"
                  "5.820950,0.512132\n"
                  "6.350127,0.600000,s2 0.600000eV\n"
                  "6.879304,0.512132\n"
                  "7.408481,0.300000\n"
                  "7.937659,0.087868\n"
                  "8.466836,0.000000,Li1\n"
                  // c: 0.5 (1 - cos)
                  "8.996013,0.146447\n"
                  "9.525190,0.500000\n"
                  "10.054368,0.853553\n"
                  "10.583545,1.000000,s3 1.000000eV\n"
                  "11.112722,0.853553\n"
                  "11.641899,0.500000\n"
                  "12.171077,0.146447\n"
                  "12.700254,0.000000,Li1\n"
                  "END\n");
    EXPECT_EQ(markers, std::vector<int>({0, 0, 0, 0}));
}

TEST(RunReactionPathway, SeparateChannelsGetPathwaysHalfAnAngstromApart) {
    // Q(j) = 0.1 cos(2 pi j/8) - 0.5 cos(4 pi j/8) has wells at j = 4 (-0.6) and
    // j = 0 (-0.4), with maxima 0.5 at j = 2 and 6. Steps of 4 Bohr along b put
    // those saddles 4.233 Angstrom from the wells: two unconnected channels along a,
    // Li1 at (4,4,4) with s1 at 0.2 and i1 at (4,0,4), 0.2 higher, with s2 at 0.4.
    // At 0.2 the first chain gets pathway 0; at 0.4 the first cluster is the same
    // and the second chain gets pathway 1. They share no path, so both stay.
    // The second starts at the first's length 4.233418 plus 0.5; its barrier is
    // 0.4 - min(0.2, 0.2).
    WorkDir dir;
    RunResult r = run_paths(dir, {{0.1, 0.0, 1}, {0.1, -0.5, 4}, {0.5, 0.0, 2}});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kDone);
    std::vector<int> markers;
    EXPECT_EQ(without_attributes(dir.read("ZEMU_rp.csv"), &markers),
              std::string(kChannelRows) +
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

// ---------------------------------------------------------------------------
// Bundled examples
// ---------------------------------------------------------------------------

namespace {

struct Row {
    double x = 0.0, e = 0.0;
    std::string label;   // minimum or saddle label, "" for a plain point
    bool minimum = false;
    bool saddle = false;
    double barrier = 0.0;  // saddle rows
    int marker = -1;       // minimum rows
};

// One pathway: its rows, and the positions (row indices) after which a "NEXT"
// joins two minima met directly.
struct Pathway {
    std::vector<Row> rows;
    std::vector<size_t> jumps;
};

// Reads one row; false when the line is no row of the layout.
bool parse_row(const std::string& line, Row* row) {
    std::vector<std::string> f = split(line, ',');
    if (f.size() != 2 && f.size() != 3 && f.size() != 6) return false;
    char* end = nullptr;
    row->x = strtod(f[0].c_str(), &end);
    if (*end != '\0' || f[0].empty()) return false;
    row->e = strtod(f[1].c_str(), &end);
    if (*end != '\0' || f[1].empty()) return false;
    if (f.size() == 6) {  // minimum: label, colour, marker, style
        if (f[2].empty() || !is_int(f[3]) || !is_int(f[4]) || !is_int(f[5])) return false;
        row->minimum = true;
        row->label = f[2];
        row->marker = atoi(f[4].c_str());
    } else if (f.size() == 3) {  // saddle: "s<type> <barrier>eV"
        size_t blank = f[2].find(' ');
        if (f[2][0] != 's' || blank == std::string::npos || f[2].size() < blank + 4 ||
            f[2].compare(f[2].size() - 2, 2, "eV") != 0)
            return false;
        row->saddle = true;
        row->label = f[2].substr(0, blank);
        std::string value = f[2].substr(blank + 1, f[2].size() - blank - 3);
        row->barrier = strtod(value.c_str(), &end);
        if (*end != '\0') return false;
    }
    return true;
}

// Splits the file into pathways. A "NEXT" between two minimum rows of the same
// pathway number marks two minima met directly; any other "NEXT" starts the
// next pathway.
bool parse_pathways(const std::string& text, std::vector<Pathway>* pathways, std::string* problem) {
    if (text.size() < 4 || text.compare(text.size() - 4, 4, "END\n") != 0) {
        *problem = "no closing END";
        return false;
    }
    if (text.find('\r') != std::string::npos) {
        *problem = "carriage return in the file";
        return false;
    }
    std::vector<std::string> lines = split(text.substr(0, text.size() - 4), '\n');
    if (!lines.empty() && lines.back().empty()) lines.pop_back();
    pathways->assign(1, Pathway());
    bool pending_next = false;
    for (const std::string& line : lines) {
        if (line == "NEXT") {
            if (pending_next || pathways->back().rows.empty()) {
                *problem = "misplaced NEXT";
                return false;
            }
            pending_next = true;
            continue;
        }
        Row row;
        if (!parse_row(line, &row)) {
            *problem = "bad row: " + line;
            return false;
        }
        if (pending_next) {
            const Row& prev = pathways->back().rows.back();
            if (prev.minimum && row.minimum && prev.marker == row.marker)
                pathways->back().jumps.push_back(pathways->back().rows.size() - 1);
            else
                pathways->push_back(Pathway());
            pending_next = false;
        }
        pathways->back().rows.push_back(row);
    }
    if (pending_next || pathways->back().rows.empty()) {
        *problem = "file ends in NEXT or holds no row";
        return false;
    }
    return true;
}

// The longest step between neighbouring grid points (Angstrom), from the header
// of a cube file with orthogonal axes. Distances use the cell, which is the
// voxel step times the point count as read; an odd first count drops the
// repeated boundary plane of every axis afterwards, so one grid step then spans
// count / (count - 1) voxel steps.
double longest_grid_step(const std::string& cube_text) {
    std::vector<std::string> lines = split(cube_text, '\n');
    if (lines.size() < 6) return 0.0;
    double n[3], len2[3];
    for (int a = 0; a < 3; a++) {
        double x, y, z;
        if (sscanf(lines[a + 3].c_str(), "%lf %lf %lf %lf", &n[a], &x, &y, &z) != 4) return 0.0;
        len2[a] = x * x + y * y + z * z;
    }
    const bool odd = static_cast<int>(n[0]) % 2 == 1;
    double sum = 0.0;
    for (int a = 0; a < 3; a++) {
        double stretch = odd ? n[a] / (n[a] - 1) : 1.0;
        sum += len2[a] * stretch * stretch;
    }
    return sqrt(sum) * kBohr;
}

struct LibraryFacts {
    std::map<std::string, double> minimum_energy;  // label -> energy (3 decimals)
    std::map<int, double> saddle_energy;           // saddle type -> energy (3 decimals)
    std::map<int, double> first_path_bottom;       // saddle type -> lower end energy of its first path
};

// Reads the "> Path" lines of the console library report.
LibraryFacts read_library(const std::string& out) {
    LibraryFacts facts;
    for (const std::string& line : split(out, '\n')) {
        if (line.rfind("> Path ", 0) != 0) continue;
        int n, s;
        char from[32], to[32];
        double e1, e2, es;
        if (sscanf(line.c_str(), "> Path %d : %31s (%lf eV) to %31s (%lf eV) via s%d (%lf eV)", &n, from, &e1, to, &e2,
                   &s, &es) != 7)
            continue;
        facts.minimum_energy[from] = e1;
        facts.minimum_energy[to] = e2;
        facts.saddle_energy[s] = es;
        if (!facts.first_path_bottom.count(s)) facts.first_path_bottom[s] = e1 < e2 ? e1 : e2;
    }
    return facts;
}

double printed_activation(const std::string& out, int dim) {
    const std::string key = std::to_string(dim) + "D activation energy: ";
    size_t at = out.find(key);
    return at == std::string::npos ? -1.0 : atof(out.c_str() + at + key.size());
}

// Energies in the library report carry 3 decimals: a value and a difference of
// two such values are within 5e-4 and 1e-3 of the exact ones.
const double kThreeDecimals = 5e-4 + 1e-6;
// Six-decimal values: a difference of two is within 1e-6 of the exact one.
const double kSixDecimals = 2e-6;

void check_example_pathway(const char* name, const char* ion) {
    WorkDir dir;
    const std::string base = std::string("examples/") + name + "/";
    const std::string cube_file = zemu_test::source_file(base + "landscape.cube");
    RunResult r = dir.run({"--cube", cube_file, "--cif", zemu_test::source_file(base + "structure.cif"), ion, "--path",
                           "--print-path", "--print-act"});
    EXPECT_EQ(r.status, 0);
    ASSERT_GE(r.out.size(), sizeof kDone - 1);
    EXPECT_EQ(r.out.substr(r.out.size() - (sizeof kDone - 1)), kDone);
    ASSERT_TRUE(dir.exists("ZEMU_rp.csv"));

    std::vector<Pathway> pathways;
    std::string problem;
    ASSERT_TRUE(parse_pathways(dir.read("ZEMU_rp.csv"), &pathways, &problem)) << problem;

    const LibraryFacts lib = read_library(r.out);
    ASSERT_FALSE(lib.saddle_energy.empty());
    const double step = longest_grid_step(zemu_test::slurp(cube_file));
    ASSERT_GT(step, 0.0);
    double act[4] = {0.0, printed_activation(r.out, 1), printed_activation(r.out, 2), printed_activation(r.out, 3)};

    for (size_t p = 0; p < pathways.size(); p++) {
        SCOPED_TRACE("pathway " + std::to_string(p));
        const Pathway& pw = pathways[p];
        // A pathway runs from a minimum to a minimum, one grid step at a time; only
        // the marked joints of two minima jump (by the program's own spacing).
        EXPECT_TRUE(pw.rows.front().minimum);
        EXPECT_TRUE(pw.rows.back().minimum);
        double top = -1e9, bottom = 1e9;
        for (size_t i = 0; i < pw.rows.size(); i++) {
            const Row& row = pw.rows[i];
            if (i > 0) {
                double dx = row.x - pw.rows[i - 1].x;
                bool jump = false;
                for (size_t j : pw.jumps) jump = jump || j == i - 1;
                EXPECT_GT(dx, 0.0) << "row " << i;
                if (!jump) {
                    EXPECT_LE(dx, step + 1e-6) << "row " << i;
                }
            }
            if (row.minimum) {
                ASSERT_TRUE(lib.minimum_energy.count(row.label)) << row.label;
                EXPECT_NEAR(row.e, lib.minimum_energy.at(row.label), kThreeDecimals) << row.label;
                EXPECT_EQ(row.marker, static_cast<int>(p));
                bottom = row.e < bottom ? row.e : bottom;
            }
            if (row.saddle) {
                int type = atoi(row.label.c_str() + 1);
                ASSERT_TRUE(lib.saddle_energy.count(type)) << row.label;
                EXPECT_NEAR(row.e, lib.saddle_energy.at(type), kThreeDecimals) << row.label;
                // The barrier: saddle minus the lower end of the first path of its type.
                EXPECT_NEAR(row.barrier, row.e - lib.first_path_bottom.at(type), 2 * kThreeDecimals) << row.label;
                top = row.e > top ? row.e : top;
            }
        }
        // The span of a pathway is the activation energy of the cluster it was
        // last extended for: one of the printed energies.
        bool matches = false;
        for (int d = 1; d <= 3; d++) matches = matches || fabs((top - bottom) - act[d]) <= kSixDecimals;
        EXPECT_TRUE(matches) << "span " << top - bottom;
    }

    // The first pathway belongs to the first percolating cluster and is extended
    // at each new dimension by the path that opened it. In both examples that one
    // network carries every dimension: each activation energy below 999 is the
    // height of one of its saddles above its lowest minimum, and its own span is
    // the energy of the highest dimension reached.
    const Pathway& first = pathways[0];
    double bottom = 1e9, top = -1e9;
    for (const Row& row : first.rows) {
        if (row.minimum && row.e < bottom) bottom = row.e;
        if (row.saddle && row.e > top) top = row.e;
    }
    int highest = 0;
    for (int d = 1; d <= 3; d++) {
        if (act[d] >= 999.0) continue;
        highest = d;
        bool found = false;
        for (const Row& row : first.rows)
            found = found || (row.saddle && fabs(row.e - bottom - act[d]) <= kSixDecimals);
        EXPECT_TRUE(found) << d << "D activation energy " << act[d];
    }
    ASSERT_GT(highest, 0);
    EXPECT_NEAR(top - bottom, act[highest], kSixDecimals);
}

}  // namespace

TEST(RunReactionPathwayExamples, LithiumIronPhosphatePathwayFollowsTheNetworkUpTo3D) {
    check_example_pathway("LiFePO4", "Li1+");
}

TEST(RunReactionPathwayExamples, SodiumUranatePathwayFollowsTheNetworkUpTo3D) {
    check_example_pathway("Na2UO4", "Na1+");
}
