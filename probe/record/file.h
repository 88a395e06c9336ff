// The file that a recording is written to, one entry after the other.
//
// It is mapped, so that whatever has been appended is in the kernel's hands: it survives a crash or
// a kill of the process without a system call for each entry. Room is reserved piece by piece, so a
// full disk is noticed there and not by a signal; what is left over is cut off at the end. A child
// of the process doesn't have the mapping and must not append.
#ifndef PCSIM_PROBE_RECORD_FILE_H
#define PCSIM_PROBE_RECORD_FILE_H

#include <cstdint>
#include <span>
#include <string>

#include "console/new_file.h"
#include "probe/record/format.h"

namespace pcsim::probe {

class RecordFile {
public:
    RecordFile() = default;
    ~RecordFile() { close(); }
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    // Makes the file, with room for entries; it takes the place of one that is there, which stays
    // what it was when that fails. False with errno then.
    bool open(const std::string& path);
    // The same, but it takes the place at close(), when all of it could be written.
    bool openAside(const std::string& path);
    bool isOpen() const { return descriptor_ >= 0; }
    // Whether there was no room for an entry.
    bool isFull() const { return full_; }

    // False when there is no room: the entry isn't there then, and none will be from now on.
    bool append(format::EntryKind kind, std::span<const uint8_t> contents);

    // Cuts the file where its entries end. False with errno when not everything could be written.
    bool close();

    // In a child after fork(): the file stays the parent's.
    void abandon();

private:
    bool moveOn(size_t size);
    // Whether it has no place yet, and its descriptor is the new file's.
    bool isAside() const { return file_.descriptor() >= 0; }

    NewFile file_;  // until it has its place
    int descriptor_ = -1;
    uint8_t* window_ = nullptr;
    size_t windowSize_ = 0;
    uint64_t windowOffset_ = 0;  // in the file
    size_t used_ = 0;            // of the window
    bool full_ = false;
};

}  // namespace pcsim::probe

#endif
