// BeatMarker: marks every heart beat while an analysis runs, for annotation files and for scoring.
//
// Beats are found by the library's detectors and their vote over the leads, which tells a beat's RR when the
// next beat is found: a mark is therefore set one beat late. Where the engine has matched a beat, its R is
// exact and the mark is moved there.
#pragma once

#include <cstddef>
#include <vector>

#include "core/detect/CMultirtRRdetect.h"
#include "host/analysis/AnalysisObserver.h"
#include "host/record/Annotations.h"
#include "host/record/FrameSource.h"

class BeatMarker : public AnalysisObserver {
public:
    /// `info` holds the facts of the source.
    explicit BeatMarker(const SourceInfo& info);
    void OnConditioned(const short* uV, double seconds) override;
    void OnBeat(const STReading& beat) override;

    /// The beats so far, all marked normal, at `perSecond` steps per second; complete after the run.
    std::vector<Annotation> Annotations(double perSecond) const;

private:
    int m_fs;
    CMultirtRRdetect m_detector;
    double m_lastAnswer = -1;       // when the detector last answered, seconds; below 0: never
    bool m_isReckoned = false;      // the latest of m_found is reckoned, not detected
    std::vector<double> m_found;    // beats by the detectors, seconds
    std::vector<double> m_matched;  // R of the beats that the engine matched, seconds
};
