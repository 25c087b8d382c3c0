#include "host/live/LiveSource.h"

#include <algorithm>
#include <cmath>
#include <thread>
#include <utility>

#include "host/live/StreamSource.h"
#include "host/record/OpenRecord.h"
#include "host/simulate/SimulatedTest.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

}  // namespace

PacedSource::PacedSource(std::unique_ptr<FrameSource> source, double speed)
    : m_source(std::move(source)), m_speed(speed) {}

void PacedSource::GoOn(long long frames, double secondsAgo) {
    m_missing = std::llround(secondsAgo * m_speed * Info().fs);
    std::vector<short> frame(Info().leads.size());
    for (long long left = frames + m_missing; left > 0 && m_source->Read(frame.data()); --left) {
    }
}

long long PacedSource::Due() const {
    const std::chrono::duration<double> elapsed = SteadyClock::now() - m_start;
    return static_cast<long long>(elapsed.count() * m_speed * Info().fs) - m_given;
}

bool PacedSource::Read(std::vector<short>& frames, std::chrono::milliseconds wait) {
    if (!std::exchange(m_hasBegun, true)) m_start = SteadyClock::now();
    const std::size_t chn = Info().leads.size();
    const auto most = static_cast<long long>(kMostSecondsAtOnce * Info().fs);
    if (m_missing > 0) {
        const long long missing = std::min(m_missing, most);
        frames.insert(frames.end(), static_cast<std::size_t>(missing) * chn, kMissing);
        m_missing -= missing;
        return true;
    }
    if (Due() < most) std::this_thread::sleep_for(wait);
    const long long count = std::min(Due(), most);
    std::vector<short> frame(chn);
    for (long long i = 0; i < count; ++i, ++m_given) {
        if (!m_source->Read(frame.data())) return false;
        frames.insert(frames.end(), frame.begin(), frame.end());
    }
    return true;
}

std::unique_ptr<LiveSource> OpenLive(const std::string& name, const RecordOptions& reading, double speed) {
    if (StreamSource::IsMeant(name)) return std::make_unique<StreamSource>(name, reading.raw);
    if (name != "sim") return std::make_unique<PacedSource>(OpenRecord(name, reading), speed);
    SimulatedTestOptions simulation;
    simulation.leads = reading.leads;
    return std::make_unique<PacedSource>(std::make_unique<SimulatedTest>(std::move(simulation)), speed);
}
