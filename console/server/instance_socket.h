// The socket that an instance is found by: NAME.sock in the folder of what runs, for its user
// alone.
//
// Whoever has a name holds a lock on NAME.lock beside it, which the kernel gives back when the
// process dies: so a socket that a dead one has left is taken over, and of two that start at the
// same time one gets the name. Whoever starts removes what dead ones have left under other names.
// The socket appears there when it answers.
#ifndef PCSIM_CONSOLE_SERVER_INSTANCE_SOCKET_H
#define PCSIM_CONSOLE_SERVER_INSTANCE_SOCKET_H

#include <string>

namespace pcsim {

inline constexpr size_t kLongestName = 64;
inline constexpr const char* kSocketEnding = ".sock";

// Why 'name' can be no instance's, "" when it can.
std::string nameProblem(const std::string& name);

class InstanceSocket {
public:
    // Listens in 'folder' under 'name'. Throws a CommandError when a living process has the name,
    // or the socket can't be made.
    InstanceSocket(std::string folder, std::string name);
    // Without a name of its own: as pcsim-PID, with a number behind it where that is taken.
    explicit InstanceSocket(std::string folder);
    // Takes the socket and the lock away.
    ~InstanceSocket();
    InstanceSocket(const InstanceSocket&) = delete;
    InstanceSocket& operator=(const InstanceSocket&) = delete;

    int descriptor() const { return socket_; }
    const std::string& name() const { return name_; }
    const std::string& path() const { return path_; }

private:
    struct Nothing {};
    InstanceSocket(Nothing, std::string folder) : folder_(std::move(folder)) {}
    bool lock();
    bool lockFile();
    void listenHere();

    std::string folder_, name_, path_, lockPath_;
    int lock_ = -1;
    int socket_ = -1;
};

}  // namespace pcsim

#endif
