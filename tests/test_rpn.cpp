// Expression evaluator: tokens, precedence rules, rejections and evaluation.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "ZEMU-rpn.h"
#include "fixtures.h"

namespace {

const char* const kUnparsable = "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n";

typedef std::vector<std::pair<char, double>> Vars;

// Builds and evaluates `expr`; fails the test when either step fails.
double eval(const std::string& expr, const Vars& vars = {}) {
    ZEMU_variable_list list;
    memset(&list, 0, sizeof list);
    for (const auto& v : vars) EXPECT_EQ(ZEMU_store_variable_value(&list, v.first, v.second), 0);
    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    std::string text = expr;
    EXPECT_EQ(ZEMU_RPN_build(&text[0], &rpn), 0) << expr;
    double value = NAN;
    EXPECT_EQ(ZEMU_RPN_read(&rpn, &list, &value), 0) << expr;
    ZEMU_free_RPN(&rpn);
    return value;
}

// The RPN sequence of `expr` written out, e.g. "8 4 2 / /".
std::string rpn_text(const std::string& expr) {
    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    std::string text = expr, out;
    EXPECT_EQ(ZEMU_RPN_build(&text[0], &rpn), 0);
    for (int i = 0; i < rpn.size; ++i) {
        char buf[32];
        if (rpn.item[i].token_type == type_number) snprintf(buf, sizeof buf, "%g", rpn.item[i].d);
        else snprintf(buf, sizeof buf, "%c", rpn.item[i].c);
        out += (out.empty() ? "" : " ") + std::string(buf);
    }
    ZEMU_free_RPN(&rpn);
    return out;
}

}  // namespace

TEST(RpnEvaluate, PrecedenceUnaryMinusAndOddTokens) {
    struct Case { const char* expr; double want; Vars vars; } cases[] = {
        {"E*2-1", 5.0, {{'E', 3}}}, {"(E-1)/2", 1.0, {{'E', 3}}}, {"-E", -3.0, {{'E', 3}}}, {" 2 ^ 3 ^ 2 ", 512.0, {}},
        {"0.5695*E^(0.6946)", 0.5695 * pow(2.0, 0.6946), {{'E', 2.0}}},
        // symmetry coordinate expressions; upper and lower case are distinct
        {"x+1/2", 0.75, {{'x', 0.25}}}, {"-y", -0.1, {{'y', 0.1}}}, {"-x+1/2", 0.25, {{'x', 0.25}}},
        {"x-X", -1.5, {{'x', 0.5}, {'X', 2.0}}},
        {"A+Z*a-z", 1.0 + 2.0 * 3.0 - 4.0, {{'A', 1}, {'Z', 2}, {'a', 3}, {'z', 4}}},
        // chained division groups to the right
        {"8/4/2", 4.0, {}}, {"8/4*2", 4.0, {}}, {"8*4/2", 16.0, {}}, {"2*3*4", 24.0, {}}, {"10-4-3", 3.0, {}},
        // unary minus takes subtraction precedence; a minus after ')' is binary
        {"E^-1", 0.0, {{'E', 7.5}}}, {"2*-3", -3.0, {}}, {"(-2)*3", -6.0, {}}, {"2-(-3)", 5.0, {}}, {"(1)-1", 0.0, {}},
        // juxtaposed operands give the first value
        {"2 3", 2.0, {}}, {"1e-3", 1.0, {}}, {"1e-3", 1.0, {{'e', 5.0}}}, {"1.5.25", 1.5, {}},
        // a comma or lone dot reads as zero; division by zero follows floating point
        {"3+,", 3.0, {}}, {"3+.", 3.0, {}}, {".5*4", 2.0, {}}, {"1/0", INFINITY, {}},
    };
    for (const Case& cs : cases) EXPECT_DOUBLE_EQ(eval(cs.expr, cs.vars), cs.want) << cs.expr;
    EXPECT_TRUE(std::isnan(eval("0/0")));
    EXPECT_DOUBLE_EQ(eval(std::string(99, '1') + "*0"), 0.0);  // the longest token allowed
}

TEST(RpnEvaluate, SequencesShowGroupingAndRewrites) {
    EXPECT_EQ(rpn_text("8/4/2"), "8 4 2 / /");
    EXPECT_EQ(rpn_text("E^-1"), "E 0 ^ 1 -");
    EXPECT_EQ(rpn_text("1e-3"), "1 e 3 -");  // number, variable e, minus, number
    EXPECT_EQ(rpn_text("-x"), "0 x -");
}

TEST(RpnEvaluate, ReadingLeavesTheSequenceReusable) {
    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    char text[] = "E*E";
    ASSERT_EQ(ZEMU_RPN_build(text, &rpn), 0);
    ZEMU_variable_list list;
    memset(&list, 0, sizeof list);
    for (int k = 1; k <= 3; ++k) {
        ZEMU_store_variable_value(&list, 'E', k);
        double value = 0;
        ASSERT_EQ(ZEMU_RPN_read(&rpn, &list, &value), 0);
        EXPECT_DOUBLE_EQ(value, k * k);
    }
    ZEMU_free_RPN(&rpn);
}

TEST(RpnReject, BadTextShortOperandsUnbalancedParenthesesAndLongTokens) {
    const char* unparsable[] = {"3 $", "", "   ", "1\t+2" /* only ' ' is a space */, "sin(x)%2",
                                "+1", "E+", "-", "+x", "*", "2*", "(+)",
                                "(E", "E)", "()", "((1)", "1)+(2", ")("};
    std::vector<std::pair<std::string, std::string>> cases;
    for (const char* expr : unparsable) cases.push_back({expr, kUnparsable});
    cases.push_back({std::string(100, '1'), "Error: MAX_TOKEN_SIZE exceeded in ZEMU_RPN_tokenize()\n"});
    for (auto& cs : cases) {
        ZEMU_RPN_token rpn;
        ZEMU_init_RPN_token(&rpn);
        EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_RPN_build(&cs.first[0], &rpn), 1); }), cs.second) << cs.first;
        EXPECT_EQ(rpn.item, nullptr) << cs.first;
        EXPECT_EQ(rpn.size, 0) << cs.first;
    }
}

TEST(RpnReject, ReadRefusesAHandMadeSequenceShortOfOperandsAndNonLetterVariables) {
    ZEMU_RPN_token_item items[2] = {};
    items[0].token_type = type_number, items[0].d = 1.0;
    items[1].token_type = type_op, items[1].c = '+';
    ZEMU_RPN_token rpn = {2, 2, items};
    ZEMU_variable_list list;
    memset(&list, 0, sizeof list);
    double value = 0;
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_RPN_read(&rpn, &list, &value), 1); }),
              "Error: Invalid input to ZEMU_RPN_read()\n");
    EXPECT_EQ(fx::stderr_of([&] {
                  EXPECT_EQ(ZEMU_store_variable_value(&list, '[', 1.0), 1);
                  EXPECT_EQ(ZEMU_get_variable_value(&list, '1', &value), 1);
              }),
              "Error: Invalid variable name for ZEMU_store_variable_value\n"
              "Error: Invalid variable name for ZEMU_get_variable_value\n");
}

TEST(RpnStacks, CharStackPopsLastFirstAndReportsTheBottom) {
    ZEMU_char_stack stack;
    ZEMU_init_char_stack(&stack);
    for (char c : std::string("abc")) ASSERT_EQ(ZEMU_push_char_stack(&stack, c), 0);
    char c = 0;
    for (char want : std::string("cba")) {
        ASSERT_EQ(ZEMU_pop_char_stack(&stack, &c), 0);
        EXPECT_EQ(c, want);
    }
    EXPECT_EQ(fx::stderr_of([&] { EXPECT_EQ(ZEMU_pop_char_stack(&stack, &c), 1); }),
              "Error: Reached bottom of char stack\n");
}
