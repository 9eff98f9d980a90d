// What loading and sampling a file take without Python: two numbers for bench/package_bench.py.

#include <time.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <span>
#include <vector>

#include "yfcurve/yfcurveclip.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveplayer.h"
#include "ymotion/ymotion.h"

namespace {

constexpr int kRepetitions = 50;

/// Nanoseconds of the processor that this process has had.
double ProcessorTime()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/// Nanoseconds of the fastest of many runs.
template<class Act>
double Fastest(const Act& act)
{
    double fastest = 1e300;
    for (int i = 0; i < kRepetitions; ++i) {
        const double start = ProcessorTime();
        act();
        fastest = std::min(fastest, ProcessorTime() - start);
    }
    return fastest;
}

}  // namespace

int main(int argc, char** argv)
{
    YMotion scene;
    if (argc != 2 || !scene.Load(argv[1])) {
        std::fprintf(stderr, "usage: scene_baseline FILE; %s\n", scene.GetError().GetLastErrorString());
        return 1;
    }
    YTime start;
    YTime stop;
    scene.GetSpan(start, stop);
    const std::int64_t frames = YMotion::GetLastFrame(stop - start, scene.GetFrameRate()) + 1;
    const auto clip = YFCurveClip::Create(*scene.GetRoot());
    const auto width = static_cast<std::size_t>(clip->GetChannelCount());
    std::vector<float> values(static_cast<std::size_t>(frames) * width);
    const double load = Fastest([&] { scene.Load(argv[1]); });
    const double sample = Fastest([&] {
        const auto player = YFCurvePlayer::Create(*clip);
        float* row = values.data();
        for (std::int64_t i = 0; i < frames; ++i, row += width)
            player->Evaluate(start + YMotion::GetFrameTime(i, scene.GetFrameRate()), std::span(row, width));
    });
    std::printf("%.0f %.0f\n", load, sample);
}
