// The word splitter of the "export cif" command, and its supercells (whose atoms
// come in random order, so they are checked against the positions they may take;
// the other exports are recorded sessions in test_cmd.cpp).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ZEMU.h"
#include "fixtures.h"

namespace {

typedef std::vector<std::string> Words;

Words tokenize(const std::string& text, size_t limit = ZEMU_CMD_EXPORT_MAX_WORDS) {
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    std::vector<char*> argv(limit + 1, nullptr);
    size_t n = ZEMU_tokenize_string(buffer.data(), argv.data(), limit);
    return Words(argv.begin(), argv.begin() + (long)n);
}

typedef std::tuple<std::string, long, long, long> Atom;  // type and position in thousandths

// The atoms of a written CIF (each row's multiplicity and occupancy must be 1).
std::vector<Atom> atoms(const std::string& cif) {
    std::vector<Atom> out;
    for (const std::string& line : fx::lines_of(cif.substr(cif.find("_atom_site_occupancy")))) {
        char label[32], type[32], wyckoff;
        int mul;
        double x, y, z, occ;
        if (sscanf(line.c_str(), "%31s %31s %d %c %lf %lf %lf %lf", label, type, &mul, &wyckoff, &x, &y, &z, &occ) != 8)
            continue;
        EXPECT_EQ(mul, 1);
        EXPECT_DOUBLE_EQ(occ, 1.0);
        out.emplace_back(type, std::lround(x * 1000), std::lround(y * 1000), std::lround(z * 1000));
    }
    return out;
}

}  // namespace

TEST(TokenizeString, WhiteSpaceSeparatesWordsQuotesJoinThemAndTheLimitStops) {
    const std::pair<const char*, Words> cases[] = {
        {"  export\tcif  ins\n", {"export", "cif", "ins"}},
        {"", {}},
        {" \t\n ", {}},
        {"-o \"my out.cif\" P1\n", {"-o", "my out.cif", "P1"}},  // quoted word keeps blanks, drops quotes
        {"\"\" x", {"", "x"}},
        {"ab\"c d\"e", {"ab\"c", "d\"e"}},  // a quote inside a plain word is ordinary
        {"a \"b c", {"a", "b c"}},          // a word still open at the end is stored
    };
    for (const auto& c : cases) EXPECT_EQ(tokenize(c.first), c.second) << c.first;
    // The limit stops the split (the command's own limit of 16: a recorded session).
    EXPECT_EQ(tokenize("a b c d", 2), (Words{"a", "b"}));
}

TEST(ExportCif, SupercellIsBuiltFromTheLoadedStructureWithWholeAtoms) {
    // Li1 half occupied (one Li per cell) balanced by F1- at the origin.
    fx::Session s(fx::p1bar_cif("Li1", 0.25, 0.5, "F1-", -1));
    auto r = s.run("export cif supercell 2 2 1 ins sad\nexport cif -o after.cif\n");
    EXPECT_TRUE(fx::contains(fx::command_output(r.out), "> Adding interstitial sites into CIF...\n"
                                                        "> Adding saddle points into CIF...\n"
                                                        "> Building supercell 2 x 2 x 1\nFinished exporting.\n"));
    std::string cif = s.dir.read("ZEMU.cif");
    EXPECT_TRUE(fx::contains(cif, "_cell_length_a                    8.000000\n"
                                  "_cell_length_b                    16.000000\n"
                                  "_cell_length_c                    8.000000\n"));
    EXPECT_TRUE(fx::contains(cif, "'P 1'"));

    // Candidate positions: the two Li copies and the one F copy repeated over
    // 2 x 2 x 1 cells; no interstitial or saddle site enters a supercell.
    std::set<Atom> candidates, placed;
    for (long x : {125, 375, 625, 875})
        for (long y : {250, 750}) candidates.insert(Atom("Li1+", x, y, 500));
    for (long x : {0, 500})
        for (long y : {0, 500}) candidates.insert(Atom("F1-", x, y, 0));
    int li = 0;
    for (const Atom& atom : atoms(cif)) {
        EXPECT_TRUE(candidates.count(atom)) << std::get<0>(atom) << " " << std::get<1>(atom) << " "
                                            << std::get<2>(atom) << " " << std::get<3>(atom);
        EXPECT_TRUE(placed.insert(atom).second) << "two atoms on one position";
        li += std::get<0>(atom) == "Li1+";
    }
    EXPECT_EQ(li, 4);  // 0.5 x 2 copies x 4 cells: the cell stays neutral
    EXPECT_EQ(placed.size(), 8u);

    // The structure held by the command mode is unchanged by the export.
    std::string after = s.dir.read("after.cif");
    EXPECT_TRUE(fx::contains(after, "'P -1'"));
    EXPECT_TRUE(fx::contains(after, "Li1          Li1+       2 . 0.25000 0.50000 0.50000 0.500\n"));
}
