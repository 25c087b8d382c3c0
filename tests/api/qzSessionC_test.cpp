// Sessions behind handles: they tell what the C++ class tells, no event is lost however late it is fetched,
// and nothing that a caller may hand in does harm.
#include "api/qzSessionC.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "session/StressSession.h"
#include "tests/support/Beats.h"

namespace {

constexpr std::size_t kSessionFs = 250, kSessionLeads = 2;

/// Beats of a changing form, and a lead that comes off.
Recording Beats(unsigned seed) {
    Recording recording = BeatTrain(kSessionFs, kSessionLeads)
                              .Noise(8, seed)
                              .Beats(500, 60)
                              .Form({1.0, -0.2, 900})
                              .Beats(400, 300)
                              .Record();
    for (std::size_t i = 40 * kSessionFs; i < 44 * kSessionFs; ++i) recording.Frame(i)[1] = 0;
    return recording;
}

qzs_options Options() {
    qzs_options options;
    qzs_options_init(&options, sizeof options);
    options.fs = kSessionFs;
    options.leads = kSessionLeads;
    return options;
}

using Log = std::vector<double>;

bool Same(const Log& a, const Log& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), SameValue);
}

struct Witness : qz::SessionObserver {
    void OnInterval(const qz::IntervalEvent& interval) override {
        Add({1, interval.seconds, interval.bpm, interval.rrMs, 1.0 + static_cast<int>(interval.beatClass),
             interval.votedBpm});
    }
    void OnBeat(const qz::BeatEvent& beat) override {
        Add({2, beat.seconds, beat.bpm, beat.rrMs, 1.0 + static_cast<int>(beat.beatClass), beat.shape + 0.0,
             beat.qMs, beat.jMs});
        for (const auto* values : {&beat.levelUv, &beat.slopeUvPerMs, &beat.jUv})
            log.insert(log.end(), values->begin(), values->end());
        for (const qz::STMeasure& st : beat.st)
            Add({st.levelUv, st.slopeUvPerMs, st.jUv, st.j20Uv, st.j60Uv, st.j80Uv, st.isOnT + 0.0,
                 static_cast<double>(st.shape)});
        log.push_back(beat.stPointMs);
    }
    void OnLead(const qz::LeadEvent& event) override {
        Add({3.0 + static_cast<int>(event.kind), event.seconds, static_cast<double>(event.lead)});
        if (event.kind == qz::LeadEvent::Kind::Off) log.push_back(event.voidFromSeconds);
    }
    void OnLearned(const qz::LearnedBeat&, double from, bool again) override { Add({7, from, again + 0.0}); }
    void OnQuality(const qz::QualityEvent& event) override {
        Add({9, event.seconds, std::numeric_limits<double>::quiet_NaN()});
        log.insert(log.end(), event.quality.begin(), event.quality.end());
    }
    void Add(const Log& values) { log.insert(log.end(), values.begin(), values.end()); }

    Log log;
};

/// The next event in the same words; false where none waits.
bool Fetch(qzs_session* session, Log& log) {
    qzs_event event;
    if (!qzs_next_event(session, &event, sizeof event)) return false;
    log.insert(log.end(), {event.kind + 0.0, event.seconds});
    float values[4 * kSessionLeads], st[5 * kSessionLeads];
    double pointMs = 0;
    std::int32_t shapes[kSessionLeads];
    bool isOnT[kSessionLeads] = {true, true};
    EXPECT_FALSE(qzs_event_values(session, values, nullptr, nullptr, kSessionLeads + 1));
    EXPECT_EQ(
        qzs_event_values(session, values, values + kSessionLeads, values + 2 * kSessionLeads, kSessionLeads),
        event.kind == QZS_BEAT);
    EXPECT_EQ(qzs_event_st(session, values + 3 * kSessionLeads, &pointMs, kSessionLeads),
              event.kind == QZS_BEAT);
    EXPECT_FALSE(qzs_event_st(session, values, &pointMs, kSessionLeads - 1));
    EXPECT_EQ(qzs_event_st_after_j(session, st + kSessionLeads, st + 2 * kSessionLeads,
                                   st + 3 * kSessionLeads, st + 4 * kSessionLeads, kSessionLeads),
              event.kind == QZS_BEAT);
    EXPECT_FALSE(qzs_event_st_after_j(session, values, values, values, values, kSessionLeads + 1));
    EXPECT_EQ(qzs_event_st_slope(session, st, shapes, isOnT, kSessionLeads), event.kind == QZS_BEAT);
    EXPECT_FALSE(qzs_event_st_slope(session, values, shapes, isOnT, kSessionLeads - 1));
    EXPECT_FALSE(qzs_event_quality(session, values, kSessionLeads + 1));
    EXPECT_EQ(qzs_event_quality(session, values, kSessionLeads), event.kind == QZS_QUALITY);
    log.push_back(event.lead >= 0 ? event.lead : event.kind == QZS_LEARNED ? event.again : event.bpm);
    if (event.kind == QZS_INTERVAL || event.kind == QZS_BEAT)
        log.insert(log.end(), {event.rr_ms, event.beat_class + 0.0});
    if (event.kind == QZS_INTERVAL) log.push_back(event.voted_bpm);
    if (event.kind == QZS_LEAD_OFF) log.push_back(event.void_from_seconds);
    if (event.kind == QZS_BEAT) {
        log.insert(log.end(), {event.shape + 0.0, event.q_ms, event.j_ms});
        log.insert(log.end(), values, values + 3 * kSessionLeads);
        for (std::size_t lead = 0; lead < kSessionLeads; ++lead) {
            log.push_back(values[3 * kSessionLeads + lead]);
            for (std::size_t k = 0; k < 5; ++k) log.push_back(st[k * kSessionLeads + lead]);
            log.insert(log.end(), {isOnT[lead] + 0.0, shapes[lead] + 0.0});
        }
        log.push_back(pointMs);
    }
    if (event.kind == QZS_QUALITY) log.insert(log.end(), values, values + kSessionLeads);
    return true;
}

TEST(qzSessionC, TellsWhatTheClassTellsWhereTwoRunAtOnceAndEventsWait) {
    Recording recordings[] = {Beats(1), Beats(2)};
    const qzs_options options = Options();
    qzs_options limited = options;
    limited.st_rate_limit = 60;
    limited.paced = limited.comb = true;
    qzs_session* const sessions[] = {qzs_create(&options), qzs_create(&limited)};
    Log logs[2];
    // The second one has points set by hand from 45 s on, and some of them given back at 60 s.
    const std::size_t changes[] = {0, 45 * kSessionFs, 60 * kSessionFs, recordings[0].Frames()};
    constexpr double kOwn = std::numeric_limits<double>::quiet_NaN();
    std::size_t fed[2] = {}, stops = 0;
    for (std::size_t k = 0; fed[k] < recordings[k].Frames(); k = 1 - k) {  // of the same length
        if (k == 1 && fed[k] == changes[1]) {
            EXPECT_TRUE(qzs_set_points(sessions[k], -60, 50, 100));
            EXPECT_FALSE(qzs_set_points(sessions[k], 50, -60, 100)) << "Q and J in the wrong order";
        }
        EXPECT_TRUE(k == 0 || fed[k] != changes[2] || qzs_set_points(sessions[k], kOwn, 40, kOwn));
        const std::size_t left = *std::upper_bound(changes + (k == 0 ? 3 : 1), changes + 3, fed[k]) - fed[k];
        const std::size_t taken = qzs_push(sessions[k], recordings[k].Frame(fed[k]), left);
        ASSERT_GT(taken, 0U);
        fed[k] += taken;
        stops += taken < left && qzs_push(sessions[k], recordings[k].Frame(fed[k]), 1) == 0;
        while (Fetch(sessions[k], logs[k])) continue;
    }
    EXPECT_GE(stops, 4U) << "twice 700 events and more, of which 256 wait";
    for (std::size_t k = 0; k < 2; ++k) {
        Witness witness;
        qz::SessionOptions same;
        same.fs = kSessionFs;
        same.leads.resize(kSessionLeads);
        if (k == 1) same.stRateLimitBpm = limited.st_rate_limit;
        same.isPaced = same.conditioning.comb = k == 1;
        qz::StressSession session(same, witness);
        session.Push(recordings[k].Frame(0), changes[1]);
        EXPECT_TRUE(k == 0 || session.SetPoints({-60, 50, 100}));
        session.Push(recordings[k].Frame(changes[1]), changes[2] - changes[1]);
        EXPECT_TRUE(k == 0 || session.SetPoints({{}, 40, {}}));
        session.Push(recordings[k].Frame(changes[2]), changes[3] - changes[2]);
        session.Finish();
        qzs_finish(sessions[k]);
        EXPECT_EQ(qzs_push(sessions[k], recordings[k].Frame(0), 5), 0U);
        while (Fetch(sessions[k], logs[k])) continue;
        for (const qz::BeatPositionsMs& at : {session.Positions(), session.MeasuredPositions()})
            witness.Add({at.length, at.q, at.r, at.j});
        EXPECT_NE(session.Positions().q, session.MeasuredPositions().q) << "or it would prove nothing";
        for (const auto get : {qzs_get_positions, qzs_get_measured_positions}) {
            qzs_positions at = {};
            EXPECT_TRUE(get(sessions[k], &at));
            logs[k].insert(logs[k].end(), {at.length, at.q, at.r, at.j});
        }
        EXPECT_TRUE(Same(logs[k], witness.log)) << logs[k].size() << " " << witness.log.size();
        const std::vector<float> row = session.Template()[1];
        std::vector<float> uv(qzs_template(sessions[k], nullptr, 0));
        qzs_template(sessions[k], uv.data(), uv.size() - 1);
        EXPECT_EQ(uv[row.size()], 0) << "no room";
        qzs_template(sessions[k], uv.data(), uv.size());
        EXPECT_TRUE(std::equal(row.rbegin(), row.rend(), uv.rbegin()));
        const qz::MeasuredBeat means = session.Measured();
        qzs_positions at = {};
        uv.assign(qzs_measured_template(sessions[k], nullptr, 0, &at), 0);
        qzs_measured_template(sessions[k], uv.data(), uv.size(), nullptr);
        EXPECT_TRUE(at.j > 0 && at.j == means.positions.j);
        const std::vector<float> mean = means.Rows()[1];
        ASSERT_EQ(uv.size(), kSessionLeads * mean.size());
        EXPECT_TRUE(std::equal(mean.rbegin(), mean.rend(), uv.rbegin()));
        qzs_free(sessions[k]);
    }
}

TEST(qzSessionC, TakesOverTheBeatOfAnotherSession) {
    Recording recording = Beats(3);
    qzs_options options = Options();
    std::vector<short> rows[2];
    qzs_beat beats[2] = {};
    for (std::size_t k = 0; k < 2; ++k) {
        qzs_session* const session = qzs_create(&options);
        qzs_push(session, recording.Frame(0), k == 0 ? 30 * kSessionFs : 1);
        rows[k].resize(qzs_learned_beat(session, &beats[k], nullptr, 0));
        qzs_learned_beat(session, nullptr, rows[k].data(), rows[k].size());
        qzs_free(session);
        options.beat = beats;
        options.beat_rows = rows[0].data();
        options.beat_count = rows[0].size();
    }
    EXPECT_EQ(rows[0].size(), kSessionLeads * static_cast<std::size_t>(beats[0].length));
    EXPECT_EQ(rows[1], rows[0]);
    EXPECT_TRUE(beats[1].posQ == beats[0].posQ && beats[1].posJ == beats[0].posJ && beats[1].usable == 3);
    --options.beat_count;
    EXPECT_EQ(qzs_create(&options), nullptr);
}

TEST(qzSessionC, KeepsTheConditionedFramesOfTheClassUntilTheyAreFetched) {
    struct : qz::SessionObserver {
        void OnConditioned(const short* uV, double time) override {
            frames.insert(frames.end(), uV, uV + kSessionLeads);
            seconds.push_back(time);
        }
        std::vector<short> frames;
        std::vector<double> seconds;
    } told;
    Recording recording = BeatTrain(kSessionFs, kSessionLeads).Noise(8, 4).Beats(500, 60).Record();
    qz::SessionOptions same;
    same.fs = kSessionFs;
    same.leads.resize(kSessionLeads);
    same.conditioning.comb = true;  // delays by many frames
    qz::StressSession reference(same, told);
    const auto delay = static_cast<std::size_t>(std::lround(reference.DelayMs() * kSessionFs / 1000));
    // Frames are kept in blocks of 512: among those that the end of the session brings another one begins.
    recording.samples.resize((14 * 512 + delay - 9) * kSessionLeads);
    reference.Push(recording.samples.data(), recording.Frames());
    reference.Finish();

    qzs_options options = Options();
    options.conditioned = options.comb = true;
    qzs_session* const session = qzs_create(&options);
    std::vector<short> fetched;
    const auto fetch = [&](std::size_t count) {
        std::vector<short> frames(count * kSessionLeads);
        double seconds = -1;
        const std::size_t before = fetched.size() / kSessionLeads;
        frames.resize(kSessionLeads * qzs_conditioned(session, frames.data(), count, &seconds));
        EXPECT_EQ(seconds, before < told.seconds.size() ? told.seconds[before] : -1);
        fetched.insert(fetched.end(), frames.begin(), frames.end());
    };
    const auto waiting = [&] { return qzs_conditioned(session, nullptr, 9, nullptr); };
    std::size_t fed = qzs_push(session, recording.Frame(0), recording.Frames());
    EXPECT_TRUE(fed == delay + 4096 && waiting() == 4096);
    fetch(1500);
    EXPECT_EQ(qzs_push(session, recording.Frame(fed), recording.Frames() - fed), 1500U);
    fed += 1500;
    const std::size_t left = recording.Frames() - fed;
    fetch(left);
    EXPECT_TRUE(qzs_push(session, recording.Frame(fed), left) == left && waiting() == 4096);
    qzs_finish(session);
    fetch(9999);
    fetch(1);  // none waits
    EXPECT_EQ(fetched, told.frames);
    qzs_free(session);
}

TEST(qzSessionC, RefusesWhatIsNotRightSaysWhyAndTakesNull) {
    qzs_options options = Options(), unset = Options(), older = Options();
    unset.fs = 0;
    older.size -= 1;
    char text[8] = "x";
    EXPECT_TRUE(qzs_refusal(&options, text, sizeof text) == 0 && *text == '\0');
    for (const qzs_options* refused : {&unset, &older, static_cast<qzs_options*>(nullptr)}) {
        EXPECT_EQ(qzs_create(refused), nullptr);
        EXPECT_GT(qzs_refusal(refused, text, sizeof text), sizeof text);
        EXPECT_EQ(std::string(text).size(), sizeof text - 1);
        EXPECT_GT(qzs_refusal(refused, nullptr, 5), 0U);
    }
    EXPECT_FALSE(qzs_options_init(&older, sizeof older + 8) || qzs_options_init(nullptr, sizeof older));
    for (qzs_session* session : {static_cast<qzs_session*>(nullptr), qzs_create(&options)}) {
        const bool bThere = session != nullptr;
        qzs_event event;
        EXPECT_FALSE(qzs_push(session, nullptr, 5) > 0 || qzs_next_event(session, nullptr, sizeof event) ||
                     qzs_next_event(session, &event, sizeof event) ||
                     qzs_event_values(session, nullptr, nullptr, nullptr, 2) ||
                     qzs_event_st(session, nullptr, nullptr, 2) || qzs_event_quality(session, nullptr, 2) ||
                     qzs_conditioned(session, nullptr, 9, nullptr) > 0 ||
                     qzs_event_st_after_j(session, nullptr, nullptr, nullptr, nullptr, 2) ||
                     qzs_event_st_slope(session, nullptr, nullptr, nullptr, 2) ||
                     qzs_get_positions(session, nullptr) || qzs_get_measured_positions(session, nullptr) ||
                     qzs_template(session, nullptr, 9) > 0 ||
                     qzs_measured_template(session, nullptr, 9, nullptr) > 0 ||
                     qzs_learned_beat(session, nullptr, nullptr, 0) > 0);
        qzs_finish(session);
        EXPECT_FALSE(qzs_next_event(session, &event, sizeof event - 1));
        EXPECT_EQ(qzs_next_event(session, &event, sizeof event), bThere);
        EXPECT_EQ(qzs_event_text(session, text, sizeof text) > 0, bThere);
        EXPECT_EQ(qzs_delay_ms(session) > 0, bThere);
        EXPECT_EQ(qzs_conditioning(session, text, sizeof text) > sizeof text, bThere);
        EXPECT_EQ(qzs_set_points(session, -200, 250, 200), bThere);
        qzs_free(session);
    }
}

}  // namespace
