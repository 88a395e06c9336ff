// How the memory of a call is made: parameters, what is behind pointers (arguments.cpp), and the
// records there (made_records.cpp).
#ifndef PCSIM_PROBE_VALUES_MAKER_H
#define PCSIM_PROBE_VALUES_MAKER_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "probe/values/arguments.h"

namespace pcsim::probe {

// One making: walks parameters and records as the interface describes them, and looks for each
// value whether something is written for its path.
class Arguments::Maker {
public:
    Maker(Arguments& into, std::string_view operation, const Function& function,
          const std::vector<Written>& written, const Supplies& supplies);

    void make();

private:
    struct Given {
        std::string name, value;
        bool used = false;
    };
    struct Room {  // behind a pointer
        uint32_t elements, bytes;
        const Field* tail;
        uint32_t tailElements;
    };

    Given* given(const std::string& path);
    int64_t numberOr(const std::string& path, const Type& type, int64_t otherwise);
    uint32_t named(const std::string& path) const;
    uint32_t elementsOf(const std::string& list, const std::string& countPath, const Type* count,
                        const Semantics& semantics);
    char* allocate(uint32_t bytes, bool taken);
    char* allocateTaken(uint32_t bytes);
    static void putPointer(char* at, const void* pointer);

    void parameter(uint16_t place);
    void* pointer(const std::string& path, const Type& type, const Semantics& semantics,
                  const std::string& countPath, const Type* count, int depth, Made& made);
    void* instead(const std::string& path, const Type& type, const Semantics& semantics);
    void* cell(const std::string& path, const Type& inner, Made& made);
    void* behind(const std::string& path, const Type& target, const Semantics& semantics,
                 uint32_t elements, int depth, Made& made);
    void elements(const std::string& path, const Type& target, const Semantics& semantics, char* at,
                  const Room& room, int depth);
    Room roomFor(const std::string& path, const Type& target, const Semantics& semantics,
                 uint32_t elements, bool isMany);
    void record(const std::string& path, const Record& record, char* at, const Room* room,
                std::string_view chainedBy, bool isOutput, int depth);
    void field(const std::string& path, const Record& record, const Field& field, char* at,
               const Room* room, int depth);
    void fieldPointer(const std::string& path, const Record& record, const Field& field, char* at,
                      int depth);
    void fieldArray(const std::string& path, const Field& field, char* at, uint32_t count,
                    int depth);
    bool joined(const std::string& path, const Record& record, const Field& field, char* at);
    void value(const std::string& path, const Type& type, Meaning meaning, char* at);
    void checkUsed() const;

    Arguments& into_;
    const std::string_view operation_;
    const Function& function_;
    const Supplies& supplies_;
    std::map<std::string, Given> given_;
};

}  // namespace pcsim::probe

#endif
