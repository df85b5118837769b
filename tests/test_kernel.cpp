// The library's shared pieces: the growth rule, the periodic wrap, the word
// splitters, and a whole analysis with each of its allocations refused in turn.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>
#include <sys/wait.h>
#include <unistd.h>

#include "ZEMU-kernel.h"
#include "ZEMU.h"
#include "fixtures.h"

namespace {

using zemu_kernel::fail_allocation_countdown;

TEST(Kernel, GrowthRuleFromEmptyDoublesAndCoversLargeRequests) {
    // A request past twice the capacity gets the request, also where doubling would leave int.
    EXPECT_EQ(zemu_kernel::grown_capacity(0, 7), 7);
    EXPECT_EQ(zemu_kernel::grown_capacity(3, 11), 11);
    EXPECT_EQ(zemu_kernel::grown_capacity(INT_MAX / 2 + 1, INT_MAX / 2 + 2), INT_MAX / 2 + 2);
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
    // A refused allocation keeps the array and its capacity.
    fail_allocation_countdown = 1;
    EXPECT_EQ(zemu_kernel::grow_array(&array, 129, &cap), 1);
    EXPECT_EQ(cap, 128);
    EXPECT_EQ(array[99], 100);
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
// Allocation failure anywhere in a whole analysis
// ---------------------------------------------------------------------------

// Reads l.cube and s.cif of the working directory and analyses them in memory as
// `zemu --cube l.cube --cif s.cif Li1+ --path` does, writing every file. 0, or 1
// when a step failed; *result filled on success.
int analyse(ZEMU_run_result* result) {
    ZEMU_cube cube;
    ZEMU_cif cif;
    ZEMU_init_cube(&cube);
    int status = ZEMU_init_cif(&cif);
    char cube_file[] = "l.cube", cif_file[] = "s.cif";
    ZEMU_run_options options;
    ZEMU_init_run_options(&options);
    snprintf(options.ion_type, sizeof options.ion_type, "Li1+");
    options.write_files = 1;
    status = status || ZEMU_load_cube(cube_file, &cube) || ZEMU_load_cif(cif_file, &cif) ||
             ZEMU_run_in_memory(&cube, &cif, &options, result);
    ZEMU_free_cube(&cube);
    ZEMU_free_cif(&cif);
    return status;
}

// The analysis with allocation nth refused, in a child process (a failed append
// without a failure result ends the program). Its exit code: 0 the reference result,
// 1 failed, 2 another result, -1 no normal exit, 23 a leak found under the sanitizer.
int analyse_refusing(int nth, const ZEMU_run_result& reference, std::string* err) {
    int fds[2];
    if (pipe(fds) != 0) return -1;
    fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        dup2(fds[1], STDERR_FILENO);
        fail_allocation_countdown = nth;
        ZEMU_run_result result;  // zeroed, padding included, by the run
        int status = analyse(&result);
        exit(status ? 1 : memcmp(&result, &reference, sizeof result) == 0 ? 0 : 2);
    }
    close(fds[1]);
    char buf[4096];
    for (ssize_t n; (n = read(fds[0], buf, sizeof buf)) > 0;) err->append(buf, (size_t)n);
    close(fds[0]);
    int ws = 0;
    return waitpid(pid, &ws, 0) == pid && WIFEXITED(ws) ? WEXITSTATUS(ws) : -1;
}

// Every allocation of the analysis in turn is refused: the analysis fails with the
// memory message or, where the failure is tolerated, gives the same result. A
// result that differs must come with the message (stages of the path analysis
// report a refused allocation and go on).
TEST(KernelAllocation, EveryRefusedAllocationOfAWholeAnalysisEndsItCleanly) {
    fx::InDir wd(true);
    wd.dir.write("l.cube", fx::landscape_cube());
    wd.dir.write("s.cif", fx::p1bar_cif());
    ZEMU_run_result reference;
    fail_allocation_countdown = INT_MAX;
    ASSERT_EQ(fx::stderr_of([&] { EXPECT_EQ(analyse(&reference), 0); }).find("Error"), std::string::npos);
    const int allocations = INT_MAX - fail_allocation_countdown;
    fail_allocation_countdown = 0;
    EXPECT_GT(allocations, 100);
    int failed = 0;
    for (int nth = 1; nth <= allocations; nth++) {
        std::string err;
        const int code = analyse_refusing(nth, reference, &err);
        const bool reported = err.find("Error: Memory allocation problem") != std::string::npos;
        ASSERT_TRUE(code == 0 || ((code == 1 || code == 2) && reported)) << "allocation " << nth << ": " << code << err;
        failed += code == 1;
    }
    EXPECT_GT(failed, allocations / 2);
}

}  // namespace
