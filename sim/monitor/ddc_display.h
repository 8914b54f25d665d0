/// The running monitor's DDC/CI side (VESA DDC/CI 1.1, MCCS 2.2): firmware level, capabilities in fragments,
/// restore factory defaults. It needs time to answer: a reply fetched too early is the null message.
///
///     written after the source byte 0x51              reply, by byte
///     82 01 op chk           get VCP feature          6E 88 02 result op type maxH maxL nowH nowL chk
///     83 F3 offH offL chk    capabilities             6E 80+3+n E3 offH offL, n <= 26 characters, chk
///     84 03 op valH valL chk set VCP feature          none
///
/// The host's checksum is not looked at; replies carry a true one. The monitor knows feature 0xC9 (firmware
/// level) and takes feature 0x04 (restore factory defaults). A reply can be fetched once, 40 ms (VCP) or 50
/// ms (capabilities) after its request; the fragment after the last character is empty.
#pragma once

#include "sim/monitor/environment.h"
#include "sim/monitor/scaler_isp.h"

#include <array>
#include <cstdint>
#include <string>

namespace sim {

class DdcDisplay
{
public:
    DdcDisplay(const Environment& environment, ScalerIsp& scaler, std::string capabilities);

    Version runningVersion() const { return scaler_.runningVersion(); }
    /// How often the host has restored the factory defaults.
    int factoryResets() const { return factory_resets_; }
    void setCapabilities(std::string text) { capabilities_ = std::move(text); }
    const std::string& capabilities() const { return capabilities_; }

    /// A message from the host, without the source byte. False: nobody answers on the I2C bus.
    bool write(const std::uint8_t* message, std::uint16_t length);
    /// Fetches a reply: its first `length` bytes, then zeros. False: nobody answers on the I2C bus.
    bool read(std::uint8_t* reply, std::uint16_t length);
    /// Forgets a reply that was not fetched.
    void powerOn() { reply_length_ = 0; }

private:
    void answerFeature(std::uint8_t feature);
    void answerCapabilities(std::uint16_t offset);
    void setFeature(std::uint8_t feature, std::uint16_t value);
    void finishReply(std::size_t length, Duration ready_after);

    Environment env_;
    ScalerIsp& scaler_;
    std::string capabilities_;
    int factory_resets_ = 0;
    std::array<std::uint8_t, 32> reply_{};
    std::size_t reply_length_ = 0; ///< 0: nothing to fetch
    Duration ready_at_{0};
};

} // namespace sim
