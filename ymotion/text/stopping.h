#pragma once

/// \file
/// Long work asks now and then whether it is to go on.

namespace ymotion {

/// Ends work that the host does not want to go on.
struct Stopped
{};

/// A function of the host that says whether work is to go on.
struct StopQuestion
{
    bool (*goesOn)(void* object) = nullptr;  ///< null: all work goes on
    void* object = nullptr;                  ///< is given to the function
    int pause = 0;  ///< `StopIfAsked` calls it that many milliseconds after the last call
};

/// Sets the question that work on this thread asks.
/// \return  the one set before
StopQuestion SetStopQuestion(StopQuestion question);

/// Throws `Stopped` where the work is not to go on. For the rounds of loops that may take long.
void StopIfAsked();

/// The same without a pause: for where a signal has come, and for the last moment before work takes effect.
void StopIfAskedNow();

}  // namespace ymotion
