// What is wrong with a command line, in one line that says what would be right: shared by the
// programs, which end with kBadOptions then.
#ifndef PCSIM_LAB_OPTIONS_H
#define PCSIM_LAB_OPTIONS_H

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

namespace pcsim {

inline constexpr int kBadOptions = 2;

// What each option with a value needs, by its long name: {"--lab", "a number from 1 to 100"}.
using OptionNeeds = std::vector<std::pair<std::string, std::string>>;

// 'onWord' is what to say about a word that is no option.
inline std::string optionProblem(const CLI::App& app, const CLI::ParseError& error,
                                 const OptionNeeds& needs, const std::string& onWord) {
    // A word too many is also seen as one that lacks the words behind it.
    const bool aboutWords = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr ||
                            dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    const std::vector<std::string> words = app.remaining();
    if (aboutWords && !words.empty()) {
        const std::string& word = words.front();
        if (word.size() > 1 && word.front() == '-')
            return "there is no option " + word + "; '" + app.get_name() + " --help' lists them";
        return "'" + word + "' is not an option; " + onWord;
    }
    // The library's own words begin with the option's name, or hold it.
    const std::string text = error.what();
    const auto isAbout = [&](const std::string& name) { return text.starts_with(name + ":"); };
    for (const auto& [name, need] : needs) {
        if (!isAbout(name) && text.find(" " + name + " ") == std::string::npos) continue;
        if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr &&
            text.find("At Most") != std::string::npos)
            return name + " may be given once";
        return name + " needs " + need;
    }
    for (const CLI::Option* option : app.get_options()) {
        const std::string name = option->get_name();  // its long one, with the dashes
        if (name.starts_with("--") && text.starts_with(name.substr(2) + " "))
            return name + " takes no value";
    }
    return text.substr(0, text.find('\n'));
}

}  // namespace pcsim

#endif
