#include "host/analysis/Monitor.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

#include "host/support/Text.h"

namespace {

constexpr std::chrono::milliseconds kRedraw{250};
constexpr std::chrono::milliseconds kShortestWait{5};  // shorter waits add up until they are this long
constexpr double kSecondsPerLine = 10;
constexpr long kBarHalf = 20;   // characters of a full bar to either side
constexpr double kBarUv = 400;  // elevation or depression of a full bar

std::string Padded(std::string text, std::size_t width, bool right) {
    const std::size_t count = CountCharacters(text);
    if (count >= width) return std::string(Characters(text, 0, width));
    return text.insert(right ? 0 : text.size(), width - count, ' ');
}

// A bar from the middle: depression to the left, elevation to the right.
std::string Bar(double levelUv) {
    std::string bar(2 * kBarHalf + 1, ' ');
    const long length = std::clamp(std::lround(levelUv / kBarUv * kBarHalf), -kBarHalf, kBarHalf);
    std::fill_n(bar.begin() + kBarHalf + std::min(0L, length), std::abs(length) + 1, '=');
    bar[kBarHalf] = '|';
    return bar;
}

}  // namespace

Monitor::Monitor(std::ostream& out, const SourceInfo& info, double speed, bool isTerminal)
    : m_out(out),
      m_info(info),
      m_speed(speed),
      m_isTerminal(isTerminal),
      m_start(std::chrono::steady_clock::now()),
      m_bpm(std::numeric_limits<double>::quiet_NaN()),
      m_off(info.leads.size()) {}

void Monitor::OnFrame(const short* /*frame*/) {
    ++m_frames;
    const std::chrono::duration<double> due(m_info.SecondsOf(m_frames) / m_speed);
    const auto wait = m_start + due - std::chrono::steady_clock::now();
    if (wait > kShortestWait) std::this_thread::sleep_for(wait);
    Draw();
}

void Monitor::OnLead(std::size_t lead, bool isOff, double seconds) {
    m_off[lead] = isOff;
    m_event = Clock(seconds) + " " + m_info.leads[lead] + (isOff ? " off" : " back");
}

void Monitor::OnRate(const RateReading& rate) { m_bpm = rate.bpm; }

void Monitor::OnBeat(const STReading& beat) {
    m_beat = beat;
    m_event = Clock(beat.seconds) + " beat averaged";
}

std::vector<std::string> Monitor::Block() const {
    std::vector<std::string> lines;
    lines.push_back(m_info.name + "  " + Clock(m_info.SecondsOf(m_frames)) + "  HR " + Number(m_bpm, 0) +
                    " beats/min");
    for (std::size_t i = 0; i < m_off.size(); ++i) {
        std::string line = Padded(m_info.leads[i], 8, false);
        if (m_off[i]) {
            line += "lead off";
        } else if (!m_beat.levelUv.empty() && !std::isnan(m_beat.levelUv[i])) {
            line += Padded(Number(m_beat.levelUv[i], 0), 6, true) + " uV " +
                    Padded(Number(m_beat.slopeUvPerMs[i], 2), 6, true) + " uV/ms  " + Bar(m_beat.levelUv[i]);
        }
        lines.push_back(line);
    }
    lines.push_back(m_event);
    return lines;
}

void Monitor::Draw() {
    if (m_isTerminal) {
        const auto now = std::chrono::steady_clock::now();
        if (now - m_drawn < kRedraw) return;
        m_drawn = now;
        if (m_linesDrawn > 0) m_out << "\x1b[" << m_linesDrawn << "A";
        const std::vector<std::string> lines = Block();
        for (const std::string& line : lines) m_out << "\r\x1b[K" << line << "\n";
        m_linesDrawn = lines.size();
    } else {
        if (m_info.SecondsOf(m_frames) < m_nextLineSeconds) return;
        m_nextLineSeconds += kSecondsPerLine;
        m_out << Block().front();
        for (std::size_t i = 0; i < m_off.size() && !m_beat.levelUv.empty(); ++i)
            m_out << "  " << m_info.leads[i] << ' ' << (m_off[i] ? "off" : Number(m_beat.levelUv[i], 0));
        m_out << "\n";
    }
    m_out << std::flush;
}
