// SectionBank: the second-order section of DirectForm1 for all leads of a frame, with common coefficients,
// four leads side by side. For banks and detectors, which pass whole numbers on.
//
// Delay lines that die away in silence are set to 0 before they reach the denormal numbers, with which
// processors are slow. No whole number that leaves the bank changes by that; SectionBank.cpp has the proof.
//
// internal/SectionFrame.h makes the steps: about 20 instructions per sample and lead. Only Init allocates.
// One object belongs to one thread.
#pragma once

#include <cstddef>
#include <vector>

#include "core/Export.h"
#include "core/filters/DirectForm1.h"
#include "core/filters/FourLeads.h"

class QZ_API SectionBank {
public:
    /// Takes the coefficients and clears the delay lines. No input is to be larger in size than largestInput.
    void Init(const SectionCoefficients<double>& coefficients, std::size_t leads, double largestInput);
    /// No output is larger in size; infinite for coefficients that are not stable.
    double LargestOutput() const { return m_largestOutput; }

private:
    friend class SectionFrame;
    static constexpr unsigned kFramesPerCheck = 64;

    /// What the delay lines of four leads hold of one frame.
    struct Slot {
        FourDoubles x, y;
    };

    /// Of the frame `age` frames ago, 0 or 1, while a frame goes through.
    Slot* SlotsOf(unsigned age) {
        return m_slots.data() + ((m_frames + age) % 2 == 0 ? 0 : m_slots.size() / 2);
    }
    void EndFrame() {
        if (++m_frames % kFramesPerCheck == 0 && m_bEndsSilence) EndSilence();
    }
    void EndSilence();

    SectionCoefficients<double> m_coefficients;
    double m_largestOutput = 0;
    bool m_bEndsSilence = false;  // the coefficients are such that the proof holds
    unsigned m_frames = 0;        // since Init, modulo 2^32
    std::vector<Slot> m_slots;    // of even frames, by fours of leads, then of odd ones
};
