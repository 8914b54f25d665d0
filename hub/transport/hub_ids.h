/// The USB identities under which a monitor's hub shows itself. One chip answers with one product id on its
/// SuperSpeed face and with the id that shares its low byte on its High-Speed face.
#pragma once

#include <array>
#include <cstdint>

/// One row of accepted identities.
struct PidVidCouple
{
    std::uint16_t enabled; ///< 1: in use; anything else: the row is ignored
    std::uint16_t vid;     ///< idVendor
    std::uint16_t pid;     ///< idProduct
    std::uint16_t pid2;    ///< a second idProduct of the same row, 0 when there is none
};

/// The rows after those in use are zero and match nothing.
extern const std::array<PidVidCouple, 64> g_pidvidCouple;

/// True when an enabled row has this vendor id and this product id in either place. As no row in use has a
/// second id, product id 0 of the right vendor matches too.
bool isInVidPidPool(std::uint16_t vid, std::uint16_t pid);

/// True when an enabled row has exactly these three ids.
bool isInVidPidPidPool(std::uint16_t vid, std::uint16_t pid, std::uint16_t pid2);
