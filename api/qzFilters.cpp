#include "api/qzFilters.h"

#include <memory>

#include "core/filters/CMultiChannelLowpass2.h"
#include "core/filters/CMultiChannelSmoothEx.h"
#include "core/filters/CQuorlMultiNotchFilter.h"

// The one chain of the process. A stage is null when it is not built, and then off.
static std::unique_ptr<CMultiChannelLowpass2> g_pLpass;
static std::unique_ptr<CQuorlMultiNotchFilter> g_pNotch;
static std::unique_ptr<CMultiChannelSmoothEx> g_pSmooth;
static bool g_bLpass = false, g_bNotch = false, g_bSmooth = false;  // stage switched on

bool qzFilters_create(short fs, short chn, short freqLpass, short freqNotch, short smooth) {
    qzFiltersDestroy();
    try {
        if (freqLpass > 0 && fs != 0)
            g_pLpass = std::make_unique<CMultiChannelLowpass2>(static_cast<double>(freqLpass), fs, chn);
        if (freqNotch > 0) g_pNotch = std::make_unique<CQuorlMultiNotchFilter>(freqNotch, fs, chn);
        if (smooth > 0) g_pSmooth = std::make_unique<CMultiChannelSmoothEx>(fs, chn, smooth != 1);
    } catch (...) {
        qzFiltersDestroy();
        throw;
    }
    g_bLpass = g_pLpass != nullptr;
    g_bNotch = g_pNotch != nullptr;
    g_bSmooth = g_pSmooth != nullptr;
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

void qzFilters_destroy() { qzFiltersDestroy(); }

void qzFiltersDestroy() {
    g_pLpass.reset();
    g_pNotch.reset();
    g_pSmooth.reset();
    g_bLpass = g_bNotch = g_bSmooth = false;
}
