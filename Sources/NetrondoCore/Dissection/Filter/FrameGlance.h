// What the fixed places of an ordinary frame say without decoding it: enough for most of what filters ask, in a few
// nanoseconds.
#pragma once

#include "Base/Address.h"
#include "Capture/CaptureFrame.h"
#include "Dissection/Decode/DecodeSession.h"
#include "Dissection/Decode/OrdinaryHeaders.h"
#include "Dissection/Decode/Protocol.h"
#include "Dissection/Filter/DisplayFilterCatalog.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace netrondo {

/// Where a catalogue field's values can be seen at a glance.
struct GlanceField {
    /// Whose field it is; a frame without that layer has no values.
    enum class Place : std::uint8_t { frame, eth, ip, ipv6, tcp, udp, otherNetwork, application };
    enum class What : std::uint8_t {
        layer, ///< whether it is there
        sourcePort,
        destinationPort,
        eitherPort,
        source,
        destination,
        either,
        flag,
        length,
        unseen, ///< in the layer's bytes somewhere; takes decoding
    };

    Place place;
    What what;
    std::uint8_t flag = 0;
    std::string_view owner{}; ///< the protocol whose name the field's begins with

    explicit GlanceField(const DisplayFilterField& field);
};

/// A look at one frame with `OrdinaryHeaders`. Of any other frame it says that it cannot tell.
class FrameGlance {
public:
    /// The frame, its headers and the session, if there is one, outlive this object.
    FrameGlance(const CaptureFrame& frame, const std::optional<OrdinaryHeaders>& headers, const DecodeSession* session)
        : frame_(frame), session_(session), headers_(headers && !mayCarryPackets(*headers) ? &*headers : nullptr)
    { }

    /// Shows `visit` the values under the field until it returns true, and tells whether it did; nothing where a glance
    /// does not show them.
    template <typename Visit> std::optional<bool> anyValue(const GlanceField& field, Visit visit)
    {
        using Place = GlanceField::Place;
        using What = GlanceField::What;
        if (field.place == Place::frame) {
            if (field.what == What::layer)
                return visit(std::string_view("true"));
            if (field.what == What::length)
                return visit(std::uint64_t{frame_.originalLength});
        }
        if (!headers_)
            return isAboutPorts(field.what) && hasNoPorts() ? std::optional(false) : std::nullopt;
        const auto isThere = has(field);
        if (!isThere)
            return {};
        if (!*isThere)
            return false;
        switch (field.what) {
        case What::layer: return visit(std::string_view("true"));
        case What::sourcePort: return visit(std::uint64_t{headers_->sourcePort()});
        case What::destinationPort: return visit(std::uint64_t{headers_->destinationPort()});
        case What::eitherPort:
            return visit(std::uint64_t{headers_->sourcePort()}) || visit(std::uint64_t{headers_->destinationPort()});
        case What::source: return visitAddress(source(field.place), visit);
        case What::destination: return visitAddress(destination(field.place), visit);
        case What::either:
            return visitAddress(source(field.place), visit) || visitAddress(destination(field.place), visit);
        case What::flag: return visit(std::string_view(headers_->transport[13] & field.flag ? "true" : "false"));
        case What::length:
        case What::unseen: break;
        }
        return {};
    }

private:
    /// Tunnels are known by their ports alone: of what is guessed, nothing carries packets.
    static bool mayCarryPackets(const OrdinaryHeaders& headers);
    static constexpr bool isAboutPorts(GlanceField::What what)
    {
        using What = GlanceField::What;
        return what == What::sourcePort || what == What::destinationPort || what == What::eitherPort;
    }
    /// True for ARP and ICMP, which show no ports in the packet list, whatever they quote.
    bool hasNoPorts() const;
    /// Whether the frame has the field's layer; nothing where it takes decoding to tell.
    std::optional<bool> has(const GlanceField& field);
    /// The protocol that would decode the payload, or none.
    const Protocol* application();
    /// Whether earlier segments left something that the payload may go on with.
    bool isFollowed() const;

    Address source(GlanceField::Place place) const;
    Address destination(GlanceField::Place place) const;

    template <typename Visit> static bool visitAddress(const Address& address, Visit& visit)
    {
        char text[Address::maxText];
        return visit(std::string_view(text, address.write(text)));
    }

    const CaptureFrame& frame_;
    const DecodeSession* session_;
    const OrdinaryHeaders* headers_;             ///< null where they do not tell
    std::optional<const Protocol*> application_; ///< once it was asked for
};

} // namespace netrondo
