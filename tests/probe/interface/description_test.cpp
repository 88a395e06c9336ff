// The description of the interface against the headers, and whether it says enough for whoever
// looks at a call: how much lies behind each pointer, and where the words of the tables are.
#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <string>

#include "pcsim/layout.h"
#include "probe/interface/model.h"

namespace pcsim::probe {
namespace {

// The field that a path such as "ops.cardInit" ends in, and where it lies in the record.
const Field* fieldAt(const Record* record, std::string_view path, uint32_t& offset) {
    const size_t point = path.find('.');
    const Field* const field = record->field(path.substr(0, point));
    if (field == nullptr) return nullptr;
    offset += field->offset;
    return point == path.npos ? field
                              : fieldAt(field->type->record, path.substr(point + 1), offset);
}

struct Row {
    const char* record;
    const char* path;
    uint32_t number;
};

#define PCSIM_LAYOUT_SIZE(record, bytes) {#record, nullptr, bytes},
#define PCSIM_LAYOUT_FIELD(record, field, offset)
#define PCSIM_LAYOUT_WORD(record, field, word)
constexpr Row kSizes[] = {
#include "pcsim/layout_rows.h"
};
#undef PCSIM_LAYOUT_SIZE
#undef PCSIM_LAYOUT_FIELD
#undef PCSIM_LAYOUT_WORD
#define PCSIM_LAYOUT_SIZE(record, bytes)
#define PCSIM_LAYOUT_FIELD(record, field, offset) {#record, #field, offset},
#define PCSIM_LAYOUT_WORD(record, field, word) {#record, #field, 4 * (word)},
constexpr Row kFields[] = {
#include "pcsim/layout_rows.h"
};
#undef PCSIM_LAYOUT_SIZE
#undef PCSIM_LAYOUT_FIELD
#undef PCSIM_LAYOUT_WORD

TEST(Description, AgreesWithTheLayoutInEverySize) {
    for (const Row& row : kSizes) {
        const Record* const record = recordNamed(row.record);
        if (record == nullptr) {
            EXPECT_STREQ(row.record, "HalTreeRoot");  // a pointer under a name, no record
            continue;
        }
        EXPECT_EQ(record->size, row.number) << row.record;
    }
}

TEST(Description, AgreesWithTheLayoutInEveryField) {
    for (const Row& row : kFields) {
        const Record* const record = recordNamed(row.record);
        ASSERT_NE(record, nullptr) << row.record;
        uint32_t offset = 0;
        ASSERT_NE(fieldAt(record, row.path, offset), nullptr) << row.record << "." << row.path;
        EXPECT_EQ(offset, row.number) << row.record << "." << row.path;
    }
}

TEST(Description, FieldsOfARecordFollowEachOther) {
    for (const Record& record : records()) {
        if (record.name == "HalIpAddress") continue;  // its fields are two views of one
        uint32_t end = 0;
        for (const Field& field : record.fields) {
            EXPECT_GE(field.offset, end) << record.name << "." << field.name;
            end = field.offset + field.type->size;
        }
        EXPECT_LE(end, record.size) << record.name;
    }
}

// --- Whether enough is said of each pointer
// -------------------------------------------------------

bool isBounded(const Type& pointer, const Semantics& semantics) {
    const Type& behind = *pointer.target;
    if (behind.kind == Kind::kFunction || semantics.ignored || semantics.byAddress) return true;
    if (behind.kind == Kind::kRecord)  // of known size, or known by its address alone
        return behind.size != 0 || behind.owner != Owner::kNobody;
    if (behind.kind == Kind::kPointer) return isBounded(behind, {});
    if (semantics.meaning == Meaning::kText || semantics.meaning == Meaning::kFormat ||
        semantics.meaning == Meaning::kArguments)
        return true;
    if (!semantics.cases.empty() || semantics.countIndex != kNoIndex || semantics.elements != 0)
        return true;
    if (behind.kind == Kind::kVoid) return semantics.taken || semantics.given;
    // One number: an output, or the block that a hardware handle is.
    return behind.owner != Owner::kNobody || (semantics.out && behind.size > 1);
}

TEST(Description, SaysOfEachPointerHowMuchIsBehindIt) {
    for (const Function& function : functions()) {
        for (const Parameter& parameter : function.parameters) {
            if (parameter.type->kind == Kind::kPointer) {
                EXPECT_TRUE(isBounded(*parameter.type, parameter.semantics))
                    << function.name << " " << parameter.name;
            }
        }
        if (function.result->kind == Kind::kPointer) {
            EXPECT_TRUE(isBounded(*function.result, function.resultSemantics))
                << "result of " << function.name;
        }
    }
    for (const Record& record : records()) {
        for (const Field& field : record.fields) {
            const bool reserved =
                field.name.starts_with("reserved") || field.type->target == nullptr ||
                (record.name == "HalFamilyOps" && field.name == "word0") || field.name == "links";
            if (field.type->kind == Kind::kPointer && !reserved) {
                EXPECT_TRUE(isBounded(*field.type, field.semantics))
                    << record.name << "." << field.name;
            }
        }
    }
}

TEST(Description, SaysHowManyElementsAnArrayOfNoLengthHas) {
    for (const Record& record : records()) {
        for (const Field& field : record.fields) {
            if (field.type->kind != Kind::kArray || field.type->count != 0) continue;
            ASSERT_LT(field.semantics.countIndex, record.fields.size()) << record.name;
            EXPECT_EQ(record.fields[field.semantics.countIndex].name, field.semantics.countedBy);
            EXPECT_EQ(&field, &record.fields.back()) << record.name;
        }
    }
}

TEST(Description, OutputsAreWhatAFunctionCanWrite) {
    for (const Function& function : functions()) {
        for (const Parameter& parameter : function.parameters) {
            if (!parameter.semantics.out) continue;
            ASSERT_EQ(parameter.type->kind, Kind::kPointer) << function.name;
            EXPECT_FALSE(parameter.type->isConst) << function.name << " " << parameter.name;
        }
    }
}

// --- Samples of what the tags say
// -----------------------------------------------------------------

const Parameter& parameter(const char* operation, size_t place) {
    return operationNamed(operation)->function->parameters[place];
}

TEST(Description, KnowsWhatNumbersStandFor) {
    EXPECT_EQ(parameter("pcSimIsPortDisabled", 0).semantics.meaning, Meaning::kPort);
    EXPECT_EQ(parameter("pcSimCardInternalLinkEnable", 1).semantics.meaning, Meaning::kSlot);
    EXPECT_EQ(parameter("aclAttachInstance", 1).semantics.meaning, Meaning::kNone);
    EXPECT_EQ(parameter("pcSimIPv4FibFind", 2).semantics.meaning, Meaning::kMask);
    EXPECT_EQ(recordNamed("pcSimIpAdjRec")->field("mac")->semantics.meaning, Meaning::kMac);
    EXPECT_EQ(recordNamed("pcSimIpAdjRec")->field("ipAddr")->semantics.meaning, Meaning::kAddress);
    EXPECT_EQ(operationNamed("pcSimGetMySlotNum")->function->resultSemantics.meaning,
              Meaning::kSlot);
}

TEST(Description, KnowsWhoOwnsWhat) {
    EXPECT_EQ(recordNamed("HalPif")->owner, Owner::kHost);
    EXPECT_EQ(recordNamed("HalEmsDescriptor")->owner, Owner::kHost);
    EXPECT_EQ(recordNamed("HalMcastCacheNode")->owner, Owner::kPlatform);
    EXPECT_EQ(recordNamed("pcSimIPv4FibReq")->owner, Owner::kNobody);
    EXPECT_EQ(parameter("pcSimVpifCreate", 1).type->target->target->owner, Owner::kPlatform);
    EXPECT_TRUE(recordNamed("HalAclListRequest")->field("rules")->semantics.taken);
    EXPECT_TRUE(operationNamed("pcSimCardGetCapability")->function->resultSemantics.given);
}

TEST(Description, KnowsWhereNullIsTaken) {
    EXPECT_TRUE(parameter("pcSimPCFamFdbDeleteEntry", 0).semantics.orNull);
    EXPECT_TRUE(parameter("pcSimPCFamFdbFlush", 2).semantics.orNull);
    EXPECT_TRUE(parameter("pcSimIpAdjDump", 0).semantics.orNull);
    EXPECT_FALSE(parameter("pcSimIpAdjAdd", 0).semantics.orNull);
    EXPECT_FALSE(parameter("pcSimPCFamFdbMacLookup", 1).semantics.orNull);
}

TEST(Description, KnowsTheSidesOfTheBoundary) {
    EXPECT_EQ(operationNamed("platformSystemInit")->side, Side::kPlatform);
    EXPECT_EQ(operationNamed("halStartTimer")->side, Side::kHost);
    EXPECT_EQ(operationNamed("ioctl")->side, Side::kSystem);
}

TEST(Description, FindsTheWordsOfTables) {
    EXPECT_EQ(wordAt(*recordNamed("HalFamilyOps"), 4 * 25)->name, "fdbInit");
    EXPECT_EQ(wordAt(*recordNamed("HalCardSlotDb"), 4 * 266)->name, "cardPortNetloginAuthOptional");
    EXPECT_EQ(wordAt(*recordNamed("HalFamilyOps"), 0), nullptr);
    EXPECT_EQ(wordAt(*recordNamed("HalFamilyOps"), 4 * 332), nullptr);
    EXPECT_EQ(wordAt(*recordNamed("HalFamilyOps"), 4 * 25 + 1), nullptr);
}

}  // namespace
}  // namespace pcsim::probe
