// Making what is shown fit the terminal: lines broken at words, and how wide it is.
#ifndef PCSIM_CONSOLE_PRESENT_H
#define PCSIM_CONSOLE_PRESENT_H

#include <cstdint>
#include <string>
#include <string_view>

#include "console/report.h"

namespace pcsim {

// Appends 'text', broken at blanks where a line would be wider than 'width': it starts at the
// line's end, and goes on at 'column'.
void appendWrapped(std::string& result, std::string_view text, size_t column, size_t width);

// The columns of the terminal that 'descriptor' is; 80 when it is none.
size_t widthOf(int descriptor);

// A line for people: broken at words when 'descriptor' is a terminal, to its width.
std::string wrappedFor(int descriptor, const std::string& line);

// The line below the first 'shown' of 'total' rows; 'limit' is told of unless it ends there.
std::string firstRows(uint64_t shown, uint64_t total, const char* noun, uint64_t highestLimit);

}  // namespace pcsim

#endif
