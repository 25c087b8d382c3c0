// The library's parts one by one: filters, doubler, detectors, matcher, indices. Arrays are checked in Python
// but for their numbers of leads; what is outside the ranges of a class is refused in qzstress/parts.py.
#include <nanobind/stl/optional.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <cmath>
#include <functional>
#include <optional>
#include <tuple>

#include "core/detect/CMultirtRRdetect.h"
#include "core/detect/CrtRRdetect.h"
#include "core/filters/CMultiChannelDoubleSampleRate.h"
#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelNotch.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CQuorlMultiNotchFilter.h"
#include "core/stress/CZatMatch.h"
#include "core/stress/ExerciseIndices.h"
#include "core/stress/STHRIndices.h"
#include "python/src/Arrays.h"
#include "python/src/Module.h"

namespace {

/// Calls `take` with each frame in turn, the interpreter free meanwhile.
template <typename Take>
void EachFrame(std::atomic<bool>& busy, const Frames& frames, std::size_t leads, Take take) {
    CheckLeads(frames, leads);
    const Turn turn(busy);
    const nb::gil_scoped_release free;
    for (std::size_t i = 0; i < frames.shape(0); ++i) take(frames.data() + i * leads);
}

/// Filters in a row, on whole frames.
class Bank {
public:
    explicit Bank(std::size_t leads) : m_leads(leads) {}

    void AddLowpass(int fs, double cutoffHz) {
        Add(CMultiChannelLowpass2(cutoffHz, fs, static_cast<int>(m_leads)));
    }
    void AddHighpass(int fs, double cornerHz) {
        Add(CMultiChannelHighpass(cornerHz, fs, static_cast<int>(m_leads)));
    }
    void AddNotch(int fs, double centreHz, double q) {
        Add(CMultiChannelNotch(centreHz, fs, q, static_cast<int>(m_leads)));
    }
    void AddComb(int fs, int mainsHz) { Add(CQuorlMultiNotchFilter(mainsHz, fs, static_cast<int>(m_leads))); }
    void AddSmoother(int fs, bool isStrong) {
        Add(CMultiChannelSmoothEx(fs, static_cast<int>(m_leads), isStrong));
    }

    nb::ndarray<nb::numpy, std::int16_t> Filter(const Frames& frames) {
        std::vector<std::int16_t> filtered;
        EachFrame(m_isBusy, frames, m_leads, [&](const std::int16_t* frame) {
            const auto begin = filtered.insert(filtered.end(), frame, frame + m_leads);
            for (const Stage& stage : m_stages) stage.filter(&*begin);
        });
        return ToArray(std::move(filtered), {frames.shape(0), m_leads});
    }
    int DelaySamples() const { return m_delay; }
    int SettlingSamples() const { return m_settling; }

private:
    struct Stage {
        std::function<void(short*)> filter;
    };

    // A high-pass and a notch have no delay away from their frequency.
    template <typename Filter>
    static double DelayOf(const Filter& filter) {
        if constexpr (requires { filter.DelaySamples(); })
            return std::round(static_cast<double>(filter.DelaySamples()));
        else
            return 0;
    }
    template <typename Filter>
    void Add(Filter filter) {
        m_delay += static_cast<int>(DelayOf(filter));
        m_settling += filter.SettlingSamples();
        m_stages.push_back({[filter = std::move(filter)](short* frame) mutable {
            if constexpr (requires { filter.Smooth(frame); })
                filter.Smooth(frame);
            else
                filter.Filter(frame);
        }});
    }

    std::size_t m_leads;
    std::vector<Stage> m_stages;
    int m_delay = 0, m_settling = 0;
    std::atomic<bool> m_isBusy = false;
};

class Doubler {
public:
    Doubler(std::size_t leads, double uVpb) : m_leads(leads), m_doubler(static_cast<short>(leads)) {
        m_doubler.Init(uVpb);
    }
    nb::ndarray<nb::numpy, std::int16_t> Double(const Frames& frames) {
        std::vector<std::int16_t> doubled;
        std::vector<short> two(2 * m_leads);
        EachFrame(m_isBusy, frames, m_leads, [&](const std::int16_t* frame) {
            m_doubler.Double(frame, two.data(), two.data() + m_leads);
            doubled.insert(doubled.end(), two.begin(), two.end());
        });
        return ToArray(std::move(doubled), {2 * frames.shape(0), m_leads});
    }

private:
    std::size_t m_leads;
    CMultiChannelDoubleSampleRate m_doubler;
    std::atomic<bool> m_isBusy = false;
};

/// RR in samples at the frames where a beat is told, else 0.
template <typename Detect>
nb::ndarray<nb::numpy, std::int32_t> DetectBeats(std::atomic<bool>& busy, const Frames& frames,
                                                 std::size_t leads, Detect detect) {
    std::vector<std::int32_t> rr;
    EachFrame(busy, frames, leads, [&](const std::int16_t* frame) { rr.push_back(detect(frame)); });
    return ToArray(std::move(rr), {frames.shape(0)});
}

class Detector {
public:
    Detector(int fs, std::size_t leads, int mainsHz) : m_leads(leads), m_detector(fs, mainsHz) {}
    nb::ndarray<nb::numpy, std::int32_t> Detect(const Frames& frames) {
        return DetectBeats(m_isBusy, frames, m_leads, [&](const std::int16_t* frame) {
            return m_leads == 1 ? m_detector.QRSdetect(frame[0])
                                : m_detector.QRSdetect(frame[0], frame[1], frame[2]);
        });
    }

private:
    std::size_t m_leads;
    CrtRRdetect m_detector;
    std::atomic<bool> m_isBusy = false;
};

class VotingDetector {
public:
    VotingDetector(int fs, std::size_t leads, int mainsHz, double uVpb)
        : m_leads(leads), m_detector(fs, static_cast<int>(leads), mainsHz, uVpb) {}
    nb::ndarray<nb::numpy, std::int32_t> Detect(const Frames& frames) {
        return DetectBeats(m_isBusy, frames, m_leads,
                           [&](const std::int16_t* frame) { return m_detector.QRSdetect(frame); });
    }

private:
    std::size_t m_leads;
    CMultirtRRdetect m_detector;
    std::atomic<bool> m_isBusy = false;
};

class Matcher {
public:
    Matcher(int fs, std::size_t leads, double uVpb, const Frames& rows, short posR, short posQ, short posJ,
            short postJms)
        : m_leads(leads),
          m_matcher(static_cast<short>(fs), static_cast<short>(leads), uVpb, false,
                    CZatMatch::kUsualWindowMs) {
        std::vector<std::vector<short>> samples;
        std::vector<short*> pointers;
        for (std::size_t lead = 0; lead < leads; ++lead) {
            const std::int16_t* const row = rows.data() + lead * rows.shape(1);
            pointers.push_back(samples.emplace_back(row, row + rows.shape(1)).data());
        }
        auto length = static_cast<short>(rows.shape(1));
        m_matcher.InitTempl(pointers.data(), length, posR, posQ, posJ, postJms);
    }

    /// The frames at which a beat was folded in, counted from the first ever, and what was measured then:
    /// ST level, J level and ST slope, one value per lead.
    nb::tuple Match(const Frames& frames) {
        std::vector<std::int64_t> when;
        std::vector<std::int16_t> level, j;
        std::vector<float> slope;
        EachFrame(m_isBusy, frames, m_leads, [&](const std::int16_t* frame) {
            if (m_matcher.match(frame) != nullptr) {
                when.push_back(m_frames);
                for (short lead = 0; lead < static_cast<short>(m_leads); ++lead) {
                    level.push_back(m_matcher.uvSTvalue(lead, kAtPostJ));
                    j.push_back(m_matcher.JuV(lead));
                    slope.push_back(m_matcher.STslope(lead, kAtPostJ));
                }
            }
            ++m_frames;
        });
        const std::size_t count = when.size();
        return nb::make_tuple(ToArray(std::move(when), {count}), ToArray(std::move(level), {count, m_leads}),
                              ToArray(std::move(j), {count, m_leads}),
                              ToArray(std::move(slope), {count, m_leads}));
    }
    nb::ndarray<nb::numpy, std::int16_t> Template() {
        const Turn turn(m_isBusy);
        const auto length = static_cast<std::size_t>(m_matcher.TemplLength());
        std::vector<std::int16_t> samples;
        for (std::size_t lead = 0; lead < m_leads; ++lead)
            samples.insert(samples.end(), m_matcher.Templ()[lead], m_matcher.Templ()[lead] + length);
        return ToArray(std::move(samples), {m_leads, length});
    }
    std::tuple<int, int, int> Positions() const {
        const TemplGeometry& at = m_matcher.Geometry();
        return {at.posQ, at.posR, at.posJ};
    }

private:
    static constexpr short kAtPostJ = -1;

    std::size_t m_leads;
    CZatMatch m_matcher;
    std::int64_t m_frames = 0;
    std::atomic<bool> m_isBusy = false;
};

}  // namespace

void AddParts(nb::module_& module) {
    nb::class_<Bank>(module, "Bank")
        .def(nb::init<std::size_t>(), nb::arg("leads"))
        .def("add_lowpass", &Bank::AddLowpass)
        .def("add_highpass", &Bank::AddHighpass)
        .def("add_notch", &Bank::AddNotch)
        .def("add_comb", &Bank::AddComb)
        .def("add_smoother", &Bank::AddSmoother)
        .def("filter", &Bank::Filter, nb::arg("frames").noconvert())
        .def("delay_samples", &Bank::DelaySamples)
        .def("settling_samples", &Bank::SettlingSamples);
    nb::class_<Doubler>(module, "Doubler")
        .def(nb::init<std::size_t, double>(), nb::arg("leads"), nb::arg("uv_per_bit"))
        .def("double", &Doubler::Double, nb::arg("frames").noconvert());
    nb::class_<Detector>(module, "Detector")
        .def(nb::init<int, std::size_t, int>(), nb::arg("fs"), nb::arg("leads"), nb::arg("mains_hz"))
        .def("detect", &Detector::Detect, nb::arg("frames").noconvert());
    nb::class_<VotingDetector>(module, "VotingDetector")
        .def(nb::init<int, std::size_t, int, double>(), nb::arg("fs"), nb::arg("leads"), nb::arg("mains_hz"),
             nb::arg("uv_per_bit"))
        .def("detect", &VotingDetector::Detect, nb::arg("frames").noconvert());
    nb::class_<Matcher>(module, "Matcher")
        .def(nb::init<int, std::size_t, double, const Frames&, short, short, short, short>())
        .def("match", &Matcher::Match, nb::arg("frames").noconvert())
        .def("template", &Matcher::Template)
        .def("positions", &Matcher::Positions);
    module.def("duke_score", [](short seconds, float deepestMv, short angina) {
        return DukeScore(seconds, deepestMv, angina);
    });
    module.def("pwc", [](const std::vector<float>& power, const std::vector<float>& bpm) {
        const Pwc found = FindPwc(power.data(), bpm.data(), power.size());
        return std::tuple(found.pwc130, found.pwc150, found.pwc170);
    });
    module.def("sthr_index", [](double restBpm, double restUv, double peakBpm, double peakUv) {
        return FindSTHRIndex({restBpm, restUv}, {peakBpm, peakUv});
    });
    module.def("sthr_slope", [](const std::vector<double>& bpm, const std::vector<double>& levelUv) {
        std::vector<STAtRate> course;
        for (std::size_t i = 0; i < bpm.size(); ++i) course.push_back({bpm[i], levelUv[i]});
        const STHRSlope found = FindSTHRSlope(course.data(), course.size());
        return std::tuple(found.uVPerBpm, found.points);
    });
}
