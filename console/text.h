// Texts of records, of lines of files, and on their way to a terminal.
#ifndef PCSIM_CONSOLE_TEXT_H
#define PCSIM_CONSOLE_TEXT_H

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace pcsim {

// The text in a field of fixed size: up to its NUL, or all of it when there is none.
template <size_t size>
std::string textOf(const char (&field)[size]) {
    return {field, strnlen(field, size)};
}

// The text with '?' for every byte that a terminal would take for more than a character: control
// characters but tabs, and what is not UTF-8. Whatever came out of a file goes through this.
std::string printable(std::string_view text);

// Stands for what is left out of a text.
inline constexpr std::string_view kLeftOut = "...";

// A word of a file as a message quotes it: short and printable.
std::string shown(std::string_view word);

// A message that may quote bytes of a file: printable, and not longer than two lines.
std::string presentable(std::string text);

// "1 MAC address", "2 MAC addresses".
std::string counted(uint64_t count, const char* one, const char* many);

// Takes the next word off a line; empty at its end.
std::string_view takeWord(std::string_view& line);

}  // namespace pcsim

#endif
