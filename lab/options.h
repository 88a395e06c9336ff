// The options of a command line, as data: a table says what each is called, takes and needs, and
// from it come the reading, the help and the one line that says what would be right. Shared by the
// programs, which end with kBadOptions when a command line is wrong.
#ifndef PCSIM_LAB_OPTIONS_H
#define PCSIM_LAB_OPTIONS_H

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace pcsim {

inline constexpr int kBadOptions = 2;

// What an option takes behind its name.
enum class Takes {
    Nothing,
    End,     // nothing, and what stands behind it is not looked at: --help
    Text,    // anything
    Name,    // anything but an empty word
    Choice,  // one of 'choices'
    Pair,    // one of 'choices', and a name as the next word: --report tap FILE
    Form,    // nothing, or one of 'choices' behind an equals sign: --json=lines
    Number,  // a decimal number from 'low' to 'high'
};

struct Option {
    const char* name;        // its long name, without the dashes
    char letter = 0;         // 0: it has none
    const char* value = "";  // what the help calls its value
    const char* help = "";
    const char* need = "";  // behind "--name needs": "a number from 1 to 100"
    Takes takes = Takes::Nothing;
    bool repeats = false;  // may be given more than once; whatever takes nothing may
    unsigned low = 0, high = 0;
    std::vector<std::string_view> choices{};
};

// What a program does when the first word says so, with options of its own.
struct ProgramCommand {
    const char* name;
    const char* usage;  // behind the name
    const char* help;
};

struct Program {
    const char* name;
    const char* about;   // what it does, in one line of the help
    const char* usage;   // behind its name in the help: "[options]"
    const char* onWord;  // what to say about a word that is no option; null: words are a command
    std::span<const Option> options;
    std::span<const ProgramCommand> commands{};
};

// One line that says what is wrong and what would be right.
class OptionProblem : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct GivenOption {
    std::string name;
    std::string value;
    std::string second{};  // of a pair
};

// What was given. Names are long ones, without the dashes.
class GivenOptions {
public:
    bool has(std::string_view name) const;
    std::string text(std::string_view name, std::string otherwise = "") const;
    unsigned number(std::string_view name, unsigned otherwise) const;

    std::vector<GivenOption> inOrder;
    std::vector<std::string> command;  // a program's words, from the first that is no option
};

// Throws an OptionProblem. Leaves the state of the C library's getopt alone.
GivenOptions readOptions(const Program& program, int argc, char* const* argv);

// Aligned, in 80 columns, with a line end. Where PCSIM_HELP is "json" in the environment, the table
// as JSON instead: manuals and completion are made of it.
std::string helpText(const Program& program);
std::string helpJson(const Program& program);

}  // namespace pcsim

#endif
