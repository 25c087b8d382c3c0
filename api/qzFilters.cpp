#include "api/qzFilters.h"

#include <algorithm>
#include <cmath>

#include "api/internal/ReleasedByCall.h"
#include "core/Arithmetic.h"
#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CQuorlMultiNotchFilter.h"

// The one chain of the process. A stage is empty when it is not built, and then off.
static ReleasedByCall<CMultiChannelLowpass2> g_pLpass;
static ReleasedByCall<CQuorlMultiNotchFilter> g_pNotch;
static ReleasedByCall<CMultiChannelSmoothEx> g_pSmooth;
static bool g_bLpass = false, g_bNotch = false, g_bSmooth = false;  // stage switched on
static bool g_bChain = false;  // there is a chain, if only one without stages
static short g_chn = 0;        // its leads

bool qzFilters_create(short fs, short chn, short freqLpass, short freqNotch, short smooth) {
    qzFiltersDestroy();
    try {
        if (freqLpass > 0 && fs != 0) g_pLpass.Create(static_cast<double>(freqLpass), fs, chn);
        if (freqNotch > 0) g_pNotch.Create(freqNotch, fs, chn);
        if (smooth > 0) g_pSmooth.Create(fs, chn, smooth != 1);
    } catch (...) {
        qzFiltersDestroy();
        throw;
    }
    g_bLpass = static_cast<bool>(g_pLpass);
    g_bNotch = static_cast<bool>(g_pNotch);
    g_bSmooth = static_cast<bool>(g_pSmooth);
    g_bChain = true;
    g_chn = std::max(chn, short{0});
    return true;
}

void qzFilters_switch(bool onOffLpass, bool onOffNotch, bool onOffSmooth) {
    if (g_pLpass) g_bLpass = onOffLpass;
    if (g_pNotch) g_bNotch = onOffNotch;
    if (g_pSmooth) g_bSmooth = onOffSmooth;
}

void qzFilters_filters(short* data) {
    if (data == nullptr) return;
    if (g_bLpass) g_pLpass->Filter(data);
    if (g_bNotch) g_pNotch->Filter(data);
    if (g_bSmooth) g_pSmooth->Smooth(data);
}

short qzFilters_Leads() { return g_bChain ? g_chn : short{-1}; }

int qzFilters_DelaySamples() {
    if (!g_bChain) return -1;
    int delay = 0;
    if (g_bLpass) delay += TruncateToInt(std::round(g_pLpass->DelaySamples()));
    if (g_bNotch) delay += g_pNotch->DelaySamples();
    if (g_bSmooth) delay += g_pSmooth->DelaySamples();
    return delay;
}

int qzFilters_SettlingSamples() {
    if (!g_bChain) return -1;
    int settling = 0;
    if (g_bLpass) settling += g_pLpass->SettlingSamples();
    if (g_bNotch) settling += g_pNotch->SettlingSamples();
    if (g_bSmooth) settling += g_pSmooth->SettlingSamples();
    return settling;
}

void qzFilters_destroy() { qzFiltersDestroy(); }

void qzFiltersDestroy() {
    g_pLpass.Release();
    g_pNotch.Release();
    g_pSmooth.Release();
    g_bLpass = g_bNotch = g_bSmooth = g_bChain = false;
    g_chn = 0;
}
