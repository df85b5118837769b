// Screening: many structures through the whole analysis, each in a worker
// process of its own (time and memory limits; a crash or a hang costs one row,
// never the batch), results as one table of rows written as each structure
// finishes.
//
// Row order: completion order (with one worker, the order of the sorted file
// list). Every row carries its file, so an interrupted run keeps its work and
// --resume, shards and sorting afterwards all work on whole rows.
#ifndef ZEMU_SCREEN_H
#define ZEMU_SCREEN_H

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "ZEMU.h"

// ---------------------------------------------------------------------------
// Records
// ---------------------------------------------------------------------------

// Choices of one screening run.
typedef struct {
    std::string ion;          // mobile ion type, e.g. "Li1+"
    int jobs;                 // structures analysed at once, >= 1
    std::string output;       // result file: ".jsonl" or ".json" = JSON Lines, else CSV; empty = CSV on stdout
    double step;              // landscape grid step, Angstrom
    double max;               // ceiling above the global minimum, scaled eV (exact inverse); 0 = default
    std::string keep;         // directory receiving DIR/<file stem>/ per structure; empty = keep nothing
    double timeout;           // wall-time limit per structure, seconds; 0 = none
    long long memory_mb;      // address-space limit per worker, MiB; 0 = none
    int shard_k, shard_n;     // this run takes entries k-1, k-1+n, k-1+2n ... of the sorted list (1 <= k <= n)
    int resume;               // 1: files already in the output are skipped and new rows appended
    int progress;             // -1: a bar when stderr is a terminal, else lines; 0: lines; 1: bar; 2: nothing
    int summary;              // 1: closing summary on stderr
} ZEMU_screen_options;

// One result row (CSV column = JSON key = field name).
typedef struct {
    std::string file;        // structure file, as listed
    std::string status;      // "ok", "error" or "timeout"
    std::string error;       // cause, one line; empty when ok
    std::string formula;     // sum formula of the structure
    std::string spacegroup;  // Hermann-Mauguin symbol
    int sg_number;           // space-group number; 0 = unknown
    std::string ion;         // mobile ion type
    std::string oxidation;   // source of the oxidation states: "file", "assigned" or "given"
    std::string grid;        // grid counts of the landscape, "57x33x25"
    int minima_types;        // symmetry types of minima; -1 = unknown
    int saddle_types;        // symmetry types of saddle points; -1 = unknown
    int paths;               // distinct migration paths; -1 = unknown
    double e1d, e2d, e3d;    // path-network activation energies, scaled eV; NaN = none below the ceiling or unknown
    double grid_e1d, grid_e2d, grid_e3d;  // grid activation energies, scaled eV; NaN = unknown
    int consistent;          // 1 when network and grid agree (0.05 eV) wherever the grid's barrier lies below the ceiling; 0 not; -1 unknown
    double seconds;          // wall time of the structure, s
} ZEMU_screen_row;

// The work on one structure, run inside its worker process: fills row (status
// "ok" or "error" with a cause); file and ion are set on entry.
typedef std::function<void(const std::string& file, ZEMU_screen_row* row)> ZEMU_screen_job;
// Receives each finished row in the parent process, in completion order.
typedef std::function<void(const ZEMU_screen_row& row)> ZEMU_screen_sink;

// ---------------------------------------------------------------------------
// Options and the file list
// ---------------------------------------------------------------------------

// Defaults: no ion, 1 job, CSV on stdout, step 0.2, default ceiling, keep
// nothing, 600 s, 4096 MiB, shard 1/1, no resume, automatic progress, summary.
void ZEMU_init_screen_options(ZEMU_screen_options* options);
// "K/N" with 1 <= K <= N. 0, or 1 with *error set.
int ZEMU_screen_parse_shard(const std::string& text, int* k, int* n, std::string* error);
// Files named directly and the "*.cif" / "*.CIF" files below each named folder
// (recursively), sorted bytewise without duplicates. 0, or 1 with *error set
// ("<path>: <cause>") when an input does not exist or a folder cannot be read.
int ZEMU_screen_list_files(const std::vector<std::string>& inputs, std::vector<std::string>* files,
                           std::string* error);
// Entries k-1, k-1+n, ... of files: n shards cover the list exactly once.
std::vector<std::string> ZEMU_screen_take_shard(const std::vector<std::string>& files, int k, int n);
// True when the result file `output` is JSON Lines (".jsonl" or ".json"), else CSV.
bool ZEMU_screen_is_json_lines(const std::string& output);
// Files already present in an existing result file (CSV or JSON Lines, by its
// name) into *done; a last line cut short by an interrupted run is removed from
// the file. A missing file is an empty result. 0, or 1 with *error set.
int ZEMU_screen_read_done(const std::string& output, std::set<std::string>* done, std::string* error);

// ---------------------------------------------------------------------------
// Rows
// ---------------------------------------------------------------------------

// Empty row: texts empty, counts -1, energies NaN, consistent -1, 0 s.
void ZEMU_init_screen_row(ZEMU_screen_row* row);
// CSV header line, newline included.
std::string ZEMU_screen_csv_header();
// One CSV record (quoted where needed), newline included; energies with 6
// decimals, seconds with 3, unknown values empty.
std::string ZEMU_screen_csv_line(const ZEMU_screen_row& row);
// One JSON object on one line, newline included; rounded as in CSV, unknown
// values null, consistent a boolean.
std::string ZEMU_screen_json_line(const ZEMU_screen_row& row);
// Full-precision JSON of a row, and back: the worker's message to the batch.
std::string ZEMU_screen_row_message(const ZEMU_screen_row& row);
int ZEMU_screen_row_from_message(const std::string& text, ZEMU_screen_row* row);

// ---------------------------------------------------------------------------
// Analysis of one landscape
// ---------------------------------------------------------------------------

// Runs the analysis in memory (scaling by the ion's default expression, the
// exact inverse for options.max, console silenced) and the grid spans on the
// same landscape; fills grid (if empty), types, paths, e1d..e3d,
// grid_e1d..grid_e3d and consistent. cube: raw grid as the reader leaves it;
// cif: the structure read. With keep_dir (an existing folder; empty = none),
// ZEMU_summary.txt, ZEMU_rp.csv and ZEMU.vesta (naming "landscape.cube") land
// there. 0; 1 with row status "error" and its cause.
int ZEMU_screen_analyse(ZEMU_cube* cube, ZEMU_cif* cif, const ZEMU_screen_options& options,
                        const std::string& keep_dir, ZEMU_screen_row* row);

// ---------------------------------------------------------------------------
// Batch
// ---------------------------------------------------------------------------

// Runs job on every file, options.jobs worker processes at once (fork per
// file; stdout of a worker discarded, its stderr kept for the cause of a
// failure), under options.timeout and options.memory_mb; hands every row to
// sink as it finishes, with the wall time filled in. A worker that is killed,
// crashes or gives no result yields a row with status "timeout" or "error" and
// the cause. 0, or 1 when no process or pipe could be made (message printed).
int ZEMU_screen_run_workers(const std::vector<std::string>& files, const ZEMU_screen_options& options,
                            const ZEMU_screen_job& job, const ZEMU_screen_sink& sink);
// The whole run: file list (files below options.keep left out), shard, resume,
// output (header once), rows written and flushed as they finish, progress and
// summary on stderr. 0 when the batch ran (whatever the rows say); 1 on bad
// inputs or an unwritable output, with one line "Error: <file>: <cause>" on stderr.
int ZEMU_screen_batch(const std::vector<std::string>& inputs, const ZEMU_screen_options& options,
                      const ZEMU_screen_job& job);

// The structure job: import, landscape (default grid, one thread), analysis;
// with options.keep, DIR/<file stem>/ receives the landscape cube, the
// normalised CIF, ZEMU_summary.txt, ZEMU_rp.csv and ZEMU.vesta.
void ZEMU_screen_structure(const std::string& file, const ZEMU_screen_options& options, ZEMU_screen_row* row);

#endif
