// Files that are loaded: access lists, MAC tables, routes, states, coverage, and the lines of them.
//
// The first byte chooses what the rest is the file of.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>

#include "console/error.h"
#include "host/acl/rules.h"
#include "host/core/line_load.h"
#include "host/l2/mac_line.h"
#include "host/l3/usual_forms.h"
#include "host/state/line_diff.h"
#include "host/state/restore.h"
#include "probe/coverage_reader.h"
#include "tests/fuzz/text/files.h"
#include "tests/fuzz/text/still_time.h"
#include "tests/fuzz/text/support.h"

namespace pcsim::fuzz {

namespace {

using namespace host;

// Hands on the lines of the file "a"; bad ones are told as they have to be.
LineLoad loadedLines(std::string_view text, const LineLoad::Take& take) {
    setFile(0, text);
    StillTime time(~0u);
    LineLoad load(fileName(0));
    uint64_t count = 0;
    load.run(time, "lines", [&](uint64_t number, std::string_view line) {
        demand(number == ++count, "lines are counted");
        const size_t end = std::min(text.find('\n'), text.size());
        demand(line == text.substr(0, end), "a line is as it stands in the file", line);
        text.remove_prefix(std::min(end + 1, text.size()));
        take(number, line);
    });
    demand(text.empty(), "all lines are read", text);
    demand(load.badLines().size() <= load.badLineCount(), "bad lines are counted");
    for (const auto& line : load.badLines()) demandLine(line.problem);
    const std::string problem = load.problem(count - load.badLineCount());
    if (!problem.empty()) demandLine(problem);
    return load;
}

// --- access lists

struct Records {
    HalAclRule* first;
    explicit Records(const std::vector<AclRule>& rules) : first(aclRecords(rules)) {}
    ~Records() { std::free(first); }
    Records(const Records&) = delete;
    Records& operator=(const Records&) = delete;
};

size_t sizeOf(const std::vector<AclRule>& rules) {
    size_t size = 0;
    for (const AclRule& rule : rules)
        size += sizeof(HalAclRule) + rule.matches.size() * sizeof(AclMatch);
    return size;
}

void demandSameRules(const AclProgram& a, const AclProgram& b, const std::string& text) {
    demand(a.rules.size() == b.rules.size() && a.counterCount == b.counterCount,
           "rules that are written out are as many", text);
    const Records first(a.rules), second(b.rules);
    demand(sizeOf(a.rules) == sizeOf(b.rules) &&
               std::memcmp(first.first, second.first, sizeOf(a.rules)) == 0,
           "rules that are written out are the same", text);
}

void accessList(std::string_view text) {
    AclCompiler compiler;
    loadedLines(text, [&](uint64_t number, std::string_view line) { compiler.take(number, line); });
    std::string written;
    for (const AclRule& rule : compiler.program.rules) written += "rule " + rule.text() + "\n";
    AclCompiler again;
    loadedLines(written, [&](uint64_t number, std::string_view line) { again.take(number, line); });
    demandSameRules(compiler.program, again.program, written);
}

// --- MAC tables and routes

void macTable(std::string_view text) {
    loadedLines(text, [&](uint64_t, std::string_view line) {
        MacLine entry, again;
        std::string problem;
        const LineKind kind = parseMacLine(line, entry, problem);
        demand((kind == LineKind::kBad) == !problem.empty(), "a bad line is told of", line);
        if (kind == LineKind::kBad) fail("{}", problem);
        if (kind == LineKind::kNothing) return;
        demand(entry.vlanId >= 1 && entry.vlanId <= 4094, "a VLAN is one", line);
        const std::string written =
            fmt::format("{} {} {}:{} {}", macText(entry.mac.data()), entry.vlanId, entry.port.slot,
                        entry.port.port, entry.isStatic ? "static" : "dynamic");
        demand(parseMacLine(written, again, problem) == LineKind::kEntry &&
                   again.mac == entry.mac && again.vlanId == entry.vlanId &&
                   again.port.slot == entry.port.slot && again.port.port == entry.port.port &&
                   again.isStatic == entry.isStatic,
               "a line that is written out is the same", written);
    });
}

bool same(const IpPrefix& a, const IpPrefix& b) {
    return a.address.v6 == b.address.v6 && a.address.bytes == b.address.bytes &&
           a.length == b.length && a.mask == b.mask;
}

// The quick way reads nothing that the other one doesn't, or reads otherwise.
void forms(std::string_view text) {
    loadedLines(text, [&](uint64_t, std::string_view line) {
        IpPrefix prefix;
        IpAddress address;
        if (readUsualPrefix(line, prefix))
            demand(same(parsePrefix(std::string(line)), prefix), "both read one prefix", line);
        if (readUsualAddress(line, address))
            demand(parseAddress(std::string(line)).bytes == address.bytes, "both read one address",
                   line);
        const IpPrefix slow = parsePrefix(std::string(line));
        if (slow.address.v6) return;
        prefix = {};
        const std::string usual = slow.text();
        const bool hasGaps = std::ranges::count(usual, '.') > 3;
        demand(hasGaps || (readUsualPrefix(usual, prefix) && same(prefix, slow)),
               "what is written is read quickly", usual);
    });
}

// --- states

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    forEachLine(text, [&](std::string_view line) { lines.push_back(line); });
    return lines;
}

// What leads from one text to the other leads there.
void difference(std::string_view text) {
    const size_t middle = std::min(text.find('\1'), text.size());
    const std::string_view before = text.substr(0, middle);
    const std::string_view after = text.substr(std::min(middle + 1, text.size()));
    const auto changes = lineDiff(before, after);
    std::multiset<std::string_view> lines;
    for (const std::string_view line : linesOf(before)) lines.insert(line);
    size_t come = 0, go = 0;
    for (const LineChange& change : changes) {
        demand(change.sign == '+' || change.sign == '-', "a line comes or goes");
        ++(change.sign == '+' ? come : go);
        if (change.sign == '+') {
            lines.insert(change.line);
            continue;
        }
        const auto gone = lines.find(change.line);
        demand(gone != lines.end(), "what goes was there", change.line);
        lines.erase(gone);
    }
    const auto wanted = linesOf(after);
    demand(std::multiset<std::string_view>(wanted.begin(), wanted.end()) == lines,
           "a difference leads from one to the other", text);
    demand(before != after || changes.empty(), "what is the same does not differ", text);
    demand(go <= linesOf(before).size() && come <= wanted.size(), "no line comes twice", text);
}

// A switch whose state is which letters it has; one of them takes the next with it when it goes.
struct Letters {
    std::set<char> there;

    void tell(Lines& lines) const {
        for (const char letter : there) {
            const std::string line = std::string("add ") + letter;
            const std::string undo = std::string("del ") + letter;
            letter % 3 == 0 ? lines.replace(line, undo) : lines.add(line, undo);
            if (letter % 4 == 0) lines.more("# with it");
        }
    }
    void run(std::string_view line) {
        if (line.size() != 5) fail("'{}' is no line", line);
        const char letter = line[4];
        if (line.starts_with("add")) {
            there.insert(letter);
        } else {
            there.erase(letter);
            if (letter % 5 == 0) there.erase(static_cast<char>(letter + 1));
        }
    }
    static Letters of(std::string_view text) {
        Letters letters;
        for (const char c : text)
            if (c >= 'a' && c <= 'z') letters.there.insert(c);
        return letters;
    }
};

void restored(std::string_view text) {
    const size_t middle = text.size() / 2;
    const Letters wanted = Letters::of(text.substr(middle));
    Letters now = Letters::of(text.substr(0, middle));
    StateText target;
    wanted.tell(target);
    const Restored result = restoreState(target, {[&](Lines& lines) { now.tell(lines); },
                                                  [&](std::string_view line) { now.run(line); },
                                                  [] { return false; }, [] { return false; }});
    demand(result.reached() == (now.there == wanted.there), "what is reached is told", text);
    demand(result.reached(), "a state is reached", text);
}

// --- coverage

void coverage(std::string_view text) {
    setFile(0, text);
    auto data = probe::readCoverage(filePath(0));
    // Without a total there are no times.
    for (auto* const side : {&data.platform, &data.host})
        for (auto& [name, counted] : *side)
            if (counted.totalNs == 0) counted.longestNs = 0;
    setFile(0, probe::coverageText(data));
    demand(probe::readCoverage(filePath(0)) == data, "what is written is what was read", text);
    auto both = data;
    both.add(data);
    demand(both.platform.size() == data.platform.size(), "two runs call the same", text);
    demand(probe::percentCalled(data) <= 100, "no more than all is called", text);
}

constexpr void (*kKinds[])(std::string_view text) = {accessList, macTable, forms,
                                                     difference, restored, coverage};

void run(std::span<const uint8_t> input) {
    Bytes bytes(input);
    const auto kind = kKinds[bytes.byte() % std::size(kKinds)];
    const std::string_view text = bytes.rest();
    try {
        kind(text);
    } catch (const CommandError& error) {
        demandError(error.what());
    }
}

}  // namespace

}  // namespace pcsim::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pcsim::fuzz::run({data, size});
    return 0;
}
