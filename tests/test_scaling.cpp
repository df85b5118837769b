// Energy scaling: compiling the expression, the bisection inverse and the shift of the grid to a zero minimum.
#include "ZEMU-cube.h"
#include "fixtures.h"

TEST(EnergyScaling, CompilesOnlyExpressionsWithAnUpperCaseEWithinNinetyNineCharacters) {
    const std::string kNoE = "Error: Invalid scaling expression - variable E missing\n";
    std::string padded = "E";
    while (padded.size() < 150) padded += "+0";  // cut to 99 characters, still valid
    const std::tuple<std::string, std::string, double> cases[] = {  // expression, message, scaled 2.0
        {"2*e", kNoE, 0}, {std::string(120, ' ') + "E", kNoE, 0},   // the E lies beyond the kept part
        {"E $", "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n", 0},
        {"E*E", "", 4.0}, {padded, "", 2.0}, {"0.5695*E^(0.6946)", "", 0.5695 * pow(2.0, 0.6946)}};
    for (const auto& cs : cases) {
        fx::Field g(1, 1, 1);
        g.cube.scaling = 1;
        std::string text = std::get<0>(cs);
        int status = 0;
        EXPECT_EQ(fx::stderr_of([&] { status = ZEMU_parse_energy_scaling(&g.cube, &text[0]); }), std::get<1>(cs));
        EXPECT_EQ(status, std::get<1>(cs).empty() ? 0 : 1);
        EXPECT_DOUBLE_EQ(ZEMU_scale_cube_energy(&g.cube, 2.0), std::get<1>(cs).empty() ? std::get<2>(cs) : 2.0);
    }
}

TEST(EnergyScaling, InverseBracketsBisectsAndGivesOneWithAWarningWhenItCannot) {
    const std::string kNoThreshold = "Warning: Program could not find the correct energy threshold to be applied\n";
    // E - 100 below 12.3 and E + 100 above: 50 lies in the jump; the bracket has moved up to 13 and comes back
    const std::string jump = "E+100*(E-12.3)/((E-12.3)^2+0.0000000000000000000000000000000000000001)^0.5";
    const std::tuple<std::string, double, double, std::string> cases[] = {  // expression, target, result, warning
        {"E", 0.0, 1.0, kNoThreshold},      // outside the bracket
        {"0*E+1", 5.0, 1.0, kNoThreshold},  // bounded expression
        {"1000000000000000000000000000000*E", 0.5, 10.0, ""},  // 100 halvings never come within 0.001
        {jump, 50.0, 13.0, ""}, {"", 0.3, -1.0, ""},  // no scaling: a midpoint of [0, 10] near 0.3
        {"0.5695*E^(0.6946)", 5.0, -2.0, ""},           // scale(10) is about 2.82: the bracket moves up
    };
    for (const auto& cs : cases) {
        fx::Field g(1, 1, 1);
        std::string text = std::get<0>(cs);
        g.cube.scaling = !text.empty();
        ASSERT_EQ(text.empty() ? 0 : ZEMU_parse_energy_scaling(&g.cube, &text[0]), 0);
        double raw = 0;
        EXPECT_EQ(fx::stderr_of([&] { raw = ZEMU_get_unscaled_from_scaled(&g.cube, std::get<1>(cs)); }), std::get<3>(cs));
        if (std::get<2>(cs) >= 0) EXPECT_EQ(raw, std::get<2>(cs)) << text;
        else EXPECT_NEAR(ZEMU_scale_cube_energy(&g.cube, raw), std::get<1>(cs), 0.001) << text;
    }
}
