#include "ybaselib/yspobjectholder.h"

#include <new>

namespace ybase {

// Shared by a holder and the references to its owner; goes with the last of them.
struct SpBlock
{
    ISpObjectHolder* owner;  // null once the holder is gone
    std::uint32_t shares;
};

namespace {

// Marks that a holder's word is the address of a block; addresses of both kinds are even.
constexpr std::uintptr_t blockTag = 1;
static_assert(alignof(ISpObjectHolder) > blockTag && alignof(SpBlock) > blockTag);

void DropShare(SpBlock* block)
{
    if (block != nullptr && --block->shares == 0) delete block;
}

}  // namespace
}  // namespace ybase

YSpObjectHolder::YSpObjectHolder(ISpObjectHolder* owner) : mWord(reinterpret_cast<std::uintptr_t>(owner)) {}

YSpObjectHolder::~YSpObjectHolder()
{
    ybase::SpBlock* block = GetBlock();
    if (block != nullptr) block->owner = nullptr;
    ybase::DropShare(block);
}

ISpObjectHolder* YSpObjectHolder::GetOwner() const
{
    const ybase::SpBlock* block = GetBlock();
    return block != nullptr ? block->owner : reinterpret_cast<ISpObjectHolder*>(mWord);
}

ybase::SpBlock* YSpObjectHolder::GetBlock() const
{
    if ((mWord & ybase::blockTag) == 0) return nullptr;
    return reinterpret_cast<ybase::SpBlock*>(mWord - ybase::blockTag);
}

ybase::SpBlock* YSpObjectHolder::GetOrCreateBlock()
{
    if (ybase::SpBlock* block = GetBlock()) return block;
    auto* block = new (std::nothrow) ybase::SpBlock{GetOwner(), 1};
    if (block != nullptr) mWord = reinterpret_cast<std::uintptr_t>(block) + ybase::blockTag;
    return block;
}

YSpReference::YSpReference(YSpObjectHolder* holder)
    : mBlock(holder != nullptr ? holder->GetOrCreateBlock() : nullptr)
{
    if (mBlock != nullptr) ++mBlock->shares;
}

YSpReference::YSpReference(const YSpReference& other) : mBlock(other.mBlock)
{
    if (mBlock != nullptr) ++mBlock->shares;
}

YSpReference::~YSpReference()
{
    ybase::DropShare(mBlock);
}

bool YSpReference::IsAlive() const
{
    return mBlock != nullptr && mBlock->owner != nullptr;
}
