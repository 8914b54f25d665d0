/// Two rules of the line to a kernel whose breach a kernel does not forgive, with the test in the kernel's
/// place. All else of it, the system test shows on a real one.
#include "sim/vhci/face_link.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

TEST(KernelEnd, GetsNoMoreThanItAskedForAndTakesBackWhatWaits)
{
    using namespace sim::vhci;
    int ends[2] = {};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const FileDescriptor kernel(ends[0]);
    FaceLink link(FileDescriptor(ends[1]),
                  HubFunction({false, 0x2E4D, 0x0305, {1, 2}, "QX1650 hub"},
                              [](const sim::SetupPacket&, std::uint8_t*) { return platform::timeout; }));
    using Bytes = std::vector<std::uint8_t>;
    /// Size of what comes back beyond a header, then the low bytes of command, number, status and length.
    const auto ask = [&](std::uint8_t command, std::uint8_t number, std::uint8_t word, std::uint8_t size,
                         Bytes setup) {
        Bytes message(header_size);
        message[3] = command;
        message[7] = number;
        message[15] = command == 1; // a request to read
        message[23] = word;
        message[27] = size;
        std::copy(setup.begin(), setup.end(), message.begin() + 40);
        EXPECT_EQ(write(kernel.get(), message.data(), header_size), static_cast<ssize_t>(header_size));
        EXPECT_TRUE(link.serve());
        Bytes answer(4096);
        const auto count = recv(kernel.get(), answer.data(), answer.size(), MSG_DONTWAIT);
        return count < 0 ? Bytes{}
                         : Bytes{static_cast<std::uint8_t>(count - header_size), answer[3], answer[7],
                                 answer[23], answer[27]};
    };
    EXPECT_EQ(ask(1, 3, 0, 4, {0x80, 6, 0, 1, 0, 0, 8, 0}), (Bytes{4, 3, 3, 0, 4}))
        << "more than was asked for";
    EXPECT_EQ(ask(1, 5, 0, 3, {0xC0, 9, 0, 0, 0, 0, 3, 0}), Bytes{}) << "a silent chip has answered";
    EXPECT_EQ(ask(2, 7, 5, 0, {}), (Bytes{0, 4, 7, 0x98, 0})) << "what waits is not taken back with -104";
    EXPECT_EQ(ask(2, 8, 5, 0, {}), (Bytes{0, 4, 8, 0, 0})) << "it was taken back before";
}
