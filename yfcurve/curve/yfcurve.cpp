#include "yfcurve/yfcurve.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

#include "ybaselib/yconfigfile.h"
#include "ybaselib/ystring.h"
#include "yfcurve/curve/extrapolation.h"
#include "yfcurve/curve/keyaccess.h"

constinit thread_local int yfc::gGuardDepth = 0;

namespace {

// Runs once a process, before the first curve has keys.
bool ReadConfiguration()
{
    constexpr const char* section = "FCurve";
    constexpr const char* key = "ConvertAutoTimeIndependent";
    YConfigFile config("@Application.txt");
    config.GetOrSet(section, key, "Yes",
                    "Bezier Auto(Clamp) key use time-independent tangent mode as Dremo (Yes/No)");
    YFCURVE_SetConvertAutoTimeIndependent(YString(config.Get(section, key, "Yes")).CompareNoCase("Yes") == 0);
    yfc::ResetDefaultAttribute();
    return true;
}

}  // namespace

// A call of listeners that is under way.
struct YFCurve::Delivery
{
    Delivery* outer;
    bool curveEnded = false;
};

YFCurve* YFCurveCreate()
{
    try {
        return new YFCurve();
    } catch (...) {
        return nullptr;
    }
}

std::uint64_t YFCurve::NextSerial()
{
    static constinit std::atomic<std::uint64_t> last = 0;
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

YFCurve::YFCurve()
{
    yfc::EnsureAttributePool();
    yfc::EnsureBlockQueue();
    mPendingEvent.Clear();
    [[maybe_unused]] static const bool configured = ReadConfiguration();
}

YFCurve::YFCurve(const YFCurve& source) : YFCurve()
{
    TakeOver(source, true);
}

YFCurve& YFCurve::operator=(const YFCurve& source)
{
    CopyFrom(source);
    return *this;
}

YFCurve::~YFCurve()
{
    KeyClear();
    CallbackEnable(true);
    CallbackAddEvent(YFCURVEEVENT_DESTROY, -1);
    ReleaseKeys();  // of a listener that has added some meanwhile
    for (Delivery* delivery = mDelivery; delivery != nullptr; delivery = delivery->outer) {
        delivery->curveEnded = true;
    }
}

IObject* YFCurve::IQuery(unsigned long interfaceId, int)
{
    const bool known = interfaceId == InterfaceId || interfaceId == ISpObjectHolder::InterfaceId ||
                       interfaceId == IObject::InterfaceId;
    return known ? this : nullptr;
}

void YFCurve::Destroy(int isLocal)
{
    if (isLocal == 0) delete this;
}

void YFCurve::CopyFrom(const YFCurve& source, bool withKeys)
{
    if (&source == this) return;
    yfc::Guarded([&] { TakeOver(source, withKeys); });
}

// The copies of the keys are there before anything changes.
void YFCurve::TakeOver(const YFCurve& source, bool withKeys)
{
    YFCurve copied;
    if (withKeys) copied.CopyKeys(source, 0, source.mKeyCount - 1);
    KeyModifyBegin();
    CopySettings(source);
    CallbackAddEvent(YFCURVEEVENT_CURVE_VALUE, -1);
    if (withKeys) {
        KeyClear();
        ExchangeKeys(copied);
    }
    if (withKeys && mKeyCount > 0) {
        CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, 0);
        CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, mKeyCount - 1);
    }
    KeyModifyEnd();
}

void YFCurve::CopySettings(const YFCurve& source)
{
    SetColor(source.mColor);
    mValue = source.mValue;
    mPreExtrapolation = source.mPreExtrapolation;
    mPreExtrapolationCount = source.mPreExtrapolationCount;
    mPostExtrapolation = source.mPostExtrapolation;
    mPostExtrapolationCount = source.mPostExtrapolationCount;
    mWasData = source.mWasData;
}

// Appends keys of another curve. Runs that share a record there share one here, but never one record with
// the source, save the default one: a selection change must not reach into the other curve.
void YFCurve::CopyKeys(const YFCurve& source, int first, int last)
{
    if (last < first) return;
    const int start = mKeyCount;
    InitBuffers(start + last - first + 1, false);
    YFCurveKeyAttrReference previousSource = 0;
    YFCurveKeyAttrReference previousOwn = 0;
    for (int i = first; i <= last; ++i) {
        const YPriFCurveKey& from = source.Key(i);
        if (from.GetAttr() != previousSource || previousOwn == 0) {
            previousSource = from.GetAttr();
            previousOwn = yfc::kDefaultAttribute;
            if (previousSource != yfc::kDefaultAttribute) {
                previousOwn = yfc::AllocateAttribute();
                yfc::Attribute(previousOwn).SetWords(yfc::Attribute(previousSource));
            }
        }
        yfc::RetainAttribute(previousOwn);
        YPriFCurveKey& to = Key(mKeyCount++);
        to.SetTime(from.GetTime());
        to.SetValue(from.GetValue());
        to.SetAttr(previousOwn);
    }
    CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, start);
    CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, mKeyCount - 1);
}

// Gives a curve without keys those of another one, records and all: for copies that end soon, as a selection
// change may reach into both.
void YFCurve::ShareKeys(const YFCurve& source)
{
    InitBuffers(source.mKeyCount, false);
    for (int i = 0; i < source.mKeyCount; ++i) {
        const YPriFCurveKey& key = source.Key(i);
        yfc::RetainAttribute(key.GetAttr());
        Key(i) = key;
    }
    mKeyCount = source.mKeyCount;
}

void YFCurve::SetColor(const float* color)
{
    for (int i = 0; i < 3; ++i) mColor[i] = color[i];
}

void YFCurve::SetValue(float value)
{
    if (mValue == value) return;
    mValue = value;
    mCandidateTime = YTIME_INFINITE;
    CallbackAddEvent(YFCURVEEVENT_CURVE_VALUE, -1);
}

void YFCurve::SetExtrapolation(std::uint32_t& setting, std::uint32_t value)
{
    if (setting == value) return;
    setting = value;
    mCandidateTime = YTIME_INFINITE;
    CallbackAddEvent(YFCURVEEVENT_KEY_ATTR_CHANGED, -1);
}

void YFCurve::SetPreExtrapolation(unsigned mode)
{
    SetExtrapolation(mPreExtrapolation, mode);
}
void YFCurve::SetPostExtrapolation(unsigned mode)
{
    SetExtrapolation(mPostExtrapolation, mode);
}

void YFCurve::SetPreExtrapolationCount(unsigned long count)
{
    SetExtrapolation(mPreExtrapolationCount, static_cast<std::uint32_t>(count));
}

void YFCurve::SetPostExtrapolationCount(unsigned long count)
{
    SetExtrapolation(mPostExtrapolationCount, static_cast<std::uint32_t>(count));
}

bool YFCurve::MovesOutside(bool before) const
{
    return yfc::MovesOutside(before ? mPreExtrapolation : mPostExtrapolation,
                             before ? mPreExtrapolationCount : mPostExtrapolationCount);
}

int YFCurve::GuessWasData(const YTime* tolerance) const
{
    constexpr int fewestSamples = 8;
    if (mKeyCount < fewestSamples) return 0;
    const double allowed = tolerance ? tolerance->GetSecondDouble() : 1e-3;
    const double start = KeyGetTime(0).GetSecondDouble();
    const double period = (KeyGetTime(mKeyCount - 1).GetSecondDouble() - start) / (mKeyCount - 1);
    if (period > 1.0) return 0;
    for (int i = 1; i < mKeyCount; ++i) {
        const double expected = start + i * period;
        if (std::abs(KeyGetTime(i).GetSecondDouble() - expected) > std::min(allowed, 0.25 * period)) return 0;
    }
    return static_cast<int>(std::min(1.0 / period + 0.5, 1e9));
}

// --- Change notification -------------------------------------------------------------------------------

bool YFCurve::CallbackRegister(YFCurveCallback callback, void* object)
{
    if (callback == nullptr) return false;
    return yfc::Guarded([&] {
        mListeners.push_back({callback, object});
        return true;
    });
}

void YFCurve::CallbackUnregister(YFCurveCallback callback, void* object)
{
    if (callback == nullptr) return;
    for (std::size_t i = mListeners.size(); i-- > 0;) {
        Listener& listener = mListeners[i];
        if (listener.callback != callback || listener.object != object) continue;
        listener.callback = nullptr;
        if (mDelivery == nullptr) mListeners.erase(mListeners.begin() + static_cast<std::ptrdiff_t>(i));
        return;
    }
}

void YFCurve::CallbackEnable(bool enable)
{
    const bool deliver = enable && !CallbackIsEnabled() && mPendingEvent.count > 0;
    SetOption(kCallbacksEnabled, enable);
    if (deliver) DeliverPendingEvent();
}

void YFCurve::CallbackAddEvent(int type, int index)
{
    mUpdateId += (static_cast<std::uint32_t>(type) & YFCURVEEVENT_SELECTION) != 0 ? 0x10000u : 1u;
    if (!IsHeard()) return;  // and then nothing is pending either
    mPendingEvent.Add(static_cast<std::uint32_t>(type), index);
    if (CallbackIsEnabled()) DeliverPendingEvent();
}

// Listeners get the event as a copy: one that edits the curve starts an event of its own. Those that are
// removed meanwhile keep their place until the last delivery is over. One may even destroy the curve.
void YFCurve::DeliverPendingEvent()
{
    YFCurveEvent event = std::exchange(mPendingEvent, {});
    mPendingEvent.Clear();
    const std::size_t count = mListeners.size();
    if (count == 0) return;
    const yfc::HostCall hostCall;
    Delivery delivery{mDelivery};
    mDelivery = &delivery;
    for (std::size_t i = 0; i < count; ++i) {
        const Listener listener = mListeners[i];
        if (listener.callback != nullptr) listener.callback(this, &event, listener.object);
        if (delivery.curveEnded) return;
    }
    mDelivery = delivery.outer;
    if (mDelivery != nullptr) return;
    std::erase_if(mListeners, [](const Listener& listener) { return listener.callback == nullptr; });
}

void YFCurve::KeyModifyBegin()
{
    ++mModifyDepth;
    SetOption(kCallbacksEnabled, false);
}

void YFCurve::KeyModifyBegin(int keyCount)
{
    MakeRoom(keyCount);  // which may throw, and then no bracket is open
    KeyModifyBegin();
}

void YFCurve::KeyModifyEnd()
{
    // An end without a beginning is none; it must not keep later brackets from closing.
    if (mModifyDepth == 0 || --mModifyDepth != 0) return;
    constexpr std::uint32_t attributeEvents = YFCURVEEVENT_KEY_ATTR | YFCURVEEVENT_KEY_ADD;
    if ((mOptions & kMergeEnabled) != 0 && mPendingEvent.count > 0 && mKeyCount > mMergeThreshold &&
        (mPendingEvent.type & attributeEvents) != 0) {
        KeyAttrShrink(mPendingEvent.first - 1, mPendingEvent.last);
    }
    mCandidateTime = YTIME_INFINITE;
    CallbackEnable(true);
}

void YFCurve::KeyModifyEnd(int keyCount)
{
    mKeyCount = keyCount;
    KeyModifyEnd();
}

// --- Candidate -----------------------------------------------------------------------------------------

void YFCurve::CandidateSet(YTime time, double value)
{
    mCandidateTime = time;
    mCandidateValue = value;
}

void YFCurve::CandidateClear()
{
    CandidateSet(YTIME_INFINITE, 0.0);
}

float YFCurve::CandidateEvaluate(YTime time, int* last)
{
    if (IsCandidate() && time == mCandidateTime) return static_cast<float>(mCandidateValue);
    const float value = Evaluate(time, last);
    CandidateSet(time, value);
    return value;
}

int YFCurve::CandidateKey(int* last, unsigned interpolation, unsigned tangentMode)
{
    if (!IsCandidate()) return -1;
    const YTime time = mCandidateTime;
    const auto value = static_cast<float>(mCandidateValue);
    int hint = last ? *last : mLastFound;
    const int index = yfc::GuardedOr(-1, [&] {
        const yfc::AttributeReserve reserve(1);
        const int existing = KeyAt(time, &hint);
        if (existing < 0) InitBuffers(mKeyCount + 1, false);
        KeyModifyBegin();
        int at = existing;
        if (existing >= 0) {
            KeySetValue(existing, value);
        } else {
            YFCurveKey key;
            key.Set(time, value, interpolation, tangentMode);
            at = KeyAdd(time, key, &hint);
        }
        KeyModifyEnd();
        CandidateClear();
        return at;
    });
    if (last) *last = index;
    return index;
}
