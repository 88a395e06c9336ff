// Making the list of names.
#include "host/core/word_names.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <type_traits>
#include <utility>

#include "pcsim/layout.h"

namespace pcsim::host {

namespace {

template <typename Word>
constexpr bool kIsOperation = std::is_function_v<std::remove_pointer_t<std::decay_t<Word>>>;

#define PCSIM_LAYOUT_SIZE(record, bytes)
#define PCSIM_LAYOUT_FIELD(record, field, offset)
#define PCSIM_LAYOUT_WORD(record, field, word) \
    {#record, #field, word, kIsOperation<decltype(std::declval<record>().field)>},
constexpr WordName kRows[] = {
#include "pcsim/layout_rows.h"
};
#undef PCSIM_LAYOUT_WORD
#undef PCSIM_LAYOUT_FIELD
#undef PCSIM_LAYOUT_SIZE

// Operations that are a part of their record are named as its members: "ops.cardInit".
constexpr const char* memberOf(const char* path) {
    const char* name = path;
    for (const char* at = path; *at != '\0'; ++at)
        if (*at == '.') name = at + 1;
    return name;
}

constexpr auto namedByMember() {
    std::array<WordName, std::size(kRows)> words{};
    for (size_t i = 0; i < words.size(); ++i) {
        words[i] = kRows[i];
        words[i].name = memberOf(kRows[i].name);
    }
    return words;
}

constexpr auto kWords = namedByMember();

}  // namespace

const WordName* wordName(std::string_view record, size_t word) {
    const auto found = std::find_if(kWords.begin(), kWords.end(), [&](const WordName& row) {
        return row.word == word && row.record == record;
    });
    return found == kWords.end() ? nullptr : &*found;
}

}  // namespace pcsim::host
