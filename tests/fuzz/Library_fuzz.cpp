// The library as a hostile host calls it: the bytes are a sequence of calls, with any arguments and in any
// order, through the flat functions, the C door and the classes, which all work on the same engine, chain and
// doubler.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "api/qzStressTemplLibC.h"
#include "core/detect/CMultirtRRdetect.h"
#include "core/filters/CMultiChannelDoubleSampleRate.h"
#include "core/filters/CMultiChannelHighpass.h"
#include "core/filters/CMutiBlNotchFilter.h"
#include "core/filters/CNotchFilter.h"
#include "core/filters/CQuorlNotchFilter.h"
#include "core/filters/CSmoothFilterEx.h"
#include "core/stress/CZatMatch.h"

namespace {

constexpr std::size_t kMostLeads = 24, kLongestRow = 3000;
/// An input may make every frame dear, as with mains of tens of kHz at a sample a second: it ends after this.
constexpr std::clock_t kLongestInput = 2 * CLOCKS_PER_SEC;

/// Takes numbers off the front of the bytes; 0 once they are used up.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : m_at(data), m_end(data + size) {}
    bool Empty() const { return m_at == m_end; }
    int Byte() { return Empty() ? 0 : *m_at++; }
    /// Ordinary values as a rule, any 16 bits for one byte in four.
    short Any() {
        const int how = Byte();
        const int value = Byte() + (Byte() << 8);
        return static_cast<short>(how % 4 == 0 ? value : how % 4 == 1 ? value % 700 : value % 25 - 2);
    }
    short Rate() {
        static constexpr short kRates[] = {500, 250, 257, 1000, 200,  360,   128,   33,
                                           9,   1,   0,   -1,   -500, 32767, -32768};
        const auto i = static_cast<std::size_t>(Byte());
        return i < 240 ? kRates[i % std::size(kRates)] : Any();
    }
    short Leads() { return static_cast<short>(Byte() % 27 - 2); }
    double Scale() {
        using Limits = std::numeric_limits<double>;
        static constexpr double kScales[] = {
            1, 4.88, 0.305, 0, -2.5, 1e300, 1e-300, Limits::infinity(), Limits::quiet_NaN()};
        return kScales[static_cast<std::size_t>(Byte()) % std::size(kScales)];
    }

private:
    const std::uint8_t* m_at;
    const std::uint8_t* m_end;
};

void Demand(bool holds) {
    if (!holds) std::abort();
}

/// What an allocation that cannot be met throws is part of the promise; nothing else is.
template <typename Call>
void Try(Call call) {
    try {
        call();
    } catch (const std::bad_alloc&) {
    }
}

/// Rows of a beat-like wave; every lead has its own address.
struct Template {
    explicit Template(Bytes& bytes) : rows(kMostLeads, std::vector<short>(kLongestRow)) {
        const int height = bytes.Any(), at = bytes.Byte() * 4, width = bytes.Byte() % 40 + 1;
        for (std::size_t lead = 0; lead < kMostLeads; ++lead) {
            for (int i = -width; i <= width; ++i)
                if (at + i >= 0)
                    rows[lead][static_cast<std::size_t>(at + i)] =
                        static_cast<short>(height * (width - std::abs(i)) / width);
            pointers.push_back(rows[lead].data());
            flat.insert(flat.end(), rows[lead].begin(), rows[lead].end());
        }
        if (bytes.Byte() % 16 == 0) pointers[static_cast<std::size_t>(bytes.Byte()) % kMostLeads] = nullptr;
        length = static_cast<short>(bytes.Byte() % 8 == 0 ? bytes.Any() % static_cast<int>(kLongestRow)
                                                          : bytes.Byte() * 4);
    }
    std::vector<std::vector<short>> rows;
    std::vector<short*> pointers;
    std::vector<short> flat;
    short length = 0;
};

/// One object of every stateful class, beside those of the flat functions.
struct Objects {
    CZatMatch match;
    CMultirtRRdetect detector;
    CQuorlNotchFilter comb;
    CBlNotchFilter dealt;
    CBaseNotchFilter base;
    FreqInterpretate upsampler;
    CSmoothFilter smoother;
    CSmoothFilterEx cascade;
    CLowpassFilter2 lowpass;
    CHighpassFilter highpass{1.0, 500};
    CNotchFilter notch{50.0, 500, 30.0};
    CLengthTransform curve{500, 100};
    CDoubleSampleRate doubler;
    CZatTemplRxy lead;
    std::unique_ptr<CMultiChannelHighpass> bank;
    std::unique_ptr<CMutiBlNotchFilter> combs;
};

void FeedFlat(short* frame, std::size_t count) {
    qzFilters_filters(frame);
    const short leads = qzStressECGLib_Leads();
    const short length = qzStressECGLib_TemplLength();
    if (short** folded = qzStressECGLib_match(frame)) {
        Demand(leads > 0 && folded == qzStressECGLib_getTempl());
        for (short c = 0; c < leads; ++c)
            Demand(folded[c] != nullptr && folded[c][length - 1] == folded[c][length - 1]);
    }
    const short three = qzStressECGLib_MeanRRms(frame[0], frame[1], frame[2]);
    const short many = frame[0] % 2 ? qzStressECGLib_MultiMeanRRms(frame) : qzStressECGLib_MultiMeanHR(frame);
    Demand(three >= -1 && three < 2000 && many >= -1 && many < 2000);
    Try([&] { Demand(qzDfs_getData(frame).size() == (qzDfs_Leads() < 0 ? 0U : 2U)); });
    short out[2 * kMostLeads + 2];
    qzc_filters_filters(frame, count);
    qzc_dfs_get_data(frame, count, out, std::size(out));
    const std::int16_t rr = qzc_multi_mean_rr_ms(frame, count);
    Demand(rr >= -1 && rr < 2000);
    Demand(!qzc_stress_match(frame, count) || count == static_cast<std::size_t>(leads));
}

void CreateFlat(Bytes& bytes) {
    const short fs = bytes.Rate(), chn = bytes.Leads(), a = bytes.Any(), b = bytes.Any(), c = bytes.Any();
    const double scale = bytes.Scale();
    const bool door = bytes.Byte() % 2;
    switch (bytes.Byte() % 4) {
        case 0:
            if (door)
                Demand(qzc_stress_create(fs, chn, scale) == (chn >= 0));
            else
                Try([&] { qzStressECGLib_create(fs, chn, scale); });
            Demand(qzStressECGLib_Leads() == (chn < 0 ? -1 : chn) &&
                   qzc_stress_leads() == qzStressECGLib_Leads());
            break;
        case 1:
            if (door)
                qzc_multi_init(fs, chn, a, scale);
            else
                Try([&] { qzStressECGLib_InitMultiMeanRRms(fs, chn, a, scale); });
            break;
        case 2:
            if (door)
                qzc_filters_create(fs, chn, a, b, c);
            else
                Try([&] { qzFilters_create(fs, chn, a, b, c); });
            break;
        case 3:
            if (door)
                qzc_dfs_create(chn, scale);
            else
                Try([&] { qzDfs_create(chn, scale); });
            Demand(qzDfs_Leads() == (chn < 0 ? -1 : chn));
            break;
    }
}

void UseEngine(Bytes& bytes) {
    const short leads = qzStressECGLib_Leads();
    const auto count = static_cast<std::size_t>(leads < 0 ? 0 : leads);
    short a = bytes.Any(), b = bytes.Any(), c = bytes.Any();
    std::vector<float> slopes(kMostLeads);
    std::vector<short> levels(kMostLeads);
    std::vector<qzc_st_result> results(kMostLeads);
    switch (bytes.Byte() % 10) {
        case 0: {
            Template beat(bytes);
            short len = beat.length;
            Try([&] { qzStressECGLib_InitTempl(beat.pointers.data(), len, a, b, c); });
            Demand(qzStressECGLib_TemplLength() <= std::max<int>(beat.length, 32767));
            break;
        }
        case 1: {
            const Template beat(bytes);
            const auto len = static_cast<std::size_t>(std::max<short>(beat.length, 0));
            short kept = 0;
            if (qzc_stress_init_templ(beat.flat.data(), count, len, a, b, c, &kept))
                Demand(kept == qzc_stress_templ_length() && static_cast<std::size_t>(kept) <= len);
            break;
        }
        case 2: Demand(qzStressECGLib_SetPos(a, b) == (leads < 0 ? a : leads)); break;
        case 3: Demand(qzc_stress_set_post_j_ms(a) == (leads < 0 ? a : leads)); break;
        case 4: {
            std::vector<short> templ(count * kLongestRow * 11 + 1);
            qzc_stress_get_templ(templ.data(), templ.size());
            break;
        }
        case 5: {
            short r = 0, q = 0, j = 0, ms = 0;
            Demand(qzStressECGLib_GetPos(r, q, j, ms) >= 0 && qzc_stress_get_pos(&r, &q, &j, &ms) >= 0);
            break;
        }
        case 6: Demand((qzStressECGLib_STslope() != nullptr) == (leads >= 0)); break;
        case 7: Demand((qzStressECGLib_STresults(a) != nullptr) == (leads >= 0)); break;
        case 8:
            Demand(qzc_stress_st_slope(slopes.data(), count) == (leads >= 0) &&
                   qzc_stress_st_level(levels.data(), count) == (leads >= 0) &&
                   qzc_stress_st_results(a, results.data(), count) == (leads >= 0));
            break;
        case 9:
            if (qzc_stress_lock()) {
                if (b > 0) qzc_stress_destroy();
                qzc_stress_unlock();
            }
            qzc_stress_unlock();
            qzc_stress_init(c > 0);
            break;
    }
}

void UseClasses(Objects& o, Bytes& bytes, short* frame) {
    const short fs = bytes.Rate(), a = bytes.Any(), b = bytes.Any(), c = bytes.Any();
    const double scale = bytes.Scale();
    switch (bytes.Byte() % 13) {
        case 0: Try([&] { o.match.Create(fs, bytes.Leads(), scale, b > 0, c); }); break;
        case 1: {
            Template beat(bytes);
            short len = beat.length, r = a, q = b, j = c;
            Try([&] { o.match.InitTempl(beat.pointers.data(), len, r, q, j, bytes.Any()); });
            if (len > 0 && len == o.match.TemplLength()) o.match.SetTempl(beat.pointers.data());
            break;
        }
        case 2:
            o.match.SetPos(a, b, c);
            o.match.SetPostJms(bytes.Any());
            o.match.ZeroV();
            o.match.STvalues(a);
            o.match.uvDeltaSTvalue(b, c);
            o.match.Samples2ms(a);
            break;
        case 3: b > 20 ? void(o.match.Init()) : o.match.Delete(); break;
        case 4: Try([&] { o.detector.Init(fs, bytes.Leads(), a, scale); }); break;
        case 5: o.detector.Destroy(); break;
        case 6: Try([&] { o.comb.Init(a, fs), o.dealt.Init(b, fs), o.base.Init(c, fs); }); break;
        case 7: Try([&] { o.upsampler.Init(fs, b); }); break;
        case 8: Try([&] { o.smoother.Init(fs, b), o.cascade.Init(fs); }); break;
        case 9: o.lowpass.Init(scale * a, fs), o.highpass.Init(scale, fs), o.notch.Init(a, fs, scale); break;
        case 10: Try([&] { o.curve.Init(fs, a); }), o.doubler.Init(scale); break;
        case 11:
            Try([&] { o.bank = std::make_unique<CMultiChannelHighpass>(scale, fs, bytes.Leads()); });
            Try([&] { o.combs = std::make_unique<CMutiBlNotchFilter>(a, fs, bytes.Leads()); });
            break;
        case 12:
            Try([&] { o.lead.Create(fs, scale, a); });
            Try([&] { o.lead.InitTempl(frame, static_cast<short>(b % 24), a, b, c, a, b, c); });
            o.lead.SetPos(a, c);
            o.lead.ZeroV();
            break;
    }
}

void FeedClasses(Objects& o, short* frame) {
    if (o.match.match(frame) != nullptr) Demand(o.match.Templ() != nullptr);
    Demand(o.detector.QRSdetect(frame) >= 0);
    int x = frame[0] * 60000;
    for (int i = 0; i < 2; ++i, x = frame[0]) {
        x = o.base.Filter(o.dealt.Filter(o.comb.Filter(x)));
        x = o.cascade.Smooth(o.smoother.Smooth(x));
        x = o.notch.Filter(o.highpass.Filter(o.lowpass.Filter(x)));
        o.curve.Length(x);
        o.curve.Length(x, frame[1], -frame[2]);
    }
    Demand(o.upsampler.CalculateReturnValues(frame[0]) >= 0);
    o.doubler.CalculateReturnValues(frame[1]);
    o.lead.rxy(frame[0]);
    o.lead.STslope(frame[1]);
    o.lead.RuV();
    if (o.bank) o.bank->Filter(frame);
    if (o.combs) o.combs->Filter(frame);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    Objects objects;
    std::uint32_t noise = 1;
    const std::clock_t begun = std::clock();
    const auto late = [begun] { return std::clock() - begun > kLongestInput; };
    while (!bytes.Empty() && !late()) {
        short frame[kMostLeads + 2] = {};
        switch (bytes.Byte() % 8) {
            case 0:
            case 1: CreateFlat(bytes); break;
            case 2: UseEngine(bytes); break;
            case 3: UseClasses(objects, bytes, frame); break;
            case 4:
                switch (bytes.Byte() % 4) {
                    case 0: qzStressECGLib_destroy(); break;
                    case 1: qzc_filters_destroy(); break;
                    case 2: qzDfsDestroy(); break;
                    case 3: qzc_filters_switch(bytes.Byte() % 2, bytes.Byte() % 2, bytes.Byte() % 2); break;
                }
                break;
            default: {  // frames: a wave that repeats, with noise
                const int frames = bytes.Byte() * 4, period = bytes.Byte() * 2 + 1, height = bytes.Any();
                const auto count = static_cast<std::size_t>(bytes.Byte()) % kMostLeads;
                for (int n = 0; n < frames && !late(); ++n) {
                    for (std::size_t lead = 0; lead < kMostLeads; ++lead) {
                        noise = noise * 1664525U + 1013904223U;
                        const int wave = height * std::max(0, 20 - std::abs(n % period - 30)) / 20;
                        frame[lead] = static_cast<short>(
                            static_cast<std::uint16_t>(wave + static_cast<int>(noise >> 28)));
                    }
                    FeedFlat(
                        frame,
                        n % 2 ? count : static_cast<std::size_t>(std::max<short>(qzStressECGLib_Leads(), 0)));
                    FeedClasses(objects, frame);
                }
            }
        }
    }
    qzc_stress_destroy();
    qzFilters_destroy();
    qzc_dfs_destroy();
    return 0;
}
