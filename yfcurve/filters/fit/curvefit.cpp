#include "yfcurve/filters/fit/curvefit.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "yfcurve/curve/edit/exchange.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/fitting/fitpath.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurveutils.h"

namespace yfc {

namespace {

// Puts the keys of parts one behind the other.
class Assembly
{
  public:
    Assembly(const YFCurve& source, int firstKey, int lastKey, const FitOptions& options)
        : mSource(source), mFirst(firstKey), mLast(lastKey), mOptions(options)
    {
        mSlopes.left = source.KeyGetLeftDerivative(firstKey);
    }

    void AddStaying(const FitPart& part)
    {
        for (int key = part.firstKey; key < part.lastKey; ++key) {
            if (key == part.firstKey) {
                Join(mSource.KeyGetRightDerivative(key));
            } else if (IsHeldOver(key)) {
                continue;
            }
            mKeys.push_back(mSource.KeyGet(key));
        }
        mSlopes.left = mSource.KeyGetLeftDerivative(part.lastKey);
    }

    void AddFitted(const FitPart& part, const std::vector<FitKey>& keys)
    {
        Join(static_cast<float>(keys.front().right));
        for (std::size_t i = 0; i + 1 < keys.size(); ++i) Add(part, keys[i], keys[i + 1]);
        mSlopes.left = static_cast<float>(keys.back().left);
    }

    /// The source with the keys between, and otherwise as it was.
    YFCurve Finish()
    {
        Join(mSource.KeyGetRightDerivative(mLast));
        mKeys.push_back(mSource.KeyGet(mLast));
        const int added = static_cast<int>(mKeys.size()) - (mLast - mFirst + 1);
        YFCurve result(mSource);
        const YFCurveModify modify(result);
        YFCurveExchange::Apply(result, mFirst, mLast - mFirst + 1, mKeys);
        for (const auto& [key, slopes] : mJoints) YFCurveShape::Hold(result, mFirst + key, slopes);
        if (mFirst > 0) {
            YFCurveShape::Hold(result, mFirst - 1, YFCurveShape::SlopesAt(mSource, mFirst - 1));
        }
        if (mLast + 1 < mSource.KeyGetCount()) {
            YFCurveShape::Hold(result, mLast + 1 + added, YFCurveShape::SlopesAt(mSource, mLast + 1));
        }
        return result;
    }

  private:
    struct Joint
    {
        int key;
        YFCurveSlopes slopes;
    };

    // The next key stands between two parts.
    void Join(float right)
    {
        mSlopes.right = right;
        mJoints.push_back({static_cast<int>(mKeys.size()), mSlopes});
    }

    // A step to a value that the one before serves for as well.
    bool IsHeldOver(int key) const
    {
        const YFCurveKey& before = mKeys.back();
        return IsStep(mSource.KeyGet(key)) && IsStep(before) &&
               std::abs(static_cast<double>(mSource.KeyGetValue(key)) - before.GetValue()) <=
                   mOptions.ToleranceBehind(mSource, key);
    }

    static bool IsStep(const YFCurveKey& key)
    {
        return KeyKind(key).IsConstant() && key.GetConstantMode() == YFCURVE_CONSTANT_STANDARD;
    }

    static unsigned WeightMode(const TangentWeights& weights)
    {
        const unsigned right =
            weights.start != YFCURVE_DEFAULT_WEIGHT ? YFCURVE_WEIGHT_RIGHT : YFCURVE_WEIGHT_NONE;
        const unsigned nextLeft =
            weights.end != YFCURVE_DEFAULT_WEIGHT ? YFCURVE_WEIGHT_NEXT_LEFT : YFCURVE_WEIGHT_NONE;
        return right | nextLeft;
    }

    void Add(const FitPart& part, const FitKey& here, const FitKey& next)
    {
        const auto at = static_cast<std::size_t>(here.point);
        YFCurveKey key;
        if (part.keys[at] >= 0) key = mSource.KeyGet(part.keys[at]);
        const auto left = static_cast<float>(here.left);
        const auto right = static_cast<float>(here.right);
        const unsigned mode = here.isAuto     ? YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_TIME_INDEPENDENT
                              : left == right ? YFCURVE_TANGENT_USER
                                              : YFCURVE_TANGENT_USER_BREAK;
        key.Set(part.times[at], static_cast<float>(part.run[here.point].value), YFCURVE_INTERP_CUBIC, mode,
                here.isAuto ? 0.0f : right, next.isAuto ? 0.0f : static_cast<float>(next.left),
                WeightMode(here.weights), RoundedWeight(here.weights.start), RoundedWeight(here.weights.end));
        mKeys.push_back(key);
    }

    const YFCurve& mSource;
    const int mFirst;
    const int mLast;
    const FitOptions& mOptions;
    std::vector<YFCurveKey> mKeys;
    std::vector<Joint> mJoints;
    YFCurveSlopes mSlopes;
};

YFCurve Fitted(const YFCurve& curve, int firstKey, int lastKey, const FitOptions& options)
{
    Assembly assembly(curve, firstKey, lastKey, options);
    for (const FitPart& part : PartsOf(curve, firstKey, lastKey, options)) {
        if (part.stays) {
            assembly.AddStaying(part);
        } else {
            assembly.AddFitted(part, FewestKeys({{&part.run, part.rules}}).front());
        }
    }
    return assembly.Finish();
}

}  // namespace

bool HasFittedWeights(const YFCurve& curve, const FitOptions& options)
{
    return options.weighted && IsAnyWeighted(curve, 0, curve.KeyGetCount() - 1);
}

// Whether a fit saves enough to be made. That of a recording does, whose keys follow each other at an even
// rate. Other keys were chosen before, by hand or by a fit: it takes many that can go to choose them anew, or
// fits of fits would lead further and further away.
bool IsWorthIt(const YFCurve& curve, int saved, int keys, const FitOptions& options)
{
    constexpr int many = 16;
    if (!HasFittedWeights(curve, options) && YFCurveFilterFit::IsRecording(curve)) return saved > 0;
    return saved >= std::max(many, keys / 2);
}

// Whether a fit is as near as it has to be, but for rounding: slopes so steep that single precision does not hold
// them may lead it away.
bool KeepsTo(const YFCurve& curve, const YFCurve& fitted, int firstKey, int lastKey,
             const FitOptions& options)
{
    const double rounding = 1e-6 * LargestMagnitude(curve, firstKey, lastKey);
    const auto isNear = [&](int from, int to, double tolerance) {
        return YFCurveUtils::CompareCurve(curve, fitted, tolerance + rounding, nullptr,
                                          curve.KeyGetTime(from), curve.KeyGetTime(to));
    };
    if (options.factor == nullptr) return isNear(firstKey, lastKey, options.tolerance);
    for (int key = firstKey; key < lastKey; ++key) {
        if (!isNear(key, key + 1, options.ToleranceBehind(curve, key))) return false;
    }
    return true;
}

bool FitCurve(YFCurve& curve, int firstKey, int lastKey, const FitOptions& options)
{
    YFCurve fitted = Fitted(curve, firstKey, lastKey, options);
    const auto saved = [&] { return curve.KeyGetCount() - fitted.KeyGetCount(); };
    bool keepsTo = KeepsTo(curve, fitted, firstKey, lastKey, options);
    if (!keepsTo && options.weighted) {
        FitOptions plain = options;
        plain.weighted = false;
        fitted = Fitted(curve, firstKey, lastKey, plain);
        keepsTo = KeepsTo(curve, fitted, firstKey, lastKey, options);
    }
    if (!keepsTo || !IsWorthIt(curve, saved(), lastKey - firstKey + 1, options)) {
        FitOptions exact = options;
        exact.tolerance = 0.0;
        fitted = Fitted(curve, firstKey, lastKey, exact);
        if (saved() <= 0 || !KeepsTo(curve, fitted, firstKey, lastKey, options)) return false;
    }
    const YFCurveModify modify(curve);
    curve.CopyFrom(fitted);
    return true;
}

bool FitTogether(const std::vector<const YFCurve*>& curves, YTime start, YTime stop,
                 const std::vector<const FitOptions*>& options, std::vector<YFCurve>& result)
{
    std::vector<FitPart> parts;
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const YFCurve& curve = *curves[i];
        std::vector<FitPart> own =
            PartsOf(curve, FirstKeyFrom(curve, start), LastKeyUntil(curve, stop), *options[i]);
        if (own.size() != 1 || own[0].stays) return false;
        parts.push_back(std::move(own[0]));
    }
    if (options[0]->weighted) MakeTimesCommon(parts, *options[0]);
    std::vector<FitTask> tasks;
    for (const FitPart& part : parts) {
        if (part.times != parts[0].times) return false;
        tasks.push_back({&part.run, part.rules});
    }
    const std::vector<std::vector<FitKey>> keys = FewestKeys(tasks);
    result.clear();
    for (std::size_t i = 0; i < curves.size(); ++i) {
        Assembly assembly(*curves[i], parts[i].firstKey, parts[i].lastKey, *options[i]);
        assembly.AddFitted(parts[i], keys[i]);
        result.push_back(assembly.Finish());
    }
    return true;
}

}  // namespace yfc
