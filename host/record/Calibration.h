// Calibration: what the readers of recordings have in common: rates, units and the one scale of all leads.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/record/FrameSource.h"

/// Sampling rates that an analysis is made for, Hz, and the highest that is brought to one of them.
constexpr int kLowestFs = 100, kHighestFs = 2000, kHighestStoredFs = 10000;

/// Sets the rate of `info`. A rate that is no whole number, or above kHighestFs, becomes storedHz, and the
/// next whole number, kHighestFs at most, the rate. Throws HostError, naming the file, outside kLowestFs to
/// kHighestStoredFs.
void SetRate(SourceInfo& info, double fs, const std::string& path);

/// Microvolts in one physical unit ("mV"); 0 where the unit is not a voltage.
double MicrovoltsPer(std::string_view unit);

/// Microvolts per unit: the finest of 1, 2, 5, 10, 20 and 50 at which every one of these levels fits into 16
/// bits, else the coarsest.
int FinestScale(const std::vector<double>& extremesUv);

/// `text` in quotes, cut to 60 characters.
std::string Quote(std::string_view text);

/// The levels of one lead as samples on the common scale: rounded, halves away from zero, held at 16 bits.
class SampleScaler {
public:
    explicit SampleScaler(double uVpb) : m_uVpb(uVpb) {}
    short operator()(double uV);
    long long Clipped() const { return m_clipped; }

private:
    double m_uVpb;
    long long m_clipped = 0;  // samples beyond 16 bits
};
