// What the access-list tests share: requests, rule arrays, and the database as text.
#ifndef PCSIM_TESTS_ACL_FIXTURE_H
#define PCSIM_TESTS_ACL_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/acl/pcSimIPv4Acl.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"
#include "tests/support/tree.h"

namespace pcsim::test {

inline constexpr const char* kDynamic = "\tDynamic ACL Rules\t";

struct Rule {
    std::string name;
    uint32_t index = 0;
    uint32_t next = 0;
    uint8_t action = 0;
    uint16_t length = 48;
};

// A rule array from malloc, as a HAL compiles it; it ends with its last record.
HalAclRule* compile(const std::vector<Rule>& rules);

struct Where {
    uint32_t vlan = 1;
    uint32_t port = 0x10001;
    uint8_t key = 0;
    uint8_t slot = 0;
};

HalAclListRequest listRequest(const char* name, uint16_t counters = 0,
                              const std::vector<Rule>& rules = {}, uint32_t value = 0);
HalAclBindRequest bindRequest(const char* name, Where where, uint32_t index = 0);

// Calls of the operations, with what is not given as 0.
int32_t addList(const char* name, uint16_t counters = 0, const std::vector<Rule>& rules = {});
int32_t deleteList(const char* name);
int32_t refresh(const char* name, uint16_t counters, const std::vector<Rule>& rules = {});
int32_t bind(const char* name, Where where);
int32_t unbind(Where where);
// Clears the counters of these numbers.
int32_t clearCounters(Where where, const std::vector<uint16_t>& numbers);

AclList* storedList(const char* name);
AclInstance* instance(Where where);
// Names of the stored lists, in the tree's order.
std::vector<std::string> listNames();
// The members of a list as "vlan/port/key", in the order of the list; checks every link and count.
std::vector<std::string> members(AclList* list, uint32_t slot);
// All instances as "vlan/port/key", in the tree's order.
std::vector<std::string> instances();
// Blocks in use: what the library has allocated, and the rule arrays that nobody has freed yet.
int32_t blocks();

using Lines = std::vector<std::string>;

}  // namespace pcsim::test

#endif
