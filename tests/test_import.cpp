// Structure import: a corpus of real files checked against their own facts, the
// record against what the structure reader gives back, the oxidation-state search,
// the quirks of files in the wild and the refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

#include "ZEMU-bv.h"
#include "ZEMU-data.h"
#include "ZEMU-import.h"
#include "e2e_util.h"

namespace {

using zemu_test::data_file;
using zemu_test::slurp;
using zemu_test::source_file;

// An import of a file or of text, released afterwards.
struct Imported {
    ZEMU_cif cif;
    ZEMU_import_report report;
    int rc;

    explicit Imported(const std::string& path, const std::string& oxi = "") {
        ZEMU_import_options options;
        options.oxi = oxi;
        rc = ZEMU_import_structure(path.c_str(), &options, &cif, &report);
    }
    struct Text {};
    Imported(Text, const std::string& text, const char* name, const std::string& oxi = "") {
        ZEMU_import_options options;
        options.oxi = oxi;
        rc = ZEMU_import_structure_text(text.data(), text.size(), name, &options, &cif, &report);
    }
    ~Imported() { ZEMU_free_cif(&cif); }

    // Atoms per cell by element (occupancy included).
    std::map<std::string, double> cell_counts() const {
        std::map<std::string, double> counts;
        for (int s = 0; s < cif.site_no; s++) {
            char el[ZEMU_CIF_LABEL_SIZE];
            ZEMU_get_element_symbol(cif.site[s].type, el);
            counts[el] += cif.site[s].occ * cif.site[s].mul;
        }
        return counts;
    }
    // Atoms per cell carrying each state of an element.
    std::map<int, double> state_counts(const std::string& element) const {
        std::map<int, double> counts;
        for (int s = 0; s < cif.site_no; s++) {
            char el[ZEMU_CIF_LABEL_SIZE];
            ZEMU_get_element_symbol(cif.site[s].type, el);
            if (element == el) counts[(int)std::lround(cif.site[s].ox)] += cif.site[s].occ * cif.site[s].mul;
        }
        return counts;
    }
    const ZEMU_import_oxidation* states(const std::string& element) const {
        for (const ZEMU_import_oxidation& o : report.states)
            if (o.element == element) return &o;
        return nullptr;
    }
};

std::string corpus(const std::string& name) { return data_file("import/" + name); }

// The example with its oxidation states removed: no type loop, bare element symbols.
std::string without_states(const std::string& text) {
    std::string out = std::regex_replace(text, std::regex("loop_\n_atom_type_symbol\n_atom_type_oxidation_number\n([^l][^\n]*\n)*"), "");
    return std::regex_replace(out, std::regex(" ([A-Z][a-z]?)[0-9]+[+-] "), " $1 ");
}

// ---------------------------------------------------------------------------
// Corpus: what each file must give, from the file's own facts
// ---------------------------------------------------------------------------

struct CorpusCase {
    const char* file;
    std::map<std::string, double> per_cell;  // atoms per cell from formula sum and Z (or the site list)
    int sites;                               // sites of the asymmetric unit
    const char* symmetry_source;
    std::map<std::string, std::vector<int>> states;
    const char* oxi = "";  // states given by hand
};

TEST(ImportCorpus, FilesGiveTheirFormulaSitesAndStates) {
    const std::vector<CorpusCase> cases = {
        // Ia-3d, 96 operations with the body centring; states declared.
        {"garnet.cif", {{"Ca", 24}, {"Al", 16}, {"Si", 24}, {"O", 96}}, 4, "symmetry loop",
         {{"Ca", {2}}, {"Al", {3}}, {"Si", {4}}, {"O", {-2}}}},
        // Operations with a leading plus (+x,+y,+z); NH4Cl, Z = 4, hydrogens not listed.
        {"cif_implicit_hydrogens_cod_1011130.cif", {{"N", 4}, {"Cl", 4}}, 2, "symmetry loop", {}},
        // Leading plus, two species sharing 4b with occupancy 0.4: Ge2Sb2Te5 is Ge2+ Sb3+ Te2-.
        {"site_type_symbol_test.cif", {{"Ge", 1.6}, {"Sb", 1.6}, {"Te", 4}}, 3, "symmetry loop",
         {{"Ge", {2}}, {"Sb", {3}}, {"Te", {-2}}}},
        // No symmetry loop, H-M 'P 1'; PbZr0.5Ti0.5O3 without states.
        {"bestsqs_pzt.cif", {{"Pb", 4}, {"Zr", 2}, {"Ti", 2}, {"O", 12}}, 20, "H-M symbol",
         {{"Pb", {2}}, {"Zr", {4}}, {"Ti", {4}}, {"O", {-2}}}},
        // Two data blocks: the first one (LiFePO4, Z = 4) is read.
        {"MultiStructure.cif", {{"Li", 4}, {"Fe", 4}, {"P", 4}, {"O", 16}}, 6, "symmetry loop",
         {{"Li", {1}}, {"Fe", {2}}, {"P", {5}}, {"O", {-2}}}},
        // Magnetite in P 1 without states: mixed valence Fe2+ Fe3+2 O4.
        {"Fe3O4.cif", {{"Fe", 6}, {"O", 8}}, 14, "symmetry loop", {{"Fe", {2, 3}}, {"O", {-2}}}},
        // Partial occupancies in P 42/n m c (origin choice 1) that leave 0.07 e per formula unit:
        // Li10GeP2S12 (Li+ Ge4+ P5+ S2-) only with its states given.
        {"Li10GeP2S12.cif", {{"S", 24}}, 9, "symmetry loop", {{"Li", {1}}, {"Ge", {4}}, {"P", {5}}, {"S", {-2}}},
         "Li=1,Ge=4,P=5,S=-2"},
        // Hexagonal P 63/m m c; one element.
        {"Graphite.cif", {{"C", 4}}, 2, "symmetry loop", {{"C", {0}}}},
        // Rhombohedral axes ('R -3 c R'), Z = 2.
        {"V2O3.cif", {{"V", 4}, {"O", 6}}, 2, "symmetry loop", {{"V", {3}}, {"O", {-2}}}},
        // Coordinates written "." for 0; Z = 1.
        {"ICSD59959.cif", {{"K", 1}, {"Mn", 1}, {"F", 3}}, 3, "symmetry loop", {{"K", {1}}, {"Mn", {2}}, {"F", {-1}}}},
        // Site-symmetry orders under _atom_site_symmetry_multiplicity; Z = 4.
        {"CsI3Pb.cif", {{"Cs", 4}, {"Pb", 4}, {"I", 12}}, 5, "symmetry loop", {}},
        // LiCoO2 without states: Co3+.
        {"LiCoO2.cif", {{"Li", 3}, {"Co", 3}, {"O", 6}}, 12, "symmetry loop",
         {{"Li", {1}}, {"Co", {3}}, {"O", {-2}}}},
    };
    for (const CorpusCase& c : cases) {
        SCOPED_TRACE(c.file);
        Imported im(corpus(c.file), c.oxi);
        ASSERT_EQ(im.rc, 0) << im.report.error;
        EXPECT_EQ(im.cif.site_no, c.sites);
        EXPECT_EQ(im.report.symmetry_source, c.symmetry_source);
        const std::map<std::string, double> counts = im.cell_counts();
        for (const auto& want : c.per_cell) {
            ASSERT_TRUE(counts.count(want.first)) << want.first;
            EXPECT_NEAR(counts.at(want.first), want.second, 1e-3) << want.first;
        }
        for (const auto& want : c.states) {
            const ZEMU_import_oxidation* o = im.states(want.first);
            ASSERT_NE(o, nullptr) << want.first;
            EXPECT_EQ(o->states, want.second) << want.first;
        }
        // The cell is neutral, unless the file's own states say otherwise (NH4Cl without H).
        if (std::string(c.file) != "cif_implicit_hydrogens_cod_1011130.cif" && std::string(c.file) != "Li10GeP2S12.cif") {
            EXPECT_NEAR(ZEMU_calc_unit_cell_charge(&im.cif) / im.report.z, 0.0, 0.01);
        }
    }
}

TEST(ImportCorpus, MagneticFileIsReadWithoutItsMoments) {
    // LaMnO3 (La3+ Mn3+), Pnma, Z = 4: the spatial parts of the magnetic operations.
    Imported im(corpus("LaMnO3_magnetic.mcif"));
    ASSERT_EQ(im.rc, 0) << im.report.error;
    EXPECT_EQ(im.report.symmetry_source, "magnetic symmetry loop");
    EXPECT_EQ(im.report.sg_number, 62);
    const std::map<std::string, double> counts = im.cell_counts();
    EXPECT_NEAR(counts.at("La"), 4.0, 1e-9);
    EXPECT_NEAR(counts.at("Mn"), 4.0, 1e-9);
    EXPECT_NEAR(counts.at("O"), 12.0, 1e-9);
    EXPECT_EQ(im.states("Mn")->states, std::vector<int>{3});
}

// ---------------------------------------------------------------------------
// The record is what the structure reader gives on the written file
// ---------------------------------------------------------------------------

void expect_same_record(const ZEMU_cif& a, const ZEMU_cif& b) {
    EXPECT_EQ(a.a, b.a);
    EXPECT_EQ(a.b, b.b);
    EXPECT_EQ(a.c, b.c);
    EXPECT_EQ(a.alpha, b.alpha);
    EXPECT_EQ(a.beta, b.beta);
    EXPECT_EQ(a.gamma, b.gamma);
    EXPECT_EQ(a.volume, b.volume);
    EXPECT_STREQ(a.spacegroup_HM, b.spacegroup_HM);
    EXPECT_EQ(a.int_tab_cryst_no, b.int_tab_cryst_no);
    EXPECT_EQ(a.z, b.z);
    EXPECT_EQ(std::string(a.ICSD, strnlen(a.ICSD, sizeof a.ICSD)), std::string(b.ICSD, strnlen(b.ICSD, sizeof b.ICSD)));
    EXPECT_EQ(a.site_charge_provided, b.site_charge_provided);
    ASSERT_EQ(a.symop_no, b.symop_no);
    for (int k = 0; k < a.symop_no; k++) EXPECT_STREQ(a.symop[k], b.symop[k]);
    ASSERT_EQ(a.type_no, b.type_no);
    for (int t = 0; t < a.type_no; t++) {
        EXPECT_STREQ(a.type[t].label, b.type[t].label);
        EXPECT_STREQ(a.type[t].label_element, b.type[t].label_element);
        EXPECT_EQ(a.type[t].ox, b.type[t].ox);
        EXPECT_EQ(a.type[t].flag, b.type[t].flag);
    }
    ASSERT_EQ(a.site_no, b.site_no);
    for (int s = 0; s < a.site_no; s++) {
        const ZEMU_site &p = a.site[s], &q = b.site[s];
        EXPECT_STREQ(p.label, q.label);
        EXPECT_STREQ(p.type, q.type);
        EXPECT_EQ(p.x, q.x);
        EXPECT_EQ(p.y, q.y);
        EXPECT_EQ(p.z, q.z);
        EXPECT_EQ(p.occ, q.occ);
        EXPECT_EQ(p.mul, q.mul);
        EXPECT_EQ(p.ox, q.ox);
        EXPECT_EQ(p.type_flag, q.type_flag);
        EXPECT_EQ(p.Wyckoff, q.Wyckoff);
    }
    EXPECT_EQ(a.d4, b.d4);
    EXPECT_EQ(a.d5, b.d5);
    EXPECT_EQ(a.d6, b.d6);
}

TEST(ImportRecord, EqualsTheReadBackOfTheWrittenFile) {
    std::vector<std::string> files = {source_file("examples/LiFePO4/structure.cif"),
                                      source_file("examples/Na2UO4/structure.cif"), data_file("cif_messy.cif"),
                                      data_file("sub_mixed_site.cif")};
    for (const char* f : {"garnet.cif", "cif_implicit_hydrogens_cod_1011130.cif", "site_type_symbol_test.cif",
                          "bestsqs_pzt.cif", "MultiStructure.cif", "Fe3O4.cif", "Graphite.cif",
                          "V2O3.cif", "ICSD59959.cif", "CsI3Pb.cif", "LiCoO2.cif", "LaMnO3_magnetic.mcif"})
        files.push_back(corpus(f));
    zemu_test::WorkDir dir(false);
    for (const std::string& f : files) {
        SCOPED_TRACE(f);
        Imported im(f);
        ASSERT_EQ(im.rc, 0) << im.report.error;
        const std::string out = dir.file("out.cif");
        FILE* fp = fopen(out.c_str(), "w");
        ASSERT_NE(fp, nullptr);
        ASSERT_EQ(ZEMU_write_cif_exact(&im.cif, fp), 0);
        fclose(fp);
        ZEMU_cif back;
        ZEMU_init_cif(&back);
        ASSERT_EQ(ZEMU_load_cif(&std::string(out)[0], &back), 0);
        expect_same_record(im.cif, back);
        ZEMU_free_cif(&back);
    }
}

TEST(ImportRecord, ExactNumbersReadBackAndKeepSixDecimals) {
    for (double v : {0.0, 0.25, 1.0 / 3.0, -1.25, 0.1234567890123, 1e-9, 123.456}) {
        char text[ZEMU_CIF_NUMBER_SIZE];
        ASSERT_EQ(ZEMU_cif_exact_number(v, text, sizeof text), 0);
        EXPECT_EQ(atof(text), v) << text;
        const char* dot = std::strchr(text, '.');
        ASSERT_NE(dot, nullptr);
        EXPECT_GE(std::strlen(dot + 1), 6u) << text;
    }
}

TEST(ImportRecord, BuiltInParametersGiveTheMatrixOfTheParameterFile) {
    Imported im(data_file("sub_mixed_site.cif"));
    ASSERT_EQ(im.rc, 0) << im.report.error;
    Imported lfp(source_file("examples/LiFePO4/structure.cif"));
    ASSERT_EQ(lfp.rc, 0) << lfp.report.error;
    for (ZEMU_cif* cif : {&im.cif, &lfp.cif}) {
        ZEMU_bv_bin from_file, from_text;
        ZEMU_init_bv_bin(&from_file, cif->type_no);
        ZEMU_init_bv_bin(&from_text, cif->type_no);
        {
            zemu_test::WorkDir dir;  // the parameter file is read from bin/ of the working directory
            char* old = getcwd(nullptr, 0);
            ASSERT_EQ(chdir(dir.path().c_str()), 0);
            EXPECT_EQ(ZEMU_build_bv_bin(cif, &from_file), 0);
            ASSERT_EQ(chdir(old), 0);
            free(old);
        }
        unsigned long size = 0;
        const char* text = ZEMU_data_bv_database_text(&size);
        EXPECT_EQ(ZEMU_build_bv_bin_text(cif, &from_text, text, size), 0);
        int bonding = 0;
        for (int i = 0; i < cif->type_no; i++)
            for (int j = 0; j < cif->type_no; j++) {
                const ZEMU_bv_bin_item &p = from_file.item[i][j], &q = from_text.item[i][j];
                EXPECT_EQ(p.status, q.status);
                EXPECT_EQ(p.b, q.b);
                EXPECT_EQ(p.r0, q.r0);
                EXPECT_EQ(p.cutoff, q.cutoff);
                bonding += p.status;
            }
        EXPECT_GT(bonding, 0);
        ZEMU_free_bv_bin(&from_file);
        ZEMU_free_bv_bin(&from_text);
    }
}

// ---------------------------------------------------------------------------
// Oxidation-state search
// ---------------------------------------------------------------------------

TEST(ImportOxidation, BalancedAssignmentsOfKnownCompounds) {
    // LiFePO4 and Na2UO4 with their states removed get them back.
    {
        Imported im(Imported::Text(), without_states(slurp(source_file("examples/LiFePO4/structure.cif"))), "LiFePO4.cif");
        ASSERT_EQ(im.rc, 0) << im.report.error;
        EXPECT_EQ(im.report.oxidation, "assigned");
        EXPECT_EQ(im.states("Li")->states, std::vector<int>{1});
        EXPECT_EQ(im.states("Fe")->states, std::vector<int>{2});
        EXPECT_EQ(im.states("P")->states, std::vector<int>{5});
        EXPECT_EQ(im.states("O")->states, std::vector<int>{-2});
    }
    {
        Imported im(Imported::Text(), without_states(slurp(source_file("examples/Na2UO4/structure.cif"))), "Na2UO4.cif");
        ASSERT_EQ(im.rc, 0) << im.report.error;
        EXPECT_EQ(im.states("Na")->states, std::vector<int>{1});
        EXPECT_EQ(im.states("U")->states, std::vector<int>{6});
        EXPECT_EQ(im.states("O")->states, std::vector<int>{-2});
    }
    // Magnetite: one Fe2+ for two Fe3+.
    {
        Imported im(corpus("Fe3O4.cif"));
        ASSERT_EQ(im.rc, 0) << im.report.error;
        const std::map<int, double> fe = im.state_counts("Fe");
        ASSERT_EQ(fe.size(), 2u);
        EXPECT_NEAR(fe.at(2), 2.0, 1e-9);
        EXPECT_NEAR(fe.at(3), 4.0, 1e-9);
    }
    // Li7La3Zr2O12 garnet, Li spread over 24d and (one third of) 96h, symmetry from the H-M symbol.
    {
        const std::string llzo =
            "data_LLZO\n_cell_length_a 12.9682\n_cell_length_b 12.9682\n_cell_length_c 12.9682\n"
            "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
            "_symmetry_space_group_name_H-M 'I a -3 d'\n"
            "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
            "_atom_site_fract_z\n_atom_site_occupancy\n"
            "La1 La 0.125 0 0.25 1\nZr1 Zr 0 0 0 1\nLi1 Li 0.375 0 0.25 1\n"
            "Li2 Li 0.1000 0.6830 0.5810 0.333333333333\nO1 O 0.2806 0.1004 0.1952 1\n";
        Imported im(Imported::Text(), llzo, "LLZO.cif");
        ASSERT_EQ(im.rc, 0) << im.report.error;
        EXPECT_EQ(im.report.symmetry_source, "H-M symbol");
        EXPECT_EQ(im.cif.symop_no, 96);
        EXPECT_EQ(im.states("La")->states, std::vector<int>{3});
        EXPECT_EQ(im.states("Zr")->states, std::vector<int>{4});
        EXPECT_EQ(im.states("Li")->states, std::vector<int>{1});
        EXPECT_EQ(im.states("O")->states, std::vector<int>{-2});
        EXPECT_EQ(im.report.z, 8);
        EXPECT_EQ(im.report.formula, "La3 Zr2 Li7 O12");
    }
}

TEST(ImportOxidation, ElementsThatCanBeEitherTakeTheSignThatBalances) {
    // Li3OCl (anti-perovskite): O is the most electronegative, Cl is still an anion;
    // Na2SO4: S, which the table also knows as an anion, is S6+.
    const std::string cubic = "_cell_length_a 3.91\n_cell_length_b 3.91\n_cell_length_c 3.91\n"
                              "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
                              "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
    Imported li3ocl(Imported::Text(),
                    "data_a\n" + cubic + "O1 0.5 0.5 0.5\nCl1 0 0 0\nLi1 0 0.5 0.5\nLi2 0.5 0 0.5\nLi3 0.5 0.5 0\n",
                    "Li3OCl.cif");
    ASSERT_EQ(li3ocl.rc, 0) << li3ocl.report.error;
    EXPECT_EQ(li3ocl.states("Cl")->states, std::vector<int>{-1});
    EXPECT_EQ(li3ocl.states("O")->states, std::vector<int>{-2});
    Imported na2so4(Imported::Text(),
                    "data_b\n" + std::regex_replace(cubic, std::regex("3\\.91"), "9") +
                        "Na1 0.1 0.1 0.1\nNa2 0.6 0.6 0.6\nS1 0.35 0.35 0.35\nO1 0.45 0.35 0.35\n"
                        "O2 0.25 0.35 0.35\nO3 0.35 0.45 0.35\nO4 0.35 0.35 0.25\n",
                    "Na2SO4.cif");
    ASSERT_EQ(na2so4.rc, 0) << na2so4.report.error;
    EXPECT_EQ(na2so4.states("S")->states, std::vector<int>{6});
}

TEST(ImportOxidation, NothingBalancesAndGivenStatesWin) {
    // NaCl2: Na is only +1 and Cl only -1.
    const std::string nacl2 =
        "data_x\n_cell_length_a 5\n_cell_length_b 5\n_cell_length_c 5\n"
        "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
        "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
        "Na1 0 0 0\nCl1 0.5 0.5 0.5\nCl2 0.5 0 0\n";
    Imported none(Imported::Text(), nacl2, "NaCl2.cif");
    EXPECT_EQ(none.rc, 1);
    EXPECT_NE(none.report.error.find("Na, Cl"), std::string::npos) << none.report.error;
    EXPECT_NE(none.report.error.find("--oxi"), std::string::npos) << none.report.error;
    // Occupancies that do not add up: the nearest miss is named.
    Imported lgps(corpus("Li10GeP2S12.cif"));
    EXPECT_EQ(lgps.rc, 1);
    EXPECT_NE(lgps.report.error.find("nearest: Li+1 Ge+4 P+5 S-2 leaves +0.0"), std::string::npos) << lgps.report.error;
    // By hand it reads, and the hand wins over the file (LiFePO4 declares Fe2+ and P5+).
    Imported given(Imported::Text(), nacl2, "NaCl2.cif", "Na=2");
    EXPECT_EQ(given.rc, 0) << given.report.error;
    Imported over(source_file("examples/LiFePO4/structure.cif"), "Fe=3,P=4");
    ASSERT_EQ(over.rc, 0) << over.report.error;
    EXPECT_EQ(over.states("Fe")->states, std::vector<int>{3});
    EXPECT_EQ(over.states("Fe")->source, "given");
    EXPECT_EQ(over.states("Li")->source, "file");
    EXPECT_EQ(over.report.oxidation, "given");
    Imported bad(Imported::Text(), nacl2, "NaCl2.cif", "Na2");
    EXPECT_EQ(bad.rc, 1);
    EXPECT_NE(bad.report.error.find("--oxi"), std::string::npos);
}

// ---------------------------------------------------------------------------
// Files in the wild: spellings that mean the same structure
// ---------------------------------------------------------------------------

const std::string kHeader =
    "data_t\n_cell_length_a 6\n_cell_length_b 7\n_cell_length_c 8\n"
    "_cell_angle_alpha 90\n_cell_angle_beta 100\n_cell_angle_gamma 90\n";
const std::string kP21c = "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\n-x,y+1/2,-z+1/2\n-x,-y,-z\nx,-y+1/2,z+1/2\n";
const std::string kSites =
    "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
    "Li1 Li1+ 0.1 0.2 0.3\nO1 O2- 0.3 0.1 0.2\nO2 O2- 0 0 0\nMg1 Mg2+ 0.5 0 0.5\n";

// Positions of every atom of the cell, sorted, for comparing two readings.
std::vector<std::string> cell_atoms(ZEMU_cif* cif) {
    ZEMU_add_P1_to_cif(cif);
    std::vector<std::string> atoms;
    for (int a = 0; a < cif->site_all_no; a++) {
        const ZEMU_site& s = cif->site_all[a];
        char text[96];
        auto w = [](double v) { return v - std::floor(v + 1e-9); };
        snprintf(text, sizeof text, "%s %.4f %.4f %.4f %.2f %.2f", s.type, w(s.x), w(s.y), w(s.z), s.occ, s.ox);
        atoms.push_back(text);
    }
    std::sort(atoms.begin(), atoms.end());
    return atoms;
}

TEST(ImportWild, SpellingsOfOperationsChargesAndSymmetryGiveOneStructure) {
    Imported plain(Imported::Text(), kHeader + kP21c + kSites, "plain.cif");
    ASSERT_EQ(plain.rc, 0) << plain.report.error;
    const std::vector<std::string> want = cell_atoms(&plain.cif);
    EXPECT_EQ(want.size(), 4u + 4u + 2u + 2u);
    const std::vector<std::string> variants = {
        // leading plus, blanks, decimals, the other loop tag
        kHeader + "loop_\n_space_group_symop_operation_xyz\n'+x, +y, +z'\n'-x, 0.5+y, 1/2-z'\n'-x,-y,-z'\n"
                  "'+x, -y+0.5, +z+1/2'\n" + kSites,
        // sign-first charges
        kHeader + kP21c + std::regex_replace(kSites, std::regex("O2-"), "O-2"),
        // charges from the type loop
        kHeader + kP21c + "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nLi 1\nO -2\nMg 2\n" +
            std::regex_replace(kSites, std::regex(" (Li|O|Mg)[12][+-] "), " $1 "),
        // no loop: Hall symbol, H-M symbol, number
        kHeader + "_symmetry_space_group_name_Hall '-P 2ybc'\n" + kSites,
        kHeader + "_symmetry_space_group_name_H-M 'P 1 21/c 1'\n" + kSites,
        kHeader + "_space_group_IT_number 14\n" + kSites,
        // every atom listed, with the operations: merged, not multiplied
        kHeader + kP21c +
            "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
            "_atom_site_fract_z\n_atom_site_symmetry_multiplicity\n"
            "Li1 Li1+ 0.1 0.2 0.3 4\nLi1a Li1+ 0.9 0.7 0.2 4\nLi1b Li1+ 0.9 0.8 0.7 4\nLi1c Li1+ 0.1 0.3 0.8 4\n"
            "O1 O2- 0.3 0.1 0.2 4\nO2 O2- 0 0 0 2\nO2a O2- 0 0.5 0.5 2\nMg1 Mg2+ 0.5 0 0.5 2\n",
        // a second block without sites comes first
        "data_global\n_journal_year 2020\n" + kHeader + kP21c + kSites,
        // Latin-1 and UTF-8 bytes unquoted, a tag the import does not use given twice
        kHeader + "_publ_author_name M\xfc" "ller\n_journal_volume 385\x96" "386\n_publ_author_name 'M\xc3\xbc" "ller'\n" +
            kP21c + kSites,
        // a group number no table has (found by fuzzing: it overflowed an int) is ignored
        kHeader + "_symmetry_Int_Tables_number 1.2e65\n" + kP21c + kSites,
    };
    for (size_t v = 0; v < variants.size(); v++) {
        SCOPED_TRACE(v);
        Imported im(Imported::Text(), variants[v], "variant.cif");
        ASSERT_EQ(im.rc, 0) << im.report.error;
        EXPECT_EQ(cell_atoms(&im.cif), want);
        EXPECT_EQ(im.cif.site_no, 4);
    }
}

TEST(ImportWild, LabelsStayUniqueWithinNineCharacters) {
    const std::string text = kHeader +
                             "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
                             "_atom_site_fract_z\n"
                             "C1' C 0.1 0.1 0.1\nC1 C 0.2 0.2 0.2\nC1p C 0.3 0.3 0.3\nCarbonAtom12 C 0.4 0.4 0.4\n"
                             "CarbonAtom13 C 0.5 0.5 0.6\nO1 O 0.6 0.6 0.6\nO1 O 0.7 0.7 0.8\n'loop_1' O 0.1 0.9 0.5\n";
    Imported im(Imported::Text(), text, "labels.cif", "C=4,O=-2");
    ASSERT_EQ(im.rc, 0) << im.report.error;
    // The written file reads back with every site (no label taken for a keyword).
    zemu_test::WorkDir dir(false);
    FILE* fp = fopen(dir.file("out.cif").c_str(), "w");
    ASSERT_NE(fp, nullptr);
    ZEMU_write_cif_exact(&im.cif, fp);
    fclose(fp);
    ZEMU_cif back;
    ZEMU_init_cif(&back);
    ASSERT_EQ(ZEMU_load_cif(&dir.file("out.cif")[0], &back), 0);
    expect_same_record(im.cif, back);
    ZEMU_free_cif(&back);
    std::set<std::string> labels;
    for (int s = 0; s < im.cif.site_no; s++) {
        const std::string l = im.cif.site[s].label;
        EXPECT_LE(l.size(), 9u);
        EXPECT_EQ(l.find('\''), std::string::npos);
        labels.insert(l);
    }
    EXPECT_EQ(labels.size(), 8u);
    EXPECT_EQ(std::string(im.cif.site[7].label).rfind("loop_", 0), std::string::npos);
    EXPECT_EQ(std::string(im.cif.site[1].label), "C1");
}

// ---------------------------------------------------------------------------
// Refusals: each names what is wrong
// ---------------------------------------------------------------------------

TEST(ImportRefusal, BadFilesAreRefusedWithTheirCause) {
    struct Case {
        std::string text, expect;
    };
    const std::string sites1 = "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
                               "Li1 0.1 0.2 0.3\n";
    const std::vector<Case> cases = {
        {"data_x\n_cell_length_a 'unterminated\n", "line 2"},
        {"not a cif at all\n", "line 1"},
        {kHeader + "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\n-x,-y,z\nx,-y,-z\n" + sites1, "group"},
        {kHeader + "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\nx+1/2,y+q,z\n" + sites1, "cannot be read"},
        {kHeader + "_symmetry_space_group_name_H-M 'I 2 2 2'\nloop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\n-x,-y,z\n"
                   "x,-y,-z\n-x,y,-z\n" + sites1,
         "centring"},
        {kHeader + kP21c +
             "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
             "_atom_site_symmetry_multiplicity\nLi7 0.1 0.2 0.3 3\n",
         "site Li7"},
        {kHeader + "_cell_length_a 7\n" + sites1, "_cell_length_a given twice"},
        {kHeader + "loop_\n_atom_site_label\n_atom_site_Cartn_x\n_atom_site_Cartn_y\n_atom_site_Cartn_z\nLi1 1 2 3\n",
         "Cartesian"},
        {kHeader + "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
                   "Xq1 0.1 0.2 0.3\n",
         "no element"},
        {kHeader + "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
                   "Li1 0.1 ? 0.3\n",
         "site Li1"},
        {"data_x\n_cell_length_a 0\n_cell_length_b 7\n_cell_length_c 8\n_cell_angle_alpha 90\n"
         "_cell_angle_beta 90\n_cell_angle_gamma 90\n" + sites1,
         "_cell_length_a"},
        {kHeader + "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
                   "_atom_site_occupancy\nLi1 0.1 0.2 0.3 1\nNa1 0.1 0.2 0.3 1\n",
         "occupancy"},
        {kHeader + "_cell_modulation_dimension 1\n" + sites1, "modulated"},
        {kHeader + sites1 + "loop_\n_space_group_symop_magn_operation.id\n_space_group_symop_magn_operation.xyz\n"
                            "1 x,y,z\n",
         "magnetic symmetry operation"},
        // Found by fuzzing: a cell 0.11 A thin made the bond-valence search take minutes.
        {"data_x\n_cell_length_a 2.95\n_cell_length_b 0.114\n_cell_length_c 9.99\n_cell_angle_alpha 90\n"
         "_cell_angle_beta 90\n_cell_angle_gamma 106.8\n" + sites1,
         "cell too thin"},
        // Found by fuzzing: a number that overflows the triplet parser's arithmetic.
        {kHeader + "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\nx+99999999999999999999/2,y,z\n" + sites1,
         "cannot be read"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        Imported im(Imported::Text(), c.text, "bad.cif");
        EXPECT_EQ(im.rc, 1);
        EXPECT_NE(im.report.error.find(c.expect), std::string::npos) << im.report.error;
        EXPECT_EQ(im.report.error.find('\n'), std::string::npos);
        EXPECT_EQ(im.report.error.find("bad.cif"), std::string::npos) << "the front end names the file";
    }
}

// ---------------------------------------------------------------------------
// The executable
// ---------------------------------------------------------------------------

TEST(ImportExe, WrittenExamplesGiveZemuTheSameReports) {
    // The examples on their own landscapes; the structure reader's test files on the LiFePO4 one.
    struct Run {
        std::string cif, cube, ion;
    };
    std::vector<Run> runs;
    for (const std::pair<const char*, const char*>& ex : {std::make_pair("LiFePO4", "Li1+"), std::make_pair("Na2UO4", "Na1+")})
        runs.push_back({source_file(std::string("examples/") + ex.first + "/structure.cif"),
                        source_file(std::string("examples/") + ex.first + "/landscape.cube"), ex.second});
    for (const char* f : {"cif_LiFePO4.cif", "cif_Na2UO4.cif", "cif_messy.cif", "gridsym_p21c.cif", "sub_mixed_site.cif"})
        runs.push_back({data_file(f), source_file("examples/LiFePO4/landscape.cube"), "Li1+"});
    for (const Run& ex : runs) {
        SCOPED_TRACE(ex.cif);
        zemu_test::WorkDir dir;
        const std::string& original = ex.cif;
        const std::string& cube = ex.cube;
        zemu_test::RunResult imp = dir.run_program(ZEMU_IMPORT_EXE, {original, "-o", "out.cif"});
        ASSERT_EQ(imp.status, 0) << imp.err;
        const std::vector<std::string> report = {"--print-minima", "--print-saddle", "--path", "--print-act"};
        std::vector<std::string> a = {"--cube", cube, "--cif", original, ex.ion};
        std::vector<std::string> b = {"--cube", cube, "--cif", "out.cif", ex.ion};
        a.insert(a.end(), report.begin(), report.end());
        b.insert(b.end(), report.begin(), report.end());
        const zemu_test::RunResult ra = dir.run(a), rb = dir.run(b);
        EXPECT_EQ(ra.status, 0);
        EXPECT_EQ(rb.status, ra.status);
        EXPECT_NE(ra.out.find("activation energy"), std::string::npos) << ra.out;
        EXPECT_EQ(rb.out, ra.out);
        EXPECT_EQ(rb.err, ra.err);
    }
}

TEST(ImportExe, AssignedStatesGiveZemuANeutralCellAndBondValences) {
    zemu_test::WorkDir dir;
    zemu_test::RunResult imp = dir.run_program(ZEMU_IMPORT_EXE, {corpus("LiCoO2.cif"), "-o", "out.cif"});
    ASSERT_EQ(imp.status, 0) << imp.err;
    const zemu_test::RunResult r = dir.run({"--cif", "out.cif", "Li1+", "--calc-charge", "--calc-bvsum"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("Total charge per unit cell: 0.000"), std::string::npos) << r.out;
    // Every site has a bond valence sum of the sign and roughly the size of its state.
    std::smatch m;
    std::string rest = r.out;
    int sums = 0;
    while (std::regex_search(rest, m, std::regex("> (Li|Co|O)[0-9_]* \\[[^\\]]*\\] : (-?[0-9.]+)"))) {
        const double v = atof(m[2].str().c_str());
        const double want = m[1] == "Li" ? 1.0 : m[1] == "Co" ? 3.0 : -2.0;
        EXPECT_NEAR(v, want, 0.5 * std::fabs(want)) << m[0];
        sums++;
        rest = m.suffix();
    }
    EXPECT_EQ(sums, 12);
}

TEST(ImportExe, SummaryJsonAndRefusals) {
    zemu_test::WorkDir dir;
    const zemu_test::RunResult text = dir.run_program(ZEMU_IMPORT_EXE, {corpus("MultiStructure.cif")});
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("Formula: Li1 Fe1 P1 O4  Z = 4"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("data_72545-ICSD"), std::string::npos) << text.out;
    const zemu_test::RunResult json = dir.run_program(ZEMU_IMPORT_EXE, {corpus("Fe3O4.cif"), "--json"});
    EXPECT_EQ(json.status, 0);
    EXPECT_NE(json.out.find("\"oxidation_source\":\"assigned\""), std::string::npos) << json.out;
    EXPECT_EQ(json.out.find('\n'), json.out.size() - 1);
    for (const char* flag : {"--help", "--version"}) EXPECT_EQ(dir.run_program(ZEMU_IMPORT_EXE, {flag}).status, 0);
    const zemu_test::RunResult usage = dir.run_program(ZEMU_IMPORT_EXE, {"a.cif", "b.cif"});
    EXPECT_EQ(usage.status, 1);
    EXPECT_EQ(usage.err.rfind("Error: ", 0), 0u) << usage.err;

    dir.write("bad.cif", "data_x\nloop_\n_atom_site_label\n_atom_site_fract_x\nLi1 0.1\n");
    const zemu_test::RunResult bad = dir.run_program(ZEMU_IMPORT_EXE, {"bad.cif", "-o", "out.cif"});
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.err.rfind("Error: bad.cif: ", 0), 0u) << bad.err;
    EXPECT_EQ(std::count(bad.err.begin(), bad.err.end(), '\n'), 1);
    EXPECT_FALSE(dir.exists("out.cif"));
    EXPECT_FALSE(dir.exists("out.cif.tmp"));
    const zemu_test::RunResult missing = dir.run_program(ZEMU_IMPORT_EXE, {"nothere.cif"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err.rfind("Error: nothere.cif: ", 0), 0u) << missing.err;
}

}  // namespace
