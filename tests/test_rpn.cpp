// Expression evaluator: tokens, precedence rules, rejections and evaluation speed.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "ZEMU-math.h"

namespace {

const char* const kUnparsable = "Error: Expression cannot be fully parsed in ZEMU_RPN_tokenize()\n";

struct Vars {
    ZEMU_variable_list list;
    Vars() { memset(&list, 0, sizeof list); }
    Vars& set(char s, double v) {
        EXPECT_EQ(ZEMU_store_variable_value(&list, s, v), 0);
        return *this;
    }
};

// Builds and evaluates `expr`; fails the test when either step fails.
double eval(const std::string& expr, Vars vars = Vars()) {
    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    std::string text = expr;
    EXPECT_EQ(ZEMU_RPN_build(&text[0], &rpn), 0) << expr;
    double value = NAN;
    EXPECT_EQ(ZEMU_RPN_read(&rpn, &vars.list, &value), 0) << expr;
    ZEMU_free_RPN(&rpn);
    return value;
}

// Builds `expr` expecting a rejection; returns what went to stderr.
std::string rejection(const std::string& expr) {
    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    std::string text = expr;
    testing::internal::CaptureStderr();
    int status = ZEMU_RPN_build(&text[0], &rpn);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, 1) << expr;
    EXPECT_EQ(rpn.item, nullptr) << expr;
    EXPECT_EQ(rpn.size, 0) << expr;
    ZEMU_free_RPN(&rpn);
    return err;
}

// The RPN sequence of `expr` written out, e.g. "8 4 2 / /".
std::string rpn_text(const std::string& expr) {
    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    std::string text = expr;
    EXPECT_EQ(ZEMU_RPN_build(&text[0], &rpn), 0);
    std::string out;
    for (int i = 0; i < rpn.size; ++i) {
        if (!out.empty()) out += ' ';
        const ZEMU_RPN_token_item& it = rpn.item[i];
        if (it.token_type == type_number) {
            char buf[32];
            snprintf(buf, sizeof buf, "%g", it.d);
            out += buf;
        } else {
            out += it.c;
        }
    }
    ZEMU_free_RPN(&rpn);
    return out;
}

}  // namespace

TEST(RpnEvaluate, ArithmeticWithVariables) {
    EXPECT_DOUBLE_EQ(eval("E*2-1", Vars().set('E', 3)), 5.0);
    EXPECT_DOUBLE_EQ(eval("(E-1)/2", Vars().set('E', 3)), 1.0);
    EXPECT_DOUBLE_EQ(eval("-E", Vars().set('E', 3)), -3.0);
    EXPECT_DOUBLE_EQ(eval(" 2 ^ 3 ^ 2 "), 512.0);
    EXPECT_DOUBLE_EQ(eval("0.5695*E^(0.6946)", Vars().set('E', 2.0)), 0.5695 * pow(2.0, 0.6946));
}

TEST(RpnEvaluate, SymmetryCoordinateExpressions) {
    EXPECT_DOUBLE_EQ(eval("x+1/2", Vars().set('x', 0.25)), 0.75);
    EXPECT_DOUBLE_EQ(eval("-y", Vars().set('y', 0.1)), -0.1);
    EXPECT_DOUBLE_EQ(eval("-x+1/2", Vars().set('x', 0.25)), 0.25);
    EXPECT_DOUBLE_EQ(eval("x-X", Vars().set('x', 0.5).set('X', 2.0)), -1.5);
}

TEST(RpnEvaluate, ChainedDivisionGroupsToTheRight) {
    EXPECT_EQ(rpn_text("8/4/2"), "8 4 2 / /");
    EXPECT_DOUBLE_EQ(eval("8/4/2"), 4.0);
    EXPECT_DOUBLE_EQ(eval("8/4*2"), 4.0);
    EXPECT_DOUBLE_EQ(eval("8*4/2"), 16.0);
    EXPECT_DOUBLE_EQ(eval("2*3*4"), 24.0);
    EXPECT_DOUBLE_EQ(eval("10-4-3"), 3.0);
}

TEST(RpnEvaluate, UnaryMinusTakesSubtractionPrecedence) {
    EXPECT_EQ(rpn_text("E^-1"), "E 0 ^ 1 -");
    EXPECT_DOUBLE_EQ(eval("E^-1", Vars().set('E', 7.5)), 0.0);
    EXPECT_DOUBLE_EQ(eval("2*-3"), -3.0);
    EXPECT_DOUBLE_EQ(eval("(-2)*3"), -6.0);
    EXPECT_DOUBLE_EQ(eval("2-(-3)"), 5.0);
    EXPECT_DOUBLE_EQ(eval("(1)-1"), 0.0);  // a minus after ')' is binary
}

TEST(RpnEvaluate, JuxtaposedOperandsGiveTheFirstValue) {
    EXPECT_DOUBLE_EQ(eval("2 3"), 2.0);
    EXPECT_DOUBLE_EQ(eval("1e-3"), 1.0);
    EXPECT_DOUBLE_EQ(eval("1e-3", Vars().set('e', 5.0)), 1.0);
    EXPECT_DOUBLE_EQ(eval("1.5.25"), 1.5);
}

TEST(RpnEvaluate, CommaAndLoneDotReadAsZero) {
    EXPECT_DOUBLE_EQ(eval("3+,"), 3.0);
    EXPECT_DOUBLE_EQ(eval("3+."), 3.0);
    EXPECT_DOUBLE_EQ(eval(".5*4"), 2.0);
}

TEST(RpnEvaluate, DivisionByZeroFollowsFloatingPoint) {
    EXPECT_EQ(eval("1/0"), INFINITY);
    EXPECT_TRUE(std::isnan(eval("0/0")));
}

TEST(RpnEvaluate, ReadingLeavesTheSequenceReusable) {
    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    char text[] = "E*E";
    ASSERT_EQ(ZEMU_RPN_build(text, &rpn), 0);
    Vars vars;
    for (int k = 1; k <= 3; ++k) {
        vars.set('E', k);
        double value = 0;
        ASSERT_EQ(ZEMU_RPN_read(&rpn, &vars.list, &value), 0);
        EXPECT_DOUBLE_EQ(value, k * k);
    }
    ZEMU_free_RPN(&rpn);
    EXPECT_EQ(rpn.item, nullptr);
}

TEST(RpnTokenize, ScientificNotationAndLeadingMinusAreRewritten) {
    EXPECT_EQ(rpn_text("1e-3"), "1 e 3 -");  // number, variable e, minus, number
    EXPECT_EQ(rpn_text("-x"), "0 x -");
    ZEMU_RPN_token tokens;
    ZEMU_init_RPN_token(&tokens);
    char text[] = "-x";
    ASSERT_EQ(ZEMU_RPN_tokenize(text, &tokens), 0);
    ASSERT_EQ(tokens.size, 3);
    EXPECT_EQ(tokens.item[0].token_type, type_number);
    EXPECT_EQ(tokens.item[1].token_type, type_op);
    EXPECT_EQ(tokens.item[2].token_type, type_var);
    ZEMU_free_RPN_token(&tokens);
}

TEST(RpnReject, TextThatIsNotTokens) {
    EXPECT_EQ(rejection("3 $"), kUnparsable);
    EXPECT_EQ(rejection(""), kUnparsable);
    EXPECT_EQ(rejection("   "), kUnparsable);
    EXPECT_EQ(rejection("1\t+2"), kUnparsable);  // only ' ' counts as a space
    EXPECT_EQ(rejection("sin(x)%2"), kUnparsable);
}

TEST(RpnReject, OperatorsShortOfOperands) {
    for (const char* expr : {"+1", "E+", "-", "+x", "*", "2*", "(+)"}) EXPECT_EQ(rejection(expr), kUnparsable) << expr;
}

TEST(RpnReject, UnbalancedOrEmptyParentheses) {
    for (const char* expr : {"(E", "E)", "()", "((1)", "1)+(2", ")("}) EXPECT_EQ(rejection(expr), kUnparsable) << expr;
}

TEST(RpnReject, TokenLongerThanNinetyNineCharacters) {
    EXPECT_DOUBLE_EQ(eval(std::string(99, '1') + "*0"), 0.0);
    EXPECT_EQ(rejection(std::string(100, '1')), "Error: MAX_TOKEN_SIZE exceeded in ZEMU_RPN_tokenize()\n");
}

TEST(RpnReject, HandMadeSequenceShortOfOperandsIsRefusedOnRead) {
    ZEMU_RPN_token_item items[2];
    items[0].token_type = type_number;
    items[0].d = 1.0;
    items[1].token_type = type_op;
    items[1].c = '+';
    ZEMU_RPN_token rpn = {2, 2, items};
    Vars vars;
    double value = 0;
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_RPN_read(&rpn, &vars.list, &value), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Invalid input to ZEMU_RPN_read()\n");
}

TEST(RpnVariables, LettersMapToDistinctSlots) {
    Vars vars;
    vars.set('A', 1).set('Z', 2).set('a', 3).set('z', 4);
    EXPECT_EQ(vars.list.value[0], 1);
    EXPECT_EQ(vars.list.value[25], 2);
    EXPECT_EQ(vars.list.value[26], 3);
    EXPECT_EQ(vars.list.value[51], 4);
    double v = 0;
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_store_variable_value(&vars.list, '[', 1.0), 1);
    EXPECT_EQ(ZEMU_get_variable_value(&vars.list, '1', &v), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Invalid variable name for ZEMU_store_variable_value\n"
              "Error: Invalid variable name for ZEMU_get_variable_value\n");
}

TEST(RpnStacks, CharStackGrowsGeometricallyAndReleasesWhenEmpty) {
    ZEMU_char_stack stack;
    ZEMU_init_char_stack(&stack);
    for (char c : std::string("abc")) ASSERT_EQ(ZEMU_push_char_stack(&stack, c), 0);
    EXPECT_EQ(stack.size, 3);
    EXPECT_EQ(stack.cap, 4);
    char c = 0;
    for (char want : std::string("cba")) {
        ASSERT_EQ(ZEMU_pop_char_stack(&stack, &c), 0);
        EXPECT_EQ(c, want);
    }
    EXPECT_EQ(stack.item, nullptr);
    EXPECT_EQ(stack.cap, 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_pop_char_stack(&stack, &c), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Reached bottom of char stack\n");
}
