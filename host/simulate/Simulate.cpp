#include "host/simulate/Simulate.h"

#include <memory>

#include "host/record/Annotations.h"
#include "host/record/CreateRecord.h"
#include "host/simulate/TruthFile.h"
#include "host/support/HostError.h"
#include "host/support/Interrupt.h"
#include "host/support/PendingFile.h"

namespace {

std::vector<Annotation> BeatAnnotations(const std::vector<SimulatedBeat>& beats) {
    std::vector<Annotation> annotations;
    for (const SimulatedBeat& beat : beats)
        annotations.push_back(
            {beat.r, beat.type == SimulatedBeatType::Sinus ? kNormalBeat : kVentricularBeat, {}});
    return annotations;
}

}  // namespace

std::vector<std::string> Simulate(const std::string& out, const SimulatedTestOptions& options, bool force) {
    SimulatedTest test(options);
    const std::string base = RecordBase(out);
    std::vector<std::string> names = RecordFiles(out);
    names.insert(names.end(), {base + ".atr", base + ".truth.json"});
    for (const std::string& name : names)
        if (!force) PendingFile::RefuseReplacing(name);
    const Interrupt interrupt;
    const std::unique_ptr<FrameSink> record = CreateRecord(out, test.Info());
    PendingFile beats(base + ".atr"), truth(base + ".truth.json");
    std::vector<short> frame(test.Info().leads.size());
    while (test.Read(frame.data())) {
        if (Interrupt::IsAsked()) throw HostError(out, "interrupted; nothing is written");
        record->Write(frame.data());
    }

    WriteAnnotations(beats, BeatAnnotations(test.Beats()));
    WriteTruth(truth, test);
    std::vector<PendingFile*> files = record->Finish();
    files.insert(files.end(), {&beats, &truth});
    PendingFile::CommitAll(files);
    return test.Warnings();
}
