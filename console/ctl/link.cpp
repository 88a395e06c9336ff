// Asking an instance.
#include "console/ctl/link.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "console/error.h"
#include "console/json.h"

namespace pcsim {

Asked& Asked::add(const char* name, const std::string& json) {
    members_ += (members_.empty() ? "\"" : ",\"") + std::string(name) + "\":" + json;
    return *this;
}

Asked& Asked::text(const char* name, const std::string& value) {
    return add(name, jsonString(value));
}

Asked& Asked::flag(const char* name, bool value) {
    return add(name, value ? "true" : "false");
}

Asked& Asked::number(const char* name, uint64_t value) {
    return add(name, std::to_string(value));
}

Link::Link(std::string name, const std::string& path, Signals& signals)
    : name_(std::move(name)),
      signals_(signals),
      socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (socket_ >= 0 &&
        connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return;
    const int error = errno;
    if (socket_ >= 0) close(socket_);
    fail("instance '{}' can't be reached: {}", name_, std::strerror(error));
}

Link::~Link() {
    close(socket_);
}

void Link::send(const std::string& line) {
    for (size_t at = 0; at < line.size();) {
        const ssize_t size = ::send(socket_, line.data() + at, line.size() - at, MSG_NOSIGNAL);
        if (size < 0 && errno != EINTR) fail("instance '{}' has ended", name_);
        if (size > 0) at += static_cast<size_t>(size);
    }
}

uint64_t Link::request(const char* method, const Asked& asked) {
    send("{\"jsonrpc\":\"2.0\",\"id\":" + std::to_string(++lastId_) + ",\"method\":\"" + method +
         "\",\"params\":" + asked.json() + "}\n");
    return lastId_;
}

std::optional<std::string> Link::takeLine() {
    const size_t end = received_.find('\n');
    if (end == std::string::npos) return std::nullopt;
    std::string line = received_.substr(0, end);
    received_.erase(0, end + 1);
    return line;
}

std::optional<Reply> Link::next(int patienceMs) {
    for (;;) {
        if (const auto line = takeLine()) return Reply(*line);
        pollfd waited[] = {{socket_, POLLIN, 0}, {signals_.descriptor(), POLLIN, 0}};
        const int ready = poll(waited, 2, patienceMs);
        if (ready == 0 || signals_.interrupted()) return std::nullopt;
        if (waited[1].revents != 0) signals_.drain();
        if (ready < 0 || waited[0].revents == 0) continue;
        char bytes[65536];
        const ssize_t size = recv(socket_, bytes, sizeof bytes, 0);
        if (size > 0) received_.append(bytes, static_cast<size_t>(size));
        if (size == 0 || (size < 0 && errno != EINTR)) fail("instance '{}' has ended", name_);
    }
}

Reply Link::ask(const char* method, const Asked& asked, int patienceMs) {
    const uint64_t id = request(method, asked);
    for (;;) {
        const auto reply = next(patienceMs);
        if (!reply && signals_.interrupted()) {
            if (signals_.terminated()) fail("interrupted");
            signals_.forgetInterrupt();
            request("interrupt", {});
        } else if (!reply) {
            fail("instance '{}' doesn't answer", name_);
        } else if (reply->number("id") == id) {
            return *reply;
        } else if (reply->has("method") && onNotification) {
            onNotification(*reply);
        } else if (reply->has("error") && !reply->has("id")) {
            failAs(*reply);  // refused altogether
        }
    }
}

Reply Link::result(const char* method, const Asked& asked, int patienceMs) {
    Reply reply = ask(method, asked, patienceMs);
    if (reply.has("error")) failAs(reply);
    return reply;
}

void failAs(const Reply& reply) {
    const uint64_t code = reply.number("error/code").value_or(0);
    const bool known = code >= static_cast<uint64_t>(ErrorCode::kFailed) &&
                       code <= static_cast<uint64_t>(ErrorCode::kInterrupted);
    throw CommandError(reply.text("error/message").value_or("the instance answers an error"),
                       known ? static_cast<ErrorCode>(code) : ErrorCode::kFailed);
}

}  // namespace pcsim
