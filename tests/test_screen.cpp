// Screening batches: real analyses of the bundled examples in worker processes
// (against zemu's own output and the reference grid barriers), workers that
// crash, hang, exhaust memory or fail, shards, resuming, and the exact table
// formats.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

#include <nlohmann/json.hpp>

#include "ZEMU-screen.h"
#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

namespace fs = std::filesystem;

ZEMU_screen_options quiet_options() {
    ZEMU_screen_options o;
    ZEMU_init_screen_options(&o);
    o.ion = "Li1+";
    o.progress = 2;
    o.summary = 0;
    return o;
}

// Rows of a JSON Lines file, by file.
std::map<std::string, nlohmann::json> json_rows(const std::string& path) {
    std::map<std::string, nlohmann::json> rows;
    std::string text = zemu_test::slurp(path);
    size_t start = 0;
    for (size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1) {
        nlohmann::json j = nlohmann::json::parse(text.substr(start, nl - start));
        EXPECT_EQ(rows.count(j["file"]), 0u) << "row twice: " << j["file"];
        rows[j["file"].get<std::string>()] = j;
    }
    EXPECT_EQ(start, text.size()) << "unterminated last line";
    return rows;
}

// A job that analyses a bundled example with the program's own readers: the
// landscape.cube beside the structure file, the ion by the example.
void example_job(const std::string& file, ZEMU_screen_row* row, const ZEMU_screen_options& base) {
    ZEMU_screen_options options = base;
    options.ion = file.find("Na2UO4") != std::string::npos ? "Na1+" : "Li1+";
    row->ion = options.ion;
    std::string cube_file = (fs::path(file).parent_path() / "landscape.cube").string();
    std::string cif_file = file;
    ZEMU_cube cube;
    ZEMU_init_cube(&cube);
    ZEMU_cif cif;
    ZEMU_init_cif(&cif);
    if (ZEMU_load_cube(&cube_file[0], &cube) || ZEMU_load_cif(&cif_file[0], &cif)) {
        row->status = "error";
        row->error = "unreadable example";
    } else {
        row->formula = cif.chem_form_sum;
        row->spacegroup = cif.spacegroup_HM;
        row->sg_number = cif.int_tab_cryst_no;
        row->oxidation = "file";
        ZEMU_screen_analyse(&cube, &cif, options, options.keep.empty() ? "" : options.keep + "/" + fs::path(file).parent_path().filename().string(), row);
    }
    ZEMU_free_cube(&cube);
    ZEMU_free_cif(&cif);
}

// The three activation energies zemu prints with --print-act.
std::vector<double> zemu_activation(const std::string& example, const std::string& ion) {
    WorkDir dir;
    RunResult r = dir.run({"--cube", zemu_test::source_file("examples/" + example + "/landscape.cube"), "--cif",
                           zemu_test::source_file("examples/" + example + "/structure.cif"), ion, "--path",
                           "--print-act"});
    EXPECT_EQ(r.status, 0) << r.err;
    std::vector<double> e;
    for (const char* key : {"1D activation energy: ", "2D activation energy: ", "3D activation energy: "}) {
        size_t at = r.out.find(key);
        e.push_back(at == std::string::npos ? NAN : strtod(r.out.c_str() + at + strlen(key), nullptr));
    }
    return e;
}

double reference_span(const std::string& example, int d, const char* field) {
    nlohmann::json ref = nlohmann::json::parse(zemu_test::slurp(zemu_test::source_file("examples/" + example +
                                                                                         "/reference.json")));
    return ref["percolation_exact_eV"]["E_" + std::to_string(d) + "D"][field].get<double>();
}

// Empty files (and anything else) laid out below a fresh directory.
void touch(const WorkDir& dir, const std::vector<std::string>& names) {
    for (const std::string& n : names) {
        fs::create_directories(fs::path(dir.file(n)).parent_path());
        dir.write(n, "");
    }
}

// A job that only names the file: fast rows for the batch mechanics.
void naming_job(const std::string& file, ZEMU_screen_row* row) {
    row->status = "ok";
    row->formula = fs::path(file).stem().string();
    row->e3d = 0.25;
}

}  // namespace

// ---------------------------------------------------------------------------
// Real analyses in workers

TEST(ScreenBatch, ExamplesGiveTheProgramsBarriersAndTheExactGridSpans) {
    WorkDir dir(false);
    ZEMU_screen_options o = quiet_options();
    o.jobs = 2;
    o.output = dir.file("rows.jsonl");
    const std::string li = zemu_test::source_file("examples/LiFePO4/structure.cif");
    const std::string na = zemu_test::source_file("examples/Na2UO4/structure.cif");
    ASSERT_EQ(ZEMU_screen_batch({na, li}, o, [&o](const std::string& f, ZEMU_screen_row* r) { example_job(f, r, o); }),
              0);
    auto rows = json_rows(o.output);
    ASSERT_EQ(rows.size(), 2u);
    struct Case { std::string file, example, ion, field, grid; } cases[] = {
        {li, "LiFePO4", "Li1+", "span", "56x32x24"}, {na, "Na2UO4", "Na1+", "span_scaled", "30x30x62"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.example);
        const nlohmann::json& row = rows[c.file];
        ASSERT_EQ(row["status"], "ok") << row.dump();
        EXPECT_EQ(row["ion"], c.ion);
        EXPECT_EQ(row["grid"], c.grid);
        EXPECT_EQ(row["sg_number"], c.example == "LiFePO4" ? 62 : 61);
        std::vector<double> zemu = zemu_activation(c.example, c.ion);
        for (int d = 1; d <= 3; d++) {
            const std::string k = std::to_string(d);
            EXPECT_DOUBLE_EQ(row["e" + k + "d"].get<double>(), zemu[d - 1]) << d;
            EXPECT_NEAR(row["grid_e" + k + "d"].get<double>(), reference_span(c.example, d, c.field.c_str()), 1e-6)
                << d;
        }
        EXPECT_EQ(row["consistent"], true);
        EXPECT_GT(row["minima_types"].get<int>(), 0);
        EXPECT_GT(row["paths"].get<int>(), 0);
    }
}

TEST(ScreenBatch, KeptReportsAreTheProgramsOwn) {
    WorkDir cli, kept(false);
    cli.write("landscape.cube", zemu_test::slurp(zemu_test::source_file("examples/Na2UO4/landscape.cube")));
    RunResult zemu = cli.run({"--cube", "landscape.cube", "--cif", zemu_test::source_file("examples/Na2UO4/structure.cif"),
                              "Na1+", "--path", "--summary", "--vesta"});
    ASSERT_EQ(zemu.status, 0) << zemu.err;
    ZEMU_screen_options o = quiet_options();
    o.output = kept.file("rows.csv");
    o.keep = "keep";  // relative to the batch's working directory
    char here[4096];
    ASSERT_NE(getcwd(here, sizeof here), nullptr);
    ASSERT_EQ(chdir(kept.path().c_str()), 0);
    int status = ZEMU_screen_batch({zemu_test::source_file("examples/Na2UO4/structure.cif")}, o,
                                   [&o](const std::string& f, ZEMU_screen_row* r) { example_job(f, r, o); });
    ASSERT_EQ(chdir(here), 0);
    ASSERT_EQ(status, 0);
    for (const char* name : {"ZEMU_summary.txt", "ZEMU_rp.csv", "ZEMU.vesta"})
        EXPECT_EQ(kept.read(std::string("keep/Na2UO4/") + name), cli.read(name)) << name;
    // nothing else: no events file, no scratch folder
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(kept.file("keep/Na2UO4"))) names.insert(entry.path().filename());
    EXPECT_EQ(names, (std::set<std::string>{"ZEMU_summary.txt", "ZEMU_rp.csv", "ZEMU.vesta"}));
}

// One well per axis on an 8x8x8 grid, E = sum of A cos(2 pi n / 8) over the
// axes, the minimum at (4,4,4) and a barrier of 2A across each axis. An axis
// of 2 Bohr steps puts the minimum's images 4.23 Angstrom apart, beyond the
// reach of a hop: the path network cannot cross it, the grid can.
void analyse_wells(const double (&amp)[3], const int (&bohr)[3], double max, ZEMU_screen_row* row) {
    WorkDir dir(false);
    const double pi = 3.141592653589793, bohr_a = 0.529177249;
    std::string cube = "wells\nLi1+ site energies (eV)\n    1 0.000000 0.000000 0.000000\n";
    char line[160];
    for (int a = 0; a < 3; a++) {
        snprintf(line, sizeof line, "    8 %d.0 %d.0 %d.0\n", a == 0 ? bohr[0] : 0, a == 1 ? bohr[1] : 0,
                 a == 2 ? bohr[2] : 0);
        cube += line;
    }
    cube += "    3 0.0 0.0 0.0 0.0\n";
    for (int i = 0; i < 8; i++)
        for (int j = 0; j < 8; j++)
            for (int k = 0; k < 8; k++) {
                snprintf(line, sizeof line, "%.10f\n",
                         amp[0] * cos(pi * i / 4) + amp[1] * cos(pi * j / 4) + amp[2] * cos(pi * k / 4));
                cube += line;
            }
    snprintf(line, sizeof line, "_cell_length_a %.6f\n_cell_length_b %.6f\n_cell_length_c %.6f\n",
             8 * bohr[0] * bohr_a, 8 * bohr[1] * bohr_a, 8 * bohr[2] * bohr_a);
    dir.write("l.cube", cube);
    dir.write("s.cif", std::string("data_wells\n") + line +
                           "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
                           "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\n-x,-y,-z\n"
                           "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nLi1+ 1\nO2- -2\n"
                           "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n"
                           "_atom_site_fract_y\n_atom_site_fract_z\n_atom_site_occupancy\nLi1 Li1+ 0.5 0.5 0.5 1.0\n");
    ZEMU_cube c;
    ZEMU_cif s;
    ZEMU_init_cube(&c);
    ZEMU_init_cif(&s);
    std::string cube_file = dir.file("l.cube"), cif_file = dir.file("s.cif");
    ASSERT_EQ(ZEMU_load_cube(&cube_file[0], &c), 0);
    ASSERT_EQ(ZEMU_load_cif(&cif_file[0], &s), 0);
    ZEMU_screen_options o = quiet_options();
    o.max = max;
    testing::internal::CaptureStderr();  // the unreachable saddle type is warned about
    EXPECT_EQ(ZEMU_screen_analyse(&c, &s, o, "", row), 0);
    testing::internal::GetCapturedStderr();
    ZEMU_free_cube(&c);
    ZEMU_free_cif(&s);
}

TEST(ScreenAnalysis, ConsistentExactlyWhenTheNetworkFindsTheGridsBarriersBelowTheCeiling) {
    const double kNone = NAN;
    struct Case {
        const char* what;
        int bohr[3];
        double max;
        double e[3];
        int consistent;
    } cases[] = {
        {"every axis in reach: network and grid agree", {1, 1, 1}, 0.0, {0.2, 0.6, 1.0}, 1},
        {"c out of the network's reach: its 3-D barrier is missed", {1, 1, 2}, 0.0, {0.2, 0.6, kNone}, 0},
        {"the same below a ceiling of 0.8 eV: the missed barrier lies above it", {1, 1, 2}, 0.8, {0.2, 0.6, kNone}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ZEMU_screen_row row;
        ZEMU_init_screen_row(&row);
        analyse_wells({0.1, 0.3, 0.5}, c.bohr, c.max, &row);
        ASSERT_EQ(row.status, "ok") << row.error;
        const double network[3] = {row.e1d, row.e2d, row.e3d}, grid[3] = {row.grid_e1d, row.grid_e2d, row.grid_e3d};
        for (int d = 0; d < 3; d++) {
            if (std::isnan(c.e[d])) EXPECT_TRUE(std::isnan(network[d])) << d + 1;
            else EXPECT_NEAR(network[d], c.e[d], 1e-9) << d + 1;
        }
        // the grid crosses every axis whatever the hop reach and the ceiling
        EXPECT_NEAR(grid[0], 0.2, 1e-9);
        EXPECT_NEAR(grid[1], 0.6, 1e-9);
        EXPECT_NEAR(grid[2], 1.0, 1e-9);
        EXPECT_EQ(row.consistent, c.consistent);
        EXPECT_EQ(row.grid, "8x8x8");
    }
}

// ---------------------------------------------------------------------------
// Workers that do not come back normally

TEST(ScreenWorkers, CrashHangMemoryAndFailureEachCostOneRow) {
#if defined(__SANITIZE_ADDRESS__)
    const bool memory_limit = false;  // the sanitizer's shadow memory does not fit any address-space limit
#else
    const bool memory_limit = true;
#endif
    ZEMU_screen_options o = quiet_options();
    o.jobs = 3;
    o.timeout = 1.0;
    o.memory_mb = memory_limit ? 256 : 0;
    std::vector<std::string> files = {"crash", "hang", "fail", "ok", "exit"};
    if (memory_limit) files.push_back("hog");
    std::map<std::string, ZEMU_screen_row> rows;
    int status = ZEMU_screen_run_workers(files, o, [](const std::string& f, ZEMU_screen_row* row) {
        if (f == "crash") abort();
        if (f == "hang")
            for (;;) pause();
        if (f == "exit") {
            fputs("Error: gave up early\n", stderr);
            _exit(3);
        }
        if (f == "hog") {
            std::vector<std::unique_ptr<char[]>> held;
            for (;;) held.emplace_back(new char[1 << 20]);
        }
        if (f == "fail") {
            row->status = "error";
            row->error = "cannot read the structure";
            return;
        }
        naming_job(f, row);
    }, [&rows](const ZEMU_screen_row& row) {
        EXPECT_EQ(rows.count(row.file), 0u) << row.file;
        rows[row.file] = row;
    });
    EXPECT_EQ(status, 0);
    ASSERT_EQ(rows.size(), files.size());
    EXPECT_EQ(rows["ok"].status, "ok");
    EXPECT_EQ(rows["ok"].ion, "Li1+");
    EXPECT_EQ(rows["crash"].status, "error");
    EXPECT_EQ(rows["crash"].error, "worker killed by signal 6 (Aborted)");
    EXPECT_EQ(rows["hang"].status, "timeout");
    EXPECT_EQ(rows["hang"].error, "no result within 1 s");
    EXPECT_GE(rows["hang"].seconds, 1.0);
    EXPECT_EQ(rows["fail"].status, "error");
    EXPECT_EQ(rows["fail"].error, "cannot read the structure");
    EXPECT_EQ(rows["exit"].error, "worker exited with status 3: gave up early");
    if (memory_limit) {
        EXPECT_EQ(rows["hog"].status, "error");
        EXPECT_EQ(rows["hog"].error, "worker exited with status 1: out of memory");
    }
}

// ---------------------------------------------------------------------------
// File list, shards, resume

TEST(ScreenFiles, FoldersGiveTheirCifFilesSortedAndShardsCoverThemOnce) {
    WorkDir dir(false);
    touch(dir, {"set/b.cif", "set/a.cif", "set/sub/c.CIF", "set/notes.txt", "set/sub/deep/d.cif", "extra.dat"});
    std::vector<std::string> files;
    std::string error;
    // a file named directly is taken whatever its name; a repeat is listed once
    ASSERT_EQ(ZEMU_screen_list_files({dir.file("set"), dir.file("extra.dat"), dir.file("set/a.cif")}, &files, &error),
              0);
    std::vector<std::string> want = {dir.file("extra.dat"), dir.file("set/a.cif"), dir.file("set/b.cif"),
                                     dir.file("set/sub/c.CIF"), dir.file("set/sub/deep/d.cif")};
    EXPECT_EQ(files, want);
    EXPECT_EQ(ZEMU_screen_list_files({dir.file("missing")}, &files, &error), 1);
    EXPECT_EQ(error, dir.file("missing") + ": no such file or directory");

    int k = 0, n = 0;
    EXPECT_EQ(ZEMU_screen_parse_shard("2/3", &k, &n, &error), 0);
    EXPECT_EQ(k * 10 + n, 23);
    for (const char* bad : {"0/3", "4/3", "1/0", "a/b", "3", "1/2/3", "-1/2", ""})
        EXPECT_EQ(ZEMU_screen_parse_shard(bad, &k, &n, &error), 1) << bad;

    // two shards run as batches: their rows together are the whole run, once each;
    // structures kept by an earlier run inside the folder are no candidates
    touch(dir, {"set/kept/a/structure.cif"});
    ZEMU_screen_options o = quiet_options();
    o.keep = dir.file("set/kept");
    std::set<std::string> seen;
    size_t total = 0;
    for (int shard = 1; shard <= 2; shard++) {
        o.shard_k = shard;
        o.shard_n = 2;
        o.output = dir.file("part" + std::to_string(shard) + ".jsonl");
        ASSERT_EQ(ZEMU_screen_batch({dir.file("set")}, o, naming_job), 0);
        auto rows = json_rows(o.output);
        total += rows.size();
        for (const auto& r : rows) seen.insert(r.first);
        // what a resumed run would skip: exactly the shard's own files
        std::set<std::string> done;
        ASSERT_EQ(ZEMU_screen_read_done(o.output, &done, &error), 0);
        std::vector<std::string> own = ZEMU_screen_take_shard(std::vector<std::string>(want.begin() + 1, want.end()),
                                                              shard, 2);
        EXPECT_EQ(done, std::set<std::string>(own.begin(), own.end()));
    }
    EXPECT_EQ(total, 4u);
    EXPECT_EQ(seen, std::set<std::string>(want.begin() + 1, want.end()));
}

TEST(ScreenFiles, ResumeSkipsFinishedFilesAndDropsACutLine) {
    WorkDir dir(false);
    touch(dir, {"set/a.cif", "set/b.cif", "set/c.cif"});
    ZEMU_screen_options o = quiet_options();
    o.output = dir.file("rows.csv");
    ASSERT_EQ(ZEMU_screen_batch({dir.file("set")}, o, naming_job), 0);
    // two more files, and a run that died in the middle of a row
    touch(dir, {"set/d.cif", "set/e,quoted.cif"});
    FILE* f = fopen(o.output.c_str(), "a");
    fputs("\"half a row", f);
    fclose(f);
    o.resume = 1;
    ASSERT_EQ(ZEMU_screen_batch({dir.file("set")}, o, naming_job), 0);
    std::string csv = zemu_test::slurp(o.output);
    EXPECT_EQ(csv.find("half a row"), std::string::npos);
    EXPECT_EQ(csv.find(ZEMU_screen_csv_header()), 0u);
    EXPECT_EQ(csv.find("file,status", 1), std::string::npos);  // header once
    std::set<std::string> done;
    std::string error;
    ASSERT_EQ(ZEMU_screen_read_done(o.output, &done, &error), 0);
    EXPECT_EQ(done.size(), 5u);
    EXPECT_EQ(done.count(dir.file("set/e,quoted.cif")), 1u);
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 6);
    // a third run has nothing left to do
    ASSERT_EQ(ZEMU_screen_batch({dir.file("set")}, o, naming_job), 0);
    EXPECT_EQ(zemu_test::slurp(o.output), csv);
}

TEST(ScreenFiles, UnwritableOutputIsOneErrorLine) {
    ZEMU_screen_options o = quiet_options();
    o.output = "/nonexistent-dir/rows.csv";
    testing::internal::CaptureStderr();
    EXPECT_EQ(ZEMU_screen_batch({zemu_test::source_file("examples/LiFePO4/structure.cif")}, o, naming_job), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: /nonexistent-dir/rows.csv: No such file or directory\n");
}

// ---------------------------------------------------------------------------
// Table formats, progress lines and the summary

TEST(ScreenRows, CsvAndJsonLinesAreExact) {
    EXPECT_EQ(ZEMU_screen_csv_header(),
              "file,status,error,formula,spacegroup,sg_number,ion,oxidation,grid,minima_types,saddle_types,paths,"
              "e1d,e2d,e3d,grid_e1d,grid_e2d,grid_e3d,consistent,seconds\n");
    ZEMU_screen_row row;
    ZEMU_init_screen_row(&row);
    row.file = "in/a,b.cif";
    row.status = "ok";
    row.formula = "Li1 Fe1 P1 O4";
    row.spacegroup = "P n m a";
    row.sg_number = 62;
    row.ion = "Li1+";
    row.oxidation = "assigned";
    row.grid = "57x33x25";
    row.minima_types = 2;
    row.saddle_types = 5;
    row.paths = 3;
    row.e1d = 0.4095644;
    row.e3d = 3.3424616;
    row.grid_e1d = 0.4095644;
    row.grid_e2d = 3.3424616;
    row.grid_e3d = 3.3424616;
    row.consistent = 0;
    row.seconds = 0.41234;
    EXPECT_EQ(ZEMU_screen_csv_line(row), "\"in/a,b.cif\",ok,,Li1 Fe1 P1 O4,P n m a,62,Li1+,assigned,57x33x25,2,5,3,"
                                         "0.409564,,3.342462,0.409564,3.342462,3.342462,false,0.412\n");
    EXPECT_EQ(ZEMU_screen_json_line(row),
              "{\"file\":\"in/a,b.cif\",\"status\":\"ok\",\"error\":\"\",\"formula\":\"Li1 Fe1 P1 O4\","
              "\"spacegroup\":\"P n m a\",\"sg_number\":62,\"ion\":\"Li1+\",\"oxidation\":\"assigned\","
              "\"grid\":\"57x33x25\",\"minima_types\":2,\"saddle_types\":5,\"paths\":3,\"e1d\":0.409564,"
              "\"e2d\":null,\"e3d\":3.342462,\"grid_e1d\":0.409564,\"grid_e2d\":3.342462,\"grid_e3d\":3.342462,"
              "\"consistent\":false,\"seconds\":0.412}\n");

    ZEMU_screen_row failed;
    ZEMU_init_screen_row(&failed);
    failed.file = "x.cif";
    failed.status = "error";
    failed.error = "bad \"cell\"\nline two";
    EXPECT_EQ(ZEMU_screen_csv_line(failed), "x.cif,error,\"bad \"\"cell\"\" line two\",,,,,,,,,,,,,,,,,0.000\n");
    EXPECT_EQ(ZEMU_screen_json_line(failed),
              "{\"file\":\"x.cif\",\"status\":\"error\",\"error\":\"bad \\\"cell\\\" line two\",\"formula\":\"\","
              "\"spacegroup\":\"\",\"sg_number\":null,\"ion\":\"\",\"oxidation\":\"\",\"grid\":\"\","
              "\"minima_types\":null,\"saddle_types\":null,\"paths\":null,\"e1d\":null,\"e2d\":null,\"e3d\":null,"
              "\"grid_e1d\":null,\"grid_e2d\":null,\"grid_e3d\":null,\"consistent\":null,\"seconds\":0.0}\n");

    // the worker's message keeps every bit
    ZEMU_screen_row back;
    ASSERT_EQ(ZEMU_screen_row_from_message(ZEMU_screen_row_message(row), &back), 0);
    EXPECT_EQ(back.e1d, row.e1d);
    EXPECT_TRUE(std::isnan(back.e2d));
    EXPECT_EQ(back.consistent, 0);
    EXPECT_EQ(back.file, row.file);
    EXPECT_EQ(ZEMU_screen_row_from_message("{\"file\":", &back), 1);
}

TEST(ScreenRows, ProgressLinesAndSummaryOnStderr) {
    WorkDir dir(false);
    touch(dir, {"s/a.cif", "s/b.cif"});
    ZEMU_screen_options o = quiet_options();
    o.progress = 0;
    o.summary = 1;
    o.output = dir.file("rows.jsonl");
    testing::internal::CaptureStderr();
    ASSERT_EQ(ZEMU_screen_batch({dir.file("s")}, o, [](const std::string& f, ZEMU_screen_row* row) {
        naming_job(f, row);
        if (f.find("b.cif") != std::string::npos) row->e3d = 0.125;
    }), 0);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("[1/2] " + dir.file("s/a.cif") + ": ok "), std::string::npos) << err;
    EXPECT_NE(err.find("[2/2] " + dir.file("s/b.cif") + ": ok "), std::string::npos) << err;
    EXPECT_NE(err.find("Screened 2 structures in 0:00"), std::string::npos) << err;
    EXPECT_NE(err.find(": 2 ok, 0 error, 0 timeout\nLowest 3-D barriers (eV):\n  0.125000  " + dir.file("s/b.cif") +
                       "  (b)\n  0.250000  " + dir.file("s/a.cif") + "  (a)\n"),
              std::string::npos)
        << err;
}
