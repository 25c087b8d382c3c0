// FlacFile: a signal file of the WFDB formats 508, 516 and 524, a FLAC stream with one channel for each
// signal.
//
// The stream is trusted up to its first fault: a frame that is damaged, missing or of another kind than the
// first, or the end of the file. What lies behind a fault has lost its place in time and is not read. The
// length that a stream announces may be absent or wrong, so the file is decoded once when it is opened; that
// takes some seconds for a day of twelve leads. A stream of more than 1000 samples a byte is none of a
// recording, and would unpack for hours. Memory is that of one FLAC block, at most 2 MB.
//
// Where the program is built without libFLAC, the constructor throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "host/support/InputFile.h"

class FlacFile {
public:
    /// Opens the stream that begins `byteOffset` bytes into the file and finds its whole part. Throws
    /// HostError for what is no FLAC, has another number of channels than `channels`, more than `mostBits`
    /// bits per sample, or more samples than a recording has.
    FlacFile(const InputFile& file, long long byteOffset, std::size_t channels, int mostBits);
    ~FlacFile();
    FlacFile(FlacFile&&) noexcept;

    /// Samples of each channel before the first fault.
    long long Samples() const;
    /// True if the stream has a fault or announces more samples than it holds.
    bool IsCut() const;
    /// Begins anew.
    void Rewind();
    /// The next sample of every channel, valid until the next call; null at the first fault.
    const std::int32_t* Next();

private:
    struct State;
    std::unique_ptr<State> m_state;  // never null, but after a move; libFLAC keeps its address
};
