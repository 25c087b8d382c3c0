// SignalStore: the conditioned signal of a running analysis, of which stretches can be had when it is known
// where the test tells most.
//
// It lies in a temporary file without a name, two bytes a sample: 11 MB for 15 minutes of 12 leads at 500 Hz.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/analysis/AnalysisObserver.h"
#include "host/support/InputFile.h"

class SignalStore : public AnalysisObserver {
public:
    SignalStore(std::size_t leads, int fs) : m_leads(leads), m_fs(fs) {}
    void OnConditioned(const short* uV, double seconds) override;

    /// The strips with their signal, shorter where the recording ends; empty if the signal could not be kept.
    /// Called once, after the analysis.
    std::vector<Strip> Fill(std::vector<Strip> strips);
    /// Why the signal could not be kept; empty if it could.
    const std::string& Failure() const { return m_failure; }

private:
    void Write();

    std::size_t m_leads;
    int m_fs;
    std::optional<Spool> m_spool;  // from the first frame on
    std::vector<short> m_block;    // frames that are not in the file yet
    std::string m_failure;
};
