// Timing of the heavy stages on generated input. Each case is a function that
// prepares its own data, times the stage and prints one line; add cases to
// the table in main.
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ZEMU-cube.h"

namespace {

double seconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Appends v as "%10.6f\n" would print it (|v| < 1000), without printf.
char* put_fixed6(char* out, double v)
{
    char digits[32];
    long long micro = llround(fabs(v) * 1e6);
    bool negative = v < 0 && micro != 0;
    int n = 0;
    for (int d = 0; d < 6; d++, micro /= 10) digits[n++] = static_cast<char>('0' + micro % 10);
    digits[n++] = '.';
    do {
        digits[n++] = static_cast<char>('0' + micro % 10);
        micro /= 10;
    } while (micro > 0);
    if (negative) digits[n++] = '-';
    for (int pad = n; pad < 10; pad++) *out++ = ' ';
    while (n > 0) *out++ = digits[--n];
    *out++ = '\n';
    return out;
}

// Writes an n x n x n cube file in the program's one-value-per-line format:
// a smooth periodic landscape with three wells per axis plus a little ripple.
bool write_landscape_cube(const std::string& path, int n)
{
    FILE* f = fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const double step_bohr = 10.0 / n / 0.529177249;  // a 10 Angstrom cubic cell
    fprintf(f, "Generated landscape\n  Na1+\n    1    0.000000    0.000000    0.000000\n");
    fprintf(f, "%5d %11.6f %11.6f %11.6f\n", n, step_bohr, 0.0, 0.0);
    fprintf(f, "%5d %11.6f %11.6f %11.6f\n", n, 0.0, step_bohr, 0.0);
    fprintf(f, "%5d %11.6f %11.6f %11.6f\n", n, 0.0, 0.0, step_bohr);
    fprintf(f, "   11    0.000000    0.000000    0.000000    0.000000\n");

    std::vector<double> wave(n), ripple(n);
    for (int i = 0; i < n; i++) {
        wave[i] = cos(2.0 * M_PI * 3.0 * i / n);
        ripple[i] = 0.01 * sin(2.0 * M_PI * 17.0 * i / n);
    }
    std::vector<char> buffer(static_cast<size_t>(n) * 11 + 64);
    for (int i = 0; i < n; i++) {
        for (int j = 0; j < n; j++) {
            char* out = buffer.data();
            for (int k = 0; k < n; k++)
                out = put_fixed6(out, -1.5 + 0.4 * (wave[i] + wave[j] + wave[k]) + ripple[i] * ripple[k] * 50.0);
            if (fwrite(buffer.data(), 1, static_cast<size_t>(out - buffer.data()), f) !=
                static_cast<size_t>(out - buffer.data())) {
                fclose(f);
                return false;
            }
        }
    }
    return fclose(f) == 0;
}

std::string temp_path(const char* stem)
{
    const char* dir = getenv("TMPDIR");
    std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/" + stem + "XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    int fd = mkstemp(name.data());
    if (fd < 0) return "";
    close(fd);
    return name.data();
}

// Cube loading and processing as the driver does it with the sodium scaling active.
int bench_load_and_process_cube()
{
    const int n = 200;
    std::string path = temp_path("zemu_bench_cube_");
    if (path.empty()) {
        fprintf(stderr, "bench: cannot create a temporary file\n");
        return 1;
    }
    auto start = std::chrono::steady_clock::now();
    bool written = write_landscape_cube(path, n);
    double generate = seconds_since(start);
    if (!written) {
        fprintf(stderr, "bench: cannot write %s\n", path.c_str());
        remove(path.c_str());
        return 1;
    }

    ZEMU_cube cube;
    ZEMU_init_cube(&cube);
    cube.scaling = 1;
    char expression[] = "0.5695*E^(0.6946)";
    int status = ZEMU_parse_energy_scaling(&cube, expression);
    start = std::chrono::steady_clock::now();
    if (status == 0) status = ZEMU_load_cube(&path[0], &cube);
    if (status == 0) status = ZEMU_process_cube(&cube);
    double elapsed = seconds_since(start);
    remove(path.c_str());
    if (status != 0) {
        fprintf(stderr, "bench: loading the generated cube failed\n");
        ZEMU_free_cube(&cube);
        return 1;
    }
    double points = static_cast<double>(n) * n * n;
    printf("cube load+process %dx%dx%d (scaling 0.5695*E^(0.6946)): %.3f s, %.3g points/s "
           "(file generation %.3f s)\n",
           n, n, n, elapsed, points / elapsed, generate);
    ZEMU_free_cube(&cube);
    return 0;
}

}  // namespace

int main()
{
    struct Case {
        const char* name;
        int (*run)();
    } cases[] = {
        {"cube load+process", bench_load_and_process_cube},
    };
    int failures = 0;
    for (const Case& c : cases) {
        if (c.run() != 0) {
            fprintf(stderr, "bench case failed: %s\n", c.name);
            failures++;
        }
    }
    return failures == 0 ? 0 : 1;
}
