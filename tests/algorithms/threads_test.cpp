// Meant for the thread sanitizer: properties of one tree, each on a thread of its own.

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/curve/same_edit.h"
#include "tests/node/random_stack.h"
#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurvemergelayers.h"
#include "yfcurve/yfcurveplot.h"

using namespace nodetest;

namespace {

// A layer with weights that move that all properties share.
YFCurveNodePtr LayeredJoint(TurnedLayer& layer)
{
    RandomCurves random(7);
    YFCurveNodePtr joint = Joint();
    for (int i = 0; i < joint->GetCount(); ++i) {
        for (YFCurveNode* node : {joint->Get(i), joint->Get(i)->CreateLayerAt({1, &layer})}) {
            for (int axis = 0; axis < 3; ++axis) random.AddKeys(CurveOf(*node, axis), 12, 0.0);
        }
    }
    return joint;
}

// Filters, plots into a new layer, and merges.
void WorkOn(YFCurveNode& property, TurnedLayer& layer)
{
    for (const char* name : {"YFCurveFilterUnroll", "YFCurveFilterButterworth", "YFCurveFilterEulerToQuat",
                             "YFCurveFilterQuatToEuler", "YFCurveFilterKeyReducer"}) {
        YFCurveFilter* const filter = YFCurveFilterCreate(name);
        filter->Reset();
        filter->Apply(property, true);
        filter->Destroy();
    }
    YFCurve_PlotInLayers(&property, {2, &layer}, Seconds(1), Seconds(3));
    YFCURVE_MergeLayers(&property);
}

std::string ContentOf(YFCurveNode& joint)
{
    std::string content;
    for (int i = 0; i < joint.GetCount(); ++i) {
        for (const YFCurveNode* node = joint.Get(i); node != nullptr; node = node->LayerGet()) {
            content += "|" + std::to_string(node->GetLayerID());
            for (int axis = 0; axis < node->GetCount(); ++axis)
                content += yfc::test::Bits(*node->Get(axis)->FCurveGet());
        }
    }
    return content;
}

}  // namespace

TEST(AlgorithmThreads, WorkOnPropertiesOfOneTree)
{
    TurnedLayer layer(YFCURVE_LAYER_ADDITIVE, 0.5);
    const YFCurveNodePtr expected = LayeredJoint(layer);
    const std::string before = ContentOf(*expected);
    for (int i = 0; i < expected->GetCount(); ++i) WorkOn(*expected->Get(i), layer);
    EXPECT_NE(ContentOf(*expected), before);
    const YFCurveNodePtr joint = LayeredJoint(layer);
    std::vector<std::thread> threads;
    for (int i = 0; i < joint->GetCount(); ++i)
        threads.emplace_back([&, i] { WorkOn(*joint->Get(i), layer); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(ContentOf(*joint) == ContentOf(*expected));
}
