#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ybaselib/ytalo.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvenode.h"
#include "ymotion/formats/talo.h"
#include "ymotion/formats/talo_fields.h"
#include "ymotion/text/failure.h"

/// \file
/// Any bytes are either refused, or a scene file that
/// - is the same again when its fields are copied, and the copy's copy is the copy to the byte;
/// - is read as a tree of nodes, as a curve and as the program's scene without harm. What is written of the
/// tree
///   is read back as a tree that is written alike.

namespace {

struct Text : YTaloOutput
{
    bool Write(const char* bytes, std::size_t count) override
    {
        text.append(bytes, count);
        return true;
    }

    std::string text;
};

void Require(bool condition)
{
    if (!condition) std::abort();
}

std::string CopyOf(std::string_view text)
{
    YTalo to;
    Text copy;
    to.OutputCreate(&copy);
    ymotion::CopyTaloFields(text, to);
    Require(to.FileClose());
    return copy.text;
}

// The text of the first tree in a file; empty when there is none.
std::string TreeOf(std::string_view text)
{
    YTalo from;
    YTalo to;
    Text stored;
    Require(from.TextOpen(text.data(), text.size()));
    YFCurveNode* const node = YFCurveNodeCreate(&from, false, true);
    if (node == nullptr) return {};
    to.OutputCreate(&stored);
    Require(node->TaloStore(&to));
    node->Destroy();
    Require(from.FileClose());
    return to.FileClose() ? stored.text : std::string();
}

void ReadCurve(std::string_view text)
{
    YTalo from;
    Require(from.TextOpen(text.data(), text.size()));
    YFCurve* const curve = YFCurveCreate(&from);
    if (curve == nullptr) return;
    for (const double seconds : {-1e6, -0.5, 0.0, 0.3, 1e6}) curve->Evaluate(YTime::FromSeconds(seconds));
    curve->Destroy();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    YTalo talo;
    if (!talo.TextOpen(text.data(), text.size())) {
        Require(talo.GetError().Error() && *talo.GetError().GetLastErrorString() != '\0');
        return 0;
    }
    const std::string copy = CopyOf(text);
    Require(CopyOf(copy) == copy);
    const std::string tree = TreeOf(text);
    if (!tree.empty()) Require(TreeOf(tree) == tree);
    ReadCurve(text);
    try {
        ymotion::ReadTaloText(text, "input.ytalo");
    } catch (const ymotion::Failure&) {
    }
    return 0;
}
