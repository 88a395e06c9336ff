// A progress bar with the rate, for long steps: on standard error, only when that is a terminal,
// erased at the end.
#ifndef PCSIM_CONSOLE_PROGRESS_H
#define PCSIM_CONSOLE_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace pcsim {

class Progress {
public:
    // 'total' is what at() counts up to, 0 when nobody knows: then nothing is shown. 'noun' is what
    // each call of at() stands for.
    Progress(std::string what, uint64_t total, std::string noun);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // 'done' of the total. Cheap enough for every line of a file.
    void at(uint64_t done) {
        if (shown_ && ++calls_ % kCallsPerLook == 0) look(done);
    }

private:
    static constexpr uint32_t kCallsPerLook = 256;
    using Clock = std::chrono::steady_clock;

    void look(uint64_t done);

    std::string what_;
    uint64_t total_;
    std::string noun_;
    bool shown_;
    bool drawn_ = false;
    uint64_t calls_ = 0;
    Clock::time_point start_ = Clock::now();
    Clock::time_point nextDraw_;
};

}  // namespace pcsim

#endif
