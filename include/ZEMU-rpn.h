// Expression evaluator: arithmetic expressions (infix text) compiled to reverse
// Polish notation and evaluated against 52 one-letter variables; the energy
// scaling of a run is one such expression in E.
#ifndef ZEMU_RPN_H
#define ZEMU_RPN_H

#include <cstdio>

// ---------------------------------------------------------------------------
// Expression evaluator
// ---------------------------------------------------------------------------

#define MAX_TOKEN_SIZE 100  // token buffer size: a token holds at most 99 characters

typedef enum { type_op = 0, type_number = 1, type_var = 2 } ZEMU_RPN_token_type;

typedef struct {
    ZEMU_RPN_token_type token_type;
    union {
        double d;  // value of a type_number token
        char c;    // operator character (type_op) or variable letter (type_var)
    };
} ZEMU_RPN_token_item;

// Growable token list; serves as tokenizer output and as the finished RPN sequence.
typedef struct {
    int size;                   // items in use
    int cap;                    // items allocated
    ZEMU_RPN_token_item* item;  // owned
} ZEMU_RPN_token;

// Evaluation stack (grows and shrinks by one element per push/pop).
typedef struct {
    int size;
    int cap;       // never used
    double* item;  // owned
} ZEMU_RPN_number_stack;

// Operator stack of the shunting-yard pass (grows geometrically).
typedef struct {
    int size;
    int cap;
    char* item;  // owned
} ZEMU_char_stack;

// Values of the 52 one-letter variables: 'A'..'Z' -> 0..25, 'a'..'z' -> 26..51.
typedef struct {
    double value[52];
} ZEMU_variable_list;

int ZEMU_RPN_build(char* input, ZEMU_RPN_token* output);
int ZEMU_RPN_read(ZEMU_RPN_token* output, ZEMU_variable_list* var_list, double* calc_value);
int ZEMU_RPN_tokenize(char* input, ZEMU_RPN_token* token_list);
int ZEMU_RPN_build_push(ZEMU_char_stack* stack, ZEMU_RPN_token* output, char s);
int ZEMU_RPN_build_pop(ZEMU_char_stack* stack, ZEMU_RPN_token* output);

int ZEMU_store_variable_value(ZEMU_variable_list* var_list, char s, double value);
int ZEMU_get_variable_value(ZEMU_variable_list* var_list, char s, double* value);

int ZEMU_RPN_push_number_stack(ZEMU_RPN_number_stack* stack, double f);
int ZEMU_RPN_pop_number_stack(ZEMU_RPN_number_stack* stack);

void ZEMU_init_char_stack(ZEMU_char_stack* stack);
int ZEMU_alloc_char_stack(ZEMU_char_stack* stack);
int ZEMU_push_char_stack(ZEMU_char_stack* stack, char s);
int ZEMU_pop_char_stack(ZEMU_char_stack* stack, char* s);
void ZEMU_free_char_stack(ZEMU_char_stack* stack);

void ZEMU_init_RPN_token(ZEMU_RPN_token* token);
int ZEMU_alloc_RPN_token(ZEMU_RPN_token* token);
void ZEMU_free_RPN_token(ZEMU_RPN_token* token);
void ZEMU_free_RPN(ZEMU_RPN_token* token);  // a compiled expression: the items only, the size kept

#endif
