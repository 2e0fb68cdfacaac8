// The list of pairs, and a result as JSON.
#include "Analysis/Model/AnalysisResult.h"

#include "Analysis/Model/ConversationTable.h"
#include "Base/Json.h"

namespace netrondo {

PairList::PairList(std::shared_ptr<const ConversationTable> table)
    : table_(std::move(table)), order_(table_->pairsByKey())
{ }

CommPair PairList::operator[](std::size_t index) const
{
    CommPair pair;
    read(index, pair);
    return pair;
}

void PairList::read(std::size_t index, CommPair& into) const
{
    table_->read(order_[index], into);
}

std::optional<TCPSessionQuality> PairList::tcpQuality(std::size_t index) const
{
    return table_->conversationQuality(order_[index]);
}

PairList::Summary PairList::summary(std::size_t index) const
{
    constexpr std::size_t lookAhead = 8; // pairs in order of their keys lie anywhere in memory
    if (index + lookAhead < order_.size())
        table_->prefetchPair(order_[index + lookAhead]);
    const auto number = order_[index];
    const auto& totals = table_->pair(number);
    return {.source = table_->source(number),
            .destination = table_->destination(number),
            .packetCount = totals.packets,
            .byteCount = totals.bytes,
            .conversation = number / 2,
            .hasTcp = totals.hasTcp,
            .tcpScore = totals.tcpScore == PairTotals::noScore ? std::nullopt : std::optional<int>(totals.tcpScore),
            .hasTcpComplaints = totals.hasTcpComplaints,
            .firstSeen = table_->firstSeen(number),
            .lastSeen = totals.lastSeen};
}

std::string_view PairList::topProtocol(std::size_t index) const
{
    return text(table_->topProtocol(order_[index]));
}

std::string_view PairList::hostName(const Address& host) const
{
    return table_->names.name(host);
}

std::vector<CommPair> PairList::all() const
{
    std::vector<CommPair> pairs(size());
    for (std::size_t i = 0; i < size(); ++i)
        read(i, pairs[i]);
    return pairs;
}

void write(JsonWriter& json, const AnalysisResult& result)
{
    json.beginObject();
    json.key("pairs");
    json.beginArray();
    CommPair pair;
    for (std::size_t i = 0; i < result.pairs.size(); ++i) {
        result.pairs.read(i, pair);
        write(json, pair);
    }
    json.endArray();
    json.key("protocols");
    json.beginArray();
    for (const auto& stats : result.protocols)
        write(json, stats);
    json.endArray();
    json.field("totalPackets", result.totalPackets);
    json.field("totalBytes", result.totalBytes);
    json.field("mode", rawValue(result.mode));
    json.field("durationSeconds", result.durationSeconds);
    json.field("captureStartSeconds", result.captureStartSeconds);
    json.key("expertSummary");
    write(json, result.expertSummary);
    json.endObject();
}

} // namespace netrondo
