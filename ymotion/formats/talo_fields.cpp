#include "ymotion/formats/talo_fields.h"

#include <new>

#include "ybaselib/ytalo.h"

namespace ymotion {
namespace {

class TextOutput final : public YTaloOutput
{
  public:
    bool Write(const char* bytes, std::size_t count) override
    {
        try {
            mText.append(bytes, count);
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    std::string Take() { return std::move(mText); }

  private:
    std::string mText;
};

void CopyValue(YTalo& from, YTalo& to)
{
    switch (from.FieldReadGetType()) {
        case 'I':
            to.FieldWriteI(from.FieldReadI());
            break;
        case 'D':
            to.FieldWriteD(from.FieldReadD());
            break;
        case 'F':
            to.FieldWriteF(from.FieldReadF());
            break;
        case 'C':
            to.FieldWriteCH(from.FieldReadCH());
            break;
        case 'T':
            to.FieldWriteT(from.FieldReadT());
            break;
        default:
            to.FieldWriteS(from.FieldReadS());
    }
}

/// \return  how many fields there were.
int CopyRemaining(YTalo& from, YTalo& to)
{
    int count = 0;
    for (; const char* name = from.FieldReadNext(); ++count) {
        to.FieldWriteBegin(name);
        while (from.FieldReadGetRemain() > 0) CopyValue(from, to);
        if (from.FieldReadBlockBegin()) {
            to.FieldWriteBlockBegin();
            CopyRemaining(from, to);
            to.FieldWriteBlockEnd();
            from.FieldReadBlockEnd();
        }
        to.FieldWriteEnd();
        from.FieldReadEnd();
    }
    return count;
}

}  // namespace

std::string RemainingTaloFields(YTalo& talo)
{
    TextOutput output;
    YTalo copy;
    copy.OutputCreate(&output);
    const int count = CopyRemaining(talo, copy);
    if (!copy.FileClose()) throw std::bad_alloc();
    return count > 0 ? output.Take() : std::string();
}

void CopyTaloFields(std::string_view file, YTalo& to)
{
    if (file.empty()) return;
    YTalo from;
    if (!from.TextOpen(file.data(), file.size())) throw std::bad_alloc();
    CopyRemaining(from, to);
}

}  // namespace ymotion
