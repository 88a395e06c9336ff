// What goes to a client: answers, errors and notifications, each a line of JSON with its end.
#ifndef PCSIM_CONSOLE_SERVER_ANSWER_H
#define PCSIM_CONSOLE_SERVER_ANSWER_H

#include <string>
#include <string_view>
#include <vector>

#include "console/error.h"

namespace pcsim {

// 'id', 'result' and 'parameters' are JSON.
std::string resultLine(std::string_view id, std::string_view result);
std::string errorLine(std::string_view id, int code, const std::string& message);
std::string notificationLine(std::string_view method, std::string_view parameters);

// The error object of a line that could not be run; 'text' is what it had printed.
std::string errorObject(const CommandError& error, const std::string& text);
std::string errorLine(std::string_view id, const CommandError& error, const std::string& text);

std::string jsonList(const std::vector<std::string>& texts);

}  // namespace pcsim

#endif
