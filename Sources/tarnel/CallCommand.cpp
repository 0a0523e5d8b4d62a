#include "tarnel/Commands.h"
#include "tarnel/DaemonAccess.h"
#include "tarnel/Output.h"
#include "tarnel/StandardInput.h"
#include "tarnel/SubCommand.h"
#include <memory>

namespace tarnel {

namespace {

struct Options {
    std::string method;
    std::optional<std::string> params;
};

JSON::Object paramsIn(const std::string& text)
{
    try {
        const JSON json = JSON::parse(text);
        if (const JSON::Object* members = json.object())
            return *members;
    } catch (const DecodingError&) {
    }
    throw CommandError(ExitStatus::usage, "the parameters must be a JSON object, as in '{\"pane\":\"p3\"}'");
}

ExitStatus call(const CommandLine& line, const Options& options)
{
    JSON::Object params;
    if (options.params)
        params = paramsIn(*options.params == "-" ? readStandardInput() : *options.params);
    Output::printJSON(oneDaemonOf(line).call(options.method, params, line.patience()));
    return ExitStatus::success;
}

} // namespace

void addCallCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "call", "Call any method of the daemon and print its result as JSON");
    command.footer("Examples:\n"
                   "  tarnel call ping\n"
                   "  tarnel call conversation '{\"pane\":\"p3\",\"limit\":5}'\n"
                   "  tarnel call keys '{\"pane\":\"p3\",\"keys\":[\"esc\"]}'\n"
                   "  generate-params | tarnel call muxle -");
    const auto options = std::make_shared<Options>();
    command.option("method", options->method, "The method's name").kind("METHOD").required();
    command.option("params", options->params, "Its parameters, an object; - reads them from standard input")
        .kind("JSON");
    command.run([&line, options] { return call(line, *options); });
}

} // namespace tarnel
