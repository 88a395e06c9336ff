// What the options of the process ask for, set up at its start and written down at its end.
#include "probe/preload/session.h"

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <memory>
#include <string>

#include "console/error.h"
#include "console/help.h"
#include "console/text.h"
#include "probe/boundary/boundary.h"
#include "probe/control/coverage_file.h"
#include "probe/control/flight.h"
#include "probe/control/options.h"
#include "probe/control/own_block.h"
#include "probe/control/site_rows.h"
#include "probe/record/recorder.h"
#include "probe/verbs/probe_verbs.h"

namespace pcsim::probe {

namespace {

// It stays: calls are looked at until the process is no more.
class ProbeSession {
public:
    // Throws what is wrong with the options.
    void begin(const char* options);
    void end();

    void beforeFork();
    void afterFork();

private:
    void addVerbs();
    void showBlock();
    Answer answer(const std::string& request) const;

    ProbeOptions options_;
    std::unique_ptr<OwnBlock> block_;
    std::unique_ptr<SiteRows> rows_;
    std::unique_ptr<FlightRecorder> flight_;
    Trace trace_;
    Rules rules_;
    Ledger ledger_;
    Recorder recorder_;
    Verbs verbs_;
};
ProbeSession* session = nullptr;

void complain(const std::string& what) {
    std::fprintf(stderr, "pcsim-probe: %s\n", printable(what).c_str());
}

// A library in a folder with blanks in its name comes as a descriptor of the process.
void closeOwnDescriptor() {
    constexpr std::string_view kDescriptors = "/proc/self/fd/";
    Dl_info own{};
    if (dladdr(&session, &own) == 0) return;
    const std::string_view path = own.dli_fname;
    if (!path.starts_with(kDescriptors)) return;
    int descriptor = -1;
    std::from_chars(path.data() + kDescriptors.size(), path.data() + path.size(), descriptor);
    close(descriptor);
}

void ProbeSession::begin(const char* text) {
    options_ = readProbeOptions(text);
    addVerbs();
    Boundary& boundary = Boundary::instance();
    boundary.takeTimes(options_.times);
    showBlock();
    // The flight recorder and the trace see a call as the HAL does: what rules change of it is
    // between them and the platform.
    if (block_ != nullptr && options_.flight != 0) {
        flight_ = std::make_unique<FlightRecorder>(block_->header(), options_.tree);
        boundary.add(*flight_);
    }
    pthread_atfork([] { session->beforeFork(); }, [] { session->afterFork(); },
                   [] { session->afterFork(); });
    trace_.onChange = rules_.onChange = ledger_.onChange = [] { Boundary::instance().refresh(); };
    boundary.add(trace_);
    boundary.add(rules_);
    boundary.add(ledger_);
    boundary.add(recorder_);
    if (!options_.trace.empty()) trace_.startFile({}, options_.trace);
    if (!options_.record.empty()) recorder_.begin(options_.record, options_.tree);
    if (!options_.plan.empty()) runPlan(verbs_, options_.plan);
}

// Where there is no room for a block the program is probed all the same, but by its options alone.
void ProbeSession::showBlock() {
    try {
        block_ = std::make_unique<OwnBlock>(options_.name, options_.flight);
    } catch (const CommandError& problem) {
        // What lives in the block was asked for.
        if (!options_.name.empty() || options_.flight != 0 || !options_.coverage.empty()) throw;
        complain(problem.what());
        return;
    }
    rows_ = std::make_unique<SiteRows>(*block_);
    Boundary::instance().poll(block_->flag(), [this] {
        block_->serve([this](const std::string& request) { return answer(request); });
    });
}

void ProbeSession::addVerbs() {
    addProbeVerbs(
        verbs_,
        {.rules = rules_,
         .trace = trace_,
         .record = [this](const std::string& path) { recorder_.begin(path, options_.tree); },
         .stopRecord = [this] { return recorder_.finish(); },
         .ledger = &ledger_});
    verbs_.action("help", "what can be asked",
                  [this](pcsim::Call& call) { call.print(helpText(verbs_)); });
}

Answer ProbeSession::answer(const std::string& request) const {
    Words words = splitWords(request);
    const bool json = std::erase(words, "--json") != 0;
    return {false, answerOf(verbs_, words, json)};
}

// One thing that can't be written keeps nothing else from being.
void ProbeSession::beforeFork() {
    trace_.hold();
    rules_.hold();
    ledger_.hold();
}

void ProbeSession::afterFork() {
    ledger_.release();
    rules_.release();
    trace_.release();
}

void ProbeSession::end() {
    const auto attempt = [](auto action) {
        try {
            action();
        } catch (const std::exception& problem) {
            complain(problem.what());
        }
    };
    if (const std::string problem = trace_.stop(); !problem.empty()) complain(problem);
    ledger_.stop();
    attempt([this] {
        if (recorder_.isRecording()) recorder_.finish();
    });
    if (block_ == nullptr) return;
    block_->end();
    const BlockHeader& header = block_->header();
    if (options_.coverage.empty()) return;
    attempt([&] { writeCoverage(options_.coverage, coverageOf(sitesOf(&header), header.sites)); });
}

}  // namespace

void beginSession(const char* options) {
    closeOwnDescriptor();
    session = new ProbeSession;
    try {
        session->begin(options);
    } catch (const std::exception& problem) {
        // A run without the faults that were asked for, or without its record, shows nothing. The
        // program hasn't begun yet.
        complain(problem.what());
        _exit(kBadOptions);
    }
}

void endSession() {
    session->end();
    if (Boundary::instance().sites().empty())
        complain("the program has loaded no platform library");
}

}  // namespace pcsim::probe
