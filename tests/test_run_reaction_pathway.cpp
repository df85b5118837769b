// End-to-end runs of the path stages on the bundled examples: the activation
// energies against the reference percolation energies of the example, and every
// output compared byte for byte with the copies kept in tests/data/paths/.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "e2e_util.h"

using zemu_test::RunResult;
using zemu_test::WorkDir;

namespace {

// The number after "key": inside the object that follows "section": in the
// exact percolation energies of a reference file (small, flat, one writer).
double reference_value(const std::string& json, const std::string& section, const std::string& key) {
    size_t at = json.find("\"percolation_exact_eV\"");
    if (at == std::string::npos || (at = json.find("\"" + section + "\"", at)) == std::string::npos) return -1.0;
    size_t close = json.find('}', at);
    at = json.find("\"" + key + "\":", at);
    return at == std::string::npos || at > close ? -1.0 : atof(json.c_str() + at + key.size() + 3);
}

// The value printed on the activation line of one dimension.
double printed_activation(const std::string& out, int dim) {
    const std::string key = std::to_string(dim) + "D activation energy: ";
    size_t at = out.find(key);
    return at == std::string::npos ? -1.0 : atof(out.c_str() + at + key.size());
}

// `span_key` names the reference value the activation energies must match.
void check_example(const char* name, const char* ion, const char* span_key) {
    WorkDir dir;
    const std::string base = std::string("examples/") + name + "/";
    RunResult r = dir.run({"--cube", zemu_test::source_file(base + "landscape.cube"), "--cif",
                           zemu_test::source_file(base + "structure.cif"), ion, "--path", "--print-path", "--print-act"});
    EXPECT_EQ(r.status, 0);
    // Six-decimal values (reference and printed), each within half a unit of
    // the last place; 2e-6 leaves room for the binary representation.
    const std::string json = zemu_test::slurp(zemu_test::source_file(base + "reference.json"));
    for (int dim = 1; dim <= 3; dim++) {
        double ref = reference_value(json, "E_" + std::to_string(dim) + "D", span_key);
        ASSERT_GT(ref, 0.0) << dim;
        EXPECT_NEAR(printed_activation(r.out, dim), ref, 2e-6) << dim << "D";
    }
    const std::string kept = zemu_test::data_file(std::string("paths/") + name + ".");
    EXPECT_EQ(r.out, zemu_test::slurp(kept + "out"));
    EXPECT_EQ(r.err, zemu_test::slurp(kept + "err"));
    EXPECT_EQ(dir.read("ZEMU_rp.csv"), zemu_test::slurp(kept + "rp"));
    EXPECT_EQ(dir.read("ZEMU_events.txt"), zemu_test::slurp(kept + "events"));
}

}  // namespace

TEST(RunPathExamples, LithiumIronPhosphateMatchesTheReferenceSpansAndItsKeptOutputs) {
    // Li1+ is not scaled: the energies compare with the plain spans.
    check_example("LiFePO4", "Li1+", "span");
}

TEST(RunPathExamples, SodiumUranateMatchesTheScaledReferenceSpansAndItsKeptOutputs) {
    // Na1+ energies go through 0.5695*E^0.6946: the scaled spans apply.
    check_example("Na2UO4", "Na1+", "span_scaled");
}
