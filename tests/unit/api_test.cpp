/// The hub object's search by speed, and the flat functions that an application calls.
#include "recording_fixture.h"

class HubObject : public RecordingTest
{
protected:
    /// A fresh bus, and an object that is open or not.
    void on(const std::string& letters, std::uint8_t opened = 0)
    {
        plug(letters);
        g_hub = &object;
        object.isOpened = opened;
        forget();
    }
    const std::string hello = "40 02 0001 2E4D 0; ";
    const std::string bye = "40 02 0000 2E4D 0; ";
};

TEST_F(HubObject, SearchesByPositionAndSpeed)
{
    const auto search = [this](auto rule, auto letters, int usb, std::uint32_t position, auto wanted) {
        on(letters);
        object.isUsb2 = 1;
        forget();
        const bool found = usb == 3   ? object.MP_MultiOpenDevice_USB3(&position)
                           : usb == 2 ? object.MP_MultiOpenDevice_USB2(&position)
                                      : object.MP_MultiOpenDevice(&position);
        check(rule, Results{found, position}, wanted);
    };
    const std::string before30(29, 'f');
    search("a SuperSpeed face is preferred", "HfSS", 0, 1, R"('MP_MultiOpenDevice index=0n1 '
        '---->CMpFlow::MP_MultiOpenDevice_USB3'; 40 02 0001 2E4D 0
        'MP_MultiOpenDevice got usb3.0 hub , device index=0n2 '; = 1 2; session; isOpened 1; isUsb2 0)");
    search("USB 2 is searched from position 0", "ffF", 0, 7, R"('MP_MultiOpenDevice index=0n7 '; *USB3'
        '---->CMpFlow::MP_MultiOpenDevice_USB2'; 40 02 0001 2E4D 0
        'MP_MultiOpenDevice got usb2.0 hub , device index=0n2 '; = 1 2; session; error 5; isOpened 1)");
    search("no hub is told", "", 0, 4, "*; 'Failed to find any Halvrex Hub device exist '; = 0 0; error 5");
    search("a walk that ends at 30 found nothing", before30 + "H", 3, 0, "*; 40 02 0001 2E4D 0; = 0 30");
    search("one that ends beyond has found", before30 + "fSH", 2, 0, "*; 40 02 0001 2E4D 0; = 1 31");
    on("HS", 1);
    check("no place for a position is 0; a slow hub is locked", object.MP_MultiOpenDevice(nullptr),
          "*USB3'; " + hello + bye + hello + "...; = 1; session");
    on("F");
    check("USB 2, too", object.MP_MultiOpenDevice(nullptr), "*; = 1; session; error 5; isOpened 1; isUsb2 1");
}

TEST_F(HubObject, OpensAndClosesByItself)
{
    const std::string before20(19, 'f');
    on("F");
    check("USB 2 comes second, is open then, and is locked by closing",
          Results{object.OpenDevice(), object.isOpened, object.CloseDevice()}, R"(
        '---->CMpFlow::MP_OpenDevice_USB3'; 40 02 0001 2E4D 0; '---->CMpFlow::MP_OpenDevice_USB2'
        40 02 0001 2E4D 0; 40 02 0000 2E4D 0; = 1 1 1; error 5)");
    on("S");
    check("SuperSpeed does not say it is open", object.OpenDevice(), "*USB3'; " + hello + "= 1; session");
    check("closing ends that session, too", object.CloseDevice(), "= 1; no session");
    on("", 1);
    check("no hub is not open", object.OpenDevice(), "*; = 0; error 5; isOpened 0");
    on(before20 + "S");
    check("20 is the end", Results{object.OpenDevice_USB2(), object.OpenDevice_USB3()}, "*; = 0 1; session");
    on(before20 + "fH");
    check("beyond is found", object.OpenDevice_USB3(), "*; = 1");
    device().troubles.speed = platform::io_error;
    check("an unread speed leaves the session", object.OpenDevice_USB2(), "*; = 0; session");
}

TEST_F(HubObject, TellsWhoItIs)
{
    myUSB_DEVICE_SPEED speed = myUSB_SPEED_UNKNOWN;
    std::uint32_t location = 0;
    const auto info = [&] {
        short vid = 0, pid = 0, version = 0;
        std::uint32_t wide = 0;
        const bool got = object.GetBasicInfo(vid, pid, version, wide);
        return Results{got, format("%04hX %04hX %04hX %X", vid, pid, version, wide)};
    };
    const auto link = [&] {
        const bool has_speed = object.GetSpeed(&speed), has_location = object.GetLocation(&location);
        return Results{has_speed, has_location, speed, location};
    };
    plug("H");
    openHub();
    g_hub = &object;
    check("a closed object has no speed and location", link(), "= 0 0 0 0");
    check("and asks nothing", info(), "= 0 0000 0000 0000 0");
    object.isOpened = 1;
    forget();
    check("an open object has those of the session", link(), "= 1 1 3 14100000");
    check("High-Speed", info(), R"(C0 09 0000 0000 16; ' Got HighSpeed hub vid=0x2e4d,pid=0x305 '
        = 1 2E4D 0305 8102 FFFF8102)");
    device().traits.speed = 3;
    check("SuperSpeed", info(),
          "*; ' Got SuperSpeed hub vid=0x2e4d,pid=0x7305 '; = 1 2E4D 7305 8102 FFFF8102");
    device().troubles.speed = device().troubles.location = platform::io_error;
    device().reply[2] = 0x83;
    check("an unread speed, and a product id with its sign", info(),
          "*; ' Got Unknown speed hub vid=0x2e4d,pid=0xffff8305 '; = 1 2E4D 8305 8102 FFFF8102");
    check("what cannot be read is none", link(), "= 0 0 0 14100000");
    bus.faults().refuse(sim::atRequest(1));
    check("a hub without status tells nothing", info(), "*; = 0 0000 0000 0000 0");
}

using FlatFunctions = HubObject;

TEST_F(FlatFunctions, NeedAnOpenHub)
{
    const auto calls = [this] {
        const int read = ReadI2C(0x51, data, 250), written = WriteI2C(0x51, data, 300);
        const std::int32_t hub = UpdateHubFw(data, 8, nullptr, nullptr);
        const std::uint32_t scaler = UpdateScalarFw(data, 0, 1, 2, 3, 1, nullptr, nullptr);
        return Results{read, written, hub, scaler, GetfwVersion(), SetBusSpeed(0x6E, 1, 5)};
    };
    check("before Init nothing is done", calls(), R"('Read 7305 USB2I2C function ... '
        'Write 7305 I2C function... '; 'Update Hub Firmware function... '; 'Update Scalar function... '
        'SetBusSpeed g_hub= 0x(nil), addr=0x6e,Value=0x1,S=0x5 '; = 0 0 0 0 0 0)");
    on("H");
    check("on a closed hub nothing is done", calls(), R"('Read 7305 USB2I2C function ... '
        '     Invalid Handle.Write *'; '     Invalid Handle.Update Hub *'
        '     Invalid Handle.Update Scalar *'
        '     Invalid Handle. Device has not been opened before Get Firmware Version Function.SetBusSpeed *'
        '     Invalid Handle on set_BusSpeed function .'..; = 0 0 0 0 0 0)");
    OpenDevice(0);
    forget();
    check("on an open hub it is done", calls(), R"(...; C0 D6 0051 0000 250; ...; 40 C6 0051 0000 300; ...
        'Wrong Fw file'..; C0 09 0000 0000 16; ' Got HighSpeed hub vid=0x2e4d,pid=0x305 '; ...
        40 F6 6E01 8085 0; = 1 1 0 41521 FFFF8102 1; busSpeed 1)");
    bus.faults().refuse(sim::atRequest(1).forGood());
    check("a refused request is 0", calls(), "...; ' Hub GetBasicInfo fail.'; ...; = 0 0 0 41521 0 0");
    repair();
    check("opening closes first", OpenDevice(1), bye + "'MP_MultiOpenDevice index=0n1 '; ...; = 1");
    check("closing locks an open hub", CloseDevice(), bye + "= 1; no session; isOpened 0");
    on("");
    check("opening nothing is 0", OpenDevice(0), "...; = 0; error 5; isUsb2 1");
}

TEST_F(FlatFunctions, BeginWithInitAndEndWithDeinit)
{
    int index = 0;
    const auto calls = [&] {
        const int opened = OpenDevice(0), told = OpenAndGetInfo(nullptr, 0, &index, nullptr);
        return Results{AvailableDevices(), opened, told, CloseDevice()};
    };
    check("before Init there is nothing", calls(), "= 0 0 0 0");
    Deinit();
    check("Deinit before Init does nothing, Init twice is refused", Results{Init(), Init()},
          "'Init USB2I2C framework success. USB2I2C framework has been inited before.'..; = 1 0");
    on("H");
    OpenDevice(0);
    forget();
    Deinit();
    check("Deinit closes and lets go", g_hub == nullptr,
          bye + "'Deinit USB2I2C framework success.'..; = 1; no session; isOpened 0; isUsb2 0");
}

TEST_F(FlatFunctions, CountHubsByTheirHighSpeedFaces)
{
    on("S");
    check("a lone SuperSpeed face does not count", AvailableDevices(),
          "*; 'Get Usb3.0 Hub Devices=1 '; 'Get Available Devices=0 '; = 0; error 5");
    on("HfH");
    check("High-Speed faces do", AvailableDevices(), "*; 'Get Available Devices=2 '; = 2; error 5");
}

TEST_F(FlatFunctions, DescribeAHub)
{
    char* const text = reinterpret_cast<char*>(data);
    const auto described = [=](int index) {
        int super_speed = 9;
        *text = '\0';
        const int result = OpenAndGetInfo(text, 0, &index, &super_speed);
        return Results{result, index, super_speed, text};
    };
    on("fH");
    check("the index asked for and the version with its sign are told", described(3), R"(*
        = 1 1 0 Hub 3 - USB\VID_2E4D&PID_0305&Rev_ffff8102 - port 336592896, parent 0; session; error 5
        isOpened 1; isUsb2 1)");
    device().traits.speed = 3;
    char own[128] = {};
    object.setStrLocation(own);
    check("an open hub is closed first", described(0), bye + R"(*
        = 1 1 1 Hub 0 - USB\VID_2E4D&PID_7305&Rev_ffff8102 - port 336592896, parent 0; isUsb2 0)");
    check("the object's own buffer has the text, too", std::string(own) == text, "= 1");
    object.dealloc();
    device().troubles.location = platform::io_error;
    check("without a location nothing is told", described(0), "*; = 0 1 1");
    check("the buffer is forgotten", object.strLocation == nullptr, "= 1");
    on("");
    check("without a hub nothing is told", described(2), "*; = 0 0 9; error 5; isUsb2 1");
}
