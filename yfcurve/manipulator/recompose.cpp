// A curve put together from pieces that overlap in time.

#include <algorithm>
#include <cstdint>
#include <vector>

#include "yfcurve/curve/edit/draft.h"
#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/manipulator/composing.h"
#include "yfcurve/yfcurvemanipulator.h"

namespace {

struct Piece
{
    const YFCurve* curve;
    YTime start;
    const YFCurveTangeantInfo* left;

    YTime Shift() const { return start - curve->KeyGetTime(0); }
    // The keys that have a time in the whole.
    int KeyCount() const
    {
        if (curve == nullptr || start.IsInfinite()) return 0;
        int count = curve->KeyGetCount();
        while (count > 0 && Distance(count - 1) >= Ticks(YTIME_INFINITE) - Ticks(start)) --count;
        return count;
    }

  private:
    // Without a sign, so that no two times are too far apart.
    static std::uint64_t Ticks(YTime time) { return static_cast<std::uint64_t>(time.Get()); }
    std::uint64_t Distance(int index) const
    {
        return Ticks(curve->KeyGetTime(index)) - Ticks(curve->KeyGetTime(0));
    }
};

struct PieceKey
{
    YTime time;
    int piece;
    int index;
};

// The keys that remain, in order of time.
std::vector<PieceKey> Merged(const Piece (&pieces)[4])
{
    std::vector<PieceKey> keys;
    for (int piece = 0; piece < 4; ++piece) {
        const int count = pieces[piece].KeyCount();
        for (int i = 0; i < count; ++i) {
            keys.push_back({pieces[piece].curve->KeyGetTime(i) + pieces[piece].Shift(), piece, i});
        }
    }
    std::sort(keys.begin(), keys.end(), [](const PieceKey& a, const PieceKey& b) {
        return a.time != b.time ? a.time < b.time : a.piece > b.piece;
    });
    const auto sameTime = [](const PieceKey& a, const PieceKey& b) { return a.time == b.time; };
    keys.erase(std::unique(keys.begin(), keys.end(), sameTime), keys.end());
    return keys;
}

bool Continues(const PieceKey& key, const PieceKey& before)
{
    return key.piece == before.piece && key.index == before.index + 1;
}

void Recompose(YFCurve& target, const Piece (&pieces)[4])
{
    const std::vector<PieceKey> keys = Merged(pieces);
    target.KeyClear();
    for (std::size_t i = 0; i < keys.size();) {
        std::size_t end = i + 1;
        while (end < keys.size() && Continues(keys[end], keys[end - 1])) ++end;
        const Piece& piece = pieces[keys[i].piece];
        YFCurvePieces::Append(target, {piece.curve, keys[i].index, keys[end - 1].index, piece.Shift()});
        i = end;
    }
    for (std::size_t i = 1; i < keys.size(); ++i) {
        if (Continues(keys[i], keys[i - 1])) continue;
        const Piece& piece = pieces[keys[i].piece];
        const int index = keys[i].index;
        yfc::CarryLeftTangent(target, static_cast<int>(i),
                              index == 0 ? *piece.left : piece.curve->KeyGetLeftDerivativeInfo(index));
    }
}

}  // namespace

void YFCurveManipulator::RecomposeFCurve(YFCurve* target, const YFCurve* first, YTime firstStart,
                                         const YFCurveTangeantInfo& firstLeft, const YFCurve* second,
                                         YTime secondStart, const YFCurveTangeantInfo& secondLeft,
                                         const YFCurve* third, YTime thirdStart,
                                         const YFCurveTangeantInfo& thirdLeft, const YFCurve* fourth,
                                         YTime fourthStart, const YFCurveTangeantInfo& fourthLeft)
{
    if (target == nullptr) return;
    const Piece pieces[] = {{first, firstStart, &firstLeft},
                            {second, secondStart, &secondLeft},
                            {third, thirdStart, &thirdLeft},
                            {fourth, fourthStart, &fourthLeft}};
    yfc::Guarded([&] {
        YFCurveDraft draft(*target, false);
        Recompose(draft.Get(), pieces);
        draft.Commit();
    });
}
