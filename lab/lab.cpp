// Makes the pairs of interfaces and drives their far ends.
#include "lab/lab.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/if_packet.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "lab/interface.h"

namespace pcsim::lab {
namespace {

constexpr uint16_t kEtherType = 0x88B5;  // set aside for local experiments: no protocol listens
constexpr uint32_t kBurst = 200;         // frames between two looks at the counter
constexpr int kFruitlessBursts = 20;     // then the network is given up on

std::string portName(unsigned n) {
    return "eth" + std::to_string(n);
}

std::string cableName(unsigned n) {
    return "cable" + std::to_string(n);
}

Problem failed(const std::string& what) {
    return what + ": " + strerror(errno);
}

// Addresses that read well in a table: 02:00:00:00:00:05 is eth5, 02:00:00:01:00:05 its partner.
std::string macText(unsigned n, bool cable) {
    char text[18];
    snprintf(text, sizeof(text), "02:00:00:%02x:%02x:%02x", cable ? 1U : 0U, n >> 8 & 0xFF,
             n & 0xFF);
    return text;
}

// A socket that sends raw frames. The kernel counts a frame of which nobody wants to know as
// received and dropped; so this socket is also the one that wants the lab's frames, and its filter
// then accepts none of them.
int openPackets() {
    const int packets = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    if (packets < 0) return -1;
    sock_filter acceptNothing = BPF_STMT(BPF_RET | BPF_K, 0);
    const sock_fprog filter{.len = 1, .filter = &acceptNothing};
    sockaddr_ll protocol{};
    protocol.sll_family = AF_PACKET;
    protocol.sll_protocol = htons(kEtherType);
    if (setsockopt(packets, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof(filter)) == 0 &&
        bind(packets, reinterpret_cast<const sockaddr*>(&protocol), sizeof(protocol)) == 0)
        return packets;
    const int error = errno;
    close(packets);
    errno = error;
    return -1;
}

// The commands that make everything, for one run of "ip".
std::string commands(unsigned frontPanelPorts) {
    std::string text;
    for (unsigned n = 0; n <= frontPanelPorts; ++n) {
        const std::string port = portName(n);
        const std::string cable = cableName(n);
        text += "link add name " + port + " address " + macText(n, false) +
                " type veth peer name " + cable + " address " + macText(n, true) + "\n";
        text += "link set dev " + port + " arp off multicast off up\n";
        text += "link set dev " + cable + " arp off multicast off up\n";
    }
    return text;
}

// IPv6 would send of its own accord as soon as a link comes up.
Problem turnIpv6Off() {
    for (const char* scope : {"all", "default"}) {
        const std::string path = std::string("/proc/sys/net/ipv6/conf/") + scope + "/disable_ipv6";
        const Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
        if (file.get() < 0 && errno == ENOENT) return std::nullopt;  // a kernel without IPv6
        if (file.get() < 0 || write(file.get(), "1", 1) != 1)
            return failed("cannot turn IPv6 off in the lab (" + path + ")");
    }
    return std::nullopt;
}

// In the child: "ip" with 'input' as standard input and its errors in 'errors'.
[[noreturn]] void becomeIp(int input, int errors) {
    const int nothing = open("/dev/null", O_WRONLY);
    dup2(input, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    for (const char* path : {"/usr/sbin/ip", "/sbin/ip", "/usr/bin/ip", "/bin/ip"})
        execl(path, "ip", "-batch", "-", static_cast<char*>(nullptr));
    _exit(127);
}

// A temporary file without a name that holds 'text', positioned at its begin.
int fileHolding(const std::string& text) {
    const int file = memfd_create("ip-batch", MFD_CLOEXEC);
    if (file < 0) return -1;
    if (write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        close(file);
        return -1;
    }
    lseek(file, 0, SEEK_SET);
    return file;
}

std::string firstLineOf(int file) {
    char text[512] = "";
    const ssize_t length = pread(file, text, sizeof(text) - 1, 0);
    const std::string all(text, length > 0 ? static_cast<size_t>(length) : 0);
    return all.substr(0, all.find('\n'));
}

Problem runIp(const std::string& batch) {
    const Descriptor input(fileHolding(batch));
    const Descriptor errors(fileHolding(""));
    if (input.get() < 0 || errors.get() < 0) return failed("cannot prepare the lab");
    const pid_t child = fork();
    if (child < 0) return failed("cannot start \"ip\"");
    if (child == 0) becomeIp(input.get(), errors.get());
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return std::nullopt;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127)
        return "the lab needs the program \"ip\": apt-get install iproute2";
    return "cannot make the lab's interfaces: " + firstLineOf(errors.get());
}

}  // namespace

Lab::Lab() = default;

Lab::~Lab() {
    if (control_ >= 0) close(control_);
    if (packets_ >= 0) close(packets_);
}

Problem Lab::create(unsigned frontPanelPorts) {
    if (created_) return "this lab exists already";
    if (frontPanelPorts > kMostPorts)
        return "a lab has at most " + std::to_string(kMostPorts) + " ports";
    control_ = openControl();
    packets_ = openPackets();
    if (control_ < 0 || packets_ < 0) return failed("cannot open the lab's sockets");
    if (auto problem = turnIpv6Off()) return problem;
    if (auto problem = runIp(commands(frontPanelPorts))) return problem;
    ports_ = frontPanelPorts;
    created_ = true;
    return std::nullopt;
}

Problem Lab::checkNumber(unsigned n) const {
    if (!created_) return "there is no lab";
    if (n > ports_)
        return "there is no cable " + std::to_string(n) + "; the lab has 0 to " +
               std::to_string(ports_);
    return std::nullopt;
}

Problem Lab::pull(unsigned n) {
    if (auto problem = checkNumber(n)) return problem;
    if (setUp(control_, cableName(n), false) < 0) return failed("cannot pull " + cableName(n));
    return std::nullopt;
}

Problem Lab::plug(unsigned n) {
    if (auto problem = checkNumber(n)) return problem;
    if (setUp(control_, cableName(n), true) < 0) return failed("cannot plug " + cableName(n));
    return std::nullopt;
}

Problem Lab::send(unsigned n, uint32_t count) {
    if (auto problem = checkNumber(n)) return problem;
    return transmit(cableName(n), portName(n), count);
}

Problem Lab::sendFrom(unsigned n, uint32_t count) {
    if (auto problem = checkNumber(n)) return problem;
    return transmit(portName(n), cableName(n), count);
}

// A frame that finds the receiver's queue full is counted nowhere, and one that left is counted at
// both ends at once. So the counter says how many are still to be sent.
Problem Lab::transmit(const std::string& from, const std::string& to, uint32_t count) {
    if (!hasCarrier(control_, from))
        return "no frame can go from " + from + " to " + to + ": there is no link";
    std::array<uint8_t, kFrameBytes> frame{};
    const Mac destination = macOf(control_, to);
    const Mac source = macOf(control_, from);
    std::ranges::copy(destination, frame.begin());
    std::ranges::copy(source, frame.begin() + 6);
    frame[12] = kEtherType >> 8;
    frame[13] = kEtherType & 0xFF;

    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_ifindex = indexOf(control_, from);
    const uint64_t before = frameCounts(from).sent;
    uint64_t sent = 0;
    for (int fruitless = 0; sent < count; ++fruitless) {
        const uint64_t burst = std::min<uint64_t>(count - sent, kBurst);
        for (uint64_t i = 0; i < burst; ++i) {
            const ssize_t result =
                sendto(packets_, frame.data(), frame.size(), 0,
                       reinterpret_cast<const sockaddr*>(&address), sizeof(address));
            if (result < 0 && errno != ENOBUFS && errno != EINTR)
                return failed("cannot send from " + from);
        }
        const uint64_t now = frameCounts(from).sent - before;
        if (now != sent) fruitless = -1;
        sent = now;
        if (fruitless == kFruitlessBursts) return "frames from " + from + " do not arrive at " + to;
    }
    return std::nullopt;
}

bool Lab::isPlugged(unsigned n) const {
    return !checkNumber(n) && isUp(control_, cableName(n));
}

bool Lab::partnerHasCarrier(unsigned n) const {
    return !checkNumber(n) && hasCarrier(control_, cableName(n));
}

std::vector<End> Lab::ends() const {
    std::vector<End> all;
    if (!created_) return all;
    for (unsigned n = 0; n <= ports_; ++n) {
        for (const std::string& name : {portName(n), cableName(n)})
            all.push_back(
                {.name = name, .up = isUp(control_, name), .carrier = hasCarrier(control_, name)});
    }
    return all;
}

}  // namespace pcsim::lab
