// LiveSource: a signal that comes as it is measured, with its time kept.
//
// Frames are whole and follow each other without a hole: where the source gave none, frames of kMissing
// stand, as many as the time is long. So the place of a frame in the test is its time, whatever happens to a
// cable.
#pragma once

#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/record/FrameSource.h"
#include "host/record/RecordOptions.h"

/// A sample that the source did not give; WFDB marks it so too.
constexpr short kMissing = std::numeric_limits<short>::min();

struct LiveStatus {
    bool isThere = true;    // false: the source gives nothing, and time goes on
    std::string what = {};  // what became of the source last, for people, one line; empty: nothing did
    double measuredHz = 0;  // at which frames come where that is more than 2 % off the rate; else 0
};

class LiveSource {
public:
    /// Signal that one call of Read gives at the most, s, so that commands are heard meanwhile.
    static constexpr double kMostSecondsAtOnce = 10;
    virtual ~LiveSource() = default;
    virtual const SourceInfo& Info() const = 0;
    /// A test that was left goes on: it has `frames` frames, the latest of them `secondsAgo` old, and what
    /// comes first is put behind a gap of that length. Called at most once, before Read.
    virtual void GoOn(long long frames, double secondsAgo) = 0;
    /// Appends what has come, whole frames; waits up to `wait` for the first of them. False at the end of the
    /// source, with its last frames. Throws HostError, with the frames before, where it cannot be read on.
    [[nodiscard]] virtual bool Read(std::vector<short>& frames, std::chrono::milliseconds wait) = 0;
    virtual LiveStatus Status() const = 0;
};

/// A recording or a simulation at `speed` times the pace of the patient. A test that goes on finds the
/// patient as far on as the time is.
class PacedSource : public LiveSource {
public:
    PacedSource(std::unique_ptr<FrameSource> source, double speed);
    const SourceInfo& Info() const override { return m_source->Info(); }
    void GoOn(long long frames, double secondsAgo) override;
    bool Read(std::vector<short>& frames, std::chrono::milliseconds wait) override;
    LiveStatus Status() const override { return {}; }

private:
    long long Due() const;

    std::unique_ptr<FrameSource> m_source;
    double m_speed;
    std::chrono::steady_clock::time_point m_start;  // of the first frame that is given
    long long m_given = 0;                          // frames since then
    long long m_missing = 0;                        // frames to be given before those of the source
    bool m_hasBegun = false;
};

/// Opens what `name` tells: "sim", the simulated test; "-", the standard input; "tcp://HOST:PORT" and
/// "listen://HOST:PORT", a device; else a recording, played at `speed`. A device tells rate, leads and scale
/// in the first line that it sends, unless `reading.raw` tells them. Waits for the first device. Throws
/// HostError.
std::unique_ptr<LiveSource> OpenLive(const std::string& name, const RecordOptions& reading, double speed);
