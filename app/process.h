/// Keeps signals and the state of standard output from disturbing a write.
#pragma once

/// Makes standard output line-buffered, so that a file, a pipe or the journal gets every line as it is printed; opens
/// /dev/null for standard streams that are closed; ignores SIGPIPE, so that a reader that goes away does no harm.
/// Call first in main().
void prepareProcess();

/// Holds back SIGINT, SIGHUP and SIGTERM for its lifetime, so that Ctrl-C or a closed terminal does not ruin a write.
/// Its destructor delivers the first one that arrived. A signal that was ignored before stays ignored. One instance
/// at a time.
class SignalsHeldBack
{
public:
    SignalsHeldBack();
    ~SignalsHeldBack();
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;
};
