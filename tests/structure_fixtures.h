// Shared by the structure, symmetry and site tests: structures and grids built
// in memory, a working directory with chosen bin/ data, and output capture.
#ifndef ZEMU_TESTS_STRUCTURE_FIXTURES_H
#define ZEMU_TESTS_STRUCTURE_FIXTURES_H

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ZEMU.h"
#include "e2e_util.h"

namespace fx {

inline char* txt(const char* s) { return const_cast<char*>(s); }

// What f writes to standard error / standard output / a temporary stream.
template <class F>
std::string stderr_of(F f) {
    testing::internal::CaptureStderr();
    f();
    return testing::internal::GetCapturedStderr();
}
template <class F>
std::string stdout_of(F f) {
    testing::internal::CaptureStdout();
    f();
    return testing::internal::GetCapturedStdout();
}
template <class F>
std::string stream_of(F f) {
    FILE* fp = tmpfile();
    if (!fp) return "<no tmpfile>";
    f(fp);
    std::string s;
    rewind(fp);
    for (int ch; (ch = fgetc(fp)) != EOF;) s += (char)ch;
    fclose(fp);
    return s;
}

// The enclosing scope runs in a fresh working directory whose bin/ is the
// project's, holds one given file, or is absent.
class InDir {
public:
    explicit InDir(bool project_bin) : dir_(project_bin) { enter(); }
    InDir(const std::string& bin_file, const std::string& text) : dir_(false) {
        mkdir(dir_.file("bin").c_str(), 0755);
        dir_.write("bin/" + bin_file, text);
        enter();
    }
    ~InDir() {
        if (chdir(old_.c_str()) != 0) ADD_FAILURE() << "cannot return to " << old_;
    }
    const zemu_test::WorkDir& dir() const { return dir_; }

private:
    void enter() {
        char buf[4096];
        old_ = getcwd(buf, sizeof buf) ? buf : ".";
        if (chdir(dir_.path().c_str()) != 0) ADD_FAILURE() << "cannot enter " << dir_.path();
    }
    zemu_test::WorkDir dir_;
    std::string old_;
};

// A structure record with a cell (a cube of 10 Angstrom unless given) and the
// given operations, released at the end of the test.
struct Cif {
    ZEMU_cif cif;

    explicit Cif(const std::vector<std::string>& ops = {"x,y,z"},
                 const std::vector<double>& cell = {10, 10, 10, 90, 90, 90}) {
        ZEMU_init_cif(&cif);
        ZEMU_init_fastgen(&cif);
        cif.a = cell[0], cif.b = cell[1], cif.c = cell[2];
        cif.alpha = cell[3], cif.beta = cell[4], cif.gamma = cell[5];
        ZEMU_is_valid_lattice_parameters(&cif);
        ZEMU_calc_cif_d_parameters(&cif);
        set_ops(ops);
    }
    ~Cif() { ZEMU_free_cif(&cif); }
    Cif(const Cif&) = delete;
    Cif& operator=(const Cif&) = delete;

    void set_ops(const std::vector<std::string>& ops) {
        ZEMU_free_cif_symop(&cif);
        cif.symop_no = (int)ops.size();
        ZEMU_alloc_cif_symop(&cif);
        for (size_t k = 0; k < ops.size(); k++) snprintf(cif.symop[k], ZEMU_CIF_SYMOP_SIZE, "%s", ops[k].c_str());
    }
    void type(const char* label, double ox) {
        EXPECT_EQ(ZEMU_add_cif_type(&cif, txt(label), ox, &cif.type_flag_counter), 0);
    }
    void site(const char* label, const char* type, double x, double y, double z, int mul = 1, double occ = 1.0,
              double ox = 0.0, char wyckoff = 'a') {
        EXPECT_EQ(ZEMU_add_cif_site(&cif, txt(label), txt(type), x, y, z, mul, wyckoff, occ, ox), 0);
    }
    ZEMU_site& operator[](int i) { return cif.site[i]; }
    std::vector<std::string> ops() const {
        std::vector<std::string> out;
        for (int k = 0; k < cif.symop_no; k++) out.emplace_back(cif.symop[k]);
        return out;
    }
    std::vector<std::string> types() const {
        std::vector<std::string> out;
        for (int t = 0; t < cif.type_no; t++) out.emplace_back(cif.type[t].label);
        return out;
    }
};

// An na x nb x nc grid with orthogonal voxel steps, every energy set to `fill`,
// energy ceiling 5 above a global minimum of 0.
struct Grid {
    ZEMU_cube cube;

    Grid(int na, int nb, int nc, double fill = 10.0, double step = 0.5) {
        ZEMU_init_cube(&cube);
        cube.a_grid = na, cube.b_grid = nb, cube.c_grid = nc;
        cube.a_x = cube.b_y = cube.c_z = step;
        ZEMU_calc_cell_parameter(&cube);
        EXPECT_EQ(ZEMU_alloc_cube_energy(&cube), 0);
        for (int i = 0; i < na; i++)
            for (int j = 0; j < nb; j++)
                for (int k = 0; k < nc; k++) cube.energy[i][j][k] = fill;
        cube.max_energy = 5.0;
    }
    ~Grid() { ZEMU_free_cube(&cube); }
    Grid(const Grid&) = delete;
    Grid& operator=(const Grid&) = delete;

    void set(int x, int y, int z, double e) { cube.energy[x][y][z] = e; }
    double at(int x, int y, int z) const { return cube.energy[x][y][z]; }
};

}  // namespace fx

#endif
