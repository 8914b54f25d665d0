/// A device on the virtual bus: the faces of the virtual monitor's hub, and in tests foreign or scripted devices.
/// control() is what the device answers; the rest is what an operating system says about it.
#pragma once

#include "hub/platform/usb_platform.h"
#include "sim/bus/setup_packet.h"

#include <cstdint>
#include <memory>

namespace sim {

class BusDevice;
class DeviceHandle;
class VirtualBus;

struct DeviceTraits
{
    std::uint16_t vendor_id = 0;
    std::uint16_t product_id = 0;
    /// A platform::LinkSpeed, or a number above it.
    std::uint8_t speed = static_cast<std::uint8_t>(platform::LinkSpeed::high);
    std::uint32_t location = 0; ///< bus number in the top byte, then one hex digit per port
};

/// How the operating system fails with this device; by default it does not.
struct DeviceTroubles
{
    bool no_plug_in = false;
    bool no_interface = false;
    bool held_by_other = false; ///< another process has it open
    platform::Status vendor_id = platform::success;
    platform::Status product_id = platform::success;
    platform::Status speed = platform::success;
    platform::Status location = platform::success;
};

struct DeviceCounters
{
    int opens = 0;           ///< open() that succeeded
    int closes = 0;          ///< close() by the handle that had it open, even after the device left
    int live_interfaces = 0; ///< handles that exist now, to this and to earlier stays on the bus
};

/// How a device loses its power.
struct PowerLoss
{
    bool during_request = false; ///< cuts short the request just carried out
    std::uint64_t seed = 1;      ///< decides which bits of a torn flash operation got done
};

/// What a device shares with the handles to it, which may outlive it.
struct DeviceLink
{
    BusDevice* device = nullptr; ///< null once the device is destroyed
    VirtualBus* bus = nullptr;
    unsigned stay = 0; ///< counts arrivals: a handle to an earlier stay is dead for good
    const DeviceHandle* holder = nullptr;
    DeviceCounters counters;
};

class BusDevice
{
public:
    explicit BusDevice(const DeviceTraits& deviceTraits = {});
    virtual ~BusDevice();
    BusDevice(const BusDevice&) = delete;
    BusDevice& operator=(const BusDevice&) = delete;

    DeviceTraits traits;
    DeviceTroubles troubles;

    /// On the bus now? It keeps its position while it is away.
    virtual bool present() const { return present_; }
    /// Takes it off the bus, or brings it back as a new device.
    void setPresent(bool present);

    /// Answers one request. `data` holds `setup.length` bytes, and a reply fills all of them. Unless overridden
    /// it stalls.
    virtual platform::Status control(const SetupPacket& setup, std::uint8_t* data);
    /// The cable is pulled.
    virtual void unplug();
    /// The power goes; unless overridden the device just leaves the bus.
    virtual void losePower(const PowerLoss& loss);

    const DeviceCounters& counters() const { return link_->counters; }
    VirtualBus* bus() const { return link_->bus; }

protected:
    /// Ends every handle: what comes back later is a new device.
    void leaveBus();

private:
    friend class VirtualBus;

    std::shared_ptr<DeviceLink> link_;
    bool present_ = true;
};

} // namespace sim
