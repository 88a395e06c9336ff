// The boundary's sites as rows of the control block: counted there, with the names that they get.
#ifndef PCSIM_PROBE_CONTROL_SITE_ROWS_H
#define PCSIM_PROBE_CONTROL_SITE_ROWS_H

#include "probe/boundary/call.h"
#include "probe/control/own_block.h"

namespace pcsim::probe {

// A site has a table and a word once a table with it has been handed out. Watches the operations
// that fill tables, so that whoever reads the block knows what the HAL was offered.
class SiteRows final : public Observer {
public:
    // From now on everything is counted in the block, which must outlive the process's calls.
    explicit SiteRows(OwnBlock& block);

    bool wants(const Site& site) const override;
    void before(Call&) override {}
    void after(Call& call) override;

private:
    OwnBlock& block_;
};

}  // namespace pcsim::probe

#endif
