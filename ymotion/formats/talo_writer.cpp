#include <exception>
#include <new>
#include <unordered_map>

#include <fmt/format.h>

#include "ybaselib/ytalo.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/talo.h"
#include "ymotion/formats/talo_fields.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/layer_text.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

/// Passes a scene file on. What goes wrong meanwhile is thrown again where exceptions may go.
class FileOutput final : public YTaloOutput
{
  public:
    explicit FileOutput(Output& file) : mFile(file) {}

    bool Write(const char* bytes, std::size_t count) override
    {
        try {
            StopIfAsked();
            mFile.Write({bytes, count});
            return true;
        } catch (...) {
            mFailure = std::current_exception();
            return false;
        }
    }

    void Rethrow() const
    {
        if (mFailure) std::rethrow_exception(mFailure);
    }

  private:
    Output& mFile;
    std::exception_ptr mFailure;
};

/// Writes the fields of a scene, one after the other; errors show at the end.
class SceneWriter
{
  public:
    SceneWriter(const Scene& scene, YTalo& talo) : mScene(scene), mTalo(talo)
    {
        for (std::size_t i = 0; i < scene.jointNodes.size(); ++i) mJoints.emplace(scene.jointNodes[i], i);
    }

    void Write()
    {
        WriteSettings();
        for (int i = 0; i < mScene.root->GetCount(); ++i) WriteNode(*mScene.root->Get(i));
        CopyTaloFields(mScene.foreignFields, mTalo);
    }

  private:
    void WriteSettings()
    {
        mTalo.FieldWriteBegin(kSceneField);
        mTalo.FieldWriteBlockBegin();
        mTalo.FieldWriteI("Version", kSceneVersion);
        mTalo.FieldWriteS("FrameRate",
                          fmt::format("{}/{}", mScene.rate.numerator, mScene.rate.denominator).c_str());
        if (!mScene.frameTime.empty()) mTalo.FieldWriteS("FrameTime", mScene.frameTime.c_str());
        for (const auto& layer : mScene.layers.Layers()) WriteLayer(*layer);
        mTalo.FieldWriteI("HighestLayerID", mScene.layers.HighestId());
        WriteForms();
        mTalo.FieldWriteBlockEnd();
        mTalo.FieldWriteEnd();
    }

    /// Which rotations turn as quaternions.
    void WriteForms()
    {
        for (const NamedProperty& named : NamedProperties(mScene)) {
            if (!TurnsAsQuaternions(*named.node)) continue;
            mTalo.FieldWriteBegin(kQuaternionField);
            mTalo.FieldWriteS(named.path.c_str());
            if (named.place > 0) mTalo.FieldWriteI(named.place);
            mTalo.FieldWriteEnd();
        }
    }

    void WriteLayer(const Layer& layer)
    {
        mTalo.FieldWriteBegin("Layer");
        mTalo.FieldWriteS(layer.Name().c_str());
        mTalo.FieldWriteBlockBegin();
        mTalo.FieldWriteI("LayerID", layer.GetLayerID());
        if (layer.IsMuteOn()) mTalo.FieldWriteI("Mute", 1);
        if (layer.IsSolo()) mTalo.FieldWriteI("Solo", 1);
        if (layer.IsLocked()) mTalo.FieldWriteI("Lock", 1);
        mTalo.FieldWriteS("Mode", ModeText(layer.GetLayerMode()));
        mTalo.FieldWriteS("RotationMode", RotationModeText(layer.GetLayerRotationMode()));
        mTalo.FieldWriteS("ScalingMode", ScalingModeText(layer.GetLayerScalingMode()));
        for (const YDataType* type : layer.ModeBypasses()) mTalo.FieldWriteS("ModeBypass", type->GetName());
        if (const YFCurve* weight = layer.WeightCurve()) {
            mTalo.FieldWriteBegin("Weight");
            mTalo.FieldWriteBlockBegin();
            weight->TaloStore(&mTalo, false, false);
            mTalo.FieldWriteBlockEnd();
            mTalo.FieldWriteEnd();
        }
        mTalo.FieldWriteBlockEnd();
        mTalo.FieldWriteEnd();
    }

    /// Joints are written here, since two of one parent may have the same name, which the library would take
    /// for the same node; what hangs on them is the library's.
    void WriteNode(const YFCurveNode& node)
    {
        const auto joint = mJoints.find(&node);
        if (joint == mJoints.end()) {
            node.TaloStore(&mTalo);
            return;
        }
        mTalo.FieldWriteBegin(kNodeField);
        mTalo.FieldWriteS(node.GetName());
        mTalo.FieldWriteBlockBegin();
        WriteJoint(joint->second);
        mTalo.FieldWriteI("LayerType", node.GetLayerType());
        for (int i = 0; i < node.GetCount(); ++i) WriteNode(*node.Get(i));
        mTalo.FieldWriteBlockEnd();
        mTalo.FieldWriteEnd();
    }

    void WriteJoint(std::size_t index)
    {
        const std::vector<Joint>& joints = mScene.skeleton.joints;
        mTalo.FieldWriteBegin(kJointField);
        mTalo.FieldWriteBlockBegin();
        WriteOffset(joints[index]);
        mTalo.FieldWriteBegin("Channels");
        for (const Channel channel : joints[index].channels) mTalo.FieldWriteS(ChannelName(channel));
        mTalo.FieldWriteEnd();
        int childJoints = 0;
        for (std::size_t i = index + 1; i < joints.size() && joints[i].parent >= static_cast<int>(index);
             ++i) {
            if (joints[i].parent != static_cast<int>(index)) continue;
            if (joints[i].endSite) WriteEndSite(joints[i], childJoints);
            childJoints += joints[i].endSite ? 0 : 1;
        }
        mTalo.FieldWriteBlockEnd();
        mTalo.FieldWriteEnd();
    }

    void WriteOffset(const Joint& joint)
    {
        mTalo.FieldWriteBegin("Offset");
        for (const float component : joint.offset) mTalo.FieldWriteF(component);
        mTalo.FieldWriteEnd();
    }

    void WriteEndSite(const Joint& site, int childJointsBefore)
    {
        mTalo.FieldWriteBegin("EndSite");
        mTalo.FieldWriteS(site.name.c_str());
        mTalo.FieldWriteBlockBegin();
        WriteOffset(site);
        if (childJointsBefore > 0) mTalo.FieldWriteI("JointsBefore", childJointsBefore);
        mTalo.FieldWriteBlockEnd();
        mTalo.FieldWriteEnd();
    }

    const Scene& mScene;
    YTalo& mTalo;
    std::unordered_map<const YFCurveNode*, std::size_t> mJoints;
};

}  // namespace

void WriteTalo(const Scene& scene, Output& out)
{
    FileOutput output(out);
    YTalo talo;
    if (talo.OutputCreate(&output)) SceneWriter(scene, talo).Write();
    if (talo.FileClose()) return;
    output.Rethrow();
    if (talo.GetError().GetLastErrorID() == YTalo::eErrorMemory) throw std::bad_alloc();
    throw Failure(fmt::format("{}: cannot be written as a scene file: {}", scene.file,
                              talo.GetError().GetLastErrorString()));
}

}  // namespace ymotion
