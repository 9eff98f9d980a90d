// Least squares with bounds, one slope after the other with its neighbours held (Gauss and Seidel): the error
// of a segment is linear in its two slopes, and what the other one leaves of its polygon is a range.

#include "yfcurve/fitting/fitslopes.h"

#include <algorithm>

#include "yfcurve/fitting/fitsegment.h"

namespace yfc {

namespace {

struct Part
{
    SlopePolygon polygon;
    double duration;
    // Sums over samples, of the products of what the slopes weigh and of what they should make up for.
    double startStart = 0.0;
    double startEnd = 0.0;
    double endEnd = 0.0;
    double startWanted = 0.0;
    double endWanted = 0.0;

    void Add(const SlopeStrip& strip)
    {
        const double wanted = 0.5 * (strip.low + strip.high);
        startStart += strip.start * strip.start;
        startEnd += strip.start * strip.end;
        endEnd += strip.end * strip.end;
        startWanted += strip.start * wanted;
        endWanted += strip.end * wanted;
    }
};

// The best slope as a quotient, and where it may be.
struct Choice
{
    double above = 0.0;
    double below = 0.0;
    SlopeRange range;

    void Limit(const SlopeRange& slopes, double duration)
    {
        range.low = std::max(range.low, slopes.low / duration);
        range.high = std::min(range.high, slopes.high / duration);
    }
    void AddStartOf(const Part& part, double endSlope)
    {
        const double end = endSlope * part.duration;
        above += part.duration * (part.startWanted - part.startEnd * end);
        below += part.duration * part.duration * part.startStart;
        Limit(part.polygon.StartsFor({end, end}), part.duration);
    }
    void AddEndOf(const Part& part, double startSlope)
    {
        const double start = startSlope * part.duration;
        above += part.duration * (part.endWanted - part.startEnd * start);
        below += part.duration * part.duration * part.endEnd;
        Limit(part.polygon.EndsFor({start, start}), part.duration);
    }
    double From(double slope) const
    {
        if (range.IsEmpty() || !(below > 0.0)) return slope;
        return std::clamp(above / below, range.low, range.high);
    }
};

Part PartBetween(const FitTask& task, const FitKey& key, int to)
{
    const SegmentFit segments(*task.run);
    Part part;
    part.duration = (*task.run)[to].time - (*task.run)[key.point].time;
    segments.Find(key.point, to, key.weights, part.polygon);
    segments.ForEachSample(key.point, to, key.weights, [&](const SlopeStrip& strip) { part.Add(strip); });
    return part;
}

// Where the line from the key before to the key behind has a slope that serves. Keys beside weights keep their own.
void MakeAutoKeys(const FitTask& task, const std::vector<Part>& parts, std::vector<FitKey>& keys)
{
    for (std::size_t i = 1; i + 1 < keys.size(); ++i) {
        const FitPoint& before = (*task.run)[keys[i - 1].point];
        const FitPoint& behind = (*task.run)[keys[i + 1].point];
        const bool besideWeights = !keys[i - 1].weights.AreDefault() || !keys[i].weights.AreDefault();
        if (besideWeights || (*task.run)[keys[i].point].IsCorner()) continue;
        const double slope = (behind.value - before.value) / (behind.time - before.time);
        Choice choice{0.0, 0.0, kAnySlope};
        choice.AddEndOf(parts[i - 1], keys[i - 1].right);
        choice.AddStartOf(parts[i], keys[i + 1].left);
        if (!choice.range.Contains(slope)) continue;
        keys[i].left = keys[i].right = slope;
        keys[i].isAuto = true;
    }
}

}  // namespace

void ImproveSlopes(const FitTask& task, std::vector<FitKey>& keys)
{
    constexpr int rounds = 4;
    const std::size_t last = keys.size() - 1;
    std::vector<Part> parts;
    for (std::size_t i = 0; i < last; ++i) parts.push_back(PartBetween(task, keys[i], keys[i + 1].point));
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i <= last; ++i) {
            FitKey& key = keys[i];
            const bool held = (i == 0 && task.rules.holdsStart) || (i == last && task.rules.holdsEnd);
            const bool single = i > 0 && i < last && !task.rules.broken && !(*task.run)[key.point].IsCorner();
            Choice left{0.0, 0.0, kAnySlope};
            Choice right = left;
            if (held) continue;
            if (i > 0) left.AddEndOf(parts[i - 1], keys[i - 1].right);
            Choice& leaving = single ? left : right;
            if (i < last) leaving.AddStartOf(parts[i], keys[i + 1].left);
            key.left = left.From(key.left);
            key.right = single ? key.left : right.From(key.right);
            if (i == 0) key.left = key.right;
            if (i == last) key.right = key.left;
        }
    }
    if (task.rules.autoKeys) MakeAutoKeys(task, parts, keys);
}

}  // namespace yfc
