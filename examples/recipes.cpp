// What hosts do most often, a function each. docs/how-do-i.md shows the same functions with more words.

#include <cstdio>
#include <memory>
#include <vector>

#include "ybaselib/ytalo.h"
#include "yfcurve/all.h"

namespace {

// >>> shape a tangent
void LandHard(YFCurve& curve, int key)
{
    const YFCurveModify modify(curve);                    // listeners hear of all four changes at once
    curve.KeySetTangeantMode(key, YFCURVE_TANGENT_USER);  // from here on the slopes are ours
    curve.KeySetBreak(key, true);                         // each side may have another one
    curve.KeySetLeftDerivative(key, -20.0f);              // units a second, just before the key
    curve.KeySetRightDerivative(key, 5.0f);               // and just behind it
}
// <<<

// >>> add keys
void AddBounce(YFCurve& curve)
{
    YFCurveKey key;
    key.Set(YTime::FromSeconds(0.0), 4.0f);              // cubic, with auto tangents
    curve.KeyAdd(key.GetTime(), key);                    // anywhere; replaces a key at that time
    curve.KeyAppendFast(YTime::FromSeconds(1.0), 2.0f);  // behind the last key, without a search
    curve.KeyAppendFast(YTime::FromSeconds(2.0), 4.0f);
    curve.KeyInsert(YTime::FromSeconds(0.25));  // a key more, and nothing else plays
}
// <<<

// >>> clean recorded motion
bool Clean(YFCurveNode& rotation)
{
    YFCurveFilterUnroll unroll;  // first, so that no filter sees a jump by whole turns
    YFCurveFilterKeyReducer reducer;
    reducer.SetPrecision(0.1);  // degrees
    if (unroll.Apply(rotation, true) && reducer.Apply(rotation, true)) return true;
    std::printf("%s %s\n", unroll.GetLastErrorString(), reducer.GetLastErrorString());
    return false;
}
// <<<

// >>> drag keys
void DragUp(YFCurveNode& property)
{
    YFCurveManipulator manipulator;
    manipulator.Add(&property);
    manipulator.MarkCurveNodeForManip(true, &property);
    manipulator.SelectKeys(kSelectionReplace, YTime::FromSeconds(0.5), YTime::FromSeconds(1.5), -1000.0,
                           1000.0);
    manipulator.MarkKeysForManipFromSelection();
    manipulator.BeginManipulation(kManipulationMove);
    for (const double height : {1.0, 2.5, 4.0}) manipulator.OffsetY(height);  // as the pointer moves
    manipulator.EndManipulation();
}
// <<<

// >>> undo edits
void DragAndThinkBetter(YFCurveNode& property)
{
    YFCurveUndo undo;  // a host keeps one for each document
    undo.Watch(&property);
    {
        const YFCurveUndoStep step(undo, "Drag keys");
        DragUp(property);
    }
    undo.Undo();  // every key is as it was, to the bit
    undo.Redo();
}
// <<<

// >>> hear of edits
void CountEdits(YFCurve*, YFCurveEvent* event, void* counter)
{
    if ((event->type & YFCURVEEVENT_KEY) != 0) ++*static_cast<int*>(counter);
}
// <<<

// >>> play hundreds of curves
void PlayAll(const YFCurveNode& scene, YTime start, YTime stop)
{
    const std::unique_ptr<YFCurveClip> clip = YFCurveClip::Create(scene);
    if (!clip) return;
    const std::unique_ptr<YFCurvePlayer> player = YFCurvePlayer::Create(*clip);
    if (!player) return;
    std::vector<float> pose(static_cast<std::size_t>(clip->GetChannelCount()));
    for (YTime time = start; time <= stop; time += YTIME_ONE_SECOND / 60) {
        player->Evaluate(time, pose);  // all that the scene's layers make, in the order of the tree
        std::printf("%.2f ", static_cast<double>(pose[0]));
    }
    std::puts("");
}
// <<<

}  // namespace

int main()
{
    const YFCurveNodePtr height(FCurveNodeCreateFromDataType(YDataType::Get(eDataType::Double), "Height"));
    height->CreateFCurve();
    YFCurve& curve = *height->FCurveGet();

    // >>> hear of edits
    int edits = 0;
    curve.CallbackRegister(CountEdits, &edits);
    // <<<
    AddBounce(curve);
    LandHard(curve, 2);
    DragAndThinkBetter(*height);

    // >>> read the keys
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        std::printf("%.1f %g slopes %g %g\n", curve.KeyGetTime(i).GetSecondDouble(),
                    static_cast<double>(curve.KeyGetValue(i)),
                    static_cast<double>(curve.KeyGetLeftDerivative(i)),
                    static_cast<double>(curve.KeyGetRightDerivative(i)));
    }
    // <<<
    std::printf("%d edits\n", edits);
    PlayAll(*height, YTIME_ZERO, YTIME_ONE_SECOND);

    const YFCurveNodePtr turn(
        FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalRotation), "Lcl Rotation"));
    turn->CreateFCurve();
    for (int frame = 0; frame <= 60; ++frame) {
        const double angles[] = {0.0, frame < 31 ? 6.0 * frame : 6.0 * frame - 360.0, 0.0};
        turn->KeyAppend(YTime::FromFrame(frame), angles);
    }
    if (!Clean(*turn)) return 1;
    std::printf("%d keys left, %g degrees at the end\n", turn->Get(1)->KeyGetCount(),
                static_cast<double>(turn->Get(1)->FCurveGet()->Evaluate(YTime::FromFrame(60))));
    return 0;
}
