// Structure import, shared between its sources: refusals, tag look-up, the
// symmetry of a data block and its sites.
#ifndef ZEMU_IMPORT_INTERNAL_H
#define ZEMU_IMPORT_INTERNAL_H

#include <initializer_list>
#include <string>
#include <vector>

#include <gemmi/cifdoc.hpp>
#include <gemmi/symmetry.hpp>
#include <gemmi/unitcell.hpp>

#include "ZEMU-import.h"

namespace zemu_import {

const double kSameAtom = 0.02;  // Angstrom: images closer than this are one atom

// A refusal: the message becomes report->error.
struct Refusal {
    std::string message;
};
[[noreturn]] void refuse(const std::string& message);
// " (line N)", or nothing for an unknown line.
std::string at_line(int line);

// Value of the first of the tags the block has (pair or first loop value); null when none.
const std::string* find_value(gemmi::cif::Block& block, std::initializer_list<const char*> tags, int* line = nullptr);
bool has_tag(gemmi::cif::Block& block, const char* tag);

// Symmetry of a data block.
struct Symmetry {
    std::vector<gemmi::Op> ops;                    // distinct operations, wrapped, identity first when generated
    std::vector<std::string> texts;                // the same in the structure reader's notation
    std::string source;                            // "symmetry loop", "Hall symbol", ...
    const gemmi::SpaceGroup* symbol_sg = nullptr;  // group named by the file (Hall, H-M or number)
    std::string file_hm;                           // H-M symbol as written; empty when none
    int file_number = 0;                           // space-group number as written; 0 when none
};
// Operations of the block: its loop, else its Hall symbol, H-M symbol or number, else P 1;
// checked to form a group with the centring of the named group. Refuses otherwise.
void read_symmetry(gemmi::cif::Block& block, double alpha, double gamma, Symmetry& sym, ZEMU_import_report* report);

// Sites of the block's atom-site loop: element, state from the file, images under the
// operations, symmetric copies listed in full merged, labels made unique. record holds
// the cell and operations (the reader's count of copies is checked against the images).
std::vector<ZEMU_import_site> read_sites(gemmi::cif::Block& block, const gemmi::UnitCell& cell, const Symmetry& sym,
                                         ZEMU_cif* record, ZEMU_import_report* report);
// Sum formula per formula unit and Z (file_z when positive) into report.
void formula(const std::vector<ZEMU_import_site>& sites, int file_z, ZEMU_import_report* report);

}  // namespace zemu_import

#endif
