// Interrupt: notes that the user or the system asks the program to end (SIGINT, SIGTERM, SIGHUP).
#pragma once

#include <array>
#include <csignal>

/// While an object lives, these signals are only noted and end a wait. Long work asks IsAsked now and then,
/// so that results are kept and no unfinished file is left behind. A signal that was ignored when the program
/// started, as under nohup, stays ignored.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// True if a signal has come since the program began.
    static bool IsAsked();

private:
    static constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};
    std::array<struct sigaction, kSignals.size()> m_before{};
};
