// Mobile-ion site assignment: which minima an ion's site goes to, and with which
// share of its occupancy.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include "ZEMU.h"
#include "fixtures.h"

namespace {

// A rectangular grid with `step` Angstrom voxels and hand-made minima.
struct Landscape : fx::Grid {
    Landscape(int na, int nb, int nc, double step) : fx::Grid(na, nb, nc, 0.0, step) {}

    void minimum(double x, double y, double z, int type = 0, int mul = 1) {
        ASSERT_EQ(ZEMU_add_cube_minima_point(&cube, (int)x, (int)y, (int)z, x, y, z, 0.0, type), 0);
        cube.minima[cube.total_minima - 1].mul = mul;
    }
    // The ions of every minimum as "label:occ label:occ | ..." ("-" for none).
    std::string ions() const {
        std::string out;
        char buf[64];
        for (int m = 0; m < cube.total_minima; ++m) {
            const ZEMU_minima& p = cube.minima[m];
            out += std::string(m ? " | " : "") + (p.total_ions ? "" : "-");
            for (int k = 0; k < p.total_ions; ++k) {
                snprintf(buf, sizeof buf, "%s%s:%.12g", k ? " " : "", p.ion[k].label, p.ion[k].occ);
                out += buf;
            }
        }
        return out;
    }
};

// A P1 structure with the probe "Li1+" (oxidation state 1).
struct Structure : fx::Cif {
    Structure() {
        snprintf(cif.probe_type, sizeof cif.probe_type, "Li1+");
        type("Li1+", 1.0);
        type("O2-", -2.0);
    }
};

}  // namespace

TEST(IonSiteAssignment, IonsGoToTheNearestMinima) {
    struct Site { const char* label; const char* type; double x, occ; };
    // minima: a index, type and multiplicity on a 50 x 10 x 10 grid; sites at y = z = 0.5
    struct Case { const char* what; std::vector<std::array<int, 3>> minima; std::vector<Site> sites; const char* expected;
                  int runs; };
    const Case cases[] = {
        {"a coordinate just below one rounds onto point zero", {{0, 1, 1}, {49, 2, 1}}, {{"Li1", "Li1+", 0.999, 1.0}},
         "Li1:1 | -", 1},
        {"sites of one label sum in one entry, other labels append, other types are ignored", {{10, 1, 1}},
         {{"Li1", "Li1+", 0.2, 0.3}, {"Li1", "Li1+", 0.22, 0.2}, {"Li2", "Li1+", 0.18, 0.1}, {"O1", "O2-", 0.2, 1.0}},
         "Li1:0.5 Li2:0.1", 1},
        {"a repeated assignment starts from empty ion lists", {{10, 1, 1}}, {{"Li1", "Li1+", 0.2, 0.7}}, "Li1:0.7", 2},
        {"without minima the ion stays unassigned, silently", {}, {{"Li1", "Li1+", 0.2, 1.0}}, "", 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Landscape g(50, 10, 10, 0.2);
        for (auto& m : c.minima) g.minimum(m[0], 5, 5, m[1], m[2]);
        Structure s;
        for (const Site& p : c.sites) s.site(p.label, p.type, p.x, 0.5, 0.5, 1, p.occ);
        for (int run = 0; run < c.runs; ++run)
            EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0); }), "");
        EXPECT_EQ(g.ions(), c.expected);
    }
}

TEST(IonSiteAssignment, AnIonSharedByMoreMinimaThanTheLimitGoesTo26OfThem) {
    // 30 minima at distance 5 from the ion: the permutations of (0, +-3, +-4) and (+-5, 0, 0).
    Landscape g(20, 20, 20, 1.0);
    for (int i = -5; i <= 5; ++i)
        for (int j = -5; j <= 5; ++j)
            for (int k = -5; k <= 5; ++k)
                if (i * i + j * j + k * k == 25) g.minimum(10 + i, 10 + j, 10 + k, g.cube.total_minima + 1);
    ASSERT_EQ(g.cube.total_minima, 30);
    Structure s;
    s.site("Li1", "Li1+", 0.5, 0.5, 0.5);
    EXPECT_EQ(fx::stderr_of([&] { ASSERT_EQ(ZEMU_assign_ion_to_sites(&g.cube, &s.cif), 0); }),
              "Warning: ZEMU_MAX_ION_DELOCALISED_SITES exceeded\n");
    const std::string ions = " | " + g.ions() + " | ";
    int shared = 0;
    for (size_t p = 0; (p = ions.find(" | Li1:0.0384615384615 | ", p)) != std::string::npos; p += 3) shared++;
    EXPECT_EQ(shared, 26) << ions;
}
