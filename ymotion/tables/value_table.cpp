#include "ymotion/tables/value_table.h"

#include <algorithm>
#include <map>
#include <set>

#include <fmt/format.h>

#include "ymotion/scene/playback.h"
#include "ymotion/scene/world_pose.h"

namespace ymotion {
namespace {

class CurveTable final : public ValueTable
{
  public:
    explicit CurveTable(const std::vector<SelectedCurve>& curves) : mCurves(PlayedCurves(curves))
    {
        for (const SelectedCurve& selected : curves) mHeads.push_back(PathOf(*selected.node));
    }

    std::vector<std::string> Heads() const override { return mHeads; }

    void AppendRow(std::vector<float>& row, YTime time) override
    {
        for (PlayedCurve& curve : mCurves) row.push_back(curve.At(time));
    }

  private:
    std::vector<PlayedCurve> mCurves;
    std::vector<std::string> mHeads;
};

class LayerTable final : public ValueTable
{
  public:
    LayerTable(const Scene& scene, const std::vector<SelectedCurve>& curves) : mTotals(PlayedCurves(curves))
    {
        for (std::size_t i = 0; i < curves.size(); ++i) {
            if (mProperties.empty() || mProperties.back().node != curves[i].property) {
                mProperties.push_back({curves[i].property, {}, {}, {}, i, 0});
            }
            Property& property = mProperties.back();
            property.components.push_back(ComponentOf(curves[i]));
            property.paths.push_back(PathOf(*curves[i].node));
        }
        for (Property& property : mProperties) FindLayers(scene, property);
    }

    std::vector<std::string> Heads() const override
    {
        std::vector<std::string> heads;
        for (const auto& [id, layer] : mWeights) heads.push_back(fmt::format("weight [{}]", layer->Name()));
        for (const Property& property : mProperties) {
            for (const Layer* layer : property.layers) {
                for (const std::string& path : property.paths) {
                    heads.push_back(fmt::format("{} [{}]", path, layer->Name()));
                }
            }
            heads.insert(heads.end(), property.paths.begin(), property.paths.end());
        }
        return heads;
    }

    void AppendRow(std::vector<float>& row, YTime time) override
    {
        for (const auto& [id, layer] : mWeights) {
            row.push_back(layer->IsMuted() ? 0.0f : static_cast<float>(layer->GetWeight(time)));
        }
        for (Property& property : mProperties) {
            for (const Layer* layer : property.layers) AppendShare(row, property, layer->GetLayerID(), time);
            for (std::size_t i = 0; i < property.components.size(); ++i) {
                row.push_back(mTotals[property.first + i].At(time));
            }
        }
    }

  private:
    struct Property
    {
        YFCurveNode* node = nullptr;
        std::vector<std::size_t> components;  ///< those that are wanted
        std::vector<std::string> paths;       ///< of these
        std::vector<const Layer*> layers;     ///< empty without any above the base
        std::size_t first = 0;                ///< of the totals
        int hint = 0;
    };

    void FindLayers(const Scene& scene, Property& property)
    {
        if (property.node->LayerGet() == nullptr) return;
        for (const YFCurveNode* node = property.node; node != nullptr; node = node->LayerGet()) {
            const Layer* layer = scene.layers.Find(node->GetLayerID());
            if (layer == nullptr) continue;
            property.layers.push_back(layer);
            if (!layer->IsBase()) mWeights[layer->GetLayerID()] = layer;
        }
        mValues.resize(std::max(mValues.size(), static_cast<std::size_t>(property.node->GetCount()) + 1));
    }

    void AppendShare(std::vector<float>& row, Property& property, int layerId, YTime time)
    {
        property.node->EvaluateSpecificLayer(mValues.data(), time, layerId, &property.hint);
        for (const std::size_t component : property.components) {
            row.push_back(static_cast<float>(mValues[component]));
        }
    }

    std::vector<PlayedCurve> mTotals;
    std::vector<Property> mProperties;
    std::map<int, const Layer*> mWeights;
    std::vector<double> mValues;
};

class WorldTable final : public ValueTable
{
  public:
    WorldTable(const Scene& scene, const std::vector<std::string>& patterns, WorldRotation rotation)
        : mPoses(scene), mRotation(rotation)
    {
        std::set<const YFCurveNode*> chosen;
        if (!patterns.empty()) {
            for (const SelectedCurve& selected : SelectCurves(scene, patterns))
                chosen.insert(selected.property->GetParent());
        }
        const std::vector<Joint>& joints = scene.skeleton.joints;
        for (std::size_t i = 0; i < joints.size(); ++i) {
            const bool isEnd = joints[i].endSite;
            const YFCurveNode* node =
                scene.jointNodes[isEnd ? static_cast<std::size_t>(joints[i].parent) : i];
            if (!patterns.empty() && !chosen.contains(node)) continue;
            Column column{i, isEnd, PathOf(*node), eRotationOrder::XYZ, {}, {}};
            if (isEnd) column.path.append("/").append(JointName(scene.skeleton, i));
            column.order = static_cast<eRotationOrder>(RotationOrderOf(joints[i]));
            mColumns.push_back(column);
        }
    }

    std::vector<std::string> Heads() const override
    {
        std::vector<std::string> heads;
        for (const Column& column : mColumns) {
            for (const char* axis : kAxisNames) heads.push_back(column.path + "/World Position/" + axis);
            if (column.isEndSite) continue;
            for (const char* axis : kAxisNames) heads.push_back(column.path + "/World Rotation/" + axis);
            if (mRotation == WorldRotation::Quaternions) heads.push_back(column.path + "/World Rotation/W");
        }
        return heads;
    }

    void AppendRow(std::vector<float>& row, YTime time) override
    {
        const auto append = [&row](std::initializer_list<double> values) {
            for (const double value : values) row.push_back(static_cast<float>(value));
        };
        const std::vector<JointPose>& poses = mPoses.At(time);
        for (Column& column : mColumns) {
            const JointPose& pose = poses[column.joint];
            append({pose.position.x, pose.position.y, pose.position.z});
            if (column.isEndSite) continue;
            YgeQuaternion& q = column.quaternion;
            const YgeQuaternion& now = pose.rotation;
            const bool flips = q.x * now.x + q.y * now.y + q.z * now.z + q.w * now.w < 0.0;
            q = flips ? YgeQuaternion(-now.x, -now.y, -now.z, -now.w) : now;
            switch (mRotation) {
                case WorldRotation::Quaternions:
                    append({q.x, q.y, q.z, q.w});
                    break;
                case WorldRotation::Euler:
                    column.angles = V2VRef(YgeRVector(q, column.order), column.angles, column.order);
                    append({column.angles.x, column.angles.y, column.angles.z});
                    break;
            }
        }
    }

  private:
    /// The columns of a joint or end site.
    struct Column
    {
        std::size_t joint = 0;
        bool isEndSite = false;
        std::string path;
        eRotationOrder order = eRotationOrder::XYZ;
        YgeQuaternion quaternion;  ///< of the row before
        YgeRVector angles;         ///< of the row before
    };

    WorldPoses mPoses;
    WorldRotation mRotation;
    std::vector<Column> mColumns;
};

}  // namespace

std::unique_ptr<ValueTable> MakeCurveTable(const std::vector<SelectedCurve>& curves)
{
    return std::make_unique<CurveTable>(curves);
}

std::unique_ptr<ValueTable> MakeLayerTable(const Scene& scene, const std::vector<SelectedCurve>& curves)
{
    return std::make_unique<LayerTable>(scene, curves);
}

std::unique_ptr<ValueTable> MakeWorldTable(const Scene& scene, const std::vector<std::string>& patterns,
                                           WorldRotation rotation)
{
    return std::make_unique<WorldTable>(scene, patterns, rotation);
}

}  // namespace ymotion
