// What is left of our own programs' objects when memory runs out while they are made.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "console/report.h"
#include "host/core/records.h"
#include "tests/support/failing_new.h"

namespace pcsim::host {
namespace {

using test::failEachNew;

void nothing() {}

// Longer than what a string holds without memory.
const std::string kText(100, 'x');

TEST(Memory, ACellIsCopiedOrNot) {
    const Cell cell(Cell(kText), kText);
    EXPECT_EQ(failEachNew([&] { const Cell copy(cell); }, nothing), 2);
}

TEST(Memory, ACellIsAssignedOrStays) {
    const Cell cell(Cell(kText), kText);
    Cell other(7);
    const auto staysAsItWas = [&] { EXPECT_EQ(other.plain(), "7"); };
    EXPECT_EQ(failEachNew([&] { other = cell; }, staysAsItWas), 2);
    EXPECT_EQ(other.plain(), kText);
}

void expectWhole(Records& records) {
    for (const auto& [instance, pif] : records.pifs()) EXPECT_NE(pif, nullptr);
    for (const auto& [id, vlan] : records.vlans()) {
        ASSERT_NE(vlan, nullptr);
        EXPECT_EQ(records.vlanByInstance(vlan->record.instance), vlan.get());
        for (const auto& [instance, member] : vlan->members) EXPECT_NE(member, nullptr);
    }
}

TEST(Memory, RecordsAreWholeOrNotThere) {
    std::optional<Records> records;
    const auto addAll = [&] {
        records.emplace();
        records->addMember(records->addVlan(10), records->addPif(0x10001), true);
    };
    EXPECT_GE(failEachNew(addAll, [&] { expectWhole(*records); }), 6)
        << "a record and its place, for each of the three";
    EXPECT_EQ(records->vlans().at(10)->members.size(), 1u);
}

}  // namespace
}  // namespace pcsim::host
