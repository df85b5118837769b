// Helpers for end-to-end tests: run the zemu executable (or another one of the build) in a fresh temporary
// working directory (with bin/ data linked in) and capture everything it does.
#ifndef ZEMU_TESTS_E2E_UTIL_H
#define ZEMU_TESTS_E2E_UTIL_H

#include <string>
#include <vector>

namespace zemu_test {

struct RunResult {
    std::string out;  // standard output
    std::string err;  // standard error
    int status;       // exit status (-1 when the process did not exit normally)
};

// A temporary working directory, removed when the object goes out of scope.
class WorkDir {
public:
    // with_bin: make bin/ of the source tree visible as ./bin
    explicit WorkDir(bool with_bin = true);
    ~WorkDir();
    WorkDir(const WorkDir&) = delete;
    WorkDir& operator=(const WorkDir&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    // Writes a file (name relative to the directory) with the given bytes.
    void write(const std::string& name, const std::string& bytes) const;
    // Reads a file written by the program; empty string when it does not exist.
    std::string read(const std::string& name) const;
    bool exists(const std::string& name) const;
    // Runs zemu with the arguments inside the directory, feeding stdin_text.
    RunResult run(const std::vector<std::string>& args, const std::string& stdin_text = "") const;
    // The same for another executable of the project.
    RunResult run_program(const std::string& exe, const std::vector<std::string>& args,
                          const std::string& stdin_text = "") const;

private:
    std::string path_;
};

// Absolute path of a file below tests/data.
std::string data_file(const std::string& name);
// Absolute path of a file below the source tree (examples/..., bin/...).
std::string source_file(const std::string& name);
// Whole contents of a file.
std::string slurp(const std::string& path);

}  // namespace zemu_test

#endif
