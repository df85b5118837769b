// Built-in data tables against facts of the source files.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ZEMU-data.h"

TEST(BuiltInData, BondValencePairsMatchTheTable)
{
    EXPECT_EQ(ZEMU_data_bv_pair_count(), 591);
    // Rows as they stand in data/bv_params.csv.
    const ZEMU_bv_pair* agbr = ZEMU_data_find_bv_pair("Ag", 1, "Br", -1);
    ASSERT_NE(agbr, nullptr);
    EXPECT_DOUBLE_EQ(agbr->r0, 2.03699);
    EXPECT_DOUBLE_EQ(agbr->alpha, 2.12766);
    EXPECT_DOUBLE_EQ(agbr->r_min, 2.614612);
    EXPECT_DOUBLE_EQ(agbr->d0, 0.384726);
    EXPECT_EQ(agbr, ZEMU_data_bv_pairs());
    const ZEMU_bv_pair* li = ZEMU_data_find_bv_pair("Li", 1, "O", -2);
    ASSERT_NE(li, nullptr);
    EXPECT_GT(li->alpha, 0.0);
    // States must match exactly; the sign belongs to the anion.
    EXPECT_EQ(ZEMU_data_find_bv_pair("Li", 2, "O", -2), nullptr);
    EXPECT_EQ(ZEMU_data_find_bv_pair("Li", 1, "O", 2), nullptr);
    EXPECT_EQ(ZEMU_data_find_bv_pair("li", 1, "O", -2), nullptr);
    int negative = 0;
    for (int i = 0; i < ZEMU_data_bv_pair_count(); i++)
        if (ZEMU_data_bv_pairs()[i].alpha < 0) negative++;
    EXPECT_EQ(negative, 34);
}

TEST(BuiltInData, ElementsHavePeriodAndRadius)
{
    EXPECT_EQ(ZEMU_data_element_count(), 96);
    const ZEMU_element* fe = ZEMU_data_find_element("Fe");
    ASSERT_NE(fe, nullptr);
    EXPECT_EQ(fe->z, 26);
    EXPECT_EQ(fe->n, 4);
    const ZEMU_element* he = ZEMU_data_find_element("He");
    ASSERT_NE(he, nullptr);
    EXPECT_EQ(he->n, 0);  // no value in the table
    EXPECT_EQ(ZEMU_data_find_element("Xx"), nullptr);
    EXPECT_EQ(std::string(ZEMU_data_elements()[95].symbol), "Cm");
}

TEST(BuiltInData, ParameterFileIsBuiltInWhole)
{
    unsigned long size = 0;
    const char* text = ZEMU_data_bv_database_text(&size);
    ASSERT_GT(size, 0ul);
    EXPECT_EQ(strlen(text), size);
    EXPECT_EQ(std::string(text, 2), "# ");
    EXPECT_NE(strstr(text, "\nAg 1 Br -1 2.03699 0.470000 3.418 6.3658\n"), nullptr);
}
