#include "session/internal/LeadWatch.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "core/FloatingPoint.h"
#include "core/filters/internal/Lanes.h"

namespace qz {

namespace {

constexpr double kFlatUv = 5, kJumpUv = 3000;
constexpr int kFlatSeconds = 2;  // the quiet between beats is shorter
constexpr int kWindowsPerSecond = 10;
constexpr std::size_t kRingWindows = 6;  // the newest; the old one 0.2 s before it; the one 0.3 s before that
constexpr double kBackSeconds = 0.4;     // after its steepest place a wide beat is over
constexpr double kSameSeconds = 1;
// Beats are judged some 90 s late at the most, where those that a template was learned from are matched.
constexpr double kKeptSeconds = 120;
constexpr std::size_t kMostSpans = static_cast<std::size_t>(kKeptSeconds / kSameSeconds) + 2;
constexpr std::size_t kMostOff = static_cast<std::size_t>(kKeptSeconds / kFlatSeconds) + 2;
constexpr std::size_t kMostEvents = 4;  // events of a lead at once

int WindowFrames(int fs) { return fs / kWindowsPerSecond; }

// Of a limit in units, which may be too large for an int.
int WithinInt(double limit) { return static_cast<int>(std::min(limit, 2e9)); }

bool Overlaps(const std::vector<Span>& spans, const Span& asked) {
    for (auto span = spans.rbegin(); span != spans.rend() && span->toSeconds >= asked.fromSeconds; ++span)
        if (span->fromSeconds <= asked.toSeconds) return true;
    return false;
}

}  // namespace

LeadWatch::LeadWatch(int fs, std::size_t chn, double uVpb)
    : m_fs(fs),
      m_moveUnits(WithinInt(std::ceil(kFlatUv / uVpb))),
      m_flatFrames(kFlatSeconds * fs),
      m_window(static_cast<std::size_t>(WindowFrames(fs)) * chn),
      m_jumpChange(WithinInt(kJumpUv / uVpb * WindowFrames(fs))),
      m_ring(kRingWindows * m_window),
      m_courses(FoursOf(chn)),
      m_leads(chn) {
    for (Course& course : m_courses) {
        course.lowest.lanes.fill(INT16_MAX + 1);
        course.highest.lanes.fill(INT16_MIN - 1);
        course.still.lanes.fill(-1);
        course.lineAfter.lanes.fill(INT_MAX);
    }
    for (std::size_t i = 0; i < chn; ++i)
        m_courses[i / kLanes].lineAfter.lanes[i % kLanes] = m_flatFrames - 1;
    for (Lead& lead : m_leads) {
        lead.off.reserve(kMostOff);
        lead.disturbed.reserve(kMostSpans);
    }
    m_news.reserve(kMostEvents * chn);
    m_events.reserve(kMostEvents * chn);
}

void LeadWatch::Take(const short* frame) {
    const std::size_t chn = m_leads.size();
    const auto aged = [&](std::size_t windows) {
        const std::size_t at = m_next + (kRingWindows - windows) * m_window;
        return &m_ring[at < m_ring.size() ? at : at - m_ring.size()];
    };
    const short *const one = aged(1), *const two = aged(2), *const three = aged(3), *const five = aged(5);
    short* const oldest = aged(kRingWindows);  // overwritten by the new frame
    const IntLanes noMove = AllLanes(m_moveUnits - 1), noJump = AllLanes(m_jumpChange);
    IntLanes notable = AllLanes(m_isAnyWatched ? -1 : 0);
    ForEachFour(frame, chn, [&](std::size_t four, std::size_t count, IntLanes sample) {
        Course& course = m_courses[four];
        const auto of = [&](const short* row) { return LoadSome(row + four * kLanes, count); };
        const auto add = [](FourInts& sum, IntLanes in, IntLanes out) {
            const IntLanes now = WrapAdd(Load(sum), WrapSub(in, out));
            Store(sum, now);
            return now;
        };
        IntLanes lowest = Load(course.lowest), highest = Load(course.highest);
        lowest = Select(IsAbove(lowest, sample), sample, lowest);
        highest = Select(IsAbove(sample, highest), sample, highest);
        const IntLanes moved = IsAbove(WrapSub(highest, lowest), noMove), last = Load(course.still);
        const IntLanes lineAfter = Load(course.lineAfter);
        const IntLanes still = WrapAdd(WrapAdd(last, AllLanes(1)), IsAbove(last, lineAfter)) & ~moved;
        Store(course.lowest, Select(moved, sample, lowest));
        Store(course.highest, Select(moved, sample, highest));
        Store(course.still, still);
        const IntLanes newSum = add(course.newSum, sample, of(one));
        const IntLanes oldSum = add(course.oldSum, of(two), of(three));
        add(course.earlierSum, of(five), of(oldest));
        StoreSome(oldest + four * kLanes, count, sample);
        notable = notable | IsAbove(still, lineAfter) | IsAbove(Magnitude(WrapSub(newSum, oldSum)), noJump);
    });
    if (IsAny(notable)) {
        // Waits for full windows: the first sample of a recording may be far from the rest.
        const bool isFilled = static_cast<std::size_t>(m_frames) * chn >= m_ring.size();
        const double now = Seconds(m_frames);
        m_isAnyWatched = false;
        for (std::size_t i = 0; i < chn; ++i) {
            Lead& lead = m_leads[i];
            LookForLine(i);
            if (isFilled) LookForJump(i, now);
            if (lead.isDisturbed && now - lead.disturbed.back().toSeconds > kSameSeconds) {
                lead.isDisturbed = false;
                Tell(LeadEvent::Kind::Calm, i, lead.disturbed.back().toSeconds);
            }
            m_isAnyWatched |= lead.isOff || lead.isJumping || lead.isDisturbed;
        }
    }
    m_next += chn;
    if (m_next == m_ring.size()) m_next = 0;
    ++m_frames;
}

// A level that has come back when a wide beat would be over was that of a beat, whose QRS may be the old
// level.
void LeadWatch::LookForJump(std::size_t index, double now) {
    Lead& lead = m_leads[index];
    const bool isJumping = std::abs(Of(&Course::newSum, index) - Of(&Course::oldSum, index)) > m_jumpChange;
    if (isJumping && lead.isDisturbed) return Mark(index, now);
    if (isJumping && !lead.isJumping) {
        lead.isJumping = true;
        lead.jumpSeconds = now;
        lead.sumBefore = Of(&Course::earlierSum, index);
    }
    if (lead.isJumping && now - lead.jumpSeconds >= kBackSeconds) JudgeJump(index);
}

void LeadWatch::JudgeJump(std::size_t index) {
    Lead& lead = m_leads[index];
    lead.isJumping = false;
    if (2 * std::abs(Of(&Course::newSum, index) - lead.sumBefore) > m_jumpChange)
        Mark(index, lead.jumpSeconds);
}

void LeadWatch::LookForLine(std::size_t index) {
    Lead& lead = m_leads[index];
    const int still = Of(&Course::still, index);
    if (lead.isOff && still == 0) {
        lead.isOff = false;
        lead.off.back().toSeconds = Seconds(m_frames);
        Tell(LeadEvent::Kind::On, index, Seconds(m_frames));
    } else if (!lead.isOff && still >= m_flatFrames) {
        lead.isOff = true;
        Forget(lead.off);
        lead.off.push_back({Seconds(m_frames - still), std::numeric_limits<double>::infinity()});
        Tell(LeadEvent::Kind::Off, index, Seconds(m_frames - still));
    }
}

bool LeadWatch::AreAllOff() const {
    return m_isAnyWatched &&
           std::all_of(m_leads.begin(), m_leads.end(), [](const Lead& lead) { return lead.isOff; });
}

void LeadWatch::Disturb(std::size_t lead) { Mark(lead, Seconds(m_frames - 1)); }

void LeadWatch::Finish() {
    for (std::size_t i = 0; i < m_leads.size(); ++i)
        if (m_leads[i].isJumping) JudgeJump(i);
    for (std::size_t i = 0; i < m_leads.size(); ++i)
        if (m_leads[i].isDisturbed) Tell(LeadEvent::Kind::Calm, i, m_leads[i].disturbed.back().toSeconds);
}

void LeadWatch::Mark(std::size_t index, double seconds) {
    Lead& lead = m_leads[index];
    if (lead.disturbed.empty() || seconds - lead.disturbed.back().toSeconds > kSameSeconds) {
        Forget(lead.disturbed);
        lead.disturbed.push_back({seconds, seconds});
        lead.isDisturbed = m_isAnyWatched = true;
        Tell(LeadEvent::Kind::Disturbed, index, seconds);
    }
    Span& latest = lead.disturbed.back();
    latest = {std::min(latest.fromSeconds, seconds), std::max(latest.toSeconds, seconds)};
}

void LeadWatch::Tell(LeadEvent::Kind kind, std::size_t lead, double seconds) {
    LeadEvent event;
    event.kind = kind;
    event.lead = lead;
    event.seconds = seconds;
    m_news.push_back(event);
}

/// Makes room for one more span by forgetting those of long ago.
void LeadWatch::Forget(std::vector<Span>& spans) const {
    const double kept = Seconds(m_frames) - kKeptSeconds;
    const auto recent =
        std::find_if(spans.begin(), spans.end(), [kept](const Span& span) { return span.toSeconds >= kept; });
    spans.erase(spans.begin(), recent);
}

const std::vector<LeadEvent>& LeadWatch::Events() {
    m_events.clear();
    m_events.swap(m_news);
    return m_events;
}

bool LeadWatch::IsGood(std::size_t lead, const Span& span, double swingSeconds) const {
    return !Overlaps(m_leads[lead].off, span) &&
           !Overlaps(m_leads[lead].disturbed, {span.fromSeconds - swingSeconds, span.toSeconds});
}

}  // namespace qz
