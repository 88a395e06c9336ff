// Pieces of C source.
#ifndef PCSIM_PROBE_TOOLS_C_TEXT_H
#define PCSIM_PROBE_TOOLS_C_TEXT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace pcsim::probe {

// A string literal of the bytes, divided into lines. Without a NUL of its own at the end.
std::string cLiteral(std::span<const uint8_t> bytes);
std::string cLiteral(std::string_view text);

// What can stand in a comment.
std::string cComment(std::string_view text);

// The source that every exported recording begins with.
std::string_view exportedHost();

}  // namespace pcsim::probe

#endif
