// MT19937 Mersenne Twister pseudo-random generator (the reference 32-bit
// generator with period 2^19937-1). One process-wide state.
#ifndef MT19937AR_H
#define MT19937AR_H

void init_genrand(unsigned long s);                                  // seed with one 32-bit value
void init_by_array(unsigned long init_key[], int key_length);        // seed with an array
unsigned long genrand_int32(void);                                   // uniform on [0, 0xffffffff]
long genrand_int31(void);                                            // uniform on [0, 0x7fffffff]
double genrand_real1(void);                                          // uniform on [0, 1]
double genrand_real2(void);                                          // uniform on [0, 1)
double genrand_real3(void);                                          // uniform on (0, 1)
double genrand_res53(void);                                          // uniform on [0, 1), 53-bit

#endif
