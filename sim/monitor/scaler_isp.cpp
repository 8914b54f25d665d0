/// The scaler's register file and flash controller; the header has the table of registers.
#include "sim/monitor/scaler_isp.h"

#include "sim/monitor/factory_images.h"

#include <algorithm>

namespace sim {

namespace {

constexpr std::uint8_t reg_command = 0x60;
constexpr std::uint8_t reg_opcode = 0x61;
constexpr std::uint8_t reg_write_enable = 0x62;
constexpr std::uint8_t reg_enable_write_status = 0x63;
constexpr std::uint8_t reg_address = 0x64; ///< and 0x65, 0x66
constexpr std::uint8_t reg_address_low = 0x66;
constexpr std::uint8_t reg_read = 0x6A;
constexpr std::uint8_t reg_fast_read = 0x6B;
constexpr std::uint8_t reg_program = 0x6D;
constexpr std::uint8_t reg_control = 0x6F;
constexpr std::uint8_t reg_data_port = 0x70;
constexpr std::uint8_t reg_length = 0x71;
constexpr std::uint8_t reg_end_address = 0x72; ///< and 0x73, 0x74
constexpr std::uint8_t reg_check_result = 0x75;
constexpr std::uint8_t reg_leave = 0xEE;
constexpr std::uint8_t reg_index = 0xF4;
constexpr std::uint8_t reg_data = 0xF5;

constexpr std::uint8_t arm_erase = 0xB8;
constexpr std::uint8_t run_erase = 0xB9;
constexpr std::uint8_t arm_status_write = 0x68;
constexpr std::uint8_t run_status_write = 0x69;

constexpr std::uint8_t opcode_erase_block = 0xD8;
constexpr std::uint8_t opcode_write_status = 0x01;
constexpr std::uint8_t opcode_write_enable = 0x06;
constexpr std::uint8_t opcode_enable_write_status = 0x50;
constexpr std::uint8_t opcode_read = 0x03;
constexpr std::uint8_t opcode_fast_read = 0x0B;
constexpr std::uint8_t opcode_program = 0x02;

constexpr std::uint8_t control_isp = 0x80;
constexpr std::uint8_t control_program = 0x20;
constexpr std::uint8_t control_ready = 0x10;
constexpr std::uint8_t control_check = 0x04;
constexpr std::uint8_t command_runs = 0x01;
constexpr std::uint8_t check_good = 0xDE;
constexpr std::uint8_t leave_isp = 0x02;
constexpr std::uint8_t index_of_page = 0x9F;

constexpr std::uint16_t pin_share_register = 0x10AB;
constexpr std::uint8_t pin_function = 0x07; ///< the other five bits have to equal the config register's
constexpr std::uint8_t pin_is_output = 0x01;
constexpr std::uint8_t pin_share_at_power_on = 0xE2;

constexpr std::uint32_t erase_block_size = 0x10000;
constexpr std::uint32_t page_size = 0x100;
constexpr std::uint32_t user_image = 0x100000;
constexpr std::uint32_t user_code_marker = 0x1FF8FE;

constexpr Duration isp_entry_time = std::chrono::milliseconds(25);
constexpr Duration restart_time = std::chrono::seconds(5);
constexpr Duration block_erase_time = std::chrono::milliseconds(350);
constexpr Duration status_write_time = std::chrono::milliseconds(15);
constexpr Duration jump_time = std::chrono::milliseconds(1); ///< the data port moves to another address

Duration programTime(std::size_t bytes)
{
    return Duration(250 + bytes / 2);
}

Duration checkTime(std::uint32_t bytes)
{
    return Duration(bytes / 2 + 1);
}

bool hasMark(const SerialFlash& flash, std::size_t address)
{
    return flash.bytes()[address] == 0xAA && flash.bytes()[address + 1] == 0x55;
}

} // namespace

ScalerIsp::ScalerIsp(const Environment& environment, Model model, Version factoryVersion)
    : env_(environment)
    , facts_(factsOf(model))
    , flash_(facts_.flash_size, factoryScalerFlash(model, factoryVersion))
    , scaler_registers_(0x10000)
{
    restart();
    up_at_ = env_.clock.now(); // it has long been on
}

void ScalerIsp::restart()
{
    registers_.fill(0);
    std::fill(scaler_registers_.begin(), scaler_registers_.end(), std::uint8_t{0});
    scaler_registers_[facts_.config_register] = facts_.config_value;
    scaler_registers_[pin_share_register] = pin_share_at_power_on;
    page_ = 0;
    block_length_ = 0;
    port_selected_ = false;
    follow_on_ = 0;
    busy_ = Busy::idle;
    isp_at_ = Duration::max();
    flash_.powerOn();
    runs_user_code_ = hasMark(flash_, user_code_marker) && hasMark(flash_, user_image + scaler_mark_at);
    const std::uint8_t* version = &flash_.bytes()[(runs_user_code_ ? user_image : 0) + scaler_version_at];
    running_version_ = {version[0], version[1]};
    up_at_ = env_.clock.now() + restart_time;
}

void ScalerIsp::powerOff(const PowerLoss& loss)
{
    if (busy() == Busy::erase || busy() == Busy::program)
        flash_.tear(loss.seed);
    busy_ = Busy::idle;
    isp_at_ = Duration::max();
}

bool ScalerIsp::inIspMode() const
{
    return env_.clock.now() >= isp_at_;
}

bool ScalerIsp::hardwareProtected() const
{
    const unsigned config = scaler_registers_[facts_.config_register];
    const unsigned driven = (config & ~unsigned{pin_function}) | pin_is_output;
    return scaler_registers_[pin_share_register] != driven || scaler_registers_[facts_.output_register] != 1;
}

ScalerIsp::Busy ScalerIsp::busy() const
{
    return env_.clock.now() < busy_until_ ? busy_ : Busy::idle;
}

bool ScalerIsp::ready() const
{
    return inIspMode() && busy() == Busy::idle && block_length_ == 0 && env_.clock.now() >= ready_at_ &&
           !env_.faults.troubles.scaler_never_ready;
}

void ScalerIsp::violation(const char* text)
{
    const Troubles& troubles = env_.faults.troubles;
    if (!troubles.scaler_never_in_isp_mode && !troubles.scaler_never_ready) // else it is not the host's fault
        env_.violations.add(text);
}

bool ScalerIsp::mayOperate()
{
    if (!inIspMode())
        violation("scaler: flash operation outside ISP mode");
    else if (busy() != Busy::idle)
        violation("scaler: flash operation while busy");
    else
        return true;
    return false;
}

bool ScalerIsp::flashListens() const
{
    return registers_[reg_write_enable] == opcode_write_enable && !hardwareProtected() &&
           !flash_.isProtected();
}

void ScalerIsp::start(Busy what, Duration time)
{
    busy_ = what;
    busy_until_ = env_.clock.now() + time;
}

std::uint32_t ScalerIsp::address(std::uint8_t firstRegister) const
{
    return static_cast<std::uint32_t>(registers_[firstRegister]) << 16U |
           static_cast<std::uint32_t>(registers_[firstRegister + 1U]) << 8U | registers_[firstRegister + 2U];
}

void ScalerIsp::writeRegister(std::uint8_t number, std::uint8_t value)
{
    port_selected_ = false;
    if (number == reg_control) {
        writeControl(value);
        return;
    }
    if (number == reg_command && (value == run_erase || value == run_status_write)) {
        if (mayOperate())
            runCommand(value);
    }
    if (!inIspMode())
        return;
    if (number == reg_data)
        *indirect() = value;
    else if (number == reg_leave && value == leave_isp)
        leave();
    else if (number != reg_check_result)
        registers_[number] = value;
    if (number == reg_address_low && address(reg_address) != follow_on_)
        ready_at_ = env_.clock.now() + jump_time;
}

std::uint8_t ScalerIsp::readRegister(std::uint8_t number)
{
    port_selected_ = false;
    if (number == reg_control)
        return control();
    if (!inIspMode())
        return 0;
    switch (number) {
    case reg_command:
        return busy() == Busy::erase || busy() == Busy::status_write ? command_runs : 0;
    case reg_check_result:
        return busy() == Busy::check ? 0 : registers_[reg_check_result];
    case reg_data:
        return *indirect();
    default:
        return registers_[number];
    }
}

void ScalerIsp::selectRegister(std::uint8_t number)
{
    port_selected_ = number == reg_data_port;
}

std::uint8_t* ScalerIsp::indirect()
{
    const std::uint8_t index = registers_[reg_index];
    return index == index_of_page ? &page_ : &scaler_registers_[static_cast<unsigned>(page_) << 8U | index];
}

std::uint8_t ScalerIsp::control() const
{
    unsigned bits = inIspMode() ? control_isp : 0U;
    if (busy() == Busy::program)
        bits |= control_program;
    if (busy() == Busy::check)
        bits |= control_check;
    if (ready())
        bits |= control_ready;
    return static_cast<std::uint8_t>(bits);
}

void ScalerIsp::writeControl(std::uint8_t value)
{
    const bool operates = (value & (control_program | control_check)) != 0;
    if (operates && mayOperate()) {
        if ((value & control_program) != 0)
            program();
        else
            check();
        return;
    }
    if (operates || (value & control_isp) == 0)
        return;
    block_length_ = 0;
    if (isp_at_ == Duration::max() && !env_.faults.troubles.scaler_never_in_isp_mode)
        isp_at_ = env_.clock.now() + isp_entry_time;
}

void ScalerIsp::runCommand(std::uint8_t value)
{
    const std::uint8_t armed = registers_[reg_command];
    const std::uint8_t opcode = registers_[reg_opcode];
    if (value == run_erase && armed == arm_erase && opcode == opcode_erase_block)
        eraseBlock();
    if (value == run_status_write && armed == arm_status_write && opcode == opcode_write_status)
        writeFlashStatus();
}

void ScalerIsp::eraseBlock()
{
    if (!flashListens())
        return;
    const std::uint32_t block = address(reg_address) / erase_block_size * erase_block_size;
    flash_.erase(block % facts_.flash_size, erase_block_size);
    start(Busy::erase, block_erase_time);
}

void ScalerIsp::writeFlashStatus()
{
    if (registers_[reg_enable_write_status] != opcode_enable_write_status || hardwareProtected())
        return;
    flash_.writeStatus(registers_[reg_address]);
    start(Busy::status_write, status_write_time);
}

void ScalerIsp::check()
{
    const std::uint32_t first = address(reg_address);
    const std::uint32_t last = address(reg_end_address);
    const std::uint32_t start_in_flash = first % facts_.flash_size;
    const std::uint32_t count = last < first ? 0 : last - first + 1;
    const bool readable =
        registers_[reg_read] == opcode_read && registers_[reg_fast_read] == opcode_fast_read;
    const bool in_range = count != 0 && start_in_flash + count <= facts_.flash_size;
    const bool spoilt = static_cast<int>(first / erase_block_size) == env_.faults.troubles.bad_erase_check;
    const bool good = readable && in_range && !spoilt && flash_.blank(start_in_flash, count);
    registers_[reg_check_result] = good ? check_good : 0;
    start(Busy::check, checkTime(count));
}

bool ScalerIsp::writeBlock(std::uint32_t flashAddress, const std::uint8_t* data, std::uint16_t length)
{
    const bool selected = port_selected_;
    port_selected_ = false;
    if (!inIspMode())
        violation("scaler: program data outside ISP mode");
    else if (!selected)
        violation("scaler: program data while the data port is not selected");
    else if (!ready())
        violation("scaler: program data before the data port is ready");
    else if ((flashAddress & 0xFFFFFFU) != address(reg_address))
        violation("scaler: program data for another address than the registers hold");
    else if (length == 0 || length > registers_[reg_length] + 1U)
        violation("scaler: program data longer than the length register says");
    else {
        std::copy_n(data, length, block_.begin());
        block_length_ = length;
        return true;
    }
    return false;
}

void ScalerIsp::program()
{
    if (block_length_ == 0) {
        violation("scaler: programming started without data");
        return;
    }
    const std::size_t length = block_length_;
    block_length_ = 0;
    const std::uint32_t at = address(reg_address);
    follow_on_ = at + static_cast<std::uint32_t>(length);
    if (registers_[reg_program] != opcode_program || !flashListens())
        return;
    // The chip's page buffer wraps: what passes the end of a page lands at its start.
    const std::size_t in_flash = at % facts_.flash_size;
    const std::size_t page = in_flash - in_flash % page_size;
    const std::size_t to_page_end = std::min(length, page + page_size - in_flash);
    bool erased = flash_.program(in_flash, block_.data(), to_page_end);
    if (to_page_end < length)
        erased &= flash_.program(page, &block_[to_page_end], length - to_page_end);
    if (!erased)
        violation("scaler flash: programmed over cells that are not erased");
    start(Busy::program, programTime(length));
}

void ScalerIsp::leave()
{
    if (busy() != Busy::idle)
        violation("scaler: left ISP mode while busy");
    restart();
}

} // namespace sim
