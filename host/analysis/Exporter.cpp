#include "host/analysis/Exporter.h"

#include "host/record/CreateRecord.h"
#include "session/SessionTypes.h"

namespace {

constexpr int kDoublerHistory = 3;  // frames

SourceInfo ExportInfo(SourceInfo info, bool doubled) {
    info.uVpb = qz::kConditionedUvPerUnit;
    if (doubled) info.fs *= 2;
    return info;
}

}  // namespace

Exporter::Exporter(const std::string& path, const SourceInfo& info, bool doubled)
    : m_sink(CreateRecord(path, ExportInfo(info, doubled))), m_last(info.leads.size()) {
    if (doubled) m_doubler.emplace(static_cast<short>(info.leads.size())).Init(qz::kConditionedUvPerUnit);
}

void Exporter::OnConditioned(const short* uV, double /*seconds*/) {
    if (!m_doubler) {
        m_sink->Write(uV);
        return;
    }
    m_last.assign(uV, uV + m_last.size());
    // The first frame fills the doubler's history, so that it sees no step from zero.
    const int steps = m_framesIn == 0 ? kDoublerHistory : 1;
    for (int i = 0; i < steps; ++i) m_doubler->GetDoubleSampleRateData(m_last.data());
    if (m_framesIn > 0) WriteDoubled();
    ++m_framesIn;
}

// The doubler answers one frame late: the pair is the frame before and the midpoint in front of it, which the
// first frame does not have.
void Exporter::WriteDoubled() {
    short** frames = m_doubler->GetData();
    if (m_framesIn > 1) m_sink->Write(frames[0]);
    m_sink->Write(frames[1]);
}

std::vector<PendingFile*> Exporter::Finish() {
    if (m_doubler && m_framesIn > 0) {
        m_doubler->GetDoubleSampleRateData(m_last.data());
        WriteDoubled();
    }
    return m_sink->Finish();
}
