#include "yfcurve/fitting/fitplaces.h"

#include <algorithm>
#include <cstdint>

#include "yfcurve/fitting/fitsegment.h"
#include "yfcurve/fitting/servingsegments.h"

namespace yfc {

namespace {

// Whether one segment serves from one place to another, for every run.
class Reach
{
  public:
    explicit Reach(const std::vector<FitTask>& tasks)
        : mPlaces(tasks[0].run->places), mIsWeighted(tasks[0].rules.weighted)
    {
        for (const FitTask& task : tasks) mSegments.emplace_back(*task.run);
    }

    int GetLast() const { return static_cast<int>(mPlaces.size()) - 1; }

    int PointAt(int place) const { return mPlaces[static_cast<std::size_t>(place)]; }

    // How far one segment goes, found by looking ever further and then halving.
    int From(int from) const
    {
        const int last = GetLast();
        int reached = from + 1;
        int beyond = last + 1;
        for (std::int64_t step = 2; reached < last; step *= 2) {
            const int to = static_cast<int>(std::min<std::int64_t>(from + step, last));
            const int near = NearestServed(from, to, reached);
            if (near < 0) {
                beyond = to;
                break;
            }
            reached = near;
        }
        while (beyond - reached > 1 && beyond <= last) {
            const int middle = reached + (beyond - reached) / 2;
            const int near = NearestServed(from, middle, reached);
            if (near >= 0) {
                reached = near;
            } else {
                beyond = middle;
            }
        }
        return reached;
    }

  private:
    // Noise may keep a segment from reaching one place while it reaches others beside it. So some places below `to` are
    // looked at as well, but none at or below `reached`, which is known to serve.
    // \return  -1 where none serves.
    int NearestServed(int from, int to, int reached) const
    {
        constexpr int tries = 4;
        for (int place = to; place > std::max(reached, to - tries); --place) {
            if (Serves(from, place)) return place;
        }
        return -1;
    }

    bool Serves(int from, int to) const
    {
        return std::all_of(mSegments.begin(), mSegments.end(), [&](const SegmentFit& segments) {
            ServingSegments serving;
            return serving.Find(segments, PointAt(from), PointAt(to), mIsWeighted);
        });
    }

    const std::vector<int>& mPlaces;
    const bool mIsWeighted;
    std::vector<SegmentFit> mSegments;
};

}  // namespace

std::vector<int> PlacesToTry(const std::vector<FitTask>& tasks)
{
    const Reach reach(tasks);
    std::vector<int> places{reach.PointAt(0)};
    for (int from = 0; from < reach.GetLast();) {
        const int to = reach.From(from);
        const int steps = std::min(to - from, kPlacesInReach);
        for (int step = 1; step <= steps; ++step) {
            const auto way = static_cast<int>(std::int64_t{to - from} * step / steps);
            places.push_back(reach.PointAt(from + way));
        }
        from = to;
    }
    return places;
}

}  // namespace yfc
