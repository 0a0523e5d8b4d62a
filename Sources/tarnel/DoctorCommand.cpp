#include "TarnelCore/Base/TerminalText.h"
#include "tarnel/Checkup.h"
#include "tarnel/Commands.h"
#include "tarnel/Output.h"
#include "tarnel/SubCommand.h"
#include "tarnel/Wrap.h"
#include <algorithm>

namespace tarnel {

namespace {

std::vector<Finding> examine(const CommandLine& line)
{
    const TarnelConfig config(TarnelConfig::defaultPath());
    std::vector<Finding> findings{Checkup::configuration(config)};
    const std::vector<Daemon> daemons = daemonsOf(line);
    for (const Daemon& daemon : daemons) {
        std::vector<Finding> found;
        if (daemon.host.empty())
            found = Checkup::socket(daemon.label());
        const bool isWorthAsking = std::none_of(
            found.begin(), found.end(), [](const Finding& each) { return each.found.starts_with("there is no"); });
        if (isWorthAsking) {
            for (Finding& finding : Checkup::daemon(daemon, line.patience()))
                found.push_back(std::move(finding));
        }
        for (Finding& finding : found) {
            if (daemons.size() > 1)
                finding.subject = daemon.label() + ": " + finding.subject;
            findings.push_back(std::move(finding));
        }
    }
    return findings;
}

std::vector<std::string> inWords(const Finding& finding, const Style& style)
{
    constexpr std::array<std::pair<std::string_view, Paint>, 3> marks{
        {{"✓ ", Paint::green}, {"! ", Paint::yellow}, {"✗ ", Paint::red}}};
    const auto& [mark, paint] = marks[static_cast<std::size_t>(finding.state)];
    const std::string subject = TerminalText::plainLine(finding.subject) + ": ";
    std::vector<std::string> lines =
        wrapped(subject + TerminalText::plainLine(finding.found), style.width - std::min<std::size_t>(style.width, 2));
    for (std::size_t i = 0; i < lines.size(); ++i)
        lines[i].insert(0, i == 0 ? style.painted(mark, paint) : "  ");
    if (finding.remedy)
        lines.push_back("  try: " + style.painted(TerminalText::plainLine(*finding.remedy), Paint::bold));
    return lines;
}

ExitStatus examineAndTell(const CommandLine& line)
{
    const std::vector<Finding> findings = examine(line);
    const Style style = Style::ofStandardOutput();
    if (line.asJSON)
        Output::printJSON(jsonValue(findings));
    for (const Finding& finding : findings) {
        if (!line.asJSON)
            Output::print(inWords(finding, style));
    }
    const bool isIll = std::any_of(findings.begin(), findings.end(),
        [](const Finding& finding) { return finding.state == Finding::State::problem; });
    return isIll ? ExitStatus::failure : ExitStatus::success;
}

} // namespace

void addDoctorCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "doctor",
        "Check all that Tarnel needs: configuration, socket, daemon, multiplexer, agents' records and remote hosts");
    command.footer("Examples:\n"
                   "  tarnel doctor\n"
                   "  tarnel doctor --host studio --host local\n"
                   "  tarnel doctor --json | jq '.[] | select(.state != \"ok\")'\n"
                   "The exit status is 1 when anything is wrong; a warning alone is not.");
    command.run([&line] { return examineAndTell(line); });
}

} // namespace tarnel
