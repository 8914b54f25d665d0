/// The update of the scaler's firmware on the virtual monitor.
#include "hub/i2c/scaler_update.h"
#include "recording_fixture.h"

class ScalerUpdate : public RecordingTest
{
protected:
    /// The smallest user code, with these bytes in the marker's place.
    static Bytes userCode(std::uint8_t first = 0xAA, std::uint8_t second = 0x55, std::size_t size = 0x10001)
    {
        Bytes content(size);
        for (std::size_t i = 0; i < size; ++i)
            content[i] = static_cast<std::uint8_t>(i * 13 + (i >> 9));
        content[0xF8FE] = first;
        content[0xF8FF] = second;
        return content;
    }
    std::uint32_t update(Bytes content, std::int8_t as_user_code, ProgressCallback callback = report)
    {
        return hub::updateScalerFirmware(content.data(), static_cast<std::uint32_t>(content.size()), 0xFE28,
                                         0x1038, as_user_code ? 16 : 1, as_user_code, callback, this);
    }
    std::string left()
    {
        const Bytes &flash = monitor->scaler().flash().bytes(), content = userCode();
        const bool is_new = std::equal(content.begin(), content.end(), &flash[0x100000]);
        const std::string mode = monitor->scaler().inIspMode() ? "ISP mode" : "runs";
        return mode + format(", marker %02X %02X, ", flash[0x1FF8FE], flash[0x1FF8FF]) +
               (is_new ? "new" : "old");
    }
};

TEST_F(ScalerUpdate, IsThisConversation)
{
    openMonitor();
    check("the scaler update, without user code", update(Bytes(300, 0x42), 0), R"(
        40 F6 9401 0103 0
        6F <- 80; 6F is 00, 10 ms x 3; 6F is 90; F4 <- 9F; F5 <- 06; F4 <- A0; F5 <- 74
        6A <- 03; 6B <- 0B; 6C <- 00; 62 <- 06; 63 <- 50; ED <- 88; EE <- 04
        F4 <- 9F; F5 <- 10; F4 <- 38; F5 is 5C; F4 <- AB; F5 <- 59; F4 <- 9F; F5 <- FE; F4 <- 28; F5 <- 01
        60 <- 68; 61 <- 01; 64 <- 00; 60 <- 69; 60 is 01, 10 ms x 2; 60 is 00
        64 <- 00; 65 <- 00; 66 <- 00; 60 <- B8; 61 <- D8; 60 <- B9; 60 is 01, 10 ms x 35; 60 is 00
        64 <- 00; 65 <- 00; 66 <- 00; 72 <- 00; 73 <- FF; 74 <- FF
        6F is 90; 6F <- 94; 6F is 84, 10 ms x 4; 6F is 90; 75 is DE, 10 ms; 20 %
        6D <- 02; 71 <- 7F
        64 <- 00; 65 <- 00; 66 <- 00; 6F is 90; select 70
        40 F6 9401 8003 0; 40 C6 0000 0000 128; 40 F6 9401 0103 0; 6F <- A0; 6F is A0, 10 ms; 6F is 90; 54 %
        64 <- 00; 65 <- 00; 66 <- 80; 6F is 90; select 70
        40 F6 9401 8003 0; 40 C6 0080 0000 128; 40 F6 9401 0103 0; 6F <- A0; 6F is A0, 10 ms; 6F is 90; 88 %
        64 <- 00; 65 <- 01; 66 <- 00; 6F is 90; select 70
        40 F6 9401 8003 0; 40 C6 0100 0000 44; 40 F6 9401 0103 0; 6F <- A0; 6F is A0, 10 ms; 6F is 90, 40 ms; 100 %
        60 <- 68; 61 <- 01; 64 <- FF; 60 <- 69; 60 is 01, 10 ms x 2; 60 is 00; EE <- 02; 100 %; = 0; lengths 1 1)");
    const Bytes& flash = monitor->scaler().flash().bytes();
    check("300 bytes are in flash", flash[299] == 0x42 && flash[300] == 0xFF, "= 1");
}

TEST_F(ScalerUpdate, PutsTheMarkerOfUserCodeLast)
{
    openMonitor();
    check("user code ends at its last byte, then its marker follows", update(userCode(), 1), R"(
        ...; 20 %; ...; 64 <- 10; 65 <- 00; 66 <- 00; ...; 40 C6 0000 0010 128; ...; 99 %
        64 <- 11; 65 <- 00; 66 <- 00; 6F is 90; select 70; 40 F6 9401 8003 0; 40 C6 0000 0011 1: 80; ...; 100 %
        64 <- 1F; 65 <- F8; 66 <- FE; ...; 40 C6 F8FE 001F 2: AA 55; ...; EE <- 02; 100 %; = 0; lengths 1 1)");
    openMonitor();
    check("no callback, no report", update(userCode(), 1, nullptr), "...; EE <- 02; = 0; lengths 1 1");
    check("it is in flash all the same", left(), "= runs, marker AA 55, new");
    check("an empty image is told", update({}, 0), "'Wrong Fw file'..; = 41521");
    const auto short_code = userCode(0xAA, 0x55, 0x10000), one = userCode(0xAB), other = userCode(0xAA, 0x54);
    const Results refused{update(short_code, 1), update(one, 1), update(other, 1)};
    check("one byte too few, or another marker, is no user code", refused, "= 41521 41521 41521");
}

TEST_F(ScalerUpdate, FailsWithoutAMarker)
{
    const auto fails = [this](const std::string& rule, const std::string& wanted) {
        const std::uint32_t result = update(userCode(), 1);
        check(rule, Results{result, left()}, "...; " + wanted + "; lengths 1 1");
        repair();
        update(userCode(), 1);
        forget();
        check(rule + ", and the next update finishes", left(), "= runs, marker AA 55, new");
        openMonitor();
    };
    openMonitor();
    bus.faults().troubles.scaler_never_in_isp_mode = true;
    fails("the check needs a mode", "75 is 00, 1 ms; 'Fail To I2C Initial'; = 41512 runs, marker FF FF, old");
    bus.faults().troubles.bad_erase_check = 0x1F;
    fails("an erase must work", "75 is 00, 1 ms; 'Fail To I2C Initial'; = 41512 ISP mode, marker FF FF, old");
    bus.faults().troubles.scaler_never_ready = true;
    fails("a port must be ready", "'Fail To I2C WriteSerialFlash'; = 41513 ISP mode, marker FF FF, old");
    refuse(4, 0xC0, 0xE6, 0x6F);
    fails("a mode must be read", "6F is refused; 'Fail To I2C Initial'; = 41512 ISP mode, marker FF FF, old");
    refuse(1, 0x40, 0xC6, 0x0100);
    fails("a chunk must be taken", "'Fail To I2C WriteSerialFlash'; = 41513 ISP mode, marker FF FF, old");
    refuse(1, 0x40, 0xC6, 0xF8FE);
    fails("a marker must be taken", R"('Failed to I2C WriteSerialFlash for Scalar UserCode '
        = 41519 ISP mode, marker FF FF, new)");
    refuse(2, 0x40, 0xE6, 0xEE);
    fails("a mode may stay", "EE <- 02 refused; 100 %; = 0 ISP mode, marker AA 55, new");
}
