// Each manager's verbs are registered by one function of its own.
#ifndef PCSIM_HOST_VERBS_ALL_VERBS_H
#define PCSIM_HOST_VERBS_ALL_VERBS_H

namespace pcsim::host {

class Verbs;

void addSystemVerbs(Verbs& verbs);
void addCardVerbs(Verbs& verbs);
void addCapabilityVerbs(Verbs& verbs);
void addPortVerbs(Verbs& verbs);
void addL2Verbs(Verbs& verbs);
void addMcastVerbs(Verbs& verbs);
void addAclVerbs(Verbs& verbs);
void addEnvironmentVerbs(Verbs& verbs);
void addDeviceVerbs(Verbs& verbs);
void addPoeVerbs(Verbs& verbs);
void addSamplingVerbs(Verbs& verbs);
void addL3Verbs(Verbs& verbs);
void addPlatformVerbs(Verbs& verbs);

}  // namespace pcsim::host

#endif
