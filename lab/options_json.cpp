// The table of a program's options as JSON, for what makes manuals and completion.
#include "lab/options.h"

namespace pcsim {

namespace {

// Texts of tables are plain: quotes and backslashes are all that is special in them.
std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + '"';
}

std::string_view kindOf(Takes takes) {
    switch (takes) {
        case Takes::Nothing:
        case Takes::End:
            return "nothing";
        case Takes::Text:
            return "text";
        case Takes::Name:
            return "name";
        case Takes::Choice:
            return "choice";
        case Takes::Pair:
            return "pair";
        case Takes::Form:
            return "form";
        case Takes::Number:
            return "number";
    }
    return "nothing";
}

std::string jsonOf(const Option& option) {
    std::string choices;
    for (const std::string_view choice : option.choices)
        choices += (choices.empty() ? "" : ", ") + quoted(choice);
    return "{\"name\": " + quoted(option.name) +
           ", \"letter\": " + quoted(option.letter != 0 ? std::string(1, option.letter) : "") +
           ", \"value\": " + quoted(option.value) + ", \"help\": " + quoted(option.help) +
           ", \"takes\": " + quoted(kindOf(option.takes)) + ", \"choices\": [" + choices + "]}";
}

}  // namespace

std::string helpJson(const Program& program) {
    std::string options, commands;
    for (const Option& option : program.options)
        options += (options.empty() ? "\n    " : ",\n    ") + jsonOf(option);
    for (const ProgramCommand& command : program.commands)
        commands +=
            (commands.empty() ? "\n    {" : ",\n    {") + ("\"name\": " + quoted(command.name)) +
            ", \"usage\": " + quoted(command.usage) + ", \"help\": " + quoted(command.help) + "}";
    return "{\n  \"name\": " + quoted(program.name) + ",\n  \"about\": " + quoted(program.about) +
           ",\n  \"usage\": " + quoted(program.usage) + ",\n  \"options\": [" + options +
           "],\n  \"commands\": [" + commands + "]\n}\n";
}

}  // namespace pcsim
