/// The shipping dialog as a process that the user starts, by someone who presses "Update" when it is offered. It
/// runs on the bus of this process, in its time, and whatever ends the real process ends the run.
#pragma once

#include "demo/hand.h"
#include "sim/bus/virtual_bus.h"

struct Tool
{
    /// The bundle's image files are `files`.hub and `files`.scaler.
    Tool(sim::VirtualBus& bus, const QString& files);

    /// As a new process. Does not return: calls `ended` once, wherever the tool ends, and ends this process
    /// with what that returns.
    /// `takesOlder`: the user ticks "Allow Monitor use older firmware." when it is offered.
    [[noreturn]] void start(bool takesOlder);
    [[noreturn]] void end();
    std::function<int()> ended;

    sim::VirtualBus& bus;
    const QString files;
    Hand hand;
    sim::Duration patience_ends{0};
    inline static Tool* running = nullptr;
    char* printed = nullptr;
    std::size_t printed_size = 0;

    QString said;      ///< the dialog's text at the end; empty when the tool has ended its process
    bool hub_done;     ///< the hub's update reported success, without a "Fail to ..." line
    bool scaler_done;  ///< the success box was shown
    bool offers_older; ///< and nothing else
    bool frozen;       ///< the user has lost patience and ended the process
};
