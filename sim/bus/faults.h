/// Every way in which the virtual monitor goes wrong on purpose: a single request that is refused, lost or spoilt, and
/// devices that never do what they should. Nothing is random: a seed decides how a flash operation is torn.
#pragma once

#include "hub/platform/usb_platform.h"
#include "sim/bus/bus_device.h"
#include "sim/bus/clock.h"
#include "sim/bus/setup_packet.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace sim {

using Matches = std::function<bool(const SetupPacket&)>;

/// Matches one request in one direction, say vendor_out, whatever its value.
Matches requestIs(std::uint8_t requestType, std::uint8_t request);
/// The same with wValue, which in a short bridge transfer is the register.
Matches requestIs(std::uint8_t requestType, std::uint8_t request, std::uint16_t value);

/// Which request a fault strikes, counted from the moment it is armed; 1 is the next one.
struct When
{
    int nth = 1;
    Matches matches; ///< empty: every request counts
    bool for_good = false;

    /// Strikes again at every later request that counts.
    When forGood() const;
};

When atRequest(int nth);
When atMatch(Matches matches, int nth = 1);

/// When in a request the power goes.
enum class Moment {
    before, ///< the device never sees it; the host gets `no_device`
    during, ///< the flash operation that it starts is torn; the host gets `no_device`
    after   ///< the host gets the answer, then the device is off
};

/// Troubles that are not tied to one request. They last until they are set back.
struct Troubles
{
    bool hub_never_returns = false;        ///< a reset takes the hub off the bus until it is powered up again
    bool scaler_never_in_isp_mode = false; ///< the request for ISP mode is accepted, and nothing follows
    bool scaler_never_ready = false;       ///< the program data port never gets ready
    int bad_erase_check = -1;              ///< the check of this 64 KiB block fails, whatever it holds
};

class Faults
{
public:
    explicit Faults(Clock& clock)
        : clock_(clock)
    {
    }

    Troubles troubles;
    /// For tests: sees each request, with what it writes, before any fault strikes, and may arm one for it.
    std::function<void(const SetupPacket&, const std::uint8_t* data)> on_request;

    /// Not carried out; the host gets `status`.
    void refuse(When when, platform::Status status = platform::pipe_stalled);
    /// Not carried out; the host gets `timeout` after as long as it waits, 5 s unless it says otherwise.
    void timeOut(When when);
    /// Carried out, but the host gets `status` and no data.
    void loseAnswer(When when, platform::Status status = platform::timeout);
    /// XORs `mask` into the reply from `offset` on. Requests without a reply pass unchanged.
    void flipReply(When when, std::size_t offset, std::vector<std::uint8_t> mask);
    /// Overwrites the reply with `bytes` from `offset` on.
    void replaceReply(When when, std::size_t offset, std::vector<std::uint8_t> bytes);
    /// The cable is pulled before the device sees the request; the host gets `no_device`.
    void unplug(When when);
    /// The device stays off until it is powered on.
    void cutPower(When when, Moment moment, std::uint64_t seed = 1);

    /// Disarms all faults; `troubles` stay.
    void clear() { armed_.clear(); }
    bool armed() const { return !armed_.empty(); }

    /// For the bus: lets the device answer, or the fault that strikes this request.
    platform::Status carryOut(BusDevice& device, const SetupPacket& setup, std::uint8_t* data,
                              Duration timeout);

private:
    /// A request on its way to the device.
    struct Transfer
    {
        BusDevice& device;
        const SetupPacket& setup;
        std::uint8_t* data;
        Duration timeout;
    };
    /// Does to the request what the fault does; gives what the host gets.
    using Strike = std::function<platform::Status(const Transfer&)>;
    using Reply = std::vector<std::uint8_t>;
    struct Fault
    {
        When when;
        Strike strike;
    };

    void arm(When when, Strike strike) { armed_.push_back({std::move(when), std::move(strike)}); }
    void spoilReply(When when, std::function<void(Reply&)> spoil);
    /// Counts the request for every armed fault; gives what the first that is due does, else nothing.
    Strike due(const SetupPacket& setup);

    Clock& clock_;
    std::vector<Fault> armed_;
};

} // namespace sim
