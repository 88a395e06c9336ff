// The control block of this process: made, counted into, and served.
//
// A process that this one forks has the same memory: it goes on being counted in the same rows, so
// that the counts are those of the whole program. The block stays the process's that made it: a
// child answers no request.
#ifndef PCSIM_PROBE_CONTROL_OWN_BLOCK_H
#define PCSIM_PROBE_CONTROL_OWN_BLOCK_H

#include <functional>
#include <mutex>
#include <string>

#include "probe/control/block.h"

namespace pcsim::probe {

// What a request is answered with.
struct Answer {
    bool failed = false;
    std::string text;
};

class OwnBlock {
public:
    // Makes the block 'name' in the run folder; "" calls it by program and process id. Throws a
    // CommandError when it can't be made, or when a process that runs has one of that name. Removes
    // what is left of processes that have ended.
    OwnBlock(const std::string& name, uint32_t flightSize);
    ~OwnBlock();
    OwnBlock(const OwnBlock&) = delete;
    OwnBlock& operator=(const OwnBlock&) = delete;

    // A row for the site; null when there are no more. Thread: any.
    SiteRow* addSite(const Site& site);
    // The row that a site is counted in; null when it has none.
    SiteRow* rowOf(const Site& site);
    void nameWord(SiteRow& row, const Site& site);
    void foundLibrary(const std::string& path);
    // Nothing is served any more; the file stays for those who want to know how it went.
    void end();

    const std::string& path() const { return path_; }
    BlockHeader& header() { return *block_; }
    bool ours() const;  // not in a child

    // What the boundary is to look at, and what it calls when it isn't 0. 'answer' may throw a
    // CommandError instead.
    const volatile uint32_t* flag() const;
    void serve(const std::function<Answer(const std::string& request)>& answer);

private:
    std::string path_;
    BlockHeader* block_ = nullptr;
    std::mutex adding_;
};

}  // namespace pcsim::probe

#endif
