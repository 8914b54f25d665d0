/// The functions of the library and of the simulated world as commands.
#include "transcript_commands.h"

#include <list>
#include <tuple>

#include "hub/api/hvx_hub.h"
#include "hub/firmware/hub_control.h"
#include "hub/i2c/scaler_isp.h"
#include "hub/transport/control_pipe.h"
#include "hub/transport/vendor_commands.h"
#include "sim/monitor/factory_images.h"

namespace {

std::string shown(std::int64_t number)
{
    return number < 10 ? std::to_string(number) : format("%lld, 0x%llX", number, number);
}

std::int64_t number(std::istringstream& in)
{
    std::int64_t value = 0;
    in >> std::hex >> value;
    if (!in)
        throw std::invalid_argument("a number is missing");
    return value;
}

std::string word(std::istringstream& in)
{
    std::string text;
    in >> text;
    return text;
}

/// Of what follows the colon.
Bytes bytesOf(const std::string& token)
{
    const std::string digits = token.substr(token.find(':') + 1);
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

void report(void* world, std::uint8_t percent)
{
    auto& self = *static_cast<World*>(world);
    self.progress.emplace_back(self.bus.log().records().size(), percent);
}

/// One call being made: where its pointers point to, and what they were given.
struct Call
{
    World& world;
    std::istringstream& in;
    std::list<Bytes> buffers{};
    std::list<std::uint32_t> cells{};
    const char* text = nullptr;

    template <typename Parameter>
    Parameter take()
    {
        if constexpr (!std::is_pointer_v<Parameter>)
            return static_cast<Parameter>(number(in));
        else
            return pointer<Parameter>(word(in));
    }
    template <typename Pointer>
    Pointer pointer(const std::string& token)
    {
        if (token == "-")
            return nullptr;
        if constexpr (std::is_same_v<Pointer, ProgressCallback>)
            return report;
        else if constexpr (std::is_same_v<Pointer, char*>)
            return const_cast<char*>(text = static_cast<char*>(bytes(token)));
        else if constexpr (std::is_same_v<Pointer, void*> || std::is_same_v<Pointer, std::uint8_t*>)
            return static_cast<Pointer>(bytes(token));
        else
            return reinterpret_cast<Pointer>(&cells.emplace_back(std::stoul(token, nullptr, 16)));
    }
    void* bytes(const std::string& token)
    {
        if (token == "report")
            return &world;
        if (token == "image")
            return world.image.data();
        return buffers.emplace_back(token == "buffer" ? Bytes(0x10010) : bytesOf(token)).data();
    }
    std::string returned() const
    {
        std::string all = text ? "; " + std::string(text) : "";
        for (const std::uint32_t cell : cells)
            all += "; " + shown(cell);
        return all + "\n";
    }
};

template <typename Function, typename... Parameters>
Command commandOf(Function function)
{
    return [function](World& world, std::istringstream& in) {
        Call call{world, in};
        std::tuple<Parameters...> arguments{call.take<Parameters>()...};
        std::string result;
        if constexpr (std::is_void_v<decltype(std::apply(function, arguments))>)
            std::apply(function, arguments);
        else
            result = "  = " + shown(static_cast<std::uint32_t>(std::apply(function, arguments)));
        return result.empty() ? result : result + call.returned();
    };
}

template <typename Result, typename... Parameters>
Command of(Result (*function)(Parameters...))
{
    return commandOf<decltype(function), Parameters...>(function);
}

template <typename Result, typename... Parameters>
Command of(Result (CHvxHub::*method)(Parameters...))
{
    const auto call = [method](Parameters... arguments) { return (g_hub->*method)(arguments...); };
    return commandOf<decltype(call), Parameters...>(call);
}

/// A command of the simulated world that says nothing.
template <typename Action>
Command silent(Action action)
{
    return [action](World& world, std::istringstream& in) {
        action(world, in);
        return std::string();
    };
}

/// "type request value nth", each of the first three "*" for any and nth "all" for every one.
sim::When when(std::istringstream& in)
{
    int wanted[3] = {};
    for (int& field : wanted) {
        const std::string token = word(in);
        field = token == "*" ? -1 : std::stoi(token, nullptr, 16);
    }
    const auto matches = [=](const sim::SetupPacket& setup) {
        const int fields[] = {setup.request_type, setup.request, setup.value};
        return std::equal(fields, fields + 3, wanted,
                          [](int is, int want) { return want < 0 || is == want; });
    };
    const std::string nth = word(in);
    return nth == "all" ? sim::atMatch(matches).forGood() : sim::atMatch(matches, std::stoi(nth));
}

void fresh(World& world, std::istringstream&)
{
    Deinit();
    g_Dev.reset();
    g_ErrCode = m_uAddrLen = m_uDataLen = 0;
    world.devices.clear();
    world.monitor.reset();
    world.bus.refuseEnumeration(false);
    world.bus.faults().clear();
    world.bus.faults().troubles = {};
}

/// One device a letter: a hub at F full, H high or S super speed; a hub p without plug-in, i without
/// interface, x that another process holds, v whose vendor id and 0 whose product id cannot be read; or f,
/// another device.
/// The hubs' status block: version 0x8102, SuperSpeed product 0x7305, High-Speed 0x0305.
void plug(World& world, std::istringstream& in)
{
    for (const char kind : word(in)) {
        const auto speed = static_cast<std::uint8_t>(kind == 'S' ? 3 : kind == 'F' ? 1 : 2);
        const std::uint16_t product = kind == 'S' ? 0x7305 : 0x0305;
        const std::uint16_t vendor = kind == 'f' ? 0x1234 : 0x2E4D;
        Responder& device = world.devices.emplace_back(sim::DeviceTraits{vendor, product, speed, 0x14100000});
        device.reply = bytesOf("2E4D73050305000000008102000000020000000000000000");
        device.reply.resize(0x10000);
        device.troubles.no_plug_in = kind == 'p';
        device.troubles.no_interface = kind == 'i';
        device.troubles.held_by_other = kind == 'x';
        device.troubles.vendor_id = kind == 'v' ? platform::io_error : platform::success;
        device.troubles.product_id = kind == '0' ? platform::io_error : platform::success;
        world.bus.attach(device);
    }
}

void trouble(World& world, std::istringstream& in)
{
    const std::string what = word(in);
    sim::Troubles& troubles = world.bus.faults().troubles;
    world.bus.refuseEnumeration(what == "no_listing");
    troubles.hub_never_returns = what == "hub_never_returns";
    troubles.scaler_never_in_isp_mode = what == "scaler_never_in_isp_mode";
    troubles.scaler_never_ready = what == "scaler_never_ready";
    troubles.bad_erase_check = what == "bad_block" ? static_cast<int>(number(in)) : -1;
    if (what == "speed_unread")
        world.devices.back().troubles.speed = platform::io_error;
    if (what == "location_unread")
        world.devices.back().troubles.location = platform::io_error;
}

void image(World& world, std::istringstream& in)
{
    const std::string what = word(in);
    if (what == "factory")
        world.image = sim::factoryHubImage({1, 3});
    if (what == "filled")
        world.image.assign(static_cast<std::size_t>(number(in)), 0x42);
    if (what == "patterned") {
        world.image.resize(static_cast<std::size_t>(number(in)));
        for (std::size_t i = 0; i < world.image.size(); ++i)
            world.image[i] = static_cast<std::uint8_t>(i * 13 + (i >> 9));
    }
    for (std::string token; in >> std::hex >> token;) { // offset:bytes
        const Bytes bytes = bytesOf(token);
        std::copy(bytes.begin(), bytes.end(), world.image.begin() + std::stol(token, nullptr, 16));
    }
}

/// How much of the image, from its start, is in a flash.
std::string compared(const Bytes& image, const Bytes& flash, std::int64_t address)
{
    const auto same =
        std::mismatch(image.begin(), image.end(), flash.begin() + address).first - image.begin();
    return format("  %d of the image's %d bytes\n", same, image.size());
}

std::string scaler(World& world, std::istringstream& in)
{
    const Bytes& flash = world.monitor->scaler().flash().bytes();
    return compared(world.image, flash, number(in)) + format("  marker %02X %02X, ISP mode %d\n",
                                                             flash[0x1FF8FE], flash[0x1FF8FF],
                                                             world.monitor->scaler().inIspMode());
}

} // namespace

const std::map<std::string, Command>& commands()
{
    static const std::map<std::string, Command> all = {
        {"fresh", silent(fresh)},
        {"plug", silent(plug)},
        {"monitor", silent([](World& world, auto&) { world.monitor.emplace(world.bus); })},
        {"power_cycle", silent([](World& world, auto&) {
             world.monitor->powerCycle();
             world.bus.clock().advance(sim::VirtualMonitor::start_up_time);
         })},
        {"capabilities",
         silent([](World& world, auto& in) { world.monitor->display().setCapabilities(word(in)); })},
        {"wait", silent([](World& world, auto& in) {
             world.bus.clock().advance(std::chrono::milliseconds(number(in)));
         })},
        {"trouble", silent(trouble)},
        {"speed", silent([](World& world, auto& in) {
             world.devices.back().traits.speed = static_cast<std::uint8_t>(number(in));
         })},
        {"reads", silent([](World& world, auto& in) {
             auto& values = world.devices.back().reads[static_cast<int>(number(in))];
             values.clear();
             for (int value = 0; in >> std::hex >> value;)
                 values.push_back(static_cast<std::uint8_t>(value));
         })},
        {"refuse", silent([](World& world, auto& in) {
             const sim::When which = when(in);
             std::uint32_t status = platform::pipe_stalled;
             in >> std::hex >> status;
             world.bus.faults().refuse(which, in ? status : platform::pipe_stalled);
         })},
        {"time_out", silent([](World& world, auto& in) { world.bus.faults().timeOut(when(in)); })},
        {"reply", silent([](World& world, auto& in) {
             const sim::When which = when(in);
             const auto offset = static_cast<std::size_t>(number(in));
             world.bus.faults().replaceReply(which, offset, bytesOf(word(in)));
         })},
        {"clear", silent([](World& world, auto&) { world.bus.faults().clear(); })},
        {"image", silent(image)},
        {"hub_flash",
         [](World& world, auto&) { return compared(world.image, world.monitor->hub().flash(), 0); }},
        {"scaler", scaler},
        {"handles",
         [](World& world, auto&) {
             std::string text;
             for (const Responder& device : world.devices) {
                 const sim::DeviceCounters& counts = device.counters();
                 text += format("  opened %d, closed %d, held %d\n", counts.opens, counts.closes,
                                counts.live_interfaces);
             }
             return text;
         }},
        {"IsExistDevice", of(IsExistDevice)},
        {"HH_Open", of(HH_Open)},
        {"HH_Close", of(HH_Close)},
        {"HH_Speed", of(HH_Speed)},
        {"HH_GetLocation", of(HH_GetLocation)},
        {"Proxy_SendVendorCmd", of(Proxy_SendVendorCmd)},
        {"Proxy_SendVendorCmd2", of(Proxy_SendVendorCmd2)},
        {"HH_CtlPipeIn", of(HH_CtlPipeIn)},
        {"HH_CtlPipeOut", of(HH_CtlPipeOut)},
        {"HH_CtlPipeNoDataOut", of(HH_CtlPipeNoDataOut)},
        {"HH_VdCmdEnable", of(HH_VdCmdEnable)},
        {"HH_HubResetRom", of(HH_HubResetRom)},
        {"HH_HubReset", of(HH_HubReset)},
        {"HH_HubResetCode", of(HH_HubResetCode)},
        {"HH_Status", of(HH_Status)},
        {"HH_ReadMem", of(HH_ReadMem)},
        {"HH_WriteMem", of(HH_WriteMem)},
        {"HH_ReadFlash", of(HH_ReadFlash)},
        {"HH_WriteFlash", of(HH_WriteFlash)},
        {"HH_EraseFlash", of(HH_EraseFlash)},
        {"HvxFun_IsRomCode", of(HvxFun_IsRomCode)},
        {"HvxFun_OpenRomDevice", of(HvxFun_OpenRomDevice)},
        {"HvxFun_ResetDev", of(HvxFun_ResetDev)},
        {"HvxFun_ResetDevEx", of(HvxFun_ResetDevEx)},
        {"HvxFun_ResetAndWait", of(HvxFun_ResetAndWait)},
        {"HvxFun_GetResetMode", of(HvxFun_GetResetMode)},
        {"HvxFun_EraseFlash", of(HvxFun_EraseFlash)},
        {"HvxFun_GetFwVer", of(HvxFun_GetFwVer)},
        {"HH_CtrlPipeNoDataOut", of(HH_CtrlPipeNoDataOut)},
        {"HH_CtrlPipeIn", of(HH_CtrlPipeIn)},
        {"HH_CtrlPipeOut", of(HH_CtrlPipeOut)},
        {"MP_I2C_Read", of(MP_I2C_Read)},
        {"MP_I2C_Write", of(MP_I2C_Write)},
        {"MP_I2C_SetDataPort", of(MP_I2C_SetDataPort)},
        {"MP_I2C_SetSlaveAddr", of(MP_I2C_SetSlaveAddr)},
        {"MP_I2C_Initial", of(MP_I2C_Initial)},
        {"MP_EnterSPIMode", of(MP_EnterSPIMode)},
        {"MP_Set_DefaultValue", of(MP_Set_DefaultValue)},
        {"MP_Disable_FlashHWProtect", of(MP_Disable_FlashHWProtect)},
        {"MP_Disable_FlashSWProtect", of(MP_Disable_FlashSWProtect)},
        {"MP_I2C_BlockErase", of(MP_I2C_BlockErase)},
        {"MP_I2C_Wait", of(MP_I2C_Wait)},
        {"MP_I2C_WriteInitalize", of(MP_I2C_WriteInitalize)},
        {"MP_I2C_Reset", of(MP_I2C_Reset)},
        {"MP_I2C_WriteSerialFlash", of(MP_I2C_WriteSerialFlash)},
        {"object.OpenDevice", of(&CHvxHub::OpenDevice)},
        {"object.OpenDevice_USB3", of(&CHvxHub::OpenDevice_USB3)},
        {"object.OpenDevice_USB2", of(&CHvxHub::OpenDevice_USB2)},
        {"object.MP_MultiOpenDevice", of(&CHvxHub::MP_MultiOpenDevice)},
        {"object.MP_MultiOpenDevice_USB3", of(&CHvxHub::MP_MultiOpenDevice_USB3)},
        {"object.USB2I2C_ConfigAddr", of(&CHvxHub::USB2I2C_ConfigAddr)},
        {"object.USB2I2C_Write", of(&CHvxHub::USB2I2C_Write)},
        {"object.USB2I2C_Read", of(&CHvxHub::USB2I2C_Read)},
        {"Init", of(Init)},
        {"Deinit", of(Deinit)},
        {"AvailableDevices", of(AvailableDevices)},
        {"OpenDevice", of(OpenDevice)},
        {"OpenAndGetInfo", of(OpenAndGetInfo)},
        {"CloseDevice", of(CloseDevice)},
        {"SetBusSpeed", of(SetBusSpeed)},
        {"GetfwVersion", of(GetfwVersion)},
        {"ReadI2C", of(ReadI2C)},
        {"WriteI2C", of(WriteI2C)},
        {"UpdateHubFw", of(UpdateHubFw)},
        {"UpdateScalarFw", of(UpdateScalarFw)}};
    return all;
}
