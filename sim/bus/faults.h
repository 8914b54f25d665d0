/// Every way in which the virtual monitor goes wrong on purpose: one request that is refused, lost, spoilt or
/// cut short, and devices that never do what they should. Nothing random happens by itself; a torn flash
/// operation is decided by a seed.
#pragma once

#include "hub/platform/usb_platform.h"
#include "sim/bus/bus_device.h"
#include "sim/bus/clock.h"
#include "sim/bus/setup_packet.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace sim {

using Matches = std::function<bool(const SetupPacket&)>;

/// Matches one vendor request of one direction (0x40 out, 0xC0 in), whatever its value.
Matches requestIs(std::uint8_t requestType, std::uint8_t request);
/// The same with wValue, which for short bridge transfers is the register.
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

/// Where in a request the power goes.
enum class Moment {
    before, ///< the device never sees it; the host gets `no_device`
    during, ///< a flash operation that it starts is torn; the host gets `no_device`
    after   ///< the host gets the answer, then the device is off
};

/// Troubles that are no single request. They hold until set back.
struct Troubles
{
    bool hub_never_returns = false;        ///< a reset takes the hub off the bus until it is powered up again
    bool scaler_never_in_isp_mode = false; ///< the request for ISP mode is taken and nothing follows
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

    /// Not carried out; the host gets `status`.
    void refuse(When when, platform::Status status = platform::pipe_stalled);
    /// Not carried out; the host waits as long as it does (5 s unless it says otherwise) and gets `timeout`.
    void timeOut(When when);
    /// Carried out, but the host gets `status` and no data.
    void loseAnswer(When when, platform::Status status = platform::timeout);
    /// XORs `mask` into the reply from `offset` on. Requests without a reply pass as they are.
    void flipReply(When when, std::size_t offset, std::vector<std::uint8_t> mask);
    /// Puts `bytes` into the reply from `offset` on.
    void replaceReply(When when, std::size_t offset, std::vector<std::uint8_t> bytes);
    /// The reply ends after `length` bytes; the rest of the host's buffer stays as it was.
    void shortenReply(When when, std::size_t length);
    /// The cable is out before the device sees the request; the host gets `no_device`.
    void unplug(When when);
    /// The device stays off until it is powered on.
    void cutPower(When when, Moment moment, std::uint64_t seed = 1);

    /// Disarms all faults; `troubles` stay.
    void clear() { armed_.clear(); }
    bool armed() const { return !armed_.empty(); }
    /// How often any fault has struck since the bus was made.
    int fired() const { return fired_; }

    /// For the bus: lets the device answer, or the fault that this request has met.
    platform::Status carryOut(BusDevice& device, const SetupPacket& setup, std::uint8_t* data,
                              Duration patience);

private:
    enum class Kind {
        refuse,
        time_out,
        lose_answer,
        flip_reply,
        replace_reply,
        shorten_reply,
        unplug,
        cut_power
    };

    struct Fault
    {
        When when;
        Kind kind = Kind::refuse;
        platform::Status status = platform::success;
        std::size_t position = 0;
        std::vector<std::uint8_t> bytes;
        Moment moment = Moment::before;
        std::uint64_t seed = 1;
    };

    /// Counts the request for every armed fault; the first that is due strikes.
    bool due(const SetupPacket& setup, Fault* strikes);
    platform::Status strike(const Fault& fault, BusDevice& device, const SetupPacket& setup,
                            std::uint8_t* data, Duration patience);
    Fault& arm(When when, Kind kind);

    Clock& clock_;
    std::vector<Fault> armed_;
    int fired_ = 0;
};

} // namespace sim
