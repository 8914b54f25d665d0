/// The hub's answers: those of a device for which everything goes well the first time.
#include "bench/answering_hub.h"

#include "hub/platform/clock.h"

#include <cstring>

namespace bench {

using platform::ControlRequest;
using platform::Status;
using platform::success;

AnsweringHub hub;

namespace {

constexpr std::uint8_t device_to_host = 0x80;

constexpr std::uint8_t reset_rom = 0x00;
constexpr std::uint8_t read_status = 0x09;
constexpr std::uint8_t write_flash = 0xC8;
constexpr std::uint8_t read_flash = 0xD8;
constexpr std::uint8_t short_access = 0xE6;
constexpr std::uint8_t reset_code = 0xE9;

constexpr std::size_t status_version_at = 10;
constexpr std::size_t status_flags_at = 15;

std::uint8_t* flashAt(const ControlRequest& request)
{
    return &hub.flash[static_cast<std::size_t>(request.index) << 16U | request.value];
}

/// What the scaler's ISP registers read: in ISP mode and ready, nothing running, an erased block blank.
std::uint8_t ispRegister(std::uint16_t number)
{
    if (number == 0x6F)
        return 0x90;
    return number == 0x75 ? 0xDE : 0;
}

void answer(const ControlRequest& request)
{
    auto* reply = static_cast<std::uint8_t*>(request.data);
    if (request.request == short_access) {
        *reply = ispRegister(request.value);
    } else if (request.request == read_flash) {
        std::memcpy(reply, flashAt(request), request.length);
    } else if (request.request == read_status) {
        std::memset(reply, 0, request.length);
        std::memcpy(reply + status_version_at, &hub.flash[hub_version_at], 2);
        reply[status_flags_at] = hub.runsCode ? 0x02 : 0;
    }
}

void take(const ControlRequest& request)
{
    if (request.request == reset_rom || request.request == reset_code)
        hub.runsCode = request.request == reset_code;
    std::uint8_t* const place = request.request == write_flash ? flashAt(request) : hub.taken.data();
    if (request.length != 0)
        std::memcpy(place, request.data, request.length);
}

/// What is switched off while the seam has to be as cheap as it can be.
void recordOrWait(const ControlRequest& request)
{
    if (hub.recording)
        hub.recording->addRequest(request);
    for (const std::clock_t end = std::clock() + hub.delay; std::clock() < end;) {
    }
}

template <class Value>
Status give(Value* out, unsigned value)
{
    *out = static_cast<Value>(value);
    return success;
}

class AnsweringDevice final : public platform::Device
{
public:
    Status vendorId(std::uint16_t* id) override { return give(id, 0x2E4D); }
    Status productId(std::uint16_t* id) override { return give(id, 0x0305); }
    Status open() override { return success; }
    Status close() override { return success; }
    Status locationId(std::uint32_t* location) override { return give(location, 0); }
    Status speed(std::uint8_t* code) override
    {
        if (hub.recording)
            hub.recording->addSpeedQuery();
        return give(code, static_cast<unsigned>(platform::LinkSpeed::high));
    }

private:
    Status doControlRequest(const ControlRequest& request) override
    {
        if (hub.recording || hub.delay != 0)
            recordOrWait(request);
        if ((request.requestType & device_to_host) != 0)
            answer(request);
        else
            take(request);
        return success;
    }
    Status doControlRequest(const ControlRequest& request, std::uint32_t /*noDataTimeout*/,
                            std::uint32_t /*completionTimeout*/) override
    {
        return doControlRequest(request);
    }
};

class OneHub final : public platform::Enumeration
{
public:
    platform::Found next(std::unique_ptr<platform::Device>* device) override
    {
        if (!ahead_)
            return platform::Found::end;
        ahead_ = false;
        *device = openHub();
        return platform::Found::device;
    }

private:
    bool ahead_ = hub.plugged;
};

} // namespace

std::unique_ptr<platform::Device> openHub()
{
    return std::make_unique<AnsweringDevice>();
}

} // namespace bench

std::unique_ptr<platform::Enumeration> platform::enumerateUsbDevices()
{
    return std::make_unique<bench::OneHub>();
}

void platform::sleepFor(std::chrono::microseconds /*duration*/) {}
