// FrameSink: a recording that is being written, one frame at a time: a simulated test, a cleaned signal.
#pragma once

#include <vector>

#include "host/support/PendingFile.h"

/// Takes frames in order.
class FrameSink {
public:
    virtual ~FrameSink() = default;
    /// One sample per lead. Throws HostError where it cannot be written.
    virtual void Write(const short* frame) = 0;
    /// Writes what is left; called once, after the last frame. Returns the files, which live as long as this
    /// object and appear under their names when the caller commits them together. Throws HostError like
    /// Write.
    [[nodiscard]] virtual std::vector<PendingFile*> Finish() = 0;
};
