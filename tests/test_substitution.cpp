// Substitution screening: shared positions of the mobile ion's sites and of any
// two sites, and the ICSD prefix of the verdict lines.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "ZEMU-cif.h"
#include "e2e_util.h"

namespace {

// Sites in a 10 x 10 x 10 cell with only "x,y,z"; multiplicities as given.
struct SubStructure {
    ZEMU_cif cif;
    explicit SubStructure(const char* icsd, const char* probe) {
        ZEMU_init_cif(&cif);
        cif.a = cif.b = cif.c = 10.0;
        cif.alpha = cif.beta = cif.gamma = 90.0;
        snprintf(cif.ICSD, sizeof cif.ICSD, "%s", icsd);
        snprintf(cif.probe_type, sizeof cif.probe_type, "%s", probe);
    }
    ~SubStructure() { ZEMU_free_cif(&cif); }
    void add(const char* label, const char* type, double x, double y, double z, int mul = 4, char w = 'c') {
        ZEMU_add_cif_site(&cif, const_cast<char*>(label), const_cast<char*>(type), x, y, z, mul, w, 1.0, 0.0);
    }
};

using Check = int (*)(ZEMU_cif*, FILE*);

std::string run(Check check, ZEMU_cif* cif) {
    FILE* f = tmpfile();
    if (!f) return "<no tmpfile>";
    EXPECT_EQ(check(cif, f), 0);
    std::string s;
    rewind(f);
    for (int ch; (ch = fgetc(f)) != EOF;) s += (char)ch;
    fclose(f);
    return s;
}

}  // namespace

TEST(SubstitutionCheck, MobileIonSharingItsPositionIsSubstituted) {
    SubStructure s("12345", "Li1+");
    s.add("O1", "O2-", 0.5, 0.5, 0.5);
    s.add("Li1", "Li1+", 0.25, 0.25, 0.25);
    s.add("Na1", "Na1+", 0.25, 0.25, 0.25);
    EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), "ICSD: 12345 Yes, substituted\n");
    s.cif.site[2].Wyckoff = 'd';
    EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), "ICSD: 12345 Not substituted\n");
    s.cif.site[2].Wyckoff = 'c';
    s.cif.site[2].mul = 8;
    EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), "ICSD: 12345 Not substituted\n");
}

TEST(SubstitutionCheck, PartnerBeforeTheMobileIonCounts) {
    SubStructure s("1", "Li1+");
    s.add("Na1", "Na1+", 0.25, 0.25, 0.25);
    s.add("Li1", "Li1+", 0.25, 0.25, 0.25);
    EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), "ICSD: 1 Yes, substituted\n");
}

TEST(SubstitutionCheck, OffsetMustStayBelowHalfAngstromOnEveryAxis) {
    SubStructure s("7", "Li1+");
    s.add("Li1", "Li1+", 0.0, 0.5, 0.5);
    s.add("Na1", "Na1+", 0.04, 0.5, 0.5);  // 0.4 Angstrom along a
    EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), "ICSD: 7 Yes, substituted\n");
    s.cif.site[1].x = 0.05;  // 0.5 Angstrom: not below the bound
    EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), "ICSD: 7 Not substituted\n");
    s.cif.site[1].x = 0.0;
    s.cif.site[1].z = 0.55;
    EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), "ICSD: 7 Not substituted\n");
}

TEST(SubstitutionCheck, PositionsAreNotWrappedAcrossTheCell) {
    SubStructure s("7", "Li1+");
    s.add("Li1", "Li1+", 0.01, 0.5, 0.5);
    s.add("Na1", "Na1+", 0.99, 0.5, 0.5);
    EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), "ICSD: 7 Not substituted\n");
    EXPECT_EQ(run(ZEMU_check_ions_sub, &s.cif), "ICSD: 7 Not substituted\n");
}

TEST(SubstitutionCheck, AnySharedPositionCountsForTheAllSitesCheck) {
    SubStructure s("", "Li1+");  // no site of the probe type
    s.add("Na1", "Na1+", 0.25, 0.25, 0.25);
    s.add("K1", "K1+", 0.26, 0.25, 0.25);
    EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), "ICSD:  Not substituted\n");
    EXPECT_EQ(run(ZEMU_check_ions_sub, &s.cif), "ICSD:  Yes, substituted\n");
}

TEST(SubstitutionCheck, ProbeTypeComparedAsWholeSymbol) {
    SubStructure s("3", "Li1");
    s.add("Li1", "Li1+", 0.25, 0.25, 0.25);
    s.add("Na1", "Na1+", 0.25, 0.25, 0.25);
    EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), "ICSD: 3 Not substituted\n");
}

TEST(SubstitutionCheck, MixedSiteReadFromCif) {
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    ASSERT_EQ(ZEMU_load_cif(const_cast<char*>(zemu_test::data_file("sub_mixed_site.cif").c_str()), &cif), 0);
    snprintf(cif.probe_type, sizeof cif.probe_type, "Li1+");
    EXPECT_EQ(run(ZEMU_check_ion_sub, &cif), "ICSD: 98765 Yes, substituted\n");  // Li1/Na1, 0.03 Angstrom apart
    snprintf(cif.probe_type, sizeof cif.probe_type, "O2-");
    EXPECT_EQ(run(ZEMU_check_ion_sub, &cif), "ICSD: 98765 Not substituted\n");
    ZEMU_free_cif(&cif);
}

TEST(SubstitutionCheck, IcsdPrefixHasTwoTrailingBlanks) {
    SubStructure s("98765", "Li1+");
    EXPECT_EQ(run(ZEMU_print_cif_ICSD, &s.cif), "ICSD: 98765  ");
    SubStructure empty("", "Li1+");
    EXPECT_EQ(run(ZEMU_print_cif_ICSD, &empty.cif), "ICSD:   ");
}
