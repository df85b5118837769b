// Substitution screening: does a site share its position with another site
// (same multiplicity and Wyckoff letter, within 0.5 Angstrom on every axis)?
#include <cmath>
#include <cstdio>
#include <cstring>

#include "ZEMU-bv.h"

namespace {

const double SUB_MAX_OFFSET = 0.5;  // Angstrom per axis, strict

// Two sites of the asymmetric unit at the same place; no periodic wrap.
bool sub_same_place(ZEMU_cif* cif, int i, int j)
{
    const ZEMU_site& si = cif->site[i];
    const ZEMU_site& sj = cif->site[j];
    return si.mul == sj.mul && si.Wyckoff == sj.Wyckoff && std::fabs(si.x - sj.x) * cif->a < SUB_MAX_OFFSET &&
           std::fabs(si.y - sj.y) * cif->b < SUB_MAX_OFFSET && std::fabs(si.z - sj.z) * cif->c < SUB_MAX_OFFSET;
}

void sub_print_verdict(ZEMU_cif* cif, FILE* fpw, bool substituted)
{
    fprintf(fpw, "ICSD: %.*s %s\n", (int)sizeof cif->ICSD, cif->ICSD,
            substituted ? "Yes, substituted" : "Not substituted");
}

}  // namespace

int ZEMU_check_ion_sub(ZEMU_cif* cif, FILE* fpw)
{
    for (int i = 0; i < cif->site_no; i++) {
        if (strncmp(cif->site[i].type, cif->probe_type, ZEMU_CIF_LABEL_SIZE) != 0) continue;
        for (int j = 0; j < cif->site_no; j++) {
            if (j != i && sub_same_place(cif, i, j)) {
                sub_print_verdict(cif, fpw, true);
                return 0;
            }
        }
    }
    sub_print_verdict(cif, fpw, false);
    return 0;
}

int ZEMU_check_ions_sub(ZEMU_cif* cif, FILE* fpw)
{
    for (int i = 0; i < cif->site_no; i++) {
        for (int j = i + 1; j < cif->site_no; j++) {
            if (sub_same_place(cif, i, j)) {
                sub_print_verdict(cif, fpw, true);
                return 0;
            }
        }
    }
    sub_print_verdict(cif, fpw, false);
    return 0;
}

int ZEMU_print_cif_ICSD(ZEMU_cif* cif, FILE* fpw)
{
    fprintf(fpw, "ICSD: %.*s  ", (int)sizeof cif->ICSD, cif->ICSD);
    return 0;
}
