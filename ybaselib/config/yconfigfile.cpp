#include "ybaselib/yconfigfile.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "ybaselib/config/configdocument.h"
#include "ybaselib/core/textfile.h"

namespace {

// The value of an environment variable; empty when it is not set.
std::string Environment(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// Empty when the environment names none.
std::string ConfigurationDirectory()
{
    if (std::string own = Environment("YBASELIB_CONFIG_DIR"); !own.empty()) return own;
    // The XDG base directory rules: a relative path there is invalid and ignored.
    if (const std::string xdg = Environment("XDG_CONFIG_HOME"); xdg.starts_with('/'))
        return xdg + "/ybaselib";
    if (const std::string home = Environment("HOME"); home.starts_with('/'))
        return home + "/.config/ybaselib";
    return {};
}

// Later changes of the current directory must not lead the file astray.
std::string Absolute(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    return error ? std::string() : absolute.string();
}

std::string OrEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

}  // namespace

class YConfigFile::Settings
{
  public:
    explicit Settings(const std::string& name)
    {
        std::string path = name;
        if (name.starts_with('@')) {
            mDirectory = ConfigurationDirectory();
            path = mDirectory.empty() ? "" : mDirectory + '/' + name.substr(1);
        }
        if (path.empty()) return;
        mPath = Absolute(path);
        if (!mDirectory.empty()) mDirectory = Absolute(mDirectory);
        if (ybase::ReadTextFile(mPath, MaximumFileSize, mText) == ybase::ReadResult::Unreadable)
            mPath.clear();
        mDocument = ybase::ConfigDocument(mText);
    }

    const char* Get(const std::string& section, const std::string& key, const char* defaultValue)
    {
        const std::optional<std::string> value = mDocument.Find(section, key);
        return value.has_value() ? mHandedOut.insert(*value).first->c_str() : defaultValue;
    }

    bool Set(ybase::ConfigEdit edit)
    {
        if (!edit.IsExpressible()) return false;
        if (mDocument.Find(edit.section, edit.key).has_value() && !edit.overwrites) return true;
        ybase::ConfigDocument changed = mDocument;
        if (!changed.Apply(edit)) return true;
        Remember(std::move(edit));
        mDocument = std::move(changed);
        return true;
    }

    bool Save()
    {
        if (mEdits.empty()) return true;
        if (mPath.empty()) return false;
        std::string onDisk;
        const ybase::ReadResult result = ybase::ReadTextFile(mPath, MaximumFileSize, onDisk);
        if (result == ybase::ReadResult::Unreadable) return false;
        if (onDisk != mText) Rebase(onDisk);
        if (!Write()) return false;
        mEdits.clear();
        return true;
    }

  private:
    void Remember(ybase::ConfigEdit edit)
    {
        const auto same = std::find_if(mEdits.begin(), mEdits.end(), [&](const ybase::ConfigEdit& pending) {
            return pending.IsForSameEntry(edit);
        });
        if (same == mEdits.end()) {
            mEdits.push_back(std::move(edit));
            return;
        }
        if (edit.comment.empty()) edit.comment = std::move(same->comment);
        *same = std::move(edit);
    }

    // Makes the pending edits once more, in what another program has written meanwhile.
    void Rebase(const std::string& text)
    {
        ybase::ConfigDocument document(text);
        for (const ybase::ConfigEdit& edit : mEdits) document.Apply(edit);
        mDocument = std::move(document);
        mText = text;
    }

    bool Write()
    {
        std::string text = mDocument.GetText();
        if (text == mText) return true;
        if (text.size() > MaximumFileSize) return false;
        if (!mDirectory.empty()) ybase::MakeDirectories(mDirectory);
        if (!ybase::ReplaceTextFile(mPath, text)) return false;
        mText = std::move(text);
        return true;
    }

    std::string mPath;       // absolute; empty when there is no file to write to
    std::string mDirectory;  // the one to make before writing, empty for none
    std::string mText;       // what the file held when last read or written
    ybase::ConfigDocument mDocument{std::string_view()};
    std::vector<ybase::ConfigEdit> mEdits;  // not written yet, the latest for each entry
    std::set<std::string> mHandedOut;       // values that stay valid
};

YConfigFile::YConfigFile(const char* name)
{
    try {
        mSettings = std::make_unique<Settings>(OrEmpty(name));
    } catch (const std::exception&) {
    }
}

YConfigFile::~YConfigFile()
{
    Save();
}

const char* YConfigFile::Get(const char* section, const char* key, const char* defaultValue)
{
    if (mSettings == nullptr) return defaultValue;
    try {
        return mSettings->Get(OrEmpty(section), OrEmpty(key), defaultValue);
    } catch (const std::exception&) {
        return defaultValue;
    }
}

const char* YConfigFile::GetOrSet(const char* section, const char* key, const char* defaultValue,
                                  const char* comment)
{
    if (mSettings == nullptr) return defaultValue;
    try {
        mSettings->Set({OrEmpty(section), OrEmpty(key), OrEmpty(defaultValue), OrEmpty(comment), false});
    } catch (const std::exception&) {
    }
    return Get(section, key, defaultValue);
}

bool YConfigFile::Set(const char* section, const char* key, const char* value, const char* comment)
{
    if (mSettings == nullptr) return false;
    try {
        return mSettings->Set({OrEmpty(section), OrEmpty(key), OrEmpty(value), OrEmpty(comment), true});
    } catch (const std::exception&) {
        return false;
    }
}

bool YConfigFile::Save()
{
    if (mSettings == nullptr) return false;
    try {
        return mSettings->Save();
    } catch (const std::exception&) {
        return false;
    }
}
