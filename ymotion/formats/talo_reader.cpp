#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <new>
#include <utility>

#include <fmt/format.h>

#include "ybaselib/ytalo.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/formats/talo.h"
#include "ymotion/formats/talo_fields.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/layer_text.h"
#include "ymotion/scene/node_walk.h"
#include "ymotion/scene/storage_meter.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

[[noreturn]] void FailAsTalo(const YTalo& talo, const std::string& name)
{
    if (talo.GetError().GetLastErrorID() == YTalo::eErrorMemory) throw std::bad_alloc();
    const std::string place =
        talo.GetErrorLine() > 0 ? fmt::format(":{}:{}", talo.GetErrorLine(), talo.GetErrorColumn()) : "";
    throw Failure(fmt::format("{}{}: {}", name, place, Printable(talo.GetError().GetLastErrorString())));
}

/// Reads the scene out of a file that is open, and thereby well-formed.
class SceneReader
{
  public:
    /// \param age  gets how old the file is, unless null.
    SceneReader(YTalo& talo, const std::string& name, FileAge* age) : mTalo(talo), mName(name), mAge(age) {}

    Scene Read()
    {
        mScene.root = MakeGroupNode("Scene");
        if (mAge != nullptr) mAge->hasEndMark = mTalo.HasEndMark();
        ReadSettings();
        while (mTalo.FieldReadBegin(kNodeField)) {
            if (mAge != nullptr) NoteKeyLayouts(mTalo, *mAge);
            ReadNode(*mScene.root, nullptr);
            mTalo.FieldReadEnd();
        }
        SetForms();
        mScene.foreignFields = RemainingTaloFields(mTalo);
        if (!mTalo.FileClose()) FailAsTalo(mTalo, mName);
        NoteLeftOut();
        AddUnnamedLayers();
        mScene.layers.Bind(*mScene.root);
        mScene.curveBytes = mMeter.Bytes();
        return std::move(mScene);
    }

  private:
    /// An end site, which in the file stands apart from the joints between which it belongs.
    struct EndSite
    {
        int jointsBefore = 0;
        Joint joint;
    };

    /// A joint whose block is open.
    struct OpenJoint
    {
        int index = 0;
        int children = 0;
        std::vector<EndSite> sites;  ///< in the order of the skeleton
        std::size_t placed = 0;      ///< of them, in the skeleton already
    };

    /// Names the line of the value that was read last, while the file is open.
    [[noreturn]] void Fail(const std::string& message) const
    {
        // What is missed may be there, and no memory to read it.
        if (mTalo.GetError().GetLastErrorID() == YTalo::eErrorMemory) throw std::bad_alloc();
        const std::int64_t line = mTalo.FieldReadGetLine();
        if (line > 0) FailAt(mName, line, message);
        throw Failure(fmt::format("{}: {}", mName, message));
    }

    /// What has been left out of the file, once it is closed.
    void NoteLeftOut()
    {
        struct Kind
        {
            YTalo::ELeftOut what;
            const char* one;
            const char* several;
        };
        constexpr Kind kKinds[] = {
            {YTalo::eLeftOutKeys, "key left out", "keys left out"},
            {YTalo::eLeftOutValues, "value not understood", "values not understood"},
            {YTalo::eLeftOutFields, "unknown field left out", "unknown fields left out"},
            {YTalo::eLeftOutEnd, "end mark missing, so that something was cut off", ""},
        };
        for (const Kind& kind : kKinds) {
            const int count = mTalo.GetLeftOutCount(kind.what);
            if (count == 0) continue;
            mScene.leftOut.push_back({count, kind.one, kind.several, mTalo.GetLeftOutLine(kind.what)});
        }
    }

    // --- The program's own settings --------------------------------------------------------------------

    void ReadSettings()
    {
        if (!mTalo.FieldReadBegin(kSceneField)) return;
        if (mAge != nullptr) NoteKeyLayouts(mTalo, *mAge);
        if (mTalo.FieldReadBlockBegin()) {
            const int version = mTalo.FieldReadI("Version", kSceneVersion);
            if (version > kSceneVersion) {
                Fail(fmt::format("was written by a newer program (its scene has version {}); update this one",
                                 version));
            }
            ReadRate();
            while (mTalo.FieldReadBegin("Layer")) {
                CheckLayerCount();
                ReadLayer(mTalo.FieldReadS());
                mTalo.FieldReadEnd();
            }
            mScene.layers.ReserveIds(mTalo.FieldReadI("HighestLayerID", 0));
            ReadForms();
            mTalo.NoteUnreadFields();
        }
        mTalo.FieldReadEnd();
    }

    void ReadForms()
    {
        while (mTalo.FieldReadBegin(kQuaternionField)) {
            std::string path = mTalo.FieldReadS();
            const int place = mTalo.FieldReadGetRemain() > 0 ? mTalo.FieldReadI() : 0;
            mForms.emplace_back(std::move(path), place);
            mTalo.FieldReadEnd();
        }
    }

    /// Gives the rotations that the settings name their form, layers included.
    void SetForms()
    {
        if (mForms.empty()) return;
        std::map<std::pair<std::string, int>, YFCurveNode*> rotations;
        for (const NamedProperty& named : NamedProperties(mScene)) {
            if (!IsRotation(*named.node)) continue;
            rotations[{named.path, named.place}] = named.node;
        }
        for (const auto& form : mForms) {
            const auto found = rotations.find(form);
            if (found == rotations.end()) {
                // The line is not known any more.
                throw Failure(fmt::format(
                    "{}: {} names the rotation {}, which there is not; correct it, or remove it where "
                    "the rotation is interpolated by angles",
                    mName, kQuaternionField, Quoted(form.first)));
            }
            found->second->SetUseQuaternion(true);
        }
    }

    void ReadRate()
    {
        mScene.frameTime = mTalo.FieldReadS("FrameTime", "");
        const std::string text = mTalo.FieldReadS("FrameRate", "");
        std::optional<FrameRate> rate = mScene.rate;
        if (!text.empty()) {
            rate = ParseRate(text);
        } else if (!mScene.frameTime.empty()) {
            rate = RateOfFrameTime(mScene.frameTime);
        }
        if (!rate) {
            Fail(
                fmt::format("the frame rate {} is none; write frames a second, like \"30\" or \"24000/1001\"",
                            Quoted(text.empty() ? mScene.frameTime : text)));
        }
        if (!mScene.frameTime.empty() && !RateOfFrameTime(mScene.frameTime)) {
            Fail(fmt::format("the frame time {} is none; write seconds, or remove it",
                             Quoted(mScene.frameTime)));
        }
        mScene.rate = *rate;
    }

    void ReadLayer(const std::string& name)
    {
        if (!mTalo.FieldReadBlockBegin())
            Fail(fmt::format("layer {} has no LayerID; write one", Quoted(name)));
        const int id = mTalo.FieldReadI("LayerID", -1);
        Layer* layer = nullptr;
        if (id == 0) {
            layer = mScene.layers.Rename(mScene.layers.Base(), name) ? &mScene.layers.Base() : nullptr;
        } else {
            layer = mScene.layers.Add(name, id);
        }
        if (layer == nullptr) {
            Fail(fmt::format(
                "layer {} with the id {}: each layer has to have a name and an id from 0 up of its "
                "own; correct it",
                Quoted(name), id));
        }
        layer->SetMute(mTalo.FieldReadI("Mute", 0) != 0);
        layer->SetLocked(mTalo.FieldReadI("Lock", 0) != 0);
        mScene.layers.SetSolo(*layer, mTalo.FieldReadI("Solo", 0) != 0);
        ReadModes(*layer);
        if (layer->WeightCurve() != nullptr && mTalo.FieldReadBegin("Weight")) {
            if (mTalo.FieldReadBlockBegin()) {
                layer->WeightCurve()->TaloRetrieve(&mTalo, false, false);
                mTalo.NoteUnreadFields();
                mTalo.FieldReadBlockEnd();
            }
            mTalo.FieldReadEnd();
        }
        mTalo.NoteUnreadFields();
        mTalo.FieldReadBlockEnd();
    }

    void ReadModes(Layer& layer)
    {
        const auto mode = ReadWord(layer, "Mode", ModeText(YFCURVE_LAYER_ADDITIVE), ParseMode);
        if (!layer.SetMode(mode)) Fail("the base layer can only be additive; correct its Mode");
        layer.SetRotationMode(ReadWord(layer, "RotationMode", RotationModeText(layer.GetLayerRotationMode()),
                                       ParseRotationMode));
        layer.SetScalingMode(
            ReadWord(layer, "ScalingMode", ScalingModeText(layer.GetLayerScalingMode()), ParseScalingMode));
        while (mTalo.FieldReadBegin("ModeBypass")) {
            const std::string typeName = mTalo.FieldReadS();
            YDataType* type = YDataType::Find(typeName.c_str());
            if (type == nullptr) {
                Fail(fmt::format("layer {} exempts the type {}, which does not exist; correct its ModeBypass",
                                 Quoted(layer.Name()), Quoted(typeName)));
            }
            layer.SetModeBypass(type, true);
            mTalo.FieldReadEnd();
        }
    }

    template<class Value>
    Value ReadWord(const Layer& layer, const char* field, const char* fallback,
                   std::optional<Value> (*parse)(std::string_view))
    {
        const std::string word = mTalo.FieldReadS(field, fallback);
        const std::optional<Value> value = parse(word);
        if (value) return *value;
        Fail(fmt::format("layer {} has the {} {}, which there is not; correct it", Quoted(layer.Name()),
                         field, Quoted(word)));
    }

    /// No scene has so many layers, and much takes time in proportion to them.
    void CheckLayerCount() const
    {
        constexpr std::size_t kMostLayers = 10000;
        if (mScene.layers.Layers().size() <= kMostLayers) return;
        Fail(fmt::format("has more than {} layers; remove some", kMostLayers));
    }

    /// Layers that a file's nodes are on and that it does not describe, as files without settings do.
    void AddUnnamedLayers()
    {
        VisitNodesAndLayers(*mScene.root, [this](const YFCurveNode& node) {
            const int id = node.GetLayerID();
            if (id <= 0 || mScene.layers.Find(id) != nullptr) return;
            std::string name = fmt::format("Layer {}", id);
            while (mScene.layers.Find(name) != nullptr) name += '\'';
            CheckLayerCount();
            mScene.layers.Add(name, id);
        });
    }

    // --- The tree --------------------------------------------------------------------------------------

    /// Reads the node whose field is entered, and all below it, into a new child of the parent.
    /// \param parentJoint  null when the parent is no joint.
    void ReadNode(YFCurveNode& parent, OpenJoint* parentJoint)
    {
        StopIfAsked();
        const std::string name = mTalo.FieldReadS();
        YDataType* type = nullptr;
        if (mTalo.FieldReadBlockBegin()) {
            if (mTalo.FieldReadBegin(kJointField)) return ReadJoint(parent, parentJoint, name);
            type = TypeOfOpenBlock(name);
            mTalo.FieldReadBlockEnd();
        }
        YFCurveNode& node = *AddTo(
            parent, type != nullptr ? MakePropertyNode(*type, name.c_str()) : MakeGroupNode(name.c_str()));
        if (!node.TaloInternalRetrieve(&mTalo)) throw std::bad_alloc();
        if (parentJoint != nullptr && type == YDataType::Get(eDataType::LocalRotation)) {
            const auto index = static_cast<std::size_t>(parentJoint->index);
            node.SetRotationOrder(RotationOrderOf(mScene.skeleton.joints[index]));
        }
        mScene.curveBytes = mMeter.Bytes();
    }

    /// The type that a node is called as, if the block that is open is that of such a node. Leaves the
    /// block's fields entered.
    YDataType* TypeOfOpenBlock(const std::string& name)
    {
        YDataType* type = YDataType::Find(name.c_str());
        if (type == nullptr || type->GetMemberCount() == 0) return nullptr;
        int children = 0;
        while (mTalo.FieldReadBegin(kNodeField)) {
            static constexpr std::array<std::string_view, 4> kMembers{"X", "Y", "Z", " "};
            const auto place = static_cast<std::size_t>(children++);
            const bool fits = place >= kMembers.size() || mTalo.FieldReadS() == kMembers[place];
            mTalo.FieldReadEnd();
            if (!fits) return nullptr;
        }
        const int members = type->GetMemberCount();
        return children == (members == 1 ? 0 : members) ? type : nullptr;
    }

    /// Reads a joint whose "Joint" field is entered, and its node.
    void ReadJoint(YFCurveNode& parent, OpenJoint* parentJoint, const std::string& name)
    {
        OpenJoint open;
        Joint joint;
        joint.name = name;
        if (parentJoint != nullptr) {
            PlaceEndSites(*parentJoint, parentJoint->children++);
            joint.parent = parentJoint->index;
        }
        open.index = static_cast<int>(mScene.skeleton.joints.size());
        ReadJointFields(joint, open);
        YFCurveNode& node = *AddTo(parent, MakeGroupNode(name.c_str()));
        mScene.skeleton.joints.push_back(std::move(joint));
        mScene.jointNodes.push_back(&node);
        while (mTalo.FieldReadBegin(kNodeField)) {
            ReadNode(node, &open);
            mTalo.FieldReadEnd();
        }
        PlaceEndSites(open, std::numeric_limits<int>::max());
        // What any node has besides; of a joint it says nothing.
        for (const char* field : {"UserName", "LayerID", "LayerType"}) {
            if (mTalo.FieldReadBegin(field)) mTalo.FieldReadEnd();
        }
        mTalo.NoteUnreadFields();
        mTalo.FieldReadBlockEnd();
    }

    /// The content of the "Joint" field, which is left.
    void ReadJointFields(Joint& joint, OpenJoint& open)
    {
        if (mTalo.FieldReadBlockBegin()) {
            ReadOffset(joint);
            if (mTalo.FieldReadBegin("Channels")) {
                while (mTalo.FieldReadGetRemain() > 0) AddChannel(joint, mTalo.FieldReadS());
                mTalo.FieldReadEnd();
            }
            while (mTalo.FieldReadBegin("EndSite")) {
                EndSite site;
                site.joint.name = mTalo.FieldReadS();
                site.joint.parent = open.index;
                site.joint.endSite = true;
                if (mTalo.FieldReadBlockBegin()) {
                    ReadOffset(site.joint);
                    site.jointsBefore = mTalo.FieldReadI("JointsBefore", 0);
                }
                mTalo.FieldReadEnd();
                open.sites.push_back(std::move(site));
            }
            std::stable_sort(open.sites.begin(), open.sites.end(), [](const EndSite& a, const EndSite& b) {
                return a.jointsBefore < b.jointsBefore;
            });
            mTalo.NoteUnreadFields();
        }
        mTalo.FieldReadEnd();
    }

    void ReadOffset(Joint& joint)
    {
        if (!mTalo.FieldReadBegin("Offset")) return;
        for (float& component : joint.offset) component = mTalo.FieldReadF();
        mTalo.FieldReadEnd();
        if (std::all_of(joint.offset.begin(), joint.offset.end(), [](float x) { return std::isfinite(x); }))
            return;
        Fail(fmt::format("the Offset of {} is not finite; write three numbers", Quoted(joint.name)));
    }

    void AddChannel(Joint& joint, std::string_view name)
    {
        const std::optional<Channel> channel = FindChannel(name);
        if (!channel) {
            Fail(fmt::format("unknown channel {} of joint {}; channels are [XYZ]position and [XYZ]rotation",
                             Quoted(name), Quoted(joint.name)));
        }
        if (joint.Has(*channel)) {
            Fail(fmt::format("channel {} twice for joint {}; remove one", Quoted(name), Quoted(joint.name)));
        }
        joint.channels.push_back(*channel);
    }

    /// Puts those end sites of a joint into the skeleton that come before its next child.
    /// \param children  how many there were before that.
    void PlaceEndSites(OpenJoint& open, int children)
    {
        for (; open.placed < open.sites.size(); ++open.placed) {
            EndSite& site = open.sites[open.placed];
            if (site.jointsBefore > children) return;
            mScene.skeleton.joints.push_back(std::move(site.joint));
            mScene.jointNodes.push_back(nullptr);
        }
    }

    YTalo& mTalo;
    const std::string& mName;
    FileAge* mAge;
    Scene mScene;
    std::vector<std::pair<std::string, int>>
        mForms;  ///< rotations that turn as quaternions, by path and place
    StorageMeter mMeter;
};

Scene ReadOpen(YTalo& talo, bool isOpen, const std::string& name, FileAge* age)
{
    if (!isOpen) FailAsTalo(talo, name);
    return SceneReader(talo, name, age).Read();
}

}  // namespace

bool IsTalo(std::string_view beginning)
{
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    constexpr std::string_view kWord = "ytalo";
    if (beginning.starts_with(kByteOrderMark)) beginning.remove_prefix(kByteOrderMark.size());
    if (!beginning.starts_with(kWord)) return false;
    beginning.remove_prefix(kWord.size());
    return beginning.empty() || std::string_view(" \t\r\n").find(beginning.front()) != std::string_view::npos;
}

Scene ReadTaloFile(const std::string& path, const std::string& name, FileAge* age)
{
    YTalo talo;
    const bool isOpen = talo.FileOpen(path.c_str());
    return ReadOpen(talo, isOpen, name, age);
}

Scene ReadTaloText(std::string_view text, const std::string& name, FileAge* age)
{
    YTalo talo;
    const bool isOpen = talo.TextOpen(text.data(), text.size());
    return ReadOpen(talo, isOpen, name, age);
}

}  // namespace ymotion
