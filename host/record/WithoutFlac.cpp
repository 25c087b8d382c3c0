// What stands for the reader of FLAC in a build without libFLAC: it refuses every file.
#include "host/record/FlacFile.h"
#include "host/support/HostError.h"

struct FlacFile::State {};

FlacFile::FlacFile(const InputFile& file, long long, std::size_t, int) {
    throw HostError(file.Path(),
                    "formats 508, 516 and 524 are left out of this build: libFLAC (Debian: libflac-dev) was "
                    "not there");
}
FlacFile::~FlacFile() = default;
FlacFile::FlacFile(FlacFile&&) noexcept = default;
long long FlacFile::Samples() const { return 0; }
bool FlacFile::IsCut() const { return false; }
void FlacFile::Rewind() {}
const std::int32_t* FlacFile::Next() { return nullptr; }
