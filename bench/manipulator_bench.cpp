#include "bench/manipulator_bench.h"

#include <random>
#include <string>

#include "bench/allocations.h"
#include "yfcurve/yfcurvemanipulator.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr int kCurves = 100;
constexpr int kKeys = 1'000;
constexpr int kMarked = 10;
constexpr double kFrame = 1.0 / 30.0;

void CountEvent(YFCurve*, YFCurveEvent*, void* count)
{
    ++*static_cast<int*>(count);
}

// Keys of a frame, every one with tangents and so a record of its own; ten next to each other are selected.
YFCurveNodePtr MakeNode(std::mt19937& random, int firstSelected)
{
    std::normal_distribution<float> step;
    YFCurveNodePtr node(new YFCurveNode("node", "node", nullptr, 1, YFCurveLayerInfo::Base));
    node->CreateFCurve();
    YFCurve& curve = *node->FCurveGet();
    const YFCurveModify modify(curve, kKeys);
    for (int i = 0; i < kKeys; ++i) {
        const YTime time = YTime::FromSeconds(i * kFrame);
        YFCurveKey key;
        key.Set(time, step(random), YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, step(random), step(random));
        key.SetSelected(i >= firstSelected && i < firstSelected + kMarked);
        curve.KeyAdd(time, key);
    }
    return node;
}

}  // namespace

struct ManipulatorBench::Drag
{
    Drag(const char* title, bool ripple) : name(title)
    {
        std::mt19937 random(20240611);
        for (int i = 0; i < kCurves; ++i) {
            nodes.push_back(MakeNode(random, 5 + 9 * i));
            nodes.back()->FCurveGet()->CallbackRegister(CountEvent, &events);
            manipulator.Add(nodes.back().get());
        }
        manipulator.MarkCurveNodeForManip(true, nullptr);
        manipulator.MarkKeysForManipFromSelection();
        manipulator.SetRippleMoveX(ripple);
        manipulator.BeginManipulation(kManipulationMove);
        Move();
    }

    // Back and forth over up to three frames, so that keys pass and land on others.
    void Move()
    {
        const int at = ++calls % 120;
        const double frames = (at < 60 ? at : 120 - at) * 0.1 - 3.0;
        manipulator.Offset(YTime::FromSeconds(frames * kFrame), 0.01 * at);
    }

    void Run(benchmark::State& state)
    {
        for (auto _ : state) Move();
        state.counters["items"] = 1;
    }

    double AllocationsACall()
    {
        constexpr int measured = 240;
        const long before = AllocationCount();
        for (int i = 0; i < measured; ++i) Move();
        return static_cast<double>(AllocationCount() - before) / measured;
    }

    double EventsACurve()
    {
        events = 0;
        Move();
        return static_cast<double>(events) / kCurves;
    }

    std::string name;
    std::vector<YFCurveNodePtr> nodes;
    YFCurveManipulator manipulator;
    int calls = 0;
    int events = 0;
};

ManipulatorBench::ManipulatorBench()
    : mDrag(std::make_unique<Drag>("Offset/1,000 of 100,000 keys", false)),
      mRipple(std::make_unique<Drag>("Offset/with ripple", true))
{}
ManipulatorBench::~ManipulatorBench() = default;

void ManipulatorBench::Add() const
{
    for (Drag* drag : {mDrag.get(), mRipple.get()}) {
        benchmark::RegisterBenchmark(drag->name.c_str(),
                                     [drag](benchmark::State& state) { drag->Run(state); });
    }
}

std::vector<Goal> ManipulatorBench::Goals(const GoalReporter& reporter) const
{
    constexpr double toMilliseconds = 1e-6;
    // Of drags that have just begun: the first call has been made, and is not counted.
    const double allocations = Drag("", false).AllocationsACall() + Drag("", true).AllocationsACall();
    return {
        {"drag of 1,000 keys in 100 curves, a call", reporter.Fastest(mDrag->name) * toMilliseconds, 2.0,
         "ms"},
        {"the same, the rest rippling along", reporter.Fastest(mRipple->name) * toMilliseconds, 10.0, "ms"},
        {"allocations of a call", allocations, 0.0, ""},
        {"events of a call for a curve", mDrag->EventsACurve(), 1.0, ""}};
}
