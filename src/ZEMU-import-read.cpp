// Structure import: the CIF document (gemmi's parser), the data block, the cell,
// the structure record and the entry points.
#include <array>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include <gemmi/cif.hpp>
#include <gemmi/numb.hpp>
#include <gemmi/symmetry.hpp>
#include <gemmi/unitcell.hpp>

#include "ZEMU-import-internal.h"

namespace cif = gemmi::cif;

namespace zemu_import {

void refuse(const std::string& message) { throw Refusal{message}; }

std::string at_line(int line) { return line > 0 ? " (line " + std::to_string(line) + ")" : std::string(); }

const std::string* find_value(cif::Block& block, std::initializer_list<const char*> tags, int* line) {
    for (const char* tag : tags) {
        if (const cif::Item* item = block.find_pair_item(tag)) {
            if (line) *line = item->line_number;
            return &item->pair[1];
        }
        cif::Column col = block.find_values(tag);
        if (col && col.length() > 0) {
            if (line) *line = col.item() ? col.item()->line_number : -1;
            return &col[0];
        }
    }
    return nullptr;
}

bool has_tag(cif::Block& block, const char* tag) { return (bool)block.find_values(tag); }

}  // namespace zemu_import

using namespace zemu_import;

namespace {

const double kPi = 3.141592653589793;
const double kMinSpacing = 0.5;  // Angstrom: thinnest lattice-plane spacing of a structure read

// ---------------------------------------------------------------------------
// Data block
// ---------------------------------------------------------------------------

// A tag given twice in the block read: refused where the import reads it, noted elsewhere.
void check_duplicates(cif::Block& block, ZEMU_import_report* report) {
    std::map<std::string, int> seen;
    for (const cif::Item& item : block.items) {
        std::vector<std::string> tags;
        if (item.type == cif::ItemType::Pair) tags.push_back(item.pair[0]);
        if (item.type == cif::ItemType::Loop) tags = item.loop.tags;
        for (std::string tag : tags) {
            for (char& ch : tag) ch = (char)std::tolower((unsigned char)ch);
            if (seen.count(tag)) {
                for (const char* used : {"_cell_", "_atom_site_", "_atom_type_", "_symmetry_", "_space_group"})
                    if (tag.compare(0, std::strlen(used), used) == 0)
                        refuse("tag " + tag + " given twice" + at_line(item.line_number));
                report->warnings.push_back("tag " + tag + " given twice" + at_line(item.line_number));
            }
            seen[tag] = item.line_number;
        }
    }
}

bool has_fractional_sites(cif::Block& block) { return has_tag(block, "_atom_site_fract_x"); }

bool is_magnetic_ops(cif::Block& block) {
    return has_tag(block, "_space_group_symop_magn_operation.xyz") ||
           has_tag(block, "_space_group_symop.magn_operation_xyz") ||
           has_tag(block, "_space_group_symop_magn_centering.xyz") ||
           has_tag(block, "_space_group_symop.magn_centering_xyz");
}

bool has_moments(cif::Block& block) {
    return has_tag(block, "_atom_site_moment.label") || has_tag(block, "_atom_site_moment_label");
}

// The block read: the first with fractional atom sites; refused when there is none.
cif::Block& site_block(cif::Document& doc) {
    for (cif::Block& b : doc.blocks)
        if (has_fractional_sites(b)) return b;
    for (cif::Block& b : doc.blocks)
        if (has_tag(b, "_atom_site_Cartn_x") || has_tag(b, "_atom_site.Cartn_x"))
            refuse("data_" + b.name + " gives Cartesian coordinates only; fractional coordinates are needed");
    refuse(doc.blocks.empty() ? "no data block" : "no atom sites with fractional coordinates in any data block");
}

// Notes on the block read (repeated tags, other blocks, magnetic moments); a modulated
// structure is refused.
void check_block(const cif::Document& doc, cif::Block& block, ZEMU_import_report* report) {
    check_duplicates(block, report);
    if (doc.blocks.size() > 1)
        report->warnings.push_back("the file holds " + std::to_string(doc.blocks.size()) + " data blocks; data_" +
                                   block.name + " is read");
    if (has_moments(block) && !is_magnetic_ops(block)) report->warnings.push_back("magnetic moments are ignored");
    if (const std::string* v = find_value(block, {"_cell_modulation_dimension"}))
        if (cif::as_number(*v, 0.0) > 0.0) refuse("modulated (incommensurate) structure: its average structure is not read");
}

// ---------------------------------------------------------------------------
// Cell
// ---------------------------------------------------------------------------

double cell_value(cif::Block& block, const char* tag) {
    int line = -1;
    const std::string* v = find_value(block, {tag}, &line);
    if (!v) refuse("no " + std::string(tag));
    const double d = cif::as_number(*v);
    if (!std::isfinite(d) || d <= 0.0) refuse("invalid " + std::string(tag) + " '" + cif::as_string(*v) + "'" + at_line(line));
    return d;
}

// Value as the structure reader gives it back from the writer's "%.6f".
double as_written6(double v) {
    char text[64];
    snprintf(text, sizeof text, "%.6f", v);
    return atof(text);
}

// Cell lengths (Angstrom) and angles (degrees) a, b, c, alpha, beta, gamma of the block;
// refused when they make no cell or one too thin.
std::array<double, 6> read_cell(cif::Block& block) {
    const double a = cell_value(block, "_cell_length_a"), b = cell_value(block, "_cell_length_b"),
                 c = cell_value(block, "_cell_length_c");
    const double al = cell_value(block, "_cell_angle_alpha"), be = cell_value(block, "_cell_angle_beta"),
                 ga = cell_value(block, "_cell_angle_gamma");
    const double ca = std::cos(al * kPi / 180.0), cb = std::cos(be * kPi / 180.0), cg = std::cos(ga * kPi / 180.0);
    const double v2 = 1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg;
    if (al >= 180.0 || be >= 180.0 || ga >= 180.0 || !(v2 > 1e-6)) refuse("cell angles do not make a cell");
    // Every atom lies at least one interplanar spacing from its own images: a spacing
    // below kMinSpacing is no crystal (and would make the neighbour searches endless).
    const double cell_volume = a * b * c * std::sqrt(v2);
    const double spacing[3] = {cell_volume / (b * c * std::sqrt(1.0 - ca * ca)),
                               cell_volume / (a * c * std::sqrt(1.0 - cb * cb)),
                               cell_volume / (a * b * std::sqrt(1.0 - cg * cg))};
    for (int i = 0; i < 3; i++)
        if (!(spacing[i] >= kMinSpacing)) {
            char text[160];
            snprintf(text, sizeof text, "cell too thin: the lattice planes across %c are %.4g A apart (atoms would "
                     "sit that close to their own images)", "abc"[i], spacing[i]);
            refuse(text);
        }
    return {a, b, c, al, be, ga};
}

// The record's cell and volume (the file's own when it gives one), as the structure
// reader gives them back.
void record_cell(const std::array<double, 6>& p, cif::Block& block, ZEMU_cif* record) {
    record->a = as_written6(p[0]);
    record->b = as_written6(p[1]);
    record->c = as_written6(p[2]);
    record->alpha = as_written6(p[3]);
    record->beta = as_written6(p[4]);
    record->gamma = as_written6(p[5]);
    double volume = record->a * record->b * record->c *
                    std::sqrt(1.0 - std::pow(std::cos(record->alpha * kPi / 180.0), 2) -
                              std::pow(std::cos(record->beta * kPi / 180.0), 2) -
                              std::pow(std::cos(record->gamma * kPi / 180.0), 2) +
                              2.0 * std::cos(record->alpha * kPi / 180.0) * std::cos(record->beta * kPi / 180.0) *
                                  std::cos(record->gamma * kPi / 180.0));
    if (const std::string* v = find_value(block, {"_cell_volume"})) {
        const double fv = cif::as_number(*v);
        if (std::isfinite(fv) && fv > 0.0) volume = fv;
    }
    record->volume = as_written6(volume);
}

// ---------------------------------------------------------------------------
// Symmetry
// ---------------------------------------------------------------------------

// Blank runs collapsed to one blank, quotes dropped, cut to the record's field.
std::string record_symbol(const std::string& hm) {
    std::string out;
    for (char ch : hm) {
        if (ch == '\'' || ch == '"') continue;
        if (std::isspace((unsigned char)ch)) {
            if (!out.empty() && out.back() != ' ') out += ' ';
        } else {
            out += ch;
        }
    }
    while (!out.empty() && out.back() == ' ') out.pop_back();
    return out.substr(0, sizeof(((ZEMU_cif*)nullptr)->spacegroup_HM) - 1);
}

// The record's space group and operations; the group the operations form into report.
void record_symmetry(const Symmetry& sym, ZEMU_cif* record, ZEMU_import_report* report) {
    const gemmi::GroupOps gops = gemmi::split_centering_vectors(sym.ops);
    const gemmi::SpaceGroup* found = gemmi::find_spacegroup_by_ops(gops);
    report->spacegroup = found ? found->xhm() : (sym.file_hm.empty() ? std::string("unknown") : sym.file_hm);
    report->sg_number = found ? found->number : sym.file_number;
    const std::string hm = !sym.file_hm.empty() ? sym.file_hm : (found ? found->hm : std::string());
    snprintf(record->spacegroup_HM, sizeof record->spacegroup_HM, "%s", record_symbol(hm).c_str());
    record->int_tab_cryst_no = sym.file_number > 0 ? sym.file_number : (found ? found->number : 0);
    ZEMU_free_cif_symop(record);
    record->symop_no = (int)sym.texts.size();
    if (ZEMU_alloc_cif_symop(record)) refuse("out of memory");
    for (size_t k = 0; k < sym.texts.size(); k++)
        snprintf(record->symop[k], ZEMU_CIF_SYMOP_SIZE, "%s", sym.texts[k].c_str());
}

// ---------------------------------------------------------------------------
// Document
// ---------------------------------------------------------------------------

// The record's database code and Z, when the file gives them.
void record_codes(cif::Block& block, ZEMU_cif* record) {
    if (const std::string* v = find_value(block, {"_database_code_ICSD"})) {
        std::string code;
        for (char ch : cif::as_string(*v))
            if (!std::isspace((unsigned char)ch) && ch != '\'' && ch != '"') code += ch;
        if (!cif::is_null(*v)) snprintf(record->ICSD, sizeof record->ICSD, "%s", code.c_str());
    }
    if (const std::string* v = find_value(block, {"_cell_formula_units_Z"})) {
        const double fz = cif::as_number(*v);
        if (fz >= 1.0 && fz < 1e6) record->z = (int)fz;
    }
}

// The document's structure (block, cell, symmetry, sites, oxidation states) into record and
// report. 0 on success; 1 with report->error set; other refusals are thrown.
int import_document(cif::Document& doc, const ZEMU_import_options* options, ZEMU_cif* record,
                    ZEMU_import_report* report) {
    report->block_count = (int)doc.blocks.size();
    cif::Block& block = site_block(doc);
    report->block = block.name;
    check_block(doc, block, report);
    const std::array<double, 6> p = read_cell(block);
    const gemmi::UnitCell cell(p[0], p[1], p[2], p[3], p[4], p[5]);

    Symmetry sym;
    read_symmetry(block, p[3], p[5], sym, report);
    report->symmetry_source = sym.source;
    record_cell(p, block, record);
    record_symmetry(sym, record, report);
    record_codes(block, record);

    std::vector<ZEMU_import_site> sites = read_sites(block, cell, sym, record, report);
    formula(sites, record->z, report);
    if (ZEMU_import_assign_oxidation(record, sites, options ? options->oxi : std::string(), report->z, report))
        return 1;
    if (ZEMU_import_build_record(record, sites)) refuse("out of memory");
    return 0;
}

}  // namespace

// ---------------------------------------------------------------------------
// Record
// ---------------------------------------------------------------------------

int ZEMU_import_build_record(ZEMU_cif* cif, const std::vector<ZEMU_import_site>& sites) {
    ZEMU_free_cif_type(cif);
    ZEMU_free_cif_site(cif);
    ZEMU_free_cif_site_all(cif);
    cif->type_no = cif->type_no_cap = 0;
    cif->site_no = cif->site_no_cap = 0;
    cif->site_all_no = 0;
    cif->type_flag_counter = 0;
    cif->site_charge_provided = 0;
    // Types in order of first use, named by element and state; flags as the reader numbers them.
    std::vector<std::string> type_of_site;
    for (const ZEMU_import_site& s : sites) {
        char ox_text[32];
        snprintf(ox_text, sizeof ox_text, "%.3f", s.ox);
        const double ox = atof(ox_text);
        char magnitude[32];
        snprintf(magnitude, sizeof magnitude, "%.3f", std::fabs(ox));
        std::string m = magnitude;
        while (m.back() == '0') m.pop_back();
        if (m.back() == '.') m.pop_back();
        std::string symbol = s.element + m + (ox < 0.0 ? "-" : "+");
        symbol = symbol.substr(0, ZEMU_CIF_LABEL_SIZE - 1);
        type_of_site.push_back(symbol);
        bool known = false;
        for (int t = 0; t < cif->type_no; t++)
            if (symbol == cif->type[t].label) known = true;
        if (known) continue;
        char label[ZEMU_CIF_LABEL_SIZE];
        snprintf(label, sizeof label, "%s", symbol.c_str());
        if (ZEMU_add_cif_type(cif, label, ox, &cif->type_flag_counter)) return 1;
        cif->type_flag_counter++;
    }
    for (size_t k = 0; k < sites.size(); k++) {
        const ZEMU_import_site& s = sites[k];
        char label[ZEMU_CIF_LABEL_SIZE], type[ZEMU_CIF_LABEL_SIZE];
        snprintf(label, sizeof label, "%s", s.label.c_str());
        snprintf(type, sizeof type, "%s", type_of_site[k].c_str());
        // The reader adds 1 to a negative coordinate, once; coordinates are stored so that
        // this leaves them unchanged, where the reader would have put them.
        double v[4] = {s.x, s.y, s.z, s.occ};
        for (int axis = 0; axis < 3; axis++) {
            if (v[axis] < 0.0) v[axis] += 1.0;
            if (v[axis] < 0.0) v[axis] -= std::floor(v[axis]);
        }
        for (double& d : v) {
            char text[ZEMU_CIF_NUMBER_SIZE];
            if (ZEMU_cif_exact_number(d, text, sizeof text)) return 1;
            d = atof(text);
        }
        if (ZEMU_add_cif_site(cif, label, type, v[0], v[1], v[2], s.mul, '.', v[3], 0.0)) return 1;
    }
    if (ZEMU_fill_ox_states_to_sites(cif)) return 1;
    ZEMU_calc_cif_d_parameters(cif);
    return ZEMU_refresh_site_mul(cif);
}

// ---------------------------------------------------------------------------
// Entry points
// ---------------------------------------------------------------------------

int ZEMU_import_structure_text(const char* text, size_t size, const char* name, const ZEMU_import_options* options,
                               ZEMU_cif* cif, ZEMU_import_report* report) {
    *report = ZEMU_import_report();
    report->block_count = 0;
    report->sg_number = 0;
    report->z = 0;
    ZEMU_init_cif(cif);
    int rc = 1;
    try {
        // Bytes outside printable ASCII (Latin-1 or UTF-8 names, Windows dashes) are only
        // ever in text the import does not use; the CIF grammar refuses them unquoted.
        std::string clean(text, size);
        for (char& ch : clean) {
            const unsigned char u = (unsigned char)ch;
            if (u >= 0x7f || (u < 0x20 && ch != '\n' && ch != '\r' && ch != '\t')) ch = '_';
        }
        cif::pegtl::memory_input<> in(clean.data(), clean.size(), name);
        cif::Document doc;
        doc.source = name;
        cif::parse_input(doc, in);
        cif::check_for_missing_values(doc);
        // Tags repeated elsewhere in the file are tolerated; see check_duplicates for the block read.
        rc = import_document(doc, options, cif, report);
    } catch (const Refusal& r) {
        report->error = r.message;
    } catch (const std::exception& e) {
        // Parser messages start with the file name; the front end names the file itself.
        std::string m = e.what();
        const std::string prefix = std::string(name) + ":";
        if (m.compare(0, prefix.size(), prefix) == 0) m = "line " + m.substr(prefix.size());
        const size_t nl = m.find('\n');
        if (nl != std::string::npos) m.resize(nl);
        report->error = m;
    }
    if (!report->error.empty()) rc = 1;
    if (rc) {
        ZEMU_free_cif(cif);
        ZEMU_init_cif(cif);
        if (report->error.empty()) report->error = "cannot be read";
    }
    return rc;
}

int ZEMU_import_structure(const char* path, const ZEMU_import_options* options, ZEMU_cif* cif,
                          ZEMU_import_report* report) {
    FILE* fp = fopen(path, "rb");
    if (!fp) {
        *report = ZEMU_import_report();
        ZEMU_init_cif(cif);
        report->error = std::string("cannot open: ") + std::strerror(errno);
        return 1;
    }
    std::string text;
    char buf[65536];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, fp)) > 0) text.append(buf, n);
    const bool failed = ferror(fp) != 0;
    fclose(fp);
    if (failed) {
        *report = ZEMU_import_report();
        ZEMU_init_cif(cif);
        report->error = "read error";
        return 1;
    }
    return ZEMU_import_structure_text(text.data(), text.size(), path, options, cif, report);
}
