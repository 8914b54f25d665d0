/// The scaler's serial flash: the cells, and the status register whose block-protect bits guard them.
#pragma once

#include "sim/monitor/monitor_setup.h"
#include "sim/monitor/nor_flash.h"

#include <cstdint>

namespace sim {

class SerialFlash : public NorFlash
{
public:
    SerialFlash(Model model, Version version);

    /// Block-protect bits set: the chip ignores erase and program.
    bool isProtected() const;
    std::uint8_t status() const { return status_; }
    void writeStatus(std::uint8_t value);
    /// The scaler's firmware protects the whole chip whenever it starts.
    void powerOn();

private:
    std::uint8_t status_ = 0;
};

} // namespace sim
