// Reading what stands behind a command.
#include "console/piping.h"

#include <algorithm>

#include "console/error.h"

namespace pcsim {

namespace {

constexpr const char* kExpected = "include TEXT, exclude TEXT, begin TEXT, count or json";

const FilterWord& filterWord(const std::string& word) {
    std::vector<const FilterWord*> fitting;
    for (const FilterWord& known : filterWords())
        if (std::string_view(known.word).starts_with(word)) fitting.push_back(&known);
    if (fitting.size() != 1 || word.empty())
        failUsage("'{}' is no filter; expected {}", word, kExpected);
    return *fitting[0];
}

// Reads the words from the first '|' or '>' on.
class PipingReader {
public:
    PipingReader(const Words& words, const std::vector<bool>& literal)
        : words_(words), literal_(literal) {
        while (at_ < words.size() && !isMark()) ++at_;
    }

    size_t commandEnd() const { return at_; }

    Piping read() {
        while (at_ < words_.size()) {
            if (words_[at_] == "|")
                readFilter();
            else
                readFile();
        }
        if (piping_.json && !piping_.filters.empty())
            failUsage("'| json' has no lines to filter; expected '| json' alone");
        return std::move(piping_);
    }

private:
    bool isMark() const {
        return !literal_[at_] && (words_[at_] == "|" || words_[at_].starts_with('>'));
    }

    std::string takeText() {
        const size_t start = at_;
        while (at_ < words_.size() && !isMark()) ++at_;
        return joinWords({words_.begin() + static_cast<ptrdiff_t>(start),
                          words_.begin() + static_cast<ptrdiff_t>(at_)});
    }

    void readFilter() {
        ++at_;
        if (at_ == words_.size() || isMark())
            failUsage("'|' is not complete; expected {}", kExpected);
        const FilterWord& word = filterWord(words_[at_++]);
        const std::string text = takeText();
        if (word.takesText && text.empty())
            failUsage("'| {}' is not complete; expected a text", word.word);
        if (!word.takesText && !text.empty())
            failUsage("'| {}' takes nothing more; got '{}'", word.word, text);
        const auto index = &word - filterWords().data();
        if (static_cast<size_t>(index) + 1 == filterWords().size())
            piping_.json = true;
        else
            piping_.filters.push_back({static_cast<Filter::Kind>(index), text});
    }

    void readFile() {
        std::string mark = words_[at_++];
        piping_.appends = mark.starts_with(">>");
        const size_t size = piping_.appends ? 2 : 1;
        piping_.file = mark.substr(size);
        mark.resize(size);
        if (piping_.file.empty() && at_ < words_.size()) piping_.file = words_[at_++];
        if (piping_.file.empty())
            failUsage("'{}' is not complete; expected the name of a file", mark);
        if (at_ < words_.size())
            failUsage("'{} {}' takes nothing more; got '{}'", mark, piping_.file, words_[at_]);
    }

    const Words& words_;
    const std::vector<bool>& literal_;
    size_t at_ = 0;
    Piping piping_;
};

}  // namespace

const std::vector<FilterWord>& filterWords() {
    // In the order of Filter::Kind.
    static const std::vector<FilterWord> kWords{
        {"include", "the lines with a text in them", true},
        {"exclude", "the lines without", true},
        {"begin", "from the first line with a text in it", true},
        {"count", "how many lines", false},
        {"json", "as --json", false},
    };
    return kWords;
}

Piping takePiping(Words& words, const std::vector<bool>& literal) {
    PipingReader reader(words, literal);
    const size_t end = reader.commandEnd();
    if (end == words.size()) return {};
    if (end == 0) failUsage("nothing stands before '{}'; expected a command", words[0]);
    Piping piping = reader.read();
    words.resize(end);
    return piping;
}

}  // namespace pcsim
