// End-to-end runs of the path stages, compared byte for byte with the outputs
// kept in tests/data/paths: small landscapes described in its README, and the
// bundled examples, whose activation energies also match their reference
// percolation energies.
#include <gtest/gtest.h>

#include <cstdlib>
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

// The number after "key": inside the object that follows "section": in the
// exact percolation energies of a reference file (small, flat, one writer).
double reference_value(const std::string& json, const std::string& section, const std::string& key) {
    size_t at = json.find("\"percolation_exact_eV\"");
    if (at == std::string::npos || (at = json.find("\"" + section + "\"", at)) == std::string::npos) return -1.0;
    size_t close = json.find('}', at);
    at = json.find("\"" + key + "\":", at);
    return at == std::string::npos || at > close ? -1.0 : atof(json.c_str() + at + key.size() + 3);
}

}  // namespace

TEST(RunPaths, OutputsOfThePathStagesMatchTheKeptCopies) {
    const std::vector<std::string> all_reports = {"--path", "--print-path", "--print-perc", "--print-act"};
    const std::vector<std::string> example_reports = {"--path", "--print-path", "--print-act"};
    // name: stem of the kept outputs; input: stem of the input files, or the example;
    // blocked: directories stand in place of the output files; span: the reference
    // value of the example that the activation energies match.
    const struct { const char* name; const char* input; const char* ion; std::vector<std::string> args; int status;
                   bool blocked; const char* span; } cases[] = {
        {"channel", "channel", "Li1+", all_reports, 0, false, nullptr},
        {"layer_bc", "layer_bc", "Li1+", all_reports, 0, false, nullptr},
        {"three_barriers", "three_barriers", "Li1+", all_reports, 0, false, nullptr},
        {"fourfold", "fourfold", "Li1+", all_reports, 0, false, nullptr},
        {"threefold", "threefold", "Li1+", all_reports, 0, false, nullptr},
        // The report switches choose what reaches standard output, not the files.
        {"channel_quiet", "channel", "Li1+", {"--path"}, 0, false, nullptr},
        {"channel_perc", "channel", "Li1+", {"--path", "--print-perc"}, 0, false, nullptr},
        {"two_channels", "two_channels", "Li1+", {"--path"}, 0, false, nullptr},
        // The summary library shows the pathway's marks, the console's, printed before, none.
        {"summary", "channel", "Li1+", {"--path", "--summary", "--print-path"}, 0, false, nullptr},
        {"summary_no_path", "channel", "Li1+", {"--summary"}, 0, false, nullptr},
        // Unwritable files are reported; only an unwritable summary fails the run.
        {"unwritable", "channel", "Li1+", {"--path", "--print-act"}, 0, true, nullptr},
        {"unwritable_summary", "channel", "Li1+", {"--path", "--summary"}, 1, true, nullptr},
        // Li1+ is not scaled; Na1+ energies go through 0.5695*E^0.6946 (the scaled spans).
        {"LiFePO4", "LiFePO4", "Li1+", example_reports, 0, false, "span"},
        {"Na2UO4", "Na2UO4", "Na1+", example_reports, 0, false, "span_scaled"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        WorkDir dir;
        const std::string input = c.span ? zemu_test::source_file(std::string("examples/") + c.input + "/")
                                         : zemu_test::data_file(std::string("paths/") + c.input);
        for (const auto& f : kFiles) ASSERT_TRUE(!c.blocked || mkdir(dir.file(f[0]).c_str(), 0755) == 0) << f[0];
        std::vector<std::string> args = {"--cube", input + (c.span ? "landscape.cube" : ".cube"), "--cif",
                                         input + (c.span ? "structure.cif" : ".cif"), c.ion};
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
                struct stat st;
                EXPECT_NE(stat((stem + f[1]).c_str(), &st), 0) << f[0] << " not written";
            }
        }
        for (const auto& o : outputs) EXPECT_EQ(o.second, zemu_test::slurp(stem + o.first)) << o.first;
        // Six-decimal values (reference and printed), each within half a unit of
        // the last place; 2e-6 leaves room for the binary representation.
        const std::string json = c.span ? zemu_test::slurp(input + "reference.json") : "";
        for (int dim = 1; c.span && dim <= 3; dim++) {
            const std::string key = std::to_string(dim) + "D activation energy: ";
            const size_t at = r.out.find(key);
            const double ref = reference_value(json, "E_" + std::to_string(dim) + "D", c.span);
            ASSERT_TRUE(at != std::string::npos && ref > 0.0) << dim;
            EXPECT_NEAR(atof(r.out.c_str() + at + key.size()), ref, 2e-6) << dim << "D";
        }
    }
}
