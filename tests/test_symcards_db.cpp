// The symmetry-card database bin/database_symcards.dat on its own: coverage of the 230 groups, group structure
// of every record and the record that common spellings select. Records are cut out here independently of the
// program's reader; operation texts are evaluated with the program's component evaluator.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ZEMU-cif.h"

namespace {

struct Card {
    int number = 0;                       // space-group number from the '#' line
    std::vector<std::string> names, ops;  // spellings between single quotes; operation texts
};

// The lines of the file, and its records after the DATA_START line.
struct Database {
    std::vector<std::string> lines;
    std::vector<Card> cards;
    Database() {
        std::ifstream f(ZEMU_SOURCE_DIR "/bin/database_symcards.dat");
        for (std::string line; std::getline(f, line);) lines.push_back(line);
        size_t i = 0;
        while (i < lines.size() && lines[i].compare(0, 10, "DATA_START") != 0) ++i;
        for (++i; i + 4 < lines.size(); ++i) {
            if (lines[i].empty() || lines[i][0] != '#') continue;
            Card card;
            card.number = std::atoi(lines[i].c_str() + 1);
            for (size_t open = lines[i + 3].find('\''); open != std::string::npos;) {
                size_t close = lines[i + 3].find('\'', open + 1);
                card.names.push_back(lines[i + 3].substr(open + 1, close - open - 1));
                open = close == std::string::npos ? close : lines[i + 3].find('\'', close + 1);
            }
            size_t n = std::min<size_t>(std::strtoul(lines[i + 4].c_str(), nullptr, 10), lines.size() - i - 5);
            card.ops.assign(lines.begin() + (long)(i + 5), lines.begin() + (long)(i + 5 + n));
            cards.push_back(card);
            i += 4 + n;
        }
    }
    // The reader's lookup: first record whose quoted pieces contain the symbol.
    const Card* lookup(const std::string& symbol) const {
        for (const Card& card : cards)
            if (std::count(card.names.begin(), card.names.end(), symbol)) return &card;
        return nullptr;
    }
};

const Database& db() {
    static const Database d;
    return d;
}

// Rotation (row-major, entries -1..1) and translation in twelfths reduced to the cell.
using Op = std::array<int, 12>;

// An operation as the program evaluates its components: the rotation from the
// images of the unit vectors, the translation from the image of the origin.
bool parse_op(const std::string& text, Op* op) {
    std::vector<std::string> parts(1);
    for (char ch : text) ch == ',' ? (void)parts.emplace_back() : parts.back().push_back(ch);
    for (int r = 0; r < 3 && parts.size() == 3; ++r) {
        double at[4];  // at the origin, then at the unit vectors
        for (int k = 0; k < 4; ++k) {
            if (ZEMU_symmetry_parse_symop(&parts[r][0], k == 1, k == 2, k == 3, &at[k])) return false;
            const double v = k ? at[k] - at[0] : at[0] * 12;
            (*op)[k ? 3 * r + k - 1 : 9 + r] = (int)std::lround(v);
            if (std::fabs(v - std::lround(v)) > 1e-9 || (k && std::abs(std::lround(v)) > 1) || (!k && (v < 0 || v >= 12)))
                return false;
        }
    }
    return parts.size() == 3;
}

// a after b: x -> Ra (Rb x + tb) + ta.
Op compose(const Op& a, const Op& b) {
    Op c{};
    for (int r = 0; r < 3; ++r) {
        c[9 + r] = a[9 + r];
        for (int m = 0; m < 3; ++m) {
            for (int k = 0; k < 3; ++k) c[3 * r + k] += a[3 * r + m] * b[3 * m + k];
            c[9 + r] += a[3 * r + m] * b[9 + m];
        }
        c[9 + r] = ((c[9 + r] % 12) + 12) % 12;
    }
    return c;
}

// Empty when the operations, each with a translation in [0, 1), form a group modulo lattice translations.
std::string group_fault(const Card& card) {
    const Op identity = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    std::set<Op> seen;
    for (const std::string& text : card.ops) {
        Op op;
        if (!parse_op(text, &op)) return "unparsable or outside the cell: " + text;
        if (!seen.insert(op).second) return "duplicate " + text;
    }
    if (!seen.count(identity)) return "no identity";
    for (const Op& a : seen) {
        bool has_inverse = false;
        for (const Op& b : seen) {
            if (!seen.count(compose(a, b))) return "not closed";
            has_inverse = has_inverse || compose(a, b) == identity;
        }
        if (!has_inverse) return "an operation has no inverse";
    }
    return "";
}

}  // namespace

TEST(SymcardsDatabase, EveryOneOfThe230GroupsIsAGroupWhoseTextsFitTheReadersBuffers) {
    std::set<int> numbers;
    for (const Card& card : db().cards) {
        numbers.insert(card.number);
        EXPECT_EQ(group_fault(card), "") << card.number;
        for (const std::string& op : card.ops) EXPECT_TRUE(op.size() <= 29 && op.find(' ') == std::string::npos) << op;
        ASSERT_FALSE(card.names.empty()) << card.number;
        for (const std::string& name : card.names) {
            EXPECT_LE(name.size(), 19u) << card.number << ": " << name;  // longer symbols are cut on reading
            EXPECT_EQ(db().lookup(name)->number, card.number) << "'" << name << "' reaches another group";
        }
    }
    EXPECT_EQ(numbers.size(), 230u);
    EXPECT_EQ(*numbers.rbegin(), 230);
    for (const std::string& line : db().lines) EXPECT_LT(line.size(), 199u) << line;  // 200-character line buffer
}
