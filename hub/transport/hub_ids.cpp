/// The table of accepted hub identities and its two searches.
#include "hub/transport/hub_ids.h"

#include <algorithm>

const std::array<PidVidCouple, 64> g_pidvidCouple = {{
    {1, 0x2E4D, 0x7300, 0},
    {1, 0x2E4D, 0x0300, 0},
    {1, 0x2E4D, 0x0304, 0},
    {1, 0x2E4D, 0x0305, 0},
    {1, 0x2E4D, 0x0301, 0},
    {1, 0x2E4D, 0x7304, 0},
    {1, 0x2E4D, 0x7305, 0},
    {1, 0x2E4D, 0x7301, 0},
}};

bool isInVidPidPool(std::uint16_t vid, std::uint16_t pid)
{
    return std::any_of(g_pidvidCouple.begin(), g_pidvidCouple.end(), [=](const PidVidCouple& row) {
        return row.enabled == 1 && row.vid == vid && (row.pid == pid || row.pid2 == pid);
    });
}

bool isInVidPidPidPool(std::uint16_t vid, std::uint16_t pid, std::uint16_t pid2)
{
    return std::any_of(g_pidvidCouple.begin(), g_pidvidCouple.end(), [=](const PidVidCouple& row) {
        return row.enabled == 1 && row.vid == vid && row.pid == pid && row.pid2 == pid2;
    });
}
