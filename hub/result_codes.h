/// What the hub library answers with beyond yes and no: the results of the two updates, the last error of
/// discovery and the link speed. Part of hub_api.h; the layers below use the same numbers.
#pragma once

#include <cstdint>

namespace hub {

/// Results of UpdateHubFw. When the hub refuses a flash write, its 32-bit status is the result instead.
constexpr std::int32_t hub_update_success = 1;
constexpr std::int32_t hub_update_failed = 0;          ///< closed, no callback, or the erase failed
constexpr std::int32_t hub_update_no_rom_mode = 41511; ///< the hub would not start its boot ROM

/// Results of UpdateScalarFw. A closed hub gives 0 as well.
constexpr std::uint32_t scaler_update_success = 0;
constexpr std::uint32_t scaler_update_no_slave = 41511;  ///< the bridge could not be configured
constexpr std::uint32_t scaler_update_not_ready = 41512; ///< no ISP mode, or a block that is not blank
constexpr std::uint32_t scaler_update_write = 41513;     ///< a chunk could not be written
constexpr std::uint32_t scaler_update_marker = 41519;    ///< the user-code marker could not be written
constexpr std::uint32_t scaler_update_bad_image = 41521; ///< empty, or not a user-code image

/// Values of g_ErrCode.
enum Error : std::int32_t {
    error_enumeration = 2, ///< the operating system refused the listing
    error_plug_in = 3,     ///< a device gave no access path
    error_interface = 4,   ///< a device gave no device interface
    error_open = 5,        ///< no hub found, or opening it failed
    error_rom_mode = 12    ///< the hub would not come up in ROM mode
};

} // namespace hub

/// The last error of discovery and of ROM entry, for diagnosis; never cleared.
extern std::int32_t g_ErrCode;

/// USB link speed of the open hub.
enum myUSB_DEVICE_SPEED : std::uint32_t {
    myUSB_SPEED_UNKNOWN = 0, ///< unknown, or faster than SuperSpeed
    myUSB_SPEED_LOW = 1,
    myUSB_SPEED_FULL = 2,
    myUSB_SPEED_HIGH = 3, ///< USB 2
    myUSB_SPEED_SUPER = 4 ///< USB 3
};
