#include <yfcurve/all.h>

#include <cstdio>

int main()
{
    const YFCurvePtr curve(YFCurveCreate());
    YFCurveKey key;
    for (const float value : {0.0f, 10.0f, -5.0f}) {
        key.Set(YTIME_ONE_SECOND * curve->KeyGetCount(), value);  // cubic, with auto tangents
        curve->KeyAdd(key.GetTime(), key);
    }
    curve->KeyInsert(YTime::FromSeconds(0.5));  // one key more, and the same curve
    int hint = 0;                               // remembers where the last evaluation was
    for (int frame = 0; frame <= 60; frame += 10) {
        std::printf("%2d %7.3f\n", frame, curve->Evaluate(YTime::FromFrame(frame), &hint));
    }
}
