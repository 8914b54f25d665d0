/// The line between one face and the kernel: takes requests from a socket, answers them, and keeps those that
/// stay open. Endpoint 0 is the face's; the other one reports changes at the hub's ports, of which there are
/// none, so what is asked there waits until the kernel takes it back.
#pragma once

#include "sim/vhci/file_descriptor.h"
#include "sim/vhci/hub_function.h"
#include "sim/vhci/usbip.h"

#include <cstdint>
#include <set>

namespace sim::vhci {

class FaceLink
{
public:
    FaceLink(FileDescriptor socket, HubFunction function);

    int descriptor() const { return socket_.get(); }
    /// Takes one request and answers it; blocks until a request has come whole. False: the line is over,
    /// because the kernel has closed it, does not keep to the protocol, or the face is gone.
    bool serve();

private:
    bool serveSubmit(const Request& request);
    bool serveUnlink(const Request& request);
    bool receive(std::uint8_t* data, std::size_t size);
    bool send(const Header& header, const Bytes& data = {});

    FileDescriptor socket_;
    HubFunction function_;
    std::set<std::uint32_t> waiting_; ///< requests without an answer
};

} // namespace sim::vhci
