// One run through the flat interface, which every other interface has to repeat to the bit.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "core/stress/ExerciseIndices.h"
#include "tests/support/Beats.h"

namespace run {

inline constexpr short kFs = 250, kLeads = 4, kLowpassHz = 40, kNotchHz = 50, kSmooth = 1;
inline constexpr std::size_t kCount = kLeads;
inline constexpr double kUVpb = 2.0;
inline constexpr short kLength = 220, kPosQ = 80, kPosJ = 105, kPostJms = 60;  // of the first beat, samples
inline constexpr short kMovedQ = 75, kMovedJ = 102, kMovedMs = 80;             // from the middle on
inline constexpr short kRRms = 812;  // 203 samples, 73.89 beats/min: the two roundings differ

inline TemplateRows FirstBeat() { return MakeTemplate(kFs, kCount, kLength, 90); }

inline Recording Stream() {
    return BeatTrain(kFs, kCount).Noise(30, 3).Beats(740, 6).Form({1.0, 0.1, 900}).Beats(kRRms, 10).Record();
}

/// Everything that a run answers, in order, by what it is.
class Answers {
public:
    void Add(std::string_view of, double value) { Of(of).push_back(value); }
    template <typename Values>
    void Add(std::string_view of, const Values& values, std::size_t count) {
        auto& answers = Of(of);
        for (std::size_t i = 0; i < count; ++i) answers.push_back(static_cast<double>(values[i]));
    }
    std::size_t Count(const std::string& of) const { return m_answers.at(of).size(); }

    /// What `other` answers otherwise, or answers and this does not; empty where there is no such thing.
    std::string Difference(const Answers& other) const {
        for (const auto& [of, theirs] : other.m_answers) {
            const auto found = m_answers.find(of);
            if (found == m_answers.end() || found->second.size() != theirs.size())
                return of + ": their number";
            const auto& ours = found->second;
            const auto differs = std::mismatch(ours.begin(), ours.end(), theirs.begin()).first - ours.begin();
            if (differs < static_cast<std::ptrdiff_t>(ours.size())) return of + " " + std::to_string(differs);
        }
        return {};
    }

private:
    std::vector<double>& Of(std::string_view of) {
        const auto found = m_answers.find(of);
        return found != m_answers.end() ? found->second : m_answers[std::string(of)];
    }

    std::map<std::string, std::vector<double>, std::less<>> m_answers;
};

/// `stream` through all facilities, with positions and filter stages changed on the way.
inline Answers Flat(Recording stream) {
    Answers answers;
    qzFilters_create(kFs, kLeads, kLowpassHz, kNotchHz, kSmooth);
    qzDfs_create(kLeads, kUVpb);
    qzStressECGLib_init(false);
    qzStressECGLib_create(kFs, kLeads, kUVpb);
    qzStressECGLib_InitMultiMeanRRms(kFs, kLeads, kNotchHz, kUVpb);
    auto beat = FirstBeat();
    short length = kLength;
    qzStressECGLib_InitTempl(beat.Pointers(), length, kPosQ, kPosJ, kPostJms);
    for (std::size_t i = 0; i < stream.Frames(); ++i) {
        const bool late = i >= stream.Frames() / 2;
        if (i == stream.Frames() / 2) {
            answers.Add("new positions", qzStressECGLib_SetPos(kMovedQ, kMovedJ));
            answers.Add("new positions", qzStressECGLib_SetPostJms(kMovedMs));
            qzFilters_switch(true, true, false);
        }
        if (i == stream.Frames() * 3 / 4) qzFilters_switch(true, false, true);
        short* frame = stream.Frame(i);
        qzFilters_filters(frame);
        answers.Add("filtered", frame, kCount);
        for (const auto& row : qzDfs_getData(frame)) answers.Add("doubled", row, row.size());
        const short three = qzStressECGLib_MeanRRms(frame[0], frame[1], frame[2]);
        answers.Add("RR of three leads", three);
        answers.Add("rate of three leads", HeartRateOfThreeLeads(three));
        const short many = late ? qzStressECGLib_MultiMeanHR(frame) : qzStressECGLib_MultiMeanRRms(frame);
        answers.Add("many leads", many);
        answers.Add("many leads, at least 0", std::max(many, short{0}));
        short** templ = qzStressECGLib_match(frame);
        if (templ == nullptr) continue;
        answers.Add("match", static_cast<double>(i));
        short r = 0, q = 0, j = 0, ms = 0;
        answers.Add("length", qzStressECGLib_GetPos(r, q, j, ms));
        answers.Add("positions", std::vector<short>{q, j, ms, r}, 4);
        for (std::size_t lead = 0; lead < kCount; ++lead)
            answers.Add("template", templ[lead], static_cast<std::size_t>(length));
        answers.Add("ST slope", qzStressECGLib_STslope(), kCount);
        answers.Add("ST level", qzStressECGLib_uvSTvalue(), kCount);
        const STresult* results = qzStressECGLib_STresults(kRRms);
        for (std::size_t lead = 0; lead < kCount; ++lead) {
            const STresult& s = results[lead];
            answers.Add("ST results", std::vector<short>{s.RuV, s.JuV, s.STuV, s.deltaSTuV, s.deltaJuV}, 5);
            answers.Add("ST results", std::vector<float>{s.STslope, s.STHRindex}, 2);
        }
    }
    return answers;
}

/// The same after a first time: the average of the many-lead heart rate keeps its intervals from run to run.
inline Answers RepeatedFlat(const Recording& stream) {
    Flat(stream);
    return Flat(stream);
}

}  // namespace run
