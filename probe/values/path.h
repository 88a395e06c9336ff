// Values of calls as rules name them: comparing what goes in with a written value, and setting what
// comes out. A name is a parameter's or a field's, whole ("request.slots.vlan") or the last part of
// it where that is clear ("gateway"), or says what the value stands for: "port", "slot", "vlan",
// "vr", "mac", "prefix". Values have the forms of text.h.
//
// What doesn't fit is a CommandError that says what would.
#ifndef PCSIM_PROBE_VALUES_PATH_H
#define PCSIM_PROBE_VALUES_PATH_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "probe/values/blocks.h"
#include "probe/values/leaves.h"

namespace pcsim::probe {

// A value as it was written, read for the leaf that it is compared with.
struct Wanted {
    int64_t number = 0;
    std::array<uint8_t, 16> bytes{};  // of a MAC or IPv6 address
    std::string text;
    uint32_t mask = 0xFFFFFFFF;  // of a prefix, network byte order
    uint32_t length = 128;       // of an IPv6 prefix
    bool isPrefix = false;
    bool within = false;
    bool isIpv6 = false;
};

// A condition on what goes in. With 'within' the value is a prefix, and addresses and longer
// prefixes inside of it fit. Where a name stands for several values, one of them has to fit.
class ValueTest {
public:
    ValueTest(std::string_view operation, const Function& function, std::string_view name,
              const std::string& value, bool within = false);

    // Before the call.
    bool holds(const CallWords& call, const Memory& memory) const;

private:
    bool fits(const Leaf& leaf, const char* at, const Block* block) const;

    std::vector<Leaf> leaves_;  // one, but where a slot is a part of several ports
    bool slotOfPort_ = false;
    Wanted wanted_;
};

// A change of what comes out: of a call into the platform the result and the outputs, of a call
// into the HAL or the C library what it is called with. Where a name stands for several values, all
// are set. What is set in a record of the library's own stays there.
class ValueChange {
public:
    ValueChange(std::string_view operation, const Function& function, Side side,
                std::string_view name, const std::string& value);

    // When it is to be applied.
    Phase phase() const { return phase_; }
    void apply(Word* arguments, uint32_t argumentWords, uint64_t& result) const;

private:
    void set(const char* at, const Block* block) const;

    const Function& function_;
    Phase phase_;
    Leaf leaf_;
    Wanted wanted_;
};

// Which calls have a port or a slot among their values, for those who look at some alone.
class Mentions {
public:
    explicit Mentions(const Function& function);

    bool port(const CallWords& call, const Memory& memory, uint32_t instance) const;
    bool slot(const CallWords& call, const Memory& memory, uint32_t slot) const;

private:
    std::vector<Leaf> leaves_;
};

// Whether values that stand for 'meaning' go by a name that says so: "port", "slot", "mac".
bool isCalled(Meaning meaning, std::string_view name);

// The names that a test, or a change, of the function's calls can have: short where they are clear.
std::vector<std::string> testableNames(const Function& function);
std::vector<std::string> changeableNames(const Function& function, Side side);

}  // namespace pcsim::probe

#endif
