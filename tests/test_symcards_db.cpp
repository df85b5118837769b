// The symmetry-card database bin/database_symcards.dat, checked on its own:
// layout, coverage of the 230 groups, group structure of every record and the
// record that common CIF spellings of a space-group symbol select. Records are
// cut out here independently of the program's reader; operation texts are
// evaluated with the program's component evaluator.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "ZEMU-cif.h"

namespace {

struct Card {
    int number = 0;                  // space-group number from the '#' line
    std::string title;               // the '#' line
    std::vector<std::string> names;  // spellings between single quotes
    std::vector<std::string> ops;    // operation texts
};

struct Database {
    std::vector<std::string> lines;
    std::vector<Card> cards;
    std::string error;  // names the first malformed line
};

Database load() {
    Database d;
    std::ifstream f(ZEMU_SOURCE_DIR "/bin/database_symcards.dat");
    if (!f) return d.error = "cannot open the database", d;
    for (std::string line; std::getline(f, line);) d.lines.push_back(line);
    const std::vector<std::string>& lines = d.lines;
    size_t i = 0;
    while (i < lines.size() && lines[i].compare(0, 10, "DATA_START") != 0) ++i;
    if (i == lines.size()) return d.error = "no DATA_START line", d;
    for (++i; i < lines.size(); ++i) {
        if (lines[i].empty() || lines[i][0] != '#') continue;
        if (i + 4 >= lines.size()) return d.error = "record cut short: " + lines[i], d;
        Card card;
        card.title = lines[i];
        card.number = std::atoi(lines[i].c_str() + 1);
        const std::string& names = lines[i + 3];
        for (size_t open = names.find('\''); open != std::string::npos;) {
            size_t close = names.find('\'', open + 1);
            if (close == std::string::npos) return d.error = "unbalanced quote: " + names, d;
            card.names.push_back(names.substr(open + 1, close - open - 1));
            open = names.find('\'', close + 1);
        }
        int n = std::atoi(lines[i + 4].c_str());
        if (n <= 0 || i + 4 + n >= lines.size()) return d.error = "bad operation count in " + card.title, d;
        card.ops.assign(lines.begin() + (long)i + 5, lines.begin() + (long)i + 5 + n);
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

bool has_op(const Card* card, const std::string& text) {
    if (!card) return false;
    for (const std::string& op : card->ops)
        if (op == text) return true;
    return false;
}

// Rotation (row-major) and translation in twelfths, reduced to 0..11.
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
            if (std::fabs(v - std::lround(v)) > 1e-9) return false;
        }
    }
    return true;
}

Op reduce(Op op) {
    for (int r = 0; r < 3; ++r) op[9 + r] = ((op[9 + r] % 12) + 12) % 12;
    return op;
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
    }
    return reduce(c);
}

const Op kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};

// Dense key of an operation; -1 when a rotation entry is outside -1..1.
long key_of(const Op& op) {
    long key = 0;
    for (int k = 0; k < 9; ++k) {
        if (op[k] < -1 || op[k] > 1) return -1;
        key = key * 3 + (op[k] + 1);
    }
    for (int r = 0; r < 3; ++r) key = key * 12 + op[9 + r];
    return key;
}

// Empty when the operations form a group modulo lattice translations.
std::string group_fault(const Card& card) {
    std::vector<Op> ops;
    std::unordered_set<long> seen;
    for (const std::string& text : card.ops) {
        Op op;
        if (!parse_op(text, &op)) return "unparsable " + text;
        if (reduce(op) != op) return "translation outside [0,1) in " + text;
        if (key_of(op) < 0) return "rotation entry outside -1..1 in " + text;
        if (!seen.insert(key_of(op)).second) return "duplicate " + text;
        ops.push_back(op);
    }
    if (!seen.count(key_of(kIdentity))) return "no identity";
    for (const Op& a : ops) {
        bool has_inverse = false;
        for (const Op& b : ops) {
            Op ab = compose(a, b);
            if (!seen.count(key_of(ab))) return "not closed";
            has_inverse = has_inverse || ab == kIdentity;
        }
        if (!has_inverse) return "an operation has no inverse";
    }
    return "";
}

}  // namespace

TEST(SymcardsDatabase, CoversAll230GroupsAndEveryTextFitsTheReadersBuffers) {
    ASSERT_EQ(db().error, "");
    std::set<int> numbers;
    for (const Card& card : db().cards) {
        numbers.insert(card.number);
        for (const std::string& op : card.ops) {
            EXPECT_LE(op.size(), 29u) << card.title << ": " << op;
            EXPECT_EQ(op.find(' '), std::string::npos) << card.title << ": " << op;
        }
        ASSERT_FALSE(card.names.empty()) << card.title;
        for (const std::string& name : card.names)
            EXPECT_LE(name.size(), 19u) << card.title << ": " << name;  // longer symbols are cut on reading
    }
    EXPECT_EQ(numbers.size(), 230u);
    EXPECT_EQ(*numbers.begin(), 1);
    EXPECT_EQ(*numbers.rbegin(), 230);
    for (const std::string& line : db().lines) EXPECT_LT(line.size(), 199u) << line;  // 200-character line buffer
}

TEST(SymcardsDatabase, EveryRecordIsAGroupModuloLatticeTranslations) {
    ASSERT_EQ(db().error, "");
    for (const Card& card : db().cards) EXPECT_EQ(group_fault(card), "") << card.title;
}

TEST(SymcardsDatabase, SampleSettingsHaveTheirGroupOrder) {
    ASSERT_EQ(db().error, "");
    struct Expect {
        const char* symbol;
        int number;
        size_t order;
    };
    const Expect table[] = {
        {"P 1", 1, 1},           {"P -1", 2, 2},           {"P 21/c", 14, 4},        {"C 2/c", 15, 8},
        {"P n m a", 62, 8},      {"P b c a", 61, 8},       {"I 41/a m d", 141, 32},  {"I 41/a m d :2", 141, 32},
        {"R -3 m :H", 166, 36},  {"R -3 m :R", 166, 12},   {"P 63/m m c", 194, 24},  {"F m -3 m", 225, 192},
        {"F d -3 m :1", 227, 192}, {"F d -3 m :2", 227, 192}, {"I a -3 d", 230, 96},
    };
    for (const Expect& e : table) {
        const Card* card = lookup(e.symbol);
        ASSERT_NE(card, nullptr) << e.symbol;
        EXPECT_EQ(card->number, e.number) << e.symbol;
        EXPECT_EQ(card->ops.size(), e.order) << e.symbol;
    }
}

TEST(SymcardsDatabase, DatabaseSpellingsSelectTheConventionalSetting) {
    ASSERT_EQ(db().error, "");
    // Spellings of the same setting select the same record.
    const std::vector<std::vector<std::string>> same = {
        {"P 21/c", "P 1 21/c 1", "P21/c", "P121/c1"},
        {"P 21/n", "P 1 21/n 1", "P21/n"},
        {"P n m a", "Pnma"},
        {"F m -3 m", "Fm-3m", "F m 3 m"},
        {"P 63/m m c", "P63/mmc", "P6_3/mmc"},
        {"C m c a", "C m c e", "Cmce"},
        {"R -3 m", "R -3 m H", "R -3 m :H", "R -3 m:H", "R-3m"},
        {"R -3 m R", "R -3 m :R", "R -3 m:R"},
        {"F d -3 m", "F d -3 m S", "F d -3 m :1", "Fd-3m"},
        {"F d -3 m Z", "F d -3 m :2", "F d -3 m:2", "Fd-3m:2"},
        {"I 41/a m d", "I 41/a m d S", "I 41/a m d :1"},
        {"I 41/a m d Z", "I 41/a m d :2", "I 41/a m d:2"},
    };
    for (const auto& group : same) {
        const Card* first = lookup(group[0]);
        ASSERT_NE(first, nullptr) << group[0];
        for (const std::string& symbol : group) EXPECT_EQ(lookup(symbol), first) << symbol;
    }
    // Monoclinic short symbols mean unique axis b.
    EXPECT_TRUE(has_op(lookup("P 21/c"), "-x,y+1/2,-z+1/2"));
    EXPECT_TRUE(has_op(lookup("P 21/m"), "-x,y+1/2,-z"));
    // Origin choice 2 puts the inversion centre at the origin; choice 1 does not.
    EXPECT_FALSE(has_op(lookup("F d -3 m"), "-x,-y,-z"));
    EXPECT_TRUE(has_op(lookup("F d -3 m Z"), "-x,-y,-z"));
    EXPECT_FALSE(has_op(lookup("I 41/a m d"), "-x,-y,-z"));
    EXPECT_TRUE(has_op(lookup("I 41/a m d Z"), "-x,-y,-z"));
    // Hexagonal axes carry the rhombohedral centring.
    EXPECT_TRUE(has_op(lookup("R -3 m"), "x+2/3,y+1/3,z+1/3"));
    EXPECT_TRUE(has_op(lookup("R -3 m R"), "z,x,y"));
    // A symbol no record names finds nothing.
    EXPECT_EQ(lookup("P 21/c "), nullptr);
    EXPECT_EQ(lookup("X 1"), nullptr);
}

TEST(SymcardsDatabase, NoSpellingReachesTwoDifferentGroups) {
    ASSERT_EQ(db().error, "");
    for (const Card& card : db().cards)
        for (const std::string& name : card.names) {
            const Card* first = lookup(name);
            ASSERT_NE(first, nullptr);
            EXPECT_EQ(first->number, card.number) << "'" << name << "' in " << card.title;
        }
}
