// Built-in data tables against the source files they are built from, row by row.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <tuple>

#include "ZEMU-data.h"
#include "e2e_util.h"

TEST(BuiltInData, TablesHoldEveryRowOfTheirFiles) {
    std::istringstream pairs(zemu_test::slurp(zemu_test::source_file("data/bv_params.csv")));
    std::string line;
    std::getline(pairs, line);  // header
    int row = 0;
    for (char c[8], a[8]; std::getline(pairs, line); row++) {
        int cox, aox;
        double r0, alpha, r_min, d0;
        ASSERT_EQ(sscanf(line.c_str(), "%7[^,],%d,%7[^,],%d,%lf,%lf,%lf,%lf", c, &cox, a, &aox, &r0, &alpha, &r_min, &d0), 8);
        const ZEMU_bv_pair* p = ZEMU_data_find_bv_pair(c, cox, a, aox);
        ASSERT_EQ(p, ZEMU_data_bv_pairs() + row) << line;
        EXPECT_EQ(std::make_tuple(p->r0, p->alpha, p->r_min, p->d0), std::make_tuple(r0, alpha, r_min, d0)) << line;
    }
    EXPECT_EQ(ZEMU_data_bv_pair_count(), row);
    // States must match exactly, the sign belongs to the anion, symbols are case-sensitive.
    for (auto p : {std::make_tuple("Li", 2, -2), std::make_tuple("Li", 1, 2), std::make_tuple("li", 1, -2)})
        EXPECT_EQ(ZEMU_data_find_bv_pair(std::get<0>(p), std::get<1>(p), "O", std::get<2>(p)), nullptr);

    std::istringstream elements(zemu_test::slurp(zemu_test::source_file("data/elements.csv")));
    std::getline(elements, line);
    row = 0;
    for (char s[8]; std::getline(elements, line); row++) {
        int z, n = 0;
        ASSERT_GE(sscanf(line.c_str(), "%7[^,],%d,%d", s, &z, &n), 2);
        const ZEMU_element* e = ZEMU_data_find_element(s);
        ASSERT_EQ(e, ZEMU_data_elements() + row) << line;
        EXPECT_EQ(std::make_tuple(e->z, e->n, e->covalent_radius),
                  std::make_tuple(z, n, atof(line.substr(line.rfind(',') + 1).c_str()))) << line;
    }
    EXPECT_EQ(ZEMU_data_element_count(), row);
    EXPECT_EQ(ZEMU_data_find_element("Xx"), nullptr);

    unsigned long size = 0;
    const char* text = ZEMU_data_bv_database_text(&size);
    EXPECT_EQ(std::string(text, size), zemu_test::slurp(zemu_test::source_file("bin/database_binary.dat")));
}
