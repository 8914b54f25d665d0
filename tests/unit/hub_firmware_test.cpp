/// The hub's restarts, and the update of its firmware, on the virtual monitor.
#include "hub/firmware/hub_control.h"
#include "hub/firmware/hub_update.h"
#include "recording_fixture.h"
#include "sim/monitor/factory_images.h"

using HubControl = RecordingTest;

TEST_F(HubControl, SwitchesBetweenRomAndCode)
{
    openMonitor();
    check("version 1.2 is 0x0102, and the hub runs its code", Results{HvxFun_GetFwVer(), HvxFun_IsRomCode()},
          "C0 09 0000 0000 32 x 2; = 258 0");
    openMonitor(1);
    check("the reset mode is byte 13", HvxFun_GetResetMode(), "C0 09 0000 0000 32; = 1");
    check("reset mode 1 polls the way into ROM every second, but no other",
          Results{HvxFun_ResetAndWait(ROM_MODE), HvxFun_ResetAndWait(HUB_RESET)}, R"(C0 09 0000 0000 32
        40 00 0000 0000 0, 3000 ms; 40 02 0001 2E4D 0; 40 01 0000 0000 0, 4000 ms; 40 02 0001 2E4D 0; = 1 1
        error 5)");
    bus.faults().troubles.hub_never_returns = true;
    check("20 polls", HvxFun_ResetAndWait(CODE_MODE), "40 E9 0101 0000 0, 40000 ms; = 0; no session");
}

TEST_F(HubControl, TellsWhatTheHubRefuses)
{
    openMonitor();
    refuse(0, 0x40, 0x00);
    check("a refused reset takes the session with it and is not asked again", HvxFun_ResetAndWait(ROM_MODE),
          "C0 09 0000 0000 32; 40 00 0000 0000 0 refused, 384 ms; = 0; no session");
    openHub();
    check("an unknown kind only closes", HvxFun_ResetDevEx(7), "= 1; no session");
    openMonitor();
    bus.faults().replaceReply(sim::atMatch(sim::requestIs(0xC0, 0x09), 3), 15, {0x02});
    check("a hub that comes back in code is error 12", HvxFun_OpenRomDevice(), "...; = 0; error 12");
    bus.faults().replaceReply(sim::atMatch(sim::requestIs(0xC0, 0x09), 1), 15, {0xFD});
    check("only bit 1 of the flags tells", HvxFun_IsRomCode(), "...; = 1");
    check("a good erase is followed by 128 ms", HvxFun_EraseFlash(), "40 E8 0000 0000 0, 928 ms; = 1");
    bus.faults().refuse(sim::atRequest(1).forGood());
    check("a bad one, too, three times", HvxFun_EraseFlash(), "40 E8 0000 0000 0 refused, 128 ms x 3; = 0");
    const Results told{HvxFun_IsRomCode(), HvxFun_GetResetMode(), HvxFun_GetFwVer()};
    check("a hub without status tells nothing", told, "C0 09 0000 0000 32 refused x 3; = 0 0 0");
}

class HubUpdate : public RecordingTest
{
protected:
    std::int32_t update(Bytes& content)
    {
        const auto size = static_cast<std::uint32_t>(content.size());
        return hub::updateHubFirmware(content.data(), size, report, this);
    }
    /// How the hub is left: what it runs, the two bytes where the mark belongs, and whether the rest is new.
    std::string left()
    {
        Bytes flash = monitor->hub().flash();
        flash.resize(image.size());
        const auto state = format("%s, mark %02X %02X", monitor->hub().runsCode() ? "code" : "ROM",
                                  flash[0xFEF0], flash[0xFEF1]);
        std::copy_n(&image[0xFEF0], 2, &flash[0xFEF0]);
        return state + (flash == image ? ", new" : ", old");
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
        40 C8 0000 0000 4096, 12 ms; 12 %; 40 C8 1000 0000 4096, 12 ms; 14 %; ...
        40 C8 F000 0000 4096, 12 ms; 42 %; 'Write Flash done. '
        C0 D8 0000 0000 4096; 44 %; C0 D8 1000 0000 4096; 46 %; ...
        C0 D8 F000 0000 4096; 74 %; 'Verify Flash...'; 40 C8 FEF0 0000 2: 55 AA, 1 ms
        'Reset to Flash Code...'; 40 E9 0101 0000 0, 4000 ms; 40 02 0001 2E4D 0; 84 %; = 1; error 5)");
    check("the hub runs the image with its mark", left(), "= code, mark 55 AA, new");
    check("the caller's image is as it was", content == image, "= 1");
    check("without a callback nothing is done", hub::updateHubFirmware(data, 256, nullptr, this), "= 0");
}

TEST_F(HubUpdate, TakesImagesOfAnyShape)
{
    Bytes content(9216, 0x42);
    openMonitor();
    HvxFun_OpenRomDevice();
    forget();
    check("each share is cut to a whole percent, and no mark is none", update(content), R"(...; 10 %
        40 C8 0000 0000 4096, 12 ms; 27 %; 40 C8 1000 0000 4096, 12 ms; 44 %; 40 C8 2000 0000 1024, 3 ms; 48 %
        'Write Flash done. '; C0 D8 0000 0000 4096; 65 %; C0 D8 1000 0000 4096; 82 %; C0 D8 2000 0000 1024
        86 %; 'Verify Flash...'; 'Reset to Flash Code...'; ...; 96 %; = 1)");
    content.clear();
    check("an empty image has no pieces", update(content),
          "...; 10 %; 'Write Flash done. '; 'Verify Flash...'; 'Reset to Flash Code...'; ...; 20 %; = 1");
    content = {0x55, 0xC3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x3C, 0xC3};
    content.resize(272);
    check("half a mark is none", update(content), R"(C0 09 0000 0000 32; 40 E8 0000 0000 0, 928 ms; ...
        'Verify Flash...'; 'Reset to Flash Code...'; ...; 100 %; = 1)");
}

TEST_F(HubUpdate, FailsWithoutAMarkThatIsNotTrue)
{
    const auto fails = [this](const std::string& rule, const std::string& wanted) {
        Bytes content = image;
        const auto result = update(content);
        check(rule, Results{result, left()}, "...; " + wanted + "; error 5");
        repair();
        monitor->powerCycle();
        bus.clock().advance(sim::VirtualMonitor::start_up_time);
        openHub();
        content = image;
        update(content);
        forget();
        check(rule + ", and the next update finishes", left(), "= code, mark 55 AA, new");
        openMonitor();
    };
    openMonitor();
    bus.faults().troubles.hub_never_returns = true;
    fails("without ROM the flash stays", R"('Fail To Open Rom Device'; 'Please Load Driver firstly'
        'Then replugin usb hub device'; = 41511 ROM, mark 55 AA, old; no session)");
    bus.faults().refuse(sim::atMatch(sim::requestIs(0x40, 0xC8), 4), platform::no_memory);
    fails("a refused piece gives its status", R"(40 C8 2000 0000 4096 -> E00002BD; 'Fail to Write Flash'
        = E00002BD ROM, mark FF FF, old)");
    bus.faults().flipReply(sim::atMatch(sim::requestIs(0xC0, 0xD8), 16), 4095, {1});
    fails("a wrong last bit counts", "'Verify Flash...'; 'Fail to verify flash'; = 1 ROM, mark FF FF, new");
    bus.faults().flipReply(sim::atMatch(sim::requestIs(0xC0, 0xD8), 1), 0, {0x80});
    fails("a wrong first bit, too", "C0 D8 F000 *; 74 %; *'Fail to verify flash'; = 1 ROM, mark FF FF, new");
    refuse(0, 0x40, 0xE8);
    fails("an erase is needed", "'Fail to Erase Flash'; = 0 ROM, mark 00 00, old");
    refuse(3, 0xC0, 0xD8);
    fails("a refused read-back ends it", "'Fail to Read Flash'; = 1 ROM, mark FF FF, new");
    refuse(0, 0x40, 0xE9);
    fails("a restart is needed", "'Fail to Reset to Flash Code'; = 1 ROM, mark 55 AA, new; no session");
    refuse(1, 0x40, 0xC8);
    fails("an old mark that stays is not looked at", "84 %; = 1 code, mark 55 AA, new");
    refuse(18, 0x40, 0xC8);
    fails("without a new mark the hub stays in ROM", "84 %; = 1 ROM, mark FF FF, new");
}
