// What calls by hand answer, and what there is to call.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "console/error.h"
#include "console/text.h"
#include "probe/interface/names.h"
#include "probe/values/forms.h"
#include "probe/values/handles.h"
#include "probe/values/inputs.h"
#include "probe/values/write.h"
#include "probe/verbs/caller.h"

namespace pcsim::probe {

namespace {

constexpr size_t kDumpLines = 1000;

// Keys and titles of reports are literals; those that the interface's description makes are as
// many as it has names.
const char* literal(const std::string& text) {
    static std::set<std::string> texts;
    return texts.insert(text).first->c_str();
}

Cell cellOf(const Value& value) {
    switch (value.form) {
        case Value::Form::kNumber:
            return {Cell(value.number), value.text};
        case Value::Form::kNull:
            return {Cell(), value.text.empty() ? "null" : value.text};
        default:
            return value.text;
    }
}

// A value and all that is in it, each under its path.
void flatten(const Value& value, const std::string& path, std::vector<pcsim::Field>& fields) {
    if (value.form == Value::Form::kRecord) {
        for (const Member& member : value.members)
            flatten(member.value, path.empty() ? member.name : path + "." + member.name, fields);
    } else if (value.form == Value::Form::kList) {
        for (size_t i = 0; i < value.members.size(); ++i)
            flatten(value.members[i].value, fmt::format("{}[{}]", path, i), fields);
    } else {
        fields.push_back({literal(path), literal(path), cellOf(value)});
    }
}

Table dumpOf(const std::string& text) {
    Table table{"dump", "Dump", {{"line", "Line", Align::kRight}, {"text", "Text"}}, {}, "", ""};
    size_t lines = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        if (++lines <= kDumpLines)
            table.rows.push_back({lines, printable(text.substr(start, end - start))});
        start = end + 1;
    }
    if (lines > kDumpLines) table.footer = fmt::format("{} more lines", lines - kDumpLines);
    return table;
}

std::string typeText(const Type& type) {
    std::string text = (type.isConst ? "const " : "") + std::string(type.name);
    for (size_t at = 0; (at = text.find(" *", at)) != text.npos;) text.erase(at, 1);
    return text;
}

// What a input takes, for people.
std::string takes(const Input& input) {
    const std::string orNull = input.orNull ? ", or null" : "";
    if (input.meaning == Meaning::kVlanInstance) return "a number of 32 bits, or vlan:ID";
    if (input.meaning == Meaning::kFlag) return "on, off, or a number";
    if (!input.isPointer)
        return isWhole(*input.type, input.meaning) ? wholeForm(*input.type, input.meaning)
                                                   : expectedForm(input.meaning, *input.type);
    const Type& target = *input.type->target;
    if (target.kind == Kind::kFunction) return "pcsim's own" + orNull;
    if (target.owner == Owner::kHost) return "a record of the host's" + orNull;
    if (target.kind == Kind::kRecord && !isNamed(target)) return "a kept record" + orNull;
    if (isNamed(target) && target.kind != Kind::kVoid) return "a kept " + kindOf(target) + orNull;
    return "null";
}

bool isOutput(const Parameter& parameter) {
    return parameter.type->kind == Kind::kPointer && parameter.semantics.out;
}

std::string signatureOf(const TableWord& word) {
    std::string text;
    for (const Parameter& parameter : word.function->parameters)
        text += (text.empty() ? "" : ", ") + typeText(*parameter.type) + " " +
                std::string(parameter.name);
    if (word.function->stub) text = "...";
    return typeText(*word.function->result) + " (" + (text.empty() ? "void" : text) + ")";
}

std::string inText(const TableWord& word) {
    std::vector<std::string> numbers;
    for (const OperationTable& table : word.in) numbers.push_back(table.number);
    return listed(numbers);
}

Cell nameOf(const TableWord& word) {
    return word.operation.empty() ? Cell() : Cell(word.operation);
}

bool isOffered(const TableWord& word) {
    return std::ranges::any_of(word.code, [](const void* code) { return code != nullptr; });
}

}  // namespace

Report reportOf(const TableWord& word, const std::string& number, std::vector<Member> results,
                const std::string& dump) {
    Fields call{"call", "Call of " + word.name(), {}};
    call.fields.push_back({"operation", "operation", nameOf(word)});
    if (!number.empty()) call.fields.push_back({"in", "in", number});
    std::vector<Fields> records;
    for (const Member& member : results) {
        if (member.value.form != Value::Form::kRecord) {
            flatten(member.value, member.name, call.fields);
            continue;
        }
        if (member.name == "result") call.fields.push_back({"result", "result", "record"});
        const char* const name = literal(member.name == "result" ? "record" : member.name);
        Fields record{name, name, {}};
        flatten(member.value, "", record.fields);
        records.push_back(std::move(record));
    }
    Report report(std::move(call));
    for (Fields& record : records) report.add(std::move(record));
    if (!dump.empty()) report.add(dumpOf(dump));
    return report;
}

Report Caller::about(const std::string& operation) const {
    const TableWord word = wordNamed(callables_, operation);
    const Function& function = *word.function;
    Fields about{"operation",
                 "Operation " + word.name(),
                 {{"name", "name", nameOf(word)},
                  {"table", "table", std::string(word.table)},
                  {"word", "word", word.number},
                  {"type", "type", std::string(function.name)},
                  {"signature", "signature", signatureOf(word)},
                  {"state", "state", isOffered(word) ? "there" : "null"}}};
    if (!word.in[0].number.empty()) about.fields.push_back({"in", "in", inText(word)});
    Table values{"values", "Values", {{"name", "Name"}, {"type", "Type"}, {"takes", "Takes"}},
                 {},       "none",   ""};
    for (const Input& input : inputsOf(function))
        values.rows.push_back({input.path(), typeText(*input.type), takes(input)});
    Table outputs{"outputs", "Outputs", {{"name", "Name"}, {"type", "Type"}}, {}, "none", ""};
    for (const Parameter& parameter : function.parameters)
        if (isOutput(parameter))
            outputs.rows.push_back(
                {std::string(parameter.name), typeText(*parameter.type->target)});
    return Report(std::move(about)).add(std::move(values)).add(std::move(outputs));
}

Report Caller::operations(const std::string& table) const {
    Table operations{"operations",
                     "Operations of the platform's tables",
                     {{"word", "Word"},
                      {"number", "Number", Align::kRight},
                      {"operation", "Operation"},
                      {"state", "State"}},
                     {},
                     "none",
                     ""};
    std::vector<std::string> tables;
    for (const TableWord& word : wordsOf(callables_)) {
        if (tables.empty() || tables.back() != word.table) tables.emplace_back(word.table);
        if (!table.empty() && word.table != table) continue;
        operations.rows.push_back(
            {word.name(), word.number, nameOf(word), isOffered(word) ? "there" : "null"});
    }
    if (!table.empty() && operations.rows.empty())
        fail("there is no table '{}'; expected one of {}", shown(table), listed(tables));
    return operations;
}

Report Caller::handles() const {
    Table table{"handles",
                "What calls have handed out",
                {{"name", "Name"}, {"kind", "Kind"}, {"from", "From"}, {"state", "State"}},
                {},
                "nothing",
                ""};
    for (const Kept::Thing& thing : kept_.all())
        table.rows.push_back({thing.name, kindOf(*thing.type), thing.from,
                              thing.ended.empty() ? "there" : "ended by " + thing.ended});
    return table;
}

}  // namespace pcsim::probe
