// The door of other programs: a socket on which each connection has a session of its own. Requests
// and answers are lines of JSON-RPC 2.0; docs/protocol.md tells of them.
//
// All of it happens on the one thread, when time passes in the surroundings: lines are read and
// answers written by what the loop watches, requests run as works beside the main one, one at a
// time of each connection.
#ifndef PCSIM_CONSOLE_SERVER_SERVER_H
#define PCSIM_CONSOLE_SERVER_SERVER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "console/console.h"
#include "console/server/instance_socket.h"

namespace pcsim {

// What the owner of a server knows of the instance.
struct InstanceStatus {
    std::string shape;
    uint64_t timeMs = 0;
    bool stopped = false;
    uint64_t ports = 0, portsUp = 0;
};

struct ServerFacts {
    std::function<InstanceStatus()> status;
    std::string version;  // of the program
    std::string abi;      // of the library's interface
    int protocol = 0;
    // What a snapshot shows when nobody says what.
    std::vector<std::string> snapshot;
    // Whatever events come from.
    std::function<std::vector<std::string>()> eventSources;
};

class Server {
public:
    // All must outlive the server. Who connects waits until begin().
    Server(Console& console, InstanceSocket& socket, ServerFacts facts);
    // Ends what connections run, hands over what they have been answered, and closes them.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void begin();

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace pcsim

#endif
