// Lines over a socket.
#include "console/server/channel.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace pcsim {

namespace {

constexpr size_t kChunk = 65536;

// What all channels hold of lines without an end.
size_t receiving = 0;

}  // namespace

Channel::Channel(int descriptor) : descriptor_(descriptor) {}

Channel::~Channel() {
    receiving -= counted_;
    close(descriptor_);
}

void Channel::keepCount() {
    if (received_.empty() && received_.capacity() > 4 * kChunk) received_ = std::string();
    receiving = receiving - counted_ + received_.size();
    counted_ = received_.size();
}

bool Channel::receive() {
    static char chunk[kChunk];
    const ssize_t size = recv(descriptor_, chunk, sizeof chunk, MSG_DONTWAIT);
    if (size == 0) atEnd_ = true;
    if (size <= 0) return false;
    received_.append(chunk, static_cast<size_t>(size));
    return static_cast<size_t>(size) == sizeof chunk;
}

// A line that is too long is told of once, when that is seen; what follows up to its end is
// skipped.
std::optional<Channel::Line> Channel::nextLine() {
    for (;;) {
        const size_t end = received_.find('\n', searched_);
        if (end != std::string::npos) {
            Line line;
            line.tooLong = end - next_ > kLongestRequest;
            if (!skipping_ && !line.tooLong) line.text.assign(received_, next_, end - next_);
            next_ = searched_ = end + 1;
            if (std::exchange(skipping_, false)) continue;
            return line;
        }
        received_.erase(0, next_);
        next_ = 0;
        if (skipping_) received_.clear();
        searched_ = received_.size();
        keepCount();
        if (!skipping_ && (received_.size() > kLongestRequest || receiving > kMostReceiving)) {
            skipping_ = true;
            received_.clear();
            searched_ = 0;
            keepCount();
            return Line{"", true, false};
        }
        if (!atEnd_ || received_.empty()) return std::nullopt;
        Line line{std::move(received_), false, true};
        received_.clear();
        searched_ = 0;
        keepCount();
        return line;
    }
}

bool Channel::flush() {
    while (unsent() != 0) {
        const ssize_t size =
            ::send(descriptor_, unsent_.data() + sent_, unsent(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (size < 0 && errno == EINTR) continue;
        if (size < 0 && errno != EAGAIN) return false;
        if (size < 0) break;
        sent_ += static_cast<size_t>(size);
    }
    if (unsent() == 0) {
        if (unsent_.capacity() > 4 * kChunk) unsent_ = std::string();
        unsent_.clear();
        sent_ = 0;
    } else if (sent_ > unsent_.size() / 2) {
        unsent_.erase(0, sent_);
        sent_ = 0;
    }
    return true;
}

}  // namespace pcsim
