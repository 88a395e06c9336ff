// Texts in JSON.
#ifndef PCSIM_CONSOLE_JSON_H
#define PCSIM_CONSOLE_JSON_H

#include <string>

namespace pcsim {

// A text as a string of JSON, with its quotes; bytes that are not UTF-8 become U+FFFD.
std::string jsonString(const std::string& text);

}  // namespace pcsim

#endif
