// Trees of values as JSON. The JSON library takes long to compile: it is included here alone in the
// probe.
#include <nlohmann/json.hpp>

#include "probe/values/text.h"

namespace pcsim::probe {

namespace {

using Json = nlohmann::ordered_json;

Json jsonOf(const Value& value) {
    switch (value.form) {
        case Value::Form::kNumber:
            return value.number;
        case Value::Form::kWord:
        case Value::Form::kText:
            return value.text;
        case Value::Form::kList: {
            Json list = Json::array();
            for (const Member& element : value.members) list.push_back(jsonOf(element.value));
            if (value.more != 0) list.push_back("... " + std::to_string(value.more) + " more");
            return list;
        }
        case Value::Form::kRecord: {
            Json record = Json::object();
            for (const Member& member : value.members) record[member.name] = jsonOf(member.value);
            return record;
        }
        default:
            return nullptr;
    }
}

}  // namespace

std::string jsonOf(const std::vector<Member>& members) {
    Json object = Json::object();
    for (const Member& member : members) object[member.name] = jsonOf(member.value);
    return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace pcsim::probe
