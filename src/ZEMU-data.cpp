// Built-in data tables, parsed once from the bytes the build embeds.
#include "ZEMU-data.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

extern const char ZEMU_embedded_bv_params[];
extern const unsigned long ZEMU_embedded_bv_params_size;
extern const char ZEMU_embedded_elements[];
extern const unsigned long ZEMU_embedded_elements_size;
extern const char ZEMU_embedded_bv_database[];
extern const unsigned long ZEMU_embedded_bv_database_size;
extern const char ZEMU_embedded_electronegativity[];
extern const unsigned long ZEMU_embedded_electronegativity_size;

namespace {

// Comma-separated fields of every line after the header line, blanks around
// fields removed. The tables are ours and plain: no quoting.
std::vector<std::vector<std::string>> csv_rows(const char* text, unsigned long size)
{
    std::vector<std::vector<std::string>> rows;
    std::string all(text, size);
    size_t pos = 0;
    bool header = true;
    while (pos < all.size()) {
        size_t end = all.find('\n', pos);
        if (end == std::string::npos) end = all.size();
        std::string line = all.substr(pos, end - pos);
        pos = end + 1;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty()) continue;
        if (header) {
            header = false;
            continue;
        }
        std::vector<std::string> fields;
        size_t start = 0;
        while (true) {
            size_t comma = line.find(',', start);
            std::string f = line.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
            size_t a = f.find_first_not_of(" \t"), b = f.find_last_not_of(" \t");
            fields.push_back(a == std::string::npos ? std::string() : f.substr(a, b - a + 1));
            if (comma == std::string::npos) break;
            start = comma + 1;
        }
        rows.push_back(fields);
    }
    return rows;
}

void copy_symbol(char* dst, const std::string& src)
{
    snprintf(dst, ZEMU_DATA_SYMBOL_SIZE, "%s", src.c_str());
}

struct Tables {
    std::vector<ZEMU_bv_pair> pairs;
    std::vector<ZEMU_element> elements;
    std::vector<std::pair<std::string, double>> electronegativity;

    Tables()
    {
        for (const auto& f : csv_rows(ZEMU_embedded_electronegativity, ZEMU_embedded_electronegativity_size))
            if (f.size() >= 2) electronegativity.push_back({f[0], strtod(f[1].c_str(), nullptr)});
        for (const auto& f : csv_rows(ZEMU_embedded_bv_params, ZEMU_embedded_bv_params_size)) {
            if (f.size() < 8) continue;
            ZEMU_bv_pair p{};
            copy_symbol(p.cation, f[0]);
            p.cation_ox = atoi(f[1].c_str());
            copy_symbol(p.anion, f[2]);
            p.anion_ox = atoi(f[3].c_str());
            p.r0 = strtod(f[4].c_str(), nullptr);
            p.alpha = strtod(f[5].c_str(), nullptr);
            p.r_min = strtod(f[6].c_str(), nullptr);
            p.d0 = strtod(f[7].c_str(), nullptr);
            pairs.push_back(p);
        }
        for (const auto& f : csv_rows(ZEMU_embedded_elements, ZEMU_embedded_elements_size)) {
            if (f.size() < 4) continue;
            ZEMU_element e{};
            copy_symbol(e.symbol, f[0]);
            e.z = atoi(f[1].c_str());
            e.n = f[2].empty() ? 0 : atoi(f[2].c_str());
            e.covalent_radius = strtod(f[3].c_str(), nullptr);
            elements.push_back(e);
        }
    }
};

// Built on first use; a function-local static is initialised once, thread-safely.
const Tables& tables()
{
    static const Tables t;
    return t;
}

}  // namespace

int ZEMU_data_bv_pair_count(void) { return (int)tables().pairs.size(); }

const ZEMU_bv_pair* ZEMU_data_bv_pairs(void) { return tables().pairs.data(); }

const ZEMU_bv_pair* ZEMU_data_find_bv_pair(const char* cation, int cation_ox, const char* anion, int anion_ox)
{
    for (const ZEMU_bv_pair& p : tables().pairs)
        if (p.cation_ox == cation_ox && p.anion_ox == anion_ox && strcmp(p.cation, cation) == 0 &&
            strcmp(p.anion, anion) == 0)
            return &p;
    return nullptr;
}

int ZEMU_data_element_count(void) { return (int)tables().elements.size(); }

const ZEMU_element* ZEMU_data_elements(void) { return tables().elements.data(); }

const ZEMU_element* ZEMU_data_find_element(const char* symbol)
{
    for (const ZEMU_element& e : tables().elements)
        if (strcmp(e.symbol, symbol) == 0) return &e;
    return nullptr;
}

double ZEMU_data_electronegativity(const char* symbol)
{
    for (const auto& e : tables().electronegativity)
        if (e.first == symbol) return e.second;
    return 0.0;
}

const char* ZEMU_data_bv_database_text(unsigned long* size)
{
    if (size) *size = ZEMU_embedded_bv_database_size;
    return ZEMU_embedded_bv_database;
}
