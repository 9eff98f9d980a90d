#include <gtest/gtest.h>

#include <array>

#include "failing_heap.h"
#include "tests/node/nodes.h"
#include "tests/node/random_stack.h"

using namespace nodetest;

namespace {

TEST(Allocations, EvaluationTakesNone)
{
    RandomCurves random;
    for (const Kind kind : kAllKinds) {
        for (int round = 0; round < 20; ++round) {
            RandomStack stack(random, kind, true);
            SCOPED_TRACE(stack.Description());
            YFCurveNode& property = stack.Property();
            const int topId = stack.Layers().back()->id;
            std::array<double, 3> values = {};
            int hint = 0;
            const test::FailingHeap none(0);
            for (int frame = -10; frame < 130; frame += 3) {
                const YTime time = Seconds(frame / 30.0);
                property.Evaluate(values.data(), time, &hint);
                property.GeneralEvaluate(values.data(), time, &hint);
                property.GeneralEvaluate(values.data(), time);
                property.CandidateEvaluate(values.data(), time, &hint);
                property.EvaluateSpecificLayer(values.data(), time, topId);
                property.CandidateEvaluateSpecificLayer(values.data(), time, topId);
                if (property.IsRotationLayerType()) property.RotationNodeEvaluate(values.data(), time);
                property.CandidateSet(time, values.data());
                property.CandidateEvaluate(values.data(), time);
                property.CandidateGet(values.data());
                property.ComputeCandidateForLayer(values.data(), values.data(), time, topId);
            }
            ASSERT_FALSE(none.HasFailed());
        }
    }
}

}  // namespace
