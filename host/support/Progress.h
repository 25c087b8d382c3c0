// Progress: how far a long run has come, on stderr if that is a terminal.
#pragma once

#include <chrono>
#include <string>

class ProgressBar {
public:
    /// `total` is what Show counts up to; 0 or less shows the count alone. Prints nothing if not `enabled` or
    /// if stderr is no terminal.
    ProgressBar(std::string label, double total, bool enabled);
    ~ProgressBar();  // wipes the line
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Redraws at most ten times a second.
    void Show(double done);

private:
    std::string m_label;
    double m_total;
    bool m_isEnabled;
    std::chrono::steady_clock::time_point m_shown{};
};
