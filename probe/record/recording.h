// A recording in memory: sites, and what happened at them in order.
//
// Everything that events point to (texts, arguments, bytes of memory) belongs to the recording's
// store, which recordings made out of another one share; so events can be copied, left out and put
// into another recording freely. Blocks hold all their bytes: nothing depends on an event before.
#ifndef PCSIM_PROBE_RECORD_RECORDING_H
#define PCSIM_PROBE_RECORD_RECORDING_H

#include <cstdint>
#include <memory>
#include <memory_resource>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "probe/interface/model.h"

namespace pcsim::probe {

struct RecordedSite {
    Side side = Side::kPlatform;  // who is called
    uint32_t target = 0;          // the address of the function when it was recorded
    std::string name;             // as Site's
    std::string table;
    std::string word;
    std::string functionName;
    const Function* function = nullptr;  // null when this program's interface has none of the name
};

// How a block is reached, and what it is an array of.
struct RecordedPath {
    std::string owner;           // function type or variable
    std::string text;            // "request.rules"
    std::string typeName;        // "HalAclRule"
    const Type* type = nullptr;  // of an element; null: bytes
    Meaning meaning = Meaning::kNone;
};

struct RecordedBlock {
    uint32_t address = 0;
    uint32_t path = 0;      // index of Recording::paths
    bool platform = false;  // the platform's memory
    bool written = false;   // the callee may write it
    std::span<const uint8_t> bytes;
};

struct RecordedSymbol {
    std::string name;
    uint32_t address = 0;
    uint32_t size = 0;
    bool function = false;
};

struct Event {
    enum class Kind : uint8_t { kCall, kReturn, kPrint, kState };

    Kind kind = Kind::kCall;
    uint32_t thread = 0;
    uint32_t depth = 0;   // of a call: calls around it
    uint32_t site = 0;    // of a call and its return: index of Recording::sites
    uint64_t call = 0;    // its number; of a print that of the call under way, 0 for none
    uint64_t result = 0;  // of a return: eax, and edx above it
    std::span<const uint32_t> arguments;    // of a call
    std::span<const RecordedBlock> blocks;  // before the call, after it, or the state's
    std::string_view text;                  // of a print; of a state the variable
};

// How a file ended: a recorded process may have died, a file may have been cut or damaged.
struct FileEnding {
    enum class Kind : uint8_t { kClosed, kCutShort, kDamaged };

    Kind kind = Kind::kClosed;
    uint64_t goodBytes = 0;  // of the file
    std::string text;        // empty when it was closed, else a line that says so, without a dot
};

class Recording {
public:
    Recording();

    std::vector<std::pair<std::string, std::string>> facts;  // what, value; in order
    std::vector<RecordedSymbol> symbols;
    std::vector<RecordedSite> sites;
    std::vector<RecordedPath> paths;  // 0: bytes of no known type
    std::vector<Event> events;
    FileEnding ending;

    // A recording without events that shares the store, so that events of this one can be added.
    Recording withoutEvents() const;

    // Copies into the store.
    std::string_view keep(std::string_view text);
    std::span<const uint32_t> keep(std::span<const uint32_t> words);
    std::span<const RecordedBlock> keep(std::span<const RecordedBlock> blocks);
    std::span<uint8_t> space(size_t size);

    std::string_view fact(std::string_view what) const;  // "" when there is none
    uint64_t calls() const;
    const RecordedSite& siteOf(const Event& event) const { return sites[event.site]; }
    // The index of the return of the call at 'index'; that of no event when it never came.
    std::vector<size_t> returns() const;
    static constexpr size_t kNone = static_cast<size_t>(-1);

private:
    std::shared_ptr<std::pmr::monotonic_buffer_resource> store_;
};

// What 'path' of a function type or variable leads to: the type of the elements, 'typeName' where
// it may be one of several, and what is said of the last pointer followed. Nothing when this
// program's interface has no such thing.
struct PathTarget {
    const Type* type = nullptr;
    Meaning meaning = Meaning::kNone;
};
PathTarget targetOf(std::string_view owner, std::string_view path, std::string_view typeName = {});

// Reads a file. Throws a CommandError when it can't be opened or is none; one that is cut short or
// damaged is read up to where it is good, and its ending says so.
Recording load(const std::string& path);
// What blocks of memory a recording may have, all together: few bytes of a file say much of what
// stays the same.
inline constexpr uint64_t kMostMemory = uint64_t{2} << 30;
// The same of bytes in memory; 'name' is for messages, 'room' for its blocks. Throws a CommandError
// when there is not enough.
Recording parse(std::span<const uint8_t> file, const std::string& name,
                uint64_t room = kMostMemory);

// Writes a file. Throws a CommandError when that fails.
void save(const Recording& recording, const std::string& path);

}  // namespace pcsim::probe

#endif
