#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>

#include "nodes.h"
#include "random_stack.h"
#include "tests/curve/talo_text.h"

using namespace nodetest;

// This program's heap, which counts and can be made to run out.
namespace {

std::atomic<long> live = 0;
std::atomic<long> allocations = 0;
std::atomic<long> allowed = -1;  // allocations until the heap is empty; -1: it never is

void* Allocate(std::size_t size)
{
    if (allowed == 0) throw std::bad_alloc();
    if (allowed > 0) --allowed;
    void* memory = std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    ++live;
    ++allocations;
    return memory;
}

void Free(void* memory)
{
    if (memory != nullptr) --live;
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size)
{
    return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return allowed == 0 ? nullptr : Allocate(size);
}
void operator delete(void* memory) noexcept
{
    Free(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    Free(memory);
}

namespace {

// Lets an operation run out of memory at its first allocation, at its second one and so on, until it
// succeeds. It has to fail cleanly: with its refusal, and without a record left behind.
void ExpectCleanFailures(const std::function<YFCurveNode*()>& make)
{
    make()->Destroy();  // what is allocated once for weak references stays with their targets
    for (long limit = 0;; ++limit) {
        const long before = live;
        allowed = limit;
        YFCurveNode* node = make();
        allowed = -1;
        if (node != nullptr) {
            EXPECT_GT(limit, 5);
            node->Destroy();
            return;
        }
        ASSERT_EQ(live, before) << "out of memory after " << limit << " allocations";
    }
}

TEST(NodeMemory, CreationAndCopiesFailCleanly)
{
    YDataType* type = YDataType::Get(eDataType::LocalRotation);
    constexpr const char* longName = "a name that is too long for the string itself";
    ExpectCleanFailures([=] { return FCurveNodeCreateFromDataType(type, longName); });

    const YFCurveNodePtr node(FCurveNodeCreateFromDataType(type, longName));
    node->TimeWarpSet(YFCurveNodeCreate("warp", nullptr));
    node->LayerSet(node->CloneTemplate({1, nullptr}));
    node->LayerGet()->LayerSet(node->CloneTemplate({2, nullptr}));
    ExpectCleanFailures([&] { return node->Clone(); });
    EXPECT_EQ(node->TimeWarpGet()->GetReferenceCount(), 1);

    node->CreateFCurve();
    const std::string file = Written([&](YTalo& talo) { node->TaloStore(&talo); });
    ExpectCleanFailures([&] {
        YTalo talo;
        return talo.TextOpen(file.data(), file.size()) ? YFCurveNodeCreate(&talo, false) : nullptr;
    });

    // Layers that cannot be made leave the chain as it is.
    const YFCurveNodePtr bare(node->SingleLayerCopy());
    allowed = 3;
    EXPECT_FALSE(bare->CopyFrom(node.get()));
    EXPECT_EQ(bare->FindOrCreate(longName, false), nullptr);
    allowed = -1;
    EXPECT_EQ(bare->LayerGet(), nullptr);
    EXPECT_EQ(bare->GetCount(), 3);
}

TEST(NodeMemory, LayersAreMadeWholeOrNotAtAll)
{
    const YFCurveNodePtr node = Rotation();
    YFCurveNode* last = node->CreateLayerAt({9, nullptr});
    const double values[3] = {1.0, 2.0, 3.0};
    for (long limit = 0;; ++limit) {
        allowed = limit;
        node->CandidateSet(Seconds(0.5), values, {5, nullptr});
        node->CandidateKey(nullptr, {5, nullptr});
        allowed = -1;
        EXPECT_EQ(last->ObjectLayerGet(), node.get());
        EXPECT_EQ(last->GetReferenceCount(), 1);
        EXPECT_EQ(node->LayerGet(9), last);
        YFCurveNode* made = node->LayerGet(5);
        if (made == nullptr) continue;
        EXPECT_GT(limit, 5);
        EXPECT_EQ(made->GetCount(), 3);
        EXPECT_TRUE(made->FCurveCreated());
        return;
    }
}

TEST(NodeMemory, EvaluationAllocatesNothing)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (const Kind kind : kAllKinds) {
        for (int round = 0; round < 20; ++round) {
            RandomStack stack(random, kind, true);
            SCOPED_TRACE(stack.Description());
            YFCurveNode& property = stack.Property();
            const int topId = stack.Layers().back()->id;
            std::array<double, 3> values = {};
            int hint = 0;
            const long before = allocations;
            for (int frame = -10; frame < 130; frame += 3) {
                const YTime time = Seconds(frame / 30.0);
                property.Evaluate(values.data(), time, &hint);
                property.GeneralEvaluate(values.data(), time, &hint);
                property.GeneralEvaluate(values.data(), time);
                property.CandidateEvaluate(values.data(), time, &hint);
                property.EvaluateSpecificLayer(values.data(), time, topId);
                property.CandidateEvaluateSpecificLayer(values.data(), time, topId);
                if (property.IsRotationLayerType()) property.RotationNodeEvaluate(values.data(), time);
                property.CandidateSet(time, values.data());
                property.CandidateEvaluate(values.data(), time);
                property.CandidateGet(values.data());
                property.ComputeCandidateForLayer(values.data(), values.data(), time, topId);
            }
            EXPECT_EQ(allocations, before);
        }
    }
}

}  // namespace
