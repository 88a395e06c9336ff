// Drawing of progress.
#include "host/console/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace pcsim::host {

namespace {

constexpr auto kFirstAfter = std::chrono::milliseconds(200);  // short steps show nothing
constexpr auto kBetween = std::chrono::milliseconds(100);
constexpr size_t kBarWidth = 30;
constexpr size_t kTextWidth = 40;

}  // namespace

Progress::Progress(std::string what, uint64_t total)
    : what_(std::move(what)),
      total_(total),
      shown_(isatty(STDERR_FILENO) != 0 && total != 0),
      nextDraw_(Clock::now() + kFirstAfter) {
    if (what_.size() > kTextWidth) what_ = "..." + what_.substr(what_.size() - kTextWidth + 3);
}

Progress::~Progress() {
    if (!drawn_) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

void Progress::look(uint64_t done) {
    const auto now = Clock::now();
    if (now < nextDraw_) return;
    nextDraw_ = now + kBetween;
    drawn_ = true;
    const uint64_t part = std::min(done, total_);
    const auto filled = static_cast<size_t>(part * kBarWidth / total_);
    fmt::print(stderr, "\r{} [{:<{}}] {:3} %", what_, std::string(filled, '='), kBarWidth,
               part * 100 / total_);
    std::fflush(stderr);
}

}  // namespace pcsim::host
