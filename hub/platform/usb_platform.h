/// What the hub library needs from an operating system: a list of USB devices and control requests on
/// endpoint 0. The layers above compile against this header alone; the program's linker picks the one
/// implementation (IOKit, libusb, or the virtual monitor).
///
/// Status values are IOKit's 32-bit numbers on every operating system, 0 being success.
#pragma once

#include <cstdint>
#include <memory>

namespace platform {

using Status = std::uint32_t;

constexpr Status success = 0;
constexpr Status io_error = 0xE00002BC;         ///< kIOReturnError: any other error
constexpr Status no_memory = 0xE00002BD;        ///< kIOReturnNoMemory
constexpr Status no_device = 0xE00002C0;        ///< kIOReturnNoDevice: it left the bus
constexpr Status not_privileged = 0xE00002C1;   ///< kIOReturnNotPrivileged: the user may not open the node
constexpr Status bad_argument = 0xE00002C2;     ///< kIOReturnBadArgument
constexpr Status exclusive_access = 0xE00002C5; ///< kIOReturnExclusiveAccess: another process holds it
constexpr Status unsupported = 0xE00002C7;      ///< kIOReturnUnsupported
constexpr Status not_open = 0xE00002CD;         ///< kIOReturnNotOpen: a request before open()
constexpr Status timeout = 0xE00002D6;          ///< kIOReturnTimeout
constexpr Status overrun = 0xE00002E8;          ///< kIOReturnOverrun: more data than was asked for
constexpr Status aborted = 0xE00002EB;          ///< kIOReturnAborted
constexpr Status not_responding = 0xE00002ED;   ///< kIOReturnNotResponding
constexpr Status not_found = 0xE00002F0;        ///< kIOReturnNotFound: no session
constexpr Status pipe_stalled = 0xE000404F;     ///< kIOUSBPipeStalled: the device refused the request

/// Link speed as the operating system codes it; a code above `super` is a link faster than SuperSpeed.
enum class LinkSpeed : std::uint8_t { low = 0, full = 1, high = 2, super = 3 };

/// One control transfer on endpoint 0 (USB 2.0, table 9-2). Bit 7 of `requestType` set: the device fills
/// `data`; clear: the device takes it. `data` belongs to the caller, holds at least `length` bytes and is
/// null when there is no data stage.
struct ControlRequest
{
    std::uint8_t requestType;
    std::uint8_t request;
    std::uint16_t value;
    std::uint16_t index;
    std::uint16_t length;
    void* data;
};

/// A device with a device interface. Destroying it releases the interface, which also ends exclusive use if close()
/// did not. Every operation blocks until it is done; none throws.
class Device
{
public:
    virtual ~Device() = default;

    /// idVendor / idProduct of the device descriptor. `*id` is untouched unless the result is `success`.
    virtual Status vendorId(std::uint16_t* id) = 0;
    virtual Status productId(std::uint16_t* id) = 0;

    /// Takes the device for exclusive use by this process. `exclusive_access` when another holds it,
    /// `not_privileged` when the user may not open it, `no_device` when it is gone. The operating system decides
    /// whether this process may open one device through two objects: on Linux it may, on macOS it may not.
    virtual Status open() = 0;
    /// Ends exclusive use. `not_open` without a preceding open().
    virtual Status close() = 0;

    /// The link speed as a LinkSpeed code, or a number above it. `*code` is untouched on failure.
    virtual Status speed(std::uint8_t* code) = 0;
    /// Bus number in the top byte, then one hex digit for each hub port on the path to the device.
    virtual Status locationId(std::uint32_t* location) = 0;

    /// Sends one control request and waits until it is done, or for as long as the operating system lets a device
    /// stay silent (5 s). `pipe_stalled` when the device refuses it, `timeout`, `no_device`, `not_open`;
    /// `bad_argument`, with nothing sent, when there is a length but no data.
    Status controlRequest(const ControlRequest& request)
    {
        return lacksData(request) ? bad_argument : doControlRequest(request);
    }
    /// The same with two time limits in milliseconds: while no data moves, and for the whole request.
    Status controlRequest(const ControlRequest& request, std::uint32_t noDataTimeout,
                          std::uint32_t completionTimeout)
    {
        return lacksData(request) ? bad_argument
                                  : doControlRequest(request, noDataTimeout, completionTimeout);
    }

private:
    /// What each operating system implements of the two; the data is there if `length` is not 0.
    virtual Status doControlRequest(const ControlRequest& request) = 0;
    virtual Status doControlRequest(const ControlRequest& request, std::uint32_t noDataTimeout,
                                    std::uint32_t completionTimeout) = 0;

    static bool lacksData(const ControlRequest& request) { return request.length != 0 && !request.data; }
};

/// The result for one enumerated device.
enum class Found {
    device,       ///< a device interface was obtained
    no_plug_in,   ///< the operating system has no access path to this device
    no_interface, ///< there is an access path, but it gave no device interface
    end           ///< no more devices; next() is not called again
};

/// The devices on the bus at one moment, in an order that stays the same from one enumeration to the next.
class Enumeration
{
public:
    virtual ~Enumeration() = default;

    /// Advances to the next device. Fills `*device` only when the result is `Found::device`; the caller owns the
    /// device, which may outlive the enumeration.
    virtual Found next(std::unique_ptr<Device>* device) = 0;
};

/// Scans the bus anew. Null when the operating system refuses to list the devices.
std::unique_ptr<Enumeration> enumerateUsbDevices();

} // namespace platform
