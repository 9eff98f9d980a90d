#include "ymotion/formats/gzip.h"

#include "ymotion/text/failure.h"

// For systems without a library that packs: there whoever brings the content of files unpacks it before.

namespace ymotion {

struct GzipOutput::Stream
{};

bool IsGzip(std::string_view beginning)
{
    return beginning.substr(0, 2) == "\x1F\x8B";
}

FileBytes Unpacked(std::string_view, const std::string& name)
{
    throw Failure(name + ": is packed by gzip; unpack it first");
}

GzipOutput::GzipOutput(Output& out) : mOut(out)
{
    throw Failure("cannot pack by gzip here; write the file without \".gz\"");
}

GzipOutput::~GzipOutput() = default;

void GzipOutput::Write(std::string_view text)
{
    mOut.Write(text);
}

void GzipOutput::Finish() {}

}  // namespace ymotion
