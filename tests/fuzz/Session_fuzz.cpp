// A stress session as a hostile host drives it through the C door: any options, any beat, frames in any
// portions, events fetched or not, everything asked for at any time.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <vector>

#include "api/qzSessionC.h"

namespace {

constexpr int kMostLeads = 66, kMostFrames = 12000;

void Demand(bool holds) {
    if (!holds) std::abort();
}

class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : m_at(data), m_end(data + size) {}
    bool Empty() const { return m_at == m_end; }
    int Byte() { return Empty() ? 0 : *m_at++; }
    /// The usual value as a rule, any 16 bits for one byte in eight.
    std::int16_t Or(int usual) {
        const int how = Byte();
        return static_cast<std::int16_t>(how % 8 == 7 ? Byte() + (Byte() << 8) : usual + how / 32);
    }

private:
    const std::uint8_t* m_at;
    const std::uint8_t* m_end;
};

qzs_session* Create(Bytes& bytes, qzs_beat& beat, std::vector<std::int16_t>& rows) {
    static constexpr double kScales[] = {1, 5, 0.1, 0, -1, 1e300, std::numeric_limits<double>::quiet_NaN()};
    qzs_options options;
    Demand(qzs_options_init(&options, sizeof options));
    options.fs = bytes.Or(250);
    options.leads = bytes.Or(2);
    options.uv_per_unit = kScales[static_cast<std::size_t>(bytes.Byte()) / 16 % std::size(kScales)];
    options.mains_hz = bytes.Or(50);
    options.lowpass_hz = bytes.Or(40);
    options.smooth = bytes.Or(0);
    options.postJms = bytes.Or(60);
    const int switches = bytes.Byte();
    options.conditioned = switches % 2;
    options.comb = switches > 250;
    if (bytes.Byte() % 4 == 0) {
        beat.length = bytes.Or(200);
        beat.posR = bytes.Or(80);
        beat.posQ = bytes.Or(70);
        beat.posJ = bytes.Or(95);
        rows.assign(static_cast<std::size_t>(bytes.Or(200)) % 4000 * 3, 0);
        for (auto& sample : rows) sample = static_cast<std::int16_t>(bytes.Byte() * 8);
        options.beat = &beat;
        options.beat_rows = rows.data();
        options.beat_count = bytes.Byte() % 2 ? rows.size()
                                              : static_cast<std::size_t>(std::max<int>(options.leads, 0)) *
                                                    static_cast<std::size_t>(std::max<int>(beat.length, 0));
        options.beat_count = std::min(options.beat_count, rows.size());
    }
    qzs_session* session = qzs_create(&options);
    Demand((session == nullptr) == (qzs_refusal(&options, nullptr, 0) != 0));
    return session;
}

/// Fetches so many events; times of beats never go back.
void Fetch(qzs_session* session, int count, double& lastBeat) {
    float values[3 * kMostLeads];
    char text[80];
    for (qzs_event event; count > 0 && qzs_next_event(session, &event, sizeof event); --count) {
        Demand(std::isfinite(event.seconds) || event.kind == QZS_NOT_LEARNED);
        bool told = false;
        for (std::size_t leads = 1; leads < kMostLeads; ++leads)
            told = qzs_event_values(session, values, values + kMostLeads, values + 2 * kMostLeads, leads) ||
                   told;
        Demand(told == (event.kind == QZS_BEAT));
        Demand((qzs_event_text(session, text, sizeof text) > 0) == (event.kind == QZS_NOT_LEARNED));
        if (event.kind != QZS_BEAT) continue;
        Demand(event.seconds >= lastBeat);
        lastBeat = event.seconds;
    }
}

/// Fetches up to so many conditioned frames and returns how many; their times never go back.
std::size_t FetchConditioned(qzs_session* session, std::size_t count, double& last) {
    const std::size_t waiting = qzs_conditioned(session, nullptr, 0, nullptr);
    count = std::min(count, waiting);
    std::vector<std::int16_t> frames((count + 1) * kMostLeads);
    double seconds = -1;
    Demand(qzs_conditioned(session, frames.data(), count, &seconds) == count);
    Demand(waiting > 0 ? seconds >= last : seconds == -1);
    last = std::max(seconds, last);
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    qzs_beat beat{};
    std::vector<std::int16_t> rows;
    qzs_session* session = Create(bytes, beat, rows);
    double lastBeat = -1e9, lastFrame = 0;
    std::size_t taken = 0, conditioned = 0;
    std::uint32_t noise = 1;
    std::vector<std::int16_t> frames;
    for (int fed = 0; !bytes.Empty() && fed < kMostFrames;) switch (bytes.Byte() % 8) {
            case 0: Fetch(session, bytes.Byte(), lastBeat); break;
            case 1: {
                std::vector<float> templ(static_cast<std::size_t>(bytes.Byte()) * 64);
                qzs_template(session, templ.data(), templ.size());
                qzs_positions positions;
                qzs_get_positions(session, &positions);
                qzs_get_measured_positions(session, &positions);
                qzs_measured_template(session, templ.data(), templ.size(), &positions);
                rows.resize(static_cast<std::size_t>(bytes.Byte()) * 64);
                qzs_learned_beat(session, &beat, rows.data(), rows.size());
                Demand(qzs_delay_ms(session) >= 0);
                break;
            }
            case 2:
                if (bytes.Byte() > 250) qzs_finish(session);
                break;
            case 3:
                conditioned +=
                    FetchConditioned(session, static_cast<std::size_t>(bytes.Byte()) * 16, lastFrame);
                break;
            case 4: {  // most of the points in range, or the session's own
                double at[3];
                for (double& ms : at) {
                    const int byte = bytes.Byte();
                    ms = byte < 10 ? std::numeric_limits<double>::quiet_NaN() : &ms == at ? -byte : byte;
                }
                qzs_set_points(session, at[0], at[1], at[2]);
                break;
            }
            default: {  // a wave that repeats, with noise, or lines and jumps
                const int count = bytes.Byte() * 8, period = bytes.Byte() + 100, height = bytes.Byte() * 64;
                const bool line = bytes.Byte() > 240;
                frames.resize(static_cast<std::size_t>(count) * kMostLeads);
                for (std::size_t i = 0; i < frames.size(); ++i) {
                    noise = noise * 1664525U + 1013904223U;
                    const int at = (fed + static_cast<int>(i) / 2) % period;
                    frames[i] =
                        static_cast<std::int16_t>(line ? height
                                                       : height * std::max(0, 10 - std::abs(at - 20)) / 10 +
                                                             static_cast<int>(noise >> 28));
                }
                const std::size_t pushed = qzs_push(session, frames.data(), static_cast<std::size_t>(count));
                Demand(pushed <= static_cast<std::size_t>(count));
                taken += pushed;
                fed += count;
            }
        }
    if (data != nullptr && size % 2) qzs_finish(session);
    Fetch(session, 100000, lastBeat);
    conditioned += FetchConditioned(session, taken, lastFrame);
    Demand(conditioned <= taken && qzs_conditioned(session, nullptr, 0, nullptr) == 0);
    qzs_free(session);
    return 0;
}
