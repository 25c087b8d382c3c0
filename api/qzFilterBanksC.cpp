#include "api/qzFilterBanksC.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>
#include <variant>

#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMultiChannelNotch.h"

struct qzc_filter_bank {
    std::variant<CMultiChannelHighpass, CMultiChannelNotch> filters;
    std::size_t leads;
};

/// A bank of `Filters`; null for arguments out of range, NaN among them, and without memory.
template <typename Filters, typename... Quality>
static qzc_filter_bank* Create(std::int16_t fs, std::int16_t chn, double hz, Quality... quality) {
    if (fs < 1 || chn < 0 || !(hz < fs / 2.0)) return nullptr;
    try {
        return new qzc_filter_bank{Filters(hz, fs, quality..., chn), static_cast<std::size_t>(chn)};
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

qzc_filter_bank* qzc_highpass_create(std::int16_t fs, std::int16_t chn, double corner_hz) {
    return Create<CMultiChannelHighpass>(fs, chn, corner_hz);
}

qzc_filter_bank* qzc_notch_create(std::int16_t fs, std::int16_t chn, double centre_hz, double q) {
    return centre_hz > 0 && q > 0 && std::isfinite(q) ? Create<CMultiChannelNotch>(fs, chn, centre_hz, q)
                                                      : nullptr;
}

bool qzc_filter_bank_filter(qzc_filter_bank* bank, std::int16_t* frame, std::size_t count) {
    if (bank == nullptr || frame == nullptr || count != bank->leads) return false;
    std::visit([frame](auto& filters) { filters.Filter(frame); }, bank->filters);
    return true;
}

void qzc_filter_bank_destroy(qzc_filter_bank* bank) { delete bank; }
