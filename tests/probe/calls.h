// Calls across the boundary for tests of what looks at them: sites by name, calls as a HAL makes
// them, without a library.
#ifndef PCSIM_TESTS_PROBE_CALLS_H
#define PCSIM_TESTS_PROBE_CALLS_H

#include <deque>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "probe/boundary/call.h"

namespace pcsim::probe {

// A site of an operation that the interface describes.
struct FakeSite {
    Counts counts{};
    Site site{};

    explicit FakeSite(const std::string& name, const std::string& table = "",
                      const std::string& word = "") {
        const Operation* const operation = operationNamed(name);
        if (operation == nullptr) throw std::logic_error("no operation " + name);
        static uint32_t sites = 0;
        site.name = name;
        site.function = operation->function;
        site.side = operation->side;
        site.table = table;
        site.word = word;
        site.index = sites++;
        site.counts = &counts;
    }
};

inline Word word(const void* pointer) {
    return reinterpret_cast<Word>(pointer);
}

// Leads calls through one observer, as the boundary does.
class FakeBoundary {
public:
    explicit FakeBoundary(Observer& observer) : observer_(observer) {}

    struct Ended {
        uint64_t result;
        bool answered;
    };

    // 'inside' runs while the call does, unless it is answered.
    Ended call(FakeSite& at, std::vector<Word> arguments, uint64_t result = 0,
               const std::function<void()>& inside = {}, uint32_t thread = 1) {
        return callSeeing(
            at, std::move(arguments),
            [&](const Word*) {
                if (inside) inside();
            },
            result, thread);
    }

    // The same, for those who look at the arguments.
    Ended callSeeing(FakeSite& at, std::vector<Word> arguments,
                     const std::function<void(const Word*)>& inside, uint64_t result = 0,
                     uint32_t thread = 1) {
        arguments.resize(arguments.size() + 1);  // there is always a word to point at
        Call call{at.site, arguments.data(), static_cast<uint32_t>(arguments.size() - 1)};
        call.number = ++number_;
        call.thread = thread;
        call.depth = depth_++;
        const bool wanted = observer_.wants(at.site);
        if (wanted) observer_.before(call);
        if (!call.answered) {
            call.result = result;
            inside(call.arguments);
        }
        if (wanted) observer_.after(call);
        --depth_;
        return {call.result, call.answered};
    }

    // A call that is left by a jump: it never ends.
    void leave(FakeSite& at, std::vector<Word> arguments) {
        arguments.resize(arguments.size() + 1);
        Call call{at.site, arguments.data(), static_cast<uint32_t>(arguments.size() - 1)};
        call.number = ++number_;
        call.thread = 1;
        call.depth = depth_;
        observer_.before(call);
    }

private:
    Observer& observer_;
    uint64_t number_ = 0;
    uint32_t depth_ = 0;
};

}  // namespace pcsim::probe

#endif
