// StageClock: the stages of a running test, by a protocol's clock or by hand.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/results/Protocols.h"

class StageClock {
public:
    /// The name of a protocol, or empty for stages by hand alone. Throws HostError for another name.
    explicit StageClock(const std::string& protocol);

    /// The exercise begins with its first stage. Without effect once it has begun.
    bool Start(double seconds);
    /// The next stage begins, ahead of the clock; the clock counts from here. Within the exercise only.
    bool Next(double seconds);
    /// The work ends. Within the exercise only.
    bool Recover(double seconds);
    /// The time is `seconds`: true where the protocol's clock begins a stage. Ask until it is false.
    bool Advance(double seconds);

    /// Those that have begun, the rest at the start first.
    const std::vector<Stage>& Stages() const { return m_stages; }
    bool IsWork() const { return m_isWork; }
    bool IsRecovery() const { return m_isRecovery; }
    /// When the clock begins the next stage; NaN where it does not.
    double NextSeconds() const;

private:
    bool Begin(double seconds);

    const ProtocolPlan* m_plan = nullptr;  // null: by hand
    std::vector<Stage> m_stages{{0, 0.0, "Rest"}};
    int m_begun = 0;  // stages of the exercise
    bool m_isWork = false, m_isRecovery = false;
};
