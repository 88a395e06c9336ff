// Coverage files, read back. The JSON library is included here and in no other file of the probe.
#include "probe/coverage_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

#include "console/error.h"
#include "console/text.h"

namespace pcsim::probe {

namespace {

using Json = nlohmann::json;

class Reader {
public:
    explicit Reader(const std::string& path) : path_(path) {}

    CoverageData read() {
        std::ifstream file(path_, std::ios::binary);
        if (!file) fail("{} can't be read: {}", path_, strerror(errno));
        const Json document = Json::parse(file, nullptr, /*allow_exceptions=*/false);
        const auto format = document.is_object() ? document.find("format") : document.end();
        if (format == document.end() || !format->is_string())
            fail("{} is no coverage file; 'pcsim-probe --coverage FILE -- PROGRAM' writes one",
                 path_);
        if (*format != kCoverageFormat)
            fail("{} is of another version: its format is '{}', expected '{}'", path_,
                 shown(format->get<std::string>()), kCoverageFormat);
        CoverageData data;
        data.runs = static_cast<uint32_t>(number(document, "runs", "the file", kMostRuns));
        data.platform = side(document, "platform");
        data.host = side(document, "host");
        return data;
    }

private:
    std::map<std::string, Counted> side(const Json& document, const char* name) const {
        const auto found = document.find(name);
        if (found == document.end() || !found->is_object())
            fail("{} is damaged: it has no '{}'", path_, name);
        std::map<std::string, Counted> all;
        for (const auto& [operation, counts] : found->items()) {
            if (!isName(operation))
                fail("{} is damaged: '{}' is no operation", path_, shown(operation));
            Counted& counted = all[operation];
            counted.calls = number(counts, "calls", operation);
            counted.failures = number(counts, "failures", operation);
            counted.nulls = number(counts, "nulls", operation);
            if (!counts.contains("totalNs")) continue;
            counted.totalNs = number(counts, "totalNs", operation);
            counted.longestNs = number(counts, "longestNs", operation);
        }
        return all;
    }

    // Of a function: what is written again has no escapes.
    static bool isName(const std::string& text) {
        return !text.empty() && std::ranges::all_of(text, [](char c) {
            return c > ' ' && c < '\x7F' && c != '"' && c != '\\';
        });
    }

    static constexpr uint64_t kMostRuns = ~uint32_t{0};

    uint64_t number(const Json& object, const char* key, const std::string& of,
                    uint64_t most = ~uint64_t{0}) const {
        const auto found = object.is_object() ? object.find(key) : object.end();
        if (found == object.end() || !found->is_number_unsigned() || found->get<uint64_t>() > most)
            fail("{} is damaged: {} has no '{}' that is a count", path_, shown(of), key);
        return found->get<uint64_t>();
    }

    const std::string& path_;
};

}  // namespace

CoverageData readCoverage(const std::string& path) {
    return Reader(path).read();
}

}  // namespace pcsim::probe
