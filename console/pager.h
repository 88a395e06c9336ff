// The pager of a prompt: what is longer than the screen goes through a program that shows it page
// by page, while time goes on.
#ifndef PCSIM_CONSOLE_PAGER_H
#define PCSIM_CONSOLE_PAGER_H

#include <string>

#include "console/output.h"
#include "console/surroundings.h"

namespace pcsim {

class Pager {
public:
    // $PCSIM_PAGER, else $PAGER, else less or more, whichever there is. Empty, and "cat", mean
    // none. Both must outlive the pager.
    Pager(Surroundings& surroundings, const Output& output);

    // Shows the text and returns when the program has ended. False when nothing was shown: the text
    // fits the screen, standard output is no terminal, or there is no pager.
    bool show(const std::string& text);

private:
    bool fits(const std::string& text) const;
    void waitForEnd(int child, int ending);

    Surroundings& surroundings_;
    const Output& output_;
    std::string command_;
};

}  // namespace pcsim

#endif
