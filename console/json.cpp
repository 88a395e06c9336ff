// Texts and reports as JSON. The JSON library is included here and nowhere else: it is what takes
// longest to compile.
#include "console/json.h"

#include <nlohmann/json.hpp>

#include "console/report.h"

namespace pcsim {

namespace {

nlohmann::ordered_json jsonOf(const Cell& cell) {
    return std::visit(
        [](const auto& value) -> nlohmann::ordered_json {
            if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>)
                return nullptr;
            else
                return value;
        },
        cell.value());
}

nlohmann::ordered_json jsonOf(const Fields& fields) {
    auto object = nlohmann::ordered_json::object();
    for (const Field& field : fields.fields) object[field.key] = jsonOf(field.value);
    return object;
}

nlohmann::ordered_json jsonOf(const Table& table) {
    auto rows = nlohmann::ordered_json::array();
    for (const auto& row : table.rows) {
        auto object = nlohmann::ordered_json::object();
        for (size_t i = 0; i < row.size(); ++i) object[table.columns[i].key] = jsonOf(row[i]);
        rows.push_back(std::move(object));
    }
    return rows;
}

}  // namespace

std::string Report::json(Json form) const {
    auto object = nlohmann::ordered_json::object();
    for (const auto& section : sections_)
        std::visit([&](const auto& part) { object[part.key] = jsonOf(part); }, section);
    constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;
    if (form == Json::kCompact) return object.dump(-1, ' ', false, kReplace);
    return object.dump(2, ' ', false, kReplace) + "\n";
}

std::string jsonString(const std::string& text) {
    return nlohmann::ordered_json(text).dump(-1, ' ', false,
                                             nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace pcsim
