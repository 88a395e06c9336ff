// Operation tables as words: what each word of a table has to hold, by the operation's name. And
// numbers of bytes that hang on the size of a word.
#ifndef PCSIM_TESTS_SUPPORT_WORDS_H
#define PCSIM_TESTS_SUPPORT_WORDS_H

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>

namespace pcsim::test {

using Words = std::map<uint32_t, const char*>;

// The one of two numbers that holds for the words of this machine.
constexpr size_t byWordSize(size_t bits32, size_t bits64) {
    return sizeof(void*) == 4 ? bits32 : bits64;
}

// Compares words 'first' to 'last' of a table, of which the first is at 'at': a word that is listed
// holds the address of the exported operation, any other is null.
inline void expectWords(const void* at, uint32_t first, uint32_t last, const Words& words) {
    for (uint32_t word = first; word <= last; ++word) {
        void* held;
        std::memcpy(&held, static_cast<const uint8_t*>(at) + (word - first) * sizeof held,
                    sizeof held);
        const auto found = words.find(word);
        if (found == words.end()) {
            EXPECT_EQ(held, nullptr) << "word " << word;
            continue;
        }
        void* const operation = dlsym(RTLD_DEFAULT, found->second);
        ASSERT_NE(operation, nullptr) << found->second << " is not exported";
        EXPECT_EQ(held, operation) << "word " << word << " is not " << found->second;
    }
    if (!words.empty()) {
        EXPECT_GE(words.begin()->first, first);
        EXPECT_LE(words.rbegin()->first, last);
    }
}

}  // namespace pcsim::test

#endif
