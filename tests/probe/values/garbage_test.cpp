// Calls whose memory holds anything: whoever looks at them must not be what stops the process.
#include <cstring>
#include <random>

#include "console/error.h"
#include "probe/values/path.h"
#include "probe/values/text.h"
#include "tests/probe/values/calls.h"
#include "tests/support/seed.h"

namespace pcsim::probe {
namespace {

// More than the longest block that is looked at.
constexpr size_t kBytes = 3 * 1024 * 1024;

// Looks at every operation, called with pointers into 'memory' wherever it takes one.
void lookAtAll(std::vector<uint8_t>& memory, std::mt19937& random) {
    Handles handles;
    for (const Operation& operation : operations()) {
        const Function& function = *operation.function;
        std::vector<uint32_t> words;
        for (const Parameter& parameter : function.parameters) {
            const bool isPointer = parameter.type->kind == Kind::kPointer;
            words.push_back(isPointer ? word(memory.data() + random() % 4096 * 4) : random());
        }
        for (int i = 0; function.variadic && i < 8; ++i) words.push_back(random());
        const CallWords call{function, words.data(), static_cast<uint32_t>(words.size()),
                             word(memory.data() + random() % 4096 * 4)};
        argumentsText(call, liveMemory(), handles);
        jsonOf(argumentsOf(call, liveMemory(), handles));
        // The library itself follows what the HAL has handed out.
        if (operation.side != Side::kHost) {
            resultText(call, liveMemory(), handles);
            jsonOf(resultsOf(call, liveMemory(), handles));
        }
        Mentions(function).slot(call, liveMemory(), 77);
        for (const std::string& name : testableNames(function)) {
            try {
                ValueTest(operation.name, function, name, "77").holds(call, liveMemory());
            } catch (const CommandError&) {  // the value has another form
            }
        }
    }
}

TEST(Garbage, OfOneKindOfByteIsLookedAt) {
    std::mt19937 random(1);
    for (const int byte : {0x00, 0xFF, 0x25, 0x80}) {
        std::vector<uint8_t> memory(kBytes, static_cast<uint8_t>(byte));
        memory.back() = 0;  // whoever looks for the end of a text finds one
        lookAtAll(memory, random);
    }
}

TEST(Garbage, OfAllKindsIsLookedAt) {
    std::mt19937 random(test::modelSeed());
    std::vector<uint8_t> memory(kBytes);
    for (uint8_t& byte : memory) {
        byte = static_cast<uint8_t>(random() >> 8);
#ifdef __SANITIZE_ADDRESS__
        // Its own memory lies from 0x20000000 to 0x3FFFFFFF, and what it keeps free around
        // variables and blocks in the program and at the top: there to be read, but not by the code
        // that it watches.
        if ((byte >= 0x20 && byte < 0x60) || byte >= 0xF0) byte = 0x80 | (byte & 0x0F);
#endif
    }
    lookAtAll(memory, random);
}

}  // namespace
}  // namespace pcsim::probe
