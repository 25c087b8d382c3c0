#include "host/live/StageClock.h"

#include <algorithm>
#include <limits>

#include "host/support/HostError.h"

StageClock::StageClock(const std::string& protocol) {
    if (protocol.empty()) return;
    const std::vector<std::string>& names = ProtocolNames();
    if (std::find(names.begin(), names.end(), protocol) == names.end())
        throw HostError(protocol, "is no protocol");
    m_plan = &FindProtocol(protocol);
}

/// Stages are told apart by their times: one that begins with another takes its place.
bool StageClock::Begin(double seconds) {
    Stage stage{seconds, {}, "Stage " + std::to_string(m_begun + 1)};
    if (m_plan != nullptr) stage = StageOf(*m_plan, m_begun, seconds);
    ++m_begun;
    if (m_stages.back().startSeconds >= seconds) m_stages.pop_back();
    m_stages.push_back(stage);
    return true;
}

bool StageClock::Start(double seconds) {
    if (m_isWork || m_isRecovery) return false;
    m_isWork = true;
    return Begin(seconds);
}

bool StageClock::Next(double seconds) {
    if (!m_isWork || (m_plan != nullptr && m_begun >= m_plan->stages)) return false;
    return Begin(seconds);
}

bool StageClock::Recover(double seconds) {
    if (!m_isWork) return false;
    m_isWork = false;
    m_isRecovery = true;
    if (m_stages.back().startSeconds >= seconds) m_stages.pop_back();
    m_stages.push_back({seconds, 0.0, "Recovery"});
    return true;
}

double StageClock::NextSeconds() const {
    if (!m_isWork || m_plan == nullptr || m_begun >= m_plan->stages)
        return std::numeric_limits<double>::quiet_NaN();
    return m_stages.back().startSeconds + m_plan->stageSeconds;
}

bool StageClock::Advance(double seconds) { return NextSeconds() <= seconds && Begin(NextSeconds()); }
