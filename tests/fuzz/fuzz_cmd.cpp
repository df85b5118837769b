// Command mode: the input is what the user types. Each run analyses a small
// landscape (8 x 8 x 8 points, two minima along a, P-1 structure with a Li site)
// with paths, then reads the input as standard input in the command mode.
// Inputs holding a '/' are skipped, so that file names given to the exporting
// commands stay inside the working directory.
#include "fuzz_util.h"

#include <cmath>

namespace {

// Voxel 0.5 x 1 x 1 Angstrom; E = 0.5 cos(4 pi i/8) + 0.3 cos(2 pi j/8) + 0.1 cos(2 pi k/8).
std::string landscape_cube() {
    std::string text = "landscape\nLi1+ probe\n  0 0.0 0.0 0.0\n  8 0.94486299 0.0 0.0\n"
                       "  8 0.0 1.88972599 0.0\n  8 0.0 0.0 1.88972599\n";
    char value[32];
    for (int n = 0; n < 512; n++) {
        const int i = n / 64, j = n / 8 % 8, k = n % 8;
        snprintf(value, sizeof value, "%.8f\n",
                 0.5 * cos(M_PI * i / 2) + 0.3 * cos(M_PI * j / 4) + 0.1 * cos(M_PI * k / 4));
        text += value;
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool ready = (zemu_fuzz::enter_workdir_with_structure(),
                               zemu_fuzz::write_file("l.cube", landscape_cube()), true);
    (void)ready;
    if (memchr(data, '/', size) != nullptr) return 0;
    zemu_fuzz::write_file("commands.txt", data, size);
    if (!freopen("commands.txt", "r", stdin)) abort();
    ZEMU_input input = zemu_fuzz::probe_input("l.cube", "s.cif");
    input.path = 1;
    input.cmd = 1;
    ZEMU(&input);
    return 0;
}
