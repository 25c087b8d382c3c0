#include "core/filters/CSmoothFilterEx.h"

static constexpr int kStages = 3;
static constexpr int kInnerLowpassHz = 10;

void CSmoothFilterEx::Init(int fs) {
    if (m_stages.empty()) m_stages.assign(kStages, CSmoothFilter(fs, kInnerLowpassHz));
}

int CSmoothFilterEx::Smooth(int x) {
    for (CSmoothFilter& stage : m_stages) x = stage.Smooth(x);
    return x;
}
