// Running a command for each of the values that it names.
#include "console/session.h"

namespace pcsim {

namespace {

// A line that did part of its work says which.
[[noreturn]] void failPartly(const std::vector<Single>& commands, size_t failed,
                             const CommandError& error) {
    const std::string& first = commands[0].label;
    const std::string& last = commands[failed - 1].label;
    const std::string done = failed == 1 ? "for " + first : "from " + first + " to " + last;
    throw CommandError(
        fmt::format("done {}, not for {}: {}", done, commands[failed].label, error.what()),
        error.code);
}

std::string arrayOf(const std::vector<std::string>& documents) {
    std::string text;
    for (const std::string& document : documents)
        text += (text.empty() ? "[\n" : ",\n") + document.substr(0, document.size() - 1);
    return text + "\n]\n";
}

}  // namespace

std::vector<Single> Session::singlesOf(Verbs::Found& found) const {
    return pcsim::singlesOf(found.verb->pattern, std::move(found.values),
                            [this](const Element& element) {
                                const auto all = console_.candidates.find("<" + element.name + ">");
                                return all == console_.candidates.end() ? Words{} : all->second();
                            });
}

void Session::runEach(const Verb& verb, std::vector<Single> commands, bool json) {
    // Several reports of one line are one document.
    std::vector<std::string> documents;
    const bool collects = json && !sink_.structured() && commands.size() > 1;
    struct Told {
        Sink& sink;
        std::vector<std::string>& documents;
        ~Told() {
            if (!documents.empty()) sink.text(arrayOf(documents));
        }
    } const told{sink_, documents};
    for (size_t i = 0; i < commands.size(); ++i) {
        Call call = callOf(std::move(commands[i].values), json);
        if (collects)
            call.answer = [&](const Report& report) { documents.push_back(report.json()); };
        try {
            if (verb.show && i != 0 && !json && !sink_.structured()) sink_.text("\n");
            if (verb.show)
                call.answer(verb.show(call));
            else
                verb.action(call);
            sink_.check();
            if (!ended_) console_.surroundings.checkInterrupt();
        } catch (const CommandError& error) {
            if (i == 0) throw;
            failPartly(commands, i, error);
        }
    }
}

}  // namespace pcsim
