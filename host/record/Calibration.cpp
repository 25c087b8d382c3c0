#include "host/record/Calibration.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>

#include "host/support/HostError.h"

namespace {

constexpr int kScalesUvpb[] = {1, 2, 5, 10, 20, 50};

}  // namespace

void SetRate(SourceInfo& info, double fs, const std::string& path) {
    if (!(fs >= kLowestFs && fs <= kHighestStoredFs)) {
        throw HostError(path, "sampling rate: expected " + std::to_string(kLowestFs) + " to " +
                                  std::to_string(kHighestStoredFs) + " Hz, found " +
                                  (std::ostringstream() << fs).str());
    }
    info.fs = std::min(static_cast<int>(std::ceil(fs)), kHighestFs);
    info.storedHz = info.fs == fs ? 0 : fs;
}

double MicrovoltsPer(std::string_view unit) {
    if (unit == "mV") return 1e3;
    if (unit == "V") return 1e6;
    if (unit == "nV") return 1e-3;
    // The last three are the micro sign and the Greek letter in UTF-8 and the micro sign in Latin-1.
    const bool isMicrovolt = unit == "uV" || unit == "\xC2\xB5V" || unit == "\xCE\xBCV" || unit == "\xB5V";
    return isMicrovolt ? 1.0 : 0.0;
}

int FinestScale(const std::vector<double>& extremesUv) {
    for (const int uVpb : kScalesUvpb) {
        const auto fits = [uVpb](double uV) {
            const double units = std::round(uV / uVpb);
            return units >= INT16_MIN && units <= INT16_MAX;
        };
        if (std::all_of(extremesUv.begin(), extremesUv.end(), fits)) return uVpb;
    }
    return *std::prev(std::end(kScalesUvpb));
}

std::string Quote(std::string_view text) {
    constexpr std::size_t kShown = 60;
    const std::string line = OneLine(text.substr(0, 4 * kShown));  // of up to four bytes each
    const std::string_view shown = Characters(line, 0, kShown);
    return '"' + std::string(shown) + (shown.size() < text.size() ? "...\"" : "\"");
}

short SampleScaler::operator()(double uV) {
    const double units = std::round(uV / m_uVpb);
    const double kept = std::clamp<double>(units, INT16_MIN, INT16_MAX);
    if (kept != units) ++m_clipped;
    return static_cast<short>(kept);
}
