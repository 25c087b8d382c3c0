#include "api/qzDfs.h"

#include <cstddef>
#include <memory>

#include "core/Arithmetic.h"
#include "core/filters/CMultiChannelDoubleSampleRate.h"

static std::unique_ptr<CMultiChannelDoubleSampleRate> g_dfs;  // null: not created
static std::size_t g_chn = 0;                                 // leads of g_dfs
static std::vector<std::vector<short>> g_data;                // the two output frames of the last call

bool qzDfs_create(short chn, double /*uVpb*/) {
    qzDfsDestroy();
    g_chn = ElementCount(chn);
    g_data.assign(2, std::vector<short>(g_chn));
    g_dfs = std::make_unique<CMultiChannelDoubleSampleRate>(chn);
    return true;
}

std::vector<std::vector<short>> qzDfs_getData(short* data) {
    if (!g_dfs || data == nullptr) return {};
    const short* const* pairs = g_dfs->GetDoubleSampleRateData(data);
    for (std::size_t row = 0; row < g_data.size(); ++row)
        for (std::size_t k = 0; k < g_chn; ++k) g_data[row][k] = pairs[k][row];
    return g_data;
}

void qzDfs_destroy() { qzDfsDestroy(); }

void qzDfsDestroy() {
    g_dfs.reset();
    g_chn = 0;
    g_data = {};
}
