// The ring: every host's place on it and every conversation's chord, for one size of the view.
#pragma once

#include "Circle/CircleNode.h"
#include "Circle/EdgeColorMode.h"
#include "Circle/PairArray.h"
#include "Circle/ProtocolColors.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

class JsonWriter;

/// Angles are in radians, clockwise on screen; −π/2 is the top of the ring.
using AngleByAddress = std::map<std::string, double, std::less<>>;
/// Seats on the ring as steps of the golden angle from the top.
using SlotByAddress = std::map<std::string, std::int64_t, std::less<>>;

/// The whole picture for one view size. It is made anew when the pairs, the size or an option changes and keeps
/// nothing in between: whoever wants hosts to keep their places passes the angles (or slots) of the last one.
struct CircleLayout {
    struct Parameters {
        Size size = {};
        PairArray pairs = {};
        bool useBytes = false;
        bool showLineThickness = false;
        std::optional<AngleByAddress> stableAngleByAddress = {};
        std::optional<SlotByAddress> stableSlotByAddress = {};
        std::int64_t ringCapacity = 0;
        bool showHostNames = false;
        double ringInset = 0; ///< taken off the half-size to make room for labels
    };

    Point center;
    double radius = 0;
    double nodeRadius = 0;         ///< of every node's disc, and its hit radius
    std::vector<CircleNode> nodes; ///< in the order in which the pairs first name them
    PairArray pairs;               ///< as given; both directions of a conversation may be there
    std::uint64_t maxVolume = 1;   ///< of any pair, never below 1
    bool useBytes = false;
    bool showLineThickness = false;

    CircleLayout() = default;
    explicit CircleLayout(Parameters parameters);

    /// Where the first node with this address lies; null when there is none.
    const Point* position(std::string_view address) const;
    std::uint64_t volume(const CommPair& pair) const { return pair.volume(useBytes); }
    double lineThickness(const CommPair& pair, bool emphasized) const;
    ProtocolColors::RGB edgeColor(const CommPair& pair) const;
    ProtocolColors::RGB edgeColor(const CommPair& pair, EdgeColorMode mode,
                                  const QualityGradeThresholds& thresholds) const;

    /// The first node whose disc holds the point; null when there is none.
    const CircleNode* findNode(const Point& point) const;
    /// The pair whose chord is nearest to the point and near enough; null when there is none. `preferPairID` (in the
    /// form "{src}->{dst}") keeps its chord while that is at most `hysteresis` farther than the nearest one.
    const CommPair* findPair(const Point& point, double hitSlop = 3.0,
                             std::optional<std::string_view> preferPairID = {}, double hysteresis = 0.0) const;

    /// The place at an angle of a ring, and the place of one of `total` even steps from the top.
    static Point nodePosition(double angle, const Point& center, double radius);
    static Point nodePosition(std::int64_t index, std::int64_t total, const Point& center, double radius);
    /// The same angle in (−π, π].
    static double normalizeAngle(double angle);
    /// The middle of the widest free arc between angles; the top when there are none.
    static double nextStableAngle(std::span<const double> existing);

    /// The hosts in the order in which a tidied ring seats them; see CircleOrder.h.
    static std::vector<std::string> optimizedRingOrder(std::span<const CommPair> pairs, bool useBytes,
                                                       std::span<const std::string> including = {});
    /// The even angles of that order.
    static AngleByAddress rearrangeAngles(std::span<const CommPair> pairs, bool useBytes,
                                          std::span<const std::string> including = {});
    /// All pairs of the `limit` conversations with the largest volume, both directions counted together.
    static std::vector<CommPair> topConversationPairs(std::span<const CommPair> pairs, std::int64_t limit,
                                                      bool useBytes);

    /// The key of the conversation between two addresses, whichever way round they are given.
    static std::string undirectedEdgeKey(std::string_view a, std::string_view b);
    /// The same for a pair's identifier "{src}->{dst}"; nothing when it is none.
    static std::optional<std::string> undirectedEdgeKey(std::optional<std::string_view> pairID);

    friend bool operator==(const CircleLayout&, const CircleLayout&) = default;

private:
    /// A chord as the hit test reads it, one for each pair, in their order.
    struct Chord {
        Point start, end;
        std::uint32_t startNode = 0, endNode = 0;
        double thickness = 0; ///< emphasized

        friend bool operator==(const Chord&, const Chord&) = default;
    };
    struct Hit;

    std::optional<std::uint32_t> nodeIndex(std::string_view address) const;
    const CommPair& pickCanonical(const CommPair& a, const CommPair& b,
                                  std::optional<std::string_view> preferPairID) const;

    std::vector<Chord> chords_;
    std::vector<std::uint32_t> nodesByAddress_; ///< their indices, sorted by address
};

/// The protocol that most of the pairs of an address have as their top protocol, the one named first on a tie;
/// "Unknown" when no pair touches the address.
std::string_view dominantProtocol(std::string_view address, std::span<const CommPair> pairs);

void write(JsonWriter& json, const CircleLayout& layout);

} // namespace netrondo
