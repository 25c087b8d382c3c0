// The first byte says whether the options tell the scale (bit 0) and the rate (bit 1), or that the rest are
// raw frames (bit 2).
#include "host/record/OpenRecord.h"
#include "host/support/HostError.h"
#include "tests/fuzz/FuzzFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    RecordOptions options;
    options.uVpb = (data[0] & 1) != 0 ? 2.5 : 0;
    options.fs = (data[0] & 2) != 0 ? 500 : 0;
    if ((data[0] & 4) != 0) options.raw = RawLayout{500, {"I", "II", "V5"}, 2.5};
    try {
        ReadThrough(*OpenRecord(WriteFuzzFile("r.csv", AsText(data + 1, size - 1)), options));
    } catch (const HostError&) {
    }
    return 0;
}
