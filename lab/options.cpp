// Reading a command line by its table, and the help that the table makes.
#include "lab/options.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

namespace pcsim {

namespace {

constexpr size_t kColumns = 80;
constexpr size_t kCommandHelp = 37;  // where the help of commands begins

bool takesNothing(const Option& option) {
    return option.takes == Takes::Nothing || option.takes == Takes::End;
}

// Behind its name, or as the next word.
bool takesValue(const Option& option) {
    return !takesNothing(option) && option.takes != Takes::Form;
}

bool parseNumber(std::string_view text, unsigned& number) {
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    return error == std::errc{} && last == end;
}

bool accepts(const Option& option, std::string_view value) {
    unsigned number = 0;
    switch (option.takes) {
        case Takes::Name:
            return !value.empty();
        case Takes::Choice:
        case Takes::Pair:
            return std::ranges::count(option.choices, value) != 0;
        case Takes::Form:
            return value.empty() || std::ranges::count(option.choices, value) != 0;
        case Takes::Number:
            return parseNumber(value, number) && number >= option.low && number <= option.high;
        default:
            return true;
    }
}

[[noreturn]] void failFor(const Option& option, const std::string& what) {
    throw OptionProblem("--" + std::string(option.name) + " " + what);
}

// One reading. Not the C library's: its state is the whole process's, which may be another
// program's that has its own command line to read.
class Reader {
public:
    Reader(const Program& program, int argc, char* const* argv)
        : program_(program), words_(argv + std::min(argc, 1), argv + argc) {}

    GivenOptions read() {
        while (at_ < words_.size() && !ended_) {
            const std::string word = words_[at_];
            if (word.size() < 2 || word[0] != '-') break;
            ++at_;
            if (word == "--") break;
            if (word.starts_with("--"))
                readLong(word);
            else
                readLetters(word);
        }
        if (ended_) return std::move(given_);
        given_.command.assign(words_.begin() + static_cast<ptrdiff_t>(at_), words_.end());
        if (program_.onWord != nullptr && !given_.command.empty())
            throw OptionProblem("'" + given_.command[0] + "' is not an option; " + program_.onWord);
        return std::move(given_);
    }

private:
    // --name, --name=value or --name value
    void readLong(const std::string& word) {
        const size_t equals = word.find('=');
        const Option& option = optionOf(
            word, [&](const Option& known) { return word.substr(2, equals - 2) == known.name; });
        const bool attached = equals != word.npos;
        if (attached && takesNothing(option)) failFor(option, "takes no value");
        if (attached && equals + 1 == word.size()) needs(option);
        if (!attached && !takesValue(option)) return take(option, "");
        take(option, attached ? word.substr(equals + 1) : nextWord(option));
    }

    // -q, -qv, -fvalue or -f value
    void readLetters(const std::string& word) {
        for (size_t at = 1; at < word.size() && !ended_; ++at) {
            const Option& option =
                optionOf(word, [&](const Option& known) { return word[at] == known.letter; });
            if (!takesValue(option)) {
                take(option, "");
                continue;
            }
            return take(option, at + 1 < word.size() ? word.substr(at + 1) : nextWord(option));
        }
    }

    void take(const Option& option, const std::string& value) {
        if (!accepts(option, value)) needs(option);
        if (takesValue(option) && !option.repeats && given_.has(option.name))
            failFor(option, "may be given once");
        given_.inOrder.push_back({option.name, value});
        if (option.takes == Takes::Pair) {
            given_.inOrder.back().second = nextWord(option);
            if (given_.inOrder.back().second.empty()) needs(option);
        }
        ended_ = option.takes == Takes::End;
    }

    template <typename Same>
    const Option& optionOf(const std::string& word, Same same) const {
        const auto found = std::ranges::find_if(program_.options, same);
        if (found != program_.options.end()) return *found;
        throw OptionProblem("there is no option " + word + "; '" + program_.name +
                            " --help' lists them");
    }

    std::string nextWord(const Option& option) {
        if (at_ == words_.size()) needs(option);
        return words_[at_++];
    }

    [[noreturn]] static void needs(const Option& option) {
        failFor(option, std::string("needs ") + option.need);
    }

    const Program& program_;
    std::vector<std::string> words_;
    size_t at_ = 0;
    bool ended_ = false;
    GivenOptions given_;
};

const GivenOption* find(const GivenOptions& given, std::string_view name) {
    for (const GivenOption& option : given.inOrder)
        if (option.name == name) return &option;
    return nullptr;
}

// "  -f, --file FILE"
std::string leftColumn(const Option& option) {
    std::string text = option.letter == 0 ? "      " : std::string("  -") + option.letter + ", ";
    text += std::string("--") + option.name;
    if (takesValue(option)) text += std::string(" ") + option.value;
    if (option.takes == Takes::Form) text += std::string("[=") + option.value + "]";
    return text;
}

// Takes the words from 'text' that fit 'columns', at least one.
std::string_view takeLine(std::string_view& text, size_t columns) {
    size_t end = text.size();
    if (end > columns) {
        end = text.rfind(' ', columns);
        if (end == text.npos) end = std::min(text.find(' '), text.size());
    }
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

}  // namespace

bool GivenOptions::has(std::string_view name) const {
    return find(*this, name) != nullptr;
}

std::string GivenOptions::text(std::string_view name, std::string otherwise) const {
    const GivenOption* const option = find(*this, name);
    return option != nullptr ? option->value : otherwise;
}

unsigned GivenOptions::number(std::string_view name, unsigned otherwise) const {
    unsigned number = otherwise;
    parseNumber(text(name), number);
    return number;
}

GivenOptions readOptions(const Program& program, int argc, char* const* argv) {
    return Reader(program, argc, argv).read();
}

std::string helpText(const Program& program) {
    const char* const form = std::getenv("PCSIM_HELP");
    if (form != nullptr && std::string_view(form) == "json") return helpJson(program);
    size_t width = 0;
    for (const Option& option : program.options)
        width = std::max(width, leftColumn(option).size() + 2);
    std::string text =
        std::string(program.about) + "\n\nusage: " + program.name + " " + program.usage + "\n\n";
    for (const Option& option : program.options) {
        std::string left = leftColumn(option);
        std::string_view rest = option.help;
        while (!rest.empty()) {
            const std::string_view line = takeLine(rest, kColumns - width);
            left.resize(width, ' ');
            text += left.append(line) + "\n";
            left.clear();
        }
    }
    if (program.commands.empty()) return text;
    text += std::string("\nor: ") + program.name + " COMMAND [--help]\n\n";
    for (const ProgramCommand& command : program.commands) {
        std::string left = std::string("  ") + command.name + " " + command.usage;
        left.resize(std::max(left.size() + 1, kCommandHelp), ' ');
        text += left + command.help + "\n";
    }
    return text;
}

}  // namespace pcsim
