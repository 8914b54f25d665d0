/// The three DDC/CI messages that the tool exchanges with the running display, through the hub's I2C bridge.
///
///     to the display, after 0x51     wait     from the display
///     82 01 C9 FF                    100 ms   11 bytes; 8 and 9: firmware level, major and minor
///     83 F3 offH offL FF             100 ms   32 bytes; 1: length, 3 and 4: offset, 5 to 30: text
///     84 03 04 00 01 FF              none     none
///
/// Every message ends in FF where DDC/CI has a checksum; the display does not check it. Numbers from VESA DDC/CI 1.1
/// and MCCS 2.2.
#pragma once

#include "app/image_fields.h"

#include <QByteArray>

#include <cstdint>

struct CapabilitiesFragment
{
    /// Bytes of text in a fragment, and so the step from one fragment's offset to the next.
    static constexpr std::uint16_t text_size = 26;

    std::uint16_t offset = 0; ///< as the display echoes it
    bool is_full = false;     ///< more may follow
    QByteArray text;          ///< always `text_size` bytes
};

/// Points the bridge of the open hub at the display; call before the functions below.
bool selectDisplay();

/// VCP feature 0xC9, display firmware level; 0.0 when the display does not answer. Blocks for 100 ms.
FirmwareVersion readFirmwareLevel();

/// One fragment of the capabilities string; all zero when the display does not answer. Blocks for 100 ms.
CapabilitiesFragment readCapabilities(std::uint16_t offset);

/// VCP feature 0x04, restore factory defaults.
void restoreFactoryDefaults();
