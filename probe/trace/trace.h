// Trace: a line for each call across the boundary, with its values decoded.
//
//     > pcSimCardPowerEnable slot 1 enable 1 -> 0
//     > pcSimCardPortInit slot 1 ...
//         < halStartTimer callback pcSimPortPoll ... -> 0
//     > pcSimCardPortInit -> 0
//
// > is a call into the platform, < one into the HAL, = one into the C library. A call in which
// others are traced has two lines, and theirs stand further to the right between them.
#ifndef PCSIM_PROBE_TRACE_TRACE_H
#define PCSIM_PROBE_TRACE_TRACE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "probe/boundary/call.h"
#include "probe/trace/lines.h"
#include "probe/values/handles.h"

namespace pcsim::probe {

// Which calls are traced: those of one of the operations, if any are named, and about one of the
// ports and slots, if any are.
struct TraceFilter {
    std::vector<std::string> operations;  // as names.h has them
    std::vector<std::string> ports;       // "1:3": among what goes in, as all of it
    std::vector<uint32_t> slots;
    // Where no operations are named: also what there is much of, the ordered tree and the C
    // library.
    bool all = false;
};

class TraceFile;

class Trace : public Observer {
public:
    Trace();
    ~Trace() override;

    // Gives lines, each with its end, to 'print' until stop(). Throws a CommandError when the
    // filter names what there is none of.
    void start(TraceFilter filter, std::function<void(const std::string&)> print);
    // The same to a file, which is written anew. Throws a CommandError when it can't be.
    void startFile(TraceFilter filter, const std::string& path);
    // Returns what is to be said of its file: "" when all lines have arrived.
    std::string stop();
    bool on() const;

    // When set, a time in milliseconds stands in front of each line.
    std::function<uint64_t()> nowMs;
    std::function<void()> onChange;

    bool wants(const Site& site) const override;
    void before(Call& call) override;
    void after(Call& call) override;

    // Keeps calls of other threads waiting while the process forks, so that the child doesn't begin
    // with a lock that nobody opens.
    void hold() { mutex_.lock(); }
    void release() { mutex_.unlock(); }

private:
    struct Open;

    void print(const Open& open, const std::string& text);

    bool isAsked(const Call& call) const;

    Handles handles_;
    mutable std::mutex mutex_;
    TraceFilter filter_;
    std::function<void(const std::string&)> print_;
    std::shared_ptr<TraceFile> file_;  // that 'print_' writes to, if it does
    std::vector<Place> places_;        // those of the filter
    std::vector<Open> open_;           // calls under way, the outer before the inner of each thread
};

}  // namespace pcsim::probe

#endif
