#include "session/internal/BeatShapes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "core/FloatingPoint.h"

namespace qz {

namespace {

constexpr std::size_t kMostShapes = 3;
constexpr double kSameBeatSeconds = 0.15;
constexpr int kSilentSeconds = 120;

// The share of a shape is a running mean: another one that takes over is dominant with its fifth beat.
constexpr double kNewestBeat = 0.15;
constexpr double kClearlyMore = 0.1;
constexpr double kShareOfDominant = 0.6, kShareOfOther = 0.2;  // that a new shape begins with

}  // namespace

BeatShapes::BeatShapes(int fs, std::size_t chn, int postJms) : m_fs(fs), m_chn(chn), m_postJms(postJms) {
    for (BeatEvent* event : {&m_found, &m_waiting}) {
        event->levelUv.resize(chn);
        event->slopeUvPerMs.resize(chn);
        event->jUv.resize(chn);
    }
}

int BeatShapes::Add(const LearnedBeat& beat, long long from, bool isDominant) {
    Shape shape{m_learned++, BeatFollower(m_fs, m_chn, m_postJms, beat), from, from,
                isDominant ? kShareOfDominant : kShareOfOther};
    if (m_shapes.size() == kMostShapes) {
        auto rarest = m_shapes.begin() + (m_dominant == 0 && !isDominant ? 1 : 0);
        for (auto other = m_shapes.begin(); other != m_shapes.end(); ++other) {
            const bool isKept = !isDominant && other->number == m_shapes[m_dominant].number;
            if (!isKept && other->share < rarest->share) rarest = other;
        }
        GiveUp(rarest);
    }
    m_shapes.push_back(std::move(shape));
    if (m_waitingR && *m_waitingR >= from) m_waitingR.reset();
    const int number = m_shapes.back().number;
    if (!isDominant) return number;
    m_dominant = m_shapes.size() - 1;
    for (std::size_t i = 0; i < m_dominant; ++i)
        m_shapes[i].share = std::min(m_shapes[i].share, kShareOfOther);
    return number;
}

bool BeatShapes::Follows(int number) const {
    return std::any_of(m_shapes.begin(), m_shapes.end(),
                       [number](const Shape& shape) { return shape.number == number; });
}

// The dominant shape stays so, where it is not the one that is given up.
void BeatShapes::GiveUp(std::vector<Shape>::iterator shape) {
    const auto index = static_cast<std::size_t>(shape - m_shapes.begin());
    if (index < m_dominant) --m_dominant;
    m_shapes.erase(shape);
}

long long BeatShapes::Next() const {
    long long next = std::numeric_limits<long long>::max();
    for (const Shape& shape : m_shapes) next = std::min(next, shape.next);
    return next;
}

std::optional<long long> BeatShapes::Match(const short* frame, const IsGoodLead& isGood, BeatEvent& event) {
    const long long index = Next();
    std::optional<long long> told;
    m_lastFold.reset();
    for (std::size_t i = 0; i < m_shapes.size(); ++i) {
        Shape& shape = m_shapes[i];
        if (shape.next != index) continue;
        ++shape.next;
        if (!shape.follower.Match(frame, isGood, m_found)) continue;
        shape.lastBeat = index - shape.follower.SamplesSinceR();
        m_lastFold = shape.lastBeat;
        if (const std::optional<long long> r = TakeBeat(i, index, event)) told = r;
    }
    if (!told && m_waitingR && index >= m_waitingUntil) told = Tell(event);
    const auto silent = std::find_if(m_shapes.begin(), m_shapes.end(), [&](const Shape& shape) {
        return shape.next - shape.lastBeat > static_cast<long long>(kSilentSeconds) * m_fs &&
               shape.number != m_shapes[m_dominant].number;
    });
    if (silent != m_shapes.end()) GiveUp(silent);
    return told;
}

std::optional<long long> BeatShapes::Finish(const IsGoodLead& isGood, BeatEvent& event) {
    for (std::size_t i = 0; i < m_shapes.size(); ++i) {
        Shape& shape = m_shapes[i];
        if (!shape.follower.Finish(isGood, m_found)) continue;
        shape.lastBeat = shape.next - 1 - shape.follower.SamplesSinceR();
        if (const std::optional<long long> r = TakeBeat(i, shape.next, event)) return r;
    }
    return m_waitingR ? Tell(event) : std::nullopt;
}

// The beat that shape `i` has found waits; the one that waited is told, unless it is the same.
std::optional<long long> BeatShapes::TakeBeat(std::size_t i, long long index, BeatEvent& event) {
    const auto near = static_cast<long long>(kSameBeatSeconds * m_fs);
    const long long r = m_shapes[i].lastBeat;
    if (m_lastR && r <= *m_lastR + near) return {};
    std::optional<long long> told;
    if (m_waitingR && std::abs(r - *m_waitingR) <= near) {
        if (i != m_dominant) return {};
    } else {
        if (m_waitingR) told = Tell(event);
        m_waitingUntil = index + static_cast<long long>(BeatFollower::kFoldedWithinSeconds * m_fs);
    }
    m_waitingR = r;
    m_waitingShape = m_shapes[i].number;
    std::swap(m_waiting, m_found);
    return told;
}

// Tells the beat that waits, and lets its shape become the dominant one where that is due.
std::optional<long long> BeatShapes::Tell(BeatEvent& event) {
    for (std::size_t i = 0; i < m_shapes.size(); ++i) {
        Shape& shape = m_shapes[i];
        const double isThis = shape.number == m_waitingShape ? 1 : 0;
        shape.share += kNewestBeat * (isThis - shape.share);
        if (shape.share > m_shapes[m_dominant].share + kClearlyMore) m_dominant = i;
    }
    const bool isDominant = m_shapes[m_dominant].number == m_waitingShape;
    const auto copy = [isDominant](const std::vector<float>& from, std::vector<float>& to) {
        if (isDominant)
            std::copy(from.begin(), from.end(), to.begin());
        else
            std::fill(to.begin(), to.end(), std::numeric_limits<float>::quiet_NaN());
    };
    copy(m_waiting.levelUv, event.levelUv);
    copy(m_waiting.slopeUvPerMs, event.slopeUvPerMs);
    copy(m_waiting.jUv, event.jUv);
    event.shape = m_waitingShape;
    m_lastR = m_waitingR;
    m_waitingR.reset();
    return m_lastR;
}

void BeatShapes::Renew(std::size_t lead) {
    for (Shape& shape : m_shapes) shape.follower.Renew(lead);
}

std::vector<std::vector<float>> BeatShapes::BeatUv() const {
    return HasBeat() ? m_shapes[m_dominant].follower.BeatUv() : std::vector<std::vector<float>>();
}

BeatPositionsMs BeatShapes::PositionsOf(int number) const {
    return std::find_if(m_shapes.begin(), m_shapes.end(),
                        [number](const Shape& shape) { return shape.number == number; })
        ->follower.Positions();
}

BeatPositionsMs BeatShapes::Positions() const {
    return HasBeat() ? m_shapes[m_dominant].follower.Positions() : BeatPositionsMs{};
}

}  // namespace qz
