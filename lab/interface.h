// Network interfaces by name, through the kernel's own ioctls: never through an emulation that is
// linked in or preloaded.
#ifndef PCSIM_LAB_INTERFACE_H
#define PCSIM_LAB_INTERFACE_H

#include <array>
#include <cstdint>
#include <string>

namespace pcsim::lab {

using Mac = std::array<uint8_t, 6>;

// A socket for the functions below; -1 with errno when there is none.
int openControl();

// A file descriptor that closes itself.
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number_; }

private:
    int number_;
};

// False, 0 or all zeros for an interface that is not there.
bool isUp(int control, const std::string& name);
bool hasCarrier(int control, const std::string& name);
bool hasRealMii(int control, const std::string& name);
int indexOf(int control, const std::string& name);
Mac macOf(int control, const std::string& name);

// 0, or -1 with errno.
int setUp(int control, const std::string& name, bool up);

// Frames that the kernel has counted.
struct FrameCounts {
    uint64_t received = 0;
    uint64_t sent = 0;
};
FrameCounts frameCounts(const std::string& name);

}  // namespace pcsim::lab

#endif
