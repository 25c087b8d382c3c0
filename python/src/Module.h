// What Module.cpp puts together.
#pragma once

#include <nanobind/nanobind.h>

void AddSession(nanobind::module_& module);
void AddRecords(nanobind::module_& module);
void AddAnalysis(nanobind::module_& module);
void AddParts(nanobind::module_& module);
