// Run configuration: the choices of one run of zemu, read from its command line.
#ifndef ZEMU_INPUT_H
#define ZEMU_INPUT_H

#include <cstdio>

// ---------------------------------------------------------------------------
// Limits of the run configuration
// ---------------------------------------------------------------------------

#define ZEMU_MAX_EXPRESSION_LENGTH 100  // scaling expression field, terminator included
#define ZEMU_MAX_FILENAME_LENGTH 1000   // file name fields, terminator included
#define ZEMU_MAX_ION_TYPE_LENGTH 10     // ion type field

// ---------------------------------------------------------------------------
// Run configuration
// ---------------------------------------------------------------------------

// One run's choices, filled from the command line. All flags are 0 or 1; a
// text field is only meaningful while its flag is set.
typedef struct {
    int scaling;                                         // --scale given
    char scaling_expression[ZEMU_MAX_EXPRESSION_LENGTH];  // energy scaling expression in E
    int cube;                                            // --cube given
    char cube_file[ZEMU_MAX_FILENAME_LENGTH];            // energy grid file
    double max;                                          // --max: ceiling above the minimum, scaled eV; 0 = default
    int cif;                                             // --cif given
    char cif_file[ZEMU_MAX_FILENAME_LENGTH];             // crystal structure file
    int ion;                                             // an ion type followed the CIF path
    char ion_type[ZEMU_MAX_ION_TYPE_LENGTH];             // mobile ion type, such as "Na1+"
    int path;                                            // --path
    int vesta;                                           // --vesta
    int summary;                                         // --summary
    int cmd;                                             // --cmd
    int HK;                                              // --hk (stored, read by no stage)
    int gui;                                             // --gui
    int calc_charge;                                     // --calc-charge
    int calc_bvsum;                                      // --calc-bvsum
    int calc_gii;                                        // --calc-gii
    int print_minima;                                    // --print-minima
    int print_saddle;                                    // --print-saddle
    int print_path;                                      // --print-path
    int print_perc;                                      // --print-perc
    int print_act;                                       // --print-act
    int smooth_cube;                                     // --smooth-cube
    int check_sub;                                       // --check-sub
    int check_subs;                                      // --check-subs
} ZEMU_input;

void ZEMU_init_input(ZEMU_input* input);
int ZEMU_isflag(char* flag);
void ZEMU_process_command(ZEMU_input* input, int argc, char** argv);

#endif
