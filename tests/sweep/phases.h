/// Names what the host is doing at each request, from the requests alone, by landmarks in the hub's and the scaler's
/// procedures; their numbers are in hub_chip.h, i2c_bridge.h and scaler_isp.h.
///
///     detection                                                       whatever is no write
///     hub: into ROM, void mark, erase, image, read back, mark, restart
///     scaler: prepare, erase, program setup, image, marker, leave
///
/// All but the hub's are followed by the kind of request, if it has one: "scaler: image: address", "detection: reply".
#pragma once

#include "sim/bus/setup_packet.h"

#include <map>
#include <string>

class PhaseReader
{
public:
    /// Of the next request of a run.
    std::string next(const sim::SetupPacket& setup, const std::uint8_t* data)
    {
        const int accessed = setup.request == 0xE6 ? setup.value : setup.request; // no number is of both
        const bool writes = !setup.isIn() && setup.length != 0;
        if (setup.request == 0x02 && setup.value == 0)
            stage_ = "detection";
        else if (stage_[0] == 's')
            followScaler(accessed, writes ? data[0] : -1);
        else if (setup.request == 0xF6 && setup.value >> 8U == 0x94)
            stage_ = "scaler: prepare";
        else
            followHub(setup);
        static const std::map<int, const char*> kinds{
            {0xF6, "bridge"},  {0xC6, "data"},      {0xD6, "reply"},   {0x60, "command"},
            {0x64, "address"}, {0x65, "address"},   {0x66, "address"}, {0x6D, "opcode"},
            {0x6F, "start"},   {0x70, "data port"}, {0x71, "length"}};
        if (stage_[0] == 'h' || kinds.count(accessed) == 0)
            return stage_;
        const bool polls = setup.isIn() && (accessed == 0x60 || accessed == 0x6F);
        return stage_ + ": " + (polls ? "poll" : kinds.at(accessed));
    }

private:
    void followHub(const sim::SetupPacket& setup)
    {
        static const std::map<int, const char*> stages{
            {0x00, "hub: into ROM"}, {0xE8, "hub: erase"}, {0xD8, "hub: read back"}, {0xE9, "hub: restart"}};
        if (stages.count(setup.request) != 0)
            stage_ = stages.at(setup.request);
        else if (setup.request == 0xC8 && setup.length != 2)
            stage_ = "hub: image";
        else if (setup.request == 0xC8)
            stage_ = stage_ == "hub: read back" ? "hub: mark" : "hub: void mark";
    }

    void followScaler(int accessed, int written)
    {
        if (accessed == 0x60 && written >= 0)
            command_ = written;
        // The protection goes with a write of the status register, whose value travels as an address.
        if (stage_ == "scaler: prepare" && accessed == 0x64 && command_ == 0x69)
            stage_ = "scaler: erase";
        else if (accessed == 0x6D)
            stage_ = "scaler: program setup";
        else if (stage_ == "scaler: program setup" && accessed == 0x64)
            stage_ = "scaler: image";
        else if (stage_ == "scaler: image" && accessed == 0x64 && written == 0x1F) // where no image reaches
            stage_ = "scaler: marker";
        else if (stage_ == "scaler: marker" && accessed == 0x60)
            stage_ = "scaler: leave";
    }

    std::string stage_ = "detection";
    int command_ = 0;
};
