// Small pieces shared by the library's sources: list growth (with the hook
// that lets tests fail an allocation), the periodic wrap of grid indices, the
// cell metric, plateau means, the image of a minimum, word splitting, the
// "no value yet" bound and scoped handles for files and records. Internal:
// not installed. The hook is read by every allocation here and written only
// by tests, so worker threads share it safely.
#ifndef ZEMU_KERNEL_H
#define ZEMU_KERNEL_H

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ZEMU-path.h"
#include "ZEMU-graph.h"

namespace zemu_kernel {

// Bound a smallest-distance, -weight or -deviation search starts from, and the
// distance of an empty nearest-neighbour entry: above any real value.
constexpr double kNoValue = 999999.0;

// ---------------------------------------------------------------------------
// Allocation
// ---------------------------------------------------------------------------

// Test hook: when positive, counts the allocations of resize_array and
// grow_array down; the one that brings it to 0 fails. Only tests set it.
extern int fail_allocation_countdown;

// True when the hook makes this allocation fail.
inline bool allocation_refused() {
    return fail_allocation_countdown > 0 && --fail_allocation_countdown == 0;
}

// Capacity for `count` elements of a full list of capacity `cap`: the count
// when the list is empty, else twice the capacity, at least the count (the
// count alone once doubling leaves the int range).
inline int grown_capacity(int cap, int count) {
    if (cap <= 0) return count;
    long long doubled = 2LL * cap;
    if (doubled < count) doubled = count;
    if (doubled > INT_MAX) doubled = count;
    return static_cast<int>(doubled);
}

// Resizes a malloc'ed array to n elements; n <= 0 releases it. 0 on success;
// on failure 1, with the old block kept as it was.
template <typename T>
int resize_array(T** array, int n) {
    if (n <= 0) {
        free(*array);
        *array = nullptr;
        return 0;
    }
    if (allocation_refused()) return 1;
    T* resized = static_cast<T*>(realloc(*array, sizeof(T) * static_cast<size_t>(n)));
    if (resized == nullptr) return 1;
    *array = resized;
    return 0;
}

// A new malloc'ed array of n elements (zeroed when asked) in *array; n <= 0
// gives a null array. 0 on success; on failure 1, *array null. The test hook
// refuses it as it refuses resize_array.
template <typename T>
int allocate_array(T** array, size_t n, bool zeroed = false) {
    *array = nullptr;
    if (n == 0) return 0;
    if (allocation_refused()) return 1;
    *array = static_cast<T*>(zeroed ? calloc(n, sizeof(T)) : malloc(sizeof(T) * n));
    return *array == nullptr;
}

// Makes room for `count` elements in an array of capacity *cap (grown by
// grown_capacity). 0 on success; on failure 1, array and capacity kept.
template <typename T>
int grow_array(T** array, int count, int* cap) {
    if (count <= 0 || count <= *cap) return 0;
    int new_cap = grown_capacity(*cap, count);
    if (resize_array(array, new_cap)) return 1;
    *cap = new_cap;
    return 0;
}

// ---------------------------------------------------------------------------
// Periodic grid
// ---------------------------------------------------------------------------

// Index p wrapped onto an axis of n points. A negative whole multiple of the
// cell other than -n (-2n, -3n ...) gives n, one past the last plane; an axis
// without points gives 0.
inline int wrap_index(int p, int n) {
    if (p >= 0 && p < n) return p;
    if (n <= 0) return 0;
    long long lp = p;
    if (lp > 0) return static_cast<int>(lp % n);
    if (-lp == n) return 0;
    return static_cast<int>(n - ((-lp) % n));
}

// The wrap for reading the grid: the n of wrap_index is plane 0.
inline int wrap_onto_grid(int p, int n) {
    int w = wrap_index(p, n);
    return w == n ? 0 : w;
}

// Length (Angstrom) of the fractional step (du, dv, dw) in a cell with the
// metric coefficients d1..d6 of ZEMU_cube or ZEMU_cif.
template <typename Cell>
double metric_length(const Cell* cell, double du, double dv, double dw) {
    return sqrt(du * du * cell->d1 + dv * dv * cell->d2 + dw * dw * cell->d3 + du * dv * cell->d4 +
                dv * dw * cell->d5 + du * dw * cell->d6);
}

// Mean position of a plateau's points, each index divided by the count of its
// axis (1, 1, 1: grid steps; the grid's counts: fractions). An empty plateau
// gives NaN.
inline void plateau_mean(const ZEMU_same_energy_grid_list* plateau, int na, int nb, int nc, double mean[3]) {
    double sum[3] = {0.0, 0.0, 0.0};
    for (int p = 0; p < plateau->total; p++) {
        sum[0] += static_cast<double>(plateau->item[p].x) / na;
        sum[1] += static_cast<double>(plateau->item[p].y) / nb;
        sum[2] += static_cast<double>(plateau->item[p].z) / nc;
    }
    for (int k = 0; k < 3; k++) mean[k] = sum[k] / plateau->total;
}

// Unwrapped grid location of minimum m shifted by whole cells (p, q, r).
inline ZEMU_cubeloc minimum_image(const ZEMU_cube* cube, int m, int p, int q, int r) {
    const ZEMU_minima& mm = cube->minima[m];
    return ZEMU_cubeloc{mm.x + p * cube->a_grid, mm.y + q * cube->b_grid, mm.z + r * cube->c_grid};
}

// ---------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------

// The words of a line: the pieces between blanks (a run of blanks separates
// like one); other characters, line ends included, belong to the words.
inline std::vector<std::string> split_words(const std::string& line) {
    std::vector<std::string> words;
    size_t pos = 0;
    while (pos < line.size()) {
        size_t start = line.find_first_not_of(' ', pos);
        if (start == std::string::npos) break;
        size_t end = line.find(' ', start);
        if (end == std::string::npos) end = line.size();
        words.push_back(line.substr(start, end - start));
        pos = end;
    }
    return words;
}

// The same words cut out of the line in place, as strtok(line, " ") would:
// blanks after each stored word become '\0'. Stores at most max_words
// pointers into the line; returns how many.
inline int split_words_in_place(char* line, char** words, int max_words) {
    int n = 0;
    char* p = line;
    while (n < max_words) {
        while (*p == ' ') p++;
        if (*p == '\0') break;
        words[n++] = p;
        while (*p != ' ' && *p != '\0') p++;
        if (*p == '\0') break;
        *p++ = '\0';
    }
    return n;
}

// ---------------------------------------------------------------------------
// Scoped handles
// ---------------------------------------------------------------------------

// A FILE* closed when the handle goes out of scope.
class File {
public:
    explicit File(FILE* file = nullptr) : file_(file) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { close(); }
    FILE* get() const { return file_; }
    explicit operator bool() const { return file_ != nullptr; }
    // Closes now; the result of fclose (0 when there was nothing to close).
    int close() {
        int status = file_ != nullptr ? fclose(file_) : 0;
        file_ = nullptr;
        return status;
    }

private:
    FILE* file_;
};

// A record set up by its init function and released by its free function.
template <typename Record, void (*Init)(Record*), void (*Free)(Record*)>
class Scoped {
public:
    Scoped() { Init(&record_); }
    Scoped(const Scoped&) = delete;
    Scoped& operator=(const Scoped&) = delete;
    ~Scoped() { Free(&record_); }
    Record* get() { return &record_; }
    Record* operator->() { return &record_; }

private:
    Record record_;
};

using ScopedPathlib = Scoped<ZEMU_pathlib, ZEMU_init_pathlib, ZEMU_free_pathlib>;
using ScopedPlateau =
    Scoped<ZEMU_same_energy_grid_list, ZEMU_init_same_energy_grid_list, ZEMU_free_same_energy_grid_list>;

// The plateau_mean of the plateau around grid point (x, y, z). The flood's
// result: 0, or non-zero with mean untouched.
inline int plateau_mean_at(ZEMU_cube* cube, int x, int y, int z, int na, int nb, int nc, double mean[3]) {
    ScopedPlateau plateau;
    int status = ZEMU_find_same_energy_neighbours(cube, plateau.get(), x, y, z);
    if (status == 0) plateau_mean(plateau.get(), na, nb, nc, mean);
    return status;
}

// ---------------------------------------------------------------------------
// Path references (reaction pathways)
// ---------------------------------------------------------------------------

// Library index named by a signed path reference (k+1 forwards, -(k+1)
// backwards), -1 for 0 or one outside the library.
inline int reference_path_index(const ZEMU_pathlib* pathlib, int ref) {
    if (ref == 0) return -1;
    int k = ref > 0 ? ref - 1 : -(ref + 1);
    return k < pathlib->total_path ? k : -1;
}

// The clusters of one network analysis, released on scope exit.
using ScopedClusters = Scoped<ZEMU_cluster_list, ZEMU_init_path_clust, ZEMU_free_path_clust>;
// A graph of one walk or search, released on scope exit.
using ScopedGraph = Scoped<ZEMU_graph, ZEMU_init_graph, ZEMU_free_graph>;

}  // namespace zemu_kernel

#endif
