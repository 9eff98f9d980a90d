#include "ymotion/text/stopping.h"

#include <utility>

namespace ymotion {
namespace {

thread_local StopQuestion questionOfThread;

}  // namespace

StopQuestion SetStopQuestion(StopQuestion question)
{
    return std::exchange(questionOfThread, question);
}

void StopIfAsked()
{
    const StopQuestion& question = questionOfThread;
    if (question.goesOn != nullptr && !question.goesOn(question.object)) throw Stopped();
}

}  // namespace ymotion
