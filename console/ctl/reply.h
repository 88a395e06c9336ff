// A line of JSON from an instance, and what a client asks of it.
#ifndef PCSIM_CONSOLE_CTL_REPLY_H
#define PCSIM_CONSOLE_CTL_REPLY_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace pcsim {

class Reply {
public:
    // Throws a CommandError when it is none.
    explicit Reply(const std::string& line);

    // What stands at a path of names, "result/text": nothing when it isn't there or is no text.
    std::optional<std::string> text(const std::string& path) const;
    std::optional<uint64_t> number(const std::string& path) const;
    bool flag(const std::string& path) const;
    std::vector<std::string> texts(const std::string& path) const;
    bool has(const std::string& path) const;
    // As JSON; "null" when it isn't there.
    std::string json(const std::string& path) const;

private:
    struct Value;
    std::shared_ptr<const Value> value_;
};

}  // namespace pcsim

#endif
