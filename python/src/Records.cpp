// Recordings: read, written and simulated.
#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <cmath>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>

#include "host/record/CreateRecord.h"
#include "host/record/OpenRecord.h"
#include "host/results/ResultFiles.h"
#include "host/simulate/SimulatedTest.h"
#include "host/support/HostError.h"
#include "host/support/InputFile.h"
#include "python/src/Module.h"
#include "python/src/Sources.h"

SourceInfo InfoOf(const Frames& frames, const std::string& name, int fs, double uVpb,
                  const std::vector<std::string>& leads, const std::string& started,
                  const std::vector<std::string>& remarks) {
    if (leads.empty() || leads.size() > kMostLeads)
        throw std::invalid_argument("1 to " + std::to_string(kMostLeads) + " leads are expected, found " +
                                    std::to_string(leads.size()));
    CheckLeads(frames, leads.size());
    if (!(uVpb > 0) || std::isinf(uVpb))
        throw std::invalid_argument("uv_per_bit is expected above 0, found " + std::to_string(uVpb));
    SourceInfo info;
    info.name = name;
    info.fs = fs;
    info.uVpb = uVpb;
    info.leads = leads;
    info.frames = static_cast<long long>(frames.shape(0));
    info.started = started;
    info.remarks = remarks;
    return info;
}

std::unique_ptr<FrameSource> OpenForPython(const std::string& path, const std::vector<std::string>& leads,
                                           double fs, double uVpb) {
    if (IsPipe(path)) throw HostError(path, "a file is expected, found a pipe");
    RecordOptions options;
    options.leads = leads;
    options.fs = fs;
    options.uVpb = uVpb;
    return OpenRecord(path, options);
}

namespace {

/// A recording that is read forward.
class Reader {
public:
    Reader(const std::string& path, const std::vector<std::string>& leads, double fs, double uVpb)
        : m_source(OpenForPython(path, leads, fs, uVpb)) {}

    nb::bytes Info() const {
        std::ostringstream text;
        WriteInfoJson(text, *m_source);
        const std::string all = std::move(text).str();
        return nb::bytes(all.data(), all.size());
    }
    /// Up to `count` frames; fewer at the end of the recording only.
    nb::ndarray<nb::numpy, std::int16_t> Read(long long count) {
        const Turn turn(m_isBusy);
        const std::size_t leads = m_source->Info().leads.size();
        std::vector<std::int16_t> frames;
        bool isStopped = false;
        {
            const nb::gil_scoped_release free;
            std::vector<short> frame(leads);
            const long long announced = m_source->Info().frames;
            frames.reserve(static_cast<std::size_t>(std::clamp<long long>(announced, 0, count)) * leads);
            for (long long read = 0; read < count && m_source->Read(frame.data());) {
                frames.insert(frames.end(), frame.begin(), frame.end());
                isStopped = ++read % kFramesPerStopCheck == 0 && IsStopAsked();
                if (isStopped) break;
            }
        }
        if (isStopped) throw nb::python_error();
        const std::size_t read = frames.size() / leads;
        return ToArray(std::move(frames), {read, leads});
    }

private:
    std::unique_ptr<FrameSource> m_source;
    std::atomic<bool> m_isBusy = false;
};

void Write(const std::string& path, const Frames& frames, int fs, double uVpb,
           const std::vector<std::string>& leads, const std::string& started,
           const std::vector<std::string>& remarks) {
    const SourceInfo info = InfoOf(frames, path, fs, uVpb, leads, started, remarks);
    const std::unique_ptr<FrameSink> sink = CreateRecord(path, info);
    for (std::size_t i = 0; i < frames.shape(0); ++i) sink->Write(frames.data() + i * leads.size());
    PendingFile::CommitAll(sink->Finish());
}

/// Signal, rate, leads, stages (start, power, name) and true beats (frame of R, RR, 1 if ectopic).
nb::tuple Simulate(double seconds, int fs, double uVpb, const std::vector<std::string>& leads,
                   const std::string& protocol, std::uint64_t seed, double mainsHz, double mainsUv,
                   double muscleUv, double wanderUv, double motionUv, double stUv, double ectopySeconds) {
    SimulatedTestOptions options;
    options.seconds = seconds;
    options.fs = fs;
    options.uVpb = uVpb;
    options.leads = leads;
    options.seed = seed;
    options.mainsHz = mainsHz;
    options.mainsUv = mainsUv;
    options.muscleUv = muscleUv;
    options.wanderUv = wanderUv;
    options.motionUv = motionUv;
    options.stDepressionUv = stUv;
    options.ectopySeconds = ectopySeconds;
    bool isKnown = false;
    for (const SimulatedProtocol one : {SimulatedProtocol::Steps, SimulatedProtocol::Bruce,
                                        SimulatedProtocol::Bicycle, SimulatedProtocol::Ramp})
        if (NameOf(one) == protocol) {
            options.protocol = one;
            isKnown = true;
        }
    if (!isKnown)
        throw std::invalid_argument("protocol is expected to be steps, bruce, bicycle or ramp, not " +
                                    protocol);
    SimulatedTest test(options);
    const std::size_t chn = test.Info().leads.size();
    std::vector<std::int16_t> frames;
    std::vector<double> beats;
    {
        const nb::gil_scoped_release free;
        std::vector<short> frame(chn);
        while (test.Read(frame.data())) frames.insert(frames.end(), frame.begin(), frame.end());
        for (const SimulatedBeat& beat : test.Beats())
            beats.insert(beats.end(), {static_cast<double>(beat.r), beat.rrMs,
                                       beat.type == SimulatedBeatType::Ectopic ? 1.0 : 0.0});
    }
    std::vector<std::tuple<double, std::optional<double>, std::string>> stages;
    for (const Stage& stage : test.Stages()) stages.emplace_back(stage.startSeconds, stage.watts, stage.name);
    const std::size_t count = frames.size() / chn, beatCount = beats.size() / 3;
    return nb::make_tuple(ToArray(std::move(frames), {count, chn}), test.Info().leads, stages,
                          ToArray(std::move(beats), {beatCount, std::size_t{3}}));
}

/// Samples of any layout in units of `scale` per unit of the result, rounded half away from zero as the
/// readers do. Throws for a value that 16 bits cannot hold, naming its place.
template <typename Value>
nb::ndarray<nb::numpy, std::int16_t> Quantize(
    const nb::ndarray<const Value, nb::ndim<2>, nb::device::cpu>& signal, double scale) {
    const std::size_t count = signal.shape(0), leads = signal.shape(1);
    const auto frameStride = signal.stride(0), leadStride = signal.stride(1);
    std::vector<std::int16_t> frames(count * leads);
    const Value* const first = signal.data();
    std::size_t bad = frames.size();
    double badValue = 0;
    {
        const nb::gil_scoped_release free;
        for (std::size_t i = 0; i < count && bad == frames.size(); ++i)
            for (std::size_t lead = 0; lead < leads; ++lead) {
                const double value = static_cast<double>(first[static_cast<std::int64_t>(i) * frameStride +
                                                               static_cast<std::int64_t>(lead) * leadStride]);
                const double rounded = std::round(value * scale);
                if (!(rounded >= -32768 && rounded <= 32767)) {
                    bad = i * leads + lead;
                    badValue = value;
                    break;
                }
                frames[i * leads + lead] = static_cast<std::int16_t>(rounded);
            }
    }
    if (bad < frames.size()) {
        std::ostringstream place;
        place << "frame " << bad / leads << ", lead " << bad % leads << " is " << badValue << ": ";
        if (std::isnan(badValue))
            place << "fill gaps first, for instance with the value before the gap";
        else
            place << "out of the range of 16 bits at this uv_per_bit; take a larger one";
        throw std::invalid_argument(place.str());
    }
    return ToArray(std::move(frames), {count, leads});
}

}  // namespace

void AddRecords(nb::module_& module) {
    nb::class_<Reader>(module, "Reader")
        .def(nb::init<const std::string&, const std::vector<std::string>&, double, double>(), nb::arg("path"),
             nb::arg("leads"), nb::arg("fs"), nb::arg("uv_per_bit"))
        .def("info", &Reader::Info)
        .def("read", &Reader::Read, nb::arg("count"));
    module.def("write", &Write, nb::arg("path"), nb::arg("frames").noconvert(), nb::arg("fs"),
               nb::arg("uv_per_bit"), nb::arg("leads"), nb::arg("started"), nb::arg("remarks"));
    module.def("simulate", &Simulate, nb::arg("seconds"), nb::arg("fs"), nb::arg("uv_per_bit"),
               nb::arg("leads"), nb::arg("protocol"), nb::arg("seed"), nb::arg("mains_hz"),
               nb::arg("mains_uv"), nb::arg("muscle_uv"), nb::arg("wander_uv"), nb::arg("motion_uv"),
               nb::arg("st_uv"), nb::arg("ectopy_s"));
    module.def("quantize", &Quantize<double>, nb::arg("signal").noconvert(), nb::arg("scale"));
    module.def("quantize", &Quantize<float>, nb::arg("signal").noconvert(), nb::arg("scale"));
    module.attr("has_edf") = static_cast<bool>(QZ_PYTHON_HAS_EDF);
    module.attr("has_flac") = static_cast<bool>(QZ_PYTHON_HAS_FLAC);
    module.attr("has_resampling") = static_cast<bool>(QZ_PYTHON_HAS_RESAMPLING);
}
