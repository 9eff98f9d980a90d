// Plays a clip on two threads, as an engine plays its characters: the file is mapped into memory, checked once
// and used in place, and each thread has a player of its own.
//
// Usage: example_player WALK.yclip      made by: yfcurve convert walk.bvh walk.yclip
//
// Build it against an installed yfcurve: c++ -std=c++20 player.cpp $(pkg-config --cflags --libs yfcurve)

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <thread>
#include <vector>

#include "yfcurve/yfcurveclip.h"
#include "yfcurve/yfcurveplayer.h"

namespace {

// A file in memory, without reading more of it than is played.
class MappedFile
{
  public:
    explicit MappedFile(const char* path)
    {
        const int file = open(path, O_RDONLY | O_CLOEXEC);
        struct stat status = {};
        if (file >= 0 && fstat(file, &status) == 0 && status.st_size > 0) {
            mSize = static_cast<std::size_t>(status.st_size);
            mAddress = mmap(nullptr, mSize, PROT_READ, MAP_PRIVATE, file, 0);
        }
        if (file >= 0) close(file);
    }
    ~MappedFile()
    {
        if (mAddress != MAP_FAILED) munmap(mAddress, mSize);
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    std::span<const std::byte> Bytes() const
    {
        if (mAddress == MAP_FAILED) return {};
        return {static_cast<const std::byte*>(mAddress), mSize};
    }

  private:
    void* mAddress = MAP_FAILED;
    std::size_t mSize = 0;
};

constexpr int kFramesPerSecond = 120;

// One character: frame after frame a pose, of which this example keeps the highest value of each channel.
// What comes before the loop allocates, the loop does not.
void Play(const YFCurveClip& clip, std::vector<float>& highest)
{
    const auto player = YFCurvePlayer::Create(clip);
    if (!player) return;
    std::vector<float> pose(static_cast<std::size_t>(clip.GetChannelCount()));
    player->Evaluate(clip.GetStart(), pose);  // constant channels too, which stay as they are
    highest = pose;
    const YTime frame = YTIME_ONE_SECOND / kFramesPerSecond;
    for (YTime time = clip.GetStart(); time <= clip.GetStop(); time += frame) {
        player->EvaluateMoving(time, pose);
        for (std::size_t i = 0; i < pose.size(); ++i) highest[i] = std::max(highest[i], pose[i]);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s WALK.yclip\n", argv[0]);
        return 2;
    }
    const MappedFile file(argv[1]);
    const auto clip = YFCurveClip::Open(file.Bytes());
    if (!clip) {
        std::fprintf(stderr, "%s: is no clip; make one with yfcurve convert IN OUT.yclip\n", argv[1]);
        return 1;
    }

    std::vector<float> one;
    std::vector<float> other;
    std::thread second([&] { Play(*clip, other); });
    Play(*clip, one);
    second.join();

    std::printf("%d channels for %.2f s, on both threads %s\n", clip->GetChannelCount(),
                (clip->GetStop() - clip->GetStart()).GetSecondDouble(), one == other ? "alike" : "different");
    for (int i = 0; i < std::min(clip->GetChannelCount(), 3); ++i) {
        std::printf("%s at most %.2f\n", clip->GetChannelName(i),
                    static_cast<double>(one[static_cast<std::size_t>(i)]));
    }
    return one == other ? 0 : 1;
}
