// The session of Python: events as rows of bytes, which qzstress/session.py reads as a structured array.
#include "session/StressSession.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "python/src/Arrays.h"
#include "python/src/Beats.h"
#include "python/src/Module.h"

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

enum class Kind : std::int32_t {
    Interval = 1,
    Beat,
    LeadOff,
    LeadOn,
    Disturbed,
    Calm,
    Learned,
    NotLearned,
    Quality,
};

/// The part of an event that does not grow with the leads. The dtype of session.py has the same layout.
struct EventHead {
    double seconds, bpm, votedBpm, rrMs, stPointMs, qMs, jMs, voidFromSeconds;
    Kind kind;
    std::int32_t lead, beatClass, shape;
    std::int64_t again;
};
static_assert(sizeof(EventHead) == 88);

/// Behind the head: for each figure one float per lead, in this order.
enum Figure { Level, Slope, JLevel, STLevel, STSlope, STJ, ST20, ST60, ST80, Quality, kFigures };
/// Behind these for each one whole number per lead. The float that is here has its bits.
enum Number { Shape = kFigures, OnT, kNumbers };

/// Events of a session as rows, until they are fetched. The session allows no exception out of it: where
/// memory runs out, that is kept for the caller.
class Rows : public qz::SessionObserver {
public:
    Rows(std::size_t leads, bool conditioned) : m_leads(leads), m_keepsConditioned(conditioned) {}

    void OnConditioned(const short* uV, double seconds) override {
        m_now = seconds;
        if (m_keepsConditioned) Keep([&] { m_conditioned.insert(m_conditioned.end(), uV, uV + m_leads); });
    }
    void OnInterval(const qz::IntervalEvent& interval) override {
        EventHead head = Head(Kind::Interval, interval.seconds);
        head.bpm = interval.bpm;
        head.votedBpm = interval.votedBpm;
        head.rrMs = interval.rrMs;
        head.beatClass = static_cast<std::int32_t>(interval.beatClass) + 1;
        Keep([&] { AddRow(head); });
    }
    void OnBeat(const qz::BeatEvent& beat) override {
        EventHead head = Head(Kind::Beat, beat.seconds);
        head.bpm = beat.bpm;
        head.rrMs = beat.rrMs;
        head.stPointMs = beat.stPointMs;
        head.qMs = beat.qMs;
        head.jMs = beat.jMs;
        head.beatClass = static_cast<std::int32_t>(beat.beatClass) + 1;
        head.shape = beat.shape;
        Keep([&] {
            float* const figures = AddRow(head);
            for (std::size_t lead = 0; lead < m_leads; ++lead) {
                const auto set = [&](Figure figure, float value) {
                    figures[figure * m_leads + lead] = value;
                };
                const qz::STMeasure& st = beat.st[lead];
                set(Level, beat.levelUv[lead]);
                set(Slope, beat.slopeUvPerMs[lead]);
                set(JLevel, beat.jUv[lead]);
                set(STLevel, st.levelUv);
                set(STSlope, st.slopeUvPerMs);
                set(STJ, st.jUv);
                set(ST20, st.j20Uv);
                set(ST60, st.j60Uv);
                set(ST80, st.j80Uv);
                const std::int32_t shape = static_cast<std::int32_t>(st.shape), onT = st.isOnT;
                std::memcpy(&figures[Shape * m_leads + lead], &shape, sizeof shape);
                std::memcpy(&figures[OnT * m_leads + lead], &onT, sizeof onT);
            }
        });
    }
    void OnLead(const qz::LeadEvent& event) override {
        EventHead head = Head(KindOf(event.kind), event.seconds);
        head.lead = static_cast<std::int32_t>(event.lead);
        if (event.kind == qz::LeadEvent::Kind::Off) head.voidFromSeconds = event.voidFromSeconds;
        Keep([&] { AddRow(head); });
    }
    void OnQuality(const qz::QualityEvent& event) override {
        const EventHead head = Head(Kind::Quality, event.seconds);
        Keep([&] { std::copy_n(event.quality.begin(), m_leads, AddRow(head) + Quality * m_leads); });
    }
    void OnLearned(const qz::LearnedBeat& beat, double fromSeconds, bool again) override {
        EventHead head = Head(Kind::Learned, fromSeconds);
        head.again = again;
        Keep([&] {
            learned = beat;
            AddRow(head);
        });
    }
    void OnNotLearned(const std::string& why) override {
        Keep([&] {
            notLearned = why;
            AddRow(Head(Kind::NotLearned, m_now));
        });
    }

    std::size_t RowBytes() const { return sizeof(EventHead) + kNumbers * m_leads * sizeof(float); }
    std::vector<std::uint8_t> Take() { return std::exchange(m_rows, {}); }
    std::vector<std::int16_t> TakeConditioned() { return std::exchange(m_conditioned, {}); }
    /// Throws once if an event was lost for want of memory.
    void CheckMemory() {
        if (std::exchange(m_isMemoryShort, false)) throw std::bad_alloc();
    }

    std::optional<qz::LearnedBeat> learned;
    std::optional<std::string> notLearned;

private:
    static EventHead Head(Kind kind, double seconds) {
        return {seconds, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kind, -1, 0, -1, 0};
    }
    static Kind KindOf(qz::LeadEvent::Kind kind) {
        switch (kind) {
            case qz::LeadEvent::Kind::Off: return Kind::LeadOff;
            case qz::LeadEvent::Kind::On: return Kind::LeadOn;
            case qz::LeadEvent::Kind::Disturbed: return Kind::Disturbed;
            case qz::LeadEvent::Kind::Calm: break;
        }
        return Kind::Calm;
    }
    /// Appends a row without figures, its numbers 0, and returns where they are.
    float* AddRow(const EventHead& head) {
        const std::size_t begin = m_rows.size();
        m_rows.resize(begin + RowBytes());
        std::memcpy(m_rows.data() + begin, &head, sizeof head);
        auto* const figures = reinterpret_cast<float*>(m_rows.data() + begin + sizeof head);
        std::fill_n(figures, kFigures * m_leads, std::numeric_limits<float>::quiet_NaN());
        return figures;
    }
    template <typename Call>
    void Keep(Call call) {
        try {
            call();
        } catch (const std::bad_alloc&) {
            m_isMemoryShort = true;
        }
    }

    std::size_t m_leads;
    bool m_keepsConditioned;
    bool m_isMemoryShort = false;
    double m_now = 0;  // seconds of the latest conditioned frame
    std::vector<std::uint8_t> m_rows;
    std::vector<std::int16_t> m_conditioned;
};

class Session {
public:
    Session(const qz::SessionOptions& options, bool conditioned)
        : m_leads(options.leads.size()), m_rows(m_leads, conditioned), m_session(options, m_rows) {}

    nb::ndarray<nb::numpy, std::uint8_t> Push(const Frames& frames) {
        CheckLeads(frames, m_leads);
        const Turn turn(m_isBusy);
        if (m_isFinished) throw std::runtime_error("the session has been finished: begin another one");
        const std::int16_t* next = frames.data();
        bool isStopped = false;
        {
            const nb::gil_scoped_release free;
            auto left = static_cast<long long>(frames.shape(0));
            while (left > 0 && !isStopped) {
                const long long count = std::min(left, kFramesPerStopCheck);
                m_session.Push(next, static_cast<std::size_t>(count));
                next += count * static_cast<long long>(m_leads);
                left -= count;
                isStopped = left > 0 && IsStopAsked();
            }
        }
        if (isStopped) throw nb::python_error();
        return Events();
    }
    nb::ndarray<nb::numpy, std::uint8_t> Finish() {
        const Turn turn(m_isBusy);
        if (!std::exchange(m_isFinished, true)) {
            const nb::gil_scoped_release free;
            m_session.Finish();
        }
        return Events();
    }
    bool SetPoints(std::optional<double> qMs, std::optional<double> jMs, std::optional<double> stMs) {
        const Turn turn(m_isBusy);
        return m_session.SetPoints({qMs, jMs, stMs});
    }
    nb::ndarray<nb::numpy, std::int16_t> Conditioned() {
        const Turn turn(m_isBusy);
        std::vector<std::int16_t> frames = m_rows.TakeConditioned();
        const std::size_t count = frames.size() / m_leads;
        return ToArray(std::move(frames), {count, m_leads});
    }
    nb::object Learned() {
        const Turn turn(m_isBusy);
        return m_rows.learned ? nb::object(BeatToDict(*m_rows.learned)) : nb::none();
    }
    std::optional<std::string> NotLearned() {
        const Turn turn(m_isBusy);
        return m_rows.notLearned;
    }
    nb::ndarray<nb::numpy, float> Template() {
        const Turn turn(m_isBusy);
        const std::vector<std::vector<float>> rows = m_session.Template();
        return RowsToArray(rows, m_leads);
    }
    /// The means, and their points in them.
    std::pair<nb::ndarray<nb::numpy, float>, std::vector<double>> Measured() {
        const Turn turn(m_isBusy);
        const qz::MeasuredBeat beat = m_session.Measured();
        const qz::BeatPositionsMs& at = beat.positions;
        return {RowsToArray(beat.Rows(), m_leads), {at.length, at.q, at.r, at.j}};
    }
    std::vector<double> Positions(bool isMeasured) {
        const Turn turn(m_isBusy);
        const qz::BeatPositionsMs at = isMeasured ? m_session.MeasuredPositions() : m_session.Positions();
        return {at.length, at.q, at.r, at.j};
    }
    double DelayMs() const { return m_session.DelayMs(); }
    std::string Conditioning() const { return m_session.Conditioning(); }
    long long FramesTaken() {
        const Turn turn(m_isBusy);
        return m_session.Frames();
    }

private:
    nb::ndarray<nb::numpy, std::uint8_t> Events() {
        m_rows.CheckMemory();
        std::vector<std::uint8_t> rows = m_rows.Take();
        const std::size_t count = rows.size() / m_rows.RowBytes();
        return ToArray(std::move(rows), {count, m_rows.RowBytes()});
    }

    std::size_t m_leads;
    std::atomic<bool> m_isBusy = false;
    bool m_isFinished = false;
    Rows m_rows;
    qz::StressSession m_session;
};

}  // namespace

void AddSession(nb::module_& module) {
    nb::class_<Session>(module, "Session")
        .def(
            "__init__",
            [](Session* self, int fs, std::size_t leads, double uVpb, int mainsHz, int lowpassHz, int smooth,
               bool comb, int postJms, double rateLimitBpm, bool isPaced, const nb::object& beat,
               bool conditioned) {
                qz::SessionOptions options;
                options.fs = fs;
                options.uVpb = uVpb;
                options.leads.resize(std::min<std::size_t>(leads, kMostLeads + 1));
                options.conditioning = {mainsHz, lowpassHz, smooth, comb};
                options.postJms = postJms;
                options.stRateLimitBpm = rateLimitBpm;
                options.isPaced = isPaced;
                if (!beat.is_none()) options.beat = BeatFromDict(nb::cast<nb::dict>(beat));
                new (self) Session(options, conditioned);
            },
            nb::arg("fs"), nb::arg("leads"), nb::arg("uv_per_bit"), nb::arg("mains_hz"),
            nb::arg("lowpass_hz"), nb::arg("smooth"), nb::arg("comb"), nb::arg("post_j_ms"),
            nb::arg("st_rate_limit_per_min"), nb::arg("paced"), nb::arg("beat").none(),
            nb::arg("conditioned"))
        .def("push", &Session::Push, nb::arg("frames").noconvert())
        .def("finish", &Session::Finish)
        .def("set_points_ms", &Session::SetPoints, nb::arg("q").none(), nb::arg("j").none(),
             nb::arg("st").none())
        .def("conditioned", &Session::Conditioned)
        .def("learned", &Session::Learned)
        .def("not_learned", &Session::NotLearned)
        .def("template", &Session::Template)
        .def("measured", &Session::Measured)
        .def("positions_ms", &Session::Positions, nb::arg("measured"))
        .def("delay_ms", &Session::DelayMs)
        .def("conditioning", &Session::Conditioning)
        .def("frames", &Session::FramesTaken);
}
