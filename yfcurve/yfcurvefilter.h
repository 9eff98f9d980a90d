#pragma once

#include "ybaselib/yerror.h"
#include "ybaselib/yobject.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// Filters: operations that rewrite the keys of a curve, of several curves, or of a node tree.
///
/// The way of a host: construct a filter (or `YFCurveFilterCreate`), set parameters and span, `Apply`, and
/// where that answers false, read the status.
///
///     YFCurveFilterOffset filter;
///     filter.SetOffset(10.0);
///     if (!filter.Apply(*curve)) puts(filter.GetLastErrorString());
///
/// The way of an author; one row in filters/filterclasses.cpp completes it. `ResetProperties` sets the
/// defaults of the class's own parameters, so that each stands once:
///
///     class YFCURVE_EXPORT YFCurveFilterLift : public YFCurveFilter  // yfcurvefilterlift.h
///     {
///       public:
///         static YClassDefinition& StaticClass();
///         YClassDefinition* GetClassDefinition() const override { return &StaticClass(); }
///         YFCurveFilterLift();
///         double GetHeight() const { return mHeight; }
///         void SetHeight(double height) { mHeight = height; }
///         bool Apply(YFCurve& curve) override;
///         bool Apply(YFCurve** curves, int count) override;         // these two call
///         bool Apply(YFCurveNode& node, bool recursive) override;  // YFCurveFilter::Apply
///         void Reset() override;
///       private:
///         double mHeight{};
///     };
///
///     using Filter = YFCurveFilterLift;  // filters/lift.cpp
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
///     YFCurveFilterLift::YFCurveFilterLift() : YFCurveFilter("Filter Lift", messages, 2) { Reset(); }
///     void Filter::Reset() { ResetProperties(StaticClass()); YFCurveFilter::Reset(); }
///     bool Filter::Apply(YFCurve& curve) { ... GetError().SetLastError(1, "..."); return false; }

class YFCurve;
class YFCurveNode;

/// What a filter has to see at once to do its work: the tag of its class (`YClassOptions::tag`). Hosts go
/// through a scene in these steps, and look between them whether the user wants to stop.
enum class eFilterScope : int
{
    Curve = 0,     ///< one curve; the usual case
    Property = 1,  ///< the node of one animated property with its children: a rotation, a set of curves
    Transform = 2  ///< the node that holds translation, rotation and scaling
};

/// Base of all filters of curves.
///
/// A filter holds its parameters, its span and its last status, and nothing of the curves that it has
/// filtered. It is used by one thread at a time. Curves that are locked are skipped silently.
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

    // --- Status ------------------------------------------------------------------------------------------

    /// What `Apply` has to say; it stays until the next message, even when a later `Apply` succeeds.
    YError& GetError() { return mError; }
    /// -1 while there has been no message.
    int GetLastErrorID() const { return mError.GetLastErrorID(); }
    const char* GetLastErrorString() const { return mError.GetLastErrorString(); }

    // --- Parameters by name ------------------------------------------------------------------------------

    /// Sets a parameter from text: see ypropertyvalue.h for the texts and `FastFindPropertyByName` for what
    /// there is to know about it. \return  false for an unknown name, and for a text that means no value in
    /// the range of the parameter.
    bool SetParameter(const char* name, const char* text);

    // --- Filtering ---------------------------------------------------------------------------------------

    /// Whether `Apply` has anything to do; filters that cannot tell answer true.
    virtual bool NeedApply(YFCurve& curve);
    /// Asks every curve and answers true whatever they say.
    virtual bool NeedApply(YFCurve** curves, int count);
    /// Likewise for the node's curve and, with `recursive`, all below it.
    virtual bool NeedApply(YFCurveNode& node, bool recursive);

    /// Filters one curve. \return  false for a locked curve (without a message), and when there is a message.
    virtual bool Apply(YFCurve& curve) = 0;
    /// Filters every curve that is not locked. \return  true, whatever the single filterings answer.
    virtual bool Apply(YFCurve** curves, int count) = 0;
    /// Filters, with `recursive`, the children that are not locked, and then the node's own curve.
    /// \return  true, whatever the single filterings answer.
    virtual bool Apply(YFCurveNode& node, bool recursive) = 0;

    /// Gives every parameter its default, the span included. The status stays.
    virtual void Reset();

  protected:
    /// An empty hook for those who show progress: called while a filter works, between the two times.
    virtual void UpdateProgressInformation(YTime start, YTime stop);

    /// The span starts as 0 to 0: a filter's constructor calls `Reset`.
    /// \param name          static.
    /// \param messageTable  the text of each status identifier, static; null for an empty one.
    YFCurveFilter(const char* name, const char* const* messageTable, int messageCount);

  private:
    const char* mName;
    YTime mStart;
    YTime mStop;
    YError mError;
};

/// A new filter of a class by the class's name, "YFCurveFilterOffset"; the caller ends it with `Destroy`.
/// \return  null for a name that is no filter's, for null, and when memory runs out.
YFCURVE_EXPORT YFCurveFilter* YFCurveFilterCreate(const char* className);
