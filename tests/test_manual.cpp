// The shipped manuals (ZEMU_readme.txt, man/zemu.1) against the program: every
// flag and command is documented, the command-mode help pages are quoted as
// the program prints them, and the version is the project's.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "e2e_util.h"

TEST(Manual, FlagsCommandsHelpPagesAndVersionAreDocumented) {
    using zemu_test::slurp;
    using zemu_test::source_file;
    const std::string readme = slurp(source_file("ZEMU_readme.txt"));
    // The man page as text: troff's escaped minus is a plain '-'.
    const std::string man = std::regex_replace(slurp(source_file("man/zemu.1")), std::regex("\\\\-"), "-");
    for (const char* flag : {"--cif", "--cube", "--scale", "--max", "--cmd", "--path", "--vesta", "--summary", "--gui",
                             "--hk", "--calc-charge", "--calc-bvsum", "--calc-gii", "--print-minima", "--print-saddle",
                             "--print-path", "--print-perc", "--print-act", "--smooth-cube", "--check-sub",
                             "--check-subs", "--help", "--version"}) {
        // a line of the flag list: the flag then a blank or a comma
        EXPECT_TRUE(readme.find(std::string("\n  ") + flag + " ") != std::string::npos ||
                    readme.find(std::string("\n  ") + flag + ",") != std::string::npos)
            << flag;
        EXPECT_NE(man.find(flag), std::string::npos) << flag;
    }
    const std::string cmake = slurp(source_file("CMakeLists.txt"));
    std::smatch m;
    ASSERT_TRUE(std::regex_search(cmake, m, std::regex("project\\(ZEMU VERSION ([0-9.]+)")));
    EXPECT_EQ(readme.rfind("ZEMU - Zemulator, version " + m[1].str() + "\n", 0), 0u);
    EXPECT_NE(man.find("\"ZEMU " + m[1].str() + "\""), std::string::npos);

    // Every help page of the recorded session that asks for them all (checked
    // against the program by the command-mode tests), from its "Command:" line
    // to the blank line that ends it.
    const std::string out = slurp(zemu_test::data_file("cmd/help.out"));
    size_t pages = 0;
    for (size_t at = out.find("Command: "); at != std::string::npos; at = out.find("Command: ", at + 1), pages++)
        EXPECT_NE(readme.find(out.substr(at, out.find("\n\n", at) - at)), std::string::npos) << out.substr(at, 40);
    EXPECT_EQ(pages, 22u);
    // Commands without a help page are listed too.
    for (const char* command : {"gii", "charge", "network", "fastgensym", "print ion type", "print symops",
                                "totalgrid", "diff_neigh", "vesta", "hk"})
        EXPECT_NE(readme.find("\n  " + std::string(command) + " "), std::string::npos) << command;
}
