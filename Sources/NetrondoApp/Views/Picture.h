// What the circle view shows: laid out, drawn into an image, and ready to be asked what is where. Made in the
// background; never changes once made.
#pragma once

#include "Circle/CircleHostLayoutMode.h"
#include "Circle/CircleLayout.h"
#include "Circle/CircleScene.h"
#include "Circle/FindingBadges.h"
#include "Circle/HostServiceLayout.h"
#include "Models/Selection.h"

#include <QImage>
#include <QPointF>
#include <QSizeF>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace netrondo {

class CaptureFindings;

struct PictureRequest {
    PairArray pairs;
    CircleHostLayoutMode mode = CircleHostLayoutMode::hosts;
    QSizeF size;           ///< of the view, in points
    double pixelRatio = 1; ///< pixels a point
    double zoom = 1;
    QPointF shift; ///< of the picture's middle from the view's, in points
    SceneStyle style;
    bool useBytes = true;
    bool showLineThickness = true;
    bool showHostNames = true;
    std::shared_ptr<const AngleByAddress> angles;    ///< of hosts that have their places already; null for none
    std::shared_ptr<const CaptureFindings> findings; ///< whose badges are shown; null for none

    /// Where the picture's origin lies in the view.
    QPointF origin() const;
};

struct Picture {
    /// A conversation on the ring, or a link between a host and a service.
    struct Chord {
        std::uint32_t from = 0, to = 0; ///< node indices
        Selected what;
        std::vector<const CommPair*> pairs; ///< the directions, of the request's pairs; empty for a link
        std::uint64_t volume = 0;
        double width = 1;
        ProtocolColors::RGB color;
        double first = 0, last = 0; ///< seconds
    };

    explicit Picture(PictureRequest request);

    const std::vector<CircleNode>& nodes() const { return isRing() ? ring.nodes : services.nodes; }
    bool isRing() const { return request.mode != CircleHostLayoutMode::byProtocol; }
    Selected whatOf(const CircleNode& node) const;
    double nodeRadius() const { return isRing() ? ring.nodeRadius : services.nodeRadius; }
    /// In the view's points, as the request places the picture.
    QPointF positionOf(const CircleNode& node) const;

    /// What lies under a point of the view. `prefer` keeps its chord while that is hardly farther than the nearest.
    std::optional<std::uint32_t> nodeAt(const QPointF& point) const;
    std::optional<std::uint32_t> chordAt(const QPointF& point, const Selected& prefer) const;
    /// The host or conversation whose badge lies there.
    Selected badgeAt(const QPointF& point) const;
    std::optional<std::uint32_t> findNode(const Selected& what) const;
    std::optional<std::uint32_t> findChord(const Selected& what) const;
    /// The node indices in the order in which the arrow keys walk them: around the ring, or down the columns.
    std::vector<std::uint32_t> walk() const;

    /// The view with some chords and nodes lit and the rest faint.
    QImage lit(const std::vector<std::uint32_t>& litChords, const std::vector<std::uint32_t>& litNodes,
               const std::vector<std::uint32_t>& named) const;

    PictureRequest request;
    CircleLayout ring;                            ///< where `isRing`
    HostServiceLayout services;                   ///< elsewhere
    std::shared_ptr<const AngleByAddress> places; ///< where `isRing`: the request's, and those of newcomers
    CircleScene scene;
    std::vector<SceneBadge> badges;
    std::vector<Chord> chords;
    std::vector<std::vector<std::uint32_t>> chordsOf; ///< by node
    QImage image;                                     ///< the whole view, in pixels
    QImage faint;                                     ///< the same, faded into the ground

private:
    void layOutRing();
    void seatNewcomers();
    void layOutServices();
    void draw();
    Selected whatOf(const SceneBadge& badge) const;
    /// The names of nodes that are lit: their own labels where those can be read. Those that would cover another give
    /// way; the `named` ones go first. `gap` is from a node to a name that is put beside it.
    void addNames(CircleScene& shown, const std::vector<std::uint32_t>& litNodes,
                  const std::vector<std::uint32_t>& named, double gap) const;
};

} // namespace netrondo
