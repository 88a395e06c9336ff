/* phy: reads and writes PHY registers through the MII ioctls, as the platform does.
 *
 *   phy NAME               registers 0 to 5 in one line: "eth1: phy 0: 1140 796d 0141 0c20 0de1
 * 45e1" phy NAME get REG       one register: "796d" phy NAME set REG VAL   writes one phy NAME down
 * | up     what the platform does to disable and to enable a port
 *
 * Exit status 0; 1 with the failing call and its error; 2 for a wrong command line. */
#include <errno.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

static int control;
static struct ifreq request;

static struct mii_ioctl_data* mii(void) {
    return (struct mii_ioctl_data*)&request.ifr_data;
}

static void ask(unsigned long code, const char* what) {
    if (ioctl(control, code, &request) >= 0) return;
    printf("%s: %s: %s\n", request.ifr_name, what, strerror(errno));
    exit(1);
}

static unsigned get(unsigned number) {
    mii()->reg_num = (unsigned short)number;
    ask(SIOCGMIIREG, "SIOCGMIIREG");
    return mii()->val_out;
}

static void set(unsigned number, unsigned value) {
    mii()->reg_num = (unsigned short)number;
    mii()->val_in = (unsigned short)value;
    ask(SIOCSMIIREG, "SIOCSMIIREG");
}

static unsigned parse(const char* text) {
    return (unsigned)strtoul(text, NULL, 0);
}

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    control = socket(AF_INET, SOCK_DGRAM, 0);
    strncpy(request.ifr_name, argv[1], IFNAMSIZ - 1);
    ask(SIOCGMIIPHY, "SIOCGMIIPHY");
    if (argc == 2) {
        printf("%s: phy %u:", argv[1], mii()->phy_id);
        for (unsigned number = 0; number <= 5; ++number) printf(" %04x", get(number));
        printf("\n");
    } else if (argc == 4 && strcmp(argv[2], "get") == 0) {
        printf("%04x\n", get(parse(argv[3])));
    } else if (argc == 5 && strcmp(argv[2], "set") == 0) {
        set(parse(argv[3]), parse(argv[4]));
    } else if (argc == 3 && strcmp(argv[2], "down") == 0) {
        set(MII_ADVERTISE, 0x0001);
        set(MII_BMCR, 0x1200);
        printf("%04x\n", get(MII_BMSR));
    } else if (argc == 3 && strcmp(argv[2], "up") == 0) {
        set(MII_BMCR, 0x8000);
        printf("%04x\n", get(MII_BMSR));
    } else {
        return 2;
    }
    close(control);
    return 0;
}
