// Verbs of devices.
#include "host/verbs/host_verbs.h"

#include "console/text.h"
#include "host/devices/device_manager.h"

namespace pcsim::host {

namespace {

Device& deviceOf(Call& call) {
    return call.machine.devices().device(call.text("device"));
}

Cell stateCell(const Device& device) {
    return device.info != nullptr ? Cell(device.info->reportedState) : Cell();
}

Cell resultCell(const Device& device) {
    return device.lastResult ? Cell(*device.lastResult) : Cell();
}

Report showDevices(Call& call) {
    Table table{"devices",
                "Devices",
                {{"device", "Device", Align::kRight},
                 {"type", "Type"},
                 {"label", "Label"},
                 {"name", "Name"},
                 {"state", "State", Align::kRight},
                 {"value", "Value", Align::kRight},
                 {"reports", "Reports", Align::kRight},
                 {"lastCommand", "Command"},
                 {"lastResult", "Result", Align::kRight}},
                {},
                "no device has registered",
                ""};
    for (const auto& [number, device] : call.machine.devices().devices())
        table.rows.push_back({number, device.typeName, device.label, device.name(),
                              stateCell(device),
                              device.status != nullptr ? Cell(device.status->value) : Cell(),
                              device.reports, device.lastCommand, resultCell(device)});
    return table;
}

Fields infoFields(const Device& device) {
    const std::string title = "Information of device " + std::to_string(device.number);
    if (device.info == nullptr) return {"info", title + ": none", {}};
    const HalDeviceInfo& info = *device.info;
    return {"info",
            title,
            {{"name", "Name", textOf(info.part.description)},
             {"state", "State", stateCell(device)},
             {"serial", "Serial", textOf(info.part.serialNumber)},
             {"part", "Part", textOf(info.part.partNumber)},
             {"version", "Version", textOf(info.version)},
             {"build", "Build", textOf(info.build)},
             {"byte64", "A", info.part.byte64},
             {"byte65", "B", info.part.byte65},
             {"word68", "C", info.part.word68},
             {"word76", "D", info.part.word76},
             {"byte260", "E", info.byte260},
             {"byte261", "F", info.byte261},
             {"half262", "G", info.half262},
             {"word264", "H", info.word264},
             {"word268", "I", info.word268},
             {"word272", "J", info.word272}}};
}

// A status text has several lines; a field has one.
std::string oneLine(const std::string& text) {
    std::string line;
    for (const char c : text) {
        if (c != '\n')
            line += c;
        else if (!line.ends_with(' '))
            line += ' ';
    }
    return line;
}

Fields statusFields(const Device& device) {
    const std::string title = "Status of device " + std::to_string(device.number);
    if (device.status == nullptr) return {"status", title + ": none", {}};
    const HalDeviceStatus& status = *device.status;
    return {"status",
            title,
            {{"value", "Value", status.value},
             {"timeStamp", "Time stamp", status.timeStamp},
             {"text", "Text", oneLine(textOf(status.text))}}};
}

Report showDevice(Call& call) {
    Device& device = deviceOf(call);
    DeviceManager& devices = call.machine.devices();
    const auto capability = devices.capability(device);
    Fields fields{"device",
                  "Device " + std::to_string(device.number),
                  {{"device", "Device", device.number},
                   {"type", "Type", device.typeName},
                   {"label", "Label", device.label},
                   {"capability", "Capability", capability ? hexCell(*capability) : Cell()},
                   {"reports", "Reports", device.reports},
                   {"lastCommand", "Last command", device.lastCommand},
                   {"lastResult", "Result", resultCell(device)}}};
    return Report(fields).add(infoFields(device)).add(statusFields(device));
}

Report askInfo(Call& call) {
    Device& device = deviceOf(call);
    const DeviceAnswer answer = call.machine.devices().command(device, HAL_DEVICE_GET_INFO);
    if (answer.result != 0) fail("device {}: {}", device.number, answer.text);
    return infoFields(device);
}

Report askStatus(Call& call) {
    Device& device = deviceOf(call);
    const DeviceAnswer answer = call.machine.devices().command(device, HAL_DEVICE_GET_STATUS);
    if (answer.result != 0) fail("device {}: {}", device.number, answer.text);
    return statusFields(device);
}

// What a device can't do is no mistake of the command: the answer is told, like any other.
Report command(Call& call) {
    Device& device = deviceOf(call);
    const std::string& action = call.text("action");
    const uint32_t code = action == "enable"    ? HAL_DEVICE_ENABLE
                          : action == "disable" ? HAL_DEVICE_DISABLE
                                                : HAL_DEVICE_RESTART;
    const DeviceAnswer answer = call.machine.devices().command(device, code);
    return Fields{"answer",
                  "",
                  {{"device", "Device", fmt::format("{} ({})", device.number, device.name())},
                   {"command", "Command", action},
                   {"result", "Result", answer.result},
                   {"text", "Answer", answer.text.empty() ? "done" : answer.text}}};
}

}  // namespace

void addDeviceVerbs(HostVerbs& verbs) {
    verbs.show("show devices", "platform devices: state, last command", showDevices);
    verbs.show("show device <device:text>", "what is known of one device", showDevice);
    verbs.show("device <device:text> info", "ask a device who it is", askInfo);
    verbs.show("device <device:text> status", "ask a device how it is", askStatus);
    verbs.show("device <device:text> <action:enable|disable|restart>",
               "command a device and tell its answer", command);
    verbs.action("device <device:text> state <state:0-4294967295>",
                 "set a device's state, which the next poll reports", [](Call& call) {
                     call.machine.devices().setState(deviceOf(call), call.u32("state"));
                 });
}

}  // namespace pcsim::host
