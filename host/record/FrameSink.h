// FrameSink: where frames go that are kept: a simulated test, a cleaned signal.
#pragma once

#include <vector>

#include "host/support/PendingFile.h"

/// Takes frames in order.
class FrameSink {
public:
    virtual ~FrameSink() = default;
    /// One sample per lead. Throws HostError where it cannot be written.
    virtual void Write(const short* frame) = 0;
    /// Once, after the last frame: what is left to write. Returns the files, which live as long as this
    /// object and appear under their names when the caller commits them together. Throws HostError as Write
    /// does.
    virtual std::vector<PendingFile*> Finish() = 0;
};
