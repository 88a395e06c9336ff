// Looking for instances.
#include "console/ctl/instances.h"

#include <dirent.h>

#include <algorithm>

#include "console/error.h"
#include "console/run_folder.h"
#include "console/text.h"
#include "console/words.h"

namespace pcsim {

namespace {

constexpr std::string_view kEnding = ".sock";
constexpr int kPatienceMs = 2000;  // of the list, for one that boots or calculates

std::vector<std::string> names(const std::string& folder) {
    std::vector<std::string> all;
    DIR* const open = opendir(folder.c_str());
    if (open == nullptr) return all;
    while (const dirent* const entry = readdir(open)) {
        const std::string_view name = entry->d_name;
        if (name.ends_with(kEnding)) all.emplace_back(name.substr(0, name.size() - kEnding.size()));
    }
    closedir(open);
    std::ranges::sort(all);
    return all;
}

// "2 h 5 min", "3 min 20 s", "12 s"
std::string duration(uint64_t ms) {
    const uint64_t seconds = ms / 1000, minutes = seconds / 60, hours = minutes / 60;
    if (hours != 0) return fmt::format("{} h {} min", hours, minutes % 60);
    if (minutes != 0) return fmt::format("{} min {} s", minutes, seconds % 60);
    return fmt::format("{} s", seconds);
}

std::vector<Cell> rowOf(Link& instance) {
    try {
        const Reply is = instance.result("status", {}, kPatienceMs);
        const auto number = [&](const char* path) {
            return is.number(std::string("result/") + path).value_or(0);
        };
        const uint64_t up = number("upMs"), time = number("timeMs");
        const bool stopped = is.flag("result/stopped");
        return {instance.name(),
                number("pid"),
                is.text("result/shape").value_or(""),
                Cell(Cell(time), fmt::format("{}.{:03}{}", time / 1000, time % 1000,
                                             stopped ? " stopped" : "")),
                Cell(Cell(up), duration(up)),
                number("ports"),
                number("portsUp")};
    } catch (const CommandError&) {
        return {instance.name(), {}, "does not answer", {}, {}, {}, {}};
    }
}

}  // namespace

std::vector<std::unique_ptr<Link>> runningInstances(Signals& signals) {
    std::vector<std::unique_ptr<Link>> all;
    const std::string folder = runFolder();
    for (const std::string& name : names(folder)) {
        try {
            all.push_back(
                std::make_unique<Link>(name, folder + "/" + name + std::string(kEnding), signals));
        } catch (const CommandError&) {
            // One that has died has left its socket.
        }
    }
    return all;
}

std::unique_ptr<Link> instanceNamed(const std::string& name, Signals& signals) {
    auto all = runningInstances(signals);
    std::string living;
    std::unique_ptr<Link>* meant = nullptr;
    size_t beginning = 0;
    for (auto& one : all) {
        if (one->name() == name) return std::move(one);
        living += (living.empty() ? "" : ", ") + one->name();
        if (!one->name().starts_with(name)) continue;
        ++beginning;
        meant = &one;
    }
    if (beginning == 1) return std::move(*meant);
    if (beginning > 1) fail("'{}' begins several instances; there are {}", shown(name), living);
    if (living.empty())
        fail("there is no instance '{}'; none runs, 'pcsim' starts one", shown(name));
    fail("there is no instance '{}'; there are {}", shown(name), living);
}

Report listOf(const std::vector<std::unique_ptr<Link>>& instances) {
    Table table{"instances",
                "Instances",
                {{"name", "Name"},
                 {"pid", "Process", Align::kRight},
                 {"shape", "Shape"},
                 {"timeMs", "Clock", Align::kRight},
                 {"upMs", "Up", Align::kRight},
                 {"ports", "Ports", Align::kRight},
                 {"portsUp", "Up", Align::kRight}},
                {},
                "none runs; 'pcsim' starts one"};
    for (const auto& instance : instances) table.rows.push_back(rowOf(*instance));
    return table;
}

}  // namespace pcsim
