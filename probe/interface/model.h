// The interface as data: what include/ declares, with names, for everybody who meets it at run
// time: trace, fault rules, recording and replay, the console's names.
//
// The data is generated from the headers by tools/describe-interface; nothing of it is written by
// hand, and a test holds it to be current. Everything is constant, lives as long as the program,
// and can be compared by address: one Type, Record, Function per type, record and function type.
#ifndef PCSIM_PROBE_INTERFACE_MODEL_H
#define PCSIM_PROBE_INTERFACE_MODEL_H

#include <cstdint>
#include <span>
#include <string_view>

namespace pcsim::probe {

// What a parameter takes of a call, and a pointer of a record.
using Word = uintptr_t;

struct Function;
struct Record;
struct Type;

enum class Kind : uint8_t {
    kVoid,      // nothing, or behind a pointer: bytes
    kSigned,    // integers, by their size
    kUnsigned,  //
    kPointer,   // to 'target'
    kArray,     // 'count' times 'target'; 0: as many as fit, the last field of its record
    kRecord,    // structs and unions, in memory or embedded
    kFunction,  // behind a pointer alone
};

// What a number or some bytes stand for.
enum class Meaning : uint8_t {
    kNone,
    kPort,           // port instance: type, slot and port
    kPortKey,        // slot << 16 | port
    kSlot,           // slot number
    kVlan,           // VLAN id
    kVlanInstance,   // VLAN instance number
    kVirtualRouter,  // virtual router
    kIpv4,           // IPv4 address in network byte order
    kIpv6,           // 16 bytes of an IPv6 address
    kMask,           // IPv4 mask in network byte order
    kMac,            // 6 bytes of a MAC address
    kText,           // characters up to a NUL, or the end of their array
    kFlag,           // zero or not
    kHex,            // bits: told in hexadecimal
    kAddress,        // HalIpAddress of the family that 'countedBy' says
    kFormat,         // a printf format
    kArguments,      // the arguments of the format before it: where they lie
};

// Which type is behind a void pointer when the parameter that selects it has a value.
struct Case {
    uint32_t value;
    const Type* type;
};

// Where there is no parameter or field of that kind.
constexpr uint16_t kNoIndex = 0xFFFF;

// Says what C's types don't. The tags are those of base.h.
struct Semantics {
    Meaning meaning = Meaning::kNone;
    // The parameter or field of the same function or record that says how many elements (bytes of
    // void) lie behind this pointer or are in this array; null when the type says it. Shifted right
    // by 'countShift' first.
    const char* countedBy = nullptr;
    uint16_t countIndex = kNoIndex;  // its place among the function's parameters, the record's
                                     // fields
    uint8_t countShift = 0;
    uint32_t elements = 0;            // a number that the declaration states, else 0
    uint32_t atMost = 0;              // a larger count is none; 0: no such limit
    const char* chainedBy = nullptr;  // records of their own length, one after the other: the field
                                      // of the element that has it, in bytes after 'chainShift'
    uint8_t chainShift = 0;
    uint16_t selectIndex = kNoIndex;  // the parameter that 'cases' are about
    std::span<const Case> cases{};    // what is behind this void pointer
    uint32_t upToBytes = 0;           // so much of the record behind is looked at; 0: all of it
    int32_t tail = -1;                // elements of the array at the end of the record behind that
                                      // are looked at, whatever their count says; -1: as it says
    bool byAddress = false;           // handed on without a look at what is behind it
    bool resultBytes = false;         // the result says how many bytes are written
    bool in = false;                  // read also where its record is an output
    bool out = false;                 // written by the callee, what was there before is not read
    bool ignored = false;             // neither read nor written
    bool taken = false;               // from malloc, passes to the callee with the call
    bool given = false;               // from malloc, passes to the caller
    bool fresh = false;               // what is handed out is none of those handed out before
    bool kept = false;                // who gets the pointer keeps it after the call
    bool varies = false;              // may rightly differ from run to run: times, random choices
    bool recordSize = false;          // this field is the size of its whole record, in bytes
    bool carried = false;             // reserved bytes that are copied along
    bool orNull = false;              // the callee takes a null pointer, too
};

// Who makes and frees the things of a type, and knows each by its address.
enum class Owner : uint8_t {
    kNobody,    // a record on its way, known by what is in it
    kPlatform,  // the library
    kHost,      // the HAL
};

struct Type {
    Kind kind;
    bool isConst;        // of a pointer: its target is only read
    uint32_t size;       // in bytes; 0 where it is not known or has none
    uint32_t count;      // of an array
    const Type* target;  // of a pointer or an array
    const Record* record;
    const Function* function;
    std::string_view name;  // as the headers spell it: "uint32_t", "HalPif"
    Meaning meaning;        // of everything of this type
    Owner owner;            // of a typedef or record: who makes and frees what is of this type
};

struct Field {
    std::string_view name;
    const Type* type;
    uint32_t offset;
    Semantics semantics;
};

struct Record {
    std::string_view name;
    uint32_t size;  // 0: never looked into
    Owner owner;
    bool reaches;                   // has pointers to data, also in records inside
    std::span<const Field> fields;  // in the order of declaration, reserved ones too

    const Field* field(std::string_view wanted) const;
};

struct Parameter {
    std::string_view name;
    const Type* type;
    Semantics semantics;
};

// A function type, under the name of its typedef; of a host function, under the function's own.
struct Function {
    std::string_view name;
    const Type* result;
    Semantics resultSemantics;
    std::span<const Parameter> parameters;  // each takes one word
    bool variadic;                          // more words follow
    bool stub;                              // accepted and ignored, with whatever arguments
};

enum class Side : uint8_t {
    kPlatform,  // exported by the library, called by the HAL
    kHost,      // provided by the HAL, called by the library
    kSystem,    // of the C library, called by the library
};

// A function that has a name of its own at the boundary.
struct Operation {
    std::string_view name;
    const Function* function;
    Side side;
    std::string_view header;  // the file of its area: "l3"
};

struct Variable {
    std::string_view name;
    const Type* type;
    Side side;
};

// All of it, sorted by name.
std::span<const Operation> operations();
std::span<const Record> records();
std::span<const Function> functions();
std::span<const Variable> variables();

// Null when there is none of that name.
const Operation* operationNamed(std::string_view name);
const Record* recordNamed(std::string_view name);
const Function* functionNamed(std::string_view name);

// Whether the function of that name is one of the ordered tree's, which a HAL brings and the
// library calls at every step: looked at only where somebody asks for it.
bool isOfTree(std::string_view name);

// What a parameter, field or result of 'type' stands for: what is said of it, else of its type.
Meaning meaningOf(const Semantics& semantics, const Type& type);

// A word of an operation table: the field of 'record' that holds a function, by its byte offset,
// also when it lies in a record inside. Null where there is none.
const Field* wordAt(const Record& record, uint32_t offset);

}  // namespace pcsim::probe

#endif
