#include "TarnelCore/Config/TarnelPaths.h"
#include "TarnelCore/Base/Environment.h"

namespace tarnel::TarnelPaths {

namespace {

std::string pathFor(std::string_view variable, std::string_view fileName)
{
    return nonEmpty(processEnvironment(), variable).value_or(directory() + "/" + std::string(fileName));
}

} // namespace

std::string directory() { return homeDirectory() + "/.config/tarnel"; }
std::string daemonSocket() { return pathFor("TARNELD_SOCKET", "tarneld.sock"); }
std::string appSocket() { return pathFor("TARNEL_APP_SOCKET", "app.sock"); }

} // namespace tarnel::TarnelPaths
