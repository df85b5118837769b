// Bond valence sums, global instability index, cell charge and the GII
// optimiser, with the parameter matrix read from "bin/database_binary.dat" (or the
// same text built into the program).
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "MT19937AR.h"
#include "ZEMU-bv.h"
#include "ZEMU-kernel.h"

namespace {

const char* const BV_DATABASE_FILE = ZEMU_BV_DATABASE_FILE;
const int BV_LINE_SIZE = ZEMU_BV_LINE_SIZE;
const int BV_MIN_WORDS = ZEMU_BV_PARAM_WORDS;
const double BV_MIN_DISTANCE = 0.3;  // Angstrom: closer atoms (the site itself) never bond
// Shell bound for cells whose metric cannot bound the search (degenerate or non-finite
// cell, absurd cut-off): keeps bad input from searching practically forever.
const int BV_MAX_SHELL = 32;

// One parameter line of the database.
struct BvParamLine {
    std::string cation;
    int cation_ox;
    std::string anion;
    int anion_ox;
    double r0, b, cutoff;
};

// Oxidation state as compared with the file's integer words: truncated toward zero
// (out-of-range and non-finite values give 0 instead of an undefined conversion).
int bv_trunc_ox(double ox)
{
    if (!(ox > (double)INT_MIN && ox < (double)INT_MAX)) return 0;
    return (int)ox;
}

// Reads every line of at least 8 words; the file is read once and scanned per pair,
// which finds the same first match as rescanning it from the start.
void bv_read_param_lines(FILE* fp, std::vector<BvParamLine>& lines)
{
    char line[BV_LINE_SIZE];
    while (fgets(line, sizeof line, fp) != nullptr) {
        char* word[BV_MIN_WORDS];
        if (ZEMU_bv_database_words(line, word, BV_MIN_WORDS) < BV_MIN_WORDS) continue;
        BvParamLine p;
        p.cation = word[0];
        p.cation_ox = atoi(word[1]);
        p.anion = word[2];
        p.anion_ox = atoi(word[3]);
        p.r0 = atof(word[4]);
        p.b = atof(word[5]);
        p.cutoff = atof(word[7]);
        lines.push_back(p);
    }
}

// Element symbol of a type, bounded by its field.
std::string bv_element(const ZEMU_type& t)
{
    return std::string(t.label_element, strnlen(t.label_element, sizeof t.label_element));
}

// Position of the type whose flag equals `flag` in the type list; -1 when none.
int bv_type_index_by_flag(ZEMU_cif* cif, int flag)
{
    for (int t = 0; t < cif->type_no; t++)
        if (cif->type[t].flag == flag) return t;
    return -1;
}

// Like charges never bond; a zero charge bonds with either sign.
bool bv_like_charges(double ox1, double ox2)
{
    return (ox1 < 0.0 && ox2 < 0.0) || (ox1 > 0.0 && ox2 > 0.0);
}

// Last shell that can hold a neighbour within max_cutoff. Along axis k a translation
// of n cells moves the atom at least (|n| - |x_atom| - |x_site|) interplanar spacings
// d_k away, so a shell beyond max_k(max_cutoff / d_k + 2 max|x_k|) contributes
// nothing; the search ends at the first empty shell, which this bound never changes.
int bv_shell_limit(ZEMU_cif* cif, double max_cutoff, const double max_abs[3])
{
    const double g11 = cif->d1, g22 = cif->d2, g33 = cif->d3;
    const double g12 = cif->d4 / 2.0, g23 = cif->d5 / 2.0, g13 = cif->d6 / 2.0;
    const double c11 = g22 * g33 - g23 * g23;
    const double c22 = g11 * g33 - g13 * g13;
    const double c33 = g11 * g22 - g12 * g12;
    const double det = g11 * c11 - g12 * (g12 * g33 - g23 * g13) + g13 * (g12 * g23 - g22 * g13);
    if (!(g11 > 0.0 && c33 > 0.0 && det > 0.0 && c11 > 0.0 && c22 > 0.0)) return BV_MAX_SHELL;
    const double cof[3] = {c11, c22, c33};
    double bound = 0.0;
    for (int k = 0; k < 3; k++) {
        const double spacing = std::sqrt(det / cof[k]);
        const double reach = max_cutoff / spacing + 2.0 * max_abs[k];
        if (reach > bound) bound = reach;
    }
    if (!std::isfinite(bound) || bound >= BV_MAX_SHELL) return BV_MAX_SHELL;
    return (int)std::floor(bound) + 1;
}

// Translations of shell m (each component in -m..m, at least one of magnitude m),
// a outermost, then b, then c, each ascending from -m.
void bv_shell_translations(int m, std::vector<int>& t)
{
    t.clear();
    for (int ta = -m; ta <= m; ta++)
        for (int tb = -m; tb <= m; tb++)
            for (int tc = -m; tc <= m; tc++)
                if (std::abs(ta) == m || std::abs(tb) == m || std::abs(tc) == m) {
                    t.push_back(ta);
                    t.push_back(tb);
                    t.push_back(tc);
                }
}

}  // namespace

int ZEMU_bv_database_words(char* line, char** word, int max_words)
{
    size_t len = strlen(line);
    while (len > 0 && (line[len - 1] == '\n' || line[len - 1] == '\r')) line[--len] = '\0';
    return zemu_kernel::split_words_in_place(line, word, max_words);
}

// ---------------------------------------------------------------------------
// Parameter matrix
// ---------------------------------------------------------------------------

int ZEMU_init_bv_bin(ZEMU_bv_bin* bin, int size)
{
    bin->total = size > 0 ? size : 0;
    bin->item = nullptr;
    return ZEMU_alloc_bv_bin(bin);
}

int ZEMU_alloc_bv_bin(ZEMU_bv_bin* bin)
{
    bin->item = nullptr;
    if (bin->total <= 0) {
        bin->total = 0;
        return 0;
    }
    if (zemu_kernel::allocate_array(&bin->item, (size_t)bin->total, true)) {
        fprintf(stderr, "Error: Memory allocation problem\n");
        bin->total = 0;
        return 1;
    }
    for (int i = 0; i < bin->total; i++) {
        if (zemu_kernel::allocate_array(&bin->item[i], (size_t)bin->total, true)) {
            fprintf(stderr, "Error: Memory allocation problem\n");
            ZEMU_free_bv_bin(bin);
            return 1;
        }
    }
    return 0;
}

int ZEMU_free_bv_bin(ZEMU_bv_bin* bin)
{
    if (bin->item != nullptr) {
        for (int i = 0; i < bin->total; i++) free(bin->item[i]);
        free(bin->item);
    }
    bin->item = nullptr;
    bin->total = 0;
    return 0;
}

namespace {

// Fills the matrix for the types of cif from the parameter lines.
int bv_fill_bin(ZEMU_cif* cif, ZEMU_bv_bin* bin, const std::vector<BvParamLine>& lines, const char* caller)
{
    if (bin->total != cif->type_no || (bin->total > 0 && bin->item == nullptr)) {
        fprintf(stderr, "Error: Invalid input to %s()\n", caller);
        return 1;
    }
    for (int i = 0; i < bin->total; i++) {
        for (int j = i; j < bin->total; j++) {
            ZEMU_bv_bin_item item = {0, 0.0, 0.0, 0.0};  // a pair without a matching line does not bond
            const ZEMU_type& ti = cif->type[i];
            const ZEMU_type& tj = cif->type[j];
            if (i != j && !bv_like_charges(ti.ox, tj.ox)) {
                const ZEMU_type& anion = ti.ox <= 0.0 ? ti : tj;
                const ZEMU_type& cation = ti.ox <= 0.0 ? tj : ti;
                const std::string cat_el = bv_element(cation), an_el = bv_element(anion);
                const int cat_ox = bv_trunc_ox(cation.ox), an_ox = bv_trunc_ox(anion.ox);
                for (const BvParamLine& p : lines) {
                    if (p.cation == cat_el && p.cation_ox == cat_ox && p.anion == an_el && p.anion_ox == an_ox) {
                        // A line without a positive softness cannot describe a bond: no bonding.
                        if (p.b > 0.0) item = {1, p.b, p.r0, p.cutoff};
                        break;
                    }
                }
            }
            bin->item[i][j] = item;
            bin->item[j][i] = item;
        }
    }
    return 0;
}

}  // namespace

int ZEMU_build_bv_bin(ZEMU_cif* cif, ZEMU_bv_bin* bin)
{
    FILE* fp = fopen(BV_DATABASE_FILE, "r");
    if (fp == nullptr) {
        fprintf(stderr, "Error: Cannot load database_binary.dat!\n");
        return 1;
    }
    std::vector<BvParamLine> lines;
    bv_read_param_lines(fp, lines);
    fclose(fp);
    return bv_fill_bin(cif, bin, lines, "ZEMU_build_bv_bin");
}

int ZEMU_build_bv_bin_text(ZEMU_cif* cif, ZEMU_bv_bin* bin, const char* text, unsigned long size)
{
    // The text is read through a memory stream so that its lines split exactly as the file's do.
    std::vector<BvParamLine> lines;
    if (size > 0) {
        FILE* fp = fmemopen(const_cast<char*>(text), (size_t)size, "r");
        if (fp == nullptr) {
            fprintf(stderr, "Error: Cannot read the bond-valence parameters\n");
            return 1;
        }
        bv_read_param_lines(fp, lines);
        fclose(fp);
    }
    return bv_fill_bin(cif, bin, lines, "ZEMU_build_bv_bin_text");
}

// ---------------------------------------------------------------------------
// Bond valence sums
// ---------------------------------------------------------------------------

int ZEMU_calc_bv_sum(ZEMU_cif* cif, ZEMU_bv_bin* bin)
{
    if (bin->total != cif->type_no || (bin->total > 0 && bin->item == nullptr)) {
        fprintf(stderr, "Error: Invalid input to ZEMU_calc_bv_sum()\n");
        return 1;
    }
    if (ZEMU_add_P1_to_cif(cif) != 0) return 1;

    double max_cutoff = 0.0;
    for (int i = 0; i < bin->total; i++)
        for (int j = 0; j < bin->total; j++)
            if (bin->item[i][j].status == 1 && !(bin->item[i][j].cutoff <= max_cutoff))
                max_cutoff = bin->item[i][j].cutoff;

    // Type index of every atom of the cell, and the coordinate spread that bounds the search.
    const int n_all = cif->site_all_no;
    std::vector<int> all_type((size_t)(n_all > 0 ? n_all : 0));
    double max_abs[3] = {0.0, 0.0, 0.0};
    auto widen = [&max_abs](const ZEMU_site& s) {
        const double v[3] = {std::fabs(s.x), std::fabs(s.y), std::fabs(s.z)};
        for (int k = 0; k < 3; k++)
            if (!(v[k] <= max_abs[k])) max_abs[k] = v[k];
    };
    for (int a = 0; a < n_all; a++) {
        all_type[(size_t)a] = bv_type_index_by_flag(cif, cif->site_all[a].type_flag);
        widen(cif->site_all[a]);
    }
    for (int s = 0; s < cif->site_no; s++) widen(cif->site[s]);
    const int shell_limit = bv_shell_limit(cif, max_cutoff, max_abs);

    std::vector<int> shell;
    for (int s = 0; s < cif->site_no; s++) {
        ZEMU_site& site = cif->site[s];
        site.bv_sum = 0.0;
        const int st = bv_type_index_by_flag(cif, site.type_flag);
        if (st < 0) continue;
        const double sign = site.ox > 0.0 ? 1.0 : -1.0;
        for (int m = 0; m <= shell_limit; m++) {
            bv_shell_translations(m, shell);
            bool contributed = false;
            for (int a = 0; a < n_all; a++) {
                const ZEMU_site& atom = cif->site_all[a];
                if (bv_like_charges(site.ox, atom.ox)) continue;
                const int at = all_type[(size_t)a];
                if (at < 0) continue;
                const ZEMU_bv_bin_item& p = bin->item[st][at];
                if (p.status != 1) continue;
                for (size_t t = 0; t < shell.size(); t += 3) {
                    const double d = ZEMU_distance_frac_cif(cif, site.x, site.y, site.z, atom.x + shell[t],
                                                            atom.y + shell[t + 1], atom.z + shell[t + 2]);
                    if (d >= BV_MIN_DISTANCE && d <= p.cutoff) {
                        site.bv_sum += sign * std::exp((p.r0 - d) / p.b) * atom.occ;
                        contributed = true;
                    }
                }
            }
            if (!contributed) break;
        }
    }
    return 0;
}

int ZEMU_print_bv_sum(ZEMU_cif* cif, FILE* fpw)
{
    ZEMU_bv_bin bin;
    if (ZEMU_init_bv_bin(&bin, cif->type_no) != 0) return 1;
    if (ZEMU_build_bv_bin(cif, &bin) != 0 || ZEMU_calc_bv_sum(cif, &bin) != 0) {
        ZEMU_free_bv_bin(&bin);
        return 1;
    }
    ZEMU_free_bv_bin(&bin);
    fprintf(fpw, "Printing bond valence sum for each site...\n");
    fprintf(fpw, "> Label [X Y Z] : BV_sum\n");
    for (int s = 0; s < cif->site_no; s++) {
        const ZEMU_site& site = cif->site[s];
        fprintf(fpw, "> %.*s [%.3f %.3f %.3f] : %.6f\n", (int)sizeof site.label, site.label, site.x, site.y, site.z,
                site.bv_sum);
    }
    fprintf(fpw, "End of BV sum calculation.\n");
    fflush(fpw);
    return 0;
}

// ---------------------------------------------------------------------------
// Global instability index and cell charge
// ---------------------------------------------------------------------------

double ZEMU_GII_from_bv_sums(ZEMU_cif* cif, int print_sites)
{
    double weighted = 0.0, weight = 0.0;
    for (int s = 0; s < cif->site_no; s++) {
        const ZEMU_site& site = cif->site[s];
        const double dev = site.ox - site.bv_sum;
        weighted += dev * dev * site.mul * site.occ;
        weight += site.mul * site.occ;
        if (print_sites)
            printf("%.*s : %f Ox %f Mul %d Occ %f\n", (int)sizeof site.label, site.label, site.bv_sum, site.ox,
                   site.mul, site.occ);
    }
    // No sites (or no weight) leave the index undefined: reported as not computable.
    if (!(weight != 0.0)) return -1.0;
    return std::sqrt(weighted / weight);
}

double ZEMU_calc_GII(ZEMU_cif* cif)
{
    ZEMU_bv_bin bin;
    if (ZEMU_init_bv_bin(&bin, cif->type_no) != 0) return -1.0;
    const int failed = ZEMU_build_bv_bin(cif, &bin) != 0 || ZEMU_calc_bv_sum(cif, &bin) != 0;
    ZEMU_free_bv_bin(&bin);
    if (failed) return -1.0;
    return ZEMU_GII_from_bv_sums(cif, 1);
}

int ZEMU_print_GII(ZEMU_cif* cif, FILE* fpw)
{
    const double gii = ZEMU_calc_GII(cif);
    if (ZEMU_cif_equal_dbl(gii, -1.0)) {
        fprintf(fpw, "Error: Unable to calculate GII\n");
        return 1;
    }
    fprintf(fpw, "Global instability index: %.6f\n", gii);
    return 0;
}

double ZEMU_calc_unit_cell_charge(ZEMU_cif* cif)
{
    double charge = 0.0;
    for (int s = 0; s < cif->site_no; s++) charge += cif->site[s].occ * cif->site[s].ox * cif->site[s].mul;
    cif->unit_cell_charge = charge;
    return charge;
}

int ZEMU_print_unit_cell_charge(ZEMU_cif* cif)
{
    if (!cif->site_charge_provided) {
        printf("Error: Unable to calculate total charge\n");
        return 1;
    }
    printf("Total charge per unit cell: %.3f\n", ZEMU_calc_unit_cell_charge(cif));
    return 0;
}

// ---------------------------------------------------------------------------
// GII optimiser
// ---------------------------------------------------------------------------

int ZEMU_optimize_GII(ZEMU_cif* cif, ZEMU_cif* output)
{
    static const double special[] = {0.167, 0.25, 0.333, 0.5, 0.667, 0.75, 0.833};
    const double move = 0.01;

    init_genrand((unsigned long)time(nullptr));
    if (ZEMU_copy_cif(cif, output) != 0) return 1;

    // Free coordinates of the copy: pointers to x, y or z of its sites.
    std::vector<double*> free_coord;
    for (int i = 0; i < output->site_no; i++) {
        ZEMU_site& si = output->site[i];
        bool distinct = true;
        for (int j = 0; j < i - 1 && distinct; j++) {  // the site just before i is not compared
            const ZEMU_site& sj = output->site[j];
            if (ZEMU_cif_equal_dbl(si.x, sj.x) && ZEMU_cif_equal_dbl(si.y, sj.y) && ZEMU_cif_equal_dbl(si.z, sj.z))
                distinct = false;
        }
        if (!distinct) continue;
        double* coord[3] = {&si.x, &si.y, &si.z};
        for (double* v : coord) {
            bool is_free = std::fabs(*v) > 0.001;
            for (double sv : special) is_free = is_free && std::fabs(*v - sv) > 0.001;
            if (is_free) free_coord.push_back(v);
        }
    }
    // Nothing to move: the copy is returned unchanged, without any draw or output file.
    if (free_coord.empty()) return 0;
    const int n_free = (int)free_coord.size();

    double current = ZEMU_calc_GII(output);
    // A structure whose GII cannot be computed cannot be annealed.
    if (ZEMU_cif_equal_dbl(current, -1.0)) return 1;
    printf("CURRENT %f\n", current);
    double temperature = current / 100.0;
    int cooling_point = 10;
    double prob = 0.0;  // acceptance probability of the previous uphill move

    for (int i = 0; i < 100; i++) {
        if (i > cooling_point) {
            cooling_point *= 2;
            temperature *= 0.9;
        }
        int k = (int)(genrand_real1() * n_free);
        if (k > n_free - 1) k = n_free - 1;  // genrand_real1 can return 1.0 exactly
        double* v = free_coord[(size_t)k];
        const double step = genrand_real1() >= 0.5 ? -move : move;
        *v += step;
        const double next = ZEMU_calc_GII(output);
        if (next < current) {
            current = next;
            continue;
        }
        printf("i %d prob %f Current GII %f\n", i, prob, current);
        prob = std::exp(-(next - current) / temperature);
        if (prob <= genrand_real1())
            *v -= step;
        else
            current = next;
    }

    FILE* fpw = fopen("ZEMU.cif", "w");
    if (fpw == nullptr) {
        fprintf(stderr, "Error: Unable to write to ZEMU.cif\n");
        return 1;
    }
    const int failed = ZEMU_write_cif(output, fpw);
    fclose(fpw);
    return failed ? 1 : 0;
}
