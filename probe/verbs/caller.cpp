// Calling operations.
#include "probe/verbs/caller.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "console/error.h"
#include "console/text.h"
#include "probe/boundary/stub.h"
#include "probe/values/blocks.h"

namespace pcsim::probe {

std::string* dumped = nullptr;

int collectDump(uint32_t, const char* format, ...) {
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    const int size = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    if (dumped != nullptr)
        dumped->append(line, std::min<size_t>(std::max(size, 0), sizeof line - 1));
    return size;
}

namespace {

// A dump goes here while its call runs. Calls don't nest.
struct Dumping {
    std::string text{};
    Dumping() { dumped = &text; }
    ~Dumping() { dumped = nullptr; }
    Dumping(const Dumping&) = delete;
    Dumping& operator=(const Dumping&) = delete;
};

// Whether a call hands out anything to keep.
bool handsOut(const Function& function) {
    const auto isKept = [](const Parameter& parameter) {
        if (parameter.type->kind != Kind::kPointer || parameter.type->isConst) return false;
        const Kind kind = parameter.type->target->kind;
        return kind == Kind::kRecord || (kind == Kind::kPointer && parameter.semantics.out);
    };
    return function.result->kind == Kind::kPointer ||
           std::ranges::any_of(function.parameters, isKept);
}

bool isName(const std::string& name) {
    const auto fits = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-';
    };
    return !name.empty() && std::isalpha(static_cast<unsigned char>(name[0])) != 0 &&
           std::ranges::all_of(name, fits) && name != "null";
}

void* pointerIn(const char* cell) {
    void* pointer = nullptr;
    std::memcpy(&pointer, cell, sizeof pointer);
    return pointer;
}

}  // namespace

class Caller::Supply final : public Supplies {
public:
    explicit Supply(const Caller& caller) : caller_(caller) {}

    const void* record(const Record& record, const std::string& word) const override {
        return caller_.callables_.record(record, word);
    }
    void* kept(const Type& type, const std::string& word) const override {
        return caller_.kept_.find(type, word);
    }
    void* callback(const Function& type) const override {
        if (type.name == "HalDumpPrintFn") return reinterpret_cast<void*>(&collectDump);
        return caller_.callables_.callback(type);
    }
    bool number(Meaning meaning, const std::string& word, int64_t& value) const override {
        return caller_.callables_.number(meaning, word, value);
    }

private:
    const Caller& caller_;
};

Caller::Said Caller::parse(const std::string& operation, const Words& words) {
    Said said;
    for (size_t i = 0; i < words.size(); i += 2) {
        if (i + 1 == words.size())
            failUsage(
                "'{}' has no value; expected NAME VALUE, and 'show operation {}' for the names",
                shown(words[i]), shown(operation));
        std::string* const own = words[i] == "in"   ? &said.in
                                 : words[i] == "as" ? &said.as
                                                    : nullptr;
        if (own == nullptr)
            said.values.push_back({words[i], words[i + 1]});
        else if (!own->empty())
            failUsage("'{}' is given twice; expected it once", words[i]);
        else
            *own = words[i + 1];
    }
    return said;
}

void Caller::checkName(const TableWord& word, const std::string& name) const {
    if (!isName(name))
        failUsage("'{}' is no name to keep something under; expected letters, digits, _ and -",
                  shown(name));
    if (!handsOut(*word.function))
        fail("{} hands out nothing that can be kept; expected a call without 'as'", word.name());
}

// Which of several tables: the one that is said, else that of the first slot or port of the call.
std::string Caller::numberFor(const TableWord& word, const Said& said,
                              const Arguments& arguments) const {
    if (!said.in.empty() || word.in[0].number.empty()) return said.in;
    const auto& parameters = word.function->parameters;
    for (size_t i = 0; i < parameters.size(); ++i) {
        const Meaning meaning = meaningOf(parameters[i].semantics, *parameters[i].type);
        const Word value = arguments.words()[i];
        const uint32_t slot = meaning == Meaning::kPort ? value >> 16 & 0xFF : value;
        if (meaning != Meaning::kPort && meaning != Meaning::kSlot) continue;
        const std::string number = std::to_string(slot);
        for (const OperationTable& table : word.in)
            if (table.number == number) return number;
    }
    return callables_.usualNumber();
}

void Caller::keep(const TableWord& word, const std::vector<std::string>& names, const Type& type,
                  void* address) {
    if (address == nullptr) return;
    kept_.keep(handles_.name(type, reinterpret_cast<uintptr_t>(address)), type, address,
               word.name());
    for (const std::string& name : names) kept_.keep(name, type, address, word.name());
}

// Keeps what the call has handed out: pointers of the library's always, copies of records when a
// name was said for them.
void Caller::keepAll(const TableWord& word, const Said& said, const Arguments& arguments,
                     uint64_t result) {
    std::vector<const Made*> outputs;
    for (const Made& made : arguments.made()) {
        if (made.isCell && !made.isOutput && made.before != nullptr &&
            pointerIn(made.at) != made.before)
            kept_.end(made.before, word.name());
        const bool isRecord = made.type->kind == Kind::kRecord;
        if (made.isOutput && (made.isCell || isRecord)) outputs.push_back(&made);
    }
    kept_.endWith(word.word->name, word.name());
    const Type& type = *word.function->result;
    const bool isAlone = outputs.size() == 1 && type.kind != Kind::kPointer;
    for (const Made* made : outputs) {
        std::vector<std::string> names;
        if (!said.as.empty())
            names.push_back(isAlone ? said.as : said.as + "." + std::string(made->parameter));
        if (made->isCell) {
            keep(word, names, *made->type->target, pointerIn(made->at));
        } else if (!names.empty()) {
            Kept::Block copy(std::malloc(made->bytes), &std::free);
            if (copy == nullptr) throw std::bad_alloc();
            std::memcpy(copy.get(), made->at, made->bytes);
            kept_.keepRecord(names[0], *made->type, std::move(copy), word.name());
        }
    }
    if (type.kind != Kind::kPointer || result == 0) return;
    auto* const address = reinterpret_cast<void*>(static_cast<uintptr_t>(result));
    if (!word.function->resultSemantics.given) {
        keep(word, said.as.empty() ? Words{} : Words{said.as}, *type.target, address);
        return;
    }
    Kept::Block own(address, &std::free);  // the caller's from now on
    if (!said.as.empty()) kept_.keepRecord(said.as, *type.target, std::move(own), word.name());
}

Report Caller::call(const std::string& operation, const Words& words) {
    const Said said = parse(operation, words);
    const TableWord word = wordNamed(callables_, operation);
    if (!said.as.empty()) checkName(word, said.as);
    Arguments arguments(word.name(), *word.function, said.values, Supply(*this));
    const std::string number = numberFor(word, said, arguments);
    const void* const code = codeOf(word, number);
    const Dumping dump;
    arguments.handedOver();
    const uint64_t result =
        pcsimProbeInvoke(const_cast<void*>(code), arguments.words(), arguments.count(), nullptr);
    const CallWords call{*word.function, arguments.words(), arguments.count(), result};
    // Things that are new get their names here, and are kept under them.
    std::vector<Member> results = resultsOf(call, liveMemory(), handles_, Told::kAll);
    keepAll(word, said, arguments, result);
    callables_.called(word.table, word.word->name, arguments.words());
    return reportOf(word, number, std::move(results), dump.text);
}

}  // namespace pcsim::probe
