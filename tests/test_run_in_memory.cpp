// The analysis in memory against the program itself: on the bundled examples,
// the activation energies and every file the run writes must equal what
// `zemu --cube ... --cif ... ION --path` gives for the same inputs.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <unistd.h>

#include "ZEMU.h"
#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

struct Example {
    const char* dir;
    const char* ion;
};

// The example's grid (raw, as read) and structure.
struct Inputs {
    ZEMU_cube cube;
    ZEMU_cif cif;
    explicit Inputs(const Example& ex) {
        ZEMU_init_cube(&cube);
        ZEMU_init_cif(&cif);
        std::string cube_file = zemu_test::source_file(std::string("examples/") + ex.dir + "/landscape.cube");
        std::string cif_file = zemu_test::source_file(std::string("examples/") + ex.dir + "/structure.cif");
        EXPECT_EQ(ZEMU_load_cube(&cube_file[0], &cube), 0);
        EXPECT_EQ(ZEMU_load_cif(&cif_file[0], &cif), 0);
    }
    ~Inputs() {
        ZEMU_free_cube(&cube);
        ZEMU_free_cif(&cif);
    }
};

ZEMU_run_options options_for(const Example& ex) {
    ZEMU_run_options o;
    ZEMU_init_run_options(&o);
    snprintf(o.ion_type, sizeof o.ion_type, "%s", ex.ion);
    return o;
}

// "1D activation energy: x eV" lines as zemu prints them.
std::string act_lines(const ZEMU_run_result& r) {
    const double e[3] = {r.e1d, r.e2d, r.e3d};
    std::string s;
    char line[80];
    for (int d = 0; d < 3; d++) {
        snprintf(line, sizeof line, "%dD activation energy: %.6f eV\n", d + 1, r.percolates[d] ? e[d] : 999.0);
        s += line;
    }
    return s;
}

// Runs body with dir as the working directory.
template <typename F>
void inside(const WorkDir& dir, F body) {
    char here[4096];
    ASSERT_NE(getcwd(here, sizeof here), nullptr);
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    body();
    ASSERT_EQ(chdir(here), 0);
}

class InMemoryRun : public testing::TestWithParam<Example> {};

TEST_P(InMemoryRun, GivesTheProgramsActivationEnergiesSilently) {
    const Example ex = GetParam();
    WorkDir dir;
    RunResult zemu = dir.run({"--cube", zemu_test::source_file(std::string("examples/") + ex.dir + "/landscape.cube"),
                              "--cif", zemu_test::source_file(std::string("examples/") + ex.dir + "/structure.cif"),
                              ex.ion, "--path", "--print-act"});
    ASSERT_EQ(zemu.status, 0) << zemu.err;
    Inputs in(ex);
    ZEMU_run_options o = options_for(ex);
    ZEMU_run_result r;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();  // the stages' warnings pass, as in the program
    ASSERT_EQ(ZEMU_run_in_memory(&in.cube, &in.cif, &o, &r), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), zemu.err);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_NE(zemu.out.find(act_lines(r)), std::string::npos) << act_lines(r) << "\nnot in\n" << zemu.out;
    EXPECT_EQ(r.grid[0] * r.grid[1] * r.grid[2], in.cube.a_grid * in.cube.b_grid * in.cube.c_grid);
    EXPECT_GT(r.minima_types, 0);
    EXPECT_GT(r.paths, 0);
    // default ceiling: 5 eV raw above the minimum, in the scaled measure
    EXPECT_NEAR(r.ceiling, ZEMU_scale_cube_energy(&in.cube, 5.0), 1e-12);
}

TEST_P(InMemoryRun, WritesTheProgramsFilesByteForByte) {
    const Example ex = GetParam();
    WorkDir cli, mem;
    const std::string cube_src = zemu_test::source_file(std::string("examples/") + ex.dir + "/landscape.cube");
    cli.write("l.cube", zemu_test::slurp(cube_src));
    RunResult zemu = cli.run({"--cube", "l.cube", "--cif",
                              zemu_test::source_file(std::string("examples/") + ex.dir + "/structure.cif"), ex.ion,
                              "--path", "--summary", "--vesta", "--print-minima"});
    ASSERT_EQ(zemu.status, 0) << zemu.err;
    Inputs in(ex);
    ZEMU_run_options o = options_for(ex);
    o.write_files = 1;
    snprintf(o.cube_file, sizeof o.cube_file, "l.cube");
    ZEMU_run_result r;
    testing::internal::CaptureStderr();
    inside(mem, [&] { ASSERT_EQ(ZEMU_run_in_memory(&in.cube, &in.cif, &o, &r), 0); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), zemu.err);
    for (const char* name : {"ZEMU_events.txt", "ZEMU_rp.csv", "ZEMU_summary.txt", "ZEMU.vesta"}) {
        ASSERT_TRUE(cli.exists(name)) << name;
        EXPECT_EQ(mem.read(name), cli.read(name)) << name;
    }
    // the minima report numbers the types 1..T
    char last_type[32];
    snprintf(last_type, sizeof last_type, "%d", r.minima_types);
    EXPECT_NE(zemu.out.find(last_type), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Bundled, InMemoryRun,
                         testing::Values(Example{"LiFePO4", "Li1+"}, Example{"Na2UO4", "Na1+"}),
                         [](const testing::TestParamInfo<Example>& example) { return std::string(example.param.dir); });

TEST(InMemoryAnalysis, CeilingTakesTheExactInverseWhereTheProgramKeepsItsOwn) {
    // --max 10 with the identity scaling: the program's inverse gives 1 eV, the exact one 10 eV
    for (int exact : {0, 1}) {
        Inputs in(Example{"LiFePO4", "Li1+"});
        ZEMU_run_options o = options_for(Example{"LiFePO4", "Li1+"});
        o.max = 10.0;
        o.exact_max = exact;
        ZEMU_run_result r;
        testing::internal::CaptureStderr();
        ASSERT_EQ(ZEMU_run_in_memory(&in.cube, &in.cif, &o, &r), 0);
        testing::internal::GetCapturedStderr();
        EXPECT_NEAR(r.ceiling, exact ? 10.0 : 1.0, 1e-12) << exact;
        if (!exact) {
            EXPECT_EQ(r.percolates[2], 0);  // the 3-D barrier lies above 1 eV
        }
    }
}

TEST(ExactInverse, InvertsTheScalingToTheLastBit) {
    ZEMU_cube cube;
    ZEMU_init_cube(&cube);
    double raw = -1.0;
    ASSERT_EQ(ZEMU_get_unscaled_from_scaled_exact(&cube, 10.0, &raw), 0);  // scaling off: identity
    EXPECT_EQ(raw, 10.0);
    char expr[] = "0.5695*E^(0.6946)";
    cube.scaling = 1;
    ASSERT_EQ(ZEMU_parse_energy_scaling(&cube, expr), 0);
    for (double s : {0.0, 0.01, 0.267778, 1.0, 10.0, 250.0}) {
        ASSERT_EQ(ZEMU_get_unscaled_from_scaled_exact(&cube, s, &raw), 0) << s;
        EXPECT_NEAR(raw, s == 0.0 ? 0.0 : std::pow(s / 0.5695, 1.0 / 0.6946), 1e-9 * (1.0 + raw)) << s;
    }
    EXPECT_EQ(ZEMU_get_unscaled_from_scaled_exact(&cube, -1.0, &raw), 1);  // below scale(0)
    EXPECT_EQ(ZEMU_get_unscaled_from_scaled_exact(&cube, INFINITY, &raw), 1);
    ZEMU_free_cube(&cube);
}

}  // namespace
