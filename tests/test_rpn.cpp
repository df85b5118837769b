// Expression evaluator: precedence rules, the sequences they build, rejections and evaluation.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU-rpn.h"
#include "fixtures.h"

namespace {

// Builds `expr`, writes its sequence out (e.g. "8 4 2 / /") and evaluates it
// with x = 0.25, y = 0.1, E = 3, X = 2, a = 5 (other letters 0).
std::pair<std::string, double> build_and_read(const std::string& expr) {
    ZEMU_variable_list list;
    memset(&list, 0, sizeof list);
    for (auto v : {std::make_pair('x', 0.25), {'y', 0.1}, {'E', 3.0}, {'X', 2.0}, {'a', 5.0}})
        ZEMU_store_variable_value(&list, v.first, v.second);
    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    std::string text = expr, seq;
    EXPECT_EQ(ZEMU_RPN_build(&text[0], &rpn), 0) << expr;
    for (int i = 0; i < rpn.size; ++i) {
        char buf[32];
        if (rpn.item[i].token_type == type_number) snprintf(buf, sizeof buf, "%g", rpn.item[i].d);
        else snprintf(buf, sizeof buf, "%c", rpn.item[i].c);
        seq += (seq.empty() ? "" : " ") + std::string(buf);
    }
    double value = NAN, again = NAN;
    EXPECT_EQ(ZEMU_RPN_read(&rpn, &list, &value), 0) << expr;
    ZEMU_RPN_read(&rpn, &list, &again);  // reading leaves the sequence reusable
    EXPECT_TRUE(value == again || std::isnan(value)) << expr;
    ZEMU_free_RPN(&rpn);
    return {seq, value};
}

}  // namespace

TEST(RpnEvaluate, PrecedenceUnaryMinusAndOddTokens) {
    const std::pair<const char*, double> cases[] = {
        {"E*2-1", 5.0}, {"(E-1)/2", 1.0}, {" 2 ^ 3 ^ 2 ", 512.0}, {"0.5695*E^(0.6946)", 0.5695 * pow(3.0, 0.6946)},
        {"-x+1/2", 0.25}, {"x-X", -1.75}, {"a*X-y", 9.9},  // upper and lower case are distinct
        {"8/4*2", 4.0}, {"8*4/2", 16.0}, {"10-4-3", 3.0}, {"2*-3", -3.0}, {"(-2)*3", -6.0}, {"2-(-3)", 5.0}, {"(1)-1", 0.0},
        {"2 3", 2.0}, {"1.5.25", 1.5}, {"3+,", 3.0}, {".5*4", 2.0}, {"1/0", INFINITY},  // odd tokens
    };
    for (const auto& cs : cases) EXPECT_DOUBLE_EQ(build_and_read(cs.first).second, cs.second) << cs.first;
    EXPECT_TRUE(std::isnan(build_and_read("0/0").second));
    EXPECT_DOUBLE_EQ(build_and_read(std::string(99, '1') + "*0").second, 0.0);  // the longest token allowed
    // chained division groups to the right; unary minus takes subtraction precedence; "1e-3" is 1, e, minus, 3
    const std::pair<const char*, const char*> sequences[] = {
        {"8/4/2", "8 4 2 / /"}, {"E^-1", "E 0 ^ 1 -"}, {"1e-3", "1 e 3 -"}, {"-x", "0 x -"}};
    for (const auto& cs : sequences) EXPECT_EQ(build_and_read(cs.first).first, cs.second);
}

TEST(RpnReject, BadTextShortOperandsUnbalancedParenthesesLongTokensAndBadVariables) {
    const std::string kUnparsable = "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n";
    std::vector<std::pair<std::string, std::string>> cases;
    for (const char* expr : {"3 $", "", "1\t+2" /* only ' ' is a space */, "+1", "E+", "-", "*", "(+)", "(E", "E)", "()", "1)+(2"})
        cases.push_back({expr, kUnparsable});
    cases.push_back({std::string(100, '1'), "Error: MAX_TOKEN_SIZE exceeded in ZEMU_RPN_tokenize()\n"});
    for (auto& cs : cases) {
        ZEMU_RPN_token rpn;
        ZEMU_init_RPN_token(&rpn);
        EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_RPN_build(&cs.first[0], &rpn), 1); }), cs.second) << cs.first;
        EXPECT_EQ(std::make_tuple(rpn.item, rpn.size), std::make_tuple((ZEMU_RPN_token_item*)nullptr, 0)) << cs.first;
    }
    ZEMU_RPN_token_item items[2] = {};  // a hand-made sequence short of operands
    items[0].token_type = type_number, items[0].d = 1.0;
    items[1].token_type = type_op, items[1].c = '+';
    ZEMU_RPN_token rpn = {2, 2, items};
    ZEMU_variable_list list;
    memset(&list, 0, sizeof list);
    double value = 0;
    char c = 0;
    ZEMU_char_stack stack;
    ZEMU_init_char_stack(&stack);
    EXPECT_EQ(fx::stderr_of([&] {
                  EXPECT_EQ(ZEMU_RPN_read(&rpn, &list, &value), 1);
                  EXPECT_EQ(ZEMU_store_variable_value(&list, '[', 1.0), 1);
                  EXPECT_EQ(ZEMU_get_variable_value(&list, '1', &value), 1);
                  EXPECT_EQ(ZEMU_pop_char_stack(&stack, &c), 1);
              }),
              "Error: Invalid input to ZEMU_RPN_read()\nError: Invalid variable name for ZEMU_store_variable_value\n"
              "Error: Invalid variable name for ZEMU_get_variable_value\nError: Reached bottom of char stack\n");
}
