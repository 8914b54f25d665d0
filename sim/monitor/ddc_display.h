/// The DDC/CI side of the running monitor (VESA DDC/CI 1.1, MCCS 2.2): firmware level, capabilities in fragments,
/// restore factory defaults. It takes time to answer: a read that comes too early gets the null message.
///
///     written after the source byte 0x51              reply, by byte
///     82 01 op chk           get VCP feature          6E 88 02 result op type maxH maxL nowH nowL chk
///     83 F3 offH offL chk    capabilities             6E 80+3+n E3 offH offL, n <= 26 characters, chk
///     84 03 op valH valL chk set VCP feature          none
///
/// The host's checksum is not checked; replies carry a correct one. Feature 0xC9 (firmware level) can be read,
/// feature 0x04 (restore factory defaults) can be set. A reply can be read once, from 40 ms (VCP) or 50 ms
/// (capabilities) after its request on; the fragment after the last character is empty.
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

    /// A message from the host, without the source byte. False: nobody answers on the I2C bus.
    bool write(const std::uint8_t* message, std::uint16_t length);
    /// Reads the reply: its first `length` bytes, then zeros. False: nobody answers on the I2C bus.
    bool read(std::uint8_t* reply, std::uint16_t length);
    /// Drops a reply that was not read.
    void powerOn() { reply_length_ = 0; }

private:
    void answerFeature(std::uint8_t feature);
    void answerCapabilities(std::uint16_t offset);
    void setFeature(std::uint8_t feature, std::uint16_t value);
    void finishReply(std::size_t length, Duration readyAfter);

    Environment env_;
    ScalerIsp& scaler_;
    std::string capabilities_;
    int factory_resets_ = 0;
    std::array<std::uint8_t, 32> reply_{};
    std::size_t reply_length_ = 0; ///< 0: nothing to read
    Duration ready_at_{0};
};

} // namespace sim
