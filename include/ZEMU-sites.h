// Site analysis: grouping minima and saddle points into symmetry types, the
// mobile ion's sites among the minima, and interstitials.
#ifndef ZEMU_SITES_H
#define ZEMU_SITES_H

#include "ZEMU-cif.h"
#include "ZEMU-cube.h"

// ---------------------------------------------------------------------------
// Site analysis: grouping minima and saddles into types, mobile-ion sites and
// interstitials
// ---------------------------------------------------------------------------

#define ZEMU_MAX_ION_DELOCALISED_SITES 26  // most minima one ion copy is shared among
#define ZEMU_MAX_SITE_ION_TYPE 26          // most distinct ion labels one minimum holds

// One symmetry-equivalent copy of a mobile-ion site (working record of the assignment).
typedef struct {
    double x, y, z;                              // fractional coordinates of this copy
    char label[ZEMU_CIF_LABEL_SIZE];             // label of the structure site
    double occ;                                  // occupancy of the structure site
    int minima[ZEMU_MAX_ION_DELOCALISED_SITES];  // minima indices sharing this copy; -1 = unused
} ZEMU_ion_position;

// Grouping into symmetry types numbered 1..T by ascending energy; members of a
// type contiguous, type_index[t] = first member. 0 or 1.
int ZEMU_group_minima_by_symmetry(ZEMU_cube* cube, ZEMU_cif* cif);
// Also drops saddle types next to a lower type or on a plateau of more than 27
// points, and thins plateau duplicates. 0 or 1.
int ZEMU_group_saddle_by_symmetry(ZEMU_cube* cube, ZEMU_cif* cif);
// Rebuild type_index from a list sorted by type.
void ZEMU_refresh_minima_type_index(ZEMU_cube* cube);
void ZEMU_refresh_saddle_type_index(ZEMU_cube* cube);

// Deletion keeping the grouping invariants. 0 or 1 (bad input: message, nothing changed).
int ZEMU_delete_minima(ZEMU_cube* cube, int index);
int ZEMU_delete_saddle(ZEMU_cube* cube, int index);
int ZEMU_delete_minima_type(ZEMU_cube* cube, int type);
int ZEMU_delete_saddle_type(ZEMU_cube* cube, int type);

// Matches every copy of the probe-type sites to its nearest minimum (or the
// equally near minima, sharing the occupancy). 0 or 1.
int ZEMU_assign_ion_to_sites(ZEMU_cube* cube, ZEMU_cif* cif);
// Running interstitial numbers for the minima that hold no ion.
void ZEMU_assign_interstitial_labels(ZEMU_cube* cube, ZEMU_cif* cif);
// One site per minima type into the structure: mode 1 interstitials (type "IS"),
// 2 mobile-ion sites under their labels, 3 the same named element + counter. 0 or 1.
int ZEMU_add_interstitial_to_cif(ZEMU_cube* cube, ZEMU_cif* cif, int mode);
// One site "s<t>" of type "SD" per saddle type. 0 or 1.
int ZEMU_add_saddle_to_cif(ZEMU_cube* cube, ZEMU_cif* cif);

#endif
