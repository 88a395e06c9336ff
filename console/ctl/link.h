// A connection to an instance, as a client has it.
#ifndef PCSIM_CONSOLE_CTL_LINK_H
#define PCSIM_CONSOLE_CTL_LINK_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "console/ctl/reply.h"
#include "console/signals.h"

namespace pcsim {

// The parameters of a request as JSON.
class Asked {
public:
    Asked& text(const char* name, const std::string& value);
    Asked& flag(const char* name, bool value);
    Asked& number(const char* name, uint64_t value);
    std::string json() const { return "{" + members_ + "}"; }

private:
    Asked& add(const char* name, const std::string& json);
    std::string members_;
};

class Link {
public:
    // Throws a CommandError when nobody answers there.
    Link(std::string name, const std::string& path, Signals& signals);
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    const std::string& name() const { return name_; }
    int descriptor() const { return socket_; }

    // The answer to a request; what comes before it goes to 'onNotification'. An interruption is
    // handed on: the instance ends what runs. Throws a CommandError when the connection ends, or
    // nothing comes for 'patienceMs' (negative: however long).
    Reply ask(const char* method, const Asked& asked, int patienceMs = -1);
    // The same, and a CommandError for an error.
    Reply result(const char* method, const Asked& asked, int patienceMs = -1);

    // The next line when one is there; nothing at the end of time or when interrupted.
    std::optional<Reply> next(int patienceMs);

    std::function<void(const Reply&)> onNotification;

private:
    void send(const std::string& line);
    std::optional<std::string> takeLine();
    uint64_t request(const char* method, const Asked& asked);

    std::string name_;
    Signals& signals_;
    int socket_;
    std::string received_;
    uint64_t lastId_ = 0;
};

// Throws what an answer has as its error.
[[noreturn]] void failAs(const Reply& reply);

}  // namespace pcsim

#endif
