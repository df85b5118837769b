// The program's random numbers: one process-wide 32-bit Mersenne Twister (the
// standard library's, which is the reference generator), default seed 5489.
#include "MT19937AR.h"

#include <random>

namespace {

std::mt19937& generator() {
    static std::mt19937 state;  // default-constructed: seed 5489
    return state;
}

}  // namespace

void init_genrand(unsigned long s) { generator().seed(static_cast<std::mt19937::result_type>(s & 0xffffffffUL)); }

unsigned long genrand_int32(void) { return generator()(); }

double genrand_real1(void) { return genrand_int32() * (1.0 / 4294967295.0); }
