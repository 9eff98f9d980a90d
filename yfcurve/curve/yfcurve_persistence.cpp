// A curve as fields of a scene file.

#include <algorithm>
#include <new>
#include <vector>

#include "yfcurve/curve/edit/descendingedit.h"
#include "yfcurve/curve/edit/draft.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keycodec.h"
#include "yfcurve/curve/taloscope.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr const char* kDefault = "Default";
constexpr const char* kVersion = "KeyVer";
constexpr const char* kCount = "KeyCount";
constexpr const char* kKeys = "Key";
constexpr const char* kPreExtrapolation = "Pre-Extrapolation";
constexpr const char* kPostExtrapolation = "Post-Extrapolation";
constexpr const char* kExtrapolationType = "Type";
constexpr const char* kExtrapolationCount = "Repetition";
constexpr const char* kColor = "Color";

// The letter of each extrapolation mode. Modes that have none act as constant.
constexpr char kExtrapolationLetters[] = {'0', 'C', 'R', 'M', 'K'};
constexpr std::uint32_t kExtrapolationModes = sizeof kExtrapolationLetters;

char ExtrapolationLetter(std::uint32_t mode)
{
    return kExtrapolationLetters[mode < kExtrapolationModes ? mode : 0];
}

std::uint32_t ExtrapolationOf(char letter)
{
    for (std::uint32_t mode = 1; mode < kExtrapolationModes; ++mode) {
        if (kExtrapolationLetters[mode] == letter) return mode;
    }
    return 0;
}

void WriteExtrapolation(YTalo& talo, const char* name, std::uint32_t mode, std::uint32_t count)
{
    if (mode == 0 || (mode == YFCURVE_EXTRAPOLATION_CONST && count == 0)) return;
    talo.FieldWriteBegin(name);
    talo.FieldWriteBlockBegin();
    talo.FieldWriteCH(kExtrapolationType, ExtrapolationLetter(mode));
    talo.FieldWriteI(kExtrapolationCount, static_cast<int>(count));  // no limit is -1
    talo.FieldWriteBlockEnd();
    talo.FieldWriteEnd();
}

}  // namespace

// --- Writing -------------------------------------------------------------------------------------------

bool YFCurve::TaloStore(YTalo* talo, bool onlyDefault, bool withColor, bool autoAsUser) const
{
    if (talo == nullptr) return false;
    talo->FieldWriteShortD(kDefault, mValue);
    if (onlyDefault) return true;
    if (mKeyCount > 0) {
        talo->FieldWriteI(kVersion, YFCURVE_KEY_VERSION);
        talo->FieldWriteI(kCount, mKeyCount);
        talo->FieldWriteBegin(kKeys);
        for (int i = 0; i < mKeyCount; ++i) yfc::WriteKey(*talo, *this, i, autoAsUser);
        talo->FieldWriteEnd();
        WriteExtrapolation(*talo, kPreExtrapolation, mPreExtrapolation, mPreExtrapolationCount);
        WriteExtrapolation(*talo, kPostExtrapolation, mPostExtrapolation, mPostExtrapolationCount);
    }
    if (withColor) {
        talo->FieldWriteBegin(kColor);
        for (const float component : mColor) talo->FieldWriteShortD(component);
        talo->FieldWriteEnd();
    }
    return true;
}

// --- Reading -------------------------------------------------------------------------------------------

YFCurve* YFCurveCreate(YTalo* talo, bool onlyDefault, bool withColor)
{
    return YFCurveCreate(talo, nullptr, onlyDefault, withColor);
}

YFCurve* YFCurveCreate(YTalo* talo, YFCurve* curve, bool onlyDefault, bool withColor)
{
    YFCurvePtr made(curve == nullptr ? YFCurveCreate() : nullptr);
    YFCurve* const target = curve == nullptr ? made.get() : curve;
    if (target == nullptr || !target->TaloRetrieve(talo, onlyDefault, withColor)) return nullptr;
    static_cast<void>(made.release());  // the caller's
    return target;
}

bool YFCurve::TaloRetrieve(YTalo* talo, bool onlyDefault, bool withColor)
{
    if (talo == nullptr || !talo->FieldReadBegin(kDefault)) return false;
    const double value = talo->FieldReadD();
    talo->FieldReadEnd();
    return yfc::Guarded([&] {
        YFCurveDraft draft(*this, false);
        draft.Get().ReadFrom(*talo, value, onlyDefault, withColor);
        if (talo->GetError().GetLastErrorID() == YTalo::eErrorMemory) throw std::bad_alloc();
        draft.Commit();
        return true;
    });
}

void YFCurve::ReadFrom(YTalo& talo, double value, bool onlyDefault, bool withColor)
{
    KeyClear();
    mValue = static_cast<float>(value);
    CallbackAddEvent(YFCURVEEVENT_CURVE_VALUE, -1);
    if (onlyDefault) return;
    const int version = talo.FieldReadI(kVersion, 0);
    const int count = talo.FieldReadI(kCount, 0);
    if (count > 0) {
        RetrieveKeys(talo, version, count);
        RetrieveExtrapolation(talo, kPreExtrapolation, mPreExtrapolation, mPreExtrapolationCount);
        RetrieveExtrapolation(talo, kPostExtrapolation, mPostExtrapolation, mPostExtrapolationCount);
    }
    const yfc::TaloReadField color(talo, kColor);
    if (!withColor || !color) return;
    if (talo.FieldReadGetRemain() < 3) {
        talo.NoteLeftOut(YTalo::eLeftOutValues);
        return;
    }
    for (float& component : mColor) component = static_cast<float>(talo.FieldReadD());
}

// Keys go straight into their blocks. Room is made for no more of them than the field can hold, whatever
// count the file promises.
void YFCurve::RetrieveKeys(YTalo& talo, int version, int count)
{
    using EResult = yfc::KeyReader::EResult;
    const yfc::TaloReadField field(talo, kKeys);
    if (!field) return;
    const int room = std::min(count, talo.FieldReadGetRemain() / yfc::kFewestValuesOfKey);
    InitBuffers(room, false);

    yfc::KeyReader reader(talo, version);
    yfc::FileKey read;
    std::vector<int> bad;
    YTime latest;
    int seen = 0;
    for (; seen < count; ++seen) {
        const EResult result = reader.Read(read);
        if (result == EResult::End) break;
        const bool inOrder = mKeyCount == 0 || read.time > latest;
        if (result != EResult::Key || !inOrder) talo.NoteLeftOut(YTalo::eLeftOutKeys);
        if (result == EResult::Malformed) continue;
        if (inOrder) latest = read.time;
        if (!inOrder || result == EResult::KeyWithUnknownOverride) bad.push_back(mKeyCount);
        const YFCurveKeyAttrReference reference = SharedAttribute(read.attributes);
        yfc::RetainAttribute(reference);
        YPriFCurveKey& key = Key(mKeyCount++);
        key.SetTime(read.time);
        key.SetValue(read.value);
        key.SetAttr(reference);
    }
    if (seen < count) talo.NoteLeftOut(YTalo::eLeftOutValues);  // the count
    while (reader.Read(read) != EResult::End) talo.NoteLeftOut(YTalo::eLeftOutKeys);
    if (mKeyCount > 0) {
        CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, 0);
        CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, mKeyCount - 1);
    }
    if (!bad.empty()) {
        const float firstValue = KeyGetValue(0);
        YFCurveDescendingEdit(*this).Delete(bad);
        if (mKeyCount == 0) SetValue(firstValue);  // the value that it began with
    }
    if (mKeyCount < room) KeyShrink();
}

// The record for a key to be appended: the previous key's or the default one if it is equal, else a new one.
YFCurveKeyAttrReference YFCurve::SharedAttribute(const YPriFCurveKeyAttr& attr) const
{
    const YFCurveKeyAttrReference previous = mKeyCount > 0 ? Key(mKeyCount - 1).GetAttr() : 0;
    if (previous != 0 && yfc::Attribute(previous) == attr) return previous;
    if (yfc::Attribute(yfc::kDefaultAttribute) == attr) return yfc::kDefaultAttribute;
    const YFCurveKeyAttrReference own = yfc::AllocateAttribute();
    yfc::Attribute(own).SetWords(attr);
    return own;
}

void YFCurve::RetrieveExtrapolation(YTalo& talo, const char* name, std::uint32_t& mode, std::uint32_t& count)
{
    const yfc::TaloReadField field(talo, name);
    if (!field) return;
    const yfc::TaloReadBlock block(talo);
    mode = ExtrapolationOf(block ? talo.FieldReadCH(kExtrapolationType, '0') : '0');
    CallbackAddEvent(YFCURVEEVENT_KEY_ATTR_CHANGED, -1);
    count = static_cast<std::uint32_t>(block ? talo.FieldReadI(kExtrapolationCount, 0) : 0);
    CallbackAddEvent(YFCURVEEVENT_KEY_ATTR_CHANGED, -1);
}
