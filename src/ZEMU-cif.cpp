// CIF reader: line normalisation, tag and loop recognition, oxidation states,
// cell checks and metric terms.
#include "ZEMU-cif.h"
#include "ZEMU-kernel.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace {

const double kPi = 3.141592653589793;

bool begins_with(const char* line, const char* tag) { return std::strncmp(line, tag, std::strlen(tag)) == 0; }

using zemu_kernel::split_words;

// Number of non-empty comma-separated parts of a text.
int count_comma_parts(const std::string& text) {
    int parts = 0;
    bool in_part = false;
    for (char ch : text) {
        if (ch == ',') {
            in_part = false;
        } else if (!in_part) {
            in_part = true;
            parts++;
        }
    }
    return parts;
}

// Copies at most size-1 characters of src into dst and terminates it.
void copy_bounded(char* dst, const char* src, size_t size) {
    size_t n = 0;
    while (n + 1 < size && src[n]) {
        dst[n] = src[n];
        n++;
    }
    dst[n] = '\0';
}

// Copies the line from column `col` to its end into dst (at most size-1 characters).
void copy_from_column(char* dst, const char* line, size_t col, size_t size) {
    if (std::strlen(line) <= col) {
        dst[0] = '\0';
        return;
    }
    copy_bounded(dst, line + col, size);
}

// Second word of a line, or the empty text.
std::string second_word(const char* line) {
    std::vector<std::string> words = split_words(line);
    return words.size() >= 2 ? words[1] : std::string();
}

// A formula tag: a ';' text field on the following lines, or the value on the tag line.
// Returns 1 when the closing ';' is not found within the allowed number of lines.
int read_formula(char** buffer, int lines, int i, size_t value_col, char* output, size_t output_size) {
    if (i + 1 < lines && buffer[i + 1][0] == ';') {
        int close = -1;
        for (int j = i + 3; j <= i + ZEMU_CIF_MAX_MULTIPLE_LINES && j < lines; j++) {
            if (buffer[j][0] == ';') {
                close = j;
                break;
            }
        }
        if (close < 0) {
            fprintf(stderr, "Error: ZEMU_CIF_MAX_MULTIPLE_LINES exceeded\n");
            return 1;
        }
        // One character is kept for the terminator so the field always ends.
        ZEMU_cif_concatenate_lines(buffer, i + 2, close - 1, output, (int)output_size - 1);
        output[output_size - 1] = '\0';
        return 0;
    }
    copy_from_column(output, buffer[i], value_col, output_size);
    return 0;
}

// Symmetry-operation loop starting at the loop_ line i. Returns the index of
// the last line consumed, or -1 on allocation failure.
int read_symop_loop(char** buffer, int lines, int i, ZEMU_cif* cif) {
    bool has_id = begins_with(buffer[i + 1], "_symmetry_equiv_pos_site_id") ||
                  begins_with(buffer[i + 1], "_space_group_symop_id");
    if (i + 2 < lines &&
        (begins_with(buffer[i + 2], "_symmetry_equiv_pos") || begins_with(buffer[i + 2], "_space_group_symop_operation_xyz")))
        i++;
    int start = i + 2;
    std::vector<std::string> ops;
    for (int j = start; j < lines; j++) {
        std::string text;
        if (has_id) {
            std::vector<std::string> words = split_words(buffer[j]);
            if (words.size() < 2) break;
            text = words[1];
        } else {
            text = buffer[j];
        }
        if (count_comma_parts(text) != 3) break;
        ops.push_back(text);
    }
    ZEMU_free_cif_symop(cif);
    cif->symop_no = (int)ops.size();
    if (ZEMU_alloc_cif_symop(cif)) return -1;
    // Operation texts longer than 29 characters are cut to their field.
    for (size_t k = 0; k < ops.size(); k++) copy_bounded(cif->symop[k], ops[k].c_str(), ZEMU_CIF_SYMOP_SIZE);
    return start + (int)ops.size() - 1;
}

// Atom-type loop starting at the loop_ line i. Returns the index of the last
// line consumed, or -1 on failure (message printed).
int read_type_loop(char** buffer, int lines, int i, ZEMU_cif* cif) {
    if (!begins_with(buffer[i + 1], "_atom_type_symbol")) return i + 3 + cif->type_no;
    int start = i + 3;
    int count = 0;
    while (start + count < lines && split_words(buffer[start + count]).size() == 2) count++;
    if (count == 0) {
        fprintf(stderr, "Error: Atom type is expected but not found!\n");
        return -1;
    }
    for (int k = 0; k < count; k++) {
        std::vector<std::string> words = split_words(buffer[start + k]);
        char label[ZEMU_CIF_LABEL_SIZE];
        copy_bounded(label, words[0].c_str(), sizeof label);  // type symbols cut to 9 characters
        if (ZEMU_add_cif_type(cif, label, atof(words[1].c_str()), &cif->type_flag_counter)) return -1;
        cif->type_flag_counter++;  // types read from the file take every second number
    }
    return start + count - 1;
}

// Atom-site loop starting at the loop_ line i. Returns the index of the last
// line consumed, or -1 on failure (message printed).
int read_site_loop(char** buffer, int lines, int i, ZEMU_cif* cif) {
    int col_label = 0, col_type = 0, col_mul = 0, col_wyckoff = 0, col_x = 0, col_y = 0, col_z = 0, col_occ = 0;
    int headers = 0;
    while (i + 1 + headers < lines && begins_with(buffer[i + 1 + headers], "_atom_site_")) {
        const char* h = buffer[i + 1 + headers];
        int col = ++headers;
        if (begins_with(h, "_atom_site_label")) col_label = col;
        else if (begins_with(h, "_atom_site_type_symbol")) col_type = col;
        else if (begins_with(h, "_atom_site_symmetry_multiplicity") || begins_with(h, "_atom_site_site_symmetry_multiplicity"))
            col_mul = col;
        else if (begins_with(h, "_atom_site_Wyckoff_symbol")) col_wyckoff = col;
        else if (begins_with(h, "_atom_site_fract_x")) col_x = col;
        else if (begins_with(h, "_atom_site_fract_y")) col_y = col;
        else if (begins_with(h, "_atom_site_fract_z")) col_z = col;
        else if (begins_with(h, "_atom_site_occupancy")) col_occ = col;
    }
    if (col_x == 0 || col_y == 0 || col_z == 0) {
        fprintf(stderr, "Error: Missing _atom_site_fract entries\n");
        return -1;
    }
    int start = i + 1 + headers;
    int rows = 0;
    while (start + rows < lines && (int)split_words(buffer[start + rows]).size() == headers) rows++;
    if (rows == 0) {
        fprintf(stderr, "Error: No site is found!\n");
        return -1;
    }
    for (int r = 0; r < rows; r++) {
        std::vector<std::string> w = split_words(buffer[start + r]);
        // Labels and type symbols longer than 9 characters are cut to their fields.
        char label[ZEMU_CIF_LABEL_SIZE] = ".";
        char type[ZEMU_CIF_LABEL_SIZE] = ".";
        int mul = 0;
        char wyckoff = '.';
        double x = 0.0, y = 0.0, z = 0.0, occ = 1.0;
        if (col_label) copy_bounded(label, w[col_label - 1].c_str(), sizeof label);
        if (col_type) copy_bounded(type, w[col_type - 1].c_str(), sizeof type);
        if (col_mul) mul = atoi(w[col_mul - 1].c_str());
        if (col_wyckoff) wyckoff = w[col_wyckoff - 1][0];
        x = atof(w[col_x - 1].c_str());
        y = atof(w[col_y - 1].c_str());
        z = atof(w[col_z - 1].c_str());
        if (col_occ) occ = atof(w[col_occ - 1].c_str());
        if (ZEMU_add_cif_site(cif, label, type, x, y, z, mul, wyckoff, occ, 0.0)) return -1;
    }
    // The scan resumes after the header and site_no further lines.
    return i + headers + cif->site_no;
}

// The file's lines, each in a buffer of ZEMU_CIF_LINE_SIZE characters: every
// read of that size is one line, so longer physical lines give several.
int read_cif_lines(char* path, std::vector<char>* storage, std::vector<char*>* buffer) {
    zemu_kernel::File file(fopen(path, "r"));
    if (!file) {
        fprintf(stderr, "Error: Unable to open CIF file\n");
        return 1;
    }
    FILE* fp = file.get();
    char line[ZEMU_CIF_LINE_SIZE];
    int lines = 0;
    while (fgets(line, sizeof line, fp)) lines++;
    try {
        storage->assign((size_t)lines * ZEMU_CIF_LINE_SIZE, '\0');
        buffer->resize(lines);
    } catch (const std::bad_alloc&) {
        fprintf(stderr, "Error: Memory allocation problem\n");
        return 1;
    }
    rewind(fp);
    for (int i = 0; i < lines; i++) {
        (*buffer)[i] = storage->data() + (size_t)i * ZEMU_CIF_LINE_SIZE;
        if (!fgets((*buffer)[i], ZEMU_CIF_LINE_SIZE, fp)) (*buffer)[i][0] = '\0';
    }
    return 0;
}

// A tag line as its reader sees it: the trimmed lines, the index of the tag
// line (a loop reader moves it to the last line it consumed) and the structure.
struct TagLine {
    char** buf;
    int lines;
    int i;
    ZEMU_cif* cif;
};

template <double ZEMU_cif::*Field>
int read_number(TagLine& t) {
    t.cif->*Field = atof(second_word(t.buf[t.i]).c_str());
    return 0;
}

template <int ZEMU_cif::*Field>
int read_count(TagLine& t) {
    t.cif->*Field = atoi(second_word(t.buf[t.i]).c_str());
    return 0;
}

int read_formula_structural(TagLine& t) {
    return read_formula(t.buf, t.lines, t.i, 29, t.cif->chem_form_struct, sizeof t.cif->chem_form_struct);
}

int read_formula_sum(TagLine& t) {
    return read_formula(t.buf, t.lines, t.i, 22, t.cif->chem_form_sum, sizeof t.cif->chem_form_sum);
}

// Column 31 for both space-group tags: the shorter second tag loses five characters of its value.
int read_spacegroup(TagLine& t) {
    const char* s = t.buf[t.i];
    char* out = t.cif->spacegroup_HM;
    size_t n = 0;
    if (std::strlen(s) > 31)
        for (const char* p = s + 31; *p && n < sizeof t.cif->spacegroup_HM - 1; p++)
            if (*p != '\'') out[n++] = *p;
    out[n] = '\0';
    return 0;
}

int read_icsd(TagLine& t) {
    copy_from_column(t.cif->ICSD, t.buf[t.i], 20, sizeof t.cif->ICSD);
    return 0;
}

// A loop_ line: the operation, type or site loop its next lines announce; other loops are skipped.
int read_loop(TagLine& t) {
    if (t.i + 1 >= t.lines) return 0;
    const char* next = t.buf[t.i + 1];
    int last = t.i;
    if (begins_with(next, "_symmetry_equiv_pos_site_id") || begins_with(next, "_space_group_symop_id") ||
        begins_with(next, "_symmetry_equiv_pos_as_xyz") || begins_with(next, "_space_group_symop_operation_xyz"))
        last = read_symop_loop(t.buf, t.lines, t.i, t.cif);
    else if (t.i + 2 < t.lines && begins_with(t.buf[t.i + 2], "_atom_type_oxidation_number"))
        last = read_type_loop(t.buf, t.lines, t.i, t.cif);
    else if (begins_with(next, "_atom_site_") && !begins_with(next, "_atom_site_aniso"))
        last = read_site_loop(t.buf, t.lines, t.i, t.cif);
    if (last < 0) return 1;
    t.i = last;
    return 0;
}

// The tags the reader takes, each with its reader (0, or 1 on failure with the message printed).
struct TagReader {
    const char* tag;
    int (*read)(TagLine&);
};

const TagReader kTagReaders[] = {
    {"_chemical_formula_structural", read_formula_structural},
    {"_chemical_formula_sum", read_formula_sum},
    {"_symmetry_space_group_name_H-M ", read_spacegroup},
    {"_space_group_name_H-M_alt ", read_spacegroup},
    {"_database_code_ICSD ", read_icsd},
    {"_cell_length_a ", read_number<&ZEMU_cif::a>},
    {"_cell_length_b ", read_number<&ZEMU_cif::b>},
    {"_cell_length_c ", read_number<&ZEMU_cif::c>},
    {"_cell_angle_alpha ", read_number<&ZEMU_cif::alpha>},
    {"_cell_angle_beta ", read_number<&ZEMU_cif::beta>},
    {"_cell_angle_gamma ", read_number<&ZEMU_cif::gamma>},
    {"_cell_volume ", read_number<&ZEMU_cif::volume>},
    {"_refine_ls_R_factor_all ", read_number<&ZEMU_cif::R_factor>},
    {"_cell_formula_units_Z ", read_count<&ZEMU_cif::z>},
    {"_symmetry_Int_Tables_number ", read_count<&ZEMU_cif::int_tab_cryst_no>},
    {"_space_group_IT_number ", read_count<&ZEMU_cif::int_tab_cryst_no>},
    {"loop_", read_loop},
};

}  // namespace

int ZEMU_init_cif(ZEMU_cif* cif) {
    *cif = ZEMU_cif{};  // no text, no cell, no types or sites
    cif->symop_no = 1;
    if (ZEMU_alloc_cif_symop(cif)) return 1;
    strcpy(cif->symop[0], "x,y,z");
    return 0;
}

int ZEMU_trim_cif_buffer(char** buffer, int lines) {
    // 1. line end, tabs
    for (int i = 0; i < lines; i++) {
        char* s = buffer[i];
        for (char* p = s; *p; p++) {
            if (*p == '\n' || *p == '\r') {
                *p = '\0';
                break;
            }
            if (*p == '\t') *p = ' ';
        }
    }
    // 2. leading blanks
    for (int i = 0; i < lines; i++) {
        char* s = buffer[i];
        size_t lead = 0;
        while (s[lead] == ' ') lead++;
        if (lead) memmove(s, s + lead, std::strlen(s + lead) + 1);
    }
    // 3. runs of blanks
    for (int i = 0; i < lines; i++) {
        char* s = buffer[i];
        char* out = s;
        for (const char* p = s; *p; p++) {
            if (*p == ' ' && out > s && out[-1] == ' ') continue;
            *out++ = *p;
        }
        *out = '\0';
    }
    // 4. trailing blank
    for (int i = 0; i < lines; i++) {
        char* s = buffer[i];
        size_t n = std::strlen(s);
        if (n > 0 && s[n - 1] == ' ') s[n - 1] = '\0';
    }
    // 5. blanks after the first single quote (space-group lines keep theirs)
    auto keeps_quotes = [](const char* s) {
        return begins_with(s, "_symmetry_space_group_name_H-M") || begins_with(s, "_space_group_name_H-M_alt");
    };
    for (int i = 0; i < lines; i++) {
        char* s = buffer[i];
        if (keeps_quotes(s)) continue;
        char* out = s;
        bool after_quote = false;
        for (const char* p = s; *p; p++) {
            if (*p == '\'') after_quote = true;
            else if (after_quote && *p == ' ') continue;
            *out++ = *p;
        }
        *out = '\0';
    }
    // 6. single quotes
    for (int i = 0; i < lines; i++) {
        char* s = buffer[i];
        if (keeps_quotes(s)) continue;
        char* out = s;
        for (const char* p = s; *p; p++)
            if (*p != '\'') *out++ = *p;
        *out = '\0';
    }
    return 0;
}

int ZEMU_cif_concatenate_lines(char** buffer, int line_start, int line_end, char* output, int output_size) {
    int written = 0;
    for (int i = line_start; i <= line_end && written < output_size; i++)
        for (const char* p = buffer[i]; *p && written < output_size; p++) output[written++] = *p;
    if (written < output_size) output[written] = '\0';
    return 0;
}

int ZEMU_load_cif(char* input_cif_file, ZEMU_cif* cif) {
    std::vector<char> storage;
    std::vector<char*> buffer;
    if (read_cif_lines(input_cif_file, &storage, &buffer)) return 1;
    char** buf = buffer.data();
    const int lines = (int)buffer.size();
    ZEMU_trim_cif_buffer(buf, lines);

    for (TagLine line = {buf, lines, 0, cif}; line.i < lines; line.i++) {
        for (const TagReader& tag : kTagReaders) {
            if (!begins_with(buf[line.i], tag.tag)) continue;
            if (tag.read(line)) return 1;
            break;
        }
    }

    if (!ZEMU_is_valid_lattice_parameters(cif)) {
        fprintf(stderr, "Error: Invalid lattice parameters\n");
        return 1;
    }
    if (ZEMU_fill_ox_states_to_sites(cif)) return 1;
    ZEMU_calc_cif_d_parameters(cif);
    if (cif->symop_no == 0 && ZEMU_fill_symops(cif)) return 1;
    return ZEMU_refresh_site_mul(cif);
}

int ZEMU_fill_ox_states_to_sites(ZEMU_cif* cif) {
    int counted = 0;
    for (int s = 0; s < cif->site_no; s++) {
        ZEMU_site* site = &cif->site[s];
        int found = -1;
        for (int t = 0; t < cif->type_no; t++) {
            if (std::strncmp(cif->type[t].label, site->type, ZEMU_CIF_LABEL_SIZE) == 0) {
                found = t;
                break;
            }
        }
        if (found >= 0) {
            site->ox = cif->type[found].ox;
            site->type_flag = cif->type[found].flag;
            counted++;
            continue;
        }
        double ox = 0.0;
        if (ZEMU_guess_site_ox_from_type_symbol(cif, s, &ox)) {
            cif->site[s].ox = ox;
            char label[ZEMU_CIF_LABEL_SIZE];
            copy_bounded(label, cif->site[s].type, sizeof label);
            if (ZEMU_add_cif_type(cif, label, ox, &cif->type_flag_counter)) return 1;
            counted++;
        }
    }
    if (counted == cif->site_no) cif->site_charge_provided = 1;
    for (int t = 0; t < cif->type_no; t++) ZEMU_get_element_symbol(cif->type[t].label, cif->type[t].label_element);
    return 0;
}

int ZEMU_guess_site_ox_from_type_symbol(ZEMU_cif* cif, int site, double* ox) {
    if (site < 0 || site >= cif->site_no) {
        fprintf(stderr, "Error: Invalid input to ZEMU_guess_site_ox_from_type_symbol()\n");
        return 0;
    }
    char symbol[ZEMU_CIF_LABEL_SIZE + 1];
    copy_bounded(symbol, cif->site[site].type, ZEMU_CIF_LABEL_SIZE + 1);
    char* digit = nullptr;
    for (char* p = symbol; *p; p++) {
        if (isdigit((unsigned char)*p)) {
            digit = p;
            break;
        }
    }
    if (!digit) return 0;
    double value = atof(digit);
    if (std::strchr(digit, '-')) value = -value;
    *ox = value;
    return 1;
}

int ZEMU_get_element_symbol(char* input, char* output) {
    int n = 0;
    while (n < ZEMU_CIF_LABEL_SIZE - 1 && isalpha((unsigned char)input[n])) {
        output[n] = input[n];
        n++;
    }
    output[n] = '\0';
    return 0;
}

int ZEMU_is_valid_lattice_parameters(ZEMU_cif* cif) {
    const double values[6] = {cif->a, cif->b, cif->c, cif->alpha, cif->beta, cif->gamma};
    for (double v : values)
        if (v < 0.0 || ZEMU_cif_equal_dbl(v, 0.0)) return 0;
    if (ZEMU_cif_equal_dbl(cif->volume, 0.0)) {
        double ca = cos(cif->alpha * kPi / 180.0);
        double cb = cos(cif->beta * kPi / 180.0);
        double cg = cos(cif->gamma * kPi / 180.0);
        cif->volume = cif->a * cif->b * cif->c * sqrt(1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg);
    }
    return 1;
}

int ZEMU_calc_cif_d_parameters(ZEMU_cif* cif) {
    cif->d1 = cif->a * cif->a;
    cif->d2 = cif->b * cif->b;
    cif->d3 = cif->c * cif->c;
    cif->d4 = 2.0 * cif->a * cif->b * cos(cif->gamma * kPi / 180.0);
    cif->d5 = 2.0 * cif->b * cif->c * cos(cif->alpha * kPi / 180.0);
    cif->d6 = 2.0 * cif->a * cif->c * cos(cif->beta * kPi / 180.0);
    return 0;
}

int ZEMU_cif_equal_dbl(double a, double b) { return fabs(a - b) < 1e-7 ? 1 : 0; }
