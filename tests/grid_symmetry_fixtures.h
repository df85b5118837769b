// Small grids and structures built in memory for the grid-symmetry tests.
#ifndef ZEMU_TESTS_GRID_SYMMETRY_FIXTURES_H
#define ZEMU_TESTS_GRID_SYMMETRY_FIXTURES_H

#include <cstdio>
#include <string>
#include <vector>

#include "ZEMU.h"

namespace gridsym_test {

// A cubic grid with orthogonal voxel steps, every energy set to `fill`.
struct TestGrid {
    ZEMU_cube cube;

    TestGrid(int na, int nb, int nc, double fill = 10.0, double step = 0.5) {
        ZEMU_init_cube(&cube);
        cube.a_grid = na;
        cube.b_grid = nb;
        cube.c_grid = nc;
        cube.a_x = step;
        cube.b_y = step;
        cube.c_z = step;
        ZEMU_calc_cell_parameter(&cube);
        ZEMU_alloc_cube_energy(&cube);
        for (int i = 0; i < na; i++)
            for (int j = 0; j < nb; j++)
                for (int k = 0; k < nc; k++) cube.energy[i][j][k] = fill;
        cube.global_minimum = 0.0;
        cube.max_energy = 5.0;
    }
    ~TestGrid() { ZEMU_free_cube(&cube); }
    TestGrid(const TestGrid&) = delete;
    TestGrid& operator=(const TestGrid&) = delete;

    void set(int x, int y, int z, double e) { cube.energy[x][y][z] = e; }
    double at(int x, int y, int z) const { return cube.energy[x][y][z]; }
};

// A structure that carries only the given symmetry operation texts.
struct TestStructure {
    ZEMU_cif cif;

    explicit TestStructure(const std::vector<std::string>& ops) {
        ZEMU_init_cif(&cif);
        ZEMU_free_cif_symop(&cif);
        cif.symop_no = (int)ops.size();
        ZEMU_alloc_cif_symop(&cif);
        for (size_t n = 0; n < ops.size(); n++) snprintf(cif.symop[n], ZEMU_CIF_SYMOP_SIZE, "%s", ops[n].c_str());
    }
    ~TestStructure() { ZEMU_free_cif(&cif); }
    TestStructure(const TestStructure&) = delete;
    TestStructure& operator=(const TestStructure&) = delete;
};

}  // namespace gridsym_test

#endif
