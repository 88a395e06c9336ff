// The parts of a replay that share its state: the calls of the HAL, the answers to the library's.
#ifndef PCSIM_PROBE_REPLAY_PLAYER_H
#define PCSIM_PROBE_REPLAY_PLAYER_H

#include <csetjmp>
#include <string>
#include <vector>

#include "probe/boundary/call.h"
#include "probe/replay/comparison.h"
#include "probe/replay/pointers.h"
#include "probe/replay/replay.h"

namespace pcsim::probe {

class Player final : public Observer {
public:
    Player(const Recording& recording, const ReplayOptions& options);
    ~Player() override;

    ReplayResult play();

    // What the library calls of the C library is answered on its way there.
    bool wants(const Site& site) const override;
    void before(Call& call) override;
    void after(Call&) override {}

private:
    // A call that has been made or answered and hasn't returned: its events from 'next' on have
    // not been met yet.
    struct Frame {
        size_t call;
        size_t end;  // its return; kNone when it never came
        size_t next;
        std::string printed;
        std::string expectedPrint;
    };
    using Callee = Pointers::Callee;

    // --- The recording (player.cpp) ---
    void load();
    void bindVariables();
    void applyState(const Event& event);
    const Event& event(size_t index) const { return recording_.events[index]; }
    const RecordedSite& siteOf(size_t index) const { return recording_.siteOf(event(index)); }
    bool isSide(size_t index, Side side) const;
    void report(std::string field, std::string expected, std::string seen);

    // --- Calls of the HAL (calls.cpp) ---
    void playCall(size_t index);
    void* targetOf(const RecordedSite& site);
    void writeBlocks(const Event& event);
    void copyIn(const RecordedBlock& block, uint8_t* place);
    std::vector<uint32_t> argumentsOf(const Event& call, const Function& function);
    uint32_t taken(const Event& call, uint32_t recorded);
    void compareReturn(size_t index, uint64_t result);

    // --- Calls of the library to the HAL (answers.cpp) ---
    void* provide(const Site& site);
    bool isRecorded(const Site& site) const;
    static uint64_t called(uint32_t thunk, uint32_t* arguments);
    uint64_t answer(const Callee& callee, uint32_t* arguments);
    static std::string formatted(const Function& function, uint32_t* arguments);
    std::string nameOf(const Callee& callee) const;
    size_t expectCall(const Callee& callee);
    static bool isTo(const RecordedSite& site, const Callee& callee);
    size_t returnOf(size_t index) const;
    bool isWithin(const Frame& frame, size_t index) const;
    bool advance(Frame& frame);
    void skip(const Frame& frame);
    void comparePrints(Frame& frame);
    void closeFrame(size_t frame);
    void playInside(size_t frame);
    void compareCall(size_t index, const uint32_t* arguments);
    uint64_t giveAnswer(size_t call, uint32_t* arguments);
    void writeAnswer(size_t call, const uint32_t* arguments);

    // --- The C library (system_answers.cpp) ---
    size_t systemCall(const Call& call) const;
    bool isSameRequest(size_t index, const Call& call) const;
    bool print(Call& call);

    const Recording& recording_;
    const ReplayOptions& options_;
    std::vector<size_t> returns_;
    Pointers pointers_;
    Comparison comparison_;
    ReplayResult result_;
    std::vector<Frame> frames_;
    std::vector<bool> used_;  // events that have been met
    size_t subject_ = 0;      // the call that differences are reported of
    jmp_buf left_;            // where a call is left from which the recording has no way on
};

}  // namespace pcsim::probe

#endif
