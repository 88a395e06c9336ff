// The lines that were typed at prompts, kept in a file that all prompts of a user share.
#ifndef PCSIM_CONSOLE_HISTORY_H
#define PCSIM_CONSOLE_HISTORY_H

#include <string>

namespace pcsim {

// There is one in a process: readline has one history. Without a folder to keep it in, or one that
// can be written, lines are remembered while the prompt lives.
class History {
public:
    // Reads what was kept.
    History();

    // Blank lines and what was typed just before are not kept twice.
    void add(const std::string& line);

private:
    std::string path_;
};

}  // namespace pcsim

#endif
