// tarnel/QueueMerge.h: the queues of several machines as one.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include <vector>

namespace tarnel::QueueMerge {

/// All items, most urgent first; among equals those that have waited longest first or last. Items of one machine keep
/// their order: their counts of changes mean nothing beside another machine's. Pure.
std::vector<AttentionItem> merged(std::vector<std::vector<AttentionItem>> queues, bool oldestFirst);

} // namespace tarnel::QueueMerge
