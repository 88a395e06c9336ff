// What a request over pcsim's socket costs, beside an echo on a socket of the same kind; and
// whether a hundred subscribers of a thousand events a second miss one.
//
//   bench_doors PCSIM
//
// The echo is a process of its own that reads and writes back, with answers as long as pcsim's.
// Both are asked turn by turn, so that they meet the same machine.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

#include "bench/machine.h"

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 31;
constexpr int kRequests = 2000;  // of a round
constexpr int kAhead = 32;       // requests under way at a time, where several are
constexpr int kSubscribers = 100;
constexpr int kEvents = 5000;
constexpr auto kBetweenEvents = std::chrono::milliseconds(1);

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "bench_doors: %s\n", what.c_str());
    std::exit(1);
}

class Connection {
public:
    explicit Connection(int descriptor) : socket_(descriptor) {}
    explicit Connection(const std::string& path) : socket_(socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            fail(path + ": " + std::strerror(errno));
    }
    ~Connection() { close(socket_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int descriptor() const { return socket_; }

    void send(const std::string& line) {
        if (write(socket_, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            fail("a request could not be sent");
    }
    // Reads what is there; how many lines ended in it.
    int readSome() {
        static char bytes[262144];
        const ssize_t size = read(socket_, bytes, sizeof bytes);
        if (size <= 0) fail("a connection has ended");
        text.assign(bytes, static_cast<size_t>(size));
        return static_cast<int>(std::count(bytes, bytes + size, '\n'));
    }

    std::string text;  // what was read last

private:
    int socket_;
};

// Requests a second, 'ahead' of them under way at a time.
double rateOf(Connection& connection, const std::string& request, int ahead) {
    std::string burst;
    for (int n = 0; n < ahead; ++n) burst += request;
    const auto start = Clock::now();
    for (int done = 0; done < kRequests; done += ahead) {
        connection.send(burst);
        for (int lines = 0; lines < ahead;) lines += connection.readSome();
    }
    return kRequests / std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

// Answers each line with 'answer' until the peer ends.
std::unique_ptr<Connection> echo(const std::string& answer) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) fail("no socket");
    if (fork() == 0) {
        close(ends[0]);
        char bytes[65536];
        for (ssize_t size; (size = read(ends[1], bytes, sizeof bytes)) > 0;) {
            std::string answers;
            for (auto left = std::count(bytes, bytes + size, '\n'); left > 0; --left)
                answers += answer;
            if (write(ends[1], answers.data(), answers.size()) < 0) break;
        }
        _exit(0);
    }
    close(ends[1]);
    return std::make_unique<Connection>(ends[0]);
}

std::string requestOf(const char* method, const std::string& parameters) {
    return R"({"jsonrpc":"2.0","id":1,"method":")" + std::string(method) + R"(","params":)" +
           parameters + "}\n";
}

void compare(const std::string& path, const char* what, const std::string& request) {
    Connection instance(path);
    instance.send(request);
    instance.readSome();
    const auto peer = echo(instance.text);
    for (const int ahead : {1, kAhead}) {
        std::vector<double> rates, echoes, ratios;
        for (int round = 0; round < kRounds; ++round) {
            rates.push_back(rateOf(instance, request, ahead));
            echoes.push_back(rateOf(*peer, request, ahead));
            ratios.push_back(rates.back() / echoes.back());
        }
        std::printf("%-16s %5d %10.0f %10.0f %6.2f\n", what, ahead, median(rates), median(echoes),
                    median(ratios));
    }
}

double processorSeconds(pid_t process) {
    char name[64];
    std::snprintf(name, sizeof name, "/proc/%d/stat", static_cast<int>(process));
    FILE* const file = std::fopen(name, "r");
    unsigned long user = 0, system = 0;
    if (file == nullptr ||
        std::fscanf(file, "%*d %*s %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user,
                    &system) != 2)
        fail("/proc can't be read");
    std::fclose(file);
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

struct Subscriber {
    static constexpr std::string_view kMethod = "\"method\":\"";

    std::unique_ptr<Connection> connection;
    int events = 0, lost = 0;
    std::string rest;  // of a line that has no end yet

    void readSome() {
        connection->readSome();
        rest += connection->text;
        const size_t end = rest.rfind('\n') + 1;
        for (size_t at = 0; (at = rest.find(kMethod, at)) < end; at += kMethod.size()) {
            events += rest.compare(at + kMethod.size(), 5, "event") == 0 ? 1 : 0;
            lost += rest.compare(at + kMethod.size(), 4, "lost") == 0 ? 1 : 0;
        }
        rest.erase(0, end);
    }
};

void subscribe(const std::string& path, pid_t process) {
    std::vector<Subscriber> all(kSubscribers);
    for (Subscriber& one : all) {
        one.connection = std::make_unique<Connection>(path);
        one.connection->send(requestOf("events", R"({"sources":["lab"]})"));
        one.connection->readSome();
    }
    Connection source(path);
    const std::string event = requestOf("run", R"({"line":"cable 1 send 1"})");
    std::vector<pollfd> polled;
    for (const Subscriber& one : all) polled.push_back({one.connection->descriptor(), POLLIN, 0});
    const double before = processorSeconds(process);
    const auto start = Clock::now();
    int sent = 0;
    const auto complete = [&] {
        return std::ranges::all_of(
            all, [](const Subscriber& one) { return one.events + one.lost >= kEvents; });
    };
    while (!complete() && Clock::now() - start < std::chrono::seconds(60)) {
        for (; sent < kEvents && Clock::now() - start >= sent * kBetweenEvents; ++sent) {
            source.send(event);
            source.readSome();
        }
        poll(polled.data(), polled.size(), 1);
        for (size_t n = 0; n < all.size(); ++n)
            if (polled[n].revents != 0) all[n].readSome();
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    int events = 0, lost = 0;
    for (const Subscriber& one : all) {
        events += one.events;
        lost += one.lost;
    }
    std::printf(
        "\n%d subscribers: %d events in %.2f s, %.0f a second; told %d, lost %d; "
        "%.0f %% of a processor\n",
        kSubscribers, sent, seconds, sent / seconds, events, lost,
        100 * (processorSeconds(process) - before) / seconds);
    if (lost != 0 || events != kSubscribers * kEvents) fail("subscribers have missed something");
}

}  // namespace

int main(int argc, char** argv) {
    const pcsim::bench::Machine machine;
    if (argc != 2) fail("expected the path of pcsim");
    char folder[] = "/tmp/pcsim-bench-XXXXXX";
    if (mkdtemp(folder) == nullptr) fail("no folder");
    setenv("PCSIM_RUN_DIR", folder, 1);
    const std::string path = std::string(folder) + "/bench.sock";
    const pid_t process = fork();
    if (process == 0) {
        execl(argv[1], argv[1], "--lab", "4", "--quiet", "--serve", "--name", "bench", nullptr);
        _exit(127);
    }
    while (access(path.c_str(), F_OK) != 0 && waitpid(process, nullptr, WNOHANG) == 0)
        usleep(10000);
    std::printf("%-16s %5s %10s %10s %6s\n", "request", "ahead", "pcsim/s", "echo/s", "ratio");
    compare(path, "status", requestOf("status", "{}"));
    compare(path, "run echo", requestOf("run", R"({"line":"echo x"})"));
    compare(path, "run show ports", requestOf("run", R"({"line":"show ports"})"));
    subscribe(path, process);
    kill(process, SIGTERM);
    waitpid(process, nullptr, 0);
    rmdir(folder);
    machine.tell();
}
