#include "e2e_util.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zemu_test {

namespace {

void remove_tree(const std::string& dir) {
    std::string cmd = "rm -rf '" + dir + "'";
    if (std::system(cmd.c_str()) != 0) {
        // Nothing sensible to do in a destructor; the directory lives under /tmp.
    }
}

}  // namespace

WorkDir::WorkDir(bool with_bin) {
    char tmpl[] = "/tmp/zemu_test_XXXXXX";
    char* p = mkdtemp(tmpl);
    if (!p) throw std::runtime_error("mkdtemp failed");
    path_ = p;
    if (with_bin) {
        std::string target = std::string(ZEMU_SOURCE_DIR) + "/bin";
        if (symlink(target.c_str(), (path_ + "/bin").c_str()) != 0)
            throw std::runtime_error("symlink bin failed");
    }
}

WorkDir::~WorkDir() { remove_tree(path_); }

void WorkDir::write(const std::string& name, const std::string& bytes) const {
    std::ofstream f(file(name), std::ios::binary);
    f << bytes;
}

std::string WorkDir::read(const std::string& name) const {
    return exists(name) ? slurp(file(name)) : std::string();
}

bool WorkDir::exists(const std::string& name) const {
    struct stat st;
    return stat(file(name).c_str(), &st) == 0;
}

RunResult WorkDir::run(const std::vector<std::string>& args, const std::string& stdin_text) const {
    return run_program(ZEMU_EXE, args, stdin_text);
}

RunResult WorkDir::run_program(const char* exe, const std::vector<std::string>& args,
                               const std::string& stdin_text) const {
    std::string in_path = file(".stdin"), out_path = file(".stdout"), err_path = file(".stderr");
    write(".stdin", stdin_text);
    pid_t pid = fork();
    if (pid < 0) throw std::runtime_error("fork failed");
    if (pid == 0) {
        if (chdir(path_.c_str()) != 0) _exit(127);
        int in = open(in_path.c_str(), O_RDONLY);
        int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (in < 0 || out < 0 || err < 0) _exit(127);
        dup2(in, 0);
        dup2(out, 1);
        dup2(err, 2);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(exe));
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(exe, argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    RunResult r;
    r.out = slurp(out_path);
    r.err = slurp(err_path);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    unlink(in_path.c_str());
    unlink(out_path.c_str());
    unlink(err_path.c_str());
    return r;
}

std::string data_file(const std::string& name) { return std::string(ZEMU_TEST_DATA) + "/" + name; }

std::string source_file(const std::string& name) { return std::string(ZEMU_SOURCE_DIR) + "/" + name; }

std::string slurp(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

}  // namespace zemu_test
