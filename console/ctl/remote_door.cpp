// Leading a prompt's lines to another process.
#include "console/ctl/remote_door.h"

#include <unistd.h>

#include "console/error.h"

namespace pcsim {

namespace {

std::string workingFolder() {
    char path[4096];
    return getcwd(path, sizeof path) != nullptr ? path : "/";
}

}  // namespace

RemoteDoor::RemoteDoor(Link& link, TextSink& sink, Surroundings& surroundings)
    : link_(link), sink_(sink), surroundings_(surroundings), folder_(workingFolder()) {
    link_.onNotification = [this](const Reply& notification) { tell(notification); };
    watch();
}

RemoteDoor::~RemoteDoor() {
    surroundings_.unwatch(link_.descriptor());
    link_.onNotification = nullptr;
}

// What an event prints goes above the line being typed.
void RemoteDoor::tell(const Reply& notification) {
    const auto text = notification.text("params/text");
    if (!text) return;
    const bool above = notification.has("params/event");
    if (above && sink_.beforeEvent) sink_.beforeEvent();
    sink_.text(*text);
    if (above && sink_.afterEvent) sink_.afterEvent();
}

void RemoteDoor::watch() {
    surroundings_.watch(link_.descriptor(), [this] { readBetween(); });
}

void RemoteDoor::readBetween() {
    try {
        while (const auto notification = link_.next(0)) tell(*notification);
    } catch (const CommandError& error) {
        surroundings_.unwatch(link_.descriptor());
        ended_ = true;
        sink_.text(std::string("\n") + error.what() + "\n");
        surroundings_.terminate();
    }
}

std::string RemoteDoor::promptText() {
    return ended_ ? "" : link_.result("prompt", {}).text("result/text").value_or("> ");
}

// What a line prints may take its time to be looked at, in a pager: its answer is nobody else's.
void RemoteDoor::run(const std::string& line) {
    const struct Alone {
        RemoteDoor& door;
        explicit Alone(RemoteDoor& one) : door(one) {
            door.surroundings_.unwatch(door.link_.descriptor());
        }
        ~Alone() { door.watch(); }
        Alone(const Alone&) = delete;
        Alone& operator=(const Alone&) = delete;
    } alone(*this);
    Asked asked = Asked().text("line", line).text("folder", folder_).flag("stream", true);
    const Page page = sink_.page();
    if (page.terminal) asked.number("width", page.width).flag("coloured", page.coloured);
    ended_ = link_.result("run", asked).flag("result/ended");
}

void RemoteDoor::drop() {
    link_.result("drop", {});
}

PromptDoor::Completion RemoteDoor::complete(const std::string& line) {
    Completion completion;
    const Reply found = link_.result("complete", Asked().text("line", line));
    completion.candidates = found.texts("result/candidates");
    completion.files = found.flag("result/files");
    return completion;
}

std::optional<std::string> RemoteDoor::following(const std::string& line, size_t width) {
    return link_.result("question", Asked().text("line", line).number("width", width))
        .text("result/text");
}

}  // namespace pcsim
