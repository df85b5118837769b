// Screening: one worker process per structure. The parent forks up to
// options.jobs workers, reads each one's row (one JSON object) from a pipe,
// kills a worker that runs past its time limit, and turns whatever ends a
// worker (exit, crash, kill) into exactly one row.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ZEMU-screen.h"

#ifdef ZEMU_COVERAGE
extern "C" void __gcov_dump(void);
#endif

namespace {

using Clock = std::chrono::steady_clock;

// Most bytes of a worker's standard error read back for the cause of a failure.
const long kStderrTail = 4096;

struct Worker {
    pid_t pid = -1;
    int fd = -1;              // read end of the result pipe
    FILE* err = nullptr;      // the worker's standard error
    std::string file;
    std::string message;      // bytes received
    Clock::time_point start;
    bool timed_out = false;
};

double seconds_since(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

// Writes all of text to fd; false on failure.
bool write_all(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// In the worker: limits, console, the job, the row down the pipe. Never returns.
[[noreturn]] void run_child(const std::string& file, const ZEMU_screen_options& options, const ZEMU_screen_job& job,
                            int out_fd, FILE* err) {
    // die with the batch
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    int null_fd = open("/dev/null", O_RDWR);
    if (null_fd >= 0) {
        dup2(null_fd, STDIN_FILENO);
        dup2(null_fd, STDOUT_FILENO);
        close(null_fd);
    }
    if (err != nullptr) dup2(fileno(err), STDERR_FILENO);
#if !defined(__SANITIZE_ADDRESS__)
    // (an address-sanitizer build reserves terabytes of shadow memory up front and
    // cannot run under any address-space limit)
    if (options.memory_mb > 0) {
        rlim_t bytes = static_cast<rlim_t>(options.memory_mb) * 1024 * 1024;
        struct rlimit limit = {bytes, bytes};
        setrlimit(RLIMIT_AS, &limit);
    }
#endif
    // a second guard should the parent be unable to kill in time
    if (options.timeout > 0) alarm(static_cast<unsigned>(std::min(options.timeout + 5.0, 1e9)));

    std::string message;
    try {
        ZEMU_screen_row row;
        ZEMU_init_screen_row(&row);
        row.file = file;
        row.ion = options.ion;
        job(file, &row);
        if (row.status.empty()) {
            row.status = "error";
            if (row.error.empty()) row.error = "no result";
        }
        message = ZEMU_screen_row_message(row) + "\n";
    } catch (const std::bad_alloc&) {
        message = "";
        fputs("Error: out of memory\n", stderr);
    } catch (const std::exception& e) {
        fprintf(stderr, "Error: %s\n", e.what());
    }
    fflush(stdout);
    fflush(stderr);
    int status = !message.empty() && write_all(out_fd, message) ? 0 : 1;
    close(out_fd);
#ifdef ZEMU_COVERAGE
    __gcov_dump();  // _exit skips the counters' writer, which runs at exit()
#endif
    _exit(status);
}

// Last non-empty line the worker wrote on standard error, without "Error: ".
std::string last_stderr_line(FILE* err) {
    if (err == nullptr) return "";
    fflush(err);
    if (fseek(err, 0, SEEK_END) != 0) return "";
    long size = ftell(err);
    long from = size > kStderrTail ? size - kStderrTail : 0;
    fseek(err, from, SEEK_SET);
    std::string text(static_cast<size_t>(size - from), '\0');
    size_t got = fread(&text[0], 1, text.size(), err);
    text.resize(got);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) text.pop_back();
    size_t nl = text.find_last_of('\n');
    std::string line = nl == std::string::npos ? text : text.substr(nl + 1);
    if (line.compare(0, 7, "Error: ") == 0) line = line.substr(7);
    return line;
}

// The row of a finished worker, from its message or from how it ended.
ZEMU_screen_row finish(Worker& w, int wait_status, const ZEMU_screen_options& options) {
    ZEMU_screen_row row;
    const std::string cause = last_stderr_line(w.err);
    bool exited_cleanly = WIFEXITED(wait_status) && WEXITSTATUS(wait_status) == 0;
    if (!w.timed_out && exited_cleanly && ZEMU_screen_row_from_message(w.message, &row) == 0) {
        // a failure the job only named generally gets the stages' own message
        if (row.status == "error" && !cause.empty() && row.error.find(cause) == std::string::npos)
            row.error += ": " + cause;
    } else {
        ZEMU_init_screen_row(&row);
        row.ion = options.ion;
        if (w.timed_out) {
            row.status = "timeout";
            char text[96];
            snprintf(text, sizeof text, "no result within %g s", options.timeout);
            row.error = text;
        } else {
            row.status = "error";
            char text[128];
            if (WIFSIGNALED(wait_status)) {
                int sig = WTERMSIG(wait_status);
                snprintf(text, sizeof text, "worker killed by signal %d (%s)", sig, strsignal(sig));
                if (sig == SIGALRM) {
                    row.status = "timeout";
                    snprintf(text, sizeof text, "no result within %g s", options.timeout);
                }
            } else if (WIFEXITED(wait_status) && WEXITSTATUS(wait_status) != 0) {
                snprintf(text, sizeof text, "worker exited with status %d", WEXITSTATUS(wait_status));
            } else {
                snprintf(text, sizeof text, "worker gave no readable result");
            }
            row.error = text;
            if (!cause.empty()) row.error += ": " + cause;
        }
    }
    row.file = w.file;
    row.seconds = seconds_since(w.start);
    return row;
}

void release(Worker& w) {
    if (w.fd >= 0) close(w.fd);
    if (w.err != nullptr) fclose(w.err);
    w.fd = -1;
    w.err = nullptr;
}

// Forks the worker of file; false when no pipe or process could be made.
bool spawn(Worker& w, const std::string& file, const ZEMU_screen_options& options, const ZEMU_screen_job& job) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) return false;
    FILE* err = tmpfile();
    fflush(stdout);
    fflush(stderr);
    pid_t pid = fork();
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        if (err != nullptr) fclose(err);
        return false;
    }
    if (pid == 0) {
        close(fds[0]);
        run_child(file, options, job, fds[1], err);
    }
    close(fds[1]);
    w.pid = pid;
    w.fd = fds[0];
    w.err = err;
    w.file = file;
    w.message.clear();
    w.start = Clock::now();
    w.timed_out = false;
    return true;
}

}  // namespace

int ZEMU_screen_run_workers(const std::vector<std::string>& files, const ZEMU_screen_options& options,
                            const ZEMU_screen_job& job, const ZEMU_screen_sink& sink) {
    const size_t slots = static_cast<size_t>(std::max(1, options.jobs));
    std::vector<Worker> running;
    size_t next = 0;
    int status = 0;
    while (next < files.size() || !running.empty()) {
        while (status == 0 && running.size() < slots && next < files.size()) {
            Worker w;
            if (!spawn(w, files[next], options, job)) {
                fprintf(stderr, "Error: %s: cannot start a worker: %s\n", files[next].c_str(), strerror(errno));
                status = 1;
                break;
            }
            next++;
            running.push_back(std::move(w));
        }
        if (running.empty()) break;

        // wait for output, an exit or the nearest time limit
        int wait_ms = 1000;
        if (options.timeout > 0) {
            for (const Worker& w : running) {
                double left = options.timeout - seconds_since(w.start);
                // clamped as a double: a limit of days (or inf) must not overflow the int
                wait_ms = static_cast<int>(std::min<double>(wait_ms, std::max(0.0, std::ceil(left * 1000.0))));
            }
        }
        std::vector<pollfd> polls;
        for (const Worker& w : running) polls.push_back({w.fd, POLLIN, 0});
        int ready = poll(polls.data(), polls.size(), wait_ms);
        if (ready < 0 && errno != EINTR) {
            fprintf(stderr, "Error: waiting for the workers: %s\n", strerror(errno));
            status = 1;
        }

        for (size_t i = 0; i < running.size();) {
            Worker& w = running[i];
            bool ended = false;
            if (ready > 0 && (polls[i].revents & (POLLIN | POLLHUP | POLLERR))) {
                char buffer[4096];
                ssize_t n = read(w.fd, buffer, sizeof buffer);
                if (n > 0) w.message.append(buffer, static_cast<size_t>(n));
                else if (n == 0 || errno != EINTR) ended = true;
            }
            if (!ended && options.timeout > 0 && seconds_since(w.start) >= options.timeout) {
                kill(w.pid, SIGKILL);
                w.timed_out = true;
                ended = true;
            }
            if (!ended && status != 0) {
                kill(w.pid, SIGKILL);
                ended = true;
            }
            if (!ended) {
                i++;
                continue;
            }
            int wait_status = 0;
            while (waitpid(w.pid, &wait_status, 0) < 0 && errno == EINTR) {
            }
            ZEMU_screen_row row = finish(w, wait_status, options);
            release(w);
            running.erase(running.begin() + static_cast<long>(i));
            polls.erase(polls.begin() + static_cast<long>(i));
            if (status == 0) sink(row);
        }
    }
    return status;
}
