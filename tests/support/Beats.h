// Beats.h: synthetic beats, averaged beats per lead and multi-lead beat trains for the tests.
//
// A beat is a sum of Gaussian waves (P, Q, R, S, ST, T) around its R wave; the leads carry it with different
// sizes and polarities. Everything is in converter units and a pure function of its arguments.
#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#include "tests/support/Signals.h"

struct BeatForm {
    double qrsWidth = 1.0;   // stretches Q, R and S in time
    double stLevel = 0.0;    // ST wave 100 ms after R, as a share of R
    double amplitude = 900;  // R in a lead of gain 1, converter units
};

/// The wave `seconds` after R.
inline double BeatShape(double seconds, const BeatForm& form) {
    const auto wave = [seconds](double at, double width, double height) {
        const double u = (seconds - at) / width;
        return height * std::exp(-0.5 * u * u);
    };
    const double w = form.qrsWidth;
    return form.amplitude *
           (wave(-0.17, 0.022, 0.12) + wave(-0.026 * w, 0.008 * w, -0.12) + wave(0.0, 0.010 * w, 1.0) +
            wave(0.028 * w, 0.010 * w, -0.25) + wave(0.10, 0.025, form.stLevel) + wave(0.27, 0.045, 0.3));
}

/// Size and polarity of the beat in `lead`.
inline double LeadGain(std::size_t lead) {
    constexpr std::array kGains = {1.0, -0.6, 0.8, 1.3, -1.1, 0.5, 0.9, 0.7,
                                   1.2, -0.8, 0.6, 1.1, -0.4, 1.4, 0.3};
    return kGains[lead % kGains.size()];
}

/// One row of samples per lead, seen by the engine as an array of row pointers.
class TemplateRows {
public:
    TemplateRows(std::size_t leads, std::size_t length, short level = 0)
        : m_rows(leads, std::vector<short>(length, level)) {}
    std::vector<short>& operator[](std::size_t lead) { return m_rows[lead]; }
    const std::vector<std::vector<short>>& Rows() const { return m_rows; }
    short** Pointers() {
        m_pointers.clear();
        for (auto& row : m_rows) m_pointers.push_back(row.data());
        return m_pointers.data();
    }

private:
    std::vector<std::vector<short>> m_rows;
    std::vector<short*> m_pointers;
};

/// An averaged beat of `length` samples per lead with R at `posR`.
inline TemplateRows MakeTemplate(int fs, std::size_t leads, int length, int posR, const BeatForm& form = {}) {
    TemplateRows rows(leads, static_cast<std::size_t>(length));
    for (std::size_t lead = 0; lead < leads; ++lead)
        for (int i = 0; i < length; ++i)
            rows[lead][static_cast<std::size_t>(i)] =
                Wrapped(Truncated(LeadGain(lead) * BeatShape(static_cast<double>(i - posR) / fs, form)));
    return rows;
}

/// Interleaved frames of `leads` samples.
struct Recording {
    std::size_t leads = 1;
    std::vector<short> samples;
    std::size_t Frames() const { return samples.size() / leads; }
    short* Frame(std::size_t i) { return samples.data() + i * leads; }
    int At(std::size_t i, std::size_t lead) const { return samples[i * leads + lead]; }
};

/// Builds a recording in words: BeatTrain(500, 3).Beats(800, 20).Pause(3500).Beats(600, 5).Record().
/// It starts with silence; each beat has its R wave one interval after what came before it.
class BeatTrain {
public:
    BeatTrain(int fs, std::size_t leads) : m_fs(fs), m_leads(leads) {}
    BeatTrain& Beats(int rrMs, int count) {
        for (; count > 0; --count) {
            Pause(rrMs);
            m_beats.push_back({m_end, m_form});
        }
        return *this;
    }
    BeatTrain& Pause(int ms) {
        m_end += static_cast<long>(ms) * m_fs / 1000;
        return *this;
    }
    /// The look of the beats that follow.
    BeatTrain& Form(const BeatForm& form) {
        m_form = form;
        return *this;
    }
    /// White noise of up to `peak` units in every lead of the whole recording.
    BeatTrain& Noise(int peak, unsigned seed) {
        m_noisePeak = peak;
        m_seed = seed;
        return *this;
    }
    /// `lead` lags the others by `samples`.
    BeatTrain& Delay(std::size_t lead, long samples) {
        m_delays.resize(m_leads, 0);
        m_delays[lead] = samples;
        return *this;
    }
    Recording Record() const {
        const long frames = m_end + m_fs / 2;
        std::vector<double> units(static_cast<std::size_t>(frames) * m_leads, 0.0);
        for (const auto& beat : m_beats)
            for (std::size_t lead = 0; lead < m_leads; ++lead) {
                const long r = beat.at + (m_delays.empty() ? 0 : m_delays[lead]);
                const long reach = m_fs / 2;  // the waves have died away 500 ms from R
                for (long i = std::max(0L, r - reach); i < std::min(frames, r + reach); ++i)
                    units[static_cast<std::size_t>(i) * m_leads + lead] +=
                        LeadGain(lead) * BeatShape(static_cast<double>(i - r) / m_fs, beat.form);
            }
        Recording recording{m_leads, {}};
        std::mt19937 random(m_seed);
        const auto span = static_cast<unsigned>(2 * m_noisePeak + 1);
        for (const double value : units)
            recording.samples.push_back(
                Wrapped(Truncated(value) + static_cast<int>(random() % span) - m_noisePeak));
        return recording;
    }

private:
    struct PlacedBeat {
        long at;
        BeatForm form;
    };
    int m_fs;
    std::size_t m_leads;
    long m_end = 0;
    BeatForm m_form;
    int m_noisePeak = 0;
    unsigned m_seed = 1;
    std::vector<long> m_delays;
    std::vector<PlacedBeat> m_beats;
};

/// Equal to the bit, any NaN counting as any other.
inline bool SameValue(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }
