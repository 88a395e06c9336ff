// Where what runs can be found by other programs: the folder of control blocks.
#ifndef PCSIM_CONSOLE_RUN_FOLDER_H
#define PCSIM_CONSOLE_RUN_FOLDER_H

#include <string>

namespace pcsim {

// $PCSIM_RUN_DIR, else $XDG_RUNTIME_DIR/pcsim, else pcsim-UID in the temporary folder. It is made
// when it is missing, for its user alone. Throws a CommandError when it can't be, or when it is
// another user's or open to others: what stands there is believed.
std::string runFolder();

}  // namespace pcsim

#endif
