// The end of loads.
#include "host/verbs/load_answer.h"

#include "console/present.h"

namespace pcsim::host {

Table badLineTable(const LineLoad& file) {
    Table table{"badLines", "Bad lines", {{"line", "Line", Align::kRight}, {"problem", "Problem"}},
                {},         "none",      ""};
    for (const auto& line : file.badLines()) table.rows.push_back({line.number, line.problem});
    if (file.badLineCount() > table.rows.size())
        table.footer = fmt::format("the first {} of {}", table.rows.size(), file.badLineCount());
    table.flexible = {{1, Cut::kEnd}};
    return table;
}

Report loadAnswer(Call& call, Report report, const LineLoad& file, uint64_t used) {
    if (file.badLineCount() != 0) report.add(badLineTable(file));
    const std::string problem = file.problem(used);
    if (problem.empty()) return report;
    if (call.answer) call.answer(report);
    fail("{}", problem);
}

Report savedAnswer(const std::string& path, const char* key, const char* title, uint64_t count) {
    return Fields{"save", "Saved " + path, {{key, title, count}}};
}

}  // namespace pcsim::host
