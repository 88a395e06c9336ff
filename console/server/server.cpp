// Taking connections, and one poll for all of them.
#include "console/server/server.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>

#include "console/server/answer.h"
#include "console/server/connection.h"
#include "console/server/hub.h"

namespace pcsim {

namespace {

constexpr ConnectionId kListener = 0, kWake = 1, kFirstConnection = 2;
constexpr int kEventsAtOnce = 64;
constexpr int kAcceptsAtOnce = 64;
constexpr rlim_t kMostConnections = 8192;
constexpr rlim_t kOtherDescriptors = 64;  // what everything else may need

// As many as the system allows without asking.
size_t mostConnections() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return kOtherDescriptors;
    const rlim_t wanted = std::min(limit.rlim_max, kMostConnections + kOtherDescriptors);
    if (limit.rlim_cur < wanted) {
        limit.rlim_cur = wanted;
        setrlimit(RLIMIT_NOFILE, &limit);
        getrlimit(RLIMIT_NOFILE, &limit);
    }
    const rlim_t most = limit.rlim_cur > 2 * kOtherDescriptors ? limit.rlim_cur - kOtherDescriptors
                                                               : limit.rlim_cur / 2;
    return static_cast<size_t>(std::min(most, kMostConnections));
}

bool isOurUser(int descriptor) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == geteuid();
}

void refuse(int descriptor, const std::string& why) {
    const std::string line = errorLine("null", kRefused, why);
    [[maybe_unused]] const ssize_t sent =
        send(descriptor, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    close(descriptor);
}

int spareDescriptor() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

}  // namespace

class Server::State : public Hub {
public:
    State(Console& one, InstanceSocket& socket, ServerFacts known)
        : Hub(one, socket.name(), std::move(known)),
          listener_(socket.descriptor()),
          poll_(epoll_create1(EPOLL_CLOEXEC)),
          wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          spare_(spareDescriptor()) {
        if (poll_ < 0 || wake_ < 0) fail("no descriptors for the server: {}", std::strerror(errno));
        control(EPOLL_CTL_ADD, kListener, listener_, EPOLLIN);
        control(EPOLL_CTL_ADD, kWake, wake_, EPOLLIN);
    }

    ~State() override {
        console.surroundings.unwatch(poll_);
        console.surroundings.endSpawned();
        for (const auto& [id, connection] : connections_) connection->finish();
        connections_.clear();
        for (const int descriptor : {spare_, wake_, poll_}) close(descriptor);
    }

    void begin() {
        console.surroundings.watch(poll_, [this] { serve(); });
    }

    void listenFor(ConnectionId id, int descriptor, uint32_t events) override {
        control(EPOLL_CTL_MOD, id, descriptor, events);
    }

    void attendSoon(ConnectionId id) override {
        attended_.insert(id);
        wake();
    }

    void drop(ConnectionId id) override {
        dropped_.push_back(id);
        wake();
    }

private:
    void control(int operation, ConnectionId id, int descriptor, uint32_t events) {
        epoll_event event{};
        event.events = events;
        event.data.u64 = id;
        epoll_ctl(poll_, operation, descriptor, &event);
    }

    void wake() {
        if (std::exchange(woken_, true)) return;
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(wake_, &one, sizeof one);
    }

    void serve() {
        epoll_event events[kEventsAtOnce];
        const int count = epoll_wait(poll_, events, kEventsAtOnce, 0);
        for (int at = 0; at < count; ++at) {
            const ConnectionId id = events[at].data.u64;
            if (id == kListener)
                acceptSome();
            else if (id == kWake)
                answerWake();
            else if (const auto found = connections_.find(id); found != connections_.end())
                found->second->ready(events[at].events);
        }
        for (const ConnectionId id : std::exchange(dropped_, {})) connections_.erase(id);
    }

    void answerWake() {
        woken_ = false;
        uint64_t count;
        [[maybe_unused]] const ssize_t size = read(wake_, &count, sizeof count);
        for (const ConnectionId id : std::exchange(attended_, {}))
            if (const auto found = connections_.find(id); found != connections_.end())
                found->second->attend();
    }

    void acceptSome() {
        for (int count = 0; count < kAcceptsAtOnce; ++count) {
            const int descriptor =
                accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
            if (descriptor >= 0)
                greet(descriptor);
            else if (errno == EMFILE || errno == ENFILE)
                refuseOne();
            else if (errno != ECONNABORTED && errno != EINTR)
                return;
        }
    }

    void greet(int descriptor) {
        if (!isOurUser(descriptor))
            return refuse(descriptor, "this instance is another user's; expected its own user");
        if (connections_.size() >= most_)
            return refuse(descriptor,
                          fmt::format("there are {} connections already, the most that can be; "
                                      "expected one of them to end first",
                                      most_));
        const ConnectionId id = nextId_++;
        control(EPOLL_CTL_ADD, id, descriptor, 0);
        connections_.emplace(id, std::make_unique<Connection>(*this, id, descriptor));
    }

    // Whoever waits in the queue while there is no descriptor left is told so with the spare one.
    void refuseOne() {
        close(spare_);
        const int descriptor = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor >= 0)
            refuse(descriptor,
                   "there are no descriptors left for one more connection; expected one of those "
                   "that are open to end first");
        spare_ = spareDescriptor();
    }

    int listener_, poll_, wake_, spare_;
    const size_t most_ = mostConnections();
    std::map<ConnectionId, std::unique_ptr<Connection>> connections_;
    ConnectionId nextId_ = kFirstConnection;
    std::set<ConnectionId> attended_;
    std::vector<ConnectionId> dropped_;
    bool woken_ = false;
};

Server::Server(Console& console, InstanceSocket& socket, ServerFacts facts)
    : state_(std::make_unique<State>(console, socket, std::move(facts))) {}

Server::~Server() = default;

void Server::begin() {
    state_->begin();
}

}  // namespace pcsim
