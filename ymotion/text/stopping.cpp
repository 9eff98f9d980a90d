#include "ymotion/text/stopping.h"

#include <chrono>
#include <utility>

namespace ymotion {
namespace {

using Clock = std::chrono::steady_clock;

thread_local StopQuestion questionOfThread;
thread_local Clock::time_point nextQuestion;

}  // namespace

StopQuestion SetStopQuestion(StopQuestion question)
{
    nextQuestion = {};
    return std::exchange(questionOfThread, question);
}

void StopIfAsked()
{
    const StopQuestion& question = questionOfThread;
    if (question.goesOn == nullptr) return;
    if (question.pause > 0 && Clock::now() < nextQuestion) return;
    StopIfAskedNow();
}

void StopIfAskedNow()
{
    const StopQuestion question = questionOfThread;
    if (question.goesOn == nullptr) return;
    if (!question.goesOn(question.object)) throw Stopped();
    if (question.pause > 0) nextQuestion = Clock::now() + std::chrono::milliseconds(question.pause);
}

}  // namespace ymotion
