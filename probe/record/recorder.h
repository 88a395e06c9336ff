// Writes a recording of all calls across the boundary, of both directions, with the memory that
// crosses with them, of what the platform takes from the C library, and of what it prints.
//
// The ordered tree is called so often, and so much alike whatever the HAL, that it is left out
// unless asked for; allocation always is. A child of the process isn't recorded, and leaves the
// file alone. Whatever has been recorded is in the file at once (see file.h).
#ifndef PCSIM_PROBE_RECORD_RECORDER_H
#define PCSIM_PROBE_RECORD_RECORDER_H

#include <pthread.h>

#include <atomic>
#include <memory>
#include <string>

#include "probe/boundary/call.h"
#include "probe/record/encoder.h"
#include "probe/record/globals.h"
#include "probe/record/path_numbers.h"

namespace pcsim::probe {

class Recorder : public Observer {
public:
    Recorder();
    ~Recorder() override;

    // Makes the file and begins; the recorder is to be added to the boundary, as the last observer,
    // or refreshed there. False with errno when there can't be such a file.
    bool start(const std::string& path, bool withTree);
    // Ends the recording. False when the disk was full, and the file ends before it.
    bool stop();
    // The same for people, and the boundary asks again what is wanted. The first throws a
    // CommandError, the second returns a line about what has been recorded.
    void begin(const std::string& path, bool withTree);
    std::string finish();
    bool isRecording() const { return recording_; }
    // What is to be said of a recording that goes on: "" unless it has no room any more.
    std::string problem();
    const std::string& path() const { return path_; }
    uint64_t calls() const { return calls_; }

    bool wants(const Site& site) const override;
    void before(Call& call) override;
    void after(Call& call) override;

private:
    // Everything that belongs to one file.
    struct Session {
        RecordFile file;
        Encoder encoder{file};
        PathNumbers paths;
        Globals globals;
        bool attached = false;
        Table<uint32_t> siteNumbers;  // by the site's index, one more; 0: not met yet
        uint32_t sites = 0;
    };

    void attach();
    uint32_t numberOf(const Site& site);
    void print(const Call& call);
    void blocks(const Call& call, const CallWords& words, bool after);
    void block(const Call& call, const Block& block, bool after);
    void inChild();

    std::atomic<bool> recording_ = false;
    bool withTree_ = false;
    std::string path_;
    std::atomic<uint64_t> calls_ = 0;
    std::unique_ptr<Session> session_;
    pthread_mutex_t lock_ = PTHREAD_MUTEX_INITIALIZER;

    friend struct ForkHandlers;
};

}  // namespace pcsim::probe

#endif
