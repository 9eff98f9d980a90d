// A clip is made in three steps: the keys of every curve are worked out (`playkeys.h`: slopes of all kinds
// become plain numbers, constant segments a mark, weighted ones several cubics of time); channels are sorted
// by their key times (`clippacking.h`); and of a tree, the steps of an evaluation across its layers are noted
// as operations on the channels' values (`clipplan.h`). A player then moves a cursor for each unit, blends
// all current segments in one loop (`hermite.h`), and runs the operations.

#include "yfcurve/yfcurveclip.h"

#include <algorithm>
#include <map>
#include <utility>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/player/clipdata.h"
#include "yfcurve/player/clippacking.h"
#include "yfcurve/player/clipplan.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvenode.h"

using yfc::ClipPlace;
using yfc::ClipPlan;
using yfc::Guarded;
using yfc::PlannedChannel;

namespace {

bool PlanCurves(std::span<const YFCurve* const> curves, ClipPlan& plan)
{
    if (curves.size() > UINT32_MAX / 2) return false;
    const auto count = static_cast<std::uint32_t>(curves.size());
    plan.parts.valueCount = count;
    plan.parts.places.resize(count);
    plan.channels.resize(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        if (curves[i] == nullptr) return false;
        plan.channels[i].curve = curves[i];
        plan.channels[i].place = i;
    }
    return true;
}

bool IsTolerance(double tolerance)
{
    return tolerance >= 1e-7 && tolerance <= 1.0;
}

}  // namespace

int YFCurveClip::Impl::Make()
{
    ClipPlan plan;
    if (!(node != nullptr ? yfc::MakePlan(*node, plan) : PlanCurves(curves, plan))) return -1;

    std::map<std::uint64_t, Source> known;
    for (const Source& source : sources) known.emplace(source.serial, source);
    std::vector<Source> now;
    int redone = 0;
    for (PlannedChannel& channel : plan.channels) {
        if (channel.curve == nullptr) continue;
        now.push_back({channel.curve->GetSerial(), channel.curve->GetUpdateId(), channel.place});
        const auto found = known.find(now.back().serial);
        if (found != known.end() && found->second.updateId == now.back().updateId) {
            channel.keys = yfc::Unpacked(data->view, found->second.place);
        } else {
            if (!yfc::MakePlayKeys(*channel.curve, tolerance, nullptr, channel.keys)) return -1;
            ++redone;
        }
    }
    yfc::Pack(plan.channels, tolerance, plan.parts);

    const auto made = std::make_shared<yfc::ClipData>();
    made->memory = yfc::Written(plan.parts);
    made->layers = std::move(plan.layers);
    const auto bytes = std::as_bytes(std::span(made->memory));
    if (!yfc::ClipView::Open(bytes, made->view)) return -1;
    data = made;
    sources = std::move(now);
    return redone;
}

YFCurveClip::YFCurveClip(std::unique_ptr<Impl> impl) : mImpl(std::move(impl)) {}
YFCurveClip::~YFCurveClip() = default;

std::unique_ptr<YFCurveClip> YFCurveClip::Create(std::span<const YFCurve* const> curves, double tolerance)
{
    return Guarded([&]() -> std::unique_ptr<YFCurveClip> {
        auto impl = std::make_unique<Impl>();
        impl->curves.assign(curves.begin(), curves.end());
        impl->tolerance = tolerance;
        if (!IsTolerance(tolerance) || impl->Make() < 0) return nullptr;
        return std::unique_ptr<YFCurveClip>(new YFCurveClip(std::move(impl)));
    });
}

// Planning and evaluating leave the tree as it is.
std::unique_ptr<YFCurveClip> YFCurveClip::Create(const YFCurveNode& node, double tolerance)
{
    return Guarded([&]() -> std::unique_ptr<YFCurveClip> {
        auto impl = std::make_unique<Impl>();
        impl->node = const_cast<YFCurveNode*>(&node);
        impl->tolerance = tolerance;
        if (!IsTolerance(tolerance) || impl->Make() < 0) return nullptr;
        return std::unique_ptr<YFCurveClip>(new YFCurveClip(std::move(impl)));
    });
}

std::unique_ptr<YFCurveClip> YFCurveClip::Open(std::span<const std::byte> bytes)
{
    return Guarded([&]() -> std::unique_ptr<YFCurveClip> {
        const auto data = std::make_shared<yfc::ClipData>();
        if (!yfc::ClipView::Open(bytes, data->view)) return nullptr;
        auto impl = std::make_unique<Impl>();
        impl->data = data;
        impl->isFromBytes = true;
        return std::unique_ptr<YFCurveClip>(new YFCurveClip(std::move(impl)));
    });
}

int YFCurveClip::Refresh()
{
    if (mImpl->isFromBytes) return -1;
    return yfc::GuardedOr(-1, [&] { return mImpl->Make(); });
}

int YFCurveClip::GetChannelCount() const
{
    return static_cast<int>(mImpl->data->view.header->valueCount);
}

int YFCurveClip::GetConstantCount() const
{
    const yfc::ClipView& view = mImpl->data->view;
    const auto isConstant = [&](const yfc::ClipConstant& constant) {
        return constant.place < view.header->valueCount;
    };
    return static_cast<int>(std::count_if(view.constants.begin(), view.constants.end(), isConstant));
}

std::int64_t YFCurveClip::GetSegmentCount() const
{
    return static_cast<std::int64_t>(mImpl->data->view.header->segmentCount);
}

YTime YFCurveClip::GetStart() const
{
    return YTime(mImpl->data->view.header->start);
}

YTime YFCurveClip::GetStop() const
{
    return YTime(mImpl->data->view.header->stop);
}

const char* YFCurveClip::GetChannelName(int channel) const
{
    const yfc::ClipView& view = mImpl->data->view;
    if (view.nameStarts.empty()) return "";
    return view.names.data() + view.nameStarts[static_cast<std::size_t>(channel)];
}

std::span<const std::byte> YFCurveClip::GetBytes() const
{
    return mImpl->data->Bytes();
}
