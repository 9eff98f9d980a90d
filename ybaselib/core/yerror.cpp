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
        // Out of memory: the identifier has to do.
    }
}

void YError::Clear()
{
    mIdentifier = NoError;
    mText.Clear();
}
