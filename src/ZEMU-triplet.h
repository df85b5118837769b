// Symmetry-operation text through gemmi's triplet parser, for the sources that
// read operations with gemmi (structure import, landscape engine).
#ifndef ZEMU_TRIPLET_H
#define ZEMU_TRIPLET_H

#include <stdexcept>
#include <string>

#include <gemmi/symmetry.hpp>

// gemmi multiplies every number of a triplet by its denominator in a signed long
// without a range check; numbers of real operations have a digit or two, so a
// run of more than six digits is refused before it can overflow.
inline gemmi::Op ZEMU_parse_triplet(const std::string& text)
{
    int digits = 0;
    for (char c : text) {
        digits = (c >= '0' && c <= '9') ? digits + 1 : 0;
        if (digits > 6) throw std::runtime_error("a number of more than six digits");
    }
    return gemmi::parse_triplet(text);
}

#endif
