#pragma once

#include "ybaselib/ytalo.h"

// Fields and blocks that are left at the end of the scope which entered them, whatever happens in it.

namespace yfc {

class [[nodiscard]] TaloReadField
{
  public:
    TaloReadField(YTalo& talo, const char* name) : mTalo(talo), mEntered(talo.FieldReadBegin(name)) {}
    ~TaloReadField()
    {
        if (mEntered) mTalo.FieldReadEnd();
    }
    TaloReadField(const TaloReadField&) = delete;
    TaloReadField& operator=(const TaloReadField&) = delete;

    /// Whether there was such a field.
    explicit operator bool() const { return mEntered; }

  private:
    YTalo& mTalo;
    bool mEntered;
};

class [[nodiscard]] TaloReadBlock
{
  public:
    explicit TaloReadBlock(YTalo& talo) : mTalo(talo), mEntered(talo.FieldReadBlockBegin()) {}
    ~TaloReadBlock()
    {
        if (mEntered) mTalo.FieldReadBlockEnd();
    }
    TaloReadBlock(const TaloReadBlock&) = delete;
    TaloReadBlock& operator=(const TaloReadBlock&) = delete;

    /// Whether the field has a block. Without one, named fields would be looked for around it.
    explicit operator bool() const { return mEntered; }

  private:
    YTalo& mTalo;
    bool mEntered;
};

}  // namespace yfc
