#pragma once

/// \file
/// Long work asks now and then whether it is to go on.

namespace ymotion {

/// Ends work that the host does not want to go on.
struct Stopped
{};

/// What a host says to that, with an object of its own.
struct StopQuestion
{
    bool (*goesOn)(void* object) = nullptr;  ///< null: all work goes on
    void* object = nullptr;
};

/// Has the work of this thread ask this from here on.
/// \return  what it asked until now
StopQuestion SetStopQuestion(StopQuestion question);

/// Throws `Stopped` where the work is not to go on. For the rounds of loops that may take long.
void StopIfAsked();

}  // namespace ymotion
