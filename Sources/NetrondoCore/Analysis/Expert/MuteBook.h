// What the user has muted, and the way back through the changes.
#pragma once

#include "Analysis/Expert/CaptureExpertSummary.h"

#include <string>
#include <vector>

namespace netrondo {

/// What a finding may be muted by, the narrowest first and without a reason: itself between its hosts, everything of
/// its conversation, everything of each of its hosts, and its kind everywhere.
std::vector<ExpertMute> mutesFor(const ExpertFinding& finding);
/// What a mute is about: "tcp.rst between 10.0.0.1 and 10.0.0.2", "everything about 10.0.0.1".
std::string subjectOf(const ExpertMute& mute);

/// Every change can be taken back, and done again until another one is made.
class MuteBook {
public:
    MuteBook() = default;
    explicit MuteBook(std::vector<ExpertMute> mutes) { states_.front() = std::move(mutes); }

    const std::vector<ExpertMute>& mutes() const { return states_[at_]; }
    /// Adds a mute, or gives the one about the same a new reason. False when that is there already.
    bool add(ExpertMute mute);
    /// Takes a mute away; the index is that in `mutes`.
    void remove(std::size_t index);

    bool canUndo() const { return at_ > 0; }
    bool canRedo() const { return at_ + 1 < states_.size(); }
    void undo();
    void redo();

private:
    void change(std::vector<ExpertMute> mutes);

    std::vector<std::vector<ExpertMute>> states_{{}};
    std::size_t at_ = 0; ///< in `states_`
};

} // namespace netrondo
