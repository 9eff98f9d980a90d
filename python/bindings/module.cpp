#include "python/bindings/bindings.h"

namespace {

/// Classes and locks are those of the process, so that a second interpreter would share what it must not. The package
/// asks at its import, as Python only calls this module's own start in the first interpreter that imports it.
void RefuseSubinterpreter()
{
    if (PyInterpreterState_Get() != PyInterpreterState_Main())
        throw yfpy::py::import_error("yfcurve works in the main interpreter alone; use a process instead");
}

}  // namespace

PYBIND11_MODULE(_core, module)
{
    RefuseSubinterpreter();
    module.def("refuse_subinterpreter", RefuseSubinterpreter);
    yfpy::py::module_::import("atexit").attr("register")(
        yfpy::py::cpp_function(yfpy::WithoutLock::BeginExit));
    module.attr("__version__") = YFCURVE_VERSION;
    yfpy::AddCurves(module);
    yfpy::AddNodes(module);
    yfpy::AddScenes(module);
    yfpy::AddSampling(module);
    yfpy::AddWork(module);
    yfpy::AddLayers(module);
    yfpy::AddEdits(module);
    yfpy::AddHistory(module);
    yfpy::AddExchange(module);
    yfpy::AddClips(module);
}
