/// Keeps what happens around the process, signals and standard output that comes and goes, away from a write.
#pragma once

/// Prepares the standard streams and SIGPIPE; call first in main(). Every printed line is out at once, also into
/// a file, a pipe or the journal; output that has no reader any more, or was closed from the start, is lost and
/// harms nothing.
void prepareProcess();

/// Holds back SIGINT, SIGHUP and SIGTERM for as long as it lives, so that Ctrl-C or a closed terminal does not
/// ruin a write; then the first one that came takes effect. A signal that was ignored before stays ignored.
/// One at a time.
class SignalsHeldBack
{
public:
    SignalsHeldBack();
    ~SignalsHeldBack();
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;
};
