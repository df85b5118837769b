// Structure import: reads the CIF files found in the wild (through gemmi) into
// the program's structure record, with complete symmetry operations, merged
// sites and oxidation states taken from the file, given by hand or assigned by
// bond valence.
#ifndef ZEMU_IMPORT_H
#define ZEMU_IMPORT_H

#include <cstdio>
#include <string>
#include <vector>

#include "ZEMU-cif.h"

// ---------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------

// Choices of one import.
typedef struct {
    std::string oxi;  // states fixed by hand, "Fe=2,P=5,O=-2"; empty = none
} ZEMU_import_options;

// Oxidation state of one element as imported.
typedef struct {
    std::string element;     // element symbol, e.g. "Fe"
    std::vector<double> states;  // distinct states on its sites, ascending (several for mixed valence)
    std::string source;      // "file", "assigned" or "given"
} ZEMU_import_oxidation;

// What the import found, for the reports of the front ends.
typedef struct {
    std::string error;            // refusal reason, one line, without "Error: FILE: "; empty on success
    std::string block;            // name of the data block read
    int block_count;              // data blocks in the file
    std::string symmetry_source;  // "symmetry loop", "Hall symbol", "H-M symbol", "space-group number" or "none (P 1)"
    std::string spacegroup;       // Hermann-Mauguin symbol of the operations
    int sg_number;                // space-group number; 0 = unknown
    std::string formula;          // sum formula of the cell contents divided by Z, e.g. "Li1 Fe1 P1 O4"
    int z;                        // formula units per cell
    std::string oxidation;        // overall source: "file", "assigned" or "given" (the weakest present)
    std::vector<ZEMU_import_oxidation> states;  // per element, in order of first appearance
    std::vector<std::string> warnings;          // notes worth showing a user, one line each
} ZEMU_import_report;

// One site of the asymmetric unit between reading and the structure record.
typedef struct {
    std::string label;    // unique label, at most 9 characters
    std::string element;  // element symbol, e.g. "Fe"
    double x, y, z;       // fractional coordinates as written
    double occ;           // occupancy
    int mul;              // images in the cell
    int has_ox;           // 1 when ox is set (from the file, by hand or assigned)
    double ox;            // oxidation state
} ZEMU_import_site;

// ---------------------------------------------------------------------------
// Import
// ---------------------------------------------------------------------------

// Reads the CIF file at path into cif (initialised here; release it with ZEMU_free_cif
// whatever the result). 0 on success; 1 on refusal, with report->error set and cif left
// empty (initialised).
int ZEMU_import_structure(const char* path, const ZEMU_import_options* options, ZEMU_cif* cif,
                          ZEMU_import_report* report);
// The same for CIF text in memory; name stands for the file in messages.
int ZEMU_import_structure_text(const char* text, size_t size, const char* name, const ZEMU_import_options* options,
                               ZEMU_cif* cif, ZEMU_import_report* report);

// The structure record of sites on the cell and operations already in cif (sites and
// types of cif are replaced): the same record ZEMU_load_cif gives on the file that
// ZEMU_write_cif_exact writes from it. 0 on success.
int ZEMU_import_build_record(ZEMU_cif* cif, const std::vector<ZEMU_import_site>& sites);

// Oxidation states: keeps the states of sites with has_ox, fixes those of the elements
// in the "Fe=2,O=-2" text given (overriding the file), and assigns the others by charge
// balance and the lowest global instability index on the cell and operations of cif.
// Fills report->states and report->oxidation. 0 on success; 1 with report->error set.
int ZEMU_import_assign_oxidation(ZEMU_cif* cif, std::vector<ZEMU_import_site>& sites, const std::string& given,
                                 int z, ZEMU_import_report* report);
// Global instability index of cif with the built-in bond-valence parameters (sets the
// bond valence sums of its sites); -1.0 when it cannot be computed.
double ZEMU_import_gii(ZEMU_cif* cif);

// ---------------------------------------------------------------------------
// Reports
// ---------------------------------------------------------------------------

// Short human summary (formula, Z, space group, cell, sites, states).
void ZEMU_import_print_summary(FILE* fpw, const ZEMU_cif* cif, const ZEMU_import_report* report);
// The same as one JSON object, on one line.
std::string ZEMU_import_summary_json(const ZEMU_cif* cif, const ZEMU_import_report* report);
// Writes cif (ZEMU_write_cif_exact) to path through a temporary file renamed into
// place, so a failure leaves no partial file. 0 on success; 1 with *error set.
int ZEMU_import_write_cif(ZEMU_cif* cif, const char* path, std::string* error);

#endif
