// End-to-end runs of the path stages on small landscapes (tests/data/paths,
// described in its README), compared byte for byte with the outputs kept there.
#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <vector>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

// Files a run may write, with the suffix of their kept copy. A missing copy
// means the run must not write the file.
const char* const kFiles[][2] = {{"ZEMU_events.txt", "events"}, {"ZEMU_rp.csv", "rp"}, {"ZEMU_summary.txt", "summary"}};

bool have(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

}  // namespace

TEST(RunPaths, OutputsOfThePathStagesMatchTheKeptCopies) {
    const std::vector<std::string> all_reports = {"--path", "--print-path", "--print-perc", "--print-act"};
    const struct {
        const char* name;       // stem of the kept outputs
        const char* landscape;  // stem of the input files
        std::vector<std::string> args;
        int status;
        bool blocked;  // directories stand in place of the output files
    } cases[] = {
        {"channel", "channel", all_reports, 0, false},
        {"layer_bc", "layer_bc", all_reports, 0, false},
        {"three_barriers", "three_barriers", all_reports, 0, false},
        {"fourfold", "fourfold", all_reports, 0, false},
        {"threefold", "threefold", all_reports, 0, false},
        // The report switches choose what reaches standard output, not the files.
        {"channel_quiet", "channel", {"--path"}, 0, false},
        {"channel_perc", "channel", {"--path", "--print-perc"}, 0, false},
        {"two_channels", "two_channels", {"--path"}, 0, false},
        // The summary is written after the pathway marked the chain's path (colour
        // 1, style 1); the console library, printed before, shows -1.
        {"summary", "channel", {"--path", "--summary", "--print-path"}, 0, false},
        {"summary_no_path", "channel", {"--summary"}, 0, false},
        // Unwritable events and pathway files are reported; only an unwritable
        // summary fails the run, before any library is written.
        {"unwritable", "channel", {"--path", "--print-act"}, 0, true},
        {"unwritable_summary", "channel", {"--path", "--summary"}, 1, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        WorkDir dir;
        const std::string input = zemu_test::data_file(std::string("paths/") + c.landscape);
        for (const auto& f : kFiles) {
            if (c.blocked) {
                ASSERT_EQ(mkdir(dir.file(f[0]).c_str(), 0755), 0) << f[0];
            }
        }
        std::vector<std::string> args = {"--cube", input + ".cube", "--cif", input + ".cif", "Li1+"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        RunResult r = dir.run(args);
        EXPECT_EQ(r.status, c.status);
        const std::string stem = zemu_test::data_file(std::string("paths/") + c.name + ".");
        std::vector<std::pair<std::string, std::string>> outputs = {{"out", r.out}, {"err", r.err}};
        for (const auto& f : kFiles) {
            if (c.blocked) continue;
            if (dir.exists(f[0])) {
                outputs.emplace_back(f[1], dir.read(f[0]));
            } else {
                EXPECT_FALSE(have(stem + f[1])) << f[0] << " not written";
            }
        }
        for (const auto& o : outputs) EXPECT_EQ(o.second, zemu_test::slurp(stem + o.first)) << o.first;
    }
}
