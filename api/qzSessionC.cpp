#include "api/qzSessionC.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "session/StressSession.h"
#include "session/internal/FrameRing.h"

namespace {

constexpr std::size_t kMostWaiting = 256;       // events
constexpr std::size_t kMostConditioned = 4096;  // frames that wait
constexpr std::size_t kUsableBits = 64;         // of qzs_beat; no session has more leads
constexpr double kMsPerSecond = 1000.0;
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

static_assert(QZS_ST_UNKNOWN == static_cast<int>(qz::STShape::Unknown) &&
              QZS_ST_UPSLOPING == static_cast<int>(qz::STShape::Upsloping) &&
              QZS_ST_HORIZONTAL == static_cast<int>(qz::STShape::Horizontal) &&
              QZS_ST_DOWNSLOPING == static_cast<int>(qz::STShape::Downsloping));
static_assert(qz::kHorizontalUvPerMs == 0.5, "the header says so");

struct WaitingEvent {
    qzs_event event;
    qz::BeatEvent values;             // of QZS_BEAT
    std::string text;                 // of QZS_NOT_LEARNED
    std::vector<float> quality = {};  // of QZS_QUALITY
};

/// Conditioned frames that wait. They are numbered from 0 on, without a gap; frame n is that of n / fs
/// seconds.
class ConditionedQueue {
public:
    /// For `room` frames, the most that may ever wait.
    ConditionedQueue(std::size_t chn, int fs, std::size_t room)
        : m_chn(chn), m_fs(fs), m_frames(chn, static_cast<long long>(room)) {}
    void Add(const short* frame) { m_frames.Push(frame); }
    std::size_t Waiting() const { return static_cast<std::size_t>(m_frames.End() - m_oldest); }
    double OldestSeconds() const { return static_cast<double>(m_oldest) / m_fs; }
    /// Fetches the oldest `count` of those that wait.
    void Fetch(short* frames, std::size_t count) {
        for (; count > 0; --count) frames = std::copy_n(m_frames.Frame(m_oldest++), m_chn, frames);
    }

private:
    std::size_t m_chn;
    int m_fs;
    qz::FrameRing m_frames;
    long long m_oldest = 0;  // number of the frame to be fetched next
};

/// Turns what a session tells into events and frames that wait, without an exception.
class EventQueue : public qz::SessionObserver {
public:
    void OnConditioned(const short* uV, double seconds) override {
        m_now = seconds;
        if (conditioned) conditioned->Add(uV);
    }
    void OnInterval(const qz::IntervalEvent& interval) override {
        qzs_event event =
            Event(QZS_INTERVAL, interval.seconds, interval.bpm, interval.rrMs, Number(interval.beatClass));
        event.voted_bpm = interval.votedBpm;
        Add(event);
    }
    void OnBeat(const qz::BeatEvent& beat) override {
        qzs_event event = Event(QZS_BEAT, beat.seconds, beat.bpm, beat.rrMs, Number(beat.beatClass));
        event.shape = beat.shape;
        event.q_ms = beat.qMs;
        event.j_ms = beat.jMs;
        Add(event, &beat);
    }
    void OnLead(const qz::LeadEvent& event) override;
    void OnQuality(const qz::QualityEvent& event) override;
    void OnLearned(const qz::LearnedBeat& beat, double fromSeconds, bool again) override;
    void OnNotLearned(const std::string& why) override { Add(Event(QZS_NOT_LEARNED, m_now), nullptr, &why); }

    bool IsFull() const {
        return m_waiting.size() >= kMostWaiting ||
               (conditioned && conditioned->Waiting() >= kMostConditioned);
    }
    /// Makes the next event the one fetched last; null where none waits.
    const qzs_event* Next();
    const std::optional<WaitingEvent>& Last() const { return m_last; }
    const std::optional<qz::LearnedBeat>& Learned() const { return m_learned; }

    std::optional<ConditionedQueue> conditioned;  // empty: nobody wants them

private:
    static qzs_event Event(std::int32_t kind, double seconds, double bpm = kNone, double rrMs = kNone,
                           std::int32_t beatClass = 0) {
        return {kind, -1, seconds, bpm, kNone, false, rrMs, beatClass, -1, kNone, kNone, kNone};
    }
    static std::int32_t Number(qz::BeatClass beatClass) {
        switch (beatClass) {
            case qz::BeatClass::Normal: return QZS_NORMAL;
            case qz::BeatClass::Supraventricular: return QZS_SUPRAVENTRICULAR;
            case qz::BeatClass::Ventricular: return QZS_VENTRICULAR;
            case qz::BeatClass::Paced: return QZS_PACED;
            case qz::BeatClass::Unclassified: break;
        }
        return QZS_UNCLASSIFIED;
    }
    void Add(const qzs_event& event, const qz::BeatEvent* values = nullptr,
             const std::string* text = nullptr);

    std::deque<WaitingEvent> m_waiting;
    std::optional<WaitingEvent> m_last;
    std::optional<qz::LearnedBeat> m_learned;
    double m_now = 0;  // seconds of the latest conditioned frame
};

void EventQueue::Add(const qzs_event& event, const qz::BeatEvent* values, const std::string* text) {
    try {
        m_waiting.push_back({event, values ? *values : qz::BeatEvent(), text ? *text : std::string()});
    } catch (const std::bad_alloc&) {  // this event is missed
    }
}

void EventQueue::OnLead(const qz::LeadEvent& told) {
    qzs_event event = Event(QZS_LEAD_OFF, told.seconds);
    switch (told.kind) {
        case qz::LeadEvent::Kind::Off: event.void_from_seconds = told.voidFromSeconds; break;
        case qz::LeadEvent::Kind::On: event.kind = QZS_LEAD_ON; break;
        case qz::LeadEvent::Kind::Disturbed: event.kind = QZS_DISTURBED; break;
        case qz::LeadEvent::Kind::Calm: event.kind = QZS_CALM; break;
    }
    event.lead = static_cast<std::int32_t>(told.lead);
    Add(event);
}

void EventQueue::OnQuality(const qz::QualityEvent& told) {
    try {
        m_waiting.push_back({Event(QZS_QUALITY, told.seconds), {}, {}, told.quality});
    } catch (const std::bad_alloc&) {  // this event is missed
    }
}

void EventQueue::OnLearned(const qz::LearnedBeat& beat, double fromSeconds, bool again) {
    try {
        m_learned = beat;
    } catch (const std::bad_alloc&) {
        m_learned.reset();  // nothing to be kept, rather than half of it
    }
    qzs_event event = Event(QZS_LEARNED, fromSeconds);
    event.again = again;
    Add(event);
}

const qzs_event* EventQueue::Next() {
    if (m_waiting.empty()) return nullptr;
    m_last = std::move(m_waiting.front());
    m_waiting.pop_front();
    return &m_last->event;
}

qz::LearnedBeat HandedIn(const qzs_options& options, std::size_t leads) {
    const qzs_beat& from = *options.beat;
    qz::LearnedBeat beat;
    beat.length = from.length;
    beat.posR = from.posR;
    beat.posQ = from.posQ;
    beat.posJ = from.posJ;
    beat.fromSeconds = from.stretch_seconds;
    beat.beatsFound = from.beats_found;
    beat.beatsUsed = from.beats_used;
    beat.likeness = from.likeness;
    beat.confident = from.confident;
    const auto length = static_cast<std::size_t>(std::max(from.length, std::int16_t{0}));
    if (options.beat_rows == nullptr || options.beat_count != leads * length) return beat;
    for (std::size_t lead = 0; lead < leads; ++lead) {
        const std::int16_t* const row = options.beat_rows + lead * length;
        beat.rows.emplace_back(row, row + length);
        beat.usable.push_back(lead < kUsableBits && (from.usable >> lead & 1) != 0);
    }
    return beat;
}

qz::SessionOptions SessionOptionsOf(const qzs_options& from) {
    qz::SessionOptions options;
    options.fs = from.fs;
    options.uVpb = from.uv_per_unit;
    options.leads.resize(static_cast<std::size_t>(std::max(from.leads, std::int16_t{0})));
    options.conditioning = {from.mains_hz, from.lowpass_hz, from.smooth, from.comb};
    options.postJms = from.postJms;
    options.stRateLimitBpm = from.st_rate_limit;
    options.isPaced = from.paced;
    if (from.beat != nullptr) options.beat = HandedIn(from, options.leads.size());
    return options;
}

qzs_options Defaults() {
    const qz::ConditioningOptions conditioning;
    const auto narrow = [](int value) { return static_cast<std::int16_t>(value); };
    qzs_options options = {};
    options.size = sizeof options;
    options.uv_per_unit = 1;
    options.mains_hz = narrow(conditioning.mainsHz);
    options.lowpass_hz = narrow(conditioning.lowpassHz);
    options.smooth = narrow(conditioning.smooth);
    options.postJms = narrow(qz::SessionOptions().postJms);
    options.st_rate_limit = qz::SessionOptions().stRateLimitBpm;
    return options;
}

std::string RefusalOf(const qzs_options* options) {
    if (options == nullptr || options->size != sizeof *options)
        return "the options are not those of this version of the library";
    return qz::StressSession::Refusal(SessionOptionsOf(*options));
}

std::size_t CopyText(const std::string& from, char* text, std::size_t size) {
    if (text != nullptr && size > 0) {
        const std::size_t copied = std::min(from.size(), size - 1);
        std::copy_n(from.begin(), copied, text);
        text[copied] = '\0';
    }
    return from.size();
}

/// The result of the call; `otherwise` where memory runs out.
template <typename Result, typename Call>
Result WithoutExceptions(Result otherwise, Call call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return otherwise;
    }
}

}  // namespace

struct qzs_session {
    qzs_session(const qz::SessionOptions& options, bool conditioned)
        : leads(options.leads.size()), session(options, events) {
        const long delay = std::lround(session.DelayMs() * options.fs / kMsPerSecond);
        if (conditioned)  // Finish brings as many frames as the filters delay
            events.conditioned.emplace(leads, options.fs, kMostConditioned + static_cast<std::size_t>(delay));
    }

    std::size_t leads;
    EventQueue events;
    qz::StressSession session;
    bool finished = false;
};

bool qzs_options_init(qzs_options* options, std::size_t size) {
    if (options == nullptr || size != sizeof *options) return false;
    *options = Defaults();
    return true;
}

std::size_t qzs_refusal(const qzs_options* options, char* text, std::size_t size) {
    return WithoutExceptions(std::size_t{0}, [&] { return CopyText(RefusalOf(options), text, size); });
}

qzs_session* qzs_create(const qzs_options* options) {
    return WithoutExceptions(static_cast<qzs_session*>(nullptr), [&] {
        return RefusalOf(options).empty() ? new qzs_session(SessionOptionsOf(*options), options->conditioned)
                                          : nullptr;
    });
}

void qzs_free(qzs_session* session) { delete session; }

std::size_t qzs_push(qzs_session* session, const std::int16_t* frames, std::size_t count) {
    if (session == nullptr || frames == nullptr || session->finished) return 0;
    std::size_t taken = 0;
    for (; taken < count && !session->events.IsFull(); ++taken)
        session->session.Push(frames + taken * session->leads, 1);
    return taken;
}

void qzs_finish(qzs_session* session) {
    if (session == nullptr) return;
    session->finished = true;
    session->session.Finish();
}

bool qzs_set_points(qzs_session* session, double q_ms, double j_ms, double st_ms) {
    const auto point = [](double ms) { return std::isnan(ms) ? std::nullopt : std::optional<double>(ms); };
    return session != nullptr && session->session.SetPoints({point(q_ms), point(j_ms), point(st_ms)});
}

bool qzs_next_event(qzs_session* session, qzs_event* event, std::size_t size) {
    if (session == nullptr || event == nullptr || size != sizeof *event) return false;
    const qzs_event* const next = session->events.Next();
    if (next != nullptr) *event = *next;
    return next != nullptr;
}

bool qzs_event_values(const qzs_session* session, float* level, float* slope, float* j, std::size_t count) {
    if (session == nullptr || count != session->leads) return false;
    const std::optional<WaitingEvent>& last = session->events.Last();
    if (!last || last->event.kind != QZS_BEAT) return false;
    const qz::BeatEvent& values = last->values;
    for (const auto& [from, to] :
         {std::pair{&values.levelUv, level}, {&values.slopeUvPerMs, slope}, {&values.jUv, j}})
        if (to != nullptr) std::copy(from->begin(), from->end(), to);
    return true;
}

/// One value per lead of the beat that was fetched last; false where that was none.
template <typename Value, typename Copy>
static bool CopyST(const qzs_session* session, Value qz::STMeasure::*value, Copy* to, std::size_t count) {
    if (!qzs_event_values(session, nullptr, nullptr, nullptr, count)) return false;
    const std::vector<qz::STMeasure>& st = session->events.Last()->values.st;
    for (std::size_t lead = 0; to != nullptr && lead < count; ++lead)
        to[lead] = static_cast<Copy>(st[lead].*value);
    return true;
}

bool qzs_event_st(const qzs_session* session, float* level, double* point_ms, std::size_t count) {
    if (!qzs_event_values(session, nullptr, nullptr, nullptr, count)) return false;
    if (point_ms != nullptr) *point_ms = session->events.Last()->values.stPointMs;
    return CopyST(session, &qz::STMeasure::levelUv, level, count);
}

bool qzs_event_st_after_j(const qzs_session* session, float* j, float* j20, float* j60, float* j80,
                          std::size_t count) {
    return CopyST(session, &qz::STMeasure::jUv, j, count) &&
           CopyST(session, &qz::STMeasure::j20Uv, j20, count) &&
           CopyST(session, &qz::STMeasure::j60Uv, j60, count) &&
           CopyST(session, &qz::STMeasure::j80Uv, j80, count);
}

bool qzs_event_st_slope(const qzs_session* session, float* slope, std::int32_t* shape, bool* on_t,
                        std::size_t count) {
    return CopyST(session, &qz::STMeasure::slopeUvPerMs, slope, count) &&
           CopyST(session, &qz::STMeasure::shape, shape, count) &&
           CopyST(session, &qz::STMeasure::isOnT, on_t, count);
}

bool qzs_event_quality(const qzs_session* session, float* quality, std::size_t count) {
    if (session == nullptr || quality == nullptr || count != session->leads) return false;
    const std::optional<WaitingEvent>& last = session->events.Last();
    if (!last || last->event.kind != QZS_QUALITY) return false;
    std::copy(last->quality.begin(), last->quality.end(), quality);
    return true;
}

std::size_t qzs_event_text(const qzs_session* session, char* text, std::size_t size) {
    const bool bEvent = session != nullptr && session->events.Last();
    return CopyText(bEvent ? session->events.Last()->text : std::string(), text, size);
}

std::size_t qzs_conditioned(qzs_session* session, std::int16_t* frames, std::size_t count,
                            double* first_seconds) {
    if (session == nullptr || !session->events.conditioned) return 0;
    ConditionedQueue& queue = *session->events.conditioned;
    const std::size_t waiting = queue.Waiting();
    if (first_seconds != nullptr && waiting > 0) *first_seconds = queue.OldestSeconds();
    if (frames == nullptr) return waiting;
    const std::size_t fetched = std::min(count, waiting);
    queue.Fetch(frames, fetched);
    return fetched;
}

/// Rows of one length, one after the other, where there is room for all; returns their samples.
static std::size_t CopyRows(const std::vector<std::vector<float>>& rows, float* to, std::size_t count) {
    const std::size_t samples = rows.empty() ? 0 : rows.size() * rows[0].size();
    if (to != nullptr && count >= samples)
        for (const std::vector<float>& row : rows) to = std::copy(row.begin(), row.end(), to);
    return samples;
}

std::size_t qzs_template(const qzs_session* session, float* uv, std::size_t count) {
    if (session == nullptr) return 0;
    return WithoutExceptions(std::size_t{0},
                             [&] { return CopyRows(session->session.Template(), uv, count); });
}

static bool CopyPositions(const qz::BeatPositionsMs& now, qzs_positions* positions) {
    if (positions == nullptr || !(now.length > 0)) return false;
    *positions = {now.length, now.q, now.r, now.j};
    return true;
}

std::size_t qzs_measured_template(const qzs_session* session, float* uv, std::size_t count,
                                  qzs_positions* positions) {
    if (session == nullptr) return 0;
    return WithoutExceptions(std::size_t{0}, [&] {
        const qz::MeasuredBeat beat = session->session.Measured();
        CopyPositions(beat.positions, positions);
        return CopyRows(beat.Rows(), uv, count);
    });
}

bool qzs_get_positions(const qzs_session* session, qzs_positions* positions) {
    return session != nullptr && CopyPositions(session->session.Positions(), positions);
}

bool qzs_get_measured_positions(const qzs_session* session, qzs_positions* positions) {
    return session != nullptr && CopyPositions(session->session.MeasuredPositions(), positions);
}

std::size_t qzs_learned_beat(const qzs_session* session, qzs_beat* beat, std::int16_t* rows,
                             std::size_t count) {
    if (session == nullptr || !session->events.Learned()) return 0;
    const qz::LearnedBeat& learned = *session->events.Learned();
    if (beat != nullptr) {
        *beat = {learned.length,     learned.posR,      learned.posQ,        learned.posJ,
                 learned.beatsFound, learned.beatsUsed, learned.fromSeconds, learned.likeness,
                 /* usable */ 0,     learned.confident};
        for (std::size_t lead = 0; lead < session->leads; ++lead)
            beat->usable |= std::uint64_t{learned.usable[lead]} << lead;
    }
    const std::size_t samples = session->leads * static_cast<std::size_t>(learned.length);
    if (rows != nullptr && count >= samples)
        for (const std::vector<short>& row : learned.rows) rows = std::copy(row.begin(), row.end(), rows);
    return samples;
}

double qzs_delay_ms(const qzs_session* session) {
    return session == nullptr ? 0 : session->session.DelayMs();
}

std::size_t qzs_conditioning(const qzs_session* session, char* text, std::size_t size) {
    return session == nullptr ? 0 : CopyText(session->session.Conditioning(), text, size);
}
