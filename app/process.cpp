/// A signal mask covers one thread only, and Qt, libusb and D-Bus have threads of their own; a handler that remembers
/// the signal works for all of them.
#include "app/process.h"

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

struct HeldSignal
{
    int number;
    struct sigaction before;
};
HeldSignal held_signals[] = {{SIGINT, {}}, {SIGHUP, {}}, {SIGTERM, {}}};

volatile std::sig_atomic_t received = 0;

void remember(int number)
{
    if (received == 0)
        received = number;
}

} // namespace

void prepareProcess()
{
    // Otherwise the next file to be opened, perhaps a device node, would become standard output.
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) == -1)
            open("/dev/null", O_RDWR); // gets the lowest free descriptor, which is this one
    }
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    std::signal(SIGPIPE, SIG_IGN);
}

SignalsHeldBack::SignalsHeldBack()
{
    received = 0;
    struct sigaction action = {};
    action.sa_handler = remember;
    action.sa_flags = SA_RESTART;
    for (HeldSignal& held : held_signals) {
        sigaction(held.number, nullptr, &held.before);
        if (held.before.sa_handler != SIG_IGN)
            sigaction(held.number, &action, nullptr);
    }
}

SignalsHeldBack::~SignalsHeldBack()
{
    for (const HeldSignal& held : held_signals)
        sigaction(held.number, &held.before, nullptr);
    if (received != 0)
        std::raise(received);
}
