#include <cstring>

#include <pybind11/stl.h>

#include "python/bindings/arrays.h"
#include "python/bindings/bindings.h"
#include "yfcurve/yfcurveclip.h"
#include "yfcurve/yfcurveplayer.h"

namespace yfpy {
namespace {

/// A clip in bytes of its own. It never changes, so any number of threads may play it.
class PlayedClip
{
  public:
    explicit PlayedClip(const py::bytes& content)
    {
        const std::string_view bytes = content;
        mWords.resize((bytes.size() + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t));
        if (!bytes.empty()) std::memcpy(mWords.data(), bytes.data(), bytes.size());
        mBytes = std::as_bytes(std::span(mWords)).first(bytes.size());
        const WithoutLock without;
        mClip = YFCurveClip::Open(mBytes);
    }

    bool IsWhole() const { return mClip != nullptr; }
    const YFCurveClip& Get() const { return *mClip; }
    py::bytes Bytes() const { return {reinterpret_cast<const char*>(mBytes.data()), mBytes.size()}; }

  private:
    std::vector<std::uint64_t> mWords;  ///< at an address that 8 divides
    std::span<const std::byte> mBytes;
    std::unique_ptr<YFCurveClip> mClip;
};

std::unique_ptr<PlayedClip> Open(const py::bytes& content, const Text& name)
{
    auto clip = std::make_unique<PlayedClip>(content);
    if (clip->IsWhole()) return clip;
    Raise("FormatError",
          name.bytes + ": is no whole clip of this version; make it anew from its scene, by Scene.save");
}

std::vector<Text> NamesOf(const PlayedClip& clip)
{
    std::vector<Text> names;
    for (int i = 0; i < clip.Get().GetChannelCount(); ++i) names.push_back({clip.Get().GetChannelName(i)});
    return names;
}

std::pair<std::int64_t, std::int64_t> SpanOf(const PlayedClip& clip)
{
    return {clip.Get().GetStart().Get(), clip.Get().GetStop().Get()};
}

/// A row for each time, with a value for each channel.
FloatArray Sample(const PlayedClip& clip, const TickArray& ticks)
{
    constexpr std::size_t kRowsBetweenSignals = 1024;
    const auto times = TimesOf(ticks);
    const auto channels = static_cast<std::size_t>(clip.Get().GetChannelCount());
    FloatArray values({times.size(), channels});
    float* row = values.mutable_data();
    const WithoutLock without;
    const auto player = YFCurvePlayer::Create(clip.Get());
    if (player == nullptr) throw std::bad_alloc();
    for (std::size_t i = 0; i < times.size(); ++i, row += channels) {
        if (i % kRowsBetweenSignals == 0) CheckSignals();
        player->Evaluate(times[i], {row, channels});
    }
    return values;
}

}  // namespace

void AddClips(py::module_& module)
{
    py::class_<PlayedClip> clip(module, "Clip");
    clip.def_static("open", Open);
    clip.def("names", NamesOf);
    clip.def("span", SpanOf);
    clip.def("sample", Sample);
    clip.def("to_bytes", &PlayedClip::Bytes);
}

}  // namespace yfpy
