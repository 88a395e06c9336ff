// Bindings: their order, their slots, and lists that are deleted under them.
#include <algorithm>
#include <cstring>

#include "tests/platform/acl/fixture.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

TEST(AclBinding, BindsAnInstanceWithZeroedCounters) {
    addList("web", 3);
    EXPECT_EQ(bind("web", {7, 0x10002, 5, 1}), 0);
    AclList* list = storedList("web");
    const AclInstance* one = instance({7, 0x10002, 5});
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->lists[0], nullptr);
    EXPECT_EQ(one->lists[1], list);
    EXPECT_EQ(one->counters[0], nullptr);
    ASSERT_NE(one->counters[1], nullptr);
    EXPECT_EQ(std::count(one->counters[1], one->counters[1] + 48, 0), 48);
    EXPECT_EQ(list->boundCount, 1u);
    EXPECT_EQ(members(list, 0), Lines{});
    EXPECT_EQ(members(list, 1), Lines{"7/65538/5"});
    EXPECT_EQ(blocks(), 2 + 2);
    unbind({7, 0x10002, 5, 1});
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclBinding, MembersStandByVlanPortAndKeyUnsigned) {
    addList("web");
    const Where wheres[] = {{5, 1, 0},          {0xFFFFFFFF, 0, 0}, {1, 0xFFFFFFFF, 0}, {1, 2, 255},
                            {1, 2, 0},          {1, 2, 7},          {0x80000000, 1, 1}, {1, 1, 9},
                            {5, 0x80000000, 0}, {0, 0, 0},          {5, 0, 0},          {2, 1, 1}};
    const Lines ordered = {"0/0/0",   "1/1/9",          "1/2/0",          "1/2/7",
                           "1/2/255", "1/4294967295/0", "2/1/1",          "5/0/0",
                           "5/1/0",   "5/2147483648/0", "2147483648/1/1", "4294967295/0/0"};
    for (const Where& where : wheres) EXPECT_EQ(bind("web", where), 0);
    EXPECT_EQ(members(storedList("web"), 0), ordered);
    EXPECT_EQ(instances(), ordered);
    EXPECT_EQ(storedList("web")->boundCount, 12u);
    for (const Where& where : wheres) unbind(where);
    EXPECT_EQ(instances(), Lines{});
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclBinding, SlotsAndListsAreApart) {
    addList("web", 1);
    addList("mail", 2);
    bind("web", {1, 1, 0, 0});
    bind("mail", {1, 1, 0, 1});
    bind("mail", {2, 1, 0, 0});
    bind("web", {2, 1, 0, 1});
    EXPECT_EQ(members(storedList("web"), 0), Lines{"1/1/0"});
    EXPECT_EQ(members(storedList("web"), 1), Lines{"2/1/0"});
    EXPECT_EQ(members(storedList("mail"), 0), Lines{"2/1/0"});
    EXPECT_EQ(members(storedList("mail"), 1), Lines{"1/1/0"});
    EXPECT_EQ(instances(), (Lines{"1/1/0", "2/1/0"}));
    unbind({1, 1, 0, 0});
    EXPECT_EQ(instances(), (Lines{"1/1/0", "2/1/0"})) << "slot 1 still holds it";
    EXPECT_EQ(storedList("web")->boundCount, 1u);
    unbind({1, 1, 0, 1});
    EXPECT_EQ(instances(), Lines{"2/1/0"}) << "the last slot frees it";
    unbind({2, 1, 0, 0});
    unbind({2, 1, 0, 1});
    deleteList("web");
    deleteList("mail");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclBinding, OneListMayHoldBothSlotsOfAnInstance) {
    addList("web", 1);
    bind("web", {1, 1, 0, 0});
    bind("web", {1, 1, 0, 1});
    EXPECT_EQ(storedList("web")->boundCount, 2u);
    EXPECT_EQ(blocks(), 2 + 3);
    unbind({1, 1, 0, 0});
    EXPECT_EQ(members(storedList("web"), 0), Lines{});
    EXPECT_EQ(members(storedList("web"), 1), Lines{"1/1/0"});
    unbind({1, 1, 0, 1});
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclBinding, AnUnknownListIsRefusedAndMakesNoInstance) {
    EXPECT_EQ(bind("web", {}), -1);
    EXPECT_EQ(instances(), Lines{});
    EXPECT_EQ(blocks(), 0);
}

TEST(AclBinding, DynamicRulesOnlyPrint) {
    const HalAclBindRequest request = bindRequest(kDynamic, {7, 0x10002, 0, 0}, 33);
    EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimIPv4AclConfig(&request), 0); }),
              "Config Dynamic Rule on vlan 7 port 00010002: index 33\n");
    EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimIPv4AclUnconfig(&request), 0); }),
              "Unconfig Dynamic Rule on vlan 7 port 00010002: index 33\n");
    const HalAclBindRequest high =
        bindRequest(kDynamic, {0xFFFFFFFF, 0xABCDEF01, 0, 9}, 0x80000000);
    EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimIPv4AclConfig(&high), 0); }),
              "Config Dynamic Rule on vlan -1 port ABCDEF01: index -2147483648\n");
    EXPECT_EQ(instances(), Lines{});
    // Letter case counts here.
    EXPECT_EQ(bind("\tdynamic acl rules\t", {}), -1);
}

TEST(AclBinding, BindingAndUnbindingOthersPrintNothing) {
    EXPECT_EQ(printed([] {
                  addList("web", 1, {{"a"}});
                  bind("web", {});
                  unbind({});
                  deleteList("web");
              }),
              "");
}

TEST(AclBinding, UnbindingWhatIsNotBoundIsNothing) {
    EXPECT_EQ(unbind({}), 0);
    addList("web");
    bind("web", {1, 1, 0, 0});
    EXPECT_EQ(unbind({1, 1, 0, 1}), 0);
    EXPECT_EQ(unbind({1, 1, 1, 0}), 0);
    EXPECT_EQ(unbind({1, 2, 0, 0}), 0);
    EXPECT_EQ(instances(), Lines{"1/1/0"});
    EXPECT_EQ(storedList("web")->boundCount, 1u);
    unbind({1, 1, 0, 0});
    deleteList("web");
}

TEST(AclBinding, SlotsBeyondTheTwoAreRefused) {
    addList("web", 1);
    bind("web", {1, 1, 0, 0});
    const int32_t before = blocks();
    for (uint8_t slot : {2, 3, 128, 255}) {
        EXPECT_EQ(bind("web", {1, 1, 0, slot}), -1);
        EXPECT_EQ(bind("web", {2, 1, 0, slot}), -1);
        EXPECT_EQ(unbind({1, 1, 0, slot}), 0);
        EXPECT_EQ(clearCounters({1, 1, 0, slot}, {0}), 0);
        EXPECT_EQ(aclAttachInstance(storedList("web"), slot, instance({1, 1, 0})), -1);
        EXPECT_EQ(aclUnAttachInstance(storedList("web"), slot, instance({1, 1, 0})), 0);
    }
    EXPECT_EQ(instances(), Lines{"1/1/0"});
    EXPECT_EQ(blocks(), before);
    unbind({1, 1, 0, 0});
    deleteList("web");
}

TEST(AclBinding, ABoundSlotThatIsBoundAgainMovesToTheNewList) {
    addList("web", 1);
    addList("mail", 2);
    bind("web", {1, 1, 0, 0});
    bind("web", {2, 1, 0, 0});
    EXPECT_EQ(bind("mail", {1, 1, 0, 0}), 0);
    EXPECT_EQ(members(storedList("web"), 0), Lines{"2/1/0"});
    EXPECT_EQ(members(storedList("mail"), 0), Lines{"1/1/0"});
    EXPECT_EQ(storedList("web")->boundCount, 1u);
    EXPECT_EQ(storedList("mail")->boundCount, 1u);
    unbind({1, 1, 0, 0});
    unbind({2, 1, 0, 0});
    deleteList("web");
    deleteList("mail");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclBinding, BindingTheSameListAgainGivesFreshCountersOnly) {
    addList("web", 2);
    for (uint32_t vlan : {1, 2, 3}) bind("web", {vlan, 1, 0, 0});
    std::memset(instance({2, 1})->counters[0], 0x55, 32);
    const int32_t before = blocks();
    EXPECT_EQ(bind("web", {2, 1, 0, 0}), 0);
    const uint8_t* block = instance({2, 1})->counters[0];
    EXPECT_EQ(std::count(block, block + 32, 0), 32);
    EXPECT_EQ(members(storedList("web"), 0), (Lines{"1/1/0", "2/1/0", "3/1/0"}));
    EXPECT_EQ(storedList("web")->boundCount, 3u);
    EXPECT_EQ(blocks(), before);
    for (uint32_t vlan : {1, 2, 3}) unbind({vlan, 1, 0, 0});
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclBinding, AttachAndUnattachLinkTheInstanceAndLeaveItInTheTree) {
    addList("web", 1);
    addList("mail", 1);
    bind("web", {1, 1, 0, 0});
    AclList* mail = storedList("mail");
    AclInstance* one = instance({1, 1, 0});
    EXPECT_EQ(aclAttachInstance(mail, 1, one), 0);
    EXPECT_EQ(members(mail, 1), Lines{"1/1/0"});
    EXPECT_EQ(mail->boundCount, 1u);
    ASSERT_NE(one->counters[1], nullptr);
    EXPECT_EQ(aclUnAttachInstance(storedList("web"), 1, one), 0) << "another list's binding";
    EXPECT_EQ(mail->boundCount, 1u);
    EXPECT_EQ(aclUnAttachInstance(mail, 1, one), 0);
    EXPECT_EQ(one->lists[1], nullptr);
    EXPECT_EQ(one->counters[1], nullptr);
    EXPECT_EQ(mail->boundCount, 0u);
    EXPECT_EQ(aclUnAttachInstance(mail, 1, one), 0) << "not bound any more";
    EXPECT_EQ(mail->boundCount, 0u);
    EXPECT_EQ(aclUnAttachInstance(storedList("web"), 0, one), 0);
    EXPECT_EQ(instances(), Lines{"1/1/0"});
    EXPECT_EQ(unbind({1, 1, 0, 0}), 0) << "no slot is bound: the instance goes";
    EXPECT_EQ(instances(), Lines{});
    deleteList("web");
    deleteList("mail");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclBinding, ADeletedListGoesWithItsLastBinding) {
    addList("web", 1, {{"a"}});
    AclList* list = storedList("web");
    bind("web", {1, 1, 0, 0});
    bind("web", {2, 1, 0, 1});
    EXPECT_EQ(blocks(), 2 + 2 * 2);
    EXPECT_EQ(deleteList("web"), 0);
    EXPECT_EQ(listNames(), Lines{});
    EXPECT_EQ(blocks(), 1 + 2 * 2) << "its rules are freed at once";
    EXPECT_EQ(members(list, 0), Lines{"1/1/0"});
    EXPECT_EQ(members(list, 1), Lines{"2/1/0"});
    EXPECT_EQ(bind("web", {3, 1, 0, 0}), -1) << "its name is unknown";
    EXPECT_EQ(clearCounters({1, 1, 0, 0}, {0, 1}), 0);
    unbind({1, 1, 0, 0});
    EXPECT_EQ(blocks(), 1 + 2);
    unbind({2, 1, 0, 1});
    EXPECT_EQ(blocks(), 0);
}

TEST(AclBinding, ANewListOfADeletedListsNameIsAnother) {
    addList("web", 1);
    bind("web", {1, 1, 0, 0});
    bind("web", {2, 1, 0, 0});
    AclList* old = storedList("web");
    deleteList("web");
    addList("web", 2);
    EXPECT_NE(storedList("web"), old);
    EXPECT_EQ(members(storedList("web"), 0), Lines{});
    EXPECT_EQ(bind("web", {1, 1, 0, 0}), 0);
    EXPECT_EQ(members(old, 0), Lines{"2/1/0"});
    EXPECT_EQ(members(storedList("web"), 0), Lines{"1/1/0"});
    EXPECT_EQ(bind("web", {2, 1, 0, 0}), 0);  // the old list's last binding
    EXPECT_EQ(members(storedList("web"), 0), (Lines{"1/1/0", "2/1/0"}));
    deleteList("web");
    unbind({1, 1, 0, 0});
    unbind({2, 1, 0, 0});
    EXPECT_EQ(blocks(), 0);
}

TEST(AclBinding, ADeletedListThatIsAttachedAgainIsKept) {
    addList("web", 1);
    bind("web", {1, 1, 0, 0});
    AclList* list = storedList("web");
    deleteList("web");
    EXPECT_EQ(aclAttachInstance(list, 0, instance({1, 1, 0})), 0);
    EXPECT_EQ(list->boundCount, 1u);
    EXPECT_EQ(aclAttachInstance(list, 1, instance({1, 1, 0})), 0);
    EXPECT_EQ(list->boundCount, 2u);
    unbind({1, 1, 0, 0});
    unbind({1, 1, 0, 1});
    EXPECT_EQ(blocks(), 0);
}

// Which allocation or insertion of a bind fails, and that nothing is left of it.
TEST(AclBinding, ABindThatCannotBeMadeLeavesNothing) {
    addList("web", 4);
    const int32_t before = blocks();
    for (uint32_t n : {1, 2}) {  // instance, counters
        for (bool forEver : {false, true}) {
            forEver ? libc().failAllFrom(n) : libc().failNext(n);
            EXPECT_EQ(bind("web", {1, 1, 0, 0}), -1);
            libc().failNone();
            EXPECT_EQ(instances(), Lines{});
            EXPECT_EQ(members(storedList("web"), 0), Lines{});
            EXPECT_EQ(blocks(), before);
        }
    }
    tree().refuseInsert = 1;
    EXPECT_EQ(bind("web", {1, 1, 0, 0}), -1);
    EXPECT_EQ(tree().refuseInsert, 0u);
    EXPECT_EQ(instances(), Lines{});
    EXPECT_EQ(members(storedList("web"), 0), Lines{});
    EXPECT_EQ(storedList("web")->boundCount, 0u);
    EXPECT_EQ(blocks(), before);
    EXPECT_EQ(bind("web", {1, 1, 0, 0}), 0);
    unbind({1, 1, 0, 0});
    deleteList("web");
}

TEST(AclBinding, ABoundInstanceStaysWhenAnotherBindingOfItFails) {
    addList("web", 1);
    addList("mail", 1);
    bind("web", {1, 1, 0, 0});
    libc().failNext();
    EXPECT_EQ(bind("mail", {1, 1, 0, 1}), -1);
    EXPECT_EQ(members(storedList("web"), 0), Lines{"1/1/0"});
    libc().failNext();
    EXPECT_EQ(bind("mail", {1, 1, 0, 0}), -1) << "out of memory before the old binding goes";
    EXPECT_EQ(members(storedList("web"), 0), Lines{"1/1/0"});
    libc().failNext();
    EXPECT_EQ(bind("web", {1, 1, 0, 0}), -1);
    EXPECT_EQ(members(storedList("web"), 0), Lines{"1/1/0"});
    const uint32_t insertions = tree().insertions;
    tree().refuseInsert = 1;
    EXPECT_EQ(bind("mail", {1, 1, 0, 0}), 0) << "nothing is left to insert";
    EXPECT_EQ(tree().insertions, insertions);
    tree().refuseInsert = 0;
    EXPECT_EQ(members(storedList("mail"), 0), Lines{"1/1/0"});
    unbind({1, 1, 0, 0});
    deleteList("web");
    deleteList("mail");
    EXPECT_EQ(blocks(), 0);
}

}  // namespace
