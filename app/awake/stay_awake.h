/// Keeps the computer from going to sleep while a flash is written: a bus that is suspended in mid write leaves
/// the monitor without firmware. How the operating system is asked is the program's choice (fw_awake).
#pragma once

#include <memory>

/// Holds the computer awake for as long as it lives; the operating system lets go by itself when the process
/// ends in between. Where there is nobody to ask it does nothing, and it never fails: an update does not depend
/// on it.
class StayAwake
{
public:
    /// May block for as long as the operating system's power manager takes to answer, 2 s at most.
    StayAwake();
    ~StayAwake();
    StayAwake(const StayAwake&) = delete;
    StayAwake& operator=(const StayAwake&) = delete;

private:
    struct Hold;
    std::unique_ptr<Hold> hold_;
};
