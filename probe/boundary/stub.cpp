// Making stubs, and telling them from other code. Their code is in stub_i386.cpp and
// stub_amd64.cpp.
#include "probe/boundary/stub.h"

#include <cstddef>
#include <cstring>

namespace pcsim::probe {

namespace {

constexpr uint32_t kCodeBytes = 32;  // of one stub, mark and padding included
constexpr uint32_t kMarkBytes = 16;  // the mark, and behind it the way to the record
constexpr char kMark[] = "pcsim stub\0\1";
constexpr uint32_t kMostWords = 8;  // that a stub copies

uint32_t never;

}  // namespace

#define HIDDEN __attribute__((visibility("hidden")))
extern "C" {
HIDDEN constinit StubRecord pcsimProbeStubRecords[kStubs] = {};
extern HIDDEN const char pcsimProbeStubCode[];
HIDDEN void pcsimProbeJump();
#define BODIES(words) HIDDEN void pcsimProbeCode##words(), pcsimProbeRecord##words();
BODIES(0)
BODIES(1)
BODIES(2)
BODIES(3)
BODIES(4)
BODIES(5)
BODIES(6)
BODIES(7)
BODIES(8)
#undef BODIES
}

constexpr size_t kWord = sizeof(void*);
static_assert(offsetof(StubRecord, target) == 0 && offsetof(StubRecord, body) == kWord &&
              offsetof(StubRecord, counts) == 2 * kWord &&
              offsetof(StubRecord, poll) == 3 * kWord &&
              offsetof(StubRecord, detours) == 4 * kWord && sizeof(StubRecord) == 6 * kWord);
static_assert(offsetof(Counts, calls) == 0 && offsetof(Counts, failures) == 8 &&
              offsetof(Counts, nulls) == 16);
static_assert(kStubs == 1024 && kCodeBytes == 32 && sizeof kMark - 1 == 12);

StubRecord& stubRecord(uint32_t number) {
    StubRecord& record = pcsimProbeStubRecords[number];
    if (record.poll == nullptr) record.poll = &never;
    return record;
}

void* stubCode(uint32_t number) {
    return const_cast<char*>(pcsimProbeStubCode + number * kCodeBytes + kMarkBytes);
}

bool answersCodes(const Function& function, Side side) {
    // The order of two nodes is no code.
    if (function.name == "HalTreeCompareFn") return false;
    const Type& result = *function.result;
    if (result.size != 4) return false;
    return result.kind == Kind::kSigned ||
           (result.kind == Kind::kUnsigned && side == Side::kPlatform);
}

bool answersRecords(const Function& function) {
    return function.result->kind == Kind::kPointer;
}

void (*bodyFor(const Function& function, Side side))() {
    static void (*const codes[])() = {pcsimProbeCode0, pcsimProbeCode1, pcsimProbeCode2,
                                      pcsimProbeCode3, pcsimProbeCode4, pcsimProbeCode5,
                                      pcsimProbeCode6, pcsimProbeCode7, pcsimProbeCode8};
    static void (*const records[])() = {pcsimProbeRecord0, pcsimProbeRecord1, pcsimProbeRecord2,
                                        pcsimProbeRecord3, pcsimProbeRecord4, pcsimProbeRecord5,
                                        pcsimProbeRecord6, pcsimProbeRecord7, pcsimProbeRecord8};
    const size_t words = function.parameters.size();
    if (function.variadic || function.stub || words > kMostWords) return pcsimProbeJump;
    if (answersCodes(function, side)) return codes[words];
    if (answersRecords(function)) return records[words];
    return pcsimProbeJump;
}

StubRecord* recordOf(const void* code) {
    const auto distance = reinterpret_cast<uintptr_t>(code) -
                          reinterpret_cast<uintptr_t>(pcsimProbeStubCode) - kMarkBytes;
    if (distance % kCodeBytes != 0 || distance / kCodeBytes >= kStubs) return nullptr;
    return &pcsimProbeStubRecords[distance / kCodeBytes];
}

void* targetOf(const void* code) {
    if (reinterpret_cast<uintptr_t>(code) % kCodeBytes != kMarkBytes) return nullptr;
    const char* const mark = static_cast<const char*>(code) - kMarkBytes;
    if (std::memcmp(mark, kMark, sizeof kMark - 1) != 0) return nullptr;
    int32_t way = 0;
    std::memcpy(&way, mark + sizeof kMark - 1, sizeof way);
    const auto* const record = reinterpret_cast<const StubRecord*>(mark + sizeof kMark - 1 + way);
    return record->target;
}

}  // namespace pcsim::probe
