// Making what is shown fit the terminal: lines broken at words, and tables of values of any length
// on a line of 80 columns.
#ifndef PCSIM_CONSOLE_PRESENT_H
#define PCSIM_CONSOLE_PRESENT_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "console/report.h"

namespace pcsim {

// Of what is no terminal, or doesn't say.
inline constexpr size_t kTerminalWidth = 80;

// Appends 'text', broken at blanks where a line would be wider than 'width': it starts at the
// line's end, and goes on at 'column'.
void appendWrapped(std::string& result, std::string_view text, size_t column, size_t width);

// The columns of the terminal that 'descriptor' is; 80 when it is none.
size_t widthOf(int descriptor);

// A line for people: broken at words when 'descriptor' is a terminal, to its width.
std::string wrappedFor(int descriptor, const std::string& line);

enum class Cut { kEnd, kMiddle };  // what of a long text is left out

struct Flexible {
    size_t column;
    Cut cut;
};

// The line below the first 'shown' of 'total' rows; 'limit' is told of unless it ends there.
std::string firstRows(uint64_t shown, uint64_t total, const char* noun, uint64_t highestLimit);

// Shortens the texts in these columns, the widest first, until the table is 80 columns wide, and
// says so below it. The values, which JSON has, stay as they are.
void fitTable(Table& table, std::initializer_list<Flexible> columns);

}  // namespace pcsim

#endif
