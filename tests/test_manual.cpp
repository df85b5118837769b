// The shipped manuals (ZEMU_readme.txt, man/zemu.1) against the program: every
// flag and command is documented, the command-mode help pages are quoted as
// the program prints them, and the version is the project's.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "ZEMU.h"
#include "e2e_util.h"

namespace {

std::string project_version() {
    std::smatch m;
    std::string cmake = zemu_test::slurp(zemu_test::source_file("CMakeLists.txt"));
    return std::regex_search(cmake, m, std::regex("project\\(ZEMU VERSION ([0-9.]+)")) ? m[1].str() : "?";
}

// The man page as text: troff's escaped minus is a plain '-'.
std::string man_page() {
    return std::regex_replace(zemu_test::slurp(zemu_test::source_file("man/zemu.1")), std::regex("\\\\-"), "-");
}

}  // namespace

TEST(Manual, EveryFlagIsDocumentedInBothManuals) {
    const std::string readme = zemu_test::slurp(zemu_test::source_file("ZEMU_readme.txt"));
    const std::string man = man_page();
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
    EXPECT_EQ(readme.rfind("ZEMU - Zemulator, version " + project_version() + "\n", 0), 0u);
    EXPECT_NE(man.find("\"ZEMU " + project_version() + "\""), std::string::npos);
}

TEST(Manual, ReadmeQuotesEveryCommandHelpPageAsPrinted) {
    const std::string readme = zemu_test::slurp(zemu_test::source_file("ZEMU_readme.txt"));
    // The recorded session that asks for every help page (checked against the
    // program by the command-mode tests).
    const std::string out = zemu_test::slurp(zemu_test::data_file("cmd/help.out"));
    // Each page runs from its "Command:" line to the blank line that ends it.
    size_t pages = 0;
    for (size_t at = out.find("Command: "); at != std::string::npos; at = out.find("Command: ", at + 1)) {
        std::string page = out.substr(at, out.find("\n\n", at) - at);
        EXPECT_NE(readme.find(page), std::string::npos) << page;
        pages++;
    }
    EXPECT_EQ(pages, 22u);
    // Commands without a help page are listed too.
    for (const char* command : {"gii", "charge", "network", "fastgensym", "print ion type", "print symops",
                                "totalgrid", "diff_neigh", "vesta", "hk"})
        EXPECT_NE(readme.find("\n  " + std::string(command) + " "), std::string::npos) << command;
}
