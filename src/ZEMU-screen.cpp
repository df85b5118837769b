// Screening: the whole batch (file list, shard, resume, the result file written
// row by row, progress and the closing summary on stderr).
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <unistd.h>

#include "ZEMU-screen.h"

namespace {

using Clock = std::chrono::steady_clock;

// Lowest 3-D barriers listed by the summary.
const size_t kSummaryBest = 10;
// Width of the progress bar, characters.
const int kBarWidth = 30;

std::string clock_text(double seconds) {
    long s = std::lround(std::max(0.0, seconds));
    char text[32];
    if (s >= 3600) snprintf(text, sizeof text, "%ld:%02ld:%02ld", s / 3600, (s / 60) % 60, s % 60);
    else snprintf(text, sizeof text, "%ld:%02ld", s / 60, s % 60);
    return text;
}

// Progress on stderr: a bar redrawn in place, or one line per structure.
class Progress {
public:
    Progress(int mode, size_t total) : total_(total), start_(Clock::now()) {
        bar_ = mode == 1 || (mode == -1 && isatty(STDERR_FILENO));
        silent_ = mode == 2;
    }
    void done(const ZEMU_screen_row& row) {
        finished_++;
        if (silent_) return;
        double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
        double rate = elapsed > 0 ? finished_ / elapsed : 0.0;
        if (!bar_) {
            fprintf(stderr, "[%zu/%zu] %s: %s", finished_, total_, row.file.c_str(), row.status.c_str());
            if (!row.error.empty()) fprintf(stderr, " (%s)", row.error.c_str());
            fprintf(stderr, " %.2f s\n", row.seconds);
            return;
        }
        int filled = total_ ? static_cast<int>(kBarWidth * finished_ / total_) : kBarWidth;
        std::string bar(static_cast<size_t>(filled), '#');
        bar.resize(kBarWidth, '.');
        double left = rate > 0 ? (total_ - finished_) / rate : 0.0;
        fprintf(stderr, "\r[%s] %zu/%zu  %.1f/s  %s left ", bar.c_str(), finished_, total_, rate,
                clock_text(left).c_str());
        if (finished_ == total_) fputc('\n', stderr);
        fflush(stderr);
    }

private:
    size_t total_;
    size_t finished_ = 0;
    Clock::time_point start_;
    bool bar_ = false;
    bool silent_ = false;
};

void print_summary(const std::vector<ZEMU_screen_row>& rows, size_t skipped, double wall) {
    std::map<std::string, size_t> counts;
    for (const ZEMU_screen_row& r : rows) counts[r.status]++;
    fprintf(stderr, "Screened %zu structure%s in %s (%.1f s)", rows.size(), rows.size() == 1 ? "" : "s",
            clock_text(wall).c_str(), wall);
    const char* sep = ": ";
    for (const char* status : {"ok", "error", "timeout"}) {
        fprintf(stderr, "%s%zu %s", sep, counts[status], status);
        sep = ", ";
    }
    if (skipped > 0) fprintf(stderr, "; %zu skipped as done", skipped);
    fputc('\n', stderr);
    std::vector<const ZEMU_screen_row*> best;
    for (const ZEMU_screen_row& r : rows)
        if (r.status == "ok" && std::isfinite(r.e3d)) best.push_back(&r);
    std::sort(best.begin(), best.end(), [](const ZEMU_screen_row* a, const ZEMU_screen_row* b) {
        return a->e3d < b->e3d || (a->e3d == b->e3d && a->file < b->file);
    });
    if (best.size() > kSummaryBest) best.resize(kSummaryBest);
    if (best.empty()) return;
    fprintf(stderr, "Lowest 3-D barriers (eV):\n");
    for (const ZEMU_screen_row* r : best)
        fprintf(stderr, "  %.6f  %s%s%s%s\n", r->e3d, r->file.c_str(), r->formula.empty() ? "" : "  (",
                r->formula.c_str(), r->formula.empty() ? "" : ")");
}

// Drops the structures an earlier run kept (`keep`/<stem>/structure.cif): they
// are not candidates themselves. A folder that cannot be resolved drops nothing.
void drop_kept_structures(const std::string& keep, std::vector<std::string>* files) {
    std::error_code ec;
    const std::filesystem::path kept = std::filesystem::weakly_canonical(keep, ec);
    if (ec) return;
    std::vector<std::string> candidates;
    for (const std::string& f : *files) {
        std::filesystem::path p = std::filesystem::weakly_canonical(f, ec);
        bool earlier = !ec && p.filename() == "structure.cif" && p.parent_path().parent_path() == kept;
        if (!earlier) candidates.push_back(f);
    }
    files->swap(candidates);
}

// 0 when every file gets a folder of its own under `keep` (named by its stem);
// else 1 with *error naming two files that would share one.
int check_keep_folders(const std::string& keep, const std::vector<std::string>& files, std::string* error) {
    std::map<std::string, const std::string*> owner;
    for (const std::string& f : files) {
        auto inserted = owner.emplace(std::filesystem::path(f).stem().string(), &f);
        if (!inserted.second) {
            *error = "--keep: " + *inserted.first->second + " and " + f + " would share the folder " +
                     (std::filesystem::path(keep) / inserted.first->first).string();
            return 1;
        }
    }
    return 0;
}

// Drops the files the result file `output` already lists, counting them in
// *skipped. 0, or 1 with *error when the file cannot be read.
int drop_done_structures(const std::string& output, std::vector<std::string>* files, size_t* skipped,
                         std::string* error) {
    std::set<std::string> done;
    if (ZEMU_screen_read_done(output, &done, error)) return 1;
    std::vector<std::string> left;
    for (const std::string& f : *files)
        if (done.count(f) == 0) left.push_back(f);
    *skipped = files->size() - left.size();
    files->swap(left);
    return 0;
}

// The result stream (standard output when no file is named; a resumed file is
// appended to), the CSV header written when asked. nullptr with the message
// on stderr when the file does not open.
FILE* open_results(const ZEMU_screen_options& options, bool header) {
    FILE* out = stdout;
    if (!options.output.empty()) {
        out = fopen(options.output.c_str(), options.resume ? "a" : "w");
        if (out == nullptr) {
            fprintf(stderr, "Error: %s: %s\n", options.output.c_str(), strerror(errno));
            return nullptr;
        }
    }
    if (header) {
        fputs(ZEMU_screen_csv_header().c_str(), out);
        fflush(out);
    }
    return out;
}

// Screens the files, each row written to `out` (a JSON line or a CSV line) and
// flushed as it arrives, then kept in *rows and shown by the progress. The
// workers' status; *write_failed set when a row could not be written.
int run_and_write(const std::vector<std::string>& files, const ZEMU_screen_options& options,
                  const ZEMU_screen_job& job, FILE* out, bool jsonl, std::vector<ZEMU_screen_row>* rows,
                  bool* write_failed) {
    Progress progress(options.progress, files.size());
    return ZEMU_screen_run_workers(files, options, job, [&](const ZEMU_screen_row& row) {
        std::string line = jsonl ? ZEMU_screen_json_line(row) : ZEMU_screen_csv_line(row);
        if (fputs(line.c_str(), out) < 0 || fflush(out) != 0) *write_failed = true;
        rows->push_back(row);
        progress.done(row);
    });
}

}  // namespace

int ZEMU_screen_batch(const std::vector<std::string>& inputs, const ZEMU_screen_options& options,
                      const ZEMU_screen_job& job) {
    const Clock::time_point start = Clock::now();
    std::string error;
    std::vector<std::string> files;
    if (ZEMU_screen_list_files(inputs, &files, &error)) {
        fprintf(stderr, "Error: %s\n", error.c_str());
        return 1;
    }
    if (!options.keep.empty()) drop_kept_structures(options.keep, &files);
    files = ZEMU_screen_take_shard(files, options.shard_k, options.shard_n);
    if (!options.keep.empty() && check_keep_folders(options.keep, files, &error)) {
        fprintf(stderr, "Error: %s\n", error.c_str());
        return 1;
    }

    const bool to_file = !options.output.empty();
    const bool jsonl = to_file && ZEMU_screen_is_json_lines(options.output);
    size_t skipped = 0;
    bool header = !jsonl;
    if (options.resume && to_file) {
        if (drop_done_structures(options.output, &files, &skipped, &error)) {
            fprintf(stderr, "Error: %s\n", error.c_str());
            return 1;
        }
        std::error_code ec;
        if (std::filesystem::exists(options.output, ec) && std::filesystem::file_size(options.output, ec) > 0)
            header = false;
    }

    FILE* out = open_results(options, header);
    if (out == nullptr) return 1;
    std::vector<ZEMU_screen_row> rows;
    bool write_failed = false;
    int status = run_and_write(files, options, job, out, jsonl, &rows, &write_failed);
    if (to_file && fclose(out) != 0) write_failed = true;
    if (write_failed) {
        fprintf(stderr, "Error: %s: %s\n", to_file ? options.output.c_str() : "standard output",
                "writing the results failed");
        return 1;
    }
    if (options.summary) print_summary(rows, skipped, std::chrono::duration<double>(Clock::now() - start).count());
    return status;
}
