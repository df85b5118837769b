// Structure editing: site, type and operation storage, copying, splitting of
// fractional oxidation states, whole-atom P1 supercells and the CIF writer.
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "ZEMU-bv.h"
#include "ZEMU-kernel.h"

namespace {

// Grows an array to hold `count` elements, saying so when memory runs out.
template <typename T>
int grow_to_count(T** array, int count, int* cap) {
    if (zemu_kernel::grow_array(array, count, cap) == 0) return 0;
    fprintf(stderr, "Error: Memory allocation problem\n");
    return 1;
}

// Labels and type symbols longer than 9 characters are cut to their field.
void copy_label(char* dst, const char* src) {
    size_t n = strnlen(src, ZEMU_CIF_LABEL_SIZE - 1);
    memcpy(dst, src, n);
    memset(dst + n, 0, ZEMU_CIF_LABEL_SIZE - n);
}

ZEMU_site make_site(char* label, char* type, double x, double y, double z, int mul, char Wyckoff, double occ, double ox) {
    ZEMU_site site;
    copy_label(site.label, label);
    copy_label(site.type, type);
    // One 1 is added to a negative coordinate, once: -1.25 becomes -0.25.
    site.x = x < 0.0 ? x + 1.0 : x;
    site.y = y < 0.0 ? y + 1.0 : y;
    site.z = z < 0.0 ? z + 1.0 : z;
    site.mul = mul;
    site.Wyckoff = Wyckoff;
    site.occ = occ;
    site.ox = ox;
    site.bv_sum = 0.0;
    site.type_flag = -1;  // not set: no type flag is negative
    site.radius = 0.0;
    return site;
}

ZEMU_type make_type(char* label, double ox, int* flag) {
    ZEMU_type type;
    copy_label(type.label, label);
    ZEMU_get_element_symbol(type.label, type.label_element);
    type.ox = ox;
    type.flag = *flag;
    (*flag)++;
    return type;
}

int find_type(ZEMU_cif* cif, const char* label) {
    for (int t = 0; t < cif->type_no; t++)
        if (strncmp(cif->type[t].label, label, ZEMU_CIF_LABEL_SIZE) == 0) return t;
    return -1;
}

bool same_position(const ZEMU_site& p, const ZEMU_site& q) {
    return ZEMU_cif_equal_dbl(p.x, q.x) && ZEMU_cif_equal_dbl(p.y, q.y) && ZEMU_cif_equal_dbl(p.z, q.z);
}

// Removes entry t of a list of *count entries, closing the gap; 1 with the
// message naming the caller when there is no entry t.
template <typename T>
int remove_entry(T* list, int* count, int t, const char* caller) {
    if (t < 0 || t >= *count) {
        fprintf(stderr, "Error: Invalid input to %s()\n", caller);
        return 1;
    }
    memmove(list + t, list + t + 1, sizeof(T) * (size_t)(*count - 1 - t));
    (*count)--;
    return 0;
}

// Releases a list; its count and capacity become 0. Always 0.
template <typename T>
int release_list(T** list, int* count, int* cap) {
    free(*list);
    *list = nullptr;
    *count = *cap = 0;
    return 0;
}

// Random seed of the supercell builder: the current time in seconds.
unsigned long supercell_seed() { return (unsigned long)time(nullptr); }

}  // namespace

// ---------------------------------------------------------------------------
// Sites and types
// ---------------------------------------------------------------------------

int ZEMU_add_cif_site(ZEMU_cif* cif, char* label, char* type, double x, double y, double z, int mul, char Wyckoff,
                      double occ, double ox) {
    return ZEMU_ins_cif_site(cif, label, type, x, y, z, mul, Wyckoff, occ, ox, cif->site_no);
}

int ZEMU_ins_cif_site(ZEMU_cif* cif, char* label, char* type, double x, double y, double z, int mul, char Wyckoff,
                      double occ, double ox, int t) {
    if (t < 0 || t > cif->site_no) {
        fprintf(stderr, "Error: Invalid input to ZEMU_ins_cif_site()\n");
        return 1;
    }
    ZEMU_site site = make_site(label, type, x, y, z, mul, Wyckoff, occ, ox);
    cif->site_no++;
    if (ZEMU_alloc_cif_site(cif)) {
        cif->site_no--;
        return 1;
    }
    memmove(cif->site + t + 1, cif->site + t, sizeof(ZEMU_site) * (size_t)(cif->site_no - 1 - t));
    cif->site[t] = site;
    return 0;
}

int ZEMU_add_cif_type(ZEMU_cif* cif, char* label, double ox, int* flag) {
    return ZEMU_ins_cif_type(cif, label, ox, flag, cif->type_no);
}

int ZEMU_ins_cif_type(ZEMU_cif* cif, char* label, double ox, int* flag, int t) {
    if (t < 0 || t > cif->type_no) {
        fprintf(stderr, "Error: Invalid input to ZEMU_ins_cif_type()\n");
        return 1;
    }
    cif->type_no++;
    if (ZEMU_alloc_cif_type(cif)) {
        cif->type_no--;
        return 1;
    }
    memmove(cif->type + t + 1, cif->type + t, sizeof(ZEMU_type) * (size_t)(cif->type_no - 1 - t));
    cif->type[t] = make_type(label, ox, flag);
    return 0;
}

int ZEMU_remove_cif_site(ZEMU_cif* cif, int t) {
    return remove_entry(cif->site, &cif->site_no, t, "ZEMU_remove_cif_site");
}

int ZEMU_remove_cif_type(ZEMU_cif* cif, int t) {
    return remove_entry(cif->type, &cif->type_no, t, "ZEMU_remove_cif_type");
}

int ZEMU_remove_all_cif_site_by_type(ZEMU_cif* cif, char* label) {
    for (int s = cif->site_no - 1; s >= 0; s--)
        if (strncmp(cif->site[s].type, label, ZEMU_CIF_LABEL_SIZE) == 0 && ZEMU_remove_cif_site(cif, s)) return 1;
    return 0;
}

// ---------------------------------------------------------------------------
// Storage
// ---------------------------------------------------------------------------

int ZEMU_alloc_cif_site(ZEMU_cif* cif) { return grow_to_count(&cif->site, cif->site_no, &cif->site_no_cap); }

int ZEMU_alloc_cif_type(ZEMU_cif* cif) { return grow_to_count(&cif->type, cif->type_no, &cif->type_no_cap); }

int ZEMU_alloc_cif_site_all(ZEMU_cif* cif) {
    free(cif->site_all);
    cif->site_all = nullptr;
    if (cif->site_all_no <= 0) return 0;
    if (zemu_kernel::allocate_array(&cif->site_all, (size_t)cif->site_all_no, true)) {
        fprintf(stderr, "Error: Memory allocation problem\n");
        return 1;
    }
    return 0;
}

int ZEMU_alloc_cif_symop(ZEMU_cif* cif) {
    cif->symop = nullptr;
    if (cif->symop_no <= 0) return 0;
    using zemu_kernel::allocate_array;
    char** ops;
    bool ok = allocate_array(&ops, (size_t)cif->symop_no, true) == 0;
    for (int k = 0; ok && k < cif->symop_no; k++) ok = allocate_array(&ops[k], ZEMU_CIF_SYMOP_SIZE, true) == 0;
    if (!ok) {
        if (ops)
            for (int k = 0; k < cif->symop_no; k++) free(ops[k]);
        free(ops);
        fprintf(stderr, "Error: Memory allocation problem\n");
        return 1;
    }
    cif->symop = ops;
    return 0;
}

int ZEMU_free_cif_type(ZEMU_cif* cif) { return release_list(&cif->type, &cif->type_no, &cif->type_no_cap); }

int ZEMU_free_cif_site(ZEMU_cif* cif) { return release_list(&cif->site, &cif->site_no, &cif->site_no_cap); }

int ZEMU_free_cif_site_all(ZEMU_cif* cif) {
    free(cif->site_all);
    cif->site_all = nullptr;
    cif->site_all_no = 0;
    return 0;
}

int ZEMU_free_cif_symop(ZEMU_cif* cif) {
    if (cif->symop)
        for (int k = 0; k < cif->symop_no; k++) free(cif->symop[k]);
    free(cif->symop);
    cif->symop = nullptr;
    cif->symop_no = 0;
    return 0;
}

int ZEMU_free_cif(ZEMU_cif* cif) {
    ZEMU_free_cif_type(cif);
    ZEMU_free_cif_site(cif);
    ZEMU_free_cif_site_all(cif);
    ZEMU_free_cif_symop(cif);
    return 0;
}

int ZEMU_copy_cif(ZEMU_cif* input, ZEMU_cif* output) {
    *output = *input;
    output->type = nullptr;
    output->type_no_cap = 0;
    output->site = nullptr;
    output->site_no_cap = 0;
    output->site_all = nullptr;
    output->symop = nullptr;
    bool ok = true;
    if (input->type_no > 0) {
        if ((ok = zemu_kernel::allocate_array(&output->type, (size_t)input->type_no) == 0)) {
            memcpy(output->type, input->type, sizeof(ZEMU_type) * (size_t)input->type_no);
            output->type_no_cap = input->type_no;
        }
    }
    if (ok && input->site_no > 0) {
        if ((ok = zemu_kernel::allocate_array(&output->site, (size_t)input->site_no) == 0)) {
            memcpy(output->site, input->site, sizeof(ZEMU_site) * (size_t)input->site_no);
            output->site_no_cap = input->site_no;
        }
    }
    // The copy gets its own full-cell list, so releasing one structure never touches the other.
    if (ok && input->site_all_no > 0 && input->site_all) {
        if ((ok = zemu_kernel::allocate_array(&output->site_all, (size_t)input->site_all_no) == 0))
            memcpy(output->site_all, input->site_all, sizeof(ZEMU_site) * (size_t)input->site_all_no);
    } else {
        output->site_all_no = 0;
    }
    if (ok && input->symop && input->symop_no > 0) {
        if (ZEMU_alloc_cif_symop(output)) {
            ZEMU_free_cif(output);
            return 1;
        }
        for (int k = 0; k < input->symop_no; k++) memcpy(output->symop[k], input->symop[k], ZEMU_CIF_SYMOP_SIZE);
    } else if (ok) {
        output->symop_no = 0;
    }
    if (!ok) {
        output->symop_no = 0;
        ZEMU_free_cif(output);
        fprintf(stderr, "Error: Memory allocation problem\n");
        return 1;
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Fractional oxidation states, whole-atom counts and P1 supercell
// ---------------------------------------------------------------------------

int ZEMU_convert_frac_ox(ZEMU_cif* cif) {
    for (int s = 0; s < cif->site_no; s++) {
        double ox = cif->site[s].ox;
        if (ZEMU_cif_equal_dbl(ox, floor(ox)) || ox < 1e-7) continue;
        char element[ZEMU_CIF_LABEL_SIZE];
        ZEMU_get_element_symbol(cif->site[s].type, element);
        // A state beyond the integer range has no neighbouring integer states: it stops the splitting.
        if (!(ox < (double)INT_MAX)) return 0;
        int low = (int)floor(ox), high = (int)ceil(ox);
        if (strcmp(element, "S") == 0) low = 4, high = 6;
        else if (!strcmp(element, "Sn") || !strcmp(element, "Pd") || !strcmp(element, "Pb")) low = 2, high = 4;
        else if (!strcmp(element, "P") || !strcmp(element, "N") || !strcmp(element, "As")) low = 3, high = 5;
        else if (!strcmp(element, "I")) low = 5, high = 7;
        else if (!strcmp(element, "Au")) low = 1, high = 3;
        if (!(ox > low && ox < high)) return 0;

        char text[32], low_label[ZEMU_CIF_LABEL_SIZE], high_label[ZEMU_CIF_LABEL_SIZE];
        snprintf(text, sizeof text, "%s%d+", element, low);
        copy_label(low_label, text);
        snprintf(text, sizeof text, "%s%d+", element, high);
        copy_label(high_label, text);

        int pos = find_type(cif, cif->site[s].type);
        if (pos >= 0) {
            if (ZEMU_remove_cif_type(cif, pos)) return 1;
        } else {
            pos = cif->type_no;  // the old type is not listed: the new ones go to the end
        }
        if (find_type(cif, high_label) < 0 &&
            ZEMU_ins_cif_type(cif, high_label, (double)high, &cif->type_flag_counter, pos))
            return 1;
        if (find_type(cif, low_label) < 0 && ZEMU_ins_cif_type(cif, low_label, (double)low, &cif->type_flag_counter, pos))
            return 1;

        ZEMU_site orig = cif->site[s];
        double occ_low = orig.occ * (high - ox) / (high - low);
        ZEMU_site low_site = orig, high_site = orig;
        copy_label(low_site.type, low_label);
        low_site.ox = low;
        low_site.occ = occ_low;
        low_site.type_flag = cif->type[find_type(cif, low_label)].flag;
        copy_label(high_site.type, high_label);
        high_site.ox = high;
        high_site.occ = orig.occ - occ_low;
        high_site.type_flag = cif->type[find_type(cif, high_label)].flag;

        cif->site[s] = low_site;
        if (ZEMU_ins_cif_site(cif, high_site.label, high_site.type, high_site.x, high_site.y, high_site.z, high_site.mul,
                              high_site.Wyckoff, high_site.occ, high_site.ox, s + 1))
            return 1;
        cif->site[s + 1] = high_site;
        // The loop goes on with the high-state site, which is whole and skipped.
    }
    return 0;
}

namespace {

// The charge-restoring change of one or two whole-atom counts that strays least
// from the occupancies: site i by di and, when j >= 0, site j by dj.
struct CountChange {
    double penalty = zemu_kernel::kNoValue;
    int i = -1, di = 0, j = -1, dj = 0;
};

// The search for that change over the adjustable sites (partial occupancy, positive multiplicity).
class CountCorrection {
public:
    CountCorrection(ZEMU_cif* cif, const int* counts, int abc) : cif_(cif), counts_(counts), abc_(abc) {
        for (int i = 0; i < cif->site_no; i++)
            adjustable_.push_back(!ZEMU_cif_equal_dbl(cif->site[i].occ, 1.0) && cif->site[i].mul > 0);
    }

    // Single-site changes first, then pairs; a later candidate replaces the best only when strictly better.
    CountChange best(long long charge) const {
        CountChange best;
        for (int i = 0; i < n(); i++) {
            if (!adjustable_[i]) continue;
            long long q = (long long)cif_->site[i].ox;
            for (int di : kDeltas) {
                // A change below zero atoms is never a correction.
                if (charge + di * q != 0 || counts_[i] + di < 0 || !fits(i, i, di, -1, 0)) continue;
                consider(&best, penalty(i, di), i, di, -1, 0);
            }
        }
        for (int i = 0; i < n(); i++) {
            if (!adjustable_[i]) continue;
            for (int di : kDeltas)
                if (counts_[i] + di >= 0) pairs_with(i, di, charge, &best);
        }
        return best;
    }

private:
    static constexpr int kDeltas[4] = {-2, -1, 1, 2};

    int n() const { return cif_->site_no; }

    void pairs_with(int i, int di, long long charge, CountChange* best) const {
        long long qi = (long long)cif_->site[i].ox;
        for (int j = i + 1; j < n(); j++) {
            if (!adjustable_[j]) continue;
            long long qj = (long long)cif_->site[j].ox;
            for (int dj : kDeltas) {
                if (charge + di * qi + dj * qj != 0 || counts_[j] + dj < 0) continue;
                if (!fits(i, i, di, j, dj) || !fits(j, i, di, j, dj)) continue;
                consider(best, penalty(i, di) + penalty(j, dj), i, di, j, dj);
            }
        }
    }

    static void consider(CountChange* best, double p, int i, int di, int j, int dj) {
        if (p < best->penalty) *best = CountChange{p, i, di, j, dj};
    }

    // Counts at site k's position, with the tried changes, must fit the site's places.
    bool fits(int k, int i, int di, int j, int dj) const {
        long long total = 0;
        for (int m = 0; m < n(); m++) {
            if (!same_position(cif_->site[m], cif_->site[k])) continue;
            total += counts_[m];
            if (m == i) total += di;
            if (m == j) total += dj;
        }
        return total <= (long long)cif_->site[k].mul * abc_;
    }

    // How much further from site k's occupancy a change of d atoms takes its count.
    double penalty(int k, int d) const {
        double places = (double)cif_->site[k].mul * abc_;
        return fabs(cif_->site[k].occ - (counts_[k] + d) / places) - fabs(cif_->site[k].occ - counts_[k] / places);
    }

    ZEMU_cif* cif_;
    const int* counts_;
    int abc_;
    std::vector<char> adjustable_;
};

constexpr int CountCorrection::kDeltas[4];

}  // namespace

int ZEMU_get_integer_occ(ZEMU_cif* cif, int* int_occ, int abc) {
    const int n = cif->site_no;
    for (int i = 0; i < n; i++) {
        const ZEMU_site& s = cif->site[i];
        double t = s.occ * s.mul * (double)abc;
        // Counts must be representable whole numbers; absurd occupancies are rejected.
        if (!(t >= 0.0 && t <= 1e9) || !(fabs(s.ox) <= 1e3)) {
            fprintf(stderr, "Error: Invalid input to ZEMU_get_integer_occ()\n");
            return 1;
        }
        double lo = floor(t), hi = ceil(t);
        int_occ[i] = (int)(t - lo <= hi - t ? lo : hi);
    }
    long long charge = 0;
    for (int i = 0; i < n; i++) charge += (long long)(int_occ[i] * cif->site[i].ox);
    if (charge == 0) return 0;

    const CountChange change = CountCorrection(cif, int_occ, abc).best(charge);
    if (change.i < 0) {
        fprintf(stderr, "Error: Unable to make supercell total charge zero\n");
        return 1;
    }
    int_occ[change.i] += change.di;
    if (change.j >= 0) int_occ[change.j] += change.dj;
    return 0;
}

namespace {

// Forgets the record's type, site, full-cell and operation lists without
// releasing them (they belong to another record).
void detach_lists(ZEMU_cif* cif) {
    cif->type = nullptr;
    cif->type_no = cif->type_no_cap = 0;
    cif->site = nullptr;
    cif->site_no = cif->site_no_cap = 0;
    cif->site_all = nullptr;
    cif->site_all_no = 0;
    cif->symop = nullptr;
    cif->symop_no = 0;
}

// Room for every whole atom of the supercell in output's site list.
int reserve_supercell_sites(ZEMU_cif* output, const std::vector<int>& counts, int site_no) {
    long long total = 0;
    for (int i = 0; i < site_no; i++) total += counts[i];
    if (total <= 0) return 0;
    // more than 10^8 copies is taken as an allocation failure
    if (total > 100000000LL || zemu_kernel::allocate_array(&output->site, (size_t)total)) {
        fprintf(stderr, "Error: Memory allocation problem\n");
        return 1;
    }
    output->site_no_cap = (int)total;
    return 0;
}

// Places `count` whole atoms of site src at copies of its position in the
// a x b x c supercell, drawn at random; a copy an earlier atom holds is passed by.
int place_site_atoms(ZEMU_cif* cif, ZEMU_cif* output, const ZEMU_site& src, int count, int a, int b, int c) {
    ZEMU_equiv_pos pool;
    int status = ZEMU_symmetry_generate_equivalent_copies_in_supercell(cif, &pool, src.x, src.y, src.z, a, b, c);
    int left = pool.total_copies;
    for (int placed = 0; status == 0 && placed < count;) {
        // More atoms than copies, or every copy taken by an earlier site: the count cannot be met.
        if (count > pool.total_copies || left == 0) {
            fprintf(stderr, "Error: Fatal error in ZEMU_build_supercell()\n");
            status = 1;
            break;
        }
        int k = (int)(genrand_real1() * left);
        if (k >= left) k = left - 1;  // the draw may be exactly 1.0
        ZEMU_equiv_pos_frac_coor p = pool.copy[k];
        pool.copy[k] = pool.copy[left - 1];
        left--;
        bool taken = false;
        for (int o = 0; o < output->site_no && !taken; o++) {
            const ZEMU_site& q = output->site[o];
            taken = q.mul == 1 && ZEMU_cif_equal_dbl(q.x, p.a) && ZEMU_cif_equal_dbl(q.y, p.b) &&
                    ZEMU_cif_equal_dbl(q.z, p.c);
        }
        if (taken) continue;
        ZEMU_site site = src;
        site.Wyckoff = 'a';
        site.mul = 1;
        site.occ = 1.0;
        site.x = p.a;
        site.y = p.b;
        site.z = p.c;
        output->site[output->site_no++] = site;
        placed++;
    }
    ZEMU_free_equiv_pos(&pool);
    return status;
}

// The supercell's types (those of cif), its one operation and its cell.
int finish_supercell(ZEMU_cif* cif, ZEMU_cif* output, int a, int b, int c) {
    if (cif->type_no > 0) {
        if (zemu_kernel::allocate_array(&output->type, (size_t)cif->type_no)) {
            fprintf(stderr, "Error: Memory allocation problem\n");
            return 1;
        }
        memcpy(output->type, cif->type, sizeof(ZEMU_type) * (size_t)cif->type_no);
        output->type_no = output->type_no_cap = cif->type_no;
    }
    output->symop_no = 1;
    if (ZEMU_alloc_cif_symop(output)) {
        output->symop_no = 0;
        return 1;
    }
    strcpy(output->symop[0], "x,y,z");
    output->int_tab_cryst_no = 1;
    strcpy(output->spacegroup_HM, "P 1");
    output->a *= a;
    output->b *= b;
    output->c *= c;
    output->volume *= a * b * c;
    output->z *= a * b * c;
    ZEMU_calc_cif_d_parameters(output);
    return 0;
}

}  // namespace

int ZEMU_build_supercell(ZEMU_cif* cif, ZEMU_cif* output, int a, int b, int c) {
    // The output owns no arrays from the start, so that it can be released after any result.
    detach_lists(output);
    // Dimensions are also bounded above so that the atom count stays representable.
    if (a < 1 || b < 1 || c < 1 || (long long)a * b * c > 1000000LL) {
        fprintf(stderr, "Error: Invalid supercell dimension\n");
        return 1;
    }
    if (fabs(ZEMU_calc_unit_cell_charge(cif)) > 0.01) {
        fprintf(stderr, "Error: Cannot build supercell when unit cell has non-zero charge\n");
        return 1;
    }
    if (ZEMU_convert_frac_ox(cif)) return 1;
    init_genrand(supercell_seed());

    // The output's lists are built afresh below; cif's arrays and capacities do not describe them.
    *output = *cif;
    detach_lists(output);

    std::vector<int> counts(cif->site_no > 0 ? cif->site_no : 1);
    if (ZEMU_get_integer_occ(cif, counts.data(), a * b * c)) return 1;
    if (reserve_supercell_sites(output, counts, cif->site_no)) return 1;
    for (int i = 0; i < cif->site_no; i++)
        if (place_site_atoms(cif, output, cif->site[i], counts[i], a, b, c)) return 1;
    return finish_supercell(cif, output, a, b, c);
}

// ---------------------------------------------------------------------------
// CIF writer
// ---------------------------------------------------------------------------

int ZEMU_write_cif(ZEMU_cif* cif, FILE* fpw) {
    fprintf(fpw, "data_ZEMU\n");
    ZEMU_print_cif_latt_param(cif, fpw);
    ZEMU_print_cif_symops(cif, fpw);
    ZEMU_print_cif_types(cif, fpw);
    ZEMU_print_cif_sites(cif, fpw);
    fprintf(fpw, "#End of data_ZEMU\n");
    return 0;
}

int ZEMU_print_cif_latt_param(ZEMU_cif* cif, FILE* fpw) {
    fprintf(fpw, "_cell_length_a                    %.6f\n", cif->a);
    fprintf(fpw, "_cell_length_b                    %.6f\n", cif->b);
    fprintf(fpw, "_cell_length_c                    %.6f\n", cif->c);
    fprintf(fpw, "_cell_angle_alpha                 %.6f\n", cif->alpha);
    fprintf(fpw, "_cell_angle_beta                  %.6f\n", cif->beta);
    fprintf(fpw, "_cell_angle_gamma                 %.6f\n", cif->gamma);
    fprintf(fpw, "_cell_volume                      %.6f\n", cif->volume);
    if (cif->spacegroup_HM[0] != '\0')
        fprintf(fpw, "_symmetry_space_group_name_H-M    '%.19s'\n", cif->spacegroup_HM);
    if (cif->int_tab_cryst_no > 0) fprintf(fpw, "_symmetry_Int_Tables_number       %d\n", cif->int_tab_cryst_no);
    if (cif->z > 0) fprintf(fpw, "_cell_formula_units_Z             %d\n", cif->z);
    return 0;
}

int ZEMU_print_cif_symops(ZEMU_cif* cif, FILE* fpw) {
    fprintf(fpw, "loop_\n");
    fprintf(fpw, "_symmetry_equiv_pos_site_id\n");
    fprintf(fpw, "_symmetry_equiv_pos_as_xyz\n");
    if (cif->symop)
        for (int k = 0; k < cif->symop_no; k++) fprintf(fpw, "%3d   '%.29s'\n", k + 1, cif->symop[k]);
    return 0;
}

int ZEMU_print_cif_types(ZEMU_cif* cif, FILE* fpw) {
    fprintf(fpw, "loop_\n");
    fprintf(fpw, "_atom_type_symbol\n");
    fprintf(fpw, "_atom_type_oxidation_number\n");
    for (int t = 0; t < cif->type_no; t++) fprintf(fpw, "%-8.9s %.3f\n", cif->type[t].label, cif->type[t].ox);
    return 0;
}

namespace {

void print_site_loop_header(FILE* fpw) {
    fprintf(fpw, "loop_\n");
    fprintf(fpw, "_atom_site_label\n");
    fprintf(fpw, "_atom_site_type_symbol\n");
    fprintf(fpw, "_atom_site_symmetry_multiplicity\n");
    fprintf(fpw, "_atom_site_Wyckoff_symbol\n");
    fprintf(fpw, "_atom_site_fract_x\n");
    fprintf(fpw, "_atom_site_fract_y\n");
    fprintf(fpw, "_atom_site_fract_z\n");
    fprintf(fpw, "_atom_site_occupancy\n");
}

}  // namespace

int ZEMU_print_cif_sites(ZEMU_cif* cif, FILE* fpw) {
    print_site_loop_header(fpw);
    for (int s = 0; s < cif->site_no; s++) {
        const ZEMU_site& site = cif->site[s];
        fprintf(fpw, "%-12.9s %-8.9s %3d %c %7.5f %7.5f %7.5f %4.3f\n", site.label, site.type, site.mul, site.Wyckoff,
                site.x, site.y, site.z, site.occ);
    }
    return 0;
}

int ZEMU_cif_exact_number(double value, char* text, size_t size) {
    // Fixed notation: the reader's atof needs no exponent, and 6 decimals at least keep the file readable.
    int n = 0;
    for (int digits = 6; digits <= 17; digits++) {
        n = snprintf(text, size, "%.*f", digits, value);
        if (n < 0 || (size_t)n >= size) return 1;
        if (strtod(text, nullptr) == value) return 0;
    }
    return 0;
}

int ZEMU_print_cif_sites_exact(ZEMU_cif* cif, FILE* fpw) {
    print_site_loop_header(fpw);
    for (int s = 0; s < cif->site_no; s++) {
        const ZEMU_site& site = cif->site[s];
        char v[4][ZEMU_CIF_NUMBER_SIZE];
        const double values[4] = {site.x, site.y, site.z, site.occ};
        for (int k = 0; k < 4; k++)
            if (ZEMU_cif_exact_number(values[k], v[k], sizeof v[k])) return 1;
        fprintf(fpw, "%-12.9s %-8.9s %3d %c %s %s %s %s\n", site.label, site.type, site.mul, site.Wyckoff, v[0], v[1],
                v[2], v[3]);
    }
    return 0;
}

int ZEMU_write_cif_exact(ZEMU_cif* cif, FILE* fpw) {
    fprintf(fpw, "data_ZEMU\n");
    ZEMU_print_cif_latt_param(cif, fpw);
    if (cif->ICSD[0] != '\0') fprintf(fpw, "_database_code_ICSD %.*s\n", (int)sizeof cif->ICSD - 1, cif->ICSD);
    ZEMU_print_cif_symops(cif, fpw);
    ZEMU_print_cif_types(cif, fpw);
    if (ZEMU_print_cif_sites_exact(cif, fpw)) return 1;
    fprintf(fpw, "#End of data_ZEMU\n");
    return 0;
}
