#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <charconv>

namespace tarnel {

namespace {

struct KindTraits {
    AttentionKind kind;
    std::string_view title;
    int group;
};

constexpr std::array kinds{
    KindTraits{AttentionKind::question, "Question", 0},
    KindTraits{AttentionKind::plan, "Plan ready", 0},
    KindTraits{AttentionKind::permission, "Permission", 0},
    KindTraits{AttentionKind::blocked, "Blocked", 0},
    KindTraits{AttentionKind::asking, "Asking", 1},
    KindTraits{AttentionKind::finished, "Turn finished", 3},
    KindTraits{AttentionKind::error, "Stopped", 2},
};

static_assert(
    std::is_sorted(kinds.begin(), kinds.end(), [](const KindTraits& a, const KindTraits& b) { return a.kind < b.kind; })
        && kinds.size() == namesOf(AttentionKind{}).size(),
    "one row a case, in their order");

const KindTraits& traits(AttentionKind kind) { return kinds[static_cast<std::size_t>(kind)]; }

/// The first line of a plan, which is Markdown, without the marks of a heading.
std::string heading(std::string_view plan)
{
    plan = Text::trimmed(plan);
    const std::string line = Text::replacingAll(plan.substr(0, plan.find_first_of("\r\n")), "#", "");
    return std::string(Text::trimmedOf(line, " "));
}

} // namespace

std::string_view title(AttentionKind kind) { return traits(kind).title; }

int group(AttentionKind kind) { return traits(kind).group; }

std::string Fingerprint::description() const
{
    std::string text;
    ((((text += machine) += '/') += paneID) += '#') += std::to_string(stateChangeSeq);
    (((text += '/') += nameOf(kind)) += '/') += contentHash;
    return text;
}

std::string Fingerprint::hash(std::string_view text)
{
    constexpr std::uint64_t offsetBasis = 0xcbf29ce484222325;
    constexpr std::uint64_t prime = 0x100000001b3;
    std::uint64_t value = offsetBasis;
    for (const char byte : text)
        value = (value ^ static_cast<unsigned char>(byte)) * prime;

    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    return {digits.data(), end};
}

std::vector<std::string> AttentionItem::choicesFor(
    const std::optional<Pending>& pending, const std::vector<std::string>& menu)
{
    const auto menuOr = [&](const std::vector<std::string>& usual) { return menu.empty() ? usual : menu; };
    if (!pending)
        return menu;
    if (std::holds_alternative<PendingPlan>(*pending))
        return menuOr({"Implement the plan", "Critique", "Revise"});
    if (std::holds_alternative<PendingPermission>(*pending))
        return menuOr({"Allow", "Allow for session", "Deny"});
    const std::vector<Question>& questions = std::get<PendingQuestion>(*pending).questions;
    if (questions.empty())
        return menu;
    std::vector<std::string> labels;
    for (const QuestionOption& option : questions.front().options)
        labels.push_back(option.label);
    return labels;
}

std::optional<std::string> AttentionItem::questionText() const
{
    if (!card.pending)
        return std::nullopt;
    if (const auto* plan = std::get_if<PendingPlan>(&*card.pending))
        return heading(plan->plan);
    if (const auto* permission = std::get_if<PendingPermission>(&*card.pending))
        return permission->tool + ": " + permission->detail;
    const std::vector<Question>& questions = std::get<PendingQuestion>(*card.pending).questions;
    return questions.empty() ? std::nullopt : std::optional(questions.front().text);
}

std::vector<std::string> AttentionItem::followUps(const std::vector<std::string>& quickReplies) const
{
    std::vector<std::string> replies;
    if (kind == AttentionKind::finished)
        replies = choices;
    std::set<std::string> offered;
    for (const std::string& choice : replies)
        offered.insert(Text::lowercased(choice));
    for (const std::string& reply : quickReplies) {
        if (!offered.contains(Text::lowercased(reply)))
            replies.push_back(reply);
    }
    return replies;
}

bool MachineSnapshot::sameContent(const MachineSnapshot& other) const
{
    const auto isSame = [&](const auto& field) {
        return field.name == "takenAt" || this->*field.member == other.*field.member;
    };
    return std::apply([&](const auto&... field) { return (isSame(field) && ...); }, fields());
}

} // namespace tarnel
