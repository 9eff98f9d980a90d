#pragma once

#include <functional>

#include "ybaselib/yerror.h"
#include "ybaselib/yobject.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// Filters: operations that rewrite the keys of a curve, of several curves, or of a node tree.
///
/// The way of a host: construct a filter (or `YFCurveFilterCreate`), set parameters and span, `Apply`, and
/// where that returns false, read the status.
///
///     YFCurveFilterOffset filter;
///     filter.SetOffset(10.0);
///     if (!filter.Apply(*curve)) puts(filter.GetLastErrorString());
///
/// The way of an author; one row in filters/framework/filterclasses.cpp completes it. Locks, arrays, trees
/// and `Reset` are seen to by the base:
///
///     class YFCURVE_EXPORT YFCurveFilterLift : public YFCurveFilterOf<YFCurveFilterLift>
///     {
///       public:
///         static YClassDefinition& StaticClass();
///         YFCurveFilterLift();
///         double GetHeight() const { return mHeight; }
///         void SetHeight(double height) { mHeight = height; }
///       protected:
///         bool FilterCurve(YFCurve& curve) override;
///       private:
///         double mHeight{};
///     };
///
///     using Filter = YFCurveFilterLift;  // filters/values/lift.cpp
///     constexpr const char* messages[] = {"No key", "Left unchanged"};
///     YClassDefinition& Filter::StaticClass()
///     {
///         static constexpr YPropertyDescription properties[] = {
///             YPropertyOf<&Filter::mHeight>("Height", 1.0, {.help = "how far up"})};
///         static constinit YClassDefinition definition(
///             "YFCurveFilterLift", &YFCurveFilter::StaticClass,
///             {.summary = "raises keys", .properties = properties, .create = &YCreateObject<Filter>});
///         return definition;
///     }
///     YFCurveFilterLift::YFCurveFilterLift() : YFCurveFilterOf("Filter Lift", messages, 2) { Reset(); }
///     bool Filter::FilterCurve(YFCurve& curve)
///     {
///         if (curve.KeyGetCount() == 0) return NothingToDo(0, "FilterLift, No key to be filtered.");
///         ...
///         return true;
///     }

class YFCurve;
class YFCurveNode;

/// What a filter has to see at once to do its work: the tag of its class (`YClassOptions::tag`). Hosts go
/// through a scene in these steps, and look between them whether the user wants to stop.
enum class eFilterScope : int
{
    Curve = 0,      ///< one curve; the usual case
    Property = 1,   ///< the node of one animated property with its children: a rotation, a set of curves
    Transform = 2,  ///< the node that holds translation, rotation and scaling
    Branch = 3      ///< as 2, of which the filter takes the topmost alone: what hangs on them moves along
};

/// How an application of a filter ended, whatever it says about it. Of several parts, the greatest counts.
enum class eFilterOutcome : int
{
    Locked = 0,        ///< nothing may be changed
    DoesNotApply = 1,  ///< the filter is for something else, as a rotation filter is at a translation
    NothingToDo = 2,   ///< without keys, or as it should be
    Refused = 3,       ///< the parameters, the span or the values make it impossible; all is as it was
    Changed = 4,       ///< filtered; what came out may still be what was there
    OutOfMemory = 5    ///< memory ran out; all is as it was
};

/// Base of all filters of curves.
///
/// A filter holds its parameters, its span and its last status, and nothing of the curves that it has
/// filtered. It is used by one thread at a time. Curves that are locked are skipped silently.
///
/// A period of one frame of the time mode stands for the frames themselves, each where `YTime::FromFrame` puts
/// it, also at rates such as 30000/1001 whose frames are no whole number of ticks. Other periods count ticks.
class YFCURVE_EXPORT YFCurveFilter : public YObject
{
  public:
    static YClassDefinition& StaticClass();
    YClassDefinition* GetClassDefinition() const override { return &StaticClass(); }

    /// Copies name, span and status.
    YFCurveFilter(const YFCurveFilter& source) = default;
    YFCurveFilter& operator=(const YFCurveFilter& source) = default;
    ~YFCurveFilter() override;

    /// The filter's name for people.
    const char* GetName() const { return mName; }

    eFilterScope GetScope() const;

    // --- Span --------------------------------------------------------------------------------------------

    /// The times between which a filter works, both included; minus infinity and infinity stand for the
    /// ends of a curve, and are what most filters start with.
    YTime& GetStartTime() { return mStart; }
    void SetStartTime(const YTime& start) { mStart = start; }
    YTime& GetStopTime() { return mStop; }
    void SetStopTime(const YTime& stop) { mStop = stop; }

    /// The first and the last key that the span reaches, -1 for a curve without keys. A span that starts or
    /// stops between two keys reaches the key outside it; one that misses the keys altogether, the nearest
    /// end key.
    int GetStartKey(YFCurve& curve) const;
    int GetStopKey(YFCurve& curve) const;

    /// Whether the filter heeds the start and stop time. Where it does not, they have no effect.
    virtual bool HasSpan() const { return true; }

    /// Whether angles that jump by a whole turn from one key to the next come out as a turn between the two, because
    /// the filter goes by what curves do between keys, or sets keys that do. `YFCurveFilterUnroll` applied before it
    /// takes the jumps out.
    virtual bool TakesJumpsForMotion() const { return false; }

    // --- Status ------------------------------------------------------------------------------------------

    /// What `Apply` has to say; it stays until the next message, even when a later `Apply` succeeds.
    YError& GetError() { return mError; }
    /// -1 while there has been no message.
    int GetLastErrorID() const { return mError.GetLastErrorID(); }
    const char* GetLastErrorString() const { return mError.GetLastErrorString(); }

    /// How the last `Apply` ended.
    eFilterOutcome GetOutcome() const { return mOutcome; }

    // --- Parameters by name ------------------------------------------------------------------------------

    /// Sets a parameter from text: see ypropertyvalue.h for the texts and `FastFindPropertyByName` for what
    /// there is to know about it.
    /// \return  false for an unknown name, and for a text that means no value in the range of the parameter.
    bool SetParameter(const char* name, const char* text);

    // --- Filtering ---------------------------------------------------------------------------------------

    /// Whether `Apply` has anything to do; true from filters that cannot tell.
    virtual bool NeedApply(YFCurve& curve);
    /// Asks every curve and returns true whatever they say.
    virtual bool NeedApply(YFCurve** curves, int count);
    /// Asks the node's curve and, with `recursive`, all below it, and returns true.
    virtual bool NeedApply(YFCurveNode& node, bool recursive);

    // A class that derives from this one directly implements all three, and may call those of the base. Where
    // memory runs out they refuse (false), and put all curves back as they were.

    /// Filters one curve.
    /// \return  false for a locked curve (without a message), and when there is a message.
    virtual bool Apply(YFCurve& curve) = 0;
    /// Filters every curve that is not locked.
    /// \return  true, whatever became of each; false for a null among them.
    virtual bool Apply(YFCurve** curves, int count) = 0;
    /// Filters, with `recursive`, the children that are not locked, and then the node's own curve. A lock on
    /// the node itself does not keep it from being filtered, but for filters that say so.
    ///
    /// The curves of a rotation in quaternion form (`YFCurveNode::SetUseQuaternion`) say little about the
    /// motion between its keys. Filters that say nothing else of such a rotation see the angles that play,
    /// and where they change any, leave it in the form of angles (as `YFCurveFilterQuatToEuler` does, to
    /// within 0.01 degrees), with the layers behind it; with a lock on one of these it stays as it is.
    /// \return  true, whatever became of each; with `recursive` false, and nothing is filtered, where there
    ///          are more than 1024 levels of nodes.
    virtual bool Apply(YFCurveNode& node, bool recursive) = 0;

    /// Gives every parameter its default, the span included. The status stays.
    virtual void Reset();

  protected:
    // --- What a filter does ------------------------------------------------------------------------------
    // These are called by the operations above, which return what these return. True stands for a change; a
    // filter that has not made one ends with one of the functions below. False without any of them is taken
    // as a refusal. Operations on curves and nodes that run out of memory do not return here: they throw
    // `std::bad_alloc` through the filter, which ends the application.

    /// Filters a curve that is not locked.
    virtual bool FilterCurve(YFCurve& curve);
    /// Filters curves, of which some may be locked; here, one by one those that are not.
    virtual bool FilterCurves(YFCurve** curves, int count);
    /// Filters a node; here, with `recursive`, the children that are not locked, and then its own curve.
    virtual bool FilterNode(YFCurveNode& node, bool recursive);
    /// Does the same for filters that remove keys or move them in time, and leave values alone: a rotation in
    /// quaternion form keeps the form, and gets keys on all three curves where one has any.
    bool FilterKeyTimes(YFCurveNode& node, bool recursive);
    /// Has work done to a rotation in quaternion form as one of angles, which it and the layers behind it
    /// become. Where one of these is locked, nothing is done; where the work changes nothing, nothing is
    /// converted.
    /// \return  what the work returns; false for a locked layer, and when memory runs out.
    bool FilterAsAngles(YFCurveNode& rotation, const std::function<bool(YFCurveNode& angles)>& work);

    /// All is as it should be.
    /// \return  true, there is no message.
    bool Untouched();
    /// \return  false, without a message.
    bool Locked();
    /// These set a message and return false.
    /// \param text  null: the generic text of the identifier.
    bool NothingToDo(int identifier, const char* text = nullptr);
    bool DoesNotApply(int identifier, const char* text = nullptr);
    bool Refuse(int identifier, const char* text = nullptr);
    /// With an outcome that has been found elsewhere.
    /// \return  whether it is a change.
    /// \param identifier  `YError::NoError` for no message.
    bool End(eFilterOutcome outcome, int identifier, const char* text);
    void SetOutcome(eFilterOutcome outcome) { mOutcome = outcome; }

    /// An empty hook for those who show progress: called while a filter works, between the two times.
    virtual void UpdateProgressInformation(YTime start, YTime stop);

    /// The span starts as 0 to 0: a filter's constructor calls `Reset`.
    /// \param name          static.
    /// \param messageTable  the text of each status identifier, static; null for an empty one.
    YFCurveFilter(const char* name, const char* const* messageTable, int messageCount);

  private:
    template<class Keep, class Work>
    bool Run(const Keep& keepAll, const Work& work);
    bool FilterParts(YFCurveNode& node, bool recursive);

    const char* mName;
    YTime mStart;
    YTime mStop;
    YError mError;
    eFilterOutcome mOutcome = eFilterOutcome::NothingToDo;
    int mLevel = 0;  // of the trees that are being filtered
};

/// What filter classes have alike. A filter derives from this, named itself, and implements `FilterCurve`,
/// or what it does instead with arrays and nodes.
template<class Filter>
class YFCURVE_EXPORT YFCurveFilterOf : public YFCurveFilter
{
  public:
    YClassDefinition* GetClassDefinition() const override { return &Filter::StaticClass(); }

    bool Apply(YFCurve& curve) override { return YFCurveFilter::Apply(curve); }
    bool Apply(YFCurve** curves, int count) override { return YFCurveFilter::Apply(curves, count); }
    bool Apply(YFCurveNode& node, bool recursive) override { return YFCurveFilter::Apply(node, recursive); }

    void Reset() override
    {
        ResetProperties(Filter::StaticClass());
        YFCurveFilter::Reset();
    }

  protected:
    using YFCurveFilter::YFCurveFilter;
};

/// A new filter of a class by the class's name, "YFCurveFilterOffset"; the caller ends it with `Destroy`.
/// \return  null for a name that is no filter's, for null, and when memory runs out.
YFCURVE_EXPORT YFCurveFilter* YFCurveFilterCreate(const char* className);
