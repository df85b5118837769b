// Energy scaling: compiling the expression, scaled values, the bisection
// inverse and the shift of the grid to a zero minimum.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "ZEMU-cube.h"
#include "fixtures.h"

namespace {

const char kNoE[] = "Error: Invalid scaling expression - variable E missing\n";
const char kNoThreshold[] = "Warning: Program could not find the correct energy threshold to be applied\n";

// A grid record with a compiled scaling expression (scaling on when expr is given).
struct ScaledCube {
    ZEMU_cube cube;
    int parse_status = 0;
    std::string err;
    explicit ScaledCube(const std::string& expr = "") {
        ZEMU_init_cube(&cube);
        if (expr.empty()) return;
        cube.scaling = 1;
        std::string text = expr;
        err = fx::stderr_of([&] { parse_status = ZEMU_parse_energy_scaling(&cube, &text[0]); });
    }
    ~ScaledCube() { ZEMU_free_cube(&cube); }
    double inverse(double s, std::string* warning) {
        double r;
        *warning = fx::stderr_of([&] { r = ZEMU_get_unscaled_from_scaled(&cube, s); });
        return r;
    }
};

}  // namespace

TEST(EnergyScaling, WithoutScalingValuesPassThrough) {
    ScaledCube sc;
    EXPECT_EQ(ZEMU_scale_cube_energy(&sc.cube, 1.234), 1.234);
    std::string err;
    double raw = sc.inverse(0.3, &err);
    EXPECT_EQ(err, "");
    EXPECT_NEAR(raw, 0.3, 0.001);
    EXPECT_NE(raw, 0.3);  // a midpoint or bracket end of the bisection on [0, 10]
    double steps = raw / (10.0 / 1048576.0);
    EXPECT_EQ(steps, std::floor(steps));
}

TEST(EnergyScaling, SodiumExpressionGrowsSlowerThanRawEnergy) {
    ScaledCube sc("0.5695*E^(0.6946)");
    ASSERT_EQ(sc.parse_status, 0) << sc.err;
    EXPECT_DOUBLE_EQ(ZEMU_scale_cube_energy(&sc.cube, 1.0), 0.5695);
    EXPECT_DOUBLE_EQ(ZEMU_scale_cube_energy(&sc.cube, 4.0), 0.5695 * pow(4.0, 0.6946));
    EXPECT_LT(ZEMU_scale_cube_energy(&sc.cube, 4.0), 4.0);
    std::string err;
    // scale(10) is about 2.82: the upper bracket has to move up for 5.0
    double raw = sc.inverse(5.0, &err);
    EXPECT_EQ(err, "");
    EXPECT_GT(raw, 10.0);
    EXPECT_NEAR(ZEMU_scale_cube_energy(&sc.cube, raw), 5.0, 0.001);
}

TEST(EnergyScaling, InverseGivesOneWithAWarningOrTheUpperBracketWhenBisectionRunsOut) {
    // E - 100 below 12.3 and E + 100 above: 50 lies in the jump, the bracket has
    // moved up to 13, and that bracket (not a midpoint near 12.3) comes back
    const std::string jump = "E+100*(E-12.3)/((E-12.3)^2+0.0000000000000000000000000000000000000001)^0.5";
    struct Case { std::string expr; double target, result; const char* warning; } cases[] = {
        {"E", 0.0, 1.0, kNoThreshold},      // outside the bracket
        {"0*E+1", 5.0, 1.0, kNoThreshold},  // bounded expression
        {"1000000000000000000000000000000*E", 0.5, 10.0, ""},  // 100 halvings never come within 0.001
        {jump, 50.0, 13.0, ""},
    };
    for (Case& cs : cases) {
        SCOPED_TRACE(cs.expr);
        ScaledCube sc(cs.expr);
        ASSERT_EQ(sc.parse_status, 0) << sc.err;
        std::string warning;
        EXPECT_EQ(sc.inverse(cs.target, &warning), cs.result);
        EXPECT_EQ(warning, cs.warning);
    }
    ScaledCube j(jump);
    EXPECT_NEAR(ZEMU_scale_cube_energy(&j.cube, 12.0), -88.0, 1e-9);
    EXPECT_NEAR(ZEMU_scale_cube_energy(&j.cube, 13.0), 113.0, 1e-9);
}

TEST(EnergyScaling, ExpressionNeedsAnUpperCaseEWithinNinetyNineCharacters) {
    std::string padded = "E";
    while (padded.size() < 150) padded += "+0";  // cut to 99 characters, still valid
    struct Case { std::string expr; const char* err; double at2; /* scaled 2.0 when compiled */ } cases[] = {
        {"2*e", kNoE, 0},
        {std::string(120, ' ') + "E", kNoE, 0},  // the E lies beyond the kept part
        {"E $", "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n", 0},  // the evaluator's message only
        {"E*E", "", 4.0},
        {padded, "", 2.0},
    };
    for (Case& cs : cases) {
        SCOPED_TRACE(cs.expr);
        ScaledCube sc(cs.expr);
        EXPECT_EQ(sc.parse_status, cs.err[0] ? 1 : 0);
        EXPECT_EQ(sc.err, cs.err);
        if (!cs.err[0]) { EXPECT_EQ(ZEMU_scale_cube_energy(&sc.cube, 2.0), cs.at2); }
    }
}

TEST(EnergyScaling, ShiftMovesTheMinimumToZeroAndAccumulates) {
    ZEMU_cube c;
    ZEMU_init_cube(&c);
    c.a_grid = c.b_grid = c.c_grid = 2;
    ASSERT_EQ(ZEMU_alloc_cube_energy(&c), 0);
    for (int n = 0; n < 8; n++) c.energy[n / 4][(n / 2) % 2][n % 2] = -3.25 + 0.5 * n;
    c.global_minimum = -3.25;
    c.max_energy = 1.75;

    ZEMU_shift_cube_energy(&c);
    EXPECT_EQ(c.energy[0][0][0], 0.0);
    EXPECT_EQ(c.energy[1][1][1], 3.5);
    EXPECT_EQ(c.energy_shift, 3.25);
    EXPECT_EQ(c.max_energy, 5.0);
    EXPECT_EQ(c.global_minimum, 0.0);

    c.global_minimum = 0.5;  // as after smoothing raised the floor
    ZEMU_shift_cube_energy(&c);
    EXPECT_EQ(c.energy[1][1][1], 3.0);
    EXPECT_EQ(c.energy_shift, 2.75);
    ZEMU_free_cube(&c);
}
