#include <utility>

#include <pybind11/stl.h>

#include "python/bindings/bindings.h"

namespace yfpy {
namespace {

void Remember(Owner& owner)
{
    const Use use(owner);
    owner.Remember();
}

/// Opens a step, where edits are remembered.
/// \return  whether it is one of its own: not part of an open one
bool BeginStep(Owner& owner, const Text& name)
{
    const Use use(owner);
    YFCurveUndo* const history = owner.History();
    if (history == nullptr) return false;
    const bool isOutermost = !history->IsStepOpen();
    history->StepBegin(name.bytes.c_str());
    return isOutermost;
}

void EndStep(Owner& owner)
{
    const Use use(owner);
    if (owner.History() != nullptr) owner.EndStep();
}

/// Closes the outermost step and takes back what it has changed.
void CancelStep(Owner& owner)
{
    const Use use(owner, Purpose::Return);
    if (owner.History() == nullptr) return;
    owner.History()->StepCancel();
    owner.EndStep();
}

/// Goes one step back or forth.
void Go(Owner& owner, bool (YFCurveUndo::*go)(), int (YFCurveUndo::*count)() const, const std::string& what)
{
    const Use use(owner, Purpose::Return);
    YFCurveUndo* const history = owner.History();
    if (history == nullptr)
        Raise("Refused", "edits are not remembered yet; they are from the first use of Scene.history on");
    if (history->IsStepOpen()) Raise("Refused", "a step is open; " + what + " after its end");
    if ((history->*count)() == 0) Raise("Refused", "there is no step to " + what + "; see Scene.history");
    if (!WithoutInterpreter([&] { return (history->*go)(); })) throw std::bad_alloc();
}

using Names = std::vector<Text>;

/// The names of the steps that can be undone and of those that can be redone, the next one first.
std::pair<Names, Names> NamesOf(Owner& owner)
{
    const Use use(owner);
    Names done;
    Names undone;
    const YFCurveUndo* const history = owner.History();
    if (history == nullptr) return {done, undone};
    for (int i = 0; i < history->GetUndoCount(); ++i) done.push_back({history->GetUndoName(i)});
    for (int i = 0; i < history->GetRedoCount(); ++i) undone.push_back({history->GetRedoName(i)});
    return {done, undone};
}

void ForgetSteps(Owner& owner)
{
    const Use use(owner);
    if (owner.History() != nullptr) owner.History()->Clear();
}

}  // namespace

void AddHistory(py::module_& module)
{
    module.def("remember", Remember);
    module.def("begin_step", BeginStep);
    module.def("end_step", EndStep);
    module.def("cancel_step", CancelStep);
    module.def("undo",
               [](Owner& owner) { Go(owner, &YFCurveUndo::Undo, &YFCurveUndo::GetUndoCount, "undo"); });
    module.def("redo",
               [](Owner& owner) { Go(owner, &YFCurveUndo::Redo, &YFCurveUndo::GetRedoCount, "redo"); });
    module.def("step_names", NamesOf);
    module.def("forget_steps", ForgetSteps);
}

}  // namespace yfpy
