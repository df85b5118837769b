// Screening: result rows (CSV, JSON Lines, the worker's message) and the
// analysis of one landscape into a row.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include <nlohmann/json.hpp>

#include "ZEMU-screen.h"

// Keys keep the column order.
using json = nlohmann::ordered_json;

namespace {

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

int ZEMU_screen_analyse(ZEMU_cube* cube, ZEMU_cif* cif, const ZEMU_screen_options& options, int write_files,
                        ZEMU_screen_row* row) {
    ZEMU_run_options run;
    ZEMU_init_run_options(&run);
    if (options.ion.size() >= sizeof run.ion_type) {
        row->status = "error";
        row->error = "ion type too long: " + options.ion;
        return 1;
    }
    snprintf(run.ion_type, sizeof run.ion_type, "%s", options.ion.c_str());
    run.max = options.max;
    run.exact_max = 1;
    run.quiet = 1;
    run.write_files = write_files;
    snprintf(run.cube_file, sizeof run.cube_file, "landscape.cube");
    ZEMU_run_result result;
    if (ZEMU_run_in_memory(cube, cif, &run, &result)) {
        row->status = "error";
        row->error = "analysis failed";
        return 1;
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
    if (ZEMU_hk_percolation_span(cube, span, top)) {
        row->status = "error";
        row->error = "grid percolation failed";
        return 1;
    }
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
