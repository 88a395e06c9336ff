// What sessions share.
#include "console/console.h"

namespace pcsim {

Console::Console(Surroundings& time, EventLog& log) : surroundings(time), events(log) {
    addLanguageVerbs(verbs);
    addRepeatVerbs(verbs);
    addWaitVerbs(verbs);
}

}  // namespace pcsim
