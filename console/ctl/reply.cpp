// Reading replies. The JSON library is included here alone of this room.
#include "console/ctl/reply.h"

#include <nlohmann/json.hpp>

#include "console/error.h"

namespace pcsim {

struct Reply::Value {
    nlohmann::ordered_json object;

    const nlohmann::ordered_json* at(const std::string& path) const {
        const nlohmann::ordered_json* found = &object;
        for (size_t from = 0; from <= path.size();) {
            const size_t end = std::min(path.find('/', from), path.size());
            if (!found->is_object()) return nullptr;
            const auto next = found->find(path.substr(from, end - from));
            if (next == found->end() || next->is_null()) return nullptr;
            found = &*next;
            from = end + 1;
        }
        return found;
    }
};

Reply::Reply(const std::string& line) {
    auto value = std::make_shared<Value>();
    value->object = nlohmann::ordered_json::parse(line, nullptr, false);
    if (!value->object.is_object()) fail("the instance answers something else than JSON-RPC");
    value_ = std::move(value);
}

std::optional<std::string> Reply::text(const std::string& path) const {
    const auto* const found = value_->at(path);
    if (found == nullptr || !found->is_string()) return std::nullopt;
    return found->get<std::string>();
}

std::optional<uint64_t> Reply::number(const std::string& path) const {
    const auto* const found = value_->at(path);
    if (found == nullptr || !found->is_number_unsigned()) return std::nullopt;
    return found->get<uint64_t>();
}

bool Reply::flag(const std::string& path) const {
    const auto* const found = value_->at(path);
    return found != nullptr && found->is_boolean() && found->get<bool>();
}

std::vector<std::string> Reply::texts(const std::string& path) const {
    std::vector<std::string> all;
    const auto* const found = value_->at(path);
    if (found == nullptr || !found->is_array()) return all;
    for (const auto& one : *found)
        if (one.is_string()) all.push_back(one.get<std::string>());
    return all;
}

bool Reply::has(const std::string& path) const {
    return value_->at(path) != nullptr;
}

std::string Reply::json(const std::string& path) const {
    const auto* const found = value_->at(path);
    return found == nullptr ? "null" : found->dump();
}

}  // namespace pcsim
