// Finding words of tables.
#include "probe/verbs/operations.h"

#include <algorithm>

#include "console/error.h"
#include "console/text.h"
#include "probe/boundary/boundary.h"
#include "probe/interface/names.h"
#include "probe/values/forms.h"

namespace pcsim::probe {

namespace {

const Function* functionBehind(const Field* field) {
    if (field == nullptr || field->type->kind != Kind::kPointer) return nullptr;
    const Type& target = *field->type->target;
    return target.kind == Kind::kFunction ? target.function : nullptr;
}

void addWords(std::vector<TableWord>& words, const OperationTable& table) {
    for (uint32_t i = 0; i < table.wordCount; ++i) {
        const Field* const field = wordAt(*table.record, i * sizeof(Word));
        const Function* const function = functionBehind(field);
        if (function == nullptr) continue;
        const auto same = std::ranges::find_if(words, [&](const TableWord& word) {
            return word.word == field && word.table == table.name;
        });
        TableWord& word = same != words.end()
                              ? *same
                              : words.emplace_back(TableWord{
                                    table.name, field, function, table.firstWord + i, "", {}});
        word.in.push_back(table);
        word.code.push_back(table.words[i]);
        const Site* const site = Boundary::instance().siteOf(table.words[i]);
        if (site != nullptr) word.operation = site->name;
    }
}

bool goesBy(const std::string& name, const TableWord& word) {
    // The databases of fans and of power supplies are one record: the short name tells them apart.
    const size_t point = name.rfind('.');
    const std::string_view table = std::string_view(name).substr(0, point);
    if (point != std::string::npos && table != word.table && table != word.in[0].record->name)
        return false;
    const std::string_view own =
        point == std::string::npos ? name : std::string_view(name).substr(point + 1);
    return own == word.word->name || (!word.operation.empty() && own == word.operation);
}

}  // namespace

std::vector<TableWord> wordsOf(const Callables& callables) {
    std::vector<TableWord> words;
    for (const OperationTable& table : callables.tables()) addWords(words, table);
    return words;
}

TableWord wordNamed(const Callables& callables, const std::string& name) {
    std::vector<TableWord> found = wordsOf(callables);
    std::erase_if(found, [&](const TableWord& word) { return !goesBy(name, word); });
    if (found.size() == 1) return found[0];
    std::vector<std::string> names;
    for (const TableWord& word : found) names.push_back(word.name());
    if (!found.empty())
        fail("'{}' is more than one operation; expected one of {}", shown(name), listed(names));
    if (isWild(name) || calleesNamed(name).empty()) fail("{}", unknownOperation(name));
    fail("{} is in no table of this platform; expected an operation that 'show operations' lists",
         shown(name));
}

const void* codeOf(const TableWord& word, const std::string& number) {
    std::vector<std::string> numbers;
    for (size_t i = 0; i < word.in.size(); ++i) {
        numbers.push_back(word.in[i].number);
        if (word.in[i].number != number) continue;
        if (word.code[i] == nullptr)
            fail(
                "{} is null: this platform doesn't offer it; 'show operations' tells which there "
                "are",
                word.name());
        return word.code[i];
    }
    if (numbers[0].empty())
        fail("there is one {} table; expected no 'in {}'", word.table, shown(number));
    fail("there is no {} table {}; expected one of {}", word.table, shown(number), listed(numbers));
}

}  // namespace pcsim::probe
