#include "Views/Picture.h"

#include "Circle/PairID.h"
#include "Circle/UndirectedPairs.h"
#include "Drawing/RasterShapes.h"
#include "Drawing/ScenePainter.h"
#include "Models/CaptureFindings.h"
#include "Models/Text.h"

#include <QPainter>
#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cmath>
#include <numeric>

namespace netrondo {
namespace {

/// How far a chord may be farther than the nearest one and still keep the pointer's attention.
constexpr double hysteresis = 2.0;
constexpr double hitSlop = 3.0;

QColor asQt(const ProtocolColors::RGB& color)
{
    return {color.r, color.g, color.b};
}

Selected whatOfAddress(const std::string& address)
{
    return address.starts_with(UndirectedPairs::servicePrefix)
        ? Selected::service(address.substr(UndirectedPairs::servicePrefix.size()))
        : Selected::host(address);
}

} // namespace

QPointF PictureRequest::origin() const
{
    const QPointF middle(size.width() / 2, size.height() / 2);
    return middle * (1 - zoom) + shift;
}

Picture::Picture(PictureRequest wanted) : request(std::move(wanted))
{
    if (isRing())
        layOutRing();
    else
        layOutServices();
    chordsOf.resize(nodes().size());
    for (std::uint32_t i = 0; i < chords.size(); ++i) {
        chordsOf[chords[i].from].push_back(i);
        if (chords[i].to != chords[i].from)
            chordsOf[chords[i].to].push_back(i);
    }
    draw();
}

void Picture::layOutRing()
{
    CircleLayout::Parameters parameters{
        .size = {request.size.width() * request.zoom, request.size.height() * request.zoom},
        .pairs = request.pairs,
        .useBytes = request.useBytes,
        .showLineThickness = request.showLineThickness,
        .showHostNames = request.showHostNames};
    if (request.angles && !request.angles->empty())
        parameters.stableAngleByAddress = *request.angles;
    ring = CircleLayout(CircleLayout::Parameters(parameters));
    parameters.ringInset = ringInsetForLabels(ring, sceneTextWidth);
    ring = CircleLayout(std::move(parameters));
    scene = circleScene(ring, request.style, sceneTextWidth);
    seatNewcomers();
    if (request.findings) {
        badges = placeBadges(ring, scene.discs.size() > 1 ? scene.discs.back().radius : 0, request.findings->marks());
        addBadges(scene, badges);
    }

    boost::unordered_flat_map<std::string_view, std::uint32_t, std::hash<std::string_view>> nodeOf;
    for (std::uint32_t i = 0; i < ring.nodes.size(); ++i)
        nodeOf.emplace(ring.nodes[i].address, i);
    boost::unordered_flat_map<std::uint64_t, std::size_t> chordOf;
    for (const auto& pair : ring.pairs) {
        const auto from = nodeOf.at(pair.srcAddr), to = nodeOf.at(pair.dstAddr);
        const auto [at, isNew] =
            chordOf.try_emplace(std::uint64_t{std::min(from, to)} << 32 | std::max(from, to), chords.size());
        if (isNew)
            chords.push_back({from, to, Selected::conversation(pair.srcAddr, pair.dstAddr), {}, 0, 1, {}, 0, 0});
        auto& chord = chords[at->second];
        const auto first = pair.firstSeenSeconds.value_or(0), last = pair.lastSeenSeconds.value_or(first);
        chord.first = isNew ? first : std::min(chord.first, first);
        chord.last = isNew ? last : std::max(chord.last, last);
        // The direction that carried more gives the chord its colour and width, as in the scene.
        if (const auto volume = ring.volume(pair); isNew || volume > chord.volume) {
            chord.volume = volume;
            chord.width = ring.lineThickness(pair, true);
            chord.color = ring.edgeColor(pair, request.style.colorMode, request.style.thresholds);
        }
        chord.pairs.push_back(&pair);
    }
}

void Picture::seatNewcomers()
{
    places = request.angles;
    std::shared_ptr<AngleByAddress> grown; // only a copy can grow: others look at what was asked for
    for (const auto& node : ring.nodes) {
        if (places && places->contains(node.address))
            continue;
        if (!grown) {
            grown = places ? std::make_shared<AngleByAddress>(*places) : std::make_shared<AngleByAddress>();
            places = grown;
        }
        grown->emplace(node.address, std::atan2(node.position.y - ring.center.y, node.position.x - ring.center.x));
    }
}

void Picture::layOutServices()
{
    HostServiceLayout::Parameters parameters{
        .size = {request.size.width() * request.zoom, request.size.height() * request.zoom},
        .pairs = request.pairs,
        .useBytes = request.useBytes,
        .showLineThickness = request.showLineThickness,
        .showHostNames = request.showHostNames};
    services = HostServiceLayout(HostServiceLayout::Parameters(parameters));
    parameters.columnInset = columnInsetForLabels(services, sceneTextWidth);
    services = HostServiceLayout(std::move(parameters));
    scene = serviceScene(services, request.style, sceneTextWidth);
    if (request.findings) {
        badges = placeBadges(services, request.findings->marks());
        addBadges(scene, badges);
    }
    for (const auto& link : services.links)
        chords.push_back(
            {link.host,
             link.service,
             Selected::conversation(services.nodes[link.host].address, services.nodes[link.service].address),
             {},
             link.volume,
             services.lineThickness(link, true),
             services.linkColor(link),
             link.firstSeconds,
             link.lastSeconds});
}

void Picture::draw()
{
    const auto pixels = (request.size * request.pixelRatio).toSize();
    const auto ground = asQt(palette(request.style.theme).ground);
    image = QImage(pixels.expandedTo({1, 1}), QImage::Format_RGB32);
    image.setDevicePixelRatio(request.pixelRatio);
    image.setDotsPerMeterX(3780); // 96 an inch, which the sizes of letters are meant for; the ratio does the rest
    image.setDotsPerMeterY(3780);
    image.fill(ground);
    {
        QPainter painter(&image);
        painter.translate(request.origin());
        play(scene, painter);
    }
    faint = image.copy();
    auto veil = ground;
    veil.setAlphaF(0.74F);
    QPainter painter(&faint);
    painter.fillRect(QRectF(QPointF(), request.size), veil);
}

Selected Picture::whatOf(const CircleNode& node) const
{
    return whatOfAddress(node.address);
}

QPointF Picture::positionOf(const CircleNode& node) const
{
    return QPointF(node.position.x, node.position.y) + request.origin();
}

Selected Picture::whatOf(const SceneBadge& badge) const
{
    const auto &from = nodes()[badge.from], &to = nodes()[badge.to];
    return badge.from == badge.to ? whatOf(from) : Selected::conversation(from.address, to.address);
}

Selected Picture::badgeAt(const QPointF& point) const
{
    const auto at = point - request.origin();
    for (const auto& badge : badges)
        if (distance(badge.center, {at.x(), at.y()}) <= badge.radius + 1)
            return whatOf(badge);
    return {};
}

std::optional<std::uint32_t> Picture::nodeAt(const QPointF& point) const
{
    const auto at = point - request.origin();
    const auto* const node = isRing() ? ring.findNode({at.x(), at.y()}) : services.findNode({at.x(), at.y()});
    if (!node)
        return std::nullopt;
    return static_cast<std::uint32_t>(node - nodes().data());
}

std::optional<std::uint32_t> Picture::chordAt(const QPointF& point, const Selected& prefer) const
{
    const auto at = point - request.origin();
    const bool prefers = prefer.kind == Selected::Kind::conversation;
    const auto id = prefers ? std::optional(prefer.a + std::string(pairArrow) + prefer.b) : std::nullopt;
    const double kept = prefers ? hysteresis : 0;
    if (isRing()) {
        const auto* const pair = ring.findPair({at.x(), at.y()}, hitSlop, id, kept);
        return pair ? findChord(Selected::conversation(pair->srcAddr, pair->dstAddr)) : std::nullopt;
    }
    const auto* const link = services.findLink({at.x(), at.y()}, hitSlop, id, kept);
    if (!link)
        return std::nullopt;
    return static_cast<std::uint32_t>(link - services.links.data());
}

std::optional<std::uint32_t> Picture::findNode(const Selected& what) const
{
    for (std::uint32_t i = 0; i < nodes().size(); ++i)
        if (whatOf(nodes()[i]) == what)
            return i;
    return std::nullopt;
}

std::optional<std::uint32_t> Picture::findChord(const Selected& what) const
{
    const auto at = std::ranges::find(chords, what, &Chord::what);
    if (at == chords.end())
        return std::nullopt;
    return static_cast<std::uint32_t>(at - chords.begin());
}

std::vector<std::uint32_t> Picture::walk() const
{
    std::vector<std::uint32_t> order(nodes().size());
    std::iota(order.begin(), order.end(), 0U);
    if (isRing())
        std::ranges::stable_sort(order, {}, [&](std::uint32_t i) {
            const auto& at = nodes()[i].position;
            const double fromTop = std::atan2(at.y - ring.center.y, at.x - ring.center.x) + std::numbers::pi / 2;
            return fromTop < -1e-9 ? fromTop + 2 * std::numbers::pi : fromTop;
        });
    return order;
}

void Picture::addNames(CircleScene& shown, const std::vector<std::uint32_t>& litNodes,
                       const std::vector<std::uint32_t>& named, double gap) const
{
    constexpr double font = 13, leastFont = 9, legible = 10, pad = 4;
    const auto& colors = palette(request.style.theme);
    const auto origin = request.origin();
    const QRectF view(-origin.x(), -origin.y(), request.size.width(), request.size.height());
    const auto middle = isRing() ? ring.center : services.center;
    std::vector<const SceneLabel*> labelOf(nodes().size());
    for (const auto& label : scene.labels)
        if (label.node != SceneLabel::noNode)
            labelOf[label.node] = &label;

    std::vector<QRectF> taken;
    const auto name = [&](std::uint32_t i) {
        const auto& node = nodes()[i];
        if (const auto* const label = labelOf[i]; label && label->size >= legible)
            return shown.labels.push_back(*label); // over its own faint self
        if (!view.contains(QPointF(node.position.x, node.position.y)))
            return;
        // Too small to be read or not there at all: level, on a plate of the ground's colour, outwards of the node.
        const bool isRight = isRing() ? node.position.x >= middle.x : node.role == CircleNode::Role::service;
        const double room = (isRight ? view.right() - node.position.x : node.position.x - view.left()) - gap - 2 * pad;
        double size = font;
        while (size > leastFont && sceneTextWidth(node.displayLabel, size, true) > room)
            size -= 0.5;
        const double width = sceneTextWidth(node.displayLabel, size, true);
        const double x = std::clamp(node.position.x + (isRight ? gap : -gap - width), view.left() + pad,
                                    std::max(view.right() - pad - width, view.left() + pad));
        const QRectF plate(x - pad, node.position.y - 10, width + 2 * pad, 20);
        if (std::ranges::any_of(taken, [&](const QRectF& other) { return other.intersects(plate); }))
            return;
        taken.push_back(plate);
        shown.boxes.push_back({{plate.x(), plate.y()}, {plate.width(), plate.height()}, 4, {colors.ground}});
        shown.labels.push_back(
            {node.displayLabel, {x, node.position.y}, 0, SceneLabel::Align::start, size, true, {colors.text}});
    };
    std::ranges::for_each(named, name);
    constexpr std::size_t fewNodes = 40; // more names than that would cover the picture
    if (litNodes.size() <= fewNodes)
        for (const auto i : litNodes)
            if (std::ranges::find(named, i) == named.end())
                name(i);
}

QImage Picture::lit(const std::vector<std::uint32_t>& litChords, const std::vector<std::uint32_t>& litNodes,
                    const std::vector<std::uint32_t>& named) const
{
    auto frame = faint.copy();
    const auto origin = request.origin();
    const auto& colors = palette(request.style.theme);
    CircleScene shown;
    std::vector<std::uint32_t> byVolume = litChords;
    std::ranges::stable_sort(byVolume, {}, [&](std::uint32_t i) { return chords[i].volume; });
    for (const auto i : byVolume) {
        const auto& chord = chords[i];
        const SceneColor color{chord.color, litChords.size() > 300 ? 0.55 : 0.95};
        if (isRing())
            shown.lines.push_back({nodes()[chord.from].position, nodes()[chord.to].position, chord.width, color});
        else
            shown.curves.push_back({services.curve(services.links[i]), chord.width, color});
    }
    const double drawn = scene.discs.size() > 1 ? scene.discs.back().radius : nodeRadius();
    for (const auto i : litNodes) {
        const auto& node = nodes()[i];
        shown.discs.push_back({node.position, std::max(drawn, 3.0) + 1, {node.protocolColor}, 1.5, {colors.text}});
    }
    // Badges of what is lit are as strong as it.
    std::vector<SceneBadge> litBadges;
    for (const auto& badge : badges) {
        const bool isLit = badge.from == badge.to
            ? std::ranges::find(litNodes, badge.from) != litNodes.end()
            : std::ranges::any_of(litChords, [&](std::uint32_t i) {
                  return std::minmax(chords[i].from, chords[i].to) == std::minmax(badge.from, badge.to);
              });
        if (isLit)
            litBadges.push_back(badge);
    }
    shown.ground = {colors.ground};
    addBadges(shown, litBadges);
    addNames(shown, litNodes, named, std::max(drawn, 3.0) + 8);
    shown.ground = {colors.ground, 0};
    QPainter painter(&frame);
    painter.translate(origin);
    play(shown, painter);
    return frame;
}

} // namespace netrondo
