#include "program/help_formatter.h"

#include <sstream>

#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

constexpr std::size_t kNames = 28;  // columns of the names of options and commands

}  // namespace

std::string HelpFormatter::Entry(const std::string& name, const std::string& description) const
{
    std::string text = "  " + name;
    std::size_t used = DisplayWidth(text);
    const std::size_t indent = std::min(kNames, mColumns / 2);
    if (used + 2 > indent) {
        text += '\n';
        used = 0;
    }
    text.append(indent - used, ' ');
    return text + Wrapped(description, mColumns, indent, indent) + "\n";
}

std::string HelpFormatter::make_description(const CLI::App* command) const
{
    return Wrapped(command->get_description(), mColumns) + "\n";
}

std::string HelpFormatter::make_usage(const CLI::App* command, std::string name) const
{
    std::string usage = CLI::Formatter::make_usage(command, std::move(name));
    usage.erase(usage.find_last_not_of('\n') + 1);
    return Wrapped(usage, mColumns, 7) + "\n";
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const
{
    return Entry(command->get_name(), command->get_description());
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool isPositional) const
{
    return Entry(make_option_name(option, isPositional) + make_option_opts(option), make_option_desc(option));
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const
{
    if (option->get_type_size() == 0) return "";
    std::string text;
    if (!option->get_type_name().empty()) text += " " + option->get_type_name();
    const bool several = option->get_positional() || option->get_allow_extra_args();
    if (several && option->get_items_expected_max() > 1) text += " ...";
    if (option->get_required()) text += " " + get_label("REQUIRED");
    return text;
}

std::string HelpFormatter::make_footer(const CLI::App* command) const
{
    std::istringstream lines(command->get_footer());
    std::string text;
    std::string paragraph;
    const auto end = [&] {
        if (!paragraph.empty()) text += Wrapped(paragraph, mColumns) + "\n";
        paragraph.clear();
    };
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.front() != ' ') {
            paragraph += (paragraph.empty() ? "" : " ") + line;
            continue;
        }
        end();
        if (!line.empty())
            text += "  " + Wrapped(line, mColumns, 6, 2, DisplayWidth(line) > mColumns ? " \\" : "");
        text += '\n';
    }
    end();
    return text;
}

}  // namespace program
