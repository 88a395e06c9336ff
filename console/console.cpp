// What sessions share.
#include "console/console.h"

namespace pcsim {

Console::Console(Surroundings& time, EventLog& log) : surroundings(time), events(log) {
    addLanguageVerbs(verbs);
    addVariableVerbs(verbs);
    addRepeatVerbs(verbs);
    addWaitVerbs(verbs);
    addContinuations(*this);
}

}  // namespace pcsim
