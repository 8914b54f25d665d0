/// Walks the log once, and remembers which stage of which write it is in.
#include "tests/faults/wire_phases.h"

#include <algorithm>
#include <cstdint>
#include <map>

namespace sim {

namespace {

constexpr std::uint8_t restart_rom = 0x00;
constexpr std::uint8_t lock_commands = 0x02;
constexpr std::uint8_t program_flash = 0xC8;
constexpr std::uint8_t read_flash = 0xD8;
constexpr std::uint8_t erase_flash = 0xE8;
constexpr std::uint8_t restart_code = 0xE9;
constexpr std::uint16_t mark_size = 2;

constexpr std::uint8_t block_write = 0xC6;
constexpr std::uint8_t short_access = 0xE6;
constexpr std::uint8_t configure = 0xF6;
constexpr unsigned isp_slave = 0x94;
constexpr std::uint16_t one_byte_access = 0x0103;

constexpr int command_control = 0x60;
constexpr int address_high = 0x64;
constexpr int program_opcode = 0x6D;
constexpr int isp_control = 0x6F;
constexpr int run_status_write = 0x69;
constexpr int run_erase = 0xB9;
constexpr int ask_for_isp_mode = 0x80;
constexpr int start_programming = 0xA0;
constexpr std::uint32_t user_code_marker = 0x1FF8FE;
constexpr std::size_t address_bytes = 3;

constexpr int nothing = -1;
const std::string detection = "detection";

/// Register of a short access.
int registerOf(const WireRecord& record)
{
    return record.setup.request == short_access ? record.setup.value : nothing;
}

int writtenBy(const WireRecord& record)
{
    return record.setup.isIn() || record.data.empty() ? nothing : record.data[0];
}

/// Short accesses by their register; those that depend on more are in kindOf().
const char* kindOfRegister(int number)
{
    static const std::map<int, const char*> kinds{
        {0x60, "command"},      {0x61, "command"},       {0x62, "write opcodes"}, {0x63, "write opcodes"},
        {0x64, "address"},      {0x65, "address"},       {0x66, "address"},       {0x6A, "read opcodes"},
        {0x6B, "read opcodes"}, {0x6C, "read opcodes"},  {0x6D, "opcode"},        {0x70, "data port"},
        {0x71, "length"},       {0x72, "check range"},   {0x73, "check range"},   {0x74, "check range"},
        {0x75, "check result"}, {0xED, "write opcodes"}, {0xEE, "leave"},         {0xF4, "indirect port"},
        {0xF5, "indirect port"}};
    const auto found = kinds.find(number);
    return found == kinds.end() ? "other" : found->second;
}

std::string kindOf(const WireRecord& record)
{
    if (record.setup.request == configure)
        return record.setup.index == one_byte_access ? "bridge to one byte" : "bridge to blocks";
    if (record.setup.request == block_write)
        return "data";
    const int number = registerOf(record);
    if (record.setup.isIn() && (number == isp_control || number == command_control))
        return "poll";
    if (number != isp_control)
        return kindOfRegister(number);
    const int written = writtenBy(record);
    if (written == ask_for_isp_mode)
        return "ask for ISP mode";
    return written == start_programming ? "start" : "start check";
}

class Reader
{
public:
    explicit Reader(const std::vector<WireRecord>& records)
        : records_(records)
    {
    }

    std::string phase(std::size_t at)
    {
        const SetupPacket& setup = records_[at].setup;
        if (setup.request == lock_commands && setup.value == 0)
            write_ = Write::none;
        else if (setup.request == configure && setup.value >> 8U == isp_slave && write_ != Write::scaler)
            begin(Write::scaler, "prepare");
        else if (write_ != Write::scaler)
            followHub(setup);
        if (write_ == Write::none)
            return detection;
        if (write_ == Write::hub)
            return "hub: " + stage_;
        followScaler(at);
        return "scaler: " + stage_ + ": " + kindOf(records_[at]);
    }

private:
    enum class Write { none, hub, scaler };

    void begin(Write write, const char* stage)
    {
        write_ = write;
        stage_ = stage;
    }

    void followHub(const SetupPacket& setup)
    {
        if (setup.request == restart_rom)
            begin(Write::hub, "into ROM");
        else if (setup.request == erase_flash)
            begin(Write::hub, "erase");
        else if (setup.request == read_flash)
            begin(Write::hub, "read back");
        else if (setup.request == program_flash && setup.length != mark_size)
            begin(Write::hub, "image");
        else if (setup.request == program_flash)
            begin(Write::hub, stage_ == "read back" ? "mark" : "void mark");
        else if (setup.request == restart_code)
            begin(Write::hub, "restart");
    }

    void followScaler(std::size_t at)
    {
        const int number = registerOf(records_[at]);
        if (number == command_control && !records_[at].setup.isIn())
            command_ = writtenBy(records_[at]);
        // The protection goes with a write of the status register, whose value travels as an address.
        if (stage_ == "prepare" && number == address_high && command_ == run_status_write)
            stage_ = "erase";
        else if (number == program_opcode)
            stage_ = "program setup";
        else if (stage_ == "program setup" && number == address_high)
            stage_ = "image";
        else if (stage_ == "image" && number == address_high && addressFrom(at) == user_code_marker)
            stage_ = "marker";
        else if (stage_ == "marker" && number == command_control)
            stage_ = "leave";
    }

    /// Of the three writes that begin here.
    std::uint32_t addressFrom(std::size_t at) const
    {
        std::uint32_t address = 0;
        for (std::size_t i = at; i < std::min(at + address_bytes, records_.size()); ++i)
            address = address << 8U | static_cast<std::uint8_t>(writtenBy(records_[i]));
        return address;
    }

    const std::vector<WireRecord>& records_;
    Write write_ = Write::none;
    std::string stage_;
    int command_ = nothing;
};

} // namespace

std::vector<std::string> phasesOf(const std::vector<WireRecord>& records)
{
    std::vector<std::string> phases;
    Reader reader(records);
    std::size_t end_of_writes = 0;
    for (std::size_t at = 0; at < records.size(); ++at) {
        phases.push_back(reader.phase(at));
        if (phases.back() != detection)
            end_of_writes = at;
    }
    for (std::size_t at = 0; at < phases.size(); ++at) {
        if (phases[at] == detection)
            phases[at] += at < end_of_writes ? " before" : " after";
    }
    return phases;
}

bool startsFlashOperation(const WireRecord& record)
{
    const std::uint8_t request = record.setup.request;
    const int number = registerOf(record);
    const int written = writtenBy(record);
    return request == program_flash || request == erase_flash ||
           (number == command_control && written == run_erase) ||
           (number == isp_control && written == start_programming);
}

} // namespace sim
