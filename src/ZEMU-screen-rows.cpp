// Screening: result rows (CSV, JSON Lines, the worker's message) and the
// analysis of one landscape into a row.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "ZEMU-data.h"
#include "ZEMU-screen.h"

// Keys keep the column order.
using json = nlohmann::ordered_json;

namespace {

namespace fs = std::filesystem;

// Reports of the analysis kept per structure (the events file is not).
const char* const kKeptReports[] = {"ZEMU_summary.txt", "ZEMU_rp.csv", "ZEMU.vesta"};
// Scratch folder inside the kept folder: the analysis runs there beside the
// built-in bond-valence parameter file its VESTA writer reads.
const char kScratch[] = ".zemu-work";

// Agreement asked of the path network and the grid, scaled eV.
const double kConsistencyTolerance = 0.05;

// Column order of the table.
const char* const kColumns[] = {"file",     "status",   "error",    "formula",  "spacegroup", "sg_number", "ion",
                                "oxidation", "grid",    "minima_types", "saddle_types", "paths", "e1d", "e2d",
                                "e3d",      "grid_e1d", "grid_e2d", "grid_e3d", "consistent", "seconds"};

std::string fixed(double v, int decimals) {
    char text[64];
    snprintf(text, sizeof text, "%.*f", decimals, v);
    return text;
}

// Energies and times as the table shows them: NaN = unknown.
json number_or_null(double v, int decimals) {
    if (!std::isfinite(v)) return nullptr;
    return strtod(fixed(v, decimals).c_str(), nullptr);
}

json count_or_null(int v) { return v < 0 ? json(nullptr) : json(v); }

// The row as JSON: rounded for the table, or at full precision for the message.
json row_json(const ZEMU_screen_row& row, bool rounded) {
    auto energy = [rounded](double v) {
        if (!rounded) return std::isfinite(v) ? json(v) : json(nullptr);
        return number_or_null(v, 6);
    };
    json j = json::object();
    j["file"] = row.file;
    j["status"] = row.status;
    j["error"] = row.error;
    j["formula"] = row.formula;
    j["spacegroup"] = row.spacegroup;
    j["sg_number"] = row.sg_number > 0 ? json(row.sg_number) : json(nullptr);
    j["ion"] = row.ion;
    j["oxidation"] = row.oxidation;
    j["grid"] = row.grid;
    j["minima_types"] = count_or_null(row.minima_types);
    j["saddle_types"] = count_or_null(row.saddle_types);
    j["paths"] = count_or_null(row.paths);
    j["e1d"] = energy(row.e1d);
    j["e2d"] = energy(row.e2d);
    j["e3d"] = energy(row.e3d);
    j["grid_e1d"] = energy(row.grid_e1d);
    j["grid_e2d"] = energy(row.grid_e2d);
    j["grid_e3d"] = energy(row.grid_e3d);
    j["consistent"] = row.consistent < 0 ? json(nullptr) : json(row.consistent == 1);
    j["seconds"] = rounded ? number_or_null(row.seconds, 3) : json(row.seconds);
    return j;
}

std::string csv_field(const std::string& s) {
    if (s.find_first_of(",\"\r\n") == std::string::npos) return s;
    std::string out = "\"";
    for (char c : s) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + "\"";
}

// Errors travel on one line.
std::string one_line(const std::string& s) {
    std::string out = s;
    for (char& c : out)
        if (c == '\n' || c == '\r') c = ' ';
    while (!out.empty() && out.back() == ' ') out.pop_back();
    return out;
}

// Writes the built-in parameter file below dir. 0, or 1 with *error set.
int write_parameter_file(const fs::path& dir, std::string* error) {
    fs::path file = dir / ZEMU_BV_DATABASE_FILE;
    std::error_code ec;
    fs::create_directories(file.parent_path(), ec);
    unsigned long size = 0;
    const char* text = ZEMU_data_bv_database_text(&size);
    FILE* fp = ec ? nullptr : fopen(file.c_str(), "wb");
    bool written = fp != nullptr && fwrite(text, 1, size, fp) == size;
    if (fp != nullptr && fclose(fp) != 0) written = false;
    if (!written) {
        *error = file.string() + ": cannot be written";
        return 1;
    }
    return 0;
}

// Working directory changed for the report files and restored afterwards.
class WorkingDirectory {
public:
    // 0, or 1 with *error set.
    int enter(const std::string& dir, std::string* error) {
        char here[4096];
        if (getcwd(here, sizeof here) == nullptr || chdir(dir.c_str()) != 0) {
            *error = dir + ": " + strerror(errno);
            return 1;
        }
        saved_ = here;
        return 0;
    }
    ~WorkingDirectory() {
        if (!saved_.empty() && chdir(saved_.c_str()) != 0) {
            // nothing better to do: the directory the run started in is gone
        }
    }

private:
    std::string saved_;
};

int fail(ZEMU_screen_row* row, const std::string& cause) {
    row->status = "error";
    row->error = cause;
    return 1;
}

}  // namespace

void ZEMU_init_screen_row(ZEMU_screen_row* row) {
    row->file.clear();
    row->status.clear();
    row->error.clear();
    row->formula.clear();
    row->spacegroup.clear();
    row->sg_number = 0;
    row->ion.clear();
    row->oxidation.clear();
    row->grid.clear();
    row->minima_types = row->saddle_types = row->paths = -1;
    row->e1d = row->e2d = row->e3d = NAN;
    row->grid_e1d = row->grid_e2d = row->grid_e3d = NAN;
    row->consistent = -1;
    row->seconds = 0.0;
}

std::string ZEMU_screen_csv_header() {
    std::string line;
    for (const char* c : kColumns) line += std::string(line.empty() ? "" : ",") + c;
    return line + "\n";
}

std::string ZEMU_screen_csv_line(const ZEMU_screen_row& row) {
    json j = row_json(row, true);
    std::string line;
    bool first = true;
    for (const char* c : kColumns) {
        const json& v = j[c];
        std::string cell;
        if (v.is_string()) cell = csv_field(one_line(v.get<std::string>()));
        else if (v.is_boolean()) cell = v.get<bool>() ? "true" : "false";
        else if (v.is_number_integer()) cell = std::to_string(v.get<long long>());
        else if (v.is_number()) cell = fixed(v.get<double>(), std::string(c) == "seconds" ? 3 : 6);
        line += (first ? "" : ",") + cell;
        first = false;
    }
    return line + "\n";
}

std::string ZEMU_screen_json_line(const ZEMU_screen_row& row) {
    ZEMU_screen_row flat = row;
    flat.error = one_line(row.error);
    return row_json(flat, true).dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

std::string ZEMU_screen_row_message(const ZEMU_screen_row& row) {
    return row_json(row, false).dump(-1, ' ', false, json::error_handler_t::replace);
}

int ZEMU_screen_row_from_message(const std::string& text, ZEMU_screen_row* row) {
    json j = json::parse(text, nullptr, false);
    if (!j.is_object()) return 1;
    ZEMU_init_screen_row(row);
    auto text_of = [&j](const char* key, std::string* out) {
        if (j.contains(key) && j[key].is_string()) *out = j[key].get<std::string>();
    };
    auto int_of = [&j](const char* key, int* out) {
        if (j.contains(key) && j[key].is_number_integer()) *out = j[key].get<int>();
    };
    auto real_of = [&j](const char* key, double* out) {
        if (j.contains(key) && j[key].is_number()) *out = j[key].get<double>();
    };
    text_of("file", &row->file);
    text_of("status", &row->status);
    text_of("error", &row->error);
    text_of("formula", &row->formula);
    text_of("spacegroup", &row->spacegroup);
    int_of("sg_number", &row->sg_number);
    text_of("ion", &row->ion);
    text_of("oxidation", &row->oxidation);
    text_of("grid", &row->grid);
    int_of("minima_types", &row->minima_types);
    int_of("saddle_types", &row->saddle_types);
    int_of("paths", &row->paths);
    real_of("e1d", &row->e1d);
    real_of("e2d", &row->e2d);
    real_of("e3d", &row->e3d);
    real_of("grid_e1d", &row->grid_e1d);
    real_of("grid_e2d", &row->grid_e2d);
    real_of("grid_e3d", &row->grid_e3d);
    if (j.contains("consistent") && j["consistent"].is_boolean()) row->consistent = j["consistent"].get<bool>() ? 1 : 0;
    real_of("seconds", &row->seconds);
    return row->status.empty() ? 1 : 0;
}

int ZEMU_screen_analyse(ZEMU_cube* cube, ZEMU_cif* cif, const ZEMU_screen_options& options,
                        const std::string& keep_dir, ZEMU_screen_row* row) {
    ZEMU_run_options run;
    ZEMU_init_run_options(&run);
    if (options.ion.size() >= sizeof run.ion_type) return fail(row, "ion type too long: " + options.ion);
    snprintf(run.ion_type, sizeof run.ion_type, "%s", options.ion.c_str());
    run.max = options.max;
    run.exact_max = 1;
    run.quiet = 1;
    run.write_files = keep_dir.empty() ? 0 : 1;
    snprintf(run.cube_file, sizeof run.cube_file, "landscape.cube");
    ZEMU_run_result result;
    {
        // absolute: the reports are moved while the scratch folder is the working directory
        std::error_code path_ec;
        const fs::path kept = keep_dir.empty() ? fs::path() : fs::absolute(keep_dir, path_ec);
        if (path_ec) return fail(row, keep_dir + ": " + path_ec.message());
        const fs::path scratch = kept / kScratch;
        WorkingDirectory cwd;
        if (!keep_dir.empty()) {
            std::error_code ec;
            fs::create_directories(scratch, ec);
            if (ec) return fail(row, scratch.string() + ": " + ec.message());
            std::string error;
            if (write_parameter_file(scratch, &error) || cwd.enter(scratch.string(), &error)) return fail(row, error);
        }
        int failed = ZEMU_run_in_memory(cube, cif, &run, &result);
        if (!keep_dir.empty()) {
            for (const char* name : kKeptReports) {
                std::error_code ec;
                if (fs::exists(scratch / name, ec)) fs::rename(scratch / name, kept / name, ec);
                if (ec && !failed) return fail(row, (kept / name).string() + ": " + ec.message());
            }
            std::error_code ec;
            fs::remove_all(scratch, ec);
        }
        if (failed) return fail(row, "analysis failed");
    }
    if (row->grid.empty())
        row->grid = std::to_string(result.grid[0]) + "x" + std::to_string(result.grid[1]) + "x" +
                    std::to_string(result.grid[2]);
    row->minima_types = result.minima_types;
    row->saddle_types = result.saddle_types;
    row->paths = result.paths;
    const double network[3] = {result.e1d, result.e2d, result.e3d};
    double* e_out[3] = {&row->e1d, &row->e2d, &row->e3d};
    for (int d = 0; d < 3; d++) *e_out[d] = result.percolates[d] ? network[d] : NAN;

    // the grid's own barriers on the landscape the analysis left processed and scaled
    double span[3], top[3];
    if (ZEMU_hk_percolation_span(cube, span, top)) return fail(row, "grid percolation failed");
    double* g_out[3] = {&row->grid_e1d, &row->grid_e2d, &row->grid_e3d};
    row->consistent = 1;
    for (int d = 0; d < 3; d++) {
        *g_out[d] = std::isfinite(span[d]) ? span[d] : NAN;
        // a barrier whose top lies above the ceiling is out of the network's sight
        if (!(top[d] < result.ceiling)) continue;
        if (!result.percolates[d] || !(fabs(network[d] - span[d]) <= kConsistencyTolerance)) row->consistent = 0;
    }
    row->status = "ok";
    row->error.clear();
    return 0;
}
