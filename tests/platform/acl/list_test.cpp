// Lists: add, delete, refresh, difference pass, and what they print.
#include <csignal>
#include <cstring>

#include "tests/platform/acl/fixture.h"
#include "tests/support/stubs.h"
#include "tests/support/words.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

TEST(AclNodes, LieWhereTheyAreDocumented) {
    EXPECT_EQ(offsetof(AclList, name), byWordSize(16, 32));
    EXPECT_EQ(offsetof(AclList, value), byWordSize(48, 64));
    EXPECT_EQ(offsetof(AclList, ruleCount), byWordSize(52, 68));
    EXPECT_EQ(offsetof(AclList, counterCount), byWordSize(54, 70));
    EXPECT_EQ(offsetof(AclList, rules), byWordSize(56, 72));
    EXPECT_EQ(offsetof(AclList, boundCount), byWordSize(60, 80));
    EXPECT_EQ(offsetof(AclList, members), byWordSize(64, 88));
    EXPECT_EQ(offsetof(AclInstance, links), byWordSize(16, 32));
    EXPECT_EQ(offsetof(AclInstance, lists), byWordSize(32, 64));
    EXPECT_EQ(offsetof(AclInstance, vlan), byWordSize(40, 80));
    EXPECT_EQ(offsetof(AclInstance, port), byWordSize(44, 84));
    EXPECT_EQ(offsetof(AclInstance, key), byWordSize(48, 88));
    EXPECT_EQ(offsetof(AclInstance, counters), byWordSize(52, 96));
}

TEST(AclList, TreesAreEmptyAtLoad) {
    EXPECT_EQ(aclTree, nullptr);
    EXPECT_EQ(aclInstanceTree, nullptr);
}

TEST(AclList, AddStoresTheRequest) {
    const HalAclListRequest request = listRequest("web", 5, {{"a"}, {"b"}}, 0xCAFE);
    EXPECT_EQ(pcSimIPv4AclAdd(&request), 0);
    const AclList* list = storedList("web");
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->value, 0xCAFEu);
    EXPECT_EQ(list->ruleCount, 2);
    EXPECT_EQ(list->counterCount, 5);
    EXPECT_EQ(list->rules, request.rules);
    EXPECT_EQ(list->boundCount, 0u);
    EXPECT_EQ(list->members[0].next, &list->members[0]);
    EXPECT_EQ(list->members[1].previous, &list->members[1]);
    EXPECT_EQ(blocks(), 2);
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclList, ListsStandByNameByteForByte) {
    for (const char* name : {"web", "Web", "", "we", "\xC3\xA4", "webs"}) addList(name);
    EXPECT_EQ(listNames(), (Lines{"", "Web", "we", "web", "webs", "\xC3\xA4"}));
    for (const std::string& name : listNames()) deleteList(name.c_str());
    EXPECT_EQ(blocks(), 0);
}

TEST(AclList, NamesAreCutAt31Characters) {
    const std::string long31(31, 'x');
    for (const std::string& name : {std::string(32, 'x'), long31 + "yz", std::string(40, 'x')}) {
        EXPECT_EQ(addList(name.c_str()), 0);
        EXPECT_EQ(listNames(), Lines{long31});
        EXPECT_EQ(bind(name.c_str(), {}), 0);
        unbind({});
        EXPECT_EQ(deleteList(name.c_str()), 0);
        EXPECT_EQ(listNames(), Lines{});
    }
    EXPECT_EQ(blocks(), 0);
}

TEST(AclList, ADuplicateNameKeepsTheFirstListAndFreesTheSecond) {
    addList("web", 1, {{"first"}});
    const HalAclRule* rules = storedList("web")->rules;
    EXPECT_EQ(addList("web", 2, {{"second"}}), 0);
    EXPECT_EQ(storedList("web")->rules, rules);
    EXPECT_EQ(storedList("web")->counterCount, 1);
    EXPECT_EQ(blocks(), 2);
    deleteList("web");
}

// A HAL that gives the same array away twice: the list that has it keeps it.
TEST(AclList, AnArrayThatIsStoredIsNotFreedByTheNextRequest) {
    const HalAclListRequest request = listRequest("web", 1, {{"first"}});
    EXPECT_EQ(pcSimIPv4AclAdd(&request), 0);
    EXPECT_EQ(pcSimIPv4AclAdd(&request), 0);
    libc().failNext();
    EXPECT_EQ(pcSimIPv4AclAdd(&request), 0);
    printed([&] { EXPECT_EQ(pcSimIPv4AclRefreshDiff(&request), 0); });
    EXPECT_EQ(blocks(), 2);
    EXPECT_STREQ(storedList("web")->rules->name, "first");
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclList, TheDynamicListIsNeverStoredAndItsRulesAreFreed) {
    EXPECT_EQ(printed([] { EXPECT_EQ(addList(kDynamic, 3, {{"a"}}), 0); }), "");
    EXPECT_EQ(listNames(), Lines{});
    EXPECT_EQ(blocks(), 0);
}

TEST(AclList, OnlyTheExactNameIsDynamic) {
    for (const char* name : {"\tDynamic ACL Rules", "\tDynamic ACL Rules\t\t", "Dynamic ACL Rules",
                             "\tdynamic acl rules\t"}) {
        addList(name);
        EXPECT_EQ(listNames(), Lines{name});
        deleteList(name);
    }
    // What follows the NUL does not matter.
    HalAclListRequest request = listRequest(kDynamic);
    std::memset(request.name + 20, 'x', 12);
    pcSimIPv4AclAdd(&request);
    EXPECT_EQ(listNames(), Lines{});
    EXPECT_EQ(blocks(), 0);
}

TEST(AclList, AddWithoutMemoryOrPlaceStoresNothing) {
    libc().failNext();
    EXPECT_EQ(addList("web", 1, {{"a"}}), 0);
    EXPECT_EQ(listNames(), Lines{});
    EXPECT_EQ(blocks(), 0) << "the rules have passed to the platform all the same";
    tree().refuseInsert = 1;
    EXPECT_EQ(addList("web", 1, {{"a"}}), 0);
    EXPECT_EQ(listNames(), Lines{});
    EXPECT_EQ(blocks(), 0);
}

TEST(AclList, AListMayHaveNoRules) {
    HalAclListRequest request = listRequest("web");
    std::free(request.rules);
    request.rules = nullptr;
    request.ruleCount = 3;
    pcSimIPv4AclAdd(&request);
    EXPECT_EQ(storedList("web")->rules, nullptr);
    EXPECT_EQ(printed([&] { pcSimIPv4AclRefresh(&request); }),
              "HAL refresh name  ruleIndex nextIndex**HAL refresh TOTAL =  3  **\n");
    EXPECT_EQ(printed([&] { pcSimIPv4AclRefreshDiff(&request); }),
              "\nHAL diffAction name  ruleIndex nextIndex**HAL diffAction TOTAL =  3  **\n");
    deleteList("web");
}

TEST(AclList, DeleteOfADynamicRulePrintsItsIndex) {
    addList("web");
    HalAclDeleteRequest request{};
    std::strcpy(request.name, "web");
    for (uint32_t flags : {2u, 3u, 0xFFFFFFFFu}) {
        request.flags = flags;
        request.index = 17;
        EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimIPv4AclDel(&request), 0); }),
                  "Delete Dynamic Rule:  index 17\n");
    }
    request.index = 0xFFFFFFFF;
    EXPECT_EQ(printed([&] { pcSimIPv4AclDel(&request); }), "Delete Dynamic Rule:  index -1\n");
    EXPECT_EQ(listNames(), Lines{"web"});
    request.flags = 0xFFFFFFFD;
    EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimIPv4AclDel(&request), 0); }), "");
    EXPECT_EQ(listNames(), Lines{});
    EXPECT_EQ(blocks(), 0);
}

TEST(AclList, DeleteOfAnUnknownListIsNothing) {
    addList("web");
    EXPECT_EQ(deleteList("mail"), 0);
    EXPECT_EQ(deleteList(kDynamic), 0);
    EXPECT_EQ(listNames(), Lines{"web"});
    deleteList("web");
}

TEST(AclList, RefreshReplacesAndPrintsTheRules) {
    addList("web", 2, {{"old"}});
    const HalAclListRequest request =
        listRequest("web", 3,
                    {{"permit-web", 1, 2, 0x0A, 48},
                     {"a-name-longer-than-sixteen", 4294967295, 7, 0xFF, 52},
                     {"", 3, 0, 8, 1023}},
                    99);
    EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimIPv4AclRefresh(&request), 0); }),
              "HAL refresh name  ruleIndex nextIndex"
              "       2       permit-web        1        2\n"
              "       7 a-name-longer-than-sixteen 4294967295        7\n"
              "       0                         3        0\n"
              "**HAL refresh TOTAL =  3  **\n");
    const AclList* list = storedList("web");
    EXPECT_EQ(list->value, 99u);
    EXPECT_EQ(list->ruleCount, 3);
    EXPECT_EQ(list->counterCount, 3);
    EXPECT_EQ(list->rules, request.rules);
    EXPECT_EQ(blocks(), 2) << "the old rules are freed";
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclList, RefreshWithTheSameArrayKeepsIt) {
    HalAclListRequest request = listRequest("web", 0, {{"a", 1, 0, 0}});
    pcSimIPv4AclAdd(&request);
    EXPECT_EQ(printed([&] { pcSimIPv4AclRefresh(&request); }),
              "HAL refresh name  ruleIndex nextIndex"
              "       0                a        1        0\n"
              "**HAL refresh TOTAL =  1  **\n");
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

TEST(AclList, RefreshOfAnUnknownListLeavesTheRulesWithTheCaller) {
    for (const char* name : {"web", kDynamic}) {
        const HalAclListRequest request = listRequest(name, 0, {{"a"}});
        EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimIPv4AclRefresh(&request), 0); }), "");
        EXPECT_EQ(request.rules->name[0], 'a');
        std::free(request.rules);
    }
}

TEST(AclList, TheDifferencePassPrintsAndStoresNothing) {
    const HalAclListRequest request =
        listRequest("web", 3, {{"one", 10, 20, 1}, {"two", 20, 0, 2}});
    EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimIPv4AclRefreshDiff(&request), 0); }),
              "\nHAL diffAction name  ruleIndex nextIndex"
              "       1              one       10       20\n"
              "       2              two       20        0\n"
              "**HAL diffAction TOTAL =  2  **\n");
    EXPECT_EQ(listNames(), Lines{});
    EXPECT_EQ(blocks(), 0) << "the rules are freed";
}

TEST(AclList, TheDifferencePassLeavesTheStoredListAlone) {
    addList("web", 1, {{"stored"}});
    const HalAclListRequest request = listRequest("web", 3, {{"one", 10, 20, 1}});
    printed([&] { pcSimIPv4AclRefreshDiff(&request); });
    EXPECT_STREQ(storedList("web")->rules->name, "stored");
    EXPECT_EQ(storedList("web")->counterCount, 1);
    deleteList("web");
}

TEST(AclList, ARecordOfLengthZeroEndsTheWalk) {
    const HalAclListRequest request =
        listRequest("web", 0, {{"one", 1, 2, 1}, {"two", 2, 3, 1, 0}, {"three", 3, 0, 1}});
    EXPECT_EQ(printed([&] { pcSimIPv4AclRefreshDiff(&request); }),
              "\nHAL diffAction name  ruleIndex nextIndex"
              "       1              one        1        2\n"
              "**HAL diffAction TOTAL =  3  **\n");
}

TEST(AclList, ACountBeyondTheArrayEndsAtARecordOfLengthZero) {
    HalAclListRequest request = listRequest("web", 0, {{"one", 1, 2, 1}, {"end", 2, 3, 1, 0}});
    request.ruleCount = 65535;
    EXPECT_EQ(printed([&] { pcSimIPv4AclRefreshDiff(&request); }),
              "\nHAL diffAction name  ruleIndex nextIndex"
              "       1              one        1        2\n"
              "**HAL diffAction TOTAL =  65535  **\n");
}

TEST(AclList, RecordsMayLieAtAnyAddress) {
    const HalAclListRequest request =
        listRequest("web", 0, {{"one", 1, 2, 1, 49}, {"two", 2, 3, 2, 51}, {"three", 3, 0, 3}});
    EXPECT_EQ(printed([&] { pcSimIPv4AclRefreshDiff(&request); }),
              "\nHAL diffAction name  ruleIndex nextIndex"
              "       1              one        1        2\n"
              "       2              two        2        3\n"
              "       3            three        3        0\n"
              "**HAL diffAction TOTAL =  3  **\n");
}

TEST(AclList, ANameWithoutAnEndIsPrintedUpToTheNextField) {
    const HalAclListRequest request =
        listRequest("web", 0, {{std::string(36, 'n'), 0x41414141, 0, 1}});
    EXPECT_EQ(printed([&] { pcSimIPv4AclRefreshDiff(&request); }),
              "\nHAL diffAction name  ruleIndex nextIndex       1 " + std::string(36, 'n') +
                  " 1094795585        0\n**HAL diffAction TOTAL =  1  **\n");
}

TEST(AclList, TheIgnoredOperationsAnswerZero) {
    expectStubs({PCSIM_ACL_STUBS(PCSIM_STUB_ROW)}, 3);
}

TEST(AclList, NullPointersStopTheProcess) {
    const auto aborted = testing::KilledBySignal(SIGABRT);
    addList("web");
    bind("web", {});
    AclList* list = storedList("web");
    AclInstance* one = instance({});
    EXPECT_EXIT(pcSimIPv4AclAdd(nullptr), aborted, "request");
    EXPECT_EXIT(pcSimIPv4AclDel(nullptr), aborted, "request");
    EXPECT_EXIT(pcSimIPv4AclRefresh(nullptr), aborted, "request");
    EXPECT_EXIT(pcSimIPv4AclRefreshDiff(nullptr), aborted, "request");
    EXPECT_EXIT(pcSimIPv4AclConfig(nullptr), aborted, "request");
    EXPECT_EXIT(pcSimIPv4AclUnconfig(nullptr), aborted, "request");
    EXPECT_EXIT(pcSimIPv4AclGetCounter(nullptr), aborted, "request");
    EXPECT_EXIT(pcSimIPv4AclClearCounter(nullptr), aborted, "request");
    EXPECT_EXIT(aclAttachInstance(nullptr, 0, one), aborted, "list");
    EXPECT_EXIT(aclAttachInstance(list, 0, nullptr), aborted, "instance");
    EXPECT_EXIT(aclUnAttachInstance(nullptr, 0, one), aborted, "list");
    EXPECT_EXIT(aclUnAttachInstance(list, 0, nullptr), aborted, "instance");
    unbind({});
    deleteList("web");
}

}  // namespace
