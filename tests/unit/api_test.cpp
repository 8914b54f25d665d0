/// The hub object's search by speed, and the flat functions that an application calls.
#include "bench.h"

class HubObject : public Bench
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
    const std::string usb3 = "'---->CMpFlow::MP_MultiOpenDevice_USB3'; ";
    const std::string usb2 = "'---->CMpFlow::MP_MultiOpenDevice_USB2'; ";
};

TEST_F(HubObject, SearchesByPositionAndSpeed)
{
    const auto search = [this](const char* rule, const std::string& letters,
                               bool (CHvxHub::*how)(std::uint32_t*), std::uint32_t position,
                               const std::string& wanted) {
        on(letters);
        object.isUsb2 = 1;
        forget();
        check(rule, Results{(object.*how)(&position), position}, wanted);
    };
    const std::string before30(29, 'f');
    search(
        "a SuperSpeed face is preferred", "HfSS", &CHvxHub::MP_MultiOpenDevice, 1,
        "'MP_MultiOpenDevice index=0n1 '; " + usb3 + hello +
            "'MP_MultiOpenDevice got usb3.0 hub , device index=0n2 '; = 1 2; session; isOpened 1; isUsb2 0");
    search(
        "USB 2 is searched from position 0", "ffF", &CHvxHub::MP_MultiOpenDevice, 7,
        "'MP_MultiOpenDevice index=0n7 '; " + usb3 + usb2 + hello +
            "'MP_MultiOpenDevice got usb2.0 hub , device index=0n2 '; = 1 2; session; error 5; isOpened 1");
    search("no hub is told", "", &CHvxHub::MP_MultiOpenDevice, 4,
           "'MP_MultiOpenDevice index=0n4 '; " + usb3 + usb2 +
               "'Failed to find any Halvrex Hub device exist '; = 0 0; error 5");
    search("a walk that ends at position 30 found nothing", before30 + "H", &CHvxHub::MP_MultiOpenDevice_USB3,
           0, usb3 + hello + "= 0 30");
    search("one that ends beyond has found", before30 + "fSH", &CHvxHub::MP_MultiOpenDevice_USB2, 0,
           usb2 + hello + "= 1 31");
    on("HS", 1);
    check("no place for a position is 0; a hub that is too slow is locked",
          object.MP_MultiOpenDevice(nullptr),
          "'MP_MultiOpenDevice index=0n0 '; " + usb3 + hello + bye + hello + "...; = 1; session");
    on("F");
    check("for USB 2, too", object.MP_MultiOpenDevice(nullptr),
          "...; = 1; session; error 5; isOpened 1; isUsb2 1");
}

TEST_F(HubObject, OpensAndClosesByItself)
{
    const std::string own3 = "'---->CMpFlow::MP_OpenDevice_USB3'; ";
    const std::string own2 = "'---->CMpFlow::MP_OpenDevice_USB2'; ";
    const std::string before20(19, 'f');
    on("F");
    check("USB 2 comes second, and is open then", object.OpenDevice(),
          own3 + hello + own2 + hello + "= 1; session; error 5; isOpened 1");
    check("closing locks an open hub", object.CloseDevice(), bye + "= 1; no session; isOpened 0");
    on("S");
    check("SuperSpeed does not say that it is open", object.OpenDevice(), own3 + hello + "= 1; session");
    check("closing ends that session, too", object.CloseDevice(), "= 1; no session");
    on("", 1);
    check("no hub is not open", object.OpenDevice(), own3 + own2 + "= 0; error 5; isOpened 0");
    on(before20 + "S");
    check("position 19 is searched; 20 is the end",
          Results{object.OpenDevice_USB2(), object.OpenDevice_USB3()},
          own2 + hello + own3 + hello + "= 0 1; session");
    on(before20 + "fH");
    check("beyond is found", object.OpenDevice_USB3(), own3 + hello + "= 1");
    device().troubles.speed = platform::io_error;
    check("an unread speed leaves the session", object.OpenDevice_USB2(), own2 + hello + "= 0; session");
}

TEST_F(HubObject, TellsWhoItIs)
{
    myUSB_DEVICE_SPEED speed = myUSB_SPEED_UNKNOWN;
    std::uint32_t location = 0;
    const auto info = [&] {
        short vid = 0, pid = 0, version = 0;
        std::uint32_t wide = 0;
        const bool got = object.GetBasicInfo(vid, pid, version, wide);
        return format("= %d %04hX %04hX %04hX %X", got, vid, pid, version, wide);
    };
    const auto link = [&] { return Results{object.GetSpeed(&speed), object.GetLocation(&location)}; };
    const std::string status = "C0 09 0000 0000 16; ";
    plug("H");
    openHub();
    g_hub = &object;
    check("a closed object has no speed and location", link(), "= 0 0");
    check("and asks nothing", info(), "= 0 0000 0000 0000 0");
    object.isOpened = 1;
    forget();
    check("an open object has them", link(), "= 1 1");
    check("they are the session's", Results{speed, location}, "= 3 14100000");
    check("High-Speed", info(),
          status + "' Got HighSpeed hub vid=0x2e4d,pid=0x305 '; = 1 2E4D 0305 8102 FFFF8102");
    device().traits.speed = 3;
    check("SuperSpeed", info(),
          status + "' Got SuperSpeed hub vid=0x2e4d,pid=0x7305 '; = 1 2E4D 7305 8102 FFFF8102");
    device().troubles.speed = device().troubles.location = platform::io_error;
    device().reply[2] = 0x83;
    check("an unread speed, and a product id with its sign", info(),
          status + "' Got Unknown speed hub vid=0x2e4d,pid=0xffff8305 '; = 1 2E4D 8305 8102 FFFF8102");
    check("what cannot be read is none", link(), "= 0 0");
    bus.faults().refuse(sim::atRequest(1));
    check("a hub without status tells nothing", info(), "C0 09 0000 0000 16 refused; = 0 0000 0000 0000 0");
}

using FlatFunctions = HubObject;

TEST_F(FlatFunctions, NeedAnOpenHub)
{
    const auto states = [this](const std::string& first, const std::function<std::uint32_t()>& call,
                               const std::string& closed, const std::string& open,
                               const std::string& refused) {
        fresh();
        check("before Init nothing is done", call(), first + "= 0");
        on("H");
        check("on a closed hub nothing is done", call(), first + closed + "= 0");
        OpenDevice(0);
        forget();
        check("on an open hub it is done", call(), first + open);
        bus.faults().refuse(sim::atRequest(1));
        check("a refused request is 0", call(), first + refused);
    };
    const std::string invalid = "'     Invalid Handle.'..; ";
    states(
        "'Read 7305 USB2I2C function ... '; ", [=] { return ReadI2C(0x51, data, 250); }, invalid,
        "...; C0 D6 0051 0000 250; = 1", "...; C0 D6 0051 0000 250 refused; = 0");
    states(
        "'Write 7305 I2C function... '; ", [=] { return WriteI2C(0x51, data, 300); }, invalid,
        "...; 40 C6 0051 0000 300; = 1", "...; 40 C6 0051 0000 300 refused; = 0");
    states(
        "'Update Hub Firmware function... '; ", [=] { return UpdateHubFw(data, 8, nullptr, nullptr); },
        invalid, "= 0", "= 0");
    states(
        "'Update Scalar function... '; ",
        [=] { return UpdateScalarFw(data, 0, 1, 2, 3, 1, nullptr, nullptr); }, invalid,
        "'Wrong Fw file'..; = 41521", "'Wrong Fw file'..; = 41521");
    states("", GetfwVersion, "' Device has not been opened before Get Firmware Version Function.'..; ",
           "C0 09 0000 0000 16; ' Got HighSpeed hub vid=0x2e4d,pid=0x305 '; = FFFF8102",
           "C0 09 0000 0000 16 refused; ' Hub GetBasicInfo fail.'; = 0");
    states(
        "...; ", [] { return SetBusSpeed(0x6E, 1, 5); },
        "'     Invalid Handle on set_BusSpeed function .'..; ", "40 F6 6E01 8085 0; = 1; busSpeed 1",
        "40 F6 6E01 8085 0 refused; ...; = 0");
    check(
        "the hub object is told", SetBusSpeed(0x6E, 1, 5),
        format("'SetBusSpeed g_hub= 0x%p, addr=0x6e,Value=0x1,S=0x5 '; ...; = 1", static_cast<void*>(g_hub)));
    check("opening closes first", OpenDevice(1), bye + "'MP_MultiOpenDevice index=0n1 '; ...; = 1");
    check("closing locks an open hub", CloseDevice(), bye + "= 1; no session; isOpened 0");
    on("");
    check("opening nothing is 0", OpenDevice(0), "...; = 0; error 5; isUsb2 1");
}

TEST_F(FlatFunctions, BeginWithInitAndEndWithDeinit)
{
    int index = 0;
    check("before Init there is nothing",
          Results{AvailableDevices(), OpenDevice(0), OpenAndGetInfo(nullptr, 0, &index, nullptr),
                  CloseDevice()},
          "= 0 0 0 0");
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

TEST_F(FlatFunctions, PassTheUpdatesOn)
{
    openMonitor();
    g_hub = &object;
    object.isOpened = 1;
    forget();
    check("the scaler update is run", UpdateScalarFw(data, 200, 0xFE28, 0x1038, 2, 0, report, this), R"(
        'Update Scalar function... '; ...; F5 <- 10; F4 <- 38; ...; F5 <- FE; F4 <- 28; ...; 72 <- 01; ...; 20 %; ...
        40 C6 0080 0000 72; ...; 100 %; ...; = 0; lengths 1 1)");
    check("the hub update is run", UpdateHubFw(data, 256, report, this),
          R"('Update Hub Firmware function... '; ...
        10 %; 40 C8 0000 0000 256, 1 ms; 50 %; ...; 100 %; = 1; error 5)");
}

TEST_F(FlatFunctions, CountHubsByTheirHighSpeedFaces)
{
    on("S");
    check("a lone SuperSpeed face does not count", AvailableDevices(),
          usb3 + hello + usb3 + usb2 + hello +
              "'Get Usb3.0 Hub Devices=1 '; 'Get Available Devices=0 '; = 0; error 5");
    on("HfH");
    check("High-Speed faces do", AvailableDevices(),
          usb3 + "40 02 0001 2E4D 0 x 2; " + usb2 + hello + usb2 + hello + usb2 +
              "'Get Available Devices=2 '; = 2; error 5");
}

TEST_F(FlatFunctions, DescribeAHub)
{
    char* const text = reinterpret_cast<char*>(data);
    const auto described = [=](int index) {
        int super_speed = 9;
        *text = '\0';
        const int result = OpenAndGetInfo(text, 0, &index, &super_speed);
        return Results{result, index, super_speed}.text + (*text ? std::string("; ") + text : "");
    };
    on("fH");
    check("the index asked for and the version with its sign are told", described(3),
          R"(...; C0 09 0000 0000 16
        ' Got HighSpeed hub vid=0x2e4d,pid=0x305 '; = 1 1 0
        Hub 3 - USB\VID_2E4D&PID_0305&Rev_ffff8102 - port 336592896, parent 0; session; error 5; isOpened 1; isUsb2 1)");
    device().traits.speed = 3;
    char own[128] = {};
    object.setStrLocation(own);
    const std::string told = R"(Hub 0 - USB\VID_2E4D&PID_7305&Rev_ffff8102 - port 336592896, parent 0)";
    check("an open hub is closed first", described(0), bye + "...; = 1 1 1; " + told + "; isUsb2 0");
    check("the object's own buffer has the text, too", std::string(own), told);
    object.dealloc();
    device().troubles.location = platform::io_error;
    check("without a location nothing is told", described(0), "...; = 0 1 1");
    check("the buffer is forgotten", object.strLocation == nullptr, "= 1");
    on("");
    check("without a hub nothing is told", described(2), "...; = 0 0 9; error 5; isUsb2 1");
}
