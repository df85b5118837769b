// Symmetry operations: operation texts evaluated on fractional positions,
// symmetric copies in the cell and in a supercell, multiplicities, the P1
// expansion, and the same texts as integer operations on a grid with their
// grid images. Input: three bytes giving the grid counts, then one operation
// per line.
#include "fuzz_util.h"

#include <string>
#include <vector>

namespace {

// Grid count 1..24 from one byte.
int grid_count(uint8_t b) { return 1 + b % 24; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    zemu_fuzz::enter_workdir();
    if (size < 3) return 0;
    const int na = grid_count(data[0]), nb = grid_count(data[1]), nc = grid_count(data[2]);
    std::vector<std::string> ops;
    std::string current;
    for (size_t i = 3; i < size; i++) {
        if (data[i] == '\n') {
            ops.push_back(current);
            current.clear();
        } else if (data[i] != '\0') {
            current += static_cast<char>(data[i]);
        }
    }
    if (!current.empty()) ops.push_back(current);
    if (ops.empty() || ops.size() > ZEMU_MAX_SYMOP + 8) return 0;  // a few past the grid area's room

    ZEMU_cif cif;
    memset(&cif, 0, sizeof cif);
    if (ZEMU_init_cif(&cif)) return 0;
    ZEMU_free_cif_symop(&cif);
    cif.symop_no = static_cast<int>(ops.size());
    if (ZEMU_alloc_cif_symop(&cif)) abort();
    for (size_t k = 0; k < ops.size(); k++) snprintf(cif.symop[k], ZEMU_CIF_SYMOP_SIZE, "%s", ops[k].c_str());
    cif.a = 5.0, cif.b = 6.0, cif.c = 7.0;
    cif.alpha = cif.beta = cif.gamma = 90.0;
    ZEMU_calc_cif_d_parameters(&cif);

    const double points[][3] = {{0.0, 0.0, 0.0}, {0.25, 0.5, 0.75}, {0.1, 0.2, 0.3}};
    for (const auto& p : points) {
        double value;
        for (auto& op : ops) ZEMU_symmetry_parse_symop(&op[0], p[0], p[1], p[2], &value);
        ZEMU_equiv_pos equiv;
        ZEMU_symmetry_generate_equivalent_copies(&cif, &equiv, p[0], p[1], p[2]);
        ZEMU_free_equiv_pos(&equiv);
        ZEMU_symmetry_generate_equivalent_copies_in_supercell(&cif, &equiv, p[0], p[1], p[2], 2, 1, 2);
        ZEMU_free_equiv_pos(&equiv);
    }

    // Grid operations and images.
    ZEMU_cube cube;
    ZEMU_init_cube(&cube);
    cube.a_grid = na, cube.b_grid = nb, cube.c_grid = nc;
    ZEMU_prepare_fastgen_symop(&cif, &cube);
    ZEMU_symcopies copies;
    const int grid_points[][3] = {{0, 0, 0}, {1, 2, 3}, {na - 1, nb / 2, nc - 1}, {-1, nb, 2 * nc}};
    for (const auto& g : grid_points) {
        ZEMU_fastgen_sym_copies(&cif, &cube, &copies, g[0], g[1], g[2]);
        ZEMU_condense_copies(&cif, &cube, &copies, 1);
        ZEMU_fastgen_sym_copies_dbl(&cif, &cube, &copies, g[0] + 0.5, g[1] - 0.25, g[2]);
        ZEMU_is_symmetrically_related(&cif, &cube, g[0], g[1], g[2], 0, 0, 0);
    }

    // Structure-level uses of the operations: one site expanded to P1.
    char label[] = "Li1", type[] = "Li1+";
    int flag = 0;
    if (ZEMU_add_cif_type(&cif, type, 1.0, &flag) == 0 &&
        ZEMU_add_cif_site(&cif, label, type, 0.1, 0.2, 0.3, 1, 'a', 1.0, 1.0) == 0) {
        ZEMU_refresh_site_mul(&cif);
        ZEMU_remove_cif_symmetry(&cif);
    }
    ZEMU_free_cube(&cube);
    ZEMU_free_cif(&cif);
    return 0;
}
