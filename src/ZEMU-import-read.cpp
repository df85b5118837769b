// Structure import: CIF document (gemmi), data block, cell, symmetry operations
// (loop, Hall symbol, H-M symbol or number), atom sites with their images,
// merged full listings, unique short labels and the structure record.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
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

#include "ZEMU-import.h"

namespace cif = gemmi::cif;

namespace {

const double kPi = 3.141592653589793;
const int kDet = gemmi::Op::DEN * gemmi::Op::DEN * gemmi::Op::DEN;  // determinant of a rotation, scaled
const double kSameAtom = 0.02;       // Angstrom: images closer than this are one atom
const double kMaxCoordinate = 1e4;   // fractional coordinates beyond this are refused
const int kMaxCellAtoms = 200000;    // atoms per cell beyond this are refused
const char* const kTestPoint[3] = {"0.1234", "0.5678", "0.9012"};  // point checking operation texts

// A refusal: the message becomes report->error.
struct Refusal {
    std::string message;
};

[[noreturn]] void refuse(const std::string& message) { throw Refusal{message}; }

std::string at_line(int line) { return line > 0 ? " (line " + std::to_string(line) + ")" : std::string(); }

// One row of the atom-site loop as read.
struct FileSite {
    std::string label, type_symbol, element;
    gemmi::Fractional pos;
    double occ;
    int file_mul;  // 0 = not given
    bool has_ox;
    double ox;
};

// ---------------------------------------------------------------------------
// Document and block
// ---------------------------------------------------------------------------

const std::string* find_value(cif::Block& block, std::initializer_list<const char*> tags, int* line = nullptr) {
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

// ---------------------------------------------------------------------------
// Symmetry
// ---------------------------------------------------------------------------

// Decimal numbers in an operation ("0.5+x") as the fractions they stand for ("1/2+x").
std::string decimals_to_fractions(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size();) {
        if (std::isdigit((unsigned char)text[i]) || (text[i] == '.' && i + 1 < text.size() && std::isdigit((unsigned char)text[i + 1]))) {
            size_t j = i;
            while (j < text.size() && (std::isdigit((unsigned char)text[j]) || text[j] == '.')) j++;
            const std::string number = text.substr(i, j - i);
            if (number.find('.') == std::string::npos) {
                out += number;
            } else {
                const double v = atof(number.c_str());
                bool done = false;
                for (int den : {1, 2, 3, 4, 6, 8, 12, 24}) {
                    const double num = std::round(v * den);
                    if (std::fabs(v - num / den) < 1e-3) {
                        out += std::to_string((long)num) + (den > 1 ? "/" + std::to_string(den) : "");
                        done = true;
                        break;
                    }
                }
                if (!done) refuse("symmetry operation '" + text + "' has translation " + number + " that is no fraction of 24");
            }
            i = j;
        } else {
            out += text[i++];
        }
    }
    return out;
}

std::string without_blanks(const std::string& text) {
    std::string out;
    for (char ch : text)
        if (!std::isspace((unsigned char)ch)) out += ch;
    return out;
}

// True when the structure reader evaluates the text as op at a test point.
bool evaluates_as(const std::string& text, const gemmi::Op& op) {
    std::vector<std::string> parts;
    std::string cur;
    for (char ch : text) {
        if (ch == ',') {
            parts.push_back(cur);
            cur.clear();
        } else {
            cur += ch;
        }
    }
    parts.push_back(cur);
    if (parts.size() != 3) return false;
    const double p[3] = {atof(kTestPoint[0]), atof(kTestPoint[1]), atof(kTestPoint[2])};
    const std::array<double, 3> want = op.apply_to_xyz({p[0], p[1], p[2]});
    for (int k = 0; k < 3; k++) {
        if (parts[k].empty()) return false;
        double v = 0.0;
        if (ZEMU_symmetry_parse_symop(&parts[k][0], p[0], p[1], p[2], &v)) return false;
        if (!(std::fabs(v - want[k]) < 1e-9)) return false;
    }
    return true;
}

// Operation text in the structure reader's notation: the file's own text when it is
// already plain (keeps the file's arithmetic), else the canonical form.
std::string reader_text(const std::string& file_text, const gemmi::Op& op) {
    const std::string plain = without_blanks(file_text);
    bool clean = !plain.empty() && plain.size() < ZEMU_CIF_SYMOP_SIZE && plain[0] != '+' &&
                 plain.find(",+") == std::string::npos;
    for (char ch : plain)
        if (!std::strchr("xyzXYZ0123456789+-/,", ch)) clean = false;
    if (clean && evaluates_as(plain, op)) return plain;
    const std::string canonical = op.triplet();
    if (canonical.size() >= ZEMU_CIF_SYMOP_SIZE || !evaluates_as(canonical, op))
        refuse("symmetry operation '" + file_text + "' cannot be written for the structure reader");
    return canonical;
}

struct Symmetry {
    std::vector<gemmi::Op> ops;
    std::vector<std::string> texts;
    std::string source;
    const gemmi::SpaceGroup* symbol_sg = nullptr;  // group named by the file (Hall, H-M or number)
    std::string file_hm;
    int file_number = 0;
};

// H-M symbol with its setting written the way the space-group table spells it:
// "R -3 c R" -> "R -3 c:R", "F d -3 m Z" -> "F d -3 m:2" (origin choice 2), "... S" -> ":1".
std::string hm_with_setting(const std::string& hm) {
    std::string t = hm;
    while (!t.empty() && std::isspace((unsigned char)t.back())) t.pop_back();
    if (t.size() > 2 && t[t.size() - 2] == ' ') {
        const char last = t.back();
        const char* setting = last == 'R' ? ":R" : last == 'H' ? ":H" : last == 'Z' ? ":2" : last == 'S' ? ":1" : nullptr;
        if (setting) return t.substr(0, t.size() - 2) + setting;
    }
    return t;
}

void check_group(const Symmetry& sym) {
    std::set<gemmi::Op> set(sym.ops.begin(), sym.ops.end());
    if (!set.count(gemmi::Op::identity())) refuse("symmetry operations lack the identity x,y,z");
    for (const gemmi::Op& a : sym.ops)
        for (const gemmi::Op& b : sym.ops)
            if (!set.count(a * b))
                refuse("symmetry operations do not form a group: " + a.triplet() + " times " + b.triplet() + " gives " +
                       (a * b).triplet() + ", which is not listed");
    if (sym.symbol_sg) {
        const gemmi::GroupOps expected = sym.symbol_sg->operations();
        const gemmi::GroupOps found = gemmi::split_centering_vectors(sym.ops);
        if (found.cen_ops.size() < expected.cen_ops.size())
            refuse("symmetry operations lack the centring translations of " + sym.symbol_sg->xhm() + " (" +
                   std::to_string(expected.cen_ops.size()) + " expected, " + std::to_string(found.cen_ops.size()) +
                   " found)");
    }
}

void read_symmetry(cif::Block& block, double alpha, double gamma, Symmetry& sym, ZEMU_import_report* report) {
    int line = -1;
    if (const std::string* v = find_value(block, {"_symmetry_space_group_name_H-M", "_space_group_name_H-M_alt",
                                                  "_space_group.name_H-M_alt", "_symmetry.space_group_name_H-M"}))
        if (!cif::is_null(*v)) sym.file_hm = cif::as_string(*v);
    std::string hall;
    if (const std::string* v = find_value(block, {"_symmetry_space_group_name_Hall", "_space_group_name_Hall",
                                                  "_space_group.name_Hall", "_symmetry.space_group_name_Hall"}))
        if (!cif::is_null(*v)) hall = cif::as_string(*v);
    if (const std::string* v = find_value(block, {"_symmetry_Int_Tables_number", "_space_group_IT_number",
                                                  "_space_group.IT_number", "_symmetry.Int_Tables_number"}))
        if (!cif::is_null(*v)) sym.file_number = (int)cif::as_number(*v, 0.0);

    // The group the file names, for the centring check and the fallbacks.
    gemmi::GroupOps hall_ops;
    bool hall_ok = false;
    if (!hall.empty()) {
        try {
            hall_ops = gemmi::symops_from_hall(hall.c_str());
            hall_ok = true;
            sym.symbol_sg = gemmi::find_spacegroup_by_ops(hall_ops);
        } catch (const std::exception&) {
            report->warnings.push_back("Hall symbol '" + hall + "' not understood");
        }
    }
    const gemmi::SpaceGroup* hm_sg = nullptr;
    if (!sym.file_hm.empty()) {
        hm_sg = gemmi::find_spacegroup_by_name(hm_with_setting(sym.file_hm), alpha, gamma);
        if (!hm_sg) hm_sg = gemmi::find_spacegroup_by_name(sym.file_hm, alpha, gamma);
        if (!hm_sg) report->warnings.push_back("H-M symbol '" + sym.file_hm + "' not understood");
    }
    const gemmi::SpaceGroup* number_sg = nullptr;
    if (sym.file_number > 0) {
        number_sg = gemmi::find_spacegroup_by_number(sym.file_number);
        // Rhombohedral groups: the setting the cell has (the table lists :R right after :H).
        if (number_sg && number_sg->ext == 'H' && gamma < 1.125 * alpha) number_sg++;
    }
    if (!sym.symbol_sg) sym.symbol_sg = hm_sg ? hm_sg : number_sg;

    cif::Column loop;
    for (const char* tag : {"_symmetry_equiv_pos_as_xyz", "_space_group_symop_operation_xyz",
                            "_space_group_symop.operation_xyz", "_symmetry_equiv.pos_as_xyz"}) {
        loop = block.find_values(tag);
        if (loop) break;
    }
    if (loop && loop.length() > 0) {
        line = loop.item() ? loop.item()->line_number : -1;
        for (const std::string& raw : loop) {
            const std::string text = cif::as_string(raw);
            gemmi::Op op;
            try {
                op = gemmi::parse_triplet(decimals_to_fractions(without_blanks(text)));
            } catch (const Refusal&) {
                throw;
            } catch (const std::exception&) {
                refuse("symmetry operation '" + text + "' cannot be read" + at_line(line));
            }
            if (op.det_rot() != kDet && op.det_rot() != -kDet)
                refuse("symmetry operation '" + text + "' is not a rotation or reflection" + at_line(line));
            op.wrap();
            if (std::find(sym.ops.begin(), sym.ops.end(), op) != sym.ops.end()) {
                report->warnings.push_back("symmetry operation '" + text + "' listed twice");
                continue;
            }
            sym.ops.push_back(op);
            sym.texts.push_back(reader_text(text, op));
        }
        sym.source = "symmetry loop";
    } else {
        gemmi::GroupOps gops;
        if (hall_ok) {
            gops = hall_ops;
            sym.source = "Hall symbol";
        } else if (hm_sg) {
            gops = hm_sg->operations();
            sym.source = "H-M symbol";
        } else if (number_sg) {
            gops = number_sg->operations();
            sym.source = "space-group number";
        } else {
            gops = gemmi::symops_from_hall("P 1");
            sym.source = "none (P 1)";
            report->warnings.push_back("no symmetry operations, space-group symbol or number: read as P 1");
        }
        for (gemmi::Op op : gops) {
            op.wrap();
            if (std::find(sym.ops.begin(), sym.ops.end(), op) != sym.ops.end()) continue;
            sym.ops.push_back(op);
            sym.texts.push_back(reader_text(op.triplet(), op));
        }
        // The identity first, as files list it.
        auto id = std::find(sym.ops.begin(), sym.ops.end(), gemmi::Op::identity());
        if (id != sym.ops.end() && id != sym.ops.begin()) {
            const size_t k = (size_t)(id - sym.ops.begin());
            std::swap(sym.ops[0], sym.ops[k]);
            std::swap(sym.texts[0], sym.texts[k]);
        }
    }
    if (sym.ops.size() > ZEMU_MAX_SYMOP)
        refuse(std::to_string(sym.ops.size()) + " symmetry operations, more than any space group has" + at_line(line));
    check_group(sym);
    if (sym.symbol_sg && sym.source == "symmetry loop") {
        const int order = sym.symbol_sg->operations().order();
        if (order != (int)sym.ops.size())
            report->warnings.push_back("the " + std::to_string(sym.ops.size()) + " symmetry operations do not match " +
                                       sym.symbol_sg->xhm() + " (" + std::to_string(order) + "); the operations are used");
    }
}

// ---------------------------------------------------------------------------
// Sites
// ---------------------------------------------------------------------------

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

std::vector<FileSite> read_sites(cif::Block& block, ZEMU_import_report* report) {
    cif::Table table = block.find("_atom_site_", {"fract_x", "fract_y", "fract_z", "?label", "?type_symbol",
                                                  "?occupancy", "?symmetry_multiplicity",
                                                  "?site_symmetry_multiplicity", "?calc_flag"});
    if (!table.ok()) refuse("the atom-site loop lacks _atom_site_fract_y or _atom_site_fract_z");
    const int line = table.loop_item ? table.loop_item->line_number : -1;
    std::map<std::string, double> type_ox;
    for (auto row : block.find("_atom_type_", {"symbol", "oxidation_number"}))
        if (!cif::is_null(row[1])) {
            const double v = cif::as_number(row[1]);
            if (std::isfinite(v)) type_ox[row.str(0)] = v;
        }
    std::vector<FileSite> sites;
    std::vector<std::string> dotted;
    int n = 0;
    for (auto row : table) {
        n++;
        FileSite s;
        s.label = row.has2(3) ? row.str(3) : std::string();
        s.type_symbol = row.has2(4) ? row.str(4) : s.label;
        const std::string name = s.label.empty() ? "row " + std::to_string(n) : s.label;
        if (row.has2(8) && row.str(8) == "dum") continue;  // dummy atom
        s.element = element_of(s.type_symbol);
        if (s.element.empty() || !row.has2(4)) s.element = element_of_label(s.label);
        if (s.element.empty())
            refuse("site " + name + ": no element in type symbol '" + s.type_symbol + "'" + at_line(line));
        // Some database exports write "." for a zero coordinate.
        bool dot = false;
        auto coordinate = [&dot](const std::string& v) {
            if (v == ".") {
                dot = true;
                return 0.0;
            }
            return cif::as_number(v);
        };
        const double x = coordinate(row[0]), y = coordinate(row[1]), z = coordinate(row[2]);
        if (dot) dotted.push_back(name);
        if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z) || std::fabs(x) > kMaxCoordinate ||
            std::fabs(y) > kMaxCoordinate || std::fabs(z) > kMaxCoordinate)
            refuse("site " + name + ": missing or invalid fractional coordinates" + at_line(line));
        s.pos = gemmi::Fractional(x, y, z);
        s.occ = row.has2(5) ? cif::as_number(row[5]) : 1.0;
        if (!std::isfinite(s.occ) || s.occ < 0.0 || s.occ > 1.0 + 1e-3)
            refuse("site " + name + ": invalid occupancy '" + row.str(5) + "'" + at_line(line));
        if (s.occ == 0.0) {
            report->warnings.push_back("site " + name + " has occupancy 0 and is left out");
            continue;
        }
        s.file_mul = 0;
        for (int col : {6, 7})
            if (row.has2(col)) {
                const double m = cif::as_number(row[col]);
                if (!(m >= 1.0 && m <= ZEMU_MAX_SYMOP * 8 && m == std::floor(m)))
                    refuse("site " + name + ": invalid multiplicity '" + row.str(col) + "'" + at_line(line));
                s.file_mul = (int)m;
            }
        s.has_ox = false;
        s.ox = 0.0;
        auto t = type_ox.find(s.type_symbol);
        if (t != type_ox.end()) {
            s.has_ox = true;
            s.ox = t->second;
        } else {
            s.has_ox = charge_of(s.type_symbol, s.element, &s.ox);
        }
        sites.push_back(s);
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
    if (clean.empty() || !std::isalpha((unsigned char)clean[0])) clean = element + clean;
    const size_t room = ZEMU_CIF_LABEL_SIZE - 1;
    std::string cand = clean.substr(0, room);
    for (int k = 2; used.count(cand); k++) {
        const std::string suffix = "_" + std::to_string(k);
        cand = clean.substr(0, room - suffix.size()) + suffix;
    }
    used.insert(cand);
    return cand;
}

// Formula counts per element (first appearance order) and Z.
void formula(const std::vector<ZEMU_import_site>& sites, ZEMU_import_report* report) {
    std::vector<std::pair<std::string, double>> counts;
    for (const ZEMU_import_site& s : sites) {
        auto it = std::find_if(counts.begin(), counts.end(), [&](const auto& c) { return c.first == s.element; });
        if (it == counts.end()) {
            counts.push_back({s.element, 0.0});
            it = counts.end() - 1;
        }
        it->second += s.occ * s.mul;
    }
    long z = 0;
    for (const auto& c : counts) {
        const double r = std::round(c.second);
        if (r >= 1.0 && std::fabs(c.second - r) < 0.01) z = std::gcd(z, (long)r);
    }
    if (z < 1) z = 1;
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

int import_document(cif::Document& doc, const ZEMU_import_options* options, ZEMU_cif* record,
                    ZEMU_import_report* report) {
    report->block_count = (int)doc.blocks.size();
    cif::Block* block = nullptr;
    for (cif::Block& b : doc.blocks)
        if (has_fractional_sites(b)) {
            block = &b;
            break;
        }
    if (!block) {
        for (cif::Block& b : doc.blocks)
            if (has_tag(b, "_atom_site_Cartn_x") || has_tag(b, "_atom_site.Cartn_x"))
                refuse("data_" + b.name + " gives Cartesian coordinates only; fractional coordinates are needed");
        refuse(doc.blocks.empty() ? "no data block" : "no atom sites with fractional coordinates in any data block");
    }
    report->block = block->name;
    if (doc.blocks.size() > 1)
        report->warnings.push_back("the file holds " + std::to_string(doc.blocks.size()) + " data blocks; data_" +
                                   block->name + " is read");
    if (is_magnetic_ops(*block))
        refuse("magnetic CIF (magnetic symmetry operations): its non-magnetic structure cannot be read exactly");
    if (has_moments(*block)) report->warnings.push_back("magnetic moments are ignored");
    if (const std::string* v = find_value(*block, {"_cell_modulation_dimension"}))
        if (cif::as_number(*v, 0.0) > 0.0) refuse("modulated (incommensurate) structure: its average structure is not read");

    const double a = cell_value(*block, "_cell_length_a"), b = cell_value(*block, "_cell_length_b"),
                 c = cell_value(*block, "_cell_length_c");
    const double al = cell_value(*block, "_cell_angle_alpha"), be = cell_value(*block, "_cell_angle_beta"),
                 ga = cell_value(*block, "_cell_angle_gamma");
    const double ca = std::cos(al * kPi / 180.0), cb = std::cos(be * kPi / 180.0), cg = std::cos(ga * kPi / 180.0);
    const double v2 = 1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg;
    if (al >= 180.0 || be >= 180.0 || ga >= 180.0 || !(v2 > 1e-6)) refuse("cell angles do not make a cell");
    const gemmi::UnitCell cell(a, b, c, al, be, ga);

    Symmetry sym;
    read_symmetry(*block, al, ga, sym, report);
    report->symmetry_source = sym.source;

    // The record's cell and operations, as the structure reader gives them back.
    record->a = as_written6(a);
    record->b = as_written6(b);
    record->c = as_written6(c);
    record->alpha = as_written6(al);
    record->beta = as_written6(be);
    record->gamma = as_written6(ga);
    double volume = record->a * record->b * record->c *
                    std::sqrt(1.0 - std::pow(std::cos(record->alpha * kPi / 180.0), 2) -
                              std::pow(std::cos(record->beta * kPi / 180.0), 2) -
                              std::pow(std::cos(record->gamma * kPi / 180.0), 2) +
                              2.0 * std::cos(record->alpha * kPi / 180.0) * std::cos(record->beta * kPi / 180.0) *
                                  std::cos(record->gamma * kPi / 180.0));
    if (const std::string* v = find_value(*block, {"_cell_volume"})) {
        const double fv = cif::as_number(*v);
        if (std::isfinite(fv) && fv > 0.0) volume = fv;
    }
    record->volume = as_written6(volume);
    const gemmi::GroupOps gops = gemmi::split_centering_vectors(sym.ops);
    const gemmi::SpaceGroup* found = gemmi::find_spacegroup_by_ops(gops);
    report->spacegroup = found ? found->xhm() : (sym.file_hm.empty() ? std::string("unknown") : sym.file_hm);
    report->sg_number = found ? found->number : sym.file_number;
    const std::string hm = !sym.file_hm.empty() ? sym.file_hm : (found ? found->hm : std::string());
    snprintf(record->spacegroup_HM, sizeof record->spacegroup_HM, "%s", record_symbol(hm).c_str());
    record->int_tab_cryst_no = sym.file_number > 0 ? sym.file_number : (found ? found->number : 0);
    if (const std::string* v = find_value(*block, {"_database_code_ICSD"})) {
        std::string code;
        for (char ch : cif::as_string(*v))
            if (!std::isspace((unsigned char)ch) && ch != '\'' && ch != '"') code += ch;
        if (!cif::is_null(*v)) snprintf(record->ICSD, sizeof record->ICSD, "%s", code.c_str());
    }
    if (const std::string* v = find_value(*block, {"_cell_formula_units_Z"})) {
        const double fz = cif::as_number(*v);
        if (fz >= 1.0 && fz < 1e6) record->z = (int)fz;
    }
    ZEMU_free_cif_symop(record);
    record->symop_no = (int)sym.texts.size();
    if (ZEMU_alloc_cif_symop(record)) refuse("out of memory");
    for (size_t k = 0; k < sym.texts.size(); k++)
        snprintf(record->symop[k], ZEMU_CIF_SYMOP_SIZE, "%s", sym.texts[k].c_str());

    // Sites: images, merged full listings, multiplicities checked.
    std::vector<FileSite> file_sites = read_sites(*block, report);
    std::vector<ZEMU_import_site> sites;
    std::vector<std::vector<gemmi::Fractional>> kept_images;
    std::set<std::string> used_labels;
    int merged = 0;
    long cell_atoms = 0;
    for (const FileSite& fs : file_sites) {
        const std::string name = fs.label.empty() ? fs.type_symbol : fs.label;
        const gemmi::Fractional wrapped = fs.pos.wrap_to_unit();
        bool copy = false;
        for (size_t k = 0; k < sites.size() && !copy; k++) {
            if (sites[k].element != fs.element || std::fabs(sites[k].occ - fs.occ) > 1e-3) continue;
            for (const gemmi::Fractional& im : kept_images[k])
                if (cell.distance_sq(im, wrapped) < kSameAtom * kSameAtom) {
                    copy = true;
                    break;
                }
        }
        if (copy) {
            merged++;
            continue;
        }
        gemmi::Fractional pos = fs.pos;
        std::vector<gemmi::Fractional> ims = images(cell, sym.ops, pos);
        int counted = reader_copies(record, pos.x, pos.y, pos.z);
        if (counted != (int)ims.size()) {
            pos = on_special_position(cell, sym.ops, pos);
            ims = images(cell, sym.ops, pos);
            counted = reader_copies(record, pos.x, pos.y, pos.z);
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

    // Atoms of different sites on one spot must share it.
    for (size_t i = 0; i < sites.size(); i++) {
        double occ = sites[i].occ;
        std::string names = sites[i].label;
        for (size_t j = 0; j < sites.size(); j++) {
            if (j == i) continue;
            const gemmi::Fractional p(sites[i].x, sites[i].y, sites[i].z);
            for (const gemmi::Fractional& im : kept_images[j])
                if (cell.distance_sq(im, p.wrap_to_unit()) < kSameAtom * kSameAtom) {
                    occ += sites[j].occ;
                    names += ", " + sites[j].label;
                    break;
                }
        }
        if (occ > 1.0 + 0.01) {
            char text[32];
            snprintf(text, sizeof text, "%.3f", occ);
            refuse("sites " + names + " occupy one position with total occupancy " + text);
        }
    }

    formula(sites, report);
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
        for (int k = 0; k < 3; k++) {
            if (v[k] < 0.0) v[k] += 1.0;
            if (v[k] < 0.0) v[k] -= std::floor(v[k]);
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
        cif::Document doc = cif::read_memory(text, size, name);
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
