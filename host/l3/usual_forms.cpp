// Reading what most lines of a table look like.
#include "host/l3/usual_forms.h"

#include <arpa/inet.h>

#include <charconv>

namespace pcsim::host {

namespace {

// A number of at most 'most' at the start of 'text', which is taken off.
bool takeNumber(std::string_view& text, uint32_t most, uint32_t& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || value > most) return false;
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return true;
}

// The four numbers, up to whatever follows the last of them.
bool takeAddress(std::string_view& text, IpAddress& address) {
    for (size_t i = 0; i < 4; ++i) {
        uint32_t number;
        if (i != 0 && (text.empty() || text[0] != '.')) return false;
        if (i != 0) text.remove_prefix(1);
        if (text.size() > 1 && text[0] == '0' && text[1] >= '0' && text[1] <= '9') return false;
        if (!takeNumber(text, 255, number)) return false;
        address.bytes[i] = static_cast<uint8_t>(number);
    }
    address.v6 = false;
    return true;
}

}  // namespace

bool readUsualAddress(std::string_view text, IpAddress& address) {
    return takeAddress(text, address) && text.empty();
}

bool readUsualPrefix(std::string_view text, IpPrefix& prefix) {
    if (!takeAddress(text, prefix.address) || text.empty() || text[0] != '/') return false;
    text.remove_prefix(1);
    if (!takeNumber(text, 32, prefix.length) || !text.empty()) return false;
    prefix.mask = prefix.length == 0 ? 0 : htonl(~uint32_t{0} << (32 - prefix.length));
    return true;
}

}  // namespace pcsim::host
