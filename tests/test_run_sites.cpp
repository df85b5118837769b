// End-to-end runs of zemu through the site analysis: grid symmetry, the symmetric
// stationary-point search, grouping into types, mobile-ion site assignment and
// interstitial labels, seen through the minimum and saddle reports.
//
// The synthetic landscapes are 8x8x8 grids with voxel steps of 1 Bohr along x, y, z
// and separable energies E(i,j,k) = P[i] + Q[j] + R[k]. Their stationary points
// follow from the three profiles: a minimum where every axis sits in a well, a saddle
// where exactly one axis sits on a maximum and the others in wells. The amplitudes
// are chosen so that the first axis dominates, which keeps every other grid point on
// a single slope (one group of lower neighbours), and so that no two points of
// different types share an energy unless said so.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

const double kR = 0.7071067812;
const double kCos1[8] = {1, kR, 0, -kR, -1, -kR, 0, kR};  // cos(2 pi n/8): well at 4, maximum at 0
const double kCos2[8] = {1, 0, -1, 0, 1, 0, -1, 0};       // cos(4 pi n/8): wells at 2 and 6

struct Profile {
    double v[8];
};

Profile combine(double a, const double (&f)[8], double b, const double (&g)[8]) {
    Profile p;
    for (int n = 0; n < 8; n++) p.v[n] = a * f[n] + b * g[n];
    return p;
}

Profile scaled(double a, const double (&f)[8]) { return combine(a, f, 0.0, f); }

std::string cube_text(const Profile& p, const Profile& q, const Profile& r) {
    std::string s =
        "ZEMU test landscape\n"
        "Li1+ site energies (eV)\n"
        "    1 0.000000 0.000000 0.000000\n"
        "    8 1.000000 0.000000 0.000000\n"
        "    8 0.000000 1.000000 0.000000\n"
        "    8 0.000000 0.000000 1.000000\n"
        "    3 0.000000 0.000000 0.000000 0.000000\n";
    char line[64];
    for (int i = 0; i < 8; i++)
        for (int j = 0; j < 8; j++)
            for (int k = 0; k < 8; k++) {
                snprintf(line, sizeof line, "%.10f\n", p.v[i] + q.v[j] + r.v[k]);
                s += line;
            }
    return s;
}

// A cell matching the grid (8 x 1 Bohr) with the given operations and site rows
// (label type x y z occupancy).
std::string cif_text(const std::vector<std::string>& ops, const std::vector<std::string>& sites) {
    std::string s =
        "data_run\n"
        "_cell_length_a 4.233418\n"
        "_cell_length_b 4.233418\n"
        "_cell_length_c 4.233418\n"
        "_cell_angle_alpha 90\n"
        "_cell_angle_beta 90\n"
        "_cell_angle_gamma 90\n"
        "loop_\n"
        "_symmetry_equiv_pos_as_xyz\n";
    for (const std::string& op : ops) s += op + "\n";
    s += "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nLi1+ 1\nO2- -2\n";
    s += "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
         "_atom_site_fract_z\n_atom_site_occupancy\n";
    for (const std::string& site : sites) s += site + "\n";
    return s;
}

const std::vector<std::string> kP1bar = {"x,y,z", "-x,-y,-z"};

RunResult run_sites(const std::string& cube, const std::string& cif, const char* ion = "Li1+") {
    WorkDir dir;
    dir.write("l.cube", cube);
    dir.write("s.cif", cif);
    return dir.run({"--cube", "l.cube", "--cif", "s.cif", ion, "--print-minima", "--print-saddle"});
}

const char kMinimaHead[] =
    "-----------------------------------------------------------------\r\n"
    "                  Summary of energy local minima                  \r\n"
    "-----------------------------------------------------------------\r\n\r\n";
const char kSaddleHead[] =
    "-----------------------------------------------------------------\r\n"
    "                  Summary of energy saddle point                  \r\n"
    "-----------------------------------------------------------------\r\n\r\n";
const char kMinimaColumns[] =
    "    Index   Grid coor.    True grid coor.     Frac. coor.         Occ.    Ion type\r\n";
const char kSaddleColumns[] =
    "    Index   Grid coor.    True grid coor.     Frac. coor.         True frac. coor.\r\n";

std::string minima_section(const std::string& body) { return std::string(kMinimaHead) + body; }
std::string saddle_section(const std::string& body) { return std::string(kSaddleHead) + body; }

// The minima section of a report (up to the saddle frame).
std::string minima_part(const std::string& out) { return out.substr(0, out.find(kSaddleHead)); }

// ---------------------------------------------------------------------------
// Landscape "pair" under P-1:
//   P = 1.0*cos(4 pi i/8) + 0.1*cos(2 pi i/8) = 1.1, .07, -1, -.07, .9, -.07, -1, .07
//   Q = 0.6*cos(2 pi j/8), R = 0.3*cos(2 pi k/8)   (wells at 4, maxima at 0)
// Minima: (2,4,4) and (6,4,4), E = -1.9, inversion images of each other.
// Saddles, energies above the minimum:
//   (2,4,0), (6,4,0): k on its maximum, 2*0.3 = 0.6      (one inversion pair)
//   (2,0,4), (6,0,4): j on its maximum, 2*0.6 = 1.2      (one inversion pair)
//   (4,4,4): i on its lower maximum, 0.9 + 1.0 = 1.9     (its own image)
//   (0,4,4): i on its higher maximum, 1.1 + 1.0 = 2.1    (its own image)
// The 0.1 term only separates the two i maxima, which would otherwise tie.
// ---------------------------------------------------------------------------

std::string pair_cube() {
    return cube_text(combine(1.0, kCos2, 0.1, kCos1), scaled(0.6, kCos1), scaled(0.3, kCos1));
}

// The saddle report of "pair". The search visits the asymmetric unit shell by shell
// and meets (4,4,4) (x = 4 face), (0,4,4), (2,4,0) (y = 4 face), (2,0,4) (z = 4 face),
// each followed by its inversion image. Numbered by energy the orbits become s3, s4,
// s1, s2; the type sort, a heap sort of the keys 3,4,1,1,2,2, takes list positions
// 3,2,4,5,0,1, so (6,4,0) comes before (2,4,0).
const char kPairSaddles[] =
    "Total local saddle in unit cell: 6\r\n"
    "Total symmetrically inequivalent: 4\r\n\r\n"
    "Saddle type: s1 (Energy: 0.600000 eV)\r\n"
    "%s"
    "        0     6   4   0     6.0   4.0   0.0   0.750 0.500 0.000   0.750 0.500 0.000\r\n"
    "        1     2   4   0     2.0   4.0   0.0   0.250 0.500 0.000   0.250 0.500 0.000\r\n"
    "Multiplicity: 2\r\n\r\n"
    "Saddle type: s2 (Energy: 1.200000 eV)\r\n"
    "%s"
    "        2     2   0   4     2.0   0.0   4.0   0.250 0.000 0.500   0.250 0.000 0.500\r\n"
    "        3     6   0   4     6.0   0.0   4.0   0.750 0.000 0.500   0.750 0.000 0.500\r\n"
    "Multiplicity: 2\r\n\r\n"
    "Saddle type: s3 (Energy: 1.900000 eV)\r\n"
    "%s"
    "        4     4   4   4     4.0   4.0   4.0   0.500 0.500 0.500   0.500 0.500 0.500\r\n"
    "Multiplicity: 1\r\n\r\n"
    "Saddle type: s4 (Energy: 2.100000 eV)\r\n"
    "%s"
    "        5     0   4   4     0.0   4.0   4.0   0.000 0.500 0.500   0.000 0.500 0.500\r\n"
    "Multiplicity: 1\r\n\r\n";

std::string pair_saddles() {
    char buf[4096];
    snprintf(buf, sizeof buf, kPairSaddles, kSaddleColumns, kSaddleColumns, kSaddleColumns, kSaddleColumns);
    return saddle_section(buf);
}

// ---------------------------------------------------------------------------
// Landscape "wells" under P-1: P as in "pair",
//   Q = -0.5*cos(4 pi j/8) + 0.2*cos(2 pi j/8): wells at j = 4 (-0.7) and j = 0 (-0.3)
//   R = -0.4*cos(4 pi k/8) + 0.1*cos(2 pi k/8): wells at k = 4 (-0.5) and k = 0 (-0.3)
// Minima (i,j,k) in {2,6} x {0,4} x {0,4}: four inversion pairs, above the lowest by
//   (j,k) = (4,4): 0.0, (4,0): 0.2, (0,4): 0.4, (0,0): 0.6.
// They are met in the order (0,0) (shell 2), then (4,0), (4,4), (0,4) (shell 4); by
// energy they are numbered 4, 2, 1, 3, and the heap sort of the keys 4,4,2,2,1,1,3,3
// takes list positions 4,5,3,2,6,7,0,1.
// Saddles: i in {0,4} with j, k in wells (8 points, each its own image), j in {2,6}
// or k in {2,6} with the others in wells (16 points, 8 pairs); every coordinate is
// even, so no saddle type lies next to another: 24 saddles in 16 types.
// ---------------------------------------------------------------------------

std::string wells_cube() {
    return cube_text(combine(1.0, kCos2, 0.1, kCos1), combine(-0.5, kCos2, 0.2, kCos1),
                     combine(-0.4, kCos2, 0.1, kCos1));
}

// Minima rows of "wells" without occupancy; the labels are given per type.
std::string wells_minima(const char* l1, const char* occ1, const char* l2, const char* l3, const char* l4) {
    char buf[4096];
    snprintf(buf, sizeof buf,
             "Total local minima in unit cell: 8\r\n"
             "Total symmetrically inequivalent: 4\r\n\r\n"
             "Minima type: %s (Energy: 0.000000 eV)\r\n%s"
             "        0     2   4   4     2.0   4.0   4.0   0.250 0.500 0.500   %s"
             "        1     6   4   4     6.0   4.0   4.0   0.750 0.500 0.500   %s"
             "Multiplicity: 2\r\n\r\n"
             "Minima type: %s (Energy: 0.200000 eV)\r\n%s"
             "        2     6   4   0     6.0   4.0   0.0   0.750 0.500 0.000   \r\n"
             "        3     2   4   0     2.0   4.0   0.0   0.250 0.500 0.000   \r\n"
             "Multiplicity: 2\r\n\r\n"
             "Minima type: %s (Energy: 0.400000 eV)\r\n%s"
             "        4     2   0   4     2.0   0.0   4.0   0.250 0.000 0.500   \r\n"
             "        5     6   0   4     6.0   0.0   4.0   0.750 0.000 0.500   \r\n"
             "Multiplicity: 2\r\n\r\n"
             "Minima type: %s (Energy: 0.600000 eV)\r\n%s"
             "        6     2   0   0     2.0   0.0   0.0   0.250 0.000 0.000   \r\n"
             "        7     6   0   0     6.0   0.0   0.0   0.750 0.000 0.000   \r\n"
             "Multiplicity: 2\r\n\r\n",
             l1, kMinimaColumns, occ1, occ1, l2, kMinimaColumns, l3, kMinimaColumns, l4, kMinimaColumns);
    return minima_section(buf);
}

}  // namespace

// ---------------------------------------------------------------------------
// Synthetic landscapes
// ---------------------------------------------------------------------------

TEST(RunSites, InversionPairOfWellsTakesTheLithiumSiteAndSaddlesFollowByEnergy) {
    // Li1 at (0.25,0.5,0.5) and its image (0.75,0.5,0.5) map to grid points (2,4,4)
    // and (6,4,4), each exactly on one minimum: occupancy 1 on both members.
    RunResult r = run_sites(pair_cube(), cif_text(kP1bar, {"Li1 Li1+ 0.25 0.5 0.5 1.0"}));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, minima_section(std::string("Total local minima in unit cell: 2\r\n"
                                                "Total symmetrically inequivalent: 1\r\n\r\n"
                                                "Minima type: Li1 (Energy: 0.000000 eV)\r\n") +
                                    kMinimaColumns +
                                    "        0     2   4   4     2.0   4.0   4.0   0.250 0.500 0.500   1.000   Li1\r\n"
                                    "        1     6   4   4     6.0   4.0   4.0   0.750 0.500 0.500   1.000   Li1\r\n"
                                    "Multiplicity: 2\r\n\r\n") +
                         pair_saddles());
}

TEST(RunSites, IonMidwayBetweenTwoMinimaIsSharedEqually) {
    // Li2 at (0.5,0.5,0.5) is its own inversion image; on grid point (4,4,4) it is two
    // steps from (2,4,4) and from (6,4,4), so each gets 1.0 / 2. Li1 sits on the wells
    // as before; the second ion of a minimum goes on a line of its own, and the type
    // label joins both site labels.
    RunResult r = run_sites(pair_cube(), cif_text(kP1bar, {"Li1 Li1+ 0.25 0.5 0.5 1.0", "Li2 Li1+ 0.5 0.5 0.5 1.0"}));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    const std::string indent(66, ' ');
    EXPECT_EQ(r.out, minima_section(std::string("Total local minima in unit cell: 2\r\n"
                                                "Total symmetrically inequivalent: 1\r\n\r\n"
                                                "Minima type: Li1/Li2 (Energy: 0.000000 eV)\r\n") +
                                    kMinimaColumns +
                                    "        0     2   4   4     2.0   4.0   4.0   0.250 0.500 0.500   1.000   Li1\r\n" +
                                    indent + "0.500   Li2\r\n" +
                                    "        1     6   4   4     6.0   4.0   4.0   0.750 0.500 0.500   1.000   Li1\r\n" +
                                    indent + "0.500   Li2\r\n" + "Multiplicity: 2\r\n\r\n") +
                         pair_saddles());
}

TEST(RunSites, InterstitialTypesFollowTheIonSiteInEnergyOrder) {
    // Li1 takes the lowest type; the other three are numbered i1, i2, i3 by energy,
    // not in the order the search met them.
    RunResult r = run_sites(wells_cube(), cif_text(kP1bar, {"Li1 Li1+ 0.25 0.5 0.5 1.0"}));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(minima_part(r.out), wells_minima("Li1", "1.000   Li1\r\n", "i1", "i2", "i3"));
    EXPECT_NE(r.out.find(saddle_section("Total local saddle in unit cell: 24\r\n"
                                        "Total symmetrically inequivalent: 16\r\n\r\n")),
              std::string::npos);
}

TEST(RunSites, StructureWithoutProbeSitesLeavesOnlyInterstitials) {
    // The probe Li1+ has no site in the structure: no minimum holds an ion, so every
    // type is interstitial, numbered from 1 by energy, and the rows carry no occupancy.
    RunResult r = run_sites(wells_cube(), cif_text(kP1bar, {"O1 O2- 0.0 0.0 0.0 1.0"}));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(minima_part(r.out), wells_minima("i1", "\r\n", "i2", "i3", "i4"));
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
TEST(RunSites, PlateauMinimumOnAMirrorSitsHalfwayBetweenGridPoints) {
    const double plateau[8] = {-1, -1, -0.4, 0.4, 1, 1, 0.4, -0.4};
    RunResult r = run_sites(cube_text(scaled(1.0, plateau), scaled(0.6, kCos1), scaled(0.3, kCos1)),
                            cif_text({"x,y,z", "-x+1/8,y,z"}, {"Li1 Li1+ 0.0625 0.5 0.5 1.0"}));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out,
              minima_section(std::string("Total local minima in unit cell: 1\r\n"
                                         "Total symmetrically inequivalent: 1\r\n\r\n"
                                         "Minima type: Li1 (Energy: 0.000000 eV)\r\n") +
                             kMinimaColumns +
                             "        0     0   4   4     0.5   4.0   4.0   0.062 0.500 0.500   1.000   Li1\r\n"
                             "Multiplicity: 1\r\n\r\n") +
                  saddle_section(std::string("Total local saddle in unit cell: 3\r\n"
                                             "Total symmetrically inequivalent: 3\r\n\r\n"
                                             "Saddle type: s1 (Energy: 0.600000 eV)\r\n") +
                                 kSaddleColumns +
                                 "        0     0   4   0     0.5   4.0   0.0   0.000 0.500 0.000   0.062 0.500 0.000\r\n"
                                 "Multiplicity: 1\r\n\r\n"
                                 "Saddle type: s2 (Energy: 1.200000 eV)\r\n" +
                                 kSaddleColumns +
                                 "        1     0   0   4     0.5   0.0   4.0   0.000 0.000 0.500   0.062 0.000 0.500\r\n"
                                 "Multiplicity: 1\r\n\r\n"
                                 "Saddle type: s3 (Energy: 2.000000 eV)\r\n" +
                                 kSaddleColumns +
                                 "        2     4   4   4     4.5   4.0   4.0   0.500 0.500 0.500   0.562 0.500 0.500\r\n"
                                 "Multiplicity: 1\r\n\r\n"));
}

// Landscape "boundary": the same shape moved across the cell edge, with operations
// x,y,z and -x+7/8,y,z (planes 7<->0, 6<->1, 5<->2, 4<->3) and
//   P = -1, -0.4, 0.4, 1, 1, 0.4, -0.4, -1   (flat well on i = 7,0; flat top on i = 3,4)
// The representative (0,4,4) has its image at 7; merging takes the periodic image -1,
// so the mean is -0.5: true x -0.5 wrapped to 7.5, and the index, -0.5 rounded away
// from zero, -1 wrapped to 7. The report floods 7 and 8: true grid 7.5, fractional
// 0.9375. The top pair is met at (4,4,4) first (x = 4 face), merged with 3 to
// index 4, true x 3.5. Li1 at (15/16,0.5,0.5) lies on the mirror; 15/16 * 8 + 0.5
// gives index 8, which becomes 0, half a step from the minimum at true x 7.5 - 8.
TEST(RunSites, ImagesAcrossTheCellBoundaryMergeIntoOnePoint) {
    const double edge[8] = {-1, -0.4, 0.4, 1, 1, 0.4, -0.4, -1};
    RunResult r = run_sites(cube_text(scaled(1.0, edge), scaled(0.6, kCos1), scaled(0.3, kCos1)),
                            cif_text({"x,y,z", "-x+7/8,y,z"}, {"Li1 Li1+ 0.9375 0.5 0.5 1.0"}));
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out,
              minima_section(std::string("Total local minima in unit cell: 1\r\n"
                                         "Total symmetrically inequivalent: 1\r\n\r\n"
                                         "Minima type: Li1 (Energy: 0.000000 eV)\r\n") +
                             kMinimaColumns +
                             "        0     7   4   4     7.5   4.0   4.0   0.938 0.500 0.500   1.000   Li1\r\n"
                             "Multiplicity: 1\r\n\r\n") +
                  saddle_section(std::string("Total local saddle in unit cell: 3\r\n"
                                             "Total symmetrically inequivalent: 3\r\n\r\n"
                                             "Saddle type: s1 (Energy: 0.600000 eV)\r\n") +
                                 kSaddleColumns +
                                 "        0     7   4   0     7.5   4.0   0.0   0.875 0.500 0.000   0.938 0.500 0.000\r\n"
                                 "Multiplicity: 1\r\n\r\n"
                                 "Saddle type: s2 (Energy: 1.200000 eV)\r\n" +
                                 kSaddleColumns +
                                 "        1     7   0   4     7.5   0.0   4.0   0.875 0.000 0.500   0.938 0.000 0.500\r\n"
                                 "Multiplicity: 1\r\n\r\n"
                                 "Saddle type: s3 (Energy: 2.000000 eV)\r\n" +
                                 kSaddleColumns +
                                 "        2     4   4   4     3.5   4.0   4.0   0.500 0.500 0.500   0.438 0.500 0.500\r\n"
                                 "Multiplicity: 1\r\n\r\n"));
}

// ---------------------------------------------------------------------------
// Real examples: facts that hold whatever the landscape's details
// ---------------------------------------------------------------------------

namespace {

struct TypeBlock {
    std::string label;
    double energy = 0.0;
    int multiplicity = -1;
    std::vector<std::string> rows;  // member rows (continuation lines excluded)
};

struct Report {
    int total = -1;
    int types = -1;
    std::vector<TypeBlock> blocks;
};

// Reads one section ("Minima" or "Saddle") of a report.
Report parse_section(const std::string& out, const std::string& kind) {
    Report rep;
    const std::string total_key = kind == "Minima" ? "Total local minima in unit cell: " : "Total local saddle in unit cell: ";
    size_t start = out.find(total_key);
    if (start == std::string::npos) return rep;
    size_t end = kind == "Minima" ? out.find(kSaddleHead, start) : out.size();
    std::istringstream in(out.substr(start, end - start));
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.rfind(total_key, 0) == 0) {
            rep.total = atoi(line.c_str() + total_key.size());
        } else if (line.rfind("Total symmetrically inequivalent: ", 0) == 0) {
            rep.types = atoi(line.c_str() + 34);
        } else if (line.rfind(kind + " type: ", 0) == 0) {
            TypeBlock b;
            size_t l = kind.size() + 7, e = line.find(" (Energy: ");
            b.label = line.substr(l, e - l);
            b.energy = atof(line.c_str() + e + 10);
            rep.blocks.push_back(b);
        } else if (line.rfind("Multiplicity: ", 0) == 0 && !rep.blocks.empty()) {
            rep.blocks.back().multiplicity = atoi(line.c_str() + 14);
        } else if (line.size() > 9 && line.compare(0, 4, "    ") == 0 && line[8] >= '0' && line[8] <= '9' &&
                   !rep.blocks.empty()) {
            rep.blocks.back().rows.push_back(line);  // "    %5d" index column
        }
    }
    return rep;
}

void expect_consistent(const Report& rep) {
    ASSERT_GT(rep.total, 0);
    EXPECT_EQ(static_cast<int>(rep.blocks.size()), rep.types);
    int sum = 0;
    for (size_t t = 0; t < rep.blocks.size(); t++) {
        SCOPED_TRACE(rep.blocks[t].label);
        EXPECT_EQ(rep.blocks[t].multiplicity, static_cast<int>(rep.blocks[t].rows.size()));
        sum += rep.blocks[t].multiplicity;
        if (t > 0) {
            EXPECT_LE(rep.blocks[t - 1].energy, rep.blocks[t].energy);
        }
    }
    EXPECT_EQ(sum, rep.total);
}

// Runs an example with its mobile ion and checks the facts common to both.
void check_example(const char* dir_name, const char* ion, const char* site_label, int site_copies) {
    WorkDir dir;
    const std::string base = std::string("examples/") + dir_name + "/";
    RunResult r = dir.run({"--cube", zemu_test::source_file(base + "landscape.cube"), "--cif",
                           zemu_test::source_file(base + "structure.cif"), ion, "--print-minima", "--print-saddle"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    ASSERT_EQ(r.out.rfind(kMinimaHead, 0), 0u);

    Report minima = parse_section(r.out, "Minima");
    expect_consistent(minima);
    ASSERT_FALSE(minima.blocks.empty());
    // The lowest type holds the mobile ion: every copy of its site on its own minimum.
    const TypeBlock& first = minima.blocks[0];
    EXPECT_EQ(first.label, site_label);
    EXPECT_EQ(first.energy, 0.0);
    EXPECT_EQ(static_cast<int>(first.rows.size()), site_copies);
    const std::string occupied = std::string("   1.000   ") + site_label;
    for (const std::string& row : first.rows)
        EXPECT_EQ(row.substr(row.size() - occupied.size()), occupied) << row;
    for (size_t t = 1; t < minima.blocks.size(); t++) EXPECT_EQ(minima.blocks[t].label, "i" + std::to_string(t));

    Report saddle = parse_section(r.out, "Saddle");
    expect_consistent(saddle);
    for (size_t t = 0; t < saddle.blocks.size(); t++) EXPECT_EQ(saddle.blocks[t].label, "s" + std::to_string(t + 1));
}

}  // namespace

TEST(RunExamples, LithiumIronPhosphateLithiumSitesAreTheLowestMinima) {
    // Li1 on 4a of P n m a: four copies
    check_example("LiFePO4", "Li1+", "Li1", 4);
}

TEST(RunExamples, SodiumUranateSodiumSitesAreTheLowestMinima) {
    // Na1 on the general position 8c of P b c a: eight copies
    check_example("Na2UO4", "Na1+", "Na1", 8);
}
