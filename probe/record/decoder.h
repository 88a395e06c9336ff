// Reads the entries of a recording: what the encoder writes, back into events.
#ifndef PCSIM_PROBE_RECORD_DECODER_H
#define PCSIM_PROBE_RECORD_DECODER_H

#include <cstdint>
#include <vector>

#include "probe/record/bytes.h"
#include "probe/record/image.h"
#include "probe/record/recording.h"
#include "probe/record/table.h"

namespace pcsim::probe {

class Decoder {
public:
    // 'room' is for all bytes of blocks.
    Decoder(Recording& recording, uint64_t room) : recording_(recording), room_(room) {}

    // Takes one entry. False when its contents can't be: it is damaged, and nothing of it is kept.
    // Throws std::bad_alloc when there is no room.
    bool take(uint8_t kind, std::span<const uint8_t> contents);
    bool ended() const { return ended_; }

private:
    static constexpr size_t kArguments = 16;

    struct LastArguments {
        uint32_t words[kArguments];
    };
    // The call of a number, while it is under way.
    struct Open {
        uint64_t call;
        uint32_t site;
        uint32_t thread;
        uint32_t depth;
    };

    void fact(ByteReader& in);
    void symbol(ByteReader& in);
    void site(ByteReader& in);
    void path(ByteReader& in);
    void call(ByteReader& in);
    void returned(ByteReader& in);
    void print(ByteReader& in);
    void state(ByteReader& in);
    std::span<const RecordedBlock> blocks(ByteReader& in);
    std::span<const uint8_t> changes(ByteReader& in, uint32_t address, uint32_t size);

    Recording& recording_;
    uint64_t room_;
    Image image_;
    std::vector<RecordedBlock> found_;
    std::vector<Open> open_;
    uint64_t lastCall_ = 0;
    Table<LastArguments> lastArguments_;
    Table<uint32_t> lastAddresses_;
    bool ended_ = false;
};

}  // namespace pcsim::probe

#endif
