// Files that are packed with xz, gzip or zstd, as the end of their names says: the programs of
// these names do the work, each as a child that runs without a shell.
#ifndef PCSIM_CONSOLE_PACKING_H
#define PCSIM_CONSOLE_PACKING_H

#include <sys/types.h>

#include <string>

namespace pcsim {

struct Packing {
    const char* ending;   // of the file's name, with its point
    const char* program;  // that packs and unpacks
    const char* package;  // that brings it
    const char* level;    // how hard it tries: a table of a million lines takes seconds
};

// How the file of this name is packed; null for one that is plain.
const Packing* packingOf(const std::string& path);

// A child that packs or unpacks, from its start until it is waited for.
class PackingChild {
public:
    PackingChild() = default;
    ~PackingChild();
    PackingChild(const PackingChild&) = delete;
    PackingChild& operator=(const PackingChild&) = delete;

    // Starts the program between two descriptors of ours. Throws a CommandError that names 'path'.
    enum class Work { kPack, kUnpack };
    void start(const Packing& packing, Work work, int input, int output, const std::string& path);
    bool running() const { return child_ > 0; }
    // Waits for its end; whether it has done all of its work.
    bool finish();

private:
    pid_t child_ = -1;
};

// The two ends of a pipe: what is written to the second is read from the first. They close on exec.
// Throws a CommandError that names 'path'.
struct Pipe {
    explicit Pipe(const std::string& path);
    int read, write;
};

}  // namespace pcsim

#endif
