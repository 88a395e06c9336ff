// Throwing of errors, in one place: most of a throw is code that would stand at every caller.
#include "console/error.h"

namespace pcsim {

void failFormatted(fmt::string_view format, fmt::format_args arguments) {
    throw CommandError(fmt::vformat(format, arguments));
}

}  // namespace pcsim
