#include "host/support/Interrupt.h"

namespace {

volatile std::sig_atomic_t g_asked = 0;

}  // namespace

Interrupt::Interrupt() {
    struct sigaction note {};
    note.sa_handler = [](int) { g_asked = 1; };
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], nullptr, &m_before[i]);
        if (m_before[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &note, nullptr);
    }
}

Interrupt::~Interrupt() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &m_before[i], nullptr);
}

bool Interrupt::IsAsked() { return g_asked != 0; }
