#include "host/record/OpenRecord.h"
#include "host/support/HostError.h"
#include "tests/fuzz/FuzzFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        ReadThrough(*OpenRecord(WriteFuzzFile("r.edf", AsText(data, size))));
    } catch (const HostError&) {
    }
    return 0;
}
