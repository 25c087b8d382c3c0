#include "api/qzDfs.h"

#include <cstddef>

#include "api/internal/ReleasedByCall.h"
#include "core/Arithmetic.h"
#include "core/filters/CMultiChannelDoubleSampleRate.h"

static ReleasedByCall<CMultiChannelDoubleSampleRate> g_dfs;     // empty: no doubler
static short g_chn = 0;                                         // leads of g_dfs
static ReleasedByCall<std::vector<std::vector<short>>> g_data;  // the two output frames of the last call

bool qzDfs_create(short chn, double /*uVpb*/) {
    qzDfsDestroy();
    try {
        g_data.Create(std::size_t{2}, std::vector<short>(ElementCount(chn)));
        g_dfs.Create(chn);
    } catch (...) {
        qzDfsDestroy();
        throw;
    }
    g_chn = chn;
    return true;
}

std::vector<std::vector<short>> qzDfs_getData(short* data) {
    if (!g_dfs || data == nullptr) return {};
    const short* const* pairs = g_dfs->GetDoubleSampleRateData(data);
    std::size_t r = 0;
    for (std::vector<short>& row : *g_data) {
        for (std::size_t k = 0; k < row.size(); ++k) row[k] = pairs[k][r];
        ++r;
    }
    return *g_data;
}

short qzDfs_Leads() { return g_dfs ? g_chn : short{-1}; }

void qzDfs_destroy() { qzDfsDestroy(); }

void qzDfsDestroy() {
    g_dfs.Release();
    g_data.Release();
    g_chn = 0;
}
