// Symmetry operations on fractional positions: evaluation of operation texts,
// symmetric copies in the cell and in supercells, multiplicities, the P1
// expansion, removal of symmetry and the space-group database lookup.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "ZEMU-cif.h"
#include "ZEMU-kernel.h"

namespace {

// Compiled operation components, keyed by their text. Building a component is
// deterministic, so evaluating a cached sequence gives the same value as
// building it afresh; failed builds are not cached and fail again each time.
struct CompiledComponents {
    std::unordered_map<std::string, ZEMU_RPN_token> map;
    ~CompiledComponents() { clear(); }
    void clear() {
        for (auto& entry : map) ZEMU_free_RPN_token(&entry.second);
        map.clear();
    }
};

CompiledComponents& compiled_components() {
    static CompiledComponents cache;
    return cache;
}

const size_t kMaxCachedComponents = 4096;  // bounds the cache for unusual inputs

const char* kSymcardFile = "bin/database_symcards.dat";

// Non-empty comma-separated parts of an operation text (at most 29 characters).
std::vector<std::string> split_operation(const char* symop) {
    char work[ZEMU_CIF_SYMOP_SIZE];
    strncpy(work, symop, sizeof work - 1);
    work[sizeof work - 1] = '\0';
    std::vector<std::string> parts;
    std::string current;
    for (const char* p = work;; p++) {
        if (*p == ',' || *p == '\0') {
            if (!current.empty()) parts.push_back(current);
            current.clear();
            if (*p == '\0') break;
        } else {
            current += *p;
        }
    }
    return parts;
}

// Same copy: every coordinate agrees directly or across the cell boundary.
bool same_frac_copy(const ZEMU_equiv_pos_frac_coor& p, double a, double b, double c) {
    auto agree = [](double u, double v) {
        double d = fabs(u - v);
        return d < 0.001 || fabs(d - 1.0) < 0.001;
    };
    return agree(p.a, a) && agree(p.b, b) && agree(p.c, c);
}

void strip_line_end(char* line) {
    line[strcspn(line, "\r\n")] = '\0';
}

}  // namespace

int ZEMU_symmetry_parse_symop(char* symop, double x, double y, double z, double* calc_value) {
    ZEMU_variable_list vars;
    memset(&vars, 0, sizeof vars);
    ZEMU_store_variable_value(&vars, 'x', x);
    ZEMU_store_variable_value(&vars, 'X', x);
    ZEMU_store_variable_value(&vars, 'y', y);
    ZEMU_store_variable_value(&vars, 'Y', y);
    ZEMU_store_variable_value(&vars, 'z', z);
    ZEMU_store_variable_value(&vars, 'Z', z);

    CompiledComponents& cache = compiled_components();
    std::string key(symop);
    auto it = cache.map.find(key);
    if (it == cache.map.end()) {
        ZEMU_RPN_token rpn;
        ZEMU_init_RPN_token(&rpn);
        if (ZEMU_RPN_build(symop, &rpn)) {
            ZEMU_free_RPN_token(&rpn);
            return 1;
        }
        if (cache.map.size() >= kMaxCachedComponents) cache.clear();
        it = cache.map.emplace(key, rpn).first;
    }
    return ZEMU_RPN_read(&it->second, &vars, calc_value) ? 1 : 0;
}

int ZEMU_symmetry_generate_equivalent_copies(ZEMU_cif* cif, ZEMU_equiv_pos* equiv_pos, double x, double y, double z) {
    equiv_pos->total_copies = 0;
    equiv_pos->copy = nullptr;
    if (cif->symop_no <= 0 || !cif->symop) {
        fprintf(stderr, "Error: Invalid symmetry operation\n");
        return 1;
    }
    for (int s = 0; s < cif->symop_no; s++) {
        std::vector<std::string> parts = split_operation(cif->symop[s]);
        // An operation with fewer than three components is rejected like a missing one.
        if (parts.size() < 3) {
            fprintf(stderr, "Error: Invalid symmetry operation\n");
            return 1;
        }
        double v[3] = {0.0, 0.0, 0.0};
        for (size_t k = 0; k < parts.size(); k++) {
            double value;
            if (ZEMU_symmetry_parse_symop(&parts[k][0], x, y, z, &value)) return 1;
            if (k < 3) v[k] = value;
        }
        for (double& u : v) {
            if (u < 0.0) u += 1.0;
            if (u >= 1.0) u -= 1.0;
        }
        bool duplicate = false;
        for (int k = 0; k < equiv_pos->total_copies && !duplicate; k++)
            duplicate = same_frac_copy(equiv_pos->copy[k], v[0], v[1], v[2]);
        if (duplicate) continue;
        if (zemu_kernel::resize_array(&equiv_pos->copy, equiv_pos->total_copies + 1)) {
            fprintf(stderr, "Error: Memory allocation problem\n");
            return 1;
        }
        equiv_pos->copy[equiv_pos->total_copies++] = {v[0], v[1], v[2]};
    }
    return 0;
}

int ZEMU_symmetry_generate_equivalent_copies_in_supercell(ZEMU_cif* cif, ZEMU_equiv_pos* equiv_pos, double x, double y,
                                                          double z, int a, int b, int c) {
    // Dimensions below 1 would divide by zero or shrink the cell.
    if (a < 1 || b < 1 || c < 1) {
        equiv_pos->total_copies = 0;
        equiv_pos->copy = nullptr;
        fprintf(stderr, "Error: Invalid input to ZEMU_symmetry_generate_equivalent_copies_in_supercell()\n");
        return 1;
    }
    if (ZEMU_symmetry_generate_equivalent_copies(cif, equiv_pos, x, y, z)) return 1;
    long long cells = (long long)a * b * c;
    if (cells == 1) return 0;
    long long total = cells * equiv_pos->total_copies;
    // more than 10^8 copies is taken as an allocation failure
    if (total > 100000000LL || zemu_kernel::resize_array(&equiv_pos->copy, (int)total)) {
        fprintf(stderr, "Error: Memory allocation problem\n");
        return 1;
    }
    int unit = equiv_pos->total_copies;
    int n = unit;
    for (int k = 0; k < unit; k++) {
        ZEMU_equiv_pos_frac_coor p = equiv_pos->copy[k];
        for (int l = 0; l < a; l++)
            for (int m = 0; m < b; m++)
                for (int o = 0; o < c; o++) {
                    if (l == 0 && m == 0 && o == 0) continue;
                    equiv_pos->copy[n++] = {p.a + l, p.b + m, p.c + o};
                }
    }
    equiv_pos->total_copies = n;
    for (int k = 0; k < n; k++) {
        equiv_pos->copy[k].a /= a;
        equiv_pos->copy[k].b /= b;
        equiv_pos->copy[k].c /= c;
    }
    return 0;
}

int ZEMU_free_equiv_pos(ZEMU_equiv_pos* equiv_pos) {
    free(equiv_pos->copy);
    equiv_pos->copy = nullptr;
    equiv_pos->total_copies = 0;
    return 0;
}

int ZEMU_refresh_site_mul(ZEMU_cif* cif) {
    for (int s = 0; s < cif->site_no; s++) {
        ZEMU_equiv_pos pos;
        int rc = ZEMU_symmetry_generate_equivalent_copies(cif, &pos, cif->site[s].x, cif->site[s].y, cif->site[s].z);
        int copies = pos.total_copies;
        ZEMU_free_equiv_pos(&pos);
        if (rc) return 1;
        if (copies == 0) {
            fprintf(stderr, "Error: Unable to calculate site multiplicity\n");
            return 1;
        }
        cif->site[s].mul = copies;
    }
    return 0;
}

int ZEMU_add_P1_to_cif(ZEMU_cif* cif) {
    ZEMU_free_cif_site_all(cif);
    for (int s = 0; s < cif->site_no; s++) {
        ZEMU_equiv_pos pos;
        if (ZEMU_symmetry_generate_equivalent_copies(cif, &pos, cif->site[s].x, cif->site[s].y, cif->site[s].z)) {
            ZEMU_free_equiv_pos(&pos);
            return 1;
        }
        for (int k = 0; k < pos.total_copies; k++) {
            if (zemu_kernel::resize_array(&cif->site_all, cif->site_all_no + 1)) {
                ZEMU_free_equiv_pos(&pos);
                fprintf(stderr, "Error: Memory allocation problem\n");
                return 1;
            }
            ZEMU_site copy = cif->site[s];
            copy.x = pos.copy[k].a;
            copy.y = pos.copy[k].b;
            copy.z = pos.copy[k].c;
            copy.mul = 1;
            copy.Wyckoff = 'a';
            cif->site_all[cif->site_all_no++] = copy;
        }
        ZEMU_free_equiv_pos(&pos);
    }
    return 0;
}

int ZEMU_remove_cif_symmetry(ZEMU_cif* cif) {
    if (cif->symop_no == 1) return 0;
    ZEMU_cif source;
    if (ZEMU_copy_cif(cif, &source)) {
        ZEMU_free_cif(&source);
        return 1;
    }
    ZEMU_free_cif_site(cif);
    for (int s = 0; s < source.site_no; s++) {
        ZEMU_site* from = &source.site[s];
        ZEMU_equiv_pos pos;
        if (ZEMU_symmetry_generate_equivalent_copies(&source, &pos, from->x, from->y, from->z)) {
            ZEMU_free_equiv_pos(&pos);
            ZEMU_free_cif(&source);
            return 1;
        }
        for (int k = 0; k < pos.total_copies; k++) {
            if (ZEMU_add_cif_site(cif, from->label, from->type, pos.copy[k].a, pos.copy[k].b, pos.copy[k].c, 1, 'a', from->occ,
                                  from->ox)) {
                ZEMU_free_equiv_pos(&pos);
                ZEMU_free_cif(&source);
                return 1;
            }
            // The appended site takes the complete record of its source site (position included): kept so.
            cif->site[cif->site_no - 1] = *from;
        }
        ZEMU_free_equiv_pos(&pos);
    }
    ZEMU_free_cif_symop(cif);
    cif->symop_no = 1;
    int rc = ZEMU_alloc_cif_symop(cif);
    if (rc == 0) strcpy(cif->symop[0], "x,y,z");
    cif->int_tab_cryst_no = 1;
    strcpy(cif->spacegroup_HM, "P 1");
    ZEMU_free_cif(&source);
    return rc;
}

int ZEMU_fill_symops(ZEMU_cif* cif) {
    if (cif->spacegroup_HM[0] != '\0') ZEMU_get_symops_from_dat(cif);
    if (cif->symop_no <= 0 || !cif->symop) {
        ZEMU_free_cif_symop(cif);
        cif->symop_no = 1;
        if (ZEMU_alloc_cif_symop(cif)) return 1;
        strcpy(cif->symop[0], "x,y,z");
    }
    return 0;
}

int ZEMU_get_symops_from_dat(ZEMU_cif* cif) {
    FILE* fp = fopen(kSymcardFile, "r");
    if (!fp) return 0;
    char line[ZEMU_CIF_LINE_SIZE];
    bool data = false;
    while (!data && fgets(line, sizeof line, fp)) data = strncmp(line, "DATA_START", 10) == 0;

    std::vector<std::string> found;
    bool matched = false;
    while (!matched && fgets(line, sizeof line, fp)) {
        if (line[0] != '#') continue;
        // Two lines after the record mark are not used; the third lists the symbols.
        if (!fgets(line, sizeof line, fp) || !fgets(line, sizeof line, fp) || !fgets(line, sizeof line, fp)) break;
        strip_line_end(line);
        for (char* piece = strtok(line, "'"); piece && !matched; piece = strtok(nullptr, "'"))
            matched = strcmp(piece, cif->spacegroup_HM) == 0;
        if (!matched) continue;
        if (!fgets(line, sizeof line, fp)) break;
        int n = atoi(line);
        // A record without operations (or an absurd count) supplies nothing.
        if (n <= 0 || n > 10000) break;
        for (int k = 0; k < n; k++) {
            if (!fgets(line, sizeof line, fp)) break;
            strip_line_end(line);
            found.emplace_back(line, strnlen(line, ZEMU_CIF_SYMOP_SIZE - 1));
        }
        if ((int)found.size() != n) found.clear();
    }
    fclose(fp);
    if (found.empty()) return 0;
    ZEMU_free_cif_symop(cif);
    cif->symop_no = (int)found.size();
    if (ZEMU_alloc_cif_symop(cif)) return 1;
    for (int k = 0; k < cif->symop_no; k++) strcpy(cif->symop[k], found[k].c_str());
    return 0;
}

double ZEMU_distance_frac_cif(ZEMU_cif* cif, double x1, double y1, double z1, double x2, double y2, double z2) {
    double dx = x1 - x2, dy = y1 - y2, dz = z1 - z2;
    double d2 = cif->d1 * dx * dx + cif->d2 * dy * dy + cif->d3 * dz * dz + cif->d4 * dx * dy + cif->d5 * dy * dz +
                cif->d6 * dx * dz;
    return sqrt(d2 > 0.0 ? d2 : 0.0);
}

int ZEMU_init_fastgen(ZEMU_cif* cif) {
    cif->fg.total = 0;
    memset(cif->fg.op, 0, sizeof cif->fg.op);
    return 0;
}
