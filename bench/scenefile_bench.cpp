// Files: how fast scene files and BVH are read and written, and how much memory loading takes besides the
// curves.
//
// Reading and writing are measured in processes of their own, whose peak of resident memory is its own. Files are in the
// page cache, and writing does not wait for the disk.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "bench/goals.h"
#include "ybaselib/ytalo.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/ymemoryblockqueue.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/formats/bvh.h"
#include "ymotion/formats/file_io.h"

namespace {

namespace fs = std::filesystem;

constexpr int kKeyCount = 10'000'000;
constexpr double kBytesOfARecord = 24.0;
constexpr double kMegabyte = 1e6;

struct Measured
{
    double readSeconds = 0;
    double writeSeconds = 0;
    double peakBytes = 0;   ///< resident at most, beyond what the process had before
    double curveBytes = 0;  ///< of the curve that was read
};

// Seconds of the processor, those in the system included: what else runs on the machine takes none of them.
double Now()
{
    timespec time = {};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// A line of /proc/self/status in bytes.
double Status(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) return std::atof(line.c_str() + name.size() + 1) * 1024.0;
    }
    return 0;
}

template<class Act>
Measured InAProcess(Act act)
{
    int ends[2];
    if (::pipe(ends) != 0) return {};
    const pid_t child = ::fork();
    if (child == 0) {
        std::ofstream("/proc/self/clear_refs") << 5;  // the peak starts anew
        const Measured measured = act(Status("VmRSS:"));
        const bool written = ::write(ends[1], &measured, sizeof measured) == sizeof measured;
        ::_exit(written ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    Measured measured;
    ::close(ends[1]);
    if (::read(ends[0], &measured, sizeof measured) != sizeof measured) measured = {};
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    return measured;
}

// Straight into a file.
class Sink : public YTaloOutput
{
  public:
    explicit Sink(const std::string& path)
        : mDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600))
    {}
    ~Sink() override { ::close(mDescriptor); }

    bool Write(const char* bytes, std::size_t count) override
    {
        return ::write(mDescriptor, bytes, count) == static_cast<ssize_t>(count);
    }

  private:
    int mDescriptor;
};

// Keys as they are recorded (auto tangents, which all share one record) or with tangents of their own.
void WriteKeys(const std::string& path, bool ownTangents)
{
    std::mt19937_64 random(20240501);
    std::normal_distribution<double> step(0.0, 10.0);
    Sink sink(path);
    YTalo talo;
    talo.OutputCreate(&sink);
    talo.FieldWriteD("Default", 0.0);
    talo.FieldWriteI("KeyVer", 4006);
    talo.FieldWriteI("KeyCount", kKeyCount);
    talo.FieldWriteBegin("Key");
    for (std::int64_t i = 0; i < kKeyCount; ++i) {
        talo.FieldWriteT(YTime::FromFrame(i, eTimeMode::Fps30));
        talo.FieldWriteD(static_cast<double>(static_cast<float>(step(random))));
        talo.FieldWriteCH('U');
        talo.FieldWriteCH(ownTangents ? 's' : 'a');
        for (int side = 0; ownTangents && side < 2; ++side)
            talo.FieldWriteD(static_cast<double>(static_cast<float>(step(random))));
        talo.FieldWriteCH('n');
    }
    talo.FieldWriteEnd();
    talo.FileClose();
}

Measured ReadAndWriteKeys(const std::string& path, bool ownTangents, double residentBefore)
{
    Measured measured;
    const double storageBefore = GetRecordingMemory();
    const double start = Now();
    YTalo talo;
    if (!talo.FileOpen(path.c_str())) return {};
    const YFCurvePtr curve(YFCurveCreate(&talo));
    if (!talo.FileClose() || curve->KeyGetCount() != kKeyCount) return {};
    measured.readSeconds = Now() - start;
    measured.peakBytes = Status("VmHWM:") - residentBefore;
    measured.curveBytes =
        GetRecordingMemory() - storageBefore + (ownTangents ? kBytesOfARecord * kKeyCount : 0.0);

    const double written = Now();
    Sink sink(path + ".copy");
    if (!talo.OutputCreate(&sink) || !curve->TaloStore(&talo) || !talo.FileClose()) return {};
    measured.writeSeconds = Now() - written;
    return measured;
}

// 96 channels, as of a body without hands: 50,000 frames are some 50 MB.
void WriteMotion(const std::string& path, int frameCount)
{
    constexpr int jointCount = 32;
    std::ofstream out(path);
    out << "HIERARCHY\n";
    for (int i = 0; i < jointCount; ++i) {
        out << (i == 0 ? "ROOT" : "JOINT") << " j" << i
            << "\n{\nOFFSET 0 1 0\nCHANNELS 3 Zrotation Xrotation Yrotation\n";
    }
    out << "End Site\n{\nOFFSET 0 1 0\n}\n";
    for (int i = 0; i < jointCount; ++i) out << "}\n";
    out << "MOTION\nFrames: " << frameCount << "\nFrame Time: 0.0083333\n";
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> angle(-180.0, 180.0);
    char number[32];
    for (int frame = 0; frame < frameCount; ++frame) {
        for (int i = 0; i < 3 * jointCount; ++i) {
            out.write(number, std::snprintf(number, sizeof number, "%.6f ", angle(random)));
        }
        out << '\n';
    }
}

Measured ReadMotion(const std::string& path, double residentBefore)
{
    Measured measured;
    const double start = Now();
    const ymotion::FileBytes bytes = ymotion::ReadFile(path);
    const ymotion::Scene scene = ymotion::SceneOfBvh(ymotion::ParseBvh(bytes.View(), path));
    measured.readSeconds = Now() - start;
    measured.peakBytes = Status("VmHWM:") - residentBefore;
    return measured;
}

// The fastest of three, each of a scene that has just been read. By the clock on the wall: threads are to save time,
// not work.
double SecondsToFilter(const std::string& path, std::size_t jobs)
{
    const ymotion::FileBytes bytes = ymotion::ReadFile(path);
    double fastest = std::numeric_limits<double>::infinity();
    for (int i = 0; i < 3; ++i) {
        ymotion::Scene scene = ymotion::SceneOfBvh(ymotion::ParseBvh(bytes.View(), path));
        std::vector<ymotion::FilterStep> steps =
            ymotion::ParseSteps({"unroll", "butterworth:CutOffFreq=7", "key-reducer:Precision=5"}, &scene);
        const auto start = std::chrono::steady_clock::now();
        ymotion::ApplySteps(scene, steps, {}, {}, jobs);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        fastest = std::min(fastest, taken.count());
    }
    return fastest;
}

// One line, and the goals: 150 MB/s as nanoseconds a byte, and for scene files memory as a multiple of the
// curve.
void Report(const std::string& what, const std::string& path, const Measured& measured,
            std::vector<Goal>& goals)
{
    constexpr double mostNanoseconds = 1e9 / (150 * kMegabyte);
    const auto bytes = static_cast<double>(fs::file_size(path));
    std::printf("%-34s %5.0f MB, read at %4.0f MB/s", what.c_str(), bytes / kMegabyte,
                bytes / kMegabyte / measured.readSeconds);
    goals.push_back({what + ", reading", measured.readSeconds * 1e9 / bytes, mostNanoseconds, "ns a byte"});
    if (measured.curveBytes > 0) {
        std::printf(", written at %4.0f MB/s, %.1f bytes a key", bytes / kMegabyte / measured.writeSeconds,
                    measured.curveBytes / kKeyCount);
        goals.push_back(
            {what + ", writing", measured.writeSeconds * 1e9 / bytes, mostNanoseconds, "ns a byte"});
        goals.push_back({what + ", peak : curve", measured.peakBytes / measured.curveBytes, 3.0, ""});
    }
    std::printf(", peak %.0f MB\n", measured.peakBytes / kMegabyte);
    std::fflush(stdout);
}

}  // namespace

int main()  // NOLINT(bugprone-exception-escape): ends with a message just as well
{
    std::string pattern = (fs::temp_directory_path() / "scenefile_benchXXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) return EXIT_FAILURE;
    const fs::path folder = pattern;
    std::vector<Goal> goals;
    for (const bool ownTangents : {false, true}) {
        const std::string path = (folder / "keys.ytalo").string();
        WriteKeys(path, ownTangents);
        const auto measured =
            InAProcess([&](double resident) { return ReadAndWriteKeys(path, ownTangents, resident); });
        Report(ownTangents ? "scene file, keys with tangents" : "scene file, recorded keys", path, measured,
               goals);
    }
    const std::string motion = (folder / "motion.bvh").string();
    WriteMotion(motion, 50'000);
    Report("BVH", motion, InAProcess([&](double resident) { return ReadMotion(motion, resident); }), goals);
    WriteMotion(motion, 5'000);
    goals.push_back({"filtering one scene, two threads : one thread",
                     SecondsToFilter(motion, 2) / SecondsToFilter(motion, 1), 1.0 / 1.8, ""});
    fs::remove_all(folder);
    PrintGoals(goals);
    return EXIT_SUCCESS;
}
