// Programs as the probe meets them: found as a shell finds them, and looked at before they are
// started, because the dynamic linker passes over a library that it can't preload in silence.
#ifndef PCSIM_PROBE_PROGRAM_FILE_H
#define PCSIM_PROBE_PROGRAM_FILE_H

#include <optional>
#include <string>

namespace pcsim::probe {

// Why a program can't be started with the probe, in one line, and the status to end with: as a
// shell's, 127 when there is none of that name and 126 when it can't be run.
struct Refusal {
    std::string why;
    int status;
};

// The file of a command: itself when there is a slash in it, else searched for in PATH. When there
// is none, the refusal.
std::optional<Refusal> findProgram(const std::string& command, std::string& path);

// Null when the probe works in the program.
std::optional<Refusal> refusalOf(const std::string& path);

}  // namespace pcsim::probe

#endif
