/// Tests that are read rather than programmed. A transcript is a text file: a line that starts with "> " is
/// a command, and below it stands what came of it: what was printed, the requests on the wire with the waits
/// between them and the progress reported, the result, and the state where it changed. The test carries the
/// commands out and wants exactly that text.
///
/// For a new case, write its commands. WRITE_TRANSCRIPTS=1 in the environment then writes what comes of them
/// into the files, and fails: read every line that has changed, for nothing else says that it is right.
#include <cstdlib>
#include <fstream>

#include "hub/api/hvx_hub.h"
#include "hub/transport/hub_ids.h"
#include "transcript_commands.h"

namespace {

/// More bytes than `whole` are shown by the first few and a hash.
constexpr std::size_t whole = 40;
constexpr std::size_t shown_bytes = 16;
/// Of more lines than this, one command shows a few at either end.
constexpr std::size_t most_lines = 130;
constexpr std::size_t shown_lines = 24;

/// FNV-1a: what is too long to be shown is told by its hash.
template <typename Container>
unsigned hashOf(const Container& bytes)
{
    std::uint32_t hash = 0x811C9DC5;
    for (const auto byte : bytes)
        hash = (hash ^ static_cast<std::uint8_t>(byte)) * 0x01000193;
    return hash;
}

/// "40 C8 2345 0001 2: 55 AA": type, request, value, index, length and the data.
std::string requestLine(const sim::WireRecord& record)
{
    const sim::SetupPacket& s = record.setup;
    std::string line =
        format("%02X %02X %04X %04X %d", s.request_type, s.request, s.value, s.index, s.length);
    const std::size_t size = record.data.size();
    for (std::size_t i = 0; i < (size <= whole ? size : shown_bytes); ++i)
        line += format(i == 0 ? ": %02X" : " %02X", record.data[i]);
    if (size > whole)
        line += format(" .. #%08X", hashOf(record.data));
    return record.status == platform::success ? line : line + format(" -> %08X", record.status);
}

/// A request itself takes less than half a millisecond.
std::string waited(sim::Duration time)
{
    const auto ms = std::chrono::round<std::chrono::milliseconds>(time).count();
    return ms == 0 ? "" : ", " + std::to_string(ms) + " ms";
}

Lines eventsOf(const World& world, sim::Duration began)
{
    Lines lines;
    const auto& records = world.bus.log().records();
    auto report = world.progress.begin();
    const auto first = records.empty() ? world.bus.clock().now() : records[0].time;
    if (const std::string wait = waited(first - began); !wait.empty())
        lines.push_back("nothing" + wait);
    for (std::size_t i = 0; i <= records.size(); ++i) {
        for (; report != world.progress.end() && report->first == i; ++report)
            lines.push_back(std::to_string(report->second) + " %");
        if (i == records.size())
            break;
        const auto next = i + 1 < records.size() ? records[i + 1].time : world.bus.clock().now();
        lines.push_back(requestLine(records[i]) + waited(next - records[i].time));
    }
    return lines;
}

/// Equal lines folded into one, and the middle of a long list into its hash.
std::string shortened(const Lines& lines)
{
    Lines folded;
    for (std::size_t i = 0; i < lines.size();) {
        std::size_t next = i;
        while (next < lines.size() && lines[next] == lines[i])
            ++next;
        folded.push_back("    " + lines[i] + (next - i > 1 ? format(" x %zu", next - i) : "") + "\n");
        i = next;
    }
    std::string middle;
    std::string text;
    const std::size_t last = folded.size() > most_lines ? folded.size() - shown_lines : 0;
    for (std::size_t i = 0; i < folded.size(); ++i) {
        if (i == last && last > 0)
            text += format("    .. %zu lines #%08X\n", last - shown_lines, hashOf(middle));
        (i >= shown_lines && i < last ? middle : text) += folded[i];
    }
    return text;
}

std::string quoted(std::string text)
{
    const std::string address = format("%p", static_cast<void*>(g_hub));
    if (const auto at = text.find(address); at != std::string::npos)
        text.replace(at, address.size(), "<g_hub>");
    std::string lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines += "    \"" + line + (in.eof() ? "\"\n" : "\\n\"\n");
    return lines;
}

std::string stateNow()
{
    std::string text = format("  %s, g_ErrCode %d, lengths %d %d", g_Dev ? "session" : "no session",
                              g_ErrCode, m_uAddrLen, m_uDataLen);
    if (g_hub)
        text +=
            format(", isOpened %d, isUsb2 %d, busSpeed %d", g_hub->isOpened, g_hub->isUsb2, g_hub->busSpeed);
    return text + "\n";
}

/// The first line in which the two differ.
std::string difference(const std::string& wanted, const std::string& got)
{
    std::istringstream a(wanted);
    std::istringstream b(got);
    std::string lineA;
    std::string lineB;
    int number = 0;
    while (lineA == lineB && (a || b)) {
        lineA = lineB = "(end)";
        std::getline(a, lineA);
        std::getline(b, lineB);
        ++number;
    }
    return "line " + std::to_string(number) + " is\n" + lineB + "\nand not\n" + lineA;
}

class Transcript : public HubTest
{
protected:
    /// Carries out transcripts/<name>.txt.
    void holds(const std::string& name)
    {
        const std::string path = TRANSCRIPTS "/" + name + ".txt";
        std::ifstream file(path);
        const std::string wanted{std::istreambuf_iterator<char>(file), {}};
        ASSERT_NE(wanted, "") << "no such file: " << path;
        std::string got;
        std::istringstream lines(wanted);
        for (std::string line; std::getline(lines, line);) {
            if (line.empty() || line[0] == '#')
                got += line + "\n";
            if (line.substr(0, 2) == "> ")
                got += line + "\n" + carriedOut(line.substr(2));
        }
        if (std::getenv("WRITE_TRANSCRIPTS")) {
            std::ofstream(path) << got;
            FAIL() << "written, to be read: " << path;
        }
        if (got != wanted)
            FAIL() << path << "\n" << difference(wanted, got);
    }

private:
    std::string carriedOut(const std::string& line)
    {
        std::istringstream in(line);
        std::string name;
        in >> name;
        bus.log().clear();
        world_.progress.clear();
        const auto began = bus.clock().now();
        errno = 11;
        std::string result;
        bus.violations().clear();
        const std::string text = printed([&] {
            try {
                result = commands().at(name)(world_, in);
                in.clear();
                if (std::string rest; in >> rest)
                    throw std::invalid_argument("too much: " + rest);
            } catch (const std::logic_error& problem) {
                ADD_FAILURE() << line << ": " << problem.what();
            }
        });
        result = quoted(text) + shortened(eventsOf(world_, began)) + result;
        for (const std::string& violation : bus.violations().messages())
            result += "  violation: " + violation + "\n";
        return state_ == stateNow() ? result : result + (state_ = stateNow());
    }

    World world_{bus};
    std::string state_ = stateNow();
};

} // namespace

TEST(HubIds, AreEightProductsOfOneVendor)
{
    std::vector<int> products;
    for (int id = 0; id <= 0xFFFF; ++id) {
        if (isInVidPidPool(0x2E4D, static_cast<std::uint16_t>(id)))
            products.push_back(id);
    }
    // 0 is the second id that no row has.
    EXPECT_EQ(products,
              (std::vector<int>{0, 0x0300, 0x0301, 0x0304, 0x0305, 0x7300, 0x7301, 0x7304, 0x7305}));
    EXPECT_FALSE(isInVidPidPool(0x2E4C, 0x7300));
    EXPECT_FALSE(isInVidPidPool(0, 0)); // the empty rows are not enabled
    EXPECT_TRUE(isInVidPidPidPool(0x2E4D, 0x7304, 0));
    EXPECT_FALSE(isInVidPidPidPool(0x2E4D, 0x7304, 0x7304));
}

TEST_F(Transcript, VirtualMonitor)
{
    holds("virtual_monitor");
}
TEST_F(Transcript, Discovery)
{
    holds("discovery");
}
TEST_F(Transcript, VendorCommands)
{
    holds("vendor_commands");
}
TEST_F(Transcript, Bridge)
{
    holds("bridge");
}
TEST_F(Transcript, HubControl)
{
    holds("hub_control");
}
TEST_F(Transcript, HubUpdate)
{
    holds("hub_update");
}
TEST_F(Transcript, HubUpdateFailures)
{
    holds("hub_update_failures");
}
TEST_F(Transcript, HubSearch)
{
    holds("hub_search");
}
TEST_F(Transcript, FlatFunctions)
{
    holds("flat_functions");
}
TEST_F(Transcript, ScalerIsp)
{
    holds("scaler_isp");
}
TEST_F(Transcript, ScalerUpdate)
{
    holds("scaler_update");
}
TEST_F(Transcript, ScalerUpdateFailures)
{
    holds("scaler_update_failures");
}
