#include "tarnel/EventStream.h"
#include <utility>

namespace tarnel {

bool EventStream::isNews(const JSON& event)
{
    const JSON* snapshot = event["snapshot"];
    if (!snapshot)
        return true;
    JSON content = *snapshot;
    if (JSON::Object* members = content.object())
        members->erase("takenAt");
    if (last == content)
        return false;
    last = std::move(content);
    return true;
}

} // namespace tarnel
