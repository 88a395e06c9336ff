// Works on the block that the program was started with, before the C library has looked at it.
#include "probe/preload/environment.h"

#include <cstring>

namespace pcsim::probe {

namespace {

// The place of a variable, whose value follows the name and '='; null when there is none.
char** find(char** variables, std::string_view name) {
    for (char** variable = variables; *variable != nullptr; ++variable) {
        const std::string_view text = *variable;
        if (text.starts_with(name) && text.substr(name.size()).starts_with('=')) return variable;
    }
    return nullptr;
}

void remove(char** variable) {
    do {
        variable[0] = variable[1];
    } while (*variable++ != nullptr);
}

bool isFile(std::string_view path, std::string_view file) {
    const size_t slash = path.rfind('/');
    return (slash == std::string_view::npos ? path : path.substr(slash + 1)) == file;
}

// Takes the entries of 'file' out of a list with blanks or colons between its entries.
void takeOut(char* list, std::string_view file) {
    constexpr std::string_view kBetween = " :";
    char* kept = list;
    for (const char* at = list; *at != '\0';) {
        const std::string_view rest = at;
        const size_t length = rest.substr(0, rest.find_first_of(kBetween)).size();
        const size_t whole = length + (at[length] != '\0' ? 1 : 0);
        if (!isFile(rest.substr(0, length), file)) {
            std::memmove(kept, at, whole);
            kept += whole;
        }
        at += whole;
    }
    // No separator is left behind the last that stays.
    while (kept > list && kBetween.find(kept[-1]) != std::string_view::npos) --kept;
    *kept = '\0';
}

}  // namespace

void leavePreload(char** variables, std::string_view library) {
    constexpr std::string_view kName = "LD_PRELOAD";
    char** const variable = find(variables, kName);
    if (variable == nullptr) return;
    char* const list = *variable + kName.size() + 1;
    takeOut(list, library);
    if (*list == '\0') remove(variable);
}

const char* takeVariable(char** variables, std::string_view name) {
    char** const variable = find(variables, name);
    if (variable == nullptr) return "";
    const char* const value = *variable + name.size() + 1;
    remove(variable);
    return value;
}

}  // namespace pcsim::probe
