#include "Analysis/Expert/MuteBook.h"

#include <algorithm>
#include <fmt/format.h>

namespace netrondo {
namespace {

bool isAboutTheSame(const ExpertMute& a, const ExpertMute& b)
{
    return a.finding == b.finding
        && ((a.host == b.host && a.peer == b.peer) || (a.peer && a.host == b.peer && a.peer == b.host));
}

} // namespace

std::vector<ExpertMute> mutesFor(const ExpertFinding& finding)
{
    const auto& [first, second] = finding.hosts;
    const auto host = first ? first : second;
    const auto peer = first && second != first ? second : Address{};
    std::vector<ExpertMute> mutes;
    if (host)
        mutes.push_back({finding.finding, host, peer, {}});
    if (host && peer)
        mutes.push_back({Finding::none, host, peer, {}});
    if (host)
        mutes.push_back({Finding::none, host, {}, {}});
    if (peer)
        mutes.push_back({Finding::none, peer, {}, {}});
    mutes.push_back({finding.finding, {}, {}, {}});
    return mutes;
}

std::string subjectOf(const ExpertMute& mute)
{
    const auto what = mute.finding == Finding::none ? "everything" : kindOf(mute.finding).id;
    if (!mute.host)
        return fmt::format("{} everywhere", what);
    if (!mute.peer)
        return fmt::format("{} about {}", what, mute.host.text());
    return fmt::format("{} between {} and {}", what, mute.host.text(), mute.peer.text());
}

bool MuteBook::add(ExpertMute mute)
{
    auto mutes = this->mutes();
    const auto known = std::ranges::find_if(mutes, [&](const auto& other) { return isAboutTheSame(other, mute); });
    if (known == mutes.end())
        mutes.push_back(std::move(mute));
    else if (known->reason == mute.reason)
        return false;
    else
        known->reason = std::move(mute.reason);
    change(std::move(mutes));
    return true;
}

void MuteBook::remove(std::size_t index)
{
    auto mutes = this->mutes();
    NR_ASSERT(index < mutes.size());
    mutes.erase(mutes.begin() + static_cast<std::ptrdiff_t>(index));
    change(std::move(mutes));
}

void MuteBook::change(std::vector<ExpertMute> mutes)
{
    states_.resize(at_ + 1);
    states_.push_back(std::move(mutes));
    ++at_;
}

void MuteBook::undo()
{
    if (canUndo())
        --at_;
}

void MuteBook::redo()
{
    if (canRedo())
        ++at_;
}

} // namespace netrondo
