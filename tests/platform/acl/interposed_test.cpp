// A host that unbinds members itself: the platform calls its operation, and keeps nothing that
// would lead it to a member that is gone.
#include "tests/platform/acl/fixture.h"

using namespace pcsim;
using namespace pcsim::test;

namespace {
int32_t calls;
}

extern "C" int32_t aclUnAttachInstance(AclList* list, uint32_t slot,
                                       AclInstance* instance) noexcept {
    ++calls;
    listUnlink(&instance->links[slot]);
    instance->lists[slot] = nullptr;
    --list->boundCount;
    return 0;
}

namespace {

TEST(AclInterposed, MembersThatTheHostUnbindsAreForgotten) {
    addList("web");
    addList("mail");
    for (uint32_t i = 0; i < 1000; ++i) ASSERT_EQ(bind("web", {i, 1, 0, 0}), 0);
    for (uint32_t i = 0; i < 1000; i += 2)  // unbound and freed, or moved
        ASSERT_EQ(i % 4 == 0 ? unbind({i, 1, 0, 0}) : bind("mail", {i, 1, 0, 0}), 0);
    EXPECT_EQ(calls, 500);
    for (uint32_t i = 1000; i-- > 0;) ASSERT_EQ(bind("web", {i, 1, 1, 0}), 0);
    Lines expected;
    for (uint32_t i = 0; i < 1000; ++i) {
        if (i % 2 != 0) expected.push_back(std::to_string(i) + "/1/0");
        expected.push_back(std::to_string(i) + "/1/1");
    }
    EXPECT_EQ(members(storedList("web"), 0), expected);
    EXPECT_EQ(members(storedList("mail"), 0).size(), 250u);
}

TEST(AclInterposed, AListThatTheHostHasEmptiedByItselfLeavesNothing) {
    addList("web");
    for (uint32_t i = 0; i < 1000; ++i) ASSERT_EQ(bind("web", {i, 1, 0, 0}), 0);
    AclList* const web = storedList("web");
    for (uint32_t i = 0; i < 1000; ++i) aclUnAttachInstance(web, 0, instance({i, 1, 0, 0}));
    EXPECT_EQ(deleteList("web"), 0);
    EXPECT_EQ(blocks(), 1000) << "instances alone stay, until the host unbinds them";
    for (uint32_t i = 0; i < 1000; ++i) unbind({i, 1, 0, 0});
    EXPECT_EQ(blocks(), 0);
}

}  // namespace
