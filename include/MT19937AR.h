// MT19937 Mersenne Twister pseudo-random generator (the reference 32-bit
// generator with period 2^19937-1). One process-wide state.
#ifndef MT19937AR_H
#define MT19937AR_H

void init_genrand(unsigned long s);                                  // seed with one 32-bit value
unsigned long genrand_int32(void);                                   // uniform on [0, 0xffffffff]
double genrand_real1(void);                                          // uniform on [0, 1]

#endif
