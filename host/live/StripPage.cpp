#include "host/live/StripPage.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "host/report/Outputs.h"
#include "host/report/StripPages.h"
#include "host/results/Strips.h"
#include "host/support/Units.h"

namespace {

constexpr double kRatesSeconds = 30;        // about the strip, from which its heart rate is
constexpr std::size_t kMostNamedLeads = 3;  // whose ST stands above the strip
constexpr float kNothing = qz::STMeasure::kNothing;

STReading Reading(double seconds, double bpm, const std::vector<float>& levelUv) {
    STReading reading{seconds, bpm, levelUv, std::vector<float>(levelUv.size(), kNothing)};
    reading.st.resize(levelUv.size());
    return reading;
}

/// ST of the reference and at the end of the strip, and the heart rate about it, as the trend has them.
void AddTrend(const LiveTest& test, double fromSeconds, double toSeconds, StripPage& page) {
    StressResult& result = page.result;
    const std::vector<float>& referenceUv = test.ReferenceUv();
    if (!referenceUv.empty()) {
        const Span span = test.State().reference;
        result.reference = {span, "as set in the test"};
        result.beats.push_back(Reading(span.fromSeconds, live::kUnknown, referenceUv));
    }
    const live::TrendRow* last = nullptr;
    for (const live::TrendRow& row : test.Trend()) {
        if (row.seconds < fromSeconds - kRatesSeconds || row.seconds > toSeconds + kRatesSeconds) continue;
        if (!std::isnan(row.bpm)) result.rates.push_back({row.seconds, row.bpm});
        if (row.seconds <= toSeconds) last = &row;
    }
    if (last == nullptr) return;
    result.beats.push_back(Reading(last->seconds, last->bpm, last->levelUv));
    std::vector<std::size_t> leads(last->levelUv.size());
    std::iota(leads.begin(), leads.end(), std::size_t{0});
    const auto change = [&](std::size_t lead) {
        const float uV = referenceUv.empty() ? last->levelUv[lead] : last->levelUv[lead] - referenceUv[lead];
        return std::isnan(uV) ? -1 : std::abs(uV);
    };
    std::stable_sort(leads.begin(), leads.end(),
                     [&](std::size_t a, std::size_t b) { return change(a) > change(b); });
    leads.resize(std::min(leads.size(), kMostNamedLeads));
    std::sort(leads.begin(), leads.end());
    page.exercise.stageLeads = std::move(leads);
}

/// Writes the conditioned frames into the strip; samples that are missing stay so.
class Conditioned : private qz::SessionObserver {
public:
    Conditioned(const StripPage& page, Strip& strip)
        : m_page(page), m_strip(strip), m_chn(page.session.leads.size()) {
        strip.uV.assign(m_chn, {});
        qz::StressSession session(page.session, static_cast<qz::SessionObserver&>(*this));
        std::vector<short> held(m_chn);
        for (std::size_t i = 0; i < page.frames.size(); ++i) {
            short& value = held[i % m_chn];
            if (page.frames[i] != kMissing) value = page.frames[i];
            if (i % m_chn + 1 == m_chn) session.Push(held.data(), 1);
        }
        session.Finish();
    }

private:
    void OnConditioned(const short* uV, double seconds) override {
        const auto frame = static_cast<std::size_t>(std::lround(seconds * m_page.session.fs));
        const double at = m_page.framesFromSeconds + seconds - m_strip.seconds;
        if (at < -0.5 / m_page.session.fs || at >= kStripSeconds ||
            (frame + 1) * m_chn > m_page.frames.size())
            return;
        for (std::size_t lead = 0; lead < m_chn; ++lead)
            m_strip.uV[lead].push_back(
                m_page.frames[frame * m_chn + lead] == kMissing ? kNothing : static_cast<float>(uV[lead]));
    }

    const StripPage& m_page;
    Strip& m_strip;
    std::size_t m_chn;
};

}  // namespace

std::optional<StripPage> GatherStrip(const LiveTest& test, const KeptSignal& signal, double seconds) {
    if (!test.SessionOptions() || !std::isfinite(seconds)) return {};
    const SourceInfo& info = test.Info();
    const live::State& state = test.State();
    const double from =
        std::max(0.0, std::min(seconds - kStripSeconds / 2, info.SecondsOf(signal.Frames()) - kStripSeconds));
    StripPage page;
    page.session = *test.SessionOptions();
    const auto frameAt = [&](double time) { return std::llround(std::max(0.0, time) * info.fs); };
    const long long first = frameAt(from - StripPage::kLeadInSeconds);
    page.framesFromSeconds = info.SecondsOf(first);
    page.frames = signal.Read(
        first,
        static_cast<std::size_t>(frameAt(from + kStripSeconds + state.delayMs / kMsPerSecond) - first));
    StressResult& result = page.result;
    const std::size_t chn = info.leads.size();
    result.source = info;
    result.conditioning = state.conditioning;
    result.seconds = state.seconds;
    result.stPoint = test.STPoint();
    result.strips = {{info.SecondsOf(frameAt(from)), {StripKind::Asked}}};
    result.off.resize(chn);
    result.disturbed.resize(chn);
    result.farthest.resize(chn);
    result.referenceBeatUv.resize(chn);
    for (const live::BeatMark& mark : test.BeatMarks(from, from + kStripSeconds))
        result.beatsFound.push_back({mark.seconds, mark.beatClass});
    page.exercise.stages = state.stages;
    AddTrend(test, from, from + kStripSeconds, page);
    return page;
}

void WriteStrip(std::ostream& out, StripPage page, const Language& language) {
    const Conditioned conditioned(page, page.result.strips.front());
    const Findings findings({page.result, page.exercise, Paper::A4, language});
    std::vector<ReportPage> pages;
    AddStripPages(findings, pages);
    WritePdf(out, pages, findings);
}
