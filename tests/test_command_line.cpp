// Command-line parsing: switch flags, value flags, the ion type after the
// structure path, warnings, and runs that do nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "ZEMU.h"
#include "e2e_util.h"
#include "fixtures.h"

namespace {

// Parses the words (program name first) into a fresh configuration; returns stderr.
std::string parse(ZEMU_input* in, std::vector<std::string> words) {
    std::vector<char*> argv;
    static char prog[] = "zemu";
    argv.push_back(prog);
    for (std::string& w : words) argv.push_back(&w[0]);
    memset(in, 0x5a, sizeof *in);  // the text fields are not touched by init
    ZEMU_init_input(in);
    return fx::stderr_of([&] { ZEMU_process_command(in, static_cast<int>(argv.size()), argv.data()); });
}

}  // namespace

TEST(CommandLine, EachSwitchSetsItsOwnFieldAndIsAFlagWord) {
    ZEMU_input in;
    typedef ZEMU_input I;
    const std::pair<const char*, int I::*> switches[] = {
        {"--cmd", &I::cmd}, {"--path", &I::path}, {"--vesta", &I::vesta}, {"--hk", &I::HK}, {"--summary", &I::summary},
        {"--gui", &I::gui}, {"--calc-charge", &I::calc_charge}, {"--calc-bvsum", &I::calc_bvsum},
        {"--calc-gii", &I::calc_gii}, {"--print-minima", &I::print_minima}, {"--print-saddle", &I::print_saddle},
        {"--print-path", &I::print_path}, {"--print-perc", &I::print_perc}, {"--print-act", &I::print_act},
        {"--smooth-cube", &I::smooth_cube}, {"--check-sub", &I::check_sub}, {"--check-subs", &I::check_subs}};
    for (const auto& sw : switches) {
        SCOPED_TRACE(sw.first);
        parse(&in, {sw.first});
        for (const auto& other : switches) EXPECT_EQ(in.*other.second, other.second == sw.second ? 1 : 0) << other.first;
        EXPECT_EQ(std::make_tuple(in.cube, in.cif, in.scaling, in.ion), std::make_tuple(0, 0, 0, 0));
        EXPECT_EQ(in.max, 0.0);
        EXPECT_EQ(ZEMU_isflag(const_cast<char*>(sw.first)), 1);
    }
    for (const char* f : {"--cif", "--cube", "--scale", "--max"}) EXPECT_EQ(ZEMU_isflag(const_cast<char*>(f)), 1) << f;
    for (const char* w : {"--PATH", "-path", "--check", "--path ", "Li1+", ""})
        EXPECT_EQ(ZEMU_isflag(const_cast<char*>(w)), 0) << w;
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

    // A value that is no number reads as 0; unknown words are skipped silently.
    EXPECT_EQ(parse(&in, {"--max", "abc", "--nonsense", "x", "--Path"}), "");
    EXPECT_EQ(in.max, 0.0);
    EXPECT_EQ(in.path, 0);
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
    EXPECT_EQ(std::make_tuple(in.cif, in.ion, in.path), std::make_tuple(1, 0, 1));
    parse(&in, {"--cif", "s.cif"});
    EXPECT_EQ(in.ion, 0);

    // Any non-flag word is an ion type, even an unknown double-dash word.
    parse(&in, {"--cif", "s.cif", "--bogus", "--gui"});
    EXPECT_EQ(in.ion, 1);
    EXPECT_STREQ(in.ion_type, "--bogus");
    EXPECT_EQ(in.gui, 1);
}

TEST(CommandLine, MissingAndOverlongValuesWarnAndStayBounded) {
    ZEMU_input in;
    EXPECT_EQ(parse(&in, {"--path", "--cube"}), "Warning: Missing value after --cube\n");
    EXPECT_EQ(in.cube, 0);
    EXPECT_EQ(in.path, 1);
    EXPECT_EQ(parse(&in, {"--scale"}), "Warning: Missing value after --scale\n");
    EXPECT_EQ(in.scaling, 0);
    EXPECT_EQ(parse(&in, {"--max"}), "Warning: Missing value after --max\n");

    EXPECT_EQ(parse(&in, {"--scale", std::string(150, 'E')}), "Warning: Value of --scale truncated\n");
    EXPECT_EQ(in.scaling, 1);
    EXPECT_EQ(std::string(in.scaling_expression), std::string(99, 'E'));
    EXPECT_EQ(parse(&in, {"--cube", std::string(1200, 'p')}), "Warning: Value of --cube truncated\n");
    EXPECT_EQ(strlen(in.cube_file), 999u);
    EXPECT_EQ(parse(&in, {"--cif", "s.cif", "Li1+Li1+Li1+"}), "Warning: Value of --cif truncated\n");
    EXPECT_EQ(in.ion, 1);
    EXPECT_STREQ(in.ion_type, "Li1+Li1+L");
    EXPECT_EQ(parse(&in, {"--cif", "s.cif", "Na1+"}), "");
}

// Without arguments the banner; --help, -h and --version only as the one word
// (anywhere else they are ordinary words: skipped, or taken as the ion type).
TEST(CommandLineRun, BannerHelpAndVersion) {
    std::smatch m;
    std::string cmake = zemu_test::slurp(zemu_test::source_file("CMakeLists.txt"));
    ASSERT_TRUE(std::regex_search(cmake, m, std::regex("project\\(ZEMU VERSION ([0-9.]+)")));
    const std::string usage = zemu_test::slurp(zemu_test::data_file("cmd/usage.txt"));
    const std::pair<std::vector<std::string>, std::string> runs[] = {
        {{},
         " Zemulator (ZEMU) version " + m[1].str() +
             "\n > Please consult ZEMU_readme.txt for more details on available commands.\n"
             " > Please report bugs or send suggestions to the maintainers through the project's issue tracker.\n"},
        {{"--hk", "--whatever"}, ""},
        {{"--help"}, usage},
        {{"-h"}, usage},
        {{"--version"}, "zemu (Zemulator) " + m[1].str() + "\n"},
        {{"--help", "--hk"}, ""},
        {{"--hk", "-h"}, ""},
        {{"--version", "--version"}, ""},
    };
    zemu_test::WorkDir wd;
    for (const auto& run : runs) {
        zemu_test::RunResult r = wd.run(run.first);
        EXPECT_EQ(r.out, run.second) << run.first.size();
        EXPECT_EQ(r.err, "");
        EXPECT_EQ(r.status, 0);
    }
    // Every flag the scan knows is explained.
    for (const char* flag : {"--cif", "--cube", "--scale", "--max", "--cmd", "--path", "--vesta", "--summary", "--gui",
                             "--hk", "--calc-charge", "--calc-bvsum", "--calc-gii", "--print-minima", "--print-saddle",
                             "--print-path", "--print-perc", "--print-act", "--smooth-cube", "--check-sub",
                             "--check-subs"})
        EXPECT_NE(usage.find("  " + std::string(flag) + " "), std::string::npos) << flag;
    ZEMU_input in;
    EXPECT_EQ(parse(&in, {"--cif", "s.cif", "--help"}), "");
    EXPECT_STREQ(in.ion_type, "--help");
}
