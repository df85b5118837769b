// Symmetry-operation text through gemmi's triplet parser, for the sources that
// read operations with gemmi (structure import, landscape engine).
#ifndef ZEMU_TRIPLET_H
#define ZEMU_TRIPLET_H

#include <stdexcept>
#include <string>

#include <gemmi/symmetry.hpp>

// gemmi's operation arithmetic (parsing, products, determinants) runs in ints
// without range checks. Real operations have short texts, rotation entries of
// -1, 0 or 1 (a few units in unusual settings) and translations of a cell or
// two, so longer texts, numbers of more than six digits, rotation entries over
// 6 and translations over 1000 cells are refused before they can overflow.
inline gemmi::Op ZEMU_parse_triplet(const std::string& text)
{
    if (text.size() > 100) throw std::runtime_error("an operation of more than 100 characters");
    int digits = 0;
    for (char c : text) {
        digits = (c >= '0' && c <= '9') ? digits + 1 : 0;
        if (digits > 6) throw std::runtime_error("a number of more than six digits");
    }
    gemmi::Op op = gemmi::parse_triplet(text);
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++)
            if (op.rot[i][j] > 6 * gemmi::Op::DEN || op.rot[i][j] < -6 * gemmi::Op::DEN)
                throw std::runtime_error("a rotation entry beyond 6");
        if (op.tran[i] > 1000 * gemmi::Op::DEN || op.tran[i] < -1000 * gemmi::Op::DEN)
            throw std::runtime_error("a translation beyond 1000 cells");
    }
    return op;
}

#endif
