// The date detector: the text becomes tokens (words, numbers, symbols), each grammar row
// is tried at each token, the longest reading wins, a date and a time that follow each
// other join, and the resolver turns the fields the elements wrote into a date.
#include "Velmora/dates/DateDetector.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "Velmora/dates/internal/CivilCalendar.h"

namespace velmora {
namespace {

constexpr int kUnset = -1;
constexpr int kThis = 0, kNext = 1, kLast = 2;
// Longer digit runs are no number the grammar reads; keeps values far from overflow.
constexpr std::size_t kMaxDigits = 4;

struct Token {
    enum class Kind { Word, Number, Symbol } kind;
    std::string text;    // lower-cased
    int value = kUnset;  // numbers only
    std::size_t begin = 0, end = 0;
    bool glued = false;  // no blank before it
    // What the word tables say of a word, looked up once per token.
    int month = kUnset, weekday = kUnset, countWord = kUnset, unit = kUnset, relation = kUnset;
    std::uint32_t classes = 0;  // the k...Class bits below: the elements that may read it
};

// Classes of tokens, by the elements that may read them.
constexpr std::uint32_t kNumberClass = 1U << 0;
constexpr std::uint32_t kMonthClass = 1U << 1;
constexpr std::uint32_t kWeekdayClass = 1U << 2;
constexpr std::uint32_t kRelationClass = 1U << 3;
constexpr std::uint32_t kUnitClass = 1U << 4;
constexpr std::uint32_t kCountWordClass = 1U << 5;
constexpr std::uint32_t kWordClass = 1U << 6;  // any word (markers, zones)
constexpr std::uint32_t kSignClass = 1U << 7;  // "+" or "-" (zone offsets)

enum class Unit { None, Minute, Hour, Day, Week, Month, Year };

// What the elements of a row read.
struct Fields {
    int year = kUnset, month = kUnset, day = kUnset, weekday = kUnset;
    int first = kUnset, second = kUnset;  // a numeric day-month pair in the region's order
    int count = kUnset;
    Unit unit = Unit::None;
    int sign = 1;
    int relation = kUnset;  // kThis, kNext or kLast
    int dayOffset = kUnset, dayShift = 0;
    int hour = kUnset, minute = kUnset, secondOfMinute = kUnset, meridiem = kUnset;
    int endHour = kUnset, endMinute = kUnset, endMeridiem = kUnset;
    bool shortYear = false;
    // A zone the text names: an index into kZones, or an offset "GMT+01:00". Kept as plain
    // values because the matcher copies fields at every element it tries.
    int zoneAbbreviation = kUnset;
    std::array<char, 10> zoneOffset{};
};

enum class Kind {
    Month,
    Weekday,
    Day,
    Ordinal,
    Year,
    ShortYear,
    MonthNumber,
    First,
    Second,
    Count,
    Unit,
    Relation,
    Hour,
    Minute,
    SecondOfMinute,
    Meridiem,
    EndHour,
    EndMinute,
    EndMeridiem,
    Zone,
    Literal
};

struct Element {
    Kind kind;
    bool optional = false;
    std::vector<std::string> words;  // Literal: the alternatives
};

struct Row {
    bool isTime;  // a time row; date rows come first in the table
    std::vector<Element> elements;
    // What the row's first token may be: a token of these classes, or one of these
    // words (the elements up to the first one that is not optional may read it).
    std::uint32_t firstClasses = 0;
    std::vector<std::string> firstWords;
    bool beginsAnywhere = false;  // every element optional: no test
};

// --- Word tables ----------------------------------------------------------------------

// Names as views: a word is compared with every entry, and most differ in length.
struct NamedValue {
    std::string_view name;
    int value;
};

constexpr std::array kMonths{
    NamedValue{"jan", 1},       NamedValue{"january", 1},  NamedValue{"feb", 2},
    NamedValue{"february", 2},  NamedValue{"mar", 3},      NamedValue{"march", 3},
    NamedValue{"apr", 4},       NamedValue{"april", 4},    NamedValue{"may", 5},
    NamedValue{"jun", 6},       NamedValue{"june", 6},     NamedValue{"jul", 7},
    NamedValue{"july", 7},      NamedValue{"aug", 8},      NamedValue{"august", 8},
    NamedValue{"sep", 9},       NamedValue{"sept", 9},     NamedValue{"september", 9},
    NamedValue{"oct", 10},      NamedValue{"october", 10}, NamedValue{"nov", 11},
    NamedValue{"november", 11}, NamedValue{"dec", 12},     NamedValue{"december", 12}};

constexpr std::array kWeekdays{
    NamedValue{"sun", 1},      NamedValue{"sunday", 1},  NamedValue{"mon", 2},
    NamedValue{"monday", 2},   NamedValue{"tue", 3},     NamedValue{"tues", 3},
    NamedValue{"tuesday", 3},  NamedValue{"wed", 4},     NamedValue{"wednesday", 4},
    NamedValue{"thu", 5},      NamedValue{"thur", 5},    NamedValue{"thurs", 5},
    NamedValue{"thursday", 5}, NamedValue{"fri", 6},     NamedValue{"friday", 6},
    NamedValue{"sat", 7},      NamedValue{"saturday", 7}};

constexpr std::array kCountWords{
    NamedValue{"a", 1},       NamedValue{"an", 1},      NamedValue{"one", 1},
    NamedValue{"two", 2},     NamedValue{"three", 3},   NamedValue{"four", 4},
    NamedValue{"five", 5},    NamedValue{"six", 6},     NamedValue{"seven", 7},
    NamedValue{"eight", 8},   NamedValue{"nine", 9},    NamedValue{"ten", 10},
    NamedValue{"eleven", 11}, NamedValue{"twelve", 12}, NamedValue{"couple", 2}};

constexpr std::array kUnits{
    NamedValue{"min", 1},     NamedValue{"mins", 1},   NamedValue{"minute", 1},
    NamedValue{"minutes", 1}, NamedValue{"hr", 2},     NamedValue{"hrs", 2},
    NamedValue{"hour", 2},    NamedValue{"hours", 2},  NamedValue{"day", 3},
    NamedValue{"days", 3},    NamedValue{"week", 4},   NamedValue{"weeks", 4},
    NamedValue{"month", 5},   NamedValue{"months", 5}, NamedValue{"year", 6},
    NamedValue{"years", 6}};

constexpr std::array kRelations{NamedValue{"this", kThis}, NamedValue{"coming", kThis},
                                NamedValue{"next", kNext}, NamedValue{"last", kLast},
                                NamedValue{"previous", kLast}};

constexpr std::array<std::string_view, 15> kZones{"utc", "gmt", "z",    "est", "edt",
                                                  "cst", "cdt", "mst",  "mdt", "pst",
                                                  "pdt", "cet", "cest", "bst", "jst"};

// Literal words that also say something.
void applyWord(const std::string& word, Fields& fields) {
    if (word == "today" || word == "tonight") {
        fields.dayOffset = 0;
    } else if (word == "tomorrow" || word == "tmrw") {
        fields.dayOffset = 1;
    } else if (word == "yesterday") {
        fields.dayOffset = -1;
    } else if (word == "after") {
        fields.dayShift = 1;
    } else if (word == "before") {
        fields.dayShift = -1;
    } else if (word == "ago") {
        fields.sign = -1;
    } else if (word == "noon" || word == "midday") {
        fields.hour = 12;
    } else if (word == "midnight") {
        fields.hour = 0;
    } else if (word == "morning") {
        fields.hour = 9;
    } else if (word == "afternoon") {
        fields.hour = 15;
    } else if (word == "evening") {
        fields.hour = 19;
    }
}

template <std::size_t N>
int lookUp(const std::array<NamedValue, N>& table, const std::string& word) {
    for (const NamedValue& entry : table) {
        if (std::string_view(word) == entry.name) {
            return entry.value;
        }
    }
    return kUnset;
}

// --- The grammar ----------------------------------------------------------------------
// Element names: MON month name, WD weekday, DAY day 1-31 (ordinal suffix allowed), ORD
// day with its suffix, YEAR four digits, YY two digits, MM month 1-12, N1 N2 a numeric
// day-month pair, CNT count (digits or a word), UNIT, REL this/next/last, HOUR, MIN, SEC,
// AP am/pm, END-HOUR END-MIN END-AP the end of a range; anything else is a literal, "|"
// between alternatives; a trailing "?" makes an element optional.
constexpr std::pair<bool, const char*> kGrammar[] = {
    // Dates.
    {false, "YEAR - MM - DAY"},
    {false, "YEAR / MM / DAY"},
    {false, "N1 /|-|. N2 /|-|. YEAR"},
    {false, "N1 /|-|. N2 /|-|. YY"},
    {false, "N1 / N2"},
    {false, "MON DAY ,? YEAR?"},
    {false, "MON the ORD ,? YEAR?"},
    {false, "DAY MON ,? YEAR?"},
    {false, "DAY of MON ,? YEAR?"},
    {false, "the ORD of MON ,? YEAR?"},
    {false, "WD ,? MON DAY ,? YEAR?"},
    {false, "WD ,? DAY MON ,? YEAR?"},
    {false, "WD ,? the ORD"},
    {false, "on the ORD"},
    {false, "on|the ORD"},
    {false, "REL WD"},
    {false, "WD"},
    {false, "the day after|before tomorrow|yesterday"},
    {false, "day after|before tomorrow|yesterday"},
    {false, "today|tomorrow|tmrw|yesterday|tonight"},
    {false, "in CNT UNIT"},
    {false, "in a couple of UNIT"},
    {false, "CNT UNIT from today|now|tomorrow"},
    {false, "CNT UNIT ago"},
    {false, "REL UNIT"},
    // Times, ranges first so that they win ties of length.
    {true, "from|between HOUR : MIN AP? to|and|until|till|- END-HOUR : END-MIN END-AP?"},
    {true, "from|between HOUR AP? to|and|until|till|- END-HOUR END-AP?"},
    {true, "HOUR : MIN AP? to|until|till|- END-HOUR : END-MIN END-AP?"},
    {true, "HOUR AP - END-HOUR END-AP"},
    {true, "HOUR - END-HOUR END-AP"},
    {true, "HOUR AP to|until|till END-HOUR END-AP"},
    {true, "at|@? HOUR : MIN : SEC AP?"},
    {true, "at|@? HOUR : MIN AP?"},
    {true, "at|@? HOUR . MIN AP"},
    {true, "at|@? HOUR AP"},
    {true, "at|@ HOUR"},
    {true, "at|@? noon|midday|midnight"},
    {true, "HOUR : MIN : SEC AP?"},
    {true, "HOUR : MIN AP?"},
    {true, "HOUR . MIN AP"},
    {true, "HOUR AP"},
    {true, "noon|midday|midnight"},
    {true, "this|in|the? morning|afternoon|evening"},
};

Element parseElement(std::string token) {
    Element element{Kind::Literal, false, {}};
    if (token.size() > 1 && token.back() == '?') {
        element.optional = true;
        token.pop_back();
    }
    static constexpr std::array<std::pair<const char*, Kind>, 20> kNames{{
        {"MON", Kind::Month},          {"WD", Kind::Weekday},       {"DAY", Kind::Day},
        {"ORD", Kind::Ordinal},        {"YEAR", Kind::Year},        {"YY", Kind::ShortYear},
        {"MM", Kind::MonthNumber},     {"N1", Kind::First},         {"N2", Kind::Second},
        {"CNT", Kind::Count},          {"UNIT", Kind::Unit},        {"REL", Kind::Relation},
        {"HOUR", Kind::Hour},          {"MIN", Kind::Minute},       {"SEC", Kind::SecondOfMinute},
        {"AP", Kind::Meridiem},        {"END-HOUR", Kind::EndHour}, {"END-MIN", Kind::EndMinute},
        {"END-AP", Kind::EndMeridiem}, {"ZONE", Kind::Zone},
    }};
    for (const auto& [name, kind] : kNames) {
        if (token == name) {
            element.kind = kind;
            return element;
        }
    }
    std::size_t start = 0;
    while (start <= token.size()) {
        const std::size_t bar = std::min(token.find('|', start), token.size());
        element.words.push_back(token.substr(start, bar - start));
        start = bar + 1;
    }
    return element;
}

// The classes of tokens an element may read.
std::uint32_t classesReadBy(Kind kind) {
    switch (kind) {
        case Kind::Month:
            return kMonthClass;
        case Kind::Weekday:
            return kWeekdayClass;
        case Kind::Relation:
            return kRelationClass;
        case Kind::Unit:
            return kUnitClass;
        case Kind::Count:
            return kNumberClass | kCountWordClass;
        case Kind::Meridiem:
        case Kind::EndMeridiem:
            return kWordClass;
        case Kind::Zone:
            return kWordClass | kSignClass;
        case Kind::Literal:
            return 0;
        default:
            return kNumberClass;
    }
}

void noteFirstTokens(Row& row) {
    for (const Element& element : row.elements) {
        row.firstClasses |= classesReadBy(element.kind);
        if (element.kind == Kind::Literal) {
            row.firstWords.insert(row.firstWords.end(), element.words.begin(), element.words.end());
        }
        if (!element.optional) {
            return;
        }
    }
    row.beginsAnywhere = true;
}

bool mayBegin(const Row& row, const Token& token) {
    return row.beginsAnywhere || (row.firstClasses & token.classes) != 0 ||
           std::find(row.firstWords.begin(), row.firstWords.end(), token.text) !=
               row.firstWords.end();
}

const std::vector<Row>& grammar() {
    static const std::vector<Row> rows = [] {
        std::vector<Row> built;
        for (const auto& [isTime, text] : kGrammar) {
            Row row{isTime, {}, 0, {}, false};
            const std::string_view line = text;
            std::size_t start = 0;
            while (start < line.size()) {
                const std::size_t blank = std::min(line.find(' ', start), line.size());
                row.elements.push_back(
                    parseElement(std::string(line.substr(start, blank - start))));
                start = blank + 1;
            }
            noteFirstTokens(row);
            built.push_back(std::move(row));
        }
        return built;
    }();
    return rows;
}

// Whether a row may begin at this token: numbers always may; a word only when the grammar
// or its tables know it. Lets a long text of other words pass in linear time.
bool mayStartRow(const Token& token) {
    static const std::vector<std::string> words = [] {
        std::vector<std::string> known;
        for (const Row& row : grammar()) {
            for (const Element& element : row.elements) {
                known.insert(known.end(), element.words.begin(), element.words.end());
            }
        }
        const auto addNames = [&known](const auto& table) {
            for (const NamedValue& entry : table) {
                known.emplace_back(entry.name);
            }
        };
        addNames(kMonths);
        addNames(kWeekdays);
        addNames(kCountWords);
        addNames(kUnits);
        addNames(kRelations);
        std::sort(known.begin(), known.end());
        known.erase(std::unique(known.begin(), known.end()), known.end());
        return known;
    }();
    return token.kind == Token::Kind::Number ||
           std::binary_search(words.begin(), words.end(), token.text);
}

// --- Tokens ---------------------------------------------------------------------------

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

std::vector<Token> tokenize(std::string_view text) {
    std::vector<Token> tokens;
    std::size_t i = 0;
    bool blankBefore = true;
    while (i < text.size()) {
        const char c = text[i];
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r' ||
            static_cast<unsigned char>(c) >= 0x80) {
            blankBefore = true;
            ++i;
            continue;
        }
        Token token{Token::Kind::Symbol, {}, kUnset, i, i + 1, !blankBefore};
        if (isLetter(c) || isDigit(c)) {
            const bool digits = isDigit(c);
            std::size_t end = i;
            while (end < text.size() && (digits ? isDigit(text[end]) : isLetter(text[end]))) {
                ++end;
            }
            token.kind = digits ? Token::Kind::Number : Token::Kind::Word;
            token.end = end;
            token.text.assign(text.substr(i, end - i));
            if (digits && token.text.size() <= kMaxDigits) {
                token.value = std::atoi(token.text.c_str());
            }
            for (char& letter : token.text) {
                letter = static_cast<char>(letter | 0x20);
            }
            if (!digits) {
                token.month = lookUp(kMonths, token.text);
                token.weekday = lookUp(kWeekdays, token.text);
                token.countWord = lookUp(kCountWords, token.text);
                token.unit = lookUp(kUnits, token.text);
                token.relation = lookUp(kRelations, token.text);
            }
        } else {
            token.text.assign(1, c);
        }
        if (token.kind == Token::Kind::Number) {
            token.classes = kNumberClass;
        } else if (token.kind == Token::Kind::Word) {
            token.classes = kWordClass | (token.month != kUnset ? kMonthClass : 0U) |
                            (token.weekday != kUnset ? kWeekdayClass : 0U) |
                            (token.relation != kUnset ? kRelationClass : 0U) |
                            (token.unit != kUnset ? kUnitClass : 0U) |
                            (token.countWord != kUnset ? kCountWordClass : 0U);
        } else if (c == '+' || c == '-') {
            token.classes = kSignClass;
        }
        i = token.end;
        blankBefore = false;
        tokens.push_back(std::move(token));
    }
    return tokens;
}

// --- Matching -------------------------------------------------------------------------

class Matcher {
  public:
    explicit Matcher(const std::vector<Token>& tokens) : tokens_(tokens) {}

    // The token after the longest reading of the row at `at` (0 when none), its fields
    // in `out`.
    std::size_t match(const Row& row, std::size_t at, Fields& out) const {
        std::size_t best = 0;
        Fields fields;
        walk(row, 0, at, fields, best, out);
        return best;
    }

  private:
    void walk(const Row& row, std::size_t element, std::size_t at, Fields& fields,
              std::size_t& best, Fields& out) const {
        if (element == row.elements.size()) {
            if (at > best) {
                best = at;
                out = fields;
            }
            return;
        }
        const Element& e = row.elements[element];
        Fields taken = fields;
        if (const std::size_t next = take(e, at, taken); next != 0) {
            walk(row, element + 1, next, taken, best, out);
        }
        if (e.optional) {
            walk(row, element + 1, at, fields, best, out);
        }
    }

    const Token* tokenAt(std::size_t at) const {
        return at < tokens_.size() ? &tokens_[at] : nullptr;
    }

    // A number of 1 to `digits` digits within [low, high]; its value or kUnset.
    static int number(const Token* t, std::size_t minDigits, std::size_t maxDigits, int low,
                      int high) {
        if (t == nullptr || t->kind != Token::Kind::Number || t->text.size() < minDigits ||
            t->text.size() > maxDigits || t->value < low || t->value > high) {
            return kUnset;
        }
        return t->value;
    }

    // After a day number: the ordinal suffix glued to it, if any. Returns the token
    // after, and whether a suffix was there.
    std::pair<std::size_t, bool> ordinalSuffix(std::size_t at) const {
        const Token* t = tokenAt(at);
        if (t != nullptr && t->glued && t->kind == Token::Kind::Word &&
            (t->text == "st" || t->text == "nd" || t->text == "rd" || t->text == "th")) {
            return {at + 1, true};
        }
        return {at, false};
    }

    // The am/pm marker at `at`: "am", "pm", "a.m.", and "a"/"p" glued to a number.
    std::size_t meridiem(std::size_t at, int& value) const {
        const Token* t = tokenAt(at);
        if (t == nullptr || t->kind != Token::Kind::Word) {
            return 0;
        }
        if (t->text == "am" || t->text == "pm") {
            value = t->text[0] == 'p' ? 1 : 0;
            return at + 1;
        }
        if (t->text != "a" && t->text != "p") {
            return 0;
        }
        value = t->text[0] == 'p' ? 1 : 0;
        // "a.m." and "p.m."
        const Token* dot = tokenAt(at + 1);
        const Token* m = tokenAt(at + 2);
        if (dot != nullptr && dot->text == "." && m != nullptr && m->text == "m") {
            const Token* last = tokenAt(at + 3);
            return last != nullptr && last->text == "." ? at + 4 : at + 3;
        }
        return t->glued ? at + 1 : 0;
    }

    // The token after the element's reading at `at`, or 0 when it does not read.
    std::size_t take(const Element& e, std::size_t at, Fields& f) const {
        const Token* t = tokenAt(at);
        if (t == nullptr) {
            return 0;
        }
        auto set = [at](int value, int& field) -> std::size_t {
            if (value == kUnset) {
                return 0;
            }
            field = value;
            return at + 1;
        };
        switch (e.kind) {
            case Kind::Month:
                return set(t->month, f.month);
            case Kind::Weekday:
                return set(t->weekday, f.weekday);
            case Kind::Relation:
                return set(t->relation, f.relation);
            case Kind::Unit: {
                if (t->unit == kUnset) {
                    return 0;
                }
                f.unit = static_cast<Unit>(t->unit);
                return at + 1;
            }
            case Kind::Day:
            case Kind::Ordinal: {
                const int day = number(t, 1, 2, 1, 31);
                if (day == kUnset) {
                    return 0;
                }
                const auto [next, suffixed] = ordinalSuffix(at + 1);
                if (e.kind == Kind::Ordinal && !suffixed) {
                    return 0;
                }
                f.day = day;
                return next;
            }
            case Kind::Year:
                return set(number(t, 4, 4, 1000, 9999), f.year);
            case Kind::ShortYear:
                f.shortYear = true;
                return set(number(t, 2, 2, 0, 99), f.year);
            case Kind::MonthNumber:
                return set(number(t, 1, 2, 1, 12), f.month);
            case Kind::First:
                return set(number(t, 1, 2, 1, 31), f.first);
            case Kind::Second:
                return set(number(t, 1, 2, 1, 31), f.second);
            case Kind::Count: {
                return set(t->countWord != kUnset ? t->countWord : number(t, 1, 3, 0, 999),
                           f.count);
            }
            case Kind::Hour:
                return set(number(t, 1, 2, 0, 24), f.hour);
            case Kind::EndHour:
                return set(number(t, 1, 2, 0, 24), f.endHour);
            case Kind::Minute:
                return set(number(t, 2, 2, 0, 59), f.minute);
            case Kind::EndMinute:
                return set(number(t, 2, 2, 0, 59), f.endMinute);
            case Kind::SecondOfMinute:
                return set(number(t, 2, 2, 0, 59), f.secondOfMinute);
            case Kind::Meridiem:
                return meridiem(at, f.meridiem);
            case Kind::EndMeridiem:
                return meridiem(at, f.endMeridiem);
            case Kind::Zone:
                return zone(at, f);
            case Kind::Literal:
                for (const std::string& word : e.words) {
                    if (t->text == word) {
                        applyWord(word, f);
                        return at + 1;
                    }
                }
                return 0;
        }
        return 0;
    }

  public:
    // A zone after a time: an abbreviation, or an offset "+01:00", "-0500", "+01".
    std::size_t zone(std::size_t at, Fields& f) const {
        const Token* t = tokenAt(at);
        if (t == nullptr) {
            return 0;
        }
        if (t->kind == Token::Kind::Word) {
            for (std::size_t i = 0; i < kZones.size(); ++i) {
                if (t->text == kZones[i]) {
                    f.zoneAbbreviation = static_cast<int>(i);
                    return at + 1;
                }
            }
            return 0;
        }
        if (t->text != "+" && t->text != "-") {
            return 0;
        }
        const Token* hours = tokenAt(at + 1);
        if (hours == nullptr || !hours->glued || hours->kind != Token::Kind::Number) {
            return 0;
        }
        std::string digits = hours->text;
        std::size_t next = at + 2;
        const Token* colon = tokenAt(next);
        const Token* minutes = tokenAt(next + 1);
        if (digits.size() == 2 && colon != nullptr && colon->text == ":" && minutes != nullptr &&
            minutes->kind == Token::Kind::Number && minutes->text.size() == 2) {
            digits += minutes->text;
            next += 2;
        }
        if (digits.size() == 2) {
            digits += "00";
        }
        if (digits.size() != 4 || std::atoi(digits.substr(0, 2).c_str()) > 14 ||
            std::atoi(digits.substr(2).c_str()) > 59) {
            return 0;
        }
        const std::string offset = t->text + digits.substr(0, 2) + ":" + digits.substr(2);
        std::copy(offset.begin(), offset.end(), f.zoneOffset.begin());
        return next;
    }

  private:
    const std::vector<Token>& tokens_;
};

// --- Resolving ------------------------------------------------------------------------

// 24-hour value of an hour with an optional marker; kUnset when out of range.
int hourOfDay(int hour, int meridiem) {
    if (meridiem == kUnset) {
        return hour <= 23 ? hour : kUnset;
    }
    if (hour < 1 || hour > 12) {
        return kUnset;
    }
    return hour % 12 + (meridiem == 1 ? 12 : 0);
}

class Resolver {
  public:
    Resolver(const Calendar& calendar, Date now, bool monthFirst)
        : calendar_(calendar), now_(now), monthFirst_(monthFirst) {}

    std::optional<DetectedDate> resolve(const Fields& f) const {
        std::optional<TimeZone> zone;
        if (f.zoneAbbreviation != kUnset) {
            std::string upper(kZones[static_cast<std::size_t>(f.zoneAbbreviation)]);
            for (char& c : upper) {
                c = static_cast<char>(c & ~0x20);
            }
            zone = upper == "Z" ? TimeZone::utc() : TimeZone::withAbbreviation(upper);
        } else if (f.zoneOffset[0] != 0) {
            zone = TimeZone::named(std::string("GMT") + f.zoneOffset.data());
        }
        if ((f.zoneAbbreviation != kUnset || f.zoneOffset[0] != 0) && !zone) {
            return std::nullopt;
        }
        // The caller's calendar unless the text names a zone: copying one costs more than
        // the rest of the detection.
        std::optional<Calendar> zoned;
        if (zone) {
            zoned.emplace(calendar_);
            zoned->setTimeZone(*zone);
        }
        const CivilCalendar cal(zoned ? *zoned : calendar_);
        const std::optional<Date> today = cal.startOfDay(now_);
        if (!today) {
            return std::nullopt;
        }
        bool exact = false;  // the day part already holds the time (hours from now)
        std::optional<Date> day = dayOf(f, cal, *today, exact);
        if (!day) {
            return std::nullopt;
        }
        DetectedDate found;
        found.date = *day;
        found.timeZone = zone;
        found.hasTime = exact;
        if (f.hour != kUnset && !exact) {
            int start = hourOfDay(f.hour, f.meridiem);
            int end = kUnset;
            if (f.endHour != kUnset) {
                end = hourOfDay(f.endHour, f.endMeridiem);
                if (end == kUnset) {
                    return std::nullopt;
                }
                // "3-5pm": the start takes the end's marker unless that puts it after the
                // end ("11-1pm" starts at 11 am).
                if (f.meridiem == kUnset && f.endMeridiem != kUnset && f.hour >= 1 &&
                    f.hour <= 12) {
                    start = hourOfDay(f.hour, f.endMeridiem);
                    const int startMinutes = start * 60 + std::max(f.minute, 0);
                    if (startMinutes > end * 60 + std::max(f.endMinute, 0)) {
                        start = hourOfDay(f.hour, 1 - f.endMeridiem);
                    }
                }
            }
            if (start == kUnset) {
                return std::nullopt;
            }
            const std::optional<Date> timed = cal.dateBySettingHour(
                start, std::max(f.minute, 0), std::max(f.secondOfMinute, 0), *day);
            if (!timed) {
                return std::nullopt;
            }
            found.date = *timed;
            found.hasTime = true;
            if (end != kUnset) {
                std::optional<Date> until =
                    cal.dateBySettingHour(end, std::max(f.endMinute, 0), 0, *day);
                if (!until) {
                    return std::nullopt;
                }
                // An end at or before the start lies later: twelve hours on for a
                // morning reading ("from 9 to 3"), else the next day.
                if (until->timeIntervalSince1970() <= timed->timeIntervalSince1970()) {
                    const bool twelve = f.endMeridiem == kUnset && end < 12;
                    until = twelve ? until->dateByAddingTimeInterval(12 * 3600.0)
                                   : cal.dateByAdding(0, 0, 1, *until);
                    if (!until) {
                        return std::nullopt;
                    }
                }
                found.duration = until->timeIntervalSince1970() - timed->timeIntervalSince1970();
            }
        }
        return found;
    }

  private:
    // The day, or nothing when the fields name no day that exists.
    static std::optional<Date> dayOfYear(const CivilCalendar& cal, int year, int month, int day) {
        if (month < 1 || month > 12 || day < 1) {
            return std::nullopt;
        }
        const std::optional<Date> date = cal.dateFromDay(year, month, day);
        if (!date || cal.component(CalendarUnit::Day, *date) != day) {
            return std::nullopt;
        }
        return cal.startOfDay(*date);
    }

    // A day and month without a year: the year that puts it nearest to today.
    static std::optional<Date> nearest(const CivilCalendar& cal, Date today, int month, int day) {
        const int year = cal.component(CalendarUnit::Year, today);
        std::optional<Date> best;
        std::optional<Date> inThisYear;
        for (const int candidate : {year, year - 1, year + 1}) {
            // The day in this year, on or after today, is nearer than the one a year on;
            // on or before today, nearer than the one a year back.
            if (inThisYear && (candidate > year ? *inThisYear >= today : *inThisYear <= today)) {
                continue;
            }
            const std::optional<Date> date = dayOfYear(cal, candidate, month, day);
            if (candidate == year) {
                inThisYear = date;
            }
            if (date &&
                (!best ||
                 std::abs(date->timeIntervalSince1970() - today.timeIntervalSince1970()) <
                     std::abs(best->timeIntervalSince1970() - today.timeIntervalSince1970()))) {
                best = date;
            }
        }
        return best;
    }

    std::optional<Date> dayOf(const Fields& f, const CivilCalendar& cal, Date today,
                              bool& exact) const {
        int month = f.month;
        int day = f.day;
        if (f.first != kUnset) {
            month = monthFirst_ ? f.first : f.second;
            day = monthFirst_ ? f.second : f.first;
        }
        if (month != kUnset && day != kUnset) {
            if (f.year == kUnset) {
                return nearest(cal, today, month, day);
            }
            return dayOfYear(cal, f.shortYear ? 2000 + f.year : f.year, month, day);
        }
        if (day != kUnset) {  // an ordinal day: this month while it is still to come
            const int todayDay = cal.component(CalendarUnit::Day, today);
            const int year = cal.component(CalendarUnit::Year, today);
            const int thisMonth = cal.component(CalendarUnit::Month, today);
            const int monthAhead = day >= todayDay ? thisMonth : thisMonth + 1;
            return dayOfYear(cal, year + (monthAhead - 1) / 12, (monthAhead - 1) % 12 + 1, day);
        }
        if (f.weekday != kUnset) {
            const int todayWeekday = cal.component(CalendarUnit::Weekday, today);
            int ahead = (f.weekday - todayWeekday + 7) % 7;
            if (f.relation == kNext) {
                ahead = (f.weekday - todayWeekday + 6) % 7 + 1;
            } else if (f.relation == kLast) {
                ahead = -((todayWeekday - f.weekday + 6) % 7 + 1);
            }
            return cal.dateByAdding(0, 0, ahead, today);
        }
        if (f.unit != Unit::None) {
            // "next week" is one on, "last week" one back, "this week" none.
            const int count = f.count != kUnset     ? f.count
                              : f.relation == kLast ? -1
                              : f.relation == kThis ? 0
                                                    : 1;
            const int signedCount = count * f.sign;
            if (f.unit == Unit::Minute || f.unit == Unit::Hour) {
                exact = true;
                return now_.dateByAddingTimeInterval(signedCount *
                                                     (f.unit == Unit::Hour ? 3600.0 : 60.0));
            }
            int years = 0, months = 0, days = 0;
            switch (f.unit) {
                case Unit::Day:
                    days = signedCount;
                    break;
                case Unit::Week:
                    days = 7 * signedCount;
                    break;
                case Unit::Month:
                    months = signedCount;
                    break;
                default:
                    years = signedCount;
                    break;
            }
            const int base = f.dayOffset == kUnset ? 0 : f.dayOffset;
            const std::optional<Date> from = cal.dateByAdding(0, 0, base, today);
            return from ? cal.dateByAdding(years, months, days, *from) : std::nullopt;
        }
        if (f.dayOffset != kUnset) {
            return cal.dateByAdding(0, 0, f.dayOffset + f.dayShift, today);
        }
        return today;
    }

    const Calendar& calendar_;
    Date now_;
    bool monthFirst_;
};

}  // namespace

std::vector<DetectedDate> DateDetector::scan(std::string_view text, bool firstOnly) const {
    const std::vector<Token> tokens = tokenize(text);
    const Matcher matcher(tokens);
    const Resolver resolver(calendar_, now_, monthFirst_);
    const std::vector<Row>& rows = grammar();
    std::vector<DetectedDate> found;

    // The longest reading of the date rows (or the time rows) at `at`.
    auto longest = [&](bool time, std::size_t at, Fields& out) {
        std::size_t best = 0;
        if (at >= tokens.size()) {
            return best;
        }
        for (const Row& row : rows) {
            if (row.isTime == time && mayBegin(row, tokens[at])) {
                Fields fields;
                const std::size_t end = matcher.match(row, at, fields);
                if (end > best) {
                    best = end;
                    out = fields;
                }
            }
        }
        return best;
    };
    // Words that may stand between a date and a time.
    auto skipJoiner = [&](std::size_t at, bool afterDate) {
        if (at < tokens.size()) {
            const std::string& t = tokens[at].text;
            if (t == "," || (afterDate && (t == "t" || t == "-")) || (!afterDate && t == "on")) {
                return at + 1;
            }
        }
        return at;
    };
    // Merges the time fields of one part into the date fields of the other.
    auto merge = [](Fields date, const Fields& time) {
        date.hour = time.hour;
        date.minute = time.minute;
        date.secondOfMinute = time.secondOfMinute;
        date.meridiem = time.meridiem;
        date.endHour = time.endHour;
        date.endMinute = time.endMinute;
        date.endMeridiem = time.endMeridiem;
        if (date.unit == Unit::None) {
            date.unit = time.unit;
            date.count = time.count;
        }
        return date;
    };

    std::size_t at = 0;
    while (at < tokens.size()) {
        if (!mayStartRow(tokens[at])) {
            ++at;
            continue;
        }
        std::vector<std::pair<std::size_t, Fields>> candidates;
        Fields date, time, other;
        if (const std::size_t end = longest(false, at, date); end != 0) {
            candidates.emplace_back(end, date);
            if (const std::size_t joined = longest(true, skipJoiner(end, true), other);
                joined != 0 && !(date.unit == Unit::Minute || date.unit == Unit::Hour)) {
                candidates.emplace_back(joined, merge(date, other));
            }
        }
        if (const std::size_t end = longest(true, at, time); end != 0) {
            candidates.emplace_back(end, time);
            Fields dated;
            if (const std::size_t joined = longest(false, skipJoiner(end, false), dated);
                joined != 0 && dated.unit != Unit::Minute && dated.unit != Unit::Hour &&
                time.unit == Unit::None) {
                candidates.emplace_back(joined, merge(dated, time));
            }
        }
        // Longest first; the stable sort keeps date readings ahead of time readings.
        std::stable_sort(candidates.begin(), candidates.end(),
                         [](const auto& a, const auto& b) { return a.first > b.first; });
        bool matched = false;
        for (auto& [end, fields] : candidates) {
            if (fields.hour != kUnset) {
                if (const std::size_t zoned = matcher.zone(end, fields); zoned != 0) {
                    end = zoned;
                }
            }
            if (std::optional<DetectedDate> result = resolver.resolve(fields)) {
                const std::size_t begin = tokens[at].begin;
                result->range = Range{begin, tokens[end - 1].end - begin};
                result->matchedText.assign(text.substr(begin, result->range.length));
                found.push_back(std::move(*result));
                at = end;
                matched = true;
                break;
            }
        }
        if (matched && firstOnly) {
            break;
        }
        if (!matched) {
            ++at;
        }
    }
    return found;
}

bool DateDetector::regionIsMonthFirst() {
    return Locale::current().identifier().find("_US") != std::string::npos ||
           Locale::autoupdatingCurrent().identifier().find("_US") != std::string::npos;
}

std::optional<DetectedDate> DateDetector::firstMatch(std::string_view text) const {
    std::vector<DetectedDate> found = scan(text, true);
    if (found.empty()) {
        return std::nullopt;
    }
    return std::move(found.front());
}

std::vector<DetectedDate> DateDetector::matches(std::string_view text) const {
    return scan(text, false);
}

}  // namespace velmora
