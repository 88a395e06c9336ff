// The surroundings of a client's prompt: real time, the terminal and the connection.
#ifndef PCSIM_CONSOLE_CTL_CLIENT_TIME_H
#define PCSIM_CONSOLE_CTL_CLIENT_TIME_H

#include <map>

#include "console/signals.h"
#include "console/surroundings.h"

namespace pcsim {

class ClientTime : public Surroundings {
public:
    explicit ClientTime(Signals& signals) : signals_(signals) {}

    bool waitUntil(const std::function<bool()>& done, uint64_t timeoutMs) override;
    bool waitReadable(int descriptor) override;
    void giveWay() override {}

    // A client runs nothing beside its prompt.
    WorkId spawn(std::function<void()> work) override;
    void interrupt(WorkId) override {}
    void endSpawned() noexcept override {}

    void watch(int descriptor, std::function<void()> readable) override;
    void unwatch(int descriptor) override;
    void enterFolder(const std::string& path) override;
    void leaveFolder() override {}

    bool interrupted() const override { return signals_.interrupted(); }
    bool terminated() const override { return signals_.terminated(); }
    void forgetInterrupt() override { signals_.forgetInterrupt(); }
    void terminate() override { signals_.terminate(); }

private:
    bool look(int descriptor, int timeoutMs);

    Signals& signals_;
    std::map<int, std::function<void()>> watched_;
};

}  // namespace pcsim

#endif
