#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

#include <CLI/CLI.hpp>

/// \file
/// The text of `--help`.

namespace program {

/// Help in lines that fit, which says of an option what to write: no notes of the parser about what excludes
/// what, and "..." only where several words may follow. Paragraphs of footers are filled; their indented
/// lines, which are commands, go on behind a backslash where they are long.
class HelpFormatter final : public CLI::Formatter
{
  public:
    explicit HelpFormatter(std::size_t columns) : mColumns(std::min(columns, kWidest)) {}

    std::string make_description(const CLI::App* command) const override;
    std::string make_usage(const CLI::App* command, std::string name) const override;
    std::string make_subcommand(const CLI::App* command) const override;
    std::string make_footer(const CLI::App* command) const override;
    std::string make_option(const CLI::Option* option, bool isPositional) const override;
    std::string make_option_opts(const CLI::Option* option) const override;

  private:
    static constexpr std::size_t kWidest = 100;  // longer lines are hard to read

    std::string Entry(const std::string& name, const std::string& description) const;

    std::size_t mColumns;
};

}  // namespace program
