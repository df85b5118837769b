// Energy scaling: compiling the expression, scaled values, the bisection
// inverse and the shift of the grid to a zero minimum.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "ZEMU-cube.h"

namespace {

// A grid record with a compiled scaling expression (scaling on when expr is given).
struct ScaledCube {
    ZEMU_cube cube;
    int parse_status = 0;
    std::string err;
    explicit ScaledCube(const char* expr = nullptr)
    {
        ZEMU_init_cube(&cube);
        if (expr != nullptr) {
            cube.scaling = 1;
            std::string text = expr;
            testing::internal::CaptureStderr();
            parse_status = ZEMU_parse_energy_scaling(&cube, &text[0]);
            err = testing::internal::GetCapturedStderr();
        }
    }
    ~ScaledCube() { ZEMU_free_cube(&cube); }
};

double inverse(ZEMU_cube* cube, double s, std::string* err)
{
    testing::internal::CaptureStderr();
    double r = ZEMU_get_unscaled_from_scaled(cube, s);
    *err = testing::internal::GetCapturedStderr();
    return r;
}

}  // namespace

TEST(EnergyScaling, WithoutScalingValuesPassThrough)
{
    ScaledCube sc;
    EXPECT_EQ(ZEMU_scale_cube_energy(&sc.cube, 1.234), 1.234);
    std::string err;
    double raw = inverse(&sc.cube, 0.3, &err);
    EXPECT_EQ(err, "");
    EXPECT_NEAR(raw, 0.3, 0.001);
    EXPECT_NE(raw, 0.3);  // a midpoint or bracket end of the bisection on [0, 10]
    double steps = raw / (10.0 / 1048576.0);
    EXPECT_EQ(steps, std::floor(steps));
}

TEST(EnergyScaling, SodiumExpressionGrowsSlowerThanRawEnergy)
{
    ScaledCube sc("0.5695*E^(0.6946)");
    ASSERT_EQ(sc.parse_status, 0) << sc.err;
    EXPECT_DOUBLE_EQ(ZEMU_scale_cube_energy(&sc.cube, 1.0), 0.5695);
    EXPECT_DOUBLE_EQ(ZEMU_scale_cube_energy(&sc.cube, 4.0), 0.5695 * pow(4.0, 0.6946));
    EXPECT_LT(ZEMU_scale_cube_energy(&sc.cube, 4.0), 4.0);

    std::string err;
    // scale(10) is about 2.82: the upper bracket has to move up for 5.0
    double raw = inverse(&sc.cube, 5.0, &err);
    EXPECT_EQ(err, "");
    EXPECT_GT(raw, 10.0);
    EXPECT_NEAR(ZEMU_scale_cube_energy(&sc.cube, raw), 5.0, 0.001);
}

TEST(EnergyScaling, InverseOutsideTheBracketWarnsAndGivesOne)
{
    ScaledCube sc("E");
    std::string err;
    EXPECT_EQ(inverse(&sc.cube, 0.0, &err), 1.0);
    EXPECT_EQ(err, "Warning: Program could not find the correct energy threshold to be applied\n");
}

TEST(EnergyScaling, InverseGivesTheUpperBracketWhenBisectionRunsOut)
{
    // so steep that 100 halvings never come within 0.001 of the target
    ScaledCube steep("1000000000000000000000000000000*E");
    ASSERT_EQ(steep.parse_status, 0) << steep.err;
    std::string err;
    EXPECT_EQ(inverse(&steep.cube, 0.5, &err), 10.0);
    EXPECT_EQ(err, "");

    // E - 100 below 12.3 and E + 100 above: 50 lies in the jump, the bracket
    // has moved up to 13, and that bracket (not a midpoint near 12.3) comes back
    ScaledCube jump("E+100*(E-12.3)/((E-12.3)^2+0.0000000000000000000000000000000000000001)^0.5");
    ASSERT_EQ(jump.parse_status, 0) << jump.err;
    EXPECT_NEAR(ZEMU_scale_cube_energy(&jump.cube, 12.0), -88.0, 1e-9);
    EXPECT_NEAR(ZEMU_scale_cube_energy(&jump.cube, 13.0), 113.0, 1e-9);
    EXPECT_EQ(inverse(&jump.cube, 50.0, &err), 13.0);
    EXPECT_EQ(err, "");
}

TEST(EnergyScaling, InverseOfABoundedExpressionGivesUp)
{
    ScaledCube sc("0*E+1");
    std::string err;
    EXPECT_EQ(inverse(&sc.cube, 5.0, &err), 1.0);
    EXPECT_EQ(err, "Warning: Program could not find the correct energy threshold to be applied\n");
}

TEST(EnergyScaling, ExpressionNeedsAnUpperCaseE)
{
    ScaledCube lower("2*e");
    EXPECT_EQ(lower.parse_status, 1);
    EXPECT_EQ(lower.err, "Error: Invalid scaling expression - variable E missing\n");

    ScaledCube square("E*E");
    EXPECT_EQ(square.parse_status, 0);
    EXPECT_EQ(ZEMU_scale_cube_energy(&square.cube, 3.0), 9.0);
}

TEST(EnergyScaling, RejectedExpressionLeavesOnlyTheEvaluatorsMessage)
{
    ScaledCube sc("E $");
    EXPECT_EQ(sc.parse_status, 1);
    EXPECT_EQ(sc.err, "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n");
}

TEST(EnergyScaling, LongExpressionIsCutToNinetyNineCharacters)
{
    std::string text = "E";
    while (text.size() < 150) text += "+0";
    ScaledCube sc(text.c_str());
    EXPECT_EQ(sc.parse_status, 0) << sc.err;
    EXPECT_EQ(ZEMU_scale_cube_energy(&sc.cube, 2.0), 2.0);

    std::string late = std::string(120, ' ') + "E";  // the E lies beyond the kept part
    ScaledCube cut(late.c_str());
    EXPECT_EQ(cut.parse_status, 1);
    EXPECT_EQ(cut.err, "Error: Invalid scaling expression - variable E missing\n");
}

TEST(EnergyScaling, ShiftMovesTheMinimumToZeroAndAccumulates)
{
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
