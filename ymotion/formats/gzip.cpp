#include "ymotion/formats/gzip.h"

#include <algorithm>
#include <new>

#include <zlib.h>

#include "ymotion/text/failure.h"

namespace ymotion {
namespace {

constexpr std::string_view kMagic = "\x1F\x8B";
// The largest window, and the header and check sum of gzip in place of those of zlib.
constexpr int kGzipWindow = 15 + 16;
constexpr std::size_t kFirstBytes = std::size_t{1} << 16;

/// zlib counts in 32 bits.
uInt Piece(std::size_t size)
{
    return static_cast<uInt>(std::min<std::size_t>(size, std::size_t{1} << 30));
}

/// zlib leaves the bytes alone, but says so in its newest headers only.
Bytef* BytesOf(std::string_view text)
{
    return reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
}

class Inflater
{
  public:
    Inflater()
    {
        if (inflateInit2(&stream, kGzipWindow) != Z_OK) throw std::bad_alloc();
    }
    ~Inflater() { inflateEnd(&stream); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    z_stream stream{};
};

/// Unpacks one packed file from the front of a text, which is moved past it.
void UnpackOne(std::string_view& packed, const std::string& name, GrowingBytes& to)
{
    Inflater inflater;
    z_stream& stream = inflater.stream;
    for (;;) {
        if (to.Room() == 0) to.Grow();
        const uInt in = Piece(packed.size());
        const uInt room = Piece(to.Room());
        stream.next_in = BytesOf(packed);
        stream.avail_in = in;
        stream.next_out = reinterpret_cast<Bytef*>(to.End());
        stream.avail_out = room;
        const int result = inflate(&stream, Z_NO_FLUSH);
        packed.remove_prefix(in - stream.avail_in);
        to.Add(room - stream.avail_out);
        CheckSize(name, to.Size());
        if (result == Z_STREAM_END) return;
        if (result == Z_MEM_ERROR) throw std::bad_alloc();
        if (result != Z_OK && result != Z_BUF_ERROR)
            throw Failure(name + ": what gzip packed is damaged; get another copy of the file");
        if (packed.empty() && stream.avail_out > 0)
            throw Failure(name + ": what gzip packed has been cut off; get a whole copy of the file");
    }
}

}  // namespace

bool IsGzip(std::string_view beginning)
{
    return beginning.starts_with(kMagic);
}

FileBytes Unpacked(std::string_view packed, const std::string& name)
{
    GrowingBytes bytes(kFirstBytes);
    while (!packed.empty()) {
        if (!IsGzip(packed)) {
            throw Failure(name +
                          ": something else stands behind what gzip packed; unpack the file by hand "
                          "(gzip -dc), or get another copy");
        }
        UnpackOne(packed, name, bytes);
    }
    return bytes.Take();
}

struct GzipOutput::Stream
{
    z_stream stream{};
    std::string packed = std::string(kFirstBytes, '\0');
};

GzipOutput::GzipOutput(Output& out) : mOut(out), mStream(std::make_unique<Stream>())
{
    constexpr int kMemory = 8;  // zlib's own choice
    if (deflateInit2(&mStream->stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kMemory,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::bad_alloc();
    }
}

GzipOutput::~GzipOutput()
{
    deflateEnd(&mStream->stream);
}

void GzipOutput::Pack(std::string_view text, int flush)
{
    z_stream& stream = mStream->stream;
    std::string& packed = mStream->packed;
    do {
        const uInt in = Piece(text.size());
        stream.next_in = BytesOf(text);
        stream.avail_in = in;
        do {
            stream.next_out = reinterpret_cast<Bytef*>(packed.data());
            stream.avail_out = static_cast<uInt>(packed.size());
            deflate(&stream, flush);
            mOut.Write(std::string_view(packed).substr(0, packed.size() - stream.avail_out));
        } while (stream.avail_out == 0);
        text.remove_prefix(in);
    } while (!text.empty());
}

void GzipOutput::Write(std::string_view text)
{
    if (!text.empty()) Pack(text, Z_NO_FLUSH);
}

void GzipOutput::Finish()
{
    Pack({}, Z_FINISH);
}

}  // namespace ymotion
