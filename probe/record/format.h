// The format of a recording: what crossed the boundary, in the order in which it did.
//
// A file begins with kMagic and the version, a byte. Then come entries:
//
//   kind     1 byte; 0 stands behind the last entry: the rest of the file is not used
//   length   of the contents, a number
//   check    2 bytes, low one first: checkOf(kind, contents)
//   contents 'length' bytes
//
// A reader skips entries of kinds that it doesn't know and takes no notice of what stands in an
// entry behind the contents that it knows, so both can be added without another version. The kind
// is written last: of an entry that a crash has interrupted nothing is seen. A file that a process
// had no time to close lacks kEnd and is good up to its last entry.
//
// Numbers are written low 7 bits first, with bit 7 set in every byte but the last. A signed number
// n is written as the number (n << 1) ^ (n >> 63). A text is its length and its bytes. "Less L"
// means the signed difference from the last one: what repeats becomes the same bytes, which is what
// programs such as gzip and xz live on.
//
//   kFact     text what, text value: the library's file and its build, the program that ran
//   kSymbol   text name, address, size, flag: 1 a function, 0 a variable of the library
//   kSite     number, side, target's address, texts: name, table, word, function type.
//             Sites are numbered from 0 and defined before they are used
//   kPath     number, text owner, text path, text element type: how a block of memory is reached.
//             The owner is a function type or a variable, the path begins with the parameter (or
//             "result") and goes on with ".field" for each pointer followed; from 1 on
//   kCall     number less that of the last kCall, thread, depth, site, count of arguments,
//             arguments less those of the site's last call, blocks: somebody calls the site
//   kReturn   last kCall's number less this call's, thread, result (64 bits) less 0, blocks: that
//             call returns
//   kPrint    thread, text: what the platform prints, in the innermost call of the thread
//   kState    text variable, blocks: memory that has changed between calls, found before the next
//   kEnd      calls: the recording was closed
//
//   blocks    their count; for each: path (0: bytes of no known type), address less that of the
//             last block of the path, size, flags (kBlock...), and its changes against the image
//             of the memory as blocks have told it so far, zero where none has: until 'size' is
//             reached, bytes that stay, and, where that isn't the end yet, count of bytes that
//             follow and those bytes
#ifndef PCSIM_PROBE_RECORD_FORMAT_H
#define PCSIM_PROBE_RECORD_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace pcsim::probe::format {

inline constexpr std::string_view kMagic = "pcsim recording\n";
inline constexpr uint8_t kVersion = 1;

enum EntryKind : uint8_t {
    kNothing = 0,
    kFact = 1,
    kSymbol = 2,
    kSite = 3,
    kPath = 4,
    kCall = 5,
    kReturn = 6,
    kPrint = 7,
    kState = 8,
    kEnd = 9,
};

// Flags of a block: the memory is the platform's; the callee may write it.
inline constexpr uint8_t kBlockPlatform = 1;
inline constexpr uint8_t kBlockWritten = 2;

// Blocks and texts are never longer: what says so is damaged.
inline constexpr uint32_t kLongest = 64u << 20;

// Tells a damaged entry; quick, as it is made for each call. FNV over little-endian words, folded.
inline uint16_t checkOf(uint8_t kind, std::span<const uint8_t> contents) {
    uint32_t check = 0x811C9DC5u ^ kind;
    size_t index = 0;
    for (; index + 4 <= contents.size(); index += 4) {
        uint32_t word = 0;
        std::memcpy(&word, &contents[index], 4);
        check = (check ^ word) * 0x01000193u;
        check ^= check >> 15;
    }
    for (; index < contents.size(); ++index) check = (check ^ contents[index]) * 0x01000193u;
    return static_cast<uint16_t>(check ^ check >> 16);
}

}  // namespace pcsim::probe::format

#endif
