#include "ybaselib/yerror.h"

#include <exception>

void YError::SetLastError(int identifier, const char* text)
{
    Clear();
    if (identifier < 0) return;
    mIdentifier = identifier;
    if (text == nullptr && identifier < mMessageCount) text = mMessageTable[identifier];
    try {
        mText = text;
    } catch (const std::exception&) {
    }
}

void YError::Clear()
{
    mIdentifier = NoError;
    mText.Clear();
}
