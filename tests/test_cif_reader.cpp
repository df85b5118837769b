// CIF reader: line normalisation, tags, the three loops, oxidation states,
// cell completion and every message the reader prints.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "ZEMU-cif.h"
#include "e2e_util.h"

using zemu_test::WorkDir;

namespace {

const char* kCell =
    "_cell_length_a 10\n_cell_length_b 10\n_cell_length_c 10\n"
    "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n";

const char* kOneSite =
    "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
    "Li1 0.1 0.2 0.3\n";

// A structure record that is loaded from text and released afterwards.
struct LoadedCif {
    ZEMU_cif cif;
    int rc = 1;
    std::string err;

    explicit LoadedCif(const std::string& text) {
        WorkDir dir(false);
        dir.write("in.cif", text);
        load(dir.file("in.cif"));
    }
    explicit LoadedCif(const char* path, bool /*from_file*/) { load(path); }
    ~LoadedCif() { ZEMU_free_cif(&cif); }

    void load(const std::string& path) {
        ZEMU_init_cif(&cif);
        std::vector<char> name(path.begin(), path.end());
        name.push_back('\0');
        testing::internal::CaptureStderr();
        rc = ZEMU_load_cif(name.data(), &cif);
        err = testing::internal::GetCapturedStderr();
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
    std::vector<std::string> out;
    for (char* s : lines) out.emplace_back(s);
    return out;
}

std::string formula_field(int content_lines) {
    std::string text = std::string(kCell) + "_chemical_formula_structural\n;\n";
    for (int k = 0; k < content_lines; k++) text += "Li" + std::to_string(k) + "\n";
    return text + ";\n" + kOneSite;
}

}  // namespace

TEST(CifNormalisation, TabsBecomeBlanksAndRunsCollapse) {
    auto out = trim_lines({"\t  _cell_length_a\t\t 5.0  \r\n", "a  b   c \n"});
    EXPECT_EQ(out[0], "_cell_length_a 5.0");
    EXPECT_EQ(out[1], "a b c");
}

TEST(CifNormalisation, EveryBlankAfterTheFirstQuoteIsRemovedWithTheQuotes) {
    auto out = trim_lines({"1 'x, y, z'", "_chemical_formula_sum 'Li Fe P O4'", "a 'b c' d e"});
    EXPECT_EQ(out[0], "1 x,y,z");
    EXPECT_EQ(out[1], "_chemical_formula_sum LiFePO4");
    EXPECT_EQ(out[2], "a bcde");
}

TEST(CifNormalisation, SpaceGroupLinesKeepQuotesAndInnerBlanks) {
    auto out = trim_lines({"_symmetry_space_group_name_H-M   'P  n m a' ", "_space_group_name_H-M_alt 'P 63/m m c'"});
    EXPECT_EQ(out[0], "_symmetry_space_group_name_H-M 'P n m a'");
    EXPECT_EQ(out[1], "_space_group_name_H-M_alt 'P 63/m m c'");
}

TEST(CifNormalisation, ConcatenationStopsAtTheOutputSize) {
    char l0[] = "abc", l1[] = "defg";
    char* lines[] = {l0, l1};
    char out[8];
    memset(out, 'Z', sizeof out);
    ZEMU_cif_concatenate_lines(lines, 0, 1, out, 8);
    EXPECT_EQ(std::string(out, 7), "abcdefg");
    EXPECT_EQ(out[7], '\0');
    memset(out, 'Z', sizeof out);
    ZEMU_cif_concatenate_lines(lines, 0, 1, out, 5);
    EXPECT_EQ(std::string(out, 5), "abcde");
    EXPECT_EQ(out[5], 'Z');  // no room, no terminator
}

TEST(CifReader, ReadsTheLiFePO4Example) {
    LoadedCif s(ZEMU_TEST_DATA "/cif_LiFePO4.cif", true);
    ASSERT_EQ(s.rc, 0) << s.err;
    const ZEMU_cif& c = s.cif;
    EXPECT_DOUBLE_EQ(c.a, 10.450668);
    EXPECT_DOUBLE_EQ(c.b, 6.087351);
    EXPECT_DOUBLE_EQ(c.c, 4.751955);
    EXPECT_DOUBLE_EQ(c.volume, 302.3046);
    EXPECT_STREQ(c.spacegroup_HM, "P n m a");
    EXPECT_EQ(c.int_tab_cryst_no, 62);
    EXPECT_EQ(c.z, 4);
    EXPECT_STREQ(c.chem_form_sum, "Fe1Li1O4P1");
    ASSERT_EQ(c.symop_no, 8);
    EXPECT_STREQ(c.symop[0], "x,y,z");
    EXPECT_STREQ(c.symop[2], "-x+1/2,-y,z+1/2");
    ASSERT_EQ(c.type_no, 4);
    EXPECT_STREQ(c.type[3].label, "O2-");
    EXPECT_STREQ(c.type[1].label_element, "Fe");
    // Types read from the file take every second flag.
    EXPECT_EQ(c.type[0].flag, 0);
    EXPECT_EQ(c.type[3].flag, 6);
    EXPECT_EQ(c.type_flag_counter, 8);
    ASSERT_EQ(c.site_no, 6);
    const int mul[6] = {4, 4, 4, 4, 4, 8};
    for (int k = 0; k < 6; k++) EXPECT_EQ(c.site[k].mul, mul[k]) << c.site[k].label;
    EXPECT_DOUBLE_EQ(c.site[5].ox, -2.0);
    EXPECT_EQ(c.site[1].type_flag, 2);
    EXPECT_EQ(c.site[1].Wyckoff, 'c');
    EXPECT_EQ(c.site_charge_provided, 1);
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
    EXPECT_DOUBLE_EQ(c.site[0].occ, 0.5);
    EXPECT_EQ(c.site[0].Wyckoff, '.');
    EXPECT_EQ(c.site[0].mul, 2);
    EXPECT_DOUBLE_EQ(c.site[1].x, 0.75);   // -0.25 + 1
    EXPECT_DOUBLE_EQ(c.site[1].y, -0.25);  // -1.25 + 1, added once only
    EXPECT_DOUBLE_EQ(c.site[1].z, 0.0);
    EXPECT_EQ(c.site[3].mul, 1);
    // Fe3+ has no type: its value comes from the symbol and a type is appended.
    EXPECT_DOUBLE_EQ(c.site[2].ox, 3.0);
    ASSERT_EQ(c.type_no, 3);
    EXPECT_STREQ(c.type[2].label, "Fe3+");
    EXPECT_EQ(c.type[2].flag, 4);
    EXPECT_EQ(c.site[2].type_flag, -1);
    EXPECT_EQ(c.site_charge_provided, 1);
}

TEST(CifReader, SpaceGroupSymbolFromTheLongTagKeepsItsBlanks) {
    LoadedCif s(std::string(kCell) + "_symmetry_space_group_name_H-M 'P 63/m m c'\n" + kOneSite);
    ASSERT_EQ(s.rc, 0) << s.err;
    EXPECT_STREQ(s.cif.spacegroup_HM, "P 63/m m c");
}

TEST(CifReader, SpaceGroupSymbolIsCutAtNineteenCharacters) {
    LoadedCif s(std::string(kCell) + "_symmetry_space_group_name_H-M 'A 1234567890 1234567890'\n" + kOneSite);
    ASSERT_EQ(s.rc, 0) << s.err;
    EXPECT_STREQ(s.cif.spacegroup_HM, "A 1234567890 123456");
}

TEST(CifReader, TextFieldsUpToEightContentLinesAreJoined) {
    LoadedCif one(formula_field(1));
    ASSERT_EQ(one.rc, 0) << one.err;
    EXPECT_STREQ(one.cif.chem_form_struct, "Li0");
    LoadedCif eight(formula_field(8));
    ASSERT_EQ(eight.rc, 0) << eight.err;
    EXPECT_STREQ(eight.cif.chem_form_struct, "Li0Li1Li2Li3Li4Li5Li6Li7");
}

TEST(CifReader, TextFieldOfNineContentLinesFails) {
    LoadedCif s(formula_field(9));
    EXPECT_EQ(s.rc, 1);
    EXPECT_EQ(s.err, "Error: ZEMU_CIF_MAX_MULTIPLE_LINES exceeded\n");
}

TEST(CifReader, LongTextFieldStaysTerminatedInItsField) {
    std::string text = std::string(kCell) + "_chemical_formula_sum\n;\n";
    for (int k = 0; k < 3; k++) text += std::string(150, 'A' + k) + "\n";
    LoadedCif s(text + ";\n" + kOneSite);
    ASSERT_EQ(s.rc, 0) << s.err;
    EXPECT_EQ(strlen(s.cif.chem_form_sum), 199u);
}

TEST(CifReader, LinesLongerThanTheBufferAreSplit) {
    // The tag after 199 characters starts a buffer line of its own.
    std::string text = std::string(kCell) + std::string(199, '#') + "_cell_length_a 7.5\n" + kOneSite;
    LoadedCif s(text);
    ASSERT_EQ(s.rc, 0) << s.err;
    EXPECT_DOUBLE_EQ(s.cif.a, 7.5);
}

TEST(CifReader, OverlongWordsAreTruncatedToTheirFields) {
    std::string text = std::string(kCell) +
                       "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z+1/2+1/2+1/2+1/2+1/2+1/2+1/2\n"
                       "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
                       "_atom_site_fract_z\nVeryLongLabel123 VeryLongType4+ 0.1 0.2 0.3\n";
    LoadedCif s(text);
    ASSERT_EQ(s.rc, 0) << s.err;
    EXPECT_STREQ(s.cif.site[0].label, "VeryLongL");
    EXPECT_STREQ(s.cif.site[0].type, "VeryLongT");
    ASSERT_EQ(s.cif.symop_no, 1);
    EXPECT_STREQ(s.cif.symop[0], "x,y,z+1/2+1/2+1/2+1/2+1/2+1/2");
}

TEST(CifReader, AtomSiteRowWithFewerWordsEndsTheLoop) {
    std::string header =
        std::string(kCell) + "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
    LoadedCif two(header + "A 0.1 0.1 0.1\nB 0.2 0.2 0.2\nC 0.3 0.3\nD 0.4 0.4 0.4\n");
    ASSERT_EQ(two.rc, 0) << two.err;
    EXPECT_EQ(two.cif.site_no, 2);
    LoadedCif none(header + "A 0.1 0.1\n");
    EXPECT_EQ(none.rc, 1);
    EXPECT_EQ(none.err, "Error: No site is found!\n");
}

TEST(CifReader, MissingCoordinateColumnFails) {
    LoadedCif s(std::string(kCell) + "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\nA 0.1 0.1\n");
    EXPECT_EQ(s.rc, 1);
    EXPECT_EQ(s.err, "Error: Missing _atom_site_fract entries\n");
}

TEST(CifReader, TypeLoopWithoutRowsFails) {
    LoadedCif s(std::string(kCell) + "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\n_atom_type_radius_bond\n" +
                kOneSite);
    EXPECT_EQ(s.rc, 1);
    EXPECT_EQ(s.err, "Error: Atom type is expected but not found!\n");
}

TEST(CifReader, TypeLoopNotStartingWithTheSymbolIsSkipped) {
    LoadedCif s(std::string(kCell) + "loop_\n_atom_type_radius\n_atom_type_oxidation_number\nLi1+ 1\n" + kOneSite);
    ASSERT_EQ(s.rc, 0) << s.err;
    EXPECT_EQ(s.cif.type_no, 0);
    EXPECT_EQ(s.cif.site_no, 1);
}

TEST(CifReader, UnreadableFileFails) {
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    char name[] = "/nonexistent/dir/none.cif";
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_load_cif(name, &cif), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Unable to open CIF file\n");
    ZEMU_free_cif(&cif);
}

TEST(CifReader, MissingOrZeroCellParameterFails) {
    LoadedCif s("_cell_length_a 10\n_cell_length_b 10\n_cell_angle_alpha 90\n_cell_angle_beta 90\n"
                "_cell_angle_gamma 90\n_cell_length_c 0.00000001\n" +
                std::string(kOneSite));
    EXPECT_EQ(s.rc, 1);
    EXPECT_EQ(s.err, "Error: Invalid lattice parameters\n");
    LoadedCif empty("");
    EXPECT_EQ(empty.rc, 1);
    EXPECT_EQ(empty.err, "Error: Invalid lattice parameters\n");
}

TEST(CifReader, VolumeIsComputedWhenAbsentAndKeptWhenGiven) {
    LoadedCif computed(std::string(kCell) + kOneSite);
    EXPECT_NEAR(computed.cif.volume, 1000.0, 1e-9);
    LoadedCif given(std::string(kCell) + "_cell_volume 999.5\n" + kOneSite);
    EXPECT_DOUBLE_EQ(given.cif.volume, 999.5);
}

TEST(CifReader, NamedSpaceGroupWithoutSymmetryLoopKeepsOnlyTheIdentity) {
    LoadedCif s(std::string(kCell) + "_symmetry_space_group_name_H-M 'P -1'\n" + kOneSite);
    ASSERT_EQ(s.rc, 0) << s.err;
    ASSERT_EQ(s.cif.symop_no, 1);
    EXPECT_STREQ(s.cif.symop[0], "x,y,z");
    EXPECT_EQ(s.cif.site[0].mul, 1);
}

TEST(CifReader, SymmetryLoopWithoutIdentifierColumn) {
    LoadedCif s(std::string(kCell) + "loop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n'-x, -y, -z'\n" + kOneSite);
    ASSERT_EQ(s.rc, 0) << s.err;
    ASSERT_EQ(s.cif.symop_no, 2);
    EXPECT_STREQ(s.cif.symop[1], "-x,-y,-z");
    EXPECT_EQ(s.cif.site[0].mul, 2);
}

TEST(CifReader, UnparsableOperationFailsWithTheEvaluatorMessage) {
    LoadedCif s(std::string(kCell) + "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z$\n" + kOneSite);
    EXPECT_EQ(s.rc, 1);
    EXPECT_EQ(s.err, "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n");
}

TEST(CifReader, EmptySymmetryLoopFallsBackToTheIdentityWithoutDatabase) {
    WorkDir dir(false);  // no bin/ here: the lookup is silent
    char old[4096];
    ASSERT_NE(getcwd(old, sizeof old), nullptr);
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    {
        LoadedCif s(std::string(kCell) + "_symmetry_space_group_name_H-M 'P -1'\nloop_\n_symmetry_equiv_pos_as_xyz\n" +
                    kOneSite);
        EXPECT_EQ(s.rc, 0);
        EXPECT_EQ(s.err, "");
        ASSERT_EQ(s.cif.symop_no, 1);
        EXPECT_STREQ(s.cif.symop[0], "x,y,z");
    }
    ASSERT_EQ(chdir(old), 0);
}

TEST(CifReader, EmptySymmetryLoopTakesTheOperationsFromTheDatabase) {
    WorkDir dir(false);
    mkdir(dir.file("bin").c_str(), 0755);
    dir.write("bin/database_symcards.dat", "DATA_START\n# 2\ntriclinic\nhall\n'P -1' 'P-1'\n2\nx,y,z\n-x,-y,-z\n");
    char old[4096];
    ASSERT_NE(getcwd(old, sizeof old), nullptr);
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    {
        LoadedCif s(std::string(kCell) + "_symmetry_space_group_name_H-M 'P -1'\nloop_\n_symmetry_equiv_pos_as_xyz\n" +
                    kOneSite);
        EXPECT_EQ(s.rc, 0) << s.err;
        ASSERT_EQ(s.cif.symop_no, 2);
        EXPECT_STREQ(s.cif.symop[1], "-x,-y,-z");
        EXPECT_EQ(s.cif.site[0].mul, 2);
    }
    ASSERT_EQ(chdir(old), 0);
}

TEST(CifOxidationStates, TypeSymbolSuppliesTheStateWhenNoTypeMatches) {
    std::string text = std::string(kCell) +
                       "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
                       "_atom_site_fract_z\nO1 O2- 0.1 0.1 0.1\nO2 O2- 0.2 0.2 0.2\n";
    LoadedCif s(text);
    ASSERT_EQ(s.rc, 0) << s.err;
    EXPECT_DOUBLE_EQ(s.cif.site[0].ox, -2.0);
    ASSERT_EQ(s.cif.type_no, 1);
    EXPECT_STREQ(s.cif.type[0].label, "O2-");
    EXPECT_STREQ(s.cif.type[0].label_element, "O");
    // The first site of the symbol stays without flag; the next one finds the new type.
    EXPECT_EQ(s.cif.site[0].type_flag, -1);
    EXPECT_EQ(s.cif.site[1].type_flag, s.cif.type[0].flag);
    EXPECT_EQ(s.cif.site_charge_provided, 1);
}

TEST(CifOxidationStates, SymbolWithoutDigitLeavesTheChargeUnknown) {
    std::string text = std::string(kCell) +
                       "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
                       "_atom_site_fract_z\nLi1 Li 0.1 0.1 0.1\n";
    LoadedCif s(text);
    ASSERT_EQ(s.rc, 0) << s.err;
    EXPECT_DOUBLE_EQ(s.cif.site[0].ox, 0.0);
    EXPECT_EQ(s.cif.type_no, 0);
    EXPECT_EQ(s.cif.site_charge_provided, 0);
}

TEST(CifOxidationStates, GuessReadsNumberAndSign) {
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    char label[] = "X";
    const char* types[] = {"O2-", "Fe3+", "Li", "Cl-1", "Mn2.5+"};
    for (const char* t : types) ZEMU_add_cif_site(&cif, label, const_cast<char*>(t), 0, 0, 0, 1, 'a', 1, 0);
    double ox = 99;
    EXPECT_EQ(ZEMU_guess_site_ox_from_type_symbol(&cif, 0, &ox), 1);
    EXPECT_DOUBLE_EQ(ox, -2.0);
    EXPECT_EQ(ZEMU_guess_site_ox_from_type_symbol(&cif, 1, &ox), 1);
    EXPECT_DOUBLE_EQ(ox, 3.0);
    ox = 99;
    EXPECT_EQ(ZEMU_guess_site_ox_from_type_symbol(&cif, 2, &ox), 0);
    EXPECT_DOUBLE_EQ(ox, 99.0);
    EXPECT_EQ(ZEMU_guess_site_ox_from_type_symbol(&cif, 3, &ox), 1);
    EXPECT_DOUBLE_EQ(ox, 1.0);  // no '-' after the digit
    EXPECT_EQ(ZEMU_guess_site_ox_from_type_symbol(&cif, 4, &ox), 1);
    EXPECT_DOUBLE_EQ(ox, 2.5);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_guess_site_ox_from_type_symbol(&cif, 5, &ox), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Invalid input to ZEMU_guess_site_ox_from_type_symbol()\n");
    ZEMU_free_cif(&cif);
}

TEST(CifOxidationStates, ElementSymbolIsTheLeadingLetters) {
    char out[ZEMU_CIF_LABEL_SIZE];
    char fe[] = "Fe3+", none[] = "2+", longname[] = "Abcdefghijkl";
    ZEMU_get_element_symbol(fe, out);
    EXPECT_STREQ(out, "Fe");
    ZEMU_get_element_symbol(none, out);
    EXPECT_STREQ(out, "");
    ZEMU_get_element_symbol(longname, out);
    EXPECT_STREQ(out, "Abcdefghi");
}

TEST(CifCell, MetricTermsGiveDistancesInHexagonalCells) {
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    cif.a = cif.b = 3.0;
    cif.c = 5.0;
    cif.alpha = cif.beta = 90.0;
    cif.gamma = 120.0;
    ASSERT_EQ(ZEMU_is_valid_lattice_parameters(&cif), 1);
    EXPECT_NEAR(cif.volume, 9.0 * 5.0 * sqrt(3.0) / 2.0, 1e-9);
    ZEMU_calc_cif_d_parameters(&cif);
    EXPECT_NEAR(cif.d4, -9.0, 1e-9);
    // a + b in a 120-degree cell is as long as a.
    EXPECT_NEAR(ZEMU_distance_frac_cif(&cif, 1, 1, 0, 0, 0, 0), 3.0, 1e-9);
    EXPECT_NEAR(ZEMU_distance_frac_cif(&cif, 0, 0, 0.5, 0, 0, 0), 2.5, 1e-9);
    ZEMU_free_cif(&cif);
}

TEST(CifCell, EqualityToleranceIsStrict) {
    EXPECT_EQ(ZEMU_cif_equal_dbl(1.0, 1.0 + 0.5e-7), 1);
    EXPECT_EQ(ZEMU_cif_equal_dbl(1.0, 1.0 + 2e-7), 0);
}
