// Waiting in real time.
#include "console/ctl/client_time.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "console/error.h"

namespace pcsim {

// Whether 'descriptor' can be read; those watched are called meanwhile.
bool ClientTime::look(int descriptor, int timeoutMs) {
    std::vector<pollfd> polled{{signals_.descriptor(), POLLIN, 0}, {descriptor, POLLIN, 0}};
    for (const auto& [watched, readable] : watched_) polled.push_back({watched, POLLIN, 0});
    const int ready = poll(polled.data(), polled.size(), timeoutMs);
    if (signals_.takeContinuation() && onContinue) onContinue();
    if (ready <= 0) return false;
    if (polled[0].revents != 0) signals_.drain();
    for (size_t at = 2; at < polled.size(); ++at) {
        const auto found = watched_.find(polled[at].fd);
        if (polled[at].revents == 0 || found == watched_.end()) continue;
        const auto readable = found->second;
        readable();
    }
    return polled[1].revents != 0;
}

bool ClientTime::waitUntil(const std::function<bool()>& done, uint64_t timeoutMs) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        checkInterrupt();
        if (done()) return true;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        look(-1, static_cast<int>(left.count()));
    }
}

bool ClientTime::waitReadable(int descriptor) {
    while (!interrupted())
        if (look(descriptor, -1)) return true;
    return false;
}

Surroundings::WorkId ClientTime::spawn(std::function<void()>) {
    throw std::logic_error("a client runs nothing beside its prompt");
}

void ClientTime::watch(int descriptor, std::function<void()> readable) {
    watched_[descriptor] = std::move(readable);
}

void ClientTime::unwatch(int descriptor) {
    watched_.erase(descriptor);
}

void ClientTime::enterFolder(const std::string& path) {
    if (chdir(path.c_str()) != 0)
        fail("the folder {} can't be entered: {}", path, std::strerror(errno));
}

}  // namespace pcsim
