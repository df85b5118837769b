// Screening: the work on one structure file (import, landscape, analysis),
// with the files kept on request.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "ZEMU-bvse.h"
#include "ZEMU-import.h"
#include "ZEMU-screen.h"

namespace {

// The job's structure and grid, released whichever way it ends.
struct JobObjects {
    ZEMU_cif cif{};
    bool cif_ready = false;
    ZEMU_cube cube{};
    JobObjects() { ZEMU_init_cube(&cube); }
    ~JobObjects() {
        ZEMU_free_cube(&cube);
        if (cif_ready) ZEMU_free_cif(&cif);
    }
};

void fail(ZEMU_screen_row* row, const std::string& cause) {
    row->status = "error";
    row->error = cause;
}

}  // namespace

void ZEMU_screen_structure(const std::string& file, const ZEMU_screen_options& options, ZEMU_screen_row* row) {
    JobObjects job;

    // 1. Import, oxidation states as the import assigns them.
    ZEMU_import_options import_options;
    ZEMU_import_report import;
    import.block_count = 0;
    import.sg_number = 0;
    import.z = 0;
    int refused = ZEMU_import_structure(file.c_str(), &import_options, &job.cif, &import);
    job.cif_ready = true;  // initialised by the import whatever its result
    if (refused) {
        fail(row, import.error.empty() ? "import failed" : import.error);
        return;
    }
    row->formula = import.formula;
    row->spacegroup = import.spacegroup;
    row->sg_number = import.sg_number;
    row->oxidation = import.oxidation;

    // 2. Landscape on the default grid, one thread (the batch runs the workers side by side).
    ZEMU_bvse_options landscape_options;
    ZEMU_init_bvse_options(&landscape_options);
    landscape_options.step = options.step;
    landscape_options.threads = 1;
    landscape_options.progress = 0;
    ZEMU_bvse_report landscape;
    landscape.grid[0] = landscape.grid[1] = landscape.grid[2] = 0;
    landscape.symmetric = 0;
    landscape.representatives = 0;
    if (ZEMU_bvse_landscape(&job.cif, options.ion.c_str(), &landscape_options, &job.cube, &landscape)) {
        fail(row, landscape.error.empty() ? "landscape failed" : landscape.error);
        return;
    }
    row->grid = std::to_string(landscape.grid[0]) + "x" + std::to_string(landscape.grid[1]) + "x" +
                std::to_string(landscape.grid[2]);

    // 3. Files kept on request: the landscape and the structure as imported (the
    // analysis adds its reports beside them).
    std::filesystem::path dir;
    if (!options.keep.empty()) {
        dir = std::filesystem::path(options.keep) / std::filesystem::path(file).stem();
        std::error_code ec;
        std::filesystem::create_directories(dir, ec);
        if (ec) {
            fail(row, dir.string() + ": " + ec.message());
            return;
        }
        std::string error;
        const std::string title = row->formula + " " + options.ion + " landscape";
        if (ZEMU_bvse_write_cube(&job.cube, options.ion.c_str(), title.c_str(), (dir / "landscape.cube").c_str(),
                                 &error)) {
            fail(row, error);
            return;
        }
        if (ZEMU_import_write_cif(&job.cif, (dir / "structure.cif").c_str(), &error)) {
            fail(row, error);
            return;
        }
    }

    // 4. The program's analysis and the grid's own barriers.
    ZEMU_screen_analyse(&job.cube, &job.cif, options, dir.string(), row);
}
