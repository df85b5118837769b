// Structure import: symmetry operations of a data block from its loop (any of the
// usual tags, leading plus, decimals), its Hall symbol, H-M symbol or number; the
// group check and the operation texts the structure reader evaluates alike.
#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include <gemmi/cif.hpp>
#include <gemmi/numb.hpp>
#include <gemmi/symmetry.hpp>

#include "ZEMU-import-internal.h"
#include "ZEMU-triplet.h"

namespace cif = gemmi::cif;

namespace zemu_import {

namespace {

const int kDet = gemmi::Op::DEN * gemmi::Op::DEN * gemmi::Op::DEN;  // determinant of a rotation, scaled
const char* const kTestPoint[3] = {"0.1234", "0.5678", "0.9012"};  // point checking operation texts

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
                // beyond the int range of the fractions (and of any real operation)
                if (!(std::fabs(v) <= 1e6)) refuse("symmetry operation '" + text + "' cannot be read");
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

// One operation of a loop; refuses what is no rotation or reflection with a translation.
gemmi::Op parse_operation(const std::string& text, int line) {
    gemmi::Op op;
    try {
        op = ZEMU_parse_triplet(decimals_to_fractions(without_blanks(text)));
    } catch (const Refusal&) {
        throw;
    } catch (const std::exception&) {
        refuse("symmetry operation '" + text + "' cannot be read" + at_line(line));
    }
    if (op.det_rot() != kDet && op.det_rot() != -kDet)
        refuse("symmetry operation '" + text + "' is not a rotation or reflection" + at_line(line));
    return op;  // not wrapped: the file's text evaluates as this
}

// "x,y,z,+1" -> "x,y,z": the spatial part of a magnetic operation.
std::string spatial_part(const std::string& text, int line) {
    const size_t last = text.rfind(',');
    if (std::count(text.begin(), text.end(), ',') != 3 || last == std::string::npos)
        refuse("magnetic symmetry operation '" + text + "' cannot be read" + at_line(line));
    return text.substr(0, last);
}

// Adds an operation (as read, translations not wrapped) unless listed already.
void add_operation(const std::string& text, const gemmi::Op& op, Symmetry& sym, ZEMU_import_report* report) {
    const gemmi::Op wrapped = gemmi::Op(op).wrap();
    if (std::find(sym.ops.begin(), sym.ops.end(), wrapped) != sym.ops.end()) {
        report->warnings.push_back("symmetry operation '" + text + "' listed twice");
        return;
    }
    // refused at once: every later operation is compared with all the earlier ones
    if (sym.ops.size() >= ZEMU_MAX_SYMOP)
        refuse("more than " + std::to_string(ZEMU_MAX_SYMOP) + " symmetry operations, more than any space group has");
    sym.ops.push_back(wrapped);
    sym.texts.push_back(reader_text(text, op));
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

// The groups the file names by Hall symbol, H-M symbol and number (null when absent
// or not understood), for the centring check and the fallbacks.
struct NamedGroups {
    gemmi::GroupOps hall_ops;
    bool hall_ok = false;
    const gemmi::SpaceGroup* hm_sg = nullptr;
    const gemmi::SpaceGroup* number_sg = nullptr;
};

// Value of the first of the tags the block has, as text; empty when none or null.
std::string text_value(cif::Block& block, std::initializer_list<const char*> tags) {
    const std::string* v = find_value(block, tags);
    return v && !cif::is_null(*v) ? cif::as_string(*v) : std::string();
}

// The Hall symbol's operations; a symbol that cannot be read is warned about.
void read_hall(cif::Block& block, NamedGroups& named, Symmetry& sym, ZEMU_import_report* report) {
    const std::string hall = text_value(block, {"_symmetry_space_group_name_Hall", "_space_group_name_Hall",
                                                "_space_group.name_Hall", "_symmetry.space_group_name_Hall"});
    if (hall.empty()) return;
    try {
        named.hall_ops = gemmi::symops_from_hall(hall.c_str());
        named.hall_ok = true;
        sym.symbol_sg = gemmi::find_spacegroup_by_ops(named.hall_ops);
    } catch (const std::exception&) {
        report->warnings.push_back("Hall symbol '" + hall + "' not understood");
    }
}

// The group of the H-M symbol, its setting taken from the symbol or the cell.
void read_hm(double alpha, double gamma, NamedGroups& named, const Symmetry& sym, ZEMU_import_report* report) {
    if (sym.file_hm.empty()) return;
    named.hm_sg = gemmi::find_spacegroup_by_name(hm_with_setting(sym.file_hm), alpha, gamma);
    if (!named.hm_sg) named.hm_sg = gemmi::find_spacegroup_by_name(sym.file_hm, alpha, gamma);
    if (!named.hm_sg) report->warnings.push_back("H-M symbol '" + sym.file_hm + "' not understood");
}

// The group of the space-group number; only a whole number of the tables names one.
void read_number(cif::Block& block, double alpha, double gamma, NamedGroups& named, Symmetry& sym) {
    if (const std::string* v = find_value(block, {"_symmetry_Int_Tables_number", "_space_group_IT_number",
                                                  "_space_group.IT_number", "_symmetry.Int_Tables_number"}))
        if (!cif::is_null(*v)) {
            const double n = cif::as_number(*v, 0.0);
            if (n >= 1.0 && n <= 230.0 && n == std::floor(n)) sym.file_number = (int)n;
        }
    if (sym.file_number <= 0) return;
    named.number_sg = gemmi::find_spacegroup_by_number(sym.file_number);
    // Rhombohedral groups: the setting the cell has (the table lists :R right after :H).
    if (named.number_sg && named.number_sg->ext == 'H' && gamma < 1.125 * alpha) named.number_sg++;
}

// The first of the tags the block has as a loop; empty when none.
cif::Column find_column(cif::Block& block, std::initializer_list<const char*> tags) {
    cif::Column column;
    for (const char* tag : tags) {
        column = block.find_values(tag);
        if (column) break;
    }
    return column;
}

int first_line(cif::Column& column) { return column.item() ? column.item()->line_number : -1; }

// The operations of the file's loop, as written.
void read_operation_loop(cif::Column& loop, int line, Symmetry& sym, ZEMU_import_report* report) {
    for (const std::string& raw : loop) {
        const std::string text = cif::as_string(raw);
        add_operation(text, parse_operation(text, line), sym, report);
    }
    sym.source = "symmetry loop";
}

// Magnetic files: the spatial parts of the magnetic operations (time reversal, the
// fourth part, dropped) times the magnetic centrings place the atoms exactly.
void read_magnetic_loop(cif::Column& magn, cif::Column& centring, int line, Symmetry& sym,
                        ZEMU_import_report* report) {
    std::vector<gemmi::Op> centrings = {gemmi::Op::identity()};
    if (centring)
        for (const std::string& raw : centring)
            centrings.push_back(parse_operation(spatial_part(cif::as_string(raw), line), line));
    for (const std::string& raw : magn) {
        const gemmi::Op op = gemmi::Op(parse_operation(spatial_part(cif::as_string(raw), line), line)).wrap();
        for (const gemmi::Op& c : centrings) {
            const gemmi::Op full = op * gemmi::Op(c).wrap();
            if (std::find(sym.ops.begin(), sym.ops.end(), full) == sym.ops.end())
                add_operation(full.triplet(), full, sym, report);
        }
    }
    sym.source = "magnetic symmetry loop";
    report->warnings.push_back("magnetic CIF: read without its magnetic moments and time reversal");
}

// No loop: the operations of the group the Hall symbol, else the H-M symbol, else the
// number names; P 1 when the file names none.
void generate_operations(const NamedGroups& named, Symmetry& sym, ZEMU_import_report* report) {
    gemmi::GroupOps gops;
    if (named.hall_ok) {
        gops = named.hall_ops;
        sym.source = "Hall symbol";
    } else if (named.hm_sg) {
        gops = named.hm_sg->operations();
        sym.source = "H-M symbol";
    } else if (named.number_sg) {
        gops = named.number_sg->operations();
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

}  // namespace

void read_symmetry(cif::Block& block, double alpha, double gamma, Symmetry& sym, ZEMU_import_report* report) {
    sym.file_hm = text_value(block, {"_symmetry_space_group_name_H-M", "_space_group_name_H-M_alt",
                                     "_space_group.name_H-M_alt", "_symmetry.space_group_name_H-M"});
    NamedGroups named;
    read_hall(block, named, sym, report);
    read_hm(alpha, gamma, named, sym, report);
    read_number(block, alpha, gamma, named, sym);
    if (!sym.symbol_sg) sym.symbol_sg = named.hm_sg ? named.hm_sg : named.number_sg;
    cif::Column loop = find_column(block, {"_symmetry_equiv_pos_as_xyz", "_space_group_symop_operation_xyz",
                                           "_space_group_symop.operation_xyz", "_symmetry_equiv.pos_as_xyz"});
    cif::Column magn = find_column(block, {"_space_group_symop_magn_operation.xyz",
                                           "_space_group_symop.magn_operation_xyz"});
    cif::Column magn_centring = find_column(block, {"_space_group_symop_magn_centering.xyz",
                                                    "_space_group_symop.magn_centering_xyz"});
    int line = -1;
    if (loop && loop.length() > 0) {
        line = first_line(loop);
        read_operation_loop(loop, line, sym, report);
    } else if (magn && magn.length() > 0) {
        line = first_line(magn);
        read_magnetic_loop(magn, magn_centring, line, sym, report);
    } else {
        generate_operations(named, sym, report);
    }
    check_group(sym);
    if (sym.symbol_sg && sym.source == "symmetry loop") {
        const int order = sym.symbol_sg->operations().order();
        if (order != (int)sym.ops.size())
            report->warnings.push_back("the " + std::to_string(sym.ops.size()) + " symmetry operations do not match " +
                                       sym.symbol_sg->xhm() + " (" + std::to_string(order) + "); the operations are used");
    }
}

}  // namespace zemu_import
