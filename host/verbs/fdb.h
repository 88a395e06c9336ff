// The verbs of the MAC table, registered among those of layer 2.
#ifndef PCSIM_HOST_VERBS_FDB_H
#define PCSIM_HOST_VERBS_FDB_H

namespace pcsim::host {

class Verbs;

void addFdbVerbs(Verbs& verbs);

}  // namespace pcsim::host

#endif
