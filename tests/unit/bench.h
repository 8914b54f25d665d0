/// Where the hub library is watched: a test calls it, then check() compares all that came of it since the check
/// before. One event after another, separated by "; " or a line break:
///
///     40 C8 2345 0001 2: 55 AA    a request: type, request, value, index, length, and up to twelve bytes of data
///     6F <- 80                    the same for a short bridge request: ISP register 6F is written
///     6F is 00                    .. or read
///     select 70                   .. or selected by a write of no bytes
///     .., 128 ms                  so long until the next event, rounded; "refused", "-> E00002D6": its status
///     'Verify Flash...'           a printed line; a text without line end is followed by ..
///     42 %                        a progress report
///     = 1                         the result of the call
///     session; error 5; isOpened 1; lengths 1 128     what has changed of the library's state
///     violation: ...              what the virtual monitor holds against the host
///
/// Equal events in a row are one with "x 3". In what is wanted, "..." stands for any events.
#pragma once

#include <fnmatch.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <optional>
#include <regex>
#include <sstream>
#include <utility>

#include "hub/api/hvx_hub.h"
#include "hub_fixture.h"

inline sim::When nth(int number, std::uint8_t type, std::uint8_t request)
{
    return sim::atMatch(sim::requestIs(type, request), number);
}

/// The result of a call, or in braces, which keep the order, those of several; or a text of its own.
struct Results
{
    template <typename... Values>
    Results(Values... values)
    {
        ((text += format(static_cast<std::uint32_t>(values) < 0x10000 ? " %d" : " %X", values)), ...);
    }
    Results(std::string own)
        : text(std::move(own))
    {
    }
    Results(const char* own)
        : text(own)
    {
    }
    std::string text = "=";
};

class Bench : public HubTest
{
protected:
    Bench()
    {
        stdout = open_memstream(&printed_, &printed_size_);
        fresh();
    }
    ~Bench() override
    {
        std::fclose(std::exchange(stdout, real_stdout_));
        std::free(printed_);
    }

    /// `rule` is what somebody reads first when it is broken: a short sentence of what should be. A call without a
    /// result is made before, with "" in its place.
    void check(const std::string& rule, const Results& results, const std::string& wanted,
               int line = __builtin_LINE())
    {
        takeText();
        Lines seen = events();
        if (!results.text.empty())
            seen.push_back(results.text);
        const Lines now = stateNow();
        std::copy_if(now.begin(), now.end(), std::back_inserter(seen), [this](auto& part) {
            return std::find(state_.begin(), state_.end(), part) == state_.end();
        });
        for (const std::string& violation : bus.violations().messages())
            seen.push_back("violation: " + violation);
        const std::string text = joined(seen);
        std::string pattern = std::regex_replace(wanted + "; ", std::regex("(;|\\n)[; \\n]*"), "; ");
        pattern = std::regex_replace(std::regex_replace(pattern, std::regex("^; "), ""),
                                     std::regex("\\.\\.\\.; "), "*");
        const auto matches = [&](std::size_t end, const char* rest) {
            return fnmatch((pattern.substr(0, end) + rest).c_str(), text.c_str(), FNM_NOESCAPE) == 0;
        };
        if (!matches(pattern.size(), "")) {
            std::size_t good = 0; // so far it agrees
            for (std::size_t end = 0; (end = pattern.find("; ", end) + 2) > 1 && matches(end, "*");)
                good = end;
            const std::size_t same = text.compare(0, good, pattern, 0, good) == 0 ? good : 0;
            const auto printing = std::exchange(stdout, real_stdout_);
            const std::string message = rule + ": seen \"" + text.substr(same, 150) + "\" instead of \"" +
                                        (good < pattern.size() ? pattern.substr(good, 150) : "no more") +
                                        "\"";
            GTEST_MESSAGE_AT_(testing::UnitTest::GetInstance()->current_test_info()->file(), line,
                              message.c_str(), testing::TestPartResult::kNonFatalFailure);
            stdout = printing;
        }
        forget();
    }
    /// Leaves what has come so far out of the next check.
    void forget()
    {
        takeText();
        notes_.clear();
        bus.log().clear();
        bus.violations().clear();
        began_ = bus.clock().now();
        state_ = stateNow();
    }
    /// A call that is one request: taken, refused, and without a session.
    template <typename Call>
    void checkRequest(const std::string& rule, const std::string& wire, Call call,
                      int line = __builtin_LINE())
    {
        constexpr bool tells = std::is_same_v<decltype(call()), bool>;
        check(rule, call(), wire + (tells ? "; = 1" : "; = 0"), line);
        bus.faults().refuse(sim::atRequest(1));
        const std::string request = wire[0] == 'C' ? wire.substr(0, wire.find(':')) : wire;
        check(rule + ", refused", call(), request + " refused" + (tells ? "; = 0" : "; = E000404F"), line);
        auto session = std::move(g_Dev);
        forget();
        check(rule + ", without a session", call(), tells ? "= 0" : "= E00002F0", line);
        g_Dev = std::move(session);
        forget();
    }
    /// An empty bus, nothing wrong with it, and the library as in a new process.
    void fresh()
    {
        g_Dev.reset();
        monitor.reset();
        devices_.clear();
        bus.refuseEnumeration(false);
        object = CHvxHub();
        g_hub = nullptr;
        g_ErrCode = m_uAddrLen = m_uDataLen = 0;
        repair();
        forget();
    }
    /// No fault waits any more.
    void repair()
    {
        bus.faults().clear();
        bus.faults().troubles = {};
        // No fault: it sees each request before it is carried out.
        bus.faults().refuse(sim::atMatch([this](const sim::SetupPacket&) { return takeText(); }));
    }
    /// A fresh bus with one device a letter. A hub: F full, H high or S super speed; p without plug-in, i without
    /// interface, x held by another process, v with unreadable vendor id, 0 with unreadable product id. No hub: f
    /// of another vendor, w of another product, m with only the product id of a hub.
    void plug(const std::string& letters)
    {
        fresh();
        for (const char kind : letters) {
            const std::uint16_t vendor = kind == 'f' || kind == 'm' ? 0x1234 : 0x2E4D;
            const std::uint16_t product = kind == 'S' ? 0x7305 : kind == 'f' || kind == 'w' ? 0x4321 : 0x0305;
            const std::uint8_t speed = kind == 'S' ? 3 : kind == 'F' ? 1 : 2;
            Responder& device = devices_.emplace_back(sim::DeviceTraits{vendor, product, speed, 0x14100000});
            device.reply = {0x2E, 0x4D, 0x73, 0x05, 0x03, 0x05, 0, 0, 0, 0, 0x81, 0x02, 0, 0, 0, 0x02};
            device.reply.resize(0x10000);
            device.troubles.no_plug_in = kind == 'p';
            device.troubles.no_interface = kind == 'i';
            device.troubles.held_by_other = kind == 'x';
            device.troubles.vendor_id = kind == 'v' ? platform::io_error : platform::success;
            device.troubles.product_id = kind == '0' ? platform::io_error : platform::success;
            bus.attach(device);
        }
    }
    /// A session on the first hub.
    void openHub()
    {
        HH_Open(nullptr);
        forget();
    }
    /// The only thing on the bus is a virtual monitor, with a session.
    void openMonitor(std::uint8_t reset_mode = 0)
    {
        fresh();
        monitor.emplace(bus, sim::MonitorSetup{sim::Model::qx1650, {1, 2}, {11, 0}, "", true, reset_mode});
        openHub();
    }
    Responder& device() { return devices_.back(); }
    /// A ProgressCallback with the bench as its context.
    static void report(void* bench, std::uint8_t percent)
    {
        auto& self = *static_cast<Bench*>(bench);
        self.takeText();
        self.notes_.emplace_back(self.bus.log().records().size(), std::to_string(percent) + " %");
    }

    std::optional<sim::VirtualMonitor> monitor;
    CHvxHub object; ///< g_hub in a test that says so
    Bytes buffer = Bytes(0x10010);
    std::uint8_t* const data = buffer.data();

private:
    /// Notes what was printed up to here.
    bool takeText()
    {
        std::fflush(stdout);
        std::istringstream text(std::string(printed_ + noted_, printed_size_ - noted_));
        noted_ = printed_size_;
        for (std::string line; std::getline(text, line);)
            notes_.emplace_back(bus.log().records().size(), "'" + line + (text.eof() ? "'.." : "'"));
        errno = 11; // what the library prints of a failed request
        return false;
    }
    static std::string requestText(const sim::WireRecord& record)
    {
        const sim::SetupPacket& s = record.setup;
        std::string text =
            format("%02X %02X %04X %04X %d", s.request_type, s.request, s.value, s.index, s.length);
        const bool is_register =
            s.request == 0xE6 && (s.request_type & 0x7F) == 0x40 && (s.value >> 8 | s.index) == 0;
        if (is_register && s.length == 1)
            text = format("%02X %s", s.value, s.isIn() ? "is" : "<-");
        else if (is_register && s.length == 0 && !s.isIn())
            text = format("select %02X", s.value);
        else if (!record.data.empty() && record.data.size() <= 12)
            text += ":";
        for (std::size_t i = 0; record.data.size() <= 12 && i < record.data.size(); ++i)
            text += format(" %02X", record.data[i]);
        if (record.status == platform::success)
            return text;
        return text +
               (record.status == platform::pipe_stalled ? " refused" : format(" -> %08X", record.status));
    }
    /// A request itself takes less than half a millisecond.
    static std::string waited(sim::Duration time)
    {
        const auto ms = std::chrono::round<std::chrono::milliseconds>(time).count();
        return ms == 0 ? "" : ", " + std::to_string(ms) + " ms";
    }
    Lines stateNow() const
    {
        const CHvxHub none;
        const CHvxHub& hub = g_hub ? *g_hub : none;
        const bool held = std::any_of(devices_.begin(), devices_.end(), [](auto& device) {
            return device.counters().opens != device.counters().closes;
        });
        return {g_Dev  ? "session"
                : held ? "no session, but held"
                       : "no session",
                format("error %d", g_ErrCode),
                format("isOpened %d", hub.isOpened),
                format("isUsb2 %d", hub.isUsb2),
                format("busSpeed %d", hub.busSpeed),
                format("lengths %d %d", m_uAddrLen, m_uDataLen)};
    }
    Lines events()
    {
        Lines lines;
        const auto& records = bus.log().records();
        if (const auto wait = waited((records.empty() ? bus.clock().now() : records[0].time) - began_);
            !wait.empty())
            lines.push_back("nothing" + wait);
        auto note = notes_.begin();
        for (std::size_t i = 0; i <= records.size(); ++i) {
            for (; note != notes_.end() && note->first == i; ++note)
                lines.push_back(note->second);
            if (i == records.size())
                break;
            const auto next = i + 1 < records.size() ? records[i + 1].time : bus.clock().now();
            lines.push_back(requestText(records[i]) + waited(next - records[i].time));
        }
        return lines;
    }
    static std::string joined(const Lines& lines)
    {
        std::string text;
        for (auto line = lines.begin(); line != lines.end();) {
            const auto next = std::find_if(line, lines.end(), [&](auto& other) { return other != *line; });
            text += *line + (next - line > 1 ? format(" x %d; ", static_cast<int>(next - line)) : "; ");
            line = next;
        }
        return text;
    }
    std::deque<Responder> devices_;
    std::vector<std::pair<std::size_t, std::string>> notes_; ///< the request that each comes before, its text
    Lines state_;
    sim::Duration began_{0};
    char* printed_ = nullptr; ///< all that was printed
    std::size_t printed_size_ = 0;
    std::size_t noted_ = 0;
    std::FILE* const real_stdout_ = stdout;
};
