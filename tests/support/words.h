// Operation tables as words: what each word of a table has to hold, by the operation's name.
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

// Compares words 'first' to 'last' of 'table' (word n lies n words behind 'table'): a word that is
// listed holds the address of the exported operation, any other is null.
inline void expectWords(const void* table, uint32_t first, uint32_t last, const Words& words) {
    for (uint32_t word = first; word <= last; ++word) {
        void* held;
        std::memcpy(&held, static_cast<const uint8_t*>(table) + word * sizeof held, sizeof held);
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
