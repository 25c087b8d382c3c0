#include "host/record/Annotations.h"
#include "host/support/HostError.h"
#include "tests/fuzz/FuzzFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        ReadAnnotations(WriteFuzzFile("r.atr", AsText(data, size)));
    } catch (const HostError&) {
    }
    return 0;
}
