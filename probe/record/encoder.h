// Makes the entries of a recording, as format.h says, out of what happened; knows what has been
// written so far, so that only differences are.
//
// Nothing of it allocates from the C library's heap, and it takes no lock.
#ifndef PCSIM_PROBE_RECORD_ENCODER_H
#define PCSIM_PROBE_RECORD_ENCODER_H

#include <cstdint>
#include <span>
#include <string_view>

#include "probe/record/bytes.h"
#include "probe/record/file.h"
#include "probe/record/image.h"
#include "probe/record/recording.h"
#include "probe/record/table.h"

namespace pcsim::probe {

class Encoder {
public:
    explicit Encoder(RecordFile& file) : file_(file) {}

    // Each writes one entry; false when there is no room for it. They may come between the steps
    // of one of those below, and stand before it then.
    bool fact(std::string_view what, std::string_view value);
    bool symbol(const RecordedSymbol& symbol);
    bool site(uint32_t number, const RecordedSite& site);
    bool path(uint32_t number, std::string_view owner, std::string_view text,
              std::string_view typeName);
    bool print(uint32_t thread, std::string_view text);
    bool end(uint64_t calls);

    // In two steps, so that blocks can come from where they are found: begin, block..., finish.
    void beginCall(uint32_t site, uint64_t number, uint32_t thread, uint32_t depth,
                   std::span<const uint32_t> arguments);
    void beginReturn(uint64_t number, uint32_t thread, uint64_t result);
    void beginState(std::string_view variable);
    // 'flags' are kBlock...
    void block(uint32_t path, uint32_t address, std::span<const uint8_t> bytes, uint8_t flags);
    bool finish();

private:
    static constexpr size_t kArguments = 16;  // of a call, that are compared with the last ones

    struct LastArguments {
        uint32_t words[kArguments];
    };

    bool append(format::EntryKind kind);
    void changes(uint32_t address, std::span<const uint8_t> bytes);
    void run(std::span<uint8_t> known, const uint8_t* bytes, size_t done, size_t& told);

    RecordFile& file_;
    Image image_;
    Bytes whole_;     // an entry that is made in one step
    Bytes contents_;  // one that is made in several
    Bytes blocks_;
    format::EntryKind open_ = format::kNothing;
    uint32_t blockCount_ = 0;
    uint64_t lastCall_ = 0;
    Table<LastArguments> lastArguments_;
    Table<uint32_t> lastAddresses_;
};

}  // namespace pcsim::probe

#endif
