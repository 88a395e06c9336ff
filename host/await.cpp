// The platform counts its ports once, at its start, so it starts when they are there.
#include "host/await.h"

#include <csignal>
#include <cstring>
#include <ctime>
#include <string>

#include "console/error.h"
#include "console/signals.h"
#include "lab/interface.h"

namespace pcsim::host {

namespace {

constexpr timespec kPause = {.tv_sec = 0, .tv_nsec = 50'000'000};

// Signals that end the wait, taken one by one while this lives.
class EndSignals {
public:
    EndSignals() {
        sigemptyset(&set_);
        sigaddset(&set_, SIGINT);
        sigaddset(&set_, SIGTERM);
        sigprocmask(SIG_BLOCK, &set_, &before_);
    }
    ~EndSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    // The one that comes within a pause; -1 when none does.
    int next() const { return sigtimedwait(&set_, nullptr, &kPause); }

private:
    sigset_t set_{};
    sigset_t before_{};
};

}  // namespace

void awaitInterfaces(unsigned ports) {
    const lab::Descriptor control(lab::openControl());
    if (control.get() < 0) fail("interfaces can't be asked for: {}", strerror(errno));
    const EndSignals signals;
    for (unsigned port = 1; port <= ports; ++port) {
        const std::string name = "eth" + std::to_string(port);
        while (lab::indexOf(control.get(), name) == 0)
            if (signals.next() > 0) {
                Signals::endUndisturbed();
                throw CommandError("interrupted while waiting for the interface " + name +
                                       "; expected eth1 to eth" + std::to_string(ports),
                                   ErrorCode::kInterrupted);
            }
    }
}

}  // namespace pcsim::host
