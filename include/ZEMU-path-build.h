// Path construction: the distinct migration paths and all their symmetric
// copies from the grouped stationary points, with redundancy filtering.
#ifndef ZEMU_PATH_BUILD_H
#define ZEMU_PATH_BUILD_H

#include "ZEMU-cif.h"
#include "ZEMU-cube.h"
#include "ZEMU-path.h"

// Path construction and redundancy filtering

// Distinct paths: one per saddle type, its representative saddle joined to the
// nearest minimum within 3.5 Angstrom whose half path traces, and to a farther
// one at 90 degrees or more from it at the saddle; a type that cannot be joined
// is warned about and left out. Sorted by saddle energy. 0 (also with no
// saddle types) or 1. The structure is not used.
int ZEMU_build_path(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib);
// Every copy of every distinct path: for each saddle point of the path's type,
// the minima images whose distances best match the representative's (ties
// within 0.001 Angstrom all taken). 0 or 1. The structure is not used.
int ZEMU_build_allpaths(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib);
// Deletes path types (with all their copies) that repeat a hop of another
// saddle type at a higher or equal saddle energy, then those sharing a saddle
// point with a shorter connection. 0 or 1.
int ZEMU_filter_redundant_path(ZEMU_cube* cube, ZEMU_pathlib* pathlib);
// Minimum images in unwrapped grid steps: 1 when they are the same point or one
// allpath joins them, 0 when none does, -1 when either is not a minimum.
int ZEMU_is_direct_path_between_minima(ZEMU_cube* cube, ZEMU_pathlib* pathlib, int x1, int y1, int z1, int x2,
                                       int y2, int z2);

#endif
