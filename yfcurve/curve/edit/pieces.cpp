#include "yfcurve/curve/edit/pieces.h"

#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keyaccess.h"

void YFCurvePieces::Assemble(YFCurve& curve, const std::vector<YFCurvePiece>& pieces, bool holdSlopes)
{
    curve.KeyModifyBegin();
    curve.KeyClear();
    std::vector<int> starts;
    for (const YFCurvePiece& piece : pieces) starts.push_back(Append(curve, piece));
    for (std::size_t i = 0; holdSlopes && i < pieces.size(); ++i) {
        const YFCurvePiece& piece = pieces[i];
        if (piece.last < piece.first) continue;
        if (!piece.joint)
            YFCurveShape::Hold(curve, starts[i], YFCurveShape::SlopesAt(*piece.source, piece.first));
        if (piece.last == piece.first) continue;
        YFCurveShape::Hold(curve, starts[i] + piece.last - piece.first,
                           YFCurveShape::SlopesAt(*piece.source, piece.last));
    }
    curve.KeyModifyEnd();
}

int YFCurvePieces::Append(YFCurve& curve, const YFCurvePiece& piece)
{
    const int start = curve.KeyGetCount();
    curve.CopyKeys(*piece.source, piece.first, piece.last);
    for (int i = start; i < curve.KeyGetCount(); ++i) {
        YPriFCurveKey& key = curve.Key(i);
        key.SetTime(key.GetTime() + piece.timeShift);
        key.SetValue(key.GetValue() + piece.valueShift);
    }
    return start;
}
