// What stands for changes of rate in a build without libsamplerate: recordings that need one are refused.
#include "host/record/ResampledRecord.h"
#include "host/support/HostError.h"
#include "host/support/Text.h"

struct ResampledRecord::Converter {};

ResampledRecord::ResampledRecord(std::unique_ptr<FrameSource> source)
    : m_source(std::move(source)), m_ratio(1) {
    const SourceInfo& info = m_source->Info();
    throw HostError(info.name, "its " + Number(info.storedHz, 3) + " Hz would have to be changed to " +
                                   std::to_string(info.fs) +
                                   " Hz, which is left out of this build: libsamplerate (Debian: "
                                   "libsamplerate0-dev) was not there");
}
ResampledRecord::~ResampledRecord() = default;
bool ResampledRecord::Read(short*) { return false; }
std::vector<std::string> ResampledRecord::Warnings() const { return {}; }
