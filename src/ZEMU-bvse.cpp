// Landscape evaluation: the framework images inside the cut-off sphere, the
// energy of a grid point, one representative per orbit of grid points under the
// structure's grid operations (copied to the other members), worker threads
// over blocks of points and the progress line.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "ZEMU-bvse.h"
#include "ZEMU.h"

namespace {

// Edge of a block of grid points that shares one candidate list, Angstrom.
const double kBlockEdge = 1.2;
// The progress line appears once a computation has run this long, seconds.
const double kProgressAfterSeconds = 1.0;

// Framework images of one kind, structure of arrays, in atom order then translation order.
struct Images {
    std::vector<double> x, y, z;  // Cartesian position, Angstrom
    std::vector<double> c;        // term prefactor (occupancy included)
    std::vector<double> p;        // Morse: alpha; Coulomb: screening length
    std::vector<double> q;        // Morse: r_min; Coulomb: unused
    size_t size() const { return x.size(); }
    void resize(size_t n)
    {
        x.resize(n), y.resize(n), z.resize(n), c.resize(n), p.resize(n), q.resize(n);
    }
};

// Every image of every framework atom that can lie within the cut-off of a
// point of the cell: along each axis the fractional coordinate of the image is
// within rcut / d_i of [0, 1), d_i the interplanar spacing.
struct Framework {
    Images morse, coulomb;
    double cell[3][3];
    double rc2;
};

void cross(const double u[3], const double v[3], double w[3])
{
    w[0] = u[1] * v[2] - u[2] * v[1];
    w[1] = u[2] * v[0] - u[0] * v[2];
    w[2] = u[0] * v[1] - u[1] * v[0];
}

double norm(const double u[3])
{
    return std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]);
}

void cartesian(const double cell[3][3], double fa, double fb, double fc, double out[3])
{
    for (int d = 0; d < 3; d++) out[d] = fa * cell[0][d] + fb * cell[1][d] + fc * cell[2][d];
}

void build_framework(const ZEMU_bvse_model& model, Framework* fw)
{
    memcpy(fw->cell, model.cell, sizeof fw->cell);
    fw->rc2 = model.rcut * model.rcut;
    double w[3];
    double n12[3], volume;
    cross(model.cell[1], model.cell[2], n12);
    volume = std::fabs(n12[0] * model.cell[0][0] + n12[1] * model.cell[0][1] + n12[2] * model.cell[0][2]);
    for (int i = 0; i < 3; i++) {
        double face[3];
        cross(model.cell[(i + 1) % 3], model.cell[(i + 2) % 3], face);
        double spacing = volume / norm(face);
        w[i] = model.rcut / spacing * (1.0 + 1e-9) + 1e-9;
    }
    fw->morse.resize(0);
    fw->coulomb.resize(0);
    for (const ZEMU_bvse_atom& atom : model.atoms) {
        Images& im = atom.coulomb ? fw->coulomb : fw->morse;
        int lo[3], hi[3];
        for (int i = 0; i < 3; i++) {
            lo[i] = static_cast<int>(std::floor(-w[i] - atom.frac[i]));
            hi[i] = static_cast<int>(std::ceil(1.0 + w[i] - atom.frac[i]));
        }
        for (int na = lo[0]; na <= hi[0]; na++)
            for (int nb = lo[1]; nb <= hi[1]; nb++)
                for (int nc = lo[2]; nc <= hi[2]; nc++) {
                    const double f[3] = {atom.frac[0] + na, atom.frac[1] + nb, atom.frac[2] + nc};
                    bool inside = true;
                    for (int i = 0; i < 3; i++) inside = inside && f[i] > -w[i] && f[i] < 1.0 + w[i];
                    if (!inside) continue;
                    double r[3];
                    cartesian(model.cell, f[0], f[1], f[2], r);
                    im.x.push_back(r[0]);
                    im.y.push_back(r[1]);
                    im.z.push_back(r[2]);
                    im.c.push_back(atom.c);
                    im.p.push_back(atom.coulomb ? atom.screen : atom.alpha);
                    im.q.push_back(atom.coulomb ? 0.0 : atom.r_min);
                }
    }
}

// Copies the images within `radius` of `centre` into out (sized to hold them all); returns the count.
size_t select_images(const Images& in, const double centre[3], double radius, Images* out)
{
    const double r2 = radius * radius;
    size_t n = 0;
    for (size_t t = 0; t < in.size(); t++) {
        double dx = in.x[t] - centre[0], dy = in.y[t] - centre[1], dz = in.z[t] - centre[2];
        if (dx * dx + dy * dy + dz * dz < r2) {
            out->x[n] = in.x[t], out->y[n] = in.y[t], out->z[n] = in.z[t];
            out->c[n] = in.c[t], out->p[n] = in.p[t], out->q[n] = in.q[t];
            n++;
        }
    }
    return n;
}

// Sum over the images within the cut-off of p, Morse images first, each list in its order.
// The terms are those of ZEMU_bvse_pair_energy, written out for the inner loop.
double sum_at(const Images& morse, size_t nm, const Images& coulomb, size_t nc, const double p[3], double rc2)
{
    double e = 0.0;
    const double *x = morse.x.data(), *y = morse.y.data(), *z = morse.z.data();
    const double *c = morse.c.data(), *alpha = morse.p.data(), *r_min = morse.q.data();
    for (size_t t = 0; t < nm; t++) {
        double dx = p[0] - x[t], dy = p[1] - y[t], dz = p[2] - z[t];
        double r2 = dx * dx + dy * dy + dz * dz;
        if (r2 < rc2) {
            double r = std::sqrt(r2);
            double u = std::exp(alpha[t] * (r_min[t] - r)) - 1.0;
            e += c[t] * (u * u - 1.0);
        }
    }
    x = coulomb.x.data(), y = coulomb.y.data(), z = coulomb.z.data();
    c = coulomb.c.data();
    const double* screen = coulomb.p.data();
    for (size_t t = 0; t < nc; t++) {
        double dx = p[0] - x[t], dy = p[1] - y[t], dz = p[2] - z[t];
        double r2 = dx * dx + dy * dy + dz * dz;
        if (r2 < rc2) {
            double r = std::sqrt(r2);
            e += c[t] / r * std::erfc(r / screen[t]);
        }
    }
    return e;
}

// Blocks of grid points: block (u, v, w) holds the points with i / size[0] == u, and so on.
struct Blocks {
    int size[3];   // grid steps per block along each axis
    int count[3];  // blocks along each axis
    double radius; // every point of a block lies within this of the block's centre, Angstrom

    void centre(const double cell[3][3], const int kept[3], int u, int v, int w, double out[3]) const
    {
        const int b[3] = {u, v, w};
        double f[3];
        for (int i = 0; i < 3; i++) f[i] = (b[i] * size[i] + 0.5 * (size[i] - 1)) / kept[i];
        cartesian(cell, f[0], f[1], f[2], out);
    }
};

Blocks make_blocks(const double cell[3][3], const int kept[3])
{
    Blocks b;
    double span[3][3];
    for (int i = 0; i < 3; i++) {
        double step = norm(cell[i]) / kept[i];
        b.size[i] = std::max(1, std::min(kept[i], static_cast<int>(std::lround(kBlockEdge / step))));
        b.count[i] = (kept[i] + b.size[i] - 1) / b.size[i];
        for (int d = 0; d < 3; d++) span[i][d] = cell[i][d] * (b.size[i] - 1) / kept[i];
    }
    b.radius = 0.0;
    for (int sb = -1; sb <= 1; sb += 2)
        for (int sc = -1; sc <= 1; sc += 2) {
            double diag[3];
            for (int d = 0; d < 3; d++) diag[d] = span[0][d] + sb * span[1][d] + sc * span[2][d];
            b.radius = std::max(b.radius, 0.5 * norm(diag));
        }
    b.radius = b.radius * (1.0 + 1e-9) + 1e-9;
    return b;
}

// Progress line on a terminal, written by one thread.
class Progress {
public:
    Progress(bool wanted, long long total) : wanted_(wanted && isatty(fileno(stderr))), total_(total) {}
    void update(long long done)
    {
        if (!wanted_) return;
        auto now = std::chrono::steady_clock::now();
        if (std::chrono::duration<double>(now - start_).count() < kProgressAfterSeconds) return;
        if (shown_ && std::chrono::duration<double>(now - last_).count() < 0.2) return;
        fprintf(stderr, "\r%s", ZEMU_bvse_progress_text(done, total_).c_str());
        fflush(stderr);
        shown_ = true;
        last_ = now;
    }
    void finish()
    {
        if (!shown_) return;
        fprintf(stderr, "\r%s\n", ZEMU_bvse_progress_text(total_, total_).c_str());
    }

private:
    bool wanted_;
    long long total_;
    bool shown_ = false;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now(), last_;
};

// Runs work(block, thread's Morse images, thread's Coulomb images) for every block index
// in [0, blocks), spread over threads; each block's result depends on the block alone.
template <class Work>
void run_blocks(int blocks, int threads, const Framework& fw, Progress* progress, std::atomic<long long>* done,
                Work work)
{
    std::atomic<int> next{0};
    std::atomic<bool> failed{false};
    auto worker = [&](int id) {
        try {
            Images morse, coulomb;
            morse.resize(fw.morse.size());
            coulomb.resize(fw.coulomb.size());
            for (int b; !failed && (b = next.fetch_add(1)) < blocks;) {
                work(b, &morse, &coulomb);
                if (id == 0) progress->update(done->load());
            }
        } catch (const std::bad_alloc&) {
            failed = true;
        }
    };
    std::vector<std::thread> pool;
    for (int t = 1; t < threads; t++) {
        try {
            pool.emplace_back(worker, t);
        } catch (const std::exception&) {
            break;  // fewer threads: the same result, later
        }
    }
    worker(0);
    for (std::thread& t : pool) t.join();
    if (failed) throw std::bad_alloc();
}

// 1 when the grid operations built for the grid are the structure's operations exactly.
bool fastgen_matches(ZEMU_cif* cif, const int kept[3])
{
    if (cif->fg.total != cif->symop_no) return false;
    for (int n = 0; n < cif->fg.total; n++) {
        ZEMU_bvse_symop op;
        std::string error;
        if (ZEMU_bvse_parse_symop(cif->symop[n], &op, &error)) return false;
        const ZEMU_fastgen_symop& g = cif->fg.op[n];
        const int rows[3][4] = {{g.x_x, g.x_y, g.x_z, g.x_a}, {g.y_x, g.y_y, g.y_z, g.y_a}, {g.z_x, g.z_y, g.z_z, g.z_a}};
        for (int i = 0; i < 3; i++) {
            for (int j = 0; j < 3; j++)
                if (rows[i][j] != op.rot[i][j]) return false;
            long shift = static_cast<long>(op.tran[i]) * kept[i] / 24;
            if (((rows[i][3] - shift) % kept[i]) != 0) return false;
        }
    }
    return true;
}

int threads_of(const ZEMU_bvse_options* options)
{
    int t = options->threads;
    if (t <= 0) t = static_cast<int>(std::thread::hardware_concurrency());
    return std::max(1, std::min(t, 256));
}

}  // namespace

void ZEMU_init_bvse_options(ZEMU_bvse_options* options)
{
    options->step = 0.2;
    options->grid[0] = options->grid[1] = options->grid[2] = 0;
    options->rcut = 10.0;
    options->f = 0.74;
    options->threads = 0;
    options->progress = 0;
}

std::string ZEMU_bvse_progress_text(long long done, long long total)
{
    char buf[96];
    snprintf(buf, sizeof buf, "BVSE landscape: %lld / %lld points", done, total);
    return buf;
}

double ZEMU_bvse_point_energy(const ZEMU_bvse_model* model, const double frac[3])
{
    Framework fw;
    build_framework(*model, &fw);
    double f[3];
    for (int i = 0; i < 3; i++) {
        f[i] = frac[i] - std::floor(frac[i]);
        if (f[i] >= 1.0) f[i] = 0.0;
    }
    double p[3];
    cartesian(fw.cell, f[0], f[1], f[2], p);
    return sum_at(fw.morse, fw.morse.size(), fw.coulomb, fw.coulomb.size(), p, fw.rc2);
}

namespace {

// The grid evaluation of one landscape: framework images, blocks of points and threads.
class Evaluation {
public:
    Evaluation(const ZEMU_bvse_model& model, const int kept[3], int threads, bool progress)
        : threads_(threads), progress_(progress)
    {
        build_framework(model, &fw_);
        for (int i = 0; i < 3; i++) kept_[i] = kept[i];
        blocks_ = make_blocks(fw_.cell, kept_);
        block_total_ = blocks_.count[0] * blocks_.count[1] * blocks_.count[2];
    }

    // Every point of the grid, block by block.
    void every_point(double*** energy)
    {
        Progress progress(progress_, static_cast<long long>(kept_[0]) * kept_[1] * kept_[2]);
        std::atomic<long long> done{0};
        run_blocks(block_total_, threads_, fw_, &progress, &done, [&](int b, Images* morse, Images* coulomb) {
            size_t nm, nc;
            select(b, morse, coulomb, &nm, &nc);
            int u, v, w;
            block_indices(b, &u, &v, &w);
            const int i1 = std::min(kept_[0], (u + 1) * blocks_.size[0]);
            const int j1 = std::min(kept_[1], (v + 1) * blocks_.size[1]);
            const int k1 = std::min(kept_[2], (w + 1) * blocks_.size[2]);
            long long n = 0;
            for (int i = u * blocks_.size[0]; i < i1; i++)
                for (int j = v * blocks_.size[1]; j < j1; j++)
                    for (int k = w * blocks_.size[2]; k < k1; k++, n++)
                        energy[i][j][k] = energy_at(i, j, k, *morse, nm, *coulomb, nc);
            done += n;
        });
        progress.finish();
    }

    // The points listed (linear indices, a outermost), grouped by block; value[r] for point[r].
    void listed_points(const std::vector<int>& point, std::vector<double>* value)
    {
        // counting sort by block, each block's points in list order
        std::vector<int> start(static_cast<size_t>(block_total_) + 1, 0);
        for (int at : point) start[block_of(at) + 1]++;
        for (int b = 0; b < block_total_; b++) start[b + 1] += start[b];
        std::vector<int> order(point.size());
        std::vector<int> fill(start.begin(), start.end() - 1);
        for (size_t r = 0; r < point.size(); r++) order[fill[block_of(point[r])]++] = static_cast<int>(r);
        std::vector<int> busy;  // blocks holding points
        for (int b = 0; b < block_total_; b++)
            if (start[b + 1] > start[b]) busy.push_back(b);

        value->assign(point.size(), 0.0);
        Progress progress(progress_, static_cast<long long>(point.size()));
        std::atomic<long long> done{0};
        run_blocks(static_cast<int>(busy.size()), threads_, fw_, &progress, &done,
                   [&](int n, Images* morse, Images* coulomb) {
                       const int b = busy[n];
                       size_t nm, nc;
                       select(b, morse, coulomb, &nm, &nc);
                       for (int s = start[b]; s < start[b + 1]; s++) {
                           int i, j, k;
                           indices(point[order[s]], &i, &j, &k);
                           (*value)[order[s]] = energy_at(i, j, k, *morse, nm, *coulomb, nc);
                       }
                       done += start[b + 1] - start[b];
                   });
        progress.finish();
    }

private:
    void indices(int at, int* i, int* j, int* k) const
    {
        *k = at % kept_[2];
        *j = (at / kept_[2]) % kept_[1];
        *i = at / kept_[2] / kept_[1];
    }
    void block_indices(int b, int* u, int* v, int* w) const
    {
        *w = b % blocks_.count[2];
        *v = (b / blocks_.count[2]) % blocks_.count[1];
        *u = b / blocks_.count[2] / blocks_.count[1];
    }
    int block_of(int at) const
    {
        int i, j, k;
        indices(at, &i, &j, &k);
        return ((i / blocks_.size[0]) * blocks_.count[1] + j / blocks_.size[1]) * blocks_.count[2] +
               k / blocks_.size[2];
    }
    // The images that can lie within the cut-off of a point of block b.
    void select(int b, Images* morse, Images* coulomb, size_t* nm, size_t* nc) const
    {
        int u, v, w;
        block_indices(b, &u, &v, &w);
        double centre[3];
        blocks_.centre(fw_.cell, kept_, u, v, w, centre);
        const double radius = std::sqrt(fw_.rc2) + blocks_.radius;
        *nm = select_images(fw_.morse, centre, radius, morse);
        *nc = select_images(fw_.coulomb, centre, radius, coulomb);
    }
    double energy_at(int i, int j, int k, const Images& morse, size_t nm, const Images& coulomb, size_t nc) const
    {
        double p[3];
        cartesian(fw_.cell, static_cast<double>(i) / kept_[0], static_cast<double>(j) / kept_[1],
                  static_cast<double>(k) / kept_[2], p);
        return ZEMU_bvse_cap(sum_at(morse, nm, coulomb, nc, p, fw_.rc2));
    }

    Framework fw_;
    int kept_[3];
    Blocks blocks_;
    int block_total_;
    int threads_;
    bool progress_;
};

// One representative per orbit of grid points under the grid operations: the
// first member in scan order. rep_of[point] = index of its representative in reps.
void orbit_representatives(ZEMU_cif* cif, ZEMU_cube* cube, std::vector<int>* rep_of, std::vector<int>* reps)
{
    const int kept[3] = {cube->a_grid, cube->b_grid, cube->c_grid};
    rep_of->assign(static_cast<size_t>(kept[0]) * kept[1] * kept[2], -1);
    reps->clear();
    ZEMU_symcopies copies;
    for (int i = 0, at = 0; i < kept[0]; i++)
        for (int j = 0; j < kept[1]; j++)
            for (int k = 0; k < kept[2]; k++, at++) {
                if ((*rep_of)[at] >= 0) continue;
                const int r = static_cast<int>(reps->size());
                reps->push_back(at);
                (*rep_of)[at] = r;
                ZEMU_fastgen_sym_copies(cif, cube, &copies, i, j, k);
                for (int c = 0; c < copies.total; c++) {
                    const ZEMU_fastgen_xyz& q = copies.copy[c];
                    int& slot = (*rep_of)[(static_cast<size_t>(q.x) * kept[1] + q.y) * kept[2] + q.z];
                    if (slot < 0) slot = r;
                }
            }
}

int landscape(ZEMU_cif* cif, const char* ion, const ZEMU_bvse_options* options, ZEMU_cube* cube,
              ZEMU_bvse_report* report)
{
    report->error.clear();
    report->warnings.clear();
    report->symmetric = 0;
    report->representatives = 0;

    ZEMU_bvse_model model;
    if (ZEMU_bvse_build_model(cif, ion, options->rcut, options->f, &model, &report->error)) return 1;
    report->warnings = model.warnings;

    int grid[3];
    if (options->grid[0] != 0 || options->grid[1] != 0 || options->grid[2] != 0) {
        for (int i = 0; i < 3; i++) grid[i] = options->grid[i];
        if (ZEMU_bvse_check_grid(grid, &report->error)) return 1;
    } else if (ZEMU_bvse_default_grid(cif, options->step, grid, &report->error)) {
        return 1;
    }
    for (int i = 0; i < 3; i++) report->grid[i] = grid[i];

    ZEMU_bvse_cube_header(cube, model.cell, grid, ion);
    if (ZEMU_alloc_cube_energy(cube) != 0) {
        ZEMU_free_cube_energy(cube);
        report->error = "not enough memory for the grid";
        return 1;
    }
    const int kept[3] = {cube->a_grid, cube->b_grid, cube->c_grid};
    const long long total = static_cast<long long>(kept[0]) * kept[1] * kept[2];

    bool symmetric = false;
    if (cif->symop_no > 1 && ZEMU_bvse_grid_carries_symmetry(cif, grid)) {
        ZEMU_prepare_fastgen_symop(cif, cube);
        symmetric = fastgen_matches(cif, kept);
    }
    if (!symmetric && cif->symop_no > 1) {
        report->warnings.push_back("the grid " + std::to_string(grid[0]) + "x" + std::to_string(grid[1]) + "x" +
                                   std::to_string(grid[2]) +
                                   " does not carry the structure's symmetry operations: every point computed");
    }
    report->symmetric = (symmetric || cif->symop_no <= 1) ? 1 : 0;

    Evaluation evaluation(model, kept, threads_of(options), options->progress != 0);
    if (!symmetric) {
        report->representatives = total;
        evaluation.every_point(cube->energy);
    } else {
        std::vector<int> rep_of, reps;
        orbit_representatives(cif, cube, &rep_of, &reps);
        report->representatives = static_cast<long long>(reps.size());
        std::vector<double> value;
        evaluation.listed_points(reps, &value);
        for (int i = 0, at = 0; i < kept[0]; i++)
            for (int j = 0; j < kept[1]; j++)
                for (int k = 0; k < kept[2]; k++, at++) cube->energy[i][j][k] = value[rep_of[at]];
    }

    // global minimum and energy ceiling as the cube reader sets them
    double global_minimum = 9999.9;
    for (int i = 0; i < kept[0]; i++)
        for (int j = 0; j < kept[1]; j++)
            for (int k = 0; k < kept[2]; k++) global_minimum = std::min(global_minimum, cube->energy[i][j][k]);
    cube->global_minimum = global_minimum;
    if (std::fabs(cube->max_energy_above_gmin) > 1e-10)
        cube->max_energy = cube->global_minimum + ZEMU_get_unscaled_from_scaled(cube, cube->max_energy_above_gmin);
    else
        cube->max_energy = cube->global_minimum + 5.0;
    return 0;
}

}  // namespace

int ZEMU_bvse_landscape(ZEMU_cif* cif, const char* ion, const ZEMU_bvse_options* options, ZEMU_cube* cube,
                        ZEMU_bvse_report* report)
{
    try {
        return landscape(cif, ion, options, cube, report);
    } catch (const std::bad_alloc&) {
        ZEMU_free_cube_energy(cube);
        report->error = "not enough memory for the landscape";
        return 1;
    }
}
