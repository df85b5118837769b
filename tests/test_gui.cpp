// GUI table: the six sections of "ZEMU_gui.csv" on a hand-made landscape and
// path library, their edge cases and the failure paths (a whole run's table is
// among the recorded command sessions).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "ZEMU.h"
#include "fixtures.h"

using fx::InDir;
using fx::lines_of;

namespace {

// A 4x4x4 grid of 1 Angstrom voxels at 2.0 eV with hand-placed minima, saddle
// points, types and a path library.
//   minima: (1,1,1) and (3,3,3) of type 1, energy 0, ions Li1 0.5 and Li2 0.25;
//           (1,3,1) of type 3 on a two-point plateau with (1,3,2), energy 0.2,
//           interstitial 1; type 2 has no member.
//   saddles: (2,2,2) and (0,2,0) of type 1 at 0.5; (2,0,1) of type 2 at 0.8.
struct HandMadeRun : fx::Grid {
    ZEMU_cif cif;
    ZEMU_pathlib pathlib;

    HandMadeRun() : fx::Grid(4, 4, 4, 2.0, 1.0) {
        ZEMU_init_cube_stationary_points(&cube);
        EXPECT_EQ(ZEMU_init_cif(&cif), 0);
        ZEMU_init_pathlib(&pathlib);
        set(1, 1, 1, 0.0), set(3, 3, 3, 0.0), set(1, 3, 1, 0.2), set(1, 3, 2, 0.2);
        minimum(1, 1, 1, 0.0, 1, 2), minimum(3, 3, 3, 0.0, 1, 2), minimum(1, 3, 1, 0.2, 3, 1);
        for (int m = 0; m < 2; m++) ion(m, "Li1", 0.5), ion(m, "Li2", 0.25);
        cube.minima[2].ins_label = 1;
        saddle(2, 2, 2, 0.5, 1, 2), saddle(0, 2, 0, 0.5, 1, 2), saddle(2, 0, 1, 0.8, 2, 1);
        cube.minima_type_index = copy({0, 0, -1, 2});
        cube.saddle_type_index = copy({0, 0, 2});
        cube.total_minima_type = 3, cube.total_saddle_type = 2;
    }
    ~HandMadeRun() {
        ZEMU_free_pathlib(&pathlib);
        ZEMU_free_cif(&cif);
    }

    void minimum(int x, int y, int z, double e, int type, int mul) {
        EXPECT_EQ(ZEMU_add_cube_minima_point(&cube, x, y, z, x, y, z, e, type), 0);
        cube.minima[cube.total_minima - 1].mul = mul;
    }
    void ion(int m, const char* label, double occ) {
        EXPECT_EQ(ZEMU_add_cube_minima_ion(&cube.minima[m], fx::txt(label), occ), 0);
    }
    void saddle(int x, int y, int z, double e, int type, int mul) {
        EXPECT_EQ(ZEMU_add_cube_saddle_point(&cube, x, y, z, e, type), 0);
        cube.saddle[cube.total_saddle - 1].mul = mul;
    }
    // A type index list in the grid's own (malloc) storage.
    static int* copy(const std::vector<int>& list) {
        int* out = (int*)malloc(sizeof(int) * list.size());
        std::copy(list.begin(), list.end(), out);
        return out;
    }
    void path(int start_type, int saddle_type, int end_type, double start, double saddle, double end,
              double straight, double tortuosity, int one, int two, int three) {
        pathlib.path = (ZEMU_path*)realloc(pathlib.path, sizeof(ZEMU_path) * (size_t)(pathlib.total_path + 1));
        ZEMU_path& p = pathlib.path[pathlib.total_path++];
        ZEMU_init_path(&p);
        p.start_type = start_type, p.saddle_type = saddle_type, p.end_type = end_type;
        p.start_energy = start, p.saddle_energy = saddle, p.end_energy = end;
        p.straightline_length = straight, p.tortuosity = tortuosity;
        p.oneD = one, p.twoD = two, p.threeD = three;
    }
    int write() { return ZEMU_print_GUI_output(&cube, &cif, &pathlib); }
};

std::string recorded(const char* name) { return zemu_test::slurp(zemu_test::data_file(std::string("cmd/") + name)); }

}  // namespace

// The sections as recorded in tests/data/cmd/gui_*.csv. In sections 1 to 4, type 2
// has no member, so its (empty) label stays on the line of type 3; the barriers
// of section 5 are the lower climbs, 0.5 - 0.2 and 0.8 - 0.2.
TEST(GuiTable, HandMadeRunGivesSixSectionsAsRecorded) {
    InDir wd;
    {
        HandMadeRun run;
        run.path(1, 1, 3, 0.0, 0.5, 0.2, 2.5, 1.2, 1, 0, 0);
        run.path(3, 2, 1, 0.2, 0.8, 0.0, 3.0, 1.5, 1, 1, 0);
        run.pathlib.oneD = 0.3, run.pathlib.twoD = 0.6, run.pathlib.threeD = 999.0;
        EXPECT_EQ(fx::stdout_of([&] { ASSERT_EQ(run.write(), 0); }), "GUI output done.\n");
        EXPECT_EQ(wd.dir.read("ZEMU_gui.csv"), recorded("gui_paths.csv"));
    }
    {
        // Without paths the path section is empty.
        HandMadeRun run;
        fx::stdout_of([&] { ASSERT_EQ(run.write(), 0); });
        EXPECT_EQ(wd.dir.read("ZEMU_gui.csv"), recorded("gui_no_paths.csv"));
    }
    // Energies and barriers are in the scaled measure (here 2*E); activation
    // energies are already scaled and are written as they are.
    HandMadeRun run;
    run.cube.scaling = 1;
    ASSERT_EQ(ZEMU_parse_energy_scaling(&run.cube, fx::txt("2*E")), 0);
    run.path(1, 1, 3, 0.0, 0.5, 0.2, 2.5, 1.2, 0, 0, 0);
    run.pathlib.oneD = 0.3;
    fx::stdout_of([&] { ASSERT_EQ(run.write(), 0); });
    EXPECT_EQ(wd.dir.read("ZEMU_gui.csv"), recorded("gui_scaled.csv"));
}

TEST(GuiTable, FailuresStopWithoutTheDoneLine) {
    {
        InDir wd;
        mkdir("ZEMU_gui.csv", 0755);  // a directory cannot be opened for writing
        HandMadeRun run;
        std::string out;
        EXPECT_EQ(fx::stderr_of([&] { out = fx::stdout_of([&] { EXPECT_EQ(run.write(), 1); }); }),
                  "Error: Unable to write to ZEMU_gui.csv\n");
        EXPECT_EQ(out, "");
    }
    // Type 3's minimum now lies on the 2.0 eV floor that fills the grid: the
    // oversized plateau stops the table where it failed.
    InDir wd;
    HandMadeRun run;
    run.set(1, 3, 1, 2.0), run.set(1, 3, 2, 2.0);
    EXPECT_EQ(fx::stdout_of([&] { EXPECT_EQ(run.write(), 1); }), "");
    EXPECT_EQ(lines_of(wd.dir.read("ZEMU_gui.csv")),
              (std::vector<std::string>{"Li1/Li2,0.750,2,0.250,0.250,0.250,0.000", ",i1,"}));
}
