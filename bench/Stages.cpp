#include "bench/Stages.h"

#include <algorithm>
#include <memory>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "bench/LiteralCorrelator.h"
#include "core/Arithmetic.h"
#include "core/detect/CMultirtRRdetect.h"
#include "core/detect/CrtRRdetect.h"
#include "core/filters/CDoubleSampleRate.h"
#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelNotch.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CQuorlMultiNotchFilter.h"
#include "core/filters/CSmoothFilter.h"
#include "core/stress/CZatMatch.h"

static constexpr double kUvPerUnit = 1.0;
static constexpr int kMainsHz = 50;
static constexpr short kPostJms = 60;
static volatile int g_taken = 0;  // what a stage answers is not optimised away

template <typename Bank, typename... Arguments>
static Step FilterWith(Arguments... arguments) {
    return [bank = std::make_shared<Bank>(arguments...)](short* frame) { bank->Filter(frame); };
}

/// One object per lead, `work` with each lead's sample.
template <typename Single, typename Work>
static Step LeadByLead(const Signal& signal, const Single& single, Work work) {
    return [singles = std::make_shared<std::vector<Single>>(static_cast<std::size_t>(signal.leads), single),
            work](short* frame) {
        for (Single& one : *singles) {
            *frame = WrapToSample(work(one, *frame));
            ++frame;
        }
    };
}

static constexpr auto kFilter = [](auto& filter, int x) { return filter.Filter(x); };
static constexpr auto kSmooth = [](auto& filter, int x) { return filter.Smooth(x); };

static Step SmoothStrongly(Signal& s) {
    const Step one = LeadByLead(s, CSmoothFilter(s.fs, 10), kSmooth),
               two = LeadByLead(s, CSmoothFilter(s.fs, 10), kSmooth),
               three = LeadByLead(s, CSmoothFilter(s.fs, 10), kSmooth);
    return [=](short* frame) { one(frame), two(frame), three(frame); };
}

static void StartEngine(Signal& s) {
    qzStressECGLib_create(s.fs, s.leads, kUvPerUnit);
    short length = s.length;
    qzStressECGLib_InitTempl(s.rows.data(), length, s.posQ, s.posJ, kPostJms);
}

static Step CorrelateLiterally(Signal& s) {
    const int window = CZatMatch::kUsualWindowMs * s.fs / 1000;
    const auto start = static_cast<std::size_t>(s.posR - window / 2);
    auto correlators = std::make_shared<std::vector<LiteralCorrelator>>();
    for (const std::vector<short>& row : s.beat) {
        std::vector<double> differences;
        for (std::size_t i = start; i < start + static_cast<std::size_t>(window); ++i)
            differences.push_back(row[i] - row[i - 1]);
        correlators->emplace_back(differences, s.length);
    }
    return [correlators](const short* frame) {
        for (LiteralCorrelator& correlator : *correlators) g_taken = correlator.Correlate(*frame++) > 0.85;
    };
}

static Step Match(Signal& s) {
    StartEngine(s);
    return [](short* frame) { g_taken = qzStressECGLib_match(frame) != nullptr; };
}

/// Filters, heart rate, matching and the ST values of every matched beat.
static Step Monitor(Signal& s) {
    StartEngine(s);
    qzFilters_create(s.fs, s.leads, 40, kMainsHz, 1);
    qzStressECGLib_InitMultiMeanRRms(s.fs, s.leads, kMainsHz, kUvPerUnit);
    return [](short* frame) {
        qzFilters_filters(frame);
        g_taken = qzStressECGLib_MultiMeanRRms(frame);
        if (qzStressECGLib_match(frame) == nullptr) return;
        g_taken = *qzStressECGLib_uvSTvalue();
        g_taken = *qzStressECGLib_STslope() > 0;
    };
}

const std::vector<BenchStage>& Stages() {
    static const std::vector<BenchStage> stages = {
        {"lowpass", "low-pass 40 Hz",
         [](Signal& s) { return FilterWith<CMultiChannelLowpass2>(40.0, s.fs, s.leads); },
         [](Signal& s) { return LeadByLead(s, CLowpassFilter2(40, s.fs), kFilter); }},
        {"highpass", "high-pass 0.05 Hz",
         [](Signal& s) { return FilterWith<CMultiChannelHighpass>(0.05, s.fs, s.leads); },
         [](Signal& s) { return LeadByLead(s, CHighpassFilter(0.05, s.fs), kFilter); }},
        {"notch", "notch 60 Hz",
         [](Signal& s) { return FilterWith<CMultiChannelNotch>(60.0, s.fs, 10.0, s.leads); },
         [](Signal& s) { return LeadByLead(s, CNotchFilter(60, s.fs, 10), kFilter); }},
        {"comb50", "comb 50 Hz",
         [](Signal& s) { return FilterWith<CQuorlMultiNotchFilter>(50, s.fs, s.leads); },
         [](Signal& s) { return LeadByLead(s, CQuorlNotchFilter(50, s.fs), kFilter); }},
        {"comb60", "comb 60 Hz",
         [](Signal& s) { return FilterWith<CQuorlMultiNotchFilter>(60, s.fs, s.leads); },
         [](Signal& s) { return LeadByLead(s, CQuorlNotchFilter(60, s.fs), kFilter); }},
        {"smooth1", "smoothing 1",
         [](Signal& s) -> Step {
             return [bank = std::make_shared<CMultiChannelSmoothEx>(s.fs, s.leads, false)](short* frame) {
                 bank->Smooth(frame);
             };
         },
         [](Signal& s) { return LeadByLead(s, CSmoothFilter(s.fs, 25), kSmooth); }},
        {"smooth2", "smoothing 2",
         [](Signal& s) -> Step {
             return [bank = std::make_shared<CMultiChannelSmoothEx>(s.fs, s.leads, true)](short* frame) {
                 bank->Smooth(frame);
             };
         },
         SmoothStrongly},
        {"doubler", "doubler, by value",
         [](Signal& s) -> Step {
             qzDfs_create(s.leads, kUvPerUnit);
             return [](short* frame) { g_taken = qzDfs_getData(frame)[1][0]; };
         },
         [](Signal& s) {
             return LeadByLead(s, CDoubleSampleRate(), [](CDoubleSampleRate& one, short x) {
                 return one.GetDoubleSampleRateData(x)[0];
             });
         }},
        {"vote", "heart rate, vote of up to 8 leads",
         [](Signal& s) -> Step {
             return [vote = std::make_shared<CMultirtRRdetect>(s.fs, s.leads, kMainsHz, kUvPerUnit)](
                        short* frame) { g_taken = vote->QRSdetect(frame); };
         },
         [](Signal& s) -> Step {
             auto detectors = std::make_shared<std::vector<CrtRRdetect>>(
                 static_cast<std::size_t>(std::min<short>(s.leads, 8)), CrtRRdetect(s.fs, kMainsHz));
             return [detectors](const short* frame) {
                 for (CrtRRdetect& detector : *detectors) g_taken = detector.QRSdetect(*frame++);
             };
         }},
        {"match", "match", Match, CorrelateLiterally},
        {"monitor", "whole chain of a monitor", Monitor, nullptr},
    };
    return stages;
}
