/// One request at a time, in order.
#include "sim/vhci/face_link.h"

#include <sys/socket.h>
#include <utility>

namespace sim::vhci {

namespace {
/// The kernel sends no more with one control request.
constexpr std::uint32_t longest_data = 0x10000;
} // namespace

FaceLink::FaceLink(FileDescriptor socket, HubFunction function)
    : socket_(std::move(socket))
    , function_(std::move(function))
{
}

bool FaceLink::serve()
{
    Header header{};
    if (!receive(header.data(), header.size()))
        return false;
    const auto request = decodeRequest(header);
    if (!request)
        return false;
    return request->command == Command::unlink ? serveUnlink(*request) : serveSubmit(*request);
}

bool FaceLink::serveSubmit(const Request& request)
{
    Bytes data;
    if (!request.device_sends) {
        if (request.size > longest_data)
            return false;
        data.resize(request.size);
        if (!receive(data.data(), data.size()))
            return false;
    }
    if (request.endpoint != 0) {
        waiting_.insert(request.number);
        return true;
    }
    switch (function_.control(request.setup, data)) {
    case platform::success:
        break;
    case platform::timeout: // a silent device; the host gives up by itself
        waiting_.insert(request.number);
        return true;
    case platform::no_device:
        return false;
    default:
        return send(submitReply(request.number, status_stalled, 0));
    }
    if (!request.device_sends)
        return send(submitReply(request.number, status_done, request.size));
    if (data.size() > request.size)
        data.resize(request.size);
    return send(submitReply(request.number, status_done, static_cast<std::uint32_t>(data.size())), data);
}

bool FaceLink::serveUnlink(const Request& request)
{
    const bool waited = waiting_.erase(request.unlinked) != 0;
    return send(unlinkReply(request.number, waited ? status_unlinked : status_done));
}

bool FaceLink::receive(std::uint8_t* data, std::size_t size)
{
    return size == 0 || recv(socket_.get(), data, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

bool FaceLink::send(const Header& header, const Bytes& data)
{
    Bytes message(header.begin(), header.end());
    message.insert(message.end(), data.begin(), data.end());
    return ::send(socket_.get(), message.data(), message.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(message.size());
}

} // namespace sim::vhci
