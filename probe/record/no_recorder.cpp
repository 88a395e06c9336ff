// The recorder of a 64-bit process, which makes no recordings: a recording tells of words and
// addresses of 32 bits.
#include <cerrno>

#include "console/error.h"
#include "probe/record/recorder.h"

namespace pcsim::probe {

Recorder::Recorder() = default;
Recorder::~Recorder() = default;

bool Recorder::start(const std::string&, bool) {
    errno = ENOTSUP;
    return false;
}

bool Recorder::stop() {
    return true;
}

void Recorder::begin(const std::string& path, bool) {
    fail("recording {} can't be made by a 64-bit program; expected the 32-bit pcsim", path);
}

std::string Recorder::finish() {
    fail("nothing is being recorded");
}

std::string Recorder::problem() {
    return {};
}

bool Recorder::wants(const Site&) const {
    return false;
}

void Recorder::before(Call&) {}

void Recorder::after(Call&) {}

}  // namespace pcsim::probe
