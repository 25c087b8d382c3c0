// LiteralCorrelator: the sliding correlation of CZatTemplRxy written as its definition reads, every sum over
// both signals made anew for each sample. The yardstick for the library's form, and bit for bit its equal.
#pragma once

#include <vector>

class LiteralCorrelator {
public:
    /// templateDiffs: the first differences of the template over the correlation window; ringLength: the
    /// template's length in samples.
    LiteralCorrelator(std::vector<double> templateDiffs, int ringLength);
    /// The squared correlation of the window that ends with `sample`; 0 until ringLength samples have come.
    double Correlate(short sample);

private:
    std::vector<double> m_templateDiffs;
    double m_templateMean = 0;
    std::vector<double> m_diffRing;
    int m_diffPos = 0;
    int m_ringLength;
    int m_taken = 0;  // samples so far, up to m_ringLength
    double m_diffSum = 0;
    short m_previous = 0;
};
