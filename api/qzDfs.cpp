#include "api/qzDfs.h"

#include <cstddef>

#include "api/internal/ReleasedByCall.h"
#include "core/filters/CMultiChannelDoubleSampleRate.h"

static ReleasedByCall<CMultiChannelDoubleSampleRate> g_dfs;  // empty: no doubler
static short g_chn = 0;                                      // leads of g_dfs

bool qzDfs_create(short chn, double /*uVpb*/) {
    qzDfsDestroy();
    g_dfs.Create(chn);
    g_chn = chn;
    return true;
}

std::vector<std::vector<short>> qzDfs_getData(short* data) {
    if (!g_dfs || data == nullptr) return {};
    std::vector<std::vector<short>> rows(2);
    for (std::vector<short>& row : rows) row.resize(static_cast<std::size_t>(g_chn));
    g_dfs->Double(data, rows[0].data(), rows[1].data());
    return rows;
}

short qzDfs_Leads() { return g_dfs ? g_chn : short{-1}; }

void qzDfs_destroy() { qzDfsDestroy(); }

void qzDfsDestroy() {
    g_dfs.Release();
    g_chn = 0;
}
