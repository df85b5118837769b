// Substitution screening: shared positions of the mobile ion's sites and of any two sites, and the ICSD prefix.
#include "ZEMU-bv.h"
#include "fixtures.h"

namespace {

using Check = int (*)(ZEMU_cif*, FILE*);

std::string run(Check check, ZEMU_cif* cif) {
    return fx::written([&](FILE* f) { EXPECT_EQ(check(cif, f), 0); });
}

const char* kYes = "Yes, substituted\n";
const char* kNo = "Not substituted\n";

}  // namespace

TEST(SubstitutionCheck, VerdictsOnSitesInATenAngstromCell) {
    struct Site { const char *label, *type; double x, y, z; int mul; char w; };
    struct Case {  // verdicts of the mobile-ion check and (when not null) of the all-sites check
        const char *what, *icsd, *probe;
        std::vector<Site> sites;
        const char *mobile, *any = nullptr;
    };
    const Site o1 = {"O1", "O2-", 0.5, 0.5, 0.5, 4, 'c'}, li = {"Li1", "Li1+", 0.25, 0.25, 0.25, 4, 'c'};
    const Site li0 = {"Li1", "Li1+", 0.0, 0.5, 0.5, 4, 'c'};
    const Case cases[] = {
        {"mobile ion sharing its position", "12345", "Li1+", {o1, li, {"Na1", "Na1+", 0.25, 0.25, 0.25, 4, 'c'}}, kYes},
        {"other Wyckoff letter", "12345", "Li1+", {o1, li, {"Na1", "Na1+", 0.25, 0.25, 0.25, 4, 'd'}}, kNo},
        {"partner before the mobile ion", "1", "Li1+", {{"Na1", "Na1+", 0.25, 0.25, 0.25, 4, 'c'}, li}, kYes},
        {"0.4 Angstrom along a", "7", "Li1+", {li0, {"Na1", "Na1+", 0.04, 0.5, 0.5, 4, 'c'}}, kYes},
        {"0.5 Angstrom is not below the bound", "7", "Li1+", {li0, {"Na1", "Na1+", 0.05, 0.5, 0.5, 4, 'c'}}, kNo},
        {"positions are not wrapped across the cell", "7", "Li1+",
         {{"Li1", "Li1+", 0.01, 0.5, 0.5, 4, 'c'}, {"Na1", "Na1+", 0.99, 0.5, 0.5, 4, 'c'}}, kNo, kNo},
        {"any shared position counts for the all-sites check", "", "Li1+",
         {{"Na1", "Na1+", 0.25, 0.25, 0.25, 4, 'c'}, {"K1", "K1+", 0.26, 0.25, 0.25, 4, 'c'}}, kNo, kYes},
        {"probe type compared as whole symbol", "3", "Li1", {li, {"Na1", "Na1+", 0.25, 0.25, 0.25, 4, 'c'}}, kNo},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        fx::Cif s;
        snprintf(s.cif.ICSD, sizeof s.cif.ICSD, "%s", c.icsd);
        snprintf(s.cif.probe_type, sizeof s.cif.probe_type, "%s", c.probe);
        for (const Site& p : c.sites) s.site(p.label, p.type, p.x, p.y, p.z, p.mul, 1.0, 0.0, p.w);
        const std::string prefix = std::string("ICSD: ") + c.icsd + " ";
        EXPECT_EQ(run(ZEMU_check_ion_sub, &s.cif), prefix + c.mobile);
        if (c.any) {
            EXPECT_EQ(run(ZEMU_check_ions_sub, &s.cif), prefix + c.any);
        }
    }
}
