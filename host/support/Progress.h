// Progress: how far a long run has come, on stderr, where that is a terminal.
#pragma once

#include <chrono>
#include <string>

class ProgressBar {
public:
    /// `total` is what Show counts up to; 0 or less shows the count alone. Not `enabled` or no terminal:
    /// nothing is printed.
    ProgressBar(std::string label, double total, bool enabled);
    ~ProgressBar();  // wipes the line
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Redraws at most ten times a second.
    void Show(double done);

private:
    std::string m_label;
    double m_total;
    bool m_bEnabled;
    std::chrono::steady_clock::time_point m_shown{};
};
