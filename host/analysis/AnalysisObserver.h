// AnalysisObserver: what watches a running analysis: displays, exports, whoever may end it.
#pragma once

#include <cstddef>

#include "host/results/StressResult.h"

/// Every call is made within StressAnalysis::Run; calls of one kind come in order of time. Heart rates come
/// from some seconds after the start on. Beats come from the end of the learning stretch on, and those of the
/// stretch itself all at once.
class AnalysisObserver {
public:
    virtual ~AnalysisObserver() = default;
    /// A frame of the source has been read, in its units.
    virtual void OnFrame(const short* /*frame*/) {}
    /// A conditioned frame in microvolts, and the time of the source that it shows, from 0 on.
    virtual void OnConditioned(const short* /*uV*/, double /*seconds*/) {}
    /// A lead went off at `seconds`, told two seconds later, or came back, told at once.
    virtual void OnLead(std::size_t /*lead*/, bool /*isOff*/, double /*seconds*/) {}
    virtual void OnRate(const RateReading& /*rate*/) {}
    virtual void OnBeat(const STReading& /*beat*/) {}
    /// Asked once a frame: true ends the analysis as though the source ended here.
    virtual bool Stop() { return false; }
};
