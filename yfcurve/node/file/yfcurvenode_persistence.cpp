// A node, with its tree and its layers, as a field of a scene file.

#include <cstring>
#include <map>
#include <string>
#include <typeinfo>

#include "ybaselib/ytalo.h"
#include "yfcurve/curve/taloscope.h"
#include "yfcurve/node/tree/animationkeep.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/yfcurvetimewarpset.h"

using yfc::Guarded;
using yfc::NodeData;

namespace {

constexpr const char* kChannel = "Channel";
constexpr const char* kUserName = "UserName";
constexpr const char* kTimeWarp = "TimeWarpID";
constexpr const char* kLayerId = "LayerID";
constexpr const char* kLayerType = "LayerType";
constexpr const char* kLayerChannel = "LayerChannel";

// Of a name in a file, in bytes.
constexpr std::size_t kLongestName = 1023;

constexpr int kAxes = 3;

}  // namespace

// --- Writing -------------------------------------------------------------------------------------------

bool YFCurveNode::TaloStore(YTalo* talo, bool onlyDefaults, bool shortNames, bool noUserNames,
                            const char* fieldName, bool withColor, bool autoAsUser) const
{
    if (talo == nullptr) return false;
    const char* const letter = shortNames ? yfc::LetterOfType(GetDataType()) : nullptr;
    // Also ends what is deeper than a file can hold.
    if (!talo->FieldWriteBegin(fieldName)) return true;
    talo->FieldWriteS(letter != nullptr ? letter : GetName());
    talo->FieldWriteBlockBegin();
    if (!noUserNames && std::strcmp(GetTimeWarpName(), GetName()) != 0) {
        talo->FieldWriteS(kUserName, GetTimeWarpName());
    }
    int nick = 0;
    if (YFCurve_FindNickNumberFromTW(nick, TimeWarpGet())) talo->FieldWriteI(kTimeWarp, nick);
    if (const YFCurve* curve = FCurveGet()) {
        curve->TaloStore(talo, onlyDefaults, withColor, autoAsUser);
    } else {
        for (int i = 0; i < GetCount(); ++i) {
            Get(i)->TaloStore(talo, onlyDefaults, shortNames, noUserNames, kChannel, withColor, autoAsUser);
        }
    }
    if (GetLayerID() != 0) talo->FieldWriteI(kLayerId, GetLayerID());
    if (GetLayerType() != 0) talo->FieldWriteI(kLayerType, GetLayerType());
    const YFCurveNode* layer = LayerGet();
    if (layer != nullptr && !onlyDefaults) {
        layer->TaloStore(talo, false, shortNames, noUserNames, kLayerChannel, false, autoAsUser);
    }
    talo->FieldWriteBlockEnd();
    talo->FieldWriteEnd();
    return true;
}

// --- Finding the child that is meant -------------------------------------------------------------------

namespace {

YFCurveNode* ChildNamed(const YFCurveNode& parent, const char* name)
{
    return parent.Get(parent.Find(name));
}

// The children of a node by name, while the fields of a file are read into them one after another: that would
// take quadratic time if each looked through all children.
class ChildNames
{
  public:
    explicit ChildNames(const YFCurveNode& parent) : mParent(parent) {}

    // As `ChildNamed`.
    YFCurveNode* Find(const std::string& name)
    {
        constexpr int few = 32;
        if (mParent.GetCount() <= few || typeid(mParent) != typeid(YFCurveNode)) {
            return ChildNamed(mParent, name.c_str());
        }
        for (; mKnown < mParent.GetCount(); ++mKnown) {
            mIndices.emplace(mParent.Get(mKnown)->GetName(), mKnown);  // the first one of a name stays
        }
        const auto found = mIndices.find(name);
        return found != mIndices.end() ? mParent.Get(found->second) : nullptr;
    }

    const YFCurveNode& Parent() const { return mParent; }

  private:
    struct Before
    {
        bool operator()(const std::string& a, const std::string& b) const
        {
            return YStringCompareNoCase(a.c_str(), b.c_str()) < 0;
        }
    };

    const YFCurveNode& mParent;
    std::map<std::string, int, Before> mIndices;
    int mKnown = 0;
};

// A colour's components, by the names that the axes of a vector have.
const char* ColorComponent(const YDataType* type, const std::string& name)
{
    const bool color =
        type == YDataType::Get(eDataType::Color) || type == YDataType::Get(eDataType::ColorAndAlpha);
    if (!color) return nullptr;
    if (name == "X") return "R";
    if (name == "Y") return "G";
    if (name == "Z") return "B";
    return name == " " ? "A" : nullptr;
}

std::string WithoutSuffix(const std::string& name, std::size_t parenthesis)
{
    constexpr std::size_t mostSpaces = 2;
    std::size_t end = parenthesis;
    while (end > 0 && parenthesis - end < mostSpaces && name[end - 1] == ' ') --end;
    return name.substr(0, end);
}

YFCurveNode* FindChild(ChildNames& names, const std::string& name)
{
    const YFCurveNode& parent = names.Parent();
    if (YDataType* type = yfc::TypeOfLetter(name.c_str())) {
        if (YFCurveNode* child = parent.Find(type)) return child;
    }
    if (YFCurveNode* child = names.Find(name)) return child;
    if (const char* component = ColorComponent(parent.GetDataType(), name)) {
        if (YFCurveNode* child = names.Find(component)) return child;
    }
    const std::size_t parenthesis = name.find('(');
    return parenthesis != std::string::npos ? names.Find(WithoutSuffix(name, parenthesis)) : nullptr;
}

// --- Reading -------------------------------------------------------------------------------------------

struct ReadOptions
{
    bool onlyDefaults;
    bool createMissing;
    bool withColor;
};

void ReadBlock(YTalo& talo, YFCurveNode& node, const ReadOptions& options);

// When memory runs out while a file is read, the rest of it reads as empty: that must not pass for the file.
void CheckMemory(const YTalo& talo)
{
    if (talo.GetError().GetLastErrorID() == YTalo::eErrorMemory) throw std::bad_alloc();
}

// The name in the value of a field. A long one is cut between two characters.
std::string ReadName(YTalo& talo)
{
    std::string name = talo.FieldReadS();
    if (name.size() <= kLongestName) return name;
    const auto continues = [&](std::size_t byte) {
        return (static_cast<unsigned char>(name[byte]) & 0xC0u) == 0x80u;
    };
    constexpr std::size_t longestCharacter = 4;
    std::size_t end = kLongestName;
    while (end > kLongestName - longestCharacter && continues(end)) --end;
    name.resize(end);
    return name;
}

YFCurveNodePtr MakeNode(const std::string& name)
{
    return YFCurveNodePtr(new YFCurveNode(name.c_str(), name.c_str(), nullptr, YFCURVE_LAYERTYPE_COMPONENT,
                                          YFCurveLayerInfo::Base));
}

// A new child; null where the parent takes none.
YFCurveNode* AddChild(YFCurveNode& parent, const std::string& name)
{
    // A container would list it without owning it.
    if (parent.FCurveGet() != nullptr || parent.GetContainerType() != 0) return nullptr;
    YFCurveNodePtr made = MakeNode(name);
    if (parent.Add(made.get()) < 0) throw std::bad_alloc();
    return made.release();
}

// Reads the next field into the child that it means. Null when there is no such field any more.
YFCurveNode* ReadChild(YTalo& talo, YFCurveNode& parent, ChildNames& names, ReadOptions options)
{
    for (;; options.withColor = false) {
        const yfc::TaloReadField field(talo, kChannel);
        if (!field) return nullptr;
        const std::string name = ReadName(talo);
        YFCurveNode* node = FindChild(names, name);
        if (node == nullptr && options.createMissing) node = AddChild(parent, name);
        if (node == nullptr) continue;
        ReadBlock(talo, *node, options);
        YFCurveNode* const base = parent.ObjectLayerGet();
        if (node->GetLayerID() > 0 && base != &parent) {
            if (YFCurveNode* found = ChildNamed(*base, name.c_str())) yfc::JoinBase(*node, *found);
        }
        return node;
    }
}

// Reads the next field into a new node on its own. Null when there is none any more.
YFCurveNode* ReadNode(YTalo& talo, const ReadOptions& options)
{
    const yfc::TaloReadField field(talo, kChannel);
    if (!field) return nullptr;
    YFCurveNodePtr made = MakeNode(ReadName(talo));
    ReadBlock(talo, *made, options);
    CheckMemory(talo);
    return made.release();
}

// Reads the layer field into a new layer behind the node.
YFCurveNode* ReadLayer(YTalo& talo, YFCurveNode& node, bool onlyDefaults)
{
    const yfc::TaloReadField field(talo, kLayerChannel);
    if (!field) return nullptr;
    YFCurveNodePtr made(new YFCurveNode(node));
    yfc::LinkLayer(node, made.get(), true);
    YFCurveNode* const layer = made.release();  // the link's from here on
    yfc::SendEvent(*node.ObjectLayerGet(), YFCURVENODEEVENT_LAYER);
    ReadBlock(talo, *layer, {onlyDefaults, true, false});
    return layer;
}

void ReadChildren(YTalo& talo, YFCurveNode& node, const ReadOptions& options)
{
    ChildNames names(node);
    while (ReadChild(talo, node, names, options) != nullptr) {
    }
}

void ReadCurve(YTalo& talo, YFCurveNode& node, const ReadOptions& options)
{
    if (YFCurve* curve = node.FCurveGet()) {
        curve->TaloRetrieve(&talo, options.onlyDefaults, options.withColor);
        return;
    }
    YFCurvePtr curve(YFCurveCreate());
    if (!curve) throw std::bad_alloc();
    const bool read = curve->TaloRetrieve(&talo, options.onlyDefaults, options.withColor);
    if (read && node.GetCount() == 0) yfc::TakeCurve(node, std::move(curve));
}

// Components warp with the property that they belong to.
bool IsComponentOfBaseLayer(const YFCurveNode& node)
{
    const char* const name = node.GetName();
    const bool axis =
        std::strcmp(name, "X") == 0 || std::strcmp(name, "Y") == 0 || std::strcmp(name, "Z") == 0;
    return axis && node.GetParent() != nullptr && node.GetLayerID() == 0;
}

void ReadTimeWarp(YTalo& talo, YFCurveNode& node)
{
    const int nick = talo.FieldReadI(kTimeWarp, 0);
    YFCurveNode* const timeWarp = nick != 0 ? YFCurve_FindTWFromNickNumber(nick) : nullptr;
    if (nick != 0 && timeWarp == nullptr) talo.NoteLeftOut(YTalo::eLeftOutValues);
    if (timeWarp == nullptr) return;
    YFCurveNode& warped = IsComponentOfBaseLayer(node) ? *node.GetParent() : node;
    warped.TimeWarpSet(timeWarp);
}

void SetLayerKind(YFCurveNode& node, yfc::ELayerKind kind)
{
    node.SetLayerType(static_cast<int>(kind));
}

// Files may come from hosts that know other data types for the same property.
void FitLayerType(YFCurveNode& node)
{
    const YDataType* const type = node.GetDataType();
    const auto is = [type](eDataType other) { return type == YDataType::Get(other); };
    if (is(eDataType::LocalRotation) || std::strcmp(node.GetName(), "R") == 0) {
        const bool whole = node.GetCount() == kAxes;
        if (whole != node.IsRotationLayerType())
            SetLayerKind(node, whole ? yfc::ELayerKind::Rotation : yfc::ELayerKind::Component);
    } else if (is(eDataType::LocalTranslation) || is(eDataType::Translation)) {
        SetLayerKind(node, yfc::ELayerKind::Plain);
    } else if (is(eDataType::LocalScaling) || is(eDataType::Scaling)) {
        SetLayerKind(node, yfc::ELayerKind::Scaling);
    }
}

// Calls itself for each level of blocks: files have no more than `YTalo::MaximumDepth`.
void ReadBlock(YTalo& talo, YFCurveNode& node, const ReadOptions& options)
{
    if (const yfc::TaloReadBlock block(talo); block) {
        const char* const userName = talo.FieldReadS(kUserName, "");
        if (*userName != '\0') NodeData::Of(node).names->timeWarpName = userName;
        ReadCurve(talo, node, options);
        node.SetLayerInfo({talo.FieldReadI(kLayerId, 0), nullptr});
        node.SetLayerType(talo.FieldReadI(kLayerType, 0));
        ReadChildren(talo, node, options);
        ReadLayer(talo, node, options.onlyDefaults);
        ReadTimeWarp(talo, node);
        if (!options.onlyDefaults) talo.NoteUnreadFields();
    } else {
        node.SetLayerInfo(YFCurveLayerInfo::Base);
        SetLayerKind(node, yfc::ELayerKind::Component);
    }
    FitLayerType(node);
}

}  // namespace

bool YFCurveNode::TaloRetrieve(YTalo* talo, bool onlyDefaults, bool createMissing, bool withColor)
{
    if (talo == nullptr) return false;
    return yfc::Safely(*this, false, [&] {
        const yfc::TaloReadField field(*talo, kChannel);
        if (!field) return false;
        const YString name(talo->FieldReadS());
        mData->names->name = name;
        mData->names->timeWarpName = name;
        ReadBlock(*talo, *this, {onlyDefaults, createMissing, withColor});
        CheckMemory(*talo);
        return true;
    });
}

bool YFCurveNode::TaloInternalRetrieve(YTalo* talo, bool onlyDefaults, bool createMissing, bool withColor)
{
    if (talo == nullptr) return false;
    return yfc::Safely(*this, false, [&] {
        ReadBlock(*talo, *this, {onlyDefaults, createMissing, withColor});
        CheckMemory(*talo);
        return true;
    });
}

YFCurveNode* YFCurveNodeCreate(YTalo* talo, bool onlyDefaults, bool withColor)
{
    if (talo == nullptr) return nullptr;
    return Guarded([&] { return ReadNode(*talo, {onlyDefaults, true, withColor}); });
}

YFCurveNode* YFCurveNodeCreate(YTalo* talo, YFCurveNode* parent, bool onlyDefaults, bool createMissing,
                               bool withColor)
{
    if (talo == nullptr) return nullptr;
    const ReadOptions options = {onlyDefaults, createMissing, withColor};
    if (parent == nullptr) return createMissing ? YFCurveNodeCreate(talo, onlyDefaults, withColor) : nullptr;
    return yfc::Safely(*parent, static_cast<YFCurveNode*>(nullptr), [&] {
        ChildNames names(*parent);
        YFCurveNode* const child = ReadChild(*talo, *parent, names, options);
        CheckMemory(*talo);
        return child;
    });
}

YFCurveNode* YFCurveNodeLayerCreate(YTalo* talo, YFCurveNode* node, bool onlyDefaults)
{
    if (talo == nullptr || node == nullptr) return nullptr;
    return yfc::Safely(*node, static_cast<YFCurveNode*>(nullptr), [&] {
        YFCurveNode* const layer = ReadLayer(*talo, *node, onlyDefaults);
        CheckMemory(*talo);
        return layer;
    });
}
