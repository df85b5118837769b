// The symmetry-card database bin/database_symcards.dat, checked on its own:
// layout, coverage of the 230 groups, group structure of every record and the
// record that common CIF spellings of a space-group symbol select.
// The file is parsed here independently of the program's reader.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

const char* kDatabase = ZEMU_SOURCE_DIR "/bin/database_symcards.dat";

// One record of the file.
struct Card {
    int number = 0;                  // space-group number from the '#' line
    std::string title;               // the '#' line
    std::vector<std::string> names;  // spellings between single quotes
    std::vector<std::string> ops;    // operation texts
};

// Rotation (row-major) and translation in twelfths, reduced to 0..11.
using Op = std::array<int, 12>;

bool read_lines(std::vector<std::string>* lines, std::string* error) {
    FILE* f = std::fopen(kDatabase, "r");
    if (!f) {
        *error = std::string("cannot open ") + kDatabase;
        return false;
    }
    std::string line;
    int c;
    while ((c = std::fgetc(f)) != EOF) {
        if (c == '\n') {
            lines->push_back(line);
            line.clear();
        } else {
            line += static_cast<char>(c);
        }
    }
    if (!line.empty()) lines->push_back(line);
    std::fclose(f);
    return true;
}

// Cuts the records out of the file; an error names the first malformed line.
bool load_cards(std::vector<Card>* cards, std::string* error) {
    std::vector<std::string> lines;
    if (!read_lines(&lines, error)) return false;
    size_t i = 0;
    while (i < lines.size() && lines[i].compare(0, 10, "DATA_START") != 0) ++i;
    if (i == lines.size()) {
        *error = "no DATA_START line";
        return false;
    }
    for (++i; i < lines.size(); ++i) {
        if (lines[i].empty() || lines[i][0] != '#') continue;
        if (i + 4 >= lines.size()) {
            *error = "record cut short: " + lines[i];
            return false;
        }
        Card card;
        card.title = lines[i];
        card.number = std::atoi(lines[i].c_str() + 1);
        const std::string& names = lines[i + 3];
        for (size_t open = names.find('\''); open != std::string::npos;) {
            size_t close = names.find('\'', open + 1);
            if (close == std::string::npos) {
                *error = "unbalanced quote: " + names;
                return false;
            }
            card.names.push_back(names.substr(open + 1, close - open - 1));
            open = names.find('\'', close + 1);
        }
        int n = std::atoi(lines[i + 4].c_str());
        if (n <= 0 || i + 4 + n >= lines.size()) {
            *error = "bad operation count in " + card.title;
            return false;
        }
        for (int k = 1; k <= n; ++k) card.ops.push_back(lines[i + 4 + k]);
        cards->push_back(card);
        i += 4 + n;
    }
    return true;
}

// The reader's lookup: first record whose quoted pieces contain the symbol.
const Card* lookup(const std::vector<Card>& cards, const std::string& symbol) {
    for (const Card& card : cards)
        for (const std::string& name : card.names)
            if (name == symbol) return &card;
    return nullptr;
}

// Parses "-x+y+1/3" style components; false on anything else.
bool parse_component(const std::string& text, int* row, int* twelfths) {
    size_t i = 0;
    bool any = false;
    while (i < text.size()) {
        int sign = 1;
        if (text[i] == '+' || text[i] == '-') {
            sign = text[i] == '-' ? -1 : 1;
            ++i;
        }
        if (i >= text.size()) return false;
        char ch = text[i];
        if (ch == 'x' || ch == 'y' || ch == 'z') {
            row[ch - 'x'] += sign;
            ++i;
        } else if (ch >= '0' && ch <= '9') {
            int num = 0, den = 1;
            while (i < text.size() && text[i] >= '0' && text[i] <= '9') num = num * 10 + (text[i++] - '0');
            if (i < text.size() && text[i] == '/') {
                ++i;
                den = 0;
                while (i < text.size() && text[i] >= '0' && text[i] <= '9') den = den * 10 + (text[i++] - '0');
            }
            if (den <= 0 || 12 % den != 0) return false;
            *twelfths += sign * num * (12 / den);
        } else {
            return false;
        }
        any = true;
    }
    return any;
}

bool parse_op(const std::string& text, Op* op) {
    op->fill(0);
    size_t start = 0;
    for (int r = 0; r < 3; ++r) {
        size_t comma = text.find(',', start);
        if ((r < 2) != (comma != std::string::npos)) return false;
        std::string part = text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        if (!parse_component(part, &(*op)[3 * r], &(*op)[9 + r])) return false;
        start = comma + 1;
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
        for (int k = 0; k < 3; ++k)
            for (int m = 0; m < 3; ++m) c[3 * r + k] += a[3 * r + m] * b[3 * m + k];
        c[9 + r] = a[9 + r];
        for (int m = 0; m < 3; ++m) c[9 + r] += a[3 * r + m] * b[9 + m];
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
            if (ab == kIdentity) has_inverse = true;
        }
        if (!has_inverse) return "an operation has no inverse";
    }
    return "";
}

class SymcardsDatabase : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        cards_ = new std::vector<Card>();
        std::string error;
        if (!load_cards(cards_, &error)) load_error_ = new std::string(error);
    }
    static void TearDownTestSuite() {
        delete cards_;
        delete load_error_;
        cards_ = nullptr;
        load_error_ = nullptr;
    }
    void SetUp() override {
        ASSERT_EQ(load_error_, nullptr) << *load_error_;
    }
    static std::vector<Card>* cards_;
    static std::string* load_error_;
};

std::vector<Card>* SymcardsDatabase::cards_ = nullptr;
std::string* SymcardsDatabase::load_error_ = nullptr;

TEST_F(SymcardsDatabase, CoversAll230GroupsAndEveryTextFitsTheReadersBuffers) {
    std::set<int> numbers;
    for (const Card& card : *cards_) {
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

    std::vector<std::string> lines;
    std::string error;
    ASSERT_TRUE(read_lines(&lines, &error)) << error;
    for (const std::string& line : lines) EXPECT_LT(line.size(), 199u) << line;  // 200-character line buffer
}

TEST_F(SymcardsDatabase, EveryRecordIsAGroupModuloLatticeTranslations) {
    for (const Card& card : *cards_) EXPECT_EQ(group_fault(card), "") << card.title;
}

TEST_F(SymcardsDatabase, SampleSettingsHaveTheirGroupOrder) {
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
        const Card* card = lookup(*cards_, e.symbol);
        ASSERT_NE(card, nullptr) << e.symbol;
        EXPECT_EQ(card->number, e.number) << e.symbol;
        EXPECT_EQ(card->ops.size(), e.order) << e.symbol;
        EXPECT_EQ(group_fault(*card), "") << e.symbol;
    }
}

bool has_op(const Card* card, const std::string& text) {
    if (!card) return false;
    for (const std::string& op : card->ops)
        if (op == text) return true;
    return false;
}

TEST_F(SymcardsDatabase, DatabaseSpellingsSelectTheConventionalSetting) {
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
        const Card* first = lookup(*cards_, group[0]);
        ASSERT_NE(first, nullptr) << group[0];
        for (const std::string& symbol : group) EXPECT_EQ(lookup(*cards_, symbol), first) << symbol;
    }

    // Monoclinic short symbols mean unique axis b.
    EXPECT_TRUE(has_op(lookup(*cards_, "P 21/c"), "-x,y+1/2,-z+1/2"));
    EXPECT_TRUE(has_op(lookup(*cards_, "P 21/m"), "-x,y+1/2,-z"));
    // Origin choice 2 puts the inversion centre at the origin; choice 1 does not.
    EXPECT_FALSE(has_op(lookup(*cards_, "F d -3 m"), "-x,-y,-z"));
    EXPECT_TRUE(has_op(lookup(*cards_, "F d -3 m Z"), "-x,-y,-z"));
    EXPECT_FALSE(has_op(lookup(*cards_, "I 41/a m d"), "-x,-y,-z"));
    EXPECT_TRUE(has_op(lookup(*cards_, "I 41/a m d Z"), "-x,-y,-z"));
    // Hexagonal axes carry the rhombohedral centring.
    EXPECT_TRUE(has_op(lookup(*cards_, "R -3 m"), "x+2/3,y+1/3,z+1/3"));
    EXPECT_TRUE(has_op(lookup(*cards_, "R -3 m R"), "z,x,y"));
    // A symbol no record names finds nothing.
    EXPECT_EQ(lookup(*cards_, "P 21/c "), nullptr);
    EXPECT_EQ(lookup(*cards_, "X 1"), nullptr);
}

TEST_F(SymcardsDatabase, NoSpellingReachesTwoDifferentGroups) {
    for (const Card& card : *cards_)
        for (const std::string& name : card.names) {
            const Card* first = lookup(*cards_, name);
            ASSERT_NE(first, nullptr);
            EXPECT_EQ(first->number, card.number) << "'" << name << "' in " << card.title;
        }
}

}  // namespace
