// The analysis in memory against the program itself: on the bundled examples,
// the activation energies, the warnings and every file the run writes must equal
// what `zemu --cube ... --cif ... ION --path` gives for the same inputs.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "fixtures.h"

namespace {

// A bundled example's grid (raw, as read) and structure, and run options for its ion.
struct Inputs {
    ZEMU_cube cube;
    ZEMU_cif cif;
    ZEMU_run_options options;
    std::string cube_file, cif_file;
    explicit Inputs(const std::string& example)
        : cube_file(zemu_test::source_file("examples/" + example + "/landscape.cube")),
          cif_file(zemu_test::source_file("examples/" + example + "/structure.cif")) {
        ZEMU_init_cube(&cube);
        ZEMU_init_cif(&cif);
        EXPECT_EQ(ZEMU_load_cube(&cube_file[0], &cube), 0);
        EXPECT_EQ(ZEMU_load_cif(&cif_file[0], &cif), 0);
        ZEMU_init_run_options(&options);
        snprintf(options.ion_type, sizeof options.ion_type, "%s", example[0] == 'L' ? "Li1+" : "Na1+");
    }
    ~Inputs() {
        ZEMU_free_cube(&cube);
        ZEMU_free_cif(&cif);
    }
};

}  // namespace

TEST(InMemoryRun, GivesTheProgramsActivationEnergiesWarningsAndFiles) {
    for (const char* example : {"LiFePO4", "Na2UO4"}) {
        SCOPED_TRACE(example);
        Inputs in(example);
        zemu_test::WorkDir cli;
        cli.write("l.cube", zemu_test::slurp(in.cube_file));
        const zemu_test::RunResult zemu = cli.run({"--cube", "l.cube", "--cif", in.cif_file, in.options.ion_type,
                                                   "--path", "--summary", "--vesta", "--print-act"});
        ASSERT_EQ(zemu.status, 0) << zemu.err;
        in.options.write_files = 1;
        snprintf(in.options.cube_file, sizeof in.options.cube_file, "l.cube");
        ZEMU_run_result r;
        fx::InDir mem(true);
        const std::string err = fx::stderr_of([&] {
            EXPECT_EQ(fx::stdout_of([&] { ASSERT_EQ(ZEMU_run_in_memory(&in.cube, &in.cif, &in.options, &r), 0); }), "");
        });
        EXPECT_EQ(err, zemu.err);
        for (const char* name : {"ZEMU_events.txt", "ZEMU_rp.csv", "ZEMU_summary.txt", "ZEMU.vesta"}) {
            EXPECT_NE(cli.read(name), "") << name;
            EXPECT_EQ(mem.dir.read(name), cli.read(name)) << name;
        }
        const double e[3] = {r.e1d, r.e2d, r.e3d};
        for (int d = 0; d < 3; d++) {
            char line[80];
            snprintf(line, sizeof line, "%dD activation energy: %.6f eV\n", d + 1, r.percolates[d] ? e[d] : 999.0);
            EXPECT_TRUE(fx::contains(zemu.out, line)) << line << "not in\n" << zemu.out;
        }
        // default ceiling: 5 eV raw above the minimum, in the scaled measure
        EXPECT_NEAR(r.ceiling, ZEMU_scale_cube_energy(&in.cube, 5.0), 1e-12);
    }
}

// --max 10 with the identity scaling: the program's inverse gives 1 eV, the exact one
// 10 eV; the exact inverse of a power law to the last bits.
TEST(InMemoryAnalysis, CeilingTakesTheExactInverseWhereTheProgramKeepsItsOwn) {
    for (int exact : {0, 1}) {
        Inputs in("LiFePO4");
        in.options.max = 10.0;
        in.options.exact_max = exact;
        ZEMU_run_result r;
        fx::stderr_of([&] { ASSERT_EQ(ZEMU_run_in_memory(&in.cube, &in.cif, &in.options, &r), 0); });
        EXPECT_NEAR(r.ceiling, exact ? 10.0 : 1.0, 1e-12) << exact;
        EXPECT_EQ(r.percolates[2], exact);  // the 3-D barrier lies above 1 eV
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
