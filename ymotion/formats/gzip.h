#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "ymotion/formats/file_io.h"

/// \file
/// Files packed by gzip (RFC 1952).

namespace ymotion {

/// Whether a file begins as packed ones do.
bool IsGzip(std::string_view beginning);

/// What a packed file holds; several that follow each other hold one text, as they do for gzip. Throws
/// `Failure` for one that is cut off or damaged, that has something else behind it, or that unpacks to more
/// than `MostBytes`.
/// \param name  of the file, for messages.
FileBytes Unpacked(std::string_view packed, const std::string& name);

/// Packs what is written to it. The same text gives the same bytes: no name and no time are kept.
class GzipOutput final : public Output
{
  public:
    /// \param out  takes the packed bytes, and has to outlive this.
    explicit GzipOutput(Output& out);
    ~GzipOutput() override;
    GzipOutput(const GzipOutput&) = delete;
    GzipOutput& operator=(const GzipOutput&) = delete;

    void Write(std::string_view text) override;
    /// Writes what is still to come. Without it, the packed file is cut off.
    void Finish();

  private:
    struct Stream;

    void Pack(std::string_view text, int flush);

    Output& mOut;
    std::unique_ptr<Stream> mStream;
};

}  // namespace ymotion
