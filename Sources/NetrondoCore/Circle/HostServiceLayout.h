// Hosts in a column on the left, services in a column on the right, and the links between them.
#pragma once

#include "Circle/CircleNode.h"
#include "Circle/PairArray.h"
#include "Circle/ProtocolColors.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

/// The picture of the mode `byProtocol` for one view size. A service is the name of a port that a pair used, or the
/// pair's top protocol when none of its ports has a name; both hosts of a pair are linked to it, the one that serves as
/// well as the one that asks. A pair with several services is shared out among them by the packets on their ports.
struct HostServiceLayout {
    struct Parameters {
        Size size = {};
        PairArray pairs = {};
        bool useBytes = false;
        bool showLineThickness = false;
        bool showHostNames = false;
        double columnInset = 0; ///< from the sides to the columns: room for labels
    };

    struct Link {
        std::uint32_t host = 0, service = 0; ///< indices in `nodes`
        std::uint64_t volume = 0;
        double firstSeconds = 0, lastSeconds = 0; ///< when the first of its pairs was first seen, and the last one last
        friend bool operator==(const Link&, const Link&) = default;
    };

    Point center;
    double nodeRadius = 0;
    std::vector<CircleNode> nodes; ///< the hosts from top to bottom, then the services from top to bottom
    std::size_t hostCount = 0;     ///< how many of them are hosts
    std::vector<Link> links;       ///< by host, then by service
    PairArray pairs;               ///< as given
    std::uint64_t maxVolume = 1;   ///< of any link, never below 1
    std::uint64_t crossings = 0;   ///< how many pairs of links cross
    bool useBytes = false;
    bool showLineThickness = false;

    HostServiceLayout() = default;
    explicit HostServiceLayout(Parameters parameters);

    const Point* position(std::string_view address) const;
    /// "{host}->svc:{name}".
    std::string id(const Link& link) const;
    double lineThickness(const Link& link, bool emphasized) const;
    /// The service's colour.
    ProtocolColors::RGB linkColor(const Link& link) const { return nodes[link.service].protocolColor; }
    /// The link as a cubic curve: its start, two control points, its end.
    std::array<Point, 4> curve(const Link& link) const;

    /// The same questions as the ring answers, with the same rules.
    const CircleNode* findNode(const Point& point) const;
    const Link* findLink(const Point& point, double hitSlop = 3.0, std::optional<std::string_view> preferLinkID = {},
                         double hysteresis = 0.0) const;

    friend bool operator==(const HostServiceLayout&, const HostServiceLayout&) = default;
};

} // namespace netrondo
