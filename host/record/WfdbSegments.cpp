#include "host/record/WfdbSegments.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/record/Calibration.h"
#include "host/support/HostError.h"
#include "host/support/IndexOf.h"
#include "host/support/InputFile.h"
#include "host/support/Text.h"

namespace {

constexpr const char* kGap = "~";
constexpr std::size_t kMostWarnings = 20;
// Longest gaps in all: an electrode is changed, or a night is spent in another room. Each frame of a gap is
// analysed and exported like any other, and a header of one line can announce years of them.
constexpr int kMostGapHours = 6;
constexpr long long kSecondsPerHour = 3600;

bool HasNoEcg(const WfdbHeader& header) {
    return !header.signals.empty() && std::none_of(header.signals.begin(), header.signals.end(),
                                                   [](const WfdbSignal& signal) { return signal.isEcg; });
}

std::size_t FindLead(const std::vector<std::string>& leads, const std::string& name) {
    const auto found = std::find_if(leads.begin(), leads.end(),
                                    [&](const std::string& lead) { return EqualIgnoringCase(lead, name); });
    return IndexOf(leads, found);
}

}  // namespace

WfdbSegments::WfdbSegments(const std::string& path, WfdbHeader header)
    : m_folder(std::filesystem::path(path).parent_path().string()), m_segments(std::move(header.segments)) {
    m_info.name = OneLine(header.name);
    m_files = {path};
    m_info.started = header.started;
    m_info.remarks = std::move(header.remarks);
    m_info.patient = std::move(header.patient);
    long long frames = 0, gapFrames = 0;  // of the header
    for (WfdbSegment& segment : m_segments) {
        frames += segment.frames;
        if (segment.name == kGap) gapFrames += segment.frames;
        if (segment.name == kGap || segment.frames == 0) continue;
        const WfdbHeader own = ReadWfdbHeader(PathOf(segment));
        if (HasNoEcg(own)) {
            Warn("segment " + OneLine(own.name) + ": a gap, no signal is in a unit of voltage");
            segment.name = kGap;
            gapFrames += segment.frames;
            continue;
        }
        const WfdbRecord record(PathOf(segment));
        const SourceInfo& info = record.Info();
        gapFrames += std::max(0LL, segment.frames - record.FramesHeld() / info.framesPerMark);
        for (std::string& file : record.Files()) m_files.push_back(std::move(file));
        if (m_info.leads.empty()) {
            m_info.fs = info.fs;
            m_info.storedHz = info.storedHz;
            m_info.framesPerMark = info.framesPerMark;
        }
        if (info.fs != m_info.fs || own.fs != header.fs)
            throw HostError(PathOf(segment), "expected the rate of " + path + " and its first segment");
        for (const std::string& lead : info.leads)
            if (FindLead(m_info.leads, lead) == m_info.leads.size()) m_info.leads.push_back(lead);
        m_info.uVpb = std::max(m_info.uVpb, info.uVpb);
    }
    if (m_info.leads.empty()) throw HostError(path, "expected a segment with an ECG signal, found none");
    if (header.announcedFrames > 0 && header.announcedFrames != frames)
        Warn("expected " + std::to_string(header.announcedFrames) + " frames, the segments have " +
             std::to_string(frames));
    m_info.frames = frames * m_info.framesPerMark;
    if (const long long seconds = gapFrames * m_info.framesPerMark / m_info.fs;
        seconds > kMostGapHours * kSecondsPerHour)
        throw HostError(path, "expected gaps of at most " + std::to_string(kMostGapHours) +
                                  " hours in all, found " + std::to_string(seconds / kSecondsPerHour) +
                                  " hours without samples");
    OrderByLayout();
    m_latest.assign(m_info.leads.size(), 0);
}

void WfdbSegments::OrderByLayout() {
    const WfdbSegment& first = m_segments.front();
    if (first.name == kGap || first.frames > 0) return;
    std::vector<std::string> layout;
    for (const WfdbSignal& signal : ReadWfdbHeader(PathOf(first), WfdbHeaderKind::Layout).signals)
        layout.push_back(signal.name);
    std::stable_sort(m_info.leads.begin(), m_info.leads.end(),
                     [&](const std::string& a, const std::string& b) {
                         return FindLead(layout, a) < FindLead(layout, b);
                     });
}

void WfdbSegments::Warn(const std::string& text) {
    if (m_warnings.size() < kMostWarnings) {
        m_warnings.push_back(text);
    } else {
        ++m_warningsNotKept;
    }
}

std::string WfdbSegments::PathOf(const WfdbSegment& segment) const {
    return InputFile(m_folder, WfdbHeaderPath(segment.name)).Path();
}

void WfdbSegments::OpenNext() {
    const WfdbSegment& segment = m_segments[m_next++];
    m_framesLeft = segment.frames * m_info.framesPerMark;
    if (segment.name == kGap || segment.frames == 0) return;
    m_open = std::make_unique<WfdbRecord>(PathOf(segment), m_info.uVpb);
    m_leadOf.clear();
    for (const std::string& lead : m_open->Info().leads) m_leadOf.push_back(FindLead(m_info.leads, lead));
    m_segmentFrame.resize(m_leadOf.size());
}

void WfdbSegments::Close() {
    for (const std::string& warning : m_open->Warnings())
        Warn("segment " + m_open->Info().name + ": " + warning);
    m_open.reset();
}

bool WfdbSegments::Read(short* frame) {
    while (m_framesLeft == 0) {
        if (m_open) Close();
        if (m_next == m_segments.size()) return false;
        OpenNext();
    }
    --m_framesLeft;
    if (m_open && m_open->Read(m_segmentFrame.data())) {
        for (std::size_t i = 0; i < m_leadOf.size(); ++i) m_latest[m_leadOf[i]] = m_segmentFrame[i];
    } else {
        if (m_open) Close();
        ++m_gapFrames;
    }
    std::copy(m_latest.begin(), m_latest.end(), frame);
    return true;
}

std::vector<std::string> WfdbSegments::Warnings() const {
    std::vector<std::string> warnings = m_warnings;
    if (m_warningsNotKept > 0)
        warnings.push_back(std::to_string(m_warningsNotKept) + " more warnings from segments");
    if (m_gapFrames > 0)
        warnings.push_back(std::to_string(m_gapFrames) + " frames in gaps, values before held");
    return warnings;
}

std::vector<std::string> WfdbSegments::Describe() const {
    std::vector<std::string> lines;
    for (const WfdbSegment& segment : m_segments)
        lines.push_back((segment.name == kGap ? "gap" : "segment " + segment.name) + ": " +
                        std::to_string(segment.frames) + " frames");
    return lines;
}
