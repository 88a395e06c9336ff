// Prints as vsnprintf does, many times as fast, where a format has nothing but what dumps are made
// of: %d %i %u %x %c %s and %%, with '-', '0', a width and, for %s, a precision.
#ifndef PCSIM_HOST_CORE_QUICK_PRINT_H
#define PCSIM_HOST_CORE_QUICK_PRINT_H

#include <cstdarg>
#include <cstddef>

namespace pcsim::host {

// The text at 'text', without a terminating 0, and its length. -1 where the format has anything
// else, an argument is null, or 'size' bytes don't hold all of it; then the text is vsnprintf's to
// print.
int quickPrint(char* text, size_t size, const char* format, va_list arguments);

}  // namespace pcsim::host

#endif
