// Screening batches: the network's barriers against the grid's on synthetic wells,
// workers that crash, hang, exhaust memory or fail, shards, resuming, and the exact
// table formats. The bundled examples run end to end in test_screen_cli.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

#include "ZEMU-screen.h"
#include "fixtures.h"

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

// Empty files laid out below a fresh directory.
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

// One well per axis on an 8x8x8 grid, E = sum of A cos(2 pi n / 8) over the axes
// (A = 0.1, 0.3, 0.5), the minimum at (4,4,4) and a barrier of 2A across each axis.
// An axis of 2 Bohr steps puts the minimum's images 4.23 Angstrom apart, beyond
// the reach of a hop: the path network cannot cross it, the grid can.
ZEMU_screen_row analyse_wells(int c_bohr, double max) {
    WorkDir dir(false);
    std::string cube =
        fx::cube_text(fx::scaled(0.1, fx::kCos1), fx::scaled(0.3, fx::kCos1), fx::scaled(0.5, fx::kCos1));
    std::string cif = fx::cif_text(fx::kP1bar, {"Li1 Li1+ 0.5 0.5 0.5 1.0"});
    char c_axis[64];
    snprintf(c_axis, sizeof c_axis, "_cell_length_c %.6f\n", 8 * c_bohr * 0.529177249);
    dir.write("l.cube", cube.replace(cube.find("0.000000 0.000000 1.000000"), 26,
                                     "0.000000 0.000000 " + std::to_string(c_bohr) + ".000000"));
    dir.write("s.cif", cif.replace(cif.find("_cell_length_c"), 24, c_axis));
    ZEMU_cube c;
    ZEMU_cif s;
    ZEMU_init_cube(&c);
    ZEMU_init_cif(&s);
    std::string cube_file = dir.file("l.cube"), cif_file = dir.file("s.cif");
    EXPECT_EQ(ZEMU_load_cube(&cube_file[0], &c), 0);
    EXPECT_EQ(ZEMU_load_cif(&cif_file[0], &s), 0);
    ZEMU_screen_options o = quiet_options();
    o.max = max;
    ZEMU_screen_row row;
    ZEMU_init_screen_row(&row);
    fx::stderr_of([&] { EXPECT_EQ(ZEMU_screen_analyse(&c, &s, o, "", &row), 0); });  // unreachable saddles warned
    ZEMU_free_cube(&c);
    ZEMU_free_cif(&s);
    return row;
}

}  // namespace

TEST(ScreenAnalysis, ConsistentExactlyWhenTheNetworkFindsTheGridsBarriersBelowTheCeiling) {
    // c axis in Bohr steps, ceiling, the network's barriers in 1, 2 and 3 dimensions, consistency
    const struct { const char* what; int c_bohr; double max; const char* network; int consistent; } cases[] = {
        {"every axis in reach: network and grid agree", 1, 0.0, "0.200000 0.600000 1.000000", 1},
        {"c out of the network's reach: its 3-D barrier is missed", 2, 0.0, "0.200000 0.600000 nan", 0},
        {"the same below a ceiling of 0.8 eV: the missed barrier lies above it", 2, 0.8, "0.200000 0.600000 nan", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const ZEMU_screen_row row = analyse_wells(c.c_bohr, c.max);
        ASSERT_EQ(row.status, "ok") << row.error;
        char e[160];
        snprintf(e, sizeof e, "%.6f %.6f %.6f | %.6f %.6f %.6f", row.e1d, row.e2d, row.e3d, row.grid_e1d,
                 row.grid_e2d, row.grid_e3d);
        // the grid crosses every axis whatever the hop reach and the ceiling
        EXPECT_EQ(e, std::string(c.network) + " | 0.200000 0.600000 1.000000");
        EXPECT_EQ(row.consistent, c.consistent);
    }
}

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
    std::map<std::string, std::string> want = {
        {"crash", "error: worker killed by signal 6 (Aborted)"}, {"hang", "timeout: no result within 1 s"},
        {"fail", "error: cannot read the structure"}, {"ok", "ok: "},
        {"exit", "error: worker exited with status 3: gave up early"}};
    if (memory_limit) want["hog"] = "error: worker exited with status 1: out of memory";
    std::vector<std::string> files;
    for (const auto& w : want) files.push_back(w.first);
    std::map<std::string, std::string> got;
    int status = ZEMU_screen_run_workers(files, o, [](const std::string& f, ZEMU_screen_row* row) {
        if (f == "crash") abort();
        if (f == "hang")
            for (;;) pause();
        if (f == "exit") fputs("Error: gave up early\n", stderr), _exit(3);
        std::vector<std::unique_ptr<char[]>> held;
        while (f == "hog") held.emplace_back(new char[1 << 20]);
        if (f == "fail") row->status = "error", row->error = "cannot read the structure";
        else naming_job(f, row);
    }, [&got](const ZEMU_screen_row& row) {
        EXPECT_EQ(got.count(row.file), 0u) << row.file;
        got[row.file] = row.status + ": " + row.error;
        EXPECT_TRUE(row.file != "hang" || row.seconds >= 1.0) << row.seconds;
        EXPECT_TRUE(row.file != "ok" || row.ion == "Li1+") << row.ion;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(got, want);
}

TEST(ScreenFiles, FoldersGiveTheirCifFilesSortedAndShardsCoverThemOnce) {
    WorkDir dir(false);
    touch(dir, {"set/b.cif", "set/a.cif", "set/sub/c.CIF", "set/notes.txt", "set/sub/deep/d.cif", "extra.dat"});
    std::vector<std::string> files;
    std::string error;
    // a file named directly is taken whatever its name; a repeat is listed once
    ASSERT_EQ(ZEMU_screen_list_files({dir.file("set"), dir.file("extra.dat"), dir.file("set/a.cif")}, &files, &error),
              0);
    const std::vector<std::string> want = {dir.file("extra.dat"), dir.file("set/a.cif"), dir.file("set/b.cif"),
                                           dir.file("set/sub/c.CIF"), dir.file("set/sub/deep/d.cif")};
    EXPECT_EQ(files, want);

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
    size_t rows = 0;
    for (int shard = 1; shard <= 2; shard++) {
        o.shard_k = shard;
        o.shard_n = 2;
        o.output = dir.file("part" + std::to_string(shard) + ".jsonl");
        ASSERT_EQ(ZEMU_screen_batch({dir.file("set")}, o, naming_job), 0);
        rows += fx::lines_of(zemu_test::slurp(o.output)).size();
        // what a resumed run would skip: exactly the shard's own files
        std::set<std::string> done;
        ASSERT_EQ(ZEMU_screen_read_done(o.output, &done, &error), 0);
        std::vector<std::string> own = ZEMU_screen_take_shard({want.begin() + 1, want.end()}, shard, 2);
        EXPECT_EQ(done, std::set<std::string>(own.begin(), own.end()));
        seen.insert(done.begin(), done.end());
    }
    EXPECT_EQ(rows, 4u);
    EXPECT_EQ(seen, std::set<std::string>(want.begin() + 1, want.end()));
}

TEST(ScreenFiles, ResumeSkipsFinishedFilesAndDropsACutLine) {
    WorkDir dir(false);
    touch(dir, {"set/a.cif", "set/b.cif"});
    ZEMU_screen_options o = quiet_options();
    o.output = dir.file("rows.csv");
    ASSERT_EQ(ZEMU_screen_batch({dir.file("set")}, o, naming_job), 0);
    // three more files, and a run that died in the middle of a row
    touch(dir, {"set/c.cif", "set/d.cif", "set/e,quoted.cif"});
    dir.write("rows.csv", dir.read("rows.csv") + "\"half a row");
    o.resume = 1;
    ASSERT_EQ(ZEMU_screen_batch({dir.file("set")}, o, naming_job), 0);
    const std::string csv = dir.read("rows.csv");
    EXPECT_EQ(csv.find("half a row"), std::string::npos);
    EXPECT_EQ(csv.find(ZEMU_screen_csv_header()), 0u);
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 6);  // the header once, every file once
    std::set<std::string> done;
    std::string error;
    ASSERT_EQ(ZEMU_screen_read_done(o.output, &done, &error), 0);
    EXPECT_EQ(done.size(), 5u);
    EXPECT_EQ(done.count(dir.file("set/e,quoted.cif")), 1u);
    // a third run has nothing left to do
    ASSERT_EQ(ZEMU_screen_batch({dir.file("set")}, o, naming_job), 0);
    EXPECT_EQ(dir.read("rows.csv"), csv);
}

TEST(ScreenRows, TablesAreExactAndTheWorkersMessageKeepsEveryBit) {
    // a row that finished and one that failed, as the workers send them
    const auto messages = fx::lines_of(zemu_test::slurp(zemu_test::data_file("screen/messages.jsonl")));
    ZEMU_screen_row ok, failed, back;
    ASSERT_EQ(ZEMU_screen_row_from_message(messages.at(0), &ok), 0);
    ASSERT_EQ(ZEMU_screen_row_from_message(messages.at(1), &failed), 0);
    EXPECT_EQ(ZEMU_screen_csv_header() + ZEMU_screen_csv_line(ok) + ZEMU_screen_json_line(ok) +
                  ZEMU_screen_csv_line(failed) + ZEMU_screen_json_line(failed),
              zemu_test::slurp(zemu_test::data_file("screen/rows.txt")));
    ok.e1d = 1.0 / 3.0;
    ASSERT_EQ(ZEMU_screen_row_from_message(ZEMU_screen_row_message(ok), &back), 0);
    EXPECT_EQ(back.e1d, ok.e1d);
    EXPECT_EQ(ZEMU_screen_row_message(back), ZEMU_screen_row_message(ok));
    EXPECT_EQ(ZEMU_screen_row_from_message("{\"file\":", &back), 1);
}
