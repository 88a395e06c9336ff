// Drawing of progress.
#include "console/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace pcsim {

namespace {

constexpr auto kFirstAfter = std::chrono::milliseconds(200);  // short steps show nothing
constexpr auto kBetween = std::chrono::milliseconds(100);
// Together with a million of something, and as many each second, less than 80 columns.
constexpr size_t kBarWidth = 15;
constexpr size_t kTextWidth = 26;

}  // namespace

Progress::Progress(std::string what, uint64_t total, std::string noun)
    : what_(std::move(what)),
      total_(total),
      noun_(std::move(noun)),
      shown_(isatty(STDERR_FILENO) != 0 && total != 0),
      nextDraw_(start_ + kFirstAfter) {
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
    const double seconds = std::chrono::duration<double>(now - start_).count();
    fmt::print(stderr, "\r{} [{:<{}}] {:3} %  {} {}, {:.0f}/s\033[K", what_,
               std::string(filled, '='), kBarWidth, part * 100 / total_, calls_, noun_,
               static_cast<double>(calls_) / seconds);
    std::fflush(stderr);
}

}  // namespace pcsim
