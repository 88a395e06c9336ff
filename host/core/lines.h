// The state of the switch as the verbs that make it: each manager tells its own lines, in an order
// in which a freshly booted switch can run them.
//
// A line comes with the commands that undo it, so that a state can be left as well as made.
#ifndef PCSIM_HOST_CORE_LINES_H
#define PCSIM_HOST_CORE_LINES_H

#include <string_view>

namespace pcsim::host {

class Lines {
public:
    virtual ~Lines() = default;

    // A line that makes a part of the state. 'undo' has the commands that take it away again, one
    // per line of text; none for what nothing has to take away.
    virtual void add(std::string_view line, std::string_view undo) = 0;
    // One more line of the same part: without the one before it is of no use.
    virtual void more(std::string_view line) = 0;
    // add() of a line that takes the place of whatever the same 'undo' takes away.
    virtual void replace(std::string_view line, std::string_view undo) = 0;
};

}  // namespace pcsim::host

#endif
