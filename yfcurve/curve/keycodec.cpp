#include "yfcurve/curve/keycodec.h"

#include <cmath>

#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/pool/keyattributes.h"

namespace yfc {

namespace {

// Versions that brought something new.
constexpr int kWithTangentCharacter = 4000;
constexpr int kWithWeights = 4002;
constexpr int kWithAutoParameters = 4004;
constexpr int kWithOverrides = 4005;
constexpr int kWithTimeIndependent = 4006;

// --- Writing -------------------------------------------------------------------------------------------

void WriteNumber(YTalo& talo, float value)
{
    talo.FieldWriteShortD(value);
}

void WriteWeights(YTalo& talo, const YPriFCurveKeyAttr& attr)
{
    const unsigned mode = attr.GetTangeantWeightMode();
    const bool right = (mode & YFCURVE_WEIGHT_RIGHT) != 0;
    const bool nextLeft = (mode & YFCURVE_WEIGHT_NEXT_LEFT) != 0;
    talo.FieldWriteCH(right && nextLeft ? 'a' : right ? 'r' : nextLeft ? 'l' : 'n');
    if (right) WriteNumber(talo, attr.GetDataDouble(YFCURVEKEY_RIGHT_WEIGHT));
    if (nextLeft) WriteNumber(talo, attr.GetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT));
}

void WriteTwoSides(YTalo& talo, const YPriFCurveKeyAttr& attr, char mode, float right, float nextLeft)
{
    talo.FieldWriteCH(mode);
    WriteNumber(talo, right);
    WriteNumber(talo, nextLeft);
    WriteWeights(talo, attr);
}

void WriteAuto(YTalo& talo, const YPriFCurveKeyAttr& attr)
{
    const float right = attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE);
    const float nextLeft = attr.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE);
    if (right == 0.0f && nextLeft == 0.0f) {
        talo.FieldWriteCH('a');
    } else {
        WriteTwoSides(talo, attr, attr.GetBreak() ? 'q' : 'p', right, nextLeft);
    }
    const bool clamp = (attr.GetFlags() & YFCURVE_TANGENT_CLAMP) != 0;
    const bool timeIndependent = (attr.GetFlags() & YFCURVE_TANGENT_TIME_INDEPENDENT) != 0;
    talo.FieldWriteCH(clamp && timeIndependent ? 'b' : clamp ? 'c' : timeIndependent ? 'i' : 'n');
}

// Whether the in-tangent of a key is a slope that the key before it holds.
bool HasUserTangents(const YFCurve& curve, int index)
{
    return yfc::KeyKind(curve, index).IsCubic() &&
           (curve.KeyGetTangeantMode(index) & YFCURVE_TANGENT_USER) != 0;
}

void WriteAutoAsUser(YTalo& talo, const YFCurve& curve, int index, const YPriFCurveKeyAttr& attr)
{
    const bool isLast = index == curve.KeyGetCount() - 1;
    const float nextLeft = isLast ? 0.0f : curve.KeyGetLeftDerivative(index + 1);
    const bool hasLeftParameter =
        index > 0 && curve.KeyGetDataFloat(index - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE) != 0.0f;
    if (hasLeftParameter || attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE) != 0.0f) {
        WriteTwoSides(talo, attr, attr.GetBreak() ? 'b' : 's', curve.KeyGetRightDerivative(index), nextLeft);
    } else if (!isLast && HasUserTangents(curve, index + 1)) {
        talo.FieldWriteCH('d');
        WriteNumber(talo, nextLeft);
        WriteWeights(talo, attr);
    } else {
        talo.FieldWriteCH('a');
    }
}

void WriteTangents(YTalo& talo, const YFCurve& curve, int index, const YPriFCurveKeyAttr& attr,
                   bool autoAsUser)
{
    switch (attr.GetTangeantMode(false)) {
        case YFCURVE_TANGENT_TCB:
            talo.FieldWriteCH('t');
            WriteNumber(talo, attr.GetDataFloat(YFCURVEKEY_TCB_TENSION));
            WriteNumber(talo, attr.GetDataFloat(YFCURVEKEY_TCB_CONTINUITY));
            WriteNumber(talo, attr.GetDataFloat(YFCURVEKEY_TCB_BIAS));
            return;
        case YFCURVE_TANGENT_USER:
        case YFCURVE_TANGENT_USER_BREAK:
            WriteTwoSides(talo, attr, attr.GetBreak() ? 'b' : 's',
                          attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE),
                          attr.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE));
            return;
        case YFCURVE_TANGENT_AUTO:
        case YFCURVE_TANGENT_AUTO_BREAK:
            if (autoAsUser) {
                WriteAutoAsUser(talo, curve, index, attr);
            } else {
                WriteAuto(talo, attr);
            }
            return;
        default:
            return;
    }
}

}  // namespace

void WriteKey(YTalo& talo, const YFCurve& curve, int index, bool autoAsUser)
{
    const YPriFCurveKey& key = *curve.InternalPriKeyGetPtr(index);
    const YPriFCurveKeyAttr& attr = Attribute(key.GetAttr());
    talo.FieldWriteT(key.GetTime());
    WriteNumber(talo, key.GetValue());
    switch (KeyKind(attr).GetInterpolation()) {
        case EInterpolation::None:
            return;
        case EInterpolation::Constant:
            talo.FieldWriteCH('C');
            talo.FieldWriteCH(attr.GetConstantMode() == YFCURVE_CONSTANT_NEXT ? 'n' : 's');
            return;
        case EInterpolation::Linear:
            talo.FieldWriteCH('L');
            return;
        case EInterpolation::Cubic:
            talo.FieldWriteCH('U');
            WriteTangents(talo, curve, index, attr, autoAsUser);
            return;
    }
}

// --- Reading -------------------------------------------------------------------------------------------

KeyReader::KeyReader(YTalo& talo, int version) : mTalo(talo), mVersion(version)
{
    mNew.ResetCubic();
}

KeyReader::EResult KeyReader::Read(FileKey& key)
{
    // Behind a complete key of a known layout stands only what does not belong there.
    const bool expectsKey = mLast == EResult::Key && mVersion <= YFCURVE_KEY_VERSION;
    char type = mTalo.FieldReadGetType();
    for (int passed = 0; type != 'T'; type = mTalo.FieldReadGetType()) {
        if (type == '\0') return EResult::End;
        PassOver(type);
        if (expectsKey && passed++ == 0) mTalo.NoteLeftOut(YTalo::eLeftOutValues);
    }
    key.time = mTalo.FieldReadT();
    key.attributes = mNew;
    mLast = Number(key.value) ? Attributes(key.attributes) : EResult::Malformed;
    return mLast;
}

// Takes the next value as what it is, which is not counted as left out.
void KeyReader::PassOver(char type)
{
    if (type == 'S') {
        static_cast<void>(mTalo.FieldReadS());
    } else if (type == 'C') {
        static_cast<void>(mTalo.FieldReadCH());
    } else {
        static_cast<void>(mTalo.FieldReadD());
    }
}

bool KeyReader::NextIsNumber() const
{
    const char type = mTalo.FieldReadGetType();
    return type == 'D' || type == 'F' || type == 'I';
}

bool KeyReader::NextIsCharacter() const
{
    return mTalo.FieldReadGetType() == 'C';
}

// The next value, 0 when it is not a character.
char KeyReader::Character()
{
    return NextIsCharacter() ? mTalo.FieldReadCH() : '\0';
}

// Beyond the range of single precision it is an infinity.
bool KeyReader::Number(float& number)
{
    if (!NextIsNumber()) return false;
    number = static_cast<float>(mTalo.FieldReadD());
    return true;
}

bool KeyReader::Numbers(YPriFCurveKeyAttr& attr, int count)
{
    for (int word = 0; word < count; ++word) {
        float number = 0.0f;
        if (!Number(number)) return false;
        attr.SetDataFloat(static_cast<EYFCurveDataIndex>(word), number);
    }
    return true;
}

KeyReader::EResult KeyReader::Attributes(YPriFCurveKeyAttr& attr)
{
    if (!NextIsCharacter()) return EResult::Key;
    switch (mTalo.FieldReadCH()) {
        case 'C': {
            attr.SetFlags(YFCURVE_INTERP_CONSTANT);
            const char mode = NextIsCharacter() ? Character() : 's';
            if (mode == 'n') attr.SetConstantMode(YFCURVE_CONSTANT_NEXT);
            return mode == 'n' || mode == 's' ? EResult::Key : EResult::Malformed;
        }
        case 'L':
            attr.SetFlags(YFCURVE_INTERP_LINEAR);
            return EResult::Key;
        case 'U':
            attr.SetFlags(YFCURVE_INTERP_CUBIC);
            return Tangents(attr);
        default:
            return EResult::Malformed;
    }
}

KeyReader::EResult KeyReader::Tangents(YPriFCurveKeyAttr& attr)
{
    const auto keyIf = [](bool complete) { return complete ? EResult::Key : EResult::Malformed; };
    // Modes are set as they are written: the shape that was saved is the one to come back.
    const auto setMode = [&](unsigned mode) { attr.SetTangeantMode(mode, true); };
    if (!NextIsCharacter()) {
        if (mVersion >= kWithTangentCharacter) return EResult::Key;
        setMode(NextIsNumber() ? YFCURVE_TANGENT_USER : YFCURVE_TANGENT_AUTO);
        return keyIf(!NextIsNumber() || Numbers(attr, 2));
    }
    const char character = mTalo.FieldReadCH();
    if (mVersion < kWithAutoParameters && (character == 'p' || character == 'q' || character == 'd')) {
        return EResult::Malformed;
    }
    switch (character) {
        case 't':
            setMode(YFCURVE_TANGENT_TCB);
            return keyIf(Numbers(attr, 3));
        case 's':
        case 'b':
            setMode(character == 's' ? YFCURVE_TANGENT_USER : YFCURVE_TANGENT_USER_BREAK);
            return keyIf(Numbers(attr, 2) && Weights(attr));
        case 'a':
            return Overrides(attr, YFCURVE_TANGENT_AUTO);
        case 'p':
        case 'q':
            if (!Numbers(attr, 2) || !Weights(attr)) return EResult::Malformed;
            return Overrides(attr, character == 'p' ? YFCURVE_TANGENT_AUTO : YFCURVE_TANGENT_AUTO_BREAK);
        case 'd': {
            setMode(YFCURVE_TANGENT_AUTO);
            float nextLeft = 0.0f;
            if (!Number(nextLeft) || !Weights(attr)) return EResult::Malformed;
            attr.SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE, nextLeft);
            return EResult::Key;
        }
        default:
            return EResult::Malformed;
    }
}

KeyReader::EResult KeyReader::Overrides(YPriFCurveKeyAttr& attr, unsigned mode)
{
    attr.SetTangeantMode(mode, true);
    if (mVersion < kWithOverrides || !NextIsCharacter()) return EResult::Key;
    unsigned overrides = 0;
    const char character = mTalo.FieldReadCH();
    if (character == 'c') {
        overrides = YFCURVE_TANGENT_CLAMP;
    } else if (character == 'i' && mVersion >= kWithTimeIndependent) {
        overrides = YFCURVE_TANGENT_TIME_INDEPENDENT;
    } else if (character == 'b' && mVersion >= kWithTimeIndependent) {
        overrides = YFCURVE_TANGENT_OVERRIDES;
    } else if (character != 'n') {
        return EResult::KeyWithUnknownOverride;
    }
    attr.SetTangeantMode(mode | overrides, true);
    return EResult::Key;
}

bool KeyReader::Weights(YPriFCurveKeyAttr& attr)
{
    if (mVersion < kWithWeights) return true;
    unsigned mode = YFCURVE_WEIGHT_NONE;
    const char character = Character();
    if (character == 'r' || character == 'a') mode |= YFCURVE_WEIGHT_RIGHT;
    if (character == 'l' || character == 'a') mode |= YFCURVE_WEIGHT_NEXT_LEFT;
    if (mode == YFCURVE_WEIGHT_NONE && character != 'n') return false;
    attr.SetTangeantWeightMode(mode);
    const auto read = [&](EYFCurveDataIndex index) {
        float weight = 0.0f;
        if (!Number(weight) || std::isnan(weight)) return false;
        attr.SetDataDouble(index, YFCURVE_ToKeep(weight));
        return true;
    };
    return ((mode & YFCURVE_WEIGHT_RIGHT) == 0 || read(YFCURVEKEY_RIGHT_WEIGHT)) &&
           ((mode & YFCURVE_WEIGHT_NEXT_LEFT) == 0 || read(YFCURVEKEY_NEXT_LEFT_WEIGHT));
}

}  // namespace yfc
