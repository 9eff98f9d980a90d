#pragma once

#include "ybaselib/ytalo.h"
#include "yfcurve/yfcurve.h"

// Keys as values of a scene file's field. docs/scene-file.md has the layouts.

namespace yfc {

/// What a key takes at least: time and value.
inline constexpr int kFewestValuesOfKey = 2;

/// Adds one key of a curve to the field that is being written.
/// \param autoAsUser  see `YFCurve::TaloStore`.
void WriteKey(YTalo& talo, const YFCurve& curve, int index, bool autoAsUser);

struct FileKey
{
    YTime time;
    float value = 0.0f;
    YPriFCurveKeyAttr attributes{};  // reference count 0
};

/// Reads the keys of a field one by one. The types of the values tell where a key ends: each begins with a
/// time, and nothing else in it is one. So a key that is not understood does not harm its neighbours.
class KeyReader
{
  public:
    enum class EResult
    {
        Key,
        KeyWithUnknownOverride,  ///< read, but its tangents are not known
        Malformed,
        End
    };

    /// \param version  of the layout. Newer ones are read as far as they are like the known one.
    KeyReader(YTalo& talo, int version);

    /// Reads the next key. What has no place in the file has the values of a new key.
    EResult Read(FileKey& key);

  private:
    void PassOver(char type);
    bool NextIsNumber() const;
    bool NextIsCharacter() const;
    char Character();
    bool Number(float& number);
    bool Numbers(YPriFCurveKeyAttr& attr, int count);

    EResult Attributes(YPriFCurveKeyAttr& attr);
    EResult Tangents(YPriFCurveKeyAttr& attr);
    EResult Overrides(YPriFCurveKeyAttr& attr, unsigned mode);
    bool Weights(YPriFCurveKeyAttr& attr);

    YTalo& mTalo;
    int mVersion;
    YPriFCurveKeyAttr mNew{};
    EResult mLast = EResult::Key;
};

}  // namespace yfc
