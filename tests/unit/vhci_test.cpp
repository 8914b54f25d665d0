/// The virtual monitor's line to a kernel, with the test in the kernel's place: messages byte for byte, and the
/// rules whose breach a kernel does not forgive.
#include "sim/vhci/face_link.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

using namespace sim;
using namespace sim::vhci;

namespace {

constexpr std::size_t payload_at = header_size;

HubIdentity hubAt(bool superSpeed)
{
    return {superSpeed, 0x2E4D, 0x0305, {1, 2}, "QX1650 hub"};
}

/// The kernel's end of a line to a High-Speed face, whose chip answers vendor requests as told.
class KernelEnd : public ::testing::Test
{
protected:
    KernelEnd()
    {
        std::array<int, 2> ends{};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
        kernel_ = FileDescriptor(ends[0]);
        link_.emplace(FileDescriptor(ends[1]),
                      HubFunction(hubAt(false), [this](const SetupPacket&, std::uint8_t* data) {
                          seen_.assign(data, data + 2);
                          data[0] = 0x5A;
                          return vendor_status_;
                      }));
    }

    static Bytes message(std::uint8_t command, std::uint8_t number, bool in, std::uint8_t endpoint,
                         std::uint8_t word, std::uint8_t size, const Bytes& setup = {})
    {
        Bytes all(header_size);
        all[3] = command;
        all[7] = number;
        all[15] = in ? 1 : 0;
        all[19] = endpoint;
        all[23] = word;
        all[27] = size;
        std::copy(setup.begin(), setup.end(), all.begin() + 40);
        return all;
    }

    /// Sends one message; everything that comes back for it. Sets `alive_`.
    Bytes ask(Bytes message, const Bytes& payload = {})
    {
        message.insert(message.end(), payload.begin(), payload.end());
        EXPECT_EQ(write(kernel_.get(), message.data(), message.size()), static_cast<ssize_t>(message.size()));
        alive_ = link_->serve();
        Bytes answer(4096);
        const ssize_t count = recv(kernel_.get(), answer.data(), answer.size(), MSG_DONTWAIT);
        answer.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return answer;
    }

    /// Command, number, status and size of a reply, each by its low byte.
    static Bytes summary(const Bytes& reply)
    {
        return reply.size() < header_size ? Bytes{} : Bytes{reply[3], reply[7], reply[23], reply[27]};
    }

    FileDescriptor kernel_;
    std::optional<FaceLink> link_;
    platform::Status vendor_status_ = platform::success;
    Bytes seen_;
    bool alive_ = false;
};

constexpr std::uint8_t stalled = 0xE0; // low bytes of -32 and -104
constexpr std::uint8_t taken_back = 0x98;

} // namespace

TEST_F(KernelEnd, GetsTheDeviceDescriptorAndNeverMoreThanItAskedFor)
{
    const Bytes device = ask(message(1, 1, true, 0, 0, 64, {0x80, 6, 0, 1, 0, 0, 64, 0}));
    ASSERT_EQ(device.size(), payload_at + 18);
    EXPECT_EQ(summary(device), (Bytes{3, 1, 0, 18}));
    EXPECT_EQ(Bytes(device.begin() + payload_at, device.end()),
              (Bytes{18, 1, 0x10, 0x02, 9, 0, 1, 64, 0x4D, 0x2E, 0x05, 0x03, 2, 1, 1, 2, 0, 1}));

    const Bytes smallBuffer = ask(message(1, 3, true, 0, 0, 4, {0x80, 6, 0, 1, 0, 0, 8, 0}));
    EXPECT_EQ(smallBuffer.size(), payload_at + 4);
    EXPECT_EQ(summary(smallBuffer), (Bytes{3, 3, 0, 4}));
}

TEST_F(KernelEnd, VendorRequestsReachTheChip)
{
    const Bytes in = ask(message(1, 1, true, 0, 0, 3, {0xC0, 9, 0, 0, 0, 0, 3, 0}));
    EXPECT_EQ(Bytes(in.begin() + payload_at, in.end()), (Bytes{0x5A, 0, 0}));
    const Bytes out = ask(message(1, 2, false, 0, 0, 2, {0x40, 0xC8, 0, 0, 0, 0, 2, 0}), {7, 8});
    EXPECT_EQ(seen_, (Bytes{7, 8}));
    EXPECT_EQ(out.size(), header_size) << "what the host sends is counted, not sent back";
    EXPECT_EQ(summary(out), (Bytes{3, 2, 0, 2}));
    vendor_status_ = platform::pipe_stalled;
    EXPECT_EQ(summary(ask(message(1, 3, true, 0, 0, 3, {0xC0, 9, 0, 0, 0, 0, 3, 0}))),
              (Bytes{3, 3, stalled, 0}));
    vendor_status_ = platform::no_device;
    ask(message(1, 4, true, 0, 0, 3, {0xC0, 9, 0, 0, 0, 0, 3, 0}));
    EXPECT_FALSE(alive_);
    ask(message(7, 1, true, 0, 0, 0)); // not of the protocol
    EXPECT_FALSE(alive_);
}

TEST_F(KernelEnd, WhatWaitsIsTakenBackWithoutAnAnswerOfItsOwn)
{
    EXPECT_TRUE(ask(message(1, 1, true, 1, 0, 1)).empty());
    vendor_status_ = platform::timeout;
    EXPECT_TRUE(ask(message(1, 2, true, 0, 0, 3, {0xC0, 9, 0, 0, 0, 0, 3, 0})).empty());
    EXPECT_EQ(summary(ask(message(2, 3, false, 0, 1, 0))), (Bytes{4, 3, taken_back, 0}));
    EXPECT_EQ(summary(ask(message(2, 4, false, 0, 2, 0))), (Bytes{4, 4, taken_back, 0}));
    EXPECT_EQ(summary(ask(message(2, 5, false, 0, 2, 0))), (Bytes{4, 5, 0, 0})) << "it was taken back before";
    EXPECT_TRUE(alive_);
}
