// End-to-end runs of the path stages on the bundled examples: the activation
// energies against the reference percolation energies, and "ZEMU_rp.csv"
// checked for layout, continuity and energies against the path library and the
// activation energies of the same run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

const double kBohr = 0.529177249;
const char kDone[] = "Auto-generated reaction pathway done.\n";

struct Row {
    double x = 0.0, e = 0.0;
    bool minimum = false, saddle = false;
    std::string label;     // minimum rows
    int marker = -1;       // minimum rows
    int type = 0;          // saddle rows
    double barrier = 0.0;  // saddle rows
};

// One pathway: its rows, and the row indices after which a "NEXT" joins two
// minima met directly.
struct Pathway {
    std::vector<Row> rows;
    std::vector<size_t> jumps;
};

// Reads one row: "x,E" (a plain point), "x,E,s<type> <barrier>eV" (a saddle) or
// "x,E,label,colour,marker,style" (a minimum); false when the line is no row.
bool parse_row(const std::string& line, Row* row) {
    static const std::regex layout(
        R"((-?\d+\.\d+),(-?\d+\.\d+)(?:,s(\d+) (-?\d+\.\d+)eV|,([^,\r]+),-?\d+,(-?\d+),-?\d+)?)");
    std::smatch m;
    if (!std::regex_match(line, m, layout)) return false;
    row->x = std::stod(m[1]);
    row->e = std::stod(m[2]);
    if ((row->saddle = m[3].matched)) {
        row->type = std::stoi(m[3]);
        row->barrier = std::stod(m[4]);
    }
    if ((row->minimum = m[5].matched)) {
        row->label = m[5];
        row->marker = std::stoi(m[6]);
    }
    return true;
}

// Splits the file into pathways. A "NEXT" between two minimum rows of the same
// pathway number marks two minima met directly; any other "NEXT" starts the
// next pathway. Empty string when the layout holds, else the problem.
std::string parse_pathways(const std::string& text, std::vector<Pathway>* pathways) {
    if (text.size() < 4 || text.compare(text.size() - 4, 4, "END\n") != 0) return "no closing END";
    std::istringstream in(text.substr(0, text.size() - 4));
    pathways->assign(1, Pathway());
    bool pending_next = false;
    for (std::string line; std::getline(in, line);) {
        Pathway& pw = pathways->back();
        if (line == "NEXT") {
            if (pending_next || pw.rows.empty()) return "misplaced NEXT";
            pending_next = true;
            continue;
        }
        Row row;
        if (!parse_row(line, &row)) return "bad row: " + line;  // a carriage return too
        if (pending_next) {
            if (pw.rows.back().minimum && row.minimum && pw.rows.back().marker == row.marker)
                pw.jumps.push_back(pw.rows.size() - 1);
            else
                pathways->push_back(Pathway());
            pending_next = false;
        }
        pathways->back().rows.push_back(row);
    }
    return pending_next || pathways->back().rows.empty() ? "file ends in NEXT or holds no row" : "";
}

// The longest step between neighbouring grid points (Angstrom), from the header
// of a cube file with orthogonal axes. Distances use the cell, which is the
// voxel step times the point count as read; an odd first count drops the
// repeated boundary plane of every axis afterwards, so one grid step then spans
// count / (count - 1) voxel steps.
double longest_grid_step(const std::string& cube_file) {
    std::istringstream in(zemu_test::slurp(cube_file));
    std::string line;
    for (int skip = 0; skip < 3; skip++) std::getline(in, line);
    double n[3], len2[3], sum = 0.0;
    for (int a = 0; a < 3; a++) {
        double x, y, z;
        if (!std::getline(in, line) || sscanf(line.c_str(), "%lf %lf %lf %lf", &n[a], &x, &y, &z) != 4) return 0.0;
        len2[a] = x * x + y * y + z * z;
    }
    for (int a = 0; a < 3; a++) {
        double stretch = static_cast<int>(n[0]) % 2 == 1 ? n[a] / (n[a] - 1) : 1.0;
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
    std::istringstream in(out);
    for (std::string line; std::getline(in, line);) {
        int n, s;
        char from[32], to[32];
        double e1, e2, es;
        if (sscanf(line.c_str(), "> Path %d : %31s (%lf eV) to %31s (%lf eV) via s%d (%lf eV)", &n, from, &e1, to, &e2,
                   &s, &es) != 7)
            continue;
        facts.minimum_energy[from] = e1;
        facts.minimum_energy[to] = e2;
        facts.saddle_energy[s] = es;
        if (!facts.first_path_bottom.count(s)) facts.first_path_bottom[s] = std::min(e1, e2);
    }
    return facts;
}

// The number after "key": inside the object that follows "section": in the
// exact percolation energies of a reference file (small, flat, one writer).
double reference_value(const std::string& json, const std::string& section, const std::string& key) {
    size_t at = json.find("\"percolation_exact_eV\"");
    if (at == std::string::npos || (at = json.find("\"" + section + "\"", at)) == std::string::npos) return -1.0;
    size_t close = json.find('}', at);
    at = json.find("\"" + key + "\":", at);
    return at == std::string::npos || at > close ? -1.0 : atof(json.c_str() + at + key.size() + 3);
}

// The value printed on the activation line of one dimension.
double printed_activation(const std::string& out, int dim) {
    const std::string key = std::to_string(dim) + "D activation energy: ";
    size_t at = out.find(key);
    return at == std::string::npos ? -1.0 : atof(out.c_str() + at + key.size());
}

// Energies in the library report carry 3 decimals: a value and a difference of
// two such values are within 5e-4 and 1e-3 of the exact ones.
const double kThreeDecimals = 5e-4 + 1e-6;
// Six-decimal values (reference and printed energies, each within half a unit
// of the last place): two equal energies print at most 1e-6 apart; 2e-6 leaves
// room for the binary representation.
const double kSixDecimals = 2e-6;

// `span_key` names the reference value the activation energies must match.
void check_example(const char* name, const char* ion, const char* span_key) {
    WorkDir dir;
    const std::string base = std::string("examples/") + name + "/";
    const std::string cube_file = zemu_test::source_file(base + "landscape.cube");
    RunResult r = dir.run({"--cube", cube_file, "--cif", zemu_test::source_file(base + "structure.cif"), ion, "--path",
                           "--print-path", "--print-act"});
    EXPECT_EQ(r.status, 0);
    ASSERT_GE(r.out.size(), sizeof kDone - 1);
    EXPECT_EQ(r.out.substr(r.out.size() - (sizeof kDone - 1)), kDone);

    double act[4] = {0.0};
    const std::string json = zemu_test::slurp(zemu_test::source_file(base + "reference.json"));
    for (int dim = 1; dim <= 3; dim++) {
        SCOPED_TRACE(std::to_string(dim) + "D");
        double ref = reference_value(json, "E_" + std::to_string(dim) + "D", span_key);
        ASSERT_GT(ref, 0.0);
        act[dim] = printed_activation(r.out, dim);
        EXPECT_NEAR(act[dim], ref, kSixDecimals);
    }

    ASSERT_TRUE(dir.exists("ZEMU_rp.csv"));
    std::vector<Pathway> pathways;
    const std::string problem = parse_pathways(dir.read("ZEMU_rp.csv"), &pathways);
    ASSERT_EQ(problem, "");
    const LibraryFacts lib = read_library(r.out);
    ASSERT_FALSE(lib.saddle_energy.empty());
    const double step = longest_grid_step(cube_file);
    ASSERT_GT(step, 0.0);

    double first_top = 0.0, first_bottom = 0.0;
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
                bool jump = std::find(pw.jumps.begin(), pw.jumps.end(), i - 1) != pw.jumps.end();
                EXPECT_GT(dx, 0.0) << "row " << i;
                EXPECT_TRUE(jump || dx <= step + 1e-6) << "row " << i << " advances " << dx;
            }
            if (row.minimum) {
                ASSERT_TRUE(lib.minimum_energy.count(row.label)) << row.label;
                EXPECT_NEAR(row.e, lib.minimum_energy.at(row.label), kThreeDecimals) << row.label;
                EXPECT_EQ(row.marker, static_cast<int>(p));
                bottom = std::min(bottom, row.e);
            }
            if (row.saddle) {
                ASSERT_TRUE(lib.saddle_energy.count(row.type)) << "s" << row.type;
                EXPECT_NEAR(row.e, lib.saddle_energy.at(row.type), kThreeDecimals) << "s" << row.type;
                // The barrier: saddle minus the lower end of the first path of its type.
                EXPECT_NEAR(row.barrier, row.e - lib.first_path_bottom.at(row.type), 2 * kThreeDecimals) << row.type;
                top = std::max(top, row.e);
            }
        }
        // The span of a pathway is the activation energy of the cluster it was
        // last extended for: one of the printed energies.
        bool matches = false;
        for (int d = 1; d <= 3; d++) matches = matches || fabs((top - bottom) - act[d]) <= kSixDecimals;
        EXPECT_TRUE(matches) << "span " << top - bottom;
        if (p == 0) first_top = top, first_bottom = bottom;
    }

    // The first pathway belongs to the first percolating cluster and is extended
    // at each new dimension by the path that opened it. In both examples that one
    // network carries every dimension: each activation energy below 999 is the
    // height of one of its saddles above its lowest minimum, and its own span is
    // the energy of the highest dimension reached.
    int highest = 0;
    for (int d = 1; d <= 3; d++) {
        if (act[d] >= 999.0) continue;
        highest = d;
        bool found = false;
        for (const Row& row : pathways[0].rows)
            found = found || (row.saddle && fabs(row.e - first_bottom - act[d]) <= kSixDecimals);
        EXPECT_TRUE(found) << d << "D activation energy " << act[d];
    }
    ASSERT_GT(highest, 0);
    EXPECT_NEAR(first_top - first_bottom, act[highest], kSixDecimals);
}

}  // namespace

TEST(RunPathExamples, LithiumIronPhosphateMatchesTheReferenceSpansAndItsPathwayFollowsTheNetworkUpTo3D) {
    // Li1+ is not scaled: the energies compare with the plain spans.
    check_example("LiFePO4", "Li1+", "span");
}

TEST(RunPathExamples, SodiumUranateMatchesTheScaledReferenceSpansAndItsPathwayFollowsTheNetworkUpTo3D) {
    // Na1+ energies go through 0.5695*E^0.6946: the scaled spans apply.
    check_example("Na2UO4", "Na1+", "span_scaled");
}
