#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "manipulated.h"
#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurvesettings.h"

using namespace manipulatortest;
using namespace yfc::test;

namespace {

struct Options
{
    bool moveX, moveY, stretchX, stretchY;  // ripples of each kind of change
    bool rippleAllY, keep;
};

struct Amounts
{
    bool stretches = false;
    double timeFactor = 1.0;
    YTime pivot, shift;
    double valueFactor = 1.0;
    double valuePivot = 0.0;
    double valueShift = 0.0;

    float Raised(float value) const
    {
        const double stretched = (static_cast<double>(value) - valuePivot) * valueFactor + valuePivot;
        return static_cast<float>(valueFactor == 1.0 ? value + valueShift : stretched);
    }
};

constexpr std::uint32_t kState = YFCURVE_SELECTED | YFCURVE_MARKED_FOR_MANIPULATION | YFCURVE_SHOW_BOTH;

// A key by its index when the manipulation began; of a key that leaves a copy behind there are two.
struct Which
{
    int index;
    bool copy;
    bool operator==(const Which&) const = default;
};

struct Placed
{
    float value;
    Which which;
    bool moved;
};

// One curve as a drag should leave it, put down key by key: what stays, what ripples, what moves.
class DraggedCurve
{
  public:
    DraggedCurve(const YFCurve& curve, const Options& options) : mOptions(options)
    {
        for (int i = 0; i < curve.KeyGetCount(); ++i) {
            mKeys.push_back(curve.KeyGet(i));
            const std::uint32_t state = mKeys.back().GetFlags() & kState;
            mStates.push_back(state);
            mCopyStates.push_back(state & YFCURVE_SHOW_BOTH);
        }
        Place({});
    }

    void Place(const Amounts& amounts)
    {
        const auto moved = [&](YTime time) {
            const double ticks = static_cast<double>((time - amounts.pivot).Get());
            if (amounts.timeFactor == 1.0) return time + amounts.shift;
            return amounts.pivot + YTime(std::llround(ticks * amounts.timeFactor));
        };
        const YFCurveKey* last = nullptr;
        YTime end = YTIME_MINUS_INFINITE;
        for (const YFCurveKey& key : mKeys) {
            if (!key.GetMarkedForManipulation()) continue;
            last = &key;
            end = std::max(end, moved(key.GetTime()));
        }
        const bool rippleX = amounts.stretches ? mOptions.stretchX : mOptions.moveX;
        const bool rippleY = amounts.stretches ? mOptions.stretchY : mOptions.moveY;
        double rise = amounts.valueShift;
        if (last != nullptr && amounts.valueFactor != 1.0)
            rise = static_cast<double>(amounts.Raised(last->GetValue())) - last->GetValue();
        placed.clear();
        for (int pass = 0; pass < 3; ++pass) {
            for (int i = 0; i < static_cast<int>(mKeys.size()); ++i) {
                const YFCurveKey& key = mKeys[static_cast<std::size_t>(i)];
                const bool marked = key.GetMarkedForManipulation();
                const bool after = last != nullptr && key.GetTime() > last->GetTime();
                const bool up = last != nullptr && !marked && (mOptions.rippleAllY || (after && rippleY));
                const float value = up ? static_cast<float>(key.GetValue() + rise) : key.GetValue();
                if (pass == 0 && !after && (!marked || mOptions.keep))
                    placed[key.GetTime()] = {value, {i, marked}, false};
                if (pass == 1 && after) {
                    const YTime ripple = rippleX ? end - last->GetTime() : YTIME_ZERO;
                    placed[key.GetTime() + ripple] = {value, {i, false}, false};
                }
                if (pass == 2 && marked)
                    placed[moved(key.GetTime())] = {amounts.Raised(key.GetValue()), {i, false}, true};
            }
        }
    }

    std::uint32_t& State(Which which)
    {
        return (which.copy ? mCopyStates : mStates)[static_cast<std::size_t>(which.index)];
    }
    // Takes over what is selected, shown and marked now.
    void Remember(const YFCurve& curve)
    {
        int i = 0;
        for (const auto& [time, key] : placed) State(key.which) = curve.KeyGet(i++).GetFlags() & kState;
    }
    bool Moves() const { return std::ranges::any_of(mKeys, &YFCurveKey::GetMarkedForManipulation); }
    Which At(int index) const { return std::next(placed.begin(), index)->second.which; }
    int Find(Which which) const
    {
        const auto found = std::ranges::find(placed, which, [](const auto& at) { return at.second.which; });
        return found == placed.end() ? -1 : static_cast<int>(std::distance(placed.begin(), found));
    }

    std::map<YTime, Placed> placed;

  private:
    Options mOptions;
    std::vector<YFCurveKey> mKeys;
    std::vector<std::uint32_t> mStates, mCopyStates;
};

// Nodes under a manipulator, each with what it should be and what is heard of it.
class RandomDrag
{
  public:
    explicit RandomDrag(RandomCurves& random) : mRandom(random)
    {
        for (int i = random.Int(1, 4); i > 0; --i) {
            mNodes.push_back(Samples(0));
            mNodes.back()->FCurveGet()->CopyFrom(*random.Curve(random.Int(0, 40)));
            mLogs.push_back(std::make_unique<EventLog>(*mNodes.back()->FCurveGet()));
            mManipulator.Add(mNodes.back().get());
        }
        for (const YFCurveNodePtr& node : mNodes)
            mManipulator.MarkCurveNodeForManip(random.Chance(0.8), node.get());
    }

    void Begin()
    {
        Select(kSelectionReplace);
        mManipulator.MarkKeysForManipFromSelection();
        const auto some = [&] { return mRandom.Chance(0.3); };
        const Options options{some(), some(), some(), some(), mRandom.Chance(0.2), some()};
        mManipulator.SetRippleMoveX(options.moveX);
        mManipulator.SetRippleMoveY(options.moveY);
        mManipulator.SetRippleStretchX(options.stretchX);
        mManipulator.SetRippleStretchY(options.stretchY);
        mManipulator.SetRippleAllY(options.rippleAllY);
        for (std::size_t n = 0; n < mNodes.size(); ++n) mExpected.emplace_back(Curve(n), options);
        FollowLast();
        mOriginalRange = SelectionRange(mManipulator);
        mManipulator.BeginManipulation(kManipulationMove, options.keep);
    }

    // Edits of the host between two operations.
    void Interfere()
    {
        const auto n = static_cast<std::size_t>(mRandom.Int(0, static_cast<int>(mNodes.size()) - 1));
        YFCurve& curve = Curve(n);
        const int count = curve.KeyGetCount();
        const int kind = count == 0 ? 0 : mRandom.Int(0, 9);
        if (kind == 0) {
            mManipulator.SetShowManyTangents(mRandom.Chance(0.5));
            Select(mRandom.Pick({kSelectionReplace, kSelectionAdd, kSelectionRemove, kSelectionToggle}));
            for (std::size_t i = 0; i < mNodes.size(); ++i) mExpected[i].Remember(Curve(i));
            FollowLast();
        } else if (kind == 1) {
            mManipulator.MarkKeysForManip(mRandom.Chance(0.5), mNodes[n].get(), count / 3, count - 1);
            mExpected[n].Remember(curve);
        } else if (kind == 2 && Taken(n) && mExpected[n].Moves()) {
            mExpected[n].Remember(curve);
            curve.KeySetValue(count / 2, 1e3f);
            if (mLastNode == static_cast<int>(n)) mLastNode = -1;
        }
        for (const auto& log : mLogs) log->Take();
    }

    void Operate(bool restores)
    {
        Amounts amounts;
        amounts.pivot = Sec(mRandom.Real(-5.0, 20.0));
        std::vector<std::string> before;
        for (std::size_t n = 0; n < mNodes.size(); ++n) {
            before.push_back(Bits(Curve(n)));
            Curve(n).CandidateSet(Sec(3), 7.0);
        }
        if (restores) {
            mManipulator.Offset(YTIME_ZERO, 0.0);
        } else if (mRandom.Chance(0.5)) {
            amounts.stretches = true;
            amounts.timeFactor = mRandom.Pick({0.0, -1.0, 0.25, -1.7, mRandom.Real(-2.0, 2.0)});
            amounts.valueFactor = mRandom.Pick({1.0, 1.0, mRandom.Real(-2.0, 2.0)});
            amounts.valuePivot = mRandom.Real(-9.0, 9.0);
            mManipulator.StretchXY(amounts.timeFactor, amounts.valueFactor, amounts.pivot,
                                   amounts.valuePivot);
        } else {
            amounts.shift = mRandom.Chance(0.2) ? mLastShift : Sec(mRandom.Real(-8.0, 8.0));
            mLastShift = amounts.shift;
            amounts.valueShift = mRandom.Pick({0.0, mRandom.Real(-9.0, 9.0)});
            mManipulator.Offset(amounts.shift, amounts.valueShift);
        }
        for (std::size_t n = 0; n < mNodes.size(); ++n) {
            mExpected[n].Place(Taken(n) ? amounts : Amounts());
            const bool changed = Bits(Curve(n)) != before[n];
            // Mirrored slopes may be turned and held again.
            const bool mayBeHeldAgain = amounts.timeFactor < 0.0 && !changed;
            const std::size_t heard = mLogs[n]->Take().size();
            ASSERT_TRUE(heard == (changed ? 1u : 0u) || (heard == 1 && mayBeHeldAgain)) << heard;
            ASSERT_TRUE(Curve(n).IsCandidate() != changed || mayBeHeldAgain);
        }
    }

    void Check() const
    {
        Range selected, moved;
        for (std::size_t n = 0; n < mNodes.size(); ++n) {
            const YFCurve& curve = Curve(n);
            DraggedCurve expected = mExpected[n];
            ASSERT_EQ(curve.KeyGetCount(), static_cast<int>(expected.placed.size()));
            int i = 0;
            for (const auto& [time, key] : expected.placed) {
                ASSERT_EQ(curve.KeyGetTime(i), time) << i;
                ASSERT_EQ(curve.KeyGetValue(i), key.value) << i;
                ASSERT_EQ(curve.KeyGet(i).GetFlags() & kState, expected.State(key.which)) << i;
                if (curve.KeyGetSelected(i)) selected.Include(time, double{key.value});
                if (key.moved && Taken(n)) moved.Include(time, double{key.value});
                ++i;
            }
        }
        ASSERT_EQ(SelectionRange(mManipulator), selected);
        if (mLastNode >= 0) {
            const auto n = static_cast<std::size_t>(mLastNode);
            const LastSelected last(mManipulator);
            ASSERT_EQ(last.index, mExpected[n].Find(mLast));
            ASSERT_EQ(last.node, last.index >= 0 ? mNodes[n].get() : nullptr);
        }
        YFCurveManipulator framed = mManipulator;
        framed.FrameManipulation();
        ASSERT_EQ(SelectionRange(framed), moved);
        Range original;
        framed.GetOriginalSelectionRange(original.start, original.stop, original.low, original.high);
        ASSERT_EQ(original, mOriginalRange);
    }

    std::vector<std::string> Contents() const
    {
        std::vector<std::string> contents;
        for (const YFCurveNodePtr& node : mNodes) {
            YFCurve plain(*node->FCurveGet());
            for (int i = 0; i < plain.KeyGetCount(); ++i) {
                plain.KeySetSelected(i, false);
                plain.KeySetMarkedForManipulation(i, false);
                plain.KeySetTangeantVisibility(i, YFCURVE_SHOW_NONE);
            }
            contents.push_back(Bits(plain));
        }
        return contents;
    }

    void End()
    {
        if (mRandom.Chance(0.5)) mManipulator.EndManipulation();
    }

  private:
    YFCurve& Curve(std::size_t n) const { return *mNodes[n]->FCurveGet(); }
    bool Taken(std::size_t n) const { return mManipulator.IsCurveNodeMarkedForManip(mNodes[n].get()); }

    void Select(eSelectionMode mode)
    {
        const double from = mRandom.Real(-5.0, 20.0);
        for (const auto& log : mLogs) log->Take();
        mManipulator.SelectKeys(mode, Sec(from), Sec(from + mRandom.Real(0.0, 20.0)),
                                mRandom.Real(-60.0, 0.0), mRandom.Real(0.0, 60.0));
        for (const auto& log : mLogs) ASSERT_LE(log->Take().size(), 1u);
    }
    void FollowLast()
    {
        const LastSelected last(mManipulator);
        mLastNode = -1;
        for (std::size_t n = 0; n < mNodes.size(); ++n) {
            if (mNodes[n].get() != last.node) continue;
            mLastNode = static_cast<int>(n);
            mLast = mExpected[n].At(last.index);
        }
    }

    RandomCurves& mRandom;
    std::vector<YFCurveNodePtr> mNodes;
    std::vector<std::unique_ptr<EventLog>> mLogs;
    YFCurveManipulator mManipulator;
    std::vector<DraggedCurve> mExpected;
    Range mOriginalRange;
    YTime mLastShift;
    int mLastNode = -1;
    Which mLast{};
};

// Auto parameters beyond 500 add a slope that does not depend on the curve, and with two weights near 1 a
// value changes in no time.
void KeepModerate(YFCurve& curve)
{
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        if (curve.KeyGetTangeantMode(i) == YFCURVE_TANGENT_TCB) continue;
        for (const auto word : {YFCURVEKEY_RIGHT_DERIVATIVE, YFCURVEKEY_NEXT_LEFT_DERIVATIVE})
            curve.KeySetDataFloat(i, word, std::fmod(curve.KeyGetDataFloat(i, word), 500.0f));
        for (const auto weight : {YFCURVEKEY_RIGHT_WEIGHT, YFCURVEKEY_NEXT_LEFT_WEIGHT})
            curve.KeySetDataDouble(i, weight, std::min(curve.KeyGetDataDouble(i, weight), 0.7f));
    }
}

}  // namespace

TEST(ManipulatorProperty, RandomDragsAgreeWithAPlainModel)
{
    RandomCurves random;
    const int records = YFCURVE_GetKeyAttrCount();
    for (int round = 0; round < 150; ++round) {
        SCOPED_TRACE(round);
        RandomDrag drag(random);
        drag.Begin();
        const std::vector<std::string> contents = drag.Contents();
        for (int call = 0; call < 8; ++call) {
            SCOPED_TRACE(call);
            drag.Interfere();
            ASSERT_NO_FATAL_FAILURE(drag.Operate(call == 7));
            ASSERT_NO_FATAL_FAILURE(drag.Check());
        }
        ASSERT_EQ(drag.Contents(), contents);
        drag.End();
    }
    EXPECT_EQ(YFCURVE_GetKeyAttrCount(), records);
}

// A curve whose keys are all stretched is the stretched curve: f'(pivot + factor (t - pivot)) = f(t).
TEST(ManipulatorProperty, StretchedCurvesAreStretched)
{
    RandomCurves random;
    for (int round = 0; round < 200; ++round) {
        YFCURVE_SetTCB4051EvalMode(round % 2 == 0);  // off again in the last round
        const YFCurveNodePtr node = Samples(0);
        YFCurve& curve = *node->FCurveGet();
        curve.CopyFrom(*random.Curve(random.Int(2, 30)));
        KeepModerate(curve);
        const YFCurve before(curve);
        YFCurveManipulator manipulator;
        Mark(manipulator, *node, 0, curve.KeyGetCount() - 1);
        manipulator.BeginManipulation(kManipulationStretchXY);
        const double timeFactor = random.Pick({1.0, -1.0, -0.5, 2.0});
        const double valueFactor = random.Pick({1.0, 2.0, 0.5});
        manipulator.StretchXY(timeFactor, valueFactor, YTIME_ZERO, 0.0);
        const YTime first = before.KeyGetTime(0), last = before.KeyGetTime(before.KeyGetCount() - 1);
        for (int i = 0; i < 100; ++i) {
            const YTime time(random.Integer(first.Get(), last.Get()) / 2 * 2);
            const double expected = before.Evaluate(time) * valueFactor;
            const YTime stretched(std::llround(static_cast<double>(time.Get()) * timeFactor));
            ASSERT_NEAR(curve.Evaluate(stretched), expected, 5e-3 * std::max(1.0, std::abs(expected)))
                << round << " factor " << timeFactor << " at " << before.KeyFind(time) << " of "
                << before.KeyGetCount();
        }
    }
}
