// Crystal structure: the structure record read from a CIF file (cell, space
// group, symmetry operations, atom types and sites), the symmetric copies of a
// fractional position, structure editing, P1 supercells and the CIF writer.
// The grid-symmetry work area carried by the structure record is declared here
// as well, so that the structure record is complete in one header.
#ifndef ZEMU_CIF_H
#define ZEMU_CIF_H

#include <cstdio>

#include "MT19937AR.h"
#include "ZEMU-rpn.h"

// ---------------------------------------------------------------------------
// Limits
// ---------------------------------------------------------------------------

#define ZEMU_CIF_MAX_MULTIPLE_LINES 10  // content lines of a ';' text field (closing ';' at most 10 lines down)
#define ZEMU_CIF_LINE_SIZE 200          // CIF line buffer: at most 199 characters per buffer line
#define ZEMU_CIF_LABEL_SIZE 10          // site labels, type symbols, element symbols: at most 9 characters
#define ZEMU_CIF_SYMOP_SIZE 30          // one symmetry operation text: at most 29 characters
#define ZEMU_CIF_NUMBER_SIZE 48         // text of one number written by the exact writer
#define ZEMU_MAX_SYMOP 192              // largest space-group order: room of the grid-symmetry arrays

// ---------------------------------------------------------------------------
// Grid symmetry work area (filled by the grid-symmetry module)
// ---------------------------------------------------------------------------

// One symmetry operation in grid steps: new x = x_x*x + x_y*y + x_z*z + x_a,
// likewise for y and z. Coefficients are -1, 0 or +1; *_a are translations.
typedef struct {
    int x_x, x_y, x_z, x_a;  // row of the new x index
    int y_x, y_y, y_z, y_a;  // row of the new y index
    int z_x, z_y, z_z, z_a;  // row of the new z index
} ZEMU_fastgen_symop;

// All operations of a structure as grid operations.
typedef struct {
    int total;                               // operations in use
    ZEMU_fastgen_symop op[ZEMU_MAX_SYMOP];   // grid operations, first `total` valid
} ZEMU_fastgen_symcopies;

// One image of a grid point.
typedef struct {
    int x, y, z;     // grid indices
    double p, q, r;  // real-valued grid coordinates
} ZEMU_fastgen_xyz;

// The images of one grid point (a value record, usually on the caller's stack).
typedef struct {
    int total;                               // images in use
    ZEMU_fastgen_xyz copy[ZEMU_MAX_SYMOP];   // images, first `total` valid
} ZEMU_symcopies;

// ---------------------------------------------------------------------------
// Structure records
// ---------------------------------------------------------------------------

// An atom type.
typedef struct {
    char label[ZEMU_CIF_LABEL_SIZE];          // type symbol as in the CIF, e.g. O2-
    char label_element[ZEMU_CIF_LABEL_SIZE];  // leading letters of label (element symbol)
    double ox;                                // oxidation state
    int flag;                                 // number unique within the structure
} ZEMU_type;

// An atom site.
typedef struct {
    char label[ZEMU_CIF_LABEL_SIZE];  // site label
    char type[ZEMU_CIF_LABEL_SIZE];   // type symbol, matched against ZEMU_type.label
    double x, y, z;                   // fractional coordinates
    int mul;                          // multiplicity: equivalent positions in the cell
    char Wyckoff;                     // Wyckoff letter
    double occ;                       // occupancy
    double ox;                        // oxidation state
    double bv_sum;                    // bond valence sum
    int type_flag;                    // flag of the site's type (-1: not set)
    double radius;                    // radius (Angstrom), used by the site analysis
} ZEMU_site;

// The crystal structure.
typedef struct {
    int cif;                                  // 1 when a structure was loaded for this run
    int ion;                                  // 1 when a mobile ion type was given
    char spacegroup_HM[20];                   // Hermann-Mauguin symbol, without quotes
    char chem_form_struct[200];               // structural formula as read
    char chem_form_sum[200];                  // sum formula as read
    char ICSD[10];                            // ICSD collection code
    double a, b, c;                           // cell lengths (Angstrom)
    double alpha, beta, gamma;                // cell angles (degrees)
    double volume;                            // cell volume (Angstrom^3)
    double R_factor;                          // refinement R factor
    int z;                                    // formula units per cell
    int int_tab_cryst_no;                     // space-group number (International Tables)
    double unit_cell_charge;                  // total charge of the cell
    int type_no, type_no_cap;                 // atom types in use / allocated
    ZEMU_type* type;                          // atom types, owned
    int type_flag_counter;                    // next flag handed to a new type
    int site_charge_provided;                 // 1 when every site has an oxidation state
    int site_no, site_no_cap;                 // sites of the asymmetric unit in use / allocated
    ZEMU_site* site;                          // sites of the asymmetric unit, owned
    int site_all_no;                          // sites of the whole cell
    ZEMU_site* site_all;                      // sites of the whole cell (P1 expansion), owned
    int symop_no;                             // symmetry operations
    char** symop;                             // symop_no owned strings of ZEMU_CIF_SYMOP_SIZE, "x,y,z" notation
    char probe_type[ZEMU_CIF_LABEL_SIZE];     // type label of the mobile ion
    ZEMU_fastgen_symcopies fg;                // grid-symmetry work area
    int diff_neigh;                           // 1 when symmetric grid points can differ in their neighbours
    double d1, d2, d3, d4, d5, d6;            // metric terms: a^2, b^2, c^2, 2ab cos(gamma), 2bc cos(alpha), 2ac cos(beta)
} ZEMU_cif;

// Fractional coordinates of one symmetric copy.
typedef struct {
    double a, b, c;  // fractional coordinates
} ZEMU_equiv_pos_frac_coor;

// The distinct symmetric copies of one position, in the order produced.
typedef struct {
    int total_copies;                // copies in use
    ZEMU_equiv_pos_frac_coor* copy;  // copies, owned, exactly total_copies long
} ZEMU_equiv_pos;

// ---------------------------------------------------------------------------
// CIF reader
// ---------------------------------------------------------------------------

int ZEMU_init_cif(ZEMU_cif* cif);
int ZEMU_load_cif(char* input_cif_file, ZEMU_cif* cif);
int ZEMU_trim_cif_buffer(char** buffer, int lines);
int ZEMU_cif_concatenate_lines(char** buffer, int line_start, int line_end, char* output, int output_size);
int ZEMU_fill_ox_states_to_sites(ZEMU_cif* cif);
int ZEMU_guess_site_ox_from_type_symbol(ZEMU_cif* cif, int site, double* ox);  // 1 when a value was found
int ZEMU_get_element_symbol(char* input, char* output);
int ZEMU_is_valid_lattice_parameters(ZEMU_cif* cif);  // 1 when valid
int ZEMU_calc_cif_d_parameters(ZEMU_cif* cif);
int ZEMU_cif_equal_dbl(double a, double b);  // 1 when |a - b| < 1e-7

// ---------------------------------------------------------------------------
// Symmetry operations
// ---------------------------------------------------------------------------

int ZEMU_symmetry_parse_symop(char* symop, double x, double y, double z, double* calc_value);
int ZEMU_symmetry_generate_equivalent_copies(ZEMU_cif* cif, ZEMU_equiv_pos* equiv_pos, double x, double y, double z);
int ZEMU_symmetry_generate_equivalent_copies_in_supercell(ZEMU_cif* cif, ZEMU_equiv_pos* equiv_pos, double x, double y,
                                                          double z, int a, int b, int c);
int ZEMU_free_equiv_pos(ZEMU_equiv_pos* equiv_pos);
int ZEMU_refresh_site_mul(ZEMU_cif* cif);
int ZEMU_add_P1_to_cif(ZEMU_cif* cif);
int ZEMU_remove_cif_symmetry(ZEMU_cif* cif);
int ZEMU_fill_symops(ZEMU_cif* cif);
int ZEMU_get_symops_from_dat(ZEMU_cif* cif);
double ZEMU_distance_frac_cif(ZEMU_cif* cif, double x1, double y1, double z1, double x2, double y2, double z2);
int ZEMU_init_fastgen(ZEMU_cif* cif);

// ---------------------------------------------------------------------------
// Structure editing and storage
// ---------------------------------------------------------------------------

int ZEMU_add_cif_site(ZEMU_cif* cif, char* label, char* type, double x, double y, double z, int mul, char Wyckoff,
                      double occ, double ox);
int ZEMU_ins_cif_site(ZEMU_cif* cif, char* label, char* type, double x, double y, double z, int mul, char Wyckoff,
                      double occ, double ox, int t);
int ZEMU_add_cif_type(ZEMU_cif* cif, char* label, double ox, int* flag);
int ZEMU_ins_cif_type(ZEMU_cif* cif, char* label, double ox, int* flag, int t);
int ZEMU_remove_cif_site(ZEMU_cif* cif, int t);
int ZEMU_remove_cif_type(ZEMU_cif* cif, int t);
int ZEMU_remove_all_cif_site_by_type(ZEMU_cif* cif, char* label);
int ZEMU_alloc_cif_site(ZEMU_cif* cif);
int ZEMU_alloc_cif_type(ZEMU_cif* cif);
int ZEMU_alloc_cif_site_all(ZEMU_cif* cif);
int ZEMU_alloc_cif_symop(ZEMU_cif* cif);
int ZEMU_free_cif_type(ZEMU_cif* cif);
int ZEMU_free_cif_site(ZEMU_cif* cif);
int ZEMU_free_cif_site_all(ZEMU_cif* cif);
int ZEMU_free_cif_symop(ZEMU_cif* cif);
int ZEMU_free_cif(ZEMU_cif* cif);
// Overwrites output whole: pass a record that owns no arrays (never initialised, or
// released with ZEMU_free_cif), else its arrays leak. On failure output is left released.
int ZEMU_copy_cif(ZEMU_cif* input, ZEMU_cif* output);

// ---------------------------------------------------------------------------
// Fractional oxidation states, whole-atom counts and P1 supercell
// ---------------------------------------------------------------------------

int ZEMU_convert_frac_ox(ZEMU_cif* cif);
int ZEMU_get_integer_occ(ZEMU_cif* cif, int* int_occ, int abc);
// Splits fractional oxidation states of cif itself. output as for ZEMU_copy_cif; after a
// failure it may hold part of the supercell and is released with ZEMU_free_cif.
int ZEMU_build_supercell(ZEMU_cif* cif, ZEMU_cif* output, int a, int b, int c);

// ---------------------------------------------------------------------------
// CIF writer
// ---------------------------------------------------------------------------

int ZEMU_write_cif(ZEMU_cif* cif, FILE* fpw);
int ZEMU_print_cif_latt_param(ZEMU_cif* cif, FILE* fpw);
int ZEMU_print_cif_symops(ZEMU_cif* cif, FILE* fpw);
int ZEMU_print_cif_types(ZEMU_cif* cif, FILE* fpw);
int ZEMU_print_cif_sites(ZEMU_cif* cif, FILE* fpw);
// Shortest fixed-point text of value with at least 6 decimals that reads back (strtod)
// as the same number; 1 when it does not fit size (ZEMU_CIF_NUMBER_SIZE is always enough
// for coordinates and occupancies below 1e6).
int ZEMU_cif_exact_number(double value, char* text, size_t size);
int ZEMU_print_cif_sites_exact(ZEMU_cif* cif, FILE* fpw);
// As ZEMU_write_cif, with the ICSD code, and coordinates and occupancies written so that
// they read back exactly.
int ZEMU_write_cif_exact(ZEMU_cif* cif, FILE* fpw);

#endif
