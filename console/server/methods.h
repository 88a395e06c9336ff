// What a client can ask for: one row per method, which 'describe' tells of.
#ifndef PCSIM_CONSOLE_SERVER_METHODS_H
#define PCSIM_CONSOLE_SERVER_METHODS_H

#include <span>
#include <string>

#include "console/server/request.h"

namespace pcsim {

class Connection;

struct Method {
    const char* name;
    const char* help;
    std::span<const Parameter> parameters;
    // Null for the one that connections answer themselves, because it overtakes.
    std::string (*run)(Connection& connection, const Parameters& given);
};

std::span<const Method> methods();

// The result as JSON. Throws a ProtocolError, or a CommandError of a line.
std::string runMethod(Connection& connection, const Request& request);

// What 'describe' answers.
std::string description(Connection& connection, const Parameters& given);

}  // namespace pcsim

#endif
