#include "yfcurve/yfcurveundo.h"

#include "yfcurve/undo/history.h"

struct YFCurveUndo::Data : yfc::UndoHistory
{
    using UndoHistory::UndoHistory;
};

using yfc::EUndo;

YFCurveUndo::YFCurveUndo(std::size_t memory) : mData(new Data(memory)) {}
YFCurveUndo::~YFCurveUndo() = default;

bool YFCurveUndo::Watch(YFCurveNode* root)
{
    return root != nullptr && mData->Watch(*root);
}

void YFCurveUndo::Forget()
{
    mData->Forget();
}

void YFCurveUndo::StepBegin(const char* name)
{
    mData->StepBegin(name);
}

void YFCurveUndo::StepEnd()
{
    mData->StepEnd();
}

void YFCurveUndo::StepCancel()
{
    mData->StepCancel();
}

bool YFCurveUndo::IsStepOpen() const
{
    return mData->IsStepOpen();
}

bool YFCurveUndo::Add(std::unique_ptr<YFCurveUndoAction> action)
{
    return mData->Add(std::move(action));
}

void YFCurveUndo::Touch(YFCurveNode* node)
{
    if (node != nullptr) mData->Touch(*node);
}

bool YFCurveUndo::Undo()
{
    return mData->Go(EUndo::Undo);
}

bool YFCurveUndo::Redo()
{
    return mData->Go(EUndo::Redo);
}

int YFCurveUndo::GetUndoCount() const
{
    return mData->GetCount(EUndo::Undo);
}

int YFCurveUndo::GetRedoCount() const
{
    return mData->GetCount(EUndo::Redo);
}

const char* YFCurveUndo::GetUndoName(int index) const
{
    return mData->GetName(EUndo::Undo, index);
}

const char* YFCurveUndo::GetRedoName(int index) const
{
    return mData->GetName(EUndo::Redo, index);
}

void YFCurveUndo::Clear()
{
    mData->Clear();
}

std::uint64_t YFCurveUndo::GetChangeCount() const
{
    return mData->GetChangeCount();
}

std::size_t YFCurveUndo::GetByteCount() const
{
    return mData->GetByteCount();
}

std::size_t YFCurveUndo::GetMemory() const
{
    return mData->GetMemory();
}

void YFCurveUndo::SetMemory(std::size_t memory)
{
    mData->SetMemory(memory);
}
