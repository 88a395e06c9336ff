// Regular expressions of the usual form, found in time that grows with the text and the pattern
// alone: a pattern of a script can neither exhaust the stack nor keep everything else from running.
//
//     a  .  [abc]  [^a-z]  \d \w \s \D \W \S  \.  ^  $  \b  (..)  a|b  a*  a+  a?  a{2}  a{2,}
//     a{2,5}
//
// A text is UTF-8; lists in brackets are of ASCII characters. There are no references to what a
// group has found.
#ifndef PCSIM_CONSOLE_REGEX_H
#define PCSIM_CONSOLE_REGEX_H

#include <bitset>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace pcsim {

class Regex {
public:
    // Throws a CommandError that says what is wrong with the pattern.
    explicit Regex(const std::string& pattern);

    // Whether it is anywhere in 'text'.
    bool isIn(std::string_view text) const;

    using Set = std::bitset<256>;
    // What it is compiled to: each steps on to the next instruction, or elsewhere.
    struct Instruction {
        enum class Kind { kByte, kFork, kJump, kBegin, kEnd, kBoundary, kFound };
        Kind kind;
        uint32_t target = 0;  // of a jump, and the other way of a fork
        Set set{};            // bytes that fit
    };

private:
    std::vector<Instruction> program_;
};

}  // namespace pcsim

#endif
