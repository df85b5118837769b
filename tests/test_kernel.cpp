// The library's shared pieces: the growth rule, the periodic wrap, the cell
// metric, and every growable list when an allocation fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
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

// One growable list of a record of type R: append item i (0 or 1), the list's
// length, and whether item i holds what was appended.
template <typename R>
struct ListOps {
    int (*append)(R*, int);
    int (*count)(R*);
    bool (*holds)(R*, int);
};

// Appends to a fresh record, with its 1st ... 5th allocation failing in turn:
// the failing append returns 1 and writes `message`, the list keeps its items
// and grows again once memory is back. Appending one item at a time from
// empty, a doubling list allocates at items 0, 1, 2, 4, 8, the others
// (by_one) at every item.
template <typename R, void (*Init)(R*), void (*Free)(R*)>
void check_failed_growth(const char* name, const char* message, bool by_one, ListOps<R> ops) {
    const int doubling_item[] = {0, 1, 2, 4, 8};
    for (int nth = 1; nth <= 5; nth++) {
        SCOPED_TRACE(std::string(name) + ", allocation " + std::to_string(nth));
        zemu_kernel::Scoped<R, Init, Free> list;
        const int fails_at = by_one ? nth - 1 : doubling_item[nth - 1];
        fail_allocation_countdown = nth;
        for (int i = 0; i < fails_at; i++) ASSERT_EQ(ops.append(list.get(), i), 0);
        testing::internal::CaptureStderr();
        int status = ops.append(list.get(), fails_at);
        std::string err = testing::internal::GetCapturedStderr();
        fail_allocation_countdown = 0;
        EXPECT_EQ(status, 1);
        EXPECT_EQ(err, message);
        ASSERT_EQ(ops.count(list.get()), fails_at);
        for (int i = 0; i < fails_at; i++) EXPECT_TRUE(ops.holds(list.get(), i)) << i;
        ASSERT_EQ(ops.append(list.get(), fails_at), 0);
        EXPECT_EQ(ops.count(list.get()), fails_at + 1);
        EXPECT_TRUE(ops.holds(list.get(), fails_at));
    }
}

// Callers of a bare growth function count up, grow, and count back down when
// growing failed (grown != 0): 1 then, else 0.
int count_back_if_failed(int* count, int grown) {
    if (grown == 0) return 0;
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
char label[] = "Li1";

TEST(KernelAllocation, EveryGrowableListSurvivesAFailedGrowth) {
    using Asym = ZEMU_asymmetric_unit;
    check_failed_growth<Asym, ZEMU_init_asymmetric_unit, ZEMU_free_asymmetric_unit>(
        "asymmetric unit", "Error: Memory allocation problem\n", false,
        {[](Asym* a, int i) { return ZEMU_add_asymmetric_unit_grid(a, i, -i, 2 * i); }, [](Asym* a) { return a->total; },
         [](Asym* a, int i) { return a->grid[i].x == i && a->grid[i].y == -i && a->grid[i].z == 2 * i; }});
    check_failed_growth<Asym, ZEMU_init_asymmetric_unit, ZEMU_free_asymmetric_unit>(
        "asymmetric unit, low energies", "Error: Memory allocation problem\n", false,
        {[](Asym* a, int i) { return ZEMU_add_asymmetric_unit_sgrid(a, i, i, i); }, [](Asym* a) { return a->stotal; },
         [](Asym* a, int i) { return a->sgrid[i].z == i; }});
    using Ops = ZEMU_char_stack;
    check_failed_growth<Ops, ZEMU_init_char_stack, ZEMU_free_char_stack>(
        "operator stack", "Error: Memory allocation problem in ZEMU_alloc_char_stack()\n", false,
        {[](Ops* s, int i) { return ZEMU_push_char_stack(s, static_cast<char>('a' + i)); },
         [](Ops* s) { return s->size; }, [](Ops* s, int i) { return s->item[i] == 'a' + i; }});
    using Tokens = ZEMU_RPN_token;
    check_failed_growth<Tokens, ZEMU_init_RPN_token, ZEMU_free_RPN_token>(
        "token list", "Error: Memory allocation problem in ZEMU_alloc_RPN_token()\n", false,
        {[](Tokens* t, int i) {
             t->size++;
             if (count_back_if_failed(&t->size, ZEMU_alloc_RPN_token(t))) return 1;
             t->item[i].d = i;
             return 0;
         },
         [](Tokens* t) { return t->size; }, [](Tokens* t, int i) { return t->item[i].d == i; }});
    using Hk = ZEMU_hk_grid;
    check_failed_growth<Hk, ZEMU_init_hk_grid, ZEMU_free_hk_grid>(
        "wrapping clusters", "Error: Memory allocation problem in ZEMU_alloc_hk_wrap()\n", false,
        {[](Hk* hk, int i) {
             hk->wrap_total++;
             if (count_back_if_failed(&hk->wrap_total, ZEMU_alloc_hk_wrap(hk))) return 1;
             hk->wrap[i].total = i;
             return 0;
         },
         [](Hk* hk) { return hk->wrap_total; }, [](Hk* hk, int i) { return hk->wrap[i].total == i; }});
    check_failed_growth<ZEMU_cif, init_cif, free_cif>(
        "structure sites", "Error: Memory allocation problem\n", false,
        {[](ZEMU_cif* c, int i) { return ZEMU_add_cif_site(c, label, label, 0.1 * i, 0, 0, 1, 'a', 1.0, 1.0); },
         [](ZEMU_cif* c) { return c->site_no; }, [](ZEMU_cif* c, int i) { return c->site[i].x == 0.1 * i; }});
    check_failed_growth<ZEMU_cif, init_cif, free_cif>(
        "structure types", "Error: Memory allocation problem\n", false,
        {[](ZEMU_cif* c, int i) {
             int flag = 0;
             return ZEMU_add_cif_type(c, label, i, &flag);
         },
         [](ZEMU_cif* c) { return c->type_no; }, [](ZEMU_cif* c, int i) { return c->type[i].ox == i; }});
    check_failed_growth<ZEMU_cube, init_cube_points, free_cube_points>(
        "minima", "Error: Memory allocation problem in ZEMU_alloc_cube_minima_point()\n", false,
        {[](ZEMU_cube* c, int i) { return ZEMU_add_cube_minima_point(c, i, 0, 0, i, 0, 0, -1.0, 0); },
         [](ZEMU_cube* c) { return c->total_minima; }, [](ZEMU_cube* c, int i) { return c->minima[i].x == i; }});
    check_failed_growth<ZEMU_cube, init_cube_points, free_cube_points>(
        "saddle points", "Error: Memory allocation problem in ZEMU_alloc_cube_saddle_point()\n", false,
        {[](ZEMU_cube* c, int i) { return ZEMU_add_cube_saddle_point(c, 0, i, 0, 0.5, 0); },
         [](ZEMU_cube* c) { return c->total_saddle; }, [](ZEMU_cube* c, int i) { return c->saddle[i].y == i; }});
    check_failed_growth<ZEMU_minima, init_minimum, free_minimum>(
        "ions at a minimum", "Error: Memory allocation problem in ZEMU_alloc_cube_minima_ions()\n", false,
        {[](ZEMU_minima* m, int i) { return ZEMU_add_cube_minima_ion(m, label, 0.5 * i); },
         [](ZEMU_minima* m) { return m->total_ions; }, [](ZEMU_minima* m, int i) { return m->ion[i].occ == 0.5 * i; }});
    check_failed_growth<ZEMU_graph, ZEMU_init_graph, ZEMU_free_graph>(
        "graph edges", "Error: Memory allocation problem in ZEMU_add_edge()\n", true,
        {[](ZEMU_graph* g, int i) { return ZEMU_add_edge(g, i, i + 1, 0.5 * i); },
         [](ZEMU_graph* g) { return g->total_edge; },
         [](ZEMU_graph* g, int i) { return g->edge[i].a == i && g->edge[i].w == 0.5 * i; }});
    using Numbers = ZEMU_RPN_number_stack;
    check_failed_growth<Numbers, init_number_stack, free_number_stack>(
        "number stack", "Error: Memory allocation problem in ZEMU_RPN_push_number_stack()\n", true,
        {[](Numbers* s, int i) { return ZEMU_RPN_push_number_stack(s, 2.0 * i); }, [](Numbers* s) { return s->size; },
         [](Numbers* s, int i) { return s->item[i] == 2.0 * i; }});
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
