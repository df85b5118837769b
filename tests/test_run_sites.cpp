// End-to-end runs of zemu through the site analysis, comparing the minimum and
// saddle reports byte for byte with those kept in tests/data/sites/. The synthetic
// landscapes (fixtures.h) have separable energies: a minimum where every axis sits
// in a well, a saddle where exactly one axis sits on a maximum.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_util.h"
#include "fixtures.h"

using namespace fx;

namespace {

// Runs zemu with both reports; standard output must equal the golden report.
void expect_report(const std::string& golden, const std::vector<std::string>& inputs) {
    SCOPED_TRACE(golden);
    zemu_test::WorkDir dir;
    std::vector<std::string> args = inputs;
    args.insert(args.end(), {"--print-minima", "--print-saddle"});
    zemu_test::RunResult r = dir.run(args);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out, zemu_test::slurp(zemu_test::data_file("sites/" + golden)));
}

void expect_synthetic_report(const std::string& golden, const std::string& cube, const std::string& cif,
                             const std::vector<std::string>& options = {}) {
    zemu_test::WorkDir files(false);
    files.write("l.cube", cube);
    files.write("s.cif", cif);
    std::vector<std::string> args = {"--cube", files.file("l.cube"), "--cif", files.file("s.cif"), "Li1+"};
    args.insert(args.end(), options.begin(), options.end());
    expect_report(golden, args);
}

const char kLi1[] = "Li1 Li1+ 0.25 0.5 0.5 1.0";

}  // namespace

// "pair": P as in "wells", Q = 0.6 cos(2 pi j/8), R = 0.3 cos(2 pi k/8) under P-1:
// minima (2,4,4) and (6,4,4), saddles (2,4,0)/(6,4,0), (2,0,4)/(6,0,4), (4,4,4) and
// (0,4,4). Li1 sits on both minima; Li2 at (4,4,4), two steps from each, shares 1/2
// with both. "wells" (fixtures.h): Li1 takes the lowest of four types, the others are
// i1..i3 by energy; with no Li site, i1..i4.
TEST(RunSites, SeparableLandscapesUnderInversion) {
    const std::string pair = cube_text(wells_p(), scaled(0.6, kCos1), scaled(0.3, kCos1));
    expect_synthetic_report("pair_li1.txt", pair, cif_text(kP1bar, {kLi1}));
    expect_synthetic_report("pair_li1_li2.txt", pair, cif_text(kP1bar, {kLi1, "Li2 Li1+ 0.5 0.5 0.5 1.0"}));
    expect_synthetic_report("pair_smoothed.txt", pair, cif_text(kP1bar, {kLi1}), {"--smooth-cube"});
    expect_synthetic_report("wells_li1.txt", wells_cube(), cif_text(kP1bar, {kLi1}));
    expect_synthetic_report("wells_no_li.txt", wells_cube(), cif_text(kP1bar, {"O1 O2- 0.0 0.0 0.0 1.0"}));
}

// "plateau": x,y,z and -x+1/8,y,z with a flat well on i = 0,1: the two images of
// the minimum merge at true x 0.5 (fractional 0.0625, printed 0.062). "boundary": the
// same across the cell edge (-x+7/8, well on 7,0): merged at -0.5, wrapped to 7.5.
TEST(RunSites, PlateauImagesOnAMirrorMergeHalfwayAlsoAcrossTheCellBoundary) {
    const Profile plateau = {{-1, -1, -0.4, 0.4, 1, 1, 0.4, -0.4}}, boundary = {{-1, -0.4, 0.4, 1, 1, 0.4, -0.4, -1}};
    expect_synthetic_report("plateau.txt", cube_text(plateau, scaled(0.6, kCos1), scaled(0.3, kCos1)),
                            cif_text({"x,y,z", "-x+1/8,y,z"}, {"Li1 Li1+ 0.0625 0.5 0.5 1.0"}));
    expect_synthetic_report("boundary.txt", cube_text(boundary, scaled(0.6, kCos1), scaled(0.3, kCos1)),
                            cif_text({"x,y,z", "-x+7/8,y,z"}, {"Li1 Li1+ 0.9375 0.5 0.5 1.0"}));
}

// The bundled examples: the lowest type holds the mobile ion, one copy of its site
// (4a of P n m a; 8c of P b c a) per minimum; the others are interstitials.
TEST(RunSites, BundledExamples) {
    for (const char* name : {"LiFePO4", "Na2UO4"}) {
        const std::string base = std::string("examples/") + name + "/";
        expect_report(std::string(name) + ".txt", {"--cube", zemu_test::source_file(base + "landscape.cube"), "--cif",
                                                   zemu_test::source_file(base + "structure.cif"),
                                                   name[0] == 'L' ? "Li1+" : "Na1+"});
    }
}
