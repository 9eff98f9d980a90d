// Keys of all curves below a node together.

#include <algorithm>

#include "yfcurve/curve/edit/storage.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/pool/keyattributes.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/treewalk.h"
#include "yfcurve/yfcurveptr.h"

using yfc::EWalk;

namespace {

bool TakesKeys(const YFCurveNode& node)
{
    return !node.IsNodeLocked();
}

// How many curves below a node take keys, and how many levels there are above them.
struct Extent
{
    int curves = 0;
    int levels = 0;
};

// Shows each curve that takes keys. Throws when memory runs out.
template<class Look>
Extent LookAt(const YFCurveNode& top, const Look& look)
{
    Extent extent;
    extent.levels = yfc::LevelsOf(top, [&](const YFCurveNode& node) {
        if (!TakesKeys(node)) return EWalk::Past;
        YFCurve* const curve = node.FCurveGet();
        if (curve == nullptr) return EWalk::Into;
        look(*curve);
        ++extent.curves;
        return EWalk::Past;
    });
    return extent;
}

// Hands each curve its value.
template<class Operation>
const double* HandOut(YFCurveNode& top, const double* values, int levels, const Operation& operation)
{
    yfc::WalkTree(
        top,
        [&](const YFCurveNode& node) {
            if (!TakesKeys(node)) return EWalk::Past;
            YFCurve* const curve = node.FCurveGet();
            if (curve == nullptr) return EWalk::Into;
            operation(*curve, static_cast<float>(*values++));
            return EWalk::Past;
        },
        levels);
    return values;
}

// The same once there is memory for all of it; without, no value is used.
template<class Operation>
const double* WithValues(YFCurveNode& node, const double* values, const Operation& operation)
{
    return yfc::GuardedOr(values, [&] {
        const Extent extent =
            LookAt(node, [](YFCurve& curve) { YFCurveStorage::MakeRoom(curve, curve.KeyGetCount() + 1); });
        const yfc::AttributeReserve reserve(extent.curves);
        return HandOut(node, values, extent.levels, operation);
    });
}

void AddKey(YFCurve& curve, YTime time, float value)
{
    YFCurveKey key;
    key.Set(time, value);
    curve.KeyAdd(time, key);
}

bool IsFlatAt(const YFCurve& curve, float value)
{
    constexpr int flatKeys = 3;
    if (curve.KeyGetCount() != flatKeys) return false;
    for (int i = 0; i < flatKeys; ++i) {
        if (curve.KeyGetValue(i) != value) return false;
    }
    return true;
}

void Record(YFCurve& curve, YTime time, float value)
{
    if (!IsFlatAt(curve, value)) {
        curve.KeyAppendFast(time, value);
        return;
    }
    const YTime last = curve.KeyGetTime(2);
    if (time <= last) return;
    const YFCurveModify modify(curve);
    curve.KeySetTime(2, time);
    curve.KeySetTime(1, last);
}

// --- Times of keys -------------------------------------------------------------------------------------
// Curves and external information are asked for the same times, by the index of the first key at or after a
// time.

int FirstFrom(const YFCurve& curve, YTime time)
{
    return yfc::FirstKeyFrom(curve, time);
}

int FirstFrom(const IYFCurveETI& information, YTime time)
{
    int low = 0;
    int high = information.ETIKeyGetCount();
    while (low < high) {
        const int middle = low + (high - low) / 2;
        if (information.ETIKeyGetTime(middle) < time) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

int CountOf(const YFCurve& curve)
{
    return curve.KeyGetCount();
}
int CountOf(const IYFCurveETI& information)
{
    return information.ETIKeyGetCount();
}
YTime TimeOf(const YFCurve& curve, int index)
{
    return curve.KeyGetTime(index);
}
YTime TimeOf(const IYFCurveETI& information, int index)
{
    return information.ETIKeyGetTime(index);
}

template<class Source>
YTime NextTime(const Source& source, YTime time)
{
    if (time == YTIME_INFINITE) return YTIME_INFINITE;
    const int index = FirstFrom(source, time + YTIME_ONE_TICK);
    return index < CountOf(source) ? TimeOf(source, index) : YTIME_INFINITE;
}

template<class Source>
YTime PreviousTime(const Source& source, YTime time)
{
    const int index = FirstFrom(source, time) - 1;
    return index >= 0 ? TimeOf(source, index) : YTIME_MINUS_INFINITE;
}

template<class Source>
bool HasKeyAt(const Source& source, YTime time)
{
    const int index = FirstFrom(source, time);
    return index < CountOf(source) && TimeOf(source, index) == time;
}

template<class Source>
YTime FirstTime(const Source& source)
{
    return CountOf(source) > 0 ? TimeOf(source, 0) : YTIME_INFINITE;
}

template<class Source>
YTime LastTime(const Source& source)
{
    return CountOf(source) > 0 ? TimeOf(source, CountOf(source) - 1) : YTIME_MINUS_INFINITE;
}

// Shows an operation everything that knows times of keys: the external information or else the curve, or
// those of the children.
template<class Operation>
void VisitTimes(const YFCurveNode& top, bool includeLayers, const Operation& operation)
{
    const auto visit = [&](const YFCurveNode& node) {
        const YFCurve* curve = node.FCurveGet();
        if (const IYFCurveETI* information = node.GetETI()) {
            operation(*information);
        } else if (curve != nullptr) {
            operation(*curve);
        } else {
            return EWalk::Into;
        }
        return EWalk::Past;
    };
    yfc::Guarded([&] {
        for (const YFCurveNode* layer = &top; layer != nullptr;
             layer = includeLayers ? layer->LayerGet() : nullptr) {
            yfc::WalkTree(*layer, visit);
        }
        return true;
    });
}

}  // namespace

// --- Setting and removing ------------------------------------------------------------------------------

const double* YFCurveNode::KeyAdd(YTime time, const double* values)
{
    return WithValues(*this, values, [=](YFCurve& curve, float value) { AddKey(curve, time, value); });
}

const double* YFCurveNode::KeyAppend(YTime time, const double* values)
{
    return WithValues(*this, values, [=](YFCurve& curve, float value) { curve.KeyAppendFast(time, value); });
}

const double* YFCurveNode::KeyRecord(YTime time, const double* values)
{
    return WithValues(*this, values, [=](YFCurve& curve, float value) { Record(curve, time, value); });
}

bool YFCurveNode::DeleteKey(YTime time)
{
    return yfc::Guarded([&] {
        const Extent extent = LookAt(*this, [](const YFCurve&) {});
        const yfc::AttributeReserve reserve(extent.curves);
        bool deleted = false;
        yfc::WalkTree(
            *this,
            [&](const YFCurveNode& node) {
                if (!TakesKeys(node)) return EWalk::Past;
                YFCurve* const curve = node.FCurveGet();
                if (curve == nullptr) return EWalk::Into;
                deleted |= !curve->IsLocked() && curve->Delete(time, time);
                return EWalk::Past;
            },
            extent.levels);
        return deleted;
    });
}

// --- Counting and finding ------------------------------------------------------------------------------

int YFCurveNode::KeyGetCount(bool includeLayers) const
{
    int keyCount = 0;
    const auto add = [&](const YFCurveNode& node) {
        if (!node.mData->curve) return EWalk::Into;
        keyCount += node.mData->curve->KeyGetCount();
        return EWalk::Past;
    };
    yfc::Guarded([&] {
        for (const YFCurveNode* layer = this; layer != nullptr;
             layer = includeLayers ? layer->LayerGet() : nullptr) {
            yfc::WalkTree(*layer, add);
        }
        return true;
    });
    return keyCount;
}

int YFCurveNode::KeyGetCountOnChild(int index) const
{
    int keyCount = 0;
    for (const YFCurveNode* layer = this; layer != nullptr; layer = layer->LayerGet()) {
        const YFCurveNode* const child = layer->Get(index);
        if (child != nullptr) keyCount += child->KeyGetCount();
    }
    return keyCount;
}

bool YFCurveNode::IsKey(YTime time, bool includeLayers) const
{
    bool found = false;
    VisitTimes(*this, includeLayers, [&](const auto& source) { found = found || HasKeyAt(source, time); });
    return found;
}

YTime YFCurveNode::GetNextKeyTime(YTime time, bool includeLayers) const
{
    YTime next = YTIME_INFINITE;
    VisitTimes(*this, includeLayers,
               [&](const auto& source) { next = std::min(next, NextTime(source, time)); });
    return next;
}

YTime YFCurveNode::GetPrevKeyTime(YTime time, bool includeLayers) const
{
    YTime previous = YTIME_MINUS_INFINITE;
    VisitTimes(*this, includeLayers,
               [&](const auto& source) { previous = std::max(previous, PreviousTime(source, time)); });
    return previous;
}

YTime YFCurveNode::GetFirstKeyTime(bool includeLayers) const
{
    YTime first = YTIME_INFINITE;
    VisitTimes(*this, includeLayers, [&](const auto& source) { first = std::min(first, FirstTime(source)); });
    return first;
}

YTime YFCurveNode::GetLastKeyTime(bool includeLayers) const
{
    YTime last = YTIME_MINUS_INFINITE;
    VisitTimes(*this, includeLayers, [&](const auto& source) { last = std::max(last, LastTime(source)); });
    return last;
}

// --- External time information -------------------------------------------------------------------------

int YFCurveNode::ETIKeyGetCount() const
{
    return GetETI() != nullptr ? CountOf(*GetETI()) : 0;
}

bool YFCurveNode::ETIIsKey(YTime time) const
{
    return GetETI() != nullptr && HasKeyAt(*GetETI(), time);
}

YTime YFCurveNode::ETIGetNextKeyTime(YTime time) const
{
    return GetETI() != nullptr ? NextTime(*GetETI(), time) : YTIME_INFINITE;
}

YTime YFCurveNode::ETIGetPrevKeyTime(YTime time) const
{
    return GetETI() != nullptr ? PreviousTime(*GetETI(), time) : YTIME_MINUS_INFINITE;
}

YTime YFCurveNode::ETIGetFirstKeyTime() const
{
    return GetETI() != nullptr ? FirstTime(*GetETI()) : YTIME_INFINITE;
}

YTime YFCurveNode::ETIGetLastKeyTime() const
{
    return GetETI() != nullptr ? LastTime(*GetETI()) : YTIME_MINUS_INFINITE;
}

YTime YFCurveNode::ETINodeTime2GlobalTime(YTime time) const
{
    return GetETI() != nullptr ? GetETI()->ETINodeTime2GlobalTime(time) : time;
}

YTime YFCurveNode::ETIGlobalTime2NodeTime(YTime time) const
{
    return GetETI() != nullptr ? GetETI()->ETIGlobalTime2NodeTime(time) : time;
}

YTime YFCurveNode::ETIGetGlobalActiveStart() const
{
    return GetETI() != nullptr ? GetETI()->ETIGetGlobalActiveStart() : YTIME_MINUS_INFINITE;
}

YTime YFCurveNode::ETIGetDuration() const
{
    return GetETI() != nullptr ? GetETI()->ETIGetDuration() : YTIME_ZERO;
}

bool YFCurveNode::ETIIsGlobalTimeInSpan(YTime time) const
{
    const YTime duration = ETIGetDuration();
    if (duration == YTIME_ZERO) return true;
    const YTime start = ETIGetGlobalActiveStart();
    if (time < start || duration < YTIME_ZERO) return false;
    // Unsigned, since the end may be later than any time.
    const auto elapsed = static_cast<std::uint64_t>(time.Get()) - static_cast<std::uint64_t>(start.Get());
    return duration == YTIME_INFINITE || elapsed <= static_cast<std::uint64_t>(duration.Get());
}
