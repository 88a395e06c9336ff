// Coverage files: from the rows of a control block to the text.
#include "probe/control/coverage_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "console/error.h"
#include "console/text.h"

namespace pcsim::probe {

namespace {

void addAll(std::map<std::string, Counted>& sum, const std::map<std::string, Counted>& more) {
    for (const auto& [name, counted] : more) sum[name].add(counted);
}

// Names are of C functions: nothing in them needs an escape.
std::string sideText(const std::map<std::string, Counted>& side) {
    std::string text;
    for (const auto& [name, counted] : side) {
        text += fmt::format("{}\n    \"{}\": {{\"calls\": {}, \"failures\": {}, \"nulls\": {}",
                            text.empty() ? "" : ",", name, counted.calls, counted.failures,
                            counted.nulls);
        if (counted.totalNs != 0)
            text += fmt::format(", \"totalNs\": {}, \"longestNs\": {}", counted.totalNs,
                                counted.longestNs);
        text += "}";
    }
    return text;
}

}  // namespace

void Counted::add(const Counted& more) {
    calls += more.calls;
    failures += more.failures;
    nulls += more.nulls;
    totalNs += more.totalNs;
    longestNs = std::max(longestNs, more.longestNs);
}

void CoverageData::add(const CoverageData& more) {
    runs += more.runs;
    addAll(platform, more.platform);
    addAll(host, more.host);
}

CoverageData coverageOf(const SiteRow* rows, uint32_t count) {
    CoverageData data;
    for (const SiteRow* row = rows; row != rows + count; ++row) {
        const Counts& counts = row->counts;
        if (row->side == static_cast<uint32_t>(Side::kSystem)) continue;
        const bool host = row->side == static_cast<uint32_t>(Side::kHost);
        const bool offered = !host && row->table[0] != 0;
        if (counts.calls == 0 && !offered) continue;
        auto& side = host ? data.host : data.platform;
        side[textOf(row->name)].add(
            {counts.calls, counts.failures, counts.nulls, counts.totalNs, counts.longestNs});
    }
    return data;
}

std::string coverageText(const CoverageData& data) {
    return fmt::format(
        "{{\n  \"format\": \"{}\",\n  \"runs\": {},\n  \"platform\": {{{}\n  }},\n"
        "  \"host\": {{{}\n  }}\n}}\n",
        kCoverageFormat, data.runs, sideText(data.platform), sideText(data.host));
}

void writeCoverage(const std::string& path, const CoverageData& data) {
    const std::string text = coverageText(data), writing = path + "." + std::to_string(getpid());
    FILE* const file = fopen(writing.c_str(), "we");
    if (file == nullptr) fail("{} can't be written: {}", path, strerror(errno));
    const bool written = fwrite(text.data(), 1, text.size(), file) == text.size();
    if ((fclose(file) == 0) && written && rename(writing.c_str(), path.c_str()) == 0) return;
    const int error = errno;
    unlink(writing.c_str());
    fail("{} can't be written: {}", path, strerror(error));
}

std::vector<std::string> neverCalled(const CoverageData& data) {
    std::vector<std::string> names;
    for (const auto& [name, counted] : data.platform)
        if (counted.calls == 0) names.push_back(name);
    return names;
}

uint32_t percentCalled(const CoverageData& data) {
    const size_t all = data.platform.size(), never = neverCalled(data).size();
    return all == 0 ? 0 : static_cast<uint32_t>((all - never) * 100 / all);
}

}  // namespace pcsim::probe
