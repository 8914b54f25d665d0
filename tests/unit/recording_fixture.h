/// Records all that a call of the hub library does; check() compares what has come since the check before. One event
/// after another, separated by "; " or a line break:
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

#include "hub/api/hvx_hub.h"
#include "hub_fixture.h"

#include <cerrno>
#include <fnmatch.h>
#include <optional>
#include <regex>
#include <sstream>
#include <utility>

/// The result of a call, or in braces, which keep the order, those of several, numbers and texts.
struct Results
{
    template <typename... Values>
    Results(Values... values)
    {
        (add(values), ...);
    }
    void add(std::uint32_t value) { text += format(value < 0x10000 ? " %d" : " %X", value); }
    void add(const std::string& own) { text += own.empty() ? "" : " " + own; }
    std::string text = "=";
};

class RecordingTest : public HubTest
{
protected:
    RecordingTest()
    {
        stdout = open_memstream(&printed_, &printed_size_);
        // Sees each request before it is carried out.
        bus.faults().on_request = [this](auto&, auto) { takeText(); };
        fresh();
    }
    ~RecordingTest() override
    {
        std::fclose(std::exchange(stdout, real_stdout_));
        std::free(printed_);
    }

    /// `rule` is what somebody reads first when it is broken: a short sentence of what should be.
    void check(const std::string& rule, const Results& results, const std::string& wanted,
               int line = __builtin_LINE(), const char* file = __builtin_FILE())
    {
        takeText();
        Lines seen = events();
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
        if (fnmatch(pattern.c_str(), text.c_str(), FNM_NOESCAPE) != 0) {
            const std::string message = rule + ": seen \"" + text + "\" instead of \"" + pattern + "\"";
            const auto printing = std::exchange(stdout, real_stdout_);
            GTEST_MESSAGE_AT_(file, line, message.c_str(), testing::TestPartResult::kNonFatalFailure);
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
        state_ = stateNow();
    }
    /// Has the `number`-th of such requests refused, of this value if there is one; with 0 every one.
    template <typename... Value>
    void refuse(int number, std::uint8_t type, std::uint8_t request, Value... value)
    {
        const sim::When when = sim::atMatch(
            sim::requestIs(type, request, static_cast<std::uint16_t>(value)...), std::max(number, 1));
        bus.faults().refuse(number == 0 ? when.forGood() : when);
    }
    /// An empty bus, nothing wrong with it, and the library as in a new process.
    void fresh()
    {
        resetLibrary();
        monitor.reset();
        devices_.clear();
        bus.refuseEnumeration(false);
        object = CHvxHub();
        repair();
        forget();
    }
    /// No fault waits any more.
    void repair()
    {
        bus.faults().clear();
        bus.faults().troubles = {};
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
        monitor.emplace(bus, sim::MonitorSetup{sim::Model::qx1650, {1, 2}, {11, 0}, true, reset_mode});
        openHub();
    }
    Responder& device() { return devices_.back(); }
    /// A ProgressCallback with the test as its context.
    static void report(void* test, std::uint8_t percent)
    {
        auto& self = *static_cast<RecordingTest*>(test);
        self.takeText();
        self.notes_.emplace_back(self.bus.log().records().size(), std::to_string(percent) + " %");
    }

    std::optional<sim::VirtualMonitor> monitor;
    CHvxHub object; ///< g_hub in a test that says so
    Bytes buffer = Bytes(0x10010);
    std::uint8_t* const data = buffer.data();

private:
    /// Notes what was printed up to here.
    void takeText()
    {
        std::fflush(stdout);
        std::istringstream text(std::string(printed_ + noted_, printed_size_ - noted_));
        noted_ = printed_size_;
        for (std::string line; std::getline(text, line);)
            notes_.emplace_back(bus.log().records().size(), "'" + line + (text.eof() ? "'.." : "'"));
        errno = 11; // what the library prints of a failed request
    }
    /// A request, and the wait after it; the request itself takes less than half a millisecond.
    static std::string requestText(const sim::WireRecord& record, sim::Duration wait)
    {
        const sim::SetupPacket& s = record.setup;
        std::string text = wireLine(record);
        const bool is_register = s.request == 0xE6 && s.value < 0x100 && s.index == 0 && s.length < 2;
        if (is_register)
            text = format(s.length == 0 ? "select %02X" : s.isIn() ? "%02X is" : "%02X <-", s.value);
        else if (!record.data.empty() && record.data.size() <= 12)
            text += ":";
        for (std::size_t i = 0; record.data.size() <= 12 && i < record.data.size(); ++i)
            text += format(" %02X", record.data[i]);
        if (record.status != platform::success)
            text += record.status == platform::pipe_stalled ? " refused" : format(" -> %08X", record.status);
        const auto ms = std::chrono::round<std::chrono::milliseconds>(wait).count();
        return ms == 0 ? text : text + ", " + std::to_string(ms) + " ms";
    }
    Lines stateNow() const
    {
        const CHvxHub hub = g_hub ? *g_hub : CHvxHub();
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
        auto note = notes_.begin();
        for (std::size_t i = 0; i <= records.size(); ++i) {
            for (; note != notes_.end() && note->first == i; ++note)
                lines.push_back(note->second);
            if (i == records.size())
                break;
            const auto next = i + 1 < records.size() ? records[i + 1].time : bus.clock().now();
            lines.push_back(requestText(records[i], next - records[i].time));
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
    char* printed_ = nullptr; ///< all that was printed
    std::size_t printed_size_ = 0;
    std::size_t noted_ = 0;
    std::FILE* const real_stdout_ = stdout;
};
