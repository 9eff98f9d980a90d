// Keys at the same times on several curves: a sweep through the key times of all of them, earliest first. The
// keys behind the place of work are aside meanwhile (ascendingedit.h), so that each insertion moves few.

#include <algorithm>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "yfcurve/curve/edit/ascendingedit.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilterkeysync.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

namespace {

enum EMessage
{
    kLeftUnchanged = 1,
    kKeyCounts = 2,
    kKeyTimes = 3,
    kTooMany = 4,
    kNoCurve = 5
};

constexpr const char* kMessages[] = {"No key",         "Left unchanged",  "Multiple key count",
                                     "Unsynched keys", "Too many curves", nullptr};
constexpr const char* kUnchangedText = "KeySyncFilter, No key were changed by filter.";
constexpr const char* kTooManyText = "KeySyncFilter, Curve count is too mush. No support above 20 curves..";

constexpr const char* kNoCurveText = "Node doesn't contain FCurve.";

// The curves of the children, in order; a child without one leaves a null.
std::vector<YFCurve*> CurvesBelow(const YFCurveNode& node)
{
    std::vector<YFCurve*> curves;
    for (int i = 0; i < node.GetCount(); ++i) curves.push_back(node.Get(i)->FCurveGet());
    return curves;
}

bool HasGap(const std::vector<YFCurve*>& curves)
{
    return std::find(curves.begin(), curves.end(), nullptr) != curves.end();
}

// A curve with its shape before the first key was inserted.
struct Track
{
    explicit Track(YFCurve& c) : curve(c), shape(c.Copy())
    {
        if (!c.IsLocked()) edit.emplace(c);
    }

    // The time of the first key at or after a time, of the last key when there is none. The sweep only goes
    // forward, and so does the cursor.
    YTime KeyTimeFrom(YTime time)
    {
        if (edit) edit->Reach(time);
        const int last = curve.KeyGetCount() - 1;
        cursor = std::clamp(cursor, 0, last);
        while (cursor < last && curve.KeyGetTime(cursor) < time) ++cursor;
        return curve.KeyGetTime(cursor);
    }

    void SetKeyAt(YTime time)
    {
        const int index = edit->KeyInsert(time, &cursor);
        const float value = shape->Evaluate(time, &shapeHint);
        // A zero below zero stays one.
        if (curve.KeyGetValue(index) != value) curve.InternalPriKeyGetPtr(index)->SetValue(value);
        curve.CallbackAddEvent(YFCURVEEVENT_KEY_VALUE_CHANGED, index);
    }

    YFCurve& curve;
    YFCurvePtr shape;
    std::optional<YFCurveAscendingEdit> edit;  // none on a locked curve
    int cursor = -1;
    int shapeHint = -1;
};

// Brackets the edits of all curves that are not locked. The brackets of all are closed, deliberately: on a
// locked curve that is one of the host's.
class Brackets
{
  public:
    explicit Brackets(std::span<YFCurve* const> curves) : mCurves(curves)
    {
        int mostKeys = 0;
        for (const YFCurve* curve : curves) mostKeys = std::max(mostKeys, curve->KeyGetCount());
        for (YFCurve* curve : curves) {
            if (curve->IsLocked()) continue;
            curve->ResizeKeyBuffer(mostKeys, false);
            curve->KeyModifyBegin();
        }
    }
    ~Brackets()
    {
        for (YFCurve* curve : mCurves) curve->KeyModifyEnd();
    }
    Brackets(const Brackets&) = delete;
    Brackets& operator=(const Brackets&) = delete;

  private:
    std::span<YFCurve* const> mCurves;
};

// The earliest key time after a time, infinity when no curve offers one. A curve offers its first key at or
// after the time, and no other where that one is exactly on it.
YTime NextKeyTime(std::deque<Track>& tracks, YTime time)
{
    YTime next = YTIME_INFINITE;
    for (Track& track : tracks) {
        if (track.curve.KeyGetCount() == 0) continue;
        const YTime offered = track.KeyTimeFrom(time);
        if (offered > time && offered < next) next = offered;
    }
    return next;
}

void Synchronise(std::span<YFCurve* const> curves, YTime start, YTime stop)
{
    std::deque<Track> tracks;
    for (auto curve = curves.begin(); curve != curves.end(); ++curve) {
        // A curve may be in the list twice.
        if (std::find(curves.begin(), curve, *curve) == curve) tracks.emplace_back(**curve);
    }
    // From a tick earlier, so that keys exactly at the start are found.
    YTime time = start <= YTIME_MINUS_INFINITE ? YTIME_MINUS_INFINITE : start - YTIME_ONE_TICK;
    while (time < stop) {
        time = NextKeyTime(tracks, time);
        if (time == YTIME_INFINITE || time > stop) break;
        for (Track& track : tracks) {
            if (track.edit) track.SetKeyAt(time);
        }
        time += YTIME_ONE_TICK;
    }
    for (Track& track : tracks) {
        if (track.edit) track.edit->Finish();
    }
}

}  // namespace

YClassDefinition& YFCurveFilterKeySync::StaticClass()
{
    static constinit YClassDefinition definition("YFCurveFilterKeySync", &YFCurveFilter::StaticClass,
                                                 {.summary = "keys at the same times on several curves",
                                                  .create = &YCreateObject<YFCurveFilterKeySync>,
                                                  .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterKeySync::YFCurveFilterKeySync() : YFCurveFilterOf("FCurve Key Synchronizer", kMessages, 6)
{
    SetStartTime(YTIME_MINUS_INFINITE);
    SetStopTime(YTIME_INFINITE);
}

// --- Whether there is anything to do -------------------------------------------------------------------

bool YFCurveFilterKeySync::NeedApply(YFCurve&)
{
    GetError().SetLastError(kLeftUnchanged, kUnchangedText);
    return false;
}

bool YFCurveFilterKeySync::NeedApply(YFCurve** curves, int count)
{
    if (count < 1 || curves == nullptr || std::find(curves, curves + count, nullptr) != curves + count) {
        return false;
    }
    const int keyCount = curves[0]->KeyGetCount();
    const auto differs = [&](const YFCurve* curve) { return curve->KeyGetCount() != keyCount; };
    if (std::any_of(curves, curves + count, differs)) {
        GetError().SetLastError(kKeyCounts,
                                "KeySyncFilter, Key count is different in the Curves to be filtered.");
        return true;
    }
    for (int key = 0; key < keyCount; ++key) {
        const YTime time = curves[0]->KeyGetTime(key);
        for (int i = 1; i < count; ++i) {
            if (curves[i]->KeyGetTime(key) == time) continue;
            GetError().SetLastError(kKeyTimes, "KeySyncFilter, keys are not synchronized.");
            return true;
        }
    }
    return false;
}

// Refused from 20 children on, although `Apply` takes as many, deliberately.
bool YFCurveFilterKeySync::NeedApply(YFCurveNode& node, bool)
{
    if (node.GetCount() >= MaximumCurveCount) {
        GetError().SetLastError(kTooMany, kTooManyText);
        return false;
    }
    return yfc::Guarded([&] {
        std::vector<YFCurve*> curves = CurvesBelow(node);
        if (!HasGap(curves)) return NeedApply(curves.data(), static_cast<int>(curves.size()));
        GetError().SetLastError(kNoCurve, kNoCurveText);
        return false;
    });
}

// --- Synchronising -------------------------------------------------------------------------------------

bool YFCurveFilterKeySync::Apply(YFCurve&)
{
    return NothingToDo(kLeftUnchanged, kUnchangedText);
}

bool YFCurveFilterKeySync::FilterCurves(YFCurve** curves, int count)
{
    if (count < 2) return NothingToDo(kLeftUnchanged, kUnchangedText);
    if (count > MaximumCurveCount) return Refuse(kTooMany, kTooManyText);
    return yfc::Guarded([&] {
        const std::span<YFCurve* const> all(curves, static_cast<std::size_t>(count));
        const Brackets brackets(all);
        Synchronise(all, GetStartTime(), GetStopTime());
        return true;
    });
}

bool YFCurveFilterKeySync::FilterNode(YFCurveNode& node, bool)
{
    return yfc::Guarded([&] {
        std::vector<YFCurve*> curves = CurvesBelow(node);
        if (!HasGap(curves)) return Apply(curves.data(), static_cast<int>(curves.size()));
        return Refuse(kNoCurve, kNoCurveText);
    });
}
