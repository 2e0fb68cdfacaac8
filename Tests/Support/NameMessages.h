// Messages that carry host names, built in the test that reads them.
//
//     DnsMessage().question("www.example.com").a("www.example.com", "192.0.2.1")
#pragma once

#include "Support/Frames.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace netrondo::test {

/// A name as labels, without compression.
inline ByteVector dnsName(std::string_view name)
{
    ByteVector out;
    while (!name.empty()) {
        const auto label = name.substr(0, name.find('.'));
        put(out, label.size(), 1);
        put(out, asBytes(label));
        name.remove_prefix(std::min(name.size(), label.size() + 1));
    }
    put(out, 0, 1);
    return out;
}

/// A DNS message, records in the order of the calls.
class DnsMessage {
public:
    explicit DnsMessage(std::uint16_t flags = 0x8180)
    {
        put(bytes_, 0x1234, 2);
        put(bytes_, flags, 2);
        put(bytes_, 0, 8);
    }

    DnsMessage& question(std::string_view name, std::uint16_t type = 1)
    {
        put(bytes_, dnsName(name));
        put(bytes_, type, 2);
        put(bytes_, 1, 2);
        return count(4);
    }
    DnsMessage& record(Bytes owner, std::uint16_t type, Bytes data, std::uint16_t recordClass = 1,
                       std::uint32_t ttl = 300)
    {
        put(bytes_, owner);
        put(bytes_, type, 2);
        put(bytes_, recordClass, 2);
        put(bytes_, ttl, 4);
        put(bytes_, data.size(), 2);
        put(bytes_, data);
        return count(section_);
    }
    DnsMessage& a(std::string_view owner, std::string_view address)
    {
        return record(dnsName(owner), 1, addressBytes(address));
    }
    DnsMessage& aaaa(std::string_view owner, std::string_view address)
    {
        return record(dnsName(owner), 28, addressBytes(address));
    }
    DnsMessage& cname(std::string_view owner, std::string_view target)
    {
        return record(dnsName(owner), 5, dnsName(target));
    }
    DnsMessage& ptr(std::string_view owner, std::string_view target)
    {
        return record(dnsName(owner), 12, dnsName(target));
    }
    /// The records from here on are additional ones.
    DnsMessage& additional()
    {
        section_ = 10;
        return *this;
    }

    const ByteVector& bytes() const { return bytes_; }
    operator Bytes() const { return bytes_; }
    /// Behind its length, as TCP carries it.
    ByteVector framed() const
    {
        ByteVector out;
        put(out, bytes_.size(), 2);
        put(out, bytes_);
        return out;
    }

private:
    DnsMessage& count(std::size_t at)
    {
        ++bytes_[at + 1];
        return *this;
    }

    ByteVector bytes_;
    std::size_t section_ = 6;
};

/// A NetBIOS name as its first label (RFC 1001, section 14).
inline std::string netBiosLabel(std::string_view name, std::uint8_t purpose)
{
    std::string sixteen(name);
    sixteen.resize(15, ' ');
    sixteen.push_back(static_cast<char>(purpose));
    std::string out;
    for (const char c : sixteen) {
        out.push_back(static_cast<char>('A' + (static_cast<std::uint8_t>(c) >> 4)));
        out.push_back(static_cast<char>('A' + (c & 0xf)));
    }
    return out;
}

/// A DHCP message with options given as hexadecimal text.
struct DhcpMessage {
    std::uint8_t operation = 1;
    std::string_view clientAddress = "0.0.0.0";
    std::string_view yourAddress = "0.0.0.0";
    std::string_view mac = "02:00:00:00:00:0c";
    std::uint8_t hardwareType = 1;

    ByteVector with(std::string_view options) const
    {
        ByteVector out{operation, hardwareType, 6, 0};
        put(out, 0x12345678, 4);
        put(out, 0, 4);
        put(out, addressBytes(clientAddress));
        put(out, addressBytes(yourAddress));
        put(out, 0, 8);
        put(out, addressBytes(mac));
        out.resize(236);
        put(out, 0x63825363, 4);
        put(out, hex(options));
        return out;
    }
};

} // namespace netrondo::test
