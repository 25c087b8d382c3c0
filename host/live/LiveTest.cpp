#include "host/live/LiveTest.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/live/LiveSource.h"
#include "host/results/Reference.h"
#include "host/support/Text.h"
#include "host/support/Units.h"
#include "session/MainsFrequency.h"

using live::Alarm;
using live::Command;
using live::Event;

namespace {

constexpr std::size_t kKeptLevels = 600;       // beats: of a rest of five to ten minutes
constexpr double kNewReferenceSeconds = 30;    // before the moment at which it is asked for
constexpr double kLineBeforeGapSeconds = 0.5;  // that a signal may have been a line when a gap began
constexpr double kRateSeconds = 10;            // after the latest interval a heart rate is not known any more
constexpr int kRunBeats = 3;                   // in a row: a run
constexpr double kPrEndMs = 4, kPrMs = 12;     // the PR level: the mean of 12 ms that end 4 ms before the QRS
constexpr std::size_t kMostNotes = 200;        // symptoms and marks, each
constexpr std::size_t kMostStages = 100, kMostPressures = 500;

float Median(std::vector<float> values) {
    std::erase_if(values, [](float value) { return std::isnan(value); });
    if (values.empty()) return std::nanf("");
    const auto middle = values.begin() + std::ssize(values) / 2;
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 == 1) return *middle;
    return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

bool IsIn(double value, double lowest, double highest) { return value >= lowest && value <= highest; }

}  // namespace

LiveTest::LiveTest(const SourceInfo& info, const StressOptions& analysis, const std::string& protocol)
    : m_info(info),
      m_analysis(analysis),
      m_stages(protocol),
      m_held(info.leads.size()),
      m_isOffTold(info.leads.size()) {
    m_state.leads.resize(info.leads.size());
    m_state.byHand = analysis.stPoint.byHand;
    m_state.stages = m_stages.Stages();
    SessionOptionsFor(info, WithMains(analysis, 0));
}

LiveTest::~LiveTest() = default;

void LiveTest::Take(const short* frames, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) TakeFrame(frames + i * m_info.leads.size());
}

void LiveTest::TakeFrame(const short* frame) {
    const std::size_t chn = m_info.leads.size();
    const bool isGap = std::all_of(frame, frame + chn, [](short sample) { return sample == kMissing; });
    for (std::size_t lead = 0; lead < chn; ++lead)
        if (frame[lead] != kMissing) m_held[lead] = frame[lead];
    ++m_state.frames;
    m_state.seconds = m_info.SecondsOf(m_state.frames);
    if (isGap) {
        m_state.gapSeconds = m_info.SecondsOf(++m_gapFrames);
        m_state.gapsSeconds = m_info.SecondsOf(++m_allGapFrames);
    }
    if (std::exchange(m_isGap, isGap) != isGap) {
        if (isGap) {
            ++m_state.gaps;
            Raise(Alarm::Kind::NoSignal, true);
        } else {
            Raise(Alarm::Kind::NoSignal, false);
            const double ended = m_info.SecondsOf(m_state.frames - 1);
            if (m_finds.gaps.size() < kMostEvents)
                m_finds.gaps.push_back({ended - m_state.gapSeconds, ended});
            Tell(Event::Kind::Gap, {}, {}, std::exchange(m_state.gapSeconds, 0));
            m_gapFrames = 0;
        }
    }
    if (m_session) {
        m_session->Push(m_held.data(), 1);
    } else {
        m_ahead.insert(m_ahead.end(), m_held.begin(), m_held.end());
        if (!m_analysis.measureMains ||
            m_state.frames == static_cast<long long>(qz::kMainsSeconds) * m_info.fs)
            BeginSession();
    }
    if (m_state.seconds > m_rateSeconds + kRateSeconds) m_state.bpm = live::kUnknown;
    while (m_stages.Advance(m_state.seconds)) TellStages();
    m_state.nextStageSeconds = m_stages.NextSeconds();
    if (m_state.seconds >= m_nextTrendSeconds) AddTrendRow();
}

void LiveTest::BeginSession() {
    const std::size_t chn = m_info.leads.size();
    const int mainsHz = qz::MeasureMainsHz(m_ahead.data(), m_ahead.size() / chn, chn, m_info.fs);
    m_sessionOptions = SessionOptionsFor(m_info, WithMains(m_analysis, mainsHz));
    m_session.emplace(*m_sessionOptions, static_cast<qz::SessionObserver&>(*this));
    m_state.delayMs = m_session->DelayMs();
    m_state.conditioning = m_session->Conditioning();
    m_session->Push(m_ahead.data(), m_ahead.size() / chn);
    m_ahead = {};
}

void LiveTest::Finish() {
    if (m_state.hasEnded) return;
    if (!m_session && !m_ahead.empty()) BeginSession();
    if (m_session) m_session->Finish();
    m_state.hasEnded = true;
    AddTrendRow();
    Tell(Event::Kind::Ended, m_state.endedBecause);
}

void LiveTest::OnInterval(const qz::IntervalEvent& interval) {
    ++m_state.beats;
    switch (interval.beatClass) {
        case qz::BeatClass::Normal: break;
        case qz::BeatClass::Supraventricular: ++m_state.supraventricular; break;
        case qz::BeatClass::Ventricular: ++m_state.ventricular; break;
        case qz::BeatClass::Unclassified: ++m_state.unclassified; break;
        case qz::BeatClass::Paced: ++m_state.paced; break;
    }
    if (m_beatMarks.size() < kMostBeats) m_beatMarks.push_back({interval.seconds, interval.beatClass});
    if (interval.beatClass == qz::BeatClass::Ventricular && m_finds.ventricular.size() < kMostEvents)
        m_finds.ventricular.push_back(interval.seconds);
    m_run = interval.beatClass == qz::BeatClass::Ventricular ? m_run + 1 : 0;
    if (m_run == kRunBeats) {
        ++m_state.runs;
        Tell(Event::Kind::Run);
    }
    Raise(Alarm::Kind::VentricularRun, m_run >= kRunBeats, {}, m_run);
    if (std::isnan(interval.bpm)) return;
    m_rateSeconds = interval.seconds;
    m_state.bpm = interval.bpm;
    Raise(Alarm::Kind::RateHigh, interval.bpm > m_state.limits.highestBpm, {}, interval.bpm);
    Raise(Alarm::Kind::RateLow, interval.bpm < m_state.limits.lowestBpm, {}, interval.bpm);
}

void LiveTest::OnBeat(const qz::BeatEvent& beat) {
    const bool isEngine = m_analysis.stPoint.postJms && !m_state.byHand.IsAny();
    Levels levels{beat.seconds, beat.levelUv};
    for (std::size_t lead = 0; lead < m_state.leads.size(); ++lead) {
        live::LeadState& state = m_state.leads[lead];
        if (!isEngine) levels.uV[lead] = beat.st[lead].levelUv;
        state.slopeUvPerMs = isEngine ? beat.slopeUvPerMs[lead] : beat.st[lead].slopeUvPerMs;
        state.jUv = beat.st[lead].jUv;
    }
    m_state.stPointMs = isEngine ? m_analysis.stPoint.UsualMs() : beat.stPointMs;
    if (std::all_of(levels.uV.begin(), levels.uV.end(), [](float uV) { return std::isnan(uV); })) return;
    if (std::isnan(m_firstSTSeconds)) m_firstSTSeconds = beat.seconds;
    const BeatPositionsMs at = isEngine ? m_session->Positions() : m_session->MeasuredPositions();
    TakePoints({at.q - at.r, at.j - at.r, at.j - at.r + m_state.stPointMs});
    m_recent.push_back(levels);
    if (m_recent.size() > kKeptLevels) m_recent.pop_front();
    const Span first = FirstReadings(m_firstSTSeconds).span;
    if (!m_isReferenceFixed && first.Contains(beat.seconds)) SetReference(first.fromSeconds, beat.seconds);
    ShowLevels();
}

/// After points were moved by hand, earlier levels become what they would have been at the new points, by
/// what the averaged beats tell: of a change nothing is left that the moving has made.
void LiveTest::TakePoints(const Points& now) {
    const Points before = std::exchange(m_points, now);
    if (!std::exchange(m_arePointsMoved, false)) return;
    const auto move = [&](std::vector<float>& uV, const AveragedBeat& beat) {
        const std::vector<float> then = LevelsAt(beat, before), here = LevelsAt(beat, now);
        for (std::size_t lead = 0; lead < uV.size(); ++lead) uV[lead] += here[lead] - then[lead];
    };
    const AveragedBeat beat = Beat();
    for (Levels& levels : m_recent) move(levels.uV, beat);
    if (!m_referenceUv.empty()) move(m_referenceUv, m_referenceBeat);
    m_finds.largestUv = live::kUnknown;
}

/// True where the point is moved, or given back to what the options tell.
bool LiveTest::MovePoint(const Command& command) {
    using Kind = Command::Kind;
    const auto point = command.kind == Kind::QPoint   ? &qz::PointsByHand::qMs
                       : command.kind == Kind::JPoint ? &qz::PointsByHand::jMs
                                                      : &qz::PointsByHand::stMs;
    if (m_recent.empty()) return false;
    qz::PointsByHand points = m_state.byHand;
    if (std::isnan(command.value))
        points.*point = m_analysis.stPoint.byHand.*point;
    else
        points.*point = std::round(command.value);
    // The engine's ST point is measured at by the session where its J does not count any more.
    if (m_analysis.stPoint.postJms && points.IsAny() && !points.stMs)
        points.stMs = m_analysis.stPoint.UsualMs();
    if (!m_session->SetPoints(points)) return false;
    m_state.byHand = points;
    m_arePointsMoved = true;
    return true;
}

/// Shows the latest levels and their changes.
void LiveTest::ShowLevels() {
    const std::vector<float>& levelUv = m_recent.back().uV;
    for (std::size_t lead = 0; lead < m_state.leads.size(); ++lead) {
        live::LeadState& state = m_state.leads[lead];
        state.levelUv = levelUv[lead];
        state.changeUv = m_referenceUv.empty() ? live::kUnknown : levelUv[lead] - m_referenceUv[lead];
        if (!(std::abs(state.changeUv) <= std::abs(m_finds.largestUv)) && !std::isnan(state.changeUv)) {
            m_finds.largestUv = state.changeUv;
            m_finds.largestSeconds = m_recent.back().seconds;
            m_finds.largestLead = m_info.leads[lead];
        }
        Raise(Alarm::Kind::STChange, std::abs(state.changeUv) > m_state.limits.stUv, m_info.leads[lead],
              state.changeUv);
    }
}

/// Levels of an averaged beat at the ST point, against its PR level; NaN beyond its end.
std::vector<float> LiveTest::LevelsAt(const AveragedBeat& beat, const Points& points) const {
    const auto sampleOf = [&](double ms) { return std::lround((beat.rMs + ms) * m_info.fs / kMsPerSecond); };
    const long from = std::max(0L, sampleOf(points.q - kPrEndMs - kPrMs));
    const long to = std::max(from + 1, sampleOf(points.q - kPrEndMs));
    const long at = sampleOf(points.st);
    std::vector<float> levels;
    for (const std::vector<float>& uV : beat.uV) {
        float sum = 0;
        for (long i = from; i < std::min<long>(to, std::ssize(uV)); ++i)
            sum += uV[static_cast<std::size_t>(i)];
        levels.push_back(std::max(at, to) < std::ssize(uV)
                             ? uV[static_cast<std::size_t>(at)] - sum / static_cast<float>(to - from)
                             : std::nanf(""));
    }
    return levels;
}

void LiveTest::SetReference(double fromSeconds, double toSeconds) {
    std::vector<std::vector<float>> values(m_state.leads.size());
    for (const Levels& levels : m_recent)
        if (IsIn(levels.seconds, fromSeconds, toSeconds))
            for (std::size_t lead = 0; lead < values.size(); ++lead) values[lead].push_back(levels.uV[lead]);
    if (values.front().empty()) return;
    m_referenceUv.clear();
    for (std::vector<float>& lead : values) m_referenceUv.push_back(Median(std::move(lead)));
    m_referenceBeat = Beat();
    m_state.reference = {fromSeconds, toSeconds};
    m_finds.largestUv = live::kUnknown;
}

void LiveTest::OnLead(const qz::LeadEvent& event) {
    using Kind = qz::LeadEvent::Kind;
    live::LeadState& lead = m_state.leads[event.lead];
    switch (event.kind) {
        case Kind::Off: lead.isOff = true; break;
        case Kind::On: lead.isOff = false; break;
        case Kind::Disturbed: lead.isDisturbed = true; return;
        case Kind::Calm: lead.isDisturbed = false; return;
    }
    if (lead.isOff) lead.levelUv = lead.changeUv = lead.slopeUvPerMs = lead.jUv = live::kUnknown;
    // In a gap all leads are flat: the alarm of the gap says it.
    const std::string& name = m_info.leads[event.lead];
    const auto isWithin = [&](const Span& gap) {
        return IsIn(event.seconds, gap.fromSeconds - kLineBeforeGapSeconds, gap.toSeconds);
    };
    const bool isTold =
        lead.isOff && !m_isGap && std::none_of(m_finds.gaps.begin(), m_finds.gaps.end(), isWithin);
    if (isTold || m_isOffTold[event.lead])
        Tell(isTold ? Event::Kind::LeadOff : Event::Kind::LeadOn, {}, name);
    Raise(Alarm::Kind::LeadOff, isTold, name);
    m_isOffTold[event.lead] = isTold;
}

void LiveTest::OnQuality(const qz::QualityEvent& event) {
    for (std::size_t lead = 0; lead < m_state.leads.size(); ++lead)
        m_state.leads[lead].quality = event.quality[lead];
}

void LiveTest::OnLearned(const LearnedBeat& /*beat*/, double /*fromSeconds*/, bool again) {
    m_state.isLearned = true;
    Tell(Event::Kind::Learned, again ? "again" : "");
}

void LiveTest::OnNotLearned(const std::string& why) {
    m_state.notLearned = why;
    Tell(Event::Kind::NotLearned, why);
}

void LiveTest::Tell(Event::Kind kind, const std::string& text, const std::string& lead, double value) {
    if (m_events.size() < kMostEvents) m_events.push_back({kind, m_state.seconds, lead, text, value});
}

void LiveTest::SetAlarm(Alarm::Kind kind, bool isActive) { Raise(kind, isActive); }

void LiveTest::Raise(Alarm::Kind kind, bool isActive, const std::string& lead, double value) {
    std::vector<Alarm>& alarms = m_state.alarms;
    const auto found = std::find_if(alarms.begin(), alarms.end(), [&](const Alarm& alarm) {
        return alarm.kind == kind && alarm.lead == lead && (alarm.isActive || !alarm.isAcknowledged);
    });
    if (isActive && found == alarms.end()) {
        alarms.push_back({++m_alarms, kind, lead, value, m_state.seconds});
    } else if (isActive) {
        found->isActive = true;
        found->value = value;
    } else if (found != alarms.end()) {
        found->isActive = false;
        if (found->isAcknowledged) alarms.erase(found);
    }
}

std::string LiveTest::At(const std::string& text) const { return Clock(m_state.seconds) + " " + text; }

void LiveTest::TellStages() {
    m_state.stages = m_stages.Stages();
    m_state.isWork = m_stages.IsWork();
    m_state.isRecovery = m_stages.IsRecovery();
    Tell(Event::Kind::Stage, m_state.stages.back().name);
}

bool LiveTest::Do(const Command& command) {
    using Kind = Command::Kind;
    if (m_state.hasEnded && command.kind != Kind::Acknowledge) return false;
    const double now = m_state.seconds;
    std::vector<BloodPressure>& pressures = m_state.pressures;
    // One reading a moment: files of pressures have ascending times.
    const auto reading = [&]() -> BloodPressure& {
        if (pressures.empty() || pressures.back().seconds < now) pressures.push_back({now});
        return pressures.back();
    };
    switch (command.kind) {
        case Kind::Start:
            if (!m_stages.Start(now)) return false;
            // Changes count from the rest, as in an analysis.
            if (!m_isReferenceFixed && !m_recent.empty()) SetReference(m_recent.front().seconds, now);
            m_isReferenceFixed = m_isReferenceFixed || !m_recent.empty();
            TellStages();
            break;
        case Kind::Next:
            if (m_state.stages.size() >= kMostStages || !m_stages.Next(now)) return false;
            TellStages();
            break;
        case Kind::Recovery:
            if (!m_stages.Recover(now)) return false;
            TellStages();
            break;
        case Kind::End: m_state.endedBecause = command.text; break;
        case Kind::Pressure:
            if (pressures.size() >= kMostPressures || !IsIn(command.value, 40, 350) ||
                !IsIn(command.other, 10, command.value))
                return false;
            reading().systolic = command.value;
            reading().diastolic = command.other;
            Tell(Event::Kind::Done, Number(command.value, 0) + "/" + Number(command.other, 0) + " mmHg");
            break;
        case Kind::Exertion:
            if (pressures.size() >= kMostPressures || !IsIn(command.value, 0, 20)) return false;
            reading().exertion = command.value;
            Tell(Event::Kind::Done, "Borg " + Number(command.value, 0));
            break;
        case Kind::Symptom:
        case Kind::Mark: {
            std::vector<std::string>& notes =
                command.kind == Kind::Symptom ? m_state.symptoms : m_state.marks;
            if (command.text.empty() || notes.size() >= kMostNotes) return false;
            notes.push_back(At(command.text));
            Tell(Event::Kind::Done, command.text);
            break;
        }
        case Kind::Reference:
            if (m_recent.empty() || m_recent.back().seconds < now - kNewReferenceSeconds) return false;
            SetReference(std::max(m_recent.front().seconds, now - kNewReferenceSeconds), now);
            m_isReferenceFixed = m_state.isReferenceByHand = true;
            ShowLevels();
            break;
        case Kind::QPoint:
        case Kind::JPoint:
        case Kind::STPoint: return MovePoint(command);
        case Kind::Limits:
            if (!IsIn(command.value, 40, 300) || !IsIn(command.other, 10, command.value) ||
                !IsIn(command.stUv, 10, 2000))
                return false;
            m_state.limits = {command.value, command.other, command.stUv};
            break;
        case Kind::Acknowledge: {
            const auto alarm = std::find_if(m_state.alarms.begin(), m_state.alarms.end(),
                                            [&](const Alarm& one) { return one.number == command.value; });
            if (alarm == m_state.alarms.end()) return false;
            alarm->isAcknowledged = true;
            if (!alarm->isActive) m_state.alarms.erase(alarm);
            break;
        }
    }
    return true;
}

live::Beats LiveTest::Beats() const {
    live::Beats beats;
    if (!m_session || !m_state.isLearned) return beats;
    beats.uV = m_session->Template();
    beats.referenceUv = m_referenceBeat.uV;
    beats.referenceRMs = m_referenceBeat.rMs;
    beats.positions = m_session->Positions();
    if (m_recent.empty()) return beats;
    beats.positions.q = beats.positions.r + m_points.q;
    beats.positions.j = beats.positions.r + m_points.j;
    beats.stMs = beats.positions.r + m_points.st;
    return beats;
}

std::vector<Event> LiveTest::TakeEvents() { return std::exchange(m_events, {}); }

std::vector<live::BeatMark> LiveTest::TakeBeatMarks() {
    const std::size_t from =
        std::max(m_toldMarks, m_beatMarks.size() - std::min(m_beatMarks.size(), kMostEvents));
    m_toldMarks = m_beatMarks.size();
    return {m_beatMarks.begin() + static_cast<std::ptrdiff_t>(from), m_beatMarks.end()};
}

std::vector<live::BeatMark> LiveTest::BeatMarks(double fromSeconds, double toSeconds) const {
    const auto at = [&](double seconds) {
        return std::lower_bound(m_beatMarks.begin(), m_beatMarks.end(), seconds,
                                [](const live::BeatMark& mark, double time) { return mark.seconds < time; });
    };
    return {at(fromSeconds), at(std::max(fromSeconds, toSeconds))};
}

STPointRule LiveTest::STPoint() const {
    STPointRule point = m_analysis.stPoint;
    point.byHand = m_state.byHand;
    if (point.byHand.IsAny()) point.postJms.reset();
    return point;
}

/// When the trend is full, every other row goes, and further ones come half as often.
void LiveTest::AddTrendRow() {
    if (m_trend.size() >= kMostTrendRows) {
        for (std::size_t i = 0; 2 * i < m_trend.size(); ++i) m_trend[i] = std::move(m_trend[2 * i]);
        m_trend.resize((m_trend.size() + 1) / 2);
        m_trendSeconds *= 2;
    }
    m_nextTrendSeconds = m_state.seconds + m_trendSeconds;
    live::TrendRow row{m_state.seconds, static_cast<float>(m_state.bpm), {}};
    for (const live::LeadState& lead : m_state.leads) row.levelUv.push_back(static_cast<float>(lead.levelUv));
    m_trend.push_back(std::move(row));
}
