// Structure import: reads the CIF files found in the wild (through gemmi) into
// the program's structure record, with complete symmetry operations, merged
// sites and oxidation states taken from the file, given by hand or assigned by
// bond valence.
#ifndef ZEMU_IMPORT_H
#define ZEMU_IMPORT_H

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
    std::vector<int> states; // distinct states on its sites, ascending (several for mixed valence)
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

// ---------------------------------------------------------------------------
// Import
// ---------------------------------------------------------------------------

// Reads the CIF file at path into cif (initialised here; release with ZEMU_free_cif
// whatever the result). 0 on success; 1 on refusal, with report->error set and cif
// released.
int ZEMU_import_structure(const char* path, const ZEMU_import_options* options, ZEMU_cif* cif,
                          ZEMU_import_report* report);
// The same for CIF text in memory; name stands for the file in messages.
int ZEMU_import_structure_text(const char* text, size_t size, const char* name, const ZEMU_import_options* options,
                               ZEMU_cif* cif, ZEMU_import_report* report);

#endif
