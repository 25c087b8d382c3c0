// ResampledRecord: a recording at a whole rate, made by libsamplerate from one at another rate.
//
// Band-limited interpolation, in step with the recording: no delay. Before the first and behind the last
// frame the signal is taken to go on as it is there. Values are those of the source, rounded again to its
// units.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/record/FrameSource.h"

class ResampledRecord : public FrameSource {
public:
    /// `source` gives frames at Info().storedHz, which becomes its Info().fs here.
    explicit ResampledRecord(std::unique_ptr<FrameSource> source);
    ~ResampledRecord() override;

    const SourceInfo& Info() const override { return m_info; }
    bool Read(short* frame) override;
    std::vector<std::string> Warnings() const override;
    std::vector<std::string> Describe() const override { return m_source->Describe(); }
    std::vector<std::string> Files() const override { return m_source->Files(); }

private:
    struct Converter;

    void Fill();

    std::unique_ptr<FrameSource> m_source;
    SourceInfo m_info;
    double m_ratio;
    std::unique_ptr<Converter> m_converter;  // never null
    std::vector<short> m_frame, m_last;      // of the source: being read, and the latest whole one
    std::vector<float> m_first;              // taken off, so that the signal begins at 0
    std::vector<float> m_in, m_out;          // blocks of frames
    std::size_t m_outNext = 0;               // value to give, in m_out
    long long m_framesIn = 0, m_framesOut = 0;
    bool m_isEnded = false;  // the source has
};
