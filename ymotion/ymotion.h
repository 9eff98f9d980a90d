#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ybaselib/yerror.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurvelayer.h"
#include "ymotion/ymotionexport.h"
#include "ymotion/ymotiontypes.h"

/// \file
/// Scenes of recorded motion: read from files, filtered, compared, drawn and written.
///
///     YMotion walk;
///     if (!walk.Load("walk.bvh")) return Report(walk.GetError().GetLastErrorString());
///     walk.Filter({"unroll", "butterworth:CutOffFreq=7"});
///     walk.Save("walk.ytalo");

class YFCurveNode;

/// Is told how far long work has come: `done` of `total` steps, 0 first.
/// \param object  as it was given with the function
/// \return  false stops the work
using YMotionProgress = bool (*)(std::size_t done, std::size_t total, void* object);

/// Lets a host end long work of its thread: to the end of the scope, all that scenes do on this thread asks
/// now and then whether it is to go on. Where not, it fails with `YMotion::eErrorStopped`, and the scene, or
/// the file on the disk, is what it was. Of several in each other the innermost is asked. Waiting for a pipe
/// asks where a signal comes.
///
/// What does not ask: functions of nodes and curves, so that a single curve, or a copy of the whole tree, is
/// done to its end; and the look through the text of a scene file that comes before its nodes are read.
class YMOTION_EXPORT YMotionStopping
{
  public:
    /// \param goesOn  is asked often, so has to be quick; it leaves the scenes alone
    /// \param object  is given to it
    /// \param pause   milliseconds from a call to the next, for a function that takes longer. Where a signal
    ///                has come, and just before a scene is changed, it is called without a pause.
    [[nodiscard]] explicit YMotionStopping(bool (*goesOn)(void* object), void* object = nullptr,
                                           int pause = 0);
    ~YMotionStopping();
    YMotionStopping(const YMotionStopping&) = delete;
    YMotionStopping& operator=(const YMotionStopping&) = delete;

  private:
    bool (*mOuter)(void* object);
    void* mObjectOfOuter;
    int mPauseOfOuter;
};

/// Where a scene is from, and what was left out of it: what a copy of it has to know beside its content.
struct YMotionOrigin
{
    /// Parts of one kind that were left out.
    struct LeftOut
    {
        int count = 0;
        std::int64_t line =
            0;  ///< of the first; 0 where the file is whole, and has more than a scene can hold
    };

    std::string path;  ///< of the file; empty for none
    std::string name;  ///< for messages
    int format = 1;    ///< a number for the kind of file, of no meaning elsewhere
    bool isPacked = false;
    std::vector<LeftOut> leftOut;
};

/// A scene: a skeleton, the tree of its curves, layers and a frame rate.
///
///     top node                  GetRoot
///       Hips                      a joint, see GetJoints
///         Lcl Translation           a property
///           X, Y, Z                   a curve each
///         Lcl Rotation
///           X, Y, Z
///         Spine                     a child joint
///
/// A scene file that was saved without a skeleton gives any other tree of properties. The tree is the
/// library's own (yfcurvenode.h): hosts read, evaluate and edit it as any other, and what they change is what
/// is filtered and saved. Its top node belongs to the scene, and what is below the top to its parents. The
/// nodes of joints have to stay where they are for as long as the scene has its skeleton.
///
/// Failures: what can fail returns false, or nothing, and leaves the scene as it was; `GetError` says why. No
/// exception leaves. Messages are one sentence: what is wrong, where, and what can be done; they name
/// commands of the program `yfcurve` where these tell more.
///
/// Choosing: `nodes` are patterns, each of which has to match something; none mean everything. A pattern is
/// one or more names joined by "/", which match the end of a path: "Hips", "Lcl Rotation/X",
/// "Hips/LeftUpLeg". In a name "*" stands for any text and "?" for one character; the case of ASCII letters
/// does not count. A "/" in front makes the pattern match whole paths only. A joint stands for its
/// properties, not for its child joints. `GetPattern` gives one that means a single node.
///
/// Paths: those of files, as the system has them. "-" is standard input where a file is read, and standard
/// output where one is written.
///
/// Threads: a scene belongs to one thread at a time, and so do its nodes and curves. Different scenes may be
/// loaded, edited, filtered, saved and ended by different threads at the same time.
class YMOTION_EXPORT YMotion
{
  public:
    /// What `GetError().GetLastErrorID()` tells apart.
    enum EErrorID : int
    {
        eErrorFile,  ///< a file cannot be read, understood or written, or a scene does not take what is asked
        eErrorRequest,  ///< what is asked makes no sense for any scene: an unknown filter, a parameter out of
                        ///< range
        eErrorStopped,  ///< the progress function said so, or that of a `YMotionStopping`
        eErrorMemory,   ///< memory has run out
        eErrorUnmatched  ///< a pattern matches no node of the scene
    };

    /// A scene without a skeleton and curves, of 30 frames a second.
    YMotion();
    ~YMotion();
    YMotion(const YMotion&) = delete;
    YMotion& operator=(const YMotion&) = delete;
    /// The scene moved from is good for `Load` and its end alone.
    YMotion(YMotion&& other) noexcept;
    YMotion& operator=(YMotion&& other) noexcept;

    /// The failure of the last call that can fail; none after one that succeeded.
    const YError& GetError() const { return mError; }

    /// What the last `Load`, `Save`, `SaveText`, `Filter` or `Join` had to tell that is no failure: what was
    /// left out of a damaged file, what a format has no place for, other names of a file that keep the
    /// content of before (hard links), motion that makes no good input for a filter.
    const std::vector<std::string>& GetNotes() const { return mNotes; }

    /// \name Files
    /// @{

    /// Reads a file in the format that its content shows, whatever its name: BVH, glTF (one animation of it)
    /// or a scene file, each also packed by gzip. Takes the place of what the scene was, pointers to nodes
    /// and curves included. Damaged parts are left out, with a note; files of more than 4 GiB are refused.
    bool Load(const char* path, const YMotionReading& reading = {});
    /// The same of the content of a file, which is not needed afterwards.
    /// \param name  for messages
    bool LoadText(const char* text, std::size_t size, const char* name, const YMotionReading& reading = {});
    /// The names of all animations of the glTF file that was loaded; empty for other formats.
    std::vector<std::string> GetAnimations() const;

    /// Writes a file, whole or not at all: what was there stays until all is on the disk. A BVH file gets the
    /// skeleton, and what plays with all layers at each frame; a glTF file (.glb, .gltf) the same with as few
    /// keys as play it within 0.01 degrees; a scene file (.ytalo) gets everything. With ".gz" behind that it
    /// is packed. A clip (.yclip) gets what plays, for players (yfcurveclip.h), and is not loaded again.
    /// \param format  "bvh", "glb", "gltf", "ytalo" or "yclip", or "bvh.gz" and so on; null goes by the ending
    ///                of the path, and for "-" by what was loaded
    /// \param repair  allows that the file that was loaded, and of which something was left out, is replaced
    bool Save(const char* path, const char* format = nullptr, bool repair = false,
              const YMotionWriting& writing = {});
    /// The same into memory.
    /// \param text    gets the content of the file
    /// \param format  null for that of the file that was loaded, a scene file without one
    bool SaveText(std::string& text, const char* format = nullptr, const YMotionWriting& writing = {}) const;

    /// Writes a table of what the scene shows (.csv, .tsv or .json by the ending), whole or not at all. Refused
    /// for more than 100 million rows.
    bool SaveTable(const char* path, const YMotionTable& table = {});
    /// The same into memory, for up to a million rows.
    /// \param format  "csv", "tsv" (tabs) or "json"
    bool SaveTableText(std::string& text, const char* format, const YMotionTable& table = {}) const;

    /// All that the chosen curves have of their keys as JSON, digit for digit, as docs/keys.schema.json
    /// describes.
    /// \param layers  ids of those whose keys are wanted; none for the base layer
    bool SaveKeysText(std::string& text, const std::vector<std::string>& nodes = {},
                      const std::vector<int>& layers = {}) const;
    /// Gives the curves that such a text names its keys in place of theirs; other curves stay.
    /// A text that does not fit changes nothing; where memory runs out, some curves may have their keys already.
    /// \param name    for messages
    /// \param curves  gets, unless null, how many curves were given their keys
    /// \param keys    gets, unless null, how many keys these have now
    bool LoadKeysText(const char* text, std::size_t size, const char* name, int* curves = nullptr,
                      int* keys = nullptr);

    /// Takes the place of what the scene was, as `Load` does, by all that another scene has, also what files
    /// do not keep: locks, selected keys and types of nodes. Listeners and candidates stay with the other
    /// one.
    bool CopyFrom(const YMotion& other);

    /// Where the scene is from. A scene that gets the content of another one and its origin is a full copy:
    /// it is saved in the same format, and refuses to replace a damaged file as the other one does.
    YMotionOrigin GetOrigin() const;
    bool SetOrigin(const YMotionOrigin& origin);

    /// @}
    /// \name What is in it
    /// @{

    /// The top of the tree. Never null but after a move, or when there was no memory to make a scene.
    YFCurveNode* GetRoot() const;
    /// Joints and end sites, parents before children, in the order of the file; none without a skeleton.
    std::vector<YMotionJoint> GetJoints() const;
    /// The chosen curves of the base layer, in the order of the tree.
    bool GetCurves(std::vector<YMotionCurve>& curves, const std::vector<std::string>& nodes = {}) const;

    /// The chosen nodes by themselves, in the order of the tree: joints, properties and components. Nothing
    /// below the top is left out without a pattern.
    bool GetNodes(std::vector<YFCurveNode*>& chosen, const std::vector<std::string>& nodes = {}) const;
    /// The pattern that means a node of a scene's tree alone, whatever others are called, until nodes are added or
    /// removed; of the top, everything. A node on a layer stands for what it is a layer of. It holds a zero character
    /// and what only these functions understand.
    static std::string GetPattern(const YFCurveNode& node);

    /// Frames a second, as the file says; rounded where the fraction is too large for the type.
    YFrameRate GetFrameRate() const;
    /// Changes at which frames a BVH file is written, errors are taken and filters work. Keys stay where they
    /// are. Refused for rates that are not above 0 or have frames shorter than a microsecond or longer than a
    /// million seconds.
    bool SetFrameRate(YFrameRate rate);
    /// What a person should know of the scene before using it: what was left out of the file, what it says of
    /// its age, values and times out of range, names, rotations, span, frame rate and layers. What is wrong
    /// comes first.
    bool Check(std::vector<YMotionFinding>& findings) const;

    /// The times of the first and the last key of all curves on all layers, and of the weights of layers that move
    /// something.
    /// \return  false without keys, which is no failure
    bool GetSpan(YTime& start, YTime& stop) const;

    /// What plays: the chosen curves with all layers above them at given times.
    /// \param values  gets, for each time, the values of the curves in the order of `GetCurves`: row by row
    bool Sample(std::vector<float>& values, const std::vector<YTime>& times,
                const std::vector<std::string>& nodes = {}) const;

    /// Where the joints are in the world and how they are turned, with all layers. Refused without a
    /// skeleton.
    /// \param poses  gets, for each time, one pose for each of `GetJoints`: row by row
    bool GetPoses(std::vector<YMotionPose>& poses, const std::vector<YTime>& times) const;

    /// A time as people write it: in seconds ("1.5"), in frames ("45f") or as a time code ("00:00:01:15"),
    /// which are those of the scene's rate.
    bool ParseTime(const char* text, YTime& time) const;

    /// A rate as people write it: "30", "12.5", "24000/1001"; "29.97" and the like mean the rates of video
    /// that they are short for. Rounded where the fraction is too large for the type.
    /// \return  the invalid rate 0/1 for what `SetFrameRate` would refuse
    static YFrameRate ParseFrameRate(const char* text);
    /// The exact time of a frame counted from time 0, at any rate that `SetFrameRate` takes; at most
    /// infinity.
    static YTime GetFrameTime(std::int64_t frame, YFrameRate rate);
    /// The time of a frame counted from a first one. Where that one is a frame counted from time 0, so are all, to
    /// the tick: those of 23.976 a second are not evenly apart in ticks.
    static YTime GetFrameTime(YTime first, std::int64_t frame, YFrameRate rate);
    /// The last frame that is not later, but for a tick or two of rounding, than a time from 0 up, at such a rate.
    static std::int64_t GetLastFrame(YTime time, YFrameRate rate);

    /// @}
    /// \name Layers
    /// @{

    /// From the base layer up.
    std::vector<YMotionLayer> GetLayers() const;
    /// A new layer on top of all others, additive and with weight 1. No property is on it yet: see `PutOnLayer`.
    /// \param name  of its own, and not empty
    /// \return  its id; -1 where it is refused
    int AddLayer(const char* name);
    /// The node of a property of this scene on the layer of that id, made where it is missing, of the layer type that
    /// the layer's modes ask for. Null where there is no such layer, the property takes none, or memory runs out.
    /// Open a step around it where an undo listens (`YFCurveUndo`): else the node and its layer type are two.
    YFCurveNode* PutOnLayer(YFCurveNode& property, int id);
    /// Whether a node can be put on layers: a property can, and a group of curves that are none by themselves, but no
    /// component of a property and no joint.
    static bool TakesLayers(const YFCurveNode& node);
    /// Gives the layer of that id the name, the buttons and the modes. Rotations by channel and scalings that add up
    /// have their effect by the layer type that its nodes get; components of scalings without keys that changed
    /// nothing go on changing nothing. An undo (`YFCurveUndo`) takes back the layer types of nodes and not the modes:
    /// give it an action that sets these.
    bool SetLayer(const YMotionLayer& layer);
    /// Removes a layer together with its nodes, keys included. Refused for the base layer and for locked ones.
    bool RemoveLayer(int id);
    /// What nodes are told about a layer. Of an id that there is not: `YFCurveLayerInfo::Base`.
    YFCurveLayerInfo GetLayerInfo(int id) const;

    /// Makes one layer of several, such that all layers together play as before. Keys and tangents are
    /// combined as they are where layers add up under constant weights; the motion is sampled elsewhere.
    /// \param ids     layers that play; none for all that do
    /// \param target  the layer that holds the result, one of them or another; -1 for the lowest of them
    /// \param report  gets the properties that were merged unless null
    bool MergeLayers(const std::vector<int>& ids, int target = -1, const YMotionPlotting& options = {},
                     std::vector<YMotionPlottedProperty>* report = nullptr);
    /// Gives a layer keys with which all layers together show what they show already, or what another scene
    /// shows for the properties of the same paths.
    /// \param from    null for the scene itself
    /// \param report  gets the properties that were plotted unless null
    bool PlotIntoLayer(int layer, const YMotion* from = nullptr, const YMotionPlotting& options = {},
                       std::vector<YMotionPlottedProperty>* report = nullptr);

    /// @}
    /// \name Work
    /// @{

    /// The filters that there are, with what they take.
    static std::vector<YMotionFilter> GetFilters();

    /// Applies filters to the chosen curves of a layer, one after the other.
    ///
    /// A filter is its name and, behind a colon, parameters between commas: "unroll",
    /// "key-reducer:Precision=0.1", "butterworth:CutOffFreq=7,Stop=2.5". Times are seconds (2.5), frames
    /// (75f) or time codes (00:00:02:15) at the scene's rate; rates and periods are the scene's unless given.
    /// A filter is applied to every chosen curve, property or joint, as it works on. What it is not for is
    /// skipped. Where it refuses, the report says why; one that refuses wherever it has anything to do is a failure.
    /// Locked curves are left alone. When memory runs out it fails, and curves are as they were as far as
    /// there is memory to put them back.
    /// \param report  gets what was done unless null, also of filters that all refused
    /// \param object  is given to `progress`
    /// \param page    gets, unless null, the report as a page of HTML that needs no other file, with plots of
    ///                before and after
    /// \param layer   the id of the layer; on others than the base, filters that work on whole joints or change
    ///                the form of rotations are refused, and deviations are those of the layer's own curves
    bool Filter(const std::vector<std::string>& filters, const std::vector<std::string>& nodes = {},
                YMotionFilterReport* report = nullptr, YMotionProgress progress = nullptr,
                void* object = nullptr, std::string* page = nullptr, int layer = 0);

    /// Cuts, retimes and changes all that plays: every curve on every layer, and the skeleton with it. Steps
    /// are done one after the other, and are written as the options of `yfcurve clip` without their dashes,
    /// with "=" in front of a value: "trim=1:3", "speed=0.5", "loop=4", "mirror", "order=XZY",
    /// "rename=Hips=Pelvis". Those that say how others work hold for all of them: "blend=0.2", "resample",
    /// "keep-times", "pairs=Lf=Rt". Times are seconds ("1.5"), frames ("45f") or time codes ("00:00:01:15").
    /// Locked layers and curves are refused where they would have to change. The tree is made anew: pointers
    /// to nodes and curves of before are no longer good, and hosts that listen to them do so again.
    /// \param report  gets a sentence for each step unless null: what was done, or why there was nothing to
    ///                do
    /// \param world   gets, unless null, how far joints are from where the steps were to bring them, at
    ///                frames and half-way between; moments that are new, as in a blend, do not count
    bool Clip(const std::vector<std::string>& steps, std::vector<std::string>* report = nullptr,
              YMotionWorldReport* world = nullptr);

    /// Lets another scene of the same skeleton play behind this one, which keeps its frame rate. Refused for
    /// scenes with a property on a layer. The tree is made anew, as by `Clip`.
    /// \param blend  how long the one fades into the other, which starts so much earlier: 0, or up to half of
    ///               either scene
    /// \param align  moves the other scene over the ground, and turns it about the vertical axis Y, so that
    ///               its first root goes on from where this one's is when it starts
    bool Join(const YMotion& next, YTime blend = YTIME_ZERO, bool align = false);

    /// Leaves the fewest keys with which no joint and end site comes away from its place in the world by more
    /// than a distance, at any frame and half-way between two. Keys are smooth and cubic, see
    /// yfcurvefilterfit.h. Fails for a scene without a skeleton.
    /// \param tolerance  in the file's measure of length
    /// \param contacts   feet that stand stay within a tenth of it
    bool Reduce(double tolerance, bool contacts = false, YMotionFilterReport* report = nullptr,
                YMotionProgress progress = nullptr, void* object = nullptr);
    /// The same with lengths as people write them, or for a number of keys.
    /// \param page  as of `Filter`
    bool Reduce(const YMotionReduction& wanted, YMotionFilterReport* report = nullptr,
                YMotionProgress progress = nullptr, void* object = nullptr, std::string* page = nullptr);

    /// Compares with another scene, curve by curve: those of one path are a pair on each layer. Layers, the
    /// frame rate, what curves do beyond their keys and, where both have one, the skeleton are compared as
    /// well.
    /// \param tolerance    differences of values up to this are none; from 0 up
    /// \param orientation  compares rotations as they play, by the angle between the orientations
    /// \return  whether it could be compared; `difference` says with what result
    bool Compare(const YMotion& other, YMotionDifference& difference, double tolerance = 0.0,
                 bool orientation = false) const;

    /// Compares where joints of the same paths ("Hips/Spine/Head") are in the world, at every key of either
    /// scene, every frame of this one and half-way between; of more than 100,000 frames at every n-th. Fails
    /// unless both scenes have a skeleton.
    /// \param tolerance  distances up to this are none; from 0 up, in the files' own units
    bool CompareWorld(const YMotion& other, YMotionWorldDifference& difference, double tolerance = 0.0) const;

    /// Draws curves as an SVG document, one panel for each property above the other.
    bool PlotSvg(std::string& svg, const YMotionPlotOptions& options = {}) const;

    /// @}

  private:
    struct Data;

    template<class Act>
    bool Try(const Act& act) const;
    Data& Get() const;
    void Take(std::unique_ptr<Data> data, std::vector<std::string> notes);

    std::unique_ptr<Data> mData;
    mutable std::vector<std::string> mNotes;
    mutable YError mError;
};
