// Running lines and scripts.
#include "console/session.h"

#include <algorithm>
#include <utility>

#include "console/text.h"

namespace pcsim {

namespace {

// What is told of a line stands between its begin and its end.
struct Told {
    Sink& sink;
    Told(Sink& one, const std::string& line) : sink(one) { sink.begin(line); }
    ~Told() { sink.end(); }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;
};

}  // namespace

Session::Session(Console& console, Sink& sink, Look look)
    : console_(console),
      filters_(sink),
      sink_(filters_),
      look_(look),
      listener_(console.events.listen([this](const Event& event) {
          if (look_.liveEvents) sink_.event(event);
      })),
      self_(std::make_shared<Session*>(this)) {}

Session::~Session() {
    console_.events.remove(listener_);  // events go on
}

std::function<void(const std::string&)> Session::later() {
    return [self = std::weak_ptr<Session*>(self_)](const std::string& text) {
        if (const auto session = self.lock()) (*session)->sink_.text(text);
    };
}

Call Session::callOf(Values values, bool json) {
    Call call(std::move(values));
    call.session = this;
    call.print = [this](const std::string& text) { sink_.text(text); };
    call.later = later();
    call.answer = [this, json](const Report& report) {
        if (json && !sink_.structured())
            sink_.text(report.json());
        else
            sink_.answer(report);
    };
    return call;
}

void Session::run(const std::string& line) {
    if (keep(line)) return;
    const Told told(sink_, line);
    Account account{.outer = account_, .line = line};
    struct Within {
        Account*& current;
        Account* outer;
        ~Within() { current = outer; }
    } const within{account_, std::exchange(account_, &account)};
    try {
        runLine(line);
        noteEnd(account, nullptr, false);
    } catch (CommandError& error) {
        const bool own = !error.told;
        if (own) tell(error);
        error.told = true;
        noteEnd(account, &error, own);
        throw;
    }
}

void Session::runLine(const std::string& line) {
    if (const auto answer = questionOf(console_, line, sink_.width())) {
        sink_.text(*answer);
        return;
    }
    std::vector<bool> literal;
    Words words = splitWords(
        line, [this](std::string_view name) -> const std::string& { return variables_[name]; },
        literal);
    if (line.find('$') != std::string::npos) account_->line = lineOf(words);
    Piping piping = takePiping(words, literal);
    bool json = look_.json || piping.json;
    // What is echoed is printed as it is.
    if (!words.empty() && words.front() != "echo" && std::erase(words, "--json") != 0) json = true;
    piping.json = json;
    if (!piping.filters.empty() && (json || !sink_.takesLines()))
        failUsage("filters are for lines of text; expected none, or a run without --json");
    FilterSink::Line filtered(filters_, piping);
    if (!words.empty()) runWords(std::move(words), json);
    filtered.finish();
}

void Session::runWords(Words words, bool json) {
    console_.surroundings.checkInterrupt();
    Verbs::Found found = console_.verbs.find(words);
    runEach(*found.verb, singlesOf(found), json);
}

// 'own': the error is this line's, not one of a line within it.
void Session::noteEnd(const Account& account, const CommandError* error, bool own) {
    const int status = error != nullptr ? static_cast<int>(error->code) : 0;
    variables_.set(Variables::kStatus, std::to_string(status));
    if (account.failed != 0) sink_.failed(account.failed);
    if (account.outer != nullptr && expecting_ == 0)
        account.outer->failed += account.failed + (own ? 1 : 0);
    if (error == nullptr || own) noteStep(account, error);
}

void Session::noteStep(const Account& account, const CommandError* error) {
    if (!onStep || expecting_ != 0) return;
    Step step{account.line,   "",   0, std::chrono::steady_clock::now() - account.start,
              account.demand, error};
    if (!running_.empty()) {
        step.file = running_.back().script->name();
        step.lineNumber = running_.back().line;
    }
    onStep(step);
}

void Session::runStep(const std::string& line) {
    try {
        run(line);
    } catch (const CommandError& error) {
        if (!passesOver(error)) throw;
    }
}

bool Session::passesOver(const CommandError& error) {
    if (!look_.keepGoing || expecting_ != 0 || error.code == ErrorCode::kInterrupted) return false;
    ++passedOver_;
    if (onPassedOver) onPassedOver(located(error));
    return true;
}

void Session::tell(const CommandError& error) {
    Problem problem{error.code, error.what(), "", 0};
    if (!running_.empty()) {
        problem.file = running_.back().script->name();
        problem.lineNumber = running_.back().line;
    }
    sink_.problem(problem);
}

void Session::end(std::optional<int> exitStatus) {
    ended_ = true;
    exitStatus_ = exitStatus;
}

Report Session::evaluate(const Words& words) {
    Verbs::Found found = console_.verbs.find(words);
    if (!found.verb->show)
        failUsage("'{}' has no values to look at; expected a show command",
                  found.verb->pattern.usage());
    std::vector<Single> commands = singlesOf(found);
    if (commands.size() > 1)
        failUsage("'{}' are {} commands; expected one", joinWords(words), commands.size());
    Call call(std::move(commands.front().values));
    call.session = this;
    return found.verb->show(call);
}

std::optional<CommandError> Session::errorOf(const Words& words) {
    struct Expecting {
        unsigned& count;
        explicit Expecting(unsigned& one) : count(one) { ++count; }
        ~Expecting() { --count; }
        Expecting(const Expecting&) = delete;
        Expecting& operator=(const Expecting&) = delete;
    } const expecting(expecting_);
    try {
        runWords(words, look_.json);
    } catch (const CommandError& error) {
        if (error.code == ErrorCode::kInterrupted) throw;
        return error;
    }
    return std::nullopt;
}

void Session::setVariable(const std::string& name, std::string value) {
    if (const auto problem = variableProblem(name)) failUsage("{}", *problem);
    variables_.set(name, std::move(value));
}

void Session::finish() {
    if (block_ && !ended_) throw unendedBlock();
}

}  // namespace pcsim
