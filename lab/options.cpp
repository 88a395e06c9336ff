// Reading a command line by its table, and the help that the table makes.
#include "lab/options.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>

namespace pcsim {

namespace {

constexpr size_t kColumns = 80;
constexpr int kFirstLong = 256;  // getopt's value of the first option; above all letters

bool takesValue(const Option& option) {
    return option.takes != Takes::Nothing && option.takes != Takes::End;
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
            return std::ranges::count(option.choices, value) != 0;
        case Takes::Number:
            return parseNumber(value, number) && number >= option.low && number <= option.high;
        default:
            return true;
    }
}

[[noreturn]] void failFor(const Option& option, const std::string& what) {
    throw OptionProblem("--" + std::string(option.name) + " " + what);
}

// One reading: the table in getopt's form, and what was found so far.
class Reader {
public:
    Reader(const Program& program, int argc, char* const* argv)
        : program_(program), argc_(argc), argv_(argv) {
        // '+': the options end at the first word that is none. ':': nothing is printed.
        letters_ = "+:";
        for (const Option& option : program.options) {
            const int value = kFirstLong + static_cast<int>(longOptions_.size());
            longOptions_.push_back({option.name, takesValue(option), nullptr, value});
            if (option.letter == 0) continue;
            letters_ += option.letter;
            if (takesValue(option)) letters_ += ':';
        }
        longOptions_.push_back({});
    }

    GivenOptions read() {
        optind = 0;  // begins anew
        while (readNext()) {
        }
        return std::move(given_);
    }

private:
    // False at the end of the options.
    bool readNext() {
        // The word that is being read: in the middle of several letters it stays the same.
        const int at = std::max(optind, 1);
        const int found = getopt_long(argc_, argv_, letters_.c_str(), longOptions_.data(), nullptr);
        if (found == -1) {
            given_.command.assign(argv_ + optind, argv_ + argc_);
            if (program_.onWord != nullptr && !given_.command.empty())
                throw OptionProblem("'" + given_.command[0] + "' is not an option; " +
                                    program_.onWord);
            return false;
        }
        const std::string word = argv_[at];
        const Option* option = optionOf(found == '?' || found == ':' ? optopt : found);
        // The C library also takes the beginning of a long name for the name.
        if (option == nullptr || (word.starts_with("--") && nameIn(word) != option->name))
            throw OptionProblem("there is no option " + word + "; '" + program_.name +
                                " --help' lists them");
        if (found == '?') failFor(*option, "takes no value");
        if (found == ':') failFor(*option, std::string("needs ") + option->need);
        return take(*option, word);
    }

    bool take(const Option& option, const std::string& word) {
        const std::string value = takesValue(option) ? optarg : "";
        const bool forgotten = word == "--" + std::string(option.name) + "=";
        if (forgotten || !accepts(option, value))
            failFor(option, std::string("needs ") + option.need);
        if (takesValue(option) && !option.repeats && given_.has(option.name))
            failFor(option, "may be given once");
        given_.inOrder.push_back({option.name, value});
        return option.takes != Takes::End;
    }

    const Option* optionOf(int value) const {
        if (value >= kFirstLong) return &program_.options[static_cast<size_t>(value - kFirstLong)];
        for (const Option& option : program_.options)
            if (option.letter != 0 && option.letter == value) return &option;
        return nullptr;
    }

    static std::string nameIn(const std::string& word) {
        return word.substr(2, word.find('=') - 2);
    }

    const Program& program_;
    int argc_;
    char* const* argv_;
    std::string letters_;
    std::vector<option> longOptions_;
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
    return text;
}

}  // namespace pcsim
