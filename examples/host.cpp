// Animates a head that turns, and corrects it on a layer of its own, as an animator would: see what is there,
// say what it should be at one moment, and have the layer keyed such that it comes out that way. Then the
// animation goes into a file, and comes back.
//
// Usage: example_host [FILE.ytalo]
//
// Build it against an installed yfcurve: c++ -std=c++20 host.cpp $(pkg-config --cflags --libs yfcurve)

#include <cmath>
#include <cstdio>
#include <utility>

#include "ybaselib/ytalo.h"
#include "yfcurve/all.h"

namespace {

// The library asks the host about its layers. This one never changes: half of it counts, on top of the rest.
class CorrectionLayer : public YFCurveLayer
{
  public:
    int GetLayerID() const override { return 1; }
    double GetWeight(YTime) const override { return 0.5; }
    bool IsMuted() const override { return false; }
    bool IsLocked() const override { return false; }
    eLayerMode GetLayerMode() const override { return YFCURVE_LAYER_ADDITIVE; }
    bool GetLayerModeBypass(YDataType*) const override { return false; }
    eWeightRotationAccumulationMode GetLayerRotationMode() const override
    {
        return YFCURVE_LAYER_ROTATION_BY_LAYER;
    }
    eAnimLayerScaleAccumulationMode GetLayerScalingMode() const override
    {
        return YFCURVE_LAYER_SCALING_MULTIPLY;
    }
};

// Linear keys on the Y curve of a rotation: the head turns to the left and back.
void KeyTurn(YFCurve& curve)
{
    const YFCurveModify modify(curve);  // listeners hear of all keys at once
    for (const auto& [seconds, degrees] : {std::pair{0.0, 0.0f}, {1.0, 30.0f}, {2.0, 0.0f}}) {
        YFCurveKey key;
        key.Set(YTime::FromSeconds(seconds), degrees, YFCURVE_INTERP_LINEAR);
        curve.KeyAdd(key.GetTime(), key);
    }
}

void PrintAngles(const char* label, const double* degrees)
{
    std::printf("  %s", label);
    // Adding zero turns a negative zero into a plain one.
    for (int i = 0; i < 3; ++i) std::printf(" %6.2f", std::round(100.0 * degrees[i]) / 100.0 + 0.0);
}

bool Save(const YFCurveNode& node, const char* path)
{
    YTalo file;
    file.FileCreate(path);
    node.TaloStore(&file);
    // All errors up to here show up now. The file is there whole, or what was there before still is.
    if (file.FileClose()) return true;
    std::fprintf(stderr, "%s: %s\n", path, file.GetError().GetLastErrorString());
    return false;
}

bool Load(YFCurveNode& node, const char* path)
{
    YTalo file;
    if (file.FileOpen(path)) return node.TaloRetrieve(&file);
    std::fprintf(stderr, "%s:%d: %s\n", path, static_cast<int>(file.GetErrorLine()),
                 file.GetError().GetLastErrorString());
    return false;
}

// A file knows layers by their ids. Which objects these are is for the host to say.
void TieToLayer(YFCurveNode& node, const YFCurveLayerInfo& layer)
{
    node.SetLayerInfo(layer);
    for (int i = 0; i < node.GetCount(); ++i) TieToLayer(*node.Get(i), layer);
}

}  // namespace

int main(int argc, char** argv)
{
    const char* path = argc > 1 ? argv[1] : "head.ytalo";

    // A local rotation has three children, X, Y and Z, of which each gets a curve. The pointer owns them all.
    const YFCurveNodePtr head(
        FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalRotation), "Head rotation"));
    head->CreateFCurve();
    KeyTurn(*head->Get(1)->FCurveGet());

    // The node itself is the base layer. The correction goes above it, with keys that hold it still at both
    // ends, so that it fades in and out in between.
    CorrectionLayer correction;  // has to outlive the nodes that refer to it
    const YFCurveLayerInfo layer(correction.GetLayerID(), &correction);
    YFCurveNode* upper = head->CreateLayerAt(layer);
    const double still[] = {0.0, 0.0, 0.0};
    upper->KeyAdd(YTime::FromSeconds(0.0), still);
    upper->KeyAdd(YTime::FromSeconds(2.0), still);

    // At one second, where the head has turned by 30 degrees, it should have turned by 50. As long as this is
    // a candidate, it shows in evaluation and touches no key. Keying it asks the library for what the layer
    // has to hold: 40 degrees, as half of it counts.
    const double wanted[] = {0.0, 50.0, 0.0};
    head->CandidateSet(YTime::FromSeconds(1.0), wanted, layer);
    head->CandidateKey(nullptr, layer);

    // The node that is read into has the data type, which files do not keep; curves and layers come with
    // them.
    const YFCurveNodePtr loaded(
        FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalRotation), "Head rotation"));
    if (!Save(*head, path) || !Load(*loaded, path)) return 1;
    upper = loaded->LayerGet(layer.GetLayerID());
    TieToLayer(*upper, layer);

    std::puts("degrees about X, Y and Z");
    for (int i = 0; i <= 4; ++i) {
        const YTime time = YTime::FromSeconds(0.5 * i);
        double base[3], share[3], total[3];
        loaded->Evaluate(base, time);
        upper->Evaluate(share, time);
        loaded->GeneralEvaluate(total, time);
        std::printf("%.1f seconds", time.GetSecondDouble());
        PrintAngles("base", base);
        PrintAngles("layer", share);
        PrintAngles("total", total);
        std::puts("");
    }
    return 0;
}
