// Prints one hash per facility and sampling rate over every result of a minute of signal. Builds with other
// compilers and optimisation levels have to print the same lines.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "tests/support/Signals.h"

namespace {

constexpr std::size_t kLeads = 12;
constexpr double kSeconds = 60;

/// FNV-1a over the bytes of what it is given.
class Hash {
public:
    template <typename T>
    void Add(const T* values, std::size_t count) {
        for (std::size_t i = 0; i < count * sizeof(T); ++i) {
            m_value ^= reinterpret_cast<const unsigned char*>(values)[i];
            m_value *= 0x100000001b3U;
        }
    }
    void Print(const char* what, int fs) const {
        std::printf("%-12s %4d Hz  %016llx\n", what, fs, static_cast<unsigned long long>(m_value));
    }

private:
    std::uint64_t m_value = 0xcbf29ce484222325U;
};

/// Interleaved frames: every lead another gain, noise and polarity of the same heart.
std::vector<short> Frames(int fs) {
    std::vector<std::vector<short>> leads;
    for (std::size_t lead = 0; lead < kLeads; ++lead) {
        leads.push_back(NoisyEcg(fs, kSeconds, static_cast<unsigned>(lead) + 1));
        const int gain = static_cast<int>(lead) * 17 + 40;
        for (short& sample : leads.back()) sample = Wrapped(sample * (lead % 3 == 2 ? -gain : gain) / 100);
    }
    std::vector<short> frames;
    for (std::size_t i = 0; i < leads[0].size(); ++i)
        for (const std::vector<short>& lead : leads) frames.push_back(lead[i]);
    return frames;
}

void Digest(short fs) {
    std::vector<short> frames = Frames(fs);
    const std::size_t count = frames.size() / kLeads;

    Hash doubled;
    qzDfs_create(kLeads, 1.0);
    for (std::size_t i = 0; i < count; ++i)
        for (const std::vector<short>& row : qzDfs_getData(&frames[i * kLeads]))
            doubled.Add(row.data(), row.size());
    doubled.Print("doubler", fs);

    Hash filtered;
    qzFilters_create(fs, kLeads, 40, 50, 2);
    for (std::size_t i = 0; i < count; ++i) qzFilters_filters(&frames[i * kLeads]);
    filtered.Add(frames.data(), frames.size());
    filtered.Print("filters", fs);

    // Any stretch serves as a template as long as beats like it follow: the tenth second, with its QRS near
    // the middle or not.
    const std::size_t start = 10U * static_cast<std::size_t>(fs);
    short length = static_cast<short>(fs * 8 / 10);
    std::vector<std::vector<short>> beat(kLeads);
    std::array<short*, kLeads> rows = {};
    for (std::size_t lead = 0; lead < kLeads; ++lead) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(length); ++i)
            beat[lead].push_back(frames[(start + i) * kLeads + lead]);
        rows[lead] = beat[lead].data();
    }
    Hash rates, templates, trends;
    std::size_t folded = 0;
    qzStressECGLib_create(fs, kLeads, 4.88);
    qzStressECGLib_InitMultiMeanRRms(fs, kLeads, 50, 4.88);
    qzStressECGLib_InitTempl(rows.data(), length, static_cast<short>(fs / 5), static_cast<short>(fs / 2), 60);
    for (std::size_t i = 0; i < count; ++i) {
        short* frame = &frames[i * kLeads];
        const std::array<short, 2> rr = {qzStressECGLib_MeanRRms(frame[0], frame[1], frame[6]),
                                         qzStressECGLib_MultiMeanRRms(frame)};
        rates.Add(rr.data(), rr.size());
        short* const* templ = qzStressECGLib_match(frame);
        if (templ == nullptr) continue;
        ++folded;
        for (std::size_t lead = 0; lead < kLeads; ++lead)
            templates.Add(templ[lead], static_cast<std::size_t>(length));
        trends.Add(qzStressECGLib_uvSTvalue(), kLeads);
        trends.Add(qzStressECGLib_STslope(), kLeads);
        trends.Add(qzStressECGLib_STresults(800), kLeads);
    }
    rates.Print("heart rate", fs);
    templates.Print("templates", fs);
    trends.Print("ST", fs);
    std::printf("%-12s %4d Hz  %zu beats\n", "folded", fs, folded);
}

}  // namespace

int main() {
    for (const int fs : kSamplingRates) Digest(static_cast<short>(fs));
}
