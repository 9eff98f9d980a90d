#include <yfcurve/all.h>

#include <cstdio>

// Half-way along a straight segment from 1 to 3.
int main()
{
    const YFCurvePtr curve(YFCurveCreate());
    {
        const YFCurveModify modify(*curve, 2);
        curve->KeyAppendFast(YTime::FromSeconds(0.0), 1.0f);
        curve->KeyAppendFast(YTime::FromSeconds(2.0), 3.0f);
        curve->KeySetInterpolation(0, YFCURVE_INTERP_LINEAR);
    }
    const float value = curve->Evaluate(YTime::FromSeconds(1.0));
    std::printf("%g\n", static_cast<double>(value));
    return value == 2.0f ? 0 : 1;
}
