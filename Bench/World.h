// Bench/World.h: a machine with many panes, as the multiplexer and the agents' records show it.
#pragma once
#include "Support/MuxleWorld.h"
#include "TarnelCore/Attention/Attention.h"
#include <cstddef>
#include <string>

namespace tarnel::bench {

/// What the panes of a generated world do.
enum class Scene {
    mixed, ///< Six of ten work, three are idle, one asks: each screen is read once.
    quiet, ///< All are idle.
};

/// Panes of Claude at "/home/me/project", twenty a workspace, four a tab; their screens have about 4 KB. The same on
/// every call.
MuxleWorld generatedWorld(std::size_t panes, Scene scene = Scene::mixed);

/// Writes a short record for each pane of such a world below `home`.
void writeRecords(const MuxleWorld& world, const std::string& home);

/// The snapshot of such a world with `panes` panes, its queue with a card for every other pane, in the daemon's form.
MachineSnapshot generatedSnapshot(std::size_t panes);

/// The same with one pane's card changed, differently for every `version`.
MachineSnapshot changed(MachineSnapshot snapshot, std::int64_t version);

} // namespace tarnel::bench
