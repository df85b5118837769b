// Site analysis, part two: the mobile ion's crystallographic sites matched to
// the grid's minima, interstitial numbering of the empty minima, and minima and
// saddle points written back into the structure as sites.
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "ZEMU.h"
#include "ZEMU-kernel.h"

namespace {

// Bounded copy of a label into a fixed field, always terminated; reads at most
// size - 1 characters of src, so an unterminated field of that size is safe.
void copy_label(char* dst, size_t size, const char* src) { snprintf(dst, size, "%.*s", (int)size - 1, src); }

// Grid index of a fractional coordinate: the integer part of (f * n + 0.5);
// the index n itself is point 0 again.
int grid_index_of_fraction(double f, int n) {
    double v = f * n + 0.5;
    // Non-finite or absurd coordinates cannot come from a valid structure; put them on point 0.
    if (!std::isfinite(v) || v >= (double)INT_MAX || v <= (double)INT_MIN) return 0;
    int index = (int)v;
    return index == n ? 0 : index;
}

// Copies of every probe-type site, in site order then copy order.
int collect_ion_positions(ZEMU_cif* cif, std::vector<ZEMU_ion_position>& positions) {
    for (int s = 0; s < cif->site_no; ++s) {
        ZEMU_site* site = &cif->site[s];
        if (strncmp(site->type, cif->probe_type, ZEMU_CIF_LABEL_SIZE) != 0) continue;
        ZEMU_equiv_pos equiv;
        equiv.total_copies = 0;
        equiv.copy = nullptr;
        if (ZEMU_symmetry_generate_equivalent_copies(cif, &equiv, site->x, site->y, site->z)) {
            ZEMU_free_equiv_pos(&equiv);
            return 1;
        }
        for (int c = 0; c < equiv.total_copies; ++c) {
            ZEMU_ion_position pos;
            pos.x = equiv.copy[c].a;
            pos.y = equiv.copy[c].b;
            pos.z = equiv.copy[c].c;
            copy_label(pos.label, sizeof pos.label, site->label);
            pos.occ = site->occ;
            for (int k = 0; k < ZEMU_MAX_ION_DELOCALISED_SITES; ++k) pos.minima[k] = -1;
            try {
                positions.push_back(pos);
            } catch (const std::bad_alloc&) {
                ZEMU_free_equiv_pos(&equiv);
                fputs("Error: Memory allocation problem in ZEMU_assign_ion_to_sites()\n", stderr);
                return 1;
            }
        }
        ZEMU_free_equiv_pos(&equiv);
    }
    return 0;
}

// The minima nearest to the copy's grid point, all at the same distance as the
// nearest (within 1e-7); stored in pos->minima. Returns their count, -1 on failure.
int find_sharing_minima(ZEMU_cube* cube, ZEMU_ion_position* pos) {
    int gx = grid_index_of_fraction(pos->x, cube->a_grid);
    int gy = grid_index_of_fraction(pos->y, cube->b_grid);
    int gz = grid_index_of_fraction(pos->z, cube->c_grid);
    for (int k = 0; k < ZEMU_MAX_ION_DELOCALISED_SITES; ++k) pos->minima[k] = -1;

    ZEMU_nearest_neighbour nearest;
    if (ZEMU_init_nearest_neighbour(&nearest, ZEMU_MAX_ION_DELOCALISED_SITES, gx, gy, gz, 1)) return -1;
    if (ZEMU_get_nearest_minima(cube, &nearest)) {
        ZEMU_free_nearest_neighbour(&nearest);
        return -1;
    }
    int n = 0;
    double d0 = nearest.distance[0];
    while (n < ZEMU_MAX_ION_DELOCALISED_SITES && nearest.distance[n] < zemu_kernel::kNoValue &&
           ZEMU_cif_equal_dbl(nearest.distance[n], d0)) {
        pos->minima[n] = nearest.index[n];
        ++n;
    }
    ZEMU_free_nearest_neighbour(&nearest);
    return n;
}

// Adds occ to the minimum's entry for label, or appends one. 0, 1 on failure,
// 2 when the minimum already holds the most labels it can.
int add_occupancy(ZEMU_minima* m, char* label, double occ) {
    for (int k = 0; k < m->total_ions; ++k) {
        if (strncmp(m->ion[k].label, label, sizeof m->ion[k].label) == 0) {
            m->ion[k].occ += occ;
            return 0;
        }
    }
    if (m->total_ions >= ZEMU_MAX_SITE_ION_TYPE) return 2;
    return ZEMU_add_cube_minima_ion(m, label, occ) ? 1 : 0;
}

// Shares one copy's occupancy among its n minima, visiting the minima in list
// order and each once per occurrence among the n.
int share_occupancy(ZEMU_cube* cube, ZEMU_ion_position* pos, int n) {
    // Sorting the n indices visits the minima in list order without a walk over the whole list.
    int shared[ZEMU_MAX_ION_DELOCALISED_SITES];
    for (int a = 0; a < n; ++a) {
        int b = a;
        for (; b > 0 && shared[b - 1] > pos->minima[a]; --b) shared[b] = shared[b - 1];
        shared[b] = pos->minima[a];
    }
    double share = pos->occ / n;
    int k = 0;
    while (k < n) {
        int m = shared[k];
        int end = k;
        while (end < n && shared[end] == m) ++end;
        if (m >= 0 && m < cube->total_minima) {
            for (int occurrence = k; occurrence < end; ++occurrence) {
                int r = add_occupancy(&cube->minima[m], pos->label, share);
                if (r == 1) return 1;
                if (r == 2) {
                    fputs("Warning: ZEMU_MAX_SITE_ION_TYPE exceeded\n", stderr);
                    break;
                }
            }
        }
        k = end;
    }
    return 0;
}

// First type of the structure with this label, or nullptr.
ZEMU_type* find_cif_type(ZEMU_cif* cif, const char* label) {
    for (int t = 0; t < cif->type_no; ++t)
        if (strncmp(cif->type[t].label, label, ZEMU_CIF_LABEL_SIZE) == 0) return &cif->type[t];
    return nullptr;
}

// Per type 1..T the list position of its first member that qualifies, or -1.
template <typename Qualifies>
std::vector<int> first_member_per_type(ZEMU_cube* cube, Qualifies qualifies) {
    std::vector<int> first((size_t)cube->total_minima_type + 1, -1);
    for (int i = 0; i < cube->total_minima; ++i) {
        int t = cube->minima[i].type;
        if (t < 1 || t > cube->total_minima_type || first[(size_t)t] >= 0) continue;
        if (qualifies(cube->minima[i])) first[(size_t)t] = i;
    }
    return first;
}

}  // namespace

int ZEMU_assign_ion_to_sites(ZEMU_cube* cube, ZEMU_cif* cif) {
    for (int i = 0; i < cube->total_minima; ++i) cube->minima[i].total_ions = 0;

    std::vector<ZEMU_ion_position> positions;
    if (collect_ion_positions(cif, positions)) return 1;

    for (ZEMU_ion_position& pos : positions) {
        int n = find_sharing_minima(cube, &pos);
        if (n < 0) return 1;
        if (n == ZEMU_MAX_ION_DELOCALISED_SITES) fputs("Warning: ZEMU_MAX_ION_DELOCALISED_SITES exceeded\n", stderr);
        // A copy far from every minimum is assigned all the same, without a report (no distance limit);
        // only an empty minima list leaves it unassigned.
        if (n == 0) continue;
        if (share_occupancy(cube, &pos, n)) return 1;
    }
    return 0;
}

void ZEMU_assign_interstitial_labels(ZEMU_cube* cube, ZEMU_cif*) {
    int counter = 0;
    int i = 0;
    while (i < cube->total_minima) {
        if (cube->minima[i].total_ions >= 1) {
            ++i;
            continue;
        }
        ++counter;
        int type = cube->minima[i].type;
        int j = i;
        while (j < cube->total_minima && cube->minima[j].type == type) cube->minima[j++].ins_label = counter;
        // A run that ends at the list's end resumes at i + 1, so every empty member
        // of the last type restarts the numbering: its members get k, k + 1, ...
        i = j < cube->total_minima ? j : i + 1;
    }
}

int ZEMU_add_interstitial_to_cif(ZEMU_cube* cube, ZEMU_cif* cif, int mode) {
    char is_type[] = "IS";
    if (ZEMU_add_cif_type(cif, is_type, 0.0, &cif->type_flag_counter)) return 1;

    double probe_ox = 0.0;
    char probe_element[ZEMU_CIF_LABEL_SIZE] = "";
    ZEMU_type* probe = find_cif_type(cif, cif->probe_type);
    if (probe != nullptr) {
        probe_ox = probe->ox;
        copy_label(probe_element, sizeof probe_element, probe->label_element);
    } else {
        // Probe type missing from the type list: oxidation state 0 and the element of the probe's own symbol.
        char symbol[ZEMU_CIF_LABEL_SIZE];
        copy_label(symbol, sizeof symbol, cif->probe_type);
        ZEMU_get_element_symbol(symbol, probe_element);
    }
    if (mode != 1 && mode != 2 && mode != 3) return 0;

    std::vector<int> first;
    try {
        if (mode == 1)
            first = first_member_per_type(cube, [](const ZEMU_minima& m) { return m.total_ions < 1; });
        else
            first = first_member_per_type(cube, [](const ZEMU_minima& m) { return m.total_ions >= 1; });
    } catch (const std::bad_alloc&) {
        fputs("Error: Memory allocation problem\n", stderr);
        return 1;
    }

    int counter = 0;
    for (int t = 1; t <= cube->total_minima_type; ++t) {
        int i = first[(size_t)t];
        if (i < 0) continue;
        ZEMU_minima* m = &cube->minima[i];
        double x = m->tx / cube->a_grid, y = m->ty / cube->b_grid, z = m->tz / cube->c_grid;

        char* text = nullptr;
        if (ZEMU_label_minima_site(cube, &text, t)) return 1;
        char label[ZEMU_CIF_LABEL_SIZE];
        copy_label(label, sizeof label, text != nullptr ? text : "");
        free(text);

        int failed;
        if (mode == 1) {
            failed = ZEMU_add_cif_site(cif, label, is_type, x, y, z, m->mul, '.', 1.0, 0.0);
        } else {
            double occ = 0.0;
            for (int k = 0; k < m->total_ions; ++k) occ += m->ion[k].occ;
            if (mode == 3) {
                char name[32];  // element + counter, cut to a site label below
                snprintf(name, sizeof name, "%s%d", probe_element, ++counter);
                copy_label(label, sizeof label, name);
            }
            failed = ZEMU_add_cif_site(cif, label, cif->probe_type, x, y, z, m->mul, '.', occ, probe_ox);
        }
        if (failed) return 1;
    }
    return 0;
}

int ZEMU_add_saddle_to_cif(ZEMU_cube* cube, ZEMU_cif* cif) {
    char sd_type[] = "SD";
    if (ZEMU_add_cif_type(cif, sd_type, 0.0, &cif->type_flag_counter)) return 1;
    for (int t = 1; t <= cube->total_saddle_type; ++t) {
        if (cube->saddle_type_index == nullptr) break;
        int i = cube->saddle_type_index[t];
        if (i < 0 || i >= cube->total_saddle) continue;
        ZEMU_saddle* s = &cube->saddle[i];
        char text[16];
        snprintf(text, sizeof text, "s%d", t);
        char label[ZEMU_CIF_LABEL_SIZE];
        copy_label(label, sizeof label, text);
        if (ZEMU_add_cif_site(cif, label, sd_type, s->tx / cube->a_grid, s->ty / cube->b_grid, s->tz / cube->c_grid,
                              s->mul, '.', 1.0, 0.0))
            return 1;
    }
    return 0;
}
