/// Writing a new firmware image into the hub's flash.
///
/// The order keeps a half-written flash from ever looking valid: the mark of the image in flash is destroyed before
/// the erase, the new image is written with its mark blank (FF FF, which needs no erase to be programmed later), and
/// the mark is written only after the read-back matched. Until then the hub starts its boot ROM, where the next
/// update finds it.
#pragma once

#include "hub/progress_callback.h"
#include "hub/result_codes.h"

#include <cstdint>

namespace hub {

/// Writes `length` bytes at `image` to the hub of the open session, in pieces of 4096, reads them back and
/// restarts the hub into them; the session is then open on the restarted hub. Reports 10 after the erase,
/// up to 40 more for writing and 40 for reading back (each piece's share is truncated to a whole number), then 10.
///
/// Returns hub_update_success, also after a failed read-back, comparison or restart (the printed
/// line tells which); the status of a write that the hub refused; or another hub_update code. After a failure beyond
/// ROM entry the hub stays in ROM mode and `image` may be left with its mark blank.
///
/// Prints lines: "Fail To Open Rom Device\nPlease Load Driver firstly\nThen replugin usb hub device", "Fail
/// to Erase Flash", "Fail to Write Flash", "Write Flash done. ", "Fail to Read Flash", "Verify Flash...",
/// "Fail to verify flash", "Reset to Flash Code...", "Fail to Reset to Flash Code".
std::int32_t updateHubFirmware(std::uint8_t* image, std::uint32_t length, ProgressCallback callback,
                               void* context);

} // namespace hub
