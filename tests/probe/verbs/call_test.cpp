// Calls of operations by hand, on tables of the test's own functions: what they answer, what is
// kept of them, and what is refused.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "pcsim/layout.h"
#include "probe/verbs/callables.h"
#include "probe/verbs/probe_verbs.h"

namespace pcsim::probe {
namespace {

HalFdbEntry table[2];

int32_t allocate(uint32_t* handle, HalFdbEntry** slot, const HalFdbKey* key) {
    *handle = key->vlanInstance;
    *slot = &table[1];
    return 0;
}
int32_t cleanUp() {
    return 0;
}
int32_t erase(HalFdbEntry* slot) {
    return slot == nullptr ? -1 : slot == &table[1] ? 5 : 6;
}
int32_t dump(const pcSimDumpSink* sink) {
    if (sink == nullptr) return 1;
    sink->print(sink->context, "one %d\ntwo\n", 1);
    return 0;
}
int32_t create(const HalVlanIf*, HalHwHandle** handle) {
    *handle = static_cast<HalHwHandle*>(std::calloc(1, sizeof(HalHwHandle)));
    return 0;
}
int32_t destroy(const HalVlanIf*, HalHwHandle** handle) {
    std::free(*handle);
    *handle = nullptr;
    return 0;
}
uint32_t present(int32_t number) {
    return static_cast<uint32_t>(number);
}
int32_t temperature(int32_t slot, int32_t* answer) {
    *answer = 10 * slot;
    return 0;
}
HalDeviceCapability* capability(const char* name) {
    auto* const made =
        static_cast<HalDeviceCapability*>(std::calloc(1, sizeof(HalDeviceCapability)));
    made->size = sizeof *made;
    std::snprintf(made->typeName, sizeof made->typeName, "%s", name);
    return made;
}
int32_t info(HalChassisInfo* chassis) {
    chassis->timeStamp = 99;
    chassis->macAddresses[1][5] = 7;
    return -1;
}

class FakeCallables final : public Callables {
public:
    FakeCallables() {
        family.fdbAllocEntry = allocate;
        family.fdbCleanup = cleanUp;
        family.fdbDeleteEntry = erase;
        family.fdbDump = dump;
        family.vlanIfCreate = create;
        family.vlanIfDelete = destroy;
        fans.isPresent = supplies.isPresent = present;
        slots[0].cardReadTemperature = slots[1].cardReadTemperature = temperature;
        system.getDeviceCapability = capability;
        system.chassisGetInfo = info;
    }

    std::vector<OperationTable> tables() const override {
        return {{"system", recordNamed("HalSystemOps"), "", words(system), 29, 0},
                {"slot", recordNamed("HalCardSlotOps"), "1", words(slots[0]), 256, 11},
                {"slot", recordNamed("HalCardSlotOps"), "2", words(slots[1]), 256, 11},
                {"family", recordNamed("HalFamilyOps"), "", words(family), 332, 0},
                {"fanDb", recordNamed("HalEnvDb"), "", words(fans), 5, 0},
                {"psDb", recordNamed("HalEnvDb"), "", words(supplies), 5, 0}};
    }
    std::string usualNumber() const override { return "1"; }
    const void* record(const Record& record, const std::string& word) const override {
        fail("there is no {} {}", record.name, word);
    }
    void* callback(const Function&) const override { return nullptr; }
    bool number(Meaning, const std::string&, int64_t&) const override { return false; }
    void called(std::string_view name, std::string_view word, const Word*) override {
        last = std::string(name) + "." + std::string(word);
    }

    std::string last;

private:
    template <typename Ops>
    static const void* const* words(const Ops& ops) {
        return reinterpret_cast<const void* const*>(&ops);
    }

    HalSystemOps system{};
    HalCardSlotOps slots[2]{};
    HalFamilyOps family{};
    HalEnvDb fans{}, supplies{};
};

class CallTest : public testing::Test {
protected:
    CallTest() { addCallVerbs(verbs, callables); }

    std::string answer(const std::string& line, bool json = false) {
        return answerOf(verbs, splitWords(line), json);
    }
    std::string value(const std::string& line, const std::string& path) {
        Verbs::Found found = verbs.find(splitWords(line));
        pcsim::Call call(std::move(found.values));
        const auto cell = found.verb->show(call).at(path);
        return cell ? cell->plain() : "none";
    }
    std::string problem(const std::string& line) {
        try {
            answer(line);
        } catch (const CommandError& error) {
            return error.what();
        }
        return "none";
    }

    std::shared_ptr<FakeCallables> callables = std::make_shared<FakeCallables>();
    Verbs verbs;
};

TEST_F(CallTest, AnswersTheResultAndTheOutputs) {
    EXPECT_EQ(answer("call slot.cardReadTemperature slot 4"),
              "Call of slot.cardReadTemperature\n"
              "  operation    -\n"
              "  in           1\n"
              "  result       0\n"
              "  temperature  40\n");
    EXPECT_EQ(callables->last, "slot.cardReadTemperature");
    EXPECT_EQ(value("call cardReadTemperature slot 2", "in"), "2");
    EXPECT_EQ(value("call cardReadTemperature slot 2 in 1", "in"), "1");
    EXPECT_EQ(value("call cardReadTemperature slot 2 in 1", "temperature"), "20");
}

TEST_F(CallTest, AnswersRecordsFieldByField) {
    EXPECT_EQ(value("call chassisGetInfo", "result"), "-1");
    EXPECT_EQ(value("call chassisGetInfo", "info.timeStamp"), "99");
    EXPECT_EQ(value("call chassisGetInfo", "info.macAddresses[1]"), "00:00:00:00:00:07");
    EXPECT_EQ(value("call getDeviceCapability typeName mouse", "result"), "record");
    EXPECT_EQ(value("call getDeviceCapability typeName mouse", "record.typeName"), "mouse");
}

TEST_F(CallTest, AnswersDumpsLineByLine) {
    EXPECT_EQ(value("call fdbDump", "dump.count"), "2");
    EXPECT_EQ(value("call fdbDump", "1.text"), "one 1");
    EXPECT_EQ(value("call fdbDump sink null", "result"), "1");
}

TEST_F(CallTest, AnswersJson) {
    EXPECT_EQ(answer("call family.fdbAllocEntry vlanInstance 8", true),
              "{\n"
              "  \"call\": {\n"
              "    \"operation\": null,\n"
              "    \"result\": 0,\n"
              "    \"handle\": 8,\n"
              "    \"slot\": \"entry#1\"\n"
              "  }\n"
              "}\n");
}

TEST_F(CallTest, KeepsWhatIsHandedOutUntilItEnds) {
    EXPECT_EQ(answer("show handles"), "What calls have handed out\n  nothing\n");
    answer("call fdbAllocEntry as place");
    EXPECT_EQ(value("call fdbDeleteEntry slot place", "result"), "5");
    EXPECT_EQ(value("call fdbDeleteEntry slot entry#1", "result"), "5");
    EXPECT_EQ(value("call fdbDeleteEntry", "result"), "-1");
    EXPECT_EQ(value("call fdbDeleteEntry slot null", "result"), "-1");
    answer("call vlanIfCreate as h");
    EXPECT_EQ(problem("call fdbDeleteEntry slot h"),
              "'h' is hwHandle of family.vlanIfCreate; expected entry");
    EXPECT_EQ(value("call vlanIfDelete handle h", "handle"), "null");
    EXPECT_EQ(problem("call vlanIfDelete handle hwHandle#1"),
              "'hwHandle#1' has ended with family.vlanIfDelete; expected one that 'show handles' "
              "tells as there");
    answer("call fdbCleanup");
    EXPECT_EQ(answer("show handles"),
              "What calls have handed out\n"
              "  Name        Kind      From                  State\n"
              "  ----------  --------  --------------------  ----------------------------\n"
              "  entry#1     entry     family.fdbAllocEntry  ended by family.fdbCleanup\n"
              "  place       entry     family.fdbAllocEntry  ended by family.fdbCleanup\n"
              "  hwHandle#1  hwHandle  family.vlanIfCreate   ended by family.vlanIfDelete\n"
              "  h           hwHandle  family.vlanIfCreate   ended by family.vlanIfDelete\n");
    answer("forget place");
    EXPECT_EQ(problem("forget place"),
              "nothing is kept under 'place'; there are entry#1, hwHandle#1, h");
    EXPECT_EQ(problem("call fdbDeleteEntry slot place"),
              "'place' is nothing that slot can be; expected the name of entry that a call has "
              "kept with 'as', or null");
}

TEST_F(CallTest, KeepsCopiesOfRecords) {
    answer("call getDeviceCapability typeName mouse as mouse");
    answer("call chassisGetInfo as chassis");
    EXPECT_EQ(value("show handles", "mouse.kind"), "deviceCapability");
    EXPECT_EQ(value("show handles", "chassis.from"), "system.chassisGetInfo");
}

TEST_F(CallTest, SaysWhatIsWrongAndWhatWouldBeRight) {
    EXPECT_EQ(problem("call isPresent"),
              "'isPresent' is more than one operation; expected one of fanDb.isPresent, "
              "psDb.isPresent");
    EXPECT_EQ(value("call psDb.isPresent number 3", "result"), "3");
    EXPECT_EQ(problem("call fdbAlocEntry"),
              "no operation goes by 'fdbAlocEntry'; perhaps family.fdbAllocEntry");
    EXPECT_EQ(problem("call fdb*"), "no operation goes by 'fdb*'; 'show coverage' lists them");
    EXPECT_EQ(problem("call pcSimFdbHash"),
              "pcSimFdbHash is in no table of this platform; expected an operation that 'show "
              "operations' lists");
    EXPECT_EQ(problem("call family.fdbInit"),
              "family.fdbInit is null: this platform doesn't offer it; 'show operations' tells "
              "which there are");
    EXPECT_EQ(problem("call cardReadTemperature in 3"),
              "there is no slot table 3; expected one of 1, 2");
    EXPECT_EQ(problem("call fdbDump in 3"), "there is one family table; expected no 'in 3'");
    EXPECT_EQ(problem("call fdbDump sink"),
              "'sink' has no value; expected NAME VALUE, and 'show operation fdbDump' for the "
              "names");
    EXPECT_EQ(problem("call fdbCleanup as x"),
              "family.fdbCleanup hands out nothing that can be kept; expected a call without 'as'");
    EXPECT_EQ(problem("call fdbAllocEntry as 0x1"),
              "'0x1' is no name to keep something under; expected letters, digits, _ and -");
    EXPECT_EQ(problem("call fdbAllocEntry as a as b"), "'as' is given twice; expected it once");
    EXPECT_EQ(problem("show operations table x"),
              "there is no table 'x'; expected one of system, slot, family, fanDb, psDb");
}

TEST_F(CallTest, TellsOfOperations) {
    EXPECT_EQ(answer("show operation fdbAllocEntry"),
              "Operation family.fdbAllocEntry\n"
              "  name       -\n"
              "  table      family\n"
              "  word       28\n"
              "  type       HalFdbAllocEntryFn\n"
              "  signature  int32_t (uint32_t* handle, HalFdbEntry** slot, const HalFdbKey* key)\n"
              "  state      there\n"
              "\n"
              "Values\n"
              "  Name              Type              Takes\n"
              "  ----------------  ----------------  ----------------------------------------\n"
              "  key               const HalFdbKey*  a kept record\n"
              "  key.vlanInstance  HalVlanInstance   a number of 32 bits, or vlan:ID\n"
              "  key.mac           uint8_t[6]        a MAC address, such as 00:11:22:aa:bb:cc\n"
              "\n"
              "Outputs\n"
              "  Name    Type\n"
              "  ------  ------------\n"
              "  handle  uint32_t\n"
              "  slot    HalFdbEntry*\n");
    EXPECT_EQ(value("show operations", "slot.cardReadTemperature.number"), "18");
    EXPECT_EQ(value("show operations", "family.fdbInit.state"), "null");
    EXPECT_EQ(value("show operations table fanDb", "operations.count"), "1");
}

}  // namespace
}  // namespace pcsim::probe
