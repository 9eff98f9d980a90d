#include "yfcurve/undo/curvechange.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "yfcurve/curve/edit/exchange.h"
#include "yfcurve/curve/edit/storage.h"
#include "yfcurve/curve/pool/keyattributes.h"

namespace yfc {
namespace {

// State of an editor rather than of the motion.
constexpr std::uint32_t kEditingFlags =
    YFCURVE_SELECTED | YFCURVE_SELECTED_COMPANIONS | YFCURVE_MARKED_FOR_MANIPULATION | YFCURVE_SHOW_BOTH;

bool SameBits(const YFCurveKey& a, const YFCurveKey& b)
{
    // Zeros of both signs and all not-a-numbers are different here. NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool SameKey(const YFCurve& a, int indexA, const YFCurve& b, int indexB)
{
    return SameBits(a.KeyGet(indexA), b.KeyGet(indexB));
}

std::vector<YFCurveKey> KeysOf(const YFCurve& curve, int first, int end)
{
    std::vector<YFCurveKey> keys;
    keys.reserve(static_cast<std::size_t>(end - first));
    for (int i = first; i < end; ++i) keys.push_back(curve.KeyGet(i));
    return keys;
}

CurveSide SideOf(const YFCurve* curve, int first, int end)
{
    if (curve == nullptr) return {};
    return {CurveSettings(*curve), KeysOf(*curve, first, end)};
}

bool DifferInEditingFlagsAlone(YFCurveKey a, YFCurveKey b)
{
    a.SetFlags(a.GetFlags() & ~kEditingFlags);
    b.SetFlags(b.GetFlags() & ~kEditingFlags);
    return SameBits(a, b);
}

// Sharing takes zeros of either sign for equal.
class Unshared
{
  public:
    explicit Unshared(YFCurve& curve) : mCurve(curve), mBefore(YFCurveStorage::SetSharing(curve, false)) {}
    ~Unshared() { YFCurveStorage::SetSharing(mCurve, mBefore); }
    Unshared(const Unshared&) = delete;
    Unshared& operator=(const Unshared&) = delete;

  private:
    YFCurve& mCurve;
    bool mBefore;
};

}  // namespace

CurveSettings::CurveSettings(const YFCurve& curve)
    : value(curve.GetValue()),
      extrapolation{curve.GetPreExtrapolation(), curve.GetPreExtrapolationCount(),
                    curve.GetPostExtrapolation(), curve.GetPostExtrapolationCount()},
      wasData(curve.GetWasData())
{
    std::copy_n(curve.GetColor(), colour.size(), colour.begin());
}

void CurveSettings::ApplyTo(YFCurve& curve) const
{
    curve.SetColor(colour.data());
    if (std::signbit(value) != std::signbit(curve.GetValue()))
        curve.SetValue(1.0f);  // for zeros of either sign
    curve.SetValue(value);
    curve.SetPreExtrapolation(extrapolation[0]);
    curve.SetPreExtrapolationCount(extrapolation[1]);
    curve.SetPostExtrapolation(extrapolation[2]);
    curve.SetPostExtrapolationCount(extrapolation[3]);
    curve.SetWasData(wasData);
}

bool CurveSettings::operator==(const CurveSettings& other) const
{
    return std::memcmp(this, &other, sizeof other) == 0;  // NOLINT(bugprone-suspicious-memory-comparison)
}
static_assert(sizeof(CurveSettings) == 9 * 4, "compared by their bytes");

CurveChange CurveChange::Between(const YFCurve* before, const YFCurve* after)
{
    CurveChange change;
    int endBefore = before != nullptr ? before->KeyGetCount() : 0;
    int endAfter = after != nullptr ? after->KeyGetCount() : 0;
    int& first = change.first;
    while (first < std::min(endBefore, endAfter) && SameKey(*before, first, *after, first)) ++first;
    while (std::min(endBefore, endAfter) > first && SameKey(*before, endBefore - 1, *after, endAfter - 1)) {
        --endBefore;
        --endAfter;
    }
    change.before = SideOf(before, first, endBefore);
    change.after = SideOf(after, first, endAfter);
    return change;
}

bool CurveChange::IsNone() const
{
    return before.keys.empty() && after.keys.empty() && before.settings == after.settings;
}

bool CurveChange::IsSelectionAlone() const
{
    return before.settings == after.settings &&
           std::equal(before.keys.begin(), before.keys.end(), after.keys.begin(), after.keys.end(),
                      DifferInEditingFlagsAlone);
}

std::size_t CurveChange::GetByteCount() const
{
    return sizeof *this + (before.keys.size() + after.keys.size()) * sizeof(YFCurveKey);
}

bool CurveChange::Fits(const YFCurve* curve, const CurveSide& side) const
{
    if (curve == nullptr || !side.settings) return curve == nullptr && !side.settings;
    const int end = first + static_cast<int>(side.keys.size());
    if (end > curve->KeyGetCount()) return false;
    int index = first;
    return std::all_of(side.keys.begin(), side.keys.end(), [&](const YFCurveKey& key) {
        return DifferInEditingFlagsAlone(curve->KeyGet(index++), key);
    });
}

void CurveChange::Apply(YFCurve& one, YFCurve& other, const CurveSide& from, const CurveSide& to) const
{
    const AttributeReserve reserve(2 * static_cast<std::int64_t>(to.keys.size()));
    MakeRoom(one, from, to);
    MakeRoom(other, from, to);
    Exchange(one, from, to);
    Exchange(other, from, to);
}

void CurveChange::Apply(YFCurve& curve, const CurveSide& from, const CurveSide& to) const
{
    const AttributeReserve reserve(static_cast<std::int64_t>(to.keys.size()));
    MakeRoom(curve, from, to);
    Exchange(curve, from, to);
}

void CurveChange::MakeRoom(YFCurve& curve, const CurveSide& from, const CurveSide& to) const
{
    const std::size_t kept = static_cast<std::size_t>(curve.KeyGetCount()) - from.keys.size();
    YFCurveStorage::MakeRoom(curve, static_cast<int>(kept + to.keys.size()));
}

// Takes no memory any more.
void CurveChange::Exchange(YFCurve& curve, const CurveSide& from, const CurveSide& to) const
{
    const Unshared unshared(curve);
    curve.KeyModifyBegin();
    YFCurveExchange::Apply(curve, first, static_cast<int>(from.keys.size()), to.keys);
    if (to.settings) to.settings->ApplyTo(curve);
    curve.KeyModifyEnd();
}

}  // namespace yfc
