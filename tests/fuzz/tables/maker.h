// Arguments for any operation, made by what its description says: hostile numbers, and records of
// exactly the size that the operation may look at.
#ifndef PCSIM_TESTS_FUZZ_TABLES_MAKER_H
#define PCSIM_TESTS_FUZZ_TABLES_MAKER_H

#include <vector>

#include "probe/interface/model.h"
#include "tests/fuzz/support/input.h"

namespace pcsim::fuzz {

class Maker {
public:
    explicit Maker(Input& input) : input_(input) {}
    ~Maker();
    Maker(const Maker&) = delete;
    Maker& operator=(const Maker&) = delete;

    // One word for each parameter.
    std::vector<uint32_t> arguments(const probe::Function& function);

private:
    uint32_t number(probe::Meaning meaning);
    uint32_t value(const probe::Type& type, const probe::Semantics& semantics, uint32_t count);
    uint32_t pointer(const probe::Type& type, const probe::Semantics& semantics, uint32_t count);
    uint8_t* record(const probe::Type& type, const probe::Semantics& semantics, uint32_t count);
    uint32_t chain(const probe::Semantics& semantics, uint32_t count);
    void fillRecord(const probe::Record& record, uint8_t* at, uint32_t length, uint32_t tail);
    void fill(const probe::Type& type, const probe::Semantics& semantics, uint8_t* at,
              uint32_t count);
    uint8_t* block(size_t size);
    uint8_t* text();

    Input& input_;
    std::vector<void*> blocks_;
    uint32_t depth_ = 0;
};

// Handles that the library has made, one place for each kind of question after them; null at first.
void forgetHandles();

}  // namespace pcsim::fuzz

#endif
