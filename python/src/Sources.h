// ArraySource: a signal in memory, of NumPy, as the analysis wants it.
#pragma once

#include <algorithm>

#include "host/record/FrameSource.h"
#include "python/src/Arrays.h"

/// Views the frames, which the caller keeps.
class ArraySource : public FrameSource {
public:
    ArraySource(const std::int16_t* frames, SourceInfo info) : m_next(frames), m_info(std::move(info)) {
        m_left = m_info.frames;
    }
    const SourceInfo& Info() const override { return m_info; }
    bool Read(short* frame) override {
        if (m_left == 0) return false;
        std::copy_n(m_next, m_info.leads.size(), frame);
        m_next += m_info.leads.size();
        --m_left;
        return true;
    }

private:
    const std::int16_t* m_next;
    SourceInfo m_info;
    long long m_left = 0;
};

/// What is told of a signal in memory. Throws std::invalid_argument for what no recording can be.
SourceInfo InfoOf(const Frames& frames, const std::string& name, int fs, double uVpb,
                  const std::vector<std::string>& leads, const std::string& started,
                  const std::vector<std::string>& remarks);
/// Opens a recording under the interpreter's lock, as EDFlib asks for; to be destroyed under it.
std::unique_ptr<FrameSource> OpenForPython(const std::string& path, const std::vector<std::string>& leads,
                                           double fs, double uVpb);
