// A session of another process behind a prompt or a script of this one.
#ifndef PCSIM_CONSOLE_CTL_REMOTE_DOOR_H
#define PCSIM_CONSOLE_CTL_REMOTE_DOOR_H

#include <string>

#include "console/ctl/link.h"
#include "console/prompt.h"

namespace pcsim {

class RemoteDoor : public PromptDoor {
public:
    // Names of files are this process's. All must outlive the door.
    RemoteDoor(Link& link, TextSink& sink, Surroundings& surroundings);
    ~RemoteDoor() override;

    std::string promptText() override;
    void run(const std::string& line) override;
    bool ended() const override { return ended_; }
    void drop() override;
    Completion complete(const std::string& line) override;
    std::optional<std::string> following(const std::string& line, size_t width) override;

private:
    void tell(const Reply& notification);
    void watch();
    void readBetween();

    Link& link_;
    TextSink& sink_;
    Surroundings& surroundings_;
    std::string folder_;
    bool ended_ = false;
};

}  // namespace pcsim

#endif
