// A HAL that makes random calls and records them.
//
// usage: random-host LIBRARY RECORDING CALLS [SEED]
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "pcsim/ems.h"
#include "pcsim/host.h"
#include "pcsim/host_records.h"
#include "probe/boundary/boundary.h"
#include "probe/record/recorder.h"
#include "tests/probe/tools/random_calls.h"

using namespace pcsim::probe;
using namespace pcsim::probe::test;

extern "C" {

uint32_t poeHandle = 77;
HalGlobal gHal;

int32_t dmGetPlatformType() {
    return 1;
}
uint32_t dmGetMaxVr() {
    return 4;
}
int32_t halAmIPrimary() {
    return 1;
}
int32_t getSystemMac(uint8_t* mac, int32_t) {
    std::memset(mac, 2, 6);
    return 0;
}
void setCheckpointStats(int32_t, int32_t, int32_t) {}
uint32_t monotime(int32_t) {
    static uint32_t now;
    return ++now;
}
int32_t halStartTimer(HalTimerFn*, uint32_t, uint32_t, uint32_t, uint32_t) {
    return 0;
}
int32_t halScheduleTask(HalTaskFn*, uint32_t, uint32_t, uint32_t, const char*) {
    return 0;
}
int32_t halCardStatusUpdate(int32_t, int32_t, uint32_t) {
    return 0;
}
const char* halGetCardStateString(int32_t) {
    return "state";
}
int32_t halIsCardOperational(uint32_t) {
    return 1;
}
const char* getSlotName(int32_t) {
    return "slot";
}
int32_t getMgmtPort(uint32_t) {
    return 1;
}
uint32_t halGetHwPortMapping(uint32_t, uint32_t port) {
    return port;
}
const char* halPortInstName(uint32_t portInstance) {
    static char name[16];
    std::snprintf(name, sizeof name, "1:%u", portInstance & 0xFFFF);
    return name;
}
int32_t halNotifyLinkStateChange(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t,
                                 uint32_t) {
    return 0;
}
int32_t halRegisterDevice(HalDeviceRegistration*) {
    return 0;
}
int32_t halUpdateDeviceInfo(HalDeviceInfo*, uint32_t) {
    return 0;
}
int32_t halUpdateDeviceStatus(HalDeviceStatus*, uint32_t) {
    return 0;
}
int32_t halDeviceCmdError(const HalDeviceCommand*, int32_t, const char*) {
    return 0;
}
int32_t replyHandleSend(uint32_t, uint32_t, const void*, uint32_t, int32_t) {
    return 0;
}
int emsNotifyIncident(const char*, int, const char*, HalEmsComponent*, uint32_t, const char*,
                      va_list) {
    return 0;
}
int emsRegisterComponent(int, HalEmsDescriptor*, HalEmsComponent**) {
    return 0;
}
void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    *record = instance >= 100 && instance < 100 + kVlans ? &vlanIfOf(instance - 100) : nullptr;
}
void getPifByPortInstance(uint32_t portInstance, HalPif** record) {
    *record = &pifOf((portInstance & 0xFFFF) - 1);
}
void getPifBySlotPort(uint32_t, uint32_t port, HalPif** record) {
    *record = port >= 1 && port <= kPorts ? &pifOf(port - 1) : nullptr;
}
HalPif* getFirstPif() {
    return nullptr;
}
HalPif* getNextPif(uint32_t) {
    return nullptr;
}

}  // extern "C"

int main(int argc, char** argv) {
    if (argc < 4) return 2;
    const uint32_t seed = argc > 4 ? static_cast<uint32_t>(std::atoi(argv[4])) : 1;
    void* const library = dlopen(argv[1], RTLD_LAZY | RTLD_GLOBAL);
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 2;
    }
    // The library's prints are none of this program's output.
    if (std::freopen("/dev/null", "w", stdout) == nullptr) return 2;
    Boundary& boundary = Boundary::instance();
    Recorder recorder;
    if (!boundary.attach(library) || !recorder.start(argv[2], false)) return 2;
    boundary.add(recorder);
    void* const entry =
        boundary.looksUp("platformSystemInit", dlsym(library, "platformSystemInit"));
    RandomCalls calls(reinterpret_cast<HalPlatformSystemInitFn*>(entry), seed);
    for (int call = 0; call < std::atoi(argv[3]); ++call) calls.make();
    std::fprintf(stderr, "seed %u: %llu calls recorded\n", seed,
                 static_cast<unsigned long long>(recorder.calls()));
    return recorder.stop() ? 0 : 2;
}
