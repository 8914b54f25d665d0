/// Keeps the computer from going to sleep or being shut down while a flash is written: a bus that is suspended in
/// mid write leaves the monitor without firmware. How the operating system is asked is the program's choice
/// (fw_awake).
#pragma once

#include <memory>

/// Holds the computer awake for as long as it lives; the operating system lets go by itself when the process
/// ends in between. Where there is nobody to ask it does nothing, and it never fails: an update does not depend
/// on it.
class StayAwake
{
public:
    /// Asks the operating system's power manager, which takes milliseconds. On Linux a manager that does not answer
    /// is given 2 s; a system bus that accepts the connection and then says nothing blocks for the D-Bus library's own
    /// timeout, 25 s or more.
    StayAwake();
    ~StayAwake();
    StayAwake(const StayAwake&) = delete;
    StayAwake& operator=(const StayAwake&) = delete;

private:
    struct Hold;
    std::unique_ptr<Hold> hold_;
};
