// Command-line parsing: switch flags, value flags, the ion type after the
// structure path, warnings, and runs that do nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "ZEMU.h"
#include "e2e_util.h"
#include "fixtures.h"

namespace {

typedef ZEMU_input I;
const std::pair<const char*, int I::*> kSwitches[] = {
    {"--cmd", &I::cmd}, {"--path", &I::path}, {"--vesta", &I::vesta}, {"--hk", &I::HK}, {"--summary", &I::summary},
    {"--gui", &I::gui}, {"--calc-charge", &I::calc_charge}, {"--calc-bvsum", &I::calc_bvsum},
    {"--calc-gii", &I::calc_gii}, {"--print-minima", &I::print_minima}, {"--print-saddle", &I::print_saddle},
    {"--print-path", &I::print_path}, {"--print-perc", &I::print_perc}, {"--print-act", &I::print_act},
    {"--smooth-cube", &I::smooth_cube}, {"--check-sub", &I::check_sub}, {"--check-subs", &I::check_subs}};

// The configuration the words (after the program name) give, as text: each
// value flag's field while it is set, then the switches set; and the warnings.
std::pair<std::string, std::string> parse(std::vector<std::string> words) {
    std::vector<char*> argv;
    static char prog[] = "zemu";
    argv.push_back(prog);
    for (std::string& w : words) argv.push_back(&w[0]);
    ZEMU_input in;
    memset(&in, 0x5a, sizeof in);  // the text fields are not touched by init
    ZEMU_init_input(&in);
    std::string err = fx::stderr_of([&] { ZEMU_process_command(&in, static_cast<int>(argv.size()), argv.data()); });
    std::string out;
    auto field = [&](int set, const char* name, const char* text, size_t size) {
        if (set) out += std::string(" ") + name + "=" + std::string(text, strnlen(text, size));
    };
    field(in.cube, "cube", in.cube_file, sizeof in.cube_file);
    field(in.scaling, "scale", in.scaling_expression, sizeof in.scaling_expression);
    field(in.cif, "cif", in.cif_file, sizeof in.cif_file);
    field(in.ion, "ion", in.ion_type, sizeof in.ion_type);
    if (in.max != 0.0) out += " max=" + std::to_string(in.max);
    for (const auto& sw : kSwitches)
        if (in.*sw.second) out += std::string(" ") + sw.first;
    return {out.empty() ? out : out.substr(1), err};
}

}  // namespace

TEST(CommandLine, EachSwitchSetsItsOwnFieldAndIsAFlagWord) {
    for (const auto& sw : kSwitches) {
        EXPECT_EQ(parse({sw.first}), std::make_pair(std::string(sw.first), std::string()));
        EXPECT_EQ(ZEMU_isflag(const_cast<char*>(sw.first)), 1);
    }
    for (const char* f : {"--cif", "--cube", "--scale", "--max"}) EXPECT_EQ(ZEMU_isflag(const_cast<char*>(f)), 1) << f;
    for (const char* w : {"--PATH", "-path", "--check", "--path ", "Li1+", ""})
        EXPECT_EQ(ZEMU_isflag(const_cast<char*>(w)), 0) << w;
}

TEST(CommandLine, ValueFlagsIonTypeWarningsAndBounds) {
    const struct {
        std::vector<std::string> words;
        std::string config, warnings;
    } cases[] = {
        // A value flag takes the next word whatever it is; the last of a repeated flag wins.
        {{"--cube", "--path", "--scale", "2*E", "--max", "0.75"}, "cube=--path scale=2*E max=0.750000", ""},
        {{"--cube", "a.cube", "--cube", "b.cube"}, "cube=b.cube", ""},
        // A value that is no number reads as 0; unknown words are skipped silently.
        {{"--max", "abc", "--nonsense", "x", "--Path"}, "", ""},
        // Any word after the structure path that is no flag is the ion type.
        {{"--cif", "s.cif", "Li1+", "--path"}, "cif=s.cif ion=Li1+ --path", ""},
        {{"--cif", "s.cif", "--path"}, "cif=s.cif --path", ""},
        {{"--cif", "s.cif"}, "cif=s.cif", ""},
        {{"--cif", "s.cif", "--bogus", "--gui"}, "cif=s.cif ion=--bogus --gui", ""},
        {{"--cif", "s.cif", "--help"}, "cif=s.cif ion=--help", ""},
        // A flag without its value is left out with a warning.
        {{"--path", "--cube"}, "--path", "Warning: Missing value after --cube\n"},
        {{"--scale"}, "", "Warning: Missing value after --scale\n"},
        {{"--max"}, "", "Warning: Missing value after --max\n"},
        // An overlong value is cut to its field.
        {{"--scale", std::string(150, 'E')}, "scale=" + std::string(99, 'E'), "Warning: Value of --scale truncated\n"},
        {{"--cube", std::string(1200, 'p')}, "cube=" + std::string(999, 'p'), "Warning: Value of --cube truncated\n"},
        {{"--cif", "s.cif", "Li1+Li1+Li1+"}, "cif=s.cif ion=Li1+Li1+L", "Warning: Value of --cif truncated\n"},
        {{"--cif", "s.cif", "Na1+"}, "cif=s.cif ion=Na1+", ""},
    };
    for (const auto& c : cases) EXPECT_EQ(parse(c.words), std::make_pair(c.config, c.warnings)) << c.words[0];
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
}
