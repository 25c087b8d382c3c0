// qzstress._native: the library and the program's analysis as the Python sources beside it use them. It
// checks what could harm memory; what is for people is checked and worded in Python.
#include "python/src/Module.h"

#include "host/results/ResultFiles.h"
#include "host/support/HostError.h"

namespace nb = nanobind;

NB_MODULE(_native, module) {
    nb::exception<HostError>(module, "RecordError", PyExc_ValueError);
    module.attr("program") = kProgram;
    AddSession(module);
    AddRecords(module);
    AddAnalysis(module);
    AddParts(module);
}
