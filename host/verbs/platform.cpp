// Verbs of the platform's tables: what their words hold.
#include "host/verbs/host_verbs.h"

#include "probe/interface/model.h"

namespace pcsim::host {

namespace {

Report showFamily(Call& call) {
    Table table{"family",
                "Family operations",
                {{"word", "Word", Align::kRight},
                 {"name", "Name"},
                 {"operation", "Operation"},
                 {"state", "State"}},
                {},
                "",
                ""};
    const auto& family = call.context.platform.family;
    const probe::Record& record = *probe::recordNamed("HalFamilyOps");
    size_t filled = 0;
    for (size_t word = 0; word < family.wordCount(); ++word) {
        const std::string operation = Platform::operationName(family.words()[word]);
        const bool null = family.words()[word] == nullptr;
        filled += null ? 0 : 1;
        if (null && call.given("filled")) continue;
        const auto offset = static_cast<uint32_t>(word * sizeof(void*));
        const probe::Field* const name = probe::wordAt(record, offset);
        table.rows.push_back({word, name != nullptr ? Cell(std::string(name->name)) : Cell(),
                              operation, null ? "null" : "filled"});
    }
    table.footer = fmt::format("{} of {} words are filled", filled, family.wordCount());
    return table;
}

}  // namespace

void addPlatformVerbs(HostVerbs& verbs) {
    verbs.show("show family [filled]", "each word of the family table", showFamily);
}

}  // namespace pcsim::host
