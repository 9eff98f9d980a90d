#include "bench/player_bench.h"

#include <algorithm>
#include <array>
#include <random>
#include <string>

#include "bench/allocations.h"
#include "bench/recorded_walk.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveclip.h"
#include "yfcurve/yfcurveplayer.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr int kKeyCount = 300;
constexpr double kKeysPerSecond = 30.0;
constexpr double kFramesPerSecond = 60.0;
constexpr int kFrameCount = static_cast<int>((kKeyCount - 2) / kKeysPerSecond * kFramesPerSecond);
constexpr std::array kChannelCounts = {576, 5760};

enum class Keys
{
    Recorded,  // as KeyAppendFast makes them: auto
    User,
    Broken,
    TCB,
    Weighted,
    Linear,
    Apart,  // user keys whose times differ from channel to channel
    ApartLinear
};

YFCurveKey MakeKey(Keys kind, float value, float& slopeBefore, std::mt19937& random)
{
    std::uniform_real_distribution<float> slope(-20.0f, 20.0f);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    YFCurveKey key;
    switch (kind) {
        case Keys::TCB:
            key.SetTCB(YTime(), value, unit(random), 0.0f, unit(random));
            break;
        case Keys::Linear:
        case Keys::ApartLinear:
            key.Set(YTime(), value, YFCURVE_INTERP_LINEAR);
            break;
        case Keys::Weighted: {
            const float slopes = slope(random);
            key.Set(YTime(), value, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, slopes, slopes,
                    YFCURVE_WEIGHT_ALL, 0.45f, 0.25f);
            break;
        }
        default: {
            const float next = slope(random);
            const float own = kind == Keys::User ? slopeBefore : slope(random);
            key.Set(YTime(), value, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, own, next);
            slopeBefore = next;
            break;
        }
    }
    return key;
}

YFCurvePtr MakeCurve(Keys kind, std::mt19937& random)
{
    std::normal_distribution<float> step;
    const bool isApart = kind == Keys::Apart || kind == Keys::ApartLinear;
    std::uniform_real_distribution<double> jitter(isApart ? -0.4 : 0.0, isApart ? 0.4 : 0.0);
    float value = 0.0f;
    float slope = 0.0f;
    YFCurvePtr curve(YFCurveCreate());
    const YFCurveModify modify(*curve, kKeyCount);
    for (int i = 0; i < kKeyCount; ++i) {
        value = 0.99f * value + step(random);
        const YTime time = YTime::FromSeconds((i + (isApart ? jitter(random) : 0.0)) / kKeysPerSecond);
        if (kind == Keys::Recorded) {
            curve->KeyAppendFast(time, value);
        } else {
            curve->KeyAdd(time, MakeKey(kind, value, slope, random));
        }
    }
    return curve;
}

YTime Frame(int index)
{
    return YTime::FromSeconds(0.5 / kKeysPerSecond + (index + 0.2718) / kFramesPerSecond);
}

// Rows of coefficients at times that all channels share, as one would write them down for this purpose.
class RowLoop
{
  public:
    explicit RowLoop(const std::vector<const YFCurve*>& curves) : mChannels(curves.size())
    {
        for (int row = 0; row < kKeyCount; ++row)
            mTimes.push_back(curves[0]->KeyGetTime(row).GetSecondDouble());
        for (int row = 0; row + 1 < kKeyCount; ++row) {
            for (int power = 0; power < 4; ++power) {
                for (const YFCurve* curve : curves) mCoefficients.push_back(Coefficient(*curve, row, power));
            }
        }
    }

    void Evaluate(double second, float* values)
    {
        while (mRow + 2 < mTimes.size() && mTimes[mRow + 1] <= second) ++mRow;
        while (mRow > 0 && mTimes[mRow] > second) --mRow;
        const auto u = static_cast<float>((second - mTimes[mRow]) / (mTimes[mRow + 1] - mTimes[mRow]));
        const float* __restrict c0 = mCoefficients.data() + mRow * 4 * mChannels;
        const float* __restrict c1 = c0 + mChannels;
        const float* __restrict c2 = c1 + mChannels;
        const float* __restrict c3 = c2 + mChannels;
        float* __restrict result = values;
        for (std::size_t i = 0; i < mChannels; ++i) result[i] = c0[i] + u * (c1[i] + u * (c2[i] + u * c3[i]));
    }

  private:
    static float Coefficient(const YFCurve& curve, int row, int power)
    {
        const double seconds = (curve.KeyGetTime(row + 1) - curve.KeyGetTime(row)).GetSecondDouble();
        const double start = curve.KeyGetValue(row);
        const double rise = curve.KeyGetValue(row + 1) - start;
        const double out = curve.KeyGetRightDerivative(row) * seconds;
        const double in = curve.KeyGetLeftDerivative(row + 1) * seconds;
        const std::array<double, 4> all = {start, out, 3.0 * rise - 2.0 * out - in, out + in - 2.0 * rise};
        return static_cast<float>(all[static_cast<std::size_t>(power)]);
    }

    std::size_t mChannels;
    std::vector<double> mTimes;
    std::vector<float> mCoefficients;
    std::size_t mRow = 0;
};

// Linear keys of each channel for itself, with its current segment at hand.
class LinearLoop
{
  public:
    explicit LinearLoop(const std::vector<const YFCurve*>& curves)
    {
        for (const YFCurve* curve : curves) {
            mChannels.push_back({mKeys.size(), {}, {}, 0.0f});
            for (int i = 0; i < curve->KeyGetCount(); ++i) {
                mKeys.push_back(
                    {static_cast<float>(curve->KeyGetTime(i).GetSecondDouble()), curve->KeyGetValue(i)});
            }
            Enter(mChannels.back());
        }
    }

    void Evaluate(double second, float* values)
    {
        const auto time = static_cast<float>(second);
        for (std::size_t i = 0; i < mChannels.size(); ++i) {
            Channel& channel = mChannels[i];
            while (time >= channel.stop) {
                ++channel.key;
                Enter(channel);
            }
            values[i] = channel.start.value + (time - channel.start.second) * channel.slope;
        }
    }

    void Rewind()
    {
        for (std::size_t i = 0; i < mChannels.size(); ++i) {
            mChannels[i].key = i * kKeyCount;
            Enter(mChannels[i]);
        }
    }

  private:
    struct Key
    {
        float second;
        float value;
    };
    struct Channel
    {
        std::size_t key;
        Key start;
        float stop;
        float slope;
    };

    void Enter(Channel& channel) const
    {
        const Key& end = mKeys[channel.key + 1];
        channel.start = mKeys[channel.key];
        channel.stop = end.second;
        channel.slope = (end.value - channel.start.value) / (end.second - channel.start.second);
    }

    std::vector<Key> mKeys;
    std::vector<Channel> mChannels;
};

// Channels of one kind, in all forms.
struct Subject
{
    std::vector<YFCurvePtr> owners;
    std::vector<const YFCurve*> curves;
    std::unique_ptr<YFCurveClip> clip;
    std::unique_ptr<YFCurvePlayer> player;
    mutable std::vector<float> values;
    std::vector<YTime> scatter;

    Subject(Keys kind, int channels)
    {
        std::mt19937 random(20240503);
        for (int i = 0; i < channels; ++i) {
            owners.push_back(MakeCurve(kind, random));
            curves.push_back(owners.back().get());
        }
        Finish();
    }

    // So many channels of recorded motion that is repeated as often as it takes.
    Subject(std::vector<YFCurvePtr> recording, int channels) : owners(std::move(recording))
    {
        for (int i = 0; i < channels; ++i) {
            curves.push_back(owners[static_cast<std::size_t>(i) % owners.size()].get());
        }
        Finish();
    }

    void Finish()
    {
        clip = YFCurveClip::Create(curves);
        player = YFCurvePlayer::Create(*clip);
        values.resize(curves.size());
        for (int i = 0; i < kFrameCount; ++i) scatter.push_back(Frame(i));
        std::shuffle(scatter.begin(), scatter.end(), std::mt19937(5));
    }
};

template<class Function>
void Play(benchmark::State& state, std::size_t channels, Function frame)
{
    for (auto _ : state) {
        for (int i = 0; i < kFrameCount; ++i) frame(i);
        benchmark::ClobberMemory();
    }
    state.counters["items"] = static_cast<double>(channels) * kFrameCount;
}

template<class Function>
void AddPlay(const std::string& name, const Subject& subject, Function frame)
{
    benchmark::RegisterBenchmark(name.c_str(), [&subject, frame](benchmark::State& state) {
        Play(state, subject.curves.size(), frame);
    });
}

void AddForward(const std::string& name, const Subject& subject)
{
    AddPlay(name, subject, [&subject](int i) { subject.player->Evaluate(Frame(i), subject.values); });
}

std::string Name(int channels, const char* what)
{
    return "player " + std::to_string(channels) + "/" + what;
}

constexpr int kSampleCount = 1'000'000;

double BytesPerSegment(const Subject& subject)
{
    return static_cast<double>(subject.clip->GetBytes().size()) /
           static_cast<double>(subject.clip->GetSegmentCount());
}

// Forwards, backwards, leaping, and both other queries.
long AllocationsOf(const Subject& subject)
{
    std::array<float, 3> some;
    const std::array<int, 3> channels = {5, 1, 7};
    const std::span<const YTime> times(subject.scatter);
    std::vector<float> row(times.size());
    const long before = AllocationCount();
    for (int i = 0; i < 100; ++i) subject.player->Evaluate(Frame(i), subject.values);
    for (int i = 100; i > 0; --i) subject.player->Evaluate(Frame(i), subject.values);
    for (const YTime time : times) subject.player->Evaluate(time, channels, some);
    for (const YTime time : times.first(20)) subject.player->Evaluate(time, subject.values);
    subject.player->Evaluate(3, times, row);
    return AllocationCount() - before;
}

}  // namespace

struct PlayerBench::Clips
{
    struct Size
    {
        int channels;
        Subject recorded{Keys::Recorded, channels};
        Subject apart{Keys::Apart, channels};
        Subject apartLinear{Keys::ApartLinear, channels};
        RowLoop rows{recorded.curves};
        LinearLoop lines{apartLinear.curves};
    };

    std::vector<std::unique_ptr<Size>> sizes;
    Subject user{Keys::User, kChannelCounts[0]};
    Subject broken{Keys::Broken, kChannelCounts[0]};
    Subject tcb{Keys::TCB, kChannelCounts[0]};
    Subject weighted{Keys::Weighted, kChannelCounts[0]};
    std::unique_ptr<Subject> walk;
    std::vector<YTime> samples;
    std::vector<float> sampled = std::vector<float>(kSampleCount);

    Clips()
    {
        for (const int channels : kChannelCounts) sizes.push_back(std::make_unique<Size>(Size{channels}));
        if (std::vector<YFCurvePtr> recording = RecordedWalk(); !recording.empty()) {
            walk = std::make_unique<Subject>(std::move(recording), kChannelCounts[0]);
        }
        const double step = (kKeyCount - 2) / kKeysPerSecond / kSampleCount;
        for (int i = 0; i < kSampleCount; ++i) samples.push_back(YTime::FromSeconds(i * step));
    }
};

PlayerBench::PlayerBench() : mClips(std::make_unique<Clips>()) {}
PlayerBench::~PlayerBench() = default;

void PlayerBench::Add() const
{
    for (const auto& size : mClips->sizes) {
        Clips::Size& all = *size;
        AddPlay(Name(all.channels, "cubic loop, shared times"), all.recorded,
                [&all](int i) { all.rows.Evaluate(Frame(i).GetSecondDouble(), all.recorded.values.data()); });
        AddPlay(Name(all.channels, "linear loop, own times"), all.apartLinear, [&all](int i) {
            if (i == 0) all.lines.Rewind();
            all.lines.Evaluate(Frame(i).GetSecondDouble(), all.apartLinear.values.data());
        });
        for (const auto& [name, subject] :
             {std::pair("shared times", &all.recorded), std::pair("own times", &all.apart),
              std::pair("own times, linear", &all.apartLinear)}) {
            const Subject& played = *subject;
            AddForward(Name(all.channels, name), played);
            AddPlay(Name(all.channels, name) + " backwards", played,
                    [&played](int i) { played.player->Evaluate(Frame(kFrameCount - 1 - i), played.values); });
            AddPlay(Name(all.channels, name) + " at random", played, [&played](int i) {
                played.player->Evaluate(played.scatter[static_cast<std::size_t>(i)], played.values);
            });
        }
    }
    AddForward("player/user keys", mClips->user);
    AddForward("player/broken keys", mClips->broken);
    AddForward("player/TCB keys", mClips->tcb);
    AddForward("player/weighted keys", mClips->weighted);
    if (mClips->walk) AddForward("player/recorded walk", *mClips->walk);
    const auto addSampling = [this](const char* name, const Subject& subject) {
        benchmark::RegisterBenchmark(name, [this, &subject](benchmark::State& state) {
            for (auto _ : state) subject.player->Evaluate(17, mClips->samples, mClips->sampled);
            state.counters["items"] = kSampleCount;
        });
    };
    addSampling("player/a million times", mClips->user);
    addSampling("player/a million times, own times", mClips->sizes[0]->apart);
}

std::vector<Goal> PlayerBench::Goals(const GoalReporter& reporter) const
{
    std::vector<Goal> goals;
    const auto quotient = [&](const std::string& what, const std::string& other, double limit) {
        goals.push_back({what + " : " + other.substr(other.find('/') + 1),
                         reporter.Fastest(what) / reporter.Fastest(other), limit, ""});
    };
    for (const int channels : kChannelCounts) {
        const std::string shared = Name(channels, "shared times");
        const std::string own = Name(channels, "own times");
        quotient(shared, Name(channels, "cubic loop, shared times"), 1.5);
        quotient(own, Name(channels, "linear loop, own times"), 0.6);
        for (const std::string& name : {shared, own}) {
            quotient(name + " backwards", name, 2.0);
            quotient(name + " at random", name, 4.0);
        }
    }
    const std::string recorded = Name(kChannelCounts[0], "shared times");
    for (const char* name :
         {"player/user keys", "player/TCB keys", "player/broken keys", "player/weighted keys"}) {
        quotient(name, recorded, 1.3);
    }
    for (const char* name : {"player/a million times", "player/a million times, own times"}) {
        goals.push_back({name, reporter.Fastest(name), 1.5, "ns each"});
    }
    const Clips::Size& small = *mClips->sizes[0];
    goals.push_back({"clip, shared times", BytesPerSegment(small.recorded), 24.0, "bytes a segment"});
    goals.push_back({"clip, own times", BytesPerSegment(small.apart), 24.0, "bytes a segment"});
    goals.push_back({"clip, weighted (pieces)", BytesPerSegment(mClips->weighted), 24.0, "bytes a segment"});
    if (mClips->walk) {
        const double constants = mClips->walk->clip->GetConstantCount();
        goals.push_back({"recorded walk, constant channels",
                         100.0 * constants / static_cast<double>(mClips->walk->curves.size()), 100.0, "%"});
    }
    const double allocations =
        static_cast<double>(AllocationsOf(small.recorded) + AllocationsOf(small.apart));
    goals.push_back({"allocations of playing", allocations, 0.0, ""});
    return goals;
}
