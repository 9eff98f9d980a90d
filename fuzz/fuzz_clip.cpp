#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "yfcurve/yfcurveclip.h"
#include "yfcurve/yfcurveplayer.h"

/// \file
/// Any bytes are a clip that can be played at any time, or are refused.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    // Random bytes rarely state their true size in the header, so it is written there.
    constexpr std::size_t sizeAt = 16;
    std::vector<std::uint64_t> memory(size / 8 + 1);
    std::memcpy(memory.data(), bytes, size);
    if (size >= sizeAt + sizeof(std::uint64_t)) memory[sizeAt / 8] = size;
    const auto clip = YFCurveClip::Open({reinterpret_cast<const std::byte*>(memory.data()), size});
    if (!clip) return 0;
    const auto player = YFCurvePlayer::Create(*clip);
    if (!player) return 0;
    std::vector<float> values(static_cast<std::size_t>(clip->GetChannelCount()));
    const YTime start = clip->GetStart();
    const YTime step = (clip->GetStop() - start) / 7 + YTime(1);
    for (const int i : {0, 1, 2, 5, 4, 3, 7, 8, -1}) player->Evaluate(start + step * i, values);
    for (const YTime time : {YTIME_MINUS_INFINITE, YTIME_INFINITE, YTIME_ZERO})
        player->Evaluate(time, values);
    const YTime times[] = {start, start + step, start + step * 3};
    float some[3];
    for (int i = 0; i < clip->GetChannelCount() && i < 8; ++i) {
        player->Evaluate(i, times, some);
        player->Evaluate(start + step, std::vector<int>(3, i), some);
        if (std::strlen(clip->GetChannelName(i)) > size) return 1;
    }
    return 0;
}
