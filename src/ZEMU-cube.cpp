// Energy grid: cube file reader, grid model, 3-D arrays, periodic indexing,
// distances, energy scaling and cube export.
#include "ZEMU-cube.h"
#include "ZEMU-kernel.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// ---------------------------------------------------------------------------
// Line fields
// ---------------------------------------------------------------------------

// Powers of ten that are exact in a double.
const double kExactPow10[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// Leading number of the first field of the line piece [b, e), with the value
// strtod/atof would give for that field (0.0 when the piece has no field).
// Plain decimals of at most 15 significant digits and at most 22 decimals take
// the exact fast path (one correctly rounded division); everything else goes
// through strtod.
double leading_number_of_first_field(const char* b, const char* e)
{
    const char* p = b;
    while (p < e && *p == ' ') p++;  // field separators
    // strtod's own leading white space, inside the field
    while (p < e && (*p == '\t' || *p == '\n' || *p == '\v' || *p == '\f' || *p == '\r')) p++;
    if (p == e || *p == ' ' || *p == '\0') return 0.0;

    const char* q = p;
    bool negative = false;
    if (*q == '+' || *q == '-') {
        negative = (*q == '-');
        q++;
    }
    uint64_t mantissa = 0;
    int significant = 0;
    int digits = 0;
    int decimals = 0;
    while (q < e && *q >= '0' && *q <= '9') {
        if (mantissa != 0 || *q != '0') significant++;
        mantissa = mantissa * 10 + static_cast<uint64_t>(*q - '0');
        digits++;
        q++;
        if (significant > 15) break;
    }
    if (significant <= 15 && q < e && *q == '.') {
        q++;
        while (q < e && *q >= '0' && *q <= '9') {
            if (mantissa != 0 || *q != '0') significant++;
            mantissa = mantissa * 10 + static_cast<uint64_t>(*q - '0');
            digits++;
            decimals++;
            q++;
            if (significant > 15) break;
        }
    }
    bool fast = digits > 0 && significant <= 15 && decimals <= 22;
    if (fast && q < e && (*q == 'e' || *q == 'E' || *q == 'x' || *q == 'X' || (*q >= '0' && *q <= '9') || *q == '.'))
        fast = false;  // exponent, hex prefix or a digit run cut short: leave it to strtod
    if (fast) {
        // mantissa < 10^15 < 2^53 and 10^decimals are exact, so the quotient is
        // the correctly rounded value, as strtod's is.
        double value = static_cast<double>(mantissa) / kExactPow10[decimals];
        return negative ? -value : value;
    }

    char field[ZEMU_CUBE_LINE_SIZE];
    size_t n = 0;
    while (p + n < e && p[n] != ' ' && p[n] != '\0' && n < sizeof(field) - 1) {
        field[n] = p[n];
        n++;
    }
    field[n] = '\0';
    return strtod(field, nullptr);
}

// Hands out the same pieces fgets(buffer, ZEMU_CUBE_LINE_SIZE, stream) would:
// at most ZEMU_CUBE_LINE_SIZE - 1 characters, up to and including a '\n'.
// Reads the stream in large blocks so that a piece costs no library call.
class CubeLineReader {
public:
    explicit CubeLineReader(FILE* stream) : stream_(stream), block_(1 << 20) {}

    // false at the end of the input; otherwise [*begin, *end) is the next piece
    bool next(const char** begin, const char** end)
    {
        const size_t piece_max = ZEMU_CUBE_LINE_SIZE - 1;
        if (length_ - position_ < piece_max && !at_eof_) refill();
        if (position_ == length_) return false;
        size_t available = length_ - position_;
        if (available > piece_max) available = piece_max;
        const char* start = block_.data() + position_;
        const char* newline = static_cast<const char*>(memchr(start, '\n', available));
        size_t taken = newline ? static_cast<size_t>(newline - start) + 1 : available;
        position_ += taken;
        *begin = start;
        *end = start + taken;
        return true;
    }

private:
    void refill()
    {
        size_t rest = length_ - position_;
        memmove(block_.data(), block_.data() + position_, rest);
        position_ = 0;
        length_ = rest;
        while (length_ < block_.size()) {
            size_t got = fread(block_.data() + length_, 1, block_.size() - length_, stream_);
            if (got == 0) {
                at_eof_ = true;
                break;
            }
            length_ += got;
        }
    }

    FILE* stream_;
    std::vector<char> block_;
    size_t position_ = 0;
    size_t length_ = 0;
    bool at_eof_ = false;
};

// False when the stream, from its current position, cannot hold `lines` more
// lines (each takes at least one byte). Unseekable streams are given the benefit
// of the doubt.
bool stream_can_hold_lines(FILE* stream, double lines)
{
    long here = ftell(stream);
    if (here < 0 || fseek(stream, 0, SEEK_END) != 0) return true;
    long end = ftell(stream);
    if (fseek(stream, here, SEEK_SET) != 0) return true;
    return end < 0 || lines <= static_cast<double>(end - here);
}

int load_energy_values(FILE* fptr, ZEMU_cube* cube, long long first_line);

// Reads the next piece of the header into line, counting the file's lines;
// 1 with the message when the file ends first.
int read_header_piece(FILE* fptr, char* line, int size, long long* file_line)
{
    if (fgets(line, size, fptr) == nullptr) {
        fprintf(stderr, "Error: Invalid CUBE file - missing header lines\n");
        return 1;
    }
    if (strchr(line, '\n') != nullptr) (*file_line)++;
    return 0;
}

// The six header lines: ion charge (first digit of line 2), atom-line count
// (line 3), and count and voxel step (Bohr) of each axis (lines 4 to 6).
int read_cube_header(FILE* fptr, ZEMU_cube* cube, long long* file_line)
{
    // A physical line longer than the buffer arrives in several pieces, each
    // counting as a line of its own (the header and every energy line alike).
    char line[ZEMU_CUBE_LINE_SIZE];
    for (int line_no = 1; line_no <= 6; line_no++) {
        if (read_header_piece(fptr, line, sizeof(line), file_line)) return 1;
        if (line_no == 2) {
            for (const char* p = line; *p != '\0'; p++) {
                if (*p >= '0' && *p <= '9') {
                    cube->ion_charge = static_cast<double>(*p - '0');
                    break;
                }
            }
        }
        char* field[4];
        int n = zemu_kernel::split_words_in_place(line, field, 4);
        if (line_no == 3) {
            if (n >= 1) cube->lines_to_ignore = atoi(field[0]);
            continue;
        }
        int* count = nullptr;
        double* v[3] = {nullptr, nullptr, nullptr};
        if (line_no == 4) {
            count = &cube->a_grid, v[0] = &cube->a_x, v[1] = &cube->a_y, v[2] = &cube->a_z;
        } else if (line_no == 5) {
            count = &cube->b_grid, v[0] = &cube->b_x, v[1] = &cube->b_y, v[2] = &cube->b_z;
        } else if (line_no == 2 || line_no == 6) {
            // the second line passes through the third axis' rule as well; the
            // sixth line overwrites whatever it supplies
            count = &cube->c_grid, v[0] = &cube->c_x, v[1] = &cube->c_y, v[2] = &cube->c_z;
        } else {
            continue;  // title
        }
        if (n >= 1) *count = atoi(field[0]);
        for (int d = 0; d + 1 < n; d++) *v[d] = atof(field[d + 1]) * ZEMU_BOHR_TO_ANGSTROM;
    }
    return 0;
}

// The counts and the cell they span must describe a real grid (message printed).
int check_cube_cell(ZEMU_cube* cube)
{
    if (cube->a_grid <= 0 || cube->b_grid <= 0 || cube->c_grid <= 0) {
        fprintf(stderr, "Error: Invalid CUBE file - invalid grid resolution\n");
        return 1;
    }
    // The cell comes from the counts as read, before any odd-grid reduction.
    ZEMU_calc_cell_parameter(cube);
    // written as "not at least" so that a NaN from a degenerate header is refused too
    if (!(cube->a >= 1e-10) || !(cube->b >= 1e-10) || !(cube->c >= 1e-10)) {
        fprintf(stderr, "Error: Invalid CUBE file - invalid cell parameters\n");
        return 1;
    }
    if (!(cube->alpha >= 1e-10) || !(cube->beta >= 1e-10) || !(cube->gamma >= 1e-10)) {
        fprintf(stderr, "Invalid CUBE file - invalid cell angles\n");
        return 1;
    }
    return 0;
}

}  // namespace

// ---------------------------------------------------------------------------
// Grid life cycle
// ---------------------------------------------------------------------------

void ZEMU_init_cube(ZEMU_cube* cube)
{
    memset(cube, 0, sizeof(*cube));  // every count, flag and value 0, every array null
    cube->ion_charge = 1.0;
}

int ZEMU_load_cube(char* input_cube_file, ZEMU_cube* cube)
{
    // Text mode; a "\r\n" line end stops the number conversions like any other non-digit.
    zemu_kernel::File file(fopen(input_cube_file, "r"));
    if (!file) {
        fprintf(stderr, "Error: Unable to open CUBE file\n");
        return 1;
    }
    FILE* fptr = file.get();

    if (cube->energy != nullptr) ZEMU_free_cube_energy(cube);  // a second load replaces the grid
    cube->a_x = cube->a_y = cube->a_z = 0.0;
    cube->b_x = cube->b_y = cube->b_z = 0.0;
    cube->c_x = cube->c_y = cube->c_z = 0.0;
    cube->a = cube->b = cube->c = 0.0;
    cube->alpha = cube->beta = cube->gamma = 0.0;

    long long file_line = 1;  // the file's own line number of the next piece, for messages
    if (read_cube_header(fptr, cube, &file_line) || check_cube_cell(cube)) return 1;
    char line[ZEMU_CUBE_LINE_SIZE];
    for (int n = 0; n < cube->lines_to_ignore; n++)
        if (read_header_piece(fptr, line, sizeof(line), &file_line)) return 1;

    // A few bytes of header must not claim gigabytes: when the rest of the file
    // cannot hold one line per value, the reading below would fail with this
    // message anyway, so it is given before the grid is allocated. (A grid that
    // the odd-count reduction empties is left to the allocation, which refuses it.)
    const bool reduced_grid_empty =
        (cube->a_grid % 2 != 0) && (cube->a_grid == 1 || cube->b_grid == 1 || cube->c_grid == 1);
    if (!reduced_grid_empty &&
        !stream_can_hold_lines(fptr, static_cast<double>(cube->a_grid) * cube->b_grid * cube->c_grid)) {
        fprintf(stderr, "Error: Invalid CUBE file - missing energy values\n");
        return 1;
    }

    if (ZEMU_alloc_cube_energy(cube) != 0) return 1;
    if (load_energy_values(fptr, cube, file_line) != 0) return 1;

    return ZEMU_set_energy_ceiling(cube, 0);
}

int ZEMU_set_energy_ceiling(ZEMU_cube* cube, int exact)
{
    double above = 5.0;
    if (fabs(cube->max_energy_above_gmin) > 1e-10) {
        if (!exact) {
            above = ZEMU_get_unscaled_from_scaled(cube, cube->max_energy_above_gmin);
        } else if (ZEMU_get_unscaled_from_scaled_exact(cube, cube->max_energy_above_gmin, &above)) {
            fprintf(stderr, "Error: No energy scales to the ceiling %g\n", cube->max_energy_above_gmin);
            return 1;
        }
    }
    cube->max_energy = cube->global_minimum + above;
    return 0;
}

void ZEMU_refresh_global_minimum(ZEMU_cube* cube)
{
    // the reader's rule: the lowest value, but never above its starting 9999.9
    double lowest = 9999.9;
    if (cube->energy != nullptr) {
        for (int i = 0; i < cube->a_grid; i++)
            for (int j = 0; j < cube->b_grid; j++) {
                const double* row = cube->energy[i][j];
                for (int k = 0; k < cube->c_grid; k++)
                    if (row[k] < lowest) lowest = row[k];
            }
    }
    cube->global_minimum = lowest;
}

void ZEMU_calc_cell_parameter(ZEMU_cube* cube)
{
    cube->a_unit = sqrt(cube->a_x * cube->a_x + cube->a_y * cube->a_y + cube->a_z * cube->a_z);
    cube->b_unit = sqrt(cube->b_x * cube->b_x + cube->b_y * cube->b_y + cube->b_z * cube->b_z);
    cube->c_unit = sqrt(cube->c_x * cube->c_x + cube->c_y * cube->c_y + cube->c_z * cube->c_z);

    cube->a = cube->a_unit * cube->a_grid;
    cube->b = cube->b_unit * cube->b_grid;
    cube->c = cube->c_unit * cube->c_grid;

    double bc = cube->b_x * cube->c_x + cube->b_y * cube->c_y + cube->b_z * cube->c_z;
    double ac = cube->a_x * cube->c_x + cube->a_y * cube->c_y + cube->a_z * cube->c_z;
    double ab = cube->a_x * cube->b_x + cube->a_y * cube->b_y + cube->a_z * cube->b_z;
    cube->alpha = acos(bc / (cube->b_unit * cube->c_unit));
    cube->beta = acos(ac / (cube->a_unit * cube->c_unit));
    cube->gamma = acos(ab / (cube->a_unit * cube->b_unit));

    double ca = cos(cube->alpha);
    double cb = cos(cube->beta);
    double cg = cos(cube->gamma);
    // the last cosine is taken of the whole sum: exact for rectangular cells
    cube->volume = cube->a * cube->b * cube->c * sqrt(1 - ca * ca - cb * cb - cg * cos(cube->gamma + 2 * ca * cb * cg));

    cube->d1 = cube->a * cube->a;
    cube->d2 = cube->b * cube->b;
    cube->d3 = cube->c * cube->c;
    cube->d4 = 2 * cube->a * cube->b * cos(cube->gamma);
    cube->d5 = 2 * cube->b * cube->c * cos(cube->alpha);
    cube->d6 = 2 * cube->a * cube->c * cos(cube->beta);
}

int ZEMU_load_cube_energy(FILE* fptr, ZEMU_cube* cube)
{
    return load_energy_values(fptr, cube, 1);  // lines numbered from the stream's position
}

namespace {

// The energy values, one per line from the stream's position on; first_line is
// the file's line number of the first value line (used in messages only).
int load_energy_values(FILE* fptr, ZEMU_cube* cube, long long first_line)
{
    const int nx = cube->a_grid;
    const int ny = cube->b_grid;
    const int nz = cube->c_grid;
    // An odd first count means the file repeats the periodic boundary plane on every axis.
    const bool odd = (nx % 2) != 0;
    if (odd) {
        ZEMU_free_cube_energy(cube);
        cube->a_grid--;
        cube->b_grid--;
        cube->c_grid--;
        if (ZEMU_alloc_cube_energy(cube) != 0) return 1;
    }

    cube->global_minimum = 9999.9;
    double global_minimum = cube->global_minimum;
    CubeLineReader reader(fptr);
    const char* begin;
    const char* end;
    long long file_line = first_line;  // line of the piece being read
    for (int i = 0; i < nx; i++) {
        for (int j = 0; j < ny; j++) {
            double* row = (odd && (i == nx - 1 || j == ny - 1)) ? nullptr : cube->energy[i][j];
            for (int k = 0; k < nz; k++) {
                if (!reader.next(&begin, &end)) {
                    cube->global_minimum = global_minimum;
                    fprintf(stderr, "Error: Invalid CUBE file - missing energy values\n");
                    return 1;
                }
                const long long value_line = file_line;
                if (end[-1] == '\n') file_line++;  // a longer line comes in several pieces
                if (row == nullptr || (odd && k == nz - 1)) continue;  // repeated boundary plane
                double value = leading_number_of_first_field(begin, end);
                // nan, inf or an overflowing number would poison the minimum and every
                // energy comparison after it
                if (!std::isfinite(value)) {
                    cube->global_minimum = global_minimum;
                    fprintf(stderr, "Error: Invalid CUBE file - energy on line %lld is not a finite number\n",
                            value_line);
                    return 1;
                }
                row[k] = value;
                if (value < global_minimum) global_minimum = value;
            }
        }
    }
    cube->global_minimum = global_minimum;
    return 0;
}

}  // namespace

int ZEMU_alloc_cube_energy(ZEMU_cube* cube)
{
    if (cube->a_grid <= 0 || cube->b_grid <= 0 || cube->c_grid <= 0) {
        fprintf(stderr, "Error: Invalid input to ZEMU_alloc_cube_energy()\n");
        return 1;
    }
    return ZEMU_alloc_3D_dbl_array(&cube->energy, cube->a_grid, cube->b_grid, cube->c_grid);
}

void ZEMU_free_cube_energy(ZEMU_cube* cube)
{
    ZEMU_free_3D_dbl_array(&cube->energy, cube->a_grid, cube->b_grid);
}

int ZEMU_process_cube(ZEMU_cube* cube)
{
    ZEMU_shift_cube_energy(cube);
    return 0;
}

int ZEMU_export_cube(ZEMU_cube* cube)
{
    FILE* fptr = fopen("ZEMU_cube.cube", "w");
    if (fptr == nullptr) {
        fprintf(stderr, "Error: Unable to export to .cube file.\n");
        return 1;
    }
    fprintf(fptr, "Smoothened energy landscape\n");
    fprintf(fptr, "Generated by tarnix\n");
    fprintf(fptr, "  1 0.0 0.0 0.0\n");
    fprintf(fptr, "%5d %10.6f %10.6f %10.6f\n", cube->a_grid, cube->a_x / ZEMU_BOHR_TO_ANGSTROM,
            cube->a_y / ZEMU_BOHR_TO_ANGSTROM, cube->a_z / ZEMU_BOHR_TO_ANGSTROM);
    fprintf(fptr, "%5d %10.6f %10.6f %10.6f\n", cube->b_grid, cube->b_x / ZEMU_BOHR_TO_ANGSTROM,
            cube->b_y / ZEMU_BOHR_TO_ANGSTROM, cube->b_z / ZEMU_BOHR_TO_ANGSTROM);
    fprintf(fptr, "%5d %10.6f %10.6f %10.6f\n", cube->c_grid, cube->c_x / ZEMU_BOHR_TO_ANGSTROM,
            cube->c_y / ZEMU_BOHR_TO_ANGSTROM, cube->c_z / ZEMU_BOHR_TO_ANGSTROM);
    fprintf(fptr, "  0 0 0 0 0\n");
    if (cube->energy != nullptr) {
        for (int i = 0; i < cube->a_grid; i++)
            for (int j = 0; j < cube->b_grid; j++)
                for (int k = 0; k < cube->c_grid; k++) fprintf(fptr, "%10.6f\n", cube->energy[i][j][k]);
    }
    fclose(fptr);
    return 0;
}

void ZEMU_free_cube(ZEMU_cube* cube)
{
    ZEMU_free_cube_energy(cube);
    ZEMU_free_cube_stationary_points(cube);
    free(cube->scube);
    cube->scube = nullptr;
    cube->scube_total = 0;
    cube->scube_cap = 0;
    ZEMU_free_RPN(&cube->RPN);
}

// ---------------------------------------------------------------------------
// Three-dimensional arrays
// ---------------------------------------------------------------------------

namespace {

// One builder for the whole family; `zeroed` fills the elements with zero bytes.
// Three blocks: the x row pointers, the x * y pointers to the lines of z
// elements, and the elements themselves, line after line. On failure nothing
// is kept and *array is null.
template <typename T>
int alloc_3D_array(T**** array, int x, int y, int z, bool zeroed, const char* name)
{
    *array = nullptr;
    const size_t nx = static_cast<size_t>(x), ny = static_cast<size_t>(y), nz = static_cast<size_t>(z);
    // nothing sensible to build, or more elements than memory can address: reported like a failed allocation
    if (x <= 0 || y <= 0 || z <= 0 || nx * ny > SIZE_MAX / sizeof(T) / nz) {
        fprintf(stderr, "Error: Memory allocation problem in %s()\n", name);
        return 1;
    }
    using zemu_kernel::allocate_array;
    T** lines = nullptr;
    T* elements = nullptr;
    if (allocate_array(array, nx) || allocate_array(&lines, nx * ny) ||
        allocate_array(&elements, nx * ny * nz, zeroed)) {
        free(*array);
        free(lines);
        *array = nullptr;
        fprintf(stderr, "Error: Memory allocation problem in %s()\n", name);
        return 1;
    }
    for (size_t i = 0; i < nx; i++) {
        (*array)[i] = lines + i * ny;
        for (size_t j = 0; j < ny; j++) lines[i * ny + j] = elements + (i * ny + j) * nz;
    }
    return 0;
}

// Releases the three blocks of alloc_3D_array (a built array is whole, so the
// sizes are not needed).
template <typename T>
void free_3D_array(T**** array)
{
    if (*array == nullptr) return;
    free((*array)[0][0]);
    free((*array)[0]);
    free(*array);
    *array = nullptr;
}

}  // namespace

int ZEMU_alloc_3D_int_array(int**** array, int x, int y, int z)
{
    return alloc_3D_array(array, x, y, z, false, "ZEMU_alloc_3D_int_array");
}

int ZEMU_alloc_3D_dbl_array(double**** array, int x, int y, int z)
{
    return alloc_3D_array(array, x, y, z, false, "ZEMU_alloc_3D_dbl_array");
}

int ZEMU_alloc_3D_char_array(char**** array, int x, int y, int z)
{
    return alloc_3D_array(array, x, y, z, false, "ZEMU_alloc_3D_char_array");
}

int ZEMU_calloc_3D_char_array(char**** array, int x, int y, int z)
{
    return alloc_3D_array(array, x, y, z, true, "ZEMU_calloc_3D_char_array");
}

void ZEMU_free_3D_int_array(int**** array, int /*x*/, int /*y*/)
{
    free_3D_array(array);
}

void ZEMU_free_3D_dbl_array(double**** array, int /*x*/, int /*y*/)
{
    free_3D_array(array);
}

void ZEMU_free_3D_char_array(char**** array, int /*x*/, int /*y*/)
{
    free_3D_array(array);
}

// ---------------------------------------------------------------------------
// Periodic indexing, distances, angles
// ---------------------------------------------------------------------------

namespace {

// Point count of axis 1, 2 or 3 (the caller has checked the axis).
int axis_count(ZEMU_cube* cube, int axis)
{
    return axis == 1 ? cube->a_grid : (axis == 2 ? cube->b_grid : cube->c_grid);
}

}  // namespace

int ZEMU_shift_index(ZEMU_cube* cube, int p, int axis)
{
    if (axis < 1 || axis > 3) return -1;
    return zemu_kernel::wrap_index(p, axis_count(cube, axis));
}

double ZEMU_shift_index_dbl(ZEMU_cube* cube, double p, int axis)
{
    if (axis < 1 || axis > 3) return -1.0;
    int n = axis_count(cube, axis);
    if (axis == 1) {
        if (ZEMU_cube_equal_dbl(p, 0.0)) return 0.0;
    } else if (p == 0.0) {
        return 0.0;
    }
    if (n <= 0) return p;  // no grid: nothing to wrap onto
    double t = trunc(p);
    if (p > 0) return fmod(t, n) + (p - t);
    return (n - fmod(-t, n)) + (p - t);
}

ZEMU_cube_triple_index ZEMU_shift_index_xyz(ZEMU_cube* cube, int a, int b, int c)
{
    return {ZEMU_shift_index(cube, a, 1), ZEMU_shift_index(cube, b, 2), ZEMU_shift_index(cube, c, 3)};
}

ZEMU_cube_triple_index_dbl ZEMU_shift_index_xyz_dbl(ZEMU_cube* cube, double a, double b, double c)
{
    return {ZEMU_shift_index_dbl(cube, a, 1), ZEMU_shift_index_dbl(cube, b, 2), ZEMU_shift_index_dbl(cube, c, 3)};
}

double ZEMU_cube_energy(ZEMU_cube* cube, int x, int y, int z)
{
    using zemu_kernel::wrap_onto_grid;
    return cube->energy[wrap_onto_grid(x, cube->a_grid)][wrap_onto_grid(y, cube->b_grid)][wrap_onto_grid(z, cube->c_grid)];
}

int ZEMU_cube_equal_dbl(double a, double b)
{
    return fabs(a - b) < 1e-10 ? 1 : 0;
}

double ZEMU_distance_grid(ZEMU_cube* cube, double x1, double y1, double z1, double x2, double y2, double z2)
{
    return zemu_kernel::metric_length(cube, x1 / cube->a_grid - x2 / cube->a_grid, y1 / cube->b_grid - y2 / cube->b_grid,
                                      z1 / cube->c_grid - z2 / cube->c_grid);
}

double ZEMU_distance_frac(ZEMU_cube* cube, double x1, double y1, double z1, double x2, double y2, double z2)
{
    return zemu_kernel::metric_length(cube, x1 - x2, y1 - y2, z1 - z2);
}

double ZEMU_angle(ZEMU_cube* cube, int x1, int y1, int z1, int x2, int y2, int z2, int x3, int y3, int z3)
{
    double di1 = x1 - x2, dj1 = y1 - y2, dk1 = z1 - z2;
    double di2 = x3 - x2, dj2 = y3 - y2, dk2 = z3 - z2;
    double v1x = di1 * cube->a_x + dj1 * cube->b_x + dk1 * cube->c_x;
    double v1y = di1 * cube->a_y + dj1 * cube->b_y + dk1 * cube->c_y;
    double v1z = di1 * cube->a_z + dj1 * cube->b_z + dk1 * cube->c_z;
    double v2x = di2 * cube->a_x + dj2 * cube->b_x + dk2 * cube->c_x;
    double v2y = di2 * cube->a_y + dj2 * cube->b_y + dk2 * cube->c_y;
    double v2z = di2 * cube->a_z + dj2 * cube->b_z + dk2 * cube->c_z;
    double length1 = sqrt(v1x * v1x + v1y * v1y + v1z * v1z);
    double length2 = sqrt(v2x * v2x + v2y * v2y + v2z * v2z);
    if (ZEMU_cube_equal_dbl(length1, 0.0) || ZEMU_cube_equal_dbl(length2, 0.0)) return 0.0;
    double dot = v1x * v2x + v1y * v2y + v1z * v2z;
    return acos(dot / (length1 * length2));
}

// ---------------------------------------------------------------------------
// Energy scaling
// ---------------------------------------------------------------------------

int ZEMU_parse_energy_scaling(ZEMU_cube* cube, char* text)
{
    char* buffer;
    if (zemu_kernel::allocate_array(&buffer, ZEMU_SCALING_TEXT_SIZE)) {
        fprintf(stderr, "Error: Memory allocation problem\n");
        return 1;
    }
    // a longer text is cut to the buffer (99 characters and the terminator)
    snprintf(buffer, ZEMU_SCALING_TEXT_SIZE, "%s", text != nullptr ? text : "");
    // the E must be in what gets compiled
    if (strchr(buffer, 'E') == nullptr) {
        fprintf(stderr, "Error: Invalid scaling expression - variable E missing\n");
        free(buffer);
        return 1;
    }
    int status = ZEMU_RPN_build(buffer, &cube->RPN);  // the compiler reports its own failures
    free(buffer);
    return status != 0 ? 1 : 0;
}

double ZEMU_scale_cube_energy(ZEMU_cube* cube, double e)
{
    if (cube->scaling == 0) return e;
    if (cube->RPN.item == nullptr || cube->RPN.size <= 0) return e;  // nothing compiled: identity
    ZEMU_variable_list var_list;
    memset(&var_list, 0, sizeof(var_list));
    ZEMU_store_variable_value(&var_list, 'E', e);
    double value = 0.0;
    ZEMU_RPN_read(&cube->RPN, &var_list, &value);
    return value;
}

double ZEMU_get_unscaled_from_scaled(ZEMU_cube* cube, double s)
{
    // Upper bracket in steps of 1.0. An expression that stops growing (or an
    // infinite s) would never be passed: give up after a million steps.
    double upper = 10.0;
    int steps = 0;
    while (s > ZEMU_scale_cube_energy(cube, upper)) {
        upper += 1.0;
        if (++steps > 1000000) {
            fprintf(stderr, "Warning: Program could not find the correct energy threshold to be applied\n");
            return 1.0;
        }
    }

    double left = 0.0;
    double left_scaled = ZEMU_scale_cube_energy(cube, left);
    double right = upper;
    double right_scaled = ZEMU_scale_cube_energy(cube, right);
    for (int iteration = 0; iteration < 100; iteration++) {
        double mid = (left + right) / 2.0;
        double mid_scaled = ZEMU_scale_cube_energy(cube, mid);
        if (mid_scaled == s) return mid;
        if (mid_scaled > s && s > left_scaled) {
            right = mid;
            right_scaled = mid_scaled;
            if (fabs(mid_scaled - s) < 0.001) return mid;
            if (fabs(left_scaled - s) < 0.001) return left;
        } else if (s > mid_scaled && right_scaled > s) {
            left = mid;
            left_scaled = mid_scaled;
            if (fabs(mid_scaled - s) < 0.001) return mid;
            if (fabs(right_scaled - s) < 0.001) return right;
        } else {
            fprintf(stderr, "Warning: Program could not find the correct energy threshold to be applied\n");
            return 1.0;
        }
    }
    return upper;  // the bracket, not the last midpoint
}

int ZEMU_get_unscaled_from_scaled_exact(ZEMU_cube* cube, double s, double* raw)
{
    if (!std::isfinite(s)) return 1;
    const double base = ZEMU_scale_cube_energy(cube, 0.0);
    if (!(s > base)) {
        if (s == base) {
            *raw = 0.0;
            return 0;
        }
        return 1;
    }
    // bracket by doubling, then halve the bracket until it cannot shrink
    double low = 0.0, high = 1.0;
    for (int n = 0; !(ZEMU_scale_cube_energy(cube, high) >= s); n++) {
        if (n == 1100) return 1;  // the expression never reaches s
        low = high;
        high *= 2.0;
    }
    for (int n = 0; n < 2000; n++) {
        double mid = low + (high - low) / 2.0;
        if (mid <= low || mid >= high) break;
        double scaled = ZEMU_scale_cube_energy(cube, mid);
        if (scaled == s) {
            *raw = mid;
            return 0;
        }
        if (scaled < s) low = mid;
        else if (scaled > s) high = mid;
        else return 1;  // not a number inside the bracket
    }
    *raw = s - ZEMU_scale_cube_energy(cube, low) <= ZEMU_scale_cube_energy(cube, high) - s ? low : high;
    return 0;
}

void ZEMU_shift_cube_energy(ZEMU_cube* cube)
{
    const double shift = cube->global_minimum;
    if (cube->energy != nullptr) {
        for (int i = 0; i < cube->a_grid; i++) {
            for (int j = 0; j < cube->b_grid; j++) {
                double* row = cube->energy[i][j];
                for (int k = 0; k < cube->c_grid; k++) row[k] -= shift;
            }
        }
    }
    cube->max_energy -= shift;
    cube->energy_shift -= shift;
    cube->global_minimum = 0.0;
}
