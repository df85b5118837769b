// Structure editing: site and type lists, copies, splitting of fractional
// oxidation states, whole-atom counts, P1 supercells and the CIF writer.
#include <cstring>
#include <map>
#include <set>

#include "ZEMU-cif.h"
#include "fixtures.h"

using fx::txt;
using Strings = std::vector<std::string>;

namespace {

// An orthorhombic 4 x 5 x 6 structure with Z = 2.
struct Structure : fx::Cif {
    explicit Structure(const Strings& ops = {"x,y,z"}) : Cif(ops, {4, 5, 6, 90, 90, 90}) { cif.z = 2; }
    // "label:type" of every site
    Strings sites() const {
        Strings out;
        for (int k = 0; k < cif.site_no; k++) out.push_back(std::string(cif.site[k].label) + ":" + cif.site[k].type);
        return out;
    }
};

std::string write_to_string(ZEMU_cif* cif) {
    return fx::written([&](FILE* f) { EXPECT_EQ(ZEMU_write_cif(cif, f), 0); });
}

}  // namespace

TEST(CifWriter, WritesTheBlocksInTheirFormatAndReadsBack) {
    Structure s({"x,y,z", "-x,-y,-z"});
    strcpy(s.cif.spacegroup_HM, "P -1");
    s.cif.int_tab_cryst_no = 2;
    s.type("Li1+", 1);
    s.site("Li1", "Li1+", 0.1, 0.2, 0.3, 2, 0.5, 1);
    EXPECT_EQ(write_to_string(&s.cif), zemu_test::slurp(zemu_test::data_file("grid/written.cif")));

    ZEMU_cif in, back;
    ZEMU_init_cif(&in);
    ZEMU_init_cif(&back);
    std::string path = zemu_test::data_file("cif_Na2UO4.cif");
    ASSERT_EQ(ZEMU_load_cif(&path[0], &in), 0);
    zemu_test::WorkDir dir(false);
    dir.write("round.cif", write_to_string(&in));
    path = dir.file("round.cif");
    ASSERT_EQ(ZEMU_load_cif(&path[0], &back), 0);
    // the same text once more, with coordinates of five decimals: the read-back structure is the same
    EXPECT_EQ(write_to_string(&back), write_to_string(&in));
    ZEMU_free_cif(&in);
    ZEMU_free_cif(&back);
}

TEST(CifFractionalOx, MixedValenceSitesSplitIntoNeighbouringStates) {
    // (type, state, occupancy of the low state, low type, high type); the table fixes the states of some elements
    const std::tuple<const char*, double, double, const char*, const char*> cases[] = {
        {"Fe", 2.5, 0.5, "Fe2+", "Fe3+"}, {"Sn", 3.2, 0.4, "Sn2+", "Sn4+"}, {"P", 4.5, 0.25, "P3+", "P5+"},
        {"Au", 1.5, 0.75, "Au1+", "Au3+"}, {"I", 5.5, 0.75, "I5+", "I7+"}, {"S", 5.5, 0.25, "S4+", "S6+"}};
    for (const auto& c : cases) {
        Structure s;
        s.type("Li1+", 1);
        s.type(std::get<0>(c), std::get<1>(c));
        s.type("O2-", -2);
        s.site("Li1", "Li1+", 0, 0, 0, 1, 1, 1);
        s.site("M1", std::get<0>(c), 0.5, 0.5, 0.5, 2, 1, std::get<1>(c), 'c');
        ASSERT_EQ(ZEMU_convert_frac_ox(&s.cif), 0);
        const std::string low = std::get<3>(c), high = std::get<4>(c);
        EXPECT_EQ(s.types(), Strings({"Li1+", low, high, "O2-"}));  // in place of the old type, low first
        EXPECT_EQ(s.sites(), Strings({"Li1:Li1+", "M1:" + low, "M1:" + high}));
        EXPECT_NEAR(s[1].occ, std::get<2>(c), 1e-12);
        EXPECT_NEAR(s[1].ox * s[1].occ + s[2].ox * s[2].occ, std::get<1>(c), 1e-12);  // the mean state is kept
        EXPECT_EQ(std::make_tuple(s[2].mul, s[2].Wyckoff, s[2].z), std::make_tuple(2, 'c', 0.5));
    }
    // a state outside the table's range stops every later site as well; non-positive states are never split
    Structure s;
    for (auto p : {std::make_pair("O", -1.5), {"S", 3.5}, {"Fe", 2.5}}) s.site("A1", p.first, 0, 0, 0, 1, 1.0, p.second);
    ASSERT_EQ(ZEMU_convert_frac_ox(&s.cif), 0);
    EXPECT_EQ(std::make_tuple(s.sites(), s.cif.type_no), std::make_tuple(Strings({"A1:O", "A1:S", "A1:Fe"}), 0));
}

TEST(CifSupercell, WholeAtomCountsMakeNeutralP1Cells) {
    struct Site { const char* type; double x; int mul; double occ, ox; };
    const std::pair<std::vector<Site>, std::vector<int>> counts[] = {
        {{{"A", 0, 4, 0.625, 0}, {"B", 0.5, 4, 0.7, 0}}, {2, 3}},              // halves round down; neutral counts are final
        {{{"Li1+", 0, 4, 0.7, 1}, {"O2-", 0.5, 1, 1, -2}}, {2, 1}},             // one site's correction: 2.8 -> 3 -> 2
        {{{"A2+", 0, 2, 0.5, 2}, {"B3+", 0.5, 2, 0.5, 3}, {"O2-", 0.25, 2, 1.0, -2}}, {2, 0, 2}},  // a pair correction
        // a shared position limits the correction: A grows while V (filling the places with A) gives way
        {{{"A1+", 0.25, 4, 0.7, 1}, {"V", 0.25, 4, 0.25, 0}, {"O2-", 0, 2, 1.0, -2}}, {4, 0, 2}},
        {{{"Li1+", 0, 1, 1.0, 1}}, {}},  // nothing to correct
    };
    for (const auto& c : counts) {
        Structure s;
        for (const Site& p : c.first) s.site(p.type, p.type, p.x, p.x, p.x, p.mul, p.occ, p.ox);
        std::vector<int> got(c.first.size());
        std::string err = fx::stderr_of([&] { EXPECT_EQ(ZEMU_get_integer_occ(&s.cif, got.data(), 1), c.second.empty()); });
        if (c.second.empty()) EXPECT_EQ(err, "Error: Unable to make supercell total charge zero\n");
        else EXPECT_EQ(got, c.second) << c.first[0].type;
    }

    // a half-occupied site of multiplicity 4 in a 2 x 1 x 1 supercell; mixed valence is split in the input first;
    // two half-occupied sites on the same places fill them without doubling an atom
    Structure li({"x,y,z", "-x,-y,z", "-x,y,-z", "x,-y,-z"}), fe, shared({"x,y,z", "x+1/2,y+1/2,z"});
    li.type("Li1+", 1), li.type("O2-", -2);
    li.site("Li1", "Li1+", 0.25, 0.25, 0.25, 4, 0.5, 1), li.site("O1", "O2-", 0, 0, 0, 1, 1.0, -2);
    fe.type("Fe", 2.5), fe.type("O2-", -2);
    fe.site("Fe1", "Fe", 0, 0, 0, 1, 1.0, 2.5), fe.site("O1", "O2-", 0.5, 0.5, 0.5, 1, 1.0, -2), fe.site("O2", "O2-", 0.5, 0, 0, 1, 0.25, -2);
    shared.site("A", "A", 0, 0, 0, 2, 0.5, 0), shared.site("B", "B", 0, 0, 0, 2, 0.5, 0);
    const std::tuple<Structure*, int, std::map<std::string, size_t>> cells[] = {
        {&li, 1, {{"Li1+", 4}, {"O2-", 2}}}, {&fe, 2, {{"Fe2+", 2}, {"Fe3+", 2}, {"O2-", 5}}}, {&shared, 1, {{"A", 2}, {"B", 2}}}};
    for (const auto& c : cells) {
        ZEMU_cif out;
        ASSERT_EQ(ZEMU_build_supercell(&std::get<0>(c)->cif, &out, 2, std::get<1>(c), 1), 0);
        std::map<std::string, size_t> placed;
        std::set<std::tuple<double, double, double>> places;
        double charge = 0;
        for (int k = 0; k < out.site_no; k++) {
            const ZEMU_site& a = out.site[k];
            placed[a.type]++;
            places.insert(std::make_tuple(a.x, a.y, a.z));
            charge += a.ox;
            EXPECT_EQ(std::make_tuple(a.mul, a.Wyckoff, a.occ), std::make_tuple(1, 'a', 1.0));
        }
        EXPECT_EQ(placed, std::get<2>(c));
        EXPECT_EQ(places.size(), (size_t)out.site_no);  // distinct places
        EXPECT_NEAR(charge, 0.0, 1e-12);
        EXPECT_EQ(std::make_tuple(out.b, out.volume, out.z, out.int_tab_cryst_no, std::string(out.spacegroup_HM), out.symop_no),
                  std::make_tuple(5.0 * std::get<1>(c), 240.0 * std::get<1>(c), 4 * std::get<1>(c), 1, "P 1", 1));
        ZEMU_free_cif(&out);
    }
    EXPECT_EQ(fe.sites(), Strings({"Fe1:Fe2+", "Fe1:Fe3+", "O1:O2-", "O2:O2-"}));
}

TEST(CifSupercell, RefusedInputsLeaveAReleasableOutput) {
    Structure ok, charged, crowded;  // a cell charge of 0.005 is accepted
    ok.site("Li1", "Li1+", 0, 0, 0, 1, 0.005, 1);
    charged.site("Li1", "Li1+", 0, 0, 0, 1, 0.02, 1);
    crowded.site("X1", "X", 0, 0, 0, 1, 2.0, 0);  // two atoms but one place
    const std::tuple<Structure*, int, const char*> cases[] = {
        {&ok, 1, ""},
        {&charged, 1, "Error: Cannot build supercell when unit cell has non-zero charge\n"},
        {&crowded, 0, "Error: Invalid supercell dimension\n"},
        {&crowded, 1, "Error: Fatal error in ZEMU_build_supercell()\n"},
    };
    for (const auto& c : cases) {
        ZEMU_cif out;
        memset(&out, 0xA5, sizeof out);  // a record never initialised
        const bool fails = std::get<2>(c)[0] != '\0';
        EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_build_supercell(&std::get<0>(c)->cif, &out, std::get<1>(c), 1, 1), fails); }),
                  std::get<2>(c));
        EXPECT_EQ(out.site_no, 0);
        ZEMU_free_cif(&out);
        EXPECT_EQ(std::make_tuple(out.site, out.symop_no), std::make_tuple((ZEMU_site*)nullptr, 0));
    }
}
