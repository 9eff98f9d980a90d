#pragma once

#include "ybaselib/yexport.h"
#include "ybaselib/ystring.h"

/// \file
/// What went wrong last.

/// Keeps the last error of an object: an identifier and a text for people. Identifiers count from 0 and
/// number the texts of a table that the owning class supplies.
class YBASELIB_EXPORT YError
{
  public:
    /// What `GetLastErrorID` gives while there is no error.
    static constexpr int NoError = -1;

    /// No table: errors have the text that they are given.
    YError() = default;

    /// \param messageTable  text number i is that of identifier i; a null entry is an empty text. Neither
    ///                      copied nor owned.
    /// \param messageCount  entries of the table.
    YError(const char* const* messageTable, int messageCount)
        : mMessageTable(messageTable), mMessageCount(messageCount)
    {}

    /// Notes an error with its text from the table, empty when the table has none for it. A negative
    /// identifier clears.
    void SetLastErrorID(int identifier) { SetLastError(identifier, nullptr); }

    /// Notes an error with a text of its own, which is copied; null takes the one from the table. When
    /// memory runs out the text is empty.
    void SetLastError(int identifier, const char* text);

    /// The identifier of the last error; `NoError` when there is none.
    int GetLastErrorID() const { return mIdentifier; }

    /// The text of the last error; never null, empty when there is none. Valid until the next change.
    const char* GetLastErrorString() const { return mText.Buffer(); }

    /// True while there is an error that has not been cleared.
    bool Error() const { return mIdentifier != NoError; }

    void Clear();

  private:
    const char* const* mMessageTable = nullptr;
    int mMessageCount = 0;
    int mIdentifier = NoError;
    YString mText;
};
