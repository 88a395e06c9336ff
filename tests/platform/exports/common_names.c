/* A host that has globals of its own under names as common as some of the library's: both keep
 * theirs. A debugger that asks the library finds the library's. */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "pcsim/acl.h"
#include "pcsim/host_records.h"
#include "pcsim/host_tree.h"
#include "pcsim/mcast.h"

/* Small, and no tree: whoever takes one for its own reads a pointer into nowhere, or writes code.
 */
char aclTree[4] = "abc";
char aclInstanceTree[4] = "def";
char groupTable[4] = "ghi";
char vlanTree[4] = "jkl";
char portTree(int depth);
char portTree(int depth) {
    return (char)('m' + depth);
}

static int failures;

#define EXPECT(condition)                                           \
    do {                                                            \
        if (!(condition)) {                                         \
            fprintf(stderr, "line %d: %s\n", __LINE__, #condition); \
            ++failures;                                             \
        }                                                           \
    } while (0)

/* The host functions that adding a cache or a list needs; the tree comes with the host. */
uint32_t dmGetMaxVr(void) {
    return 1;
}

static HalVlanIf vlans[2];
static HalPif ports[2];

void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    if (instance < 2) vlans[instance].instance = instance;
    *record = instance < 2 ? &vlans[instance] : NULL;
}

void getPifBySlotPort(uint32_t slot, uint32_t port, HalPif** record) {
    *record = slot == 1 && port < 2 ? &ports[port] : NULL;
}

static void* library;

static int32_t call(const char* name, const void* request) {
    int32_t (*operation)(const void*) = (int32_t(*)(const void*))dlsym(library, name);
    if (operation != NULL) return operation(request);
    fprintf(stderr, "%s is missing\n", name);
    ++failures;
    return -99;
}

/* What a debugger finds: the library's variable of that name. */
static uint32_t wordOf(const char* name) {
    const uint32_t* word = dlsym(library, name);
    EXPECT(word != NULL);
    return word != NULL ? *word : 0;
}

static void addACache(void) {
    int32_t (*initialise)(void) = (int32_t(*)(void))dlsym(library, "pcSimHalIPv4McDbInit");
    EXPECT(initialise != NULL && initialise() == 1);
    static uint32_t words[8 + 4];
    HalMcastRequest* request = (HalMcastRequest*)words;
    request->key.incomingVlan = 1;
    request->key.group = 0x010000E0u;
    request->key.source = 0x0100000Au;
    request->outgoingCount = 1;
    request->outgoing[0].vlanInstance = 1;
    request->outgoing[0].slot = 1;
    request->outgoing[0].port = 1;
    EXPECT(call("pcSimHalIpv4McHwCacheAdd", request) == 0);
    EXPECT(wordOf("groupTable") != 0);
    EXPECT(wordOf("vlanTree") != 0);
    EXPECT(wordOf("portTree") != 0);
    EXPECT(call("pcSimHalIpv4McHwCacheDel", request) == 0);
    EXPECT(wordOf("vlanTree") == 0);
    EXPECT(wordOf("portTree") == 0);
}

static void addAList(void) {
    HalAclListRequest list = {.name = "web"};
    HalAclBindRequest place = {.name = "web", .vlan = 7, .port = 0x10001};
    HalAclDeleteRequest deletion = {.name = "web"};
    EXPECT(call("pcSimIPv4AclAdd", &list) == 0);
    EXPECT(wordOf("aclTree") != 0);
    EXPECT(call("pcSimIPv4AclConfig", &place) == 0);
    EXPECT(wordOf("aclInstanceTree") != 0);
    EXPECT(call("pcSimIPv4AclUnconfig", &place) == 0);
    EXPECT(wordOf("aclInstanceTree") == 0);
    EXPECT(call("pcSimIPv4AclDel", &deletion) == 0);
    EXPECT(wordOf("aclTree") == 0);
}

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    library = dlopen(argv[1], RTLD_LAZY | RTLD_GLOBAL);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    addACache();
    addAList();
    EXPECT(strcmp(aclTree, "abc") == 0 && strcmp(aclInstanceTree, "def") == 0);
    EXPECT(strcmp(groupTable, "ghi") == 0 && strcmp(vlanTree, "jkl") == 0);
    EXPECT(portTree(1) == 'n');
    return failures != 0;
}
