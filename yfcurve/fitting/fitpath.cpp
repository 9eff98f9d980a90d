// A shortest path from place to place. What a place has to know about the way to it is with which slopes the
// last segment can arrive: where slopes go on smoothly, these are the ones with which the next may leave. The
// segment's polygon maps a range of slopes at its start to the range at its end, so that a few ranges for
// each place stand for all slopes.
//
// Most of the time goes into the polygons: for each pair of places, strips of a plane are cut out of one,
// about as many cuts as the segment has keys and as many looks between keys. So few places are tried
// (fitplaces.h), and of all weights few pairs (servingsegments.h), each with a polygon of its own.

#include "yfcurve/fitting/fitpath.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

#include "yfcurve/fitting/fitplaces.h"
#include "yfcurve/fitting/fitsegment.h"
#include "yfcurve/fitting/fitslopes.h"
#include "yfcurve/fitting/servingsegments.h"

namespace yfc {

namespace {

std::size_t At(int i)
{
    return static_cast<std::size_t>(i);
}

SlopeRange Scaled(const SlopeRange& range, double factor)
{
    return {range.low * factor, range.high * factor};
}

// A way to a place, by a segment of each curve.
struct Arrival
{
    std::array<SlopeRange, kMostFitCurves> slopes;       // per second, of as many as there are curves
    std::array<TangentWeights, kMostFitCurves> weights;  // of the last segments
    int segments = 0;
    int weighted = 0;          // how many segments have weights, of all curves
    int place = -1;            // where the last segment starts
    int before = -1;           // by which arrival there, counted over all places
    bool keepsSource = false;  // the slopes of the source are among the slopes
};

// The slope nearest to a wanted one with which a segment may leave to arrive with another.
double StartSlope(const SlopePolygon& polygon, const SlopeRange& leaving, double arriving, double duration,
                  double wanted)
{
    const double end = arriving * duration;
    // At the borders rounding decides whether they are met.
    SlopeRange starts = polygon.StartsFor({end, end});
    if (starts.IsEmpty()) starts.low = starts.high = polygon.NearestTo(end).start;
    starts = Scaled(starts, 1.0 / duration);
    if (starts.low > leaving.high) return leaving.high;
    if (starts.high < leaving.low) return leaving.low;
    return std::clamp(wanted, std::max(starts.low, leaving.low), std::min(starts.high, leaving.high));
}

class PathSearch
{
  public:
    explicit PathSearch(const std::vector<FitTask>& tasks) : mTasks(tasks), mPlaces(PlacesToTry(tasks))
    {
        for (const FitTask& task : tasks) mSegments.emplace_back(*task.run);
        mServing.resize(tasks.size());
    }

    void Search();
    std::vector<FitKey> Path(int curve) const;

  private:
    int Count() const { return static_cast<int>(mPlaces.size()); }
    int Curves() const { return static_cast<int>(mTasks.size()); }
    const FitRules& Rules(int curve) const { return mTasks[At(curve)].rules; }
    const FitPoint& Point(int curve, int place) const { return (*mTasks[At(curve)].run)[mPlaces[At(place)]]; }
    double Duration(int from, int to) const { return Point(0, to).time - Point(0, from).time; }
    bool IsLast(int place) const { return place == Count() - 1; }
    bool IsFree(int curve, int place) const { return Rules(curve).broken || Point(curve, place).IsCorner(); }
    bool IsEndHeld(int curve, int place) const { return IsLast(place) && Rules(curve).holdsEnd; }
    bool AreEndsFree(int place) const;
    int LeastAt(int place) const { return mArrivals[At(mFirst[At(place)])].segments; }
    int FewerBefore(int place) const;
    SlopeRange Leaving(int curve, int place, const Arrival& arrival) const;

    void Start();
    void Arrive(int place);
    double Width(const Arrival& arrival) const;
    bool IsAsGoodAs(const Arrival& arrival, const Arrival& other) const;
    void ArriveWith(int segments, int place);
    void ArriveFrom(int from, int place);
    bool Continue(const Arrival& before, int place, int preferred, Arrival& arrival) const;
    static int FirstThatGoesOn(const ServingSegments& serving, int preferred, const SlopeRange& leaving,
                               SlopeRange& arriving);
    void Take(const Arrival& arrival);
    bool HasSource() const;
    bool Find(int from, int to);
    void ArriveAsSource(int place);
    int AddPlaces(int stuck, int window);
    const Arrival& Best() const;

    const std::vector<FitTask>& mTasks;
    std::vector<int> mPlaces;
    std::vector<SegmentFit> mSegments;
    std::vector<ServingSegments> mServing;  // of each curve
    std::vector<Arrival> mArrivals;         // of one place after the other, the fewest segments first
    std::vector<int> mFirst;                // the first arrival of each place, and one more
    std::vector<int> mFewer;  // before each place, the last that fewer segments reach; -1 for none
    std::vector<Arrival> mHere;
    int mCarefulUntil = 0;  // up to this place, one arrival can go on as the source does
};

// --- Forwards ------------------------------------------------------------------------------------------

// Where a place cannot be reached, more points before it become places. With all of them the source's own
// segments lead on.
void PathSearch::Search()
{
    constexpr std::int64_t first = 2 * kPlacesInReach;
    std::int64_t window = first;
    bool isWhole = false;  // all points before the place that was stuck are places
    Start();
    for (int place = 1; place < Count(); ++place) {
        Arrive(place);
        if (mHere.empty() && place <= mCarefulUntil && isWhole) ArriveAsSource(place);
        if (mHere.empty()) {
            if (place > mCarefulUntil) window = first;
            isWhole = window >= mPlaces[At(place)];
            place = AddPlaces(place, isWhole ? mPlaces[At(place)] : static_cast<int>(window));
            window *= 2;
            continue;
        }
        mArrivals.insert(mArrivals.end(), mHere.begin(), mHere.end());
        mFirst.push_back(static_cast<int>(mArrivals.size()));
        mFewer.push_back(FewerBefore(place));
    }
}

int PathSearch::FewerBefore(int place) const
{
    int before = place - 1;
    while (before >= 0 && LeastAt(before) >= LeastAt(place)) before = mFewer[At(before)];
    return before;
}

void PathSearch::Start()
{
    Arrival start;
    start.keepsSource = true;
    for (int curve = 0; curve < Curves(); ++curve) {
        const double slope = Point(curve, 0).right;
        start.slopes[At(curve)] = Rules(curve).holdsStart ? SlopeRange{slope, slope} : kAnySlope;
    }
    mArrivals.push_back(start);
    mFirst = {0, 1};
    mFewer = {-1};
}

// Arrives with the source's own segment, without a look at its polygon: where rounding leaves nothing of that.
void PathSearch::ArriveAsSource(int place)
{
    Arrival arrival;
    arrival.segments = LeastAt(place - 1) + 1;
    arrival.weighted = mArrivals[At(mFirst[At(place - 1)])].weighted;
    arrival.place = place - 1;
    arrival.before = mFirst[At(place - 1)];
    arrival.keepsSource = true;
    for (int curve = 0; curve < Curves(); ++curve) {
        const double slope = Point(curve, place).left;
        arrival.slopes[At(curve)] = {slope, slope};
    }
    mHere.push_back(arrival);
}

// Makes places of that many points before the one that is stuck.
// \return  the last place that is still reached as before.
int PathSearch::AddPlaces(int stuck, int window)
{
    const int to = mPlaces[At(stuck)];
    const int from = to - window;
    const auto behind = std::upper_bound(mPlaces.begin(), mPlaces.begin() + stuck, from);
    const int kept = static_cast<int>(behind - mPlaces.begin()) - 1;
    std::vector<int> places(mPlaces.begin(), behind);
    for (int point = std::max(from, places.back() + 1); point < to; ++point) places.push_back(point);
    mCarefulUntil = static_cast<int>(places.size());
    places.insert(places.end(), mPlaces.begin() + stuck, mPlaces.end());
    mPlaces = std::move(places);
    mFirst.resize(At(kept + 2));
    mFewer.resize(At(kept + 1));
    mArrivals.resize(At(mFirst.back()));
    return kept;
}

// Finds the ways to a place: with as many segments as the place before takes, or, if there are none, with one or two
// more. Near places that take so many segments themselves are not tried as the start of the last one.
void PathSearch::Arrive(int place)
{
    constexpr int mostMore = 2;
    mHere.clear();
    const int near = std::max(LeastAt(place - 1), 1);
    for (int segments = near; mHere.empty() && segments <= near + mostMore; ++segments) {
        ArriveWith(segments, place);
    }
    if (place > mCarefulUntil || HasSource()) return;
    if (Find(place - 1, place)) ArriveFrom(place - 1, place);
}

bool PathSearch::AreEndsFree(int place) const
{
    for (int curve = 0; curve < Curves(); ++curve) {
        if (!IsFree(curve, place) || IsEndHeld(curve, place)) return false;
    }
    return true;
}

void PathSearch::ArriveWith(int segments, int place)
{
    constexpr int mostMisses = 4;
    constexpr int mostHits = 4;
    const int fewerAtLeast = AreEndsFree(place) ? 1 : 0;
    int misses = 0;
    int hits = 0;
    int from = place - 1;
    while (from >= 0 && misses < mostMisses && hits < mostHits) {
        const int most = mHere.empty() ? segments : mHere.front().segments - fewerAtLeast;
        if (LeastAt(from) + 1 > most) {
            from = mFewer[At(from)];
            continue;
        }
        if (Find(from, place)) {
            ArriveFrom(from, place);
            ++hits;
        } else {
            ++misses;
        }
        --from;
    }
}

bool PathSearch::Find(int from, int to)
{
    for (int curve = 0; curve < Curves(); ++curve) {
        const bool serves = mServing[At(curve)].Find(mSegments[At(curve)], mPlaces[At(from)], mPlaces[At(to)],
                                                     Rules(curve).weighted);
        if (!serves) return false;
    }
    return true;
}

// Goes on from all arrivals at a place with the segments that `Find` has found last.
void PathSearch::ArriveFrom(int from, int place)
{
    int most = 0;
    for (const ServingSegments& serving : mServing) most = std::max(most, serving.GetCount());
    for (int i = mFirst[At(from)]; i < mFirst[At(from) + 1]; ++i) {
        for (int preferred = 0; preferred < most; ++preferred) {
            Arrival arrival;
            arrival.segments = mArrivals[At(i)].segments + 1;
            arrival.weighted = mArrivals[At(i)].weighted;
            arrival.place = from;
            arrival.before = i;
            if (Continue(mArrivals[At(i)], place, preferred, arrival)) Take(arrival);
        }
    }
}

SlopeRange PathSearch::Leaving(int curve, int place, const Arrival& arrival) const
{
    return IsFree(curve, place) && place > 0 ? kAnySlope : arrival.slopes[At(curve)];
}

// With which of the segments that serve a way goes on: the preferred one, or else the next behind it that can.
// \return  -1 where none can.
int PathSearch::FirstThatGoesOn(const ServingSegments& serving, int preferred, const SlopeRange& leaving,
                                SlopeRange& arriving)
{
    for (int i = 0; i < serving.GetCount(); ++i) {
        const int choice = (preferred + i) % serving.GetCount();
        arriving = serving.Slopes(choice).EndsFor(leaving);
        if (!arriving.IsEmpty()) return choice;
    }
    return -1;
}

bool PathSearch::Continue(const Arrival& before, int place, int preferred, Arrival& arrival) const
{
    const double duration = Duration(arrival.place, place);
    arrival.keepsSource = true;
    for (int curve = 0; curve < Curves(); ++curve) {
        const SlopeRange leaving = Scaled(Leaving(curve, arrival.place, before), duration);
        SlopeRange& slopes = arrival.slopes[At(curve)];
        const ServingSegments& serving = mServing[At(curve)];
        const int choice = FirstThatGoesOn(serving, preferred, leaving, slopes);
        if (choice < 0) return false;
        slopes = Scaled(slopes, 1.0 / duration);
        arrival.weights[At(curve)] = serving.GetWeights(choice);
        if (!arrival.weights[At(curve)].AreDefault()) ++arrival.weighted;
        const double source = Point(curve, place).left;
        const bool keepsSource = slopes.Contains(source);
        if (IsEndHeld(curve, place)) {
            if (!keepsSource) return false;
            slopes = {source, source};
        } else if (IsFree(curve, place)) {
            slopes = kAnySlope;
        }
        arrival.keepsSource = arrival.keepsSource && (keepsSource || IsFree(curve, place));
    }
    return true;
}

double PathSearch::Width(const Arrival& arrival) const
{
    double width = 0.0;
    for (int curve = 0; curve < Curves(); ++curve) {
        width += arrival.slopes[At(curve)].high - arrival.slopes[At(curve)].low;
    }
    return width;
}

// Whether a way takes no more segments than another, nor with as many more weights, and allows for every slope that
// the other one does, so that the other one need not be kept.
bool PathSearch::IsAsGoodAs(const Arrival& arrival, const Arrival& other) const
{
    if (arrival.segments > other.segments) return false;
    if (arrival.segments == other.segments && arrival.weighted > other.weighted) return false;
    for (int curve = 0; curve < Curves(); ++curve) {
        if (!arrival.slopes[At(curve)].Contains(other.slopes[At(curve)])) return false;
    }
    return true;
}

// Keeps the fewest segments, the widest ranges first, without those that others include. Where care is taken,
// one with the source's slopes stays, however many segments it takes.
void PathSearch::Take(const Arrival& arrival)
{
    constexpr std::size_t mostArrivals = 10;
    const int fewest = mHere.empty() ? arrival.segments : mHere.front().segments;
    if (arrival.segments > fewest && (!arrival.keepsSource || HasSource())) return;
    for (const Arrival& other : mHere) {
        if (IsAsGoodAs(other, arrival)) return;
    }
    std::erase_if(mHere, [&](const Arrival& other) {
        const bool isLonger = other.segments > arrival.segments;
        return IsAsGoodAs(arrival, other) || (isLonger && (!other.keepsSource || arrival.keepsSource));
    });
    const double width = Width(arrival);
    const auto behind = std::find_if(mHere.begin(), mHere.end(), [&](const Arrival& other) {
        return other.segments > arrival.segments ||
               (other.segments == arrival.segments && Width(other) < width);
    });
    mHere.insert(behind, arrival);
    if (mHere.size() <= mostArrivals) return;
    const auto narrowest =
        std::find_if(mHere.rbegin(), mHere.rend(), [](const Arrival& other) { return !other.keepsSource; });
    if (narrowest != mHere.rend()) mHere.erase(std::next(narrowest).base());
}

bool PathSearch::HasSource() const
{
    return std::any_of(mHere.begin(), mHere.end(), [](const Arrival& other) { return other.keepsSource; });
}

// --- Backwards -----------------------------------------------------------------------------------------

// Of the arrivals at the last place one with the fewest segments and, among those, the fewest weights.
const Arrival& PathSearch::Best() const
{
    const auto first = mArrivals.begin() + mFirst[At(Count() - 1)];
    return *std::min_element(first, mArrivals.end(), [](const Arrival& a, const Arrival& b) {
        return a.segments != b.segments ? a.segments < b.segments : a.weighted < b.weighted;
    });
}

// From the last key on each segment arrives as the next one leaves, with the slope nearest to the source's
// that allows for it.
std::vector<FitKey> PathSearch::Path(int curve) const
{
    int place = Count() - 1;
    const Arrival* arrival = &Best();
    std::vector<FitKey> keys;
    const FitPoint& last = Point(curve, place);
    double right = std::clamp(last.left, arrival->slopes[At(curve)].low, arrival->slopes[At(curve)].high);
    TangentWeights leavingWeights;
    bool isRightSet = !IsFree(curve, place) || IsEndHeld(curve, place);
    for (; arrival->place >= 0; isRightSet = true) {
        const int from = arrival->place;
        const double duration = Duration(from, place);
        const TangentWeights weights = arrival->weights[At(curve)];
        SlopePolygon polygon;
        mSegments[At(curve)].Find(mPlaces[At(from)], mPlaces[At(place)], weights, polygon);
        const SlopeRange leaving = Leaving(curve, from, mArrivals[At(arrival->before)]);
        double left = right;
        if (!isRightSet || (IsFree(curve, place) && !IsEndHeld(curve, place))) {
            SlopeRange ends = Scaled(polygon.EndsFor(Scaled(leaving, duration)), 1.0 / duration);
            // Rounding may leave nothing of a range as narrow as a slope.
            if (ends.IsEmpty()) ends = arrival->slopes[At(curve)];
            left = std::clamp(Point(curve, place).left, ends.low, ends.high);
        }
        keys.push_back({mPlaces[At(place)], left, isRightSet ? right : left, false, leavingWeights});
        leavingWeights = weights;
        right = StartSlope(polygon, leaving, left, duration, Point(curve, from).right);
        arrival = &mArrivals[At(arrival->before)];
        place = from;
    }
    keys.push_back({mPlaces[0], right, right, false, leavingWeights});
    std::reverse(keys.begin(), keys.end());
    return keys;
}

std::vector<std::vector<FitKey>> KeysFor(const std::vector<FitTask>& tasks)
{
    PathSearch search(tasks);
    search.Search();
    std::vector<std::vector<FitKey>> result;
    for (int curve = 0; curve < static_cast<int>(tasks.size()); ++curve) {
        result.push_back(search.Path(curve));
        ImproveSlopes(tasks[At(curve)], result.back());
    }
    return result;
}

}  // namespace

// A fit with weights is taken only where it has fewer keys than one without.
std::vector<std::vector<FitKey>> FewestKeys(const std::vector<FitTask>& tasks)
{
    if (!tasks[0].rules.weighted) return KeysFor(tasks);
    std::vector<FitTask> plain = tasks;
    for (FitTask& task : plain) task.rules.weighted = false;
    std::vector<std::vector<FitKey>> keys = KeysFor(plain);
    std::vector<std::vector<FitKey>> weighted = KeysFor(tasks);
    return weighted[0].size() < keys[0].size() ? weighted : keys;
}

}  // namespace yfc
