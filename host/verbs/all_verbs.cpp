// The verbs of all managers, in the order in which help lists them.
#include "host/verbs/all_verbs.h"

#include "console/session.h"

namespace pcsim::host {

void addAllVerbs(Verbs& verbs) {
    addSystemVerbs(verbs);
    addCardVerbs(verbs);
    addCapabilityVerbs(verbs);
    addPortVerbs(verbs);
    addL2Verbs(verbs);
    addMcastVerbs(verbs);
    addAclVerbs(verbs);
    addEnvironmentVerbs(verbs);
    addDeviceVerbs(verbs);
    addPoeVerbs(verbs);
    addSamplingVerbs(verbs);
    addL3Verbs(verbs);
    addPlatformVerbs(verbs);
}

}  // namespace pcsim::host
