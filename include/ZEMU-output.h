// Visual outputs: the GUI table and the VESTA project file.
#ifndef ZEMU_OUTPUT_H
#define ZEMU_OUTPUT_H

#include <cstdio>
#include "ZEMU-cif.h"
#include "ZEMU-cube.h"
#include "ZEMU-input.h"
#include "ZEMU-path.h"

// ---------------------------------------------------------------------------
// Visual outputs: GUI table and VESTA project file
// ---------------------------------------------------------------------------

// GUI table "ZEMU_gui.csv": minimum types, minima, saddle types, saddle points,
// paths and activation energies, six sections each closed by "END". Prints
// "GUI output done." on success. 1 when the file cannot be written or a plateau
// flood fails. The structure is not read.
int ZEMU_print_GUI_output(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib);

// VESTA project file "ZEMU.vesta": the structure, the run's cube file as volumetric
// data and three isosurfaces at the 1-D, 2-D and 3-D activation energies. 1 only
// when the file cannot be opened.
int ZEMU_print_vesta_output(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib, ZEMU_input* input);
// Blocks of the project file, each with its keyword line and closing row.
void ZEMU_print_vesta_symop(ZEMU_cif* cif, FILE* fpw);
void ZEMU_print_vesta_struc(ZEMU_cif* cif, FILE* fpw);
// Bond rows for every cation-anion pair of types without the mobile ion's element.
void ZEMU_print_vesta_bond(ZEMU_cif* cif, FILE* fpw);
void ZEMU_print_vesta_SITET(ZEMU_cif* cif, FILE* fpw);
void ZEMU_print_vesta_ATOMT(ZEMU_cif* cif, FILE* fpw);
// "ISURF" keyword and the three isosurface rows (the caller closes the block).
void ZEMU_print_vesta_ISURF(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib, FILE* fpw);
// Longest bond (Angstrom) of a cation-anion pair from "bin/database_binary.dat":
// where the bond valence falls to ox_1 / (4.25 cn); -1.0 when unknown.
double ZEMU_maximum_pair_distance(char* cation, char* anion, double ox_1, double ox_2);

#endif
