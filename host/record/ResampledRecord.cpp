#include "host/record/ResampledRecord.h"

#include <samplerate.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "host/support/HostError.h"
#include "host/support/Text.h"

namespace {

constexpr std::size_t kSourceBlockFrames = 1024;  // of the source
constexpr double kTailSeconds = 0.5;              // longer than the converter looks ahead

}  // namespace

struct ResampledRecord::Converter {
    explicit Converter(std::size_t leads) {
        int error = 0;
        state = src_new(SRC_SINC_MEDIUM_QUALITY, static_cast<int>(leads), &error);
        if (state == nullptr) throw HostError("libsamplerate", src_strerror(error));
    }
    ~Converter() { src_delete(state); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    SRC_STATE* state = nullptr;
};

ResampledRecord::ResampledRecord(std::unique_ptr<FrameSource> source)
    : m_source(std::move(source)),
      m_info(m_source->Info()),
      m_ratio(m_info.fs / m_info.storedHz),
      m_converter(std::make_unique<Converter>(m_info.leads.size())),
      m_frame(m_info.leads.size()) {
    m_info.frames = static_cast<long long>(static_cast<double>(m_info.frames) * m_ratio);
}

ResampledRecord::~ResampledRecord() = default;

/// Converts the next block of the source.
void ResampledRecord::Fill() {
    const std::size_t leads = m_frame.size();
    const auto put = [&] {
        for (std::size_t lead = 0; lead < leads; ++lead)
            m_in.push_back(static_cast<float>(m_frame[lead]) - m_first[lead]);
    };
    m_in.clear();
    while (m_in.size() < kSourceBlockFrames * leads && !m_isEnded) {
        m_isEnded = !m_source->Read(m_frame.data());
        if (m_isEnded) break;
        m_last = m_frame;
        if (m_framesIn++ == 0) m_first.assign(m_frame.begin(), m_frame.end());
        put();
    }
    if (m_framesIn == 0) return;
    if (m_isEnded) {
        m_frame = m_last;  // a read that fails leaves anything
        for (auto left = std::lround(std::ceil(kTailSeconds * m_info.storedHz)); left > 0; --left) put();
    }
    SRC_DATA data{};
    m_out.resize(static_cast<std::size_t>(static_cast<double>(m_in.size()) * m_ratio) +
                 kSourceBlockFrames * leads);
    data.data_in = m_in.data();
    data.input_frames = static_cast<long>(m_in.size() / leads);
    data.data_out = m_out.data();
    data.output_frames = static_cast<long>(m_out.size() / leads);
    data.src_ratio = m_ratio;
    data.end_of_input = m_isEnded ? 1 : 0;
    if (const int error = src_process(m_converter->state, &data); error != 0)
        throw HostError(m_info.name, std::string("cannot be resampled: ") + src_strerror(error));
    m_out.resize(static_cast<std::size_t>(data.output_frames_gen) * leads);
    m_outNext = 0;
}

bool ResampledRecord::Read(short* frame) {
    while (m_outNext == m_out.size()) {
        if (m_isEnded) return false;
        m_out.clear();
        m_outNext = 0;
        Fill();
    }
    // Behind the end of the source there is only what the converter looks ahead at.
    if (m_isEnded && static_cast<double>(m_framesOut) >= static_cast<double>(m_framesIn) * m_ratio)
        return false;
    ++m_framesOut;
    for (std::size_t lead = 0; lead < m_frame.size(); ++lead) {
        const double value = std::round(static_cast<double>(m_out[m_outNext++]) + m_first[lead]);
        frame[lead] = static_cast<short>(std::clamp<double>(value, INT16_MIN, INT16_MAX));
    }
    return true;
}

std::vector<std::string> ResampledRecord::Warnings() const {
    std::vector<std::string> warnings = m_source->Warnings();
    warnings.insert(warnings.begin(), "its rate of " + Number(m_info.storedHz, 3) + " Hz is made one of " +
                                          std::to_string(m_info.fs) +
                                          " Hz: an analysis takes whole rates up to 2000 Hz");
    return warnings;
}
