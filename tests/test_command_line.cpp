#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ZEMU.h"
#include "e2e_util.h"

namespace {

// Parses the words (program name first) into a fresh configuration; returns stderr.
std::string parse(ZEMU_input* in, std::vector<std::string> words) {
    std::vector<char*> argv;
    static char prog[] = "zemu";
    argv.push_back(prog);
    for (std::string& w : words) argv.push_back(&w[0]);
    memset(in, 0x5a, sizeof *in);  // the text fields are not touched by init
    ZEMU_init_input(in);
    testing::internal::CaptureStderr();
    ZEMU_process_command(in, static_cast<int>(argv.size()), argv.data());
    return testing::internal::GetCapturedStderr();
}

const char kBanner[] =
    " Zemulator (ZEMU) version 3.0\n"
    " > Please consult ZEMU_readme.txt for more details on available commands.\n"
    " > Please report bugs or send suggestions to the maintainers through the project's issue tracker.\n";

}  // namespace

TEST(CommandLine, EveryFlagSetsItsOwnField) {
    ZEMU_input in;
    parse(&in, {"--cmd", "--path", "--vesta", "--hk", "--summary", "--gui", "--calc-charge", "--calc-bvsum",
                "--calc-gii", "--print-minima", "--print-saddle", "--print-path", "--print-perc", "--print-act",
                "--smooth-cube", "--check-sub", "--check-subs"});
    int* flags[] = {&in.cmd,         &in.path,         &in.vesta,        &in.HK,          &in.summary,
                    &in.gui,         &in.calc_charge,  &in.calc_bvsum,   &in.calc_gii,    &in.print_minima,
                    &in.print_saddle, &in.print_path,  &in.print_perc,   &in.print_act,   &in.smooth_cube,
                    &in.check_sub,   &in.check_subs};
    for (int* f : flags) EXPECT_EQ(*f, 1);
    EXPECT_EQ(in.cube, 0);
    EXPECT_EQ(in.cif, 0);
    EXPECT_EQ(in.scaling, 0);
    EXPECT_EQ(in.ion, 0);
    EXPECT_EQ(in.max, 0.0);

    parse(&in, {"--print-path"});
    EXPECT_EQ(in.print_path, 1);
    EXPECT_EQ(in.path, 0);
    EXPECT_EQ(in.check_subs, 0);
}

TEST(CommandLine, ValueFlagsTakeTheNextWordWhateverItIs) {
    ZEMU_input in;
    parse(&in, {"--cube", "--path", "--scale", "2*E", "--max", "0.75"});
    EXPECT_EQ(in.cube, 1);
    EXPECT_STREQ(in.cube_file, "--path");
    EXPECT_EQ(in.path, 0);
    EXPECT_EQ(in.scaling, 1);
    EXPECT_STREQ(in.scaling_expression, "2*E");
    EXPECT_DOUBLE_EQ(in.max, 0.75);

    parse(&in, {"--max", "abc"});
    EXPECT_EQ(in.max, 0.0);

    parse(&in, {"--cube", "a.cube", "--cube", "b.cube"});
    EXPECT_STREQ(in.cube_file, "b.cube");
}

TEST(CommandLine, IonTypeFollowsCifPathUnlessItIsAFlag) {
    ZEMU_input in;
    parse(&in, {"--cif", "s.cif", "Li1+", "--path"});
    EXPECT_STREQ(in.cif_file, "s.cif");
    EXPECT_EQ(in.ion, 1);
    EXPECT_STREQ(in.ion_type, "Li1+");
    EXPECT_EQ(in.path, 1);

    parse(&in, {"--cif", "s.cif", "--path"});
    EXPECT_EQ(in.cif, 1);
    EXPECT_EQ(in.ion, 0);
    EXPECT_EQ(in.path, 1);

    parse(&in, {"--cif", "s.cif"});
    EXPECT_EQ(in.ion, 0);

    // Any non-flag word is an ion type, even an unknown double-dash word.
    parse(&in, {"--cif", "s.cif", "--bogus", "--gui"});
    EXPECT_EQ(in.ion, 1);
    EXPECT_STREQ(in.ion_type, "--bogus");
    EXPECT_EQ(in.gui, 1);
}

TEST(CommandLine, UnknownWordsAreSkippedSilently) {
    ZEMU_input in;
    std::string err = parse(&in, {"--nonsense", "x", "--path", "--Path"});
    EXPECT_EQ(err, "");
    EXPECT_EQ(in.path, 1);
}

TEST(CommandLine, MissingAndOverlongValuesWarnAndStayBounded) {
    ZEMU_input in;
    EXPECT_EQ(parse(&in, {"--path", "--cube"}), "Warning: Missing value after --cube\n");
    EXPECT_EQ(in.cube, 0);
    EXPECT_EQ(in.path, 1);
    EXPECT_EQ(parse(&in, {"--scale"}), "Warning: Missing value after --scale\n");
    EXPECT_EQ(in.scaling, 0);
    EXPECT_EQ(parse(&in, {"--max"}), "Warning: Missing value after --max\n");

    std::string long_expr(150, 'E');
    EXPECT_EQ(parse(&in, {"--scale", long_expr}), "Warning: Value of --scale truncated\n");
    EXPECT_EQ(in.scaling, 1);
    EXPECT_EQ(std::string(in.scaling_expression), std::string(99, 'E'));

    std::string long_path(1200, 'p');
    EXPECT_EQ(parse(&in, {"--cube", long_path}), "Warning: Value of --cube truncated\n");
    EXPECT_EQ(strlen(in.cube_file), 999u);

    EXPECT_EQ(parse(&in, {"--cif", "s.cif", "Li1+Li1+Li1+"}), "Warning: Value of --cif truncated\n");
    EXPECT_EQ(in.ion, 1);
    EXPECT_STREQ(in.ion_type, "Li1+Li1+L");

    EXPECT_EQ(parse(&in, {"--cif", "s.cif", "Na1+"}), "");
}

TEST(CommandLine, IsFlagKnowsExactlyTheFlagWords) {
    const char* flags[] = {"--cif",        "--cube",         "--scale",        "--max",        "--cmd",
                           "--path",       "--vesta",        "--summary",      "--gui",        "--hk",
                           "--calc-charge", "--calc-bvsum",  "--calc-gii",     "--print-minima", "--print-saddle",
                           "--print-path", "--print-perc",   "--print-act",    "--smooth-cube", "--check-sub",
                           "--check-subs"};
    for (const char* f : flags) EXPECT_EQ(ZEMU_isflag(const_cast<char*>(f)), 1) << f;
    for (const char* w : {"--PATH", "-path", "--check", "--path ", "Li1+", ""})
        EXPECT_EQ(ZEMU_isflag(const_cast<char*>(w)), 0) << w;
}

TEST(CommandLineRun, NoArgumentsPrintsBannerAndSucceeds) {
    zemu_test::WorkDir wd;
    zemu_test::RunResult r = wd.run({});
    EXPECT_EQ(r.out, kBanner);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, 0);
}

TEST(CommandLineRun, OnlyUnknownOrInertFlagsDoNothing) {
    zemu_test::WorkDir wd;
    zemu_test::RunResult r = wd.run({"--hk", "--whatever"});
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, 0);
}
