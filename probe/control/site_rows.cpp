// Keeping the rows of a control block as the sites are.
#include "probe/control/site_rows.h"

#include <algorithm>

#include "probe/boundary/boundary.h"

namespace pcsim::probe {

namespace {

bool holdsFunctions(const Record& record) {
    return std::ranges::any_of(record.fields, [](const Field& field) {
        if (field.type->kind == Kind::kRecord) return holdsFunctions(*field.type->record);
        return field.type->kind == Kind::kPointer && field.type->target->kind == Kind::kFunction;
    });
}

}  // namespace

SiteRows::SiteRows(OwnBlock& block) : block_(block) {
    Boundary& boundary = Boundary::instance();
    boundary.placeCounts([this](const Site& site) -> Counts* {
        SiteRow* const row = block_.addSite(site);
        return row != nullptr ? &row->counts : nullptr;
    });
    boundary.onSite([this](Site&) {
        if (block_.header().library[0] == 0)
            block_.foundLibrary(Boundary::instance().libraryPath());
    });
    boundary.add(*this);
}

bool SiteRows::wants(const Site& site) const {
    return site.side == Side::kPlatform &&
           std::ranges::any_of(site.function->parameters, [](const Parameter& parameter) {
               const Type& type = *parameter.type;
               return type.kind == Kind::kPointer && !type.isConst &&
                      type.target->kind == Kind::kRecord && holdsFunctions(*type.target->record);
           });
}

void SiteRows::after(Call&) {
    for (const Site* site : Boundary::instance().sites()) {
        if (site->table.empty()) continue;
        SiteRow* const row = block_.rowOf(*site);
        if (row != nullptr && row->table[0] == 0) block_.nameWord(*row, *site);
    }
}

}  // namespace pcsim::probe
