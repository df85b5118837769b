// CIF reader: line normalisation, tags, the three loops, oxidation states,
// cell completion and every message the reader prints.
#include <cstring>

#include "ZEMU-cif.h"
#include "fixtures.h"

namespace {

const std::string kCell =
    "_cell_length_a 10\n_cell_length_b 10\n_cell_length_c 10\n_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n";
const std::string kSiteLoop = "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
const std::string kTypedLoop = "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
const std::string kOneSite = kSiteLoop + "Li1 0.1 0.2 0.3\n";

// What the reader kept, in one line: "sg 'P n m a' #62 Z4 | a .. b .. c .. V .. R .. | struct '..' sum '..' ICSD '..'
// | ops x,y,z;.. | types O2-/O:-2@0 .. | sites Li1:Li1+ (0.1 0.2 0.3) m4 c occ1 ox1 f0 .. | charges 1"
std::string describe(const ZEMU_cif& c) {
    char buf[1024];
    snprintf(buf, sizeof buf, "sg '%s' #%d Z%d | a %.9g b %.9g c %.9g V %.9g R %g | struct '%s' sum '%s' ICSD '%s' | ops",
             c.spacegroup_HM, c.int_tab_cryst_no, c.z, c.a, c.b, c.c, c.volume, c.R_factor, c.chem_form_struct,
             c.chem_form_sum, c.ICSD);
    std::string s = buf;
    for (int k = 0; k < c.symop_no; k++) s += (k ? ";" : " ") + std::string(c.symop[k]);
    s += " | types";
    for (int t = 0; t < c.type_no; t++) {
        snprintf(buf, sizeof buf, " %s/%s:%g@%d", c.type[t].label, c.type[t].label_element, c.type[t].ox, c.type[t].flag);
        s += buf;
    }
    s += " | sites";
    for (int k = 0; k < c.site_no; k++) {
        const ZEMU_site& p = c.site[k];
        snprintf(buf, sizeof buf, " %s:%s (%g %g %g) m%d %c occ%g ox%g f%d", p.label, p.type, p.x, p.y, p.z, p.mul,
                 p.Wyckoff, p.occ, p.ox, p.type_flag);
        s += buf;
    }
    return s + " | charges " + std::to_string(c.site_charge_provided);
}

// Loads the file at `path`, or the bytes `text` when path is empty: status, messages and describe().
std::tuple<int, std::string, std::string> load(const std::string& text, std::string path = "") {
    zemu_test::WorkDir dir(false);
    if (path.empty()) dir.write("in.cif", text), path = dir.file("in.cif");
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    int rc = 1;
    std::string err = fx::stderr_of([&] { rc = ZEMU_load_cif(&path[0], &cif); });
    std::string kept = rc == 0 ? describe(cif) : "";
    ZEMU_free_cif(&cif);
    return std::make_tuple(rc, err, kept);
}

std::string formula_field(int content_lines) {
    std::string text = kCell + "_chemical_formula_structural\n;\n";
    for (int k = 0; k < content_lines; k++) text += "Li" + std::to_string(k) + "\n";
    return text + ";\n" + kOneSite;
}

}  // namespace

TEST(CifReader, ReadsTheExamplesAndMessyFilesByTheProgramsOwnRules) {
    const std::pair<std::string, std::string> files[] = {
        {"cif_LiFePO4.cif",
         "sg 'P n m a' #62 Z4 | a 10.450668 b 6.087351 c 4.751955 V 302.3046 R 0 | struct '' sum 'Fe1Li1O4P1' ICSD '' | ops "
         "x,y,z;-x,-y,-z;-x+1/2,-y,z+1/2;"},
        {"cif_LiFePO4.cif", " | types Li1+/Li:1@0 Fe2+/Fe:2@2 P5+/P:5@4 O2-/O:-2@6 | sites Li1:Li1+ (0 0 0) m4 a occ1 ox1 f0 "
                            "Fe1:Fe2+ (0.218415 0.75 0.47632) m4 c occ1 ox2 f2 "},
        {"cif_LiFePO4.cif", " O3:O2- (0.165614 0.047188 0.28616) m8 d occ1 ox-2 f6 | charges 1"},
        // tabs and uncertainty, blanks, column 31 for the shorter tag as well, the text field, ICSD cut to its field
        {"cif_messy.cif", "sg '/m m c' #194 Z2 | a 10.2345 b 6 c 4.75 V 291.68325 R 0.0321 | struct 'Li Fe (P O4)' "
                          "sum 'LiFePO4' ICSD '123456789' | ops x,y,z;-x,-y,-z"},
        // -0.25 + 1 and -1.25 + 1 (added once only); Fe3+ has no type: its state comes from the symbol, a type is
        // appended, the site itself stays without flag; the anisotropic loop adds nothing
        {"cif_messy.cif", " | types Li1+/Li:1@0 O2-/O:-2@2 Fe3+/Fe:3@4 | sites Li1:Li1+ (0.1 0.2 0.3) m2 . occ0.5 ox1 f0 "
                          "O1:O2- (0.75 -0.25 0) m2 . occ1 ox-2 f2 Fe1:Fe3+ (0.5 0.5 0.5) m1 . occ1 ox3 f-1 "
                          "Li2:Li1+ (0 0 0) m1 . occ1 ox1 f0 | charges 1"},
    };
    for (const auto& f : files) {
        auto r = load("", zemu_test::data_file(f.first));
        ASSERT_EQ(std::get<0>(r), 0) << std::get<1>(r);
        EXPECT_NE(std::get<2>(r).find(f.second), std::string::npos) << std::get<2>(r) << "\nlacks\n" << f.second;
    }
}

TEST(CifReader, AcceptedInputsAndWhatIsKept) {
    std::string long_text = kCell + "_chemical_formula_sum\n;\n";
    for (int k = 0; k < 3; k++) long_text += std::string(150, 'A' + k) + "\n";
    const std::pair<std::string, std::string> cases[] = {  // input, a part of describe()
        {kCell + "_symmetry_space_group_name_H-M 'A 1234567890 1234567890'\n" + kOneSite, "sg 'A 1234567890 123456' #0"},
        {formula_field(8), "struct 'Li0Li1Li2Li3Li4Li5Li6Li7'"},
        {long_text + ";\n" + kOneSite, std::string(150, 'A') + std::string(49, 'B') + "' ICSD"},  // stays terminated
        {kCell + std::string(199, '#') + "_cell_length_a 7.5\n" + kOneSite, "a 7.5 b 10"},  // a buffer line of its own
        {kCell + "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z+1/2+1/2+1/2+1/2+1/2+1/2+1/2\n" + kTypedLoop +
             "VeryLongLabel123 VeryLongType4+ 0.1 0.2 0.3\n", "ops x,y,z+1/2+1/2+1/2+1/2+1/2+1/2 | types | sites VeryLongL:VeryLongT"},
        {kCell + kSiteLoop + "A 0.1 0.1 0.1\nB 0.2 0.2 0.2\nC 0.3 0.3\nD 0.4 0.4 0.4\n", "ox0 f-1 | charges"},  // ends at C
        {kCell + "_cell_volume 999.5\n" + kOneSite, "V 999.5"}, {kCell + kOneSite, "V 1000 R 0"},
        {kCell + "_symmetry_space_group_name_H-M 'P -1'\n" + kOneSite, "ops x,y,z | types | sites Li1:. (0.1 0.2 0.3) m1"},
        {kCell + "loop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n'-x, -y, -z'\n" + kOneSite, "ops x,y,z;-x,-y,-z | types | sites Li1:. (0.1 0.2 0.3) m2"},
        // the type symbol supplies the state when no type matches; the next site of the symbol finds the new type
        {kCell + kTypedLoop + "O1 O2- 0.1 0.1 0.1\nO2 O2- 0.2 0.2 0.2\n", "types O2-/O:-2@0 | sites O1:O2- (0.1 0.1 0.1) m1 . occ1 ox-2 "
                                                                           "f-1 O2:O2- (0.2 0.2 0.2) m1 . occ1 ox-2 f0 | charges 1"},
        {kCell + kTypedLoop + "Li1 Li 0.1 0.1 0.1\n", "types | sites Li1:Li (0.1 0.1 0.1) m1 . occ1 ox0 f-1 | charges 0"},
    };
    for (const auto& c : cases) {
        auto r = load(c.first);
        ASSERT_EQ(std::get<0>(r), 0) << std::get<1>(r);
        EXPECT_NE(std::get<2>(r).find(c.second), std::string::npos) << std::get<2>(r) << "\nlacks\n" << c.second;
    }
}

TEST(CifReader, RejectedInputsAndTheirMessages) {
    const std::pair<std::string, const char*> cases[] = {
        {formula_field(9), "Error: ZEMU_CIF_MAX_MULTIPLE_LINES exceeded\n"},
        {kCell + "_cell_length_c 0.00000001\n" + kOneSite, "Error: Invalid lattice parameters\n"},
        {"", "Error: Invalid lattice parameters\n"},
        {kCell + "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z$\n" + kOneSite, "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n"},
    };
    for (const auto& c : cases) EXPECT_EQ(load(c.first), std::make_tuple(1, std::string(c.second), std::string())) << c.first;
    EXPECT_EQ(std::get<1>(load("", "/nonexistent/none.cif")), "Error: Unable to open CIF file\n");
    // an empty symmetry loop takes the operations from the database
    fx::InDir dir("database_symcards.dat", "DATA_START\n# 2\ntriclinic\nhall\n'P -1' 'P-1'\n2\nx,y,z\n-x,-y,-z\n");
    EXPECT_NE(std::get<2>(load(kCell + "_symmetry_space_group_name_H-M 'P -1'\nloop_\n_symmetry_equiv_pos_as_xyz\n" + kOneSite))
                  .find("ops x,y,z;-x,-y,-z | types | sites Li1:. (0.1 0.2 0.3) m2"),
              std::string::npos);
}

TEST(CifOxidationStates, GuessReadsNumberAndSignAndElementsAreLeadingLetters) {
    fx::Cif s({"x,y,z"}, {3, 3, 5, 90, 90, 120});
    for (const char* t : {"Cl-1", "Mn2.5+"}) s.site("X", t, 0, 0, 0);
    double ox[2] = {0, 0};
    EXPECT_EQ(ZEMU_guess_site_ox_from_type_symbol(&s.cif, 0, &ox[0]) + ZEMU_guess_site_ox_from_type_symbol(&s.cif, 1, &ox[1]), 2);
    EXPECT_EQ(std::make_tuple(ox[0], ox[1]), std::make_tuple(1.0, 2.5));  // Cl-1: no '-' after the digit
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_guess_site_ox_from_type_symbol(&s.cif, 5, &ox[0]), 0); }),
              "Error: Invalid input to ZEMU_guess_site_ox_from_type_symbol()\n");
    for (const auto& c : {std::make_pair("2+", ""), {"Abcdefghijkl", "Abcdefghi"}}) {
        char out[ZEMU_CIF_LABEL_SIZE];
        ZEMU_get_element_symbol(fx::txt(c.first), out);
        EXPECT_STREQ(out, c.second) << c.first;
    }
    // a hexagonal cell: a + b is as long as a
    EXPECT_NEAR(s.cif.volume, 9.0 * 5.0 * sqrt(3.0) / 2.0, 1e-9);
    EXPECT_NEAR(ZEMU_distance_frac_cif(&s.cif, 1, 1, 0.5, 0, 0, 0), sqrt(9.0 + 6.25), 1e-9);
}
