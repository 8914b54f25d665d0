/// The hub's restarts, and the update of its firmware, on the virtual monitor.
#include "bench.h"
#include "hub/firmware/hub_control.h"
#include "hub/firmware/hub_update.h"
#include "hub/transport/vendor_commands.h"
#include "sim/monitor/factory_images.h"

using HubControl = Bench;

TEST_F(HubControl, SwitchesBetweenRomAndCode)
{
    const std::string status = "C0 09 0000 0000 32; ";
    const std::string hello = "40 02 0001 2E4D 0; ";
    openMonitor();
    check("version 1.2 is 0x0102", HvxFun_GetFwVer(), status + "= 258");
    check("a hub that runs its code is not in ROM", HvxFun_IsRomCode(), status + "= 0");
    check("the way into ROM is polled every 2 s, and looked at", HvxFun_OpenRomDevice(),
          "C0 09 0000 0000 32 x 2; 40 00 0000 0000 0, 4000 ms; " + hello + status + "= 1; error 5");
    check("a hub in ROM is left there", HvxFun_OpenRomDevice(), status + "= 1");
    openMonitor(1);
    check("the reset mode is byte 13", HvxFun_GetResetMode(), status + "= 1");
    check("in reset mode 1 the way into ROM is polled every second", HvxFun_ResetAndWait(ROM_MODE),
          status + "40 00 0000 0000 0, 3000 ms; " + hello + "= 1; error 5");
    check("but no other", HvxFun_ResetAndWait(HUB_RESET), "40 01 0000 0000 0, 4000 ms; " + hello + "= 1");
    bus.faults().troubles.hub_never_returns = true;
    check("20 polls are made", HvxFun_ResetAndWait(CODE_MODE),
          "40 E9 0101 0000 0, 40000 ms; = 0; no session");
}

TEST_F(HubControl, TellsWhatTheHubRefuses)
{
    openMonitor();
    bus.faults().refuse(nth(1, 0x40, 0x00).forGood());
    check("a refused reset takes the session with it and is not asked again", HvxFun_ResetAndWait(ROM_MODE),
          "C0 09 0000 0000 32; 40 00 0000 0000 0 refused, 384 ms; = 0; no session");
    openHub();
    check("one attempt", HvxFun_ResetDevEx(ROM_MODE), "40 00 0000 0000 0 refused; = 0; no session");
    openHub();
    check("an unknown kind only closes", HvxFun_ResetDevEx(7), "= 1; no session");

    openMonitor();
    bus.faults().replaceReply(nth(3, 0xC0, 0x09), 15, {0x02});
    check("a hub that comes back in code is error 12", HvxFun_OpenRomDevice(), "...; = 0; error 12");
    bus.faults().replaceReply(nth(1, 0xC0, 0x09), 15, {0xFD});
    check("only bit 1 of the flags tells", HvxFun_IsRomCode(), "...; = 1");
    bus.faults().refuse(nth(1, 0xC0, 0x09).forGood());
    check("a hub without status tells nothing",
          Results{HvxFun_IsRomCode(), HvxFun_GetResetMode(), HvxFun_GetFwVer()},
          "C0 09 0000 0000 32 refused x 3; = 0 0 0");
    check("a good erase is followed by 128 ms", HvxFun_EraseFlash(), "40 E8 0000 0000 0, 928 ms; = 1");
    bus.faults().refuse(nth(1, 0x40, 0xE8).forGood());
    check("a bad one, too, three times", HvxFun_EraseFlash(), "40 E8 0000 0000 0 refused, 128 ms x 3; = 0");
}

class HubUpdate : public Bench
{
protected:
    std::int32_t update(Bytes& content)
    {
        return hub::updateHubFirmware(content.data(), static_cast<std::uint32_t>(content.size()), report,
                                      this);
    }
    /// How the hub is left: what it runs, the two bytes where the mark belongs, and whether the rest is new.
    std::string left()
    {
        Bytes flash = monitor->hub().flash();
        flash.resize(image.size());
        const auto mark = std::pair(flash[0xFEF0], flash[0xFEF1]);
        std::copy_n(&image[0xFEF0], 2, &flash[0xFEF0]);
        return format("%s, mark %02X %02X, %s", monitor->hub().runsCode() ? "code" : "ROM", mark.first,
                      mark.second, flash == image ? "new" : "old");
    }
    const Bytes image = sim::factoryHubImage({1, 3});
};

TEST_F(HubUpdate, IsThisConversation)
{
    Bytes content = image;
    openMonitor();
    check("the hub update", update(content), R"(
        C0 09 0000 0000 32 x 2; 40 00 0000 0000 0, 4000 ms; 40 02 0001 2E4D 0; C0 09 0000 0000 32
        40 C8 FEF0 0000 2: 00 00, 1 ms; 40 E8 0000 0000 0, 928 ms; 10 %
        40 C8 0000 0000 4096, 12 ms; 12 %
        40 C8 1000 0000 4096, 12 ms; 14 %
        ...
        40 C8 F000 0000 4096, 12 ms; 42 %; 'Write Flash done. '
        C0 D8 0000 0000 4096; 44 %
        C0 D8 1000 0000 4096; 46 %
        ...
        C0 D8 F000 0000 4096; 74 %; 'Verify Flash...'
        40 C8 FEF0 0000 2: 55 AA, 1 ms
        'Reset to Flash Code...'; 40 E9 0101 0000 0, 4000 ms; 40 02 0001 2E4D 0; 84 %; = 1; error 5)");
    check("the hub runs the image with its mark", left(), "code, mark 55 AA, new");
    check("the caller's image is as it was", content == image, "= 1");
    check("without a callback nothing is done", hub::updateHubFirmware(data, 256, nullptr, this), "= 0");
}

TEST_F(HubUpdate, TakesImagesOfAnyShape)
{
    const std::string erased = "C0 09 0000 0000 32; 40 E8 0000 0000 0, 928 ms; 10 %; ";
    const std::string restarted = "'Reset to Flash Code...'; 40 E9 0101 0000 0, 4000 ms; 40 02 0001 2E4D 0; ";
    openMonitor();
    HvxFun_OpenRomDevice();
    forget();
    Bytes content(9216, 0x42);
    check("each share is cut to a whole percent, and no mark is none", update(content), erased + R"(
        40 C8 0000 0000 4096, 12 ms; 27 %; 40 C8 1000 0000 4096, 12 ms; 44 %; 40 C8 2000 0000 1024, 3 ms; 48 %
        'Write Flash done. '; C0 D8 0000 0000 4096; 65 %; C0 D8 1000 0000 4096; 82 %; C0 D8 2000 0000 1024; 86 %
        'Verify Flash...'; )" + restarted + "96 %; = 1");
    content.clear();
    check("an empty image has no pieces", update(content),
          erased + "'Write Flash done. '; 'Verify Flash...'; " + restarted + "20 %; = 1");
    content = {0x55, 0xC3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x3C, 0xC3};
    content.resize(272);
    check("half a mark is none", update(content),
          erased + "...; 'Verify Flash...'; " + restarted + "100 %; = 1");
}

TEST_F(HubUpdate, FailsWithoutAMarkThatIsNotTrue)
{
    const auto fails = [this](const std::string& rule, const std::function<void(sim::Faults&)>& arm,
                              const std::string& wanted) {
        Bytes content = image;
        openMonitor();
        arm(bus.faults());
        const std::string result = Results{update(content)}.text + "; ";
        check(rule, result + left(), "...; " + wanted + "; error 5");
        repair();
        monitor->powerCycle();
        bus.clock().advance(sim::VirtualMonitor::start_up_time);
        openHub();
        content = image;
        update(content);
        forget();
        check(rule + ", and the next update finishes", left(), "code, mark 55 AA, new");
    };
    fails(
        "without ROM the flash stays", [](auto& f) { f.troubles.hub_never_returns = true; }, R"(
        'Fail To Open Rom Device'; 'Please Load Driver firstly'; 'Then replugin usb hub device'; = 41511
        ROM, mark 55 AA, old; no session)");
    fails(
        "without an erase nothing is written", [](auto& f) { f.refuse(nth(1, 0x40, 0xE8).forGood()); },
        "'Fail to Erase Flash'; = 0; ROM, mark 00 00, old");
    fails(
        "a refused piece gives its status",
        [](auto& f) { f.refuse(nth(4, 0x40, 0xC8), platform::no_memory); },
        "40 C8 2000 0000 4096 -> E00002BD; 'Fail to Write Flash'; = E00002BD; ROM, mark FF FF, old");
    fails(
        "a refused read-back ends it", [](auto& f) { f.refuse(nth(3, 0xC0, 0xD8)); },
        "C0 D8 2000 0000 4096 refused; 'Fail to Read Flash'; = 1; ROM, mark FF FF, new");
    fails(
        "a wrong bit in the last byte counts", [](auto& f) { f.flipReply(nth(16, 0xC0, 0xD8), 4095, {1}); },
        "'Verify Flash...'; 'Fail to verify flash'; = 1; ROM, mark FF FF, new");
    fails(
        "a wrong bit in the first byte counts", [](auto& f) { f.flipReply(nth(1, 0xC0, 0xD8), 0, {0x80}); },
        "C0 D8 F000 0000 4096; 74 %; ...; 'Fail to verify flash'; = 1; ROM, mark FF FF, new");
    fails(
        "a refused restart leaves a good image", [](auto& f) { f.refuse(nth(1, 0x40, 0xE9).forGood()); },
        "'Fail to Reset to Flash Code'; = 1; ROM, mark 55 AA, new; no session");
    fails(
        "an old mark that stays is not looked at", [](auto& f) { f.refuse(nth(1, 0x40, 0xC8)); },
        "84 %; = 1; code, mark 55 AA, new");
    fails(
        "without a new mark the hub stays in ROM", [](auto& f) { f.refuse(nth(18, 0x40, 0xC8)); },
        "84 %; = 1; ROM, mark FF FF, new");
}
