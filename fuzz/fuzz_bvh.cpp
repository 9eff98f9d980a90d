#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "ymotion/formats/bvh.h"
#include "ymotion/text/failure.h"

/// \file
/// Any bytes are either a motion with as many samples as it says, or one message: "input.bvh:LINE: what;
/// advice", not too long and without anything that a terminal would act upon.

namespace {

void Require(bool condition)
{
    if (!condition) std::abort();
}

bool IsGoodMessage(std::string_view message)
{
    constexpr std::string_view file = "input.bvh:";
    const std::size_t digits = message.find_first_not_of("0123456789", file.size());
    return message.starts_with(file) && digits != file.size() && digits != std::string_view::npos &&
           message.substr(digits, 2) == ": " && message.size() < 500 &&
           std::none_of(message.begin(), message.end(),
                        [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    try {
        const ymotion::BvhMotion motion =
            ymotion::ParseBvh({reinterpret_cast<const char*>(bytes), size}, "input.bvh");
        const std::size_t channels = motion.skeleton.ChannelCount();
        Require(motion.samples.size() ==
                (channels == 0 ? 0 : static_cast<std::size_t>(motion.frameCount) * channels));
        ymotion::SceneOfBvh(motion);
    } catch (const ymotion::Failure& failure) {
        Require(IsGoodMessage(failure.what()));
    }
    return 0;
}
