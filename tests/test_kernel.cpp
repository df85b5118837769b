// The library's shared pieces: the growth rule, the periodic wrap, the cell
// metric, and every growable list when an allocation fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZEMU-kernel.h"
#include "ZEMU.h"

namespace {

using zemu_kernel::fail_allocation_countdown;

TEST(Kernel, GrowthRuleFromEmptyDoublesAndCoversLargeRequests) {
    struct Row {
        int cap, count, expected;
    };
    const Row rows[] = {
        {0, 1, 1},   {0, 7, 7},   {1, 2, 2},  {2, 3, 4},  {4, 5, 8},
        {3, 11, 11},  // a request past twice the capacity gets the request
        {INT_MAX / 2 + 1, INT_MAX / 2 + 2, INT_MAX / 2 + 2},  // doubling would leave int
    };
    for (const Row& r : rows)
        EXPECT_EQ(zemu_kernel::grown_capacity(r.cap, r.count), r.expected) << r.cap << " -> " << r.count;

    // One append at a time from empty: the capacity is the smallest power of two that holds the list.
    int* array = nullptr;
    int cap = 0;
    for (int count = 1; count <= 100; count++) {
        ASSERT_EQ(zemu_kernel::grow_array(&array, count, &cap), 0);
        int power = 1;
        while (power < count) power *= 2;
        EXPECT_EQ(cap, power);
        array[count - 1] = count;
    }
    free(array);
}

TEST(Kernel, WrapAgreesWithTheModuloExceptAtNegativeMultiples) {
    for (int n : {1, 2, 5, 24}) {
        for (int p = -5 * n; p <= 5 * n; p++) {
            int modulo = ((p % n) + n) % n;
            // -2n, -3n ... map onto n (one past the last plane); reading the grid takes plane 0.
            int expected = (p <= -2 * n && p % n == 0) ? n : modulo;
            EXPECT_EQ(zemu_kernel::wrap_index(p, n), expected) << p << " on " << n;
            EXPECT_EQ(zemu_kernel::wrap_onto_grid(p, n), modulo) << p << " on " << n;
        }
    }
    EXPECT_EQ(zemu_kernel::wrap_index(INT_MIN, 7), 7 - static_cast<int>(-(long long)INT_MIN % 7));
    EXPECT_EQ(zemu_kernel::wrap_index(5, 0), 0);
}

TEST(Kernel, MetricLengthIsTheCartesianLength) {
    // A triclinic cell as vectors, and its metric coefficients.
    const double a[3] = {5.1, 0.0, 0.0}, b[3] = {1.3, 6.2, 0.0}, c[3] = {-0.7, 0.9, 7.4};
    auto dot = [](const double* u, const double* v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; };
    struct Cell {
        double d1, d2, d3, d4, d5, d6;
    } cell{dot(a, a), dot(b, b), dot(c, c), 2 * dot(a, b), 2 * dot(b, c), 2 * dot(a, c)};
    const double steps[][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0.25, -0.5, 0.75}, {-1.5, 2.0, 0.1}};
    for (const auto& s : steps) {
        double v[3];
        for (int k = 0; k < 3; k++) v[k] = s[0] * a[k] + s[1] * b[k] + s[2] * c[k];
        EXPECT_NEAR(zemu_kernel::metric_length(&cell, s[0], s[1], s[2]), std::sqrt(dot(v, v)), 1e-12);
    }
}

TEST(Kernel, BothWordSplittersCutWhereStrtokCuts) {
    const char* lines[] = {"", "   ", "one", "  two  words ", "tab\tinside a word", "line end\r\n", "a b c d e f g h"};
    for (const char* text : lines) {
        std::vector<std::string> expected;
        std::string copy = text;
        for (char* w = strtok(&copy[0], " "); w != nullptr; w = strtok(nullptr, " ")) expected.push_back(w);
        EXPECT_EQ(zemu_kernel::split_words(text), expected) << text;
        for (int max_words : {1, 3, 100}) {
            std::string line = text;
            char* words[100];
            int n = zemu_kernel::split_words_in_place(&line[0], words, max_words);
            const size_t kept = std::min(expected.size(), static_cast<size_t>(max_words));
            ASSERT_EQ(static_cast<size_t>(n), kept) << text;
            for (size_t k = 0; k < kept; k++) EXPECT_EQ(words[k], expected[k]) << text;
        }
    }
}

// ---------------------------------------------------------------------------
// Allocation failure of the growable lists
// ---------------------------------------------------------------------------

// One growable list, on a fresh record: append(i) adds the i-th item (0 or 1),
// count() is the list length, holds(i) says whether item i is still there.
// The record is released when the object goes.
struct GrowableList {
    std::function<int(int)> append;
    std::function<int()> count;
    std::function<bool(int)> holds;
};

struct ListCase {
    const char* name;
    const char* message;  // what a failed growth writes on stderr
    bool by_one;          // grows by one item per append, not by doubling
    std::function<std::shared_ptr<GrowableList>()> make;
};

template <typename Record>
std::shared_ptr<Record> record(void (*init)(Record*), void (*release)(Record*)) {
    Record* r = new Record;
    init(r);
    return std::shared_ptr<Record>(r, [release](Record* p) {
        release(p);
        delete p;
    });
}

// An append through a bare growth function, as its callers do it: count up,
// grow, count back down when growing fails.
int count_up_and_grow(int* count, const std::function<int()>& grow) {
    ++*count;
    if (grow() == 0) return 0;
    --*count;
    return 1;
}

void init_cube_points(ZEMU_cube* cube) { ZEMU_init_cube_stationary_points(cube); }
void free_cube_points(ZEMU_cube* cube) { ZEMU_free_cube_stationary_points(cube); }
void init_cif(ZEMU_cif* cif) { ZEMU_init_cif(cif); }
void free_cif(ZEMU_cif* cif) { ZEMU_free_cif(cif); }
void init_minimum(ZEMU_minima* m) {
    m->total_ions = 0;
    m->total_ions_cap = 0;
    m->ion = nullptr;
}
void free_minimum(ZEMU_minima* m) { free(m->ion); }
void init_number_stack(ZEMU_RPN_number_stack* s) {
    s->size = 0;
    s->cap = 0;
    s->item = nullptr;
}
void free_number_stack(ZEMU_RPN_number_stack* s) { free(s->item); }

std::vector<ListCase> list_cases() {
    static char label[] = "Li1";
    std::vector<ListCase> cases;
    cases.push_back({"asymmetric unit", "Error: Memory allocation problem\n", false, [] {
        auto a = record(ZEMU_init_asymmetric_unit, ZEMU_free_asymmetric_unit);
        return std::make_shared<GrowableList>(GrowableList{
            [a](int i) { return ZEMU_add_asymmetric_unit_grid(a.get(), i, -i, 2 * i); },
            [a] { return a->total; },
            [a](int i) { return a->grid[i].x == i && a->grid[i].y == -i && a->grid[i].z == 2 * i; }});
    }});
    cases.push_back({"asymmetric unit, low energies", "Error: Memory allocation problem\n", false, [] {
        auto a = record(ZEMU_init_asymmetric_unit, ZEMU_free_asymmetric_unit);
        return std::make_shared<GrowableList>(GrowableList{
            [a](int i) { return ZEMU_add_asymmetric_unit_sgrid(a.get(), i, i, i); }, [a] { return a->stotal; },
            [a](int i) { return a->sgrid[i].z == i; }});
    }});
    cases.push_back({"operator stack", "Error: Memory allocation problem in ZEMU_alloc_char_stack()\n", false, [] {
        auto s = record(ZEMU_init_char_stack, ZEMU_free_char_stack);
        return std::make_shared<GrowableList>(GrowableList{
            [s](int i) { return ZEMU_push_char_stack(s.get(), static_cast<char>('a' + i)); }, [s] { return s->size; },
            [s](int i) { return s->item[i] == 'a' + i; }});
    }});
    cases.push_back({"token list", "Error: Memory allocation problem in ZEMU_alloc_RPN_token()\n", false, [] {
        auto t = record(ZEMU_init_RPN_token, ZEMU_free_RPN_token);
        return std::make_shared<GrowableList>(GrowableList{
            [t](int i) {
                if (count_up_and_grow(&t->size, [&] { return ZEMU_alloc_RPN_token(t.get()); })) return 1;
                t->item[i].d = i;
                return 0;
            },
            [t] { return t->size; }, [t](int i) { return t->item[i].d == i; }});
    }});
    cases.push_back({"wrapping clusters", "Error: Memory allocation problem in ZEMU_alloc_hk_wrap()\n", false, [] {
        auto hk = record(ZEMU_init_hk_grid, ZEMU_free_hk_grid);
        return std::make_shared<GrowableList>(GrowableList{
            [hk](int i) {
                if (count_up_and_grow(&hk->wrap_total, [&] { return ZEMU_alloc_hk_wrap(hk.get()); })) return 1;
                hk->wrap[i].total = i;
                return 0;
            },
            [hk] { return hk->wrap_total; }, [hk](int i) { return hk->wrap[i].total == i; }});
    }});
    cases.push_back({"structure sites", "Error: Memory allocation problem\n", false, [] {
        auto cif = record(init_cif, free_cif);
        return std::make_shared<GrowableList>(GrowableList{
            [cif](int i) { return ZEMU_add_cif_site(cif.get(), label, label, 0.1 * i, 0, 0, 1, 'a', 1.0, 1.0); },
            [cif] { return cif->site_no; }, [cif](int i) { return cif->site[i].x == 0.1 * i; }});
    }});
    cases.push_back({"structure types", "Error: Memory allocation problem\n", false, [] {
        auto cif = record(init_cif, free_cif);
        return std::make_shared<GrowableList>(GrowableList{
            [cif](int i) {
                int flag = 0;
                return ZEMU_add_cif_type(cif.get(), label, i, &flag);
            },
            [cif] { return cif->type_no; }, [cif](int i) { return cif->type[i].ox == i; }});
    }});
    cases.push_back({"minima", "Error: Memory allocation problem in ZEMU_alloc_cube_minima_point()\n", false, [] {
        auto cube = record(init_cube_points, free_cube_points);
        return std::make_shared<GrowableList>(GrowableList{
            [cube](int i) { return ZEMU_add_cube_minima_point(cube.get(), i, 0, 0, i, 0, 0, -1.0, 0); },
            [cube] { return cube->total_minima; }, [cube](int i) { return cube->minima[i].x == i; }});
    }});
    cases.push_back({"saddle points", "Error: Memory allocation problem in ZEMU_alloc_cube_saddle_point()\n", false, [] {
        auto cube = record(init_cube_points, free_cube_points);
        return std::make_shared<GrowableList>(GrowableList{
            [cube](int i) { return ZEMU_add_cube_saddle_point(cube.get(), 0, i, 0, 0.5, 0); },
            [cube] { return cube->total_saddle; }, [cube](int i) { return cube->saddle[i].y == i; }});
    }});
    cases.push_back({"ions at a minimum", "Error: Memory allocation problem in ZEMU_alloc_cube_minima_ions()\n", false, [] {
        auto m = record(init_minimum, free_minimum);
        return std::make_shared<GrowableList>(GrowableList{
            [m](int i) { return ZEMU_add_cube_minima_ion(m.get(), label, 0.5 * i); }, [m] { return m->total_ions; },
            [m](int i) { return m->ion[i].occ == 0.5 * i; }});
    }});
    cases.push_back({"graph edges", "Error: Memory allocation problem in ZEMU_add_edge()\n", true, [] {
        auto g = record(ZEMU_init_graph, ZEMU_free_graph);
        return std::make_shared<GrowableList>(GrowableList{
            [g](int i) { return ZEMU_add_edge(g.get(), i, i + 1, 0.5 * i); }, [g] { return g->total_edge; },
            [g](int i) { return g->edge[i].a == i && g->edge[i].w == 0.5 * i; }});
    }});
    cases.push_back({"number stack", "Error: Memory allocation problem in ZEMU_RPN_push_number_stack()\n", true, [] {
        auto s = record(init_number_stack, free_number_stack);
        return std::make_shared<GrowableList>(GrowableList{
            [s](int i) { return ZEMU_RPN_push_number_stack(s.get(), 2.0 * i); }, [s] { return s->size; },
            [s](int i) { return s->item[i] == 2.0 * i; }});
    }});
    return cases;
}

TEST(KernelAllocation, EveryGrowableListSurvivesAFailedGrowth) {
    // Appending one item at a time from empty, the doubling lists allocate at
    // items 0, 1, 2, 4, 8, the others at every item.
    const int failing_item[] = {0, 1, 2, 4, 8};
    for (const ListCase& c : list_cases()) {
        for (int nth = 1; nth <= 5; nth++) {
            SCOPED_TRACE(std::string(c.name) + ", allocation " + std::to_string(nth));
            std::shared_ptr<GrowableList> list = c.make();
            const int fails_at = c.by_one ? nth - 1 : failing_item[nth - 1];
            fail_allocation_countdown = nth;
            for (int i = 0; i < fails_at; i++) ASSERT_EQ(list->append(i), 0);
            testing::internal::CaptureStderr();
            int status = list->append(fails_at);
            std::string err = testing::internal::GetCapturedStderr();
            fail_allocation_countdown = 0;
            EXPECT_EQ(status, 1);
            EXPECT_EQ(err, c.message);
            // The list is as it was, and grows again once memory is back.
            ASSERT_EQ(list->count(), fails_at);
            for (int i = 0; i < fails_at; i++) EXPECT_TRUE(list->holds(i)) << i;
            ASSERT_EQ(list->append(fails_at), 0);
            EXPECT_EQ(list->count(), fails_at + 1);
            EXPECT_TRUE(list->holds(fails_at));
        }
    }
}

// The appenders have no failure result: a failed growth ends the program.
void append_cellcross_failing_on_second_array() {
    ZEMU_cellcross_list list;
    ZEMU_init_cellcross_list(&list, 0);
    ZEMU_cellcross cc;
    ZEMU_assign_cellcross(&cc, 1, 2, 3);
    fail_allocation_countdown = 2;
    ZEMU_append_cellcross_list(&list, 0, cc);
}

void append_allpath_failing_on_growth() {
    ZEMU_allpath_list list;
    ZEMU_init_allpath_list(&list, 1);
    ZEMU_allpath ap{};
    ZEMU_append_allpath_list(&list, ap);
    fail_allocation_countdown = 1;
    ZEMU_append_allpath_list(&list, ap);
}

TEST(KernelAllocation, AppendersWithoutAResultEndTheProgram) {
    const char* message = "Error: Memory allocation problem appending to list";
    EXPECT_EXIT(append_cellcross_failing_on_second_array(), testing::ExitedWithCode(1), message);
    EXPECT_EXIT(append_allpath_failing_on_growth(), testing::ExitedWithCode(1), message);
}

}  // namespace
