// qz_digest [VALUES]: prints one hash per class and flat interface over every answer of a run through it.
// With the file of the stored values it prints nothing but the lines that differ, and fails where there is
// one.
//
// The values are those of `build/release/tests/qz_digest > tests/digest/values.txt`. Every compiler,
// optimisation level and processor has to give them.
#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <set>
#include <sstream>
#include <string>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "core/stress/ExerciseIndices.h"
#include "session/StressSession.h"
#include "tests/digest/Runs.h"

namespace {

using Hashes = std::map<std::string, Hash>;

constexpr short kLeads = 12;

void RunFilters(int fs, Hash& hash) {
    for (const auto& [lowpass, notch, smooth] : {std::tuple{40, 50, 2}, {0, 60, 1}, {35, -1, 5}, {0, 0, 0}}) {
        Samples frames = Heart(fs);
        hash.Add(qzFilters_create(Wrapped(fs), kLeads, Wrapped(lowpass), Wrapped(notch), Wrapped(smooth)));
        for (std::size_t i = 0; i < frames.size() / 2; i += kWide) {
            const std::size_t on = i / kWide / 200;  // stages by turns
            if (i % (200 * kWide) == 0 && on > 4) qzFilters_switch(on & 1U, on & 2U, on & 4U);
            qzFilters_filters(&frames[i]);
            hash.AddAll(&frames[i], kWide);
        }
    }
    qzFilters_destroy();
}

void RunDoubler(Hash& hash) {
    Samples frames = Heart(250);
    hash.Add(qzDfs_create(kLeads, 4.88));
    for (std::size_t i = 0; i < frames.size(); i += kWide)
        for (const Samples& row : qzDfs_getData(&frames[i])) hash.AddAll(row.data(), row.size());
    qzDfs_destroy();
}

void RunEngine(int fs, short leads, double uVpb, Hash& hash) {
    Samples frames = Heart(fs);
    auto rows = CutBeats(fs, 2050, static_cast<std::size_t>(fs));
    short length = Wrapped(fs);
    hash.Add(qzStressECGLib_create(Wrapped(fs), leads, uVpb)).Add(qzStressECGLib_getTempl() != nullptr);
    qzStressECGLib_InitMultiMeanRRms(Wrapped(fs), leads, 50, uVpb);
    qzStressECGLib_InitTempl(rows.Pointers(), length, Wrapped(fs * 3 / 10), Wrapped(fs * 21 / 50), 60);
    const auto count = static_cast<std::size_t>(leads);
    for (std::size_t i = 0; i < frames.size(); i += kWide) {
        short* x = &frames[i];
        hash.Add(qzStressECGLib_MeanRRms(x[0], x[1], x[2]),
                 i % 2000 < 900 ? qzStressECGLib_MultiMeanHR(x) : qzStressECGLib_MultiMeanRRms(x));
        short** templ = qzStressECGLib_match(x);
        if (templ == nullptr) continue;
        short r = 0, q = 0, j = 0, ms = 0;
        hash.Add(i, qzStressECGLib_GetPos(r, q, j, ms)).Add(r, q, j, ms);
        for (std::size_t lead = 0; lead < count; ++lead)
            hash.AddAll(templ[lead], static_cast<std::size_t>(length));
        hash.AddAll(qzStressECGLib_uvSTvalue(), count);
        hash.AddAll(qzStressECGLib_STslope(), count);
        for (std::size_t lead = 0; lead < count; ++lead) {
            const STresult& s = qzStressECGLib_STresults(Wrapped(600 + static_cast<int>(i % 900)))[lead];
            hash.Add(s.RuV, s.JuV, s.STuV, s.deltaSTuV, s.deltaJuV, s.STslope, s.STHRindex);
        }
        if (i % 5 == 0)
            hash.Add(qzStressECGLib_SetPos(q, Wrapped(j + 1)))
                .Add(qzStressECGLib_SetPostJms(Wrapped(ms + 1)));
    }
}

void RunIndices(Hash& hash) {
    const auto random = RandomSamples(17, 4000, 32767);
    for (std::size_t i = 0; i + 16 < random.size(); ++i) {
        const float mV = static_cast<float>(random[i + 1]) / 8000;
        const short angina = Wrapped(i % 9 == 0 ? random[i + 2] : random[i + 2] % 3);
        hash.Add(DukeScore(random[i], mV, angina), DukeScoreChecked(random[i], mV, angina).value_or(12345),
                 HeartRateOfThreeLeads(random[i]), HeartRateOfManyLeads(random[i]));
        std::vector<float> power, rate;
        for (std::size_t k = 0; k < i % 7; ++k) {
            power.push_back(static_cast<float>(25 * k + static_cast<std::size_t>(random[i + k] & 15)));
            rate.push_back(static_cast<float>(100 + 12 * static_cast<int>(k) + random[i + 2 * k] % 20));
        }
        const Pwc pwc = FindPwc(power.data(), rate.data(), power.size());
        hash.Add(pwc.pwc130, pwc.pwc150, pwc.pwc170);
    }
}

/// Takes everything that a session tells.
struct Listener : qz::SessionObserver {
    explicit Listener(Hash& all) : hash(all) {}
    void OnConditioned(const short* uV, double seconds) override { hash.Add(seconds).AddAll(uV, kLeads); }
    void OnInterval(const qz::IntervalEvent& interval) override {
        hash.Add(interval.seconds, interval.bpm, static_cast<int>(interval.beatClass));
    }
    void OnBeat(const qz::BeatEvent& beat) override {
        hash.Add(beat.seconds, beat.bpm);
        for (const auto* values : {&beat.levelUv, &beat.slopeUvPerMs, &beat.jUv})
            hash.AddAll(values->data(), values->size());
        hash.Add(beat.qMs, beat.jMs, beat.stPointMs);
        for (const qz::STMeasure& st : beat.st)
            hash.Add(st.jUv, st.j20Uv, st.j60Uv, st.j80Uv, st.slopeUvPerMs, static_cast<int>(st.shape),
                     st.isOnT);
    }
    void OnLead(const qz::LeadEvent& event) override {
        hash.Add(static_cast<int>(event.kind), event.lead, event.seconds, event.voidFromSeconds);
    }
    void OnLearned(const qz::LearnedBeat& beat, double fromSeconds, bool again) override {
        hash.Add(beat.posR, beat.posQ, beat.posJ, beat.fromSeconds, beat.beatsFound, beat.beatsUsed,
                 beat.likeness, beat.confident, fromSeconds, again);
        for (const Samples& row : beat.rows) hash.AddAll(row.data(), row.size());
        for (const bool usable : beat.usable) hash.Add(usable);
    }
    void OnNotLearned(const std::string& why) override { hash.Add(why.size()); }

    Hash& hash;
};

/// With the comb and without it. One lead is off for a while.
void RunSession(int fs, const qz::ConditioningOptions& conditioning, Hash& hash) {
    qz::SessionOptions options;
    options.fs = fs;
    options.uVpb = 2.5;
    options.leads.resize(kLeads);
    options.conditioning = conditioning;
    Listener listener(hash);
    qz::StressSession session(options, listener);
    Samples frames = Heart(fs);
    for (std::size_t i = 0; i < frames.size(); i += kWide) {
        if (i > frames.size() / 2 && i < frames.size() * 2 / 3) frames[i + 4] = 300;
        session.Push(&frames[i], 1);
    }
    session.Finish();
    for (const auto& row : session.Template()) hash.AddAll(row.data(), row.size());
    const qz::BeatPositionsMs at = session.Positions();
    hash.Add(at.length, at.q, at.r, at.j);
}

Hashes RunAll() {
    Hashes hashes;
    ForEachClass([&hashes]<typename T>(Class<T> of, int fs, auto... arguments) {
        T object(arguments...);
        Run(object, fs, hashes[of.name]);
    });
    for (const int fs : kSamplingRates) {
        RunFilters(fs, hashes["qzFilters"]);
        RunEngine(fs, kLeads, 4.88, hashes["qzStressECGLib"]);
        RunEngine(fs, 3, 2.5, hashes["qzStressECGLib"]);  // replaces an engine with its trends
    }
    qzStressECGLib_destroy();
    RunDoubler(hashes["qzDfs"]);
    RunIndices(hashes["ExerciseIndices"]);
    RunSession(500, {50, 40, 0, true}, hashes["StressSession"]);
    RunSession(360, {60, 75, 2}, hashes["StressSession"]);
    return hashes;
}

}  // namespace

int main(int argc, char** argv) {
    std::set<std::string> stored;
    if (argc > 1) {
        std::ifstream file(argv[1]);
        for (std::string line; std::getline(file, line);) stored.insert(line);
    }
    const auto hashes = RunAll();
    bool same = stored.empty() || stored.size() == hashes.size();
    for (const auto& [name, hash] : hashes) {
        std::ostringstream line;
        line << name << ' ' << std::hex << hash.Value();
        if (stored.contains(line.str())) continue;
        same = false;
        std::cout << line.str() << '\n';
    }
    return argc > 1 && !same;
}
