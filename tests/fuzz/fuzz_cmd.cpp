// Command mode: the input is what the user types. Each run analyses a small
// landscape (8 x 8 x 8 points, two minima along a, P-1 structure with a Li site)
// with paths, then reads the input as standard input in the command mode.
// Inputs holding a '/' are skipped, so that file names given to the exporting
// commands stay inside the working directory.
#include "fuzz_util.h"

#include <cmath>

namespace {

std::string landscape_cube() {
    const int n = 8;
    const double pi = 3.141592653589793, bohr = 0.529177249;
    char line[128];
    std::string text = "landscape\nLi1+ probe\n  0 0.0 0.0 0.0\n";
    snprintf(line, sizeof line, "  %d %.8f 0.0 0.0\n  %d 0.0 %.8f 0.0\n  %d 0.0 0.0 %.8f\n", n, 0.5 / bohr, n,
             1.0 / bohr, n, 1.0 / bohr);
    text += line;
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++)
            for (int k = 0; k < n; k++) {
                snprintf(line, sizeof line, "%.8f\n",
                         0.5 * cos(4 * pi * i / n) + 0.3 * cos(2 * pi * j / n) + 0.1 * cos(2 * pi * k / n));
                text += line;
            }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool ready = false;
    if (!ready) {
        zemu_fuzz::enter_workdir();
        zemu_fuzz::write_file("l.cube", landscape_cube());
        zemu_fuzz::write_file("s.cif", zemu_fuzz::kStructure);
        ready = true;
    }
    if (memchr(data, '/', size) != nullptr) return 0;
    zemu_fuzz::write_file("commands.txt", data, size);
    if (!freopen("commands.txt", "r", stdin)) abort();

    ZEMU_input input = zemu_fuzz::empty_input();
    input.cube = 1;
    zemu_fuzz::set_field(input.cube_file, sizeof input.cube_file, "l.cube");
    input.cif = 1;
    zemu_fuzz::set_field(input.cif_file, sizeof input.cif_file, "s.cif");
    input.ion = 1;
    zemu_fuzz::set_field(input.ion_type, sizeof input.ion_type, "Li1+");
    input.path = 1;
    input.cmd = 1;
    ZEMU(&input);
    return 0;
}
