#include "host/HostError.h"
#include "host/OpenRecord.h"
#include "tests/fuzz/FuzzFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        ReadThrough(*OpenRecord(WriteFuzzFile("r.edf", AsText(data, size))));
    } catch (const HostError&) {
    }
    return 0;
}
