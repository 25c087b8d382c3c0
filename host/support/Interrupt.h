// Interrupt: the wish of the user, or of the system, that the program comes to its end (SIGINT, SIGTERM,
// SIGHUP).
#pragma once

#include <array>
#include <csignal>

/// While one lives the signals do no more than be noted and end a wait: whoever works for long asks now and
/// then, so that results are kept and no unfinished file is left behind. A signal that the program was
/// started to ignore, as nohup has it, stays ignored.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// Whether one has come since the program began.
    static bool IsAsked();

private:
    static constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};
    std::array<struct sigaction, kSignals.size()> m_before{};
};
