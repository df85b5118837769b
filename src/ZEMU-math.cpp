// Arithmetic expression evaluator: infix text is cut into tokens by a POSIX
// extended regular expression, turned into reverse Polish notation by a
// shunting-yard pass and evaluated against 52 one-letter variables.
#include "ZEMU-rpn.h"
#include "ZEMU-kernel.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <regex.h>
#include <vector>

namespace {

const char* const kTokenPattern = "^([0-9]*\\.?[0-9]*)|[+-/*^]|[a-zA-Z]|\\(|\\)";

// The token pattern, compiled once per process (the symmetry-operation parser
// builds thousands of short expressions). Returns null when compilation fails.
regex_t* token_regex() {
    static regex_t compiled;
    static bool ready = false;
    if (!ready) {
        if (regcomp(&compiled, kTokenPattern, REG_EXTENDED) != 0) return nullptr;
        ready = true;
    }
    return &compiled;
}

// Length of the token starting at `cursor`; 0 when nothing valid starts there.
// The anchored first alternative matches the empty string at the cursor, so the
// leftmost-longest match always begins there.
int match_token(regex_t* re, const char* cursor) {
    regmatch_t m[1];
    if (regexec(re, cursor, 1, m, 0) != 0) return 0;
    if (m[0].rm_so != 0) return 0;
    return (int)(m[0].rm_eo - m[0].rm_so);
}

const char* skip_spaces(const char* p) {
    while (*p == ' ') ++p;
    return p;
}

bool is_letter(char s) { return (s >= 'A' && s <= 'Z') || (s >= 'a' && s <= 'z'); }

// Slot of a variable letter, -1 for anything that is not an ASCII letter.
int variable_slot(char s) {
    if (s >= 'A' && s <= 'Z') return s - 'A';
    if (s >= 'a' && s <= 'z') return s - 71;
    return -1;
}

void report_unparsable() { fputs("Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n", stderr); }

// An RPN sequence is safe to evaluate when no parenthesis is left in it, every
// operator finds two operands and at least one value remains at the end.
bool rpn_is_evaluable(const ZEMU_RPN_token* rpn) {
    int depth = 0;
    for (int i = 0; i < rpn->size; ++i) {
        const ZEMU_RPN_token_item& it = rpn->item[i];
        if (it.token_type == type_op) {
            if (it.c == '(' || it.c == ')') return false;
            if (depth < 2) return false;
            --depth;
        } else {
            ++depth;
        }
    }
    return depth >= 1;
}

// Room for `count` items of a token list or stack; the message when memory runs out.
template <typename T>
int grow_list(T** item, int count, int* cap, const char* message) {
    if (zemu_kernel::grow_array(item, count, cap) == 0) return 0;
    fputs(message, stderr);
    return 1;
}

}  // namespace

// ---------------------------------------------------------------------------
// Token list
// ---------------------------------------------------------------------------

void ZEMU_init_RPN_token(ZEMU_RPN_token* token) { *token = ZEMU_RPN_token{}; }

int ZEMU_alloc_RPN_token(ZEMU_RPN_token* token) {
    return grow_list(&token->item, token->size, &token->cap, "Error: Memory allocation problem in ZEMU_alloc_RPN_token()\n");
}

// The pointer is reset as well, so that a second release is harmless.
void ZEMU_free_RPN_token(ZEMU_RPN_token* token) {
    free(token->item);
    *token = ZEMU_RPN_token{};
}

// A compiled expression's release leaves its size as it was (a later compile
// sets every field anew); only the items go.
void ZEMU_free_RPN(ZEMU_RPN_token* token) {
    free(token->item);
    token->item = nullptr;
}

// ---------------------------------------------------------------------------
// Variables
// ---------------------------------------------------------------------------

int ZEMU_store_variable_value(ZEMU_variable_list* var_list, char s, double value) {
    int slot = variable_slot(s);
    if (slot < 0) {
        fputs("Error: Invalid variable name for ZEMU_store_variable_value\n", stderr);
        return 1;
    }
    var_list->value[slot] = value;
    return 0;
}

int ZEMU_get_variable_value(ZEMU_variable_list* var_list, char s, double* value) {
    int slot = variable_slot(s);
    if (slot < 0) {
        fputs("Error: Invalid variable name for ZEMU_get_variable_value\n", stderr);
        return 1;
    }
    *value = var_list->value[slot];
    return 0;
}

// ---------------------------------------------------------------------------
// Stacks
// ---------------------------------------------------------------------------

int ZEMU_RPN_push_number_stack(ZEMU_RPN_number_stack* stack, double f) {
    if (zemu_kernel::resize_array(&stack->item, stack->size + 1)) {
        fputs("Error: Memory allocation problem in ZEMU_RPN_push_number_stack()\n", stderr);
        return 1;
    }
    stack->item[stack->size] = f;
    stack->size++;
    return 0;
}

int ZEMU_RPN_pop_number_stack(ZEMU_RPN_number_stack* stack) {
    // Popping an empty stack is refused rather than driving the size negative.
    if (stack->size <= 0) {
        fputs("Error: Invalid input to ZEMU_RPN_pop_number_stack()\n", stderr);
        return 1;
    }
    stack->size--;
    if (stack->size == 0) {
        free(stack->item);
        stack->item = nullptr;
        return 0;
    }
    if (zemu_kernel::resize_array(&stack->item, stack->size)) {
        fputs("Error: Memory allocation problem in ZEMU_RPN_pop_number_stack()\n", stderr);
        return 1;
    }
    return 0;
}

void ZEMU_init_char_stack(ZEMU_char_stack* stack) { *stack = ZEMU_char_stack{}; }

int ZEMU_alloc_char_stack(ZEMU_char_stack* stack) {
    return grow_list(&stack->item, stack->size, &stack->cap, "Error: Memory allocation problem in ZEMU_alloc_char_stack()\n");
}

int ZEMU_push_char_stack(ZEMU_char_stack* stack, char s) {
    stack->size++;
    if (ZEMU_alloc_char_stack(stack) != 0) {
        stack->size--;
        return 1;
    }
    stack->item[stack->size - 1] = s;
    return 0;
}

int ZEMU_pop_char_stack(ZEMU_char_stack* stack, char* s) {
    if (stack->size <= 0) {
        fputs("Error: Reached bottom of char stack\n", stderr);
        return 1;
    }
    *s = stack->item[stack->size - 1];
    stack->size--;
    if (stack->size == 0) ZEMU_free_char_stack(stack);
    return 0;
}

void ZEMU_free_char_stack(ZEMU_char_stack* stack) {
    free(stack->item);
    *stack = ZEMU_char_stack{};
}

// ---------------------------------------------------------------------------
// Tokenizer
// ---------------------------------------------------------------------------

int ZEMU_RPN_tokenize(char* input, ZEMU_RPN_token* token_list) {
    regex_t* re = token_regex();
    if (re == nullptr) {
        fputs("Error: Regex compilation failed in ZEMU_RPN_tokenize()\n", stderr);
        return 1;
    }

    // Validation: the whole input must be a sequence of tokens and spaces.
    const char* cursor = skip_spaces(input);
    bool complete = false;
    for (;;) {
        int len = match_token(re, cursor);
        if (len == 0) break;
        cursor = skip_spaces(cursor + len);
        if (*cursor == '\0') {
            complete = true;
            break;
        }
    }
    if (!complete) {
        report_unparsable();
        return 1;
    }

    char buffer[MAX_TOKEN_SIZE];
    int previous_number = 0;
    cursor = skip_spaces(input);
    while (*cursor != '\0') {
        int len = match_token(re, cursor);
        if (len == 0) break;
        if (len > MAX_TOKEN_SIZE - 1) {
            fputs("Error: MAX_TOKEN_SIZE exceeded in ZEMU_RPN_tokenize()\n", stderr);
            return 1;
        }
        memcpy(buffer, cursor, (size_t)len);
        buffer[len] = '\0';

        token_list->size++;
        if (ZEMU_alloc_RPN_token(token_list) != 0) return 1;
        ZEMU_RPN_token_item* slot = &token_list->item[token_list->size - 1];
        char first = buffer[0];
        if (first == '+' || first == '-' || first == '/' || first == '*' || first == '^' || first == '(' ||
            first == ')') {
            if (first == '-' && previous_number == 0) {
                // Unary minus is rewritten as "0 -" (and so keeps the precedence of subtraction).
                slot->token_type = type_number;
                slot->d = 0.0;
                token_list->size++;
                if (ZEMU_alloc_RPN_token(token_list) != 0) return 1;
                slot = &token_list->item[token_list->size - 1];
            }
            slot->token_type = type_op;
            slot->c = first;
            if (first != ')') previous_number = 0;
        } else if (is_letter(first)) {
            slot->token_type = type_var;
            slot->c = first;
            previous_number = 1;
        } else {
            slot->token_type = type_number;
            slot->d = atof(buffer);
            previous_number = 1;
        }
        cursor = skip_spaces(cursor + len);
    }
    return 0;
}

// ---------------------------------------------------------------------------
// Shunting-yard pass
// ---------------------------------------------------------------------------

int ZEMU_RPN_build_pop(ZEMU_char_stack* stack, ZEMU_RPN_token* output) {
    char s;
    if (ZEMU_pop_char_stack(stack, &s) != 0) return 1;
    ZEMU_RPN_token_item& it = output->item[output->size];
    it.token_type = type_op;
    it.c = s;
    output->size++;
    return 0;
}

int ZEMU_RPN_build_push(ZEMU_char_stack* stack, ZEMU_RPN_token* output, char s) {
    switch (s) {
        case '(':
            return ZEMU_push_char_stack(stack, s);
        case ')':
            while (stack->size > 0 && stack->item[stack->size - 1] != '(') {
                if (ZEMU_RPN_build_pop(stack, output) != 0) return 1;
            }
            if (stack->size > 0) {  // drop the '(' (an unmatched ')' finds none)
                stack->size--;
                if (stack->size == 0) ZEMU_free_char_stack(stack);
            }
            return 0;
        case '+':
        case '-':
            while (stack->size > 0 && stack->item[stack->size - 1] != '(') {
                if (ZEMU_RPN_build_pop(stack, output) != 0) return 1;
            }
            return ZEMU_push_char_stack(stack, s);
        case '*':
            while (stack->size > 0 && (stack->item[stack->size - 1] == '^' || stack->item[stack->size - 1] == '/')) {
                if (ZEMU_RPN_build_pop(stack, output) != 0) return 1;
            }
            return ZEMU_push_char_stack(stack, s);
        case '/':
            while (stack->size > 0 && (stack->item[stack->size - 1] == '^' || stack->item[stack->size - 1] == '*')) {
                if (ZEMU_RPN_build_pop(stack, output) != 0) return 1;
            }
            return ZEMU_push_char_stack(stack, s);
        case '^':
            return ZEMU_push_char_stack(stack, s);
        default:
            return 0;
    }
}

int ZEMU_RPN_build(char* input, ZEMU_RPN_token* output) {
    output->item = nullptr;
    output->size = 0;

    ZEMU_RPN_token tokens;
    ZEMU_init_RPN_token(&tokens);
    if (ZEMU_RPN_tokenize(input, &tokens) != 0) {
        ZEMU_free_RPN_token(&tokens);
        return 1;
    }

    // An empty token list gives an empty output, refused below as unparsable.
    if (zemu_kernel::allocate_array(&output->item, (size_t)tokens.size)) {
        fputs("Error: Memory allocation problem in ZEMU_RPN_build()\n", stderr);
        ZEMU_free_RPN_token(&tokens);
        return 1;
    }

    ZEMU_char_stack stack;
    ZEMU_init_char_stack(&stack);
    int open_parens = 0;
    bool balanced = true;
    int status = 0;
    for (int i = 0; i < tokens.size && status == 0 && balanced; ++i) {
        const ZEMU_RPN_token_item& it = tokens.item[i];
        if (it.token_type != type_op) {
            output->item[output->size++] = it;
            continue;
        }
        if (it.c == '(') ++open_parens;
        if (it.c == ')') {
            if (open_parens == 0) {
                balanced = false;
                break;
            }
            --open_parens;
        }
        status = ZEMU_RPN_build_push(&stack, output, it.c);
    }
    while (status == 0 && balanced && stack.size > 0) status = ZEMU_RPN_build_pop(&stack, output);
    ZEMU_free_char_stack(&stack);
    ZEMU_free_RPN_token(&tokens);

    if (status == 0 && (!balanced || open_parens != 0 || !rpn_is_evaluable(output))) {
        report_unparsable();
        status = 1;
    }
    if (status != 0) {
        ZEMU_free_RPN(output);
        output->size = 0;  // a failed build leaves an empty sequence
    }
    return status;
}

// ---------------------------------------------------------------------------
// Evaluation
// ---------------------------------------------------------------------------

// Called once per grid value by the energy scaling: the stack lives on the
// program stack for short expressions instead of being resized per push/pop.
int ZEMU_RPN_read(ZEMU_RPN_token* output, ZEMU_variable_list* var_list, double* calc_value) {
    const int n = output->size;
    if (n > 0 && output->item == nullptr) {
        fputs("Error: Invalid input to ZEMU_RPN_read()\n", stderr);
        return 1;
    }
    double local[64];
    std::vector<double> spill;
    double* stack = local;
    if (n > 64) {
        spill.resize((size_t)n);
        stack = spill.data();
    }

    int size = 0;
    double result = 0.0;
    for (int i = 0; i < n; ++i) {
        const ZEMU_RPN_token_item& it = output->item[i];
        if (it.token_type == type_number) {
            stack[size++] = it.d;
        } else if (it.token_type == type_var) {
            double v;
            if (ZEMU_get_variable_value(var_list, it.c, &v) != 0) return 1;
            stack[size++] = v;
        } else {
            // An operator short of operands cannot come out of ZEMU_RPN_build(); refuse it here too.
            if (size < 2) {
                fputs("Error: Invalid input to ZEMU_RPN_read()\n", stderr);
                return 1;
            }
            double value_1 = stack[size - 2];
            double value_2 = stack[size - 1];
            switch (it.c) {
                case '+': result = value_1 + value_2; break;
                case '-': result = value_1 - value_2; break;
                case '*': result = value_1 * value_2; break;
                case '/': result = value_1 / value_2; break;
                case '^': result = pow(value_1, value_2); break;
                default: break;  // unknown operator: the previous result is pushed again
            }
            size -= 2;
            stack[size++] = result;
        }
    }
    if (size == 0) {
        fputs("Error: Invalid input to ZEMU_RPN_read()\n", stderr);
        return 1;
    }
    *calc_value = stack[0];
    return 0;
}
