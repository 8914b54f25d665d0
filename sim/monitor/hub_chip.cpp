/// The hub chip's answers; the header has the table of requests.
#include "sim/monitor/hub_chip.h"

#include "sim/monitor/factory_images.h"

#include <algorithm>

namespace sim {

using platform::pipe_stalled;
using platform::success;

namespace {

constexpr std::uint8_t request_restart_rom = 0x00;
constexpr std::uint8_t request_restart = 0x01;
constexpr std::uint8_t request_enable = 0x02;
constexpr std::uint8_t request_status = 0x09;
constexpr std::uint8_t request_read_memory = 0x0D;
constexpr std::uint8_t request_write_memory = 0x0E;
constexpr std::uint8_t request_program = 0xC8;
constexpr std::uint8_t request_read = 0xD8;
constexpr std::uint8_t request_erase = 0xE8;
constexpr std::uint8_t request_restart_code = 0xE9;

constexpr std::uint16_t chip_vendor_id = 0x2E4D;
constexpr std::uint16_t unlock_key = 0x2E4D;
constexpr std::uint16_t restart_code_value = 0x0101;
constexpr std::uint16_t super_speed_bits = 0x7000; ///< added to the product id of the SuperSpeed face
constexpr std::uint16_t rom_product_id = 0x0300;
constexpr std::uint16_t code_product_id = 0x0305;

constexpr std::size_t flash_size = 0x40000;
constexpr std::size_t largest_transfer = 4096;
constexpr Version rom_version{0, 1};

constexpr std::size_t status_size = 32;
constexpr std::uint8_t runs_code_flag = 0x02;

constexpr Duration rom_start_time = std::chrono::milliseconds(2500);
constexpr Duration code_start_time = std::chrono::milliseconds(3000);
constexpr Duration chip_erase_time = std::chrono::milliseconds(800);
constexpr Duration page_program_time{700};
constexpr std::size_t page_size = 256;

/// Speed and location as the operating system gives them; both faces are at port 1 of their buses.
constexpr DeviceTraits traitsOf(platform::LinkSpeed speed, std::uint32_t location)
{
    return {chip_vendor_id, 0, static_cast<std::uint8_t>(speed), location};
}
constexpr DeviceTraits super_speed_traits = traitsOf(platform::LinkSpeed::super, 0x20100000);
constexpr DeviceTraits high_speed_traits = traitsOf(platform::LinkSpeed::high, 0x14100000);

bool isConfigBlock(const std::uint8_t* block)
{
    const unsigned tag = static_cast<unsigned>(block[0]) << 8U | block[1];
    return tag == 0x55AA || tag == 0xAA55 || tag == 0x3CC3;
}

bool fits(const SetupPacket& setup, std::size_t address, std::size_t size)
{
    return setup.length != 0 && setup.length <= largest_transfer && address + setup.length <= size;
}

void putBigEndian(std::uint8_t* at, std::uint16_t value)
{
    at[0] = static_cast<std::uint8_t>(value >> 8U);
    at[1] = static_cast<std::uint8_t>(value);
}

} // namespace

HubChip::HubChip(const Environment& environment, I2cBridge& bridge, Plugs& plugs, const MonitorSetup& setup)
    : env_(environment)
    , bridge_(bridge)
    , flash_(flash_size, factoryHubImage(setup.hub_version))
    , reset_mode_(setup.reset_mode)
    , super_speed_(*this, plugs, super_speed_traits)
    , high_speed_(*this, plugs, high_speed_traits)
{
    comeUp(Start::code_if_valid);
    back_at_ = env_.clock.now(); // it has long been on
}

bool HubChip::flashIsValid() const
{
    const std::uint8_t* start = flash().data();
    for (std::size_t block = flash_size - hub_block_size; block >= hub_mark_before_block;
         block -= hub_block_size) {
        if (isConfigBlock(start + block)) {
            const std::uint8_t* mark = start + block - hub_mark_before_block;
            return mark[0] == 0x55 && mark[1] == 0xAA;
        }
    }
    return false;
}

Version HubChip::runningVersion() const
{
    return runs_code_ ? Version{flash()[hub_version_at], flash()[hub_version_at + 1]} : rom_version;
}

bool HubChip::onBus() const
{
    return plugged_ && powered_ && env_.clock.now() >= back_at_;
}

platform::Status HubChip::control(const SetupPacket& setup, std::uint8_t* data, bool superSpeed)
{
    flash_operated_ = false;
    if (setup.request == request_enable)
        return enable(setup);
    if (locked_)
        return pipe_stalled;
    switch (setup.request) {
    case request_restart_rom:
        return restart(setup, Start::rom);
    case request_restart:
        return restart(setup, Start::code_if_valid);
    case request_restart_code:
        return setup.value == restart_code_value ? restart(setup, Start::code_if_valid) : pipe_stalled;
    case request_status:
        return readStatus(setup, data);
    case request_read_memory:
    case request_write_memory:
        return memory(setup, data);
    case request_read:
        return readFlash(setup, data);
    case request_program:
        return programFlash(setup, data);
    case request_erase:
        return eraseFlash(setup);
    default: // the bridge is part of the code
        return runs_code_ ? bridge_.control(setup, data, superSpeed) : pipe_stalled;
    }
}

platform::Status HubChip::enable(const SetupPacket& setup)
{
    const bool good = setup.request_type == vendor_out && setup.value <= 1 && setup.index == unlock_key;
    if (!good || setup.length != 0)
        return pipe_stalled;
    locked_ = setup.value == 0;
    return success;
}

platform::Status HubChip::readStatus(const SetupPacket& setup, std::uint8_t* data) const
{
    if (setup.request_type != vendor_in || setup.length == 0 || setup.length > status_size)
        return pipe_stalled;
    std::array<std::uint8_t, status_size> block{};
    const std::uint16_t product_id = runs_code_ ? code_product_id : rom_product_id;
    const Version version = runningVersion();
    putBigEndian(&block[0], chip_vendor_id);
    putBigEndian(&block[2], product_id | super_speed_bits);
    putBigEndian(&block[4], product_id);
    block[10] = version.major;
    block[11] = version.minor;
    block[13] = reset_mode_;
    block[15] = runs_code_ ? runs_code_flag : 0;
    std::copy_n(block.begin(), setup.length, data);
    return success;
}

platform::Status HubChip::memory(const SetupPacket& setup, std::uint8_t* data)
{
    const bool reads = setup.request == request_read_memory;
    if (setup.request_type != (reads ? vendor_in : vendor_out) || !fits(setup, setup.index, memory_.size()))
        return pipe_stalled;
    std::uint8_t* cells = &memory_[setup.index];
    if (reads)
        std::copy_n(cells, setup.length, data);
    else
        std::copy_n(data, setup.length, cells);
    return success;
}

platform::Status HubChip::readFlash(const SetupPacket& setup, std::uint8_t* data) const
{
    if (setup.request_type != vendor_in || !fits(setup, setup.address(), flash_size))
        return pipe_stalled;
    std::copy_n(&flash()[setup.address()], setup.length, data);
    return success;
}

platform::Status HubChip::programFlash(const SetupPacket& setup, const std::uint8_t* data)
{
    if (setup.request_type != vendor_out || runs_code_ || !fits(setup, setup.address(), flash_size))
        return pipe_stalled;
    env_.clock.advance(page_program_time * ((setup.length + page_size - 1) / page_size));
    if (!flash_.program(setup.address(), data, setup.length))
        env_.violations.add("hub flash: programmed over cells that are not erased");
    flash_operated_ = true;
    return success;
}

platform::Status HubChip::eraseFlash(const SetupPacket& setup)
{
    if (setup.request_type != vendor_out || runs_code_ || setup.address() != 0 || setup.length != 0)
        return pipe_stalled;
    env_.clock.advance(chip_erase_time);
    flash_.erase(0, flash_size);
    flash_operated_ = true;
    return success;
}

platform::Status HubChip::restart(const SetupPacket& setup, Start start)
{
    if (setup.request_type != vendor_out || setup.length != 0)
        return pipe_stalled;
    leaveBus();
    comeUp(start);
    if (env_.faults.troubles.hub_never_returns)
        back_at_ = Duration::max();
    return success;
}

void HubChip::leaveBus()
{
    super_speed_.leave();
    high_speed_.leave();
    locked_ = true;
}

void HubChip::comeUp(Start start)
{
    runs_code_ = start == Start::code_if_valid && flashIsValid();
    back_at_ = env_.clock.now() + (runs_code_ ? code_start_time : rom_start_time);
    memory_.fill(0);
    bridge_.reset();
    high_speed_.traits.product_id = runs_code_ ? code_product_id : rom_product_id;
    super_speed_.traits.product_id = high_speed_.traits.product_id | super_speed_bits;
}

void HubChip::setPlugged(bool plugged)
{
    if (!plugged)
        leaveBus();
    plugged_ = plugged;
}

void HubChip::powerOff(const PowerLoss& loss)
{
    if (loss.during_request && flash_operated_)
        flash_.tear(loss.seed);
    leaveBus();
    powered_ = false;
}

void HubChip::powerOn()
{
    powered_ = true;
    comeUp(Start::code_if_valid);
}

} // namespace sim
