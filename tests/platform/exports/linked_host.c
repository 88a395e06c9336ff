/* A host that links the library calls operations and reads globals by their names, as the headers
 * declare them. The same source is compiled as C and as C++. */
#define _POSIX_C_SOURCE 200809L /* setenv */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "pcsim/acl.h"
#include "pcsim/card_slot.h"
#include "pcsim/ems.h"
#include "pcsim/family.h"
#include "pcsim/system.h"

static int failures;

static void expectThat(int holds, const char* text) {
    if (holds) return;
    fprintf(stderr, "%s\n", text);
    ++failures;
}
#define EXPECT(condition) expectThat(condition, #condition)

static int sent;

int emsNotifyIncident(const char* file, int line, const char* function, HalEmsComponent* component,
                      uint32_t incidentId, const char* format, va_list arguments) {
    (void)line, (void)function, (void)component, (void)format, (void)arguments;
    sent += strcmp(file, "pcSimFan.c") == 0 && incidentId == 0x520005u;
    return 7;
}

int main(void) {
    const uint8_t mac[6] = {0x02, 0, 0, 0, 0, 1};
    setenv("VORN_SLOT_ID", "5", 1);
    EXPECT(pcSimGetMySlotNum() == 5);
    EXPECT(pcSimSystemNumPorts == 0);
    EXPECT(pcSimFdbTable == NULL && gIPv4FibTable == NULL && gIPv6FibTable == NULL);
    EXPECT(mcLogMess == 0);
    EXPECT(pcSimStackCardGetId() == HAL_CARD_STACKABLE);
    EXPECT(pcSimChassisCardGetId(9) == HAL_CARD_MANAGEMENT);
    EXPECT(pcSimFdbHash(mac) == 0x22C0u);
    EXPECT(strcmp(hmc_ntoa(0x0100A8C0u), "192.168.0.1") == 0);
    EXPECT(pcSimCardOffline(1) == 0 && pcSimVrCreate("name", 2) == 0);
    EXPECT(pcSimFanTrace("ignored", 1, "here", "%d fans", 3) == 7 && sent == 1);
    pcSimIPv4FibRoute* const route = pcSimIPv4FibRouteAlloc();
    EXPECT(route != NULL && route->nextHops == NULL);
    free(route);
    /* A word holds the operation of that name. */
    HalSystemOps system;
    EXPECT(pcSimChassisSystemDBSetup(&system) == 0);
    EXPECT(system.moduleIoctl == pcSimModuleIoctl);
    EXPECT(system.systemShutdown == pcSimSystemShutdown);
    return failures != 0;
}
