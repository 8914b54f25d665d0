/// Prints the udev rule that lets the person at the seat open the hub: one line for each identity in the table
/// that the updater itself goes by, the hub's two faces and its boot ROM among them.
#include "hub/transport/hub_ids.h"

#include <cstdio>

namespace {

constexpr auto header =
    "# Lets the person at the seat update the hub of a QX Series monitor. Has to be read before\n"
    "# 73-seat-late.rules, which hands out the nodes that are tagged here.\n";

void printRule(std::uint16_t vid, std::uint16_t pid)
{
    // On every event but the last: a change, which the package asks for, has to keep the tag.
    std::printf("ACTION!=\"remove\", SUBSYSTEM==\"usb\", ENV{DEVTYPE}==\"usb_device\", "
                "ATTR{idVendor}==\"%04x\", ATTR{idProduct}==\"%04x\", TAG+=\"uaccess\"\n",
                vid, pid);
}

} // namespace

int main()
{
    std::fputs(header, stdout);
    for (const PidVidCouple& row : g_pidvidCouple) {
        if (row.enabled != 1)
            continue;
        printRule(row.vid, row.pid);
        if (row.pid2 != 0)
            printRule(row.vid, row.pid2);
    }
    return 0;
}
