#include "host/Interrupt.h"

#include <csignal>

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t g_asked = 0;

}  // namespace

Interrupt::Interrupt() {
    for (const int signal : kSignals) std::signal(signal, [](int) { g_asked = 1; });
}

Interrupt::~Interrupt() {
    for (const int signal : kSignals) std::signal(signal, SIG_DFL);
}

bool Interrupt::IsAsked() { return g_asked != 0; }
