#pragma once

#include "python/bindings/owner.h"

/// \file
/// The parts of the module `yfcurve._core`, each in a source of its own. Times are ticks here, and patterns
/// lists; the package in python/yfcurve gives them their form, checks what needs no scene, and has the
/// documentation.

namespace yfpy {

void AddCurves(py::module_& module);
void AddNodes(py::module_& module);
void AddScenes(py::module_& module);
void AddSampling(py::module_& module);
void AddWork(py::module_& module);
void AddLayers(py::module_& module);
void AddEdits(py::module_& module);
void AddHistory(py::module_& module);
void AddExchange(py::module_& module);
void AddClips(py::module_& module);

}  // namespace yfpy
