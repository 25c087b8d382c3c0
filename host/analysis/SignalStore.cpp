#include "host/analysis/SignalStore.h"

#include <cmath>
#include <utility>

#include "host/results/Strips.h"
#include "host/support/HostError.h"

static constexpr std::size_t kBlockSamples = 1 << 15;

void SignalStore::OnConditioned(const short* uV, double /*seconds*/) {
    if (!m_failure.empty()) return;
    m_block.insert(m_block.end(), uV, uV + m_leads);
    if (m_block.size() >= kBlockSamples) Write();
}

// A full disk costs the report its strips, not the analysis its results.
void SignalStore::Write() {
    try {
        if (!m_spool) m_spool.emplace("the signal for the strips of the report");
        m_spool->Put(reinterpret_cast<const char*>(m_block.data()), m_block.size() * sizeof(short));
    } catch (const HostError& error) {
        m_failure = error.what();
    }
    m_block.clear();
}

std::vector<Strip> SignalStore::Fill(std::vector<Strip> strips) {
    if (m_failure.empty()) Write();
    if (!m_failure.empty()) return {};
    const InputFile file = std::move(*m_spool).Finish();
    std::ifstream stream = file.Stream();
    std::vector<short> frame(m_leads);
    const auto frameBytes = std::ssize(frame) * std::streamsize{sizeof(short)};
    for (Strip& strip : strips) {
        strip.uV.assign(m_leads, {});
        const auto first = std::llround(strip.seconds * m_fs), frames = std::llround(kStripSeconds * m_fs);
        stream.clear();
        stream.seekg(first * frameBytes);
        for (long long i = 0; i < frames && stream.read(reinterpret_cast<char*>(frame.data()), frameBytes);
             ++i)
            for (std::size_t lead = 0; lead < m_leads; ++lead) strip.uV[lead].push_back(frame[lead]);
    }
    return strips;
}
