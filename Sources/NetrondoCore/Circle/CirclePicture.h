// The circle of a whole analysis: which conversations, laid out how, and the page that a picture of it is.
#pragma once

#include "Analysis/Model/AnalysisResult.h"
#include "Circle/CircleHostLayoutMode.h"
#include "Circle/CircleLayout.h"
#include "Circle/CircleScene.h"
#include "Circle/HostServiceLayout.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace netrondo {

/// What somebody wants to see of an analysis.
struct CircleRequest {
    Size size = {800, 800};
    bool useBytes = false;
    bool showLineThickness = false;
    std::optional<std::int64_t> limit = {}; ///< conversations, the largest first
    std::optional<double> inset = {};       ///< none in a layout, as the labels need it in a picture
    bool showHostNames = false;
    bool optimize = false; ///< tidy the ring
};

/// The pairs that are laid out: all in the analysis's order, or those of the largest conversations.
std::vector<CommPair> pairsOf(const PairList& pairs, const CircleRequest& request);
/// The pairs of `limit` conversations, both directions counted together; what
/// `CircleLayout::topConversationPairs` gives for all pairs, without making text of the others.
std::vector<CommPair> topConversationPairs(const PairList& pairs, std::int64_t limit, bool useBytes);

/// The ring of these pairs.
CircleLayout layOutCircle(PairArray pairs, const CircleRequest& request);

/// A page with the ring, or the hosts and services, and around it what the picture shows: a heading, how many
/// conversations of how many, a legend. A page too small for that holds the picture alone.
CircleScene circlePicture(const AnalysisResult& result, CircleHostLayoutMode mode, const CircleRequest& request,
                          const SceneStyle& style, const std::string& title, const TextWidth& textWidth);

} // namespace netrondo
