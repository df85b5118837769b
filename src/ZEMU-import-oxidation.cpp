// Structure import: oxidation states from the file, given by hand, or assigned
// by charge balance and the lowest global instability index.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ZEMU-bv.h"
#include "ZEMU-data.h"
#include "ZEMU-import.h"

namespace {

const double kNeutral = 0.01;        // e per formula unit
const long kMaxCombinations = 2000000;  // assignments tried for charge balance
const size_t kMaxEvaluated = 64;     // balanced assignments compared by their GII
const double kGiiPairBudget = 5e7;   // atom pairs of all GII evaluations together (seconds, not minutes)

// One unknown of the search: an element (all its sites) or one site.
struct Unknown {
    std::vector<size_t> sites;  // sites it sets
    double weight;              // atoms per cell it stands for
    std::vector<int> states;    // candidate states
};

// Candidate states of an element in the bond-valence table.
void table_states(const std::string& element, std::set<int>& cation, std::set<int>& anion) {
    const ZEMU_bv_pair* pairs = ZEMU_data_bv_pairs();
    for (int i = 0; i < ZEMU_data_bv_pair_count(); i++) {
        if (element == pairs[i].cation) cation.insert(pairs[i].cation_ox);
        if (element == pairs[i].anion) anion.insert(pairs[i].anion_ox);
    }
    // The table has no hydrogen; its states are fixed by chemistry (H+ and, in hydrides, H-).
    if (element == "H" && cation.empty() && anion.empty()) {
        cation.insert(1);
        anion.insert(-1);
    }
}

// "Fe=2,P=5,O=-2" into element -> state; false with the bad part in *bad.
bool parse_given(const std::string& text, std::map<std::string, double>& given, std::string* bad) {
    size_t start = 0;
    while (start <= text.size()) {
        size_t comma = text.find(',', start);
        if (comma == std::string::npos) comma = text.size();
        const std::string part = text.substr(start, comma - start);
        start = comma + 1;
        if (part.empty()) {
            if (comma == text.size()) break;
            continue;
        }
        const size_t eq = part.find('=');
        if (eq == std::string::npos || eq == 0 || eq + 1 >= part.size()) {
            *bad = part;
            return false;
        }
        const std::string el = part.substr(0, eq), value = part.substr(eq + 1);
        char* end = nullptr;
        const double v = strtod(value.c_str(), &end);
        if (*end != '\0' || !std::isfinite(v) || std::fabs(v) > 16.0 || !ZEMU_data_find_element(el.c_str())) {
            *bad = part;
            return false;
        }
        given[el] = v;
    }
    return true;
}

std::string join(const std::vector<std::string>& names) {
    std::string out;
    for (size_t i = 0; i < names.size(); i++) out += (i ? ", " : "") + names[i];
    return out;
}

// Walks every assignment (one state per unknown) depth first in table order, calling
// leaf(state, charge) at each complete one; keep(k, charge) may cut the branch below
// unknown k. False when more than kMaxCombinations states were tried.
template <class Keep, class Leaf>
bool walk_assignments(const std::vector<Unknown>& unknowns, double fixed_charge, Keep keep, Leaf leaf) {
    long tried = 0;
    bool ok = true;
    std::vector<int> state(unknowns.size());
    auto visit = [&](auto&& self, size_t k, double charge) -> void {
        if (!ok || !keep(k, charge)) return;
        if (k == unknowns.size()) {
            leaf(state, charge);
            return;
        }
        for (int s : unknowns[k].states) {
            if (++tried > kMaxCombinations) {
                ok = false;
                return;
            }
            state[k] = s;
            self(self, k + 1, charge + unknowns[k].weight * s);
        }
    };
    visit(visit, 0, fixed_charge);
    return ok;
}

// Every assignment of the unknowns that balances the charge, in enumeration order;
// false when there are too many to try.
bool balanced(const std::vector<Unknown>& unknowns, double fixed_charge, double tolerance,
              std::vector<std::vector<int>>& found) {
    // Remaining charge range of the unknowns after position k, for pruning.
    std::vector<double> lo(unknowns.size() + 1, 0.0), hi(unknowns.size() + 1, 0.0);
    for (size_t k = unknowns.size(); k-- > 0;) {
        const auto mm = std::minmax_element(unknowns[k].states.begin(), unknowns[k].states.end());
        lo[k] = lo[k + 1] + unknowns[k].weight * *mm.first;
        hi[k] = hi[k + 1] + unknowns[k].weight * *mm.second;
    }
    return walk_assignments(
        unknowns, fixed_charge,
        [&](size_t k, double charge) { return !(charge + lo[k] > tolerance || charge + hi[k] < -tolerance); },
        [&](const std::vector<int>& state, double) { found.push_back(state); });
}

// The assignment (one state per unknown) leaving the least charge, and that charge;
// false when there are too many to try.
bool closest(const std::vector<Unknown>& unknowns, double fixed_charge, std::vector<int>& best, double* best_charge) {
    *best_charge = 1e300;
    const bool ok = walk_assignments(
        unknowns, fixed_charge, [](size_t, double) { return true; },
        [&](const std::vector<int>& state, double charge) {
            if (std::fabs(charge) < std::fabs(*best_charge)) {
                *best_charge = charge;
                best = state;
            }
        });
    return ok && !best.empty();
}

// Elements of the sites in order of first appearance.
std::vector<std::string> site_elements(const std::vector<ZEMU_import_site>& sites) {
    std::vector<std::string> elements;
    for (const ZEMU_import_site& s : sites)
        if (std::find(elements.begin(), elements.end(), s.element) == elements.end()) elements.push_back(s.element);
    return elements;
}

// Drops the file's states when all are zero: they carry no information (files written without states).
void drop_zero_states(std::vector<ZEMU_import_site>& sites, ZEMU_import_report* report) {
    bool any_declared = false, all_zero = true;
    for (const ZEMU_import_site& s : sites)
        if (s.has_ox) {
            any_declared = true;
            if (s.ox != 0.0) all_zero = false;
        }
    if (any_declared && all_zero) {
        report->warnings.push_back("the file gives every oxidation state as 0; they are assigned instead");
        for (ZEMU_import_site& s : sites) s.has_ox = 0;
    }
}

// Sets the state of element el on its sites (with unset_only, on those without one).
void set_element_state(std::vector<ZEMU_import_site>& sites, const std::string& el, double ox, bool unset_only) {
    for (ZEMU_import_site& s : sites)
        if (s.element == el && !(unset_only && s.has_ox)) {
            s.has_ox = 1;
            s.ox = ox;
        }
}

// Source of each element's states ("given", "file" or "assigned"), setting the given ones and
// spreading a single state from the file over the element's other sites; the elements left
// to assign go to unknown_elements.
std::map<std::string, std::string> state_sources(const std::vector<std::string>& elements,
                                                 const std::map<std::string, double>& given,
                                                 std::vector<ZEMU_import_site>& sites,
                                                 std::vector<std::string>& unknown_elements) {
    std::map<std::string, std::string> source;
    for (const std::string& el : elements) {
        auto g = given.find(el);
        if (g != given.end()) {
            set_element_state(sites, el, g->second, false);
            source[el] = "given";
            continue;
        }
        std::set<double> declared;
        bool all = true;
        for (const ZEMU_import_site& s : sites)
            if (s.element == el) {
                if (s.has_ox) declared.insert(s.ox);
                else all = false;
            }
        if (!all && declared.size() == 1) {
            set_element_state(sites, el, *declared.begin(), true);
            all = true;
        }
        if (all) {
            source[el] = "file";
        } else {
            source[el] = "assigned";
            unknown_elements.push_back(el);
        }
    }
    return source;
}

// Cell charge of the states kept as they are (given or from the file).
double kept_charge(const std::vector<ZEMU_import_site>& sites, const std::map<std::string, std::string>& source) {
    double charge = 0.0;
    for (const ZEMU_import_site& s : sites)
        if (s.has_ox && source.at(s.element) != "assigned") charge += s.occ * s.mul * s.ox;
    return charge;
}

// Candidate states of each element to assign, in the order tried; false with report->error
// set when the table knows none for some.
bool candidate_states(const std::vector<std::string>& elements, const std::vector<std::string>& unknown_elements,
                      std::map<std::string, std::vector<int>>& candidates, ZEMU_import_report* report) {
    // Sign of each unknown element: anion when the table knows it only as one or when
    // it is the most electronegative element present; either when the table allows.
    std::string most_negative;
    double highest = -1.0;
    for (const std::string& el : elements) {
        const double en = ZEMU_data_electronegativity(el.c_str());
        if (en > highest) {
            highest = en;
            most_negative = el;
        }
    }
    std::vector<std::string> unknown_states;
    for (const std::string& el : unknown_elements) {
        std::set<int> cation, anion;
        table_states(el, cation, anion);
        std::vector<int> c;
        // The most electronegative element is an anion; another element the table knows
        // both ways (Cl in Li3OCl or in a perchlorate, S in a sulfide or a sulfate) may be
        // either, cation first, and the charge balance and the GII decide.
        if (!anion.empty() && (cation.empty() || el == most_negative)) {
            c.assign(anion.rbegin(), anion.rend());  // -1 before -2
        } else {
            c.assign(cation.begin(), cation.end());
            if (el != "H") c.insert(c.end(), anion.rbegin(), anion.rend());  // hydride only as above
        }
        if (c.empty()) unknown_states.push_back(el);
        candidates[el] = c;
    }
    if (!unknown_states.empty()) {
        report->error = "no oxidation states known for " + join(unknown_states) + "; give them with --oxi (e.g. --oxi " +
                        unknown_states[0] + "=N)";
        return false;
    }
    return true;
}

// The unknowns of the search: one per element, or with per_site one per site for
// elements on several sites.
std::vector<Unknown> search_unknowns(const std::vector<std::string>& unknown_elements,
                                     const std::vector<ZEMU_import_site>& sites,
                                     const std::map<std::string, std::vector<int>>& candidates, bool per_site) {
    std::vector<Unknown> unknowns;
    for (const std::string& el : unknown_elements) {
        std::vector<size_t> idx;
        for (size_t i = 0; i < sites.size(); i++)
            if (sites[i].element == el) idx.push_back(i);
        if (!per_site || idx.size() == 1) {
            Unknown u{idx, 0.0, candidates.at(el)};
            for (size_t i : idx) u.weight += sites[i].occ * sites[i].mul;
            unknowns.push_back(u);
        } else {
            for (size_t i : idx) unknowns.push_back(Unknown{{i}, sites[i].occ * sites[i].mul, candidates.at(el)});
        }
    }
    return unknowns;
}

// " (nearest: ... leaves ... e per formula unit)" for the assignment per element leaving
// the least charge; empty when there is none to name.
std::string nearest_miss(const std::vector<std::string>& unknown_elements, const std::vector<ZEMU_import_site>& sites,
                         const std::map<std::string, std::vector<int>>& candidates, double fixed_charge, int z) {
    std::vector<Unknown> per_element;
    for (const std::string& el : unknown_elements) {
        Unknown u{{}, 0.0, candidates.at(el)};
        for (size_t i = 0; i < sites.size(); i++)
            if (sites[i].element == el) u.weight += sites[i].occ * sites[i].mul;
        per_element.push_back(u);
    }
    std::vector<int> best;
    double charge = 0.0;
    std::string nearest;
    if (closest(per_element, fixed_charge, best, &charge)) {
        char text[64];
        snprintf(text, sizeof text, "%+.3f", charge / (z > 0 ? z : 1));
        nearest = " (nearest:";
        for (size_t k = 0; k < best.size(); k++)
            nearest += " " + unknown_elements[k] + (best[k] > 0 ? "+" : "") + std::to_string(best[k]);
        nearest += std::string(" leaves ") + text + " e per formula unit)";
    }
    return nearest;
}

// Mixed valence spreads over as few and as close states as it can: assignments are put
// in order of their spread (sum over elements of highest minus lowest state), stably.
void sort_by_spread(std::vector<std::vector<int>>& found, const std::vector<Unknown>& unknowns,
                    const std::vector<ZEMU_import_site>& sites) {
    std::vector<std::pair<int, size_t>> order;
    for (size_t f = 0; f < found.size(); f++) {
        std::map<std::string, std::pair<int, int>> range;
        for (size_t k = 0; k < unknowns.size(); k++) {
            const std::string& el = sites[unknowns[k].sites[0]].element;
            auto it = range.find(el);
            if (it == range.end())
                range[el] = {found[f][k], found[f][k]};
            else
                it->second = {std::min(it->second.first, found[f][k]), std::max(it->second.second, found[f][k])};
        }
        int spread = 0;
        for (const auto& r : range) spread += r.second.second - r.second.first;
        order.push_back({spread, f});
    }
    std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::vector<int>> sorted;
    for (const auto& o : order) sorted.push_back(found[o.second]);
    found.swap(sorted);
}

// Sets the sites of each unknown to its state in the assignment.
void apply_assignment(std::vector<ZEMU_import_site>& sites, const std::vector<Unknown>& unknowns,
                      const std::vector<int>& assignment) {
    for (size_t k = 0; k < unknowns.size(); k++)
        for (size_t i : unknowns[k].sites) {
            sites[i].ox = assignment[k];
            sites[i].has_ox = 1;
        }
}

// Index in found of the assignment with the lowest global instability index (the first
// when none can be computed or there is only one); false with report->error set when the
// record cannot be built.
bool lowest_gii(ZEMU_cif* cif, std::vector<ZEMU_import_site>& sites, const std::vector<Unknown>& unknowns,
                const std::vector<std::vector<int>>& found, size_t* pick, ZEMU_import_report* report) {
    *pick = 0;
    double pick_gii = -1.0;
    size_t evaluated = found.size();
    for (size_t f = 0; f < evaluated; f++) {
        apply_assignment(sites, unknowns, found[f]);
        if (found.size() == 1) break;
        if (ZEMU_import_build_record(cif, sites)) {
            report->error = "out of memory";
            return false;
        }
        if (f == 0) {  // each GII costs about atoms^2: large cells compare fewer assignments
            long long cell_atoms = 0;
            for (int s = 0; s < cif->site_no; s++) cell_atoms += std::max(1, cif->site[s].mul);
            const double atoms = static_cast<double>(std::max(1LL, cell_atoms));
            const size_t affordable = std::max<size_t>(1, static_cast<size_t>(kGiiPairBudget / (atoms * atoms)));
            if (affordable < evaluated) {
                report->warnings.push_back("a cell of " + std::to_string(cell_atoms) + " atoms: the first " +
                                           std::to_string(affordable) + " of " + std::to_string(evaluated) +
                                           " balanced assignments are compared");
                evaluated = affordable;
            }
        }
        const double gii = ZEMU_import_gii(cif);
        if (gii >= 0.0 && (pick_gii < 0.0 || gii < pick_gii)) {
            *pick = f;
            pick_gii = gii;
        }
    }
    return true;
}

// Assigns the states of unknown_elements: the charge-balanced assignment, first per element,
// then per site, of least spread and lowest GII. 0 on success; 1 with report->error set.
int assign_unknown(ZEMU_cif* cif, std::vector<ZEMU_import_site>& sites, const std::vector<std::string>& elements,
                   const std::vector<std::string>& unknown_elements, double fixed_charge, double tolerance, int z,
                   ZEMU_import_report* report) {
    std::map<std::string, std::vector<int>> candidates;
    if (!candidate_states(elements, unknown_elements, candidates, report)) return 1;
    std::vector<std::vector<int>> found;
    std::vector<Unknown> unknowns;
    bool complete = true;
    // First one state per element, then one per site for elements on several sites.
    for (int pass = 0; pass < 2 && found.empty(); pass++) {
        unknowns = search_unknowns(unknown_elements, sites, candidates, pass == 1);
        if (pass == 1 && unknowns.size() == unknown_elements.size()) break;
        complete = balanced(unknowns, fixed_charge, tolerance, found) && complete;
    }
    if (found.empty()) {
        if (!complete) {
            report->error = "too many oxidation-state combinations of " + join(unknown_elements) +
                            " to try; give them with --oxi";
            return 1;
        }
        // Name the nearest miss: partial occupancies that do not add up are the usual cause.
        report->error = "no oxidation states of " + join(unknown_elements) + " balance the cell charge" +
                        nearest_miss(unknown_elements, sites, candidates, fixed_charge, z) + "; give them with --oxi";
        return 1;
    }
    sort_by_spread(found, unknowns, sites);
    if (found.size() > kMaxEvaluated) {
        report->warnings.push_back(std::to_string(found.size()) + " charge-balanced assignments; the first " +
                                   std::to_string(kMaxEvaluated) + " are compared");
        found.resize(kMaxEvaluated);
    }
    size_t pick = 0;
    if (!lowest_gii(cif, sites, unknowns, found, &pick, report)) return 1;
    apply_assignment(sites, unknowns, found[pick]);
    return 0;
}

// The states per element and the overall source into report.
void report_states(const std::vector<std::string>& elements, const std::vector<ZEMU_import_site>& sites,
                   const std::map<std::string, std::string>& source, ZEMU_import_report* report) {
    report->states.clear();
    bool any_assigned = false, any_given = false;
    for (const std::string& el : elements) {
        ZEMU_import_oxidation o;
        o.element = el;
        std::set<double> st;
        for (const ZEMU_import_site& s : sites)
            if (s.element == el) st.insert(s.ox);
        o.states.assign(st.begin(), st.end());
        o.source = source.at(el);
        any_assigned = any_assigned || o.source == "assigned";
        any_given = any_given || o.source == "given";
        report->states.push_back(o);
    }
    report->oxidation = any_assigned ? "assigned" : (any_given ? "given" : "file");
}

}  // namespace

double ZEMU_import_gii(ZEMU_cif* cif) {
    unsigned long size = 0;
    const char* text = ZEMU_data_bv_database_text(&size);
    ZEMU_bv_bin bin;
    if (ZEMU_init_bv_bin(&bin, cif->type_no) != 0) return -1.0;
    const int failed = ZEMU_build_bv_bin_text(cif, &bin, text, size) != 0 || ZEMU_calc_bv_sum(cif, &bin) != 0;
    ZEMU_free_bv_bin(&bin);
    if (failed) return -1.0;
    return ZEMU_GII_from_bv_sums(cif, 0);
}

int ZEMU_import_assign_oxidation(ZEMU_cif* cif, std::vector<ZEMU_import_site>& sites, const std::string& given_text,
                                 int z, ZEMU_import_report* report) {
    const double tolerance = kNeutral * (z > 0 ? z : 1);
    std::map<std::string, double> given;
    std::string bad;
    if (!parse_given(given_text, given, &bad)) {
        report->error = "--oxi: cannot read '" + bad + "' (expected element=state, e.g. Fe=2)";
        return 1;
    }
    const std::vector<std::string> elements = site_elements(sites);
    for (const auto& g : given)
        if (std::find(elements.begin(), elements.end(), g.first) == elements.end())
            report->warnings.push_back("--oxi: " + g.first + " is not in the structure");
    drop_zero_states(sites, report);

    std::vector<std::string> unknown_elements;
    const std::map<std::string, std::string> source = state_sources(elements, given, sites, unknown_elements);
    const double fixed_charge = kept_charge(sites, source);
    if (elements.size() == 1 && unknown_elements.size() == 1) {
        // A single element: the neutral state is the only one.
        for (ZEMU_import_site& s : sites) {
            s.ox = 0.0;
            s.has_ox = 1;
        }
        report->warnings.push_back("a single element: oxidation state 0");
    } else if (!unknown_elements.empty()) {
        if (assign_unknown(cif, sites, elements, unknown_elements, fixed_charge, tolerance, z, report)) return 1;
    } else if (std::fabs(fixed_charge) >= tolerance) {
        // The file's own states win; the charge they leave is worth a note.
        char text[96];
        snprintf(text, sizeof text, "%+.3f e per cell", fixed_charge);
        report->warnings.push_back(std::string("the oxidation states leave a charge of ") + text);
    }
    report_states(elements, sites, source, report);
    return 0;
}
