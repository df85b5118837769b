// Integer symmetry operations on the grid: parsing operation texts, the image
// generators, merging near-coincident images and the equivalence test.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ZEMU.h"
#include "fixtures.h"

using Ops = std::vector<std::string>;
using Rows = std::vector<int>;

namespace {

// x_x x_y x_z x_a  y_x y_y y_z y_a  z_x z_y z_z z_a
Rows rows(const ZEMU_fastgen_symop& o) {
    return {o.x_x, o.x_y, o.x_z, o.x_a, o.y_x, o.y_y, o.y_z, o.y_a, o.z_x, o.z_y, o.z_z, o.z_a};
}
const Rows kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

// The images in order, "x y z" each, or with reals "p q r (x y z)"; "/" between them.
std::string images(const ZEMU_symcopies& c, bool reals = false) {
    std::string out;
    char buf[96];
    for (int k = 0; k < c.total; k++) {
        const ZEMU_fastgen_xyz& i = c.copy[k];
        if (reals)
            snprintf(buf, sizeof buf, "%s%g %g %g (%d %d %d)", k ? " / " : "", i.p, i.q, i.r, i.x, i.y, i.z);
        else
            snprintf(buf, sizeof buf, "%s%d %d %d", k ? " / " : "", i.x, i.y, i.z);
        out += buf;
    }
    return out;
}

}  // namespace

TEST(GridSymopParser, TextsBecomeIntegerRowsInGridSteps) {
    // expected: the rows of every operation in order
    struct Case { const char* what; std::vector<int> counts; Ops ops; std::vector<Rows> expected; int diff_neigh; };
    const Case cases[] = {
        {"fractions become grid steps", {40, 40, 40}, {"x,y,z", "-x+1/2,y,-z+1/4"},
         {kIdentity, {-1, 0, 0, 20, 0, 1, 0, 0, 0, 0, -1, 10}}, 0},
        {"a translation uses its own axis", {20, 30, 40}, {"x+1/2,y+1/2,z-1/2"},
         {{1, 0, 0, 10, 0, 1, 0, 15, 0, 0, 1, -20}}, 0},
        {"an off-grid translation is truncated", {50, 50, 50}, {"-x+1/3,y,z"}, {{-1, 0, 0, 16, 0, 1, 0, 0, 0, 0, 1, 0}}, 0},
        {"mixed axes set diff_neigh", {12, 12, 12}, {"x,y,z", "x-y,x,z+1/2"},
         {kIdentity, {1, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 6}}, 1},
        {"permuted axes alone do not", {12, 12, 12}, {"y,-x,z"}, {{0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0}}, 0},
        // "x,y" leaves the row at y; the end of the text moves it to z, where "z" lands.
        {"the row carries over from a short operation", {10, 10, 10}, {"x,y", "z", "x,y,z"},
         {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0}, kIdentity}, 0},
        {"a pending minus carries into the next operation", {10, 10, 10}, {"x,y,z-", "x,y,z"},
         {kIdentity, {-1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}}, 0},
        {"upper case, blanks, a whole number", {10, 10, 10}, {" -X , Y+1/2 , -Z+1 "}, {{-1, 0, 0, 0, 0, 1, 0, 5, 0, 0, -1, 10}}, 0},
        {"a zero denominator does not divide", {10, 10, 10}, {"x+1/0,y,z"}, {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        fx::Grid grid(c.counts[0], c.counts[1], c.counts[2]);
        fx::Cif s(c.ops);
        ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
        ASSERT_EQ(s.cif.fg.total, (int)c.expected.size());
        for (size_t n = 0; n < c.expected.size(); n++) EXPECT_EQ(rows(s.cif.fg.op[n]), c.expected[n]) << n;
        EXPECT_EQ(s.cif.diff_neigh, c.diff_neigh);
    }
}

TEST(GridSymopParser, MoreThanTheLargestListIsClampedWithAWarning) {
    fx::Grid grid(20, 20, 20);
    fx::Cif s(Ops(200, "x-y,-y,-z"));
    const std::string err = fx::stderr_of([&] { ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube); });
    EXPECT_EQ(s.cif.fg.total, ZEMU_MAX_SYMOP);
    EXPECT_EQ(err.rfind("Warning: ", 0), 0u);
    EXPECT_EQ(err.find('\n'), err.size() - 1);
}

// Images wrap into the cell in operation order, the identity's first; a point on
// an inversion centre has one image. Merging near-coincident images rounds an exact
// half toward the first image.
TEST(GridSymCopies, ImagesMergingAndEquivalence) {
    fx::Grid grid(40, 40, 40);
    fx::Cif s({"x,y,z", "-x,-y,-z", "x+1/2,-y-1/4,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ZEMU_symcopies copies;
    ZEMU_fastgen_sym_copies(&s.cif, &grid.cube, &copies, 1, 2, 3);
    EXPECT_EQ(images(copies), "1 2 3 / 39 38 37 / 21 28 3");
    ZEMU_fastgen_sym_copies(&s.cif, &grid.cube, &copies, 20, 0, 20);
    EXPECT_EQ(images(copies), "20 0 20 / 0 30 20");
    const std::pair<double, int> args[] = {{2.5, 2}, {2.5, 3}, {2.5, 5}, {-0.5, 0}, {2.3333, 2}, {2.6667, 2}};
    const int rounded[] = {2, 3, 3, -1, 2, 3};
    for (int k = 0; k < 6; k++) EXPECT_EQ(ZEMU_round_copies(args[k].first, args[k].second), rounded[k]) << k;
    // Of a chain of neighbours only those next to the first merge, at their mean.
    copies.total = 3;
    for (int k = 0; k < 3; k++) copies.copy[k].x = copies.copy[k].y = copies.copy[k].z = 5 + k;
    ZEMU_condense_copies(&s.cif, &grid.cube, &copies, 1);
    EXPECT_EQ(images(copies, true), "5.5 5.5 5.5 (5 5 5) / 7 7 7 (7 7 7)");

    // A real-valued image just below the cell edge is carried below zero.
    s.set_ops({"x,y,z", "-x,y,z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    ZEMU_fastgen_sym_copies_dbl(&s.cif, &grid.cube, &copies, 0.4, 39.6, 20.0);
    ASSERT_EQ(copies.total, 2);
    EXPECT_DOUBLE_EQ(copies.copy[0].p, 0.4);
    EXPECT_NEAR(copies.copy[0].q, -0.4, 1e-12);
    EXPECT_NEAR(copies.copy[1].p, -0.4, 1e-12);
    EXPECT_DOUBLE_EQ(copies.copy[1].r, 20.0);
    // The equivalence test wraps its first point.
    s.set_ops({"x,y,z", "-x,-y,-z"});
    ZEMU_prepare_fastgen_symop(&s.cif, &grid.cube);
    EXPECT_EQ(ZEMU_is_symmetrically_related(&s.cif, &grid.cube, 39, 38, 37, 1, 2, 3), 1);
    EXPECT_EQ(ZEMU_is_symmetrically_related(&s.cif, &grid.cube, -1, -2, -3, 1, 2, 3), 1);
    EXPECT_EQ(ZEMU_is_symmetrically_related(&s.cif, &grid.cube, 39, 38, 36, 1, 2, 3), 0);
}
