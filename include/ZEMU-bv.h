// Bond valence: the parameter matrix of a structure's atom types, bond valence
// sums, the global instability index, the cell charge and the substitution check.
#ifndef ZEMU_BV_H
#define ZEMU_BV_H

#include <cstdio>

#include "ZEMU-cif.h"

// ---------------------------------------------------------------------------
// Bond valence sums, global instability index, substitution check
// ---------------------------------------------------------------------------

// Bond valence parameters of one pair of atom types.
typedef struct {
    int status;     // 1 when parameters were found for the pair, 0 when the pair does not bond
    double b;       // softness parameter b (Angstrom)
    double r0;      // bond valence parameter R0 (Angstrom)
    double cutoff;  // largest bonding distance (Angstrom); 0 when the pair does not bond
} ZEMU_bv_bin_item;

// Symmetric parameter matrix indexed by type index (position in the type list).
typedef struct {
    int total;                // number of atom types
    ZEMU_bv_bin_item** item;  // total rows of total items, owned; none when total is 0
} ZEMU_bv_bin;

#define ZEMU_BV_DATABASE_FILE "bin/database_binary.dat"  // read relative to the working directory
#define ZEMU_BV_LINE_SIZE 200                            // line buffer of the parameter file
#define ZEMU_BV_PARAM_WORDS 8                            // shorter lines are headers or comments

// Words of one parameter-file line: the line end is removed, then the line is split
// at blanks (in place). Stores at most max_words pointers; returns how many.
int ZEMU_bv_database_words(char* line, char** word, int max_words);

int ZEMU_init_bv_bin(ZEMU_bv_bin* bin, int size);
int ZEMU_alloc_bv_bin(ZEMU_bv_bin* bin);
int ZEMU_free_bv_bin(ZEMU_bv_bin* bin);
// Fills the matrix from "bin/database_binary.dat" (working directory) for the types of cif.
int ZEMU_build_bv_bin(ZEMU_cif* cif, ZEMU_bv_bin* bin);
// The same from parameter text in memory (e.g. ZEMU_data_bv_database_text()), for
// tools that work from any directory.
int ZEMU_build_bv_bin_text(ZEMU_cif* cif, ZEMU_bv_bin* bin, const char* text, unsigned long size);
// Sets bv_sum of every site of the asymmetric unit (rebuilds site_all first).
int ZEMU_calc_bv_sum(ZEMU_cif* cif, ZEMU_bv_bin* bin);
int ZEMU_print_bv_sum(ZEMU_cif* cif, FILE* fpw);
// Global instability index; -1.0 when the matrix or the sums cannot be computed.
double ZEMU_calc_GII(ZEMU_cif* cif);
// Global instability index from the bond valence sums already on the sites; with
// print_sites, one line per site as ZEMU_calc_GII prints them. -1.0 when no site has weight.
double ZEMU_GII_from_bv_sums(ZEMU_cif* cif, int print_sites);
int ZEMU_print_GII(ZEMU_cif* cif, FILE* fpw);
// Sum of occ * ox * mul over the asymmetric unit (also stored in unit_cell_charge).
double ZEMU_calc_unit_cell_charge(ZEMU_cif* cif);
int ZEMU_print_unit_cell_charge(ZEMU_cif* cif);
// Anneals the free coordinates of a copy of cif to lower its GII; writes "ZEMU.cif".
// output as for ZEMU_copy_cif.
int ZEMU_optimize_GII(ZEMU_cif* cif, ZEMU_cif* output);

// Substitution screening: one verdict line each, prefixed by the ICSD code.
int ZEMU_check_ion_sub(ZEMU_cif* cif, FILE* fpw);
int ZEMU_check_ions_sub(ZEMU_cif* cif, FILE* fpw);
int ZEMU_print_cif_ICSD(ZEMU_cif* cif, FILE* fpw);

#endif
