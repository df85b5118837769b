// Expression evaluator: precedence rules, the sequences they build, rejections and evaluation.
#include <cstring>

#include "ZEMU-rpn.h"
#include "fixtures.h"

namespace {

// Builds `expr` and gives its sequence written out (e.g. "8 4 2 / /") and its value with
// x = 0.25, y = 0.1, E = 3, X = 2, a = 5 (other letters 0), or "!" and the message of a refusal.
std::string build_and_read(std::string expr) {
    ZEMU_variable_list list;
    memset(&list, 0, sizeof list);
    for (auto v : {std::make_pair('x', 0.25), {'y', 0.1}, {'E', 3.0}, {'X', 2.0}, {'a', 5.0}})
        ZEMU_store_variable_value(&list, v.first, v.second);
    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    int status = 0;
    const std::string err = fx::stderr_of([&] { status = ZEMU_RPN_build(&expr[0], &rpn); });
    if (status != 0) return rpn.item == nullptr && rpn.size == 0 ? "!" + err : "not released";
    std::string seq = "[";
    char buf[32];
    for (int i = 0; i < rpn.size; ++i) {
        if (rpn.item[i].token_type == type_number) snprintf(buf, sizeof buf, "%g", rpn.item[i].d);
        else snprintf(buf, sizeof buf, "%c", rpn.item[i].c);
        seq += (i ? " " : "") + std::string(buf);
    }
    double value = NAN, again = NAN;
    EXPECT_EQ(ZEMU_RPN_read(&rpn, &list, &value), 0) << expr;
    ZEMU_RPN_read(&rpn, &list, &again);  // reading leaves the sequence reusable
    EXPECT_EQ(value == again || std::isnan(value), true) << expr;
    ZEMU_free_RPN(&rpn);
    snprintf(buf, sizeof buf, "%.10g", value);
    return seq + "] " + buf;
}

}  // namespace

TEST(Rpn, ExpressionsOfTheReferenceTableBuildAndEvaluateAsListed) {
    int cases = 0;
    for (const std::string& line : fx::lines_of(zemu_test::slurp(zemu_test::data_file("grid/expressions.txt")))) {
        const size_t arrow = line.find(" => ");
        if (line.empty() || line[0] == '#' || arrow == std::string::npos) continue;
        const std::string expr = line.substr(0, arrow), want = line.substr(arrow + 4), got = build_and_read(expr);
        if (want[0] == '!') EXPECT_EQ(got, want + "\n") << "'" << expr << "'";
        else if (want[0] == '[') EXPECT_EQ(got.substr(0, want.size()), want) << expr;
        else if (want == "nan") EXPECT_TRUE(std::isnan(std::stod(got.substr(got.find("] ") + 2)))) << got;
        else EXPECT_EQ(got.substr(got.find("] ") + 2), want) << expr;
        cases++;
    }
    EXPECT_EQ(cases, 38);
}

TEST(Rpn, HandMadeSequencesShortOfOperandsAndBadVariablesAreRefused) {
    ZEMU_RPN_token_item items[2] = {};
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
