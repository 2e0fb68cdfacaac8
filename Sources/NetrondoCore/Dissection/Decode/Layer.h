// A dissector's view of its own bytes: reading moves forward, adds nodes to the tree and never leaves the bytes.
#pragma once

#include "Base/Bytes.h"
#include "Dissection/Decode/Decoding.h"
#include "Dissection/Decode/Protocol.h"

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>

namespace netrondo {

class Layer {
public:
    Layer(Decoding& decoding, const PendingLayer& place);

    // Reading. Past the end these yield 0 or nothing, add no node and mark the layer as stopped, once and for all.

    // Inlined where the field is known to the compiler, what remains is a load and a node.
    [[gnu::always_inline]] std::uint64_t read(const Field& field)
    {
        const auto size = sizeOf(field.wire);
        if (left() < size || stopped_) [[unlikely]]
            return stopAt(field, size);
        const auto number = load(field.wire, at());
        tree_.add(field, number, offset_, size, flags_);
        offset_ += static_cast<std::uint32_t>(size);
        return number;
    }
    /// One after the other; where all are there, their nodes are added at once.
    template <typename... More>
    [[gnu::always_inline]] void read(const Field& first, const Field& second, const More&... more)
    {
        if (stopped_ || left() < sizeOf(first.wire) + (sizeOf(second.wire) + ... + sizeOf(more.wire))) [[unlikely]]
            return readSome({&first, &second, &more...});
        auto [node, index] = tree_.extend(2 + sizeof...(more));
        const auto put = [&](const Field& field) __attribute__((always_inline))
        {
            const auto size = sizeOf(field.wire);
            *node++ = DecodeTree::leaf(field, load(field.wire, at()), offset_, size, index++, flags_);
            offset_ += static_cast<std::uint32_t>(size);
        };
        put(first), put(second), (put(more), ...);
    }
    /// Reads a number and adds a node for each of the parts it is made of.
    template <typename... Parts>
    [[gnu::always_inline]] std::uint64_t readParts(const Field& whole, const Parts&... parts)
    {
        const auto size = sizeOf(whole.wire);
        if (left() < size || stopped_) [[unlikely]]
            return stopAt(whole, size);
        const auto number = load(whole.wire, at());
        addParts(whole, number, offset_, size, parts...);
        offset_ += static_cast<std::uint32_t>(size);
        return number;
    }
    Bytes readBytes(const Field& field, std::size_t count);
    std::string_view readText(const Field& field, std::size_t count);
    /// Text up to a zero byte, which is consumed too; up to the end of the layer when there is none.
    std::string_view readZeroText(const Field& field);
    /// A line without its CR LF (or LF), which is consumed too.
    std::string_view readLine(const Field& field);
    void skip(std::size_t count);
    /// Everything that is left.
    Bytes readRest(const Field& field) { return readBytes(field, left()); }

    // Looking ahead, without a trace; 0 past the end.
    std::uint8_t peek8(std::size_t ahead = 0) const { return left() > ahead ? at()[ahead] : std::uint8_t{0}; }
    std::uint16_t peek16(std::size_t ahead = 0) const
    {
        return left() >= ahead + 2 ? load::be16(at() + ahead) : std::uint16_t{0};
    }
    std::uint32_t peek32(std::size_t ahead = 0) const { return left() >= ahead + 4 ? load::be32(at() + ahead) : 0; }
    Bytes rest() const { return {base_ + offset_, left()}; }
    /// The bytes of a node of this layer.
    Bytes bytesOf(const Node& node) const { return tree_.bytesOf(node); }
    /// All bytes of the layer from its first one on.
    Bytes whole() const { return {base_ + begin_, static_cast<std::size_t>(end_ - begin_)}; }

    /// From here on `whole` is about what follows: a message that is led by its length.
    void rebase() { begin_ = offset_; }

    std::size_t left() const { return end_ - offset_; }
    /// What is left by the words of the protocols outside, captured or not.
    std::size_t leftOnWire() const { return wireEnd_ - offset_; }
    bool isCut() const { return wireEnd_ > end_; }
    std::uint32_t offset() const { return offset_; }
    std::uint32_t begin() const { return begin_; }
    bool stopped() const { return stopped_; }
    bool more(std::size_t count = 1) const { return !stopped_ && left() >= count && !tree_.full(); }

    // Nodes that no `read` makes.
    Node& add(const Field& field, std::uint64_t number, std::size_t from, std::size_t length)
    {
        return tree_.add(field, number, from, length, flags_);
    }
    /// A node and, as its children, the parts of its number; they all stand for the same bytes.
    template <typename... Parts>
    [[gnu::always_inline]] void addParts(const Field& whole, std::uint64_t number, std::size_t from, std::size_t length,
                                         const Parts&... parts)
    {
        auto [node, index] = tree_.extend(1 + sizeof...(parts));
        *node = DecodeTree::leaf(whole, number, from, length, index, flags_);
        node->end = static_cast<std::uint32_t>(index + 1 + sizeof...(parts));
        ((*++node = DecodeTree::leaf(parts, partOf(parts, number), from, length, ++index, flags_)), ...);
    }
    /// A number worked out by the dissector; it stands for no bytes.
    Node& add(const Field& field, std::uint64_t number) { return add(field, number, 0, 0); }
    Node& addText(const Field& field, std::string_view text, std::size_t from, std::size_t length)
    {
        return add(field, tree_.keep(text), from, length);
    }
    /// Marks the node added last.
    void mark(Expert expert) { tree_.at(tree_.size() - 1).expert = expert; }
    void mark(std::uint32_t node, Expert expert) { tree_.at(node).expert = expert; }
    /// Says why nothing further is read: the bytes contradict the protocol.
    void reject(const Field& reason);

    /// While it lives, nodes become children of `field`'s node, which ends up with the bytes read meanwhile.
    class Group {
    public:
        Group(Layer& layer, const Field& field, std::uint64_t number = 0) : layer_(layer), index_(layer.tree_.size())
        {
            layer.add(field, number, layer.offset_, 0);
        }
        ~Group()
        {
            auto& node = layer_.tree_.at(index_);
            node.length = layer_.offset_ - node.offset;
            layer_.tree_.close(index_);
        }
        Group(const Group&) = delete;
        Group& operator=(const Group&) = delete;
        void setNumber(std::uint64_t number) { layer_.tree_.at(index_).number = number; }
        void setText(std::string_view text) { layer_.tree_.at(index_).number = layer_.tree_.keep(text); }
        std::uint32_t node() const { return index_; }

    private:
        Layer& layer_;
        std::uint32_t index_;
    };

    /// While it lives, the layer ends after `count` bytes; afterwards it stands behind them, read or not. More bytes
    /// than there are stop the layer once the existing ones have been read.
    class Window {
    public:
        Window(Layer& layer, std::size_t count);
        ~Window();
        Window(const Window&) = delete;
        Window& operator=(const Window&) = delete;

    private:
        Layer& layer_;
        std::uint32_t end_, wireEnd_, target_;
        bool tooLong_;
    };

    // The next protocol. It gets the bytes from the current offset on, up to `count` of them.

    /// By the first claim that is met, then by content; with `Transport::none` content is not asked. False when nobody
    /// knows the bytes; they become a data node.
    bool handOver(std::initializer_list<Claim> claims, std::size_t count = SIZE_MAX);
    bool handOver(Claim claim, std::size_t count = SIZE_MAX) { return handOver({claim}, count); }
    void handOver(const Protocol& protocol, std::size_t count = SIZE_MAX);
    /// A part of this protocol's message in a format of its own; the packet list stays with this protocol.
    void embed(const Protocol& protocol, std::size_t count = SIZE_MAX);
    void embedOwn(const Protocol& protocol, std::size_t offset, std::size_t count);
    void embedCopy(const Protocol& protocol, Bytes bytes);
    /// A transport's payload, by its two ports and by content.
    bool handOverPayload(Transport transport, std::uint16_t sourcePort, std::uint16_t destinationPort);
    /// A TCP segment's payload, which goes on with what earlier segments left: `together` is the node that says so.
    void handOverSegment(std::uint16_t sourcePort, std::uint16_t destinationPort, std::uint32_t sequence,
                         const Field& together);
    void handOverData(std::size_t count = SIZE_MAX);
    /// What is left is padding or a trailer of the link.
    void endHere();
    /// Bytes that the tree holds itself (decrypted, unpacked) for a protocol.
    void handOverOwn(const Protocol& protocol, std::size_t offset, std::size_t count);
    void setStream() { isStream_ = true; }
    bool isStream() const { return isStream_; }
    /// Whether the protocol's usual framing is missing because its carrier does without.
    bool isBare() const { return isBare_; }
    void setBare() { isBare_ = true; }

    // Messages of a stream.

    /// How many of the first bytes belong to a message that began in an earlier segment.
    std::size_t continued() const { return continued_; }
    /// A message begins here. When it is not all here, it is kept until the segment that completes it.
    void beginMessage()
    {
        message_ = offset_;
        hasMessage_ = true;
        missing_ = 0;
    }
    /// The message does not end with this segment, but for so many bytes nobody needs to see more of it.
    void goesOn(std::uint64_t count) { goesOn_ = count; }
    /// So many bytes of the message follow. A long one that is not all here goes by instead of being kept; then the
    /// answer is true.
    bool expect(std::uint64_t size)
    {
        constexpr std::uint64_t longMessage = 16 * 1024;
        const bool goesBy = size > leftOnWire() && size > longMessage;
        if (goesBy)
            goesOn(size - leftOnWire());
        return goesBy;
    }
    /// Nothing more can be read before at least so many bytes have followed the ones that are here.
    void await(const Field& what, std::size_t missing = 1) { stopAt(what, left() + missing); }
    /// A datagram of which this piece is the last to come: its payload, put together, goes to the claimant. False while
    /// pieces are missing; the piece has not been read then.
    bool handOverDatagram(const DatagramPiece& piece, Claim claim, const Field& together);
    /// A connection between the ends of this segment begins, or is answered; the data begin with that number.
    void beginConnection(std::uint16_t sourcePort, std::uint16_t destinationPort, std::uint32_t sequence,
                         bool isAnswer);
    /// What the protocol keeps of this way of the connection, or of both; null when frames are not followed, and for a
    /// segment that only repeats what was seen.
    enum class Ways { one, both };
    template <typename T> T* memory(Transport transport, Ways ways)
    {
        auto* const place = memorySlot(transport, ways);
        if (!place)
            return nullptr;
        if (!*place)
            *place = std::make_unique<T>();
        return dynamic_cast<T*>(place->get());
    }

    /// From the low end of the connection to the high one (0), or back (1).
    std::uint8_t way(Transport transport) { return placeIn(transport).way; }
    /// From here on the connection's payloads are this protocol's, whatever they look like.
    void learn(Transport transport, const Protocol& protocol)
    {
        if (decoding_.session)
            decoding_.session->learn(placeIn(transport).key, protocol);
    }
    /// Keeps what this layer had from its memory, for when the frame is decoded out of turn; then `kept` gives it back.
    void keep(Bytes bytes)
    {
        if (decoding_.session)
            decoding_.session->keep(ContextKind::protocol, nullptr, 0, bytes);
    }
    std::optional<Bytes> kept()
    {
        const auto* found = decoding_.contexts ? decoding_.contexts->next(ContextKind::protocol) : nullptr;
        return found ? std::optional(decoding_.contexts->bytesOf(*found)) : std::nullopt;
    }
    /// Copies bytes into the tree's own and hands them over.
    void handOverCopy(const Protocol& protocol, Bytes bytes);

    // What layers know of each other.
    Decoding& frame() { return decoding_; }
    FrameSummary& summary() { return decoding_.summary; }
    DecodeTree& tree() { return tree_; }
    /// The addresses shown in the packet list, unless the packet is only quoted.
    void setEndpoints(const Address& source, const Address& destination);
    void setPorts(Transport transport, std::uint16_t source, std::uint16_t destination);
    bool isQuoted() const { return flags_ & Node::quoted; }
    /// Whether the bytes are the tree’s own: decrypted or unpacked.
    bool isOwn() const { return flags_ & Node::derivedBytes; }

    static std::uint64_t partOf(const Field& part, std::uint64_t number)
    {
        return part.mask ? (number & part.mask) >> __builtin_ctzll(part.mask) : number;
    }

    /// Adds the node that says where and why reading stopped, if it did; the driver's last act for a layer.
    void finish();

private:
    friend class Group;
    friend class Window;

    const std::uint8_t* at() const { return base_ + offset_; }
    [[gnu::always_inline]] static std::uint64_t load(Wire wire, const std::uint8_t* at)
    {
        switch (sizeOf(wire)) {
        case 1: return wire == Wire::i8 ? static_cast<std::uint64_t>(static_cast<std::int8_t>(*at)) : *at;
        case 2:
            return wire == Wire::le16 || wire == Wire::leHex16 ? netrondo::load::le16(at) : netrondo::load::be16(at);
        case 3: return std::uint64_t{netrondo::load::be16(at)} << 8 | at[2];
        case 4:
            if (wire == Wire::le32 || wire == Wire::leHex32)
                return netrondo::load::le32(at);
            if (wire == Wire::i32)
                return static_cast<std::uint64_t>(static_cast<std::int32_t>(netrondo::load::be32(at)));
            return netrondo::load::be32(at);
        case 6: return netrondo::load::be48(at);
        case 8:
            return wire == Wire::le64 || wire == Wire::leHex64 || wire == Wire::fileTime ? netrondo::load::le64(at)
                                                                                         : netrondo::load::be64(at);
        default: return 0;
        }
    }
    std::uint64_t stopAt(const Field& field, std::size_t need);
    /// As many of the fields as are there.
    void readSome(std::initializer_list<const Field*> fields);
    const Protocol* protocolOfConnection(Transport transport);
    ConnectionPlace placeIn(Transport transport);
    std::unique_ptr<ProtocolMemory>* memorySlot(Transport transport, Ways ways);
    bool handOverTogether(const Protocol& protocol, const StreamContext& context, const Field& together);
    void leaveMessage();
    /// Makes what was handed over since then embedded.
    void embedFrom(std::size_t pendingCount);

    Decoding& decoding_;
    DecodeTree& tree_;
    const std::uint8_t* base_;
    std::uint32_t begin_;
    std::uint32_t offset_;
    std::uint32_t end_;
    std::uint32_t wireEnd_;
    std::uint8_t flags_;
    bool isStream_;
    bool isSegment_;
    bool isBare_;
    std::uint32_t continued_;
    std::uint16_t windows_ = 0;  ///< windows that are open
    std::uint16_t shortWindows_; ///< those of them whose bytes are not all there; the message itself counts as one
    std::uint32_t message_ = 0;
    bool hasMessage_ = false;
    std::uint64_t missing_ = 0; ///< how many bytes the unfinished message is known to lack
    std::uint64_t goesOn_ = 0;
    bool stopped_ = false;
    bool handedOver_ = false;
    bool passedCut_ = false; ///< what the capture cut off belongs to an inner layer
    bool isCutStop_ = false;
    const Field* stopField_ = nullptr;
    std::uint32_t stopOffset_ = 0;
    Expert stopExpert_ = Expert::none;
};

} // namespace netrondo
