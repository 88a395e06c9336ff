// Reading patterns.
#include "console/regex_syntax.h"

#include <charconv>
#include <optional>

#include "console/error.h"
#include "console/text.h"

namespace pcsim {

namespace {

constexpr unsigned kDeepest = 50;    // groups in groups
constexpr unsigned kHighest = 1000;  // of {N}
constexpr size_t kLongestPattern = 1000;

using Set = Regex::Set;
using PartKind = RegexPart::Kind;

Set range(unsigned from, unsigned to) {
    Set set;
    for (unsigned byte = from; byte <= to; ++byte) set.set(byte);
    return set;
}

// What \d and its like stand for, nothing for another letter.
std::optional<Set> classOf(char letter) {
    const Set digits = range('0', '9');
    Set set;
    switch (letter | 0x20) {
        case 'd':
            set = digits;
            break;
        case 'w':
            set = digits | range('a', 'z') | range('A', 'Z') | range('_', '_');
            break;
        case 's':
            set = range('\t', '\r') | range(' ', ' ');
            break;
        default:
            return std::nullopt;
    }
    return (letter & 0x20) != 0 ? set : ~set & range(0, 0x7F);
}

// One character of these, or with 'others' one beyond ASCII: as many bytes as it has.
RegexPart character(const Set& ascii, bool others) {
    RegexPart one{.kind = PartKind::kByte, .set = ascii};
    if (!others) return one;
    RegexPart rest{.kind = PartKind::kRepeated, .high = RegexPart::kForEver};
    rest.parts.push_back({.kind = PartKind::kByte, .set = range(0x80, 0xBF)});
    RegexPart other{.kind = PartKind::kSequence};
    other.parts.push_back({.kind = PartKind::kByte, .set = range(0xC0, 0xFF)});
    other.parts.push_back(std::move(rest));
    RegexPart either{.kind = PartKind::kAlternatives};
    either.parts.push_back(std::move(one));
    either.parts.push_back(std::move(other));
    return either;
}

class Parser {
public:
    explicit Parser(const std::string& pattern) : pattern_(pattern), rest_(pattern) {}

    RegexPart parse() {
        if (pattern_.size() > kLongestPattern)
            failUsage("the pattern is longer than {} bytes", kLongestPattern);
        RegexPart all = alternatives();
        if (!rest_.empty()) refuse("a ')' has no '('");
        return all;
    }

private:
    template <typename... Arguments>
    [[noreturn]] void refuse(fmt::format_string<Arguments...> why, Arguments&&... arguments) {
        failUsage("'{}' is no pattern: {}", shown(pattern_),
                  fmt::format(why, std::forward<Arguments>(arguments)...));
    }

    bool take(char c) {
        if (!rest_.starts_with(c)) return false;
        rest_.remove_prefix(1);
        return true;
    }

    char takeAny() {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }

    RegexPart alternatives() {
        if (++depth_ > kDeepest) refuse("groups are more than {} deep", kDeepest);
        RegexPart all{.kind = PartKind::kAlternatives};
        do all.parts.push_back(sequence());
        while (take('|'));
        --depth_;
        return all;
    }

    RegexPart sequence() {
        RegexPart all{.kind = PartKind::kSequence};
        while (!rest_.empty() && rest_.front() != '|' && rest_.front() != ')')
            all.parts.push_back(repeated(atom()));
        return all;
    }

    RegexPart atom() {
        const char c = takeAny();
        switch (c) {
            case '(': {
                if (rest_.starts_with("?:")) rest_.remove_prefix(2);
                RegexPart group = alternatives();
                if (!take(')')) refuse("a '(' has no ')'");
                return group;
            }
            case '[':
                return list();
            case '.':
                return character(range(0, 0x7F), true);
            case '^':
                return {.kind = PartKind::kBegin};
            case '$':
                return {.kind = PartKind::kEnd};
            case '\\':
                return escaped();
            case '*':
            case '+':
            case '?':
            case '{':
                refuse("there is nothing that '{}' repeats; \\{} is the character", c, c);
            default:
                const auto byte = static_cast<unsigned char>(c);
                return {.kind = PartKind::kByte, .set = range(byte, byte)};
        }
    }

    RegexPart escaped() {
        if (take('b')) return {.kind = PartKind::kBoundary};
        const char letter = rest_.empty() ? ' ' : rest_.front();
        const Set set = escapedSet();
        return character(set, letter == 'D' || letter == 'W' || letter == 'S');
    }

    // Behind a backslash.
    Set escapedSet() {
        if (rest_.empty()) refuse("it ends in a backslash");
        const char c = takeAny();
        if (const auto set = classOf(c)) return *set;
        const bool letter = (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
        if (c == 't') return range('\t', '\t');
        if (letter || (c & 0x80) != 0) refuse("there is no \\{}", shown({&c, 1}));
        const auto byte = static_cast<unsigned char>(c);
        return range(byte, byte);
    }

    RegexPart list() {
        const bool negated = take('^');
        Set set;
        bool first = true;
        while (first || !rest_.starts_with(']')) {
            first = false;
            if (rest_.empty()) refuse("a '[' has no ']'");
            set |= listItem();
        }
        rest_.remove_prefix(1);
        return negated ? character(~set & range(0, 0x7F), true) : character(set, false);
    }

    // A character, a range of them, or a class.
    Set listItem() {
        const char c = takeAny();
        if ((c & 0x80) != 0) refuse("a list in brackets is of ASCII characters");
        const auto from = static_cast<unsigned char>(c);
        const Set set = c == '\\' ? escapedSet() : range(from, from);
        if (rest_.size() < 2 || rest_[0] != '-' || rest_[1] == ']') return set;
        rest_.remove_prefix(1);
        const auto to = static_cast<unsigned char>(takeAny());
        if (c == '\\' || to == '\\' || to > 0x7F || to < from)
            refuse("'{}-{}' is no range of characters", shown({&c, 1}),
                   shown(std::string(1, static_cast<char>(to))));
        return range(from, to);
    }

    RegexPart repeated(RegexPart part) {
        unsigned low = 0, high = RegexPart::kForEver;
        if (take('+'))
            low = 1;
        else if (take('?'))
            high = 1;
        else if (take('{'))
            readBounds(low, high);
        else if (!take('*'))
            return part;
        RegexPart result{.kind = PartKind::kRepeated, .low = low, .high = high};
        result.parts.push_back(std::move(part));
        return result;
    }

    // Behind a brace: N}, N,} or N,M}.
    void readBounds(unsigned& low, unsigned& high) {
        bool right = readCount(low);
        if (right && take('}')) {
            high = low;
            return;
        }
        right = right && take(',') && (take('}') || (readCount(high) && take('}')));
        if (!right || low > high)
            refuse("braces hold {{N}}, {{N,}} or {{N,M}}, to {}; \\{{ is the character", kHighest);
    }

    bool readCount(unsigned& count) {
        const char* const end = rest_.data() + rest_.size();
        const auto [last, error] = std::from_chars(rest_.data(), end, count);
        if (error != std::errc()) return false;
        rest_.remove_prefix(static_cast<size_t>(last - rest_.data()));
        return count <= kHighest;
    }

    const std::string& pattern_;
    std::string_view rest_;
    unsigned depth_ = 0;
};

}  // namespace

RegexPart parseRegex(const std::string& pattern) {
    return Parser(pattern).parse();
}

}  // namespace pcsim
