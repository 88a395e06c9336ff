/* frames: sends a counted number of frames of the shortest length from one network card to another.
 *
 *   frames FROM TO COUNT
 *
 * Exit status 0 when the kernel has taken all of them; 1 with the failing call; 2 for a wrong
 * command line. */
#include <arpa/inet.h>
#include <errno.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

enum { kEtherType = 0x88B5, kFrameBytes = 60, kPauseUs = 200 };

static int packets;

static int fail(const char* what) {
    printf("%s: %s\n", what, strerror(errno));
    return 1;
}

static int macOf(const char* name, unsigned char* mac) {
    struct ifreq request = {0};
    strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    if (ioctl(packets, SIOCGIFHWADDR, &request) < 0) return -1;
    memcpy(mac, request.ifr_hwaddr.sa_data, 6);
    return 0;
}

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    /* Bound to the protocol, so that the kernel does not count the frames as unwanted. */
    packets = socket(AF_PACKET, SOCK_RAW, htons(kEtherType));
    if (packets < 0) return fail("socket");
    unsigned char frame[kFrameBytes] = {0};
    if (macOf(argv[2], frame) < 0) return fail(argv[2]);
    if (macOf(argv[1], frame + 6) < 0) return fail(argv[1]);
    frame[12] = kEtherType >> 8;
    frame[13] = kEtherType & 0xFF;
    struct sockaddr_ll address = {.sll_family = AF_PACKET, .sll_protocol = htons(kEtherType)};
    address.sll_ifindex = (int)if_nametoindex(argv[1]);
    for (long left = strtol(argv[3], NULL, 10); left > 0;) {
        const ssize_t sent = sendto(packets, frame, sizeof(frame), 0,
                                    (const struct sockaddr*)&address, sizeof(address));
        if (sent >= 0) {
            --left;
        } else if (errno != ENOBUFS) {
            return fail("sendto");
        }
        usleep(kPauseUs); /* an emulated card has a short queue */
    }
    close(packets);
    return 0;
}
