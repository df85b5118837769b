// The analysis in memory: the energy ceiling it takes, exact or as the program computes
// it, and the exact inverse of the energy scaling. Its activation energies and written
// files against zemu's own are checked through the screening runs (test_screen_cli.cpp).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "fixtures.h"

// --max 10 with the identity scaling: the program's inverse gives 1 eV, the exact one
// 10 eV; the exact inverse of a power law to the last bits.
TEST(InMemoryAnalysis, CeilingTakesTheExactInverseWhereTheProgramKeepsItsOwn) {
    for (int exact : {0, 1}) {
        ZEMU_cube cube;
        ZEMU_cif cif;
        ZEMU_init_cube(&cube);
        ZEMU_init_cif(&cif);
        std::string cube_file = zemu_test::source_file("examples/LiFePO4/landscape.cube"),
                    cif_file = zemu_test::source_file("examples/LiFePO4/structure.cif");
        ASSERT_EQ(ZEMU_load_cube(&cube_file[0], &cube), 0);
        ASSERT_EQ(ZEMU_load_cif(&cif_file[0], &cif), 0);
        ZEMU_run_options o;
        ZEMU_init_run_options(&o);
        snprintf(o.ion_type, sizeof o.ion_type, "Li1+");
        o.max = 10.0;
        o.exact_max = exact;
        ZEMU_run_result r;
        const std::string out = fx::stdout_of([&] {
            fx::stderr_of([&] { EXPECT_EQ(ZEMU_run_in_memory(&cube, &cif, &o, &r), 0); });
        });
        EXPECT_EQ(out, "");  // the run is silent
        EXPECT_NEAR(r.ceiling, exact ? 10.0 : 1.0, 1e-12) << exact;
        EXPECT_EQ(r.percolates[2], exact);  // the 3-D barrier lies above 1 eV
        ZEMU_free_cube(&cube);
        ZEMU_free_cif(&cif);
    }
    ZEMU_cube cube;
    ZEMU_init_cube(&cube);
    char expr[] = "0.5695*E^(0.6946)";
    cube.scaling = 1;
    ASSERT_EQ(ZEMU_parse_energy_scaling(&cube, expr), 0);
    double raw = -1.0;
    for (double s : {0.0, 0.01, 0.267778, 10.0, 250.0}) {
        ASSERT_EQ(ZEMU_get_unscaled_from_scaled_exact(&cube, s, &raw), 0) << s;
        EXPECT_NEAR(raw, s == 0.0 ? 0.0 : std::pow(s / 0.5695, 1.0 / 0.6946), 1e-9 * (1.0 + raw)) << s;
    }
    EXPECT_EQ(ZEMU_get_unscaled_from_scaled_exact(&cube, -1.0, &raw), 1);  // below scale(0)
    EXPECT_EQ(ZEMU_get_unscaled_from_scaled_exact(&cube, INFINITY, &raw), 1);
    ZEMU_free_cube(&cube);
}
