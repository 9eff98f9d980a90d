#pragma once

#include <string>
#include <vector>

#include "ymotion/clipping/clip_tools.h"

/// \file
/// Clip tools one after the other.

namespace ymotion {

/// A word that a clip is described with: "trim=1:3", "mirror", "blend=0.2".
struct ClipWord
{
    const char* name;
    const char* value;  ///< what stands behind the "=", for people; null for nothing
    const char* help;
    /// What it does; null for a setting of other tools, which holds wherever it stands.
    ClipWork (*parse)(const std::string& value, const ClipSettings& settings);
    const char* tool = nullptr;  ///< of a setting: the tool that it is about
    bool repeats = false;        ///< of a setting: may be given several times
};

const std::vector<ClipWord>& ClipWords();

/// A tool with what it is to do.
struct ClipStep
{
    std::string text;  ///< as it was given
    ClipWork work;
};

/// Understands the words. Throws `Failure` for words that make no sense, for settings without a tool that
/// goes by them, and where there is no tool.
std::vector<ClipStep> ParseClip(const std::vector<std::string>& words);

/// What one tool did.
struct ClipOutcome
{
    std::string step;  ///< as it was given
    ClipChange change;
};

/// Does the steps in their order. Throws `Failure` for one that the scene does not take, and leaves the scene
/// half changed then.
std::vector<ClipOutcome> ApplyClip(Scene& scene, const std::vector<ClipStep>& steps);

}  // namespace ymotion
