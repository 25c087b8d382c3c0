// Interrupt: the wish of the user, or of the system, that the program comes to its end (SIGINT, SIGTERM,
// SIGHUP).
#pragma once

/// While one lives the signals do no more than be noted: whoever works for long asks now and then, so that
/// results are kept and no unfinished file is left behind.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// Whether one has come since the program began.
    static bool IsAsked();
};
