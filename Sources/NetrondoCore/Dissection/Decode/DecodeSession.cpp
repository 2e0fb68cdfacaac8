// Connections by their ends, messages by their sequence numbers, datagrams by their pieces.
#include "Dissection/Decode/DecodeSession.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace netrondo {

ConnectionPlace ConnectionPlace::of(Transport transport, const Address& source, std::uint16_t sourcePort,
                                    const Address& destination, std::uint16_t destinationPort)
{
    const auto wordsOf = [](const Address& address, std::uint16_t port) {
        return std::tuple(address.high, address.low, port);
    };
    if (wordsOf(source, sourcePort) <= wordsOf(destination, destinationPort))
        return {{source, destination, sourcePort, destinationPort, transport}, 0};
    return {{destination, source, destinationPort, sourcePort, transport}, 1};
}

void DecodeSession::beginFrame(std::uint64_t number, std::int64_t nanoseconds)
{
    number_ = number;
    now_ = nanoseconds;
    isRepeated_ = hasDatagram_ = false;
}

void DecodeSession::forgetAll()
{
    connections_.clear();
    pendingBytes_ = memories_ = noted_ = 0;
}

void DecodeSession::forget(const ConnectionKey& key)
{
    const auto found = connections_.find(key);
    if (found == connections_.end())
        return;
    for (auto& way : found->second.ways) {
        dropPending(way);
        memories_ -= way.memory != nullptr;
    }
    connections_.erase(found);
}

void DecodeSession::begin(const ConnectionPlace& place, std::uint32_t sequence, bool isAnswer)
{
    const auto found = connections_.find(place.key);
    if (found != connections_.end() && !(isAnswer && found->second.isIdle()))
        forget(place.key);
    auto& connection = note(place.key);
    auto& way = connection.ways[place.way];
    way.next = sequence;
    way.isFollowed = true;
    for (std::size_t i = 0; i < std::min(expectedCount_, expected_.size()); ++i) {
        if (expected_[i].isEndOf(place.key))
            connection.protocol = expected_[i].protocol;
    }
}

void DecodeSession::expect(const Address& end, std::uint16_t port, const Protocol& protocol)
{
    for (auto& known : expected_) {
        if (known.end == end && known.port == port)
            return static_cast<void>(known.protocol = &protocol);
    }
    expected_[expectedCount_++ % expected_.size()] = {end, port, &protocol};
}

bool DecodeSession::isFollowing(const ConnectionPlace& place, std::uint32_t sequence) const
{
    const auto found = connections_.find(place.key);
    if (found == connections_.end())
        return false;
    const auto& way = found->second.ways[place.way];
    return !found->second.isIdle() || (way.isFollowed && way.next != sequence);
}

const Protocol* DecodeSession::protocolOf(const ConnectionKey& key) const
{
    const auto found = connections_.find(key);
    return found == connections_.end() ? nullptr : found->second.protocol;
}

DecodeSession::Connection& DecodeSession::connect(const ConnectionKey& key)
{
    if (connections_.size() >= maxConnections)
        forgetAll();
    return connections_[key];
}

DecodeSession::Connection& DecodeSession::note(const ConnectionKey& key)
{
    if (noted_++ == maxIdle) {
        erase_if(connections_, [](const auto& entry) { return entry.second.isIdle(); });
        noted_ = 1;
    }
    return connect(key);
}

std::unique_ptr<ProtocolMemory>* DecodeSession::memory(const ConnectionPlace& place)
{
    auto& way = connect(place.key).ways[place.way];
    if (!way.memory && memories_++ >= maxMemories) {
        forgetAll();
        return nullptr;
    }
    return &way.memory;
}

StreamContext DecodeSession::enterStream(const ConnectionPlace& place, std::uint32_t sequence, std::uint32_t size,
                                         bool isWhole)
{
    place_ = place;
    sequence_ = sequence;
    size_ = size;
    isWhole_ = isWhole;
    context_ = {};
    isPassing_ = isEarly_ = isFilling_ = false;
    gap_.reset();
    after_.clear();
    const auto found = connections_.find(place.key);
    if (found == connections_.end())
        return context_;
    auto& way = found->second.ways[place.way];
    context_.protocol = found->second.protocol;
    if (way.isFollowed && static_cast<std::int32_t>(sequence - way.next) < -farBack) { // of another connection
        dropPending(way);
        way.skip = way.needed = 0;
        way.isFollowed = false;
    }
    if (way.isFollowed) {
        const auto ahead = sequence - way.next;
        if (static_cast<std::int32_t>(ahead) < 0) {
            isRepeated_ = true;
            isFilling_ = isWhole && way.hole == sequence && !hasDatagram_;
        } else if (ahead > way.skip) { // bytes of a message are missing, or only late
            if (way.hole)              // it is the newest gap that may be filled
                dropEarly(way);
            isEarly_ = isWhole && !way.pending.empty() && mayHold(way, ahead, size);
            if (isEarly_) {
                context_.continued = size;
            } else {
                if (way.pending.empty() && !way.skip)
                    gap_ = way.next;
                dropPending(way);
                way.skip = way.needed = 0;
            }
        } else if (way.skip) { // a lost segment within a body that is skipped anyway does no harm
            way.skip -= ahead;
            context_.continued = static_cast<std::uint32_t>(std::min<std::uint64_t>(way.skip, size));
        } else {
            if (isWhole && !way.hole)
                takeEarly(way, sequence + size);
            if (way.pending.size() + size + after_.size() < way.needed) {
                context_.continued = size;
            } else if (isWhole && (!way.pending.empty() || !after_.empty())) {
                before_ = way.pending;
                context_.before = before_;
                context_.after = after_;
            }
        }
        if (context_.continued || !context_.before.empty())
            context_.protocol = way.protocol;
    }
    isPassing_ = context_.continued == size;
    if (!isFilling_)
        keep(context_);
    return context_;
}

void DecodeSession::keep(const StreamContext& context)
{
    if (!contexts_ || !(context.protocol || context.continued || context.isTogether()))
        return;
    // What is put together has nothing that goes by: the number tells how much stands behind.
    if (!context.isTogether())
        return keep(ContextKind::stream, context.protocol, context.continued, {});
    std::vector bytes(context.before.begin(), context.before.end());
    bytes.insert(bytes.end(), after_.begin(), after_.end());
    keep(ContextKind::stream, context.protocol, static_cast<std::uint32_t>(after_.size()), bytes);
}

StreamContext DecodeSession::streamContext(const FoundContexts::Entry& kept, Bytes bytes)
{
    const std::size_t number = kept.context.continued;
    if (bytes.empty())
        return {kept.context.protocol, {}, {}, kept.context.continued};
    const auto before = bytes.size() - std::min(number, bytes.size());
    return {kept.context.protocol, bytes.first(before), bytes.subspan(before), 0};
}

bool DecodeSession::mayHold(const Way& way, std::uint32_t ahead, std::uint32_t size)
{
    std::size_t held = way.pending.size() + size;
    for (const auto& early : way.early)
        held += early.bytes.size();
    return way.early.size() < maxEarly && held <= maxPendingEach && ahead <= maxPendingEach;
}

void DecodeSession::hold(Way& way, Bytes payload)
{
    way.early.push_back({sequence_, {payload.begin(), payload.end()}});
    pendingBytes_ += payload.size();
    if (pendingBytes_ > maxPendingAll)
        forgetAll();
}

void DecodeSession::holdBehindHole(Way& way, Bytes payload)
{
    if (isWhole_ && mayHold(way, sequence_ - *way.hole, size_))
        return hold(way, payload);
    if (!isRepeated_)
        dropEarly(way);
}

bool DecodeSession::fillHole(Way& way, const StreamOutcome& outcome)
{
    const auto end = sequence_ + size_;
    if (!outcome.pending.empty() || outcome.skip) { // once more, as if it had come in its turn
        way.next = sequence_;
        way.skip = way.needed = 0;
        pendingBytes_ -= way.pending.size();
        way.pending.clear();
        way.hole.reset();
        return true;
    }
    keep(context_);
    way.hole = end;
    if (std::ranges::find(way.early, end, &Early::sequence) != way.early.end())
        dropEarly(way); // it is filled
    return false;
}

void DecodeSession::takeEarly(Way& way, std::uint32_t sequence)
{
    for (bool found = !way.early.empty(); found;) {
        const auto next = std::ranges::find(way.early, sequence, &Early::sequence);
        found = next != way.early.end();
        if (found) {
            after_.insert(after_.end(), next->bytes.begin(), next->bytes.end());
            sequence += static_cast<std::uint32_t>(next->bytes.size());
            pendingBytes_ -= next->bytes.size();
            way.early.erase(next);
        }
    }
    std::erase_if(way.early, [&](const Early& early) {
        const bool isLate = static_cast<std::int32_t>(early.sequence - sequence) < 0;
        pendingBytes_ -= isLate ? early.bytes.size() : 0;
        return isLate;
    });
}

void DecodeSession::dropEarly(Way& way)
{
    for (const auto& early : way.early)
        pendingBytes_ -= early.bytes.size();
    way.early.clear();
    way.hole.reset();
}

void DecodeSession::dropPending(Way& way)
{
    pendingBytes_ -= way.pending.size();
    way.pending.clear();
    dropEarly(way);
}

bool DecodeSession::leaveStream(const StreamOutcome& outcome, Bytes payload)
{
    const auto found = connections_.find(place_.key);
    const bool isKnown = found != connections_.end();
    if (!isKnown && !outcome.isLearned && !outcome.hasMessages && !outcome.skip)
        return false;
    auto& connection = isKnown ? found->second : note(place_.key);
    auto& way = connection.ways[place_.way];
    if (isRepeated_) {
        if (isFilling_)
            return fillHole(way, outcome);
        if (way.hole && static_cast<std::int32_t>(sequence_ - *way.hole) > 0)
            holdBehindHole(way, payload);
        return false;
    }
    if (isEarly_) {
        hold(way, outcome.isAnew ? Bytes() : payload); // what began anew has been told by itself
        return false;
    }
    if (gap_)
        way.hole = gap_;
    way.next = sequence_ + size_ + static_cast<std::uint32_t>(after_.size());
    way.isFollowed = true;
    if (outcome.isLearned)
        connection.protocol = outcome.protocol;
    way.protocol = outcome.protocol;
    pendingBytes_ -= way.pending.size();
    if (isPassing_ && !outcome.isAnew && way.skip) {
        way.skip -= size_;
    } else if (isPassing_ && !outcome.isAnew && isWhole_) {
        way.pending.insert(way.pending.end(), payload.begin(), payload.end());
        way.pending.insert(way.pending.end(), after_.begin(), after_.end());
    } else {
        way.skip = outcome.skip;
        way.needed = outcome.needed;
        way.pending.assign(outcome.pending.begin(), outcome.pending.end());
    }
    pendingBytes_ += way.pending.size();
    if (way.pending.size() > maxPendingEach || way.needed > maxPendingEach) {
        way.needed = 0;
        dropPending(way);
    }
    if (pendingBytes_ > maxPendingAll)
        forgetAll();
    else if (way.hole)
        holdBehindHole(way, payload);
    else if (way.pending.empty())
        dropEarly(way); // nothing is waited for
    return false;
}

bool DecodeSession::Datagram::fill(const DatagramPiece& piece)
{
    const auto end = piece.offset + piece.bytes.size();
    if (end > maxDatagramSize || (size && end > size) || (piece.isLast && pieces.end() > end))
        return false;
    if (piece.isLast)
        size = end;
    pieces.add(piece.offset, piece.bytes);
    return size && pieces.beginning().size() == size;
}

Bytes DecodeSession::datagram(const DatagramPiece& piece)
{
    std::erase_if(datagrams_, [&](const Datagram& old) { return now_ - old.started > datagramLifetime; });
    auto found = std::ranges::find_if(datagrams_, [&](const Datagram& known) {
        return known.identification == piece.identification && known.protocol == piece.protocol
            && known.source == piece.source && known.destination == piece.destination;
    });
    if (found == datagrams_.end()) {
        if (datagrams_.size() == maxDatagrams)
            datagrams_.pop_front();
        datagrams_.push_back({piece.source, piece.destination, piece.identification, piece.protocol, now_, 0, {}});
        found = datagrams_.end() - 1;
    }
    if (!found->fill(piece))
        return {};
    hasDatagram_ = true;
    wholeDatagram_ = std::move(found->pieces);
    datagrams_.erase(found);
    keep(ContextKind::datagram, nullptr, 0, wholeDatagram_.beginning());
    return wholeDatagram_.beginning();
}

} // namespace netrondo
