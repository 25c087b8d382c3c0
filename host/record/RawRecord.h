// RawRecord: frames of 16-bit samples without a header, from a file, a pipe or the standard input ("-").
//
// Read as they come: whoever writes to a pipe may be an analogue-to-digital converter that is still at work.
#pragma once

#include <string>
#include <vector>

#include "host/record/FrameSource.h"
#include "host/record/RecordOptions.h"
#include "host/support/FileHandle.h"

class RawRecord : public FrameSource {
public:
    /// Throws HostError where it cannot be opened, and for a rate that the program is not made for.
    RawRecord(const std::string& path, const RawLayout& layout);

    /// `frames` is 0 for a pipe.
    const SourceInfo& Info() const override { return m_info; }
    /// An interrupt ends the source, so that a wait for more frames does.
    bool Read(short* frame) override;
    std::vector<std::string> Warnings() const override;
    std::vector<std::string> Describe() const override { return {"format: raw frames of 16 bits"}; }
    std::vector<std::string> Files() const override { return {m_path}; }
    std::optional<StoredFrames> Stored() const override;

private:
    std::string m_path;
    FileHandle m_handle;
    SourceInfo m_info;
    std::vector<char> m_bytes;
    std::size_t m_next = 0, m_filled = 0;  // in m_bytes
};
