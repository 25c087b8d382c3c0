#include "host/support/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <utility>

#include "host/support/Text.h"

namespace {

constexpr std::chrono::milliseconds kRedraw{100};
constexpr int kBarWidth = 40;

}  // namespace

ProgressBar::ProgressBar(std::string label, double total, bool enabled)
    : m_label(std::move(label)), m_total(total), m_isEnabled(enabled && isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
    if (m_isEnabled) std::cerr << "\r\x1b[K" << std::flush;
}

void ProgressBar::Show(double done) {
    if (!m_isEnabled) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - m_shown < kRedraw) return;
    m_shown = now;
    std::cerr << "\r\x1b[K" << m_label << ' ';
    if (m_total > 0) {
        const double part = std::clamp(done / m_total, 0.0, 1.0);
        const auto filled = static_cast<std::size_t>(part * kBarWidth);
        std::cerr << '[' << std::string(filled, '#') << std::string(kBarWidth - filled, '.') << "] "
                  << Number(part * 100, 0) << " %" << std::flush;
    } else {
        std::cerr << Number(done, 0) << std::flush;
    }
}
