// LiveTest: one test while it is taken: frames and commands in, what is known of it out.
//
//   frames -> gaps, missing samples held -> [10 s for the mains] -> StressSession -> State, Beats, trend
//   commands -> stages, marks, reference, alarms
//
// The session gets what an analysis of the kept recording gives it, to the bit: the same frames, conditioned
// for the mains of the same ten seconds. The same frames and commands in the same order make the same state;
// so a test that was left goes on by taking all that was kept again.
//
// Memory is bounded, however long the test. One object belongs to one thread.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "host/analysis/StressAnalysis.h"
#include "host/live/LiveState.h"
#include "host/live/StageClock.h"
#include "host/record/FrameSource.h"
#include "session/StressSession.h"

class LiveTest : private qz::SessionObserver {
public:
    /// Throws HostError for options that do not fit.
    LiveTest(const SourceInfo& info, const StressOptions& analysis, const std::string& protocol);
    ~LiveTest() override;

    /// Whole frames; a frame of kMissing alone is a gap.
    void Take(const short* frames, std::size_t count);
    /// False where it does not fit the state of the test: nothing is done then.
    bool Do(const live::Command& command);
    /// Raises or clears an alarm whose cause is outside the signal.
    void SetAlarm(live::Alarm::Kind kind, bool isActive);
    /// The signal has ended.
    void Finish();

    const SourceInfo& Info() const { return m_info; }
    const live::State& State() const { return m_state; }
    /// The averaged beats as they are now; empty before there is one.
    live::Beats Beats() const;
    const live::Finds& Finds() const { return m_finds; }
    /// Beats within a stretch, the second moment not included.
    std::vector<live::BeatMark> BeatMarks(double fromSeconds, double toSeconds) const;
    /// ST levels that changes are against, per lead, uV; empty: none yet.
    const std::vector<float>& ReferenceUv() const { return m_referenceUv; }
    /// Those of the session; empty before it has begun.
    const std::optional<qz::SessionOptions>& SessionOptions() const { return m_sessionOptions; }
    /// Where ST is measured.
    STPointRule STPoint() const;
    /// What happened since the last call; at most kMostEvents.
    std::vector<live::Event> TakeEvents();
    /// Beats found since the last call, the latest kMostEvents of them at the most.
    std::vector<live::BeatMark> TakeBeatMarks();
    /// In order of time. Rows are kTrendSeconds apart, and further where the test is long.
    const std::vector<live::TrendRow>& Trend() const { return m_trend; }
    static constexpr double kTrendSeconds = 5;
    static constexpr std::size_t kMostTrendRows = 2048, kMostEvents = 4096;
    static constexpr std::size_t kMostBeats = 1 << 18;  // whose marks are kept: of 29 hours at 150/min

private:
    struct Levels {
        double seconds = 0;
        std::vector<float> uV;  // per lead, at the points in force
    };
    // Where it is measured, ms from R of the averaged beat.
    struct Points {
        double q = 0, j = 0, st = 0;
    };

    void OnInterval(const qz::IntervalEvent& interval) override;
    void OnBeat(const qz::BeatEvent& beat) override;
    void OnLead(const qz::LeadEvent& event) override;
    void OnQuality(const qz::QualityEvent& event) override;
    void OnLearned(const LearnedBeat& beat, double fromSeconds, bool again) override;
    void OnNotLearned(const std::string& why) override;

    void TakeFrame(const short* frame);
    void BeginSession();
    void Tell(live::Event::Kind kind, const std::string& text = {}, const std::string& lead = {},
              double value = live::kUnknown);
    void Raise(live::Alarm::Kind kind, bool isActive, const std::string& lead = {},
               double value = live::kUnknown);
    void TellStages();
    void SetReference(double fromSeconds, double toSeconds);
    bool MovePoint(const live::Command& command);
    void TakePoints(const Points& now);
    void ShowLevels();
    bool IsEngine() const { return m_analysis.stPoint.postJms && !m_state.byHand.IsAny(); }
    qz::MeasuredBeat Beat() const;
    std::vector<float> LevelsAt(const qz::MeasuredBeat& beat, const Points& points) const;
    void AddTrendRow();
    std::string At(const std::string& text) const;

    SourceInfo m_info;
    StressOptions m_analysis;
    StageClock m_stages;
    live::State m_state;
    std::optional<qz::SessionOptions> m_sessionOptions;
    std::optional<qz::StressSession> m_session;
    std::vector<short> m_ahead;  // frames before the session begins
    std::vector<short> m_held;   // the frame before, that missing samples repeat
    std::vector<bool> m_isOffTold;
    bool m_isGap = false;
    long long m_gapFrames = 0, m_allGapFrames = 0;  // of the gap that goes on, and of all
    std::deque<Levels> m_recent;                    // ST levels of the latest beats
    Points m_points;                                // of the latest of them
    bool m_arePointsMoved = false;                  // by hand, and no beat has come since
    std::vector<float> m_referenceUv;               // levels likewise, per lead; empty: none yet
    qz::MeasuredBeat m_referenceBeat;               // when the reference was set
    double m_firstSTSeconds = live::kUnknown;
    double m_rateSeconds = 0;  // of the latest heart rate
    bool m_isReferenceFixed = false;
    int m_run = 0;  // ventricular beats in a row, up to now
    int m_alarms = 0;
    std::vector<live::Event> m_events;
    std::vector<live::BeatMark> m_beatMarks;  // the first kMostBeats
    std::size_t m_toldMarks = 0;              // of them
    live::Finds m_finds;
    std::vector<live::TrendRow> m_trend;
    double m_trendSeconds = kTrendSeconds, m_nextTrendSeconds = 0;
};
