// Serving one client.
#include "console/server/connection.h"

#include <poll.h>
#include <sys/epoll.h>

#include <utility>

#include "console/json.h"
#include "console/server/answer.h"
#include "console/server/methods.h"
#include "console/text.h"

namespace pcsim {

namespace {

constexpr size_t kMostWaiting = 64;          // requests that are read before they run
constexpr size_t kMostUnsent = 1024 * 1024;  // what is more waits until the client reads
constexpr size_t kEventBytes = 64 * 1024;    // of each stream at a time
constexpr int kChunksAtOnce = 4;
constexpr auto kShare = std::chrono::milliseconds(5);
constexpr auto kFarewell = std::chrono::milliseconds(500);

}  // namespace

Connection::Connection(Hub& hub, ConnectionId id, int descriptor)
    : hub_(hub),
      id_(id),
      channel_(descriptor),
      sink_([this](const std::string& text, const std::string& event) { print(text, event); }),
      session_(hub.console, sink_, {}) {
    listen();
}

// --- reading

void Connection::ready(uint32_t events) {
    if ((events & (EPOLLHUP | EPOLLERR)) != 0) return lose();
    if ((events & EPOLLIN) != 0)
        for (int chunk = 0; chunk < kChunksAtOnce && channel_.receive(); ++chunk) continue;
    attend();
}

void Connection::takeLines() {
    while (!leaving_ && requests_.size() < kMostWaiting) {
        auto line = channel_.nextLine();
        if (!line) return;
        take(std::move(*line));
    }
}

void Connection::take(Channel::Line line) {
    Request request;
    request.id = "null";
    request.errorCode = kRefused;
    if (line.tooLong)
        request.error = fmt::format(
            "the request is too long; expected a line of at most {} bytes, and of all clients "
            "together at most {} that have no end yet",
            kLongestRequest, kMostReceiving);
    else if (line.incomplete)
        request.error = "the request has no end; expected a line feed behind it";
    else if (line.text.empty() || line.text == "\r")
        return;
    else
        request = readRequest(line.text);
    if (request.errorCode == 0 && request.method == "interrupt")
        interrupt(request);
    else
        requests_.push_back(std::move(request));
}

// Overtakes what runs, or holds for what waits first.
void Connection::interrupt(const Request& request) {
    if (running_)
        hub_.console.surroundings.interrupt(work_);
    else
        interruptNext_ = !requests_.empty();
    if (request.id.empty()) return;
    channel_.send(resultLine(request.id, running_ || interruptNext_ ? R"({"interrupted":true})"
                                                                    : R"({"interrupted":false})"));
}

// --- running

void Connection::startWork() {
    try {
        work_ = hub_.console.surroundings.spawn([this] { work(); });
    } catch (const CommandError& error) {
        refuseRest(kEnding, error.what());
    }
}

void Connection::work() {
    Surroundings& surroundings = hub_.console.surroundings;
    turnBegan_ = Clock::now();
    while (!gone_ && !leaving_ && !surroundings.terminated() && !requests_.empty() &&
           channel_.unsent() < kMostUnsent) {
        const Request request = std::move(requests_.front());
        requests_.pop_front();
        surroundings.forgetInterrupt();
        if (std::exchange(interruptNext_, false)) surroundings.interrupt(work_);
        running_ = true;
        const std::string line = answerTo(request);
        running_ = false;
        sink_.stop();
        if (!request.id.empty()) channel_.send(line);
        channel_.send(std::exchange(behind_, ""));
        leaving_ = session_.ended();
        takeLines();
        // The next may take long.
        if (!requests_.empty()) hub_.attendSoon(id_);
        if (Clock::now() - turnBegan_ >= kShare) giveWay();
    }
    work_ = 0;
    if (gone_)
        hub_.drop(id_);
    else
        attend();
}

std::string Connection::answerTo(const Request& request) {
    try {
        if (request.errorCode != 0) throw ProtocolError(request.errorCode, request.error);
        return resultLine(request.id, runMethod(*this, request));
    } catch (const ProtocolError& error) {
        return errorLine(request.id, error.code, error.what());
    } catch (const CommandError& error) {
        return errorLine(request.id, error, sink_.printed());
    } catch (const std::exception& error) {
        return errorLine(request.id, kInternal, error.what());
    }
}

void Connection::breathe() {
    if (Clock::now() - turnBegan_ < kShare) return;
    giveWay();
    hub_.console.surroundings.checkInterrupt();
}

void Connection::giveWay() {
    if (!handOver()) lose();
    hub_.console.surroundings.giveWay();
    turnBegan_ = Clock::now();
}

// --- writing

// What is printed beside an answer. Events are left out rather than kept without end.
void Connection::print(const std::string& text, const std::string& event) {
    if (channel_.unsent() > kMostUnsent && (!running_ || !event.empty())) {
        ++leftOut_;
        return;
    }
    if (const uint64_t count = std::exchange(leftOut_, 0); count != 0)
        print(fmt::format("({} left out here: they were not read in time)\n",
                          counted(count, "text was", "texts were")),
              "");
    std::string parameters = "{\"text\":" + jsonString(text);
    if (!event.empty()) parameters += ",\"event\":" + event;
    channel_.send(notificationLine("output", parameters + "}"));
    hub_.attendSoon(id_);
}

// Fills the socket with what there is to tell; false when nobody is there any more.
bool Connection::handOver() {
    for (;;) {
        bool told = false;
        for (EventStream& stream : streams_) {
            if (channel_.unsent() > kMostUnsent) break;
            const std::string lines = stream.next(kEventBytes);
            told = told || !lines.empty();
            channel_.send(lines);
        }
        if (!channel_.flush()) return false;
        if (!told || channel_.unsent() != 0) return true;
    }
}

void Connection::attend() {
    if (gone_) return;
    takeLines();
    if (!handOver()) return lose();
    if (work_ == 0 && !leaving_ && !requests_.empty() && channel_.unsent() < kMostUnsent &&
        !hub_.console.surroundings.terminated())
        startWork();
    if (over()) return lose();
    listen();
}

void Connection::listen() {
    uint32_t events = 0;
    if (channel_.unsent() != 0) events |= EPOLLOUT;
    const bool reads = !channel_.atEnd() && !leaving_ && requests_.size() < kMostWaiting &&
                       channel_.unsent() < kMostUnsent;
    if (reads) events |= EPOLLIN;
    if (std::exchange(listening_, events) != events)
        hub_.listenFor(id_, channel_.descriptor(), events);
}

// Whether nothing more can come of this connection.
bool Connection::over() const {
    if (work_ != 0 || channel_.unsent() != 0) return false;
    return leaving_ || (channel_.atEnd() && requests_.empty() && streams_.empty());
}

// It ends here, once what runs has ended.
void Connection::lose() {
    if (gone_) return;
    gone_ = true;
    requests_.clear();
    streams_.clear();
    if (work_ != 0)
        hub_.console.surroundings.interrupt(work_);
    else
        hub_.drop(id_);
}

void Connection::refuseRest(int code, const std::string& why) {
    for (const Request& request : requests_)
        if (!request.id.empty()) channel_.send(errorLine(request.id, code, why));
    requests_.clear();
}

void Connection::finish() {
    if (gone_) return;
    while (channel_.receive()) continue;
    takeLines();
    refuseRest(kEnding, "this instance is ending; expected a living one");
    const auto end = Clock::now() + kFarewell;
    while (handOver() && channel_.unsent() != 0 && Clock::now() < end) {
        pollfd writable{channel_.descriptor(), POLLOUT, 0};
        poll(&writable, 1, 10);
    }
}

// --- streams

EventStream& Connection::addStream(EventStream::Wish wish) {
    return streams_.emplace_back(hub_.feed, ++lastStream_, std::move(wish),
                                 [this] { hub_.attendSoon(id_); });
}

bool Connection::removeStream(uint64_t id) {
    return std::erase_if(streams_, [id](const EventStream& one) { return one.id() == id; }) != 0;
}

}  // namespace pcsim
