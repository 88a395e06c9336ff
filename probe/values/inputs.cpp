// Listing what can be said of a call, and finding what a name means.
#include "probe/values/inputs.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "console/error.h"
#include "console/text.h"
#include "console/values.h"
#include "probe/interface/names.h"
#include "probe/values/forms.h"
#include "probe/values/handles.h"
#include "probe/values/path.h"

namespace pcsim::probe {

const Type kWordType{.kind = Kind::kUnsigned,
                     .isConst = false,
                     .size = 4,
                     .count = 0,
                     .target = nullptr,
                     .record = nullptr,
                     .function = nullptr,
                     .name = "uint32_t",
                     .meaning = Meaning::kNone,
                     .owner = Owner::kNobody};

namespace {

class Listing {
public:
    std::vector<Input> of(const Function& function);

private:
    void parameter(const Parameter& parameter);
    void pointer(const Type& type, const Semantics& semantics, bool isOutput, int depth);
    void behind(const Type& target, const Semantics& semantics, bool isOutput, int depth);
    void fields(const Record& record, bool isOutput, std::string_view chainedBy, int depth);
    void field(const Field& field, int depth);
    void add(const Type& type, Meaning meaning, bool isPointer = false, bool orNull = false);

    std::vector<Step> steps_;
    std::vector<Input> inputs_;
};

std::vector<Input> Listing::of(const Function& function) {
    for (const Parameter& one : function.parameters) {
        steps_.push_back({one.name});
        parameter(one);
        steps_.pop_back();
    }
    if (function.stub) {
        steps_.push_back({"arguments", true});
        add(kWordType, Meaning::kNone);
    }
    return std::move(inputs_);
}

void Listing::add(const Type& type, Meaning meaning, bool isPointer, bool orNull) {
    inputs_.push_back({steps_, &type, meaning, isPointer, orNull});
}

void Listing::parameter(const Parameter& parameter) {
    if (parameter.type->kind == Kind::kPointer)
        pointer(*parameter.type, parameter.semantics, parameter.semantics.out, 0);
    else
        add(*parameter.type, meaningOf(parameter.semantics, *parameter.type));
}

void Listing::pointer(const Type& type, const Semantics& semantics, bool isOutput, int depth) {
    const Type& target = *type.target;
    const bool isCell = target.kind == Kind::kPointer;
    const bool isNull = isNullTaken(semantics, target);
    if (semantics.cases.empty() && (!isOutput || semantics.orNull))
        add(isCell && !isOutput ? target : type, Meaning::kNone, true, isNull || isCell);
    if (target.kind == Kind::kFunction || semantics.ignored) return;
    for (const Case& one : semantics.cases) {
        const bool again = std::ranges::any_of(semantics.cases, [&](const Case& other) {
            return &other < &one && other.type == one.type;
        });
        if (!again) behind(*one.type, {}, isOutput, depth);
    }
    if (target.kind == Kind::kVoid || isNamed(target) || isCell) return;
    const bool isMany = isList(semantics, target);
    steps_.back().isList = isMany;
    behind(target, semantics, isOutput, depth);
    steps_.back().isList = false;
}

void Listing::behind(const Type& target, const Semantics& semantics, bool isOutput, int depth) {
    if (target.kind == Kind::kRecord)
        fields(*target.record, isOutput,
               semantics.chainedBy != nullptr ? semantics.chainedBy : std::string_view(), depth);
    else if (!isOutput)
        add(target, meaningOf(semantics, target));
}

void Listing::fields(const Record& record, bool isOutput, std::string_view chainedBy, int depth) {
    for (const Field& one : record.fields) {
        if (!isGiven(one, isOutput, chainedBy)) continue;
        steps_.push_back({one.name});
        field(one, depth);
        steps_.pop_back();
    }
}

void Listing::field(const Field& field, int depth) {
    const Type& type = *field.type;
    const Meaning meaning = meaningOf(field.semantics, type);
    const bool isInside = !isWhole(type, meaning);
    if (isInside && type.kind == Kind::kArray) {
        steps_.back().isList = true;
        if (type.target->kind == Kind::kRecord)
            fields(*type.target->record, false, {}, depth);
        else if (type.target->kind != Kind::kArray)
            add(*type.target, meaningOf(field.semantics, *type.target));
    } else if (isInside && type.kind == Kind::kRecord) {
        fields(*type.record, false, {}, depth);
    } else if (type.kind == Kind::kPointer) {
        if (type.target->kind != Kind::kFunction && depth + 1 < kDeepestMade)
            pointer(type, field.semantics, false, depth + 1);
    } else {
        add(type, meaning);
    }
}

// A name as it was written: its parts, some with a place in a list.
struct Part {
    std::string_view name;
    std::optional<uint64_t> index{};
};

std::optional<std::vector<Part>> partsOf(std::string_view written) {
    std::vector<Part> parts;
    for (size_t start = 0; start <= written.size();) {
        const size_t end = std::min(written.find('.', start), written.size());
        Part part{written.substr(start, end - start)};
        if (const size_t open = part.name.find('['); open != std::string_view::npos) {
            uint64_t index = 0;
            if (!part.name.ends_with("]") ||
                !readNumber(part.name.substr(open + 1, part.name.size() - open - 2), UINT16_MAX,
                            index))
                return std::nullopt;
            part.index = index;
            part.name = part.name.substr(0, open);
        }
        if (part.name.empty()) return std::nullopt;
        parts.push_back(part);
        start = end + 1;
    }
    return parts;
}

// Whether the last steps of an input are the parts of a name.
bool endsIn(const Input& input, const std::vector<Part>& parts) {
    if (parts.size() > input.steps.size()) return false;
    const size_t skipped = input.steps.size() - parts.size();
    for (size_t i = 0; i < parts.size(); ++i) {
        const Step& step = input.steps[skipped + i];
        if (step.name != parts[i].name || (parts[i].index && !step.isList)) return false;
    }
    return true;
}

// Where a value and the pointer to it have one name, null is the pointer's and all else the
// value's.
void dropTwins(std::vector<const Input*>& found, bool isNull) {
    const bool mixed =
        std::ranges::any_of(found, [&](const Input* input) { return input->isPointer == isNull; });
    if (mixed && found.size() > 1)
        std::erase_if(found, [&](const Input* input) { return input->isPointer != isNull; });
}

std::vector<const Input*> meant(const std::vector<Input>& inputs, const std::vector<Part>& parts,
                                bool isNull) {
    std::vector<const Input*> found;
    for (const Input& input : inputs)
        if (endsIn(input, parts)) found.push_back(&input);
    const auto isExact = [&](const Input* input) { return input->steps.size() == parts.size(); };
    if (std::ranges::any_of(found, isExact)) std::erase_if(found, std::not_fn(isExact));
    dropTwins(found, isNull);
    if (!found.empty() || parts.size() != 1 || parts[0].index) return found;
    for (const Input& input : inputs)
        if (isCalled(input.meaning, parts[0].name)) found.push_back(&input);
    return found;
}

[[noreturn]] void failMeant(std::string_view operation, const std::vector<Input>& inputs,
                            std::string_view written, const std::vector<const Input*>& found) {
    std::vector<std::string> names;
    for (const Input* input : found) names.push_back(input->path());
    if (!found.empty())
        fail("{} has more than one '{}'; expected one of {}", operation, shown(written),
             listed(names));
    for (const Input& input : inputs) {
        std::string name = shortNameOf(inputs, input);
        if (std::ranges::find(names, name) == names.end()) names.push_back(std::move(name));
    }
    if (names.empty()) fail("{} takes no parameters; expected nothing behind it", operation);
    fail("{} has no parameter '{}'; expected one of {}", operation, shown(written), listed(names));
}

}  // namespace

std::string Input::path() const {
    std::string path;
    for (const Step& step : steps) {
        path += (path.empty() ? "" : ".") + std::string(step.name);
        if (step.isList) path += "[]";
    }
    return path;
}

std::vector<Input> inputsOf(const Function& function) {
    return Listing().of(function);
}

std::string pathOf(std::string_view operation, const std::vector<Input>& inputs,
                   std::string_view written, bool isNull) {
    const auto parts = partsOf(written);
    const auto found = parts ? meant(inputs, *parts, isNull) : std::vector<const Input*>();
    if (found.size() != 1) failMeant(operation, inputs, written, found);
    const std::vector<Step>& steps = found[0]->steps;
    const bool byMeaning = parts->back().name != steps.back().name;
    const size_t skipped = byMeaning ? steps.size() : steps.size() - parts->size();
    std::string path;
    for (size_t i = 0; i < steps.size(); ++i) {
        path += (i == 0 ? "" : ".") + std::string(steps[i].name);
        if (!steps[i].isList) continue;
        const auto& index = i < skipped ? std::nullopt : (*parts)[i - skipped].index;
        path += fmt::format("[{}]", index.value_or(0));
    }
    return path;
}

std::string shortNameOf(const std::vector<Input>& inputs, const Input& input) {
    std::vector<Part> parts;
    for (size_t i = input.steps.size(); i-- > 0;) {
        parts.insert(parts.begin(), Part{input.steps[i].name});
        const auto found = meant(inputs, parts, input.isPointer);
        if (found.size() != 1 || found[0] != &input) continue;
        std::string name;
        for (size_t j = i; j < input.steps.size(); ++j) {
            name += (name.empty() ? "" : ".") + std::string(input.steps[j].name);
            if (input.steps[j].isList) name += "[]";
        }
        return name;
    }
    return input.path();
}

bool isWhole(const Type& type, Meaning meaning) {
    if (meaning == Meaning::kAddress || meaning == Meaning::kIpv6) return type.size == 16;
    if (type.kind != Kind::kArray || type.target->kind == Kind::kArray) return false;
    return meaning == Meaning::kText || meaning == Meaning::kMac ||
           (type.target->size == 1 && meaning == Meaning::kNone);
}

bool isNullTaken(const Semantics& semantics, const Type& target) {
    const bool isThing = target.kind != Kind::kVoid && isNamed(target);
    return semantics.orNull || semantics.ignored || isThing;
}

bool isList(const Semantics& semantics, const Type& target) {
    const Meaning meaning = meaningOf(semantics, target);
    if (meaning == Meaning::kText || meaning == Meaning::kMac) return false;
    return semantics.countIndex != kNoIndex || semantics.chainedBy != nullptr ||
           semantics.elements > 1;
}

bool isGiven(const Field& field, bool isOutput, std::string_view chainedBy) {
    const Semantics& semantics = field.semantics;
    if (semantics.ignored || field.name == chainedBy) return false;
    if (field.name.starts_with("reserved") && !semantics.carried) return false;
    return semantics.in || (!isOutput && !semantics.out);
}

}  // namespace pcsim::probe
