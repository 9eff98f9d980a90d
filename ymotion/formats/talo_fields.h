#pragma once

#include <string>
#include <string_view>

class YTalo;

/// \file
/// What reading and writing scene files have in common.

namespace ymotion {

struct FileAge;

inline constexpr int kSceneVersion = 1;
inline constexpr const char* kSceneField = "Scene";
inline constexpr const char* kNodeField = "Channel";
inline constexpr const char* kJointField = "Joint";
inline constexpr const char* kQuaternionField = "QuaternionRotation";

/// The fields of the open block that have not been entered, as a scene file of their own; empty where there
/// is none.
std::string RemainingTaloFields(YTalo& talo);

/// Notes the layouts of all keys in the block of the field that is entered. The block is unread again
/// afterwards.
void NoteKeyLayouts(YTalo& talo, FileAge& age);

/// Writes the fields of such a file into the block that is open.
void CopyTaloFields(std::string_view file, YTalo& to);

}  // namespace ymotion
