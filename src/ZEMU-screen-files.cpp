// Screening: options, the sorted file list, shards and the files an earlier
// run already wrote.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include <nlohmann/json.hpp>

#include "ZEMU-screen.h"

namespace fs = std::filesystem;

void ZEMU_init_screen_options(ZEMU_screen_options* options) {
    options->ion.clear();
    options->jobs = 1;
    options->output.clear();
    options->step = 0.2;
    options->max = 0.0;
    options->keep.clear();
    options->timeout = 600.0;
    options->memory_mb = 4096;
    options->shard_k = 1;
    options->shard_n = 1;
    options->resume = 0;
    options->progress = -1;
    options->summary = 1;
}

int ZEMU_screen_parse_shard(const std::string& text, int* k, int* n, std::string* error) {
    size_t slash = text.find('/');
    auto whole = [](const std::string& s, int* out) {
        if (s.empty() || s.size() > 9 || s.find_first_not_of("0123456789") != std::string::npos) return false;
        *out = atoi(s.c_str());
        return true;
    };
    int kk = 0, nn = 0;
    if (slash == std::string::npos || !whole(text.substr(0, slash), &kk) || !whole(text.substr(slash + 1), &nn) ||
        nn < 1 || kk < 1 || kk > nn) {
        *error = "invalid shard \"" + text + "\" (expected K/N with 1 <= K <= N)";
        return 1;
    }
    *k = kk;
    *n = nn;
    return 0;
}

namespace {

bool is_cif_name(const fs::path& p) {
    std::string ext = p.extension().string();
    return ext == ".cif" || ext == ".CIF";
}

}  // namespace

int ZEMU_screen_list_files(const std::vector<std::string>& inputs, std::vector<std::string>* files,
                           std::string* error) {
    std::vector<std::string> found;
    for (const std::string& input : inputs) {
        std::error_code ec;
        fs::file_status st = fs::status(input, ec);
        if (ec || !fs::exists(st)) {
            *error = input + ": no such file or directory";
            return 1;
        }
        if (!fs::is_directory(st)) {
            found.push_back(input);
            continue;
        }
        fs::recursive_directory_iterator it(input, fs::directory_options::skip_permission_denied, ec), end;
        for (; !ec && it != end; it.increment(ec)) {
            std::error_code fec;
            if (it->is_regular_file(fec) && is_cif_name(it->path())) found.push_back(it->path().string());
        }
        if (ec) {
            *error = input + ": " + ec.message();
            return 1;
        }
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    *files = std::move(found);
    return 0;
}

std::vector<std::string> ZEMU_screen_take_shard(const std::vector<std::string>& files, int k, int n) {
    std::vector<std::string> out;
    if (k < 1 || n < 1) return out;
    for (size_t i = static_cast<size_t>(k - 1); i < files.size(); i += static_cast<size_t>(n)) out.push_back(files[i]);
    return out;
}

bool ZEMU_screen_is_json_lines(const std::string& output) {
    std::string ext = fs::path(output).extension().string();
    return ext == ".jsonl" || ext == ".json";
}

namespace {

// First field of every CSV record after the header (quoted fields may hold
// commas, doubled quotes and line ends).
void csv_first_fields(const std::string& text, std::set<std::string>* out) {
    size_t i = 0, record = 0;
    while (i < text.size()) {
        std::string field;
        if (text[i] == '"') {
            for (i++; i < text.size(); i++) {
                if (text[i] != '"') {
                    field += text[i];
                } else if (i + 1 < text.size() && text[i + 1] == '"') {
                    field += '"';
                    i++;
                } else {
                    i++;
                    break;
                }
            }
        }
        while (i < text.size() && text[i] != ',' && text[i] != '\n') field += text[i++];
        // skip the rest of the record, minding quoted fields
        bool quoted = false;
        for (; i < text.size(); i++) {
            if (text[i] == '"') quoted = !quoted;
            else if (text[i] == '\n' && !quoted) break;
        }
        i++;
        if (!field.empty() && field.back() == '\r') field.pop_back();
        if (record++ > 0 && !field.empty()) out->insert(field);
    }
}

}  // namespace

int ZEMU_screen_read_done(const std::string& output, std::set<std::string>* done, std::string* error) {
    std::error_code ec;
    if (!fs::exists(output, ec)) return 0;
    std::ifstream in(output, std::ios::binary);
    if (!in) {
        *error = output + ": cannot be read";
        return 1;
    }
    std::ostringstream buffer;
    buffer << in.rdbuf();
    std::string text = buffer.str();
    in.close();
    // an interrupted run may have left half a line: drop it, here and in the file
    size_t keep = text.rfind('\n');
    keep = keep == std::string::npos ? 0 : keep + 1;
    if (keep < text.size()) {
        text.resize(keep);
        fs::resize_file(output, keep, ec);
        if (ec) {
            *error = output + ": " + ec.message();
            return 1;
        }
    }
    if (ZEMU_screen_is_json_lines(output)) {
        std::istringstream lines(text);
        std::string line;
        while (std::getline(lines, line)) {
            nlohmann::json row = nlohmann::json::parse(line, nullptr, false);
            if (row.is_object() && row.contains("file") && row["file"].is_string())
                done->insert(row["file"].get<std::string>());
        }
    } else {
        csv_first_fields(text, done);
    }
    return 0;
}
