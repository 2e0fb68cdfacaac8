// Reading DNS responses for the names of addresses.
#include "Analysis/Names/DnsAnswers.h"

#include "Analysis/HostNameStore.h"
#include "Analysis/Names/DomainName.h"

namespace netrondo::names {
namespace {

enum Type : std::uint16_t { a = 1, cname = 5, ptr = 12, aaaa = 28 };

struct Record {
    DomainName owner;
    std::uint16_t type = 0;
    std::uint16_t recordClass = 0;
    std::uint32_t ttl = 0;
    std::size_t dataOffset = 0;
    Bytes data;

    /// Reads the record at `offset` and moves behind it; false when it is not all there.
    /// `asked` is the name of the first question, which nearly every server spells by pointing to it.
    bool read(Bytes message, std::size_t& offset, const DomainName& asked)
    {
        constexpr std::uint16_t pointerToFirstQuestion = 0xc000 | 12;
        if (!asked.empty() && message.size() - offset >= 2 && load::be16(&message[offset]) == pointerToFirstQuestion) {
            owner = asked;
            offset += 2;
        } else if (!owner.read(message, offset)) {
            return false;
        }
        Cursor cursor(message.subspan(offset));
        type = cursor.u16();
        recordClass = cursor.u16();
        ttl = cursor.u32();
        data = cursor.take(cursor.u16());
        dataOffset = offset + 10;
        offset += cursor.offset();
        return !cursor.failed();
    }
};

class Answer {
public:
    Answer(Bytes message, DnsKind kind, HostNameStore& store) : message_(message), kind_(kind), store_(store) { }

    void learn()
    {
        Cursor header(message_);
        header.skip(2);
        const auto flags = header.u16();
        const unsigned questions = header.u16(), answers = header.u16(), authorities = header.u16(),
                       additional = header.u16();
        constexpr unsigned response = 0x8000, operationAndError = 0x780f;
        if (header.failed() || !(flags & response) || flags & operationAndError)
            return;
        offset_ = header.offset();
        if (!readQuestions(questions))
            return;
        const unsigned count = kind_ == DnsKind::multicast ? answers + authorities + additional : answers;
        Record record;
        for (unsigned i = 0; i < count && record.read(message_, offset_, asked_); ++i)
            if (isCurrent(record))
                learn(record);
    }

private:
    bool readQuestions(unsigned count)
    {
        for (unsigned i = 0; i < count; ++i) {
            DomainName name;
            if (!name.read(message_, offset_) || message_.size() - offset_ < 4)
                return false;
            offset_ += 4;
            if (i == 0)
                asked_ = name;
        }
        alias_ = asked_;
        return true;
    }

    /// Of the Internet's class, and not a farewell: multicast uses the class's highest bit for itself, and withdraws a
    /// record by giving it no time to live.
    bool isCurrent(const Record& record) const
    {
        if (kind_ != DnsKind::multicast)
            return record.recordClass == 1;
        return (record.recordClass & 0x7fff) == 1 && record.ttl != 0;
    }

    void learn(const Record& record)
    {
        const bool wasAsked = record.owner.isSameAs(alias_);
        const auto& name = wasAsked ? asked_ : record.owner;
        if (record.type == a && record.data.size() == 4) {
            learnAsked(Address::ipv4(record.data.data()), name);
        } else if (record.type == aaaa && record.data.size() == 16) {
            learnAsked(Address::ipv6(record.data.data()), name);
        } else if (record.type == ptr) {
            const auto address = reverseAddress(name.text());
            if (DomainName host; address && readTarget(record, host))
                store_.learn(*address, host.text());
        } else if (record.type == cname && wasAsked) {
            readTarget(record, alias_); // servers send the links of a chain in order
        }
    }

    bool readTarget(const Record& record, DomainName& target) const
    {
        auto offset = record.dataOffset;
        return target.read(message_.first(record.dataOffset + record.data.size()), offset);
    }

    // Resolvers scramble the case of what they ask, to make answers harder to forge, and the answers repeat it; nobody
    // wants to read that. The case of other names is their owners' choice.
    void learnAsked(const Address& address, const DomainName& name)
    {
        if (kind_ != DnsKind::unicast)
            return store_.learn(address, name.text());
        auto lowered = name;
        lowered.toLowerCase();
        store_.learn(address, lowered.text());
    }

    Bytes message_;
    DnsKind kind_;
    HostNameStore& store_;
    std::size_t offset_ = 0;
    DomainName asked_;
    DomainName alias_; ///< the last name that the chain of aliases from `asked_` has led to
};

} // namespace

void learnFromDns(Bytes message, DnsKind kind, HostNameStore& store)
{
    Answer(message, kind, store).learn();
}

} // namespace netrondo::names
