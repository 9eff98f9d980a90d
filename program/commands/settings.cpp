#include <unistd.h>

#include <memory>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/terminal.h"
#include "yfcurve/yfcurvesettings.h"
#include "ymotion/text/property_report.h"

using namespace ymotion;

namespace program {
namespace {

void RunSettings(bool asJson)
{
    std::vector<const YProperty*> settings;
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (int i = 0; i < YFCURVE_GetSettingCount(); ++i) {
        settings.push_back(YFCURVE_GetSetting(i));
        json.push_back(PropertyJson(*settings.back()));
    }
    SaveText("-", asJson ? json.dump(2) + "\n" : PropertyTable(settings, StyleOf(STDOUT_FILENO)));
}

}  // namespace

void AddSettingsCommand(CLI::App& program, Action& chosen)
{
    auto asJson = std::make_shared<bool>(false);
    CLI::App* command = program.add_subcommand("settings", "List the settings of the library");
    AddJsonFlag(*command, *asJson);
    command->footer(
        "The columns are name, type, value, range and meaning. A host reads and sets them with\n"
        "YFCURVE_Get... and YFCURVE_Set... of these names; a process starts with the values that are\n"
        "listed.\n"
        "\n"
        "Examples:\n"
        "  yfcurve settings\n"
        "  yfcurve settings --json | jq '.[] | select(.type == \"Bool\") | .name'");
    command->callback([asJson, &chosen] { chosen = [asJson] { RunSettings(*asJson); }; });
}

}  // namespace program
