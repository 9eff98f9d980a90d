#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "ymotion/formats/file_io.h"
#include "ymotion/formats/gltf.h"
#include "ymotion/text/failure.h"

/// \file
/// Any bytes are either a scene, which can be written as glTF and read again with the same joints, or one message:
/// "input.glb: where: what; advice", not too long and without anything that a terminal would act upon.

namespace {

void Require(bool condition)
{
    if (!condition) std::abort();
}

bool IsGoodMessage(std::string_view message)
{
    return message.starts_with("input.glb:") && message.size() < 500 &&
           std::none_of(message.begin(), message.end(),
                        [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

void WriteAndRead(ymotion::Scene& scene)
{
    constexpr std::int64_t kMostFrames = 1000;
    scene.file = "input.glb";
    if (FrameCount(KeySpan(scene), scene.rate) > kMostFrames) return;
    ymotion::OutputText out;
    WriteGlb(scene, out);
    const ymotion::Scene again = ymotion::ReadGltf(out.Take(), "written.glb", {});
    Require(again.skeleton.joints.size() == scene.skeleton.joints.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    try {
        ymotion::Scene scene =
            ymotion::ReadGltf({reinterpret_cast<const char*>(bytes), size}, "input.glb", {});
        Require(scene.jointNodes.size() == scene.skeleton.joints.size());
        WriteAndRead(scene);
    } catch (const ymotion::Failure& failure) {
        Require(IsGoodMessage(failure.what()));
    }
    return 0;
}
