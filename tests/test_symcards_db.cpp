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
    int number = 0;                         // space-group number from the '#' line
    std::vector<std::string> names, ops;  // spellings between single quotes; operation texts
};

struct Database {
    std::vector<std::string> lines;
    std::vector<Card> cards;
};

// The records after the DATA_START line; a malformed record fails the test that reads it.
Database load() {
    Database d;
    std::ifstream f(ZEMU_SOURCE_DIR "/bin/database_symcards.dat");
    for (std::string line; std::getline(f, line);) d.lines.push_back(line);
    const std::vector<std::string>& lines = d.lines;
    size_t i = 0;
    while (i < lines.size() && lines[i].compare(0, 10, "DATA_START") != 0) ++i;
    for (++i; i + 4 < lines.size(); ++i) {
        if (lines[i].empty() || lines[i][0] != '#') continue;
        Card card;
        card.number = std::atoi(lines[i].c_str() + 1);
        const std::string& names = lines[i + 3];
        for (size_t open = names.find('\''), close; open != std::string::npos; open = names.find('\'', close + 1)) {
            close = names.find('\'', open + 1);
            card.names.push_back(names.substr(open + 1, close - open - 1));
            if (close == std::string::npos) break;
        }
        size_t n = std::strtoul(lines[i + 4].c_str(), nullptr, 10);
        card.ops.assign(lines.begin() + (long)std::min(i + 5, lines.size()), lines.begin() + (long)std::min(i + 5 + n, lines.size()));
        d.cards.push_back(card);
        i += 4 + n;
    }
    return d;
}

const Database& db() {
    static const Database d = load();
    return d;
}

// The reader's lookup: first record whose quoted pieces contain the symbol.
const Card* lookup(const std::string& symbol) {
    for (const Card& card : db().cards)
        for (const std::string& name : card.names)
            if (name == symbol) return &card;
    return nullptr;
}

// Rotation (row-major, entries -1..1) and translation in twelfths.
using Op = std::array<int, 12>;

// An operation as the program evaluates its components: the rotation from the
// images of the unit vectors, the translation from the image of the origin.
bool parse_op(const std::string& text, Op* op) {
    std::vector<std::string> parts(1);
    for (char ch : text) {
        if (ch == ',') parts.emplace_back();
        else parts.back().push_back(ch);
    }
    if (parts.size() != 3) return false;
    for (int r = 0; r < 3; ++r) {
        double at[4];  // at the origin, then at the unit vectors
        for (int k = 0; k < 4; ++k)
            if (ZEMU_symmetry_parse_symop(&parts[r][0], k == 1, k == 2, k == 3, &at[k])) return false;
        for (int k = 0; k < 4; ++k) {
            const double v = k ? at[k] - at[0] : at[0] * 12;
            (*op)[k ? 3 * r + k - 1 : 9 + r] = (int)std::lround(v);
            if (std::fabs(v - std::lround(v)) > 1e-9 || (k && std::abs(std::lround(v)) > 1)) return false;
        }
    }
    return true;
}

// a after b: x -> Ra (Rb x + tb) + ta, translation reduced to the cell.
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

// Empty when the operations form a group modulo lattice translations.
std::string group_fault(const Card& card) {
    const Op identity = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    std::set<Op> seen;
    for (const std::string& text : card.ops) {
        Op op;
        if (!parse_op(text, &op)) return "unparsable " + text;
        if (*std::min_element(op.begin() + 9, op.end()) < 0 || *std::max_element(op.begin() + 9, op.end()) > 11)
            return "translation outside [0,1) in " + text;
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
            ASSERT_NE(lookup(name), nullptr);
            EXPECT_EQ(lookup(name)->number, card.number) << "'" << name << "' reaches another group";
        }
    }
    EXPECT_EQ(numbers.size(), 230u);
    EXPECT_EQ(*numbers.rbegin(), 230);
    for (const std::string& line : db().lines) EXPECT_LT(line.size(), 199u) << line;  // 200-character line buffer
}

TEST(SymcardsDatabase, SpellingsSelectTheConventionalSettingOfTheRightOrder) {
    // (spellings of one setting, group number, order)
    const std::vector<std::tuple<std::vector<std::string>, int, size_t>> same = {
        {{"P 1"}, 1, 1}, {{"P -1"}, 2, 2}, {{"C 2/c"}, 15, 8}, {{"P b c a"}, 61, 8}, {{"I a -3 d"}, 230, 96},
        {{"P 21/c", "P 1 21/c 1", "P21/c", "P121/c1"}, 14, 4}, {{"P 21/n", "P 1 21/n 1", "P21/n"}, 14, 4},
        {{"P n m a", "Pnma"}, 62, 8}, {{"F m -3 m", "Fm-3m", "F m 3 m"}, 225, 192}, {{"C m c a", "C m c e", "Cmce"}, 64, 16},
        {{"P 63/m m c", "P63/mmc", "P6_3/mmc"}, 194, 24}, {{"R -3 m", "R -3 m H", "R -3 m :H", "R -3 m:H", "R-3m"}, 166, 36},
        {{"R -3 m R", "R -3 m :R", "R -3 m:R"}, 166, 12}, {{"F d -3 m", "F d -3 m S", "F d -3 m :1", "Fd-3m"}, 227, 192},
        {{"F d -3 m Z", "F d -3 m :2", "F d -3 m:2", "Fd-3m:2"}, 227, 192},
        {{"I 41/a m d", "I 41/a m d S", "I 41/a m d :1"}, 141, 32}, {{"I 41/a m d Z", "I 41/a m d :2", "I 41/a m d:2"}, 141, 32},
    };
    for (const auto& group : same) {
        const Card* first = lookup(std::get<0>(group)[0]);
        ASSERT_NE(first, nullptr) << std::get<0>(group)[0];
        EXPECT_EQ(std::make_tuple(first->number, first->ops.size()), std::make_tuple(std::get<1>(group), std::get<2>(group)));
        for (const std::string& symbol : std::get<0>(group)) EXPECT_EQ(lookup(symbol), first) << symbol;
    }
    // (symbol, operation, listed): monoclinic short symbols mean unique axis b; origin choice 2 puts the inversion
    // centre at the origin, choice 1 does not; hexagonal axes carry the rhombohedral centring
    const std::tuple<const char*, const char*, bool> ops[] = {
        {"P 21/c", "-x,y+1/2,-z+1/2", true}, {"P 21/m", "-x,y+1/2,-z", true}, {"F d -3 m", "-x,-y,-z", false},
        {"F d -3 m Z", "-x,-y,-z", true}, {"I 41/a m d", "-x,-y,-z", false}, {"I 41/a m d Z", "-x,-y,-z", true},
        {"R -3 m", "x+2/3,y+1/3,z+1/3", true}, {"R -3 m R", "z,x,y", true}};
    for (const auto& o : ops) {
        const Card* card = lookup(std::get<0>(o));
        ASSERT_NE(card, nullptr);
        EXPECT_EQ(std::count(card->ops.begin(), card->ops.end(), std::get<1>(o)), std::get<2>(o)) << std::get<0>(o);
    }
    EXPECT_EQ(lookup("P 21/c "), nullptr);
    EXPECT_EQ(lookup("X 1"), nullptr);
}
