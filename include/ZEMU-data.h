// Built-in data tables: bond-valence pair parameters (data/bv_params.csv),
// per-element data (data/elements.csv, data/electronegativity.csv) and the bond-valence parameter file of
// the structure reports (bin/database_binary.dat), compiled into the program at
// build time so that tools working from any directory need no data files.
// The tables are parsed once, on first use, and are read-only afterwards (safe
// to use from several threads).
#ifndef ZEMU_DATA_H
#define ZEMU_DATA_H

#define ZEMU_DATA_SYMBOL_SIZE 3  // element symbol: at most 2 characters

// ---------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------

// One cation-anion pair of the bond-valence table (softness-sensitive kind).
typedef struct {
    char cation[ZEMU_DATA_SYMBOL_SIZE];  // cation element symbol, e.g. "Li"
    int cation_ox;                       // cation oxidation state (positive)
    char anion[ZEMU_DATA_SYMBOL_SIZE];   // anion element symbol, e.g. "O"
    int anion_ox;                        // anion oxidation state (negative)
    double r0;                           // bond-valence parameter R0, Angstrom
    double alpha;                        // softness alpha = 1/b, 1/Angstrom (34 rows negative)
    double r_min;                        // equilibrium distance of the pair potential, Angstrom
    double d0;                           // bond-breaking energy of the pair potential, eV
} ZEMU_bv_pair;

// One element.
typedef struct {
    char symbol[ZEMU_DATA_SYMBOL_SIZE];  // element symbol, e.g. "Fe"
    int z;                               // atomic number
    int n;                               // principal quantum number (the period); 0 = no value
    double covalent_radius;              // covalent radius, Angstrom
} ZEMU_element;

// ---------------------------------------------------------------------------
// Bond-valence pairs
// ---------------------------------------------------------------------------

// Number of pairs and the pairs in table order.
int ZEMU_data_bv_pair_count(void);
const ZEMU_bv_pair* ZEMU_data_bv_pairs(void);
// The pair with exactly these elements and states; NULL when the table has none.
const ZEMU_bv_pair* ZEMU_data_find_bv_pair(const char* cation, int cation_ox, const char* anion, int anion_ox);

// ---------------------------------------------------------------------------
// Elements
// ---------------------------------------------------------------------------

// Number of elements and the elements in table order (Z ascending).
int ZEMU_data_element_count(void);
const ZEMU_element* ZEMU_data_elements(void);
// The element with this symbol (exact case); NULL when unknown.
const ZEMU_element* ZEMU_data_find_element(const char* symbol);

// Pauling electronegativity of an element (data/electronegativity.csv); 0 when the
// table has no value for it.
double ZEMU_data_electronegativity(const char* symbol);

// ---------------------------------------------------------------------------
// Bond-valence parameter file of the structure reports
// ---------------------------------------------------------------------------

// The text of bin/database_binary.dat as built in (NUL-terminated); its length in *size.
const char* ZEMU_data_bv_database_text(unsigned long* size);

#endif
