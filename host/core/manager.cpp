// Telling the managers.
#include "host/core/manager.h"

#include <new>

#include "console/error.h"
#include "host/core/records.h"

namespace pcsim::host {

void Managers::boot() {
    for (Manager* manager : managers_) manager->boot();
}

void Managers::cardUp(int slot) {
    for (Manager* manager : managers_) manager->cardUp(slot);
}

void Managers::cardDown(int slot) {
    for (Manager* manager : managers_) manager->cardDown(slot);
    records_.removePorts(static_cast<uint32_t>(slot));
}

void Managers::vlanDown(uint16_t vlanId, uint32_t vlanInstance) {
    for (Manager* manager : managers_) manager->vlanDown(vlanId, vlanInstance);
}

void Managers::memberDown(uint16_t vlanId, uint32_t vlanInstance, uint32_t portInstance) {
    for (Manager* manager : managers_) manager->memberDown(vlanId, vlanInstance, portInstance);
}

void Managers::shutDown() {
    for (auto manager = managers_.rbegin(); manager != managers_.rend(); ++manager) {
        try {
            (*manager)->shutDown();
        } catch (const CommandError&) {
            // A platform without the operation has nothing to be given back.
        } catch (const std::bad_alloc&) {
            // The others have their turn all the same, and the process what is left.
        }
    }
}

}  // namespace pcsim::host
