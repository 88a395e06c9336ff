// Words and the blanks, quotes and comments around them.
#include "console/words.h"

#include <algorithm>

#include "console/error.h"

namespace pcsim {

namespace {

constexpr std::string_view kBetweenWords = " \t\r\n";
// Variables hold others' values, so a short line could become any length.
constexpr size_t kLongestExpanded = 1 << 20;

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isNameCharacter(char c) {
    return isLetter(c) || (c >= '0' && c <= '9');
}

// Takes a line apart, a character after the other.
class Splitter {
public:
    Splitter(std::string_view line, const ValueOf* valueOf) : rest_(line), valueOf_(valueOf) {}

    // 'literal' is told of each word whether any of it is quoted or a variable's value.
    Words split(std::vector<bool>& literal) {
        while (!rest_.empty()) {
            const char c = take();
            if (c == '"') {
                quoted_ = !quoted_;
                open_ = literal_ = true;
            } else if (!quoted_ && c == '#' && !open_) {
                break;
            } else if (!quoted_ && kBetweenWords.find(c) != kBetweenWords.npos) {
                finishWord();
            } else {
                add(c);
            }
        }
        if (quoted_) failUsage("the quote before '{}' is not closed; end it with \"", word_);
        finishWord();
        literal = std::move(literals_);
        return std::move(words_);
    }

private:
    char take() {
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }

    void add(char c) {
        open_ = true;
        if (c == '$' && valueOf_ != nullptr)
            addVariable();
        else
            word_ += c;
    }

    // What follows a dollar.
    void addVariable() {
        const char next = rest_.empty() ? ' ' : rest_.front();
        if (next == '$') rest_.remove_prefix(1);
        if (next != '{' && !isLetter(next)) {
            word_ += '$';
            return;
        }
        const std::string& value = (*valueOf_)(next == '{' ? takeBraces() : takeName());
        added_ += value.size();
        if (added_ > kLongestExpanded)
            failUsage("the line is longer than {} bytes with the values of its variables",
                      kLongestExpanded);
        word_ += value;
        literal_ = true;
    }

    std::string_view takeName() {
        size_t end = 0;
        while (end < rest_.size() && isNameCharacter(rest_[end])) ++end;
        const std::string_view name = rest_.substr(0, end);
        rest_.remove_prefix(end);
        return name;
    }

    std::string_view takeBraces() {
        const size_t end = rest_.find('}');
        const std::string_view name = rest_.substr(1, end == rest_.npos ? end : end - 1);
        if (end == rest_.npos || !isVariableName(name))
            failUsage("'${}' is no variable; expected ${{NAME}}",
                      rest_.substr(0, end == rest_.npos ? end : end + 1));
        rest_.remove_prefix(end + 1);
        return name;
    }

    void finishWord() {
        if (open_) {
            words_.push_back(std::move(word_));
            literals_.push_back(literal_);
        }
        word_.clear();
        open_ = literal_ = false;
    }

    std::string_view rest_;
    const ValueOf* valueOf_;
    Words words_;
    std::vector<bool> literals_;
    std::string word_;
    bool open_ = false;  // a word has begun
    bool literal_ = false;
    bool quoted_ = false;
    size_t added_ = 0;  // bytes of values
};

}  // namespace

Words splitWords(std::string_view line) {
    std::vector<bool> literal;
    return Splitter(line, nullptr).split(literal);
}

Words splitWords(std::string_view line, const ValueOf& valueOf) {
    std::vector<bool> literal;
    return Splitter(line, &valueOf).split(literal);
}

Words splitWords(std::string_view line, const ValueOf& valueOf, std::vector<bool>& literal) {
    return Splitter(line, &valueOf).split(literal);
}

bool isVariableName(std::string_view name) {
    return !name.empty() && isLetter(name.front()) && std::ranges::all_of(name, isNameCharacter);
}

std::string quotedWord(const std::string& word) {
    const bool plain = !word.empty() && word.find_first_of(" \t\r\n#") == word.npos;
    return plain ? word : '"' + word + '"';
}

std::string lineOf(const Words& words) {
    std::string line;
    for (const std::string& word : words) line += (line.empty() ? "" : " ") + quotedWord(word);
    return line;
}

std::string_view firstWord(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(kBetweenWords), line.size()));
    if (line.starts_with('#')) return {};
    return line.substr(0, line.find_first_of(kBetweenWords));
}

namespace {

// Letters to change, add, leave out or swap with the next to make 'b' of 'a'.
size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> older, last(b.size() + 1), row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) last[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t change = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({change, last[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], older[j - 2] + 1);
        }
        older = last;
        last = row;
    }
    return last.back();
}

}  // namespace

std::string nearest(const std::string& word, const Words& candidates) {
    constexpr size_t kLongest = 40;  // of a word; nobody types a longer one by mistake
    if (word.size() > kLongest) return "";
    const size_t farthest = word.size() < 2 ? 0 : word.size() < 5 ? 1 : 2;
    std::string found;
    size_t least = farthest + 1;
    for (const std::string& candidate : candidates) {
        const size_t away = editDistance(word, candidate);
        if (away >= least) continue;
        least = away;
        found = candidate;
    }
    return found;
}

std::string joinWords(const Words& words, size_t count, const char* separator) {
    std::string text;
    for (size_t i = 0; i < count; ++i) text += (i == 0 ? "" : separator) + words[i];
    return text;
}

}  // namespace pcsim
