// Writes examples/walk.bvh: two cycles of a synthetic walk, for trying the program without a recording.
//
//   make_walk OUT.bvh      or, without an argument, to standard output
//
// Centimetres, Y up, walking towards +Z, the left side at +X, 120 frames a second. The pelvis, trunk and
// arms follow waves over the phase of the gait (left heel strike at 0, right at 0.5); each foot is planted
// on the ground, rolls over heel and ball and swings to its next place, and the leg joints are solved from
// hip and ankle, so that no foot slides. A slow drift and a little measurement noise are added on top.
// Everything random comes from one seeded engine and distributions written out here, and numbers are
// printed with four decimals, so that the file is the same on every machine.

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <numbers>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::uint64_t kSeed = 20240613;
constexpr int kFramesPerSecond = 120;
constexpr int kFramesPerCycle = 128;
constexpr int kFrameCount = 2 * kFramesPerCycle + 1;
constexpr double kStrideLength = 124.0;   // centimetres a cycle
constexpr double kHipsHeight = 91.0;      // centimetres, mean over a cycle
constexpr double kFootAhead = 31.0;       // of the ankle before the hips at heel strike
constexpr double kFootAside = 7.0;        // of the ankle from the line walked on
constexpr double kToeOut = 6.0;           // degrees
constexpr double kToeOff = 0.62;          // phase at which the foot leaves the ground
constexpr double kAngleNoise = 0.03;      // degrees, standard deviation of one sample
constexpr double kPositionNoise = 0.015;  // centimetres
constexpr double kTurn = 2.0 * std::numbers::pi;
constexpr double kRadiansPerDegree = std::numbers::pi / 180.0;

enum JointId : std::size_t
{
    Hips,
    Spine,
    Chest,
    Neck,
    Head,
    LeftShoulder,
    LeftArm,
    LeftForeArm,
    LeftHand,
    RightShoulder,
    RightArm,
    RightForeArm,
    RightHand,
    LeftUpLeg,
    LeftLeg,
    LeftFoot,
    LeftToe,
    RightUpLeg,
    RightLeg,
    RightFoot,
    RightToe,
    JointCount
};

struct Vector
{
    double x = 0;
    double y = 0;
    double z = 0;
};

Vector operator+(const Vector& a, const Vector& b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
Vector operator-(const Vector& a, const Vector& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Vector operator*(double scale, const Vector& a)
{
    return {scale * a.x, scale * a.y, scale * a.z};
}

struct JointInfo
{
    std::string_view name;
    int depth;
    Vector offset;
    bool leaf;
    Vector end;
};

/// Depth first, as the file lists them; a leaf is closed by an end site.
constexpr std::array<JointInfo, JointCount> kJoints{{
    {"Hips", 0, {0, 0, 0}, false, {}},
    {"Spine", 1, {0, 9.5, -1.2}, false, {}},
    {"Chest", 2, {0, 19.0, -0.8}, false, {}},
    {"Neck", 3, {0, 22.5, 0.6}, false, {}},
    {"Head", 4, {0, 9.2, 1.4}, true, {0, 18.5, 0}},
    {"LeftShoulder", 3, {3.4, 17.6, 0.9}, false, {}},
    {"LeftArm", 4, {13.8, 0, -0.9}, false, {}},
    {"LeftForeArm", 5, {28.4, 0, 0}, false, {}},
    {"LeftHand", 6, {25.1, 0, 0}, true, {17.2, 0, 0}},
    {"RightShoulder", 3, {-3.4, 17.6, 0.9}, false, {}},
    {"RightArm", 4, {-13.8, 0, -0.9}, false, {}},
    {"RightForeArm", 5, {-28.4, 0, 0}, false, {}},
    {"RightHand", 6, {-25.1, 0, 0}, true, {-17.2, 0, 0}},
    {"LeftUpLeg", 1, {9.1, -4.0, 0}, false, {}},
    {"LeftLeg", 2, {0, -41.5, 0}, false, {}},
    {"LeftFoot", 3, {0, -40.2, 0}, false, {}},
    {"LeftToe", 4, {0, -6.1, 13.8}, true, {0, 0, 6.5}},
    {"RightUpLeg", 1, {-9.1, -4.0, 0}, false, {}},
    {"RightLeg", 2, {0, -41.5, 0}, false, {}},
    {"RightFoot", 3, {0, -40.2, 0}, false, {}},
    {"RightToe", 4, {0, -6.1, 13.8}, true, {0, 0, 6.5}},
}};

/// Degrees about the axes; X turns a vector first, then Y, then Z.
struct Pose
{
    Vector position;  // of the hips, centimetres
    std::array<Vector, JointCount> rotation;
};

/// A rotation by its three columns.
struct Rotation
{
    Vector x{1, 0, 0};
    Vector y{0, 1, 0};
    Vector z{0, 0, 1};
};

Vector operator*(const Rotation& r, const Vector& v)
{
    return v.x * r.x + v.y * r.y + v.z * r.z;
}
Rotation operator*(const Rotation& a, const Rotation& b)
{
    return {a * b.x, a * b.y, a * b.z};
}

Rotation Inverse(const Rotation& r)
{
    return {{r.x.x, r.y.x, r.z.x}, {r.x.y, r.y.y, r.z.y}, {r.x.z, r.y.z, r.z.z}};
}

Rotation FromAngles(const Vector& degrees)
{
    const auto sinCos = [](double angle) {
        return std::array{std::sin(angle * kRadiansPerDegree), std::cos(angle * kRadiansPerDegree)};
    };
    const auto [sx, cx] = sinCos(degrees.x);
    const auto [sy, cy] = sinCos(degrees.y);
    const auto [sz, cz] = sinCos(degrees.z);
    const Rotation aboutX{{1, 0, 0}, {0, cx, sx}, {0, -sx, cx}};
    const Rotation aboutY{{cy, 0, -sy}, {0, 1, 0}, {sy, 0, cy}};
    const Rotation aboutZ{{cz, sz, 0}, {-sz, cz, 0}, {0, 0, 1}};
    return aboutZ * aboutY * aboutX;
}

/// The inverse of FromAngles, away from a Y angle of a right angle, which no joint here comes near.
Vector ToAngles(const Rotation& r)
{
    return 1.0 / kRadiansPerDegree *
           Vector{std::atan2(r.y.z, r.z.z), -std::asin(r.x.z), std::atan2(r.x.y, r.x.x)};
}

/// Standard normal numbers by Box and Muller's method: the standard library's own distribution differs
/// between implementations, the engine does not.
class Noise
{
  public:
    double Uniform() { return (static_cast<double>(mEngine() >> 11) + 0.5) * 0x1p-53; }

    double Normal()
    {
        const double radius = std::sqrt(-2.0 * std::log(Uniform()));
        return radius * std::cos(kTurn * Uniform());
    }

  private:
    std::mt19937_64 mEngine{kSeed};
};

/// A slow wandering about zero: no step is repeated exactly.
class Drift
{
  public:
    Drift(Noise& noise, double amplitude)
    {
        for (std::size_t i = 0; i < mWaves.size(); ++i) {
            mWaves[i].hertz = 0.17 + 0.23 * static_cast<double>(i) + 0.1 * noise.Uniform();
            mWaves[i].phase = noise.Uniform();
            mWaves[i].amplitude = amplitude * noise.Normal() / static_cast<double>(i + 1);
        }
    }

    double At(double seconds) const
    {
        double sum = 0;
        for (const Wave& wave : mWaves) {
            sum += wave.amplitude * std::sin(kTurn * (wave.hertz * seconds + wave.phase));
        }
        return sum;
    }

  private:
    struct Wave
    {
        double hertz = 0;
        double phase = 0;
        double amplitude = 0;
    };
    std::array<Wave, 3> mWaves;
};

/// A cosine that is at its crest when the phase equals `crest`, `harmonic` times a cycle.
double Wave(double phase, double crest, int harmonic = 1)
{
    return std::cos(kTurn * harmonic * (phase - crest));
}

/// The shock that runs up the leg after the heel has landed: centimetres at the hips.
double HeelStrike(double phase)
{
    const double seconds = (phase - std::floor(phase)) * kFramesPerCycle / kFramesPerSecond;
    return -0.3 * std::exp(-seconds / 0.035) * std::sin(kTurn * 14.0 * seconds);
}

double SmoothStep(double from, double to, double x)
{
    const double u = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return u * u * u * (10.0 - u * (15.0 - 6.0 * u));
}

/// Degrees by which the toes point up, over one cycle from heel strike.
double FootPitch(double phase)
{
    return 19.0 * (1.0 - SmoothStep(0.0, 0.10, phase)) - 58.0 * SmoothStep(0.36, 0.72, phase) +
           77.0 * SmoothStep(0.64, 0.97, phase);
}

/// Where the ankle is over the planted foot, from its place when the foot is flat: a foot with its toes up
/// stands on the heel, one with its toes down on the ball, which is where the toe joint is.
Vector AnkleOverFoot(double pitch)
{
    const Vector heel{0, -8.0, -4.5};
    const Vector& contact = pitch > 0.0 ? heel : kJoints[LeftToe].offset;
    return contact - FromAngles({-pitch, 0, 0}) * contact;
}

/// The ankle in the plane of the leg, over one cycle from heel strike at z = 0; x stays 0.
Vector AnklePath(double phase)
{
    const Vector flat{0, 8.0, 0};
    if (phase <= kToeOff) return flat + AnkleOverFoot(FootPitch(phase));
    // The swing leaves with the velocity of the roll and comes down slowly.
    constexpr double kStep = 1e-3;
    const double length = 1.0 - kToeOff;
    const Vector from = flat + AnkleOverFoot(FootPitch(kToeOff));
    const Vector leaving = length / kStep * (from - flat - AnkleOverFoot(FootPitch(kToeOff - kStep)));
    const Vector to = flat + AnkleOverFoot(FootPitch(1.0)) + Vector{0, 0, kStrideLength};
    const Vector landing{0, -6.0, 26.0};
    const Vector lift{0, 2.5, 0};
    const double u = (phase - kToeOff) / length;
    const double v = 1.0 - u;
    return (1 + 2 * u) * v * v * from + u * v * v * leaving + u * u * (1 + 2 * v) * to - u * u * v * landing +
           16 * u * u * v * v * lift;
}

/// Solves hip and knee for the ankle's place, then foot and toes for the foot's direction. `phase` counts
/// from the heel strike of this leg, `origin` is where phase 0 puts the flat foot's ankle on the ground,
/// `side` is +1 on the left and -1 on the right.
void PoseLeg(Pose& pose, std::size_t upLeg, double phase, const Vector& origin, double side)
{
    const double cycle = phase - std::floor(phase);
    const double pitch = FootPitch(cycle);
    const Rotation heading = FromAngles({0, side * kToeOut, 0});
    const Vector ankle = origin + Vector{0, 0, kStrideLength * std::floor(phase)} + AnklePath(cycle);

    const Rotation pelvis = FromAngles(pose.rotation[Hips]);
    const Vector hip = pose.position + pelvis * kJoints[upLeg].offset;
    const Vector reach = Inverse(pelvis) * (ankle - hip);
    const double thigh = -kJoints[upLeg + 1].offset.y;
    const double shank = -kJoints[upLeg + 2].offset.y;
    const double distance = std::min(std::hypot(reach.x, reach.y, reach.z), 0.9995 * (thigh + shank));
    const double knee =
        std::acos((distance * distance - thigh * thigh - shank * shank) / (2 * thigh * shank));
    const double lag = std::atan2(shank * std::sin(knee), thigh + shank * std::cos(knee));
    const double swing = std::asin(-reach.z / distance) - lag;
    pose.rotation[upLeg] = 1.0 / kRadiansPerDegree * Vector{swing, 0, std::atan2(reach.x, -reach.y)};
    pose.rotation[upLeg + 1] = {knee / kRadiansPerDegree, 0, 0};

    const Rotation shin = pelvis * FromAngles(pose.rotation[upLeg]) * FromAngles(pose.rotation[upLeg + 1]);
    pose.rotation[upLeg + 2] = ToAngles(Inverse(shin) * heading * FromAngles({-pitch, 0, 0}));
    const double bend = std::max(-pitch, 0.0) * (1.0 - SmoothStep(kToeOff, 0.86, cycle));
    pose.rotation[upLeg + 3] = {-bend, 0, 0};
}

/// The rest pose holds the arms out, so that hanging is a turn about Z and swinging one about Y. An arm
/// swings with the leg of the other side, a little late.
void PoseArm(Pose& pose, std::size_t shoulder, double phase, double side)
{
    const double swing = 4.0 - 21.0 * Wave(phase, 0.03);
    const double elbow = 24.0 - 11.0 * Wave(phase, 0.09);
    pose.rotation[shoulder] = {0, -side * 2.5 * Wave(phase, 0.53), -side * (4.0 + Wave(phase, 0.30, 2))};
    pose.rotation[shoulder + 1] = {6.0, -side * swing, -side * (73.0 + 2.0 * Wave(phase, 0.05, 2))};
    pose.rotation[shoulder + 2] = {0, -side * elbow, 0};
    pose.rotation[shoulder + 3] = {3.0 * Wave(phase, 0.2), -side * (6.0 + 4.0 * Wave(phase, 0.65)),
                                   side * 3.0};
}

/// The shoulders turn against the pelvis, and neck and head take the rest back: the gaze stays ahead.
void PoseTrunk(Pose& pose, double phase)
{
    const double turn = -5.0 * Wave(phase, 0.02);
    const double list = 3.2 * Wave(phase, 0.30 - 0.12);
    const double nod = 1.0 * Wave(phase, 0.08, 2);
    pose.rotation[Hips] = {3.0 + nod, turn, list};
    pose.rotation[Spine] = {0.8 - 0.5 * nod, -0.9 * turn, -0.7 * list};
    pose.rotation[Chest] = {1.2 - 0.3 * nod, -1.0 * turn, -0.5 * list};
    pose.rotation[Neck] = {4.0 - 0.1 * nod, 0.5 * turn, 0.1 * list};
    pose.rotation[Head] = {-8.0 - 0.1 * nod, 0.4 * turn, 0.1 * list};
}

Pose WalkAt(double seconds)
{
    const double phase = seconds * kFramesPerSecond / kFramesPerCycle;
    Pose pose;
    pose.position.x = 2.0 * Wave(phase, 0.32);
    pose.position.y = kHipsHeight + 1.7 * Wave(phase, 0.28, 2) + HeelStrike(phase) + HeelStrike(phase + 0.5);
    pose.position.z = kStrideLength * phase + 1.1 * Wave(phase, 0.06, 2);
    PoseTrunk(pose, phase);
    PoseLeg(pose, LeftUpLeg, phase, {kFootAside, 0, kFootAhead}, 1.0);
    PoseLeg(pose, RightUpLeg, phase + 0.5, {-kFootAside, 0, kFootAhead - 0.5 * kStrideLength}, -1.0);
    PoseArm(pose, LeftShoulder, phase, 1.0);
    PoseArm(pose, RightShoulder, phase + 0.5, -1.0);
    return pose;
}

void AppendNumber(std::string& text, double value)
{
    constexpr double kHalfLastDecimal = 0.5e-4;
    if (std::abs(value) < kHalfLastDecimal) value = 0;  // no "-0.0000"
    std::array<char, 32> digits;
    const auto [end, error] =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed, 4);
    text.append(digits.data(), end);
}

void AppendOffset(std::string& text, int depth, const Vector& offset)
{
    text.append(static_cast<std::size_t>(depth), '\t').append("OFFSET");
    for (const double component : {offset.x, offset.y, offset.z}) {
        text += ' ';
        AppendNumber(text, component);
    }
    text += '\n';
}

void AppendHierarchy(std::string& text)
{
    const auto indent = [&text](int depth) -> std::string& {
        return text.append(static_cast<std::size_t>(depth), '\t');
    };
    text += "HIERARCHY\n";
    for (std::size_t i = 0; i < kJoints.size(); ++i) {
        const JointInfo& joint = kJoints[i];
        indent(joint.depth).append(i == 0 ? "ROOT " : "JOINT ").append(joint.name) += '\n';
        indent(joint.depth) += "{\n";
        AppendOffset(text, joint.depth + 1, joint.offset);
        indent(joint.depth + 1) +=
            i == 0 ? "CHANNELS 6 Xposition Yposition Zposition Zrotation Yrotation Xrotation\n"
                   : "CHANNELS 3 Zrotation Yrotation Xrotation\n";
        if (!joint.leaf) continue;
        indent(joint.depth + 1) += "End Site\n";
        indent(joint.depth + 1) += "{\n";
        AppendOffset(text, joint.depth + 2, joint.end);
        indent(joint.depth + 1) += "}\n";
        const int nextDepth = i + 1 < kJoints.size() ? kJoints[i + 1].depth : 0;
        for (int depth = joint.depth; depth >= nextDepth; --depth) indent(depth) += "}\n";
    }
}

void AppendFrame(std::string& text, const Pose& pose, Noise& noise)
{
    for (const double value : {pose.position.x, pose.position.y, pose.position.z}) {
        AppendNumber(text, value + kPositionNoise * noise.Normal());
        text += ' ';
    }
    for (const Vector& angles : pose.rotation) {
        for (const double value : {angles.z, angles.y, angles.x}) {
            AppendNumber(text, value + kAngleNoise * noise.Normal());
            text += ' ';
        }
    }
    text.back() = '\n';
}

std::string MakeWalk()
{
    Noise noise;
    std::vector<std::array<Drift, 3>> drift;
    for (std::size_t i = 0; i < JointCount; ++i) {
        drift.push_back({Drift(noise, 0.2), Drift(noise, 0.2), Drift(noise, 0.2)});
    }
    std::string text;
    AppendHierarchy(text);
    text += "MOTION\nFrames: " + std::to_string(kFrameCount) + "\nFrame Time: 0.00833333\n";
    for (int frame = 0; frame < kFrameCount; ++frame) {
        const double seconds = static_cast<double>(frame) / kFramesPerSecond;
        Pose pose = WalkAt(seconds);
        for (std::size_t i = 0; i < JointCount; ++i) {
            pose.rotation[i].x += drift[i][0].At(seconds);
            pose.rotation[i].y += drift[i][1].At(seconds);
            pose.rotation[i].z += drift[i][2].At(seconds);
        }
        AppendFrame(text, pose, noise);
    }
    return text;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc > 2) {
        std::fputs("usage: make_walk [OUT.bvh]\n", stderr);
        return 2;
    }
    std::FILE* out = argc == 2 ? std::fopen(argv[1], "wb") : stdout;
    if (out == nullptr) {
        std::perror(argv[1]);
        return 1;
    }
    const std::string text = MakeWalk();
    const bool written = std::fwrite(text.data(), 1, text.size(), out) == text.size();
    if (std::fclose(out) != 0 || !written) {
        std::perror("make_walk");
        return 1;
    }
    return 0;
}
