// CIF reader: line normalisation, tags, the three loops, oxidation states,
// cell completion and every message the reader prints.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "ZEMU-cif.h"
#include "fixtures.h"

using std::make_tuple;

namespace {

const std::string kCell =
    "_cell_length_a 10\n_cell_length_b 10\n_cell_length_c 10\n"
    "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n";
const std::string kSiteLoop =
    "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
const std::string kTypedSiteLoop =
    "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
const std::string kOneSite = kSiteLoop + "Li1 0.1 0.2 0.3\n";

// A structure record loaded from a file or from text, released afterwards.
struct LoadedCif {
    ZEMU_cif cif;
    int rc = 1;
    std::string err;

    explicit LoadedCif(const std::string& text) {
        zemu_test::WorkDir dir(false);
        dir.write("in.cif", text);
        load(dir.file("in.cif"));
    }
    LoadedCif(const char* path, bool /*from_file*/) { load(path); }
    ~LoadedCif() { ZEMU_free_cif(&cif); }

    void load(std::string path) {
        ZEMU_init_cif(&cif);
        err = fx::stderr_of([&] { rc = ZEMU_load_cif(&path[0], &cif); });
    }
};

// Normalises the given lines and returns them.
std::vector<std::string> trim_lines(const std::vector<std::string>& input) {
    std::vector<std::vector<char>> storage;
    std::vector<char*> lines;
    for (const std::string& s : input) {
        storage.emplace_back(ZEMU_CIF_LINE_SIZE, '\0');
        strncpy(storage.back().data(), s.c_str(), ZEMU_CIF_LINE_SIZE - 1);
    }
    for (auto& s : storage) lines.push_back(s.data());
    ZEMU_trim_cif_buffer(lines.data(), (int)lines.size());
    return std::vector<std::string>(lines.begin(), lines.end());
}

std::string formula_field(int content_lines) {
    std::string text = kCell + "_chemical_formula_structural\n;\n";
    for (int k = 0; k < content_lines; k++) text += "Li" + std::to_string(k) + "\n";
    return text + ";\n" + kOneSite;
}

}  // namespace

TEST(CifNormalisation, BlanksTabsQuotesAndLineEnds) {
    // Every blank after the first quote goes with the quotes, except on space-group lines.
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"\t  _cell_length_a\t\t 5.0  \r\n", "_cell_length_a 5.0"},
        {"a  b   c \n", "a b c"},
        {"1 'x, y, z'", "1 x,y,z"},
        {"_chemical_formula_sum 'Li Fe P O4'", "_chemical_formula_sum LiFePO4"},
        {"a 'b c' d e", "a bcde"},
        {"_symmetry_space_group_name_H-M   'P  n m a' ", "_symmetry_space_group_name_H-M 'P n m a'"},
        {"_space_group_name_H-M_alt 'P 63/m m c'", "_space_group_name_H-M_alt 'P 63/m m c'"},
    };
    std::vector<std::string> in, expected;
    for (auto& c : cases) in.push_back(c.first), expected.push_back(c.second);
    EXPECT_EQ(trim_lines(in), expected);
}

TEST(CifNormalisation, ConcatenationStopsAtTheOutputSize) {
    char l0[] = "abc", l1[] = "defg";
    char* lines[] = {l0, l1};
    char out[8];
    memset(out, 'Z', sizeof out);
    ZEMU_cif_concatenate_lines(lines, 0, 1, out, 8);
    EXPECT_EQ(std::string(out, 8), std::string("abcdefg\0", 8));
    memset(out, 'Z', sizeof out);
    ZEMU_cif_concatenate_lines(lines, 0, 1, out, 5);
    EXPECT_EQ(std::string(out, 6), "abcdeZ");  // no room, no terminator
}

TEST(CifReader, ReadsTheLiFePO4Example) {
    LoadedCif s(ZEMU_TEST_DATA "/cif_LiFePO4.cif", true);
    ASSERT_EQ(s.rc, 0) << s.err;
    const ZEMU_cif& c = s.cif;
    EXPECT_EQ(make_tuple(c.a, c.b, c.c, c.volume), make_tuple(10.450668, 6.087351, 4.751955, 302.3046));
    EXPECT_STREQ(c.spacegroup_HM, "P n m a");
    EXPECT_STREQ(c.chem_form_sum, "Fe1Li1O4P1");
    EXPECT_EQ(make_tuple(c.int_tab_cryst_no, c.z, c.symop_no, c.type_no, c.site_no), make_tuple(62, 4, 8, 4, 6));
    EXPECT_STREQ(c.symop[0], "x,y,z");
    EXPECT_STREQ(c.symop[2], "-x+1/2,-y,z+1/2");
    EXPECT_STREQ(c.type[3].label, "O2-");
    EXPECT_STREQ(c.type[1].label_element, "Fe");
    // Types read from the file take every second flag.
    EXPECT_EQ(make_tuple(c.type[0].flag, c.type[3].flag, c.type_flag_counter), make_tuple(0, 6, 8));
    const int mul[6] = {4, 4, 4, 4, 4, 8};
    for (int k = 0; k < 6; k++) EXPECT_EQ(c.site[k].mul, mul[k]) << c.site[k].label;
    EXPECT_DOUBLE_EQ(c.site[5].ox, -2.0);
    EXPECT_EQ(make_tuple(c.site[1].type_flag, c.site[1].Wyckoff, c.site_charge_provided), make_tuple(2, 'c', 1));
    EXPECT_DOUBLE_EQ(c.d1, 10.450668 * 10.450668);
    EXPECT_NEAR(c.d4, 0.0, 1e-9);
}

TEST(CifReader, ToleratesMessyLinesAndKeepsTheProgramsOwnRules) {
    LoadedCif s(ZEMU_TEST_DATA "/cif_messy.cif", true);
    ASSERT_EQ(s.rc, 0) << s.err;
    const ZEMU_cif& c = s.cif;
    EXPECT_STREQ(c.chem_form_struct, "Li Fe (P O4)");
    EXPECT_STREQ(c.chem_form_sum, "LiFePO4");
    EXPECT_STREQ(c.ICSD, "123456789");
    EXPECT_DOUBLE_EQ(c.a, 10.2345);  // tabs and the uncertainty
    EXPECT_DOUBLE_EQ(c.b, 6.0);      // leading and trailing blanks
    EXPECT_NEAR(c.volume, 10.2345 * 6.0 * 4.75, 1e-9);
    EXPECT_STREQ(c.spacegroup_HM, "/m m c");  // column 31 for the shorter tag as well
    EXPECT_EQ(c.int_tab_cryst_no, 194);
    EXPECT_DOUBLE_EQ(c.R_factor, 0.0321);
    ASSERT_EQ(c.symop_no, 2);
    EXPECT_STREQ(c.symop[1], "-x,-y,-z");
    ASSERT_EQ(c.site_no, 4);  // the anisotropic loop adds nothing
    EXPECT_EQ(make_tuple(c.site[0].occ, c.site[0].Wyckoff, c.site[0].mul, c.site[3].mul), make_tuple(0.5, '.', 2, 1));
    // -0.25 + 1; -1.25 + 1, added once only.
    EXPECT_EQ(make_tuple(c.site[1].x, c.site[1].y, c.site[1].z), make_tuple(0.75, -0.25, 0.0));
    // Fe3+ has no type: its value comes from the symbol and a type is appended.
    EXPECT_DOUBLE_EQ(c.site[2].ox, 3.0);
    ASSERT_EQ(c.type_no, 3);
    EXPECT_STREQ(c.type[2].label, "Fe3+");
    EXPECT_EQ(make_tuple(c.type[2].flag, c.site[2].type_flag, c.site_charge_provided), make_tuple(4, -1, 1));
}

TEST(CifReader, AcceptedInputsAndWhatIsKept) {
    const std::string typed_site = kCell + kTypedSiteLoop;
    std::string long_text = kCell + "_chemical_formula_sum\n;\n";
    for (int k = 0; k < 3; k++) long_text += std::string(150, 'A' + k) + "\n";
    struct Case {
        const char* what;
        std::string text;
        std::function<void(const ZEMU_cif&)> check;
    };
    const Case cases[] = {
        {"space group symbol from the long tag keeps its blanks",
         kCell + "_symmetry_space_group_name_H-M 'P 63/m m c'\n" + kOneSite,
         [](const ZEMU_cif& c) { EXPECT_STREQ(c.spacegroup_HM, "P 63/m m c"); }},
        {"space group symbol is cut at nineteen characters",
         kCell + "_symmetry_space_group_name_H-M 'A 1234567890 1234567890'\n" + kOneSite,
         [](const ZEMU_cif& c) { EXPECT_STREQ(c.spacegroup_HM, "A 1234567890 123456"); }},
        {"text field of one line", formula_field(1),
         [](const ZEMU_cif& c) { EXPECT_STREQ(c.chem_form_struct, "Li0"); }},
        {"text field of eight lines is joined", formula_field(8),
         [](const ZEMU_cif& c) { EXPECT_STREQ(c.chem_form_struct, "Li0Li1Li2Li3Li4Li5Li6Li7"); }},
        {"long text field stays terminated in its field", long_text + ";\n" + kOneSite,
         [](const ZEMU_cif& c) { EXPECT_EQ(strlen(c.chem_form_sum), 199u); }},
        {"a tag after 199 characters starts a buffer line of its own",
         kCell + std::string(199, '#') + "_cell_length_a 7.5\n" + kOneSite,
         [](const ZEMU_cif& c) { EXPECT_DOUBLE_EQ(c.a, 7.5); }},
        {"overlong words are truncated to their fields",
         kCell + "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z+1/2+1/2+1/2+1/2+1/2+1/2+1/2\n" + kTypedSiteLoop +
             "VeryLongLabel123 VeryLongType4+ 0.1 0.2 0.3\n",
         [](const ZEMU_cif& c) {
             EXPECT_STREQ(c.site[0].label, "VeryLongL");
             EXPECT_STREQ(c.site[0].type, "VeryLongT");
             ASSERT_EQ(c.symop_no, 1);
             EXPECT_STREQ(c.symop[0], "x,y,z+1/2+1/2+1/2+1/2+1/2+1/2");
         }},
        {"an atom-site row with fewer words ends the loop",
         kCell + kSiteLoop + "A 0.1 0.1 0.1\nB 0.2 0.2 0.2\nC 0.3 0.3\nD 0.4 0.4 0.4\n",
         [](const ZEMU_cif& c) { EXPECT_EQ(c.site_no, 2); }},
        {"a type loop not starting with the symbol is skipped",
         kCell + "loop_\n_atom_type_radius\n_atom_type_oxidation_number\nLi1+ 1\n" + kOneSite,
         [](const ZEMU_cif& c) { EXPECT_EQ(make_tuple(c.type_no, c.site_no), make_tuple(0, 1)); }},
        {"volume is computed when absent", kCell + kOneSite,
         [](const ZEMU_cif& c) { EXPECT_NEAR(c.volume, 1000.0, 1e-9); }},
        {"volume is kept when given", kCell + "_cell_volume 999.5\n" + kOneSite,
         [](const ZEMU_cif& c) { EXPECT_DOUBLE_EQ(c.volume, 999.5); }},
        {"named space group without symmetry loop keeps only the identity",
         kCell + "_symmetry_space_group_name_H-M 'P -1'\n" + kOneSite,
         [](const ZEMU_cif& c) {
             ASSERT_EQ(c.symop_no, 1);
             EXPECT_STREQ(c.symop[0], "x,y,z");
             EXPECT_EQ(c.site[0].mul, 1);
         }},
        {"symmetry loop without identifier column",
         kCell + "loop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n'-x, -y, -z'\n" + kOneSite,
         [](const ZEMU_cif& c) {
             ASSERT_EQ(c.symop_no, 2);
             EXPECT_STREQ(c.symop[1], "-x,-y,-z");
             EXPECT_EQ(c.site[0].mul, 2);
         }},
        {"the type symbol supplies the state when no type matches",
         typed_site + "O1 O2- 0.1 0.1 0.1\nO2 O2- 0.2 0.2 0.2\n",
         [](const ZEMU_cif& c) {
             EXPECT_DOUBLE_EQ(c.site[0].ox, -2.0);
             ASSERT_EQ(c.type_no, 1);
             EXPECT_STREQ(c.type[0].label, "O2-");
             EXPECT_STREQ(c.type[0].label_element, "O");
             // The first site of the symbol stays without flag; the next one finds the new type.
             EXPECT_EQ(c.site[0].type_flag, -1);
             EXPECT_EQ(c.site[1].type_flag, c.type[0].flag);
             EXPECT_EQ(c.site_charge_provided, 1);
         }},
        {"a symbol without digit leaves the charge unknown", typed_site + "Li1 Li 0.1 0.1 0.1\n",
         [](const ZEMU_cif& c) {
             EXPECT_DOUBLE_EQ(c.site[0].ox, 0.0);
             EXPECT_EQ(make_tuple(c.type_no, c.site_charge_provided), make_tuple(0, 0));
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        LoadedCif s(c.text);
        ASSERT_EQ(s.rc, 0) << s.err;
        c.check(s.cif);
    }
}

TEST(CifReader, RejectedInputsAndTheirMessages) {
    const std::pair<std::string, const char*> cases[] = {
        {formula_field(9), "Error: ZEMU_CIF_MAX_MULTIPLE_LINES exceeded\n"},
        {kCell + kSiteLoop + "A 0.1 0.1\n", "Error: No site is found!\n"},
        {kCell + "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\nA 0.1 0.1\n",
         "Error: Missing _atom_site_fract entries\n"},
        {kCell + "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\n_atom_type_radius_bond\n" + kOneSite,
         "Error: Atom type is expected but not found!\n"},
        {"_cell_length_a 10\n_cell_length_b 10\n_cell_angle_alpha 90\n_cell_angle_beta 90\n"
         "_cell_angle_gamma 90\n_cell_length_c 0.00000001\n" + kOneSite,
         "Error: Invalid lattice parameters\n"},
        {"", "Error: Invalid lattice parameters\n"},
        {kCell + "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z$\n" + kOneSite,
         "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        LoadedCif s(c.first);
        EXPECT_EQ(s.rc, 1);
        EXPECT_EQ(s.err, c.second);
    }
    LoadedCif missing("/nonexistent/dir/none.cif", true);
    EXPECT_EQ(missing.rc, 1);
    EXPECT_EQ(missing.err, "Error: Unable to open CIF file\n");
}

TEST(CifReader, EmptySymmetryLoopTakesTheOperationsFromTheDatabase) {
    fx::InDir dir("database_symcards.dat", "DATA_START\n# 2\ntriclinic\nhall\n'P -1' 'P-1'\n2\nx,y,z\n-x,-y,-z\n");
    LoadedCif s(kCell + "_symmetry_space_group_name_H-M 'P -1'\nloop_\n_symmetry_equiv_pos_as_xyz\n" + kOneSite);
    EXPECT_EQ(s.rc, 0) << s.err;
    ASSERT_EQ(s.cif.symop_no, 2);
    EXPECT_STREQ(s.cif.symop[1], "-x,-y,-z");
    EXPECT_EQ(s.cif.site[0].mul, 2);
}

TEST(CifOxidationStates, GuessReadsNumberAndSign) {
    fx::Cif s;
    for (const char* t : {"O2-", "Fe3+", "Li", "Cl-1", "Mn2.5+"}) s.site("X", t, 0, 0, 0);
    // Cl-1: no '-' after the digit.
    const std::tuple<int, int, double> cases[] = {{0, 1, -2.0}, {1, 1, 3.0}, {2, 0, 99.0}, {3, 1, 1.0}, {4, 1, 2.5}};
    for (const auto& c : cases) {
        double ox = 99;
        EXPECT_EQ(ZEMU_guess_site_ox_from_type_symbol(&s.cif, std::get<0>(c), &ox), std::get<1>(c)) << std::get<0>(c);
        EXPECT_DOUBLE_EQ(ox, std::get<2>(c)) << std::get<0>(c);
    }
    double ox = 0;
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_guess_site_ox_from_type_symbol(&s.cif, 5, &ox), 0); }),
              "Error: Invalid input to ZEMU_guess_site_ox_from_type_symbol()\n");
}

TEST(CifOxidationStates, ElementSymbolIsTheLeadingLetters) {
    const std::pair<const char*, const char*> cases[] = {{"Fe3+", "Fe"}, {"2+", ""}, {"Abcdefghijkl", "Abcdefghi"}};
    for (const auto& c : cases) {
        char out[ZEMU_CIF_LABEL_SIZE];
        ZEMU_get_element_symbol(fx::txt(c.first), out);
        EXPECT_STREQ(out, c.second) << c.first;
    }
}

TEST(CifCell, MetricTermsGiveDistancesInHexagonalCells) {
    fx::Cif s({"x,y,z"}, {3, 3, 5, 90, 90, 120});
    ASSERT_EQ(ZEMU_is_valid_lattice_parameters(&s.cif), 1);
    EXPECT_NEAR(s.cif.volume, 9.0 * 5.0 * sqrt(3.0) / 2.0, 1e-9);
    EXPECT_NEAR(s.cif.d4, -9.0, 1e-9);
    // a + b in a 120-degree cell is as long as a.
    EXPECT_NEAR(ZEMU_distance_frac_cif(&s.cif, 1, 1, 0, 0, 0, 0), 3.0, 1e-9);
    EXPECT_NEAR(ZEMU_distance_frac_cif(&s.cif, 0, 0, 0.5, 0, 0, 0), 2.5, 1e-9);
}

TEST(CifCell, EqualityToleranceIsStrict) {
    EXPECT_EQ(ZEMU_cif_equal_dbl(1.0, 1.0 + 0.5e-7), 1);
    EXPECT_EQ(ZEMU_cif_equal_dbl(1.0, 1.0 + 2e-7), 0);
}
