#include "tests/xml_check.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <set>
#include <vector>

namespace {

class Checker
{
  public:
    explicit Checker(std::string_view text) : mText(text) {}

    std::string Fault()
    {
        while (mAt < mText.size() && mFault.empty()) {
            if (mText[mAt] == '<') {
                CheckTag();
            } else {
                CheckText('<');
            }
        }
        if (mFault.empty() && !mOpen.empty()) mFault = "never closed: " + mOpen.back();
        if (mFault.empty() && mRoots != 1) mFault = "not exactly one root";
        return mFault;
    }

  private:
    std::string Name()
    {
        const std::size_t begin = mAt;
        while (mAt < mText.size() &&
               (std::isalnum(static_cast<unsigned char>(mText[mAt])) || mText[mAt] == '-'))
            ++mAt;
        return std::string(mText.substr(begin, mAt - begin));
    }

    bool Take(char c)
    {
        if (mAt >= mText.size() || mText[mAt] != c) return false;
        ++mAt;
        return true;
    }

    void Blanks()
    {
        while (mAt < mText.size() && (mText[mAt] == ' ' || mText[mAt] == '\n')) ++mAt;
    }

    void Fail(const std::string& what) { mFault = what + " at " + std::string(mText.substr(mAt, 40)); }

    /// Character data up to `end`.
    void CheckText(char end)
    {
        constexpr std::array<std::string_view, 5> entities{"amp;", "lt;", "gt;", "quot;", "apos;"};
        for (; mAt < mText.size() && mText[mAt] != end; ++mAt) {
            const auto c = static_cast<unsigned char>(mText[mAt]);
            if (c < 0x20 && c != '\n' && c != '\t') return Fail("control character");
            if (c == '<') return Fail("'<' in an attribute");
            const auto follows = [&](std::string_view name) {
                return mText.substr(mAt + 1).starts_with(name);
            };
            if (c == '&' && std::none_of(entities.begin(), entities.end(), follows)) return Fail("bare '&'");
            if (end == '<' && mOpen.empty() && !std::isspace(c)) return Fail("text outside the root");
        }
    }

    void CheckTag()
    {
        ++mAt;
        if (Take('/')) {
            const std::string name = Name();
            if (mOpen.empty() || mOpen.back() != name || !Take('>')) return Fail("wrong end tag " + name);
            mOpen.pop_back();
            return;
        }
        const std::string name = Name();
        if (name.empty()) return Fail("no tag name");
        std::set<std::string> attributes;
        for (Blanks(); mAt < mText.size() && mText[mAt] != '>' && mText[mAt] != '/'; Blanks()) {
            const std::string attribute = Name();
            if (attribute.empty() || !attributes.insert(attribute).second) return Fail("bad attribute");
            if (!Take('=') || !Take('"')) return Fail("attribute without a quoted value");
            CheckText('"');
            if (!mFault.empty()) return;
            if (!Take('"')) return Fail("open quote");
        }
        if (mOpen.empty()) ++mRoots;
        if (Take('/')) {
            if (!Take('>')) Fail("bad empty tag");
            return;
        }
        if (!Take('>')) return Fail("open tag");
        mOpen.push_back(name);
    }

    std::string_view mText;
    std::size_t mAt = 0;
    int mRoots = 0;
    std::vector<std::string> mOpen;
    std::string mFault;
};

}  // namespace

std::string XmlFault(std::string_view text)
{
    return Checker(text).Fault();
}
