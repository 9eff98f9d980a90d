#include "ybaselib/ytalo.h"

#include <exception>

#include "ybaselib/scenefile/taloreader.h"
#include "ybaselib/scenefile/talowriter.h"

YTaloOutput::~YTaloOutput() = default;

YTalo::YTalo() = default;

YTalo::~YTalo() = default;

void YTalo::Reset()
{
    mReader.reset();
    mWriter.reset();
    for (LeftOut& leftOut : mLeftOut) leftOut = {};
    mHasEndMark = false;
    mError.Clear();
    mErrorLine = 0;
    mErrorColumn = 0;
}

// The first error is the one that explains the others.
void YTalo::NoteError(int identifier, const char* text, std::int64_t line, std::int64_t column)
{
    if (mError.Error()) return;
    mError.SetLastError(identifier, text);
    mErrorLine = line;
    mErrorColumn = column;
}

// Whatever is thrown below here is for want of memory.
template<class Result, class Act>
Result YTalo::Guard(Result refusal, Act act)
{
    try {
        return act();
    } catch (const std::exception&) {
        NoteError(eErrorMemory, "memory ran out");
        return refusal;
    }
}

template<class Act>
bool YTalo::Open(Act act)
{
    Reset();
    const bool opened = Guard(false, [&] {
        mReader = std::make_unique<ybase::TaloReader>(*this);
        return act(*mReader);
    });
    if (!opened) mReader.reset();
    return opened;
}

template<class... Arguments>
bool YTalo::Write(bool (ybase::TaloWriter::*act)(Arguments...), Arguments... arguments)
{
    if (mWriter == nullptr) NoteError(eErrorUsage, "no file is being written");
    return mWriter != nullptr && Guard(false, [&] { return (*mWriter.*act)(arguments...); });
}

// The next value, or else `otherwise`.
template<class Value>
Value YTalo::Take(Value (ybase::TaloReader::*act)(bool&), Value otherwise)
{
    if (mReader == nullptr) return otherwise;
    bool converts = false;
    const Value value = Guard(otherwise, [&] { return (*mReader.*act)(converts); });
    if (!converts) mReader->NoteLeftOut(eLeftOutValues, 1);
    return converts ? value : otherwise;
}

template<class Value>
Value YTalo::TakeNamed(Value (ybase::TaloReader::*act)(bool&), const char* name, Value otherwise)
{
    if (!FieldReadBegin(name)) return otherwise;
    const Value value = Take(act, otherwise);
    FieldReadEnd();
    return value;
}

bool YTalo::FileCreate(const char* path)
{
    Reset();
    return Guard(false, [&] {
        mWriter = std::make_unique<ybase::TaloWriter>(*this);
        return mWriter->CreateFile(path);
    });
}

bool YTalo::OutputCreate(YTaloOutput* output)
{
    Reset();
    if (output == nullptr) {
        NoteError(eErrorUsage, "there is nothing to write to");
        return false;
    }
    return Guard(false, [&] {
        mWriter = std::make_unique<ybase::TaloWriter>(*this);
        return mWriter->CreateOutput(*output);
    });
}

bool YTalo::FileOpen(const char* path)
{
    return Open([path](ybase::TaloReader& reader) { return reader.OpenFile(path != nullptr ? path : ""); });
}

bool YTalo::TextOpen(const char* text, std::size_t size)
{
    return Open([=](ybase::TaloReader& reader) { return reader.OpenText(text, size); });
}

bool YTalo::FileClose()
{
    const bool good = Guard(false, [this] {
        if (mWriter != nullptr) return mWriter->Close();
        return mReader != nullptr && mReader->Close();
    });
    mWriter.reset();
    mReader.reset();
    return good;
}

bool YTalo::FieldWriteBegin(const char* name)
{
    return Write(&ybase::TaloWriter::BeginField, name);
}

bool YTalo::FieldWriteI(int value)
{
    return Write(&ybase::TaloWriter::AddInteger, value);
}

bool YTalo::FieldWriteD(double value)
{
    return Write(&ybase::TaloWriter::AddDouble, value);
}

bool YTalo::FieldWriteF(float value)
{
    return Write(&ybase::TaloWriter::AddFloat, value);
}

bool YTalo::FieldWriteShortD(float value)
{
    return Write(&ybase::TaloWriter::AddShortDouble, value);
}

bool YTalo::FieldWriteCH(char value)
{
    return Write(&ybase::TaloWriter::AddCharacter, value);
}

bool YTalo::FieldWriteS(const char* value)
{
    return Write(&ybase::TaloWriter::AddString, value);
}

bool YTalo::FieldWriteT(YTime value)
{
    return Write(&ybase::TaloWriter::AddTime, value);
}

bool YTalo::FieldWriteBlockBegin()
{
    return Write(&ybase::TaloWriter::BeginBlock);
}

bool YTalo::FieldWriteBlockEnd()
{
    return Write(&ybase::TaloWriter::EndBlock);
}

bool YTalo::FieldWriteEnd()
{
    return Write(&ybase::TaloWriter::EndField);
}

bool YTalo::FieldWriteI(const char* name, int value)
{
    return FieldWriteBegin(name) && FieldWriteI(value) && FieldWriteEnd();
}

bool YTalo::FieldWriteD(const char* name, double value)
{
    return FieldWriteBegin(name) && FieldWriteD(value) && FieldWriteEnd();
}

bool YTalo::FieldWriteF(const char* name, float value)
{
    return FieldWriteBegin(name) && FieldWriteF(value) && FieldWriteEnd();
}

bool YTalo::FieldWriteShortD(const char* name, float value)
{
    return FieldWriteBegin(name) && FieldWriteShortD(value) && FieldWriteEnd();
}

bool YTalo::FieldWriteCH(const char* name, char value)
{
    return FieldWriteBegin(name) && FieldWriteCH(value) && FieldWriteEnd();
}

bool YTalo::FieldWriteS(const char* name, const char* value)
{
    return FieldWriteBegin(name) && FieldWriteS(value) && FieldWriteEnd();
}

bool YTalo::FieldWriteT(const char* name, YTime value)
{
    return FieldWriteBegin(name) && FieldWriteT(value) && FieldWriteEnd();
}

bool YTalo::FieldReadBegin(const char* name)
{
    return mReader != nullptr && Guard(false, [&] { return mReader->BeginField(name); });
}

const char* YTalo::FieldReadNext()
{
    if (mReader == nullptr) return nullptr;
    return Guard(static_cast<const char*>(nullptr), [this] { return mReader->NextField(); });
}

void YTalo::NoteLeftOut(ELeftOut what, int count)
{
    if (mReader != nullptr && count > 0) mReader->NoteLeftOut(what, count);
}

void YTalo::NoteUnreadFields()
{
    if (mReader != nullptr) mReader->NoteUnreadFields();
}

std::int64_t YTalo::FieldReadGetLine()
{
    return mReader != nullptr ? Guard(std::int64_t{0}, [this] { return mReader->GetLine(); }) : 0;
}

void YTalo::FieldReadEnd()
{
    if (mReader != nullptr) mReader->EndField();
}

bool YTalo::FieldReadBlockBegin()
{
    return mReader != nullptr && Guard(false, [this] { return mReader->BeginBlock(); });
}

void YTalo::FieldReadBlockEnd()
{
    if (mReader != nullptr) mReader->EndBlock();
}

char YTalo::FieldReadGetType()
{
    return mReader != nullptr ? Guard('\0', [this] { return mReader->GetType(); }) : '\0';
}

int YTalo::FieldReadGetRemain()
{
    return mReader != nullptr ? mReader->GetRemain() : 0;
}

int YTalo::FieldReadI()
{
    return Take(&ybase::TaloReader::TakeInteger, 0);
}

double YTalo::FieldReadD()
{
    return Take(&ybase::TaloReader::TakeDouble, 0.0);
}

float YTalo::FieldReadF()
{
    return Take(&ybase::TaloReader::TakeFloat, 0.0f);
}

char YTalo::FieldReadCH()
{
    return Take(&ybase::TaloReader::TakeCharacter, '\0');
}

YTime YTalo::FieldReadT()
{
    return Take(&ybase::TaloReader::TakeTime, YTime());
}

const char* YTalo::FieldReadS()
{
    return Take(&ybase::TaloReader::TakeString, static_cast<const char*>(""));
}

int YTalo::FieldReadI(const char* name, int defaultValue)
{
    return TakeNamed(&ybase::TaloReader::TakeInteger, name, defaultValue);
}

double YTalo::FieldReadD(const char* name, double defaultValue)
{
    return TakeNamed(&ybase::TaloReader::TakeDouble, name, defaultValue);
}

float YTalo::FieldReadF(const char* name, float defaultValue)
{
    return TakeNamed(&ybase::TaloReader::TakeFloat, name, defaultValue);
}

char YTalo::FieldReadCH(const char* name, char defaultValue)
{
    return TakeNamed(&ybase::TaloReader::TakeCharacter, name, defaultValue);
}

YTime YTalo::FieldReadT(const char* name, YTime defaultValue)
{
    return TakeNamed(&ybase::TaloReader::TakeTime, name, defaultValue);
}

const char* YTalo::FieldReadS(const char* name, const char* defaultValue)
{
    return TakeNamed(&ybase::TaloReader::TakeString, name, defaultValue);
}
