// MT19937 Mersenne Twister, reference algorithm (Matsumoto and Nishimura).
#include "MT19937AR.h"

namespace {

const int N = 624;
const int M = 397;
const unsigned long MATRIX_A = 0x9908b0dfUL;    // constant vector a
const unsigned long UPPER_MASK = 0x80000000UL;  // most significant w-r bits
const unsigned long LOWER_MASK = 0x7fffffffUL;  // least significant r bits

unsigned long mt[N];  // the state vector
int mti = N + 1;      // mti == N+1 means mt[] is not initialised

}  // namespace

void init_genrand(unsigned long s) {
    mt[0] = s & 0xffffffffUL;
    for (mti = 1; mti < N; mti++) {
        mt[mti] = (1812433253UL * (mt[mti - 1] ^ (mt[mti - 1] >> 30)) + mti);
        mt[mti] &= 0xffffffffUL;
    }
}

unsigned long genrand_int32(void) {
    static const unsigned long mag01[2] = {0x0UL, MATRIX_A};
    unsigned long y;

    if (mti >= N) {  // generate N words at one time
        if (mti == N + 1) init_genrand(5489UL);  // default seed when never seeded
        int kk;
        for (kk = 0; kk < N - M; kk++) {
            y = (mt[kk] & UPPER_MASK) | (mt[kk + 1] & LOWER_MASK);
            mt[kk] = mt[kk + M] ^ (y >> 1) ^ mag01[y & 0x1UL];
        }
        for (; kk < N - 1; kk++) {
            y = (mt[kk] & UPPER_MASK) | (mt[kk + 1] & LOWER_MASK);
            mt[kk] = mt[kk + (M - N)] ^ (y >> 1) ^ mag01[y & 0x1UL];
        }
        y = (mt[N - 1] & UPPER_MASK) | (mt[0] & LOWER_MASK);
        mt[N - 1] = mt[M - 1] ^ (y >> 1) ^ mag01[y & 0x1UL];
        mti = 0;
    }

    y = mt[mti++];
    y ^= (y >> 11);
    y ^= (y << 7) & 0x9d2c5680UL;
    y ^= (y << 15) & 0xefc60000UL;
    y ^= (y >> 18);
    return y;
}

double genrand_real1(void) { return genrand_int32() * (1.0 / 4294967295.0); }
