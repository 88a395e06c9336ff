// One connected socket as lines in both directions. Nothing here waits: what the peer doesn't take
// yet is kept, and who sends looks at how much that is.
#ifndef PCSIM_CONSOLE_SERVER_CHANNEL_H
#define PCSIM_CONSOLE_SERVER_CHANNEL_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pcsim {

inline constexpr size_t kLongestRequest = 16 * 1024 * 1024;
// Of all channels together, while their ends are still to come.
inline constexpr size_t kMostReceiving = 16 * kLongestRequest;

class Channel {
public:
    // Takes the descriptor, which is non-blocking.
    explicit Channel(int descriptor);
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    int descriptor() const { return descriptor_; }

    // Reads what is there; whether there may be more.
    bool receive();
    // The peer sends no more.
    bool atEnd() const { return atEnd_; }

    struct Line {
        std::string text;         // without its end
        bool tooLong = false;     // its text is left out
        bool incomplete = false;  // the peer's end came before the line's
    };
    std::optional<Line> nextLine();

    void send(std::string_view text) { unsent_ += text; }
    // Hands over what the socket takes now; false when the peer is gone.
    bool flush();
    size_t unsent() const { return unsent_.size() - sent_; }

private:
    void keepCount();

    int descriptor_;
    bool atEnd_ = false;
    std::string received_;  // and not yet handed out, from next_ on
    size_t next_ = 0;
    size_t searched_ = 0;    // where there is no line end before
    bool skipping_ = false;  // up to the end of a line that is too long
    size_t counted_ = 0;     // of what all channels are receiving
    std::string unsent_;
    size_t sent_ = 0;
};

}  // namespace pcsim

#endif
