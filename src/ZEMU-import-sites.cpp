// Structure import: the atom sites of a data block (element, occupancy, state
// written in the type symbol or the type loop), their images in the cell, merged
// full listings, multiplicities checked, unique short labels and the formula.
#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include <gemmi/cif.hpp>
#include <gemmi/elem.hpp>
#include <gemmi/numb.hpp>
#include <gemmi/symmetry.hpp>
#include <gemmi/unitcell.hpp>

#include "ZEMU-import-internal.h"

namespace cif = gemmi::cif;

namespace zemu_import {

namespace {

const double kMaxCoordinate = 1e4;  // fractional coordinates beyond this are refused
const int kMaxCellAtoms = 200000;   // atoms per cell beyond this are refused

// One row of the atom-site loop as read.
struct FileSite {
    std::string label, type_symbol, element;
    gemmi::Fractional pos;
    double occ;
    int file_mul;  // 0 = not given
    bool has_ox;
    double ox;
};

// Element symbol from the leading letters of a type symbol or label; empty when none.
std::string element_of(const std::string& text) {
    std::string letters;
    for (char ch : text) {
        if (!std::isalpha((unsigned char)ch) || letters.size() == 2) break;
        letters += ch;
    }
    if (letters.empty()) return std::string();
    gemmi::El el = gemmi::El::X;
    if (letters.size() == 2) el = gemmi::find_element(letters.c_str());
    if (el == gemmi::El::X) el = gemmi::find_element(letters.substr(0, 1).c_str());
    if (el == gemmi::El::X) return std::string();
    if (el == gemmi::El::D) return "H";
    return gemmi::element_name(el);
}

// Element of a site given by its label alone; water oxygens are often named apart.
std::string element_of_label(const std::string& label) {
    for (const char* water : {"Wat", "WAT", "wat", "OW", "Ow", "OH2", "Oh2"})
        if (label.compare(0, std::strlen(water), water) == 0) return "O";
    return element_of(label);
}

// Charge written in a type symbol after the element: "2+", "+2", "-", "2.5+"; false when none.
bool charge_of(const std::string& symbol, const std::string& element, double* ox) {
    size_t start = 0;
    while (start < symbol.size() && std::isalpha((unsigned char)symbol[start]) && start < element.size()) start++;
    const std::string rest = symbol.substr(start);
    if (rest.empty()) return false;
    auto number = [](const std::string& s, double* v) {
        if (s.empty()) {
            *v = 1.0;
            return true;
        }
        for (char ch : s)
            if (!std::isdigit((unsigned char)ch) && ch != '.') return false;
        *v = atof(s.c_str());
        return true;
    };
    double v = 0.0;
    const char last = rest.back(), first = rest[0];
    if ((last == '+' || last == '-') && number(rest.substr(0, rest.size() - 1), &v)) {
        *ox = last == '-' ? -v : v;
        return true;
    }
    if ((first == '+' || first == '-') && number(rest.substr(1), &v)) {
        *ox = first == '-' ? -v : v;
        return true;
    }
    return false;
}

// Oxidation states of the type loop, by type symbol.
std::map<std::string, double> type_states(cif::Block& block) {
    std::map<std::string, double> type_ox;
    for (auto row : block.find("_atom_type_", {"symbol", "oxidation_number"}))
        if (!cif::is_null(row[1])) {
            const double v = cif::as_number(row[1]);
            if (std::isfinite(v)) type_ox[row.str(0)] = v;
        }
    return type_ox;
}

// Fractional coordinates of a row; "." (some database exports write it for 0) is read
// as 0 and sets *dot. Refused when missing, invalid or too far out.
gemmi::Fractional row_position(const cif::Table::Row& row, const std::string& name, int line, bool* dot) {
    auto coordinate = [dot](const std::string& v) {
        if (v == ".") {
            *dot = true;
            return 0.0;
        }
        return cif::as_number(v);
    };
    const double x = coordinate(row[0]), y = coordinate(row[1]), z = coordinate(row[2]);
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z) || std::fabs(x) > kMaxCoordinate ||
        std::fabs(y) > kMaxCoordinate || std::fabs(z) > kMaxCoordinate)
        refuse("site " + name + ": missing or invalid fractional coordinates" + at_line(line));
    return gemmi::Fractional(x, y, z);
}

// Multiplicity the row gives (the later of its two tags); 0 when none. Refused when invalid.
int row_multiplicity(const cif::Table::Row& row, const std::string& name, int line) {
    int mul = 0;
    for (int col : {6, 7})
        if (row.has2(col)) {
            const double m = cif::as_number(row[col]);
            if (!(m >= 1.0 && m <= ZEMU_MAX_SYMOP * 8 && m == std::floor(m)))
                refuse("site " + name + ": invalid multiplicity '" + row.str(col) + "'" + at_line(line));
            mul = (int)m;
        }
    return mul;
}

// Site of row n of the atom-site loop (at line) into s; false for a dummy atom or an
// empty site (noted). The name of a site with "." coordinates goes to dotted.
bool read_row(const cif::Table::Row& row, int n, int line, const std::map<std::string, double>& type_ox, FileSite& s,
              std::vector<std::string>& dotted, ZEMU_import_report* report) {
    s.label = row.has2(3) ? row.str(3) : std::string();
    s.type_symbol = row.has2(4) ? row.str(4) : s.label;
    const std::string name = s.label.empty() ? "row " + std::to_string(n) : s.label;
    if (row.has2(8) && row.str(8) == "dum") return false;  // dummy atom
    s.element = element_of(s.type_symbol);
    if (s.element.empty() || !row.has2(4)) s.element = element_of_label(s.label);
    if (s.element.empty())
        refuse("site " + name + ": no element in type symbol '" + s.type_symbol + "'" + at_line(line));
    bool dot = false;
    s.pos = row_position(row, name, line, &dot);
    if (dot) dotted.push_back(name);
    s.occ = row.has2(5) ? cif::as_number(row[5]) : 1.0;
    if (!std::isfinite(s.occ) || s.occ < 0.0 || s.occ > 1.0 + 1e-3)
        refuse("site " + name + ": invalid occupancy '" + row.str(5) + "'" + at_line(line));
    if (s.occ == 0.0) {
        report->warnings.push_back("site " + name + " has occupancy 0 and is left out");
        return false;
    }
    s.file_mul = row_multiplicity(row, name, line);
    s.has_ox = false;
    s.ox = 0.0;
    auto t = type_ox.find(s.type_symbol);
    if (t != type_ox.end()) {
        s.has_ox = true;
        s.ox = t->second;
    } else {
        s.has_ox = charge_of(s.type_symbol, s.element, &s.ox);
    }
    return true;
}

// The rows of the atom-site loop; refused when it lacks coordinates or holds no site.
std::vector<FileSite> read_file_sites(cif::Block& block, ZEMU_import_report* report) {
    cif::Table table = block.find("_atom_site_", {"fract_x", "fract_y", "fract_z", "?label", "?type_symbol",
                                                  "?occupancy", "?symmetry_multiplicity",
                                                  "?site_symmetry_multiplicity", "?calc_flag"});
    if (!table.ok()) refuse("the atom-site loop lacks _atom_site_fract_y or _atom_site_fract_z");
    const int line = table.loop_item ? table.loop_item->line_number : -1;
    const std::map<std::string, double> type_ox = type_states(block);
    std::vector<FileSite> sites;
    std::vector<std::string> dotted;
    int n = 0;
    for (auto row : table) {
        FileSite s;
        if (read_row(row, ++n, line, type_ox, s, dotted, report)) sites.push_back(s);
    }
    if (sites.empty()) refuse("no atom sites" + at_line(line));
    if (!dotted.empty())
        report->warnings.push_back("coordinates written \".\" are read as 0 (site " + dotted[0] +
                                   (dotted.size() > 1 ? " and " + std::to_string(dotted.size() - 1) + " more)" : ")"));
    return sites;
}

// Images of pos under the operations, in [0,1), one per distinct atom.
std::vector<gemmi::Fractional> images(const gemmi::UnitCell& cell, const std::vector<gemmi::Op>& ops,
                                      const gemmi::Fractional& pos) {
    std::vector<gemmi::Fractional> out;
    for (const gemmi::Op& op : ops) {
        const std::array<double, 3> v = op.apply_to_xyz({pos.x, pos.y, pos.z});
        const gemmi::Fractional f = gemmi::Fractional(v[0], v[1], v[2]).wrap_to_unit();
        bool seen = false;
        for (const gemmi::Fractional& o : out)
            if (cell.distance_sq(f, o) < kSameAtom * kSameAtom) {
                seen = true;
                break;
            }
        if (!seen) out.push_back(f);
    }
    return out;
}

// The position averaged over the operations that map it onto itself (exactly on its
// special position).
gemmi::Fractional on_special_position(const gemmi::UnitCell& cell, const std::vector<gemmi::Op>& ops,
                                      const gemmi::Fractional& pos) {
    double sum[3] = {0.0, 0.0, 0.0};
    int n = 0;
    for (const gemmi::Op& op : ops) {
        const std::array<double, 3> v = op.apply_to_xyz({pos.x, pos.y, pos.z});
        const double q[3] = {v[0] - std::round(v[0] - pos.x), v[1] - std::round(v[1] - pos.y),
                             v[2] - std::round(v[2] - pos.z)};
        if (cell.distance_sq(gemmi::Fractional(q[0], q[1], q[2]), pos) < kSameAtom * kSameAtom) {
            for (int k = 0; k < 3; k++) sum[k] += q[k];
            n++;
        }
    }
    if (n == 0) return pos;
    return gemmi::Fractional(sum[0] / n, sum[1] / n, sum[2] / n);
}

// Symmetric copies the structure reader counts for a position.
int reader_copies(ZEMU_cif* record, double x, double y, double z) {
    ZEMU_equiv_pos pos;
    const int rc = ZEMU_symmetry_generate_equivalent_copies(record, &pos, x, y, z);
    const int n = pos.total_copies;
    ZEMU_free_equiv_pos(&pos);
    return rc ? -1 : n;
}

// Label in the structure reader's alphabet, at most 9 characters, unique.
std::string unique_label(const std::string& label, const std::string& element, std::set<std::string>& used) {
    std::string clean;
    for (char ch : label) {
        if (std::isalnum((unsigned char)ch) || ch == '_' || ch == '-' || ch == '+' || ch == '(' || ch == ')' || ch == '.')
            clean += ch;
        else if (ch == '\'' || ch == '"')
            clean += 'p';  // primed labels: C1' -> C1p
    }
    // A label must start with a letter and must not read as a CIF keyword at the start of a line.
    std::string lower = clean;
    for (char& ch : lower) ch = (char)std::tolower((unsigned char)ch);
    bool keyword = false;
    for (const char* k : {"loop_", "data_", "save_", "global_", "stop_"})
        if (lower.compare(0, std::strlen(k), k) == 0) keyword = true;
    if (clean.empty() || !std::isalpha((unsigned char)clean[0]) || keyword) clean = element + clean;
    const size_t room = ZEMU_CIF_LABEL_SIZE - 1;
    std::string cand = clean.substr(0, room);
    for (int k = 2; used.count(cand); k++) {
        const std::string suffix = "_" + std::to_string(k);
        cand = clean.substr(0, room - suffix.size()) + suffix;
    }
    used.insert(cand);
    return cand;
}

// Whether p (wrapped into the cell) lies on one of the images.
bool on_images(const std::vector<gemmi::Fractional>& ims, const gemmi::Fractional& p, const gemmi::UnitCell& cell) {
    for (const gemmi::Fractional& im : ims)
        if (cell.distance_sq(im, p) < kSameAtom * kSameAtom) return true;
    return false;
}

// Whether a listed site is a symmetric copy of a kept one: same element and occupancy,
// on one of its images.
bool copy_of_kept(const FileSite& fs, const std::vector<ZEMU_import_site>& sites,
                  const std::vector<std::vector<gemmi::Fractional>>& kept_images, const gemmi::UnitCell& cell) {
    const gemmi::Fractional wrapped = fs.pos.wrap_to_unit();
    for (size_t k = 0; k < sites.size(); k++) {
        if (sites[k].element == fs.element && std::fabs(sites[k].occ - fs.occ) <= 1e-3 &&
            on_images(kept_images[k], wrapped, cell))
            return true;
    }
    return false;
}

// Images of the site at *pos, the count the structure reader agrees with: when it does
// not, the site is moved onto its special position (noted) and refused if that does not
// settle it. The multiplicity the file gives is checked against them.
std::vector<gemmi::Fractional> site_images(const FileSite& fs, const std::string& name, const gemmi::UnitCell& cell,
                                           const Symmetry& sym, ZEMU_cif* record, gemmi::Fractional* pos,
                                           ZEMU_import_report* report) {
    std::vector<gemmi::Fractional> ims = images(cell, sym.ops, *pos);
    int counted = reader_copies(record, pos->x, pos->y, pos->z);
    if (counted != (int)ims.size()) {
        *pos = on_special_position(cell, sym.ops, *pos);
        ims = images(cell, sym.ops, *pos);
        counted = reader_copies(record, pos->x, pos->y, pos->z);
        if (counted != (int)ims.size())
            refuse("site " + name + ": its symmetric copies cannot be told apart (" + std::to_string(ims.size()) +
                   " atoms within " + std::to_string(kSameAtom) + " A, " + std::to_string(counted) +
                   " by coordinates)");
        report->warnings.push_back("site " + name + " moved onto its special position");
    }
    // Some refinement programs write the order of the site symmetry under this tag
    // (1 on a general position): that is accepted as well.
    if (fs.file_mul > 0 && fs.file_mul != (int)ims.size() && fs.file_mul * ims.size() != sym.ops.size())
        refuse("site " + name + ": the file gives multiplicity " + std::to_string(fs.file_mul) + " but " +
               std::to_string(ims.size()) + " distinct images are found");
    return ims;
}

// Atoms of different sites on one spot must share it: refused when their occupancies
// add up to more than 1.
void check_shared_positions(const std::vector<ZEMU_import_site>& sites,
                            const std::vector<std::vector<gemmi::Fractional>>& kept_images,
                            const gemmi::UnitCell& cell) {
    for (size_t i = 0; i < sites.size(); i++) {
        double occ = sites[i].occ;
        std::string names = sites[i].label;
        const gemmi::Fractional p = gemmi::Fractional(sites[i].x, sites[i].y, sites[i].z).wrap_to_unit();
        for (size_t j = 0; j < sites.size(); j++)
            if (j != i && on_images(kept_images[j], p, cell)) {
                occ += sites[j].occ;
                names += ", " + sites[j].label;
            }
        if (occ > 1.0 + 0.01) {
            char text[32];
            snprintf(text, sizeof text, "%.3f", occ);
            refuse("sites " + names + " occupy one position with total occupancy " + text);
        }
    }
}

}  // namespace

std::vector<ZEMU_import_site> read_sites(cif::Block& block, const gemmi::UnitCell& cell, const Symmetry& sym,
                                         ZEMU_cif* record, ZEMU_import_report* report) {
    std::vector<FileSite> file_sites = read_file_sites(block, report);
    std::vector<ZEMU_import_site> sites;
    std::vector<std::vector<gemmi::Fractional>> kept_images;
    std::set<std::string> used_labels;
    int merged = 0;
    long cell_atoms = 0;
    for (const FileSite& fs : file_sites) {
        if (copy_of_kept(fs, sites, kept_images, cell)) {
            merged++;
            continue;
        }
        const std::string name = fs.label.empty() ? fs.type_symbol : fs.label;
        gemmi::Fractional pos = fs.pos;
        std::vector<gemmi::Fractional> ims = site_images(fs, name, cell, sym, record, &pos, report);
        cell_atoms += (long)ims.size();
        if (cell_atoms > kMaxCellAtoms) refuse("more than " + std::to_string(kMaxCellAtoms) + " atoms in the cell");
        ZEMU_import_site s;
        s.label = unique_label(fs.label, fs.element, used_labels);
        s.element = fs.element;
        s.x = pos.x;
        s.y = pos.y;
        s.z = pos.z;
        s.occ = fs.occ;
        s.mul = (int)ims.size();
        s.has_ox = fs.has_ox ? 1 : 0;
        s.ox = fs.ox;
        sites.push_back(s);
        kept_images.push_back(ims);
    }
    if (merged > 0)
        report->warnings.push_back(std::to_string(merged) + " listed atoms are symmetric copies of earlier sites and merged");
    check_shared_positions(sites, kept_images, cell);
    return sites;
}

// Formula counts per element (first appearance order) and Z.
void formula(const std::vector<ZEMU_import_site>& sites, int file_z, ZEMU_import_report* report) {
    std::vector<std::pair<std::string, double>> counts;
    for (const ZEMU_import_site& s : sites) {
        auto it = std::find_if(counts.begin(), counts.end(), [&](const auto& c) { return c.first == s.element; });
        if (it == counts.end()) {
            counts.push_back({s.element, 0.0});
            it = counts.end() - 1;
        }
        it->second += s.occ * s.mul;
    }
    // Z: the file's own when it gives one; else the common divisor of the whole counts,
    // lowered until every element has about one atom per formula unit.
    long z = file_z;
    if (z < 1) {
        long g = 0;
        double least = 1e300;
        for (const auto& c : counts) {
            const double r = std::round(c.second);
            if (r >= 1.0 && std::fabs(c.second - r) < 0.01) g = std::gcd(g, (long)r);
            least = std::min(least, c.second);
        }
        z = 1;
        for (long d = g; d > 1; d--)
            if (g % d == 0 && least / (double)d >= 0.95) {
                z = d;
                break;
            }
    }
    report->z = (int)z;
    report->formula.clear();
    for (const auto& c : counts) {
        char text[64];
        snprintf(text, sizeof text, "%.3f", c.second / (double)z);
        std::string n = text;
        while (!n.empty() && n.back() == '0') n.pop_back();
        if (!n.empty() && n.back() == '.') n.pop_back();
        if (!report->formula.empty()) report->formula += ' ';
        report->formula += c.first + n;
    }
}

}  // namespace zemu_import
