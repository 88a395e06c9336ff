// What a build is measured against: a small program with the two libraries that most C++ programs
// of this kind begin with, in one file. It compiles at the speed of the machine and of the hour.
#define FMT_HEADER_ONLY
#include <fmt/format.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace {

struct Port {
    std::string name;
    unsigned speed = 0;
    bool up = false;
};

std::vector<Port> readPorts(const std::string& path) {
    std::ifstream file(path);
    std::vector<Port> ports;
    for (const auto& [name, port] : nlohmann::json::parse(file).at("ports").items())
        ports.push_back({name, port.value("speed", 0U), port.value("up", false)});
    return ports;
}

nlohmann::json summaryOf(const std::vector<Port>& ports) {
    std::map<unsigned, unsigned> bySpeed;
    for (const Port& port : ports)
        if (port.up) ++bySpeed[port.speed];
    nlohmann::json summary = {{"ports", ports.size()}, {"speeds", nlohmann::json::object()}};
    for (const auto& [speed, count] : bySpeed)
        summary["speeds"][fmt::format("{} Mbps", speed)] = count;
    return summary;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        fmt::print(stderr, "usage: {} FILE\n", argv[0]);
        return 2;
    }
    const std::vector<Port> ports = readPorts(argv[1]);
    for (const Port& port : ports)
        fmt::print("{:<12} {:>6} {}\n", port.name, port.speed, port.up ? "up" : "down");
    fmt::print("{}\n", summaryOf(ports).dump(2));
    return 0;
} catch (const std::exception& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 1;
}
