// Landscape model: the mobile ion, exact symmetry operations, the cell matrix,
// the framework expanded to the cell and the pair terms of the mobile ion.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <set>
#include <string>

#include <gemmi/symmetry.hpp>

#include "ZEMU-bvse.h"
#include "ZEMU-data.h"
#include "ZEMU-triplet.h"

namespace {

// Coulomb constant e^2 / (4 pi eps0) of the model, eV * Angstrom.
const double kCoulomb = 14.4;
// Most framework images a landscape may visit (memory and time stay bounded).
const double kMaxImages = 2e7;
// Copies of one site closer than this on every fractional coordinate are one atom.
const double kSameCopy = 0.001;

// "Li1+" style text of an element and a signed state.
std::string ion_text(const char* element, int ox)
{
    return std::string(element) + std::to_string(ox < 0 ? -ox : ox) + (ox < 0 ? "-" : "+");
}

// Leading capital plus an optional lower-case letter; empty when the text starts otherwise.
std::string element_of(const char* text)
{
    std::string e;
    if (text[0] >= 'A' && text[0] <= 'Z') {
        e += text[0];
        if (text[1] >= 'a' && text[1] <= 'z') e += text[1];
    }
    return e;
}

// Coordinate reduced into [0, 1).
double reduce01(double v)
{
    v -= std::floor(v);
    return v >= 1.0 ? 0.0 : v;
}

// The cosine and sine of an angle in degrees, exact at 90, 120 and 60 degrees.
void exact_cos_sin(double degrees, double* c, double* s)
{
    if (std::fabs(degrees - 90.0) < 1e-9) {
        *c = 0.0, *s = 1.0;
    } else if (std::fabs(degrees - 120.0) < 1e-9) {
        *c = -0.5, *s = std::sqrt(3.0) / 2.0;
    } else if (std::fabs(degrees - 60.0) < 1e-9) {
        *c = 0.5, *s = std::sqrt(3.0) / 2.0;
    } else {
        double r = degrees * M_PI / 180.0;
        *c = std::cos(r), *s = std::sin(r);
    }
}

// Accepts the cut-off, the screening factor and the cell; sets rcut and the
// cell matrix. 0 or 1.
int set_cut_off_and_cell(const ZEMU_cif* cif, double rcut, double f, ZEMU_bvse_model* model, std::string* error)
{
    if (!(rcut > 0.0) || !(f > 0.0) || !std::isfinite(rcut) || !std::isfinite(f)) {
        *error = "the cut-off radius and the screening factor must be positive";
        return 1;
    }
    model->rcut = rcut;
    const double cell[6] = {cif->a, cif->b, cif->c, cif->alpha, cif->beta, cif->gamma};
    for (double v : cell)
        if (!std::isfinite(v)) {
            *error = "the structure has no valid cell";
            return 1;
        }
    if (!(cif->a > 0.0 && cif->b > 0.0 && cif->c > 0.0 && cif->alpha > 0.0 && cif->beta > 0.0 &&
          cif->gamma > 0.0 && cif->alpha < 180.0 && cif->beta < 180.0 && cif->gamma < 180.0)) {
        *error = "the structure has no valid cell";
        return 1;
    }
    ZEMU_bvse_cell_matrix(cif->a, cif->b, cif->c, cif->alpha, cif->beta, cif->gamma, model->cell);
    if (!(model->cell[2][2] > 0.0)) {
        *error = "the cell angles do not make a cell";
        return 1;
    }
    return 0;
}

// The structure's operations read exactly; the identity alone when it lists none. 0 or 1.
int read_operations(const ZEMU_cif* cif, std::vector<ZEMU_bvse_symop>* ops, std::string* error)
{
    for (int s = 0; s < cif->symop_no; s++) {
        ZEMU_bvse_symop op;
        if (ZEMU_bvse_parse_symop(cif->symop[s], &op, error)) return 1;
        ops->push_back(op);
    }
    if (ops->empty()) ops->push_back(ZEMU_bvse_symop{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}});
    return 0;
}

// Whole oxidation state of an occupied framework site (0: the site has no
// term); 1 for a site without valid position, occupancy, whole state or element.
int site_oxidation(const ZEMU_site& site, const std::string& element, int* ox, std::string* error)
{
    if (!std::isfinite(site.x) || !std::isfinite(site.y) || !std::isfinite(site.z) || !std::isfinite(site.occ)) {
        *error = std::string("site ") + site.label + " has no valid position or occupancy";
        return 1;
    }
    double rounded = std::round(site.ox);
    if (std::fabs(site.ox - rounded) > 1e-6 || std::fabs(rounded) > 99) {
        char buf[64];
        snprintf(buf, sizeof buf, "%g", site.ox);
        *error = std::string("site ") + site.label + " has the non-integer oxidation state " + buf;
        return 1;
    }
    *ox = static_cast<int>(rounded);
    if (*ox != 0 && element.empty()) {
        *error = std::string("site ") + site.label + " has no element symbol";
        return 1;
    }
    return 0;
}

// Morse term of a counter-ion for the mobile ion m, from the pair table; a pair
// with negative alpha is warned about once. 0 or 1.
int set_morse_term(const ZEMU_bvse_ion& m, double occ, ZEMU_bvse_atom* atom, std::set<std::string>* warned,
                   std::vector<std::string>* warnings, std::string* error)
{
    const int ox = atom->ox;
    const ZEMU_bv_pair* pair = m.charge > 0 ? ZEMU_data_find_bv_pair(m.element.c_str(), m.charge, atom->element, ox)
                                            : ZEMU_data_find_bv_pair(atom->element, ox, m.element.c_str(), m.charge);
    std::string name = m.charge > 0 ? ion_text(m.element.c_str(), m.charge) + "/" + ion_text(atom->element, ox)
                                    : ion_text(atom->element, ox) + "/" + ion_text(m.element.c_str(), m.charge);
    if (pair == nullptr) {
        *error = "no bond-valence parameters for the pair " + name;
        return 1;
    }
    if (pair->alpha < 0.0 && warned->insert(name).second)
        warnings->push_back("the pair " + name +
                            " has a negative alpha: its Morse term grows without bound with distance");
    atom->coulomb = 0;
    atom->c = occ * pair->d0 * 0.5;
    atom->alpha = pair->alpha;
    atom->r_min = pair->r_min;
    return 0;
}

// Screened Coulomb term of a site charged like the mobile ion (charge, element
// em), from both elements' quantum numbers and covalent radii. 0 or 1.
int set_coulomb_term(int charge, const ZEMU_element* em, const ZEMU_site& site, double f, ZEMU_bvse_atom* atom,
                     std::string* error)
{
    const ZEMU_element* ej = ZEMU_data_find_element(atom->element);
    if (ej == nullptr) {
        *error = std::string("element ") + atom->element + " of site " + site.label + " is not in the element table";
        return 1;
    }
    for (const ZEMU_element* e : {em, ej}) {
        if (e->n <= 0) {
            *error = std::string("element ") + e->symbol + " has no principal quantum number for the Coulomb term";
            return 1;
        }
    }
    atom->coulomb = 1;
    atom->c = site.occ * kCoulomb * charge * atom->ox / std::sqrt(static_cast<double>(em->n) * ej->n);
    atom->screen = f * (em->covalent_radius + ej->covalent_radius);
    return 0;
}

// Appends the atom at the site's symmetric copies in operation order, each
// near-coincident copy kept once.
void add_copies(const ZEMU_site& site, const std::vector<ZEMU_bvse_symop>& ops, ZEMU_bvse_atom* atom,
                std::vector<ZEMU_bvse_atom>* atoms)
{
    const size_t first = atoms->size();
    for (const ZEMU_bvse_symop& op : ops) {
        const double in[3] = {site.x, site.y, site.z};
        double v[3];
        for (int i = 0; i < 3; i++)
            v[i] = reduce01(op.rot[i][0] * in[0] + op.rot[i][1] * in[1] + op.rot[i][2] * in[2] + op.tran[i] / 24.0);
        bool seen = false;
        for (size_t k = first; k < atoms->size() && !seen; k++) {
            seen = true;
            for (int i = 0; i < 3; i++) {
                double d = v[i] - (*atoms)[k].frac[i];
                if (std::fabs(d - std::round(d)) >= kSameCopy) seen = false;
            }
        }
        if (seen) continue;
        for (int i = 0; i < 3; i++) atom->frac[i] = v[i];
        atoms->push_back(*atom);
    }
}

// Framework images a landscape visits: every atom times the cells within
// rcut / spacing of the cell along each axis.
double framework_images(const ZEMU_bvse_model& model, double rcut)
{
    double images = static_cast<double>(model.atoms.size());
    double volume = std::fabs(model.cell[0][0] * model.cell[1][1] * model.cell[2][2]);
    for (int i = 0; i < 3; i++) {
        const double* u = model.cell[(i + 1) % 3];
        const double* v = model.cell[(i + 2) % 3];
        double face = std::sqrt(std::pow(u[1] * v[2] - u[2] * v[1], 2) + std::pow(u[2] * v[0] - u[0] * v[2], 2) +
                                std::pow(u[0] * v[1] - u[1] * v[0], 2));
        images *= 2.0 * rcut / (volume / face) + 3.0;
    }
    return images;
}

}  // namespace

// ---------------------------------------------------------------------------
// Mobile ion, operations, cell
// ---------------------------------------------------------------------------

int ZEMU_bvse_parse_ion(const char* text, ZEMU_bvse_ion* ion, std::string* error)
{
    std::string t = text ? text : "";
    std::string element = element_of(t.c_str());
    size_t p = element.size();
    if (element.empty()) {
        *error = "mobile ion '" + t + "' does not start with an element symbol (write it as Li1+)";
        return 1;
    }
    long magnitude = 1;
    size_t digits = p;
    while (digits < t.size() && t[digits] >= '0' && t[digits] <= '9' && digits - p < 3) digits++;
    if (digits > p) magnitude = std::stol(t.substr(p, digits - p));
    if (digits + 1 != t.size() || (t[digits] != '+' && t[digits] != '-') || magnitude == 0) {
        *error = "mobile ion '" + t + "' needs a charge with its sign (write it as Li1+, O2- or F-)";
        return 1;
    }
    if (ZEMU_data_find_element(element.c_str()) == nullptr) {
        *error = "mobile ion '" + t + "': element " + element + " is not in the element table";
        return 1;
    }
    ion->element = element;
    ion->charge = static_cast<int>(t[digits] == '-' ? -magnitude : magnitude);
    return 0;
}

int ZEMU_bvse_parse_symop(const char* text, ZEMU_bvse_symop* op, std::string* error)
{
    gemmi::Op g;
    try {
        g = ZEMU_parse_triplet(text ? text : "");
    } catch (const std::exception& e) {
        *error = std::string("symmetry operation '") + (text ? text : "") + "' cannot be read (" + e.what() + ")";
        return 1;
    }
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++) {
            if (g.rot[i][j] % gemmi::Op::DEN != 0) {
                *error = std::string("symmetry operation '") + text + "' has a fractional rotation entry";
                return 1;
            }
            op->rot[i][j] = g.rot[i][j] / gemmi::Op::DEN;
        }
        op->tran[i] = g.tran[i];
    }
    return 0;
}

void ZEMU_bvse_cell_matrix(double a, double b, double c, double alpha, double beta, double gamma, double m[3][3])
{
    double ca, sa, cb, sb, cg, sg;
    exact_cos_sin(alpha, &ca, &sa);
    exact_cos_sin(beta, &cb, &sb);
    exact_cos_sin(gamma, &cg, &sg);
    double cy = (ca - cb * cg) / sg;
    double cz = std::sqrt(std::fmax(0.0, 1.0 - cb * cb - cy * cy));
    double rows[3][3] = {{a, 0.0, 0.0}, {b * cg, b * sg, 0.0}, {c * cb, c * cy, c * cz}};
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) m[i][j] = std::fabs(rows[i][j]) < 1e-12 ? 0.0 : rows[i][j];
}

// ---------------------------------------------------------------------------
// Model
// ---------------------------------------------------------------------------

int ZEMU_bvse_build_model(ZEMU_cif* cif, const char* ion, double rcut, double f, ZEMU_bvse_model* model,
                          std::string* error)
{
    model->atoms.clear();
    model->warnings.clear();
    if (ZEMU_bvse_parse_ion(ion, &model->ion, error)) return 1;
    if (set_cut_off_and_cell(cif, rcut, f, model, error)) return 1;
    std::vector<ZEMU_bvse_symop> ops;
    if (read_operations(cif, &ops, error)) return 1;

    const ZEMU_bvse_ion& m = model->ion;
    const ZEMU_element* em = ZEMU_data_find_element(m.element.c_str());
    std::set<std::string> warned;
    bool counter_ion = false;
    for (int s = 0; s < cif->site_no; s++) {
        const ZEMU_site& site = cif->site[s];
        std::string element = element_of(site.type[0] ? site.type : site.label);
        if (element == m.element) continue;  // the mobile ion's own sites, every state
        if (!(site.occ > 0.0)) continue;
        int ox = 0;
        if (site_oxidation(site, element, &ox, error)) return 1;
        if (ox == 0) continue;

        ZEMU_bvse_atom atom;
        memset(&atom, 0, sizeof atom);
        snprintf(atom.element, sizeof atom.element, "%s", element.c_str());
        atom.ox = ox;
        atom.occ = site.occ;
        if (static_cast<long>(ox) * m.charge < 0) {
            counter_ion = true;
            if (set_morse_term(m, site.occ, &atom, &warned, &model->warnings, error)) return 1;
        } else if (set_coulomb_term(m.charge, em, site, f, &atom, error)) {
            return 1;
        }
        add_copies(site, ops, &atom, &model->atoms);
    }
    double images = framework_images(*model, rcut);
    if (!(images <= kMaxImages)) {
        char buf[160];
        snprintf(buf, sizeof buf, "the cut-off radius %g A asks for about %.3g framework images in this cell (limit %.0e)",
                 rcut, images, kMaxImages);
        *error = buf;
        return 1;
    }
    if (!counter_ion) {
        *error = "the structure has no counter-ions of " + std::string(ion) + " (no site of opposite charge)";
        return 1;
    }
    return 0;
}

double ZEMU_bvse_pair_energy(const ZEMU_bvse_atom* atom, double r)
{
    if (atom->coulomb) return atom->c / r * std::erfc(r / atom->screen);
    double t = std::exp(atom->alpha * (atom->r_min - r)) - 1.0;
    return atom->c * (t * t - 1.0);
}

double ZEMU_bvse_cap(double e)
{
    return (std::isfinite(e) && e <= 1e5) ? e : 100000.0;
}
