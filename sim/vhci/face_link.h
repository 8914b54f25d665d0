/// The connection between one face and the kernel: takes requests from a socket, answers them, and remembers those
/// that stay open. Endpoint 0 is the face's. The other endpoint reports changes at the hub's ports, which never
/// change, so requests to it wait until the kernel unlinks them.
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
    /// Receives one whole request, blocking, and answers it. False ends the connection: the kernel has closed it or
    /// broken the protocol, or the face has left.
    bool serve();

private:
    bool serveSubmit(const Request& request);
    bool serveUnlink(const Request& request);
    bool receive(std::uint8_t* data, std::size_t size);
    bool send(const Header& header, const Bytes& data = {});

    FileDescriptor socket_;
    HubFunction function_;
    std::set<std::uint32_t> waiting_; ///< numbers of the requests without an answer
};

} // namespace sim::vhci
