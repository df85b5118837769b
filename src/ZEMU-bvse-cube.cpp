// Landscape cube file: the header fields of a computed grid as the cube reader
// derives them, and the writer of the program's cube variant (repeated
// boundary plane, one energy per line, written through a temporary name).
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "ZEMU-bvse.h"

namespace {

// One voxel component in bohr as written: "%.10f", negative zero as 0.0000000000.
std::string voxel_text(double bohr)
{
    char buf[64];
    snprintf(buf, sizeof buf, "%.10f", bohr);
    if (strcmp(buf, "-0.0000000000") == 0) return "0.0000000000";
    return buf;
}

// Second header line: the ion first, so that the first digit is its charge.
std::string ion_line(const char* ion)
{
    return std::string(ion ? ion : "") + " BVSE landscape (eV)";
}

struct FileCloser {
    void operator()(FILE* f) const
    {
        if (f) fclose(f);
    }
};

}  // namespace

void ZEMU_bvse_cube_header(ZEMU_cube* cube, const double cell[3][3], const int grid[3], const char* ion)
{
    if (cube->energy != nullptr) ZEMU_free_cube_energy(cube);
    double* voxel[3][3] = {{&cube->a_x, &cube->a_y, &cube->a_z},
                           {&cube->b_x, &cube->b_y, &cube->b_z},
                           {&cube->c_x, &cube->c_y, &cube->c_z}};
    for (int i = 0; i < 3; i++)
        for (int d = 0; d < 3; d++) {
            std::string text = voxel_text(cell[i][d] / (grid[i] - 1) / ZEMU_BOHR_TO_ANGSTROM);
            *voxel[i][d] = atof(text.c_str()) * ZEMU_BOHR_TO_ANGSTROM;
        }
    cube->a_grid = grid[0], cube->b_grid = grid[1], cube->c_grid = grid[2];
    ZEMU_calc_cell_parameter(cube);  // from the written counts, as the reader does
    cube->a_grid--, cube->b_grid--, cube->c_grid--;
    cube->lines_to_ignore = 0;
    for (const char* p = ion ? ion : ""; *p != '\0'; p++)
        if (*p >= '0' && *p <= '9') {
            cube->ion_charge = static_cast<double>(*p - '0');
            break;
        }
}

int ZEMU_bvse_write_cube(ZEMU_cube* cube, const char* ion, const char* title, const char* path, std::string* error)
{
    if (cube->energy == nullptr || cube->a_grid < 1 || cube->b_grid < 1 || cube->c_grid < 1) {
        *error = "no landscape to write";
        return 1;
    }
    std::string final_path = path ? path : "";
    std::string temporary = final_path + ".tmp." + std::to_string(static_cast<long>(getpid()));
    std::unique_ptr<FILE, FileCloser> file(fopen(temporary.c_str(), "wb"));
    if (!file) {
        *error = final_path + ": cannot be written (" + strerror(errno) + ")";
        return 1;
    }

    std::string head = title ? title : "";
    for (char& ch : head)
        if (ch == '\n' || ch == '\r') ch = ' ';
    head += "\n" + ion_line(ion) + "\n    0 0.000000 0.000000 0.000000\n";
    const int kept[3] = {cube->a_grid, cube->b_grid, cube->c_grid};
    const double voxel[3][3] = {
        {cube->a_x, cube->a_y, cube->a_z}, {cube->b_x, cube->b_y, cube->b_z}, {cube->c_x, cube->c_y, cube->c_z}};
    for (int i = 0; i < 3; i++) {
        head += std::to_string(kept[i] + 1);
        for (int d = 0; d < 3; d++) head += " " + voxel_text(voxel[i][d] / ZEMU_BOHR_TO_ANGSTROM);
        head += "\n";
    }
    bool ok = fwrite(head.data(), 1, head.size(), file.get()) == head.size();

    // energies, a outermost and c innermost, the last plane of each axis repeating the first
    std::string out;
    out.reserve(1 << 16);
    char number[64];
    for (int i = 0; i <= kept[0] && ok; i++)
        for (int j = 0; j <= kept[1] && ok; j++) {
            const double* row = cube->energy[i % kept[0]][j % kept[1]];
            for (int k = 0; k <= kept[2]; k++) {
                auto res = std::to_chars(number, number + sizeof number, row[k % kept[2]], std::chars_format::fixed, 12);
                out.append(number, res.ptr);
                out += '\n';
            }
            if (out.size() > (1 << 16) - 4096) {
                ok = fwrite(out.data(), 1, out.size(), file.get()) == out.size();
                out.clear();
            }
        }
    if (ok) ok = fwrite(out.data(), 1, out.size(), file.get()) == out.size();
    FILE* raw = file.release();
    if (fclose(raw) != 0) ok = false;
    if (!ok || rename(temporary.c_str(), final_path.c_str()) != 0) {
        *error = final_path + ": cannot be written (" + strerror(errno) + ")";
        remove(temporary.c_str());
        return 1;
    }
    return 0;
}
