// Carrying on is what games do from one clip to another: D. Bollo, "Inertialization: High-Performance
// Animation Transitions in Gears of War", 2018, here with a cubic.

#include "ymotion/clipping/append.h"

#include <cmath>
#include <map>
#include <new>

#include <fmt/format.h>

#include "ybaselib/rotation/turns.h"
#include "ymotion/clipping/bake.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/vectors.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/shell_word.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

/// When the second scene plays, in times of the first one.
struct Placing
{
    YTime start;   ///< the second one begins
    YTime faded;   ///< the blend is over: the first one no longer counts; `start` without a blend
    YTime stop;    ///< the second one ends
    YTime offset;  ///< what is added to the second one's own times
    FrameRate rate;
    Blending blending;

    YTime Blend() const { return faded - start; }
    double PartAt(YTime time) const { return (time - start).GetSecondDouble() / Blend().GetSecondDouble(); }

    /// How much the second one counts at a time within a fade, from 0 to 1, without a jump of speed at either end.
    double Share(YTime time) const
    {
        const double part = PartAt(time);
        return part * part * (3.0 - 2.0 * part);
    }
};

struct PropertyPair
{
    YFCurveNode* first;
    YFCurveNode* second;
};

[[noreturn]] void FailProperty(const Scene& with, const Scene& without, const std::string& path)
{
    throw Failure(fmt::format("{}: has no property {}, as {} has; take it away there, or join others",
                              without.file, QuotedName(path), with.file));
}

[[noreturn]] void FailKind(const Scene& next, const std::string& path, const Scene& scene,
                           const std::string& what)
{
    throw Failure(fmt::format("{}: {} is of another kind than in {}: {}", next.file, QuotedName(path),
                              scene.file, what));
}

/// Throws `Failure` for properties of one name of which one cannot go on where the other ends.
void CheckAlike(const Scene& scene, const NamedProperty& property, const Scene& next,
                const YFCurveNode& other)
{
    if (CurvesOf(*property.node).size() != CurvesOf(other).size() ||
        property.node->GetRotationOrder() != other.GetRotationOrder())
        FailKind(next, property.path, scene, "other components, or another order; join others");
    const bool turns = TurnsAsQuaternions(*property.node);
    if (turns == TurnsAsQuaternions(other)) return;
    FailKind(next, property.path, scene,
             fmt::format("it turns as quaternions do in one of them, which 'yfcurve filter {} OUT --apply "
                         "quat-to-euler' changes",
                         ShellWord(turns ? scene.file : next.file)));
}

std::vector<PropertyPair> PairProperties(const Scene& scene, const Scene& next)
{
    std::map<std::pair<std::string, int>, YFCurveNode*> byPath;
    for (const NamedProperty& property : NamedProperties(next))
        byPath[{property.path, property.place}] = property.node;
    std::vector<PropertyPair> pairs;
    for (const NamedProperty& property : NamedProperties(scene)) {
        const auto found = byPath.find({property.path, property.place});
        if (found == byPath.end()) FailProperty(scene, next, property.path);
        CheckAlike(scene, property, next, *found->second);
        pairs.push_back({property.node, found->second});
        byPath.erase(found);
    }
    if (!byPath.empty()) FailProperty(next, scene, byPath.begin()->first.first);
    return pairs;
}

/// Gives keys to curves without where their counterparts have some, or another value.
void GiveKeys(const std::vector<YFCurve*>& first, YTime firstStart, const std::vector<YFCurve*>& second,
              YTime secondStart)
{
    const auto give = [](YFCurve& curve, YTime time) {
        if (curve.KeyGetCount() == 0 && curve.KeyInsert(time) < 0) throw std::bad_alloc();
    };
    for (std::size_t i = 0; i < first.size(); ++i) {
        const bool plain = first[i]->KeyGetCount() == 0 && second[i]->KeyGetCount() == 0;
        if (plain && first[i]->GetValue() == second[i]->GetValue()) continue;
        give(*first[i], firstStart);
        give(*second[i], secondStart);
    }
}

/// Adds keys so that a curve holds its last value until a tick before a time, and has another value at that time.
void ExtendTo(YFCurve& curve, YTime time, float value)
{
    if (curve.KeyInsert(time - YTIME_ONE_TICK) < 0 || curve.KeyInsert(time) < 0) throw std::bad_alloc();
    curve.KeySetValue(curve.KeyGetCount() - 1, value);
}

void AppendCurve(YFCurve& curve, const YFCurve& next, const Placing& placing)
{
    if (curve.KeyGetCount() == 0) return;
    curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
    if (placing.stop > curve.KeyGetTime(curve.KeyGetCount() - 1))
        ExtendTo(curve, placing.stop, next.KeyGetValue(next.KeyGetCount() - 1));
    ReplaceSpan(curve, next, placing.start, placing.stop, placing.offset);
    // Of a single pose, the one that it takes the place of would go on a tick later.
    while (curve.KeyGetTime(curve.KeyGetCount() - 1) > placing.stop) {
        if (!curve.KeyRemove(curve.KeyGetCount() - 1)) throw std::bad_alloc();
    }
    curve.SetPostExtrapolation(next.GetPostExtrapolation());
    curve.SetPostExtrapolationCount(next.GetPostExtrapolationCount());
}

/// What is left of a difference at a time within a blend. It fades away: nothing is left at the blend's end.
/// \param difference  how much there is at the start of the blend
/// \param speed       how fast it grows there, in units per second
double Remaining(double difference, double speed, const Placing& placing, YTime time)
{
    const double u = placing.PartAt(time);
    const double seconds = placing.Blend().GetSecondDouble();
    return difference * (1.0 + u * u * (2.0 * u - 3.0)) + speed * seconds * u * (1.0 - u) * (1.0 - u);
}

/// The values while one property gives way to another.
ValueMotion BlendedValues(const PropertyPair& pair, const Placing& placing)
{
    const std::vector<YFCurve*> first = CurvesOf(*pair.first);
    const std::vector<YFCurve*> second = CurvesOf(*pair.second);
    if (placing.blending == Blending::Fade) {
        return [first, second, placing](YTime time) {
            std::vector<double> values;
            const double share = placing.Share(time);
            for (std::size_t i = 0; i < first.size(); ++i) {
                values.push_back(double{first[i]->Evaluate(time)} * (1.0 - share) +
                                 double{second[i]->Evaluate(time - placing.offset)} * share);
            }
            return values;
        };
    }
    std::vector<double> differences;
    std::vector<double> speeds;
    const YTime start = placing.start - placing.offset;
    for (std::size_t i = 0; i < first.size(); ++i) {
        differences.push_back(double{first[i]->Evaluate(placing.start)} - second[i]->Evaluate(start));
        speeds.push_back(double{first[i]->EvaluateLeftDerivative(placing.start)} -
                         second[i]->EvaluateRightDerivative(start));
    }
    return [second, differences, speeds, placing](YTime time) {
        std::vector<double> values;
        for (std::size_t i = 0; i < second.size(); ++i) {
            values.push_back(double{second[i]->Evaluate(time - placing.offset)} +
                             Remaining(differences[i], speeds[i], placing, time));
        }
        return values;
    };
}

/// The axis of a turn by at most 180 degrees, as long as it turns, in radians.
YgeVector TurnVector(YgeQuaternion turn)
{
    if (turn.w < 0) turn = {-turn.x, -turn.y, -turn.z, -turn.w};
    const double sine = std::sqrt(turn.x * turn.x + turn.y * turn.y + turn.z * turn.z);
    const double factor = sine > 0 ? 2.0 * std::atan2(sine, turn.w) / sine : 0.0;
    return {turn.x * factor, turn.y * factor, turn.z * factor};
}

YgeQuaternion TurnOf(const YgeVector& vector)
{
    const double angle = Length(vector);
    const double factor = angle > 0 ? std::sin(angle / 2.0) / angle : 0.0;
    return {vector.x * factor, vector.y * factor, vector.z * factor, std::cos(angle / 2.0)};
}

/// How fast the vector of a turn changes while the turn grows at a speed about the axes of the world, in radians a
/// second. These are the first terms of a series; the next one has the fourth power of the angle and is divided by 720.
YgeVector VectorSpeed(const YgeVector& turn, const YgeVector& speed)
{
    const YgeVector once = Cross(turn, speed);
    const YgeVector twice = Cross(turn, once);
    return {speed.x - once.x / 2 + twice.x / 12, speed.y - once.y / 2 + twice.y / 12,
            speed.z - once.z / 2 + twice.z / 12};
}

/// The difference of two orientations when a blend starts, and how fast it grows.
struct TurnDifference
{
    YgeVector vector;
    YgeVector speed;
};

TurnDifference DifferenceOf(const PropertyPair& pair, const Placing& placing)
{
    constexpr int kParts = 64;  // a speed is measured over 1/64 of a frame
    const YTime start = placing.start - placing.offset;
    const YTime step = TimeOfFrame(1, placing.rate) / kParts;
    const YgeQuaternion end = OwnOrientation(*pair.first, placing.start);
    const YgeQuaternion beginning = OwnOrientation(*pair.second, start);
    const YgeQuaternion turn = end * beginning.GetConjugate();
    const YgeVector before =
        TurnVector(end * OwnOrientation(*pair.first, placing.start - step).GetConjugate());
    const YgeVector after =
        YgeMatrix(turn) * TurnVector(OwnOrientation(*pair.second, start + step) * beginning.GetConjugate());
    const double rate = 1.0 / step.GetSecondDouble();
    const YgeVector speed{(before.x - after.x) * rate, (before.y - after.y) * rate,
                          (before.z - after.z) * rate};
    return {TurnVector(turn), VectorSpeed(TurnVector(turn), speed)};
}

/// The orientations while one rotation gives way to another.
TurnMotion BlendedTurns(const PropertyPair& pair, const Placing& placing)
{
    const YFCurveNode& first = *pair.first;
    const YFCurveNode& second = *pair.second;
    if (placing.blending == Blending::Fade) {
        return [&first, &second, placing](YTime time) {
            return Slerp(OwnOrientation(first, time), OwnOrientation(second, time - placing.offset),
                         placing.Share(time));
        };
    }
    return [&second, gap = DifferenceOf(pair, placing), placing](YTime time) {
        const YgeVector rest{Remaining(gap.vector.x, gap.speed.x, placing, time),
                             Remaining(gap.vector.y, gap.speed.y, placing, time),
                             Remaining(gap.vector.z, gap.speed.z, placing, time)};
        return TurnOf(rest) * OwnOrientation(second, time - placing.offset);
    };
}

/// What plays while one property gives way to another, as a property of its own.
YFCurveNodePtr Blended(const PropertyPair& pair, const Placing& placing)
{
    YFCurveNodePtr blended(pair.first->SingleLayerCopy());
    if (blended == nullptr) throw std::bad_alloc();
    blended->SetRotationOrder(pair.first->GetRotationOrder());
    blended->SetUseQuaternion(pair.first->GetUseQuaternion());
    const TimeSpan span{placing.start, placing.faded};
    std::vector<YTime> times = KeyTimesOf(CurvesOf(*pair.first), span);
    for (const YTime time :
         KeyTimesOf(CurvesOf(*pair.second), {span.start - placing.offset, span.stop - placing.offset}))
        times.push_back(time + placing.offset);
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    const BakePlaces places{std::move(times), placing.rate};
    if (HasThreeAngles(*pair.first)) {
        BakeTurns(*blended, places, BlendedTurns(pair, placing), OwnAngles(*pair.first, span.start));
    } else {
        BakeValues(CurvesOf(*blended), places, BlendedValues(pair, placing));
    }
    return blended;
}

/// Raises angles by whole turns, so that they go on from where others have come to.
void RaiseByTurns(const YFCurveNode& rotation, YTime time, const std::array<float, 3>& reached)
{
    for (int i = 0; i < 3; ++i) {
        YFCurve& curve = *rotation.Get(i)->FCurveGet();
        const double turns = ybase::WholeTurns(curve.Evaluate(time), reached[static_cast<std::size_t>(i)]);
        if (turns != 0) OffsetValues(curve, turns);
    }
}

/// Gives the ends of a blend the very values of the motion beside them, where they differ from these by rounding alone.
void JoinEnds(YFCurve& blended, float start, float stop)
{
    const auto meet = [&](int key, float value) {
        const float largest = std::max(1.0f, std::abs(value));
        if (std::abs(blended.KeyGetValue(key) - value) < 1e-4f * largest) blended.KeySetValue(key, value);
    };
    meet(0, start);
    meet(blended.KeyGetCount() - 1, stop);
}

void AppendProperty(const PropertyPair& pair, const Placing& placing)
{
    const std::vector<YFCurve*> first = CurvesOf(*pair.first);
    const std::vector<YFCurve*> second = CurvesOf(*pair.second);
    const bool blends = placing.faded > placing.start && pair.first->KeyGetCount() > 0;
    const YFCurveNodePtr blended = blends ? Blended(pair, placing) : nullptr;
    const std::vector<YFCurve*> between = blends ? CurvesOf(*blended) : std::vector<YFCurve*>();
    if (HasThreeAngles(*pair.first)) {
        std::array<float, 3> reached{};
        for (std::size_t i = 0; i < 3; ++i)
            reached[i] = blends ? between[i]->Evaluate(placing.faded) : first[i]->Evaluate(placing.start);
        RaiseByTurns(*pair.second, placing.faded - placing.offset, reached);
    }
    for (std::size_t i = 0; i < first.size(); ++i) {
        if (first[i]->KeyGetCount() == 0) continue;
        const float start = first[i]->Evaluate(placing.start);
        AppendCurve(*first[i], *second[i], placing);
        if (!blends) continue;
        JoinEnds(*between[i], start, first[i]->Evaluate(placing.faded));
        ReplaceSpan(*first[i], *between[i], placing.start, placing.faded, YTIME_ZERO);
    }
}

/// The layers above the base layer, which have no blends.
void AppendLayers(const Scene& next, const PropertyPair& pair, const Placing& placing)
{
    for (YFCurveNode* layer : LayersOf(*pair.first)) {
        if (layer == pair.first) continue;
        const YFCurveNode* other = pair.second->LayerGet(layer->GetLayerID());
        const std::vector<YFCurve*> first = CurvesOf(*layer);
        if (other == nullptr || CurvesOf(*other).size() != first.size())
            throw Failure(
                fmt::format("{}: {} has other layers", next.file, QuotedName(PathOf(*pair.second))));
        const std::vector<YFCurve*> second = CurvesOf(*other);
        for (std::size_t i = 0; i < first.size(); ++i) AppendCurve(*first[i], *second[i], placing);
    }
}

void AppendWeights(Scene& scene, const Scene& next, const Placing& placing, const TimeSpan& span,
                   const TimeSpan& nextSpan)
{
    for (const auto& layer : scene.layers.Layers()) {
        const Layer* other = next.layers.Find(layer->GetLayerID());
        if (layer->WeightCurve() == nullptr || other == nullptr || other->WeightCurve() == nullptr) continue;
        GiveKeys({layer->WeightCurve()}, span.start, {other->WeightCurve()}, nextSpan.start);
        SetKeysAtEnds(scene, *layer->WeightCurve(), span);
        SetKeysAtEnds(next, *other->WeightCurve(), nextSpan);
        AppendCurve(*layer->WeightCurve(), *other->WeightCurve(), placing);
    }
}

}  // namespace

void CheckHasSameProperties(const Scene& scene, const Scene& next)
{
    PairProperties(scene, next);
}

void CheckTakesSeam(const Scene& scene, const Seam& seam)
{
    CurvesToMove(scene);
    const TimeSpan span = SpanOf(scene);
    if (seam.blend == YTIME_ZERO) return;
    if (span.Length() < seam.blend * 2) {
        throw Failure(fmt::format("{}: lasts {} s, less than twice the blend of {} s; choose a shorter one",
                                  scene.file, ShortSecondsText(span.Length()), ShortSecondsText(seam.blend)));
    }
    for (const NamedProperty& property : NamedProperties(scene)) CheckHasNoLayers(scene, *property.node);
}

GroundMove Append(Scene& scene, Scene next, const Seam& seam)
{
    const TimeSpan span = SpanOf(scene);
    const YTime nextStart = SpanOf(next).start;
    const YTime start = seam.blending == Blending::Fade ? span.stop - seam.blend : span.stop;
    const YTime offset = start - nextStart;
    CheckReach(scene, (SpanOf(next).stop + offset).GetSecondDouble());
    // Keys that would come to lie a tick or two beside a frame of the first part are moved by that much before they are
    // appended, while the frames of the second part still tell on which side of a jump its frame is.
    const SceneFrames frames{span.start, scene.rate};
    const auto onFrame = [&](YTime time) {
        return time == nextStart ? time : frames.Onto(time + offset) - offset;
    };
    for (YFCurve* curve : CurvesToMove(next)) Retime(*curve, {nextStart, next.rate}, onFrame);
    const TimeSpan nextSpan = SpanOf(next);  // whose end may have been moved, too
    const Placing placing{start,  start + seam.blend, nextSpan.stop + offset,
                          offset, scene.rate,         seam.blending};
    GroundMove move;
    if (seam.align && scene.HasSkeleton()) {
        move = MoveOnto(RootPoseAt(next, nextSpan.start), RootPoseAt(scene, start));
        MoveRoots(next, move);
    }
    for (const PropertyPair& pair : PairProperties(scene, next)) {
        GiveKeys(CurvesOf(*pair.first), span.start, CurvesOf(*pair.second), nextSpan.start);
        StopIfAsked();
        SetKeysAtEnds(scene, *pair.first, span);
        SetKeysAtEnds(next, *pair.second, nextSpan);
        // Between keys such a rotation plays other angles than its curves show. Cut curve by curve, it would therefore
        // turn in another way beside the blend, so that all three curves get keys where it is cut.
        if (TurnsAsQuaternions(*pair.first)) {
            SetKeysAtEnds(scene, *pair.first, {span.start, placing.start});
            SetKeysAtEnds(next, *pair.second, {placing.faded - offset, nextSpan.stop});
        }
        AppendProperty(pair, placing);
        AppendLayers(next, pair, placing);
    }
    AppendWeights(scene, next, placing, span, nextSpan);
    MoveOntoFrames(scene);
    return move;
}

}  // namespace ymotion
