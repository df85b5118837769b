// Structure import: the human summary and its JSON form.
#include <cstdio>
#include <cstring>
#include <string>

#include <nlohmann/json.hpp>

#include "ZEMU-import.h"

namespace {

std::string states_text(const ZEMU_import_oxidation& o) {
    std::string out;
    char number[32];
    for (size_t i = 0; i < o.states.size(); i++) {
        snprintf(number, sizeof number, o.states[i] > 0 ? "%s+%g" : "%s%g", i ? "," : "", o.states[i]);
        out += number;
    }
    return out;
}

// The states as JSON numbers: whole ones as integers, others (given by hand) as they are.
nlohmann::json states_json(const ZEMU_import_oxidation& o) {
    nlohmann::json out = nlohmann::json::array();
    for (double v : o.states) {
        if (v == std::round(v)) out.push_back(static_cast<long long>(v));
        else out.push_back(v);
    }
    return out;
}

std::string field(const char* text, size_t size) { return std::string(text, strnlen(text, size)); }

}  // namespace

void ZEMU_import_print_summary(FILE* fpw, const ZEMU_cif* cif, const ZEMU_import_report* report) {
    fprintf(fpw, "Block: data_%s", report->block.c_str());
    if (report->block_count > 1) fprintf(fpw, " (of %d data blocks)", report->block_count);
    fprintf(fpw, "\n");
    fprintf(fpw, "Formula: %s  Z = %d\n", report->formula.c_str(), report->z);
    fprintf(fpw, "Space group: %s (No. %d), %d operations, from the %s\n", report->spacegroup.c_str(), report->sg_number,
            cif->symop_no, report->symmetry_source.c_str());
    fprintf(fpw, "Cell: a %.6f b %.6f c %.6f alpha %.4f beta %.4f gamma %.4f, volume %.4f A^3\n", cif->a, cif->b, cif->c,
            cif->alpha, cif->beta, cif->gamma, cif->volume);
    fprintf(fpw, "Sites (%d):\n", cif->site_no);
    for (int s = 0; s < cif->site_no; s++) {
        const ZEMU_site& site = cif->site[s];
        fprintf(fpw, "  %-9.9s %-8.9s x %.6f y %.6f z %.6f occ %.4f mul %d ox %+g\n", site.label, site.type, site.x,
                site.y, site.z, site.occ, site.mul, site.ox);
    }
    fprintf(fpw, "Oxidation states (%s):", report->oxidation.c_str());
    for (const ZEMU_import_oxidation& o : report->states)
        fprintf(fpw, " %s %s (%s)", o.element.c_str(), states_text(o).c_str(), o.source.c_str());
    fprintf(fpw, "\n");
    for (const std::string& w : report->warnings) fprintf(fpw, "Note: %s\n", w.c_str());
}

std::string ZEMU_import_summary_json(const ZEMU_cif* cif, const ZEMU_import_report* report) {
    nlohmann::json j;
    j["block"] = report->block;
    j["block_count"] = report->block_count;
    j["formula"] = report->formula;
    j["z"] = report->z;
    j["spacegroup"] = report->spacegroup;
    j["spacegroup_number"] = report->sg_number;
    j["symmetry_source"] = report->symmetry_source;
    j["operations"] = cif->symop_no;
    j["cell"] = {{"a", cif->a},         {"b", cif->b},          {"c", cif->c},
                 {"alpha", cif->alpha}, {"beta", cif->beta},    {"gamma", cif->gamma},
                 {"volume", cif->volume}};
    nlohmann::json sites = nlohmann::json::array();
    for (int s = 0; s < cif->site_no; s++) {
        const ZEMU_site& site = cif->site[s];
        sites.push_back({{"label", field(site.label, sizeof site.label)},
                         {"type", field(site.type, sizeof site.type)},
                         {"x", site.x},
                         {"y", site.y},
                         {"z", site.z},
                         {"occupancy", site.occ},
                         {"multiplicity", site.mul},
                         {"oxidation_state", site.ox}});
    }
    j["sites"] = sites;
    nlohmann::json states = nlohmann::json::array();
    for (const ZEMU_import_oxidation& o : report->states)
        states.push_back({{"element", o.element}, {"states", states_json(o)}, {"source", o.source}});
    j["oxidation_states"] = states;
    j["oxidation_source"] = report->oxidation;
    j["warnings"] = report->warnings;
    return j.dump();
}

int ZEMU_import_write_cif(ZEMU_cif* cif, const char* path, std::string* error) {
    const std::string target = path;
    const std::string tmp = target + ".tmp";
    FILE* fp = fopen(tmp.c_str(), "w");
    if (!fp) {
        *error = "cannot write " + tmp;
        return 1;
    }
    const int failed = ZEMU_write_cif_exact(cif, fp);
    const int closed = fclose(fp);
    if (failed || closed != 0 || rename(tmp.c_str(), target.c_str()) != 0) {
        remove(tmp.c_str());
        *error = "cannot write " + target;
        return 1;
    }
    return 0;
}
