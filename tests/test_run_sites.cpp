// End-to-end runs of zemu through the site analysis: grid symmetry, the symmetric
// stationary-point search, grouping into types, mobile-ion site assignment and
// interstitial labels, seen through the minimum and saddle reports.
//
// The synthetic landscapes (small_fixtures.h) have separable energies. Their stationary
// points follow from the three profiles: a minimum where every axis sits in a well, a
// saddle where exactly one axis sits on a maximum and the others in wells. The amplitudes
// are chosen so that the first axis dominates, which keeps every other grid point on
// a single slope (one group of lower neighbours), and so that no two points of
// different types share an energy unless said so.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "e2e_util.h"
#include "fixtures.h"

using namespace fx;
using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

RunResult run_sites(const std::string& cube, const std::string& cif) {
    WorkDir dir;
    dir.write("l.cube", cube);
    dir.write("s.cif", cif);
    RunResult r = dir.run({"--cube", "l.cube", "--cif", "s.cif", "Li1+", "--print-minima", "--print-saddle"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    return r;
}

// One type block of a report: "Minima" or "Saddle", label, energy, the rows, multiplicity.
std::string block(const std::string& kind, const std::string& label, const char* energy, const std::string& rows,
                  int multiplicity) {
    return kind + " type: " + label + " (Energy: " + energy + " eV)\r\n" +
           (kind == "Minima" ? kMinimaColumns : kSaddleColumns) + rows + "Multiplicity: " +
           std::to_string(multiplicity) + "\r\n\r\n";
}

// Landscape "pair" under P-1:
//   P as in "wells" = 1.1, .07, -1, -.07, .9, -.07, -1, .07
//   Q = 0.6*cos(2 pi j/8), R = 0.3*cos(2 pi k/8)   (wells at 4, maxima at 0)
// Minima: (2,4,4) and (6,4,4), E = -1.9, inversion images of each other.
// Saddles, energies above the minimum:
//   (2,4,0), (6,4,0): k on its maximum, 2*0.3 = 0.6      (one inversion pair)
//   (2,0,4), (6,0,4): j on its maximum, 2*0.6 = 1.2      (one inversion pair)
//   (4,4,4): i on its lower maximum, 0.9 + 1.0 = 1.9     (its own image)
//   (0,4,4): i on its higher maximum, 1.1 + 1.0 = 2.1    (its own image)
// The 0.1 term only separates the two i maxima, which would otherwise tie.
std::string pair_cube() { return cube_text(wells_p(), scaled(0.6, kCos1), scaled(0.3, kCos1)); }

// The search visits the asymmetric unit shell by shell and meets (4,4,4) (x = 4 face),
// (0,4,4), (2,4,0) (y = 4 face), (2,0,4) (z = 4 face), each followed by its inversion
// image. Numbered by energy the orbits become s3, s4, s1, s2; the type sort, a heap sort
// of the keys 3,4,1,1,2,2, takes list positions 3,2,4,5,0,1, so (6,4,0) comes before (2,4,0).
std::string pair_saddles() {
    return kSaddleFrame + totals("saddle", 6, 4) +
           block("Saddle", "s1", "0.600000",
                 "        0     6   4   0     6.0   4.0   0.0   0.750 0.500 0.000   0.750 0.500 0.000\r\n"
                 "        1     2   4   0     2.0   4.0   0.0   0.250 0.500 0.000   0.250 0.500 0.000\r\n", 2) +
           block("Saddle", "s2", "1.200000",
                 "        2     2   0   4     2.0   0.0   4.0   0.250 0.000 0.500   0.250 0.000 0.500\r\n"
                 "        3     6   0   4     6.0   0.0   4.0   0.750 0.000 0.500   0.750 0.000 0.500\r\n", 2) +
           block("Saddle", "s3", "1.900000",
                 "        4     4   4   4     4.0   4.0   4.0   0.500 0.500 0.500   0.500 0.500 0.500\r\n", 1) +
           block("Saddle", "s4", "2.100000",
                 "        5     0   4   4     0.0   4.0   4.0   0.000 0.500 0.500   0.000 0.500 0.500\r\n", 1);
}

const char kLi1[] = "Li1 Li1+ 0.25 0.5 0.5 1.0";

}  // namespace

// ---------------------------------------------------------------------------
// Synthetic landscapes

TEST(RunSites, InversionPairOfWellsTakesTheLithiumSiteAndSaddlesFollowByEnergy) {
    // Li1 at (0.25,0.5,0.5) and its image (0.75,0.5,0.5) map to grid points (2,4,4)
    // and (6,4,4), each exactly on one minimum: occupancy 1 on both members.
    EXPECT_EQ(run_sites(pair_cube(), cif_text(kP1bar, {kLi1})).out,
              kMinimaFrame + totals("minima", 2, 1) +
                  block("Minima", "Li1", "0.000000",
                        "        0     2   4   4     2.0   4.0   4.0   0.250 0.500 0.500   1.000   Li1\r\n"
                        "        1     6   4   4     6.0   4.0   4.0   0.750 0.500 0.500   1.000   Li1\r\n", 2) +
                  pair_saddles());
}

TEST(RunSites, IonMidwayBetweenTwoMinimaIsSharedEqually) {
    // Li2 at (0.5,0.5,0.5) is its own inversion image; on grid point (4,4,4) it is two
    // steps from (2,4,4) and from (6,4,4), so each gets 1.0 / 2. Li1 sits on the wells
    // as before; the second ion of a minimum goes on a line of its own, and the type
    // label joins both site labels.
    const std::string li2 = std::string(66, ' ') + "0.500   Li2\r\n";
    EXPECT_EQ(run_sites(pair_cube(), cif_text(kP1bar, {kLi1, "Li2 Li1+ 0.5 0.5 0.5 1.0"})).out,
              kMinimaFrame + totals("minima", 2, 1) +
                  block("Minima", "Li1/Li2", "0.000000",
                        "        0     2   4   4     2.0   4.0   4.0   0.250 0.500 0.500   1.000   Li1\r\n" + li2 +
                            "        1     6   4   4     6.0   4.0   4.0   0.750 0.500 0.500   1.000   Li1\r\n" + li2,
                        2) +
                  pair_saddles());
}

TEST(RunSites, InterstitialTypesFollowTheIonSiteInEnergyOrder) {
    // Li1 takes the lowest type; the other three are numbered i1, i2, i3 by energy,
    // not in the order the search met them.
    RunResult r = run_sites(wells_cube(), cif_text(kP1bar, {kLi1}));
    const std::string minima = wells_minima("Li1", "1.000   Li1\r\n", "i1", "i2", "i3");
    EXPECT_EQ(r.out.substr(0, r.out.find(kSaddleFrame)), minima);
    EXPECT_EQ(r.out.substr(minima.size()).rfind(kSaddleFrame + totals("saddle", 24, 16), 0), 0u);

    // The probe Li1+ with no site in the structure: no minimum holds an ion, so every
    // type is interstitial, numbered from 1 by energy, and the rows carry no occupancy.
    r = run_sites(wells_cube(), cif_text(kP1bar, {"O1 O2- 0.0 0.0 0.0 1.0"}));
    EXPECT_EQ(r.out.substr(0, r.out.find(kSaddleFrame)), wells_minima("i1", "\r\n", "i2", "i3", "i4"));
}

// Landscape "plateau": operations x,y,z and -x+1/8,y,z (a mirror through x = 1/16,
// which maps grid planes 0<->1, 2<->7, 3<->6, 4<->5) and
//   P = -1, -1, -0.4, 0.4, 1, 1, 0.4, -0.4   (flat well on i = 0,1; flat top on i = 4,5)
//   Q = 0.6*cos(2 pi j/8), R = 0.3*cos(2 pi k/8)
// (0,4,4) has the equal neighbour (1,4,4) and no lower one: a minimum. Its two images
// lie one step apart and merge into one minimum at (0,4,4) with true x 0.5 (an exact
// half goes to the first image's index). The report floods the plateau {0,1}: true
// grid x 0.5, fractional 0.0625 (printed 0.062: exact binary halves round to even).
// Saddles, one merged point each: (0,4,0) at 0.6 and (0,0,4) at 1.2 above the minimum
// (lower neighbours on the two sides of the maximum; the equal image joins them in the
// first count, the count of strictly lower ones gives 2), and (4,4,4) at 2.0 with the
// lower side i = 3 and the equal image (5,4,4), which stays apart: 2 groups.
// Li1 at (1/16,0.5,0.5) is on the mirror (one copy) and maps to grid (1,4,4), half a
// step from the minimum's true position.
//
// Landscape "boundary": the same shape moved across the cell edge, with operations
// x,y,z and -x+7/8,y,z (planes 7<->0, 6<->1, 5<->2, 4<->3) and
//   P = -1, -0.4, 0.4, 1, 1, 0.4, -0.4, -1   (flat well on i = 7,0; flat top on i = 3,4)
// The representative (0,4,4) has its image at 7; merging takes the periodic image -1,
// so the mean is -0.5: true x -0.5 wrapped to 7.5, and the index, -0.5 rounded away
// from zero, -1 wrapped to 7. The report floods 7 and 8: true grid 7.5, fractional
// 0.9375. The top pair is met at (4,4,4) first (x = 4 face), merged with 3 to
// index 4, true x 3.5. Li1 at (15/16,0.5,0.5) lies on the mirror; 15/16 * 8 + 0.5
// gives index 8, which becomes 0, half a step from the minimum at true x 7.5 - 8.
TEST(RunSites, PlateauImagesOnAMirrorMergeHalfwayBetweenGridPointsAlsoAcrossTheCellBoundary) {
    struct Case {
        const char* what;
        double p[8];
        const char *op, *site, *minimum, *s1, *s2, *s3;
    } cases[] = {
        {"plateau", {-1, -1, -0.4, 0.4, 1, 1, 0.4, -0.4}, "-x+1/8,y,z", "Li1 Li1+ 0.0625 0.5 0.5 1.0",
         "        0     0   4   4     0.5   4.0   4.0   0.062 0.500 0.500   1.000   Li1\r\n",
         "        0     0   4   0     0.5   4.0   0.0   0.000 0.500 0.000   0.062 0.500 0.000\r\n",
         "        1     0   0   4     0.5   0.0   4.0   0.000 0.000 0.500   0.062 0.000 0.500\r\n",
         "        2     4   4   4     4.5   4.0   4.0   0.500 0.500 0.500   0.562 0.500 0.500\r\n"},
        {"boundary", {-1, -0.4, 0.4, 1, 1, 0.4, -0.4, -1}, "-x+7/8,y,z", "Li1 Li1+ 0.9375 0.5 0.5 1.0",
         "        0     7   4   4     7.5   4.0   4.0   0.938 0.500 0.500   1.000   Li1\r\n",
         "        0     7   4   0     7.5   4.0   0.0   0.875 0.500 0.000   0.938 0.500 0.000\r\n",
         "        1     7   0   4     7.5   0.0   4.0   0.875 0.000 0.500   0.938 0.000 0.500\r\n",
         "        2     4   4   4     3.5   4.0   4.0   0.500 0.500 0.500   0.438 0.500 0.500\r\n"},
    };
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.what);
        EXPECT_EQ(run_sites(cube_text(scaled(1.0, cs.p), scaled(0.6, kCos1), scaled(0.3, kCos1)),
                            cif_text({"x,y,z", cs.op}, {cs.site}))
                      .out,
                  kMinimaFrame + totals("minima", 1, 1) + block("Minima", "Li1", "0.000000", cs.minimum, 1) +
                      kSaddleFrame + totals("saddle", 3, 3) + block("Saddle", "s1", "0.600000", cs.s1, 1) +
                      block("Saddle", "s2", "1.200000", cs.s2, 1) + block("Saddle", "s3", "2.000000", cs.s3, 1));
    }
}

// ---------------------------------------------------------------------------
// Real examples: facts that hold whatever the landscape's details

namespace {

struct TypeBlock {
    std::string label;
    double energy;
    int multiplicity;
    std::vector<std::string> rows;  // member rows (continuation lines excluded)
};

// The type blocks of one section ("Minima" or "Saddle") of a report, checked for the
// facts every report keeps: types counted right, members counted right, energies rising.
std::vector<TypeBlock> consistent_section(const std::string& out, const std::string& kind) {
    size_t start = out.find(kind == "Minima" ? kMinimaFrame : kSaddleFrame);
    std::istringstream in(out.substr(start, kind == "Minima" ? out.find(kSaddleFrame) - start : std::string::npos));
    std::vector<TypeBlock> blocks;
    int total = -1, types = -1, sum = 0;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (sscanf(line.c_str(), "Total local %*s in unit cell: %d", &total) == 1 ||
            sscanf(line.c_str(), "Total symmetrically inequivalent: %d", &types) == 1) {
            continue;
        } else if (line.rfind(kind + " type: ", 0) == 0) {
            size_t l = kind.size() + 7, e = line.find(" (Energy: ");
            blocks.push_back({line.substr(l, e - l), atof(line.c_str() + e + 10), -1, {}});
        } else if (!blocks.empty() && sscanf(line.c_str(), "Multiplicity: %d", &blocks.back().multiplicity) == 1) {
            sum += blocks.back().multiplicity;
        } else if (!blocks.empty() && line.size() > 9 && line.compare(0, 4, "    ") == 0 && isdigit(line[8])) {
            blocks.back().rows.push_back(line);  // "    %5d" index column
        }
    }
    EXPECT_GT(total, 0) << kind;
    EXPECT_EQ(static_cast<int>(blocks.size()), types) << kind;
    EXPECT_EQ(sum, total) << kind;
    for (size_t t = 0; t < blocks.size(); t++) {
        EXPECT_EQ(blocks[t].multiplicity, static_cast<int>(blocks[t].rows.size())) << blocks[t].label;
        if (t > 0) {
            EXPECT_LE(blocks[t - 1].energy, blocks[t].energy) << blocks[t].label;
        }
        const std::string want = kind == "Saddle" ? "s" + std::to_string(t + 1) : "i" + std::to_string(t);
        if (kind == "Saddle" || t > 0) {
            EXPECT_EQ(blocks[t].label, want);
        }
    }
    return blocks;
}

// Runs an example with its mobile ion: the lowest type holds the ion, every copy of its
// site on its own minimum; the other types are interstitials.
void check_example(const char* dir_name, const char* ion, const char* site_label, int site_copies) {
    WorkDir dir;
    const std::string base = std::string("examples/") + dir_name + "/";
    RunResult r = dir.run({"--cube", zemu_test::source_file(base + "landscape.cube"), "--cif",
                           zemu_test::source_file(base + "structure.cif"), ion, "--print-minima", "--print-saddle"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    ASSERT_EQ(r.out.rfind(kMinimaFrame, 0), 0u);
    std::vector<TypeBlock> minima = consistent_section(r.out, "Minima");
    ASSERT_FALSE(minima.empty());
    EXPECT_EQ(minima[0].label, site_label);
    EXPECT_EQ(minima[0].energy, 0.0);
    EXPECT_EQ(static_cast<int>(minima[0].rows.size()), site_copies);
    const std::string occupied = std::string("   1.000   ") + site_label;
    for (const std::string& row : minima[0].rows) EXPECT_EQ(row.substr(row.size() - occupied.size()), occupied) << row;
    consistent_section(r.out, "Saddle");
}

}  // namespace

TEST(RunExamples, LithiumIronPhosphateLithiumSitesAreTheLowestMinima) {
    check_example("LiFePO4", "Li1+", "Li1", 4);  // Li1 on 4a of P n m a: four copies
}

TEST(RunExamples, SodiumUranateSodiumSitesAreTheLowestMinima) {
    check_example("Na2UO4", "Na1+", "Na1", 8);  // Na1 on the general position 8c of P b c a: eight copies
}
