#include "Tasks/ShownPairs.h"

#include "Circle/UndirectedPairs.h"

#include <algorithm>

namespace netrondo {
namespace {

/// Whether a conversation touches what is focused.
class Focus {
public:
    Focus(const TalkTable& talks, const Selected& focused) : talks_(talks), focused_(focused)
    {
        if (focused.kind == Selected::Kind::host)
            host_ = talks.findHost(focused.a);
        if (focused.kind != Selected::Kind::conversation)
            return;
        for (const auto* const end : {&focused.a, &focused.b}) {
            if (end->starts_with(UndirectedPairs::servicePrefix))
                service_ = end->substr(UndirectedPairs::servicePrefix.size());
            else
                host_ = talks.findHost(*end);
        }
        if (service_.empty())
            talk_ = talks.findTalk(focused.a, focused.b);
    }

    bool holds(std::uint32_t item) const
    {
        const auto& talk = talks_.talks()[item];
        switch (focused_.kind) {
        case Selected::Kind::nothing: return true;
        case Selected::Kind::host: return touches(talk);
        case Selected::Kind::service: return carries(talk, focused_.a);
        case Selected::Kind::conversation:
            return service_.empty() ? item == talk_ : touches(talk) && carries(talk, service_);
        }
        return false;
    }

private:
    bool touches(const TalkRow& talk) const { return talk.hosts[0] == host_ || talk.hosts[1] == host_; }
    bool carries(const TalkRow& talk, const std::string& name) const
    {
        return std::ranges::any_of(talks_.pairsOf(talk), [&](const CommPair& pair) { return pair.carries(name); });
    }

    const TalkTable& talks_;
    const Selected& focused_;
    std::uint32_t host_ = TalkRow::none;
    std::uint32_t talk_ = TalkRow::none;
    std::string service_;
};

} // namespace

ShownPairs shownPairs(const ShownPairsWish& wish)
{
    const auto& talks = *wish.talks;
    const Focus focus(talks, wish.focused);
    ShownPairs shown;
    std::vector<std::uint32_t> items;
    for (std::uint32_t i = 0; i < talks.talks().size(); ++i) {
        if (wish.hiddenProtocols.contains(talks.talks()[i].protocol))
            ++shown.hidden;
        else if (!focus.holds(i))
            ++shown.unfocused;
        else
            items.push_back(i);
    }
    std::ranges::stable_sort(items, std::greater{},
                             [&](std::uint32_t i) { return talks.talks()[i].volume(wish.useBytes); });
    if (wish.limit > 0 && items.size() > static_cast<std::size_t>(wish.limit)) {
        shown.leftOut = items.size() - static_cast<std::size_t>(wish.limit);
        items.resize(static_cast<std::size_t>(wish.limit));
    }
    shown.shown = items.size();
    std::vector<CommPair> pairs;
    for (const auto i : items)
        for (auto& pair : talks.pairsOf(talks.talks()[i]))
            pairs.push_back(std::move(pair));
    shown.pairs = std::move(pairs);
    // Seating hundreds well takes longer than anybody waits for a first picture.
    constexpr std::size_t fewHosts = 300;
    if (wish.seatAnew && talks.hosts().size() <= fewHosts)
        shown.angles = CircleLayout::rearrangeAngles(std::span(shown.pairs.begin(), shown.pairs.end()), wish.useBytes);
    return shown;
}

} // namespace netrondo
